// Helpers shared by the command handlers: loading the structure or the cube named on the command
// line and reading numeric and flag arguments.
#ifndef VELMAR_CMD_UTIL_H
#define VELMAR_CMD_UTIL_H

#include "cli/velmar-cmd.h"
#include "core/velmar.h"
#include "landscape/velmar-cube.h"
#include "structure/velmar-cell.h"
#include "structure/velmar-cif.h"
#include "structure/velmar-symmetry.h"

namespace velmar::cmd {

using CellPtr = Owned<VELMAR_CELL, velmar_cell_free>;
using SymmetryPtr = Owned<VELMAR_SYMMETRY, velmar_symmetry_free>;
using CubePtr = Owned<VELMAR_CUBE, velmar_cube_free>;

// Reads the CIF with the run's databases; on failure prints the caller's error line and returns
// false.
// With notes, also what the reader filled in on its own (the defaulted oxidation states).
bool load_cell(const VELMAR_CMD_OPT *opt, const char *cif, CellPtr &cell, SymmetryPtr &symmetry,
               velmar::detail::CifReadNotes *notes = nullptr);
// Reads the CIF text given on the command line after the text-mode key phrase; on failure prints
// the caller's error line and returns false.
bool load_cell_from_text(const VELMAR_CMD_OPT *opt, CellPtr &cell, SymmetryPtr &symmetry,
                         velmar::detail::CifReadNotes *notes = nullptr);
// Whole-argument conversions; false (after an error line naming the argument) when the text is not
// such a number.
bool parse_int(const char *text, const char *what, int &value);
bool parse_double(const char *text, const char *what, double &value);
// A flag argument: false when it starts with f or F, true otherwise.
inline bool starts_with_f(const char *word) { return word[0] == 'f' || word[0] == 'F'; }
// Reads a cube without its structure; on failure prints the caller's error line and returns false.
bool load_cube(const char *file, bool periodic, CubePtr &cube);

}  // namespace velmar::cmd

#endif  // VELMAR_CMD_UTIL_H
