// The run's random generator. The library generator's range is [0, RAND_MAX]; dividing by its
// maximum gives a uniform number in [0, 1] in which 1.0 itself can occur.
#include "velmar-random.h"

#include <cstdlib>

void velmar_random_seed(unsigned int seed) { std::srand(seed); }

double velmar_random() { return velmar::detail::random_unit_from_raw(std::rand()); }

double velmar::detail::random_unit_from_raw(int raw) {
    return static_cast<double>(raw) / static_cast<double>(RAND_MAX);
}
