#include "apps/solve/report.h"

#include <cmath>
#include <string_view>

#include "apps/common/output.h"
#include "apps/solve/refinement.h"

namespace solve {
namespace {

using apps::Page;

std::string seconds(double time) { return fmt::format("{:.6f} s", time); }

std::string error_size(double error) {
  return std::isfinite(error) ? fmt::format("{:.2e}", error) : "not available";
}

void add_line(Page& page, std::string_view name, const std::string& value) {
  page.add("{:<24} {}\n", name, value);
}

std::string blocks(const Facts& facts) {
  std::string text = fmt::format("{}", facts.blocks);
  if (facts.singletons) text += fmt::format(", {} of order 1", *facts.singletons);
  if (!facts.largest_block) return text;
  if (*facts.largest_block == 0) return text + ", all triangular";
  return text + fmt::format(", order of the largest that is not triangular {}", *facts.largest_block);
}

std::string operations(const Report& r) {
  std::string text = fmt::format("{:g}", r.facts.operations);
  if (const auto level3 = r.facts.level3_operations; level3 && r.facts.operations > 0)
    text += fmt::format(", {:.0f} % between dense matrices", 100 * *level3 / r.facts.operations);
  if (r.refactored_file.empty()) return text;
  return text + (r.new_pivots ? ", to factorise " : ", to refactorise ") + r.refactored_file;
}

void add_matrix(Page& page, const Report& r) {
  const Facts& facts = r.facts;
  add_line(page, "matrix", r.file + (r.transposed ? ", transposed" : ""));
  if (r.solved) add_line(page, "solver", name_of(r.method));
  add_line(page, "order", fmt::format("{}", r.order));
  add_line(page, "entries",
           fmt::format(
               "{}{}", r.entries,
               facts.duplicates > 0 ? fmt::format(", of them {} summed to others", facts.duplicates) : ""));
}

void add_factors(Page& page, const Report& r) {
  const Facts& facts = r.facts;
  add_line(page, "blocks", blocks(facts));
  if (facts.structural_rank) add_line(page, "structural rank", fmt::format("{}", *facts.structural_rank));
  add_line(page, "numerical rank", fmt::format("{}", facts.rank));
  add_line(page, "entries in the factors", fmt::format("{}", facts.factor_entries));
  if (facts.kept_reals && facts.kept_indices)
    add_line(page, "kept", fmt::format("{} numbers, {} indices", *facts.kept_reals, *facts.kept_indices));
  add_line(page, "operations", operations(r));
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
  if (!r.solved) return;
  if (r.analysed) add_line(page, "time to analyse", seconds(r.analyse_time));
  add_line(page, "time to factorise", seconds(r.factorise_time));
  if (!r.refactored_file.empty())
    add_line(page, "time to refactorise",
             fmt::format("{}, {}, {}", seconds(r.refactorise_time), r.refactored_file,
                         r.new_pivots ? "with new pivots: the old ones did not suit" : "on the same pivots"));
  add_line(page, "time to solve", seconds(r.solve_time));
  add_line(page, "time to check", seconds(r.check_time));
}

/// Above this, a forward error is told even if nobody asked for it.
constexpr double kLargeForwardError = 0.01;

bool leaves_few_digits(double forward_error) {
  return std::isfinite(forward_error) && forward_error > kLargeForwardError;
}

bool tells_forward_error(const Report& r) {
  return r.estimate || leaves_few_digits(r.solution.forward_error);
}

/// Says what a large forward error means; empty for a small one.
std::string sure_digits(double forward_error) {
  if (!leaves_few_digits(forward_error)) return "";
  return forward_error < 0.1 ? ", so that only the first digit can be relied on"
                             : ", so that not even the first digit can be relied on";
}

void add_errors(Page& page, const Report& r) {
  const Solution& found = r.solution;
  add_line(page, "scaled residual", error_size(r.residual));
  if (const auto& errors = found.backward_errors)
    add_line(page, "backward errors", error_size(errors->omega1) + ' ' + error_size(errors->omega2));
  if (found.refinements)
    add_line(page, "refinement steps",
             fmt::format("{}", *found.refinements) +
                 (r.refine ? "" : fmt::format(", since the backward errors were above {:g}", kInexact)));
  if (!found.refined) add_line(page, "refinement", "did not settle");
  if (tells_forward_error(r))
    add_line(page, "forward error estimate",
             error_size(found.forward_error) + sure_digits(found.forward_error));
}

std::string quoted(std::string_view text) {
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
  for (const std::string& path : pattern.pictures) paths += (paths.empty() ? "" : ", ") + quoted(path);
  page.add("  \"pictures\": [{}],\n", paths);
}

void add_facts_json(Page& page, const Facts& facts) {
  const auto add = [&page](const char* name, const auto& figure) {
    if (figure) page.add("  \"{}\": {},\n", name, *figure);
  };
  page.add("  \"blocks\": {},\n", facts.blocks);
  add("largest_block", facts.largest_block);
  add("singletons", facts.singletons);
  add("structural_rank", facts.structural_rank);
  page.add("  \"numerical_rank\": {},\n  \"factor_entries\": {},\n  \"operations\": {},\n", facts.rank,
           facts.factor_entries, number(facts.operations));
  add("level3_operations", facts.level3_operations);
  add("kept_numbers", facts.kept_reals);
  add("kept_indices", facts.kept_indices);
}

void add_times_json(Page& page, const Report& r) {
  page.add("  \"seconds\": {{\"read\": {}", number(r.read_time));
  if (r.pattern.reordering) page.add(", \"reorder\": {}", number(r.pattern.seconds));
  if (r.solved) {
    if (r.analysed) page.add(", \"analyse\": {}", number(r.analyse_time));
    page.add(", \"factorise\": {}", number(r.factorise_time));
    if (!r.refactored_file.empty()) page.add(", \"refactorise\": {}", number(r.refactorise_time));
    page.add(", \"solve\": {}, \"check\": {}", number(r.solve_time), number(r.check_time));
  }
  page.add("}}");
}

void add_errors_json(Page& page, const Report& r) {
  const Solution& found = r.solution;
  if (!r.refactored_file.empty())
    page.add(",\n  \"refactored_with\": {0},\n  \"operations_of\": {0},\n  \"new_pivots\": {1}",
             quoted(r.refactored_file), r.new_pivots);
  page.add(",\n  \"scaled_residual\": {}", number(r.residual));
  if (const auto& errors = found.backward_errors)
    page.add(",\n  \"backward_errors\": [{}, {}]", number(errors->omega1), number(errors->omega2));
  if (found.refinements)
    page.add(",\n  \"refined\": {},\n  \"refinements\": {}", found.refined, *found.refinements);
  if (tells_forward_error(r)) page.add(",\n  \"forward_error\": {}", number(found.forward_error));
}

}  // namespace

std::string report_text(const Report& report) {
  Page page;
  add_matrix(page, report);
  if (report.solved) add_factors(page, report);
  add_pattern(page, report.pattern);
  add_times(page, report);
  if (report.solved) add_errors(page, report);
  return page.take();
}

std::string report_json(const Report& r) {
  Page page;
  page.add("{{\n  \"matrix\": {},\n  \"transposed\": {},\n", quoted(r.file), r.transposed);
  if (r.solved) page.add("  \"solver\": \"{}\",\n", name_of(r.method));
  page.add("  \"order\": {},\n  \"entries\": {},\n", r.order, r.entries);
  if (r.solved) page.add("  \"duplicates\": {},\n", r.facts.duplicates);
  add_pattern_json(page, r.pattern);
  if (r.solved) add_facts_json(page, r.facts);
  add_times_json(page, r);
  if (r.solved) add_errors_json(page, r);
  page.add("\n}}\n");
  return page.take();
}

}  // namespace solve
