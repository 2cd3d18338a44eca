// ma38ad_: analyses and factorises a matrix.
//
//   1. Check the order, the number of entries and the lengths.
//   2. Convert the triplets to columns (matrix/convert.cpp).
//   3. Lay the work space over the rest of the two arrays.
//   4. Permute to blocks and factorise them (blocks/factor_driver.cpp).
//   5. Describe in KEEP and in the top of INDEX where the factors are.

#include "frame/module.h"
#include "sparse/ma38/blocks/factor_driver.h"
#include "sparse/ma38/calls/factor_call.h"
#include "sparse/ma38/ma38_routines.h"

namespace corvidnum {
namespace ma38 {
namespace {

class Factorisation : private FactorCall {
 public:
  explicit Factorisation(const FactorArguments& arguments) : FactorCall(kFactor, arguments) {}

  void run() {
    begin(MA38_KEEP_INDEX_END);
    if (order_is_good() && arrays_are_long_enough(0) && convert(in_.lindex)) {
      Space room = space(in_.lindex);
      const DriverInput input{in_.n, nz_, in_.ne, preserved(), columns(), in_.keep, in_.cntl, in_.icntl};
      const DriverOutcome outcome = ma38_factor_driver(input, room, results_);
      if (outcome.good) keep_factors(room, outcome.nblks, outcome.nzoff);
    }
    end();
  }
};

}  // namespace
}  // namespace ma38
}  // namespace corvidnum

int ma38ad_(const int* n, const int* ne, const int* job, const int* transa, const int* lvalue,
            const int* lindex, double* value, int* index, int* keep, const double* cntl, const int* icntl,
            int* info, double* rinfo) {
  corvidnum::enter_library();
  corvidnum::ma38::Factorisation(
      {*n, *ne, *job, *transa, *lvalue, *lindex, value, index, keep, cntl, icntl, info, rinfo})
      .run();
  return 0;
}
