// Handlers of the force-field commands: the GULP libraries (--gen-gin-lib, --gen-gin-eam and the
// text-mode --text-gen-gin-lib and --text-gen-gin-lib-set-sf), the GULP molecular-dynamics input
// (--gen-gin) and the LAMMPS files of the same model (--gen-lmp).
#include <cstdio>
#include <cstring>
#include <string>

#include "cli/velmar-cmd-handlers.h"
#include "cli/velmar-cmd-util.h"
#include "forcefield/velmar-forcefield.h"
#include "forcefield/velmar-gulp.h"
#include "forcefield/velmar-lammps.h"
#include "model/velmar-property.h"
#include "structure/velmar-cif.h"

namespace {

using velmar::cmd::CellPtr;
using velmar::cmd::SymmetryPtr;
using PropertyPtr = velmar::Owned<VELMAR_PROPERTY, velmar_property_free>;

constexpr double kDefaultTemperature = 300.0;  // K
constexpr double kDefaultTime = 10.0;          // ps of production
constexpr double kDefaultTimestep = 0.001;     // ps

void print_lib_help(bool eam) {
    const char *command = eam ? "--gen-gin-eam" : "--gen-gin-lib";
    std::printf("Command: %s [input.cif] | {sf} {output}.\n\n", command);
    std::printf(
        "Command: {sf}: screening factor. If absent or non-positive, automatic calculation is "
        "triggered.\n");
    std::printf(
        "Command: {output}: the library is written to {output}.lib. Default: the input name with "
        "%s appended.\n",
        eam ? ".eam.lib" : ".lib");
    if (eam) {
        std::printf(
            "Command: writes a GULP library of the embedded-atom variant of the force field: the "
            "bond-valence sum of a site is its density and its embedding energy is least at the "
            "formal valence; ions of like sign repel by the screened Coulomb term.\n");
        std::printf("Example: ./velmar.x --gen-gin-eam Li2O.cif\n");
        std::printf("         will write Li2O.cif.eam.lib.\n");
    } else {
        std::printf(
            "Command: writes a GULP library of the force field: the species with their charges, a "
            "Morse term for every cation-anion pair and the screened Coulomb repulsion between "
            "ions of like sign.\n");
        std::printf("Example: ./velmar.x --gen-gin-lib Li2O.cif\n");
        std::printf("         will write Li2O.cif.lib.\n");
    }
    std::printf("Example: ./velmar.x %s Li2O.cif 0.72 li2o\n", command);
    std::printf("         will use the screening factor 0.72 and write li2o.lib.\n");
}

void print_md_help(const char *command, bool lammps) {
    std::printf("Command: %s [input.cif] [type] [os] | {sf} {temperature} {time} {timestep}.\n\n",
                command);
    std::printf("Command: [type]: type of conducting ions.\n");
    std::printf("Command: [os]: oxidation state of conducting ions.\n");
    std::printf(
        "Command: {sf}: screening factor. If absent or non-positive, automatic calculation is "
        "triggered.\n");
    std::printf(
        "Command: {temperature}: temperature in K. Set to non-positive to use the default value. "
        "Default %.0lf.\n",
        kDefaultTemperature);
    std::printf(
        "Command: {time}: time of production in ps, after an equilibration of a fifth of it. Set "
        "to non-positive to use the default value. Default %.3lf.\n",
        kDefaultTime);
    std::printf(
        "Command: {timestep}: time step in ps. Set to non-positive to use the default value. "
        "Default %.3lf.\n",
        kDefaultTimestep);
    if (lammps) {
        std::printf(
            "Command: writes input.cif.lmp.data, input.cif.lmp.table and input.cif.lmp.in, a "
            "LAMMPS molecular dynamics of the conducting ions in the fixed host with a Langevin "
            "thermostat; lmp -in input.cif.lmp.in -var steps 0 only evaluates the structure.\n");
    } else {
        std::printf(
            "Command: writes input.cif.gin, a GULP molecular dynamics of the conducting ions with "
            "every other ion tethered, and the library input.cif.lib that it reads.\n");
    }
    std::printf("Example: ./velmar.x %s Li2O.cif Li 1\n", command);
    std::printf("Example: ./velmar.x %s Li2O.cif Li 1 0.72 600 20.0 0.002\n", command);
}

void print_text_help(bool set_sf) {
    if (set_sf) {
        std::printf("Command: --text-gen-gin-lib-set-sf [sf] [output] -:text [cif text].\n\n");
        std::printf("Command: [sf]: screening factor, a positive number.\n");
    } else {
        std::printf("Command: --text-gen-gin-lib [output] -:text [cif text].\n\n");
    }
    std::printf("Command: [output]: the library is written to [output].lib.\n");
    std::printf(
        "Command: [cif text]: the CIF, one argument a word, with -:nl standing for a line "
        "break.\n");
    std::printf(
        "Command: writes the GULP library of --gen-gin-lib for a structure given as text%s.\n",
        set_sf ? " with the given screening factor" : "; the screening factor is calculated");
    if (set_sf) {
        std::printf(
            "Example: ./velmar.x --text-gen-gin-lib-set-sf 0.72 li2o -:text data_Li2O -:nl ...\n");
    } else {
        std::printf("Example: ./velmar.x --text-gen-gin-lib li2o -:text data_Li2O -:nl ...\n");
    }
}

// The screening factor argument: non-positive asks for the search.
bool read_sf(const char *text, double &sf) {
    return velmar::cmd::parse_double(text, "screening factor", sf);
}

// The table of a loaded cell, checked for everything a force field needs. With a conducting
// species, the cell must hold it.
bool build_table(const VELMAR_CMD_OPT *opt, VELMAR_CELL *cell, const char *source, const char *type,
                 int os, double sf, PropertyPtr &ppt) {
    ppt.reset(velmar_property_import_from_cell(cell, type, os, sf > 0 ? sf : -1.0, opt->dir_unitary,
                                               opt->dir_binary));
    if (!ppt) {
        VELMAR_ERROR_NULL(velmar_property_import_from_cell);
        return false;
    }
    if (type != nullptr && velmar_forcefield_validate_conducting(cell, ppt.get(), source) != 0) {
        VELMAR_ERROR_NONZERO(velmar_forcefield_validate_conducting);
        return false;
    }
    if (velmar_forcefield_validate(ppt.get()) != 0) {
        VELMAR_ERROR_NONZERO(velmar_forcefield_validate);
        return false;
    }
    return true;
}

// Writes the library of a loaded cell to output.
void write_lib(const VELMAR_CMD_OPT *opt, VELMAR_CELL *cell, const std::string &source, double sf,
               const std::string &output, bool eam) {
    PropertyPtr ppt;
    if (!build_table(opt, cell, source.c_str(), nullptr, 0, sf, ppt)) return;
    if (velmar_gin_export_lib_to_file(output.c_str(), cell, ppt.get(), source.c_str(), eam) != 0) {
        VELMAR_ERROR_NONZERO(velmar_gin_export_lib_to_file);
    }
}

void gen_lib(const VELMAR_CMD_OPT *opt, bool eam) {
    if (opt->argc <= 2) {
        print_lib_help(eam);
        return;
    }
    const char *input = opt->argv[2];
    double sf = -1.0;
    if (opt->argc > 3 && !read_sf(opt->argv[3], sf)) return;
    const std::string output = opt->argc > 4 ? std::string(opt->argv[4]) + ".lib"
                                             : std::string(input) + (eam ? ".eam.lib" : ".lib");
    CellPtr cell;
    SymmetryPtr symmetry;
    if (!velmar::cmd::load_cell(opt, input, cell, symmetry)) return;
    write_lib(opt, cell.get(), velmar::detail::ff_base_name(input), sf, output, eam);
}

// The library from CIF text: the arguments before the key phrase are [sf] (with set_sf) and
// [output].
void text_gen_lib(const VELMAR_CMD_OPT *opt, bool set_sf) {
    if (opt->argc <= 2) {
        std::fputs("Error: not enough arguments.\n", stderr);
        print_text_help(set_sf);
        return;
    }
    const int first = set_sf ? 3 : 2;  // the output name
    const bool named = opt->argc > first + 1 &&
                       std::strcmp(opt->argv[first], opt->mode_text) != 0 &&
                       (!set_sf || std::strcmp(opt->argv[2], opt->mode_text) != 0);
    if (!named) {
        std::fputs(set_sf ? "Error: the screening factor and the output name must come before "
                            "-:text.\n"
                          : "Error: the output name must come before -:text.\n",
                   stderr);
        print_text_help(set_sf);
        return;
    }
    double sf = -1.0;
    if (set_sf) {
        if (!read_sf(opt->argv[2], sf)) return;
        if (!(sf > 0)) {
            std::fputs("Error: the screening factor must be positive.\n", stderr);
            return;
        }
    }
    CellPtr cell;
    SymmetryPtr symmetry;
    if (!velmar::cmd::load_cell_from_text(opt, cell, symmetry)) return;
    const std::string output = opt->argv[first];
    write_lib(opt, cell.get(), velmar::detail::ff_base_name(output), sf, output + ".lib", false);
}

struct MdArguments {
    char type[3] = {};
    int os = 0;
    double sf = -1.0;
    double temperature = kDefaultTemperature;
    double time = kDefaultTime;
    double timestep = kDefaultTimestep;
};

// [type] [os] and the optional {sf} {temperature} {time} {timestep}; non-positive values keep the
// defaults.
bool read_md_arguments(const VELMAR_CMD_OPT *opt, MdArguments &md) {
    velmar_cmd_opt_get_type(md.type, opt->argv[3]);
    if (!velmar::cmd::parse_int(opt->argv[4], "oxidation state", md.os)) return false;
    if (md.os == 0) {
        std::fputs("Error: the conducting ions need a non-zero oxidation state.\n", stderr);
        return false;
    }
    if (opt->argc > 5 && !read_sf(opt->argv[5], md.sf)) return false;
    double *values[3] = {&md.temperature, &md.time, &md.timestep};
    const char *names[3] = {"temperature", "time", "timestep"};
    for (int k = 0; k < 3; ++k) {
        if (opt->argc <= 6 + k) break;
        double value = 0.0;
        if (!velmar::cmd::parse_double(opt->argv[6 + k], names[k], value)) return false;
        if (value > 0) *values[k] = value;
    }
    if (md.timestep > md.time) {
        std::fputs("Error: the time step is longer than the production time.\n", stderr);
        return false;
    }
    return true;
}

void gen_md(const VELMAR_CMD_OPT *opt, bool lammps) {
    const char *command = lammps ? "--gen-lmp" : "--gen-gin";
    if (opt->argc < 5) {
        print_md_help(command, lammps);
        return;
    }
    MdArguments md;
    if (!read_md_arguments(opt, md)) return;
    const char *input = opt->argv[2];
    CellPtr cell;
    SymmetryPtr symmetry;
    if (!velmar::cmd::load_cell(opt, input, cell, symmetry)) return;
    PropertyPtr ppt;
    if (!build_table(opt, cell.get(), input, md.type, md.os, md.sf, ppt)) return;
    if (lammps) {
        if (velmar_lmp_export_to_files(input, cell.get(), ppt.get(), md.temperature, md.time,
                                       md.timestep) != 0) {
            VELMAR_ERROR_NONZERO(velmar_lmp_export_to_files);
        }
    } else if (velmar_gin_export_md_to_files(input, cell.get(), ppt.get(), md.temperature, md.time,
                                             md.timestep) != 0) {
        VELMAR_ERROR_NONZERO(velmar_gin_export_md_to_files);
    }
}

}  // namespace

void velmar_cmd_opt_do_gen_gin_lib(const VELMAR_CMD_OPT *opt) { gen_lib(opt, false); }

void velmar_cmd_opt_do_gen_gin_eam(const VELMAR_CMD_OPT *opt) { gen_lib(opt, true); }

void velmar_cmd_opt_do_gen_gin(const VELMAR_CMD_OPT *opt) { gen_md(opt, false); }

void velmar_cmd_opt_do_gen_lmp(const VELMAR_CMD_OPT *opt) { gen_md(opt, true); }

void velmar_cmd_opt_do_text_gen_gin_lib(const VELMAR_CMD_OPT *opt) { text_gen_lib(opt, false); }

void velmar_cmd_opt_do_text_gen_gin_lib_set_sf(const VELMAR_CMD_OPT *opt) {
    text_gen_lib(opt, true);
}
