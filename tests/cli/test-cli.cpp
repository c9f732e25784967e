// velmar.x run as a separate process: stdout, stderr and exit status compared byte for byte with
// the documented texts.
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>

#include "support/support.h"

namespace {

namespace fs = std::filesystem;
using velmar_test::run;
using velmar_test::run_velmar;

const std::string kBanner =
    "  Velmar-ver 1.3.0-cmd\n"
    "    --help to list commands available.\n"
    "    Developed by the Velmar developers.\n"
    "    Bugs and suggestions: please open an issue on the Velmar issue tracker.\n";

std::string warnings_for(const std::string &dir) {
    return "Warning: unable to find " + dir + "database_unitary.dat\n" +
           "Warning: unable to find " + dir + "database_binary.dat\n" + "Warning: unable to find " +
           dir + "database_symcards.dat\n";
}

TEST(Cli, HelpIsTheDocumentedCommandList) {
    const std::string golden =
        velmar_test::read_file(fs::path(VELMAR_TEST_DATA) / "golden/help.txt");
    ASSERT_FALSE(golden.empty());
    for (const char *flag : {"--help", "-h"}) {
        const auto r = run_velmar({flag});
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, golden) << flag;
        EXPECT_EQ(r.err, "");
    }
}

TEST(Cli, BannerWithoutArgumentsOrWithVersion) {
    for (const auto &args : {std::vector<std::string>{}, std::vector<std::string>{"--version"},
                             std::vector<std::string>{"-v"}}) {
        const auto r = run_velmar(args);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, kBanner);
        EXPECT_EQ(r.err, "");
    }
}

TEST(Cli, UnknownCommandsAreReportedOnStdoutWithStatusZero) {
    for (const char *name : {"--Print-cell", "--print", "--gen-cif-assign-al", "Li2O.cif"}) {
        const auto r = run_velmar({name, "Li2O.cif"});
        EXPECT_EQ(r.status, 0) << name;
        EXPECT_EQ(r.out, "Error: arguments not recognized. '-h' for help.\n") << name;
        EXPECT_EQ(r.err, "") << name;
    }
}

TEST(Cli, PrintCellOfTheExample) {
    const auto example = (velmar_test::source_dir() / "examples" / "Li3N.cif").string();
    const auto r = run_velmar({"--print-cell", example});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out,
              "Message: reading cif file...\n"
              "Message: total lines in the cif: 53\n"
              "Message: calculated cell volume = 44.659309\n"
              "CELL: name: Li1+:3.000 N3-:1.000 \n"
              "CELL: vector matrix:\n"
              "CELL:                3.648000    0.000000    0.000000\n"
              "CELL:               -1.824000    3.159261    0.000000\n"
              "CELL:                0.000000    0.000000    3.875000\n"
              "CELL: parameters:    3.648000    3.648000    3.875000\n"
              "CELL: angles:       90.000000   90.000000  120.000000\n"
              "CELL: total atom: 4\n"
              "CELL: [  0]ATOM: name=   Li0;type=Li;os= 1;x_f=(0.333,0.667,0.000);occ=1.000\n"
              "CELL: [  1]ATOM: name=   Li0;type=Li;os= 1;x_f=(0.667,0.333,0.000);occ=1.000\n"
              "CELL: [  2]ATOM: name=   Li1;type=Li;os= 1;x_f=(0.000,0.000,0.500);occ=1.000\n"
              "CELL: [  3]ATOM: name=    N2;type= N;os=-3;x_f=(0.000,0.000,0.000);occ=1.000\n");

    const auto help = run_velmar({"--print-cell"});
    EXPECT_EQ(help.out,
              "Command: --print-cell [input.cif].\n\nExample: ./velmar.x --print-cell Li2O.cif\n");
    const auto missing = run_velmar({"--print-cell", "no-such.cif"});
    EXPECT_EQ(missing.err,
              "Error: unable to open no-such.cif\n"
              "Error: velmar_text_import_from_file() returns NULL.\n"
              "Error: velmar_cell_import_cif_from_file() returns non-zero.\n");
}

TEST(Cli, SymmetryAndCifCommands) {
    velmar_test::ScratchDir dir;
    fs::copy_file(velmar_test::corpus("LLZO_cubic_Ia-3d_partial_Li_VESTA.cif"), dir / "llzo.cif");
    auto r = run_velmar({"--cal-sym", "llzo.cif"}, dir.path());
    EXPECT_NE(
        r.out.find("SYMMETRY: International Table ID: 230\nSYMMETRY: Total number of cards: 96\n"),
        std::string::npos);
    r = run_velmar({"--print-sym", "llzo.cif"}, dir.path());
    EXPECT_NE(r.out.find("SYMMETRY: Hermann-Maugui group symbol: I a -3 d\n"), std::string::npos);
    for (const char *command :
         {"--gen-cif", "--gen-cif-p1", "--gen-cif-reduced", "--gen-cif-assign-all"}) {
        r = run_velmar({command, "llzo.cif"}, dir.path());
        EXPECT_EQ(r.err, "") << command;
    }
    r = run_velmar({"--gen-cif-assign", "llzo.cif", "Li", "1", "assigned.cif"}, dir.path());
    EXPECT_EQ(r.err, "");
    EXPECT_NE(r.out.find("Message: supercell [1, 1, 1]\n"), std::string::npos);
    for (const char *written : {"llzo.cif.out.cif", "llzo.cif.p1.cif", "llzo.cif.reduced.cif",
                                "llzo_assigned-all.cif", "assigned.cif"}) {
        const auto back = velmar_test::load_cif_file(dir / written);
        EXPECT_EQ(back.status, 0) << written << back.printed.err;
    }
    // Resolved occupancies: every atom whole, no two Li on one spot.
    const auto assigned = velmar_test::load_cif_file(dir / "assigned.cif");
    for (int32_t n = 0; n < assigned.cell->total; ++n) EXPECT_EQ(assigned.cell->atom[n].occ, 1.0);
    r = run_velmar({"--gen-cif-assign", "llzo.cif", "Li", "one"}, dir.path());
    EXPECT_EQ(r.err, "Error: invalid oxidation state 'one'.\n");
    r = run_velmar({"--gen-cif-assign", "llzo.cif", "Li"}, dir.path());
    EXPECT_TRUE(
        r.out.starts_with("Command: --gen-cif-assign [input.cif] [type] [os] | {output.cif}\n\n"));
}

TEST(Cli, ParameterEnergyAndBondValenceCommands) {
    const std::string li3n = velmar_test::corpus("Li3N_P6mmm_OBELiX.cif").string();
    const std::string licoo2 = velmar_test::corpus("LiCoO2_R-3m_VESTA.cif").string();
    auto r = run_velmar({"--print-ppt"});
    EXPECT_EQ(r.out,
              "Command: --print-ppt [input.cif] | {screening factor}.\n\n"
              "Command: {screening factor}: a double in (0, 1)\n"
              "Example: ./velmar.x --print-ppt Li2O.cif\n"
              "         will trigger automatic calculation of screening factor.\n"
              "Example: ./velmar.x --print-ppt Li2O.cif 0.72.\n"
              "         will use provided screening factor 0.72.\n");
    r = run_velmar({"--print-ppt", li3n, "0.72"});
    EXPECT_TRUE(r.out.ends_with("PPT: screening factor = 0.720000\n"));
    EXPECT_EQ(run_velmar({"--cal-tot-en", li3n, "abc"}).err, "Error: wrong parameter sf.\n");
    r = run_velmar({"--cal-tot-en", li3n, "0.7"});
    EXPECT_NE(r.out.find("Message: total energy = -"), std::string::npos);
    // Formal charges: Li3N is neutral; LiCoO2 read without states takes Co2+ and is not.
    EXPECT_TRUE(
        run_velmar({"--cal-charge", li3n}).out.ends_with("Total charge per unit cell: 0.000\n"));
    EXPECT_TRUE(
        run_velmar({"--cal-charge", licoo2}).out.ends_with("Total charge per unit cell: -3.000\n"));
    r = run_velmar({"--print-ppt-full", li3n, "0.7", "Na", "1"});
    EXPECT_NE(r.out.find("PPT: conducting species = Na(1)\n"), std::string::npos);

    r = run_velmar({"--cal-bv", li3n});
    EXPECT_NE(r.out.find("BV:    Li0 Li1+  1.000  0."), std::string::npos);
    EXPECT_NE(r.out.find("BV:     N2  N3-  1.000 -2."), std::string::npos);
    EXPECT_NE(r.out.find("GII: Global instability index = "), std::string::npos);
    EXPECT_EQ(r.err, "");
    r = run_velmar({"--cal-bv-gui", li3n});
    EXPECT_NE(r.out.find("Printing bond valence sum of each site for Velmar-GUI\n"
                         "> Label [  X     Y     Z  ] : BV_sum\n"
                         ">   Li0 [0.333 0.667 0.000] : 0."),
              std::string::npos);
    r = run_velmar({"--cal-bv-type", licoo2, "Co", "2", "O", "-2"});
    EXPECT_EQ(r.out.find("Li1+"), std::string::npos);
    EXPECT_NE(r.out.find(" Co2+ "), std::string::npos);
    EXPECT_EQ(run_velmar({"--cal-bv-type", licoo2, "Co", "x", "O", "-2"}).err,
              "Error: wrong parameter os1.\n");
    EXPECT_NE(run_velmar({"--cal-gii", li3n}).out.find("GII: suggested stability: "),
              std::string::npos);

    // Text mode: the same structure given as words on the command line.
    std::vector<std::string> words{"--text-cal-bv", "-:text"};
    const std::string text = velmar_test::read_file(li3n);
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        std::istringstream line(text.substr(start, end - start));
        for (std::string word; line >> word;) words.push_back(word);
        words.push_back("-:nl");
        start = end + 1;
    }
    r = run_velmar(words);
    EXPECT_EQ(r.err, "");
    const auto from_file = run_velmar({"--cal-bv", li3n});
    EXPECT_EQ(r.out.substr(r.out.find("BV:")), from_file.out.substr(from_file.out.find("BV:")));
    EXPECT_EQ(run_velmar({"--text-cal-bv"}).err, "Error: not enough arguments.\n");
    EXPECT_EQ(
        run_velmar({"--text-cal-bv", "a", "b"}).err,
        "Error: text-mode key phrase not found.\nError: velmar_cmd_opt_cat_tail() returns NULL.\n");
}

TEST(Cli, LandscapeCommands) {
    velmar_test::ScratchDir dir;
    fs::copy_file(velmar_test::corpus("Li3N_P6mmm_OBELiX.cif"), dir / "Li3N.cif");
    fs::copy_file(velmar_test::corpus("LLZO_cubic_Ia-3d_partial_Li_VESTA.cif"), dir / "llzo.cif");
    auto r = run_velmar({"--gen-cube", "Li3N.cif", "Li"}, dir.path());
    EXPECT_TRUE(
        r.out.starts_with("Command: --gen-cube [input.cif] [type] [os] | {sf} {resolution} "
                          "{flag:ignore_conducting_ion} {flag:periodic} {flag:skip_mix_occ} "
                          "{output_name}\n\nCommand: [type] the element type of conducting ion"));
    EXPECT_TRUE(r.out.ends_with("Example: ./velmar.x --gen-cube Li2O.cif Li 1 0.71 0.05 f t\n"));
    EXPECT_EQ(run_velmar({"--gen-cube", "Li3N.cif", "Li", "x"}, dir.path()).err,
              "Error: wrong parameter conducting os.\n");
    EXPECT_EQ(run_velmar({"--gen-cube", "Li3N.cif", "Li", "1", "y"}, dir.path()).err,
              "Error: wrong parameter screening factor.\n");

    // Default names: the whole input name plus .cube; for the GII landscape the name up to its dot.
    r = run_velmar({"--gen-cube", "Li3N.cif", "Li", "1", "0", "0.3"}, dir.path());
    EXPECT_EQ(r.err, "");
    EXPECT_NE(r.out.find("Message: ignoring all Li1+ ions during cube generation.\n"),
              std::string::npos);
    EXPECT_NE(r.out.find("Message: cube file saved to Li3N.cif.cube.\n"), std::string::npos);
    r = run_velmar({"--gen-cube-gii", "Li3N.cif", "Li", "1", "0.6", "0.3"}, dir.path());
    EXPECT_NE(r.out.find("Message: cube_by_gii has been generated successfully.\n"),
              std::string::npos);
    EXPECT_TRUE(fs::exists(dir / "Li3N.cube"));
    r = run_velmar({"--print-cube", "Li3N.cube", "t"}, dir.path());
    EXPECT_NE(r.out.find("CUBE: cube size = 24 * 24 * 24\n"), std::string::npos);
    EXPECT_NE(r.out.find("CELL: [  3]ATOM: name=      ;type= N;os=-3;"), std::string::npos);

    // From ten words on, a periodic flag of t also asks to skip partially occupied sites.
    r = run_velmar({"--gen-cube", "llzo.cif", "Li", "1", "0.6", "0.6", "t", "t", "f", "out.cube"},
                   dir.path());
    EXPECT_NE(r.out.find("Cube file generation will be skipped.\n"), std::string::npos);
    // Partial Li sites: resolved at random in a supercell written beside, then computed in P 1.
    r = run_velmar({"--gen-cube", "llzo.cif", "Li", "1", "0.6", "0.6"}, dir.path());
    EXPECT_NE(r.out.find("Message: partial occupancy at conducting sites detected. Cube will be "
                         "generated based on an asigned supercell.\n"),
              std::string::npos);
    const auto assigned = velmar_test::load_cif_file(dir / "llzo_assigned.cif");
    ASSERT_EQ(assigned.status, 0);
    for (int32_t a = 0; a < assigned.cell->total; ++a) EXPECT_EQ(assigned.cell->atom[a].occ, 1.0);
    r = run_velmar({"--print-cube", "llzo.cif.cube"}, dir.path());
    EXPECT_NE(r.out.find("CUBE: cube size = 24 * 24 * 24\n"), std::string::npos);
    EXPECT_NE(r.out.find("CELL: total atom: " + std::to_string(assigned.cell->total) + "\n"),
              std::string::npos);
    // The total-energy command always skips partially occupied conducting sites.
    r = run_velmar({"--gen-cube-tot", "llzo.cif", "Li", "1"}, dir.path());
    EXPECT_NE(r.out.find("Cube file generation will be skipped.\n"), std::string::npos);
    EXPECT_FALSE(fs::exists(dir / "llzo.cube"));
    EXPECT_EQ(run_velmar({"--print-cube", "none.cube"}, dir.path()).err,
              "Error: velmar_cube_import_from_file() returns non-zero.\n");
}

TEST(Cli, CoordinationNumberCommands) {
    velmar_test::ScratchDir dir;
    fs::copy_file(fs::path(VELMAR_TEST_DATA) / "data" / "cn" / "NaCl.cif", dir / "NaCl.cif");
    // Help blocks: the command line with its arguments, an empty line, the arguments, examples.
    for (const char *command : {"--cal-cn", "--cal-cn-atom", "--cal-cn-type", "--cal-cn-bv"}) {
        const auto r = run_velmar({command, "NaCl.cif"}, dir.path());
        EXPECT_TRUE(r.out.starts_with(std::string("Command: ") + command + " [input.cif] ["))
            << command;
        EXPECT_NE(r.out.find(".\n\nCommand: ["), std::string::npos) << command;
        EXPECT_NE(r.out.find("\nExample: ./velmar.x " + std::string(command) + " "),
                  std::string::npos)
            << command;
        EXPECT_EQ(r.err, "") << command;
    }
    EXPECT_NE(run_velmar({"--cal-cn"})
                  .out.find("--cal-cn-bv, which weighs each bond by its bond "
                            "valence, is the better choice."),
              std::string::npos);

    auto r = run_velmar({"--cal-cn", "NaCl.cif", "Na"}, dir.path());
    EXPECT_EQ(r.err, "");
    EXPECT_TRUE(
        r.out.ends_with("CN:    Na1 Na1+  1.000   6.000     6   2.8200   2.0644\n"
                        "CN: average = 6.000\n"
                        "Message: coordination numbers written to NaCl.cif.cn.csv.\n"));
    EXPECT_TRUE(velmar_test::read_file(dir / "NaCl.cif.cn.csv")
                    .starts_with("label,type,os,occ,x_f,y_f,z_f,cn,sites,shell,gap\r\n"));
    r = run_velmar({"--cal-cn-type", "NaCl.cif", "Cl", "-1", "Na", "1", "8"}, dir.path());
    EXPECT_NE(r.out.find("CN: average coordination number of Cl1- by Na1+ = 6.000\n"),
              std::string::npos);
    r = run_velmar({"--cal-cn-atom", "NaCl.cif", "Cl1"}, dir.path());
    EXPECT_NE(r.out.find("CN:      Na1 Na1+  1.000    2.8200    0.1542   yes\n"),
              std::string::npos);
    EXPECT_TRUE(velmar_test::read_file(dir / "NaCl.cif.cn.csv")
                    .starts_with("label,type,os,occ,x_f,y_f,z_f,cn,neighbour,neighbour_type,"
                                 "neighbour_os,neighbour_occ,distance,bv,in_shell\r\n"
                                 "Cl1,Cl,-1,1.0000,0.500000,0.500000,0.500000,6.0000,Na1,Na,1,"
                                 "1.0000,2.8200,0.1542,1\r\n"));
    r = run_velmar({"--cal-cn-bv", "NaCl.cif", "Na1"}, dir.path());
    EXPECT_NE(r.out.find("CN: a bond counts when it carries at least 4.0 % of the site's "
                         "bond-valence sum; cn_eff = (sum s)^2 / sum s^2.\n"),
              std::string::npos);
    EXPECT_NE(r.out.find("CN:    Na1 Na1+  1.000   6.000   6.539  0.966495   2.8200   2.0644\n"),
              std::string::npos);

    // Failures: an error line and its caller's, no table written.
    fs::remove(dir / "NaCl.cif.cn.csv");
    r = run_velmar({"--cal-cn", "NaCl.cif", "Xx"}, dir.path());
    EXPECT_EQ(r.err,
              "Error: no atom is labelled Xx and no atom is of element Xx.\n"
              "Error: velmar_cn_calculate_by_rdf() returns NULL.\n");
    EXPECT_EQ(run_velmar({"--cal-cn", "NaCl.cif", "Na", "6A"}, dir.path()).err,
              "Error: invalid r_max '6A'.\n");
    EXPECT_EQ(run_velmar({"--cal-cn-atom", "NaCl.cif", "Na", "0"}, dir.path()).err,
              "Error: r_max must be a positive number of angstrom, not 0.\n"
              "Error: velmar_cn_calculate_shell() returns NULL.\n"
              "Error: velmar_cn_calculate_shell_from_cell() returns NULL.\n");
    EXPECT_EQ(run_velmar({"--cal-cn-type", "NaCl.cif", "Na", "+", "Cl", "-1"}, dir.path()).err,
              "Error: invalid os1 '+'.\n");
    EXPECT_FALSE(fs::exists(dir / "NaCl.cif.cn.csv"));
}

TEST(Cli, PrintSysShowsTheDatabasesBesideTheExecutable) {
    const std::string dir = velmar_test::velmar_exe().parent_path().string() + "/";
    const auto r = run_velmar({"--print-sys"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "CMD_OPT: dir_unitary=     " + dir + "database_unitary.dat\n" +
                         "CMD_OPT: dir_binary=      " + dir + "database_binary.dat\n" +
                         "CMD_OPT: dir_symcards=    " + dir + "database_symcards.dat\n" +
                         "CMD_OPT: path_executable= " + dir + "\n" +
                         "CMD_OPT: mode_text=   \"-:text\"\n" + "CMD_OPT: mode_newline=\"-:nl\"\n");
    EXPECT_EQ(r.err, "");
}

TEST(Cli, BareNameUsesTheWorkingDirectoryThenTheExecutablesOwn) {
    const std::string exe = velmar_test::velmar_exe().string();
    // In the build directory the databases are found through "./".
    auto r = run(exe, "velmar.x", {"--print-sys"}, velmar_test::velmar_exe().parent_path());
    EXPECT_TRUE(r.out.starts_with("CMD_OPT: dir_unitary=     ./database_unitary.dat\n")) << r.out;
    EXPECT_EQ(r.out.find("Warning"), std::string::npos);
    // Elsewhere (a bare name found through PATH) those beside the executable itself serve.
    velmar_test::ScratchDir elsewhere;
    r = run(exe, "velmar.x", {"--print-sys"}, elsewhere.path());
    const std::string dir = velmar_test::velmar_exe().parent_path().string() + "/";
    EXPECT_TRUE(r.out.starts_with("CMD_OPT: dir_unitary=     " + dir + "database_unitary.dat\n"))
        << r.out;
    EXPECT_EQ(r.out.find("Warning"), std::string::npos);
}

// An installation keeps the databases in <prefix>/share/velmar; a symbolic link to velmar.x
// elsewhere still finds them.
TEST(Cli, AnInstalledCopyFindsItsDatabasesInShare) {
    velmar_test::ScratchDir prefix;
    fs::create_directories(prefix / "bin");
    fs::create_directories(prefix / "share" / "velmar");
    fs::copy_file(velmar_test::velmar_exe(), prefix / "bin" / "velmar.x");
    for (const char *db : {"database_unitary.dat", "database_binary.dat", "database_symcards.dat"})
        fs::copy_file(velmar_test::velmar_exe().parent_path() / db,
                      prefix / "share" / "velmar" / db);
    fs::create_directories(prefix / "links");
    fs::create_symlink(prefix / "bin" / "velmar.x", prefix / "links" / "velmar.x");
    velmar_test::ScratchDir elsewhere;
    for (const fs::path &called : {prefix / "bin" / "velmar.x", prefix / "links" / "velmar.x"}) {
        const auto r = run(called.string(), called.string(), {"--print-sys"}, elsewhere.path());
        const std::string data = fs::canonical(prefix / "share" / "velmar").string() + "/";
        EXPECT_EQ(r.out.find("Warning"), std::string::npos) << r.out;
        EXPECT_NE(r.out.find("CMD_OPT: dir_symcards=    " + data + "database_symcards.dat\n"),
                  std::string::npos)
            << r.out;
    }
}

// The manual page and the bash completion name every command of the table.
TEST(Cli, ManualPageAndCompletionKnowEveryCommand) {
    const std::string table =
        velmar_test::read_file(velmar_test::source_dir() / "src" / "cli" / "velmar-cmd.cpp");
    const std::string man =
        velmar_test::read_file(velmar_test::source_dir() / "docs" / "velmar.x.1");
    const std::string completion =
        velmar_test::read_file(velmar_test::source_dir() / "docs" / "velmar.x.bash-completion");
    std::string roff;  // the manual with its escaped hyphens plain
    for (size_t i = 0; i < man.size(); ++i) {
        if (man[i] == '\\' && i + 1 < man.size() && man[i + 1] == '-') continue;
        roff += man[i];
    }
    size_t at = table.find("constexpr Command kCommands[]");
    const size_t end = table.find("};", at);
    int commands = 0;
    while ((at = table.find("{\"-", at)) < end) {
        const size_t close = table.find('"', at + 2);
        const std::string name = table.substr(at + 2, close - at - 2);
        at = close;
        ++commands;
        bool listed = false;  // a whole word of the completion's list
        for (size_t p = completion.find(name); p != std::string::npos && !listed;
             p = completion.find(name, p + 1)) {
            const char before = p > 0 ? completion[p - 1] : ' ';
            const char after = completion[p + name.size()];
            listed =
                (before == ' ' || before == '"') && (after == ' ' || after == '"' || after == '\n');
        }
        EXPECT_TRUE(listed) << name;
        EXPECT_TRUE(roff.find(name + " ") != std::string::npos ||
                    roff.find(name + ",") != std::string::npos ||
                    roff.find(name + "\n") != std::string::npos)
            << name;
    }
    EXPECT_GT(commands, 40);
}

TEST(Cli, ACopyWithoutDatabasesWarnsAndStillRuns) {
    velmar_test::ScratchDir dir;
    const fs::path copy = dir / "velmar.x";
    fs::copy_file(velmar_test::velmar_exe(), copy);
    const auto r = run(copy.string(), copy.string(), {"--help"});
    EXPECT_EQ(r.status, 0);
    const std::string golden =
        velmar_test::read_file(fs::path(VELMAR_TEST_DATA) / "golden/help.txt");
    EXPECT_EQ(r.out, warnings_for(dir.path().string() + "/") + golden);
}

}  // namespace
