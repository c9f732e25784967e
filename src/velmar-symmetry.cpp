// Card and symmetry records.
#include "velmar-symmetry.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "velmar.h"

namespace {

// Copies at most size - 1 characters of src and terminates the copy.
template <size_t N>
void copy_cut(char (&dst)[N], const char *src) {
    std::strncpy(dst, src, N - 1);
    dst[N - 1] = '\0';
}

}  // namespace

VELMAR_CARD *velmar_card_new(const char *text) {
    auto *card = static_cast<VELMAR_CARD *>(std::calloc(1, sizeof(VELMAR_CARD)));
    if (card == nullptr) {
        std::fputs("Error: unable to allocate CARD.\n", stderr);
        return nullptr;
    }
    if (text != nullptr) copy_cut(card->text, text);
    return card;
}

void velmar_card_free(VELMAR_CARD *card) { std::free(card); }

void velmar_card_print(const VELMAR_CARD *card) {
    if (card == nullptr) {
        std::printf("CARD: (not allocated)\n");
        return;
    }
    std::printf("CARD: text:%s\n", card->text);
    for (int i = 0; i < 3; ++i) {
        std::printf("CARD: ");
        for (int j = 0; j < 3; ++j) std::printf(" %6.3f", card->r_f[i][j]);
        std::printf("      %6.3f\n", card->t_f[i]);
    }
}

void velmar_card_print_discrete(const VELMAR_CARD *card) {
    if (card == nullptr) {
        std::printf("CARD: (not allocated)\n");
        return;
    }
    std::printf("CARD: text:%s\n", card->text);
    for (int i = 0; i < 3; ++i) {
        std::printf("CARD: ");
        for (int j = 0; j < 3; ++j) std::printf(" %2d", card->r_i[i][j]);
        std::printf("      %ld\n", static_cast<long>(card->t_i[i]));
    }
}

VELMAR_SYMMETRY *velmar_symmetry_new(int total_card) {
    auto *symmetry = static_cast<VELMAR_SYMMETRY *>(std::calloc(1, sizeof(VELMAR_SYMMETRY)));
    if (symmetry == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_SYMMETRY.\n", stderr);
        return nullptr;
    }
    if (total_card > 0) {
        symmetry->card = static_cast<VELMAR_CARD *>(
            std::calloc(static_cast<size_t>(total_card), sizeof(VELMAR_CARD)));
        if (symmetry->card == nullptr) {
            std::fputs("Error: unable to allocate VELMAR_SYMMETRY->VELMAR_CARD.\n", stderr);
            std::free(symmetry);
            return nullptr;
        }
        symmetry->total = total_card;
    }
    return symmetry;
}

void velmar_symmetry_free(VELMAR_SYMMETRY *symmetry) {
    if (symmetry == nullptr) return;
    std::free(symmetry->card);
    std::free(symmetry);
}

namespace {

void print_symmetry(const VELMAR_SYMMETRY *symmetry, void (*print_card)(const VELMAR_CARD *)) {
    if (symmetry == nullptr) {
        std::printf("SYMMETRY: (not allocated)\n");
        return;
    }
    std::printf("SYMMETRY: Hermann-Maugui group symbol: %s\n", symmetry->sg_HM);
    std::printf("SYMMETRY: Hall group symbol: %s\n", symmetry->sg_Hall);
    std::printf("SYMMETRY: International Table ID: %d\n", symmetry->sg_id);
    std::printf("SYMMETRY: Total number of cards: %d\n", symmetry->total);
    if (symmetry->card == nullptr) return;
    for (int i = 0; i < symmetry->total; ++i) print_card(&symmetry->card[i]);
}

}  // namespace

void velmar_symmetry_print(const VELMAR_SYMMETRY *symmetry) {
    print_symmetry(symmetry, velmar_card_print);
}

void velmar_symmetry_print_discrete(const VELMAR_SYMMETRY *symmetry) {
    print_symmetry(symmetry, velmar_card_print_discrete);
}

VELMAR_SYMMETRY *velmar_symmetry_new_p1() {
    VELMAR_SYMMETRY *symmetry = velmar_symmetry_new(1);
    if (symmetry == nullptr) {
        VELMAR_ERROR_NULL(velmar_symmetry_new);
        return nullptr;
    }
    copy_cut(symmetry->sg_HM, "P 1");
    copy_cut(symmetry->sg_Hall, "P 1");
    symmetry->sg_id = 1;
    VELMAR_CARD &card = symmetry->card[0];
    copy_cut(card.text, "x, y, z");
    for (int i = 0; i < 3; ++i) card.r_f[i][i] = 1.0;
    return symmetry;
}

bool velmar_symmetry_is_p1(const VELMAR_SYMMETRY *symmetry) {
    if (symmetry == nullptr || symmetry->total != 1 || symmetry->card == nullptr) return false;
    constexpr double kTolerance = 0.001;
    const VELMAR_CARD &card = symmetry->card[0];
    for (int i = 0; i < 3; ++i) {
        if (std::fabs(card.t_f[i]) < kTolerance) return false;
        for (int j = 0; j < 3; ++j) {
            const double expected = i == j ? 1.0 : 0.0;
            if (std::fabs(card.r_f[i][j] - expected) < kTolerance) return false;
        }
    }
    return true;
}
