// Atom, cell, card and symmetry records: construction rules, deep copy and the print formats.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "core/velmar.h"
#include "structure/velmar-cell.h"
#include "structure/velmar-symmetry.h"
#include "support/support.h"

namespace {

using velmar_test::capture;
using Cell = velmar::Owned<VELMAR_CELL, velmar_cell_free>;
using Symmetry = velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free>;

void fill_atom(VELMAR_ATOM &atom, const char *name, const char *type, int os, double x, double y,
               double z, double occ) {
    std::strcpy(atom.name, name);
    std::strcpy(atom.type, type);
    atom.os = os;
    atom.x_f[0] = x;
    atom.x_f[1] = y;
    atom.x_f[2] = z;
    atom.occ = occ;
}

TEST(Cell, CountsAndEmptyCells) {
    Cell empty(velmar_cell_new(0));
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->total, 0);
    EXPECT_EQ(empty->atom, nullptr);

    auto printed = capture([] { EXPECT_EQ(velmar_atom_new(0), nullptr); });
    EXPECT_EQ(printed.err, "Error: number of atoms must be positive.\n");
    // A cell without atoms cannot be copied.
    printed = capture([&] { EXPECT_EQ(velmar_cell_copy(empty.get()), nullptr); });
    EXPECT_EQ(printed.err,
              "Error: number of atoms must be positive.\nError: velmar_atom_new() returns NULL.\n");
    EXPECT_EQ(velmar_cell_copy(nullptr), nullptr);
}

TEST(Cell, CopyIsDeep) {
    Cell cell(velmar_cell_new(2));
    std::strcpy(cell->name, "Li2O");
    cell->a[0][0] = 4.619;
    cell->Z = 4;
    fill_atom(cell->atom[0], "Li1", "Li", 1, 0.25, 0.25, 0.25, 1.0);
    fill_atom(cell->atom[1], "O1", "O", -2, 0.0, 0.0, 0.0, 1.0);
    Cell copy(velmar_cell_copy(cell.get()));
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy->atom, cell->atom);
    EXPECT_EQ(copy->total, 2);
    EXPECT_STREQ(copy->name, "Li2O");
    EXPECT_EQ(copy->a[0][0], 4.619);
    EXPECT_EQ(copy->Z, 4);
    EXPECT_STREQ(copy->atom[1].type, "O");
    copy->atom[0].os = 3;
    EXPECT_EQ(cell->atom[0].os, 1);
}

TEST(Cell, PrintFormat) {
    Cell cell(velmar_cell_new(2));
    std::strcpy(cell->name, "Li3N");
    cell->a[0][0] = 3.648;
    cell->a[1][0] = -1.824;
    cell->a[1][1] = 3.159260;
    cell->a[2][2] = 3.875;
    cell->parameter[0] = cell->parameter[1] = 3.648;
    cell->parameter[2] = 3.875;
    cell->angle[0] = cell->angle[1] = 90.0;
    cell->angle[2] = 120.0;
    fill_atom(cell->atom[0], "Li0", "Li", 1, 0.333333, 0.666667, 0.0, 1.0);
    fill_atom(cell->atom[1], "N2", "N", -3, 0.0, 0.0, 0.0, 0.5);
    const std::string expected =
        "CELL: name: Li3N\n"
        "CELL: vector matrix:\n"
        "CELL:                3.648000    0.000000    0.000000\n"
        "CELL:               -1.824000    3.159260    0.000000\n"
        "CELL:                0.000000    0.000000    3.875000\n"
        "CELL: parameters:    3.648000    3.648000    3.875000\n"
        "CELL: angles:       90.000000   90.000000  120.000000\n"
        "CELL: total atom: 2\n"
        "CELL: [  0]ATOM: name=   Li0;type=Li;os= 1;x_f=(0.333,0.667,0.000);occ=1.000\n"
        "CELL: [  1]ATOM: name=    N2;type= N;os=-3;x_f=(0.000,0.000,0.000);occ=0.500\n";
    EXPECT_EQ(capture([&] { velmar_cell_print(cell.get()); }).out, expected);
    EXPECT_EQ(capture([] { velmar_cell_print(nullptr); }).out, "CELL: (not allocated)\n");
    EXPECT_EQ(capture([] { velmar_atom_print(nullptr); }).out, "ATOM: (not allocated)\n");
}

TEST(Card, KeepsThirtyFiveCharactersAndPrintsBothForms) {
    const std::string long_text = "x+1/2, -y+1/2, z+1/2, and some more text here";
    velmar::Owned<VELMAR_CARD, velmar_card_free> card(velmar_card_new(long_text.c_str()));
    ASSERT_NE(card, nullptr);
    EXPECT_EQ(std::string(card->text), long_text.substr(0, 35));

    velmar::Owned<VELMAR_CARD, velmar_card_free> glide(velmar_card_new("-x+1/2, y, -z"));
    glide->r_f[0][0] = -1;
    glide->r_f[1][1] = 1;
    glide->r_f[2][2] = -1;
    glide->t_f[0] = 0.5;
    glide->r_i[0][0] = -1;
    glide->r_i[1][1] = 1;
    glide->r_i[2][2] = -1;
    glide->t_i[0] = 24;
    EXPECT_EQ(capture([&] { velmar_card_print(glide.get()); }).out,
              "CARD: text:-x+1/2, y, -z\n"
              "CARD:  -1.000  0.000  0.000       0.500\n"
              "CARD:   0.000  1.000  0.000       0.000\n"
              "CARD:   0.000  0.000 -1.000       0.000\n");
    EXPECT_EQ(capture([&] { velmar_card_print_discrete(glide.get()); }).out,
              "CARD: text:-x+1/2, y, -z\n"
              "CARD:  -1  0  0      24\n"
              "CARD:   0  1  0      0\n"
              "CARD:   0  0 -1      0\n");
    EXPECT_EQ(capture([] { velmar_card_print(nullptr); }).out, "CARD: (not allocated)\n");
}

TEST(Symmetry, TrivialGroupAndItsPrint) {
    Symmetry p1(velmar_symmetry_new_p1());
    ASSERT_NE(p1, nullptr);
    EXPECT_EQ(capture([&] { velmar_symmetry_print(p1.get()); }).out,
              "SYMMETRY: Hermann-Maugui group symbol: P 1\n"
              "SYMMETRY: Hall group symbol: P 1\n"
              "SYMMETRY: International Table ID: 1\n"
              "SYMMETRY: Total number of cards: 1\n"
              "CARD: text:x, y, z\n"
              "CARD:   1.000  0.000  0.000       0.000\n"
              "CARD:   0.000  1.000  0.000       0.000\n"
              "CARD:   0.000  0.000  1.000       0.000\n");
    EXPECT_EQ(capture([] { velmar_symmetry_print_discrete(nullptr); }).out,
              "SYMMETRY: (not allocated)\n");

    Symmetry none(velmar_symmetry_new(0));
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(none->total, 0);
    EXPECT_EQ(none->card, nullptr);
}

TEST(Symmetry, IsP1AnswersInItsDocumentedSense) {
    Symmetry p1(velmar_symmetry_new_p1());
    // The identity card itself is answered false.
    EXPECT_FALSE(velmar_symmetry_is_p1(p1.get()));
    EXPECT_FALSE(velmar_symmetry_is_p1(nullptr));
    // Only a card that differs from the identity in every entry is answered true.
    VELMAR_CARD &card = p1->card[0];
    for (int i = 0; i < 3; ++i) {
        card.t_f[i] = 0.5;
        for (int j = 0; j < 3; ++j) card.r_f[i][j] = (i == j) ? -1.0 : 1.0;
    }
    EXPECT_TRUE(velmar_symmetry_is_p1(p1.get()));
    card.r_f[1][2] = 0.0005;
    EXPECT_FALSE(velmar_symmetry_is_p1(p1.get()));

    Symmetry two(velmar_symmetry_new(2));
    EXPECT_FALSE(velmar_symmetry_is_p1(two.get()));
}

}  // namespace
