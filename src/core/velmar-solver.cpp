// 3x3 rank, symmetric eigenproblem, LU, linear solve, SVD and rotations.
#include "core/velmar-solver.h"

#include <cmath>
#include <utility>

#include "core/velmar-la.h"
#include "core/velmar-random.h"

namespace {

constexpr double kPivotTolerance = 1e-6;
constexpr double kDiagonalTolerance = 1e-11;
// pi / 3 and 2 pi / 3 as the closed-form eigenvalues have always used them.
constexpr double kThirdPi = 1.04719755;
constexpr double kTwoThirdsPi = 2.0943951;

void set_identity(double A[3][3]) {
    const double one[3] = {1.0, 1.0, 1.0};
    velmar_matrix33_double_diagonal(A, one);
}

// Largest |M[i][j]| over rows first..2, scanning rows then columns; a later element replaces the
// candidate only when strictly larger.
double find_pivot(const double M[3][3], int first, int &row, int &col) {
    double best = -0.1;
    row = first;
    col = 0;
    for (int i = first; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            if (std::fabs(M[i][j]) > best) {
                best = std::fabs(M[i][j]);
                row = i;
                col = j;
            }
        }
    }
    return best;
}

// Divides row r by its entry in column c and removes column c from the rows below it.
void eliminate(double M[3][3], int r, int c) {
    const double pivot = M[r][c];
    for (int j = 0; j < 3; ++j) M[r][j] /= pivot;
    for (int i = r + 1; i < 3; ++i) {
        const double f = M[i][c];
        for (int j = 0; j < 3; ++j) M[i][j] -= f * M[r][j];
        M[i][c] = 0.0;
    }
}

// M = A - lambda I
void shift_diagonal(double M[3][3], const double A[3][3], double lambda) {
    velmar_matrix33_double_copy(M, A);
    for (int i = 0; i < 3; ++i) M[i][i] -= lambda;
}

// The unit normal of the first two (reduced) rows of M.
void null_vector(double out[3], const double M[3][3]) {
    double r0[3];
    double r1[3];
    velmar_vector3_double_normalize(r0, M[0]);
    velmar_vector3_double_normalize(r1, M[1]);
    velmar_vector3_double_complement1(out, r0, r1);
}

}  // namespace

int velmar_matrix33_double_rank(const double A[3][3]) {
    double M[3][3];
    velmar_matrix33_double_copy(M, A);
    return velmar_matrix33_double_compute_rank(M);
}

int velmar_matrix33_double_compute_rank(double M[3][3]) {
    int row = 0;
    int col = 0;
    if (find_pivot(M, 0, row, col) < kPivotTolerance) return 0;
    velmar_matrix33_double_swap_row(M, 0, row);
    eliminate(M, 0, col);

    if (find_pivot(M, 1, row, col) < kPivotTolerance) return 1;
    if (row == 2) velmar_matrix33_double_swap_row(M, 1, 2);
    eliminate(M, 1, col);

    double last = 0.0;
    for (int j = 0; j < 3; ++j) last = std::fmax(last, std::fabs(M[2][j]));
    return last < kPivotTolerance ? 2 : 3;
}

int velmar_matrix33_double_eigenvalue_symmetric(double eig[3], const double A[3][3]) {
    const double p1 = A[0][1] * A[0][1] + A[0][2] * A[0][2] + A[1][2] * A[1][2];
    if (p1 < kDiagonalTolerance) {
        eig[0] = A[0][0];
        eig[1] = A[1][1];
        eig[2] = A[2][2];
        if (eig[0] > eig[1]) std::swap(eig[0], eig[1]);
        if (eig[1] > eig[2]) {
            std::swap(eig[1], eig[2]);
            if (eig[0] > eig[1]) std::swap(eig[0], eig[1]);
        }
        return 0;
    }
    const double q = (A[0][0] + A[1][1] + A[2][2]) / 3.0;
    const double d0 = A[0][0] - q;
    const double d1 = A[1][1] - q;
    const double d2 = A[2][2] - q;
    const double p = std::sqrt((d0 * d0 + d1 * d1 + d2 * d2 + 2.0 * p1) / 6.0);
    double B[3][3];
    shift_diagonal(B, A, q);
    for (auto &row : B) {
        for (double &v : row) v /= p;
    }
    const double r = velmar_matrix33_double_determinant(B) / 2.0;
    double phi = 0.0;
    if (r <= -1.0) {
        phi = kThirdPi;
    } else if (r < 1.0) {
        phi = std::acos(r) / 3.0;
    }
    eig[2] = q + 2.0 * p * std::cos(phi);
    eig[0] = q + 2.0 * p * std::cos(phi + kTwoThirdsPi);
    eig[1] = 3.0 * q - eig[0] - eig[2];
    return 0;
}

int velmar_matrix33_double_eigensolver_symmetric(double eig[3], double eiv[3][3], double A[3][3]) {
    velmar_matrix33_double_symmetrize(A);
    velmar_matrix33_double_eigenvalue_symmetric(eig, A);
    double M[3][3];
    shift_diagonal(M, A, eig[0]);
    switch (velmar_matrix33_double_compute_rank(M)) {
        case 0:
            set_identity(eiv);
            return 0;
        case 1: {
            double n[3];
            velmar_vector3_double_normalize(n, M[0]);
            velmar_vector3_double_complement2(eiv[0], eiv[1], n);
            velmar_vector3_double_cross(eiv[2], eiv[0], eiv[1]);
            return 0;
        }
        case 2: {
            null_vector(eiv[0], M);
            shift_diagonal(M, A, eig[1]);
            if (velmar_matrix33_double_compute_rank(M) == 1) {
                velmar_vector3_double_complement2(eiv[1], eiv[2], eiv[0]);
                return 0;
            }
            null_vector(eiv[1], M);
            velmar_vector3_double_cross(eiv[2], eiv[0], eiv[1]);
            return 0;
        }
        default:
            return 1;
    }
}

int velmar_matrix33_double_eigensolver_jacobi(double eig[3], double eiv[3][3],
                                              const double A[3][3]) {
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            if (std::isfinite(A[i][j])) continue;
            for (int r = 0; r < 3; ++r) {
                eig[r] = 0.0;
                eiv[r][0] = eiv[r][1] = eiv[r][2] = 0.0;
            }
            return 1;
        }
    }
    double M[3][3];
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) M[i][j] = 0.5 * A[i][j] + 0.5 * A[j][i];
    }
    double V[3][3];  // eigenvectors as columns while rotating
    set_identity(V);
    // Each sweep rotates away the three off-diagonal elements in turn; convergence is quadratic, so
    // a handful of sweeps reach rounding level. An element too small to change either diagonal
    // element it couples is set to zero, which ends the iteration for every finite matrix.
    constexpr int kMaxSweeps = 64;
    for (int sweep = 0; sweep < kMaxSweeps; ++sweep) {
        if (M[0][1] == 0.0 && M[0][2] == 0.0 && M[1][2] == 0.0) break;
        for (int p = 0; p < 2; ++p) {
            for (int q = p + 1; q < 3; ++q) {
                const double apq = M[p][q];
                if (apq == 0.0) continue;
                const double small = 100.0 * std::fabs(apq);
                if (std::fabs(M[p][p]) + small == std::fabs(M[p][p]) &&
                    std::fabs(M[q][q]) + small == std::fabs(M[q][q])) {
                    M[p][q] = M[q][p] = 0.0;
                    continue;
                }
                const double theta = 0.5 * (M[q][q] - M[p][p]) / apq;
                // tan of the rotation angle, the smaller root; 1 / (2 theta) where theta^2 would
                // overflow.
                double t = 0.5 / theta;
                if (std::fabs(theta) < 1e150) {
                    t = 1.0 / (std::fabs(theta) + std::sqrt(theta * theta + 1.0));
                    if (theta < 0.0) t = -t;
                }
                const double c = 1.0 / std::sqrt(t * t + 1.0);
                const double s = t * c;
                M[p][p] -= t * apq;
                M[q][q] += t * apq;
                M[p][q] = M[q][p] = 0.0;
                const int r = 3 - p - q;
                const double mrp = M[r][p];
                const double mrq = M[r][q];
                M[r][p] = M[p][r] = c * mrp - s * mrq;
                M[r][q] = M[q][r] = s * mrp + c * mrq;
                for (int i = 0; i < 3; ++i) {
                    const double vp = V[i][p];
                    const double vq = V[i][q];
                    V[i][p] = c * vp - s * vq;
                    V[i][q] = s * vp + c * vq;
                }
            }
        }
    }
    int order[3] = {0, 1, 2};
    const double d[3] = {M[0][0], M[1][1], M[2][2]};
    if (d[order[0]] > d[order[1]]) std::swap(order[0], order[1]);
    if (d[order[1]] > d[order[2]]) std::swap(order[1], order[2]);
    if (d[order[0]] > d[order[1]]) std::swap(order[0], order[1]);
    for (int k = 0; k < 3; ++k) {
        eig[k] = d[order[k]];
        for (int i = 0; i < 3; ++i) eiv[k][i] = V[i][order[k]];
    }
    return 0;
}

int velmar_matrix33_double_inverse(double inv[3][3], const double A[3][3]) {
    const double det = velmar_matrix33_double_determinant(A);
    if (!(std::fabs(det) > 1e-12)) return 1;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            const int r1 = (j + 1) % 3;
            const int r2 = (j + 2) % 3;
            const int c1 = (i + 1) % 3;
            const int c2 = (i + 2) % 3;
            inv[i][j] = (A[r1][c1] * A[r2][c2] - A[r1][c2] * A[r2][c1]) / det;
        }
    }
    return 0;
}

int velmar_matrix33_double_lusolver(double P[3][3], double L[3][3], double U[3][3],
                                    const double A[3][3]) {
    velmar_matrix33_double_copy(U, A);
    set_identity(L);
    set_identity(P);
    for (int k = 0; k < 2; ++k) {
        int r = k;
        for (int i = k + 1; i < 3; ++i) {
            if (std::fabs(U[i][k]) > std::fabs(U[r][k])) r = i;
        }
        if (r != k) {
            velmar_matrix33_double_swap_row(U, k, r);
            velmar_matrix33_double_swap_row(P, k, r);
            for (int j = 0; j < k; ++j) std::swap(L[k][j], L[r][j]);
        }
        const bool singular = std::fabs(U[k][k]) < kPivotTolerance;
        for (int i = k + 1; i < 3; ++i) {
            if (singular) {
                L[i][k] = 0.0;
                continue;
            }
            L[i][k] = U[i][k] / U[k][k];
            for (int j = k + 1; j < 3; ++j) U[i][j] -= L[i][k] * U[k][j];
            U[i][k] = 0.0;
        }
    }
    return 0;
}

int velmar_matrix33_double_linearsolver(double x[3], const double A[3][3], const double b[3]) {
    double P[3][3];
    double L[3][3];
    double U[3][3];
    velmar_matrix33_double_lusolver(P, L, U, A);
    int pivots = 0;
    for (int k = 0; k < 3; ++k) {
        if (std::fabs(U[k][k]) >= kPivotTolerance) ++pivots;
    }
    if (pivots < 3) {
        x[0] = x[1] = x[2] = 0.0;
        return pivots;
    }
    // A x = b  <=>  L U x = P b.
    double y[3];
    velmar_matrix33_double_multiply_vector3(y, P, b);
    for (int i = 1; i < 3; ++i) {
        for (int j = 0; j < i; ++j) y[i] -= L[i][j] * y[j];
    }
    double r[3];
    for (int i = 2; i >= 0; --i) {
        double sum = y[i];
        for (int j = i + 1; j < 3; ++j) sum -= U[i][j] * r[j];
        r[i] = sum / U[i][i];
    }
    velmar_vector3_double_copy(x, r);
    return 3;
}

int velmar_matrix33_double_svdsolver(double U[3][3], double s[3], double V[3][3],
                                     const double A[3][3]) {
    // One-sided Jacobi: rotate the columns of W = A V until they are mutually orthogonal; then the
    // column lengths are the singular values and the normalised columns form U.
    double W[3][3];
    velmar_matrix33_double_copy(W, A);
    set_identity(V);
    constexpr int kMaxSweeps = 60;
    constexpr double kEpsilon = 1e-15;
    double frobenius2 = 0.0;
    for (const auto &row : W) frobenius2 += velmar_vector3_double_dot(row, row);
    // A column shorter than kEpsilon |A| is zero to working precision and needs no rotation.
    const double negligible = kEpsilon * kEpsilon * frobenius2;
    bool converged = false;
    for (int sweep = 0; sweep < kMaxSweeps && !converged; ++sweep) {
        converged = true;
        for (int p = 0; p < 2; ++p) {
            for (int q = p + 1; q < 3; ++q) {
                double alpha = 0.0;
                double beta = 0.0;
                double gamma = 0.0;
                for (int i = 0; i < 3; ++i) {
                    alpha += W[i][p] * W[i][p];
                    beta += W[i][q] * W[i][q];
                    gamma += W[i][p] * W[i][q];
                }
                if (std::fabs(gamma) <= kEpsilon * std::sqrt(alpha * beta)) continue;
                if (alpha <= negligible || beta <= negligible) continue;
                converged = false;
                const double zeta = (beta - alpha) / (2.0 * gamma);
                const double t =
                    std::copysign(1.0, zeta) / (std::fabs(zeta) + std::sqrt(1.0 + zeta * zeta));
                const double c = 1.0 / std::sqrt(1.0 + t * t);
                const double sn = c * t;
                for (int i = 0; i < 3; ++i) {
                    const double wp = W[i][p];
                    const double wq = W[i][q];
                    W[i][p] = c * wp - sn * wq;
                    W[i][q] = sn * wp + c * wq;
                    const double vp = V[i][p];
                    const double vq = V[i][q];
                    V[i][p] = c * vp - sn * vq;
                    V[i][q] = sn * vp + c * vq;
                }
            }
        }
    }
    if (!converged) return 1;

    for (int j = 0; j < 3; ++j) {
        s[j] = std::sqrt(W[0][j] * W[0][j] + W[1][j] * W[1][j] + W[2][j] * W[2][j]);
    }
    // Order by descending singular value, moving columns of W and V along.
    for (int j = 0; j < 2; ++j) {
        int m = j;
        for (int k = j + 1; k < 3; ++k) {
            if (s[k] > s[m]) m = k;
        }
        if (m != j) {
            std::swap(s[j], s[m]);
            velmar_matrix33_double_swap_col(W, j, m);
            velmar_matrix33_double_swap_col(V, j, m);
        }
    }
    // Columns of U as rows first (convenient for the vector helpers), transposed at the end.
    const double scale = s[0] > 0.0 ? s[0] : 1.0;
    double Ut[3][3] = {};
    int rank = 0;
    for (int j = 0; j < 3; ++j) {
        if (s[j] <= 1e-14 * scale) break;
        for (int i = 0; i < 3; ++i) Ut[j][i] = W[i][j] / s[j];
        ++rank;
    }
    if (rank == 0) {
        set_identity(Ut);
    } else if (rank == 1) {
        velmar_vector3_double_complement2(Ut[1], Ut[2], Ut[0]);
    } else if (rank == 2) {
        velmar_vector3_double_complement1(Ut[2], Ut[0], Ut[1]);
    }
    velmar_matrix33_double_copy(U, Ut);
    velmar_matrix33_double_transpose(U);
    return 0;
}

void velmar_matrix33_double_rotation_simple(double R[3][3], int index, double angle) {
    set_identity(R);
    const int i = (index + 1) % 3;
    const int j = (index + 2) % 3;
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    R[i][i] = c;
    R[i][j] = -s;
    R[j][i] = s;
    R[j][j] = c;
}

void velmar_matrix33_double_rotation_euler(double R[3][3], const double angle[3]) {
    double first[3][3];
    double second[3][3];
    double third[3][3];
    velmar_matrix33_double_rotation_simple(first, 2, angle[0]);
    velmar_matrix33_double_rotation_simple(second, 0, angle[1]);
    velmar_matrix33_double_rotation_simple(third, 2, angle[2]);
    velmar_matrix33_double_multiplication(R, first, second);
    velmar_matrix33_double_multiplication(R, R, third);
}

void velmar_matrix33_double_rotation_random(double R[3][3]) {
    double angle[3];
    angle[0] = 6.2831853 * velmar_random();
    angle[1] = std::acos(2.0 * velmar_random() - 1.0);
    angle[2] = 6.2831853 * velmar_random();
    velmar_matrix33_double_rotation_euler(R, angle);
}
