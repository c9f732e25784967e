// Percolation thresholds by the definition, as the test oracle and the benchmark's baseline for the
// voxel sweep: at a trial energy, flood-fill every region of passable voxels with energy <= it
// (face neighbours, periodic), giving each voxel the cell offset of the path that reached it; a
// face between two voxels of one region whose offsets disagree is a loop, and the rank of a
// region's loop translations is its dimensionality. The threshold of dimension d is then found by
// bisection over the sorted distinct voxel values. No union-find, no ordering by energy.
#ifndef VELMAR_ORACLE_NETWORK_H
#define VELMAR_ORACLE_NETWORK_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "landscape/velmar-cube.h"

namespace velmar_oracle {

// Loop translations of one region, kept while they are independent over the rationals.
struct Span {
    std::vector<std::array<int64_t, 3>> basis;

    void add(const std::array<int64_t, 3> &v) {
        if (v == std::array<int64_t, 3>{0, 0, 0} || basis.size() == 3) return;
        if (basis.size() == 1) {
            const auto &b = basis[0];
            const int64_t c[3] = {b[1] * v[2] - b[2] * v[1], b[2] * v[0] - b[0] * v[2],
                                  b[0] * v[1] - b[1] * v[0]};
            if (c[0] == 0 && c[1] == 0 && c[2] == 0) return;
        } else if (basis.size() == 2) {
            const auto &a = basis[0];
            const auto &b = basis[1];
            const int64_t det = a[0] * (b[1] * v[2] - b[2] * v[1]) -
                                a[1] * (b[0] * v[2] - b[2] * v[0]) +
                                a[2] * (b[0] * v[1] - b[1] * v[0]);
            if (det == 0) return;
        }
        basis.push_back(v);
    }
    int rank() const { return static_cast<int>(basis.size()); }
};

inline bool oracle_passable(double e) { return std::isfinite(e) && e < 999.9; }

// The largest rank over the regions at this level.
inline int percolation_rank(const VELMAR_CUBE &cube, double level) {
    const int64_t n0 = cube.n[0];
    const int64_t n1 = cube.n[1];
    const int64_t n2 = cube.n[2];
    const int64_t size = n0 * n1 * n2;
    const double *en = cube.en[0][0];
    std::vector<int32_t> region(static_cast<size_t>(size), -1);
    std::vector<std::array<int64_t, 3>> offset(static_cast<size_t>(size));
    std::vector<int64_t> queue;
    int best = 0;
    int32_t regions = 0;
    for (int64_t start = 0; start < size; ++start) {
        if (region[start] >= 0 || !oracle_passable(en[start]) || en[start] > level) continue;
        Span span;
        region[start] = regions;
        offset[start] = {0, 0, 0};
        queue.assign(1, start);
        for (size_t head = 0; head < queue.size(); ++head) {
            const int64_t v = queue[head];
            const int64_t x[3] = {v / (n1 * n2), (v / n2) % n1, v % n2};
            const int64_t n[3] = {n0, n1, n2};
            for (int r = 0; r < 3; ++r) {
                for (int step = -1; step <= 1; step += 2) {
                    int64_t y[3] = {x[0], x[1], x[2]};
                    std::array<int64_t, 3> o = offset[v];
                    y[r] += step;
                    if (y[r] < 0) {
                        y[r] += n[r];
                        o[r] -= 1;
                    } else if (y[r] >= n[r]) {
                        y[r] -= n[r];
                        o[r] += 1;
                    }
                    const int64_t w = (y[0] * n1 + y[1]) * n2 + y[2];
                    if (!oracle_passable(en[w]) || en[w] > level) continue;
                    if (region[w] < 0) {
                        region[w] = regions;
                        offset[w] = o;
                        queue.push_back(w);
                    } else {
                        span.add({o[0] - offset[w][0], o[1] - offset[w][1], o[2] - offset[w][2]});
                    }
                }
            }
        }
        best = std::max(best, span.rank());
        ++regions;
    }
    return best;
}

// E_1, E_2, E_3 by bisection (NAN where the landscape never percolates in that dimension), and
// the number of flood fills spent in fills.
inline std::array<double, 3> percolation_thresholds(const VELMAR_CUBE &cube, int *fills = nullptr) {
    const int64_t size = int64_t{cube.n[0]} * cube.n[1] * cube.n[2];
    std::vector<double> values;
    for (int64_t v = 0; v < size; ++v) {
        if (oracle_passable(cube.en[0][0][v])) values.push_back(cube.en[0][0][v]);
    }
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
    std::array<double, 3> out = {NAN, NAN, NAN};
    int count = 0;
    if (values.empty()) return out;
    for (int d = 1; d <= 3; ++d) {
        // The smallest index whose level reaches rank d; the rank only grows with the level.
        size_t lo = 0;
        size_t hi = values.size();
        while (lo < hi) {
            const size_t mid = lo + (hi - lo) / 2;
            ++count;
            if (percolation_rank(cube, values[mid]) >= d) {
                hi = mid;
            } else {
                lo = mid + 1;
            }
        }
        if (lo < values.size()) out[d - 1] = values[lo];
    }
    if (fills != nullptr) *fills = count;
    return out;
}

}  // namespace velmar_oracle

#endif  // VELMAR_ORACLE_NETWORK_H
