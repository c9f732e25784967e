// Kinetic Monte Carlo: the sum tree's choice against a running sum; the incremental hops against
// the plain recomputation of every rate (same random numbers, same hops); the random walk of one
// ion on a simple cubic lattice against its analytic diffusivity z r a^2 / 6 and the
// Nernst-Einstein conductivity; a blocked lattice; and the command on Li3N.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "core/velmar-random.h"
#include "core/velmar-sum-tree.h"
#include "core/velmar.h"
#include "support/oracle-kmc.h"
#include "support/support.h"
#include "transport/velmar-kmc-engine.h"
#include "transport/velmar-kmc.h"
#include "transport/velmar-supergraph.h"

namespace {

using velmar_test::capture;
using Kmc = velmar::Owned<VELMAR_KMC, velmar_kmc_free>;

constexpr double kBoltzmann = 8.6173324e-05;

TEST(SumTree, FindsTheFirstPositiveValueWhoseRunningSumReachesTheDraw) {
    std::mt19937 gen(11);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    velmar::SumTree tree;
    std::vector<double> values(1000);
    tree.assign(values.size());
    for (int round = 0; round < 3; ++round) {
        for (size_t i = 0; i < values.size(); ++i) {
            values[i] = unit(gen) < 0.7 ? 0.0 : unit(gen);  // mostly closed hops
            tree.set(i, values[i]);
        }
        tree.refresh();
        double total = 0.0;
        for (double v : values) total += v;
        EXPECT_NEAR(tree.total(), total, 1e-12);
        for (int draw = 0; draw < 2000; ++draw) {
            const double u = draw == 0 ? 0.0 : unit(gen) * total;
            double sum = 0.0;
            long expected = -1;
            for (size_t i = 0; i < values.size() && expected < 0; ++i) {
                if (values[i] <= 0.0) continue;
                sum += values[i];
                if (sum >= u) expected = static_cast<long>(i);
            }
            ASSERT_EQ(tree.find(u), expected) << u;
        }
    }
    tree.assign(4);
    EXPECT_EQ(tree.find(0.0), -1);
}

// A KMC on the supercell graph of a site lattice, initialised (ions placed, rates computed).
Kmc lattice_kmc(velmar_test::SiteLattice &l, const int s[3], double cutoff, double temperature,
                const velmar_test::ScratchDir &dir) {
    Kmc kmc;
    capture([&] {
        kmc.reset(
            velmar_kmc_new(velmar_graph_new_supergraph(l.graph.get(), s), l.ppt.get(), cutoff));
        kmc->temperature = temperature;
        kmc->step_limit = 2000;
        kmc->step_log = 100000;
        std::snprintf(kmc->logname, sizeof kmc->logname, "%s", (dir / "log.txt").c_str());
        std::snprintf(kmc->xyzname, sizeof kmc->xyzname, "%s", (dir / "xyz.txt").c_str());
        velmar_random_seed(5u);
        velmar_kmc_init(kmc.get());
    });
    return kmc;
}

// With the same random numbers the incremental hops are the plain ones: the occupations, the
// cells crossed and the clock agree after every hop of a run with strong Coulomb shifts.
TEST(Kmc, IncrementalRatesChooseTheHopsOfThePlainRecomputation) {
    velmar_test::ScratchDir dir;
    auto l = velmar_test::site_lattice(0.05, 3.0 / 16.0);  // 1.5 ions per cell, 12 in all
    const int s[3] = {2, 2, 2};
    Kmc kmc = lattice_kmc(l, s, 6.0, 600.0, dir);
    ASSERT_NE(kmc, nullptr);
    EXPECT_GT(kmc->kv[0].total_v, 10);
    velmar_oracle::KmcState plain = velmar_oracle::kmc_state(*kmc);
    // The rates in place after the reset are the plain ones.
    for (long k = 0; k < kmc->graph->total_e; ++k) {
        ASSERT_NEAR(kmc->ke[k].r, velmar_oracle::kmc_rate(*kmc, plain, k), 1e-12 * kmc->ke[k].f)
            << k;
    }
    const long steps = 3000;
    velmar_random_seed(17u);
    std::vector<std::vector<char>> fast_occ;
    capture([&] {
        for (long n = 0; n < steps; ++n) {
            ASSERT_EQ(velmar_kmc_evolve(kmc.get()), 0);
            std::vector<char> occ;
            for (long i = 0; i < kmc->graph->total_v; ++i)
                occ.push_back(kmc->kv[i].occupied ? 1 : 0);
            fast_occ.push_back(occ);
        }
    });
    velmar_random_seed(17u);
    for (long n = 0; n < steps; ++n) {
        ASSERT_GE(velmar_oracle::kmc_step(*kmc, plain), 0);
        ASSERT_EQ(plain.occupied, fast_occ[n]) << "hop " << n;
    }
    EXPECT_NEAR(plain.t, kmc->t, 1e-9 * kmc->t);
    for (long i = 0; i < kmc->graph->total_v; ++i) {
        EXPECT_EQ(plain.origin[i], kmc->kv[i].origin);
        for (int r = 0; r < 3; ++r) EXPECT_EQ(plain.y_i[i][r], kmc->kv[i].y_i[r]);
    }
}

// One ion, no Coulomb partners: a random walk with six hops of a = 4 A at r = f exp(-0.1 / kT)
// each, so D = 6 r a^2 / 6. The average of 100 runs of 1,000 hops has a relative standard error of
// about 8 % (the squared displacement of a walk scatters by sqrt(2/3) of its mean); the seed is
// fixed.
TEST(Kmc, RandomWalkOfOneIonHasTheAnalyticDiffusivity) {
    velmar_test::ScratchDir dir;
    auto l = velmar_test::site_lattice(0.05, 1.0 / 512.0);
    const int s[3] = {4, 4, 4};  // 512 sites, total occupancy 1
    Kmc kmc = lattice_kmc(l, s, 0.1, 300.0, dir);
    ASSERT_NE(kmc, nullptr);
    const double rate = kmc->ke[0].f * std::exp(-0.1 / (kBoltzmann * 300.0));
    long open = 0;
    for (long k = 0; k < kmc->graph->total_e; ++k) {
        if (kmc->ke[k].r > 0.0) {
            ++open;
            EXPECT_NEAR(kmc->ke[k].r, rate, 1e-12 * rate);
        }
    }
    EXPECT_EQ(open, 6);
    kmc->step_limit = 1000;
    const int runs = 100;
    auto out = capture([&] {
        for (int run = 0; run < runs; ++run)
            ASSERT_EQ(velmar_kmc_calculate_conductivity(kmc.get()), 0);
    });
    const double expected = rate * 4.0 * 4.0;  // A^2/ps, i.e. 1e-8 m^2/s
    const double d = kmc->diffusivity[3] / runs;
    EXPECT_NEAR(d, expected, 0.15 * expected);
    for (int r = 0; r < 3; ++r)
        EXPECT_NEAR(kmc->diffusivity[r] / runs, expected / 3.0, 0.25 * expected / 3.0);
    // Nernst-Einstein, with c = 1 ion per 32768 A^3 and charge 1.
    const double mobility = d / 300.0 * 11604.52;
    EXPECT_NEAR(kmc->mobility[3] / runs, mobility, 1e-9 * mobility);
    EXPECT_NEAR(kmc->conductivity[3] / runs, mobility * kmc->graph->c * 16.0217662,
                1e-9 * mobility);
    EXPECT_NEAR(kmc->graph->c, 1.0 / 32768.0, 1e-15);
    EXPECT_NE(out.out.find("KMC: conducting species: Li1+\n"), std::string::npos);
}

// Arrhenius: 8 ions on the 512 sites of the simple cubic lattice (too dilute to meet: exclusion
// changes their diffusivity by under 1 %), no Coulomb partners, at 250, 300, 400 and 500 K. The fit
// of ln D against 1/kT gives back the lattice's barrier (0.1 eV) and prefactor a^2 f. Each
// temperature averages 25 runs of 8 walks: about 6 % on D, about 0.004 eV on the slope.
TEST(Kmc, ArrheniusFitGivesBackTheBarrierAndPrefactor) {
    velmar_test::ScratchDir dir;
    auto l = velmar_test::site_lattice(0.05, 8.0 / 512.0);
    const int s[3] = {4, 4, 4};
    Kmc kmc = lattice_kmc(l, s, 0.1, 300.0, dir);
    ASSERT_NE(kmc, nullptr);
    const double f = kmc->ke[0].f;
    kmc->step_limit = 2000;
    std::vector<double> x;
    std::vector<double> y;
    velmar_random_seed(23u);
    for (double temperature : {250.0, 300.0, 400.0, 500.0}) {
        kmc->temperature = temperature;
        for (double &d : kmc->diffusivity) d = 0.0;
        const int runs = 25;
        capture([&] {
            for (int run = 0; run < runs; ++run)
                ASSERT_EQ(velmar_kmc_calculate_conductivity(kmc.get()), 0);
        });
        x.push_back(1.0 / (kBoltzmann * temperature));
        y.push_back(std::log(kmc->diffusivity[3] / runs));
    }
    // Least squares line y = b - Ea x.
    double mx = 0.0;
    double my = 0.0;
    for (size_t i = 0; i < x.size(); ++i) {
        mx += x[i] / x.size();
        my += y[i] / y.size();
    }
    double sxy = 0.0;
    double sxx = 0.0;
    for (size_t i = 0; i < x.size(); ++i) {
        sxy += (x[i] - mx) * (y[i] - my);
        sxx += (x[i] - mx) * (x[i] - mx);
    }
    const double ea = -sxy / sxx;
    const double prefactor = std::exp(my + ea * mx);
    EXPECT_NEAR(ea, 0.1, 0.015);
    EXPECT_NEAR(prefactor, f * 16.0, 0.3 * f * 16.0);  // a^2 f, A^2/ps
}

TEST(Kmc, ABlockedLatticeReportsInsteadOfLooping) {
    velmar_test::ScratchDir dir;
    auto l = velmar_test::site_lattice(0.05, 1.0);  // every site full
    const int s[3] = {1, 1, 1};
    Kmc kmc = lattice_kmc(l, s, 3.0, 300.0, dir);
    ASSERT_NE(kmc, nullptr);
    auto out = capture([&] { EXPECT_EQ(velmar_kmc_calculate_conductivity(kmc.get()), 1); });
    EXPECT_NE(out.err.find("Error: overall rate is too small: 0.000e+00 (step 0)\n"
                           "Error: velmar_kmc_equilibrate() returns non-zero.\n"),
              std::string::npos);
    EXPECT_EQ(kmc->conductivity[3], 0.0);
    out = capture([&] { EXPECT_EQ(velmar_kmc_evolve(kmc.get()), 1); });
    EXPECT_EQ(out.err, "Error: overall rate is too small.\n");
}

// Li3N as it stands has every lithium site full: ions only visit interstitial sites and come back,
// so the conductivity is finite but may be 0. With 5 % of the 2c sites empty the vacancies carry a
// positive conductivity.
TEST(Kmc, CommandOnLithiumNitride) {
    velmar_test::ScratchDir dir;
    const std::string li3n = velmar_test::read_file(velmar_test::corpus("Li3N_P6mmm_OBELiX.cif"));
    velmar_test::write_file(dir / "Li3N.cif", li3n);
    std::string vacant = li3n;
    const std::string full_2c = "Li  Li0  2  0.33333333  0.66666667  0.00000000  1.0";
    ASSERT_NE(vacant.find(full_2c), std::string::npos);
    vacant.replace(vacant.find(full_2c), full_2c.size(),
                   full_2c.substr(0, full_2c.size() - 3) + "0.95");
    velmar_test::write_file(dir / "vacant.cif", vacant);
    auto r =
        velmar_test::run_velmar({"--gen-cube", "Li3N.cif", "Li", "1", "-1", "0.2"}, dir.path());
    ASSERT_EQ(r.err, "");
    std::filesystem::copy_file(dir / "Li3N.cif.cube", dir / "vacant.cif.cube");
    r = velmar_test::run_velmar({"--kmc", "Li3N.cif", "Li3N.cif.cube", "Li"}, dir.path());
    EXPECT_NE(r.out.find("Command: --kmc [input.cif] [input.cube] {type} {os} |"),
              std::string::npos);
    r = velmar_test::run_velmar({"--kmc", "Li3N.cif", "Li3N.cif.cube", "Li", "1", "2", "x"},
                                dir.path());
    EXPECT_EQ(r.err, "Error: wrong parameter s[1].\n");
    const auto conductivity = [&](const char *cif) {
        const std::string cube = std::string(cif) + ".cube";
        r = velmar_test::run_velmar(
            {"--kmc", cif, cube, "Li", "1", "2", "2", "2", "-1", "300", "-1", "4000"}, dir.path());
        EXPECT_EQ(r.err, "") << cif;
        EXPECT_NE(r.out.find("Message: supercell [2, 2, 2]\n"), std::string::npos);
        EXPECT_NE(r.out.find("KMC: temperature = 300.000\n"), std::string::npos);
        const size_t at = r.out.find("KMC: conductivity = ");
        return at == std::string::npos ? -1.0 : std::stod(r.out.substr(at + 20));
    };
    // Stoichiometric Li3N: every site is full and its interstitial minima are too shallow to be
    // sites, so no hop is possible; the run says why before it stops.
    r = velmar_test::run_velmar(
        {"--kmc", "Li3N.cif", "Li3N.cif.cube", "Li", "1", "2", "2", "2", "-1", "300", "-1", "4000"},
        dir.path());
    EXPECT_NE(r.out.find("Warning: no hop is possible: every site next to an ion is occupied"),
              std::string::npos);
    EXPECT_NE(r.err.find("Error: overall rate is too small: 0.000e+00 (step 0)\n"),
              std::string::npos);
    // A run that failed leaves no log that would pass for a finished one.
    for (const char *file : {"Li3N.cif.kmc.log.txt", "Li3N.cif.kmc.xyz.txt", "Li3N.cif.kmc.extxyz"})
        EXPECT_FALSE(std::filesystem::exists(dir / file)) << file;
    for (const auto &entry : std::filesystem::directory_iterator(dir.path()))
        EXPECT_EQ(entry.path().string().find(".tmp."), std::string::npos) << entry.path();
    const double with_vacancies = conductivity("vacant.cif");
    EXPECT_GT(with_vacancies, 0.0);
    EXPECT_TRUE(std::isfinite(with_vacancies));
    for (const char *file :
         {"vacant.cif.kmc.cif", "vacant.cif.kmc.init.cif", "vacant.cif.kmc.log.txt",
          "vacant.cif.kmc.xyz.txt", "vacant.cif.kmc.extxyz"}) {
        EXPECT_TRUE(std::filesystem::exists(dir / file)) << file;
    }
    const std::string log = velmar_test::read_file(dir / "vacant.cif.kmc.log.txt");
    EXPECT_EQ(log.substr(0, 38), "step,t,site0_dx,site0_dy,site0_dz,site");
    // The extended XYZ frames carry the 2 x 2 x 2 supercell of Li3N (a = 3.648 A, c = 3.875 A).
    const std::string extxyz = velmar_test::read_file(dir / "vacant.cif.kmc.extxyz");
    EXPECT_NE(extxyz.find("\nLattice=\"7.29"), std::string::npos);
    EXPECT_NE(extxyz.find(" 7.750000\" Properties=species:S:1:pos:R:3:origin:I:1 step=0 "),
              std::string::npos);
    r = velmar_test::run_velmar({"--kmc", "Li3N.cif", "missing.cube", "Li", "1"}, dir.path());
    EXPECT_NE(r.err.find("Error: velmar_cube_calculate_from_cell() returns NULL.\n"),
              std::string::npos);
    EXPECT_NE(r.err.find(
                  "Error: velmar_kmc_calculate_conductivity_from_file() returns negative value.\n"),
              std::string::npos);
}

}  // namespace
