// Energy model: pair functions against their closed forms, the binned pair sums against the plain
// triple loop, forces against the finite-difference gradient of the energy, invariance under a
// translation of all atoms, and independence from the number of threads.
#include "model/velmar-total-energy.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <string>
#include <vector>

#include "core/velmar.h"
#include "model/velmar-energy.h"
#include "structure/velmar-cell-geometry.h"
#include "support/oracles.h"
#include "support/support.h"

namespace {

using velmar_test::capture;
using velmar_test::corpus;
using velmar_test::database;
using Table = velmar::Owned<VELMAR_PROPERTY, velmar_property_free>;

struct System {
    velmar_test::Loaded loaded;
    Table ppt;
};

System system(const char *file) {
    System s;
    s.loaded = velmar_test::load_cif_file(corpus(file));
    const std::string unitary = database("database_unitary.dat");
    const std::string binary = database("database_binary.dat");
    capture([&] {
        s.ppt.reset(velmar_property_import_from_cell(s.loaded.cell.get(), nullptr, 0, 0.7,
                                                     unitary.c_str(), binary.c_str()));
    });
    return s;
}

const char *const kFiles[] = {"Li3N_P6mmm_OBELiX.cif", "Li6PS5Cl_argyrodite_partial_OBELiX.cif",
                              "LLZO_ordered_P1_oxnum_pymatgen.cif", "LiCoO2_R-3m_VESTA.cif"};

TEST(PairFunctions, ClosedFormsAndDerivatives) {
    // The Morse well: minimum -d0/2 at rmin, zero crossing where e = 2.
    EXPECT_DOUBLE_EQ(velmar_energy_bonding(2.0, 0.8, 2.0, 0.4), -0.4);
    EXPECT_NEAR(velmar_energy_bonding(2.0 - 0.4 * std::log(2.0), 0.8, 2.0, 0.4), 0.0, 1e-15);
    EXPECT_DOUBLE_EQ(
        velmar_energy_bonding_with_energy_shift_and_force_shift(3, 0.8, 2, 0.4, 0.1, 0.2, 5),
        velmar_energy_bonding(3, 0.8, 2, 0.4) - 0.1 + 0.4);
    EXPECT_EQ(velmar_energy_coulombic(10.0, 1.7, 2.3), 0.0);  // shifted to zero at 10 A
    EXPECT_EQ(velmar_pseudopotential_energy_bonding(2.0, 0.5, 0.25, 1.0), 3.5);
    const double h = 1e-6;
    for (double x : {1.5, 2.2, 4.0, 7.5}) {
        const double bond = (velmar_energy_bonding(x + h, 0.9, 2.1, 0.37) -
                             velmar_energy_bonding(x - h, 0.9, 2.1, 0.37)) /
                            (2 * h);
        EXPECT_NEAR(velmar_force_bonding(x, 0.9, 2.1, 0.37), bond, 1e-8);
        const double coulomb =
            (velmar_energy_coulombic(x + h, 0.8, 1.4) - velmar_energy_coulombic(x - h, 0.8, 1.4)) /
            (2 * h);
        EXPECT_NEAR(velmar_force_coulombic(x, 0.8, 1.4), coulomb, 1e-8);
    }
}

TEST(TotalEnergy, BinnedSumsEqualThePlainLoop) {
    for (const char *file : kFiles) {
        System s = system(file);
        ASSERT_NE(s.ppt, nullptr) << file;
        VELMAR_CELL *cell = s.loaded.cell.get();
        // Some atoms ignored, as the relaxation and dynamics commands do.
        for (int32_t a = 0; a < cell->total; a += 3) cell->atom[a].ignored = true;
        for (bool both_free : {false, true}) {
            const double expected = velmar_oracle::total_energy(*cell, *s.ppt, both_free);
            const double got =
                both_free ? velmar_cell_calculate_total_energy_unconstrained_part(cell, s.ppt.get())
                          : velmar_cell_calculate_total_energy(cell, s.ppt.get());
            EXPECT_NEAR(got, expected, 1e-9 * std::fabs(expected)) << file;
        }
    }
}

TEST(TotalEnergy, TranslationInvarianceAndThreadCount) {
    System s = system("LLZO_ordered_P1_oxnum_pymatgen.cif");
    VELMAR_CELL *cell = s.loaded.cell.get();
    const double energy = velmar_cell_calculate_total_energy(cell, s.ppt.get());
    EXPECT_LT(energy, 0.0);
    omp_set_num_threads(1);
    EXPECT_EQ(velmar_cell_calculate_total_energy(cell, s.ppt.get()), energy);
    std::vector<double> one(3 * static_cast<size_t>(cell->total));
    std::vector<double> two(one.size());
    velmar_cell_calculate_force(reinterpret_cast<double(*)[3]>(one.data()), cell, s.ppt.get());
    omp_set_num_threads(2);
    velmar_cell_calculate_force(reinterpret_cast<double(*)[3]>(two.data()), cell, s.ppt.get());
    EXPECT_EQ(one, two);
    for (int32_t a = 0; a < cell->total; ++a) {
        cell->atom[a].x[0] += 0.731;
        cell->atom[a].x[1] -= 1.9;
        cell->atom[a].x[2] += 0.05;
    }
    EXPECT_NEAR(velmar_cell_calculate_total_energy(cell, s.ppt.get()), energy,
                1e-10 * std::fabs(energy));
}

// force = half of -dE/dx in e^2/A^2, E in eV: force = -0.5 / 14.39964 dE/dx.
TEST(Forces, AreTheScaledGradientOfTheEnergy) {
    for (const char *file : {"Li3N_P6mmm_OBELiX.cif", "LiCoO2_R-3m_VESTA.cif"}) {
        System s = system(file);
        VELMAR_CELL *cell = s.loaded.cell.get();
        std::vector<double> flat(3 * static_cast<size_t>(cell->total));
        auto *force = reinterpret_cast<double(*)[3]>(flat.data());
        // Move atoms off their symmetric positions so that the forces are not zero.
        for (int32_t a = 0; a < cell->total; ++a) {
            for (int r = 0; r < 3; ++r) cell->atom[a].x[r] += 0.05 * std::sin(3.0 * a + r);
        }
        ASSERT_EQ(velmar_cell_calculate_force(force, cell, s.ppt.get()), 0);
        const double h = 1e-5;
        for (int32_t a = 0; a < cell->total; ++a) {
            for (int r = 0; r < 3; ++r) {
                const double x0 = cell->atom[a].x[r];
                cell->atom[a].x[r] = x0 + h;
                const double plus = velmar_cell_calculate_total_energy(cell, s.ppt.get());
                cell->atom[a].x[r] = x0 - h;
                const double minus = velmar_cell_calculate_total_energy(cell, s.ppt.get());
                cell->atom[a].x[r] = x0;
                const double expected = -0.5 / VELMAR_COULOMB * (plus - minus) / (2 * h);
                EXPECT_NEAR(force[a][r], expected, 1e-6 + 1e-5 * std::fabs(expected))
                    << file << " atom " << a << " axis " << r;
            }
        }
        // The steepest-descent step is force / mass, scaled so that no atom moves over 0.1 A.
        std::vector<double> steps(flat.size());
        auto *step = reinterpret_cast<double(*)[3]>(steps.data());
        ASSERT_EQ(velmar_cell_calculate_coordinate_step_size_simple(step, cell, s.ppt.get(), force),
                  0);
        const double m =
            s.ppt
                ->uni[velmar_property_find_index(s.ppt.get(), cell->atom[0].type, cell->atom[0].os)]
                .m;
        EXPECT_DOUBLE_EQ(step[0][1], force[0][1] / m);
        for (double &f : flat) f *= 1e4;
        ASSERT_EQ(velmar_cell_calculate_coordinate_step_size_simple(step, cell, s.ppt.get(), force),
                  0);
        double longest = 0.0;
        for (int32_t a = 0; a < cell->total; ++a) {
            longest = std::max(longest, std::hypot(step[a][0], step[a][1], step[a][2]));
        }
        EXPECT_NEAR(longest, 0.1, 1e-12);
    }
}

// Stress against the analytic strain derivative of the pair sum (the finite difference agrees to
// the kinks of pairs crossing their cut-off within the small strain).
TEST(Stress, MatchesTheAnalyticStrainDerivative) {
    System s = system("LiCoO2_R-3m_VESTA.cif");
    const VELMAR_CELL *cell = s.loaded.cell.get();
    double diagonal[3];
    double shear[3];
    ASSERT_EQ(velmar_cell_calculate_stress_diagonal(diagonal, cell, s.ppt.get()), 0);
    ASSERT_EQ(velmar_cell_calculate_stress_shear(shear, cell, s.ppt.get()), 0);
    const double volume = velmar_cell_calculate_volume(cell);
    const int elements[6][2] = {{0, 0}, {1, 1}, {2, 2}, {1, 2}, {0, 2}, {0, 1}};
    for (int e = 0; e < 6; ++e) {
        const double expected =
            velmar_oracle::strain_derivative(*cell, *s.ppt, elements[e][0], elements[e][1]) /
            volume;
        const double got = e < 3 ? diagonal[e] : shear[e - 3];
        EXPECT_NEAR(got, expected, 1e-3 * std::fabs(diagonal[0])) << "element " << e;
    }
}

}  // namespace
