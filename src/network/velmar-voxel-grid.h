// Face neighbours on a periodic voxel grid, as the network algorithms walk it: voxel (i, j, k) has
// index (i n1 + j) n2 + k (the cube's value order) and six face neighbours; a step across a cell
// face wraps the index and crosses a lattice translation of +-1 along that axis. Energies at or
// above the cap, and non-finite ones, mark voxels the ion cannot enter.
#ifndef VELMAR_VOXEL_GRID_H
#define VELMAR_VOXEL_GRID_H

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "landscape/velmar-cube.h"
#include "network/velmar-percolation.h"

namespace velmar::detail {

inline bool passable(double e) { return std::isfinite(e) && e < VELMAR_NETWORK_CAP; }

// True when the network algorithms can take the cube: it has values, and few enough voxels for
// 32-bit voxel indices; otherwise an error line and false.
inline bool network_cube_ok(const VELMAR_CUBE *cube) {
    if (cube == nullptr || cube->en == nullptr) {
        std::fputs("Error: VELMAR_CUBE has not been properly initialized.\n", stderr);
        return false;
    }
    const int64_t size = int64_t{cube->n[0]} * cube->n[1] * cube->n[2];
    if (size >= INT32_MAX) {
        std::fprintf(stderr, "Error: a landscape of %lld voxels is too large to analyse.\n",
                     static_cast<long long>(size));
        return false;
    }
    return true;
}

struct VoxelGrid {
    int32_t n[3];
    int64_t size;
    int64_t stride[3];

    explicit VoxelGrid(const VELMAR_CUBE &cube)
        : n{cube.n[0], cube.n[1], cube.n[2]},
          size(int64_t{cube.n[0]} * cube.n[1] * cube.n[2]),
          stride{int64_t{cube.n[1]} * cube.n[2], cube.n[2], 1} {}

    void coords(int64_t v, int32_t x[3]) const {
        x[0] = static_cast<int32_t>(v / stride[0]);
        const int64_t rest = v - x[0] * stride[0];
        x[1] = static_cast<int32_t>(rest / n[2]);
        x[2] = static_cast<int32_t>(rest - int64_t{x[1]} * n[2]);
    }

    // The neighbour of voxel v (at x) in direction dir: 0, 1 for -a, +a; 2, 3 for -b, +b; 4, 5
    // for -c, +c. t receives the cell translation of that neighbour's image relative to v's cell.
    int64_t neighbour(int64_t v, const int32_t x[3], int dir, int32_t t[3]) const {
        const int r = dir >> 1;
        t[0] = t[1] = t[2] = 0;
        if ((dir & 1) != 0) {
            if (x[r] + 1 < n[r]) return v + stride[r];
            t[r] = 1;
            return v - (n[r] - 1) * stride[r];
        }
        if (x[r] > 0) return v - stride[r];
        t[r] = -1;
        return v + (n[r] - 1) * stride[r];
    }
};

}  // namespace velmar::detail

#endif  // VELMAR_VOXEL_GRID_H
