// Steepest descent with a backtracking line search: the step along the forces grows by half after
// each accepted step and halves until the energy falls by at least a small fraction of what the
// forces promise (the Armijo condition), so that no accepted step raises the energy.
#include "relax/velmar-rx-sd.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>

#include "core/velmar-la.h"
#include "core/velmar-output.h"
#include "core/velmar-progress.h"
#include "core/velmar.h"
#include "relax/velmar-rx-common.h"
#include "structure/velmar-cell-geometry.h"

namespace {

constexpr double kArmijo = 1e-4;        // share of the first-order decrease a step must achieve
constexpr double kFirstRate = 0.02;     // A^2/eV: the first trial moves each atom by 0.02 x force
constexpr double kGrow = 1.5;           // the next trial after an accepted step
constexpr double kShortestStep = 1e-9;  // A: a trial that moves no atom further ends the search

using Positions = std::unique_ptr<double[][3]>;

double largest_force(const double (*f)[3], int32_t n) {
    double big = 0.0;
    for (int32_t a = 0; a < n; ++a) big = std::max(big, velmar_vector3_double_length(f[a]));
    return big;
}

double squared_norm(const double (*f)[3], int32_t n) {
    double sum = 0.0;
    for (int32_t a = 0; a < n; ++a) sum += velmar_vector3_double_dot(f[a], f[a]);
    return sum;
}

bool append_row(VELMAR_TEXT *log, int32_t step, double energy, double force) {
    if (log == nullptr) return true;
    char row[128];
    std::snprintf(row, sizeof row, "%ld,%.8f,%.6f\n", static_cast<long>(step), energy, force);
    if (velmar_text_append(log, row) != 0) {
        VELMAR_ERROR_NONZERO(velmar_text_append);
        return false;
    }
    return true;
}

void store(VELMAR_CELL *cell, const double (*x)[3]) {
    for (int32_t a = 0; a < cell->total; ++a) velmar_vector3_double_copy(cell->atom[a].x, x[a]);
    velmar_cell_update_coordinate_fractional(cell);
}

}  // namespace

int velmar_rx_sd_relax(VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt, int32_t steps, double f_tol,
                       VELMAR_TEXT *log, bool *converged) {
    if (cell == nullptr || cell->atom == nullptr || ppt == nullptr || converged == nullptr) {
        std::fputs("Error: VELMAR_CELL or VELMAR_PROPERTY has not been properly initialized.\n",
                   stderr);
        return 1;
    }
    *converged = false;
    if (velmar::rx::movable_count(*cell) == 0) {
        std::fputs("Error: every atom is fixed (_atom_site_velmar_fixed); nothing can move.\n",
                   stderr);
        return 1;
    }
    velmar::rx::Evaluator model;
    if (!model.init(*cell, ppt)) return 1;
    const int32_t n = cell->total;
    Positions x(new double[n][3]);
    Positions trial(new double[n][3]);
    Positions f(new double[n][3]);
    for (int32_t a = 0; a < n; ++a) velmar_vector3_double_copy(x[a], cell->atom[a].x);
    double energy = 0.0;
    if (!model.evaluate(x.get(), energy, f.get())) return 1;
    if (log != nullptr && velmar_text_append(log, "step,energy,max_force\n") != 0) {
        VELMAR_ERROR_NONZERO(velmar_text_append);
        return 1;
    }
    double rate = kFirstRate;
    velmar::Progress progress("SD", steps);
    for (int32_t step = 0;; ++step) {
        const double f_max = largest_force(f.get(), n);
        progress.update(step, velmar::rx::largest_force_text(f_max));
        std::printf("SD: step %ld; energy = %.8f eV; max force = %.6f eV/A\n",
                    static_cast<long>(step), energy, f_max);
        if (!append_row(log, step, energy, f_max)) {
            store(cell, x.get());
            return 1;
        }
        if (f_max <= f_tol) {
            *converged = true;
            std::printf(
                "Message: converged at step %ld (largest force %.6f eV/A, f_tol %.6f eV/A).\n",
                static_cast<long>(step), f_max, f_tol);
            break;
        }
        if (step >= steps) {
            std::printf(
                "Warning: not converged in %ld steps (largest force %.6f eV/A, f_tol %.6f eV/A).\n",
                static_cast<long>(steps), f_max, f_tol);
            break;
        }
        const double descent = squared_norm(f.get(), n);
        bool accepted = false;
        while (!accepted) {
            const double r = std::min(rate, velmar::rx::kLongestStep / f_max);
            if (r * f_max < kShortestStep) break;
            for (int32_t a = 0; a < n; ++a)
                velmar_vector3_double_sum2(trial[a], 1.0, x[a], r, f[a]);
            double e_trial = 0.0;
            if (!model.energy(trial.get(), e_trial)) {
                store(cell, x.get());
                return 1;
            }
            accepted = e_trial <= energy - kArmijo * r * descent;
            rate = accepted ? r * kGrow : r * 0.5;
        }
        if (!accepted) {
            std::printf(
                "Warning: not converged: at step %ld the energy no longer decreases along the "
                "forces (largest force %.6f eV/A, f_tol %.6f eV/A).\n",
                static_cast<long>(step), f_max, f_tol);
            break;
        }
        std::swap(x, trial);
        if (!model.evaluate(x.get(), energy, f.get())) {
            store(cell, x.get());
            return 1;
        }
    }
    store(cell, x.get());
    return 0;
}

int velmar_rx_sd_from_cell(VELMAR_CELL *cell, const char *cif, const char *output, double sf,
                           int32_t steps, double f_tol, const char *dir_unitary,
                           const char *dir_binary) {
    if (cell == nullptr || cif == nullptr) {
        std::fputs("Error: VELMAR_CELL has not been properly initialized.\n", stderr);
        return 1;
    }
    if (steps < 0) steps = VELMAR_RX_SD_STEPS;
    if (!(f_tol > 0.0)) f_tol = velmar::rx::kDefaultForceTolerance;
    if (!velmar::rx::read_fixed(cell, cif)) return 1;
    const int32_t movable = velmar::rx::movable_count(*cell);
    if (movable == 0) {
        std::fputs("Error: every atom is fixed (_atom_site_velmar_fixed); nothing can move.\n",
                   stderr);
        return 1;
    }
    std::printf("Message: %ld of %ld atoms move; the cell stays as it is.\n",
                static_cast<long>(movable), static_cast<long>(cell->total));
    velmar::rx::warn_partial_occupancy(*cell);
    const std::string relaxed = output != nullptr ? output : std::string(cif) + ".rx.cif";
    const std::string logname = std::string(cif) + ".rx-log.txt";
    for (const std::string *name : {&relaxed, &logname}) {
        if (!velmar::output_can_be_created(*name)) {
            std::fprintf(stderr, "Error: unable to write to %s.\n", name->c_str());
            return 1;
        }
    }
    velmar::Owned<VELMAR_PROPERTY, velmar_property_free> ppt(
        velmar::rx::table_for(*cell, sf, dir_unitary, dir_binary));
    if (!ppt) return 1;
    velmar::Owned<VELMAR_TEXT, velmar_text_free> log(velmar_text_new(nullptr));
    if (!log) {
        VELMAR_ERROR_NULL(velmar_text_new);
        return 1;
    }
    bool converged = false;
    if (velmar_rx_sd_relax(cell, ppt.get(), steps, f_tol, log.get(), &converged) != 0) {
        VELMAR_ERROR_NONZERO(velmar_rx_sd_relax);
        return 1;
    }
    if (velmar::rx::export_cif(*cell, relaxed.c_str()) != 0) {
        std::fprintf(stderr, "Error: unable to write to %s.\n", relaxed.c_str());
        return 1;
    }
    if (converged) {
        std::printf("Message: relaxed structure written to %s.\n", relaxed.c_str());
    } else {
        std::printf("Warning: the last state of a run that did not converge is written to %s.\n",
                    relaxed.c_str());
    }
    if (velmar_text_export_to_file(log.get(), logname.c_str()) != 0) {
        VELMAR_ERROR_NONZERO(velmar_text_export_to_file);
        return 1;
    }
    std::printf("Message: relaxation log written to %s.\n", logname.c_str());
    return 0;
}
