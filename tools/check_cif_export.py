#!/usr/bin/env python3
"""Check of velmar.x's CIF output against independent readers.

For each input CIF, runs `velmar.x --gen-cif`, `--gen-cif-p1` and `--gen-cif-reduced`, then reads
the written files with gemmi, pymatgen and ASE (Debian python3-gemmi, python3-pymatgen,
python3-ase) and compares the cell, the number of sites after symmetry expansion and the
occupancy-weighted composition with what velmar.x printed for the input (--print-cell).

Usage: tools/check_cif_export.py VELMAR_X CIF...
Exit status: 0 when everything agrees, 1 when something differs, 77 when a reader is missing.
"""
import collections
import os
import re
import subprocess
import sys
import tempfile
import warnings

warnings.filterwarnings("ignore")
try:
    import ase.io
    import gemmi
    from pymatgen.core import Structure
except ImportError as missing:
    print("skipped: %s" % missing)
    sys.exit(77)


def velmar_cell(exe, cif):
    out = subprocess.run([exe, "--print-cell", cif], capture_output=True, text=True).stdout
    params = [float(x) for x in re.search(r"parameters:\s+(\S+)\s+(\S+)\s+(\S+)", out).groups()]
    angles = [float(x) for x in re.search(r"angles:\s+(\S+)\s+(\S+)\s+(\S+)", out).groups()]
    comp = collections.Counter()
    count = 0
    positions = set()
    for m in re.finditer(r"type=\s*(\w+);os=\s*(-?\d+);x_f=\(([^)]*)\);occ=(\S+)", out):
        comp[m.group(1)] += float(m.group(4))
        count += 1
        positions.add(tuple(round(float(x) % 1.0, 2) % 1.0 for x in m.group(3).split(",")))
    return params + angles, count, comp, len(positions)


def gemmi_view(path):
    st = gemmi.read_small_structure(path)
    sites = st.get_all_unit_cell_sites()
    comp = collections.Counter()
    for s in sites:
        comp[s.type_symbol.rstrip("0123456789+-") or s.element.name] += s.occ
    c = st.cell
    return [c.a, c.b, c.c, c.alpha, c.beta, c.gamma], len(sites), comp, None


def pymatgen_view(path):
    s = Structure.from_file(path)
    comp = collections.Counter()
    for site in s:
        for sp, occ in site.species.items():
            comp[sp.symbol] += occ
    lat = s.lattice
    return list(lat.abc) + list(lat.angles), len(s), comp, None


def ase_view(path):
    atoms = ase.io.read(path, format="cif")
    # ASE keeps one atom per position (the species of largest occupancy on a mixed site).
    return list(atoms.cell.cellpar()), len(atoms), None, len(atoms)


def same(a, b, what):
    cell_a, n_a, comp_a, positions_a = a
    cell_b, n_b, comp_b, positions_b = b
    problems = []
    if any(abs(x - y) > 1e-4 for x, y in zip(cell_a, cell_b)):
        problems.append("%s cell %s != %s" % (what, cell_a, cell_b))
    if comp_b is not None and (
        set(comp_a) != set(comp_b) or any(abs(comp_a[k] - comp_b[k]) > 1e-3 for k in comp_a)
    ):
        problems.append("%s composition %s != %s" % (what, dict(comp_a), dict(comp_b)))
    if positions_b is not None and positions_a != positions_b:
        problems.append("%s positions %d != %d" % (what, positions_b, positions_a))
    return problems


def main():
    exe, cifs = sys.argv[1], sys.argv[2:]
    failures = 0
    with tempfile.TemporaryDirectory() as tmp:
        for cif in cifs:
            ours = velmar_cell(exe, cif)
            problems = []
            for command, suffix in (
                ("--gen-cif", "out"),
                ("--gen-cif-p1", "p1"),
                ("--gen-cif-reduced", "reduced"),
            ):
                out = os.path.join(tmp, "%s.%s.cif" % (os.path.basename(cif), suffix))
                subprocess.run([exe, command, cif, out], capture_output=True, check=True)
                g = gemmi_view(out)
                problems += same(ours, g, "gemmi/" + suffix)
                for reader, view in (("pymatgen", pymatgen_view), ("ase", ase_view)):
                    try:
                        problems += same(ours, view(out), "%s/%s" % (reader, suffix))
                    except Exception as failure:  # a reader refusing the file is a difference
                        problems.append("%s/%s refuses the file: %s" % (reader, suffix, failure))
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
