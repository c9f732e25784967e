// Curvature of a landscape at a voxel by finite differences on its own grid: second differences
// along and across the three grid axes, turned into the cartesian second-derivative matrix. It is
// exact for a quadratic landscape on any (also oblique) grid, needs no interpolation and cannot
// ring the way a spectral second derivative can next to a stiff region, which makes it the safe
// curvature at a landscape's minima. Energies in eV, lengths in A, curvature in eV/A^2.
#ifndef VELMAR_CUBE_CURVATURE_H
#define VELMAR_CUBE_CURVATURE_H

#include <cstdint>

#include "landscape/velmar-cube.h"

// k = the cartesian second derivatives at voxel x_i (indices taken periodically). 0 on success, 1
// when the grid steps are degenerate or a value needed is not finite (k is then zero).
int velmar_cube_curvature_at(double k[3][3], const VELMAR_CUBE *cube, const long x_i[3]);

namespace velmar::detail {
// The same on flat values (element (i, j, k) at ((i n[1] + j) n[2] + k) * stride), so that the
// real parts of a complex grid serve as well (stride 2).
int curvature_at(double k[3][3], const double *values, int stride, const int32_t n[3],
                 const double a_i[3][3], const long x_i[3]);
}  // namespace velmar::detail

#endif  // VELMAR_CUBE_CURVATURE_H
