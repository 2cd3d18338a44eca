// Calls the ma38 routines, and again with longer arrays, at least twice as long, as long as they ask for
// more.

#include "apps/common/multifrontal.h"

#include <algorithm>
#include <limits>

#include "sparse/ma38/ma38_routines.h"

namespace apps {
namespace {

constexpr std::int64_t kLongest = std::numeric_limits<int>::max() - 1;

/// Lengthens an array to `length`, or to the longest that the routines can count in an int.
/// @return whether it is longer now
template <class T>
bool lengthen(std::vector<T>& array, std::int64_t length) {
  const auto wanted = static_cast<std::size_t>(std::min(length, kLongest));
  if (wanted <= array.size()) return false;
  array.resize(wanted);
  return true;
}

}  // namespace

Multifrontal::Multifrontal(int order, const std::vector<int>& rows, const std::vector<int>& columns,
                           const Settings& settings)
    : n_(order),
      ne_(static_cast<int>(rows.size())),
      job_(settings.keep_matrix ? MA38_FACTOR_KEEP_MATRIX : MA38_FACTOR_ONLY),
      rows_(rows),
      columns_(columns) {
  ma38id_(keep_, cntl_, icntl_);
  if (settings.threshold) ma38_set_cntl(cntl_, MA38_CNTL_THRESHOLD, *settings.threshold);
  ma38_set_icntl(icntl_, MA38_ICNTL_USE_BLOCKS, settings.block_form ? 1 : 0);
  ma38_set_icntl(icntl_, MA38_ICNTL_PREFER_DIAGONAL, settings.prefer_diagonal ? 1 : 0);
}

/// Puts the entries at the beginning of VALUE and INDEX, and the pattern of the factors, if there is one, at
/// the end of INDEX.
void Multifrontal::load(const std::vector<double>& values) {
  std::copy(values.begin(), values.end(), value_.begin());
  std::copy(rows_.begin(), rows_.end(), index_.begin());
  std::copy(columns_.begin(), columns_.end(), index_.begin() + ne_);
  std::copy(pattern_.rbegin(), pattern_.rend(), index_.rbegin());
  ma38_set_keep(keep_, MA38_KEEP_INDEX_END, static_cast<int>(index_.size()));
  ma38_set_keep(keep_, MA38_KEEP_PATTERN_BEGIN, static_cast<int>(index_.size() - pattern_.size()) + 1);
}

/// Lengthens the arrays that the last call found too short. It reports what it needed until it gave up, which
/// is not all that it would need, so double the length at the least.
/// @return whether an array is longer now, so that another try is worth while
bool Multifrontal::grow() {
  const int status = info(MA38_INFO_STATUS);
  const auto longer = [](int needed, std::size_t length) {
    return std::max<std::int64_t>(needed, 2 * static_cast<std::int64_t>(length));
  };
  const bool reals = status == MA38_STATUS_VALUE_TOO_SHORT || status == MA38_STATUS_BOTH_TOO_SHORT;
  const bool indices = status == MA38_STATUS_INDEX_TOO_SHORT || status == MA38_STATUS_BOTH_TOO_SHORT;
  const bool more_reals = reals && lengthen(value_, longer(info(MA38_INFO_VALUE_NEEDED), value_.size()));
  const bool more_indices = indices && lengthen(index_, longer(info(MA38_INFO_INDEX_NEEDED), index_.size()));
  return more_reals || more_indices;
}

template <class Routine>
int Multifrontal::run(Routine routine, const std::vector<double>& values) {
  const int as_given = 0;
  do {
    load(values);
    const int lvalue = static_cast<int>(value_.size()), lindex = static_cast<int>(index_.size());
    routine(&n_, &ne_, &job_, &as_given, &lvalue, &lindex, value_.data(), index_.data(), keep_, cntl_, icntl_,
            info_, rinfo_);
  } while (grow());
  return info(MA38_INFO_STATUS);
}

int Multifrontal::factorise(const std::vector<double>& values) {
  const std::int64_t n = n_, ne = ne_;
  lengthen(value_, 6 * ne + n);
  lengthen(index_, 10 * ne + 40 * n + 100);
  w_.resize(static_cast<std::size_t>(ma38_w_length(n_)));
  pattern_.clear();
  return run(ma38ad_, values);
}

int Multifrontal::refactorise(const std::vector<double>& values) {
  if (pattern_.empty())
    pattern_.assign(index_.begin() + (ma38_keep(keep_, MA38_KEEP_PATTERN_BEGIN) - 1),
                    index_.begin() + ma38_keep(keep_, MA38_KEEP_INDEX_END));
  lengthen(value_, info(MA38_INFO_VALUE_FOR_REFACTOR));
  lengthen(index_,
           std::max<std::int64_t>(info(MA38_INFO_INDEX_FOR_REFACTOR),
                                  2 * std::int64_t{ne_} + static_cast<std::int64_t>(pattern_.size())));
  return run(ma38bd_, values);
}

Multifrontal::Answer Multifrontal::solve(const std::vector<double>& b, bool transposed,
                                         int most_refinements) {
  Answer answer;
  answer.x.resize(b.size());
  ma38_set_icntl(icntl_, MA38_ICNTL_MOST_REFINEMENTS, most_refinements);
  const int whole = MA38_SOLVE_WHOLE, trans = transposed ? 1 : 0;
  const int lvalue = static_cast<int>(value_.size()), lindex = static_cast<int>(index_.size());
  ma38cd_(&n_, &whole, &trans, &lvalue, &lindex, value_.data(), index_.data(), keep_, b.data(),
          answer.x.data(), w_.data(), cntl_, icntl_, info_, rinfo_);
  answer.status = info(MA38_INFO_STATUS);
  answer.refinements = info(MA38_INFO_REFINEMENTS);
  answer.omega1 = rinfo(MA38_RINFO_OMEGA1);
  answer.omega2 = rinfo(MA38_RINFO_OMEGA2);
  return answer;
}

}  // namespace apps
