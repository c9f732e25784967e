// Whether a kinetic Monte Carlo run can be trusted. The run is cut into blocks; at each block's end
// the ions' displacements are taken. From them: the conductivity with its statistical error (the
// blocks are independent samples of it; the run's own value, from the displacements since its
// start, is one sample, whose scatter does not shrink as the run grows, since the squared
// displacement of a fixed set of walkers scatters by a share of itself that does not depend on
// time), whether the ions diffuse (their mean squared displacement
// keeps growing at its average rate over the second half of the run, instead of levelling off as
// it does when they only rattle between neighbouring sites), and whether they drift (a mean
// displacement beyond its statistical error, which at zero field means the run is not at
// equilibrium). Displacements in A, times in ps.
#ifndef VELMAR_KMC_STATS_H
#define VELMAR_KMC_STATS_H

#include <array>
#include <memory>
#include <vector>

#include "core/velmar-progress.h"

struct VELMAR_KMC;

namespace velmar::detail {

class KmcTrace {
  public:
    // Blocks of `every` hops (or, when every is 0, of `span` ps); starts from the current state.
    void start(const VELMAR_KMC &kmc, long every, double span);
    // Called after every hop: closes a block when its end is reached, and shows progress on a
    // terminal.
    void after_hop(const VELMAR_KMC &kmc);
    // Closes the progress line.
    void finish();
    // The report after the results; warnings in plain words where the run cannot be trusted.
    void print(const VELMAR_KMC &kmc) const;

    static constexpr int kBlocks = 20;

  private:
    void close_block(const VELMAR_KMC &kmc);

    long every_ = 0;
    double span_ = 0.0;
    long next_step_ = 0;
    double next_time_ = 0.0;
    double t_start_ = 0.0;
    std::vector<std::array<double, 3>> last_;  // per origin site: displacement at the last mark
    struct Block {
        double tau;                   // ps
        double msd;                   // mean over the ions of |displacement in the block|^2
        std::array<double, 3> msd_k;  // the same per component
        std::array<double, 3> shift;  // mean displacement in the block
        double t_end;                 // ps since the start
        double msd_from_start;        // mean |displacement since the start|^2 at the block's end
    };
    std::vector<Block> blocks_;
    long ions_ = 0;
    std::unique_ptr<velmar::Progress> progress_;  // on a terminal
};

}  // namespace velmar::detail

#endif  // VELMAR_KMC_STATS_H
