#!/usr/bin/env python3
"""Writes a large P 1 structure for memory and speed checks: antifluorite Li2O (a = 4.61 A, 12 atoms
a cell) repeated NX x NY x NZ times, every atom listed. The default 20 x 20 x 20 has 96,000 atoms.

Usage: tools/make_large_cell.py [NX [NY [NZ]]] > large.cif
Example: tools/make_large_cell.py 20 | build/velmar.x --cal-bv /dev/stdin
"""
import sys

A = 4.61  # angstrom
OXYGEN = [(0, 0, 0), (0, 0.5, 0.5), (0.5, 0, 0.5), (0.5, 0.5, 0)]
LITHIUM = [(x, y, z) for x in (0.25, 0.75) for y in (0.25, 0.75) for z in (0.25, 0.75)]


def main():
    counts = [int(word) for word in sys.argv[1:4]]
    while len(counts) < 3:
        counts.append(counts[-1] if counts else 20)
    if any(n < 1 for n in counts):
        sys.exit("make_large_cell.py: the repeat counts must be positive")
    out = sys.stdout
    out.write("data_Li2O_%dx%dx%d\n" % tuple(counts))
    for axis, n in zip("abc", counts):
        out.write("_cell_length_%s %.6f\n" % (axis, A * n))
    for angle in ("alpha", "beta", "gamma"):
        out.write("_cell_angle_%s 90\n" % angle)
    out.write("loop_\n_symmetry_equiv_pos_as_xyz\n'x, y, z'\n")
    out.write("loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n"
              "_atom_site_fract_y\n_atom_site_fract_z\n_atom_site_occupancy\n")
    number = 0
    for i in range(counts[0]):
        for j in range(counts[1]):
            for k in range(counts[2]):
                for symbol, state, sites in (("O", "O2-", OXYGEN), ("Li", "Li1+", LITHIUM)):
                    for x, y, z in sites:
                        number += 1
                        out.write("%s%d %s %.6f %.6f %.6f 1\n" % (
                            symbol, number, state, (x + i) / counts[0], (y + j) / counts[1],
                            (z + k) / counts[2]))


if __name__ == "__main__":
    main()
