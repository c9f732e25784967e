// The run's one random generator: the runtime library's, seeded once from the clock at start-up.
#ifndef VELMAR_RANDOM_H
#define VELMAR_RANDOM_H

// Seeds the generator (the driver passes the time in seconds).
void velmar_random_seed(unsigned int seed);
// A uniform number in [0, 1]; both ends can occur.
double velmar_random();

// A normal number of mean ave and standard deviation sd (Box-Muller on two velmar_random draws,
// each drawn again while not above 0).
double velmar_random_normal(double ave, double sd);
// n x 3 such numbers.
void velmar_matrixn3_double_random_normal(double (*r)[3], long n, double ave, double sd);

namespace velmar::detail {
// Maps one raw draw of the library generator (0 to RAND_MAX) onto [0, 1].
double random_unit_from_raw(int raw);
}  // namespace velmar::detail

#endif  // VELMAR_RANDOM_H
