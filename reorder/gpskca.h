#pragma once

/// @file
/// Renumbering of a symmetric sparse structure for a small bandwidth or a small profile. Callable from C, and
/// from Fortran through bind(C): every argument is passed by address; nodes and positions count from 1.

#include "frame/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Renumbers the nodes of a graph. For each component it finds two pseudo-peripheral nodes, combines their
/// rooted level structures into a narrower one, and numbers the nodes level by level: by the
/// Gibbs-Poole-Stockmeyer rule for a small bandwidth, by the Gibbs-King rule for a small profile. It returns
/// the best by the chosen measure of the new numbering, the caller's and, for the profile, the new one
/// reversed; the new one wins ties. The new numbering has isolated nodes first, then one component after the
/// other; the reversed one has isolated nodes last.
///
/// With p the numbering, the row width of node i is the largest of 0 and p(i) - p(j) over its neighbours j.
/// The bandwidth is the largest row width, the profile the sum of the row widths. Allocates nothing and keeps
/// no state.
/// @param n          number of nodes; 0 or less: none
/// @param degree     [n] number of neighbours of each node. Changed during the call and restored, except that
///                   a negative entry (error 1) comes back positive, and errors 70 and 71 may leave entries
///                   negative
/// @param rowStart   [n] position in connect of each node's first neighbour; not read for degree 0
/// @param connect    neighbours of node i: connect(rowStart(i)) .. connect(rowStart(i) + degree(i) - 1).
///                   Each edge is listed with both of its nodes, and no node lists itself
/// @param optimizeProfile 0: reduce the bandwidth; else: reduce the profile
/// @param workLength length of work. 6 n + 3 always suffices; from 3 n + 2 * (number of levels) + 1 on a
///                   shorter one may suffice
/// @param permutation [n] in: permutation(i) is the caller's number of node i, a complete numbering (the
///                   identity if the caller has none); out: the chosen numbering. Unchanged on error
/// @param work       [workLength] out: (1) .. (n) the nodes in the new order, even if the caller's numbering
///                   was chosen; (n+1) .. (2n) the number of each node in the new order before any reversal
/// @param bandwidth, profile out: those of the chosen numbering; a profile too large for an int is reported
///                   as the largest int; -1 on error
/// @param errorCode  out: 0, or
///   - 1: a negative degree, a row start below 1 or a neighbour outside 1..n;
///   - 2, 3, 4, 11, 12, 13, 20, 30 .. 35, 40, 41, 51 .. 56, 61 .. 64, 70, 71: the graph is not symmetric, or
///   an invariant of the step with that number is broken;
///   - 10, 101, 102, 110, 111, 120, 130, 131, 160: work is too short: for the final measurement (10), to
///   begin with (101), after the search (102), in the step with that number
/// @param space      out: on success the number of elements of work that were needed, which may come out as
///                   workLength + 1; with errors 10 and 110 to 160 an estimate of how many more are needed;
///                   with 61 to 64 what had been needed so far; else -1
/// @return 0
///
/// Source: Gibbs, Poole, Stockmeyer, SIAM J. Numer. Anal. 13, 236 (1976); for the order within a level of the
/// profile method, King, Int. J. Numer. Meth. Eng. 2, 523 (1970).
CORVIDNUM_API int gpskca(const int* n, int* degree, const int* rowStart, const int* connect,
                         const int* optimizeProfile, const int* workLength, int* permutation, int* work,
                         int* bandwidth, int* profile, int* errorCode, int* space);

#ifdef __cplusplus
}
#endif
