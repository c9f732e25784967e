// Straightforward reference versions of the fast algorithms, used as test oracles and as the
// baseline of the benchmarks: they follow the definitions directly, without spatial hashing or
// neighbour lists.
#ifndef VELMAR_TEST_ORACLES_H
#define VELMAR_TEST_ORACLES_H

#include <cmath>
#include <cstring>
#include <vector>

#include "velmar-cell.h"
#include "velmar-symmetry.h"

namespace velmar_oracle {

// Site flags: every card applied to every unflagged atom and its image compared with every atom.
inline std::vector<int32_t> flags_by_pairs(const VELMAR_CELL &cell,
                                           const VELMAR_SYMMETRY &symmetry) {
    std::vector<int32_t> flag(static_cast<size_t>(cell.total), 0);
    int32_t site = 0;
    const auto frac = [](double x) { return x - std::floor(x); };
    for (int32_t i = 0; i < cell.total; ++i) {
        if (flag[i] != 0) continue;
        flag[i] = ++site;
        const VELMAR_ATOM &a = cell.atom[i];
        for (int c = 0; c < symmetry.total; ++c) {
            const VELMAR_CARD &card = symmetry.card[c];
            double image[3];
            for (int r = 0; r < 3; ++r) {
                image[r] = frac(card.r_f[r][0] * a.x_f[0] + card.r_f[r][1] * a.x_f[1] +
                                card.r_f[r][2] * a.x_f[2] + card.t_f[r]);
            }
            for (int32_t j = 0; j < cell.total; ++j) {
                const VELMAR_ATOM &b = cell.atom[j];
                if (flag[j] != 0 || b.os != a.os || std::strcmp(a.type, b.type) != 0 ||
                    std::fabs(a.occ - b.occ) >= 0.02) {
                    continue;
                }
                bool same = true;
                for (int r = 0; r < 3; ++r) {
                    const double d = std::fabs(image[r] - frac(b.x_f[r]));
                    same = same && (d < 0.005 || 1.0 - d < 0.005);
                }
                if (same) flag[j] = site;
            }
        }
    }
    return flag;
}

}  // namespace velmar_oracle

#endif  // VELMAR_TEST_ORACLES_H
