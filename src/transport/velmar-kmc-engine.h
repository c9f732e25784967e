// The bookkeeping behind the kinetic Monte Carlo's hops. It holds the Coulomb lists of the sites
// and of the saddle points (the records' v_n and v_de point into them; the edges through one saddle
// point share one list), and, kept up to date hop by hop: the current energy of every site and
// saddle point (landscape energy plus the shifts from the occupied sites around it), the edges
// whose rates must be recomputed, the sum tree of the rates, and the clock from which the sites'
// occupied times are settled.
#ifndef VELMAR_KMC_ENGINE_H
#define VELMAR_KMC_ENGINE_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/velmar-output.h"
#include "core/velmar-sum-tree.h"
#include "transport/velmar-kmc-stats.h"
#include "transport/velmar-kmc.h"

namespace velmar::detail {

struct KmcEngine {
    // Builds the lists within the cut-off (shift(d) the energy an ion at distance d adds) and
    // points the records at them. NULL after an error line on failure.
    template <class Shift>
    static KmcEngine *create(VELMAR_KMC &kmc, double cutoff, Shift shift);
    static void destroy(KmcEngine *engine);

    // Energies summed afresh from the occupations; every rate to be recomputed.
    void restart(VELMAR_KMC &kmc);
    // Recomputes the rates of the edges marked since the last call (kT = kB T); they are kept in
    // the tree and copied to the records' r by sync_rates.
    void update_rates(VELMAR_KMC &kmc, double kT);
    double total_rate() const { return tree.total(); }
    long choose(double u) const { return tree.find(u); }
    // Moves the ion along edge k; with book, the cells it crosses are added to its origin's record.
    void hop(VELMAR_KMC &kmc, long k, bool book);
    void advance(double dt) { clock += dt; }
    void sync_rates(VELMAR_KMC &kmc) const;
    // Adds to every occupied site's t the time since it was last settled.
    void settle(VELMAR_KMC &kmc);

    // Coulomb lists, one block each: per site (kv[i].v_n) and per saddle point (ke[k].v_n).
    std::vector<long> site_n, saddle_n;
    std::vector<double> site_de, saddle_de;
    std::vector<long> site_start, saddle_start;
    std::vector<double> r2;            // the edges' scratch slots
    std::vector<int32_t> saddle_of;    // per edge
    std::vector<int32_t> saddle_edge;  // per saddle point, its edges...
    std::vector<int32_t> saddle_edge_start;
    std::vector<long> e_n;            // per site, one edge through each saddle point near it...
    std::vector<int32_t> e_n_saddle;  // ...that saddle point...
    std::vector<double> e_n_de;       // ...and the shift the site gives it
    std::vector<long> e_n_start;
    std::vector<int32_t> listener;    // per site s, the sites whose lists hold s...
    std::vector<double> listener_de;  // ...with the shift s gives them
    std::vector<long> listener_start;
    std::vector<int32_t> out_start, out_edge;   // per site, its edges
    std::vector<int32_t> from, to, reverse;     // per edge
    std::vector<double> frequency;              // per edge
    std::vector<double> self_end, self_saddle;  // per edge, the shift the hopping ion itself gives
                                                // its end site and saddle point (0 beyond cut-off)
    std::vector<uint8_t> occupied;              // per site
    std::vector<uint64_t>
        open_mask;              // per site (at most 64 edges): bit e when the hop out along
                                // its edge e (site full) or back along it (site empty) is open
    std::vector<uint8_t> wide;  // per site: more than 64 edges, scanned without the mask
    std::vector<int32_t> open_edges;       // per saddle point, its edges that are possible hops
    std::vector<double> site_e, saddle_e;  // current energies
    SumTree tree;
    KmcTrace trace;  // block statistics of the production run
    // The logs, written beside their names and renamed when the run is complete (the records'
    // log and xyz handles point into the first two); the third is the trajectory in extended XYZ,
    // written when its name is set.
    std::unique_ptr<OutputFile> log_file, xyz_file, extxyz_file;
    std::string extxyz_name;
    std::vector<int32_t> dirty;  // edges to recompute
    std::vector<uint8_t> marked;
    std::vector<long> touched;  // sites whose update flag is set
    std::vector<double> since;  // clock when each site's occupied time was last settled
    double clock = 0.0;

  private:
    void mark(int32_t k) {
        if (marked[k] != 0) return;
        marked[k] = 1;
        dirty.push_back(k);
    }
    bool open(int32_t k) const { return occupied[from[k]] != 0 && occupied[to[k]] == 0; }
    void count_open(int32_t k, int delta) { open_edges[saddle_of[k]] += delta; }
    void set_occupied(long s, bool full);
    void refresh_mask(long s);
    void shift_site(VELMAR_KMC &kmc, long s, double sign);
    void build_lists(VELMAR_KMC &kmc, double cutoff, double (*shift)(double, const void *),
                     const void *data);
};

template <class Shift>
KmcEngine *KmcEngine::create(VELMAR_KMC &kmc, double cutoff, Shift shift) {
    auto *engine = new (std::nothrow) KmcEngine;
    if (engine == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_KMC.\n", stderr);
        return nullptr;
    }
    try {
        engine->build_lists(
            kmc, cutoff,
            [](double d, const void *f) { return (*static_cast<const Shift *>(f))(d); }, &shift);
    } catch (const std::bad_alloc &) {
        std::fputs("Error: unable to allocate VELMAR_KMC.\n", stderr);
        destroy(engine);
        return nullptr;
    }
    return engine;
}

}  // namespace velmar::detail

#endif  // VELMAR_KMC_ENGINE_H
