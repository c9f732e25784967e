// Landscape calculators. Each voxel value comes from a value function; a common driver visits the
// voxels in the order i, j, k, computes a voxel only when it holds no value yet (|E| <= 1e-7) and
// spreads the value to its images under the symmetry operations that map the grid onto itself
// (where they hold <= 1e-7). The voxels that will be computed are found first, their values
// computed in parallel chunk by chunk, and the spreading is then replayed in voxel order, so the
// cube is the one the sequential visit gives, whatever the number of threads.
#include "landscape/velmar-landscape.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "core/velmar-la.h"
#include "core/velmar-progress.h"
#include "core/velmar.h"
#include "model/velmar-bv.h"
#include "model/velmar-energy.h"
#include "model/velmar-total-energy.h"
#include "structure/velmar-cell-ops.h"
#include "structure/velmar-image-grid.h"

namespace {

constexpr double kFilled = 1e-7;         // a value of larger magnitude counts as computed
constexpr double kCap = 999.9;           // eV (valence units for the GII)
constexpr double kCoulombReach = 10.0;   // A
constexpr int64_t kMaxVoxels = 7529536;  // 196^3
constexpr double kScreenedOut = 6.5;     // screening lengths beyond which erfc is below 1e-21

char sign(int os) { return os > 0 ? '+' : '-'; }

using ValueAt = std::function<double(const double p[3])>;

// True when the card maps the voxel grid onto itself: its integer form moves an index from one axis
// to another only between axes of equal count. The cap on the number of voxels can lower one of two
// symmetry-equivalent axes; a card that exchanges them then lands between voxels, and its integer
// form would write to the wrong ones.
bool maps_grid_onto_itself(const VELMAR_CARD &card, const long n[3]) {
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            if (card.r_i[r][c] != 0 && n[r] != n[c]) return false;
        }
    }
    return true;
}

// Fills the cube: value(p) for the cartesian point of each voxel that is computed. Values spread
// only through the cards that map the grid onto itself (on a symmetric grid, all of them); the
// voxels that only the others would reach are computed directly.
void fill_cube(VELMAR_CUBE *cube, const VELMAR_SYMMETRY *symmetry, const ValueAt &value,
               bool parallel) {
    const long n[3] = {cube->n[0], cube->n[1], cube->n[2]};
    std::vector<const VELMAR_CARD *> usable;
    for (int c = 0; c < symmetry->total; ++c) {
        if (maps_grid_onto_itself(symmetry->card[c], n)) usable.push_back(&symmetry->card[c]);
    }
    const int64_t total = velmar::cube_size(cube);
    double *en = velmar::cube_values(cube);
    const auto triple = [&n](int64_t at, long v[3]) {
        v[2] = at % n[2];
        v[1] = (at / n[2]) % n[1];
        v[0] = at / (n[1] * n[2]);
    };
    const auto point = [cube](const long v[3], double p[3]) {
        velmar_vector3_double_sum3(p, static_cast<double>(v[0]), cube->a_i[0],
                                   static_cast<double>(v[1]), cube->a_i[1],
                                   static_cast<double>(v[2]), cube->a_i[2]);
    };
    const auto compute = [&](int64_t at) {
        long v[3];
        double p[3];
        triple(at, v);
        point(v, p);
        return value(p);
    };
    // The voxel onto which card c maps voxel v, as velmar_card_transform_vector3_long gives it,
    // with the folding into 0..n-1 read from a table instead of computed.
    struct Fold {
        long offset = 0;
        std::vector<long> to;  // to[x + offset] = x folded into 0..n-1
    };
    Fold fold[3];
    for (int r = 0; r < 3; ++r) {
        long lo = 0;
        long hi = 0;
        for (const VELMAR_CARD *usable_card : usable) {
            const VELMAR_CARD &card = *usable_card;
            long low = card.t_i[r];
            long high = card.t_i[r];
            for (int a = 0; a < 3; ++a) {
                const long reach = static_cast<long>(card.r_i[r][a]) * (n[a] - 1);
                low += std::min(0L, reach);
                high += std::max(0L, reach);
            }
            lo = std::min(lo, low);
            hi = std::max(hi, high);
        }
        fold[r].offset = -lo;
        fold[r].to.resize(static_cast<size_t>(hi - lo + 1));
        for (long x = lo; x <= hi; ++x) fold[r].to[x - lo] = velmar_mod_long(x, n[r]);
    }
    const auto image_of = [&n, &fold, &usable](size_t c, const long v[3]) {
        const VELMAR_CARD &card = *usable[c];
        long w[3];
        for (int r = 0; r < 3; ++r) {
            const long x =
                card.t_i[r] + card.r_i[r][0] * v[0] + card.r_i[r][1] * v[1] + card.r_i[r][2] * v[2];
            w[r] = fold[r].to[x + fold[r].offset];
        }
        return (w[0] * n[1] + w[1]) * n[2] + w[2];
    };
    // Spreads e from voxel v to its images, as the sequential visit does.
    const auto spread = [&](const long v[3], double e) {
        for (size_t c = 0; c < usable.size(); ++c) {
            double &slot = en[image_of(c, v)];
            if (slot <= kFilled) slot = e;
        }
    };

    // The voxels that will be computed, predicted on the assumption that every computed value
    // has a magnitude above 1e-7; the replay below checks it voxel by voxel.
    std::vector<bool> predicted(static_cast<size_t>(total), false);
    constexpr size_t kChunk = 1 << 15;
    std::vector<int64_t> sources;
    std::vector<double> values;
    std::vector<int32_t> images;  // the images of each source under every card
    const size_t cards = usable.size();
    sources.reserve(kChunk);
    images.reserve(kChunk * cards);
    int64_t replayed = 0;
    velmar::Progress progress("landscape", total);
    const auto replay_to = [&](int64_t end) {
        size_t next = 0;
        for (; replayed < end; ++replayed) {
            if (std::fabs(en[replayed]) > kFilled) continue;
            while (next < sources.size() && sources[next] < replayed) ++next;
            if (next < sources.size() && sources[next] == replayed) {
                // The images were found in the first pass.
                const int32_t *image = &images[next * cards];
                for (size_t c = 0; c < cards; ++c) {
                    double &slot = en[image[c]];
                    if (slot <= kFilled) slot = values[next];
                }
                continue;
            }
            long v[3];
            triple(replayed, v);
            spread(v, compute(replayed));
        }
        progress.update(replayed);
    };
    const auto flush = [&] {
        if (sources.empty()) return;
        values.resize(sources.size());
        const auto count = static_cast<int64_t>(sources.size());
#pragma omp parallel for schedule(dynamic, 16) if (parallel)
        for (int64_t s = 0; s < count; ++s) values[s] = compute(sources[s]);
        replay_to(sources.back() + 1);
        sources.clear();
        images.clear();
    };
    for (int64_t at = 0; at < total; ++at) {
        if (predicted[at]) continue;
        sources.push_back(at);
        long v[3];
        triple(at, v);
        for (size_t c = 0; c < cards; ++c) {
            const auto image = image_of(c, v);
            predicted[image] = true;
            images.push_back(static_cast<int32_t>(image));
        }
        if (sources.size() == kChunk) flush();
    }
    flush();
    replay_to(total);
}

// Steps shared by the three calculators: validation, the oxidation-state check, the grid with its
// discrete symmetry, and the ignored ions. Returns the empty cube or NULL.
VELMAR_CUBE *prepare(VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry, const VELMAR_PROPERTY *ppt,
                     double resolution, bool ignore_conducting, const long *grid,
                     const char *validation_error, int32_t *ignored_count) {
    if (velmar_cube_validate_property(ppt) != 0) {
        std::fputs(validation_error, stderr);
        return nullptr;
    }
    for (int32_t a = 0; a < cell->total; ++a) {
        if (cell->atom[a].os == 0) {
            std::fprintf(stderr, "Error: oxidation state is zero where atom[%ld]: %s0+.\n",
                         static_cast<long>(a), cell->atom[a].type);
            return nullptr;
        }
    }
    long n[3];
    velmar::detail::landscape_grid_size(n, cell->parameter, resolution);
    if (grid != nullptr) std::copy(grid, grid + 3, n);
    if (velmar_symmetry_fill_card_discrete(symmetry, n) != 0) {
        std::printf("Error: velmar_symmetry_fill_card_discrete() returns non-zero.\n");
        return nullptr;
    }
    VELMAR_CUBE *cube = velmar_cube_new(static_cast<int32_t>(n[0]), static_cast<int32_t>(n[1]),
                                        static_cast<int32_t>(n[2]));
    if (cube == nullptr) {
        VELMAR_ERROR_NULL(velmar_cube_new);
        return nullptr;
    }
    for (int r = 0; r < 3; ++r) {
        velmar_vector3_double_copy(cube->a[r], cell->a[r]);
        velmar_vector3_double_sum2(cube->a_i[r], 1.0 / static_cast<double>(n[r]), cell->a[r], 0.0,
                                   cell->a[r]);
    }
    int32_t ignored = 0;
    for (int32_t a = 0; a < cell->total; ++a) cell->atom[a].ignored = false;
    const int c = ppt->conducting;
    if (ignore_conducting && c >= 0 && c < ppt->total) {
        std::printf("Message: ignoring all %s%d%c ions during cube generation.\n", ppt->type[c],
                    std::abs(ppt->os[c]), sign(ppt->os[c]));
        for (int32_t a = 0; a < cell->total; ++a) {
            VELMAR_ATOM &atom = cell->atom[a];
            if (atom.os == ppt->os[c] && std::strcmp(atom.type, ppt->type[c]) == 0) {
                atom.ignored = true;
                ++ignored;
            }
        }
    } else {
        std::printf("Message: no ion is ignored during cube generation.\n");
    }
    if (ignored_count != nullptr) *ignored_count = ignored;
    return cube;
}

void clear_ignored(VELMAR_CELL *cell) {
    for (int32_t a = 0; a < cell->total; ++a) cell->atom[a].ignored = false;
}

// Bounding box of the cell's parallelepiped, where landscape queries come from.
void cell_box(double lo[3], double hi[3], const double a[3][3]) {
    for (int r = 0; r < 3; ++r) lo[r] = hi[r] = 0.0;
    for (int corner = 1; corner < 8; ++corner) {
        double x[3];
        velmar_vector3_double_sum3(x, corner & 1, a[0], (corner >> 1) & 1, a[1], (corner >> 2) & 1,
                                   a[2]);
        for (int r = 0; r < 3; ++r) {
            lo[r] = std::min(lo[r], x[r]);
            hi[r] = std::max(hi[r], x[r]);
        }
    }
}

// The test ion's partner term of one structure atom in the site-energy landscape.
struct SiteTerm {
    enum Kind { kNone, kBonding, kCoulomb } kind = kNone;
    double occ = 0.0;
    double reach = 0.0;     // the pair cut-off, or 10 A
    double switch_r = 0.0;  // r_bc or r_cc: below it the parabola
    double a2 = 0.0;
    double a1 = 0.0;
    double a0 = 0.0;
    double d0 = 0.0;  // bonding
    double rmin = 0.0;
    double b = 0.0;
    double en_s = 0.0;
    double q = 0.0;  // Coulomb
    double r_eff = 0.0;
    double shift = 0.0;
};

}  // namespace

void velmar::detail::landscape_grid_size(long n[3], const double lengths[3], double resolution) {
    for (int r = 0; r < 3; ++r) {
        const double blocks = std::ceil(lengths[r] / resolution / 24.0);
        n[r] = 24 * static_cast<long>(std::min(blocks, 1.0e6));
    }
    while (n[0] * n[1] * n[2] > kMaxVoxels) {
        int largest = 0;
        for (int r = 1; r < 3; ++r) {
            if (n[r] > n[largest]) largest = r;
        }
        n[largest] -= 24;
    }
}

int velmar_cube_validate_property(const VELMAR_PROPERTY *ppt) {
    if (ppt == nullptr || ppt->uni == nullptr || ppt->bin == nullptr) {
        std::fputs("Error: VELMAR_PROPERTY has not been properly initialized.\n", stderr);
        return 1;
    }
    const int c = ppt->conducting;
    if (c < 0 || c >= ppt->total) {
        std::fputs("Error: conducting species not correctly specified.\n", stderr);
        return 1;
    }
    for (int i = 0; i < ppt->total; ++i) {
        if (ppt->os[i] * ppt->os[c] <= 0) continue;
        const VELMAR_PROPERTY_UNITARY &u = ppt->uni[i];
        if (u.os * u.q <= 0) {
            std::fprintf(stderr, "Error: incorrect q at [%d](%s%d%c) q=%f\n", i, u.type,
                         std::abs(u.os), sign(u.os), u.q);
            return 1;
        }
        if (u.rc <= 0) {
            std::fprintf(stderr, "Error: incorrect rc at[%d](%s%d%c) rc=%f\n", i, u.type,
                         std::abs(u.os), sign(u.os), u.rc);
            return 1;
        }
    }
    for (int i = 0; i < ppt->total; ++i) {
        for (int j = 0; j < ppt->total; ++j) {
            if (!(ppt->os[i] > 0 && ppt->os[j] < 0 && (i == c || j == c))) continue;
            const VELMAR_PROPERTY_BINARY &p = ppt->bin[i][j];
            const int a1 = std::abs(p.os1);
            const int a2 = std::abs(p.os2);
            if (p.cutoff <= 0) {
                std::fprintf(stderr, "Error: incorrect cutoff at [%d](%s%d%c)-(%s%d%c) cutoff=%f\n",
                             i, p.type1, a1, sign(p.os1), p.type2, a2, sign(p.os2), p.cutoff);
                return 1;
            }
            if (p.b <= 0) {
                std::fprintf(stderr, "Error: incorrect b at [%d](%s%d%c)-(%s%d%c) b=%f\n", i,
                             p.type1, a1, sign(p.os1), p.type2, a2, sign(p.os2), p.b);
                return 1;
            }
            if (p.d0 <= 0) {
                std::fprintf(stderr, "Error: incorrect d0 at [%d](%s%d%c)-(%s%d%c) d0=%f\n", i,
                             p.type1, a1, sign(p.os1), p.type2, a2, sign(p.os2), p.d0);
                return 1;
            }
            if (p.rmin <= 0) {
                std::fprintf(stderr, "Error: incorrect rmin at [%d](%s%d%c)-(%s%d%c) rmin=%f\n", i,
                             p.type1, a1, sign(p.os1), p.type2, a2, sign(p.os2), p.rmin);
                return 1;
            }
        }
    }
    return 0;
}

VELMAR_CELL *velmar_cube_cell_new(const VELMAR_CELL *cell, const char *type, int os,
                                  int32_t ignored_count) {
    if (cell == nullptr || type == nullptr) {
        std::fputs(
            "Error: VELMAR_CELL or conducting ions info has not been properly initialized.\n",
            stderr);
        return nullptr;
    }
    const long total = static_cast<long>(cell->total) - ignored_count + 1;
    velmar::Owned<VELMAR_CELL, velmar_cell_free> test(velmar_cell_new(total + 1));
    if (!test) {
        VELMAR_ERROR_NULL(velmar_cell_new);
        return nullptr;
    }
    velmar_atom_free(test->atom);
    *test = *cell;
    test->atom = nullptr;
    test->total = 0;
    test->atom = velmar_atom_new(total);
    if (test->atom == nullptr) {
        VELMAR_ERROR_NULL(velmar_atom_new);
        return nullptr;
    }
    test->total = static_cast<int32_t>(total);
    VELMAR_ATOM &ion = test->atom[0];
    velmar::copy_text(ion.type, 3, type);
    ion.os = os;
    ion.occ = 1.0;
    // The structure's first atom is never copied; when it is not ignored the last slot stays empty.
    int32_t slot = 1;
    for (int32_t a = 1; a < cell->total && slot < test->total; ++a) {
        if (!cell->atom[a].ignored) test->atom[slot++] = cell->atom[a];
    }
    return test.release();
}

VELMAR_CUBE *velmar_cube_calculate(VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
                                   const VELMAR_PROPERTY *ppt, double resolution,
                                   bool ignore_conducting) {
    return velmar::detail::cube_calculate(cell, symmetry, ppt, resolution, ignore_conducting, {});
}

VELMAR_CUBE *velmar::detail::cube_calculate(VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
                                            const VELMAR_PROPERTY *ppt, double resolution,
                                            bool ignore_conducting, const LandscapeRun &run) {
    velmar::Owned<VELMAR_CUBE, velmar_cube_free> cube(
        prepare(cell, symmetry, ppt, resolution, ignore_conducting, run.grid,
                "Error: velmar_cube_validate_property() returns non-zero.\n", nullptr));
    if (!cube) return nullptr;
    const int c = ppt->conducting;
    double reach = kCoulombReach;
    for (int i = 0; i < ppt->total; ++i) {
        for (int j = 0; j < ppt->total; ++j) reach = std::max(reach, ppt->bin[i][j].cutoff);
    }
    int images[3];
    for (int r = 0; r < 3; ++r) images[r] = static_cast<int>(reach / cell->parameter[r] + 2.0);
    // The structure's ions that count, with the parameters of their pair with the test ion, in two
    // groups: bonding partners (within their cut-off) and screened Coulomb partners (within 10 A).
    struct Partners {
        std::vector<VELMAR_ATOM> atoms;
        std::vector<SiteTerm> terms;
        double reach = 0.0;
        std::unique_ptr<velmar::ImageGrid> grid;
    };
    Partners bonding;
    Partners coulomb;
    for (int32_t a = 0; a < cell->total; ++a) {
        const VELMAR_ATOM &atom = cell->atom[a];
        if (atom.ignored) continue;
        const int t = velmar_property_find_index(ppt, atom.type, atom.os);
        if (t < 0) {
            std::fputs("Error: velmar_property_find_index() returns negative value.\n", stderr);
            return nullptr;
        }
        const VELMAR_PROPERTY_BINARY &rec = ppt->os[c] < 0 ? ppt->bin[t][c] : ppt->bin[c][t];
        SiteTerm term;
        term.occ = atom.occ;
        term.a2 = rec.a2;
        term.a1 = rec.a1;
        term.a0 = rec.a0;
        const int product = ppt->os[c] * ppt->os[t];
        Partners *group = nullptr;
        if (product < 0) {
            term.kind = SiteTerm::kBonding;
            term.reach = rec.cutoff;
            term.switch_r = rec.r_bc;
            term.d0 = rec.d0;
            term.rmin = rec.rmin;
            term.b = rec.b;
            term.en_s = rec.en_s;
            group = &bonding;
        } else if (product > 0) {
            term.kind = SiteTerm::kCoulomb;
            term.reach = kCoulombReach;
            term.switch_r = rec.r_cc;
            term.q = ppt->uni[t].q * ppt->uni[c].q;
            term.r_eff = ppt->sf * (ppt->uni[t].rc + ppt->uni[c].rc);
            term.shift = term.q * std::erfc(kCoulombReach / term.r_eff) / kCoulombReach;
            group = &coulomb;
        } else {
            continue;
        }
        group->atoms.push_back(atom);
        group->terms.push_back(term);
        group->reach = std::max(group->reach, term.reach);
    }
    // Queries come from inside the cell; each group's images are binned for its own reach.
    double lo[3];
    double hi[3];
    cell_box(lo, hi, cell->a);
    for (Partners *group : {&bonding, &coulomb}) {
        if (group->atoms.empty() || !(group->reach > 0.0)) continue;
        VELMAR_CELL view = *cell;
        view.atom = group->atoms.data();
        view.total = static_cast<int32_t>(group->atoms.size());
        group->grid = std::make_unique<velmar::ImageGrid>(view, images, group->reach, lo, hi);
        if (!group->grid->ok()) {
            std::fputs("Error: the cell is too small for the interaction range.\n", stderr);
            return nullptr;
        }
    }
    fill_cube(
        cube.get(), symmetry,
        [&](const double p[3]) {
            double b_sum = 0.0;
            double c_sum = 0.0;
            if (bonding.grid) {
                const double reach2 = bonding.reach * bonding.reach;
                bonding.grid->visit(p, [&](const velmar::ImageGrid::Point &image) {
                    const double dx = image.x[0] - p[0];
                    const double dy = image.x[1] - p[1];
                    const double dz = image.x[2] - p[2];
                    const double d2 = dx * dx + dy * dy + dz * dz;
                    if (d2 > reach2) return;
                    const SiteTerm &t = bonding.terms[image.atom];
                    const double d = std::sqrt(d2);
                    if (d > t.reach) return;
                    b_sum += t.occ * (d <= t.switch_r ? velmar_pseudopotential_energy_bonding(
                                                            d, t.a2, t.a1, t.a0)
                                                      : velmar_energy_bonding_with_energy_shift(
                                                            d, t.d0, t.rmin, t.b, t.en_s));
                });
            }
            if (coulomb.grid) {
                const double reach2 = kCoulombReach * kCoulombReach;
                coulomb.grid->visit(p, [&](const velmar::ImageGrid::Point &image) {
                    const double dx = image.x[0] - p[0];
                    const double dy = image.x[1] - p[1];
                    const double dz = image.x[2] - p[2];
                    const double d2 = dx * dx + dy * dy + dz * dz;
                    if (d2 > reach2) return;
                    const SiteTerm &t = coulomb.terms[image.atom];
                    const double d = std::sqrt(d2);
                    if (d <= t.switch_r) {
                        c_sum +=
                            t.occ * velmar_pseudopotential_energy_coulombic(d, t.a2, t.a1, t.a0);
                    } else {
                        const double u = d / t.r_eff;
                        c_sum += t.occ *
                                 (u > kScreenedOut ? -t.shift : t.q * std::erfc(u) / d - t.shift);
                    }
                });
            }
            const double e = (b_sum + c_sum) * VELMAR_COULOMB;
            return e > kCap ? kCap : e;
        },
        true);
    clear_ignored(cell);
    std::printf("Message: cube has been generated successfully.\n");
    return cube.release();
}

namespace {

// The GII landscape from the bond-valence sums of the structure without the test ion: the ion at a
// voxel only adds its own bonds, to its own sum and to the sums of the partner sites it bonds to.
class GiiLandscape {
  public:
    // The test cell's atoms 1.. are the structure. False after the messages of a failing step.
    bool build(const VELMAR_CELL &test, const VELMAR_PROPERTY &ppt) {
        const int conducting = ppt.conducting;
        os_ = ppt.os[conducting];
        const int32_t count = test.total - 1;
        std::vector<int32_t> flags(static_cast<size_t>(std::max(count, 0)));
        if (count > 0) {
            // Sites as the test cell has them: each atom its own, in P 1.
            velmar::Owned<VELMAR_CELL, velmar_cell_free> base(velmar_cell_new(count));
            if (!base) return false;
            VELMAR_ATOM *storage = base->atom;
            *base = test;
            base->atom = storage;
            base->total = count;
            std::copy(test.atom + 1, test.atom + test.total, base->atom);
            velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free> p1(velmar_symmetry_new_p1());
            velmar_cell_flag_site_by_symmetry(base.get(), p1.get());
            for (int32_t a = 0; a < count; ++a) flags[a] = base->atom[a].flag;
            velmar::Owned<VELMAR_BV, velmar_bv_free> bv(
                velmar_bv_calculate_from_flagged_cell(base.get(), &ppt));
            if (!bv) {
                std::fputs("Error: velmar_bv_calculate_from_flagged_cell returns NULL.\n", stderr);
                return false;
            }
            for (long k = 0; k < bv->total; ++k) {
                const double w = bv->multi[k] * bv->atom[k].occ;
                const double deviation = bv->sum[k] - bv->atom[k].os;
                sums_.push_back(bv->sum[k]);
                weight_.push_back(w);
                state_.push_back(bv->atom[k].os);
                numerator_ += w * deviation * deviation;
                denominator_ += w;
            }
        }
        // Partners of the test ion: atoms of the opposite sign, with the pair parameters. Only a
        // site's first atom carries the site's sum.
        double reach = 0.0;
        for (int i = 0; i < ppt.total; ++i) {
            for (int j = 0; j < ppt.total; ++j) reach = std::max(reach, ppt.bin[i][j].cutoff);
        }
        std::vector<bool> seen(static_cast<size_t>(count) + 1, false);
        for (int32_t a = 0; a < count; ++a) {
            const bool first = !seen[flags[a]];
            seen[flags[a]] = true;
            const VELMAR_ATOM &atom = test.atom[a + 1];
            if (atom.os * os_ >= 0) continue;
            const int t = velmar_property_find_index(&ppt, atom.type, atom.os);
            const VELMAR_PROPERTY_BINARY &rec =
                os_ > 0 ? ppt.bin[conducting][t] : ppt.bin[t][conducting];
            if (rec.cutoff <= 0.3) continue;
            partners_.push_back({atom.occ, rec.cutoff, rec.r0, rec.b, first ? flags[a] - 1 : -1});
            atoms_.push_back(atom);
        }
        if (atoms_.empty()) return true;
        int images[3];
        for (int k = 0; k < 3; ++k) {
            images[k] = 2 + static_cast<int>(reach / velmar_vector3_double_length(test.a[k]));
        }
        VELMAR_CELL view = test;
        view.atom = atoms_.data();
        view.total = static_cast<int32_t>(atoms_.size());
        double lo[3];
        double hi[3];
        cell_box(lo, hi, test.a);
        grid_ = std::make_unique<velmar::ImageGrid>(view, images, reach, lo, hi);
        if (!grid_->ok()) {
            std::fputs("Error: the cell is too small for the bond-valence cut-off.\n", stderr);
            return false;
        }
        return true;
    }

    // GII with the test ion at p, capped at 999.9.
    double operator()(const double p[3]) const {
        double own = 0.0;
        double numerator = numerator_;
        // Bonds to partner sites, gathered per site (a site may bond through several images).
        std::vector<std::pair<int32_t, double>> bonds;
        if (grid_) {
            grid_->visit(p, [&](const velmar::ImageGrid::Point &image) {
                const Partner &partner = partners_[image.atom];
                const double d = velmar_vector3_double_distance(p, image.x);
                if (d <= 0.3 || d >= partner.cutoff) return;
                const double v = std::exp((partner.r0 - d) / partner.b);
                own += partner.occ * v;
                if (partner.site >= 0) bonds.emplace_back(partner.site, v);
            });
        }
        if (os_ < 0) own = -own;
        std::sort(bonds.begin(), bonds.end());
        for (size_t i = 0; i < bonds.size();) {
            const int32_t k = bonds[i].first;
            double delta = 0.0;  // the ion's occupancy is 1
            for (; i < bonds.size() && bonds[i].first == k; ++i) delta += bonds[i].second;
            if (state_[k] < 0) delta = -delta;
            const double before = sums_[k] - state_[k];
            const double after = before + delta;
            numerator += weight_[k] * (after * after - before * before);
        }
        const double deviation = own - os_;
        const double gii = std::sqrt((numerator + deviation * deviation) / (denominator_ + 1.0));
        return gii > kCap ? kCap : gii;
    }

  private:
    struct Partner {
        double occ;
        double cutoff;
        double r0;
        double b;
        int32_t site;  // the partner's site when it is the site's first atom, else -1
    };

    int os_ = 0;
    double numerator_ = 0.0;
    double denominator_ = 0.0;
    std::vector<double> sums_;
    std::vector<double> weight_;
    std::vector<int> state_;
    std::vector<VELMAR_ATOM> atoms_;
    std::vector<Partner> partners_;
    std::unique_ptr<velmar::ImageGrid> grid_;
};

// What the GII and total-energy landscapes share: the grid (computed in P 1) and a copy of the
// structure with one ion of the conducting species in front, to be moved from voxel to voxel.
struct TestCellLandscape {
    velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free> p1;
    velmar::Owned<VELMAR_CUBE, velmar_cube_free> cube;
    velmar::Owned<VELMAR_CELL, velmar_cell_free> test;

    bool prepare(VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt, double resolution,
                 bool ignore_conducting, const long *grid) {
        p1.reset(velmar_symmetry_new_p1());
        if (!p1) {
            VELMAR_ERROR_NULL(velmar_symmetry_new_p1);
            return false;
        }
        int32_t ignored = 0;
        cube.reset(::prepare(cell, p1.get(), ppt, resolution, ignore_conducting, grid,
                             "Error: velmr_cube_validate_property() returns non-zero.\n",
                             &ignored));
        if (!cube) return false;
        const int c = ppt->conducting;
        test.reset(velmar_cube_cell_new(cell, ppt->type[c], ppt->os[c], ignored));
        if (!test) {
            VELMAR_ERROR_NULL(velmar_cube_cell_new);
            return false;
        }
        return true;
    }
};

}  // namespace

VELMAR_CUBE *velmar_cube_by_gii_calculate(VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
                                          const VELMAR_PROPERTY *ppt, double resolution,
                                          bool ignore_conducting) {
    return velmar::detail::cube_by_gii_calculate(cell, symmetry, ppt, resolution, ignore_conducting,
                                                 {});
}

VELMAR_CUBE *velmar::detail::cube_by_gii_calculate(VELMAR_CELL *cell,
                                                   VELMAR_SYMMETRY * /*symmetry*/,
                                                   const VELMAR_PROPERTY *ppt, double resolution,
                                                   bool ignore_conducting,
                                                   const LandscapeRun &run) {
    TestCellLandscape l;
    if (!l.prepare(cell, ppt, resolution, ignore_conducting, run.grid)) return nullptr;
    auto &p1 = l.p1;
    auto &cube = l.cube;
    auto &test = l.test;
    // Every atom of the test cell must have a species; the empty slot left when the structure's
    // first atom is not ignored has none, and the bond valences of the first voxel fail.
    for (int32_t a = 0; a < test->total; ++a) {
        if (velmar_property_find_index(ppt, test->atom[a].type, test->atom[a].os) < 0) {
            std::fputs("Error: velmar_property_find_index() returns negative value.\n", stderr);
            std::fputs("Error: velmar_bv_calculate_from_flagged_cell returns NULL.\n", stderr);
            return nullptr;
        }
    }
    GiiLandscape gii;
    if (!gii.build(*test, *ppt)) return nullptr;
    fill_cube(cube.get(), p1.get(), std::cref(gii), true);
    clear_ignored(cell);
    std::printf("Message: cube_by_gii has been generated successfully.\n");
    return cube.release();
}

VELMAR_CUBE *velmar_cube_by_tot_en_calculate(VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
                                             const VELMAR_PROPERTY *ppt, double resolution,
                                             bool ignore_conducting) {
    return velmar::detail::cube_by_tot_en_calculate(cell, symmetry, ppt, resolution,
                                                    ignore_conducting, {});
}

VELMAR_CUBE *velmar::detail::cube_by_tot_en_calculate(VELMAR_CELL *cell,
                                                      VELMAR_SYMMETRY * /*symmetry*/,
                                                      const VELMAR_PROPERTY *ppt, double resolution,
                                                      bool ignore_conducting,
                                                      const LandscapeRun &run) {
    TestCellLandscape l;
    if (!l.prepare(cell, ppt, resolution, ignore_conducting, run.grid)) return nullptr;
    auto &p1 = l.p1;
    auto &cube = l.cube;
    auto &test = l.test;
    // One test cell moved from voxel to voxel: computed in order, on one thread.
    VELMAR_CELL *moving = test.get();
    fill_cube(
        cube.get(), p1.get(),
        [&](const double p[3]) {
            VELMAR_ATOM &ion = moving->atom[0];
            for (int r = 0; r < 3; ++r) {
                ion.x[r] = p[r];
                ion.x_f[r] = p[r] / cell->parameter[r];
            }
            const double e = velmar_cell_total_energy(moving, ppt);
            return e > kCap ? kCap : e;
        },
        false);
    clear_ignored(cell);
    std::printf("Message: cube_by_tot_en has been generated successfully.\n");
    return cube.release();
}
