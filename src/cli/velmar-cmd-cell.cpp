// Handlers of the structure commands: --print-cell, --print-sym, --cal-sym and the --gen-cif
// family.
#include <cmath>
#include <cstdio>
#include <string>

#include "cli/velmar-cmd-handlers.h"
#include "cli/velmar-cmd-util.h"
#include "structure/velmar-cell-ops.h"
#include "structure/velmar-cif-writer.h"
#include "structure/velmar-spacegroup.h"

namespace {

using velmar::cmd::CellPtr;
using velmar::cmd::SymmetryPtr;

// The output name: the optional argument at `index`, else the input name with `suffix`.
std::string output_name(const VELMAR_CMD_OPT *opt, int index, const char *suffix) {
    if (opt->argc > index) return opt->argv[index];
    return std::string(opt->argv[2]) + suffix;
}

// The name of a structure with its partial occupancies resolved: the input without its last four
// characters (".cif"), then the suffix, as the landscape commands name the supercell they resolve
// (Li2O.cif gives Li2O_assigned.cif).
std::string assigned_name(const VELMAR_CMD_OPT *opt, int index, const char *suffix) {
    if (opt->argc > index) return opt->argv[index];
    const std::string input = opt->argv[2];
    return (input.size() > 3 ? input.substr(0, input.size() - 4) : input) + suffix;
}

void report_written(const std::string &name) {
    std::printf("Message: cif file written to %s\n", name.c_str());
}

// Writes the loaded structure with its own operations (mode 0 all atoms, mode 1 one per site), or
// in P 1.
void write_loaded(const VELMAR_CMD_OPT *opt, const char *suffix, bool with_cards, int mode) {
    CellPtr cell;
    SymmetryPtr symmetry;
    if (!velmar::cmd::load_cell(opt, opt->argv[2], cell, symmetry)) return;
    const std::string name = output_name(opt, 3, suffix);
    const int status = with_cards ? velmar_cell_export_cif_with_symmetry(name.c_str(), cell.get(),
                                                                         symmetry.get(), mode)
                                  : velmar_cell_export_cif_to_file(name.c_str(), cell.get(), 0);
    if (status != 0) {
        std::fputs(with_cards ? "Error: velmar_cell_export_cif_with_symmetry() returns non-zero.\n"
                              : "Error: velmar_cell_export_cif_to_file() returns non-zero.\n",
                   stderr);
        return;
    }
    report_written(name);
}

// Prints the supercell that a resolution of partial occupancies used.
void report_supercell(const VELMAR_CELL *cell, const VELMAR_CELL *super) {
    int s[3];
    for (int r = 0; r < 3; ++r) {
        s[r] = static_cast<int>(std::lround(super->parameter[r] / cell->parameter[r]));
    }
    std::printf("Message: supercell [%d, %d, %d]\n", s[0], s[1], s[2]);
}

}  // namespace

void velmar_cmd_opt_do_print_cell(const VELMAR_CMD_OPT *opt) {
    if (opt->argc <= 2) {
        std::printf("Command: --print-cell [input.cif].\n\n");
        std::printf("Example: ./velmar.x --print-cell Li2O.cif\n");
        return;
    }
    CellPtr cell;
    SymmetryPtr symmetry;
    if (!velmar::cmd::load_cell(opt, opt->argv[2], cell, symmetry)) return;
    velmar_cell_print(cell.get());
}

void velmar_cmd_opt_do_print_sym(const VELMAR_CMD_OPT *opt) {
    if (opt->argc <= 2) {
        std::printf("Command: --print-sym [input.cif]\n\n");
        std::printf("Example: ./velmar.x --print-sym Li2O.cif\n");
        return;
    }
    CellPtr cell;
    SymmetryPtr symmetry;
    if (!velmar::cmd::load_cell(opt, opt->argv[2], cell, symmetry)) return;
    velmar_symmetry_print(symmetry.get());
}

void velmar_cmd_opt_do_cal_sym(const VELMAR_CMD_OPT *opt) {
    if (opt->argc <= 2) {
        std::printf("Command: --cal-sym [input.cif] | {tolerance}\n\n");
        std::printf(
            "Command: {tolerance}: largest distance in A between an atom and the image of an "
            "equivalent atom. Default 0.01.\n");
        std::printf("Example: ./velmar.x --cal-sym Li2O.cif\n");
        std::printf("Example: ./velmar.x --cal-sym Li2O.cif 0.05\n");
        return;
    }
    double tolerance = 0.01;
    if (opt->argc > 3 && !velmar::cmd::parse_double(opt->argv[3], "tolerance", tolerance)) return;
    if (tolerance <= 0.0) {
        std::fputs("Error: the tolerance must be positive.\n", stderr);
        return;
    }
    CellPtr cell;
    SymmetryPtr loaded;
    if (!velmar::cmd::load_cell(opt, opt->argv[2], cell, loaded)) return;
    SymmetryPtr found(velmar_symmetry_calculate_from_cell(cell.get(), tolerance));
    if (!found) {
        VELMAR_ERROR_NULL(velmar_symmetry_calculate_from_cell);
        return;
    }
    velmar_symmetry_print(found.get());
}

void velmar_cmd_opt_do_gen_cif(const VELMAR_CMD_OPT *opt) {
    if (opt->argc <= 2) {
        std::printf("Command: --gen-cif [input.cif] | {output.cif}\n\n");
        std::printf(
            "Command: writes the structure as loaded in the standard form: one atom per site "
            "with the symmetry operations, which every CIF reader expands back to the same cell "
            "(the whole cell in P 1 when the operations do not map the atoms onto each other).\n");
        std::printf("Command: {output.cif}: the file to write. Default input.cif.out.cif.\n");
        std::printf("Example: ./velmar.x --gen-cif Li2O.cif\n");
        std::printf("Example: ./velmar.x --gen-cif Li2O.cif Li2O-out.cif\n");
        return;
    }
    CellPtr cell;
    SymmetryPtr symmetry;
    if (!velmar::cmd::load_cell(opt, opt->argv[2], cell, symmetry)) return;
    const std::string name = output_name(opt, 3, ".out.cif");
    // The whole cell together with its operations would have readers apply them again and find
    // every atom twice; one atom per site with the operations is what they expect.
    int status = 0;
    if (velmar_cell_closed_under_symmetry(cell.get(), symmetry.get())) {
        status = velmar_cell_export_cif_with_symmetry(name.c_str(), cell.get(), symmetry.get(), 1);
        if (status != 0) VELMAR_ERROR_NONZERO(velmar_cell_export_cif_with_symmetry);
    } else {
        std::printf(
            "Warning: the symmetry operations of %s do not map its atoms onto each other; the "
            "whole cell is written in P 1.\n",
            opt->argv[2]);
        status = velmar_cell_export_cif_to_file(name.c_str(), cell.get(), 0);
        if (status != 0) VELMAR_ERROR_NONZERO(velmar_cell_export_cif_to_file);
    }
    if (status == 0) report_written(name);
}

void velmar_cmd_opt_do_gen_cif_reduced(const VELMAR_CMD_OPT *opt) {
    if (opt->argc <= 2) {
        std::printf("Command: --gen-cif-reduced [input.cif] | {output.cif}\n\n");
        std::printf("Command: {output.cif}: the file to write. Default input.cif.reduced.cif.\n");
        std::printf("Example: ./velmar.x --gen-cif-reduced Li2O.cif\n");
        return;
    }
    write_loaded(opt, ".reduced.cif", true, 1);
}

void velmar_cmd_opt_do_gen_cif_p1(const VELMAR_CMD_OPT *opt) {
    if (opt->argc <= 2) {
        std::printf("Command: --gen-cif-p1 [input.cif] | {output.cif}\n\n");
        std::printf("Command: {output.cif}: the file to write. Default input.cif.p1.cif.\n");
        std::printf("Example: ./velmar.x --gen-cif-p1 Li2O.cif\n");
        return;
    }
    write_loaded(opt, ".p1.cif", false, 0);
}

void velmar_cmd_opt_do_gen_cif_assign(const VELMAR_CMD_OPT *opt) {
    if (opt->argc <= 4) {
        std::printf("Command: --gen-cif-assign [input.cif] [type] [os] | {output.cif}\n\n");
        std::printf("Command: [type] the element type of conducting ion, two characters.\n");
        std::printf("Command: [os] the oxidation state of conducting ion, integer.\n");
        std::printf(
            "Command: {output.cif}: the file to write. Default input_assigned.cif (the name "
            "--gen-cube gives the supercell it resolves).\n");
        std::printf("Example: ./velmar.x --gen-cif-assign LLZO.cif Li 1\n");
        std::printf(
            "         resolves the partially occupied Li+ sites at random in the smallest "
            "supercell "
            "that holds whole numbers of atoms and writes the result in P 1.\n");
        return;
    }
    char type[3];
    velmar_cmd_opt_get_type(type, opt->argv[3]);
    int os = 0;
    if (!velmar::cmd::parse_int(opt->argv[4], "oxidation state", os)) return;
    CellPtr cell;
    SymmetryPtr symmetry;
    if (!velmar::cmd::load_cell(opt, opt->argv[2], cell, symmetry)) return;
    const std::string name = assigned_name(opt, 5, "_assigned.cif");
    CellPtr result;
    if (!velmar_cell_partial_occ_at_conducting_site(cell.get(), type, os)) {
        std::printf("Message: no partially occupied %s%d%c site; the cell is written as it is.\n",
                    type, std::abs(os), os >= 0 ? '+' : '-');
        result.reset(velmar_cell_copy(cell.get()));
    } else {
        CellPtr super(velmar_cell_supercell_default(cell.get()));
        if (!super) {
            VELMAR_ERROR_NULL(velmar_cell_supercell_default);
            return;
        }
        report_supercell(cell.get(), super.get());
        result.reset(velmar_cell_assign_partial_occ_at_conducting_site(super.get(), type, os));
    }
    if (!result) {
        VELMAR_ERROR_NULL(velmar_cell_assign_partial_occ_at_conducting_site);
        return;
    }
    if (velmar_cell_export_cif_to_file(name.c_str(), result.get(), 0) != 0) {
        VELMAR_ERROR_NONZERO(velmar_cell_export_cif_to_file);
        return;
    }
    report_written(name);
}

void velmar_cmd_opt_do_gen_cif_assign_all(const VELMAR_CMD_OPT *opt) {
    if (opt->argc <= 2) {
        std::printf("Command: --gen-cif-assign-all [input.cif] | {output.cif}\n\n");
        std::printf("Command: {output.cif}: the file to write. Default input_assigned-all.cif.\n");
        std::printf("Example: ./velmar.x --gen-cif-assign-all LLZO.cif\n");
        std::printf(
            "         resolves every partially occupied site at random in the smallest supercell "
            "that holds whole numbers of atoms and writes the result in P 1.\n");
        return;
    }
    CellPtr cell;
    SymmetryPtr symmetry;
    if (!velmar::cmd::load_cell(opt, opt->argv[2], cell, symmetry)) return;
    const std::string name = assigned_name(opt, 3, "_assigned-all.cif");
    CellPtr super(velmar_cell_supercell_default(cell.get()));
    if (!super) {
        VELMAR_ERROR_NULL(velmar_cell_supercell_default);
        return;
    }
    report_supercell(cell.get(), super.get());
    CellPtr result(velmar_cell_assign_partial_occ_all(super.get()));
    if (!result) {
        VELMAR_ERROR_NULL(velmar_cell_assign_partial_occ_all);
        return;
    }
    if (velmar_cell_export_cif_to_file(name.c_str(), result.get(), 0) != 0) {
        VELMAR_ERROR_NONZERO(velmar_cell_export_cif_to_file);
        return;
    }
    report_written(name);
}
