#include "frame/module.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "frame/math_errors.h"
#include "frame/numeric_runtime.h"
#include "host/corvid_host.h"

// Linked with the library's objects, so this process was attached before main by the real constructor.

namespace {

using namespace corvidnum;

struct Notice {
  unsigned reason;
  ModuleHandle instance;
  void* reserved;
  long controlWordsApplied;  // before the hook ran
};
std::vector<Notice> notices;

int note(ModuleHandle instance, unsigned reason, void* reserved) {
  notices.push_back({reason, instance, reserved, corvid_host::ControlWordApplications()});
  return 0;
}

int enter_from_hook(ModuleHandle, unsigned, void*) {
  const int selector = 3;
  return d1mach_(&selector) > 0;
}

class ModuleTest : public testing::Test {
 protected:
  void SetUp() override {
    notices.clear();
    SetModuleHook(note);
  }
  void TearDown() override {
    while (theModule) ModuleEntry(nullptr, kProcessDetach, nullptr);
    ModuleEntry(original_, kProcessAttach, nullptr);
  }
  std::vector<unsigned> reasons() const {
    std::vector<unsigned> result;
    for (const Notice& notice : notices) result.push_back(notice.reason);
    return result;
  }
  const ModuleHandle original_ = ModuleInstance();
};

TEST_F(ModuleTest, IsLoadedWithItsAddressAndPath) {
  ASSERT_NE(theModule, nullptr);
  Dl_info here;
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&ModuleEntry), &here), 0);
  EXPECT_EQ(ModuleInstance(), here.dli_fbase);
  const std::string path = ModulePath();
  EXPECT_EQ(path.front(), '/');
  EXPECT_NE(path.find("frame_module_test"), std::string::npos);
}

TEST_F(ModuleTest, ARepeatedAttachIsOnlyCounted) {
  ModuleRecord* const record = theModule;
  int other = 0;
  EXPECT_EQ(ModuleEntry(&other, kProcessAttach, nullptr), 1);
  EXPECT_EQ(theModule, record);
  EXPECT_EQ(ModuleInstance(), original_);
  EXPECT_EQ(ModuleEntry(&other, kProcessDetach, nullptr), 1);
  EXPECT_EQ(theModule, record);
  EXPECT_TRUE(notices.empty());  // neither reaches the hook

  const auto live = corvid_host::LiveBlocks();
  EXPECT_EQ(ModuleEntry(&other, kThreadAttach, &other), 1);
  EXPECT_EQ(ModuleEntry(&other, kThreadDetach, &other), 1);
  EXPECT_EQ(ModuleEntry(&other, kProcessDetach, &other), 1);
  EXPECT_EQ(theModule, nullptr);
  EXPECT_EQ(corvid_host::LiveBlocks(), live - 1);
  EXPECT_EQ(reasons(), (std::vector<unsigned>{kThreadAttach, kThreadDetach, kProcessDetach}));
  for (const Notice& notice : notices) {
    EXPECT_EQ(notice.instance, original_);
    EXPECT_EQ(notice.reserved, &other);
  }
}

TEST_F(ModuleTest, WithoutARecordEverythingIsHarmless) {
  ModuleEntry(nullptr, kProcessDetach, nullptr);
  ASSERT_EQ(theModule, nullptr);
  notices.clear();

  corvid_host::SetAppInstance(&notices);
  EXPECT_EQ(ModuleInstance(), &notices);
  corvid_host::SetAppInstance(nullptr);
  SetModuleHook(note);
  const long applied = corvid_host::ControlWordApplications();
  for (const unsigned reason : {kProcessDetach, kThreadAttach, kThreadDetach}) {
    EXPECT_EQ(ModuleEntry(nullptr, reason, nullptr), 1);
  }
  EXPECT_EQ(ModuleEntry(nullptr, 99, nullptr), 1);
  EXPECT_TRUE(notices.empty());
  EXPECT_EQ(corvid_host::ControlWordApplications(), applied + 1);  // the thread attach, record or not

  corvid_host::FailAllocation(1);
  EXPECT_EQ(ModuleEntry(nullptr, kProcessAttach, nullptr), 1);
  corvid_host::StopFailing();
  EXPECT_EQ(theModule, nullptr);
}

TEST_F(ModuleTest, AThreadIsAttachedAtItsFirstEntryAndDetachedAtItsEnd) {
  const long applied = corvid_host::ControlWordApplications();
  const int selector = 1;
  d1mach_(&selector);  // the loading thread was marked by the load
  EXPECT_TRUE(notices.empty());

  std::thread([&] {
    EXPECT_TRUE(notices.empty());
    d1mach_(&selector);
    ASSERT_EQ(reasons(), std::vector<unsigned>{kThreadAttach});
    EXPECT_EQ(notices[0].controlWordsApplied, applied);  // the hook first, then the control word
    EXPECT_EQ(corvid_host::ControlWordApplications(), applied + 1);
    d1mach_(&selector);
    EXPECT_EQ(notices.size(), 1u);
  }).join();
  EXPECT_EQ(reasons(), (std::vector<unsigned>{kThreadAttach, kThreadDetach}));
  EXPECT_EQ(corvid_host::ControlWordApplications(), applied + 1);

  notices.clear();
  std::thread([] {}).join();  // never enters: no notice
  EXPECT_TRUE(notices.empty());
}

void enter_at_the_end(void*) {
  const int selector = 1;
  d1mach_(&selector);
}

TEST_F(ModuleTest, AThreadThatEntersAfterItsDetachIsAttachedAgain) {
  pthread_key_t key;  // made after the library's own, so its destructor runs behind that
  ASSERT_EQ(pthread_key_create(&key, enter_at_the_end), 0);
  std::thread([&] {
    enter_at_the_end(nullptr);
    pthread_setspecific(key, &key);
  }).join();
  pthread_key_delete(key);
  EXPECT_EQ(reasons(), (std::vector<unsigned>{kThreadAttach, kThreadDetach, kThreadAttach, kThreadDetach}));
}

TEST_F(ModuleTest, AHookMayEnterTheLibrary) {
  SetModuleHook(enter_from_hook);
  const long applied = corvid_host::ControlWordApplications();
  const int selector = 1;
  std::thread([&] { d1mach_(&selector); }).join();
  EXPECT_EQ(corvid_host::ControlWordApplications(), applied + 1);
}

TEST_F(ModuleTest, ShowsTheSplashScreenOfTheHost) {
  static int shown, flag;
  corvid_host::SetSplashHandler([](unsigned char s, unsigned char f) { shown = s, flag = f; });
  flag = 7;
  ShowModuleSplash();
  corvid_host::SetSplashHandler(nullptr);
  EXPECT_EQ(shown, 1);
  EXPECT_EQ(flag, 0);
}

// ---- Math errors.

_exception reported;
std::string reporter, function;

int decline(const char* module, _exception* e) {
  reporter = module;
  reported = *e;
  function = e->name;
  return 0;
}

int correct(const char* module, _exception* e) {
  decline(module, e);
  e->retval = 42.0;
  return 1;
}

class MathErrorTest : public ModuleTest {
 protected:
  void TearDown() override {
    corvid_host::SetMathErrorHandler(nullptr);
    ModuleTest::TearDown();
  }
};

TEST_F(MathErrorTest, TheHostDecidesAndMayChangeTheResult) {
  const double infinity = HUGE_VAL;
  const struct {
    double (*function)(double);
    const char* name;
    double argument;
    int type, error;
    double result;
  } cases[] = {{checked_sqrt, "sqrt", -4.0, kMathDomain, EDOM, NAN},
               {checked_sqrt, "sqrt", -infinity, kMathDomain, EDOM, NAN},
               {checked_log10, "log10", 0.0, kMathSingularity, ERANGE, -infinity},
               {checked_log10, "log10", -0.0, kMathSingularity, ERANGE, -infinity},
               {checked_log10, "log10", -1.0, kMathDomain, EDOM, NAN}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.name << ' ' << c.argument);
    corvid_host::SetMathErrorHandler(decline);
    errno = 0;
    const double declined = c.function(c.argument);
    EXPECT_TRUE(std::isnan(c.result) ? std::isnan(declined) : declined == c.result);
    EXPECT_EQ(errno, c.error);
    EXPECT_EQ(reporter, ModulePath());
    EXPECT_EQ(reported.type, c.type);
    EXPECT_EQ(function, c.name);
    EXPECT_EQ(reported.arg1, c.argument);
    EXPECT_EQ(reported.arg2, 0.0);

    corvid_host::SetMathErrorHandler(correct);
    errno = 0;
    EXPECT_EQ(c.function(c.argument), 42.0);
    EXPECT_EQ(errno, 0);
  }
}

TEST_F(MathErrorTest, ValidArgumentsAndNaNAreNoErrors) {
  corvid_host::SetMathErrorHandler(correct);
  EXPECT_EQ(checked_sqrt(2.25), 1.5);
  EXPECT_EQ(checked_log10(1000.0), 3.0);
  EXPECT_TRUE(std::isnan(checked_sqrt(NAN)));
  EXPECT_TRUE(std::isnan(checked_log10(NAN)));
}

TEST_F(MathErrorTest, WithoutARecordTheNameIsEmpty) {
  ModuleEntry(nullptr, kProcessDetach, nullptr);
  corvid_host::SetMathErrorHandler(decline);
  reporter = "unset";
  checked_sqrt(-1.0);
  EXPECT_EQ(reporter, "");
}

}  // namespace
