// LAMMPS files of the bond-valence force field: the structure as a data file, every pair term
// tabulated for pair_style table (energy and force at evenly spaced distances up to the term's
// cut-off), and an input for a molecular dynamics of the conducting ions in the frozen host under a
// Langevin thermostat, with their mean square displacement written out. Units are LAMMPS' metal
// units (eV, A, ps, K). Files are written with "\n" line ends under temporary names and renamed
// when all are complete; every file written is announced on standard output.
#ifndef VELMAR_LAMMPS_H
#define VELMAR_LAMMPS_H

#include <cstdio>

#include "model/velmar-property.h"
#include "structure/velmar-cell.h"

// Inner end of every table (A): the total energy leaves out pairs this close, and LAMMPS stops
// with an error on a pair closer than a table's first distance.
constexpr double VELMAR_LMP_TABLE_INNER = 0.3;
// Spacing of the tabulated distances (A), at most.
constexpr double VELMAR_LMP_TABLE_STEP = 0.002;

// The data file of the cell: atom types in species order, the box in LAMMPS' orientation (a along
// x, b in the xy plane) with its tilts reduced to within half a box length, every atom wrapped
// into it. The cell must hold whole atoms. 0 on success.
int velmar_lmp_write_data(std::FILE *file, const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt,
                          const char *source);
// The table of every pair of species, keyed "Li1+_O2-". 0 on success.
int velmar_lmp_write_table(std::FILE *file, const VELMAR_PROPERTY *ppt, const char *source);
// The input: reads "<base>.lmp.data" and "<base>.lmp.table" (named without directory), moves the
// conducting species at temperature (K) with a time step of timestep ps for time ps of production
// after time / 5 ps of equilibration (variables steps and equilibration, counted in steps, override
// them; with steps 0 it only evaluates the structure as read). 0 on success.
int velmar_lmp_write_input(std::FILE *file, const VELMAR_PROPERTY *ppt, const char *base,
                           double temperature, double time, double timestep);

// "<base>.lmp.data", "<base>.lmp.table" and "<base>.lmp.in", all or none. A cell with partially
// occupied sites is refused. 0 on success.
int velmar_lmp_export_to_files(const char *base, const VELMAR_CELL *cell,
                               const VELMAR_PROPERTY *ppt, double temperature, double time,
                               double timestep);

#endif  // VELMAR_LAMMPS_H
