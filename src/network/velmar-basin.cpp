// The basin graph: steepest descent over face neighbours, basins as sites, shared faces as hops.
//
// Descent: one scan in index order walks each voxel not yet labelled down to a labelled voxel or a
// new minimum, then labels the walked path on the way back, with each voxel's cell offset from
// its minimum (the voxel's cell relative to the cell of the minimum image its descent reaches,
// summed over the face steps that cross the cell boundary). Sites are numbered by their minimum's
// index at the end. Hops: every face pair of passable voxels in different basins, or in one basin
// but with minima images in different cells, gives the hop (site, site, offset), whose saddle is
// kept as the lowest larger energy of its pairs; threads scan slabs of the grid into maps of their
// own. Last, basins that meet at the higher one's own minimum energy (plateaus) are merged.
#include "network/velmar-basin.h"

#include <omp.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <numeric>
#include <unordered_map>
#include <vector>

#include "core/velmar-la.h"
#include "core/velmar.h"
#include "network/velmar-offsets.h"
#include "network/velmar-voxel-grid.h"

namespace {

using velmar::detail::passable;
using velmar::detail::VoxelGrid;

constexpr int32_t kImpassable = -1;
constexpr int32_t kUnlabelled = -2;

struct Labels {
    void operator()(int32_t *p) const noexcept { std::free(p); }
};
using LabelArray = std::unique_ptr<int32_t[], Labels>;

struct HopKey {
    int32_t from;
    int32_t to;
    int32_t offset[3];
    bool operator==(const HopKey &o) const {
        return from == o.from && to == o.to && offset[0] == o.offset[0] &&
               offset[1] == o.offset[1] && offset[2] == o.offset[2];
    }
    bool operator<(const HopKey &o) const {
        if (from != o.from) return from < o.from;
        if (to != o.to) return to < o.to;
        return std::lexicographical_compare(offset, offset + 3, o.offset, o.offset + 3);
    }
};

struct HopKeyHash {
    size_t operator()(const HopKey &k) const noexcept {
        uint64_t h = (uint64_t(uint32_t(k.from)) << 32) ^ uint32_t(k.to);
        for (const int32_t o : k.offset) h = h * 0x9E3779B97F4A7C15ull ^ uint32_t(o + 1024);
        return static_cast<size_t>(h ^ (h >> 29));
    }
};

struct Saddle {
    double en;
    int64_t voxel;
    bool lower_than(const Saddle &o) const { return en < o.en || (en == o.en && voxel < o.voxel); }
};

using HopMap = std::unordered_map<HopKey, Saddle, HopKeyHash>;

// Sites sharing a face: from <= to, and a self-hop's offset with its first non-zero positive.
HopKey canonical(int32_t a, int32_t b, const int32_t t[3]) {
    HopKey k{a, b, {t[0], t[1], t[2]}};
    bool flip = a > b;
    if (a == b) {
        for (int r = 0; r < 3; ++r) {
            if (t[r] == 0) continue;
            flip = t[r] < 0;
            break;
        }
    }
    if (flip) k = HopKey{b, a, {-t[0], -t[1], -t[2]}};
    return k;
}

template <class Offsets>
class Basins {
  public:
    Basins(const VoxelGrid &grid, const double *en, int32_t *label)
        : grid_(grid), en_(en), label_(label), off_(grid.size) {}

    // False when an offset outgrew the store.
    bool descend() {
        std::fill(label_, label_ + grid_.size, kUnlabelled);
        std::vector<int64_t> path;
        std::vector<int8_t> step;  // direction taken from path[i]
        for (int64_t v = 0; v < grid_.size; ++v) {
            if (label_[v] != kUnlabelled) continue;
            if (!passable(en_[v])) {
                label_[v] = kImpassable;
                continue;
            }
            path.clear();
            step.clear();
            int64_t x = v;
            int32_t offset[3] = {0, 0, 0};
            while (label_[x] == kUnlabelled) {
                const int dir = lowest_neighbour(x);
                if (dir < 0) {
                    label_[x] = static_cast<int32_t>(minima_.size());
                    minima_.push_back(x);
                    off_.set(x, offset);
                    break;
                }
                path.push_back(x);
                step.push_back(static_cast<int8_t>(dir));
                int32_t c[3];
                int32_t t[3];
                grid_.coords(x, c);
                x = grid_.neighbour(x, c, dir, t);
            }
            const int32_t site = label_[x];
            off_.get(x, offset);
            for (size_t i = path.size(); i-- > 0;) {
                int32_t c[3];
                int32_t t[3];
                grid_.coords(path[i], c);
                grid_.neighbour(path[i], c, step[i], t);
                for (int r = 0; r < 3; ++r) offset[r] -= t[r];
                label_[path[i]] = site;
                if (!off_.set(path[i], offset)) return false;
            }
        }
        return true;
    }

    // Sites renumbered by their minimum's index (the scan met them in that order already, but a
    // minimum is only met when its basin is first entered).
    void renumber() {
        std::vector<int32_t> order(minima_.size());
        for (size_t s = 0; s < order.size(); ++s) order[s] = static_cast<int32_t>(s);
        std::sort(order.begin(), order.end(),
                  [this](int32_t p, int32_t q) { return minima_[p] < minima_[q]; });
        std::vector<int32_t> rank(order.size());
        for (size_t s = 0; s < order.size(); ++s) rank[order[s]] = static_cast<int32_t>(s);
        std::vector<int64_t> sorted(order.size());
        for (size_t s = 0; s < order.size(); ++s) sorted[s] = minima_[order[s]];
        minima_.swap(sorted);
#pragma omp parallel for schedule(static)
        for (int64_t v = 0; v < grid_.size; ++v) {
            if (label_[v] >= 0) label_[v] = rank[label_[v]];
        }
    }

    HopMap hops() const {
        const int threads = omp_get_max_threads();
        std::vector<HopMap> part(static_cast<size_t>(threads));
#pragma omp parallel num_threads(threads)
        {
            HopMap &mine = part[static_cast<size_t>(omp_get_thread_num())];
#pragma omp for schedule(static)
            for (int32_t i = 0; i < grid_.n[0]; ++i) {
                const int64_t end = (int64_t{i} + 1) * grid_.stride[0];
                for (int64_t u = i * grid_.stride[0]; u < end; ++u) {
                    if (label_[u] < 0) continue;
                    int32_t c[3];
                    grid_.coords(u, c);
                    int32_t ou[3];
                    off_.get(u, ou);
                    for (int dir = 1; dir < 6; dir += 2) {
                        int32_t t[3];
                        const int64_t w = grid_.neighbour(u, c, dir, t);
                        if (label_[w] < 0) continue;
                        int32_t ow[3];
                        off_.get(w, ow);
                        // u's minimum sits at -ou from u, w's at t - ow: w's minimum relative to
                        // u's is ou + t - ow.
                        int32_t shift[3];
                        for (int r = 0; r < 3; ++r) shift[r] = ou[r] + t[r] - ow[r];
                        if (label_[u] == label_[w] && shift[0] == 0 && shift[1] == 0 &&
                            shift[2] == 0) {
                            continue;
                        }
                        const bool w_higher = en_[w] > en_[u] || (en_[w] == en_[u] && w > u);
                        const Saddle s = w_higher ? Saddle{en_[w], w} : Saddle{en_[u], u};
                        const auto [it, fresh] =
                            mine.try_emplace(canonical(label_[u], label_[w], shift), s);
                        if (!fresh && s.lower_than(it->second)) it->second = s;
                    }
                }
            }
        }
        HopMap all = std::move(part[0]);
        for (size_t p = 1; p < part.size(); ++p) {
            for (const auto &[key, s] : part[p]) {
                const auto [it, fresh] = all.try_emplace(key, s);
                if (!fresh && s.lower_than(it->second)) it->second = s;
            }
        }
        return all;
    }

    const std::vector<int64_t> &minima() const { return minima_; }

  private:
    // The direction of the lowest passable neighbour below v in the order (energy, index), or -1.
    int lowest_neighbour(int64_t v) const {
        int32_t c[3];
        grid_.coords(v, c);
        int best = -1;
        double best_en = en_[v];
        int64_t best_index = v;
        for (int dir = 0; dir < 6; ++dir) {
            int32_t t[3];
            const int64_t w = grid_.neighbour(v, c, dir, t);
            const double e = en_[w];
            if (!passable(e)) continue;
            if (e < best_en || (e == best_en && w < best_index)) {
                best = dir;
                best_en = e;
                best_index = w;
            }
        }
        return best;
    }

    const VoxelGrid &grid_;
    const double *en_;
    int32_t *label_;
    Offsets off_;
    std::vector<int64_t> minima_;
};

// Basins that meet across a face at the higher minimum's own energy are one site: the higher
// "minimum" is a plateau voxel that only the index order kept from flowing on (equal energies are
// common in a cube file, symmetric voxels hold equal values), or the two make one flat minimum.
// Merging them changes no region at any level, so the thresholds stay as they are. The merged
// site's minimum is its lowest (energy, index) voxel; hops are carried over with their offsets.
void merge_plateaus(const double *en, int32_t *label, int64_t size, std::vector<int64_t> &minima,
                    HopMap &hops) {
    const auto n = static_cast<int32_t>(minima.size());
    std::vector<int32_t> parent(static_cast<size_t>(n));
    std::iota(parent.begin(), parent.end(), 0);
    // shift[s]: cell of s's minimum relative to its parent's.
    std::vector<std::array<int32_t, 3>> shift(static_cast<size_t>(n), {0, 0, 0});
    const auto find = [&parent, &shift](int32_t s, std::array<int32_t, 3> &o) {
        o = {0, 0, 0};
        while (parent[s] != s) {
            for (int r = 0; r < 3; ++r) o[r] += shift[s][r];
            s = parent[s];
        }
        return s;
    };
    bool merged = false;
    for (const auto &[key, saddle] : hops) {
        if (saddle.en != std::max(en[minima[key.from]], en[minima[key.to]])) continue;
        std::array<int32_t, 3> of;
        std::array<int32_t, 3> ot;
        const int32_t rf = find(key.from, of);
        const int32_t rt = find(key.to, ot);
        if (rf == rt) continue;  // a loop; it stays a hop of the merged site to its image
        // to's minimum lies key.offset from from's; rt's then lies of + offset - ot from rf's.
        parent[rt] = rf;
        for (int r = 0; r < 3; ++r) shift[rt][r] = of[r] + key.offset[r] - ot[r];
        merged = true;
    }
    if (!merged) return;
    // Per group its lowest minimum, and every member's cell relative to it.
    std::vector<int32_t> root(static_cast<size_t>(n));
    std::vector<std::array<int32_t, 3>> rel(static_cast<size_t>(n));
    std::vector<int32_t> lowest(static_cast<size_t>(n), -1);
    const auto below = [&](int32_t p, int32_t q) {
        return en[minima[p]] < en[minima[q]] || (en[minima[p]] == en[minima[q]] && p < q);
    };
    for (int32_t s = 0; s < n; ++s) {
        root[s] = find(s, rel[s]);
        int32_t &low = lowest[root[s]];
        if (low < 0 || below(s, low)) low = s;
    }
    std::vector<int32_t> fresh(static_cast<size_t>(n), -1);
    std::vector<int64_t> kept;
    for (int32_t s = 0; s < n; ++s) {
        if (lowest[root[s]] != s) continue;
        kept.push_back(minima[s]);
    }
    std::sort(kept.begin(), kept.end());
    for (int32_t s = 0; s < n; ++s) {
        const int32_t low = lowest[root[s]];
        fresh[s] = static_cast<int32_t>(std::lower_bound(kept.begin(), kept.end(), minima[low]) -
                                        kept.begin());
        for (int r = 0; r < 3; ++r) rel[s][r] -= rel[low][r];  // now relative to the lowest
    }
    HopMap carried;
    for (const auto &[key, saddle] : hops) {
        int32_t t[3];
        for (int r = 0; r < 3; ++r) t[r] = rel[key.from][r] + key.offset[r] - rel[key.to][r];
        const int32_t a = fresh[key.from];
        const int32_t b = fresh[key.to];
        if (a == b && t[0] == 0 && t[1] == 0 && t[2] == 0) continue;
        const auto [it, inserted] = carried.try_emplace(canonical(a, b, t), saddle);
        if (!inserted && saddle.lower_than(it->second)) it->second = saddle;
    }
    hops.swap(carried);
    minima.swap(kept);
#pragma omp parallel for schedule(static)
    for (int64_t v = 0; v < size; ++v) {
        if (label[v] >= 0) label[v] = fresh[label[v]];
    }
}

template <class Offsets>
bool build(const VoxelGrid &grid, const double *en, int32_t *label, std::vector<int64_t> &minima,
           HopMap &hops) {
    Basins<Offsets> basins(grid, en, label);
    if (!basins.descend()) return false;
    basins.renumber();
    hops = basins.hops();
    minima = basins.minima();
    merge_plateaus(en, label, grid.size, minima, hops);
    return true;
}

void position(double x[3], const VELMAR_BASIN_GRAPH &g, const int32_t x_i[3]) {
    velmar_vector3_double_sum3(x, x_i[0], g.a_i[0], x_i[1], g.a_i[1], x_i[2], g.a_i[2]);
}

}  // namespace

VELMAR_BASIN_GRAPH *velmar_basin_graph_new(int32_t total_site, int64_t total_hop) {
    velmar::Owned<VELMAR_BASIN_GRAPH, velmar_basin_graph_free> g(
        static_cast<VELMAR_BASIN_GRAPH *>(std::calloc(1, sizeof(VELMAR_BASIN_GRAPH))));
    if (!g) {
        std::fputs("Error: unable to allocate VELMAR_BASIN_GRAPH.\n", stderr);
        return nullptr;
    }
    if (total_site > 0) {
        g->site = static_cast<VELMAR_BASIN_SITE *>(
            std::calloc(static_cast<size_t>(total_site), sizeof(VELMAR_BASIN_SITE)));
        if (g->site == nullptr) {
            std::fputs("Error: unable to allocate graph->site.\n", stderr);
            return nullptr;
        }
        g->total_site = total_site;
    }
    if (total_hop > 0) {
        g->hop = static_cast<VELMAR_BASIN_HOP *>(
            std::calloc(static_cast<size_t>(total_hop), sizeof(VELMAR_BASIN_HOP)));
        if (g->hop == nullptr) {
            std::fputs("Error: unable to allocate graph->hop.\n", stderr);
            return nullptr;
        }
        g->total_hop = total_hop;
    }
    return g.release();
}

void velmar_basin_graph_free(VELMAR_BASIN_GRAPH *graph) {
    if (graph == nullptr) return;
    std::free(graph->site);
    std::free(graph->hop);
    std::free(graph->label);
    std::free(graph);
}

void velmar_basin_graph_print(const VELMAR_BASIN_GRAPH *graph) {
    if (graph == nullptr) {
        std::printf("BASIN: (not allocated)\n");
        return;
    }
    std::printf("BASIN: grid %d x %d x %d, %d sites, %lld hops\n", graph->n[0], graph->n[1],
                graph->n[2], graph->total_site, static_cast<long long>(graph->total_hop));
    for (int32_t s = 0; s < graph->total_site; ++s) {
        const VELMAR_BASIN_SITE &site = graph->site[s];
        std::printf("BASIN: site %d at (%d, %d, %d), en = %.6f\n", s + 1, site.x_i[0], site.x_i[1],
                    site.x_i[2], site.en);
    }
    for (int64_t h = 0; h < graph->total_hop; ++h) {
        const VELMAR_BASIN_HOP &hop = graph->hop[h];
        std::printf("BASIN: hop %d -> %d [%d %d %d], saddle = %.6f, length = %.4f\n", hop.from + 1,
                    hop.to + 1, hop.offset[0], hop.offset[1], hop.offset[2], hop.saddle,
                    hop.length);
    }
}

VELMAR_BASIN_GRAPH *velmar_basin_graph_new_from_cube(const VELMAR_CUBE *cube, bool keep_labels) {
    if (!velmar::detail::network_cube_ok(cube)) return nullptr;
    const VoxelGrid grid(*cube);
    const double *en = velmar::cube_values(cube);
    LabelArray label(
        static_cast<int32_t *>(std::malloc(static_cast<size_t>(grid.size) * sizeof(int32_t))));
    if (!label) {
        std::fputs("Error: unable to allocate the basin labels.\n", stderr);
        return nullptr;
    }
    std::vector<int64_t> minima;
    HopMap found;
    try {
        if (!build<velmar::detail::PackedOffsets>(grid, en, label.get(), minima, found)) {
            // A descent crossed more than 15 cells: again with wide offsets.
            build<velmar::detail::WideOffsets>(grid, en, label.get(), minima, found);
        }
    } catch (const std::bad_alloc &) {
        std::fputs("Error: unable to allocate the arrays of the basin graph.\n", stderr);
        return nullptr;
    }
    if (minima.empty()) {
        std::fputs("Error: the landscape has no passable voxel.\n", stderr);
        return nullptr;
    }
    std::vector<std::pair<HopKey, Saddle>> hops(found.begin(), found.end());
    found = HopMap();
    std::sort(hops.begin(), hops.end(),
              [](const auto &p, const auto &q) { return p.first < q.first; });
    velmar::Owned<VELMAR_BASIN_GRAPH, velmar_basin_graph_free> g(velmar_basin_graph_new(
        static_cast<int32_t>(minima.size()), static_cast<int64_t>(hops.size())));
    if (!g) {
        VELMAR_ERROR_NULL(velmar_basin_graph_new);
        return nullptr;
    }
    for (int r = 0; r < 3; ++r) g->n[r] = grid.n[r];
    velmar_matrix33_double_copy(g->a, cube->a);
    velmar_matrix33_double_copy(g->a_i, cube->a_i);
    for (int32_t s = 0; s < g->total_site; ++s) {
        VELMAR_BASIN_SITE &site = g->site[s];
        site.voxel = minima[static_cast<size_t>(s)];
        grid.coords(site.voxel, site.x_i);
        position(site.x, *g, site.x_i);
        site.en = en[site.voxel];
    }
    for (int64_t h = 0; h < g->total_hop; ++h) {
        const auto &[key, saddle] = hops[static_cast<size_t>(h)];
        VELMAR_BASIN_HOP &hop = g->hop[h];
        hop.from = key.from;
        hop.to = key.to;
        for (int r = 0; r < 3; ++r) hop.offset[r] = key.offset[r];
        hop.saddle = saddle.en;
        hop.voxel = saddle.voxel;
        double end[3];
        velmar_vector3_double_sum3(end, hop.offset[0], g->a[0], hop.offset[1], g->a[1],
                                   hop.offset[2], g->a[2]);
        velmar_vector3_double_sum2(end, 1.0, end, 1.0, g->site[hop.to].x);
        hop.length = velmar_vector3_double_distance(end, g->site[hop.from].x);
    }
    if (keep_labels) g->label = label.release();
    return g.release();
}
