// The array family: zeroed allocation, refusal of empty extents, and the print formats.
#include "core/velmar-array.h"

#include <gtest/gtest.h>

#include <cstring>

#include "support/support.h"

namespace {

using velmar_test::capture;

TEST(Array, AllocatesZeroedRowsOfEveryKind) {
    int ***cube = velmar_array_int_3D_new(2, 3, 4);
    ASSERT_NE(cube, nullptr);
    for (int i = 0; i < 2; ++i)
        for (int j = 0; j < 3; ++j)
            for (int k = 0; k < 4; ++k) EXPECT_EQ(cube[i][j][k], 0);
    cube[1][2][3] = 7;  // the last element is writable
    velmar_array_int_3D_free(cube, 2, 3);

    double **m = velmar_array_double_2D_new(3, 2);
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m[2][1], 0.0);
    velmar_array_double_2D_free(m, 3);

    char *s = velmar_array_char_1D_new(5);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(std::strlen(s), 0u);
    velmar_array_char_1D_free(s);
}

TEST(Array, RefusesEmptyExtentsWithItsMessage) {
    auto printed = capture([] { EXPECT_EQ(velmar_array_double_1D_new(0), nullptr); });
    EXPECT_EQ(printed.err, "Error: unable to allocate VELMAR_ARRAY_1D.\n");
    printed = capture([] { EXPECT_EQ(velmar_array_int_2D_new(3, 0), nullptr); });
    EXPECT_EQ(printed.err, "Error: unable to allocate VELMAR_ARRAY_2D.\n");
    printed = capture([] { EXPECT_EQ(velmar_array_char_3D_new(1, 1, -2), nullptr); });
    EXPECT_EQ(printed.err, "Error: unable to allocate VELMAR_ARRAY_3D.\n");
    // Freeing NULL of any shape is harmless.
    velmar_array_double_3D_free(nullptr, 4, 4);
    velmar_array_char_2D_free(nullptr, 4);
}

TEST(Array, PrintFormats) {
    const double row[3] = {1.0, -0.25, 12.3456};
    EXPECT_EQ(capture([&] { velmar_array_double_1D_print(row, 3); }).out, " 1.000 -0.250 12.346\n");
    double **m = velmar_array_double_2D_new(2, 2);
    m[0][0] = 1;
    m[1][1] = 2;
    EXPECT_EQ(capture([&] { velmar_array_double_2D_print(m, 2, 2); }).out,
              " 1.000 0.000\n 0.000 2.000\n");
    velmar_array_double_2D_free(m, 2);

    char ***c = velmar_array_char_3D_new(2, 2, 4);
    std::strcpy(c[0][0], "Li");
    std::strcpy(c[0][1], "O");
    velmar_array_char_1D_free(c[1][1]);
    c[1][1] = nullptr;
    EXPECT_EQ(capture([&] { velmar_array_char_3D_print(c, 2, 2); }).out,
              "|Li||O|\n|||(not allocated)|\n");
    EXPECT_EQ(capture([&] { velmar_array_char_2D_print(c[0], 2); }).out, "Li\nO\n");
    velmar_array_char_3D_free(c, 2, 2);

    EXPECT_EQ(capture([] { velmar_array_char_3D_print(nullptr, 1, 1); }).out, "(not allocated)\n");
    EXPECT_EQ(capture([] { velmar_array_double_1D_print(nullptr, 1); }).out, "(not allocated)\n");
}

}  // namespace
