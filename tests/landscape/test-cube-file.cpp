// Cube files: the written layout, round trips with and without the repeated boundary layer and
// with the structure in the header, and malformed files refused without a crash.
#include "landscape/velmar-cube-file.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <string>

#include "core/velmar.h"
#include "support/support.h"

namespace {

using velmar_test::capture;
using Cube = velmar::Owned<VELMAR_CUBE, velmar_cube_free>;
using Cell = velmar::Owned<VELMAR_CELL, velmar_cell_free>;

// A 4 x 3 x 2 cube on a monoclinic cell with distinct values.
Cube sample() {
    Cube cube(velmar_cube_new(4, 3, 2));
    const double a[3][3] = {{4.0, 0.0, 0.0}, {0.0, 3.3, 0.0}, {-0.8, 0.0, 2.5}};
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            cube->a[r][c] = a[r][c];
            cube->a_i[r][c] = a[r][c] / cube->n[r];
        }
    }
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 3; ++j)
            for (int k = 0; k < 2; ++k) cube->en[i][j][k] = 100 * i + 10 * j + k - 7.123456;
    return cube;
}

struct Read {
    Cube cube;
    Cell cell;
    int status = -1;
    velmar_test::Captured printed;
};

Read read(const std::string &path, bool periodic, bool want_cell = true) {
    Read r;
    VELMAR_CUBE *cube = nullptr;
    VELMAR_CELL *cell = nullptr;
    const std::string unitary = velmar_test::database("database_unitary.dat");
    r.printed = capture([&] {
        r.status = velmar_cube_import_from_file(&cube, want_cell ? &cell : nullptr, path.c_str(),
                                                periodic, unitary.c_str());
    });
    r.cube.reset(cube);
    r.cell.reset(cell);
    return r;
}

TEST(CubeFile, RoundTripsWithAndWithoutTheBoundaryLayer) {
    velmar_test::ScratchDir dir;
    Cube cube = sample();
    for (bool periodic : {true, false}) {
        const std::string path = (dir / (periodic ? "p.cube" : "np.cube")).string();
        const auto written = capture([&] {
            EXPECT_EQ(
                velmar_cube_export_to_file(cube.get(), nullptr, nullptr, path.c_str(), periodic),
                0);
        });
        EXPECT_EQ(written.out,
                  "Message: cube file is generated without header.\nMessage: cube file saved to " +
                      path + ".\n");
        const std::string text = velmar_test::read_file(path);
        EXPECT_TRUE(text.starts_with("noname\r\n\r\n   0    0.000000    0.000000    0.000000\r\n"));
        const int lines = periodic ? 24 : 5 * 4 * 3;
        size_t count = 0;
        for (size_t p = text.find("\r\n"); p != std::string::npos; p = text.find("\r\n", p + 2))
            ++count;
        EXPECT_EQ(count, static_cast<size_t>(6 + lines));
        EXPECT_NE(text.find("\r\n    -7.123456\r\n"), std::string::npos);
        if (!periodic) {
            // The repeated last layer along the third axis: value (0,0,2) equals (0,0,0).
            EXPECT_NE(text.find("    -7.123456\r\n    -6.123456\r\n    -7.123456\r\n"),
                      std::string::npos);
        }
        Read back = read(path, periodic);
        ASSERT_EQ(back.status, 0) << back.printed.err;
        EXPECT_EQ(back.cell, nullptr);  // no header
        EXPECT_NE(back.printed.out.find("Message: cell information not read.\n"),
                  std::string::npos);
        for (int r = 0; r < 3; ++r) {
            EXPECT_EQ(back.cube->n[r], cube->n[r]);
            for (int c = 0; c < 3; ++c) EXPECT_NEAR(back.cube->a[r][c], cube->a[r][c], 1e-5);
        }
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 3; ++j)
                for (int k = 0; k < 2; ++k)
                    EXPECT_NEAR(back.cube->en[i][j][k], cube->en[i][j][k], 5e-7);
    }
    // A non-periodic file read as periodic keeps the extra layer and a longer lattice.
    Read longer = read((dir / "np.cube").string(), true);
    EXPECT_EQ(longer.cube->n[0], 5);
    EXPECT_NEAR(longer.cube->a[0][0], 5.0, 1e-5);
    EXPECT_NEAR(longer.cube->en[4][2][2], cube->en[0][2][0], 5e-7);
}

TEST(CubeFile, HeaderCarriesTheStructure) {
    velmar_test::ScratchDir dir;
    auto loaded = velmar_test::load_cif_file(velmar_test::corpus("Li3N_P6mmm_OBELiX.cif"));
    velmar::Owned<VELMAR_PROPERTY, velmar_property_free> ppt;
    const std::string unitary = velmar_test::database("database_unitary.dat");
    const std::string binary = velmar_test::database("database_binary.dat");
    capture([&] {
        ppt.reset(velmar_property_import_from_cell(loaded.cell.get(), "Li", 1, 0.6, unitary.c_str(),
                                                   binary.c_str()));
    });
    Cube cube = sample();
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) cube->a_i[r][c] = loaded.cell->a[r][c] / cube->n[r];
    const std::string path = (dir / "h.cube").string();
    capture([&] {
        EXPECT_EQ(velmar_cube_export_to_file(cube.get(), loaded.cell.get(), ppt.get(), path.c_str(),
                                             true),
                  0);
    });
    const std::string text = velmar_test::read_file(path);
    EXPECT_TRUE(
        text.starts_with("Li1+:3.000 N3-:1.000 \r\nConducting = Li1+ ; sf = 0.600000;\r\n   4 "));
    Read back = read(path, true);
    ASSERT_NE(back.cell, nullptr);
    EXPECT_EQ(back.cell->total, 4);
    EXPECT_STREQ(back.cell->atom[3].type, "N");
    EXPECT_EQ(back.cell->atom[3].os, -3);
    for (int32_t a = 0; a < 4; ++a) {
        for (int r = 0; r < 3; ++r) {
            EXPECT_NEAR(back.cell->atom[a].x[r], loaded.cell->atom[a].x[r], 1e-6);
            EXPECT_NEAR(back.cell->atom[a].x_f[r], loaded.cell->atom[a].x_f[r], 1e-6);
        }
    }
    EXPECT_NEAR(back.cell->atom[3].value, ppt->uni[1].q, 1e-6);  // the charge column
    // An atom whose species the table lacks stops the writer.
    loaded.cell->atom[3].os = -2;
    const auto failed = capture([&] {
        EXPECT_EQ(velmar_cube_export_to_file(cube.get(), loaded.cell.get(), ppt.get(), path.c_str(),
                                             true),
                  1);
    });
    EXPECT_EQ(failed.err, "Error: velmar_property_find_index() returns negative value.\n");
    // That one failure leaves what was written under the final name: the header up to the atom.
    const std::string partial = velmar_test::read_file(path);
    EXPECT_TRUE(partial.starts_with("Li1+:3.000 N3-:1.000 \r\n")) << partial;
    EXPECT_EQ(std::count(partial.begin(), partial.end(), '\n'), 6 + 3);
    EXPECT_TRUE(std::filesystem::exists(path));
}

// Counts are named when refused; zero, parallel or NaN voxel vectors give no cube.
TEST(CubeFile, CountsAndVoxelVectorsAreCheckedByName) {
    velmar_test::ScratchDir dir;
    const std::string head = "noname\r\n\r\n   0 0 0 0\r\n";
    struct Case {
        std::string counts;
        bool periodic;
        const char *error;
    };
    const Case cases[] = {
        {"   0 1 0 0\r\n   2 0 1 0\r\n   2 0 0 1\r\n", true, "gives 0 voxels along axis 1"},
        {"   2 1 0 0\r\n  -5 0 1 0\r\n   2 0 0 1\r\n", true, "gives -5 voxels along axis 2"},
        {"   2 1 0 0\r\n   2 0 1 0\r\n   1 0 0 1\r\n", false,
         "gives 1 voxels along axis 3; a non-periodic cube has 2 to 100000.\n"},
        {"   2 1 0 0\r\n   2 0 0 0\r\n   2 0 0 1\r\n", true, "are zero, not finite"},
        {"   2 1 0 0\r\n   2 nan 1 0\r\n   2 0 0 1\r\n", true, "are zero, not finite"},
        {"   2 1 0 0\r\n   2 2 0 0\r\n   2 0 0 1\r\n", true, "do not span a volume"},
        {"   2 1e300 0 0\r\n   2 0 1e300 0\r\n   2 0 0 1e300\r\n", true, "not finite"},
        // Found by fuzzing: a few bytes asking for 100000 x 3 x 1000 voxels (2.4 GB).
        {"   100000 1 0 0\r\n   3 0 1 0\r\n   1000 0 0 1\r\n", true,
         "gives 100000 x 3 x 1000 voxels but has room for 9 values at most.\n"},
    };
    int index = 0;
    for (const Case &c : cases) {
        const std::string path = (dir / std::to_string(index++)).string() + ".cube";
        velmar_test::write_file(path, head + c.counts + "1 2 3 4 5 6 7 8\r\n");
        Read r = read(path, c.periodic);
        EXPECT_EQ(r.status, 1) << index;
        EXPECT_EQ(r.cube, nullptr) << index;
        EXPECT_NE(r.printed.err.find(c.error), std::string::npos) << index << r.printed.err;
        EXPECT_EQ(r.printed.err.rfind("Error: ", 0), 0U) << index;
    }
}

// A file whose directory cannot be written is refused at once, and a write that fails half way
// (a file-size limit standing in for a full disk) leaves neither the file nor its temporary.
TEST(CubeFile, FailedWritesLeaveNoFileUnderTheFinalName) {
    velmar_test::ScratchDir dir;
    Cube cube = sample();
    velmar_test::write_file(dir / "file.txt", "a file, not a directory");
    const std::string nowhere = (dir / "file.txt" / "out.cube").string();
    auto out = capture([&] {
        EXPECT_EQ(velmar_cube_export_to_file(cube.get(), nullptr, nullptr, nowhere.c_str(), true),
                  1);
    });
    EXPECT_EQ(out.err, "Error: unable to open file " + nowhere + "\n");
    EXPECT_EQ(out.out.find("saved"), std::string::npos);

    Cube big(velmar_cube_new(40, 40, 40));
    for (int r = 0; r < 3; ++r) big->a[r][r] = 10.0, big->a_i[r][r] = 0.25;
    const std::string path = (dir / "big.cube").string();
    rlimit saved{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &saved), 0);
    auto *const previous = std::signal(SIGXFSZ, SIG_IGN);
    rlimit small = saved;
    small.rlim_cur = 100000;  // bytes; the cube needs about 1 MB
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    out = capture([&] {
        EXPECT_EQ(velmar_cube_export_to_file(big.get(), nullptr, nullptr, path.c_str(), true), 1);
    });
    setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, previous);
    EXPECT_EQ(out.err, "Error: unable to write " + path + ".\n");
    EXPECT_EQ(out.out.find("saved"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(path));
    size_t entries = 0;
    for ([[maybe_unused]] const auto &e : std::filesystem::directory_iterator(dir.path())) {
        ++entries;
    }
    EXPECT_EQ(entries, 1U);  // file.txt only
}

TEST(CubeFile, MalformedFilesAreRefused) {
    velmar_test::ScratchDir dir;
    Cube cube = sample();
    const std::string good = (dir / "good.cube").string();
    capture([&] { velmar_cube_export_to_file(cube.get(), nullptr, nullptr, good.c_str(), true); });
    const std::string text = velmar_test::read_file(good);
    const std::string head = "noname\r\n\r\n   0 0 0 0\r\n";
    const std::string cases[] = {
        text.substr(0, text.size() / 2),                                       // truncated values
        text.substr(0, 30),                                                    // truncated header
        head + "   0 1 0 0\r\n   3 0 1 0\r\n   2 0 0 1\r\n",                   // zero count
        head + "  -4 1 0 0\r\n   3 0 1 0\r\n   2 0 0 1\r\n1\r\n",              // negative count
        head + "   2 1 0 0\r\n   2 0 1 0\r\n   2 0 0 1\r\n1 2 3 4 5 6 7\r\n",  // too few
                                                                               // values
        head + "   1 1 0 0\r\n   1 0 1 0\r\n   1 0 0 1\r\nnan\r\n",            // not a number
        head + "9999999 1 0 0\r\n9999999 0 1 0\r\n9999999 0 0 1\r\n",          // absurd size
        "noname\r\n\r\n  99 0 0 0\r\n   1 1 0 0\r\n   1 0 1 0\r\n   1 0 0 1\r\n3 0 0 "
        "0\r\n",  // atoms
        "",
    };
    int index = 0;
    for (const std::string &content : cases) {
        const std::string path = (dir / ("bad" + std::to_string(index++) + ".cube")).string();
        velmar_test::write_file(path, content);
        Read r = read(path, true);
        EXPECT_EQ(r.status, 1) << index;
        EXPECT_EQ(r.cube, nullptr) << index;
        EXPECT_EQ(r.cell, nullptr) << index;
    }
    EXPECT_EQ(read((dir / "missing.cube").string(), true).printed.out,
              "Error: unable to open " + (dir / "missing.cube").string() + ".\n");
}

}  // namespace
