// Geometry of a cell: lattice vectors from lengths and angles and back, cartesian and fractional
// coordinates, volume, wrapping into the cell, periodic distances, the cell's name, deformation.
// Lengths in angstrom, angles in degrees; lattice vectors are the rows of cell->a, the first along
// x and the second in the xy plane.
#ifndef VELMAR_CELL_GEOMETRY_H
#define VELMAR_CELL_GEOMETRY_H

#include "structure/velmar-cell.h"

// Lattice vectors from the parameters, then cartesian coordinates from fractional ones.
void velmar_cell_update_cartesion(VELMAR_CELL *cell);
// Parameters from the lattice vectors, then fractional coordinates from cartesian ones.
void velmar_cell_update_fractional(VELMAR_CELL *cell);
void velmar_cell_update_lattice_cartesion(VELMAR_CELL *cell);
void velmar_cell_update_coordinate_cartesion(VELMAR_CELL *cell);
void velmar_cell_update_lattice_fractional(VELMAR_CELL *cell);
void velmar_cell_update_coordinate_fractional(VELMAR_CELL *cell);
// Volume from the lengths and angles, cubic angstrom.
double velmar_cell_calculate_volume(const VELMAR_CELL *cell);
// Every fractional coordinate into [0, 1); cartesian coordinates are left alone.
void velmar_cell_bound_fractional(VELMAR_CELL *cell);
// Shortest distance between two atoms over the direct vector and the 27 nearest images.
double velmar_cell_min_distance_btw_atoms(const VELMAR_CELL *cell, const VELMAR_ATOM *atom1,
                                          const VELMAR_ATOM *atom2);
// Rebuilds the name from runs of atoms of equal type and oxidation state, as "Li1+:8.000 O2-:4.000
// ".
void velmar_cell_update_name(VELMAR_CELL *cell);
// Clears every atom's flag, value and ignored mark.
void velmar_cell_refresh(VELMAR_CELL *cell);
// The lattice becomes a (I + strain): each vector a_k gains a_k strain. Fractional coordinates are
// kept; lengths, angles and cartesian coordinates are rebuilt. 0 on success.
int velmar_cell_deform(VELMAR_CELL *cell, const double strain[3][3]);

namespace velmar::detail {
// Bounds of a lattice length that a structure may have, angstrom: no crystal has a lattice vector
// shorter than half an angstrom, and longer ones than ten thousand would overflow the grids.
constexpr double kMinCellLength = 0.5;
constexpr double kMaxCellLength = 1.0e4;
// A volume below this fraction of a b c is a flattened cell: its vectors lie within 0.06 degrees of
// a plane (real cells stay above 0.1; the angles of a flat cell, read as given, can leave it 1e-4
// from zero with the degree conversion's rounding).
constexpr double kMinVolumeRatio = 1.0e-3;
// True when the lengths and angles (degrees) describe a cell the program can work with: finite
// lengths within the bounds above, angles strictly between 0 and 180, and a volume that is a
// finite number above kMinVolumeRatio a b c.
bool cell_parameters_proper(const double lengths[3], const double angles[3]);
// The same test on lattice vectors (rows, angstrom), without the length bounds: finite, non-zero
// vectors spanning a volume above kMinVolumeRatio |a0| |a1| |a2|.
bool lattice_vectors_proper(const double a[3][3]);
}  // namespace velmar::detail

#endif  // VELMAR_CELL_GEOMETRY_H
