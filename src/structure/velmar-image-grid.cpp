// Binning of periodic images.
#include "structure/velmar-image-grid.h"

#include "core/velmar-la.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velmar {

namespace {
constexpr size_t kMaxImages = 50'000'000;  // far beyond any real cell and interaction range
constexpr size_t kMaxBins = 8'000'000;
}  // namespace

ImageGrid::ImageGrid(const VELMAR_CELL &cell, const int n[3], double reach, const double lo[3],
                     const double hi[3])
    : reach_(reach) {
    build(cell, n, lo, hi);
}

ImageGrid::ImageGrid(const VELMAR_CELL &cell, const int n[3], double reach) : reach_(reach) {
    double lo[3] = {std::numeric_limits<double>::max(), std::numeric_limits<double>::max(),
                    std::numeric_limits<double>::max()};
    double hi[3] = {std::numeric_limits<double>::lowest(), std::numeric_limits<double>::lowest(),
                    std::numeric_limits<double>::lowest()};
    for (int32_t a = 0; a < cell.total; ++a) {
        for (int r = 0; r < 3; ++r) {
            lo[r] = std::min(lo[r], cell.atom[a].x[r]);
            hi[r] = std::max(hi[r], cell.atom[a].x[r]);
        }
    }
    build(cell, n, lo, hi);
}

void ImageGrid::build(const VELMAR_CELL &cell, const int n[3], const double lo[3],
                      const double hi[3]) {
    const size_t shifts = static_cast<size_t>(2 * n[0] + 1) * (2 * n[1] + 1) * (2 * n[2] + 1);
    if (cell.total < 1 || !(reach_ > 0.0) ||
        shifts * static_cast<size_t>(cell.total) > kMaxImages) {
        return;
    }
    shifts_ = static_cast<int32_t>(shifts);
    // Only images inside the query box grown by the reach can ever be visited.
    double box_lo[3];
    double box_hi[3];
    for (int r = 0; r < 3; ++r) {
        box_lo[r] = lo[r] - reach_;
        box_hi[r] = hi[r] + reach_;
        origin_[r] = box_lo[r];
    }
    // Bins of half the reach, or wider for sparse atoms (about 2.5 atoms a bin), so that a query
    // neither visits many empty bins nor many atoms out of reach; coarser still when there would be
    // too many bins.
    const double volume = std::fabs(velmar_matrix33_double_determinant(cell.a));
    const double per_atom = volume / static_cast<double>(cell.total);
    size_ = std::max(reach_ / 2.0, std::cbrt(2.5 * per_atom));
    size_t total_bins = 0;
    while (true) {
        total_bins = 1;
        for (int r = 0; r < 3; ++r) {
            bins_[r] = static_cast<int>((box_hi[r] - box_lo[r]) / size_) + 1;
            total_bins *= static_cast<size_t>(bins_[r]);
        }
        if (total_bins <= kMaxBins) break;
        size_ *= 2.0;
    }
    inverse_ = 1.0 / size_;
    // Two passes over the images: count per bin, then place (a counting sort that keeps the
    // order of the images within a bin).
    const auto for_each_image = [&](auto &&use) {
        for (int32_t a = 0; a < cell.total; ++a) {
            int32_t shift = 0;
            for (int l = -n[0]; l <= n[0]; ++l) {
                for (int m = -n[1]; m <= n[1]; ++m) {
                    for (int k = -n[2]; k <= n[2]; ++k, ++shift) {
                        Point p{};
                        p.atom = a;
                        p.shift = shift;
                        bool inside = true;
                        for (int r = 0; r < 3; ++r) {
                            p.x[r] = l * cell.a[0][r] + m * cell.a[1][r] + k * cell.a[2][r] +
                                     cell.atom[a].x[r];
                            inside = inside && p.x[r] >= box_lo[r] && p.x[r] <= box_hi[r];
                        }
                        if (!inside) continue;
                        size_t b = 0;
                        for (int r = 0; r < 3; ++r) b = b * bins_[r] + bin_of(p.x[r], r);
                        use(p, b);
                    }
                }
            }
        }
    };
    start_.assign(total_bins + 1, 0);
    for_each_image([&](const Point &, size_t b) { ++start_[b + 1]; });
    for (size_t b = 0; b < total_bins; ++b) start_[b + 1] += start_[b];
    points_.resize(start_[total_bins]);
    std::vector<size_t> next(start_.begin(), start_.end() - 1);
    for_each_image([&](const Point &p, size_t b) { points_[next[b]++] = p; });
    ok_ = true;
}

}  // namespace velmar
