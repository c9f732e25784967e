// Making a site graph fit for the walk: closing it under the crystal's symmetry (hops the flow
// paths missed come back, equivalent sites share one energy) and taking out minima too shallow to
// be sites (effective rates against the analytic branching of a walker that passes through them).
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "core/velmar-la.h"
#include "core/velmar.h"
#include "support/support.h"
#include "transport/velmar-graph-symmetry.h"
#include "transport/velmar-graph-transient.h"
#include "transport/velmar-graph.h"

namespace {

using velmar_test::capture;
using Graph = velmar::Owned<VELMAR_GRAPH, velmar_graph_free>;
using Draft = velmar::detail::GraphEdgeDraft;

constexpr double kBoltzmann = 8.6173324e-05;

// A graph of the given sites and hop pairs (edge 2k and 2k + 1 reverses of each other).
Graph assemble(const VELMAR_GRAPH &like, const std::vector<VELMAR_GRAPH_VERTEX> &vertices,
               const std::vector<Draft> &edges) {
    Graph g(velmar_graph_new(0, 0));
    for (int r = 0; r < 3; ++r) g->n[r] = like.n[r];
    velmar_matrix33_double_copy(g->a, like.a);
    velmar_matrix33_double_copy(g->a_i, like.a_i);
    g->volume = like.volume;
    g->m = like.m;
    g->os = like.os;
    velmar::copy_text(g->type, sizeof g->type, like.type);
    EXPECT_EQ(velmar::detail::graph_assemble(*g, vertices, edges), 0);
    return g;
}

// The simple cubic lattice of sites 4 A apart in an 8 A cell (8 sites, 24 hops) loses its hops
// along z and one site is made 0.01 eV deeper; the cubic symmetry restores every hop, and the
// three sites equivalent to the perturbed one share its orbit's mean energy.
TEST(GraphSymmetry, ClosureRestoresMissingHopsAndSharesOrbitEnergies) {
    auto l = velmar_test::site_lattice(0.05, 0.25);
    ASSERT_NE(l.graph, nullptr);
    const VELMAR_GRAPH &g = *l.graph;
    std::vector<VELMAR_GRAPH_VERTEX> vertices(g.v, g.v + g.total_v);
    long perturbed = -1;  // a site at (4, 0, 0): one of the three of its kind
    for (long v = 0; v < g.total_v; ++v) {
        if (std::fabs(g.v[v].x[0] - 4.0) < 0.1 && std::fabs(g.v[v].x[1]) < 0.1 &&
            std::fabs(g.v[v].x[2]) < 0.1)
            perturbed = v;
    }
    ASSERT_GE(perturbed, 0);
    const double base = vertices[perturbed].en;
    vertices[perturbed].en -= 0.01;
    std::vector<Draft> kept;
    for (long k = 0; k < g.total_e; k += 2) {
        if (std::fabs(g.e[k].dir[2]) > 0.9) continue;  // the hops along z are lost
        for (long m : {k, k + 1})
            kept.push_back(Draft{g.e[m], g.e[m].v_i->index, g.e[m].v_f->index});
    }
    ASSERT_EQ(kept.size(), 32U);
    Graph pruned = assemble(g, vertices, kept);

    auto cubic = velmar_test::load_cif_text(
        "data_sc\n_symmetry_space_group_name_H-M 'P m -3 m'\n_cell_length_a 8\n_cell_length_b "
        "8\n_cell_length_c 8\n_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma "
        "90\nloop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_"
        "fract_y\n_atom_site_fract_z\n_atom_site_occupancy\nLi1 Li1+ 0 0 0 1\n");
    ASSERT_EQ(cubic.status, 0) << cubic.printed.err;
    ASSERT_EQ(cubic.symmetry->total, 48);
    Graph closed;
    const auto out = capture(
        [&] { closed.reset(velmar_graph_new_symmetrized(pruned.get(), cubic.symmetry.get())); });
    ASSERT_NE(closed, nullptr) << out.err;
    EXPECT_NE(out.out.find("8 sites (8 found), 24 hops (16 found)"), std::string::npos) << out.out;
    ASSERT_EQ(closed->total_v, 8);
    ASSERT_EQ(closed->total_e, 48);
    int kin = 0;
    for (long v = 0; v < closed->total_v; ++v) {
        const VELMAR_GRAPH_VERTEX &vertex = closed->v[v];
        EXPECT_EQ(vertex.total_e, 6) << v;
        // (4,0,0), (0,4,0), (0,0,4) are one orbit: the mean of 3 energies of which one is lowered.
        const bool edge_centre = (std::fabs(vertex.x[0] - 4.0) < 0.1) +
                                     (std::fabs(vertex.x[1] - 4.0) < 0.1) +
                                     (std::fabs(vertex.x[2] - 4.0) < 0.1) ==
                                 1;
        if (edge_centre) {
            ++kin;
            EXPECT_NEAR(vertex.en, base - 0.01 / 3.0, 1e-12);
        }
        for (int e = 0; e < vertex.total_e; ++e) {
            const VELMAR_GRAPH_EDGE &edge = *vertex.e[e];
            EXPECT_NEAR(edge.l, 4.0, 1e-9);
            for (int r = 0; r < 3; ++r) EXPECT_EQ(edge.e_r->bound[r], -edge.bound[r]);
            EXPECT_NEAR(edge.barrier, edge.en - vertex.en, 1e-12);
        }
    }
    EXPECT_EQ(kin, 3);
}

// Sites A (x = 0, E = 0) and B (x = 2, E = 0.05) in a 4 A cell, with shallow minima i (x = 1) and
// j (x = 3) between them, 5 and 6 meV (i), 4 and 2 meV (j) below their saddle points. A walker in
// i leaves for B with probability r(i->B) / (r(i->A) + r(i->B)); the rate from A to B through i
// is r(A->i) times that, and the same seen from B by detailed balance.
struct Chain {
    VELMAR_GRAPH like{};
    std::vector<VELMAR_GRAPH_VERTEX> v;
    std::vector<Draft> e;
    double f;
    Chain(double saddle_ai, double saddle_ib, double saddle_bj, double saddle_ja) {
        like.a[0][0] = 4.0;
        like.a[1][1] = like.a[2][2] = 10.0;
        like.n[0] = 40;
        like.n[1] = like.n[2] = 100;
        for (int r = 0; r < 3; ++r) like.a_i[r][r] = 0.1;
        like.volume = 400.0;
        like.m = 6.941;
        like.os = 1;
        velmar::copy_text(like.type, sizeof like.type, "Li");
        const double en[4] = {0.0, 0.30, 0.05, 0.30};
        for (int s = 0; s < 4; ++s) {
            VELMAR_GRAPH_VERTEX vertex{};
            vertex.x[0] = s;
            vertex.x[1] = vertex.x[2] = 5.0;
            vertex.x_i[0] = 10 * s;
            vertex.x_i[1] = vertex.x_i[2] = 50;
            vertex.en = en[s];
            vertex.eig[0] = vertex.eig[1] = vertex.eig[2] = 1.0;
            v.push_back(vertex);
        }
        f = velmar_graph_vertex_frequency(&v[0], like.m);
        const double saddles[4] = {saddle_ai, saddle_ib, saddle_bj, saddle_ja};
        for (int s = 0; s < 4; ++s) {
            const int to = (s + 1) % 4;
            const int wrap = s == 3 ? 1 : 0;
            Draft forward{};
            forward.from = s;
            forward.to = to;
            forward.edge.en = saddles[s];
            forward.edge.x[0] = s + 0.5;
            forward.edge.x[1] = forward.edge.x[2] = 5.0;
            forward.edge.bound[0] = forward.edge.bound_f[0] = wrap;
            forward.edge.barrier = saddles[s] - en[s];
            Draft back = forward;
            back.from = to;
            back.to = s;
            back.edge.bound[0] = back.edge.bound_i[0] = -wrap;
            back.edge.bound_f[0] = 0;
            back.edge.barrier = saddles[s] - en[to];
            e.push_back(forward);
            e.push_back(back);
        }
    }
    double rate(double from_en, double saddle, double kT) const {
        return f * std::exp(-(saddle - from_en) / kT);
    }
};

TEST(GraphTransient, ShallowMinimaBecomeTransitPointsWithTheAnalyticBranching) {
    Chain c(0.305, 0.306, 0.304, 0.302);
    Graph chain = assemble(c.like, c.v, c.e);
    const double temperature = 300.0;
    const double kT = kBoltzmann * temperature;
    Graph out;
    const auto printed = capture([&] {
        out.reset(velmar_graph_new_without_shallow(chain.get(), VELMAR_GRAPH_MIN_SITE_DEPTH,
                                                   temperature));
    });
    ASSERT_NE(out, nullptr) << printed.err;
    EXPECT_NE(printed.out.find("Message: 2 minima shallower than 0.010 eV taken as transit points "
                               "at 300.0 K: 2 sites, 2 hops.\n"),
              std::string::npos)
        << printed.out;
    ASSERT_EQ(out->total_v, 2);
    ASSERT_EQ(out->total_e, 4);
    // Through i (no cell crossed) and through j (into the previous cell).
    const double through_i = c.rate(0.0, 0.305, kT) * c.rate(0.30, 0.306, kT) /
                             (c.rate(0.30, 0.305, kT) + c.rate(0.30, 0.306, kT));
    const double through_j = c.rate(0.0, 0.302, kT) * c.rate(0.30, 0.304, kT) /
                             (c.rate(0.30, 0.302, kT) + c.rate(0.30, 0.304, kT));
    // The same rates seen from B must give the same saddle energy (detailed balance).
    const double back_i = c.rate(0.05, 0.306, kT) * c.rate(0.30, 0.305, kT) /
                          (c.rate(0.30, 0.305, kT) + c.rate(0.30, 0.306, kT));
    EXPECT_NEAR(0.05 - kT * std::log(back_i / c.f), -kT * std::log(through_i / c.f), 1e-12);
    int seen = 0;
    for (long k = 0; k < out->total_e; ++k) {
        const VELMAR_GRAPH_EDGE &e = out->e[k];
        const bool from_a = e.v_i->en == 0.0;
        const int crossed = from_a ? e.bound[0] : -e.bound[0];
        const double rate = crossed == 0 ? through_i : through_j;
        EXPECT_NEAR(e.en, -kT * std::log(rate / c.f), 1e-9) << k;
        EXPECT_NEAR(e.l, 2.0, 1e-12);
        EXPECT_NEAR(e.barrier, e.en - e.v_i->en, 1e-12);
        EXPECT_EQ(e.e_r->bound[0], -e.bound[0]);
        seen += crossed == 0 ? 1 : 2;
    }
    EXPECT_EQ(seen, 6);  // each hop in both directions

    // With a depth limit that makes every minimum shallow the region would wrap around the cell:
    // nothing is taken out.
    capture([&] { out.reset(velmar_graph_new_without_shallow(chain.get(), 1.0, temperature)); });
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(out->total_v, 4);
    EXPECT_EQ(out->total_e, 8);
}

}  // namespace
