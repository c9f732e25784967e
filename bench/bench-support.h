// Helpers shared by the benchmarks.
#ifndef VELMAR_BENCH_SUPPORT_H
#define VELMAR_BENCH_SUPPORT_H

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <string>

#include "core/velmar.h"
#include "model/velmar-property.h"
#include "structure/velmar-cif.h"

namespace velmar_bench {

// Runs fn with standard output sent to /dev/null (the library reports its steps there).
inline void quietly(const std::function<void()> &fn) {
    std::fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDOUT_FILENO);
    close(null);
    fn();
    std::fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
}

inline double seconds_since(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

struct Structure {
    velmar::Owned<VELMAR_CELL, velmar_cell_free> cell;
    velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free> symmetry;
};

// A structure read with the databases of the source tree, from its path.
inline Structure load_path(const std::string &source, const std::string &path) {
    const std::string symcards = source + "/data/database_symcards.dat";
    const std::string unitary = source + "/data/database_unitary.dat";
    VELMAR_CELL *cell = nullptr;
    VELMAR_SYMMETRY *symmetry = nullptr;
    velmar_cell_import_cif_from_file(&cell, &symmetry, path.c_str(), symcards.c_str(),
                                     unitary.c_str());
    Structure s;
    s.cell.reset(cell);
    s.symmetry.reset(symmetry);
    return s;
}

// A structure of the test corpus.
inline Structure load_corpus(const std::string &source, const char *file) {
    return load_path(source, source + "/tests/data/corpus/" + file);
}

// The parameter table of a cell with Li+ conducting and the screening factor searched.
inline velmar::Owned<VELMAR_PROPERTY, velmar_property_free> lithium_table(const std::string &source,
                                                                          VELMAR_CELL *cell) {
    const std::string unitary = source + "/data/database_unitary.dat";
    const std::string binary = source + "/data/database_binary.dat";
    return velmar::Owned<VELMAR_PROPERTY, velmar_property_free>(
        velmar_property_import_from_cell(cell, "Li", 1, -1.0, unitary.c_str(), binary.c_str()));
}

}  // namespace velmar_bench

#endif  // VELMAR_BENCH_SUPPORT_H
