// Histories of calls of the ma48 routines: analyse, factorise and solve in any order, with any controls, and
// with arrays that are altered between the calls. A tame history has controls, indices and values as a
// careful host would give them, and its solutions must have small residuals.

#include "sparse/ma48/ma48_routines.h"

#include <algorithm>

#include "fuzz/bytes.h"
#include "fuzz/guarded_array.h"
#include "fuzz/sparse_entries.h"

namespace {

using fuzz::Bytes, fuzz::Doubles, fuzz::Ints, fuzz::require;

std::size_t length(std::int64_t count) { return static_cast<std::size_t>(std::max<std::int64_t>(count, 0)); }

/// Returns the length of KEEP of a matrix that the routines accept; nothing is read of any other.
std::int64_t keep_length(int m, int n) { return m < 1 || n < 1 ? 0 : ma48_keep_length(m, n); }

class History {
 public:
  explicit History(Bytes& bytes)
      : bytes_(bytes),
        tame_(bytes.flag()),
        m_(order()),
        n_(bytes.below(4) != 0 ? m_ : order()),
        given_(fuzz::read_entries(bytes, m_, n_, tame_)),
        keep_(length(keep_length(m_, n_))),
        iw_(length(ma48_iw_length(m_, n_))),
        w_(length(ma48_w_length(m_, n_))) {
    ma48id_(cntl_.data(), icntl_.data());
    info_.fill(77);
    set_length(3 * given_.count() + 20);
  }

  void run() {
    for (int steps = 0; bytes_.left() && steps < 40; ++steps) {
      switch (bytes_.below(14)) {
        case 0:
        case 1:
          analyse();
          break;
        case 2:
        case 3:
          factorise();
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
          change_length();
          break;
        case 11:
        case 12:
          use_altered_arrays();
          break;
        default:
          analyse(), factorise(), solve();
      }
    }
  }

 private:
  int order() { return bytes_.below(16) == 0 ? bytes_.between(-1, 60) : bytes_.between(1, 9); }
  int status() const { return ma48_info(info_.data(), MA48_INFO_STATUS); }
  int asked(MA48_Info position) const { return ma48_info(info_.data(), position); }

  void set_length(int la) {
    la_ = la;
    a_.resize(length(la)), irn_.resize(length(la)), jcn_.resize(length(la));
  }
  void change_length() {
    // Longer ones are no different, but cost time.
    constexpr int kMost = 40000;
    const int wanted[] = {2 * given_.count(),
                          asked(MA48_INFO_ANALYSIS_LENGTH),
                          asked(MA48_INFO_FACTOR_LENGTH),
                          bytes_.below(400),
                          la_ + 1,
                          la_ - 1};
    const int la = bytes_.one_of(wanted);
    if (la < 0 || la > kMost) return;
    set_length(la);
    analysed_ = factorised_ = false;  // they go with the length
  }

  template <class T, class From>
  void load(fuzz::GuardedArray<T>& array, const From& from) {
    std::copy_n(from.begin(), std::min(from.size(), array.size()), array.begin());
  }

  void analyse() {
    const int ne = !tame_ && bytes_.below(16) == 0 ? bytes_.between(-1, std::max(la_, 0)) : given_.count();
    const int job = choose_job(3);
    load(a_, given_.value), load(irn_, given_.row), load(jcn_, given_.column);
    for (int& mark : iw_) mark = bytes_.left() ? bytes_.below(3) : 1;
    if (job == MA48_ANALYSE_GIVEN_ORDER) give_permutations();
    ma48ad_(&m_, &n_, &ne, &job, &la_, a_.data(), irn_.data(), jcn_.data(), keep_.data(), cntl_.data(),
            icntl_.data(), iw_.data(), info_.data(), &rinfo_);
    require(status() >= MA48_STATUS_BAD_JOB && status() <= 7, "ma48ad_ ends with a status of its own");
    analysed_ = status() >= 0;
    factorised_ = false;
  }

  void factorise() {
    const int ne = !tame_ && bytes_.below(16) == 0 ? bytes_.between(-1, std::max(la_, 0)) : given_.count();
    const int job = choose_job(3);
    load(a_, given_.value);
    ma48bd_(&m_, &n_, &ne, &job, &la_, a_.data(), irn_.data(), jcn_.data(), keep_.data(), cntl_.data(),
            icntl_.data(), w_.data(), iw_.data(), info_.data(), &rinfo_);
    require(
        (status() >= MA48_STATUS_INCOMPATIBLE && status() <= 0) || status() == MA48_WARNING_RANK_DEFICIENT,
        "ma48bd_ ends with a status of its own");
    // JOB 2 does not test its pivots against other values.
    factorised_ = analysed_ && status() == MA48_STATUS_OK && job != MA48_FACTOR_SAME_PIVOTS;
    if (status() == MA48_STATUS_OK) factor_threshold_ = ma48_cntl(cntl_.data(), MA48_CNTL_THRESHOLD);
  }

  void solve() {
    const int trans = bytes_.below(3), job = choose_job(4);
    const int rows = std::max(trans ? n_ : m_, 0), columns = std::max(trans ? m_ : n_, 0);
    Doubles b(length(rows)), x(length(columns)), error(MA48_ERROR_LENGTH);
    Ints work(length(m_));
    for (double& element : b) element = bytes_.number(tame_);
    const std::vector<double> right = b.copy(), before = x.copy();
    ma48cd_(&m_, &n_, &trans, &job, &la_, a_.data(), irn_.data(), keep_.data(), cntl_.data(), icntl_.data(),
            b.data(), x.data(), error.data(), w_.data(), work.data(), info_.data());
    require(status() >= MA48_STATUS_NO_FORWARD_ERROR && status() <= 0,
            "ma48cd_ ends with a status of its own");
    if (status() == MA48_STATUS_INCOMPATIBLE)
      require(std::equal(before.begin(), before.end(), x.begin(), fuzz::same_bits),
              "ma48cd_ leaves x unchanged where it refuses the factors");
    if (tame_ && m_ == n_ && factorised_ && status() == MA48_STATUS_OK)
      require(
          fuzz::solves(given_, x.data(), right.data(), trans != 0, fuzz::growth_bound(n_, factor_threshold_)),
          "the residual of a tame solution is small");
    if (tame_ && factorised_)
      require(status() != MA48_STATUS_INCOMPATIBLE, "ma48cd_ takes untouched factors");
  }

  int choose_job(int highest) {
    if (!tame_ && bytes_.below(16) == 0) return bytes_.integer();
    return bytes_.between(1, highest);
  }

  /// KEEP begins with the places of the rows and the columns by place: permutations, maybe spoilt.
  void give_permutations() {
    if (m_ < 1 || n_ < 1) return;
    int* const rows = keep_.data();
    int* const columns = rows + m_;
    for (int i = 0; i < m_; ++i) rows[i] = i + 1;
    for (int j = 0; j < n_; ++j) columns[j] = j + 1;
    for (int swaps = bytes_.below(8); swaps > 0; --swaps) {
      std::swap(rows[bytes_.below(m_)], rows[bytes_.below(m_)]);
      std::swap(columns[bytes_.below(n_)], columns[bytes_.below(n_)]);
    }
    if (!tame_ && bytes_.below(8) == 0) keep_[length(bytes_.below(m_ + n_))] = bytes_.integer();
  }

  void change_values() {
    fuzz::change_values(bytes_, given_, tame_);
    factorised_ = false;
  }

  void alter_a_word() {
    if (tame_) return;
    const auto alter = [this](Ints& array) {
      if (array.size() == 0) return;
      int& word = array[length(bytes_.below(std::min(array.length(), 65536)))];
      if (word > -1000000 && word < 1000000) {
        const int choices[] = {-word, word + 1, word - 1, 0, bytes_.integer()};
        word = bytes_.one_of(choices);
      } else {
        word = bytes_.integer();
      }
    };
    switch (bytes_.below(6)) {
      case 0:
        alter(irn_);
        break;
      case 1:
        alter(jcn_);
        break;
      case 2:
        if (a_.size() > 0) a_[length(bytes_.below(std::min(a_.length(), 65536)))] = bytes_.number();
        break;
      default:
        alter(keep_);
    }
  }

  /// Solves with many alterations of one word of the same factors, each restored after it, then factorises
  /// again with a word altered.
  void use_altered_arrays() {
    analyse(), factorise();
    factorised_ = false;
    if (status() < 0 || tame_) return;
    fuzz::Stream random(bytes_.byte());
    for (int tries = 0; tries < 16; ++tries) {
      Ints& array = tries % 2 == 0 && irn_.size() > 0 ? irn_ : keep_;
      int& word = array[length(random.below(array.length()))];
      const int old = word;
      word = random.altered(old, std::max(m_, n_));
      solve();
      word = old;
    }
    alter_a_word();
    factorise();
  }

  void set_a_control() {
    if (tame_) {
      static const double thresholds[] = {0.1, 0.5, 1.0};
      ma48_set_cntl(cntl_.data(), MA48_CNTL_THRESHOLD, bytes_.one_of(thresholds));
      ma48_set_cntl(cntl_.data(), MA48_CNTL_DENSITY, bytes_.below(11) / 10.0);
      ma48_set_icntl(icntl_.data(), MA48_ICNTL_SMALLEST_BLOCK, bytes_.between(1, 20));
      ma48_set_icntl(icntl_.data(), MA48_ICNTL_DENSE_BLOCK_SIZE, bytes_.between(0, 40));
      ma48_set_icntl(icntl_.data(), MA48_ICNTL_SEARCH_LIMIT, bytes_.between(0, 5));
      analysed_ = factorised_ = false;  // an analysis goes with its controls
    } else if (bytes_.flag()) {
      cntl_[length(bytes_.below(MA48_CNTL_LENGTH))] =
          bytes_.flag() ? bytes_.number() : bytes_.below(11) / 10.0;
    } else {
      // The refinement does as many iterations as it is told.
      const int position = bytes_.between(1, MA48_ICNTL_LENGTH - 1);
      icntl_[length(position - 1)] = bytes_.integer();
      ma48_set_icntl(icntl_.data(), MA48_ICNTL_MOST_REFINEMENTS, bytes_.between(-1, 20));
    }
  }

  void query() {
    Ints orders(length(n_)), sparse(length(n_));
    const int blocks = ma48blocks_(&m_, &n_, keep_.data(), bytes_.flag() ? orders.data() : nullptr,
                                   bytes_.flag() ? sparse.data() : nullptr);
    require(blocks <= std::max(n_, 1), "there are at most as many blocks as columns");
    const std::int64_t entries = ma48entries_(&m_, &n_, &la_, irn_.data(), keep_.data());
    require(entries >= MA48_STATUS_INCOMPATIBLE, "ma48entries_ counts or tells a status");
  }

  Bytes& bytes_;
  const bool tame_;
  const int m_, n_;
  fuzz::Entries given_;
  int la_ = 0;
  Doubles a_{0}, cntl_{MA48_CNTL_LENGTH};
  Ints irn_{0}, jcn_{0}, keep_, iw_, icntl_{MA48_ICNTL_LENGTH}, info_{MA48_INFO_LENGTH};
  Doubles w_;
  double rinfo_ = 0, factor_threshold_ = 0.1;
  bool analysed_ = false, factorised_ = false;  // by a tame history
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Bytes bytes(data, size);
  History(bytes).run();
  return 0;
}
