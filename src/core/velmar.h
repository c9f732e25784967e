// Shared constants and small ownership helpers used by every module.
// Units: lengths in angstrom, angles in degrees, charges in e, energies in eV, temperatures in K,
// simulated time in ps. Oxidation state 99 means "unknown".
#ifndef VELMAR_H
#define VELMAR_H

#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#define VELMAR_VERSION_STRING "1.3.0-cmd"

// e^2 / (4 pi eps0) in eV*A, and its half for ordered double sums.
constexpr double VELMAR_COULOMB = 14.39964;
constexpr double VELMAR_COULOMB_HALF = 7.19982;
// Boltzmann constant in eV/K and its inverse in K/eV.
constexpr double VELMAR_KB = 8.6173324e-05;
constexpr double VELMAR_KB_INV = 11604.52;
// Elementary charge in units of 1e-19 C.
constexpr double VELMAR_ELEMENTARY_CHARGE = 1.60217662;
// Bohr per angstrom.
constexpr double VELMAR_ANGSTROM_TO_BOHR = 1.889725989;
// Radians per degree.
constexpr double VELMAR_DEG_TO_RAD = 0.0174532925;
// Oxidation state marking an unknown state.
constexpr int VELMAR_OS_UNKNOWN = 99;

namespace velmar {

// Deleter that releases a record with its own _free function, so that one template serves every
// record type: std::unique_ptr<VELMAR_CELL, Free<velmar_cell_free>>.
template <auto FreeFn>
struct Free {
    template <class T>
    void operator()(T *p) const noexcept {
        FreeFn(p);
    }
};

template <class T, auto FreeFn>
using Owned = std::unique_ptr<T, Free<FreeFn>>;

// Copies at most size - 1 characters of text into a fixed field and terminates it.
inline void copy_text(char *field, size_t size, std::string_view text) {
    const size_t n = text.size() < size ? text.size() : size - 1;
    std::memcpy(field, text.data(), n);
    field[n] = '\0';
}

// Closes a FILE* when it goes out of scope.
struct FileCloser {
    void operator()(std::FILE *f) const noexcept {
        if (f != nullptr) std::fclose(f);
    }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

}  // namespace velmar

// The caller's report of a failed callee. Taking the address of the callee makes the compiler check
// that the name printed is the name of a real function.
#define VELMAR_ERROR_NULL(callee) \
    ((void)&(callee), std::fputs("Error: " #callee "() returns NULL.\n", stderr))
#define VELMAR_ERROR_NONZERO(callee) \
    ((void)&(callee), std::fputs("Error: " #callee "() returns non-zero.\n", stderr))

#endif  // VELMAR_H
