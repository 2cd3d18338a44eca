#pragma once

// A column as its case file describes it. Stages and components count from 0 here, stages from the condenser
// down to the reboiler; case files and reports count stages from 1. Rates are molar, in any unit, the same
// throughout a case.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/column/equilibrium.h"

namespace column {

enum class Phase { kLiquid, kVapour };
/// Total: the distillate leaves as boiling liquid. Partial: as vapour.
enum class Condenser { kTotal, kPartial };

struct Feed {
  int stage;
  std::vector<double> rates;  // [component]
  double liquid_fraction;  // 1: boiling liquid, 0: saturated vapour; above 1: subcooled, below 0: superheated
  int line;                // line of the case file that it begins in, for messages; likewise below
};

/// Describes a side product.
struct Draw {
  int stage;
  Phase phase;
  double rate;
  int line;
};

/// Describes a stream that is drawn on one stage and returned to another: a pumparound.
struct Tie {
  int from, to;
  Phase phase;
  double rate;
  double condensed;  // rate of vapour that the cooled stream condenses on the stage to which it returns
  int line;
};

/// Describes the split between the two key components for which the short-cut figures are computed.
struct ShortcutTask {
  std::vector<double> volatilities;                 // [component], relative
  int light_key, heavy_key;                         // components
  double light_in_distillate, heavy_in_distillate;  // parts of their feeds
};

/// Holds a figure from the source of a case, to be printed beside the program's own.
struct Published {
  enum class What { kLiquidFraction, kDistillateRate, kTemperature, kPasses, kMinimumStages, kMinimumReflux };
  What what;
  double value;
  int decimals;           // that the source prints
  int stage = 0;          // of a liquid fraction or a temperature
  int component = 0;      // of a liquid fraction or a distillate rate
  int root_decimals = 0;  // of a minimum reflux: decimals of the Underwood root that the source went on with
  double tolerance = 0;   // of a number of passes: they bring the largest change below this
};

struct ColumnCase {
  std::string title, source;
  std::string rate_unit;  // of all rates, for reports; empty if the case does not state it
  std::vector<std::string> components;
  std::shared_ptr<const EquilibriumModel> model;

  int stages = 0;
  Condenser condenser = Condenser::kTotal;
  double pressure = 0;      // in the unit of the model
  double reflux_ratio = 0;  // reflux over distillate
  double distillate = 0;    // rate
  std::vector<Feed> feeds;
  std::vector<Draw> draws;
  std::vector<Tie> ties;

  double tolerance = 0;  // on the largest change of a stage temperature in a pass, in degrees of the model
  int max_passes = 0;
  std::optional<double> start_temperature;  // of all stages; without it the bubble point of the feed
  std::vector<double> start_profile;        // [stage] temperatures, in their place; empty: none

  std::optional<ShortcutTask> shortcut;
  std::string compare_with;  // path of another case, to print its answer beside this one's; empty: none
  int compare_with_line = 0;
  std::vector<std::string> other_files;  // paths of all files that the case names
  std::vector<Published> published;
};

/// Returns the rates of the components [component] in all feeds together.
std::vector<double> total_feed(const ColumnCase& c);

}  // namespace column
