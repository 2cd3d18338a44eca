#include "proof/ratios/findings.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace ratios {
namespace {

const char* const kFamilyNames[kFamilies] = {"dense",        "bordered",       "ma48, u = 1", "ma38, u = 1",
                                             "front, 1e-15", "ma48",           "ma38",        "ma38, refined",
                                             "front",        "front, unjudged"};
const char* const kRatioNames[kRatios] = {"factors", "residual", "error"};
const char* const kShapeNames[] = {"full", "shuffled band", "band", "band with border"};
constexpr int kMostTold = 20;

struct RefusalText {
  char mark;
  const char* text;
};
const RefusalText kRefusalTexts[kRefusals] = {
    {'a',
     "The matrix is refused as it is drawn, because the contract demands pivots above 1e-8. The ratios are "
     "of the same matrix times a power of two"},
    {'b', "Order 0 is refused, as the contract demands"},
};

std::string ratio_text(double ratio) {
  if (ratio < 0.0) return "-";
  char text[32];
  std::snprintf(text, sizeof text, ratio < 9.995 ? "%.2f" : "%.1f", ratio);
  return text;
}

std::string cell_text(const Cell& cell) {
  std::string text;
  for (const double ratio : cell.largest) text += (text.empty() ? "" : " ") + ratio_text(ratio);
  return text;
}

/// Returns the mark of a refusal if there was one.
std::string mark(const Cell& cell, Refusal refusal) {
  const int which = static_cast<int>(refusal);
  return cell.refusals[which] > 0 ? std::string(" (") + kRefusalTexts[which].mark + ")" : "";
}

/// Prints the cells of a row: padded, or between bars.
void print_row(const std::vector<std::string>& texts, bool markdown) {
  for (std::size_t k = 0; k < texts.size(); ++k) {
    const int width = k == 0 ? 24 : 20;
    markdown ? std::printf("| %s ", texts[k].c_str()) : std::printf("%-*s ", width, texts[k].c_str());
  }
  std::puts(markdown ? "|" : "");
}

/// What stands above and below the cells of a family.
struct ColumnEnds {
  std::string head, systems, growth;
};
ColumnEnds column_ends(const Findings& findings, int family) {
  long systems = 0;
  std::string name = kFamilyNames[family];
  double growth = 0.0;
  for (int kind = 0; kind < kKinds; ++kind) {
    const Cell& cell = findings.cell(static_cast<Family>(family), static_cast<Kind>(kind));
    systems += cell.systems;
    growth = std::max(growth, cell.growth);
    if (kind == 0) name += mark(cell, Refusal::kOrderZero);
  }
  return {name, std::to_string(systems), growth > 0.0 ? std::to_string(std::lround(growth)) : "-"};
}

/// Prints the families from `begin` to before `end`.
void print_table(const Findings& findings, const char* title, int begin, int end, bool markdown) {
  std::vector<std::string> head{"matrix"}, systems{"systems"}, growth{"largest growth"};
  for (int family = begin; family < end; ++family) {
    const ColumnEnds ends = column_ends(findings, family);
    head.push_back(ends.head);
    systems.push_back(ends.systems);
    growth.push_back(ends.growth);
  }
  if (!markdown) std::puts(title);
  print_row(head, markdown);
  if (markdown) print_row(std::vector<std::string>(head.size(), "---"), markdown);
  for (int kind = 0; kind < kKinds; ++kind) {
    std::vector<std::string> row{kKindNames[kind]};
    for (int family = begin; family < end; ++family) {
      const Cell& cell = findings.cell(static_cast<Family>(family), static_cast<Kind>(kind));
      row.push_back(cell_text(cell) + mark(cell, Refusal::kPivotLimit));
    }
    print_row(row, markdown);
  }
  print_row(systems, markdown);
  if (end > kFamiliesWithLapacksLimit) print_row(growth, markdown);
}

}  // namespace

void Findings::begin(Family family, const Problem& problem, const std::string& way) {
  cell_ = &cells_[static_cast<int>(family)][static_cast<int>(problem.kind)];
  std::fill(limits_, limits_ + kRatios, kLimit);
  where_ = std::string(kFamilyNames[static_cast<int>(family)]) + ", " + way + ": " +
           kKindNames[static_cast<int>(problem.kind)] + ", " + kShapeNames[static_cast<int>(problem.shape)] +
           ", order " + std::to_string(problem.order()) + ", draw " + std::to_string(problem.draw);
}

void Findings::factors(const Problem& problem, const Product& factors_multiplied, bool may_grow) {
  const double growth = may_grow ? std::max(1.0, problem.growth(factors_multiplied.magnitude)) : 1.0;
  limits_[kFactors] = growth * kLimit;
  cell_->growth = std::max(cell_->growth, may_grow ? growth : 0.0);
  allow_solutions(growth);
  factors(problem, factors_multiplied.value);
}

void Findings::solutions(const Problem& problem, bool transposed, const Vector& x, int count) {
  if (problem.order() == 0) return;  // nothing can be wrong in it
  cell_->systems += count;
  record(kResidual, problem.residual_ratio(transposed, x.data(), count));
  record(kError, problem.error_ratio(transposed, x.data(), count));
}

void Findings::expect(bool condition, const std::string& what) {
  if (condition) return;
  if (++faults_ <= kMostTold) std::printf("FAULT  %s: %s\n", where_.c_str(), what.c_str());
}

long Findings::systems() const {
  long sum = 0;
  for (const auto& family : cells_)
    for (const Cell& cell : family) sum += cell.systems;
  return sum;
}

void Findings::record(Ratio ratio, double value) {
  double& largest = cell_->largest[ratio];
  if (!(value <= largest)) largest = value;
  expect(value < limits_[ratio], std::string("the ratio of ") + kRatioNames[ratio] + " is " +
                                     std::to_string(value) + ", not below " + std::to_string(limits_[ratio]));
}

void print_tables(const Findings& findings, bool markdown) {
  print_table(findings, "Ratios of factors, residual and error; each must be below 30:", 0,
              kFamiliesWithLapacksLimit, markdown);
  std::puts("");
  print_table(findings, "With the defaults of the sparse solvers, each with a limit of its own:",
              kFamiliesWithLapacksLimit, kFamilies, markdown);
  std::puts("");
  for (int k = 0; k < kRefusals; ++k) {
    long count = 0;
    for (int family = 0; family < kFamilies; ++family)
      for (int kind = 0; kind < kKinds; ++kind)
        count += findings.cell(static_cast<Family>(family), static_cast<Kind>(kind)).refusals[k];
    if (count > 0)
      std::printf("%s(%c) %s (%ld times).\n", markdown ? "- " : "", kRefusalTexts[k].mark,
                  kRefusalTexts[k].text, count);
  }
}

}  // namespace ratios
