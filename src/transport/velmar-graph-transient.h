// Minima too shallow to be sites, taken out of a site graph as transit points. A landscape sampled
// on a grid shows, in its flat regions, minima a voxel or two apart behind barriers of a few meV:
// fragments of one basin or dips on the top of a path, whose number and place depend on how the
// grid falls (Li3N's interstitial region gives 24 minima per formula unit on its hexagonal grid
// and 4 on its orthohexagonal one). As sites they make results depend on the cell setting, and the
// ions spend their hops rattling among them. Merging such a minimum into a neighbour would be
// wrong as well: an ion that reaches it leaves again through any of its exits, back to where it
// came from included. So each cluster of shallow minima is treated as what it is, a region the ion
// crosses: the rate from a site A to a site X through it is the rate from A into the region times
// the probability that the ion, once there, leaves it towards X (an absorbing Markov chain over
// the region, solved exactly). These effective rates keep detailed balance, so each effective hop
// has one saddle energy, the same from both ends. Energies in eV, lengths in A, rates in THz.
#ifndef VELMAR_GRAPH_TRANSIENT_H
#define VELMAR_GRAPH_TRANSIENT_H

#include "transport/velmar-graph.h"

// Depth below which a minimum is not a site, eV: below the size of the landscape features that a
// grid of 0.1 A resolves (a slope of 0.5 eV/A over half a step), and well below kT at room
// temperature (0.026 eV).
constexpr double VELMAR_GRAPH_MIN_SITE_DEPTH = 0.01;

// Attempt frequency of every hop out of vertex v for an ion of mass m (atomic mass units), THz:
// 15.6 sqrt(K / m) with K the site's curvature averaged over all directions (the mean of its
// eigenvalues, eV/A^2, at least 0.001). It does not depend on the hop's direction, so the rates
// keep detailed balance.
double velmar_graph_vertex_frequency(const VELMAR_GRAPH_VERTEX *v, double m);

// A new graph without the minima from which some hop rises less than depth, unless they hold some
// of the structure's conducting ions (occ above 0): clusters of them that wrap around the cell, or
// lead to no site, stay sites as well. Every remaining site keeps its record;
// each hop is one per pair of sites and lattice translation, its rate the sum over all paths
// between them (direct, or through shallow minima) at the temperature given, expressed as the
// saddle energy that gives that rate from the start site's frequency; its saddle point stands at
// the shallow minimum (or saddle point) that carries most of the flux. Occupancies and labels are
// left for the caller. The caller owns the result; NULL after an error line.
VELMAR_GRAPH *velmar_graph_new_without_shallow(const VELMAR_GRAPH *graph, double depth,
                                               double temperature);

#endif  // VELMAR_GRAPH_TRANSIENT_H
