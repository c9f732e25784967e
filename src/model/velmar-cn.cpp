// Coordination numbers. The neighbours of an analysed atom are streamed from the periodic images
// of the cell's atoms, one spherical layer of distances at a time, so that memory stays bounded
// whatever the reach; atoms are analysed in parallel, each into its own entry, so the result does
// not depend on the number of threads.
#include "model/velmar-cn.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "core/velmar-la.h"
#include "core/velmar.h"
#include "model/velmar-bv.h"

namespace {

constexpr double kSameSite = 0.3;      // A: closer images share the site (mixed or split occupancy)
constexpr double kLayerAtoms = 2.0e5;  // distances expected in one layer, bounding the memory held
constexpr double kLayerMin = 0.5;      // A
constexpr double kLayerMax = 8.0;      // A
constexpr double kMaxShift = 1.0e6;    // lattice steps; far beyond any reach that ends
constexpr double kPi = 3.14159265358979323846;

// What the image enumeration needs of the lattice.
struct Geometry {
    double a[3][3] = {};
    double extent[3] = {};    // fractional extent of one angstrom along each axis: 1 / face spacing
    double a2_length2 = 0.0;  // |a2|^2
    double diagonal = 0.0;    // longest body diagonal |+-a0 +-a1 +-a2|
    double volume = 0.0;
    bool ok = false;
};

Geometry geometry_of(const VELMAR_CELL &cell) {
    Geometry g;
    velmar_matrix33_double_copy(g.a, cell.a);
    g.volume = std::fabs(velmar_matrix33_double_determinant(cell.a));
    if (!(g.volume > 1e-9)) return g;
    for (int k = 0; k < 3; ++k) {
        double face[3];
        velmar_vector3_double_cross(face, cell.a[(k + 1) % 3], cell.a[(k + 2) % 3]);
        g.extent[k] = velmar_vector3_double_length(face) / g.volume;
    }
    g.a2_length2 = velmar_vector3_double_dot(cell.a[2], cell.a[2]);
    for (int s1 = -1; s1 <= 1; s1 += 2) {
        for (int s2 = -1; s2 <= 1; s2 += 2) {
            double d[3];
            velmar_vector3_double_sum3(d, 1.0, cell.a[0], s1, cell.a[1], s2, cell.a[2]);
            g.diagonal = std::max(g.diagonal, velmar_vector3_double_length(d));
        }
    }
    g.ok = true;
    return g;
}

long clamp_shift(double n) { return static_cast<long>(std::clamp(n, -kMaxShift, kMaxShift)); }

// Calls visit(d, x) for every image of atom t at a distance d from atom s with r_in < d <= r_out
// and d >= kSameSite; x is the image's position relative to s (cartesian). The first two lattice
// indices run over the range the face spacings allow; along the third, each column of images is
// cut to the chord of the sphere (and the part inside r_in skipped), so a thin layer far out costs
// little more than its own images. Every candidate is still tested by its exact distance.
template <class Visit>
void visit_images(const VELMAR_CELL &cell, const Geometry &g, int32_t s, int32_t t, double r_in,
                  double r_out, Visit &&visit) {
    double df[3];
    for (int r = 0; r < 3; ++r) df[r] = cell.atom[t].x_f[r] - cell.atom[s].x_f[r];
    const double out2 = r_out * r_out;
    const double in2 = r_in * r_in;
    const double same2 = kSameSite * kSameSite;
    const double *a2 = g.a[2];
    const long l0 = clamp_shift(std::floor(-df[0] - r_out * g.extent[0]));
    const long l1 = clamp_shift(std::ceil(-df[0] + r_out * g.extent[0]));
    const long m0 = clamp_shift(std::floor(-df[1] - r_out * g.extent[1]));
    const long m1 = clamp_shift(std::ceil(-df[1] + r_out * g.extent[1]));
    for (long l = l0; l <= l1; ++l) {
        for (long m = m0; m <= m1; ++m) {
            double c[3];
            const double u = df[0] + static_cast<double>(l);
            const double v = df[1] + static_cast<double>(m);
            for (int r = 0; r < 3; ++r) c[r] = u * g.a[0][r] + v * g.a[1][r] + df[2] * a2[r];
            // |c + n a2|^2 = q + 2 n p + n^2 |a2|^2
            const double p = velmar_vector3_double_dot(c, a2);
            const double q = velmar_vector3_double_dot(c, c);
            const double disc = p * p - g.a2_length2 * (q - out2);
            if (disc < 0.0) continue;
            const double root = std::sqrt(disc);
            const long n0 = clamp_shift(std::floor((-p - root) / g.a2_length2));
            const long n1 = clamp_shift(std::ceil((-p + root) / g.a2_length2));
            long h0 = 1;  // the images surely inside r_in: h0..h1 (none when h0 > h1)
            long h1 = 0;
            const double disc_in = p * p - g.a2_length2 * (q - in2);
            if (r_in > 0.0 && disc_in > 0.0) {
                const double root_in = std::sqrt(disc_in);
                h0 = clamp_shift(std::ceil((-p - root_in) / g.a2_length2)) + 1;
                h1 = clamp_shift(std::floor((-p + root_in) / g.a2_length2)) - 1;
            }
            for (long n = n0; n <= n1; ++n) {
                if (n == h0 && h0 <= h1) {
                    n = h1;
                    continue;
                }
                double x[3];
                const double w = static_cast<double>(n);
                for (int r = 0; r < 3; ++r) x[r] = c[r] + w * a2[r];
                const double d2 = velmar_vector3_double_dot(x, x);
                if (d2 > out2 || d2 <= in2 || d2 < same2) continue;
                visit(std::sqrt(d2), x);
            }
        }
    }
}

struct Image {
    double d;
    double x[3];
    int32_t atom;
};

// Every image of the given atoms within radius of atom s, by increasing distance (ties by atom).
std::vector<Image> images_within(const VELMAR_CELL &cell, const Geometry &g, int32_t s,
                                 const std::vector<int32_t> &atoms, double radius) {
    std::vector<Image> found;
    for (int32_t t : atoms) {
        visit_images(cell, g, s, t, 0.0, radius, [&](double d, const double x[3]) {
            found.push_back(Image{d, {x[0], x[1], x[2]}, t});
        });
    }
    std::stable_sort(found.begin(), found.end(), [](const Image &p, const Image &q) {
        return p.d < q.d || (p.d == q.d && p.atom < q.atom);
    });
    return found;
}

// Distinct positions among images given by increasing distance (closer than kSameSite: one
// position). Two images that close differ in distance by less than kSameSite, so each is compared
// only with the positions kept within that much of its own distance.
int32_t count_positions(const std::vector<const Image *> &images) {
    std::vector<const Image *> kept;
    for (const Image *p : images) {
        bool seen = false;
        for (auto q = kept.rbegin(); q != kept.rend() && (*q)->d > p->d - kSameSite; ++q) {
            if (velmar_vector3_double_distance(p->x, (*q)->x) < kSameSite) {
                seen = true;
                break;
            }
        }
        if (!seen) kept.push_back(p);
    }
    return static_cast<int32_t>(kept.size());
}

// The first coordination shell of one atom, from the distances to its partners.
//
// The radial distribution function of a single atom's environment is a sum of spikes,
// g(r) = sum_j occ_j delta(r - r_j) / (4 pi r^2 rho): taken literally, every empty stretch between
// two distances is a minimum, and the "first minimum after the first peak" would split any
// distorted polyhedron (LiNbO3's Nb: 3 O at 1.89 A and 3 at 2.11 A). A histogram or a smoothed
// g(r) needs a width, and no single width both merges such a split shell and keeps apart shells
// that are close in absolute terms (Li-O 2.0 A vs 2.6 A, K-O 3.3 A vs 3.6 A). Shells spread in
// proportion to their radius, so the smoothing is done in ln r: as its width grows, the minima of
// the smoothed g(r) vanish one by one, and the one that survives longest is the widest empty
// stretch of ln r, that is the largest ratio r_{k+1} / r_k of consecutive distances. That stretch
// is the minimum that ends the first peak: the shell is every partner up to r_k (weighted by
// occupancy), its radius r_k, and the gap r_{k+1} - r_k. (This is Brunner's criterion, Acta Cryst.
// A33 (1977) 226, on relative distances.) Ties go to the inner gap. The stretch from the last
// partner to r_max counts as an open-ended gap: when it wins, every partner in reach is counted and
// the gap stays unknown (negative).
//
// The distances come in layers of increasing radius. In a lattice, the images of any one partner
// come within half the longest body diagonal L of every point, so consecutive distances are never
// more than L apart, and a gap that starts at r >= T has a ratio of at most 1 + L / T. Once the
// best ratio found is rho and the layers reach L / (rho - 1) + L, no later gap can beat it: the
// search stops there, with the same result as a search out to r_max.
struct Shell {
    double cn = 0.0;     // partners' occupancy in the shell
    double shell = 0.0;  // radius
    double next = -1.0;  // distance of the first partner beyond; negative when unknown
};

Shell find_shell(const VELMAR_CELL &cell, const Geometry &g, int32_t s,
                 const std::vector<int32_t> &partners, double r_max) {
    Shell best;
    double best_ratio = 1.0;
    double previous = -1.0;
    double weight = 0.0;
    const double density = static_cast<double>(partners.size()) / g.volume;
    std::vector<std::array<double, 2>> layer;  // distance, occupancy
    double r_in = 0.0;
    while (true) {
        const double area = 4.0 * kPi * std::max(r_in * r_in, 1.0) * density;
        const double width = std::clamp(kLayerAtoms / std::max(area, 1e-12), kLayerMin, kLayerMax);
        const double r_out = std::min(r_max, r_in + width);
        layer.clear();
        for (int32_t t : partners) {
            const double occ = cell.atom[t].occ;
            visit_images(cell, g, s, t, r_in, r_out, [&](double d, const double *) {
                layer.push_back({d, occ});
            });
        }
        std::sort(layer.begin(), layer.end());
        for (const auto &[d, occ] : layer) {
            if (previous > 0.0 && d / previous > best_ratio) {
                best_ratio = d / previous;
                best = Shell{weight, previous, d};
            }
            weight += occ;
            previous = d;
        }
        if (r_out >= r_max) break;
        if (best_ratio > 1.0 + 1e-9 && r_out >= g.diagonal / (best_ratio - 1.0) + g.diagonal) {
            return best;
        }
        r_in = r_out;
    }
    if (previous < 0.0) return Shell{};  // no partner within r_max
    if (r_max / previous > best_ratio) return Shell{weight, previous, -1.0};
    return best;
}

enum class Charge { kCation, kAnion, kNeutral };

Charge charge_of(int os) {
    if (os == VELMAR_OS_UNKNOWN || os == 0) return Charge::kNeutral;
    return os > 0 ? Charge::kCation : Charge::kAnion;
}

// The partners of atoms of each charge: the atoms of opposite charge, or every atom when there are
// none (a cell of cations only, an intermetallic) and for neutral atoms.
struct PartnerLists {
    std::vector<int32_t> all;
    std::vector<int32_t> cations;
    std::vector<int32_t> anions;

    explicit PartnerLists(const VELMAR_CELL &cell) {
        for (int32_t t = 0; t < cell.total; ++t) {
            all.push_back(t);
            const Charge c = charge_of(cell.atom[t].os);
            if (c == Charge::kCation) cations.push_back(t);
            if (c == Charge::kAnion) anions.push_back(t);
        }
    }
    const std::vector<int32_t> &of(int os) const {
        switch (charge_of(os)) {
            case Charge::kCation:
                return anions.empty() ? all : anions;
            case Charge::kAnion:
                return cations.empty() ? all : cations;
            default:
                return all;
        }
    }
};

// The atoms called label, or failing that of element label. Empty when none.
std::vector<int32_t> select_atoms(const VELMAR_CELL &cell, const char *label) {
    std::vector<int32_t> selected;
    for (int32_t a = 0; a < cell.total; ++a) {
        if (std::strcmp(cell.atom[a].name, label) == 0) selected.push_back(a);
    }
    if (!selected.empty()) return selected;
    for (int32_t a = 0; a < cell.total; ++a) {
        if (std::strcmp(cell.atom[a].type, label) == 0) selected.push_back(a);
    }
    return selected;
}

bool cell_ready(const VELMAR_CELL *cell) {
    if (cell == nullptr || cell->atom == nullptr || cell->total < 1) {
        std::fputs("Error: VELMAR_CELL has not been properly initialized.\n", stderr);
        return false;
    }
    return true;
}

// Checks shared by the distance-based counts; the lattice on success.
bool prepare(const VELMAR_CELL *cell, double r_max, Geometry &g) {
    if (!cell_ready(cell)) return false;
    if (!(r_max > 0.0) || !std::isfinite(r_max)) {
        std::fprintf(stderr, "Error: r_max must be a positive number of angstrom, not %g.\n",
                     r_max);
        return false;
    }
    g = geometry_of(*cell);
    if (!g.ok) {
        std::fputs("Error: the cell has no volume.\n", stderr);
        return false;
    }
    return true;
}

// One analysed atom while the record is being built.
struct Entry {
    VELMAR_CN_ATOM value{};
    std::vector<VELMAR_CN_NEIGHBOUR> listed;
};

VELMAR_CN *record_of(std::vector<Entry> &entries, double reach) {
    velmar::Owned<VELMAR_CN, velmar_cn_free> cn(
        velmar_cn_new(static_cast<int32_t>(entries.size())));
    if (!cn) {
        VELMAR_ERROR_NULL(velmar_cn_new);
        return nullptr;
    }
    cn->reach = reach;
    for (size_t k = 0; k < entries.size(); ++k) {
        VELMAR_CN_ATOM &atom = cn->atom[k];
        atom = entries[k].value;
        atom.total = 0;
        atom.neighbour = nullptr;
        const auto &listed = entries[k].listed;
        if (listed.empty()) continue;
        atom.neighbour = static_cast<VELMAR_CN_NEIGHBOUR *>(
            std::calloc(listed.size(), sizeof(VELMAR_CN_NEIGHBOUR)));
        if (atom.neighbour == nullptr) {
            std::fputs("Error: unable to allocate VELMAR_CN_NEIGHBOUR.\n", stderr);
            return nullptr;
        }
        std::copy(listed.begin(), listed.end(), atom.neighbour);
        atom.total = static_cast<int32_t>(listed.size());
    }
    return cn.release();
}

// Bond valence of the pair (a, b) by the table, or -1 when it is not a cation-anion pair with
// parameters.
double pair_valence(const VELMAR_PROPERTY *ppt, const VELMAR_ATOM &a, const VELMAR_ATOM &b,
                    double d) {
    if (ppt == nullptr) return -1.0;
    const Charge ca = charge_of(a.os);
    const Charge cb = charge_of(b.os);
    if (ca == Charge::kNeutral || cb == Charge::kNeutral || ca == cb) return -1.0;
    const VELMAR_ATOM &cation = ca == Charge::kCation ? a : b;
    const VELMAR_ATOM &anion = ca == Charge::kCation ? b : a;
    const int i = velmar_property_find_index(ppt, cation.type, cation.os);
    const int j = velmar_property_find_index(ppt, anion.type, anion.os);
    if (i < 0 || j < 0) return -1.0;
    const VELMAR_PROPERTY_BINARY &pair = ppt->bin[i][j];
    if (!(pair.r0 > 0.0) || !(pair.b > 0.0)) return -1.0;
    return std::exp((pair.r0 - d) / pair.b);
}

// Shells of the selected atoms, each counted by partners_of(atom); with list set, every atom of
// the cell out to the first partner beyond the shell (to r_max when the shell is open) is listed.
template <class PartnersOf>
VELMAR_CN *shells(const VELMAR_CELL &cell, const Geometry &g, const std::vector<int32_t> &selected,
                  PartnersOf partners_of, double r_max, bool list, const VELMAR_PROPERTY *ppt) {
    std::vector<Entry> entries(selected.size());
    std::vector<int32_t> everyone(static_cast<size_t>(cell.total));
    for (int32_t t = 0; t < cell.total; ++t) everyone[t] = t;
    const auto count = static_cast<long>(selected.size());
#pragma omp parallel for schedule(dynamic, 1)
    for (long k = 0; k < count; ++k) {
        const int32_t s = selected[k];
        const std::vector<int32_t> &partners = partners_of(s);
        const Shell shell = find_shell(cell, g, s, partners, r_max);
        VELMAR_CN_ATOM &value = entries[k].value;
        value.atom = s;
        value.cn = shell.cn;
        value.shell = shell.shell;
        value.gap = shell.next > 0.0 ? shell.next - shell.shell : -1.0;
        if (shell.shell > 0.0) {
            // Second pass over the shell alone (bounded by its radius): positions and listing.
            // The listing ends with the next partner and its ties: distances equal to 1e-6,
            // as those of a cubic cell built from angles in degrees are.
            const double outer =
                (!list ? shell.shell : (shell.next > 0.0 ? shell.next : r_max)) * (1.0 + 1e-6);
            std::vector<char> is_partner(static_cast<size_t>(cell.total), 0);
            for (int32_t t : partners) is_partner[t] = 1;
            const auto found = images_within(cell, g, s, list ? everyone : partners, outer);
            std::vector<const Image *> inside;
            for (const Image &p : found) {
                const bool counted = is_partner[p.atom] != 0 && p.d <= shell.shell;
                if (counted) inside.push_back(&p);
                if (list) {
                    entries[k].listed.push_back(VELMAR_CN_NEIGHBOUR{
                        p.atom, p.d, pair_valence(ppt, cell.atom[s], cell.atom[p.atom], p.d),
                        counted});
                }
            }
            value.sites = count_positions(inside);
        }
    }
    return record_of(entries, r_max);
}

}  // namespace

VELMAR_CN *velmar_cn_new(int32_t total) {
    if (total < 1) {
        std::fputs("Error: number of atoms must be positive.\n", stderr);
        return nullptr;
    }
    auto *raw = static_cast<VELMAR_CN *>(std::calloc(1, sizeof(VELMAR_CN)));
    if (raw == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_CN.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_CN, velmar_cn_free> cn(raw);
    cn->atom = static_cast<VELMAR_CN_ATOM *>(
        std::calloc(static_cast<size_t>(total), sizeof(VELMAR_CN_ATOM)));
    if (cn->atom == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_CN_ATOM.\n", stderr);
        return nullptr;
    }
    cn->total = total;
    return cn.release();
}

void velmar_cn_free(VELMAR_CN *cn) {
    if (cn == nullptr) return;
    if (cn->atom != nullptr) {
        for (int32_t k = 0; k < cn->total; ++k) std::free(cn->atom[k].neighbour);
    }
    std::free(cn->atom);
    std::free(cn);
}

namespace {

// The counts of the atoms selected by label, each by its atoms of opposite charge.
VELMAR_CN *counter_ion_shells(const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt,
                              const char *label, double r_max, bool list) {
    Geometry g;
    if (!prepare(cell, r_max, g)) return nullptr;
    const std::vector<int32_t> selected = select_atoms(*cell, label);
    if (selected.empty()) {
        std::fprintf(stderr, "Error: no atom is labelled %s and no atom is of element %s.\n", label,
                     label);
        return nullptr;
    }
    const PartnerLists lists(*cell);
    return shells(
        *cell, g, selected,
        [&](int32_t s) -> const std::vector<int32_t> & { return lists.of(cell->atom[s].os); },
        r_max, list, ppt);
}

}  // namespace

VELMAR_CN *velmar_cn_calculate_by_rdf(const VELMAR_CELL *cell, const char *label, double r_max) {
    return counter_ion_shells(cell, nullptr, label, r_max, false);
}

VELMAR_CN *velmar_cn_calculate_shell(const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt,
                                     const char *label, double r_max) {
    return counter_ion_shells(cell, ppt, label, r_max, true);
}

VELMAR_CN *velmar_cn_calculate_shell_from_cell(VELMAR_CELL *cell, const char *label, double r_max,
                                               const char *dir_unitary, const char *dir_binary) {
    if (!cell_ready(cell)) return nullptr;
    velmar::Owned<VELMAR_PROPERTY, velmar_property_free> ppt(
        velmar_property_import_from_cell(cell, nullptr, 0, 0.75, dir_unitary, dir_binary));
    if (!ppt) {
        std::printf(
            "Warning: no parameter table for this cell (see the errors above); the shells are "
            "listed without bond valences.\n");
    }
    VELMAR_CN *cn = velmar_cn_calculate_shell(cell, ppt.get(), label, r_max);
    if (cn == nullptr) VELMAR_ERROR_NULL(velmar_cn_calculate_shell);
    return cn;
}

VELMAR_CN *velmar_cn_calculate_by_type(const VELMAR_CELL *cell, const char *type1, int os1,
                                       const char *type2, int os2, double r_max) {
    Geometry g;
    if (!prepare(cell, r_max, g)) return nullptr;
    std::vector<int32_t> centres;
    std::vector<int32_t> partners;
    for (int32_t a = 0; a < cell->total; ++a) {
        const VELMAR_ATOM &atom = cell->atom[a];
        if (atom.os == os1 && std::strcmp(atom.type, type1) == 0) centres.push_back(a);
        if (atom.os == os2 && std::strcmp(atom.type, type2) == 0) partners.push_back(a);
    }
    if (centres.empty() || partners.empty()) {
        std::fprintf(stderr, "Error: the cell holds no atom of species %s%d.\n",
                     centres.empty() ? type1 : type2, centres.empty() ? os1 : os2);
        return nullptr;
    }
    return shells(
        *cell, g, centres, [&](int32_t) -> const std::vector<int32_t> & { return partners; }, r_max,
        false, nullptr);
}

double velmar_cn_average(const VELMAR_CN *cn, const VELMAR_CELL *cell) {
    if (cn == nullptr || cell == nullptr || cn->total < 1) return -1.0;
    double weighted = 0.0;
    double weight = 0.0;
    for (int32_t k = 0; k < cn->total; ++k) {
        const double occ = cell->atom[cn->atom[k].atom].occ;
        weighted += occ * cn->atom[k].cn;
        weight += occ;
    }
    return weight > 0.0 ? weighted / weight : 0.0;
}

VELMAR_CN *velmar_cn_calculate_by_bv(const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt,
                                     const char *label) {
    if (!cell_ready(cell)) return nullptr;
    if (velmar_bv_validate_property(ppt) != 0) {
        VELMAR_ERROR_NONZERO(velmar_bv_validate_property);
        return nullptr;
    }
    const Geometry g = geometry_of(*cell);
    if (!g.ok) {
        std::fputs("Error: the cell has no volume.\n", stderr);
        return nullptr;
    }
    const std::vector<int32_t> selected = select_atoms(*cell, label);
    if (selected.empty()) {
        std::fprintf(stderr, "Error: no atom is labelled %s and no atom is of element %s.\n", label,
                     label);
        return nullptr;
    }
    std::vector<int> species(static_cast<size_t>(cell->total));
    for (int32_t a = 0; a < cell->total; ++a) {
        species[a] = velmar_property_find_index(ppt, cell->atom[a].type, cell->atom[a].os);
    }
    const PartnerLists lists(*cell);
    double reach = 0.0;
    for (int32_t s : selected) {
        const VELMAR_ATOM &atom = cell->atom[s];
        const Charge charge = charge_of(atom.os);
        const std::vector<int32_t> &partners = lists.of(atom.os);
        if (charge == Charge::kNeutral || &partners == &lists.all) {
            std::fprintf(stderr,
                         "Error: %s (%s%d) has no partner of opposite charge: its bond valences "
                         "are undefined.\n",
                         atom.name, atom.type, atom.os);
            return nullptr;
        }
        for (int32_t t : partners) {
            if (species[s] < 0 || species[t] < 0) {
                std::fputs("Error: velmar_property_find_index() returns negative value.\n", stderr);
                return nullptr;
            }
            const VELMAR_PROPERTY_BINARY &pair = charge == Charge::kCation
                                                     ? ppt->bin[species[s]][species[t]]
                                                     : ppt->bin[species[t]][species[s]];
            reach = std::max(reach, pair.cutoff);
        }
    }
    std::vector<Entry> entries(selected.size());
    const auto count = static_cast<long>(selected.size());
#pragma omp parallel for schedule(dynamic, 1)
    for (long k = 0; k < count; ++k) {
        const int32_t s = selected[k];
        const bool cation = charge_of(cell->atom[s].os) == Charge::kCation;
        // Bonds within their pair's cut-off, as in the bond-valence sums.
        std::vector<Image> bonds;
        std::vector<double> valence;
        for (int32_t t : lists.of(cell->atom[s].os)) {
            const VELMAR_PROPERTY_BINARY &pair =
                cation ? ppt->bin[species[s]][species[t]] : ppt->bin[species[t]][species[s]];
            if (pair.cutoff <= kSameSite) continue;
            visit_images(*cell, g, s, t, 0.0, pair.cutoff, [&](double d, const double x[3]) {
                if (d >= pair.cutoff) return;
                bonds.push_back(Image{d, {x[0], x[1], x[2]}, t});
                valence.push_back(std::exp((pair.r0 - d) / pair.b));
            });
        }
        double sum = 0.0;
        double sum2 = 0.0;
        for (size_t b = 0; b < bonds.size(); ++b) {
            const double occ = cell->atom[bonds[b].atom].occ;
            sum += occ * valence[b];
            sum2 += occ * valence[b] * valence[b];
        }
        VELMAR_CN_ATOM &value = entries[k].value;
        value.atom = s;
        value.valence = sum;
        value.cn_eff = sum2 > 0.0 ? sum * sum / sum2 : 0.0;
        value.gap = -1.0;
        // The shell is the longest counted bond; the gap runs to the nearest weaker bond beyond.
        std::vector<const Image *> inside;
        for (size_t b = 0; b < bonds.size(); ++b) {
            if (valence[b] < VELMAR_CN_BV_SHARE * sum) continue;
            value.cn += cell->atom[bonds[b].atom].occ;
            inside.push_back(&bonds[b]);
            value.shell = std::max(value.shell, bonds[b].d);
        }
        double next = -1.0;
        for (const Image &bond : bonds) {
            if (bond.d > value.shell && (next < 0.0 || bond.d < next)) next = bond.d;
        }
        std::sort(inside.begin(), inside.end(),
                  [](const Image *p, const Image *q) { return p->d < q->d; });
        value.sites = count_positions(inside);
        if (value.shell > 0.0 && next > 0.0) value.gap = next - value.shell;
    }
    return record_of(entries, reach);
}

VELMAR_CN *velmar_cn_calculate_by_bv_from_cell(VELMAR_CELL *cell, const char *label,
                                               const char *dir_unitary, const char *dir_binary) {
    if (!cell_ready(cell)) return nullptr;
    velmar::Owned<VELMAR_PROPERTY, velmar_property_free> ppt(
        velmar_property_import_from_cell(cell, nullptr, 0, 0.75, dir_unitary, dir_binary));
    if (!ppt) {
        VELMAR_ERROR_NULL(velmar_property_import_from_cell);
        return nullptr;
    }
    VELMAR_CN *cn = velmar_cn_calculate_by_bv(cell, ppt.get(), label);
    if (cn == nullptr) VELMAR_ERROR_NULL(velmar_cn_calculate_by_bv);
    return cn;
}
