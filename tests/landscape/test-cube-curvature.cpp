// Finite-difference curvature: exact for quadratic landscapes on oblique grids.
#include "landscape/velmar-cube-curvature.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

namespace {

TEST(CubeCurvature, RecoversAQuadraticOnAHexagonalGridAndRefusesBadCubes) {
    // A hexagonal cell (gamma 120) with 12 x 12 x 10 voxels; E = 1/2 d^T H d + g.d about voxel
    // (5, 7, 3), d the cartesian offset (the linear term must not leak into the curvature).
    const double H[3][3] = {{2.0, 0.3, -0.4}, {0.3, 1.5, 0.2}, {-0.4, 0.2, 3.0}};
    const double g[3] = {0.5, -0.2, 0.1};
    std::unique_ptr<VELMAR_CUBE, void (*)(VELMAR_CUBE *)> cube(velmar_cube_new(12, 12, 10),
                                                               velmar_cube_free);
    const double a[3][3] = {
        {3.6, 0.0, 0.0}, {-1.8, 3.6 * std::sqrt(3.0) / 2.0, 0.0}, {0.0, 0.0, 3.9}};
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            cube->a[r][c] = a[r][c];
            cube->a_i[r][c] = a[r][c] / cube->n[r];
        }
    }
    const long centre[3] = {5, 7, 3};
    for (int i = 0; i < 12; ++i) {
        for (int j = 0; j < 12; ++j) {
            for (int k = 0; k < 10; ++k) {
                const long n[3] = {i - centre[0], j - centre[1], k - centre[2]};
                double d[3] = {0.0, 0.0, 0.0};
                for (int r = 0; r < 3; ++r) {
                    for (int c = 0; c < 3; ++c) d[c] += n[r] * cube->a_i[r][c];
                }
                double e = 0.0;
                for (int r = 0; r < 3; ++r) {
                    e += g[r] * d[r];
                    for (int c = 0; c < 3; ++c) e += 0.5 * d[r] * H[r][c] * d[c];
                }
                cube->en[i][j][k] = e;
            }
        }
    }
    double k[3][3];
    ASSERT_EQ(velmar_cube_curvature_at(k, cube.get(), centre), 0);
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) EXPECT_NEAR(k[r][c], H[r][c], 1e-9) << r << c;
    }

    cube->en[6][7][3] = NAN;
    EXPECT_EQ(velmar_cube_curvature_at(k, cube.get(), centre), 1);
    EXPECT_EQ(k[0][0], 0.0);
    cube->en[6][7][3] = 0.0;
    for (double &c : cube->a_i[2]) c = 0.0;  // flat cell
    EXPECT_EQ(velmar_cube_curvature_at(k, cube.get(), centre), 1);
    EXPECT_EQ(velmar_cube_curvature_at(k, nullptr, centre), 1);
}

}  // namespace
