#include "apps/study/chunk.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include "apps/common/output.h"
#include "apps/study/sampling.h"

namespace study {
namespace {

/// The answers of a chunk so far, from which its next cases may start.
class Neighbours {
 public:
  explicit Neighbours(const Study& study) {
    for (const Parameter& p : study.parameters) spans_.push_back(span(p));
  }

  void add(std::vector<double> values, std::vector<double> start) {
    known_.push_back({std::move(values), std::move(start)});
  }

  /// Returns what the nearest case may be started from; of several that are as near, the last one. Empty if
  /// there is none.
  const std::vector<double>& nearest(const std::vector<double>& values) const {
    static const std::vector<double> none;
    const std::vector<double>* found = &none;
    double least = HUGE_VAL;
    for (const Known& k : known_) {
      const double far = distance(k.values, values);
      if (far > least) continue;
      least = far;
      found = &k.start;
    }
    return *found;
  }

 private:
  struct Known {
    std::vector<double> values, start;
  };

  /// Returns the square of the distance, in the spans of the parameters.
  double distance(const std::vector<double>& a, const std::vector<double>& b) const {
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
      const double part = (a[i] - b[i]) / spans_[i];
      sum += part * part;
    }
    return sum;
  }

  std::vector<double> spans_;
  std::vector<Known> known_;
};

void append_numbers(std::string& row, const std::vector<double>& numbers) {
  for (const double number : numbers) {
    row += ',';
    if (!std::isnan(number)) fmt::format_to(std::back_inserter(row), "{}", number);
  }
}

std::string row_of(std::int64_t number, const std::vector<double>& values, const CaseAnswer& answer,
                   std::size_t results) {
  std::string row = fmt::format("{}", number + 1);
  append_numbers(row, values);
  append_numbers(row, answer.fault.empty() ? answer.results : std::vector<double>(results, std::nan("")));
  return row + ',' + apps::csv_field(answer.fault.empty() ? "ok" : answer.fault) + '\n';
}

/// Returns a fault as one line.
std::string one_line(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](unsigned char ch) { return ch < ' '; }, ' ');
  return text;
}

}  // namespace

std::int64_t chunk_count(const Study& study) { return (case_count(study) + study.chunk - 1) / study.chunk; }

std::int64_t cases_before(const Study& study, std::int64_t chunk) {
  return std::min(chunk * study.chunk, case_count(study));
}

std::string heading(const Study& study) {
  std::string row = "case";
  for (const Parameter& p : study.parameters) row += ',' + apps::csv_field(p.name);
  for (const std::string& result : study.results) row += ',' + apps::csv_field(result);
  return row + ",outcome\n";
}

std::string rows_of_chunk(const StudyFile& file, std::int64_t chunk, Start start) {
  const Study& study = file.study;
  static const std::vector<double> cold;
  const auto base = apps::parse_case_text<toml::table>(study.base_text, study.base_path,
                                                       [](const toml::table& t) { return t; });
  Neighbours neighbours(study);
  std::string rows;
  for (std::int64_t number = cases_before(study, chunk); number < cases_before(study, chunk + 1); ++number) {
    std::vector<double> values = values_of_case(study, number);
    toml::table changed = base;
    for (std::size_t i = 0; i < values.size(); ++i) set_number(changed, study.parameters[i].place, values[i]);
    CaseAnswer answer =
        file.solver->solve(changed, start == Start::kWarm ? neighbours.nearest(values) : cold);
    answer.fault = one_line(std::move(answer.fault));
    rows += row_of(number, values, answer, study.results.size());
    if (answer.fault.empty() && start == Start::kWarm)
      neighbours.add(std::move(values), std::move(answer.start));
  }
  expect_unchanged_files(file);
  return rows;
}

}  // namespace study
