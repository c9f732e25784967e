// Periodic images of a cell's atoms binned on a cartesian grid, so that the partners of an atom
// within a given reach are found by visiting a few bins instead of every atom and every image.
// The images are exactly those of the straightforward sums: shifts l a0 + m a1 + n a2 with |l| <=
// n[0], |m| <= n[1], |n| <= n[2]. Distances in angstrom.
#ifndef VELMAR_IMAGE_GRID_H
#define VELMAR_IMAGE_GRID_H

#include <cmath>
#include <cstdint>
#include <vector>

#include "velmar-cell.h"

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
        int lo[2];
        int hi[2];
        for (int r = 0; r < 2; ++r) {
            lo[r] = bin_of(x[r] - reach_, r);
            hi[r] = bin_of(x[r] + reach_, r);
        }
        for (int i = lo[0]; i <= hi[0]; ++i) {
            const double gx = gap(x[0], i, 0);
            for (int j = lo[1]; j <= hi[1]; ++j) {
                const double gy = gap(x[1], j, 1);
                const double left = reach2 - gx * gx - gy * gy;
                if (left < 0.0) continue;  // the whole column of bins is out of reach
                const double half = std::sqrt(left);
                const int k0 = bin_of(x[2] - half, 2);
                const int k1 = bin_of(x[2] + half, 2);
                const size_t row = (static_cast<size_t>(i) * bins_[1] + j) * bins_[2];
                const size_t first = start_[row + k0];
                const size_t last = start_[row + k1 + 1];
                for (size_t p = first; p < last; ++p) visit_point(points_[p]);
            }
        }
    }

  private:
    void build(const VELMAR_CELL &cell, const int n[3], const double lo[3], const double hi[3]);
    int clamp(int b, int r) const { return b < 0 ? 0 : (b >= bins_[r] ? bins_[r] - 1 : b); }
    int bin_of(double x, int r) const {
        return clamp(static_cast<int>(std::floor((x - origin_[r]) / size_)), r);
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
    double size_ = 1.0;  // bin edge
    double origin_[3] = {};
    int bins_[3] = {1, 1, 1};
    std::vector<size_t> start_;  // first point of each bin (bins in i, j, k order), and the end
    std::vector<Point> points_;  // sorted by bin
};

}  // namespace velmar

#endif  // VELMAR_IMAGE_GRID_H
