#pragma once

#include <memory>
#include <string>

#include "apps/study/case_solver.h"
#include "apps/study/study.h"

namespace study {

/// A study with what solves its cases.
struct StudyFile {
  Study study;
  std::unique_ptr<const CaseSolver> solver;
};

/// Reads and checks a study and its base case: each parameter names a number of the base case, and each
/// result is one that its answers have. Throws apps::BadCase.
/// @param text  of the study file (TOML)
/// @param name  of the file, for messages; the path of the base case is relative to its folder
StudyFile parse_study(const std::string& text, const std::string& name);
StudyFile read_study(const std::string& path);

}  // namespace study
