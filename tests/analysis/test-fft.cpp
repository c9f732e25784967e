// Spectral derivatives and critical points: analytic cosine fields on orthogonal cells (even and
// odd grids), the eight critical points of a three-cosine field, the list's sort, merge and cap,
// the streamed analysis the commands run against the full record, and a real landscape whose minima
// must sit on the lithium sites.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "analysis/velmar-fft.h"
#include "analysis/velmar-fftdot.h"
#include "core/velmar-la.h"
#include "core/velmar.h"
#include "landscape/velmar-cube-file.h"
#include "support/support.h"

namespace {

using velmar_test::capture;
using Fft = velmar::Owned<VELMAR_FFT, velmar_fft_free>;
using List = velmar::Owned<VELMAR_FFTDOT_LIST, velmar_fftdot_list_free>;
using Text = velmar::Owned<VELMAR_TEXT, velmar_text_free>;
using Cube = velmar::Owned<VELMAR_CUBE, velmar_cube_free>;

constexpr double kTau = 2.0 * M_PI;
const double kLengths[3] = {4.0, 5.0, 6.0};

// cos(2 pi x) + 0.8 cos(2 pi y) + 0.6 cos(2 pi z): unequal amplitudes, so no two neighbours tie.
double three_cosines(double x, double y, double z) {
    return std::cos(kTau * x) + 0.8 * std::cos(kTau * y) + 0.6 * std::cos(kTau * z);
}

Fft fft_of(const VELMAR_CUBE *cube) {
    Fft fft;
    capture([&] { fft.reset(velmar_fft_new_from_cube(cube)); });
    return fft;
}

List critical_points(const VELMAR_FFT *fft) {
    List list;
    capture([&] { list.reset(velmar_fftdot_list_new_from_fft(fft)); });
    return list;
}

TEST(Fft, DerivativesOfCosineFieldsAreTheAnalyticOnes) {
    // A mixed term gives the off-diagonal second derivatives something to find. The factors use
    // 2 pi to eight digits, so agreement is to about 1e-8 relative.
    const auto field = [](double x, double y, double z) {
        return three_cosines(x, y, z) + 0.3 * std::sin(kTau * x) * std::sin(kTau * z);
    };
    const int32_t grids[2][3] = {{16, 20, 24}, {15, 17, 19}};
    for (const auto &n : grids) {
        auto cube = velmar_test::fractional_cube(n, kLengths, field);
        Fft fft = fft_of(cube.get());
        ASSERT_NE(fft, nullptr);
        const double w[3] = {kTau / kLengths[0], kTau / kLengths[1], kTau / kLengths[2]};
        double worst = 0.0;
        for (int i = 0; i < n[0]; ++i) {
            for (int j = 0; j < n[1]; ++j) {
                for (int k = 0; k < n[2]; ++k) {
                    const double x = kTau * i / n[0], y = kTau * j / n[1], z = kTau * k / n[2];
                    const double f[3] = {
                        -w[0] * std::sin(x) + 0.3 * w[0] * std::cos(x) * std::sin(z),
                        -0.8 * w[1] * std::sin(y),
                        -0.6 * w[2] * std::sin(z) + 0.3 * w[2] * std::sin(x) * std::cos(z)};
                    const double xz = 0.3 * w[0] * w[2] * std::cos(x) * std::cos(z);
                    const double kk[3][3] = {
                        {-w[0] * w[0] * (std::cos(x) + 0.3 * std::sin(x) * std::sin(z)), 0.0, xz},
                        {0.0, -0.8 * w[1] * w[1] * std::cos(y), 0.0},
                        {xz, 0.0,
                         -w[2] * w[2] * (0.6 * std::cos(z) + 0.3 * std::sin(x) * std::sin(z))}};
                    const int64_t v = (int64_t(i) * n[1] + j) * n[2] + k;
                    for (int r = 0; r < 3; ++r) {
                        worst = std::max(worst, std::abs(fft->f[r]->value[v][0] - f[r]));
                        worst = std::max(worst, std::abs(fft->f[r]->value[v][1]));
                        for (int s = 0; s < 3; ++s) {
                            worst = std::max(worst, std::abs(fft->k[r][s]->value[v][0] - kk[r][s]));
                        }
                    }
                }
            }
        }
        EXPECT_LT(worst, 1e-7) << n[0] << "x" << n[1] << "x" << n[2];

        // Derived fields at one voxel: slope |f|, the sum of squared k_rr, the determinant.
        const int64_t v = 3 * n[1] * n[2] + 5 * n[2] + 7;
        velmar::Owned<VELMAR_FFTCUBE, velmar_fftcube_free> slope(velmar_fft_slope(fft.get()));
        velmar::Owned<VELMAR_FFTCUBE, velmar_fftcube_free> lap(velmar_fft_laplacian(fft.get()));
        velmar::Owned<VELMAR_FFTCUBE, velmar_fftcube_free> det(velmar_fft_discriminant(fft.get()));
        double g[3];
        double k[3][3];
        for (int r = 0; r < 3; ++r) {
            g[r] = fft->f[r]->value[v][0];
            for (int s = 0; s < 3; ++s) k[r][s] = fft->k[r][s]->value[v][0];
        }
        EXPECT_NEAR(slope->value[v][0], velmar_vector3_double_length(g), 1e-14);
        EXPECT_NEAR(lap->value[v][0], k[0][0] * k[0][0] + k[1][1] * k[1][1] + k[2][2] * k[2][2],
                    1e-12);
        const double expected_det = k[0][0] * (k[1][1] * k[2][2] - k[1][2] * k[2][1]) -
                                    k[0][1] * (k[1][0] * k[2][2] - k[1][2] * k[2][0]) +
                                    k[0][2] * (k[1][0] * k[2][1] - k[1][1] * k[2][0]);
        EXPECT_NEAR(det->value[v][0], expected_det, 1e-10);
    }
}

// The factor a single coefficient at wave index m along axis 0 receives: the Nyquist term (m = n/2,
// n even) is dropped for first and mixed derivatives and kept for pure second ones; for odd n the
// first derivative counts m = n/2 as negative, the second-order ones as positive.
TEST(Fft, DerivativeFactorsFollowTheNyquistRules) {
    const auto factor = [](int32_t n, int m, int order, const int *sub) {
        velmar::Owned<VELMAR_FFTCUBE, velmar_fftcube_free> c(velmar_fftcube_new(n, 1, 3));
        c->a[0][0] = 2.0;
        c->a[1][1] = 1.0;
        c->a[2][2] = 1.0;
        c->value[m * 3 + 1][0] = 1.0;  // (m, 0, 1): wave index 1 along axis 2 for the mixed case
        velmar::Owned<VELMAR_FFTCUBE, velmar_fftcube_free> d(
            velmar_fftcube_differentiate_dft(c.get(), order, sub));
        return std::pair{d->value[m * 3 + 1][0], d->value[m * 3 + 1][1]};
    };
    const double w = 6.2831853 / 2.0;  // 2 pi / L along axis 0
    const int first[1] = {0};
    const int pure[2] = {0, 0};
    const int mixed[2] = {0, 2};
    EXPECT_EQ(factor(4, 2, 1, first), std::pair(0.0, 0.0));
    EXPECT_EQ(factor(5, 2, 1, first), std::pair(0.0, -3.0 * w));
    EXPECT_EQ(factor(4, 1, 1, first), std::pair(0.0, 1.0 * w));
    EXPECT_EQ(factor(4, 3, 1, first), std::pair(0.0, -1.0 * w));
    EXPECT_DOUBLE_EQ(factor(4, 2, 2, pure).first, -(2.0 * w) * (2.0 * w));
    EXPECT_DOUBLE_EQ(factor(5, 2, 2, pure).first, -(2.0 * w) * (2.0 * w));
    EXPECT_DOUBLE_EQ(factor(5, 3, 2, pure).first, -(2.0 * w) * (2.0 * w));  // m' = 3 - 5
    EXPECT_EQ(factor(4, 2, 2, mixed).first, 0.0);
    EXPECT_DOUBLE_EQ(factor(5, 2, 2, mixed).first,
                     -(2.0 * w) * 6.2831853);  // m' = +2, then 2 pi / 1
    auto out =
        capture([&] { EXPECT_EQ(velmar_fftcube_differentiate_dft(nullptr, 1, first), nullptr); });
    EXPECT_EQ(out.err, "Error: VELMAR_FFTCUBE has not been properly initialized.\n");
}

TEST(Fft, ThreeCosinesHaveEightCriticalPointsAtTheRightVoxels) {
    const int32_t n[3] = {16, 20, 24};
    auto cube = velmar_test::fractional_cube(n, kLengths, three_cosines);
    List list = critical_points(fft_of(cube.get()).get());
    ASSERT_NE(list, nullptr);
    struct Expected {
        fftdot_type type;
        int32_t x_i[3];
        double en;
    };
    // Sorted by type, then energy.
    const Expected expected[8] = {{FFT_MIN, {8, 10, 12}, -2.4}, {FFT_SD1, {8, 10, 0}, -1.2},
                                  {FFT_SD1, {8, 0, 12}, -0.8},  {FFT_SD1, {0, 10, 12}, -0.4},
                                  {FFT_SD2, {8, 0, 0}, 0.4},    {FFT_SD2, {0, 10, 0}, 0.8},
                                  {FFT_SD2, {0, 0, 12}, 1.2},   {FFT_MAX, {0, 0, 0}, 2.4}};
    ASSERT_EQ(list->total, 8);
    for (int d = 0; d < 8; ++d) {
        const VELMAR_FFTDOT &dot = list->dot[d];
        EXPECT_EQ(dot.type, expected[d].type) << d;
        EXPECT_EQ(dot.x_i[0], expected[d].x_i[0]) << d;
        EXPECT_EQ(dot.x_i[1], expected[d].x_i[1]) << d;
        EXPECT_EQ(dot.x_i[2], expected[d].x_i[2]) << d;
        EXPECT_NEAR(dot.en, expected[d].en, 1e-12) << d;
        EXPECT_NEAR(dot.x[0], dot.x_i[0] * kLengths[0] / n[0], 1e-12);
    }
    // Curvatures at the minimum: (2 pi / L)^2 times the amplitudes, ascending.
    EXPECT_NEAR(list->dot[0].eig[0], 0.6 * std::pow(kTau / 6.0, 2), 1e-6);
    EXPECT_NEAR(list->dot[0].eig[2], std::pow(kTau / 4.0, 2), 1e-6);

    // The cap keeps what lies within it of the lowest point, a boundary point included.
    EXPECT_EQ(velmar_fftdot_list_filter(list.get(), 1.2 + 1e-9), 0);
    EXPECT_EQ(list->total, 2);

    // The marker atoms and the table.
    List full = critical_points(fft_of(cube.get()).get());
    velmar::Owned<VELMAR_CELL, velmar_cell_free> cell(
        velmar_fftdot_list_export_to_cell(full.get()));
    ASSERT_EQ(cell->total, 8);
    const char *names[8] = {"MIN", "SD1", "SD1", "SD1", "SD2", "SD2", "SD2", "MAX"};
    const char *types[8] = {"Li", "Na", "Na", "Na", "K", "K", "K", "Rb"};
    for (int d = 0; d < 8; ++d) {
        EXPECT_STREQ(cell->atom[d].name, names[d]);
        EXPECT_STREQ(cell->atom[d].type, types[d]);
    }
    EXPECT_NEAR(cell->atom[0].x_f[0], 0.5, 1e-12);
    Text text(velmar_fftdot_list_export_to_text(full.get()));
    const std::string table = text->content;
    EXPECT_EQ(
        table.substr(0, table.find("\r\n", 36) + 2),
        "# energy unit: eV; length unit: A\r\n"
        "   no,     x,     y,     z,    xi,    yi,    zi,       en,    eig_1,    eig_2,    "
        "eig_3,   eiv_11,   eiv_12,   eiv_13,   eiv_21,   eiv_22,   eiv_23,   eiv_31,   eiv_32,  "
        " eiv_33,      |f|,      f_x,      f_y,      f_z,     k_xx,     k_xy,     k_xz,     "
        "k_yx,     k_yy,     k_yz,     k_zx,     k_zy,     k_zz\r\n");
    EXPECT_NE(table.find("\r\n    1, 2.000, 2.500, 3.000,     8,    10,    12, -2.40000,"),
              std::string::npos);
    EXPECT_NE(table.find("\r\n    8, 0.000, 0.000, 0.000,     0,     0,     0,  2.40000,"),
              std::string::npos);
}

VELMAR_FFTDOT dot_at(fftdot_type type, int32_t i, int32_t j, int32_t k, double en) {
    VELMAR_FFTDOT dot{};
    dot.type = type;
    dot.x_i[0] = i;
    dot.x_i[1] = j;
    dot.x_i[2] = k;
    dot.en = en;
    return dot;
}

// A list of the given dots on a 9^3 grid.
List list_of(const std::vector<VELMAR_FFTDOT> &dots) {
    List list(velmar_fftdot_list_new());
    list->dot = static_cast<VELMAR_FFTDOT *>(std::malloc(sizeof(VELMAR_FFTDOT) * dots.size()));
    std::copy(dots.begin(), dots.end(), list->dot);
    list->total = static_cast<int32_t>(dots.size());
    list->n[0] = list->n[1] = list->n[2] = 9;
    return list;
}

TEST(FftDotList, SortMergesDiagonalNeighboursOnlyAndCaps) {
    // Diagonal minima merge, the one nearer the cell's boundary going; face and edge neighbours
    // stay, as do diagonal neighbours of different types; across the periodic boundary counts.
    List list = list_of({dot_at(FFT_SD1, 5, 5, 5, 0.5), dot_at(FFT_MIN, 2, 6, 6, 0.1),
                         dot_at(FFT_MIN, 1, 5, 5, 0.0), dot_at(FFT_MIN, 5, 2, 2, 0.3),
                         dot_at(FFT_MIN, 5, 2, 3, 0.3), dot_at(FFT_MIN, 5, 3, 3, 0.4),
                         dot_at(FFT_MIN, 0, 0, 0, 0.6), dot_at(FFT_MIN, 8, 8, 8, 0.7),
                         dot_at(FFT_SD1, 4, 4, 4, 0.55)});
    ASSERT_EQ(velmar_fftdot_list_merge_near(list.get()), 0);
    std::vector<std::string> left;
    for (int32_t d = 0; d < list->total; ++d) {
        const VELMAR_FFTDOT &dot = list->dot[d];
        left.push_back(std::to_string(dot.type) + ":" + std::to_string(dot.x_i[0]) +
                       std::to_string(dot.x_i[1]) + std::to_string(dot.x_i[2]));
    }
    // (1,5,5) has the smaller margin on axis 0 and gives way to (2,6,6); (0,0,0) to (8,8,8); the
    // two first-order saddles tie on every margin and the later one goes.
    EXPECT_EQ(left,
              (std::vector<std::string>{"2:266", "2:522", "2:523", "2:533", "2:888", "3:555"}));

    // The cap keeps the points up to the lowest plus the cap.
    ASSERT_EQ(velmar_fftdot_list_filter(list.get(), 0.2), 0);
    EXPECT_EQ(list->total, 3);
}

TEST(Fft, AConstantLandscapeHasNoListedCriticalPoints) {
    const int32_t n[3] = {6, 6, 6};
    auto cube =
        velmar_test::fractional_cube(n, kLengths, [](double, double, double) { return 1.5; });
    Fft fft = fft_of(cube.get());
    VELMAR_FFTDOT dot{};
    const long x[3] = {-1, 7, 3};  // folded into the grid
    ASSERT_EQ(velmar_fftdot_read_from_fft(&dot, fft.get(), x), 0);
    EXPECT_EQ(dot.type, FFT_ERR);
    EXPECT_EQ(dot.x_i[0], 5);
    EXPECT_EQ(dot.x_i[1], 1);
    List list;
    auto out = capture([&] { list.reset(velmar_fftdot_list_new_from_fft(fft.get())); });
    EXPECT_EQ(list->total, 0);
    EXPECT_EQ(out.out, "Message: found 0 critical points via fft method.\n");
}

// The commands' analysis computes one derivative at a time; its files must be byte for byte those
// of the full record.
TEST(Fft, StreamedAnalysisWritesWhatTheFullRecordGives) {
    auto l = velmar_test::landscape("LiCoO2_R-3m_VESTA.cif", 0.3, true);
    ASSERT_NE(l.cube, nullptr);
    const VELMAR_CUBE *cube = l.cube.get();
    velmar_test::ScratchDir dir;
    const std::string base = (dir / "lco").string();
    auto out = capture([&] {
        EXPECT_EQ(velmar_fft_analyze_export_to_file(cube, -0.1, base.c_str()), 0);
        EXPECT_EQ(velmar_fft_analyze_export_cubes_to_file(cube, base.c_str()), 0);
    });
    EXPECT_EQ(out.err, "");
    Fft fft = fft_of(cube);
    List list;
    auto listed = capture([&] { list.reset(velmar_fftdot_list_new_from_fft(fft.get())); });
    ASSERT_NE(list, nullptr) << listed.err;
    ASSERT_GT(list->total, 10);
    Text text(velmar_fftdot_list_export_to_text(list.get()));
    EXPECT_EQ(velmar_test::read_file(base + ".fft.txt"), text->content);
    EXPECT_NE(out.out.find("Message: found " + std::to_string(list->total) + " critical points"),
              std::string::npos);

    const auto written = [&](const VELMAR_FFTCUBE *c, const std::string &name) {
        const std::string file = (dir / ("ref." + name)).string();
        Cube real(velmar_cube_new_from_fftcube(c, FFTCUBE_REAL));
        capture(
            [&] { velmar_cube_export_to_file(real.get(), nullptr, nullptr, file.c_str(), true); });
        EXPECT_EQ(velmar_test::read_file(base + ".fft." + name), velmar_test::read_file(file))
            << name;
    };
    written(fft->f[1], "f1.cube");
    written(fft->k[0][2], "k02.cube");
    written(fft->k[2][2], "k22.cube");
    velmar::Owned<VELMAR_FFTCUBE, velmar_fftcube_free> lap(velmar_fft_laplacian(fft.get()));
    velmar::Owned<VELMAR_FFTCUBE, velmar_fftcube_free> slope(velmar_fft_slope(fft.get()));
    written(lap.get(), "laplacian.cube");
    written(slope.get(), "slope.cube");
}

// Minima of a real landscape sit on the sites of the conducting ion (Li3N: 1b and 2c).
TEST(Fft, MinimaOfALithiumLandscapeSitOnTheLithiumSites) {
    auto l = velmar_test::landscape("Li3N_P6mmm_OBELiX.cif", 0.1, true);
    List list = critical_points(fft_of(l.cube.get()).get());
    ASSERT_NE(list, nullptr);
    const double sites[3][3] = {{0.0, 0.0, 0.5}, {1.0 / 3, 2.0 / 3, 0.0}, {2.0 / 3, 1.0 / 3, 0.0}};
    for (const auto &site : sites) {
        bool found = false;
        for (int32_t d = 0; d < list->total && list->dot[d].type == FFT_MIN; ++d) {
            bool here = true;
            for (int r = 0; r < 3; ++r) {
                const double step = 1.0 / list->n[r];
                const double diff = std::remainder(list->dot[d].x_i[r] * step - site[r], 1.0);
                here = here && std::abs(diff) <= 0.5 * step + 1e-9;
            }
            found = found || here;
        }
        EXPECT_TRUE(found) << site[0] << " " << site[1] << " " << site[2];
    }
}

TEST(Fft, CommandsRefuseBadArgumentsAndBadCubes) {
    velmar_test::ScratchDir dir;
    auto r = velmar_test::run_velmar({"--fft", "missing.cube"}, dir.path());
    EXPECT_EQ(r.err.substr(r.err.rfind("Error:")),
              "Error: velmar_cube_import_from_file() returns non-zero.\n");
    const int32_t n[3] = {4, 4, 4};
    auto cube = velmar_test::fractional_cube(n, kLengths, three_cosines);
    const std::string file = (dir / "c.cube").string();
    capture([&] { velmar_cube_export_to_file(cube.get(), nullptr, nullptr, file.c_str(), true); });
    r = velmar_test::run_velmar({"--fft", "c.cube", "x1"}, dir.path());
    EXPECT_EQ(r.err, "Error: wrong parameter cap.\n");
    EXPECT_FALSE(std::filesystem::exists(dir / "c.cube.fft.cif"));
    // A cube cut short in its values.
    const std::string whole = velmar_test::read_file(file);
    velmar_test::write_file(dir / "cut.cube", whole.substr(0, whole.size() - 40));
    r = velmar_test::run_velmar({"--fft-cubes", "cut.cube"}, dir.path());
    EXPECT_NE(r.err.find("Error: velmar_cube_import_from_file() returns non-zero.\n"),
              std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(dir / "cut.cube.fft.f0.cube"));
    r = velmar_test::run_velmar({"--fft", "c.cube", "0", "true", "out"}, dir.path());
    EXPECT_EQ(r.err, "");
    EXPECT_TRUE(std::filesystem::exists(dir / "out.fft.cif"));
    EXPECT_TRUE(std::filesystem::exists(dir / "out.fft.txt"));
}

}  // namespace
