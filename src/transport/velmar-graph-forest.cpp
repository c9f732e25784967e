// Prim's algorithm on the site graph and the spanning-forest graph.
#include "transport/velmar-graph-forest.h"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <queue>
#include <utility>
#include <vector>

#include "core/velmar.h"

VELMAR_LIST *velmar_graph_list_prim_forest(VELMAR_GRAPH *graph) {
    if (graph == nullptr || (graph->total_v > 0 && graph->v == nullptr)) {
        std::fputs("Error: VELMAR_GRAPH has not been properly initialized.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_LIST, velmar_list_free_ref> chosen(velmar_list_new(nullptr));
    if (!chosen) {
        VELMAR_ERROR_NULL(velmar_list_new);
        return nullptr;
    }
    // Candidate edges by (barrier, index): the lightest first, the lowest index on ties.
    using Candidate = std::pair<double, long>;
    std::priority_queue<Candidate, std::vector<Candidate>, std::greater<>> candidates;
    std::vector<char> reached(static_cast<size_t>(graph->total_v), 0);
    const auto reach = [&](long v) {
        reached[v] = 1;
        graph->v[v].visited = true;
        for (int k = 0; k < graph->v[v].total_e; ++k) {
            const VELMAR_GRAPH_EDGE *e = graph->v[v].e[k];
            if (reached[e->v_f->index] == 0) candidates.emplace(e->barrier, e->index);
        }
    };
    for (long v = 0; v < graph->total_v; ++v) graph->v[v].visited = false;
    for (long root = 0; root < graph->total_v; ++root) {
        if (reached[root] != 0) continue;
        graph->v[root].v_b = nullptr;
        reach(root);
        while (!candidates.empty()) {
            VELMAR_GRAPH_EDGE *e = &graph->e[candidates.top().second];
            candidates.pop();
            if (reached[e->v_f->index] != 0) continue;
            if (velmar_list_append(chosen.get(), e) == nullptr) {
                std::fputs("Error: unable to append to VELMAR_LIST.\n", stderr);
                return nullptr;
            }
            e->v_f->v_b = e->v_i;
            reach(e->v_f->index);
        }
    }
    return chosen.release();
}

VELMAR_GRAPH *velmar_graph_new_subgraph_minimum_spanning_forest(VELMAR_GRAPH *graph) {
    if (graph == nullptr || (graph->total_v > 0 && graph->v == nullptr)) {
        std::fputs("Error: VELMAR_GRAPH has not been properly initialized.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_LIST, velmar_list_free_ref> list(velmar_graph_list_prim_forest(graph));
    if (!list) {
        VELMAR_ERROR_NULL(velmar_graph_list_prim_forest);
        return nullptr;
    }
    std::vector<VELMAR_GRAPH_EDGE *> chosen;
    for (VELMAR_LIST_NODE *node = list->head->next; node != list->tail; node = node->next) {
        if (node->data != nullptr) chosen.push_back(static_cast<VELMAR_GRAPH_EDGE *>(node->data));
    }
    velmar::Owned<VELMAR_GRAPH, velmar_graph_free> forest(
        velmar_graph_new(graph->total_v, static_cast<long>(chosen.size())));
    if (!forest) {
        VELMAR_ERROR_NULL(velmar_graph_new);
        return nullptr;
    }
    VELMAR_GRAPH_VERTEX *source_v = forest->v;  // keep the pointer: the header copy overwrites it
    VELMAR_GRAPH_EDGE *source_e = forest->e;
    *forest = *graph;
    forest->v = source_v;
    forest->e = source_e;
    forest->total_v = graph->total_v;
    forest->total_e = static_cast<long>(chosen.size());
    for (long k = 0; k < graph->total_v; ++k) {
        VELMAR_GRAPH_VERTEX &v = forest->v[k];
        v = graph->v[k];
        v.index = k;
        v.sub = &graph->v[k];
        v.total_e = 0;
        v.e = nullptr;
        v.v_b = nullptr;
        v.visited = false;
    }
    for (long k = 0; k < forest->total_e; ++k) {
        VELMAR_GRAPH_EDGE &e = forest->e[k];
        e = *chosen[k];
        e.index = k;
        e.sub = chosen[k];
        e.e_r = nullptr;
        e.v_i = &forest->v[chosen[k]->v_i->index];
        e.v_f = &forest->v[chosen[k]->v_f->index];
        auto *grown = static_cast<VELMAR_GRAPH_EDGE **>(
            std::realloc(e.v_i->e, sizeof(VELMAR_GRAPH_EDGE *) * (e.v_i->total_e + 1)));
        if (grown == nullptr) {
            std::fprintf(stderr, "Error: unable to allocate forest->v[%ld].e.\n", e.v_i->index);
            return nullptr;
        }
        e.v_i->e = grown;
        e.v_i->e[e.v_i->total_e++] = &e;
    }
    return forest.release();
}
