// Pair forces, potential energy and virial of the molecular dynamics, from a neighbour list with a
// skin.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "core/velmar-la.h"
#include "core/velmar.h"
#include "model/velmar-energy.h"
#include "transport/velmar-md-pairs.h"
#include "transport/velmar-md.h"

namespace velmar::detail {

namespace {

constexpr double kCoulomb = 14.39964;
constexpr double kSkin = 2.0;  // A

// The image range of the plain sums: the integer part of 1 + 12 / |a_r|.
void image_range(const VELMAR_CELL &cell, int m[3]) {
    for (int r = 0; r < 3; ++r)
        m[r] = static_cast<int>(1.0 + kMdReach / velmar_vector3_double_length(cell.a[r]));
}

}  // namespace

double md_pair(const VELMAR_MD &md, int32_t i, int32_t j, double d, bool force) {
    const VELMAR_PROPERTY &ppt = *md.ppt;
    const int si = md.pairs->species[i];
    const int sj = md.pairs->species[j];
    const VELMAR_ATOM &ai = md.cell->atom[i];
    const VELMAR_ATOM &aj = md.cell->atom[j];
    const double occ = ai.occ * aj.occ;
    const int sign = ai.os * aj.os;
    if (sign < 0) {
        const VELMAR_PROPERTY_BINARY &b = ai.os > 0 ? ppt.bin[si][sj] : ppt.bin[sj][si];
        if (d > b.cutoff) return 0.0;
        if (force) return kCoulomb * velmar_force_bonding(d, b.d0, b.rmin, b.b) * occ;
        return velmar_energy_bonding_with_energy_shift(d, b.d0, b.rmin, b.b, b.en_s) * occ;
    }
    if (sign > 0 && d <= kMdReach) {
        const double q = ppt.uni[si].q * ppt.uni[sj].q;
        const double r_eff = ppt.sf * (ppt.uni[si].rc + ppt.uni[sj].rc);
        if (force) return kCoulomb * velmar_force_coulombic(d, q, r_eff) * occ;
        return velmar_energy_coulombic(d, q, r_eff) * occ;
    }
    return 0.0;
}

bool MdPairs::setup(const VELMAR_MD &md) {
    const VELMAR_CELL &cell = *md.cell;
    species.assign(static_cast<size_t>(cell.total), -1);
    mobile.clear();
    for (int32_t a = 0; a < cell.total; ++a) {
        species[a] = velmar_property_find_index(md.ppt, cell.atom[a].type, cell.atom[a].os);
        if (species[a] < 0) return false;
        if (!cell.atom[a].ignored) mobile.push_back(a);
    }
    built = false;
    return true;
}

void MdPairs::position(const VELMAR_MD &md, int32_t a, double p[3]) const {
    const double *x = md.cell->atom[a].ignored ? md.cell->atom[a].x : md.x[a];
    for (int r = 0; r < 3; ++r) p[r] = x[r];
}

void MdPairs::build(const VELMAR_MD &md) {
    const VELMAR_CELL &cell = *md.cell;
    int m[3];
    image_range(cell, m);
    const double reach = kMdReach + kSkin;
    const long nm = static_cast<long>(mobile.size());
    std::vector<std::vector<Entry>> found(static_cast<size_t>(nm));
#pragma omp parallel for schedule(dynamic, 4)
    for (long p = 0; p < nm; ++p) {
        const int32_t i = mobile[p];
        const double *xi = cell.atom[i].x;
        double pi[3];
        position(md, i, pi);
        for (int32_t j = 0; j < cell.total; ++j) {
            const double *xj = cell.atom[j].x;
            double pj[3];
            position(md, j, pj);
            for (int u = -m[0]; u <= m[0]; ++u) {
                for (int v = -m[1]; v <= m[1]; ++v) {
                    for (int w = -m[2]; w <= m[2]; ++w) {
                        if (j == i && u == 0 && v == 0 && w == 0) continue;
                        double r[3];
                        for (int c = 0; c < 3; ++c)
                            r[c] = u * cell.a[0][c] + v * cell.a[1][c] + w * cell.a[2][c] + xj[c];
                        if (velmar_vector3_double_distance(r, xi) > reach) continue;
                        // The partner in the frame of the unwrapped positions.
                        Entry e{};
                        e.partner = j;
                        for (int c = 0; c < 3; ++c) e.offset[c] = (r[c] - pj[c]) - (xi[c] - pi[c]);
                        found[p].push_back(e);
                    }
                }
            }
        }
    }
    start.assign(static_cast<size_t>(nm) + 1, 0);
    for (long p = 0; p < nm; ++p) start[p + 1] = start[p] + static_cast<long>(found[p].size());
    entries.clear();
    entries.reserve(static_cast<size_t>(start[nm]));
    for (auto &list : found) entries.insert(entries.end(), list.begin(), list.end());
    anchor.resize(static_cast<size_t>(nm));
    for (long p = 0; p < nm; ++p) position(md, mobile[p], anchor[p].data());
    built = true;
}

void MdPairs::refresh(const VELMAR_MD &md) {
    bool stale = !built;
    for (size_t p = 0; p < mobile.size() && !stale; ++p) {
        double now[3];
        position(md, mobile[p], now);
        stale = velmar_vector3_double_distance(now, anchor[p].data()) > 0.5 * kSkin;
    }
    if (stale) build(md);
}

}  // namespace velmar::detail

using velmar::detail::MdPairs;

namespace {

bool md_ready(const VELMAR_MD *md) {
    if (md != nullptr && md->cell != nullptr && md->ppt != nullptr && md->pairs != nullptr &&
        md->f != nullptr) {
        return true;
    }
    std::fputs("Error: VELMAR_MD has not been properly initialized.\n", stderr);
    return false;
}

// Calls visit(p, i, j, vector from i to j, distance) for every listed pair of mobile atom p (i its
// atom index) within reach; pairs closer than 0.1 A are reported through `near` instead.
template <class Visit, class Near>
void for_each_pair(const VELMAR_MD &md, long p, Visit visit, Near near) {
    const MdPairs &pairs = *md.pairs;
    const int32_t i = pairs.mobile[p];
    double pi[3];
    pairs.position(md, i, pi);
    for (long e = pairs.start[p]; e < pairs.start[p + 1]; ++e) {
        const MdPairs::Entry &entry = pairs.entries[e];
        double pj[3];
        pairs.position(md, entry.partner, pj);
        double r[3];
        for (int c = 0; c < 3; ++c) r[c] = pj[c] + entry.offset[c] - pi[c];
        const double d = velmar_vector3_double_length(r);
        if (d > velmar::detail::kMdReach) continue;
        if (d <= velmar::detail::kMdNearest) {
            near(entry.partner, d);
            continue;
        }
        visit(i, entry.partner, r, d);
    }
}

// Per mobile atom a number from its pairs (in parallel), then the sum in atom order.
template <class PerAtom>
double sum_over_mobile(const VELMAR_MD &md, PerAtom per_atom) {
    const long nm = static_cast<long>(md.pairs->mobile.size());
    std::vector<double> part(static_cast<size_t>(nm), 0.0);
#pragma omp parallel for schedule(dynamic, 4)
    for (long p = 0; p < nm; ++p) part[p] = per_atom(p);
    double total = 0.0;
    for (double value : part) total += value;
    return total;
}

}  // namespace

double (*velmar_md_calculate_force(VELMAR_MD *md))[3] {
    if (!md_ready(md)) return nullptr;
    MdPairs &pairs = *md->pairs;
    pairs.refresh(*md);
    std::memset(md->f, 0, sizeof(double[3]) * static_cast<size_t>(md->cell->total));
    const long nm = static_cast<long>(pairs.mobile.size());
    std::vector<std::vector<double>> close(static_cast<size_t>(nm));
#pragma omp parallel for schedule(dynamic, 4)
    for (long p = 0; p < nm; ++p) {
        double *f = md->f[pairs.mobile[p]];
        for_each_pair(
            *md, p,
            [&](int32_t i, int32_t j, const double r[3], double d) {
                const double force = velmar::detail::md_pair(*md, i, j, d, true);
                for (int c = 0; c < 3; ++c) f[c] += r[c] * force / d;
            },
            [&](int32_t, double d) { close[p].push_back(d); });
    }
    for (const auto &list : close) {
        for (double d : list) {
            std::printf("Warning: unphysically low distance %lf detected at step %ld.\n", d,
                        static_cast<long>(md->step));
        }
    }
    return md->f;
}

int velmar_md_calculate_energy_potential(VELMAR_MD *md) {
    if (!md_ready(md)) return 1;
    md->pairs->refresh(*md);
    const double sum = sum_over_mobile(*md, [md](long p) {
        double e = 0.0;
        for_each_pair(
            *md, p,
            [&](int32_t i, int32_t j, const double *, double d) {
                e += velmar::detail::md_pair(*md, i, j, d, false);
            },
            [](int32_t, double) {});
        return e;
    });
    md->en_p = sum * 7.19982;
    return 0;
}

int velmar_md_calculate_pressure(VELMAR_MD *md) {
    if (!md_ready(md)) return 1;
    md->pairs->refresh(*md);
    double virial = sum_over_mobile(*md, [md](long p) {
        double w = 0.0;
        for_each_pair(
            *md, p,
            [&](int32_t i, int32_t j, const double *, double d) {
                w += -0.5 * velmar::detail::md_pair(*md, i, j, d, true) * d;
            },
            [](int32_t, double) {});
        return w;
    });
    for (int32_t i : md->pairs->mobile)
        virial += md->m[i] * velmar_vector3_double_dot(md->v[i], md->v[i]);
    md->pressure = virial / (3.0 * md->volume);
    return 0;
}
