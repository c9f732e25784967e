// The force-field commands: help blocks, the files written and announced (from a CIF file and from
// CIF text), and the refusal of input without parameters or conducting ions, with nothing written.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "forcefield/forcefield-support.h"

namespace {

namespace fs = std::filesystem;
using velmar_test::run_velmar;

std::vector<std::string> files_in(const fs::path &dir) {
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(dir)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST(ForcefieldCli, CommandsWithoutArgumentsExplainThemselves) {
    const std::string md = " [input.cif] [type] [os] | {sf} {temperature} {time} {timestep}.\n\n";
    for (const auto &[command, form] :
         {std::pair{"--gen-gin-lib", " [input.cif] | {sf} {output}.\n\n"},
          std::pair{"--gen-gin-eam", " [input.cif] | {sf} {output}.\n\n"},
          std::pair{"--gen-gin", md.c_str()}, std::pair{"--gen-lmp", md.c_str()}}) {
        const auto r = run_velmar({command});
        EXPECT_EQ(r.out.rfind("Command: " + std::string(command) + form, 0), 0u) << r.out;
        EXPECT_NE(r.out.find("Example: ./velmar.x " + std::string(command) + " Li2O.cif"),
                  std::string::npos);
    }
    for (const char *command : {"--text-gen-gin-lib", "--text-gen-gin-lib-set-sf"}) {
        const auto r = run_velmar({command});
        EXPECT_EQ(r.err, "Error: not enough arguments.\n");
        EXPECT_EQ(r.out.rfind("Command: " + std::string(command) + " [", 0), 0u) << r.out;
    }
}

// Each file announced; the library of the CIF handed over as text (one argument a word, -:nl for a
// line break) is the library of the file but for the structure's name on its first line.
TEST(ForcefieldCli, WritesAndAnnouncesItsFilesFromAFileOrFromText) {
    velmar_test::ScratchDir dir;
    fs::copy_file(velmar_test::example("Li3N.cif"), dir / "Li3N.cif");
    std::string out;
    for (const std::vector<std::string> &args :
         {std::vector<std::string>{"--gen-gin-lib", "Li3N.cif", "0.8"},
          {"--gen-gin-lib", "Li3N.cif", "0.8", "li3n"},
          {"--gen-gin-eam", "Li3N.cif", "0.8"},
          {"--gen-gin", "Li3N.cif", "Li", "1", "0.8"},
          {"--gen-lmp", "Li3N.cif", "Li", "1", "0.8", "600", "5", "0.002"}}) {
        const auto r = run_velmar(args, dir.path());
        EXPECT_EQ(r.err, "");
        for (const auto &line : velmar_test::lines(r.out)) {
            if (line.find("written to") != std::string::npos) out += line + "\n";
        }
    }
    std::vector<std::string> text = {"--text-gen-gin-lib-set-sf", "0.8", "text", "-:text"};
    for (const auto &line : velmar_test::lines(velmar_test::read_file(dir / "Li3N.cif"))) {
        for (const auto &w : velmar_test::words(line)) text.push_back(w);
        text.push_back("-:nl");
    }
    EXPECT_EQ(run_velmar(text, dir.path()).err, "");
    EXPECT_EQ(out,
              "Message: GULP library written to Li3N.cif.lib.\n"
              "Message: GULP library written to li3n.lib.\n"
              "Message: GULP embedded-atom library written to Li3N.cif.eam.lib.\n"
              "Message: GULP input written to Li3N.cif.gin.\n"
              "Message: GULP library written to Li3N.cif.lib.\n"
              "Message: LAMMPS data written to Li3N.cif.lmp.data.\n"
              "Message: LAMMPS pair tables written to Li3N.cif.lmp.table.\n"
              "Message: LAMMPS input written to Li3N.cif.lmp.in.\n");
    EXPECT_EQ(files_in(dir.path()),
              (std::vector<std::string>{"Li3N.cif", "Li3N.cif.eam.lib", "Li3N.cif.gin",
                                        "Li3N.cif.lib", "Li3N.cif.lmp.data", "Li3N.cif.lmp.in",
                                        "Li3N.cif.lmp.table", "li3n.lib", "text.lib"}));
    const auto body = [](const std::string &s) { return s.substr(s.find('\n')); };
    EXPECT_EQ(body(velmar_test::read_file(dir / "text.lib")),
              body(velmar_test::read_file(dir / "Li3N.cif.lib")));
    const std::string input = velmar_test::read_file(dir / "Li3N.cif.lmp.in");
    EXPECT_NE(input.find("variable        steps index 2500\n"
                         "variable        equilibration index 500\n"
                         "variable        temperature index 600.000000\n"),
              std::string::npos);
}

TEST(ForcefieldCli, BadInputIsRefusedWithAClearMessageAndNothingIsWritten) {
    velmar_test::ScratchDir dir;
    const std::string li3n = velmar_test::read_file(velmar_test::example("Li3N.cif"));
    for (const auto &[name, site] : {std::pair{"Li3P.cif", "  P3-  P2 "},  // no Li-P3- pair
                                     std::pair{"Li3Xe.cif", "  Xe  Xe2 "}}) {
        std::string text = li3n;
        text.replace(text.find("  N  N2 "), 8, site);
        velmar_test::write_file(dir / name, text);
    }
    fs::copy_file(velmar_test::example("Li3N.cif"), dir / "Li3N.cif");
    fs::copy_file(velmar_test::corpus("LLZO_cubic_Ia-3d_partial_Li_VESTA.cif"), dir / "llzo.cif");
    const auto before = files_in(dir.path());
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"--gen-gin-lib", "Li3P.cif"},
         "Error: no bond-valence parameters for the pair Li1+-P3- in the binary database: the "
         "force field cannot be written.\nError: velmar_forcefield_validate() returns non-zero.\n"},
        {{"--gen-lmp", "Li3Xe.cif", "Li", "1"},
         "Error: no parameters for species Xe99+ in the unitary database.\n"},
        {{"--gen-gin", "Li3N.cif", "Na", "1"},
         "Error: Li3N.cif has no atoms of the conducting species Na1+.\n"},
        {{"--gen-lmp", "llzo.cif", "Li", "1", "0.8"}, "is partially occupied"},
        {{"--gen-gin", "Li3N.cif", "Li", "one"}, "Error: invalid oxidation state 'one'.\n"},
        {{"--gen-gin-lib", "Li3N.cif", "high"}, "Error: invalid screening factor 'high'.\n"},
        {{"--text-gen-gin-lib-set-sf", "0.8", "-:text", "data_x"}, "must come before -:text"},
    };
    for (const auto &[args, message] : cases) {
        const auto r = run_velmar(args, dir.path());
        EXPECT_NE(r.err.find(message), std::string::npos) << args[1] << "\n" << r.err;
    }
    EXPECT_EQ(files_in(dir.path()), before);
}

}  // namespace
