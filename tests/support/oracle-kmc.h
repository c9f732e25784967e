// The kinetic Monte Carlo step the plain way, as the reference for the incremental one: every rate
// is recomputed from the records' Coulomb lists after every hop, and the hop is found by a running
// sum over all edges. It works on its own copy of the occupations.
#ifndef VELMAR_TEST_ORACLE_KMC_H
#define VELMAR_TEST_ORACLE_KMC_H

#include <array>
#include <cmath>
#include <vector>

#include "core/velmar-random.h"
#include "transport/velmar-kmc.h"

namespace velmar_oracle {

struct KmcState {
    std::vector<char> occupied;
    std::vector<long> origin;
    std::vector<std::array<long, 3>> y_i;
    double t = 0.0;
};

inline KmcState kmc_state(const VELMAR_KMC &kmc) {
    KmcState s;
    for (long i = 0; i < kmc.graph->total_v; ++i) {
        s.occupied.push_back(kmc.kv[i].occupied ? 1 : 0);
        s.origin.push_back(kmc.kv[i].origin);
        s.y_i.push_back({kmc.kv[i].y_i[0], kmc.kv[i].y_i[1], kmc.kv[i].y_i[2]});
    }
    s.t = kmc.t;
    return s;
}

// The rate of edge k: the energies of the hopping ion among the other ions.
inline double kmc_rate(const VELMAR_KMC &kmc, const KmcState &s, long k) {
    const VELMAR_KMC_EDGE &ke = kmc.ke[k];
    const long i = ke.e->v_i->index;
    const long f = ke.e->v_f->index;
    if (s.occupied[i] == 0 || s.occupied[f] != 0) return 0.0;
    const auto energy = [&](double en, const long *v_n, const double *v_de, int total) {
        for (int n = 0; n < total; ++n) {
            if (s.occupied[v_n[n]] != 0 && v_n[n] != i) en += v_de[n];
        }
        return en;
    };
    const double ei = energy(kmc.kv[i].en, kmc.kv[i].v_n, kmc.kv[i].v_de, kmc.kv[i].total_v);
    const double ef = energy(kmc.kv[f].en, kmc.kv[f].v_n, kmc.kv[f].v_de, kmc.kv[f].total_v);
    const double es = energy(ke.en, ke.v_n, ke.v_de, ke.total_v);
    const double de = es > ei && es > ef ? es - ei : ef - ei;
    return ke.f * std::exp(-de / (8.6173324e-05 * kmc.temperature));
}

// One hop with the random numbers velmar_kmc_evolve draws; returns the edge, or -1.
inline long kmc_step(const VELMAR_KMC &kmc, KmcState &s) {
    const long ne = kmc.graph->total_e;
    std::vector<double> rate(static_cast<size_t>(ne));
    double total = 0.0;
    for (long k = 0; k < ne; ++k) {
        rate[k] = kmc_rate(kmc, s, k);
        if (rate[k] > 0.0) total += rate[k];
    }
    if (total < 1e-20) return -1;
    const double u = velmar_random() * total;
    double sum = 0.0;
    long chosen = -1;
    for (long k = 0; k < ne && chosen < 0; ++k) {
        if (!(rate[k] > 0.0)) continue;
        sum += rate[k];
        if (sum >= u) chosen = k;
    }
    if (chosen < 0) return -1;
    const VELMAR_GRAPH_EDGE &e = *kmc.ke[chosen].e;
    const long i = e.v_i->index;
    const long f = e.v_f->index;
    s.occupied[i] = 0;
    s.occupied[f] = 1;
    s.origin[f] = s.origin[i];
    s.origin[i] = -1;
    if (s.origin[f] >= 0) {
        for (int r = 0; r < 3; ++r) s.y_i[s.origin[f]][r] += e.bound[r];
    }
    double v = velmar_random();
    while (v < 1e-5 || v > 0.99999) v = velmar_random();
    s.t += -std::log(v) / total;
    return chosen;
}

}  // namespace velmar_oracle

#endif  // VELMAR_TEST_ORACLE_KMC_H
