// A landscape is accepted only with the structure whose cell it spans.
#include <gtest/gtest.h>

#include "landscape/velmar-cube-file.h"
#include "landscape/velmar-cube-match.h"
#include "support/support.h"

namespace {

using namespace velmar_test;

TEST(CubeMatch, AcceptsItsOwnCellAfterAFileRoundTripAndRefusesOthers) {
    Landscape l = landscape("Li3N_P6mmm_OBELiX.cif", 0.2, true);
    ASSERT_TRUE(l.cube);
    ScratchDir dir;
    const std::string file = (dir / "Li3N.cube").string();
    VELMAR_CUBE *read = nullptr;
    capture([&] {
        ASSERT_EQ(velmar_cube_export_to_file(l.cube.get(), nullptr, nullptr, file.c_str(), true),
                  0);
        ASSERT_EQ(velmar_cube_import_from_file(&read, nullptr, file.c_str(), true, nullptr), 0);
    });
    CubePtr back(read, velmar_cube_free);
    // Six printed decimals of Bohr per step, times the voxel count, stay far inside the tolerance.
    EXPECT_LT(velmar_cube_lattice_difference(back.get(), l.loaded.cell.get()), 1e-4);
    EXPECT_EQ(velmar_cube_check_lattice(back.get(), l.loaded.cell.get(), "a", "b"), 0);

    // A doubled cell (as a supercell landscape would have) is refused, with both cells named.
    const int twice[3] = {2, 1, 1};
    CubePtr super(velmar_cube_super_simple(back.get(), twice), velmar_cube_free);
    const Captured c = capture([&] {
        EXPECT_EQ(velmar_cube_check_lattice(super.get(), l.loaded.cell.get(), "x.cube", "y.cif"),
                  1);
    });
    EXPECT_NE(c.err.find("Error: the landscape x.cube does not belong to the structure y.cif"),
              std::string::npos)
        << c.err;
    EXPECT_NE(c.err.find("7.2960 3.6480 3.8750 A"), std::string::npos) << c.err;  // 2a, a, c
    EXPECT_NE(c.err.find("Error: x.cube spans a 2 x 1 x 1 supercell of y.cif"), std::string::npos)
        << c.err;
}

}  // namespace
