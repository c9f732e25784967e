#!/usr/bin/env python3
"""Prepares one CIF for velmar.x.

Writes into OUTDIR:
  NAME.cif            the structure as velmar.x reads it: occupancy 1 where the file gives none,
                      every site with its oxidation state (from the file, else assigned)
  NAME-landscape.cif  the same with the mobile ion's sites fully occupied, so that --gen-cube
                      computes the landscape of this cell (those ions are left out of it anyway)
  prepare.json        what was done, or the reason the file was refused
The prepared file must be read by velmar.x without error and with the composition pymatgen reads.
A refusal is a result, not an error: the exit status is 0 unless the arguments are wrong.
"""
import argparse
import json
import os
import re
import signal
import subprocess
import sys
import time
import warnings

import gemmi

import ciffile
import screening
from ciffile import Refusal


def parse_args():
    p = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    p.add_argument('cif')
    p.add_argument('--name', required=True)
    p.add_argument('--ion', required=True, help='element of the mobile ion')
    p.add_argument('--os', type=int, required=True, help='its oxidation state')
    p.add_argument('--outdir', required=True)
    p.add_argument('--velmar', required=True)
    p.add_argument('--bv-timeout', type=int, default=300,
                   help='seconds allowed to the bond-valence assignment')
    return p.parse_args()


def read_source(path, notes):
    """The structure of the file; a file gemmi cannot parse is tried with pymatgen's reader."""
    try:
        structure, note = ciffile.read_file(path)
    except Refusal as syntax:
        if not str(syntax).startswith('CIF syntax'):
            raise
        from pymatgen.io.cif import CifParser, CifWriter
        try:
            with warnings.catch_warnings():
                warnings.simplefilter('ignore')
                parsed = CifParser(path).get_structures(primitive=False)[0]
                text = str(CifWriter(parsed, symprec=0.01 if parsed.is_ordered else None))
        except Exception:  # pymatgen raises many kinds; the gemmi message says more
            raise syntax from None
        block, note = ciffile.pick_block(gemmi.cif.read_string(text))
        structure = ciffile.read_structure(block)
        notes.append(f'{syntax} (read by pymatgen and rewritten)')
    if note:
        notes.append(note)
    return structure


def space_group(structure):
    """The Hermann-Mauguin symbol: of the symmetry operations when they make a known group, else
    of the Hall symbol or number given, else the symbol as written."""
    given = structure['space_group']
    tries = []
    if structure['symmetry']:
        tries.append(('ops', structure['symmetry']))
    tries += [('Hall' if 'Hall' in tag else 'number', given[tag])
              for tag in ciffile.GROUP_TAGS if tag in given and 'H-M' not in tag]
    for kind, value in tries:
        try:
            if kind == 'ops':
                found = gemmi.find_spacegroup_by_ops(gemmi.GroupOps([gemmi.Op(op) for op in value]))
            elif kind == 'Hall':
                found = gemmi.find_spacegroup_by_ops(gemmi.symops_from_hall(value))
            else:
                found = gemmi.find_spacegroup_by_number(int(value))
        except (RuntimeError, ValueError):
            continue
        if found is not None:
            return found.xhm()
    return next(iter(given.values()), '')


def pymatgen_structure(path):
    from pymatgen.io.cif import CifParser
    with warnings.catch_warnings():
        warnings.simplefilter('ignore')
        return CifParser(path).get_structures(primitive=False)[0]


class Timeout(Exception):
    pass


def bond_valence_states(pmg, timeout):
    """Oxidation states by pymatgen's bond-valence analyser: the decorated structure and how they
    were found. A structure with partly occupied sites need not be neutral with whole ions, so it
    gets a second try with the charge that its vacancies can leave; then the guesses from the
    composition. All within `timeout` seconds. (None, why) when all fail."""
    from pymatgen.analysis.bond_valence import BVAnalyzer
    from pymatgen.core import Element

    def alarm(*_):
        raise Timeout()

    tries = [('bond valence', BVAnalyzer())]
    if not pmg.is_ordered:
        slack = sum((1 - sum(site.species.values())) *
                    max((abs(s) for el in site.species
                         for s in Element(el.symbol).common_oxidation_states), default=1)
                    for site in pmg)
        tries.append(('bond valence, charge balance within the vacancies',
                      BVAnalyzer(charge_neutrality_tolerance=slack + 0.01)))
    previous = signal.signal(signal.SIGALRM, alarm)
    signal.alarm(timeout)
    try:
        for method, analyser in tries:
            try:
                return analyser.get_oxi_state_decorated_structure(pmg), method
            except ValueError:
                continue
        # Large molecular or intermetallic compositions make this search run for hours, hence
        # the same alarm.
        try:
            guesses = pmg.composition.oxi_state_guesses()
        except ValueError:  # fractional amounts
            guesses = []
        if guesses:
            decorated = pmg.copy()
            decorated.add_oxidation_state_by_element(guesses[0])
            return decorated, 'guess from the composition'
    except Timeout:
        return None, f'no answer within {timeout} s'
    finally:
        signal.alarm(0)
        signal.signal(signal.SIGALRM, previous)
    return None, ''


def assign_states(structure, path, timeout):
    """Gives every site of `structure` an oxidation state from the pymatgen structure of `path`,
    matched by position. Returns the method."""
    pmg = pymatgen_structure(path)
    decorated, method = bond_valence_states(pmg, timeout)
    if decorated is None:
        raise Refusal('no oxidation states: the file gives none, and neither the bond-valence '
                      'analysis nor the composition finds a charge-balanced set' +
                      (f' ({method})' if method else ''))
    frac = decorated.frac_coords
    for site in structure['sites']:
        distances = decorated.lattice.get_all_distances([[site['x'], site['y'], site['z']]],
                                                        frac)[0]
        order = distances.argsort()
        for index in order[:8]:
            states = [sp.oxi_state for sp in decorated[index].species
                      if sp.symbol == site['element']]
            if distances[index] < 0.5 and states:
                site['state'] = round(states[0], 4)
                break
        else:
            raise Refusal(f'site {site["label"]} not found in the pymatgen structure')
    return method


def mobile_sites(structure, ion, state):
    return [s for s in structure['sites']
            if s['element'] == ion and s['state'] is not None and abs(s['state'] - state) < 1e-6]


def with_mobile_occupancy(structure, ion, state, occupancy):
    """A copy of the structure whose sites of the mobile ion have the given occupancy."""
    copy = json.loads(json.dumps(structure))
    for site in mobile_sites(copy, ion, state):
        site['occupancy'] = occupancy
    return copy


def states_text(sites):
    return ' '.join(sorted({ciffile.type_symbol(s['element'], s['state']) for s in sites}))


def check_with_velmar(velmar, cif, logdir):
    """Reads the written CIF with velmar.x --print-cell: the first error line (or ''), and the
    occupancy-weighted number of atoms of each element in the cell it read."""
    cif = os.path.abspath(cif)
    run = subprocess.run([velmar, '--print-cell', cif], capture_output=True, text=True,
                         cwd=os.path.dirname(cif))
    with open(os.path.join(logdir, 'print-cell.out'), 'w') as out:
        out.write(run.stdout)
    with open(os.path.join(logdir, 'print-cell.err'), 'w') as out:
        out.write(run.stderr)
    counts = {}
    for match in re.finditer(r'ATOM: .*;type=\s*(\w+);os=.*;occ=\s*(\S+)', run.stdout):
        counts[match.group(1)] = counts.get(match.group(1), 0) + float(match.group(2))
    errors = [line for line in run.stderr.splitlines() if line.startswith('Error:')]
    if errors:
        return errors[0], counts
    if run.returncode != 0:
        return f'velmar.x --print-cell ended with status {run.returncode}', counts
    if 'CELL: total atom:' not in run.stdout:
        return 'velmar.x --print-cell printed no cell', counts
    return '', counts


def composition_difference(ours, theirs, tolerance=0.02):
    """'' when two {element: atoms per cell} agree, else what differs ("Ti 32 against 16")."""
    differ = [f'{el} {ours.get(el, 0):g} against {theirs.get(el, 0):g}'
              for el in sorted(set(ours) | set(theirs))
              if abs(ours.get(el, 0) - theirs.get(el, 0)) > tolerance]
    return ', '.join(differ)


def prepare(args, result):
    notes = result['notes']
    structure = read_source(args.cif, notes)
    structure['name'] = args.name
    sites = structure['sites']
    result['space_group'] = space_group(structure)
    if not any(s['element'] == args.ion for s in sites):
        raise Refusal(f'no {args.ion} in the structure')

    missing = [s for s in sites if s['occupancy'] is None]
    if missing:
        for s in missing:
            s['occupancy'] = 1.0
        notes.append('occupancy 1 added' + ('' if len(missing) == len(sites) else
                                            f' to {len(missing)} of {len(sites)} sites'))
    result['occupancy_added'] = bool(missing)

    target = os.path.join(args.outdir, f'{args.name}.cif')
    # Some programs write a state of 0 for every site: that says nothing.
    given = (all(s['state'] is not None for s in sites) and
             any(s['state'] != 0 for s in sites))
    if given:
        method = 'file'
    else:
        for s in sites:
            s['state'] = None
        ciffile.write_cif(target, structure, 'prepared for velmar.x; oxidation states pending')
        method = assign_states(structure, target, args.bv_timeout)
        notes.append(f'oxidation states by {method}: {states_text(sites)}')
    result['oxidation_states'] = {'method': method, 'types': states_text(sites),
                                  'sites': {s['label']: s['state'] for s in sites}}

    ion = ciffile.type_symbol(args.ion, args.os)
    mobile = mobile_sites(structure, args.ion, args.os)
    if not mobile:
        present = sorted({ciffile.type_symbol(s['element'], s['state'])
                          for s in sites if s['element'] == args.ion})
        raise Refusal(f'no {ion} in the structure' +
                      (f' ({args.ion} is {", ".join(present)})' if present else ''))
    result['mobile_sites'] = [s['label'] for s in mobile]
    result['mobile_partial'] = any(s['occupancy'] < 1 - 1e-6 for s in mobile)

    ciffile.write_cif(target, structure, 'prepared for velmar.x')
    try:
        composition = pymatgen_structure(target).composition
    except Exception:  # pymatgen only gives the formula and a check here
        composition = None
    error, counts = check_with_velmar(args.velmar, target, os.path.join(args.outdir, 'logs'))
    if error:
        raise Refusal(f'velmar.x cannot read the prepared file: {error}')
    if composition is not None:
        result['formula'] = composition.reduced_formula
        # Both expand the same operations; a difference means one of them misreads the file.
        difference = composition_difference(
            counts, {el.symbol: n for el, n in composition.element_composition.items()})
        if difference:
            raise Refusal('velmar.x and pymatgen read different cells from the prepared file '
                          f'(atoms per cell: {difference})')

    landscape = with_mobile_occupancy(structure, args.ion, args.os, 1.0)
    if result['mobile_partial']:
        notes.append(f'landscape with the {ion} sites full')
    ciffile.write_cif(os.path.join(args.outdir, f'{args.name}-landscape.cif'), landscape,
                      f'{args.name} with its {ion} sites full, for the landscape')
    result['structure'] = structure
    result['status'] = 'ok'


def main():
    args = parse_args()
    os.makedirs(os.path.join(args.outdir, 'logs'), exist_ok=True)
    start = time.time()
    result = {'name': args.name, 'source': os.path.abspath(args.cif),
              'ion': ciffile.type_symbol(args.ion, args.os), 'element': args.ion,
              'state': args.os, 'status': 'refused', 'reason': '',
              'formula': '', 'space_group': '', 'notes': []}
    try:
        prepare(args, result)
    except Refusal as refusal:
        result['reason'] = str(refusal)
    except Exception as error:  # any other failure refuses this file, not the whole run
        result['reason'] = f'{type(error).__name__}: {error}'
    if result['status'] != 'ok':
        for suffix in ('.cif', '-landscape.cif'):
            path = os.path.join(args.outdir, args.name + suffix)
            if os.path.exists(path):
                os.remove(path)
    result['seconds'] = round(time.time() - start, 2)
    screening.write_json(os.path.join(args.outdir, 'prepare.json'), result)
    return 0


if __name__ == '__main__':
    sys.exit(main())
