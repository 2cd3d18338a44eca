// The multifrontal solver behind the front: ma38ad_ chooses pivots and factorises, ma38bd_ factorises with
// the same pivots, ma38cd_ solves.
//
// The routines overwrite the entries in VALUE and INDEX, so that these are given anew for each call, and with
// them, at the end of INDEX, the pattern of the factors that ma38bd_ repeats. It is copied out of INDEX by
// the first refactorisation.

#include <algorithm>
#include <cstdint>
#include <limits>

#include "sparse/ma38/ma38_codes.h"
#include "sparse/ma38/ma38_routines.h"
#include "sparse/solver/engine.h"

namespace corvidnum::solver {
namespace {

constexpr std::int64_t kLongest = std::numeric_limits<int>::max() - 1;  // that the routines can count

/// VALUE in entries of the matrix, the first length that is tried. An array that turns out too short costs a
/// whole factorisation, one that is too long hardly anything: ma38ad_ works from both of its ends, so that
/// the middle is never touched, and most allocators give out pages only when they are. 64 is enough for all
/// but meshes in space, and few matrices below kLarge entries need more.
constexpr std::int64_t kAmpleValues = 64;
/// The same of a mesh, whose factors outgrow any multiple of the entries: 512 is enough for a cube of
/// 100,000 nodes. Windows counts all of an array as memory in use, so that no more than usual is asked for.
#ifdef _WIN32
constexpr std::int64_t kValuesOfMesh = kAmpleValues;
#else
constexpr std::int64_t kValuesOfMesh = 512;
#endif
/// Lengths to fall back on where memory is refused. The first is enough for most matrices that fill in,
/// fronts included, the second for flowsheets.
constexpr std::int64_t kManyValues = 24, kFewValues = 6;
constexpr std::int64_t kMostValues = 1 << 28;      // 2 GB: as far as ample room goes
constexpr std::int64_t kLarge = 50'000;            // entries
constexpr std::int64_t kWorthReturning = 1 << 24;  // 128 MB of VALUE that are not needed any more
/// VALUE stays this many times as long as ma38bd_ needs at the least: in its least length that routine has to
/// collect garbage, which takes 1.3 times the time.
constexpr std::int64_t kRoomToRefactor = 2;
constexpr std::int64_t kLine = 8;  // values between boundaries of 64 bytes

class Ma38Engine : public Engine {
 public:
  using Engine::Engine;

  bool allocate() { return w_.allocate(2 * std::int64_t{system().order()}); }

  SparseStatus factorise(const EngineSettings& settings) override {
    const std::int64_t ne = system().entries();
    facts_ = {};
    if (2 * ne > kLongest) return SparseStatus::NoMemory;  // INDEX begins with all rows and columns
    set_controls(settings);
    pattern_.release();
    if (!reserve_room(settings.is_mesh)) return SparseStatus::NoMemory;
    const SparseStatus status = run(ma38ad_);
    room_ = value_.size();
    if (status == SparseStatus::Factorised) return_room();
    if (status != SparseStatus::NoMemory)
      facts_ = {info(MA38_INFO_PIVOTS), info(MA38_INFO_BLOCKS), info(MA38_INFO_FACTOR_ENTRIES),
                ma38_rinfo(rinfo_, MA38_RINFO_BLAS_FLOPS)};
    return status;
  }

  SparseStatus refactorise() override {
    if (pattern_.size() == 0 && !keep_pattern()) return SparseStatus::NoMemory;
    const std::int64_t entries_and_pattern = 2 * std::int64_t{system().entries()} + pattern_.size();
    const std::int64_t needed = std::max<std::int64_t>(refactor_index_, entries_and_pattern);
    if (needed > kLongest) return SparseStatus::NoMemory;
    if (!reserve(value_, refactor_value_) || !reserve(index_, needed)) return SparseStatus::NoMemory;
    return run(ma38bd_);
  }

  bool solve(bool transposed, const double* b, double* y) override {
    const int n = system().order(), whole = MA38_SOLVE_WHOLE, trans = transposed ? 1 : 0;
    const int lvalue = length(value_), lindex = length(index_);
    int info[MA38_INFO_LENGTH];
    double rinfo[MA38_RINFO_LENGTH];
    ma38cd_(&n, &whole, &trans, &lvalue, &lindex, value_.data(), index_.data(), keep_, b, y, w_.data(), cntl_,
            icntl_, info, rinfo);
    return ma38_info(info, MA38_INFO_STATUS) == MA38_STATUS_OK;
  }

 private:
  template <class T>
  static int length(const Array<T>& array) {
    return static_cast<int>(array.size());
  }
  int info(MA38_Info position) const { return ma38_info(info_, position); }

  void set_controls(const EngineSettings& settings) {
    ma38id_(keep_, cntl_, icntl_);
    ma38_set_cntl(cntl_, MA38_CNTL_THRESHOLD, settings.threshold);
    ma38_set_cntl(cntl_, MA38_CNTL_GROWTH, settings.growth);
    ma38_set_icntl(icntl_, MA38_ICNTL_USE_BLOCKS, settings.blocks ? 1 : 0);
    ma38_set_icntl(icntl_, MA38_ICNTL_PREFER_DIAGONAL, settings.prefer_diagonal ? 1 : 0);
    ma38_set_icntl(icntl_, MA38_ICNTL_MOST_REFINEMENTS, 0);
  }

  /// Lengthens an array to `length`, or to the longest possible. What it held is lost.
  /// @return false: memory was refused, or it is as long as possible already
  template <class T>
  static bool reserve(Array<T>& array, std::int64_t length) {
    if (length <= array.size()) return true;
    length = std::min(length, kLongest);
    return length > array.size() && array.allocate(length);
  }

  /// Makes VALUE and INDEX as long as before, or else long enough for most matrices if the host allows.
  bool reserve_room(bool is_mesh) {
    const std::int64_t n = system().order(), ne = system().entries();
    const std::int64_t indices = std::min(10 * ne + 40 * n + 100, kLongest);
    if (!reserve(index_, indices)) return false;  // first: VALUE may take all there is
    if (room_ > 0 && reserve(value_, room_)) return true;
    const std::int64_t most =
        std::max(kManyValues, kMostValues / std::max<std::int64_t>(ne, 1) / kLine * kLine);
    const std::int64_t ample = is_mesh && ne >= kLarge ? kValuesOfMesh : kAmpleValues;
    for (const std::int64_t values : {std::min(ample, most), kManyValues, kFewValues})
      if (reserve(value_, values * ne + n)) return true;
    return false;
  }

  /// Returns most of a VALUE that is far longer than ma38bd_ needs to the host. The factors keep their place
  /// relative to lines of the cache, on which rounding errors in the BLAS may depend.
  void return_room() {
    const std::int64_t begin = ma38_keep(keep_, MA38_KEEP_VALUE_BEGIN) - 1;
    const std::int64_t end = ma38_keep(keep_, MA38_KEEP_VALUE_END);
    const std::int64_t least = std::max<std::int64_t>(info(MA38_INFO_VALUE_FOR_REFACTOR), end - begin);
    const std::int64_t needed = kRoomToRefactor * least;
    const std::int64_t spare = (value_.size() - needed) / kLine * kLine;
    if (spare < kWorthReturning || begin < spare) return;  // ma38ad_ leaves the factors at the end of VALUE
    Array<double> shorter;
    if (!shorter.allocate(value_.size() - spare)) return;
    std::copy(value_.begin() + begin, value_.begin() + end, shorter.begin() + (begin - spare));
    value_.swap(shorter);
    ma38_set_keep(keep_, MA38_KEEP_VALUE_BEGIN, static_cast<int>(begin + 1 - spare));
    ma38_set_keep(keep_, MA38_KEEP_VALUE_END, static_cast<int>(end - spare));
  }

  /// Keeps what ma38bd_ needs of the factors of ma38ad_ beside the values.
  bool keep_pattern() {
    const int begin = ma38_keep(keep_, MA38_KEEP_PATTERN_BEGIN), end = ma38_keep(keep_, MA38_KEEP_INDEX_END);
    refactor_value_ = info(MA38_INFO_VALUE_FOR_REFACTOR);
    refactor_index_ = info(MA38_INFO_INDEX_FOR_REFACTOR);
    if (!pattern_.allocate(std::int64_t{end} - begin + 1)) return false;
    std::copy(index_.begin() + (begin - 1), index_.begin() + end, pattern_.begin());
    return true;
  }

  /// Puts the entries at the beginning of VALUE and INDEX, and the pattern of the factors, if there is one,
  /// at the end of INDEX.
  void load() {
    const int ne = system().entries();
    system().write_values(value_.data());
    system().write_indices(index_.data(), index_.data() + ne);
    std::copy(pattern_.begin(), pattern_.end(), index_.end() - pattern_.size());
    ma38_set_keep(keep_, MA38_KEEP_INDEX_END, length(index_));
    ma38_set_keep(keep_, MA38_KEEP_PATTERN_BEGIN, length(index_) - length(pattern_) + 1);
  }

  /// Lengthens the arrays that the last call found too short. It reports what it needed until it gave up,
  /// which is not all that it would need, so they double at the least.
  bool grow(int status) {
    const auto longer = [](int needed, std::int64_t length) {
      return std::max<std::int64_t>(needed, 2 * length);
    };
    const bool both = status == MA38_STATUS_BOTH_TOO_SHORT;
    if ((both || status == MA38_STATUS_VALUE_TOO_SHORT) &&
        !reserve(value_, longer(info(MA38_INFO_VALUE_NEEDED), value_.size())))
      return false;
    return !(both || status == MA38_STATUS_INDEX_TOO_SHORT) ||
           reserve(index_, longer(info(MA38_INFO_INDEX_NEEDED), index_.size()));
  }

  template <class Routine>
  SparseStatus run(Routine routine) {
    const int n = system().order(), ne = system().entries(), job = MA38_FACTOR_ONLY, as_given = 0;
    for (;;) {
      load();
      const int lvalue = length(value_), lindex = length(index_);
      routine(&n, &ne, &job, &as_given, &lvalue, &lindex, value_.data(), index_.data(), keep_, cntl_, icntl_,
              info_, rinfo_);
      const int status = info(MA38_INFO_STATUS);
      if (status == MA38_STATUS_OK) return SparseStatus::Factorised;
      const bool too_short = MA38_STATUS_BOTH_TOO_SHORT <= status && status <= MA38_STATUS_INDEX_TOO_SHORT;
      if (!too_short) return SparseStatus::Singular;
      count_growth();
      if (!grow(status)) return SparseStatus::NoMemory;
    }
  }

  double cntl_[MA38_CNTL_LENGTH] = {}, rinfo_[MA38_RINFO_LENGTH] = {};
  int icntl_[MA38_ICNTL_LENGTH] = {}, keep_[MA38_KEEP_LENGTH] = {}, info_[MA38_INFO_LENGTH] = {};
  std::int64_t room_ = 0;                        // VALUE of the last factorisation
  int refactor_value_ = 0, refactor_index_ = 0;  // lengths that ma38bd_ needs
  Array<double> value_, w_;
  Array<int> index_;
  Array<int> pattern_;  // of the factors, kept for ma38bd_
};

}  // namespace

Engine* make_ma38_engine(const System& system, int& growths) {
  auto* engine = new Ma38Engine(system, growths);
  if (engine && engine->allocate()) return engine;
  delete engine;
  return nullptr;
}

}  // namespace corvidnum::solver
