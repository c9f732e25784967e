// velmar.x run as a separate process: stdout, stderr and exit status compared byte for byte with
// the documented texts.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support.h"

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

TEST(Cli, CommandsOfLaterSubsystemsSayTheyAreNotAvailable) {
    const auto r = run_velmar({"--kmc", "Li3N.cif", "Li3N.cif.cube"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "Error: command not available in this build.\n");
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

TEST(Cli, BareNameUsesTheWorkingDirectory) {
    const std::string exe = velmar_test::velmar_exe().string();
    // In the build directory the databases are found through "./".
    auto r = run(exe, "velmar.x", {"--print-sys"}, velmar_test::velmar_exe().parent_path());
    EXPECT_TRUE(r.out.starts_with("CMD_OPT: dir_unitary=     ./database_unitary.dat\n")) << r.out;
    EXPECT_EQ(r.out.find("Warning"), std::string::npos);
    // Elsewhere they are missing, and even --help says so first.
    velmar_test::ScratchDir elsewhere;
    r = run(exe, "velmar.x", {"--help"}, elsewhere.path());
    EXPECT_EQ(r.status, 0);
    EXPECT_TRUE(r.out.starts_with(warnings_for("./") + "Message: avalable commands are listed.\n"));
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
