// Handler of --kmc: conductivity by kinetic Monte Carlo from a structure and its landscape.
#include <cstdio>

#include "cli/velmar-cmd-handlers.h"
#include "core/velmar.h"
#include "transport/velmar-kmc.h"

namespace {

bool parsed(bool ok, const char *what) {
    if (!ok) std::fprintf(stderr, "Error: wrong parameter %s.\n", what);
    return ok;
}
bool read_one(const char *text, int &value, const char *what) {
    return parsed(std::sscanf(text, "%d", &value) == 1, what);
}
bool read_one(const char *text, long &value, const char *what) {
    return parsed(std::sscanf(text, "%ld", &value) == 1, what);
}
bool read_one(const char *text, double &value, const char *what) {
    return parsed(std::sscanf(text, "%lf", &value) == 1, what);
}

void print_help() {
    std::printf(
        "Command: --kmc [input.cif] [input.cube] {type} {os} | {s0 s1 s2} {sf} {temperature} "
        "{t_limit} "
        "{step_limit} {step_log} {cutoff}\n\n");
    std::printf("Command: {type}: type of conducting ions.\n");
    std::printf("Command: {os}: oxidation state of conducting ions.\n");
    std::printf(
        "Command: {s1 s2 s3}: three positive integers defining the supercell. If missing or any of "
        "the three "
        "integers is non-positive, a default algorithm is triggered to generate the supercell.\n");
    std::printf(
        "Command: {sf}: screening factor. If set to non-positive value, automatic calculation is "
        "triggered. "
        "Default: -0.1.\n");
    std::printf(
        "Command: {temperature}: in K. If set to non-positive value, default value is used. "
        "Default: -0.1.\n");
    std::printf(
        "Command: {t_limit}: in picosecond. Negative number to use default value; set to 0.0 to "
        "turn off "
        "limiting by time. Default: %.0lf ps.\n",
        0.0);
    std::printf(
        "Command: {step_limit}: limiting number of steps. Negative or larger than {step_limit} "
        "means using the "
        "default. Default: %ld.\n",
        10000L);
    std::printf(
        "Command: {step_log}: the number of steps result is logged. Negative number to use default "
        "value; set "
        "to 0 to turn off limiting by step. If both step_limit and t_limit are set to zero, "
        "default values are "
        "used for both. Default: %ld.\n",
        10000000L);
    std::printf(
        "Command: {cutoff}: the cutoff radius within which the coulomb repulsion is considered. If "
        "set to "
        "non-positive value, default value is used. Default: %.3lf\n",
        5.0);
    std::printf(
        "Command: calculates conductivity by kinetic monte carlo method, importing cube file to "
        "skip the "
        "generation of cube.\n");
    std::printf("Example: ./velmar.x --kmc Li2O.cif Li2O.cube Li 1\n");
    std::printf(
        "Example: ./velmar.x --kmc AgI-a.cif AgI-a.cube Ag 1 2 2 2 -1 600 1000000 -1 -1 -0.1\n");
}

}  // namespace

void velmar_cmd_opt_do_kmc(const VELMAR_CMD_OPT *opt) {
    if (opt->argc <= 5) {
        print_help();
        return;
    }
    char type[3] = {};
    int os = 0;
    int s[3] = {0, 0, 0};
    double sf = -0.1;
    double temperature = -0.1;
    double t_limit = -0.1;
    long step_limit = -1;
    long step_log = -1;
    double cutoff = -0.1;
    char **argv = opt->argv;
    const int argc = opt->argc;
    if (!parsed(std::sscanf(argv[4], "%2s", type) == 1, "type") || !read_one(argv[5], os, "os"))
        return;
    const char *s_names[3] = {"s[0]", "s[1]", "s[2]"};
    for (int r = 0; r < 3; ++r) {
        if (argc > 6 + r && !read_one(argv[6 + r], s[r], s_names[r])) return;
    }
    if (argc > 9 && !read_one(argv[9], sf, "sf")) return;
    if (argc > 10 && !read_one(argv[10], temperature, "temperature")) return;
    if (argc > 11 && !read_one(argv[11], t_limit, "t_limit")) return;
    if (argc > 12 && !read_one(argv[12], step_limit, "step_limit")) return;
    if (argc > 13 && !read_one(argv[13], step_log, "step_log")) return;
    if (argc > 14 && !read_one(argv[14], cutoff, "cutoff")) return;
    const double conductivity = velmar_kmc_calculate_conductivity_from_file(
        argv[2], argv[3], type, os, s, sf, temperature, t_limit, step_limit, step_log, cutoff,
        opt->dir_symcards, opt->dir_unitary, opt->dir_binary);
    if (conductivity < 0.0) {
        std::fputs("Error: velmar_kmc_calculate_conductivity_from_file() returns negative value.\n",
                   stderr);
    }
}
