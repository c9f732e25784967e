// Handlers of the conduction-network and site-summary commands: --gh and --sites.
#include <cstdio>
#include <string>

#include "cli/velmar-cmd-handlers.h"
#include "cli/velmar-cmd-util.h"
#include "core/velmar.h"
#include "landscape/velmar-cube-file.h"
#include "network/velmar-network-export.h"
#include "network/velmar-sites.h"

using velmar::cmd::CubePtr;
using velmar::cmd::load_cube;
using velmar::cmd::starts_with_f;

namespace {

void print_periodic_help() {
    std::printf(
        "Command: {flag:periodic}: if set to true, the cube file holds each boundary once; if "
        "false, its last layer along each axis repeats the first and is dropped. Default true.\n");
}

}  // namespace

void velmar_cmd_opt_do_gh(const VELMAR_CMD_OPT *opt) {
    if (opt->argc < 3) {
        std::printf("Command: --gh [input.cube] | {flag:periodic} {output_name}\n\n");
        std::printf(
            "Command: [input.cube]: the landscape of the conducting ion in eV, as --gen-cube "
            "writes it.\n");
        print_periodic_help();
        std::printf(
            "Command: {output_name}: base of the output names. Default the cube file's "
            "name.\n");
        std::printf(
            "Command: finds the lowest energies E_1, E_2, E_3 at which the voxels below them "
            "connect across the periodic cell into a channel (1D), a layer (2D) or a network (3D), "
            "and the barriers E_d - E_min; voxels at the cap 999.9 are impassable. Writes "
            "{output_name}.gh.csv with the thresholds, {output_name}.gh.1d.cif, .gh.2d.cif and "
            ".gh.3d.cif with each channel at its threshold (Li: minima, Na: bottleneck, H: "
            "channel voxels, thinned), and {output_name}.gh.hops.csv with the hops between the "
            "basins of the minima.\n");
        std::printf("Example: ./velmar.x --gh Li2O.cif.cube\n");
        return;
    }
    const bool periodic = opt->argc > 3 ? !starts_with_f(opt->argv[3]) : true;
    const std::string base = opt->argc > 4 ? opt->argv[4] : opt->argv[2];
    CubePtr cube;
    if (!load_cube(opt->argv[2], periodic, cube)) return;
    if (velmar_network_analyze_export_to_file(cube.get(), base.c_str()) != 0) {
        VELMAR_ERROR_NONZERO(velmar_network_analyze_export_to_file);
    }
}

void velmar_cmd_opt_do_sites(const VELMAR_CMD_OPT *opt) {
    if (opt->argc < 6) {
        std::printf("Command: --sites [input.cif] [input.cube] [type] [os] | {flag:periodic}\n\n");
        std::printf(
            "Command: [input.cube]: the landscape of the conducting ion over the cell of "
            "[input.cif], in eV.\n");
        std::printf("Command: [type] [os]: element and oxidation state of the conducting ion.\n");
        print_periodic_help();
        std::printf(
            "Command: groups the minima of the landscape (the sites) into classes related by the "
            "structure's symmetry and prints per class its name (the label of the structure's "
            "site of the conducting ion there, or i1, i2, ... for interstitials), energy above "
            "the lowest class, multiplicity per cell, position, occupancy, curvatures (eV/A^2) "
            "and attempt frequency, the lowest barrier to leave it and the barriers at which it "
            "joins the 1D, 2D and 3D networks; writes the table to {input.cif}.sites.csv.\n");
        std::printf("Example: ./velmar.x --sites Li2O.cif Li2O.cif.cube Li 1\n");
        return;
    }
    int os = 0;
    if (!velmar::cmd::parse_int(opt->argv[5], "oxidation state", os)) return;
    char type[3];
    velmar_cmd_opt_get_type(type, opt->argv[4]);
    const bool periodic = opt->argc > 6 ? !starts_with_f(opt->argv[6]) : true;
    velmar::cmd::CellPtr cell;
    velmar::cmd::SymmetryPtr symmetry;
    if (!velmar::cmd::load_cell(opt, opt->argv[2], cell, symmetry)) return;
    CubePtr cube;
    if (!load_cube(opt->argv[3], periodic, cube)) return;
    if (velmar_sites_analyze_export_to_file(cell.get(), symmetry.get(), cube.get(), type, os,
                                            opt->argv[2], opt->argv[3], opt->dir_unitary) != 0) {
        VELMAR_ERROR_NONZERO(velmar_sites_analyze_export_to_file);
    }
}
