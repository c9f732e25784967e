// The cube record.
#include "landscape/velmar-cube.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "core/velmar-la.h"
#include "core/velmar.h"

VELMAR_CUBE *velmar_cube_new(int32_t n0, int32_t n1, int32_t n2) {
    if (n0 < 1 || n1 < 1 || n2 < 1) {
        std::fputs("Error: argument must be positive.\n", stderr);
        return nullptr;
    }
    auto *raw = static_cast<VELMAR_CUBE *>(std::calloc(1, sizeof(VELMAR_CUBE)));
    if (raw == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_CUBE.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_CUBE, velmar_cube_free> cube(raw);
    cube->n[0] = n0;
    cube->n[1] = n1;
    cube->n[2] = n2;
    const auto rows = static_cast<size_t>(n0);
    const auto columns = rows * static_cast<size_t>(n1);
    const auto values = columns * static_cast<size_t>(n2);
    cube->en = static_cast<double ***>(std::calloc(rows, sizeof(double **)));
    if (cube->en == nullptr) {
        std::fputs("Error: unable to allocate cube->en\n", stderr);
        return nullptr;
    }
    cube->en[0] = static_cast<double **>(std::calloc(columns, sizeof(double *)));
    if (cube->en[0] == nullptr) {
        std::fputs("Error: unable to allocate cube->en[]\n", stderr);
        return nullptr;
    }
    cube->en[0][0] = static_cast<double *>(std::calloc(values, sizeof(double)));
    if (cube->en[0][0] == nullptr) {
        std::fputs("Error: unable to allocate cube->en[][]\n", stderr);
        return nullptr;
    }
    for (size_t i = 0; i < rows; ++i) {
        cube->en[i] = cube->en[0] + i * static_cast<size_t>(n1);
        for (size_t j = 0; j < static_cast<size_t>(n1); ++j) {
            cube->en[i][j] =
                cube->en[0][0] + (i * static_cast<size_t>(n1) + j) * static_cast<size_t>(n2);
        }
    }
    return cube.release();
}

void velmar_cube_free(VELMAR_CUBE *cube) {
    if (cube == nullptr) return;
    if (cube->en != nullptr) {
        if (cube->en[0] != nullptr) std::free(cube->en[0][0]);
        std::free(cube->en[0]);
        std::free(cube->en);
    }
    std::free(cube);
}

VELMAR_CUBE *velmar_cube_super_simple(const VELMAR_CUBE *cube, const int super[3]) {
    if (cube == nullptr || cube->en == nullptr) {
        std::fputs("Error: VELMAR_CUBE has not been properly initialized.\n", stderr);
        return nullptr;
    }
    if (super[0] < 1 || super[1] < 1 || super[2] < 1) {
        std::fputs("Error: vector must not contain non-positive elements.\n", stderr);
        return nullptr;
    }
    VELMAR_CUBE *big =
        velmar_cube_new(cube->n[0] * super[0], cube->n[1] * super[1], cube->n[2] * super[2]);
    if (big == nullptr) {
        VELMAR_ERROR_NULL(velmar_cube_new);
        return nullptr;
    }
    for (int r = 0; r < 3; ++r) {
        velmar_vector3_double_copy(big->a_i[r], cube->a_i[r]);
        velmar_vector3_double_sum2(big->a[r], super[r], cube->a[r], 0.0, cube->a[r]);
    }
    for (int32_t i = 0; i < big->n[0]; ++i) {
        for (int32_t j = 0; j < big->n[1]; ++j) {
            const double *from = cube->en[i % cube->n[0]][j % cube->n[1]];
            double *to = big->en[i][j];
            for (int32_t k = 0; k < big->n[2]; ++k) to[k] = from[k % cube->n[2]];
        }
    }
    return big;
}

void velmar_cube_print_info(const VELMAR_CUBE *cube) {
    if (cube == nullptr) {
        std::printf("(not allocated)\n");
        return;
    }
    std::printf("CUBE: cube size = %ld * %ld * %ld\n", static_cast<long>(cube->n[0]),
                static_cast<long>(cube->n[1]), static_cast<long>(cube->n[2]));
    std::printf("CUBE: cell vector (A):\n");
    for (const auto &row : cube->a)
        std::printf("CUBE:  %11.6f %11.6f %11.6f\n", row[0], row[1], row[2]);
    std::printf("CUBE: votex vector (A):\n");
    for (const auto &row : cube->a_i)
        std::printf("CUBE:  %11.6f %11.6f %11.6f\n", row[0], row[1], row[2]);
}

std::vector<double> velmar::cube_values_at_atoms(const VELMAR_CUBE &cube, const VELMAR_CELL &cell) {
    std::vector<double> values;
    values.reserve(static_cast<size_t>(std::max(cell.total, 0)));
    for (int32_t a = 0; a < cell.total; ++a) {
        long x[3];
        for (int r = 0; r < 3; ++r) {
            const long i = std::lround(cell.atom[a].x_f[r] * cube.n[r]) % cube.n[r];
            x[r] = i < 0 ? i + cube.n[r] : i;
        }
        values.push_back(cube.en[x[0]][x[1]][x[2]]);
    }
    return values;
}
