#include "apps/solve/pattern.h"
#include "apps/common/output.h"

#include <fmt/format.h>

#include <filesystem>
#include <stdexcept>

#include "apps/common/progress.h"
#include "apps/solve/spy.h"

namespace solve {
namespace {

namespace fs = std::filesystem;

std::string caption(const Matrix& matrix, const std::string& numbered, const apps::Measures* measures) {
  std::string text = fmt::format("{}: order {}, {} entries", numbered, matrix.rows, matrix.value.size());
  if (measures) text += fmt::format(", bandwidth {}, profile {}", measures->bandwidth, measures->profile);
  if (matrix.rows > kMostDotsAcross) text += fmt::format(", scaled down to {0} x {0}", kMostDotsAcross);
  return text;
}

void make_folder(const std::string& folder) {
  std::error_code error;
  fs::create_directories(fs::u8path(folder), error);
  if (error) throw std::runtime_error(folder + ": " + apps::message_of(error));
}

apps::Reordering reorder(const Matrix& matrix, apps::Goal goal) {
  try {
    return apps::reorder(matrix.rows, matrix.row, matrix.column, goal);
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(matrix.name + ": " + error.what());
  }
}

/// @param paths  of the matrix as given, and of the reordered one if there is one
void write_pictures(const Matrix& matrix, const std::optional<apps::Reordering>& reordering,
                    const std::vector<std::string>& paths) {
  apps::write_file(
      paths[0], spy_svg(matrix, {}, caption(matrix, "as given", reordering ? &reordering->before : nullptr)));
  if (!reordering) return;
  const std::string numbered = std::string("reordered for ") + apps::name_of(reordering->goal);
  apps::write_file(paths[1],
                   spy_svg(matrix, reordering->numbering, caption(matrix, numbered, &reordering->after)));
}

}  // namespace

std::vector<std::string> PatternOptions::pictures() const {
  if (folder.empty()) return {};
  std::vector<std::string> paths{(fs::u8path(folder) / "before.svg").generic_u8string()};
  if (goal) paths.push_back((fs::u8path(folder) / "after.svg").generic_u8string());
  return paths;
}

PatternFacts study_pattern(const Matrix& matrix, const PatternOptions& options) {
  PatternFacts facts;
  facts.pictures = options.pictures();
  if (!facts.pictures.empty()) make_folder(options.folder);
  for (const std::string& path : facts.pictures) apps::check_writable(path);
  if (options.goal) {
    const apps::Phase phase("reordering", facts.seconds);
    facts.reordering = reorder(matrix, *options.goal);
  }
  if (!facts.pictures.empty()) write_pictures(matrix, facts.reordering, facts.pictures);
  return facts;
}

}  // namespace solve
