// Bond-valence sums and the global instability index. Each site's partners are found among the
// periodic images binned by velmar::ImageGrid; sites are summed in parallel, each into its own
// row, so the result does not depend on the number of threads.
#include "model/velmar-bv.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "core/velmar-array.h"
#include "core/velmar-la.h"
#include "core/velmar.h"
#include "structure/velmar-cell-geometry.h"
#include "structure/velmar-cell-ops.h"
#include "structure/velmar-image-grid.h"

namespace {

constexpr double kTooClose = 0.3;  // A

char sign(int os) { return os > 0 ? '+' : '-'; }

}  // namespace

VELMAR_BV *velmar_bv_new(int total) {
    if (total < 1) {
        std::fputs("Error: number of sites must be positive.\n", stderr);
        return nullptr;
    }
    auto *raw = static_cast<VELMAR_BV *>(std::calloc(1, sizeof(VELMAR_BV)));
    if (raw == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_BV.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_BV, velmar_bv_free> bv(raw);
    bv->total = total;
    bv->atom = velmar_atom_new(total);
    bv->multi = velmar_array_int_1D_new(total);
    bv->sum = velmar_array_double_1D_new(total);
    bv->pair_start = static_cast<long *>(std::calloc(static_cast<size_t>(total) + 1, sizeof(long)));
    if (total <= velmar::detail::kBvFullPairTable) {
        bv->value = velmar_array_double_2D_new(total, total);
        if (bv->value == nullptr) {
            std::fputs("Error: unable to allocate VELMAR_BV.\n", stderr);
            return nullptr;
        }
    }
    if (bv->atom == nullptr || bv->multi == nullptr || bv->sum == nullptr ||
        bv->pair_start == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_BV.\n", stderr);
        return nullptr;
    }
    return bv.release();
}

void velmar_bv_free(VELMAR_BV *bv) {
    if (bv == nullptr) return;
    velmar_atom_free(bv->atom);
    velmar_array_int_1D_free(bv->multi);
    velmar_array_double_1D_free(bv->sum);
    if (bv->value != nullptr) velmar_array_double_2D_free(bv->value, bv->total);
    std::free(bv->pair_start);
    std::free(bv->pair_site);
    std::free(bv->pair_value);
    std::free(bv);
}

double velmar_bv_value(const VELMAR_BV *bv, long k, long l) {
    if (bv == nullptr || bv->pair_start == nullptr || k < 0 || k >= bv->total) return 0.0;
    const int32_t *first = bv->pair_site + bv->pair_start[k];
    const int32_t *last = bv->pair_site + bv->pair_start[k + 1];
    const int32_t *at = std::lower_bound(first, last, l);
    return at != last && *at == l ? bv->pair_value[at - bv->pair_site] : 0.0;
}

int velmar::detail::bv_set_pairs(VELMAR_BV *bv,
                                 const std::vector<std::vector<std::pair<int32_t, double>>> &rows) {
    if (bv == nullptr || bv->pair_start == nullptr || static_cast<long>(rows.size()) != bv->total) {
        std::fputs("Error: VELMAR_BV has not been properly initialized.\n", stderr);
        return 1;
    }
    size_t count = 0;
    for (const auto &row : rows) count += row.size();
    auto *site = static_cast<int32_t *>(std::malloc(std::max<size_t>(count, 1) * sizeof(int32_t)));
    auto *value = static_cast<double *>(std::malloc(std::max<size_t>(count, 1) * sizeof(double)));
    if (site == nullptr || value == nullptr) {
        std::free(site);
        std::free(value);
        std::fputs("Error: unable to allocate VELMAR_BV.\n", stderr);
        return 1;
    }
    std::free(bv->pair_site);
    std::free(bv->pair_value);
    bv->pair_site = site;
    bv->pair_value = value;
    if (bv->value != nullptr) {
        for (long k = 0; k < bv->total; ++k) std::fill(bv->value[k], bv->value[k] + bv->total, 0.0);
    }
    long next = 0;
    for (size_t k = 0; k < rows.size(); ++k) {
        bv->pair_start[k] = next;
        for (const auto &[l, v] : rows[k]) {
            site[next] = l;
            value[next] = v;
            ++next;
            if (bv->value != nullptr) bv->value[k][l] = v;
        }
    }
    bv->pair_start[rows.size()] = next;
    return 0;
}

int velmar_bv_validate_property(const VELMAR_PROPERTY *ppt) {
    if (ppt == nullptr || ppt->bin == nullptr) {
        std::fputs("Error: VELMAR_PROPERTY has not been properly initialized.\n", stderr);
        return 1;
    }
    for (int i = 0; i < ppt->total; ++i) {
        for (int j = 0; j < ppt->total; ++j) {
            if (!(ppt->os[i] > 0 && ppt->os[j] < 0)) continue;
            const VELMAR_PROPERTY_BINARY &p = ppt->bin[i][j];
            const char *t1 = ppt->type[i];
            const char *t2 = ppt->type[j];
            const int a1 = std::abs(ppt->os[i]);
            const int a2 = std::abs(ppt->os[j]);
            if (!(p.cutoff > 0)) {
                std::fprintf(stderr, "Error: incorrect cutoff at [%d](%s%d%c)-(%s%d%c) cutoff=%f\n",
                             i, t1, a1, '+', t2, a2, '-', p.cutoff);
                return 1;
            }
            if (!(p.b > 0)) {
                std::fprintf(stderr, "Error: incorrect b at [%d](%s%d%c)-(%s%d%c) b=%f\n", i, t1,
                             a1, '+', t2, a2, '-', p.b);
                return 1;
            }
            if (!(p.r0 > 0)) {
                std::fprintf(stderr, "Error: incorrect r0 at [%d](%s%d%c)-(%s%d%c) r0=%f\n", i, t1,
                             a1, '+', t2, a2, '-', p.r0);
                return 1;
            }
        }
    }
    return 0;
}

VELMAR_BV *velmar_bv_calculate_from_flagged_cell(const VELMAR_CELL *cell,
                                                 const VELMAR_PROPERTY *ppt) {
    if (cell == nullptr || cell->atom == nullptr || cell->total < 1) {
        std::fputs("Error: VELMAR_CELL has not been properly initialized.\n", stderr);
        return nullptr;
    }
    if (velmar_bv_validate_property(ppt) != 0) {
        VELMAR_ERROR_NONZERO(velmar_bv_validate_property);
        return nullptr;
    }
    int32_t total = 0;
    for (int32_t a = 0; a < cell->total; ++a) total = std::max(total, cell->atom[a].flag);
    velmar::Owned<VELMAR_BV, velmar_bv_free> bv(velmar_bv_new(total));
    if (!bv) {
        VELMAR_ERROR_NULL(velmar_bv_new);
        return nullptr;
    }
    std::vector<int32_t> representative(static_cast<size_t>(total), -1);
    std::vector<int> species(static_cast<size_t>(cell->total));
    for (int32_t a = 0; a < cell->total; ++a) {
        const VELMAR_ATOM &atom = cell->atom[a];
        species[a] = velmar_property_find_index(ppt, atom.type, atom.os);
        if (species[a] < 0) {
            std::fputs("Error: velmar_property_find_index() returns negative value.\n", stderr);
            return nullptr;
        }
        if (atom.flag < 1) continue;
        const int32_t k = atom.flag - 1;
        ++bv->multi[k];
        if (representative[k] < 0) {
            representative[k] = a;
            bv->atom[k] = atom;
        }
    }

    double reach = 0.0;
    for (int i = 0; i < ppt->total; ++i) {
        for (int j = 0; j < ppt->total; ++j) reach = std::max(reach, ppt->bin[i][j].cutoff);
    }
    if (!(reach > kTooClose)) return bv.release();  // no pair can bond: every sum is 0
    int images[3];
    for (int k = 0; k < 3; ++k) {
        images[k] = 2 + static_cast<int>(reach / velmar_vector3_double_length(cell->a[k]));
    }
    const velmar::ImageGrid grid(*cell, images, reach);
    if (!grid.ok()) {
        std::fputs("Error: the cell is too small for the bond-valence cut-off.\n", stderr);
        return nullptr;
    }
    // Each site's bonds in the order they are met, then gathered per partner site; every pair value
    // is summed in that order, as a row of the full table would be.
    std::vector<std::vector<std::pair<int32_t, double>>> rows(static_cast<size_t>(total));
#pragma omp parallel for schedule(dynamic, 1)
    for (int32_t k = 0; k < total; ++k) {
        const int32_t s = representative[k];
        if (s < 0) continue;
        const VELMAR_ATOM &site = cell->atom[s];
        const bool anion = site.os < 0;
        double sum = 0.0;
        std::vector<std::pair<int32_t, double>> bonds;
        grid.visit(site.x, [&](const velmar::ImageGrid::Point &p) {
            const VELMAR_ATOM &partner = cell->atom[p.atom];
            if (!((site.os > 0 && partner.os < 0) || (anion && partner.os > 0))) return;
            const VELMAR_PROPERTY_BINARY &pair = anion ? ppt->bin[species[p.atom]][species[s]]
                                                       : ppt->bin[species[s]][species[p.atom]];
            if (pair.cutoff <= kTooClose) return;
            const double d = velmar_vector3_double_distance(site.x, p.x);
            if (d <= kTooClose || d >= pair.cutoff) return;
            double valence = partner.occ * std::exp((pair.r0 - d) / pair.b);
            if (anion) valence = -valence;
            sum += valence;
            if (partner.flag >= 1) bonds.emplace_back(partner.flag - 1, valence);
        });
        bv->sum[k] = sum;
        std::stable_sort(bonds.begin(), bonds.end(),
                         [](const auto &x, const auto &y) { return x.first < y.first; });
        std::vector<std::pair<int32_t, double>> &row = rows[k];
        for (const auto &[l, v] : bonds) {
            if (row.empty() || row.back().first != l) row.emplace_back(l, 0.0);
            row.back().second += v;
        }
    }
    if (velmar::detail::bv_set_pairs(bv.get(), rows) != 0) return nullptr;
    return bv.release();
}

VELMAR_BV *velmar_bv_calculate_from_cell(VELMAR_CELL *cell, const VELMAR_SYMMETRY *symmetry,
                                         const char *dir_unitary, const char *dir_binary) {
    if (velmar_cell_flag_site_by_symmetry(cell, symmetry) != 0) {
        VELMAR_ERROR_NONZERO(velmar_cell_flag_site_by_symmetry);
        return nullptr;
    }
    velmar::Owned<VELMAR_PROPERTY, velmar_property_free> ppt(
        velmar_property_import_from_cell(cell, nullptr, 0, 0.75, dir_unitary, dir_binary));
    if (!ppt) {
        VELMAR_ERROR_NULL(velmar_property_import_from_cell);
        return nullptr;
    }
    VELMAR_BV *bv = velmar_bv_calculate_from_flagged_cell(cell, ppt.get());
    if (bv == nullptr) VELMAR_ERROR_NULL(velmar_bv_calculate_from_flagged_cell);
    velmar_cell_refresh(cell);
    return bv;
}

VELMAR_BV *velmar_bv_calculate_from_cell_with_type(const VELMAR_CELL *cell,
                                                   const VELMAR_SYMMETRY *symmetry,
                                                   const char *type1, int os1, const char *type2,
                                                   int os2, const char *dir_unitary,
                                                   const char *dir_binary) {
    velmar::Owned<VELMAR_CELL, velmar_cell_free> copy(velmar_cell_copy(cell));
    if (!copy) {
        VELMAR_ERROR_NULL(velmar_cell_copy);
        return nullptr;
    }
    int32_t kept = 0;
    for (int32_t a = 0; a < copy->total; ++a) {
        const VELMAR_ATOM &atom = copy->atom[a];
        const bool wanted = (atom.os == os1 && std::strcmp(atom.type, type1) == 0) ||
                            (atom.os == os2 && std::strcmp(atom.type, type2) == 0);
        if (wanted) copy->atom[kept++] = atom;
    }
    if (kept == 0) {
        std::fputs("Error: the cell holds none of the two species.\n", stderr);
        return nullptr;
    }
    copy->total = kept;
    return velmar_bv_calculate_from_cell(copy.get(), symmetry, dir_unitary, dir_binary);
}

double velmar_gii_calculate_from_bv_no_msg(const VELMAR_BV *bv) {
    if (bv == nullptr) return -1.0;
    double weighted = 0.0;
    double weight = 0.0;
    for (long k = 0; k < bv->total; ++k) {
        const double w = bv->multi[k] * bv->atom[k].occ;
        const double deviation = bv->sum[k] - bv->atom[k].os;
        weighted += w * deviation * deviation;
        weight += w;
    }
    return std::sqrt(weighted / weight);
}

double velmar_gii_calculate_from_bv(const VELMAR_BV *bv) {
    const double gii = velmar_gii_calculate_from_bv_no_msg(bv);
    std::printf("GII: Global instability index = %f\n", gii);
    if (gii < 0.15 && gii > 0) {
        std::printf("GII: suggested stability: stable.\n");
    } else if (gii < 0.3) {
        std::printf("GII: suggested stability: average.\n");
    } else if (gii < 1.0) {
        std::printf("GII: suggested stability: unstable.\n");
    } else {
        std::printf("GII: unreasonable value.\n");
        std::printf("GII: there might be an error in input structure or calculation.\n");
    }
    return gii;
}

double velmar_gii_calculate_from_cell(VELMAR_CELL *cell, const VELMAR_SYMMETRY *symmetry,
                                      const char *dir_unitary, const char *dir_binary) {
    velmar::Owned<VELMAR_BV, velmar_bv_free> bv(
        velmar_bv_calculate_from_cell(cell, symmetry, dir_unitary, dir_binary));
    if (!bv) {
        VELMAR_ERROR_NULL(velmar_bv_calculate_from_cell);
        return -1.0;
    }
    return velmar_gii_calculate_from_bv(bv.get());
}

namespace {

// Calls pair(k, l, value) for every ordered pair of sites of the tables: all of them (zeros
// included) up to kBvFullPairTable sites, else those that bond.
template <class Pair>
void for_each_listed_pair(const VELMAR_BV &bv, Pair pair) {
    const bool full = bv.total <= velmar::detail::kBvFullPairTable;
    for (long k = 0; k < bv.total; ++k) {
        long next = bv.pair_start[k];
        const long end = bv.pair_start[k + 1];
        if (!full) {
            for (; next < end; ++next)
                pair(k, static_cast<long>(bv.pair_site[next]), bv.pair_value[next]);
            continue;
        }
        for (long l = 0; l < bv.total; ++l) {
            double value = 0.0;
            if (next < end && bv.pair_site[next] == l) value = bv.pair_value[next++];
            pair(k, l, value);
        }
    }
}

}  // namespace

void velmar_bv_print(const VELMAR_BV *bv) {
    if (bv == nullptr) {
        std::printf("BV: (not allocated)\n");
        return;
    }
    std::printf("BV: %6s %4s %6s %9s\n", "name", "type", "occ", "bv_sum");
    for (long k = 0; k < bv->total; ++k) {
        const VELMAR_ATOM &a = bv->atom[k];
        std::printf("BV: %6s %2s%d%c %6.3f %9.6f\n", a.name, a.type, std::abs(a.os), sign(a.os),
                    a.occ, bv->sum[k]);
    }
    std::printf("BV:=============================================\n");
    if (bv->total > velmar::detail::kBvFullPairTable) {
        std::printf("Message: %ld sites; only the pairs of sites that bond are listed.\n",
                    bv->total);
    }
    std::printf("BV: %4s %4s %6s %4s %4s %6s %9s\n", "nam1", "typ1", "occ1", "nam2", "typ2", "occ1",
                "bv");
    for_each_listed_pair(*bv, [bv](long k, long l, double value) {
        const VELMAR_ATOM &a = bv->atom[k];
        const VELMAR_ATOM &b = bv->atom[l];
        std::printf("BV: %4s %2s%d%c %6.3f %4s %2s%d%c %6.3f %9.6f\n", a.name, a.type,
                    std::abs(a.os), sign(a.os), a.occ, b.name, b.type, std::abs(b.os), sign(b.os),
                    b.occ, value);
    });
}

void velmar_bv_print_gui(const VELMAR_BV *bv) {
    if (bv == nullptr) {
        std::printf("BV: (not allocated)\n");
        return;
    }
    std::printf("Printing bond valence sum of each site for Velmar-GUI\n");
    std::printf("> Label [  X     Y     Z  ] : BV_sum\n");
    for (long k = 0; k < bv->total; ++k) {
        const VELMAR_ATOM &a = bv->atom[k];
        std::printf("> %5s [%.3f %.3f %.3f] : %.6f\n", a.name, a.x_f[0], a.x_f[1], a.x_f[2],
                    bv->sum[k]);
    }
    std::printf("End of BV sum calculation for Velmar-GUI\n");
}

VELMAR_TEXT *velmar_bv_export_to_text(const VELMAR_BV *bv) {
    if (bv == nullptr) {
        std::fputs("Error: VELMAR_BV has not been properly initialized.\n", stderr);
        return nullptr;
    }
    std::string out = "Bond valence sum:\r\n";
    char line[1024];
    std::snprintf(line, sizeof line, "Total inequivalent sites: %ld\r\n", bv->total);
    out += line;
    const char *separator = "=================================================================\r\n";
    out += separator;
    for (long k = 0; k < bv->total; ++k) {
        const VELMAR_ATOM &a = bv->atom[k];
        std::snprintf(line, sizeof line, "%4s(%s%d%c)(occ=%5.3f) bv_sum = %9.6f\r\n", a.name,
                      a.type, std::abs(a.os), sign(a.os), a.occ, bv->sum[k]);
        out += line;
    }
    out += separator;
    if (bv->total > velmar::detail::kBvFullPairTable) {
        std::snprintf(line, sizeof line,
                      "%ld sites; only the pairs of sites that bond are listed.\r\n", bv->total);
        out += line;
    }
    for_each_listed_pair(*bv, [&](long k, long l, double value) {
        const VELMAR_ATOM &a = bv->atom[k];
        const VELMAR_ATOM &b = bv->atom[l];
        std::snprintf(line, sizeof line,
                      "%4s(%s%d%c)(occ=%5.3f) %4s(%s%d%c)(occ=%5.3f) bv = %9.6f\r\n", a.name,
                      a.type, std::abs(a.os), sign(a.os), a.occ, b.name, b.type, std::abs(b.os),
                      sign(b.os), b.occ, value);
        out += line;
    });
    out += separator;
    VELMAR_TEXT *text = velmar_text_new(out.c_str());
    if (text == nullptr) VELMAR_ERROR_NULL(velmar_text_new);
    return text;
}
