// Closing a site graph under the structure's symmetry cards.
#include "transport/velmar-graph-symmetry.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <map>
#include <numeric>
#include <unordered_map>
#include <vector>

#include "core/velmar-la.h"
#include "core/velmar-solver.h"
#include "core/velmar.h"

namespace {

using GraphPtr = velmar::Owned<VELMAR_GRAPH, velmar_graph_free>;
using Index = std::array<long, 3>;
using Shift = std::array<int, 3>;

// Fractional and cartesian coordinates and grid indices of one cell.
struct Frame {
    double a[3][3];
    double ainv[3][3];
    long n[3];

    void fractional(double f[3], const double x[3]) const {
        for (int r = 0; r < 3; ++r)
            f[r] = x[0] * ainv[0][r] + x[1] * ainv[1][r] + x[2] * ainv[2][r];
    }
    void cartesian(double x[3], const double f[3]) const {
        for (int c = 0; c < 3; ++c) x[c] = f[0] * a[0][c] + f[1] * a[1][c] + f[2] * a[2][c];
    }
    Index grid(const double f[3]) const {
        Index g{};
        for (int r = 0; r < 3; ++r) g[r] = velmar_mod_long(std::lround(f[r] * n[r]), n[r]);
        return g;
    }
    long flat(const Index &g) const { return (g[0] * n[1] + g[1]) * n[2] + g[2]; }
};

// x in [0, 1).
double wrap(double x) {
    const double w = x - std::floor(x);
    return w < 1.0 ? w : 0.0;
}

struct Site {
    double f[3];  // fractional, in [0, 1)
    Index x_i;
    double en;
    double occ;  // share of the structure's conducting ions; an image takes its source's
    double eig[3];
    double eiv[3][3];
    bool found;  // in the graph the landscape gave (its energy counts in the orbit mean)
};

struct Hop {
    long from;
    long to;
    Shift bound;
    Shift bound_i;
    double s[3];  // saddle point, fractional, in [0, 1)
    Index s_i;
    double en;
    long half;
    bool found;
};

class UnionFind {
  public:
    long add() {
        parent_.push_back(static_cast<long>(parent_.size()));
        return parent_.back();
    }
    long root(long x) {
        while (parent_[x] != x) x = parent_[x] = parent_[parent_[x]];
        return x;
    }
    void join(long x, long y) {
        x = root(x);
        y = root(y);
        if (x != y) parent_[y < x ? x : y] = y < x ? y : x;
    }

  private:
    std::vector<long> parent_;
};

// One symmetry card acting on fractional and cartesian coordinates.
struct Operation {
    double r[3][3];   // fractional rotation
    double t[3];      // fractional translation
    double rc[3][3];  // cartesian rotation, a^T r a^-T

    void apply(double out[3], const double f[3]) const {
        for (int i = 0; i < 3; ++i)
            out[i] = r[i][0] * f[0] + r[i][1] * f[1] + r[i][2] * f[2] + t[i];
    }
};

class Closure {
  public:
    Closure(const Frame &frame, std::vector<Operation> ops) : frame_(frame), ops_(std::move(ops)) {}

    long add_site(const Site &s) {
        sites_.push_back(s);
        const long id = static_cast<long>(sites_.size()) - 1;
        site_at_[frame_.flat(s.x_i)].push_back(id);
        site_orbits_.add();
        return id;
    }
    Hop &hop(long k) { return hops_[k]; }
    long add_hop_pair(const Hop &forward) {
        Hop back = forward;
        back.from = forward.to;
        back.to = forward.from;
        for (int r = 0; r < 3; ++r) {
            back.bound[r] = -forward.bound[r];
            back.bound_i[r] = forward.bound_i[r] - forward.bound[r];
        }
        const long id = static_cast<long>(hops_.size());
        for (const Hop &h : {forward, back}) {
            hops_.push_back(h);
            hop_at_.emplace(key(h.from, h.to, h.bound), static_cast<long>(hops_.size()) - 1);
        }
        hop_orbits_.add();
        return id;
    }

    // Maps every site and every hop by every card until nothing new appears.
    void close() {
        for (size_t i = 0; i < sites_.size(); ++i) {
            for (const Operation &op : ops_) {
                const double f[3] = {sites_[i].f[0], sites_[i].f[1], sites_[i].f[2]};
                Shift moved{};
                site_orbits_.join(static_cast<long>(i), image_site(op, f, moved));
            }
        }
        for (size_t p = 0; p < hops_.size(); p += 2) {
            for (const Operation &op : ops_) {
                const Hop source = hops_[p];
                const Hop image = image_hop(op, source);
                long found = find_hop(image);
                if (found < 0) found = add_hop_pair(image);
                hop_orbits_.join(static_cast<long>(p / 2), found / 2);
            }
        }
    }

    // Every orbit's energy: the mean over its members that the landscape gave.
    void share_energies() {
        average(
            sites_, site_orbits_, [](const Site &s) { return s.found; },
            [](Site &s) -> double & { return s.en; }, [](size_t i) { return i; });
        average(
            hops_, hop_orbits_, [](const Hop &h) { return h.found; },
            [](Hop &h) -> double & { return h.en; }, [](size_t i) { return i / 2; });
    }

    const std::vector<Site> &sites() const { return sites_; }
    const std::vector<Hop> &hops() const { return hops_; }

  private:
    static std::array<long, 5> key(long from, long to, const Shift &b) {
        return {from, to, b[0], b[1], b[2]};
    }

    // The site at or next to (within one voxel of) grid point g, or -1.
    long site_near(const Index &g) const {
        for (long p = -1; p <= 1; ++p) {
            for (long q = -1; q <= 1; ++q) {
                for (long s = -1; s <= 1; ++s) {
                    const Index h = {velmar_mod_long(g[0] + p, frame_.n[0]),
                                     velmar_mod_long(g[1] + q, frame_.n[1]),
                                     velmar_mod_long(g[2] + s, frame_.n[2])};
                    const auto at = site_at_.find(frame_.flat(h));
                    if (at != site_at_.end()) return at->second.front();
                }
            }
        }
        return -1;
    }

    // The site that op maps the site at fractional f onto (added when new), and the lattice
    // translation from that site to the unwrapped image of f.
    long image_site(const Operation &op, const double f[3], Shift &moved) {
        double g[3];
        op.apply(g, f);
        const double w[3] = {wrap(g[0]), wrap(g[1]), wrap(g[2])};
        long j = site_near(frame_.grid(w));
        if (j < 0) j = add_site(site_from(op, f, w));
        for (int r = 0; r < 3; ++r) moved[r] = static_cast<int>(std::lround(g[r] - sites_[j].f[r]));
        return j;
    }

    // A new site: the image of the site at fractional f (which must be a known site) by op.
    Site site_from(const Operation &op, const double f[3], const double w[3]) const {
        const long source = site_near(frame_.grid(f));
        Site s = sites_[source];
        for (int r = 0; r < 3; ++r) s.f[r] = w[r];
        s.x_i = frame_.grid(w);
        s.found = false;
        // The curvature turns with the card: its eigenvectors are rotated, its eigenvalues kept.
        for (int k = 0; k < 3; ++k)
            velmar_matrix33_double_multiply_vector3(s.eiv[k], op.rc, sites_[source].eiv[k]);
        return s;
    }

    // The image of hop h by op: its ends are the sites the images of its (unwrapped) ends land on,
    // its cell crossings follow from where those images lie.
    Hop image_hop(const Operation &op, const Hop &h) {
        Hop out = h;
        out.found = false;
        double start[3];
        double end[3];
        double saddle[3];
        for (int r = 0; r < 3; ++r) {
            start[r] = sites_[h.from].f[r];
            end[r] = sites_[h.to].f[r] + h.bound[r];
            saddle[r] = h.s[r] + h.bound_i[r];
        }
        Shift n_i{};
        Shift n_f{};
        out.from = image_site(op, start, n_i);
        out.to = image_site(op, end, n_f);
        double g[3];
        op.apply(g, saddle);
        for (int r = 0; r < 3; ++r) {
            out.s[r] = wrap(g[r]);
            const int n_s = static_cast<int>(std::lround(g[r] - out.s[r]));
            out.bound[r] = n_f[r] - n_i[r];
            out.bound_i[r] = n_s - n_i[r];
        }
        out.s_i = frame_.grid(out.s);
        return out;
    }

  public:
    long find_hop(const Hop &h) const {
        const auto at = hop_at_.find(key(h.from, h.to, h.bound));
        return at == hop_at_.end() ? -1 : at->second;
    }

  private:
    template <class T, class Found, class Energy, class Orbit>
    static void average(std::vector<T> &items, UnionFind &orbits, Found found, Energy energy,
                        Orbit orbit_of) {
        std::map<long, std::pair<double, long>> sums;
        for (size_t i = 0; i < items.size(); ++i) {
            if (!found(items[i])) continue;
            auto &[sum, count] = sums[orbits.root(static_cast<long>(orbit_of(i)))];
            sum += energy(items[i]);
            count += 1;
        }
        for (size_t i = 0; i < items.size(); ++i) {
            const auto at = sums.find(orbits.root(static_cast<long>(orbit_of(i))));
            if (at != sums.end()) energy(items[i]) = at->second.first / at->second.second;
        }
    }

    Frame frame_;
    std::vector<Operation> ops_;
    std::vector<Site> sites_;
    std::vector<Hop> hops_;
    std::unordered_map<long, std::vector<long>> site_at_;
    std::map<std::array<long, 5>, long> hop_at_;
    UnionFind site_orbits_;
    UnionFind hop_orbits_;
};

}  // namespace

VELMAR_GRAPH *velmar_graph_new_symmetrized(const VELMAR_GRAPH *graph,
                                           const VELMAR_SYMMETRY *symmetry) {
    if (graph == nullptr || (graph->total_v > 0 && graph->v == nullptr) ||
        (graph->total_e > 0 && graph->e == nullptr) || symmetry == nullptr ||
        (symmetry->total > 0 && symmetry->card == nullptr)) {
        std::fputs("Error: VELMAR_GRAPH has not been properly initialized.\n", stderr);
        return nullptr;
    }
    Frame frame{};
    velmar_matrix33_double_copy(frame.a, graph->a);
    for (int r = 0; r < 3; ++r) frame.n[r] = graph->n[r];
    if (velmar_matrix33_double_inverse(frame.ainv, graph->a) != 0 || frame.n[0] < 1 ||
        frame.n[1] < 1 || frame.n[2] < 1) {
        std::fputs("Error: VELMAR_GRAPH has not been properly initialized.\n", stderr);
        return nullptr;
    }
    // Cartesian rotation of a card: x = f a, so R_c = a^T R_f a^-T.
    double at[3][3];
    double atinv[3][3];
    velmar_matrix33_double_copy(at, graph->a);
    velmar_matrix33_double_transpose(at);
    velmar_matrix33_double_copy(atinv, frame.ainv);
    velmar_matrix33_double_transpose(atinv);
    std::vector<Operation> ops;
    for (int c = 0; c < symmetry->total; ++c) {
        Operation op{};
        velmar_matrix33_double_copy(op.r, symmetry->card[c].r_f);
        velmar_vector3_double_copy(op.t, symmetry->card[c].t_f);
        double tmp[3][3];
        velmar_matrix33_double_multiplication(tmp, at, op.r);
        velmar_matrix33_double_multiplication(op.rc, tmp, atinv);
        ops.push_back(op);
    }

    Closure closure(frame, ops);
    for (long v = 0; v < graph->total_v; ++v) {
        const VELMAR_GRAPH_VERTEX &vertex = graph->v[v];
        Site s{};
        frame.fractional(s.f, vertex.x);
        for (double &f : s.f) f = wrap(f);
        s.x_i = {vertex.x_i[0], vertex.x_i[1], vertex.x_i[2]};
        s.en = vertex.en;
        s.occ = vertex.occ;
        velmar_vector3_double_copy(s.eig, vertex.eig);
        velmar_matrix33_double_copy(s.eiv, vertex.eiv);
        s.found = true;
        closure.add_site(s);
    }
    for (long k = 0; k < graph->total_e; ++k) {
        const VELMAR_GRAPH_EDGE &e = graph->e[k];
        if (e.e_r == nullptr || e.e_r->index < k) continue;  // one of each pair
        Hop h{};
        h.from = e.v_i->index;
        h.to = e.v_f->index;
        for (int r = 0; r < 3; ++r) {
            h.bound[r] = e.bound[r];
            h.bound_i[r] = e.bound_i[r];
        }
        frame.fractional(h.s, e.x);
        for (double &f : h.s) f = wrap(f);
        h.s_i = {velmar_mod_long(e.x_i[0], frame.n[0]), velmar_mod_long(e.x_i[1], frame.n[1]),
                 velmar_mod_long(e.x_i[2], frame.n[2])};
        h.en = e.en;
        h.half = e.index_half;
        h.found = true;
        // Parallel copies of one hop (the graph makes one per pairing of neighbouring minima)
        // are one hop here, through the lowest of their saddle points.
        const long known = closure.find_hop(h);
        if (known < 0) {
            closure.add_hop_pair(h);
        } else if (h.en < closure.hop(known).en) {
            for (long m : {known, known ^ 1L}) {
                closure.hop(m).en = h.en;
                closure.hop(m).half = h.half;
            }
            velmar_vector3_double_copy(closure.hop(known).s, h.s);
            velmar_vector3_double_copy(closure.hop(known ^ 1L).s, h.s);
            closure.hop(known).s_i = h.s_i;
            closure.hop(known ^ 1L).s_i = h.s_i;
            for (int r = 0; r < 3; ++r) {
                closure.hop(known).bound_i[r] = h.bound_i[r];
                closure.hop(known ^ 1L).bound_i[r] = h.bound_i[r] - h.bound[r];
            }
        }
    }
    closure.close();
    closure.share_energies();

    std::vector<VELMAR_GRAPH_VERTEX> vertices;
    for (const Site &s : closure.sites()) {
        VELMAR_GRAPH_VERTEX v{};
        for (int r = 0; r < 3; ++r) v.x_i[r] = s.x_i[r];
        frame.cartesian(v.x, s.f);
        v.en = s.en;
        v.occ = s.occ;
        velmar_vector3_double_copy(v.eig, s.eig);
        velmar_matrix33_double_copy(v.eiv, s.eiv);
        vertices.push_back(v);
    }
    std::vector<velmar::detail::GraphEdgeDraft> edges;
    for (const Hop &h : closure.hops()) {
        velmar::detail::GraphEdgeDraft d{};
        d.from = h.from;
        d.to = h.to;
        VELMAR_GRAPH_EDGE &e = d.edge;
        for (int r = 0; r < 3; ++r) {
            e.x_i[r] = h.s_i[r];
            e.bound[r] = h.bound[r];
            e.bound_i[r] = h.bound_i[r];
            e.bound_f[r] = h.bound[r] - h.bound_i[r];
        }
        frame.cartesian(e.x, h.s);
        e.en = h.en;
        e.index_half = h.half;
        const VELMAR_GRAPH_VERTEX &from = vertices[h.from];
        double hop[3];
        for (int r = 0; r < 3; ++r) {
            hop[r] = vertices[h.to].x[r] - from.x[r];
            for (int c = 0; c < 3; ++c) hop[r] += h.bound[c] * graph->a[c][r];
        }
        e.l = velmar_vector3_double_length(hop);
        e.barrier = e.en - from.en;
        velmar_dot_direction(e.dir, from.x, e.x, graph->a);
        edges.push_back(d);
    }

    GraphPtr out(velmar::detail::graph_new_like(*graph));
    if (!out) return nullptr;
    if (velmar::detail::graph_assemble(*out, vertices, edges) != 0) return nullptr;
    std::printf(
        "Message: graph closed under %d symmetry operations: %ld sites (%ld found), %ld hops (%ld "
        "found).\n",
        symmetry->total, out->total_v, graph->total_v, out->total_e / 2, graph->total_e / 2);
    return out.release();
}
