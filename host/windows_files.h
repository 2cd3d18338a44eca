#pragma once

// How files are found behind links and replaced on Windows, for the host support library and the programs.

#include <windows.h>

#include <string>

namespace windows_files {

inline bool exists(const std::wstring& name) {
  return GetFileAttributesW(name.c_str()) != INVALID_FILE_ATTRIBUTES;
}

/// Returns the name of the file that a symbolic link leads to; any other name stays as it is.
inline std::wstring final_name(const std::wstring& name) {
  const DWORD attributes = GetFileAttributesW(name.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_REPARSE_POINT)) return name;
  constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const HANDLE file =
      CreateFileW(name.c_str(), 0, kShareAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return name;
  std::wstring target(GetFinalPathNameByHandleW(file, nullptr, 0, FILE_NAME_NORMALIZED), L'\0');
  const DWORD room = static_cast<DWORD>(target.size());
  const DWORD length = GetFinalPathNameByHandleW(file, target.data(), room, FILE_NAME_NORMALIZED);
  CloseHandle(file);
  if (length == 0 || length >= room) return name;
  target.resize(length);
  return target;
}

/// Gives a new file the name of an old one, with the permissions of that, or a name that no file has. On
/// failure GetLastError() says why; then the old file may be gone, and the new one has its own name.
inline bool take_the_place(const std::wstring& file, const std::wstring& name) {
  if (exists(name) && ReplaceFileW(name.c_str(), file.c_str(), nullptr, 0, nullptr, nullptr)) return true;
  return MoveFileExW(file.c_str(), name.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
}

}  // namespace windows_files
