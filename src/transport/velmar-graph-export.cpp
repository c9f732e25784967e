// Graphviz and cell exports of the site graph.
#include "transport/velmar-graph-export.h"

#include <cstdio>
#include <string>

#include "core/velmar-la.h"
#include "core/velmar.h"
#include "structure/velmar-cell-geometry.h"

namespace {

bool graph_ready(const VELMAR_GRAPH *graph) {
    if (graph != nullptr && (graph->total_v == 0 || graph->v != nullptr) &&
        (graph->total_e == 0 || graph->e != nullptr)) {
        return true;
    }
    std::fputs("Error: VELMAR_GRAPH has not been properly initialized.\n", stderr);
    return false;
}

void set_atom(VELMAR_ATOM &atom, const char *name, const char *type, const double x[3],
              double occ) {
    velmar::copy_text(atom.name, sizeof atom.name, name);
    velmar::copy_text(atom.type, sizeof atom.type, type);
    velmar_vector3_double_copy(atom.x, x);
    atom.occ = occ;
    atom.os = 1;
}

VELMAR_CELL *marker_cell(const VELMAR_GRAPH *graph, bool saddles) {
    if (!graph_ready(graph)) return nullptr;
    const long total = graph->total_v + (saddles ? graph->total_e / 2 : 0);
    velmar::Owned<VELMAR_CELL, velmar_cell_free> cell(velmar_cell_new(total));
    if (!cell) {
        VELMAR_ERROR_NULL(velmar_cell_new);
        return nullptr;
    }
    for (long v = 0; v < graph->total_v; ++v) {
        const VELMAR_GRAPH_VERTEX &vertex = graph->v[v];
        set_atom(cell->atom[v], vertex.name, "Li", vertex.x, vertex.occ > 0.0 ? vertex.occ : 0.001);
    }
    for (long e = 0; saddles && e < graph->total_e; e += 2) {
        set_atom(cell->atom[graph->total_v + e / 2], "SAD", "Na", graph->e[e].x, 1.0);
    }
    velmar_matrix33_double_copy(cell->a, graph->a);
    velmar_cell_update_fractional(cell.get());
    return cell.release();
}

}  // namespace

VELMAR_TEXT *velmar_graph_export_dot_to_text(const VELMAR_GRAPH *graph) {
    if (!graph_ready(graph)) return nullptr;
    std::string out = "digraph pathway {\r\n";
    char line[1024];
    for (long k = 0; k < graph->total_v; ++k) {
        const VELMAR_GRAPH_VERTEX &v = graph->v[k];
        std::snprintf(line, sizeof line,
                      "  %ld [label=\"%ld (%ld)\" shape=circle color=black];\r\n", k, k,
                      v.sub != nullptr ? v.sub->index : -1L);
        out += line;
    }
    for (long k = 0; k < graph->total_e; ++k) {
        const VELMAR_GRAPH_EDGE &e = graph->e[k];
        std::snprintf(line, sizeof line, "  %ld -> %ld [label=\"%ld (%ld)\" color=black];\r\n",
                      e.v_i->index, e.v_f->index, k, e.sub != nullptr ? e.sub->index : -1L);
        out += line;
    }
    out += "}\r\n";
    VELMAR_TEXT *text = velmar_text_new(out.c_str());
    if (text == nullptr) VELMAR_ERROR_NULL(velmar_text_new);
    return text;
}

VELMAR_CELL *velmar_graph_export_to_cell(const VELMAR_GRAPH *graph) {
    return marker_cell(graph, true);
}

VELMAR_CELL *velmar_graph_export_sites_to_cell(const VELMAR_GRAPH *graph) {
    return marker_cell(graph, false);
}
