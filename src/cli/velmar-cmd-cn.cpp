// Handlers of the coordination-number commands: --cal-cn, --cal-cn-atom, --cal-cn-type and
// --cal-cn-bv. Each prints its results and writes them to "<input>.cn.csv".
#include <cstdio>
#include <string>

#include "cli/velmar-cmd-handlers.h"
#include "cli/velmar-cmd-util.h"
#include "core/velmar-text.h"
#include "model/velmar-cn.h"

namespace {

using velmar::cmd::CellPtr;
using velmar::cmd::SymmetryPtr;
using CnPtr = velmar::Owned<VELMAR_CN, velmar_cn_free>;
using TextPtr = velmar::Owned<VELMAR_TEXT, velmar_text_free>;

void print_label_help() {
    std::printf(
        "Command: [label]: site label of the atoms to analyse (O1); when no label matches, an "
        "element symbol (O) selects every atom of that element.\n");
}

void print_r_max_help() {
    std::printf("Command: {r_max}: reach of the radial distribution function in A. Default 6.0.\n");
}

// The optional r_max at argv[index] (the default when absent); false after an error line.
bool read_r_max(const VELMAR_CMD_OPT *opt, int index, double &r_max) {
    r_max = VELMAR_CN_R_MAX;
    return opt->argc <= index || velmar::cmd::parse_double(opt->argv[index], "r_max", r_max);
}

// Writes the table beside the input and says so.
void write_csv(VELMAR_TEXT *raw, const char *input) {
    const TextPtr text(raw);
    if (!text) return;  // the exporter has reported
    const std::string name = std::string(input) + ".cn.csv";
    if (velmar_text_export_to_file(text.get(), name.c_str()) != 0) {
        VELMAR_ERROR_NONZERO(velmar_text_export_to_file);
        return;
    }
    std::printf("Message: coordination numbers written to %s.\n", name.c_str());
}

}  // namespace

void velmar_cmd_opt_do_cal_cn(const VELMAR_CMD_OPT *opt) {
    if (opt->argc < 4) {
        std::printf("Command: --cal-cn [input.cif] [label] | {r_max}.\n\n");
        print_label_help();
        print_r_max_help();
        std::printf(
            "Command: counts the neighbours of opposite charge (every neighbour for a neutral "
            "atom) closer than the first minimum of the radial distribution function after its "
            "first peak, weighted by occupancy; prints the coordination number, the shell radius "
            "and the gap to the next neighbour of each atom and writes them to input.cif.cn.csv. "
            "Distances alone decide: --cal-cn-bv, which weighs each bond by its bond valence, is "
            "the better choice.\n");
        std::printf("Example: ./velmar.x --cal-cn Li2O.cif Li\n");
        std::printf("Example: ./velmar.x --cal-cn Li2O.cif O1 8.0\n");
        return;
    }
    double r_max = 0.0;
    if (!read_r_max(opt, 4, r_max)) return;
    CellPtr cell;
    SymmetryPtr symmetry;
    if (!velmar::cmd::load_cell(opt, opt->argv[2], cell, symmetry)) return;
    const CnPtr cn(velmar_cn_calculate_by_rdf(cell.get(), opt->argv[3], r_max));
    if (!cn) {
        VELMAR_ERROR_NULL(velmar_cn_calculate_by_rdf);
        return;
    }
    velmar_cn_print(cn.get(), cell.get());
    write_csv(velmar_cn_export_to_text(cn.get(), cell.get()), opt->argv[2]);
}

void velmar_cmd_opt_do_cal_cn_atom(const VELMAR_CMD_OPT *opt) {
    if (opt->argc < 4) {
        std::printf("Command: --cal-cn-atom [input.cif] [label] | {r_max}.\n\n");
        print_label_help();
        print_r_max_help();
        std::printf(
            "Command: lists the coordination shell of each atom (as --cal-cn finds it) and every "
            "atom out to the first neighbour beyond it, by increasing distance, with label, "
            "species, occupancy, distance and the bond valence of each cation-anion pair that has "
            "bond-valence parameters; writes one row per pair to input.cif.cn.csv.\n");
        std::printf("Example: ./velmar.x --cal-cn-atom LiFePO4.cif Fe1\n");
        return;
    }
    double r_max = 0.0;
    if (!read_r_max(opt, 4, r_max)) return;
    CellPtr cell;
    SymmetryPtr symmetry;
    if (!velmar::cmd::load_cell(opt, opt->argv[2], cell, symmetry)) return;
    const CnPtr cn(velmar_cn_calculate_shell_from_cell(cell.get(), opt->argv[3], r_max,
                                                       opt->dir_unitary, opt->dir_binary));
    if (!cn) {
        VELMAR_ERROR_NULL(velmar_cn_calculate_shell_from_cell);
        return;
    }
    velmar_cn_print_shell(cn.get(), cell.get());
    write_csv(velmar_cn_export_shell_to_text(cn.get(), cell.get()), opt->argv[2]);
}

void velmar_cmd_opt_do_cal_cn_type(const VELMAR_CMD_OPT *opt) {
    if (opt->argc < 7) {
        std::printf(
            "Command: --cal-cn-type [input.cif] [type1] [os1] [type2] [os2] | {r_max}.\n\n");
        std::printf("Command: [type1]: element of the atoms counted around.\n");
        std::printf("Command: [os1]: their oxidation state.\n");
        std::printf("Command: [type2]: element of the neighbours counted.\n");
        std::printf("Command: [os2]: their oxidation state.\n");
        print_r_max_help();
        std::printf(
            "Command: averages, weighted by occupancy, the coordination number of species 1 by "
            "the atoms of species 2 alone: those closer than the first minimum of their partial "
            "radial distribution function after its first peak; writes each atom's count to "
            "input.cif.cn.csv.\n");
        std::printf("Example: ./velmar.x --cal-cn-type LiFePO4.cif Fe 2 O -2\n");
        return;
    }
    char type1[3];
    char type2[3];
    int os1 = 0;
    int os2 = 0;
    velmar_cmd_opt_get_type(type1, opt->argv[3]);
    velmar_cmd_opt_get_type(type2, opt->argv[5]);
    if (!velmar::cmd::parse_int(opt->argv[4], "os1", os1) ||
        !velmar::cmd::parse_int(opt->argv[6], "os2", os2)) {
        return;
    }
    double r_max = 0.0;
    if (!read_r_max(opt, 7, r_max)) return;
    CellPtr cell;
    SymmetryPtr symmetry;
    if (!velmar::cmd::load_cell(opt, opt->argv[2], cell, symmetry)) return;
    const CnPtr cn(velmar_cn_calculate_by_type(cell.get(), type1, os1, type2, os2, r_max));
    if (!cn) {
        VELMAR_ERROR_NULL(velmar_cn_calculate_by_type);
        return;
    }
    velmar_cn_print(cn.get(), cell.get());
    std::printf("CN: average coordination number of %s%d%c by %s%d%c = %.3f\n", type1,
                os1 < 0 ? -os1 : os1, os1 > 0 ? '+' : '-', type2, os2 < 0 ? -os2 : os2,
                os2 > 0 ? '+' : '-', velmar_cn_average(cn.get(), cell.get()));
    write_csv(velmar_cn_export_to_text(cn.get(), cell.get()), opt->argv[2]);
}

void velmar_cmd_opt_do_cal_cn_bv(const VELMAR_CMD_OPT *opt) {
    if (opt->argc < 4) {
        std::printf("Command: --cal-cn-bv [input.cif] [label].\n\n");
        print_label_help();
        std::printf(
            "Command: counts the bonds to atoms of opposite charge within the bond-valence cut-off "
            "that carry at least %.0f %% of the site's bond-valence sum (weighted by occupancy), "
            "and gives the effective coordination number (sum s)^2 / sum s^2, in which each bond "
            "weighs by its valence; writes them to input.cif.cn.csv.\n",
            100.0 * VELMAR_CN_BV_SHARE);
        std::printf("Example: ./velmar.x --cal-cn-bv LiFePO4.cif Fe\n");
        return;
    }
    CellPtr cell;
    SymmetryPtr symmetry;
    if (!velmar::cmd::load_cell(opt, opt->argv[2], cell, symmetry)) return;
    const CnPtr cn(velmar_cn_calculate_by_bv_from_cell(cell.get(), opt->argv[3], opt->dir_unitary,
                                                       opt->dir_binary));
    if (!cn) {
        VELMAR_ERROR_NULL(velmar_cn_calculate_by_bv_from_cell);
        return;
    }
    velmar_cn_print_bv(cn.get(), cell.get());
    write_csv(velmar_cn_export_bv_to_text(cn.get(), cell.get()), opt->argv[2]);
}
