// Zeroed int, double and char arrays of one to three dimensions. Every level of a 2D or 3D array is
// allocated separately (rows of pointers); the caller owns the result and releases it with the
// matching _free, giving the same leading extents.
#ifndef VELMAR_ARRAY_H
#define VELMAR_ARRAY_H

int *velmar_array_int_1D_new(long n);
int **velmar_array_int_2D_new(long m, long n);
int ***velmar_array_int_3D_new(long m, long n, long k);
void velmar_array_int_1D_free(int *array);
void velmar_array_int_2D_free(int **array, long m);
void velmar_array_int_3D_free(int ***array, long m, long n);

double *velmar_array_double_1D_new(long n);
double **velmar_array_double_2D_new(long m, long n);
double ***velmar_array_double_3D_new(long m, long n, long k);
void velmar_array_double_1D_free(double *array);
void velmar_array_double_2D_free(double **array, long m);
void velmar_array_double_3D_free(double ***array, long m, long n);

char *velmar_array_char_1D_new(long n);
char **velmar_array_char_2D_new(long m, long n);
char ***velmar_array_char_3D_new(long m, long n, long k);
void velmar_array_char_1D_free(char *array);
void velmar_array_char_2D_free(char **array, long m);
void velmar_array_char_3D_free(char ***array, long m, long n);

// Each value with " %5.3f", then a line break.
void velmar_array_double_1D_print(const double *array, long n);
// Each row as by velmar_array_double_1D_print.
void velmar_array_double_2D_print(double *const *array, long m, long n);
// The string and a line break.
void velmar_array_char_1D_print(const char *array);
// Each of the m strings on its own line.
void velmar_array_char_2D_print(char *const *array, long m);
// One line per first index, each string framed as "|%s|".
void velmar_array_char_3D_print(char **const *array, long m, long n);

#endif  // VELMAR_ARRAY_H
