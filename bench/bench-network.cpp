// Percolation thresholds of landscapes up to 192^3 voxels: the voxel sweep (one pass in increasing
// energy with an offset-keeping union-find) against the bisection oracle (a flood fill of every
// region per trial energy), and the basin graph with its Kruskal percolation, which must give the
// same thresholds. Each run is a child process of its own that loads the cube from a file, so its
// peak resident memory is its own; the table gives wall and CPU time (the CPU time is the steadier
// on a shared machine), that peak, the part above the loaded cube, and the peak over the cube's
// own 8 bytes a voxel.
//
// Landscapes: a smooth periodic field of random plane waves (96^3, 192^3), LiFePO4 at the default
// resolution and the ordered garnet (96^3, 192^3), site-energy landscapes of Li+.
//
//   build/bench/bench-network [scratch directory, default /tmp]
#include <omp.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "bench-support.h"
#include "core/velmar.h"
#include "landscape/velmar-cube-file.h"
#include "landscape/velmar-landscape.h"
#include "network/velmar-basin-percolation.h"
#include "network/velmar-basin.h"
#include "network/velmar-percolation.h"
#include "support/oracle-network.h"

namespace {

using velmar_bench::quietly;
using Clock = std::chrono::steady_clock;
using velmar_bench::CubePtr;
using velmar_bench::plane_waves;
const std::string kSource = VELMAR_SOURCE_DIR;

CubePtr lithium_landscape(const std::string &cif, double resolution) {
    return velmar_bench::lithium_landscape(kSource, velmar_bench::load_path(kSource, cif),
                                           resolution);
}

// The process's peak resident memory (kiB) so far. VmHWM belongs to this program's own image;
// getrusage's maxrss would also count the parent's memory at the time of the spawn.
long peak_kib() {
    std::ifstream status("/proc/self/status");
    std::string word;
    long kib = -1;
    while (status >> word) {
        if (word == "VmHWM:") status >> kib;
    }
    return kib;
}

double cpu_seconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           1e-6 * static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

// One measurement in this process: prints "RESULT seconds cpu_seconds peak_kib base_kib e1 e2
// e3".
int measure(const std::string &what, const std::string &cube_file) {
    VELMAR_CUBE *raw = nullptr;
    quietly([&] { velmar_cube_import_from_file(&raw, nullptr, cube_file.c_str(), true, nullptr); });
    if (raw == nullptr) return 1;
    CubePtr cube(raw);
    const long base = peak_kib();
    double e[3] = {NAN, NAN, NAN};
    const double cpu = cpu_seconds();
    const auto start = Clock::now();
    if (what == "sweep") {
        velmar::Owned<VELMAR_PERCOLATION, velmar_percolation_free> p;
        quietly([&] { p.reset(velmar_percolation_calculate(cube.get())); });
        if (!p) return 1;
        for (int d = 0; d < 3; ++d) e[d] = p->level[d].found ? p->level[d].energy : NAN;
    } else if (what == "bisection") {
        const auto t = velmar_oracle::percolation_thresholds(*cube);
        for (int d = 0; d < 3; ++d) e[d] = t[d];
    } else if (what == "basins") {
        velmar::Owned<VELMAR_BASIN_GRAPH, velmar_basin_graph_free> g(
            velmar_basin_graph_new_from_cube(cube.get(), false));
        if (!g) return 1;
        velmar::Owned<VELMAR_BASIN_PERCOLATION, velmar_basin_percolation_free> k(
            velmar_basin_percolation_calculate(g.get()));
        if (!k) return 1;
        for (int d = 0; d < 3; ++d) e[d] = k->found[d] ? k->energy[d] : NAN;
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    std::fprintf(stderr, "RESULT %.3f %.3f %ld %ld %.17g %.17g %.17g\n", seconds,
                 cpu_seconds() - cpu, peak_kib(), base, e[0], e[1], e[2]);
    return 0;
}

struct Run {
    double seconds = -1;
    double cpu = -1;
    long peak_kib = -1;
    long base_kib = -1;
    double e[3] = {NAN, NAN, NAN};
};

Run spawn(const char *self, const std::string &what, const std::string &cube,
          const std::string &log) {
    Run run;
    if (velmar_bench::run_child({self, "--one", what, cube}, log)) {
        std::ifstream in(log);
        std::string word;
        while (in >> word) {
            if (word != "RESULT") continue;
            std::string x[3];
            in >> run.seconds >> run.cpu >> run.peak_kib >> run.base_kib >> x[0] >> x[1] >> x[2];
            for (int d = 0; d < 3; ++d) run.e[d] = std::strtod(x[d].c_str(), nullptr);
        }
    }
    std::remove(log.c_str());
    return run;
}

bool same(const Run &a, const Run &b) {
    for (int d = 0; d < 3; ++d) {
        const bool both_none = std::isnan(a.e[d]) && std::isnan(b.e[d]);
        if (!both_none && a.e[d] != b.e[d]) return false;
    }
    return a.seconds >= 0 && b.seconds >= 0;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc == 4 && std::string(argv[1]) == "--one") return measure(argv[2], argv[3]);
    const std::string dir = argc > 1 ? argv[1] : "/tmp";
    struct Case {
        const char *name;
        std::function<CubePtr()> make;
    };
    const std::string garnet = kSource + "/tests/data/corpus/LLZO_ordered_P1_oxnum_pymatgen.cif";
    const std::string olivine = kSource + "/examples/LiFePO4.cif";
    const Case cases[] = {{"waves-96", [] { return plane_waves(96); }},
                          {"waves-192", [] { return plane_waves(192); }},
                          {"LiFePO4", [&] { return lithium_landscape(olivine, 0.1); }},
                          {"garnet-96", [&] { return lithium_landscape(garnet, 0.13); }},
                          {"garnet-192", [&] { return lithium_landscape(garnet, 0.06); }}};
    std::printf("threads: %d\n", omp_get_max_threads());
    std::printf("%-10s %-11s %-9s %8s %8s %9s %9s %9s %8s %s\n", "landscape", "grid", "method",
                "wall_s", "cpu_s", "peak_MiB", "extra_MiB", "peak/cube", "speed-up", "same E_1..3");
    int status = 0;
    for (const Case &c : cases) {
        CubePtr cube;
        quietly([&] { cube = c.make(); });
        const std::string file = dir + "/bench-network-" + c.name + ".cube";
        quietly(
            [&] { velmar_cube_export_to_file(cube.get(), nullptr, nullptr, file.c_str(), true); });
        char grid[32];
        std::snprintf(grid, sizeof grid, "%dx%dx%d", cube->n[0], cube->n[1], cube->n[2]);
        const double cube_mib = 8.0 * velmar::cube_size(cube.get()) / (1024.0 * 1024.0);
        cube.reset();
        const std::string log = dir + "/bench-network.log";
        const Run sweep = spawn(argv[0], "sweep", file, log);
        for (const char *method : {"sweep", "bisection", "basins"}) {
            const Run r =
                std::string(method) == "sweep" ? sweep : spawn(argv[0], method, file, log);
            const bool agree = same(sweep, r);
            if (!agree) status = 1;
            std::printf("%-10s %-11s %-9s %8.2f %8.2f %9.1f %9.1f %9.2f %7.1fx %s\n", c.name, grid,
                        method, r.seconds, r.cpu, r.peak_kib / 1024.0,
                        (r.peak_kib - r.base_kib) / 1024.0, r.peak_kib / 1024.0 / cube_mib,
                        r.seconds / sweep.seconds, agree ? "yes" : "NO");
            std::fflush(stdout);
        }
        std::remove(file.c_str());
    }
    return status;
}
