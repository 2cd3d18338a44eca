#include "apps/solve/system_page.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <filesystem>
#include <utility>
#include <vector>

#include "apps/solve/charts.h"
#include "apps/solve/pattern_picture.h"

namespace solve {
namespace {

using corvidnum::SparseStatus;
using report::Figure;
using report::Tone;

constexpr const char* kProgram = "corvidnum-solve";

std::string file_name(const std::string& path) { return std::filesystem::u8path(path).filename().u8string(); }

std::string time_text(double seconds) {
  if (seconds < 1e-3) return fmt::format("{:.0f} µs", 1e6 * seconds);
  return seconds < 1 ? fmt::format("{:.3g} ms", 1e3 * seconds) : fmt::format("{:.3g} s", seconds);
}

std::string error_text(double error) {
  if (error < 0) return "not judged";
  return std::isfinite(error) ? fmt::format("{:.1e}", error) : "not finite";
}

bool is_solved(const Report& facts) { return facts.found && facts.found->solved(); }

// ---- Facts

const char* outcome(const Report& facts, const std::string& fault) {
  if (is_solved(facts)) return "solved";
  if (facts.found && facts.found->status == SparseStatus::Inexact) return "inexact";
  if (facts.found && facts.found->deficit) return "singular";
  return fault.empty() ? "not asked for" : "no solution";
}

void add_facts(report::Page& page, const Report& facts, const std::string& fault, double bound) {
  const Tone tone = is_solved(facts) ? Tone::kGood : fault.empty() ? Tone::kPlain : Tone::kBad;
  std::vector<report::Fact> list{{"solution", outcome(facts, fault), tone},
                                 {"order", fmt::format("{}", facts.order)},
                                 {"entries", fmt::format("{}", facts.entries)}};
  if (is_solved(facts)) {
    const Attempt& a = *facts.found;
    list.push_back({"entries in the factors", fmt::format("{}", a.report.factor_entries)});
    list.push_back({"backward error", error_text(a.report.backward_error),
                    a.report.backward_error <= bound ? Tone::kGood : Tone::kBad});
    list.push_back({a.processes > 0 ? "componentwise condition estimate" : "condition estimate",
                    error_text(a.condition)});
  }
  page.facts(list);
}

/// Says which method solved the system, why that one, and how much the matrix has filled in.
void add_method(report::Page& page, const Report& facts) {
  if (!is_solved(facts)) return;
  const corvidnum::SparseReport& r = facts.found->report;
  const char* why = r.changed_methods > 0 ? "the better one of both, which were tried" : r.reason;
  const double fill =
      static_cast<double>(r.factor_entries) / std::max(1, r.entries > 0 ? r.entries : facts.entries);
  page.paragraph(
      fmt::format("Solved by {}: {}. The factors have {:.3g} times the entries of the matrix.{}",
                  method_name(*facts.found), why, fill,
                  facts.transposed ? " The system is that of the transpose of the matrix shown." : ""));
}

// ---- What is at fault

void add_list(report::Page& page, const std::string& name, const std::vector<int>& numbers) {
  constexpr std::size_t kMostNamed = 100;
  if (numbers.empty()) return;
  const auto named = static_cast<std::ptrdiff_t>(std::min(numbers.size(), kMostNamed));
  std::string text = fmt::format("{} ({}): {}", name, numbers.size(),
                                 fmt::join(numbers.begin(), numbers.begin() + named, ", "));
  if (numbers.size() > kMostNamed) text += fmt::format(" and {} more", numbers.size() - kMostNamed);
  page.paragraph(text + ".");
}

/// Adds the lists of one kind; of the transpose, the equations are the columns.
/// @param kind  with {} for "equations" and "unknowns"
void add_lists(report::Page& page, const char* kind, const RowsAndColumns& found, bool transposed) {
  add_list(page, fmt::format(fmt::runtime(kind), "equations"), transposed ? found.columns : found.rows);
  add_list(page, fmt::format(fmt::runtime(kind), "unknowns"), transposed ? found.rows : found.columns);
}

void add_fault(report::Page& page, const Report& facts, const std::string& fault) {
  if (fault.empty()) return;
  page.heading("Why there is no solution");
  if (!facts.found || !facts.found->deficit) return page.paragraph(fault + ".");
  page.paragraph(fault.substr(0, fault.find("; ")) + ".");  // the lists that follow there are longer here
  const Deficit& d = *facts.found->deficit;
  const RowsAndColumns &over = facts.transposed ? d.underdetermined : d.overdetermined,
                       &under = facts.transposed ? d.overdetermined : d.underdetermined;
  add_lists(page, "Unmatched {}", d.unmatched, facts.transposed);
  add_lists(page, "Over-determined part, {}", over, facts.transposed);
  add_lists(page, "Under-determined part, {}", under, facts.transposed);
  add_lists(page, "Without a pivot, {}", d.dependent, facts.transposed);
}

// ---- Pattern

void join(std::vector<int>& all, const std::vector<int>& more) {
  all.insert(all.end(), more.begin(), more.end());
}

/// Marks the rows and columns without a partner or a pivot.
Arrangement marked(Arrangement a, const Report& facts) {
  if (!facts.found || !facts.found->deficit) return a;
  const Deficit& d = *facts.found->deficit;
  for (const RowsAndColumns* found : {&d.unmatched, &d.dependent}) {
    join(a.marked_rows, found->rows);
    join(a.marked_columns, found->columns);
  }
  return a;
}

/// Makes the figures of the pattern one by one.
class Pictures {
 public:
  Pictures(const Matrix& matrix, const Report& facts) : matrix_(matrix), facts_(facts) {}

  void add(const std::string& title, const std::string& note, const Arrangement& arrangement) {
    const std::string id = fmt::format("pattern{}", figures_.size() + 1);
    const PatternPicture picture = pattern_picture(matrix_, marked(arrangement, facts_), title, id);
    Figure figure{title, picture.svg, note, report::Width::kThird};
    if (picture.cells < matrix_.rows)
      figure.note +=
          fmt::format(" A cell stands for {0} × {0} places; the stronger the colour, the more entries.",
                      (matrix_.rows + picture.cells - 1) / picture.cells);
    figures_.push_back(std::move(figure));
  }
  std::vector<Figure> take() { return std::move(figures_); }

 private:
  const Matrix& matrix_;
  const Report& facts_;
  std::vector<Figure> figures_;
};

std::string measures(const apps::Measures& m) {
  return fmt::format("Bandwidth {}, profile {}.", m.bandwidth, m.profile);
}

void add_patterns(report::Page& page, const Matrix& matrix, const Report& facts) {
  Pictures pictures(matrix, facts);
  const auto& reordering = facts.pattern.reordering;
  const bool is_singular = facts.found && facts.found->deficit;
  const char* marks = is_singular ? " Arrow heads mark rows and columns at fault." : "";
  pictures.add("As given",
               (reordering ? measures(reordering->before) : "Rows run down, columns to the right.") + marks,
               {});
  const int blocks = facts.found ? facts.found->form.count() : 0;
  if (blocks > 1) {
    pictures.add("In block triangular form",
                 "All entries stand in the diagonal blocks, which are outlined, or above them.",
                 by_blocks(facts.found->form));
  } else if (is_singular && facts.found->deficit->structural_rank < matrix.rows) {
    pictures.add(
        "By determined parts",
        "Outlined from the left: more columns than rows, as many, fewer. No entry stands below them.",
        by_deficit(*facts.found->deficit, matrix.rows));
  }
  if (reordering) {
    Arrangement a;
    for (const int number : reordering->numbering) a.row_place.push_back(number - 1);
    a.column_place = a.row_place;
    pictures.add(fmt::format("Reordered for {}", apps::name_of(reordering->goal)),
                 measures(reordering->after), a);
  }
  page.heading("Pattern");
  page.figures(pictures.take());
  if (blocks == 1)
    page.paragraph("The matrix is irreducible: in its block triangular form it is a single block.");
}

// ---- Blocks, times, errors

/// Counts blocks by their order in steps of powers of two.
Figure block_figure(const BlockForm& form) {
  struct Class {
    int blocks = 0, unknowns = 0, smallest = 0, largest = 0;
  };
  std::vector<Class> classes;
  for (std::size_t b = 0; b + 1 < form.begin.size(); ++b) {
    const int order = form.begin[b + 1] - form.begin[b];
    const auto k = static_cast<std::size_t>(std::ilogb(order));
    if (k >= classes.size()) classes.resize(k + 1);
    Class& c = classes[k];
    c.smallest = c.blocks == 0 ? order : std::min(c.smallest, order);
    c.largest = std::max(c.largest, order);
    ++c.blocks;
    c.unknowns += order;
  }
  std::vector<Value> values;
  for (const Class& c : classes) {
    if (c.blocks == 0) continue;
    const std::string orders = c.smallest == c.largest ? fmt::format("order {}", c.smallest)
                                                       : fmt::format("order {} to {}", c.smallest, c.largest);
    values.push_back({orders, static_cast<double>(c.unknowns),
                      fmt::format("{} {}", c.blocks, c.blocks == 1 ? "block" : "blocks")});
  }
  const std::string title =
      fmt::format("{} diagonal {}", form.count(), form.count() == 1 ? "block" : "blocks");
  return {title, bar_chart(title, values, "blocks"), "Bars are as long as there are unknowns in the blocks.",
          report::Width::kThird};
}

Figure time_figure(const Report& facts) {
  std::vector<Value> values;
  const auto add = [&values](const char* name, double seconds) {
    values.push_back({name, seconds, time_text(seconds)});
  };
  add("read", facts.read_time);
  if (facts.pattern.reordering) add("reorder", facts.pattern.seconds);
  if (facts.found) {
    add("factorise", facts.found->factorise_time);
    if (!facts.refactored_file.empty()) add("refactorise", facts.found->refactorise_time);
    if (is_solved(facts)) {
      add("solve", facts.found->solve_time);
      add("check", facts.found->check_time);
    }
  }
  return {"Time", bar_chart("Time", values, "times"),
          facts.found ? "Factorising includes the analysis of the pattern and the test for singularity." : "",
          report::Width::kThird};
}

void add_errors(std::vector<Value>& values, const Attempt& a, const std::string& prefix) {
  const corvidnum::SparseReport& r = a.report;
  if (r.backward_error < 0) return;
  const auto add = [&](const std::string& name, double error) {
    values.push_back({prefix + name, error, error_text(error)});
  };
  if (r.corrections == 0) return add("solution", r.backward_error);
  add("first solution", r.first_backward_error);
  add(fmt::format("after {} {}", r.corrections, r.corrections == 1 ? "correction" : "corrections"),
      r.backward_error);
}

std::vector<Value> errors(const Report& facts) {
  std::vector<Value> values;
  if (!facts.found) return values;
  const bool both = facts.other.has_value();
  for (const Attempt* a : {&*facts.found, both ? &*facts.other : nullptr})
    if (a) add_errors(values, *a, both ? fmt::format("{}, ", method_name(*a)) : "");
  return values;
}

void add_charts(report::Page& page, const Report& facts, double bound) {
  std::vector<Figure> figures;
  if (facts.found && facts.found->form.count() > 0) figures.push_back(block_figure(facts.found->form));
  figures.push_back(time_figure(facts));
  if (const std::vector<Value> values = errors(facts); !values.empty()) {
    const char* title = "Componentwise backward error";
    const std::vector<Bound> bounds{{"rounding", DBL_EPSILON / 2}, {"bound", bound}};
    figures.push_back({title, log_chart(title, values, bounds, "errors"), "", report::Width::kThird});
  }
  page.heading("Blocks, times and errors");
  page.figures(figures);
}

void add_methods(report::Page& page, const Report& facts) {
  if (!facts.other) return;
  report::Table table{"",
                      {{"method", true},
                       "factorise",
                       "solve",
                       "entries in the factors",
                       "operations",
                       "backward error",
                       {"", true}},
                      {}};
  for (const Attempt* a : {&*facts.found, &*facts.other})
    table.rows.push_back(
        {method_name(*a), time_text(a->factorise_time + a->refactorise_time), time_text(a->solve_time),
         fmt::format("{}", a->report.factor_entries), fmt::format("{:.3g}", a->report.operations),
         error_text(a->report.backward_error),
         a->solved() ? report::Cell("solved", Tone::kGood) : report::Cell("not solved", Tone::kBad)});
  page.heading("Both methods");
  page.table(table);
}

}  // namespace

report::Page page_of(const Matrix& matrix, const Report& facts, const std::string& fault, double bound) {
  report::Page page(file_name(facts.file), kProgram);
  add_facts(page, facts, fault, bound);
  add_method(page, facts);
  add_fault(page, facts, fault);
  if (static_cast<int>(matrix.value.size()) == facts.entries)
    add_patterns(page, matrix, facts);
  else
    page.paragraph("The entries are spread over the processes, so that there is no picture of the pattern.");
  add_charts(page, facts, bound);
  add_methods(page, facts);
  return page;
}

report::Entry entry_of(const Report& facts, const std::string& fault) {
  report::Entry entry;
  entry.what = file_name(facts.file);
  entry.size = fmt::format("order {}", facts.order);
  entry.seconds = facts.pattern.seconds;
  if (facts.found)
    entry.seconds += facts.found->factorise_time + facts.found->refactorise_time + facts.found->solve_time;
  entry.error = is_solved(facts) ? "backward error " + error_text(facts.found->report.backward_error)
                : fault.empty()  ? ""
                                 : outcome(facts, fault);
  return entry;
}

}  // namespace solve
