// --gh and --sites run as velmar.x: help blocks, the files written and announced (their numbers
// equal to the library's on the same cube, periodic or not), and bad input refused with a clear
// error and no file left behind.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <set>
#include <string>

#include "core/velmar.h"
#include "landscape/velmar-cube-file.h"
#include "network/velmar-network-export.h"
#include "network/velmar-percolation.h"
#include "support/support.h"

namespace {

namespace fs = std::filesystem;
using velmar_test::capture;
using velmar_test::run_velmar;

std::set<std::string> files_in(const fs::path &dir) {
    std::set<std::string> names;
    for (const auto &entry : fs::directory_iterator(dir)) names.insert(entry.path().filename());
    return names;
}

void write_cube(const fs::path &file, double (*fn)(double, double, double)) {
    const int32_t n[3] = {6, 6, 6};
    const double lengths[3] = {4.0, 4.0, 4.0};
    auto cube = velmar_test::fractional_cube(n, lengths, fn);
    capture([&] { velmar_cube_export_to_file(cube.get(), nullptr, nullptr, file.c_str(), true); });
}

TEST(NetworkCli, HelpBlocks) {
    auto r = run_velmar({"--gh"});
    EXPECT_TRUE(
        r.out.starts_with("Command: --gh [input.cube] | {flag:periodic} {output_name}\n\n"
                          "Command: [input.cube]: "));
    EXPECT_TRUE(r.out.ends_with("Example: ./velmar.x --gh Li2O.cif.cube\n"));
    EXPECT_EQ(r.err, "");
    r = run_velmar({"--sites", "Li2O.cif", "Li2O.cif.cube", "Li"});
    EXPECT_TRUE(r.out.starts_with(
        "Command: --sites [input.cif] [input.cube] [type] [os] | {flag:periodic}\n\nCommand: "));
    EXPECT_TRUE(r.out.ends_with("Example: ./velmar.x --sites Li2O.cif Li2O.cif.cube Li 1\n"));
}

TEST(NetworkCli, GhWritesAndAnnouncesItsFiles) {
    velmar_test::ScratchDir dir;
    fs::copy_file(velmar_test::source_dir() / "examples" / "Li3N.cif", dir / "Li3N.cif");
    // The same landscape in a periodic file and in one with the repeated last layers.
    ASSERT_EQ(run_velmar({"--gen-cube", "Li3N.cif", "Li", "1", "0", "0.3"}, dir.path()).err, "");
    ASSERT_EQ(run_velmar(
                  {"--gen-cube", "Li3N.cif", "Li", "1", "0", "0.3", "t", "f", "f", "repeated.cube"},
                  dir.path())
                  .err,
              "");
    auto r = run_velmar({"--gh", "Li3N.cif.cube"}, dir.path());
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.status, 0);
    for (const char *line :
         {"Message: percolation thresholds written to Li3N.cif.cube.gh.csv.\n",
          "Message: 1D channel markers written to Li3N.cif.cube.gh.1d.cif.\n",
          "Message: 2D channel markers written to Li3N.cif.cube.gh.2d.cif.\n",
          "Message: 3D channel markers written to Li3N.cif.cube.gh.3d.cif.\n",
          "Message: sites and hops written to Li3N.cif.cube.gh.hops.csv.\n",
          "GH: dimension  threshold(eV)  barrier(eV)     voxels  directions\n"}) {
        EXPECT_NE(r.out.find(line), std::string::npos) << line << r.out;
    }
    // The table is the library's for the cube as read back.
    VELMAR_CUBE *raw = nullptr;
    capture([&] {
        velmar_cube_import_from_file(&raw, nullptr, (dir / "Li3N.cif.cube").c_str(), true, nullptr);
    });
    velmar_test::CubePtr cube(raw, velmar_cube_free);
    velmar::Owned<VELMAR_PERCOLATION, velmar_percolation_free> p;
    capture([&] { p.reset(velmar_percolation_calculate(cube.get())); });
    velmar::Owned<VELMAR_TEXT, velmar_text_free> table(velmar_percolation_export_to_text(p.get()));
    const std::string csv = velmar_test::read_file(dir / "Li3N.cif.cube.gh.csv");
    EXPECT_EQ(csv, table->content);
    const auto markers = velmar_test::load_cif_file(dir / "Li3N.cif.cube.gh.3d.cif");
    ASSERT_EQ(markers.status, 0);
    EXPECT_GT(markers.cell->total, 2);

    // Non-periodic file, periodic flag false, own output name: the same thresholds.
    r = run_velmar({"--gh", "repeated.cube", "f", "out"}, dir.path());
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(velmar_test::read_file(dir / "out.gh.csv"), csv);
    EXPECT_EQ(velmar_test::read_file(dir / "out.gh.hops.csv"),
              velmar_test::read_file(dir / "Li3N.cif.cube.gh.hops.csv"));

    // --sites on the structure and its landscape.
    r = run_velmar({"--sites", "Li3N.cif", "Li3N.cif.cube", "Li", "1"}, dir.path());
    EXPECT_EQ(r.err, "");
    EXPECT_NE(r.out.find("Message: site classes written to Li3N.cif.sites.csv.\n"),
              std::string::npos);
    EXPECT_NE(r.out.find("SITES:    1 Li0          0.000000    2"), std::string::npos) << r.out;
    EXPECT_TRUE(velmar_test::read_file(dir / "Li3N.cif.sites.csv")
                    .starts_with("site,label,energy,multiplicity,x,y,z,occupancy,barrier_out,"
                                 "frequency,"));
}

double no_value(double, double, double) { return NAN; }
double capped(double, double, double) { return 999.9; }
double flat(double, double, double) { return 0.25; }
double well(double x, double y, double z) {
    return -std::cos(2 * M_PI * x) - std::cos(2 * M_PI * y) - std::cos(2 * M_PI * z);
}

TEST(NetworkCli, BadInputIsRefusedAndLeavesNoFile) {
    velmar_test::ScratchDir dir;
    write_cube(dir / "nan.cube", no_value);
    write_cube(dir / "capped.cube", capped);
    write_cube(dir / "flat.cube", flat);
    write_cube(dir / "well.cube", well);
    fs::copy_file(velmar_test::source_dir() / "examples" / "LiFePO4.cif", dir / "LiFePO4.cif");
    const auto before = files_in(dir.path());

    // The cube reader itself refuses values that are not numbers.
    auto r = run_velmar({"--gh", "nan.cube"}, dir.path());
    EXPECT_EQ(r.err,
              "Error: nan.cube holds 0 readable values of 216.\n"
              "Error: velmar_cube_import_from_file() returns non-zero.\n");
    EXPECT_EQ(r.status, 0);
    r = run_velmar({"--gh", "capped.cube"}, dir.path());
    EXPECT_EQ(r.err,
              "Error: every voxel of the landscape lies at or above the cap 999.9; the ion has "
              "nowhere to go.\n"
              "Error: velmar_percolation_check_landscape() returns non-zero.\n"
              "Error: velmar_percolation_calculate() returns NULL.\n"
              "Error: velmar_network_analyze_export_to_file() returns non-zero.\n");
    r = run_velmar({"--gh", "flat.cube"}, dir.path());
    EXPECT_TRUE(r.err.starts_with(
        "Error: the landscape is flat (every passable voxel at 0.250000); it has no barriers.\n"))
        << r.err;
    r = run_velmar({"--gh", "missing.cube"}, dir.path());
    EXPECT_EQ(r.err, "Error: velmar_cube_import_from_file() returns non-zero.\n");
    r = run_velmar({"--gh", "well.cube", "t", "no/such/dir/out"}, dir.path());
    EXPECT_EQ(r.err,
              "Error: unable to create no/such/dir/out.gh.csv.\n"
              "Error: velmar_network_analyze_export_to_file() returns non-zero.\n");

    // A cube of another cell, a species the database lacks, a malformed oxidation state.
    r = run_velmar({"--sites", "LiFePO4.cif", "well.cube", "Li", "1"}, dir.path());
    EXPECT_TRUE(
        r.err.starts_with("Error: the landscape well.cube does not belong to the structure "
                          "LiFePO4.cif: its cell is 4.0000 4.0000 4.0000 A"))
        << r.err;
    r = run_velmar({"--sites", "LiFePO4.cif", "LiFePO4.cif", "Li", "x"}, dir.path());
    EXPECT_EQ(r.err, "Error: invalid oxidation state 'x'.\n");
    EXPECT_EQ(files_in(dir.path()), before);

    // An unknown species, with a cube that does belong to the structure.
    ASSERT_EQ(run_velmar({"--gen-cube", "LiFePO4.cif", "Li", "1", "0", "0.4"}, dir.path()).err, "");
    const auto with_cube = files_in(dir.path());
    r = run_velmar({"--sites", "LiFePO4.cif", "LiFePO4.cif.cube", "Xx", "1"}, dir.path());
    EXPECT_NE(r.err.find("Error: species Xx1+ is not in the unitary database "), std::string::npos)
        << r.err;
    EXPECT_EQ(files_in(dir.path()), with_cube);
}

}  // namespace
