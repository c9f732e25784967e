// Helpers shared by the command handlers.
#include "cli/velmar-cmd-util.h"

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "landscape/velmar-cube-file.h"
#include "structure/velmar-cif.h"

namespace velmar::cmd {

bool load_cell(const VELMAR_CMD_OPT *opt, const char *cif, CellPtr &cell, SymmetryPtr &symmetry,
               velmar::detail::CifReadNotes *notes) {
    VELMAR_CELL *c = nullptr;
    VELMAR_SYMMETRY *s = nullptr;
    if (velmar::detail::cell_import_cif_from_file(&c, &s, cif, opt->dir_symcards, opt->dir_unitary,
                                                  notes) != 0) {
        VELMAR_ERROR_NONZERO(velmar_cell_import_cif_from_file);
        return false;
    }
    cell.reset(c);
    symmetry.reset(s);
    return true;
}

bool load_cell_from_text(const VELMAR_CMD_OPT *opt, CellPtr &cell, SymmetryPtr &symmetry,
                         velmar::detail::CifReadNotes *notes) {
    Owned<VELMAR_TEXT, velmar_text_free> text(velmar_cmd_opt_cat_tail(opt));
    if (!text) {
        VELMAR_ERROR_NULL(velmar_cmd_opt_cat_tail);
        return false;
    }
    VELMAR_CELL *c = nullptr;
    VELMAR_SYMMETRY *s = nullptr;
    if (velmar::detail::cell_import_cif_from_text(&c, &s, text.get(), opt->dir_symcards,
                                                  opt->dir_unitary, notes) != 0) {
        VELMAR_ERROR_NONZERO(velmar_cell_import_cif_from_text);
        return false;
    }
    cell.reset(c);
    symmetry.reset(s);
    return true;
}

bool load_cube(const char *file, bool periodic, CubePtr &cube) {
    VELMAR_CUBE *raw = nullptr;
    if (velmar_cube_import_from_file(&raw, nullptr, file, periodic, nullptr) != 0) {
        VELMAR_ERROR_NONZERO(velmar_cube_import_from_file);
        return false;
    }
    cube.reset(raw);
    return true;
}

bool parse_int(const char *text, const char *what, int &value) {
    char *end = nullptr;
    errno = 0;
    const long v = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || errno != 0 || v < INT_MIN || v > INT_MAX) {
        std::fprintf(stderr, "Error: invalid %s '%s'.\n", what, text);
        return false;
    }
    value = static_cast<int>(v);
    return true;
}

bool parse_double(const char *text, const char *what, double &value) {
    char *end = nullptr;
    const double v = std::strtod(text, &end);
    if (end == text || *end != '\0' || !std::isfinite(v)) {
        std::fprintf(stderr, "Error: invalid %s '%s'.\n", what, text);
        return false;
    }
    value = v;
    return true;
}

}  // namespace velmar::cmd
