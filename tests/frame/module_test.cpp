#include "frame/module.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <string>
#include <vector>

#include "frame/math_errors.h"
#include "tests/frame/module_fixture.h"

namespace {

using namespace corvidnum;
using corvid_host::ControlWordApplications;

TEST_F(ModuleTest, TheLastDetachEndsWhatTheFirstAttachBegan) {
  ModuleRecord* const record = theModule;
  const auto live = corvid_host::LiveBlocks();
  int other = 0;
  ModuleEntry(&other, kProcessAttach, nullptr);
  ModuleEntry(&other, kProcessDetach, nullptr);
  EXPECT_EQ(theModule, record);
  EXPECT_TRUE(notices.empty());  // neither reaches the hook

  for (const unsigned reason : {kThreadAttach, kThreadDetach, kProcessDetach}) {
    EXPECT_EQ(ModuleEntry(&other, reason, &other), 1);
  }
  EXPECT_EQ(theModule, nullptr);
  EXPECT_EQ(corvid_host::LiveBlocks(), live - 1);
  EXPECT_EQ(reasons, (Reasons{kThreadAttach, kThreadDetach, kProcessDetach}));
  for (const Notice& notice : notices) {
    EXPECT_EQ(notice.instance, original_);
    EXPECT_EQ(notice.reserved, &other);
  }
}

TEST_F(ModuleTest, WithoutARecordEverythingIsHarmless) {
  ModuleEntry(nullptr, kProcessDetach, nullptr);
  corvid_host::FailAllocation(1);
  EXPECT_EQ(ModuleEntry(nullptr, kProcessAttach, nullptr), 1);
  corvid_host::StopFailing();
  ASSERT_EQ(theModule, nullptr);
  notices.clear();
  corvid_host::SetAppInstance(&notices);
  EXPECT_EQ(ModuleInstance(), &notices);
  corvid_host::SetAppInstance(nullptr);
  SetModuleHook(note);
  const long applied = ControlWordApplications();
  for (const unsigned reason : {0u, 2u, 3u, 99u}) EXPECT_EQ(ModuleEntry(nullptr, reason, nullptr), 1);
  EXPECT_TRUE(notices.empty());
  EXPECT_EQ(ControlWordApplications(), applied + 1);  // the thread attach, record or not
}

TEST_F(ModuleTest, ShowsTheSplashScreenOfTheHost) {
  static std::vector<int> shown;
  corvid_host::SetSplashHandler([](unsigned char show, unsigned char flag) { shown = {show, flag}; });
  ShowModuleSplash();
  corvid_host::SetSplashHandler(nullptr);
  EXPECT_EQ(shown, (std::vector<int>{1, 0}));
}

// ---- Math errors.

_exception reported;
std::string reporter;
bool corrects;

int decide(const char* module, _exception* e) {
  reporter = module;
  reported = *e;
  if (corrects) e->retval = 42.0;
  return corrects;
}

TEST_F(ModuleTest, TheHostDecidesAboutMathErrorsAndMayChangeTheResult) {
  const struct {
    double (*function)(double);
    double argument;
    int type, error;
    double result;
  } cases[] = {{checked_sqrt, -HUGE_VAL, kMathDomain, EDOM, NAN},
               {checked_log10, -0.0, kMathSingularity, ERANGE, -HUGE_VAL},
               {checked_log10, -1.0, kMathDomain, EDOM, NAN}};
  corvid_host::SetMathErrorHandler(decide);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.argument);
    corrects = false;
    errno = 0;
    const double declined = c.function(c.argument);
    EXPECT_TRUE(std::isnan(c.result) ? std::isnan(declined) : declined == c.result);
    EXPECT_EQ(errno, c.error);
    EXPECT_EQ(reporter, ModulePath());
    EXPECT_EQ(reported.type, c.type);
    EXPECT_EQ(reported.arg1, c.argument);
    corrects = true;
    errno = 0;
    EXPECT_EQ(c.function(c.argument), 42.0);
    EXPECT_EQ(errno, 0);
  }
  EXPECT_TRUE(checked_sqrt(2.25) == 1.5 && checked_sqrt(0.0) == 0.0 && checked_log10(1000.0) == 3.0 &&
              std::isnan(checked_sqrt(NAN)));

  ModuleEntry(nullptr, kProcessDetach, nullptr);
  checked_sqrt(-1.0);
  EXPECT_EQ(reporter, "") << "without a record";
  corvid_host::SetMathErrorHandler(nullptr);
}

}  // namespace
