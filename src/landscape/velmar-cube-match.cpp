// Whether a landscape belongs to a structure.
#include "landscape/velmar-cube-match.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "core/velmar-la.h"
#include "core/velmar.h"

namespace {

struct Parameters {
    double length[3];
    double angle[3];
};

Parameters parameters(const double a[3][3]) {
    Parameters p{};
    for (int r = 0; r < 3; ++r) p.length[r] = std::sqrt(velmar_vector3_double_dot(a[r], a[r]));
    for (int r = 0; r < 3; ++r) {
        const int s = (r + 1) % 3;
        const int t = (r + 2) % 3;
        const double c = velmar_vector3_double_dot(a[s], a[t]) / (p.length[s] * p.length[t]);
        p.angle[r] = std::acos(std::clamp(c, -1.0, 1.0)) / VELMAR_DEG_TO_RAD;
    }
    return p;
}

}  // namespace

double velmar_cube_lattice_difference(const VELMAR_CUBE *cube, const VELMAR_CELL *cell) {
    double worst = 0.0;
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            worst = std::max(worst, std::fabs(cube->a[r][c] - cell->a[r][c]));
    return std::isfinite(worst) ? worst : HUGE_VAL;
}

int velmar_cube_check_lattice(const VELMAR_CUBE *cube, const VELMAR_CELL *cell,
                              const char *cube_name, const char *cell_name) {
    if (cube == nullptr || cell == nullptr) {
        std::fputs("Error: VELMAR_CUBE or VELMAR_CELL has not been properly initialized.\n",
                   stderr);
        return 1;
    }
    if (velmar_cube_lattice_difference(cube, cell) <= VELMAR_CUBE_LATTICE_TOLERANCE) return 0;
    const Parameters pc = parameters(cube->a);
    const Parameters ps = parameters(cell->a);
    std::fprintf(stderr,
                 "Error: the landscape %s does not belong to the structure %s: its cell is "
                 "%.4f %.4f %.4f A, %.3f %.3f %.3f deg, the structure's %.4f %.4f %.4f A, %.3f "
                 "%.3f %.3f deg.\n",
                 cube_name, cell_name, pc.length[0], pc.length[1], pc.length[2], pc.angle[0],
                 pc.angle[1], pc.angle[2], ps.length[0], ps.length[1], ps.length[2], ps.angle[0],
                 ps.angle[1], ps.angle[2]);
    // The usual cause: the landscape written for a structure whose conducting sites are partly
    // occupied, which is computed on a supercell with those sites resolved.
    int multiple[3] = {0, 0, 0};
    bool supercell = true;
    for (int r = 0; r < 3 && supercell; ++r) {
        const double ratio = pc.length[r] / ps.length[r];
        multiple[r] = static_cast<int>(std::lround(ratio));
        supercell = multiple[r] >= 1 && std::fabs(ratio - multiple[r]) < 1e-3 * ratio &&
                    std::fabs(pc.angle[r] - ps.angle[r]) < 0.01;
    }
    if (supercell) {
        std::fprintf(stderr,
                     "Error: %s spans a %d x %d x %d supercell of %s, as the landscape of a "
                     "structure with partly occupied conducting sites does; the landscape leaves "
                     "the conducting ions out, so compute it on a copy of %s whose conducting "
                     "sites have occupancy 1.\n",
                     cube_name, multiple[0], multiple[1], multiple[2], cell_name, cell_name);
    }
    return 1;
}
