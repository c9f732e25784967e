// The conduction network of a landscape as files: the percolation thresholds as CSV, each
// percolating channel at its threshold as marker atoms of a CIF (minima Li, the bottleneck voxel
// Na, channel voxels H, thinned to a few thousand atoms), and the hops of the basin graph as CSV.
// Every text is built before the first file is written, so that bad input leaves no file behind,
// and each file appears under its name only when complete. Energies in eV, lengths in A.
#ifndef VELMAR_NETWORK_EXPORT_H
#define VELMAR_NETWORK_EXPORT_H

#include <cstdint>

#include "core/velmar-text.h"
#include "landscape/velmar-cube.h"
#include "network/velmar-basin.h"
#include "network/velmar-percolation.h"
#include "structure/velmar-cell.h"

// Most channel voxels and minima a marker CIF holds.
constexpr int64_t VELMAR_NETWORK_MARKER_VOXELS = 3000;
constexpr int64_t VELMAR_NETWORK_MARKER_MINIMA = 1000;

// "dimension,energy,barrier,directions,voxels" and one row per dimension ("none" where the
// landscape never percolates). CR LF line ends. NULL on failure.
VELMAR_TEXT *velmar_percolation_export_to_text(const VELMAR_PERCOLATION *percolation);
// One row per hop: sites (from 1), cell offset, saddle, barrier from each side, length and the
// fractional positions of both minima (to's across the offset). CR LF line ends. NULL on failure.
VELMAR_TEXT *velmar_basin_graph_export_hops_to_text(const VELMAR_BASIN_GRAPH *graph);
// The region of voxels of energy <= level->energy that holds level->bottleneck (face neighbours,
// periodic): the graph's minima in it ("MIN", Li), the bottleneck ("SAD", Na) and channel voxels
// ("PAT", H; the lowest of each block of s x s x s voxels, s the smallest that keeps their number
// within the limit). voxels (may be NULL) receives the region's size. NULL on failure or when the
// level was not found.
VELMAR_CELL *velmar_percolation_export_channel_to_cell(const VELMAR_CUBE *cube,
                                                       const VELMAR_PERCOLATION_LEVEL *level,
                                                       const VELMAR_BASIN_GRAPH *graph,
                                                       int64_t *voxels);
// The whole analysis of --gh: thresholds printed and written to "<name>.gh.csv", channels to
// "<name>.gh.1d.cif", ".gh.2d.cif", ".gh.3d.cif" (for the dimensions that percolate), hops to
// "<name>.gh.hops.csv". 0 on success.
int velmar_network_analyze_export_to_file(const VELMAR_CUBE *cube, const char *name);

#endif  // VELMAR_NETWORK_EXPORT_H
