// The site graph of a supercell: every vertex and edge repeated in each of s[0] x s[1] x s[2]
// cells, hops that leave a cell joined to the copy they reach, reverse edges linked afresh.
#ifndef VELMAR_SUPERGRAPH_H
#define VELMAR_SUPERGRAPH_H

#include "transport/velmar-graph.h"

// Copies are numbered cell-major: copy of vertex v in cell (c0, c1, c2) has index
// ((c0 s1 + c1) s2 + c2) total_v + v, and likewise for edges by their start vertex's cell. A copied
// edge's saddle point is placed in the cell where the hop crosses it (start cell plus bound_i,
// within the supercell), so that both directions of a hop share it. NULL on failure.
VELMAR_GRAPH *velmar_graph_new_supergraph(const VELMAR_GRAPH *graph, const int s[3]);

#endif  // VELMAR_SUPERGRAPH_H
