// LAMMPS data, pair tables and input of the bond-valence force field.
//
// No built-in pair style has the model's terms exactly (the Morse bond is shifted to zero at each
// pair's own cut-off, the screened Coulomb term at 10 A while it reaches farther), so every pair of
// species is tabulated from the model's own pair functions and LAMMPS interpolates the tables with
// cubic splines. With distances at most 0.002 A apart the interpolation error is far below 1e-6 eV
// per pair. The host is fixed by leaving it out of the integration; its atoms still take part in
// every pair, so PotEng is the total energy of velmar --cal-tot-en.
#include "forcefield/velmar-lammps.h"

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "core/velmar-la.h"
#include "core/velmar-output.h"
#include "core/velmar.h"
#include "forcefield/velmar-forcefield.h"

namespace {

using velmar::detail::FfPair;

constexpr double kWholeAtom = 1.0 - 1e-6;  // occupancies below this are partial
constexpr long kInterpolationPoints = 20000;
constexpr long kStepsPerSample = 100;  // as --md samples
constexpr double kFriction = 2.0;      // 1/ps, the Langevin friction of --md
constexpr long kSeed = 4928459;        // the thermostat's default seed; -var seed overrides it
constexpr double kTiltTolerance = 1e-10;

bool usable(const VELMAR_PROPERTY *ppt) {
    if (ppt != nullptr && ppt->uni != nullptr && ppt->bin != nullptr && ppt->total > 0) return true;
    std::fputs("Error: VELMAR_PROPERTY has not been properly initialized.\n", stderr);
    return false;
}

// The lattice in LAMMPS' orientation: A = (lx, 0, 0), B = (xy, ly, 0), C = (xz, yz, lz).
struct Box {
    double lx = 0.0, ly = 0.0, lz = 0.0;
    double xy = 0.0, xz = 0.0, yz = 0.0;

    // Cartesian position of fractional coordinates f.
    void cartesian(double x[3], const double f[3]) const {
        x[0] = f[0] * lx + f[1] * xy + f[2] * xz;
        x[1] = f[1] * ly + f[2] * yz;
        x[2] = f[2] * lz;
    }
    void fractional(double f[3], const double x[3]) const {
        f[2] = x[2] / lz;
        f[1] = (x[1] - f[2] * yz) / ly;
        f[0] = (x[0] - f[1] * xy - f[2] * xz) / lx;
    }
};

// The cell's lattice turned into LAMMPS' orientation.
Box oriented_box(const VELMAR_CELL &cell) {
    Box box;
    const double *a = cell.a[0];
    const double *b = cell.a[1];
    const double *c = cell.a[2];
    box.lx = velmar_vector3_double_length(a);
    double unit[3];
    velmar_vector3_double_normalize(unit, a);
    box.xy = velmar_vector3_double_dot(b, unit);
    box.ly = std::sqrt(velmar_vector3_double_dot(b, b) - box.xy * box.xy);
    box.xz = velmar_vector3_double_dot(c, unit);
    box.yz = (velmar_vector3_double_dot(b, c) - box.xy * box.xz) / box.ly;
    box.lz = std::sqrt(velmar_vector3_double_dot(c, c) - box.xz * box.xz - box.yz * box.yz);
    return box;
}

// The same lattice with its tilts reduced to within half a box length, which LAMMPS requires, by
// adding lattice vectors to b and c.
Box reduced_box(Box box) {
    const double n = std::round(box.yz / box.ly);  // c -= n b
    box.yz -= n * box.ly;
    box.xz -= n * box.xy;
    box.xz -= std::round(box.xz / box.lx) * box.lx;  // c -= m a
    box.xy -= std::round(box.xy / box.lx) * box.lx;  // b -= p a
    return box;
}

// Fractional coordinate wrapped into [0, 1).
double wrap(double f) {
    const double w = f - std::floor(f);
    return w >= 1.0 ? 0.0 : w;
}

std::string table_key(const VELMAR_PROPERTY &ppt, const FfPair &p) {
    return velmar::detail::ff_name(ppt, p.i) + "_" + velmar::detail::ff_name(ppt, p.j);
}

// Number of tabulated distances from the inner end to the cut-off, at most the step apart.
long table_points(double cutoff) {
    return static_cast<long>(
               std::ceil((cutoff - VELMAR_LMP_TABLE_INNER) / VELMAR_LMP_TABLE_STEP - 1e-9)) +
           1;
}

}  // namespace

int velmar_lmp_write_data(std::FILE *file, const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt,
                          const char *source) {
    if (file == nullptr || !usable(ppt)) return 1;
    if (cell == nullptr || cell->atom == nullptr) {
        std::fputs("Error: VELMAR_CELL has not been properly initialized.\n", stderr);
        return 1;
    }
    const auto species = velmar::detail::ff_species_of_atoms(*cell, *ppt);
    if (species.empty()) return 1;
    const Box original = oriented_box(*cell);
    const Box box = reduced_box(original);
    std::fprintf(file, "LAMMPS data file of %s: bond-valence force field of velmar %s\n\n", source,
                 VELMAR_VERSION_STRING);
    std::fprintf(file, "%ld atoms\n%d atom types\n\n", static_cast<long>(cell->total), ppt->total);
    std::fprintf(file, "0.0 %.12f xlo xhi\n", box.lx);
    std::fprintf(file, "0.0 %.12f ylo yhi\n", box.ly);
    std::fprintf(file, "0.0 %.12f zlo zhi\n", box.lz);
    if (std::fabs(box.xy) > kTiltTolerance || std::fabs(box.xz) > kTiltTolerance ||
        std::fabs(box.yz) > kTiltTolerance) {
        std::fprintf(file, "%.12f %.12f %.12f xy xz yz\n", box.xy, box.xz, box.yz);
    }
    std::fprintf(file, "\nMasses\n\n");
    for (int k = 0; k < ppt->total; ++k) {
        std::fprintf(file, "%d %.6f # %s\n", k + 1, ppt->uni[k].m,
                     velmar::detail::ff_name(*ppt, k).c_str());
    }
    std::fprintf(file, "\nAtoms # atomic\n\n");
    for (int32_t a = 0; a < cell->total; ++a) {
        // The atom in LAMMPS' orientation, then its coordinates in the reduced box, wrapped.
        double f[3];
        velmar::detail::ff_fractional(f, *cell, cell->atom[a].x);
        double x[3];
        original.cartesian(x, f);
        box.fractional(f, x);
        for (double &g : f) g = wrap(g);
        box.cartesian(x, f);
        std::fprintf(file, "%ld %d %.12f %.12f %.12f\n", static_cast<long>(a + 1), species[a] + 1,
                     x[0], x[1], x[2]);
    }
    return std::ferror(file) == 0 ? 0 : 1;
}

int velmar_lmp_write_table(std::FILE *file, const VELMAR_PROPERTY *ppt, const char *source) {
    if (file == nullptr || !usable(ppt)) return 1;
    std::fprintf(file,
                 "# Pair tables of the bond-valence force field of %s, written by velmar %s\n",
                 source, VELMAR_VERSION_STRING);
    std::fprintf(file,
                 "# (screening factor %.6f): index, r (A), energy (eV), force -dE/dr (eV/A).\n",
                 ppt->sf);
    for (const FfPair &p : velmar::detail::ff_pairs(*ppt)) {
        const long n = table_points(p.cutoff);
        std::fprintf(file, "\n%s\n", table_key(*ppt, p).c_str());
        std::fprintf(file, "N %ld R %.6f %.6f\n\n", n, VELMAR_LMP_TABLE_INNER, p.cutoff);
        const double step = (p.cutoff - VELMAR_LMP_TABLE_INNER) / static_cast<double>(n - 1);
        for (long k = 0; k < n; ++k) {
            const double r = k + 1 == n ? p.cutoff : VELMAR_LMP_TABLE_INNER + step * k;
            std::fprintf(file, "%ld %.12f %.15e %.15e\n", k + 1, r, p.energy(r), p.force(r));
        }
    }
    return std::ferror(file) == 0 ? 0 : 1;
}

int velmar_lmp_write_input(std::FILE *file, const VELMAR_PROPERTY *ppt, const char *base,
                           double temperature, double time, double timestep) {
    if (file == nullptr || !usable(ppt)) return 1;
    const int conducting = ppt->conducting;
    if (conducting < 0 || conducting >= ppt->total) {
        std::fputs("Error: no conducting species is named.\n", stderr);
        return 1;
    }
    const std::string stem = velmar::detail::ff_base_name(base);
    const std::string name = velmar::detail::ff_name(*ppt, conducting);
    const long production = std::lround(time / timestep);
    const long equilibration = std::lround(time / 5.0 / timestep);
    std::fprintf(file, "# LAMMPS input of a molecular dynamics of %s in the frozen host of %s,\n",
                 name.c_str(), stem.c_str());
    std::fprintf(file,
                 "# with the bond-valence force field of velmar %s (screening factor %.6f):\n",
                 VELMAR_VERSION_STRING, ppt->sf);
    std::fprintf(file, "# Morse bonds between cations and anions and screened Coulomb repulsion\n");
    std::fprintf(file, "# between ions of like sign, tabulated in %s.lmp.table. The model has no\n",
                 stem.c_str());
    std::fprintf(file, "# Coulomb attraction, so there is no long-range electrostatics.\n");
    std::fprintf(file,
                 "# The host is not integrated and stays in place; the %s ions move under a\n",
                 name.c_str());
    std::fprintf(file, "# Langevin thermostat. Run it in the directory of its files:\n");
    std::fprintf(file, "#   lmp -in %s.lmp.in               equilibration, then production\n",
                 stem.c_str());
    std::fprintf(file, "#   lmp -in %s.lmp.in -var steps 0  energy and forces of the structure\n",
                 stem.c_str());
    std::fprintf(file,
                 "# -var exclude_host 1 leaves host-host pairs out of the neighbour lists:\n");
    std::fprintf(file, "# faster, and PotEng then lacks their energy (a constant).\n\n");
    std::fprintf(file, "variable        steps index %ld\n", production);
    std::fprintf(file, "variable        equilibration index %ld\n", equilibration);
    std::fprintf(file, "variable        temperature index %.6f\n", temperature);
    std::fprintf(file, "variable        seed index %ld\n", kSeed);
    std::fprintf(file, "variable        exclude_host index 0\n\n");
    std::fprintf(file, "units           metal\n");
    std::fprintf(file, "atom_style      atomic\n");
    std::fprintf(file, "boundary        p p p\n");
    std::fprintf(file, "read_data       %s.lmp.data\n\n", stem.c_str());
    std::fprintf(file, "pair_style      table spline %ld\n", kInterpolationPoints);
    for (const FfPair &p : velmar::detail::ff_pairs(*ppt)) {
        std::fprintf(file, "pair_coeff      %d %d %s.lmp.table %s %.6f\n", p.i + 1, p.j + 1,
                     stem.c_str(), table_key(*ppt, p).c_str(), p.cutoff);
    }
    std::fprintf(file, "neighbor        1.0 bin\n");
    std::fprintf(file, "neigh_modify    every 1 delay 0 check yes one 5000 page 100000\n\n");
    std::fprintf(file, "group           mobile type %d\n", conducting + 1);
    std::fprintf(file, "group           host subtract all mobile\n");
    std::fprintf(file,
                 "if \"${exclude_host} != 0\" then \"neigh_modify exclude group host host\"\n\n");
    std::fprintf(file, "compute         mobile_temp mobile temp\n");
    std::fprintf(file,
                 "velocity        mobile create ${temperature} ${seed} mom yes rot no dist "
                 "gaussian temp mobile_temp\n");
    std::fprintf(file, "fix             integrate mobile nve\n");
    std::fprintf(file, "timestep        %.6f\n", timestep);
    std::fprintf(file, "thermo_style    custom step temp pe ke etotal press\n");
    std::fprintf(file, "thermo_modify   temp mobile_temp format float %%.12g\n");
    std::fprintf(file, "thermo          %ld\n", kStepsPerSample);
    // The thermostat's forces would show in the dumped forces: with steps 0 there is none.
    std::fprintf(file, "if \"${steps} > 0\" then &\n");
    std::fprintf(file,
                 "  \"fix thermostat mobile langevin ${temperature} ${temperature} %.6f ${seed}\" "
                 "&\n",
                 1.0 / kFriction);
    std::fprintf(file, "  \"run ${equilibration}\" \"reset_timestep 0\"\n\n");
    std::fprintf(file, "compute         msd mobile msd\n");
    std::fprintf(file,
                 "fix             msd all ave/time %ld 1 %ld c_msd[1] c_msd[2] c_msd[3] c_msd[4] "
                 "file %s.lmp.msd\n",
                 kStepsPerSample, kStepsPerSample, stem.c_str());
    std::fprintf(file, "dump            frames all custom %ld %s.lmp.dump id type x y z fx fy fz\n",
                 kStepsPerSample, stem.c_str());
    std::fprintf(file, "dump_modify     frames sort id format float %%.10g\n");
    std::fprintf(file, "thermo_style    custom step temp pe ke etotal press c_msd[4]\n");
    std::fprintf(file, "thermo_modify   temp mobile_temp format float %%.12g\n");
    std::fprintf(file, "run             ${steps}\n");
    return std::ferror(file) == 0 ? 0 : 1;
}

int velmar_lmp_export_to_files(const char *base, const VELMAR_CELL *cell,
                               const VELMAR_PROPERTY *ppt, double temperature, double time,
                               double timestep) {
    if (cell == nullptr || cell->atom == nullptr) {
        std::fputs("Error: VELMAR_CELL has not been properly initialized.\n", stderr);
        return 1;
    }
    for (int32_t a = 0; a < cell->total; ++a) {
        if (cell->atom[a].occ < kWholeAtom) {
            std::fprintf(stderr,
                         "Error: site %s is partially occupied (%f): LAMMPS needs whole atoms "
                         "(--gen-cif-assign-all resolves them).\n",
                         cell->atom[a].name, cell->atom[a].occ);
            return 1;
        }
    }
    const std::string stem = velmar::detail::ff_base_name(base);
    const std::string names[3] = {std::string(base) + ".lmp.data", std::string(base) + ".lmp.table",
                                  std::string(base) + ".lmp.in"};
    velmar::OutputFile data(names[0]);
    velmar::OutputFile table(names[1]);
    velmar::OutputFile input(names[2]);
    for (const velmar::OutputFile *f : {&data, &table, &input}) {
        if (!f->ok()) {
            std::fprintf(stderr, "Error: unable to open %s.\n", f->path().c_str());
            return 1;
        }
    }
    if (velmar_lmp_write_data(data.get(), cell, ppt, stem.c_str()) != 0 ||
        velmar_lmp_write_table(table.get(), ppt, stem.c_str()) != 0 ||
        velmar_lmp_write_input(input.get(), ppt, base, temperature, time, timestep) != 0) {
        std::fprintf(stderr, "Error: unable to write the LAMMPS files of %s.\n", base);
        return 1;
    }
    for (velmar::OutputFile *f : {&data, &table, &input}) {
        if (f->commit() != 0) {
            std::fprintf(stderr, "Error: unable to write %s.\n", f->path().c_str());
            return 1;
        }
    }
    std::printf("Message: LAMMPS data written to %s.\n", names[0].c_str());
    std::printf("Message: LAMMPS pair tables written to %s.\n", names[1].c_str());
    std::printf("Message: LAMMPS input written to %s.\n", names[2].c_str());
    return 0;
}
