// The lattice of cell translations that the loops of a connected region carry, kept as integer rows
// in Hermite normal form (pivots positive and increasing by column, entries above a pivot reduced
// into [0, pivot)), so that equal lattices have equal rows. Its rank (0 to 3) is the region's
// dimensionality. Shared by the voxel sweep, the basin-graph Kruskal and the site summary.
#ifndef VELMAR_LATTICE_H
#define VELMAR_LATTICE_H

#include <array>
#include <cstdint>
#include <string>

namespace velmar::detail {

struct TranslationLattice {
    int rank = 0;
    std::array<std::array<int64_t, 3>, 3> row{};  // the first `rank` rows span the lattice

    // Adds the translation t; true when the rank grew.
    bool add(const int64_t t[3]);
    // Adds every row of other.
    void merge(const TranslationLattice &other);
    // "[0 1 0]" for the rows in turn, separated by blanks; "" for rank 0.
    std::string text() const;
};

}  // namespace velmar::detail

#endif  // VELMAR_LATTICE_H
