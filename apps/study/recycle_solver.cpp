// Converges the cases of a study of a flowsheet, and picks what the study keeps:
//   passes, eigenvalue, balance_error
//   stream[name].rate, stream[name].rate[component], stream[name].fraction[component]
//   unit[name].vapour_fraction, of a flash

#include <fmt/format.h>

#include <functional>
#include <limits>
#include <map>
#include <numeric>

#include "apps/recycle/case_file.h"
#include "apps/recycle/convergence.h"
#include "apps/study/case_solver.h"

namespace study {
namespace {

using recycle::Flowsheet;
using recycle::Method;

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

/// Holds all that results are read from.
struct RecycleAnswer {
  const Flowsheet& flowsheet;
  const recycle::RunResult& run;
  double balance_error;
};

using Reader = std::function<double(const RecycleAnswer&)>;

double total(const recycle::Rates& rates) { return std::accumulate(rates.begin(), rates.end(), 0.0); }

template <class Named>
std::vector<std::string> names_of(const std::vector<Named>& all) {
  std::vector<std::string> names;
  for (const Named& each : all) names.push_back(each.name);
  return names;
}

/// Finds out what the name of a result asks for.
class ResultName {
 public:
  ResultName(const std::string& text, const Flowsheet& base)
      : text_(text), base_(base), place_(parse_result(text)) {}

  Reader reader() const {
    if (place_.size() == 1 && indices(0) == 0) return of_run(place_[0].key);
    if (place_.size() != 2 || indices(0) != 1) throw unknown();
    if (place_[0].key == "stream") return of_stream();
    if (place_[0].key == "unit") return of_unit();
    throw unknown();
  }

 private:
  std::size_t indices(std::size_t step) const { return place_[step].indices.size(); }

  BadResult unknown() const {
    return BadResult(fmt::format(
        "the result \"{}\" is none of a flowsheet: passes, eigenvalue, balance_error, stream[name].rate, "
        "stream[name].rate[component], stream[name].fraction[component], unit[name].vapour_fraction",
        text_));
  }

  Reader of_run(const std::string& key) const {
    if (key == "passes")
      return [](const RecycleAnswer& a) { return static_cast<double>(a.run.passes.size()); };
    if (key == "eigenvalue") return [](const RecycleAnswer& a) { return a.run.eigenvalue.value_or(kNone); };
    if (key == "balance_error") return [](const RecycleAnswer& a) { return a.balance_error; };
    throw unknown();
  }

  Reader of_stream() const {
    const std::size_t s =
        result_index(text_, place_[0].indices[0], names_of(base_.streams), base_.streams.size(), "stream");
    const std::string& key = place_[1].key;
    if (key == "rate" && indices(1) == 0)
      return [s](const RecycleAnswer& a) { return total(a.run.streams[s]); };
    if (indices(1) != 1) throw unknown();
    const std::size_t i =
        result_index(text_, place_[1].indices[0], base_.components, base_.components.size(), "component");
    if (key == "rate") return [s, i](const RecycleAnswer& a) { return a.run.streams[s][i]; };
    if (key == "fraction")
      return [s, i](const RecycleAnswer& a) {
        const double all = total(a.run.streams[s]);
        return all > 0 ? a.run.streams[s][i] / all : kNone;
      };
    throw unknown();
  }

  Reader of_unit() const {
    const std::size_t u =
        result_index(text_, place_[0].indices[0], names_of(base_.units), base_.units.size(), "unit");
    if (place_[1].key != "vapour_fraction" || indices(1) != 0) throw unknown();
    if (base_.units[u].kind != recycle::UnitKind::kFlash)
      throw BadResult(fmt::format("the result \"{}\" is that of a flash, which \"{}\" is not", text_,
                                  base_.units[u].name));
    return [u](const RecycleAnswer& a) {
      return recycle::vapour_fraction(a.flowsheet.units[u], a.run.streams).value_or(kNone);
    };
  }

  const std::string& text_;
  const Flowsheet& base_;
  const Place place_;
};

class RecycleSolver final : public CaseSolver {
 public:
  RecycleSolver(const std::string& text, const std::string& name, Method method,
                const std::vector<std::string>& results)
      : method_(method) {
    const recycle::RecycleCase c = recycle::parse_case(text, name);
    for (const std::string& result : results) readers_.push_back(ResultName(result, c.flowsheet).reader());
  }

  CaseAnswer solve(const toml::table& file, const std::vector<double>& start) const override {
    try {
      recycle::RecycleCase c = recycle::case_of_table(file);
      const recycle::Plan plan = recycle::make_plan(c.flowsheet, c.tears);
      put_start(c.flowsheet, plan, start);
      return solve(c, plan);
    } catch (const apps::CaseError& bad) {
      return {bad.what(), {}, {}};
    }
  }

 private:
  /// Sets the first guess of the torn streams, all of which `start` has one behind the other.
  static void put_start(Flowsheet& sheet, const recycle::Plan& plan, const std::vector<double>& start) {
    const std::size_t components = sheet.components.size();
    if (start.size() != plan.tears.size() * components) return;
    auto next = start.begin();
    for (const int s : plan.tears) {
      const auto end = next + static_cast<std::ptrdiff_t>(components);
      sheet.streams[static_cast<std::size_t>(s)].start.assign(next, end);
      next = end;
    }
  }

  CaseAnswer solve(const recycle::RecycleCase& c, const recycle::Plan& plan) const {
    recycle::RunSettings settings;
    settings.acceleration.method = method_;
    settings.tolerance = c.tolerance;
    settings.max_passes = c.max_passes;
    const recycle::RunResult run = recycle::converge(c.flowsheet, plan, settings);
    if (!run.converged) return {"not converged: " + run.complaint, {}, {}};
    const recycle::Imbalance apart = recycle::overall_imbalance(c.flowsheet, run.streams);
    if (!apart.is_within(recycle::promised_imbalance(c.flowsheet, plan, c.tolerance)))
      return {fmt::format("feeds and products differ by {:.1e} of the feed", apart.worst), {}, {}};
    const RecycleAnswer answer{c.flowsheet, run, apart.worst};
    CaseAnswer found;
    for (const Reader& read : readers_) found.results.push_back(read(answer));
    for (const int s : plan.tears) {
      const recycle::Rates& rates = run.streams[static_cast<std::size_t>(s)];
      found.start.insert(found.start.end(), rates.begin(), rates.end());
    }
    return found;
  }

  const Method method_;
  std::vector<Reader> readers_;  // [result]
};

}  // namespace

const std::vector<std::string>& recycle_methods() {
  static const std::vector<std::string> methods{"automatic", "direct", "dominant", "multiple"};
  return methods;
}

std::unique_ptr<CaseSolver> make_recycle_solver(const std::string& text, const std::string& name,
                                                const std::string& method,
                                                const std::vector<std::string>& results) {
  const std::map<std::string, Method> methods{{"direct", Method::None},
                                              {"dominant", Method::Dominant},
                                              {"multiple", Method::Multiple},
                                              {"automatic", Method::Automatic}};
  return std::make_unique<RecycleSolver>(text, name, methods.at(method), results);
}

}  // namespace study
