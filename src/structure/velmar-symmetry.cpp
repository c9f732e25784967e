// Card and symmetry records.
#include "structure/velmar-symmetry.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/velmar-la.h"
#include "core/velmar.h"

namespace {

template <size_t N>
void copy_cut(char (&dst)[N], const char *src) {
    velmar::copy_text(dst, N, src);
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

namespace {

// The coefficient of a coordinate letter in one component of a card: +1 at the start or after a
// '+', -1 anywhere else (the character before it is taken to be a minus sign), 0 when absent.
double letter_coefficient(const std::string &component, char letter) {
    size_t p = component.find(letter);
    if (p == std::string::npos) p = component.find(static_cast<char>(std::toupper(letter)));
    if (p == std::string::npos) return 0.0;
    return (p == 0 || component[p - 1] == '+') ? 1.0 : -1.0;
}

// The translation as written: the sum of the component's numbers (1/4, 0.25, ...), each with the
// sign written before it; letters are skipped.
double written_translation(const std::string &component) {
    double t = 0.0;
    const char *p = component.c_str();
    double sign = 1.0;
    while (*p != '\0') {
        if (*p == '-' || *p == '+') {
            sign = *p == '-' ? -sign : sign;
            ++p;
        } else if (std::isdigit(static_cast<unsigned char>(*p)) != 0 || *p == '.') {
            char *end = nullptr;
            double value = std::strtod(p, &end);
            if (end == p) return t;
            p = end;
            if (*p == '/') {
                const double denominator = std::strtod(p + 1, &end);
                if (end == p + 1 || denominator == 0.0) return t;
                value /= denominator;
                p = end;
            }
            t += sign * value;
            sign = 1.0;
        } else {
            sign = 1.0;  // a letter takes the sign before it
            ++p;
        }
    }
    return t;
}

// Translation of one component; false for a fraction that is not digit/digit.
bool component_translation(const std::string &component, double &t) {
    t = 0.0;
    const size_t slash = component.find('/');
    const size_t dot = component.find('.');
    size_t mark = std::string::npos;
    if (slash != std::string::npos) {
        if (slash == 0 || slash + 1 >= component.size() ||
            std::isdigit(static_cast<unsigned char>(component[slash - 1])) == 0 ||
            std::isdigit(static_cast<unsigned char>(component[slash + 1])) == 0 ||
            component[slash + 1] == '0') {
            return false;
        }
        t = (component[slash - 1] - '0') / static_cast<double>(component[slash + 1] - '0');
        mark = slash;
    } else if (dot != std::string::npos) {
        if (std::sscanf(component.c_str(), "%lf", &t) != 1 || !std::isfinite(t)) t = 0.0;
        mark = dot;
    }
    if (mark != std::string::npos) {
        const size_t from = mark >= 2 ? mark - 2 : 0;
        if (component.find('-', from) != std::string::npos) t = -t;
    }
    // The reading above takes any minus after the number for its sign ("3/4-x" becomes -3/4 - x),
    // reads a decimal only at the start of the component ("x+0.25" becomes x) and negates a
    // decimal that carries its own minus twice ("-0.25-z" becomes 0.25 - z). Where that puts
    // the atom elsewhere than the operation as written (origin-1 spinels in the notation of many
    // CIFs then double their titanium), the written translation is taken; where both are one
    // position modulo 1 ("1/2-x", read -1/2), the reading above stays, and with it every output.
    const double written = written_translation(component);
    if (std::isfinite(written)) {
        const double apart = t - written;
        if (std::fabs(apart - std::round(apart)) > 1e-9) t = written;
    }
    while (t > 1.0) t -= 1.0;
    while (t < -1.0) t += 1.0;
    return true;
}

}  // namespace

int velmar_card_set_by_text(VELMAR_CARD *card, const char *text) {
    if (card == nullptr || text == nullptr) {
        std::fputs("Error: unable to set VELMAR_CARD->text.\n", stderr);
        return 1;
    }
    copy_cut(card->text, text);
    // Three components split at the commas; white space and single quotes are dropped.
    std::string components[3];
    int count = 1;
    for (const char *p = card->text; *p != '\0'; ++p) {
        if (*p == ',') {
            ++count;
        } else if (std::strchr(" \t\r\n'", *p) == nullptr && count <= 3) {
            components[count - 1] += *p;
        }
    }
    if (count != 3) {
        std::fprintf(stderr, "Error: invalid symmetry operation '%s'.\n", card->text);
        return 1;
    }
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) card->r_f[i][j] = letter_coefficient(components[i], "xyz"[j]);
        if (!component_translation(components[i], card->t_f[i])) {
            std::fprintf(stderr, "Error: invalid symmetry operation '%s'.\n", card->text);
            return 1;
        }
    }
    return 0;
}

void velmar_card_text_from_matrix(char text[36], const double r_f[3][3], const double t_f[3]) {
    std::string out;
    for (int i = 0; i < 3; ++i) {
        if (i > 0) out += ", ";
        std::string component;
        for (int j = 0; j < 3; ++j) {
            const long c = std::lround(r_f[i][j]);
            if (c == 0) continue;
            if (c < 0) {
                component += '-';
            } else if (!component.empty()) {
                component += '+';
            }
            component += "xyz"[j];
        }
        double t = t_f[i] - std::floor(t_f[i]);
        if (t > 1.0 - 1e-9) t = 0.0;
        if (t > 1e-9) {
            // Fractions are kept as the parser reads them: one digit over one digit.
            bool written = false;
            for (int d = 2; d <= 9 && !written; ++d) {
                const double n = t * d;
                if (std::fabs(n - std::round(n)) < 1e-6) {
                    char fraction[16];
                    std::snprintf(fraction, sizeof fraction, "+%ld/%d", std::lround(n), d);
                    component += fraction;
                    written = true;
                }
            }
            if (!written) {
                char number[32];
                std::snprintf(number, sizeof number, "+%.6f", t);
                component += number;
            }
        }
        out += component.empty() ? "0" : component;
    }
    velmar::copy_text(text, 36, out);
}

void velmar_card_transform_vector3_long(long out[3], const long in[3], const long n[3],
                                        const VELMAR_CARD *card) {
    long r[3];
    for (int i = 0; i < 3; ++i) {
        r[i] = card->t_i[i];
        for (int j = 0; j < 3; ++j) r[i] += card->r_i[i][j] * in[j];
    }
    for (int i = 0; i < 3; ++i) out[i] = velmar_mod_long(r[i], n[i]);
}

int velmar_symmetry_fill_card_discrete(VELMAR_SYMMETRY *symmetry, const long n[3]) {
    if (symmetry == nullptr || (symmetry->total > 0 && symmetry->card == nullptr)) return 1;
    if (n[0] < 1 || n[1] < 1 || n[2] < 1) return 1;
    constexpr double kOnGrid = 1e-6;
    int status = 0;
    for (int k = 0; k < symmetry->total; ++k) {
        VELMAR_CARD &card = symmetry->card[k];
        velmar_matrix33_double_round_to_int(card.r_i, card.r_f);
        for (int r = 0; r < 3; ++r) {
            const double shift = static_cast<double>(n[r]) * card.t_f[r];
            card.t_i[r] = static_cast<int32_t>(std::lround(shift));
            if (std::fabs(shift - std::round(shift)) > kOnGrid) status = 1;
            for (int c = 0; c < 3; ++c) {
                if (std::fabs(card.r_f[r][c] - card.r_i[r][c]) > kOnGrid) status = 1;
            }
        }
    }
    return status;
}
