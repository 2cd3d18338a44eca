// What ma38ad_ and ma38bd_ do before and after the factorisation itself:
//
//   begin()                   clear INFO, RINFO and KEEP, and dump the arguments;
//   order_is_good(), arrays_are_long_enough()  check N, NE, LINDEX and LVALUE, in this order;
//   convert()                 turn the triplets into columns at the bottom of both arrays;
//   space(), columns()        give the drivers their work space and the matrix; with JOB = 1 the space begins
//                             above the columns and a second copy of their starts;
//   keep_factors()            with JOB = 1, move the columns up to stand directly below the factors; write
//                             the scalars at the top of INDEX and KEEP(1) .. KEEP(5); add the words of the
//                             pattern to INFO(22);
//   end()                     after an error, clear KEEP(1) .. KEEP(5); dump the results.

#include "sparse/ma38/calls/factor_call.h"
#include "sparse/ma38/print/print.h"

#include <algorithm>
#include <cstring>

namespace corvidnum {
namespace ma38 {

FactorCall::FactorCall(Who who, const FactorArguments& arguments)
    : who_(who),
      in_(arguments),
      value_(arguments.value, std::max(arguments.lvalue, 0)),
      index_(arguments.index, std::max(arguments.lindex, 0)),
      keep_(arguments.keep, MA38_KEEP_LENGTH),
      results_(arguments.info, arguments.rinfo) {}

void FactorCall::begin(int reset_keep) {
  std::fill_n(in_.info, int{MA38_INFO_LENGTH}, 0);
  std::fill_n(in_.rinfo, int{MA38_RINFO_LENGTH}, 0.0);
  std::fill_n(in_.keep, reset_keep, 0);
  dump(false);
  results_(MA38_INFO_ENTRIES) = results_(MA38_INFO_DIAGONAL_ENTRIES) = in_.ne;
}

void FactorCall::end() {
  if (results_(MA38_INFO_STATUS) < 0) std::fill_n(in_.keep, int{MA38_KEEP_INDEX_END}, 0);
  // A call that was short has counted more than there is. One that stopped before it looked at lengths has
  // zeros, which stay.
  if (results_(MA38_INFO_INDEX_NEEDED) != 0) {
    results_(MA38_INFO_INDEX_USED) = std::min(in_.lindex, results_(MA38_INFO_INDEX_USED));
    results_(MA38_INFO_VALUE_USED) = std::min(in_.lvalue, results_(MA38_INFO_VALUE_USED));
  }
  dump(true);
}

bool FactorCall::fail(int code, int detail) const {
  ma38_set_info(who_, in_.icntl, results_(MA38_INFO_STATUS), code, detail);
  return false;
}

bool FactorCall::order_is_good() const {
  if (in_.n < 1) return fail(MA38_STATUS_BAD_ORDER, -1);
  if (in_.ne < 1) return fail(MA38_STATUS_BAD_ENTRY_COUNT, -1);
  return true;
}

bool FactorCall::arrays_are_long_enough(Wide pattern) const {
  const Wide n = in_.n, ne = in_.ne;
  const Wide ints = std::max(2 * ne, n + 1) + 2 * n + ne + 1 + pattern, reals = 2 * ne;
  results_(MA38_INFO_INDEX_USED) = results_(MA38_INFO_INDEX_NEEDED) = clamped(ints);
  results_(MA38_INFO_VALUE_USED) = results_(MA38_INFO_VALUE_NEEDED) = clamped(reals);
  if (in_.lindex < ints) fail(MA38_STATUS_INDEX_TOO_SHORT, results_(MA38_INFO_INDEX_NEEDED));
  if (in_.lvalue < reals) fail(MA38_STATUS_VALUE_TOO_SHORT, results_(MA38_INFO_VALUE_NEEDED));
  return results_(MA38_INFO_STATUS) >= 0;
}

bool FactorCall::convert(Index last) {
  const Index n = in_.n;
  nz_ = in_.ne;
  return ma38_convert(who_, in_.n, nz_, in_.transa != 0, value_, index_, index_.part(last - 2 * n, n),
                      index_.part(last - n, n + 1), in_.icntl, results_);
}

Space FactorCall::space(Index last) const {
  const Index n = in_.n;
  const Index ints = preserved() ? copied_ints() + n + 1 : n + 1, reals = preserved() ? nz_ : 0;
  if (preserved()) std::copy_n(index_.data(), n + 1, index_.data() + copied_ints());
  const Wide used = ints + (in_.lindex - last);
  const Wide consumed = preserved() ? 0 : nz_;
  return {index_.part(ints + 1, last - ints), value_.from(reals + 1), {used, reals}, {used + consumed, nz_}};
}

Columns FactorCall::columns() const {
  const Index n = in_.n;
  if (!preserved()) return {index_.part(1, n + 1), index_.from(n + 2), value_};
  return {index_.part(copied_ints() + 1, n + 1), index_.part(n + 2, nz_), value_.part(1, nz_)};
}

void FactorCall::keep_factors(Space& room, int nblks, Index nzoff) const {
  Index index_begin = (room.ints.data() - index_.data()) + room.itail;
  Index value_begin = (room.reals.data() - value_.data()) + room.xtail;
  if (preserved()) {
    index_begin -= copied_ints();
    value_begin -= nz_;
    move_matrix_up(index_begin, value_begin);
  }
  write_scalars(nblks, nzoff);
  const Index pattern = index_begin + (preserved() ? copied_ints() : 0) + (nblks > 1 ? nzoff : 0);
  keep_(MA38_KEEP_VALUE_BEGIN) = static_cast<int>(value_begin);
  keep_(MA38_KEEP_VALUE_END) = in_.lvalue;
  keep_(MA38_KEEP_INDEX_BEGIN) = static_cast<int>(index_begin);
  keep_(MA38_KEEP_PATTERN_BEGIN) = static_cast<int>(pattern);
  keep_(MA38_KEEP_INDEX_END) = in_.lindex;
  results_.raise(MA38_INFO_INDEX_USED, in_.lindex - index_begin + 1);
  results_.raise(MA38_INFO_INDEX_NEEDED, in_.lindex - index_begin + 1);
  results_.raise(MA38_INFO_VALUE_USED, in_.lvalue - value_begin + 1);
  results_.raise(MA38_INFO_VALUE_NEEDED, in_.lvalue - value_begin + 1);
  results_.add(MA38_INFO_INDEX_FOR_REFACTOR, in_.lindex - pattern + 1);
}

void FactorCall::move_matrix_up(Index index_begin, Index value_begin) const {
  // The ranges may overlap.
  std::memmove(&index_(index_begin), index_.data(), static_cast<std::size_t>(copied_ints()) * sizeof(int));
  std::memmove(&value_(value_begin), value_.data(), static_cast<std::size_t>(nz_) * sizeof(double));
}

void FactorCall::write_scalars(int nblks, Index nzoff) const {
  const FactorTop<int> last = top(in_.lindex);
  last.ne() = in_.ne;
  last.order() = in_.n;
  last.nz() = nz_;
  last.preserved() = preserved();
  last.nblks() = nblks;
  last.nzoff() = static_cast<int>(nzoff);
  last.transa() = in_.transa != 0;
}

void FactorCall::dump(bool output) const {
  ma38_print({who_, output, in_.n, in_.ne, in_.job, in_.transa, in_.lvalue, in_.lindex, 0, in_.value,
              in_.index, in_.keep, nullptr, nullptr, nullptr, in_.cntl, in_.icntl, in_.info, in_.rinfo});
}

}  // namespace ma38
}  // namespace corvidnum
