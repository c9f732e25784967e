// The cell's total energy under the parameter table, the forces on its atoms, the diagonal and
// shear stress by finite differences, and the steepest-descent step. Pairs are summed over the
// atoms of the cell and their periodic images within reach: the larger of 12 A and the longest
// pair cut-off for the Coulomb term, the pair cut-off for bonding. Energies in eV, stresses in
// eV/A^3; forces are half of -dE/dx in e^2/A^2 (no conversion to eV), the scale the relaxation
// steps are tuned for. Arrays of forces and steps hold one 3-vector per atom and belong to the
// caller.
#ifndef VELMAR_TOTAL_ENERGY_H
#define VELMAR_TOTAL_ENERGY_H

#include "model/velmar-property.h"
#include "structure/velmar-cell.h"

// Total energy in eV; 0 on failure.
double velmar_cell_calculate_total_energy(const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt);
// The same over pairs of atoms that are both not ignored.
double velmar_cell_calculate_total_energy_unconstrained_part(const VELMAR_CELL *cell,
                                                             const VELMAR_PROPERTY *ppt);
// The total energy, reporting an exact 0 as a failure.
double velmar_cell_total_energy(const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt);
int velmar_cell_calculate_force(double (*force)[3], const VELMAR_CELL *cell,
                                const VELMAR_PROPERTY *ppt);
int velmar_cell_calculate_stress_diagonal(double stress[3], const VELMAR_CELL *cell,
                                          const VELMAR_PROPERTY *ppt);
int velmar_cell_calculate_stress_shear(double stress[3], const VELMAR_CELL *cell,
                                       const VELMAR_PROPERTY *ppt);
// dx = force / mass for each atom, scaled down so that no atom moves more than 0.1 A.
int velmar_cell_calculate_coordinate_step_size_simple(double (*step)[3], const VELMAR_CELL *cell,
                                                      const VELMAR_PROPERTY *ppt,
                                                      double (*force)[3]);

#endif  // VELMAR_TOTAL_ENERGY_H
