// The flow-path map the plain way, as the reference for the compact one: every voxel is a record
// with pointers to its 27 neighbours, 27 integer labels and pointers to the steepest neighbour of
// each of up to 8 rising and 8 falling regions, held in a three-level array; everything runs in
// one thread. It returns the marker atoms the map exports, or nothing when a descent is too long.
#ifndef VELMAR_TEST_ORACLE_FPMAP_H
#define VELMAR_TEST_ORACLE_FPMAP_H

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "core/velmar-la.h"
#include "landscape/velmar-cube.h"
#include "structure/velmar-cell-geometry.h"
#include "structure/velmar-cell.h"

namespace velmar_oracle {

struct FpDot {
    double en;
    int32_t x_i[3];
    double x[3];
    FpDot *nb[3][3][3];
    int type;  // 0 undecided, 1 slope, 2 minimum, 3 maximum, 4 saddle, 5 path, 6 irregular
    int cluster[3][3][3];
    int total_up;
    int total_dn;
    FpDot *up[8];
    FpDot *dn[8];
};

inline void fp_merge(int label[5][5][5], int c1, int c2) {
    if (c1 == c2 || c1 == 0 || c2 == 0) return;
    const int keep = std::min(c1, c2);
    const int drop = std::max(c1, c2);
    for (int p = 1; p <= 3; ++p)
        for (int q = 1; q <= 3; ++q)
            for (int s = 1; s <= 3; ++s)
                if (label[p][q][s] == drop) label[p][q][s] = keep;
}

inline void fp_cluster(FpDot *d) {
    int sign[5][5][5] = {};
    int label[5][5][5] = {};
    for (int p = 0; p < 3; ++p)
        for (int q = 0; q < 3; ++q)
            for (int s = 0; s < 3; ++s)
                if (p != 1 || q != 1 || s != 1)
                    sign[p + 1][q + 1][s + 1] = d->nb[p][q][s]->en < d->en ? -1 : 1;
    int counter = 1;
    for (int p = 1; p <= 3; ++p)
        for (int q = 1; q <= 3; ++q)
            for (int s = 1; s <= 3; ++s) {
                if (sign[p][q][s] == 0) continue;
                for (int a = p - 1; a <= p + 1; ++a)
                    for (int b = q - 1; b <= q + 1; ++b)
                        for (int c = s - 1; c <= s + 1; ++c) {
                            if (label[a][b][c] == 0 || sign[a][b][c] != sign[p][q][s]) continue;
                            if (label[p][q][s] == 0)
                                label[p][q][s] = label[a][b][c];
                            else
                                fp_merge(label, label[p][q][s], label[a][b][c]);
                        }
                if (label[p][q][s] == 0) label[p][q][s] = sign[p][q][s] * counter++;
            }
    for (int p = 0; p < 3; ++p)
        for (int q = 0; q < 3; ++q)
            for (int s = 0; s < 3; ++s) d->cluster[p][q][s] = label[p + 1][q + 1][s + 1];
}

inline void fp_classify(FpDot *d) {
    const int *label = &d->cluster[0][0][0];
    int top = 0, bottom = 0;
    d->total_up = d->total_dn = 0;
    for (int m = 0; m < 27; ++m) {
        if (label[m] > top) {
            ++d->total_up;
            top = label[m];
        } else if (label[m] < bottom) {
            ++d->total_dn;
            bottom = label[m];
        }
    }
    if (d->total_dn == 0)
        d->type = 2;
    else if (d->total_dn == 2 || d->total_dn == 3)
        d->type = 4;
    else if (d->total_dn == 1)
        d->type = d->total_up == 1 ? 1 : 6;
    else
        d->type = 6;
    if (d->total_up == 0 && d->total_dn > 0) d->type = 3;
}

inline void fp_branch(FpDot *d) {
    const int *label = &d->cluster[0][0][0];
    FpDot *const *nb = &d->nb[0][0][0];
    for (int rising = 1; rising >= 0; --rising) {
        int running = 0, count = 0;
        for (int m = 0; m < 27 && count < 8; ++m) {
            if (rising ? label[m] <= running : label[m] >= running) continue;
            running = label[m];
            double best = d->en;
            FpDot *pick = nullptr;
            for (int t = 0; t < 27; ++t) {
                if (label[t] != running) continue;
                if (rising ? nb[t]->en >= best : nb[t]->en <= best) {
                    best = nb[t]->en;
                    pick = nb[t];
                }
            }
            (rising ? d->up : d->dn)[count++] = pick;
        }
    }
}

using CellPtr = std::unique_ptr<VELMAR_CELL, void (*)(VELMAR_CELL *)>;

inline CellPtr fp_map_cell(const VELMAR_CUBE &cube, double barrier_max) {
    const int32_t *n = cube.n;
    std::vector<std::vector<std::vector<FpDot>>> dot(
        n[0], std::vector<std::vector<FpDot>>(n[1], std::vector<FpDot>(n[2])));
    for (int i = 0; i < n[0]; ++i)
        for (int j = 0; j < n[1]; ++j)
            for (int k = 0; k < n[2]; ++k) {
                FpDot &d = dot[i][j][k];
                std::memset(&d, 0, sizeof d);
                d.en = cube.en[i][j][k];
                d.x_i[0] = i, d.x_i[1] = j, d.x_i[2] = k;
                velmar_vector3_double_sum3(d.x, k, cube.a_i[2], j, cube.a_i[1], i, cube.a_i[0]);
                for (int p = 0; p < 3; ++p)
                    for (int q = 0; q < 3; ++q)
                        for (int s = 0; s < 3; ++s)
                            d.nb[p][q][s] =
                                &dot[(i + p - 1 + n[0]) % n[0]][(j + q - 1 + n[1]) % n[1]]
                                    [(k + s - 1 + n[2]) % n[2]];
            }
    for (auto &plane : dot)
        for (auto &row : plane)
            for (FpDot &d : row) {
                fp_cluster(&d);
                fp_classify(&d);
                fp_branch(&d);
            }
    struct Half {
        std::vector<FpDot *> dots;
        double barrier;
    };
    std::vector<Half> halves;
    for (auto &plane : dot)
        for (auto &row : plane)
            for (FpDot &saddle : row) {
                if (saddle.type != 4) continue;
                for (int h = 0; h < saddle.total_dn; ++h) {
                    Half half{{&saddle}, 0.0};
                    for (FpDot *d = saddle.dn[h];; d = d->dn[0]) {
                        if (d->type != 1 && d->type != 2 && d->type != 4 && d->type != 5 &&
                            d->total_dn != 1)
                            return CellPtr(nullptr, velmar_cell_free);
                        half.dots.push_back(d);
                        if (d->type == 2 || d->type == 4) {
                            half.barrier = saddle.en - d->en;
                            break;
                        }
                        if (half.dots.size() >= 2000) return CellPtr(nullptr, velmar_cell_free);
                    }
                    halves.push_back(std::move(half));
                }
            }
    for (const Half &half : halves) {
        if (barrier_max > 0 && half.barrier > barrier_max) continue;
        for (FpDot *d : half.dots)
            if (d->type == 0 || d->type == 1) d->type = 5;
    }
    std::vector<const FpDot *> shown;
    for (auto &plane : dot)
        for (auto &row : plane)
            for (FpDot &d : row)
                if (d.type == 2 || d.type == 4 || d.type == 5) shown.push_back(&d);
    CellPtr cell(velmar_cell_new(static_cast<long>(shown.size())), velmar_cell_free);
    for (size_t a = 0; a < shown.size(); ++a) {
        const FpDot &d = *shown[a];
        VELMAR_ATOM &atom = cell->atom[a];
        const char *name = d.type == 5       ? "PAT"
                           : d.type == 2     ? "MIN"
                           : d.total_dn == 2 ? "SAD1"
                           : d.total_dn == 3 ? "SAD2"
                                             : "SAD3";
        const char *type = d.type == 5       ? "H"
                           : d.type == 2     ? "Li"
                           : d.total_dn == 2 ? "Na"
                           : d.total_dn == 3 ? "K"
                                             : "Cs";
        std::strcpy(atom.name, name);
        std::strcpy(atom.type, type);
        atom.os = 1;
        atom.occ = 1.0;
        velmar_vector3_double_copy(atom.x, d.x);
    }
    velmar_matrix33_double_copy(cell->a, cube.a);
    velmar_cell_update_fractional(cell.get());
    return cell;
}

}  // namespace velmar_oracle

#endif  // VELMAR_TEST_ORACLE_FPMAP_H
