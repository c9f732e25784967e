// The neighbour list of the molecular dynamics: for each mobile atom, every atom and lattice image
// within 12 A plus a skin, found by the image loops of the plain sums and kept as an offset in the
// frame of the unwrapped positions (the moving atoms' own trajectories, the fixed atoms' places),
// so that a pair stays the same pair when an atom is wrapped back into the cell. The list is
// rebuilt when a mobile atom has moved more than half the skin since the last build.
#ifndef VELMAR_MD_PAIRS_H
#define VELMAR_MD_PAIRS_H

#include <array>
#include <cstdint>
#include <vector>

#include "transport/velmar-md.h"

namespace velmar::detail {

struct MdPairs {
    struct Entry {
        int32_t partner;
        double
            offset[3];  // partner's image = its unwrapped position + offset, seen from the atom's
    };

    // Species of every atom and the mobile atoms; false when an atom's species is not in the table.
    bool setup(const VELMAR_MD &md);
    void build(const VELMAR_MD &md);
    // Builds the list when it is missing or stale.
    void refresh(const VELMAR_MD &md);
    // The unwrapped position of atom a.
    void position(const VELMAR_MD &md, int32_t a, double p[3]) const;

    std::vector<int> species;     // per atom, index in the parameter table
    std::vector<int32_t> mobile;  // atoms not ignored, in order
    std::vector<long> start;      // per mobile atom, its first entry
    std::vector<Entry> entries;
    std::vector<std::array<double, 3>> anchor;  // positions of the mobile atoms at the last build
    bool built = false;
};

}  // namespace velmar::detail

#endif  // VELMAR_MD_PAIRS_H
