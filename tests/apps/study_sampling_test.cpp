// Samples against closed forms, and against numbers that were computed apart from this program.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

#include "apps/study/random_numbers.h"
#include "apps/study/sampling.h"

namespace {

using study::Parameter;
using study::Spread;
using study::Study;

Parameter drawn(Spread spread, double a, double b) {
  Parameter p;
  p.spread = spread;
  (spread == Spread::kNormal ? p.mean : p.from) = a;
  (spread == Spread::kNormal ? p.deviation : p.to) = b;
  return p;
}

Parameter range(double from, double to, std::int64_t count) {
  Parameter p = drawn(Spread::kRange, from, to);
  p.count = count;
  return p;
}

Study study_of(std::vector<Parameter> parameters, std::int64_t samples = 1, std::uint64_t seed = 1957) {
  Study study;
  study.parameters = std::move(parameters);
  study.samples = samples;
  study.seed = seed;
  study.chunk = 64;
  return study;
}

/// The values of one parameter in all cases.
std::vector<double> column_of(const Study& study, std::size_t parameter) {
  std::vector<double> values;
  for (std::int64_t i = 0; i < case_count(study); ++i) values.push_back(values_of_case(study, i)[parameter]);
  return values;
}

// An independent program gives the same bits: a stored study can be made again by any compiler.
TEST(StudySampling, DrawsTheSameBitsEverywhere) {
  EXPECT_EQ(study::random_bits(0, 0, 0), 0x238275bc38fcbe91u);
  EXPECT_EQ(study::random_bits(1957, 3, 41), 0x7aa821ba20729479u);
  EXPECT_EQ(study::random_bits(2147483647, 7, 9999999), 0x0bdcb1cabe236697u);
  std::vector<std::uint64_t> order;
  for (std::uint64_t i = 0; i < 10; ++i) order.push_back(study::permuted(i, 10, 7, 1));
  EXPECT_EQ(order, (std::vector<std::uint64_t>{9, 8, 0, 3, 1, 4, 6, 5, 7, 2}));
  EXPECT_GT(study::unit_interval(0), 0);
  EXPECT_LT(study::unit_interval(~std::uint64_t{0}), 1);
}

TEST(StudySampling, InvertsTheNormalDistribution) {
  EXPECT_EQ(study::normal_quantile(0.5), 0);
  for (double p = 1e-300; p < 0.5; p *= p < 1e-10 ? 1e7 : 1.07) {
    const double z = study::normal_quantile(p);
    // z, z / sqrt(2) and erfc have a few roundings each; the tail magnifies those of z by z * z.
    EXPECT_NEAR(0.5 * std::erfc(-z / std::sqrt(2.0)) / p, 1, 1e-15 * (4 + z * z)) << p;
    if (p > 1e-5) {
      EXPECT_NEAR(study::normal_quantile(1 - p), -z, 1e-10) << p;
    }
  }
}

TEST(StudySampling, ALatinHypercubeHasOneSampleInEachPart) {
  for (const std::int64_t count : {1, 2, 7, 64, 1000}) {
    SCOPED_TRACE(count);
    const Study study =
        study_of({drawn(Spread::kLatinHypercube, -1, 3), drawn(Spread::kLatinHypercube, 0, 1)}, count);
    for (std::size_t p = 0; p < 2; ++p) {
      std::vector<double> values = column_of(study, p);
      std::sort(values.begin(), values.end());
      const double from = study.parameters[p].from,
                   width = (study.parameters[p].to - from) / static_cast<double>(count);
      for (std::size_t i = 0; i < values.size(); ++i) {
        EXPECT_GE(values[i], from + width * static_cast<double>(i));
        EXPECT_LE(values[i], from + width * static_cast<double>(i + 1));
      }
    }
  }
}

double mean_of(const std::vector<double>& values) {
  return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

// The bounds are five standard errors.
TEST(StudySampling, ANormalScatterHasItsMoments) {
  constexpr std::int64_t kCount = 100000;
  const Study study = study_of({drawn(Spread::kNormal, 10, 2), drawn(Spread::kNormal, -1, 0.1)}, kCount);
  std::vector<double> a = column_of(study, 0), b = column_of(study, 1);
  std::vector<double> second, third, fourth, mixed;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const double z = (a[i] - 10) / 2, w = (b[i] + 1) / 0.1;
    second.push_back(z * z);
    third.push_back(z * z * z);
    fourth.push_back(z * z * z * z);
    mixed.push_back(z * w);
  }
  const double error = 5 / std::sqrt(static_cast<double>(kCount));
  EXPECT_NEAR(mean_of(a), 10, 2 * error);
  EXPECT_NEAR(mean_of(second), 1, std::sqrt(2.0) * error);
  EXPECT_NEAR(mean_of(third), 0, std::sqrt(15.0) * error);
  EXPECT_NEAR(mean_of(fourth), 3, std::sqrt(96.0) * error);
  EXPECT_NEAR(mean_of(mixed), 0, error);  // parameters are drawn independently
}

TEST(StudySampling, CombinesListedValuesWithTheSameSamples) {
  Parameter list;
  list.values = {5, -1};
  const Study study = study_of({list, drawn(Spread::kNormal, 0, 1), range(1, 2, 3)}, 4);
  ASSERT_EQ(case_count(study), 24);
  std::vector<double> lists, ranges;
  for (const std::int64_t combination : {0, 1, 2, 3, 4, 5}) {
    const std::vector<double> first = values_of_case(study, 4 * combination);
    lists.push_back(first[0]);
    ranges.push_back(first[2]);
    for (const std::int64_t sample : {0, 1, 2, 3})
      EXPECT_EQ(values_of_case(study, 4 * combination + sample)[1], values_of_case(study, sample)[1]);
  }
  EXPECT_EQ(lists, (std::vector<double>{5, 5, 5, -1, -1, -1}));
  EXPECT_EQ(ranges, (std::vector<double>{1, 1.5, 2, 1, 1.5, 2}));
  EXPECT_NE(values_of_case(study, 0)[1], values_of_case(study, 1)[1]);
  EXPECT_EQ(column_of(study_of({range(0.1, 0.7, 50)}), 0).back(), 0.7);  // to the last bit
}

}  // namespace
