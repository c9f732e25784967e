// The site summary of a conducting ion: the minima of its landscape (the basins of the basin graph)
// grouped into classes that the structure's symmetry cards map onto each other (energies equal
// within 1e-4 eV), each with its name (the label of the structure's site of the ion there, or
// i1, i2, ... for an interstitial), energy, multiplicity per cell, position, occupancy, the
// curvature at the minimum by finite differences on the grid, the attempt frequency, the lowest
// barrier to leave and the barriers at which it joins the 1D, 2D and 3D networks. Energies in eV,
// curvatures in eV/A^2, frequencies in THz, positions fractional. Whoever calls
// velmar_sites_calculate owns the result (velmar_sites_free).
#ifndef VELMAR_SITES_H
#define VELMAR_SITES_H

#include <cstdint>

#include "core/velmar-text.h"
#include "landscape/velmar-cube.h"
#include "structure/velmar-cell.h"
#include "structure/velmar-symmetry.h"

// Largest energy difference within a class, eV.
constexpr double VELMAR_SITES_ENERGY_TOLERANCE = 1e-4;
// Largest distance from a class's minimum to the structure's site that names it, A.
constexpr double VELMAR_SITES_LABEL_RADIUS = 1.0;

struct VELMAR_SITE_CLASS {
    char label[12];        // the structure's label, or "i1", "i2", ... for an interstitial
    int32_t multiplicity;  // sites (minima) of the class in one cell
    int32_t site;          // its representative, the lowest-numbered site of the basin graph
    double en;             // the representative's landscape energy
    double energy;         // en minus the lowest class's
    double x_f[3];         // the representative's fractional position
    double occupancy;      // of the structure's site named, 0 for an interstitial
    double distance;       // from that site to the nearest minimum of the class, A; -1 when none
    double k[3];           // curvature eigenvalues at the representative, ascending, eV/A^2
    double frequency;      // 15.6 sqrt(mean k / m) THz; 0 when the mean is not positive
    double barrier_out;    // lowest saddle of a hop leaving the class minus its energy; HUGE_VAL
    double
        barrier_join[3];  // [d - 1]: lowest level at which a site of the class lies in a region
                          // of rank d or more, minus the landscape's minimum; HUGE_VAL when never
};

struct VELMAR_SITES {
    char type[3];                   // the conducting ion
    int os;                         //
    double m;                       // its mass, atomic mass units
    double e_min;                   // the landscape's lowest passable value
    int32_t total_site;             // minima of the landscape
    int32_t total;                  // classes, by increasing energy
    VELMAR_SITE_CLASS *site_class;  // owned
};

// A zeroed summary with room for total classes (at least one). NULL on failure.
VELMAR_SITES *velmar_sites_new(int32_t total);
void velmar_sites_free(VELMAR_SITES *sites);
// The classes of a landscape that belongs to the cell (same lattice within 1e-3 A; not checked
// here beyond that), with the cell's symmetry cards (NULL: P 1 only) and the ion's mass m (amu).
// NULL after an error.
VELMAR_SITES *velmar_sites_calculate(const VELMAR_CELL *cell, const VELMAR_SYMMETRY *symmetry,
                                     const VELMAR_CUBE *cube, const char *type, int os, double m);
// The table, one line per class, to stdout.
void velmar_sites_print(const VELMAR_SITES *sites);
// site,label,energy,multiplicity,x,y,z,occupancy,barrier_out,frequency,k1,k2,k3,barrier_1d,
// barrier_2d,barrier_3d ("none" for a barrier never reached); CR LF line ends. NULL on failure.
VELMAR_TEXT *velmar_sites_export_to_text(const VELMAR_SITES *sites);
// The whole of --sites: checks that the cube belongs to the structure, finds the ion's mass in the
// unitary database, prints the table and writes "<cif_name>.sites.csv". 0 on success.
int velmar_sites_analyze_export_to_file(const VELMAR_CELL *cell, const VELMAR_SYMMETRY *symmetry,
                                        const VELMAR_CUBE *cube, const char *type, int os,
                                        const char *cif_name, const char *cube_name,
                                        const char *dir_unitary);

#endif  // VELMAR_SITES_H
