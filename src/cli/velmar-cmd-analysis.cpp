// Handlers of the landscape analyses: --fft, --fft-cubes and --fp-map.
#include <cstdio>
#include <string>

#include "analysis/velmar-fft.h"
#include "analysis/velmar-fftdot.h"
#include "analysis/velmar-fpcube.h"
#include "cli/velmar-cmd-handlers.h"
#include "cli/velmar-cmd-util.h"
#include "core/velmar-output.h"
#include "core/velmar.h"
#include "landscape/velmar-cube-file.h"

using velmar::cmd::CubePtr;
using velmar::cmd::load_cube;
using velmar::cmd::starts_with_f;

namespace {

// The number of a "%lf" argument that must convert exactly one number.
bool read_number(const char *text, double &value) { return std::sscanf(text, "%lf", &value) == 1; }

}  // namespace

void velmar_cmd_opt_do_fft(const VELMAR_CMD_OPT *opt) {
    if (opt->argc < 3) {
        std::printf("Command: --fft [input.cube] | {cap} {flag:periodic} {output_name}\n\n");
        std::printf(
            "Command: {cap}: critical points with an energy above {global energy minimum} + {cap} "
            "will not be shown in the result. A non-positive value means no cap. Default: -0.1.\n");
        std::printf(
            "Command: {flag:periodic}: if set to true, cube file is treated as periodic. Default "
            "true.\n");
        std::printf(
            "Command: generates a cif file representing critical points in the landscape, with Li+ "
            "ions representing minima, Na+ ions representing 1-saddle point, K+ ions representing "
            "2-saddle point, Rb+ ions representing maxima; generates a txt file in csv format "
            "summarizing all eigenvalues and eigenvectors.\n");
        std::printf("Example: ./velmar.x --fft Li2O.cube\n");
        return;
    }
    double cap = -0.1;
    if (opt->argc > 3 && !read_number(opt->argv[3], cap)) {
        std::fputs("Error: wrong parameter cap.\n", stderr);
        return;
    }
    const bool periodic = opt->argc > 4 ? !starts_with_f(opt->argv[4]) : true;
    const std::string base = opt->argc > 5 ? opt->argv[5] : opt->argv[2];
    if (!velmar::output_check(base + ".fft.cif") || !velmar::output_check(base + ".fft.txt")) {
        return;
    }
    CubePtr cube;
    if (!load_cube(opt->argv[2], periodic, cube)) return;
    if (velmar_fft_analyze_export_to_file(cube.get(), cap, base.c_str()) != 0) {
        VELMAR_ERROR_NONZERO(velmar_fft_analyze_export_to_file);
        return;
    }
    std::printf("Message: critical points written to %s.fft.cif and %s.fft.txt.\n", base.c_str(),
                base.c_str());
}

void velmar_cmd_opt_do_fft_cubes(const VELMAR_CMD_OPT *opt) {
    if (opt->argc < 3) {
        std::printf("Command: --fft-cubes [input.cube] | {flag:periodic} {output_name}\n\n");
        std::printf(
            "Command: {flag:periodic}: if set to true, cube file is treated as periodic. Default "
            "true.\n");
        std::printf(
            "Command: generates 3 cubes of 3 force components; 9 cubes of 9 force constant "
            "components; a laplacian cube and a slope cube.\n");
        std::printf("Example: ./velmar.x --fft-cube Li2O.cube\n");
        return;
    }
    const bool periodic = opt->argc > 3 ? !starts_with_f(opt->argv[3]) : true;
    const std::string base = opt->argc > 4 ? opt->argv[4] : opt->argv[2];
    for (const std::string &file : velmar::detail::fft_cube_names(base)) {
        if (!velmar::output_check(file)) return;
    }
    CubePtr cube;
    if (!load_cube(opt->argv[2], periodic, cube)) return;
    if (velmar_fft_analyze_export_cubes_to_file(cube.get(), base.c_str()) != 0) {
        VELMAR_ERROR_NONZERO(velmar_fft_analyze_export_cubes_to_file);
    }
}

void velmar_cmd_opt_do_fp_map(const VELMAR_CMD_OPT *opt) {
    if (opt->argc < 3) {
        std::printf(
            "Command: --fp-map [input.cube] | {barrier_max} {flag:periodic} {output_name}\n\n");
        std::printf(
            "Command: {barrier_max}: Only paths with barrier below this value are shown. If set to "
            "non-positive value, all paths are shown. Default -0.1.\n");
        std::printf(
            "Command: {flag:periodic}: if set to true, cube file is treated as periodic. Default "
            "true.\n");
        std::printf("Command: generates a cif file representing paths in the provided cube.\n");
        std::printf("         H : path dots.\n");
        std::printf("         Li: local minimum.\n");
        std::printf("         Na: saddle point of 1st type.\n");
        std::printf("         K: saddle point of 2st type.\n");
        std::printf("         Rb: local maximum.\n");
        std::printf("Example: ./velmar.x --fp-map Li2O.cube\n");
        return;
    }
    double barrier_max = -0.1;
    if (opt->argc > 3 && !read_number(opt->argv[3], barrier_max)) {
        std::fputs("Error: wrong parameter barrier_max.\n", stderr);
        return;
    }
    const bool periodic = opt->argc > 4 ? !starts_with_f(opt->argv[4]) : true;
    const std::string output = opt->argc > 5 ? std::string(opt->argv[5]).substr(0, 1023)
                                             : std::string(opt->argv[2]) + ".fp.cif";
    if (!velmar::output_check(output)) return;
    CubePtr cube;
    if (!load_cube(opt->argv[2], periodic, cube)) return;
    if (velmar_fpcube_export_cif_to_file(cube.get(), barrier_max, output.c_str()) != 0) {
        VELMAR_ERROR_NONZERO(velmar_fpcube_export_cif_to_file);
        return;
    }
    std::printf("Message: flow paths written to %s.\n", output.c_str());
}
