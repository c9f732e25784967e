// Kinetic Monte Carlo: logs, printouts, occupation exports and the whole calculation from files.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "analysis/velmar-fft.h"
#include "analysis/velmar-fpcube.h"
#include "core/velmar-la.h"
#include "core/velmar.h"
#include "landscape/velmar-cube-file.h"
#include "landscape/velmar-cube-match.h"
#include "structure/velmar-cell-geometry.h"
#include "structure/velmar-cell-ops.h"
#include "structure/velmar-cif-writer.h"
#include "structure/velmar-cif.h"
#include "transport/velmar-graph-symmetry.h"
#include "transport/velmar-graph-transient.h"
#include "transport/velmar-kmc-engine.h"
#include "transport/velmar-kmc.h"
#include "transport/velmar-supergraph.h"

namespace {

bool kmc_ready(const VELMAR_KMC *kmc) {
    if (kmc != nullptr && kmc->graph != nullptr && kmc->kv != nullptr && kmc->ke != nullptr)
        return true;
    std::fputs("Error: VELMAR_KMC has not been properly initialized.\n", stderr);
    return false;
}

char sign_of(int os) { return os > 0 ? '+' : (os < 0 ? '-' : '0'); }

// Brings every tracked ion's displacement up to date.
void update_displacements(VELMAR_KMC *kmc) {
    const VELMAR_GRAPH *graph = kmc->graph;
    for (long j = 0; j < graph->total_v; ++j) {
        const long o = kmc->kv[j].origin;
        if (!kmc->kv[j].occupied || o < 0) continue;
        for (int r = 0; r < 3; ++r) {
            double d = graph->v[j].x[r] - graph->v[o].x[r];
            for (int c = 0; c < 3; ++c)
                d += static_cast<double>(kmc->kv[o].y_i[c]) * graph->a[c][r];
            kmc->kv[o].d[r] = d;
        }
    }
}

double occupancy_of(const VELMAR_KMC *kmc, long i) {
    return kmc->t_total > 0.0 ? kmc->kv[i].t / kmc->t_total : 0.0;
}

}  // namespace

int velmar_kmc_log(VELMAR_KMC *kmc) {
    if (!kmc_ready(kmc)) return 1;
    if (kmc->step_log < 1 || kmc->step % kmc->step_log != 0) return 0;
    if (velmar_kmc_log_trj(kmc) != 0) {
        VELMAR_ERROR_NONZERO(velmar_kmc_log_trj);
        return 1;
    }
    if (velmar_kmc_log_xyz(kmc) != 0) {
        VELMAR_ERROR_NONZERO(velmar_kmc_log_xyz);
        return 1;
    }
    return 0;
}

int velmar_kmc_log_trj(VELMAR_KMC *kmc) {
    if (!kmc_ready(kmc) || kmc->log == nullptr) return 1;
    const long nv = kmc->graph->total_v;
    std::FILE *f = kmc->log;
    if (std::ftell(f) == 0) {
        std::fputs("step,t", f);
        for (long s = 0; s < nv; ++s) std::fprintf(f, ",site%ld_dx,site%ld_dy,site%ld_dz", s, s, s);
        std::fputs("\n", f);
    }
    update_displacements(kmc);
    std::fprintf(f, "%ld,%lf", kmc->step, kmc->t);
    for (long s = 0; s < nv; ++s)
        std::fprintf(f, ",%lf,%lf,%lf", kmc->kv[s].d[0], kmc->kv[s].d[1], kmc->kv[s].d[2]);
    std::fputs("\n", f);
    return std::ferror(f) != 0 ? 1 : 0;
}

int velmar_kmc_log_xyz(VELMAR_KMC *kmc) {
    if (!kmc_ready(kmc) || kmc->xyz == nullptr) return 1;
    const VELMAR_GRAPH *graph = kmc->graph;
    long ions = 0;
    for (long s = 0; s < graph->total_v; ++s) ions += kmc->kv[s].occupied;
    std::FILE *f = kmc->xyz;
    std::fprintf(f, "%ld\n", ions);
    std::fprintf(f, "%ld %12.6lf\n", kmc->step, kmc->t);
    for (long s = 0; s < graph->total_v; ++s) {
        if (!kmc->kv[s].occupied) continue;
        const double *x = graph->v[s].x;
        std::fprintf(f, "%s %lf %lf %lf\n", graph->type, x[0], x[1], x[2]);
    }
    if (std::ferror(f) != 0) return 1;
    // The same frame in extended XYZ, which ASE and viewers read: the supercell's lattice, the
    // step and time, and for each ion the site it started from, so that ions can be followed.
    if (kmc->engine == nullptr || !kmc->engine->extxyz_file) return 0;
    std::FILE *e = kmc->engine->extxyz_file->get();
    const double(*a)[3] = graph->a;
    std::fprintf(e, "%ld\n", ions);
    std::fprintf(e,
                 "Lattice=\"%.6f %.6f %.6f %.6f %.6f %.6f %.6f %.6f %.6f\" "
                 "Properties=species:S:1:pos:R:3:origin:I:1 step=%ld time=%.6f pbc=\"T T T\"\n",
                 a[0][0], a[0][1], a[0][2], a[1][0], a[1][1], a[1][2], a[2][0], a[2][1], a[2][2],
                 kmc->step, kmc->t);
    for (long s = 0; s < graph->total_v; ++s) {
        if (!kmc->kv[s].occupied) continue;
        const double *x = graph->v[s].x;
        std::fprintf(e, "%s %.6f %.6f %.6f %ld\n", graph->type, x[0], x[1], x[2],
                     kmc->kv[s].origin);
    }
    return std::ferror(e) != 0 ? 1 : 0;
}

void velmar_kmc_print(const VELMAR_KMC *kmc) {
    if (!kmc_ready(kmc)) return;
    velmar_kmc_print_short(kmc);
    for (long i = 0; i < kmc->graph->total_v; ++i) {
        const VELMAR_KMC_VERTEX &kv = kmc->kv[i];
        std::printf("KMC: v[%3ld]: occ=%c; origin=%3ld; t=%.1e; d=(%.1e,%.1e,%.1e)\n", i,
                    kv.occupied ? 'T' : 'F', kv.origin, kv.t, kv.d[0], kv.d[1], kv.d[2]);
        std::printf("KMC:         x = ( %6.3lf, %6.3lf, %6.3lf)\n", kv.v->x[0], kv.v->x[1],
                    kv.v->x[2]);
        std::printf("KMC:         e_n (%d) =", kv.total_e);
        for (int n = 0; n < kv.total_e; ++n) std::printf(" %ld", kv.e_n[n]);
        std::printf("\nKMC:         v_n (%d) =", kv.total_v);
        for (int n = 0; n < kv.total_v; ++n) std::printf(" %ld", kv.v_n[n]);
        std::printf("\nKMC:         v_de =");
        for (int n = 0; n < kv.total_v; ++n) std::printf("%.3f,", kv.v_de[n]);
        std::printf("\n");
    }
    for (long k = 0; k < kmc->graph->total_e; ++k) {
        const VELMAR_KMC_EDGE &ke = kmc->ke[k];
        std::printf(
            "KMC: e[%3ld]: (%3ld->%3ld) de=%lf; r = %.8lf\n", k, ke.e->v_i->index, ke.e->v_f->index,
            ke.e->barrier,
            kmc->engine != nullptr ? kmc->engine->tree.value(static_cast<size_t>(k)) : ke.r);
        std::printf("KMC:         f = %.3lf\n", ke.f);
    }
}

void velmar_kmc_print_short(const VELMAR_KMC *kmc) {
    if (!kmc_ready(kmc)) return;
    double assigned = 0.0;
    for (long i = 0; i < kmc->graph->total_v; ++i) assigned += kmc->graph->v[i].occ;
    std::printf("KMC: temperature = %.3lf\n", kmc->temperature);
    std::printf("KMC: time = %.1e / %.1e\n", kmc->t, kmc->t_limit);
    std::printf("KMC: step = %ld / %ld\n", kmc->step, kmc->step_limit);
    std::printf("KMC: total assigned occ = %lf\n", assigned);
    std::printf("KMC: total_v = %ld\n", kmc->graph->total_v);
    std::printf("KMC: total_e = %ld\n", kmc->graph->total_e);
}

void velmar_kmc_print_result(const VELMAR_KMC *kmc) {
    if (!kmc_ready(kmc)) return;
    const VELMAR_GRAPH *graph = kmc->graph;
    std::printf("KMC: conducting species: %s%d%c\n", graph->type, std::abs(graph->os),
                sign_of(graph->os));
    std::printf("KMC: temperature = %.3lf\n", kmc->temperature);
    std::printf("KMC: time = %.1e / %.1e (time_total = %.1e) fs\n", kmc->t, kmc->t_limit,
                kmc->t_total);
    std::printf("KMC: step = %ld / %ld; step_log = %ld\n", kmc->step, kmc->step_limit,
                kmc->step_log);
    const double *v = kmc->displacement;
    std::printf("KMC: displacement = %lf, (%lf, %lf, %lf) A\n", v[3], v[0], v[1], v[2]);
    v = kmc->diffusivity;
    std::printf("KMC: diffusivity = %.2e, (%.2e, %.2e, %.2e) E-8 m^2/s\n", v[3], v[0], v[1], v[2]);
    v = kmc->mobility;
    std::printf("KMC: mobility = %.2e, (%.2e, %.2e, %.2e) E-8 m^2/(V*s)\n", v[3], v[0], v[1], v[2]);
    v = kmc->conductivity;
    std::printf("KMC: conductivity = %.2e, (%.2e, %.2e, %.2e) S/cm\n", v[3], v[0], v[1], v[2]);
    std::printf("KMC: total site = %ld\n", graph->total_v);
    std::printf("KMC: summary of site-averaged occupancy:\n");
    std::vector<std::string> names;
    std::vector<double> sums;
    std::vector<long> counts;
    double total = 0.0;
    for (long i = 0; i < graph->total_v; ++i) {
        const std::string name = graph->v[i].name;
        size_t at = 0;
        while (at < names.size() && names[at] != name) ++at;
        if (at == names.size()) {
            names.push_back(name);
            sums.push_back(0.0);
            counts.push_back(0);
        }
        const double occ = occupancy_of(kmc, i);
        sums[at] += occ;
        counts[at] += 1;
        total += occ;
    }
    for (size_t n = 0; n < names.size(); ++n) {
        std::printf("KMC: [%8s] %.3lf (multiplicity = %4ld)\n", names[n].c_str(),
                    sums[n] / counts[n], counts[n]);
    }
    std::printf("KMC: [%8s] %.3lf / %.3lf\n", "total", total, graph->total_occ);
    std::printf("KMC: displacement information saved to %s\n", kmc->logname);
    std::printf("KMC: trajectory information saved to %s\n", kmc->xyzname);
}

VELMAR_CELL *velmar_kmc_export_to_cell(const VELMAR_KMC *kmc) {
    if (!kmc_ready(kmc)) return nullptr;
    const VELMAR_GRAPH *graph = kmc->graph;
    long ions = 0;
    for (long s = 0; s < graph->total_v; ++s) ions += kmc->kv[s].occupied;
    velmar::Owned<VELMAR_CELL, velmar_cell_free> cell(velmar_cell_new(ions));
    if (!cell) {
        VELMAR_ERROR_NULL(velmar_cell_new);
        return nullptr;
    }
    long a = 0;
    for (long s = 0; s < graph->total_v; ++s) {
        if (!kmc->kv[s].occupied) continue;
        VELMAR_ATOM &atom = cell->atom[a++];
        velmar::copy_text(atom.name, sizeof atom.name, graph->v[s].name);
        velmar::copy_text(atom.type, sizeof atom.type, graph->type);
        atom.os = graph->os;
        atom.occ = 1.0;
        velmar_vector3_double_copy(atom.x, graph->v[s].x);
    }
    velmar_matrix33_double_copy(cell->a, graph->a);
    velmar_cell_update_fractional(cell.get());
    return cell.release();
}

VELMAR_CELL *velmar_kmc_export_occ_to_cell(const VELMAR_KMC *kmc, const VELMAR_CELL *cell_in) {
    if (!kmc_ready(kmc)) return nullptr;
    if (cell_in == nullptr) {
        std::fputs("Error: VELMAR_CELL has not been properly initialized.\n", stderr);
        return nullptr;
    }
    const VELMAR_GRAPH *graph = kmc->graph;
    const auto conducting = [graph](const VELMAR_ATOM &atom) {
        return std::strcmp(atom.type, graph->type) == 0 && atom.os == graph->os;
    };
    long kept = 0;
    for (int32_t a = 0; a < cell_in->total; ++a) kept += !conducting(cell_in->atom[a]);
    velmar::Owned<VELMAR_CELL, velmar_cell_free> cell(velmar_cell_new(kept + graph->total_v));
    if (!cell) {
        VELMAR_ERROR_NULL(velmar_cell_new);
        return nullptr;
    }
    std::memcpy(cell->name, cell_in->name, sizeof cell->name);
    long at = 0;
    for (int32_t a = 0; a < cell_in->total; ++a) {
        if (!conducting(cell_in->atom[a])) cell->atom[at++] = cell_in->atom[a];
    }
    for (long s = 0; s < graph->total_v; ++s) {
        VELMAR_ATOM &atom = cell->atom[at++];
        char name[48];
        std::snprintf(name, sizeof name, "%s%ld", graph->type, s);
        velmar::copy_text(atom.name, sizeof atom.name, name);
        velmar::copy_text(atom.type, sizeof atom.type, graph->type);
        atom.os = graph->os;
        atom.occ = occupancy_of(kmc, s);
        velmar_vector3_double_copy(atom.x, graph->v[s].x);
    }
    velmar_matrix33_double_copy(cell->a, cell_in->a);
    velmar_cell_update_fractional(cell.get());
    return cell.release();
}

int velmar::detail::kmc_regularize_graph(velmar::Owned<VELMAR_GRAPH, velmar_graph_free> &graph,
                                         const VELMAR_SYMMETRY *symmetry, const VELMAR_CELL *cell,
                                         double temperature) {
    // The flow paths miss some of the crystal's equivalent sites and hops: the graph is closed
    // under the structure's symmetry. Minima too shallow to be sites become transit points, and
    // the result is closed again (an effective hop's saddle point is placed at one of several
    // equivalent transit points).
    graph.reset(velmar_graph_new_symmetrized(graph.get(), symmetry));
    if (!graph) {
        VELMAR_ERROR_NULL(velmar_graph_new_symmetrized);
        return 1;
    }
    graph.reset(velmar_graph_new_without_shallow(graph.get(), VELMAR_GRAPH_MIN_SITE_DEPTH,
                                                 temperature > 0.0 ? temperature : 300.0));
    if (!graph) {
        VELMAR_ERROR_NULL(velmar_graph_new_without_shallow);
        return 1;
    }
    graph.reset(velmar_graph_new_symmetrized(graph.get(), symmetry));
    if (!graph) {
        VELMAR_ERROR_NULL(velmar_graph_new_symmetrized);
        return 1;
    }
    if (velmar_graph_assign_occ(graph.get(), cell) != 0) {
        VELMAR_ERROR_NONZERO(velmar_graph_assign_occ);
        return 1;
    }
    if (velmar_graph_assign_label(graph.get(), cell) != 0) {
        VELMAR_ERROR_NONZERO(velmar_graph_assign_label);
        return 1;
    }
    return 0;
}

int velmar::detail::kmc_check_memory(const VELMAR_GRAPH &graph, const int s[3], double cutoff) {
    const double available = kmc_available_memory();
    if (!(available > 0.0)) return 0;  // unknown: nothing to check against
    const double need = kmc_memory_estimate(graph, s, cutoff);
    if (need <= available) return 0;
    const double cells = static_cast<double>(s[0]) * s[1] * s[2];
    std::fprintf(stderr,
                 "Error: the kinetic Monte Carlo of the %d x %d x %d supercell (%.0f sites, %.0f "
                 "hops) would need about %.1f GB for its neighbour lists, more than the %.1f GB of "
                 "memory available: give a smaller supercell or cut-off.\n",
                 s[0], s[1], s[2], static_cast<double>(graph.total_v) * cells,
                 static_cast<double>(graph.total_e) / 2.0 * cells, need / 1e9, available / 1e9);
    return 1;
}

double velmar::detail::kmc_memory_estimate(const VELMAR_GRAPH &graph, const int s[3],
                                           double cutoff) {
    if (!(cutoff > 0.0)) cutoff = 5.0;
    const double cells = static_cast<double>(s[0]) * s[1] * s[2];
    const double sites = static_cast<double>(graph.total_v) * cells;
    const double edges = static_cast<double>(graph.total_e) * cells;
    // Sites within the cut-off of a site or saddle point, at the graph's density (the sphere
    // does not hold more sites than the supercell has).
    const double sphere = 4.0 / 3.0 * 3.14159265 * cutoff * cutoff * cutoff;
    const double near = std::min(sites, static_cast<double>(graph.total_v) / graph.volume * sphere);
    // Bytes: graph and walk records per site and per edge, and per list entry the neighbour's
    // index and shift with their transposes (site lists, and one list per saddle point shared by
    // an edge and its reverse).
    constexpr double kPerSite = 600.0;
    constexpr double kPerEdge = 450.0;
    constexpr double kPerEntry = 48.0;
    return sites * kPerSite + edges * kPerEdge + (sites + edges / 2.0) * near * kPerEntry;
}

double velmar::detail::kmc_available_memory() {
    std::FILE *f = std::fopen("/proc/meminfo", "rb");
    if (f == nullptr) return 0.0;
    velmar::File file(f);
    char line[256];
    while (std::fgets(line, sizeof line, f) != nullptr) {
        long kb = 0;
        if (std::sscanf(line, "MemAvailable: %ld kB", &kb) == 1)
            return static_cast<double>(kb) * 1024.0;
    }
    return 0.0;
}

double velmar_kmc_calculate_conductivity_from_file(const char *cifname, const char *cubename,
                                                   const char *type, int os, const int super[3],
                                                   double sf, double temperature, double t_limit,
                                                   long step_limit, long step_log, double cutoff,
                                                   const char *symcards, const char *unitary,
                                                   const char *binary) {
    constexpr double kFailed = -0.1;
    VELMAR_CELL *raw_cell = nullptr;
    VELMAR_SYMMETRY *raw_symmetry = nullptr;
    if (velmar_cell_import_cif_from_file(&raw_cell, &raw_symmetry, cifname, symcards, unitary) !=
        0) {
        VELMAR_ERROR_NONZERO(velmar_cell_import_cif_from_file);
        return kFailed;
    }
    velmar::Owned<VELMAR_CELL, velmar_cell_free> cell(raw_cell);
    // The symmetry is kept until the site graph has been closed under it.
    velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free> symmetry(raw_symmetry);
    velmar::Owned<VELMAR_PROPERTY, velmar_property_free> ppt(
        velmar_property_import_from_cell(cell.get(), type, os, sf, unitary, binary));
    if (!ppt) {
        VELMAR_ERROR_NULL(velmar_property_import_from_cell);
        return kFailed;
    }
    VELMAR_CUBE *raw_cube = nullptr;
    if (velmar_cube_import_from_file(&raw_cube, nullptr, cubename, true, nullptr) != 0) {
        std::fputs("Error: velmar_cube_calculate_from_cell() returns NULL.\n", stderr);
        return kFailed;
    }
    velmar::Owned<VELMAR_CUBE, velmar_cube_free> cube(raw_cube);
    // A landscape of another cell (or of a supercell, as written for a partially occupied
    // structure) would put the sites in the wrong places and give meaningless numbers.
    if (velmar_cube_check_lattice(cube.get(), cell.get(), cubename, cifname) != 0) {
        VELMAR_ERROR_NONZERO(velmar_cube_check_lattice);
        return kFailed;
    }
    velmar::Owned<VELMAR_FPCUBE, velmar_fpcube_free> fpcube(
        velmar_fpcube_new_from_cube(cube.get()));
    if (!fpcube) {
        VELMAR_ERROR_NULL(velmar_fpcube_new_from_cube);
        return kFailed;
    }
    velmar::Owned<VELMAR_FPHALF_LIST, velmar_fphalf_list_free> halves(
        velmar_fphalf_list_new_from_fpcube(fpcube.get()));
    if (!halves) {
        VELMAR_ERROR_NULL(velmar_fphalf_list_new_from_fpcube);
        return kFailed;
    }
    velmar::Owned<VELMAR_FFT, velmar_fft_free> fft(velmar_fft_new_from_cube(cube.get()));
    if (!fft) {
        VELMAR_ERROR_NULL(velmar_fft_new_from_cube);
        return kFailed;
    }
    cube.reset();

    int s[3] = {super[0], super[1], super[2]};
    for (int r = 0; r < 3; ++r) {
        if (s[r] < 1)
            s[r] = static_cast<int>(std::ceil(25.0 / velmar_vector3_double_length(cell->a[r])));
    }
    std::printf("Message: supercell [%d, %d, %d]\n", s[0], s[1], s[2]);

    VELMAR_GRAPH *supergraph = nullptr;
    {
        velmar::Owned<VELMAR_GRAPH, velmar_graph_free> graph(
            velmar_graph_new_filled(halves.get(), fft.get(), cell.get(), ppt.get()));
        if (!graph) {
            VELMAR_ERROR_NULL(velmar_graph_new_filled);
            return kFailed;
        }
        if (velmar::detail::kmc_regularize_graph(graph, symmetry.get(), cell.get(), temperature) !=
            0)
            return kFailed;
        if (velmar::detail::kmc_check_memory(*graph, s, cutoff) != 0) return kFailed;
        supergraph = velmar_graph_new_supergraph(graph.get(), s);
        if (supergraph == nullptr) {
            VELMAR_ERROR_NULL(velmar_graph_new_supergraph);
            return kFailed;
        }
    }
    fft.reset();
    velmar::Owned<VELMAR_KMC, velmar_kmc_free> kmc(velmar_kmc_new(supergraph, ppt.get(), cutoff));
    if (!kmc) {
        VELMAR_ERROR_NULL(velmar_kmc_new);
        return kFailed;
    }
    kmc->temperature = temperature;
    kmc->t_limit = t_limit;
    kmc->step_limit = step_limit;
    kmc->step_log = step_log;
    std::snprintf(kmc->logname, sizeof kmc->logname, "%s.kmc.log.txt", cifname);
    std::snprintf(kmc->xyzname, sizeof kmc->xyzname, "%s.kmc.xyz.txt", cifname);
    kmc->engine->extxyz_name = std::string(cifname) + ".kmc.extxyz";
    if (velmar_kmc_init(kmc.get()) != 0) {
        VELMAR_ERROR_NONZERO(velmar_kmc_init);
        return kFailed;
    }
    {
        velmar::Owned<VELMAR_CELL, velmar_cell_free> initial(velmar_kmc_export_to_cell(kmc.get()));
        if (!initial) {
            VELMAR_ERROR_NULL(velmar_kmc_export_to_cell);
            return kFailed;
        }
        const std::string name = std::string(cifname) + ".kmc.init.cif";
        if (velmar_cell_export_cif_to_file(name.c_str(), initial.get(), 0) != 0) {
            VELMAR_ERROR_NONZERO(velmar_cell_export_cif_to_file);
            return kFailed;
        }
        std::printf("Message: initial occupation of the sites written to %s.\n", name.c_str());
    }
    if (velmar_kmc_calculate_conductivity(kmc.get()) != 0) {
        VELMAR_ERROR_NONZERO(velmar_kmc_calculate_conductivity);
        return kFailed;
    }
    const double conductivity = kmc->conductivity[3];
    if (velmar::detail::kmc_commit_logs(kmc.get()) != 0) return kFailed;
    std::printf("Message: trajectory in extended XYZ written to %s.\n",
                kmc->engine->extxyz_name.c_str());
    velmar::Owned<VELMAR_CELL, velmar_cell_free> supercell(velmar_cell_supercell(cell.get(), s));
    if (!supercell) {
        VELMAR_ERROR_NULL(velmar_cell_supercell);
        return kFailed;
    }
    velmar::Owned<VELMAR_CELL, velmar_cell_free> occupation(
        velmar_kmc_export_occ_to_cell(kmc.get(), supercell.get()));
    if (!occupation) {
        VELMAR_ERROR_NULL(velmar_kmc_export_occ_to_cell);
        return kFailed;
    }
    const std::string name = std::string(cifname) + ".kmc.cif";
    if (velmar_cell_export_cif_to_file(name.c_str(), occupation.get(), 0) != 0) {
        VELMAR_ERROR_NONZERO(velmar_cell_export_cif_to_file);
        return kFailed;
    }
    std::printf("Message: mean occupation of the sites written to %s.\n", name.c_str());
    return conductivity;
}
