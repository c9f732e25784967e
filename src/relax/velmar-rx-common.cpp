// Shared pieces of the relaxation commands: fixed atoms, parameter table, energy and forces at
// given positions, minimum-image displacements, CIF output with the fixed column.
#include "relax/velmar-rx-common.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "core/velmar-la.h"
#include "core/velmar-solver.h"
#include "core/velmar-text.h"
#include "model/velmar-total-energy.h"
#include "structure/velmar-cell-geometry.h"
#include "structure/velmar-cif-writer.h"
#include "structure/velmar-cif.h"
#include "structure/velmar-symmetry.h"

namespace velmar::rx {

namespace {

constexpr const char *kFixedTag = "_atom_site_velmar_fixed";
// The last tag of the writer's atom-site loop; the atom rows follow it, one per atom.
constexpr const char *kLastSiteTag = "_atom_site_occupancy\n";

// "data_" block name: the file name without its directory and its final ".cif".
// The writer's text with the fixed column added to the atom-site loop; empty when the text does
// not have the layout expected (one row per atom after the loop's last tag, to the end).
std::string with_fixed_column(const std::string &text, const VELMAR_CELL &cell) {
    const size_t tags_end = text.find(kLastSiteTag);
    if (tags_end == std::string::npos) return {};
    size_t at = tags_end + std::strlen(kLastSiteTag);
    std::string out = text.substr(0, at) + kFixedTag + "\n";
    for (int32_t n = 0; n < cell.total; ++n) {
        const size_t end = text.find('\n', at);
        if (end == std::string::npos) return {};
        out.append(text, at, end - at);
        out += cell.atom[n].ignored ? " T\n" : " F\n";
        at = end + 1;
    }
    return at == text.size() ? out : std::string();
}

}  // namespace

bool read_fixed(VELMAR_CELL *cell, const char *cif) {
    Owned<VELMAR_TEXT, velmar_text_free> text(velmar_text_import_from_file(cif));
    if (!text) {
        VELMAR_ERROR_NULL(velmar_text_import_from_file);
        return false;
    }
    for (int32_t n = 0; n < cell->total; ++n) cell->atom[n].ignored = false;
    if (std::strstr(text->content, kFixedTag) == nullptr) return true;
    if (velmar_cell_import_cif_read_constraint(cell, cif) != 0) {
        VELMAR_ERROR_NONZERO(velmar_cell_import_cif_read_constraint);
        return false;
    }
    return true;
}

int32_t movable_count(const VELMAR_CELL &cell) {
    int32_t count = 0;
    for (int32_t n = 0; n < cell.total; ++n) count += cell.atom[n].ignored ? 0 : 1;
    return count;
}

void warn_partial_occupancy(const VELMAR_CELL &cell) {
    constexpr double kWhole = 0.999;
    for (int32_t n = 0; n < cell.total; ++n) {
        if (cell.atom[n].occ < kWhole) {
            std::printf(
                "Warning: partially occupied sites (%s, occupancy %.3f) move as fractional atoms "
                "of the energy model.\n",
                cell.atom[n].name, cell.atom[n].occ);
            return;
        }
    }
}

VELMAR_PROPERTY *table_for(const VELMAR_CELL &cell, double sf, const char *dir_unitary,
                           const char *dir_binary) {
    Owned<VELMAR_CELL, velmar_cell_free> copy(velmar_cell_copy(&cell));
    if (!copy) {
        VELMAR_ERROR_NULL(velmar_cell_copy);
        return nullptr;
    }
    for (int32_t n = 0; n < copy->total; ++n) copy->atom[n].ignored = false;
    VELMAR_PROPERTY *ppt =
        velmar_property_import_from_cell(copy.get(), nullptr, 0, sf, dir_unitary, dir_binary);
    if (ppt == nullptr) {
        VELMAR_ERROR_NULL(velmar_property_import_from_cell);
        return nullptr;
    }
    return ppt;
}

void minimum_image(double d[3], const VELMAR_CELL &cell) {
    double transposed[3][3];
    velmar_matrix33_double_copy(transposed, cell.a);
    velmar_matrix33_double_transpose(transposed);
    // Rows of the inverse lattice: b_k . a_j = 1 when k = j, else 0.
    double b[3][3];
    for (int j = 0; j < 3; ++j) {
        double unit[3] = {0.0, 0.0, 0.0};
        unit[j] = 1.0;
        double column[3];
        velmar_matrix33_double_linearsolver(column, transposed, unit);
        for (int k = 0; k < 3; ++k) b[k][j] = column[k];
    }
    double f[3];
    for (int k = 0; k < 3; ++k) {
        f[k] = velmar_vector3_double_dot(b[k], d);
        f[k] -= std::round(f[k]);
    }
    double best[3];
    velmar_vector3_double_sum3(best, f[0], cell.a[0], f[1], cell.a[1], f[2], cell.a[2]);
    // Rounding the fractional components gives the shortest image of an orthogonal cell; in an
    // oblique one a shorter image v has |b_k . v| <= |b_k| |v| <= |b_k| |best| along each axis,
    // which bounds the search.
    const double reach = velmar_vector3_double_length(best);
    int lo[3];
    int hi[3];
    for (int k = 0; k < 3; ++k) {
        const double span = reach * velmar_vector3_double_length(b[k]);
        lo[k] = static_cast<int>(std::ceil(-span - f[k]));
        hi[k] = static_cast<int>(std::floor(span - f[k]));
    }
    double best_length = reach;
    for (int i = lo[0]; i <= hi[0]; ++i) {
        for (int j = lo[1]; j <= hi[1]; ++j) {
            for (int k = lo[2]; k <= hi[2]; ++k) {
                double v[3];
                velmar_vector3_double_sum3(v, f[0] + i, cell.a[0], f[1] + j, cell.a[1], f[2] + k,
                                           cell.a[2]);
                const double length = velmar_vector3_double_length(v);
                if (length < best_length - 1e-12) {
                    best_length = length;
                    velmar_vector3_double_copy(best, v);
                }
            }
        }
    }
    velmar_vector3_double_copy(d, best);
}

bool Evaluator::init(const VELMAR_CELL &cell, const VELMAR_PROPERTY *ppt) {
    cell_.reset(velmar_cell_copy(&cell));
    if (!cell_) {
        VELMAR_ERROR_NULL(velmar_cell_copy);
        return false;
    }
    ppt_ = ppt;
    atoms_ = cell.total;
    return true;
}

void Evaluator::place(const double (*x)[3]) {
    for (int32_t n = 0; n < atoms_; ++n) velmar_vector3_double_copy(cell_->atom[n].x, x[n]);
    velmar_cell_update_coordinate_fractional(cell_.get());
    velmar_cell_bound_fractional(cell_.get());
    velmar_cell_update_coordinate_cartesion(cell_.get());
}

bool Evaluator::energy(const double (*x)[3], double &energy) {
    place(x);
    // The model's total energy leaves out the pairs of two ignored atoms and counts a pair of an
    // ignored and a free atom once; the structure's energy counts every pair, so every flag is
    // lifted for the sum and set again after it.
    std::vector<char> fixed(static_cast<size_t>(atoms_));
    for (int32_t n = 0; n < atoms_; ++n) {
        fixed[n] = static_cast<char>(cell_->atom[n].ignored);
        cell_->atom[n].ignored = false;
    }
    energy = velmar_cell_calculate_total_energy(cell_.get(), ppt_);
    for (int32_t n = 0; n < atoms_; ++n) cell_->atom[n].ignored = fixed[n] != 0;
    if (!std::isfinite(energy)) {
        std::fputs("Error: the energy of the structure is not a finite number.\n", stderr);
        return false;
    }
    return true;
}

bool Evaluator::evaluate(const double (*x)[3], double &energy_out, double (*force)[3]) {
    place(x);
    // The forces fail for exactly the reasons the energy would (a species missing from the table,
    // a cell too small for the reach), so a successful force call makes an energy of 0 genuine.
    if (velmar_cell_calculate_force(force, cell_.get(), ppt_) != 0) {
        VELMAR_ERROR_NONZERO(velmar_cell_calculate_force);
        return false;
    }
    for (int32_t n = 0; n < atoms_; ++n) {
        for (int c = 0; c < 3; ++c) force[n][c] *= kForceToEv;
    }
    return energy(x, energy_out);
}

int export_cif(const VELMAR_CELL &cell, const char *filename) {
    Owned<VELMAR_CELL, velmar_cell_free> copy(velmar_cell_copy(&cell));
    if (!copy) {
        VELMAR_ERROR_NULL(velmar_cell_copy);
        return 1;
    }
    velmar_cell_update_coordinate_fractional(copy.get());
    velmar_cell_bound_fractional(copy.get());
    velmar_cell_update_coordinate_cartesion(copy.get());
    Owned<VELMAR_SYMMETRY, velmar_symmetry_free> p1(velmar_symmetry_new_p1());
    if (!p1) {
        VELMAR_ERROR_NULL(velmar_symmetry_new_p1);
        return 1;
    }
    Owned<VELMAR_TEXT, velmar_text_free> text(velmar_cell_export_cif_to_text(
        copy.get(), p1.get(), 0, velmar::detail::cif_block_name(filename).c_str()));
    if (!text) {
        VELMAR_ERROR_NULL(velmar_cell_export_cif_to_text);
        return 1;
    }
    if (movable_count(*copy) < copy->total) {
        const std::string marked = with_fixed_column(text->content, *copy);
        if (marked.empty()) {
            std::fputs("Error: unable to add the fixed column to the CIF text.\n", stderr);
            return 1;
        }
        text.reset(velmar_text_new(marked.c_str()));
        if (!text) {
            VELMAR_ERROR_NULL(velmar_text_new);
            return 1;
        }
    }
    if (velmar_text_export_to_file(text.get(), filename) != 0) {
        VELMAR_ERROR_NONZERO(velmar_text_export_to_file);
        return 1;
    }
    return 0;
}

std::string largest_force_text(double force) {
    char text[48];
    std::snprintf(text, sizeof text, "largest force %.4f eV/A", force);
    return text;
}

}  // namespace velmar::rx
