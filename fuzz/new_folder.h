#pragma once

// A folder for the files of one run of a fuzzer: in memory where the system has such a place, because files
// are written with every input.

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "fuzz/bytes.h"

namespace fuzz {

/// Makes a folder, which stays until the program ends as it should, and returns its path.
inline const std::string& own_folder() {
  static const struct Folder {
    Folder() {
      const std::filesystem::path memory = "/dev/shm";
      std::error_code none;
      const auto parent =
          std::filesystem::is_directory(memory, none) ? memory : std::filesystem::temp_directory_path();
      path = (parent / "corvidnum-fuzz-XXXXXX").string();
      require(mkdtemp(path.data()) != nullptr, "the fuzzer cannot make a folder");
    }
    ~Folder() {
      std::error_code none;
      std::filesystem::remove_all(path, none);
    }
    std::string path;
  } folder;
  return folder.path;
}

inline void write_file(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace fuzz
