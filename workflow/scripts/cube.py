"""A reader of Gaussian cube files, as velmar.x writes its landscapes.

Layout: two comment lines (velmar.x: the structure's name, then "Conducting = Li1+ ; sf = ...;"),
the number of atoms and the origin, per axis the number of voxels and the voxel step vector, one
line per atom (atomic number, charge, x, y, z), then the values with the last axis fastest.
Lengths are in Bohr (a negative voxel count would mean angstrom); velmar.x's values are energies
in eV, 999.9 where the ion cannot go.
"""
import numpy as np

BOHR = 1 / 1.889725989  # angstrom; the factor velmar.x writes with


def read_cube(path):
    """The cube as a dict: title, comment, origin, steps (3 x 3, A), counts, lattice (3 x 3, A,
    rows a b c), atoms (atomic numbers), positions (n x 3, A) and values (counts-shaped array)."""
    with open(path, encoding='ascii', errors='replace') as handle:
        lines = handle.read().splitlines()
    if len(lines) < 6:
        raise ValueError(f'{path}: too short for a cube file')
    title, comment = lines[0].strip(), lines[1].strip()

    def numbers(n):
        try:
            return [float(v) for v in lines[n].split()]
        except ValueError:
            raise ValueError(f'{path}: line {n + 1} is not a row of numbers') from None

    head = numbers(2)
    natoms, origin = int(head[0]), np.array(head[1:4])
    counts, steps = [], []
    for row in (numbers(3), numbers(4), numbers(5)):
        counts.append(abs(int(row[0])))
        steps.append(np.array(row[1:4]) * (1.0 if row[0] < 0 else BOHR))
    if min(counts) <= 0:
        raise ValueError(f'{path}: voxel counts {counts}')
    # A negative number of atoms announces one more line after the atoms (orbital numbers).
    first = 6 + abs(natoms) + (1 if natoms < 0 else 0)
    atoms = [numbers(6 + n) for n in range(abs(natoms))]
    values = np.array(' '.join(lines[first:]).split(), dtype=float)
    size = counts[0] * counts[1] * counts[2]
    if values.size != size:
        raise ValueError(f'{path}: {values.size} values for {counts[0]} x {counts[1]} x '
                         f'{counts[2]} voxels')
    steps = np.array(steps)
    return {'title': title, 'comment': comment, 'origin': origin * BOHR, 'counts': counts,
            'steps': steps, 'lattice': steps * np.array(counts)[:, None],
            'atoms': [int(a[0]) for a in atoms],
            'positions': np.array([a[2:5] for a in atoms]).reshape(-1, 3) * BOHR,
            'values': values.reshape(counts)}
