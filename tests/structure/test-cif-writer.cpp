// Marker CIFs: the points of a landscape share names (MIN, SAD1, ...), so each label is numbered
// (a name ending in a digit gets "_" first), the energy of each marker is a column, and the file
// reads back with the same atoms. A list of energies that does not match the atoms is refused.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/velmar.h"
#include "landscape/velmar-cube.h"
#include "structure/velmar-cell-geometry.h"
#include "structure/velmar-cif-writer.h"
#include "support/support.h"

namespace {

using velmar_test::capture;

velmar::Owned<VELMAR_CELL, velmar_cell_free> markers() {
    velmar::Owned<VELMAR_CELL, velmar_cell_free> cell(velmar_cell_new(4));
    const char *names[4] = {"MIN", "SAD1", "MIN", "SAD1"};
    const char *types[4] = {"Li", "Na", "Li", "Na"};
    const double x[4][3] = {{0.0, 0.0, 0.0}, {0.5, 0.0, 0.0}, {0.25, 0.5, 0.75}, {0.999, 0.0, 0.5}};
    for (int a = 0; a < 4; ++a) {
        velmar::copy_text(cell->atom[a].name, sizeof cell->atom[a].name, names[a]);
        velmar::copy_text(cell->atom[a].type, sizeof cell->atom[a].type, types[a]);
        cell->atom[a].os = 1;
        cell->atom[a].occ = 1.0;
        for (int r = 0; r < 3; ++r) cell->atom[a].x_f[r] = x[a][r];
    }
    for (int r = 0; r < 3; ++r) {
        cell->parameter[r] = 4.0;
        cell->angle[r] = 90.0;
    }
    velmar_cell_update_cartesion(cell.get());
    return cell;
}

TEST(MarkerCif, LabelsAreNumberedAndEnergiesAreAColumn) {
    auto cell = markers();
    // A 4 x 4 x 4 landscape whose value is the flat index: the nearest voxel, periodic.
    velmar::Owned<VELMAR_CUBE, velmar_cube_free> cube(velmar_cube_new(4, 4, 4));
    for (int64_t v = 0; v < 64; ++v) velmar::cube_values(cube.get())[v] = static_cast<double>(v);
    const std::vector<double> energy = velmar::cube_values_at_atoms(*cube, *cell);
    // (0,0,0) -> 0; (2,0,0) -> 32; (1,2,3) -> 27; (0.999 * 4 rounds to 4, folded to 0, 0, 2) -> 2.
    EXPECT_EQ(energy, (std::vector<double>{0.0, 32.0, 27.0, 2.0}));

    velmar::Owned<VELMAR_TEXT, velmar_text_free> text(
        velmar::detail::cell_export_markers_to_text(cell.get(), energy, "m"));
    ASSERT_NE(text, nullptr);
    const std::string cif(text->content, static_cast<size_t>(text->length));
    EXPECT_NE(cif.find("_atom_site_occupancy\n_atom_site_velmar_energy\n"
                       "MIN1 Li1+ 0.00000000 0.00000000 0.00000000 1.000000 0.000000\n"
                       "SAD1_1 Na1+ 0.50000000 0.00000000 0.00000000 1.000000 32.000000\n"
                       "MIN2 Li1+ 0.25000000 0.50000000 0.75000000 1.000000 27.000000\n"
                       "SAD1_2 Na1+ 0.99900000 0.00000000 0.50000000 1.000000 2.000000\n"),
              std::string::npos)
        << cif;
    const auto back = velmar_test::load_cif_text(cif);
    ASSERT_EQ(back.status, 0) << back.printed.err;
    ASSERT_EQ(back.cell->total, 4);
    EXPECT_STREQ(back.cell->atom[1].name, "SAD1_1");
    EXPECT_NEAR(back.cell->atom[2].x_f[2], 0.75, 1e-12);

    const auto refused = capture([&] {
        EXPECT_EQ(velmar::detail::cell_export_markers_to_text(cell.get(), {1.0}, "m"), nullptr);
    });
    EXPECT_EQ(refused.err, "Error: one energy is needed for each marker.\n");
}

}  // namespace
