// Supercell graphs.
#include "transport/velmar-supergraph.h"

#include <cstdio>
#include <cstdlib>

#include "core/velmar-la.h"
#include "core/velmar.h"

namespace {

// Floor quotient and non-negative remainder.
int floor_div(int x, int d) { return x >= 0 ? x / d : -((-x + d - 1) / d); }
int floor_mod(int x, int d) { return x - floor_div(x, d) * d; }

}  // namespace

VELMAR_GRAPH *velmar_graph_new_supergraph(const VELMAR_GRAPH *graph, const int s[3]) {
    if (s[0] < 1 || s[1] < 1 || s[2] < 1) {
        std::fputs("Error: supercell vector must be positive.\n", stderr);
        return nullptr;
    }
    if (graph == nullptr || (graph->total_v > 0 && graph->v == nullptr) ||
        (graph->total_e > 0 && graph->e == nullptr)) {
        std::fputs("Error: VELMAR_GRAPH has not been properly initialized.\n", stderr);
        return nullptr;
    }
    const long cells = static_cast<long>(s[0]) * s[1] * s[2];
    const long nv = graph->total_v;
    const long ne = graph->total_e;
    velmar::Owned<VELMAR_GRAPH, velmar_graph_free> super(velmar_graph_new(nv * cells, ne * cells));
    if (!super) {
        VELMAR_ERROR_NULL(velmar_graph_new);
        return nullptr;
    }
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) super->a[r][c] = graph->a[r][c] * s[r];
        super->n[r] = graph->n[r] * s[r];
    }
    velmar_matrix33_double_copy(super->a_i, graph->a_i);
    super->volume = graph->volume * static_cast<double>(cells);
    super->total_occ = graph->total_occ * static_cast<double>(cells);
    velmar::copy_text(super->type, sizeof super->type, graph->type);
    super->os = graph->os;
    super->m = graph->m;
    super->c = graph->c;

    const auto cell_of = [s](long c, int p[3]) {
        p[2] = static_cast<int>(c % s[2]);
        p[1] = static_cast<int>((c / s[2]) % s[1]);
        p[0] = static_cast<int>(c / (static_cast<long>(s[1]) * s[2]));
    };
    const auto cell_index = [s](const int p[3]) {
        return (static_cast<long>(p[0]) * s[1] + p[1]) * s[2] + p[2];
    };
    for (long c = 0; c < cells; ++c) {
        int p[3];
        cell_of(c, p);
        for (long k = 0; k < nv; ++k) {
            const VELMAR_GRAPH_VERTEX &from = graph->v[k];
            VELMAR_GRAPH_VERTEX &v = super->v[c * nv + k];
            v = from;
            v.index = c * nv + k;
            v.sub = const_cast<VELMAR_GRAPH_VERTEX *>(&from);
            v.total_e = 0;
            v.e = nullptr;
            v.v_b = nullptr;
            v.visited = false;
            for (int r = 0; r < 3; ++r) {
                v.x[r] = from.x[r] + p[0] * graph->a[0][r] + p[1] * graph->a[1][r] +
                         p[2] * graph->a[2][r];
                v.x_i[r] = from.x_i[r] + p[r] * graph->n[r];
            }
        }
    }
    for (long c = 0; c < cells; ++c) {
        int p[3];
        cell_of(c, p);
        for (long k = 0; k < ne; ++k) {
            const VELMAR_GRAPH_EDGE &from = graph->e[k];
            VELMAR_GRAPH_EDGE &e = super->e[c * ne + k];
            e = from;
            e.index = c * ne + k;
            e.sub = const_cast<VELMAR_GRAPH_EDGE *>(&from);
            int q[3];
            int saddle[3];
            for (int r = 0; r < 3; ++r) {
                q[r] = floor_mod(p[r] + from.bound[r], s[r]);
                saddle[r] = floor_mod(p[r] + from.bound_i[r], s[r]);
                e.bound[r] = floor_div(p[r] + from.bound[r], s[r]);
                e.bound_i[r] = floor_div(p[r] + from.bound_i[r], s[r]);
                e.bound_f[r] = floor_div(saddle[r] + from.bound_f[r], s[r]);

                e.x_i[r] = from.x_i[r] + saddle[r] * graph->n[r];
            }
            // The saddle point stands in the cell the hop reaches it in, so an edge and its
            // reverse share one position.
            for (int r = 0; r < 3; ++r) {
                e.x[r] = from.x[r] + saddle[0] * graph->a[0][r] + saddle[1] * graph->a[1][r] +
                         saddle[2] * graph->a[2][r];
            }
            e.v_i = &super->v[c * nv + from.v_i->index];
            e.v_f = &super->v[cell_index(q) * nv + from.v_f->index];
            VELMAR_GRAPH_VERTEX *start = e.v_i;
            auto *grown = static_cast<VELMAR_GRAPH_EDGE **>(
                std::realloc(start->e, sizeof(VELMAR_GRAPH_EDGE *) * (start->total_e + 1)));
            if (grown == nullptr) {
                std::fprintf(stderr, "Error: unable to allocate edge for vertex %ld.\n",
                             start->index);
                return nullptr;
            }
            start->e = grown;
            start->e[start->total_e++] = &e;
            if (start->e[start->total_e - 1]->index != e.index) {
                std::fprintf(stderr, "Error: mismatch when assigning e[%ld] to v_i[%ld].e[%d]\n",
                             e.index, start->index, start->total_e - 1);
                return nullptr;
            }
        }
    }
    // The reverse of a copy is the copy of the source reverse that starts in the cell this one
    // reaches.
    for (long k = 0; k < ne * cells; ++k) {
        VELMAR_GRAPH_EDGE &e = super->e[k];
        const long end_cell = e.v_f->index / nv;
        VELMAR_GRAPH_EDGE *r =
            e.sub->e_r != nullptr ? &super->e[end_cell * ne + e.sub->e_r->index] : nullptr;
        if (r == nullptr || r->v_i != e.v_f || r->v_f != e.v_i) {
            std::fputs("Error: failed to link e_r.\n", stderr);
            return nullptr;
        }
        for (int c = 0; c < 3; ++c) {
            if (r->bound[c] != -e.bound[c]) {
                std::fprintf(stderr, "Error: mismatch in e[].bound %ld <-> %ld.\n", e.index,
                             r->index);
                return nullptr;
            }
        }
        e.e_r = r;
    }
    return super.release();
}
