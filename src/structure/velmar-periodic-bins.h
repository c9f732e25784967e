// Points of a periodic cell sorted into bins of its fractional grid, so that the points within a
// given distance of a position are found by visiting the bins around it instead of every point;
// and the periodic distance of two points (the nearest of the 27 images by -1, 0, 1 lattice
// translations, the same value velmar_dot_distance gives) computed from the few images that can
// be nearest.
#ifndef VELMAR_PERIODIC_BINS_H
#define VELMAR_PERIODIC_BINS_H

#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

namespace velmar {

class PeriodicBins {
  public:
    // Lattice vectors as rows; queries reach up to `reach` (A). Positions are cartesian.
    PeriodicBins(const double a[3][3], const std::vector<std::array<double, 3>> &points,
                 double reach);

    // Calls visit(index) once for every point whose bin lies within reach of x's bin, in
    // increasing index order; `found` is scratch space (one per thread).
    template <class Visit>
    void visit(const double x[3], std::vector<int32_t> &found, Visit visit_index) const {
        int b[3];
        bin_of(x, b);
        found.clear();
        int range[3][2 * kSpan + 1];
        int count[3];
        for (int r = 0; r < 3; ++r) {
            if (bins_[r] < 2 * kSpan + 1) {
                count[r] = bins_[r];
                for (int c = 0; c < bins_[r]; ++c) range[r][c] = c;
            } else {
                count[r] = 2 * kSpan + 1;
                for (int c = 0; c < count[r]; ++c)
                    range[r][c] = (b[r] + c - kSpan + bins_[r]) % bins_[r];
            }
        }
        for (int i = 0; i < count[0]; ++i) {
            for (int j = 0; j < count[1]; ++j) {
                for (int k = 0; k < count[2]; ++k) {
                    const size_t bin =
                        (static_cast<size_t>(range[0][i]) * bins_[1] + range[1][j]) * bins_[2] +
                        range[2][k];
                    found.insert(found.end(), index_.begin() + static_cast<long>(start_[bin]),
                                 index_.begin() + static_cast<long>(start_[bin + 1]));
                }
            }
        }
        sort(found);
        for (int32_t index : found) visit_index(index);
    }

    // The periodic distance of x1 and x2 (velmar_dot_distance's value, to the bit) when it is below
    // limit; otherwise some value not below limit.
    double distance(const double x1[3], const double x2[3], double limit) const;

  private:
    static constexpr int kSpan = 2;  // bins visited on each side; bins are reach / kSpan wide
    void bin_of(const double x[3], int b[3]) const;
    static void sort(std::vector<int32_t> &found);

    double a_[3][3];
    double reciprocal_[3][3];  // rows: fractional coordinate r of x is reciprocal_[r] . x
    double thickness_[3];      // distance between the cell's faces across each axis
    int bins_[3];
    std::vector<size_t> start_;   // first entry of each bin in index_
    std::vector<int32_t> index_;  // point indices, bin by bin
};

}  // namespace velmar

#endif  // VELMAR_PERIODIC_BINS_H
