// Writes files of results.

#include "bench/support/result_lines.h"

#include <algorithm>
#include <cmath>
#include <iomanip>

#include "bench/support/run.h"

namespace bench {

void ResultLines::add(const std::string& run, const std::string& measure, double value) {
  const auto [place, is_new] = values_.emplace(std::pair(run, measure), value);
  if (!is_new) place->second = std::min(place->second, value);
}

void ResultLines::write(std::ostream& out) const {
  constexpr int kDigits = 4;
  for (const auto& [name, value] : conditions())
    if (name != kBlasFile) out << "#\t" << name << '\t' << value << '\n';
  for (const auto& [key, value] : values_) {
    const bool is_count = value >= 1000 && value == std::floor(value);
    out << key.first << '\t' << key.second << '\t' << std::setprecision(is_count ? 12 : kDigits) << value
        << '\n';
  }
}

void ResultReporter::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    if (run.run_type != Run::RT_Iteration) continue;
    std::string name = run.run_name.function_name;
    if (!run.run_name.args.empty()) name += '/' + run.run_name.args;
    if (run.error_occurred) {
      lines_.add(name, run.error_message, 1);
      continue;
    }
    for (const char* counter : {"best", "ours", "peer", "operations", "level3", "n", "entries"}) {
      const auto found = run.counters.find(counter);
      if (found != run.counters.end()) lines_.add(name, counter, found->second.value);
    }
  }
}

void ResultReporter::Finalize() {
  lines_.write(GetOutputStream());
  is_written_ = !GetOutputStream().flush().fail();
}

}  // namespace bench
