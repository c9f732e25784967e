// Coulomb lists, incremental energies and rates of the kinetic Monte Carlo.
#include "transport/velmar-kmc-engine.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <new>

#include "structure/velmar-periodic-bins.h"

namespace velmar::detail {

namespace {

// Fills a block of lists from per-item lists, with each item's first entry.
template <class T>
void flatten(const std::vector<std::vector<T>> &lists, std::vector<T> &block,
             std::vector<long> &start) {
    start.assign(lists.size() + 1, 0);
    for (size_t i = 0; i < lists.size(); ++i)
        start[i + 1] = start[i] + static_cast<long>(lists[i].size());
    block.clear();
    block.reserve(static_cast<size_t>(start.back()));
    for (const auto &list : lists) block.insert(block.end(), list.begin(), list.end());
}

}  // namespace

void KmcEngine::build_lists(VELMAR_KMC &kmc, double cutoff, double (*shift)(double, const void *),
                            const void *data) {
    const VELMAR_GRAPH *graph = kmc.graph;
    const long nv = graph->total_v;
    const long ne = graph->total_e;

    // The saddle points: edges with the same position and energy (an edge and its reverse) share
    // one.
    saddle_of.resize(static_cast<size_t>(ne));
    std::vector<std::array<double, 3>> saddle_x;
    std::map<std::array<double, 4>, int32_t> known;
    for (long k = 0; k < ne; ++k) {
        const VELMAR_GRAPH_EDGE &e = graph->e[k];
        const std::array<double, 4> key = {e.x[0], e.x[1], e.x[2], e.en};
        const auto [at, added] = known.emplace(key, static_cast<int32_t>(saddle_x.size()));
        if (added) saddle_x.push_back({e.x[0], e.x[1], e.x[2]});
        saddle_of[k] = at->second;
    }
    known.clear();
    const long ns = static_cast<long>(saddle_x.size());

    // Sites within the cut-off of every site and every saddle point, found through bins of the
    // supercell and tested with the periodic distance; built in parallel, each list in site order.
    std::vector<std::array<double, 3>> sites(static_cast<size_t>(nv));
    for (long i = 0; i < nv; ++i) sites[i] = {graph->v[i].x[0], graph->v[i].x[1], graph->v[i].x[2]};
    const PeriodicBins bins(graph->a, sites, cutoff);
    std::vector<std::vector<long>> near(static_cast<size_t>(nv + ns));
    std::vector<std::vector<double>> de(near.size());
    const long total = nv + ns;
#pragma omp parallel
    {
        std::vector<int32_t> found;
#pragma omp for schedule(dynamic, 64)
        for (long q = 0; q < total; ++q) {
            const double *x = q < nv ? graph->v[q].x : saddle_x[q - nv].data();
            bins.visit(x, found, [&](int32_t j) {
                if (j == q) return;
                const double d = bins.distance(x, graph->v[j].x, cutoff);
                if (d < cutoff) {
                    near[q].push_back(j);
                    de[q].push_back(shift(d, data));
                }
            });
        }
    }
    std::vector<std::vector<long>> site_lists(std::make_move_iterator(near.begin()),
                                              std::make_move_iterator(near.begin() + nv));
    std::vector<std::vector<double>> site_des(std::make_move_iterator(de.begin()),
                                              std::make_move_iterator(de.begin() + nv));
    flatten(site_lists, site_n, site_start);
    flatten(site_des, site_de, site_start);
    site_lists.clear();
    site_des.clear();
    std::vector<std::vector<long>> saddle_lists(std::make_move_iterator(near.begin() + nv),
                                                std::make_move_iterator(near.end()));
    std::vector<std::vector<double>> saddle_des(std::make_move_iterator(de.begin() + nv),
                                                std::make_move_iterator(de.end()));
    near.clear();
    de.clear();
    flatten(saddle_lists, saddle_n, saddle_start);
    flatten(saddle_des, saddle_de, saddle_start);
    saddle_lists.clear();
    saddle_des.clear();

    // Edges of each saddle point, and each edge's slots.
    std::vector<std::vector<int32_t>> through(static_cast<size_t>(ns));
    for (long k = 0; k < ne; ++k) through[saddle_of[k]].push_back(static_cast<int32_t>(k));
    std::vector<long> through_start;
    flatten(through, saddle_edge, through_start);
    saddle_edge_start.assign(through_start.begin(), through_start.end());
    std::vector<long> slot_start(static_cast<size_t>(ne) + 1, 0);
    for (long k = 0; k < ne; ++k)
        slot_start[k + 1] = slot_start[k] + std::max(graph->e[k].v_f->total_e, 1);
    r2.assign(static_cast<size_t>(slot_start[ne]), 0.0);

    for (long i = 0; i < nv; ++i) {
        VELMAR_KMC_VERTEX &kv = kmc.kv[i];
        kv.v_n = site_n.data() + site_start[i];
        kv.v_de = site_de.data() + site_start[i];
        kv.total_v = static_cast<int>(site_start[i + 1] - site_start[i]);
    }
    for (long k = 0; k < ne; ++k) {
        VELMAR_KMC_EDGE &ke = kmc.ke[k];
        const int32_t sd = saddle_of[k];
        ke.v_n = saddle_n.data() + saddle_start[sd];
        ke.v_de = saddle_de.data() + saddle_start[sd];
        ke.total_v = static_cast<int>(saddle_start[sd + 1] - saddle_start[sd]);
        ke.r2 = r2.data() + slot_start[k];
    }

    // e_n: the saddle points near each site (the transpose of their lists), by counting.
    std::vector<long> count(static_cast<size_t>(nv) + 1, 0);
    for (long p = 0; p < static_cast<long>(saddle_n.size()); ++p) ++count[saddle_n[p] + 1];
    e_n_start.assign(static_cast<size_t>(nv) + 1, 0);
    for (long s = 0; s < nv; ++s) e_n_start[s + 1] = e_n_start[s] + count[s + 1];
    e_n.resize(static_cast<size_t>(e_n_start[nv]));
    e_n_saddle.resize(e_n.size());
    e_n_de.resize(e_n.size());
    std::vector<long> next(e_n_start.begin(), e_n_start.end() - 1);
    for (long sd = 0; sd < ns; ++sd) {
        for (long p = saddle_start[sd]; p < saddle_start[sd + 1]; ++p) {
            const long s = saddle_n[p];
            e_n[next[s]] = saddle_edge[saddle_edge_start[sd]];
            e_n_saddle[next[s]] = static_cast<int32_t>(sd);
            e_n_de[next[s]++] = saddle_de[p];
        }
    }
    for (long s = 0; s < nv; ++s) {
        kmc.kv[s].e_n = e_n.data() + e_n_start[s];
        kmc.kv[s].total_e = static_cast<int>(e_n_start[s + 1] - e_n_start[s]);
    }
    // Listeners: the transpose of the site lists, likewise.
    std::fill(count.begin(), count.end(), 0);
    for (long p = 0; p < static_cast<long>(site_n.size()); ++p) ++count[site_n[p] + 1];
    listener_start.assign(static_cast<size_t>(nv) + 1, 0);
    for (long s = 0; s < nv; ++s) listener_start[s + 1] = listener_start[s] + count[s + 1];
    listener.resize(static_cast<size_t>(listener_start[nv]));
    listener_de.resize(listener.size());
    next.assign(listener_start.begin(), listener_start.end() - 1);
    for (long j = 0; j < nv; ++j) {
        for (long p = site_start[j]; p < site_start[j + 1]; ++p) {
            const long s = site_n[p];
            listener[next[s]] = static_cast<int32_t>(j);
            listener_de[next[s]++] = site_de[p];
        }
    }

    // Compact copies of the graph for the hot loops.
    out_start.assign(static_cast<size_t>(nv) + 1, 0);
    for (long s = 0; s < nv; ++s) out_start[s + 1] = out_start[s] + graph->v[s].total_e;
    out_edge.resize(static_cast<size_t>(out_start[nv]));
    for (long s = 0; s < nv; ++s) {
        for (int e = 0; e < graph->v[s].total_e; ++e) {
            out_edge[out_start[s] + e] = static_cast<int32_t>(graph->v[s].e[e]->index);
        }
    }
    from.resize(static_cast<size_t>(ne));
    to.resize(static_cast<size_t>(ne));
    reverse.resize(static_cast<size_t>(ne));
    frequency.resize(static_cast<size_t>(ne));
    for (long k = 0; k < ne; ++k) {
        from[k] = static_cast<int32_t>(graph->e[k].v_i->index);
        to[k] = static_cast<int32_t>(graph->e[k].v_f->index);
        reverse[k] = static_cast<int32_t>(graph->e[k].e_r->index);
        frequency[k] = kmc.ke[k].f;
    }
    // The ion that hops does not push on itself: its shift on the end site and on the saddle point
    // is taken back out of their energies.
    self_end.assign(static_cast<size_t>(ne), 0.0);
    self_saddle.assign(static_cast<size_t>(ne), 0.0);
    const auto shift_from = [](const std::vector<long> &list, const std::vector<double> &des,
                               long first, long last, long site) {
        const auto begin = list.begin() + first;
        const auto end = list.begin() + last;
        const auto at = std::lower_bound(begin, end, site);
        return at != end && *at == site ? des[static_cast<size_t>(at - list.begin())] : 0.0;
    };
    for (long k = 0; k < ne; ++k) {
        const int32_t sd = saddle_of[k];
        self_end[k] =
            shift_from(site_n, site_de, site_start[to[k]], site_start[to[k] + 1], from[k]);
        self_saddle[k] =
            shift_from(saddle_n, saddle_de, saddle_start[sd], saddle_start[sd + 1], from[k]);
    }
    occupied.assign(static_cast<size_t>(nv), 0);
    open_mask.assign(static_cast<size_t>(nv), 0);
    wide.assign(static_cast<size_t>(nv), 0);
    for (long v = 0; v < nv; ++v) wide[v] = out_start[v + 1] - out_start[v] > 64 ? 1 : 0;
    open_edges.assign(static_cast<size_t>(ns), 0);
    site_e.assign(static_cast<size_t>(nv), 0.0);
    saddle_e.assign(static_cast<size_t>(ns), 0.0);
    tree.assign(static_cast<size_t>(ne));
    marked.assign(static_cast<size_t>(ne), 0);
    since.assign(static_cast<size_t>(nv), 0.0);
}

void KmcEngine::destroy(KmcEngine *engine) { delete engine; }

void KmcEngine::restart(VELMAR_KMC &kmc) {
    const long nv = kmc.graph->total_v;
    const long ne = kmc.graph->total_e;
    for (long i = 0; i < nv; ++i) occupied[i] = kmc.kv[i].occupied ? 1 : 0;
    for (long i = 0; i < nv; ++i) {
        const VELMAR_KMC_VERTEX &kv = kmc.kv[i];
        double e = kv.en;
        for (int n = 0; n < kv.total_v; ++n) {
            if (occupied[kv.v_n[n]] != 0) e += kv.v_de[n];
        }
        site_e[i] = e;
        since[i] = clock;
        if (kv.update) touched.push_back(i);
    }
    for (long i = 0; i < nv; ++i) refresh_mask(i);
    std::fill(open_edges.begin(), open_edges.end(), 0);
    for (long k = 0; k < ne; ++k) {
        const int32_t sd = saddle_of[k];
        if (saddle_edge[saddle_edge_start[sd]] == k) {
            const VELMAR_KMC_EDGE &ke = kmc.ke[k];
            double e = ke.en;
            for (int n = 0; n < ke.total_v; ++n) {
                if (occupied[ke.v_n[n]] != 0) e += ke.v_de[n];
            }
            saddle_e[sd] = e;
        }
        if (open(static_cast<int32_t>(k))) count_open(static_cast<int32_t>(k), 1);
        mark(static_cast<int32_t>(k));
    }
}

void KmcEngine::update_rates(VELMAR_KMC &kmc, double kT) {
    for (int32_t k : dirty) {
        double r = 0.0;
        if (open(k)) {
            const double ei = site_e[from[k]];
            const double ef = site_e[to[k]] - self_end[k];
            const double es = saddle_e[saddle_of[k]] - self_saddle[k];
            const double de = es > ei && es > ef ? es - ei : ef - ei;
            r = frequency[k] * std::exp(-de / kT);
        }
        marked[k] = 0;
        if (tree.value(static_cast<size_t>(k)) != r) tree.set(static_cast<size_t>(k), r);
    }
    dirty.clear();
    tree.refresh();
    for (long s : touched) kmc.kv[s].update = false;
    touched.clear();
}

void KmcEngine::refresh_mask(long s) {
    if (wide[s] != 0) return;
    uint64_t mask = 0;
    for (int32_t p = out_start[s]; p < out_start[s + 1]; ++p) {
        const int32_t k = out_edge[p];
        if (open(occupied[s] != 0 ? k : reverse[k])) mask |= uint64_t{1} << (p - out_start[s]);
    }
    open_mask[s] = mask;
}

// Site s becomes full or empty: the hops out of it and into it open or close.
void KmcEngine::set_occupied(long s, bool full) {
    for (int32_t p = out_start[s]; p < out_start[s + 1]; ++p) {
        const int32_t k = out_edge[p];
        if (open(k)) count_open(k, -1);
        if (open(reverse[k])) count_open(reverse[k], -1);
    }
    occupied[s] = full ? 1 : 0;
    for (int32_t p = out_start[s]; p < out_start[s + 1]; ++p) {
        const int32_t k = out_edge[p];
        if (open(k)) count_open(k, 1);
        if (open(reverse[k])) count_open(reverse[k], 1);
        refresh_mask(to[k]);
    }
    refresh_mask(s);
}

// Site s changed occupation (sign +1 filled, -1 emptied): the energies around it move, and the
// rates of the possible hops that depend on them are marked.
void KmcEngine::shift_site(VELMAR_KMC &kmc, long s, double sign) {
    kmc.kv[s].update = true;
    touched.push_back(s);
    for (int32_t p = out_start[s]; p < out_start[s + 1]; ++p) {
        mark(out_edge[p]);
        mark(reverse[out_edge[p]]);
    }
    for (long p = listener_start[s]; p < listener_start[s + 1]; ++p) {
        const int32_t j = listener[p];
        site_e[j] += sign * listener_de[p];
        // The open hops out of a full site or into an empty one.
        if (wide[j] != 0) {
            for (int32_t q = out_start[j]; q < out_start[j + 1]; ++q) {
                const int32_t k = out_edge[q];
                if (open(k)) mark(k);
                if (open(reverse[k])) mark(reverse[k]);
            }
            continue;
        }
        const bool full = occupied[j] != 0;
        for (uint64_t mask = open_mask[j]; mask != 0; mask &= mask - 1) {
            const int32_t k = out_edge[out_start[j] + __builtin_ctzll(mask)];
            mark(full ? k : reverse[k]);
        }
    }
    for (long p = e_n_start[s]; p < e_n_start[s + 1]; ++p) {
        const int32_t sd = e_n_saddle[p];
        saddle_e[sd] += sign * e_n_de[p];
        if (open_edges[sd] == 0) continue;
        for (int32_t q = saddle_edge_start[sd]; q < saddle_edge_start[sd + 1]; ++q) {
            if (open(saddle_edge[q])) mark(saddle_edge[q]);
        }
    }
}

void KmcEngine::hop(VELMAR_KMC &kmc, long k, bool book) {
    const VELMAR_GRAPH_EDGE *edge = kmc.ke[k].e;
    const long i = edge->v_i->index;
    const long f = edge->v_f->index;
    VELMAR_KMC_VERTEX &start = kmc.kv[i];
    VELMAR_KMC_VERTEX &end = kmc.kv[f];
    start.t += clock - since[i];
    since[f] = clock;
    start.occupied = false;
    end.occupied = true;
    set_occupied(i, false);
    set_occupied(f, true);
    if (book) {
        end.origin = start.origin;
        start.origin = -1;
        if (end.origin >= 0) {
            for (int r = 0; r < 3; ++r) kmc.kv[end.origin].y_i[r] += edge->bound[r];
        }
    }
    shift_site(kmc, i, -1.0);
    shift_site(kmc, f, 1.0);
}

void KmcEngine::sync_rates(VELMAR_KMC &kmc) const {
    for (long k = 0; k < kmc.graph->total_e; ++k) kmc.ke[k].r = tree.value(static_cast<size_t>(k));
}

void KmcEngine::settle(VELMAR_KMC &kmc) {
    for (long i = 0; i < kmc.graph->total_v; ++i) {
        if (kmc.kv[i].occupied) kmc.kv[i].t += clock - since[i];
        since[i] = clock;
    }
}

}  // namespace velmar::detail
