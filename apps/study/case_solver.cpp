#include "apps/study/case_solver.h"

#include <fmt/format.h>

namespace study {

Place parse_result(const std::string& result) {
  try {
    return parse_place(result);
  } catch (const BadPlace& bad) {
    throw BadResult(fmt::format("the result \"{}\" {}", result, bad.what()));
  }
}

std::size_t result_index(const std::string& result, const std::string& index,
                         const std::vector<std::string>& names, std::size_t count, const char* what) {
  if (const auto at = position(index, names, count)) return *at;
  throw BadResult(fmt::format("the result \"{}\" asks for {} \"{}\", which the base case does not have",
                              result, what, index));
}

}  // namespace study
