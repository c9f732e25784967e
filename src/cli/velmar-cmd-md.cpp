// Handler of --md: molecular dynamics of the conducting ions in a fixed host.
#include <cstdio>

#include "cli/velmar-cmd-handlers.h"
#include "core/velmar.h"
#include "transport/velmar-md.h"

namespace {

bool read_number(const char *text, double &value, const char *what) {
    if (std::sscanf(text, "%lf", &value) == 1) return true;
    std::fprintf(stderr, "Error: wrong parameter %s.\n", what);
    return false;
}

}  // namespace

void velmar_cmd_opt_do_md(const VELMAR_CMD_OPT *opt) {
    if (opt->argc < 5) {
        std::printf(
            "Command: --md [input.cif] {type} {os} | {sf} {temperature} {t_end} {t_equil} {dt} "
            "{t_log}\n\n");
        std::printf(
            "Command: [input.cif]: must not contain any partial occupancy of conducting ions.\n");
        std::printf("Command: {type}: type of conducting ions.\n");
        std::printf("Command: {os}: oxidation state of conducting ions.\n");
        std::printf(
            "Command: {sf}: screening factor. If set to non-positive value, automatic calculation "
            "is triggered. "
            "Default: -0.1.\n");
        std::printf(
            "Command: {temperature}: temperature in K. Set to non-positive to use the default "
            "value. Default "
            "%.0lf.\n",
            300.0);
        std::printf(
            "Command: {t_end}: time of production in ps. Set to non-positive to use the default "
            "value. Default "
            "%.3lf.\n",
            10.0);
        std::printf(
            "Command: {t_equil}: time of equilibration in ps. Set to non-positive to use the "
            "default value. Default "
            "%.3lf.\n",
            2.0);
        std::printf(
            "Command: {dt}: time step in ps. Set to non-positive to use the default value. Default "
            "%.3lf.\n",
            0.001);
        std::printf(
            "Command: {t_log}: time interval of sampling in ps. Set to non-positive to sample "
            "every %ld steps.\n",
            100L);
        std::printf(
            "Command: perform a molecular dynamics fixing all ions except those specified as "
            "conducting.\n");
        std::printf("Example: ./velmar.x --md Li2O.cif Li 1\n");
        std::printf("Example: ./velmar.x --md Li2O.cif Li 1 600 100.0 10.0 0.005 1.0\n");
        return;
    }
    char type[3] = {};
    int os = 0;
    if (std::sscanf(opt->argv[3], "%2s", type) != 1) {
        std::fputs("Error: wrong parameter type.\n", stderr);
        return;
    }
    if (std::sscanf(opt->argv[4], "%d", &os) != 1) {
        std::fputs("Error: wrong parameter os.\n", stderr);
        return;
    }
    double values[6] = {-0.1, -0.1, -0.1, -0.1, -0.1, -0.1};
    const char *names[6] = {"sf", "temperature", "t_end", "t_equil", "dt", "t_log"};
    for (int k = 0; k < 6; ++k) {
        if (opt->argc > 5 + k && !read_number(opt->argv[5 + k], values[k], names[k])) return;
    }
    const double conductivity = velmar_md_conduction_from_file(
        opt->argv[2], type, os, values[0], values[1], values[2], values[3], values[4], values[5],
        opt->dir_binary, opt->dir_unitary, opt->dir_symcards);
    if (conductivity < 0.0) {
        std::fputs("Error: velmar_md_conduction_from_file() returns negative value.\n", stderr);
    }
}
