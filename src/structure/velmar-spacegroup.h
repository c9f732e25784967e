// The space group of a cell found from its atoms (spglib). Atoms are told apart by element,
// oxidation state and occupancy; symprec is the distance tolerance in angstrom.
#ifndef VELMAR_SPACEGROUP_H
#define VELMAR_SPACEGROUP_H

#include "structure/velmar-cell.h"
#include "structure/velmar-symmetry.h"

// A new symmetry holding the number, H-M and Hall symbols and the operations of the cell's space
// group, in the cell's own fractional coordinates. NULL on failure.
VELMAR_SYMMETRY *velmar_symmetry_calculate_from_cell(const VELMAR_CELL *cell, double symprec);

namespace velmar::detail {
// The number (1 to 230) of the space group the atoms have, and its number of operations; 0, with
// nothing printed, when none is found.
int space_group_number(const VELMAR_CELL *cell, double symprec, int &operations);
}  // namespace velmar::detail

#endif  // VELMAR_SPACEGROUP_H
