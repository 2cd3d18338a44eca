// A study of which one worker of the last rank fails. Prints what it threw, and ends all ranks with code 1.

#include <atomic>
#include <cstdio>
#include <exception>
#include <memory>
#include <stdexcept>

#include "apps/study/run.h"
#include "apps/study/study_file.h"

namespace {

/// Answers at once, but throws at one case.
class FailingOnce final : public study::CaseSolver {
 public:
  explicit FailingOnce(bool fails) : fails_(fails) {}

  study::CaseAnswer solve(const toml::table&, const std::vector<double>&) const override {
    constexpr int kFailing = 10;
    if (++solved_ == kFailing && fails_) throw std::runtime_error("one worker has failed");
    return {"", {0}, {}};
  }

 private:
  const bool fails_;
  mutable std::atomic<int> solved_{0};
};

}  // namespace

int main(int argc, char** argv) {
  constexpr int kThreads = 2;
  study::Ranks ranks(argc, argv);
  study::StudyFile file;
  file.study.parameters.resize(1);
  file.study.parameters[0].place = study::parse_place("a");
  file.study.parameters[0].spread = study::Spread::kRange;
  file.study.parameters[0].to = 1;
  file.study.parameters[0].count = 8000;  // more chunks than may be ahead of one that is missing
  file.study.base_text = "a = 0.0";
  file.study.results = {"r"};
  file.study.chunk = 1;
  file.solver = std::make_unique<FailingOnce>(ranks.rank() + 1 == ranks.size());
  try {
    run_study(file, study::Start::kCold, kThreads, 0, ranks, [](const std::string&) {});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    ranks.abort(1);
  }
  return 0;
}
