// The site graph: records, periodic point operations, construction from the flow paths, and the
// occupancy and label assignment from the structure.
#include "transport/velmar-graph.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "analysis/velmar-fftdot.h"
#include "core/velmar-la.h"
#include "core/velmar-solver.h"
#include "core/velmar.h"
#include "landscape/velmar-cube-curvature.h"
#include "structure/velmar-cell-geometry.h"

namespace {

using GraphPtr = velmar::Owned<VELMAR_GRAPH, velmar_graph_free>;

// Calls fn(image) for the 27 images of x by -1, 0, 1 lattice translations, (0, 0, 0) first.
template <class Fn>
void for_each_image(const double x[3], const double a[3][3], Fn fn) {
    fn(x);
    for (int i = -1; i <= 1; ++i) {
        for (int j = -1; j <= 1; ++j) {
            for (int k = -1; k <= 1; ++k) {
                if (i == 0 && j == 0 && k == 0) continue;
                double image[3];
                for (int r = 0; r < 3; ++r)
                    image[r] = x[r] + i * a[0][r] + j * a[1][r] + k * a[2][r];
                fn(image);
            }
        }
    }
}

// One point of a half path, as the graph needs it.
struct Point {
    long x_i[3];
    double x[3];
    double en;
    int type;
    int total_dn;
};

Point point_of(const VELMAR_FPCUBE *fpcube, int32_t index) {
    const VELMAR_FPDOT &dot = fpcube->dot[index];
    Point p{};
    for (int r = 0; r < 3; ++r) p.x_i[r] = dot.x_i[r];
    velmar_fpdot_position(p.x, fpcube, &dot);
    p.en = dot.en;
    p.type = dot.type;
    p.total_dn = dot.total_dn;
    return p;
}

// The wraps of one step along a half path: -1 where an index grew by more than 1, +1 where it fell
// by more than 1.
void add_wraps(int bound[3], const long from[3], const long to[3]) {
    for (int r = 0; r < 3; ++r) {
        const long diff = to[r] - from[r];
        if (diff > 1) bound[r] -= 1;
        if (diff < -1) bound[r] += 1;
    }
}

// A site is a minimum, so its curvature must be positive definite. The spectral second derivatives
// are not always: next to a stiff region they ring, and a minimum can come out with a negative
// eigenvalue (the 2c site of Li3N: -5.7, 0.7, 9.7 eV/A^2 spectrally, 0.5, 0.7, 2.8 by finite
// differences of the same grid). There the finite-difference curvature of the grid is taken.
void site_curvature_fallback(VELMAR_GRAPH_VERTEX &v, const VELMAR_FFT &fft) {
    if (v.eig[0] > 0.0) return;
    double k[3][3];
    const auto *values = reinterpret_cast<const double *>(fft.en->value);
    if (velmar::detail::curvature_at(k, values, 2, fft.en->n, fft.en->a_i, v.x_i) != 0) return;
    double eig[3];
    double eiv[3][3];
    double copy[3][3];
    velmar_matrix33_double_copy(copy, k);
    if (velmar_matrix33_double_eigensolver_symmetric(eig, eiv, copy) != 0 &&
        velmar_matrix33_double_eigensolver_jacobi(eig, eiv, k) != 0) {
        return;
    }
    velmar_vector3_double_copy(v.eig, eig);
    velmar_matrix33_double_copy(v.eiv, eiv);
}

bool conducting_atom(const VELMAR_ATOM &atom, const VELMAR_GRAPH &graph) {
    return std::strcmp(atom.type, graph.type) == 0 && atom.os == graph.os;
}

double sum_occ(const VELMAR_GRAPH &graph, const VELMAR_CELL &cell) {
    double total = 0.0;
    for (int32_t a = 0; a < cell.total; ++a) {
        if (conducting_atom(cell.atom[a], graph)) total += cell.atom[a].occ;
    }
    return total;
}

double start_radius(const VELMAR_GRAPH &graph) {
    return (velmar_vector3_double_length(graph.a_i[0]) +
            velmar_vector3_double_length(graph.a_i[1]) +
            velmar_vector3_double_length(graph.a_i[2])) /
           3.0 / 4.0;
}

bool assignment_ready(const VELMAR_GRAPH *graph, const VELMAR_CELL *cell) {
    if (graph != nullptr && cell != nullptr && (graph->total_v == 0 || graph->v != nullptr))
        return true;
    std::fputs("Error: VELMAR_GRAPH or VELMAR_CELL has not been properly initialized.\n", stderr);
    return false;
}

// Gives every vertex with field 0 (or an empty name) a class shared by the vertices of the same
// energy (within 0.0003) that are still unassigned; mark(v, k) sets the class.
template <class Unset, class Mark>
void classes_by_energy(VELMAR_GRAPH &graph, Unset unset, Mark mark) {
    long k = 1;
    for (long v = 0; v < graph.total_v; ++v) {
        if (!unset(graph.v[v])) continue;
        const double en = graph.v[v].en;
        for (long w = 0; w < graph.total_v; ++w) {
            if (unset(graph.v[w]) && std::fabs(graph.v[w].en - en) < 0.0003) mark(graph.v[w], k);
        }
        ++k;
    }
}

}  // namespace

bool velmar_dot_adjacent(const long x_i1[3], const long x_i2[3], const long n[3]) {
    for (int r = 0; r < 3; ++r) {
        const long d = std::labs(x_i1[r] - x_i2[r]);
        if ((d < n[r] - d ? d : n[r] - d) > 1) return false;
    }
    return true;
}

double velmar_dot_distance(const double x1[3], const double x2[3], const double a[3][3]) {
    double best = velmar_vector3_double_distance(x1, x2);
    for_each_image(x1, a, [&](const double image[3]) {
        const double d = velmar_vector3_double_distance(image, x2);
        if (d < best) best = d;
    });
    return best;
}

void velmar_dot_direction(double dir[3], const double x1[3], const double x2[3],
                          const double a[3][3]) {
    double nearest[3];
    velmar_vector3_double_copy(nearest, x1);
    double best = velmar_vector3_double_distance(x1, x2);
    for_each_image(x1, a, [&](const double image[3]) {
        const double d = velmar_vector3_double_distance(image, x2);
        if (d < best) {
            best = d;
            velmar_vector3_double_copy(nearest, image);
        }
    });
    double diff[3];
    velmar_vector3_double_sum2(diff, 1.0, x2, -1.0, nearest);
    velmar_vector3_double_normalize(dir, diff);
}

void velmar_dot_pivot(double out[3], const double x1[3], const double x2[3], const double a[3][3]) {
    // The nearer images are looked at, but x1 is what is copied each time (kept as it stands).
    velmar_vector3_double_copy(out, x1);
    const double start = velmar_vector3_double_distance(x1, x2);
    for_each_image(x1, a, [&](const double image[3]) {
        if (velmar_vector3_double_distance(image, x2) < start) velmar_vector3_double_copy(out, x1);
    });
}

VELMAR_GRAPH *velmar_graph_new(long total_v, long total_e) {
    auto *raw = static_cast<VELMAR_GRAPH *>(std::calloc(1, sizeof(VELMAR_GRAPH)));
    if (raw == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_GRAPH.\n", stderr);
        return nullptr;
    }
    GraphPtr graph(raw);
    if (total_v > 0) {
        graph->v =
            static_cast<VELMAR_GRAPH_VERTEX *>(std::calloc(total_v, sizeof(VELMAR_GRAPH_VERTEX)));
        if (graph->v == nullptr) {
            std::fputs("Error: unable to allocate graph->v.\n", stderr);
            return nullptr;
        }
        graph->total_v = total_v;
    }
    if (total_e > 0) {
        graph->e =
            static_cast<VELMAR_GRAPH_EDGE *>(std::calloc(total_e, sizeof(VELMAR_GRAPH_EDGE)));
        if (graph->e == nullptr) {
            std::fputs("Error: unable to allocate graph->e.\n", stderr);
            return nullptr;
        }
        graph->total_e = total_e;
    }
    return graph.release();
}

void velmar_graph_free(VELMAR_GRAPH *graph) {
    if (graph == nullptr) return;
    for (long v = 0; v < graph->total_v; ++v) std::free(graph->v[v].e);
    std::free(graph->v);
    std::free(graph->e);
    std::free(graph);
}

VELMAR_GRAPH *velmar_graph_new_filled(const VELMAR_FPHALF_LIST *list, const VELMAR_FFT *fft,
                                      const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt) {
    if (list == nullptr || list->fpcube == nullptr || fft == nullptr || fft->en == nullptr ||
        cell == nullptr || ppt == nullptr || ppt->conducting < 0 || ppt->conducting >= ppt->total) {
        std::fputs("Error: uninitialized input to generate VELMAR_GRAPH.\n", stderr);
        return nullptr;
    }
    GraphPtr graph(velmar_graph_new(0, 0));
    if (!graph) {
        VELMAR_ERROR_NULL(velmar_graph_new);
        return nullptr;
    }
    for (int r = 0; r < 3; ++r) graph->n[r] = fft->en->n[r];
    velmar_matrix33_double_copy(graph->a, fft->en->a);
    velmar_matrix33_double_copy(graph->a_i, fft->en->a_i);
    const VELMAR_FPCUBE *fpcube = list->fpcube;
    const auto first = [&](const VELMAR_FPHALF &h) { return point_of(fpcube, h.dot[0]); };
    const auto last = [&](const VELMAR_FPHALF &h) { return point_of(fpcube, h.dot[h.total - 1]); };

    // Vertices: the minima the halves end in, in the order first met; a minimum next to a known
    // one is the same site.
    std::vector<VELMAR_GRAPH_VERTEX> vertices;
    for (int32_t h = 0; h < list->total; ++h) {
        if (list->half[h].total < 1) continue;
        const Point end = last(list->half[h]);
        if (end.type != FP_MIN) continue;
        bool known = false;
        for (const VELMAR_GRAPH_VERTEX &v : vertices)
            known = known || velmar_dot_adjacent(v.x_i, end.x_i, graph->n);
        if (known) continue;
        VELMAR_GRAPH_VERTEX v{};
        v.index = static_cast<long>(vertices.size());
        for (int r = 0; r < 3; ++r) v.x_i[r] = end.x_i[r];
        velmar_vector3_double_copy(v.x, end.x);
        VELMAR_FFTDOT dot{};
        if (velmar_fftdot_read_from_fft(&dot, fft, v.x_i) != 0) {
            VELMAR_ERROR_NONZERO(velmar_fftdot_read_from_fft);
            return nullptr;
        }
        velmar_vector3_double_copy(v.eig, dot.eig);
        velmar_matrix33_double_copy(v.eiv, dot.eiv);
        site_curvature_fallback(v, *fft);
        v.en = end.en;
        vertices.push_back(v);
    }

    // Edges: two halves leaving one saddle point (two falling regions) towards different minima.
    using Pending = velmar::detail::GraphEdgeDraft;
    std::vector<Pending> edges;
    const auto usable = [&](const VELMAR_FPHALF &h) {
        if (h.total < 1) return false;
        const Point s = first(h);
        return s.type == FP_SAD && last(h).type == FP_MIN && s.total_dn == 2;
    };
    // Cells crossed walking a half from its end back to the saddle, and from the saddle forward.
    const auto back = [&](const VELMAR_FPHALF &h, int bound[3]) {
        for (int32_t k = h.total - 2; k >= 0; --k) {
            add_wraps(bound, point_of(fpcube, h.dot[k + 1]).x_i, point_of(fpcube, h.dot[k]).x_i);
        }
    };
    const auto forward = [&](const VELMAR_FPHALF &h, int bound[3]) {
        for (int32_t k = 1; k < h.total; ++k) {
            add_wraps(bound, point_of(fpcube, h.dot[k - 1]).x_i, point_of(fpcube, h.dot[k]).x_i);
        }
    };
    for (int32_t i = 0; i < list->total; ++i) {
        const VELMAR_FPHALF &hi = list->half[i];
        if (!usable(hi)) continue;
        const Point si = first(hi);
        const Point ei = last(hi);
        bool done = false;
        for (const Pending &p : edges)
            done = done || velmar_dot_adjacent(p.edge.x_i, si.x_i, graph->n);
        if (done) continue;
        int bound_i[3] = {0, 0, 0};  // the walk back along half i is the same for every partner
        back(hi, bound_i);
        for (int32_t j = i + 1; j < list->total; ++j) {
            const VELMAR_FPHALF &hj = list->half[j];
            if (!usable(hj)) continue;
            const Point sj = first(hj);
            const Point ej = last(hj);
            if (!velmar_dot_adjacent(sj.x_i, si.x_i, graph->n) ||
                velmar_dot_adjacent(ej.x_i, ei.x_i, graph->n)) {
                continue;
            }
            int bound_f[3] = {0, 0, 0};
            add_wraps(bound_f, si.x_i, sj.x_i);
            forward(hj, bound_f);
            for (const VELMAR_GRAPH_VERTEX &va : vertices) {
                if (!velmar_dot_adjacent(va.x_i, ei.x_i, graph->n)) continue;
                for (const VELMAR_GRAPH_VERTEX &vb : vertices) {
                    if (!velmar_dot_adjacent(vb.x_i, ej.x_i, graph->n)) continue;
                    Pending ab{};
                    Pending ba{};
                    for (Pending *p : {&ab, &ba}) {
                        for (int r = 0; r < 3; ++r) p->edge.x_i[r] = si.x_i[r];
                        velmar_vector3_double_copy(p->edge.x, si.x);
                        p->edge.en = si.en;
                        p->edge.l = velmar_dot_distance(va.x, vb.x, graph->a);
                    }
                    ab.from = va.index;
                    ab.to = vb.index;
                    ba.from = vb.index;
                    ba.to = va.index;
                    ab.edge.index_half = i;
                    ba.edge.index_half = j;
                    ab.edge.barrier = si.en - va.en;
                    ba.edge.barrier = si.en - vb.en;
                    for (int r = 0; r < 3; ++r) {
                        ab.edge.bound_i[r] = bound_i[r];
                        ab.edge.bound_f[r] = bound_f[r];
                        ab.edge.bound[r] = bound_i[r] + bound_f[r];
                        ba.edge.bound_i[r] = -bound_f[r];
                        ba.edge.bound_f[r] = -bound_i[r];
                        ba.edge.bound[r] = -ab.edge.bound[r];
                    }
                    velmar_dot_direction(ab.edge.dir, va.x, si.x, graph->a);
                    velmar_dot_direction(ba.edge.dir, vb.x, si.x, graph->a);
                    edges.push_back(ab);
                    edges.push_back(ba);
                }
            }
        }
    }

    if (velmar::detail::graph_assemble(*graph, vertices, edges) != 0) return nullptr;

    const VELMAR_PROPERTY_UNITARY &ion = ppt->uni[ppt->conducting];
    velmar::copy_text(graph->type, sizeof graph->type, ion.type);
    graph->os = ion.os;
    graph->total_occ = sum_occ(*graph, *cell);
    if (velmar_graph_assign_occ(graph.get(), cell) != 0) {
        VELMAR_ERROR_NONZERO(velmar_graph_assign_occ);
        return nullptr;
    }
    if (velmar_graph_assign_label(graph.get(), cell) != 0) {
        VELMAR_ERROR_NONZERO(velmar_graph_assign_label);
        return nullptr;
    }
    graph->volume = velmar_cell_calculate_volume(cell);
    graph->m = ion.m;
    graph->c = graph->total_occ / graph->volume;
    return graph.release();
}

int velmar::detail::graph_assemble(VELMAR_GRAPH &graph,
                                   const std::vector<VELMAR_GRAPH_VERTEX> &vertices,
                                   const std::vector<GraphEdgeDraft> &edges) {
    if (!vertices.empty()) {
        graph.v = static_cast<VELMAR_GRAPH_VERTEX *>(
            std::malloc(sizeof(VELMAR_GRAPH_VERTEX) * vertices.size()));
        if (graph.v == nullptr) {
            std::fputs("Error: unable to reallocate VELMAR_GRAPH_VERTEX.\n", stderr);
            return 1;
        }
        std::copy(vertices.begin(), vertices.end(), graph.v);
        graph.total_v = static_cast<long>(vertices.size());
        for (long v = 0; v < graph.total_v; ++v) {
            graph.v[v].index = v;
            graph.v[v].e = nullptr;
            graph.v[v].total_e = 0;
        }
    }
    if (!edges.empty()) {
        graph.e =
            static_cast<VELMAR_GRAPH_EDGE *>(std::malloc(sizeof(VELMAR_GRAPH_EDGE) * edges.size()));
        if (graph.e == nullptr) {
            std::fputs("Error: unable to reallocate VELMAR_GRAPH_EDGE.\n", stderr);
            return 1;
        }
        graph.total_e = static_cast<long>(edges.size());
    }
    std::vector<int> counts(vertices.size(), 0);
    for (const GraphEdgeDraft &p : edges) ++counts[p.from];
    for (long v = 0; v < graph.total_v; ++v) {
        if (counts[v] == 0) continue;
        graph.v[v].e =
            static_cast<VELMAR_GRAPH_EDGE **>(std::malloc(sizeof(VELMAR_GRAPH_EDGE *) * counts[v]));
        if (graph.v[v].e == nullptr) {
            std::fprintf(stderr, "Error: unable to reallocate graph->v[%ld].e.\n", v);
            return 1;
        }
    }
    for (long k = 0; k < graph.total_e; ++k) {
        VELMAR_GRAPH_EDGE &e = graph.e[k];
        e = edges[k].edge;
        e.index = k;
        e.v_i = &graph.v[edges[k].from];
        e.v_f = &graph.v[edges[k].to];
        e.e_r = &graph.e[k % 2 == 0 ? k + 1 : k - 1];
        e.v_i->e[e.v_i->total_e++] = &e;
    }
    return 0;
}

VELMAR_GRAPH *velmar::detail::graph_new_like(const VELMAR_GRAPH &from) {
    GraphPtr out(velmar_graph_new(0, 0));
    if (!out) {
        VELMAR_ERROR_NULL(velmar_graph_new);
        return nullptr;
    }
    for (int r = 0; r < 3; ++r) out->n[r] = from.n[r];
    velmar_matrix33_double_copy(out->a, from.a);
    velmar_matrix33_double_copy(out->a_i, from.a_i);
    out->volume = from.volume;
    velmar::copy_text(out->type, sizeof out->type, from.type);
    out->os = from.os;
    out->m = from.m;
    out->c = from.c;
    out->total_occ = from.total_occ;
    return out.release();
}

int velmar_graph_assign_occ(VELMAR_GRAPH *graph, const VELMAR_CELL *cell) {
    if (!assignment_ready(graph, cell)) return 1;
    graph->total_occ = sum_occ(*graph, *cell);
    double radius = start_radius(*graph);
    double residual = 0.0;
    std::vector<long> near;
    do {
        radius *= 2.0;
        for (long v = 0; v < graph->total_v; ++v) graph->v[v].occ = 0.0;
        for (int32_t a = 0; a < cell->total; ++a) {
            const VELMAR_ATOM &atom = cell->atom[a];
            if (!conducting_atom(atom, *graph)) continue;
            near.clear();
            for (long v = 0; v < graph->total_v; ++v) {
                if (velmar_dot_distance(graph->v[v].x, atom.x, graph->a) < radius)
                    near.push_back(v);
            }
            for (long v : near) {
                double &occ = graph->v[v].occ;
                occ += atom.occ / static_cast<double>(near.size());
                if (occ > 1.0) occ = 1.0;
            }
        }
        residual = graph->total_occ;
        for (long v = 0; v < graph->total_v; ++v) residual -= graph->v[v].occ;
    } while (residual >= 0.5 && radius <= 0.6);
    std::printf("Message: graph occ assignment, residual occ = %.3lf, cutoff = %.3lf A.\n",
                residual, radius);
    return 0;
}

int velmar_graph_assign_label(VELMAR_GRAPH *graph, const VELMAR_CELL *cell) {
    if (!assignment_ready(graph, cell)) return 1;
    for (long v = 0; v < graph->total_v; ++v) {
        graph->v[v].name[0] = '\0';
        graph->v[v].site = 0;
    }
    long atoms = 0;
    for (int32_t a = 0; a < cell->total; ++a) atoms += conducting_atom(cell->atom[a], *graph);
    double radius = start_radius(*graph);
    long named = 0;
    do {
        radius *= 2.0;
        for (long v = 0; v < graph->total_v; ++v) graph->v[v].name[0] = '\0';
        for (int32_t a = 0; a < cell->total; ++a) {
            const VELMAR_ATOM &atom = cell->atom[a];
            if (!conducting_atom(atom, *graph)) continue;
            for (long v = 0; v < graph->total_v; ++v) {
                VELMAR_GRAPH_VERTEX &vertex = graph->v[v];
                if (velmar_dot_distance(vertex.x, atom.x, graph->a) < radius) {
                    velmar::copy_text(vertex.name, sizeof vertex.name, atom.name);
                }
            }
        }
        named = 0;
        for (long v = 0; v < graph->total_v; ++v) named += graph->v[v].name[0] != '\0';
    } while (named < atoms && radius <= 0.6);
    std::printf("Message: graph occ label = %ld/%ld, cutoff = %.3lf A.\n", named, atoms, radius);

    classes_by_energy(
        *graph, [](const VELMAR_GRAPH_VERTEX &v) { return v.name[0] == '\0'; },
        [graph](VELMAR_GRAPH_VERTEX &v, long k) {
            char name[48];
            std::snprintf(name, sizeof name, "%s_i%ld", graph->type, k);
            velmar::copy_text(v.name, sizeof v.name, name);
        });
    classes_by_energy(
        *graph, [](const VELMAR_GRAPH_VERTEX &v) { return v.site == 0; },
        [](VELMAR_GRAPH_VERTEX &v, long k) { v.site = k; });
    return 0;
}

void velmar_graph_print(const VELMAR_GRAPH *graph) {
    if (graph == nullptr) {
        std::printf("GRAPH: (not allocated).\n");
        return;
    }
    std::printf("GRAPH: total_v = %ld\n", graph->total_v);
    std::printf("GRAPH: total_e = %ld\n", graph->total_e);
    std::printf("GRAPH: VERTEX==========================\n");
    for (long k = 0; k < graph->total_v; ++k) {
        const VELMAR_GRAPH_VERTEX &v = graph->v[k];
        std::printf("GRAPH: [%3ld] e =", k);
        for (int e = 0; e < v.total_e; ++e) std::printf(" %3ld ,", v.e[e]->index);
        std::printf("\n      x=(%.3lf,%.3lf,%.3lf), occ = %.3lf, en = %.3lf\n", v.x[0], v.x[1],
                    v.x[2], v.occ, v.en);
    }
    std::printf("GRAPH: EDGE============================\n");
    for (long k = 0; k < graph->total_e; ++k) {
        const VELMAR_GRAPH_EDGE &e = graph->e[k];
        std::printf(
            "GRAPH: [%3ld] vi=%3ld; vf=%3ld; er=%3ld; "
            "bound:[%d][%d][%d]=[%d][%d][%d]+[%d][%d][%d]\n",
            k, e.v_i->index, e.v_f->index, e.e_r != nullptr ? e.e_r->index : -1L, e.bound[0],
            e.bound[1], e.bound[2], e.bound_i[0], e.bound_i[1], e.bound_i[2], e.bound_f[0],
            e.bound_f[1], e.bound_f[2]);
        std::printf("GRAPH:       x=(%.3lf,%.3lf,%.3lf), barrier = %.3lf, en = %.3lf\n", e.x[0],
                    e.x[1], e.x[2], e.barrier, e.en);
    }
}
