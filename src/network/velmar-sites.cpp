// Site classes of a landscape: symmetry-related minima of the basin graph, named from the
// structure, with curvature, attempt frequency and barriers.
//
// Classes: each card maps a site's minimum to a fractional position; the sites whose basins hold
// the voxels around that position are candidates, and one whose minimum lies within a voxel
// diagonal of the image, at an energy within the tolerance, joins the site's class. Names: each
// structure atom of the conducting ion names the class of its nearest minimum (within the label
// radius); of several atoms naming one class the nearest counts.
#include "network/velmar-sites.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <numeric>
#include <string>
#include <vector>

#include "core/velmar-la.h"
#include "core/velmar-output.h"
#include "core/velmar-solver.h"
#include "core/velmar.h"
#include "landscape/velmar-cube-match.h"
#include "model/velmar-property.h"
#include "network/velmar-basin-percolation.h"
#include "network/velmar-basin.h"
#include "network/velmar-percolation.h"

namespace {

using GraphPtr = velmar::Owned<VELMAR_BASIN_GRAPH, velmar_basin_graph_free>;
using KruskalPtr = velmar::Owned<VELMAR_BASIN_PERCOLATION, velmar_basin_percolation_free>;
using SitesPtr = velmar::Owned<VELMAR_SITES, velmar_sites_free>;

// The attempt frequency of a harmonic well, nu = (1 / 2 pi) sqrt(K / m): with K in eV/A^2 and m
// in atomic mass units, (1 / 2 pi) sqrt(1 eV / (1 A^2 1 u)) = 15.63 THz, taken as 15.6.
constexpr double kThzPerSqrtCurvatureOverMass = 15.6;

// Cartesian length of the shortest image of the fractional difference d.
double min_image_length(const double d[3], const double a[3][3]) {
    double base[3];
    for (int r = 0; r < 3; ++r) base[r] = d[r] - std::round(d[r]);
    double best = HUGE_VAL;
    for (int i = -1; i <= 1; ++i) {
        for (int j = -1; j <= 1; ++j) {
            for (int k = -1; k <= 1; ++k) {
                double x[3];
                velmar_vector3_double_sum3(x, base[0] + i, a[0], base[1] + j, a[1], base[2] + k,
                                           a[2]);
                best = std::min(best, velmar_vector3_double_length(x));
            }
        }
    }
    return best;
}

// The longest of the voxel's four body diagonals.
double voxel_diagonal(const double a_i[3][3]) {
    double best = 0.0;
    for (int s1 = -1; s1 <= 1; s1 += 2) {
        for (int s2 = -1; s2 <= 1; s2 += 2) {
            double x[3];
            velmar_vector3_double_sum3(x, 1.0, a_i[0], s1, a_i[1], s2, a_i[2]);
            best = std::max(best, velmar_vector3_double_length(x));
        }
    }
    return best;
}

void fractional(double f[3], const VELMAR_BASIN_SITE &site, const int32_t n[3]) {
    for (int r = 0; r < 3; ++r) f[r] = static_cast<double>(site.x_i[r]) / n[r];
}

struct UnionFind {
    std::vector<int32_t> parent;
    explicit UnionFind(int32_t n) : parent(static_cast<size_t>(n)) {
        std::iota(parent.begin(), parent.end(), 0);
    }
    int32_t find(int32_t s) {
        while (parent[s] != s) s = parent[s] = parent[parent[s]];
        return s;
    }
    void unite(int32_t p, int32_t q) {
        p = find(p);
        q = find(q);
        if (p != q) parent[std::max(p, q)] = std::min(p, q);
    }
};

// Sites joined by the cards (each class's root is its lowest-numbered site).
UnionFind classes_by_symmetry(const VELMAR_BASIN_GRAPH &g, const VELMAR_SYMMETRY &symmetry) {
    UnionFind uf(g.total_site);
    const double reach = voxel_diagonal(g.a_i) * (1.0 + 1e-9);
    std::vector<int32_t> candidates;
    for (int32_t s = 0; s < g.total_site; ++s) {
        double f[3];
        fractional(f, g.site[s], g.n);
        for (int c = 0; c < symmetry.total; ++c) {
            const VELMAR_CARD &card = symmetry.card[c];
            double image[3];
            velmar_matrix33_double_multiply_vector3(image, card.r_f, f);
            for (int r = 0; r < 3; ++r) image[r] += card.t_f[r];
            int64_t centre[3];
            for (int r = 0; r < 3; ++r) centre[r] = std::llround(image[r] * g.n[r]);
            candidates.clear();
            for (int di = -1; di <= 1; ++di) {
                for (int dj = -1; dj <= 1; ++dj) {
                    for (int dk = -1; dk <= 1; ++dk) {
                        const int64_t x[3] = {velmar_mod_long(centre[0] + di, g.n[0]),
                                              velmar_mod_long(centre[1] + dj, g.n[1]),
                                              velmar_mod_long(centre[2] + dk, g.n[2])};
                        const int32_t site = g.label[(x[0] * g.n[1] + x[1]) * g.n[2] + x[2]];
                        if (site >= 0) candidates.push_back(site);
                    }
                }
            }
            for (const int32_t t : candidates) {
                if (std::fabs(g.site[t].en - g.site[s].en) > VELMAR_SITES_ENERGY_TOLERANCE)
                    continue;
                double ft[3];
                fractional(ft, g.site[t], g.n);
                const double d[3] = {ft[0] - image[0], ft[1] - image[1], ft[2] - image[2]};
                if (min_image_length(d, g.a) <= reach) uf.unite(s, t);
            }
        }
    }
    return uf;
}

// B^-1 for the matrix B whose columns are the voxel steps: grid index steps per A.
bool inverse_of_steps(double inv[3][3], const double a_i[3][3]) {
    double B[3][3];
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) B[c][r] = a_i[r][c];
    const double det = velmar_matrix33_double_determinant(B);
    if (!(std::fabs(det) > 0.0)) return false;
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            const int r1 = (c + 1) % 3;
            const int r2 = (c + 2) % 3;
            const int c1 = (r + 1) % 3;
            const int c2 = (r + 2) % 3;
            inv[r][c] = (B[r1][c1] * B[r2][c2] - B[r1][c2] * B[r2][c1]) / det;
        }
    }
    return true;
}

// The Hessian at a voxel from second differences D(v) = E(v) - 2 E(0) + E(-v) = v^T H v + O(v^4)
// along the grid steps and their diagonals, in eV per grid step squared, then turned cartesian
// (eV/A^2): x = B u, so H = B^-T H_u B^-1. A mixed element comes from D(r + s) - D(r - s) when the
// two diagonals are equally long, else from the shorter one alone (D(r +- s) - D(r) - D(s)), which
// on a hexagonal grid keeps the error of the long diagonal out. All are exact for a quadratic.
// Eigenvalues ascending; NAN when a neighbour holds no finite value.
void curvature(double k[3], const VELMAR_CUBE &cube, const int32_t x[3]) {
    const auto at = [&cube, x](const int d[3]) {
        return cube.en[velmar_mod_long(x[0] + d[0], cube.n[0])][velmar_mod_long(
            x[1] + d[1], cube.n[1])][velmar_mod_long(x[2] + d[2], cube.n[2])];
    };
    const double e0 = cube.en[x[0]][x[1]][x[2]];
    const auto second = [&at, e0](int d0, int d1, int d2) {
        const int plus[3] = {d0, d1, d2};
        const int minus[3] = {-d0, -d1, -d2};
        return at(plus) - 2.0 * e0 + at(minus);
    };
    const auto length = [&cube](int r, int s, int sign) {
        double v[3];
        velmar_vector3_double_sum2(v, 1.0, cube.a_i[r], sign, cube.a_i[s]);
        return velmar_vector3_double_length(v);
    };
    double Hu[3][3];
    double D[3];
    for (int r = 0; r < 3; ++r) {
        const int d[3] = {r == 0, r == 1, r == 2};
        D[r] = second(d[0], d[1], d[2]);
        Hu[r][r] = D[r];
    }
    for (int r = 0; r < 3; ++r) {
        for (int s = r + 1; s < 3; ++s) {
            int sum[3] = {0, 0, 0};
            sum[r] = 1;
            sum[s] = 1;
            int diff[3] = {0, 0, 0};
            diff[r] = 1;
            diff[s] = -1;
            const double d_sum = second(sum[0], sum[1], sum[2]);
            const double d_diff = second(diff[0], diff[1], diff[2]);
            const double l_sum = length(r, s, 1);
            const double l_diff = length(r, s, -1);
            double h = 0.25 * (d_sum - d_diff);
            if (l_sum < l_diff * (1.0 - 1e-9)) h = 0.5 * (d_sum - D[r] - D[s]);
            if (l_diff < l_sum * (1.0 - 1e-9)) h = 0.5 * (D[r] + D[s] - d_diff);
            Hu[r][s] = Hu[s][r] = h;
        }
    }
    double inv[3][3];
    double H[3][3] = {};
    double eiv[3][3];
    if (!inverse_of_steps(inv, cube.a_i)) {
        k[0] = k[1] = k[2] = NAN;
        return;
    }
    for (int c = 0; c < 3; ++c)
        for (int d = 0; d < 3; ++d)
            for (int r = 0; r < 3; ++r)
                for (int s = 0; s < 3; ++s) H[c][d] += inv[r][c] * Hu[r][s] * inv[s][d];
    if (velmar_matrix33_double_eigensolver_jacobi(k, eiv, H) != 0) k[0] = k[1] = k[2] = NAN;
}

struct Naming {
    double distance = HUGE_VAL;
    int32_t atom = -1;
};

}  // namespace

VELMAR_SITES *velmar_sites_new(int32_t total) {
    SitesPtr sites(static_cast<VELMAR_SITES *>(std::calloc(1, sizeof(VELMAR_SITES))));
    if (sites) {
        sites->site_class = static_cast<VELMAR_SITE_CLASS *>(
            std::calloc(static_cast<size_t>(std::max(total, 1)), sizeof(VELMAR_SITE_CLASS)));
    }
    if (!sites || sites->site_class == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_SITES.\n", stderr);
        return nullptr;
    }
    sites->total = total;
    return sites.release();
}

void velmar_sites_free(VELMAR_SITES *sites) {
    if (sites == nullptr) return;
    std::free(sites->site_class);
    std::free(sites);
}

VELMAR_SITES *velmar_sites_calculate(const VELMAR_CELL *cell, const VELMAR_SYMMETRY *symmetry,
                                     const VELMAR_CUBE *cube, const char *type, int os, double m) {
    if (cell == nullptr || cube == nullptr || cube->en == nullptr || type == nullptr) {
        std::fputs(
            "Error: VELMAR_CELL, VELMAR_CUBE or conducting ions info has not been "
            "properly initialized.\n",
            stderr);
        return nullptr;
    }
    if (velmar_cube_lattice_difference(cube, cell) > VELMAR_CUBE_LATTICE_TOLERANCE) {
        std::fputs("Error: the landscape does not belong to the structure.\n", stderr);
        return nullptr;
    }
    if (velmar_percolation_check_landscape(cube, nullptr, nullptr) != 0) {
        VELMAR_ERROR_NONZERO(velmar_percolation_check_landscape);
        return nullptr;
    }
    GraphPtr graph(velmar_basin_graph_new_from_cube(cube, true));
    if (!graph) {
        VELMAR_ERROR_NULL(velmar_basin_graph_new_from_cube);
        return nullptr;
    }
    KruskalPtr kruskal(velmar_basin_percolation_calculate(graph.get()));
    if (!kruskal) {
        VELMAR_ERROR_NULL(velmar_basin_percolation_calculate);
        return nullptr;
    }
    const VELMAR_BASIN_GRAPH &g = *graph;
    std::vector<std::vector<int32_t>> members;
    std::vector<Naming> naming;
    try {
        VELMAR_CARD identity{};
        for (int r = 0; r < 3; ++r) identity.r_f[r][r] = 1.0;
        const VELMAR_SYMMETRY p1{{}, {}, 1, 1, &identity};
        UnionFind uf = classes_by_symmetry(g, symmetry != nullptr ? *symmetry : p1);
        std::vector<int32_t> class_of(static_cast<size_t>(g.total_site), -1);
        for (int32_t s = 0; s < g.total_site; ++s) {
            const int32_t root = uf.find(s);
            if (class_of[root] < 0) {
                class_of[root] = static_cast<int32_t>(members.size());
                members.emplace_back();
            }
            class_of[s] = class_of[root];
            members[class_of[s]].push_back(s);
        }
        // By energy, then by representative (members are in site order, so front() is it).
        std::stable_sort(members.begin(), members.end(), [&g](const auto &p, const auto &q) {
            return g.site[p.front()].en < g.site[q.front()].en;
        });
        for (size_t c = 0; c < members.size(); ++c)
            for (const int32_t s : members[c]) class_of[s] = static_cast<int32_t>(c);
        naming.resize(members.size());
        for (int32_t a = 0; a < cell->total; ++a) {
            const VELMAR_ATOM &atom = cell->atom[a];
            if (atom.os != os || std::strcmp(atom.type, type) != 0) continue;
            double best = HUGE_VAL;
            int32_t nearest = -1;
            for (int32_t s = 0; s < g.total_site; ++s) {
                double f[3];
                fractional(f, g.site[s], g.n);
                const double d[3] = {f[0] - atom.x_f[0], f[1] - atom.x_f[1], f[2] - atom.x_f[2]};
                const double length = min_image_length(d, g.a);
                if (length < best) {
                    best = length;
                    nearest = s;
                }
            }
            if (nearest < 0 || best > VELMAR_SITES_LABEL_RADIUS) continue;
            Naming &n = naming[class_of[nearest]];
            if (best < n.distance) n = Naming{best, a};
        }
    } catch (const std::bad_alloc &) {
        std::fputs("Error: unable to allocate the site classes.\n", stderr);
        return nullptr;
    }
    SitesPtr sites(velmar_sites_new(static_cast<int32_t>(members.size())));
    if (!sites) {
        VELMAR_ERROR_NULL(velmar_sites_new);
        return nullptr;
    }
    velmar::copy_text(sites->type, sizeof sites->type, type);
    sites->os = os;
    sites->m = m;
    sites->total_site = g.total_site;
    sites->e_min = g.site[members.front().front()].en;
    int interstitials = 0;
    for (size_t c = 0; c < members.size(); ++c) {
        VELMAR_SITE_CLASS &sc = sites->site_class[c];
        const int32_t rep = members[c].front();
        const VELMAR_BASIN_SITE &site = g.site[rep];
        sc.multiplicity = static_cast<int32_t>(members[c].size());
        sc.site = rep;
        sc.en = site.en;
        sc.energy = site.en - sites->e_min;
        fractional(sc.x_f, site, g.n);
        if (naming[c].atom >= 0) {
            const VELMAR_ATOM &atom = cell->atom[naming[c].atom];
            velmar::copy_text(sc.label, sizeof sc.label, atom.name);
            sc.occupancy = atom.occ;
            sc.distance = naming[c].distance;
        } else {
            char name[24];
            std::snprintf(name, sizeof name, "i%d", ++interstitials);
            velmar::copy_text(sc.label, sizeof sc.label, name);
            sc.distance = -1.0;
        }
        curvature(sc.k, *cube, site.x_i);
        // As the kinetic Monte Carlo takes it: the curvature averaged over all directions, so that
        // the table's frequency is the one the hops out of the site are given.
        const double mean_k = (sc.k[0] + sc.k[1] + sc.k[2]) / 3.0;
        sc.frequency =
            mean_k > 0.0 && m > 0.0 ? kThzPerSqrtCurvatureOverMass * std::sqrt(mean_k / m) : 0.0;
        sc.barrier_out = HUGE_VAL;
        for (int d = 0; d < 3; ++d) sc.barrier_join[d] = HUGE_VAL;
        for (const int32_t s : members[c]) {
            for (int d = 0; d < 3; ++d) {
                sc.barrier_join[d] =
                    std::min(sc.barrier_join[d], kruskal->join[s][d] - sites->e_min);
            }
        }
    }
    // The lowest hop out of each class, over all of its members.
    std::vector<int32_t> class_of(static_cast<size_t>(g.total_site));
    for (size_t c = 0; c < members.size(); ++c)
        for (const int32_t s : members[c]) class_of[s] = static_cast<int32_t>(c);
    for (int64_t h = 0; h < g.total_hop; ++h) {
        const VELMAR_BASIN_HOP &hop = g.hop[h];
        for (const int32_t end : {hop.from, hop.to}) {
            VELMAR_SITE_CLASS &sc = sites->site_class[class_of[end]];
            sc.barrier_out = std::min(sc.barrier_out, hop.saddle - g.site[end].en);
        }
    }
    return sites.release();
}

void velmar_sites_print(const VELMAR_SITES *sites) {
    if (sites == nullptr) {
        std::printf("SITES: (not allocated)\n");
        return;
    }
    std::printf(
        "SITES: %d minima of %s%d%c (mass %.3f u) in %d symmetry classes; energies above "
        "the lowest (%.6f eV).\n",
        sites->total_site, sites->type, std::abs(sites->os), sites->os < 0 ? '-' : '+', sites->m,
        sites->total, sites->e_min);
    std::printf("SITES: %4s %-11s %9s %4s %7s %7s %7s %6s %8s %8s %8s %9s %9s %9s %9s %9s\n",
                "site", "label", "energy", "mult", "x", "y", "z", "occ", "k1", "k2", "k3",
                "freq(THz)", "out", "1D", "2D", "3D");
    const auto barrier = [](char *text, size_t size, double b) {
        if (b == HUGE_VAL) {
            std::snprintf(text, size, "none");
        } else {
            std::snprintf(text, size, "%.6f", b);
        }
    };
    for (int32_t c = 0; c < sites->total; ++c) {
        const VELMAR_SITE_CLASS &sc = sites->site_class[c];
        char out[32];
        char join[3][32];
        barrier(out, sizeof out, sc.barrier_out);
        for (int d = 0; d < 3; ++d) barrier(join[d], sizeof join[d], sc.barrier_join[d]);
        std::printf(
            "SITES: %4d %-11s %9.6f %4d %7.4f %7.4f %7.4f %6.3f %8.3f %8.3f %8.3f %9.3f %9s %9s "
            "%9s %9s\n",
            c + 1, sc.label, sc.energy, sc.multiplicity, sc.x_f[0], sc.x_f[1], sc.x_f[2],
            sc.occupancy, sc.k[0], sc.k[1], sc.k[2], sc.frequency, out, join[0], join[1], join[2]);
    }
}

VELMAR_TEXT *velmar_sites_export_to_text(const VELMAR_SITES *sites) {
    if (sites == nullptr) {
        std::fputs("Error: VELMAR_SITES has not been properly initialized.\n", stderr);
        return nullptr;
    }
    std::string out =
        "site,label,energy,multiplicity,x,y,z,occupancy,barrier_out,frequency,k1,k2,k3,"
        "barrier_1d,barrier_2d,barrier_3d\r\n";
    const auto barrier = [&out](double b) {
        char text[32];
        if (b == HUGE_VAL) {
            std::snprintf(text, sizeof text, ",none");
        } else {
            std::snprintf(text, sizeof text, ",%.6f", b);
        }
        out += text;
    };
    for (int32_t c = 0; c < sites->total; ++c) {
        const VELMAR_SITE_CLASS &sc = sites->site_class[c];
        char line[256];
        std::snprintf(line, sizeof line, "%d,%s,%.6f,%d,%.6f,%.6f,%.6f,%.4f", c + 1, sc.label,
                      sc.energy, sc.multiplicity, sc.x_f[0], sc.x_f[1], sc.x_f[2], sc.occupancy);
        out += line;
        barrier(sc.barrier_out);
        std::snprintf(line, sizeof line, ",%.4f,%.4f,%.4f,%.4f", sc.frequency, sc.k[0], sc.k[1],
                      sc.k[2]);
        out += line;
        for (int d = 0; d < 3; ++d) barrier(sc.barrier_join[d]);
        out += "\r\n";
    }
    VELMAR_TEXT *text = velmar_text_new(out.c_str());
    if (text == nullptr) VELMAR_ERROR_NULL(velmar_text_new);
    return text;
}

int velmar_sites_analyze_export_to_file(const VELMAR_CELL *cell, const VELMAR_SYMMETRY *symmetry,
                                        const VELMAR_CUBE *cube, const char *type, int os,
                                        const char *cif_name, const char *cube_name,
                                        const char *dir_unitary) {
    if (cell == nullptr || cube == nullptr || type == nullptr || cif_name == nullptr ||
        cube_name == nullptr || dir_unitary == nullptr) {
        std::fputs(
            "Error: VELMAR_CELL, VELMAR_CUBE or conducting ions info has not been "
            "properly initialized.\n",
            stderr);
        return 1;
    }
    if (velmar_cube_check_lattice(cube, cell, cube_name, cif_name) != 0) {
        VELMAR_ERROR_NONZERO(velmar_cube_check_lattice);
        return 1;
    }
    VELMAR_PROPERTY_UNITARY uni{};
    if (velmar_property_unitary_read_from_file(&uni, type, os, dir_unitary) != 0) {
        VELMAR_ERROR_NONZERO(velmar_property_unitary_read_from_file);
        return 1;
    }
    if (!(uni.m > 0.0)) {
        std::fprintf(stderr, "Error: species %s%d%c is not in the unitary database %s.\n", type,
                     std::abs(os), os < 0 ? '-' : '+', dir_unitary);
        return 1;
    }
    const std::string csv = std::string(cif_name) + ".sites.csv";
    if (!velmar::output_can_be_created(csv)) {
        std::fprintf(stderr, "Error: unable to create %s.\n", csv.c_str());
        return 1;
    }
    bool present = false;
    for (int32_t a = 0; a < cell->total; ++a) {
        present = present || (cell->atom[a].os == os && std::strcmp(cell->atom[a].type, type) == 0);
    }
    if (!present) {
        std::printf(
            "Warning: the structure has no %s%d%c site; every class is named as an "
            "interstitial.\n",
            type, std::abs(os), os < 0 ? '-' : '+');
    }
    SitesPtr sites(velmar_sites_calculate(cell, symmetry, cube, type, os, uni.m));
    if (!sites) {
        VELMAR_ERROR_NULL(velmar_sites_calculate);
        return 1;
    }
    velmar_sites_print(sites.get());
    velmar::Owned<VELMAR_TEXT, velmar_text_free> text(velmar_sites_export_to_text(sites.get()));
    if (!text) {
        VELMAR_ERROR_NULL(velmar_sites_export_to_text);
        return 1;
    }
    if (velmar_text_export_to_file(text.get(), csv.c_str()) != 0) {
        VELMAR_ERROR_NONZERO(velmar_text_export_to_file);
        return 1;
    }
    std::printf("Message: site classes written to %s.\n", csv.c_str());
    return 0;
}
