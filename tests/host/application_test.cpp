#include <dlfcn.h>
#include <gtest/gtest.h>

#include "host/corvid_host.h"

namespace {

TEST(Application, ItsHandleIsTheProgramUnlessTheHostChooses) {
  static int in_the_program;
  Dl_info program;
  ASSERT_NE(dladdr(&in_the_program, &program), 0);
  corvid_host::SetAppInstance(&in_the_program);
  EXPECT_EQ(AppInstance(), &in_the_program);
  corvid_host::SetAppInstance(nullptr);
  EXPECT_EQ(AppInstance(), program.dli_fbase);
}

}  // namespace
