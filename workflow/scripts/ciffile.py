"""The sites of a CIF data block as velmar.x needs them, and a plain CIF writer.

A structure here is a dict: name, cell (a b c alpha beta gamma), z (formula units per cell as
written, or None), symmetry (the symmetry operations in a canonical form, or empty), space_group
(the H-M, Hall and number items as written) and sites, each a dict: label, element, state
(oxidation state or None), x, y, z, occupancy.
"""
import math
import re
from fractions import Fraction

import gemmi

SITE_TAGS = ['fract_x', 'fract_y', 'fract_z', '?label', '?type_symbol', '?occupancy']
SYMOP_TAGS = ('_space_group_symop_operation_xyz', '_symmetry_equiv_pos_as_xyz')
GROUP_TAGS = ('_symmetry_space_group_name_H-M', '_space_group_name_H-M_alt',
              '_symmetry_space_group_name_Hall', '_space_group_name_Hall',
              '_symmetry_Int_Tables_number', '_space_group_IT_number')
CELL_TAGS = ('_cell_length_a', '_cell_length_b', '_cell_length_c',
             '_cell_angle_alpha', '_cell_angle_beta', '_cell_angle_gamma')
# "Li1+", "O2-", "Li+", "Fe2.5+", and the rarer "Fe+2"
CHARGED = re.compile(r'^[A-Za-z]+(\d+(?:\.\d+)?)?([+-])(\d+(?:\.\d+)?)?$')


class Refusal(Exception):
    """A file that cannot be prepared, with the reason."""


def is_element(symbol):
    return gemmi.Element(symbol).atomic_number > 0 and symbol not in ('D', 'X')


def element_of(type_symbol, label):
    """The element of a site: from its type symbol ("LI1+", "Co"), else from its label ("Co1")."""
    if type_symbol:
        letters = re.match(r'[A-Za-z]*', type_symbol.lstrip('0123456789')).group(0)
        candidates = [letters[:2].capitalize(), letters[:1].upper()]
    else:
        letters = re.match(r'[A-Z][a-z]?', label or '')
        candidates = [letters.group(0), letters.group(0)[:1]] if letters else []
    for candidate in candidates:
        if candidate and is_element(candidate):
            return candidate
    raise Refusal(f'no element in type symbol {type_symbol!r} or label {label!r}')


def state_in_symbol(type_symbol):
    """The oxidation state written in a type symbol, None without one."""
    match = CHARGED.match(type_symbol or '')
    if not match:
        return None
    digits = match.group(1) or match.group(3) or '1'
    value = float(digits)
    return -value if match.group(2) == '-' else value


def canonical_operation(text):
    """A symmetry operation with its translation last, in [0, 1) and as a fraction: "3/4-x"
    becomes "-x+3/4" and "x-0.25" becomes "x+3/4", the form every CIF reader agrees on."""
    fractions = re.sub(r'\d*\.\d+',
                       lambda m: str(Fraction(m.group(0)).limit_denominator(12)), text)
    try:
        return gemmi.Op(fractions).wrap().triplet()
    except (RuntimeError, ValueError):
        raise Refusal(f'symmetry operation not understood: {text!r}') from None


def number(text, what):
    value = gemmi.cif.as_number(text)
    if math.isnan(value):
        raise Refusal(f'{what} is not a number: {text!r}')
    return value


def pick_block(doc):
    """The first data block with atom sites, and a note when the file holds several blocks."""
    blocks = [b for b in doc if b.find_value('_atom_site_fract_x') is not None
              or len(b.find_values('_atom_site_fract_x'))]
    if not blocks:
        raise Refusal('no atom sites with fractional coordinates (_atom_site_fract_x)')
    note = f'data block {blocks[0].name} (1 of {len(blocks)})' if len(blocks) > 1 else ''
    return blocks[0], note


def read_structure(block):
    """The structure of a gemmi data block, states as the file gives them (None where absent)."""
    cell = [number(block.find_value(tag), tag) if block.find_value(tag) else math.nan
            for tag in CELL_TAGS]
    if any(math.isnan(v) for v in cell):
        raise Refusal('the cell lengths and angles are incomplete')
    z = gemmi.cif.as_number(block.find_value('_cell_formula_units_Z') or '?')
    symmetry = []
    for tag in SYMOP_TAGS:
        values = block.find_values(tag)
        if len(values):
            symmetry = [canonical_operation(gemmi.cif.as_string(v)) for v in values]
            break
    space_group = {tag: gemmi.cif.as_string(block.find_value(tag))
                   for tag in GROUP_TAGS if block.find_value(tag) is not None}
    states = {}
    for row in block.find('_atom_type_', ['symbol', 'oxidation_number']):
        value = gemmi.cif.as_number(row[1])
        if not math.isnan(value):
            states[gemmi.cif.as_string(row[0])] = value
    table = block.find('_atom_site_', SITE_TAGS)
    if not table.has_column(3) and not table.has_column(4):
        raise Refusal('the atom sites have neither labels nor type symbols')
    sites = []
    for n, row in enumerate(table):
        label = gemmi.cif.as_string(row[3]) if row.has(3) else ''
        symbol = gemmi.cif.as_string(row[4]) if row.has(4) else ''
        element = element_of(symbol, label)
        occupancy = gemmi.cif.as_number(row[5]) if row.has(5) else math.nan
        sites.append({
            'label': label or f'{element}{n + 1}',
            'element': element,
            'state': states.get(symbol, state_in_symbol(symbol)) if symbol else None,
            'x': number(row[0], 'fract_x'), 'y': number(row[1], 'fract_y'),
            'z': number(row[2], 'fract_z'),
            'occupancy': None if math.isnan(occupancy) else occupancy})
    if not sites:
        raise Refusal('no atom sites')
    if not symmetry and not space_group:
        raise Refusal('no symmetry operations, space-group symbol or number')
    return {'name': block.name, 'cell': cell, 'z': int(z) if z > 0 and z == int(z) else None,
            'symmetry': symmetry,
            'space_group': space_group, 'sites': sites}


def read_file(path):
    """The structure of a CIF file and a note on what was read (block choice)."""
    doc = gemmi.cif.Document()
    try:
        doc.parse_file(path)
    except (RuntimeError, ValueError) as error:
        raise Refusal(f'CIF syntax: {error}') from None
    block, note = pick_block(doc)
    return read_structure(block), note


def type_symbol(element, state):
    if state is None:
        return element
    size = abs(state)
    text = str(int(size)) if size == int(size) else f'{size:g}'
    return f'{element}{text}{"-" if state < 0 else "+"}'


def quoted(text):
    return gemmi.cif.quote(str(text))


def fmt(value):
    return repr(float(value))


def write_cif(path, structure, comment=''):
    """A CIF that velmar.x reads: the cell, the symmetry as given, a type loop with the oxidation
    states (when every site has one) and the sites with their type symbols and occupancies."""
    s = structure
    lines = [f'# {comment}'] if comment else []
    lines.append(f'data_{re.sub(r"[^A-Za-z0-9_.+-]", "_", s["name"]) or "structure"}')
    for tag, value in zip(CELL_TAGS, s['cell']):
        lines.append(f'{tag} {fmt(value)}')
    if s.get('z'):
        lines.append(f'_cell_formula_units_Z {s["z"]}')
    for tag, value in s['space_group'].items():
        lines.append(f'{tag} {quoted(value)}')
    if s['symmetry']:
        lines += ['loop_', '_symmetry_equiv_pos_as_xyz']
        lines += [quoted(op) for op in s['symmetry']]
    with_states = all(site['state'] is not None for site in s['sites'])
    if with_states:
        lines += ['loop_', '_atom_type_symbol', '_atom_type_oxidation_number']
        seen = {}
        for site in s['sites']:
            seen[type_symbol(site['element'], site['state'])] = site['state']
        lines += [f'{symbol} {state:g}' for symbol, state in seen.items()]
    lines += ['loop_', '_atom_site_label', '_atom_site_type_symbol', '_atom_site_fract_x',
              '_atom_site_fract_y', '_atom_site_fract_z', '_atom_site_occupancy']
    for site in s['sites']:
        symbol = type_symbol(site['element'], site['state'] if with_states else None)
        occupancy = 1.0 if site['occupancy'] is None else site['occupancy']
        lines.append(f'{quoted(site["label"])} {symbol} {fmt(site["x"])} {fmt(site["y"])} '
                     f'{fmt(site["z"])} {fmt(occupancy)}')
    with open(path, 'w', encoding='utf-8') as out:
        out.write('\n'.join(lines) + '\n')
