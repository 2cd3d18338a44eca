#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "host/corvid_host.h"

namespace {

using namespace corvid_host;

struct Line {
  LineKind kind;
  std::string text;
};

class LinesTest : public testing::Test {
 protected:
  void SetUp() override { SetLineSink(keep, &lines_); }
  void TearDown() override { SetLineSink(nullptr); }
  static void keep(void* context, LineKind kind, const char* line) {
    static_cast<std::vector<Line>*>(context)->push_back({kind, line});
  }
  void expect_one_line(LineKind kind, const std::string& text) {
    ASSERT_EQ(lines_.size(), 1u);
    EXPECT_EQ(lines_[0].kind, kind);
    EXPECT_EQ(lines_[0].text, text);
    lines_.clear();
  }
  std::vector<Line> lines_;
};

TEST_F(LinesTest, TheLibrarysKeysTakeTheirArguments) {
  const struct {
    const char* key;
    bool showsFirst, showsSecond;
  } keys[] = {{"ma48_MSS", true, true},       {"ma48_PSF", true, false}, {"ma48_PSI", true, false},
              {"ma48_MFF", true, false},      {"ma48_FSE", true, false}, {"CompWithNoBond", false, false},
              {"StackOverflow", false, false}};
  for (const auto& k : keys) {
    SCOPED_TRACE(k.key);
    const Text& format = FindString(k.key);
    EXPECT_STRNE(format.Characters(), k.key);
    ErrorMsg(k.key, -4711, 8093);
    ASSERT_EQ(lines_.size(), 1u);
    EXPECT_EQ(lines_[0].text.find("-4711") != std::string::npos, k.showsFirst);
    EXPECT_EQ(lines_[0].text.find("8093") != std::string::npos, k.showsSecond);
    EXPECT_GT(lines_[0].text.size(), 30u);
    lines_.clear();
  }
}

TEST_F(LinesTest, AnUnknownKeyIsItsOwnSafeText) {
  const auto blocks = LiveBlocks();
  FailAllocationsFrom(1);  // the table's texts are not the library's memory
  const Text& text = FindString("no %s of %n this");
  const Text& empty = FindString(nullptr);
  StopFailing();
  EXPECT_STREQ(text.Characters(), "no %%s of %%n this");
  EXPECT_STREQ(empty.Characters(), "");
  EXPECT_EQ(LiveBlocks(), blocks);
  EXPECT_EQ(&FindString("no %s of %n this"), &text);
  ErrorMsg("no %s of %n this", 1);
  expect_one_line(LineKind::kError, "no %s of %n this");
}

TEST_F(LinesTest, AReplacedTextLeavesTheFormerOneAlone) {
  const Text& unknown = FindString("own key");
  const std::string as_it_was = unknown.Characters();
  EXPECT_TRUE(SetString("own key", "value %g"));
  const Text& first = FindString("own key");
  EXPECT_TRUE(SetString("own key", "now %g"));
  for (int i = 0; i < 1000; ++i) FindString(("filler " + std::to_string(i)).c_str());
  EXPECT_EQ(unknown.Characters(), as_it_was);
  EXPECT_STREQ(first.Characters(), "value %g");
  ErrorMsg("own key", 2.5);
  expect_one_line(LineKind::kError, "now 2.5");
}

TEST_F(LinesTest, TextsForTheLibrarysKeysAskForWhatItPasses) {
  const char* const keys[] = {"ma48_PSF", "ma48_MSS", "StackOverflow"};
  std::vector<const Text*> originals;
  for (const char* key : keys) originals.push_back(&FindString(key));
  const struct {
    const char *key, *text;
    bool accepted;
  } cases[] = {
      {"ma48_PSF", "Zustand %d", true},
      {"ma48_PSF", "no argument, 5%%", true},
      {"ma48_PSF", "%-08.3i", true},
      {"ma48_PSF", "%d %d", false},
      {"ma48_PSF", "%s", false},
      {"ma48_PSF", "%ld", false},
      {"ma48_PSF", "%g", false},
      {"ma48_PSF", "%n", false},
      {"ma48_PSF", "%*d", false},
      {"ma48_PSF", "ends in %", false},
      {"ma48_PSF", "%2$d", false},
      {"ma48_MSS", "%d and %d", true},
      {"ma48_MSS", "%d, %d and %d", false},
      {"StackOverflow", "%d", false},
      {"StackOverflow", "100%% full", true},
      {"host key", "%s %g %n", true},
      {nullptr, "text", false},
      {"host key", nullptr, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text ? c.text : "null");
    EXPECT_EQ(SetString(c.key, c.text), c.accepted);
  }
  EXPECT_STREQ(FindString("ma48_PSF").Characters(), "%-08.3i");
  for (std::size_t i = 0; i < std::size(keys); ++i) {
    EXPECT_TRUE(SetString(keys[i], originals[i]->Characters()));
  }
}

TEST_F(LinesTest, TraceAndErrorsReachTheChosenSink) {
  Trace("100% %s", 0, nullptr);
  expect_one_line(LineKind::kTrace, "100% %s");

  FailAllocationsFrom(1);  // an error is heard without memory
  ErrorMsg("StackOverflow");
  StopFailing();
  expect_one_line(LineKind::kError, FindString("StackOverflow").Characters());

  SetLineSink(nullptr);
  testing::internal::CaptureStderr();
  Trace("a trace", 0, nullptr);
  ErrorMsg("an error");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "a trace\nerror: an error\n");
  EXPECT_TRUE(lines_.empty());
}

TEST_F(LinesTest, ASinkMayTraceAndThreadsTakeTurns) {
  static int depth, deepest, seen;
  depth = deepest = seen = 0;
  SetLineSink([](void*, LineKind, const char* line) {
    deepest = std::max(deepest, ++depth);
    ++seen;
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

TEST_F(LinesTest, AMathErrorIsTracedUnlessTheHostDecides) {
  char module[] = "/lib/module.so", function[] = "log10";
  const struct {
    int type;
    const char* word;
  } kinds[] = {{kMathDomain, "domain"},
               {kMathSingularity, "singularity"},
               {kMathOverflow, "overflow"},
               {kMathUnderflow, "underflow"},
               {kMathTotalLoss, "total"},
               {kMathPartialLoss, "partial"},
               {99, "unknown"}};
  for (const auto& kind : kinds) {
    SCOPED_TRACE(kind.word);
    _exception e = {kind.type, function, -1.5, 0.25, 3.0};
    FailAllocationsFrom(1);  // heard without memory, too
    EXPECT_EQ(Zumatherr(module, &e), 0);
    StopFailing();
    EXPECT_EQ(e.retval, 3.0);
    ASSERT_EQ(lines_.size(), 1u);
    for (const char* part : {"/lib/module.so", "log10", "-1.5", "0.25", kind.word}) {
      EXPECT_NE(lines_[0].text.find(part), std::string::npos) << lines_[0].text;
    }
    lines_.clear();
  }
  SetMathErrorHandler([](const char* name, _exception* e) {
    e->retval = e->arg1 + static_cast<double>(std::strlen(name));
    return 5;
  });
  _exception e = {kMathDomain, nullptr, -1.5, 0, 3.0};
  EXPECT_EQ(Zumatherr(module, &e), 5);
  EXPECT_EQ(e.retval, -1.5 + 14);
  EXPECT_EQ(Zumatherr(nullptr, nullptr), 0);
  EXPECT_TRUE(lines_.empty());

  SetMathErrorHandler(nullptr);
  EXPECT_EQ(Zumatherr(nullptr, &e), 0);
  EXPECT_EQ(lines_.size(), 1u);
}

}  // namespace
