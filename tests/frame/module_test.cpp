#include "frame/module.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "frame/math_errors.h"
#include "frame/numeric_runtime.h"
#include "host/corvid_host.h"

// Linked with the library's objects, so this process was attached before main by the real constructor.

namespace {

using namespace corvidnum;
using corvid_host::ControlWordApplications;
using Reasons = std::vector<unsigned>;

void enter() {
  const int selector = 1;
  d1mach_(&selector);
}

struct Notice {
  ModuleHandle instance;
  void* reserved;
  long controlWordsApplied;  // before the hook ran
};
std::vector<Notice> notices;
Reasons reasons;

int note(ModuleHandle instance, unsigned reason, void* reserved) {
  enter();  // a hook may
  notices.push_back({instance, reserved, ControlWordApplications()});
  reasons.push_back(reason);
  return 0;
}

class ModuleTest : public testing::Test {
 protected:
  void SetUp() override {
    notices.clear();
    reasons.clear();
    SetModuleHook(note);
  }
  void TearDown() override {
    while (theModule) ModuleEntry(nullptr, kProcessDetach, nullptr);
    ModuleEntry(original_, kProcessAttach, nullptr);
  }
  const ModuleHandle original_ = ModuleInstance();
};

// First in this file: the hook of a later one would attach an unmarked thread unseen.
TEST_F(ModuleTest, IsLoadedWithItsAddressAndPath) {
  ASSERT_NE(theModule, nullptr);
  Dl_info here;
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&ModuleEntry), &here), 0);
  EXPECT_EQ(ModuleInstance(), here.dli_fbase);
  EXPECT_EQ(ModulePath(), std::filesystem::read_symlink("/proc/self/exe").string());
  enter();
  EXPECT_TRUE(notices.empty()) << "the loading thread was marked by the load";
}

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

TEST_F(ModuleTest, AThreadIsAttachedAtItsFirstEntryAndAgainAfterItsDetach) {
  const long applied = ControlWordApplications();
  std::thread([] {}).join();  // this one never enters
  EXPECT_TRUE(notices.empty());
  pthread_key_t key;  // made after the library's own, so its destructor runs behind that
  ASSERT_EQ(pthread_key_create(&key, [](void*) { enter(); }), 0);
  std::thread([&] {
    enter();
    enter();
    ASSERT_EQ(reasons, Reasons{kThreadAttach});
    EXPECT_EQ(notices[0].controlWordsApplied, applied);  // the hook first, then the control word
    EXPECT_EQ(ControlWordApplications(), applied + 1);
    pthread_setspecific(key, &key);
  }).join();
  pthread_key_delete(key);
  EXPECT_EQ(reasons, (Reasons{kThreadAttach, kThreadDetach, kThreadAttach, kThreadDetach}));
}

#ifndef __SANITIZE_THREAD__  // it knows nothing of threads in the child of a fork
TEST_F(ModuleTest, AForkInTheMiddleOfANotificationLeavesTheChildUsable) {
  static std::atomic<int> stage;
  stage = 0;
  SetModuleHook([](ModuleHandle, unsigned, void*) {
    if (stage == 0) stage = 1;
    while (stage != 2) std::this_thread::yield();
    return 0;
  });
  std::thread within(enter);
  while (stage != 1) std::this_thread::yield();
  const pid_t child = fork();
  if (child == 0) {
    alarm(20);
    stage = 2;
    std::thread(enter).join();
    ModuleEntry(nullptr, kProcessDetach, nullptr);
    _exit(theModule ? 1 : 0);
  }
  stage = 2;
  within.join();
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}
#endif

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
