#pragma once

// Renumbering of a symmetric sparse structure for a small bandwidth or a small profile. Callable from C, and
// from Fortran by bind(C): every argument goes by address, and nodes and positions are numbered from 1.

#include "frame/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Numbers the nodes of a graph anew: level structures from both ends of a pseudo-diameter, combined, then
/// the Gibbs-Poole-Stockmeyer rule for the bandwidth or the Gibbs-King rule for the profile. What comes back
/// is the best by that measure of the new numbering, for the profile also its reverse, and the caller's; the
/// new one wins ties. In the new numbering isolated nodes come first, then the components, each in one piece;
/// in its reverse they come last.
///
/// With p the numbering, node i has row width max(0, p(i) - p(j)) over its neighbours j. The bandwidth is the
/// largest row width, the profile the sum of them.
/// @param n          nodes; 0 or less: none
/// @param degree     [n] neighbours of each node. Changed at work, but as it was when the call returns; only
///                   a negative entry (error 1) comes back positive
/// @param rowStart   [n] position in connect of each node's first neighbour; not read for degree 0
/// @param connect    neighbours: node i has connect(rowStart(i)) .. connect(rowStart(i) + degree(i) - 1).
///                   Each pair stands with both of its nodes, and no node lists itself
/// @param optimizeProfile 0: for the bandwidth; else: for the profile
/// @param workLength length of work. 6 n + 3 always suffices; from 3 n + 2 * (number of levels) + 1 on it may
/// @param permutation [n] in: permutation(i) is the caller's number of node i, a full numbering, the identity
///                   if there is none; out: the chosen one. Unchanged on error
/// @param work       [workLength] out: (1) .. (n) the nodes in the new order, also if the caller's numbering
///                   won; (n+1) .. (2n) the number of each node in it, before it was reversed
/// @param bandwidth, profile out: those of the chosen numbering; a profile beyond int is reported as its
///                   largest value; -1 on error
/// @param errorCode  out: 0, or
///   1 a negative degree, a row start below 1 or a neighbour outside 1..n;
///   2, 3, 4, 11, 12, 13, 20, 30 .. 35, 40, 41, 51 .. 56, 61 .. 64, 70, 71 the graph is not symmetric, or an
///   invariant of the step with that number is broken;
///   10, 101, 102, 110, 111, 120, 130, 131, 160 work is too short: for the final measurement (10), to begin
///   with (101), after the search (102), in the step with that number
/// @param space      out: on success the elements of work that were needed, which may come out one above
///                   workLength; with errors 10 and 110 to 160 how many more are wanted, an estimate; else
///                   -1, or with 61 to 64 what had been needed so far
/// @return 0
/// Allocates nothing, keeps nothing. Source: Gibbs, Poole, Stockmeyer, SIAM J. Numer. Anal. 13, 236 (1976),
/// and for the order within a level of the profile method King, Int. J. Numer. Meth. Eng. 2, 523 (1970).
CORVIDNUM_API int gpskca(const int* n, int* degree, const int* rowStart, const int* connect,
                         const int* optimizeProfile, const int* workLength, int* permutation, int* work,
                         int* bandwidth, int* profile, int* errorCode, int* space);

#ifdef __cplusplus
}
#endif
