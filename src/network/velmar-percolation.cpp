// Percolation thresholds by one sweep of the voxels in increasing energy.
//
// The voxels are visited in the order (energy, index), a strict total order, so the result does
// not depend on the number of threads. They come in chunks of consecutive energy: a histogram of
// the passable values over logarithmic bins of the energy above the minimum, consecutive bins
// make a chunk of at most about N/64 voxels, and each chunk is gathered by a scan of the grid and
// sorted. This keeps the ordering's memory at a few per cent of the cube's instead of 4 bytes a
// voxel; the union-find below costs 6 bytes a voxel.
//
// Each visited voxel joins its visited face neighbours in a union-find whose roots hold minus
// their region's size and whose nodes hold their cell offset from their parent (from the root once
// the path is compressed). A face pair inside one region whose offsets disagree closes a loop
// around the periodic cell; its translation joins the region's lattice (kept only for regions
// that have one). When some region's lattice first reaches rank d, E_d is the current energy; the
// region's size and translations are read once every voxel of that energy has been visited.
#include "network/velmar-percolation.h"

#include <omp.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <unordered_map>
#include <vector>

#include "core/velmar-progress.h"
#include "core/velmar.h"
#include "network/velmar-lattice.h"
#include "network/velmar-offsets.h"
#include "network/velmar-voxel-grid.h"

namespace {

using velmar::detail::passable;
using velmar::detail::TranslationLattice;
using velmar::detail::VoxelGrid;

constexpr int32_t kInactive = INT32_MIN;
constexpr int kBins = 1 << 16;  // 16 bits of a non-negative double

struct Stats {
    int64_t passable = 0;
    int64_t finite = 0;
    double e_min = HUGE_VAL;
    double e_max = -HUGE_VAL;
};

Stats scan(const double *en, int64_t size) {
    Stats s;
    int64_t count = 0;
    int64_t finite = 0;
    double lo = HUGE_VAL;
    double hi = -HUGE_VAL;
#pragma omp parallel for schedule(static) reduction(+ : count, finite) reduction(min : lo) \
    reduction(max : hi)
    for (int64_t v = 0; v < size; ++v) {
        const double e = en[v];
        finite += std::isfinite(e) ? 1 : 0;
        if (!passable(e)) continue;
        ++count;
        lo = std::min(lo, e);
        hi = std::max(hi, e);
    }
    s.passable = count;
    s.finite = finite;
    s.e_min = lo;
    s.e_max = hi;
    return s;
}

// The passable voxels in the order (energy, index), handed out a sorted chunk at a time.
class Order {
  public:
    Order(const double *en, int64_t size, const Stats &stats)
        : en_(en), size_(size), e_min_(stats.e_min) {
        std::vector<int64_t> count(kBins, 0);
#pragma omp parallel
        {
            std::vector<int64_t> mine(kBins, 0);
#pragma omp for schedule(static)
            for (int64_t v = 0; v < size; ++v) {
                if (passable(en[v])) ++mine[bin(en[v])];
            }
#pragma omp critical
            for (int b = 0; b < kBins; ++b) count[b] += mine[b];
        }
        const int64_t target = std::max<int64_t>(size / 64, 1 << 16);
        int64_t held = 0;
        for (int b = 0; b < kBins; ++b) {
            if (held > 0 && held + count[b] > target) {
                first_bin_.push_back(b);
                held = 0;
            }
            held += count[b];
        }
        first_bin_.insert(first_bin_.begin(), 0);
        first_bin_.push_back(kBins);
    }

    int chunks() const { return static_cast<int>(first_bin_.size()) - 1; }

    // The voxels of chunk c, sorted. The buffers live as long as the order, so that the chunks
    // reuse their memory instead of faulting fresh pages in each time.
    void gather(int c, std::vector<int32_t> &out) {
        const int lo = first_bin_[c];
        const int hi = first_bin_[c + 1];
        out.clear();
        const int threads = omp_get_max_threads();
        part_.resize(static_cast<size_t>(threads));
#pragma omp parallel num_threads(threads)
        {
            std::vector<int32_t> &mine = part_[static_cast<size_t>(omp_get_thread_num())];
            mine.clear();
#pragma omp for schedule(static)
            for (int64_t v = 0; v < size_; ++v) {
                const double e = en_[v];
                if (!passable(e)) continue;
                const int b = bin(e);
                if (b >= lo && b < hi) mine.push_back(static_cast<int32_t>(v));
            }
        }
        for (const auto &p : part_) out.insert(out.end(), p.begin(), p.end());
        const double *en = en_;
        std::sort(out.begin(), out.end(), [en](int32_t x, int32_t y) {
            return en[x] < en[y] || (en[x] == en[y] && x < y);
        });
    }

  private:
    // The sign, exponent and first five mantissa bits of e - e_min (>= 0): monotone in e, since
    // the bits of non-negative doubles order as integers, and logarithmic, 32 bins an octave, so
    // that the few eV of interest get fine bins however high the landscape's top.
    int bin(double e) const { return static_cast<int>(std::bit_cast<uint64_t>(e - e_min_) >> 47); }

    const double *en_;
    int64_t size_;
    double e_min_;
    std::vector<int> first_bin_;
    std::vector<std::vector<int32_t>> part_;
};

template <class Offsets>
class Sweep {
  public:
    Sweep(const VoxelGrid &grid, const double *en, VELMAR_PERCOLATION &out)
        : grid_(grid),
          en_(en),
          out_(out),
          parent_(static_cast<size_t>(grid.size), kInactive),
          off_(grid.size) {}

    // False when an offset outgrew the store (the result is then incomplete).
    bool run(Order &order) {
        std::vector<int32_t> chunk;
        // The sweep stops once every dimension is reached, often well before the last chunk.
        velmar::Progress progress("percolation", order.chunks());
        for (int c = 0; c < order.chunks() && !done_; ++c) {
            progress.update(c);
            order.gather(c, chunk);
            for (const int32_t v : chunk) {
                if (!visit(v)) return false;
                if (done_) break;
            }
        }
        if (!done_ && pending_) return finalise();
        return !overflow_;
    }

  private:
    bool visit(int32_t v) {
        const double e = en_[v];
        if (pending_ && e > pending_energy_ && !finalise()) return false;
        if (done_) return true;
        parent_[static_cast<size_t>(v)] = -1;
        const int32_t zero[3] = {0, 0, 0};
        off_.set(v, zero);
        int32_t x[3];
        grid_.coords(v, x);
        for (int dir = 0; dir < 6; ++dir) {
            int32_t t[3];
            const int64_t w = grid_.neighbour(v, x, dir, t);
            if (parent_[static_cast<size_t>(w)] == kInactive) continue;
            unite(v, static_cast<int32_t>(w), t);
            if (overflow_) return false;
        }
        return true;
    }

    int32_t find(int32_t v, int32_t o[3]) {
        path_.clear();
        int32_t x = v;
        while (parent_[static_cast<size_t>(x)] >= 0) {
            path_.push_back(x);
            x = parent_[static_cast<size_t>(x)];
        }
        int32_t acc[3] = {0, 0, 0};
        for (auto it = path_.rbegin(); it != path_.rend(); ++it) {
            int32_t own[3];
            off_.get(*it, own);
            for (int r = 0; r < 3; ++r) acc[r] += own[r];
            parent_[static_cast<size_t>(*it)] = x;
            if (!off_.set(*it, acc)) overflow_ = true;
        }
        for (int r = 0; r < 3; ++r) o[r] = acc[r];
        return x;
    }

    // The face pair (u, w), w's image lying t cells from u's.
    void unite(int32_t u, int32_t w, const int32_t t[3]) {
        int32_t ou[3];
        int32_t ow[3];
        const int32_t ru = find(u, ou);
        const int32_t rw = find(w, ow);
        if (ru == rw) {
            const int64_t loop[3] = {int64_t{ou[0]} + t[0] - ow[0], int64_t{ou[1]} + t[1] - ow[1],
                                     int64_t{ou[2]} + t[2] - ow[2]};
            if (loop[0] == 0 && loop[1] == 0 && loop[2] == 0) return;
            TranslationLattice &lattice = lattices_[ru];
            if (lattice.add(loop)) reached(lattice.rank, u);
            return;
        }
        const int32_t size_u = -parent_[static_cast<size_t>(ru)];
        const int32_t size_w = -parent_[static_cast<size_t>(rw)];
        int32_t root = ru;
        int32_t child = rw;
        int32_t o[3];
        // The child root's offset from the new root, so that u and w keep their relative cells.
        if (size_u >= size_w) {
            for (int r = 0; r < 3; ++r) o[r] = ou[r] + t[r] - ow[r];
        } else {
            root = rw;
            child = ru;
            for (int r = 0; r < 3; ++r) o[r] = ow[r] - t[r] - ou[r];
        }
        parent_[static_cast<size_t>(root)] = -(size_u + size_w);
        parent_[static_cast<size_t>(child)] = root;
        if (!off_.set(child, o)) overflow_ = true;
        const auto moved = lattices_.find(child);
        if (moved == lattices_.end()) return;
        const TranslationLattice from = moved->second;
        lattices_.erase(moved);
        TranslationLattice &lattice = lattices_[root];
        const int before = lattice.rank;
        lattice.merge(from);
        if (lattice.rank > before) reached(lattice.rank, u);
    }

    void reached(int rank, int32_t v) {
        while (best_rank_ < rank) {
            VELMAR_PERCOLATION_LEVEL &level = out_.level[best_rank_];
            level.found = true;
            level.energy = en_[v];
            level.bottleneck = v;
            ++best_rank_;
            pending_ = true;
            pending_energy_ = en_[v];
        }
    }

    // Every voxel of the pending energy has been visited: read the regions of the new levels.
    bool finalise() {
        pending_ = false;
        for (int d = finalised_; d < best_rank_; ++d) {
            VELMAR_PERCOLATION_LEVEL &level = out_.level[d];
            int32_t o[3];
            const int32_t root = find(static_cast<int32_t>(level.bottleneck), o);
            level.voxels = -parent_[static_cast<size_t>(root)];
            const TranslationLattice &lattice = lattices_[root];
            level.rank = lattice.rank;
            for (int r = 0; r < 3; ++r)
                for (int c = 0; c < 3; ++c) level.basis[r][c] = lattice.row[r][c];
        }
        finalised_ = best_rank_;
        done_ = best_rank_ == 3;
        return !overflow_;
    }

    const VoxelGrid &grid_;
    const double *en_;
    VELMAR_PERCOLATION &out_;
    std::vector<int32_t> parent_;
    Offsets off_;
    std::unordered_map<int32_t, TranslationLattice> lattices_;
    std::vector<int32_t> path_;
    int best_rank_ = 0;
    int finalised_ = 0;
    bool pending_ = false;
    double pending_energy_ = 0.0;
    bool done_ = false;
    bool overflow_ = false;
};

void reset_levels(VELMAR_PERCOLATION &p) {
    for (VELMAR_PERCOLATION_LEVEL &level : p.level) level = VELMAR_PERCOLATION_LEVEL{};
}

}  // namespace

VELMAR_PERCOLATION *velmar_percolation_new() {
    auto *p = static_cast<VELMAR_PERCOLATION *>(std::calloc(1, sizeof(VELMAR_PERCOLATION)));
    if (p == nullptr) std::fputs("Error: unable to allocate VELMAR_PERCOLATION.\n", stderr);
    return p;
}

void velmar_percolation_free(VELMAR_PERCOLATION *percolation) { std::free(percolation); }

void velmar_percolation_directions(char *text, int size, const VELMAR_PERCOLATION_LEVEL *level) {
    if (size <= 0) return;
    text[0] = '\0';
    if (level == nullptr || !level->found) return;
    TranslationLattice lattice;
    lattice.rank = level->rank;
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) lattice.row[r][c] = level->basis[r][c];
    velmar::copy_text(text, static_cast<size_t>(size), lattice.text());
}

void velmar_percolation_print(const VELMAR_PERCOLATION *percolation) {
    if (percolation == nullptr) {
        std::printf("GH: (not allocated)\n");
        return;
    }
    const VELMAR_PERCOLATION &p = *percolation;
    const int64_t total = int64_t{p.n[0]} * p.n[1] * p.n[2];
    std::printf("GH: landscape minimum %.6f eV; %lld of %lld voxels passable (below %.1f).\n",
                p.e_min, static_cast<long long>(p.passable), static_cast<long long>(total),
                VELMAR_NETWORK_CAP);
    std::printf("GH: dimension  threshold(eV)  barrier(eV)     voxels  directions\n");
    for (int d = 0; d < 3; ++d) {
        const VELMAR_PERCOLATION_LEVEL &level = p.level[d];
        if (!level.found) {
            std::printf("GH: %8dD  %13s  %11s  %9s  %s\n", d + 1, "none", "none", "-", "-");
            continue;
        }
        char directions[256];
        velmar_percolation_directions(directions, sizeof directions, &level);
        std::printf("GH: %8dD  %13.6f  %11.6f  %9lld  %s\n", d + 1, level.energy, level.barrier,
                    static_cast<long long>(level.voxels), directions);
    }
}

int velmar_percolation_check_landscape(const VELMAR_CUBE *cube, double *e_min, double *e_max) {
    if (cube == nullptr || cube->en == nullptr) {
        std::fputs("Error: VELMAR_CUBE has not been properly initialized.\n", stderr);
        return 1;
    }
    const int64_t size = velmar::cube_size(cube);
    const Stats stats = scan(velmar::cube_values(cube), size);
    if (stats.finite == 0) {
        std::fputs("Error: the landscape holds no finite value.\n", stderr);
        return 1;
    }
    if (stats.passable == 0) {
        std::fprintf(stderr,
                     "Error: every voxel of the landscape lies at or above the cap %.1f; the ion "
                     "has nowhere to go.\n",
                     VELMAR_NETWORK_CAP);
        return 1;
    }
    if (stats.e_max - stats.e_min < VELMAR_NETWORK_FLAT) {
        std::fprintf(stderr,
                     "Error: the landscape is flat (every passable voxel at %.6f); it has no "
                     "barriers.\n",
                     stats.e_min);
        return 1;
    }
    if (stats.finite < size) {
        std::printf(
            "Warning: %lld voxels of the landscape hold no finite value; they are taken as "
            "impassable.\n",
            static_cast<long long>(size - stats.finite));
    }
    if (e_min != nullptr) *e_min = stats.e_min;
    if (e_max != nullptr) *e_max = stats.e_max;
    return 0;
}

VELMAR_PERCOLATION *velmar_percolation_calculate(const VELMAR_CUBE *cube) {
    if (!velmar::detail::network_cube_ok(cube)) return nullptr;
    const VoxelGrid grid(*cube);
    velmar::Owned<VELMAR_PERCOLATION, velmar_percolation_free> p(velmar_percolation_new());
    if (!p) {
        VELMAR_ERROR_NULL(velmar_percolation_new);
        return nullptr;
    }
    const double *en = velmar::cube_values(cube);
    if (velmar_percolation_check_landscape(cube, nullptr, nullptr) != 0) {
        VELMAR_ERROR_NONZERO(velmar_percolation_check_landscape);
        return nullptr;
    }
    try {
        const Stats stats = scan(en, grid.size);
        for (int r = 0; r < 3; ++r) p->n[r] = grid.n[r];
        p->e_min = stats.e_min;
        p->e_max = stats.e_max;
        p->passable = stats.passable;
        Order order(en, grid.size, stats);
        bool complete = false;
        {
            Sweep<velmar::detail::PackedOffsets> sweep(grid, en, *p);
            complete = sweep.run(order);
        }
        if (!complete) {
            // Some region's cell offsets outgrew 16 bits: again with wide offsets.
            reset_levels(*p);
            Sweep<velmar::detail::WideOffsets> sweep(grid, en, *p);
            sweep.run(order);
        }
    } catch (const std::bad_alloc &) {
        std::fputs("Error: unable to allocate the arrays of the percolation sweep.\n", stderr);
        return nullptr;
    }
    for (VELMAR_PERCOLATION_LEVEL &level : p->level) {
        if (level.found) level.barrier = level.energy - p->e_min;
    }
    return p.release();
}
