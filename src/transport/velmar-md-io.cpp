// Molecular dynamics: the three logs, the printouts and the whole simulation from a CIF.
#include <cmath>
#include <cstdio>
#include <string>

#include "core/velmar-la.h"
#include "core/velmar-output.h"
#include "core/velmar.h"
#include "structure/velmar-cif-writer.h"
#include "structure/velmar-cif.h"
#include "transport/velmar-md-pairs.h"
#include "transport/velmar-md.h"

namespace {

bool md_ready(const VELMAR_MD *md) {
    if (md != nullptr && md->cell != nullptr && md->ppt != nullptr && md->x != nullptr) return true;
    std::fputs("Error: VELMAR_MD has not been properly initialized.\n", stderr);
    return false;
}

}  // namespace

int velmar_md_log_sample(VELMAR_MD *md) {
    if (!md_ready(md)) return 1;
    if (md->log == nullptr) return 0;
    if (md->step == 0) {
        std::fprintf(md->log,
                     "%10s, %15s, %12s, %12s, %12s, %7s, %7s, %12s, %12s, %12s, %7s, %7s\n", "step",
                     "t", "en", "en_k", "en_p", "T", "P", "en_ave", "en_k_ave", "en_p_ave", "T_ave",
                     "P_ave");
    }
    std::fprintf(md->log,
                 "%10ld, %15.6lf, %12.6lf, %12.6lf, %12.6lf, %7.3lf, %7.3lf, %12.6lf, %12.6lf, "
                 "%12.6lf, %7.3lf, "
                 "%7.3lf\n",
                 static_cast<long>(md->step), md->t, md->en, md->en_k, md->en_p, md->temperature,
                 md->pressure * 160.217657, md->en_ave, md->en_k_ave, md->en_p_ave,
                 md->temperature_ave, md->pressure_ave);
    return std::ferror(md->log) != 0 ? 1 : 0;
}

int velmar_md_log_xyz(VELMAR_MD *md) {
    if (!md_ready(md)) return 1;
    if (md->xyz == nullptr) return 0;
    std::fprintf(md->xyz, "%ld\n", static_cast<long>(md->cell->total));
    std::fprintf(md->xyz, "%ld %12.6lf\n", static_cast<long>(md->step), md->t);
    for (int32_t a = 0; a < md->cell->total; ++a) {
        std::fprintf(md->xyz, "%s %lf %lf %lf\n", md->cell->atom[a].type, md->x[a][0], md->x[a][1],
                     md->x[a][2]);
    }
    return std::ferror(md->xyz) != 0 ? 1 : 0;
}

int velmar_md_log_trj(VELMAR_MD *md) {
    if (!md_ready(md)) return 1;
    if (md->trj == nullptr) return 0;
    const int32_t n = md->cell->total;
    if (md->step == 0) {
        std::fputs("t, d_ave, ", md->trj);
        for (int32_t a = 0; a < n; ++a) {
            std::fprintf(md->trj, "d_%ld_%s%s", static_cast<long>(a), md->cell->atom[a].name,
                         a + 1 < n ? ", " : "");
        }
        std::fputs("\n", md->trj);
    }
    std::fprintf(md->trj, "%lf, %lf, ", md->t, md->displacement);
    for (int32_t a = 0; a < n; ++a) {
        std::fprintf(md->trj, "%lf%s", velmar_vector3_double_distance(md->x[a], md->x0[a]),
                     a + 1 < n ? ", " : "");
    }
    std::fputs("\n", md->trj);
    return std::ferror(md->trj) != 0 ? 1 : 0;
}

void velmar_md_print_short(const VELMAR_MD *md) {
    if (!md_ready(md)) return;
    const long mobile = md->pairs != nullptr ? static_cast<long>(md->pairs->mobile.size()) : 0;
    std::printf("MD: atoms = %ld (mobile %ld); volume = %.3lf A^3\n",
                static_cast<long>(md->cell->total), mobile, md->volume);
    std::printf("MD: temperature = %.1lf K (initial %.1lf K); zeta = %.3lf /ps\n",
                md->temperature_target, md->temperature_init, md->zeta);
    std::printf(
        "MD: dt = %.4lf ps; t_equil = %.3lf ps; t_end = %.3lf ps; sampled every %ld steps (%.4lf "
        "ps)\n",
        md->dt, md->t_equil, md->t_end, md->step_log, md->t_log);
}

void velmar_md_print(const VELMAR_MD *md) {
    if (!md_ready(md)) return;
    velmar_md_print_short(md);
    std::printf("MD: step = %ld; t = %.4lf ps; T = %.2lf K; P = %.4lf GPa\n",
                static_cast<long>(md->step), md->t, md->temperature, md->pressure * 160.217657);
    std::printf("MD: en = %.6lf eV (kinetic %.6lf, potential %.6lf)\n", md->en, md->en_k, md->en_p);
    for (int32_t a = 0; a < md->cell->total; ++a) {
        std::printf(
            "MD: [%4ld] %-4s x = (%9.4lf, %9.4lf, %9.4lf) v = (%9.4lf, %9.4lf, %9.4lf) f = "
            "(%9.4lf, %9.4lf, "
            "%9.4lf)\n",
            static_cast<long>(a), md->cell->atom[a].name, md->x[a][0], md->x[a][1], md->x[a][2],
            md->v[a][0], md->v[a][1], md->v[a][2], md->f[a][0], md->f[a][1], md->f[a][2]);
    }
}

double velmar_md_conduction_from_file(const char *cif, const char *type, int os, double sf,
                                      double temperature, double t_end, double t_equil, double dt,
                                      double t_log, const char *dir_binary, const char *dir_unitary,
                                      const char *dir_symcards) {
    constexpr double kFailed = -1.0;
    // Every output is checked before the run, which may take hours.
    const std::string base = cif;
    const std::string structure = base + ".md.cif";
    for (const std::string &name :
         {base + ".md.txt", base + ".md.xyz", base + ".md.trj", structure}) {
        if (!velmar::output_check(name)) return kFailed;
    }
    VELMAR_CELL *raw_cell = nullptr;
    VELMAR_SYMMETRY *raw_symmetry = nullptr;
    if (velmar_cell_import_cif_from_file(&raw_cell, &raw_symmetry, cif, dir_symcards,
                                         dir_unitary) != 0) {
        VELMAR_ERROR_NONZERO(velmar_cell_import_cif_from_file);
        return kFailed;
    }
    velmar::Owned<VELMAR_CELL, velmar_cell_free> cell(raw_cell);
    velmar_symmetry_free(raw_symmetry);
    velmar_cell_import_cif_read_constraint(cell.get(), cif);
    velmar::Owned<VELMAR_PROPERTY, velmar_property_free> ppt(
        velmar_property_import_from_cell(cell.get(), type, os, sf, dir_unitary, dir_binary));
    if (!ppt) {
        VELMAR_ERROR_NULL(velmar_property_import_from_cell);
        return kFailed;
    }
    if (velmar_property_set_conducting(ppt.get(), type, os) != 0) {
        VELMAR_ERROR_NONZERO(velmar_property_set_conducting);
        return kFailed;
    }
    velmar::Owned<VELMAR_MD, velmar_md_free> md(velmar_md_new(cell.get(), ppt.get()));
    if (!md) {
        std::fputs("Error: velmar_md_new() returns non-zero.\n", stderr);
        return kFailed;
    }
    md->temperature_target = temperature;
    md->t_end = t_end;
    md->t_equil = t_equil;
    md->dt = dt;
    md->t_log = t_log;
    md->zeta = -0.1;
    std::snprintf(md->logname, sizeof md->logname, "%s.md.txt", cif);
    std::snprintf(md->xyzname, sizeof md->xyzname, "%s.md.xyz", cif);
    std::snprintf(md->trjname, sizeof md->trjname, "%s.md.trj", cif);
    if (velmar_md_init_vv(md.get()) != 0) {
        VELMAR_ERROR_NONZERO(velmar_md_init_vv);
        return kFailed;
    }
    velmar_md_print_short(md.get());
    if (velmar_md_equilibrate(md.get()) != 0) {
        VELMAR_ERROR_NONZERO(velmar_md_equilibrate);
        return kFailed;
    }
    if (velmar_md_run(md.get()) != 0) {
        VELMAR_ERROR_NONZERO(velmar_md_run);
        return kFailed;
    }
    std::printf("MD: displacement = %lf\n", md->displacement);
    std::printf("MD: diffusivity = %e\n", md->diffusivity);
    std::printf("MD: mobility = %e\n", md->mobility);
    std::printf("MD: conductivity = %e\n", md->conductivity);
    if (velmar::detail::md_logs_close(md.get(), true) != 0) return kFailed;
    std::printf("Message: observables saved to %s\n", md->logname);
    std::printf("Message: displacements saved to %s\n", md->trjname);
    std::printf("Message: structures saved to %s\n", md->xyzname);
    if (velmar_cell_export_cif_to_file(structure.c_str(), md->cell, 0) != 0) {
        VELMAR_ERROR_NONZERO(velmar_cell_export_cif_to_file);
        return kFailed;
    }
    std::printf("Message: final structure written to %s.\n", structure.c_str());
    return md->conductivity;
}
