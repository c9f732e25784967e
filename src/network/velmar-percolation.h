// Percolation thresholds of a landscape: the lowest energy E_d at which the voxels of energy <=
// E_d, joined across shared faces (periodically), hold a connected region whose loops carry lattice
// translations of rank d (1: a channel, 2: a layer, 3: a network), for d = 1, 2, 3. Found exactly
// (E_d is a voxel value) by one sweep of the voxels in increasing energy with a union-find that
// keeps each voxel's cell offset from its region's root. Voxels without a finite value or at the
// landscapes' cap (999.9) are impassable. Energies in the landscape's unit (eV). Whoever calls
// velmar_percolation_calculate owns the result and frees it with velmar_percolation_free.
#ifndef VELMAR_PERCOLATION_H
#define VELMAR_PERCOLATION_H

#include <cstdint>

#include "landscape/velmar-cube.h"

// The landscapes' cap: a value at or above it marks a voxel the ion cannot enter.
constexpr double VELMAR_NETWORK_CAP = 999.9;
// A landscape whose passable values span less than this (eV; the cube file's last printed digit)
// is flat and has no barriers to report.
constexpr double VELMAR_NETWORK_FLAT = 1e-6;

struct VELMAR_PERCOLATION_LEVEL {
    bool found;      // false when the passable voxels never percolate in this dimension
    double energy;   // E_d
    double barrier;  // E_d - e_min
    int64_t
        bottleneck;  // the voxel (i n1 + j) n2 + k whose energy is E_d and that closed the region
    int64_t voxels;  // voxels of that region at E_d (all voxels of energy <= E_d in it)
    int rank;        // rank of its translations at E_d, d or more when several come at once
    int64_t basis[3][3];  // its translations, the first `rank` rows, in Hermite normal form
};

struct VELMAR_PERCOLATION {
    int32_t n[3];                       // the landscape's grid
    double e_min;                       // lowest passable value
    double e_max;                       // highest passable value
    int64_t passable;                   // voxels with a finite value below the cap
    VELMAR_PERCOLATION_LEVEL level[3];  // level[d - 1]: percolation in d dimensions
};

VELMAR_PERCOLATION *velmar_percolation_new();
void velmar_percolation_free(VELMAR_PERCOLATION *percolation);
// The thresholds, barriers, region sizes and translations, one line per dimension, to stdout.
void velmar_percolation_print(const VELMAR_PERCOLATION *percolation);
// The translations of a level as "[0 1 0] [0 0 1]" into text (size chars); "" when not found.
void velmar_percolation_directions(char *text, int size, const VELMAR_PERCOLATION_LEVEL *level);

// 0 when the cube has passable voxels whose values differ by at least VELMAR_NETWORK_FLAT (their
// range in e_min, e_max, either may be NULL); otherwise 1 after an error saying which: no finite
// value, every voxel at the cap, or flat. Warns (stdout) of voxels without a finite value.
int velmar_percolation_check_landscape(const VELMAR_CUBE *cube, double *e_min, double *e_max);
// The sweep. NULL, after an error naming the cause, for a cube without values, one with no
// passable voxel, a flat landscape, or when memory runs out. Runs in O(N log N) for N voxels with
// about 6 bytes a voxel beside the cube; the result does not depend on the number of threads.
VELMAR_PERCOLATION *velmar_percolation_calculate(const VELMAR_CUBE *cube);

#endif  // VELMAR_PERCOLATION_H
