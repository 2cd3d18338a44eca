#include "apps/solve/report.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include "apps/common/output.h"

namespace solve {
namespace {

using apps::Page;
using corvidnum::SparseMethod;
using corvidnum::SparseReport;
using corvidnum::SparseStatus;

bool is_solved(const Report& r) { return r.found && r.found->solved(); }

std::string seconds(double time) { return fmt::format("{:.6f} s", time); }

std::string error_size(double error) {
  return std::isfinite(error) ? fmt::format("{:.2e}", error) : "not available";
}

void add_line(Page& page, std::string_view name, const std::string& value) {
  page.add("{:<24} {}\n", name, value);
}

// ---- Both methods

const char* outcome(const Attempt& a) {
  switch (a.status) {
    case SparseStatus::Solved:
      return "solved";
    case SparseStatus::Inexact:
      return "inexact";
    case SparseStatus::Singular:
      return "singular";
    case SparseStatus::NoMemory:
      return "no memory";
    default:
      return "failed";
  }
}

/// Returns the attempts in the order of the methods.
std::vector<const Attempt*> attempts(const Report& r) {
  std::vector<const Attempt*> both{&*r.found, &*r.other};
  if (both[0]->report.method == SparseMethod::ma38) std::swap(both[0], both[1]);
  return both;
}

/// Returns the largest difference of two solutions, relative to the largest element.
double difference(const Attempt& a, const Attempt& b) {
  double largest = 0, apart = 0;
  for (std::size_t i = 0; i < a.x.size(); ++i) {
    largest = std::max(largest, std::abs(a.x[i]));
    apart = std::max(apart, std::abs(a.x[i] - b.x[i]));
  }
  return apart == 0 ? 0 : apart / largest;
}

bool agree(const Attempt& a, const Attempt& b) {
  if (!a.solved() || !b.solved()) return a.status == b.status;
  return difference(a, b) <= a.forward_error + b.forward_error;
}

std::string comparison(const Attempt& a, const Attempt& b) {
  const char* disagree = agree(a, b) ? "" : "; the methods disagree";
  if (a.solved() && b.solved())
    return fmt::format(
        "the solutions differ by {:.1e} of the largest element, {} the bounds of their errors{}",
        difference(a, b), *disagree ? "more than" : "within", disagree);
  if (!a.solved() && !b.solved()) return std::string("neither method solves the system") + disagree;
  return fmt::format("only {} solves the system{}", method_name(a.solved() ? a : b), disagree);
}

void add_both(Page& page, const Report& r) {
  page.add("{:<8} {:>14} {:>14} {:>14} {:>12} {:>14}  {}\n", "method", "factorise", "solve", "factor entries",
           "operations", "backward error", "status");
  for (const Attempt* a : attempts(r)) {
    const double error = a->report.backward_error;
    page.add("{:<8} {:>14} {:>14} {:>14} {:>12.3g} {:>14}  {}\n", method_name(*a),
             seconds(a->factorise_time + a->refactorise_time), seconds(a->solve_time),
             a->report.factor_entries, a->report.operations, error < 0 ? "-" : error_size(error),
             outcome(*a));
  }
  page.add("{}\n\n", comparison(*r.found, *r.other));
}

// ---- The solution

std::string blocks(const BlockCounts& counts) {
  if (counts.largest == 0) return "not looked for";
  return fmt::format("{}, {} of order 1, order of the largest {}", counts.all, counts.of_order_1,
                     counts.largest);
}

const char* reason(const SparseReport& facts) {
  return facts.changed_methods > 0 ? "the better one of both, which were tried" : facts.reason;
}

std::string pivots(const SparseReport& facts) {
  const double tolerance = facts.threshold > DBL_MIN ? facts.threshold : 0;  // 0 was asked for as DBL_MIN
  return fmt::format("tolerance {:g}{}", tolerance, facts.prefers_diagonal ? ", the diagonal preferred" : "");
}

void add_matrix(Page& page, const Report& r) {
  add_line(page, "matrix", r.file + (r.transposed ? ", transposed" : ""));
  const int summed = is_solved(r) ? r.found->report.duplicates : 0;
  if (is_solved(r))
    add_line(page, "solver", fmt::format("{}: {}", method_name(*r.found), reason(r.found->report)));
  add_line(page, "order", fmt::format("{}", r.order));
  add_line(
      page, "entries",
      fmt::format("{}{}", r.entries, summed > 0 ? fmt::format(", of them {} summed to others", summed) : ""));
}

void add_factors(Page& page, const Attempt& a) {
  add_line(page, "blocks", blocks(a.blocks));
  add_line(page, "pivots", pivots(a.report));
  add_line(page, "entries in the factors", fmt::format("{}", a.report.factor_entries));
  add_line(page, "operations", fmt::format("{:g}", a.report.operations));
  if (a.processes == 0) return;
  add_line(page, "processes", fmt::format("{}", a.processes));
  add_line(page, "memory", fmt::format("{} MB, of the largest process {} MB", a.memory, a.largest_memory));
}

void add_pattern(Page& page, const PatternFacts& pattern) {
  if (const auto& found = pattern.reordering) {
    const auto pair = [](auto before, auto after) { return fmt::format("{}, reordered {}", before, after); };
    add_line(page, "reordered for", apps::name_of(found->goal));
    add_line(page, "bandwidth", pair(found->before.bandwidth, found->after.bandwidth));
    add_line(page, "profile", pair(found->before.profile, found->after.profile));
  }
  for (const std::string& path : pattern.pictures) add_line(page, "picture", path);
}

void add_times(Page& page, const Report& r) {
  add_line(page, "time to read", seconds(r.read_time));
  if (r.pattern.reordering) add_line(page, "time to reorder", seconds(r.pattern.seconds));
  if (!is_solved(r)) return;
  const Attempt& a = *r.found;
  add_line(page, "time to factorise", seconds(a.factorise_time));
  if (!r.refactored_file.empty())
    add_line(page, "time to refactorise",
             fmt::format("{}, {}, {}", seconds(a.refactorise_time), r.refactored_file,
                         a.new_pivots ? "with new pivots: the old ones did not suit" : "on the same pivots"));
  add_line(page, "time to solve", seconds(a.solve_time));
  add_line(page, "time to check", seconds(a.check_time));
}

/// Above this, a forward error is told even if nobody asked for it.
constexpr double kLargeForwardError = 0.01;

bool tells_forward_error(const Report& r) {
  return r.estimate || !(r.found->forward_error <= kLargeForwardError);
}

/// Says what a large forward error means; empty for a small one.
std::string sure_digits(double forward_error) {
  if (forward_error <= kLargeForwardError) return "";
  return forward_error < 0.1 ? ", so that only the first digit can be relied on"
                             : ", so that not even the first digit can be relied on";
}

std::string repairs(const SparseReport& facts) {
  std::string text;
  const auto add = [&text](int count, const char* what) {
    if (count > 0) text += (text.empty() ? "" : ", ") + std::string(what);
  };
  add(facts.new_pivots, "new pivots");
  add(facts.raised_thresholds, "a higher pivot tolerance");
  add(facts.changed_methods, "the other method");
  return text;
}

void add_errors(Page& page, const Report& r) {
  const Attempt& a = *r.found;
  add_line(page, "backward error", error_size(a.report.backward_error));
  if (a.report.corrections > 0)
    add_line(page, "corrections",
             fmt::format("{}, backward error without {}", a.report.corrections,
                         error_size(a.report.first_backward_error)));
  if (const std::string made = repairs(a.report); !made.empty()) add_line(page, "repairs", made);
  add_line(page, "condition estimate",
           error_size(a.condition) + (a.processes > 0 ? ", of componentwise errors" : ""));
  if (tells_forward_error(r))
    add_line(page, "forward error bound", error_size(a.forward_error) + sure_digits(a.forward_error));
}

// ---- JSON

std::string json_text(std::string_view text) {
  std::string out = "\"";
  for (const char ch : text) {
    if (ch == '"' || ch == '\\')
      out += fmt::format("\\{}", ch);
    else if (static_cast<unsigned char>(ch) < 0x20)
      out += fmt::format("\\u{:04x}", static_cast<unsigned>(ch));
    else
      out += ch;
  }
  return out + '"';
}

std::string number(double value) { return std::isfinite(value) ? fmt::format("{}", value) : "null"; }

void add_pattern_json(Page& page, const PatternFacts& pattern) {
  if (const auto& found = pattern.reordering)
    page.add(
        "  \"reordered_for\": \"{}\",\n"
        "  \"bandwidth\": {{\"before\": {}, \"after\": {}}},\n"
        "  \"profile\": {{\"before\": {}, \"after\": {}}},\n",
        apps::name_of(found->goal), found->before.bandwidth, found->after.bandwidth, found->before.profile,
        found->after.profile);
  if (pattern.pictures.empty()) return;
  std::string paths;
  for (const std::string& path : pattern.pictures) paths += (paths.empty() ? "" : ", ") + json_text(path);
  page.add("  \"pictures\": [{}],\n", paths);
}

void add_both_json(Page& page, const Report& r) {
  page.add("  \"methods\": [");
  const char* separator = "\n";
  for (const Attempt* a : attempts(r)) {
    const double error = a->report.backward_error;
    page.add(
        "{}    {{\"method\": \"{}\", \"factorise\": {}, \"solve\": {}, \"factor_entries\": {}, "
        "\"operations\": {}, \"backward_error\": {}, \"status\": \"{}\"}}",
        separator, method_name(*a), number(a->factorise_time + a->refactorise_time), number(a->solve_time),
        a->report.factor_entries, number(a->report.operations), error < 0 ? "null" : number(error),
        outcome(*a));
    separator = ",\n";
  }
  page.add("\n  ],\n  \"methods_agree\": {},\n", agree(*r.found, *r.other));
}

void add_factors_json(Page& page, const Attempt& a) {
  const SparseReport& facts = a.report;
  if (a.processes == 0)  // of entries that are spread, nobody counts them
    page.add("  \"duplicates\": {},\n  \"pattern_symmetry\": {},\n", facts.duplicates,
             number(facts.pattern_symmetry));
  if (a.blocks.largest > 0)
    page.add("  \"blocks\": {},\n  \"largest_block\": {},\n  \"singletons\": {},\n", a.blocks.all,
             a.blocks.largest, a.blocks.of_order_1);
  page.add("  \"pivot_tolerance\": {},\n  \"prefers_diagonal\": {},\n", number(facts.threshold),
           facts.prefers_diagonal != 0);
  page.add("  \"factor_entries\": {},\n  \"operations\": {},\n", facts.factor_entries,
           number(facts.operations));
  if (a.processes > 0)
    page.add("  \"processes\": {},\n  \"memory_mb\": {{\"all\": {}, \"largest\": {}}},\n", a.processes,
             a.memory, a.largest_memory);
}

void add_times_json(Page& page, const Report& r) {
  page.add("  \"seconds\": {{\"read\": {}", number(r.read_time));
  if (r.pattern.reordering) page.add(", \"reorder\": {}", number(r.pattern.seconds));
  if (is_solved(r)) {
    page.add(", \"factorise\": {}", number(r.found->factorise_time));
    if (!r.refactored_file.empty()) page.add(", \"refactorise\": {}", number(r.found->refactorise_time));
    page.add(", \"solve\": {}, \"check\": {}", number(r.found->solve_time), number(r.found->check_time));
  }
  page.add("}}");
}

void add_errors_json(Page& page, const Report& r) {
  const Attempt& a = *r.found;
  if (!r.refactored_file.empty())
    page.add(",\n  \"refactored_with\": {},\n  \"new_pivots\": {}", json_text(r.refactored_file),
             a.new_pivots);
  page.add(",\n  \"backward_error\": {},\n  \"first_backward_error\": {},\n  \"corrections\": {}",
           number(a.report.backward_error), number(a.report.first_backward_error), a.report.corrections);
  page.add(",\n  \"repairs\": {},\n  \"condition\": {}", json_text(repairs(a.report)), number(a.condition));
  if (tells_forward_error(r)) page.add(",\n  \"forward_error\": {}", number(a.forward_error));
}

bool shows_solution(const Report& r) {
  constexpr std::size_t kMostShown = 20;
  return r.shows_solution && is_solved(r) && r.found->x.size() <= kMostShown;
}

void add_solution(Page& page, const std::vector<double>& x) {
  page.add("solution\n");
  for (std::size_t i = 0; i < x.size(); ++i) page.add("{:>8} {:>20.12g}\n", i + 1, x[i]);
}

void add_solution_json(Page& page, const std::vector<double>& x) {
  page.add(",\n  \"solution\": [");
  for (std::size_t i = 0; i < x.size(); ++i) page.add("{}{}", i == 0 ? "" : ", ", number(x[i]));
  page.add("]");
}

}  // namespace

std::string report_text(const Report& report) {
  Page page;
  if (report.other) add_both(page, report);
  add_matrix(page, report);
  if (is_solved(report)) add_factors(page, *report.found);
  add_pattern(page, report.pattern);
  add_times(page, report);
  if (is_solved(report)) add_errors(page, report);
  if (shows_solution(report)) add_solution(page, report.found->x);
  return page.take();
}

std::string report_json(const Report& r) {
  Page page;
  page.add("{{\n  \"matrix\": {},\n  \"transposed\": {},\n", json_text(r.file), r.transposed);
  if (r.other) add_both_json(page, r);
  if (is_solved(r))
    page.add("  \"solver\": \"{}\",\n  \"solver_because\": {},\n", method_name(*r.found),
             json_text(reason(r.found->report)));
  page.add("  \"order\": {},\n  \"entries\": {},\n", r.order, r.entries);
  add_pattern_json(page, r.pattern);
  if (is_solved(r)) add_factors_json(page, *r.found);
  add_times_json(page, r);
  if (is_solved(r)) add_errors_json(page, r);
  if (shows_solution(r)) add_solution_json(page, r.found->x);
  page.add("\n}}\n");
  return page.take();
}

}  // namespace solve
