// Minimum spanning forests of a site graph: Prim's algorithm with the edge barriers as weights,
// one tree per connected part, and the graph that keeps only the chosen edges.
#ifndef VELMAR_GRAPH_FOREST_H
#define VELMAR_GRAPH_FOREST_H

#include "core/velmar-list.h"
#include "transport/velmar-graph.h"

// The edges of the forest (pointers into graph) in the order chosen. Each tree starts from the
// lowest-index vertex not yet reached; from the reached vertices the edge of lowest barrier (then
// lowest index) to an unreached vertex is taken next. The list refers to the edges, it does not own
// them. NULL on failure.
VELMAR_LIST *velmar_graph_list_prim_forest(VELMAR_GRAPH *graph);
// A graph with every vertex of graph and the forest's edges; its records point (sub) at those of
// graph, which must outlive it. NULL on failure.
VELMAR_GRAPH *velmar_graph_new_subgraph_minimum_spanning_forest(VELMAR_GRAPH *graph);

#endif  // VELMAR_GRAPH_FOREST_H
