// Relaxation helpers and steepest descent: forces against the finite-difference gradient of the
// structure's energy with fixed atoms present, the minimum image against a search over images, the
// CIF with its fixed column read back, a displaced atom returned to its site with an energy that
// never rises.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "core/velmar-la.h"
#include "core/velmar-text.h"
#include "relax/rock-salt.h"
#include "relax/velmar-rx-common.h"
#include "relax/velmar-rx-sd.h"
#include "structure/velmar-cell-geometry.h"
#include "support/support.h"

namespace {

using velmar_test::capture;
using velmar_test::Cell;
using velmar_test::rock_salt;
using velmar_test::rock_salt_table;

using Positions = std::unique_ptr<double[][3]>;

Positions positions(const VELMAR_CELL &cell) {
    Positions x(new double[cell.total][3]);
    for (int32_t a = 0; a < cell.total; ++a) velmar_vector3_double_copy(x[a], cell.atom[a].x);
    return x;
}

// The rows "step,energy,max_force" of a log after its header.
struct LogRow {
    long step;
    double energy;
    double force;
};
std::vector<LogRow> read_log(const std::string &text) {
    std::istringstream lines(text);
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, "step,energy,max_force");
    std::vector<LogRow> rows;
    while (std::getline(lines, line)) {
        LogRow r{};
        EXPECT_EQ(std::sscanf(line.c_str(), "%ld,%lf,%lf", &r.step, &r.energy, &r.force), 3)
            << line;
        rows.push_back(r);
    }
    return rows;
}

// With half the atoms fixed, the model's own energy sum counts pairs with a fixed atom once; the
// relaxation needs -dE/dx of the whole structure, which this checks (h = 1e-4 A: the central
// difference is good to about 1e-7 eV/A here, far below the 1e-5 allowed).
TEST(RxCommon, ForcesAreMinusTheGradientOfTheStructuresEnergy) {
    Cell cell = rock_salt(2, 0);
    const auto ppt = rock_salt_table(*cell);
    ASSERT_NE(ppt, nullptr);
    for (int32_t a = 0; a < cell->total; ++a) {
        cell->atom[a].ignored = a % 2 == 1;
        for (int c = 0; c < 3; ++c) cell->atom[a].x[c] += 0.08 * std::sin(1.7 * a + 2.3 * c);
    }
    velmar::rx::Evaluator model;
    ASSERT_TRUE(model.init(*cell, ppt.get()));
    Positions x = positions(*cell);
    Positions f(new double[cell->total][3]);
    double energy = 0.0;
    ASSERT_TRUE(model.evaluate(x.get(), energy, f.get()));
    double scale = 0.0;
    for (int32_t a = 0; a < cell->total; ++a) {
        if (cell->atom[a].ignored) {
            EXPECT_EQ(f[a][0] * f[a][0] + f[a][1] * f[a][1] + f[a][2] * f[a][2], 0.0) << a;
        } else {
            scale = std::max(scale, velmar_vector3_double_length(f[a]));
        }
    }
    ASSERT_GT(scale, 0.1);
    for (int32_t a : {0, 2, 8, 30}) {
        ASSERT_FALSE(cell->atom[a].ignored);
        for (int c = 0; c < 3; ++c) {
            EXPECT_NEAR(f[a][c], velmar_test::difference_force(model, x.get(), a, c), 1e-5)
                << a << " " << c;
        }
    }
}

TEST(RxCommon, MinimumImageIsTheShortestPeriodicDisplacement) {
    // A strongly oblique cell, where rounding the fractional components alone is not enough.
    Cell cell(velmar_cell_new(1));
    const double lengths[3] = {4.0, 5.0, 6.0};
    const double angles[3] = {70.0, 115.0, 50.0};
    for (int r = 0; r < 3; ++r) {
        cell->parameter[r] = lengths[r];
        cell->angle[r] = angles[r];
    }
    velmar_cell_update_lattice_cartesion(cell.get());
    for (int trial = 0; trial < 200; ++trial) {
        double d[3];
        for (int c = 0; c < 3; ++c) d[c] = 9.0 * std::sin(0.37 * trial + 1.9 * c + 0.1 * c * c);
        double best = velmar_vector3_double_length(d);
        for (int i = -8; i <= 8; ++i)
            for (int j = -8; j <= 8; ++j)
                for (int k = -8; k <= 8; ++k) {
                    double v[3];
                    for (int c = 0; c < 3; ++c)
                        v[c] = d[c] + i * cell->a[0][c] + j * cell->a[1][c] + k * cell->a[2][c];
                    best = std::min(best, velmar_vector3_double_length(v));
                }
        velmar::rx::minimum_image(d, *cell);
        EXPECT_NEAR(velmar_vector3_double_length(d), best, 1e-9) << trial;
    }
}

TEST(RxCommon, CifWithTheFixedColumnReadsBackTheSame) {
    velmar_test::ScratchDir dir;
    Cell cell = rock_salt(1, -1);
    cell->atom[2].ignored = true;
    cell->atom[5].ignored = true;
    cell->atom[0].x[0] -= 0.3;  // outside the cell: written folded back
    const std::string file = (dir / "out.cif").string();
    ASSERT_EQ(velmar::rx::export_cif(*cell, file.c_str()), 0);
    auto loaded = velmar_test::load_cif_file(file);
    ASSERT_NE(loaded.cell, nullptr);
    capture([&] { ASSERT_TRUE(velmar::rx::read_fixed(loaded.cell.get(), file.c_str())); });
    ASSERT_EQ(loaded.cell->total, cell->total);
    for (int32_t a = 0; a < cell->total; ++a) {
        EXPECT_EQ(loaded.cell->atom[a].ignored, a == 2 || a == 5) << a;
        double d[3];
        velmar_vector3_double_sum2(d, 1.0, loaded.cell->atom[a].x, -1.0, cell->atom[a].x);
        velmar::rx::minimum_image(d, *cell);
        EXPECT_LT(velmar_vector3_double_length(d), 1e-7) << a;
    }
    // Without fixed atoms there is no column, and reading it back frees every atom quietly.
    const std::string free_file = (dir / "free.cif").string();
    ASSERT_EQ(velmar::rx::export_cif(*rock_salt(1, -1), free_file.c_str()), 0);
    EXPECT_EQ(capture([&] { velmar::rx::read_fixed(cell.get(), free_file.c_str()); }).err, "");
    EXPECT_EQ(velmar::rx::movable_count(*cell), cell->total);
}

// Every rock-salt atom sits on an inversion centre, so the perfect crystal is a minimum. One Na
// displaced by 0.27 A with all others fixed must come back to its site, and with every atom free
// the energy must come back to the perfect crystal's; accepted steps never raise the energy.
TEST(RxSd, DisplacedAtomReturnsToItsSiteAndTheEnergyNeverRises) {
    Cell perfect = rock_salt(1, -1);
    const auto ppt = rock_salt_table(*perfect);
    ASSERT_NE(ppt, nullptr);
    velmar::rx::Evaluator model;
    ASSERT_TRUE(model.init(*perfect, ppt.get()));
    double e_perfect = 0.0;
    ASSERT_TRUE(model.energy(positions(*perfect).get(), e_perfect));

    for (const bool host_fixed : {true, false}) {
        Cell cell = rock_salt(1, -1);
        const double shift[3] = {0.2, -0.1, 0.15};
        velmar_vector3_double_sum2(cell->atom[0].x, 1.0, cell->atom[0].x, 1.0, shift);
        for (int32_t a = 1; a < cell->total; ++a) cell->atom[a].ignored = host_fixed;
        const auto before = positions(*cell);
        velmar::Owned<VELMAR_TEXT, velmar_text_free> log(velmar_text_new(nullptr));
        bool converged = false;
        const auto printed = capture([&] {
            ASSERT_EQ(velmar_rx_sd_relax(cell.get(), ppt.get(), 500, 1e-4, log.get(), &converged),
                      0);
        });
        EXPECT_TRUE(converged) << printed.out;
        EXPECT_EQ(printed.err, "");
        const auto rows = read_log(log->content);
        ASSERT_GE(rows.size(), 3U);
        for (size_t r = 0; r < rows.size(); ++r) {
            EXPECT_EQ(rows[r].step, static_cast<long>(r));
            if (r > 0) {
                EXPECT_LE(rows[r].energy, rows[r - 1].energy) << r;
            }
        }
        EXPECT_LE(rows.back().force, 1e-4);
        // The energy is quadratic near the minimum: a force below 1e-4 eV/A leaves it within
        // about 1e-8 eV of the perfect crystal's.
        EXPECT_NEAR(rows.back().energy, e_perfect, 1e-6) << host_fixed;
        if (host_fixed) {
            EXPECT_LT(velmar_vector3_double_length(cell->atom[0].x), 1e-4);
            for (int32_t a = 1; a < cell->total; ++a) {
                for (int c = 0; c < 3; ++c) EXPECT_EQ(cell->atom[a].x[c], before[a][c]) << a;
            }
        }
    }
}

}  // namespace
