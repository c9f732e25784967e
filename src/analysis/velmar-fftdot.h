// Critical points of a landscape from its spectral derivatives: a voxel is critical when no
// neighbour (26, periodic) has a smaller gradient length, and is typed by the signs of the
// eigenvalues of its second-derivative matrix. Lists are sorted (type, then energy), diagonal
// neighbours of one type merged, optionally capped in energy, and written as marker atoms (minimum
// Li, first-order saddle Na, second-order saddle K, maximum Rb) and as a CR LF table.
#ifndef VELMAR_FFTDOT_H
#define VELMAR_FFTDOT_H

#include <cstdint>

#include "analysis/velmar-fft.h"
#include "core/velmar-text.h"
#include "structure/velmar-cell.h"

enum fftdot_type {
    FFT_UND = 0,
    FFT_NOR = 1,
    FFT_MIN = 2,
    FFT_SD1 = 3,
    FFT_SD2 = 4,
    FFT_MAX = 5,
    FFT_ERR = 6
};

struct VELMAR_FFTDOT {
    double en;         // eV
    double f[3];       // first derivatives, eV/A
    double k[3][3];    // second derivatives, eV/A^2
    double eig[3];     // eigenvalues of k, ascending
    double eiv[3][3];  // eigenvectors, rows in the order of eig
    int32_t x_i[3];    // voxel index
    double x[3];       // cartesian position, A
    fftdot_type type;
};

struct VELMAR_FFTDOT_LIST {
    int32_t total;
    VELMAR_FFTDOT *dot;
    double a[3][3];
    double a_i[3][3];
    int32_t n[3];
};

VELMAR_FFTDOT *velmar_fftdot_new();
void velmar_fftdot_free(VELMAR_FFTDOT *dot);
// Fills the dot of voxel x_i (folded into the grid), its eigenpairs and type. 0 on success.
int velmar_fftdot_read_from_fft(VELMAR_FFTDOT *dot, const VELMAR_FFT *fft, const long x_i[3]);
void velmar_fftdot_determine_type(VELMAR_FFTDOT *dot, const VELMAR_FFT *fft);

VELMAR_FFTDOT_LIST *velmar_fftdot_list_new();
void velmar_fftdot_list_free(VELMAR_FFTDOT_LIST *list);
// Every minimum, saddle point and maximum of the landscape, sorted and merged.
VELMAR_FFTDOT_LIST *velmar_fftdot_list_new_from_fft(const VELMAR_FFT *fft);
int velmar_fftdot_list_sort(VELMAR_FFTDOT_LIST *list);
int velmar_fftdot_list_merge_near(VELMAR_FFTDOT_LIST *list);
// Drops points more than cap above the lowest one.
int velmar_fftdot_list_filter(VELMAR_FFTDOT_LIST *list, double cap);
VELMAR_CELL *velmar_fftdot_list_export_to_cell(const VELMAR_FFTDOT_LIST *list);
VELMAR_TEXT *velmar_fftdot_list_export_to_text(const VELMAR_FFTDOT_LIST *list);

// The analysis of a landscape written to "<name>.fft.cif" and "<name>.fft.txt". 0 on success.
int velmar_fft_analyze_export_to_file(const VELMAR_CUBE *cube, double cap, const char *name);
// The derivative cubes "<name>.fft.f<d>.cube", "<name>.fft.k<d><e>.cube", the Laplacian and the
// slope, each without header and periodic. 0 on success.
int velmar_fft_analyze_export_cubes_to_file(const VELMAR_CUBE *cube, const char *name);

namespace velmar::detail {

// Sets a dot from the values at voxel x_i (folded into the grid): position, energy, derivatives,
// eigenpairs of k and the type their signs give (a critical voxel assumed). 0, or 1 when the
// point cannot be classified because k has a non-finite entry (type FFT_ERR, nothing printed).
int fftdot_fill(VELMAR_FFTDOT *dot, const long x_i[3], const int32_t n[3], const double a_i[3][3],
                double en, const double f[3], const double k[3][3]);
// velmar_fftdot_read_from_fft without its error line: 0, or 1 when the point cannot be classified.
int fftdot_read(VELMAR_FFTDOT *dot, const VELMAR_FFT *fft, const long x_i[3]);
// The warning for critical points left out because they could not be classified (none: silent).
void fftdot_report_skipped(long skipped);
// True when no voxel of the 26-neighbourhood of flat voxel v has a strictly smaller slope.
bool fftdot_is_critical(const double *slope, const int32_t n[3], int64_t v);
// Sorts and merges a list of critical points and reports their number.
int fftdot_list_finish(VELMAR_FFTDOT_LIST *list);

}  // namespace velmar::detail

#endif  // VELMAR_FFTDOT_H
