#pragma once

// A column as its case file describes it. Stages count from 0 here, from the condenser down to the reboiler;
// case files and reports count them from 1. Rates are in the unit of the case, whatever it is.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/column/equilibrium.h"

namespace column {

enum class Phase { kLiquid, kVapour };
enum class Condenser { kTotal, kPartial };  // distillate leaves as boiling liquid, as vapour

struct Feed {
  int stage;
  std::vector<double> rates;  // by component
  double liquid_fraction;     // 1: boiling liquid, 0: saturated vapour
  int line;                   // in the case file, for complaints; so in all that follows
};

/// A side product.
struct Draw {
  int stage;
  Phase phase;
  double rate;
  int line;
};

/// A stream drawn on one stage and returned to another: a pumparound, or a returned side stream.
struct Tie {
  int from, to;
  Phase phase;
  double rate;
  double condensed;  // vapour that condenses on the stage of return, where the stream comes back cooled
  int line;
};

/// Splits wanted of the two key components, for the short-cut figures.
struct ShortcutTask {
  std::vector<double> volatilities;  // by component
  int light_key, heavy_key;          // components
  double light_in_distillate, heavy_in_distillate;
};

/// A figure from the source of a case, to be printed beside the program's own.
struct Published {
  enum class What { kLiquidFraction, kDistillateRate, kTemperature, kPasses, kMinimumStages, kMinimumReflux };
  What what;
  double value;
  int decimals;           // to which the source prints it
  int stage = 0;          // liquid fractions and temperatures
  int component = 0;      // liquid fractions and distillate rates
  int root_decimals = 0;  // minimum reflux: to which the source rounds the Underwood root before it goes on
  double tolerance = 0;   // passes: to reach a largest change below this
};

struct ColumnCase {
  std::string title, source;
  std::vector<std::string> components;
  std::shared_ptr<const EquilibriumModel> model;

  int stages = 0;
  Condenser condenser = Condenser::kTotal;
  double pressure = 0;  // in the unit of the model
  double reflux_ratio = 0, distillate = 0;
  std::vector<Feed> feeds;
  std::vector<Draw> draws;
  std::vector<Tie> ties;

  double tolerance = 0;  // on the change of a stage temperature in a pass, in degrees of the model
  int max_passes = 0;
  std::optional<double> start_temperature;  // of all stages; without it the bubble point of the feed

  std::optional<ShortcutTask> shortcut;
  std::string compare_with;  // another case file, whose answer is put beside; empty: none
  int compare_with_line = 0;
  std::vector<std::string> other_files;  // that the case names
  std::vector<Published> published;
};

/// Rates of the components in all feeds together.
std::vector<double> total_feed(const ColumnCase& c);

}  // namespace column
