// Quantities derived from the tabulated parameters: the effective softness b of cation-anion pairs,
// the selector c, Morse rmin and d0 with their energy and force at the cut-off, fractional charges,
// the screening factor at which the cell's mean diagonal stress vanishes, the short-range parabolas
// and the species counts. Each returns 0, or 1 after printing why it failed.
#ifndef VELMAR_PROPERTY_DERIVED_H
#define VELMAR_PROPERTY_DERIVED_H

#include "model/velmar-property.h"
#include "structure/velmar-cell.h"

int velmar_property_calculate_effective_b(VELMAR_PROPERTY *ppt, const VELMAR_CELL *cell);
int velmar_property_unitary_derived(VELMAR_PROPERTY *ppt);
int velmar_property_binary_derived(VELMAR_PROPERTY *ppt);
int velmar_property_calculate_fractional_charge(VELMAR_PROPERTY *ppt, const VELMAR_CELL *cell);
int velmar_property_calculate_screening_factor(VELMAR_PROPERTY *ppt, const VELMAR_CELL *cell);
int velmar_property_binary_pseudopotential(VELMAR_PROPERTY *ppt);
int velmar_property_calculate_type_count(VELMAR_PROPERTY *ppt, const VELMAR_CELL *cell);

#endif  // VELMAR_PROPERTY_DERIVED_H
