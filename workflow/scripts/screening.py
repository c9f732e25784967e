"""What the rules of the screening workflow share: structure names, the mobile ion's default
oxidation state, running velmar.x and judging its result, and the JSON records of the steps."""
import json
import os
import re
import subprocess
import time

# The usual state of the common mobile ions; others are given with --os.
DEFAULT_STATES = {'H': 1, 'Li': 1, 'Na': 1, 'K': 1, 'Rb': 1, 'Cs': 1, 'Ag': 1, 'Cu': 1, 'Tl': 1,
                  'Mg': 2, 'Ca': 2, 'Sr': 2, 'Ba': 2, 'Zn': 2, 'Pb': 2, 'Al': 3,
                  'F': -1, 'Cl': -1, 'Br': -1, 'I': -1, 'O': -2, 'S': -2}

# The steps after the preparation, in the order they run; each is named after its command.
STEPS = ('cal-bv', 'gen-cube', 'gh', 'sites', 'kmc')


def structure_names(paths):
    """A name for each CIF, from its file name: letters, digits, '.', '_' and '-' only, unique
    (a clash gets _2, _3, ...). Returns {name: path}, in the order of the sorted paths."""
    names = {}
    for path in sorted(paths):
        stem = os.path.splitext(os.path.basename(path))[0]
        base = re.sub(r'[^A-Za-z0-9._-]+', '_', stem).strip('._') or 'structure'
        name, n = base, 1
        while name.lower() in (k.lower() for k in names):
            n += 1
            name = f'{base}_{n}'
        names[name] = path
    return names


def default_state(ion):
    if ion not in DEFAULT_STATES:
        raise ValueError(f'no default oxidation state for {ion}: give it (--os)')
    return DEFAULT_STATES[ion]


def write_json(path, record):
    """Written under a temporary name and renamed: a record that exists is whole."""
    temporary = f'{path}.part'
    with open(temporary, 'w', encoding='utf-8') as out:
        json.dump(record, out, indent=1)
        out.write('\n')
    os.replace(temporary, path)


def read_json(path):
    with open(path, encoding='utf-8') as handle:
        return json.load(handle)


def first_error(text):
    """The first "Error: " line of a run, or ''."""
    return next((line.strip() for line in text.splitlines() if line.startswith('Error:')), '')


def warnings_of(text):
    # velmar.x does not use the number of formula units; its absence is not worth reporting.
    return [line.strip() for line in text.splitlines()
            if line.startswith('Warning:') and '_cell_formula_units_Z' not in line]


class Run:
    """One velmar.x command, run in `folder` with its output kept in folder/logs/LOG.out and
    .err. velmar.x exits 0 after most failures, so the verdict comes from its "Error: " lines and
    from the files it should have written (written under a temporary name and renamed, so a file
    that exists is whole), never from the exit status."""

    def __init__(self, velmar, args, folder, log, threads=1, expect=(), seed=None):
        env = dict(os.environ, OMP_NUM_THREADS=str(threads))
        if seed is not None:
            env['VELMAR_SEED'] = str(seed)
        for name in expect:
            if os.path.exists(os.path.join(folder, name)):
                os.remove(os.path.join(folder, name))
        os.makedirs(os.path.join(folder, 'logs'), exist_ok=True)
        self.command = ' '.join([os.path.basename(velmar)] + [str(a) for a in args])
        start = time.time()
        done = subprocess.run([velmar] + [str(a) for a in args], cwd=folder, env=env,
                              capture_output=True, text=True, errors='replace')
        self.seconds = time.time() - start
        self.stdout, self.stderr, self.status = done.stdout, done.stderr, done.returncode
        for suffix, text in (('out', self.stdout), ('err', self.stderr)):
            with open(os.path.join(folder, 'logs', f'{log}.{suffix}'), 'w') as out:
                out.write(text)
        missing = [name for name in expect if not os.path.exists(os.path.join(folder, name))]
        self.error = first_error(self.stderr) or first_error(self.stdout)
        if not self.error and missing:
            self.error = f'{missing[0]} not written (exit status {self.status})'
        self.warnings = warnings_of(self.stdout + self.stderr)
