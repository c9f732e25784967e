#!/usr/bin/env python3
"""Runs one velmar.x step on a prepared structure and records its outcome in FOLDER/STEP.json.

Steps: cal-bv (GII of the prepared structure), gen-cube (its screening factor, then the landscape
of the copy with the mobile ion's sites full), gh (percolation barriers of the landscape), sites
(site classes), kmc (conductivity by kinetic Monte Carlo).
The record: step, status (ok, failed, skipped), error (the first "Error: " line, or what is
missing), warnings, seconds, commands and the values read from the output. A failure is a
result, not an error: the exit status is 0 unless the arguments are wrong.
"""
import argparse
import os
import re
import sys

import ciffile
import prepare
import screening

NUMBER = r'([-+]?(?:\d+\.?\d*|\.\d+)(?:[eE][-+]?\d+)?|[-+]?nan|[-+]?inf)'


def parse_gii(text):
    match = re.search(r'GII: Global instability index = ' + NUMBER, text)
    return float(match.group(1)) if match else None


def parse_sf(text):
    """The screening factor the run used: the last "final screening factor" or "sf=" line."""
    found = re.findall(r'Message: (?:final screening factor = |sf=)' + NUMBER, text)
    return float(found[-1]) if found else None


def parse_gh(text):
    """The percolation table of --gh: the landscape minimum and, per dimension (1, 2, 3), the
    threshold, barrier, voxel count and directions, or None where the landscape does not
    percolate. None without a table."""
    minimum = re.search(r'GH: landscape minimum ' + NUMBER + ' eV', text)
    if not minimum:
        return None
    dims = {}
    value = f'(none|{NUMBER})'
    for line in text.splitlines():
        match = re.match(rf'GH:\s+([123])D\s+{value}\s+{value}\s+(\S+)\s+(.*)$', line)
        if not match:
            continue
        d, threshold, _, barrier, _, voxels, directions = match.groups()
        if threshold == 'none':
            dims[int(d)] = None
        else:
            dims[int(d)] = {'threshold': float(threshold), 'barrier': float(barrier),
                            'voxels': int(voxels), 'directions': directions.strip()}
    if sorted(dims) != [1, 2, 3]:
        return None
    return {'minimum': float(minimum.group(1)), 'dims': dims}


def parse_sites(text):
    """The site classes of --sites: count of minima and, per class, label, energy above the
    lowest, multiplicity, occupancy and the barriers out and into the 1D, 2D and 3D network."""
    head = re.search(r'SITES: (\d+) minima of \S+ .* in (\d+) symmetry classes', text)
    if not head:
        return None
    classes = []
    for line in text.splitlines():
        # SITES: n label energy mult x y z occ k1 k2 k3 freq out 1D 2D 3D (a label may hold spaces)
        fields = line.split()
        if len(fields) < 17 or fields[0] != 'SITES:' or not fields[1].isdigit():
            continue
        numbers = fields[-14:]
        try:
            value = [None if v == 'none' else float(v) for v in numbers]
        except ValueError:  # the line of the count of minima
            continue
        classes.append({'label': ' '.join(fields[2:-14]), 'energy': value[0],
                        'multiplicity': int(value[1]), 'occupancy': value[5], 'out': value[10],
                        'barrier_1d': value[11], 'barrier_2d': value[12],
                        'barrier_3d': value[13]})
    return {'minima': int(head.group(1)), 'classes': classes}


def parse_kmc(text):
    """The conductivity of the blocks of a --kmc run: total, its standard error, and the same per
    axis; None without that line."""
    pair = NUMBER + r'\s*\+/-\s*' + NUMBER
    match = re.search(r'KMC: conductivity of the blocks = ' + pair + r',\s*\(' + pair + r',\s*' +
                      pair + r',\s*' + pair + r'\)', text)
    if not match:
        return None
    v = [float(x) for x in match.groups()]
    return {'sigma': v[0], 'sigma_err': v[1], 'sigma_axes': v[2::2][:3],
            'sigma_axes_err': v[3::2][:3]}


def kmc_structure(folder, prep, vacancies):
    """The CIF of the KMC run and what it is: the prepared structure when the mobile ion's sites
    are partly occupied, else a copy with the given fraction of them empty."""
    name, ion = prep['name'], prep['ion']
    if prep['mobile_partial']:
        return f'{name}.cif', f'KMC on the {ion} sites as occupied in the file'
    copy = prepare.with_mobile_occupancy(prep['structure'], prep['element'], prep['state'],
                                         1.0 - vacancies)
    path = f'{name}-kmc.cif'
    ciffile.write_cif(os.path.join(folder, path), copy,
                      f'{name} with {vacancies:g} of its {ion} sites empty, for KMC')
    return path, f'KMC with {vacancies:g} of the {ion} sites empty'


def run(step, args, record):
    folder = args.folder
    prep = screening.read_json(os.path.join(folder, 'prepare.json'))
    if prep['status'] != 'ok':
        record.update(status='skipped', error='structure refused')
        return
    name, element, state = prep['name'], prep['element'], prep['state']
    cif, landscape_cif = f'{name}.cif', f'{name}-landscape.cif'
    cube = landscape_cif + '.cube'
    values = record['values']
    runs = []

    def velmar(arguments, log, expect=()):
        done = screening.Run(args.velmar, arguments, folder, log, threads=args.threads,
                             expect=expect, seed=args.seed)
        runs.append(done)
        record['commands'].append(done.command)
        record['warnings'] += [w for w in done.warnings if w not in record['warnings']]
        return done

    if step in ('gh', 'sites', 'kmc'):
        landscape = screening.read_json(os.path.join(folder, 'gen-cube.json'))
        if landscape['status'] != 'ok':
            record.update(status='skipped', error='no landscape')
            return

    if step == 'cal-bv':
        done = velmar(['--cal-bv', cif], 'cal-bv')
        values['gii'] = parse_gii(done.stdout)
        missing = 'no GII line in the output' if values['gii'] is None else ''
    elif step == 'gen-cube':
        # The screening factor of the structure as it is; the copy with the sites full need not
        # be neutral.
        done = velmar(['--print-ppt', cif], 'print-ppt')
        values['sf'] = parse_sf(done.stdout)
        if done.error or values['sf'] is None:
            record['error'] = done.error or 'no screening factor in the output'
        else:
            done = velmar(['--gen-cube', landscape_cif, element, state, f'{values["sf"]:.6f}',
                           args.resolution], 'gen-cube', expect=[cube])
            values.update(cube=cube, resolution=args.resolution)
        missing = ''
    elif step == 'gh':
        done = velmar(['--gh', cube], 'gh', expect=[cube + '.gh.csv'])
        values['percolation'] = parse_gh(done.stdout)
        missing = 'no percolation table in the output' if values['percolation'] is None else ''
    elif step == 'sites':
        done = velmar(['--sites', cif, cube, element, state], 'sites',
                      expect=[cif + '.sites.csv'])
        values['sites'] = parse_sites(done.stdout)
        missing = 'no site table in the output' if values['sites'] is None else ''
    elif step == 'kmc':
        structure, note = kmc_structure(folder, prep, args.vacancies)
        values.update(cif=structure, note=note, steps=args.kmc_steps)
        done = velmar(['--kmc', structure, cube, element, state, 0, 0, 0,
                       f'{landscape["values"]["sf"]:.6f}', -1, -1, args.kmc_steps], 'kmc',
                      expect=[structure + '.kmc.log.txt'])
        values.update(parse_kmc(done.stdout) or {})
        missing = 'no conductivity of the blocks in the output' if 'sigma' not in values else ''
    record['error'] = record['error'] or done.error or missing
    record['status'] = 'failed' if record['error'] else 'ok'
    record['seconds'] = round(sum(r.seconds for r in runs), 3)


def main():
    p = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    p.add_argument('step', choices=screening.STEPS)
    p.add_argument('folder', help='the folder of the prepared structure (prepare.json)')
    p.add_argument('--velmar', required=True)
    p.add_argument('--threads', type=int, default=1)
    p.add_argument('--resolution', type=float, default=0.2, help='landscape grid step (A)')
    p.add_argument('--kmc-steps', type=int, default=1000000)
    p.add_argument('--vacancies', type=float, default=0.05,
                   help='fraction of the mobile-ion sites left empty for KMC when none is')
    p.add_argument('--seed', type=int, default=None, help='VELMAR_SEED of the runs')
    args = p.parse_args()
    record = {'step': args.step, 'status': 'failed', 'error': '', 'warnings': [], 'seconds': 0,
              'commands': [], 'values': {}}
    try:
        run(args.step, args, record)
    except Exception as error:  # a fault here fails this step of this structure only
        record.update(status='failed', error=f'{type(error).__name__}: {error}')
    screening.write_json(os.path.join(args.folder, f'{args.step}.json'), record)
    return 0


if __name__ == '__main__':
    sys.exit(main())
