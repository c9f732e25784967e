// Cube file writer and reader.
#include "landscape/velmar-cube-file.h"

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/velmar-output.h"
#include "core/velmar.h"
#include "structure/velmar-cell-geometry.h"

namespace {

constexpr long kMaxCount = 100000;          // voxels along one axis
constexpr int64_t kMaxVoxels = 1000000000;  // 8 GB of values
constexpr long kMaxAtoms = 10000000;

char sign(int os) { return os > 0 ? '+' : '-'; }

bool read_line(char *line, std::FILE *file) { return std::fgets(line, 1024, file) != nullptr; }

}  // namespace

int velmar_cube_export_to_file(const VELMAR_CUBE *cube, const VELMAR_CELL *cell,
                               const VELMAR_PROPERTY *ppt, const char *filename, bool periodic) {
    const bool header = cell != nullptr && cell->atom != nullptr && ppt != nullptr;
    std::printf(header ? "Message: cube file is generated with header.\n"
                       : "Message: cube file is generated without header.\n");
    if (cube == nullptr || cube->en == nullptr) {
        std::fputs("Error: VELMAR_CUBE has not been properly initialized.\n", stderr);
        return 1;
    }
    velmar::OutputFile file(filename);
    if (!file.ok()) {
        std::fprintf(stderr, "Error: unable to open file %s\n", filename);
        return 1;
    }
    std::FILE *f = file.get();
    constexpr double kBohr = VELMAR_ANGSTROM_TO_BOHR;
    if (header) {
        std::fprintf(f, "%s\r\n", cell->name);
        const bool named = ppt->conducting >= 0 && ppt->conducting < ppt->total;
        const int os = named ? ppt->os[ppt->conducting] : 0;
        std::fprintf(f, "Conducting = %s%d%c ; sf = %lf;\r\n",
                     named ? ppt->type[ppt->conducting] : "", std::abs(os), sign(os), ppt->sf);
        std::fprintf(f, "%4ld %11.6f %11.6f %11.6f\r\n", static_cast<long>(cell->total), 0.0, 0.0,
                     0.0);
    } else {
        std::fprintf(f, "noname\r\n");
        std::fprintf(f, "\r\n");
        std::fprintf(f, "%4d %11.6f %11.6f %11.6f\r\n", 0, 0.0, 0.0, 0.0);
    }
    long count[3];
    for (int r = 0; r < 3; ++r) {
        count[r] = periodic ? cube->n[r] : cube->n[r] + 1;
        std::fprintf(f, "%4ld %11.6f %11.6f %11.6f\r\n", count[r], cube->a_i[r][0] * kBohr,
                     cube->a_i[r][1] * kBohr, cube->a_i[r][2] * kBohr);
    }
    if (header) {
        for (int32_t a = 0; a < cell->total; ++a) {
            const VELMAR_ATOM &atom = cell->atom[a];
            const int k = velmar_property_find_index(ppt, atom.type, atom.os);
            if (k < 0) {
                std::fputs("Error: velmar_property_find_index() returns negative value.\n", stderr);
                // The one failure that keeps what was written, under the final name.
                file.commit();
                return 1;
            }
            std::fprintf(f, "%4d %11.6f %11.6f %11.6f %11.6f\r\n", ppt->uni[k].an, ppt->uni[k].q,
                         atom.x[0] * kBohr, atom.x[1] * kBohr, atom.x[2] * kBohr);
        }
    }
    for (long i = 0; i < count[0]; ++i) {
        for (long j = 0; j < count[1]; ++j) {
            const double *row = cube->en[i % cube->n[0]][j % cube->n[1]];
            for (long k = 0; k < count[2]; ++k) std::fprintf(f, " %12.6f\r\n", row[k % cube->n[2]]);
        }
    }
    if (file.commit() != 0) {
        std::fprintf(stderr, "Error: unable to write %s.\n", filename);
        return 1;
    }
    std::printf("Message: cube file saved to %s.\n", filename);
    return 0;
}

int velmar_cube_import_from_file(VELMAR_CUBE **cube_ptr, VELMAR_CELL **cell, const char *filename,
                                 bool periodic, const char *dir_unitary) {
    if (cell != nullptr) *cell = nullptr;
    velmar::File file(std::fopen(filename, "rb"));
    if (!file) {
        std::printf("Error: unable to open %s.\n", filename);
        return 1;
    }
    std::FILE *f = file.get();
    char line[1024];
    long atoms = 0;
    if (!read_line(line, f) || !read_line(line, f) || !read_line(line, f) ||
        std::sscanf(line, "%ld", &atoms) != 1) {
        std::fprintf(stderr, "Error: %s ends before its voxel counts.\n", filename);
        return 1;
    }
    const long remembered = std::ftell(f);
    long count[3] = {0, 0, 0};
    for (long &c : count) {
        if (!read_line(line, f) || std::sscanf(line, "%ld", &c) != 1) {
            std::fprintf(stderr, "Error: %s ends before its voxel counts.\n", filename);
            return 1;
        }
    }
    if (atoms < 0 || atoms > kMaxAtoms) {
        std::fprintf(stderr, "Error: %s gives %ld atoms; a cube file holds 0 to %ld.\n", filename,
                     atoms, kMaxAtoms);
        return 1;
    }
    // Values are stored as read, or without the repeated last layer of a non-periodic file.
    const int drop = periodic ? 0 : 1;
    for (int r = 0; r < 3; ++r) {
        if (count[r] <= drop || count[r] > kMaxCount) {
            std::fprintf(stderr,
                         "Error: %s gives %ld voxels along axis %d; a %s cube has %d to %ld.\n",
                         filename, count[r], r + 1, periodic ? "periodic" : "non-periodic",
                         drop + 1, kMaxCount);
            return 1;
        }
    }
    if (count[0] * count[1] * count[2] > kMaxVoxels) {
        std::fprintf(stderr, "Error: %s gives %ld x %ld x %ld voxels, more than %" PRId64 ".\n",
                     filename, count[0], count[1], count[2], kMaxVoxels);
        return 1;
    }
    // Every value takes a digit and a separator: a file too short for its counts is refused before
    // the grid is allocated (a few bytes could otherwise ask for gigabytes).
    const long after_counts = std::ftell(f);
    if (after_counts >= 0 && std::fseek(f, 0, SEEK_END) == 0) {
        const long left = std::ftell(f) - after_counts;
        if (left >= 0 && count[0] * count[1] * count[2] > left / 2 + 1) {
            std::fprintf(stderr,
                         "Error: %s gives %ld x %ld x %ld voxels but has room for %ld values at "
                         "most.\n",
                         filename, count[0], count[1], count[2], left / 2 + 1);
            return 1;
        }
    }
    velmar::Owned<VELMAR_CUBE, velmar_cube_free> cube(velmar_cube_new(
        static_cast<int32_t>(count[0] - drop), static_cast<int32_t>(count[1] - drop),
        static_cast<int32_t>(count[2] - drop)));
    if (!cube) {
        std::fputs("velmar_cube_new() returns NULL.\n", stderr);
        return 1;
    }
    std::fseek(f, remembered, SEEK_SET);
    for (int r = 0; r < 3; ++r) {
        double step[3];
        if (!read_line(line, f) ||
            std::sscanf(line, "%*d %lf %lf %lf", &step[0], &step[1], &step[2]) != 3) {
            std::fprintf(stderr, "Error: unable to read the voxel vectors of %s.\n", filename);
            return 1;
        }
        for (int c = 0; c < 3; ++c) {
            cube->a_i[r][c] = step[c] / VELMAR_ANGSTROM_TO_BOHR;
            cube->a[r][c] = cube->n[r] * cube->a_i[r][c];
        }
    }
    // Zero, parallel or NaN steps would give no cell to analyse.
    if (!velmar::detail::lattice_vectors_proper(cube->a_i) ||
        !velmar::detail::lattice_vectors_proper(cube->a)) {
        std::fprintf(stderr,
                     "Error: the voxel vectors of %s are zero, not finite or do not span a "
                     "volume.\n",
                     filename);
        return 1;
    }

    velmar::Owned<VELMAR_CELL, velmar_cell_free> structure;
    if (cell == nullptr || atoms == 0) {
        std::printf("Message: cell information not read.\n");
        for (long a = 0; a < atoms; ++a) {
            if (!read_line(line, f)) break;
        }
    } else {
        std::printf("Message: cell information found, attempting to load cell.\n");
        structure.reset(velmar_cell_new(atoms));
        if (!structure) {
            VELMAR_ERROR_NULL(velmar_cell_new);
            return 1;
        }
        for (long a = 0; a < atoms; ++a) {
            VELMAR_ATOM &atom = structure->atom[a];
            int number = 0;
            double x[3];
            if (!read_line(line, f) || std::sscanf(line, "%d %lf %lf %lf %lf", &number, &atom.value,
                                                   &x[0], &x[1], &x[2]) != 5) {
                std::fprintf(stderr, "Error: unable to read atom %ld of %s.\n", a + 1, filename);
                return 1;
            }
            for (int r = 0; r < 3; ++r) atom.x[r] = x[r] / VELMAR_ANGSTROM_TO_BOHR;
            atom.occ = 1.0;
            if (velmar_property_type_from_atomic_number(number, &atom, dir_unitary) != 0) {
                VELMAR_ERROR_NONZERO(velmar_property_type_from_atomic_number);
                return 1;
            }
        }
    }

    const int64_t total = static_cast<int64_t>(count[0]) * count[1] * count[2];
    double *values = velmar::cube_values(cube.get());
    int64_t stored = 0;
    for (long i = 0; i < count[0]; ++i) {
        for (long j = 0; j < count[1]; ++j) {
            for (long k = 0; k < count[2]; ++k) {
                double v = 0.0;
                if (std::fscanf(f, "%lf", &v) != 1 || !std::isfinite(v)) {
                    const int64_t read = (i * count[1] + j) * count[2] + k;
                    std::fprintf(stderr,
                                 "Error: %s holds %" PRId64 " readable values of %" PRId64 ".\n",
                                 filename, read, total);
                    return 1;
                }
                const bool kept = i < count[0] - drop && j < count[1] - drop && k < count[2] - drop;
                if (kept) values[stored++] = v;
            }
        }
    }
    if (structure) {
        velmar::copy_text(structure->name, sizeof structure->name, filename);
        for (int r = 0; r < 3; ++r) {
            for (int c = 0; c < 3; ++c) structure->a[r][c] = cube->a[r][c];
        }
        velmar_cell_update_fractional(structure.get());
        *cell = structure.release();
    }
    *cube_ptr = cube.release();
    std::printf("Message: cube loaded from %s successfully.\n", filename);
    return 0;
}
