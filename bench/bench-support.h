// Helpers shared by the benchmarks.
#ifndef VELMAR_BENCH_SUPPORT_H
#define VELMAR_BENCH_SUPPORT_H

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "core/velmar.h"
#include "landscape/velmar-landscape.h"
#include "model/velmar-property.h"
#include "structure/velmar-cif.h"

extern char **environ;

namespace velmar_bench {

// Runs args[0] with args as a child process, its standard output discarded and its standard
// error written to log, and waits for it: each measurement of memory gets a fresh process. False
// when it could not be started.
inline bool run_child(std::vector<std::string> args, const std::string &log) {
    std::vector<char *> argv;
    for (auto &a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, log.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_t pid = 0;
    const bool started = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ) == 0;
    if (started) {
        int status = 0;
        waitpid(pid, &status, 0);
    }
    posix_spawn_file_actions_destroy(&actions);
    return started;
}

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

using CubePtr = velmar::Owned<VELMAR_CUBE, velmar_cube_free>;

// The Li+ site-energy landscape of a structure, the lithium ions left out.
inline CubePtr lithium_landscape(const std::string &source, const Structure &s, double resolution) {
    auto ppt = lithium_table(source, s.cell.get());
    return CubePtr(
        velmar_cube_calculate(s.cell.get(), s.symmetry.get(), ppt.get(), resolution, true));
}

// A sum of 40 plane waves with wave vectors up to 3 per axis on an n^3 grid over a 12 A cube,
// fixed seed: a landscape with many minima and saddle points.
inline CubePtr plane_waves(int32_t n) {
    CubePtr cube(velmar_cube_new(n, n, n));
    for (int r = 0; r < 3; ++r) {
        cube->a[r][r] = 12.0;
        cube->a_i[r][r] = 12.0 / n;
    }
    std::mt19937 gen(7);
    std::uniform_int_distribution<int> wave(-3, 3);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    struct Mode {
        int k[3];
        double amplitude, phase;
    };
    std::vector<Mode> modes(40);
    for (Mode &m : modes) {
        for (int &k : m.k) k = wave(gen);
        m.amplitude = unit(gen);
        m.phase = 6.283185307179586 * unit(gen);
    }
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            for (int k = 0; k < n; ++k) {
                double e = 0.0;
                for (const Mode &m : modes) {
                    e += m.amplitude *
                         std::cos(6.283185307179586 * (m.k[0] * i + m.k[1] * j + m.k[2] * k) / n +
                                  m.phase);
                }
                cube->en[i][j][k] = e;
            }
        }
    }
    return cube;
}

}  // namespace velmar_bench

#endif  // VELMAR_BENCH_SUPPORT_H
