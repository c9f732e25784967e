// Closing a site graph under the structure's symmetry. The flow paths of a landscape on a grid
// find some of a crystal's equivalent sites and hops and miss others (on a hexagonal grid the
// discrete steepest descents join only some of the equivalent Li-Li hops), so the graph breaks
// the symmetry the crystal has, and so would every conductivity computed on it. Mapping every site
// and hop by every symmetry card and adding the images that are missing restores it; equivalent
// sites then share one energy, and equivalent saddle points one energy. Lengths in A, energies in
// eV.
#ifndef VELMAR_GRAPH_SYMMETRY_H
#define VELMAR_GRAPH_SYMMETRY_H

#include "structure/velmar-symmetry.h"
#include "transport/velmar-graph.h"

// A new graph: the sites and hops of graph with all their images under the cards, each site and
// saddle energy the mean over the members of its orbit that graph holds (occupancies are carried
// over, an image taking its source's). Sites are matched on the landscape grid (within one voxel,
// as the graph merges neighbouring minima); a hop is one per pair of sites and lattice translation
// (of parallel hops the lowest saddle is kept). Occupancies and labels are left for the caller to
// assign. The caller owns the result. NULL after an error line.
VELMAR_GRAPH *velmar_graph_new_symmetrized(const VELMAR_GRAPH *graph,
                                           const VELMAR_SYMMETRY *symmetry);

#endif  // VELMAR_GRAPH_SYMMETRY_H
