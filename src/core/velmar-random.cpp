// The run's random generator. The library generator's range is [0, RAND_MAX]; dividing by its
// maximum gives a uniform number in [0, 1] in which 1.0 itself can occur.
#include "core/velmar-random.h"

#include <cmath>
#include <cstdlib>

void velmar_random_seed(unsigned int seed) { std::srand(seed); }

double velmar_random() { return velmar::detail::random_unit_from_raw(std::rand()); }

double velmar::detail::random_unit_from_raw(int raw) {
    return static_cast<double>(raw) / static_cast<double>(RAND_MAX);
}

double velmar_random_normal(double ave, double sd) {
    double u1 = velmar_random();
    while (u1 <= 0.0) u1 = velmar_random();
    double u2 = velmar_random();
    while (u2 <= 0.0) u2 = velmar_random();
    return ave + sd * std::sqrt(-2.0 * std::log(u1)) * std::cos(2.0 * M_PI * u2);
}

void velmar_matrixn3_double_random_normal(double (*r)[3], long n, double ave, double sd) {
    for (long i = 0; i < n; ++i) {
        for (int c = 0; c < 3; ++c) r[i][c] = velmar_random_normal(ave, sd);
    }
}
