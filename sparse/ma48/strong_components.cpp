// Finds the strongly connected components of a directed graph by one depth-first search with low links,
// without recursion. Components are numbered as they are completed, so each one is placed behind all that it
// reaches: read backwards, that is the topological order that makes a matrix block triangular.
//
// Always true between two steps: the stack holds the visited nodes whose component is not complete; low(v) is
// the least stack height that v is known to reach; v is the root of a component exactly if low(v) = number(v)
// when all its edges are followed. Source: R. E. Tarjan, SIAM J. Comput. 1 (1972); I. S. Duff and J. K. Reid,
// ACM Trans. Math. Softw. 4 (1978).

#include <algorithm>

#include "frame/one_based.h"
#include "sparse/ma48/kernels.h"

namespace corvidnum {
namespace {

struct StrongComponents {
  const int n;
  const OneBased<const int> starts, lengths;  // IP, LENR
  const int* const targets;                   // ICN, from element 1
  const OneBased<int> left;                   // IOR, during the search: edges not yet followed, less one
  /// IB: starts of components from the bottom, the stack from the top down. They never meet: a component
  /// takes one place, and each of its nodes has freed one.
  const OneBased<int> start_or_stack;
  const OneBased<int> low;     // LOWL; n + 1 for a node whose component is known
  const OneBased<int> number;  // NUMB: the height of the stack at the visit, later the place; 0: not visited
  const OneBased<int> parent;  // PREV
  int components = 0;          // NUM
  int placed = 0;              // ICNT: nodes whose component is known
  int height = 0;              // IST: nodes on the stack

  void clear();             // marks all nodes as not visited
  void search(int root);    // places all nodes that `root` reaches
  void visit(int node);     // pushes `node` onto the stack
  int unvisited(int node);  // returns the next target not visited yet, or 0; lowers low(node) by the others
  void pop_component(int node);  // places the nodes of the stack down to `node` as one component
  void order();                  // fills IOR with the nodes in the order of their places
};

void StrongComponents::clear() {
  for (int j = 1; j <= n; ++j) {
    number(j) = 0;
    left(j) = lengths(j) - 1;
  }
}

void StrongComponents::visit(int node) {
  ++height;
  low(node) = number(node) = height;
  start_or_stack(n + 1 - height) = node;
}

int StrongComponents::unvisited(int node) {
  const int end = starts(node) + lengths(node);
  int lowest = low(node);
  int found = 0;
  int k = end - 1 - left(node);
  for (; k < end && found == 0; ++k) {
    const int target = targets[k - 1];
    if (number(target) == 0) {
      found = target;
    } else {
      lowest = std::min(lowest, low(target));
    }
  }
  low(node) = lowest;
  left(node) = end - 1 - k;
  return found;
}

void StrongComponents::pop_component(int node) {
  const int first = placed + 1;
  int popped = 0;
  do {
    popped = start_or_stack(n + 1 - height);
    --height;
    low(popped) = n + 1;
    number(popped) = ++placed;
  } while (popped != node);
  start_or_stack(++components) = first;
}

void StrongComponents::search(int root) {
  visit(root);
  int node = root;
  for (;;) {
    if (const int next = unvisited(node)) {
      parent(next) = node;
      visit(next);
      node = next;
      continue;
    }
    if (low(node) >= number(node)) {
      pop_component(node);
      if (height == 0) return;
    }
    const int child = node;
    node = parent(node);
    low(node) = std::min(low(node), low(child));
  }
}

void StrongComponents::order() {
  for (int node = 1; node <= n; ++node) left(number(node)) = node;
}

}  // namespace

int ma48_strong_components(const int* n, const int* icn, const int* /*licn*/, const int* ip, const int* lenr,
                           int* ior, int* ib, int* num, int* lowl, int* numb, int* prev) {
  const int order = *n;
  StrongComponents graph{order,       {ip, order},   {lenr, order}, icn,          {ior, order},
                         {ib, order}, {lowl, order}, {numb, order}, {prev, order}};
  graph.clear();
  for (int node = 1; node <= order && graph.placed < order; ++node) {
    if (graph.number(node) == 0) graph.search(node);
  }
  graph.order();
  *num = graph.components;
  return 0;
}

int ma48_strong_components_entry(const int* n, const int* icn, const int* licn, const int* ip,
                                 const int* lenr, int* ior, int* ib, int* num, int* iw) {
  const std::ptrdiff_t order = *n;
  return ma48_strong_components(n, icn, licn, ip, lenr, ior, ib, num, iw, iw + order, iw + 2 * order);
}

}  // namespace corvidnum
