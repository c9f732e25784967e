#!/usr/bin/python3
"""Coordination numbers of velmar.x --cal-cn against pymatgen's CrystalNN.

Usage: check_cn_crystalnn.py VELMAR_EXE [--command=--cal-cn|--cal-cn-bv] [--min-agreement F]
                             [--report-only CIF ...] [--expect FILE:LABEL:CN ...] CIF...

For every CIF that velmar.x reads, each cation site (one CIF label of positive oxidation state)
is counted by velmar.x (`--cal-cn` by default: the number of distinct neighbour positions in the
shell, the `sites` column of the CSV) and by CrystalNN (pymatgen, reading the same file on its
own) on the atom at the same position. CrystalNN works on ordered structures: every position is
given its dominant species at full occupancy, with velmar's oxidation states, and counts atoms of
opposite charge (cation_anion=True), as velmar does. Structures of more than --max-sites positions
are left out (CrystalNN's cost), and so are sites where the two readers disagree on the structure
(no pymatgen site at velmar's position) or CrystalNN fails. Files given with --report-only are
compared and printed but not counted. --expect adds a textbook value that both counts must give.

Exit status 0 when the share of counted cation sites that agree is at least --min-agreement and
every --expect holds, 1 otherwise; 77 when pymatgen is missing (the test is then skipped).
"""

import argparse
import csv
import os
import re
import shutil
import subprocess
import sys
import tempfile
import warnings

try:
    from pymatgen.analysis.local_env import CrystalNN
    from pymatgen.core import Species, Structure
except ImportError:
    print("pymatgen is not installed: skipped")
    sys.exit(77)

ATOM = re.compile(r"ATOM: name=\s*(\S*);type=\s*(\w+);os=\s*(-?\d+);")


def velmar_atoms(exe, cif, workdir):
    """Labels, element and oxidation state of the atoms velmar reads, or None."""
    out = subprocess.run([exe, "--print-cell", cif], cwd=workdir, capture_output=True, text=True)
    atoms = ATOM.findall(out.stdout)
    if out.stderr or not atoms:
        return None
    return [(name, element, int(os_)) for name, element, os_ in atoms]


def velmar_cn(exe, command, cif, label, workdir):
    """Rows of the CSV of the command for one label; None when the command fails."""
    table = os.path.join(workdir, cif + ".cn.csv")
    if os.path.exists(table):
        os.remove(table)
    run = subprocess.run([exe, command, cif, label], cwd=workdir, capture_output=True, text=True)
    if run.stderr or not os.path.exists(table):
        return None
    with open(table, newline="") as f:
        return list(csv.DictReader(f))


def ordered_positions(structure, states):
    """Each position with its dominant species, fully occupied, with velmar's states."""
    species = []
    for site in structure:
        element = max(site.species.items(), key=lambda item: item[1])[0].symbol
        species.append(Species(element, states.get(element, 0)))
    return Structure(structure.lattice, species, structure.frac_coords)


def matching_site(structure, frac, tolerance=0.05):
    for index, site in enumerate(structure):
        if structure.lattice.get_distance_and_image(site.frac_coords, frac)[0] < tolerance:
            return index
    return None


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("exe")
    parser.add_argument("cifs", nargs="+")
    parser.add_argument("--command", default="--cal-cn", choices=["--cal-cn", "--cal-cn-bv"])
    parser.add_argument("--min-agreement", type=float, default=0.9)
    parser.add_argument("--report-only", action="append", default=[])
    parser.add_argument("--max-sites", type=int, default=300)
    parser.add_argument("--expect", action="append", default=[])
    args = parser.parse_args()
    args.exe = os.path.abspath(args.exe)
    warnings.filterwarnings("ignore")
    expected = {}
    for item in args.expect:
        name, label, value = item.rsplit(":", 2)
        expected[(os.path.basename(name), label)] = int(value)

    agree = total = 0
    reported = [0, 0]  # agreeing and compared sites of the --report-only files
    failures = []
    workdir = tempfile.mkdtemp(prefix="velmar-cn-")
    try:
        for path in args.cifs + args.report_only:
            counted = path not in args.report_only
            cif = os.path.basename(path)
            shutil.copy(path, os.path.join(workdir, cif))
            atoms = velmar_atoms(args.exe, cif, workdir)
            if atoms is None:
                print(f"{cif}: not read by velmar.x, left out")
                continue
            try:
                structure = Structure.from_file(path)
            except Exception as error:  # pymatgen refuses some dialects
                print(f"{cif}: not read by pymatgen ({error}), left out")
                continue
            if len(structure) > args.max_sites:
                print(f"{cif}: {len(structure)} positions, left out")
                continue
            states = {}
            for _, element, state in atoms:
                states.setdefault(element, state)
            ordered = ordered_positions(structure, states)
            nn = CrystalNN(cation_anion=True)
            # One run per cation element gives the rows of all its labels (one run per label
            # where a label spells the element and so selects itself alone).
            labels = sorted({name for name, _, state in atoms if 0 < state < 99})
            first = {}
            for element in sorted({e for name, e, state in atoms if 0 < state < 99}):
                for row in velmar_cn(args.exe, args.command, cif, element, workdir) or []:
                    first.setdefault(row["label"], row)
            for label in labels:
                if label not in first:
                    rows = velmar_cn(args.exe, args.command, cif, label, workdir)
                    if not rows:
                        print(f"{cif} {label}: velmar.x {args.command} fails, left out")
                        continue
                    first[label] = rows[0]
                row = first[label]
                ours = int(row["sites"])
                frac = [float(row[k]) for k in ("x_f", "y_f", "z_f")]
                index = matching_site(ordered, frac)
                if index is None:
                    print(f"{cif} {label}: no pymatgen site at {frac}, left out")
                    continue
                try:
                    theirs = nn.get_cn(ordered, index)
                except ValueError as error:  # Voronoi without faces: CrystalNN gives up
                    print(f"{cif} {label}: CrystalNN fails ({error}), left out")
                    continue
                if counted:
                    total += 1
                    agree += ours == theirs
                else:
                    reported[0] += ours == theirs
                    reported[1] += 1
                verdict = "agree" if ours == theirs else "DIFFER"
                print(f"{cif} {label} ({row['type']}{row['os']}): velmar {ours} "
                      f"(cn {float(row['cn']):.2f}, shell {row['shell']}, gap {row['gap']}), "
                      f"CrystalNN {theirs}: {verdict}{'' if counted else ' (not counted)'}")
                want = expected.pop((cif, label), None)
                if want is not None and (ours != want or theirs != want):
                    failures.append(f"{cif} {label}: velmar {ours}, CrystalNN {theirs}, "
                                    f"textbook {want}")
    finally:
        shutil.rmtree(workdir, ignore_errors=True)
    for (cif, label), want in expected.items():
        failures.append(f"{cif} {label}: expected {want}, site not checked")
    share = agree / total if total else 0.0
    print(f"cation sites agreeing with CrystalNN: {agree} of {total} ({100 * share:.1f} %)")
    if reported[1]:
        print(f"not counted (--report-only): {reported[0]} of {reported[1]} agree")
    for failure in failures:
        print("FAIL:", failure)
    return 0 if total and share >= args.min_agreement and not failures else 1


if __name__ == "__main__":
    sys.exit(main())
