// Shallow minima of a site graph taken out as transit points, with exact effective rates.
#include "transport/velmar-graph-transient.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <map>
#include <set>
#include <vector>

#include "core/velmar-la.h"
#include "core/velmar-solver.h"
#include "core/velmar.h"

namespace {

using GraphPtr = velmar::Owned<VELMAR_GRAPH, velmar_graph_free>;
using Shift = std::array<int, 3>;
using Key = std::array<long, 5>;  // from, to, translation

constexpr double kBoltzmann = 8.6173324e-05;  // eV/K
constexpr long kMaxCluster = 400;             // members solved densely; larger clusters stay sites

// ln of a sum of exponentials, accumulated without overflow or underflow.
struct LogSum {
    double top = -std::numeric_limits<double>::infinity();
    double sum = 0.0;
    void add(double x) {
        if (x > top) {
            sum = sum * std::exp(top - x) + 1.0;
            top = x;
        } else {
            sum += std::exp(x - top);
        }
    }
    double value() const { return top + std::log(sum); }
};

// ln of the rate of hop e with no other ion about (the activation rule of the walk).
double log_rate(const VELMAR_GRAPH_EDGE &e, double m, double kT) {
    const double ei = e.v_i->en;
    const double ef = e.v_f->en;
    const double de = e.en > ei && e.en > ef ? e.en - ei : ef - ei;
    return std::log(velmar_graph_vertex_frequency(e.v_i, m)) - de / kT;
}

Key key_of(long from, long to, const Shift &t) { return {from, to, t[0], t[1], t[2]}; }

// A connected set of shallow minima: members, each one's cell relative to the first, and the
// probabilities of leaving towards each (site, translation from the first member's cell).
struct Cluster {
    std::vector<long> members;
    std::vector<std::pair<long, Shift>> targets;
    std::vector<std::vector<double>> absorb;  // [member][target]
};

// Solves (I - Q) B = R in place (B overwrites R) by Gaussian elimination with partial pivoting.
// False when the system is singular (a region no ion can leave).
bool solve(std::vector<std::vector<double>> &A, std::vector<std::vector<double>> &B) {
    const size_t n = A.size();
    for (size_t c = 0; c < n; ++c) {
        size_t p = c;
        for (size_t r = c + 1; r < n; ++r) {
            if (std::fabs(A[r][c]) > std::fabs(A[p][c])) p = r;
        }
        if (!(std::fabs(A[p][c]) > 1e-14)) return false;
        std::swap(A[p], A[c]);
        std::swap(B[p], B[c]);
        for (size_t r = 0; r < n; ++r) {
            if (r == c || A[r][c] == 0.0) continue;
            const double f = A[r][c] / A[c][c];
            for (size_t k = c; k < n; ++k) A[r][k] -= f * A[c][k];
            for (size_t k = 0; k < B[r].size(); ++k) B[r][k] -= f * B[c][k];
        }
    }
    for (size_t r = 0; r < n; ++r) {
        for (double &b : B[r]) b = std::max(0.0, b / A[r][r]);
    }
    return true;
}

class Elimination {
  public:
    Elimination(const VELMAR_GRAPH &graph, double depth, double kT)
        : graph_(graph),
          kT_(kT),
          shallow_(static_cast<size_t>(graph.total_v), 0),
          cluster_of_(static_cast<size_t>(graph.total_v), -1),
          local_(static_cast<size_t>(graph.total_v), -1),
          offset_(static_cast<size_t>(graph.total_v), Shift{0, 0, 0}) {
        for (long v = 0; v < graph.total_v; ++v) {
            const VELMAR_GRAPH_VERTEX &vertex = graph.v[v];
            // A minimum that holds the structure's conducting ions is a site however shallow.
            if (vertex.occ > 0.0) continue;
            for (int k = 0; k < vertex.total_e; ++k) {
                if (vertex.e[k]->barrier < depth) shallow_[v] = 1;
            }
        }
        for (long v = 0; v < graph.total_v; ++v) {
            if (shallow_[v] != 0 && cluster_of_[v] < 0) grow(v);
        }
    }

    bool is_site(long v) const { return shallow_[v] == 0; }
    long shallow_count() const {
        long n = 0;
        for (char s : shallow_) n += s;
        return n;
    }

    // The effective hops out of every site: ln of the summed rate per (from, to, translation),
    // and the path that carries most of it.
    struct Path {
        LogSum rate;
        double best = -std::numeric_limits<double>::infinity();
        const VELMAR_GRAPH_EDGE *first = nullptr;  // the hop out of the start site
        long via = -1;                             // the shallow minimum passed, or -1
    };
    std::map<Key, Path> paths() const {
        std::map<Key, Path> out;
        const auto add = [&out](const Key &k, double lr, const VELMAR_GRAPH_EDGE *e, long via) {
            Path &p = out[k];
            p.rate.add(lr);
            if (lr > p.best) {
                p.best = lr;
                p.first = e;
                p.via = via;
            }
        };
        for (long a = 0; a < graph_.total_v; ++a) {
            if (!is_site(a)) continue;
            const VELMAR_GRAPH_VERTEX &va = graph_.v[a];
            for (int k = 0; k < va.total_e; ++k) {
                const VELMAR_GRAPH_EDGE *e = va.e[k];
                const long w = e->v_f->index;
                const double lr = log_rate(*e, graph_.m, kT_);
                const Shift b = {e->bound[0], e->bound[1], e->bound[2]};
                if (is_site(w)) {
                    if (w != a || b != Shift{0, 0, 0}) add(key_of(a, w, b), lr, e, -1);
                    continue;
                }
                const Cluster &c = clusters_[cluster_of_[w]];
                const auto &row = c.absorb[local_[w]];
                for (size_t t = 0; t < c.targets.size(); ++t) {
                    if (!(row[t] > 0.0)) continue;
                    const auto &[x, anchor] = c.targets[t];
                    Shift move{};
                    for (int r = 0; r < 3; ++r) move[r] = b[r] + anchor[r] - offset_[w][r];
                    if (x == a && move == Shift{0, 0, 0}) continue;  // back where it started
                    add(key_of(a, x, move), lr + std::log(row[t]), e, w);
                }
            }
        }
        return out;
    }

  private:
    // Collects the cluster of shallow minima around v and solves where its ions leave to; a
    // cluster that wraps around the cell, leads nowhere or is too large keeps its minima as sites.
    void grow(long v) {
        Cluster c;
        std::vector<long> queue = {v};
        cluster_of_[v] = static_cast<long>(clusters_.size());
        bool wraps = false;
        bool exits = false;
        for (size_t q = 0; q < queue.size(); ++q) {
            const long m = queue[q];
            local_[m] = static_cast<long>(c.members.size());
            c.members.push_back(m);
            const VELMAR_GRAPH_VERTEX &vm = graph_.v[m];
            for (int k = 0; k < vm.total_e; ++k) {
                const VELMAR_GRAPH_EDGE *e = vm.e[k];
                const long w = e->v_f->index;
                if (shallow_[w] == 0) {
                    exits = true;
                    continue;
                }
                Shift at{};
                for (int r = 0; r < 3; ++r) at[r] = offset_[m][r] + e->bound[r];
                if (cluster_of_[w] < 0) {
                    cluster_of_[w] = cluster_of_[v];
                    offset_[w] = at;
                    queue.push_back(w);
                } else if (offset_[w] != at) {
                    wraps = true;
                }
            }
        }
        if (wraps || !exits || static_cast<long>(c.members.size()) > kMaxCluster || !absorb(c)) {
            for (long m : c.members) shallow_[m] = 0;  // they stay sites
            return;
        }
        clusters_.push_back(std::move(c));
    }

    // Exit probabilities of a cluster: B = Q B + R, Q the hops among its members, R the hops out.
    bool absorb(Cluster &c) {
        const size_t n = c.members.size();
        std::map<std::pair<long, Shift>, size_t> target_index;
        std::vector<std::vector<double>> A(n, std::vector<double>(n, 0.0));
        std::vector<std::vector<std::pair<size_t, double>>> out(n);
        for (size_t i = 0; i < n; ++i) {
            const VELMAR_GRAPH_VERTEX &vm = graph_.v[c.members[i]];
            LogSum total;
            std::vector<double> lr(static_cast<size_t>(vm.total_e));
            for (int k = 0; k < vm.total_e; ++k) {
                lr[k] = log_rate(*vm.e[k], graph_.m, kT_);
                total.add(lr[k]);
            }
            A[i][i] = 1.0;
            for (int k = 0; k < vm.total_e; ++k) {
                const VELMAR_GRAPH_EDGE *e = vm.e[k];
                const double p = std::exp(lr[k] - total.value());
                const long w = e->v_f->index;
                if (shallow_[w] != 0) {
                    A[i][local_[w]] -= p;
                    continue;
                }
                Shift anchor{};
                for (int r = 0; r < 3; ++r) anchor[r] = offset_[c.members[i]][r] + e->bound[r];
                const auto [at, added] =
                    target_index.emplace(std::pair{w, anchor}, c.targets.size());
                if (added) c.targets.emplace_back(w, anchor);
                out[i].emplace_back(at->second, p);
            }
        }
        c.absorb.assign(n, std::vector<double>(c.targets.size(), 0.0));
        for (size_t i = 0; i < n; ++i) {
            for (const auto &[t, p] : out[i]) c.absorb[i][t] += p;
        }
        return solve(A, c.absorb);
    }

    const VELMAR_GRAPH &graph_;
    double kT_;
    std::vector<char> shallow_;
    std::vector<long> cluster_of_;
    std::vector<long> local_;
    std::vector<Shift> offset_;
    std::vector<Cluster> clusters_;
};

// Puts the saddle point of edge e at cartesian point p given relative to the start site's cell: its
// position folded into the cell, its grid point, and the cell it lies in from the start.
void place(VELMAR_GRAPH_EDGE &e, const double p[3], const VELMAR_GRAPH &graph,
           const double ainv[3][3]) {
    double f[3];
    for (int r = 0; r < 3; ++r) f[r] = p[0] * ainv[0][r] + p[1] * ainv[1][r] + p[2] * ainv[2][r];
    for (int r = 0; r < 3; ++r) {
        const double cell = std::floor(f[r]);
        e.bound_i[r] = static_cast<int>(cell);
        f[r] -= cell;
        e.x_i[r] = velmar_mod_long(std::lround(f[r] * static_cast<double>(graph.n[r])), graph.n[r]);
    }
    for (int c = 0; c < 3; ++c)
        e.x[c] = f[0] * graph.a[0][c] + f[1] * graph.a[1][c] + f[2] * graph.a[2][c];
}

}  // namespace

double velmar_graph_vertex_frequency(const VELMAR_GRAPH_VERTEX *v, double m) {
    const double stiffness = (v->eig[0] + v->eig[1] + v->eig[2]) / 3.0;
    return 15.6 * std::sqrt((stiffness > 0.001 ? stiffness : 0.001) / m);
}

VELMAR_GRAPH *velmar_graph_new_without_shallow(const VELMAR_GRAPH *graph, double depth,
                                               double temperature) {
    if (graph == nullptr || (graph->total_v > 0 && graph->v == nullptr) ||
        (graph->total_e > 0 && graph->e == nullptr) || !(temperature > 0.0) || !(graph->m > 0.0)) {
        std::fputs("Error: VELMAR_GRAPH has not been properly initialized.\n", stderr);
        return nullptr;
    }
    const double kT = kBoltzmann * temperature;
    double frame[3][3];
    if (velmar_matrix33_double_inverse(frame, graph->a) != 0) {
        std::fputs("Error: VELMAR_GRAPH has not been properly initialized.\n", stderr);
        return nullptr;
    }
    const Elimination elimination(*graph, depth, kT);
    std::vector<long> site(static_cast<size_t>(graph->total_v), -1);
    std::vector<VELMAR_GRAPH_VERTEX> vertices;
    for (long v = 0; v < graph->total_v; ++v) {
        if (!elimination.is_site(v)) continue;
        site[v] = static_cast<long>(vertices.size());
        VELMAR_GRAPH_VERTEX copy = graph->v[v];
        copy.sub = nullptr;
        copy.v_b = nullptr;
        vertices.push_back(copy);
    }

    const std::map<Key, Elimination::Path> paths = elimination.paths();
    std::vector<velmar::detail::GraphEdgeDraft> edges;
    std::set<Key> done;
    for (const auto &[k, path] : paths) {
        if (done.count(k) != 0) continue;
        const long a = k[0];
        const long x = k[1];
        const Shift t = {static_cast<int>(k[2]), static_cast<int>(k[3]), static_cast<int>(k[4])};
        const Key back = key_of(x, a, Shift{-t[0], -t[1], -t[2]});
        done.insert(k);
        done.insert(back);
        // The saddle energy that gives the summed rate from each end; detailed balance makes the
        // two equal, up to rounding.
        const auto saddle_energy = [&](long from, double log_rate_sum) {
            return graph->v[from].en - kT * (log_rate_sum - std::log(velmar_graph_vertex_frequency(
                                                                &graph->v[from], graph->m)));
        };
        double en = saddle_energy(a, path.rate.value());
        const auto reverse = paths.find(back);
        if (reverse != paths.end())
            en = 0.5 * (en + saddle_energy(x, reverse->second.rate.value()));

        velmar::detail::GraphEdgeDraft forward{};
        forward.from = site[a];
        forward.to = site[x];
        VELMAR_GRAPH_EDGE &f = forward.edge;
        const VELMAR_GRAPH_EDGE &first = *path.first;
        const VELMAR_GRAPH_VERTEX &va = graph->v[a];
        const VELMAR_GRAPH_VERTEX &vx = graph->v[x];
        double hop[3];
        for (int r = 0; r < 3; ++r) {
            hop[r] = vx.x[r] - va.x[r];
            for (int c = 0; c < 3; ++c) hop[r] += t[c] * graph->a[c][r];
        }
        if (path.via < 0) {  // a hop of the graph: its own saddle point
            velmar_vector3_double_copy(f.x, first.x);
            for (int r = 0; r < 3; ++r) {
                f.x_i[r] = first.x_i[r];
                f.bound_i[r] = first.bound_i[r];
            }
        } else {
            // Through transit points the top of the path is spread over a region; the saddle
            // point, where the other ions' repulsion is taken, stands halfway along the hop.
            double middle[3];
            velmar_vector3_double_sum2(middle, 1.0, va.x, 0.5, hop);
            place(f, middle, *graph, frame);
        }
        for (int r = 0; r < 3; ++r) {
            f.bound[r] = t[r];
            f.bound_f[r] = t[r] - f.bound_i[r];
        }
        f.en = en;
        f.index_half = first.index_half;
        f.l = velmar_vector3_double_length(hop);
        f.barrier = en - va.en;
        velmar_dot_direction(f.dir, va.x, f.x, graph->a);
        velmar::detail::GraphEdgeDraft backward = forward;
        backward.from = site[x];
        backward.to = site[a];
        VELMAR_GRAPH_EDGE &g = backward.edge;
        for (int r = 0; r < 3; ++r) {
            g.bound[r] = -t[r];
            g.bound_i[r] = f.bound_i[r] - t[r];
            g.bound_f[r] = -f.bound_i[r];
        }
        g.barrier = en - vx.en;
        velmar_dot_direction(g.dir, vx.x, g.x, graph->a);
        edges.push_back(forward);
        edges.push_back(backward);
    }

    GraphPtr out(velmar::detail::graph_new_like(*graph));
    if (!out) return nullptr;
    if (velmar::detail::graph_assemble(*out, vertices, edges) != 0) return nullptr;
    std::printf(
        "Message: %ld minima shallower than %.3f eV taken as transit points at %.1f K: %ld sites, "
        "%ld hops.\n",
        elimination.shallow_count(), depth, temperature, out->total_v, out->total_e / 2);
    return out.release();
}
