// Flow-path maps: the three-cosine field (one minimum, three first-order saddles with two half
// paths each and analytic barriers), a saddle with three falling regions, plateaus, the filter, the
// step limit of a descent, a real landscape and the command's refusals.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <map>
#include <string>

#include "analysis/velmar-fpcube.h"
#include "core/velmar.h"
#include "landscape/velmar-cube-file.h"
#include "structure/velmar-cif-writer.h"
#include "support/oracle-fpmap.h"
#include "support/support.h"

namespace {

using velmar_test::capture;
using FpCube = velmar::Owned<VELMAR_FPCUBE, velmar_fpcube_free>;
using Halves = velmar::Owned<VELMAR_FPHALF_LIST, velmar_fphalf_list_free>;
using Cell = velmar::Owned<VELMAR_CELL, velmar_cell_free>;

constexpr double kTau = 2.0 * M_PI;
const double kLengths[3] = {4.0, 5.0, 6.0};

double three_cosines(double x, double y, double z) {
    return std::cos(kTau * x) + 0.8 * std::cos(kTau * y) + 0.6 * std::cos(kTau * z);
}

FpCube map_of(const VELMAR_CUBE *cube) {
    FpCube fpcube;
    capture([&] { fpcube.reset(velmar_fpcube_new_from_cube(cube)); });
    return fpcube;
}

std::map<std::string, int> names_in(const VELMAR_CELL *cell) {
    std::map<std::string, int> count;
    for (long a = 0; a < cell->total; ++a) ++count[cell->atom[a].name];
    return count;
}

TEST(FpCube, ThreeCosinesGiveOneMinimumAndThreeSaddlesWithAnalyticBarriers) {
    const int32_t n[3] = {16, 20, 24};
    auto cube = velmar_test::fractional_cube(n, kLengths, three_cosines);
    FpCube fpcube = map_of(cube.get());
    ASSERT_NE(fpcube, nullptr);
    int minima = 0;
    int saddles = 0;
    for (int64_t v = 0; v < int64_t(n[0]) * n[1] * n[2]; ++v) {
        const VELMAR_FPDOT &dot = fpcube->dot[v];
        minima += dot.type == FP_MIN;
        saddles += dot.type == FP_SAD;
        if (dot.type == FP_SAD) {
            EXPECT_EQ(dot.total_dn, 2);
        }
    }
    EXPECT_EQ(minima, 1);
    EXPECT_EQ(saddles, 3);
    const int64_t minimum = (8 * n[1] + 10) * n[2] + 12;
    EXPECT_EQ(fpcube->dot[minimum].type, FP_MIN);
    EXPECT_EQ(fpcube->dot[0].type, FP_MAX);

    Halves halves;
    auto out = capture([&] { halves.reset(velmar_fphalf_list_new_from_fpcube(fpcube.get())); });
    EXPECT_EQ(out.out, "Message: VELMAR_FPCUBE successfully generated containing 6 paths.\n");
    ASSERT_EQ(halves->total, 6);
    // Saddles in voxel order: x = 0 (E = -0.4), then y = 0 (-0.8), then z = 0 (-1.2); each
    // descends both ways straight to the minimum, so a half holds the saddle and n/2 more voxels.
    const double barriers[3] = {2.0, 1.6, 1.2};
    const int32_t lengths[3] = {n[0] / 2 + 1, n[1] / 2 + 1, n[2] / 2 + 1};
    long path_voxels = 0;
    for (int h = 0; h < 6; ++h) {
        const VELMAR_FPHALF &half = halves->half[h];
        EXPECT_NEAR(half.barrier, barriers[h / 2], 1e-12) << h;
        EXPECT_EQ(half.total, lengths[h / 2]) << h;
        EXPECT_EQ(half.dot[half.total - 1], minimum) << h;
        path_voxels += half.total - 2;
    }

    // A barrier equal to the limit is kept.
    out = capture([&] { EXPECT_EQ(velmar_fphalf_list_filter(halves.get(), 1.6), 0); });
    EXPECT_EQ(out.out, "Message: totally 4 paths with barrier lower than 1.600000.\n");
    EXPECT_EQ(halves->total, 4);
    path_voxels -= 2 * (lengths[0] - 2);

    velmar_fphalf_list_label_path(halves.get(), fpcube.get());
    Cell cell(velmar_fpcube_export_to_cell(fpcube.get()));
    const auto names = names_in(cell.get());
    EXPECT_EQ(names.at("MIN"), 1);
    EXPECT_EQ(names.at("SAD1"), 3);
    EXPECT_EQ(names.at("PAT"), path_voxels);
    EXPECT_EQ(cell->total, 4 + path_voxels);
    EXPECT_STREQ(cell->atom[0].type, "Na");  // the saddle at the origin plane comes first
}

TEST(FpCube, SaddleWithThreeFallingRegionsHasThreeHalves) {
    // A voxel above three mutually separated corners of its neighbourhood, below all the rest.
    const int32_t n[3] = {6, 6, 6};
    auto cube =
        velmar_test::fractional_cube(n, kLengths, [](double, double, double) { return 1.0; });
    cube->en[3][3][3] = 0.5;
    cube->en[2][2][2] = 0.0;
    cube->en[4][4][2] = 0.1;
    cube->en[2][4][4] = 0.2;
    FpCube fpcube = map_of(cube.get());
    const VELMAR_FPDOT &saddle = fpcube->dot[(3 * 6 + 3) * 6 + 3];
    EXPECT_EQ(saddle.type, FP_SAD);
    EXPECT_EQ(saddle.total_dn, 3);
    EXPECT_EQ(saddle.total_up, 1);
    EXPECT_EQ(saddle.cluster[0], -1);  // (-1,-1,-1): the first label given
    EXPECT_EQ(saddle.cluster[13], 0);  // the voxel itself
    const long x[3] = {3, 3, 3};
    Halves halves(velmar_fphalf_list_new(fpcube.get(), x));
    ASSERT_NE(halves, nullptr);
    ASSERT_EQ(halves->total, 3);
    const double barriers[3] = {0.5, 0.3, 0.4};  // regions in scan order
    for (int h = 0; h < 3; ++h) {
        EXPECT_EQ(halves->half[h].total, 2);
        EXPECT_NEAR(halves->half[h].barrier, barriers[h], 1e-15);
    }
    Cell cell(velmar_fpcube_export_to_cell(fpcube.get()));
    bool found = false;
    for (long a = 0; a < cell->total; ++a) {
        if (std::string(cell->atom[a].name) == "SAD2") {
            found = true;
            EXPECT_STREQ(cell->atom[a].type, "K");
        }
    }
    EXPECT_TRUE(found);

    // A voxel that is not a saddle point has no halves.
    const long flat_voxel[3] = {0, 0, 0};
    auto out =
        capture([&] { EXPECT_EQ(velmar_fphalf_list_new(fpcube.get(), flat_voxel), nullptr); });
    EXPECT_EQ(out.err, "Error: dot (   0,    0,    0) is not a saddle point.\n");
}

// Four rising regions around a voxel (four mutually separated corners above it) make it irregular
// and warn once for every label examined past the fourth region.
TEST(FpCube, ManyRisingRegionsWarnAndMarkTheVoxelIrregular) {
    const int32_t n[3] = {6, 6, 6};
    auto cube =
        velmar_test::fractional_cube(n, kLengths, [](double, double, double) { return 0.0; });
    cube->en[3][3][3] = 0.5;
    for (const auto &c :
         {std::array{2, 2, 2}, std::array{4, 4, 2}, std::array{2, 4, 4}, std::array{4, 2, 4}}) {
        cube->en[c[0]][c[1]][c[2]] = 1.0;
    }
    FpCube fpcube;
    auto out = capture([&] { fpcube.reset(velmar_fpcube_new_from_cube(cube.get())); });
    const VELMAR_FPDOT &dot = fpcube->dot[(3 * 6 + 3) * 6 + 3];
    EXPECT_EQ(dot.total_up, 4);
    EXPECT_EQ(dot.total_dn, 1);
    EXPECT_EQ(dot.type, FP_ERR);
    const std::string warning =
        "Warning: no. of branches exceeds 4 at (3,3,3); there might be a discontinuity\n";
    size_t count = 0;
    for (size_t at = out.out.find(warning); at != std::string::npos;
         at = out.out.find(warning, at + 1))
        ++count;
    EXPECT_EQ(count, 2u);  // the fourth rising label is the 25th of 27
}

TEST(FpCube, ClusterLabelsMergeToTheSmallerValueInsideTheCore) {
    int label[5][5][5] = {};
    label[1][1][1] = 3;
    label[2][2][2] = 5;
    label[3][3][3] = 5;
    label[0][0][0] = 5;  // padding is left alone
    velmar_fpdot_merge_cluster(label, 5, 3);
    EXPECT_EQ(label[2][2][2], 3);
    EXPECT_EQ(label[3][3][3], 3);
    EXPECT_EQ(label[0][0][0], 5);
    velmar_fpdot_merge_cluster(label, 0, 3);  // 0 is no label
    EXPECT_EQ(label[1][1][1], 3);
    label[1][2][1] = -4;
    velmar_fpdot_merge_cluster(label, -4, 3);
    EXPECT_EQ(label[1][1][1], -4);
}

TEST(FpCube, APlateauIsAllMinimaAndHasNoPaths) {
    const int32_t n[3] = {4, 5, 3};
    auto cube =
        velmar_test::fractional_cube(n, kLengths, [](double, double, double) { return -0.25; });
    velmar_test::ScratchDir dir;
    const std::string file = (dir / "flat.cif").string();
    auto out = capture(
        [&] { EXPECT_EQ(velmar_fpcube_export_cif_to_file(cube.get(), -0.1, file.c_str()), 0); });
    EXPECT_NE(out.out.find("containing 0 paths."), std::string::npos);
    const std::string cif = velmar_test::read_file(file);
    // Every voxel a minimum, numbered MIN1 to MIN60, each with the plateau's energy.
    size_t count = 0;
    for (size_t at = cif.find("\nMIN"); at != std::string::npos; at = cif.find("\nMIN", at + 1))
        ++count;
    EXPECT_EQ(count, 60u);
    EXPECT_NE(cif.find("\nMIN60 Li1+ "), std::string::npos);
    EXPECT_NE(cif.find(" 1.000000 -0.250000\n"), std::string::npos);
}

// cos(2 pi x) + 0.8 cos(2 pi y) + 0.6 cos(2 pi z) on a grid long along x: the x saddle descends
// n0 / 2 steps to the minimum.
velmar_test::CubePtr long_valley(int32_t n0) {
    const int32_t n[3] = {n0, 4, 4};
    const double lengths[3] = {0.1 * n0, 2.0, 2.0};
    return velmar_test::fractional_cube(n, lengths, three_cosines);
}

TEST(FpCube, ADescentOfMoreThan1999StepsAbortsTheMap) {
    velmar_test::ScratchDir dir;
    const std::string file = (dir / "long.cif").string();
    // 3998 voxels: a half of 2000 dots reaching its minimum is fine.
    auto fits = long_valley(3998);
    FpCube fpcube = map_of(fits.get());
    Halves halves;
    capture([&] { halves.reset(velmar_fphalf_list_new_from_fpcube(fpcube.get())); });
    ASSERT_NE(halves, nullptr);
    int32_t longest = 0;
    for (int h = 0; h < halves->total; ++h) longest = std::max(longest, halves->half[h].total);
    EXPECT_EQ(longest, 2000);

    auto too_long = long_valley(4000);
    auto out = capture([&] {
        EXPECT_EQ(velmar_fpcube_export_cif_to_file(too_long.get(), -0.1, file.c_str()), 1);
    });
    EXPECT_EQ(out.err,
              "Error: failed to descend to the local minimum within 2000 steps.\n"
              "Error: velmar_fphalf_list_new() returns NULL.\n"
              "Error: velmar_fphalf_list_new_from_fpcube() returns NULL.\n");
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST(FpCube, MinimaOfALithiumLandscapeSitOnTheLithiumSites) {
    auto l = velmar_test::landscape("Li3N_P6mmm_OBELiX.cif", 0.1, true);
    FpCube fpcube = map_of(l.cube.get());
    const int32_t *n = fpcube->n;
    // Li3N: 1b (0, 0, 1/2) and 2c (1/3, 2/3, 0), (2/3, 1/3, 0); the nearest voxel is a minimum.
    const double sites[3][3] = {{0.0, 0.0, 0.5}, {1.0 / 3, 2.0 / 3, 0.0}, {2.0 / 3, 1.0 / 3, 0.0}};
    for (const auto &site : sites) {
        long x[3];
        for (int r = 0; r < 3; ++r) x[r] = std::lround(site[r] * n[r]) % n[r];
        EXPECT_EQ(fpcube->dot[(x[0] * n[1] + x[1]) * n[2] + x[2]].type, FP_MIN)
            << x[0] << " " << x[1] << " " << x[2];
    }
}

// The compact map must export exactly what the plain one with the documented per-voxel record does.
TEST(FpCube, CompactMapExportsWhatThePlainRecordGives) {
    velmar_test::ScratchDir dir;
    velmar_test::ScratchDir plain;
    for (const auto &[file, barrier_max] :
         {std::pair{"LiCoO2_R-3m_VESTA.cif", -0.1}, std::pair{"Li3N_P6mmm_OBELiX.cif", 0.6},
          std::pair{"Li6PS5Cl_argyrodite_partial_OBELiX.cif", 0.4}}) {
        auto l = velmar_test::landscape(file, 0.25, true);
        ASSERT_NE(l.cube, nullptr) << file;
        const std::string written = (dir / "map.cif").string();
        capture([&] {
            EXPECT_EQ(velmar_fpcube_export_cif_to_file(l.cube.get(), barrier_max, written.c_str()),
                      0);
        });
        auto cell = velmar_oracle::fp_map_cell(*l.cube, barrier_max);
        ASSERT_NE(cell, nullptr) << file;
        const std::string expected = (plain / "map.cif").string();
        capture([&] {
            velmar::detail::cell_export_markers_to_file(
                expected.c_str(), cell.get(), velmar::cube_values_at_atoms(*l.cube, *cell));
        });
        EXPECT_GT(cell->total, 20) << file;
        EXPECT_EQ(velmar_test::read_file(written), velmar_test::read_file(expected)) << file;
    }
}

TEST(FpCube, CommandRefusesBadArgumentsAndBadCubes) {
    velmar_test::ScratchDir dir;
    const int32_t n[3] = {8, 8, 8};
    auto cube = velmar_test::fractional_cube(n, kLengths, three_cosines);
    const std::string file = (dir / "c.cube").string();
    capture([&] { velmar_cube_export_to_file(cube.get(), nullptr, nullptr, file.c_str(), true); });
    auto r = velmar_test::run_velmar({"--fp-map", "c.cube", "one"}, dir.path());
    EXPECT_EQ(r.err, "Error: wrong parameter barrier_max.\n");
    velmar_test::write_file(dir / "bad.cube", "not a cube\n");
    r = velmar_test::run_velmar({"--fp-map", "bad.cube"}, dir.path());
    EXPECT_NE(r.err.find("Error: velmar_cube_import_from_file() returns non-zero.\n"),
              std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(dir / "bad.cube.fp.cif"));
    r = velmar_test::run_velmar({"--fp-map", "c.cube", "1.3"}, dir.path());
    EXPECT_EQ(r.err, "");
    EXPECT_NE(r.out.find("Message: totally 2 paths with barrier lower than 1.300000.\n"),
              std::string::npos);
    EXPECT_TRUE(std::filesystem::exists(dir / "c.cube.fp.cif"));
}

}  // namespace
