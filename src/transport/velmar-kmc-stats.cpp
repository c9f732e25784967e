// Block statistics, convergence warnings and progress of a kinetic Monte Carlo run.
#include "transport/velmar-kmc-stats.h"

#include <cmath>
#include <cstdio>
#include <string>

#include "transport/velmar-kmc.h"

namespace velmar::detail {

namespace {

// Displacement of the ion that started at origin o and now sits at site j, A.
std::array<double, 3> displacement(const VELMAR_KMC &kmc, long j, long o) {
    const VELMAR_GRAPH &graph = *kmc.graph;
    std::array<double, 3> d{};
    for (int r = 0; r < 3; ++r) {
        d[r] = graph.v[j].x[r] - graph.v[o].x[r];
        for (int c = 0; c < 3; ++c) d[r] += static_cast<double>(kmc.kv[o].y_i[c]) * graph.a[c][r];
    }
    return d;
}

struct MeanError {
    double mean = 0.0;
    double error = 0.0;  // standard error of the mean
};

template <class Get>
MeanError mean_error(size_t n, Get get) {
    MeanError m;
    if (n == 0) return m;
    for (size_t i = 0; i < n; ++i) m.mean += get(i);
    m.mean /= static_cast<double>(n);
    if (n < 2) return m;
    double var = 0.0;
    for (size_t i = 0; i < n; ++i) var += (get(i) - m.mean) * (get(i) - m.mean);
    var /= static_cast<double>(n - 1);
    m.error = std::sqrt(var / static_cast<double>(n));
    return m;
}

// Drift beyond this many standard errors is reported; with 20 blocks a pure random walk passes
// it on one component in about 400 runs.
constexpr double kDriftSigmas = 3.5;
// Below this share of its average rate over the second half, the mean squared displacement is
// levelling off: the ions rattle instead of diffusing.
constexpr double kDiffusiveShare = 0.5;

}  // namespace

void KmcTrace::start(const VELMAR_KMC &kmc, long every, double span) {
    every_ = every;
    span_ = span;
    next_step_ = kmc.step + every;
    t_start_ = kmc.t;
    next_time_ = span;
    blocks_.clear();
    last_.assign(static_cast<size_t>(kmc.graph->total_v), {0.0, 0.0, 0.0});
    ions_ = 0;
    for (long j = 0; j < kmc.graph->total_v; ++j) {
        const long o = kmc.kv[j].origin;
        if (!kmc.kv[j].occupied || o < 0) continue;
        last_[o] = displacement(kmc, j, o);
        ++ions_;
    }
    // Hops when the run is limited by their number, else thousandths of its time.
    progress_ = std::make_unique<velmar::Progress>("KMC", kmc.step_limit > 0  ? kmc.step_limit
                                                          : kmc.t_limit > 0.0 ? 1000
                                                                              : 0);
}

void KmcTrace::after_hop(const VELMAR_KMC &kmc) {
    if (every_ > 0 ? kmc.step >= next_step_ : kmc.t - t_start_ >= next_time_) {
        close_block(kmc);
        if (every_ > 0) {
            next_step_ += every_;
        } else {
            next_time_ += span_;
        }
    }
    if (progress_ && progress_->shown() && (kmc.step & 4095) == 0) {
        const bool by_hops = kmc.step_limit > 0 || kmc.t_limit <= 0.0;
        progress_->update(
            by_hops ? kmc.step : static_cast<int64_t>(1000.0 * (kmc.t - t_start_) / kmc.t_limit),
            std::to_string(kmc.step) + " hops");
    }
}

void KmcTrace::close_block(const VELMAR_KMC &kmc) {
    Block b{};
    b.t_end = kmc.t - t_start_;
    b.tau = b.t_end - (blocks_.empty() ? 0.0 : blocks_.back().t_end);
    double from_start = 0.0;
    for (long j = 0; j < kmc.graph->total_v; ++j) {
        const long o = kmc.kv[j].origin;
        if (!kmc.kv[j].occupied || o < 0) continue;
        const std::array<double, 3> d = displacement(kmc, j, o);
        for (int r = 0; r < 3; ++r) {
            const double step = d[r] - last_[o][r];
            b.msd += step * step;
            b.msd_k[r] += step * step;
            b.shift[r] += step;
            from_start += d[r] * d[r];
        }
        last_[o] = d;
    }
    const double n = ions_ > 0 ? static_cast<double>(ions_) : 1.0;
    b.msd /= n;
    for (double &m : b.msd_k) m /= n;
    for (double &s : b.shift) s /= n;
    b.msd_from_start = from_start / n;
    blocks_.push_back(b);
}

void KmcTrace::finish() { progress_.reset(); }

void KmcTrace::print(const VELMAR_KMC &kmc) const {
    const VELMAR_GRAPH &graph = *kmc.graph;
    long holders = 0;  // sites of the structure's conducting atoms
    for (long v = 0; v < graph.total_v; ++v) holders += graph.v[v].occ > 0.0;
    const bool vacancies = static_cast<double>(ions_) < static_cast<double>(holders) - 0.5;
    const size_t nb = blocks_.size();
    if (nb < 4) {
        std::printf("KMC: convergence: %zu blocks, too few to estimate errors.\n", nb);
    } else {
        // The conductivity of each block (the run's conductivity scaled by the block's share of
        // the diffusivity), total then x, y, z: their mean and its standard error.
        const double t_run = blocks_.back().t_end;
        const auto block_mean = [this, nb, &kmc](int k) {
            const VELMAR_GRAPH &g = *kmc.graph;
            return mean_error(nb, [&, k](size_t b) {
                const Block &block = blocks_[b];
                const double msd = k < 0 ? block.msd : block.msd_k[k];
                // sigma = msd / (6 t) os^2 c e / (kB T): the factors of the run's own value.
                const double factor =
                    g.os * 11604.52 / kmc.temperature * g.os * g.c * 1.60217662 * 10.0 / 6.0;
                return block.tau > 0.0 ? msd / block.tau * factor : 0.0;
            });
        };
        const MeanError m[4] = {block_mean(0), block_mean(1), block_mean(2), block_mean(-1)};
        std::printf("KMC: convergence: %zu blocks of %.3g ps on average.\n", nb,
                    t_run / static_cast<double>(nb));
        std::printf(
            "KMC: conductivity of the blocks = %.2e +/- %.1e, (%.2e +/- %.1e, %.2e +/- %.1e, %.2e "
            "+/- %.1e) S/cm (mean and standard error).\n",
            m[3].mean, m[3].error, m[0].mean, m[0].error, m[1].mean, m[1].error, m[2].mean,
            m[2].error);
    }
    const double t_end = nb > 0 ? blocks_.back().t_end : 0.0;
    const double msd_end = nb > 0 ? blocks_.back().msd_from_start : 0.0;
    double share = 0.0;
    if (nb >= 2 && msd_end > 0.0 && t_end > 0.0) {
        size_t mid = 0;
        while (mid + 1 < nb && blocks_[mid].t_end < 0.5 * t_end) ++mid;
        const double dt = t_end - blocks_[mid].t_end;
        const double slope = dt > 0.0 ? (msd_end - blocks_[mid].msd_from_start) / dt : 0.0;
        share = slope / (msd_end / t_end);
        std::printf(
            "KMC: over the second half of the run the mean squared displacement grew at %.2f of "
            "its average rate (1 when the ions diffuse).\n",
            share);
    }
    bool drifting = false;
    if (nb >= 4) {
        std::array<double, 3> drift{};
        std::array<double, 3> error{};
        for (int r = 0; r < 3; ++r) {
            const MeanError m = mean_error(nb, [this, r](size_t b) { return blocks_[b].shift[r]; });
            drift[r] = m.mean * static_cast<double>(nb);
            error[r] = m.error * static_cast<double>(nb);
            drifting = drifting || std::fabs(drift[r]) > kDriftSigmas * error[r];
        }
        std::printf(
            "KMC: mean displacement (drift) = (%.2e, %.2e, %.2e) +/- (%.1e, %.1e, %.1e) A.\n",
            drift[0], drift[1], drift[2], error[0], error[1], error[2]);
        if (drifting) {
            std::printf(
                "Warning: the ions drift by more than %.1f times the statistical error; at zero "
                "field this means the run has not reached equilibrium: run it longer.\n",
                kDriftSigmas);
        }
    }
    if (!vacancies) {
        std::printf(
            "Warning: there is no vacancy: %ld ions fill the %ld sites of the structure's %s "
            "atoms, so the ions can only move through interstitial sites, if any. Real samples "
            "conduct through defects: give the conducting sites a partial occupancy to model "
            "them.\n",
            ions_, holders, graph.type);
    }
    if (!(msd_end > 0.0)) {
        std::printf(
            "Warning: no ion got away from its site during the run, so the conductivity is 0 on "
            "this site graph.\n");
    } else if (nb >= 2 && share < kDiffusiveShare) {
        std::printf(
            "Warning: the ions did not reach the diffusive regime: the ions only rattle between "
            "neighbouring sites, and sigma is an upper bound that shrinks as the run grows. Run "
            "longer, or give the structure vacancies.\n");
    }
}

}  // namespace velmar::detail
