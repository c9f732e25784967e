// The relaxation commands run as velmar.x: help blocks, outputs and their announcements, a run
// that stops at its step limit, a band continued from its own images, and refusals.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "relax/rock-salt.h"
#include "relax/velmar-neb.h"
#include "relax/velmar-rx-common.h"
#include "support/support.h"

namespace {

namespace fs = std::filesystem;
using velmar_test::Cell;
using velmar_test::read_file;
using velmar_test::rock_salt;
using velmar_test::run_velmar;

std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

TEST(RxCmd, HelpBlocksFollowTheHouseForm) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"--rx-sd"}, "Command: --rx-sd [input.cif] | {sf} {steps} {f_tol} {output.cif}."},
        {{"--rx-neb", "a.cif"},
         "Command: --rx-neb [initial.cif] [final.cif] | {images} {sf} {steps} {f_tol} "
         "{flag:climbing}."},
        {{"--rx-neb-images", "path"},
         "Command: --rx-neb-images [base] [count] | {sf} {steps} {f_tol} {flag:climbing}."}};
    for (const auto &[args, first] : cases) {
        const auto r = run_velmar(args);
        EXPECT_EQ(r.err, "");
        const auto lines = lines_of(r.out);
        ASSERT_GE(lines.size(), 4U);
        EXPECT_EQ(lines[0], first);
        EXPECT_EQ(lines[1], "");
        for (size_t n = 2; n < lines.size(); ++n) {
            EXPECT_TRUE(lines[n].rfind("Command: ", 0) == 0 ||
                        lines[n].rfind("Example: ./velmar.x " + args[0] + " ", 0) == 0)
                << lines[n];
        }
        EXPECT_EQ(lines.back().rfind("Example: ", 0), 0U);
    }
    EXPECT_NE(run_velmar({"--rx-sd"}).out.find("the cell (lengths and angles) stays as it is"),
              std::string::npos);
}

// NaCl with one Na pushed 0.2 A off its site; `fixed` fixes all the others.
void write_pushed(const fs::path &file, bool fixed) {
    Cell cell = rock_salt(1, -1);
    cell->atom[0].x[1] += 0.2;
    for (int32_t a = 1; a < cell->total; ++a) cell->atom[a].ignored = fixed;
    ASSERT_EQ(velmar::rx::export_cif(*cell, file.string().c_str()), 0);
}

TEST(RxCmd, SteepestDescentWritesTheStructureAndTheLog) {
    velmar_test::ScratchDir dir;
    write_pushed(dir / "nacl.cif", true);
    auto r = run_velmar({"--rx-sd", "nacl.cif", "0.8"}, dir.path());
    EXPECT_EQ(r.err, "");
    EXPECT_NE(r.out.find("Message: 1 of 8 atoms move; the cell stays as it is.\n"),
              std::string::npos);
    EXPECT_NE(r.out.find("Message: relaxed structure written to nacl.cif.rx.cif.\n"),
              std::string::npos);
    EXPECT_NE(r.out.find("Message: relaxation log written to nacl.cif.rx-log.txt.\n"),
              std::string::npos);
    EXPECT_EQ(read_file(dir / "nacl.cif.rx-log.txt").rfind("step,energy,max_force\n0,", 0), 0U);

    // Stopped at the step limit: the last state is written, and the messages say so.
    r = run_velmar({"--rx-sd", "nacl.cif", "0.8", "1", "1e-6", "short.cif"}, dir.path());
    EXPECT_NE(r.out.find("Warning: not converged in 1 steps (largest force "), std::string::npos);
    EXPECT_NE(r.out.find("Warning: the last state of a run that did not converge is written to "
                         "short.cif.\n"),
              std::string::npos);
    EXPECT_TRUE(fs::exists(dir / "short.cif"));
    EXPECT_EQ(lines_of(read_file(dir / "nacl.cif.rx-log.txt")).size(), 3U);

    write_pushed(dir / "frozen.cif", true);
    std::string text = read_file(dir / "frozen.cif");
    text.replace(text.find(" F\n"), 3, " T\n");
    velmar_test::write_file(dir / "frozen.cif", text);
    r = run_velmar({"--rx-sd", "frozen.cif", "0.8"}, dir.path());
    EXPECT_EQ(r.err,
              "Error: every atom is fixed (_atom_site_velmar_fixed); nothing can move.\n"
              "Error: velmar_rx_sd_from_cell() returns non-zero.\n");
    EXPECT_FALSE(fs::exists(dir / "frozen.cif.rx.cif"));
    EXPECT_FALSE(fs::exists(dir / "frozen.cif.rx-log.txt"));
    EXPECT_EQ(run_velmar({"--rx-sd", "nacl.cif", "0.8", "ten"}, dir.path()).err,
              "Error: invalid steps 'ten'.\n");
}

TEST(RxCmd, BandFromTwoEndsContinuedFromItsImages) {
    velmar_test::ScratchDir dir;
    Cell a = rock_salt(1, 0);
    Cell b = rock_salt(1, 0);
    for (VELMAR_CELL *cell : {a.get(), b.get()}) {
        for (int32_t n = 1; n < cell->total; ++n) cell->atom[n].ignored = true;
    }
    for (double &c : b->atom[0].x) c = 0.0;
    ASSERT_EQ(velmar::rx::export_cif(*a, (dir / "a.cif").string().c_str()), 0);
    ASSERT_EQ(velmar::rx::export_cif(*b, (dir / "b.cif").string().c_str()), 0);
    auto r = run_velmar({"--rx-neb", "a.cif", "b.cif", "3", "0.8", "0"}, dir.path());
    EXPECT_EQ(r.err, "");
    EXPECT_NE(r.out.find("Message: 5 images (3 between the ends); 1 of 7 atoms move"),
              std::string::npos);
    EXPECT_NE(r.out.find("Message: energy profile written to a.cif.neb-log.txt.\n"),
              std::string::npos);
    for (int i = 0; i < 5; ++i) {
        const std::string file = "a.cif.neb." + std::to_string(i) + ".cif";
        EXPECT_NE(r.out.find("Message: image " + std::to_string(i) + " written to " + file + ".\n"),
                  std::string::npos);
    }
    const std::string profile = read_file(dir / "a.cif.neb-log.txt");
    EXPECT_EQ(profile.rfind("image,coordinate,energy\n0,0.000000,0.00000000\n", 0), 0U);
    EXPECT_EQ(lines_of(profile).size(), 6U);

    // The images written are a band again, with the same profile to the last digit: its positions
    // lie on eighths of the cell, which the eight decimals of the files hold exactly.
    r = run_velmar({"--rx-neb-images", "a.cif.neb", "5", "0.8", "0"}, dir.path());
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(read_file(dir / "a.cif.neb.neb-log.txt"), profile);

    // A band off the mirror planes of the hop feels forces; stopped at its step limit it says so
    // and still writes the band.
    b->atom[0].x[0] = 0.1;
    b->atom[0].x[2] = 0.05;
    ASSERT_EQ(velmar::rx::export_cif(*b, (dir / "d.cif").string().c_str()), 0);
    r = run_velmar({"--rx-neb", "a.cif", "d.cif", "3", "0.8", "2", "1e-3", "T"}, dir.path());
    EXPECT_NE(r.out.find("Warning: band not converged in 2 steps (largest force "),
              std::string::npos);
    EXPECT_NE(r.out.find("Warning: the band written is the last state of a run that did not "
                         "converge.\n"),
              std::string::npos);
    EXPECT_NE(r.out.find(" (climbing)\n"), std::string::npos);

    Cell full = rock_salt(1, -1);
    ASSERT_EQ(velmar::rx::export_cif(*full, (dir / "c.cif").string().c_str()), 0);
    r = run_velmar({"--rx-neb", "a.cif", "c.cif"}, dir.path());
    EXPECT_EQ(r.err,
              "Error: c.cif has 8 atoms and a.cif 7; the images must hold the same atoms in the "
              "same order.\n"
              "Error: velmar_neb_check_images() returns non-zero.\n"
              "Error: velmar_neb_from_ends() returns non-zero.\n");
    EXPECT_EQ(run_velmar({"--rx-neb-images", "a.cif.neb", "2"}, dir.path()).err,
              "Error: a band needs at least 3 images (count 2).\n");
    EXPECT_EQ(
        run_velmar({"--rx-neb", "a.cif", "b.cif", "3", "0.8", "0", "-1", "yes"}, dir.path()).err,
        "Error: invalid flag:climbing 'yes'.\n");
}

}  // namespace
