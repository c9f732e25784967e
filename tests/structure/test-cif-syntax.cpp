// CIF syntax: data items, text fields, loops and the tokenising of loop rows.
#include "structure/velmar-cif-syntax.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "support/support.h"

namespace {

using velmar_test::capture;

// Rows of a text split at line feeds, as the reader sees them.
class Rows {
  public:
    explicit Rows(const std::string &text) {
        size_t start = 0;
        while (true) {
            const size_t end = text.find('\n', start);
            storage_.push_back(text.substr(start, end - start));
            if (end == std::string::npos) break;
            start = end + 1;
        }
        for (auto &s : storage_) pointers_.push_back(s.data());
    }
    char **content() { return pointers_.data(); }
    long row() const { return static_cast<long>(pointers_.size()); }

  private:
    std::vector<std::string> storage_;
    std::vector<char *> pointers_;
};

std::string grep(const std::string &text, const char *keyword) {
    Rows rows(text);
    char *value = velmar_cell_import_cif_grep_keyword(keyword, rows.content(), rows.row());
    std::string result = value == nullptr ? "<null>" : value;
    std::free(value);
    return result;
}

// The loop containing keyword as rows of cells joined by '|' ("~" for an empty cell).
std::vector<std::string> loop(const std::string &text, const char *keyword,
                              std::string *err = nullptr) {
    Rows rows(text);
    velmar::CifLoop table;
    int status = 0;
    const auto printed = capture([&] { status = table.grep(keyword, rows.content(), rows.row()); });
    if (err != nullptr) *err = printed.out + printed.err;
    std::vector<std::string> result;
    if (status != 0) return result;
    for (int r = 0; r < table.rows; ++r) {
        std::string line;
        for (int c = 0; c < table.cols; ++c) {
            if (c > 0) line += '|';
            line += table.table[r][c] != nullptr ? table.table[r][c] : "~";
        }
        result.push_back(line);
    }
    return result;
}

TEST(CifItem, PlainQuotedAndTextFieldValues) {
    EXPECT_EQ(grep("_cell_length_a   4.6190(2)\r\n_cell_length_b 5", "_cell_length_a"),
              "4.6190(2)");
    EXPECT_EQ(
        grep("_symmetry_space_group_name_H-M   'P 1 21/n 1'\r", "_symmetry_space_group_name_H-M"),
        "P 1 21/n 1");
    EXPECT_EQ(grep("_chemical_name ''", "_chemical_name"), "");
    // A value on the following row is not accepted, nor is a missing item.
    EXPECT_EQ(grep("_cell_length_a\r\n4.0\n", "_cell_length_a"), "<null>");
    EXPECT_EQ(grep("_cell_length_a 4.0", "_cell_length_b"), "<null>");
    // Text field: the rows between the semicolon rows, joined without their line breaks.
    EXPECT_EQ(grep("_note\n;ignored\nfirst\r\nsecond\n;\n_x 1", "_note"), "firstsecond");
    EXPECT_EQ(grep("_note\n;\n;\n", "_note"), "");
    EXPECT_EQ(grep("_note\n;\nnever closed\n\n", "_note"), "<null>");
    // On the last two rows a semicolon row is not taken as a text field.
    EXPECT_EQ(grep("_note\n;", "_note"), "<null>");
}

TEST(CifLoop, EndsAtTheRightRow) {
    const std::string head = "loop_\n_atom_site_label\n_atom_site_occupancy\nLi1 1.0\nO1 0.5\n";
    const std::vector<std::string> expected{"_atom_site_label|_atom_site_occupancy", "Li1|1.0",
                                            "O1|0.5"};
    for (const std::string tail :
         {"", "\n", "# comment\nX 1\n", "loop_\n_a\n1\n", "_cell_length_a 3\n"}) {
        EXPECT_EQ(loop(head + tail, "_atom_site_label"), expected) << tail;
    }
    // The end of the file ends the loop with the last row included, with or without a line feed.
    EXPECT_EQ(loop("loop_\n_a\n_b\n1 2\n3 4", "_b"),
              (std::vector<std::string>{"_a|_b", "1|2", "3|4"}));
    // The second loop is found after the first one, and a short row leaves empty cells.
    EXPECT_EQ(loop("loop_\n_x\n1\nloop_\n _y  extra words\n _z\n  5\n", "_z"),
              (std::vector<std::string>{"_y|_z", "5|~"}));
}

TEST(CifLoop, QuotedTokensAndMalformedRows) {
    EXPECT_EQ(loop("loop_\n_atom_site_label\n_x\n'Mo (1)' 0.25(3)\n", "_atom_site_label"),
              (std::vector<std::string>{"_atom_site_label|_x", "Mo (1)|0.25(3)"}));
    EXPECT_EQ(loop("loop_\n_s\n_t\n1 'x, y, z'\n", "_t"),
              (std::vector<std::string>{"_s|_t", "1|x, y, z"}));
    std::string err;
    EXPECT_TRUE(loop("loop_\n_a\n_b\nx 'open\n", "_a", &err).empty());
    EXPECT_EQ(err, "Error: open single quotation mark detected at row 1.\n");
    EXPECT_TRUE(loop("loop_\n_op\n-x, y, z\n", "_op", &err).empty());
    EXPECT_NE(err.find("has 3 fields for 1 tags"), std::string::npos);
    EXPECT_TRUE(loop("loop_\n_a\n\n", "_a", &err).empty());
    EXPECT_EQ(err, "Warning: _loop block containing _a not found.\n");
    EXPECT_TRUE(loop("_a 1\n", "_a", &err).empty());
}

TEST(CifLine, BlankAndFirstCharacter) {
    EXPECT_TRUE(velmar_array_char_1D_is_blank_line(nullptr));
    EXPECT_TRUE(velmar_array_char_1D_is_blank_line(" \t\r"));
    EXPECT_FALSE(velmar_array_char_1D_is_blank_line("  #"));
    EXPECT_EQ(velmar_array_char_1D_first_nonspace_char("\t _x"), '_');
    EXPECT_EQ(velmar_array_char_1D_first_nonspace_char(""), 0);
}

}  // namespace
