// Text buffer: the block growth rule, dump, file round trips and the row splitter.
#include "core/velmar-text.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/velmar-array.h"
#include "core/velmar.h"
#include "support/support.h"

namespace {

using Text = velmar::Owned<VELMAR_TEXT, velmar_text_free>;
using velmar_test::capture;

std::vector<std::string> split(const std::string &s, char sep = '\n') {
    Text text(velmar_text_new(s.c_str()));
    char **rows = nullptr;
    long n = 0;
    std::vector<std::string> result;
    const auto printed =
        capture([&] { EXPECT_EQ(velmar_text_segregate_into_rows(&rows, &n, text.get(), sep), 0); });
    EXPECT_EQ(printed.out, "Message: total lines in the cif: " + std::to_string(n) + "\n");
    for (long i = 0; i < n; ++i) result.emplace_back(rows[i]);
    velmar_array_char_2D_free(rows, n);
    return result;
}

TEST(TextAppend, GrowsOnlyWhenTheTerminatorWouldNotFit) {
    Text text(velmar_text_new(nullptr));
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(text->allocated, 1024);
    EXPECT_EQ(text->length, 0);

    // 1,023 characters and the terminator fill one block exactly.
    ASSERT_EQ(velmar_text_append(text.get(), std::string(1023, 'a').c_str()), 0);
    EXPECT_EQ(text->allocated, 1024);
    EXPECT_EQ(text->length, 1023);
    ASSERT_EQ(velmar_text_append(text.get(), "b"), 0);
    EXPECT_EQ(text->allocated, 2048);
    EXPECT_EQ(text->length, 1024);
    EXPECT_EQ(text->content[1023], 'b');
    EXPECT_EQ(text->content[1024], '\0');

    Text fresh(velmar_text_new(std::string(1024, 'x').c_str()));
    EXPECT_EQ(fresh->allocated, 2048);
    // A large append jumps straight to the block count it needs.
    ASSERT_EQ(velmar_text_append(fresh.get(), std::string(5000, 'y').c_str()), 0);
    EXPECT_EQ(fresh->length, 6024);
    EXPECT_EQ(fresh->allocated, 6144);
    EXPECT_EQ(std::string(fresh->content).size(), 6024u);
}

TEST(TextAppend, NullArgumentsAreNoOps) {
    Text text(velmar_text_new("abc"));
    EXPECT_EQ(velmar_text_append(text.get(), nullptr), 0);
    EXPECT_EQ(velmar_text_append(nullptr, "x"), 0);
    EXPECT_STREQ(text->content, "abc");

    const auto printed = capture([&] { EXPECT_EQ(velmar_text_cat(nullptr, text.get()), 1); });
    EXPECT_EQ(printed.err, "Error: VELMAR_TEXT has not been properly initialized.\n");
}

TEST(TextAppend, CatJoinsTwoBuffers) {
    Text a(velmar_text_new("data_"));
    Text b(velmar_text_new("Li3N\n"));
    Text empty(velmar_text_new(nullptr));
    ASSERT_EQ(velmar_text_cat(a.get(), b.get()), 0);
    ASSERT_EQ(velmar_text_cat(a.get(), empty.get()), 0);
    EXPECT_STREQ(a->content, "data_Li3N\n");
    EXPECT_EQ(a->length, 10);
}

TEST(TextDump, ShrinksBackToOneZeroedBlock) {
    Text text(velmar_text_new(std::string(5000, 'z').c_str()));
    ASSERT_EQ(text->allocated, 5120);
    ASSERT_EQ(velmar_text_dump(text.get()), 0);
    EXPECT_EQ(text->allocated, 1024);
    EXPECT_EQ(text->length, 0);
    for (int i = 0; i < 1024; ++i) ASSERT_EQ(text->content[i], '\0') << i;
    // Still usable afterwards.
    ASSERT_EQ(velmar_text_append(text.get(), "again"), 0);
    EXPECT_STREQ(text->content, "again");

    const auto printed = capture([] { EXPECT_EQ(velmar_text_dump(nullptr), 1); });
    EXPECT_EQ(printed.err, "Error: VELMAR_TEXT has not been properly allocated.\n");
}

TEST(TextRows, SplitsAtEveryLineFeedKeepingEmptyRows) {
    EXPECT_EQ(split("a\nb"), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(split("a\nb\n"), (std::vector<std::string>{"a", "b", ""}));
    EXPECT_EQ(split(""), (std::vector<std::string>{""}));
    EXPECT_EQ(split("\n\n"), (std::vector<std::string>{"", "", ""}));
    // Carriage returns stay at the end of their rows; readers treat them as white space.
    EXPECT_EQ(split("data_x\r\n_cell_length_a 4.0\r\n"),
              (std::vector<std::string>{"data_x\r", "_cell_length_a 4.0\r", ""}));
    EXPECT_EQ(split("a;b", ';'), (std::vector<std::string>{"a", "b"}));
}

TEST(TextFile, RoundTripKeepsLineEndsByteForByte) {
    velmar_test::ScratchDir dir;
    const std::string content = "line one\r\nline two\nno final break";
    Text text(velmar_text_new(content.c_str()));
    const auto path = (dir / "out.txt").string();
    ASSERT_EQ(velmar_text_export_to_file(text.get(), path.c_str()), 0);
    EXPECT_EQ(velmar_test::read_file(path), content);

    Text more(velmar_text_new("\r\ntail"));
    ASSERT_EQ(velmar_text_append_to_file(more.get(), path.c_str()), 0);
    Text back(velmar_text_import_from_file(path.c_str()));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(std::string(back->content), content + "\r\ntail");
    EXPECT_EQ(back->length, static_cast<int32_t>(content.size() + 6));
    EXPECT_EQ(back->allocated, 1024);

    // A file of exactly 1,024 bytes needs a second block for its terminator.
    velmar_test::write_file(dir / "k.txt", std::string(1024, 'k'));
    Text k(velmar_text_import_from_file((dir / "k.txt").c_str()));
    ASSERT_NE(k, nullptr);
    EXPECT_EQ(k->allocated, 2048);
    EXPECT_EQ(k->length, 1024);
}

TEST(TextFile, RefusesMissingEmptyAndUnwritableFiles) {
    velmar_test::ScratchDir dir;
    const auto empty = (dir / "empty.cif").string();
    velmar_test::write_file(empty, "");
    auto printed =
        capture([&] { EXPECT_EQ(velmar_text_import_from_file(empty.c_str()), nullptr); });
    EXPECT_EQ(printed.err, "Error: failed to read content of " + empty + "\n");

    const auto missing = (dir / "missing.cif").string();
    printed = capture([&] { EXPECT_EQ(velmar_text_import_from_file(missing.c_str()), nullptr); });
    EXPECT_EQ(printed.err, "Error: unable to open " + missing + "\n");

    // A directory opens but has nothing to read.
    printed =
        capture([&] { EXPECT_EQ(velmar_text_import_from_file(dir.path().c_str()), nullptr); });
    EXPECT_EQ(printed.err, "Error: failed to read content of " + dir.path().string() + "\n");

    Text text(velmar_text_new("x"));
    const auto unwritable = (dir / "no-such-dir" / "out.txt").string();
    printed =
        capture([&] { EXPECT_EQ(velmar_text_export_to_file(text.get(), unwritable.c_str()), 1); });
    EXPECT_EQ(printed.err, "Error: unable to open " + unwritable + ".\n");
    printed = capture([&] { EXPECT_EQ(velmar_text_export_to_file(nullptr, empty.c_str()), 1); });
    EXPECT_EQ(printed.err, "Error: VELMAR_TEXT has not been properly allocated.\n");
}

TEST(TextPrint, WritesContentAndLineBreak) {
    Text text(velmar_text_new("hello"));
    EXPECT_EQ(capture([&] { velmar_text_print(text.get()); }).out, "hello\n");
    EXPECT_EQ(capture([] { velmar_text_print(nullptr); }).out, "(not allocated)\n");
}

}  // namespace
