#!/usr/bin/env python3
"""Cube files between velmar.x and ASE (Debian python3-ase), an independent reader and writer.

1. A landscape written by velmar.x (--gen-cube on the given CIF) is read by ASE: same lattice (after
   ASE's Bohr conversion), same grid shape, same values, same atoms.
2. A cube written by ASE (six values a line, atoms in the header) is read by velmar.x --print-cube:
   same voxel counts, lattice and atom positions.

Usage: check_cube_ase.py VELMAR_X CIF     (exit status 0 when everything agrees)
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

import numpy as np
from ase import Atoms
from ase.io.cube import read_cube_data, write_cube


def main():
    exe, cif = sys.argv[1], sys.argv[2]
    failures = []
    with tempfile.TemporaryDirectory() as tmp:
        local = os.path.join(tmp, "s.cif")
        shutil.copy(cif, local)
        run = subprocess.run([exe, "--gen-cube", local, "Li", "1", "0.6", "0.3"], capture_output=True, text=True)
        cube = local + ".cube"
        if run.returncode != 0 or not os.path.exists(cube):
            print(run.stdout, run.stderr)
            return 1
        data, atoms = read_cube_data(cube)
        text = open(cube, "rb").read().decode().split("\r\n")
        counts = [int(text[3 + r].split()[0]) for r in range(3)]
        steps = np.array([[float(x) for x in text[3 + r].split()[1:]] for r in range(3)]) / 1.889725989
        if list(data.shape) != counts:
            failures.append("ASE grid %s, file %s" % (data.shape, counts))
        lattice = steps * np.array(counts)[:, None]
        if not np.allclose(atoms.cell[:], lattice, atol=1e-4):
            failures.append("ASE cell %s, velmar %s" % (atoms.cell[:], lattice))
        natoms = int(text[2].split()[0])
        values = np.array([float(v) for v in text[6 + natoms:] if v.strip()])
        if not np.allclose(data.ravel(), values, atol=1e-9):
            failures.append("values differ")
        if len(atoms) != natoms:
            failures.append("ASE reads %d atoms, header has %d" % (len(atoms), natoms))

        # ASE writes, velmar.x reads.
        cell = np.array([[5.0, 0.0, 0.0], [1.0, 4.0, 0.0], [0.5, 0.5, 6.0]])
        grid = np.arange(4 * 5 * 6, dtype=float).reshape(4, 5, 6) / 7.0
        written = Atoms("LiO", cell=cell, pbc=True, scaled_positions=[[0.25, 0.5, 0.5], [0.0, 0.0, 0.0]])
        path = os.path.join(tmp, "ase.cube")
        with open(path, "w") as handle:
            write_cube(handle, written, data=grid)
        out = subprocess.run([exe, "--print-cube", path], capture_output=True, text=True).stdout
        size = re.search(r"cube size = (\d+) \* (\d+) \* (\d+)", out)
        if size is None or [int(x) for x in size.groups()] != [4, 5, 6]:
            failures.append("velmar.x reads size %s" % (size.groups() if size else out))
        vectors = re.findall(r"CUBE:\s+(-?\d+\.\d+)\s+(-?\d+\.\d+)\s+(-?\d+\.\d+)", out)
        if len(vectors) != 6 or not np.allclose(np.array(vectors[:3], dtype=float), cell, atol=1e-5):
            failures.append("velmar.x reads lattice %s" % vectors[:3])
        types = re.findall(r"type=\s*(\w+);", out)
        if types != ["Li", "O"]:
            failures.append("velmar.x reads atoms %s" % types)
    for f in failures:
        print("DIFFERS:", f)
    print("ok" if not failures else "%d differences" % len(failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
