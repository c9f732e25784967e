// Derived parameters: effective b, Morse parameters, fractional charges, the screening-factor
// search, short-range parabolas and species counts.
#include "model/velmar-property-derived.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "model/velmar-energy.h"
#include "model/velmar-total-energy.h"

namespace {

char sign(int os) { return os > 0 ? '+' : '-'; }

bool table_ready(const VELMAR_PROPERTY *ppt) {
    if (ppt != nullptr && ppt->uni != nullptr && ppt->bin != nullptr) return true;
    std::fputs("Error: VELMAR_PROPERTY has not been properly initialized.\n", stderr);
    return false;
}

bool cell_ready(const VELMAR_CELL *cell) {
    if (cell != nullptr && cell->atom != nullptr) return true;
    std::fputs("Error: VELMAR_CELL has not been properly initialized.\n", stderr);
    return false;
}

// Species index of every atom of the cell; false (after `message`) when one is missing.
bool species_of_atoms(std::vector<int> &species, const VELMAR_PROPERTY *ppt,
                      const VELMAR_CELL *cell, const char *message) {
    species.resize(static_cast<size_t>(cell->total));
    for (int32_t a = 0; a < cell->total; ++a) {
        species[a] = velmar_property_find_index(ppt, cell->atom[a].type, cell->atom[a].os);
        if (species[a] < 0) {
            std::fputs(message, stderr);
            return false;
        }
    }
    return true;
}

// Walks r down from 10 A in steps of 1 A until energy(r) reaches 1 eV, then bisects to the
// distance where it equals 1 eV.
template <class Energy>
double one_ev_distance(Energy energy) {
    double r = 10.0;
    while (energy(r) < 1.0 && r > -1000.0) r -= 1.0;
    for (double s = 1.0; s > 1e-6; s /= 2.0) {
        if (energy(r) <= 1.0) {
            r -= s;
        } else {
            r += s;
        }
    }
    return r;
}

}  // namespace

int velmar_property_calculate_effective_b(VELMAR_PROPERTY *ppt, const VELMAR_CELL *cell) {
    if (!table_ready(ppt) || !cell_ready(cell)) return 1;
    const int total = ppt->total;
    for (int i = 0; i < total; ++i) {
        for (int j = 0; j < total; ++j) ppt->bin[i][j].b_old = ppt->bin[i][j].b;
    }
    std::vector<int> species;
    if (!species_of_atoms(species, ppt, cell,
                          "Error: velmar_property_find_index() returns negative number.\n")) {
        return 1;
    }
    constexpr double kWeight = 0.6666666666666666;
    for (int i = 0; i < total; ++i) {
        if (ppt->os[i] <= 0) continue;
        // The occupancy-weighted mean b of cation i over the anions of the cell.
        double s = 0.0;
        double w = 0.0;
        for (int32_t a = 0; a < cell->total; ++a) {
            if (cell->atom[a].os >= 0) continue;
            s += cell->atom[a].occ * ppt->bin[i][species[a]].b_old;
            w += cell->atom[a].occ;
        }
        if (w == 0.0) continue;
        for (int j = 0; j < total; ++j) {
            if (ppt->os[j] >= 0) continue;
            VELMAR_PROPERTY_BINARY &p = ppt->bin[i][j];
            p.b = p.b_old * (1.0 - kWeight) + (s / w) * kWeight;
        }
    }
    return 0;
}

int velmar_property_unitary_derived(VELMAR_PROPERTY *ppt) {
    if (!table_ready(ppt)) return 1;
    for (int i = 0; i < ppt->total; ++i) {
        VELMAR_PROPERTY_UNITARY &u = ppt->uni[i];
        if (u.b == 0 || u.b == 1) u.c = 1;
        if (u.b == 2 || u.b == 3) u.c = 2;
    }
    return 0;
}

int velmar_property_binary_derived(VELMAR_PROPERTY *ppt) {
    if (!table_ready(ppt)) return 1;
    const int total = ppt->total;
    for (int i = 0; i < total; ++i) {
        const VELMAR_PROPERTY_UNITARY &ui = ppt->uni[i];
        const bool hydrogen = ppt->os[i] == 1 && (std::strcmp(ppt->type[i], "H") == 0 ||
                                                  std::strcmp(ppt->type[i], "Hx") == 0 ||
                                                  std::strcmp(ppt->type[i], "D") == 0);
        for (int j = 0; j < total; ++j) {
            VELMAR_PROPERTY_BINARY &p = ppt->bin[i][j];
            if (!(p.cutoff > 0.0001 && p.r0 > 0 && p.b > 0 && p.cn > 0)) continue;
            const VELMAR_PROPERTY_UNITARY &uj = ppt->uni[j];
            if ((ui.soft > 0 && uj.soft > 0) || hydrogen) {
                p.rmin = (std::fabs(uj.soft - ui.soft) * 0.2285 + 0.9185) * p.r0 -
                         std::log(ppt->os[i] / p.cn) * p.b;
            } else {
                std::fprintf(stderr,
                             "Warning: r_min for (%s%d%c)-(%s%d%c) is set to 0 due to softness = "
                             "0.\n",
                             ppt->type[i], std::abs(ppt->os[i]), sign(ppt->os[i]), ppt->type[j],
                             std::abs(ppt->os[j]), sign(ppt->os[j]));
            }
            const int c = ui.c;
            const int charge = c * std::abs(ppt->os[i] * ppt->os[j]);
            p.d0 = p.b * p.b * c * std::pow(static_cast<double>(charge), 1.0 / c) /
                   (std::sqrt(static_cast<double>(ui.n * uj.n)) * p.rmin) / 2.0;
        }
    }
    for (int i = 0; i < total; ++i) {
        for (int j = 0; j < total; ++j) {
            VELMAR_PROPERTY_BINARY &p = ppt->bin[i][j];
            if (!(p.d0 > 0 && p.rmin > 0 && p.b > 0)) continue;
            p.en_s = velmar_energy_bonding(p.cutoff, p.d0, p.rmin, p.b);
            p.f_s = velmar_force_bonding(p.cutoff, p.d0, p.rmin, p.b);
        }
    }
    for (int i = 0; i < total; ++i) {
        for (int j = 0; j < total; ++j) {
            VELMAR_PROPERTY_BINARY &p = ppt->bin[i][j];
            if (p.d0 > 0 && p.cn > 0) p.f0 = p.cn * p.d0;
        }
    }
    return 0;
}

int velmar_property_calculate_fractional_charge(VELMAR_PROPERTY *ppt, const VELMAR_CELL *cell) {
    if (!table_ready(ppt) || !cell_ready(cell)) return 1;
    const int total = ppt->total;
    // Effective principal number of each species.
    std::vector<double> root(static_cast<size_t>(total));
    for (int k = 0; k < total; ++k) {
        const int n = ppt->uni[k].n;
        const char *t = ppt->type[k];
        if (n <= 0 && ppt->os[k] != 0) {
            // A species without a line in the unitary database would divide by zero below.
            std::fprintf(stderr,
                         "Error: no parameters for species %s%d%c in the unitary database.\n", t,
                         std::abs(ppt->os[k]), sign(ppt->os[k]));
            return 1;
        }
        int effective = n;
        if (n >= 5) {
            effective = 4;
        } else if (std::strcmp(t, "Li") == 0 || std::strcmp(t, "B") == 0 ||
                   std::strcmp(t, "Be") == 0) {
            effective = 1;
        }
        root[k] = std::sqrt(static_cast<double>(effective));
    }
    std::vector<int> species;
    if (!species_of_atoms(species, ppt, cell,
                          "Error: velmar_property_find_index() returns negative values.\n")) {
        return 1;
    }
    double positive = 0.0;
    double negative = 0.0;
    for (int32_t a = 0; a < cell->total; ++a) {
        const VELMAR_ATOM &atom = cell->atom[a];
        const double term = atom.occ * atom.os / root[species[a]];
        if (atom.os > 0) positive += term;
        if (atom.os < 0) negative += term;
    }
    for (int k = 0; k < total; ++k) {
        const int v = ppt->os[k];
        double q = 0.0;
        if (v > 0) q = std::sqrt(-negative / positive) * v / root[k];
        if (v < 0) q = std::sqrt(-positive / negative) * v / root[k];
        ppt->uni[k].q = q;
    }
    for (int k = 0; k < total; ++k) {
        const double q = ppt->uni[k].q;
        const int v = ppt->os[k];
        if (!(std::fabs(q) > std::abs(v))) continue;
        const double scale = v / q;
        for (int m = 0; m < total; ++m) ppt->uni[m].q *= scale;
        std::printf("Message: charge of %s(%d) is capped to %4.2f.\n", ppt->type[k], v,
                    ppt->uni[k].q);
    }
    double charge = 0.0;
    for (int32_t a = 0; a < cell->total; ++a) charge += cell->atom[a].occ * ppt->uni[species[a]].q;
    if (!(std::fabs(charge) <= 1e-6)) {
        std::fprintf(stderr, "Error: total charge of the cell is not neutral: %f\n", charge);
        return 1;
    }
    return 0;
}

int velmar_property_calculate_screening_factor(VELMAR_PROPERTY *ppt, const VELMAR_CELL *cell) {
    if (ppt == nullptr || cell == nullptr) {
        std::fputs("Error: VELMAR_CELL or VELMAR_PROPERTY has not been initialized properly.\n",
                   stderr);
        return 1;
    }
    if (ppt->sf > 0) return 0;
    constexpr double kDefault = 0.75;
    ppt->sf = kDefault;
    if (velmar_property_validate_generic(ppt) != 0) {
        std::printf("Warning: velmar_property_validate_generic() returns non-zero.\n");
        std::printf("Message: default screening factor used %f.\n", kDefault);
        return 0;
    }
    // Mean diagonal stress at the table's current screening factor; the last value is kept, since
    // the search starts by evaluating the starting point twice.
    double last_sf = std::nan("");
    double last_p = 0.0;
    const auto pressure = [&](double &p) {
        if (ppt->sf == last_sf) {
            p = last_p;
            return true;
        }
        double stress[3];
        if (velmar_cell_calculate_stress_diagonal(stress, cell, ppt) != 0) return false;
        p = (stress[0] + stress[1] + stress[2]) * 0.3333333333333333;
        last_sf = ppt->sf;
        last_p = p;
        return true;
    };
    constexpr double kTolerance = 0.001 * 0.5;
    constexpr int kMaxIterations = 100;
    constexpr double kLower = 0.55;
    constexpr double kUpper = 1.0;
    double step = 0.1;
    double p = 0.0;
    if (!pressure(p)) {
        std::printf("Message: default screening factor used %f.\n", kDefault);
        ppt->sf = kDefault;
        return 0;
    }
    bool compressed = p <= 0;
    double p_prev = 0.0;
    double dp = 0.0;
    int iterations = 0;
    while (step >= kTolerance || dp >= kTolerance) {
        if (!pressure(p)) {
            ppt->sf = kDefault;
            std::printf("Message: default screening factor used %f.\n", kDefault);
            return 0;
        }
        ppt->sf += p > 0 ? step : -step;
        if ((p <= 0) != compressed) step /= 2.0;
        compressed = p <= 0;
        dp = p - p_prev;
        p_prev = p;
        ++iterations;
        if (iterations > kMaxIterations) {
            std::printf("Warning: failed to converge the screening factor. Default value used.\n");
            ppt->sf = kDefault;
            break;
        }
        if (ppt->sf < kLower || ppt->sf > kUpper) {
            std::printf("Warning: screening factor out of bound (0.55~1.0). Default value used.\n");
            ppt->sf = kDefault;
            break;
        }
        std::printf("Message: calculating sf=%8.5f; p=%8.5f (conv: sf=%8.5f; p=%8.5f)\n", ppt->sf,
                    p, step, dp);
    }
    std::printf("Message: final screening factor = %f\n", ppt->sf);
    return 0;
}

int velmar_property_binary_pseudopotential(VELMAR_PROPERTY *ppt) {
    if (!table_ready(ppt)) return 1;
    for (int i = 0; i < ppt->total; ++i) {
        for (int j = 0; j < ppt->total; ++j) {
            VELMAR_PROPERTY_BINARY &p = ppt->bin[i][j];
            if (p.d0 > 0 && p.rmin > 0 && p.b > 0) {
                const auto energy = [&p](double x) {
                    return velmar_energy_bonding_with_energy_shift(x, p.d0, p.rmin, p.b, p.en_s);
                };
                p.r_bc = one_ev_distance(energy);
                p.a1 = 0.0;
                p.a2 = velmar_force_bonding(p.r_bc, p.d0, p.rmin, p.b) / p.r_bc / 2.0;
                p.a0 = energy(p.r_bc) - p.r_bc * p.r_bc * p.a2;
            }
            if (ppt->os[i] * ppt->os[j] > 0) {
                const double q = ppt->uni[i].q * ppt->uni[j].q;
                const double r_eff = ppt->sf * (ppt->uni[i].rc + ppt->uni[j].rc);
                const auto energy = [q, r_eff](double x) {
                    return velmar_energy_coulombic(x, q, r_eff);
                };
                p.r_cc = one_ev_distance(energy);
                p.a1 = 0.0;
                p.a2 = velmar_force_coulombic(p.r_cc, q, r_eff) / p.r_cc / 2.0;
                p.a0 = energy(p.r_cc) - p.r_cc * p.r_cc * p.a2;
            }
        }
    }
    return 0;
}

int velmar_property_calculate_type_count(VELMAR_PROPERTY *ppt, const VELMAR_CELL *cell) {
    if (ppt == nullptr || ppt->count == nullptr || cell == nullptr || cell->atom == nullptr) {
        return 1;
    }
    for (int k = 0; k < ppt->total; ++k) {
        ppt->count[k] = 0.0;
        for (int32_t a = 0; a < cell->total; ++a) {
            const VELMAR_ATOM &atom = cell->atom[a];
            if (atom.os == ppt->os[k] && std::strcmp(atom.type, ppt->type[k]) == 0) {
                ppt->count[k] += atom.occ;
            }
        }
    }
    return 0;
}
