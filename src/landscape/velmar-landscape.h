// Energy landscapes of one conducting (test) ion over a voxel grid spanning the unit cell: the
// bond-valence site energy (pair terms of the ion with every ion of the structure and its images),
// the global instability index of the structure with the ion added, and the total energy of that
// cell. Grids have a multiple of 24 voxels per axis (at most 196^3 in all), so that the cell's
// translations land on voxels and each symmetry-distinct voxel is computed once; where the cap
// leaves equivalent axes with different counts, the voxels that only an operation exchanging them
// would reach are computed directly. Energies in eV, GII in valence units. Cubes returned belong
// to the caller.
#ifndef VELMAR_LANDSCAPE_H
#define VELMAR_LANDSCAPE_H

#include "landscape/velmar-cube.h"
#include "model/velmar-property.h"
#include "structure/velmar-cell.h"
#include "structure/velmar-symmetry.h"

// 0 when the table can drive a landscape of its conducting species, else 1 naming what is missing.
int velmar_cube_validate_property(const VELMAR_PROPERTY *ppt);
// The cell of the GII and total-energy landscapes: atom 0 the test ion (at the origin, occupancy 1)
// followed by the structure's atoms that are not ignored, its first atom excepted.
VELMAR_CELL *velmar_cube_cell_new(const VELMAR_CELL *cell, const char *type, int os,
                                  int32_t ignored_count);
// The three landscapes on the cell's own symmetry (its ignored flags are used and cleared again).
VELMAR_CUBE *velmar_cube_calculate(VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
                                   const VELMAR_PROPERTY *ppt, double resolution,
                                   bool ignore_conducting);
VELMAR_CUBE *velmar_cube_by_gii_calculate(VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
                                          const VELMAR_PROPERTY *ppt, double resolution,
                                          bool ignore_conducting);
VELMAR_CUBE *velmar_cube_by_tot_en_calculate(VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
                                             const VELMAR_PROPERTY *ppt, double resolution,
                                             bool ignore_conducting);
// The same for a cell whose symmetry may be NULL (then P 1).
VELMAR_CUBE *velmar_cube_calculate_from_cell(VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
                                             const VELMAR_PROPERTY *ppt, const char *type, int os,
                                             double resolution, bool ignore_conducting);
VELMAR_CUBE *velmar_cube_by_gii_calculate_from_cell(VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
                                                    const VELMAR_PROPERTY *ppt, const char *type,
                                                    int os, double resolution,
                                                    bool ignore_conducting);
VELMAR_CUBE *velmar_cube_by_tot_en_calculate_from_cell(VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
                                                       const VELMAR_PROPERTY *ppt, const char *type,
                                                       int os, double resolution,
                                                       bool ignore_conducting);
// Builds the table (sf not above 0: searched), computes the landscape and writes the cube file.
int velmar_cube_calculate_from_cell_and_write_to_file(const char *filename, VELMAR_CELL *cell,
                                                      VELMAR_SYMMETRY *symmetry, const char *type,
                                                      int os, double sf, double resolution,
                                                      bool ignore_conducting, bool periodic,
                                                      const char *dir_unitary,
                                                      const char *dir_binary);
int velmar_cube_by_gii_calculate_from_cell_and_write_to_file(
    const char *filename, VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry, const char *type, int os,
    double sf, double resolution, bool ignore_conducting, bool periodic, const char *dir_unitary,
    const char *dir_binary);
int velmar_cube_by_tot_en_calculate_from_cell_and_write_to_file(
    const char *filename, VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry, const char *type, int os,
    double sf, double resolution, bool ignore_conducting, bool periodic, const char *dir_unitary,
    const char *dir_binary);
// As above; a structure whose conducting sites are partially occupied is first resolved at random
// in its default supercell (written to cifname) and computed in P 1, or skipped on request.
int velmar_cube_calculate_from_cell_and_write_to_file_assign_partial_occ(
    const char *cubename, const char *cifname, VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
    const char *type, int os, double sf, double resolution, bool ignore_conducting, bool periodic,
    bool skip_mix_occ, const char *dir_unitary, const char *dir_binary);
int velmar_cube_by_gii_calculate_from_cell_and_write_to_file_assign_partial_occ(
    const char *cubename, const char *cifname, VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
    const char *type, int os, double sf, double resolution, bool ignore_conducting, bool periodic,
    const char *dir_unitary, const char *dir_binary);
int velmar_cube_by_tot_en_calculate_from_cell_and_write_to_sf_assign_partial_occ(
    const char *cubename, const char *cifname, VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
    const char *type, int os, double sf, double resolution, bool ignore_conducting, bool periodic,
    bool skip_mix_occ, const char *dir_unitary, const char *dir_binary);

namespace velmar::detail {
// Voxel counts for a cell at a resolution: multiples of 24, at most 196^3 voxels in all.
void landscape_grid_size(long n[3], const double lengths[3], double resolution);

// What a landscape run may change beyond the documented arguments.
struct LandscapeRun {
    // Voxel counts to use instead of those the resolution gives (n[r] multiples of the cell's
    // translations), or NULL.
    const long *grid = nullptr;
};
// The three calculators above, run as `run` says.
VELMAR_CUBE *cube_calculate(VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
                            const VELMAR_PROPERTY *ppt, double resolution, bool ignore_conducting,
                            const LandscapeRun &run);
VELMAR_CUBE *cube_by_gii_calculate(VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
                                   const VELMAR_PROPERTY *ppt, double resolution,
                                   bool ignore_conducting, const LandscapeRun &run);
VELMAR_CUBE *cube_by_tot_en_calculate(VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
                                      const VELMAR_PROPERTY *ppt, double resolution,
                                      bool ignore_conducting, const LandscapeRun &run);
}  // namespace velmar::detail

#endif  // VELMAR_LANDSCAPE_H
