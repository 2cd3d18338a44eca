// Histories of calls of the ma38 routines: factorise, factorise other values with the same pivots, and solve,
// in any order, with any controls, and with INDEX, VALUE and KEEP altered between the calls. A tame history
// has controls, indices and values as a careful host would give them, and its solutions must have small
// residuals.

#include "sparse/ma38/ma38_routines.h"

#include <algorithm>

#include "fuzz/bytes.h"
#include "fuzz/guarded_array.h"
#include "fuzz/sparse_entries.h"

namespace {

using fuzz::Bytes, fuzz::Doubles, fuzz::Ints, fuzz::require;

std::size_t length(std::int64_t count) { return static_cast<std::size_t>(std::max<std::int64_t>(count, 0)); }

class History {
 public:
  explicit History(Bytes& bytes)
      : bytes_(bytes),
        tame_(bytes.flag()),
        n_(bytes.below(16) == 0 ? bytes.between(-1, 60) : bytes.between(1, 9)),
        given_(fuzz::read_entries(bytes, n_, n_, tame_)) {
    keep_.fill(0);
    info_.fill(0);
    ma38id_(keep_.data(), cntl_.data(), icntl_.data());
    set_lengths(10 * given_.count() + 60 * std::max(n_, 0) + 200,
                6 * given_.count() + 20 * std::max(n_, 0) + 50);
  }

  void run() {
    for (int steps = 0; bytes_.left() && steps < 40; ++steps) {
      switch (bytes_.below(14)) {
        case 0:
        case 1:
          factorise();
          break;
        case 2:
        case 3:
          refactorise();
          break;
        case 4:
        case 5:
          solve();
          break;
        case 6:
          alter_a_word();
          break;
        case 7:
          set_a_control();
          break;
        case 8:
          query();
          break;
        case 9:
          change_values();
          break;
        case 10:
          change_lengths();
          break;
        case 11:
        case 12:
          use_altered_factors();
          break;
        default:
          factorise(), solve();
      }
    }
  }

 private:
  int status() const { return ma38_info(info_.data(), MA38_INFO_STATUS); }
  int kept(MA38_Keep position) const { return ma38_keep(keep_.data(), position); }

  void set_lengths(int lindex, int lvalue) {
    lindex_ = lindex, lvalue_ = lvalue;
    index_.resize(length(lindex)), value_.resize(length(lvalue));
  }
  void change_lengths() {
    // Longer ones are no different, but cost time.
    constexpr int kMost = 60000;
    const int n = std::max(n_, 0), ne = given_.count();
    const int asked_index = ma38_info(info_.data(), MA38_INFO_INDEX_NEEDED),
              asked_value = ma38_info(info_.data(), MA38_INFO_VALUE_NEEDED);
    const int indices[] = {static_cast<int>(ma38_least_index_length(n, ne)), asked_index, asked_index - 1,
                           bytes_.below(600), lindex_};
    const int values[] = {static_cast<int>(ma38_least_value_length(ne)), asked_value, asked_value - 1,
                          bytes_.below(400), lvalue_};
    const int lindex = bytes_.one_of(indices), lvalue = bytes_.one_of(values);
    if (lindex < 0 || lindex > kMost || lvalue < 0 || lvalue > kMost) return;
    set_lengths(lindex, lvalue);
    factorised_ = false;
  }

  void load_entries() {
    for (int k = 0; k < given_.count(); ++k) {
      if (k < lvalue_) value_[length(k)] = given_.value[length(k)];
      if (k < lindex_) index_[length(k)] = given_.row[length(k)];
      if (given_.count() + k < lindex_) index_[length(given_.count() + k)] = given_.column[length(k)];
    }
  }
  int entries_told() {
    if (!tame_ && bytes_.below(16) == 0) return bytes_.integer();
    return given_.count();
  }
  int choose(int highest) {
    if (!tame_ && bytes_.below(16) == 0) return bytes_.integer();
    return bytes_.between(0, highest);
  }

  void factorise() {
    const int ne = entries_told(), job = choose(1), transa = choose(1);
    load_entries();
    ma38ad_(&n_, &ne, &job, &transa, &lvalue_, &lindex_, value_.data(), index_.data(), keep_.data(),
            cntl_.data(), icntl_.data(), info_.data(), rinfo_.data());
    require(status() >= MA38_STATUS_BOTH_TOO_SHORT && status() <= 7, "ma38ad_ ends with a status of its own");
    after_factors(transa);
    factorised_ = tame_ && regular();
  }

  /// Moves the pattern to the end of INDEX, as a host does that needs the room in front of it, and gives the
  /// entries.
  void refactorise() {
    const int ne = entries_told(), job = choose(1), transa = choose(1);
    const int first = kept(MA38_KEEP_PATTERN_BEGIN), last = kept(MA38_KEEP_INDEX_END);
    const bool in_place = bytes_.below(4) == 0;
    if (!in_place && first >= 1 && first <= last && last <= lindex_) {
      const int words = last - first + 1;
      std::copy_backward(index_.begin() + (first - 1), index_.begin() + last, index_.end());
      ma38_set_keep(keep_.data(), MA38_KEEP_PATTERN_BEGIN, lindex_ - words + 1);
      ma38_set_keep(keep_.data(), MA38_KEEP_INDEX_END, lindex_);
    }
    load_entries();
    ma38bd_(&n_, &ne, &job, &transa, &lvalue_, &lindex_, value_.data(), index_.data(), keep_.data(),
            cntl_.data(), icntl_.data(), info_.data(), rinfo_.data());
    require(status() >= MA38_STATUS_CORRUPTED && status() <= 7, "ma38bd_ ends with a status of its own");
    after_factors(transa);
    factorised_ = false;  // pivots chosen for other values may be small
  }

  bool regular() const { return status() >= 0 && (status() & MA38_WARNING_SINGULAR) == 0; }
  void after_factors(int transa) {
    transposed_ = transa != 0;
    if (status() >= 0) return;
    for (int position = MA38_KEEP_VALUE_BEGIN; position <= MA38_KEEP_INDEX_END; ++position)
      require(keep_[length(position - 1)] == 0, "KEEP(1) to KEEP(5) are zero after an error");
  }

  void solve() {
    const int job = choose(2), transc = choose(1);
    const int most_refinements = ma38_icntl(icntl_.data(), MA38_ICNTL_MOST_REFINEMENTS);
    const std::size_t n = length(n_);
    Doubles b(n), x(n), w(most_refinements > 0 ? 4 * n : 2 * n);
    for (double& element : b) element = bytes_.number(tame_);
    const std::vector<double> before = x.copy();
    ma38cd_(&n_, &job, &transc, &lvalue_, &lindex_, value_.data(), index_.data(), keep_.data(), b.data(),
            x.data(), w.data(), cntl_.data(), icntl_.data(), info_.data(), rinfo_.data());
    require(status() == MA38_STATUS_OK || status() == MA38_STATUS_CORRUPTED ||
                status() == MA38_WARNING_NO_REFINEMENT,
            "ma38cd_ ends with a status of its own");
    if (status() == MA38_STATUS_CORRUPTED)
      require(std::equal(before.begin(), before.end(), x.begin(), fuzz::same_bits),
              "ma38cd_ leaves x unchanged where it refuses the factors");
    if (!factorised_) return;
    require(status() != MA38_STATUS_CORRUPTED, "ma38cd_ takes untouched factors");
    if (job == MA38_SOLVE_WHOLE)
      require(fuzz::solves(given_, x.data(), b.data(), (transc != 0) != transposed_,
                           fuzz::growth_bound(n_, ma38_cntl(cntl_.data(), MA38_CNTL_THRESHOLD))),
              "the residual of a tame solution is small");
  }

  void change_values() {
    fuzz::change_values(bytes_, given_, tame_);
    factorised_ = false;
  }

  void alter_a_word() {
    if (tame_) return;
    const auto alter = [this](int& word) {
      if (word > -1000000 && word < 1000000) {
        const int choices[] = {-word, word + 1, word - 1, 0, bytes_.integer()};
        word = bytes_.one_of(choices);
      } else {
        word = bytes_.integer();
      }
    };
    switch (bytes_.below(8)) {
      case 0:
        alter(keep_[length(bytes_.below(MA38_KEEP_LENGTH))]);
        break;
      case 1:
        alter(keep_[length(bytes_.below(MA38_KEEP_INDEX_END))]);
        break;
      case 2:
        if (lvalue_ > 0) value_[length(bytes_.below(std::min(lvalue_, 65536)))] = bytes_.number();
        break;
      default: {  // a word of the factors, where there are some
        const int first = kept(MA38_KEEP_INDEX_BEGIN), last = kept(MA38_KEEP_INDEX_END);
        if (first >= 1 && first <= last && last <= lindex_)
          alter(index_[length(first - 1 + bytes_.below(std::min(last - first + 1, 65536)))]);
      }
    }
  }

  /// Solves with many alterations of one word of the same factors, each restored after it.
  void use_altered_factors() {
    factorise();
    factorised_ = false;
    const int first = kept(MA38_KEEP_INDEX_BEGIN), words = kept(MA38_KEEP_INDEX_END) - first + 1;
    if (status() < 0 || tame_) return;
    fuzz::Stream random(bytes_.byte());
    for (int tries = 0; tries < 16; ++tries) {
      int& word = index_[length(first - 1 + random.below(words))];
      const int old = word;
      word = random.altered(old, n_);
      solve();
      word = old;
    }
    alter_a_word();
    refactorise();
  }

  void set_a_control() {
    factorised_ = false;  // its residual goes with its threshold
    if (tame_) {
      static const double thresholds[] = {0.1, 0.5, 1.0}, growths[] = {1.0, 1.2, 2.0, 4.0};
      ma38_set_cntl(cntl_.data(), MA38_CNTL_THRESHOLD, bytes_.one_of(thresholds));
      ma38_set_cntl(cntl_.data(), MA38_CNTL_GROWTH, bytes_.one_of(growths));
      ma38_set_icntl(icntl_.data(), MA38_ICNTL_USE_BLOCKS, bytes_.below(2));
      ma38_set_icntl(icntl_.data(), MA38_ICNTL_SEARCH_WIDTH, bytes_.between(1, 6));
      ma38_set_icntl(icntl_.data(), MA38_ICNTL_PREFER_DIAGONAL, bytes_.below(2));
      ma38_set_icntl(icntl_.data(), MA38_ICNTL_BLOCK_SIZE, bytes_.between(1, 20));
      ma38_set_keep(keep_.data(), MA38_KEEP_DENSE1, bytes_.below(80));
      ma38_set_keep(keep_.data(), MA38_KEEP_DENSE2, bytes_.below(2));
    } else if (bytes_.flag()) {
      cntl_[length(bytes_.below(MA38_CNTL_LENGTH))] =
          bytes_.flag() ? bytes_.number() : bytes_.below(30) / 10.0;
    } else {
      icntl_[length(bytes_.below(MA38_ICNTL_LENGTH))] = bytes_.integer();
    }
    ma38_set_icntl(icntl_.data(), MA38_ICNTL_MOST_REFINEMENTS, bytes_.between(-1, 10));
  }

  void query() {
    Ints orders(length(n_));
    const int blocks =
        ma38blocks_(&n_, &lindex_, index_.data(), keep_.data(), bytes_.flag() ? orders.data() : nullptr);
    require(blocks <= std::max(n_, 1), "there are at most as many blocks as columns");
  }

  Bytes& bytes_;
  const bool tame_;
  const int n_;
  fuzz::Entries given_;
  int lindex_ = 0, lvalue_ = 0;
  Doubles value_{0}, cntl_{MA38_CNTL_LENGTH}, rinfo_{MA38_RINFO_LENGTH};
  Ints index_{0}, keep_{MA38_KEEP_LENGTH}, icntl_{MA38_ICNTL_LENGTH}, info_{MA38_INFO_LENGTH};
  bool transposed_ = false;
  bool factorised_ = false;  // by a tame history, with pivots chosen for these values
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Bytes bytes(data, size);
  History(bytes).run();
  return 0;
}
