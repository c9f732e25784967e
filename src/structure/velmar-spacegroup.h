// The space group of a cell found from its atoms (spglib). Atoms are told apart by element,
// oxidation state and occupancy; symprec is the distance tolerance in angstrom.
#ifndef VELMAR_SPACEGROUP_H
#define VELMAR_SPACEGROUP_H

#include "structure/velmar-cell.h"
#include "structure/velmar-symmetry.h"

// A new symmetry holding the number, H-M and Hall symbols and the operations of the cell's space
// group, in the cell's own fractional coordinates. NULL on failure.
VELMAR_SYMMETRY *velmar_symmetry_calculate_from_cell(const VELMAR_CELL *cell, double symprec);

#endif  // VELMAR_SPACEGROUP_H
