#include "examples/solve_mtx/output_files.h"

#include <stdexcept>

#include "examples/common/output.h"

namespace solve_mtx {

void check_writable(const std::string& path) {
  if (const auto obstacle = examples::obstacle_to_writing(path))
    throw std::runtime_error(path + ": " + *obstacle);
}

void write_file(const std::string& path, const std::string& text) {
  if (const auto failure = examples::write_whole_file(path, text))
    throw std::runtime_error(path + ": " + *failure);
}

}  // namespace solve_mtx
