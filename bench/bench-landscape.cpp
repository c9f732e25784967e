// Site-energy landscapes: the binned, threaded calculator against the plain voxel x atom x image
// loop, timed in the same run, on a small symmetric cell (Li3N, P6/mmm) and on the cubic garnet
// with its partial Li sites resolved in P 1 (every voxel computed); and the peak memory of the
// largest landscape (192^3 voxels on the garnet).
//
//   build/bench/bench-landscape [voxels of the plain-loop sample on the garnet, default 4000]
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "bench-support.h"
#include "core/velmar-random.h"
#include "core/velmar.h"
#include "landscape/velmar-landscape.h"
#include "model/velmar-property.h"
#include "structure/velmar-cell-ops.h"
#include "structure/velmar-cif.h"
#include "support/oracles.h"

namespace {

using velmar_bench::quietly;

using Clock = std::chrono::steady_clock;
using CellPtr = velmar::Owned<VELMAR_CELL, velmar_cell_free>;
using SymmetryPtr = velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free>;
using TablePtr = velmar::Owned<VELMAR_PROPERTY, velmar_property_free>;
using CubePtr = velmar::Owned<VELMAR_CUBE, velmar_cube_free>;

const std::string kSource = VELMAR_SOURCE_DIR;

double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

long peak_kib() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

struct System {
    CellPtr cell;
    SymmetryPtr symmetry;
    TablePtr ppt;
};

// A corpus structure with its table for Li+; the garnet's partial sites resolved in P 1.
System load(const char *file, bool resolve) {
    System s;
    const std::string path = kSource + "/tests/data/corpus/" + file;
    const std::string symcards = kSource + "/data/database_symcards.dat";
    const std::string unitary = kSource + "/data/database_unitary.dat";
    const std::string binary = kSource + "/data/database_binary.dat";
    quietly([&] {
        VELMAR_CELL *cell = nullptr;
        VELMAR_SYMMETRY *symmetry = nullptr;
        velmar_cell_import_cif_from_file(&cell, &symmetry, path.c_str(), symcards.c_str(),
                                         unitary.c_str());
        s.cell.reset(cell);
        s.symmetry.reset(symmetry);
        if (resolve) {
            velmar_random_seed(1u);
            CellPtr super(velmar_cell_supercell_default(s.cell.get()));
            s.cell.reset(velmar_cell_assign_partial_occ_at_conducting_site(super.get(), "Li", 1));
            s.symmetry.reset(velmar_symmetry_new_p1());
        }
        s.ppt.reset(velmar_property_import_from_cell(s.cell.get(), "Li", 1, -1.0, unitary.c_str(),
                                                     binary.c_str()));
    });
    return s;
}

std::string printed(double v) {
    char text[32];
    std::snprintf(text, sizeof text, "%12.6f", v);
    return text;
}

void mark_ignored(VELMAR_CELL *cell) {
    for (int32_t a = 0; a < cell->total; ++a) {
        cell->atom[a].ignored = std::string(cell->atom[a].type) == "Li" && cell->atom[a].os == 1;
    }
}

}  // namespace

int main(int argc, char **argv) {
    const long sample = argc > 1 ? std::atol(argv[1]) : 4000;
    int status = 0;

    // The largest landscape first, so that the peak memory is its own.
    {
        System garnet = load("LLZO_cubic_Ia-3d_partial_Li_VESTA.cif", true);
        const long before = peak_kib();
        CubePtr cube;
        const auto start = Clock::now();
        quietly([&] {
            cube.reset(velmar_cube_calculate(garnet.cell.get(), garnet.symmetry.get(),
                                             garnet.ppt.get(), 0.066, true));
        });
        const double seconds = seconds_since(start);
        const double block = 8.0 * static_cast<double>(velmar::cube_size(cube.get())) / 1048576.0;
        std::printf(
            "largest: garnet %d atoms, %d x %d x %d voxels, %.1f s; value block %.1f MiB, "
            "peak memory grew by %.1f MiB (%.2f blocks)\n",
            static_cast<int>(garnet.cell->total), cube->n[0], cube->n[1], cube->n[2], seconds,
            block, (peak_kib() - before) / 1024.0, (peak_kib() - before) / 1024.0 / block);
    }

    // Li3N: the whole cube both ways, each the best of five runs.
    {
        System li3n = load("Li3N_P6mmm_OBELiX.cif", false);
        CubePtr cube;
        double fast = 1e9;
        for (int run = 0; run < 5; ++run) {
            const auto start = Clock::now();
            quietly([&] {
                cube.reset(velmar_cube_calculate(li3n.cell.get(), li3n.symmetry.get(),
                                                 li3n.ppt.get(), 0.1, true));
            });
            fast = std::min(fast, seconds_since(start));
        }
        mark_ignored(li3n.cell.get());
        const long n[3] = {cube->n[0], cube->n[1], cube->n[2]};
        std::vector<double> plain;
        double slow = 1e9;
        for (int run = 0; run < 5; ++run) {
            const auto start = Clock::now();
            plain = velmar_oracle::site_energy_cube(*li3n.cell, *li3n.ppt, *li3n.symmetry, n,
                                                    cube->a_i);
            slow = std::min(slow, seconds_since(start));
        }
        long differ = 0;
        const double *values = velmar::cube_values(cube.get());
        for (size_t v = 0; v < plain.size(); ++v) differ += printed(values[v]) != printed(plain[v]);
        std::printf(
            "Li3N: %ld x %ld x %ld voxels, %d cards: binned %.4f s, plain %.4f s, ratio %.1f; "
            "printed values differing: %ld\n",
            n[0], n[1], n[2], li3n.symmetry->total, fast, slow, slow / fast, differ);
        status |= differ != 0;
    }

    // The garnet in P 1 at the default resolution; the plain loop on an even sample of voxels.
    {
        System garnet = load("LLZO_cubic_Ia-3d_partial_Li_VESTA.cif", true);
        CubePtr cube;
        auto start = Clock::now();
        quietly([&] {
            cube.reset(velmar_cube_calculate(garnet.cell.get(), garnet.symmetry.get(),
                                             garnet.ppt.get(), 0.1, true));
        });
        const double fast = seconds_since(start);
        mark_ignored(garnet.cell.get());
        const int64_t total = velmar::cube_size(cube.get());
        const int64_t stride = std::max<int64_t>(1, total / sample);
        long differ = 0;
        long taken = 0;
        start = Clock::now();
        for (int64_t v = 0; v < total; v += stride, ++taken) {
            const long i = static_cast<long>(v / (cube->n[1] * cube->n[2]));
            const long j = static_cast<long>((v / cube->n[2]) % cube->n[1]);
            const long k = static_cast<long>(v % cube->n[2]);
            double p[3];
            for (int r = 0; r < 3; ++r)
                p[r] = i * cube->a_i[0][r] + j * cube->a_i[1][r] + k * cube->a_i[2][r];
            const double e = velmar_oracle::site_energy(*garnet.cell, *garnet.ppt, p);
            differ += printed(e) != printed(velmar::cube_values(cube.get())[v]);
        }
        const double slow =
            seconds_since(start) / static_cast<double>(taken) * static_cast<double>(total);
        std::printf(
            "garnet: %d atoms in P 1, %d x %d x %d voxels: binned %.2f s, plain %.1f s "
            "(from %ld voxels), ratio %.1f; printed values differing: %ld\n",
            static_cast<int>(garnet.cell->total), cube->n[0], cube->n[1], cube->n[2], fast, slow,
            taken, slow / fast, differ);
        status |= differ != 0;
    }
    return status;
}
