// The band: its construction from images or by interpolation, the forces on its images and the
// FIRE optimiser. The images are evaluated in parallel, each by its own copy of the structure, and
// every sum over images runs in image order afterwards, so the band does not depend on the number
// of threads.
#include "relax/velmar-neb.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "core/velmar-la.h"
#include "core/velmar-progress.h"
#include "core/velmar.h"
#include "relax/velmar-rx-common.h"

namespace {

// FIRE settings (time in units where every coordinate has unit mass).
constexpr double kDtStart = 0.1;
constexpr double kDtMax = 1.0;
constexpr int32_t kDelay = 5;  // steps along the force before the time step may grow
constexpr double kDtGrow = 1.1;
constexpr double kDtShrink = 0.5;
constexpr double kMixStart = 0.1;
constexpr double kMixShrink = 0.99;
// Lattice vectors of the images agree within this, A.
constexpr double kSameCell = 1e-3;
constexpr int32_t kPrintEvery = 10;

using Band = velmar::Owned<VELMAR_NEB, velmar_neb_free>;

std::string image_name(const char *const *names, int32_t i) {
    if (names != nullptr && names[i] != nullptr) return names[i];
    return "image " + std::to_string(i);
}

char sign(int os) { return os >= 0 ? '+' : '-'; }

// The record with its arrays, positions not yet set. NULL after an error line.
VELMAR_NEB *allocate(const VELMAR_CELL &first, int32_t total, const VELMAR_PROPERTY *ppt) {
    auto *raw = static_cast<VELMAR_NEB *>(std::calloc(1, sizeof(VELMAR_NEB)));
    if (raw == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_NEB.\n", stderr);
        return nullptr;
    }
    Band neb(raw);
    neb->total = total;
    neb->atoms = first.total;
    neb->k = VELMAR_NEB_SPRING;
    neb->climber = -1;
    neb->cell = velmar_cell_copy(&first);
    if (neb->cell == nullptr) {
        VELMAR_ERROR_NULL(velmar_cell_copy);
        return nullptr;
    }
    neb->ppt = velmar_property_copy(ppt);
    if (neb->ppt == nullptr) {
        VELMAR_ERROR_NULL(velmar_property_copy);
        return nullptr;
    }
    const auto points = static_cast<size_t>(total) * static_cast<size_t>(first.total);
    for (double(**field)[3] : {&neb->x, &neb->f, &neb->tangent, &neb->f_spring, &neb->f_neb}) {
        *field = static_cast<double(*)[3]>(std::calloc(points, sizeof(double[3])));
        if (*field == nullptr) {
            std::fputs("Error: unable to allocate the arrays of VELMAR_NEB.\n", stderr);
            return nullptr;
        }
    }
    for (double **field : {&neb->energy, &neb->coordinate}) {
        *field = static_cast<double *>(std::calloc(static_cast<size_t>(total), sizeof(double)));
        if (*field == nullptr) {
            std::fputs("Error: unable to allocate the arrays of VELMAR_NEB.\n", stderr);
            return nullptr;
        }
    }
    return neb.release();
}

bool enough_images(int32_t total) {
    if (total >= 3) return true;
    std::fprintf(stderr, "Error: a band needs at least 3 images (%ld given).\n",
                 static_cast<long>(total));
    return false;
}

using Row = double[3];

// The block of image i in one of the band's per-atom arrays.
Row *at(Row *array, const VELMAR_NEB &neb, int32_t i) {
    return array + static_cast<size_t>(i) * static_cast<size_t>(neb.atoms);
}

// Energies and forces of images first..last, then the coordinates. False after the error lines.
bool evaluate(VELMAR_NEB *neb, int32_t first, int32_t last) {
    std::vector<char> ok(static_cast<size_t>(neb->total), 1);
#pragma omp parallel for schedule(dynamic, 1)
    for (int32_t i = first; i <= last; ++i) {
        velmar::rx::Evaluator model;
        ok[i] = static_cast<char>(
            model.init(*neb->cell, neb->ppt) &&
            model.evaluate(at(neb->x, *neb, i), neb->energy[i], at(neb->f, *neb, i)));
    }
    for (int32_t i = first; i <= last; ++i) {
        if (ok[i] == 0) {
            std::fprintf(stderr, "Error: the energy of image %ld cannot be evaluated.\n",
                         static_cast<long>(i));
            return false;
        }
    }
    neb->coordinate[0] = 0.0;
    for (int32_t i = 1; i < neb->total; ++i) {
        double sum = 0.0;
        for (int32_t a = 0; a < neb->atoms; ++a) {
            const double d =
                velmar_vector3_double_distance(at(neb->x, *neb, i)[a], at(neb->x, *neb, i - 1)[a]);
            sum += d * d;
        }
        neb->coordinate[i] = neb->coordinate[i - 1] + std::sqrt(sum);
    }
    return true;
}

// Length over the free atoms of the difference of two images.
double free_distance(const VELMAR_NEB &neb, int32_t i, int32_t j) {
    double sum = 0.0;
    for (int32_t a = 0; a < neb.atoms; ++a) {
        if (neb.cell->atom[a].ignored) continue;
        const double d = velmar_vector3_double_distance(at(neb.x, neb, i)[a], at(neb.x, neb, j)[a]);
        sum += d * d;
    }
    return std::sqrt(sum);
}

double band_dot(const Row *u, const Row *v, int32_t n) {
    double sum = 0.0;
    for (int32_t a = 0; a < n; ++a) sum += velmar_vector3_double_dot(u[a], v[a]);
    return sum;
}

}  // namespace

int velmar_neb_check_images(const VELMAR_CELL *const *images, int32_t total,
                            const char *const *names) {
    if (images == nullptr || total < 2) {
        std::fputs("Error: no images to compare.\n", stderr);
        return 1;
    }
    for (int32_t i = 0; i < total; ++i) {
        if (images[i] == nullptr || images[i]->atom == nullptr) {
            std::fprintf(stderr, "Error: %s holds no atoms.\n", image_name(names, i).c_str());
            return 1;
        }
    }
    const VELMAR_CELL &first = *images[0];
    const std::string first_name = image_name(names, 0);
    for (int32_t i = 1; i < total; ++i) {
        const VELMAR_CELL &other = *images[i];
        const std::string name = image_name(names, i);
        if (other.total != first.total) {
            std::fprintf(stderr,
                         "Error: %s has %ld atoms and %s %ld; the images must hold the same atoms "
                         "in the same order.\n",
                         name.c_str(), static_cast<long>(other.total), first_name.c_str(),
                         static_cast<long>(first.total));
            return 1;
        }
        for (int32_t n = 0; n < first.total; ++n) {
            const VELMAR_ATOM &p = first.atom[n];
            const VELMAR_ATOM &q = other.atom[n];
            if (std::strcmp(p.type, q.type) != 0 || p.os != q.os) {
                std::fprintf(stderr,
                             "Error: atom %ld is %s%d%c (%s) in %s but %s%d%c (%s) in %s; the "
                             "images must hold the same atoms in the same order.\n",
                             static_cast<long>(n + 1), p.type, std::abs(p.os), sign(p.os), p.name,
                             first_name.c_str(), q.type, std::abs(q.os), sign(q.os), q.name,
                             name.c_str());
                return 1;
            }
            if (std::fabs(p.occ - q.occ) > 1e-6) {
                std::fprintf(stderr,
                             "Error: atom %ld (%s) has occupancy %.4f in %s but %.4f in %s.\n",
                             static_cast<long>(n + 1), p.name, p.occ, first_name.c_str(), q.occ,
                             name.c_str());
                return 1;
            }
        }
        double worst = 0.0;
        for (int r = 0; r < 3; ++r) {
            for (int c = 0; c < 3; ++c)
                worst = std::max(worst, std::fabs(first.a[r][c] - other.a[r][c]));
        }
        if (worst > kSameCell) {
            std::fprintf(stderr,
                         "Error: %s and %s have different cells (lattice vectors differ by up to "
                         "%.4f A).\n",
                         first_name.c_str(), name.c_str(), worst);
            return 1;
        }
    }
    return 0;
}

VELMAR_NEB *velmar_neb_new(const VELMAR_CELL *const *images, int32_t total,
                           const VELMAR_PROPERTY *ppt, const char *const *names) {
    if (!enough_images(total)) return nullptr;
    if (velmar_neb_check_images(images, total, names) != 0) {
        VELMAR_ERROR_NONZERO(velmar_neb_check_images);
        return nullptr;
    }
    Band neb(allocate(*images[0], total, ppt));
    if (!neb) return nullptr;
    for (int32_t a = 0; a < neb->atoms; ++a)
        velmar_vector3_double_copy(at(neb->x, *neb, 0)[a], images[0]->atom[a].x);
    // Each image continues from the one before it, so that an atom crossing a face of the cell
    // moves by its short displacement.
    for (int32_t i = 1; i < total; ++i) {
        for (int32_t a = 0; a < neb->atoms; ++a) {
            const double *before = at(neb->x, *neb, i - 1)[a];
            double d[3];
            velmar_vector3_double_sum2(d, 1.0, images[i]->atom[a].x, -1.0, before);
            velmar::rx::minimum_image(d, *neb->cell);
            velmar_vector3_double_sum2(at(neb->x, *neb, i)[a], 1.0, before, 1.0, d);
        }
    }
    return neb.release();
}

VELMAR_NEB *velmar_neb_new_interpolated(const VELMAR_CELL *initial, const VELMAR_CELL *final,
                                        int32_t total, const VELMAR_PROPERTY *ppt,
                                        const char *const *names) {
    const VELMAR_CELL *const ends[2] = {initial, final};
    if (!enough_images(total)) return nullptr;
    if (velmar_neb_check_images(ends, 2, names) != 0) {
        VELMAR_ERROR_NONZERO(velmar_neb_check_images);
        return nullptr;
    }
    Band neb(allocate(*initial, total, ppt));
    if (!neb) return nullptr;
    for (int32_t a = 0; a < neb->atoms; ++a) {
        double d[3];
        velmar_vector3_double_sum2(d, 1.0, final->atom[a].x, -1.0, initial->atom[a].x);
        velmar::rx::minimum_image(d, *neb->cell);
        for (int32_t i = 0; i < total; ++i) {
            const double t = static_cast<double>(i) / static_cast<double>(total - 1);
            velmar_vector3_double_sum2(at(neb->x, *neb, i)[a], 1.0, initial->atom[a].x, t, d);
        }
    }
    return neb.release();
}

void velmar_neb_free(VELMAR_NEB *neb) {
    if (neb == nullptr) return;
    for (void *p : {static_cast<void *>(neb->x), static_cast<void *>(neb->f),
                    static_cast<void *>(neb->tangent), static_cast<void *>(neb->f_spring),
                    static_cast<void *>(neb->f_neb), static_cast<void *>(neb->energy),
                    static_cast<void *>(neb->coordinate)}) {
        std::free(p);
    }
    velmar_cell_free(neb->cell);
    velmar_property_free(neb->ppt);
    std::free(neb);
}

int velmar_neb_calculate_energy(VELMAR_NEB *neb) {
    if (neb == nullptr || neb->x == nullptr || neb->cell == nullptr) {
        std::fputs("Error: VELMAR_NEB has not been properly initialized.\n", stderr);
        return 1;
    }
    return evaluate(neb, 0, neb->total - 1) ? 0 : 1;
}

int velmar_neb_calculate_force(VELMAR_NEB *neb) {
    if (neb == nullptr || neb->x == nullptr || neb->cell == nullptr) {
        std::fputs("Error: VELMAR_NEB has not been properly initialized.\n", stderr);
        return 1;
    }
    const int32_t last = neb->total - 1;
    const int32_t n = neb->atoms;
    neb->climber = -1;
    if (neb->climbing) {
        neb->climber = 1;
        for (int32_t i = 2; i < last; ++i) {
            if (neb->energy[i] > neb->energy[neb->climber]) neb->climber = i;
        }
    }
    neb->max_force = 0.0;
    for (int32_t i = 1; i < last; ++i) {
        const double v_behind = neb->energy[i - 1];
        const double v = neb->energy[i];
        const double v_ahead = neb->energy[i + 1];
        // The tangent points to the higher neighbour; at an extremum of the energy along the band
        // both neighbours count, the higher one more, so that the tangent turns smoothly.
        double w_ahead = 1.0;
        double w_behind = 0.0;
        if (!(v_ahead > v && v > v_behind)) {
            if (v_ahead < v && v < v_behind) {
                w_ahead = 0.0;
                w_behind = 1.0;
            } else {
                const double big = std::max(std::fabs(v_ahead - v), std::fabs(v_behind - v));
                const double small = std::min(std::fabs(v_ahead - v), std::fabs(v_behind - v));
                w_ahead = v_ahead > v_behind ? big : small;
                w_behind = v_ahead > v_behind ? small : big;
            }
        }
        Row *t = at(neb->tangent, *neb, i);
        for (int32_t a = 0; a < n; ++a) {
            if (neb->cell->atom[a].ignored) {
                t[a][0] = t[a][1] = t[a][2] = 0.0;
                continue;
            }
            const double *x = at(neb->x, *neb, i)[a];
            double d_ahead[3];
            double d_behind[3];
            velmar_vector3_double_sum2(d_ahead, 1.0, at(neb->x, *neb, i + 1)[a], -1.0, x);
            velmar_vector3_double_sum2(d_behind, 1.0, x, -1.0, at(neb->x, *neb, i - 1)[a]);
            velmar_vector3_double_sum2(t[a], w_ahead, d_ahead, w_behind, d_behind);
        }
        const double length = std::sqrt(band_dot(t, t, n));
        if (!(length > 0.0)) {
            std::fprintf(stderr,
                         "Error: the band has no direction at image %ld: it coincides with its "
                         "neighbours.\n",
                         static_cast<long>(i));
            return 1;
        }
        for (int32_t a = 0; a < n; ++a) {
            for (int c = 0; c < 3; ++c) t[a][c] /= length;
        }
        const Row *f = at(neb->f, *neb, i);
        const double along = band_dot(f, t, n);
        const bool climbs = i == neb->climber;
        const double spring =
            climbs ? 0.0 : neb->k * (free_distance(*neb, i + 1, i) - free_distance(*neb, i, i - 1));
        Row *s = at(neb->f_spring, *neb, i);
        Row *g = at(neb->f_neb, *neb, i);
        for (int32_t a = 0; a < n; ++a) {
            velmar_vector3_double_sum2(s[a], spring, t[a], 0.0, t[a]);
            velmar_vector3_double_sum3(g[a], 1.0, f[a], climbs ? -2.0 * along : -along, t[a], 1.0,
                                       s[a]);
            neb->max_force = std::max(neb->max_force, velmar_vector3_double_length(g[a]));
        }
    }
    return 0;
}

int velmar_neb_run(VELMAR_NEB *neb, int32_t steps, double f_tol, bool *converged) {
    if (neb == nullptr || neb->x == nullptr || converged == nullptr) {
        std::fputs("Error: VELMAR_NEB has not been properly initialized.\n", stderr);
        return 1;
    }
    *converged = false;
    if (velmar_neb_calculate_energy(neb) != 0) {
        VELMAR_ERROR_NONZERO(velmar_neb_calculate_energy);
        return 1;
    }
    const int32_t last = neb->total - 1;
    // The intermediate images, one block of atoms after the other.
    Row *x = at(neb->x, *neb, 1);
    const Row *g = at(neb->f_neb, *neb, 1);
    const int32_t n = (neb->total - 2) * neb->atoms;
    std::vector<double> v(static_cast<size_t>(n) * 3, 0.0);
    double dt = kDtStart;
    double mix = kMixStart;
    int32_t downhill = 0;
    velmar::Progress progress("NEB", steps);
    for (neb->step = 0;; ++neb->step) {
        if (velmar_neb_calculate_force(neb) != 0) {
            VELMAR_ERROR_NONZERO(velmar_neb_calculate_force);
            return 1;
        }
        const double top = *std::max_element(neb->energy, neb->energy + neb->total);
        const bool done = neb->max_force <= f_tol || neb->step >= steps;
        if (neb->step % kPrintEvery == 0 || done) {
            std::printf("NEB: step %ld; max force = %.6f eV/A; barrier = %.6f eV\n",
                        static_cast<long>(neb->step), neb->max_force, top - neb->energy[0]);
        }
        progress.update(neb->step, velmar::rx::largest_force_text(neb->max_force));
        if (neb->max_force <= f_tol) {
            *converged = true;
            std::printf(
                "Message: band converged at step %ld (largest force %.6f eV/A, f_tol %.6f "
                "eV/A).\n",
                static_cast<long>(neb->step), neb->max_force, f_tol);
            return 0;
        }
        if (neb->step >= steps) {
            std::printf(
                "Warning: band not converged in %ld steps (largest force %.6f eV/A, f_tol %.6f "
                "eV/A).\n",
                static_cast<long>(steps), neb->max_force, f_tol);
            return 0;
        }
        // FIRE: while the velocity keeps pointing along the force, turn it towards the force and
        // let the time step grow; as soon as it points against the force, stop and start again
        // with a shorter time step. The first step starts from rest.
        double power = 0.0;
        double v2 = 0.0;
        double g2 = 0.0;
        for (int32_t p = 0; p < n; ++p) {
            for (int c = 0; c < 3; ++c) {
                power += g[p][c] * v[3 * p + c];
                v2 += v[3 * p + c] * v[3 * p + c];
                g2 += g[p][c] * g[p][c];
            }
        }
        const bool moving = v2 > 0.0 && g2 > 0.0;  // from rest there is nothing to turn or judge
        if (moving && power > 0.0) {
            const double turn = mix * std::sqrt(v2 / g2);
            for (int32_t p = 0; p < n; ++p) {
                for (int c = 0; c < 3; ++c)
                    v[3 * p + c] = (1.0 - mix) * v[3 * p + c] + turn * g[p][c];
            }
            if (downhill > kDelay) {
                dt = std::min(dt * kDtGrow, kDtMax);
                mix *= kMixShrink;
            }
            ++downhill;
        } else if (moving) {
            std::fill(v.begin(), v.end(), 0.0);
            dt *= kDtShrink;
            mix = kMixStart;
            downhill = 0;
        }
        double longest = 0.0;
        for (int32_t p = 0; p < n; ++p) {
            double move2 = 0.0;
            for (int c = 0; c < 3; ++c) {
                v[3 * p + c] += dt * g[p][c];
                move2 += dt * v[3 * p + c] * dt * v[3 * p + c];
            }
            longest = std::max(longest, std::sqrt(move2));
        }
        const double scale =
            longest > velmar::rx::kLongestStep ? velmar::rx::kLongestStep / longest : 1.0;
        for (int32_t p = 0; p < n; ++p) {
            for (int c = 0; c < 3; ++c) x[p][c] += scale * dt * v[3 * p + c];
        }
        if (!evaluate(neb, 1, last - 1)) return 1;
    }
}
