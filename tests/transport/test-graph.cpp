// Site graphs: the periodic point operations, the graph of a simple cubic lattice of sites (its
// hops, barriers, lengths and cell crossings), merged neighbouring minima, occupancy and labels,
// the supercell graph, the spanning forest and the exports.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "core/velmar-list.h"
#include "core/velmar.h"
#include "support/support.h"
#include "transport/velmar-graph-export.h"
#include "transport/velmar-graph-forest.h"
#include "transport/velmar-graph.h"
#include "transport/velmar-supergraph.h"

namespace {

using velmar_test::capture;
using Graph = velmar::Owned<VELMAR_GRAPH, velmar_graph_free>;

TEST(GraphDots, PeriodicAdjacencyDistanceDirectionAndPivot) {
    const long n[3] = {10, 10, 10};
    const long a[3] = {0, 5, 9};
    const long wrap[3] = {9, 4, 0};  // one step back on every axis, across the boundary on two
    const long far[3] = {0, 7, 9};
    EXPECT_TRUE(velmar_dot_adjacent(a, a, n));
    EXPECT_TRUE(velmar_dot_adjacent(a, wrap, n));
    EXPECT_FALSE(velmar_dot_adjacent(a, far, n));

    // A sheared cell: the nearest image is found among the 27.
    const double cell[3][3] = {{4.0, 0.0, 0.0}, {2.0, 3.5, 0.0}, {0.0, 0.0, 5.0}};
    const double x1[3] = {0.2, 0.1, 0.3};
    const double x2[3] = {5.6, 3.4, 4.9};  // x1 + a0 + a1 shifted by (-0.6, -0.2, -0.4) + c
    EXPECT_NEAR(velmar_dot_distance(x1, x2, cell), std::sqrt(0.36 + 0.04 + 0.16), 1e-12);
    double dir[3];
    velmar_dot_direction(dir, x1, x2, cell);
    const double length = std::sqrt(0.56);
    EXPECT_NEAR(dir[0], -0.6 / length, 1e-12);
    EXPECT_NEAR(dir[2], -0.4 / length, 1e-12);
    double pivot[3];
    velmar_dot_pivot(pivot, x1, x2, cell);  // always x1 itself
    EXPECT_EQ(pivot[0], x1[0]);
    EXPECT_EQ(pivot[2], x1[2]);
}

TEST(Graph, SimpleCubicLatticeHasSixHopsPerSiteWithExactBarriersAndCrossings) {
    auto l = velmar_test::site_lattice(0.05, 0.25);
    ASSERT_NE(l.graph, nullptr);
    const VELMAR_GRAPH &g = *l.graph;
    ASSERT_EQ(g.total_v, 8);
    ASSERT_EQ(g.total_e, 48);
    EXPECT_NEAR(g.total_occ, 2.0, 1e-12);
    EXPECT_NEAR(g.volume, 512.0, 1e-9);
    EXPECT_NEAR(g.c, 2.0 / 512.0, 1e-15);
    EXPECT_NEAR(g.m, 6.941, 1e-12);
    int crossing = 0;
    for (long k = 0; k < g.total_e; ++k) {
        const VELMAR_GRAPH_EDGE &e = g.e[k];
        EXPECT_EQ(e.index, k);
        EXPECT_EQ(e.e_r->e_r, &e);
        EXPECT_EQ(e.e_r->v_i, e.v_f);
        EXPECT_NEAR(e.barrier, 0.1, 1e-12);  // saddle -0.05, minimum -0.15
        EXPECT_NEAR(e.l, 4.0, 1e-12);
        // The hop vector (end plus the cells crossed, minus start) is one lattice step along dir.
        double hop[3];
        for (int r = 0; r < 3; ++r) {
            hop[r] = e.v_f->x[r] - e.v_i->x[r] + 8.0 * e.bound[r];
            EXPECT_EQ(e.bound[r], e.bound_i[r] + e.bound_f[r]);
            EXPECT_EQ(e.e_r->bound[r], -e.bound[r]);
            EXPECT_NEAR(hop[r], 4.0 * e.dir[r], 1e-9);
        }
        crossing += e.bound[0] != 0 || e.bound[1] != 0 || e.bound[2] != 0;
    }
    EXPECT_EQ(crossing, 24);  // half of the hops leave the cell
    for (long v = 0; v < g.total_v; ++v) {
        EXPECT_EQ(g.v[v].total_e, 6);
        EXPECT_NEAR(g.v[v].occ, 0.25, 1e-12);
        EXPECT_EQ(std::string(g.v[v].name).substr(0, 2), "Li");
        EXPECT_EQ(g.v[v].site, 1);  // one energy class
        // Curvature at a minimum: amplitude (4 pi / 8)^2 along each axis.
        EXPECT_NEAR(g.v[v].eig[0], 0.05 * std::pow(M_PI / 2.0, 2), 1e-6);
    }
}

TEST(Graph, NeighbouringMinimaAreOneSiteAndUnlabelledSitesAreInterstitials) {
    // A minimum voxel and its neighbour at the same value are both minima; the graph keeps one
    // site.
    auto l = velmar_test::site_lattice(0.05, 0.0);
    l.cube->en[1][0][0] = l.cube->en[0][0][0];
    Graph graph;
    auto out = capture([&] {
        l.fpcube.reset(velmar_fpcube_new_from_cube(l.cube.get()));
        l.halves.reset(velmar_fphalf_list_new_from_fpcube(l.fpcube.get()));
        l.fft.reset(velmar_fft_new_from_cube(l.cube.get()));
        graph.reset(
            velmar_graph_new_filled(l.halves.get(), l.fft.get(), l.cell.get(), l.ppt.get()));
    });
    ASSERT_NE(graph, nullptr);
    EXPECT_EQ(graph->total_v, 8);
    // No atom of the conducting species: nothing to assign, every site an interstitial by energy.
    for (int a = 0; a < 8; ++a) l.cell->atom[a].os = 2;
    out = capture([&] {
        EXPECT_EQ(velmar_graph_assign_occ(graph.get(), l.cell.get()), 0);
        EXPECT_EQ(velmar_graph_assign_label(graph.get(), l.cell.get()), 0);
    });
    EXPECT_NE(out.out.find("Message: graph occ label = 0/0, cutoff = "), std::string::npos);
    EXPECT_EQ(graph->total_occ, 0.0);
    for (long v = 0; v < graph->total_v; ++v) {
        EXPECT_EQ(graph->v[v].occ, 0.0);
        EXPECT_STREQ(graph->v[v].name, "Li_i1");
    }
    velmar::Owned<VELMAR_CELL, velmar_cell_free> cell(velmar_graph_export_to_cell(graph.get()));
    ASSERT_EQ(cell->total, 8 + 24);
    EXPECT_EQ(cell->atom[0].occ, 0.001);  // empty sites still show
    EXPECT_STREQ(cell->atom[8].name, "SAD");
    EXPECT_STREQ(cell->atom[8].type, "Na");
}

TEST(Graph, SupergraphRepeatsSitesAndJoinsHopsAcrossCells) {
    auto l = velmar_test::site_lattice(0.05, 0.25);
    const int s[3] = {2, 3, 1};
    Graph super(velmar_graph_new_supergraph(l.graph.get(), s));
    ASSERT_NE(super, nullptr);
    ASSERT_EQ(super->total_v, 48);
    ASSERT_EQ(super->total_e, 288);
    EXPECT_NEAR(super->total_occ, 12.0, 1e-12);
    EXPECT_NEAR(super->a[1][1], 24.0, 1e-12);
    for (long k = 0; k < super->total_e; ++k) {
        const VELMAR_GRAPH_EDGE &e = super->e[k];
        EXPECT_EQ(e.e_r->e_r, &e);
        EXPECT_EQ(e.e_r->v_f, e.v_i);
        double hop[3];
        for (int r = 0; r < 3; ++r) {
            hop[r] = e.v_f->x[r] - e.v_i->x[r];
            for (int c = 0; c < 3; ++c) hop[r] += e.bound[c] * super->a[c][r];
            EXPECT_EQ(e.e_r->bound[r], -e.bound[r]);
        }
        EXPECT_NEAR(std::sqrt(hop[0] * hop[0] + hop[1] * hop[1] + hop[2] * hop[2]), 4.0, 1e-9) << k;
        EXPECT_NEAR(velmar_dot_distance(e.v_i->x, e.x, super->a), 2.0, 1e-9)
            << k;  // saddle halfway
    }
    auto out = capture([&] {
        const int zero[3] = {1, 0, 1};
        EXPECT_EQ(velmar_graph_new_supergraph(l.graph.get(), zero), nullptr);
    });
    EXPECT_EQ(out.err, "Error: supercell vector must be positive.\n");
}

TEST(Graph, PrimForestSpansEachComponentWithTheLightestHops) {
    auto l = velmar_test::site_lattice(0.05, 0.25);
    // Make the hops out of site 0 heavier except one, so the forest must route around them.
    for (int e = 1; e < l.graph->v[0].total_e; ++e) l.graph->v[0].e[e]->barrier = 0.5;
    velmar::Owned<VELMAR_LIST, velmar_list_free_ref> list(
        velmar_graph_list_prim_forest(l.graph.get()));
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(velmar_list_count(list.get()), 7);
    const auto *first = static_cast<VELMAR_GRAPH_EDGE *>(velmar_list_read_first(list.get()));
    EXPECT_EQ(first, l.graph->v[0].e[0]);
    Graph forest(velmar_graph_new_subgraph_minimum_spanning_forest(l.graph.get()));
    ASSERT_EQ(forest->total_v, 8);
    ASSERT_EQ(forest->total_e, 7);
    for (long k = 0; k < forest->total_e; ++k) {
        EXPECT_LT(forest->e[k].barrier, 0.2);
        EXPECT_EQ(forest->e[k].sub->v_i->index, forest->e[k].v_i->index);
    }
    velmar::Owned<VELMAR_TEXT, velmar_text_free> dot(velmar_graph_export_dot_to_text(forest.get()));
    const std::string text = dot->content;
    EXPECT_EQ(text.substr(0, 71),
              "digraph pathway {\r\n  0 [label=\"0 (0)\" shape=circle color=black];\r\n  1 [");
    EXPECT_NE(text.find("[label=\"0 (" + std::to_string(first->index) + ")\" color=black];\r\n"),
              std::string::npos);
    EXPECT_EQ(text.substr(text.size() - 3), "}\r\n");
}

}  // namespace
