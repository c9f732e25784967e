// Periodic images of a cell's atoms binned on a cartesian grid, so that the partners of an atom
// within a given reach are found by visiting a few bins instead of every atom and every image.
// The images are exactly those of the straightforward sums: shifts l a0 + m a1 + n a2 with |l| <=
// n[0], |m| <= n[1], |n| <= n[2]. Distances in angstrom.
#ifndef VELMAR_IMAGE_GRID_H
#define VELMAR_IMAGE_GRID_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "structure/velmar-cell.h"

namespace velmar {

class ImageGrid {
  public:
    struct Point {
        double x[3];    // cartesian position of the image
        int32_t atom;   // index of the atom in the cell
        int32_t shift;  // index of the lattice shift; shifts() - 1 - shift is the opposite one
    };

    // Images of every atom of the cell within the given shift ranges, binned for queries from
    // positions inside the box [lo, hi] up to `reach` away; images that no such query can reach
    // are left out. Throws nothing; check ok() (false for an absurd number of images).
    ImageGrid(const VELMAR_CELL &cell, const int n[3], double reach, const double lo[3],
              const double hi[3]);
    // The same for queries from the atoms of the cell themselves.
    ImageGrid(const VELMAR_CELL &cell, const int n[3], double reach);

    bool ok() const { return ok_; }
    // Number of lattice shifts; shift (shifts() - 1) / 2 is the zero shift.
    int32_t shifts() const { return shifts_; }

    // Calls visit(point) for every image in the bins that come within reach of x (a staircase
    // around the sphere of that radius), in a fixed order. The caller tests the distance.
    template <class Visit>
    void visit(const double x[3], Visit visit_point) const {
        const double reach2 = reach_ * reach_;
        const int i0 = bin_of(x[0] - reach_, 0);
        const int i1 = bin_of(x[0] + reach_, 0);
        const int j0 = bin_of(x[1] - reach_, 1);
        const int j1 = bin_of(x[1] + reach_, 1);
        // Squared distances from x to each column of bins along the second axis.
        double gy2[kMaxSpan];
        const int span = std::min(j1 - j0 + 1, kMaxSpan);
        for (int j = 0; j < span; ++j) {
            const double g = gap(x[1], j0 + j, 1);
            gy2[j] = g * g;
        }
        for (int i = i0; i <= i1; ++i) {
            const double gx = gap(x[0], i, 0);
            const double left_x = reach2 - gx * gx;
            const size_t plane = static_cast<size_t>(i) * bins_[1];
            for (int j = j0; j <= j1; ++j) {
                const double left = left_x - (j - j0 < span ? gy2[j - j0] : 0.0);
                if (left < 0.0) continue;  // the whole column of bins is out of reach
                const double half = std::sqrt(left);
                const int k0 = bin_of(x[2] - half, 2);
                const int k1 = bin_of(x[2] + half, 2);
                const size_t row = (plane + j) * bins_[2];
                const size_t last = start_[row + k1 + 1];
                for (size_t p = start_[row + k0]; p < last; ++p) visit_point(points_[p]);
            }
        }
    }

  private:
    void build(const VELMAR_CELL &cell, const int n[3], const double lo[3], const double hi[3]);
    int clamp(int b, int r) const { return b < 0 ? 0 : (b >= bins_[r] ? bins_[r] - 1 : b); }
    // The bin along axis r that holds coordinate x, clamped to the grid (truncation is floor for
    // the values that are not clamped).
    int bin_of(double x, int r) const {
        const double t = (x - origin_[r]) * inverse_;
        if (!(t > 0.0)) return 0;
        if (t >= bins_[r]) return bins_[r] - 1;
        return static_cast<int>(t);
    }
    // Distance along axis r from x to bin b (0 inside it).
    double gap(double x, int b, int r) const {
        const double low = origin_[r] + b * size_;
        if (x < low) return low - x;
        const double high = low + size_;
        return x > high ? x - high : 0.0;
    }

    bool ok_ = false;
    int32_t shifts_ = 0;
    double reach_ = 0.0;
    static constexpr int kMaxSpan = 64;  // bins across a query; wider spans read no column gap
    double size_ = 1.0;                  // bin edge
    double inverse_ = 1.0;               // 1 / size_
    double origin_[3] = {};
    int bins_[3] = {1, 1, 1};
    std::vector<size_t> start_;  // first point of each bin (bins in i, j, k order), and the end
    std::vector<Point> points_;  // sorted by bin
};

}  // namespace velmar

#endif  // VELMAR_IMAGE_GRID_H
