// The basin graph and its Kruskal percolation: sites and hops of analytic landscapes (one well with
// three self-hops, a simple cubic lattice of wells), the descent checked voxel by voxel against a
// plain walk, plateaus that reach lower ground, Kruskal against the voxel sweep on random and real
// landscapes (the thresholds must be equal, not close), and per-site join levels.
#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>

#include "core/velmar.h"
#include "network/velmar-basin-percolation.h"
#include "network/velmar-basin.h"
#include "network/velmar-percolation.h"
#include "support/support.h"

namespace {

using velmar_test::capture;
using Graph = velmar::Owned<VELMAR_BASIN_GRAPH, velmar_basin_graph_free>;
using Kruskal = velmar::Owned<VELMAR_BASIN_PERCOLATION, velmar_basin_percolation_free>;
using Percolation = velmar::Owned<VELMAR_PERCOLATION, velmar_percolation_free>;
constexpr double kTau = 2.0 * M_PI;
const double kLengths[3] = {4.0, 5.0, 6.0};

Graph graph_of(const VELMAR_CUBE *cube, bool labels = true) {
    Graph g;
    capture([&] { g.reset(velmar_basin_graph_new_from_cube(cube, labels)); });
    return g;
}

// Kruskal over the hops and the voxel sweep give the same thresholds and translations.
void expect_kruskal_equals_sweep(const VELMAR_CUBE *cube, const std::string &what) {
    Percolation sweep;
    capture([&] { sweep.reset(velmar_percolation_calculate(cube)); });
    ASSERT_NE(sweep, nullptr) << what;
    const Graph g = graph_of(cube, false);
    ASSERT_NE(g, nullptr) << what;
    const Kruskal k(velmar_basin_percolation_calculate(g.get()));
    ASSERT_NE(k, nullptr) << what;
    for (int d = 0; d < 3; ++d) {
        const VELMAR_PERCOLATION_LEVEL &level = sweep->level[d];
        ASSERT_EQ(k->found[d], level.found) << what << " " << d + 1 << "D";
        if (!level.found) continue;
        EXPECT_EQ(k->energy[d], level.energy) << what << " " << d + 1 << "D";
        EXPECT_EQ(k->rank[d], level.rank) << what << " " << d + 1 << "D";
        EXPECT_EQ(std::memcmp(k->basis[d], level.basis, sizeof level.basis), 0) << what << d + 1;
    }
}

// The plain descent: from v, step to the lowest face neighbour below it in (energy, index) order
// until there is none. Passable voxels only.
int64_t plain_minimum(const VELMAR_CUBE &cube, int64_t v) {
    const int64_t n[3] = {cube.n[0], cube.n[1], cube.n[2]};
    const double *en = cube.en[0][0];
    for (;;) {
        const int64_t x[3] = {v / (n[1] * n[2]), (v / n[2]) % n[1], v % n[2]};
        int64_t best = v;
        for (int r = 0; r < 3; ++r) {
            for (int s = -1; s <= 1; s += 2) {
                int64_t y[3] = {x[0], x[1], x[2]};
                y[r] = (y[r] + s + n[r]) % n[r];
                const int64_t w = (y[0] * n[1] + y[1]) * n[2] + y[2];
                if (!(en[w] < 999.9)) continue;
                if (en[w] < en[best] || (en[w] == en[best] && w < best)) best = w;
            }
        }
        if (best == v) return v;
        v = best;
    }
}

TEST(BasinGraph, OneWellHopsToItsOwnImagesThroughTheFaceSaddles) {
    const int32_t n[3] = {16, 20, 24};
    auto cube = velmar_test::fractional_cube(n, kLengths, [](double x, double y, double z) {
        return std::cos(kTau * x) + 0.8 * std::cos(kTau * y) + 0.6 * std::cos(kTau * z);
    });
    const Graph g = graph_of(cube.get());
    ASSERT_NE(g, nullptr);
    ASSERT_EQ(g->total_site, 1);
    EXPECT_EQ(g->site[0].voxel, (8 * 20 + 10) * 24 + 12);
    EXPECT_NEAR(g->site[0].x[0], 2.0, 1e-12);
    // Hops to the images along a, b, c through the face-centre saddles (2A, 2B, 2C above the
    // minimum); the basin meets its other images (across an edge of the cell) only higher up.
    const int32_t axes[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    const double saddles[3] = {-0.4, -0.8, -1.2};
    int found = 0;
    for (int64_t h = 0; h < g->total_hop; ++h) {
        const VELMAR_BASIN_HOP &hop = g->hop[h];
        EXPECT_EQ(hop.from, 0);
        EXPECT_EQ(hop.to, 0);
        bool axis = false;
        for (int r = 0; r < 3; ++r) {
            if (std::memcmp(hop.offset, axes[r], sizeof hop.offset) != 0) continue;
            axis = true;
            ++found;
            EXPECT_NEAR(hop.saddle, saddles[r], 1e-12) << r;
            EXPECT_NEAR(hop.length, kLengths[r], 1e-12) << r;
        }
        if (!axis) {
            EXPECT_GT(hop.saddle, -0.4) << h;
        }
    }
    EXPECT_EQ(found, 3);
    for (int64_t v = 0; v < velmar::cube_size(cube.get()); ++v) ASSERT_EQ(g->label[v], 0);
    expect_kruskal_equals_sweep(cube.get(), "one well");
}

// -A (cos 4 pi x + cos 4 pi y + cos 4 pi z): eight wells 4 A apart on a cubic 8 A cell; each pair
// of neighbours meets twice, once inside the cell and once across its face, at -A.
TEST(BasinGraph, SimpleCubicWellsMeetTheirSixNeighbours) {
    const velmar_test::SiteLattice l = velmar_test::site_lattice(0.5, 1.0, 16);
    const Graph g = graph_of(l.cube.get());
    ASSERT_NE(g, nullptr);
    ASSERT_EQ(g->total_site, 8);
    ASSERT_EQ(g->total_hop, 24);
    int self = 0;
    for (int64_t h = 0; h < g->total_hop; ++h) {
        const VELMAR_BASIN_HOP &hop = g->hop[h];
        self += hop.from == hop.to;
        EXPECT_NEAR(hop.saddle, -0.5, 1e-12);
        EXPECT_NEAR(hop.length, 4.0, 1e-12);
        EXPECT_NEAR(hop.saddle - g->site[hop.from].en, 1.0, 1e-12);
        // Neighbours differ along one axis: one offset zero, or -1 across the lower face.
        int moved = 0;
        for (int r = 0; r < 3; ++r) {
            moved += g->site[hop.from].x_i[r] != g->site[hop.to].x_i[r];
            EXPECT_TRUE(hop.offset[r] == 0 || hop.offset[r] == 1 || hop.offset[r] == -1);
        }
        EXPECT_EQ(moved, 1);
    }
    EXPECT_EQ(self, 0);
    const Kruskal k(velmar_basin_percolation_calculate(g.get()));
    for (int d = 0; d < 3; ++d) {
        EXPECT_NEAR(k->energy[d], -0.5, 1e-12);
        for (int32_t s = 0; s < 8; ++s) EXPECT_NEAR(k->join[s][d], -0.5, 1e-12);
    }
    expect_kruskal_equals_sweep(l.cube.get(), "cubic wells");
}

TEST(BasinGraph, DescentMatchesAPlainWalkAndPlateausReachLowerGround) {
    std::mt19937 gen(31);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    const int32_t n[3] = {9, 10, 12};
    // A rough field rounded to 0.1, so that equal neighbours (plateaus) are common.
    auto cube = velmar_test::fractional_cube(n, kLengths, [&](double x, double y, double z) {
        const double e =
            std::cos(kTau * x) * std::sin(kTau * 2 * y) + std::cos(kTau * z) + 0.3 * unit(gen);
        return std::round(e * 10.0) / 10.0;
    });
    cube->en[0][0][0] = 999.9;
    cube->en[4][5][6] = NAN;
    const Graph g = graph_of(cube.get());
    ASSERT_NE(g, nullptr);
    const double *en = cube->en[0][0];
    for (int64_t v = 0; v < velmar::cube_size(cube.get()); ++v) {
        if (!(en[v] < 999.9)) {
            EXPECT_EQ(g->label[v], -1) << v;
            continue;
        }
        // The plain walk may stop on a plateau voxel that the graph merged into a lower site:
        // the site's own minimum then lies no higher.
        const int64_t m = plain_minimum(*cube, v);
        const int32_t site = g->label[v];
        ASSERT_GE(site, 0);
        EXPECT_EQ(g->label[m], site) << v;
        EXPECT_LE(g->site[site].en, en[m]) << v;
        EXPECT_LE(g->site[site].en, en[v]);
    }
    // Sites in voxel order, each its own minimum, and no hop at zero barrier from its higher end.
    for (int32_t s = 0; s < g->total_site; ++s) {
        EXPECT_EQ(g->label[g->site[s].voxel], s);
        if (s > 0) {
            EXPECT_LT(g->site[s - 1].voxel, g->site[s].voxel);
        }
    }
    for (int64_t h = 0; h < g->total_hop; ++h) {
        const VELMAR_BASIN_HOP &hop = g->hop[h];
        // A site's hop to its own image may run along a flat floor; any other hop climbs.
        if (hop.from != hop.to) {
            EXPECT_GT(hop.saddle, std::max(g->site[hop.from].en, g->site[hop.to].en)) << h;
        }
        EXPECT_EQ(g->label[hop.voxel] == hop.from || g->label[hop.voxel] == hop.to, true);
        EXPECT_EQ(en[hop.voxel], hop.saddle);
    }
    expect_kruskal_equals_sweep(cube.get(), "plateaus");
}

TEST(BasinGraph, KruskalEqualsTheVoxelSweep) {
    std::mt19937 gen(5);
    std::uniform_int_distribution<int> wave(-2, 2);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    const int32_t grids[][3] = {{12, 12, 12}, {1, 10, 14}, {2, 9, 3}, {20, 6, 8}};
    for (const auto &n : grids) {
        for (int repeat = 0; repeat < 4; ++repeat) {
            std::vector<std::array<double, 5>> modes(10);
            for (auto &m : modes)
                m = {double(wave(gen)), double(wave(gen)), double(wave(gen)), unit(gen),
                     kTau * unit(gen)};
            auto cube =
                velmar_test::fractional_cube(n, kLengths, [&](double x, double y, double z) {
                    double e = 0.0;
                    for (const auto &m : modes)
                        e += m[3] * std::cos(kTau * (m[0] * x + m[1] * y + m[2] * z) + m[4]);
                    return std::round(e * 1000.0) / 1000.0;
                });
            for (int64_t v = 7; v < velmar::cube_size(cube.get()); v += 17) {
                if (repeat % 2 == 1) cube->en[0][0][v] = 999.9;
            }
            expect_kruskal_equals_sweep(cube.get(), "random " + std::to_string(repeat));
        }
    }
    // Real landscapes: a layered conductor and a one-dimensional one.
    auto li3n = velmar_test::landscape("Li3N_P6mmm_OBELiX.cif", 0.15, true);
    expect_kruskal_equals_sweep(li3n.cube.get(), "Li3N");
    auto olivine = velmar_test::example_landscape("LiFePO4.cif", 0.2);
    expect_kruskal_equals_sweep(olivine.cube.get(), "LiFePO4");
}

TEST(BasinGraph, SameGraphWithOneOrTwoThreads) {
    auto li3n = velmar_test::landscape("Li3N_P6mmm_OBELiX.cif", 0.15, true);
    const int threads = omp_get_max_threads();
    omp_set_num_threads(1);
    const Graph one = graph_of(li3n.cube.get());
    omp_set_num_threads(2);
    const Graph two = graph_of(li3n.cube.get());
    omp_set_num_threads(threads);
    ASSERT_EQ(one->total_site, two->total_site);
    ASSERT_EQ(one->total_hop, two->total_hop);
    EXPECT_EQ(std::memcmp(one->site, two->site, sizeof(VELMAR_BASIN_SITE) * one->total_site), 0);
    EXPECT_EQ(std::memcmp(one->hop, two->hop, sizeof(VELMAR_BASIN_HOP) * one->total_hop), 0);
    EXPECT_EQ(
        std::memcmp(one->label, two->label, sizeof(int32_t) * velmar::cube_size(li3n.cube.get())),
        0);
}

}  // namespace
