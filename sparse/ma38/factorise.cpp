#include <algorithm>

#include "frame/module.h"
#include "sparse/ma38/factor_driver.h"
#include "sparse/ma38/ma38_routines.h"

namespace corvidnum {
namespace ma38 {
namespace {

class FactorCall {
 public:
  FactorCall(int n, int ne, int job, int transa, int lvalue, int lindex, double* value, int* index, int* keep,
             const double* cntl, const int* icntl, int* info, double* rinfo)
      : n_(n),
        ne_(ne),
        job_(job),
        transa_(transa),
        lvalue_(lvalue),
        lindex_(lindex),
        value_(value, lvalue),
        index_(index, lindex),
        keep_(keep, kKeepLength),
        cntl_(cntl),
        icntl_(icntl),
        info_(info),
        rinfo_(rinfo),
        results_(info, rinfo) {}

  void run();

 private:
  void reset();
  bool arguments_are_good();
  bool convert();
  Space space() const;
  Columns columns() const;
  void move_matrix_up(Space& space) const;
  void write_scalars(const DriverOutcome& outcome) const;
  void set_keep(const DriverOutcome& outcome, const Space& space);
  void finish();
  void dump(bool output) const;
  void fail(int code, int detail) { ma38_set_info(kFactor, icntl_, results_(kStatus), code, detail); }
  bool preserved() const { return job_ == 1; }
  Index copied_ints() const { return n_ + 1 + nz_; }  // column starts and rows

  const int n_, ne_, job_, transa_, lvalue_, lindex_;
  const OneBased<double> value_;
  const OneBased<int> index_, keep_;
  const double* const cntl_;
  const int* const icntl_;
  int* const info_;
  double* const rinfo_;
  const Results results_;
  int nz_ = 0;
};

void FactorCall::run() {
  reset();
  dump(false);
  if (arguments_are_good() && convert()) {
    Space room = space();
    const DriverInput input{n_, nz_, ne_, preserved(), columns(), keep_.data(), cntl_, icntl_};
    const DriverOutcome outcome = ma38_factor_driver(input, room, results_);
    if (outcome.good) {
      if (preserved()) move_matrix_up(room);
      write_scalars(outcome);
      set_keep(outcome, room);
    }
  }
  finish();
  dump(true);
}

void FactorCall::reset() {
  std::fill_n(info_, int{kInfoLength}, 0);
  std::fill_n(rinfo_, int{kRinfoLength}, 0.0);
  std::fill_n(keep_.data(), int{kIndexEnd}, 0);
  results_(kEntries) = results_(kDiagonalEntries) = ne_;
}

bool FactorCall::arguments_are_good() {
  if (n_ < 1) {
    fail(kBadOrder, -1);
    return false;
  }
  if (ne_ < 1) {
    fail(kBadEntryCount, -1);
    return false;
  }
  const Wide n = n_, ne = ne_;
  const Wide ints = std::max(2 * ne, n + 1) + 2 * n + ne + 1, reals = 2 * ne;
  results_(kIndexUsed) = results_(kIndexNeeded) = clamped(ints);
  results_(kValueUsed) = results_(kValueNeeded) = clamped(reals);
  if (lindex_ < ints) fail(kIndexTooShort, results_(kIndexNeeded));
  if (lvalue_ < reals) fail(kValueTooShort, results_(kValueNeeded));
  return results_(kStatus) >= 0;
}

bool FactorCall::convert() {
  const Index lindex = lindex_, n = n_;
  nz_ = ne_;
  return ma38_convert(kFactor, n_, nz_, transa_ != 0, value_, index_, index_.part(lindex - 2 * n, n),
                      index_.part(lindex - n, n + 1), icntl_, results_);
}

/// A matrix to be preserved stays below the driver's space, with its column starts once more.
Space FactorCall::space() const {
  const Index ints = preserved() ? copied_ints() + n_ + 1 : n_ + 1, reals = preserved() ? nz_ : 0;
  if (preserved()) std::copy_n(index_.data(), n_ + 1, index_.data() + copied_ints());
  Space room{index_.from(ints + 1), value_.from(reals + 1), 1, 1, 1, 1, ints, reals, ints, nz_};
  if (!preserved()) room.ineed += nz_;
  return room;
}

Columns FactorCall::columns() const {
  const Index n = n_;
  if (!preserved()) return {index_.part(1, n + 1), index_.from(n + 2), value_};
  return {index_.part(copied_ints() + 1, n + 1), index_.part(n + 2, nz_), value_.part(1, nz_)};
}

/// To right below the factors; the ranges may overlap.
void FactorCall::move_matrix_up(Space& room) const {
  int* const ints = room.ints.data() + (room.itail - 1);
  double* const reals = room.reals.data() + (room.xtail - 1);
  std::copy_backward(index_.data(), index_.data() + copied_ints(), ints);
  std::copy_backward(value_.data(), value_.data() + nz_, reals);
  room.itail -= copied_ints();
  room.xtail -= nz_;
}

void FactorCall::write_scalars(const DriverOutcome& outcome) const {
  const FactorTop<int> top(index_, lindex_, n_);
  top.ne() = ne_;
  top.order() = n_;
  top.nz() = nz_;
  top.preserved() = preserved();
  top.nblks() = outcome.nblks;
  top.nzoff() = outcome.nzoff;
  top.transa() = transa_ != 0;
}

void FactorCall::set_keep(const DriverOutcome& outcome, const Space& room) {
  const Wide value_begin = room.reals_below + room.xtail, index_begin = room.ints_below + room.itail;
  const Wide pattern =
      index_begin + (preserved() ? copied_ints() : 0) + (outcome.nblks > 1 ? outcome.nzoff : 0);
  keep_(kValueBegin) = static_cast<int>(value_begin);
  keep_(kValueEnd) = lvalue_;
  keep_(kIndexBegin) = static_cast<int>(index_begin);
  keep_(kPatternBegin) = static_cast<int>(pattern);
  keep_(kIndexEnd) = lindex_;
  results_.raise(kIndexUsed, lindex_ - index_begin + 1);
  results_.raise(kIndexNeeded, lindex_ - index_begin + 1);
  results_.raise(kValueUsed, lvalue_ - value_begin + 1);
  results_.raise(kValueNeeded, lvalue_ - value_begin + 1);
  results_.add(kIndexForRefactor, lindex_ - pattern + 1);
}

void FactorCall::finish() {
  if (results_(kStatus) < 0) std::fill_n(keep_.data(), int{kIndexEnd}, 0);
  if (results_(kIndexNeeded) == 0) return;  // stopped before lengths were looked at
  results_(kIndexUsed) = std::min(lindex_, results_(kIndexUsed));
  results_(kValueUsed) = std::min(lvalue_, results_(kValueUsed));
}

void FactorCall::dump(bool output) const {
  ma38_print({kFactor, output, n_, ne_, job_, transa_, lvalue_, lindex_, 0, value_.data(), index_.data(),
              keep_.data(), nullptr, nullptr, nullptr, cntl_, icntl_, info_, rinfo_});
}

}  // namespace
}  // namespace ma38
}  // namespace corvidnum

int ma38ad_(const int* n, const int* ne, const int* job, const int* transa, const int* lvalue,
            const int* lindex, double* value, int* index, int* keep, const double* cntl, const int* icntl,
            int* info, double* rinfo) {
  corvidnum::enter_library();
  corvidnum::ma38::FactorCall(*n, *ne, *job, *transa, *lvalue, *lindex, value, index, keep, cntl, icntl, info,
                              rinfo)
      .run();
  return 0;
}
