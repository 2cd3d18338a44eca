// What Windows tells the library, and the path of its file.

#include <windows.h>

#include <filesystem>
#include <string>

#include "tests/frame/module_fixture.h"
#include "tests/host/own_folder.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved);

namespace {

using namespace corvidnum;

TEST_F(ModuleTest, TheEntryPointForwardsAllFourReasons) {
  ModuleEntry(nullptr, kProcessDetach, nullptr);
  notices.clear();
  reasons.clear();
  const HINSTANCE own = GetModuleHandleW(nullptr);
  int reserved = 0;
  EXPECT_TRUE(DllMain(own, DLL_PROCESS_ATTACH, &reserved));
  ASSERT_NE(theModule, nullptr);
  EXPECT_EQ(ModuleInstance(), own);
  EXPECT_TRUE(std::filesystem::equivalent(ModulePath(), testing::internal::GetArgvs()[0]));
  SetModuleHook(note);
  for (const DWORD reason : {DLL_THREAD_ATTACH, DLL_THREAD_DETACH, DLL_PROCESS_DETACH})
    EXPECT_TRUE(DllMain(own, reason, &reserved));
  EXPECT_EQ(reasons, (Reasons{kThreadAttach, kThreadDetach, kProcessDetach}));
  for (const Notice& notice : notices) EXPECT_EQ(notice.reserved, &reserved);
  EXPECT_EQ(theModule, nullptr);
}

using PathTest = OwnFolder;

TEST_F(PathTest, IsCutToTheRoomThereIs) {
  constexpr std::size_t kRoom = kModulePathCapacity;
  const std::string prefix = "\\\\?\\";  // lifts the system's own limit
  std::string folder = prefix + fs::absolute(folder_).make_preferred().string();
  while (folder.size() < kRoom + 20) {
    folder += "\\" + std::string(50, 'f');
    ASSERT_TRUE(CreateDirectoryA(folder.c_str(), nullptr)) << GetLastError();
  }
  const std::string file = folder + "\\copy.dll";
  wchar_t host[MAX_PATH];
  GetModuleFileNameW(GetModuleHandleW(L"corvid.dll"), host, MAX_PATH);
  ASSERT_TRUE(CopyFileW(host, fs::path(file).c_str(), TRUE)) << GetLastError();
  const HMODULE module = LoadLibraryA(file.c_str());
  ASSERT_NE(module, nullptr) << GetLastError();
  char whole[2 * kRoom], cut[kRoom + 1] = {}, unknown[kRoom] = "x";
  const DWORD length = GetModuleFileNameA(module, whole, sizeof whole);
  cut[kRoom] = '!';
  find_module_path(module, cut, kRoom);
  find_module_path(&whole, unknown, kRoom);  // not the handle of a module
  FreeLibrary(module);
  EXPECT_GT(length, kRoom);
  EXPECT_EQ(std::string(cut), std::string(whole, kRoom - 1));
  EXPECT_EQ(cut[kRoom], '!');
  EXPECT_STREQ(unknown, "");
  fs::remove_all(folder_ / std::string(50, 'f'));
}

}  // namespace
