// The flow-path map of a landscape on its own voxel grid: each voxel's 26 neighbours are grouped
// into connected rising and falling regions; voxels are classified (minimum, saddle point, slope,
// maximum) and know the steepest neighbour of each region; half paths descend from every saddle
// point along the steepest falling neighbours to a minimum (or another saddle point). Voxels are
// stored flat, (i, j, k) at (i n[1] + j) n[2] + k, and refer to one another by flat index.
// Records returned belong to the caller.
#ifndef VELMAR_FPCUBE_H
#define VELMAR_FPCUBE_H

#include <cstdint>

#include "landscape/velmar-cube.h"
#include "structure/velmar-cell.h"

enum fpdot_type {
    FP_UND = 0,
    FP_NOR = 1,
    FP_MIN = 2,
    FP_MAX = 3,
    FP_SAD = 4,
    FP_PAT = 5,
    FP_ERR = 6
};

struct VELMAR_FPDOT {
    double en;           // landscape value
    int32_t x_i[3];      // voxel index
    int8_t type;         // fpdot_type
    int8_t total_up;     // number of rising regions
    int8_t total_dn;     // number of falling regions
    int8_t cluster[27];  // region label of each neighbour (p, q, s order): > 0 rising, < 0 falling
    int32_t up[8];       // flat index of the highest neighbour of each rising region, -1 for none
    int32_t dn[8];       // flat index of the lowest neighbour of each falling region, -1 for none
};

struct VELMAR_FPCUBE {
    VELMAR_FPDOT *dot;  // n[0] n[1] n[2] dots
    double a[3][3];
    double a_i[3][3];
    int32_t n[3];
};

struct VELMAR_FPHALF {
    int32_t total;   // number of dots
    int32_t *dot;    // flat indices: dot[0] the saddle point, the last the end point
    double barrier;  // en of the first dot minus en of the last
};

struct VELMAR_FPHALF_LIST {
    int32_t total;
    VELMAR_FPHALF *half;
    const VELMAR_FPCUBE *fpcube;  // the map whose dots the halves index (not owned)
};

VELMAR_FPCUBE *velmar_fpcube_new(long n0, long n1, long n2);
// The map of a landscape: every voxel clustered, classified and branched.
VELMAR_FPCUBE *velmar_fpcube_new_from_cube(const VELMAR_CUBE *cube);
void velmar_fpcube_free(VELMAR_FPCUBE *fpcube);
void velmar_fpcube_clear_type(VELMAR_FPCUBE *fpcube);
// Marker atoms: minima "MIN"/Li, saddle points "SAD1"/Na, "SAD2"/K, "SAD3"/Cs, path voxels
// "PAT"/H, in voxel order.
VELMAR_CELL *velmar_fpcube_export_to_cell(const VELMAR_FPCUBE *fpcube);
// The whole map written as CIF; only paths with barrier up to barrier_max when it is above 0.
int velmar_fpcube_export_cif_to_file(const VELMAR_CUBE *cube, double barrier_max,
                                     const char *filename);
// The three steps for one voxel (index taken modulo n).
void velmar_fpdot_cluster(VELMAR_FPCUBE *fpcube, const long x_i[3]);
void velmar_fpdot_classify(VELMAR_FPCUBE *fpcube, const long x_i[3]);
void velmar_fpdot_branch(VELMAR_FPCUBE *fpcube, const long x_i[3]);
// In a 5 x 5 x 5 label array, replaces the larger of two labels by the smaller within the core.
void velmar_fpdot_merge_cluster(int label[5][5][5], int c1, int c2);
bool velmar_fpdot_equal(const VELMAR_FPDOT *a, const VELMAR_FPDOT *b);
// Cartesian position of a dot, A.
void velmar_fpdot_position(double x[3], const VELMAR_FPCUBE *fpcube, const VELMAR_FPDOT *dot);

VELMAR_FPHALF_LIST *velmar_fphalf_list_new_empty();
// The halves of one saddle point, one per falling region. NULL on failure.
VELMAR_FPHALF_LIST *velmar_fphalf_list_new(const VELMAR_FPCUBE *fpcube, const long x_i[3]);
// The halves of every saddle point.
VELMAR_FPHALF_LIST *velmar_fphalf_list_new_from_fpcube(const VELMAR_FPCUBE *fpcube);
// Moves the halves of list to the end of master and releases list. 0 on success.
int velmar_fphalf_list_merge(VELMAR_FPHALF_LIST *master, VELMAR_FPHALF_LIST *list);
// Keeps the halves whose barrier is at most en (nothing done for en below 0). 0 on success.
int velmar_fphalf_list_filter(VELMAR_FPHALF_LIST *list, double en);
// Marks the slope voxels of the halves as path voxels.
void velmar_fphalf_list_label_path(const VELMAR_FPHALF_LIST *list, VELMAR_FPCUBE *fpcube);
void velmar_fphalf_list_free(VELMAR_FPHALF_LIST *list);

#endif  // VELMAR_FPCUBE_H
