// A study whose last rank is an odd one.
//   study_odd_rank fails  one of its workers fails: prints what it threw, and ends all ranks with code 1
//
//   study_odd_rank naps   it naps in a chunk while its rows, which are large, are under way to rank 0; ends
//   with
//                         code 1 if rank 0 has stood still meanwhile

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "apps/study/ordered_rows.h"
#include "apps/study/run.h"
#include "apps/study/study_file.h"

namespace {

using Clock = std::chrono::steady_clock;

/// Answers by a function of the number of cases that have been solved so far, this one among them.
class Solver final : public study::CaseSolver {
 public:
  using Answer = std::function<study::CaseAnswer(int solved)>;

  explicit Solver(Answer answer) : answer_(std::move(answer)) {}

  study::CaseAnswer solve(const toml::table&, const std::vector<double>&) const override {
    return answer_(++solved_);
  }

 private:
  const Answer answer_;
  mutable std::atomic<int> solved_{0};
};

/// Returns a study of chunks of one case.
study::StudyFile study_of(int cases, Solver::Answer answer) {
  study::StudyFile file;
  file.study.parameters.resize(1);
  file.study.parameters[0].place = study::parse_place("a");
  file.study.parameters[0].spread = study::Spread::kRange;
  file.study.parameters[0].to = 1;
  file.study.parameters[0].count = cases;
  file.study.base_text = "a = 0.0";
  file.study.results = {"r"};
  file.study.chunk = 1;
  file.solver = std::make_unique<Solver>(std::move(answer));
  return file;
}

void solve(const study::StudyFile& file, int threads, study::Ranks& ranks) {
  run_study(file, study::Start::kCold, threads, 0, ranks, [](const std::string&) {});
}

void run_failing(study::Ranks& ranks, bool is_odd) {
  constexpr int kThreads = 2, kFailing = 10;
  constexpr int kCases = 8000;  // more chunks than may be ahead of one that is missing
  const auto answer = [is_odd](int solved) {
    if (is_odd && solved == kFailing) throw std::runtime_error("one worker has failed");
    return study::CaseAnswer{"", {0}, {}};
  };
  solve(study_of(kCases, answer), kThreads, ranks);
}

/// A row gets its length from the reason why its case has no answer.
study::CaseAnswer answer_of_napping(int solved) {
  constexpr int kLargeRow = 1 << 20;
  if (solved == 2) std::this_thread::sleep_for(std::chrono::seconds(3));
  return {std::string(kLargeRow, 'x'), {}, {}};
}

void run_napping(study::Ranks& ranks, bool is_odd) {
  constexpr int kCases = study::kWindow;
  Clock::duration longest{0};
  Clock::time_point last = Clock::now();
  const auto answer = [&](int solved) {
    if (is_odd) return answer_of_napping(solved);
    const Clock::time_point now = Clock::now();
    longest = std::max(longest, now - last);
    last = now;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return study::CaseAnswer{"", {0}, {}};
  };
  solve(study_of(kCases, answer), 1, ranks);
  if (longest > std::chrono::milliseconds(1500)) throw std::runtime_error("rank 0 has stood still");
}

}  // namespace

int main(int argc, char** argv) {
  study::Ranks ranks(argc, argv);
  const bool is_odd = ranks.rank() + 1 == ranks.size();
  try {
    (argc > 1 && argv[1] == std::string("naps") ? run_napping : run_failing)(ranks, is_odd);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    ranks.abort(1);
  }
  return 0;
}
