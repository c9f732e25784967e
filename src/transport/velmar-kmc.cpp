// Kinetic Monte Carlo: set-up, placement of the ions, rates, hops and the conductivity.
#include "transport/velmar-kmc.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "core/velmar-la.h"
#include "core/velmar-random.h"
#include "core/velmar.h"
#include "model/velmar-energy.h"
#include "transport/velmar-graph-transient.h"
#include "transport/velmar-kmc-engine.h"

namespace {

constexpr double kBoltzmann = 8.6173324e-05;  // eV/K
constexpr double kCoulomb = 14.39964;         // e^2/A in eV
constexpr long kDefaultStepLimit = 10000000;
constexpr long kDefaultStepLog = 10000;

bool kmc_ready(const VELMAR_KMC *kmc) {
    if (kmc != nullptr && kmc->graph != nullptr && kmc->kv != nullptr && kmc->ke != nullptr &&
        kmc->engine != nullptr) {
        return true;
    }
    std::fputs("Error: VELMAR_KMC has not been properly initialized.\n", stderr);
    return false;
}

}  // namespace

double velmar::detail::kmc_coulomb_shift(double x, double q, double rc, double sf) {
    return kCoulomb * velmar_energy_coulombic(x, q * q, 2.0 * rc * sf);
}

double velmar_kmc_random() { return velmar_random(); }

VELMAR_KMC *velmar_kmc_new(VELMAR_GRAPH *graph, const VELMAR_PROPERTY *ppt, double cutoff) {
    velmar::Owned<VELMAR_GRAPH, velmar_graph_free> owned_graph(graph);
    if (graph == nullptr || graph->total_v < 1 || graph->total_e < 1 || ppt == nullptr ||
        ppt->conducting < 0 || ppt->conducting >= ppt->total) {
        std::fputs("Error: VELMAR_GRAPH or VELMAR_PROPERTY has not been properly initialized.\n",
                   stderr);
        return nullptr;
    }
    if (!(cutoff > 0.0)) cutoff = 5.0;
    auto *raw = static_cast<VELMAR_KMC *>(std::calloc(1, sizeof(VELMAR_KMC)));
    if (raw == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_KMC.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_KMC, velmar_kmc_free> kmc(raw);
    kmc->graph = owned_graph.release();
    const long nv = graph->total_v;
    const long ne = graph->total_e;
    kmc->kv = static_cast<VELMAR_KMC_VERTEX *>(std::calloc(nv, sizeof(VELMAR_KMC_VERTEX)));
    if (kmc->kv == nullptr) {
        std::fputs("Error: unable to allocate kmc->kv.\n", stderr);
        return nullptr;
    }
    kmc->ke = static_cast<VELMAR_KMC_EDGE *>(std::calloc(ne, sizeof(VELMAR_KMC_EDGE)));
    if (kmc->ke == nullptr) {
        std::fputs("Error: unable to allocate kmc->ke.\n", stderr);
        return nullptr;
    }
    const VELMAR_PROPERTY_UNITARY &ion = ppt->uni[ppt->conducting];
    for (long i = 0; i < nv; ++i) {
        VELMAR_KMC_VERTEX &kv = kmc->kv[i];
        kv.v = &graph->v[i];
        kv.origin = -1;
        kv.en = graph->v[i].en;
    }
    for (long k = 0; k < ne; ++k) {
        VELMAR_KMC_EDGE &ke = kmc->ke[k];
        const VELMAR_GRAPH_EDGE &e = graph->e[k];
        ke.e = &graph->e[k];
        ke.en = e.en;
        ke.l = e.l;
        // Attempt frequency from the curvature of the start site. It must not depend on the
        // direction of the hop: with a stiffness projected on each hop's direction the two
        // directions of one hop get different prefactors, the products of the rates around loops
        // that wind the cell differ forward and back, and the ions drift at zero field (Li3N with
        // vacancies: several A per 1e5 hops, sigma_y/sigma_x up to 11). Every hop out of a site
        // shares the site's frequency, and detailed balance holds exactly.
        ke.f = velmar_graph_vertex_frequency(e.v_i, graph->m);
    }
    const double q = ion.q;
    const double rc = ion.rc;
    const double sf = ppt->sf;
    kmc->engine = velmar::detail::KmcEngine::create(*kmc, cutoff, [q, rc, sf](double d) {
        return velmar::detail::kmc_coulomb_shift(d, q, rc, sf);
    });
    if (kmc->engine == nullptr) return nullptr;
    return kmc.release();
}

void velmar_kmc_free(VELMAR_KMC *kmc) {
    if (kmc == nullptr) return;
    // The engine owns the lists the records point into and the log files (an uncommitted log is
    // removed: the run did not finish).
    velmar::detail::KmcEngine::destroy(kmc->engine);
    std::free(kmc->kv);
    std::free(kmc->ke);
    velmar_graph_free(kmc->graph);
    std::free(kmc);
}

int velmar_kmc_init(VELMAR_KMC *kmc) {
    if (!kmc_ready(kmc)) return 1;
    kmc->t_total = 0.0;
    if (!(kmc->temperature > 0.0)) kmc->temperature = 300.0;
    if (kmc->t_limit == 0.0 && kmc->step_limit == 0) {
        kmc->t_limit = -0.1;
        kmc->step_limit = -1;
    }
    if (kmc->t_limit < 0.0) kmc->t_limit = 0.0;
    if (kmc->step_limit < 0) kmc->step_limit = kDefaultStepLimit;
    for (long i = 0; i < kmc->graph->total_v; ++i) kmc->kv[i].t = 0.0;
    if (kmc->step_log < 1 || kmc->step_log > kmc->step_limit) kmc->step_log = kDefaultStepLog;
    // The logs appear under their names only when the run is complete (kmc_commit_logs); a run
    // that fails or is cut short leaves no partial log behind.
    velmar::detail::KmcEngine &engine = *kmc->engine;
    const auto open = [](std::unique_ptr<velmar::OutputFile> &file, const char *name) {
        file = std::make_unique<velmar::OutputFile>(name);
        if (file->ok()) return true;
        std::fprintf(stderr, "Error: unable to create log file %s.\n", name);
        return false;
    };
    if (!open(engine.log_file, kmc->logname) || !open(engine.xyz_file, kmc->xyzname)) return 1;
    if (!engine.extxyz_name.empty() && !open(engine.extxyz_file, engine.extxyz_name.c_str()))
        return 1;
    kmc->log = engine.log_file->get();
    kmc->xyz = engine.xyz_file->get();
    if (velmar_kmc_reset(kmc) != 0) {
        VELMAR_ERROR_NONZERO(velmar_kmc_reset);
        return 1;
    }
    return 0;
}

int velmar_kmc_reset(VELMAR_KMC *kmc) {
    if (!kmc_ready(kmc)) return 1;
    VELMAR_GRAPH *graph = kmc->graph;
    const long nv = graph->total_v;
    kmc->step = 0;
    kmc->t = 0.0;
    for (long i = 0; i < nv; ++i) {
        VELMAR_KMC_VERTEX &kv = kmc->kv[i];
        kv.origin = -1;
        kv.init = false;
        kv.occupied = false;
        for (int r = 0; r < 3; ++r) {
            kv.y_i[r] = 0;
            kv.d[r] = 0.0;
        }
    }
    const auto place = [kmc](long i) {
        VELMAR_KMC_VERTEX &kv = kmc->kv[i];
        kv.occupied = true;
        kv.init = true;
        kv.origin = i;
    };
    // Ions drawn onto the sites in proportion to their occupancy...
    double left = graph->total_occ;
    double weight = 0.0;
    for (long i = 0; i < nv; ++i) weight += graph->v[i].occ > 0.0 ? graph->v[i].occ : 0.0;
    while (left >= 1.0 && weight > 1e-6) {
        const double u = velmar_random() * weight;
        double sum = 0.0;
        long chosen = -1;
        for (long i = 0; i < nv && chosen < 0; ++i) {
            if (kmc->kv[i].occupied || !(graph->v[i].occ > 0.0)) continue;
            sum += graph->v[i].occ;
            if (sum >= u) chosen = i;
        }
        if (chosen < 0) {
            std::fputs("Error: unable to assign occ.\n", stderr);
            return 1;
        }
        place(chosen);
        left -= 1.0;
        weight -= graph->v[chosen].occ;
    }
    // ...and the rest, one at a time, onto the free site of lowest energy.
    while (left >= 0.999999) {
        long lowest = -1;
        double lowest_e = 0.0;
        for (long i = 0; i < nv; ++i) {
            const VELMAR_KMC_VERTEX &kv = kmc->kv[i];
            if (kv.occupied) continue;
            double e = kv.en;
            for (int n = 0; n < kv.total_v; ++n) {
                if (kmc->kv[kv.v_n[n]].occupied) e += kv.v_de[n];
            }
            if (lowest < 0 || e < lowest_e) {
                lowest = i;
                lowest_e = e;
            }
        }
        if (lowest < 0 || lowest >= nv) {
            std::fprintf(stderr, "Error: index_min = %ld out of bound.\n", lowest);
            return 1;
        }
        place(lowest);
        left -= 1.0;
    }
    for (long i = 0; i < nv; ++i) kmc->kv[i].update = kmc->kv[i].occupied;
    for (long k = 0; k < graph->total_e; ++k) kmc->ke[k].update = true;
    kmc->engine->restart(*kmc);
    if (velmar_kmc_update_rate(kmc) != 0) {
        VELMAR_ERROR_NONZERO(velmar_kmc_update_rate);
        return 1;
    }
    kmc->engine->sync_rates(*kmc);
    return 0;
}

int velmar_kmc_update_rate(VELMAR_KMC *kmc) {
    if (!kmc_ready(kmc)) return 1;
    if (!(kmc->temperature > 0.0)) {
        std::fputs("Error: wrong inputs for generating rates.\n", stderr);
        return 1;
    }
    kmc->engine->update_rates(*kmc, kBoltzmann * kmc->temperature);
    return 0;
}

int velmar::detail::kmc_commit_logs(VELMAR_KMC *kmc) {
    if (!kmc_ready(kmc)) return 1;
    velmar::detail::KmcEngine &engine = *kmc->engine;
    kmc->log = nullptr;
    kmc->xyz = nullptr;
    int status = 0;
    for (auto [file, name] : {std::pair{&engine.log_file, std::string(kmc->logname)},
                              std::pair{&engine.xyz_file, std::string(kmc->xyzname)},
                              std::pair{&engine.extxyz_file, engine.extxyz_name}}) {
        if (!*file) continue;
        if ((*file)->commit() != 0) {
            std::fprintf(stderr, "Error: unable to write %s.\n", name.c_str());
            status = 1;
        }
        file->reset();
    }
    return status;
}

double velmar::detail::kmc_total_rate(const VELMAR_KMC *kmc) { return kmc->engine->total_rate(); }

long velmar::detail::kmc_choose(const VELMAR_KMC *kmc, double u) { return kmc->engine->choose(u); }

int velmar_kmc_equilibrate(VELMAR_KMC *kmc) {
    if (!kmc_ready(kmc)) return 1;
    const long limit = static_cast<long>(0.01 * static_cast<double>(kmc->step_limit));
    const long steps = limit > 10000 ? limit : 10000;
    for (long s = 0; s < steps; ++s) {
        const double total = velmar::detail::kmc_total_rate(kmc);
        if (total < 1e-20) {
            std::fprintf(stderr, "Error: overall rate is too small: %.3e (step %ld)\n", total, s);
            return 1;
        }
        const long k = velmar::detail::kmc_choose(kmc, velmar_kmc_random() * total);
        if (k < 0) {
            std::fputs("Error: transition failed.\n", stderr);
            return 1;
        }
        kmc->engine->hop(*kmc, k, false);
        if (velmar_kmc_update_rate(kmc) != 0) {
            VELMAR_ERROR_NONZERO(velmar_kmc_update_rate);
            return 1;
        }
    }
    // Ions are followed from where equilibration left them.
    for (long i = 0; i < kmc->graph->total_v; ++i) {
        VELMAR_KMC_VERTEX &kv = kmc->kv[i];
        kv.origin = kv.occupied ? i : -1;
        for (int r = 0; r < 3; ++r) {
            kv.y_i[r] = 0;
            kv.d[r] = 0.0;
        }
    }
    return 0;
}

int velmar_kmc_evolve(VELMAR_KMC *kmc) {
    if (!kmc_ready(kmc)) return 1;
    const double total = velmar::detail::kmc_total_rate(kmc);
    if (total < 1e-20) {
        std::fputs("Error: overall rate is too small.\n", stderr);
        return 1;
    }
    const long k = velmar::detail::kmc_choose(kmc, velmar_kmc_random() * total);
    if (k < 0) {
        std::fputs("Error: transition failed.\n", stderr);
        return 1;
    }
    kmc->engine->hop(*kmc, k, true);
    double u = velmar_kmc_random();
    while (u < 1e-5 || u > 0.99999) u = velmar_kmc_random();
    const double dt = -std::log(u) / total;
    kmc->t += dt;
    kmc->t_total += dt;
    kmc->step += 1;
    kmc->engine->advance(dt);
    if (velmar_kmc_update_rate(kmc) != 0) {
        VELMAR_ERROR_NONZERO(velmar_kmc_update_rate);
        return 1;
    }
    if (velmar_kmc_log(kmc) != 0) {
        VELMAR_ERROR_NONZERO(velmar_kmc_log);
        return 1;
    }
    return 0;
}

int velmar_kmc_run(VELMAR_KMC *kmc) {
    if (!kmc_ready(kmc)) return 1;
    if (velmar::detail::kmc_total_rate(kmc) < 1e-20) {
        std::printf(
            "Warning: no hop is possible: every site next to an ion is occupied (there is no "
            "vacancy, and no empty site deep enough to hold an ion), so the walk cannot start and "
            "the conductivity on this site graph is 0.\n");
    }
    if (velmar_kmc_equilibrate(kmc) != 0) {
        VELMAR_ERROR_NONZERO(velmar_kmc_equilibrate);
        return 1;
    }
    if (velmar_kmc_log(kmc) != 0) {
        VELMAR_ERROR_NONZERO(velmar_kmc_log);
        return 1;
    }
    // Blocks for the statistics: by hops when the run is limited by hops, else by time.
    velmar::detail::KmcTrace &trace = kmc->engine->trace;
    const bool by_steps = kmc->t_limit <= 0.0 || kmc->step_limit >= 1;
    trace.start(*kmc,
                by_steps ? std::max(1L, kmc->step_limit / velmar::detail::KmcTrace::kBlocks) : 0,
                kmc->t_limit / velmar::detail::KmcTrace::kBlocks);
    const auto step_while = [kmc, &trace](auto more) {
        while (more()) {
            if (velmar_kmc_evolve(kmc) != 0) {
                trace.finish();
                VELMAR_ERROR_NONZERO(velmar_kmc_evolve);
                return false;
            }
            trace.after_hop(*kmc);
        }
        return true;
    };
    bool ok = true;
    if (kmc->t_limit <= 0.0) {
        if (kmc->step_limit < 1) {
            std::fputs("Error: t_limit and step_limit cannot both be zero.\n", stderr);
            return 1;
        }
        ok = step_while([kmc] { return kmc->step < kmc->step_limit; });
    } else if (kmc->step_limit < 1) {
        ok = step_while([kmc] { return kmc->t < kmc->t_limit; });
    } else {
        ok = step_while([kmc] { return kmc->t < kmc->t_limit && kmc->step < kmc->step_limit; });
    }
    if (ok && kmc->t_limit <= 1e-5) ok = step_while([kmc] { return kmc->step < kmc->step_limit; });
    trace.finish();
    kmc->engine->sync_rates(*kmc);
    return ok ? 0 : 1;
}

int velmar_kmc_calculate_conductivity(VELMAR_KMC *kmc) {
    if (!kmc_ready(kmc)) return 1;
    VELMAR_GRAPH *graph = kmc->graph;
    std::printf("KMC: temperature = %.2lf K.\n", kmc->temperature);
    std::printf("KMC: t_limit = %.1e ps; step_limit = %ld.\n", kmc->t_limit, kmc->step_limit);
    std::printf("KMC: c = %.1e A^-3; os = %d.\n", graph->c, graph->os);
    std::printf("KMC: start calculating conductivity...\n");
    std::fflush(stdout);
    if (velmar_kmc_reset(kmc) != 0) {
        VELMAR_ERROR_NONZERO(velmar_kmc_reset);
        return 1;
    }
    if (velmar_kmc_run(kmc) != 0) {
        VELMAR_ERROR_NONZERO(velmar_kmc_run);
        return 1;
    }
    kmc->engine->settle(*kmc);
    double msd[4] = {0.0, 0.0, 0.0, 0.0};
    for (long j = 0; j < graph->total_v; ++j) {
        const long o = kmc->kv[j].origin;
        if (!kmc->kv[j].occupied || o < 0) continue;
        double d[3];
        for (int r = 0; r < 3; ++r) {
            d[r] = graph->v[j].x[r] - graph->v[o].x[r];
            for (int c = 0; c < 3; ++c)
                d[r] += static_cast<double>(kmc->kv[o].y_i[c]) * graph->a[c][r];
        }
        for (int r = 0; r < 3; ++r) msd[r] += d[r] * d[r];
        msd[3] += d[0] * d[0] + d[1] * d[1] + d[2] * d[2];
    }
    for (double &m : msd) m /= graph->total_occ;
    for (int k = 0; k < 4; ++k) {
        const double diffusivity = msd[k] / (6.0 * kmc->t);
        const double mobility = diffusivity * graph->os / kmc->temperature * 11604.52;
        const double conductivity = mobility * graph->os * graph->c * 1.60217662 * 10.0;
        kmc->displacement[k] += std::sqrt(msd[k]);
        kmc->diffusivity[k] += diffusivity;
        kmc->mobility[k] += mobility;
        kmc->conductivity[k] += conductivity;
    }
    velmar_kmc_print_result(kmc);
    kmc->engine->trace.print(*kmc);
    return 0;
}
