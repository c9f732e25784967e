// The CIF reader: from rows to a cell and its symmetry.
#include "structure/velmar-cif.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "core/velmar-array.h"
#include "core/velmar-data-lines.h"
#include "core/velmar.h"
#include "structure/velmar-cell-geometry.h"
#include "structure/velmar-cell-ops.h"
#include "structure/velmar-cif-syntax.h"
#include "structure/velmar-symcards.h"

namespace {

using velmar::detail::cif_loop_column;
using velmar::detail::cif_read_double;

constexpr double kNoState = 99.0;   // value of an atom whose file gives no oxidation state
constexpr double kMaxState = 16.0;  // no element is oxidised further (osmium and iridium reach 9)
constexpr double kFullSite = 1.0 + 1e-3;  // occupancies a little above 1 are rounding in the file

bool is_letter(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; }

// The element symbol at the start of the first run of letters: one letter, or two when the second
// character is a letter too ("Li1+" gives Li, "O2-" gives O). False when there is no letter.
bool type_from(char type[3], const char *text) {
    const char *p = text;
    while (*p != '\0' && !is_letter(*p)) ++p;
    if (*p == '\0') return false;
    type[0] = p[0];
    type[1] = is_letter(p[1]) ? p[1] : '\0';
    type[2] = '\0';
    return true;
}

// Oxidation state written in a type symbol: the number from its first digit on, negative when a '-'
// follows that digit somewhere ("O2-" gives -2, "Fe3+" gives 3). kNoState without a digit.
double state_from(const char *symbol) {
    const char *digit = symbol;
    while (*digit != '\0' && std::isdigit(static_cast<unsigned char>(*digit)) == 0) ++digit;
    double value = kNoState;
    if (*digit == '\0' || !cif_read_double(digit, value)) return kNoState;
    return std::strchr(digit, '-') != nullptr ? -value : value;
}

// The first 127 characters of a loop cell, as the type readers look at it.
std::string cut_cell(const char *cell) { return std::string(cell).substr(0, 127); }

// Atom array under construction, released unless handed over.
struct Atoms {
    VELMAR_ATOM *atom = nullptr;
    long total = 0;
    Atoms() = default;
    Atoms(const Atoms &) = delete;
    Atoms &operator=(const Atoms &) = delete;
    ~Atoms() { velmar_atom_free(atom); }
};

}  // namespace

int velmar_cell_import_cif_read_atom_name(VELMAR_ATOM *atom, char ***loop, int loop_r, int loop_c) {
    const int column = cif_loop_column(loop, loop_c, "_atom_site_label", true);
    if (column < 0) {
        std::fputs("Error: unable to find keyword '_atom_site_label'.\n", stderr);
        return 1;
    }
    for (int r = 1; r < loop_r; ++r) {
        const char *label = loop[r][column];
        if (label == nullptr) {
            std::fprintf(stderr, "Error: row %d of the atom site loop has no label.\n", r);
            return 1;
        }
        std::snprintf(atom[r - 1].name, sizeof atom[r - 1].name, "%s", label);
        atom[r - 1].value = kNoState;
    }
    return 0;
}

namespace {

// Types from the site loop's type-symbol column; `state_of(cell, value)` gives each site's
// oxidation state from its whole cell and returns false (after its own message) to stop.
template <class StateOf>
int read_types(VELMAR_ATOM *atom, char ***loop, int loop_r, int loop_c, StateOf state_of) {
    const int column = cif_loop_column(loop, loop_c, "_atom_site_type_symbol", true);
    if (column < 0) {
        std::fputs("Error: unable to find keyword '_atom_site_type_symbol'.\n", stderr);
        return 1;
    }
    for (int r = 1; r < loop_r; ++r) {
        const std::string cell = loop[r][column] != nullptr ? cut_cell(loop[r][column]) : "";
        if (!type_from(atom[r - 1].type, cell.c_str())) {
            std::fprintf(stderr, "Error: invalid field content %s.\n", cell.c_str());
            return 1;
        }
        if (!state_of(loop[r][column], atom[r - 1].value)) return 1;
    }
    return 0;
}

}  // namespace

int velmar_cell_import_cif_read_atom_type(VELMAR_ATOM *atom, char ***loop, int loop_r, int loop_c) {
    return read_types(atom, loop, loop_r, loop_c, [](const char *cell, double &value) {
        value = state_from(cut_cell(cell).c_str());
        return true;
    });
}

int velmar_cell_import_cif_read_atom_typeos(VELMAR_ATOM *atom, char ***loop, int loop_r, int loop_c,
                                            char ***type_loop, int type_r, int type_c) {
    const int symbol_column = cif_loop_column(type_loop, type_c, "_atom_type_symbol", true);
    const int state_column =
        cif_loop_column(type_loop, type_c, "_atom_type_oxidation_number", false);
    if (symbol_column < 0 || state_column < 0 || symbol_column == state_column) {
        std::fputs("Error: invalid keywords.\n", stderr);
        return 1;
    }
    return read_types(atom, loop, loop_r, loop_c, [&](const char *cell, double &value) {
        for (int t = 1; t < type_r; ++t) {
            const char *symbol = type_loop[t][symbol_column];
            if (symbol == nullptr || std::strcmp(symbol, cell) != 0) continue;
            if (!cif_read_double(type_loop[t][state_column], value)) value = kNoState;
            return true;
        }
        std::fputs("Error: invalid field.\n", stderr);
        return false;
    });
}

int velmar_cell_import_cif_read_atom(VELMAR_ATOM *atom, char ***loop, int loop_r, int loop_c) {
    const int occ = cif_loop_column(loop, loop_c, "_atom_site_occupancy", false);
    const int fx = cif_loop_column(loop, loop_c, "_atom_site_fract_x", false);
    const int fy = cif_loop_column(loop, loop_c, "_atom_site_fract_y", false);
    const int fz = cif_loop_column(loop, loop_c, "_atom_site_fract_z", false);
    if (occ < 0 || fx < 0 || fy < 0 || fz < 0) {
        std::fputs("Error: invalid keywords.\n", stderr);
        return 1;
    }
    for (int r = 1; r < loop_r; ++r) {
        VELMAR_ATOM &a = atom[r - 1];
        if (!cif_read_double(loop[r][occ], a.occ)) {
            std::fputs("Error: unable to read occupancy.\n", stderr);
            return 1;
        }
        if (!(a.occ > 0.0 && a.occ <= kFullSite)) {
            std::fprintf(stderr, "Error: site %s has occupancy %g; an occupancy lies in (0, 1].\n",
                         a.name, a.occ);
            return 1;
        }
        if (!cif_read_double(loop[r][fx], a.x_f[0])) {
            std::fputs("Error: unable to read fractional x.\n", stderr);
            return 1;
        }
        if (!cif_read_double(loop[r][fy], a.x_f[1])) {
            std::fputs("Error: unable to read fractional y.\n", stderr);
            return 1;
        }
        if (!cif_read_double(loop[r][fz], a.x_f[2])) {
            std::fputs("Error: unable to read fractional z.\n", stderr);
            return 1;
        }
    }
    return 0;
}

int velmar_cell_import_cif_read_atom_constraint(VELMAR_ATOM *atom, char ***loop, int loop_r,
                                                int loop_c) {
    const int column = cif_loop_column(loop, loop_c, "_atom_site_velmar_fixed", false);
    if (column < 0) {
        std::fputs("Error: unable to find keyword '_atom_site_velmar_fixed'.\n", stderr);
        return 1;
    }
    for (int r = 1; r < loop_r; ++r) {
        const char *cell = loop[r][column];
        atom[r - 1].ignored = cell != nullptr && (cell[0] == 't' || cell[0] == 'T');
    }
    return 0;
}

int velmar_cell_import_cif_read_lattice(VELMAR_CELL *cell, char **content, long row) {
    static const char *const kKeys[6] = {"_cell_length_a",   "_cell_length_b",
                                         "_cell_length_c",   "_cell_angle_alpha",
                                         "_cell_angle_beta", "_cell_angle_gamma"};
    double values[6] = {};
    for (int k = 0; k < 6; ++k) {
        char *value = velmar_cell_import_cif_grep_keyword(kKeys[k], content, row);
        if (value == nullptr) {
            VELMAR_ERROR_NULL(velmar_cell_import_cif_grep_keyword);
            return 1;
        }
        if (std::sscanf(value, "%lf", &values[k]) != 1) values[k] = 0.0;
        velmar_array_char_1D_free(value);
    }
    for (int k = 0; k < 3; ++k) {
        cell->parameter[k] = values[k];
        cell->angle[k] = values[k + 3];
    }
    char *z = velmar_cell_import_cif_grep_keyword("_cell_formula_units_Z", content, row);
    if (z == nullptr) {
        std::printf("Warning: _cell_formula_units_Z is not available. \n");
    } else {
        if (std::sscanf(z, "%d", &cell->Z) != 1) cell->Z = 0;
        velmar_array_char_1D_free(z);
    }
    return 0;
}

int velmar_atom_name_to_type(VELMAR_ATOM *atom, int total) {
    for (int n = 0; n < total; ++n) {
        if (atom[n].type[0] != '\0') continue;
        if (!type_from(atom[n].type, atom[n].name)) {
            std::fputs("Error: unable to read atom.type from atom.name.\n", stderr);
            return 1;
        }
    }
    return 0;
}

int velmar_atom_fork_os(VELMAR_ATOM **atom, long *total) {
    const long entry = *total;
    long forks = 0;
    for (long n = 0; n < entry; ++n) {
        const double v = (*atom)[n].value;
        if (std::fabs(v - kNoState) < 0.0001) continue;
        // Checked before any conversion to int: a state written as 2147483648 would not fit.
        if (!(std::fabs(v) <= kMaxState)) {
            std::fprintf(
                stderr, "Error: site %s has oxidation state %.10g; states lie in -%d..%d.\n",
                (*atom)[n].name, v, static_cast<int>(kMaxState), static_cast<int>(kMaxState));
            return 1;
        }
        if (std::fabs(v - std::round(v)) >= 0.1) ++forks;
    }
    if (forks > 0) {
        auto *grown = static_cast<VELMAR_ATOM *>(
            std::realloc(*atom, sizeof(VELMAR_ATOM) * static_cast<size_t>(entry + forks)));
        if (grown == nullptr) {
            std::fputs("Error: unable to reallocate VELMAR_ATOM.\n", stderr);
            return 1;
        }
        *atom = grown;
    }
    VELMAR_ATOM *a = *atom;
    long next = entry;
    for (long n = 0; n < entry; ++n) {
        const double v = a[n].value;
        if (std::fabs(v - kNoState) < 0.0001) {
            a[n].os = VELMAR_OS_UNKNOWN;
        } else if (std::fabs(v - std::round(v)) < 0.1) {
            a[n].os = static_cast<int>(std::lround(v));
        } else {
            // A mixed-valence site: two atoms whose occupancy-weighted mean state is v.
            const double lo = std::floor(v);
            const double hi = std::ceil(v);
            const double q = a[n].occ;
            a[next] = a[n];
            a[next].os = static_cast<int>(lo);
            a[next].occ = (hi - v) * q / (hi - lo);
            a[next].value = 0.0;
            ++next;
            a[n].os = static_cast<int>(hi);
            a[n].occ = (v - lo) * q / (hi - lo);
        }
        a[n].value = 0.0;
    }
    *total = next;
    return 0;
}

int velmar_atom_update_default_os(VELMAR_ATOM *atom, long total, const char *dir_unitary) {
    bool needed = false;
    for (long n = 0; n < total && !needed; ++n) needed = atom[n].os == VELMAR_OS_UNKNOWN;
    if (!needed) return 0;
    // The default state of each element: the first data line that names it.
    std::map<std::string, int> defaults;
    const bool opened = velmar::for_each_data_line(dir_unitary, [&](const char *line) {
        int number = 0;
        int state = 0;
        int default_state = 0;
        char symbol[16];
        // A line whose default state is out of range is corrupt, and skipped like one that does
        // not parse.
        if (std::sscanf(line, "%d %15s %d %d", &number, symbol, &state, &default_state) == 4 &&
            default_state >= -static_cast<int>(kMaxState) &&
            default_state <= static_cast<int>(kMaxState)) {
            defaults.emplace(symbol, default_state);
        }
        return velmar::Scan::kGoOn;
    });
    if (!opened) {
        std::fprintf(stderr, "Error: unable to open %s\n", dir_unitary);
        return 1;
    }
    for (long n = 0; n < total; ++n) {
        if (atom[n].os != VELMAR_OS_UNKNOWN) continue;
        const auto it = defaults.find(atom[n].type);
        if (it != defaults.end()) atom[n].os = it->second;
    }
    return 0;
}

int velmar_cell_import_cif_from_text(VELMAR_CELL **cell, VELMAR_SYMMETRY **symmetry,
                                     VELMAR_TEXT *text, const char *dir_symcards,
                                     const char *dir_unitary) {
    return velmar::detail::cell_import_cif_from_text(cell, symmetry, text, dir_symcards,
                                                     dir_unitary, nullptr);
}

int velmar::detail::cell_import_cif_from_text(VELMAR_CELL **cell, VELMAR_SYMMETRY **symmetry,
                                              VELMAR_TEXT *text, const char *dir_symcards,
                                              const char *dir_unitary, CifReadNotes *notes) {
    std::printf("Message: reading cif file...\n");
    velmar::CifRows rows;
    if (velmar_text_segregate_into_rows(&rows.content, &rows.row, text, '\n') != 0) {
        std::fputs("Error: velmar_text_segregate_rows() returns non-zero.\n", stderr);
        return 1;
    }
    velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free> sym(
        velmar_symmetry_import_from_array_char_2D(rows.content, rows.row, dir_symcards));
    if (!sym) {
        VELMAR_ERROR_NULL(velmar_symmetry_import_from_array_char_2D);
        return 1;
    }

    velmar::CifLoop sites;
    if (sites.grep("_atom_site_label", rows) != 0) {
        std::fputs("Error: unable to find compulsory keyword '_atom_site_label' in cif file.\n",
                   stderr);
        return 1;
    }
    Atoms atoms;
    atoms.total = sites.rows - 1;
    atoms.atom = velmar_atom_new(atoms.total);
    if (atoms.atom == nullptr) {
        VELMAR_ERROR_NULL(velmar_atom_new);
        return 1;
    }
    if (velmar_cell_import_cif_read_atom_name(atoms.atom, sites.table, sites.rows, sites.cols) !=
        0) {
        VELMAR_ERROR_NONZERO(velmar_cell_import_cif_read_atom_name);
        return 1;
    }

    if (!velmar_cell_import_cif_exist_keyword("_atom_site_type_symbol", rows.content, rows.row)) {
        std::printf("Message: unable to find keyword '_atom_site_type_symbol'.\n");
    } else if (velmar_cell_import_cif_exist_keyword("_atom_type_oxidation_number", rows.content,
                                                    rows.row)) {
        velmar::CifLoop types;
        if (types.grep("_atom_type_symbol", rows) != 0) {
            std::fputs("Error: unable to find keyword '_atom_type_symbol' in cif file.\n", stderr);
            return 1;
        }
        if (velmar_cell_import_cif_read_atom_typeos(atoms.atom, sites.table, sites.rows, sites.cols,
                                                    types.table, types.rows, types.cols) != 0) {
            VELMAR_ERROR_NONZERO(velmar_cell_import_cif_read_atom_typeos);
            return 1;
        }
    } else if (velmar_cell_import_cif_read_atom_type(atoms.atom, sites.table, sites.rows,
                                                     sites.cols) != 0) {
        VELMAR_ERROR_NONZERO(velmar_cell_import_cif_read_atom_type);
        return 1;
    }

    if (velmar_cell_import_cif_read_atom(atoms.atom, sites.table, sites.rows, sites.cols) != 0) {
        VELMAR_ERROR_NONZERO(velmar_cell_import_cif_read_atom);
        return 1;
    }
    if (velmar_atom_name_to_type(atoms.atom, static_cast<int>(atoms.total)) != 0) {
        std::fputs("Error: velmar_atom_name_to_typeos() returns non-zero.\n", stderr);
        return 1;
    }
    if (velmar_atom_fork_os(&atoms.atom, &atoms.total) != 0) {
        VELMAR_ERROR_NONZERO(velmar_atom_fork_os);
        return 1;
    }
    if (velmar_atom_spawn_by_symmetry(&atoms.atom, &atoms.total, sym.get()) != 0) {
        VELMAR_ERROR_NONZERO(velmar_atom_spawn_by_symmetry);
        return 1;
    }

    velmar::Owned<VELMAR_CELL, velmar_cell_free> result(velmar_cell_new(0));
    if (!result) {
        VELMAR_ERROR_NULL(velmar_cell_new);
        return 1;
    }
    result->atom = atoms.atom;
    result->total = static_cast<int32_t>(atoms.total);
    atoms.atom = nullptr;
    atoms.total = 0;
    if (velmar_cell_import_cif_read_lattice(result.get(), rows.content, rows.row) != 0) {
        VELMAR_ERROR_NONZERO(velmar_cell_import_cif_read_lattice);
        return 1;
    }
    // A flattened or absurd cell would give NaN lattice vectors, or image counts that overflow.
    if (!velmar::detail::cell_parameters_proper(result->parameter, result->angle)) {
        std::fputs("Error: the cell lengths and angles do not describe a cell.\n", stderr);
        std::fprintf(stderr,
                     "Error: a, b, c = %g, %g, %g A and alpha, beta, gamma = %g, %g, %g degrees; "
                     "lengths must lie in [%g, %g] A, angles in (0, 180) and span a volume.\n",
                     result->parameter[0], result->parameter[1], result->parameter[2],
                     result->angle[0], result->angle[1], result->angle[2],
                     velmar::detail::kMinCellLength, velmar::detail::kMaxCellLength);
        return 1;
    }
    velmar_cell_update_cartesion(result.get());
    std::vector<bool> unknown(static_cast<size_t>(result->total));
    for (int32_t n = 0; n < result->total; ++n) {
        unknown[n] = result->atom[n].os == VELMAR_OS_UNKNOWN;
    }
    if (velmar_atom_update_default_os(result->atom, result->total, dir_unitary) != 0) {
        VELMAR_ERROR_NONZERO(velmar_atom_update_default_os);
        return 1;
    }
    if (notes != nullptr) {
        notes->defaulted.clear();
        for (int32_t n = 0; n < result->total; ++n) {
            const VELMAR_ATOM &a = result->atom[n];
            if (!unknown[n] || a.os == VELMAR_OS_UNKNOWN) continue;
            char symbol[32];
            std::snprintf(symbol, sizeof symbol, "%s%d%c", a.type, std::abs(a.os),
                          a.os >= 0 ? '+' : '-');
            if (std::find(notes->defaulted.begin(), notes->defaulted.end(), symbol) ==
                notes->defaulted.end()) {
                notes->defaulted.emplace_back(symbol);
            }
        }
    }
    velmar_cell_update_name(result.get());
    std::printf("Message: calculated cell volume = %f\n",
                velmar_cell_calculate_volume(result.get()));
    *cell = result.release();
    *symmetry = sym.release();
    return 0;
}

int velmar_cell_import_cif_from_file(VELMAR_CELL **cell, VELMAR_SYMMETRY **symmetry,
                                     const char *cif, const char *dir_symcards,
                                     const char *dir_unitary) {
    return velmar::detail::cell_import_cif_from_file(cell, symmetry, cif, dir_symcards, dir_unitary,
                                                     nullptr);
}

int velmar::detail::cell_import_cif_from_file(VELMAR_CELL **cell, VELMAR_SYMMETRY **symmetry,
                                              const char *cif, const char *dir_symcards,
                                              const char *dir_unitary, CifReadNotes *notes) {
    velmar::Owned<VELMAR_TEXT, velmar_text_free> text(velmar_text_import_from_file(cif));
    if (!text) {
        VELMAR_ERROR_NULL(velmar_text_import_from_file);
        return 1;
    }
    if (cell_import_cif_from_text(cell, symmetry, text.get(), dir_symcards, dir_unitary, notes) !=
        0) {
        // The reader has always reported its failure under this name.
        std::fputs("Error: velmar_cell_import_cif_from_text() returns NULL.\n", stderr);
        return 1;
    }
    return 0;
}

VELMAR_CELL **velmar_cells_import_cif_from_file(const char *filename, int total,
                                                const char *dir_symcard, const char *dir_unitary) {
    if (total < 1) {
        std::fputs("Error: number of cells must be larger than zero.\n", stderr);
        return nullptr;
    }
    auto **cells =
        static_cast<VELMAR_CELL **>(std::calloc(static_cast<size_t>(total), sizeof(VELMAR_CELL *)));
    if (cells == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_CELL[].\n", stderr);
        return nullptr;
    }
    for (int i = 0; i < total; ++i) {
        char name[1024];
        std::snprintf(name, sizeof name, "%s.%d.cif", filename, i);
        VELMAR_SYMMETRY *symmetry = nullptr;
        if (velmar_cell_import_cif_from_file(&cells[i], &symmetry, name, dir_symcard,
                                             dir_unitary) != 0) {
            VELMAR_ERROR_NONZERO(velmar_cell_import_cif_from_file);
            velmar_cells_free(cells, total);
            return nullptr;
        }
        velmar_symmetry_free(symmetry);
    }
    return cells;
}

void velmar_cells_free(VELMAR_CELL **cells, int total) {
    if (cells == nullptr) return;
    for (int i = 0; i < total; ++i) velmar_cell_free(cells[i]);
    std::free(cells);
}

int velmar_cell_import_cif_read_constraint(VELMAR_CELL *cell, const char *cif) {
    velmar::Owned<VELMAR_TEXT, velmar_text_free> text(velmar_text_import_from_file(cif));
    if (!text) {
        VELMAR_ERROR_NULL(velmar_text_import_from_file);
        return 1;
    }
    velmar::CifRows rows;
    if (velmar_text_segregate_into_rows(&rows.content, &rows.row, text.get(), '\n') != 0) {
        std::fputs("Error: velmar_text_segregate_rows() returns non-zero.\n", stderr);
        return 1;
    }
    velmar::CifLoop sites;
    if (sites.grep("_atom_site_label", rows) != 0) {
        std::fputs("Error: unable to find compulsory keyword '_atom_site_label' in cif file.\n",
                   stderr);
        return 1;
    }
    std::vector<VELMAR_ATOM> listed(static_cast<size_t>(sites.rows - 1));
    if (velmar_cell_import_cif_read_atom_name(listed.data(), sites.table, sites.rows, sites.cols) !=
            0 ||
        velmar_cell_import_cif_read_atom_constraint(listed.data(), sites.table, sites.rows,
                                                    sites.cols) != 0) {
        return 1;
    }
    // A file that lists every atom (P 1) maps row by row; otherwise each row marks the atoms that
    // carry its label.
    if (static_cast<long>(listed.size()) == cell->total) {
        for (int32_t n = 0; n < cell->total; ++n) cell->atom[n].ignored = listed[n].ignored;
        return 0;
    }
    for (const VELMAR_ATOM &row : listed) {
        for (int32_t n = 0; n < cell->total; ++n) {
            if (std::strcmp(cell->atom[n].name, row.name) == 0) cell->atom[n].ignored = row.ignored;
        }
    }
    return 0;
}

bool velmar::detail::warn_unless_neutral(const VELMAR_CELL &cell, const CifReadNotes &notes) {
    constexpr double kAbsolute = 0.02;  // e per cell
    constexpr double kRelative = 1e-3;  // of the sum of |occupancy x state|
    double charge = 0.0;
    double magnitude = 0.0;
    for (int32_t n = 0; n < cell.total; ++n) {
        const VELMAR_ATOM &a = cell.atom[n];
        if (a.os == VELMAR_OS_UNKNOWN) continue;
        charge += a.occ * a.os;
        magnitude += std::fabs(a.occ * a.os);
    }
    if (!(std::fabs(charge) > std::max(kAbsolute, kRelative * magnitude))) return false;
    if (notes.defaulted.empty()) {
        std::printf(
            "Warning: the cell is not charge neutral: total charge %+.3f e per cell, with the "
            "oxidation states the file gives.\n",
            charge);
        return true;
    }
    std::string species;
    for (const std::string &s : notes.defaulted) species += (species.empty() ? "" : ", ") + s;
    std::printf(
        "Warning: the cell is not charge neutral: total charge %+.3f e per cell; the oxidation "
        "states of %s are defaults of the unitary database, not given in the file.\n",
        charge, species.c_str());
    return true;
}
