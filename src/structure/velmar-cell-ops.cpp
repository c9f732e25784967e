// Sorting, spawning, site flags, supercells and random resolution of partial occupancies.
#include "structure/velmar-cell-ops.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "core/velmar-random.h"
#include "core/velmar.h"
#include "structure/velmar-cell-geometry.h"

namespace {

constexpr double kPositionTolerance = 0.005;  // fractional, per coordinate, modulo 1
constexpr double kOccupancyTolerance = 0.02;

double wrap(double x) {
    const double w = x - std::floor(x);
    return w >= 1.0 ? 0.0 : w;  // -1e-17 would otherwise wrap to exactly 1
}

bool same_position(const double a[3], const double b[3]) {
    for (int r = 0; r < 3; ++r) {
        const double d = std::fabs(wrap(a[r]) - wrap(b[r]));
        if (d >= kPositionTolerance && 1.0 - d >= kPositionTolerance) return false;
    }
    return true;
}

bool same_species(const VELMAR_ATOM &a, const VELMAR_ATOM &b) {
    return a.os == b.os && std::strcmp(a.type, b.type) == 0;
}

bool same_site(const VELMAR_ATOM &a, const VELMAR_ATOM &b) {
    return same_species(a, b) && std::fabs(a.occ - b.occ) < kOccupancyTolerance &&
           same_position(a.x_f, b.x_f);
}

// Fractional positions binned on a periodic grid whose bins are as wide as the tolerance, so that
// any two positions within tolerance lie in the same or in neighbouring bins.
class PositionHash {
  public:
    void insert(const double x[3], int32_t index) { bins_[key(bin(x))].push_back(index); }

    // Calls visit(index) for every stored index in the 27 bins around x.
    template <class Visit>
    void near(const double x[3], Visit visit) const {
        const std::array<int, 3> b = bin(x);
        for (int i = -1; i <= 1; ++i) {
            for (int j = -1; j <= 1; ++j) {
                for (int k = -1; k <= 1; ++k) {
                    const auto it = bins_.find(key({b[0] + i, b[1] + j, b[2] + k}));
                    if (it == bins_.end()) continue;
                    for (int32_t index : it->second) visit(index);
                }
            }
        }
    }

  private:
    static constexpr int kBins = 200;  // 1 / kPositionTolerance

    static std::array<int, 3> bin(const double x[3]) {
        std::array<int, 3> b{};
        for (int r = 0; r < 3; ++r)
            b[r] = std::min(static_cast<int>(wrap(x[r]) * kBins), kBins - 1);
        return b;
    }
    static uint32_t key(std::array<int, 3> b) {
        uint32_t k = 0;
        for (int r = 0; r < 3; ++r) k = k * kBins + static_cast<uint32_t>((b[r] + kBins) % kBins);
        return k;
    }

    std::unordered_map<uint32_t, std::vector<int32_t>> bins_;
};

void apply_card(double out[3], const VELMAR_CARD &card, const double in[3]) {
    for (int r = 0; r < 3; ++r) {
        out[r] = wrap(card.r_f[r][0] * in[0] + card.r_f[r][1] * in[1] + card.r_f[r][2] * in[2] +
                      card.t_f[r]);
    }
}

// A new cell holding the given atoms (copied) and the lattice of `like`.
VELMAR_CELL *cell_with_atoms(const VELMAR_CELL *like, const std::vector<VELMAR_ATOM> &atoms) {
    if (atoms.empty()) {
        std::fputs("Error: no atom is left in the cell.\n", stderr);
        return nullptr;
    }
    VELMAR_CELL *cell = velmar_cell_new(static_cast<long>(atoms.size()));
    if (cell == nullptr) {
        VELMAR_ERROR_NULL(velmar_cell_new);
        return nullptr;
    }
    VELMAR_ATOM *storage = cell->atom;
    const int32_t total = cell->total;
    *cell = *like;
    cell->atom = storage;
    cell->total = total;
    std::copy(atoms.begin(), atoms.end(), cell->atom);
    velmar_cell_update_name(cell);
    return cell;
}

// k distinct indices of 0..m-1 drawn with the run's generator (partial Fisher-Yates).
std::vector<size_t> draw(size_t m, size_t k) {
    std::vector<size_t> order(m);
    std::iota(order.begin(), order.end(), 0);
    for (size_t i = 0; i < k && i < m; ++i) {
        auto j = i + static_cast<size_t>(velmar_random() * static_cast<double>(m - i));
        if (j >= m) j = m - 1;  // the generator can return exactly 1
        std::swap(order[i], order[j]);
    }
    order.resize(std::min(k, m));
    return order;
}

}  // namespace

void velmar_atom_sort(VELMAR_ATOM *atom, long total) {
    const auto rank = [](int os) { return os > 0 ? 0 : (os == 0 ? 1 : 2); };
    std::stable_sort(atom, atom + total, [&rank](const VELMAR_ATOM &a, const VELMAR_ATOM &b) {
        if (rank(a.os) != rank(b.os)) return rank(a.os) < rank(b.os);
        if (a.os != b.os) return std::abs(a.os) < std::abs(b.os);
        return std::strcmp(a.type, b.type) < 0;
    });
}

void velmar_atom_sort_by_value(VELMAR_ATOM *atom, long total) {
    std::stable_sort(atom, atom + total,
                     [](const VELMAR_ATOM &a, const VELMAR_ATOM &b) { return a.value < b.value; });
}

int velmar_cell_count_type_os(const VELMAR_CELL *cell) {
    std::set<std::pair<std::string, int>> species;
    for (int32_t n = 0; n < cell->total; ++n) {
        species.emplace(cell->atom[n].type, cell->atom[n].os);
    }
    return static_cast<int>(species.size());
}

int velmar_atom_spawn_by_symmetry(VELMAR_ATOM **atom, long *total,
                                  const VELMAR_SYMMETRY *symmetry) {
    if (atom == nullptr || *atom == nullptr || symmetry == nullptr || symmetry->total < 1 ||
        symmetry->card == nullptr) {
        std::fputs("Error: no atoms or no symmetry operations to expand.\n", stderr);
        return 1;
    }
    std::vector<VELMAR_ATOM> kept;
    PositionHash hash;
    for (long n = 0; n < *total; ++n) {
        const VELMAR_ATOM &source = (*atom)[n];
        for (int c = 0; c < symmetry->total; ++c) {
            VELMAR_ATOM image = source;
            apply_card(image.x_f, symmetry->card[c], source.x_f);
            bool seen = false;
            hash.near(image.x_f, [&](int32_t k) { seen = seen || same_site(kept[k], image); });
            if (seen) continue;
            hash.insert(image.x_f, static_cast<int32_t>(kept.size()));
            kept.push_back(image);
        }
    }
    auto *grown =
        static_cast<VELMAR_ATOM *>(std::realloc(*atom, sizeof(VELMAR_ATOM) * kept.size()));
    if (grown == nullptr) {
        std::fputs("Error: unable to reallocate VELMAR_ATOM.\n", stderr);
        return 1;
    }
    std::copy(kept.begin(), kept.end(), grown);
    *atom = grown;
    *total = static_cast<long>(kept.size());
    return 0;
}

int velmar_cell_flag_site_by_symmetry(VELMAR_CELL *cell, const VELMAR_SYMMETRY *symmetry) {
    if (cell == nullptr || symmetry == nullptr ||
        (symmetry->total > 0 && symmetry->card == nullptr)) {
        std::fputs("Error: VELMAR_CELL or VELMAR_SYMMETRY has not been properly initialized.\n",
                   stderr);
        return 1;
    }
    PositionHash hash;
    for (int32_t n = 0; n < cell->total; ++n) {
        cell->atom[n].flag = 0;
        hash.insert(cell->atom[n].x_f, n);
    }
    int32_t site = 0;
    for (int32_t n = 0; n < cell->total; ++n) {
        if (cell->atom[n].flag != 0) continue;
        const VELMAR_ATOM &origin = cell->atom[n];
        cell->atom[n].flag = ++site;
        for (int c = 0; c < symmetry->total; ++c) {
            VELMAR_ATOM image = origin;
            apply_card(image.x_f, symmetry->card[c], origin.x_f);
            hash.near(image.x_f, [&](int32_t k) {
                VELMAR_ATOM &other = cell->atom[k];
                if (other.flag == 0 && same_site(other, image)) other.flag = site;
            });
        }
    }
    return 0;
}

bool velmar_cell_closed_under_symmetry(const VELMAR_CELL *cell, const VELMAR_SYMMETRY *symmetry) {
    if (cell == nullptr || symmetry == nullptr ||
        (symmetry->total > 0 && symmetry->card == nullptr)) {
        return false;
    }
    PositionHash hash;
    for (int32_t n = 0; n < cell->total; ++n) hash.insert(cell->atom[n].x_f, n);
    for (int32_t n = 0; n < cell->total; ++n) {
        for (int c = 0; c < symmetry->total; ++c) {
            VELMAR_ATOM image = cell->atom[n];
            apply_card(image.x_f, symmetry->card[c], cell->atom[n].x_f);
            bool found = false;
            hash.near(image.x_f,
                      [&](int32_t k) { found = found || same_site(cell->atom[k], image); });
            if (!found) return false;
        }
    }
    return true;
}

VELMAR_CELL *velmar_cell_supercell(const VELMAR_CELL *cell, const int s[3]) {
    if (cell == nullptr || cell->total < 1 || s[0] < 1 || s[1] < 1 || s[2] < 1) {
        std::fputs("Error: invalid cell or supercell size.\n", stderr);
        return nullptr;
    }
    const long images = static_cast<long>(s[0]) * s[1] * s[2];
    std::vector<VELMAR_ATOM> atoms;
    atoms.reserve(static_cast<size_t>(cell->total * images));
    for (int32_t n = 0; n < cell->total; ++n) {
        for (int i = 0; i < s[0]; ++i) {
            for (int j = 0; j < s[1]; ++j) {
                for (int k = 0; k < s[2]; ++k) {
                    VELMAR_ATOM image = cell->atom[n];
                    const int shift[3] = {i, j, k};
                    for (int r = 0; r < 3; ++r) image.x_f[r] = (image.x_f[r] + shift[r]) / s[r];
                    atoms.push_back(image);
                }
            }
        }
    }
    VELMAR_CELL *super = cell_with_atoms(cell, atoms);
    if (super == nullptr) return nullptr;
    for (int r = 0; r < 3; ++r) {
        for (double &v : super->a[r]) v *= s[r];
        super->parameter[r] *= s[r];
    }
    super->Z = cell->Z * static_cast<int>(images);
    velmar_cell_update_coordinate_cartesion(super);
    velmar_cell_update_name(super);
    return super;
}

VELMAR_CELL *velmar_cell_supercell_default(const VELMAR_CELL *cell) {
    if (cell == nullptr || cell->total < 1) {
        std::fputs("Error: VELMAR_CELL has not been properly initialized.\n", stderr);
        return nullptr;
    }
    // Total occupancy of each partially occupied species.
    std::map<std::pair<std::string, int>, double> totals;
    std::set<std::pair<std::string, int>> partial;
    for (int32_t n = 0; n < cell->total; ++n) {
        const VELMAR_ATOM &a = cell->atom[n];
        totals[{a.type, a.os}] += a.occ;
        if (a.occ < 0.999) partial.insert({a.type, a.os});
    }
    struct Candidate {
        int s[3];
        long cells;
        double anisotropy;  // longest over shortest supercell axis
    };
    std::vector<Candidate> candidates;
    for (int i = 1; i <= 4; ++i) {
        for (int j = 1; j <= 4; ++j) {
            for (int k = 1; k <= 4; ++k) {
                const double lengths[3] = {i * cell->parameter[0], j * cell->parameter[1],
                                           k * cell->parameter[2]};
                const double longest = std::max({lengths[0], lengths[1], lengths[2]});
                const double shortest = std::min({lengths[0], lengths[1], lengths[2]});
                candidates.push_back({{i, j, k}, static_cast<long>(i) * j * k, longest / shortest});
            }
        }
    }
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const Candidate &a, const Candidate &b) {
                         return std::tie(a.cells, a.anisotropy) < std::tie(b.cells, b.anisotropy);
                     });
    for (const Candidate &c : candidates) {
        bool whole = true;
        for (const auto &species : partial) {
            const double total = totals[species] * static_cast<double>(c.cells);
            whole = whole && std::fabs(total - std::round(total)) <= 0.05;
        }
        if (whole) return velmar_cell_supercell(cell, c.s);
    }
    int s[3];
    for (int r = 0; r < 3; ++r) {
        s[r] = std::max(1, static_cast<int>(std::ceil(10.0 / cell->parameter[r])));
    }
    return velmar_cell_supercell(cell, s);
}

bool velmar_cell_partial_occ_at_conducting_site(const VELMAR_CELL *cell, const char *type, int os) {
    if (cell == nullptr || type == nullptr) return false;
    for (int32_t n = 0; n < cell->total; ++n) {
        const VELMAR_ATOM &a = cell->atom[n];
        if (a.os == os && std::strcmp(a.type, type) == 0 && a.occ < 0.999) return true;
    }
    return false;
}

VELMAR_CELL *velmar_cell_assign_partial_occ_at_conducting_site(const VELMAR_CELL *cell,
                                                               const char *type, int os) {
    if (cell == nullptr || cell->total < 1 || type == nullptr) {
        std::fputs("Error: VELMAR_CELL has not been properly initialized.\n", stderr);
        return nullptr;
    }
    // The species' atoms grouped by label, in order of first appearance.
    std::vector<std::vector<int32_t>> groups;
    std::map<std::string, size_t> group_of;
    for (int32_t n = 0; n < cell->total; ++n) {
        const VELMAR_ATOM &a = cell->atom[n];
        if (a.os != os || std::strcmp(a.type, type) != 0) continue;
        const auto [it, added] = group_of.emplace(a.name, groups.size());
        if (added) groups.emplace_back();
        groups[it->second].push_back(n);
    }
    std::vector<char> keep(static_cast<size_t>(cell->total), 1);
    for (const auto &group : groups) {
        double sum = 0.0;
        for (int32_t n : group) sum += cell->atom[n].occ;
        for (int32_t n : group) keep[n] = 0;
        for (size_t pick : draw(group.size(), static_cast<size_t>(std::lround(sum)))) {
            keep[group[pick]] = 2;  // chosen: occupancy 1
        }
    }
    std::vector<VELMAR_ATOM> atoms;
    for (int32_t n = 0; n < cell->total; ++n) {
        if (keep[n] == 0) continue;
        atoms.push_back(cell->atom[n]);
        if (keep[n] == 2) atoms.back().occ = 1.0;
    }
    return cell_with_atoms(cell, atoms);
}

VELMAR_CELL *velmar_cell_assign_partial_occ_all(const VELMAR_CELL *cell) {
    if (cell == nullptr || cell->total < 1) {
        std::fputs("Error: VELMAR_CELL has not been properly initialized.\n", stderr);
        return nullptr;
    }
    const auto total = static_cast<size_t>(cell->total);
    // Positions: atoms within tolerance of each other share one.
    std::vector<int32_t> position(total, -1);
    int32_t positions = 0;
    PositionHash hash;
    for (int32_t n = 0; n < cell->total; ++n) {
        hash.near(cell->atom[n].x_f, [&](int32_t k) {
            if (position[n] < 0 && same_position(cell->atom[k].x_f, cell->atom[n].x_f)) {
                position[n] = position[k];
            }
        });
        if (position[n] < 0) position[n] = positions++;
        hash.insert(cell->atom[n].x_f, n);
    }
    // Groups: one per species and label, each with the atoms (one per position) it may occupy.
    struct Group {
        std::vector<int32_t> atoms;
        size_t target = 0;
        size_t held = 0;
    };
    std::vector<Group> groups;
    std::map<std::tuple<std::string, int, std::string>, size_t> group_of;
    std::vector<double> sums;
    for (int32_t n = 0; n < cell->total; ++n) {
        const VELMAR_ATOM &a = cell->atom[n];
        const auto [it, added] =
            group_of.emplace(std::make_tuple(a.type, a.os, a.name), groups.size());
        if (added) {
            groups.emplace_back();
            sums.push_back(0.0);
        }
        Group &g = groups[it->second];
        sums[it->second] += a.occ;
        const bool duplicate = std::any_of(g.atoms.begin(), g.atoms.end(),
                                           [&](int32_t k) { return position[k] == position[n]; });
        if (!duplicate) g.atoms.push_back(n);
    }
    for (size_t g = 0; g < groups.size(); ++g) {
        groups[g].target =
            std::min(groups[g].atoms.size(), static_cast<size_t>(std::lround(sums[g])));
    }

    // holder[p]: the atom placed on position p, or -1. Fullest groups choose first, at random.
    std::vector<int32_t> holder(static_cast<size_t>(positions), -1);
    std::vector<size_t> order(groups.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
        return groups[a].target * groups[b].atoms.size() >
               groups[b].target * groups[a].atoms.size();
    });
    std::vector<size_t> group_of_atom(total);
    for (size_t g = 0; g < groups.size(); ++g) {
        for (int32_t n : groups[g].atoms) group_of_atom[n] = g;
    }
    for (size_t g : order) {
        Group &group = groups[g];
        for (size_t pick : draw(group.atoms.size(), group.atoms.size())) {
            if (group.held == group.target) break;
            const int32_t n = group.atoms[pick];
            if (holder[position[n]] >= 0) continue;
            holder[position[n]] = n;
            ++group.held;
        }
    }
    // Groups still short take positions over by moving their holders elsewhere along an
    // augmenting path (breadth first), as long as such a path exists.
    for (size_t g : order) {
        while (groups[g].held < groups[g].target) {
            std::vector<int32_t> via(groups.size(), -2);  // atom through which a group was reached
            std::vector<size_t> queue{g};
            via[g] = -1;
            int32_t free_atom = -1;
            for (size_t q = 0; q < queue.size() && free_atom < 0; ++q) {
                for (int32_t n : groups[queue[q]].atoms) {
                    const int32_t h = holder[position[n]];
                    if (h < 0) {
                        free_atom = n;
                        break;
                    }
                    const size_t next = group_of_atom[h];
                    if (via[next] != -2) continue;
                    via[next] = n;
                    queue.push_back(next);
                }
            }
            if (free_atom < 0) break;
            // Shift along the path: each group on it moves to the position found for it, and the
            // group that reached it takes the position it left.
            for (int32_t n = free_atom;;) {
                const size_t owner = group_of_atom[n];
                holder[position[n]] = n;
                if (owner == g) break;
                n = via[owner];
            }
            ++groups[g].held;
        }
    }

    std::vector<VELMAR_ATOM> atoms;
    for (int32_t n = 0; n < cell->total; ++n) {
        if (holder[position[n]] != n) continue;
        atoms.push_back(cell->atom[n]);
        atoms.back().occ = 1.0;
    }
    return cell_with_atoms(cell, atoms);
}
