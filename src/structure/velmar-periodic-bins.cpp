// Fractional-grid bins of periodic points and the periodic distance.
#include "structure/velmar-periodic-bins.h"

#include <algorithm>

#include "core/velmar-la.h"

namespace velmar {

PeriodicBins::PeriodicBins(const double a[3][3], const std::vector<std::array<double, 3>> &points,
                           double reach) {
    velmar_matrix33_double_copy(a_, a);
    const double volume = std::fabs(velmar_matrix33_double_determinant(a));
    for (int r = 0; r < 3; ++r) {
        double normal[3];
        velmar_vector3_double_cross(normal, a[(r + 1) % 3], a[(r + 2) % 3]);
        const double sign = velmar_vector3_double_dot(normal, a[r]) < 0.0 ? -1.0 : 1.0;
        for (int c = 0; c < 3; ++c) reciprocal_[r][c] = sign * normal[c] / volume;
        thickness_[r] = volume / velmar_vector3_double_length(normal);
        const double n = reach > 0.0 ? std::floor(thickness_[r] * kSpan / reach) : 1.0;
        bins_[r] = static_cast<int>(std::clamp(n, 1.0, 512.0));
    }
    // No more bins than a few per point: a short reach must not cost memory.
    const double cap = std::max(27.0, 4.0 * static_cast<double>(points.size()));
    while (static_cast<double>(bins_[0]) * bins_[1] * bins_[2] > cap) {
        int widest = 0;
        for (int r = 1; r < 3; ++r) {
            if (bins_[r] > bins_[widest]) widest = r;
        }
        bins_[widest] = (bins_[widest] + 1) / 2;
    }
    const size_t total = static_cast<size_t>(bins_[0]) * bins_[1] * bins_[2];
    std::vector<size_t> bin(points.size());
    std::vector<size_t> count(total + 1, 0);
    for (size_t p = 0; p < points.size(); ++p) {
        int b[3];
        bin_of(points[p].data(), b);
        bin[p] = (static_cast<size_t>(b[0]) * bins_[1] + b[1]) * bins_[2] + b[2];
        ++count[bin[p] + 1];
    }
    start_.assign(total + 1, 0);
    for (size_t b = 0; b < total; ++b) start_[b + 1] = start_[b] + count[b + 1];
    index_.resize(points.size());
    std::vector<size_t> next(start_.begin(), start_.end() - 1);
    for (size_t p = 0; p < points.size(); ++p) index_[next[bin[p]]++] = static_cast<int32_t>(p);
}

void PeriodicBins::bin_of(const double x[3], int b[3]) const {
    for (int r = 0; r < 3; ++r) {
        double f = velmar_vector3_double_dot(reciprocal_[r], x);
        f -= std::floor(f);
        b[r] = std::min(static_cast<int>(f * bins_[r]), bins_[r] - 1);
    }
}

void PeriodicBins::sort(std::vector<int32_t> &found) { std::sort(found.begin(), found.end()); }

double PeriodicBins::distance(const double x1[3], const double x2[3], double limit) const {
    // The image x1 + i a0 + j a1 + k a2 lies |f_r + shift_r| thickness_r or more from x2 across the
    // faces of axis r (f the fractional coordinates of x1 - x2); images whose bound is not below
    // the best distance found cannot be nearer and are skipped.
    double f[3];
    double diff[3];
    for (int r = 0; r < 3; ++r) diff[r] = x1[r] - x2[r];
    for (int r = 0; r < 3; ++r) f[r] = velmar_vector3_double_dot(reciprocal_[r], diff);
    double gap[3][3];  // gap[r][shift + 1]
    for (int r = 0; r < 3; ++r) {
        for (int s = -1; s <= 1; ++s) gap[r][s + 1] = std::fabs(f[r] + s) * thickness_[r];
    }
    const auto image_distance = [&](int i, int j, int k) {
        if (i == 0 && j == 0 && k == 0) return velmar_vector3_double_distance(x1, x2);
        double image[3];
        for (int r = 0; r < 3; ++r) image[r] = x1[r] + i * a_[0][r] + j * a_[1][r] + k * a_[2][r];
        return velmar_vector3_double_distance(image, x2);
    };
    // Start from the image of the nearest shifts, then look at the others that could beat it.
    int near[3];
    for (int r = 0; r < 3; ++r)
        near[r] = static_cast<int>(std::clamp(-std::nearbyint(f[r]), -1.0, 1.0));
    double best = image_distance(near[0], near[1], near[2]);
    // A bound at or beyond the cut (with a margin for rounding in the bound) rules an image out.
    const auto out = [&](double g) {
        const double cut = std::min(best, limit);
        return g >= cut * (1.0 + 1e-12) + 1e-12;
    };
    for (int i = -1; i <= 1; ++i) {
        const double g0 = gap[0][i + 1];
        if (out(g0)) continue;
        for (int j = -1; j <= 1; ++j) {
            const double g1 = std::max(g0, gap[1][j + 1]);
            if (out(g1)) continue;
            for (int k = -1; k <= 1; ++k) {
                if (out(std::max(g1, gap[2][k + 1]))) continue;
                if (i == near[0] && j == near[1] && k == near[2]) continue;
                best = std::min(best, image_distance(i, j, k));
            }
        }
    }
    return best;
}

}  // namespace velmar
