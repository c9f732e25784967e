// Straightforward reference versions of the fast algorithms, used as test oracles and as the
// baseline of the benchmarks: they follow the definitions directly, without spatial hashing or
// neighbour lists.
#ifndef VELMAR_TEST_ORACLES_H
#define VELMAR_TEST_ORACLES_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <vector>

#include "model/velmar-energy.h"
#include "model/velmar-property.h"
#include "structure/velmar-cell.h"
#include "structure/velmar-symmetry.h"
#include "transport/velmar-md.h"

namespace velmar_oracle {

// Site flags: every card applied to every unflagged atom and its image compared with every atom.
inline std::vector<int32_t> flags_by_pairs(const VELMAR_CELL &cell,
                                           const VELMAR_SYMMETRY &symmetry) {
    std::vector<int32_t> flag(static_cast<size_t>(cell.total), 0);
    int32_t site = 0;
    const auto frac = [](double x) { return x - std::floor(x); };
    for (int32_t i = 0; i < cell.total; ++i) {
        if (flag[i] != 0) continue;
        flag[i] = ++site;
        const VELMAR_ATOM &a = cell.atom[i];
        for (int c = 0; c < symmetry.total; ++c) {
            const VELMAR_CARD &card = symmetry.card[c];
            double image[3];
            for (int r = 0; r < 3; ++r) {
                image[r] = frac(card.r_f[r][0] * a.x_f[0] + card.r_f[r][1] * a.x_f[1] +
                                card.r_f[r][2] * a.x_f[2] + card.t_f[r]);
            }
            for (int32_t j = 0; j < cell.total; ++j) {
                const VELMAR_ATOM &b = cell.atom[j];
                if (flag[j] != 0 || b.os != a.os || std::strcmp(a.type, b.type) != 0 ||
                    std::fabs(a.occ - b.occ) >= 0.02) {
                    continue;
                }
                bool same = true;
                for (int r = 0; r < 3; ++r) {
                    const double d = std::fabs(image[r] - frac(b.x_f[r]));
                    same = same && (d < 0.005 || 1.0 - d < 0.005);
                }
                if (same) flag[j] = site;
            }
        }
    }
    return flag;
}

// The longest pair cut-off of the table, and at least `least`.
inline double longest_cutoff(const VELMAR_PROPERTY &ppt, double least) {
    double reach = least;
    for (int i = 0; i < ppt.total; ++i)
        for (int j = 0; j < ppt.total; ++j) reach = std::max(reach, ppt.bin[i][j].cutoff);
    return reach;
}

// Image ranges of the plain sums: extra + the integer part of reach / |a_k|.
inline void image_ranges(const VELMAR_CELL &cell, double reach, int extra, int n[3]) {
    for (int k = 0; k < 3; ++k) {
        n[k] = extra + static_cast<int>(reach / std::sqrt(cell.a[k][0] * cell.a[k][0] +
                                                          cell.a[k][1] * cell.a[k][1] +
                                                          cell.a[k][2] * cell.a[k][2]));
    }
}

// Total energy as the plain triple loop: every atom i (not ignored), every atom j, every image
// within the documented ranges; skipping ignored partners too when both_free.
inline double total_energy(const VELMAR_CELL &cell, const VELMAR_PROPERTY &ppt, bool both_free) {
    const double reach = longest_cutoff(ppt, 12.0);
    int n[3];
    image_ranges(cell, reach, 1, n);
    double sum = 0.0;
    for (int32_t i = 0; i < cell.total; ++i) {
        const VELMAR_ATOM &ai = cell.atom[i];
        if (ai.ignored) continue;
        for (int32_t j = 0; j < cell.total; ++j) {
            const VELMAR_ATOM &aj = cell.atom[j];
            if (both_free && aj.ignored) continue;
            int si = velmar_property_find_index(&ppt, ai.type, ai.os);
            int sj = velmar_property_find_index(&ppt, aj.type, aj.os);
            if (ai.os < 0) std::swap(si, sj);
            for (int l = -n[0]; l <= n[0]; ++l)
                for (int m = -n[1]; m <= n[1]; ++m)
                    for (int k = -n[2]; k <= n[2]; ++k) {
                        double d2 = 0.0;
                        for (int r = 0; r < 3; ++r) {
                            const double p =
                                l * cell.a[0][r] + m * cell.a[1][r] + k * cell.a[2][r] + ai.x[r];
                            d2 += (p - aj.x[r]) * (p - aj.x[r]);
                        }
                        const double d = std::sqrt(d2);
                        if (d <= 0.3) continue;
                        const int product = ai.os * aj.os;
                        const double w = ai.occ * aj.occ;
                        if (product >= 1 && d <= reach) {
                            const double q = ppt.uni[si].q * ppt.uni[sj].q;
                            const double r_eff = ppt.sf * (ppt.uni[si].rc + ppt.uni[sj].rc);
                            sum += w * velmar_energy_coulombic(d, q, r_eff);
                        } else if (product < 0 && d <= ppt.bin[si][sj].cutoff) {
                            const VELMAR_PROPERTY_BINARY &p = ppt.bin[si][sj];
                            sum += w * velmar_energy_bonding_with_energy_shift(d, p.d0, p.rmin, p.b,
                                                                               p.en_s);
                        }
                    }
        }
    }
    return sum * 7.19982;
}

// Analytic strain derivative of the total energy (eV per unit strain) for the strain element
// (row, col): every pair distance d changes by r_row r_col / d, r the pair vector.
inline double strain_derivative(const VELMAR_CELL &cell, const VELMAR_PROPERTY &ppt, int row,
                                int col) {
    const double reach = longest_cutoff(ppt, 12.0);
    int n[3];
    image_ranges(cell, reach, 1, n);
    double sum = 0.0;
    for (int32_t i = 0; i < cell.total; ++i) {
        const VELMAR_ATOM &ai = cell.atom[i];
        for (int32_t j = 0; j < cell.total; ++j) {
            const VELMAR_ATOM &aj = cell.atom[j];
            int si = velmar_property_find_index(&ppt, ai.type, ai.os);
            int sj = velmar_property_find_index(&ppt, aj.type, aj.os);
            if (ai.os < 0) std::swap(si, sj);
            for (int l = -n[0]; l <= n[0]; ++l)
                for (int m = -n[1]; m <= n[1]; ++m)
                    for (int k = -n[2]; k <= n[2]; ++k) {
                        double r[3];
                        for (int c = 0; c < 3; ++c) {
                            r[c] = l * cell.a[0][c] + m * cell.a[1][c] + k * cell.a[2][c] +
                                   aj.x[c] - ai.x[c];
                        }
                        const double d = std::sqrt(r[0] * r[0] + r[1] * r[1] + r[2] * r[2]);
                        if (d <= 0.3) continue;
                        const int product = ai.os * aj.os;
                        const double w = ai.occ * aj.occ;
                        double g = 0.0;
                        if (product >= 1 && d <= reach) {
                            g = velmar_force_coulombic(d, ppt.uni[si].q * ppt.uni[sj].q,
                                                       ppt.sf * (ppt.uni[si].rc + ppt.uni[sj].rc));
                        } else if (product < 0 && d <= ppt.bin[si][sj].cutoff) {
                            const VELMAR_PROPERTY_BINARY &p = ppt.bin[si][sj];
                            g = velmar_force_bonding(d, p.d0, p.rmin, p.b);
                        }
                        sum += w * g * r[row] * r[col] / d;
                    }
        }
    }
    return sum * 7.19982;
}

// Site energy of the test ion at cartesian p as the plain loop over every atom that is not ignored
// and every image within the documented ranges.
inline double site_energy(const VELMAR_CELL &cell, const VELMAR_PROPERTY &ppt, const double p[3]) {
    const int c = ppt.conducting;
    const double reach = longest_cutoff(ppt, 10.0);
    int m[3];
    for (int r = 0; r < 3; ++r) m[r] = static_cast<int>(reach / cell.parameter[r] + 2.0);
    double bonding = 0.0;
    double coulomb = 0.0;
    for (int32_t a = 0; a < cell.total; ++a) {
        const VELMAR_ATOM &s = cell.atom[a];
        if (s.ignored) continue;
        const int t = velmar_property_find_index(&ppt, s.type, s.os);
        const VELMAR_PROPERTY_BINARY &rec = ppt.os[c] < 0 ? ppt.bin[t][c] : ppt.bin[c][t];
        for (int u = -m[0]; u <= m[0]; ++u)
            for (int v = -m[1]; v <= m[1]; ++v)
                for (int w = -m[2]; w <= m[2]; ++w) {
                    double d2 = 0.0;
                    for (int r = 0; r < 3; ++r) {
                        const double x =
                            u * cell.a[0][r] + v * cell.a[1][r] + w * cell.a[2][r] + s.x[r];
                        d2 += (x - p[r]) * (x - p[r]);
                    }
                    const double d = std::sqrt(d2);
                    const int product = ppt.os[c] * ppt.os[t];
                    if (product < 0 && d <= rec.cutoff) {
                        bonding +=
                            s.occ * (d <= rec.r_bc ? velmar_pseudopotential_energy_bonding(
                                                         d, rec.a2, rec.a1, rec.a0)
                                                   : velmar_energy_bonding_with_energy_shift(
                                                         d, rec.d0, rec.rmin, rec.b, rec.en_s));
                    } else if (product > 0 && d <= 10.0) {
                        coulomb +=
                            s.occ * (d <= rec.r_cc ? velmar_pseudopotential_energy_coulombic(
                                                         d, rec.a2, rec.a1, rec.a0)
                                                   : velmar_energy_coulombic(
                                                         d, ppt.uni[t].q * ppt.uni[c].q,
                                                         ppt.sf * (ppt.uni[t].rc + ppt.uni[c].rc)));
                    }
                }
    }
    const double e = (bonding + coulomb) * 14.39964;
    return e > 999.9 ? 999.9 : e;
}

// The whole site-energy cube as the sequential visit makes it: voxels in order i, j, k, each
// computed when it holds no value yet and spread to its images under the (discrete) cards that
// map the grid onto itself (none moves an index between axes of different counts).
inline std::vector<double> site_energy_cube(const VELMAR_CELL &cell, const VELMAR_PROPERTY &ppt,
                                            const VELMAR_SYMMETRY &symmetry, const long n[3],
                                            const double a_i[3][3]) {
    std::vector<double> en(static_cast<size_t>(n[0] * n[1] * n[2]), 0.0);
    for (long i = 0; i < n[0]; ++i)
        for (long j = 0; j < n[1]; ++j)
            for (long k = 0; k < n[2]; ++k) {
                const long v[3] = {i, j, k};
                if (std::fabs(en[static_cast<size_t>((i * n[1] + j) * n[2] + k)]) > 1e-7) continue;
                double p[3];
                for (int r = 0; r < 3; ++r) p[r] = i * a_i[0][r] + j * a_i[1][r] + k * a_i[2][r];
                const double e = site_energy(cell, ppt, p);
                for (int c = 0; c < symmetry.total; ++c) {
                    bool maps = true;
                    for (int r = 0; r < 3; ++r)
                        for (int q = 0; q < 3; ++q)
                            maps = maps && (symmetry.card[c].r_i[r][q] == 0 || n[r] == n[q]);
                    if (!maps) continue;
                    long w[3];
                    velmar_card_transform_vector3_long(w, v, n, &symmetry.card[c]);
                    double &slot = en[static_cast<size_t>((w[0] * n[1] + w[1]) * n[2] + w[2])];
                    if (slot <= 1e-7) slot = e;
                }
            }
    return en;
}

// The number of flagged sites: the largest flag.
inline int32_t flagged_sites(const VELMAR_CELL &cell) {
    int32_t sites = 0;
    for (int32_t a = 0; a < cell.total; ++a) sites = std::max(sites, cell.atom[a].flag);
    return sites;
}

// Every bond of the flagged sites as the plain loop over every atom and image: bond(k, l, v) with
// the 0-based sites k (its first atom) and l (the partner's) and the signed valence v.
template <class Bond>
void for_each_bv_bond(const VELMAR_CELL &cell, const VELMAR_PROPERTY &ppt, Bond bond) {
    int n[3];
    image_ranges(cell, longest_cutoff(ppt, 0.0), 2, n);
    const int32_t sites = flagged_sites(cell);
    for (int32_t k = 1; k <= sites; ++k) {
        int32_t s = 0;
        while (cell.atom[s].flag != k) ++s;
        const VELMAR_ATOM &site = cell.atom[s];
        for (int32_t t = 0; t < cell.total; ++t) {
            const VELMAR_ATOM &partner = cell.atom[t];
            if (!((site.os > 0 && partner.os < 0) || (site.os < 0 && partner.os > 0))) continue;
            const VELMAR_ATOM &cation = site.os > 0 ? site : partner;
            const VELMAR_ATOM &anion = site.os > 0 ? partner : site;
            const VELMAR_PROPERTY_BINARY &p =
                ppt.bin[velmar_property_find_index(&ppt, cation.type, cation.os)]
                       [velmar_property_find_index(&ppt, anion.type, anion.os)];
            for (int l = -n[0]; l <= n[0]; ++l)
                for (int m = -n[1]; m <= n[1]; ++m)
                    for (int q = -n[2]; q <= n[2]; ++q) {
                        double d2 = 0.0;
                        for (int r = 0; r < 3; ++r) {
                            const double x = l * cell.a[0][r] + m * cell.a[1][r] +
                                             q * cell.a[2][r] + partner.x[r];
                            d2 += (site.x[r] - x) * (site.x[r] - x);
                        }
                        const double d = std::sqrt(d2);
                        if (d <= 0.3 || d >= p.cutoff) continue;
                        const double v = partner.occ * std::exp((p.r0 - d) / p.b);
                        bond(k - 1, partner.flag - 1, site.os < 0 ? -v : v);
                    }
        }
    }
}

// Bond-valence sums of the flagged sites.
inline std::vector<double> bv_sums(const VELMAR_CELL &cell, const VELMAR_PROPERTY &ppt) {
    std::vector<double> sum(static_cast<size_t>(flagged_sites(cell)), 0.0);
    for_each_bv_bond(cell, ppt, [&](int32_t k, int32_t, double v) { sum[k] += v; });
    return sum;
}

// The bond valence from every site l to every site k (table[k][l], zeros included), as a full
// site x site table.
inline std::vector<std::vector<double>> bv_pair_table(const VELMAR_CELL &cell,
                                                      const VELMAR_PROPERTY &ppt) {
    const auto sites = static_cast<size_t>(flagged_sites(cell));
    std::vector<std::vector<double>> table(sites, std::vector<double>(sites, 0.0));
    for_each_bv_bond(cell, ppt, [&](int32_t k, int32_t l, double v) { table[k][l] += v; });
    return table;
}

// Molecular-dynamics forces by the image loops over the wrapped positions of the cell: every mobile
// atom against every atom and every image within the integer part of 1 + 12 / |a| cells.
inline std::vector<std::array<double, 3>> md_forces(const VELMAR_MD &md) {
    const VELMAR_CELL &cell = *md.cell;
    std::vector<std::array<double, 3>> f(static_cast<size_t>(cell.total), {0.0, 0.0, 0.0});
    int m[3];
    image_ranges(cell, 12.0, 1, m);
    for (int32_t i = 0; i < cell.total; ++i) {
        if (cell.atom[i].ignored) continue;
        for (int32_t j = 0; j < cell.total; ++j) {
            for (int u = -m[0]; u <= m[0]; ++u) {
                for (int v = -m[1]; v <= m[1]; ++v) {
                    for (int w = -m[2]; w <= m[2]; ++w) {
                        double r[3];
                        for (int c = 0; c < 3; ++c) {
                            r[c] = u * cell.a[0][c] + v * cell.a[1][c] + w * cell.a[2][c] +
                                   cell.atom[j].x[c] - cell.atom[i].x[c];
                        }
                        const double d = std::sqrt(r[0] * r[0] + r[1] * r[1] + r[2] * r[2]);
                        if (d <= 0.1) continue;
                        const double force = velmar::detail::md_pair(md, i, j, d, true);
                        for (int c = 0; c < 3; ++c) f[i][c] += r[c] * force / d;
                    }
                }
            }
        }
    }
    return f;
}

}  // namespace velmar_oracle

#endif  // VELMAR_TEST_ORACLES_H
