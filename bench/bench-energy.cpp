// Pair sums of the energy model and bond-valence sums on the largest ordered corpus structures:
// the binned, threaded sums against the plain triple loop, timed in the same run, with the same
// results; and the wall time of the screening-factor search, which evaluates the total energy six
// times per step.
//
//   build/bench/bench-energy
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <string>

#include "bench-support.h"
#include "core/velmar.h"
#include "model/velmar-bv.h"
#include "model/velmar-property-derived.h"
#include "model/velmar-property.h"
#include "model/velmar-total-energy.h"
#include "structure/velmar-cell-geometry.h"
#include "structure/velmar-cell-ops.h"
#include "structure/velmar-cif.h"
#include "support/oracles.h"

namespace {

using velmar_bench::quietly;

using Clock = std::chrono::steady_clock;

// Seconds per call of fn, repeated until at least min_seconds have passed.
double seconds_per_call(const std::function<void()> &fn, double min_seconds) {
    int calls = 0;
    const auto start = Clock::now();
    double elapsed = 0.0;
    do {
        fn();
        ++calls;
        elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    } while (elapsed < min_seconds);
    return elapsed / calls;
}

}  // namespace

int main() {
    const std::string source = VELMAR_SOURCE_DIR;
    const std::string symcards = source + "/data/database_symcards.dat";
    const std::string unitary = source + "/data/database_unitary.dat";
    const std::string binary = source + "/data/database_binary.dat";
    struct Case {
        const char *file;
        int s[3];
    };
    const Case cases[] = {{"LLZO_ordered_P1_oxnum_pymatgen.cif", {1, 1, 1}},
                          {"Na3PS4_P1_128atoms_pymatgen.cif", {1, 1, 1}},
                          {"LLZO_ordered_P1_oxnum_pymatgen.cif", {2, 1, 1}}};
    std::printf("%-40s %5s %12s %12s %7s %10s | %10s %10s %7s | %8s %9s\n", "structure", "atoms",
                "E binned/s", "E plain/s", "ratio", "rel.diff", "BV binned", "BV plain", "ratio",
                "sf", "search/s");
    int status = 0;
    for (const Case &c : cases) {
        VELMAR_CELL *raw = nullptr;
        VELMAR_SYMMETRY *raw_symmetry = nullptr;
        const std::string path = source + "/tests/data/corpus/" + c.file;
        quietly([&] {
            velmar_cell_import_cif_from_file(&raw, &raw_symmetry, path.c_str(), symcards.c_str(),
                                             unitary.c_str());
        });
        velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free> symmetry(raw_symmetry);
        velmar::Owned<VELMAR_CELL, velmar_cell_free> cell(velmar_cell_supercell(raw, c.s));
        velmar_cell_free(raw);
        velmar::Owned<VELMAR_PROPERTY, velmar_property_free> ppt;
        quietly([&] {
            ppt.reset(velmar_property_import_from_cell(cell.get(), nullptr, 0, 0.75,
                                                       unitary.c_str(), binary.c_str()));
        });
        if (!cell || !ppt) return 1;

        double binned = 0.0;
        double plain = 0.0;
        const double t_binned = seconds_per_call(
            [&] { binned = velmar_cell_calculate_total_energy(cell.get(), ppt.get()); }, 0.5);
        const double t_plain =
            seconds_per_call([&] { plain = velmar_oracle::total_energy(*cell, *ppt, false); }, 0.5);
        const double difference = std::fabs(binned - plain) / std::fabs(plain);

        // Bond-valence sums with every atom its own site (P 1).
        velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free> p1(velmar_symmetry_new_p1());
        velmar_cell_flag_site_by_symmetry(cell.get(), p1.get());
        velmar::Owned<VELMAR_BV, velmar_bv_free> bv;
        const double t_bv = seconds_per_call(
            [&] { bv.reset(velmar_bv_calculate_from_flagged_cell(cell.get(), ppt.get())); }, 0.5);
        std::vector<double> sums;
        const double t_bv_plain =
            seconds_per_call([&] { sums = velmar_oracle::bv_sums(*cell, *ppt); }, 0.5);
        double bv_difference = 0.0;
        for (long k = 0; k < bv->total; ++k) {
            bv_difference = std::max(bv_difference, std::fabs(bv->sum[k] - sums[k]));
        }
        velmar_cell_refresh(cell.get());

        ppt->sf = -1.0;
        const auto start = Clock::now();
        quietly([&] { velmar_property_calculate_screening_factor(ppt.get(), cell.get()); });
        const double t_search = std::chrono::duration<double>(Clock::now() - start).count();

        char name[64];
        std::snprintf(name, sizeof name, "%s x%d%d%d", c.file, c.s[0], c.s[1], c.s[2]);
        std::printf("%-40.40s %5d %12.5f %12.5f %7.1f %10.1e | %10.5f %10.5f %7.1f | %8.5f %9.3f\n",
                    name, static_cast<int>(cell->total), t_binned, t_plain, t_plain / t_binned,
                    difference, t_bv, t_bv_plain, t_bv_plain / t_bv, ppt->sf, t_search);
        std::printf("%-40s search with the plain loop would take about %.1f s; BV max diff %.1e\n",
                    "", t_search * t_plain / t_binned, bv_difference);
        if (difference > 1e-9 || bv_difference > 1e-9) status = 1;
    }
    return status;
}
