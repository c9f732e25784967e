// Shared test helpers: capturing what a function prints, scratch directories, and running velmar.x
// as a separate process.
#ifndef VELMAR_TEST_SUPPORT_H
#define VELMAR_TEST_SUPPORT_H

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "analysis/velmar-fft.h"
#include "analysis/velmar-fpcube.h"
#include "landscape/velmar-cube.h"
#include "model/velmar-property.h"
#include "structure/velmar-cell.h"
#include "structure/velmar-symmetry.h"
#include "transport/velmar-graph.h"

namespace velmar_test {

struct Captured {
    std::string out;
    std::string err;
};

// Runs fn and returns what it wrote to standard output and standard error.
Captured capture(const std::function<void()> &fn);

// A fresh directory, removed with its content when the object goes.
class ScratchDir {
  public:
    ScratchDir();
    ~ScratchDir();
    ScratchDir(const ScratchDir &) = delete;
    ScratchDir &operator=(const ScratchDir &) = delete;
    const std::filesystem::path &path() const { return path_; }
    std::filesystem::path operator/(const std::string &name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

struct RunResult {
    std::string out;
    std::string err;
    int status = -1;  // exit status, or -1 when the process did not exit normally
};

// Runs the program at `program` with the given arguments (argv[0] is given separately, so a bare
// name can be passed), in the working directory `cwd` (the current one when empty).
RunResult run(const std::string &program, const std::string &argv0,
              const std::vector<std::string> &args, const std::filesystem::path &cwd = {});
// Runs the built velmar.x by its full path.
RunResult run_velmar(const std::vector<std::string> &args, const std::filesystem::path &cwd = {});

// A structure read with the databases of the source tree, and what the reader printed.
struct Loaded {
    std::unique_ptr<VELMAR_CELL, void (*)(VELMAR_CELL *)> cell{nullptr, velmar_cell_free};
    std::unique_ptr<VELMAR_SYMMETRY, void (*)(VELMAR_SYMMETRY *)> symmetry{nullptr,
                                                                           velmar_symmetry_free};
    int status = -1;
    Captured printed;
};
Loaded load_cif_text(const std::string &text);
Loaded load_cif_file(const std::filesystem::path &path);
std::filesystem::path corpus(const std::string &name);
std::string database(const std::string &name);

using CubePtr = std::unique_ptr<VELMAR_CUBE, void (*)(VELMAR_CUBE *)>;

// The site-energy (or GII) landscape of Li+ in a corpus structure, with the structure and table.
struct Landscape {
    Loaded loaded;
    std::unique_ptr<VELMAR_PROPERTY, void (*)(VELMAR_PROPERTY *)> ppt{nullptr,
                                                                      velmar_property_free};
    std::unique_ptr<VELMAR_CUBE, void (*)(VELMAR_CUBE *)> cube{nullptr, velmar_cube_free};
};
Landscape landscape(const char *file, double resolution, bool ignore, bool gii = false);
// The same for a structure of examples/ (Li+ ignored, site energies).
Landscape example_landscape(const char *file, double resolution);

// A cube over an orthogonal cell of the given edge lengths (A) with n voxels per edge; voxel
// (i, j, k) holds fn at fractional position (i / n0, j / n1, k / n2).
CubePtr fractional_cube(const int32_t n[3], const double lengths[3],
                        const std::function<double(double, double, double)> &fn);

// A simple cubic lattice of sites 4 A apart: the landscape
// -amplitude (cos 4 pi x + cos 4 pi y + cos 4 pi z) on an 8 A cubic cell with n voxels per edge,
// the eight Li+ atoms of occupancy occ on its minima, a parameter table for Li+ alone, and the
// graph.
struct SiteLattice {
    CubePtr cube{nullptr, velmar_cube_free};
    std::unique_ptr<VELMAR_FPCUBE, void (*)(VELMAR_FPCUBE *)> fpcube{nullptr, velmar_fpcube_free};
    std::unique_ptr<VELMAR_FPHALF_LIST, void (*)(VELMAR_FPHALF_LIST *)> halves{
        nullptr, velmar_fphalf_list_free};
    std::unique_ptr<VELMAR_FFT, void (*)(VELMAR_FFT *)> fft{nullptr, velmar_fft_free};
    std::unique_ptr<VELMAR_CELL, void (*)(VELMAR_CELL *)> cell{nullptr, velmar_cell_free};
    std::unique_ptr<VELMAR_PROPERTY, void (*)(VELMAR_PROPERTY *)> ppt{nullptr,
                                                                      velmar_property_free};
    std::unique_ptr<VELMAR_GRAPH, void (*)(VELMAR_GRAPH *)> graph{nullptr, velmar_graph_free};
};
SiteLattice site_lattice(double amplitude, double occ, int32_t n = 16);

std::string read_file(const std::filesystem::path &path);
void write_file(const std::filesystem::path &path, const std::string &content);

// Where the build put velmar.x (its databases lie beside it) and the source tree.
std::filesystem::path velmar_exe();
std::filesystem::path source_dir();

}  // namespace velmar_test

#endif  // VELMAR_TEST_SUPPORT_H
