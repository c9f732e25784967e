// 3x3 decompositions: rank by row reduction, the closed-form symmetric eigenproblem and a Jacobi
// one, LU with partial pivoting and the linear solver built on it, the singular value
// decomposition, and rotation matrices. Tolerances are absolute (1e-6 for pivots, 1e-11 for
// "already diagonal"), so the routines suit matrices of order one, such as lattices in angstrom and
// curvatures in eV/A^2.
#ifndef VELMAR_SOLVER_H
#define VELMAR_SOLVER_H

// Rank (0 to 3) of a copy of A.
int velmar_matrix33_double_rank(const double A[3][3]);
// Rank (0 to 3) of M, reducing M in place: afterwards its first rank rows are independent.
int velmar_matrix33_double_compute_rank(double M[3][3]);
// Eigenvalues of the symmetric A in ascending order. Always 0.
int velmar_matrix33_double_eigenvalue_symmetric(double eig[3], const double A[3][3]);
// Eigenvalues (ascending) and unit eigenvectors, the rows of eiv in the order of eig. A is
// symmetrised in place first. 0, or 1 when the eigenvectors cannot be found.
int velmar_matrix33_double_eigensolver_symmetric(double eig[3], double eiv[3][3], double A[3][3]);
// The same by cyclic Jacobi rotations of a copy of A (symmetrised): eigenvalues ascending, unit
// eigenvectors as the rows of eiv. Rotations converge for every finite symmetric matrix, however
// degenerate its spectrum, so this only fails (1, eig and eiv zero) when A holds a non-finite
// entry. Accuracy: about 1e-15 of the largest eigenvalue's magnitude.
int velmar_matrix33_double_eigensolver_jacobi(double eig[3], double eiv[3][3],
                                              const double A[3][3]);
// inv = A^-1 by cofactors. 0, or 1 when |det A| is not above 1e-12 (inv is then left as it was).
int velmar_matrix33_double_inverse(double inv[3][3], const double A[3][3]);
// P A = L U with partial pivoting; L has a unit diagonal. Pivots below 1e-6 eliminate nothing.
// Always 0.
int velmar_matrix33_double_lusolver(double P[3][3], double L[3][3], double U[3][3],
                                    const double A[3][3]);
// Solves A x = b. Returns the number of pivots not below 1e-6; below 3 the matrix is taken as
// singular and x is zero.
int velmar_matrix33_double_linearsolver(double x[3], const double A[3][3], const double b[3]);
// A = U diag(s) V^T with s descending and non-negative, U and V orthogonal. 0, or 1 when the
// iteration does not converge.
int velmar_matrix33_double_svdsolver(double U[3][3], double s[3], double V[3][3],
                                     const double A[3][3]);
// Rotation by angle (radians, right-handed) about the axis index (0 x, 1 y, 2 z).
void velmar_matrix33_double_rotation_simple(double R[3][3], int index, double angle);
// R = Rz(angle[0]) Rx(angle[1]) Rz(angle[2]), angles in radians.
void velmar_matrix33_double_rotation_euler(double R[3][3], const double angle[3]);
// A rotation drawn uniformly over all rotations, from the run's random generator.
void velmar_matrix33_double_rotation_random(double R[3][3]);

#endif  // VELMAR_SOLVER_H
