// Whether a landscape belongs to a structure: the cube's lattice (voxel counts times voxel steps)
// must equal the structure's lattice vectors. Analyses that combine a CIF with a cube check this
// first, so that a cube of another cell or of a supercell is refused instead of giving numbers
// that mean nothing.
#ifndef VELMAR_CUBE_MATCH_H
#define VELMAR_CUBE_MATCH_H

#include "landscape/velmar-cube.h"
#include "structure/velmar-cell.h"

// Lattice mismatch tolerance, A per vector component: well above the cube file's rounding (six
// decimals of Bohr per voxel step, times a few hundred voxels), well below any real difference.
constexpr double VELMAR_CUBE_LATTICE_TOLERANCE = 1e-3;

// The largest difference between corresponding lattice vector components of cube and cell, A.
double velmar_cube_lattice_difference(const VELMAR_CUBE *cube, const VELMAR_CELL *cell);
// 0 when the lattices agree within the tolerance; otherwise prints an error that gives both
// lattices (lengths and angles) under the names given and returns 1.
int velmar_cube_check_lattice(const VELMAR_CUBE *cube, const VELMAR_CELL *cell,
                              const char *cube_name, const char *cell_name);

#endif  // VELMAR_CUBE_MATCH_H
