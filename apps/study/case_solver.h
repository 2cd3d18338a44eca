#pragma once

// Solves the cases of a study, which differ in a few numbers from its base case.

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "apps/common/toml_reader.h"
#include "apps/study/place.h"

namespace study {

struct CaseAnswer {
  std::string fault;            // why there is no answer, in one line; empty: there is one
  std::vector<double> results;  // [result]; NaN where the answer has none
  std::vector<double> start;    // what a case nearby may start from
};

/// Any number of threads may solve cases by one object.
class CaseSolver {
 public:
  virtual ~CaseSolver() = default;
  /// Solves one case.
  /// @param file   of the case
  /// @param start  of the answer of another case; empty: start as the case says. One of another size is
  /// ignored
  /// @throws std::exception  where not the case is at fault: no memory, a file that the base case names
  virtual CaseAnswer solve(const toml::table& file, const std::vector<double>& start) const = 0;
  /// Returns the paths of all files that the base case names.
  virtual std::vector<std::string> other_files() const { return {}; }
};

/// Is thrown for a result that there is not; what() tells why, as a whole.
struct BadResult : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Returns the index of a result as it stands in "name[index]", or throws BadResult.
/// @param what   that is looked for, for the message
std::size_t result_index(const std::string& result, const std::string& index,
                         const std::vector<std::string>& names, std::size_t count, const char* what);

/// Returns the steps of a result's name. @throws BadResult
Place parse_result(const std::string& result);

// These make the solver of a study.
// @param text     of the base case
// @param name     of its file, for messages; paths in the case are relative to its folder
// @param method   by which passes are accelerated, as the program for such cases calls it
// @param results  names of what is kept
// @throws apps::BadCase  about the base case
// @throws BadResult

const std::vector<std::string>& column_methods();  // the first one is the default
std::unique_ptr<CaseSolver> make_column_solver(const std::string& text, const std::string& name,
                                               const std::string& method,
                                               const std::vector<std::string>& results);

const std::vector<std::string>& recycle_methods();
std::unique_ptr<CaseSolver> make_recycle_solver(const std::string& text, const std::string& name,
                                                const std::string& method,
                                                const std::vector<std::string>& results);

}  // namespace study
