// Fourier transforms and spectral derivatives of landscapes.
#include "analysis/velmar-fft.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "core/velmar-la.h"
#include "core/velmar.h"

namespace {

constexpr double kTwoPi = 6.2831853;

size_t count_of(const int32_t n[3]) {
    return static_cast<size_t>(n[0]) * static_cast<size_t>(n[1]) * static_cast<size_t>(n[2]);
}

bool ready(const VELMAR_FFTCUBE *c) {
    if (c != nullptr && c->value != nullptr) return true;
    std::fputs("Error: VELMAR_FFTCUBE has not been properly initialized.\n", stderr);
    return false;
}

void copy_geometry(VELMAR_FFTCUBE *to, const double a[3][3], const double a_i[3][3]) {
    velmar_matrix33_double_copy(to->a, a);
    velmar_matrix33_double_copy(to->a_i, a_i);
}

// The signed wave index of coefficient m along an axis of n values, or false when the coefficient
// is dropped (the Nyquist term of odd-order and mixed derivatives).
bool wave_index(long &wave, long m, long n, int order, bool mixed) {
    const long half = n / 2;
    if (order == 1) {
        if (n % 2 == 0 && m == half) return false;
        wave = m < half ? m : m - n;
        return true;
    }
    if (mixed && n % 2 == 0 && m == half) return false;
    wave = m > half ? m - n : m;
    return true;
}

}  // namespace

bool velmar::detail::fft_transform(fftw_complex *out, const fftw_complex *in, const int32_t n[3],
                                   bool forward) {
    fftw_plan plan = fftw_plan_dft_3d(n[0], n[1], n[2], const_cast<fftw_complex *>(in), out,
                                      forward ? FFTW_FORWARD : FFTW_BACKWARD, FFTW_ESTIMATE);
    if (plan == nullptr) return false;
    fftw_execute(plan);
    fftw_destroy_plan(plan);
    fftw_cleanup();
    if (forward) {
        const double total = static_cast<double>(count_of(n));
        const size_t size = count_of(n);
        for (size_t v = 0; v < size; ++v) {
            out[v][0] /= total;
            out[v][1] /= total;
        }
    }
    return true;
}

void velmar::detail::fft_apply_derivative(fftw_complex *value, const int32_t n[3],
                                          const double lengths[3], int order, const int *sub) {
    const bool mixed = order == 2 && sub[0] != sub[1];
    for (long i = 0; i < n[0]; ++i) {
        for (long j = 0; j < n[1]; ++j) {
            for (long k = 0; k < n[2]; ++k) {
                fftw_complex &c = value[(i * n[1] + j) * n[2] + k];
                const long index[3] = {i, j, k};
                for (int t = 0; t < order; ++t) {
                    const int s = sub[t];
                    long wave = 0;
                    double factor = 0.0;  // the factor is 0 + i factor
                    if (wave_index(wave, index[s], n[s], order, mixed)) {
                        factor = kTwoPi * static_cast<double>(wave) / lengths[s];
                    }
                    const double re = c[0] * 0.0 - c[1] * factor;
                    const double im = c[0] * factor + c[1] * 0.0;
                    c[0] = re;
                    c[1] = im;
                }
            }
        }
    }
}

VELMAR_FFTCUBE *velmar_fftcube_new(int32_t n0, int32_t n1, int32_t n2) {
    if (n0 < 1 || n1 < 1 || n2 < 1) {
        std::fputs("Error: argument must be positive.\n", stderr);
        return nullptr;
    }
    auto *raw = static_cast<VELMAR_FFTCUBE *>(std::calloc(1, sizeof(VELMAR_FFTCUBE)));
    if (raw == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_FFTCUBE.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_FFTCUBE, velmar_fftcube_free> c(raw);
    c->n[0] = n0;
    c->n[1] = n1;
    c->n[2] = n2;
    const size_t size = count_of(c->n);
    c->value = static_cast<fftw_complex *>(fftw_malloc(sizeof(fftw_complex) * size));
    if (c->value == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_FFTCUBE->value.\n", stderr);
        return nullptr;
    }
    std::memset(c->value, 0, sizeof(fftw_complex) * size);
    return c.release();
}

void velmar_fftcube_free(VELMAR_FFTCUBE *c) {
    if (c == nullptr) return;
    fftw_free(c->value);
    std::free(c);
}

VELMAR_FFTCUBE *velmar_fftcube_copy(const VELMAR_FFTCUBE *c) {
    if (!ready(c)) return nullptr;
    VELMAR_FFTCUBE *copy = velmar_fftcube_new(c->n[0], c->n[1], c->n[2]);
    if (copy == nullptr) {
        VELMAR_ERROR_NULL(velmar_fftcube_new);
        return nullptr;
    }
    copy_geometry(copy, c->a, c->a_i);
    std::memcpy(copy->value, c->value, sizeof(fftw_complex) * count_of(c->n));
    return copy;
}

VELMAR_FFTCUBE *velmar_fftcube_new_from_cube(const VELMAR_CUBE *cube) {
    if (cube == nullptr || cube->en == nullptr) {
        std::fputs("Error: VELMAR_CUBE has not been initialized properly.\n", stderr);
        return nullptr;
    }
    VELMAR_FFTCUBE *c = velmar_fftcube_new(cube->n[0], cube->n[1], cube->n[2]);
    if (c == nullptr) {
        VELMAR_ERROR_NULL(velmar_fftcube_new);
        return nullptr;
    }
    copy_geometry(c, cube->a, cube->a_i);
    const double *values = velmar::cube_values(cube);
    const size_t size = count_of(c->n);
    for (size_t v = 0; v < size; ++v) c->value[v][0] = values[v];
    return c;
}

VELMAR_CUBE *velmar_cube_new_from_fftcube(const VELMAR_FFTCUBE *c, fftcube_option_output option) {
    if (!ready(c)) return nullptr;
    if (option != FFTCUBE_REAL && option != FFTCUBE_IMAG && option != FFTCUBE_MODU) {
        std::fprintf(stderr, "Error: invalid fftcube_option %d.\n", static_cast<int>(option));
        return nullptr;
    }
    VELMAR_CUBE *cube = velmar_cube_new(c->n[0], c->n[1], c->n[2]);
    if (cube == nullptr) {
        VELMAR_ERROR_NULL(velmar_cube_new);
        return nullptr;
    }
    velmar_matrix33_double_copy(cube->a, c->a);
    velmar_matrix33_double_copy(cube->a_i, c->a_i);
    double *values = velmar::cube_values(cube);
    const size_t size = count_of(c->n);
    for (size_t v = 0; v < size; ++v) {
        const double re = c->value[v][0];
        const double im = c->value[v][1];
        values[v] = option == FFTCUBE_REAL
                        ? re
                        : (option == FFTCUBE_IMAG ? im : std::sqrt(re * re + im * im));
    }
    return cube;
}

VELMAR_FFTCUBE *velmar_fftcube_dft(const VELMAR_FFTCUBE *c, bool forward) {
    if (!ready(c)) return nullptr;
    velmar::Owned<VELMAR_FFTCUBE, velmar_fftcube_free> out(velmar_fftcube_copy(c));
    if (!out) {
        VELMAR_ERROR_NULL(velmar_fftcube_copy);
        return nullptr;
    }
    if (!velmar::detail::fft_transform(out->value, c->value, c->n, forward)) {
        std::fputs("Error: unable to allocate input array.\n", stderr);
        return nullptr;
    }
    return out.release();
}

VELMAR_FFTCUBE *velmar_fftcube_differentiate_dft(const VELMAR_FFTCUBE *c, int order,
                                                 const int *sub) {
    if (!ready(c)) return nullptr;
    if (order < 0 || order > 2) {
        std::fputs("Error: order must be 1 or 2.\n", stderr);
        return nullptr;
    }
    for (int t = 0; t < order; ++t) {
        if (sub == nullptr || sub[t] < 0 || sub[t] > 2) {
            std::fputs("Error: derivative directions must be 0, 1 or 2.\n", stderr);
            return nullptr;
        }
    }
    VELMAR_FFTCUBE *out = velmar_fftcube_copy(c);
    if (out == nullptr) {
        VELMAR_ERROR_NULL(velmar_fftcube_copy);
        return nullptr;
    }
    double lengths[3];
    for (int r = 0; r < 3; ++r) lengths[r] = velmar_vector3_double_length(c->a[r]);
    velmar::detail::fft_apply_derivative(out->value, out->n, lengths, order, sub);
    return out;
}

VELMAR_FFTCUBE *velmar_fftcube_differentiate(const VELMAR_FFTCUBE *c, int order, const int *sub) {
    if (order < 0) {
        std::fputs("Error: order must not be negative.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_FFTCUBE, velmar_fftcube_free> forward(velmar_fftcube_dft(c, true));
    if (!forward) {
        VELMAR_ERROR_NULL(velmar_fftcube_dft);
        return nullptr;
    }
    velmar::Owned<VELMAR_FFTCUBE, velmar_fftcube_free> factors(
        velmar_fftcube_differentiate_dft(forward.get(), order, sub));
    if (!factors) {
        VELMAR_ERROR_NULL(velmar_fftcube_differentiate_dft);
        return nullptr;
    }
    forward.reset();
    VELMAR_FFTCUBE *back = velmar_fftcube_dft(factors.get(), false);
    if (back == nullptr) VELMAR_ERROR_NULL(velmar_fftcube_dft);
    return back;
}

VELMAR_FFT *velmar_fft_new() {
    auto *fft = static_cast<VELMAR_FFT *>(std::calloc(1, sizeof(VELMAR_FFT)));
    if (fft == nullptr) std::fputs("Error: unable to allocate VELMAR_FFT.\n", stderr);
    return fft;
}

void velmar_fft_free(VELMAR_FFT *fft) {
    if (fft == nullptr) return;
    velmar_fftcube_free(fft->en);
    for (auto *f : fft->f) velmar_fftcube_free(f);
    for (auto &row : fft->k) {
        for (auto *k : row) velmar_fftcube_free(k);
    }
    std::free(fft);
}

VELMAR_FFT *velmar_fft_new_from_cube(const VELMAR_CUBE *cube) {
    velmar::Owned<VELMAR_FFT, velmar_fft_free> fft(velmar_fft_new());
    if (!fft) {
        VELMAR_ERROR_NULL(velmar_fft_new);
        return nullptr;
    }
    fft->en = velmar_fftcube_new_from_cube(cube);
    if (fft->en == nullptr) {
        VELMAR_ERROR_NULL(velmar_fftcube_new_from_cube);
        return nullptr;
    }
    for (int r = 0; r < 3; ++r) {
        const int sub[1] = {r};
        fft->f[r] = velmar_fftcube_differentiate(fft->en, 1, sub);
        if (fft->f[r] == nullptr) {
            VELMAR_ERROR_NULL(velmar_fftcube_differentiate);
            return nullptr;
        }
    }
    for (int r = 0; r < 3; ++r) {
        for (int s = 0; s < 3; ++s) {
            const int sub[2] = {r, s};
            fft->k[r][s] = velmar_fftcube_differentiate(fft->en, 2, sub);
            if (fft->k[r][s] == nullptr) {
                VELMAR_ERROR_NULL(velmar_fftcube_differentiate);
                return nullptr;
            }
        }
    }
    return fft.release();
}

namespace {

// A new fftcube with the landscape's geometry filled voxel by voxel.
template <class Fill>
VELMAR_FFTCUBE *derived(const VELMAR_FFT *fft, Fill fill) {
    if (fft == nullptr || fft->en == nullptr || fft->f[0] == nullptr || fft->k[2][2] == nullptr) {
        std::fputs("Error: VELMAR_FFT has not been properly initialized.\n", stderr);
        return nullptr;
    }
    VELMAR_FFTCUBE *out = velmar_fftcube_new(fft->en->n[0], fft->en->n[1], fft->en->n[2]);
    if (out == nullptr) {
        VELMAR_ERROR_NULL(velmar_fftcube_new);
        return nullptr;
    }
    copy_geometry(out, fft->en->a, fft->en->a_i);
    const size_t size = count_of(out->n);
    for (size_t v = 0; v < size; ++v) fill(out->value[v], v);
    return out;
}

}  // namespace

VELMAR_FFTCUBE *velmar_fft_laplacian(const VELMAR_FFT *fft) {
    return derived(fft, [fft](fftw_complex &out, size_t v) {
        out[0] = 0.0;
        out[1] = 0.0;
        for (int r = 0; r < 3; ++r) {
            const double re = fft->k[r][r]->value[v][0];
            const double im = fft->k[r][r]->value[v][1];
            out[0] += re * re - im * im;
            out[1] += re * im + im * re;
        }
    });
}

VELMAR_FFTCUBE *velmar_fft_slope(const VELMAR_FFT *fft) {
    return derived(fft, [fft](fftw_complex &out, size_t v) {
        const double g[3] = {fft->f[0]->value[v][0], fft->f[1]->value[v][0],
                             fft->f[2]->value[v][0]};
        out[0] = velmar_vector3_double_length(g);
        out[1] = 0.0;
    });
}

VELMAR_FFTCUBE *velmar_fft_discriminant(const VELMAR_FFT *fft) {
    return derived(fft, [fft](fftw_complex &out, size_t v) {
        double k[3][3];
        for (int r = 0; r < 3; ++r) {
            for (int s = 0; s < 3; ++s) k[r][s] = fft->k[r][s]->value[v][0];
        }
        velmar_matrix33_double_symmetrize(k);
        out[0] = velmar_matrix33_double_determinant(k);
        out[1] = 0.0;
    });
}
