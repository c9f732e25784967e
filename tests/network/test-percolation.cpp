// Percolation thresholds by the voxel sweep: analytic cosine landscapes (thresholds at known
// voxels, known translations, a diagonal channel, channels along one axis that never form a layer),
// the flood-fill bisection oracle on random landscapes and on a helix whose cell offsets outgrow
// the packed store, independence of the thread count, and the refusals.
#include <gtest/gtest.h>
#include <omp.h>

#include <array>
#include <cmath>
#include <cstring>
#include <random>
#include <string>

#include "core/velmar.h"
#include "network/velmar-percolation.h"
#include "support/oracle-network.h"
#include "support/support.h"

namespace {

using velmar_test::capture;
using Percolation = velmar::Owned<VELMAR_PERCOLATION, velmar_percolation_free>;
constexpr double kTau = 2.0 * M_PI;
const double kLengths[3] = {4.0, 5.0, 6.0};

Percolation sweep(const VELMAR_CUBE *cube, velmar_test::Captured *printed = nullptr) {
    Percolation p;
    const auto out = capture([&] { p.reset(velmar_percolation_calculate(cube)); });
    if (printed != nullptr) *printed = out;
    return p;
}

std::string directions(const VELMAR_PERCOLATION_LEVEL &level) {
    char text[256];
    velmar_percolation_directions(text, sizeof text, &level);
    return text;
}

int64_t index_of(const VELMAR_CUBE &cube, int i, int j, int k) {
    return (int64_t{i} * cube.n[1] + j) * cube.n[2] + k;
}

// Every threshold equal to the oracle's, exactly: both are voxel values.
void expect_oracle(const VELMAR_CUBE &cube, const VELMAR_PERCOLATION &p, const std::string &what) {
    const auto expected = velmar_oracle::percolation_thresholds(cube);
    for (int d = 0; d < 3; ++d) {
        EXPECT_EQ(p.level[d].found, !std::isnan(expected[d])) << what << " " << d + 1 << "D";
        if (p.level[d].found) {
            EXPECT_EQ(p.level[d].energy, expected[d]) << what << " " << d + 1;
        }
    }
}

// A cos 2 pi x + B cos 2 pi y + C cos 2 pi z with A > B > C: the minimum at the centre; the
// channel along c opens at the saddle of the z = 0 face, the layer (b, c) at the y = 0 face and
// the network at the x = 0 face, each at the voxel of that saddle.
TEST(Percolation, ThreeCosinesOpenAlongTheSoftestAxisFirst) {
    const int32_t n[3] = {16, 20, 24};
    auto cube = velmar_test::fractional_cube(n, kLengths, [](double x, double y, double z) {
        return std::cos(kTau * x) + 0.8 * std::cos(kTau * y) + 0.6 * std::cos(kTau * z);
    });
    velmar_test::Captured printed;
    const Percolation p = sweep(cube.get(), &printed);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(printed.err, "");
    EXPECT_EQ(p->e_min, cube->en[8][10][12]);
    const int64_t saddles[3] = {index_of(*cube, 8, 10, 0), index_of(*cube, 8, 0, 12),
                                index_of(*cube, 0, 10, 12)};
    const char *expected[3] = {"[0 0 1]", "[0 1 0] [0 0 1]", "[1 0 0] [0 1 0] [0 0 1]"};
    const double barriers[3] = {1.2, 1.6, 2.0};  // 2C, 2B, 2A
    for (int d = 0; d < 3; ++d) {
        const VELMAR_PERCOLATION_LEVEL &level = p->level[d];
        ASSERT_TRUE(level.found) << d;
        EXPECT_EQ(level.bottleneck, saddles[d]) << d;
        EXPECT_EQ(level.energy, cube->en[0][0][saddles[d]]) << d;
        EXPECT_NEAR(level.barrier, barriers[d], 1e-12) << d;
        EXPECT_EQ(level.rank, d + 1);
        EXPECT_EQ(directions(level), expected[d]);
        // One region holds every voxel at or below the threshold (the sublevel sets of this
        // field are connected).
        int64_t below = 0;
        for (int64_t v = 0; v < velmar::cube_size(cube.get()); ++v)
            below += cube->en[0][0][v] <= level.energy;
        EXPECT_EQ(level.voxels, below) << d;
    }
    expect_oracle(*cube, *p, "three cosines");
}

// cos 2 pi (x - y) + 2 cos 2 pi z: stripes along a + b in the planes z = 1/2. Their loops carry
// (1, 1, 0) only, until neighbouring stripes meet (the layer) and the planes meet (the network).
TEST(Percolation, DiagonalStripesCarryTheirOwnTranslation) {
    const int32_t n[3] = {12, 12, 12};
    const double cubic[3] = {5.0, 5.0, 5.0};
    auto cube = velmar_test::fractional_cube(n, cubic, [](double x, double y, double z) {
        return std::cos(kTau * (x - y)) + 2.0 * std::cos(kTau * z);
    });
    const Percolation p = sweep(cube.get());
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(directions(p->level[0]), "[1 1 0]");
    EXPECT_EQ(directions(p->level[1]), "[1 0 0] [0 1 0]");
    EXPECT_NEAR(p->level[1].energy, -1.0, 1e-12);
    EXPECT_NEAR(p->level[2].energy, 1.0, 1e-12);
    expect_oracle(*cube, *p, "stripes");
}

// Channels along one axis walled off by impassable voxels: 1D along that axis at the channel's
// own saddle, never 2D or 3D, whichever axis carries them.
TEST(Percolation, WalledChannelsAlongOneAxisNeverFormALayer) {
    const int32_t n[3] = {12, 16, 20};
    for (int axis = 0; axis < 3; ++axis) {
        auto cube = velmar_test::fractional_cube(n, kLengths, [axis](double x, double y, double z) {
            const double f[3] = {x, y, z};
            const double across =
                std::cos(kTau * f[(axis + 1) % 3]) + std::cos(kTau * f[(axis + 2) % 3]);
            return across > -0.5 ? 999.9 : across + 0.3 * std::cos(kTau * f[axis]);
        });
        const Percolation p = sweep(cube.get());
        ASSERT_NE(p, nullptr);
        ASSERT_TRUE(p->level[0].found);
        EXPECT_NEAR(p->level[0].barrier, 0.6, 1e-12);
        const char *expected[3] = {"[1 0 0]", "[0 1 0]", "[0 0 1]"};
        EXPECT_EQ(directions(p->level[0]), expected[axis]);
        EXPECT_FALSE(p->level[1].found);
        EXPECT_FALSE(p->level[2].found);
        EXPECT_EQ(directions(p->level[1]), "");
        expect_oracle(*cube, *p, "walls " + std::to_string(axis));
    }
}

// Smooth random fields with a few impassable and non-finite voxels, on grids down to one voxel
// along an axis (a face neighbour is then the voxel itself, one cell over).
TEST(Percolation, SweepAgreesWithFloodFillBisection) {
    std::mt19937 gen(12);
    std::uniform_int_distribution<int> wave(-2, 2);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    const int32_t grids[][3] = {{10, 12, 14}, {1, 9, 11}, {2, 2, 17}, {7, 5, 3}, {16, 16, 16}};
    int trial = 0;
    for (const auto &n : grids) {
        for (int repeat = 0; repeat < 3; ++repeat, ++trial) {
            struct Mode {
                int k[3];
                double amplitude, phase;
            };
            std::vector<Mode> modes(8);
            for (Mode &m : modes) {
                for (int &k : m.k) k = wave(gen);
                m.amplitude = unit(gen);
                m.phase = kTau * unit(gen);
            }
            auto cube =
                velmar_test::fractional_cube(n, kLengths, [&](double x, double y, double z) {
                    double e = 0.0;
                    for (const Mode &m : modes)
                        e += m.amplitude *
                             std::cos(kTau * (m.k[0] * x + m.k[1] * y + m.k[2] * z) + m.phase);
                    // Rounded as a cube file would hold it, so that ties occur.
                    return std::round(e * 100.0) / 100.0;
                });
            const int64_t size = velmar::cube_size(cube.get());
            for (int64_t v = 0; v < size; v += 13) cube->en[0][0][v] = 999.9;
            if (repeat == 1) cube->en[0][0][size / 2] = NAN;
            velmar_test::Captured printed;
            const Percolation p = sweep(cube.get(), &printed);
            if (p == nullptr) {
                // Tiny grids may come out flat or without a passable voxel; the oracle agrees.
                EXPECT_FALSE(printed.err.empty());
                continue;
            }
            expect_oracle(*cube, *p, "trial " + std::to_string(trial));
            EXPECT_EQ(printed.out.find("Warning: 1 voxels") != std::string::npos, repeat == 1);
        }
    }
}

// A single path of increasing energy that winds along a once per row of a (8 x 1 x 48) grid, so
// that the rows' cell offsets from the root climb past the packed store's 15: the sweep must
// fall back to wide offsets and still agree with the oracle.
TEST(Percolation, HelixBeyondThePackedOffsetsFallsBackToWideOnes) {
    const int32_t n[3] = {8, 1, 48};
    auto cube =
        velmar_test::fractional_cube(n, kLengths, [](double, double, double) { return 0.0; });
    int start = 0;
    double e = 0.0;
    for (int k = 0; k < n[2]; ++k) {
        for (int s = 0; s < n[0]; ++s) cube->en[(start + s) % n[0]][0][k] = e++;
        start = (start + n[0] - 1) % n[0];
    }
    const Percolation p = sweep(cube.get());
    ASSERT_NE(p, nullptr);
    expect_oracle(*cube, *p, "helix");
    EXPECT_EQ(directions(p->level[0]), "[0 1 0]");  // one voxel along b: a loop at once
    EXPECT_EQ(p->level[0].energy, 0.0);
    EXPECT_EQ(p->level[1].energy, 7.0);       // the first row closes around a
    EXPECT_EQ(p->level[2].energy, 8.0 * 47);  // the last row's first voxel touches row 0 across c
}

TEST(Percolation, ResultDoesNotDependOnTheThreadCount) {
    auto li3n = velmar_test::landscape("Li3N_P6mmm_OBELiX.cif", 0.15, true);
    ASSERT_NE(li3n.cube, nullptr);
    const int threads = omp_get_max_threads();
    omp_set_num_threads(1);
    const Percolation one = sweep(li3n.cube.get());
    omp_set_num_threads(2);
    const Percolation two = sweep(li3n.cube.get());
    omp_set_num_threads(threads);
    ASSERT_NE(one, nullptr);
    ASSERT_NE(two, nullptr);
    EXPECT_EQ(std::memcmp(one.get(), two.get(), sizeof(VELMAR_PERCOLATION)), 0);
    expect_oracle(*li3n.cube, *one, "Li3N");
}

TEST(Percolation, RefusesLandscapesWithoutBarriers) {
    const int32_t n[3] = {4, 4, 4};
    auto nan =
        velmar_test::fractional_cube(n, kLengths, [](double, double, double) { return NAN; });
    velmar_test::Captured printed;
    EXPECT_EQ(sweep(nan.get(), &printed), nullptr);
    const std::string callee = "Error: velmar_percolation_check_landscape() returns non-zero.\n";
    EXPECT_EQ(printed.err, "Error: the landscape holds no finite value.\n" + callee);
    auto capped =
        velmar_test::fractional_cube(n, kLengths, [](double, double, double) { return 999.9; });
    EXPECT_EQ(sweep(capped.get(), &printed), nullptr);
    EXPECT_EQ(printed.err,
              "Error: every voxel of the landscape lies at or above the cap 999.9; the ion has "
              "nowhere to go.\n" +
                  callee);
    auto flat =
        velmar_test::fractional_cube(n, kLengths, [](double, double, double) { return -1.5; });
    flat->en[1][2][3] = 999.9;
    EXPECT_EQ(sweep(flat.get(), &printed), nullptr);
    EXPECT_EQ(printed.err,
              "Error: the landscape is flat (every passable voxel at -1.500000); it has no "
              "barriers.\n" +
                  callee);
    EXPECT_EQ(sweep(nullptr, &printed), nullptr);
    EXPECT_EQ(printed.err, "Error: VELMAR_CUBE has not been properly initialized.\n");
}

}  // namespace
