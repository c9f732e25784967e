// Percolation over the basin graph: Kruskal's order (hops by increasing saddle energy) through a
// union-find of sites that keeps each site's cell offset from its root, so that a hop inside one
// region reveals the translation of the loop it closes. It gives the same E_1, E_2, E_3 as the
// voxel sweep (a basin's voxels below a level descend to its minimum without leaving the level
// set), and for every site the level at which it first belongs to a region of each rank, which is
// what the site summary reports. Energies in eV. Whoever calls
// velmar_basin_percolation_calculate owns the result (velmar_basin_percolation_free).
#ifndef VELMAR_BASIN_PERCOLATION_H
#define VELMAR_BASIN_PERCOLATION_H

#include <cstdint>

#include "network/velmar-basin.h"

struct VELMAR_BASIN_PERCOLATION {
    bool found[3];           // found[d - 1]: some region reaches rank d
    double energy[3];        // E_d: the saddle of the hop that first gave rank d
    int64_t hop[3];          // that hop's index in the graph
    int rank[3];             // rank of that region's translations at E_d (d or more)
    int64_t basis[3][3][3];  // basis[d - 1]: its translations, Hermite normal form rows
    int32_t total_site;
    double (*join)[3];  // join[s][d - 1]: lowest saddle at which site s lies in a region of rank
                        // d or more; HUGE_VAL when it never does; owned
};

// Nothing found yet, every join level HUGE_VAL. NULL on failure.
VELMAR_BASIN_PERCOLATION *velmar_basin_percolation_new(int32_t total_site);
void velmar_basin_percolation_free(VELMAR_BASIN_PERCOLATION *percolation);
// The thresholds with their hops and translations, then one line per site, to stdout.
void velmar_basin_percolation_print(const VELMAR_BASIN_PERCOLATION *percolation);
// NULL after an error for a missing graph or when memory runs out.
VELMAR_BASIN_PERCOLATION *velmar_basin_percolation_calculate(const VELMAR_BASIN_GRAPH *graph);

#endif  // VELMAR_BASIN_PERCOLATION_H
