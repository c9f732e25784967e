// GULP libraries and molecular-dynamics input of the bond-valence force field.
//
// The Morse terms are GULP's own: "morse energy" with De = D0, a = 1/b, r0 = rmin and rmax = the
// pair's cut-off is the model's bonding term, whose shift to zero at the cut-off is exactly GULP's
// energy offset. GULP has no screened Coulomb term shifted at a fixed 10 A, so the repulsion is
// written as "qerfc" (q_i q_j erfc(r / rho) / r with GULP's charges, up to the reach) plus a
// constant over the same range ("polynomial" of order 1 with zero slope) equal to the model's
// shift, -k q_i q_j erfc(10 / rho) / 10. The sum is the model's term; the one difference left is
// that GULP multiplies q_i q_j / r by its own e^2 / (4 pi eps0), 14.3997584 eV A by default against
// the 14.39964 used here: 8e-6 of the screened term. The Ewald sum is switched off
// (noelectrostatics): the model has no Coulomb attraction between cations and anions.
#include "forcefield/velmar-gulp.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "core/velmar-output.h"
#include "core/velmar.h"
#include "forcefield/velmar-forcefield.h"

namespace {

using velmar::detail::FfPair;
using velmar::detail::FfTerm;

constexpr double kNoseMass = 0.05;       // GULP's ensemble parameter; the stochastic integrator
                                         // thermostats through tau_thermostat
constexpr double kFriction = 2.0;        // 1/ps, the Langevin friction of --md
constexpr long kStepsPerSample = 100;    // as --md samples
constexpr int kRangesPerTetherLine = 8;  // GULP's tether takes several lines, never continued

bool usable(const VELMAR_PROPERTY *ppt, const VELMAR_CELL *cell) {
    if (ppt == nullptr || ppt->uni == nullptr || ppt->bin == nullptr || ppt->total < 1) {
        std::fputs("Error: VELMAR_PROPERTY has not been properly initialized.\n", stderr);
        return false;
    }
    if (cell != nullptr && cell->atom != nullptr) return true;
    std::fputs("Error: VELMAR_CELL has not been properly initialized.\n", stderr);
    return false;
}

bool written(std::FILE *file) { return std::ferror(file) == 0; }

void write_header(std::FILE *f, const VELMAR_PROPERTY &ppt, const char *source, const char *what) {
    std::fprintf(f, "# GULP %s of the bond-valence force field of %s,\n", what, source);
    std::fprintf(f, "# written by velmar %s with the screening factor %.6f.\n",
                 VELMAR_VERSION_STRING, ppt.sf);
}

void write_species(std::FILE *f, const VELMAR_PROPERTY &ppt,
                   const std::vector<std::string> &labels) {
    std::fprintf(f, "species\n");
    for (int k = 0; k < ppt.total; ++k) {
        std::fprintf(f, "%-4s core %14.10f\n", labels[k].c_str(), ppt.uni[k].q);
    }
}

// The screened Coulomb repulsion of every pair of like sign.
void write_coulomb(std::FILE *f, const std::vector<FfPair> &pairs,
                   const std::vector<std::string> &labels) {
    std::fprintf(
        f, "# Screened Coulomb repulsion between ions of like sign: qerfc, and the shift of\n");
    std::fprintf(f,
                 "# the model's term to zero at 10 A as a constant over the same range. GULP's\n");
    std::fprintf(f, "# e^2/(4 pi eps0), 14.3997584 eV A by default against 14.39964 here, makes\n");
    std::fprintf(f, "# the screened term differ from the model's by 8e-6 of itself.\n");
    std::fprintf(f, "qerfc\n");
    for (const FfPair &p : pairs) {
        if (p.term != FfTerm::kCoulomb) continue;
        std::fprintf(f, "%-4s core %-4s core %14.10f %10.6f\n", labels[p.i].c_str(),
                     labels[p.j].c_str(), p.rho, p.cutoff);
    }
    for (const FfPair &p : pairs) {
        if (p.term != FfTerm::kCoulomb) continue;
        std::fprintf(f, "polynomial\n1\n");
        std::fprintf(f, "%-4s core %-4s core %18.10e %3.1f %3.1f %3.1f %10.6f\n",
                     labels[p.i].c_str(), labels[p.j].c_str(), p.coulomb_shift(), 0.0, 0.0, 0.0,
                     p.cutoff);
    }
}

// Morse potentials, cation first.
void write_morse(std::FILE *f, const VELMAR_PROPERTY &ppt, const std::vector<FfPair> &pairs,
                 const std::vector<std::string> &labels) {
    std::fprintf(
        f, "# Bonds between cations and anions: Morse terms shifted to zero at the cut-off\n");
    std::fprintf(f, "# (De = D0, a = 1/b, r0 = rmin of the pair; no Coulomb subtraction).\n");
    std::fprintf(f, "morse energy\n");
    for (const FfPair &p : pairs) {
        if (p.term != FfTerm::kMorse) continue;
        const int cation = ppt.os[p.i] > 0 ? p.i : p.j;
        const int anion = cation == p.i ? p.j : p.i;
        std::fprintf(f, "%-4s core %-4s core %14.10f %14.10f %14.10f %3.1f %3.1f %10.6f\n",
                     labels[cation].c_str(), labels[anion].c_str(), p.depth(), p.alpha(), p.rmin,
                     0.0, 0.0, p.cutoff);
    }
}

// Well depth (eV) of the embedding energy of each species: half the Morse depth of its bonds at
// the tabulated coordination, the partners weighted by their share of the anions (for a cation) or
// of the cations per anion (for an anion), so that the depths of all sites add up to the Morse
// energy of every cation with cn bonds at rmin.
std::vector<double> embedding_depths(const VELMAR_PROPERTY &ppt) {
    double anions = 0.0;
    for (int k = 0; k < ppt.total; ++k) {
        if (ppt.os[k] < 0) anions += ppt.count[k];
    }
    std::vector<double> depth(static_cast<size_t>(ppt.total), 0.0);
    if (!(anions > 0)) return depth;
    for (int i = 0; i < ppt.total; ++i) {
        for (int j = 0; j < ppt.total; ++j) {
            if (!(ppt.os[i] > 0 && ppt.os[j] < 0)) continue;
            const VELMAR_PROPERTY_BINARY &p = ppt.bin[i][j];
            const double bond = p.cn * p.d0 * VELMAR_COULOMB_HALF;
            depth[i] += 0.5 * (ppt.count[j] / anions) * bond;
            depth[j] += 0.5 * (ppt.count[i] / anions) * bond;
        }
    }
    return depth;
}

// "a-b" or "a" for each run of consecutive 1-based atom numbers not of the conducting species.
std::vector<std::string> tether_ranges(const std::vector<int> &species, int conducting) {
    std::vector<std::string> ranges;
    const auto n = static_cast<int32_t>(species.size());
    for (int32_t a = 0; a < n;) {
        if (species[a] == conducting) {
            ++a;
            continue;
        }
        int32_t last = a;
        while (last + 1 < n && species[last + 1] != conducting) ++last;
        ranges.push_back(last == a ? std::to_string(a + 1)
                                   : std::to_string(a + 1) + "-" + std::to_string(last + 1));
        a = last + 1;
    }
    return ranges;
}

}  // namespace

int velmar_gin_write_lib(std::FILE *file, const VELMAR_PROPERTY *ppt, const char *source) {
    if (file == nullptr || ppt == nullptr || ppt->uni == nullptr || ppt->bin == nullptr) {
        std::fputs("Error: VELMAR_PROPERTY has not been properly initialized.\n", stderr);
        return 1;
    }
    const auto labels = velmar::detail::ff_labels(*ppt);
    const auto pairs = velmar::detail::ff_pairs(*ppt);
    write_header(file, *ppt, source, "library");
    std::fprintf(file,
                 "# Charges are the model's fractional charges (e). The model has no Coulomb\n");
    std::fprintf(file, "# attraction: the Ewald sum stays off.\n");
    std::fprintf(file, "keyword noelectrostatics\n");
    write_species(file, *ppt, labels);
    write_morse(file, *ppt, pairs, labels);
    write_coulomb(file, pairs, labels);
    return written(file) ? 0 : 1;
}

int velmar_gin_write_eam(std::FILE *file, const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt,
                         const char *source) {
    if (file == nullptr || !usable(ppt, cell)) return 1;
    const auto labels = velmar::detail::ff_labels(*ppt);
    const auto pairs = velmar::detail::ff_pairs(*ppt);
    const auto depth = embedding_depths(*ppt);
    write_header(file, *ppt, source, "embedded-atom library");
    std::fprintf(file,
                 "# The density at a site is its bond-valence sum, s = exp((R0 - r) / b) from\n");
    std::fprintf(file, "# each counter-ion within the pair's cut-off; the embedding energy\n");
    std::fprintf(file,
                 "# F(rho) = D ((rho - V)^2 - V^2) / V^2 is least, -D, at the formal valence V.\n");
    std::fprintf(
        file, "# D is half the Morse depth of the site's bonds at the tabulated coordination.\n");
    std::fprintf(file, "keyword noelectrostatics\n");
    write_species(file, *ppt, labels);
    std::fprintf(file, "manybody\n");
    for (const FfPair &p : pairs) {
        if (p.term != FfTerm::kMorse) continue;
        std::fprintf(file, "%-4s core %-4s core %10.6f\n", labels[p.i].c_str(), labels[p.j].c_str(),
                     p.cutoff);
    }
    std::fprintf(file, "eam_density exponential 0\n");
    for (int i = 0; i < ppt->total; ++i) {
        for (int j = 0; j < ppt->total; ++j) {
            if (!(ppt->os[i] > 0 && ppt->os[j] < 0)) continue;
            const VELMAR_PROPERTY_BINARY &p = ppt->bin[i][j];
            for (const auto &[from, to] : {std::pair{i, j}, std::pair{j, i}}) {
                std::fprintf(file, "%-4s core %-4s core %3.1f %14.10f %14.10f\n",
                             labels[from].c_str(), labels[to].c_str(), 1.0, 1.0 / p.b, p.r0);
            }
        }
    }
    std::fprintf(file, "eam_functional foiles\n");
    for (int k = 0; k < ppt->total; ++k) {
        const double valence = std::abs(ppt->os[k]);
        const double f0 = depth[k] / (valence * valence);
        std::fprintf(file, "%-4s core %14.10f %14.10f %3.1f %3.1f\n", labels[k].c_str(), f0,
                     -2.0 * f0 * valence, 0.0, 1.0);
    }
    write_coulomb(file, pairs, labels);
    return written(file) ? 0 : 1;
}

int velmar_gin_write_md(std::FILE *file, const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt,
                        const char *library, const char *base, double temperature, double time,
                        double timestep) {
    if (file == nullptr || !usable(ppt, cell)) return 1;
    const int conducting = ppt->conducting;
    if (conducting < 0 || conducting >= ppt->total) {
        std::fputs("Error: no conducting species is named.\n", stderr);
        return 1;
    }
    const auto species = velmar::detail::ff_species_of_atoms(*cell, *ppt);
    if (species.empty()) return 1;
    const auto labels = velmar::detail::ff_labels(*ppt);
    const std::string name = velmar::detail::ff_name(*ppt, conducting);
    const std::string stem = velmar::detail::ff_base_name(base);
    const double sample = static_cast<double>(kStepsPerSample) * timestep;

    std::fprintf(file, "md conv noelectrostatics\n");
    std::fprintf(file,
                 "# Molecular dynamics of %s in the frozen host of %s: the bond-valence force\n",
                 name.c_str(), stem.c_str());
    std::fprintf(file, "# field of %s (run GULP in the directory of both files). The other\n",
                 velmar::detail::ff_base_name(library).c_str());
    std::fprintf(file,
                 "# ions are tethered; a stochastic thermostat with tau = 1/zeta takes the\n");
    std::fprintf(file, "# place of the Langevin friction zeta = %.1f /ps of velmar --md.\n",
                 kFriction);
    std::fprintf(file, "title\n");
    std::fprintf(file, "%s in %s, screening factor %.6f\n", name.c_str(), stem.c_str(), ppt->sf);
    std::fprintf(file, "end\n");
    std::fprintf(file, "cell\n");
    std::fprintf(file, "%.8f %.8f %.8f %.6f %.6f %.6f\n", cell->parameter[0], cell->parameter[1],
                 cell->parameter[2], cell->angle[0], cell->angle[1], cell->angle[2]);
    std::fprintf(file, "fractional\n");
    for (int32_t a = 0; a < cell->total; ++a) {
        const VELMAR_ATOM &atom = cell->atom[a];
        double f[3];
        velmar::detail::ff_fractional(f, *cell, atom.x);
        std::fprintf(file, "%-4s core %12.8f %12.8f %12.8f %14.10f %8.6f\n",
                     labels[species[a]].c_str(), f[0], f[1], f[2], ppt->uni[species[a]].q,
                     atom.occ);
    }
    write_species(file, *ppt, labels);
    std::fprintf(file, "element\n");
    for (int k = 0; k < ppt->total; ++k) {
        std::fprintf(file, "mass %-4s %10.6f\n", labels[k].c_str(), ppt->uni[k].m);
    }
    std::fprintf(file, "end\n");
    std::fprintf(file, "library %s\n", velmar::detail::ff_base_name(library).c_str());
    const auto ranges = tether_ranges(species, conducting);
    for (size_t r = 0; r < ranges.size(); r += kRangesPerTetherLine) {
        std::string line = "tether";
        for (size_t k = r; k < std::min(ranges.size(), r + kRangesPerTetherLine); ++k) {
            line += (k == r ? " " : ",") + ranges[k];
        }
        std::fprintf(file, "%s\n", line.c_str());
    }
    std::fprintf(file, "ensemble nvt %.2f\n", kNoseMass);
    std::fprintf(file, "integrator stochastic\n");
    std::fprintf(file, "tau_thermostat %.6f ps\n", 1.0 / kFriction);
    std::fprintf(file, "temperature %.6f K\n", temperature);
    std::fprintf(file, "timestep %.6f ps\n", timestep);
    std::fprintf(file, "equilibration %.6f ps\n", time / 5.0);
    std::fprintf(file, "production %.6f ps\n", time);
    std::fprintf(file, "sample %.6f ps\n", sample);
    std::fprintf(file, "write %.6f ps\n", sample);
    std::fprintf(file, "output trajectory ascii %s.trg\n", stem.c_str());
    std::fprintf(file, "dump %s.grs\n", stem.c_str());
    return written(file) ? 0 : 1;
}

int velmar_gin_export_lib_to_file(const char *path, const VELMAR_CELL *cell,
                                  const VELMAR_PROPERTY *ppt, const char *source, bool eam) {
    velmar::OutputFile file(path);
    if (!file.ok()) {
        std::fprintf(stderr, "Error: unable to open %s.\n", path);
        return 1;
    }
    const int status = eam ? velmar_gin_write_eam(file.get(), cell, ppt, source)
                           : velmar_gin_write_lib(file.get(), ppt, source);
    if (status != 0 || file.commit() != 0) {
        std::fprintf(stderr, "Error: unable to write %s.\n", path);
        return 1;
    }
    std::printf(eam ? "Message: GULP embedded-atom library written to %s.\n"
                    : "Message: GULP library written to %s.\n",
                path);
    return 0;
}

int velmar_gin_export_md_to_files(const char *base, const VELMAR_CELL *cell,
                                  const VELMAR_PROPERTY *ppt, double temperature, double time,
                                  double timestep) {
    const std::string input = std::string(base) + ".gin";
    const std::string library = std::string(base) + ".lib";
    velmar::OutputFile gin(input);
    velmar::OutputFile lib(library);
    if (!gin.ok() || !lib.ok()) {
        std::fprintf(stderr, "Error: unable to open %s.\n",
                     gin.ok() ? library.c_str() : input.c_str());
        return 1;
    }
    const std::string source = velmar::detail::ff_base_name(base);
    if (velmar_gin_write_md(gin.get(), cell, ppt, library.c_str(), base, temperature, time,
                            timestep) != 0 ||
        velmar_gin_write_lib(lib.get(), ppt, source.c_str()) != 0 || gin.commit() != 0 ||
        lib.commit() != 0) {
        std::fprintf(stderr, "Error: unable to write %s and %s.\n", input.c_str(), library.c_str());
        return 1;
    }
    std::printf("Message: GULP input written to %s.\n", input.c_str());
    std::printf("Message: GULP library written to %s.\n", library.c_str());
    return 0;
}
