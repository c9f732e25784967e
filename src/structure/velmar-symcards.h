// The space-group settings database (database_symcards.dat) and the symmetry of a CIF. A record is
// a '#' header line, the International Tables number, the Hall symbol in single quotes, a line of
// Hermann-Mauguin spellings, the number of cards and one card per line, between the lines holding
// DATA_START and DATA_END. Symmetries returned are new and owned by the caller.
#ifndef VELMAR_SYMCARDS_H
#define VELMAR_SYMCARDS_H

#include "structure/velmar-symmetry.h"

// The first record whose H-M line contains keyword; sg_HM holds the keyword. NULL when none does.
VELMAR_SYMMETRY *velmar_symmetry_import_by_keyword_HM(const char *keyword, const char *path);
// The first record with this International Tables number (the default setting).
VELMAR_SYMMETRY *velmar_symmetry_import_by_keyword_id(int id, const char *path);
// The record whose Hall symbol (as kept, 15 characters) equals the first 15 characters of keyword.
VELMAR_SYMMETRY *velmar_symmetry_import_by_keyword_Hall(const char *keyword, const char *path);
// The record at this place in the file, counting from 0.
VELMAR_SYMMETRY *velmar_symmetry_import_by_internal_no(int number, const char *path);
// The symmetry of a CIF given as rows: its operation loop (_symmetry_equiv_pos_as_xyz, else
// _space_group_symop_operation_xyz), else its H-M symbol, else its International Tables number,
// the latter two looked up in the database. NULL when none of these gives one.
VELMAR_SYMMETRY *velmar_symmetry_import_from_array_char_2D(char **content, long row,
                                                           const char *dir_symcards);

#endif  // VELMAR_SYMCARDS_H
