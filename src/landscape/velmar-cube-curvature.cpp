// Finite-difference curvature of a landscape at a voxel.
#include "landscape/velmar-cube-curvature.h"

#include <cmath>

#include "core/velmar-la.h"
#include "core/velmar-solver.h"

namespace {

struct Grid {
    const double *values;
    int stride;
    const int32_t *n;
    double at(const long x[3], int r, int dr, int s, int ds) const {
        long y[3] = {x[0], x[1], x[2]};
        y[r] += dr;
        y[s] += ds;
        for (int c = 0; c < 3; ++c) y[c] = velmar_mod_long(y[c], n[c]);
        return values[((y[0] * n[1] + y[1]) * n[2] + y[2]) * stride];
    }
};

}  // namespace

int velmar_cube_curvature_at(double k[3][3], const VELMAR_CUBE *cube, const long x_i[3]) {
    if (cube == nullptr || cube->en == nullptr) {
        for (int r = 0; r < 3; ++r) {
            for (int s = 0; s < 3; ++s) k[r][s] = 0.0;
        }
        return 1;
    }
    return velmar::detail::curvature_at(k, velmar::cube_values(cube), 1, cube->n, cube->a_i, x_i);
}

int velmar::detail::curvature_at(double k[3][3], const double *values, int stride,
                                 const int32_t n[3], const double a_i[3][3], const long x_i[3]) {
    for (int r = 0; r < 3; ++r) {
        for (int s = 0; s < 3; ++s) k[r][s] = 0.0;
    }
    for (int r = 0; r < 3; ++r) {
        if (n[r] < 3) return 1;
    }
    const Grid grid{values, stride, n};
    const auto value_at = [&grid](const long x[3], int r, int dr, int s, int ds) {
        return grid.at(x, r, dr, s, ds);
    };
    // D[r][s]: second derivatives with respect to voxel steps along axes r and s.
    double D[3][3];
    const double centre = value_at(x_i, 0, 0, 0, 0);
    for (int r = 0; r < 3; ++r) {
        D[r][r] = value_at(x_i, r, 1, r, 0) - 2.0 * centre + value_at(x_i, r, -1, r, 0);
        for (int s = r + 1; s < 3; ++s) {
            D[r][s] = D[s][r] = (value_at(x_i, r, 1, s, 1) - value_at(x_i, r, 1, s, -1) -
                                 value_at(x_i, r, -1, s, 1) + value_at(x_i, r, -1, s, -1)) /
                                4.0;
        }
    }
    // A step n (in voxels) is the displacement d = A^T n with the voxel steps as the rows of A, so
    // D = A H A^T and H = A^-1 D A^-T.
    double inv[3][3];
    if (velmar_matrix33_double_inverse(inv, a_i) != 0) return 1;
    double H[3][3];
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            double sum = 0.0;
            for (int r = 0; r < 3; ++r) {
                for (int s = 0; s < 3; ++s) sum += inv[i][r] * D[r][s] * inv[j][s];
            }
            H[i][j] = sum;
        }
    }
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            if (!std::isfinite(H[i][j])) return 1;
        }
    }
    velmar_matrix33_double_copy(k, H);
    return 0;
}
