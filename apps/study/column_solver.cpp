// Solves the cases of a study of a column by the bubble-point method, and picks what the study keeps:
//   passes, eigenvalue, balance_error
//   temperature[stage], liquid_flow[stage], vapour_flow[stage], x[stage][component], y[stage][component]
//   STREAM.rate, STREAM.rate[component], STREAM.fraction[component], STREAM.recovery[component],
//   where STREAM is distillate, bottoms or draw[number]

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <new>

#include "apps/column/bubble_point.h"
#include "apps/column/case_file.h"
#include "apps/column/closure.h"
#include "apps/column/flows.h"
#include "apps/column/products.h"
#include "apps/study/case_solver.h"

namespace study {
namespace {

using column::Acceleration;
using column::ColumnCase;

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

/// Holds all that results are read from.
struct ColumnAnswer {
  const ColumnCase& c;
  const column::InternalFlows& flows;
  const column::Solution& solution;
  std::vector<column::Product> products;
  std::vector<double> feed;  // [component]
  double balance_error;
};

using Reader = std::function<double(const ColumnAnswer&)>;

/// Finds out what the name of a result asks for.
class ResultName {
 public:
  ResultName(const std::string& text, const ColumnCase& base)
      : text_(text), base_(base), place_(parse_result(text)) {}

  Reader reader() const {
    if (place_.size() == 2) return of_stream();
    if (place_.size() > 2) throw unknown();
    const std::string& key = place_[0].key;
    if (indices(0) == 0) return of_run(key);
    return indices(0) == 1 ? of_stage(key) : of_stage_and_component(key);
  }

 private:
  std::size_t indices(std::size_t step) const { return place_[step].indices.size(); }

  BadResult unknown() const {
    return BadResult(fmt::format(
        "the result \"{}\" is none of a column: passes, eigenvalue, balance_error, temperature[stage], "
        "liquid_flow[stage], vapour_flow[stage], x[stage][component], y[stage][component], or rate, "
        "rate[component], fraction[component] or recovery[component] of distillate, bottoms or draw[number]",
        text_));
  }

  std::size_t component(std::size_t step, std::size_t index) const {
    return result_index(text_, place_[step].indices[index], base_.components, base_.components.size(),
                        "component");
  }

  std::size_t stage() const {
    return result_index(text_, place_[0].indices[0], {}, static_cast<std::size_t>(base_.stages), "stage");
  }

  Reader of_run(const std::string& key) const {
    if (key == "passes")
      return [](const ColumnAnswer& a) { return static_cast<double>(a.solution.passes()); };
    if (key == "eigenvalue")
      return [](const ColumnAnswer& a) { return a.solution.eigenvalue >= 0 ? a.solution.eigenvalue : kNone; };
    if (key == "balance_error") return [](const ColumnAnswer& a) { return a.balance_error; };
    throw unknown();
  }

  /// A case may have fewer stages than the base case.
  static double at(const std::vector<double>& values, std::size_t stage) {
    return stage < values.size() ? values[stage] : kNone;
  }

  Reader of_stage(const std::string& key) const {
    const std::size_t j = stage();
    if (key == "temperature")
      return [j](const ColumnAnswer& a) {
        return a.c.model->scale().shown(at(a.solution.profile.temperature, j));
      };
    if (key == "liquid_flow") return [j](const ColumnAnswer& a) { return at(a.flows.liquid, j); };
    if (key == "vapour_flow") return [j](const ColumnAnswer& a) { return at(a.flows.vapour, j); };
    throw unknown();
  }

  Reader of_stage_and_component(const std::string& key) const {
    if (indices(0) != 2 || (key != "x" && key != "y")) throw unknown();
    const std::size_t j = stage(), i = component(0, 1);
    if (key == "x") return [i, j](const ColumnAnswer& a) { return at(a.solution.profile.liquid[i], j); };
    return [i, j](const ColumnAnswer& a) {
      return at(a.solution.profile.k[i], j) * at(a.solution.profile.liquid[i], j);
    };
  }

  /// Returns the position among the products: distillate, draws, bottoms. A case has as many as the base
  /// case.
  std::size_t stream() const {
    const std::string& key = place_[0].key;
    if (key == "draw" && indices(0) == 1)
      return 1 + result_index(text_, place_[0].indices[0], {}, base_.draws.size(), "draw");
    if (indices(0) != 0) throw unknown();
    if (key == "distillate") return 0;
    if (key == "bottoms") return 1 + base_.draws.size();
    throw unknown();
  }

  Reader of_stream() const {
    const std::size_t p = stream();
    const std::string& key = place_[1].key;
    if (key == "rate" && indices(1) == 0) return [p](const ColumnAnswer& a) { return a.products[p].rate; };
    if (indices(1) != 1) throw unknown();
    const std::size_t i = component(1, 0);
    if (key == "rate") return [p, i](const ColumnAnswer& a) { return a.products[p].by_component[i]; };
    if (key == "fraction")
      return [p, i](const ColumnAnswer& a) { return a.products[p].fraction(static_cast<int>(i)); };
    if (key == "recovery")
      return [p, i](const ColumnAnswer& a) { return a.products[p].by_component[i] / a.feed[i]; };
    throw unknown();
  }

  const std::string& text_;
  const ColumnCase& base_;
  const Place place_;
};

class ColumnSolver final : public CaseSolver {
 public:
  ColumnSolver(const std::string& text, std::string name, Acceleration method,
               const std::vector<std::string>& results)
      : name_(std::move(name)) {
    settings_.method = method;
    const ColumnCase c = column::parse_case(text, name_);
    for (const std::string& result : results) readers_.push_back(ResultName(result, c).reader());
    other_files_ = c.other_files;
  }

  CaseAnswer solve(const toml::table& file, const std::vector<double>& start) const override {
    try {
      ColumnCase c = column::case_of_table(file, name_);
      if (start.size() == static_cast<std::size_t>(c.stages)) c.start_profile = start;
      return solve(c);
    } catch (const apps::UnusableFile& bad) {
      throw apps::BadCase(fmt::format("{}: {}", name_, bad.what()));  // a changed case has no lines
    } catch (const apps::CaseError& bad) {
      return {bad.what(), {}, {}};
    }
  }

  std::vector<std::string> other_files() const override { return other_files_; }

 private:
  CaseAnswer solve(const ColumnCase& c) const {
    const column::InternalFlows flows = column::internal_flows(c);
    const column::Solution s = column::solve(c, flows, column::Solver::kArrow, settings_);
    if (s.outcome == column::Outcome::kNoMemory) throw std::bad_alloc();
    if (s.outcome != column::Outcome::kOk) return {"not converged: " + s.complaint, {}, {}};
    const double error = column::closure(c, flows, s.profile).worst();
    if (!(error <= column::Closure::kLimit))
      return {
          fmt::format("balances close only to {:.1e}, not to {:g}", error, column::Closure::kLimit), {}, {}};
    const ColumnAnswer answer{c,    flows, s, column::products(c, flows, s.profile), column::total_feed(c),
                              error};
    CaseAnswer found{"", {}, s.profile.temperature};
    for (const Reader& read : readers_) found.results.push_back(read(answer));
    return found;
  }

  const std::string name_;
  column::AccelerationSettings settings_;
  std::vector<Reader> readers_;  // [result]
  std::vector<std::string> other_files_;
};

}  // namespace

const std::vector<std::string>& column_methods() {
  static const std::vector<std::string> methods{"none", "dominant", "multiple", "automatic"};
  return methods;
}

std::unique_ptr<CaseSolver> make_column_solver(const std::string& text, const std::string& name,
                                               const std::string& method,
                                               const std::vector<std::string>& results) {
  const std::map<std::string, Acceleration> methods{{"none", Acceleration::None},
                                                    {"dominant", Acceleration::Dominant},
                                                    {"multiple", Acceleration::Multiple},
                                                    {"automatic", Acceleration::Automatic}};
  return std::make_unique<ColumnSolver>(text, name, methods.at(method), results);
}

}  // namespace study
