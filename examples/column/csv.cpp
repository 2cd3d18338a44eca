#include "examples/column/csv.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace column {
namespace {

namespace fs = std::filesystem;

std::string quoted(const std::string& field) {
  if (field.find_first_of(",\"\r\n") == std::string::npos) return field;
  std::string out = "\"";
  for (const char ch : field) {
    if (ch == '"') out += '"';
    out += ch;
  }
  return out + '"';
}

std::optional<std::string> write_directly(const fs::path& path, const std::string& text) {
  errno = 0;
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << text;
  file.close();
  if (file) return std::nullopt;
  return std::string(errno != 0 ? std::strerror(errno) : "cannot be written");
}

}  // namespace

std::string profile_csv(const ColumnCase& c, const InternalFlows& flows, const Profile& profile) {
  const TemperatureScale scale = c.model->scale();
  std::string text = fmt::format("stage,{},liquid,vapour", quoted(scale.shown_as));
  for (const char* phase : {"x ", "y "})
    for (const std::string& name : c.components) text += "," + quoted(phase + name);
  text += '\n';
  const auto out = std::back_inserter(text);
  for (int j = 0; j < c.stages; ++j) {
    fmt::format_to(out, "{},{},{},{}", j + 1, scale.shown(profile.temperature[j]), flows.liquid[j],
                   flows.vapour[j]);
    for (const auto& x : profile.liquid) fmt::format_to(out, ",{}", x[j]);
    for (std::size_t i = 0; i < profile.k.size(); ++i)
      fmt::format_to(out, ",{}", profile.k[i][j] * profile.liquid[i][j]);
    text += '\n';
  }
  return text;
}

std::optional<std::string> write_whole_file(const std::string& path, const std::string& text) {
  std::error_code error;
  const bool exists = fs::exists(path, error);
  if (exists && !fs::is_regular_file(path, error)) return write_directly(path, text);
  const fs::path target =
      exists ? fs::canonical(path, error) : fs::path(path);  // through a link, not over it
  if (error) return error.message();
  const fs::path part = fmt::format("{}.{}.part", target.string(), getpid());
  std::optional<std::string> failure = write_directly(part, text);
  if (!failure) {
    fs::rename(part, target, error);
    if (error) failure = error.message();
  }
  if (failure) fs::remove(part, error);
  return failure;
}

}  // namespace column
