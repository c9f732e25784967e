// The elastic-band commands around the band itself: the set-up from files already read, the
// printed profile and barrier, and the outputs (the CSV profile and one CIF per image).
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "core/velmar-la.h"
#include "core/velmar-output.h"
#include "core/velmar-text.h"
#include "core/velmar.h"
#include "relax/velmar-neb.h"
#include "relax/velmar-rx-common.h"

namespace {

using Band = velmar::Owned<VELMAR_NEB, velmar_neb_free>;
using Table = velmar::Owned<VELMAR_PROPERTY, velmar_property_free>;

std::string image_file(const char *name, int32_t i) {
    return std::string(name) + ".neb." + std::to_string(i) + ".cif";
}

// Largest force on a free atom of image i.
double largest_force(const VELMAR_NEB &neb, int32_t i) {
    double big = 0.0;
    for (int32_t a = 0; a < neb.atoms; ++a) {
        big =
            std::max(big, velmar_vector3_double_length(
                              neb.f[static_cast<size_t>(i) * static_cast<size_t>(neb.atoms) + a]));
    }
    return big;
}

// The fixed atoms of the first image and the table; false after the error lines.
bool prepare(VELMAR_CELL *first, const char *first_cif, double sf, const char *dir_unitary,
             const char *dir_binary, Table &ppt) {
    if (!velmar::rx::read_fixed(first, first_cif)) return false;
    if (velmar::rx::movable_count(*first) == 0) {
        std::fputs("Error: every atom is fixed (_atom_site_velmar_fixed); nothing can move.\n",
                   stderr);
        return false;
    }
    velmar::rx::warn_partial_occupancy(*first);
    ppt.reset(velmar::rx::table_for(*first, sf, dir_unitary, dir_binary));
    return static_cast<bool>(ppt);
}

// Runs a band that has been set up and writes its outputs named from `name`.
int run_band(VELMAR_NEB *neb, const char *name, int32_t steps, double f_tol, bool climbing) {
    if (steps < 0) steps = VELMAR_NEB_STEPS;
    if (!(f_tol > 0.0)) f_tol = velmar::rx::kDefaultForceTolerance;
    neb->climbing = climbing;
    for (const std::string &file : {std::string(name) + ".neb-log.txt", image_file(name, 0)}) {
        if (!velmar::output_can_be_created(file)) {
            std::fprintf(stderr, "Error: unable to write to %s.\n", file.c_str());
            return 1;
        }
    }
    std::printf(
        "Message: %ld images (%ld between the ends); %ld of %ld atoms move; springs of %.2f "
        "eV/A^2; climbing image %s.\n",
        static_cast<long>(neb->total), static_cast<long>(neb->total - 2),
        static_cast<long>(velmar::rx::movable_count(*neb->cell)), static_cast<long>(neb->atoms),
        neb->k, climbing ? "on" : "off");
    if (velmar_neb_calculate_energy(neb) != 0) {
        VELMAR_ERROR_NONZERO(velmar_neb_calculate_energy);
        return 1;
    }
    const int32_t last = neb->total - 1;
    for (const int32_t end : {static_cast<int32_t>(0), last}) {
        const double force = largest_force(*neb, end);
        if (force > f_tol) {
            std::printf(
                "Warning: the %s image is not relaxed (largest force %.4f eV/A); relax both ends "
                "first (--rx-sd) for a meaningful barrier.\n",
                end == 0 ? "first" : "last", force);
        }
    }
    bool converged = false;
    if (velmar_neb_run(neb, steps, f_tol, &converged) != 0) {
        VELMAR_ERROR_NONZERO(velmar_neb_run);
        return 1;
    }
    velmar_neb_print(neb);
    const int32_t top =
        static_cast<int32_t>(std::max_element(neb->energy, neb->energy + neb->total) - neb->energy);
    std::printf(
        "NEB: barrier = %.6f eV at image %ld (coordinate %.4f A); reverse barrier = %.6f eV\n",
        neb->energy[top] - neb->energy[0], static_cast<long>(top), neb->coordinate[top],
        neb->energy[top] - neb->energy[last]);
    if (!converged)
        std::puts("Warning: the band written is the last state of a run that did not converge.");
    if (velmar_neb_export(neb, name) != 0) {
        VELMAR_ERROR_NONZERO(velmar_neb_export);
        return 1;
    }
    return 0;
}

}  // namespace

void velmar_neb_print(const VELMAR_NEB *neb) {
    if (neb == nullptr || neb->energy == nullptr) {
        std::puts("NEB: (not allocated)");
        return;
    }
    for (int32_t i = 0; i < neb->total; ++i) {
        std::printf("NEB: image %2ld; coordinate = %8.4f A; energy = %11.6f eV%s\n",
                    static_cast<long>(i), neb->coordinate[i], neb->energy[i] - neb->energy[0],
                    i == neb->climber ? " (climbing)" : "");
    }
}

int velmar_neb_export(const VELMAR_NEB *neb, const char *name) {
    if (neb == nullptr || neb->cell == nullptr || name == nullptr) {
        std::fputs("Error: VELMAR_NEB has not been properly initialized.\n", stderr);
        return 1;
    }
    velmar::Owned<VELMAR_TEXT, velmar_text_free> log(velmar_text_new("image,coordinate,energy\n"));
    if (!log) {
        VELMAR_ERROR_NULL(velmar_text_new);
        return 1;
    }
    for (int32_t i = 0; i < neb->total; ++i) {
        char row[128];
        std::snprintf(row, sizeof row, "%ld,%.6f,%.8f\n", static_cast<long>(i), neb->coordinate[i],
                      neb->energy[i] - neb->energy[0]);
        if (velmar_text_append(log.get(), row) != 0) {
            VELMAR_ERROR_NONZERO(velmar_text_append);
            return 1;
        }
    }
    const std::string logname = std::string(name) + ".neb-log.txt";
    if (velmar_text_export_to_file(log.get(), logname.c_str()) != 0) {
        VELMAR_ERROR_NONZERO(velmar_text_export_to_file);
        return 1;
    }
    std::printf("Message: energy profile written to %s.\n", logname.c_str());
    velmar::Owned<VELMAR_CELL, velmar_cell_free> image(velmar_cell_copy(neb->cell));
    if (!image) {
        VELMAR_ERROR_NULL(velmar_cell_copy);
        return 1;
    }
    for (int32_t i = 0; i < neb->total; ++i) {
        for (int32_t a = 0; a < neb->atoms; ++a) {
            velmar_vector3_double_copy(
                image->atom[a].x,
                neb->x[static_cast<size_t>(i) * static_cast<size_t>(neb->atoms) + a]);
        }
        const std::string file = image_file(name, i);
        if (velmar::rx::export_cif(*image, file.c_str()) != 0) {
            std::fprintf(stderr, "Error: unable to write to %s.\n", file.c_str());
            return 1;
        }
        std::printf("Message: image %ld written to %s.\n", static_cast<long>(i), file.c_str());
    }
    return 0;
}

int velmar_neb_from_ends(VELMAR_CELL *initial, VELMAR_CELL *final, const char *initial_cif,
                         const char *final_cif, int32_t images, double sf, int32_t steps,
                         double f_tol, bool climbing, const char *dir_unitary,
                         const char *dir_binary) {
    if (initial == nullptr || final == nullptr || initial_cif == nullptr || final_cif == nullptr) {
        std::fputs("Error: VELMAR_CELL has not been properly initialized.\n", stderr);
        return 1;
    }
    if (images <= 0) images = VELMAR_NEB_IMAGES;
    const char *names[2] = {initial_cif, final_cif};
    const VELMAR_CELL *const ends[2] = {initial, final};
    if (velmar_neb_check_images(ends, 2, names) != 0) {
        VELMAR_ERROR_NONZERO(velmar_neb_check_images);
        return 1;
    }
    Table ppt;
    if (!prepare(initial, initial_cif, sf, dir_unitary, dir_binary, ppt)) return 1;
    Band neb(velmar_neb_new_interpolated(initial, final, images + 2, ppt.get(), names));
    if (!neb) {
        VELMAR_ERROR_NULL(velmar_neb_new_interpolated);
        return 1;
    }
    return run_band(neb.get(), initial_cif, steps, f_tol, climbing);
}

int velmar_neb_from_images(VELMAR_CELL *const *cells, int32_t total, const char *base, double sf,
                           int32_t steps, double f_tol, bool climbing, const char *dir_unitary,
                           const char *dir_binary) {
    if (cells == nullptr || base == nullptr) {
        std::fputs("Error: VELMAR_CELL has not been properly initialized.\n", stderr);
        return 1;
    }
    std::vector<std::string> files;
    std::vector<const char *> names;
    for (int32_t i = 0; i < total; ++i)
        files.push_back(std::string(base) + "." + std::to_string(i) + ".cif");
    for (const std::string &file : files) names.push_back(file.c_str());
    if (velmar_neb_check_images(cells, total, names.data()) != 0) {
        VELMAR_ERROR_NONZERO(velmar_neb_check_images);
        return 1;
    }
    Table ppt;
    if (!prepare(cells[0], names[0], sf, dir_unitary, dir_binary, ppt)) return 1;
    Band neb(velmar_neb_new(cells, total, ppt.get(), names.data()));
    if (!neb) {
        VELMAR_ERROR_NULL(velmar_neb_new);
        return 1;
    }
    return run_band(neb.get(), base, steps, f_tol, climbing);
}
