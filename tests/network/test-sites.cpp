// Site classes: the curvature of a quadratic well on a hexagonal grid (finite differences are exact
// for it, so the eigenvalues and the attempt frequency are known), a lattice of equal wells that
// translations join into one class and P 1 keeps apart, names and occupancies from the structure,
// barriers out and into the network, olivine LiFePO4 (Li 4a lowest, four per cell, 1D along b
// first) and Li3N in its hexagonal and orthohexagonal cells (the same classes and barriers).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "core/velmar-la.h"
#include "core/velmar-solver.h"
#include "core/velmar.h"
#include "network/velmar-percolation.h"
#include "network/velmar-sites.h"
#include "structure/velmar-cell-geometry.h"
#include "support/support.h"

namespace {

using velmar_test::capture;
using Sites = velmar::Owned<VELMAR_SITES, velmar_sites_free>;
using Percolation = velmar::Owned<VELMAR_PERCOLATION, velmar_percolation_free>;
using Symmetry = velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free>;
constexpr double kLithium = 6.941;

Sites sites_of(const VELMAR_CELL *cell, const VELMAR_SYMMETRY *symmetry, const VELMAR_CUBE *cube,
               velmar_test::Captured *printed = nullptr) {
    Sites s;
    const auto out =
        capture([&] { s.reset(velmar_sites_calculate(cell, symmetry, cube, "Li", 1, kLithium)); });
    if (printed != nullptr) *printed = out;
    return s;
}

// E = (x - c)^T K (x - c) / 2 around the centre voxel of a hexagonal cell (a = b = 6 A, c = 5 A,
// gamma = 120 deg), with one Li site of occupancy 0.75 on the centre.
TEST(Sites, QuadraticWellOnAHexagonalGridHasTheCurvatureOfItsMatrix) {
    const int32_t n[3] = {24, 24, 20};
    velmar_test::CubePtr cube(velmar_cube_new(n[0], n[1], n[2]), velmar_cube_free);
    const double a[3][3] = {{6.0, 0.0, 0.0}, {-3.0, 3.0 * std::sqrt(3.0), 0.0}, {0.0, 0.0, 5.0}};
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            cube->a[r][c] = a[r][c];
            cube->a_i[r][c] = a[r][c] / n[r];
        }
    }
    double K[3][3];
    const double spectrum[3] = {0.8, 1.5, 3.0};
    const double angles[3] = {0.4, 0.9, -0.3};
    double R[3][3];
    double D[3][3];
    velmar_matrix33_double_rotation_euler(R, angles);
    velmar_matrix33_double_diagonal(D, spectrum);
    velmar_matrix33_double_multiplication(K, R, D);
    velmar_matrix33_double_transpose(R);
    velmar_matrix33_double_multiplication(K, K, R);
    for (int i = 0; i < n[0]; ++i) {
        for (int j = 0; j < n[1]; ++j) {
            for (int k = 0; k < n[2]; ++k) {
                double d[3];
                velmar_vector3_double_sum3(d, i - 12, cube->a_i[0], j - 12, cube->a_i[1], k - 10,
                                           cube->a_i[2]);
                double Kd[3];
                velmar_matrix33_double_multiply_vector3(Kd, K, d);
                cube->en[i][j][k] = 0.5 * velmar_vector3_double_dot(d, Kd) - 2.0;
            }
        }
    }
    velmar::Owned<VELMAR_CELL, velmar_cell_free> cell(velmar_cell_new(2));
    velmar_matrix33_double_copy(cell->a, a);
    const char *names[2] = {"Li7", "O1"};
    const char *types[2] = {"Li", "O"};
    const int os[2] = {1, -2};
    const double at[2][3] = {{0.5, 0.5, 0.5}, {0.0, 0.0, 0.0}};
    for (int m = 0; m < 2; ++m) {
        VELMAR_ATOM &atom = cell->atom[m];
        velmar::copy_text(atom.name, sizeof atom.name, names[m]);
        velmar::copy_text(atom.type, sizeof atom.type, types[m]);
        atom.os = os[m];
        atom.occ = 0.75;
        velmar_vector3_double_sum3(atom.x, at[m][0], a[0], at[m][1], a[1], at[m][2], a[2]);
    }
    velmar_cell_update_fractional(cell.get());
    const Sites s = sites_of(cell.get(), nullptr, cube.get());
    ASSERT_NE(s, nullptr);
    const VELMAR_SITE_CLASS &well = s->site_class[0];
    EXPECT_STREQ(well.label, "Li7");
    EXPECT_EQ(well.multiplicity, 1);
    EXPECT_EQ(well.energy, 0.0);
    EXPECT_NEAR(s->e_min, -2.0, 1e-12);
    EXPECT_NEAR(well.occupancy, 0.75, 1e-15);
    EXPECT_NEAR(well.distance, 0.0, 1e-12);
    for (int r = 0; r < 3; ++r) {
        EXPECT_NEAR(well.x_f[r], at[0][r], 1e-15);
        // Second differences of a quadratic are exact: only rounding remains.
        EXPECT_NEAR(well.k[r], spectrum[r], 1e-9) << r;
    }
    // The frequency of the mean curvature, (0.8 + 1.5 + 3.0) / 3, as the hops out of it get.
    EXPECT_NEAR(well.frequency, 15.6 * std::sqrt(5.3 / 3.0 / kLithium), 1e-9);
}

// Eight wells 4 A apart in a cubic 8 A cell, the structure's Li0 and Li1 on them.
TEST(Sites, TranslationsJoinEqualWellsThatPOneKeepsApart) {
    const velmar_test::SiteLattice l = velmar_test::site_lattice(0.5, 0.5, 16);
    velmar_test::Captured printed;
    const Sites apart = sites_of(l.cell.get(), nullptr, l.cube.get(), &printed);
    ASSERT_NE(apart, nullptr);
    EXPECT_EQ(printed.err, "");
    EXPECT_EQ(apart->total, 8);
    Symmetry half(velmar_symmetry_new(8));
    for (int c = 0; c < 8; ++c) {
        for (int r = 0; r < 3; ++r) {
            half->card[c].r_f[r][r] = 1.0;
            half->card[c].t_f[r] = 0.5 * ((c >> r) & 1);
        }
    }
    const Sites joined = sites_of(l.cell.get(), half.get(), l.cube.get());
    ASSERT_NE(joined, nullptr);
    ASSERT_EQ(joined->total, 1);
    const VELMAR_SITE_CLASS &sc = joined->site_class[0];
    EXPECT_EQ(sc.multiplicity, 8);
    EXPECT_STREQ(sc.label, "Li0");  // both labels lie on a well; the first atom's is kept
    EXPECT_EQ(sc.occupancy, 0.5);
    // -A (cos 4 pi x + ...) with A = 0.5: saddles 1 eV above the wells, where every dimension
    // opens at once; the second difference over a 0.5 A step of a cosine of period 4 A.
    EXPECT_NEAR(sc.barrier_out, 1.0, 1e-12);
    for (int d = 0; d < 3; ++d) EXPECT_NEAR(sc.barrier_join[d], 1.0, 1e-12);
    const double k = 2.0 * 0.5 * (1.0 - std::cos(M_PI / 4.0)) / 0.25;
    for (int r = 0; r < 3; ++r) EXPECT_NEAR(sc.k[r], k, 1e-12);

    // Without lithium in the structure the wells are interstitials.
    velmar::Owned<VELMAR_CELL, velmar_cell_free> empty(velmar_cell_copy(l.cell.get()));
    for (int32_t m = 0; m < empty->total; ++m) velmar::copy_text(empty->atom[m].type, 3, "Na");
    const Sites named = sites_of(empty.get(), half.get(), l.cube.get());
    EXPECT_STREQ(named->site_class[0].label, "i1");
    EXPECT_EQ(named->site_class[0].occupancy, 0.0);
    EXPECT_EQ(named->site_class[0].distance, -1.0);

    // The table and its CSV: one row per class, "none" for barriers never reached.
    EXPECT_EQ(capture([&] { velmar_sites_print(joined.get()); }).out,
              "SITES: 8 minima of Li1+ (mass 6.941 u) in 1 symmetry classes; energies above the "
              "lowest (-1.500000 eV).\n"
              "SITES: site label          energy mult       x       y       z    occ       k1     "
              "  k2       k3 freq(THz)       out        1D        2D        3D\n"
              "SITES:    1 Li0          0.000000    8  0.0000  0.0000  0.0000  0.500    1.172    "
              "1.172    1.172     6.409  1.000000  1.000000  1.000000  1.000000\n");
    velmar::Owned<VELMAR_TEXT, velmar_text_free> csv(velmar_sites_export_to_text(joined.get()));
    EXPECT_EQ(std::string(csv->content),
              "site,label,energy,multiplicity,x,y,z,occupancy,barrier_out,frequency,k1,k2,k3,"
              "barrier_1d,barrier_2d,barrier_3d\r\n"
              "1,Li0,0.000000,8,0.000000,0.000000,0.000000,0.5000,1.000000,6.4091,1.1716,1.1716,"
              "1.1716,1.000000,1.000000,1.000000\r\n");
}

TEST(Sites, OlivineLithiumSitsOnFourAFourAndMovesAlongB) {
    auto olivine = velmar_test::example_landscape("LiFePO4.cif", 0.2);
    ASSERT_NE(olivine.cube, nullptr);
    Percolation p;
    capture([&] { p.reset(velmar_percolation_calculate(olivine.cube.get())); });
    ASSERT_NE(p, nullptr);
    char directions[64];
    velmar_percolation_directions(directions, sizeof directions, &p->level[0]);
    EXPECT_STREQ(directions, "[0 1 0]");
    EXPECT_GT(p->level[1].energy, p->level[0].energy + 1.0);  // no layer within an eV of it
    const Sites s =
        sites_of(olivine.loaded.cell.get(), olivine.loaded.symmetry.get(), olivine.cube.get());
    ASSERT_NE(s, nullptr);
    const VELMAR_SITE_CLASS &lowest = s->site_class[0];
    EXPECT_STREQ(lowest.label, "Li1");
    EXPECT_EQ(lowest.multiplicity, 4);
    EXPECT_EQ(lowest.occupancy, 1.0);
    EXPECT_LT(lowest.distance, 0.05);
    EXPECT_GT(lowest.frequency, 1.0);
    EXPECT_EQ(lowest.barrier_join[0], p->level[0].barrier);
    EXPECT_EQ(lowest.barrier_join[2], p->level[2].barrier);
    int sites = 0;
    for (int32_t c = 0; c < s->total; ++c) sites += s->site_class[c].multiplicity;
    EXPECT_EQ(sites, s->total_site);
}

// The same crystal in two cells: equal barriers within the grid's resolution (0.01 eV at 0.2 A,
// where the saddle voxels of the two grids differ by up to half a step), the same site classes
// with twice the multiplicity in the cell twice as large.
TEST(Sites, Li3NInItsHexagonalAndOrthohexagonalCellsAgrees) {
    auto hexagonal = velmar_test::example_landscape("Li3N.cif", 0.2);
    auto ortho = velmar_test::example_landscape("Li3N-orthohexagonal.cif", 0.2);
    ASSERT_NE(hexagonal.cube, nullptr);
    ASSERT_NE(ortho.cube, nullptr);
    Percolation ph;
    Percolation po;
    capture([&] {
        ph.reset(velmar_percolation_calculate(hexagonal.cube.get()));
        po.reset(velmar_percolation_calculate(ortho.cube.get()));
    });
    ASSERT_NE(ph, nullptr);
    ASSERT_NE(po, nullptr);
    for (int d = 0; d < 3; ++d) {
        EXPECT_NEAR(ph->level[d].barrier, po->level[d].barrier, 0.01) << d;
        // The Li2N layer is the (a, b) plane of both cells (B = a + 2b spans it with A = a).
        EXPECT_EQ(ph->level[d].rank, po->level[d].rank);
    }
    const Sites sh = sites_of(hexagonal.loaded.cell.get(), hexagonal.loaded.symmetry.get(),
                              hexagonal.cube.get());
    const Sites so =
        sites_of(ortho.loaded.cell.get(), ortho.loaded.symmetry.get(), ortho.cube.get());
    ASSERT_NE(sh, nullptr);
    ASSERT_NE(so, nullptr);
    const auto find = [](const VELMAR_SITES &s, const char *label) -> const VELMAR_SITE_CLASS * {
        for (int32_t c = 0; c < s.total; ++c)
            if (std::strcmp(s.site_class[c].label, label) == 0) return &s.site_class[c];
        return nullptr;
    };
    for (const char *label : {"Li0", "Li1"}) {
        const VELMAR_SITE_CLASS *h = find(*sh, label);
        const VELMAR_SITE_CLASS *o = find(*so, label);
        ASSERT_NE(h, nullptr) << label;
        ASSERT_NE(o, nullptr) << label;
        EXPECT_EQ(2 * h->multiplicity, o->multiplicity) << label;
        EXPECT_NEAR(h->energy, o->energy, 1e-6) << label;
        EXPECT_NEAR(h->frequency, o->frequency, 0.05 * o->frequency) << label;
        for (int d = 0; d < 3; ++d) EXPECT_NEAR(h->barrier_join[d], o->barrier_join[d], 0.01);
    }
    EXPECT_STREQ(sh->site_class[0].label, "Li0");
    EXPECT_EQ(sh->site_class[0].multiplicity, 2);
}

}  // namespace
