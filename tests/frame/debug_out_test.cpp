// The log as a host has it: this program compiles frame/debug_out.cpp itself.

#include "frame/debug_out.h"

#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <limits>
#include <string>
#include <utility>

#include "frame/empty_value.h"
#include "tests/support/log_file.h"

namespace {

using DebugOutTest = test_support::LogFile;

TEST_F(DebugOutTest, NumbersHaveTheirColumns) {
  const double infinity = std::numeric_limits<double>::infinity();
  const std::pair<double, const char*> doubles[] = {
      {EmptyValue, "        EMPTY"},
      {-32767.5, " -32767.50000"},
      {-0.0, "         0.0"},
      {-1e-5, " -1.00000e-05"},
      {std::nextafter(1e-4, 0.0), "  1.00000e-04"},
      {1e-4, "      0.00010"},
      {-2.5, "     -2.50000"},
      {-1e7, "-10000000.00000"},  // the column grows
      {std::nextafter(1e7, 1e8), "  1.00000e+07"},
      {-infinity, "         -inf"},
      {std::nan(""), "          nan"},
  };
  for (const auto& [value, text] : doubles)
    EXPECT_EQ(written([value = value](DebugOut& log) { log.Write(value); }), text) << value;
  const std::pair<int, const char*> integers[] = {
      {EmptyValueInt, "        EMPTY"}, {-7, "           -7"}, {-2147483647 - 1, "  -2147483648"}};
  for (const auto& [value, text] : integers)
    EXPECT_EQ(written([value = value](DebugOut& log) { log.Write(value); }), text);
}

TEST_F(DebugOutTest, VectorsBreakAfterFiveNumbers) {
  const int integers[] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  const std::string column(12, ' ');
  const struct {
    int first, last;
    std::string text;
  } cases[] = {
      {3, 3, "h:"},
      {3, -9, "h:"},
      {2, 4, "h:@3@4"},
      {0, 5, "h:@1@2@3@4@5"},
      {1, 7, "h:\n@2@3@4@5@6\n@7"},
      {0, 9, "h:\n@1@2@3@4@5\n@6@7@8@9"},
  };
  for (const auto& c : cases) {
    std::string text = c.text;
    for (std::size_t at; (at = text.find('@')) != std::string::npos;) text.replace(at, 1, column);
    EXPECT_EQ(written([&](DebugOut& log) { log.WriteVector("h:", integers, c.first, c.last); }), text);
  }
  const double doubles[] = {1.0, 0.0, EmptyValue};
  EXPECT_EQ(written([&](DebugOut& log) { log.WriteVector("h", doubles, 0, 3); }),
            "h      1.00000         0.0        EMPTY");
  EXPECT_EQ(written([&](DebugOut& log) {
              log.WriteVector("h", static_cast<const double*>(nullptr), 0, 3);
              log.WriteVector("h", static_cast<const int*>(nullptr), 0, 3);
              log.WriteMatrix("h", nullptr, 1, 1);
            }),
            "");
}

TEST_F(DebugOutTest, MatrixRowsBeginOnLinesOfTheirOwn) {
  double values[2][6] = {{1, 2, 3, 4, 5, 6}, {7}};
  double* rows[] = {values[0], values[1]};
  const struct {
    int rows, columns;
    std::string text;
  } cases[] = {
      {2, 1, "m:\n           1.00000\n           7.00000"},
      {1, 6,
       "m:\n           1.00000      2.00000      3.00000      4.00000      5.00000\n           6.00000"},
      {2, 0, "m:"},
      {-1, 3, "m:"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(written([&](DebugOut& log) { log.WriteMatrix("m:", rows, c.rows, c.columns); }), c.text);
  }
}

TEST_F(DebugOutTest, KeepsOrReplacesWhatIsThere) {
  const auto run = [&](unsigned char append, int value) {
    {
      DebugOut log(name(), 1, append);
      log.Write(9);  // not open: goes nowhere
      log.Open();
      log.Write(value);
      log.Reopen();  // puts it on disk, whether the log appends or not
      EXPECT_NE(content().find(std::to_string(value)), std::string::npos);
      log.Write(value + 1);
    }
    return content();
  };
  EXPECT_EQ(run(1, 1), "            1            2");  // there is none yet
  EXPECT_EQ(run(1, 3), "            1            2            3            4");
  EXPECT_EQ(run(0, 5), "            5            6");
}

TEST_F(DebugOutTest, TimeIsThatOfTheClock) {
  const std::time_t before = std::time(nullptr);
  const std::string text = written([](DebugOut& log) { log.WriteTime(); });
  const std::time_t after = std::time(nullptr);
  bool found = false;
  for (std::time_t t = before; t <= after; ++t) {
    found = found || text == "\nThe current time is: " + std::string(std::ctime(&t)) + " \n";
  }
  EXPECT_TRUE(found) << text;
}

}  // namespace
