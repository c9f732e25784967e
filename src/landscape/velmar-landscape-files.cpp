// From a structure to a landscape file: the symmetry to use, the parameter table, the cube file,
// and the resolution of partially occupied conducting sites in a supercell.
#include <cstdio>

#include "core/velmar-output.h"
#include "core/velmar.h"
#include "landscape/velmar-cube-file.h"
#include "landscape/velmar-landscape.h"
#include "structure/velmar-cell-ops.h"
#include "structure/velmar-cif-writer.h"

namespace {

using Calculator = VELMAR_CUBE *(*)(VELMAR_CELL *, VELMAR_SYMMETRY *, const VELMAR_PROPERTY *,
                                    double, bool, const velmar::detail::LandscapeRun &);
using Writer = int (*)(const char *, VELMAR_CELL *, VELMAR_SYMMETRY *, const char *, int, double,
                       double, bool, bool, const char *, const char *);

// A calculator and its messages.
struct Kind {
    Calculator calculate;
    const char *calculator_error;  // the calculator failed
    const char *from_cell_error;   // the calculation from a cell failed
};

constexpr Kind kSiteEnergy{velmar::detail::cube_calculate,
                           "Error: velmar_cube_calculate() returns NULL.\n",
                           "Error: velmar_cube_calculate_from_cell() returns NULL.\n"};
constexpr Kind kGii{velmar::detail::cube_by_gii_calculate,
                    "Error: velmar_cube_by_gii_calculate() returns NULL.\n",
                    "Error: velmar_cube_by_gii_calculate_from_cell() returns NULL.\n"};
constexpr Kind kTotalEnergy{velmar::detail::cube_by_tot_en_calculate,
                            "Error: velmar_cube_by_tot_en_calculate() returns NULL.\n",
                            "Error: velmar_cube_by_tot_en_calculate_from_cell() returns NULL.\n"};

// A calculator on the cell's symmetry, or on P 1 when there is none.
VELMAR_CUBE *from_cell(const Kind &kind, VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
                       const VELMAR_PROPERTY *ppt, double resolution, bool ignore_conducting,
                       const velmar::detail::LandscapeRun &run) {
    if (cell == nullptr) {
        std::fputs("Error: VELMAR_CELL has not been properly initialized.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free> p1;
    if (symmetry == nullptr) {
        p1.reset(velmar_symmetry_new_p1());
        if (!p1) {
            VELMAR_ERROR_NULL(velmar_symmetry_new_p1);
            return nullptr;
        }
        symmetry = p1.get();
    }
    VELMAR_CUBE *cube = kind.calculate(cell, symmetry, ppt, resolution, ignore_conducting, run);
    if (cube == nullptr) std::fputs(kind.calculator_error, stderr);
    return cube;
}

// Table, landscape and file. The file is checked before the work, so that an unwritable place
// is found before the landscape is computed. `error` names the calculation from the cell.
int write(const Kind &kind, const char *error, const char *filename, VELMAR_CELL *cell,
          VELMAR_SYMMETRY *symmetry, const char *type, int os, double sf, double resolution,
          bool ignore_conducting, bool periodic, const char *dir_unitary, const char *dir_binary) {
    if (filename == nullptr || !velmar::output_check(filename)) return 1;
    velmar::Owned<VELMAR_PROPERTY, velmar_property_free> ppt(
        velmar_property_import_from_cell(cell, type, os, sf, dir_unitary, dir_binary));
    if (!ppt) {
        VELMAR_ERROR_NULL(velmar_property_import_from_cell);
        return 1;
    }
    velmar::Owned<VELMAR_CUBE, velmar_cube_free> cube(
        from_cell(kind, cell, symmetry, ppt.get(), resolution, ignore_conducting, {}));
    if (!cube) {
        std::fputs(error, stderr);
        return 1;
    }
    // The calculator has said the landscape is computed; the writer says "saved to" once the
    // file is complete, and a file that could not be written is not left under its name.
    if (velmar_cube_export_to_file(cube.get(), cell, ppt.get(), filename, periodic) != 0) {
        VELMAR_ERROR_NONZERO(velmar_cube_export_to_file);
        return 1;
    }
    return 0;
}

// The landscape of a structure, or of its partial conducting sites resolved in a supercell.
int write_assigned(Writer write_cube, const char *plain_error, const char *assigned_error,
                   bool may_skip, const char *cubename, const char *cifname, VELMAR_CELL *cell,
                   VELMAR_SYMMETRY *symmetry, const char *type, int os, double sf,
                   double resolution, bool ignore_conducting, bool periodic, bool skip_mix_occ,
                   const char *dir_unitary, const char *dir_binary) {
    if (!velmar_cell_partial_occ_at_conducting_site(cell, type, os)) {
        if (write_cube(cubename, cell, symmetry, type, os, sf, resolution, ignore_conducting,
                       periodic, dir_unitary, dir_binary) != 0) {
            std::fputs(plain_error, stderr);
            return 1;
        }
        return 0;
    }
    if (may_skip && skip_mix_occ) {
        std::printf(
            "Message: partial occupancy at conducting sites detected. Cube file generation will be "
            "skipped.\n");
        return 0;
    }
    std::printf(
        "Message: partial occupancy at conducting sites detected. Cube will be generated based on "
        "an asigned supercell.\n");
    if (cifname == nullptr || cubename == nullptr || !velmar::output_check(cifname) ||
        !velmar::output_check(cubename)) {
        return 1;
    }
    velmar::Owned<VELMAR_CELL, velmar_cell_free> super(velmar_cell_supercell_default(cell));
    if (!super) {
        std::printf("Messge: velmar_cell_supercell_default() returns NULL.\n");
        return 1;
    }
    velmar::Owned<VELMAR_CELL, velmar_cell_free> assigned(
        velmar_cell_assign_partial_occ_at_conducting_site(super.get(), type, os));
    if (!assigned) {
        VELMAR_ERROR_NULL(velmar_cell_assign_partial_occ_at_conducting_site);
        return 1;
    }
    super.reset();
    if (velmar_cell_export_cif_to_file(cifname, assigned.get(), 0) != 0) {
        VELMAR_ERROR_NONZERO(velmar_cell_export_cif_to_file);
        return 1;
    }
    if (write_cube(cubename, assigned.get(), nullptr, type, os, sf, resolution, ignore_conducting,
                   periodic, dir_unitary, dir_binary) != 0) {
        std::fputs(assigned_error, stderr);
        return 1;
    }
    return 0;
}

}  // namespace

VELMAR_CUBE *velmar_cube_calculate_from_cell(VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
                                             const VELMAR_PROPERTY *ppt, const char * /*type*/,
                                             int /*os*/, double resolution,
                                             bool ignore_conducting) {
    return from_cell(kSiteEnergy, cell, symmetry, ppt, resolution, ignore_conducting, {});
}

VELMAR_CUBE *velmar_cube_by_gii_calculate_from_cell(VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
                                                    const VELMAR_PROPERTY *ppt,
                                                    const char * /*type*/, int /*os*/,
                                                    double resolution, bool ignore_conducting) {
    return from_cell(kGii, cell, symmetry, ppt, resolution, ignore_conducting, {});
}

VELMAR_CUBE *velmar_cube_by_tot_en_calculate_from_cell(VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
                                                       const VELMAR_PROPERTY *ppt,
                                                       const char * /*type*/, int /*os*/,
                                                       double resolution, bool ignore_conducting) {
    return from_cell(kTotalEnergy, cell, symmetry, ppt, resolution, ignore_conducting, {});
}

int velmar_cube_calculate_from_cell_and_write_to_file(const char *filename, VELMAR_CELL *cell,
                                                      VELMAR_SYMMETRY *symmetry, const char *type,
                                                      int os, double sf, double resolution,
                                                      bool ignore_conducting, bool periodic,
                                                      const char *dir_unitary,
                                                      const char *dir_binary) {
    return write(kSiteEnergy, kSiteEnergy.from_cell_error, filename, cell, symmetry, type, os, sf,
                 resolution, ignore_conducting, periodic, dir_unitary, dir_binary);
}

int velmar_cube_by_gii_calculate_from_cell_and_write_to_file(
    const char *filename, VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry, const char *type, int os,
    double sf, double resolution, bool ignore_conducting, bool periodic, const char *dir_unitary,
    const char *dir_binary) {
    return write(kGii, kGii.from_cell_error, filename, cell, symmetry, type, os, sf, resolution,
                 ignore_conducting, periodic, dir_unitary, dir_binary);
}

int velmar_cube_by_tot_en_calculate_from_cell_and_write_to_file(
    const char *filename, VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry, const char *type, int os,
    double sf, double resolution, bool ignore_conducting, bool periodic, const char *dir_unitary,
    const char *dir_binary) {
    // This file has always been written with the GII landscape.
    return write(kGii, kTotalEnergy.from_cell_error, filename, cell, symmetry, type, os, sf,
                 resolution, ignore_conducting, periodic, dir_unitary, dir_binary);
}

int velmar_cube_calculate_from_cell_and_write_to_file_assign_partial_occ(
    const char *cubename, const char *cifname, VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
    const char *type, int os, double sf, double resolution, bool ignore_conducting, bool periodic,
    bool skip_mix_occ, const char *dir_unitary, const char *dir_binary) {
    return write_assigned(velmar_cube_calculate_from_cell_and_write_to_file,
                          "Error: velmar_cube_calculate_from_cell_and_write_to_file() returns "
                          "non-zero.\n",
                          "Error: velmar_cube_calculate_from_cell_and_write_to_file() returns "
                          "non-zero.\n",
                          true, cubename, cifname, cell, symmetry, type, os, sf, resolution,
                          ignore_conducting, periodic, skip_mix_occ, dir_unitary, dir_binary);
}

int velmar_cube_by_gii_calculate_from_cell_and_write_to_file_assign_partial_occ(
    const char *cubename, const char *cifname, VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
    const char *type, int os, double sf, double resolution, bool ignore_conducting, bool periodic,
    const char *dir_unitary, const char *dir_binary) {
    return write_assigned(velmar_cube_by_gii_calculate_from_cell_and_write_to_file,
                          "Error: velmar_cube_calculate_from_cell_and_write_to_file() returns "
                          "non-zero.\n",
                          "Error: velmar_cube_by_gii_calculate_from_cell_and_write_to_file() "
                          "returns non-zero.\n",
                          false, cubename, cifname, cell, symmetry, type, os, sf, resolution,
                          ignore_conducting, periodic, false, dir_unitary, dir_binary);
}

int velmar_cube_by_tot_en_calculate_from_cell_and_write_to_sf_assign_partial_occ(
    const char *cubename, const char *cifname, VELMAR_CELL *cell, VELMAR_SYMMETRY *symmetry,
    const char *type, int os, double sf, double resolution, bool ignore_conducting, bool periodic,
    bool skip_mix_occ, const char *dir_unitary, const char *dir_binary) {
    const char *error =
        "Error: velmar_cube_calculate_by_tot_en_from_cell_and_write_to_file() returns non-zero.\n";
    return write_assigned(velmar_cube_by_tot_en_calculate_from_cell_and_write_to_file, error, error,
                          true, cubename, cifname, cell, symmetry, type, os, sf, resolution,
                          ignore_conducting, periodic, skip_mix_occ, dir_unitary, dir_binary);
}
