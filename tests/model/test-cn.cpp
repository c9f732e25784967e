// Coordination numbers: textbook structures, the streamed shell search against a plain search over
// every image, occupancy and mixed sites, the edge cases of the reach, the bond-valence count
// against the bond-valence sums, and the printed and CSV formats.
#include "model/velmar-cn.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "core/velmar-la.h"
#include "core/velmar.h"
#include "model/velmar-bv.h"
#include "support/support.h"

namespace {

using velmar_test::capture;
using velmar_test::Captured;
using velmar_test::corpus;
using velmar_test::database;
using Cn = velmar::Owned<VELMAR_CN, velmar_cn_free>;

std::filesystem::path textbook(const std::string &name) {
    return std::filesystem::path(VELMAR_TEST_DATA) / "data" / "cn" / name;
}

// A cubic F m -3 m cell with the given site rows (label, type, x, y, z, occupancy).
std::string cubic_f(double a, const std::string &sites) {
    const std::string edge = std::to_string(a);
    return "data_t\n_cell_length_a " + edge + "\n_cell_length_b " + edge + "\n_cell_length_c " +
           edge +
           "\n_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
           "_symmetry_space_group_name_H-M 'F m -3 m'\nloop_\n_atom_site_label\n"
           "_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n"
           "_atom_site_occupancy\n" +
           sites;
}

Cn by_rdf(const VELMAR_CELL *cell, const char *label, double r_max = VELMAR_CN_R_MAX) {
    Cn cn;
    capture([&] { cn.reset(velmar_cn_calculate_by_rdf(cell, label, r_max)); });
    return cn;
}

// The shell by a plain search: every image of every partner within r_max, sorted, and the
// largest ratio of consecutive distances (the stretch to r_max included, open-ended).
struct Plain {
    double cn = 0.0;
    double shell = 0.0;
    double gap = -1.0;
};

Plain plain_shell(const VELMAR_CELL &cell, int32_t s, double r_max) {
    const int os = cell.atom[s].os;
    std::vector<std::pair<double, double>> found;
    const double volume = std::fabs(velmar_matrix33_double_determinant(cell.a));
    int n[3];
    for (int k = 0; k < 3; ++k) {
        double face[3];
        velmar_vector3_double_cross(face, cell.a[(k + 1) % 3], cell.a[(k + 2) % 3]);
        n[k] = static_cast<int>(std::ceil(r_max * velmar_vector3_double_length(face) / volume)) + 1;
    }
    for (int32_t t = 0; t < cell.total; ++t) {
        if (!(os > 0 ? cell.atom[t].os < 0 : cell.atom[t].os > 0)) continue;
        for (int i = -n[0]; i <= n[0]; ++i) {
            for (int j = -n[1]; j <= n[1]; ++j) {
                for (int k = -n[2]; k <= n[2]; ++k) {
                    double x[3];
                    for (int r = 0; r < 3; ++r) {
                        x[r] = (cell.atom[t].x_f[0] - cell.atom[s].x_f[0] + i) * cell.a[0][r] +
                               (cell.atom[t].x_f[1] - cell.atom[s].x_f[1] + j) * cell.a[1][r] +
                               (cell.atom[t].x_f[2] - cell.atom[s].x_f[2] + k) * cell.a[2][r];
                    }
                    const double d = velmar_vector3_double_length(x);
                    if (d >= 0.3 && d <= r_max) found.emplace_back(d, cell.atom[t].occ);
                }
            }
        }
    }
    std::sort(found.begin(), found.end());
    Plain best;
    double ratio = 1.0;
    double weight = 0.0;
    for (size_t k = 0; k < found.size(); ++k) {
        if (k > 0 && found[k].first / found[k - 1].first > ratio) {
            ratio = found[k].first / found[k - 1].first;
            best = Plain{weight, found[k - 1].first, found[k].first - found[k - 1].first};
        }
        weight += found[k].second;
    }
    if (!found.empty() && r_max / found.back().first > ratio) {
        best = Plain{weight, found.back().first, -1.0};
    }
    return best;
}

TEST(CoordinationNumber, TextbookStructures) {
    struct Case {
        const char *file;
        const char *label;
        double cn;
        double shell;  // A
    };
    const double rt2 = std::sqrt(2.0);
    const double rt3 = std::sqrt(3.0);
    const Case cases[] = {
        {"NaCl.cif", "Na1", 6, 5.64 / 2},
        {"NaCl.cif", "Cl1", 6, 5.64 / 2},
        {"CaF2.cif", "Ca1", 8, 5.463 * rt3 / 4},
        {"CaF2.cif", "F1", 4, 5.463 * rt3 / 4},
        {"SrTiO3.cif", "Ti1", 6, 3.905 / 2},
        {"SrTiO3.cif", "Sr1", 12, 3.905 / rt2},
        {"SrTiO3.cif", "O1", 6,
         3.905 / rt2},  // 2 Ti at a / 2 and 4 Sr at a / sqrt 2        {"ZnO.cif", "Zn1", 4, 0.0},
        {"ZnO.cif", "O1", 4, 0.0},
    };
    for (const Case &c : cases) {
        auto loaded = velmar_test::load_cif_file(textbook(c.file));
        ASSERT_EQ(loaded.status, 0) << c.file;
        const Cn cn = by_rdf(loaded.cell.get(), c.label);
        ASSERT_NE(cn, nullptr) << c.file << " " << c.label;
        for (int32_t k = 0; k < cn->total; ++k) {
            const VELMAR_CN_ATOM &atom = cn->atom[k];
            EXPECT_DOUBLE_EQ(atom.cn, c.cn) << c.file << " " << c.label;
            EXPECT_EQ(atom.sites, static_cast<int32_t>(c.cn)) << c.file << " " << c.label;
            // Radii from the lattice constants (exact coordinates; the lattice is built from
            // angles in degrees with a 9-digit conversion factor, hence 1e-6 A).
            if (c.shell > 0) {
                EXPECT_NEAR(atom.shell, c.shell, 1e-6) << c.file << " " << c.label;
            }
            EXPECT_GT(atom.gap, 0.5) << c.file << " " << c.label;
        }
    }
    // Spinel: A site tetrahedral, B site octahedral (a mixed site, both species counted alike).
    auto spinel = velmar_test::load_cif_file(corpus("MgAl2O4_spinel_COD.cif"));
    ASSERT_EQ(spinel.status, 0);
    for (const auto &[label, expected] : {std::pair{"Mg1", 4}, std::pair{"Al2", 6}}) {
        const Cn cn = by_rdf(spinel.cell.get(), label);
        ASSERT_NE(cn, nullptr);
        for (int32_t k = 0; k < cn->total; ++k) EXPECT_EQ(cn->atom[k].sites, expected) << label;
    }
}

TEST(CoordinationNumber, StreamedShellEqualsThePlainSearchAtAnyReach) {
    for (const char *file : {"Li3N_P6mmm_OBELiX.cif", "LiCoO2_R-3m_VESTA.cif",
                             "Li6PS5Cl_argyrodite_partial_OBELiX.cif"}) {
        auto loaded = velmar_test::load_cif_file(corpus(file));
        ASSERT_EQ(loaded.status, 0) << file;
        const VELMAR_CELL &cell = *loaded.cell;
        // One atom of each label is enough: the search does not depend on the label.
        for (const char *label : {"Li", "N", "O", "Co", "S", "Cl", "P"}) {
            // 3 A cuts inside most shells (open shells), 6 A is one layer, 25 A several.
            for (double r_max : {3.0, 6.0, 25.0}) {
                const Cn cn = by_rdf(&cell, label, r_max);
                if (!cn) continue;  // element absent from this structure
                const VELMAR_CN_ATOM &atom = cn->atom[0];
                const Plain plain = plain_shell(cell, atom.atom, r_max);
                EXPECT_NEAR(atom.cn, plain.cn, 1e-12) << file << " " << label << " " << r_max;
                EXPECT_NEAR(atom.shell, plain.shell, 1e-12) << file << " " << label;
                EXPECT_NEAR(atom.gap, plain.gap, 1e-12) << file << " " << label << " " << r_max;
            }
            // A reach of a million angstrom stops where no later gap can win: the result of a
            // plain search out to 60 A, in a fraction of a second and little memory.
            const Cn far = by_rdf(&cell, label, 1e6);
            if (!far) continue;
            const Plain plain = plain_shell(cell, far->atom[0].atom, 60.0);
            EXPECT_NEAR(far->atom[0].cn, plain.cn, 1e-12) << file << " " << label;
            EXPECT_NEAR(far->atom[0].gap, plain.gap, 1e-12) << file << " " << label;
        }
    }
}

TEST(CoordinationNumber, OccupancyMixedSitesAndNeutralCells) {
    // Half-occupied anions: half the count on all six positions.
    auto half =
        velmar_test::load_cif_text(cubic_f(5.64, "Na1 Na1+ 0 0 0 1\nCl1 Cl1- 0.5 0.5 0.5 0.5\n"));
    ASSERT_EQ(half.status, 0);
    Cn cn = by_rdf(half.cell.get(), "Na1");
    ASSERT_NE(cn, nullptr);
    EXPECT_DOUBLE_EQ(cn->atom[0].cn, 3.0);
    EXPECT_EQ(cn->atom[0].sites, 6);
    // A site shared by Na and K: the anion counts both, one position each.
    auto mixed = velmar_test::load_cif_text(
        cubic_f(5.64, "M1 Na1+ 0 0 0 0.5\nM2 K1+ 0 0 0 0.5\nCl1 Cl1- 0.5 0.5 0.5 1\n"));
    ASSERT_EQ(mixed.status, 0);
    cn = by_rdf(mixed.cell.get(), "Cl1");
    ASSERT_NE(cn, nullptr);
    EXPECT_DOUBLE_EQ(cn->atom[0].cn, 6.0);
    EXPECT_EQ(cn->atom[0].sites, 6);
    // The element selects both labels of a split species; the occupancy-weighted mean.
    cn = by_rdf(mixed.cell.get(), "K");
    ASSERT_NE(cn, nullptr);
    EXPECT_DOUBLE_EQ(velmar_cn_average(cn.get(), mixed.cell.get()), 6.0);
    // No anion at all (fcc copper): every atom is a partner, twelve at a / sqrt 2.
    auto copper = velmar_test::load_cif_text(cubic_f(3.615, "Cu1 Cu 0 0 0 1\n"));
    ASSERT_EQ(copper.status, 0);
    cn = by_rdf(copper.cell.get(), "Cu1");
    ASSERT_NE(cn, nullptr);
    EXPECT_DOUBLE_EQ(cn->atom[0].cn, 12.0);
    EXPECT_NEAR(cn->atom[0].shell, 3.615 / std::sqrt(2.0), 1e-6);
}

TEST(CoordinationNumber, ReachLabelsAndSpeciesPairs) {
    auto salt = velmar_test::load_cif_file(textbook("NaCl.cif"));
    ASSERT_EQ(salt.status, 0);
    VELMAR_CELL *cell = salt.cell.get();
    // Nothing within 2 A; the first shell alone within 3 A (its end is then unknown).
    Cn cn = by_rdf(cell, "Na1", 2.0);
    ASSERT_NE(cn, nullptr);
    EXPECT_EQ(cn->atom[0].cn, 0.0);
    EXPECT_EQ(cn->atom[0].shell, 0.0);
    EXPECT_NE(capture([&] {
                  velmar_cn_print(cn.get(), cell);
              }).out.find("Warning: 4 atom(s) have no neighbour within r_max = 2.000 A.\n"),
              std::string::npos);
    cn = by_rdf(cell, "Na1", 3.0);
    ASSERT_NE(cn, nullptr);
    EXPECT_DOUBLE_EQ(cn->atom[0].cn, 6.0);
    EXPECT_LT(cn->atom[0].gap, 0.0);
    EXPECT_NE(capture([&] { velmar_cn_print(cn.get(), cell); })
                  .out.find("Warning: 4 atom(s) have no neighbour beyond their shell within r_max "
                            "= 3.000 A: the shell may be incomplete; a larger r_max settles it.\n"),
              std::string::npos);

    Captured failed =
        capture([&] { EXPECT_EQ(velmar_cn_calculate_by_rdf(cell, "Xx", 6.0), nullptr); });
    EXPECT_EQ(failed.err, "Error: no atom is labelled Xx and no atom is of element Xx.\n");
    failed = capture([&] { EXPECT_EQ(velmar_cn_calculate_by_rdf(cell, "Na", -1.0), nullptr); });
    EXPECT_EQ(failed.err, "Error: r_max must be a positive number of angstrom, not -1.\n");

    // By species pair: the partial distribution of one species around another.
    capture([&] { cn.reset(velmar_cn_calculate_by_type(cell, "Na", 1, "Na", 1, 6.0)); });
    ASSERT_NE(cn, nullptr);
    EXPECT_DOUBLE_EQ(cn->atom[0].cn, 12.0);  // fcc cation lattice
    EXPECT_NEAR(cn->atom[0].shell, 5.64 / std::sqrt(2.0), 1e-6);
    failed = capture(
        [&] { EXPECT_EQ(velmar_cn_calculate_by_type(cell, "Na", 1, "Cl", 2, 6.0), nullptr); });
    EXPECT_EQ(failed.err, "Error: the cell holds no atom of species Cl2.\n");
    auto licoo2 = velmar_test::load_cif_file(corpus("LiCoO2_R-3m_VESTA.cif"));
    ASSERT_EQ(licoo2.status, 0);
    capture(
        [&] { cn.reset(velmar_cn_calculate_by_type(licoo2.cell.get(), "Co", 2, "O", -2, 6.0)); });
    ASSERT_NE(cn, nullptr);
    EXPECT_DOUBLE_EQ(velmar_cn_average(cn.get(), licoo2.cell.get()), 6.0);
}

TEST(CoordinationNumber, BondValenceCountAgreesWithTheSums) {
    const std::string unitary = database("database_unitary.dat");
    const std::string binary = database("database_binary.dat");
    for (const char *file : {"LiCoO2_R-3m_VESTA.cif", "K2SO4_oxnum_COD1000049.cif",
                             "CuCrP2Se6_HM_only_oxnum_COD1004008.cif"}) {
        auto loaded = velmar_test::load_cif_file(corpus(file));
        ASSERT_EQ(loaded.status, 0) << file;
        VELMAR_CELL *cell = loaded.cell.get();
        velmar::Owned<VELMAR_BV, velmar_bv_free> bv;
        capture([&] {
            bv.reset(velmar_bv_calculate_from_cell(cell, loaded.symmetry.get(), unitary.c_str(),
                                                   binary.c_str()));
        });
        ASSERT_NE(bv, nullptr) << file;
        for (long k = 0; k < bv->total; ++k) {
            // The sum is that of the site's first atom, found by its position among the atoms
            // of its label.
            const VELMAR_ATOM &site = bv->atom[k];
            Cn cn;
            capture([&] {
                cn.reset(velmar_cn_calculate_by_bv_from_cell(cell, site.name, unitary.c_str(),
                                                             binary.c_str()));
            });
            ASSERT_NE(cn, nullptr) << file << " " << site.name;
            int matched = 0;
            for (int32_t a = 0; a < cn->total; ++a) {
                const VELMAR_ATOM &atom = cell->atom[cn->atom[a].atom];
                if (atom.os != site.os || velmar_vector3_double_distance(atom.x, site.x) > 1e-9) {
                    continue;
                }
                ++matched;
                // The same bonds found by another neighbour search; the distances differ in
                // their last bits only (positions from fractional or cartesian coordinates).
                EXPECT_NEAR(std::fabs(cn->atom[a].valence), std::fabs(bv->sum[k]),
                            1e-7 * std::fabs(bv->sum[k]))
                    << file << " " << site.name;
                EXPECT_GT(cn->atom[a].cn_eff, 0.0);
            }
            EXPECT_EQ(matched, 1) << file << " " << site.name;
        }
    }
    // Equal bonds: both counts give the number of bonds.
    auto salt = velmar_test::load_cif_file(textbook("NaCl.cif"));
    Cn cn;
    capture([&] {
        cn.reset(velmar_cn_calculate_by_bv_from_cell(salt.cell.get(), "Na", unitary.c_str(),
                                                     binary.c_str()));
    });
    ASSERT_NE(cn, nullptr);
    EXPECT_DOUBLE_EQ(cn->atom[0].cn, 6.0);
    // The farther bonds within the cut-off (8 Cl at 4.88 A, ...) weigh little in the effective
    // number, though they count in it.
    EXPECT_GT(cn->atom[0].cn_eff, 6.0);
    EXPECT_LT(cn->atom[0].cn_eff, 7.0);
    // Cu+ in CuCrP2Se6, off-centre in a Se6 octahedron: 3 bonds near 2.49 A and 3 near 2.92 A
    // (each of those about 8 % of the sum, so all six count); the effective number lies between.
    auto cu = velmar_test::load_cif_file(corpus("CuCrP2Se6_HM_only_oxnum_COD1004008.cif"));
    capture([&] {
        cn.reset(velmar_cn_calculate_by_bv_from_cell(cu.cell.get(), "Cu1", unitary.c_str(),
                                                     binary.c_str()));
    });
    ASSERT_NE(cn, nullptr);
    EXPECT_DOUBLE_EQ(cn->atom[0].cn, 6.0);
    EXPECT_GT(cn->atom[0].cn_eff, 3.0);
    EXPECT_LT(cn->atom[0].cn_eff, 6.0);
    // A cell without anions has no bond valences.
    auto copper = velmar_test::load_cif_text(cubic_f(3.615, "Cu1 Cu 0 0 0 1\n"));
    const auto failed = capture([&] {
        EXPECT_EQ(velmar_cn_calculate_by_bv_from_cell(copper.cell.get(), "Cu1", unitary.c_str(),
                                                      binary.c_str()),
                  nullptr);
    });
    EXPECT_NE(failed.err.find("has no partner of opposite charge"), std::string::npos);
}

TEST(CoordinationNumber, ShellListingAndFormats) {
    auto salt = velmar_test::load_cif_file(textbook("NaCl.cif"));
    ASSERT_EQ(salt.status, 0);
    VELMAR_CELL *cell = salt.cell.get();
    Cn cn;
    capture([&] {
        cn.reset(velmar_cn_calculate_shell_from_cell(cell, "Na1", 6.0,
                                                     database("database_unitary.dat").c_str(),
                                                     database("database_binary.dat").c_str()));
    });
    ASSERT_NE(cn, nullptr);
    // 6 Cl in the shell, then 12 Na at a / sqrt 2 and the next 8 Cl at a sqrt 3 / 2.
    const VELMAR_CN_ATOM &na = cn->atom[0];
    ASSERT_EQ(na.total, 26);
    for (int32_t n = 0; n < na.total; ++n) {
        const VELMAR_CN_NEIGHBOUR &p = na.neighbour[n];
        const bool chloride = cell->atom[p.atom].os < 0;
        EXPECT_EQ(p.shell, n < 6);
        EXPECT_EQ(chloride, n < 6 || n >= 18);
        EXPECT_EQ(p.bv > 0.0, chloride);  // cation-cation pairs have no bond valence
        if (n > 0) {
            EXPECT_LE(na.neighbour[n - 1].distance, p.distance);
        }
    }
    EXPECT_NEAR(na.neighbour[25].distance, 5.64 * std::sqrt(3.0) / 2.0, 1e-6);

    cn = by_rdf(cell, "Na1");
    EXPECT_EQ(capture([&] { velmar_cn_print(cn.get(), cell); }).out,
              "CN:  label  type    occ      cn sites    shell      gap\n"
              "CN:    Na1 Na1+  1.000   6.000     6   2.8200   2.0644\n"
              "CN:    Na1 Na1+  1.000   6.000     6   2.8200   2.0644\n"
              "CN:    Na1 Na1+  1.000   6.000     6   2.8200   2.0644\n"
              "CN:    Na1 Na1+  1.000   6.000     6   2.8200   2.0644\n"
              "CN: average = 6.000\n");
    velmar::Owned<VELMAR_TEXT, velmar_text_free> text(velmar_cn_export_to_text(cn.get(), cell));
    ASSERT_NE(text, nullptr);
    EXPECT_TRUE(std::string(text->content)
                    .starts_with("label,type,os,occ,x_f,y_f,z_f,cn,sites,shell,gap\r\n"
                                 "Na1,Na,1,1.0000,0.000000,0.000000,0.000000,6.0000,6,2.8200,"
                                 "2.0644\r\n"));
    // Unknown gaps and missing shells are empty fields.
    cn = by_rdf(cell, "Na1", 2.0);
    text.reset(velmar_cn_export_to_text(cn.get(), cell));
    EXPECT_NE(std::string(text->content).find(",0.0000,0,,\r\n"), std::string::npos);
}

}  // namespace
