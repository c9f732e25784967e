#include "support/support.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>

#include "core/velmar-text.h"
#include "landscape/velmar-landscape.h"
#include "structure/velmar-cell-geometry.h"
#include "structure/velmar-cif.h"

namespace velmar_test {

Captured capture(const std::function<void()> &fn) {
    std::fflush(stdout);
    std::fflush(stderr);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    fn();
    std::fflush(stdout);
    std::fflush(stderr);
    Captured c;
    c.out = testing::internal::GetCapturedStdout();
    c.err = testing::internal::GetCapturedStderr();
    return c;
}

ScratchDir::ScratchDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "velmar-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
}

ScratchDir::~ScratchDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
}

namespace {

std::string slurp_fd(int fd) {
    std::string content;
    lseek(fd, 0, SEEK_SET);
    char buffer[4096];
    ssize_t n = 0;
    while ((n = read(fd, buffer, sizeof buffer)) > 0)
        content.append(buffer, static_cast<size_t>(n));
    return content;
}

int temp_fd() {
    char name[] = "/tmp/velmar-out-XXXXXX";
    const int fd = mkstemp(name);
    if (fd < 0) throw std::runtime_error("mkstemp failed");
    unlink(name);
    return fd;
}

}  // namespace

RunResult run(const std::string &program, const std::string &argv0,
              const std::vector<std::string> &args, const std::filesystem::path &cwd) {
    const int out_fd = temp_fd();
    const int err_fd = temp_fd();
    std::vector<std::string> storage;
    storage.push_back(argv0);
    storage.insert(storage.end(), args.begin(), args.end());
    std::vector<char *> argv;
    for (auto &s : storage) argv.push_back(s.data());
    argv.push_back(nullptr);

    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(out_fd, STDOUT_FILENO);
        dup2(err_fd, STDERR_FILENO);
        if (!cwd.empty() && chdir(cwd.c_str()) != 0) _exit(126);
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    RunResult result;
    int status = 0;
    waitpid(pid, &status, 0);
    if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
    result.out = slurp_fd(out_fd);
    result.err = slurp_fd(err_fd);
    close(out_fd);
    close(err_fd);
    return result;
}

RunResult run_velmar(const std::vector<std::string> &args, const std::filesystem::path &cwd) {
    const std::string exe = velmar_exe().string();
    return run(exe, exe, args, cwd);
}

std::string read_file(const std::filesystem::path &path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

void write_file(const std::filesystem::path &path, const std::string &content) {
    std::ofstream out(path, std::ios::binary);
    out << content;
}

std::string database(const std::string &name) {
    return (std::filesystem::path(VELMAR_SOURCE_DIR) / "data" / name).string();
}

std::filesystem::path corpus(const std::string &name) {
    return std::filesystem::path(VELMAR_TEST_DATA) / "data" / "corpus" / name;
}

Loaded load_cif_text(const std::string &text) {
    Loaded loaded;
    VELMAR_TEXT *buffer = velmar_text_new(text.c_str());
    VELMAR_CELL *cell = nullptr;
    VELMAR_SYMMETRY *symmetry = nullptr;
    const std::string symcards = database("database_symcards.dat");
    const std::string unitary = database("database_unitary.dat");
    loaded.printed = capture([&] {
        loaded.status = velmar_cell_import_cif_from_text(&cell, &symmetry, buffer, symcards.c_str(),
                                                         unitary.c_str());
    });
    velmar_text_free(buffer);
    loaded.cell.reset(cell);
    loaded.symmetry.reset(symmetry);
    return loaded;
}

Loaded load_cif_file(const std::filesystem::path &path) {
    Loaded loaded;
    VELMAR_CELL *cell = nullptr;
    VELMAR_SYMMETRY *symmetry = nullptr;
    const std::string symcards = database("database_symcards.dat");
    const std::string unitary = database("database_unitary.dat");
    loaded.printed = capture([&] {
        loaded.status = velmar_cell_import_cif_from_file(&cell, &symmetry, path.c_str(),
                                                         symcards.c_str(), unitary.c_str());
    });
    loaded.cell.reset(cell);
    loaded.symmetry.reset(symmetry);
    return loaded;
}

std::filesystem::path velmar_exe() { return VELMAR_EXE; }
std::filesystem::path source_dir() { return VELMAR_SOURCE_DIR; }

namespace {

Landscape landscape_of(const std::filesystem::path &cif, double resolution, bool ignore, bool gii) {
    Landscape l;
    l.loaded = load_cif_file(cif);
    const std::string unitary = database("database_unitary.dat");
    const std::string binary = database("database_binary.dat");
    capture([&] {
        l.ppt.reset(velmar_property_import_from_cell(l.loaded.cell.get(), "Li", 1, -1.0,
                                                     unitary.c_str(), binary.c_str()));
        VELMAR_CELL *cell = l.loaded.cell.get();
        VELMAR_SYMMETRY *symmetry = l.loaded.symmetry.get();
        l.cube.reset(
            gii ? velmar_cube_by_gii_calculate(cell, symmetry, l.ppt.get(), resolution, ignore)
                : velmar_cube_calculate(cell, symmetry, l.ppt.get(), resolution, ignore));
    });
    return l;
}

}  // namespace

Landscape landscape(const char *file, double resolution, bool ignore, bool gii) {
    return landscape_of(corpus(file), resolution, ignore, gii);
}

Landscape example_landscape(const char *file, double resolution) {
    return landscape_of(source_dir() / "examples" / file, resolution, true, false);
}

CubePtr fractional_cube(const int32_t n[3], const double lengths[3],
                        const std::function<double(double, double, double)> &fn) {
    CubePtr cube(velmar_cube_new(n[0], n[1], n[2]), velmar_cube_free);
    for (int r = 0; r < 3; ++r) {
        cube->a[r][r] = lengths[r];
        cube->a_i[r][r] = lengths[r] / n[r];
    }
    for (int i = 0; i < n[0]; ++i) {
        for (int j = 0; j < n[1]; ++j) {
            for (int k = 0; k < n[2]; ++k) {
                cube->en[i][j][k] = fn(double(i) / n[0], double(j) / n[1], double(k) / n[2]);
            }
        }
    }
    return cube;
}

SiteLattice site_lattice(double amplitude, double occ, int32_t n) {
    SiteLattice l;
    const int32_t counts[3] = {n, n, n};
    const double lengths[3] = {8.0, 8.0, 8.0};
    const double tau2 = 4.0 * M_PI;
    l.cube = fractional_cube(counts, lengths, [amplitude, tau2](double x, double y, double z) {
        return -amplitude * (std::cos(tau2 * x) + std::cos(tau2 * y) + std::cos(tau2 * z));
    });
    l.cell.reset(velmar_cell_new(8));
    for (int r = 0; r < 3; ++r) l.cell->a[r][r] = 8.0;
    for (int m = 0; m < 8; ++m) {
        VELMAR_ATOM &atom = l.cell->atom[m];
        std::snprintf(atom.name, sizeof atom.name, "Li%d", m % 2);
        std::snprintf(atom.type, sizeof atom.type, "Li");
        atom.os = 1;
        atom.occ = occ;
        for (int r = 0; r < 3; ++r) atom.x[r] = ((m >> r) & 1) * 4.0;
    }
    velmar_cell_update_fractional(l.cell.get());
    l.ppt.reset(velmar_property_new(1));
    std::snprintf(l.ppt->type[0], 3, "Li");
    l.ppt->os[0] = 1;
    std::snprintf(l.ppt->uni[0].type, 3, "Li");
    l.ppt->uni[0].os = 1;
    l.ppt->uni[0].m = 6.941;
    l.ppt->uni[0].q = 1.0;
    l.ppt->uni[0].rc = 1.0;
    l.ppt->sf = 1.0;
    l.ppt->conducting = 0;
    capture([&] {
        l.fpcube.reset(velmar_fpcube_new_from_cube(l.cube.get()));
        l.halves.reset(velmar_fphalf_list_new_from_fpcube(l.fpcube.get()));
        l.fft.reset(velmar_fft_new_from_cube(l.cube.get()));
        l.graph.reset(
            velmar_graph_new_filled(l.halves.get(), l.fft.get(), l.cell.get(), l.ppt.get()));
    });
    return l;
}

}  // namespace velmar_test
