// Kinetic Monte Carlo hops per second at the default supercell and cut-off, on the site graph the
// command builds (closed under the structure's symmetry, shallow minima taken out): the
// incremental rates and the sum tree against the plain recomputation of every rate with a running
// sum, in the same run; the first hops of both, drawn with the same random numbers, must be the
// same. Cases: Li3N with 5 % vacancies on its 2c sites (the demo) and olivine LiFePO4 with 10 %
// of its lithium sites empty, each on its own Li+ landscape at 0.1 A.
//
//   build-bench/bench/bench-kmc [hops of each incremental run, default 1000000]
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "analysis/velmar-fft.h"
#include "analysis/velmar-fpcube.h"
#include "bench-support.h"
#include "core/velmar-random.h"
#include "core/velmar.h"
#include "landscape/velmar-landscape.h"
#include "structure/velmar-cif.h"
#include "support/oracle-kmc.h"
#include "transport/velmar-graph.h"
#include "transport/velmar-kmc.h"
#include "transport/velmar-supergraph.h"

namespace {

using Clock = std::chrono::steady_clock;
using velmar_bench::quietly;
using velmar_bench::seconds_since;

// One case; false when a step of the set-up failed or the first hops differ.
bool run(const std::string &source, const char *label, const char *file, double vacancies,
         long hops) {
    velmar::Owned<VELMAR_KMC, velmar_kmc_free> kmc;
    int s[3] = {0, 0, 0};
    const auto setup = Clock::now();
    quietly([&] {
        velmar_bench::Structure structure =
            velmar_bench::load_path(source, source + "/examples/" + file);
        VELMAR_CELL *cell = structure.cell.get();
        if (cell == nullptr) return;
        // The landscape leaves the lithium ions out, so emptying some of their sites afterwards
        // changes only how many ions walk on it.
        auto ppt = velmar_bench::lithium_table(source, cell);
        velmar::Owned<VELMAR_CUBE, velmar_cube_free> cube(
            velmar_cube_calculate(cell, structure.symmetry.get(), ppt.get(), 0.1, true));
        for (int32_t a = 0; a < cell->total; ++a) {
            if (std::strcmp(cell->atom[a].type, "Li") == 0) cell->atom[a].occ *= 1.0 - vacancies;
        }
        velmar::Owned<VELMAR_FPCUBE, velmar_fpcube_free> fpcube(
            velmar_fpcube_new_from_cube(cube.get()));
        velmar::Owned<VELMAR_FPHALF_LIST, velmar_fphalf_list_free> halves(
            velmar_fphalf_list_new_from_fpcube(fpcube.get()));
        velmar::Owned<VELMAR_FFT, velmar_fft_free> fft(velmar_fft_new_from_cube(cube.get()));
        velmar::Owned<VELMAR_GRAPH, velmar_graph_free> graph(
            velmar_graph_new_filled(halves.get(), fft.get(), cell, ppt.get()));
        if (velmar::detail::kmc_regularize_graph(graph, structure.symmetry.get(), cell, 300.0) != 0)
            return;
        for (int r = 0; r < 3; ++r) s[r] = static_cast<int>(std::ceil(25.0 / cell->parameter[r]));
        kmc.reset(velmar_kmc_new(velmar_graph_new_supergraph(graph.get(), s), ppt.get(), 5.0));
        kmc->temperature = 300.0;
        kmc->step_limit = 10000000;
        kmc->step_log = 100000000;
        std::snprintf(kmc->logname, sizeof kmc->logname, "/dev/null");
        std::snprintf(kmc->xyzname, sizeof kmc->xyzname, "/dev/null");
        velmar_random_seed(1u);
        velmar_kmc_init(kmc.get());
        velmar_kmc_equilibrate(kmc.get());
    });
    if (!kmc) {
        std::fprintf(stderr, "bench-kmc: set-up of %s failed\n", label);
        return false;
    }
    const double setup_s = seconds_since(setup);
    long ions = 0;
    for (long i = 0; i < kmc->graph->total_v; ++i) ions += kmc->kv[i].occupied;
    std::printf(
        "%s %dx%dx%d: %ld sites, %ld hops (edges), %ld ions; set-up and equilibration "
        "%.2f s\n",
        label, s[0], s[1], s[2], kmc->graph->total_v, kmc->graph->total_e, ions, setup_s);

    // The same hops: a few of each from the same state with the same random numbers.
    const long compared = 20;
    velmar_oracle::KmcState plain = velmar_oracle::kmc_state(*kmc);
    std::vector<std::vector<char>> fast_states;
    velmar_random_seed(9u);
    quietly([&] {
        for (long n = 0; n < compared; ++n) {
            velmar_kmc_evolve(kmc.get());
            std::vector<char> occ;
            for (long i = 0; i < kmc->graph->total_v; ++i)
                occ.push_back(kmc->kv[i].occupied ? 1 : 0);
            fast_states.push_back(occ);
        }
    });
    velmar_random_seed(9u);
    bool same = true;
    const auto plain_start = Clock::now();
    for (long n = 0; n < compared; ++n) {
        velmar_oracle::kmc_step(*kmc, plain);
        same = same && plain.occupied == fast_states[n];
    }
    const double plain_rate = static_cast<double>(compared) / seconds_since(plain_start);

    const auto fast_start = Clock::now();
    quietly([&] {
        for (long n = 0; n < hops; ++n) velmar_kmc_evolve(kmc.get());
    });
    const double fast_rate = static_cast<double>(hops) / seconds_since(fast_start);
    std::printf("  plain (every rate, running sum): %12.1f hops/s (%ld hops)\n", plain_rate,
                compared);
    std::printf("  incremental (e_n, sum tree):     %12.1f hops/s (%ld hops)  ratio %.0fx\n",
                fast_rate, hops, fast_rate / plain_rate);
    std::printf("  same hops for the first %ld: %s\n", compared, same ? "yes" : "NO");
    std::printf("  default run (10,000,000 hops + 100,000 equilibration) estimated at %.0f s\n",
                setup_s + 10100000.0 / fast_rate);
    return same;
}

}  // namespace

int main(int argc, char **argv) {
    const long hops = argc > 1 ? std::atol(argv[1]) : 1000000;
    const std::string source = VELMAR_SOURCE_DIR;
    bool ok = run(source, "Li3N, 5 % of 2c empty", "Li3N-vacancies.cif", 0.0, hops);
    ok = run(source, "LiFePO4, 10 % of Li empty", "LiFePO4.cif", 0.1, hops) && ok;
    return ok ? 0 : 1;
}
