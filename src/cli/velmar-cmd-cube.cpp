// Handlers of the landscape commands: --gen-cube, --gen-cube-gii, --gen-cube-tot and --print-cube.
#include <cstdio>
#include <cstring>
#include <string>

#include "cli/velmar-cmd-handlers.h"
#include "cli/velmar-cmd-util.h"
#include "core/velmar-output.h"
#include "landscape/velmar-cube-file.h"
#include "landscape/velmar-landscape.h"

namespace {

using velmar::cmd::CellPtr;
using velmar::cmd::starts_with_f;
using velmar::cmd::SymmetryPtr;

enum class Landscape { kSiteEnergy, kGii, kTotalEnergy };

void print_help(Landscape kind) {
    if (kind == Landscape::kSiteEnergy) {
        std::printf(
            "Command: --gen-cube [input.cif] [type] [os] | {sf} {resolution} "
            "{flag:ignore_conducting_ion} {flag:periodic} {flag:skip_mix_occ} {output_name}\n\n");
    } else if (kind == Landscape::kGii) {
        std::printf(
            "Command: --gen-cube-gii [input.cif] [type] [os] | {sf} {resolution} "
            "{flag:ignore_conducting_ion} {flag:periodic} {output_name}\n\n");
    } else {
        std::printf(
            "Command: --gen-cube-tot [input.cif] [type] [os] | {sf} {resolution} "
            "{flag:ignore_conducting_ion} {flag:periodic} {flag:skip_mix_occ} {output_name}\n\n");
    }
    std::printf("Command: [type] the element type of conducting ion, two characters.\n");
    std::printf("Command: [os] the oxidation state of conducting ion, integer.\n");
    std::printf(
        "Command: {sf}: customized screening factor to use. If set to non-positive, automatic "
        "calculation is triggered. Default 0.0.\n");
    std::printf(
        "Command: {resolution}: preferred seperation between voxels. Actual resolution will be "
        "slightly different guarantee the number of voxels along each lattice parameter is a "
        "multiple of 12. Default 0.1.\n");
    std::printf(
        "Command: {flag:ignore_conducting_ion}: if set to true, all ions with the same type and os "
        "as the conducting ion are ignored during calculation. Default true.\n");
    std::printf(
        "Command: {flag:periodic}: if set to true, generated cube file contains voxels along "
        "boundaries only once. Default true.\n");
    if (kind != Landscape::kGii) {
        std::printf(
            "Command: {flag:skip_mix_occ}: if set to true, skip the cube file generation for "
            "structure with mixed occupancy site. Default false.\n");
    }
    std::printf(
        "Command: we advice staying with the default setting. If the screening factor cannot be "
        "calculated automatically, a suitable estimate of about 0.74 can be used.\n");
    if (kind == Landscape::kSiteEnergy) {
        std::printf("Example: ./velmar.x --gen-cube Li2O.cif Li 1\n");
        std::printf("Example: ./velmar.x --gen-cube Li2O.cif Li 1 0.71 0.05 f t\n");
    } else {
        std::printf("Example: ./velmar.x --gen-cube-gii Li2O.cif Li 1\n");
        std::printf("Example: ./velmar.x --gen-cube-gii Li2O.cif Li 1 0.71 0.05 f t\n");
    }
}

// The input name without the extension of its file part: "dir/Li2O.cif" gives "dir/Li2O".
std::string stem(const std::string &input) {
    const size_t slash = input.rfind('/');
    const size_t start = slash == std::string::npos ? 0 : slash + 1;
    const size_t dot = input.find('.', start);
    return dot == std::string::npos ? input : input.substr(0, dot);
}

void gen_cube(const VELMAR_CMD_OPT *opt, Landscape kind) {
    if (opt->argc < 5) {
        print_help(kind);
        return;
    }
    const int argc = opt->argc;
    char *const *argv = opt->argv;
    char type[3];
    velmar_cmd_opt_get_type(type, argv[3]);
    int os = 0;
    if (std::sscanf(argv[4], "%d", &os) != 1) {
        std::fputs("Error: wrong parameter conducting os.\n", stderr);
        return;
    }
    double sf = -0.1;
    if (argc > 5 && std::sscanf(argv[5], "%lf", &sf) != 1) {
        std::fputs("Error: wrong parameter screening factor.\n", stderr);
        return;
    }
    double resolution = 0.1;
    if (argc > 6) {
        if (std::sscanf(argv[6], "%lf", &resolution) != 1) {
            std::fputs("Error: wrong parameter resolution.\n", stderr);
            return;
        }
        if (resolution <= 0) resolution = 0.1;
    }
    const bool ignore_conducting = argc > 7 ? !starts_with_f(argv[7]) : true;
    const bool periodic = argc > 8 ? !starts_with_f(argv[8]) : true;
    // The skip flag has always been read from the periodic flag's word, from ten words on.
    bool skip_mix_occ = kind == Landscape::kTotalEnergy;
    if (argc > 9 && (argv[8][0] == 't' || argv[8][0] == 'T')) skip_mix_occ = true;
    const std::string input = argv[2];
    const int output_at = kind == Landscape::kGii ? 9 : 10;
    std::string cubename;
    if (argc > output_at) {
        cubename = std::string(argv[output_at]).substr(0, 1000);
    } else {
        cubename = (kind == Landscape::kSiteEnergy ? input : stem(input)) + ".cube";
    }
    const std::string cifname =
        (input.size() > 3 ? input.substr(0, input.size() - 4) : input) + "_assigned.cif";

    if (!velmar::output_check(cubename)) return;
    CellPtr cell;
    SymmetryPtr symmetry;
    if (!velmar::cmd::load_cell(opt, argv[2], cell, symmetry)) return;
    int status = 0;
    if (kind == Landscape::kSiteEnergy) {
        status = velmar_cube_calculate_from_cell_and_write_to_file_assign_partial_occ(
            cubename.c_str(), cifname.c_str(), cell.get(), symmetry.get(), type, os, sf, resolution,
            ignore_conducting, periodic, skip_mix_occ, opt->dir_unitary, opt->dir_binary);
    } else if (kind == Landscape::kGii) {
        status = velmar_cube_by_gii_calculate_from_cell_and_write_to_file_assign_partial_occ(
            cubename.c_str(), cifname.c_str(), cell.get(), symmetry.get(), type, os, sf, resolution,
            ignore_conducting, periodic, opt->dir_unitary, opt->dir_binary);
    } else {
        status = velmar_cube_by_tot_en_calculate_from_cell_and_write_to_sf_assign_partial_occ(
            cubename.c_str(), cifname.c_str(), cell.get(), symmetry.get(), type, os, sf, resolution,
            ignore_conducting, periodic, skip_mix_occ, opt->dir_unitary, opt->dir_binary);
    }
    if (status != 0) {
        std::fputs(
            kind == Landscape::kTotalEnergy
                ? "Error: velmar_cube_by_tot_en_calculate_from_cell_and_write_to_file_assign_"
                  "partial_occ() returns non-zero.\n"
                : "Error: velmar_cube_calculate_from_cell_and_write_to_file_assign_partial_"
                  "occ() returns non-zero.\n",
            stderr);
    }
}

}  // namespace

void velmar_cmd_opt_do_gen_cube(const VELMAR_CMD_OPT *opt) {
    gen_cube(opt, Landscape::kSiteEnergy);
}

void velmar_cmd_opt_do_gen_cube_gii(const VELMAR_CMD_OPT *opt) { gen_cube(opt, Landscape::kGii); }

void velmar_cmd_opt_do_gen_cube_tot(const VELMAR_CMD_OPT *opt) {
    gen_cube(opt, Landscape::kTotalEnergy);
}

void velmar_cmd_opt_do_print_cube(const VELMAR_CMD_OPT *opt) {
    if (opt->argc < 3) {
        std::printf("Command: --print-cube [input.cube] | {flag:periodic}\n\n");
        std::printf("Command: [input.cube]: in Guassian cube format. Headers are optional.\n");
        std::printf(
            "Command: {flag:periodic}: t or f. If true, the cube is treated as periodic, namely "
            "boundaries are not repeatedly recorded in the file. Default value true.\n");
        std::printf("Example: ./velmar.x --print-cube Li2O.cube\n");
        return;
    }
    const bool periodic = opt->argc > 3 ? !starts_with_f(opt->argv[3]) : true;
    VELMAR_CUBE *raw_cube = nullptr;
    VELMAR_CELL *raw_cell = nullptr;
    const int status = velmar_cube_import_from_file(&raw_cube, &raw_cell, opt->argv[2], periodic,
                                                    opt->dir_unitary);
    velmar::cmd::CubePtr cube(raw_cube);
    CellPtr cell(raw_cell);
    if (status != 0) {
        VELMAR_ERROR_NONZERO(velmar_cube_import_from_file);
        return;
    }
    velmar_cell_print(cell.get());
    velmar_cube_print_info(cube.get());
}
