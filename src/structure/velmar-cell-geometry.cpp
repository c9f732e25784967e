// Cell geometry.
#include "structure/velmar-cell-geometry.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/velmar-la.h"
#include "core/velmar-solver.h"
#include "core/velmar.h"

namespace {

constexpr double kRadToDeg = 57.29577957855229;

}  // namespace

void velmar_cell_update_cartesion(VELMAR_CELL *cell) {
    velmar_cell_update_lattice_cartesion(cell);
    velmar_cell_update_coordinate_cartesion(cell);
}

void velmar_cell_update_fractional(VELMAR_CELL *cell) {
    velmar_cell_update_lattice_fractional(cell);
    velmar_cell_update_coordinate_fractional(cell);
}

void velmar_cell_update_lattice_cartesion(VELMAR_CELL *cell) {
    const double a = cell->parameter[0];
    const double b = cell->parameter[1];
    const double c = cell->parameter[2];
    const double alpha = cell->angle[0] * VELMAR_DEG_TO_RAD;
    const double beta = cell->angle[1] * VELMAR_DEG_TO_RAD;
    const double gamma = cell->angle[2] * VELMAR_DEG_TO_RAD;
    const double cx = c * std::cos(beta);
    const double cy = (b * c * std::cos(alpha) - cx * b * std::cos(gamma)) / (b * std::sin(gamma));
    const double lattice[3][3] = {{a, 0.0, 0.0},
                                  {b * std::cos(gamma), b * std::sin(gamma), 0.0},
                                  {cx, cy, std::sqrt(c * c - cx * cx - cy * cy)}};
    velmar_matrix33_double_copy(cell->a, lattice);
}

void velmar_cell_update_coordinate_cartesion(VELMAR_CELL *cell) {
    for (int32_t n = 0; n < cell->total; ++n) {
        VELMAR_ATOM &atom = cell->atom[n];
        velmar_vector3_double_sum3(atom.x, atom.x_f[0], cell->a[0], atom.x_f[1], cell->a[1],
                                   atom.x_f[2], cell->a[2]);
    }
}

void velmar_cell_update_lattice_fractional(VELMAR_CELL *cell) {
    for (int i = 0; i < 3; ++i) cell->parameter[i] = velmar_vector3_double_length(cell->a[i]);
    for (int i = 0; i < 3; ++i) {
        const double *u = cell->a[(i + 1) % 3];
        const double *v = cell->a[(i + 2) % 3];
        const double cosine = velmar_vector3_double_dot(u, v) /
                              (velmar_vector3_double_length(u) * velmar_vector3_double_length(v));
        cell->angle[i] = std::acos(cosine) * kRadToDeg;
    }
}

void velmar_cell_update_coordinate_fractional(VELMAR_CELL *cell) {
    double transposed[3][3];
    velmar_matrix33_double_copy(transposed, cell->a);
    velmar_matrix33_double_transpose(transposed);
    for (int32_t n = 0; n < cell->total; ++n) {
        VELMAR_ATOM &atom = cell->atom[n];
        velmar_matrix33_double_linearsolver(atom.x_f, transposed, atom.x);
    }
}

double velmar_cell_calculate_volume(const VELMAR_CELL *cell) {
    const double ca = std::cos(cell->angle[0] * VELMAR_DEG_TO_RAD);
    const double cb = std::cos(cell->angle[1] * VELMAR_DEG_TO_RAD);
    const double cg = std::cos(cell->angle[2] * VELMAR_DEG_TO_RAD);
    return cell->parameter[0] * cell->parameter[1] * cell->parameter[2] *
           std::sqrt(1.0 - ca * ca - cb * cb - cg * cg + 2.0 * ca * cb * cg);
}

void velmar_cell_bound_fractional(VELMAR_CELL *cell) {
    for (int32_t n = 0; n < cell->total; ++n) {
        for (double &x : cell->atom[n].x_f) x -= std::floor(x);
    }
}

double velmar_cell_min_distance_btw_atoms(const VELMAR_CELL *cell, const VELMAR_ATOM *atom1,
                                          const VELMAR_ATOM *atom2) {
    double best = velmar_vector3_double_distance(atom1->x, atom2->x);
    for (int i = -1; i <= 1; ++i) {
        for (int j = -1; j <= 1; ++j) {
            for (int k = -1; k <= 1; ++k) {
                double image[3];
                velmar_vector3_double_sum3(image, i, cell->a[0], j, cell->a[1], k, cell->a[2]);
                velmar_vector3_double_sum2(image, 1.0, atom1->x, 1.0, image);
                best = std::fmin(best, velmar_vector3_double_distance(image, atom2->x));
            }
        }
    }
    return best;
}

void velmar_cell_update_name(VELMAR_CELL *cell) {
    if (cell == nullptr || cell->total < 1 || cell->atom == nullptr) {
        std::fputs("Error: VELMAR_CELL has not been initialized.\n", stderr);
        return;
    }
    std::string name;
    int32_t n = 0;
    while (n < cell->total) {
        const VELMAR_ATOM &first = cell->atom[n];
        double occupancy = 0.0;
        int32_t m = n;
        for (; m < cell->total && std::strcmp(cell->atom[m].type, first.type) == 0 &&
               cell->atom[m].os == first.os;
             ++m) {
            occupancy += cell->atom[m].occ;
        }
        char run[64];
        std::snprintf(run, sizeof run, "%s%d%c:%.3f ", first.type, std::abs(first.os),
                      first.os >= 0 ? '+' : '-', occupancy);
        name += run;
        n = m;
    }
    std::snprintf(cell->name, sizeof cell->name, "%s", name.c_str());
}

void velmar_cell_refresh(VELMAR_CELL *cell) {
    for (int32_t n = 0; n < cell->total; ++n) {
        cell->atom[n].flag = 0;
        cell->atom[n].value = 0.0;
        cell->atom[n].ignored = false;
    }
}

int velmar_cell_deform(VELMAR_CELL *cell, const double strain[3][3]) {
    if (cell == nullptr) {
        std::fputs("Error: VELMAR_CELL has not been properly initialized.\n", stderr);
        return 1;
    }
    double grow[3][3];
    velmar_matrix33_double_copy(grow, strain);
    for (int i = 0; i < 3; ++i) grow[i][i] += 1.0;
    velmar_matrix33_double_multiplication(cell->a, cell->a, grow);
    velmar_cell_update_lattice_fractional(cell);
    velmar_cell_update_coordinate_cartesion(cell);
    return 0;
}

bool velmar::detail::cell_parameters_proper(const double lengths[3], const double angles[3]) {
    for (int r = 0; r < 3; ++r) {
        if (!(lengths[r] >= kMinCellLength && lengths[r] <= kMaxCellLength)) return false;
        if (!(angles[r] > 0.0 && angles[r] < 180.0)) return false;
    }
    VELMAR_CELL cell{};
    for (int r = 0; r < 3; ++r) {
        cell.parameter[r] = lengths[r];
        cell.angle[r] = angles[r];
    }
    const double volume = velmar_cell_calculate_volume(&cell);
    return std::isfinite(volume) && volume > kMinVolumeRatio * lengths[0] * lengths[1] * lengths[2];
}

bool velmar::detail::lattice_vectors_proper(const double a[3][3]) {
    double product = 1.0;
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            if (!std::isfinite(a[r][c])) return false;
        }
        const double length = velmar_vector3_double_length(a[r]);
        if (!(length > 0.0) || !std::isfinite(length)) return false;
        product *= length;
    }
    const double volume = std::fabs(velmar_matrix33_double_determinant(a));
    return std::isfinite(product) && std::isfinite(volume) && volume > kMinVolumeRatio * product;
}
