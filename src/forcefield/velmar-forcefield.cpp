// The pair terms of the bond-valence force field, the checks that a table can be written as one,
// and the labels and coordinates that the GULP and LAMMPS writers share.
#include "forcefield/velmar-forcefield.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/velmar-solver.h"
#include "core/velmar.h"
#include "model/velmar-energy.h"

namespace {

constexpr double kMinReach = 12.0;              // A, as the total energy
constexpr double kCoulombShiftDistance = 10.0;  // A, where the screened term is zero

char sign(int os) { return os > 0 ? '+' : '-'; }

bool usable(const VELMAR_PROPERTY *ppt) {
    if (ppt != nullptr && ppt->uni != nullptr && ppt->bin != nullptr && ppt->total > 0) return true;
    std::fputs("Error: VELMAR_PROPERTY has not been properly initialized.\n", stderr);
    return false;
}

}  // namespace

int velmar_forcefield_validate(const VELMAR_PROPERTY *ppt) {
    if (!usable(ppt)) return 1;
    for (int i = 0; i < ppt->total; ++i) {
        const VELMAR_PROPERTY_UNITARY &u = ppt->uni[i];
        if (!(u.q * ppt->os[i] > 0) || !std::isfinite(u.q) || !(u.rc > 0) || !(u.m > 0)) {
            std::fprintf(stderr,
                         "Error: species %s%d%c has no usable parameters (charge %f, radius %f, "
                         "mass %f): the force field cannot be written.\n",
                         ppt->type[i], std::abs(ppt->os[i]), sign(ppt->os[i]), u.q, u.rc, u.m);
            return 1;
        }
    }
    for (int i = 0; i < ppt->total; ++i) {
        for (int j = 0; j < ppt->total; ++j) {
            if (!(ppt->os[i] > 0 && ppt->os[j] < 0)) continue;
            const VELMAR_PROPERTY_BINARY &p = ppt->bin[i][j];
            if (!(p.cutoff > 0) || !(p.b > 0) || !(p.r0 > 0) || !(p.d0 > 0) || !(p.rmin > 0) ||
                !std::isfinite(p.d0)) {
                std::fprintf(stderr,
                             "Error: no bond-valence parameters for the pair %s%d%c-%s%d%c in the "
                             "binary database: the force field cannot be written.\n",
                             ppt->type[i], ppt->os[i], '+', ppt->type[j], -ppt->os[j], '-');
                return 1;
            }
        }
    }
    return 0;
}

int velmar_forcefield_validate_conducting(const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt,
                                          const char *source) {
    if (!usable(ppt) || cell == nullptr || cell->atom == nullptr) {
        if (cell == nullptr || cell->atom == nullptr) {
            std::fputs("Error: VELMAR_CELL has not been properly initialized.\n", stderr);
        }
        return 1;
    }
    const int k = ppt->conducting;
    if (k < 0 || k >= ppt->total) {
        std::fputs("Error: no conducting species is named.\n", stderr);
        return 1;
    }
    for (int32_t a = 0; a < cell->total; ++a) {
        const VELMAR_ATOM &atom = cell->atom[a];
        if (atom.os == ppt->os[k] && std::strcmp(atom.type, ppt->type[k]) == 0) return 0;
    }
    std::fprintf(stderr, "Error: %s has no atoms of the conducting species %s%d%c.\n", source,
                 ppt->type[k], std::abs(ppt->os[k]), sign(ppt->os[k]));
    return 1;
}

namespace velmar::detail {

double FfPair::depth() const { return d0 * VELMAR_COULOMB_HALF; }

double FfPair::coulomb_shift() const {
    return -VELMAR_COULOMB * qq * std::erfc(kCoulombShiftDistance / rho) / kCoulombShiftDistance;
}

double FfPair::energy(double r) const {
    if (r > cutoff) return 0.0;
    // Per unordered pair: the ordered double sum of the total energy counts it twice at half the
    // conversion factor.
    if (term == FfTerm::kMorse) {
        return VELMAR_COULOMB * velmar_energy_bonding_with_energy_shift(r, d0, rmin, b, en_s);
    }
    if (term == FfTerm::kCoulomb) return VELMAR_COULOMB * velmar_energy_coulombic(r, qq, rho);
    return 0.0;
}

double FfPair::force(double r) const {
    if (r > cutoff) return 0.0;
    if (term == FfTerm::kMorse) return -VELMAR_COULOMB * velmar_force_bonding(r, d0, rmin, b);
    if (term == FfTerm::kCoulomb) return -VELMAR_COULOMB * velmar_force_coulombic(r, qq, rho);
    return 0.0;
}

double ff_reach(const VELMAR_PROPERTY &ppt) {
    double reach = kMinReach;
    for (int i = 0; i < ppt.total; ++i) {
        for (int j = 0; j < ppt.total; ++j) reach = std::max(reach, ppt.bin[i][j].cutoff);
    }
    return reach;
}

std::vector<FfPair> ff_pairs(const VELMAR_PROPERTY &ppt) {
    std::vector<FfPair> pairs;
    const double reach = ff_reach(ppt);
    for (int i = 0; i < ppt.total; ++i) {
        for (int j = i; j < ppt.total; ++j) {
            FfPair pair;
            pair.i = i;
            pair.j = j;
            const int product = ppt.os[i] * ppt.os[j];
            if (product >= 1) {
                pair.term = FfTerm::kCoulomb;
                pair.cutoff = reach;
                pair.qq = ppt.uni[i].q * ppt.uni[j].q;
                pair.rho = ppt.sf * (ppt.uni[i].rc + ppt.uni[j].rc);
            } else if (product < 0) {
                const VELMAR_PROPERTY_BINARY &p = ppt.os[i] > 0 ? ppt.bin[i][j] : ppt.bin[j][i];
                pair.term = FfTerm::kMorse;
                pair.cutoff = p.cutoff;
                pair.d0 = p.d0;
                pair.rmin = p.rmin;
                pair.b = p.b;
                pair.en_s = p.en_s;
            } else {
                continue;
            }
            pairs.push_back(pair);
        }
    }
    return pairs;
}

std::string ff_name(const VELMAR_PROPERTY &ppt, int k) {
    return std::string(ppt.type[k]) + std::to_string(std::abs(ppt.os[k])) + sign(ppt.os[k]);
}

std::vector<std::string> ff_labels(const VELMAR_PROPERTY &ppt) {
    const auto label = [&](int k, int add) {
        return std::string(ppt.type[k]) + std::to_string(std::abs(ppt.os[k]) + add);
    };
    std::vector<std::string> labels;
    for (int k = 0; k < ppt.total; ++k) {
        bool shared = false;
        for (int c = 0; c < ppt.total; ++c) {
            shared = shared || (ppt.os[k] < 0 && ppt.os[c] > 0 && label(c, 0) == label(k, 0));
        }
        labels.push_back(label(k, shared ? 10 : 0));
    }
    return labels;
}

std::vector<int> ff_species_of_atoms(const VELMAR_CELL &cell, const VELMAR_PROPERTY &ppt) {
    std::vector<int> species(static_cast<size_t>(cell.total));
    for (int32_t a = 0; a < cell.total; ++a) {
        species[a] = velmar_property_find_index(&ppt, cell.atom[a].type, cell.atom[a].os);
        if (species[a] < 0) {
            std::fputs("Error: velmar_property_find_index() returns negative value.\n", stderr);
            return {};
        }
    }
    return species;
}

void ff_fractional(double f[3], const VELMAR_CELL &cell, const double x[3]) {
    // x = f0 a0 + f1 a1 + f2 a2: the lattice rows are the columns of the system.
    double transposed[3][3];
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) transposed[r][c] = cell.a[c][r];
    }
    velmar_matrix33_double_linearsolver(f, transposed, x);
}

std::string ff_base_name(const std::string &path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace velmar::detail
