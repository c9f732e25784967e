// Handlers of the relaxation commands: --rx-sd (steepest descent of the positions) and --rx-neb,
// --rx-neb-images (nudged elastic band from two ends or from a series of images).
#include <cstdio>
#include <memory>

#include "cli/velmar-cmd-handlers.h"
#include "cli/velmar-cmd-util.h"
#include "core/velmar.h"
#include "relax/velmar-neb.h"
#include "relax/velmar-rx-common.h"
#include "relax/velmar-rx-sd.h"
#include "structure/velmar-cif.h"

namespace {

using velmar::cmd::CellPtr;
using velmar::cmd::parse_double;
using velmar::cmd::parse_int;
using velmar::cmd::SymmetryPtr;

// A flag argument read by its first character.
bool parse_flag(const char *text, const char *what, bool &value) {
    if (text[0] == 't' || text[0] == 'T' || text[0] == 'f' || text[0] == 'F') {
        value = text[0] == 't' || text[0] == 'T';
        return true;
    }
    std::fprintf(stderr, "Error: invalid %s '%s'.\n", what, text);
    return false;
}

// The optional band arguments from argv[first] on: sf, steps, f_tol, flag:climbing.
struct BandOptions {
    double sf = -1.0;
    int steps = -1;
    double f_tol = -1.0;
    bool climbing = false;
    bool read(const VELMAR_CMD_OPT *opt, int first) {
        const int argc = opt->argc;
        char **argv = opt->argv;
        return (argc <= first || parse_double(argv[first], "sf", sf)) &&
               (argc <= first + 1 || parse_int(argv[first + 1], "steps", steps)) &&
               (argc <= first + 2 || parse_double(argv[first + 2], "f_tol", f_tol)) &&
               (argc <= first + 3 || parse_flag(argv[first + 3], "flag:climbing", climbing));
    }
};

void print_band_options() {
    std::printf(
        "Command: {sf}: screening factor. If set to non-positive value, automatic calculation is "
        "triggered. Default: -1.\n");
    std::printf(
        "Command: {steps}: most optimiser steps; negative for the default, %d; 0 only evaluates "
        "the starting band.\n",
        static_cast<int>(VELMAR_NEB_STEPS));
    std::printf(
        "Command: {f_tol}: the band is converged when no free atom of an image between the ends "
        "feels a band force above f_tol, in eV/A. Non-positive for the default, %.3f.\n",
        velmar::rx::kDefaultForceTolerance);
    std::printf(
        "Command: {flag:climbing}: if set to true, the highest image climbs to the saddle point. "
        "Default false.\n");
    std::printf(
        "Command: atoms marked T in the _atom_site_velmar_fixed column of the first image stay "
        "put, all others move (every atom when the column is missing); the ends stay as given, so "
        "relax them first with --rx-sd. Springs of %.1f eV/A^2 keep the images evenly spaced.\n",
        VELMAR_NEB_SPRING);
}

}  // namespace

void velmar_cmd_opt_do_rx_sd(const VELMAR_CMD_OPT *opt) {
    if (opt->argc <= 2) {
        std::printf("Command: --rx-sd [input.cif] | {sf} {steps} {f_tol} {output.cif}.\n\n");
        std::printf(
            "Command: [input.cif]: atoms marked T in its _atom_site_velmar_fixed column stay put, "
            "all others move (every atom when the column is missing).\n");
        std::printf(
            "Command: {sf}: screening factor. If set to non-positive value, automatic calculation "
            "is triggered. Default: -1.\n");
        std::printf(
            "Command: {steps}: most steps; negative for the default, %d; 0 only evaluates the "
            "structure.\n",
            static_cast<int>(VELMAR_RX_SD_STEPS));
        std::printf(
            "Command: {f_tol}: the run stops when no free atom feels a force above f_tol, in eV/A. "
            "Non-positive for the default, %.3f.\n",
            velmar::rx::kDefaultForceTolerance);
        std::printf(
            "Command: {output.cif}: the relaxed structure. Default: input.cif.rx.cif; the energy "
            "and largest force of each step go to input.cif.rx-log.txt.\n");
        std::printf(
            "Command: relaxes the atomic positions by steepest descent with a backtracking line "
            "search, so that the energy never rises; the cell (lengths and angles) stays as it "
            "is.\n");
        std::printf("Example: ./velmar.x --rx-sd Li2O.cif\n");
        std::printf("Example: ./velmar.x --rx-sd Li2O.cif -1 200 0.01 Li2O-relaxed.cif\n");
        return;
    }
    double sf = -1.0;
    int steps = -1;
    double f_tol = -1.0;
    char **argv = opt->argv;
    if ((opt->argc > 3 && !parse_double(argv[3], "sf", sf)) ||
        (opt->argc > 4 && !parse_int(argv[4], "steps", steps)) ||
        (opt->argc > 5 && !parse_double(argv[5], "f_tol", f_tol))) {
        return;
    }
    const char *output = opt->argc > 6 ? argv[6] : nullptr;
    CellPtr cell;
    SymmetryPtr symmetry;
    if (!velmar::cmd::load_cell(opt, argv[2], cell, symmetry)) return;
    if (velmar_rx_sd_from_cell(cell.get(), argv[2], output, sf, steps, f_tol, opt->dir_unitary,
                               opt->dir_binary) != 0) {
        VELMAR_ERROR_NONZERO(velmar_rx_sd_from_cell);
    }
}

void velmar_cmd_opt_do_rx_neb(const VELMAR_CMD_OPT *opt) {
    if (opt->argc <= 3) {
        std::printf(
            "Command: --rx-neb [initial.cif] [final.cif] | {images} {sf} {steps} {f_tol} "
            "{flag:climbing}.\n\n");
        std::printf(
            "Command: [initial.cif] [final.cif]: the two ends, holding the same atoms in the same "
            "order in the same cell; the images between them are interpolated linearly, each atom "
            "along its shortest periodic displacement.\n");
        std::printf(
            "Command: {images}: number of images between the ends. Non-positive for the default, "
            "%d.\n",
            static_cast<int>(VELMAR_NEB_IMAGES));
        print_band_options();
        std::printf(
            "Command: writes the energy profile (image,coordinate,energy: path length in A, energy "
            "in eV above the first image) to initial.cif.neb-log.txt and the images to "
            "initial.cif.neb.0.cif, initial.cif.neb.1.cif, ...\n");
        std::printf("Example: ./velmar.x --rx-neb Li2O-a.cif Li2O-b.cif\n");
        std::printf("Example: ./velmar.x --rx-neb Li2O-a.cif Li2O-b.cif 7 -1 500 0.02 T\n");
        return;
    }
    int images = -1;
    BandOptions band;
    if ((opt->argc > 4 && !parse_int(opt->argv[4], "images", images)) || !band.read(opt, 5)) {
        return;
    }
    CellPtr initial;
    CellPtr final;
    SymmetryPtr symmetry;
    if (!velmar::cmd::load_cell(opt, opt->argv[2], initial, symmetry) ||
        !velmar::cmd::load_cell(opt, opt->argv[3], final, symmetry)) {
        return;
    }
    if (velmar_neb_from_ends(initial.get(), final.get(), opt->argv[2], opt->argv[3], images,
                             band.sf, band.steps, band.f_tol, band.climbing, opt->dir_unitary,
                             opt->dir_binary) != 0) {
        VELMAR_ERROR_NONZERO(velmar_neb_from_ends);
    }
}

void velmar_cmd_opt_do_rx_neb_images(const VELMAR_CMD_OPT *opt) {
    if (opt->argc <= 3) {
        std::printf(
            "Command: --rx-neb-images [base] [count] | {sf} {steps} {f_tol} {flag:climbing}.\n\n");
        std::printf(
            "Command: [base] [count]: the images are read from base.0.cif, base.1.cif, ... "
            "base.<count-1>.cif (at least 3), the first and the last being the ends; they hold "
            "the same atoms in the same order in the same cell.\n");
        print_band_options();
        std::printf(
            "Command: writes the energy profile to base.neb-log.txt and the images to "
            "base.neb.0.cif, ...; so a band can be continued with --rx-neb-images base.neb "
            "count.\n");
        std::printf("Example: ./velmar.x --rx-neb-images Li2O-path 7\n");
        std::printf("Example: ./velmar.x --rx-neb-images Li2O-path 7 -1 500 0.02 T\n");
        return;
    }
    int count = 0;
    BandOptions band;
    if (!parse_int(opt->argv[3], "count", count) || !band.read(opt, 4)) return;
    if (count < 3) {
        std::fprintf(stderr, "Error: a band needs at least 3 images (count %d).\n", count);
        return;
    }
    const auto release = [count](VELMAR_CELL **cells) { velmar_cells_free(cells, count); };
    std::unique_ptr<VELMAR_CELL *[], decltype(release)> cells(
        velmar_cells_import_cif_from_file(opt->argv[2], count, opt->dir_symcards, opt->dir_unitary),
        release);
    if (!cells) {
        VELMAR_ERROR_NULL(velmar_cells_import_cif_from_file);
        return;
    }
    if (velmar_neb_from_images(cells.get(), count, opt->argv[2], band.sf, band.steps, band.f_tol,
                               band.climbing, opt->dir_unitary, opt->dir_binary) != 0) {
        VELMAR_ERROR_NONZERO(velmar_neb_from_images);
    }
}
