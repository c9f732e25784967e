// Rank, symmetric eigenproblem, LU and linear solve, SVD and rotations. Random matrices come from a
// fixed-seed generator; eigenpairs are checked by A v = lambda v rather than against stored values.
#include "core/velmar-solver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "core/velmar-la.h"
#include "core/velmar-random.h"

namespace {

void expect_orthonormal_rows(const double M[3][3], double tol) {
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            EXPECT_NEAR(velmar_vector3_double_dot(M[i], M[j]), i == j ? 1.0 : 0.0, tol)
                << "rows " << i << ", " << j;
        }
    }
}

// Checks eigenvalues ascending, A v = lambda v for each row of eiv, and orthonormal rows.
void expect_eigenpairs(const double A[3][3], const double eig[3], const double eiv[3][3],
                       double tol) {
    EXPECT_LE(eig[0], eig[1]);
    EXPECT_LE(eig[1], eig[2]);
    for (int k = 0; k < 3; ++k) {
        double Av[3];
        velmar_matrix33_double_multiply_vector3(Av, A, eiv[k]);
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(Av[i], eig[k] * eiv[k][i], tol) << "pair " << k;
    }
    expect_orthonormal_rows(eiv, tol);
}

// R diag(d) R^T for a rotation R: a symmetric matrix with eigenvalues d.
void rotated_diagonal(double A[3][3], const double d[3], const double angles[3]) {
    double R[3][3];
    double D[3][3];
    double Rt[3][3];
    velmar_matrix33_double_rotation_euler(R, angles);
    velmar_matrix33_double_diagonal(D, d);
    velmar_matrix33_double_copy(Rt, R);
    velmar_matrix33_double_transpose(Rt);
    velmar_matrix33_double_multiplication(A, R, D);
    velmar_matrix33_double_multiplication(A, A, Rt);
}

TEST(Rank, ReductionCases) {
    const double zero[3][3] = {};
    EXPECT_EQ(velmar_matrix33_double_rank(zero), 0);
    const double tiny[3][3] = {{9e-7, 0, 0}, {0, -9e-7, 0}, {0, 0, 5e-7}};
    EXPECT_EQ(velmar_matrix33_double_rank(tiny), 0);
    const double one[3][3] = {{1, 2, 3}, {2, 4, 6}, {-1, -2, -3}};
    EXPECT_EQ(velmar_matrix33_double_rank(one), 1);
    const double two[3][3] = {{1, 0, 1}, {0, 1, 1}, {1, 1, 2}};
    EXPECT_EQ(velmar_matrix33_double_rank(two), 2);
    const double three[3][3] = {{0, 0, 2}, {0, 3, 0}, {5, 0, 0}};
    EXPECT_EQ(velmar_matrix33_double_rank(three), 3);

    // In place: the first `rank` rows are independent, the rest are cleared.
    double M[3][3] = {{1, 0, 1}, {0, 1, 1}, {1, 1, 2}};
    ASSERT_EQ(velmar_matrix33_double_compute_rank(M), 2);
    double n[3];
    velmar_vector3_double_cross(n, M[0], M[1]);
    EXPECT_GT(velmar_vector3_double_length(n), 0.1);
    EXPECT_NEAR(velmar_vector3_double_length(M[2]), 0.0, 1e-12);
}

TEST(Eigen, DiagonalIdentityAndNearlyDiagonal) {
    double diag[3][3] = {{3, 0, 0}, {0, 1, 0}, {0, 0, 2}};
    double eig[3];
    double eiv[3][3];
    ASSERT_EQ(velmar_matrix33_double_eigensolver_symmetric(eig, eiv, diag), 0);
    EXPECT_EQ(eig[0], 1.0);
    EXPECT_EQ(eig[1], 2.0);
    EXPECT_EQ(eig[2], 3.0);
    // Along the axes, in the order of the eigenvalues: y, z, x.
    EXPECT_NEAR(std::fabs(eiv[0][1]), 1.0, 1e-12);
    EXPECT_NEAR(std::fabs(eiv[1][2]), 1.0, 1e-12);
    EXPECT_NEAR(std::fabs(eiv[2][0]), 1.0, 1e-12);

    double identity[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    ASSERT_EQ(velmar_matrix33_double_eigensolver_symmetric(eig, eiv, identity), 0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(eig[i], 1.0);
        for (int j = 0; j < 3; ++j) EXPECT_EQ(eiv[i][j], i == j ? 1.0 : 0.0);
    }

    // Off-diagonal squares summing to just under 1e-11 still count as diagonal: the diagonal
    // entries come back exactly.
    const double off = std::sqrt(0.99e-11);
    const double nearly[3][3] = {{3, off, 0}, {off, 1, 0}, {0, 0, 2}};
    velmar_matrix33_double_eigenvalue_symmetric(eig, nearly);
    EXPECT_EQ(eig[0], 1.0);
    EXPECT_EQ(eig[1], 2.0);
    EXPECT_EQ(eig[2], 3.0);
}

TEST(Eigen, RandomSymmetricMatrices) {
    std::mt19937 gen(20261121u);
    std::uniform_real_distribution<double> entry(-2.0, 2.0);
    for (int trial = 0; trial < 500; ++trial) {
        double A[3][3];
        for (int i = 0; i < 3; ++i) {
            for (int j = i; j < 3; ++j) A[i][j] = A[j][i] = entry(gen);
        }
        double original[3][3];
        velmar_matrix33_double_copy(original, A);
        double eig[3];
        double eiv[3][3];
        ASSERT_EQ(velmar_matrix33_double_eigensolver_symmetric(eig, eiv, A), 0) << trial;
        expect_eigenpairs(original, eig, eiv, 1e-6);
        EXPECT_NEAR(eig[0] + eig[1] + eig[2], original[0][0] + original[1][1] + original[2][2],
                    1e-12);
    }
}

TEST(Eigen, DegenerateSpectraTakeTheRankOneBranches) {
    const double angles[3] = {0.3, 1.1, -0.7};
    // Lowest eigenvalue doubled (A - eig0 I has rank 1), then the highest doubled (rank 2, and
    // A - eig1 I has rank 1).
    const double spectra[][3] = {{1.0, 1.0, 3.0}, {-2.0, 0.5, 0.5}, {0.25, 0.25, 0.25}};
    for (const auto &d : spectra) {
        double A[3][3];
        rotated_diagonal(A, d, angles);
        double original[3][3];
        velmar_matrix33_double_copy(original, A);
        double eig[3];
        double eiv[3][3];
        ASSERT_EQ(velmar_matrix33_double_eigensolver_symmetric(eig, eiv, A), 0);
        // Near a double root the closed form loses half the digits (acos close to 1), so the
        // eigenvalues are good to about 1e-8 here.
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(eig[i], d[i], 5e-8);
        expect_eigenpairs(original, eig, eiv, 1e-7);
    }
}

// The fallback must succeed on every finite symmetric matrix, at any scale and with any
// degeneracy, including the stiff curvatures near atoms on which the closed form gives up.
TEST(EigenJacobi, SucceedsWhereTheClosedFormGivesUp) {
    std::mt19937 gen(7u);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    int closed_form_failures = 0;
    for (double scale : {1e-9, 1e-3, 1.0, 1e3, 1e5}) {
        for (int trial = 0; trial < 200; ++trial) {
            double d[3] = {unit(gen) * scale, unit(gen) * scale, unit(gen) * scale};
            if (trial % 4 == 1) d[1] = d[0];  // doubly degenerate
            if (trial % 4 == 2) d[2] = d[1] = d[0];
            const double angles[3] = {3.0 * unit(gen), 3.0 * unit(gen), 3.0 * unit(gen)};
            double A[3][3];
            rotated_diagonal(A, d, angles);
            double eig[3];
            double eiv[3][3];
            ASSERT_EQ(velmar_matrix33_double_eigensolver_jacobi(eig, eiv, A), 0);
            expect_eigenpairs(A, eig, eiv, 1e-12 * scale + 1e-13);
            double copy[3][3];
            velmar_matrix33_double_copy(copy, A);
            double eig2[3];
            double eiv2[3][3];
            closed_form_failures += velmar_matrix33_double_eigensolver_symmetric(eig2, eiv2, copy);
        }
    }
    // Absolute rank tolerances make the closed form fail on stiff matrices; the fallback is needed.
    EXPECT_GT(closed_form_failures, 0);
}

// The Jacobi solver on what trips closed forms: random matrices, exact and near double and triple
// roots, a zero matrix, widely spread magnitudes, and the refusal of a non-finite entry.
TEST(EigenJacobi, EveryFiniteSymmetricMatrixIsDiagonalised) {
    std::mt19937 gen(20261123u);
    std::uniform_real_distribution<double> entry(-2.0, 2.0);
    double eig[3];
    double eiv[3][3];
    for (int trial = 0; trial < 500; ++trial) {
        double A[3][3];
        for (int i = 0; i < 3; ++i) {
            for (int j = i; j < 3; ++j) A[i][j] = A[j][i] = entry(gen);
        }
        ASSERT_EQ(velmar_matrix33_double_eigensolver_jacobi(eig, eiv, A), 0) << trial;
        expect_eigenpairs(A, eig, eiv, 1e-13);
    }
    const double angles[3] = {0.3, 1.1, -0.7};
    const double spectra[][3] = {{1.0, 1.0, 3.0},          {-2.0, 0.5, 0.5},    {0.25, 0.25, 0.25},
                                 {1.0, 1.0 + 1e-13, 2.0},  {0.0, 0.0, 0.0},     {-1e-9, 0.0, 1e9},
                                 {1e-300, 2e-300, 3e-300}, {-1e150, 0.0, 1e150}};
    for (const auto &d : spectra) {
        double A[3][3];
        rotated_diagonal(A, d, angles);
        ASSERT_EQ(velmar_matrix33_double_eigensolver_jacobi(eig, eiv, A), 0);
        const double scale = std::max(std::fabs(d[0]), std::fabs(d[2]));
        // Unlike the closed form, double roots cost no digits: rounding level of the largest
        // magnitude.
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(eig[i], d[i], 1e-14 * scale + 1e-300);
        if (scale > 1e-100 && scale < 1e100) expect_eigenpairs(A, eig, eiv, 1e-14 * scale);
        expect_orthonormal_rows(eiv, 1e-14);
    }
    // A non-symmetric input is symmetrised: only (A + A^T) / 2 counts.
    const double skew[3][3] = {{1, 2, 0}, {0, 1, 0}, {0, 0, 5}};
    ASSERT_EQ(velmar_matrix33_double_eigensolver_jacobi(eig, eiv, skew), 0);
    EXPECT_NEAR(eig[0], 0.0, 1e-15);
    EXPECT_NEAR(eig[1], 2.0, 1e-15);
    EXPECT_NEAR(eig[2], 5.0, 1e-15);

    double bad[3][3] = {{1, 0, 0}, {0, NAN, 0}, {0, 0, 1}};
    EXPECT_EQ(velmar_matrix33_double_eigensolver_jacobi(eig, eiv, bad), 1);
    bad[1][1] = INFINITY;
    EXPECT_EQ(velmar_matrix33_double_eigensolver_jacobi(eig, eiv, bad), 1);
    EXPECT_EQ(eig[0], 0.0);
}

TEST(LinearSolve, LuFactorsAndSolvesGeneralLattices) {
    std::mt19937 gen(7u);
    std::uniform_real_distribution<double> entry(-5.0, 5.0);
    for (int trial = 0; trial < 200; ++trial) {
        double A[3][3];
        for (auto &row : A)
            for (double &v : row) v = entry(gen);
        double P[3][3];
        double L[3][3];
        double U[3][3];
        velmar_matrix33_double_lusolver(P, L, U, A);
        double PA[3][3];
        double LU[3][3];
        velmar_matrix33_double_multiplication(PA, P, A);
        velmar_matrix33_double_multiplication(LU, L, U);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(L[i][i], 1.0);
            for (int j = 0; j < 3; ++j) {
                EXPECT_NEAR(PA[i][j], LU[i][j], 1e-12);
                if (j > i) {
                    EXPECT_EQ(L[i][j], 0.0);
                } else if (j < i) {
                    EXPECT_EQ(U[i][j], 0.0);
                    EXPECT_LE(std::fabs(L[i][j]), 1.0);  // partial pivoting
                }
            }
        }
    }

    // Fractional coordinates in a hexagonal lattice (vectors as rows): solve A^T f = r.
    const double lattice_t[3][3] = {{3.648, -1.824, 0.0}, {0.0, 3.15926, 0.0}, {0.0, 0.0, 3.875}};
    const double f_true[3] = {1.0 / 3.0, 2.0 / 3.0, 0.5};
    double r[3];
    velmar_matrix33_double_multiply_vector3(r, lattice_t, f_true);
    double f[3];
    ASSERT_EQ(velmar_matrix33_double_linearsolver(f, lattice_t, r), 3);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(f[i], f_true[i], 1e-14);

    // A pivot in the first column of zero forces a row exchange.
    const double needs_swap[3][3] = {{0, 1, 2}, {3, 0, 1}, {1, 1, 0}};
    const double b[3] = {5, 5, 2};
    double x[3];
    ASSERT_EQ(velmar_matrix33_double_linearsolver(x, needs_swap, b), 3);
    double back[3];
    velmar_matrix33_double_multiply_vector3(back, needs_swap, x);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(back[i], b[i], 1e-12);
}

TEST(LinearSolve, InverseOfAnObliqueLatticeAndOfASingularOne) {
    const double A[3][3] = {{3.6, 0.0, 0.0}, {-1.8, 3.1176914536, 0.0}, {0.4, -0.2, 3.9}};
    double inv[3][3];
    ASSERT_EQ(velmar_matrix33_double_inverse(inv, A), 0);
    double product[3][3];
    velmar_matrix33_double_multiplication(product, A, inv);
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(product[i][j], i == j ? 1.0 : 0.0, 1e-14);
    }
    const double flat[3][3] = {{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {1.0, 1.0, 0.0}};
    double keep[3][3] = {{7.0}};
    EXPECT_EQ(velmar_matrix33_double_inverse(keep, flat), 1);
    EXPECT_EQ(keep[0][0], 7.0);
}

TEST(LinearSolve, CoplanarLatticeIsSingular) {
    // The third vector is the sum of the first two.
    const double coplanar[3][3] = {{4.0, 0.0, 0.0}, {0.0, 3.0, 0.0}, {4.0, 3.0, 0.0}};
    const double b[3] = {1.0, 2.0, 3.0};
    double x[3] = {9, 9, 9};
    EXPECT_LT(velmar_matrix33_double_linearsolver(x, coplanar, b), 3);
    for (double v : x) EXPECT_EQ(v, 0.0);
    const double flat[3][3] = {{1, 2, 3}, {2, 4, 6.0000001}, {0, 1, 1}};
    EXPECT_LT(velmar_matrix33_double_linearsolver(x, flat, b), 3);
}

TEST(Svd, ReconstructsFullAndDeficientMatrices) {
    std::mt19937 gen(99u);
    std::uniform_real_distribution<double> entry(-3.0, 3.0);
    for (int trial = 0; trial < 100; ++trial) {
        double A[3][3];
        for (auto &row : A)
            for (double &v : row) v = entry(gen);
        if (trial % 3 == 1) {
            for (int j = 0; j < 3; ++j) A[2][j] = A[0][j] - 2.0 * A[1][j];  // rank 2
        } else if (trial % 3 == 2) {
            for (int j = 0; j < 3; ++j) A[1][j] = A[2][j] = 0.5 * A[0][j];  // rank 1
        }
        double U[3][3];
        double s[3];
        double V[3][3];
        ASSERT_EQ(velmar_matrix33_double_svdsolver(U, s, V, A), 0);
        EXPECT_GE(s[0], s[1]);
        EXPECT_GE(s[1], s[2]);
        EXPECT_GE(s[2], 0.0);
        double Ut[3][3];
        double Vt[3][3];
        velmar_matrix33_double_copy(Ut, U);
        velmar_matrix33_double_transpose(Ut);
        velmar_matrix33_double_copy(Vt, V);
        velmar_matrix33_double_transpose(Vt);
        expect_orthonormal_rows(Ut, 1e-10);
        expect_orthonormal_rows(Vt, 1e-10);
        double S[3][3];
        double back[3][3];
        velmar_matrix33_double_diagonal(S, s);
        velmar_matrix33_double_multiplication(back, U, S);
        velmar_matrix33_double_multiplication(back, back, Vt);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) EXPECT_NEAR(back[i][j], A[i][j], 1e-10);
    }
}

TEST(Rotation, ProperOrthogonalMatrices) {
    double R[3][3];
    velmar_matrix33_double_rotation_simple(R, 2, std::acos(0.0));
    const double x[3] = {1, 0, 0};
    double y[3];
    velmar_matrix33_double_multiply_vector3(y, R, x);
    EXPECT_NEAR(y[0], 0.0, 1e-15);
    EXPECT_NEAR(y[1], 1.0, 1e-15);

    velmar_random_seed(3u);
    for (int trial = 0; trial < 50; ++trial) {
        velmar_matrix33_double_rotation_random(R);
        expect_orthonormal_rows(R, 1e-12);
        EXPECT_NEAR(velmar_matrix33_double_determinant(R), 1.0, 1e-12);
    }
}

}  // namespace
