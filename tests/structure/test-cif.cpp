// The CIF reader end to end: atom sites, types and oxidation states, the lattice, symmetry sources
// and the card parser; the real-structure corpus as a fixture (atom counts, cells and volumes
// against gemmi, spglib and pymatgen); malformed input refused without a crash.
#include "structure/velmar-cif.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>

#include "core/velmar.h"
#include "structure/velmar-cell-geometry.h"
#include "structure/velmar-symcards.h"
#include "support/support.h"

namespace {

using velmar_test::load_cif_file;
using velmar_test::load_cif_text;

const std::string kCell =
    "_cell_length_a 5.0\n_cell_length_b 5.0\n_cell_length_c 5.0\n"
    "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n";
const std::string kP1 = "loop_\n_symmetry_equiv_pos_as_xyz\n'x, y, z'\n";

std::string sites(const std::string &rows) {
    return "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n"
           "_atom_site_fract_y\n_atom_site_fract_z\n_atom_site_occupancy\n" +
           rows + "\n";
}

TEST(CifReader, TypesStatesAndPositions) {
    const auto loaded = load_cif_text("data_x\n" + kCell + kP1 +
                                      sites("LongLabel12345 Li1+ 0.2500(3) 0 0 1\n"
                                            "O1 O2- 0.5 0.5 0.5 1.0\n"
                                            "Fe1 Fe2.5+ 0 0.5 0 1.0\n"
                                            "Fe2 Fe1.95+ 0.5 0 0 0.8\n"));
    ASSERT_EQ(loaded.status, 0) << loaded.printed.err;
    const VELMAR_CELL &cell = *loaded.cell;
    ASSERT_EQ(cell.total, 5);
    EXPECT_STREQ(cell.atom[0].name, "LongLabel12");  // cut to 11 characters
    EXPECT_STREQ(cell.atom[0].type, "Li");
    EXPECT_EQ(cell.atom[0].os, 1);
    EXPECT_EQ(cell.atom[0].x_f[0], 0.25);
    EXPECT_EQ(cell.atom[1].os, -2);
    // 2.5 on a full site: os 3 (occupancy 0.5) in place and os 2 (0.5) appended; 1.95 gives 2.
    EXPECT_EQ(cell.atom[2].os, 3);
    EXPECT_DOUBLE_EQ(cell.atom[2].occ, 0.5);
    EXPECT_EQ(cell.atom[3].os, 2);
    EXPECT_DOUBLE_EQ(cell.atom[3].occ, 0.8);
    EXPECT_EQ(cell.atom[4].os, 2);
    EXPECT_DOUBLE_EQ(cell.atom[4].occ, 0.5);
    EXPECT_STREQ(cell.atom[4].name, "Fe1");
    EXPECT_STREQ(cell.name, "Li1+:1.000 O2-:1.000 Fe3+:0.500 Fe2+:1.300 ");
    EXPECT_NE(loaded.printed.out.find("Message: calculated cell volume = 125.000000\n"),
              std::string::npos);
    EXPECT_NE(loaded.printed.out.find("Warning: _cell_formula_units_Z is not available. \n"),
              std::string::npos);
    EXPECT_NEAR(cell.atom[1].x[2], 2.5, 1e-12);
}

TEST(CifReader, TypesFromLabelsAndDefaultStates) {
    const auto loaded = load_cif_text(
        kCell + kP1 +
        "loop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n"
        "_atom_site_occupancy\nO1 0 0 0 1\nLi2a 0.25 0.25 0.25 1\nXq 0.5 0 0 1\n");
    ASSERT_EQ(loaded.status, 0) << loaded.printed.err;
    EXPECT_NE(
        loaded.printed.out.find("Message: unable to find keyword '_atom_site_type_symbol'.\n"),
        std::string::npos);
    EXPECT_STREQ(loaded.cell->atom[0].type, "O");
    EXPECT_EQ(loaded.cell->atom[0].os, -2);
    EXPECT_STREQ(loaded.cell->atom[1].type, "Li");
    EXPECT_EQ(loaded.cell->atom[1].os, 1);
    EXPECT_EQ(loaded.cell->atom[2].os, 99);  // not in the database: stays unknown
}

TEST(CifReader, StatesFromTheTypeLoop) {
    const auto loaded = load_cif_text(kCell + kP1 +
                                      "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\n"
                                      "Li+ 1\nO2- -2.000\nX ?\n" +
                                      sites("Li1 Li+ 0 0 0 1\nO1 O2- .5 .5 .5 1\nX1 X 0 .5 .5 1"));
    ASSERT_EQ(loaded.status, 0) << loaded.printed.err;
    EXPECT_EQ(loaded.cell->atom[0].os, 1);
    EXPECT_EQ(loaded.cell->atom[1].os, -2);
    EXPECT_EQ(loaded.cell->atom[2].os, 99);
    const auto missing = load_cif_text(kCell + kP1 +
                                       "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\n"
                                       "Li+ 1\n" +
                                       sites("O1 O2- 0 0 0 1"));
    EXPECT_NE(missing.status, 0);
    EXPECT_NE(missing.printed.err.find("Error: invalid field.\n"), std::string::npos);
}

TEST(CifReader, RefusesWhatItCannotRead) {
    struct Case {
        std::string text;
        const char *error;
    };
    const Case cases[] = {
        {kCell + kP1 +
             "loop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n"
             "_atom_site_fract_z\nLi1 0 0 0\n",
         "Error: invalid keywords.\n"},
        {kCell + kP1 + sites("Li1 Li 0 ? 0 1"), "Error: unable to read fractional y.\n"},
        {kCell + kP1 + sites("Li1 Li 1e999 0 0 1"), "Error: unable to read fractional x.\n"},
        {kCell + kP1 + sites("Li1 Li 0 0 0 abc"), "Error: unable to read occupancy.\n"},
        {kCell + kP1 + sites("Li1 123 0 0 0 1"), "Error: invalid field content 123.\n"},
        {kCell + kP1, "Error: unable to find compulsory keyword '_atom_site_label' in cif file.\n"},
        {kP1 + sites("Li1 Li 0 0 0 1"),
         "Error: velmar_cell_import_cif_grep_keyword() returns NULL.\n"},
        {"_cell_length_a ?\n" + kCell + kP1 + sites("Li1 Li 0 0 0 1"),
         "Error: the cell lengths and angles do not describe a cell.\n"},
        {kCell + sites("Li1 Li 0 0 0 1"),
         "Error: the cif file gives no symmetry operations, space-group symbol or number.\n"},
        {kCell + "loop_\n_symmetry_equiv_pos_as_xyz\n'x, y'\n" + sites("Li1 Li 0 0 0 1"),
         "Error: invalid symmetry operation 'x, y'.\n"},
        {kCell + "_symmetry_space_group_name_H-M 'Q 9'\n" + sites("Li1 Li 0 0 0 1"),
         "Error: unable to find keyword H-M Q 9 in "},
        {std::string("\x01\xff\xfe binary junk ") + '\0' + " more", "Error: "},
    };
    for (const Case &c : cases) {
        const auto loaded = load_cif_text(c.text);
        EXPECT_NE(loaded.status, 0) << c.text;
        EXPECT_EQ(loaded.cell, nullptr);
        EXPECT_NE(loaded.printed.err.find(c.error), std::string::npos) << c.text << "\n---\n"
                                                                       << loaded.printed.err;
        EXPECT_NE(loaded.printed.err.find("\n"), std::string::npos);
    }
}

// Cells whose lengths and angles give NaN lattice vectors or no volume used to pass and make the
// bond-valence image loops overflow; states and occupancies out of range are refused by site.
TEST(CifReader, RefusesDegenerateCellsStatesAndOccupancies) {
    const auto cell = [](const char *a, const char *c, const char *alpha, const char *gamma) {
        return std::string("_cell_length_a ") + a + "\n_cell_length_b 5.0\n_cell_length_c " + c +
               "\n_cell_angle_alpha " + alpha + "\n_cell_angle_beta 90\n_cell_angle_gamma " +
               gamma + "\n";
    };
    const std::string li_o = sites("Li1 Li1+ 0 0 0 1\nO1 O2- 0.5 0.5 0.5 1");
    const char *const degenerate = "Error: the cell lengths and angles do not describe a cell.\n";
    struct Case {
        std::string text;
        const char *error;
    };
    const Case cases[] = {
        {cell("5", "5", "90", "?"), degenerate},
        {cell("5", "5", "90", "0"), degenerate},
        {cell("5", "5", "90", "180"), degenerate},
        {cell("5", "5", "90", "179.99"), degenerate},  // flattened: volume 2e-4 a b c
        {cell("5", "5", "90", "170"), nullptr},        // oblique, 0.17 a b c: a cell
        {cell("5", "5", "120", "120") + "", nullptr},  // alpha beta gamma 120 90 120: a cell
        {cell("5", "1e-320", "90", "90"), degenerate},
        {cell("5", "1e-300", "90", "90"), degenerate},
        {cell("5", "0.1", "90", "90"), degenerate},
        {cell("1e5", "5", "90", "90"), degenerate},
        {cell("nan", "5", "90", "90"), degenerate},
        {cell("5", "5", "inf", "90"), degenerate},
    };
    for (const Case &c : cases) {
        const auto loaded = load_cif_text(c.text + kP1 + li_o);
        if (c.error == nullptr) {
            EXPECT_EQ(loaded.status, 0) << c.text << loaded.printed.err;
            continue;
        }
        EXPECT_NE(loaded.status, 0) << c.text;
        EXPECT_NE(loaded.printed.err.find(c.error), std::string::npos) << c.text;
    }
    // All three angles 120: the three vectors lie in a plane (1e-4 a b c off it after the rounding
    // of the degree conversion).
    EXPECT_NE(load_cif_text("_cell_angle_beta 120\n" + cell("5", "5", "120", "120") + kP1 + li_o)
                  .printed.err.find(degenerate),
              std::string::npos);

    const Case sites_cases[] = {
        {sites("Li1 Li2147483648+ 0 0 0 1"),
         "Error: site Li1 has oxidation state 2147483648; states lie in -16..16.\n"},
        {sites("Li1 Li17+ 0 0 0 1"), "Error: site Li1 has oxidation state 17;"},
        {sites("O1 O1e300- 0 0 0 1"), "Error: site O1 has oxidation state -1e+300;"},
        {sites("Li1 Li1+ 0 0 0 0"),
         "Error: site Li1 has occupancy 0; an occupancy lies in (0, 1].\n"},
        {sites("Li1 Li1+ 0 0 0 -0.5"), "Error: site Li1 has occupancy -0.5;"},
        {sites("Li1 Li1+ 0 0 0 1.5"), "Error: site Li1 has occupancy 1.5;"},
        {sites("Li1 Li1+ 0 0 0 1.0005\nLi2 Li16+ 0.5 0 0 1"), nullptr},  // rounding; +16 allowed
    };
    for (const Case &c : sites_cases) {
        const auto loaded = load_cif_text(kCell + kP1 + c.text);
        if (c.error == nullptr) {
            EXPECT_EQ(loaded.status, 0) << c.text << loaded.printed.err;
            continue;
        }
        EXPECT_NE(loaded.status, 0) << c.text;
        EXPECT_NE(loaded.printed.err.find(c.error), std::string::npos)
            << c.text << loaded.printed.err;
    }
    // The same through the type loop's oxidation numbers.
    const auto typeos = load_cif_text(kCell + kP1 +
                                      "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\n"
                                      "Li 2147483648\n" +
                                      sites("Li1 Li 0 0 0 1"));
    EXPECT_NE(typeos.printed.err.find("Error: site Li1 has oxidation state 2147483648;"),
              std::string::npos)
        << typeos.printed.err;
}

// The reader notes the states it took from the database; a cell that is not neutral is reported
// with its total charge and those species.
TEST(CifReader, ChargeWarningNamesTheTotalAndTheDefaultedSpecies) {
    const std::string symcards = velmar_test::database("database_symcards.dat");
    const std::string unitary = velmar_test::database("database_unitary.dat");
    const auto warning = [&](const std::string &text, std::vector<std::string> *defaulted) {
        velmar::Owned<VELMAR_TEXT, velmar_text_free> content(velmar_text_new(text.c_str()));
        VELMAR_CELL *cell = nullptr;
        VELMAR_SYMMETRY *symmetry = nullptr;
        velmar::detail::CifReadNotes notes;
        std::string out;
        velmar_test::capture([&] {
            EXPECT_EQ(
                velmar::detail::cell_import_cif_from_text(
                    &cell, &symmetry, content.get(), symcards.c_str(), unitary.c_str(), &notes),
                0);
        });
        velmar::Owned<VELMAR_CELL, velmar_cell_free> owned(cell);
        velmar_symmetry_free(symmetry);
        if (owned) {
            out = velmar_test::capture([&] {
                      velmar::detail::warn_unless_neutral(*owned, notes);
                  }).out;
        }
        if (defaulted != nullptr) *defaulted = notes.defaulted;
        return out;
    };
    // Co takes its first state in the database, +2: LiCoO2 is left 3 e short per cell.
    std::vector<std::string> defaulted;
    EXPECT_EQ(
        warning(velmar_test::read_file(velmar_test::corpus("LiCoO2_R-3m_VESTA.cif")), &defaulted),
        "Warning: the cell is not charge neutral: total charge -3.000 e per cell; the "
        "oxidation states of Li1+, Co2+, O2- are defaults of the unitary database, not given "
        "in the file.\n");
    EXPECT_EQ(defaulted, (std::vector<std::string>{"Li1+", "Co2+", "O2-"}));
    // States given in the file: no species named; a neutral cell, or one off by the rounding of
    // its occupancies (0.002 e here), gives no warning.
    EXPECT_EQ(warning(kCell + kP1 + sites("Li1 Li1+ 0 0 0 1\nLi2 Li1+ 0.5 0 0 1"), &defaulted),
              "Warning: the cell is not charge neutral: total charge +2.000 e per cell, with the "
              "oxidation states the file gives.\n");
    EXPECT_TRUE(defaulted.empty());
    EXPECT_EQ(warning(kCell + kP1 +
                          sites("Li1 Li1+ 0 0 0 1\nLi2 Li1+ 0.5 0 0 1\nO1 O 0.5 0.5 0.5 "
                                "0.999"),
                      &defaulted),
              "");
    EXPECT_EQ(defaulted, std::vector<std::string>{"O2-"});
}

TEST(CifReader, ConstraintColumnFixesAtoms) {
    velmar_test::ScratchDir dir;
    const auto path = dir / "fixed.cif";
    const std::string text =
        kCell + "loop_\n_symmetry_equiv_pos_as_xyz\n'x, y, z'\n'-x, -y, -z'\n" +
        "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
        "_atom_site_fract_z\n_atom_site_occupancy\n_atom_site_velmar_fixed\n"
        "Li1 Li 0.1 0.1 0.1 1 f\nO1 O 0.3 0.2 0.1 1 T\nO2 O 0 0 0 1 true\n";
    velmar_test::write_file(path, text);
    auto loaded = load_cif_file(path);
    ASSERT_EQ(loaded.status, 0);
    ASSERT_EQ(loaded.cell->total, 5);  // by label: both images of Li1 and of O1, and O2
    ASSERT_EQ(velmar_cell_import_cif_read_constraint(loaded.cell.get(), path.c_str()), 0);
    for (int32_t n = 0; n < loaded.cell->total; ++n) {
        EXPECT_EQ(loaded.cell->atom[n].ignored, loaded.cell->atom[n].name[0] == 'O') << n;
    }
    // Without the column nothing is fixed and the caller is told.
    auto plain = load_cif_file(velmar_test::corpus("Li3N_P6mmm_OBELiX.cif"));
    const auto printed = velmar_test::capture([&] {
        EXPECT_NE(velmar_cell_import_cif_read_constraint(
                      plain.cell.get(), velmar_test::corpus("Li3N_P6mmm_OBELiX.cif").c_str()),
                  0);
    });
    EXPECT_NE(printed.err.find("Error: unable to find keyword '_atom_site_velmar_fixed'.\n"),
              std::string::npos);
    for (int32_t n = 0; n < plain.cell->total; ++n) EXPECT_FALSE(plain.cell->atom[n].ignored);
}

TEST(CifReader, LatticeReadsQuestionMarksAsZero) {
    const std::string text =
        "_cell_length_a ?\n_cell_length_b 4(1)\n_cell_length_c 1e1\n"
        "_cell_angle_alpha 90\n_cell_angle_beta 90.\n_cell_angle_gamma 120\n"
        "_cell_formula_units_Z 4\n";
    std::vector<std::string> rows;
    std::vector<char *> pointers;
    size_t start = 0;
    for (size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
        rows.push_back(text.substr(start, end - start));
    }
    for (auto &r : rows) pointers.push_back(r.data());
    VELMAR_CELL cell{};
    ASSERT_EQ(velmar_cell_import_cif_read_lattice(&cell, pointers.data(),
                                                  static_cast<long>(pointers.size())),
              0);
    EXPECT_EQ(cell.parameter[0], 0.0);
    EXPECT_EQ(cell.parameter[1], 4.0);
    EXPECT_EQ(cell.parameter[2], 10.0);
    EXPECT_EQ(cell.angle[1], 90.0);
    EXPECT_EQ(cell.Z, 4);
}

TEST(CardParser, DocumentedForms) {
    struct Case {
        const char *text;
        double r[3][3];
        double t[3];
    };
    const Case cases[] = {
        {"x, y, z", {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {0, 0, 0}},
        {"'x, y, z'", {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {0, 0, 0}},
        {"-x+1/2, y, -z", {{-1, 0, 0}, {0, 1, 0}, {0, 0, -1}}, {0.5, 0, 0}},
        {"x-1/2, y, z", {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {-0.5, 0, 0}},
        {"x+0.25, y, z", {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {0.25, 0, 0}},
        {"-X+Y, -x, Z+5/6", {{-1, 1, 0}, {-1, 0, 0}, {0, 0, 1}}, {0, 0, 5.0 / 6.0}},
        // Translations as written: a minus after the number is the next term's (1/4 - z, not
        // -1/4 - z), decimals count wherever they stand and carry their own sign once. Where a
        // plainer reading gives the same position (1/2 - x read as -1/2 - x), it stays.
        {"0.5+x, y-x+1/3, 1/4-z", {{1, 0, 0}, {-1, 1, 0}, {0, 0, -1}}, {0.5, 1.0 / 3.0, 0.25}},
        {"3/4-x, x-3/4, 1/2-z", {{-1, 0, 0}, {1, 0, 0}, {0, 0, -1}}, {0.75, -0.75, -0.5}},
        {"0.75-y, -0.25-z, -x", {{0, -1, 0}, {0, 0, -1}, {-1, 0, 0}}, {0.75, -0.25, 0}},
    };
    for (const Case &c : cases) {
        VELMAR_CARD card{};
        ASSERT_EQ(velmar_card_set_by_text(&card, c.text), 0) << c.text;
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(card.t_f[i], c.t[i], 1e-15) << c.text;
            for (int j = 0; j < 3; ++j) EXPECT_EQ(card.r_f[i][j], c.r[i][j]) << c.text;
        }
        // The text written for a parsed card parses back to the same operation (translations in
        // [0, 1)).
        char text[36];
        velmar_card_text_from_matrix(text, card.r_f, card.t_f);
        VELMAR_CARD back{};
        ASSERT_EQ(velmar_card_set_by_text(&back, text), 0) << text;
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(back.t_f[i], card.t_f[i] - std::floor(card.t_f[i]), 1e-12) << text;
            for (int j = 0; j < 3; ++j) EXPECT_EQ(back.r_f[i][j], card.r_f[i][j]) << text;
        }
    }
    VELMAR_CARD card{};
    EXPECT_NE(velmar_card_set_by_text(&card, nullptr), 0);
    EXPECT_NE(velmar_card_set_by_text(&card, "x+1/0, y, z"), 0);
}

// Spinel LiTi2O4 in origin choice 1, its operations written "3/4-x": 8 Li, 16 Ti and 32 O in the
// cell, as gemmi and pymatgen read it (with the sign taken as the number's, 32 Ti).
TEST(CifReader, OperationsWithTheNumberFirstGiveTheRightCell) {
    std::string text =
        velmar_test::read_file(velmar_test::corpus("LiTi2O4_spinel_AMCSD_origin1_no_occ.cif"));
    const std::string loop = "_atom_site_fract_z\n";
    const size_t at = text.find(loop);
    ASSERT_NE(at, std::string::npos);
    text.insert(at + loop.size(), "_atom_site_occupancy\n");
    for (const char *row :
         {"Li1   0.00000   0.00000   0.00000", "Ti1   0.62500   0.62500   0.62500",
          "O1   0.39000   0.39000   0.39000"}) {
        const size_t r = text.find(row);
        ASSERT_NE(r, std::string::npos) << row;
        text.insert(r + std::string(row).size(), " 1");
    }
    const auto loaded = velmar_test::load_cif_text(text);
    ASSERT_EQ(loaded.status, 0) << loaded.printed.err;
    std::map<std::string, int> count;
    for (int32_t n = 0; n < loaded.cell->total; ++n) ++count[loaded.cell->atom[n].type];
    EXPECT_EQ(count, (std::map<std::string, int>{{"Li", 8}, {"O", 32}, {"Ti", 16}}));
}

TEST(CardDiscrete, TranslationsOnTheGridAndFoldedImages) {
    velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free> symmetry(velmar_symmetry_new(1));
    ASSERT_EQ(velmar_card_set_by_text(&symmetry->card[0], "-y, x-y, z+1/3"), 0);
    const long n[3] = {24, 24, 48};
    ASSERT_EQ(velmar_symmetry_fill_card_discrete(symmetry.get(), n), 0);
    EXPECT_EQ(symmetry->card[0].t_i[2], 16);
    const long in[3] = {5, 2, 40};
    long out[3];
    velmar_card_transform_vector3_long(out, in, n, &symmetry->card[0]);
    EXPECT_EQ(out[0], 22);  // -2 folded
    EXPECT_EQ(out[1], 3);
    EXPECT_EQ(out[2], 8);              // 56 folded
    const long odd[3] = {24, 24, 20};  // a third of 20 voxels is not on the grid
    EXPECT_NE(velmar_symmetry_fill_card_discrete(symmetry.get(), odd), 0);
}

TEST(Symcards, LookupsAndTheOrderOfSources) {
    const std::string db = velmar_test::database("database_symcards.dat");
    velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free> s(
        velmar_symmetry_import_by_keyword_HM("P 1", db.c_str()));
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->sg_id, 1);
    EXPECT_STREQ(s->sg_HM, "P 1");
    s.reset(velmar_symmetry_import_by_keyword_HM("Fm-3m", db.c_str()));
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->sg_id, 225);
    EXPECT_EQ(s->total, 192);
    s.reset(velmar_symmetry_import_by_keyword_id(14, db.c_str()));
    ASSERT_NE(s, nullptr);
    EXPECT_STREQ(s->sg_Hall, "-P 2ybc");
    EXPECT_EQ(s->total, 4);
    s.reset(velmar_symmetry_import_by_keyword_Hall("-P 2ybc", db.c_str()));
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->sg_id, 14);
    s.reset(velmar_symmetry_import_by_internal_no(0, db.c_str()));
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->sg_id, 1);

    // The operation loop wins over the symbol, the symbol over the number.
    const std::string loop = "loop_\n_space_group_symop_operation_xyz\n'x, y, z'\n'-x, -y, -z'\n";
    EXPECT_EQ(load_cif_text(kCell + "_symmetry_space_group_name_H-M 'P 1'\n" + loop +
                            sites("O1 O 0.1 0.2 0.3 1"))
                  .cell->total,
              2);
    EXPECT_EQ(load_cif_text(kCell +
                            "_space_group_IT_number 2\n_symmetry_space_group_name_H-M "
                            "'P m -3 m'\n" +
                            sites("O1 O 0.1 0.2 0.3 1"))
                  .cell->total,
              48);
    EXPECT_EQ(load_cif_text(kCell + "_symmetry_Int_Tables_number 2\n" + sites("O1 O 0.1 0.2 0.3 1"))
                  .cell->total,
              2);
}

// The corpus: atom count after expansion and merging (the reader's rules; gemmi and spglib agree
// at a 0.005 merge tolerance), cell volume (pymatgen) and space group of the operations (spglib).
TEST(CifCorpus, LoadsWithTheExpectedCellsOrIsRefused) {
    struct Case {
        const char *file;
        int atoms;  // 0: refused (no _atom_site_occupancy column)
        double volume;
        int operations;
    };
    const Case cases[] = {
        {"AlCuTa_cubic_a45A_COD2104374.cif", 7296, 93428.3389, 96},
        {"CsSnCl3_In_perovskite_COD4003024.cif", 6, 171.8054, 48},
        {"CuCrP2Se6_HM_only_oxnum_COD1004008.cif", 22, 444.1377, 4},
        {"K2SO4_oxnum_COD1000049.cif", 22, 256.5141, 24},
        {"LLZO_cubic_Ia-3d_partial_Li_VESTA.cif", 256, 2198.775, 96},
        {"LLZO_ordered_P1_oxnum_pymatgen.cif", 96, 1090.2281, 1},
        {"Li2O_antifluorite_COD9009059.cif", 0, 0, 0},
        {"Li3N_P6mmm_OBELiX.cif", 4, 44.6593, 24},
        {"Li6PS5Cl_argyrodite_partial_OBELiX.cif", 84, 969.7111, 96},
        {"LiCl_Crystallographica_multiline_quote.cif", 8, 134.9678, 192},
        {"LiCoO2_R-3m_VESTA.cif", 12, 95.9179, 36},
        {"LiMn2O4_spinel_P1_sci_notation_pymatgen.cif", 14, 147.7963, 1},
        {"LiNbO3_R3c_COD.cif", 0, 0, 0},
        {"LiTi2O4_spinel_AMCSD_origin1_no_occ.cif", 0, 0, 0},
        {"Mg2TiO4_inverse_spinel_mixed_COD.cif", 80, 601.6027, 192},
        {"MgAl2O4_spinel_COD.cif", 80, 528.2195, 192},
        {"MoCo_quoted_labels_no_occ_COD2005372.cif", 0, 0, 0},
        {"Na3PS4_P1_128atoms_pymatgen.cif", 128, 2810.3497, 1},
        {"NaFeF3_Cmcm_GSAS_symop_ids_COD4341415.cif", 20, 238.9205, 16},
        {"NaK_zeolite_CRLF_no_types.cif", 186, 2000.7742, 4},
        {"PMN-PT_cubic_mixed_occ_COD1501508.cif", 7, 65.1784, 48},
        // 13 sites, and the Cu(+2.27) sites split into Cu(+3) and Cu(+2): 16 atoms.
        {"YBa2Cu3O6.9_partial_O_COD.cif", 16, 173.4262, 8},
        {"grunerite_galena_two_blocks_AMCSD.cif", 96, 919.0147, 8},
        {"organic_ITnumber_only_COD2300214.cif", 132, 1224.2388, 4},
    };
    for (const Case &c : cases) {
        const auto loaded = load_cif_file(velmar_test::corpus(c.file));
        if (c.atoms == 0) {
            EXPECT_NE(loaded.status, 0) << c.file;
            EXPECT_NE(loaded.printed.err.find("Error: invalid keywords.\n"), std::string::npos);
            continue;
        }
        ASSERT_EQ(loaded.status, 0) << c.file << loaded.printed.err;
        EXPECT_EQ(loaded.cell->total, c.atoms) << c.file;
        EXPECT_NEAR(velmar_cell_calculate_volume(loaded.cell.get()), c.volume, 1e-3 * c.volume)
            << c.file;
        EXPECT_EQ(loaded.symmetry->total, c.operations) << c.file;
        for (int32_t n = 0; n < loaded.cell->total; ++n) {
            for (double x : loaded.cell->atom[n].x_f) ASSERT_TRUE(x >= 0.0 && x < 1.0) << c.file;
        }
    }
}

// Every prefix of a few real files either loads or is refused with an error line: no crash, hang
// or leak (the sanitizer build runs this too).
TEST(CifCorpus, TruncatedFilesNeverCrash) {
    for (const char *file :
         {"Li3N_P6mmm_OBELiX.cif", "NaK_zeolite_CRLF_no_types.cif", "YBa2Cu3O6.9_partial_O_COD.cif",
          "LiCl_Crystallographica_multiline_quote.cif"}) {
        const std::string text = velmar_test::read_file(velmar_test::corpus(file));
        for (size_t cut = 0; cut < text.size(); cut += 1 + text.size() / 97) {
            const auto loaded = load_cif_text(text.substr(0, cut));
            if (loaded.status != 0) {
                EXPECT_EQ(loaded.printed.err.rfind("Error: ", 0), 0u) << file << " at " << cut;
            }
        }
    }
    // A 10,000-character line and a 1e999 lattice length.
    const auto long_line = load_cif_text(std::string(10000, 'x') + "\n" + kCell + kP1 +
                                         sites("Li1 Li 0 0 0 1 " + std::string(10000, 'y')));
    EXPECT_NE(long_line.status, 0);
    const auto huge =
        load_cif_text("_cell_length_a 1e999\n" + kCell + kP1 + sites("Li1 Li 0 0 0 1"));
    EXPECT_NE(huge.status, 0);
}

}  // namespace
