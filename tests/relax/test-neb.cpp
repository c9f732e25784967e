// The nudged elastic band: band forces against finite differences (the true force perpendicular to
// the tangent, the climbing image's reversed component, the springs of a straight band against the
// gradient of the spring energy), the interpolation across a face of the cell, the symmetric
// vacancy hop in rock salt, independence of the thread count, and refusals.
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "core/velmar-la.h"
#include "relax/rock-salt.h"
#include "relax/velmar-neb.h"
#include "relax/velmar-rx-common.h"
#include "relax/velmar-rx-sd.h"
#include "support/support.h"

namespace {

using velmar_test::capture;
using velmar_test::Cell;
using velmar_test::rock_salt;
using velmar_test::rock_salt_table;
using Band = velmar::Owned<VELMAR_NEB, velmar_neb_free>;

double *point(const VELMAR_NEB &neb, double (*array)[3], int32_t i, int32_t a) {
    return array[static_cast<size_t>(i) * static_cast<size_t>(neb.atoms) + a];
}

// The hop of the Na next to the vacancy at the origin of NaCl 2 x 2 x 2 (63 atoms): atom 0, from
// (0, a/2, a/2) of the supercell's first cell to the origin. The host is fixed unless `free`
// lists the atoms that move as well.
struct Hop {
    Cell initial;
    Cell final;
    velmar_test::Table ppt;
};
Hop vacancy_hop(const std::vector<int32_t> &free) {
    Hop hop{rock_salt(2, 0), rock_salt(2, 0), {}};
    hop.ppt = rock_salt_table(*hop.initial);
    for (VELMAR_CELL *cell : {hop.initial.get(), hop.final.get()}) {
        for (int32_t a = 0; a < cell->total; ++a)
            cell->atom[a].ignored = a != 0 && std::find(free.begin(), free.end(), a) == free.end();
    }
    for (double &c : hop.final->atom[0].x) c = 0.0;
    return hop;
}

// -dE/dx of image i over every atom by central differences (zero on fixed atoms).
std::vector<double> gradient_force(const VELMAR_NEB &neb, int32_t i) {
    velmar::rx::Evaluator model;
    EXPECT_TRUE(model.init(*neb.cell, neb.ppt));
    std::unique_ptr<double[][3]> x(new double[neb.atoms][3]);
    for (int32_t a = 0; a < neb.atoms; ++a)
        velmar_vector3_double_copy(x[a], point(neb, neb.x, i, a));
    std::vector<double> f(static_cast<size_t>(neb.atoms) * 3, 0.0);
    for (int32_t a = 0; a < neb.atoms; ++a) {
        for (int c = 0; c < 3 && !neb.cell->atom[a].ignored; ++c)
            f[3 * a + c] = velmar_test::difference_force(model, x.get(), a, c);
    }
    return f;
}

// Central differences of 1e-4 A leave about 1e-7 eV/A of error; 1e-5 is allowed.
TEST(Neb, BandForcesAgainstFiniteDifferences) {
    // The hopping Na and the two Cl beside its path move, so the tangent spans several atoms.
    Hop hop = vacancy_hop({5, 6});
    ASSERT_NE(hop.ppt, nullptr);
    hop.final->atom[5].x[0] += 0.1;
    hop.final->atom[6].x[2] -= 0.1;
    Band neb(
        velmar_neb_new_interpolated(hop.initial.get(), hop.final.get(), 5, hop.ppt.get(), nullptr));
    ASSERT_NE(neb, nullptr);
    for (int32_t i = 1; i < 4; ++i) {
        for (int32_t a : {0, 5, 6}) {
            for (int c = 0; c < 3; ++c)
                point(*neb, neb->x, i, a)[c] += 0.1 * std::sin(3.1 * i + a + 1.3 * c);
        }
    }
    neb->climbing = true;
    ASSERT_EQ(velmar_neb_calculate_energy(neb.get()), 0);
    ASSERT_EQ(velmar_neb_calculate_force(neb.get()), 0);
    ASSERT_GT(neb->climber, 0);
    for (int32_t i = 1; i < 4; ++i) {
        const std::vector<double> g = gradient_force(*neb, i);
        double along = 0.0;
        for (int32_t a = 0; a < neb->atoms; ++a)
            for (int c = 0; c < 3; ++c) along += g[3 * a + c] * point(*neb, neb->tangent, i, a)[c];
        for (int32_t a = 0; a < neb->atoms; ++a) {
            for (int c = 0; c < 3; ++c) {
                const double t = point(*neb, neb->tangent, i, a)[c];
                const double band = point(*neb, neb->f_neb, i, a)[c];
                const double spring = point(*neb, neb->f_spring, i, a)[c];
                if (i == neb->climber) {
                    EXPECT_EQ(spring, 0.0);
                    EXPECT_NEAR(band, g[3 * a + c] - 2.0 * along * t, 1e-5) << i << " " << a;
                } else {
                    EXPECT_NEAR(band - spring, g[3 * a + c] - along * t, 1e-5) << i << " " << a;
                }
            }
        }
    }

    // On a straight band the springs are the projection of -grad of k/2 sum |R(i+1) - R(i)|^2.
    const double s[5] = {0.0, 0.1, 0.35, 0.5, 1.0};
    for (int32_t i = 1; i < 4; ++i) {
        for (int32_t a : {0, 5, 6}) {
            velmar_vector3_double_sum2(point(*neb, neb->x, i, a), 1.0 - s[i],
                                       point(*neb, neb->x, 0, a), s[i], point(*neb, neb->x, 4, a));
        }
    }
    neb->climbing = false;
    ASSERT_EQ(velmar_neb_calculate_energy(neb.get()), 0);
    ASSERT_EQ(velmar_neb_calculate_force(neb.get()), 0);
    const auto spring_energy = [&] {
        double e = 0.0;
        for (int32_t i = 0; i < 4; ++i) {
            double d2 = 0.0;
            for (int32_t a : {0, 5, 6}) {
                const double d = velmar_vector3_double_distance(point(*neb, neb->x, i + 1, a),
                                                                point(*neb, neb->x, i, a));
                d2 += d * d;
            }
            e += 0.5 * neb->k * d2;
        }
        return e;
    };
    const double h = 1e-5;
    for (int32_t i = 1; i < 4; ++i) {
        std::vector<double> g(static_cast<size_t>(neb->atoms) * 3, 0.0);
        double along = 0.0;
        for (int32_t a : {0, 5, 6}) {
            for (int c = 0; c < 3; ++c) {
                double *x = &point(*neb, neb->x, i, a)[c];
                *x += h;
                const double plus = spring_energy();
                *x -= 2.0 * h;
                const double minus = spring_energy();
                *x += h;
                g[3 * a + c] = -(plus - minus) / (2.0 * h);
                along += g[3 * a + c] * point(*neb, neb->tangent, i, a)[c];
            }
        }
        for (int32_t a : {0, 5, 6}) {
            for (int c = 0; c < 3; ++c) {
                EXPECT_NEAR(point(*neb, neb->f_spring, i, a)[c],
                            along * point(*neb, neb->tangent, i, a)[c], 1e-7)
                    << i << " " << a;
            }
        }
    }
}

TEST(Neb, InterpolationTakesTheShortWayAcrossAFaceOfTheCell) {
    Cell initial = rock_salt(1, -1);
    Cell final = rock_salt(1, -1);
    const auto ppt = rock_salt_table(*initial);
    initial->atom[0].x[0] = 0.1 * velmar_test::kRockSaltA;
    final->atom[0].x[0] = 0.9 * velmar_test::kRockSaltA;
    Band neb(velmar_neb_new_interpolated(initial.get(), final.get(), 3, ppt.get(), nullptr));
    ASSERT_NE(neb, nullptr);
    EXPECT_NEAR(point(*neb, neb->x, 1, 0)[0], 0.0, 1e-12);
    EXPECT_NEAR(point(*neb, neb->x, 2, 0)[0], -0.1 * velmar_test::kRockSaltA, 1e-12);
    ASSERT_EQ(velmar_neb_calculate_energy(neb.get()), 0);
    EXPECT_NEAR(neb->coordinate[2], 0.2 * velmar_test::kRockSaltA, 1e-12);
    // Given as images folded into the cell, the band is made continuous the same way.
    Cell middle = rock_salt(1, -1);
    const VELMAR_CELL *images[3] = {initial.get(), middle.get(), final.get()};
    Band given(velmar_neb_new(images, 3, ppt.get(), nullptr));
    ASSERT_NE(given, nullptr);
    EXPECT_NEAR(point(*given, given->x, 2, 0)[0], -0.1 * velmar_test::kRockSaltA, 1e-12);
}

// Every atom but the hopping one fixed, the Na hop through the edge between two Cl. The straight
// band is a ridge of the energy (the mirror planes of the hop cancel its perpendicular force), so
// the band starts bowed out of the plane x = 0 of the hop and of the two Cl; the half-turn about
// the x axis through the hop's midpoint maps the hop onto itself reversed, so the relaxed profile
// is symmetric.
TEST(Neb, SymmetricVacancyHopInRockSalt) {
    Hop hop = vacancy_hop({});
    ASSERT_NE(hop.ppt, nullptr);
    for (VELMAR_CELL *end : {hop.initial.get(), hop.final.get()}) {
        bool converged = false;
        capture([&] {
            ASSERT_EQ(velmar_rx_sd_relax(end, hop.ppt.get(), 200, 1e-4, nullptr, &converged), 0);
        });
        ASSERT_TRUE(converged);
    }
    Band straight(
        velmar_neb_new_interpolated(hop.initial.get(), hop.final.get(), 7, hop.ppt.get(), nullptr));
    ASSERT_NE(straight, nullptr);
    ASSERT_EQ(velmar_neb_calculate_energy(straight.get()), 0);
    const double straight_top =
        *std::max_element(straight->energy, straight->energy + 7) - straight->energy[0];
    for (int32_t i = 0; i < 7; ++i)
        EXPECT_NEAR(straight->energy[i], straight->energy[6 - i], 1e-6) << i;

    Band band(
        velmar_neb_new_interpolated(hop.initial.get(), hop.final.get(), 7, hop.ppt.get(), nullptr));
    for (int32_t i = 1; i < 6; ++i)
        point(*band, band->x, i, 0)[0] += 0.3 * std::sin(M_PI * i / 6.0);
    bool converged = false;
    auto printed =
        capture([&] { ASSERT_EQ(velmar_neb_run(band.get(), 1000, 0.002, &converged), 0); });
    ASSERT_TRUE(converged) << printed.out;
    const auto profile = [](const VELMAR_NEB &neb) {
        std::vector<double> e(neb.energy, neb.energy + neb.total);
        for (double &v : e) v -= neb.energy[0];
        return e;
    };
    const std::vector<double> e = profile(*band);
    const auto top = std::max_element(e.begin(), e.end()) - e.begin();
    EXPECT_GT(top, 0);
    EXPECT_LT(top, 6);
    // The start is symmetric and the ends are relaxed to 1e-4 eV/A, so the band stays symmetric
    // far within the 5e-4 eV allowed (forces below 0.002 eV/A alone would allow about that much).
    for (int32_t i = 0; i < 7; ++i) EXPECT_NEAR(e[i], e[6 - i], 5e-4) << i;
    EXPECT_LE(e[top], straight_top);
    EXPECT_GT(e[top], 0.0);

    // The climbing image then reaches the saddle point: no lower than the highest plain image,
    // still below the straight band's top.
    band->climbing = true;
    printed = capture([&] { ASSERT_EQ(velmar_neb_run(band.get(), 500, 0.01, &converged), 0); });
    ASSERT_TRUE(converged) << printed.out;
    const std::vector<double> climbed = profile(*band);
    ASSERT_GT(band->climber, 0);
    EXPECT_GE(climbed[band->climber], e[top] - 1e-3);
    EXPECT_LE(climbed[band->climber], straight_top);
    EXPECT_EQ(*std::max_element(climbed.begin(), climbed.end()), climbed[band->climber]);
}

TEST(Neb, BandDoesNotDependOnTheThreadCount) {
    Hop hop = vacancy_hop({5, 6});
    ASSERT_NE(hop.ppt, nullptr);
    const int threads = omp_get_max_threads();
    std::vector<std::vector<double>> runs;
    for (int n : {1, 2}) {
        omp_set_num_threads(n);
        Band band(velmar_neb_new_interpolated(hop.initial.get(), hop.final.get(), 6, hop.ppt.get(),
                                              nullptr));
        ASSERT_NE(band, nullptr);
        for (int32_t i = 1; i < 5; ++i) point(*band, band->x, i, 0)[2] += 0.2;
        bool converged = false;
        capture([&] { ASSERT_EQ(velmar_neb_run(band.get(), 20, 1e-3, &converged), 0); });
        const size_t count = static_cast<size_t>(band->total) * band->atoms * 3;
        std::vector<double> state(&band->x[0][0], &band->x[0][0] + count);
        state.insert(state.end(), band->energy, band->energy + band->total);
        runs.push_back(state);
    }
    omp_set_num_threads(threads);
    EXPECT_EQ(runs[0], runs[1]);
}

TEST(Neb, RefusesImagesOfOtherAtomsOrCells) {
    Cell first = rock_salt(1, -1);
    const auto ppt = rock_salt_table(*first);
    const char *names[2] = {"a.cif", "b.cif"};
    const auto refused = [&](const VELMAR_CELL &other, const char *const *given) {
        const auto printed = capture([&] {
            EXPECT_EQ(velmar_neb_new_interpolated(first.get(), &other, 5, ppt.get(), given),
                      nullptr);
        });
        EXPECT_EQ(printed.out, "");
        return printed.err;
    };
    const std::string tail = "Error: velmar_neb_check_images() returns non-zero.\n";
    EXPECT_EQ(refused(*rock_salt(1, 3), names),
              "Error: b.cif has 7 atoms and a.cif 8; the images must hold the same atoms in the "
              "same order.\n" +
                  tail);
    Cell swapped = rock_salt(1, -1);
    std::swap(swapped->atom[3], swapped->atom[4]);
    EXPECT_EQ(refused(*swapped, nullptr),
              "Error: atom 4 is Na1+ (Na3) in image 0 but Cl1- (Cl4) in image 1; the images must "
              "hold the same atoms in the same order.\n" +
                  tail);
    Cell larger = rock_salt(1, -1);
    larger->a[1][1] += 0.01;
    EXPECT_EQ(refused(*larger, names),
              "Error: a.cif and b.cif have different cells (lattice vectors differ by up to 0.0100 "
              "A).\n" +
                  tail);
}

}  // namespace
