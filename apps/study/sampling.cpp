#include "apps/study/sampling.h"

#include <algorithm>

#include "apps/study/random_numbers.h"

namespace study {
namespace {

std::int64_t listed_values(const Parameter& p) {
  if (p.spread == Spread::kRange) return p.count;
  return p.spread == Spread::kList ? static_cast<std::int64_t>(p.values.size()) : 1;
}

double listed_value(const Parameter& p, std::int64_t at) {
  if (p.spread == Spread::kList) return p.values[static_cast<std::size_t>(at)];
  if (at == p.count - 1) return p.to;  // not off by rounding
  return p.from + (p.to - p.from) * static_cast<double>(at) / static_cast<double>(p.count - 1);
}

/// @param stream  of random numbers that belongs to the parameter
double drawn_value(const Parameter& p, const Study& study, std::uint64_t stream, std::int64_t sample) {
  const auto index = static_cast<std::uint64_t>(sample), count = static_cast<std::uint64_t>(study.samples);
  const double u = unit_interval(random_bits(study.seed, 2 * stream, index));
  if (p.spread == Spread::kNormal) return p.mean + p.deviation * normal_quantile(u);
  const auto stratum = static_cast<double>(permuted(index, count, study.seed, 2 * stream + 1));
  return p.from + (p.to - p.from) * ((stratum + u) / static_cast<double>(count));
}

}  // namespace

std::int64_t case_count(const Study& study) {
  std::int64_t count = study.samples;
  for (const Parameter& p : study.parameters) {
    if (count > kMostCases) break;
    count *= listed_values(p);
  }
  return count;
}

std::vector<double> values_of_case(const Study& study, std::int64_t number) {
  const std::int64_t sample = number % study.samples;
  std::int64_t combination = number / study.samples;
  std::vector<double> values(study.parameters.size());
  for (std::size_t i = values.size(); i-- > 0;) {
    const Parameter& p = study.parameters[i];
    if (p.drawn()) {
      values[i] = drawn_value(p, study, i, sample);
    } else {
      values[i] = listed_value(p, combination % listed_values(p));
      combination /= listed_values(p);
    }
  }
  return values;
}

double span(const Parameter& p) {
  if (p.spread == Spread::kNormal) return p.deviation;
  if (p.spread != Spread::kList) return p.to - p.from;
  const auto [least, most] = std::minmax_element(p.values.begin(), p.values.end());
  return *most > *least ? *most - *least : 1;
}

}  // namespace study
