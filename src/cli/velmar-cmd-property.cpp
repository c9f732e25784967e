// Handlers of the parameter-table and energy commands: --print-ppt, --print-ppt-full, --cal-charge
// and --cal-tot-en.
#include <cstdio>

#include "cli/velmar-cmd-handlers.h"
#include "cli/velmar-cmd-util.h"
#include "model/velmar-property.h"
#include "model/velmar-total-energy.h"

namespace {

using velmar::cmd::CellPtr;
using velmar::cmd::SymmetryPtr;
using PropertyPtr = velmar::Owned<VELMAR_PROPERTY, velmar_property_free>;

// The screening factor argument, read with "%lf" as it always has been.
bool read_sf(const char *text, double &sf) {
    if (std::sscanf(text, "%lf", &sf) == 1) return true;
    std::fputs("Error: wrong parameter sf.\n", stderr);
    return false;
}

// Reads the cell and builds its table; false after the error lines.
bool load_table(const VELMAR_CMD_OPT *opt, CellPtr &cell, PropertyPtr &ppt, const char *type,
                int os, double sf) {
    SymmetryPtr symmetry;
    if (!velmar::cmd::load_cell(opt, opt->argv[2], cell, symmetry)) return false;
    ppt.reset(velmar_property_import_from_cell(cell.get(), type, os, sf, opt->dir_unitary,
                                               opt->dir_binary));
    if (!ppt) {
        VELMAR_ERROR_NULL(velmar_property_import_from_cell);
        return false;
    }
    return true;
}

}  // namespace

void velmar_cmd_opt_do_print_ppt(const VELMAR_CMD_OPT *opt) {
    if (opt->argc <= 2) {
        std::printf("Command: --print-ppt [input.cif] | {screening factor}.\n\n");
        std::printf("Command: {screening factor}: a double in (0, 1)\n");
        std::printf("Example: ./velmar.x --print-ppt Li2O.cif\n");
        std::printf("         will trigger automatic calculation of screening factor.\n");
        std::printf("Example: ./velmar.x --print-ppt Li2O.cif 0.72.\n");
        std::printf("         will use provided screening factor 0.72.\n");
        return;
    }
    double sf = -1.0;
    if (opt->argc > 3 && !read_sf(opt->argv[3], sf)) return;
    CellPtr cell;
    PropertyPtr ppt;
    if (!load_table(opt, cell, ppt, nullptr, 0, sf)) return;
    velmar_property_print_format(ppt.get());
}

void velmar_cmd_opt_do_print_ppt_full(const VELMAR_CMD_OPT *opt) {
    if (opt->argc <= 2) {
        std::printf(
            "Command: --print-ppt-full: [input.cif] | {screening factor} {conducting ion type} "
            "{conducting ion os}.\n\n");
        std::printf("Command: reserved for debugging purpose\n");
        return;
    }
    double sf = -1.0;
    char type[3] = {};
    int os = 0;
    const bool conducting = opt->argc >= 6;
    if (conducting) {
        // With a conducting ion the screening factor is always searched.
        velmar_cmd_opt_get_type(type, opt->argv[4]);
        if (std::sscanf(opt->argv[5], "%d", &os) != 1) {
            std::fputs("Error: wrong oxidation state.\n", stderr);
            return;
        }
    } else if (opt->argc >= 4 && !read_sf(opt->argv[3], sf)) {
        return;
    }
    CellPtr cell;
    PropertyPtr ppt;
    if (!load_table(opt, cell, ppt, conducting ? type : nullptr, os, sf)) return;
    velmar_property_print(ppt.get());
}

void velmar_cmd_opt_do_cal_charge(const VELMAR_CMD_OPT *opt) {
    if (opt->argc <= 2) {
        std::printf("Command: --cal-charge [intput.cif]\n");
        std::printf("Command: calculates and prints the total charge of the cell.\n");
        std::printf("Example: ./velmar.x --cal-charge Li2O.cif\n");
        return;
    }
    CellPtr cell;
    SymmetryPtr symmetry;
    if (!velmar::cmd::load_cell(opt, opt->argv[2], cell, symmetry)) return;
    double charge = 0.0;
    for (int32_t a = 0; a < cell->total; ++a) charge += cell->atom[a].occ * cell->atom[a].os;
    std::printf("Total charge per unit cell: %.3f\n", charge);
}

void velmar_cmd_opt_do_cal_tot_en(const VELMAR_CMD_OPT *opt) {
    if (opt->argc <= 2) {
        std::printf("Command: --cal-tot-en [input.cif] | {sf}\n\n");
        std::printf("Example: ./velmar.x --cal-tot-en Li2O.cif\n");
        return;
    }
    double sf = -1.0;
    if (opt->argc > 3 && !read_sf(opt->argv[3], sf)) return;
    CellPtr cell;
    PropertyPtr ppt;
    if (!load_table(opt, cell, ppt, nullptr, 0, sf)) return;
    std::printf("Message: total energy = %lf eV\n",
                velmar_cell_total_energy(cell.get(), ppt.get()));
}
