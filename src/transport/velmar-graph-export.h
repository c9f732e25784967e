// The site graph written out: a Graphviz digraph (CR LF lines) and cells of marker atoms, sites as
// "Li" and saddle points as "Na" whatever the conducting ion, for a structure viewer.
#ifndef VELMAR_GRAPH_EXPORT_H
#define VELMAR_GRAPH_EXPORT_H

#include "core/velmar-text.h"
#include "structure/velmar-cell.h"
#include "transport/velmar-graph.h"

VELMAR_TEXT *velmar_graph_export_dot_to_text(const VELMAR_GRAPH *graph);
// Sites (occupancy occ, 0.001 when empty) then one saddle per edge pair. NULL on failure.
VELMAR_CELL *velmar_graph_export_to_cell(const VELMAR_GRAPH *graph);
// The sites alone.
VELMAR_CELL *velmar_graph_export_sites_to_cell(const VELMAR_GRAPH *graph);

#endif  // VELMAR_GRAPH_EXPORT_H
