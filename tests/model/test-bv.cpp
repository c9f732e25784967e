// Bond-valence sums: the binned sums against the plain loop, sums of ordered real structures
// against their formal valences, the GII verdicts and the print and text formats.
#include "model/velmar-bv.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "core/velmar.h"
#include "structure/velmar-cell-ops.h"
#include "support/oracles.h"
#include "support/support.h"

namespace {

using velmar_test::capture;
using velmar_test::corpus;
using velmar_test::database;
using Bv = velmar::Owned<VELMAR_BV, velmar_bv_free>;

TEST(BondValence, SumsEqualThePlainLoopAndFormalValences) {
    const std::string unitary = database("database_unitary.dat");
    const std::string binary = database("database_binary.dat");
    double deviation = 0.0;
    int cations = 0;
    for (const char *file :
         {"Li3N_P6mmm_OBELiX.cif", "LLZO_ordered_P1_oxnum_pymatgen.cif", "LiCoO2_R-3m_VESTA.cif",
          "Na3PS4_P1_128atoms_pymatgen.cif", "K2SO4_oxnum_COD1000049.cif",
          "NaFeF3_Cmcm_GSAS_symop_ids_COD4341415.cif"}) {
        auto loaded = velmar_test::load_cif_file(corpus(file));
        ASSERT_EQ(loaded.status, 0) << file;
        VELMAR_CELL *cell = loaded.cell.get();
        velmar_cell_flag_site_by_symmetry(cell, loaded.symmetry.get());
        velmar::Owned<VELMAR_PROPERTY, velmar_property_free> ppt;
        capture([&] {
            ppt.reset(velmar_property_import_from_cell(cell, nullptr, 0, 0.75, unitary.c_str(),
                                                       binary.c_str()));
        });
        ASSERT_NE(ppt, nullptr) << file;
        Bv bv(velmar_bv_calculate_from_flagged_cell(cell, ppt.get()));
        ASSERT_NE(bv, nullptr) << file;
        const auto expected = velmar_oracle::bv_sums(*cell, *ppt);
        ASSERT_EQ(static_cast<long>(expected.size()), bv->total);
        for (long k = 0; k < bv->total; ++k) {
            EXPECT_NEAR(bv->sum[k], expected[k], 1e-12) << file << " site " << k;
            double row = 0.0;
            for (long l = 0; l < bv->total; ++l) row += velmar_bv_value(bv.get(), k, l);
            EXPECT_NEAR(row, bv->sum[k], 1e-12);
            if (bv->atom[k].os > 0) {
                deviation += std::fabs(bv->sum[k] - bv->atom[k].os) / bv->atom[k].os;
                ++cations;
            }
            // Anion sums are negative.
            EXPECT_EQ(bv->sum[k] < 0, bv->atom[k].os < 0) << file;
        }
    }
    // Ordered structures sit near their formal valences: mean relative deviation of the cation
    // sites well below 0.2 (0.08 over many Li conductors for these parameters).
    EXPECT_LT(deviation / cations, 0.2);
}

// The table of site pairs keeps the pairs that bond only; every value equals the full site x site
// table of the plain loop (zeros included), and large cells list only the bonding pairs.
TEST(BondValence, PairsEqualTheFullTableAndGrowWithNeighbours) {
    const std::string unitary = database("database_unitary.dat");
    const std::string binary = database("database_binary.dat");
    velmar::Owned<VELMAR_PROPERTY, velmar_property_free> ppt;
    const auto bv_of = [&](VELMAR_CELL *cell, const VELMAR_SYMMETRY *symmetry) {
        velmar_cell_flag_site_by_symmetry(cell, symmetry);
        capture([&] {
            ppt.reset(velmar_property_import_from_cell(cell, nullptr, 0, 0.75, unitary.c_str(),
                                                       binary.c_str()));
        });
        EXPECT_NE(ppt, nullptr);
        return Bv(velmar_bv_calculate_from_flagged_cell(cell, ppt.get()));
    };
    for (const char *file : {"Li3N_P6mmm_OBELiX.cif", "K2SO4_oxnum_COD1000049.cif",
                             "Na3PS4_P1_128atoms_pymatgen.cif"}) {
        auto loaded = velmar_test::load_cif_file(corpus(file));
        ASSERT_EQ(loaded.status, 0) << file;
        const Bv bv = bv_of(loaded.cell.get(), loaded.symmetry.get());
        ASSERT_NE(bv, nullptr) << file;
        const auto table = velmar_oracle::bv_pair_table(*loaded.cell, *ppt);
        ASSERT_EQ(static_cast<long>(table.size()), bv->total);
        long bonding = 0;
        for (long k = 0; k < bv->total; ++k) {
            for (long l = 0; l < bv->total; ++l) {
                EXPECT_NEAR(velmar_bv_value(bv.get(), k, l), table[k][l], 1e-12) << file;
                ASSERT_NE(bv->value, nullptr) << file;
                EXPECT_EQ(bv->value[k][l], velmar_bv_value(bv.get(), k, l)) << file;
                bonding += table[k][l] != 0.0 ? 1 : 0;
            }
        }
        EXPECT_EQ(bv->pair_start[bv->total], bonding) << file;
    }
    // 7 x 7 x 7 cells of Li3N in P 1: 1,372 sites, each bonding to a handful of others.
    auto loaded = velmar_test::load_cif_file(corpus("Li3N_P6mmm_OBELiX.cif"));
    ASSERT_EQ(loaded.status, 0);
    const int repeat[3] = {7, 7, 7};
    velmar::Owned<VELMAR_CELL, velmar_cell_free> super(
        velmar_cell_supercell(loaded.cell.get(), repeat));
    velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free> p1(velmar_symmetry_new_p1());
    const Bv bv = bv_of(super.get(), p1.get());
    ASSERT_NE(bv, nullptr);
    ASSERT_EQ(bv->total, 1372);
    EXPECT_EQ(bv->value, nullptr);  // no table of all pairs beyond a thousand sites
    const long pairs = bv->pair_start[bv->total];
    EXPECT_LT(pairs, 20 * bv->total);
    for (long k = 0; k < bv->total; ++k) {
        double row = 0.0;
        for (long p = bv->pair_start[k]; p < bv->pair_start[k + 1]; ++p) row += bv->pair_value[p];
        ASSERT_NEAR(row, bv->sum[k], 1e-12);
    }
    const std::string out = capture([&] { velmar_bv_print(bv.get()); }).out;
    EXPECT_NE(out.find("BV:=============================================\n"
                       "Message: 1372 sites; only the pairs of sites that bond are listed.\n"
                       "BV: nam1 typ1   occ1 nam2 typ2   occ1        bv\n"),
              std::string::npos);
    long lines = 0;
    for (size_t at = 0; (at = out.find('\n', at)) != std::string::npos; ++at) ++lines;
    EXPECT_EQ(lines, 1 + bv->total + 1 + 1 + 1 + pairs);
    velmar::Owned<VELMAR_TEXT, velmar_text_free> text(velmar_bv_export_to_text(bv.get()));
    EXPECT_NE(std::string(text->content)
                  .find("1372 sites; only the pairs of sites that bond are "
                        "listed.\r\n"),
              std::string::npos);
}

TEST(BondValence, GiiVerdictsAndFormats) {
    Bv bv(velmar_bv_new(2));
    std::strcpy(bv->atom[0].name, "Li1");
    std::strcpy(bv->atom[0].type, "Li");
    bv->atom[0].os = 1;
    bv->atom[0].occ = 1.0;
    std::strcpy(bv->atom[1].name, "O1");
    std::strcpy(bv->atom[1].type, "O");
    bv->atom[1].os = -2;
    bv->atom[1].occ = 0.5;
    bv->multi[0] = 2;
    bv->multi[1] = 1;
    bv->sum[0] = 1.0;
    bv->sum[1] = -2.0;
    ASSERT_EQ(velmar::detail::bv_set_pairs(bv.get(), {{{1, 1.0}}, {{0, -2.0}}}), 0);
    // A GII of exactly 0 reads "average", by the order of the thresholds.
    EXPECT_EQ(capture([&] { EXPECT_EQ(velmar_gii_calculate_from_bv(bv.get()), 0.0); }).out,
              "GII: Global instability index = 0.000000\nGII: suggested stability: average.\n");
    bv->sum[0] = 1.1;  // sqrt(2 x 0.01 / 2.5)
    EXPECT_NEAR(velmar_gii_calculate_from_bv_no_msg(bv.get()), std::sqrt(0.008), 1e-15);
    EXPECT_NE(capture([&] { velmar_gii_calculate_from_bv(bv.get()); }).out.find("stable.\n"),
              std::string::npos);
    bv->sum[0] = 2.5;
    EXPECT_NE(capture([&] {
                  velmar_gii_calculate_from_bv(bv.get());
              }).out.find("GII: unreasonable value.\n"),
              std::string::npos);

    EXPECT_EQ(capture([&] { velmar_bv_print(bv.get()); }).out,
              "BV:   name type    occ    bv_sum\n"
              "BV:    Li1 Li1+  1.000  2.500000\n"
              "BV:     O1  O2-  0.500 -2.000000\n"
              "BV:=============================================\n"
              "BV: nam1 typ1   occ1 nam2 typ2   occ1        bv\n"
              "BV:  Li1 Li1+  1.000  Li1 Li1+  1.000  0.000000\n"
              "BV:  Li1 Li1+  1.000   O1  O2-  0.500  1.000000\n"
              "BV:   O1  O2-  0.500  Li1 Li1+  1.000 -2.000000\n"
              "BV:   O1  O2-  0.500   O1  O2-  0.500  0.000000\n");
    velmar::Owned<VELMAR_TEXT, velmar_text_free> text(velmar_bv_export_to_text(bv.get()));
    const std::string exported = text->content;
    EXPECT_TRUE(exported.starts_with("Bond valence sum:\r\nTotal inequivalent sites: 2\r\n"));
    EXPECT_NE(exported.find(" Li1(Li1+)(occ=1.000) bv_sum =  2.500000\r\n"), std::string::npos);
    EXPECT_NE(exported.find("  O1(O2-)(occ=0.500)  Li1(Li1+)(occ=1.000) bv = -2.000000\r\n"),
              std::string::npos);
}

}  // namespace
