// Reading a crystal structure from CIF text: atom sites (labels, element types, oxidation states,
// occupancies, fractional positions), the expansion of the asymmetric unit by the symmetry cards,
// the lattice, cartesian coordinates, default oxidation states from the unitary database and the
// cell's name. On success the caller owns the returned cell and symmetry.
#ifndef VELMAR_CIF_H
#define VELMAR_CIF_H

#include <string>
#include <vector>

#include "core/velmar-text.h"
#include "structure/velmar-cell.h"
#include "structure/velmar-symmetry.h"

// Reads the file and calls velmar_cell_import_cif_from_text. 0 on success.
int velmar_cell_import_cif_from_file(VELMAR_CELL **cell, VELMAR_SYMMETRY **symmetry,
                                     const char *cif, const char *dir_symcards,
                                     const char *dir_unitary);
// The whole reading of a structure from CIF text. 0 on success; on failure nothing is handed back.
int velmar_cell_import_cif_from_text(VELMAR_CELL **cell, VELMAR_SYMMETRY **symmetry,
                                     VELMAR_TEXT *text, const char *dir_symcards,
                                     const char *dir_unitary);
// total cells read from "<filename>.0.cif", "<filename>.1.cif", ...; release with
// velmar_cells_free.
VELMAR_CELL **velmar_cells_import_cif_from_file(const char *filename, int total,
                                                const char *dir_symcard, const char *dir_unitary);
void velmar_cells_free(VELMAR_CELL **cells, int total);

// Readers of the atom-site loop table (row 0 the tags). Each returns 0 or 1.
int velmar_cell_import_cif_read_atom_name(VELMAR_ATOM *atom, char ***loop, int loop_r, int loop_c);
int velmar_cell_import_cif_read_atom_type(VELMAR_ATOM *atom, char ***loop, int loop_r, int loop_c);
int velmar_cell_import_cif_read_atom_typeos(VELMAR_ATOM *atom, char ***loop, int loop_r, int loop_c,
                                            char ***type_loop, int type_r, int type_c);
// Occupancies and fractional positions; an occupancy outside (0, 1] (beyond 1 + 1e-3, the rounding
// of files) is refused, naming its site.
int velmar_cell_import_cif_read_atom(VELMAR_ATOM *atom, char ***loop, int loop_r, int loop_c);
int velmar_cell_import_cif_read_atom_constraint(VELMAR_ATOM *atom, char ***loop, int loop_r,
                                                int loop_c);
// Lattice lengths, angles and Z from the rows. 0 on success.
int velmar_cell_import_cif_read_lattice(VELMAR_CELL *cell, char **content, long row);
// Marks as ignored (fixed) the atoms whose rows in the file's site loop say "t" in the
// _atom_site_velmar_fixed column. 0 on success; 1 when the file or the column is missing.
int velmar_cell_import_cif_read_constraint(VELMAR_CELL *cell, const char *cif);

// Element types from labels for atoms without one (O1 gives O, Li2a gives Li).
int velmar_atom_name_to_type(VELMAR_ATOM *atom, int total);
// Integer oxidation states from the numbers read (kept in value); a site with a fractional state
// becomes two atoms of the neighbouring integer states whose mean is the state read. A state
// beyond +-16 is refused, naming its site.
int velmar_atom_fork_os(VELMAR_ATOM **atom, long *total);
// Unknown oxidation states (99) from the element's default state in the unitary database.
int velmar_atom_update_default_os(VELMAR_ATOM *atom, long total, const char *dir_unitary);

namespace velmar::detail {

// What the reader filled in on its own while reading a structure.
struct CifReadNotes {
    // The species whose oxidation states the file does not give and the unitary database supplied,
    // as type symbols ("Co3+"), in the order of their first atoms.
    std::vector<std::string> defaulted;
};
// velmar_cell_import_cif_from_text and _from_file, filling notes as well (when not NULL).
int cell_import_cif_from_text(VELMAR_CELL **cell, VELMAR_SYMMETRY **symmetry, VELMAR_TEXT *text,
                              const char *dir_symcards, const char *dir_unitary,
                              CifReadNotes *notes);
int cell_import_cif_from_file(VELMAR_CELL **cell, VELMAR_SYMMETRY **symmetry, const char *cif,
                              const char *dir_symcards, const char *dir_unitary,
                              CifReadNotes *notes);
// Prints "Warning: ..." on stdout, naming the total charge (sum of occupancy x oxidation state)
// and the defaulted species, when the cell's formal charges do not add up to zero: more than
// 0.02 e or 0.1 % of the sum of |charges| off, which is what occupancies rounded to three digits
// can give. True when it warned.
bool warn_unless_neutral(const VELMAR_CELL &cell, const CifReadNotes &notes);

}  // namespace velmar::detail

#endif  // VELMAR_CIF_H
