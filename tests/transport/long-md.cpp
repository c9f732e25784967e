// Molecular dynamics, long check: free Langevin diffusion against kB T / (m zeta), the thermostat
// and the initial momentum.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>

#include "core/velmar-random.h"
#include "core/velmar.h"
#include "structure/velmar-cell-geometry.h"
#include "support/support.h"
#include "transport/velmar-md.h"

namespace {

using velmar_test::capture;
using Md = velmar::Owned<VELMAR_MD, velmar_md_free>;

constexpr double kBoltzmann = 8.6173324e-05;

// 216 uncharged Li+ ions 10 A apart: nothing pulls on them, and the Langevin dynamics is Brownian
// motion with D = kB T / (m zeta) at long times: the mean square displacement is 6 D (t - 1/zeta),
// so the estimate over 10 ps sits 5 % low. The displacement of 216 ions scatters by about 6 %; the
// seed is fixed.
TEST(Md, FreeIonsDiffuseAtTheStokesEinsteinRateAndKeepTheTargetTemperature) {
    velmar::Owned<VELMAR_CELL, velmar_cell_free> cell(velmar_cell_new(216));
    for (int r = 0; r < 3; ++r) cell->a[r][r] = 60.0;
    for (int a = 0; a < 216; ++a) {
        VELMAR_ATOM &atom = cell->atom[a];
        std::snprintf(atom.name, sizeof atom.name, "Li%d", a);
        std::snprintf(atom.type, sizeof atom.type, "Li");
        atom.os = 1;
        atom.occ = 1.0;
        atom.x[0] = 10.0 * (a % 6);
        atom.x[1] = 10.0 * ((a / 6) % 6);
        atom.x[2] = 10.0 * (a / 36);
    }
    velmar_cell_update_fractional(cell.get());
    velmar::Owned<VELMAR_PROPERTY, velmar_property_free> ppt(velmar_property_new(1));
    std::snprintf(ppt->type[0], 3, "Li");
    ppt->os[0] = 1;
    std::snprintf(ppt->uni[0].type, 3, "Li");
    ppt->uni[0].os = 1;
    ppt->uni[0].m = 6.941;
    ppt->uni[0].rc = 1.0;
    ppt->uni[0].q = 0.0;
    ppt->sf = 1.0;
    ppt->conducting = 0;
    Md md(velmar_md_new(cell.get(), ppt.get()));
    ASSERT_NE(md, nullptr);
    md->temperature_target = 300.0;
    md->dt = 0.002;
    md->t_equil = 1.0;
    md->t_end = 10.0;
    md->t_log = 0.1;
    velmar_random_seed(7u);
    ASSERT_EQ(velmar_md_init_vv(md.get()), 0);
    double momentum[3] = {0.0, 0.0, 0.0};
    double scale = 0.0;
    for (int a = 0; a < 216; ++a) {
        for (int c = 0; c < 3; ++c) {
            momentum[c] += md->m[a] * md->v[a][c];
            scale += md->m[a] * std::fabs(md->v[a][c]);
        }
    }
    for (double p : momentum) EXPECT_LT(std::fabs(p), 1e-12 * scale);
    EXPECT_EQ(md->step_log, 50);
    auto out = capture([&] {
        ASSERT_EQ(velmar_md_equilibrate(md.get()), 0);
        ASSERT_EQ(velmar_md_run(md.get()), 0);
    });
    EXPECT_NE(
        out.out.find("MD: production phase\nMD: target  : --------------------\nMD: progress: "
                     "********************\n"),
        std::string::npos);
    const double expected = kBoltzmann * 300.0 / (6.941 * 0.000103642699 * 2.0);
    EXPECT_NEAR(md->diffusivity, 0.95 * expected, 0.2 * expected);
    EXPECT_NEAR(md->temperature_ave, 300.0, 15.0);
    EXPECT_NEAR(md->mobility, md->diffusivity / md->temperature_ave * 11604.52,
                1e-9 * md->mobility);
}

}  // namespace
