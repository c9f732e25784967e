// Critical points: reading, typing, the list with its sort, merge and cap, and the CIF and text
// exports.
#include "analysis/velmar-fftdot.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "core/velmar-la.h"
#include "core/velmar-solver.h"
#include "core/velmar.h"
#include "structure/velmar-cell-geometry.h"

namespace {

int64_t flat(const long x[3], const int32_t n[3]) { return (x[0] * n[1] + x[1]) * n[2] + x[2]; }

// Slope of the full record's gradient at flat voxel v.
double record_slope(const VELMAR_FFT *fft, int64_t v) {
    const double g[3] = {fft->f[0]->value[v][0], fft->f[1]->value[v][0], fft->f[2]->value[v][0]};
    return velmar_vector3_double_length(g);
}

fftdot_type type_of_signs(const double eig[3]) {
    int negative = 0;
    int positive = 0;
    for (int r = 0; r < 3; ++r) {
        negative += eig[r] < 0.0;
        positive += eig[r] > 0.0;
    }
    if (positive == 3) return FFT_MIN;
    if (negative == 3) return FFT_MAX;
    if (negative == 1 && positive == 2) return FFT_SD1;
    if (negative == 2 && positive == 1) return FFT_SD2;
    return FFT_ERR;
}

// True when no voxel of the periodic 26-neighbourhood of x has a slope strictly below own.
template <class Slope>
bool lowest_slope_around(const long x[3], const int32_t n[3], double own, Slope slope_at) {
    for (long p = -1; p <= 1; ++p) {
        for (long q = -1; q <= 1; ++q) {
            for (long s = -1; s <= 1; ++s) {
                if (p == 0 && q == 0 && s == 0) continue;
                const long y[3] = {velmar_mod_long(x[0] + p, n[0]), velmar_mod_long(x[1] + q, n[1]),
                                   velmar_mod_long(x[2] + s, n[2])};
                if (slope_at(flat(y, n)) < own) return false;
            }
        }
    }
    return true;
}

bool is_listed(fftdot_type t) {
    return t == FFT_MIN || t == FFT_SD1 || t == FFT_SD2 || t == FFT_MAX;
}

bool list_ready(const VELMAR_FFTDOT_LIST *list) {
    if (list != nullptr && (list->total == 0 || list->dot != nullptr)) return true;
    std::fputs("Error: VELMAR_FFTDOT_LIST has not been properly initialized.\n", stderr);
    return false;
}

// Keeps the dots for which keep(dot) holds, in order.
template <class Keep>
void keep_if(VELMAR_FFTDOT_LIST *list, Keep keep) {
    int32_t kept = 0;
    for (int32_t d = 0; d < list->total; ++d) {
        if (keep(list->dot[d])) list->dot[kept++] = list->dot[d];
    }
    list->total = kept;
}

}  // namespace

int velmar::detail::fftdot_fill(VELMAR_FFTDOT *dot, const long x_i[3], const int32_t n[3],
                                const double a_i[3][3], double en, const double f[3],
                                const double k[3][3]) {
    std::memset(dot, 0, sizeof(VELMAR_FFTDOT));
    for (int r = 0; r < 3; ++r) dot->x_i[r] = static_cast<int32_t>(velmar_mod_long(x_i[r], n[r]));
    velmar_vector3_double_sum3(dot->x, dot->x_i[0], a_i[0], dot->x_i[1], a_i[1], dot->x_i[2],
                               a_i[2]);
    dot->en = en;
    velmar_vector3_double_copy(dot->f, f);
    velmar_matrix33_double_copy(dot->k, k);
    // The closed form gives up on some stiff matrices (its rank tolerances are absolute); Jacobi
    // rotations then classify the point all the same. Only a matrix with a non-finite entry stays
    // unclassified.
    double k_copy[3][3];
    velmar_matrix33_double_copy(k_copy, dot->k);
    if (velmar_matrix33_double_eigensolver_symmetric(dot->eig, dot->eiv, k_copy) != 0 &&
        velmar_matrix33_double_eigensolver_jacobi(dot->eig, dot->eiv, dot->k) != 0) {
        dot->type = FFT_ERR;
        return 1;
    }
    dot->type = type_of_signs(dot->eig);
    return 0;
}

bool velmar::detail::fftdot_is_critical(const double *slope, const int32_t n[3], int64_t v) {
    const long x[3] = {static_cast<long>(v / (static_cast<int64_t>(n[1]) * n[2])),
                       static_cast<long>((v / n[2]) % n[1]), static_cast<long>(v % n[2])};
    return lowest_slope_around(x, n, slope[v], [slope](int64_t y) { return slope[y]; });
}

int velmar::detail::fftdot_list_finish(VELMAR_FFTDOT_LIST *list) {
    if (velmar_fftdot_list_merge_near(list) != 0) {
        VELMAR_ERROR_NONZERO(velmar_fftdot_list_merge_near);
        return 1;
    }
    std::printf("Message: found %ld critical points via fft method.\n",
                static_cast<long>(list->total));
    return 0;
}

VELMAR_FFTDOT *velmar_fftdot_new() {
    auto *dot = static_cast<VELMAR_FFTDOT *>(std::calloc(1, sizeof(VELMAR_FFTDOT)));
    if (dot == nullptr) std::fputs("Error: unable to allocate VELMAR_FFTDOT.\n", stderr);
    return dot;
}

void velmar_fftdot_free(VELMAR_FFTDOT *dot) { std::free(dot); }

int velmar::detail::fftdot_read(VELMAR_FFTDOT *dot, const VELMAR_FFT *fft, const long x_i[3]) {
    bool complete = dot != nullptr && fft != nullptr && fft->en != nullptr;
    for (int r = 0; complete && r < 3; ++r) {
        complete = fft->f[r] != nullptr && fft->k[r][0] != nullptr && fft->k[r][1] != nullptr &&
                   fft->k[r][2] != nullptr;
    }
    if (!complete) {
        std::fputs("Error: VELMAR_FFT has not been properly initialized.\n", stderr);
        return 1;
    }
    const int32_t *n = fft->en->n;
    const long folded[3] = {velmar_mod_long(x_i[0], n[0]), velmar_mod_long(x_i[1], n[1]),
                            velmar_mod_long(x_i[2], n[2])};
    const int64_t v = flat(folded, n);
    double f[3];
    double k[3][3];
    for (int r = 0; r < 3; ++r) {
        f[r] = fft->f[r]->value[v][0];
        for (int s = 0; s < 3; ++s) k[r][s] = fft->k[r][s]->value[v][0];
    }
    // The eigensolver can fail on the stiff matrices near atoms; that matters only where the
    // eigenvalues are used, at the critical points.
    const bool solved =
        velmar::detail::fftdot_fill(dot, folded, n, fft->en->a_i, fft->en->value[v][0], f, k) == 0;
    velmar_fftdot_determine_type(dot, fft);
    return solved || dot->type == FFT_NOR ? 0 : 1;
}

int velmar_fftdot_read_from_fft(VELMAR_FFTDOT *dot, const VELMAR_FFT *fft, const long x_i[3]) {
    if (dot == nullptr || fft == nullptr || fft->en == nullptr) {
        std::fputs("Error: VELMAR_FFT has not been properly initialized.\n", stderr);
        return 1;
    }
    if (velmar::detail::fftdot_read(dot, fft, x_i) == 0) return 0;
    std::fputs("Error: velmar_matrix33_double_eigensolver_symmetric() returns non-zero.\n", stderr);
    return 1;
}

void velmar::detail::fftdot_report_skipped(long skipped) {
    if (skipped == 0) return;
    std::printf(
        "Warning: %ld critical points could not be classified (their second derivatives are not "
        "finite) and were left out.\n",
        skipped);
}

void velmar_fftdot_determine_type(VELMAR_FFTDOT *dot, const VELMAR_FFT *fft) {
    if (dot == nullptr || fft == nullptr || fft->en == nullptr || fft->f[0] == nullptr ||
        fft->f[1] == nullptr || fft->f[2] == nullptr) {
        std::fputs("Error: VELMAR_FFT has not been properly initialized.\n", stderr);
        return;
    }
    const int32_t *n = fft->en->n;
    const long x[3] = {dot->x_i[0], dot->x_i[1], dot->x_i[2]};
    const auto slope_at = [fft](int64_t y) { return record_slope(fft, y); };
    dot->type = lowest_slope_around(x, n, record_slope(fft, flat(x, n)), slope_at)
                    ? type_of_signs(dot->eig)
                    : FFT_NOR;
}

VELMAR_FFTDOT_LIST *velmar_fftdot_list_new() {
    auto *list = static_cast<VELMAR_FFTDOT_LIST *>(std::calloc(1, sizeof(VELMAR_FFTDOT_LIST)));
    if (list == nullptr) std::fputs("Error: unable to allocate VELMAR_FFTDOT_LIST.\n", stderr);
    return list;
}

void velmar_fftdot_list_free(VELMAR_FFTDOT_LIST *list) {
    if (list == nullptr) return;
    std::free(list->dot);
    std::free(list);
}

VELMAR_FFTDOT_LIST *velmar_fftdot_list_new_from_fft(const VELMAR_FFT *fft) {
    if (fft == nullptr || fft->en == nullptr) {
        std::fputs("Error: VELMAR_FFT has not been properly initialized.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_FFTDOT_LIST, velmar_fftdot_list_free> list(velmar_fftdot_list_new());
    if (!list) return nullptr;
    const int32_t *n = fft->en->n;
    std::vector<VELMAR_FFTDOT> dots;
    VELMAR_FFTDOT dot{};
    long skipped = 0;
    for (long i = 0; i < n[0]; ++i) {
        for (long j = 0; j < n[1]; ++j) {
            for (long k = 0; k < n[2]; ++k) {
                const long x[3] = {i, j, k};
                if (velmar::detail::fftdot_read(&dot, fft, x) != 0) {
                    ++skipped;
                    continue;
                }
                if (is_listed(dot.type)) dots.push_back(dot);
            }
        }
    }
    velmar::detail::fftdot_report_skipped(skipped);
    list->dot =
        static_cast<VELMAR_FFTDOT *>(std::malloc(sizeof(VELMAR_FFTDOT) * (dots.size() + 1)));
    if (list->dot == nullptr) {
        std::fputs("Error: unable to reallocate VELMAR_FFTDOT.\n", stderr);
        return nullptr;
    }
    std::copy(dots.begin(), dots.end(), list->dot);
    list->total = static_cast<int32_t>(dots.size());
    velmar_matrix33_double_copy(list->a, fft->en->a);
    velmar_matrix33_double_copy(list->a_i, fft->en->a_i);
    for (int r = 0; r < 3; ++r) list->n[r] = n[r];
    if (velmar::detail::fftdot_list_finish(list.get()) != 0) return nullptr;
    return list.release();
}

int velmar_fftdot_list_sort(VELMAR_FFTDOT_LIST *list) {
    if (!list_ready(list)) return 1;
    // An exchange sort: each later dot that belongs strictly before the current one is swapped in.
    const auto before = [](const VELMAR_FFTDOT &a, const VELMAR_FFTDOT &b) {
        return a.type < b.type || (a.type == b.type && a.en < b.en);
    };
    for (int32_t i = 0; i < list->total; ++i) {
        for (int32_t j = i + 1; j < list->total; ++j) {
            if (before(list->dot[j], list->dot[i])) std::swap(list->dot[i], list->dot[j]);
        }
    }
    return 0;
}

int velmar_fftdot_list_merge_near(VELMAR_FFTDOT_LIST *list) {
    if (velmar_fftdot_list_sort(list) != 0) return 1;
    const int32_t *n = list->n;
    // Diagonal neighbours: the indices differ by one (periodically) on every axis.
    const auto near = [n](const VELMAR_FFTDOT &a, const VELMAR_FFTDOT &b) {
        for (int r = 0; r < 3; ++r) {
            const int32_t d = std::abs(a.x_i[r] - b.x_i[r]);
            if (d != 1 && d != n[r] - 1) return false;
        }
        return true;
    };
    const auto margin = [n](const VELMAR_FFTDOT &d, int r) {
        return std::min(d.x_i[r], n[r] - d.x_i[r]);
    };
    for (int32_t i = 0; i < list->total; ++i) {
        VELMAR_FFTDOT &a = list->dot[i];
        if (a.type == FFT_ERR) continue;
        const fftdot_type type = a.type;
        for (int32_t j = i + 1; j < list->total && a.type != FFT_ERR; ++j) {
            VELMAR_FFTDOT &b = list->dot[j];
            if (b.type == FFT_ERR) continue;
            if (b.type != type) break;
            if (!near(a, b)) continue;
            // The dot nearer the cell's boundary goes; on a tie, the later one.
            VELMAR_FFTDOT *removed = &b;
            for (int r = 0; r < 3; ++r) {
                if (margin(a, r) != margin(b, r)) {
                    removed = margin(a, r) < margin(b, r) ? &a : &b;
                    break;
                }
            }
            removed->type = FFT_ERR;
        }
    }
    keep_if(list, [](const VELMAR_FFTDOT &d) { return d.type != FFT_ERR; });
    return 0;
}

int velmar_fftdot_list_filter(VELMAR_FFTDOT_LIST *list, double cap) {
    if (!list_ready(list)) return 1;
    if (list->total == 0) return 0;
    double lowest = list->dot[0].en;
    for (int32_t d = 1; d < list->total; ++d) lowest = std::min(lowest, list->dot[d].en);
    keep_if(list, [lowest, cap](const VELMAR_FFTDOT &d) { return !(d.en > lowest + cap); });
    return 0;
}

VELMAR_CELL *velmar_fftdot_list_export_to_cell(const VELMAR_FFTDOT_LIST *list) {
    if (!list_ready(list)) return nullptr;
    velmar::Owned<VELMAR_CELL, velmar_cell_free> cell(velmar_cell_new(list->total));
    if (!cell) {
        VELMAR_ERROR_NULL(velmar_cell_new);
        return nullptr;
    }
    for (int32_t d = 0; d < list->total; ++d) {
        const VELMAR_FFTDOT &dot = list->dot[d];
        VELMAR_ATOM &atom = cell->atom[d];
        const char *name = "ERR";
        const char *type = "Cs";
        switch (dot.type) {
            case FFT_MIN:
                name = "MIN";
                type = "Li";
                break;
            case FFT_SD1:
                name = "SD1";
                type = "Na";
                break;
            case FFT_SD2:
                name = "SD2";
                type = "K";
                break;
            case FFT_MAX:
                name = "MAX";
                type = "Rb";
                break;
            default:
                break;
        }
        velmar::copy_text(atom.name, sizeof atom.name, name);
        velmar::copy_text(atom.type, sizeof atom.type, type);
        atom.os = 1;
        atom.occ = 1.0;
        velmar_vector3_double_copy(atom.x, dot.x);
    }
    velmar_matrix33_double_copy(cell->a, list->a);
    velmar_cell_update_fractional(cell.get());
    return cell.release();
}

VELMAR_TEXT *velmar_fftdot_list_export_to_text(const VELMAR_FFTDOT_LIST *list) {
    if (!list_ready(list)) return nullptr;
    std::string out = "# energy unit: eV; length unit: A\r\n";
    char line[1024];
    std::snprintf(line, sizeof line, "%5s,%6s,%6s,%6s,%6s,%6s,%6s,", "no", "x", "y", "z", "xi",
                  "yi", "zi");
    out += line;
    static const char *const kNames[26] = {
        "en",     "eig_1",  "eig_2",  "eig_3",  "eiv_11", "eiv_12", "eiv_13", "eiv_21", "eiv_22",
        "eiv_23", "eiv_31", "eiv_32", "eiv_33", "|f|",    "f_x",    "f_y",    "f_z",    "k_xx",
        "k_xy",   "k_xz",   "k_yx",   "k_yy",   "k_yz",   "k_zx",   "k_zy",   "k_zz"};
    for (int c = 0; c < 26; ++c) {
        std::snprintf(line, sizeof line, c == 0 ? "%9s" : ",%9s", kNames[c]);
        out += line;
    }
    out += "\r\n";
    for (int32_t d = 0; d < list->total; ++d) {
        const VELMAR_FFTDOT &dot = list->dot[d];
        std::snprintf(line, sizeof line, "%5ld,%6.3f,%6.3f,%6.3f,%6ld,%6ld,%6ld,",
                      static_cast<long>(d + 1), dot.x[0], dot.x[1], dot.x[2],
                      static_cast<long>(dot.x_i[0]), static_cast<long>(dot.x_i[1]),
                      static_cast<long>(dot.x_i[2]));
        out += line;
        double values[26];
        values[0] = dot.en;
        for (int r = 0; r < 3; ++r) {
            values[1 + r] = dot.eig[r];
            for (int s = 0; s < 3; ++s) {
                values[4 + 3 * r + s] = dot.eiv[r][s];
                values[17 + 3 * r + s] = dot.k[r][s];
            }
            values[14 + r] = dot.f[r];
        }
        values[13] = velmar_vector3_double_length(dot.f);
        for (int c = 0; c < 26; ++c) {
            std::snprintf(line, sizeof line, c == 0 ? "%9.5f" : ",%9.5f", values[c]);
            out += line;
        }
        out += "\r\n";
    }
    VELMAR_TEXT *text = velmar_text_new(out.c_str());
    if (text == nullptr) VELMAR_ERROR_NULL(velmar_text_new);
    return text;
}
