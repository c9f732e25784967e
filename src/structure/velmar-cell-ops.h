// Operations on the atoms of a cell: sorting, counting species, the expansion of an asymmetric unit
// by symmetry cards, flagging of symmetry-equivalent sites, supercells, and the random resolution
// of partial occupancies with the run's generator. Two atoms stand on the same site when type and
// oxidation state agree, occupancies differ by less than 0.02 and every fractional coordinate
// differs by less than 0.005 modulo 1. Cells returned are new and owned by the caller.
#ifndef VELMAR_CELL_OPS_H
#define VELMAR_CELL_OPS_H

#include "structure/velmar-cell.h"
#include "structure/velmar-symmetry.h"

// Stable sort: cations by ascending oxidation state, then neutral atoms, then anions by ascending
// magnitude; within a state by element symbol. LiFePO4 gives Li+, Fe2+, P5+, O2-.
void velmar_atom_sort(VELMAR_ATOM *atom, long total);
// Stable sort by ascending value.
void velmar_atom_sort_by_value(VELMAR_ATOM *atom, long total);
// Number of distinct (element, oxidation state) combinations.
int velmar_cell_count_type_os(const VELMAR_CELL *cell);

// Applies every card to every atom of the asymmetric unit (file order, then card order), wraps
// the images into [0, 1) and keeps those that do not fall on a site already kept. The array is
// reallocated; kept atoms carry their label. 0 on success.
int velmar_atom_spawn_by_symmetry(VELMAR_ATOM **atom, long *total, const VELMAR_SYMMETRY *symmetry);
// Flags 1, 2, ... in atom order: the first unflagged atom opens a site and every atom onto which a
// card maps it shares its flag. 0 on success.
int velmar_cell_flag_site_by_symmetry(VELMAR_CELL *cell, const VELMAR_SYMMETRY *symmetry);

// True when every card maps every atom onto an atom of the cell on the same site: then the cell
// written as one atom per site with the cards reads back as itself.
bool velmar_cell_closed_under_symmetry(const VELMAR_CELL *cell, const VELMAR_SYMMETRY *symmetry);

// The s[0] x s[1] x s[2] supercell; each atom's images follow it. NULL on failure.
VELMAR_CELL *velmar_cell_supercell(const VELMAR_CELL *cell, const int s[3]);
// The smallest supercell (factors up to 4; fewest cells, then the most nearly cubic) in which every
// partially occupied species totals within 0.05 of a whole number of atoms; failing that, the one
// whose axes are all at least 10 A. NULL on failure.
VELMAR_CELL *velmar_cell_supercell_default(const VELMAR_CELL *cell);
// True when some atom of the species has an occupancy below 0.999.
bool velmar_cell_partial_occ_at_conducting_site(const VELMAR_CELL *cell, const char *type, int os);
// A copy in which, for each label of the species, round(sum of occupancies) of its atoms chosen at
// random keep occupancy 1 and the others are removed. NULL on failure.
VELMAR_CELL *velmar_cell_assign_partial_occ_at_conducting_site(const VELMAR_CELL *cell,
                                                               const char *type, int os);
// The same for every species at once; a position shared by several species receives at most one
// of them, each species' total kept as closely as rounding allows. NULL on failure.
VELMAR_CELL *velmar_cell_assign_partial_occ_all(const VELMAR_CELL *cell);

#endif  // VELMAR_CELL_OPS_H
