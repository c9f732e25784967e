// Space-group search through spglib.
#include "structure/velmar-spacegroup.h"

#include <spglib.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "core/velmar.h"

namespace {

struct DatasetFree {
    void operator()(SpglibDataset *d) const noexcept { spg_free_dataset(d); }
};
using Dataset = std::unique_ptr<SpglibDataset, DatasetFree>;

// spglib's analysis of the cell (NULL when it finds no group); species are element, oxidation
// state and occupancy.
Dataset dataset_of(const VELMAR_CELL *cell, double symprec) {
    // spglib wants the lattice vectors as columns.
    double lattice[3][3];
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) lattice[i][j] = cell->a[j][i];
    }
    std::vector<double> positions(static_cast<size_t>(cell->total) * 3);
    std::vector<int> types(static_cast<size_t>(cell->total));
    std::map<std::tuple<std::string, int, long>, int> species;
    for (int32_t n = 0; n < cell->total; ++n) {
        const VELMAR_ATOM &a = cell->atom[n];
        for (int r = 0; r < 3; ++r) positions[3 * n + r] = a.x_f[r];
        const auto key = std::make_tuple(std::string(a.type), a.os, std::lround(a.occ * 50.0));
        const auto it = species.emplace(key, static_cast<int>(species.size()) + 1).first;
        types[n] = it->second;
    }
    Dataset dataset(spg_get_dataset(lattice, reinterpret_cast<double(*)[3]>(positions.data()),
                                    types.data(), cell->total, symprec));
    if (dataset != nullptr && dataset->spacegroup_number == 0) dataset.reset();
    return dataset;
}

}  // namespace

int velmar::detail::space_group_number(const VELMAR_CELL *cell, double symprec, int &operations) {
    operations = 0;
    if (cell == nullptr || cell->total < 1 || cell->atom == nullptr) return 0;
    const Dataset dataset = dataset_of(cell, symprec);
    if (!dataset) return 0;
    operations = dataset->n_operations;
    return dataset->spacegroup_number;
}

VELMAR_SYMMETRY *velmar_symmetry_calculate_from_cell(const VELMAR_CELL *cell, double symprec) {
    if (cell == nullptr || cell->total < 1 || cell->atom == nullptr) {
        std::fputs("Error: VELMAR_CELL has not been properly initialized.\n", stderr);
        return nullptr;
    }
    const Dataset dataset = dataset_of(cell, symprec);
    if (!dataset) {
        std::fprintf(stderr, "Error: no space group found: %s.\n",
                     spg_get_error_message(spg_get_error_code()));
        return nullptr;
    }
    velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free> symmetry(
        velmar_symmetry_new(dataset->n_operations));
    if (!symmetry) {
        VELMAR_ERROR_NULL(velmar_symmetry_new);
        return nullptr;
    }
    const SpglibSpacegroupType type = spg_get_spacegroup_type(dataset->hall_number);
    symmetry->sg_id = dataset->spacegroup_number;
    velmar::copy_text(symmetry->sg_HM, sizeof symmetry->sg_HM,
                      type.number != 0 ? type.international : dataset->international_symbol);
    velmar::copy_text(symmetry->sg_Hall, sizeof symmetry->sg_Hall, dataset->hall_symbol);
    for (int k = 0; k < dataset->n_operations; ++k) {
        VELMAR_CARD &card = symmetry->card[k];
        for (int i = 0; i < 3; ++i) {
            for (int j = 0; j < 3; ++j) card.r_f[i][j] = dataset->rotations[k][i][j];
            const double t = dataset->translations[k][i];
            card.t_f[i] = std::fabs(t - std::round(t)) < 1e-8 ? 0.0 : t - std::floor(t);
        }
        velmar_card_text_from_matrix(card.text, card.r_f, card.t_f);
    }
    return symmetry.release();
}
