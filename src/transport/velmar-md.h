// Molecular dynamics of the conducting ions in a fixed host: the atoms not flagged as ignored move
// under the pair forces of the energy model (bonding between cations and anions within the pair
// cut-off, screened Coulomb between ions of like sign within 12 A), with a Langevin thermostat.
// After equilibration and production it reports the displacement, diffusivity, mobility and
// conductivity of the mobile conducting ions and logs observables, structures and displacements.
// Units: A, ps, eV, K; masses in eV ps^2 / A^2.
//
// The pairs are taken from a neighbour list holding every partner (atom and lattice image) within
// 12 A plus a skin of each mobile atom, rebuilt when a mobile atom has moved more than half the
// skin; forces are summed per mobile atom in parallel, sums of energies in atom order, so that the
// results do not depend on the number of threads.
#ifndef VELMAR_MD_H
#define VELMAR_MD_H

#include <cstdint>
#include <cstdio>

#include "model/velmar-property.h"
#include "structure/velmar-cell.h"

namespace velmar::detail {
struct MdPairs;
}

struct VELMAR_MD {
    VELMAR_CELL *cell;      // own copy of the structure
    VELMAR_PROPERTY *ppt;   // own copy of the parameter set
    double *m;              // per atom: mass
    double (*x)[3];         // position, not wrapped into the cell
    double (*x0)[3];        // reference position for displacements
    double (*x_p1)[3];      // previous position
    double (*v)[3];         // velocity
    double (*v_nh)[3];      // half-step velocity
    double (*f)[3];         // force, eV/A
    double (*r)[3];         // standard normal random numbers
    double x_com[3];        // centre of mass of the mobile atoms at the start
    double en_k, en_p, en;  // kinetic, potential, total energy
    double volume;          // A^3
    double pressure;        // eV/A^3
    int32_t step;
    double t;            // ps
    double temperature;  // instantaneous, K
    double en_ave, en_k_ave, en_p_ave, temperature_ave, pressure_ave;
    double t_equil, t_end;  // ps
    double dt;              // ps
    double zeta;            // Langevin friction, 1/ps
    double temperature_target, temperature_init;
    double displacement;  // A
    double diffusivity;   // A^2/ps = 1e-8 m^2/s
    double mobility;      // 1e-8 m^2/(V s)
    double conductivity;  // S/cm
    double t_log;         // sampling interval, ps
    long step_log;        // sampling interval, steps
    char logname[1024], xyzname[1024], trjname[1024];
    std::FILE *log, *xyz, *trj;
    velmar::detail::MdPairs *pairs;  // the neighbour list (owned)
};

// The whole simulation; a negative value on failure.
double velmar_md_conduction_from_file(const char *cif, const char *type, int os, double sf,
                                      double temperature, double t_end, double t_equil, double dt,
                                      double t_log, const char *dir_binary, const char *dir_unitary,
                                      const char *dir_symcards);

// Copies of the cell and the parameter set, and the per-atom arrays. NULL on failure.
VELMAR_MD *velmar_md_new(const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt);
void velmar_md_free(VELMAR_MD *md);
void velmar_md_print(const VELMAR_MD *md);
void velmar_md_print_short(const VELMAR_MD *md);
int velmar_md_init_vv(VELMAR_MD *md);
int velmar_md_update_vv(VELMAR_MD *md);
int velmar_md_update_vv_langevin(VELMAR_MD *md);
int velmar_md_calculate_x_vv(VELMAR_MD *md);
int velmar_md_calculate_vi_vv(VELMAR_MD *md);
int velmar_md_calculate_v_vv(VELMAR_MD *md);
int velmar_md_calculate_v_vv_langevin(VELMAR_MD *md);
// The forces; md->f, or NULL on failure.
double (*velmar_md_calculate_force(VELMAR_MD *md))[3];
int velmar_md_calculate_energy(VELMAR_MD *md);
int velmar_md_calculate_energy_potential(VELMAR_MD *md);
int velmar_md_calculate_energy_kinetic(VELMAR_MD *md);
int velmar_md_calculate_temperature(VELMAR_MD *md);
int velmar_md_calculate_pressure(VELMAR_MD *md);
int velmar_md_calculate_average(VELMAR_MD *md);
int velmar_md_calculate_conduction_property(VELMAR_MD *md);
int velmar_md_equilibrate(VELMAR_MD *md);
int velmar_md_run(VELMAR_MD *md);
int velmar_md_log_sample(VELMAR_MD *md);
int velmar_md_log_xyz(VELMAR_MD *md);
int velmar_md_log_trj(VELMAR_MD *md);

namespace velmar::detail {

// The pair term between atoms i and j at distance d: the derivative dE/dd (times the occupancies
// and 14.39964) when force is set, else the energy (times the occupancies, without the factor).
// Zero when the pair does not interact.
double md_pair(const VELMAR_MD &md, int32_t i, int32_t j, double d, bool force);
// Pairs closer than this carry no force.
constexpr double kMdNearest = 0.1;
constexpr double kMdReach = 12.0;
// The logs are written beside their names (velmar::temporary_name) while the run lasts. Closes the
// three; with keep, each complete one is renamed to its name (0 when all were written and
// renamed); otherwise, and for any that failed, the temporary is removed.
int md_logs_close(VELMAR_MD *md, bool keep);

}  // namespace velmar::detail

#endif  // VELMAR_MD_H
