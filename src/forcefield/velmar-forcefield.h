// The bond-valence force field of a structure in the terms that external molecular-dynamics engines
// take: per species a label, a charge and a mass; per pair of species either a Morse bond (cation
// and anion, shifted to zero at the pair's cut-off) or the screened Coulomb repulsion (ions of like
// sign, shifted to zero at 10 A and cut at the reach of the total energy). These are the terms of
// velmar_cell_calculate_total_energy, pair by pair. Energies in eV, distances in A, forces in eV/A.
// Shared by the GULP and LAMMPS writers; everything returned is plain values owned by the caller.
#ifndef VELMAR_FORCEFIELD_H
#define VELMAR_FORCEFIELD_H

#include <string>
#include <vector>

#include "model/velmar-property.h"
#include "structure/velmar-cell.h"

// 0 when the table of the cell can be written as a force field: every species has a finite charge
// of the sign of its oxidation state, a screening radius and a mass, and every cation-anion pair
// has Morse parameters. Otherwise names the first species or pair without parameters on standard
// error and returns 1.
int velmar_forcefield_validate(const VELMAR_PROPERTY *ppt);
// 0 when the cell holds atoms of the table's conducting species; otherwise says that the structure
// (named by source) has none and returns 1.
int velmar_forcefield_validate_conducting(const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt,
                                          const char *source);

namespace velmar::detail {

enum class FfTerm { kNone, kMorse, kCoulomb };

// One unordered pair of species (i <= j) and its term.
struct FfPair {
    FfTerm term = FfTerm::kNone;
    int i = 0;
    int j = 0;
    double cutoff = 0.0;  // A; energy and force are zero beyond it
    // Morse: the cation-anion record's d0 (e^2/A), rmin (A), b (A) and energy at the cut-off.
    double d0 = 0.0;
    double rmin = 0.0;
    double b = 0.0;
    double en_s = 0.0;
    // Screened Coulomb: the product of the charges (e^2) and the screening length sf (rc_i + rc_j).
    double qq = 0.0;
    double rho = 0.0;

    // Well depth D0 (eV) and inverse width 1/b (1/A) of the Morse term.
    double depth() const;
    double alpha() const { return 1.0 / b; }
    // The Coulomb term's constant, -k qq erfc(10 / rho) / 10 (eV): its shift to zero at 10 A.
    double coulomb_shift() const;
    // Energy of the pair at distance r (eV), and -dE/dr (eV/A); both 0 beyond the cut-off.
    double energy(double r) const;
    double force(double r) const;
};

// The reach of the Coulomb term: the longest pair cut-off, but at least 12 A.
double ff_reach(const VELMAR_PROPERTY &ppt);
// Every pair of species i <= j that has a term, i outer.
std::vector<FfPair> ff_pairs(const VELMAR_PROPERTY &ppt);
// "Li1+", "O2-".
std::string ff_name(const VELMAR_PROPERTY &ppt, int k);
// One distinct label per species, an element symbol followed by digits as GULP wants species:
// the element and the magnitude of the oxidation state ("Li1", "O2"); an anion whose label would
// repeat a cation's gets 10 added to the digits.
std::vector<std::string> ff_labels(const VELMAR_PROPERTY &ppt);
// The species index of every atom of the cell; empty (after an error line) when an atom has none.
std::vector<int> ff_species_of_atoms(const VELMAR_CELL &cell, const VELMAR_PROPERTY &ppt);
// Fractional coordinates of the cartesian position x in the cell's lattice.
void ff_fractional(double f[3], const VELMAR_CELL &cell, const double x[3]);
// The directory-less part of a path, as files that refer to each other name one another.
std::string ff_base_name(const std::string &path);

}  // namespace velmar::detail

#endif  // VELMAR_FORCEFIELD_H
