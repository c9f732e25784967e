// Small fixed-size arithmetic: 3-vectors and 3x3 matrices of doubles and of integers, and integer
// helpers for periodic indices. Matrices are row-major (A[i][j] is row i, column j). Every function
// works on caller-owned arrays, writes its output argument first, and may be called with the output
// aliasing an input.
#ifndef VELMAR_LA_H
#define VELMAR_LA_H

void velmar_vector3_double_print(const double a[3]);
void velmar_vector3_double_copy(double a[3], const double b[3]);
// sum = x a + y b
void velmar_vector3_double_sum2(double sum[3], double x, const double a[3], double y,
                                const double b[3]);
// sum = x a + y b + z c
void velmar_vector3_double_sum3(double sum[3], double x, const double a[3], double y,
                                const double b[3], double z, const double c[3]);
double velmar_vector3_double_dot(const double a[3], const double b[3]);
// p = a x b
void velmar_vector3_double_cross(double p[3], const double a[3], const double b[3]);
double velmar_vector3_double_distance(const double a[3], const double b[3]);
double velmar_vector3_double_length(const double a[3]);
// out = in / |in|; a zero vector stays zero.
void velmar_vector3_double_normalize(double out[3], const double in[3]);
// Component of in along t, and the remainder in - (that component).
void velmar_vector3_double_project_parallel(double out[3], const double in[3], const double t[3]);
void velmar_vector3_double_project_perpendicular(double out[3], const double in[3],
                                                 const double t[3]);
// u = a x b, normalised.
void velmar_vector3_double_complement1(double u[3], const double a[3], const double b[3]);
// Normalises a (a non-zero vector) in place and gives unit u, v with (a, u, v) orthonormal.
void velmar_vector3_double_complement2(double u[3], double v[3], double a[3]);
double velmar_vector3_double_min(const double a[3]);
double velmar_vector3_double_max(const double a[3]);

// res = matrix . vector
void velmar_matrix33_double_multiply_vector3(double res[3], const double matrix[3][3],
                                             const double vector[3]);
void velmar_matrix33_double_print(const double A[3][3]);
void velmar_matrix33_double_copy(double out[3][3], const double in[3][3]);
void velmar_matrix33_double_transpose(double A[3][3]);
double velmar_matrix33_double_determinant(const double a[3][3]);
// out = in1 . in2
void velmar_matrix33_double_multiplication(double out[3][3], const double in1[3][3],
                                           const double in2[3][3]);
void velmar_matrix33_double_swap_row(double A[3][3], int m, int n);
void velmar_matrix33_double_swap_col(double A[3][3], int m, int n);
// D = diag(d)
void velmar_matrix33_double_diagonal(double D[3][3], const double d[3]);
// Every element to the nearest integer, halves away from zero.
void velmar_matrix33_double_round(double A[3][3]);
void velmar_matrix33_double_round_to_int(int res[3][3], const double A[3][3]);
// A[j][i] = A[i][j] = (A[i][j] + A[j][i]) / 2 for i > j.
void velmar_matrix33_double_symmetrize(double A[3][3]);

void velmar_matrix33_int_convert_to_double(double out[3][3], const int in[3][3]);
// res = matrix . vector
void velmar_matrix33_int_multiply_vector3(long res[3], const int matrix[3][3],
                                          const long vector[3]);
// out = in1 . in2
void velmar_matrix33_int_multiplication(int out[3][3], const int in1[3][3], const int in2[3][3]);
void velmar_matrix33_int_transpose(int A[3][3]);
void velmar_matrix33_int_copy(int out[3][3], const int in[3][3]);
long velmar_matrix33_int_determinant(const int a[3][3]);

// ((x mod d) + d) mod d: the remainder in [0, d) for d > 0.
long velmar_mod_long(long x, long d);
// Greatest common divisor of |a| and |b| (0 when both are 0).
long velmar_gcd(long a, long b);
// Least common multiple, non-negative (0 when either is 0).
long velmar_lcm(long a, long b);

#endif  // VELMAR_LA_H
