// Kruskal percolation over the basin graph, with the level at which each site joins a region of
// rank 1, 2 and 3. Regions keep their member lists; when a region's rank grows, the members that
// had not reached that rank take the current saddle energy, so each site is written at most three
// times and each union walks the smaller list or the one whose rank grew.
#include "network/velmar-basin-percolation.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <numeric>
#include <vector>

#include "core/velmar.h"
#include "network/velmar-lattice.h"

namespace {

using velmar::detail::TranslationLattice;

class Kruskal {
  public:
    Kruskal(const VELMAR_BASIN_GRAPH &graph, VELMAR_BASIN_PERCOLATION &out)
        : graph_(graph),
          out_(out),
          parent_(static_cast<size_t>(graph.total_site)),
          offset_(static_cast<size_t>(graph.total_site), {0, 0, 0}),
          members_(static_cast<size_t>(graph.total_site)),
          lattice_(static_cast<size_t>(graph.total_site)) {
        std::iota(parent_.begin(), parent_.end(), 0);
        for (int32_t s = 0; s < graph.total_site; ++s) members_[s].assign(1, s);
    }

    void run() {
        std::vector<int64_t> order(static_cast<size_t>(graph_.total_hop));
        std::iota(order.begin(), order.end(), 0);
        const VELMAR_BASIN_HOP *hop = graph_.hop;
        std::stable_sort(order.begin(), order.end(),
                         [hop](int64_t p, int64_t q) { return hop[p].saddle < hop[q].saddle; });
        for (const int64_t h : order) {
            if (pending_ && graph_.hop[h].saddle > graph_.hop[pending_hop_].saddle) finalise();
            add(h);
        }
        if (pending_) finalise();
    }

  private:
    int32_t find(int32_t s, int64_t o[3]) {
        o[0] = o[1] = o[2] = 0;
        while (parent_[s] != s) {
            for (int r = 0; r < 3; ++r) o[r] += offset_[s][r];
            s = parent_[s];
        }
        return s;
    }

    // The hop from -> to: to's minimum lies `offset` cells from from's.
    void add(int64_t h) {
        const VELMAR_BASIN_HOP &hop = graph_.hop[h];
        int64_t of[3];
        int64_t ot[3];
        const int32_t rf = find(hop.from, of);
        const int32_t rt = find(hop.to, ot);
        if (rf == rt) {
            const int64_t loop[3] = {of[0] + hop.offset[0] - ot[0], of[1] + hop.offset[1] - ot[1],
                                     of[2] + hop.offset[2] - ot[2]};
            const int before = lattice_[rf].rank;
            if (lattice_[rf].add(loop)) grown(rf, before, h);
            return;
        }
        // Union by size; the child root's offset keeps from and to where the hop puts them.
        int32_t root = rf;
        int32_t child = rt;
        std::array<int64_t, 3> o{};
        if (members_[rf].size() >= members_[rt].size()) {
            for (int r = 0; r < 3; ++r) o[r] = of[r] + hop.offset[r] - ot[r];
        } else {
            root = rt;
            child = rf;
            for (int r = 0; r < 3; ++r) o[r] = ot[r] - hop.offset[r] - of[r];
        }
        parent_[child] = root;
        offset_[child] = o;
        const int rank_root = lattice_[root].rank;
        const int rank_child = lattice_[child].rank;
        lattice_[root].merge(lattice_[child]);
        const int rank = lattice_[root].rank;
        // Members below the new rank reach it now: the root's if the rank grew, the child's if it
        // had less.
        reach(members_[child], rank_child, rank, hop.saddle);
        reach(members_[root], rank_root, rank, hop.saddle);
        members_[root].insert(members_[root].end(), members_[child].begin(), members_[child].end());
        std::vector<int32_t>().swap(members_[child]);
        if (rank > std::max(rank_root, rank_child)) level(root, std::max(rank_root, rank_child), h);
    }

    void grown(int32_t root, int before, int64_t h) {
        reach(members_[root], before, lattice_[root].rank, graph_.hop[h].saddle);
        level(root, before, h);
    }

    void reach(const std::vector<int32_t> &sites, int from_rank, int to_rank, double e) {
        for (int d = from_rank; d < to_rank; ++d) {
            for (const int32_t s : sites) out_.join[s][d] = std::min(out_.join[s][d], e);
        }
    }

    // Ranks from `before` + 1 to the root's: new percolation levels if no region had them yet.
    // Their regions are read once every hop of the same saddle energy has been added.
    void level(int32_t root, int before, int64_t h) {
        for (int d = before; d < lattice_[root].rank; ++d) {
            if (out_.found[d]) continue;
            out_.found[d] = true;
            out_.energy[d] = graph_.hop[h].saddle;
            out_.hop[d] = h;
            pending_ = true;
            pending_hop_ = h;
        }
    }

    void finalise() {
        pending_ = false;
        for (int d = 0; d < 3; ++d) {
            if (!out_.found[d] || out_.rank[d] > 0) continue;
            int64_t o[3];
            const TranslationLattice &lattice = lattice_[find(graph_.hop[out_.hop[d]].from, o)];
            out_.rank[d] = lattice.rank;
            for (int r = 0; r < 3; ++r)
                for (int c = 0; c < 3; ++c) out_.basis[d][r][c] = lattice.row[r][c];
        }
    }

    const VELMAR_BASIN_GRAPH &graph_;
    VELMAR_BASIN_PERCOLATION &out_;
    std::vector<int32_t> parent_;
    std::vector<std::array<int64_t, 3>> offset_;
    std::vector<std::vector<int32_t>> members_;
    std::vector<TranslationLattice> lattice_;
    bool pending_ = false;
    int64_t pending_hop_ = 0;
};

}  // namespace

void velmar_basin_percolation_free(VELMAR_BASIN_PERCOLATION *percolation) {
    if (percolation == nullptr) return;
    std::free(percolation->join);
    std::free(percolation);
}

VELMAR_BASIN_PERCOLATION *velmar_basin_percolation_new(int32_t total_site) {
    velmar::Owned<VELMAR_BASIN_PERCOLATION, velmar_basin_percolation_free> p(
        static_cast<VELMAR_BASIN_PERCOLATION *>(std::calloc(1, sizeof(VELMAR_BASIN_PERCOLATION))));
    if (!p) {
        std::fputs("Error: unable to allocate VELMAR_BASIN_PERCOLATION.\n", stderr);
        return nullptr;
    }
    if (total_site > 0) {
        p->join = static_cast<double(*)[3]>(
            std::malloc(static_cast<size_t>(total_site) * sizeof(double[3])));
        if (p->join == nullptr) {
            std::fputs("Error: unable to allocate VELMAR_BASIN_PERCOLATION.\n", stderr);
            return nullptr;
        }
        for (int32_t s = 0; s < total_site; ++s)
            p->join[s][0] = p->join[s][1] = p->join[s][2] = HUGE_VAL;
        p->total_site = total_site;
    }
    return p.release();
}

void velmar_basin_percolation_print(const VELMAR_BASIN_PERCOLATION *percolation) {
    if (percolation == nullptr) {
        std::printf("BASIN: (not allocated)\n");
        return;
    }
    for (int d = 0; d < 3; ++d) {
        if (!percolation->found[d]) {
            std::printf("BASIN: %dD none\n", d + 1);
            continue;
        }
        TranslationLattice lattice;
        lattice.rank = percolation->rank[d];
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 3; ++c) lattice.row[r][c] = percolation->basis[d][r][c];
        std::printf("BASIN: %dD at %.6f through hop %lld, %s\n", d + 1, percolation->energy[d],
                    static_cast<long long>(percolation->hop[d] + 1), lattice.text().c_str());
    }
    for (int32_t s = 0; s < percolation->total_site; ++s) {
        std::printf("BASIN: site %d joins 1D/2D/3D at %.6f %.6f %.6f\n", s + 1,
                    percolation->join[s][0], percolation->join[s][1], percolation->join[s][2]);
    }
}

VELMAR_BASIN_PERCOLATION *velmar_basin_percolation_calculate(const VELMAR_BASIN_GRAPH *graph) {
    if (graph == nullptr || (graph->total_site > 0 && graph->site == nullptr)) {
        std::fputs("Error: VELMAR_BASIN_GRAPH has not been properly initialized.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_BASIN_PERCOLATION, velmar_basin_percolation_free> p(
        velmar_basin_percolation_new(graph->total_site));
    if (!p) {
        VELMAR_ERROR_NULL(velmar_basin_percolation_new);
        return nullptr;
    }
    try {
        Kruskal kruskal(*graph, *p);
        kruskal.run();
    } catch (const std::bad_alloc &) {
        std::fputs("Error: unable to allocate the arrays of the basin percolation.\n", stderr);
        return nullptr;
    }
    return p.release();
}
