// Makes the tables. What was not measured is a dash: a short run leaves out large orders.

#include "bench/page/tables.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <set>
#include <tuple>
#include <utility>

namespace page {

const std::vector<std::string> kFamilies = {"flowsheet", "column", "wide", "square", "cube"};
const std::vector<std::string> kPeers = {"SparseLU", "SuperLU", "MUMPS"};

namespace {

using Row = std::vector<std::string>;
using Value = std::optional<double>;

const char* const kNone = "–";

/// The three tasks of a sparse solver, and what they are called in the page.
const std::vector<std::pair<std::string, std::string>> kTasks = {
    {"analyse", "analyse and factorise"}, {"refactorise", "new values"}, {"solve", "solve"}};

std::string code(const std::string& text) { return '`' + text + '`'; }

class Table {
 public:
  explicit Table(const Row& head) {
    add(head);
    text_ += '|';
    for (std::size_t i = 0; i < head.size(); ++i) text_ += "---|";
    text_ += '\n';
  }
  void add(const Row& row) {
    text_ += '|';
    for (const std::string& cell : row) text_ += ' ' + cell + " |";
    text_ += '\n';
  }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

std::string formatted(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::string whole(Value value) { return value ? formatted("%.0f", *value) : kNone; }

std::string digits(Value value, int significant) {
  if (!value) return kNone;
  if (!std::isfinite(*value)) return "not finite";
  // The exponent is that of the rounded value: two digits of 9.96 are those of 10.
  const std::string scientific = formatted(("%." + std::to_string(significant - 1) + "e").c_str(), *value);
  const int magnitude = std::stoi(scientific.substr(scientific.find('e') + 1));
  const int decimals = std::max(0, significant - 1 - magnitude);
  return formatted(("%." + std::to_string(decimals) + "f").c_str(), *value);
}

/// Writes a duration in milliseconds.
std::string milliseconds(Value value) { return digits(value ? Value(*value * 1e3) : value, 3); }
/// Writes a duration in the unit that suits it.
std::string duration(Value value) {
  if (!value) return kNone;
  if (*value < 1e-6) return digits(*value * 1e9, 3) + " ns";
  if (*value < 1e-3) return digits(*value * 1e6, 3) + " µs";
  return digits(*value * 1e3, 3) + " ms";
}
/// Writes a count as 1.4e9.
std::string large_count(Value value) {
  if (!value) return kNone;
  const std::string text = formatted("%.1e", *value);
  const std::size_t e = text.find('e');
  return text.substr(0, e + 1) + std::to_string(std::stoi(text.substr(e + 1)));
}

/// Writes orders as powers of ten where they are.
std::string order_text(const std::string& order) {
  if (order.size() < 4 || order.find_first_not_of('0', 1) != std::string::npos) return order;
  return order.substr(0, 1) + 'e' + std::to_string(order.size() - 1);
}

// ---- Where and when

/// Lists what the programs say of one condition: one line, or one for each different answer.
std::string condition(const Results& results, const std::string& name) {
  std::set<std::string> answers;
  for (const auto& [program, known] : results.conditions())
    if (known.count(name)) answers.insert(known.at(name));
  std::string text;
  for (const std::string& answer : answers) text += "- " + name + ": " + answer + '\n';
  return text;
}

std::string conditions(const Results& results) {
  std::string text;
  for (const char* name : {"processor", "compiler", "build type", "BLAS", "BLAS threads", "other solvers"})
    text += condition(results, name);
  Table table({"results", "date", "commit", "seconds", "other work"});
  for (const auto& [program, known] : results.conditions()) {
    const auto of = [&known = known](const char* name) {
      const auto found = known.find(name);
      return found == known.end() ? std::string(kNone) : found->second;
    };
    table.add({code(program), of("date"), of("commit"), of("seconds"), of("other work")});
  }
  return text + '\n' + table.text();
}

// ---- Dense systems, acceleration, tables

void add_compared(Table& table, const Results& results, const std::string& what, const std::string& size,
                  const std::string& run, const std::string& peer) {
  table.add({what, size, duration(results.value(run, "ours")), peer, two_digits(results.ratio(run))});
}

std::string dense(const Results& results) {
  Table table({"what", "size", "time", "against", "ratio"});
  for (const std::string& n : results.below("BM_Lu"))
    add_compared(table, results, "`dgetrf_tol`", "n = " + n, "BM_Lu/" + n, "`dgetf2`");
  add_compared(table, results, "`ArrowMatrix::Solve`", "n = 1e5, kl = ku = 2, m = 4", "BM_ArrowSolve",
               "(m + 2) times `dgbsv` on the band alone");
  for (const std::string& rows : results.below("BM_Decomposition"))
    for (const std::string& columns : results.below("BM_Decomposition/" + rows))
      add_compared(table, results, "`Decomposition`", rows + " x " + columns,
                   "BM_Decomposition/" + rows + '/' + columns, "`dgesvd`");
  add_compared(table, results, "element of a `RegularMatrix`", "60 x 60", "BM_RegularAccess",
               "an element by a bare virtual call");
  add_compared(table, results, "element of an `ArrowMatrix`", "60 x 60", "BM_ArrowAccess", "the same");
  return table.text();
}

std::string acceleration(const Results& results) {
  const std::vector<std::string> lengths = results.below("BM_Dominant/accepted");
  Row head = {"unknowns"};
  for (const std::string& length : lengths) head.push_back(order_text(length));
  Table table(head);
  const auto add = [&](const std::string& what, const std::string& before, const std::string& after) {
    Row row = {what};
    for (const std::string& length : lengths)
      row.push_back(two_digits(results.ratio(before + length + after)));
    table.add(row);
  };
  add("`DomEigenAccel`, all tests on, step taken", "BM_Dominant/accepted/", "");
  add("the same, step refused", "BM_Dominant/refused/", "");
  for (const std::string count : {"1", "2", "4"})
    for (const std::string answer : {"accepted", "refused"})
      add("`MulDomEigenAccel`, eigenvalues: " + count + ", " + (answer == "accepted" ? "taken" : answer),
          "BM_Multiple/" + answer + '/', '/' + count);
  return table.text();
}

std::string passes(const Results& results) {
  const std::vector<std::string> methods = {"plain", "dominant", "multiple", "automatic"};
  Table table({"case", "plain", "one eigenvalue", "four eigenvalues", "automatic"});
  for (const std::string& name : results.below("passes")) {
    Row row = {code(name)};
    for (const std::string& method : methods)
      row.push_back(whole(results.value("passes/" + name + '/' + method, "passes")));
    table.add(row);
  }
  return table.text();
}

std::string sorting(const Results& results) {
  Table table({"100000 points", "ms", "ratio to `std::stable_sort` of pairs"});
  for (const auto& [run, name] :
       std::vector<std::pair<std::string, std::string>>{{"random", "random"},
                                                        {"few_values", "20 different x"},
                                                        {"ascending", "ascending"},
                                                        {"descending", "descending"},
                                                        {"with_nan", "random, one x in 1000 NaN"}})
    table.add({name, milliseconds(results.value("BM_Sort/" + run, "ours")),
               two_digits(results.ratio("BM_Sort/" + run))});
  return table.text();
}

std::string interpolation(const Results& results) {
  Table table({"1e6 entries", "by index: ms", "ratio to copying the row", "with a spacing: ms", "ratio"});
  const std::vector<std::string> patterns = {"all known", "each second known", "each tenth known",
                                             "a random half known", "only the ends known"};
  for (std::size_t k = 0; k < patterns.size(); ++k) {
    const std::string run = "BM_LinearInterpolator/pattern:" + std::to_string(k) + "/spacing:";
    table.add({patterns[k], milliseconds(results.value(run + '0', "ours")),
               two_digits(results.ratio(run + '0')), milliseconds(results.value(run + '1', "ours")),
               two_digits(results.ratio(run + '1'))});
  }
  return table.text();
}

// ---- Sparse solvers

/// Calls visit(family, order) for all matrices of the families that were measured.
template <class Visit>
void each_matrix(const Results& results, const std::vector<std::string>& families, Visit&& visit) {
  for (const std::string& family : families)
    for (const std::string& order : results.below("analyse/" + family)) visit(family, order);
}

/// A table of ratios whose last row holds their geometric means.
class RatioTable {
 public:
  RatioTable(Row head, std::size_t names) : table_(head), columns_(head.size() - names), names_(names) {}
  void add(Row names, const std::vector<Value>& ratios) {
    for (std::size_t k = 0; k < ratios.size(); ++k) {
      names.push_back(two_digits(ratios[k]));
      if (ratios[k]) columns_[k].push_back(*ratios[k]);
    }
    table_.add(names);
  }
  std::string text() {
    Row row = {"geometric mean"};
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
    for (const char* solver : {"ma48", "ma38"})
      for (const auto& [what, task] : kTasks)
        ratios.push_back(ratio_to_fastest(results, what, family, order, solver));
    table.add({code(family), order_text(order)}, ratios);
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

std::string controls(const Results& results) {
  std::vector<std::pair<std::string, std::string>> matrices;
  Row head = {"controls"};
  for (const std::string family : {"square", "cube"})
    for (const std::string& order : results.below("controls/" + family)) {
      matrices.emplace_back(family, order);
      head.push_back(code(family) + ' ' + order_text(order));
    }
  Table table(head);
  for (const auto& [solver, name] :
       std::vector<std::pair<std::string, std::string>>{{"ma38_default", "default"},
                                                        {"ma38_diagonal", "ICNTL(6) = 1"},
                                                        {"ma38_growth", "CNTL(2) = 1.2 alone"},
                                                        {"ma38_both", "both"}}) {
    Row row = {name};
    for (const auto& [family, order] : matrices) {
      const std::string run = "controls/" + family + '/' + order + '/' + solver;
      const Value best = results.value(run, "best");
      row.push_back(best ? large_count(results.value(run, "operations")) + ", " + milliseconds(best) + " ms"
                         : "wrong solution");
    }
    table.add(row);
  }
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
    table.add({code(family), order_text(order)}, ratios);
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
    const Value ma48 = of("ma48"), ma38 = of("ma38"), automatic = of("automatic"), judged = of("judged");
    if (!ma48 || !ma38 || !automatic || !judged) continue;
    const double faster = std::min(*ma48, *ma38);
    table.add({name, whole(of("order")), whole(of("entries")), of("method") == 1.0 ? "`ma48`" : "`ma38`",
               milliseconds(ma48), milliseconds(ma38), two_digits(*automatic / faster),
               two_digits(*judged / faster), two_digits(of("judging"))});
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
                    row.push_back(milliseconds(seconds(results, what, family, order, solver)));
                  table.add(row);
                });
  return table.text();
}

/// Returns the power of the order with which the time of a solver grows over a family.
Value growth_of(const Results& results, const std::string& what, const std::string& family,
                const std::string& solver) {
  std::vector<Point> points;
  for (const std::string& order : results.below(what + '/' + family))
    if (const Value time = seconds(results, what, family, order, solver))
      points.push_back({std::stod(order), *time});
  return growth(points);
}

std::string sparse_growth(const Results& results) {
  const std::vector<std::string> solvers = {"ma48", "ma38", "SparseLU", "SuperLU", "MUMPS"};
  Row head = {"task", "matrix"};
  head.insert(head.end(), solvers.begin(), solvers.end());
  Table table(head);
  for (const auto& [what, task] : kTasks)
    for (const std::string& family : kFamilies) {
      Row row = {task, code(family)};
      for (const std::string& solver : solvers)
        row.push_back(two_digits(growth_of(results, what, family, solver)));
      table.add(row);
    }
  return table.text();
}

// ---- Reordering

const std::vector<std::string> kMeshes = {"triangles",  "random_cut", "l_shape", "ring",
                                          "nine_point", "cube_7",     "cube_27"};
const std::vector<std::string> kOrderings = {"gps", "gk", "rcm", "king", "sloan"};

/// Returns a measure of all orderings of a mesh, in the order of kOrderings.
std::vector<Value> of_orderings(const Results& results, const std::string& mesh, const char* measure) {
  std::vector<Value> values;
  for (const std::string& ordering : kOrderings)
    values.push_back(results.value("quality/" + mesh + '/' + ordering, measure));
  return values;
}

template <class Visit>
void each_mesh(const Results& results, Visit&& visit) {
  for (const std::string& family : kMeshes)
    for (const std::string& order : results.below("quality/" + family)) visit(family, family + '/' + order);
}

std::string reordering_quality(const Results& results) {
  Table table({"mesh", "nodes", "gps", "gk", "RCM", "King", "Sloan", "gps", "gk", "RCM", "King", "Sloan"});
  each_mesh(results, [&](const std::string& family, const std::string& mesh) {
    Row row = {code(family), whole(results.value("quality/" + mesh + "/gps", "nodes"))};
    for (const char* measure : {"bandwidth", "profile"}) {
      const std::vector<Value> values = of_orderings(results, mesh, measure);
      const Value least = *std::min_element(values.begin(), values.end());
      for (const Value& value : values)
        row.push_back(value && value == least ? "**" + whole(value) + "**" : whole(value));
    }
    table.add(row);
  });
  return table.text();
}

/// Compares one of our orderings with the best of the peers over all meshes.
struct Contest {
  int meshes = 0, as_good = 0;
  double least = HUGE_VAL, largest = 0;  // ratio to the best peer
};

Contest contest(const Results& results, std::size_t ours, const char* measure) {
  constexpr int kOurs = 2;  // orderings in front of those of the peers
  Contest contest;
  each_mesh(results, [&](const std::string&, const std::string& mesh) {
    const std::vector<Value> values = of_orderings(results, mesh, measure);
    const Value best = *std::min_element(values.begin() + kOurs, values.end());
    if (!best || !values[ours]) return;
    const double ratio = *values[ours] / *best;
    ++contest.meshes;
    contest.as_good += ratio <= 1;
    contest.least = std::min(contest.least, ratio);
    contest.largest = std::max(contest.largest, ratio);
  });
  return contest;
}

std::string reordering_summary(const Results& results) {
  Table table(
      {"method", "meshes", "at least as small as the best peer", "least ratio to it", "largest ratio to it"});
  const auto add = [&](const char* name, const Contest& c) {
    table.add({name, std::to_string(c.meshes), std::to_string(c.as_good), two_digits(c.least),
               digits(c.largest, 3)});
  };
  add("bandwidth by `gps`", contest(results, 0, "bandwidth"));
  add("profile by `gk`", contest(results, 1, "profile"));
  return table.text();
}

std::string reordering_times(const Results& results) {
  Table table({"mesh", "nodes", "bandwidth, ms", "ratio to `cuthill_mckee_ordering`", "grows as",
               "profile, ms", "ratio to `sloan_ordering`", "grows as"});
  for (const std::string& family : kMeshes) {
    bool first = true;
    for (const std::string& order : results.below("bandwidth/" + family)) {
      Row row = {code(family), order_text(order)};
      for (const auto& [what, peer] :
           {std::pair<std::string, std::string>{"bandwidth", "cuthill"}, {"profile", "sloan"}}) {
        const Value ours = seconds(results, what, family, order, "gpskca");
        const Value theirs = seconds(results, what, family, order, peer);
        row.push_back(milliseconds(ours));
        row.push_back(two_digits(ours && theirs ? Value(*ours / *theirs) : std::nullopt));
        const Value power = growth_of(results, what, family, "gpskca");
        row.push_back(first && power ? "n^" + two_digits(power) : "");
      }
      table.add(row);
      first = false;
    }
  }
  return table.text();
}

}  // namespace

const std::map<std::string, Section>& sections() {
  static const std::map<std::string, Section> all = {{"conditions", conditions},
                                                     {"dense", dense},
                                                     {"acceleration", acceleration},
                                                     {"passes", passes},
                                                     {"sorting", sorting},
                                                     {"interpolation", interpolation},
                                                     {"ratios", ratios},
                                                     {"grids", grids},
                                                     {"controls", controls},
                                                     {"front", front},
                                                     {"choice", choice},
                                                     {"sparse times", sparse_times},
                                                     {"sparse growth", sparse_growth},
                                                     {"reordering quality", reordering_quality},
                                                     {"reordering summary", reordering_summary},
                                                     {"reordering times", reordering_times}};
  return all;
}

std::optional<double> seconds(const Results& results, const std::string& what, const std::string& family,
                              const std::string& order, const std::string& solver) {
  return results.value(what + '/' + family + '/' + order + '/' + solver, "best");
}

std::optional<double> fastest_peer(const Results& results, const std::string& what, const std::string& family,
                                   const std::string& order) {
  Value least;
  for (const std::string& peer : kPeers) {
    const Value time = seconds(results, what, family, order, peer);
    if (time && (!least || *time < *least)) least = time;
  }
  return least;
}

std::optional<double> ratio_to_fastest(const Results& results, const std::string& what,
                                       const std::string& family, const std::string& order,
                                       const std::string& solver) {
  const Value ours = seconds(results, what, family, order, solver);
  const Value fastest = fastest_peer(results, what, family, order);
  if (!ours || !fastest) return std::nullopt;
  return *ours / *fastest;
}

std::optional<double> growth(const std::vector<Point>& points) {
  if (points.size() < 2) return std::nullopt;
  double n = 0, x = 0, y = 0, xx = 0, xy = 0;
  for (const Point& point : points) {
    const double px = std::log(point.order), py = std::log(point.value);
    n += 1, x += px, y += py, xx += px * px, xy += px * py;
  }
  return (n * xy - x * y) / (n * xx - x * x);
}

std::optional<double> geometric_mean(const std::vector<double>& values) {
  if (values.empty()) return std::nullopt;
  double logarithms = 0;
  for (const double value : values) logarithms += std::log(value);
  return std::exp(logarithms / static_cast<double>(values.size()));
}

std::string two_digits(std::optional<double> value) { return digits(value, 2); }

}  // namespace page
