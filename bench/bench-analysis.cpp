// Landscape analyses at 96^3 and 196^3 voxels: time and peak memory of the Fourier analysis as
// the commands run it (one derivative at a time) against the full record with its thirteen complex
// grids, and of the compact flow-path map against the plain one with the documented per-voxel
// record (neighbour pointers, integer labels, branch pointers). Each run is a child process of its
// own, so that its peak resident memory is its own; the files each pair writes must be identical.
//
// Landscapes: a smooth periodic field of random plane waves (96^3, 196^3) and the site-energy
// landscape of Li+ in the ordered garnet (96^3, 192^3, the largest grid the landscape command
// makes).
//
//   build/bench/bench-analysis [scratch directory, default /tmp]
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "analysis/velmar-fft.h"
#include "analysis/velmar-fftdot.h"
#include "analysis/velmar-fpcube.h"
#include "bench-support.h"
#include "core/velmar.h"
#include "landscape/velmar-cube-file.h"
#include "landscape/velmar-landscape.h"
#include "model/velmar-property.h"
#include "structure/velmar-cif-writer.h"
#include "structure/velmar-cif.h"
#include "support/oracle-fpmap.h"

namespace {

using velmar_bench::quietly;

using Clock = std::chrono::steady_clock;
using velmar_bench::CubePtr;
using velmar_bench::plane_waves;
const std::string kSource = VELMAR_SOURCE_DIR;

CubePtr garnet(double resolution) {
    return velmar_bench::lithium_landscape(
        kSource, velmar_bench::load_corpus(kSource, "LLZO_ordered_P1_oxnum_pymatgen.cif"),
        resolution);
}

// The plain Fourier analysis: the full record, every voxel read from it.
int fft_record(const VELMAR_CUBE *cube, const std::string &base) {
    velmar::Owned<VELMAR_FFT, velmar_fft_free> fft(velmar_fft_new_from_cube(cube));
    if (!fft) return 1;
    velmar::Owned<VELMAR_FFTDOT_LIST, velmar_fftdot_list_free> list(
        velmar_fftdot_list_new_from_fft(fft.get()));
    if (!list) return 1;
    velmar::Owned<VELMAR_CELL, velmar_cell_free> cell(
        velmar_fftdot_list_export_to_cell(list.get()));
    velmar::Owned<VELMAR_TEXT, velmar_text_free> text(
        velmar_fftdot_list_export_to_text(list.get()));
    if (velmar::detail::cell_export_markers_to_file((base + ".fft.cif").c_str(), cell.get(),
                                                    velmar::cube_values_at_atoms(*cube, *cell)) !=
        0) {
        return 1;
    }
    return velmar_text_export_to_file(text.get(), (base + ".fft.txt").c_str());
}

int fp_record(const VELMAR_CUBE *cube, const std::string &file) {
    auto cell = velmar_oracle::fp_map_cell(*cube, -0.1);
    if (!cell) return 1;
    return velmar::detail::cell_export_markers_to_file(file.c_str(), cell.get(),
                                                       velmar::cube_values_at_atoms(*cube, *cell));
}

// One measurement in this process: prints "seconds peak_kib".
int measure(const std::string &what, const std::string &cube_file, const std::string &out) {
    VELMAR_CUBE *raw = nullptr;
    if (velmar_cube_import_from_file(&raw, nullptr, cube_file.c_str(), true, nullptr) != 0)
        return 1;
    CubePtr cube(raw);
    const auto start = Clock::now();
    int status = 1;
    if (what == "fft") status = velmar_fft_analyze_export_to_file(cube.get(), -0.1, out.c_str());
    if (what == "fft-plain") status = fft_record(cube.get(), out);
    if (what == "fp")
        status = velmar_fpcube_export_cif_to_file(cube.get(), -0.1, (out + ".fp.cif").c_str());
    if (what == "fp-plain") status = fp_record(cube.get(), out + ".fp.cif");
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::fprintf(stderr, "RESULT %.3f %ld\n", seconds, usage.ru_maxrss);
    return status;
}

struct Run {
    double seconds = -1;
    long peak_kib = -1;
};

// Runs one measurement as a child process; its output goes to log.
Run spawn(const char *self, const std::string &what, const std::string &cube,
          const std::string &out) {
    const std::string log = out + "." + what + ".log";
    Run run;
    if (velmar_bench::run_child({self, "--one", what, cube, out}, log)) {
        std::ifstream in(log);
        std::string word;
        while (in >> word) {
            if (word == "RESULT") in >> run.seconds >> run.peak_kib;
        }
    }
    return run;
}

std::string slurp(const std::string &file) {
    std::ifstream in(file, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

bool same_files(const std::string &a, const std::string &b) {
    const std::string x = slurp(a);
    return !x.empty() && x == slurp(b);
}

}  // namespace

int main(int argc, char **argv) {
    if (argc == 5 && std::string(argv[1]) == "--one") return measure(argv[2], argv[3], argv[4]);
    const std::string dir = argc > 1 ? argv[1] : "/tmp";
    std::filesystem::create_directories(dir + "/fast");
    std::filesystem::create_directories(dir + "/plain");
    struct Case {
        const char *name;
        std::function<CubePtr()> make;
    };
    const Case cases[] = {{"waves-96", [] { return plane_waves(96); }},
                          {"waves-196", [] { return plane_waves(196); }},
                          {"garnet-96", [] { return garnet(0.13); }},
                          {"garnet-192", [] { return garnet(0.06); }}};
    int status = 0;
    std::printf("%-11s %-11s %-8s %9s %10s %9s %10s %7s %7s %s\n", "landscape", "grid", "analysis",
                "fast_s", "fast_MiB", "plain_s", "plain_MiB", "time", "memory", "same");
    for (const Case &c : cases) {
        CubePtr cube;
        quietly([&] { cube = c.make(); });
        const std::string file = dir + "/bench-analysis-" + c.name + ".cube";
        quietly(
            [&] { velmar_cube_export_to_file(cube.get(), nullptr, nullptr, file.c_str(), true); });
        char grid[32];
        std::snprintf(grid, sizeof grid, "%dx%dx%d", cube->n[0], cube->n[1], cube->n[2]);
        cube.reset();
        // The same base name in two directories, so that the CIF data blocks match.
        const std::string fast = dir + "/fast/bench-analysis";
        const std::string plain = dir + "/plain/bench-analysis";
        for (const char *analysis : {"fft", "fp"}) {
            const std::string kind = analysis;
            const Run a = spawn(argv[0], kind, file, fast);
            const Run b = spawn(argv[0], kind + "-plain", file, plain);
            const bool same = kind == "fft" ? same_files(fast + ".fft.cif", plain + ".fft.cif") &&
                                                  same_files(fast + ".fft.txt", plain + ".fft.txt")
                                            : same_files(fast + ".fp.cif", plain + ".fp.cif");
            if (!same || a.seconds < 0 || b.seconds < 0) status = 1;
            std::printf("%-11s %-11s %-8s %9.2f %10.0f %9.2f %10.0f %6.1fx %6.1fx %s\n", c.name,
                        grid, kind == "fft" ? "fft" : "fp-map", a.seconds, a.peak_kib / 1024.0,
                        b.seconds, b.peak_kib / 1024.0, b.seconds / a.seconds,
                        static_cast<double>(b.peak_kib) / static_cast<double>(a.peak_kib),
                        same ? "yes" : "NO");
            std::fflush(stdout);
        }
        std::remove(file.c_str());
    }
    return status;
}
