#include "apps/study/tally.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "apps/common/number.h"
#include "apps/study/random_numbers.h"
#include "apps/study/sampling.h"

namespace study {
namespace {

constexpr std::int64_t kMostPoints = 4000;
constexpr std::size_t kMostFailures = 20, kMostFailedPoints = 1000;

/// Returns whether a case is one of those that stand for all, on average one in `every`. Those that
/// are drawn for 2 `every` are among those for `every`.
bool is_drawn(std::int64_t number, std::int64_t every) {
  constexpr std::uint64_t kSeed = 0, kStream = 0;  // whatever the study draws from
  const std::uint64_t bits = random_bits(kSeed, kStream, static_cast<std::uint64_t>(number));
  return bits % static_cast<std::uint64_t>(every) == 0;
}

/// Takes a field off the front of a row: of fields in front of the last one, none of which needs quotes.
std::string_view take_field(std::string_view& row) {
  const std::size_t end = std::min(row.find(','), row.size());
  const std::string_view field = row.substr(0, end);
  row.remove_prefix(std::min(end + 1, row.size()));
  return field;
}

double number_of(std::string_view field) {
  double value = std::numeric_limits<double>::quiet_NaN();
  apps::read_number(field, value);
  return value;
}

std::vector<double> take_numbers(std::string_view& row, std::size_t count) {
  std::vector<double> numbers;
  while (numbers.size() < count) numbers.push_back(number_of(take_field(row)));
  return numbers;
}

/// Returns a field without the quotes of comma-separated text.
std::string unquoted(std::string_view field) {
  if (field.empty() || field.front() != '"') return std::string(field);
  std::string text;
  for (std::size_t i = 1; i + 1 < field.size(); ++i) {
    text += field[i];
    if (field[i] == '"') ++i;  // the second of two
  }
  return text;
}

}  // namespace

Tally::Tally(const Study& study)
    : parameters_(study.parameters.size()),
      every_((case_count(study) + kMostPoints - 1) / kMostPoints),
      extents_(study.results.size()) {}

void Tally::add(std::string_view rows) {
  while (!rows.empty()) {
    const std::size_t end = std::min(rows.find('\n'), rows.size() - 1);
    add_row(rows.substr(0, end));
    rows.remove_prefix(end + 1);
  }
}

void Tally::add_row(std::string_view row) {
  take_field(row);  // the number
  Point point{++cases_, take_numbers(row, parameters_), {}, false};
  point.results = take_numbers(row, extents_.size());
  point.solved = row == "ok";
  if (point.solved)
    add_results(point.results);
  else
    add_failure(point, unquoted(row));
  if (point.number == 1 || is_drawn(point.number, every_)) points_.push_back(std::move(point));
}

void Tally::add_failure(const Point& point, std::string reason) {
  ++failed_;
  if (failures_.size() < kMostFailures) failures_.push_back({point, std::move(reason)});
  if (!is_drawn(point.number, failed_every_)) return;
  failed_points_.push_back(point);
  while (failed_points_.size() > kMostFailedPoints) {
    failed_every_ *= 2;
    const auto left = std::remove_if(failed_points_.begin(), failed_points_.end(),
                                     [this](const Point& p) { return !is_drawn(p.number, failed_every_); });
    failed_points_.erase(left, failed_points_.end());
  }
}

void Tally::add_results(const std::vector<double>& results) {
  for (std::size_t i = 0; i < results.size(); ++i) {
    if (std::isnan(results[i])) continue;
    Extent& e = extents_[i];
    e.least = e.count == 0 ? results[i] : std::min(e.least, results[i]);
    e.most = e.count == 0 ? results[i] : std::max(e.most, results[i]);
    e.mean += (results[i] - e.mean) / static_cast<double>(++e.count);
  }
}

}  // namespace study
