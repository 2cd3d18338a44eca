#include "apps/common/multifrontal.h"

#include <algorithm>
#include <limits>

#include "sparse/ma38/ma38_routines.h"

namespace apps {
namespace {

// Elements of the arrays of the routines, from 0.
enum Control { kThreshold = 0 };
enum IntegerControl { kBlockForm = 3, kPreferDiagonal = 5, kMostRefinements = 7 };
enum Keep { kPatternBegin = 3, kIndexEnd = 4 };
enum Info {
  kStatus = 0,
  kIndicesNeeded = 18,
  kRealsNeeded = 20,
  kIndicesToRefactor = 21,
  kRealsToRefactor = 22,
  kRefinements = 23
};
enum Rinfo { kOmega1 = 6, kOmega2 = 7 };

constexpr std::int64_t kLongest = std::numeric_limits<int>::max() - 1;

/// @return whether it is longer now; there is an end to what an int counts
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
      job_(settings.keep_matrix ? 1 : 0),
      rows_(rows),
      columns_(columns) {
  ma38id_(keep_, cntl_, icntl_);
  if (settings.threshold) cntl_[kThreshold] = *settings.threshold;
  icntl_[kBlockForm] = settings.block_form ? 1 : 0;
  icntl_[kPreferDiagonal] = settings.prefer_diagonal ? 1 : 0;
}

/// The triplets at the bottom; at the top the pattern of the factors, if there is one.
void Multifrontal::load(const std::vector<double>& values) {
  std::copy(values.begin(), values.end(), value_.begin());
  std::copy(rows_.begin(), rows_.end(), index_.begin());
  std::copy(columns_.begin(), columns_.end(), index_.begin() + ne_);
  std::copy(pattern_.rbegin(), pattern_.rend(), index_.rbegin());
  keep_[kIndexEnd] = static_cast<int>(index_.size());
  keep_[kPatternBegin] = static_cast<int>(index_.size() - pattern_.size()) + 1;
}

/// A routine tells how much it needed before it gave up, which is not all yet.
/// @return whether it is worth another try
bool Multifrontal::grow(int status) {
  const auto longer = [](int needed, std::size_t length) {
    return std::max<std::int64_t>(needed, 2 * static_cast<std::int64_t>(length));
  };
  const bool reals = status == kNoRoomForReals || status == kNoRoomForBoth;
  const bool indices = status == kNoRoomForIndices || status == kNoRoomForBoth;
  const bool more_reals = reals && lengthen(value_, longer(info_[kRealsNeeded], value_.size()));
  const bool more_indices = indices && lengthen(index_, longer(info_[kIndicesNeeded], index_.size()));
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
  } while (grow(info_[kStatus]));
  return info_[kStatus];
}

int Multifrontal::factorise(const std::vector<double>& values) {
  const std::int64_t n = n_, ne = ne_;
  lengthen(value_, 6 * ne + n);
  lengthen(index_, 10 * ne + 40 * n + 100);
  w_.resize(static_cast<std::size_t>(4 * n));
  pattern_.clear();
  return run(ma38ad_, values);
}

int Multifrontal::refactorise(const std::vector<double>& values) {
  if (pattern_.empty())
    pattern_.assign(index_.begin() + (keep_[kPatternBegin] - 1), index_.begin() + keep_[kIndexEnd]);
  lengthen(value_, info_[kRealsToRefactor]);
  lengthen(index_,
           std::max<std::int64_t>(info_[kIndicesToRefactor],
                                  2 * std::int64_t{ne_} + static_cast<std::int64_t>(pattern_.size())));
  return run(ma38bd_, values);
}

Multifrontal::Answer Multifrontal::solve(const std::vector<double>& b, bool transposed,
                                         int most_refinements) {
  Answer answer;
  answer.x.resize(b.size());
  icntl_[kMostRefinements] = most_refinements;
  const int whole = 0, trans = transposed ? 1 : 0;
  const int lvalue = static_cast<int>(value_.size()), lindex = static_cast<int>(index_.size());
  ma38cd_(&n_, &whole, &trans, &lvalue, &lindex, value_.data(), index_.data(), keep_, b.data(),
          answer.x.data(), w_.data(), cntl_, icntl_, info_, rinfo_);
  answer.status = info_[kStatus];
  answer.refinements = info_[kRefinements];
  answer.backward_error[0] = rinfo_[kOmega1];
  answer.backward_error[1] = rinfo_[kOmega2];
  return answer;
}

}  // namespace apps
