// Steepest-descent relaxation of the atomic positions of a structure under the energy model; the
// cell stays as it is and the atoms flagged `ignored` (fixed) stay put. Each step moves the free
// atoms along their forces by a length found by backtracking, so that the energy never rises.
// Units: A, eV, eV/A.
#ifndef VELMAR_RX_SD_H
#define VELMAR_RX_SD_H

#include <cstdint>

#include "core/velmar-text.h"
#include "model/velmar-property.h"
#include "structure/velmar-cell.h"

// Relaxes the positions of the free atoms of cell in place, printing the energy and the largest
// force of each step, until no free atom feels a force above f_tol or after `steps` steps (0 only
// evaluates the start). Appends the CSV rows "step,energy,max_force" (header included) to log when
// it is not NULL and sets *converged. 0 on success, converged or not; 1 after the error lines (the
// cell then holds the last accepted positions).
int velmar_rx_sd_relax(VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt, int32_t steps, double f_tol,
                       VELMAR_TEXT *log, bool *converged);

// The whole command on a structure read from the file cif: the fixed atoms from the file's
// _atom_site_velmar_fixed column, the table with the screening factor sf (searched when not above
// 0), the relaxation, then the relaxed structure written to output (cif + ".rx.cif" when NULL) and
// the log to cif + ".rx-log.txt". Negative steps and non-positive f_tol take the defaults. 0 on
// success, also when the run stops at the step limit (it says so and writes the last state).
int velmar_rx_sd_from_cell(VELMAR_CELL *cell, const char *cif, const char *output, double sf,
                           int32_t steps, double f_tol, const char *dir_unitary,
                           const char *dir_binary);

// Default step limit.
constexpr int32_t VELMAR_RX_SD_STEPS = 1000;

#endif  // VELMAR_RX_SD_H
