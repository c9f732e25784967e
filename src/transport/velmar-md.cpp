// Molecular dynamics: the record, initial velocities, the Langevin steps, observables, the
// equilibration and production phases and the conduction properties.
#include "transport/velmar-md.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "core/velmar-la.h"
#include "core/velmar-output.h"
#include "core/velmar-progress.h"
#include "core/velmar-random.h"
#include "core/velmar-solver.h"
#include "core/velmar.h"
#include "transport/velmar-md-pairs.h"

namespace {

constexpr double kBoltzmann = 8.6173324e-05;  // eV/K
constexpr double kMassUnit = 0.000103642699;  // eV ps^2 / A^2 per atomic mass unit

bool md_ready(const VELMAR_MD *md) {
    if (md != nullptr && md->cell != nullptr && md->ppt != nullptr && md->m != nullptr &&
        md->pairs != nullptr) {
        return true;
    }
    std::fputs("Error: VELMAR_MD has not been properly initialized.\n", stderr);
    return false;
}

long mobile_count(const VELMAR_MD &md) { return static_cast<long>(md.pairs->mobile.size()); }

bool conducting(const VELMAR_MD &md, const VELMAR_ATOM &atom) {
    const int c = md.ppt->conducting;
    return c >= 0 && std::strcmp(atom.type, md.ppt->type[c]) == 0 && atom.os == md.ppt->os[c];
}

// A mobile atom's new position, also in the cell (wrapped back into it); transposed holds the
// lattice vectors as columns.
void place(VELMAR_MD &md, int32_t a, const double x[3], const double transposed[3][3]) {
    VELMAR_ATOM &atom = md.cell->atom[a];
    velmar_vector3_double_copy(md.x_p1[a], md.x[a]);
    velmar_vector3_double_copy(md.x[a], x);
    velmar_matrix33_double_linearsolver(atom.x_f, transposed, x);
    for (double &f : atom.x_f) f -= std::floor(f);
    velmar_vector3_double_sum3(atom.x, atom.x_f[0], md.cell->a[0], atom.x_f[1], md.cell->a[1],
                               atom.x_f[2], md.cell->a[2]);
}

// Half a kick: v_out = v_in + dt/2 (f/m - zeta v_in) + sqrt(zeta T dt kB / m) r.
void langevin_kick(VELMAR_MD &md, double (*out)[3], double (*in)[3]) {
    for (int32_t a : md.pairs->mobile) {
        const double noise =
            std::sqrt(md.zeta * md.temperature_target * md.dt * kBoltzmann / md.m[a]);
        for (int c = 0; c < 3; ++c) {
            out[a][c] = in[a][c] + 0.5 * md.dt * (md.f[a][c] / md.m[a] - md.zeta * in[a][c]) +
                        noise * md.r[a][c];
        }
    }
}

}  // namespace

VELMAR_MD *velmar_md_new(const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt) {
    auto *raw = static_cast<VELMAR_MD *>(std::calloc(1, sizeof(VELMAR_MD)));
    if (raw == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_MD.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_MD, velmar_md_free> md(raw);
    md->cell = velmar_cell_copy(cell);
    if (md->cell == nullptr) {
        VELMAR_ERROR_NULL(velmar_cell_copy);
        return nullptr;
    }
    md->ppt = velmar_property_copy(ppt);
    if (md->ppt == nullptr) {
        VELMAR_ERROR_NULL(velmar_property_copy);
        return nullptr;
    }
    const auto n = static_cast<size_t>(md->cell->total);
    md->m = static_cast<double *>(std::calloc(n, sizeof(double)));
    if (md->m == nullptr) {
        std::fputs("Error: unable to allocate md->m.\n", stderr);
        return nullptr;
    }
    const struct {
        double (**field)[3];
        const char *name;
    } arrays[] = {{&md->x, "x"},       {&md->x0, "x0"}, {&md->x_p1, "x_p1"}, {&md->v, "v"},
                  {&md->v_nh, "v_nh"}, {&md->f, "f"},   {&md->r, "r"}};
    for (const auto &array : arrays) {
        *array.field = static_cast<double(*)[3]>(std::calloc(n, sizeof(double[3])));
        if (*array.field == nullptr) {
            std::fprintf(stderr, "Error: unable to allocate md->%s.\n", array.name);
            return nullptr;
        }
    }
    md->pairs = new (std::nothrow) velmar::detail::MdPairs;
    if (md->pairs == nullptr || !md->pairs->setup(*md)) {
        std::fputs("Error: velmar_property_find_index() returns negative value.\n", stderr);
        return nullptr;
    }
    for (int32_t a = 0; a < md->cell->total; ++a)
        velmar_vector3_double_copy(md->x[a], md->cell->atom[a].x);
    return md.release();
}

int velmar::detail::md_logs_close(VELMAR_MD *md, bool keep) {
    int status = 0;
    for (auto [file, name] : {std::pair{&md->log, md->logname}, std::pair{&md->xyz, md->xyzname},
                              std::pair{&md->trj, md->trjname}}) {
        if (*file == nullptr) continue;
        std::FILE *f = std::exchange(*file, nullptr);
        const bool written = std::fflush(f) == 0 && std::ferror(f) == 0;
        const bool closed = std::fclose(f) == 0;
        const std::string temporary = velmar::temporary_name(name);
        if (keep && written && closed && std::rename(temporary.c_str(), name) == 0) continue;
        std::remove(temporary.c_str());
        if (keep) {
            std::fprintf(stderr, "Error: unable to write %s.\n", name);
            status = 1;
        }
    }
    return status;
}

void velmar_md_free(VELMAR_MD *md) {
    if (md == nullptr) return;
    velmar::detail::md_logs_close(md, false);
    delete md->pairs;
    for (void *p :
         {static_cast<void *>(md->m), static_cast<void *>(md->x), static_cast<void *>(md->x0),
          static_cast<void *>(md->x_p1), static_cast<void *>(md->v), static_cast<void *>(md->v_nh),
          static_cast<void *>(md->f), static_cast<void *>(md->r)}) {
        std::free(p);
    }
    velmar_cell_free(md->cell);
    velmar_property_free(md->ppt);
    std::free(md);
}

int velmar_md_init_vv(VELMAR_MD *md) {
    if (!md_ready(md)) return 1;
    if (!(md->temperature_init > 0.0)) md->temperature_init = 10.0;
    if (!(md->temperature_target > 0.0)) md->temperature_target = 300.0;
    if (!(md->dt > 0.0)) md->dt = 0.001;
    if (!(md->zeta > 0.0)) md->zeta = 2.0;
    if (!(md->t_end > 0.0)) md->t_end = 10.0;
    if (!(md->t_equil > 0.0)) md->t_equil = 2.0;
    md->step_log = static_cast<long>(md->t_log / md->dt);
    if (md->step_log < 1) md->step_log = 100;
    md->t_log = md->dt * static_cast<double>(md->step_log);
    if (mobile_count(*md) == 0) {
        std::fputs("Error: no atom of the structure is free to move.\n", stderr);
        return 1;
    }
    long moving_ions = 0;
    for (int32_t a : md->pairs->mobile) moving_ions += conducting(*md, md->cell->atom[a]);
    if (moving_ions == 0) {
        std::fputs(
            "Error: no conducting ion is free to move; the CIF must leave the conducting ions "
            "free.\n",
            stderr);
        return 1;
    }
    for (auto [file, name] : {std::pair{&md->log, md->logname}, std::pair{&md->xyz, md->xyzname},
                              std::pair{&md->trj, md->trjname}}) {
        if (name[0] == '\0') continue;
        if (*file != nullptr) std::fclose(*file);
        *file = std::fopen(velmar::temporary_name(name).c_str(), "wb");
        if (*file == nullptr) {
            std::fprintf(stderr, "Error: unable to write to %s.\n", name);
            return 1;
        }
    }
    for (int32_t a = 0; a < md->cell->total; ++a) {
        const int s = md->pairs->species[a];
        md->m[a] = md->ppt->uni[s].m * kMassUnit;
        velmar_vector3_double_copy(md->x[a], md->cell->atom[a].x);
        velmar_vector3_double_copy(md->x0[a], md->cell->atom[a].x);
    }
    md->volume = std::fabs(velmar_matrix33_double_determinant(md->cell->a));
    md->pairs->built = false;
    if (velmar_md_calculate_force(md) == nullptr) {
        VELMAR_ERROR_NULL(velmar_md_calculate_force);
        return 1;
    }
    if (velmar_md_calculate_vi_vv(md) != 0) {
        VELMAR_ERROR_NONZERO(velmar_md_calculate_vi_vv);
        return 1;
    }
    if (velmar_md_calculate_energy(md) != 0) {
        VELMAR_ERROR_NONZERO(velmar_md_calculate_energy);
        return 1;
    }
    if (velmar_md_calculate_temperature(md) != 0) {
        VELMAR_ERROR_NONZERO(velmar_md_calculate_temperature);
        return 1;
    }
    if (velmar_md_calculate_pressure(md) != 0) {
        VELMAR_ERROR_NONZERO(velmar_md_calculate_pressure);
        return 1;
    }
    double mass = 0.0;
    for (double &c : md->x_com) c = 0.0;
    for (int32_t a : md->pairs->mobile) {
        mass += md->m[a];
        for (int c = 0; c < 3; ++c) md->x_com[c] += md->m[a] * md->x0[a][c];
    }
    for (double &c : md->x_com) c /= mass;
    return 0;
}

int velmar_md_calculate_vi_vv(VELMAR_MD *md) {
    if (!md_ready(md)) return 1;
    double momentum[3] = {0.0, 0.0, 0.0};
    for (int32_t a : md->pairs->mobile) {
        // The spread is kT/m itself, not its square root, as the program has always drawn it.
        const double spread = kBoltzmann * md->temperature_init / md->m[a];
        for (int c = 0; c < 3; ++c) {
            md->v[a][c] = velmar_random_normal(0.0, spread);
            momentum[c] += md->m[a] * md->v[a][c];
        }
    }
    for (double &p : momentum) p /= static_cast<double>(mobile_count(*md));
    for (int32_t a : md->pairs->mobile) {
        for (int c = 0; c < 3; ++c) md->v[a][c] -= momentum[c] / md->m[a];
    }
    return 0;
}

int velmar_md_calculate_x_vv(VELMAR_MD *md) {
    if (!md_ready(md)) return 1;
    double transposed[3][3];
    velmar_matrix33_double_copy(transposed, md->cell->a);
    velmar_matrix33_double_transpose(transposed);
    for (int32_t a : md->pairs->mobile) {
        double x[3];
        for (int c = 0; c < 3; ++c) x[c] = md->x[a][c] + md->dt * md->v_nh[a][c];
        place(*md, a, x, transposed);
    }
    return 0;
}

int velmar_md_calculate_v_vv(VELMAR_MD *md) {
    if (!md_ready(md)) return 1;
    for (int32_t a : md->pairs->mobile) {
        for (int c = 0; c < 3; ++c)
            md->v[a][c] = md->v_nh[a][c] + 0.5 * md->dt * md->f[a][c] / md->m[a];
    }
    return 0;
}

int velmar_md_calculate_v_vv_langevin(VELMAR_MD *md) {
    if (!md_ready(md)) return 1;
    langevin_kick(*md, md->v, md->v_nh);
    return 0;
}

int velmar_md_update_vv(VELMAR_MD *md) {
    if (!md_ready(md)) return 1;
    md->step += 1;
    md->t += md->dt;
    for (int32_t a : md->pairs->mobile) {
        for (int c = 0; c < 3; ++c)
            md->v_nh[a][c] = md->v[a][c] + 0.5 * md->dt * md->f[a][c] / md->m[a];
    }
    velmar_md_calculate_x_vv(md);
    if (velmar_md_calculate_force(md) == nullptr) {
        VELMAR_ERROR_NULL(velmar_md_calculate_force);
        return 1;
    }
    return velmar_md_calculate_v_vv(md);
}

int velmar_md_update_vv_langevin(VELMAR_MD *md) {
    if (!md_ready(md)) return 1;
    md->step += 1;
    md->t += md->dt;
    const long n = md->cell->total;
    velmar_matrixn3_double_random_normal(md->r, n, 0.0, 1.0);
    langevin_kick(*md, md->v_nh, md->v);
    velmar_md_calculate_x_vv(md);
    if (velmar_md_calculate_force(md) == nullptr) {
        VELMAR_ERROR_NULL(velmar_md_calculate_force);
        return 1;
    }
    velmar_matrixn3_double_random_normal(md->r, n, 0.0, 1.0);
    return velmar_md_calculate_v_vv_langevin(md);
}

int velmar_md_calculate_energy_kinetic(VELMAR_MD *md) {
    if (!md_ready(md)) return 1;
    double e = 0.0;
    for (int32_t a : md->pairs->mobile) {
        e += md->cell->atom[a].occ * md->m[a] * velmar_vector3_double_dot(md->v[a], md->v[a]);
    }
    md->en_k = 0.5 * e;
    return 0;
}

int velmar_md_calculate_energy(VELMAR_MD *md) {
    if (!md_ready(md)) return 1;
    if (velmar_md_calculate_energy_potential(md) != 0 ||
        velmar_md_calculate_energy_kinetic(md) != 0)
        return 1;
    md->en = md->en_k + md->en_p;
    return 0;
}

int velmar_md_calculate_temperature(VELMAR_MD *md) {
    if (!md_ready(md)) return 1;
    md->temperature = 2.0 * md->en_k / (3.0 * static_cast<double>(mobile_count(*md)) * kBoltzmann);
    return 0;
}

int velmar_md_calculate_average(VELMAR_MD *md) {
    if (!md_ready(md)) return 1;
    if (md->t < md->t_log) return 0;
    const auto average = [md](double value, double &ave) {
        ave = (md->t_log * value + (md->t - md->t_log) * ave) / md->t;
    };
    average(md->en_k, md->en_k_ave);
    average(md->en_p, md->en_p_ave);
    average(md->pressure, md->pressure_ave);
    md->en_ave = md->en_p_ave + md->en_k_ave;
    md->temperature_ave =
        2.0 * md->en_k_ave / (3.0 * static_cast<double>(mobile_count(*md)) * kBoltzmann);
    return 0;
}

int velmar_md_calculate_conduction_property(VELMAR_MD *md) {
    if (!md_ready(md)) return 1;
    if (!(md->t > 0.0)) return 0;
    long count = 0;
    double sum = 0.0;
    double sum2 = 0.0;
    for (int32_t a : md->pairs->mobile) {
        if (!conducting(*md, md->cell->atom[a])) continue;
        const double d = velmar_vector3_double_distance(md->x[a], md->x0[a]);
        ++count;
        sum += d;
        sum2 += d * d;
    }
    if (count == 0) {
        std::fputs(
            "Error: no conducting ion is free to move; the CIF must leave the conducting ions "
            "free.\n",
            stderr);
        return 1;
    }
    const int os = md->ppt->os[md->ppt->conducting];
    md->displacement = sum / static_cast<double>(count);
    md->diffusivity = sum2 / static_cast<double>(count) / (6.0 * md->t);
    md->mobility = md->diffusivity * (os / md->temperature_ave) * 11604.52;
    md->conductivity =
        md->mobility * (static_cast<double>(count) / md->volume) * os * 1.60217662 * 10.0;
    return 0;
}

namespace {

// Langevin steps until t reaches t_stop, with twenty progress marks; sample() runs before each
// step (and may be empty).
template <class Sample>
int phase(VELMAR_MD *md, const char *title, char mark, double t_stop, Sample sample) {
    std::printf("MD: %s phase\n", title);
    std::printf("MD: target  : --------------------\n");
    std::printf("MD: progress: ");
    std::fflush(stdout);
    double next = 0.05;
    // On a terminal, also the time left, in thousandths of the phase.
    velmar::Progress progress(std::string("MD ") + title, 1000);
    const double t_start = md->t;
    while (md->t < t_stop) {
        if (t_stop > t_start) {
            progress.update(static_cast<int64_t>(1000.0 * (md->t - t_start) / (t_stop - t_start)));
        }
        if (sample() != 0) return 1;
        if (velmar_md_update_vv_langevin(md) != 0) {
            VELMAR_ERROR_NONZERO(velmar_md_update_vv_langevin);
            return 1;
        }
        while (md->t / t_stop >= next && next < 1.0 - 1e-9) {
            std::putchar(mark);
            std::fflush(stdout);
            next += 0.05;
        }
    }
    std::printf("%c\n", mark);
    return 0;
}

}  // namespace

int velmar_md_equilibrate(VELMAR_MD *md) {
    if (!md_ready(md)) return 1;
    if (phase(md, "equilibration", '+', md->t_equil, [] { return 0; }) != 0) return 1;
    md->step = 0;
    md->t = 0.0;
    md->displacement = md->diffusivity = md->mobility = md->conductivity = 0.0;
    for (int32_t a = 0; a < md->cell->total; ++a) velmar_vector3_double_copy(md->x0[a], md->x[a]);
    return 0;
}

int velmar_md_run(VELMAR_MD *md) {
    if (!md_ready(md)) return 1;
    return phase(md, "production", '*', md->t_end, [md] {
        if (md->step % md->step_log != 0) return 0;
        const struct {
            int (*fn)(VELMAR_MD *);
            const char *error;
        } steps[] = {
            {velmar_md_calculate_energy, "Error: velmar_md_calculate_energy() returns non-zero.\n"},
            {velmar_md_calculate_temperature,
             "Error: velmar_md_calculate_temperature() returns non-zero.\n"},
            {velmar_md_calculate_pressure,
             "Error: velmar_md_calculate_pressure() returns non-zero.\n"},
            {velmar_md_calculate_average,
             "Error: velmar_md_calculate_average() returns non-zero.\n"},
            {velmar_md_calculate_conduction_property,
             "Error: velmar_md_calculate_conduction_property() returns non-zero.\n"},
            {velmar_md_log_sample, "Error: velmar_md_log_sample() returns non-zero.\n"},
            {velmar_md_log_xyz, "Error: velmar_md_log_xyz() returns non-zero.\n"},
            {velmar_md_log_trj, "Error: velmar_md_log_trj() returns non-zero.\n"},
        };
        for (const auto &s : steps) {
            if (s.fn(md) != 0) {
                std::fputs(s.error, stderr);
                return 1;
            }
        }
        return 0;
    });
}
