// GULP files of the bond-valence force field: the Morse library (species and charges, a Morse term
// per cation-anion pair, the screened Coulomb repulsion between ions of like sign), its
// embedded-atom variant (bond valence as the density, an embedding energy least at the formal
// valence), and the input of a molecular dynamics of the conducting ions in the frozen host. Files
// are written with
// "\n" line ends under a temporary name and renamed when complete; every file written is announced
// on standard output. Units as GULP's: eV, A, ps, K, e.
#ifndef VELMAR_GULP_H
#define VELMAR_GULP_H

#include <cstdio>

#include "model/velmar-property.h"
#include "structure/velmar-cell.h"

// The library of the table (filled, validated with velmar_forcefield_validate) to file; source
// names the structure in the header. 0 on success.
int velmar_gin_write_lib(std::FILE *file, const VELMAR_PROPERTY *ppt, const char *source);
// The embedded-atom library; the cell's atoms give the species counts that share the bond energy
// between the sites. 0 on success.
int velmar_gin_write_eam(std::FILE *file, const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt,
                         const char *source);
// The input of a molecular dynamics of the table's conducting species (set, and present in the
// cell) at temperature (K) for time ps of production after time / 5 ps of equilibration, with a
// time step of timestep ps; every other atom is tethered. The potentials come from the library
// named library; trajectory and restart files are named from base. 0 on success.
int velmar_gin_write_md(std::FILE *file, const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt,
                        const char *library, const char *base, double temperature, double time,
                        double timestep);

// The Morse library (or with eam, the embedded-atom one) written to path. 0 on success.
int velmar_gin_export_lib_to_file(const char *path, const VELMAR_CELL *cell,
                                  const VELMAR_PROPERTY *ppt, const char *source, bool eam);
// "<base>.gin" and the library "<base>.lib" it reads, both or neither. 0 on success.
int velmar_gin_export_md_to_files(const char *base, const VELMAR_CELL *cell,
                                  const VELMAR_PROPERTY *ppt, double temperature, double time,
                                  double timestep);

#endif  // VELMAR_GULP_H
