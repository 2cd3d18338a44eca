#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/corvid_host.h"

namespace {

using namespace corvid_host;

class LinesTest : public testing::Test {
 protected:
  void SetUp() override { SetLineSink(keep, &lines_); }
  void TearDown() override { SetLineSink(nullptr); }
  static void keep(void* context, LineKind kind, const char* line) {
    static_cast<decltype(lines_)*>(context)->push_back({kind, line});
  }
  /// The one line that was heard since the last look.
  std::string heard(LineKind kind) {
    EXPECT_EQ(lines_.size(), 1u);
    const std::string line = !lines_.empty() && lines_[0].first == kind ? lines_[0].second : "";
    lines_.clear();
    return line;
  }
  static bool shows(const std::string& line, const char* part) {
    return line.find(part) != std::string::npos;
  }
  std::vector<std::pair<LineKind, std::string>> lines_;
};

TEST_F(LinesTest, TheLibrarysKeysTakeTheirArguments) {
  const std::pair<const char*, int> keys[] = {{"ma48_MSS", 2},     {"ma48_PSF", 1}, {"ma48_PSI", 1},
                                              {"ma48_MFF", 1},     {"ma48_FSE", 1}, {"CompWithNoBond", 0},
                                              {"StackOverflow", 0}};
  for (const auto& [key, arguments] : keys) {
    SCOPED_TRACE(key);
    ErrorMsg(key, -4711, 8093);
    const std::string line = heard(LineKind::kError);
    EXPECT_NE(line, key);
    EXPECT_EQ(shows(line, "-4711"), arguments > 0);
    EXPECT_EQ(shows(line, "8093"), arguments > 1);
  }
}

TEST_F(LinesTest, AnUnknownKeyIsItsOwnSafeTextUntilItIsReplaced) {
  const auto blocks = LiveBlocks();
  FailAllocationsFrom(1);  // the table's texts are not the library's memory
  const Text& unknown = FindString("no %s of %n this");
  StopFailing();
  EXPECT_EQ(LiveBlocks(), blocks);
  ErrorMsg("no %s of %n this", 1);
  EXPECT_EQ(heard(LineKind::kError), "no %s of %n this");

  EXPECT_TRUE(SetString("no %s of %n this", "now %g"));
  ErrorMsg("no %s of %n this", 2.5);
  EXPECT_EQ(heard(LineKind::kError), "now 2.5");
  EXPECT_STREQ(unknown.Characters(), "no %%s of %%n this") << "what was handed out stays";
}

TEST_F(LinesTest, TextsForTheLibrarysKeysAskForWhatItPasses) {
  const struct {
    const char* key;
    std::vector<const char*> accepted, refused;
  } cases[] = {
      {"ma48_PSF",
       {"no argument, 5%%", "Zustand %d", "%-08.3i"},
       {"%d %d", "%s", "%ld", "%g", "%n", "%*d", "ends in %", "%2$d", nullptr}},
      {"ma48_MSS", {"%d and %d"}, {"%d, %d and %d"}},
      {"StackOverflow", {"100%% full"}, {"%d"}},
      {"host key", {"%s %g %n"}, {}},
  };
  for (const auto& c : cases) {
    for (const char* text : c.accepted) EXPECT_TRUE(SetString(c.key, text)) << text;
    for (const char* text : c.refused) EXPECT_FALSE(SetString(c.key, text)) << (text ? text : "null");
  }
}

TEST_F(LinesTest, WithoutASinkLinesGoToTheStandardError) {
  SetLineSink(nullptr);
  testing::internal::CaptureStderr();
  Trace("100% %s", 0, nullptr);
  ErrorMsg("an error");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "100% %s\nerror: an error\n");
}

TEST_F(LinesTest, ASinkMayTraceAndThreadsTakeTurns) {
  static int depth, deepest, seen;
  depth = deepest = seen = 0;
  SetLineSink([](void*, LineKind, const char* line) {
    deepest = std::max(deepest, ++depth);
    ++seen;
    std::this_thread::yield();  // a turn that another one could disturb
    if (std::strcmp(line, "outer") == 0) Trace("inner", 0, nullptr);
    --depth;
  });
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([] {
      for (int i = 0; i < 500; ++i) Trace("outer", 0, nullptr);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(deepest, 2);
  EXPECT_EQ(seen, 4 * 500 * 2);
}

}  // namespace
