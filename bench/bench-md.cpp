// Molecular-dynamics steps per second on the ordered garnet Li7La3Zr2O12 of the corpus doubled
// along a (192 atoms in P 1, its 56 Li+ ions mobile and the rest fixed): the Langevin step with the
// neighbour-list forces against the same step with the forces of the plain image loops, timed in
// the same run; the forces of both must agree to a relative 1e-9.
//
//   build/bench/bench-md [steps of the neighbour-list run, default 2000]
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench-support.h"
#include "core/velmar-random.h"
#include "core/velmar.h"
#include "structure/velmar-cell-ops.h"
#include "structure/velmar-cif.h"
#include "support/oracles.h"
#include "transport/velmar-md.h"

namespace {

using Clock = std::chrono::steady_clock;
using velmar_bench::quietly;
using velmar_bench::seconds_since;

}  // namespace

int main(int argc, char **argv) {
    const long steps = argc > 1 ? std::atol(argv[1]) : 2000;
    const std::string source = VELMAR_SOURCE_DIR;
    velmar::Owned<VELMAR_MD, velmar_md_free> md;
    quietly([&] {
        velmar_bench::Structure structure =
            velmar_bench::load_corpus(source, "LLZO_ordered_P1_oxnum_pymatgen.cif");
        const int twice[3] = {2, 1, 1};
        velmar::Owned<VELMAR_CELL, velmar_cell_free> doubled(
            velmar_cell_supercell(structure.cell.get(), twice));
        VELMAR_CELL *cell = doubled.get();
        auto ppt = velmar_bench::lithium_table(source, cell);
        for (int32_t a = 0; a < cell->total; ++a)
            cell->atom[a].ignored = std::string(cell->atom[a].type) != "Li";
        md.reset(velmar_md_new(cell, ppt.get()));
        md->temperature_target = 600.0;
        velmar_random_seed(1u);
        velmar_md_init_vv(md.get());
    });
    if (!md) {
        std::fputs("bench-md: set-up failed\n", stderr);
        return 1;
    }
    long mobile = 0;
    for (int32_t a = 0; a < md->cell->total; ++a) mobile += !md->cell->atom[a].ignored;
    std::printf("LLZO (P 1, 2 x 1 x 1): %d atoms, %ld mobile Li+, reach 12 A\n", md->cell->total,
                mobile);

    const auto fast_start = Clock::now();
    quietly([&] {
        for (long s = 0; s < steps; ++s) velmar_md_update_vv_langevin(md.get());
    });
    const double fast_rate = static_cast<double>(steps) / seconds_since(fast_start);

    // The plain step: the same Langevin step with the forces of the image loops.
    const long plain_steps = 3;
    double worst = 0.0;
    double scale = 0.0;
    const auto plain_start = Clock::now();
    for (long s = 0; s < plain_steps; ++s) {
        const auto plain = velmar_oracle::md_forces(*md);
        quietly([&] { velmar_md_update_vv_langevin(md.get()); });
        (void)plain;
    }
    const double plain_rate = static_cast<double>(plain_steps) / seconds_since(plain_start);
    velmar_md_calculate_force(md.get());
    const auto plain = velmar_oracle::md_forces(*md);
    for (int32_t a = 0; a < md->cell->total; ++a) {
        for (int c = 0; c < 3; ++c) {
            worst = std::max(worst, std::fabs(md->f[a][c] - plain[a][c]));
            scale = std::max(scale, std::fabs(plain[a][c]));
        }
    }
    std::printf("plain image loops:  %9.2f steps/s (%ld steps)\n", plain_rate, plain_steps);
    std::printf("neighbour list:     %9.2f steps/s (%ld steps)  ratio %.1fx\n", fast_rate, steps,
                fast_rate / plain_rate);
    std::printf("largest force difference / largest force: %.2e\n", worst / scale);
    return worst / scale < 1e-9 ? 0 : 1;
}
