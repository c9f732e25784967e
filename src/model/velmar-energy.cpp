// Pair functions of the energy model.
#include "model/velmar-energy.h"

#include <cmath>

namespace {
constexpr double kSqrtPi = 1.7724538498928541;
constexpr double kCoulombShiftDistance = 10.0;  // A
}  // namespace

double velmar_energy_bonding(double x, double d0, double rmin, double b) {
    const double e = std::exp((rmin - x) / b);
    return (d0 / 2.0) * ((e - 1.0) * (e - 1.0) - 1.0);
}

double velmar_energy_bonding_with_energy_shift(double x, double d0, double rmin, double b,
                                               double en_s) {
    return velmar_energy_bonding(x, d0, rmin, b) - en_s;
}

double velmar_energy_bonding_with_energy_shift_and_force_shift(double x, double d0, double rmin,
                                                               double b, double en_s, double f_s,
                                                               double cutoff) {
    return velmar_energy_bonding(x, d0, rmin, b) - en_s - (x - cutoff) * f_s;
}

double velmar_force_bonding(double x, double d0, double rmin, double b) {
    const double e = std::exp((rmin - x) / b);
    return -d0 * e * (e - 1.0) / b;
}

double velmar_force_bonding_with_force_shift(double x, double d0, double rmin, double b,
                                             double f_s) {
    return velmar_force_bonding(x, d0, rmin, b) - f_s;
}

double velmar_energy_coulombic(double x, double q, double r_eff) {
    return q * std::erfc(x / r_eff) / x -
           q * std::erfc(kCoulombShiftDistance / r_eff) / kCoulombShiftDistance;
}

double velmar_force_coulombic(double x, double q, double r_eff) {
    const double u = x / r_eff;
    return -q * std::erfc(u) / (x * x) - 2.0 * q * std::exp(-u * u) / (kSqrtPi * r_eff * x);
}

double velmar_pseudopotential_energy_bonding(double x, double a2, double a1, double a0) {
    return a2 * x * x + a1 * x + a0;
}

double velmar_pseudopotential_energy_coulombic(double x, double a2, double a1, double a0) {
    return a2 * x * x + a1 * x + a0;
}
