// Cell geometry and operations: lattice conventions, site flags against a pairwise oracle,
// sorting, supercells, the random resolution of partial occupancies, and CIF round trips.
#include "structure/velmar-cell-ops.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "core/velmar-random.h"
#include "core/velmar.h"
#include "structure/velmar-cell-geometry.h"
#include "structure/velmar-cif-writer.h"
#include "support/oracles.h"
#include "support/support.h"

namespace {

using velmar_test::corpus;
using velmar_test::load_cif_file;
using Cell = velmar::Owned<VELMAR_CELL, velmar_cell_free>;

TEST(CellGeometry, LatticeVolumeAndCoordinates) {
    VELMAR_CELL cell{};
    const double parameter[3] = {5.0, 6.0, 7.0};
    const double angle[3] = {80.0, 95.0, 110.0};
    for (int i = 0; i < 3; ++i) {
        cell.parameter[i] = parameter[i];
        cell.angle[i] = angle[i];
    }
    VELMAR_ATOM atom{};
    atom.x_f[0] = 0.2;
    atom.x_f[1] = -0.7;
    atom.x_f[2] = 1.3;
    cell.atom = &atom;
    cell.total = 1;
    velmar_cell_update_cartesion(&cell);
    // First vector along x, second in the xy plane; the determinant is the volume.
    EXPECT_EQ(cell.a[0][1], 0.0);
    EXPECT_EQ(cell.a[1][2], 0.0);
    const double det = cell.a[0][0] * cell.a[1][1] * cell.a[2][2];
    EXPECT_NEAR(det, velmar_cell_calculate_volume(&cell), 1e-9);
    // Back from vectors to lengths, angles and fractional coordinates.
    velmar_cell_update_fractional(&cell);
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(cell.parameter[i], parameter[i], 1e-9);
        EXPECT_NEAR(cell.angle[i], angle[i], 1e-6);
    }
    EXPECT_NEAR(atom.x_f[1], -0.7, 1e-12);
    velmar_cell_bound_fractional(&cell);
    EXPECT_NEAR(atom.x_f[1], 0.3, 1e-12);
    EXPECT_NEAR(atom.x_f[2], 0.3, 1e-12);

    // A 1% stretch of a along x, with fractional coordinates kept.
    const double strain[3][3] = {{0.01, 0, 0}, {0, 0, 0}, {0, 0, 0}};
    const double before = velmar_cell_calculate_volume(&cell);
    ASSERT_EQ(velmar_cell_deform(&cell, strain), 0);
    EXPECT_NEAR(velmar_cell_calculate_volume(&cell), before * 1.01, 1e-9);
    EXPECT_NEAR(cell.parameter[0], 5.05, 1e-12);
}

TEST(CellGeometry, PeriodicDistanceAndName) {
    auto li3n = load_cif_file(corpus("Li3N_P6mmm_OBELiX.cif"));
    ASSERT_EQ(li3n.status, 0);
    const VELMAR_CELL *cell = li3n.cell.get();
    // Li(2c) to N(1a): a / sqrt(3) in the hexagonal plane.
    EXPECT_NEAR(velmar_cell_min_distance_btw_atoms(cell, &cell->atom[0], &cell->atom[3]),
                3.648 / std::sqrt(3.0), 1e-3);
    // Li(1b) to N(1a): c / 2 across the cell edge.
    EXPECT_NEAR(velmar_cell_min_distance_btw_atoms(cell, &cell->atom[2], &cell->atom[3]), 3.875 / 2,
                1e-6);
    EXPECT_STREQ(cell->name, "Li1+:3.000 N3-:1.000 ");
}

TEST(CellOps, SortPutsCationsByStateThenAnions) {
    VELMAR_ATOM atoms[6]{};
    const char *types[6] = {"O", "P", "Fe", "Li", "F", "Co"};
    const int states[6] = {-2, 5, 2, 1, -1, 2};
    for (int i = 0; i < 6; ++i) {
        std::strcpy(atoms[i].type, types[i]);
        atoms[i].os = states[i];
    }
    velmar_atom_sort(atoms, 6);
    std::string order;
    for (const auto &a : atoms) order += std::string(a.type) + std::to_string(a.os) + " ";
    EXPECT_EQ(order, "Li1 Co2 Fe2 P5 F-1 O-2 ");
}

TEST(CellOps, SiteFlagsMatchThePairwiseOracle) {
    for (const char *file :
         {"LLZO_cubic_Ia-3d_partial_Li_VESTA.cif", "Mg2TiO4_inverse_spinel_mixed_COD.cif",
          "LiCoO2_R-3m_VESTA.cif", "NaK_zeolite_CRLF_no_types.cif"}) {
        auto loaded = load_cif_file(corpus(file));
        ASSERT_EQ(loaded.status, 0) << file;
        ASSERT_EQ(velmar_cell_flag_site_by_symmetry(loaded.cell.get(), loaded.symmetry.get()), 0);
        const auto expected = velmar_oracle::flags_by_pairs(*loaded.cell, *loaded.symmetry);
        for (int32_t n = 0; n < loaded.cell->total; ++n) {
            ASSERT_EQ(loaded.cell->atom[n].flag, expected[n]) << file << " atom " << n;
        }
    }
    // LiCoO2 (R-3m): three sites, Li 3a, Co 3b, O 6c.
    auto licoo2 = load_cif_file(corpus("LiCoO2_R-3m_VESTA.cif"));
    velmar_cell_flag_site_by_symmetry(licoo2.cell.get(), licoo2.symmetry.get());
    int32_t sites = 0;
    for (int32_t n = 0; n < licoo2.cell->total; ++n)
        sites = std::max(sites, licoo2.cell->atom[n].flag);
    EXPECT_EQ(sites, 3);
    // With P 1 every atom is its own site.
    velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free> p1(velmar_symmetry_new_p1());
    velmar_cell_flag_site_by_symmetry(licoo2.cell.get(), p1.get());
    for (int32_t n = 0; n < licoo2.cell->total; ++n) EXPECT_EQ(licoo2.cell->atom[n].flag, n + 1);
}

std::map<std::string, double> species_totals(const VELMAR_CELL &cell) {
    std::map<std::string, double> totals;
    for (int32_t n = 0; n < cell.total; ++n) {
        totals[std::string(cell.atom[n].type) + std::to_string(cell.atom[n].os)] +=
            cell.atom[n].occ;
    }
    return totals;
}

TEST(CellOps, SupercellsKeepTheCrystal) {
    auto li3n = load_cif_file(corpus("Li3N_P6mmm_OBELiX.cif"));
    const int s[3] = {2, 1, 3};
    Cell super(velmar_cell_supercell(li3n.cell.get(), s));
    ASSERT_NE(super, nullptr);
    EXPECT_EQ(super->total, 24);
    EXPECT_NEAR(velmar_cell_calculate_volume(super.get()),
                6 * velmar_cell_calculate_volume(li3n.cell.get()), 1e-9);
    // Each atom's images follow it, and cartesian positions are translations of the original.
    EXPECT_NEAR(super->atom[1].x[2] - super->atom[0].x[2], 3.875, 1e-12);
    EXPECT_STREQ(super->name, "Li1+:18.000 N3-:6.000 ");
    // An ordered cell needs no supercell.
    Cell same(velmar_cell_supercell_default(li3n.cell.get()));
    EXPECT_EQ(same->total, 4);

    // PMN-PT: Mg 0.25, Nb 0.5 and Ti 0.25 on the B site need four cells; of those, the most nearly
    // cubic comes first.
    auto pmn = load_cif_file(corpus("PMN-PT_cubic_mixed_occ_COD1501508.cif"));
    Cell pmn_super(velmar_cell_supercell_default(pmn.cell.get()));
    ASSERT_NE(pmn_super, nullptr);
    EXPECT_NEAR(pmn_super->parameter[0], 4.0244, 1e-9);
    EXPECT_NEAR(pmn_super->parameter[1], 2 * 4.0244, 1e-9);
    EXPECT_NEAR(pmn_super->parameter[2], 2 * 4.0244, 1e-9);
    for (const auto &[species, total] : species_totals(*pmn_super)) {
        EXPECT_NEAR(total, std::round(total), 0.05) << species;
    }
    // Cubic LLZO holds 52.8 Li per cell: only a multiple of five cells would be whole, which
    // factors up to 4 cannot make, so the cell itself (every axis already over 10 A) is taken.
    auto llzo = load_cif_file(corpus("LLZO_cubic_Ia-3d_partial_Li_VESTA.cif"));
    EXPECT_NEAR(species_totals(*llzo.cell)["Li1"], 52.8, 1e-6);
    Cell llzo_super(velmar_cell_supercell_default(llzo.cell.get()));
    ASSERT_NE(llzo_super, nullptr);
    EXPECT_EQ(llzo_super->total, llzo.cell->total);
    EXPECT_TRUE(velmar_cell_partial_occ_at_conducting_site(llzo.cell.get(), "Li", 1));
    EXPECT_FALSE(velmar_cell_partial_occ_at_conducting_site(llzo.cell.get(), "La", 3));
}

TEST(CellOps, AssignmentKeepsRoundedTotalsPerLabel) {
    auto llzo = load_cif_file(corpus("LLZO_cubic_Ia-3d_partial_Li_VESTA.cif"));
    Cell super(velmar_cell_supercell_default(llzo.cell.get()));
    velmar_random_seed(7u);
    Cell assigned(velmar_cell_assign_partial_occ_at_conducting_site(super.get(), "Li", 1));
    ASSERT_NE(assigned, nullptr);
    std::map<std::string, double> before;
    std::map<std::string, int> after;
    for (int32_t n = 0; n < super->total; ++n) {
        if (std::strcmp(super->atom[n].type, "Li") == 0)
            before[super->atom[n].name] += super->atom[n].occ;
    }
    for (int32_t n = 0; n < assigned->total; ++n) {
        const VELMAR_ATOM &a = assigned->atom[n];
        if (std::strcmp(a.type, "Li") != 0) continue;
        EXPECT_EQ(a.occ, 1.0);
        after[a.name] += 1;
    }
    for (const auto &[label, sum] : before) EXPECT_EQ(after[label], std::lround(sum)) << label;
    EXPECT_EQ(species_totals(*assigned)["La3"], species_totals(*super)["La3"]);
}

TEST(CellOps, AssignAllPutsAtMostOneAtomOnAMixedPosition) {
    // Inverse spinel: Mg and Ti share the 16d positions, Mg also fills 8a.
    auto spinel = load_cif_file(corpus("Mg2TiO4_inverse_spinel_mixed_COD.cif"));
    velmar_random_seed(11u);
    Cell assigned(velmar_cell_assign_partial_occ_all(spinel.cell.get()));
    ASSERT_NE(assigned, nullptr);
    const auto expected = species_totals(*spinel.cell);
    const auto got = species_totals(*assigned);
    for (const auto &[species, total] : expected)
        EXPECT_NEAR(got.at(species), total, 0.5) << species;
    for (int32_t i = 0; i < assigned->total; ++i) {
        EXPECT_EQ(assigned->atom[i].occ, 1.0);
        for (int32_t j = i + 1; j < assigned->total; ++j) {
            EXPECT_GT(velmar_cell_min_distance_btw_atoms(assigned.get(), &assigned->atom[i],
                                                         &assigned->atom[j]),
                      0.1);
        }
    }
}

// Written, read back: the same atoms (type, state, occupancy, position) and the same lattice.
void expect_same_cell(const VELMAR_CELL &a, const VELMAR_CELL &b, const std::string &what) {
    ASSERT_EQ(a.total, b.total) << what;
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(a.parameter[i], b.parameter[i], 1e-6) << what;
        EXPECT_NEAR(a.angle[i], b.angle[i], 1e-6) << what;
    }
    for (int32_t n = 0; n < a.total; ++n) {
        bool found = false;
        for (int32_t m = 0; m < b.total && !found; ++m) {
            const VELMAR_ATOM &x = a.atom[n];
            const VELMAR_ATOM &y = b.atom[m];
            found = std::strcmp(x.type, y.type) == 0 && x.os == y.os &&
                    std::fabs(x.occ - y.occ) < 1e-6 && std::strcmp(x.name, y.name) == 0 &&
                    velmar_cell_min_distance_btw_atoms(&a, &x, &y) < 1e-5;
        }
        EXPECT_TRUE(found) << what << ": atom " << n << " " << a.atom[n].name;
    }
}

TEST(CifWriter, EveryModeReadsBackToTheSameCell) {
    velmar_test::ScratchDir dir;
    for (const char *file : {"LiCoO2_R-3m_VESTA.cif", "Li6PS5Cl_argyrodite_partial_OBELiX.cif",
                             "YBa2Cu3O6.9_partial_O_COD.cif", "NaK_zeolite_CRLF_no_types.cif"}) {
        auto loaded = load_cif_file(corpus(file));
        ASSERT_EQ(loaded.status, 0) << file;
        const auto p1 = (dir / "p1.cif").string();
        const auto full = (dir / "full.cif").string();
        const auto reduced = (dir / "reduced.cif").string();
        ASSERT_EQ(velmar_cell_export_cif_to_file(p1.c_str(), loaded.cell.get(), 0), 0);
        ASSERT_EQ(velmar_cell_export_cif_with_symmetry(full.c_str(), loaded.cell.get(),
                                                       loaded.symmetry.get(), 0),
                  0);
        ASSERT_EQ(velmar_cell_export_cif_with_symmetry(reduced.c_str(), loaded.cell.get(),
                                                       loaded.symmetry.get(), 1),
                  0);
        for (const auto &written : {p1, full, reduced}) {
            auto back = load_cif_file(written);
            ASSERT_EQ(back.status, 0) << file << " " << written << back.printed.err;
            expect_same_cell(*loaded.cell, *back.cell, std::string(file) + " via " + written);
        }
    }
}

}  // namespace
