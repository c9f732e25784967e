// Writing a cell as CIF: lattice, the symmetry operations, an _atom_type loop (symbols such as Li1+
// with their oxidation numbers) and an _atom_site loop (label, type symbol, fractional x y z,
// occupancy). What is written reads back to the same cell.
#ifndef VELMAR_CIF_WRITER_H
#define VELMAR_CIF_WRITER_H

#include <string>
#include <vector>

#include "core/velmar-text.h"
#include "structure/velmar-cell.h"
#include "structure/velmar-symmetry.h"

// Mode 0: every atom, in P 1. Mode 1: one atom per symmetry-distinct site, with the operations that
// the cell's own symmetry (found with a 0.01 A tolerance) gives. 0 on success.
int velmar_cell_export_cif_to_file(const char *filename, const VELMAR_CELL *cell, int mode);
// With the given operations: mode 0 every atom, mode 1 one atom per site. 0 on success.
int velmar_cell_export_cif_with_symmetry(const char *filename, const VELMAR_CELL *cell,
                                         const VELMAR_SYMMETRY *symmetry, int mode);
// The CIF text itself, with data block `block`. NULL on failure.
VELMAR_TEXT *velmar_cell_export_cif_to_text(const VELMAR_CELL *cell,
                                            const VELMAR_SYMMETRY *symmetry, int mode,
                                            const char *block);

namespace velmar::detail {
// The data block name of a CIF file: its base name without ".cif", blanks made underscores.
std::string cif_block_name(const char *filename);
// Marker points of a landscape (minima, saddle points, path points) in P 1. Markers share names
// (MIN, SAD, ...), so each label is its name numbered in order (MIN1, MIN2, ..., SAD1), and
// energy[n], the landscape's value at atom n (eV), is an extra column _atom_site_velmar_energy.
// NULL or 1 on failure.
VELMAR_TEXT *cell_export_markers_to_text(const VELMAR_CELL *cell, const std::vector<double> &energy,
                                         const char *block);
int cell_export_markers_to_file(const char *filename, const VELMAR_CELL *cell,
                                const std::vector<double> &energy);
}  // namespace velmar::detail

#endif  // VELMAR_CIF_WRITER_H
