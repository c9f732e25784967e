#!/usr/bin/env python3
"""Pictures of the screening: the landscape of one structure, and the barriers of all.

  plots.py landscape FOLDER OUT.png    the landscape of FOLDER (gen-cube.json, gh.json): per cell
                                       axis, the lowest energy along it over the plane of the
                                       other two (2 x 2 cells, true angles), relative to the
                                       minimum, with the 1D, 2D and 3D thresholds as contours
                                       and the atoms of the structure; a note when there is none
  plots.py barriers OUT.png STATUS...  bars of the 1D, 2D and 3D barriers of every structure
                                       (status.json files), lowest 3D barrier first
"""
import os
import sys

import matplotlib

matplotlib.use('Agg')
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402

import cube as cubefile  # noqa: E402
import screening  # noqa: E402

AXES = 'abc'
DIMENSION_COLOURS = {1: '#ff2020', 2: '#ff9900', 3: '#ff66ff'}
MARGIN = 0.5  # eV of colour scale above the highest threshold shown
FALLBACK_RANGE = 2.0  # eV shown when the landscape does not percolate


def barriers(percolation):
    """{dimension: barrier or None} of a gh.json percolation record."""
    dims = (percolation or {}).get('dims', {})
    return {d: (dims.get(str(d)) or dims.get(d) or {}).get('barrier') for d in (1, 2, 3)}


def plane(lattice, axis):
    """The two other axes and an orthonormal basis of their plane (first along the first)."""
    i, j = [k for k in range(3) if k != axis]
    e1 = lattice[i] / np.linalg.norm(lattice[i])
    e2 = lattice[j] - np.dot(lattice[j], e1) * e1
    return i, j, e1, e2 / np.linalg.norm(e2)


def tiles(lattice, span=10.0):
    """Cells shown along each axis: enough to span about `span` A, at most 4."""
    return [int(min(4, max(1, np.ceil(span / np.linalg.norm(v))))) for v in lattice]


def projection(values, lattice, axis, repeat):
    """The lowest value along `axis` on the grid of the other two, repeated over repeat[i] x
    repeat[j] cells, with the plane coordinates (A) of every point."""
    i, j, e1, e2 = plane(lattice, axis)
    low = np.tile(values.min(axis=axis), (repeat[i], repeat[j]))
    u, v = np.meshgrid(np.arange(low.shape[0]) / values.shape[i],
                       np.arange(low.shape[1]) / values.shape[j], indexing='ij')
    points = u[..., None] * lattice[i] + v[..., None] * lattice[j]
    return points @ e1, points @ e2, low


def atoms_in_plane(data, axis, repeat):
    """Plane coordinates of the header's atoms and their images over the cells shown, with their
    atomic numbers."""
    if not data['atoms']:
        return np.empty(0), np.empty(0), np.empty(0, dtype=int)
    i, j, e1, e2 = plane(data['lattice'], axis)
    fractional = np.linalg.solve(data['lattice'].T, (data['positions'] - data['origin']).T).T % 1
    xs, ys, numbers = [], [], []
    for du in range(repeat[i]):
        for dv in range(repeat[j]):
            p = ((fractional[:, i] + du)[:, None] * data['lattice'][i] +
                 (fractional[:, j] + dv)[:, None] * data['lattice'][j])
            xs.append(p @ e1)
            ys.append(p @ e2)
            numbers += data['atoms']
    return np.concatenate(xs), np.concatenate(ys), np.array(numbers)


def element_name(number):
    import gemmi
    return gemmi.Element(number).name


def colour_range(levels):
    """The top of the colour scale: MARGIN above the 3D barrier, or, when that lies far above
    the others (a layered structure), above the highest barrier within 2 eV of the lowest."""
    found = sorted(b for b in levels.values() if b is not None)
    if not found:
        return FALLBACK_RANGE
    return max(b for b in found if b <= found[0] + 2.0) + MARGIN


def landscape_figure(data, percolation, title, out):
    values = data['values']
    passable = values[values < 999]
    low = passable.min() if passable.size else values.min()
    levels = barriers(percolation)
    vmax = colour_range(levels)
    # Thresholds that coincide (1D = 2D in a layered structure) share one contour.
    contours = {}
    for d in (1, 2, 3):
        if levels[d] is not None:
            contours.setdefault(round(levels[d], 6), []).append(d)
    repeat = tiles(data['lattice'])
    panels = [projection(values, data['lattice'], axis, repeat) for axis in range(3)]
    ratios = [np.ptp(x) / max(np.ptp(y), 1e-6) for x, y, _ in panels]
    width = min(22.0, max(9.0, 4.2 * sum(ratios) + 2.5))
    figure, axes = plt.subplots(1, 3, figsize=(width, 5.8), constrained_layout=True,
                                gridspec_kw={'width_ratios': ratios})
    palette = plt.get_cmap('tab10')
    kinds = sorted(set(data['atoms']))
    handles = []
    for axis, (ax, (x, y, low_values)) in enumerate(zip(axes, panels)):
        shown = np.clip(low_values - low, 0, vmax)
        mesh = ax.pcolormesh(x, y, shown, shading='gouraud', cmap='viridis', vmin=0, vmax=vmax)
        for level, dims in sorted(contours.items()):
            colour = DIMENSION_COLOURS[min(dims)]
            if (low_values - low).min() < level < (low_values - low).max():
                ax.contour(x, y, low_values - low, levels=[level], colors=[colour],
                           linewidths=1.4)
            if axis == 0:
                handles += ax.plot([], [], color=colour, label=f'{"/".join(f"{d}D" for d in dims)}'
                                                              f' threshold, {level:.3f} eV')
        atom_x, atom_y, numbers = atoms_in_plane(data, axis, repeat)
        for n, kind in enumerate(kinds):
            mask = numbers == kind
            dots = ax.scatter(atom_x[mask], atom_y[mask], s=20, color=palette(n % 10),
                              edgecolors='white', linewidths=0.6, zorder=3,
                              label=element_name(kind))
            if axis == 0:
                handles.append(dots)
        i, j = [k for k in range(3) if k != axis]
        ax.set_title(f'lowest energy along {AXES[axis]}')
        ax.set_xlabel(f'along {AXES[i]} (\u00c5)')
        ax.set_ylabel(f'across {AXES[i]}, in the {AXES[i]}{AXES[j]} plane (\u00c5)')
        ax.set_aspect('equal')
    bar = figure.colorbar(mesh, ax=axes, shrink=0.85, extend='max')
    bar.set_label('E \u2212 E$_{min}$ (eV)')
    figure.legend(handles=handles, loc='upper center', bbox_to_anchor=(0.5, 0.0),
                  ncol=len(handles), fontsize=8, frameon=False)
    figure.suptitle(title)
    figure.savefig(out, dpi=110, bbox_inches='tight')
    plt.close(figure)


def note_figure(title, text, out):
    figure = plt.figure(figsize=(6, 2))
    figure.text(0.5, 0.62, title, ha='center', fontsize=12)
    figure.text(0.5, 0.35, text, ha='center', fontsize=9, wrap=True)
    figure.savefig(out, dpi=90)
    plt.close(figure)


def landscape(folder, out):
    name = os.path.basename(os.path.normpath(folder))
    prep = screening.read_json(os.path.join(folder, 'prepare.json'))
    step = screening.read_json(os.path.join(folder, 'gen-cube.json'))
    if step['status'] != 'ok':
        why = prep['reason'] if prep['status'] != 'ok' else step['error']
        note_figure(name, f'no landscape: {why}', out)
        return
    gh = screening.read_json(os.path.join(folder, 'gh.json'))
    percolation = gh['values'].get('percolation') if gh['status'] == 'ok' else None
    data = cubefile.read_cube(os.path.join(folder, step['values']['cube']))
    b = barriers(percolation)
    text = ', '.join(f'{d}D {b[d]:.3f} eV' if b[d] is not None else f'{d}D none' for d in b)
    landscape_figure(data, percolation,
                     f'{name} ({prep.get("formula") or "?"}, {prep.get("space_group") or "?"}): '
                     f'{prep["ion"]} site energy; barriers {text}', out)


def barriers_figure(rows, out):
    """rows: (name, {1: b1, 2: b2, 3: b3}) with None where there is no percolation."""
    order = sorted(rows, key=lambda r: (r[1][3] is None, r[1][3] or 0, r[0]))
    height = max(2.5, 0.38 * len(order) + 1.4)
    figure, ax = plt.subplots(figsize=(8, height), constrained_layout=True)
    width = 0.26
    colours = {1: '#1f77b4', 2: '#ff7f0e', 3: '#2ca02c'}
    for d in (1, 2, 3):
        y = [n + (d - 2) * width for n in range(len(order))]
        ax.barh(y, [r[1][d] if r[1][d] is not None else 0 for r in order], height=width,
                color=colours[d], label=f'{d}D')
        for yy, r in zip(y, order):
            if r[1][d] is None:
                ax.text(0.01, yy, f'no {d}D path', va='center', fontsize=6,
                        transform=ax.get_yaxis_transform())
    ax.set_yticks(range(len(order)))
    ax.set_yticklabels([r[0] for r in order], fontsize=8)
    ax.invert_yaxis()
    ax.set_xlabel('percolation barrier (eV)')
    ax.set_title('Barriers of the structures, lowest 3D barrier first')
    ax.legend(loc='lower right')
    ax.grid(axis='x', alpha=0.3)
    if not order:
        ax.text(0.5, 0.5, 'no structure has a landscape', ha='center',
                transform=ax.transAxes)
    figure.savefig(out, dpi=110)
    plt.close(figure)


def main(argv):
    if len(argv) == 3 and argv[0] == 'landscape':
        landscape(argv[1], argv[2])
    elif len(argv) >= 2 and argv[0] == 'barriers':
        rows = []
        for path in argv[2:]:
            status = screening.read_json(path)
            b = {d: status.get(f'barrier_{d}d') for d in (1, 2, 3)}
            if any(v is not None for v in b.values()):
                rows.append((status['structure'], b))
        barriers_figure(rows, argv[1])
    else:
        print(__doc__, file=sys.stderr)
        return 2
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
