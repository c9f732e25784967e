// Flagging symmetry-equivalent sites of the largest corpus structure (7,296 atoms, 96 cards):
// the spatial hash against the pairwise comparison, timed in the same run, with equal flags.
//
//   build/bench/bench-flag-sites [file.cif]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>

#include "core/velmar.h"
#include "structure/velmar-cell-ops.h"
#include "structure/velmar-cif.h"
#include "support/oracles.h"

int main(int argc, char **argv) {
    const std::string source = VELMAR_SOURCE_DIR;
    const std::string cif =
        argc > 1 ? argv[1] : source + "/tests/data/corpus/AlCuTa_cubic_a45A_COD2104374.cif";
    const std::string symcards = source + "/data/database_symcards.dat";
    const std::string unitary = source + "/data/database_unitary.dat";
    VELMAR_CELL *raw_cell = nullptr;
    VELMAR_SYMMETRY *raw_symmetry = nullptr;
    if (velmar_cell_import_cif_from_file(&raw_cell, &raw_symmetry, cif.c_str(), symcards.c_str(),
                                         unitary.c_str()) != 0) {
        return 1;
    }
    velmar::Owned<VELMAR_CELL, velmar_cell_free> cell(raw_cell);
    velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free> symmetry(raw_symmetry);

    using Clock = std::chrono::steady_clock;
    const auto t0 = Clock::now();
    constexpr int kRepeats = 10;
    for (int i = 0; i < kRepeats; ++i)
        velmar_cell_flag_site_by_symmetry(cell.get(), symmetry.get());
    const auto t1 = Clock::now();
    const auto expected = velmar_oracle::flags_by_pairs(*cell, *symmetry);
    const auto t2 = Clock::now();

    int mismatches = 0;
    for (int32_t n = 0; n < cell->total; ++n) mismatches += cell->atom[n].flag != expected[n];
    const double hashed = std::chrono::duration<double>(t1 - t0).count() / kRepeats;
    const double pairwise = std::chrono::duration<double>(t2 - t1).count();
    std::printf("flag sites: %d atoms x %d cards, %d sites\n", static_cast<int>(cell->total),
                symmetry->total,
                static_cast<int>(
                    expected.empty() ? 0 : *std::max_element(expected.begin(), expected.end())));
    std::printf("  spatial hash  %10.4f s\n  pairwise      %10.4f s\n  ratio         %10.1f\n",
                hashed, pairwise, pairwise / hashed);
    std::printf("  flags %s\n", mismatches == 0 ? "identical" : "DIFFER");
    return mismatches == 0 ? 0 : 1;
}
