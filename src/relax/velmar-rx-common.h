// What the relaxation commands share: the fixed atoms read from a CIF, the parameter table of a
// structure, the energy and forces of a structure at given positions, periodic displacements and
// the CIF output that keeps the fixed column. Positions in A (cartesian), energies in eV, forces in
// eV/A. The atom's `ignored` flag marks a fixed atom throughout this layer.
#ifndef VELMAR_RX_COMMON_H
#define VELMAR_RX_COMMON_H

#include <cstdint>
#include <string>

#include "core/velmar.h"
#include "model/velmar-property.h"
#include "structure/velmar-cell.h"

namespace velmar::rx {

// The model's force (velmar_cell_calculate_force) is half of -dE/dx in e^2/A^2 for a pair of
// moving atoms; this factor makes it -dE/dx in eV/A of the whole structure's energy.
constexpr double kForceToEv = 2.0 * VELMAR_COULOMB;
// Default force tolerance, eV/A.
constexpr double kDefaultForceTolerance = 0.05;
// No atom moves further than this in one step, A.
constexpr double kLongestStep = 0.1;

// Marks as fixed the atoms whose _atom_site_velmar_fixed entry in the file is T; a file without the
// column leaves every atom free. False (after the error lines) when the file cannot be read.
bool read_fixed(VELMAR_CELL *cell, const char *cif);
// Number of atoms that are not fixed.
int32_t movable_count(const VELMAR_CELL &cell);
// Prints a warning when some atom has an occupancy below 1.
void warn_partial_occupancy(const VELMAR_CELL &cell);
// The parameter table of the structure, built on a copy with every atom free (so that the atom
// order of the cell is kept and the screening-factor search sees the whole structure); sf above 0
// is used as given, otherwise it is searched. NULL after the error lines.
VELMAR_PROPERTY *table_for(const VELMAR_CELL &cell, double sf, const char *dir_unitary,
                           const char *dir_binary);

// The shortest of the periodic images of the displacement d (modified in place).
void minimum_image(double d[3], const VELMAR_CELL &cell);

// A structure under the energy model, evaluated at given positions. The fixed atoms are those
// flagged in the cell given to init(); they feel no force.
class Evaluator {
  public:
    // Keeps a copy of the cell and refers to the table, which must outlive the evaluator. False
    // after an error line.
    bool init(const VELMAR_CELL &cell, const VELMAR_PROPERTY *ppt);
    // Energy of the whole structure (every pair, fixed atoms included) with its atoms at x (one
    // cartesian position per atom; positions outside the cell are folded back for the sums).
    // False after an error line, also when the energy is not a finite number.
    bool energy(const double (*x)[3], double &energy);
    // The energy and -dE/dx of each free atom (zero on the fixed ones).
    bool evaluate(const double (*x)[3], double &energy, double (*force)[3]);

  private:
    void place(const double (*x)[3]);
    Owned<VELMAR_CELL, velmar_cell_free> cell_;
    const VELMAR_PROPERTY *ppt_ = nullptr;
    int32_t atoms_ = 0;
};

// Writes the cell in P 1 with its positions folded into the cell and, when some atom is fixed, an
// _atom_site_velmar_fixed column (T or F per atom), so that the file reads back with the same
// fixed atoms. The file appears only when complete. 0 on success.
int export_cif(const VELMAR_CELL &cell, const char *filename);

// "largest force 0.0123 eV/A", the detail of the progress lines.
std::string largest_force_text(double force);

}  // namespace velmar::rx

#endif  // VELMAR_RX_COMMON_H
