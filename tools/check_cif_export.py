#!/usr/bin/env python3
"""Development check of velmar.x's CIF output against independent readers.

For each input CIF, runs `velmar.x --gen-cif-p1` and `--gen-cif-reduced`, then reads the written
files with gemmi and pymatgen (Debian python3-gemmi, python3-pymatgen) and compares the cell, the
number of atoms after symmetry expansion and the occupancy-weighted composition with what velmar.x
printed for the input (--print-cell).

Usage: tools/check_cif_export.py VELMAR_X CIF...   (exit status 0 when everything agrees)
"""
import collections
import os
import re
import subprocess
import sys
import tempfile
import warnings

import gemmi
from pymatgen.core import Structure

warnings.filterwarnings("ignore")


def velmar_cell(exe, cif):
    out = subprocess.run([exe, "--print-cell", cif], capture_output=True, text=True).stdout
    params = [float(x) for x in re.search(r"parameters:\s+(\S+)\s+(\S+)\s+(\S+)", out).groups()]
    angles = [float(x) for x in re.search(r"angles:\s+(\S+)\s+(\S+)\s+(\S+)", out).groups()]
    comp = collections.Counter()
    count = 0
    for m in re.finditer(r"type=\s*(\w+);os=\s*(-?\d+);x_f=\([^)]*\);occ=(\S+)", out):
        comp[m.group(1)] += float(m.group(3))
        count += 1
    return params + angles, count, comp


def gemmi_view(path):
    st = gemmi.read_small_structure(path)
    sites = st.get_all_unit_cell_sites()
    comp = collections.Counter()
    for s in sites:
        comp[s.type_symbol.rstrip("0123456789+-") or s.element.name] += s.occ
    c = st.cell
    return [c.a, c.b, c.c, c.alpha, c.beta, c.gamma], len(sites), comp


def pymatgen_view(path):
    s = Structure.from_file(path)
    comp = collections.Counter()
    for site in s:
        for sp, occ in site.species.items():
            comp[sp.symbol] += occ
    lat = s.lattice
    return list(lat.abc) + list(lat.angles), len(s), comp


def same(a, b, what):
    cell_a, n_a, comp_a = a
    cell_b, n_b, comp_b = b
    problems = []
    if any(abs(x - y) > 1e-4 for x, y in zip(cell_a, cell_b)):
        problems.append("%s cell %s != %s" % (what, cell_a, cell_b))
    if set(comp_a) != set(comp_b) or any(abs(comp_a[k] - comp_b[k]) > 1e-3 for k in comp_a):
        problems.append("%s composition %s != %s" % (what, dict(comp_a), dict(comp_b)))
    return problems


def main():
    exe, cifs = sys.argv[1], sys.argv[2:]
    failures = 0
    with tempfile.TemporaryDirectory() as tmp:
        for cif in cifs:
            ours = velmar_cell(exe, cif)
            problems = []
            for command, suffix in (("--gen-cif-p1", "p1"), ("--gen-cif-reduced", "reduced")):
                out = os.path.join(tmp, "%s.%s.cif" % (os.path.basename(cif), suffix))
                subprocess.run([exe, command, cif, out], capture_output=True, check=True)
                g = gemmi_view(out)
                p = pymatgen_view(out)
                problems += same(ours, g, "gemmi/" + suffix)
                problems += same(ours, p, "pymatgen/" + suffix)
                # Sites: gemmi merges by position only, so mixed sites count once; compare counts
                # only for the P 1 file, where every atom is written.
                if suffix == "p1" and g[1] != ours[1]:
                    problems.append("gemmi/p1 atoms %d != %d" % (g[1], ours[1]))
            status = "ok" if not problems else "DIFFERS"
            print("%-48s %s atoms=%d" % (os.path.basename(cif), status, ours[1]))
            for p in problems:
                print("    " + p)
            failures += bool(problems)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
