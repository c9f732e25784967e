// Landscapes: the site energy against the plain voxel x atom x image loop (to the printed six
// decimals), independence from the thread count, symmetry and periodicity of the result, minima on
// the lithium sites, the incremental GII against a full recomputation per voxel, and the grid rule.
#include "landscape/velmar-landscape.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "core/velmar.h"
#include "model/velmar-bv.h"
#include "structure/velmar-cell-ops.h"
#include "support/oracles.h"
#include "support/support.h"

namespace {

using velmar_test::capture;
using velmar_test::corpus;
using velmar_test::database;
using Cube = velmar::Owned<VELMAR_CUBE, velmar_cube_free>;
using velmar_test::Landscape;
using velmar_test::landscape;

std::string printed(double v) {
    char text[32];
    std::snprintf(text, sizeof text, " %12.6f", v);
    return text;
}

TEST(Landscape, SiteEnergyEqualsThePlainLoopToThePrintedDigits) {
    for (const auto &[file, ignore] :
         {std::pair{"Li3N_P6mmm_OBELiX.cif", true}, std::pair{"LiCoO2_R-3m_VESTA.cif", false},
          std::pair{"Li6PS5Cl_argyrodite_partial_OBELiX.cif", true}}) {
        Landscape l = landscape(file, 0.35, ignore);
        ASSERT_NE(l.cube, nullptr) << file;
        VELMAR_CELL *cell = l.loaded.cell.get();
        for (int32_t a = 0; a < cell->total; ++a) {
            cell->atom[a].ignored = ignore && std::strcmp(cell->atom[a].type, "Li") == 0;
        }
        const long n[3] = {l.cube->n[0], l.cube->n[1], l.cube->n[2]};
        const auto expected =
            velmar_oracle::site_energy_cube(*cell, *l.ppt, *l.loaded.symmetry, n, l.cube->a_i);
        const double *got = velmar::cube_values(l.cube.get());
        int differ = 0;
        for (size_t v = 0; v < expected.size(); ++v)
            differ += printed(got[v]) != printed(expected[v]);
        EXPECT_EQ(differ, 0) << file << " of " << expected.size();
    }
}

TEST(Landscape, SymmetricPeriodicAndMinimaOnLithiumSites) {
    Landscape l = landscape("Li3N_P6mmm_OBELiX.cif", 0.1, true);
    ASSERT_NE(l.cube, nullptr);
    const VELMAR_CUBE &cube = *l.cube;
    EXPECT_EQ(cube.n[0], 48);  // 24 ceil(3.648 / 0.1 / 24)
    EXPECT_EQ(cube.n[2], 48);
    // Every card maps voxels onto voxels of equal value.
    const long n[3] = {cube.n[0], cube.n[1], cube.n[2]};
    for (int c = 0; c < l.loaded.symmetry->total; ++c) {
        for (long i = 0; i < n[0]; i += 5)
            for (long j = 0; j < n[1]; j += 3)
                for (long k = 0; k < n[2]; k += 7) {
                    const long v[3] = {i, j, k};
                    long w[3];
                    velmar_card_transform_vector3_long(w, v, n, &l.loaded.symmetry->card[c]);
                    ASSERT_EQ(cube.en[i][j][k], cube.en[w[0]][w[1]][w[2]]);
                }
    }
    // Periodic: the step across a face is no larger than the steps inside.
    for (long j = 0; j < n[1]; ++j) {
        for (long k = 0; k < n[2]; ++k) {
            const double inner = std::fabs(cube.en[1][j][k] - cube.en[0][j][k]) +
                                 std::fabs(cube.en[n[0] - 1][j][k] - cube.en[n[0] - 2][j][k]);
            EXPECT_LE(std::fabs(cube.en[0][j][k] - cube.en[n[0] - 1][j][k]), 2 * inner + 1e-9);
        }
    }
    // The lowest voxels lie on the Li sites: 2c (1/3, 2/3, 0) or 1b (0, 0, 1/2).
    long best = 0;
    const double *en = velmar::cube_values(l.cube.get());
    for (long v = 1; v < n[0] * n[1] * n[2]; ++v) best = en[v] < en[best] ? v : best;
    const double f[3] = {static_cast<double>(best / (n[1] * n[2])) / n[0],
                         static_cast<double>((best / n[2]) % n[1]) / n[1],
                         static_cast<double>(best % n[2]) / n[2]};
    const auto near = [&f](double x, double y, double z) {
        const double d[3] = {f[0] - x, f[1] - y, f[2] - z};
        double sum = 0.0;
        for (double e : d) sum += std::pow(e - std::round(e), 2);
        return std::sqrt(sum) < 0.03;
    };
    EXPECT_TRUE(near(1.0 / 3, 2.0 / 3, 0) || near(2.0 / 3, 1.0 / 3, 0) || near(0, 0, 0.5))
        << f[0] << " " << f[1] << " " << f[2];
}

// The cap on the voxel count can lower one of two axes that the symmetry exchanges (a hexagonal
// cell of a = 9.43 A and c = 6.89 A at 0.0414 A gets 192 x 216 x 168). Values then spread only
// through the cards that map the grid onto itself, and every other voxel is computed: on such a
// grid the cube equals the direct computation at every voxel.
TEST(Landscape, UnequalCountsOnEquivalentAxesAreComputedDirectly) {
    long n[3];
    const double hexagonal[3] = {9.43, 9.43, 6.89};
    velmar::detail::landscape_grid_size(n, hexagonal, 0.0414);
    EXPECT_EQ(n[0], 192);
    EXPECT_EQ(n[1], 216);
    EXPECT_EQ(n[2], 168);

    Landscape l = landscape("Li3N_P6mmm_OBELiX.cif", 0.5, false);
    ASSERT_NE(l.cube, nullptr);
    const long grid[3] = {24, 48, 24};
    velmar::detail::LandscapeRun run;
    run.grid = grid;
    Cube cube;
    capture([&] {
        cube.reset(velmar::detail::cube_calculate(l.loaded.cell.get(), l.loaded.symmetry.get(),
                                                  l.ppt.get(), 0.5, false, run));
    });
    ASSERT_NE(cube, nullptr);
    ASSERT_EQ(cube->n[0], 24);
    ASSERT_EQ(cube->n[1], 48);
    // P 6/m m m has cards that exchange the first two axes; they do not map this grid onto itself.
    int exchanging = 0;
    for (int c = 0; c < l.loaded.symmetry->total; ++c) {
        exchanging += l.loaded.symmetry->card[c].r_i[0][1] != 0 ? 1 : 0;
    }
    EXPECT_GT(exchanging, 0);
    int wrong = 0;
    double worst = 0.0;
    for (long i = 0; i < grid[0]; ++i) {
        for (long j = 0; j < grid[1]; ++j) {
            for (long k = (i + j) % 5; k < grid[2]; k += 5) {
                double p[3];
                for (int r = 0; r < 3; ++r) {
                    p[r] = i * cube->a_i[0][r] + j * cube->a_i[1][r] + k * cube->a_i[2][r];
                }
                // Voxels spread from an equivalent one differ from a direct computation by
                // rounding only; a voxel written through a card that misses the grid is off by
                // electronvolts.
                const double error = std::fabs(
                    cube->en[i][j][k] - velmar_oracle::site_energy(*l.loaded.cell, *l.ppt, p));
                worst = std::max(worst, error);
                wrong += error > 1e-6 ? 1 : 0;
            }
        }
    }
    EXPECT_EQ(wrong, 0) << "largest error " << worst << " eV";
}

TEST(Landscape, ThreadCountDoesNotChangeTheCube) {
    omp_set_num_threads(1);
    Landscape one = landscape("LiCoO2_R-3m_VESTA.cif", 0.25, true);
    omp_set_num_threads(2);
    Landscape two = landscape("LiCoO2_R-3m_VESTA.cif", 0.25, true);
    const auto size = static_cast<size_t>(velmar::cube_size(one.cube.get()));
    EXPECT_EQ(std::memcmp(velmar::cube_values(one.cube.get()), velmar::cube_values(two.cube.get()),
                          size * sizeof(double)),
              0);
}

// The GII landscape adds the test ion's bonds to sums computed once; a full bond-valence
// calculation of the test cell at each voxel must give the same value.
TEST(Landscape, IncrementalGiiEqualsTheFullRecalculation) {
    Landscape l = landscape("LiCoO2_R-3m_VESTA.cif", 0.3, true, true);
    ASSERT_NE(l.cube, nullptr);
    VELMAR_CELL *cell = l.loaded.cell.get();
    int32_t ignored = 0;
    for (int32_t a = 0; a < cell->total; ++a) {
        cell->atom[a].ignored = std::strcmp(cell->atom[a].type, "Li") == 0;
        ignored += cell->atom[a].ignored;
    }
    velmar::Owned<VELMAR_CELL, velmar_cell_free> test(velmar_cube_cell_new(cell, "Li", 1, ignored));
    velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free> p1(velmar_symmetry_new_p1());
    const VELMAR_CUBE &cube = *l.cube;
    int checked = 0;
    for (int i = 0; i < cube.n[0]; i += 3)
        for (int j = 0; j < cube.n[1]; j += 4)
            for (int k = 0; k < cube.n[2]; k += 5) {
                for (int r = 0; r < 3; ++r) {
                    test->atom[0].x[r] =
                        i * cube.a_i[0][r] + j * cube.a_i[1][r] + k * cube.a_i[2][r];
                    test->atom[0].x_f[r] = test->atom[0].x[r] / cell->parameter[r];
                }
                velmar_cell_flag_site_by_symmetry(test.get(), p1.get());
                velmar::Owned<VELMAR_BV, velmar_bv_free> bv(
                    velmar_bv_calculate_from_flagged_cell(test.get(), l.ppt.get()));
                const double expected =
                    std::min(velmar_gii_calculate_from_bv_no_msg(bv.get()), 999.9);
                ASSERT_NEAR(cube.en[i][j][k], expected, 1e-9 * expected)
                    << i << " " << j << " " << k;
                ++checked;
            }
    EXPECT_GT(checked, 100);
    // With the conducting ions kept, the test cell's empty slot stops the landscape.
    Landscape kept = landscape("LiCoO2_R-3m_VESTA.cif", 0.3, false, true);
    EXPECT_EQ(kept.cube, nullptr);
}

TEST(Landscape, GridRuleAndRefusals) {
    long n[3];
    const double cubic[3] = {10.0, 10.0, 10.0};
    velmar::detail::landscape_grid_size(n, cubic, 0.1);
    EXPECT_EQ(n[0], 120);
    EXPECT_EQ(n[2], 120);
    // A 40 A axis gives 408 voxels; beside 216 and 120 that is over the cap, so it alone is
    // lowered.
    const double long_axis[3] = {40.0, 20.0, 10.0};
    velmar::detail::landscape_grid_size(n, long_axis, 0.1);
    EXPECT_EQ(n[0], 288);
    EXPECT_EQ(n[1], 216);
    EXPECT_EQ(n[2], 120);
    const double under[3] = {40.0, 10.0, 10.0};
    velmar::detail::landscape_grid_size(n, under, 0.1);
    EXPECT_EQ(n[0], 408);
    // Ties are lowered first axis first.
    const double equal[3] = {30.0, 30.0, 30.0};
    velmar::detail::landscape_grid_size(n, equal, 0.1);
    EXPECT_EQ(n[0], 192);
    EXPECT_EQ(n[1], 192);
    EXPECT_EQ(n[2], 192);

    // Without a conducting species there is no landscape; an oxidation state 0 gives none either.
    Landscape l = landscape("Li3N_P6mmm_OBELiX.cif", 0.5, true);
    Cube none;
    const int conducting = l.ppt->conducting;
    l.ppt->conducting = -1;
    auto out = capture([&] {
        none.reset(velmar_cube_calculate(l.loaded.cell.get(), l.loaded.symmetry.get(), l.ppt.get(),
                                         0.5, true));
    });
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(out.err,
              "Error: conducting species not correctly specified.\n"
              "Error: velmar_cube_validate_property() returns non-zero.\n");
    l.ppt->conducting = conducting;
    l.loaded.cell->atom[3].os = 0;
    out = capture([&] {
        none.reset(velmar_cube_calculate(l.loaded.cell.get(), l.loaded.symmetry.get(), l.ppt.get(),
                                         0.5, true));
    });
    EXPECT_EQ(out.err, "Error: oxidation state is zero where atom[3]: N0+.\n");

    // A cube repeated once is a copy.
    const int once[3] = {1, 1, 1};
    Cube copy(velmar_cube_super_simple(l.cube.get(), once));
    EXPECT_EQ(std::memcmp(velmar::cube_values(copy.get()), velmar::cube_values(l.cube.get()),
                          sizeof(double) * velmar::cube_size(l.cube.get())),
              0);
    const int twice[3] = {2, 1, 1};
    Cube big(velmar_cube_super_simple(l.cube.get(), twice));
    EXPECT_EQ(big->en[l.cube->n[0] + 1][2][3], l.cube->en[1][2][3]);
    EXPECT_DOUBLE_EQ(big->a[0][0], 2 * l.cube->a[0][0]);
}

}  // namespace
