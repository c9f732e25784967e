// The driver in-process: path splitting, the options record, database lookup, the record dump, the
// text-mode joiner and dispatch by exact command name.
#include "cli/velmar-cmd.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "core/velmar.h"
#include "support/support.h"

namespace {

using Opt = velmar::Owned<VELMAR_CMD_OPT, velmar_cmd_opt_free>;
using Text = velmar::Owned<VELMAR_TEXT, velmar_text_free>;
using velmar_test::capture;

// An argument vector that stays alive for the duration of a test.
class Args {
  public:
    Args(std::initializer_list<std::string> args) : storage_(args) {
        for (auto &s : storage_) pointers_.push_back(s.data());
        pointers_.push_back(nullptr);
    }
    int argc() const { return static_cast<int>(storage_.size()); }
    char **argv() { return pointers_.data(); }

  private:
    std::vector<std::string> storage_;
    std::vector<char *> pointers_;
};

std::string split_dir(const char *path) {
    char *dir = nullptr;
    char *name = nullptr;
    EXPECT_EQ(velmar_cmd_opt_split_path(&dir, &name, path), 0);
    std::string result = std::string(dir) + "|" + name;
    std::free(dir);
    std::free(name);
    return result;
}

TEST(CmdPath, SplitsAtTheLastSeparator) {
    EXPECT_EQ(split_dir("/opt/velmar/bin/velmar.x"), "/opt/velmar/bin/|velmar.x");
    EXPECT_EQ(split_dir("velmar.x"), "./|velmar.x");
    EXPECT_EQ(split_dir("./velmar.x"), "./|velmar.x");
    EXPECT_EQ(split_dir("build/"), "build/|");
    EXPECT_EQ(split_dir(""), "./|");
    char *dir = nullptr;
    ASSERT_EQ(velmar_cmd_opt_split_path(&dir, nullptr, "a/b"), 0);
    EXPECT_STREQ(dir, "a/");
    std::free(dir);

    char type[3];
    velmar_cmd_opt_get_type(type, "Li");
    EXPECT_STREQ(type, "Li");
    velmar_cmd_opt_get_type(type, "Na+");
    EXPECT_STREQ(type, "Na");
    velmar_cmd_opt_get_type(type, "O");
    EXPECT_STREQ(type, "O");
}

class CmdDatabases : public testing::Test {
  protected:
    void place_databases() {
        for (const char *db :
             {"database_unitary.dat", "database_binary.dat", "database_symcards.dat"})
            velmar_test::write_file(dir_ / db, "x\n");
    }
    velmar_test::ScratchDir dir_;
};

TEST_F(CmdDatabases, FoundBesideTheExecutableWithoutWarnings) {
    place_databases();
    const std::string exe = (dir_ / "velmar.x").string();
    Args args{exe, "--print-sys"};
    Opt opt;
    const auto printed = capture([&] { opt.reset(velmar_cmd_opt_init(args.argc(), args.argv())); });
    ASSERT_NE(opt, nullptr);
    EXPECT_EQ(printed.out, "");
    const std::string dir = dir_.path().string() + "/";
    EXPECT_EQ(opt->path_executable, dir);
    EXPECT_EQ(opt->dir_unitary, dir + "database_unitary.dat");
    EXPECT_EQ(opt->dir_binary, dir + "database_binary.dat");
    EXPECT_EQ(opt->dir_symcards, dir + "database_symcards.dat");
    EXPECT_EQ(opt->argc, 2);
    EXPECT_EQ(opt->argv, args.argv());
    EXPECT_EQ(capture([&] { velmar_cmd_opt_print(opt.get()); }).out,
              "CMD_OPT: dir_unitary=     " + dir + "database_unitary.dat\n" +
                  "CMD_OPT: dir_binary=      " + dir + "database_binary.dat\n" +
                  "CMD_OPT: dir_symcards=    " + dir + "database_symcards.dat\n" +
                  "CMD_OPT: path_executable= " + dir + "\n" +
                  "CMD_OPT: mode_text=   \"-:text\"\n"
                  "CMD_OPT: mode_newline=\"-:nl\"\n");
    EXPECT_EQ(capture([] { velmar_cmd_opt_print(nullptr); }).out, "CMD_OPT: (not allocated)\n");
}

TEST_F(CmdDatabases, MissingFilesWarnInOrderButTheRecordIsBuilt) {
    const std::string dir = dir_.path().string() + "/";
    Args args{dir + "velmar.x", "--help"};
    Opt opt;
    const auto printed = capture([&] { opt.reset(velmar_cmd_opt_init(args.argc(), args.argv())); });
    ASSERT_NE(opt, nullptr);
    EXPECT_EQ(printed.out, "Warning: unable to find " + dir + "database_unitary.dat\n" +
                               "Warning: unable to find " + dir + "database_binary.dat\n" +
                               "Warning: unable to find " + dir + "database_symcards.dat\n");
    EXPECT_EQ(printed.err, "");
}

TEST_F(CmdDatabases, BareNameLooksInTheWorkingDirectory) {
    place_databases();
    const auto previous = std::filesystem::current_path();
    std::filesystem::current_path(dir_.path());
    Args args{"velmar.x"};
    Opt opt;
    const auto printed = capture([&] { opt.reset(velmar_cmd_opt_init(args.argc(), args.argv())); });
    std::filesystem::current_path(previous);
    ASSERT_NE(opt, nullptr);
    EXPECT_EQ(printed.out, "");
    EXPECT_STREQ(opt->path_executable, "./");
    EXPECT_STREQ(opt->dir_unitary, "./database_unitary.dat");
}

TEST(CmdInit, RefusesAnOverlongExecutablePath) {
    const std::string ok = "/" + std::string(998, 'd');
    const std::string too_long = "/" + std::string(999, 'd');
    Args fits{ok};
    Args overflows{too_long};
    Opt opt;
    auto printed = capture([&] { opt.reset(velmar_cmd_opt_init(fits.argc(), fits.argv())); });
    EXPECT_NE(opt, nullptr);
    printed = capture([&] { opt.reset(velmar_cmd_opt_init(overflows.argc(), overflows.argv())); });
    EXPECT_EQ(opt, nullptr);
    EXPECT_EQ(printed.err, "Error: executable path too long.\n");

    int status = 0;
    printed = capture([&] { status = velmar_cmd_start(overflows.argc(), overflows.argv()); });
    EXPECT_EQ(status, 1);
    EXPECT_EQ(printed.err,
              "Error: executable path too long.\nError: velmar_cmd_opt_init() returns NULL.\n");
}

// Joins the arguments of a text-mode command line; "<null>" stands for a failure, whose message
// is kept in *err.
std::string join(Args args, std::string *err = nullptr) {
    Opt opt;
    Text text;
    const auto printed = capture([&] {
        opt.reset(velmar_cmd_opt_init(args.argc(), args.argv()));
        text.reset(velmar_cmd_opt_cat_tail(opt.get()));
    });
    if (err != nullptr) *err = printed.err;
    return text ? std::string(text->content) : std::string("<null>");
}

TEST(CmdTextMode, JoinsWordsAndLineBreaks) {
    EXPECT_EQ(join({"/x/velmar.x", "--text-cal-bv", "-:text", "a", "-:nl", "b"}), " a\n b");
    EXPECT_EQ(join({"/x/velmar.x", "--text-cal-bv", "-:text", "data_Li", "-:nl", "_cell_length_a",
                    "4.0", "-:nl"}),
              " data_Li\n _cell_length_a 4.0\n");
    // The last key phrase counts.
    EXPECT_EQ(join({"/x/velmar.x", "--text-cal-bv", "-:text", "a", "-:text", "b"}), " b");
    // Key phrases that match only in part are words like any other.
    EXPECT_EQ(join({"/x/velmar.x", "--text-cal-bv", "-:text", "-:texts", "-:n"}), " -:texts -:n");

    // A key phrase as the very last argument is never examined.
    std::string err;
    EXPECT_EQ(join({"/x/velmar.x", "--text-cal-bv", "a", "b", "-:text"}, &err), "<null>");
    EXPECT_EQ(err, "Error: text-mode key phrase not found.\n");
}

TEST(CmdDispatch, ExactCommandsOnly) {
    const std::string unknown = "Error: arguments not recognized. '-h' for help.\n";
    for (const char *name :
         {"--Print-cell", "--print", "--HELP", "-V", "print-cell", "--gen-cif-"}) {
        Args args{"/nowhere/velmar.x", name};
        int status = -1;
        const auto printed = capture([&] { status = velmar_cmd_start(args.argc(), args.argv()); });
        EXPECT_EQ(status, 0) << name;
        EXPECT_TRUE(printed.out.ends_with(unknown)) << name;
        EXPECT_EQ(printed.err, "") << name;
    }
}

TEST(CmdDispatch, EveryCommandReachesAHandler) {
    const char *commands[] = {"--print-cell",
                              "--print-ppt",
                              "--print-ppt-full",
                              "--print-sym",
                              "--print-cube",
                              "--gen-cif",
                              "--gen-cif-reduced",
                              "--gen-cif-p1",
                              "--gen-cif-assign",
                              "--gen-cif-assign-all",
                              "--gen-gin-lib",
                              "--gen-gin-eam",
                              "--gen-gin",
                              "--gen-lmp",
                              "--gen-cube",
                              "--gen-cube-gii",
                              "--gen-cube-tot",
                              "--cal-charge",
                              "--cal-bv",
                              "--cal-bv-gui",
                              "--cal-bv-type",
                              "--cal-gii",
                              "--cal-cn",
                              "--cal-cn-atom",
                              "--cal-cn-type",
                              "--cal-cn-bv",
                              "--cal-sym",
                              "--cal-tot-en",
                              "--rx-sd",
                              "--rx-neb",
                              "--rx-neb-images",
                              "--fft",
                              "--fft-cubes",
                              "--fp-map",
                              "--gh",
                              "--kmc",
                              "--sites",
                              "--md",
                              "--text-cal-bv",
                              "--text-gen-gin-lib",
                              "--text-gen-gin-lib-set-sf",
                              "--print-sys",
                              "--help",
                              "-h",
                              "--version",
                              "-v"};
    for (const char *name : commands) {
        Args args{"/nowhere/velmar.x", name};
        const auto printed = capture([&] { velmar_cmd_start(args.argc(), args.argv()); });
        EXPECT_EQ(printed.out.find("arguments not recognized"), std::string::npos) << name;
    }
}

}  // namespace
