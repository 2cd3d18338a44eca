// Makes the table of conditions, and those of dense systems, acceleration and tables.

#include "bench/page/tables.h"

#include <set>
#include <utility>
#include <vector>

#include "bench/page/markdown.h"

namespace page {
namespace {

/// Lists what the programs say of one condition: one line, or one for each different answer.
std::string condition(const Results& results, const std::string& name) {
  std::set<std::string> answers;
  for (const auto& [program, known] : results.conditions())
    if (known.count(name)) answers.insert(known.at(name));
  if (answers.empty()) answers.insert(kNone);
  std::string text;
  for (const std::string& answer : answers) text += "- " + name + ": " + answer + '\n';
  return text;
}

std::string conditions(const Results& results) {
  std::string text;
  for (const char* name :
       {"processor", "compiler", "build type", "BLAS", "BLAS threads", "other solvers", "repetitions"})
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

}  // namespace

const std::map<std::string, Section>& sections() {
  static const std::map<std::string, Section> all = [] {
    std::map<std::string, Section> made = {{"conditions", conditions},     {"dense", dense},
                                           {"acceleration", acceleration}, {"passes", passes},
                                           {"sorting", sorting},           {"interpolation", interpolation}};
    made.merge(sparse_sections());
    made.merge(reorder_sections());
    return made;
  }();
  return all;
}

}  // namespace page
