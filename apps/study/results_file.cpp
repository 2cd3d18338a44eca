#include "apps/study/results_file.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "apps/common/input.h"
#include "apps/common/output.h"
#include "apps/study/hash.h"

namespace study {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& path, const std::string& what) {
  throw std::runtime_error(path + ": " + what);
}

/// @throws std::runtime_error  if the system does not tell
fs::file_status status_of(const std::string& path) {
  std::error_code error;
  const fs::file_status status = fs::status(fs::u8path(path), error);
  if (!fs::status_known(status)) fail(path, apps::message_of(error));
  return status;
}

bool is_there(const std::string& path) { return fs::exists(status_of(path)); }

bool is_stream(const std::string& path) {
  if (apps::is_standard_stream(path)) return true;
  const fs::file_status status = status_of(path);
  return fs::exists(status) && !fs::is_regular_file(status);
}

/// Returns the first bytes of a file; fewer if it is shorter or not there.
std::string beginning(const std::string& path, std::size_t bytes) {
  std::string text(bytes, '\0');
  std::ifstream file(fs::u8path(path), std::ios::binary);
  file.read(text.data(), static_cast<std::streamsize>(bytes));
  text.resize(static_cast<std::size_t>(file.gcount()));
  return text;
}

std::string whole(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(fs::u8path(path), std::ios::binary).rdbuf();
  return text.str();
}

std::string journal_line(std::string_view part) {
  return fmt::format("{} {:016x}\n", part.size(), hash_of(part));
}

/// Cuts a file. A longer one keeps its first bytes.
void cut(const std::string& path, std::uintmax_t bytes) {
  std::error_code error;
  fs::resize_file(fs::u8path(path), bytes, error);
  if (error) fail(path, error.message());
}

/// Goes through the parts of a results file that its journal vouches for.
class PartReader {
 public:
  PartReader(const std::string& path, std::string_view journal_lines)
      : file_(fs::u8path(path), std::ios::binary), lines_(journal_lines) {
    std::error_code none;
    left_ = fs::file_size(fs::u8path(path), none);
    if (none) left_ = 0;
  }

  /// Returns the next part; nothing if there is no whole one any more.
  std::optional<std::string> next() {
    const std::size_t end = lines_.find('\n');
    if (end == lines_.npos) return std::nullopt;
    const std::string line(lines_.substr(0, end + 1));
    const std::uintmax_t bytes = std::strtoull(line.c_str(), nullptr, 10);
    if (bytes > left_) return std::nullopt;
    std::string part(bytes, '\0');
    file_.read(part.data(), static_cast<std::streamsize>(bytes));
    if (!file_ || journal_line(part) != line) return std::nullopt;
    lines_.remove_prefix(end + 1);
    left_ -= bytes;
    bytes_ += bytes;
    journal_bytes_ += line.size();
    return part;
  }

  std::uintmax_t bytes() const { return bytes_; }
  std::uintmax_t journal_bytes() const { return journal_bytes_; }

 private:
  std::ifstream file_;
  std::string_view lines_;
  std::uintmax_t left_ = 0, bytes_ = 0, journal_bytes_ = 0;
};

}  // namespace

ResultsFile::ResultsFile(std::string path, const std::string& heading, std::uint64_t hash, bool restart,
                         const Visitor& visit)
    : path_(std::move(path)),
      journal_path_(journal_of(path_)),
      head_(fmt::format("corvidnum-study journal 1, study {:016x}\n", hash)),
      journaled_(!is_stream(path_)) {
  if (!journaled_) {
    if (!apps::is_standard_stream(path_)) file_ = open(path_, "ab");
    add_part(heading);
    return;
  }
  if (!restart && !is_there(journal_path_) && is_there(path_))
    fail(path_, "is there without the journal of a study; --restart replaces it");
  open(journal_path_, "ab");  // there has to be one to be locked
  lock_.emplace(fs::u8path(journal_path_),
                [this] { apps::complain(0, journal_path_, "waits for another process that has it"); });
  if (lock_->obstacle()) fail(journal_path_, *lock_->obstacle());
  if (restart)
    begin(heading);
  else
    go_on(heading, visit);
}

/// The journal is emptied first: it never vouches for what is not there.
void ResultsFile::begin(const std::string& heading) {
  journal_ = open(journal_path_, "wb");
  write(journal_.get(), journal_path_, head_);
  file_ = open(path_, "wb");
  add_part(heading);
}

/// A journal that vouches for nothing may stand beside a file that is somebody's.
void ResultsFile::begin_if_ours(const std::string& heading) {
  const std::string found = beginning(path_, heading.size());
  if (heading.compare(0, found.size(), found) != 0)
    fail(path_, "is there, but its journal vouches for no part of it; --restart replaces it");
  begin(heading);
}

void ResultsFile::go_on(const std::string& heading, const Visitor& visit) {
  const std::string journal = whole(journal_path_);
  if (head_.compare(0, journal.size(), journal) == 0)  // new, or killed at once
    return begin_if_ours(heading);
  if (journal.compare(0, head_.size(), head_) != 0)
    fail(journal_path_, "is that of another study, or the study has changed since; --restart begins anew");
  PartReader parts(path_, std::string_view(journal).substr(head_.size()));
  if (!parts.next()) return begin_if_ours(heading);
  while (const auto rows = parts.next()) {
    visit(*rows);
    ++chunks_;
  }
  file_ = open(path_, "ab");
  journal_ = open(journal_path_, "ab");
  cut(path_, parts.bytes());
  cut(journal_path_, head_.size() + parts.journal_bytes());
}

ResultsFile::File ResultsFile::open(const std::string& path, const char* mode) {
  File file(std::fopen(path.c_str(), mode));
  if (!file) fail(path, std::strerror(errno));
  return file;
}

void ResultsFile::write(std::FILE* file, const std::string& path, std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), file) != text.size() || std::fflush(file) != 0)
    fail(path, std::strerror(errno));
}

void ResultsFile::add_part(std::string_view text) {
  write(file_ ? file_.get() : stdout, path_, text);
  if (journaled_) write(journal_.get(), journal_path_, journal_line(text));
}

void ResultsFile::add(std::string_view rows) {
  add_part(rows);
  ++chunks_;
}

}  // namespace study
