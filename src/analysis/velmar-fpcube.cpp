// The flow-path map: clustering, classification and branches of every voxel, half paths from the
// saddle points, and the marker-atom export.
#include "analysis/velmar-fpcube.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "core/velmar-la.h"
#include "core/velmar-output.h"
#include "core/velmar-progress.h"
#include "core/velmar.h"
#include "structure/velmar-cell-geometry.h"
#include "structure/velmar-cif-writer.h"

namespace {

constexpr int32_t kMaxSteps = 2000;

int64_t flat_of(const VELMAR_FPCUBE *c, long i, long j, long k) {
    return (static_cast<int64_t>(i) * c->n[1] + j) * c->n[2] + k;
}

// The flat index of the neighbour at offset (p, q, s) in -1..1 of voxel x, periodic.
int64_t neighbour(const VELMAR_FPCUBE *c, const int32_t x[3], int p, int q, int s) {
    const long i = velmar_mod_long(x[0] + p, c->n[0]);
    const long j = velmar_mod_long(x[1] + q, c->n[1]);
    const long k = velmar_mod_long(x[2] + s, c->n[2]);
    return flat_of(c, i, j, k);
}

VELMAR_FPDOT *dot_at(VELMAR_FPCUBE *c, const long x_i[3]) {
    const long i = velmar_mod_long(x_i[0], c->n[0]);
    const long j = velmar_mod_long(x_i[1], c->n[1]);
    const long k = velmar_mod_long(x_i[2], c->n[2]);
    return &c->dot[flat_of(c, i, j, k)];
}

// The region counts of classification; prints the branch warnings when asked. True when the dot
// warns.
bool count_regions(VELMAR_FPDOT *dot, bool print) {
    int up = 0;
    int dn = 0;
    int highest = 0;
    int lowest = 0;
    bool warned = false;
    for (int m = 0; m < 27; ++m) {
        if (up >= 9 || dn >= 9) {
            warned = true;
            if (print) {
                std::printf(
                    "Warning: no. of branches exceeds 8 at (%ld,%ld,%ld); there might be an "
                    "error.\n",
                    static_cast<long>(dot->x_i[0]), static_cast<long>(dot->x_i[1]),
                    static_cast<long>(dot->x_i[2]));
            }
        } else if (up >= 4) {
            warned = true;
            if (print) {
                std::printf(
                    "Warning: no. of branches exceeds 4 at (%ld,%ld,%ld); there might be a "
                    "discontinuity\n",
                    static_cast<long>(dot->x_i[0]), static_cast<long>(dot->x_i[1]),
                    static_cast<long>(dot->x_i[2]));
            }
        }
        const int label = dot->cluster[m];
        if (label > highest) {
            ++up;
            highest = label;
        } else if (label < lowest) {
            ++dn;
            lowest = label;
        }
    }
    dot->total_up = static_cast<int8_t>(up);
    dot->total_dn = static_cast<int8_t>(dn);
    return warned;
}

// Classification from the region counts; true when the dot warns.
bool classify(VELMAR_FPDOT *dot, bool print) {
    const bool warned = count_regions(dot, print);
    const int up = dot->total_up;
    const int dn = dot->total_dn;
    fpdot_type type = FP_ERR;
    if (dn == 0) {
        type = FP_MIN;
    } else if (dn == 2 || dn == 3) {
        type = FP_SAD;
    } else if (dn == 1) {
        type = up == 1 ? FP_NOR : FP_ERR;
    }
    if (up == 0 && dn > 0) type = FP_MAX;
    dot->type = static_cast<int8_t>(type);
    return warned;
}

bool half_append(VELMAR_FPHALF &half, int32_t dot) {
    auto *grown =
        static_cast<int32_t *>(std::realloc(half.dot, sizeof(int32_t) * (half.total + 1)));
    if (grown == nullptr) return false;
    half.dot = grown;
    half.dot[half.total++] = dot;
    return true;
}

}  // namespace

VELMAR_FPCUBE *velmar_fpcube_new(long n0, long n1, long n2) {
    if (n0 < 1 || n1 < 1 || n2 < 1) {
        std::fputs("Error: all arguments must be positive.\n", stderr);
        return nullptr;
    }
    auto *raw = static_cast<VELMAR_FPCUBE *>(std::calloc(1, sizeof(VELMAR_FPCUBE)));
    if (raw == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_FPCUBE.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_FPCUBE, velmar_fpcube_free> c(raw);
    c->n[0] = static_cast<int32_t>(n0);
    c->n[1] = static_cast<int32_t>(n1);
    c->n[2] = static_cast<int32_t>(n2);
    const auto size = static_cast<size_t>(n0) * static_cast<size_t>(n1) * static_cast<size_t>(n2);
    if (size > static_cast<size_t>(INT32_MAX)) {  // dots refer to one another by 32-bit index
        std::fputs("Error: unable to allocate fpcube->dot\n", stderr);
        return nullptr;
    }
    c->dot = static_cast<VELMAR_FPDOT *>(std::calloc(size, sizeof(VELMAR_FPDOT)));
    if (c->dot == nullptr) {
        std::fputs("Error: unable to allocate fpcube->dot\n", stderr);
        return nullptr;
    }
    return c.release();
}

void velmar_fpcube_free(VELMAR_FPCUBE *fpcube) {
    if (fpcube == nullptr) return;
    std::free(fpcube->dot);
    std::free(fpcube);
}

void velmar_fpcube_clear_type(VELMAR_FPCUBE *fpcube) {
    if (fpcube == nullptr || fpcube->dot == nullptr) return;
    const int64_t size = static_cast<int64_t>(fpcube->n[0]) * fpcube->n[1] * fpcube->n[2];
    for (int64_t v = 0; v < size; ++v) fpcube->dot[v].type = FP_UND;
}

void velmar_fpdot_position(double x[3], const VELMAR_FPCUBE *fpcube, const VELMAR_FPDOT *dot) {
    velmar_vector3_double_sum3(x, dot->x_i[2], fpcube->a_i[2], dot->x_i[1], fpcube->a_i[1],
                               dot->x_i[0], fpcube->a_i[0]);
}

bool velmar_fpdot_equal(const VELMAR_FPDOT *a, const VELMAR_FPDOT *b) {
    if (a == b) return true;
    if (a == nullptr || b == nullptr) return false;
    return a->x_i[0] == b->x_i[0] && a->x_i[1] == b->x_i[1] && a->x_i[2] == b->x_i[2];
}

void velmar_fpdot_merge_cluster(int label[5][5][5], int c1, int c2) {
    if (c1 == c2 || c1 == 0 || c2 == 0) return;
    const int keep = c1 < c2 ? c1 : c2;
    const int drop = c1 < c2 ? c2 : c1;
    for (int p = 1; p <= 3; ++p) {
        for (int q = 1; q <= 3; ++q) {
            for (int s = 1; s <= 3; ++s) {
                if (label[p][q][s] == drop) label[p][q][s] = keep;
            }
        }
    }
}

void velmar_fpdot_cluster(VELMAR_FPCUBE *fpcube, const long x_i[3]) {
    VELMAR_FPDOT *dot = dot_at(fpcube, x_i);
    int sign[5][5][5] = {};
    int label[5][5][5] = {};
    for (int p = 0; p < 3; ++p) {
        for (int q = 0; q < 3; ++q) {
            for (int s = 0; s < 3; ++s) {
                if (p == 1 && q == 1 && s == 1) continue;
                const VELMAR_FPDOT &other =
                    fpcube->dot[neighbour(fpcube, dot->x_i, p - 1, q - 1, s - 1)];
                sign[p + 1][q + 1][s + 1] = other.en < dot->en ? -1 : 1;
            }
        }
    }
    int counter = 1;
    for (int p = 1; p <= 3; ++p) {
        for (int q = 1; q <= 3; ++q) {
            for (int s = 1; s <= 3; ++s) {
                const int here = sign[p][q][s];
                if (here == 0) continue;
                for (int dp = -1; dp <= 1; ++dp) {
                    for (int dq = -1; dq <= 1; ++dq) {
                        for (int ds = -1; ds <= 1; ++ds) {
                            const int other = label[p + dp][q + dq][s + ds];
                            if (other == 0 || sign[p + dp][q + dq][s + ds] != here) continue;
                            if (label[p][q][s] == 0) {
                                label[p][q][s] = other;
                            } else {
                                velmar_fpdot_merge_cluster(label, label[p][q][s], other);
                            }
                        }
                    }
                }
                if (label[p][q][s] == 0) label[p][q][s] = here * counter++;
            }
        }
    }
    for (int p = 0; p < 3; ++p) {
        for (int q = 0; q < 3; ++q) {
            for (int s = 0; s < 3; ++s) {
                dot->cluster[(p * 3 + q) * 3 + s] = static_cast<int8_t>(label[p + 1][q + 1][s + 1]);
            }
        }
    }
}

void velmar_fpdot_classify(VELMAR_FPCUBE *fpcube, const long x_i[3]) {
    classify(dot_at(fpcube, x_i), true);
}

void velmar_fpdot_branch(VELMAR_FPCUBE *fpcube, const long x_i[3]) {
    VELMAR_FPDOT *dot = dot_at(fpcube, x_i);
    for (int r = 0; r < 8; ++r) dot->up[r] = dot->dn[r] = -1;
    // Rising regions, each with its highest neighbour; then falling ones with their lowest.
    for (int rising = 1; rising >= 0; --rising) {
        int running = 0;
        int count = 0;
        for (int m = 0; m < 27 && count < 8; ++m) {
            const int label = dot->cluster[m];
            if (rising ? label <= running : label >= running) continue;
            running = label;
            double best_en = dot->en;
            int64_t best = -1;
            for (int t = 0; t < 27; ++t) {
                if (dot->cluster[t] != label) continue;
                const int64_t other =
                    neighbour(fpcube, dot->x_i, t / 9 - 1, (t / 3) % 3 - 1, t % 3 - 1);
                const double en = fpcube->dot[other].en;
                if (rising ? en >= best_en : en <= best_en) {
                    best_en = en;
                    best = other;
                }
            }
            (rising ? dot->up : dot->dn)[count++] = static_cast<int32_t>(best);
        }
    }
}

VELMAR_FPCUBE *velmar_fpcube_new_from_cube(const VELMAR_CUBE *cube) {
    if (cube == nullptr || cube->en == nullptr) {
        std::fputs("Error: VELMAR_CUBE has not been properly initialized.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_FPCUBE, velmar_fpcube_free> fpcube(
        velmar_fpcube_new(cube->n[0], cube->n[1], cube->n[2]));
    if (!fpcube) {
        VELMAR_ERROR_NULL(velmar_fpcube_new);
        return nullptr;
    }
    velmar_matrix33_double_copy(fpcube->a, cube->a);
    velmar_matrix33_double_copy(fpcube->a_i, cube->a_i);
    const double *values = velmar::cube_values(cube);
    const int64_t size = velmar::cube_size(cube);
    for (int64_t v = 0; v < size; ++v) {
        VELMAR_FPDOT &dot = fpcube->dot[v];
        dot.en = values[v];
        dot.x_i[2] = static_cast<int32_t>(v % cube->n[2]);
        dot.x_i[1] = static_cast<int32_t>((v / cube->n[2]) % cube->n[1]);
        dot.x_i[0] = static_cast<int32_t>(v / (static_cast<int64_t>(cube->n[1]) * cube->n[2]));
        dot.type = FP_UND;
    }
    // Each voxel's steps read only the values around it, so voxels are independent; the
    // warnings of classification are printed afterwards, in voxel order.
    std::vector<char> warns(static_cast<size_t>(size), 0);
    VELMAR_FPCUBE *c = fpcube.get();
#pragma omp parallel for schedule(static)
    for (int64_t v = 0; v < size; ++v) {
        VELMAR_FPDOT &dot = c->dot[v];
        const long x[3] = {dot.x_i[0], dot.x_i[1], dot.x_i[2]};
        velmar_fpdot_cluster(c, x);
        warns[v] = classify(&dot, false) ? 1 : 0;
        velmar_fpdot_branch(c, x);
    }
    for (int64_t v = 0; v < size; ++v) {
        if (warns[v] != 0) count_regions(&c->dot[v], true);
    }
    return fpcube.release();
}

VELMAR_FPHALF_LIST *velmar_fphalf_list_new_empty() {
    auto *list = static_cast<VELMAR_FPHALF_LIST *>(std::calloc(1, sizeof(VELMAR_FPHALF_LIST)));
    if (list == nullptr) std::fputs("Error: unable to allocate VELMAR_FPHALF_LIST.\n", stderr);
    return list;
}

void velmar_fphalf_list_free(VELMAR_FPHALF_LIST *list) {
    if (list == nullptr) return;
    for (int32_t h = 0; h < list->total; ++h) std::free(list->half[h].dot);
    std::free(list->half);
    std::free(list);
}

VELMAR_FPHALF_LIST *velmar_fphalf_list_new(const VELMAR_FPCUBE *fpcube, const long x_i[3]) {
    if (fpcube == nullptr || fpcube->dot == nullptr) {
        std::fputs("Error: VELMAR_FPCUBE has not been properly initialized.\n", stderr);
        return nullptr;
    }
    const VELMAR_FPDOT *saddle = dot_at(const_cast<VELMAR_FPCUBE *>(fpcube), x_i);
    if (saddle->type != FP_SAD) {
        std::fprintf(stderr, "Error: dot (%4ld, %4ld, %4ld) is not a saddle point.\n",
                     static_cast<long>(saddle->x_i[0]), static_cast<long>(saddle->x_i[1]),
                     static_cast<long>(saddle->x_i[2]));
        return nullptr;
    }
    velmar::Owned<VELMAR_FPHALF_LIST, velmar_fphalf_list_free> list(velmar_fphalf_list_new_empty());
    if (!list) {
        VELMAR_ERROR_NULL(velmar_fphalf_list_new_empty);
        return nullptr;
    }
    list->half = static_cast<VELMAR_FPHALF *>(
        std::calloc(static_cast<size_t>(saddle->total_dn), sizeof(VELMAR_FPHALF)));
    if (list->half == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_FPHALF.\n", stderr);
        return nullptr;
    }
    list->total = saddle->total_dn;
    list->fpcube = fpcube;
    const auto start = static_cast<int32_t>(saddle - fpcube->dot);
    for (int h = 0; h < saddle->total_dn; ++h) {
        VELMAR_FPHALF &half = list->half[h];
        if (!half_append(half, start)) {
            std::fprintf(stderr, "Error: unable to allocate list->half[%d]\n", h);
            return nullptr;
        }
        int32_t current = saddle->dn[h];
        while (true) {
            const VELMAR_FPDOT *dot = current >= 0 ? &fpcube->dot[current] : nullptr;
            const bool passable = dot != nullptr && (dot->type == FP_NOR || dot->type == FP_MIN ||
                                                     dot->type == FP_SAD || dot->type == FP_PAT ||
                                                     dot->total_dn == 1);
            if (!passable) {
                const VELMAR_FPDOT &shown = dot != nullptr ? *dot : *saddle;
                std::fprintf(stderr, "Error: wrong dot type %d at (%4ld, %4ld, %4ld).\n",
                             static_cast<int>(shown.type), static_cast<long>(shown.x_i[0]),
                             static_cast<long>(shown.x_i[1]), static_cast<long>(shown.x_i[2]));
                std::printf("FPDOT: (%ld, %ld, %ld) en=%f type=%d total_up=%d total_dn=%d\n",
                            static_cast<long>(shown.x_i[0]), static_cast<long>(shown.x_i[1]),
                            static_cast<long>(shown.x_i[2]), shown.en, static_cast<int>(shown.type),
                            static_cast<int>(shown.total_up), static_cast<int>(shown.total_dn));
                return nullptr;
            }
            if (!half_append(half, current)) {
                std::fprintf(stderr, "Error: unable to reallocate list->half[%d]\n", h);
                return nullptr;
            }
            if (dot->type == FP_MIN || dot->type == FP_SAD) {
                half.barrier = saddle->en - dot->en;
                break;
            }
            if (half.total >= kMaxSteps) {
                std::fprintf(stderr,
                             "Error: failed to descend to the local minimum within %ld steps.\n",
                             static_cast<long>(half.total));
                return nullptr;
            }
            current = dot->dn[0];
        }
    }
    return list.release();
}

int velmar_fphalf_list_merge(VELMAR_FPHALF_LIST *master, VELMAR_FPHALF_LIST *list) {
    if (master == nullptr || list == nullptr || list->total < 1) {
        std::fputs("Error: VELMAR_FPHALF_LIST has not been initialized properly.\n", stderr);
        return 1;
    }
    auto *grown = static_cast<VELMAR_FPHALF *>(std::realloc(
        master->half, sizeof(VELMAR_FPHALF) * static_cast<size_t>(master->total + list->total)));
    if (grown == nullptr) {
        std::fputs("Error: unable to reallocate VELMAR_FPHALF_LIST.\n", stderr);
        return 1;
    }
    master->half = grown;
    std::copy(list->half, list->half + list->total, master->half + master->total);
    master->total += list->total;
    std::free(list->half);
    std::free(list);
    return 0;
}

VELMAR_FPHALF_LIST *velmar_fphalf_list_new_from_fpcube(const VELMAR_FPCUBE *fpcube) {
    if (fpcube == nullptr || fpcube->dot == nullptr) {
        std::fputs("Error: VELMAR_FPCUBE has not been properly initialized.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_FPHALF_LIST, velmar_fphalf_list_free> master(
        velmar_fphalf_list_new_empty());
    if (!master) {
        VELMAR_ERROR_NULL(velmar_fphalf_list_new_empty);
        return nullptr;
    }
    const int64_t size = static_cast<int64_t>(fpcube->n[0]) * fpcube->n[1] * fpcube->n[2];
    velmar::Progress progress("flow paths", size);
    for (int64_t v = 0; v < size; ++v) {
        const VELMAR_FPDOT &dot = fpcube->dot[v];
        if (dot.type != FP_SAD) continue;
        progress.update(v);
        const long x[3] = {dot.x_i[0], dot.x_i[1], dot.x_i[2]};
        VELMAR_FPHALF_LIST *halves = velmar_fphalf_list_new(fpcube, x);
        if (halves == nullptr) {
            VELMAR_ERROR_NULL(velmar_fphalf_list_new);
            return nullptr;
        }
        if (velmar_fphalf_list_merge(master.get(), halves) != 0) {
            velmar_fphalf_list_free(halves);
            VELMAR_ERROR_NONZERO(velmar_fphalf_list_merge);
            return nullptr;
        }
    }
    master->fpcube = fpcube;
    std::printf("Message: VELMAR_FPCUBE successfully generated containing %ld paths.\n",
                static_cast<long>(master->total));
    return master.release();
}

int velmar_fphalf_list_filter(VELMAR_FPHALF_LIST *list, double en) {
    if (en < 0) return 0;
    if (list == nullptr || list->total < 1) {
        std::fputs("Error: VELMAR_FPHALF_LIST has not been properly initialized.\n", stderr);
        return 1;
    }
    int32_t kept = 0;
    for (int32_t h = 0; h < list->total; ++h) {
        VELMAR_FPHALF &half = list->half[h];
        if (half.total > 0 && !(half.barrier > en)) {
            list->half[kept++] = half;
        } else {
            std::free(half.dot);
        }
    }
    list->total = kept;
    std::printf("Message: totally %ld paths with barrier lower than %f.\n", static_cast<long>(kept),
                en);
    return 0;
}

void velmar_fphalf_list_label_path(const VELMAR_FPHALF_LIST *list, VELMAR_FPCUBE *fpcube) {
    if (list == nullptr || fpcube == nullptr || fpcube->dot == nullptr) return;
    for (int32_t h = 0; h < list->total; ++h) {
        const VELMAR_FPHALF &half = list->half[h];
        for (int32_t d = 0; d < half.total; ++d) {
            VELMAR_FPDOT &dot = fpcube->dot[half.dot[d]];
            if (dot.type == FP_UND || dot.type == FP_NOR) dot.type = FP_PAT;
        }
    }
}

VELMAR_CELL *velmar_fpcube_export_to_cell(const VELMAR_FPCUBE *fpcube) {
    if (fpcube == nullptr || fpcube->dot == nullptr) {
        std::fputs("Error: VELMAR_FPCUBE has not been initialized properly.\n", stderr);
        return nullptr;
    }
    const int64_t size = static_cast<int64_t>(fpcube->n[0]) * fpcube->n[1] * fpcube->n[2];
    const auto shown = [](const VELMAR_FPDOT &d) {
        return d.type == FP_MIN || d.type == FP_SAD || d.type == FP_PAT;
    };
    long count = 0;
    for (int64_t v = 0; v < size; ++v) count += shown(fpcube->dot[v]);
    velmar::Owned<VELMAR_CELL, velmar_cell_free> cell(velmar_cell_new(count));
    if (!cell) {
        VELMAR_ERROR_NULL(velmar_cell_new);
        return nullptr;
    }
    long a = 0;
    for (int64_t v = 0; v < size; ++v) {
        const VELMAR_FPDOT &dot = fpcube->dot[v];
        if (!shown(dot)) continue;
        VELMAR_ATOM &atom = cell->atom[a++];
        const char *name = "PAT";
        const char *type = "H";
        if (dot.type == FP_MIN) {
            name = "MIN";
            type = "Li";
        } else if (dot.type == FP_SAD) {
            name = dot.total_dn == 2 ? "SAD1" : (dot.total_dn == 3 ? "SAD2" : "SAD3");
            type = dot.total_dn == 2 ? "Na" : (dot.total_dn == 3 ? "K" : "Cs");
        }
        velmar::copy_text(atom.name, sizeof atom.name, name);
        velmar::copy_text(atom.type, sizeof atom.type, type);
        atom.os = 1;
        atom.occ = 1.0;
        velmar_fpdot_position(atom.x, fpcube, &dot);
    }
    velmar_matrix33_double_copy(cell->a, fpcube->a);
    velmar_cell_update_fractional(cell.get());
    return cell.release();
}

int velmar_fpcube_export_cif_to_file(const VELMAR_CUBE *cube, double barrier_max,
                                     const char *filename) {
    if (cube == nullptr || cube->en == nullptr) {
        std::fputs("Error: VELMAR_CUBE has not been properly initialized.\n", stderr);
        return 1;
    }
    if (filename == nullptr || !velmar::output_check(filename)) return 1;
    velmar::Owned<VELMAR_FPCUBE, velmar_fpcube_free> fpcube(velmar_fpcube_new_from_cube(cube));
    if (!fpcube) {
        VELMAR_ERROR_NULL(velmar_fpcube_new_from_cube);
        return 1;
    }
    velmar::Owned<VELMAR_FPHALF_LIST, velmar_fphalf_list_free> halves(
        velmar_fphalf_list_new_from_fpcube(fpcube.get()));
    if (!halves) {
        VELMAR_ERROR_NULL(velmar_fphalf_list_new_from_fpcube);
        return 1;
    }
    if (barrier_max > 0 && velmar_fphalf_list_filter(halves.get(), barrier_max) != 0) {
        VELMAR_ERROR_NONZERO(velmar_fphalf_list_filter);
        return 1;
    }
    velmar_fphalf_list_label_path(halves.get(), fpcube.get());
    velmar::Owned<VELMAR_CELL, velmar_cell_free> cell(velmar_fpcube_export_to_cell(fpcube.get()));
    if (!cell) {
        VELMAR_ERROR_NULL(velmar_fpcube_export_to_cell);
        return 1;
    }
    if (velmar::detail::cell_export_markers_to_file(
            filename, cell.get(), velmar::cube_values_at_atoms(*cube, *cell)) != 0) {
        VELMAR_ERROR_NONZERO(velmar_cell_export_cif_to_file);
        return 1;
    }
    return 0;
}
