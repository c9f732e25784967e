// Pair functions of the energy model: a Morse-type bonding term between cations and anions and a
// screened Coulomb term between ions of like sign. x is the distance in A, d0 in e^2/A, q the
// product of the two fractional charges and r_eff the screening length sf (rc_i + rc_j). Energies
// are in e^2/A (times 14.39964 for eV); the "force" functions return dE/dx.
#ifndef VELMAR_ENERGY_H
#define VELMAR_ENERGY_H

// (d0 / 2) ((e - 1)^2 - 1) with e = exp((rmin - x) / b).
double velmar_energy_bonding(double x, double d0, double rmin, double b);
double velmar_energy_bonding_with_energy_shift(double x, double d0, double rmin, double b,
                                               double en_s);
double velmar_energy_bonding_with_energy_shift_and_force_shift(double x, double d0, double rmin,
                                                               double b, double en_s, double f_s,
                                                               double cutoff);
double velmar_force_bonding(double x, double d0, double rmin, double b);
double velmar_force_bonding_with_force_shift(double x, double d0, double rmin, double b,
                                             double f_s);
// q erfc(x / r_eff) / x, shifted to 0 at 10 A.
double velmar_energy_coulombic(double x, double q, double r_eff);
// Derivative of the unshifted screened term.
double velmar_force_coulombic(double x, double q, double r_eff);
double velmar_pseudopotential_energy_bonding(double x, double a2, double a1, double a0);
double velmar_pseudopotential_energy_coulombic(double x, double a2, double a1, double a0);

#endif  // VELMAR_ENERGY_H
