// Output files appear under their final name only when complete.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "core/velmar-output.h"
#include "support/support.h"

namespace {

using velmar_test::read_file;
using velmar_test::ScratchDir;
using velmar_test::write_file;
namespace fs = std::filesystem;

size_t entries(const fs::path &dir) {
    size_t n = 0;
    for ([[maybe_unused]] const auto &e : fs::directory_iterator(dir)) ++n;
    return n;
}

TEST(OutputFile, AppearsOnlyOnCommitAndReplacesTheOldFile) {
    ScratchDir dir;
    const auto path = dir / "a.txt";
    write_file(path, "old");
    {
        velmar::OutputFile out(path.string());
        ASSERT_TRUE(out.ok());
        std::fputs("new", out.get());
        std::fflush(out.get());
        EXPECT_EQ(read_file(path), "old");  // still the old one while being written
        EXPECT_EQ(out.commit(), 0);
    }
    EXPECT_EQ(read_file(path), "new");
    EXPECT_EQ(entries(dir.path()), 1U);  // no temporary left
}

TEST(OutputFile, AbandonedOrFailedWritesLeaveNothingBehind) {
    ScratchDir dir;
    {
        velmar::OutputFile out((dir / "b.txt").string());
        std::fputs("half", out.get());
    }  // destroyed without commit
    EXPECT_EQ(entries(dir.path()), 0U);

    // A final name that cannot be replaced (a directory) makes commit fail and clean up.
    fs::create_directory(dir / "c.txt");
    velmar::OutputFile out((dir / "c.txt").string());
    ASSERT_TRUE(out.ok());
    EXPECT_NE(out.commit(), 0);
    EXPECT_TRUE(fs::is_directory(dir / "c.txt"));
    EXPECT_EQ(entries(dir.path()), 1U);
}

TEST(OutputFile, CreatabilityIsCheckedWithoutTouchingTheTarget) {
    ScratchDir dir;
    write_file(dir / "d.txt", "keep");
    EXPECT_TRUE(velmar::output_can_be_created((dir / "d.txt").string()));
    EXPECT_EQ(read_file(dir / "d.txt"), "keep");
    EXPECT_FALSE(velmar::output_can_be_created((dir / "no-such-dir" / "e.txt").string()));
    velmar::OutputFile out((dir / "no-such-dir" / "e.txt").string());
    EXPECT_FALSE(out.ok());
    EXPECT_NE(out.commit(), 0);
    EXPECT_EQ(entries(dir.path()), 1U);
}

// Several files appear together or not at all.
TEST(OutputFile, FilesWrittenTogetherAppearOnlyWhenAllAreComplete) {
    ScratchDir dir;
    const std::string first = (dir / "first.txt").string();
    const auto out = velmar_test::capture([&] {
        EXPECT_NE(
            velmar::write_files({{first, "one"}, {(dir / "no-such-dir" / "x").string(), "two"}}),
            0);
    });
    EXPECT_EQ(out.err, "Error: unable to write " + (dir / "no-such-dir" / "x").string() + ".\n");
    EXPECT_EQ(entries(dir.path()), 0U);
    EXPECT_EQ(velmar::write_files({{first, "one"}, {(dir / "second.txt").string(), "two"}}), 0);
    EXPECT_EQ(read_file(first), "one");
    EXPECT_EQ(read_file(dir / "second.txt"), "two");
    EXPECT_EQ(entries(dir.path()), 2U);
    // A directory in the way is refused by the check as well.
    EXPECT_FALSE(velmar::output_can_be_created(dir.path().string()));
}

}  // namespace
