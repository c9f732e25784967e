// The parameter table of a structure: its species (element and oxidation state), one record per
// species and one per ordered pair of species, read from the unitary and binary databases and then
// completed with derived quantities (effective b, Morse parameters, charges, screening factor).
// Distances in angstrom, charges in e; a pair's d0 is held in e^2/A (D0 in eV is d0 x 7.19982).
// Whoever calls velmar_property_new, _copy or _import_from_cell owns the table.
#ifndef VELMAR_PROPERTY_H
#define VELMAR_PROPERTY_H

#include "structure/velmar-cell.h"

struct VELMAR_PROPERTY_UNITARY {
    char type[3];  // element symbol
    int os;        // oxidation state
    double soft;   // softness, 1/eV
    double rc;     // radius for the Coulomb screening length, A
    double m;      // mass of the ion
    int an;        // atomic number
    int n;         // period
    int g;         // group
    int b;         // block, 0 to 3; selects c
    int c;         // 1 for blocks 0 and 1, 2 for blocks 2 and 3
    double q;      // fractional charge, e
};

struct VELMAR_PROPERTY_BINARY {
    char type1[3];
    int os1;
    char type2[3];
    int os2;
    double b;       // effective softness parameter in use, A
    double b_old;   // tabulated b, A
    double r0;      // bond-valence R0, A
    double cutoff;  // A
    double cn;      // coordination number
    double d0;      // Morse well depth, e^2/A
    double rmin;    // Morse equilibrium distance, A
    double r_bc;    // where the shifted bonding energy reaches 1 eV
    double r_cc;    // where the screened Coulomb energy reaches 1 eV
    double bv_s;    // bond valence at the cut-off (not used)
    double en_s;    // bonding energy at the cut-off
    double f_s;     // bonding force at the cut-off
    double a0;      // short-range parabola a2 x^2 + a1 x + a0
    double a1;
    double a2;
    double f0;  // cn x d0
};

struct VELMAR_PROPERTY {
    int total;                     // number of species
    char (*type)[3];               // symbols, species order
    int *os;                       // oxidation states
    double *count;                 // occupancy-weighted count of each species in the cell
    VELMAR_PROPERTY_UNITARY *uni;  // per-species records
    VELMAR_PROPERTY_BINARY **bin;  // bin[i][j]: the ordered pair (species i, species j)
    double sf;                     // screening factor; not above 0 asks for the search
    int conducting;                // index of the conducting species, -1 for none
};

VELMAR_PROPERTY_UNITARY *velmar_property_unitary_new(int total);
void velmar_property_unitary_free(VELMAR_PROPERTY_UNITARY *uni);
int velmar_property_binary_new(VELMAR_PROPERTY_BINARY ***bin, int total);
void velmar_property_binary_free(VELMAR_PROPERTY_BINARY **bin, int total);
VELMAR_PROPERTY *velmar_property_new(int total);
VELMAR_PROPERTY *velmar_property_copy(const VELMAR_PROPERTY *ppt);
void velmar_property_free(VELMAR_PROPERTY *ppt);
// Index of the species with this symbol and state, or -1.
int velmar_property_find_index(const VELMAR_PROPERTY *ppt, const char *type, int os);
// Makes that species the conducting one. 0 on success.
int velmar_property_set_conducting(VELMAR_PROPERTY *ppt, const char *type, int os);

// The complete table of a cell, with the conducting species (type may be NULL for none) and a
// screening factor (not above 0: searched). Sorts the cell's atoms. NULL on failure.
VELMAR_PROPERTY *velmar_property_import_from_cell(VELMAR_CELL *cell, const char *type, int os,
                                                  double sf, const char *dir_unitary,
                                                  const char *dir_binary);
// The species of the cell, in the order of its atoms after sorting (which this does).
int velmar_property_update_index_by_cell(VELMAR_PROPERTY *ppt, VELMAR_CELL *cell);
// Adds a species at the end unless it is there already; the records start empty.
int velmar_property_append_index(VELMAR_PROPERTY *ppt, const char *type, int os);
// Reads the databases and derives every further quantity.
int velmar_property_update(VELMAR_PROPERTY *ppt, VELMAR_CELL *cell, const char *dir_unitary,
                           const char *dir_binary);
int velmar_property_update_read_from_file(VELMAR_PROPERTY *ppt, const VELMAR_CELL *cell,
                                          const char *dir_unitary, const char *dir_binary);
int velmar_property_unitary_read_from_file(VELMAR_PROPERTY_UNITARY *uni, const char *type, int os,
                                           const char *path);
int velmar_property_binary_read_from_file(VELMAR_PROPERTY_BINARY *bin, const char *type1, int os1,
                                          const char *type2, int os2, const char *path);
double velmar_property_hardness_read_from_file(const char *type, int os, const char *path);
// Fills cation-halide and cation-sulfide pairs missing from the database by estimates from the
// fluoride and oxide pairs.
int velmar_property_estimate(VELMAR_PROPERTY *ppt, const char *dir_unitary, const char *dir_binary);
int velmar_property_binary_estimate_from_file(VELMAR_PROPERTY_BINARY *bin, const char *path);
// Sets the atom's symbol and default oxidation state from its atomic number.
int velmar_property_type_from_atomic_number(int an, VELMAR_ATOM *atom, const char *path);
// 0 when every species and cation-anion pair has usable parameters; else names the first that
// does not and returns 1.
int velmar_property_validate_generic(const VELMAR_PROPERTY *ppt);
void velmar_property_print_format(const VELMAR_PROPERTY *ppt);
void velmar_property_print(const VELMAR_PROPERTY *ppt);
void velmar_property_unitary_print(VELMAR_PROPERTY_UNITARY uni);
void velmar_property_binary_print(VELMAR_PROPERTY_BINARY bin);

#endif  // VELMAR_PROPERTY_H
