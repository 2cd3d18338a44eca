// The notifications that the library makes for itself on Linux.

#include <dlfcn.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "tests/frame/module_fixture.h"

namespace {

using namespace corvidnum;
using corvid_host::ControlWordApplications;

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

}  // namespace
