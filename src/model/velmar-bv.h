// Bond-valence sums of the symmetry-distinct sites of a cell, the bond valence between pairs of
// sites, and the global instability index (GII). Bond valences s = occ exp((R0 - d) / b) use the
// effective b of the parameter table; anion sums are negative. Sites are the atoms' flags
// (1..total) set by velmar_cell_flag_site_by_symmetry. Records returned are owned by the caller.
#ifndef VELMAR_BV_H
#define VELMAR_BV_H

#include <cstdint>
#include <utility>
#include <vector>

#include "core/velmar-text.h"
#include "model/velmar-property.h"
#include "structure/velmar-cell.h"
#include "structure/velmar-symmetry.h"

// value[k][l] is the bond valence from the atoms of site l to site k. A table of all pairs grows
// with the square of the sites, so beyond velmar::detail::kBvFullPairTable sites value is NULL and
// the pairs that bond are kept alone, memory growing with sites x neighbours: the partners of site
// k are entries pair_start[k] to pair_start[k + 1] - 1 of pair_site (ascending) and pair_value.
// Both forms are filled up to that size; velmar_bv_value reads either.
struct VELMAR_BV {
    long total;          // number of distinct sites
    VELMAR_ATOM *atom;   // the first atom of each site
    int *multi;          // atoms per site
    double *sum;         // bond-valence sum of each site, signed
    double **value;      // total rows of total values, or NULL above kBvFullPairTable sites
    long *pair_start;    // total + 1 offsets into pair_site and pair_value
    int32_t *pair_site;  // partner site l of each pair (0-based)
    double *pair_value;  // bond valence from the atoms of site l to site k
};

// A record of total sites with zeroed sums and no pairs. NULL on failure.
VELMAR_BV *velmar_bv_new(int total);
void velmar_bv_free(VELMAR_BV *bv);
// The bond valence from the atoms of site l to site k (both 0-based); 0 when they do not bond.
double velmar_bv_value(const VELMAR_BV *bv, long k, long l);
// Flags the sites, builds the table (no conducting species, screening factor 0.75) and sums.
VELMAR_BV *velmar_bv_calculate_from_cell(VELMAR_CELL *cell, const VELMAR_SYMMETRY *symmetry,
                                         const char *dir_unitary, const char *dir_binary);
// The same on a copy of the cell holding only the two species.
VELMAR_BV *velmar_bv_calculate_from_cell_with_type(const VELMAR_CELL *cell,
                                                   const VELMAR_SYMMETRY *symmetry,
                                                   const char *type1, int os1, const char *type2,
                                                   int os2, const char *dir_unitary,
                                                   const char *dir_binary);
// Sums for a cell whose atoms already carry their site flags.
VELMAR_BV *velmar_bv_calculate_from_flagged_cell(const VELMAR_CELL *cell,
                                                 const VELMAR_PROPERTY *ppt);
// 0 when every cation-anion pair has a cut-off, b and R0 above 0.
int velmar_bv_validate_property(const VELMAR_PROPERTY *ppt);
// GII = sqrt(sum multi occ (sum - os)^2 / sum multi occ), with its verdict printed.
double velmar_gii_calculate_from_bv(const VELMAR_BV *bv);
double velmar_gii_calculate_from_bv_no_msg(const VELMAR_BV *bv);
// GII of a cell; negative on failure.
double velmar_gii_calculate_from_cell(VELMAR_CELL *cell, const VELMAR_SYMMETRY *symmetry,
                                      const char *dir_unitary, const char *dir_binary);
// The sums, then the bond valence of every ordered pair of sites; above velmar::detail::
// kBvFullPairTable sites only the pairs that bond are listed, after a message saying so.
void velmar_bv_print(const VELMAR_BV *bv);
void velmar_bv_print_gui(const VELMAR_BV *bv);
// The sums and pair values as text with CR LF line ends, pairs as in velmar_bv_print. NULL on
// failure.
VELMAR_TEXT *velmar_bv_export_to_text(const VELMAR_BV *bv);

namespace velmar::detail {
// Up to this many sites the pair tables list every ordered pair, zeros included (a million lines
// at most); beyond it a table of all pairs would dwarf the result.
constexpr long kBvFullPairTable = 1000;
// Replaces the record's pairs: rows[k] holds the (partner site, value) pairs of site k in
// ascending partner order. 0 on success, 1 (after a message) when the rows do not fit the record.
int bv_set_pairs(VELMAR_BV *bv, const std::vector<std::vector<std::pair<int32_t, double>>> &rows);
}  // namespace velmar::detail

#endif  // VELMAR_BV_H
