// Symmetry operations (cards) and space-group settings: the plain records with their constructors
// and print functions. A card holds its operation in fractional, cartesian and integer (grid) form.
// Whoever calls a _new function owns the result and frees it with the matching _free.
#ifndef VELMAR_SYMMETRY_H
#define VELMAR_SYMMETRY_H

#include <cstdint>

struct VELMAR_CARD {
    char text[36];     // the operation as written, at most 35 characters
    double r_f[3][3];  // rotation, fractional
    double t_f[3];     // translation, fractional
    double r[3][3];    // rotation, cartesian
    double t[3];       // translation, cartesian, angstrom
    int r_i[3][3];     // rotation as integers
    int32_t t_i[3];    // translation on a voxel grid
};

struct VELMAR_SYMMETRY {
    char sg_HM[16];     // Hermann-Mauguin symbol, at most 15 characters
    char sg_Hall[16];   // Hall symbol, at most 15 characters
    int sg_id;          // International Tables number, 1 to 230
    int total;          // number of cards
    VELMAR_CARD *card;  // total cards, owned
};

// A zeroed card holding the first 35 characters of text (when not NULL). NULL on failure.
VELMAR_CARD *velmar_card_new(const char *text);
void velmar_card_free(VELMAR_CARD *card);
void velmar_card_print(const VELMAR_CARD *card);
void velmar_card_print_discrete(const VELMAR_CARD *card);

// Fills r_f and t_f of a card from an operation written like "-x+1/2, y, -z" (text keeps its first
// 35 characters). A translation is negative when a '-' appears anywhere from two characters before
// its '/' (or '.') to the end of its component. 0 on success, 1 for a NULL text.
int velmar_card_set_by_text(VELMAR_CARD *card, const char *text);
// Writes into text[36] the operation of r_f and t_f in the form the card parser reads back exactly:
// rotation terms first, then a translation in [0, 1) as "+n/d" (halves to twelfths) or "+0.xxxxxx".
void velmar_card_text_from_matrix(char text[36], const double r_f[3][3], const double t_f[3]);
// out[r] = t_i[r] + sum_c r_i[r][c] in[c], folded into 0..n[r]-1.
void velmar_card_transform_vector3_long(long out[3], const long in[3], const long n[3],
                                        const VELMAR_CARD *card);

// A zeroed setting with total_card zeroed cards when total_card is positive. NULL on failure.
VELMAR_SYMMETRY *velmar_symmetry_new(int total_card);
void velmar_symmetry_free(VELMAR_SYMMETRY *symmetry);
void velmar_symmetry_print(const VELMAR_SYMMETRY *symmetry);
void velmar_symmetry_print_discrete(const VELMAR_SYMMETRY *symmetry);
// The trivial group P 1 with its identity card (fractional form only). NULL on failure.
VELMAR_SYMMETRY *velmar_symmetry_new_p1();
// Answers true only when the single card differs from the identity in every entry by at least
// 0.001; in particular the identity card itself gives false. No command relies on it.
bool velmar_symmetry_is_p1(const VELMAR_SYMMETRY *symmetry);
// Gives every card its integer rotation (the rounded r_f) and its translation on an n[0] x n[1] x
// n[2] voxel grid, t_i[r] = lround(n[r] t_f[r]). 1 when a count is not positive or when a rotation
// or translation does not fall on the grid (the grid cannot carry the symmetry), else 0.
int velmar_symmetry_fill_card_discrete(VELMAR_SYMMETRY *symmetry, const long n[3]);

#endif  // VELMAR_SYMMETRY_H
