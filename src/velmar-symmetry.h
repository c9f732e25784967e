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

#endif  // VELMAR_SYMMETRY_H
