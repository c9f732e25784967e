// The basin graph of a landscape: every passable voxel descends over its six face neighbours (to
// the lowest, in the order energy then index) until it reaches a voxel with no lower neighbour, a
// local minimum; the voxels that reach one minimum are its basin, and each basin is a site. Two
// basins that share a face make a hop, one per cell offset between their minima (a basin that
// touches its own periodic image hops to it); the hop's saddle energy is the lowest, over those
// shared faces, of the larger of the two voxel energies. Two basins that meet at the higher one's
// own minimum energy are one site (a plateau that the index order alone kept from flowing on).
// Impassable voxels (non-finite or at the cap) belong to no basin and make no hop. Lengths in A,
// energies in the landscape's unit (eV). Whoever calls velmar_basin_graph_new_from_cube owns the
// graph (velmar_basin_graph_free).
#ifndef VELMAR_BASIN_H
#define VELMAR_BASIN_H

#include <cstdint>

#include "landscape/velmar-cube.h"

struct VELMAR_BASIN_SITE {
    int64_t voxel;   // the minimum, (i n1 + j) n2 + k
    int32_t x_i[3];  // its grid indices
    double x[3];     // its cartesian position
    double en;       // its energy
};

struct VELMAR_BASIN_HOP {
    int32_t from;       // the lower-numbered site
    int32_t to;         // the other site (from itself for a hop to its own image)
    int32_t offset[3];  // cell of to's minimum relative to from's; a self-hop's first non-zero > 0
    double saddle;      // saddle energy
    int64_t voxel;      // the voxel holding it: the higher of the lowest shared face pair
    double length;      // from's minimum to to's, across the offset
};

struct VELMAR_BASIN_GRAPH {
    int32_t n[3];             // the landscape's grid
    double a[3][3];           // lattice vectors, rows, A
    double a_i[3][3];         // voxel steps, rows, A
    int32_t total_site;       // sites in order of their minimum's voxel index
    VELMAR_BASIN_SITE *site;  // owned
    int64_t total_hop;        // hops ordered by from, to, offset
    VELMAR_BASIN_HOP *hop;    // owned
    int32_t *label;           // per voxel its site, -1 when impassable; owned, NULL unless kept
};

VELMAR_BASIN_GRAPH *velmar_basin_graph_new(int32_t total_site, int64_t total_hop);
void velmar_basin_graph_free(VELMAR_BASIN_GRAPH *graph);
// Counts, then one line per site and per hop, to stdout.
void velmar_basin_graph_print(const VELMAR_BASIN_GRAPH *graph);
// The graph of a cube; keep_labels keeps the voxels' site numbers (4 bytes a voxel). NULL after an
// error for a cube without values, without a passable voxel, or when memory runs out. Needs about
// 6 bytes a voxel while it works; the result does not depend on the number of threads.
VELMAR_BASIN_GRAPH *velmar_basin_graph_new_from_cube(const VELMAR_CUBE *cube, bool keep_labels);

#endif  // VELMAR_BASIN_H
