#include <dlfcn.h>
#include <gtest/gtest.h>

#include "host/corvid_host.h"

namespace {

using namespace corvid_host;

int shown, flagged;

void note_splash(unsigned char show, unsigned char flag) {
  shown = show;
  flagged = flag;
}

TEST(Application, ItsHandleIsTheProgramUnlessTheHostChooses) {
  Dl_info program;
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&note_splash), &program), 0);
  EXPECT_EQ(AppInstance(), program.dli_fbase);
  int chosen = 0;
  SetAppInstance(&chosen);
  EXPECT_EQ(AppInstance(), &chosen);
  SetAppInstance(nullptr);
  EXPECT_EQ(AppInstance(), program.dli_fbase);
}

TEST(Application, TheSplashHandlerGetsBothArguments) {
  SetSplashHandler(note_splash);
  ShowSplashScreen(1, 2);
  SetSplashHandler(nullptr);
  ShowSplashScreen(7, 7);
  EXPECT_EQ(shown, 1);
  EXPECT_EQ(flagged, 2);
}

}  // namespace
