// Kinetic Monte Carlo of the conducting ions on a supercell site graph: ions hop from occupied to
// empty sites with thermally activated rates (barriers shifted by the screened Coulomb repulsion
// of the other ions within a cut-off), one hop drawn in proportion to its rate, the clock advanced
// by an exponential waiting time (residence-time algorithm). The mean squared displacement gives
// the diffusivity, and the Nernst-Einstein relation the mobility and conductivity. Times in ps,
// rates in 1/ps, lengths in A, energies in eV.
//
// The energies of a hop are those of the hopping ion among the others: the start site's energy
// holds the shifts of the other occupied sites within the cut-off, and so do the end site's and
// the saddle point's, without the shift of the hopping ion itself.
//
// After each hop only the rates that can have changed are recomputed: those of hops starting or
// ending at a site whose energy changed (a neighbour of a site whose occupation changed) and those
// whose saddle point lies near such a site (the site's e_n list). The hop is drawn from a sum tree
// of the rates in edge order; the choice is the first edge whose running sum reaches the draw.
#ifndef VELMAR_KMC_H
#define VELMAR_KMC_H

#include <cstdio>

#include "core/velmar.h"
#include "model/velmar-property.h"
#include "structure/velmar-cell.h"
#include "structure/velmar-symmetry.h"
#include "transport/velmar-graph.h"

namespace velmar::detail {
struct KmcEngine;
}

struct VELMAR_KMC_VERTEX {
    VELMAR_GRAPH_VERTEX *v;  // the graph vertex
    int total_v;             // sites within the cut-off
    int total_e;             // entries of e_n
    long *v_n;               // those sites
    long *e_n;               // edges whose saddle point has this site within the cut-off
    double *v_de;            // energy added here when the matching v_n site is occupied
    bool occupied;
    bool init;    // occupied by the last reset
    long origin;  // where the ion now here started, -1 when empty
    long y_i[3];  // cells crossed by the ion that started here
    double d[3];  // displacement of the ion that started here
    double t;     // time spent occupied
    double en;    // landscape energy
    bool update;  // rates touching this site need recomputing
};

struct VELMAR_KMC_EDGE {
    VELMAR_GRAPH_EDGE *e;  // the graph edge
    int total_v;           // sites within the cut-off of the saddle point
    long *v_n;             // those sites
    double *v_de;          // energy added to the saddle when the matching site is occupied
    double f;              // attempt frequency, THz
    double r;              // rate, 1/ps, 0 when the hop is not possible; brought up to date by
                           // reset and run (the hops in between keep the rates elsewhere)
    double *r2;            // one slot per edge of the end vertex (scratch)
    double en;             // saddle energy
    double l;              // hop length
    bool update;           // rate needs recomputing
};

struct VELMAR_KMC {
    VELMAR_GRAPH *graph;  // the supercell graph, owned
    VELMAR_KMC_VERTEX *kv;
    VELMAR_KMC_EDGE *ke;
    long step;       // hops since the last reset
    double t;        // time since the last reset, ps
    double t_total;  // time including earlier runs, ps
    long step_limit;
    double t_limit;          // ps; 0 for no limit by time
    double temperature;      // K
    double displacement[4];  // x, y, z, total
    double diffusivity[4];   // 1e-8 m^2/s
    double mobility[4];      // 1e-8 m^2/(V s)
    double conductivity[4];  // S/cm
    long step_log;
    char logname[1024];
    char xyzname[1024];
    std::FILE *log;
    std::FILE *xyz;
    velmar::detail::KmcEngine *engine;  // current energies, sum tree and update lists (owned)
};

// The whole calculation from a structure and its landscape; the total conductivity in S/cm, or
// -0.1 on failure. Writes "<cif>.kmc.init.cif", "<cif>.kmc.cif" and the two logs.
double velmar_kmc_calculate_conductivity_from_file(const char *cifname, const char *cubename,
                                                   const char *type, int os, const int super[3],
                                                   double sf, double temperature, double t_limit,
                                                   long step_limit, long step_log, double cutoff,
                                                   const char *symcards, const char *unitary,
                                                   const char *binary);

// Takes ownership of graph (also on failure). A non-positive cutoff means 5 A.
VELMAR_KMC *velmar_kmc_new(VELMAR_GRAPH *graph, const VELMAR_PROPERTY *ppt, double cutoff);
void velmar_kmc_free(VELMAR_KMC *kmc);
int velmar_kmc_init(VELMAR_KMC *kmc);
int velmar_kmc_reset(VELMAR_KMC *kmc);
int velmar_kmc_update_rate(VELMAR_KMC *kmc);
int velmar_kmc_equilibrate(VELMAR_KMC *kmc);
int velmar_kmc_evolve(VELMAR_KMC *kmc);
int velmar_kmc_run(VELMAR_KMC *kmc);
int velmar_kmc_calculate_conductivity(VELMAR_KMC *kmc);
int velmar_kmc_log(VELMAR_KMC *kmc);
int velmar_kmc_log_trj(VELMAR_KMC *kmc);
int velmar_kmc_log_xyz(VELMAR_KMC *kmc);
void velmar_kmc_print(const VELMAR_KMC *kmc);
void velmar_kmc_print_short(const VELMAR_KMC *kmc);
void velmar_kmc_print_result(const VELMAR_KMC *kmc);
// The sites as marker atoms of the conducting species, occupied ones with occupancy 1.
VELMAR_CELL *velmar_kmc_export_to_cell(const VELMAR_KMC *kmc);
// cell_in (the structural supercell) with its conducting atoms replaced by the sites, each with
// its time-averaged occupancy.
VELMAR_CELL *velmar_kmc_export_occ_to_cell(const VELMAR_KMC *kmc, const VELMAR_CELL *cell_in);
double velmar_kmc_random();

namespace velmar::detail {

// Coulomb shift between two conducting ions at distance x.
double kmc_coulomb_shift(double x, double q, double rc, double sf);
// The hop chosen for a draw u in [0, total rate]: the first edge with a positive rate at which the
// running sum of the rates reaches u; -1 when there is none.
long kmc_choose(const VELMAR_KMC *kmc, double u);
// Renames the logs of a complete run to their names. 0, or 1 after an error line.
int kmc_commit_logs(VELMAR_KMC *kmc);
// Sum of the positive rates.
double kmc_total_rate(const VELMAR_KMC *kmc);
// The landscape's site graph made fit for the walk at the given temperature: closed under the
// structure's symmetry, minima too shallow to be sites taken as transit points, occupancies and
// labels from the structure. 0, or 1 after an error line (graph then empty).
// Bytes the walk on graph replicated s[0] x s[1] x s[2] times will take with the given cut-off
// (an estimate from the graph's site density, within a factor of about two).
double kmc_memory_estimate(const VELMAR_GRAPH &graph, const int s[3], double cutoff);
// Memory the system can give without swapping, bytes; 0 when unknown.
double kmc_available_memory();
// 0 when the walk fits in the available memory (or that is unknown); else an error line and 1.
int kmc_check_memory(const VELMAR_GRAPH &graph, const int s[3], double cutoff);
int kmc_regularize_graph(velmar::Owned<VELMAR_GRAPH, velmar_graph_free> &graph,
                         const VELMAR_SYMMETRY *symmetry, const VELMAR_CELL *cell,
                         double temperature);

}  // namespace velmar::detail

#endif  // VELMAR_KMC_H
