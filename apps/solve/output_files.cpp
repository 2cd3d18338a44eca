#include "apps/solve/output_files.h"

#include <stdexcept>

#include "apps/common/output.h"

namespace solve {

void check_writable(const std::string& path) {
  if (const auto obstacle = apps::obstacle_to_writing(path))
    throw std::runtime_error(path + ": " + *obstacle);
}

void write_file(const std::string& path, const std::string& text) {
  if (const auto failure = apps::write_whole_file(path, text))
    throw std::runtime_error(path + ": " + *failure);
}

}  // namespace solve
