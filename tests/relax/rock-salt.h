// Rock-salt NaCl cells built in memory for the relaxation tests, with their parameter tables.
#ifndef VELMAR_TEST_ROCK_SALT_H
#define VELMAR_TEST_ROCK_SALT_H

#include <cstdio>
#include <string>
#include <vector>

#include "core/velmar.h"
#include "relax/velmar-rx-common.h"
#include "structure/velmar-cell-geometry.h"
#include "support/support.h"

namespace velmar_test {

using Cell = velmar::Owned<VELMAR_CELL, velmar_cell_free>;
using Table = velmar::Owned<VELMAR_PROPERTY, velmar_property_free>;

constexpr double kRockSaltA = 5.64;  // A, NaCl
// A fixed screening factor, so that the tables need no search.
constexpr double kRockSaltSf = 0.8;

// NaCl in the n x n x n supercell of the conventional cell: per cell four Na (0 0 0, 0 1/2 1/2,
// 1/2 0 1/2, 1/2 1/2 0) then four Cl shifted by (1/2 0 0); the atom `vacancy` (-1 for none) is
// left out. Every atom is free.
inline Cell rock_salt(int n, int vacancy) {
    static const double kBase[4][3] = {{0, 0, 0}, {0, 0.5, 0.5}, {0.5, 0, 0.5}, {0.5, 0.5, 0}};
    std::vector<VELMAR_ATOM> atoms;
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            for (int k = 0; k < n; ++k) {
                for (int s = 0; s < 8; ++s) {
                    VELMAR_ATOM atom{};
                    const bool na = s < 4;
                    const double *b = kBase[s % 4];
                    const double shift = na ? 0.0 : 0.5;
                    atom.x_f[0] = ((b[0] + shift) + i) / n;
                    atom.x_f[1] = (b[1] + j) / n;
                    atom.x_f[2] = (b[2] + k) / n;
                    if (atom.x_f[0] >= 1.0) atom.x_f[0] -= 1.0;
                    std::snprintf(atom.type, sizeof atom.type, "%s", na ? "Na" : "Cl");
                    atom.os = na ? 1 : -1;
                    atom.occ = 1.0;
                    atoms.push_back(atom);
                }
            }
        }
    }
    if (vacancy >= 0) atoms.erase(atoms.begin() + vacancy);
    Cell cell(velmar_cell_new(static_cast<long>(atoms.size())));
    for (size_t a = 0; a < atoms.size(); ++a) {
        cell->atom[a] = atoms[a];
        std::snprintf(cell->atom[a].name, sizeof cell->atom[a].name, "%s%d", atoms[a].type,
                      static_cast<int>(a));
    }
    for (int r = 0; r < 3; ++r) {
        cell->parameter[r] = kRockSaltA * n;
        cell->angle[r] = 90.0;
    }
    velmar_cell_update_cartesion(cell.get());
    velmar_cell_update_name(cell.get());
    return cell;
}

// The table of a cell with the fixed screening factor (its messages swallowed).
inline Table rock_salt_table(const VELMAR_CELL &cell) {
    Table ppt;
    capture([&] {
        ppt.reset(velmar::rx::table_for(cell, kRockSaltSf, database("database_unitary.dat").c_str(),
                                        database("database_binary.dat").c_str()));
    });
    return ppt;
}

// -dE/dx of atom a along c at positions x, by a central difference of 1e-4 A (good to about 1e-7
// eV/A for these cells).
inline double difference_force(velmar::rx::Evaluator &model, double (*x)[3], int32_t a, int c) {
    const double h = 1e-4;
    double plus = 0.0;
    double minus = 0.0;
    x[a][c] += h;
    model.energy(x, plus);
    x[a][c] -= 2.0 * h;
    model.energy(x, minus);
    x[a][c] += h;
    return -(plus - minus) / (2.0 * h);
}

}  // namespace velmar_test

#endif  // VELMAR_TEST_ROCK_SALT_H
