#!/usr/bin/env python3
"""The outcome of each structure, and the table of all.

  summarize.py status FOLDER [--kmc]        FOLDER/status.json from prepare.json and the steps
  summarize.py table CSV MD STATUS.json...  summary.csv and summary.md (readable, with links to
                                            the plots) from the status files
"""
import csv
import math
import os
import sys

import screening

COLUMNS = ['structure', 'status', 'gii', 'sf', 'barrier_1d', 'barrier_2d', 'barrier_3d',
           'formula', 'space_group', 'ion', 'preparation', 'sigma_S_cm', 'sigma_err',
           'wall_time_s', 'failed_step', 'error', 'warnings']


def structure_status(name, prep, steps):
    """The row of one structure: prep is its prepare.json, steps {step: record} of the steps
    that ran (cal-bv, gen-cube, gh, sites and kmc when asked). Status: refused (the file could not
    be prepared), failed (the first failed step is named with its error) or ok."""
    row = dict.fromkeys(COLUMNS)
    row.update(structure=name, ion=prep.get('ion'), formula=prep.get('formula') or None,
               space_group=prep.get('space_group') or None)
    notes = list(prep.get('notes', []))
    seconds = prep.get('seconds', 0)
    if prep['status'] != 'ok':
        row.update(status='refused', error=prep.get('reason'), preparation='; '.join(notes),
                   wall_time_s=seconds)
        return row
    failed = [step for step in screening.STEPS if step in steps
              and steps[step]['status'] == 'failed']
    row['status'] = 'failed' if failed else 'ok'
    if failed:
        row.update(failed_step=failed[0], error=steps[failed[0]]['error'])
    values = {step: record['values'] for step, record in steps.items()
              if record['status'] == 'ok'}
    row['landscape'] = 'gen-cube' in values
    row['gii'] = values.get('cal-bv', {}).get('gii')
    row['sf'] = steps.get('gen-cube', {}).get('values', {}).get('sf')
    dims = (values.get('gh', {}).get('percolation') or {}).get('dims', {})
    for d in (1, 2, 3):
        row[f'barrier_{d}d'] = (dims.get(str(d)) or {}).get('barrier')
    if 'kmc' in steps:
        kmc = steps['kmc'].get('values', {})
        row.update(sigma_S_cm=kmc.get('sigma'), sigma_err=kmc.get('sigma_err'))
        if kmc.get('note'):
            notes.append(kmc['note'])
    row['preparation'] = '; '.join(notes) or 'as given'
    row['wall_time_s'] = round(seconds + sum(r.get('seconds', 0) for r in steps.values()), 2)
    warnings = []
    for step in screening.STEPS:
        for warning in steps.get(step, {}).get('warnings', []):
            if f'{step}: {warning}' not in warnings:
                warnings.append(f'{step}: {warning}')
    row['warnings'] = ' | '.join(warnings) or None
    return row


def status(folder, kmc):
    prep = screening.read_json(os.path.join(folder, 'prepare.json'))
    steps = {}
    for step in screening.STEPS:
        if step == 'kmc' and not kmc:
            continue
        steps[step] = screening.read_json(os.path.join(folder, f'{step}.json'))
    name = os.path.basename(os.path.normpath(folder))
    row = structure_status(name, prep, steps)
    row['steps'] = steps
    screening.write_json(os.path.join(folder, 'status.json'), row)


def cell(value, digits=None):
    if value is None or (isinstance(value, float) and math.isnan(value)):
        return ''
    if digits is not None and isinstance(value, (int, float)):
        return f'{value:.{digits}f}'
    return str(value).replace('|', '\\|').replace('\n', ' ')


def order(rows):
    """ok rows by 3D barrier (none last), then failed, then refused, by name within each."""
    rank = {'ok': 0, 'failed': 1, 'refused': 2}
    return sorted(rows, key=lambda r: (rank.get(r['status'], 3), r['barrier_3d'] is None,
                                       r['barrier_3d'] or 0, r['structure']))


def write_csv(path, rows):
    with open(path, 'w', newline='', encoding='utf-8') as out:
        writer = csv.DictWriter(out, fieldnames=COLUMNS, extrasaction='ignore')
        writer.writeheader()
        for row in sorted(rows, key=lambda r: r['structure']):
            writer.writerow({k: '' if row.get(k) is None else row[k] for k in COLUMNS})


def write_markdown(path, rows):
    ions = sorted({r['ion'] for r in rows if r['ion']})
    counts = {s: sum(r['status'] == s for r in rows) for s in ('ok', 'failed', 'refused')}
    kmc = any(r['sigma_S_cm'] is not None or r['failed_step'] == 'kmc' for r in rows)
    lines = [f'# Screening of {len(rows)} structures for {", ".join(ions) or "?"}', '',
             f'{counts["ok"]} ok, {counts["failed"]} failed, {counts["refused"]} refused. '
             'Barriers in eV above the lowest site energy, the least energy at which the '
             'landscape connects across the cell in one, two and three dimensions.'
             + (' Conductivity by kinetic Monte Carlo at 300 K.' if kmc else ''), '',
             '![Percolation barriers of the structures](barriers.png)', '']
    head = ['structure', 'status', 'GII', 'sf', '1D (eV)', '2D (eV)', '3D (eV)']
    head += ['\u03c3 (S/cm)'] if kmc else []
    head += ['formula', 'space group', 'preparation', 'error', 'landscape']
    lines += ['| ' + ' | '.join(head) + ' |', '|' + '---|' * len(head)]
    for r in order(rows):
        sigma = ('' if r['sigma_S_cm'] is None else
                 f'{r["sigma_S_cm"]:.3g} \u00b1 {r["sigma_err"]:.2g}'
                 if r['sigma_err'] is not None else f'{r["sigma_S_cm"]:.3g}')
        error = f'{r["failed_step"]}: {r["error"]}' if r['failed_step'] else r['error']
        link = f'[plot](structures/{r["structure"]}/landscape.png)' if r.get('landscape') else ''
        fields = [r['structure'], r['status'], cell(r['gii'], 3), cell(r['sf'], 4),
                  cell(r['barrier_1d'], 3), cell(r['barrier_2d'], 3), cell(r['barrier_3d'], 3)]
        fields += [sigma] if kmc else []
        fields += [cell(r['formula']), cell(r['space_group']), cell(r['preparation']),
                   cell(error), link]
        lines.append('| ' + ' | '.join(fields) + ' |')
    warned = [r for r in order(rows) if r.get('warnings')]
    if warned:
        lines += ['', '## Warnings', '']
        lines += [f'- {r["structure"]}: ' + '; '.join(r['warnings'].split(' | ')) for r in warned]
    lines += ['', 'Each structure\'s files are in `structures/NAME/`: the prepared CIFs, the '
              'landscape (cube), the outputs of every command, one JSON record per step and '
              '`status.json`; `logs/` holds what velmar.x printed.', '']
    with open(path, 'w', encoding='utf-8') as out:
        out.write('\n'.join(lines))


def main(argv):
    if len(argv) in (2, 3) and argv[0] == 'status':
        status(argv[1], kmc=argv[2:] == ['--kmc'])
    elif len(argv) >= 3 and argv[0] == 'table':
        rows = [screening.read_json(path) for path in argv[3:]]
        write_csv(argv[1], rows)
        write_markdown(argv[2], rows)
    else:
        print(__doc__, file=sys.stderr)
        return 2
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
