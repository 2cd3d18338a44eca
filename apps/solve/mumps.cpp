#include "apps/solve/mumps.h"

#include <algorithm>
#include <limits>

// That of OpenBLAS, if BLAS is of that make.
extern "C" void openblas_set_num_threads(int) __attribute__((weak));

namespace solve {
namespace {

enum Job { kBegin = -1, kEnd = -2, kAnalyse = 1, kFactorise = 2, kSolve = 3 };

constexpr int kWorld = -987654;     // all ranks, to MUMPS
constexpr int kAmd = 0, kPord = 4;  // orderings
constexpr int kMostAddedRoom = 1600;

// Errors, as INFOG(1) tells them.
enum Error {
  kRealsRefused = -5,
  kStructurallySingular = -6,
  kIntegersRefused = -7,
  kIndexTooShort = -8,
  kStoreTooShort = -9,
  kSingular = -10,
  kAllocation = -13,
  kSendBufferTooShort = -17,
  kAboveMemoryLimit = -19,
  kReceiveBufferTooShort = -20
};

/// Returns whether an array was shorter than the factorisation turned out to need.
bool is_cured_by_room(int error) {
  return error == kIndexTooShort || error == kStoreTooShort || error == kSendBufferTooShort ||
         error == kReceiveBufferTooShort;
}

/// Returns the ordering for a matrix. PORD leaves the least on grids and columns, as sparse_plan measures it,
/// but ends the whole process if A + A' is full. It cannot be full where A has fewer entries than A + A' has
/// pairs of places off the diagonal. A matrix with more is so dense that the ordering matters little.
int ordering_for(std::int64_t order, std::int64_t entries) {
  const bool is_sparse = entries < order * (order - 1) / 2;
  return is_sparse ? kPord : kAmd;
}

}  // namespace

Mumps::Mumps(Matrix& share, std::int64_t entries, double threshold) {
  if (openblas_set_num_threads) openblas_set_num_threads(1);  // the ranks are the threads
  mumps_.par = 1;
  mumps_.sym = 0;
  mumps_.comm_fortran = kWorld;
  call(kBegin);
  for (const int stream : {1, 2, 3}) control(stream) = -1;
  control(4) = 0;  // prints nothing
  control(7) = ordering_for(share.rows, entries);
  control(18) = 3;                                          // entries are spread
  control(24) = 1;                                          // goes on where a pivot vanishes, and lists it
  mumps_.cntl[2] = std::numeric_limits<double>::epsilon();  // what vanishes, in the scales of MUMPS
  if (threshold >= 0) mumps_.cntl[0] = threshold;
  mumps_.n = share.rows;
  mumps_.nnz_loc = static_cast<MUMPS_INT8>(share.value.size());
  mumps_.irn_loc = share.row.data();
  mumps_.jcn_loc = share.column.data();
  mumps_.a_loc = share.value.data();
}

Mumps::~Mumps() { call(kEnd); }

Mumps::Status Mumps::call(int job) {
  mumps_.job = job;
  dmumps_c(&mumps_);
  switch (error()) {
    case kStructurallySingular:
    case kSingular:
      return Status::kSingular;
    case kRealsRefused:
    case kIntegersRefused:
    case kIndexTooShort:
    case kStoreTooShort:
    case kAllocation:
    case kSendBufferTooShort:
    case kAboveMemoryLimit:
    case kReceiveBufferTooShort:
      return Status::kNoMemory;
    default:
      return error() < 0 ? Status::kFailed : Status::kDone;
  }
}

Mumps::Status Mumps::factorise() {
  const Status status = call(kAnalyse);
  return status == Status::kDone ? factorise_values() : status;
}

Mumps::Status Mumps::factorise_by(double threshold) {
  mumps_.cntl[0] = threshold;
  return factorise_values();
}

Mumps::Status Mumps::factorise_values() {
  Status status = call(kFactorise);
  while (is_cured_by_room(error()) && control(14) < kMostAddedRoom) {
    control(14) *= 2;  // per cent that are added to the estimate
    status = call(kFactorise);
  }
  if (status == Status::kDone && mumps_.infog[27] > 0) return Status::kSingular;
  return status;
}

Mumps::Status Mumps::solve(std::vector<double>& b, bool transposed, bool errors) {
  control(9) = transposed ? 2 : 1;
  control(11) = errors ? 1 : 0;
  mumps_.nrhs = 1;
  mumps_.lrhs = mumps_.n;
  mumps_.rhs = b.data();
  return call(kSolve);
}

// A number above those of int comes as one of millions, with a sign.
std::int64_t Mumps::factor_entries() const {
  const std::int64_t told = mumps_.infog[28];
  return told < 0 ? -told * 1000000 : told;
}

double Mumps::forward_error() const {
  return std::max(mumps_.rinfog[8], std::numeric_limits<double>::epsilon() * condition());
}

std::vector<int> Mumps::null_pivots() const {
  if (!mumps_.pivnul_list || mumps_.infog[27] <= 0) return {};
  return {mumps_.pivnul_list, mumps_.pivnul_list + mumps_.infog[27]};
}

}  // namespace solve
