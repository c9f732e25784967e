// Total energy, forces and stress of a cell. The pair sums visit, for each atom, only the images
// within reach (velmar::ImageGrid) and run over the atoms in parallel; each atom's share is kept
// apart and the shares are added in atom order, so the result does not depend on the number of
// threads.
#include "model/velmar-total-energy.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "core/velmar-la.h"
#include "core/velmar.h"
#include "model/velmar-energy.h"
#include "structure/velmar-cell-geometry.h"
#include "structure/velmar-image-grid.h"

namespace {

constexpr double kMinReach = 12.0;  // A, the least reach of the Coulomb term
constexpr double kTooClose = 0.3;   // A, pairs this close or closer are skipped
constexpr double kStrain = 0.0001;  // finite-difference strain of the stress

enum class Kind { kNone, kCoulomb, kBonding };

// What one species pair contributes, with its parameters hoisted out of the pair loop.
struct PairTerm {
    Kind kind = Kind::kNone;
    double reach = 0.0;  // R for the Coulomb term, the pair cut-off for bonding
    double q = 0.0;      // Coulomb: product of the charges and screening length
    double r_eff = 0.0;
    double shift = 0.0;  // the Coulomb term's value at 10 A, subtracted from every pair
    double d0 = 0.0;     // bonding: the record of the cation-anion pair
    double rmin = 0.0;
    double b = 0.0;
    double en_s = 0.0;
};

bool report_missing(const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt) {
    if (cell != nullptr && cell->atom != nullptr && ppt != nullptr && ppt->uni != nullptr &&
        ppt->bin != nullptr) {
        return false;
    }
    std::fputs("Error: VELMAR_CELL or VELMAR_PROPERTY has not been properly initialized.\n",
               stderr);
    return true;
}

// Species index of every atom, the pair terms and the image ranges of a cell.
class PairModel {
  public:
    bool build(const VELMAR_CELL &cell, const VELMAR_PROPERTY &ppt) {
        species_.resize(static_cast<size_t>(cell.total));
        for (int32_t a = 0; a < cell.total; ++a) {
            species_[a] = velmar_property_find_index(&ppt, cell.atom[a].type, cell.atom[a].os);
            if (species_[a] < 0) {
                std::fputs("Error: velmar_property_find_index() returns negative value.\n", stderr);
                return false;
            }
        }
        reach_ = kMinReach;
        for (int i = 0; i < ppt.total; ++i) {
            for (int j = 0; j < ppt.total; ++j) reach_ = std::max(reach_, ppt.bin[i][j].cutoff);
        }
        total_ = ppt.total;
        terms_.assign(static_cast<size_t>(total_ * total_), PairTerm{});
        for (int i = 0; i < total_; ++i) {
            for (int j = 0; j < total_; ++j) {
                PairTerm &t = terms_[static_cast<size_t>(i * total_ + j)];
                const int product = ppt.os[i] * ppt.os[j];
                if (product >= 1) {
                    t.kind = Kind::kCoulomb;
                    t.reach = reach_;
                    t.q = ppt.uni[i].q * ppt.uni[j].q;
                    t.r_eff = ppt.sf * (ppt.uni[i].rc + ppt.uni[j].rc);
                    t.shift = t.q * std::erfc(10.0 / t.r_eff) / 10.0;
                } else if (product < 0) {
                    const VELMAR_PROPERTY_BINARY &p = ppt.os[i] > 0 ? ppt.bin[i][j] : ppt.bin[j][i];
                    t.kind = Kind::kBonding;
                    t.reach = p.cutoff;
                    t.d0 = p.d0;
                    t.rmin = p.rmin;
                    t.b = p.b;
                    t.en_s = p.en_s;
                }
            }
        }
        for (int k = 0; k < 3; ++k) {
            images_[k] = 1 + static_cast<int>(reach_ / velmar_vector3_double_length(cell.a[k]));
        }
        return true;
    }

    double reach() const { return reach_; }
    const int *images() const { return images_; }
    int species(int32_t atom) const { return species_[atom]; }
    const PairTerm &term(int32_t a, int32_t b) const {
        return terms_[static_cast<size_t>(species_[a] * total_ + species_[b])];
    }

  private:
    std::vector<int> species_;
    std::vector<PairTerm> terms_;
    int total_ = 0;
    double reach_ = kMinReach;
    int images_[3] = {1, 1, 1};
};

// Beyond this many screening lengths erfc is below 1e-21: the screened term is its shift alone.
constexpr double kScreenedOut = 6.5;

// The pair term of the energy at distance d (e^2/A), as velmar_energy_coulombic and
// velmar_energy_bonding_with_energy_shift give it.
double term_energy(const PairTerm &t, double d) {
    if (t.kind == Kind::kCoulomb) {
        const double u = d / t.r_eff;
        return u > kScreenedOut ? -t.shift : t.q * std::erfc(u) / d - t.shift;
    }
    return velmar_energy_bonding_with_energy_shift(d, t.d0, t.rmin, t.b, t.en_s);
}

// Energy of the cell in eV: the sum over atoms i that are not ignored and all partners j (both
// not ignored when `both_free`) x 7.19982. Each pair and its mirror image (j, i, -shift) have the
// same term, so every pair is evaluated once from its lower end and counted for each end that the
// sum includes. NaN marks a failure already reported.
double pair_energy(const VELMAR_CELL &cell, const VELMAR_PROPERTY &ppt, bool both_free) {
    PairModel model;
    if (!model.build(cell, ppt)) return std::nan("");
    const velmar::ImageGrid grid(cell, model.images(), model.reach());
    if (!grid.ok()) {
        std::fputs("Error: the cell is too small for the interaction range.\n", stderr);
        return std::nan("");
    }
    const int32_t zero_shift = (grid.shifts() - 1) / 2;
    std::vector<double> share(static_cast<size_t>(cell.total), 0.0);
#pragma omp parallel for schedule(dynamic, 4)
    for (int32_t i = 0; i < cell.total; ++i) {
        const VELMAR_ATOM &ai = cell.atom[i];
        const double reach2 = model.reach() * model.reach();
        double sum = 0.0;
        grid.visit(ai.x, [&](const velmar::ImageGrid::Point &p) {
            if (p.atom < i || (p.atom == i && p.shift <= zero_shift)) return;
            const VELMAR_ATOM &aj = cell.atom[p.atom];
            const int ends = both_free
                                 ? ((ai.ignored || aj.ignored) ? 0 : 2)
                                 : static_cast<int>(!ai.ignored) + static_cast<int>(!aj.ignored);
            if (ends == 0) return;
            const double dx = p.x[0] - ai.x[0];
            const double dy = p.x[1] - ai.x[1];
            const double dz = p.x[2] - ai.x[2];
            const double d2 = dx * dx + dy * dy + dz * dz;
            if (d2 > reach2) return;
            const PairTerm &t = model.term(i, p.atom);
            if (t.kind == Kind::kNone) return;
            const double d = std::sqrt(d2);
            if (d <= kTooClose || d > t.reach) return;
            sum += ends * (ai.occ * aj.occ) * term_energy(t, d);
        });
        share[i] = sum;
    }
    double total = 0.0;
    for (double s : share) total += s;
    return total * VELMAR_COULOMB_HALF;
}

// Energy of a copy of the cell deformed by a single strain element.
bool strained_energy(double &energy, const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt, int row,
                     int col, double value) {
    velmar::Owned<VELMAR_CELL, velmar_cell_free> copy(velmar_cell_copy(cell));
    if (!copy) {
        VELMAR_ERROR_NULL(velmar_cell_copy);
        return false;
    }
    double strain[3][3] = {};
    strain[row][col] = value;
    if (velmar_cell_deform(copy.get(), strain) != 0) {
        VELMAR_ERROR_NONZERO(velmar_cell_deform);
        return false;
    }
    energy = velmar_cell_calculate_total_energy(copy.get(), ppt);
    if (energy == 0.0) {
        std::fputs("Error: velmar_cell_calculate_total_energy() returns 0.00.\n", stderr);
        return false;
    }
    return true;
}

int stress(double out[3], const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt,
           const int elements[3][2]) {
    if (report_missing(cell, ppt)) return 1;
    const double volume = velmar_cell_calculate_volume(cell);
    for (int k = 0; k < 3; ++k) {
        double minus = 0.0;
        double plus = 0.0;
        if (!strained_energy(minus, cell, ppt, elements[k][0], elements[k][1], -kStrain) ||
            !strained_energy(plus, cell, ppt, elements[k][0], elements[k][1], kStrain)) {
            return 1;
        }
        out[k] = (plus - minus) / (2.0 * kStrain) / volume;
    }
    return 0;
}

}  // namespace

double velmar_cell_calculate_total_energy(const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt) {
    if (report_missing(cell, ppt)) return 0.0;
    const double energy = pair_energy(*cell, *ppt, false);
    return std::isnan(energy) ? 0.0 : energy;
}

double velmar_cell_calculate_total_energy_unconstrained_part(const VELMAR_CELL *cell,
                                                             const VELMAR_PROPERTY *ppt) {
    if (report_missing(cell, ppt)) return 0.0;
    const double energy = pair_energy(*cell, *ppt, true);
    return std::isnan(energy) ? 0.0 : energy;
}

double velmar_cell_total_energy(const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt) {
    const double energy = velmar_cell_calculate_total_energy(cell, ppt);
    if (energy == 0.0)
        std::fputs("Error: velmar_cell_calculate_total_energy() returns zero.\n", stderr);
    return energy;
}

int velmar_cell_calculate_force(double (*force)[3], const VELMAR_CELL *cell,
                                const VELMAR_PROPERTY *ppt) {
    if (report_missing(cell, ppt) || force == nullptr) return 1;
    for (int32_t i = 0; i < cell->total; ++i) force[i][0] = force[i][1] = force[i][2] = 0.0;
    PairModel model;
    if (!model.build(*cell, *ppt)) return 1;
    const velmar::ImageGrid grid(*cell, model.images(), model.reach());
    if (!grid.ok()) {
        std::fputs("Error: the cell is too small for the interaction range.\n", stderr);
        return 1;
    }
#pragma omp parallel for schedule(dynamic, 4)
    for (int32_t i = 0; i < cell->total; ++i) {
        const VELMAR_ATOM &ai = cell->atom[i];
        if (ai.ignored) continue;
        const double reach2 = model.reach() * model.reach();
        double f[3] = {0.0, 0.0, 0.0};
        grid.visit(ai.x, [&](const velmar::ImageGrid::Point &p) {
            const double dx = p.x[0] - ai.x[0];
            const double dy = p.x[1] - ai.x[1];
            const double dz = p.x[2] - ai.x[2];
            const double d2 = dx * dx + dy * dy + dz * dz;
            if (d2 > reach2) return;
            const PairTerm &t = model.term(i, p.atom);
            if (t.kind == Kind::kNone) return;
            const double d = std::sqrt(d2);
            if (d <= kTooClose || d > t.reach) return;
            const double w = ai.occ * cell->atom[p.atom].occ;
            const double g = t.kind == Kind::kCoulomb
                                 ? w * velmar_force_coulombic(d, t.q, t.r_eff)
                                 : w * velmar_force_bonding(d, t.d0, t.rmin, t.b);
            const double scale = 0.5 * g / d;
            f[0] += dx * scale;
            f[1] += dy * scale;
            f[2] += dz * scale;
        });
        velmar_vector3_double_copy(force[i], f);
    }
    return 0;
}

int velmar_cell_calculate_stress_diagonal(double stress_out[3], const VELMAR_CELL *cell,
                                          const VELMAR_PROPERTY *ppt) {
    static const int kElements[3][2] = {{0, 0}, {1, 1}, {2, 2}};
    return stress(stress_out, cell, ppt, kElements);
}

int velmar_cell_calculate_stress_shear(double stress_out[3], const VELMAR_CELL *cell,
                                       const VELMAR_PROPERTY *ppt) {
    static const int kElements[3][2] = {{1, 2}, {0, 2}, {0, 1}};
    return stress(stress_out, cell, ppt, kElements);
}

int velmar_cell_calculate_coordinate_step_size_simple(double (*step)[3], const VELMAR_CELL *cell,
                                                      const VELMAR_PROPERTY *ppt,
                                                      double (*force)[3]) {
    if (step == nullptr || cell == nullptr || ppt == nullptr || force == nullptr ||
        cell->atom == nullptr || ppt->uni == nullptr) {
        std::fputs("Error: null arguments found.\n", stderr);
        return 1;
    }
    double largest = 0.0;
    for (int32_t a = 0; a < cell->total; ++a) {
        const int k = velmar_property_find_index(ppt, cell->atom[a].type, cell->atom[a].os);
        if (k < 0) {
            std::fputs("Error: velmar_property_find_index() returns negative value.\n", stderr);
            return 1;
        }
        const double m = ppt->uni[k].m;
        if (!(m > 0)) {
            std::fputs("Error: wrong mass value.\n", stderr);
            return 1;
        }
        for (int r = 0; r < 3; ++r) step[a][r] = force[a][r] / m;
        largest = std::max(largest, velmar_vector3_double_length(step[a]));
    }
    constexpr double kLongestStep = 0.1;  // A
    if (largest > kLongestStep) {
        const double scale = kLongestStep / largest;
        for (int32_t a = 0; a < cell->total; ++a) {
            velmar_vector3_double_sum2(step[a], scale, step[a], 0.0, step[a]);
        }
    }
    return 0;
}
