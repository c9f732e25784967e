// The site graph of a conducting ion: vertices are the minima of its energy landscape (sites),
// and every migration path through a first-order saddle point is a pair of opposite directed edges
// carrying the saddle energy, the barrier from the start site, the hop length, the direction and
// the lattice translation crossed. Built from the flow-path half list and the Fourier landscape, it
// is annotated from the structure with occupancies and site labels. Lengths in A, energies in eV.
#ifndef VELMAR_GRAPH_H
#define VELMAR_GRAPH_H

#include <vector>

#include "analysis/velmar-fft.h"
#include "analysis/velmar-fpcube.h"
#include "model/velmar-property.h"
#include "structure/velmar-cell.h"

struct VELMAR_GRAPH_EDGE;

struct VELMAR_GRAPH_VERTEX {
    char name[12];             // site label, "" while unlabelled
    long x_i[3];               // grid indices of the minimum
    double x[3];               // cartesian position of the minimum
    double occ;                // share of the conducting ion's occupancy, 0..1
    double eig[3];             // eigenvalues of the landscape's second derivatives there
    double eiv[3][3];          // the matching eigenvectors (rows)
    double en;                 // landscape energy
    long index;                // position in the graph's vertex array
    int total_e;               // edges starting here
    VELMAR_GRAPH_EDGE **e;     // those edges (the array is owned, not the edges)
    long site;                 // equivalence class (0 = unassigned)
    VELMAR_GRAPH_VERTEX *sub;  // in a derived graph: the vertex of the source graph
    bool visited;              // scratch flag for traversals
    VELMAR_GRAPH_VERTEX *v_b;  // scratch back-pointer for traversals
};

struct VELMAR_GRAPH_EDGE {
    long x_i[3];               // grid indices of the saddle point
    double x[3];               // cartesian position of the saddle point
    double en;                 // saddle energy
    double l;                  // hop length (minimum-image distance of the ends)
    long index;                // position in the graph's edge array
    VELMAR_GRAPH_VERTEX *v_i;  // start
    VELMAR_GRAPH_VERTEX *v_f;  // end
    VELMAR_GRAPH_EDGE *e_r;    // the reverse edge
    double barrier;            // en minus the start's en
    int bound[3];              // cells crossed from start to end: bound_i + bound_f
    int bound_i[3];            // from the start to the saddle
    int bound_f[3];            // from the saddle to the end
    double dir[3];             // unit vector from the nearest image of the start to the saddle
    long index_half;           // the half path this edge was made from
    VELMAR_GRAPH_EDGE *sub;    // in a derived graph: the edge of the source graph
};

struct VELMAR_GRAPH {
    long total_v;
    long total_e;  // directed edges
    VELMAR_GRAPH_VERTEX *v;
    VELMAR_GRAPH_EDGE *e;
    long n[3];         // landscape grid
    double a_i[3][3];  // grid steps
    double a[3][3];    // lattice vectors
    double volume;     // A^3
    char type[3];      // conducting element
    int os;            // its oxidation state
    double m;          // its mass
    double c;          // carrier concentration, total_occ / volume, A^-3
    double total_occ;  // occupancy of the conducting species in the structure
};

// A zeroed graph with arrays for the given counts (absent for 0). NULL on failure.
VELMAR_GRAPH *velmar_graph_new(long total_v, long total_e);
void velmar_graph_free(VELMAR_GRAPH *graph);
// The graph of a landscape's flow paths, annotated from the structure. NULL on failure.
VELMAR_GRAPH *velmar_graph_new_filled(const VELMAR_FPHALF_LIST *list, const VELMAR_FFT *fft,
                                      const VELMAR_CELL *cell, const VELMAR_PROPERTY *ppt);
// Shares of the conducting ion's occupancy on the sites. 0 on success.
int velmar_graph_assign_occ(VELMAR_GRAPH *graph, const VELMAR_CELL *cell);
// Site labels from the structure, interstitial names and energy classes. 0 on success.
int velmar_graph_assign_label(VELMAR_GRAPH *graph, const VELMAR_CELL *cell);
void velmar_graph_print(const VELMAR_GRAPH *graph);

// Periodic point operations.
// True when the grid points are within one step on every axis (wrap included).
bool velmar_dot_adjacent(const long x_i1[3], const long x_i2[3], const long n[3]);
// The smallest distance between x2 and the 27 images of x1 by -1, 0, 1 lattice translations.
double velmar_dot_distance(const double x1[3], const double x2[3], const double a[3][3]);
// Unit vector to x2 from the image of x1 nearest to it.
void velmar_dot_direction(double dir[3], const double x1[3], const double x2[3],
                          const double a[3][3]);
// Copies x1 (the images are compared but x1 itself is what is kept).
void velmar_dot_pivot(double out[3], const double x1[3], const double x2[3], const double a[3][3]);

namespace velmar::detail {

// An edge before the records are linked: its attributes and the indices of its two ends.
struct GraphEdgeDraft {
    VELMAR_GRAPH_EDGE edge;
    long from;
    long to;
};

// Fills an empty graph's arrays: the vertices as given (index set to their position), the edges in
// order with edges 2k and 2k + 1 each other's reverse, and every vertex's list of the edges that
// start there. 0, or 1 after an error line.
int graph_assemble(VELMAR_GRAPH &graph, const std::vector<VELMAR_GRAPH_VERTEX> &vertices,
                   const std::vector<GraphEdgeDraft> &edges);
// A new empty graph over the same grid, cell and conducting species as from (no vertices or
// edges). NULL after an error line.
VELMAR_GRAPH *graph_new_like(const VELMAR_GRAPH &from);

}  // namespace velmar::detail

#endif  // VELMAR_GRAPH_H
