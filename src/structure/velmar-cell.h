// Atom sites and crystal structures: the plain records with their constructors, copy and print.
// Lengths and coordinates in angstrom, angles in degrees. The lattice matrix holds one vector per
// row. Whoever calls a _new or _copy function owns the result and frees it with the matching _free.
#ifndef VELMAR_CELL_H
#define VELMAR_CELL_H

#include <cstdint>

struct VELMAR_ATOM {
    char name[12];  // site label, at most 11 characters
    char type[3];   // element symbol
    int os;         // oxidation state, 99 when unknown
    double x[3];    // cartesian position
    double x_f[3];  // fractional position
    double occ;     // site occupancy, 0 to 1
    int32_t flag;   // mark used by the symmetry and cell operations
    double value;   // a number attached to the atom (sort key)
    bool ignored;   // left out of a calculation
};

struct VELMAR_CELL {
    char name[128];       // the structure's name
    int32_t total;        // number of atoms
    VELMAR_ATOM *atom;    // total atoms, owned
    double a[3][3];       // lattice vectors, one per row, cartesian
    double parameter[3];  // a, b, c
    double angle[3];      // alpha, beta, gamma
    int Z;                // formula units per cell
};

// n zeroed atoms; NULL when n is not positive or on allocation failure.
VELMAR_ATOM *velmar_atom_new(long n);
void velmar_atom_free(VELMAR_ATOM *atom);
void velmar_atom_print(const VELMAR_ATOM *atom);

// A zeroed cell, with total_atom zeroed atoms when total_atom is positive. NULL on failure.
VELMAR_CELL *velmar_cell_new(long total_atom);
void velmar_cell_free(VELMAR_CELL *cell);
// Deep copy; NULL for a NULL cell, a cell without atoms, or on failure.
VELMAR_CELL *velmar_cell_copy(const VELMAR_CELL *cell);
void velmar_cell_print(const VELMAR_CELL *cell);

#endif  // VELMAR_CELL_H
