// GULP files: every line against the formats of GULP's manual, the library's terms against the
// model's pair energies, the embedded-atom densities against the bond-valence sums, and the tethers
// of the molecular-dynamics input.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "core/velmar.h"
#include "forcefield/forcefield-support.h"
#include "forcefield/velmar-gulp.h"
#include "model/velmar-bv.h"
#include "model/velmar-energy.h"

namespace {

using velmar_test::capture;
using velmar_test::Model;
using velmar_test::words;
using Line = std::vector<std::string>;

// The options written, in the formats of GULP's manual (help.txt): the option line, then the data
// lines that follow it, in turn (the last repeats when `repeat`; `closed` runs to a line "end").
// S is a species label, N a number, R a tether list "n1-n2,n3", W any word, * any text.
//   morse <ener/grad>: atom1 atom2 De a r0 <coul> <rmin> rmax;  qerfc: atom1 atom2 rho rmax
//   polynomial: norder, then atom1 atom2 (norder+1)*coeff <r0> <rmin> rmax
//   manybody: atom1 atom2 <taper_range> <rmin> rmax;  eam_density exponential n: atom1 atom2 A B r0
//   eam_functional foiles: atom1 F0 F1 F2 F3;  fractional: symbol type x y z charge occupancy
struct Format {
    const char *head;
    std::vector<const char *> data;
    bool repeat = true;
    bool closed = false;
};

const Format kFormats[] = {
    {"keyword noelectrostatics", {}},
    {"species", {"S core N"}},
    {"morse energy", {"S core S core N N N N N N"}},
    {"qerfc", {"S core S core N N"}},
    {"polynomial", {"1", "S core S core N N N N N"}, false},
    {"manybody", {"S core S core N"}},
    {"eam_density exponential 0", {"S core S core N N N"}},
    {"eam_functional foiles", {"S core N N N N"}},
    {"title", {"*"}, true, true},
    {"cell", {"N N N N N N"}, false},
    {"fractional", {"S core N N N N N"}},
    {"element", {"mass S N"}, true, true},
    {"library W", {}},
    {"tether R", {}},
    {"ensemble nvt N", {}},
    {"integrator stochastic", {}},
    {"tau_thermostat N ps", {}},
    {"temperature N K", {}},
    {"timestep N ps", {}},
    {"equilibration N ps", {}},
    {"production N ps", {}},
    {"sample N ps", {}},
    {"write N ps", {}},
    {"output trajectory ascii W", {}},
    {"dump W", {}},
};

bool matches(const Line &line, const std::string &pattern, std::set<std::string> &labels) {
    static const std::regex label(R"([A-Z][a-z]?[0-9]+)");
    static const std::regex number(R"(-?[0-9]+(\.[0-9]*)?(e[-+][0-9]+)?)");
    static const std::regex ranges(R"([0-9]+(-[0-9]+)?(,[0-9]+(-[0-9]+)?)*)");
    const Line p = words(pattern);
    if (pattern == "*") return true;
    if (p.size() != line.size()) return false;
    for (size_t k = 0; k < p.size(); ++k) {
        const std::string &w = line[k];
        if (p[k] == "S" && std::regex_match(w, label)) {
            labels.insert(w);
        } else if (!((p[k] == "N" && std::regex_match(w, number)) ||
                     (p[k] == "R" && std::regex_match(w, ranges)) || p[k] == "W" || p[k] == w)) {
            return false;
        }
    }
    return true;
}

// The option lines, and the data lines under each option's first word; error names the first line
// outside the formats, or a species used but not declared.
struct Parsed {
    std::vector<Line> options;
    std::map<std::string, std::vector<Line>> data;
    std::string error;
    const std::vector<Line> &of(const std::string &option) const {
        static const std::vector<Line> none;
        const auto it = data.find(option);
        return it == data.end() ? none : it->second;
    }
};

Parsed parse_gulp(const std::string &text, bool input) {
    Parsed parsed;
    std::set<std::string> used, declared;
    const Format *current = nullptr;
    size_t index = 0;
    for (const std::string &raw : velmar_test::lines(text)) {
        const Line line = words(raw);
        if (line.empty() || line[0][0] == '#') continue;
        if (input) {  // the keyword line
            if (line != Line{"md", "conv", "noelectrostatics"}) parsed.error = "keywords: " + raw;
            input = false;
            continue;
        }
        if (current != nullptr && current->closed) {
            if (line == Line{"end"}) current = nullptr;
            if (current != nullptr) parsed.data[current->head].push_back(line);
            continue;
        }
        const Format *head = nullptr;
        for (const Format &f : kFormats) {
            if (words(f.head)[0] == line[0]) head = &f;
        }
        std::set<std::string> &labels =
            current != nullptr && words(current->head)[0] == "species" ? declared : used;
        if (head != nullptr) {
            if (!matches(line, head->head, used)) parsed.error = "option: " + raw;
            parsed.options.push_back(line);
            current = head;
            index = 0;
        } else if (current == nullptr || current->data.empty() ||
                   (index >= current->data.size() && !current->repeat) ||
                   !matches(line, current->data[std::min(index++, current->data.size() - 1)],
                            labels)) {
            parsed.error = "data: " + raw;
        } else {
            parsed.data[words(current->head)[0]].push_back(line);
        }
    }
    for (const auto &label : used) {
        if (declared.count(label) == 0) parsed.error = "undeclared " + label;
    }
    return parsed;
}

std::string library(const Model &m, bool eam) {
    velmar_test::ScratchDir dir;
    const std::string path = (dir / "x.lib").string();
    capture([&] {
        EXPECT_EQ(velmar_gin_export_lib_to_file(path.c_str(), m.cell(), m.ppt.get(), "x", eam), 0);
    });
    return velmar_test::read_file(path);
}

// Species of each label, from the charges: element, and |os| (plus 10 for an anion sharing it).
std::map<std::string, int> species_of_labels(const Parsed &p, const VELMAR_PROPERTY &ppt) {
    std::map<std::string, int> species;
    for (const Line &l : p.of("species")) {
        const size_t digits = l[0].find_first_of("0123456789");
        const int magnitude = std::stoi(l[0].substr(digits));
        for (int k = 0; k < ppt.total; ++k) {
            if (l[0].substr(0, digits) == ppt.type[k] && (ppt.os[k] > 0) == (std::stod(l[2]) > 0) &&
                (std::abs(ppt.os[k]) == magnitude || std::abs(ppt.os[k]) + 10 == magnitude)) {
                species[l[0]] = k;
            }
        }
    }
    return species;
}

const char *const kStructures[] = {"Li3N.cif", "LiFePO4.cif"};

TEST(GulpFiles, EveryLineFollowsTheManualAndTheHostIsTethered) {
    for (const char *file : kStructures) {
        const Model m = velmar_test::load_model(velmar_test::example(file), "Li", 1, 0.8);
        ASSERT_NE(m.ppt, nullptr) << file;
        EXPECT_EQ(parse_gulp(library(m, false), false).error, "") << file;
        EXPECT_EQ(parse_gulp(library(m, true), false).error, "") << file;
        velmar_test::ScratchDir dir;
        const std::string base = (dir / "md").string();
        capture([&] {
            EXPECT_EQ(velmar_gin_export_md_to_files(base.c_str(), m.cell(), m.ppt.get(), 300.0,
                                                    10.0, 0.001),
                      0);
        });
        const Parsed gin = parse_gulp(velmar_test::read_file(base + ".gin"), true);
        EXPECT_EQ(gin.error, "") << file;
        EXPECT_EQ(gin.of("fractional").size(), static_cast<size_t>(m.cell()->total));
        std::set<long> tethered, host;
        for (int32_t a = 0; a < m.cell()->total; ++a) {
            if (std::string(m.cell()->atom[a].type) != "Li") host.insert(a + 1);
        }
        for (const Line &o : gin.options) {
            std::stringstream list(o[0] == "tether" ? o[1] : "");
            for (std::string r; std::getline(list, r, ',');) {
                const size_t dash = r.find('-');
                const long last = std::stol(dash == std::string::npos ? r : r.substr(dash + 1));
                for (long n = std::stol(r); n <= last; ++n) EXPECT_TRUE(tethered.insert(n).second);
            }
        }
        EXPECT_EQ(tethered, host) << file;
    }
}

// GULP's Morse term with its energy offset, and qerfc plus the constant (with the model's e^2/4 pi
// eps0), against the model's pair functions at distances across each term's range; one term per
// pair of species.
TEST(GulpLibrary, TermsAreThePairEnergiesOfTheModel) {
    for (const char *file : kStructures) {
        const Model m = velmar_test::load_model(velmar_test::example(file), nullptr, 0, 0.8);
        ASSERT_NE(m.ppt, nullptr) << file;
        const VELMAR_PROPERTY &ppt = *m.ppt;
        const Parsed p = parse_gulp(library(m, false), false);
        auto species = species_of_labels(p, ppt);
        std::map<std::pair<int, int>, double> constant;
        for (const Line &l : p.of("polynomial")) {
            if (l.size() > 1) constant[{species[l[0]], species[l[2]]}] = std::stod(l[4]);
        }
        std::set<std::pair<int, int>> terms;
        for (const Line &l : p.of("morse")) {
            const int i = species[l[0]], j = species[l[2]];
            const VELMAR_PROPERTY_BINARY &b = ppt.bin[i][j];
            const double de = std::stod(l[4]), a = std::stod(l[5]), r0 = std::stod(l[6]);
            const double rmax = std::stod(l[9]);
            const auto morse = [&](double r) {
                const double e = 1.0 - std::exp(-a * (r - r0));
                return de * (e * e - 1.0);
            };
            for (double r : {0.8 * b.rmin, b.rmin, 1.3 * b.rmin, 0.95 * b.cutoff}) {
                const double model = VELMAR_COULOMB * velmar_energy_bonding_with_energy_shift(
                                                          r, b.d0, b.rmin, b.b, b.en_s);
                EXPECT_NEAR(morse(r) - morse(rmax), model, 1e-8 * (1 + std::fabs(model))) << r;
            }
            EXPECT_EQ(rmax, b.cutoff);
            EXPECT_TRUE(ppt.os[i] > 0 && ppt.os[j] < 0 && terms.insert({i, j}).second);
        }
        for (const Line &l : p.of("qerfc")) {
            const int i = species[l[0]], j = species[l[2]];
            const double rho = std::stod(l[4]);
            for (double r : {1.5, 3.0, 6.0, 11.9}) {
                const double gulp =
                    VELMAR_COULOMB * ppt.uni[i].q * ppt.uni[j].q * std::erfc(r / rho) / r +
                    constant.at({i, j});
                const double model = VELMAR_COULOMB * velmar_energy_coulombic(
                                                          r, ppt.uni[i].q * ppt.uni[j].q,
                                                          ppt.sf * (ppt.uni[i].rc + ppt.uni[j].rc));
                EXPECT_NEAR(gulp, model, 1e-8 * (1 + std::fabs(model))) << l[0] << l[2] << r;
            }
            EXPECT_EQ(std::stod(l[5]), 12.0);
            EXPECT_TRUE(ppt.os[i] * ppt.os[j] > 0 && terms.insert({i, j}).second);
        }
        EXPECT_EQ(terms.size(), static_cast<size_t>(ppt.total * (ppt.total + 1) / 2)) << file;
    }
}

// The density at each distinct site, summed here over the images from the library's cut-offs and
// densities, is its bond-valence sum (--cal-bv); the embedding energy is least at the valence.
TEST(GulpEam, DensityIsTheBondValenceSumAndEmbeddingIsLeastAtTheValence) {
    for (const char *file : kStructures) {
        Model m = velmar_test::load_model(velmar_test::example(file), nullptr, 0, 0.8);
        const Parsed p = parse_gulp(library(m, true), false);
        auto species = species_of_labels(p, *m.ppt);
        std::map<std::pair<int, int>, std::array<double, 4>> density;  // A, 1/b, R0, cut-off
        for (const Line &l : p.of("eam_density")) {
            density[{species[l[0]], species[l[2]]}] = {std::stod(l[4]), std::stod(l[5]),
                                                       std::stod(l[6]), 0.0};
        }
        for (const Line &l : p.of("manybody")) {
            density.at({species[l[0]], species[l[2]]})[3] = std::stod(l[4]);
            density.at({species[l[2]], species[l[0]]})[3] = std::stod(l[4]);
        }
        for (const Line &l : p.of("eam_functional")) {
            EXPECT_NEAR(-std::stod(l[3]) / (2.0 * std::stod(l[2])),
                        std::abs(m.ppt->os[species[l[0]]]), 1e-9);
        }
        VELMAR_CELL *cell = m.cell();
        const std::string unitary = velmar_test::database("database_unitary.dat");
        const std::string binary = velmar_test::database("database_binary.dat");
        velmar::Owned<VELMAR_BV, velmar_bv_free> bv;
        capture([&] {
            bv.reset(velmar_bv_calculate_from_cell(cell, m.loaded.symmetry.get(), unitary.c_str(),
                                                   binary.c_str()));
        });
        ASSERT_NE(bv, nullptr);
        for (long k = 0; k < bv->total; ++k) {
            const VELMAR_ATOM &site = bv->atom[k];
            const int to = velmar_property_find_index(m.ppt.get(), site.type, site.os);
            double rho = 0.0;
            for (int32_t a = 0; a < cell->total; ++a) {
                const auto it = density.find(
                    {velmar_property_find_index(m.ppt.get(), cell->atom[a].type, cell->atom[a].os),
                     to});
                if (it == density.end()) continue;
                const auto [amplitude, inverse_b, r0, cutoff] = it->second;
                for (int s = 0; s < 343; ++s) {  // shifts of -3..3 cells along each axis
                    double d2 = 0.0;
                    for (int r = 0; r < 3; ++r) {
                        const double x =
                            cell->atom[a].x[r] - site.x[r] + (s % 7 - 3) * cell->a[0][r] +
                            (s / 7 % 7 - 3) * cell->a[1][r] + (s / 49 - 3) * cell->a[2][r];
                        d2 += x * x;
                    }
                    const double d = std::sqrt(d2);
                    if (d > 0.3 && d < cutoff) rho += amplitude * std::exp(-inverse_b * (d - r0));
                }
            }
            EXPECT_NEAR(rho, std::fabs(bv->sum[k]), 1e-8 * rho) << file << " site " << k;
        }
    }
}

}  // namespace
