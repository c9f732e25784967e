// The Fourier analysis of a landscape as the commands run it, lean on memory: the landscape is
// transformed once, each derivative is formed from that transform and transformed back in turn,
// and only what the analysis keeps is stored (the gradient, its length, and the second
// derivatives at the critical voxels). The transforms are those of velmar_fftcube_differentiate,
// so the results are the ones the full record gives.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "analysis/velmar-fft.h"
#include "analysis/velmar-fftdot.h"
#include "core/velmar-la.h"
#include "core/velmar-output.h"
#include "core/velmar-progress.h"
#include "core/velmar.h"
#include "landscape/velmar-cube-file.h"
#include "structure/velmar-cif-writer.h"

namespace {

struct FftwFree {
    void operator()(fftw_complex *p) const noexcept { fftw_free(p); }
};
using ComplexArray = std::unique_ptr<fftw_complex[], FftwFree>;

ComplexArray complex_array(size_t size) {
    return ComplexArray(static_cast<fftw_complex *>(fftw_malloc(sizeof(fftw_complex) * size)));
}

// The forward transform of a landscape and the means to take its derivatives one at a time.
class Spectrum {
  public:
    bool build(const VELMAR_CUBE &cube) {
        for (int r = 0; r < 3; ++r) {
            n_[r] = cube.n[r];
            lengths_[r] = velmar_vector3_double_length(cube.a[r]);
        }
        size_ = static_cast<size_t>(n_[0]) * n_[1] * n_[2];
        ComplexArray values = complex_array(size_);
        transform_ = complex_array(size_);
        work_ = complex_array(size_);
        result_ = complex_array(size_);
        if (!values || !transform_ || !work_ || !result_) {
            std::fputs("Error: unable to allocate input array.\n", stderr);
            return false;
        }
        const double *en = velmar::cube_values(&cube);
        for (size_t v = 0; v < size_; ++v) {
            values[v][0] = en[v];
            values[v][1] = 0.0;
        }
        return velmar::detail::fft_transform(transform_.get(), values.get(), n_, true);
    }

    // The derivative of the given order along sub[], back in real space (complex values).
    const fftw_complex *derivative(int order, const int *sub) {
        std::memcpy(work_.get(), transform_.get(), sizeof(fftw_complex) * size_);
        velmar::detail::fft_apply_derivative(work_.get(), n_, lengths_, order, sub);
        if (!velmar::detail::fft_transform(result_.get(), work_.get(), n_, false)) {
            std::fputs("Error: velmar_fftcube_differentiate() returns NULL.\n", stderr);
            return nullptr;
        }
        return result_.get();
    }

    size_t size() const { return size_; }

  private:
    int32_t n_[3] = {};
    double lengths_[3] = {};
    size_t size_ = 0;
    ComplexArray transform_;
    ComplexArray work_;
    ComplexArray result_;
};

bool cube_ready(const VELMAR_CUBE *cube) {
    if (cube != nullptr && cube->en != nullptr) return true;
    std::fputs("Error: VELMAR_CUBE has not been initialized properly.\n", stderr);
    return false;
}

// The critical points of a landscape, as velmar_fftdot_list_new_from_fft lists them; NULL after
// the error line of the step that failed.
VELMAR_FFTDOT_LIST *critical_points(const VELMAR_CUBE &cube) {
    Spectrum spectrum;
    if (!spectrum.build(cube)) {
        std::fputs("Error: velmar_fft_new_from_cube() returns NULL.\n", stderr);
        return nullptr;
    }
    const size_t size = spectrum.size();
    // Twelve transforms (the gradient and the second derivatives), then the classification.
    velmar::Progress progress("FFT", 13);
    std::vector<double> f[3];
    for (int r = 0; r < 3; ++r) {
        const int sub[1] = {r};
        const fftw_complex *d = spectrum.derivative(1, sub);
        if (d == nullptr) return nullptr;
        progress.update(r + 1);
        f[r].resize(size);
        for (size_t v = 0; v < size; ++v) f[r][v] = d[v][0];
    }
    std::vector<double> slope(size);
    for (size_t v = 0; v < size; ++v) {
        const double g[3] = {f[0][v], f[1][v], f[2][v]};
        slope[v] = velmar_vector3_double_length(g);
    }
    std::vector<char> critical(size, 0);
    const auto total = static_cast<int64_t>(size);
#pragma omp parallel for schedule(static)
    for (int64_t v = 0; v < total; ++v) {
        critical[v] = velmar::detail::fftdot_is_critical(slope.data(), cube.n, v) ? 1 : 0;
    }
    std::vector<int64_t> voxels;
    for (int64_t v = 0; v < total; ++v) {
        if (critical[v] != 0) voxels.push_back(v);
    }
    slope.clear();
    slope.shrink_to_fit();
    std::vector<double> k(voxels.size() * 9);
    for (int r = 0; r < 3; ++r) {
        for (int s = 0; s < 3; ++s) {
            const int sub[2] = {r, s};
            const fftw_complex *d = spectrum.derivative(2, sub);
            if (d == nullptr) return nullptr;
            progress.update(4 + 3 * r + s);
            for (size_t c = 0; c < voxels.size(); ++c) k[9 * c + 3 * r + s] = d[voxels[c]][0];
        }
    }

    velmar::Owned<VELMAR_FFTDOT_LIST, velmar_fftdot_list_free> list(velmar_fftdot_list_new());
    if (!list) return nullptr;
    list->dot =
        static_cast<VELMAR_FFTDOT *>(std::malloc(sizeof(VELMAR_FFTDOT) * (voxels.size() + 1)));
    if (list->dot == nullptr) {
        std::fputs("Error: unable to reallocate VELMAR_FFTDOT.\n", stderr);
        return nullptr;
    }
    const double *en = velmar::cube_values(&cube);
    long skipped = 0;
    const int64_t plane = static_cast<int64_t>(cube.n[1]) * cube.n[2];
    for (size_t c = 0; c < voxels.size(); ++c) {
        const int64_t v = voxels[c];
        const long x[3] = {static_cast<long>(v / plane),
                           static_cast<long>((v / cube.n[2]) % cube.n[1]),
                           static_cast<long>(v % cube.n[2])};
        const double g[3] = {f[0][v], f[1][v], f[2][v]};
        double kk[3][3];
        for (int r = 0; r < 3; ++r) {
            for (int s = 0; s < 3; ++s) kk[r][s] = k[9 * c + 3 * r + s];
        }
        VELMAR_FFTDOT &dot = list->dot[list->total];
        if (velmar::detail::fftdot_fill(&dot, x, cube.n, cube.a_i, en[v], g, kk) != 0) {
            ++skipped;
            continue;
        }
        if (dot.type == FFT_MIN || dot.type == FFT_SD1 || dot.type == FFT_SD2 ||
            dot.type == FFT_MAX) {
            ++list->total;
        }
    }
    velmar::detail::fftdot_report_skipped(skipped);
    velmar_matrix33_double_copy(list->a, cube.a);
    velmar_matrix33_double_copy(list->a_i, cube.a_i);
    for (int r = 0; r < 3; ++r) list->n[r] = cube.n[r];
    if (velmar::detail::fftdot_list_finish(list.get()) != 0) {
        VELMAR_ERROR_NULL(velmar_fftdot_list_new_from_fft);
        return nullptr;
    }
    return list.release();
}

// Writes the real parts of values as a periodic cube without header.
bool write_real(const VELMAR_CUBE &like, const double *values, const std::string &name) {
    velmar::Owned<VELMAR_CUBE, velmar_cube_free> cube(
        velmar_cube_new(like.n[0], like.n[1], like.n[2]));
    if (!cube) {
        std::fputs("Error: velmar_cube_new_from_fftcube() returns NULL.\n", stderr);
        return false;
    }
    velmar_matrix33_double_copy(cube->a, like.a);
    velmar_matrix33_double_copy(cube->a_i, like.a_i);
    std::memcpy(velmar::cube_values(cube.get()), values,
                sizeof(double) * static_cast<size_t>(velmar::cube_size(cube.get())));
    if (velmar_cube_export_to_file(cube.get(), nullptr, nullptr, name.c_str(), true) != 0) {
        std::fputs("Error: velmar_cube_export_to_file() returns NULL.\n", stderr);
        return false;
    }
    return true;
}

int export_cubes(const VELMAR_CUBE &cube, const char *name);

}  // namespace

int velmar_fft_analyze_export_to_file(const VELMAR_CUBE *cube, double cap, const char *name) {
    if (!cube_ready(cube) || name == nullptr) return 1;
    const std::string base = name;
    const std::string cif_name = base + ".fft.cif";
    const std::string text_name = base + ".fft.txt";
    if (!velmar::output_check(cif_name) || !velmar::output_check(text_name)) return 1;
    velmar::Owned<VELMAR_FFTDOT_LIST, velmar_fftdot_list_free> list;
    try {
        list.reset(critical_points(*cube));
    } catch (const std::bad_alloc &) {
        std::fputs("Error: unable to allocate input array.\n", stderr);
    }
    if (!list) return 1;
    if (cap > 0 && velmar_fftdot_list_filter(list.get(), cap) != 0) {
        VELMAR_ERROR_NONZERO(velmar_fftdot_list_filter);
        return 1;
    }
    velmar::Owned<VELMAR_CELL, velmar_cell_free> cell(
        velmar_fftdot_list_export_to_cell(list.get()));
    if (!cell) {
        VELMAR_ERROR_NULL(velmar_fftdot_list_export_to_cell);
        return 1;
    }
    velmar::Owned<VELMAR_TEXT, velmar_text_free> text(
        velmar_fftdot_list_export_to_text(list.get()));
    if (!text) {
        VELMAR_ERROR_NULL(velmar_fftdot_list_export_to_text);
        return 1;
    }
    // Both files are complete before either appears: no marker CIF without its table.
    velmar::Owned<VELMAR_TEXT, velmar_text_free> cif(velmar::detail::cell_export_markers_to_text(
        cell.get(), velmar::cube_values_at_atoms(*cube, *cell),
        velmar::detail::cif_block_name(cif_name.c_str()).c_str()));
    if (!cif) {
        VELMAR_ERROR_NULL(velmar_cell_export_cif_to_text);
        return 1;
    }
    return velmar::write_files(
        {{cif_name, std::string_view(cif->content, static_cast<size_t>(cif->length))},
         {text_name, std::string_view(text->content, static_cast<size_t>(text->length))}});
}

std::vector<std::string> velmar::detail::fft_cube_names(const std::string &base) {
    std::vector<std::string> names;
    for (int r = 0; r < 3; ++r) names.push_back(base + ".fft.f" + std::to_string(r) + ".cube");
    for (int r = 0; r < 3; ++r) {
        for (int s = 0; s < 3; ++s) {
            names.push_back(base + ".fft.k" + std::to_string(r) + std::to_string(s) + ".cube");
        }
    }
    names.push_back(base + ".fft.laplacian.cube");
    names.push_back(base + ".fft.slope.cube");
    return names;
}

int velmar_fft_analyze_export_cubes_to_file(const VELMAR_CUBE *cube, const char *name) {
    if (!cube_ready(cube)) return 1;
    try {
        return export_cubes(*cube, name);
    } catch (const std::bad_alloc &) {
        std::fputs("Error: unable to allocate input array.\n", stderr);
        return 1;
    }
}

namespace {

int export_cubes(const VELMAR_CUBE &cube_ref, const char *name) {
    const VELMAR_CUBE *cube = &cube_ref;
    if (name == nullptr) return 1;
    for (const std::string &file : velmar::detail::fft_cube_names(name)) {
        if (!velmar::output_check(file)) return 1;
    }
    Spectrum spectrum;
    if (!spectrum.build(*cube)) {
        std::fputs("Error: velmar_fft_new_from_cube() returns NULL.\n", stderr);
        return 1;
    }
    const size_t size = spectrum.size();
    const std::vector<std::string> names = velmar::detail::fft_cube_names(name);
    size_t next = 0;  // the next of names to write
    std::vector<double> real(size);
    std::vector<double> slope2(size, 0.0);     // running sum of the squared gradient components
    std::vector<double> laplacian(size, 0.0);  // real part of the sum of squared k[r][r]
    for (int r = 0; r < 3; ++r) {
        const int sub[1] = {r};
        const fftw_complex *d = spectrum.derivative(1, sub);
        if (d == nullptr) return 1;
        for (size_t v = 0; v < size; ++v) {
            real[v] = d[v][0];
            slope2[v] += d[v][0] * d[v][0];
        }
        if (!write_real(*cube, real.data(), names[next++])) return 1;
    }
    for (int r = 0; r < 3; ++r) {
        for (int s = 0; s < 3; ++s) {
            const int sub[2] = {r, s};
            const fftw_complex *d = spectrum.derivative(2, sub);
            if (d == nullptr) return 1;
            for (size_t v = 0; v < size; ++v) {
                real[v] = d[v][0];
                if (r == s) laplacian[v] += d[v][0] * d[v][0] - d[v][1] * d[v][1];
            }
            if (!write_real(*cube, real.data(), names[next++])) return 1;
        }
    }
    if (!write_real(*cube, laplacian.data(), names[next++])) return 1;
    for (size_t v = 0; v < size; ++v) real[v] = std::sqrt(slope2[v]);
    if (!write_real(*cube, real.data(), names[next++])) return 1;
    return 0;
}

}  // namespace
