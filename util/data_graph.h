#pragma once

/// @file
/// Search for a multigraph whose nodes have given valencies.

#include "frame/export.h"

/// Returns how few link ends stay free when nodes of given valencies are linked into one connected graph, in
/// which two nodes may share several links. A depth-first search with backtracking and a bounded effort finds
/// it: the result is the best that the search met and may not be the optimum, and -3 does not prove that
/// there is no such graph. Separate threads may call it at the same time.
/// @param count     number of nodes
/// @param valencies [count] link ends of each node, 1 to 10; sorted in place into decreasing order
/// @return the fewest free link ends met; for a single node its valency, which is not tested. -3 if there are
///         no nodes, a valency is out of range (the host gets the error "CompWithNoBond"), no connected graph
///         was met, the graph takes more than 1023 links (the error "StackOverflow"), or memory was refused
CORVIDNUM_API int DataGraph_FreeLinks(unsigned int count, unsigned int* valencies);
