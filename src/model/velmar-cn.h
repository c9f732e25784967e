// Coordination numbers of the atoms of a cell: from the radial distribution of each atom's
// neighbours (the shell ends at the first minimum of g(r) after its first peak), for one pair of
// species, and by bond valence (bonds carrying a fixed share of the site's valence, and the
// effective number (sum s)^2 / sum s^2). Neighbours are periodic images streamed atom by atom, so
// memory does not grow with the reach. Distances in angstrom, bond valences in valence units;
// counts are weighted by the neighbours' occupancies. Records returned are owned by the caller.
#ifndef VELMAR_CN_H
#define VELMAR_CN_H

#include <cstdint>

#include "core/velmar-text.h"
#include "model/velmar-property.h"
#include "structure/velmar-cell.h"

// One neighbour of an analysed atom: an image of an atom of the cell.
struct VELMAR_CN_NEIGHBOUR {
    int32_t atom;     // index of the neighbour in the cell
    double distance;  // A
    double bv;        // valence of the bond with both ends present; negative without parameters
    bool shell;       // counted in the coordination number
};

// The coordination of one atom.
struct VELMAR_CN_ATOM {
    int32_t atom;    // index of the atom in the cell
    double cn;       // occupancy-weighted number of neighbours in the shell
    int32_t sites;   // distinct neighbour positions in the shell (images closer than 0.3 A merged)
    double shell;    // distance of the farthest neighbour in the shell, A; 0 without neighbours
    double gap;      // from the shell to the next neighbour, A; negative when none lies in reach
    double valence;  // bond-valence sum (bond-valence count only)
    double cn_eff;   // effective coordination number (bond-valence count only)
    int32_t total;   // neighbours listed (coordination shells only)
    VELMAR_CN_NEIGHBOUR *neighbour;  // total neighbours by increasing distance, owned
};

struct VELMAR_CN {
    int32_t total;         // atoms analysed
    VELMAR_CN_ATOM *atom;  // owned
    double reach;          // r_max of the search; for the bond-valence count the largest cut-off
};

// Share of the site's bond-valence sum that a bond must carry to count in the bond-valence CN.
// Bonds of a few hundredths of a valence unit are the weak, long contacts that bond-valence
// analysis leaves out of the coordination sphere (I. D. Brown, The Chemical Bond in Inorganic
// Chemistry: The Bond Valence Model, Oxford University Press, 2002, on the bond-valence model as a
// whole); 4 % is our choice of that limit, checked on the textbook coordinations (rock salt,
// fluorite, perovskite, wurtzite, spinel) and against pymatgen's CrystalNN. Taken as a share of
// the sum, the rule holds alike for every valence, and with one kind of partner it does not depend
// on R0 at all: s_j / sum s = exp(-d_j / b) / sum_k exp(-d_k / b).
constexpr double VELMAR_CN_BV_SHARE = 0.04;
// Reach of the radial distribution function when the user gives none, A.
constexpr double VELMAR_CN_R_MAX = 6.0;

// total zeroed entries without neighbour lists. NULL when total is not positive or on failure.
VELMAR_CN *velmar_cn_new(int32_t total);
void velmar_cn_free(VELMAR_CN *cn);

// The atoms labelled `label`, or, when no label matches, every atom of that element. Each atom's
// neighbours are the atoms of opposite charge (every atom when the atom or the whole cell has no
// charged partner). NULL, with a message, when nothing matches or r_max is not positive.
VELMAR_CN *velmar_cn_calculate_by_rdf(const VELMAR_CELL *cell, const char *label, double r_max);
// The same shells with every atom (any species) out to the next partner beyond the shell listed,
// with the bond valence of each cation-anion pair that ppt has parameters for (ppt may be NULL).
VELMAR_CN *velmar_cn_calculate_shell(const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt,
                                     const char *label, double r_max);
// Builds the parameter table of the cell (which sorts its atoms; screening factor 0.75) and lists
// the shells; without a table (species missing from the databases) the bond valences are left
// out with a warning.
VELMAR_CN *velmar_cn_calculate_shell_from_cell(VELMAR_CELL *cell, const char *label, double r_max,
                                               const char *dir_unitary, const char *dir_binary);
// Every atom of species 1 counted by the atoms of species 2 alone (the partial distribution
// g_12(r)). NULL, with a message, when a species is absent or r_max is not positive.
VELMAR_CN *velmar_cn_calculate_by_type(const VELMAR_CELL *cell, const char *type1, int os1,
                                       const char *type2, int os2, double r_max);
// Occupancy-weighted mean coordination number of the analysed atoms; negative for an empty record.
double velmar_cn_average(const VELMAR_CN *cn, const VELMAR_CELL *cell);
// Bond-valence count of the selected atoms: bonds to atoms of opposite charge within the pair
// cut-off, s = exp((R0 - d) / b) with the table's effective b; a bond counts (by the partner's
// occupancy) when s >= VELMAR_CN_BV_SHARE x the site's sum. NULL when a pair lacks parameters or a
// selected atom is neutral.
VELMAR_CN *velmar_cn_calculate_by_bv(const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt,
                                     const char *label);
// Builds the table (as the bond-valence sums do) and counts.
VELMAR_CN *velmar_cn_calculate_by_bv_from_cell(VELMAR_CELL *cell, const char *label,
                                               const char *dir_unitary, const char *dir_binary);

// Results on standard output, "CN: " lines; warnings for atoms whose shell is not closed in reach.
void velmar_cn_print(const VELMAR_CN *cn, const VELMAR_CELL *cell);
void velmar_cn_print_shell(const VELMAR_CN *cn, const VELMAR_CELL *cell);
void velmar_cn_print_bv(const VELMAR_CN *cn, const VELMAR_CELL *cell);
// CSV with CR LF line ends: one row per atom (label,type,os,occ,x_f,y_f,z_f,cn,...), for the
// shells one row per listed pair. NULL on failure.
VELMAR_TEXT *velmar_cn_export_to_text(const VELMAR_CN *cn, const VELMAR_CELL *cell);
VELMAR_TEXT *velmar_cn_export_shell_to_text(const VELMAR_CN *cn, const VELMAR_CELL *cell);
VELMAR_TEXT *velmar_cn_export_bv_to_text(const VELMAR_CN *cn, const VELMAR_CELL *cell);

#endif  // VELMAR_CN_H
