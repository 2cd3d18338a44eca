#pragma once

// A study as its file describes it: a base case, what is varied in it, and what is kept of each answer.

#include <cstdint>
#include <string>
#include <vector>

#include "apps/study/place.h"

namespace study {

enum class Spread {
  kList,            // values
  kRange,           // count values, evenly from one end to the other
  kLatinHypercube,  // drawn, one from each of as many equal parts of the range as there are samples
  kNormal,          // drawn, scattered about a mean
};

struct Parameter {
  std::string name;        // heading of its values
  std::string place_text;  // as the study has it
  Place place;             // in the base case
  Spread spread = Spread::kList;
  std::vector<double> values;      // of a list
  double from = 0, to = 0;         // of a range or a Latin hypercube; from < to
  std::int64_t count = 0;          // of a range
  double mean = 0, deviation = 0;  // of a normal scatter
  int line = 0;                    // of the study file, for messages

  bool drawn() const { return spread == Spread::kLatinHypercube || spread == Spread::kNormal; }
};

enum class Kind { kColumn, kRecycle };

/// The most cases that a study may have.
constexpr std::int64_t kMostCases = 10'000'000;

struct Study {
  std::string title;
  Kind kind = Kind::kColumn;
  std::string base_path;  // of the base case
  std::string base_text;
  std::string method;  // by which passes are accelerated, as the program for such cases calls it
  std::vector<Parameter> parameters;
  std::vector<std::string> results;  // names of what is kept
  std::int64_t samples = 1;          // draws for each combination of values, if a parameter is drawn
  std::uint64_t seed = 0;
  int chunk = 0;           // cases that are solved one after the other, each from the answer of one before
  std::uint64_t hash = 0;  // of the study file, of the base case and of all files that it names
};

}  // namespace study
