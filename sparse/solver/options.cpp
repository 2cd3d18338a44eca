// The options of the sparse solver by name, and the texts of its statuses and methods.

#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

#include "frame/module.h"
#include "sparse/sparse_solver.h"

namespace corvidnum {
namespace {

constexpr double kMostCount = 1e9;  // fits an int

constexpr SparseOption kOptions[] = {
    {"method", "0: automatic, 1: ma48, 2: ma38", 0, 0, 2},
    {"factorisations", "how many factorisations of this pattern to expect; guides the automatic choice", 1, 1,
     kMostCount},
    {"judge", "1: judge every solution and test for singularity; 0: neither, solutions are Unjudged", 0, 1,
     1},
    {"bound", "componentwise backward error that a solution may have to count as Solved", 1e-16, 1e-12, 1},
    {"corrections", "most steps of iterative refinement for a solution that misses the bound", 0, 10, 100},
    {"repair", "0: none but refinement; 1: also new pivots and a higher threshold; 2: also the other method",
     0, 2, 2},
    {"blocks", "1: permute to block triangular form; 0: not", 0, 1, 1},
    {"diagonal", "1: ma38 prefers pivots on the diagonal; 0: it does not; -1: automatic", -1, -1, 1},
    {"threshold", "of the pivot test, larger is safer and fills in more; 0: the method's own", 0, 0, 1},
    {"growth", "limit of the growth of fronts in ma38; 0: automatic", 0, 0, 1e6},
};
constexpr int kOptionCount = sizeof kOptions / sizeof *kOptions;

/// Calls visit(field) with the field of an option, by its place in the table.
template <class Options, class Visit>
void visit_field(Options& options, int place, Visit visit) {
  switch (place) {
    case 0:
      return visit(options.method);
    case 1:
      return visit(options.factorisations);
    case 2:
      return visit(options.judge);
    case 3:
      return visit(options.bound);
    case 4:
      return visit(options.corrections);
    case 5:
      return visit(options.repair);
    case 6:
      return visit(options.blocks);
    case 7:
      return visit(options.diagonal);
    case 8:
      return visit(options.threshold);
    case 9:
      return visit(options.growth);
  }
}

int place_of(const char* name) {
  for (int place = 0; name && place < kOptionCount; ++place)
    if (std::strcmp(kOptions[place].name, name) == 0) return place;
  return -1;
}

}  // namespace

const SparseOption* SparseOptionTable(int* count) {
  enter_library();
  if (count) *count = kOptionCount;
  return kOptions;
}

bool SetOption(SparseOptions* options, const char* name, double value) {
  enter_library();
  const int place = place_of(name);
  if (!options || place < 0) return false;
  if (!(kOptions[place].lowest <= value && value <= kOptions[place].highest)) return false;
  bool fits = true;
  visit_field(*options, place, [&](auto& field) {
    using Field = std::remove_reference_t<decltype(field)>;
    if constexpr (std::is_same_v<Field, double>)
      field = value;
    else if (value == std::trunc(value))
      field = static_cast<Field>(static_cast<int>(value));
    else
      fits = false;
  });
  return fits;
}

double GetOption(const SparseOptions& options, const char* name) {
  enter_library();
  double value = std::numeric_limits<double>::quiet_NaN();
  visit_field(options, place_of(name), [&](const auto& field) { value = static_cast<double>(field); });
  return value;
}

const char* StatusText(SparseStatus status) {
  enter_library();
  switch (status) {
    case SparseStatus::Solved:
      return "solved";
    case SparseStatus::Unjudged:
      return "solved, but the solution was not judged";
    case SparseStatus::Factorised:
      return "factorised";
    case SparseStatus::Inexact:
      return "the solution misses the bound of its backward error";
    case SparseStatus::Singular:
      return "the matrix is singular";
    case SparseStatus::NotFactorised:
      return "there are no factors";
    case SparseStatus::NotFinite:
      return "a number given is infinite or NaN";
    case SparseStatus::NoMemory:
      return "memory was refused";
    case SparseStatus::BadInput:
      return "an argument is out of its range";
  }
  return "unknown status";
}

const char* MethodName(SparseMethod method) {
  enter_library();
  switch (method) {
    case SparseMethod::automatic:
      return "automatic";
    case SparseMethod::ma48:
      return "ma48";
    case SparseMethod::ma38:
      return "ma38";
  }
  return "unknown method";
}

}  // namespace corvidnum
