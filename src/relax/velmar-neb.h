// The nudged elastic band between two end structures of the same atoms: a chain of images whose
// free atoms feel the true force perpendicular to the band and spring forces along it, the tangent
// taken from the higher neighbouring image (the improved tangent, energy-weighted at extrema), and
// optionally a climbing image that is driven up along the band to the saddle point. The ends stay
// as given. The band is relaxed by FIRE (velocity steps that turn towards the force and grow while
// the force keeps its direction), no atom moving more than 0.1 A per step. Units: A, eV, eV/A.
// Every array of the record belongs to it; velmar_neb_free releases them.
#ifndef VELMAR_NEB_H
#define VELMAR_NEB_H

#include <cstdint>

#include "model/velmar-property.h"
#include "structure/velmar-cell.h"

struct VELMAR_NEB {
    int32_t total;          // images, both ends included (at least 3)
    int32_t atoms;          // atoms per image
    VELMAR_CELL *cell;      // own copy of the first image: lattice, species, labels; its ignored
                            // flags mark the fixed atoms of every image
    VELMAR_PROPERTY *ppt;   // own copy of the parameter table
    double (*x)[3];         // positions, image i atom a at [i * atoms + a]: cartesian, continuous
                            // along the band (not folded into the cell)
    double (*f)[3];         // -dE/dx at x, zero on fixed atoms
    double (*tangent)[3];   // unit tangent over the free atoms (intermediate images)
    double (*f_spring)[3];  // spring force along the tangent (none on the climbing image)
    double (*f_neb)[3];     // what the band follows: the perpendicular part of f plus f_spring, or
                            // on the climbing image f with its part along the tangent reversed
    double *energy;         // per image
    double *coordinate;     // per image: length of the band from the first image, over all atoms
    double k;               // spring constant, eV/A^2
    bool climbing;          // whether the highest intermediate image climbs
    int32_t climber;        // the climbing image, -1 when none
    int32_t step;           // optimiser steps taken
    double max_force;       // largest |f_neb| of a free atom of an intermediate image
};

// 0 when the (at least 2) images hold the same atoms (count, element, oxidation state, occupancy,
// order) in the same cell; otherwise the first difference is reported, naming image i by names[i]
// when names is not NULL, and 1 is returned.
int velmar_neb_check_images(const VELMAR_CELL *const *images, int32_t total,
                            const char *const *names);
// A band through the given images (copied; positions made continuous image by image under the
// minimum-image convention), checked with velmar_neb_check_images. NULL after the error lines.
VELMAR_NEB *velmar_neb_new(const VELMAR_CELL *const *images, int32_t total,
                           const VELMAR_PROPERTY *ppt, const char *const *names);
// A band of `total` images interpolated linearly between initial and final, each atom along the
// shortest periodic displacement. names (two, or NULL) as above. NULL after the error lines.
VELMAR_NEB *velmar_neb_new_interpolated(const VELMAR_CELL *initial, const VELMAR_CELL *final,
                                        int32_t total, const VELMAR_PROPERTY *ppt,
                                        const char *const *names);
void velmar_neb_free(VELMAR_NEB *neb);
// One line per image: index, coordinate and energy relative to the first image.
void velmar_neb_print(const VELMAR_NEB *neb);

// Energies and forces of every image (the ends too), in parallel over the images, and the
// coordinates. 0 on success.
int velmar_neb_calculate_energy(VELMAR_NEB *neb);
// Tangents, the climbing image, spring and band forces and max_force from the current energies
// and forces. 0 on success.
int velmar_neb_calculate_force(VELMAR_NEB *neb);
// Relaxes the band until max_force is at most f_tol or for `steps` steps (0 only evaluates it);
// sets *converged. Prints progress every ten steps. 0 on success, converged or not.
int velmar_neb_run(VELMAR_NEB *neb, int32_t steps, double f_tol, bool *converged);
// Writes name + ".neb-log.txt" (CSV image,coordinate,energy; energies relative to the first image)
// and the images as name + ".neb.<i>.cif", each announced. 0 on success.
int velmar_neb_export(const VELMAR_NEB *neb, const char *name);

// The command from two ends: the fixed atoms from the initial file's _atom_site_velmar_fixed
// column, the table of the initial structure with the screening factor sf (searched when not above
// 0), `images` images between the ends (default 5 when not above 0), the run and the outputs named
// from initial_cif. Negative steps and non-positive f_tol take the defaults. 0 on success, also
// when the band does not converge (it says so and writes the last band).
int velmar_neb_from_ends(VELMAR_CELL *initial, VELMAR_CELL *final, const char *initial_cif,
                         const char *final_cif, int32_t images, double sf, int32_t steps,
                         double f_tol, bool climbing, const char *dir_unitary,
                         const char *dir_binary);
// The same from the images base + ".<i>.cif", i = 0 .. total - 1 (the fixed atoms from the first),
// the outputs named from base.
int velmar_neb_from_images(VELMAR_CELL *const *cells, int32_t total, const char *base, double sf,
                           int32_t steps, double f_tol, bool climbing, const char *dir_unitary,
                           const char *dir_binary);

// Defaults: images between the ends, step limit, spring constant (eV/A^2).
constexpr int32_t VELMAR_NEB_IMAGES = 5;
constexpr int32_t VELMAR_NEB_STEPS = 1000;
constexpr double VELMAR_NEB_SPRING = 2.0;

#endif  // VELMAR_NEB_H
