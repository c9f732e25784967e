// The array family: one template per dimension, instantiated for int, double and char.
#include "core/velmar-array.h"

#include <cstdio>
#include <cstdlib>

namespace {

template <class T>
T *new_1d(long n) {
    if (n < 1) return nullptr;
    return static_cast<T *>(std::calloc(static_cast<size_t>(n), sizeof(T)));
}

template <class T>
void free_2d(T **array, long m) {
    if (array == nullptr) return;
    for (long i = 0; i < m; ++i) std::free(array[i]);
    std::free(array);
}

template <class T>
T **new_2d(long m, long n) {
    if (m < 1 || n < 1) return nullptr;
    T **array = new_1d<T *>(m);
    if (array == nullptr) return nullptr;
    for (long i = 0; i < m; ++i) {
        array[i] = new_1d<T>(n);
        if (array[i] == nullptr) {
            free_2d(array, m);
            return nullptr;
        }
    }
    return array;
}

template <class T>
void free_3d(T ***array, long m, long n) {
    if (array == nullptr) return;
    for (long i = 0; i < m; ++i) free_2d(array[i], array[i] == nullptr ? 0 : n);
    std::free(array);
}

template <class T>
T ***new_3d(long m, long n, long k) {
    if (m < 1 || n < 1 || k < 1) return nullptr;
    T ***array = new_1d<T **>(m);
    if (array == nullptr) return nullptr;
    for (long i = 0; i < m; ++i) {
        array[i] = new_2d<T>(n, k);
        if (array[i] == nullptr) {
            free_3d(array, m, n);
            return nullptr;
        }
    }
    return array;
}

template <class T>
T *report_1d(T *array) {
    if (array == nullptr) std::fputs("Error: unable to allocate VELMAR_ARRAY_1D.\n", stderr);
    return array;
}

template <class T>
T **report_2d(T **array) {
    if (array == nullptr) std::fputs("Error: unable to allocate VELMAR_ARRAY_2D.\n", stderr);
    return array;
}

template <class T>
T ***report_3d(T ***array) {
    if (array == nullptr) std::fputs("Error: unable to allocate VELMAR_ARRAY_3D.\n", stderr);
    return array;
}

}  // namespace

int *velmar_array_int_1D_new(long n) { return report_1d(new_1d<int>(n)); }
int **velmar_array_int_2D_new(long m, long n) { return report_2d(new_2d<int>(m, n)); }
int ***velmar_array_int_3D_new(long m, long n, long k) { return report_3d(new_3d<int>(m, n, k)); }
void velmar_array_int_1D_free(int *array) { std::free(array); }
void velmar_array_int_2D_free(int **array, long m) { free_2d(array, m); }
void velmar_array_int_3D_free(int ***array, long m, long n) { free_3d(array, m, n); }

double *velmar_array_double_1D_new(long n) { return report_1d(new_1d<double>(n)); }
double **velmar_array_double_2D_new(long m, long n) { return report_2d(new_2d<double>(m, n)); }
double ***velmar_array_double_3D_new(long m, long n, long k) {
    return report_3d(new_3d<double>(m, n, k));
}
void velmar_array_double_1D_free(double *array) { std::free(array); }
void velmar_array_double_2D_free(double **array, long m) { free_2d(array, m); }
void velmar_array_double_3D_free(double ***array, long m, long n) { free_3d(array, m, n); }

char *velmar_array_char_1D_new(long n) { return report_1d(new_1d<char>(n)); }
char **velmar_array_char_2D_new(long m, long n) { return report_2d(new_2d<char>(m, n)); }
char ***velmar_array_char_3D_new(long m, long n, long k) {
    return report_3d(new_3d<char>(m, n, k));
}
void velmar_array_char_1D_free(char *array) { std::free(array); }
void velmar_array_char_2D_free(char **array, long m) { free_2d(array, m); }
void velmar_array_char_3D_free(char ***array, long m, long n) { free_3d(array, m, n); }

void velmar_array_double_1D_print(const double *array, long n) {
    if (array == nullptr) {
        std::printf("(not allocated)\n");
        return;
    }
    for (long i = 0; i < n; ++i) std::printf(" %5.3f", array[i]);
    std::printf("\n");
}

void velmar_array_double_2D_print(double *const *array, long m, long n) {
    if (array == nullptr) {
        std::printf("(not allocated)\n");
        return;
    }
    for (long i = 0; i < m; ++i) velmar_array_double_1D_print(array[i], n);
}

void velmar_array_char_1D_print(const char *array) {
    if (array == nullptr) {
        std::printf("(not allocated)\n");
        return;
    }
    std::printf("%s\n", array);
}

void velmar_array_char_2D_print(char *const *array, long m) {
    if (array == nullptr) {
        std::printf("(not allocated)\n");
        return;
    }
    for (long i = 0; i < m; ++i) velmar_array_char_1D_print(array[i]);
}

void velmar_array_char_3D_print(char **const *array, long m, long n) {
    if (array == nullptr) {
        std::printf("(not allocated)\n");
        return;
    }
    for (long i = 0; i < m; ++i) {
        if (array[i] == nullptr) {
            std::printf("(not allocated)");
        } else {
            for (long j = 0; j < n; ++j) {
                if (array[i][j] == nullptr) {
                    std::printf("|(not allocated)|");
                } else {
                    std::printf("|%s|", array[i][j]);
                }
            }
        }
        std::printf("\n");
    }
}
