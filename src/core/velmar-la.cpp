// Vector and matrix arithmetic on double[3] and double[3][3] (and integer counterparts). Results
// are formed in temporaries first, so an output may alias an input.
#include "core/velmar-la.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <utility>

void velmar_vector3_double_print(const double a[3]) {
    std::printf(" %11.6f %11.6f %11.6f\n", a[0], a[1], a[2]);
}

void velmar_vector3_double_copy(double a[3], const double b[3]) {
    for (int i = 0; i < 3; ++i) a[i] = b[i];
}

void velmar_vector3_double_sum2(double sum[3], double x, const double a[3], double y,
                                const double b[3]) {
    const double r[3] = {x * a[0] + y * b[0], x * a[1] + y * b[1], x * a[2] + y * b[2]};
    velmar_vector3_double_copy(sum, r);
}

void velmar_vector3_double_sum3(double sum[3], double x, const double a[3], double y,
                                const double b[3], double z, const double c[3]) {
    double r[3];
    for (int i = 0; i < 3; ++i) r[i] = x * a[i] + y * b[i] + z * c[i];
    velmar_vector3_double_copy(sum, r);
}

double velmar_vector3_double_dot(const double a[3], const double b[3]) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

void velmar_vector3_double_cross(double p[3], const double a[3], const double b[3]) {
    const double r[3] = {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2],
                         a[0] * b[1] - a[1] * b[0]};
    velmar_vector3_double_copy(p, r);
}

double velmar_vector3_double_distance(const double a[3], const double b[3]) {
    const double d[3] = {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
    return velmar_vector3_double_length(d);
}

double velmar_vector3_double_length(const double a[3]) {
    return std::sqrt(velmar_vector3_double_dot(a, a));
}

void velmar_vector3_double_normalize(double out[3], const double in[3]) {
    const double length = velmar_vector3_double_length(in);
    const double scale = length > 0.0 ? 1.0 / length : 0.0;
    velmar_vector3_double_sum2(out, scale, in, 0.0, in);
}

void velmar_vector3_double_project_parallel(double out[3], const double in[3], const double t[3]) {
    const double tt = velmar_vector3_double_dot(t, t);
    const double f = tt > 0.0 ? velmar_vector3_double_dot(in, t) / tt : 0.0;
    velmar_vector3_double_sum2(out, f, t, 0.0, t);
}

void velmar_vector3_double_project_perpendicular(double out[3], const double in[3],
                                                 const double t[3]) {
    double parallel[3];
    velmar_vector3_double_project_parallel(parallel, in, t);
    velmar_vector3_double_sum2(out, 1.0, in, -1.0, parallel);
}

void velmar_vector3_double_complement1(double u[3], const double a[3], const double b[3]) {
    velmar_vector3_double_cross(u, a, b);
    velmar_vector3_double_normalize(u, u);
}

void velmar_vector3_double_complement2(double u[3], double v[3], double a[3]) {
    velmar_vector3_double_normalize(a, a);
    if (std::fabs(a[0]) >= std::fabs(a[1])) {
        const double f = 1.0 / std::sqrt(a[0] * a[0] + a[2] * a[2]);
        const double r[3] = {-a[2] * f, 0.0, a[0] * f};
        velmar_vector3_double_copy(u, r);
    } else {
        const double f = 1.0 / std::sqrt(a[1] * a[1] + a[2] * a[2]);
        const double r[3] = {0.0, a[2] * f, -a[1] * f};
        velmar_vector3_double_copy(u, r);
    }
    velmar_vector3_double_cross(v, a, u);
}

double velmar_vector3_double_min(const double a[3]) { return std::min({a[0], a[1], a[2]}); }

double velmar_vector3_double_max(const double a[3]) { return std::max({a[0], a[1], a[2]}); }

void velmar_matrix33_double_multiply_vector3(double res[3], const double matrix[3][3],
                                             const double vector[3]) {
    double r[3];
    for (int i = 0; i < 3; ++i) r[i] = velmar_vector3_double_dot(matrix[i], vector);
    velmar_vector3_double_copy(res, r);
}

void velmar_matrix33_double_print(const double A[3][3]) {
    for (int i = 0; i < 3; ++i) velmar_vector3_double_print(A[i]);
}

void velmar_matrix33_double_copy(double out[3][3], const double in[3][3]) {
    for (int i = 0; i < 3; ++i) velmar_vector3_double_copy(out[i], in[i]);
}

void velmar_matrix33_double_transpose(double A[3][3]) {
    for (int i = 0; i < 3; ++i) {
        for (int j = i + 1; j < 3; ++j) std::swap(A[i][j], A[j][i]);
    }
}

double velmar_matrix33_double_determinant(const double a[3][3]) {
    return a[0][0] * (a[1][1] * a[2][2] - a[1][2] * a[2][1]) -
           a[0][1] * (a[1][0] * a[2][2] - a[1][2] * a[2][0]) +
           a[0][2] * (a[1][0] * a[2][1] - a[1][1] * a[2][0]);
}

void velmar_matrix33_double_multiplication(double out[3][3], const double in1[3][3],
                                           const double in2[3][3]) {
    double r[3][3];
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            r[i][j] = in1[i][0] * in2[0][j] + in1[i][1] * in2[1][j] + in1[i][2] * in2[2][j];
        }
    }
    velmar_matrix33_double_copy(out, r);
}

void velmar_matrix33_double_swap_row(double A[3][3], int m, int n) {
    for (int j = 0; j < 3; ++j) std::swap(A[m][j], A[n][j]);
}

void velmar_matrix33_double_swap_col(double A[3][3], int m, int n) {
    for (int i = 0; i < 3; ++i) std::swap(A[i][m], A[i][n]);
}

void velmar_matrix33_double_diagonal(double D[3][3], const double d[3]) {
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) D[i][j] = i == j ? d[i] : 0.0;
    }
}

void velmar_matrix33_double_round(double A[3][3]) {
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) A[i][j] = std::round(A[i][j]);
    }
}

void velmar_matrix33_double_round_to_int(int res[3][3], const double A[3][3]) {
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) res[i][j] = static_cast<int>(std::lround(A[i][j]));
    }
}

void velmar_matrix33_double_symmetrize(double A[3][3]) {
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < i; ++j) {
            A[j][i] = (A[i][j] + A[j][i]) / 2.0;
            A[i][j] = A[j][i];
        }
    }
}

void velmar_matrix33_int_convert_to_double(double out[3][3], const int in[3][3]) {
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) out[i][j] = in[i][j];
    }
}

void velmar_matrix33_int_multiply_vector3(long res[3], const int matrix[3][3],
                                          const long vector[3]) {
    long r[3];
    for (int i = 0; i < 3; ++i) {
        r[i] = matrix[i][0] * vector[0] + matrix[i][1] * vector[1] + matrix[i][2] * vector[2];
    }
    for (int i = 0; i < 3; ++i) res[i] = r[i];
}

void velmar_matrix33_int_multiplication(int out[3][3], const int in1[3][3], const int in2[3][3]) {
    int r[3][3];
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            r[i][j] = in1[i][0] * in2[0][j] + in1[i][1] * in2[1][j] + in1[i][2] * in2[2][j];
        }
    }
    velmar_matrix33_int_copy(out, r);
}

void velmar_matrix33_int_transpose(int A[3][3]) {
    for (int i = 0; i < 3; ++i) {
        for (int j = i + 1; j < 3; ++j) std::swap(A[i][j], A[j][i]);
    }
}

void velmar_matrix33_int_copy(int out[3][3], const int in[3][3]) {
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) out[i][j] = in[i][j];
    }
}

long velmar_matrix33_int_determinant(const int a[3][3]) {
    const auto e = [a](int i, int j) { return static_cast<long>(a[i][j]); };
    return e(0, 0) * (e(1, 1) * e(2, 2) - e(1, 2) * e(2, 1)) -
           e(0, 1) * (e(1, 0) * e(2, 2) - e(1, 2) * e(2, 0)) +
           e(0, 2) * (e(1, 0) * e(2, 1) - e(1, 1) * e(2, 0));
}

long velmar_mod_long(long x, long d) { return ((x % d) + d) % d; }

long velmar_gcd(long a, long b) {
    a = std::labs(a);
    b = std::labs(b);
    if (a < b) std::swap(a, b);
    while (b != 0) {
        const long r = a % b;
        a = b;
        b = r;
    }
    return a;
}

long velmar_lcm(long a, long b) {
    const long g = velmar_gcd(a, b);
    return g == 0 ? 0 : std::labs(a / g * b);
}
