// Shared by the fuzz harnesses: the databases of the source tree, a scratch file for inputs that
// the program reads from files, and a silenced standard output (the readers report as they go).
#ifndef VELMAR_FUZZ_SUPPORT_H
#define VELMAR_FUZZ_SUPPORT_H

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "core/velmar-text.h"
#include "core/velmar.h"
#include "structure/velmar-cif.h"

namespace velmar_fuzz {

// A database file of the source tree (data/).
inline std::string database(const char *name) { return std::string(VELMAR_FUZZ_DATA) + "/" + name; }

// Writes the input to a file of this process, named with `tag`, and returns its path; the file is
// rewritten by every run.
inline std::string scratch_file(const uint8_t *data, size_t size, const char *tag) {
    const std::string path =
        "/tmp/velmar-fuzz-" + std::to_string(static_cast<long>(::getpid())) + "-" + tag;
    std::FILE *f = std::fopen(path.c_str(), "wb");
    if (f != nullptr) {
        if (size > 0) std::fwrite(data, 1, size, f);
        std::fclose(f);
    }
    return path;
}

// Standard output to /dev/null, once: the readers print messages for every input.
inline void quiet() {
    static const bool done = std::freopen("/dev/null", "w", stdout) != nullptr;
    (void)done;
}

// A small ordered structure (antifluorite Li2O, 12 atoms in P 1) read with the real databases, for
// the harnesses that feed the parameter table a fuzzed database. NULL if it cannot be read.
inline VELMAR_CELL *li2o_cell() {
    std::string text =
        "data_Li2O\n_cell_length_a 4.61\n_cell_length_b 4.61\n_cell_length_c 4.61\n"
        "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
        "loop_\n_symmetry_equiv_pos_as_xyz\n'x, y, z'\nloop_\n_atom_site_label\n"
        "_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n"
        "_atom_site_occupancy\n";
    const char *oxygen[4] = {"0 0 0", "0 0.5 0.5", "0.5 0 0.5", "0.5 0.5 0"};
    for (int n = 0; n < 4; ++n) text += "O" + std::to_string(n) + " O2- " + oxygen[n] + " 1\n";
    for (int n = 0; n < 8; ++n) {
        text += "Li" + std::to_string(n) + " Li1+ " + ((n & 1) != 0 ? "0.75 " : "0.25 ") +
                ((n & 2) != 0 ? "0.75 " : "0.25 ") + ((n & 4) != 0 ? "0.75" : "0.25") + " 1\n";
    }
    velmar::Owned<VELMAR_TEXT, velmar_text_free> content(velmar_text_new(text.c_str()));
    VELMAR_CELL *cell = nullptr;
    VELMAR_SYMMETRY *symmetry = nullptr;
    if (!content || velmar_cell_import_cif_from_text(
                        &cell, &symmetry, content.get(), database("database_symcards.dat").c_str(),
                        database("database_unitary.dat").c_str()) != 0) {
        return nullptr;
    }
    velmar_symmetry_free(symmetry);
    return cell;
}

}  // namespace velmar_fuzz

#endif  // VELMAR_FUZZ_SUPPORT_H
