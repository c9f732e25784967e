// CIF output of a cell.
#include "structure/velmar-cif-writer.h"

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "core/velmar.h"
#include "structure/velmar-cell-ops.h"
#include "structure/velmar-spacegroup.h"

namespace {

constexpr double kSymmetryTolerance = 0.01;  // angstrom

__attribute__((format(printf, 2, 3))) void append(std::string &out, const char *format, ...) {
    char buffer[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    out += buffer;
}

// The type symbol written for an atom: Li1+, O2-; the bare element when the state is unknown.
std::string type_symbol(const VELMAR_ATOM &atom) {
    if (atom.os == VELMAR_OS_UNKNOWN) return atom.type;
    char symbol[32];
    std::snprintf(symbol, sizeof symbol, "%s%d%c", atom.type, std::abs(atom.os),
                  atom.os >= 0 ? '+' : '-');
    return symbol;
}

// A loop value as our reader tokenises it: quoted when it holds white space or could be taken for
// something else, bare otherwise.
std::string token(const std::string &value) {
    const bool needs_quotes = value.empty() || value.find_first_of(" \t") != std::string::npos ||
                              value[0] == '_' || value[0] == '#' || value[0] == ';' ||
                              value.find("loop_") != std::string::npos;
    return needs_quotes ? "'" + value + "'" : value;
}

// The CIF text; with energy (markers, in P 1), labels numbered per name and an energy column.
VELMAR_TEXT *cif_text(const VELMAR_CELL *cell, const VELMAR_SYMMETRY *symmetry, int mode,
                      const char *block, const std::vector<double> *energy) {
    if (cell == nullptr || (cell->total > 0 && cell->atom == nullptr) || symmetry == nullptr ||
        symmetry->total < 1 || symmetry->card == nullptr) {
        std::fputs("Error: VELMAR_CELL or VELMAR_SYMMETRY has not been properly initialized.\n",
                   stderr);
        return nullptr;
    }
    // The atoms to write: all of them, or the first of each symmetry-distinct site.
    std::vector<const VELMAR_ATOM *> atoms;
    if (mode == 0) {
        for (int32_t n = 0; n < cell->total; ++n) atoms.push_back(&cell->atom[n]);
    } else {
        velmar::Owned<VELMAR_CELL, velmar_cell_free> flagged(velmar_cell_copy(cell));
        if (!flagged || velmar_cell_flag_site_by_symmetry(flagged.get(), symmetry) != 0) {
            std::fputs("Error: velmar_cell_flag_site_by_symmetry() returns non-zero.\n", stderr);
            return nullptr;
        }
        int32_t next = 1;
        for (int32_t n = 0; n < cell->total; ++n) {
            if (flagged->atom[n].flag == next) {
                atoms.push_back(&cell->atom[n]);
                ++next;
            }
        }
    }

    std::string out;
    append(out, "data_%s\n", block);
    append(out, "_cell_length_a    %.8f\n", cell->parameter[0]);
    append(out, "_cell_length_b    %.8f\n", cell->parameter[1]);
    append(out, "_cell_length_c    %.8f\n", cell->parameter[2]);
    append(out, "_cell_angle_alpha %.8f\n", cell->angle[0]);
    append(out, "_cell_angle_beta  %.8f\n", cell->angle[1]);
    append(out, "_cell_angle_gamma %.8f\n", cell->angle[2]);
    if (cell->Z > 0) append(out, "_cell_formula_units_Z %d\n", cell->Z);
    const bool p1 = symmetry->total == 1;
    append(out, "_symmetry_space_group_name_H-M '%s'\n",
           p1 ? "P 1" : (symmetry->sg_HM[0] != '\0' ? symmetry->sg_HM : "?"));
    // Readers that build their operations from the group's number or symbol (ASE) want one they
    // know; when the structure gave only a symbol in a full setting, the number comes from the
    // group the atoms have, provided it has as many operations as are written.
    int number = p1 ? 1 : symmetry->sg_id;
    if (number < 1 && cell->total > 0) {
        int operations = 0;
        const int found = velmar::detail::space_group_number(cell, 0.01, operations);
        if (operations == symmetry->total) number = found;
    }
    if (number > 0) append(out, "_symmetry_Int_Tables_number %d\n", number);
    out += "loop_\n_symmetry_equiv_pos_site_id\n_symmetry_equiv_pos_as_xyz\n";
    for (int c = 0; c < symmetry->total; ++c) {
        char text[36];
        velmar_card_text_from_matrix(text, symmetry->card[c].r_f, symmetry->card[c].t_f);
        append(out, "%d '%s'\n", c + 1, text);
    }

    if (atoms.empty()) {
        // Nothing to list (a landscape without critical points, say): no atom loops.
        VELMAR_TEXT *text = velmar_text_new(out.c_str());
        if (text == nullptr) VELMAR_ERROR_NULL(velmar_text_new);
        return text;
    }
    out += "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\n";
    std::vector<std::string> symbols;
    for (const VELMAR_ATOM *atom : atoms) {
        const std::string symbol = type_symbol(*atom);
        bool listed = false;
        for (const std::string &s : symbols) listed = listed || s == symbol;
        if (listed) continue;
        symbols.push_back(symbol);
        if (atom->os == VELMAR_OS_UNKNOWN) {
            append(out, "%s ?\n", symbol.c_str());
        } else {
            append(out, "%s %d\n", symbol.c_str(), atom->os);
        }
    }

    out +=
        "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n"
        "_atom_site_fract_y\n_atom_site_fract_z\n_atom_site_occupancy\n";
    if (energy == nullptr) {
        for (const VELMAR_ATOM *atom : atoms) {
            append(out, "%s %s %.8f %.8f %.8f %.6f\n", token(atom->name).c_str(),
                   type_symbol(*atom).c_str(), atom->x_f[0], atom->x_f[1], atom->x_f[2], atom->occ);
        }
    } else {
        out += "_atom_site_velmar_energy\n";
        std::map<std::string, int> serial;  // per name, the last number given
        for (size_t n = 0; n < atoms.size(); ++n) {
            const VELMAR_ATOM *atom = atoms[n];
            // SAD1 numbered is SAD1_1, not SAD11.
            const std::string name = atom->name;
            const bool digit =
                !name.empty() && std::isdigit(static_cast<unsigned char>(name.back()));
            const std::string label = name + (digit ? "_" : "") + std::to_string(++serial[name]);
            append(out, "%s %s %.8f %.8f %.8f %.6f %.6f\n", token(label).c_str(),
                   type_symbol(*atom).c_str(), atom->x_f[0], atom->x_f[1], atom->x_f[2], atom->occ,
                   (*energy)[n]);
        }
    }
    VELMAR_TEXT *text = velmar_text_new(out.c_str());
    if (text == nullptr) VELMAR_ERROR_NULL(velmar_text_new);
    return text;
}

int write_text(const char *filename, const VELMAR_TEXT *text) {
    if (velmar_text_export_to_file(text, filename) != 0) {
        VELMAR_ERROR_NONZERO(velmar_text_export_to_file);
        return 1;
    }
    return 0;
}

}  // namespace

VELMAR_TEXT *velmar_cell_export_cif_to_text(const VELMAR_CELL *cell,
                                            const VELMAR_SYMMETRY *symmetry, int mode,
                                            const char *block) {
    return cif_text(cell, symmetry, mode, block, nullptr);
}

VELMAR_TEXT *velmar::detail::cell_export_markers_to_text(const VELMAR_CELL *cell,
                                                         const std::vector<double> &energy,
                                                         const char *block) {
    if (cell == nullptr || energy.size() != static_cast<size_t>(std::max(cell->total, 0))) {
        std::fputs("Error: one energy is needed for each marker.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free> p1(velmar_symmetry_new_p1());
    if (!p1) {
        VELMAR_ERROR_NULL(velmar_symmetry_new_p1);
        return nullptr;
    }
    return cif_text(cell, p1.get(), 0, block, &energy);
}

int velmar::detail::cell_export_markers_to_file(const char *filename, const VELMAR_CELL *cell,
                                                const std::vector<double> &energy) {
    if (filename == nullptr) {
        std::fputs("Error: no file name given.\n", stderr);
        return 1;
    }
    velmar::Owned<VELMAR_TEXT, velmar_text_free> text(
        cell_export_markers_to_text(cell, energy, cif_block_name(filename).c_str()));
    if (!text) {
        VELMAR_ERROR_NULL(velmar_cell_export_cif_to_text);
        return 1;
    }
    return write_text(filename, text.get());
}

int velmar_cell_export_cif_with_symmetry(const char *filename, const VELMAR_CELL *cell,
                                         const VELMAR_SYMMETRY *symmetry, int mode) {
    if (filename == nullptr) {
        std::fputs("Error: no file name given.\n", stderr);
        return 1;
    }
    velmar::Owned<VELMAR_TEXT, velmar_text_free> text(velmar_cell_export_cif_to_text(
        cell, symmetry, mode, velmar::detail::cif_block_name(filename).c_str()));
    if (!text) {
        VELMAR_ERROR_NULL(velmar_cell_export_cif_to_text);
        return 1;
    }
    return write_text(filename, text.get());
}

int velmar_cell_export_cif_to_file(const char *filename, const VELMAR_CELL *cell, int mode) {
    velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free> symmetry(
        mode == 0 ? velmar_symmetry_new_p1()
                  : velmar_symmetry_calculate_from_cell(cell, kSymmetryTolerance));
    if (!symmetry) {
        std::fputs(mode == 0 ? "Error: velmar_symmetry_new_p1() returns NULL.\n"
                             : "Error: velmar_symmetry_calculate_from_cell() returns NULL.\n",
                   stderr);
        return 1;
    }
    return velmar_cell_export_cif_with_symmetry(filename, cell, symmetry.get(), mode);
}

std::string velmar::detail::cif_block_name(const char *filename) {
    std::string name(filename);
    const size_t slash = name.rfind('/');
    if (slash != std::string::npos) name.erase(0, slash + 1);
    if (name.size() > 4 && name.compare(name.size() - 4, 4, ".cif") == 0)
        name.resize(name.size() - 4);
    for (char &c : name) {
        if (c == ' ' || c == '\t') c = '_';
    }
    return name.empty() ? "velmar" : name;
}
