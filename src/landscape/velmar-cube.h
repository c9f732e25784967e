// A landscape on a voxel grid over one unit cell. Voxel (i, j, k) stands at i a_i[0] + j a_i[1] +
// k a_i[2] (cartesian, A); the grid does not repeat the far faces of the cell. The values lie in
// one contiguous block, i outermost and k fastest, and en[i][j][k] reaches them through rows of
// pointers. Whoever calls velmar_cube_new or a function returning a cube owns it and releases it
// with velmar_cube_free.
#ifndef VELMAR_CUBE_H
#define VELMAR_CUBE_H

#include <cstdint>
#include <vector>

#include "structure/velmar-cell.h"

struct VELMAR_CUBE {
    double ***en;      // en[i][j][k], eV (valence units for the GII landscape)
    double a[3][3];    // lattice vectors, one per row, A
    double a_i[3][3];  // voxel steps, a[r] / n[r], A
    int32_t n[3];      // voxels along each lattice vector
};

// A zero-filled cube of n0 x n1 x n2 voxels, lattice and steps zero. NULL on failure.
VELMAR_CUBE *velmar_cube_new(int32_t n0, int32_t n1, int32_t n2);
void velmar_cube_free(VELMAR_CUBE *cube);
// The cube repeated super[r] times along each axis. NULL on failure.
VELMAR_CUBE *velmar_cube_super_simple(const VELMAR_CUBE *cube, const int super[3]);
// Size, lattice vectors and voxel steps.
void velmar_cube_print_info(const VELMAR_CUBE *cube);

namespace velmar {
// The first value of the contiguous block (en[0][0]).
inline double *cube_values(const VELMAR_CUBE *cube) { return cube->en[0][0]; }
inline int64_t cube_size(const VELMAR_CUBE *cube) {
    return static_cast<int64_t>(cube->n[0]) * cube->n[1] * cube->n[2];
}
// The value of the voxel nearest to each atom of cell (by its fractional coordinates, the grid
// repeating periodically): the energies of markers placed on the landscape.
std::vector<double> cube_values_at_atoms(const VELMAR_CUBE &cube, const VELMAR_CELL &cell);
}  // namespace velmar

#endif  // VELMAR_CUBE_H
