// Makes the tables of the sparse solvers.

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "bench/page/markdown.h"
#include "bench/page/measures.h"
#include "bench/page/tables.h"

namespace page {
namespace {

/// The three tasks of a sparse solver, and what they are called in the page.
const std::vector<std::pair<std::string, std::string>> kTasks = {
    {"analyse", "analyse and factorise"}, {"refactorise", "new values"}, {"solve", "solve"}};

/// Calls visit(family, order) for all matrices of the families that were measured.
template <class Visit>
void each_matrix(const Results& results, const std::vector<std::string>& families, Visit&& visit) {
  for (const std::string& family : families)
    for (const std::string& order : results.below("analyse/" + family)) visit(family, order);
}

/// Returns whether a solver is left out of a case: ma48 takes too long on cubes above order 1e4. Such cells
/// stay empty.
bool is_left_out(const std::string& solver, const std::string& family, const std::string& order) {
  return solver == "ma48" && family == "cube" && std::stod(order) > 10000;
}

/// A table of ratios whose last row holds geometric means. All are taken over the same rows, those in which
/// every ratio is known, so that they can be compared.
class RatioTable {
 public:
  RatioTable(Row head, std::size_t names) : table_(head), columns_(head.size() - names), names_(names) {}
  /// @param left_out of each ratio, whether it is not meant to be measured
  void add(Row names, const std::vector<Value>& ratios, const std::vector<bool>& left_out) {
    const bool complete = std::all_of(ratios.begin(), ratios.end(), [](Value ratio) { return !!ratio; });
    for (std::size_t k = 0; k < ratios.size(); ++k) {
      names.push_back(left_out[k] ? "" : two_digits(ratios[k]));
      if (complete) columns_[k].push_back(*ratios[k]);
    }
    table_.add(names);
  }
  std::string text() {
    Row row = {"geometric mean of rows without a gap"};
    row.resize(names_);
    for (const std::vector<double>& column : columns_) row.push_back(two_digits(geometric_mean(column)));
    table_.add(row);
    return table_.text();
  }

 private:
  Table table_;
  std::vector<std::vector<double>> columns_;
  std::size_t names_;
};

std::string ratios(const Results& results) {
  Row head = {"matrix", "order"};
  for (const char* solver : {"`ma48`: ", "`ma38`: "})
    for (const auto& [what, task] : kTasks) head.push_back((what == "analyse" ? solver : "") + task);
  RatioTable table(head, 2);
  each_matrix(results, kFamilies, [&](const std::string& family, const std::string& order) {
    std::vector<Value> ratios;
    std::vector<bool> left_out;
    for (const char* solver : {"ma48", "ma38"})
      for (const auto& [what, task] : kTasks) {
        ratios.push_back(ratio_to_fastest(results, what, family, order, solver));
        left_out.push_back(is_left_out(solver, family, order));
      }
    table.add({code(family), order_text(order)}, ratios, left_out);
  });
  return table.text();
}

std::string grids(const Results& results) {
  Table table({"grid", "order", "analyse and factorise", "new values", "solve", "by matrix-matrix kernels"});
  each_matrix(results, {"square", "cube"}, [&](const std::string& family, const std::string& order) {
    Row row = {code(family), order_text(order)};
    for (const auto& [what, task] : kTasks) {
      const Value ours = seconds(results, what, family, order, "ma38");
      const Value peer = seconds(results, what, family, order, "SuperLU");
      row.push_back(two_digits(ours && peer ? Value(*ours / *peer) : std::nullopt));
    }
    row.push_back(two_digits(results.value("analyse/" + family + '/' + order + "/ma38", "level3")));
    table.add(row);
  });
  return table.text();
}

/// Writes operations and time of a run of ma38 with the controls of `solver`. Only where fronts grow little
/// without the diagonal preferred is a wrong solution a result.
std::string of_controls(const Results& results, const std::string& matrix, const std::string& solver) {
  const std::string run = "controls/" + matrix + '/' + solver;
  if (solver == "ma38_growth" && results.value(run, "wrong solution")) return "wrong solution";
  const Value best = results.value(run, "best");
  return best ? large_count(results.value(run, "operations")) + ", " + milliseconds(best) + " ms" : kNone;
}

std::string controls(const Results& results) {
  std::vector<std::string> matrices;
  Row head = {"controls"};
  for (const std::string family : {"square", "cube"})
    for (const std::string& order : results.below("controls/" + family)) {
      matrices.push_back(family + '/' + order);
      head.push_back(code(family) + ' ' + order_text(order));
    }
  Table table(head);
  for (const auto& [solver, name] :
       std::vector<std::pair<std::string, std::string>>{{"ma38_default", "default"},
                                                        {"ma38_diagonal", "ICNTL(6) = 1"},
                                                        {"ma38_growth", "CNTL(2) = 1.2 alone"},
                                                        {"ma38_both", "both"}}) {
    Row row = {name};
    for (const std::string& matrix : matrices) row.push_back(of_controls(results, matrix, solver));
    table.add(row);
  }
  return table.text();
}

/// Tells how far two times of the same work differ: the row `both` of the controls, and ma38 in the ratios.
std::string scatter(const Results& results) {
  std::vector<double> ratios;
  for (const std::string family : {"square", "cube"})
    for (const std::string& order : results.below("controls/" + family)) {
      const Value again = seconds(results, "controls", family, order, "ma38_both");
      const Value first = seconds(results, "analyse", family, order, "ma38");
      if (again && first) ratios.push_back(*again / *first);
    }
  const auto [least, largest] = std::minmax_element(ratios.begin(), ratios.end());
  const auto text = [&](auto place) { return two_digits(place == ratios.end() ? Value() : Value(*place)); };
  return "The row `both` is the work of `ma38` in the tables above, measured again some minutes "
         "later:\nbetween " +
         text(least) + " and " + text(largest) + " times as long, which is the scatter of one run.\n";
}

/// Lists the matrices, whose orders are rounded elsewhere.
std::string matrices(const Results& results) {
  Table table({"matrix", "order", "exactly", "entries"});
  each_matrix(results, kFamilies, [&](const std::string& family, const std::string& order) {
    const std::string run = "analyse/" + family + '/' + order + "/ma38";
    table.add({code(family), order_text(order), whole(results.value(run, "n")),
               whole(results.value(run, "entries"))});
  });
  return table.text();
}

std::string front(const Results& results) {
  Row head = {"matrix", "order"};
  for (const auto& [what, task] : kTasks)
    for (const char* judged : {"", ", judged"}) head.push_back(task + judged);
  RatioTable table(head, 2);
  each_matrix(results, kFamilies, [&](const std::string& family, const std::string& order) {
    std::vector<Value> ratios;
    for (const auto& [what, task] : kTasks)
      for (const char* solver : {"automatic", "judged"})
        ratios.push_back(ratio_to_fastest(results, what, family, order, solver));
    table.add({code(family), order_text(order)}, ratios, std::vector<bool>(ratios.size(), false));
  });
  return table.text();
}

std::string choice(const Results& results) {
  Table table({"matrix", "order", "entries", "chosen", "`ma48`, ms", "`ma38`, ms", "automatic", "judged",
               "judging a solution adds"});
  std::vector<std::tuple<std::ptrdiff_t, double, std::string>> by_kind_and_order;
  const std::vector<std::string> kinds = {"square", "cube", "column", "flowsheet"};
  for (const std::string& name : results.below("choice")) {
    const std::string kind = name.substr(0, name.find(' '));
    const auto place = std::find(kinds.begin(), kinds.end(), kind) - kinds.begin();
    const double order = results.value("choice/" + name, "order").value_or(0);
    by_kind_and_order.emplace_back(place, order, name);
  }
  std::sort(by_kind_and_order.begin(), by_kind_and_order.end());
  for (const auto& [place, order, name] : by_kind_and_order) {
    const auto of = [&results, run = "choice/" + name](const char* measure) {
      return results.value(run, measure);
    };
    const Value ma48 = of("ma48"), ma38 = of("ma38"), method = of("method");
    const auto to_faster = [&ma48 = ma48, &ma38 = ma38](Value time) {
      return two_digits(time && ma48 && ma38 ? Value(*time / std::min(*ma48, *ma38)) : std::nullopt);
    };
    const std::string chosen = !method ? kNone : *method == 1 ? "`ma48`" : "`ma38`";
    table.add({name, whole(of("order")), whole(of("entries")), chosen, milliseconds(ma48), milliseconds(ma38),
               to_faster(of("automatic")), to_faster(of("judged")), two_digits(of("judging"))});
  }
  return table.text();
}

std::string sparse_times(const Results& results) {
  const std::vector<std::string> solvers = {"ma48",     "ma38",    "automatic", "judged",
                                            "SparseLU", "SuperLU", "MUMPS"};
  Row head = {"task", "matrix", "order"};
  for (const std::string& solver : solvers) head.push_back(solver);
  Table table(head);
  for (const auto& [what, task] : kTasks)
    each_matrix(results, kFamilies,
                [&, &what = what, &task = task](const std::string& family, const std::string& order) {
                  Row row = {task, code(family), order_text(order)};
                  for (const std::string& solver : solvers)
                    row.push_back(is_left_out(solver, family, order)
                                      ? ""
                                      : milliseconds(seconds(results, what, family, order, solver)));
                  table.add(row);
                });
  return table.text();
}

std::string sparse_growth(const Results& results) {
  const std::vector<std::string> solvers = {"ma48", "ma38", "SparseLU", "SuperLU", "MUMPS"};
  Row head = {"task", "matrix"};
  head.insert(head.end(), solvers.begin(), solvers.end());
  Table table(head);
  for (const auto& [what, task] : kTasks)
    for (const std::string& family : kFamilies) {
      Row row = {task, code(family)};
      for (const std::string& solver : solvers) {
        const bool one_cube = solver == "ma48" && family == "cube";  // the others are left out
        row.push_back(one_cube ? "" : two_digits(growth_of(results, what, family, solver)));
      }
      table.add(row);
    }
  return table.text();
}

}  // namespace

std::map<std::string, Section> sparse_sections() {
  return {{"ratios", ratios},
          {"grids", grids},
          {"controls", controls},
          {"scatter", scatter},
          {"matrices", matrices},
          {"front", front},
          {"choice", choice},
          {"sparse times", sparse_times},
          {"sparse growth", sparse_growth}};
}

}  // namespace page
