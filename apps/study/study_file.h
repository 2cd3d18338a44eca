#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "apps/study/case_solver.h"
#include "apps/study/study.h"

namespace study {

/// A file that the base case names, as it was when the study was read.
struct NamedFile {
  std::string path;
  std::uint64_t hash;  // of its bytes; 0: it could not be read
};

/// A study with what solves its cases.
struct StudyFile {
  Study study;
  std::unique_ptr<const CaseSolver> solver;
  std::vector<NamedFile> named_files;
};

/// Expects the files that the base case names to be what they were. Cases read them anew, so that a study
/// that went on would have rows of two different inputs.
/// @throws apps::BadCase
void expect_unchanged_files(const StudyFile& file);

/// Reads and checks a study and its base case: each parameter names a number of the base case, and each
/// result is one that its answers have. Throws apps::BadCase.
/// @param text  of the study file (TOML)
/// @param name  of the file, for messages; the path of the base case is relative to its folder
StudyFile parse_study(const std::string& text, const std::string& name);
StudyFile read_study(const std::string& path);

}  // namespace study
