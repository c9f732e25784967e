// Molecular dynamics: neighbour-list forces against the plain image loops after the ions have moved
// and wrapped, forces against the finite-difference gradient of the energy, refusals, and the
// command. (Free Langevin diffusion against kB T / (m zeta) is a long check: long-md.cpp.)
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "core/velmar-random.h"
#include "core/velmar.h"
#include "structure/velmar-cell-geometry.h"
#include "support/oracles.h"
#include "support/support.h"
#include "transport/velmar-md-pairs.h"
#include "transport/velmar-md.h"

namespace {

using velmar_test::capture;
using Md = velmar::Owned<VELMAR_MD, velmar_md_free>;

constexpr double kBoltzmann = 8.6173324e-05;

// An MD of a corpus structure with Li+ conducting; with `only_li`, every other atom is fixed.
Md corpus_md(const char *file, bool only_li, double temperature) {
    auto loaded = velmar_test::load_cif_file(velmar_test::corpus(file));
    Md md;
    capture([&] {
        const std::string unitary = velmar_test::database("database_unitary.dat");
        const std::string binary = velmar_test::database("database_binary.dat");
        velmar::Owned<VELMAR_PROPERTY, velmar_property_free> ppt(velmar_property_import_from_cell(
            loaded.cell.get(), "Li", 1, -1.0, unitary.c_str(), binary.c_str()));
        for (int32_t a = 0; a < loaded.cell->total; ++a) {
            loaded.cell->atom[a].ignored =
                only_li && std::string(loaded.cell->atom[a].type) != "Li";
        }
        md.reset(velmar_md_new(loaded.cell.get(), ppt.get()));
        md->temperature_target = temperature;
        velmar_random_seed(3u);
        velmar_md_init_vv(md.get());
    });
    return md;
}

double largest(const double (*f)[3], int32_t n) {
    double big = 0.0;
    for (int32_t a = 0; a < n; ++a) {
        for (int c = 0; c < 3; ++c) big = std::max(big, std::fabs(f[a][c]));
    }
    return big;
}

TEST(Md, NeighbourListForcesEqualThePlainImageLoops) {
    for (const auto &[file, only_li] :
         {std::pair{"LiMn2O4_spinel_P1_sci_notation_pymatgen.cif", true},
          std::pair{"LiCoO2_R-3m_VESTA.cif", false}}) {
        Md md = corpus_md(file, only_li, 2000.0);
        ASSERT_NE(md, nullptr) << file;
        // Hot enough that atoms cross the cell's faces and the list is rebuilt.
        capture([&] {
            for (int s = 0; s < 400; ++s) ASSERT_EQ(velmar_md_update_vv_langevin(md.get()), 0);
        });
        velmar_md_calculate_force(md.get());
        const auto plain = velmar_oracle::md_forces(*md);
        const double scale = largest(md->f, md->cell->total);
        ASSERT_GT(scale, 0.1);
        double worst = 0.0;
        for (int32_t a = 0; a < md->cell->total; ++a) {
            for (int c = 0; c < 3; ++c)
                worst = std::max(worst, std::fabs(md->f[a][c] - plain[a][c]));
        }
        EXPECT_LT(worst / scale, 1e-9) << file;
    }
}

TEST(Md, ForcesAreMinusTheGradientOfTheEnergy) {
    // Every atom mobile, so that each pair's energy is counted from both ends.
    Md md = corpus_md("LiCoO2_R-3m_VESTA.cif", false, 300.0);
    ASSERT_NE(md, nullptr);
    const auto energy_at = [&](int32_t a, int c, double shift) {
        md->x[a][c] += shift;
        md->cell->atom[a].x[c] += shift;
        md->pairs->built = false;
        velmar_md_calculate_energy_potential(md.get());
        md->x[a][c] -= shift;
        md->cell->atom[a].x[c] -= shift;
        md->pairs->built = false;
        return md->en_p;
    };
    velmar_md_calculate_force(md.get());
    const double h = 1e-4;
    for (int32_t a : {0, 3, 7}) {
        for (int c = 0; c < 3; ++c) {
            const double gradient = (energy_at(a, c, h) - energy_at(a, c, -h)) / (2.0 * h);
            EXPECT_NEAR(md->f[a][c], -gradient, 1e-5 * std::max(1.0, std::fabs(gradient)))
                << a << " " << c;
        }
    }
}

TEST(Md, RefusesAStructureWithoutMobileConductingIons) {
    auto loaded = velmar_test::load_cif_file(velmar_test::corpus("Li3N_P6mmm_OBELiX.cif"));
    for (int32_t a = 0; a < loaded.cell->total; ++a) {
        loaded.cell->atom[a].ignored = std::string(loaded.cell->atom[a].type) == "Li";
    }
    Md md;
    auto out = capture([&] {
        const std::string unitary = velmar_test::database("database_unitary.dat");
        const std::string binary = velmar_test::database("database_binary.dat");
        velmar::Owned<VELMAR_PROPERTY, velmar_property_free> ppt(velmar_property_import_from_cell(
            loaded.cell.get(), "Li", 1, -1.0, unitary.c_str(), binary.c_str()));
        md.reset(velmar_md_new(loaded.cell.get(), ppt.get()));
        EXPECT_EQ(velmar_md_init_vv(md.get()), 1);
    });
    EXPECT_NE(
        out.err.find(
            "Error: no conducting ion is free to move; the CIF must leave the conducting ions "
            "free.\n"),
        std::string::npos);
}

TEST(Md, CommandMovesEveryAtomOfACifWithoutConstraints) {
    velmar_test::ScratchDir dir;
    velmar_test::write_file(dir / "Li3N.cif",
                            velmar_test::read_file(velmar_test::corpus("Li3N_P6mmm_OBELiX.cif")));
    auto r = velmar_test::run_velmar({"--md", "Li3N.cif", "Li"}, dir.path());
    EXPECT_NE(r.out.find("Command: --md [input.cif] {type} {os} | {sf}"), std::string::npos);
    r = velmar_test::run_velmar({"--md", "Li3N.cif", "Li", "1", "-1", "hot"}, dir.path());
    EXPECT_EQ(r.err, "Error: wrong parameter temperature.\n");
    r = velmar_test::run_velmar(
        {"--md", "Li3N.cif", "Li", "1", "-1", "300", "0.5", "0.1", "-1", "0.05"}, dir.path());
    EXPECT_NE(r.out.find("MD: conductivity = "), std::string::npos);
    for (const char *file :
         {"Li3N.cif.md.txt", "Li3N.cif.md.xyz", "Li3N.cif.md.trj", "Li3N.cif.md.cif"}) {
        EXPECT_TRUE(std::filesystem::exists(dir / file)) << file;
    }
    // Nitrogen moved too: its displacement column is not all zero.
    const std::string trj = velmar_test::read_file(dir / "Li3N.cif.md.trj");
    EXPECT_EQ(trj.substr(0, 10), "t, d_ave, ");
    const std::string last = trj.substr(trj.rfind('\n', trj.size() - 2) + 1);
    EXPECT_NE(last.substr(last.rfind(", ") + 2), "0.000000\n");
}

}  // namespace
