#!/usr/bin/env python3
"""Unit tests of the screening workflow's scripts (workflow/scripts): reading and writing CIFs,
the preparation's pure parts, the parsers of velmar.x's output, the status of a structure and the
cube reader. The CIFs written are read back by velmar.x.

Usage: test_scripts.py VELMAR_X     (exit status 77 when gemmi or pymatgen is missing)
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), '..', '..'))
sys.path.insert(0, os.path.join(ROOT, 'workflow', 'scripts'))
CORPUS = os.path.join(ROOT, 'tests', 'data', 'corpus')
VELMAR = None

try:
    import gemmi  # noqa: F401
    import numpy as np
    import pymatgen.core  # noqa: F401
except ImportError as missing:
    print(f'skipped: {missing}')
    sys.exit(77)

import ciffile  # noqa: E402
import cube  # noqa: E402
import prepare  # noqa: E402
import screening  # noqa: E402
import step  # noqa: E402
import summarize  # noqa: E402


def velmar(*args, cwd=None):
    return subprocess.run([VELMAR] + [str(a) for a in args], capture_output=True, text=True,
                          cwd=cwd)


def velmar_atoms(path):
    """(element, os, occupancy) of every atom velmar.x --print-cell lists."""
    out = velmar('--print-cell', path).stdout
    return [(m[0], int(m[1]), float(m[2])) for m in
            re.findall(r'type=\s*(\w+);os=\s*(-?\d+);x_f=\([^)]*\);occ=(\S+)', out)]


CIF_HEAD = """data_test
_cell_length_a 8.0
_cell_length_b 8.0
_cell_length_c 8.0
_cell_angle_alpha 90
_cell_angle_beta 90
_cell_angle_gamma 90
"""


class ReadingCifs(unittest.TestCase):
    def test_element_and_state_from_type_symbols_and_labels(self):
        self.assertEqual(ciffile.element_of('LI1+', 'X9'), 'Li')
        self.assertEqual(ciffile.element_of('O2-', ''), 'O')
        self.assertEqual(ciffile.element_of('', 'Co1'), 'Co')
        self.assertEqual(ciffile.element_of('', 'Mo (1)'), 'Mo')
        with self.assertRaises(ciffile.Refusal):
            ciffile.element_of('', 'Xx1')
        states = {'Li1+': 1, 'O2-': -2, 'Li+': 1, 'Fe2.5+': 2.5, 'Fe+2': 2, 'Co': None,
                  'Cl-': -1}
        for symbol, state in states.items():
            self.assertEqual(ciffile.state_in_symbol(symbol), state, symbol)

    def test_operations_are_written_with_the_translation_last(self):
        cases = {'3/4-x, 1/4+y, z': '-x+3/4,y+1/4,z', 'x-1/4,y,z': 'x+3/4,y,z',
                 '-y,+z,-x': '-y,z,-x', 'x+0.25,-y+0.5,z': 'x+1/4,-y+1/2,z'}
        for text, expected in cases.items():
            self.assertEqual(ciffile.canonical_operation(text), expected)
        with self.assertRaises(ciffile.Refusal):
            ciffile.canonical_operation('x,y')

    def test_missing_occupancy_and_states_are_none(self):
        text = CIF_HEAD + """_symmetry_space_group_name_H-M 'P 1'
loop_
_atom_site_label
_atom_site_fract_x
_atom_site_fract_y
_atom_site_fract_z
Li1 0 0 0
O1 0.5 0.5 0.5
"""
        structure = ciffile.read_structure(gemmi.cif.read_string(text).sole_block())
        self.assertEqual([s['element'] for s in structure['sites']], ['Li', 'O'])
        self.assertTrue(all(s['occupancy'] is None and s['state'] is None
                            for s in structure['sites']))

    def test_refusals_name_what_is_missing(self):
        no_sites = CIF_HEAD + "_symmetry_space_group_name_H-M 'P 1'\n"
        with self.assertRaisesRegex(ciffile.Refusal, 'no atom sites'):
            ciffile.pick_block(gemmi.cif.read_string(no_sites))
        no_cell = "data_x\n_cell_length_a 4\nloop_\n_atom_site_label\n_atom_site_fract_x\n" \
                  "_atom_site_fract_y\n_atom_site_fract_z\nLi1 0 0 0\n"
        with self.assertRaisesRegex(ciffile.Refusal, 'cell'):
            ciffile.read_structure(gemmi.cif.read_string(no_cell).sole_block())


class WritingCifs(unittest.TestCase):
    def setUp(self):
        self.tmp = tempfile.mkdtemp()

    def tearDown(self):
        shutil.rmtree(self.tmp)

    def test_origin_choice_1_spinel_keeps_its_composition_in_velmar(self):
        # Its operations are written "3/4-x", ...: rewritten, velmar.x still finds 16 Ti.
        structure, _ = ciffile.read_file(
            os.path.join(CORPUS, 'LiTi2O4_spinel_AMCSD_origin1_no_occ.cif'))
        for site, state in zip(structure['sites'], (1, 3.5, -2)):
            site['state'] = state
        path = os.path.join(self.tmp, 'LiTi2O4.cif')
        ciffile.write_cif(path, structure)
        atoms = velmar_atoms(path)
        count = {el: sum(occ for e, _, occ in atoms if e == el) for el in ('Li', 'Ti', 'O')}
        self.assertEqual(count, {'Li': 8, 'Ti': 16, 'O': 32})
        # The mixed-valence Ti3.5+ is read as Ti3+ and Ti4+ halves.
        self.assertEqual(sorted({(os_, occ) for e, os_, occ in atoms if e == 'Ti'}),
                         [(3, 0.5), (4, 0.5)])

    def test_states_and_occupancies_reach_velmar(self):
        structure = {'name': 'x y', 'cell': [4, 4, 4, 90, 90, 90], 'z': None, 'symmetry': [],
                     'space_group': {'_symmetry_space_group_name_H-M': 'P 1'},
                     'sites': [{'label': 'Li1', 'element': 'Li', 'state': 1, 'x': 0, 'y': 0,
                                'z': 0, 'occupancy': 0.5},
                               {'label': 'F1', 'element': 'F', 'state': -1, 'x': 0.5,
                                'y': 0.5, 'z': 0.5, 'occupancy': None}]}
        path = os.path.join(self.tmp, 'LiF.cif')
        ciffile.write_cif(path, structure)
        self.assertEqual(velmar_atoms(path), [('Li', 1, 0.5), ('F', -1, 1.0)])
        # Without every state, none is written: velmar.x then warns instead of mixing.
        structure['sites'][1]['state'] = None
        ciffile.write_cif(path, structure)
        with open(path) as written:
            self.assertNotIn('_atom_type_oxidation_number', written.read())


class Preparation(unittest.TestCase):
    STRUCTURE = {'sites': [
        {'label': 'Li1', 'element': 'Li', 'state': 1, 'occupancy': 0.5},
        {'label': 'Li2', 'element': 'Li', 'state': 1, 'occupancy': 1.0},
        {'label': 'Co1', 'element': 'Co', 'state': 3, 'occupancy': 1.0},
        {'label': 'Li3', 'element': 'Li', 'state': 0, 'occupancy': 0.3}]}

    def test_only_the_mobile_ions_sites_change_in_a_copy(self):
        copy = prepare.with_mobile_occupancy(self.STRUCTURE, 'Li', 1, 0.95)
        self.assertEqual([s['occupancy'] for s in copy['sites']], [0.95, 0.95, 1.0, 0.3])
        self.assertEqual(self.STRUCTURE['sites'][0]['occupancy'], 0.5)

    def test_composition_difference_names_the_elements(self):
        self.assertEqual(prepare.composition_difference({'Ti': 16, 'O': 32},
                                                        {'Ti': 16.001, 'O': 32}), '')
        self.assertEqual(prepare.composition_difference({'Ti': 32, 'O': 32}, {'Ti': 16, 'O': 32}),
                         'Ti 32 against 16')
        self.assertEqual(prepare.composition_difference({'O': 2}, {'O': 2, 'H': 1}),
                         'H 0 against 1')

    def test_space_group_from_hall_symbol_or_number(self):
        self.assertEqual(prepare.space_group(
            {'symmetry': [], 'space_group': {'_space_group_name_Hall': '-P 2ybc'}}), 'P 1 21/c 1')
        self.assertEqual(prepare.space_group(
            {'symmetry': [], 'space_group': {'_space_group_IT_number': '62'}}), 'P n m a')

    def test_names_are_sanitised_and_unique(self):
        names = screening.structure_names(['/d/a b.cif', '/d/a_b.cif', '/d/A+B.cif', '/d/+.cif'])
        self.assertEqual(names, {'structure': '/d/+.cif', 'A_B': '/d/A+B.cif',
                                 'a_b_2': '/d/a b.cif', 'a_b_3': '/d/a_b.cif'})


GH = """GH: landscape minimum -0.987614 eV; 13824 of 13824 voxels passable (below 999.9).
GH: dimension  threshold(eV)  barrier(eV)     voxels  directions
GH:        1D      -0.801212     0.186402        666  [1 0 0] [0 1 0]
GH:        2D      -0.801212     0.186402        666  [1 0 0] [0 1 0]
GH:        3D           none         none          -  -
"""
KMC = ("KMC: conductivity = 6.76e+00, (3.55e+00, 3.21e+00, 3.13e-04) S/cm\n"
       "KMC: conductivity of the blocks = 6.56e+00 +/- 8.0e-02, (3.29e+00 +/- 5.7e-02, "
       "3.27e+00 +/- 4.4e-02, 3.02e-04 +/- 2.1e-04) S/cm (mean and standard error).\n")
SITES = (
    'SITES: 89 minima of Li1+ (mass 6.941 u) in 2 symmetry classes; energies above the lowest'
    ' (-0.987614 eV).\n'
    'SITES: site label          energy mult       x       y       z    occ       k1       k2'
    '       k3 freq(THz)       out        1D        2D        3D\n'
    'SITES:    1 Mo (1)       0.000000    2  0.3333  0.6667  0.0000  1.000    0.676    1.687'
    '    1.687     4.867  0.163698  0.186402  0.186402      none\n'
    'SITES:    2 i1           0.152708   12  0.0833  0.5417  0.1250  0.000   -0.835    0.902'
    '   13.056     0.000  0.010990  0.186402  0.186402      none\n')


class Parsers(unittest.TestCase):
    def test_percolation_table_with_a_missing_dimension(self):
        table = step.parse_gh(GH)
        self.assertEqual(table['minimum'], -0.987614)
        self.assertEqual(table['dims'][1]['barrier'], 0.186402)
        self.assertEqual(table['dims'][2]['directions'], '[1 0 0] [0 1 0]')
        self.assertIsNone(table['dims'][3])
        self.assertIsNone(step.parse_gh(GH.replace('GH:        3D', 'GH: 3D gone')))

    def test_conductivity_of_the_blocks_not_of_the_run(self):
        kmc = step.parse_kmc(KMC)
        self.assertEqual((kmc['sigma'], kmc['sigma_err']), (6.56, 0.08))
        self.assertEqual(kmc['sigma_axes'], [3.29, 3.27, 3.02e-4])
        self.assertEqual(kmc['sigma_axes_err'], [0.057, 0.044, 2.1e-4])
        self.assertIsNone(step.parse_kmc(KMC.splitlines()[0]))

    def test_site_table_with_a_label_holding_a_space(self):
        sites = step.parse_sites(SITES)
        self.assertEqual(sites['minima'], 89)
        self.assertEqual([c['label'] for c in sites['classes']], ['Mo (1)', 'i1'])
        self.assertEqual(sites['classes'][1]['multiplicity'], 12)
        self.assertIsNone(sites['classes'][0]['barrier_3d'])

    def test_screening_factor_and_gii(self):
        text = ('Message: calculating sf= 0.65000; p=-0.09024 (conv: sf= 0.10000; p=-0.09024)\n'
                'Message: final screening factor = 0.588281\nMessage: sf=0.588281\n')
        self.assertEqual(step.parse_sf(text), 0.588281)
        self.assertIsNone(step.parse_sf('Message: calculating sf= 0.65000;'))
        self.assertEqual(step.parse_gii('GII: Global instability index = 0.335729\n'), 0.335729)
        self.assertEqual(screening.first_error('Message: a\nError: b c.\nError: d\n'),
                         'Error: b c.')


def record(status, error='', **values):
    return {'status': status, 'error': error, 'warnings': [], 'seconds': 1.0, 'values': values}


class StructureStatus(unittest.TestCase):
    PREP = {'status': 'ok', 'ion': 'Li1+', 'formula': 'Li3N', 'space_group': 'P 6/m m m',
            'notes': ['occupancy 1 added'], 'seconds': 2.0}

    def test_the_first_failed_step_is_named(self):
        steps = {'cal-bv': record('ok', gii=0.3), 'gen-cube': record('ok', sf=0.6),
                 'gh': record('failed', 'Error: gh broke.'),
                 'sites': record('failed', 'Error: sites broke.'),
                 'kmc': record('skipped', 'no landscape')}
        row = summarize.structure_status('x', self.PREP, steps)
        self.assertEqual((row['status'], row['failed_step'], row['error']),
                         ('failed', 'gh', 'Error: gh broke.'))
        self.assertEqual((row['gii'], row['sf'], row['barrier_3d']), (0.3, 0.6, None))
        self.assertEqual(row['wall_time_s'], 7.0)

    def test_ok_structure_with_kmc(self):
        dims = {'1': {'barrier': 0.1}, '2': {'barrier': 0.2}, '3': None}
        steps = {'cal-bv': record('ok', gii=0.3), 'gen-cube': record('ok', sf=0.6),
                 'gh': record('ok', percolation={'minimum': -1, 'dims': dims}),
                 'sites': record('ok'),
                 'kmc': record('ok', sigma=2.0, sigma_err=0.1, note='KMC with 0.05 empty')}
        row = summarize.structure_status('x', self.PREP, steps)
        self.assertEqual(row['status'], 'ok')
        self.assertEqual([row[f'barrier_{d}d'] for d in (1, 2, 3)], [0.1, 0.2, None])
        self.assertEqual(row['preparation'], 'occupancy 1 added; KMC with 0.05 empty')
        self.assertEqual((row['sigma_S_cm'], row['sigma_err']), (2.0, 0.1))

    def test_refused_structure_carries_the_reason(self):
        prep = dict(self.PREP, status='refused', reason='no Li in the structure')
        row = summarize.structure_status('x', prep, {})
        self.assertEqual((row['status'], row['error']), ('refused', 'no Li in the structure'))
        self.assertEqual(list(summarize.COLUMNS[:7]), ['structure', 'status', 'gii', 'sf',
                                                       'barrier_1d', 'barrier_2d', 'barrier_3d'])


class CubeReader(unittest.TestCase):
    def test_velmar_landscape_in_angstrom_with_the_last_axis_fastest(self):
        with tempfile.TemporaryDirectory() as tmp:
            shutil.copy(os.path.join(ROOT, 'examples', 'Li3N.cif'), tmp)
            velmar('--gen-cube', 'Li3N.cif', 'Li', 1, 0, 0.3, cwd=tmp)
            path = os.path.join(tmp, 'Li3N.cif.cube')
            data = cube.read_cube(path)
            printed = velmar('--print-cube', path).stdout
            size = re.search(r'cube size = (\d+) \* (\d+) \* (\d+)', printed).groups()
            vectors = re.findall(r'CUBE:\s+(-?\d+\.\d+)\s+(-?\d+\.\d+)\s+(-?\d+\.\d+)', printed)
            self.assertEqual(data['counts'], [int(n) for n in size])
            np.testing.assert_allclose(data['lattice'], np.array(vectors[:3], float), atol=2e-5)
            np.testing.assert_allclose(data['steps'], np.array(vectors[3:6], float), atol=2e-6)
            self.assertEqual(sorted(data['atoms']), [3, 3, 3, 7])
            # The value at voxel (0, 0, 1) is the second in the file.
            with open(path) as written:
                lines = written.read().splitlines()
            values = [float(v) for v in lines[6 + 4:6 + 4 + 2]]
            self.assertEqual(values, [data['values'][0, 0, 0], data['values'][0, 0, 1]])
            minimum = re.search(r'landscape minimum (\S+) eV', velmar('--gh', path).stdout)
            self.assertAlmostEqual(data['values'].min(), float(minimum.group(1)), places=6)


if __name__ == '__main__':
    if len(sys.argv) < 2:
        print(__doc__, file=sys.stderr)
        sys.exit(2)
    VELMAR = os.path.abspath(sys.argv.pop(1))
    unittest.main()
