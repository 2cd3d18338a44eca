#pragma once

#include "frame/export.h"

/// Seeks a wiring of nodes into one connected graph that leaves as few link ends free as possible; two nodes
/// may share several links. The search is bounded: its figure is that of a wiring it met, not always of the
/// best, and no answer is no proof that there is none. Separate threads may call it at the same time.
/// @param count     nodes
/// @param valencies [count] link ends of each node, 1 to 10; sorted in place into decreasing order
/// @return the fewest free ends met; the valency itself for a single node, whatever it is. -3: no answer: no
///         nodes, a valency out of range (the host gets the error "CompWithNoBond"), no connected wiring met,
///         more than 1023 links (the error "StackOverflow"), or refused memory
CORVIDNUM_API int DataGraph_FreeLinks(unsigned int count, unsigned int* valencies);
