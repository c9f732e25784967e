// Spectral derivatives of a landscape taken as periodic: a three-dimensional complex discrete
// Fourier transform (FFTW, FFTW_ESTIMATE plans), multiplication by the wave-number factors of the
// wanted derivative along the lattice directions, and the transform back. Values are stored flat,
// element (i, j, k) at (i n[1] + j) n[2] + k. Records returned belong to the caller.
#ifndef VELMAR_FFT_H
#define VELMAR_FFT_H

#include <fftw3.h>

#include <cstdint>
#include <string>
#include <vector>

#include "landscape/velmar-cube.h"

enum fftcube_option_output { FFTCUBE_REAL = 0, FFTCUBE_IMAG = 1, FFTCUBE_MODU = 2 };

struct VELMAR_FFTCUBE {
    fftw_complex *value;  // n[0] n[1] n[2] complex values
    double a[3][3];       // lattice vectors, A
    double a_i[3][3];     // voxel steps, A
    int32_t n[3];
};

struct VELMAR_FFT {
    VELMAR_FFTCUBE *en;       // the landscape, imaginary parts 0
    VELMAR_FFTCUBE *f[3];     // first derivatives along the lattice directions, eV/A
    VELMAR_FFTCUBE *k[3][3];  // second derivatives, eV/A^2
};

VELMAR_FFTCUBE *velmar_fftcube_new(int32_t n0, int32_t n1, int32_t n2);
void velmar_fftcube_free(VELMAR_FFTCUBE *c);
VELMAR_FFTCUBE *velmar_fftcube_copy(const VELMAR_FFTCUBE *c);
// The cube's values as real parts.
VELMAR_FFTCUBE *velmar_fftcube_new_from_cube(const VELMAR_CUBE *cube);
// A real cube of the real parts, imaginary parts or moduli.
VELMAR_CUBE *velmar_cube_new_from_fftcube(const VELMAR_FFTCUBE *c, fftcube_option_output option);
// The transform of a copy: forward (divided by the number of voxels) or backward (not scaled).
VELMAR_FFTCUBE *velmar_fftcube_dft(const VELMAR_FFTCUBE *c, bool forward);
// A copy of transformed values multiplied by the factors of the derivative of order 0, 1 or 2
// along the lattice directions sub[0..order-1].
VELMAR_FFTCUBE *velmar_fftcube_differentiate_dft(const VELMAR_FFTCUBE *c, int order,
                                                 const int *sub);
// The derivative in real space (real parts): forward transform, factors, backward transform.
VELMAR_FFTCUBE *velmar_fftcube_differentiate(const VELMAR_FFTCUBE *c, int order, const int *sub);

VELMAR_FFT *velmar_fft_new();
void velmar_fft_free(VELMAR_FFT *fft);
// The landscape with its three first and nine second derivatives.
VELMAR_FFT *velmar_fft_new_from_cube(const VELMAR_CUBE *cube);
// sum of k[r][r] squared (as complex products), per voxel.
VELMAR_FFTCUBE *velmar_fft_laplacian(const VELMAR_FFT *fft);
// |gradient| from the real parts of f.
VELMAR_FFTCUBE *velmar_fft_slope(const VELMAR_FFT *fft);
// Determinant of the symmetrised matrix of the real parts of k.
VELMAR_FFTCUBE *velmar_fft_discriminant(const VELMAR_FFT *fft);

namespace velmar::detail {

// Multiplies transformed values in place by the derivative factors (the rules of
// velmar_fftcube_differentiate_dft).
void fft_apply_derivative(fftw_complex *value, const int32_t n[3], const double lengths[3],
                          int order, const int *sub);

// One transform between two arrays of n[0] n[1] n[2] values, planned as the record functions
// plan it; forward results are divided by the number of voxels. Returns false when no plan can
// be made.
bool fft_transform(fftw_complex *out, const fftw_complex *in, const int32_t n[3], bool forward);

// The files velmar_fft_analyze_export_cubes_to_file writes for a base name, in the order written:
// the gradient, the second derivatives, the Laplacian and the slope.
std::vector<std::string> fft_cube_names(const std::string &base);
}  // namespace velmar::detail

#endif  // VELMAR_FFT_H
