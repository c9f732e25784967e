// LAMMPS, an independent engine, on the exported model against velmar's own total energy and
// forces: a hexagonal, an orthorhombic and a rhombohedral (hexagonal setting) structure, a P 1
// spinel with Mn3+ and Mn4+, and the last but one described by a sheared lattice, whose box LAMMPS
// takes only once its tilts are reduced. Skipped where lmp (Debian's lammps) is not installed.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "core/velmar.h"
#include "forcefield/forcefield-support.h"
#include "forcefield/velmar-lammps.h"
#include "model/velmar-total-energy.h"
#include "structure/velmar-cell-geometry.h"

namespace {

namespace fs = std::filesystem;
using velmar_test::words;

// PotEng at step 0 within 1e-4 eV per atom of velmar_cell_calculate_total_energy (the tables
// interpolate far better), every force component within 1e-3 eV/A of velmar_cell_calculate_force
// (half of -dE/dx in e^2/A^2).
TEST(Lammps, ExportedModelGivesTheTotalEnergyAndForces) {
    if (access("/usr/bin/lmp", X_OK) != 0) GTEST_SKIP() << "lmp (Debian's lammps) is missing";
    const std::pair<fs::path, bool> structures[] = {
        {velmar_test::example("Li3N.cif"), false},
        {velmar_test::example("LiFePO4.cif"), false},
        {velmar_test::corpus("LiCoO2_R-3m_VESTA.cif"), false},
        {velmar_test::corpus("LiMn2O4_spinel_P1_sci_notation_pymatgen.cif"), false},
        {velmar_test::corpus("LiCoO2_R-3m_VESTA.cif"), true}};
    for (const auto &[cif, sheared] : structures) {
        const std::string what = cif.filename().string() + (sheared ? " sheared" : "");
        const velmar_test::Model m = velmar_test::load_model(cif, "Li", 1, 0.8);
        ASSERT_NE(m.ppt, nullptr) << what;
        const VELMAR_CELL *cell = m.cell();
        velmar::Owned<VELMAR_CELL, velmar_cell_free> copy(velmar_cell_copy(cell));
        if (sheared) {  // lattice a, b + 2a, c + b + a: a on x, b in the xy plane as before
            for (int r = 0; r < 3; ++r) {
                copy->a[2][r] += copy->a[1][r] + copy->a[0][r];
                copy->a[1][r] += 2.0 * copy->a[0][r];
            }
            velmar_cell_update_fractional(copy.get());
        }
        velmar_test::ScratchDir dir;
        const std::string base = (dir / "model").string();
        velmar_test::capture([&] {
            EXPECT_EQ(velmar_lmp_export_to_files(base.c_str(), copy.get(), m.ppt.get(), 300.0, 10.0,
                                                 0.001),
                      0);
        });
        const auto r = velmar_test::run(
            "/usr/bin/lmp", "lmp", {"-in", "model.lmp.in", "-var", "steps", "0", "-log", "none"},
            dir.path());
        ASSERT_EQ(r.status, 0) << what << "\n" << r.out << r.err;
        double potential = std::nan("");
        const auto out = velmar_test::lines(r.out);
        for (size_t k = 0; k + 1 < out.size() && std::isnan(potential); ++k) {
            const auto head = words(out[k]);
            const auto column = std::find(head.begin(), head.end(), "PotEng") - head.begin();
            if (!head.empty() && head[0] == "Step" && column < std::ssize(head)) {
                potential = std::stod(words(out[k + 1]).at(column));
            }
        }
        const double energy = velmar_cell_calculate_total_energy(cell, m.ppt.get());
        EXPECT_NEAR(potential / cell->total, energy / cell->total, 1e-4) << what;

        std::vector<double> force(3 * static_cast<size_t>(cell->total));
        velmar_cell_calculate_force(reinterpret_cast<double(*)[3]>(force.data()), cell,
                                    m.ppt.get());
        const auto dump = velmar_test::lines(velmar_test::read_file(dir / "model.lmp.dump"));
        const auto header =
            std::find(dump.begin(), dump.end(), "ITEM: ATOMS id type x y z fx fy fz");
        ASSERT_EQ(dump.end() - header, cell->total + 1) << what;
        double worst = 0.0;
        for (int32_t a = 0; a < cell->total; ++a) {
            const auto atom = words(*(header + 1 + a));  // sorted by id
            for (int c = 0; c < 3; ++c) {
                const double own = force[3 * a + c] * 2.0 * VELMAR_COULOMB;
                worst = std::max(worst, std::fabs(std::stod(atom.at(5 + c)) - own));
            }
        }
        EXPECT_LT(worst, 1e-3) << what;
        std::printf("%-48s %3d atoms: PotEng %.8f, velmar %.8f eV; forces differ by %.1e eV/A\n",
                    what.c_str(), static_cast<int>(cell->total), potential, energy, worst);
    }
}

}  // namespace
