// The parameter table: records, species index, the order of filling, validation and printing.
#include "model/velmar-property.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/velmar.h"
#include "model/velmar-property-derived.h"
#include "structure/velmar-cell-ops.h"

namespace {

char sign(int os) { return os > 0 ? '+' : '-'; }

template <class T>
T *zeroed(size_t n) {
    return static_cast<T *>(std::calloc(n, sizeof(T)));
}

// Releases the per-species arrays and records of a table, leaving it empty.
void clear_species(VELMAR_PROPERTY *ppt) {
    std::free(ppt->type);
    std::free(ppt->os);
    std::free(ppt->count);
    velmar_property_unitary_free(ppt->uni);
    velmar_property_binary_free(ppt->bin, ppt->total);
    ppt->type = nullptr;
    ppt->os = nullptr;
    ppt->count = nullptr;
    ppt->uni = nullptr;
    ppt->bin = nullptr;
    ppt->total = 0;
}

// Writes each species' symbol and state into its records and into both ends of its pairs.
void label_records(VELMAR_PROPERTY *ppt) {
    for (int i = 0; i < ppt->total; ++i) {
        velmar::copy_text(ppt->uni[i].type, 3, ppt->type[i]);
        ppt->uni[i].os = ppt->os[i];
        for (int j = 0; j < ppt->total; ++j) {
            VELMAR_PROPERTY_BINARY &pair = ppt->bin[i][j];
            velmar::copy_text(pair.type1, 3, ppt->type[i]);
            pair.os1 = ppt->os[i];
            velmar::copy_text(pair.type2, 3, ppt->type[j]);
            pair.os2 = ppt->os[j];
        }
    }
}

bool usable(const VELMAR_PROPERTY *ppt) {
    if (ppt != nullptr && ppt->uni != nullptr && ppt->bin != nullptr) return true;
    std::fputs("Error: VELMAR_PROPERTY has not been properly initialized.\n", stderr);
    return false;
}

}  // namespace

VELMAR_PROPERTY_UNITARY *velmar_property_unitary_new(int total) {
    if (total <= 0) {
        std::fputs("Error: number of counts must be positive.\n", stderr);
        return nullptr;
    }
    auto *uni = zeroed<VELMAR_PROPERTY_UNITARY>(static_cast<size_t>(total));
    if (uni == nullptr) std::fputs("Error: unable to allocate VELMAR_PROPERTY_UNITARY.\n", stderr);
    return uni;
}

void velmar_property_unitary_free(VELMAR_PROPERTY_UNITARY *uni) { std::free(uni); }

int velmar_property_binary_new(VELMAR_PROPERTY_BINARY ***bin, int total) {
    if (total <= 0) {
        std::fputs("Error: number of counts must be positive.\n", stderr);
        return 1;
    }
    auto **rows = zeroed<VELMAR_PROPERTY_BINARY *>(static_cast<size_t>(total));
    if (rows == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_PROPERTY_BINARY.\n", stderr);
        return 1;
    }
    for (int i = 0; i < total; ++i) {
        rows[i] = zeroed<VELMAR_PROPERTY_BINARY>(static_cast<size_t>(total));
        if (rows[i] == nullptr) {
            std::fprintf(stderr, "Error: unable to allocate VELMAR_PROPERTY_BINARY[%d].\n", i);
            velmar_property_binary_free(rows, total);
            return 1;
        }
    }
    *bin = rows;
    return 0;
}

void velmar_property_binary_free(VELMAR_PROPERTY_BINARY **bin, int total) {
    if (bin == nullptr) return;
    for (int i = 0; i < total; ++i) std::free(bin[i]);
    std::free(bin);
}

VELMAR_PROPERTY *velmar_property_new(int total) {
    if (total < 0) {
        std::fputs("Error: number of counts must not be negative.\n", stderr);
        return nullptr;
    }
    auto *raw = zeroed<VELMAR_PROPERTY>(1);
    if (raw == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_PROPERTY.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_PROPERTY, velmar_property_free> ppt(raw);
    ppt->conducting = -1;
    ppt->sf = 0.0;
    if (total == 0) return ppt.release();
    const auto n = static_cast<size_t>(total);
    ppt->type = zeroed<char[3]>(n);
    if (ppt->type == nullptr) {
        std::fputs("Error: unable to allocate type[].\n", stderr);
        return nullptr;
    }
    ppt->os = zeroed<int>(n);
    if (ppt->os == nullptr) {
        std::fputs("Error: unable to allocate os[].\n", stderr);
        return nullptr;
    }
    ppt->count = zeroed<double>(n);
    if (ppt->count == nullptr) {
        std::fputs("Error: unable to allocate count[].\n", stderr);
        return nullptr;
    }
    ppt->uni = velmar_property_unitary_new(total);
    if (ppt->uni == nullptr) {
        VELMAR_ERROR_NULL(velmar_property_unitary_new);
        return nullptr;
    }
    if (velmar_property_binary_new(&ppt->bin, total) != 0) {
        VELMAR_ERROR_NONZERO(velmar_property_binary_new);
        return nullptr;
    }
    ppt->total = total;
    return ppt.release();
}

VELMAR_PROPERTY *velmar_property_copy(const VELMAR_PROPERTY *ppt) {
    if (ppt == nullptr) return nullptr;
    velmar::Owned<VELMAR_PROPERTY, velmar_property_free> copy(velmar_property_new(ppt->total));
    if (!copy) {
        VELMAR_ERROR_NULL(velmar_property_new);
        return nullptr;
    }
    const auto n = static_cast<size_t>(ppt->total);
    if (n > 0) {
        std::memcpy(copy->type, ppt->type, sizeof(char[3]) * n);
        std::memcpy(copy->os, ppt->os, sizeof(int) * n);
        if (ppt->count != nullptr) std::memcpy(copy->count, ppt->count, sizeof(double) * n);
        std::memcpy(copy->uni, ppt->uni, sizeof(VELMAR_PROPERTY_UNITARY) * n);
        for (size_t i = 0; i < n; ++i) {
            std::memcpy(copy->bin[i], ppt->bin[i], sizeof(VELMAR_PROPERTY_BINARY) * n);
        }
    }
    copy->sf = ppt->sf;
    copy->conducting = ppt->conducting;
    return copy.release();
}

void velmar_property_free(VELMAR_PROPERTY *ppt) {
    if (ppt == nullptr) return;
    clear_species(ppt);
    std::free(ppt);
}

int velmar_property_set_conducting(VELMAR_PROPERTY *ppt, const char *type, int os) {
    if (ppt == nullptr) {
        std::fputs("Error: VELMAR_PROPERTY has not been properly initialized.\n", stderr);
        return 1;
    }
    const int index = velmar_property_find_index(ppt, type, os);
    if (index < 0) {
        std::fputs("Error: velmar_property_find_index() returns negative value.\n", stderr);
        return 1;
    }
    ppt->conducting = index;
    return 0;
}

int velmar_property_find_index(const VELMAR_PROPERTY *ppt, const char *type, int os) {
    if (ppt == nullptr || type == nullptr) return -1;
    for (int i = 0; i < ppt->total; ++i) {
        if (ppt->os[i] == os && std::strcmp(ppt->type[i], type) == 0) return i;
    }
    return -1;
}

VELMAR_PROPERTY *velmar_property_import_from_cell(VELMAR_CELL *cell, const char *type, int os,
                                                  double sf, const char *dir_unitary,
                                                  const char *dir_binary) {
    velmar::Owned<VELMAR_PROPERTY, velmar_property_free> ppt(velmar_property_new(0));
    if (!ppt) {
        VELMAR_ERROR_NULL(velmar_property_new);
        return nullptr;
    }
    if (velmar_property_update_index_by_cell(ppt.get(), cell) != 0) {
        VELMAR_ERROR_NONZERO(velmar_property_update_index_by_cell);
        return nullptr;
    }
    if (type != nullptr) {
        if (velmar_property_append_index(ppt.get(), type, os) != 0) {
            VELMAR_ERROR_NONZERO(velmar_property_append_index);
            return nullptr;
        }
        ppt->conducting = velmar_property_find_index(ppt.get(), type, os);
    }
    ppt->sf = sf;
    if (velmar_property_update(ppt.get(), cell, dir_unitary, dir_binary) != 0) {
        VELMAR_ERROR_NONZERO(velmar_property_update);
        return nullptr;
    }
    return ppt.release();
}

int velmar_property_update_index_by_cell(VELMAR_PROPERTY *ppt, VELMAR_CELL *cell) {
    if (cell == nullptr || cell->atom == nullptr || cell->total < 1) {
        std::fputs("Error: VELMAR_CELL has not been properly initialized.\n", stderr);
        return 1;
    }
    if (ppt == nullptr) {
        std::fputs("Error: VELMAR_PROPERTY has not been properly initialized.\n", stderr);
        return 1;
    }
    if (ppt->total > 0) clear_species(ppt);
    const int total = velmar_cell_count_type_os(cell);
    const auto n = static_cast<size_t>(total);
    ppt->type = zeroed<char[3]>(n);
    if (ppt->type == nullptr) {
        std::fputs("Error: unable to allocate ppt->type[].\n", stderr);
        return 1;
    }
    ppt->os = zeroed<int>(n);
    if (ppt->os == nullptr) {
        std::fputs("Error: unable to allocate ppt->os[].\n", stderr);
        return 1;
    }
    ppt->count = zeroed<double>(n);
    if (ppt->count == nullptr) {
        std::fputs("Error: unable to allocate ppt->count[].\n", stderr);
        return 1;
    }
    ppt->uni = velmar_property_unitary_new(total);
    if (ppt->uni == nullptr || velmar_property_binary_new(&ppt->bin, total) != 0) return 1;
    ppt->total = total;

    velmar_atom_sort(cell->atom, cell->total);
    int k = 0;
    for (int32_t a = 0; a < cell->total; ++a) {
        const VELMAR_ATOM &atom = cell->atom[a];
        const bool run_goes_on = a + 1 < cell->total && cell->atom[a + 1].os == atom.os &&
                                 std::strcmp(cell->atom[a + 1].type, atom.type) == 0;
        if (run_goes_on) continue;
        velmar::copy_text(ppt->type[k], 3, atom.type);
        ppt->os[k] = atom.os;
        ++k;
    }
    label_records(ppt);
    return 0;
}

int velmar_property_append_index(VELMAR_PROPERTY *ppt, const char *type, int os) {
    if (ppt == nullptr || type == nullptr) {
        std::fputs("Error: VELMAR_PROPERTY has not been properly initialized.\n", stderr);
        return 1;
    }
    if (velmar_property_find_index(ppt, type, os) >= 0) return 0;
    // A state given on a command line can be anything an int holds; none beyond +-16 exists.
    if (os < -16 || os > 16) {
        std::fprintf(stderr, "Error: oxidation state %d of %s is out of range (-16 to 16).\n", os,
                     type);
        return 1;
    }
    const int total = ppt->total + 1;
    const auto n = static_cast<size_t>(total);
    auto *types = static_cast<char(*)[3]>(std::realloc(ppt->type, sizeof(char[3]) * n));
    if (types == nullptr) {
        std::fputs("Error: unable to reallocate ppt->type.\n", stderr);
        return 1;
    }
    ppt->type = types;
    auto *states = static_cast<int *>(std::realloc(ppt->os, sizeof(int) * n));
    if (states == nullptr) {
        std::fputs("Error: unable to reallocate ppt->os.\n", stderr);
        return 1;
    }
    ppt->os = states;
    // The appended species has no atoms in the cell; its count stays 0.
    auto *counts = static_cast<double *>(std::realloc(ppt->count, sizeof(double) * n));
    if (counts == nullptr) {
        std::fputs("Error: unable to reallocate ppt->count.\n", stderr);
        return 1;
    }
    ppt->count = counts;
    ppt->count[total - 1] = 0.0;
    velmar_property_unitary_free(ppt->uni);
    velmar_property_binary_free(ppt->bin, ppt->total);
    ppt->uni = nullptr;
    ppt->bin = nullptr;
    velmar::copy_text(ppt->type[total - 1], 3, type);
    ppt->os[total - 1] = os;
    ppt->total = total;
    ppt->uni = velmar_property_unitary_new(total);
    if (ppt->uni == nullptr || velmar_property_binary_new(&ppt->bin, total) != 0) return 1;
    return 0;
}

int velmar_property_update(VELMAR_PROPERTY *ppt, VELMAR_CELL *cell, const char *dir_unitary,
                           const char *dir_binary) {
    if (velmar_property_update_read_from_file(ppt, cell, dir_unitary, dir_binary) != 0) {
        VELMAR_ERROR_NONZERO(velmar_property_update_read_from_file);
        return 1;
    }
    if (velmar_property_estimate(ppt, dir_unitary, dir_binary) != 0) {
        VELMAR_ERROR_NONZERO(velmar_property_estimate);
        return 1;
    }
    if (velmar_property_calculate_effective_b(ppt, cell) != 0) {
        VELMAR_ERROR_NONZERO(velmar_property_calculate_effective_b);
        return 1;
    }
    if (velmar_property_unitary_derived(ppt) != 0) {
        VELMAR_ERROR_NONZERO(velmar_property_unitary_derived);
        return 1;
    }
    if (velmar_property_binary_derived(ppt) != 0) {
        VELMAR_ERROR_NONZERO(velmar_property_binary_derived);
        return 1;
    }
    if (velmar_property_calculate_fractional_charge(ppt, cell) != 0) {
        VELMAR_ERROR_NONZERO(velmar_property_calculate_fractional_charge);
        return 1;
    }
    if (velmar_property_calculate_screening_factor(ppt, cell) < 0) {
        std::fputs("Error: velmar_property_calculate_screening_factor() returns negative value.\n",
                   stderr);
        return 1;
    }
    std::printf("Message: sf=%.6f\n", ppt->sf);
    if (velmar_property_binary_pseudopotential(ppt) != 0) {
        VELMAR_ERROR_NONZERO(velmar_property_binary_pseudopotential);
        return 1;
    }
    if (velmar_property_calculate_type_count(ppt, cell) != 0) {
        std::fputs("Error: velmar_property_type_count() returns non-zero.\n", stderr);
        return 1;
    }
    return 0;
}

int velmar_property_update_read_from_file(VELMAR_PROPERTY *ppt, const VELMAR_CELL * /*cell*/,
                                          const char *dir_unitary, const char *dir_binary) {
    if (!usable(ppt)) return 1;
    for (int i = 0; i < ppt->total; ++i) {
        if (velmar_property_unitary_read_from_file(&ppt->uni[i], ppt->type[i], ppt->os[i],
                                                   dir_unitary) != 0) {
            VELMAR_ERROR_NONZERO(velmar_property_unitary_read_from_file);
            return 1;
        }
        for (int j = 0; j < ppt->total; ++j) {
            if (velmar_property_binary_read_from_file(&ppt->bin[i][j], ppt->type[i], ppt->os[i],
                                                      ppt->type[j], ppt->os[j], dir_binary) != 0) {
                std::fputs("Error: velmar_property_bin_read_from_file() returns non-zero.\n",
                           stderr);
                return 1;
            }
        }
    }
    return 0;
}

int velmar_property_validate_generic(const VELMAR_PROPERTY *ppt) {
    if (!usable(ppt)) return 1;
    for (int i = 0; i < ppt->total; ++i) {
        const VELMAR_PROPERTY_UNITARY &u = ppt->uni[i];
        const char *t = ppt->type[i];
        const int os = ppt->os[i];
        const int a = std::abs(os);
        const char s = sign(os);
        if (!(u.q * os > 0)) {
            std::fprintf(stderr, "Error: incorrect q at [%d](%s%d%c) q=%f\n", i, t, a, s, u.q);
            return 1;
        }
        if (!(u.rc > 0)) {
            std::fprintf(stderr, "Error: incorrect rc at[%d](%s%d%c) rc=%f\n", i, t, a, s, u.rc);
            return 1;
        }
        if (!(u.m > 0)) {
            std::fprintf(stderr, "Error: incorrect m at[%d](%s%d%c) m=%f\n", i, t, a, s, u.m);
            return 1;
        }
        if (!(u.soft > 0)) {
            std::fprintf(stderr, "Error: incorrect soft at[%d](%s%d%c) soft=%f\n", i, t, a, s,
                         u.soft);
            return 1;
        }
    }
    for (int i = 0; i < ppt->total; ++i) {
        for (int j = 0; j < ppt->total; ++j) {
            if (!(ppt->os[i] > 0 && ppt->os[j] < 0)) continue;
            const VELMAR_PROPERTY_BINARY &p = ppt->bin[i][j];
            const char *t1 = ppt->type[i];
            const char *t2 = ppt->type[j];
            const int a1 = std::abs(ppt->os[i]);
            const int a2 = std::abs(ppt->os[j]);
            const char s1 = sign(ppt->os[i]);
            const char s2 = sign(ppt->os[j]);
            if (!(p.cutoff > 0)) {
                std::fprintf(stderr, "Error: incorrect cutoff at [%d](%s%d%c)-(%s%d%c) cutoff=%f\n",
                             i, t1, a1, s1, t2, a2, s2, p.cutoff);
                return 1;
            }
            if (!(p.b > 0)) {
                std::fprintf(stderr, "Error: incorrect b at [%d](%s%d%c)-(%s%d%c) b=%f\n", i, t1,
                             a1, s1, t2, a2, s2, p.b);
                return 1;
            }
            if (!(p.cn > 0)) {
                std::fprintf(stderr, "Error: incorrect cn at [%d](%s%d%c)-(%s%d%c) cn=%f\n", i, t1,
                             a1, s1, t2, a2, s2, p.cn);
                return 1;
            }
            if (!(p.r0 > 0)) {
                std::fprintf(stderr, "Error: incorrect r0 at [%d](%s%d%c)-(%s%d%c) r0=%f\n", i, t1,
                             a1, s1, t2, a2, s2, p.r0);
                return 1;
            }
            if (!(p.d0 > 0)) {
                std::fprintf(stderr, "Error: incorrect d0 at [%d](%s%d%c)-(%s%d%c) d0=%f\n", i, t1,
                             a1, s1, t2, a2, s2, p.d0);
                return 1;
            }
            if (!(p.rmin > 0)) {
                std::fprintf(stderr, "Error: incorrect rmin at [%d](%s%d%c)-(%s%d%c) rmin=%f\n", i,
                             t1, a1, s1, t2, a2, s2, p.rmin);
                return 1;
            }
        }
    }
    return 0;
}

void velmar_property_print_format(const VELMAR_PROPERTY *ppt) {
    if (ppt == nullptr) {
        std::printf("PPT: (not allocated)\n");
        return;
    }
    std::printf("PPT: total number of PROPERTY_UNITARY: %d\n", ppt->total);
    std::printf("PPT:============================================\n");
    std::printf("PPT: | %s | %s | %s | %s | %s |\n", "type", "an", "softness", "  rc", "        q");
    std::printf("PPT:--------------------------------------------\n");
    for (int i = 0; i < ppt->total; ++i) {
        const VELMAR_PROPERTY_UNITARY &u = ppt->uni[i];
        std::printf("PPT: | %2s%d%c | %2d | %8.6f | %4.2f | %9.6f |\n", ppt->type[i],
                    std::abs(ppt->os[i]), sign(ppt->os[i]), u.an, u.soft, u.rc, u.q);
    }
    std::printf("PPT:--------------------------------------------\n");
    std::printf("PPT: total number of PROPERTY_BINARY: %d\n", ppt->total * ppt->total);
    std::printf("PPT:========================================================================\n");
    std::printf("PPT: | %s | %s | %s | %s | %s | %s | %s |\n", "cation", " anion", "     D_0",
                "   R_min", "    b", "     R_0", "R_cutoff");
    std::printf("PPT:------------------------------------------------------------------------\n");
    for (int i = 0; i < ppt->total; ++i) {
        for (int j = 0; j < ppt->total; ++j) {
            const VELMAR_PROPERTY_BINARY &p = ppt->bin[i][j];
            if (!(p.cutoff > 0)) continue;
            std::printf("PPT: | %4s%d%c | %4s%d%c | %8.6f | %8.6f | %5.3f | %8.6f | %8.6f |\n",
                        ppt->type[i], std::abs(ppt->os[i]), sign(ppt->os[i]), ppt->type[j],
                        std::abs(ppt->os[j]), sign(ppt->os[j]), p.d0 * VELMAR_COULOMB * 0.5, p.rmin,
                        p.b, p.r0, p.cutoff);
        }
    }
    std::printf("PPT:========================================================================\n");
    std::printf("PPT: screening factor = %.6f\n", ppt->sf);
}

void velmar_property_print(const VELMAR_PROPERTY *ppt) {
    if (ppt == nullptr) {
        std::printf("PPT: (not allocated)\n");
        return;
    }
    std::printf("PPT: total number of PROPERTY_UNITARY: %d\n", ppt->total);
    for (int i = 0; i < ppt->total; ++i) {
        const VELMAR_PROPERTY_UNITARY &u = ppt->uni[i];
        std::printf("%s(%d):soft=%5.3f;rc=%5.3f;m=%6.2f;an=%d;n=%d;g=%d;b=%d;c=%d;q=%6.3f\n",
                    ppt->type[i], ppt->os[i], u.soft, u.rc, u.m, u.an, u.n, u.g, u.b, u.c, u.q);
    }
    std::printf("PPT: total number of PROPERTY_BINARY: %d\n", ppt->total * ppt->total);
    for (int i = 0; i < ppt->total; ++i) {
        for (int j = 0; j < ppt->total; ++j) {
            const VELMAR_PROPERTY_BINARY &p = ppt->bin[i][j];
            std::printf(
                "%s(%d)%s(%d):b=%5.3f;b_old=%5.3f;r0=%5.3f;cutoff=%3.1f;cn=%4.2f;d0=%6.3f,rmin=%5."
                "3f;"
                "r_bc=%5.3f;r_cc=%5.3f;bv_s=%6.3f;en_s=%8.5f;f_s=%7.5f;a0=%6.3f;a1=%5.3f;a2=%5."
                "3f\n",
                ppt->type[i], ppt->os[i], ppt->type[j], ppt->os[j], p.b, p.b_old, p.r0, p.cutoff,
                p.cn, p.d0, p.rmin, p.r_bc, p.r_cc, p.bv_s, p.en_s, p.f_s, p.a0, p.a1, p.a2);
        }
    }
    if (ppt->conducting < 0) {
        std::printf("PPT: conducting species not specified.\n");
    } else {
        std::printf("PPT: conducting species = %s(%d)\n", ppt->type[ppt->conducting],
                    ppt->os[ppt->conducting]);
    }
    std::printf("PPT: screening factor=%.6f\n", ppt->sf);
}

void velmar_property_unitary_print(VELMAR_PROPERTY_UNITARY uni) {
    std::printf("PPT_UNITARY: %s(%d) an=%d m=%.5f n=%d g=%d b=%d c=%d rc=%.3f soft=%.5f q=%.6f\n",
                uni.type, uni.os, uni.an, uni.m, uni.n, uni.g, uni.b, uni.c, uni.rc, uni.soft,
                uni.q);
}

void velmar_property_binary_print(VELMAR_PROPERTY_BINARY bin) {
    std::printf(
        "PPT_BINARY: %s(%d)-%s(%d) r0=%.4f b=%.4f b_old=%.4f cn=%.3f cutoff=%.2f d0=%.6f "
        "rmin=%.6f\n",
        bin.type1, bin.os1, bin.type2, bin.os2, bin.r0, bin.b, bin.b_old, bin.cn, bin.cutoff,
        bin.d0, bin.rmin);
}
