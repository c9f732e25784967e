// Vector and matrix helpers, integer helpers and the random generator.
#include "core/velmar-la.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdlib>

#include "core/velmar-random.h"

namespace {

TEST(Vector3, ProductsAndAliasedOutputs) {
    double a[3] = {1.0, 2.0, 3.0};
    const double b[3] = {-2.0, 0.5, 4.0};
    EXPECT_DOUBLE_EQ(velmar_vector3_double_dot(a, b), 11.0);
    double c[3];
    velmar_vector3_double_cross(c, a, b);
    EXPECT_DOUBLE_EQ(c[0], 6.5);
    EXPECT_DOUBLE_EQ(c[1], -10.0);
    EXPECT_DOUBLE_EQ(c[2], 4.5);
    // The output may be one of the inputs.
    velmar_vector3_double_cross(a, a, b);
    EXPECT_DOUBLE_EQ(a[1], -10.0);
    velmar_vector3_double_sum3(a, 1.0, b, 2.0, b, -3.0, b);
    EXPECT_DOUBLE_EQ(velmar_vector3_double_length(a), 0.0);

    const double p[3] = {3.0, 4.0, 12.0};
    EXPECT_DOUBLE_EQ(velmar_vector3_double_length(p), 13.0);
    const double o[3] = {0.0, 0.0, 0.0};
    EXPECT_DOUBLE_EQ(velmar_vector3_double_distance(p, o), 13.0);
    EXPECT_DOUBLE_EQ(velmar_vector3_double_min(p), 3.0);
    EXPECT_DOUBLE_EQ(velmar_vector3_double_max(p), 12.0);

    double par[3];
    double per[3];
    const double t[3] = {0.0, 0.0, 2.0};
    velmar_vector3_double_project_parallel(par, p, t);
    velmar_vector3_double_project_perpendicular(per, p, t);
    EXPECT_DOUBLE_EQ(par[2], 12.0);
    EXPECT_DOUBLE_EQ(per[0], 3.0);
    EXPECT_DOUBLE_EQ(per[2], 0.0);
}

TEST(Vector3, ComplementsAreOrthonormal) {
    const double directions[][3] = {{1, 0, 0}, {0, 1, 0},      {0, 0, 1},
                                    {1, 2, 3}, {-3, 0.5, 0.1}, {0.2, -4, 1}};
    for (const auto &d : directions) {
        double a[3] = {d[0], d[1], d[2]};
        double u[3];
        double v[3];
        velmar_vector3_double_complement2(u, v, a);
        EXPECT_NEAR(velmar_vector3_double_length(a), 1.0, 1e-14);
        EXPECT_NEAR(velmar_vector3_double_length(u), 1.0, 1e-14);
        EXPECT_NEAR(velmar_vector3_double_length(v), 1.0, 1e-14);
        EXPECT_NEAR(velmar_vector3_double_dot(a, u), 0.0, 1e-14);
        EXPECT_NEAR(velmar_vector3_double_dot(a, v), 0.0, 1e-14);
        EXPECT_NEAR(velmar_vector3_double_dot(u, v), 0.0, 1e-14);
        double w[3];
        velmar_vector3_double_complement1(w, a, u);
        EXPECT_NEAR(velmar_vector3_double_distance(w, v), 0.0, 1e-14);
    }
}

TEST(Matrix33, DeterminantProductTransposeAndRounding) {
    double A[3][3] = {{2, -1, 0}, {1, 3, 4}, {0, 5, -2}};
    EXPECT_DOUBLE_EQ(velmar_matrix33_double_determinant(A), -54.0);
    double B[3][3];
    velmar_matrix33_double_copy(B, A);
    velmar_matrix33_double_transpose(B);
    double C[3][3];
    velmar_matrix33_double_multiplication(C, A, B);  // A A^T is symmetric
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_DOUBLE_EQ(C[i][j], C[j][i]);
    EXPECT_DOUBLE_EQ(C[1][1], 26.0);
    velmar_matrix33_double_multiplication(A, A, B);  // aliased output
    EXPECT_DOUBLE_EQ(A[1][1], 26.0);

    double R[3][3] = {{2.5, -2.5, 0.49}, {-0.5, 1.5, -1.51}, {0, 0, 0}};
    int Ri[3][3];
    velmar_matrix33_double_round_to_int(Ri, R);
    velmar_matrix33_double_round(R);
    const int expected[3][3] = {{3, -3, 0}, {-1, 2, -2}, {0, 0, 0}};
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            EXPECT_EQ(Ri[i][j], expected[i][j]);
            EXPECT_EQ(R[i][j], expected[i][j]);
        }
    }

    double S[3][3] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
    velmar_matrix33_double_symmetrize(S);
    EXPECT_DOUBLE_EQ(S[0][1], 3.0);
    EXPECT_DOUBLE_EQ(S[1][0], 3.0);
    EXPECT_DOUBLE_EQ(S[0][2], 5.0);
    EXPECT_DOUBLE_EQ(S[2][1], 7.0);
}

TEST(Matrix33Int, ProductsAndDeterminant) {
    // A three-fold axis of the hexagonal setting (-y, x-y, z) cubed is the identity.
    const int R[3][3] = {{0, -1, 0}, {1, -1, 0}, {0, 0, 1}};
    int R2[3][3];
    int R3[3][3];
    velmar_matrix33_int_multiplication(R2, R, R);
    velmar_matrix33_int_multiplication(R3, R2, R);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_EQ(R3[i][j], i == j ? 1 : 0);
    EXPECT_EQ(velmar_matrix33_int_determinant(R), 1);

    const long v[3] = {2, 5, -1};
    long w[3];
    velmar_matrix33_int_multiply_vector3(w, R, v);
    EXPECT_EQ(w[0], -5);
    EXPECT_EQ(w[1], -3);
    EXPECT_EQ(w[2], -1);

    int T[3][3];
    velmar_matrix33_int_copy(T, R);
    velmar_matrix33_int_transpose(T);
    EXPECT_EQ(T[0][1], 1);
    double D[3][3];
    velmar_matrix33_int_convert_to_double(D, T);
    EXPECT_DOUBLE_EQ(D[1][1], -1.0);
}

TEST(Integers, PeriodicRemainderGcdLcm) {
    EXPECT_EQ(velmar_mod_long(-1, 5), 4);
    EXPECT_EQ(velmar_mod_long(-10, 5), 0);
    EXPECT_EQ(velmar_mod_long(12, 5), 2);
    EXPECT_EQ(velmar_mod_long(-196, 196), 0);
    EXPECT_EQ(velmar_gcd(-12, 18), 6);
    EXPECT_EQ(velmar_gcd(18, -12), 6);
    EXPECT_EQ(velmar_gcd(0, 7), 7);
    EXPECT_EQ(velmar_gcd(0, 0), 0);
    EXPECT_EQ(velmar_lcm(-4, 6), 12);
    EXPECT_EQ(velmar_lcm(3, 5), 15);
    EXPECT_EQ(velmar_lcm(0, 5), 0);
}

TEST(Random, UnitIntervalWithBothEnds) {
    EXPECT_EQ(velmar::detail::random_unit_from_raw(0), 0.0);
    EXPECT_EQ(velmar::detail::random_unit_from_raw(RAND_MAX), 1.0);

    velmar_random_seed(12345u);
    double first[8];
    double sum = 0.0;
    constexpr int kDraws = 200000;
    for (int i = 0; i < kDraws; ++i) {
        const double u = velmar_random();
        ASSERT_GE(u, 0.0);
        ASSERT_LE(u, 1.0);
        if (i < 8) first[i] = u;
        sum += u;
    }
    // Mean of uniform draws: 0.5 with a standard error of 0.29 / sqrt(kDraws) = 6.5e-4.
    EXPECT_NEAR(sum / kDraws, 0.5, 0.004);
    // The same seed replays the same numbers.
    velmar_random_seed(12345u);
    for (double u : first) EXPECT_EQ(velmar_random(), u);
}

}  // namespace
