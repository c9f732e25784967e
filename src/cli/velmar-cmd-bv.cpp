// Handlers of the bond-valence commands: --cal-bv, --cal-bv-gui, --cal-bv-type, --cal-gii and the
// text-mode --text-cal-bv.
#include <cstdio>

#include "cli/velmar-cmd-handlers.h"
#include "cli/velmar-cmd-util.h"
#include "model/velmar-bv.h"
#include "structure/velmar-cif.h"

namespace {

using velmar::cmd::CellPtr;
using velmar::cmd::SymmetryPtr;
using BvPtr = velmar::Owned<VELMAR_BV, velmar_bv_free>;

void print_bv_help(const char *command) {
    std::printf("Command: %s [intput.cif]\n", command);
    std::printf("Command: calculates and prints all bond valence sums for each ion.\n");
    std::printf("Example: ./velmar.x %s Li2O.cif\n", command);
}

// Sums of a loaded cell, printed as a table (or for the GUI), then its GII.
void report_bv(const VELMAR_CMD_OPT *opt, VELMAR_CELL *cell, const VELMAR_SYMMETRY *symmetry,
               bool gui) {
    BvPtr bv(velmar_bv_calculate_from_cell(cell, symmetry, opt->dir_unitary, opt->dir_binary));
    if (!bv) {
        VELMAR_ERROR_NULL(velmar_bv_calculate_from_cell);
        return;
    }
    if (gui) {
        velmar_bv_print_gui(bv.get());
    } else {
        velmar_bv_print(bv.get());
    }
    velmar_gii_calculate_from_bv(bv.get());
}

void cal_bv(const VELMAR_CMD_OPT *opt, bool gui) {
    CellPtr cell;
    SymmetryPtr symmetry;
    velmar::detail::CifReadNotes notes;
    if (!velmar::cmd::load_cell(opt, opt->argv[2], cell, symmetry, &notes)) return;
    velmar::detail::warn_unless_neutral(*cell, notes);
    report_bv(opt, cell.get(), symmetry.get(), gui);
}

}  // namespace

void velmar_cmd_opt_do_cal_bv(const VELMAR_CMD_OPT *opt) {
    if (opt->argc <= 2) {
        print_bv_help("--cal-bv");
        return;
    }
    cal_bv(opt, false);
}

void velmar_cmd_opt_do_cal_bv_gui(const VELMAR_CMD_OPT *opt) {
    if (opt->argc <= 2) {
        print_bv_help("--cal-bv-gui");
        return;
    }
    cal_bv(opt, true);
}

void velmar_cmd_opt_do_cal_bv_type(const VELMAR_CMD_OPT *opt) {
    if (opt->argc < 7) {
        std::printf("Command: --cal-bv-type [intput.cif] [type1] [os1] [type2] [os2]\n\n");
        std::printf("Command: {type1}: type of the cation.\n");
        std::printf("Command: {os1}: oxidation state of the cation.\n");
        std::printf("Command: {type2}: type of the anion.\n");
        std::printf("Command: {os2}: oxidation state of the anion.\n");
        std::printf(
            "Command: calculates and prints bond valence sums for the specified ion type pair.\n");
        std::printf("Example: ./velmar.x --cal-bv LiFePO4.cif Fe 2 O -2\n");
        return;
    }
    char type1[3];
    char type2[3];
    int os1 = 0;
    int os2 = 0;
    if (std::sscanf(opt->argv[3], "%2s", type1) != 1) {
        std::fputs("Error: wrong parameter type1.\n", stderr);
        return;
    }
    if (std::sscanf(opt->argv[4], "%d", &os1) != 1) {
        std::fputs("Error: wrong parameter os1.\n", stderr);
        return;
    }
    if (std::sscanf(opt->argv[5], "%2s", type2) != 1) {
        std::fputs("Error: wrong parameter type2.\n", stderr);
        return;
    }
    if (std::sscanf(opt->argv[6], "%d", &os2) != 1) {
        std::fputs("Error: wrong parameter os2.\n", stderr);
        return;
    }
    CellPtr cell;
    SymmetryPtr symmetry;
    if (!velmar::cmd::load_cell(opt, opt->argv[2], cell, symmetry)) return;
    BvPtr bv(velmar_bv_calculate_from_cell_with_type(cell.get(), symmetry.get(), type1, os1, type2,
                                                     os2, opt->dir_unitary, opt->dir_binary));
    if (!bv) {
        VELMAR_ERROR_NULL(velmar_bv_calculate_from_cell_with_type);
        return;
    }
    velmar_bv_print(bv.get());
}

void velmar_cmd_opt_do_cal_gii(const VELMAR_CMD_OPT *opt) {
    if (opt->argc <= 2) {
        std::printf("Command: --cal-gii [input.cif]\n\n");
        std::printf(
            "Command: calculates global instability index. The larger it is, the less stable this "
            "structure is ESTIMATED to be.\n");
        std::printf("Example: ./velmar.x --cal-gii Li2O.cif\n");
        return;
    }
    CellPtr cell;
    SymmetryPtr symmetry;
    velmar::detail::CifReadNotes notes;
    if (!velmar::cmd::load_cell(opt, opt->argv[2], cell, symmetry, &notes)) return;
    velmar::detail::warn_unless_neutral(*cell, notes);
    if (velmar_gii_calculate_from_cell(cell.get(), symmetry.get(), opt->dir_unitary,
                                       opt->dir_binary) < 0) {
        std::fputs("Error: velmar_gii_calculate_from_cell() returns negative value.\n", stderr);
    }
}

void velmar_cmd_opt_do_text_cal_bv(const VELMAR_CMD_OPT *opt) {
    if (opt->argc <= 2) {
        std::fputs("Error: not enough arguments.\n", stderr);
        return;
    }
    CellPtr cell;
    SymmetryPtr symmetry;
    velmar::detail::CifReadNotes notes;
    if (!velmar::cmd::load_cell_from_text(opt, cell, symmetry, &notes)) return;
    velmar::detail::warn_unless_neutral(*cell, notes);
    report_bv(opt, cell.get(), symmetry.get(), false);
}
