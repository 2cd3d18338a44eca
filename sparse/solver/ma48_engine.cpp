// The Markowitz solver behind the front: ma48ad_ analyses, ma48bd_ factorises, ma48cd_ solves.
//
// The arrays A, IRN and JCN begin at four times the entries. Where a routine finds them too short they grow
// to what it asks for, but by a factor of two at the least, since it knows its need only as far as it got;
// the matrix is then given anew.

#include <algorithm>
#include <cstdint>
#include <limits>

#include "sparse/ma48/ma48_codes.h"
#include "sparse/ma48/ma48_routines.h"
#include "sparse/solver/engine.h"

namespace corvidnum::solver {
namespace {

constexpr std::int64_t kLongest = std::numeric_limits<int>::max() - 1;  // that the routines can count

class Ma48Engine : public Engine {
 public:
  using Engine::Engine;

  bool allocate() {
    const int n = system().order();
    return keep_.allocate(ma48_keep_length(n, n)) && iw_.allocate(ma48_iw_length(n, n)) &&
           w_.allocate(ma48_w_length(n, n));
  }

  SparseStatus factorise(const EngineSettings& settings) override {
    facts_ = {};
    set_controls(settings);
    if (const SparseStatus analysed = analyse(); analysed != SparseStatus::Factorised) return analysed;
    const SparseStatus status = run_factorisation(MA48_FACTOR_FREELY);
    if (status != SparseStatus::NoMemory) note_facts();
    return status;
  }

  SparseStatus refactorise() override { return run_factorisation(MA48_FACTOR_SAME_PIVOTS); }

  bool solve(bool transposed, const double* b, double* y) override {
    const int n = system().order(), trans = transposed ? 1 : 0, job = MA48_SOLVE_ONLY;
    double error[MA48_ERROR_LENGTH];
    double* rhs = const_cast<double*>(b);  // changed only by jobs above 1
    ma48cd_(&n, &n, &trans, &job, &la_, a_.data(), irn_.data(), keep_.data(), cntl_, icntl_, rhs, y, error,
            w_.data(), iw_.data(), info_);
    return info(MA48_INFO_STATUS) == MA48_STATUS_OK;
  }

 private:
  int info(MA48_Info position) const { return ma48_info(info_, position); }

  void set_controls(const EngineSettings& settings) {
    ma48id_(cntl_, icntl_);
    ma48_set_cntl(cntl_, MA48_CNTL_THRESHOLD, settings.threshold);
    ma48_set_cntl(cntl_, MA48_CNTL_PIVOT_TOLERANCE, settings.pivot_tolerance);
    if (!settings.blocks) ma48_set_icntl(icntl_, MA48_ICNTL_SMALLEST_BLOCK, system().order());
  }

  enum class Contents { kept, lost };

  /// Lengthens the arrays of entries to `length`, or to the longest possible.
  /// @return false: memory was refused, or they are as long as possible already
  bool reserve(std::int64_t length, Contents contents) {
    if (length <= la_) return true;
    length = std::min(length, kLongest);
    if (length <= la_) return false;
    const auto make = [=](auto& array) {
      return contents == Contents::kept ? array.lengthen(length) : array.allocate(length);
    };
    if (contents == Contents::lost) la_ = 0;
    if (!make(a_) || !make(irn_) || !make(jcn_)) return false;
    la_ = static_cast<int>(length);
    return true;
  }

  SparseStatus analyse() {
    const std::int64_t entries = system().entries();
    if (!reserve(4 * entries + system().order(), Contents::lost)) return SparseStatus::NoMemory;
    while (run_analysis() == MA48_STATUS_TOO_SHORT) {
      count_growth();
      const std::int64_t needed = info(MA48_INFO_ANALYSIS_LENGTH);
      if (!reserve(std::max(needed, 2 * std::int64_t{la_}), Contents::lost)) return SparseStatus::NoMemory;
    }
    if (info(MA48_INFO_STATUS) < MA48_STATUS_OK) return SparseStatus::Singular;
    return reserve(info(MA48_INFO_FACTOR_LENGTH), Contents::kept) ? SparseStatus::Factorised
                                                                  : SparseStatus::NoMemory;
  }

  int run_analysis() {
    const int n = system().order(), ne = system().entries(), job = MA48_ANALYSE_FREELY;
    double operations = 0;
    system().write_values(a_.data());
    system().write_indices(irn_.data(), jcn_.data());
    ma48ad_(&n, &n, &ne, &job, &la_, a_.data(), irn_.data(), jcn_.data(), keep_.data(), cntl_, icntl_,
            iw_.data(), info_, &operations);
    return info(MA48_INFO_STATUS);
  }

  SparseStatus run_factorisation(int job) {
    const int n = system().order(), ne = system().entries();
    const auto run = [&](int kind) {
      system().write_values(a_.data());
      ma48bd_(&n, &n, &ne, &kind, &la_, a_.data(), irn_.data(), jcn_.data(), keep_.data(), cntl_, icntl_,
              w_.data(), iw_.data(), info_, &operations_);
      return info(MA48_INFO_STATUS);
    };
    int status = run(job);
    while (status == MA48_STATUS_TOO_SHORT) {
      count_growth();
      const std::int64_t needed = info(MA48_INFO_FACTOR_LENGTH);
      if (!reserve(std::max(needed, 3 * std::int64_t{la_} / 2 + 1), Contents::kept))
        return SparseStatus::NoMemory;
      status = run(MA48_FACTOR_FREELY);
    }
    return status == MA48_STATUS_OK ? SparseStatus::Factorised : SparseStatus::Singular;
  }

  void note_facts() {
    const int n = system().order();
    facts_.rank = info(MA48_INFO_RANK);
    facts_.blocks = ma48blocks_(&n, &n, keep_.data(), nullptr, nullptr);
    facts_.factor_entries = ma48entries_(&n, &n, &la_, irn_.data(), keep_.data());
    facts_.operations = operations_;
  }

  double cntl_[MA48_CNTL_LENGTH] = {};
  int icntl_[MA48_ICNTL_LENGTH] = {}, info_[MA48_INFO_LENGTH] = {};
  int la_ = 0;
  double operations_ = 0;
  Array<double> a_, w_;
  Array<int> irn_, jcn_, keep_, iw_;
};

}  // namespace

Engine* make_ma48_engine(const System& system, int& growths) {
  auto* engine = new Ma48Engine(system, growths);
  if (engine && engine->allocate()) return engine;
  delete engine;
  return nullptr;
}

}  // namespace corvidnum::solver
