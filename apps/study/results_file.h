#pragma once

// The rows of a study on the disk, with a journal beside them from which a study that was ended goes on.
//
// The journal FILE.journal has one line of a head, which tells the study, and then one for each part of FILE
// that is complete, in order: the heading, chunk 0, chunk 1, ...
//     corvidnum-study journal 1, study 0123456789abcdef
//     38 89e5c7f2a1b3d4e6
//     |  hash of these bytes, hexadecimal
//     bytes
// A part is written before its line, so that of a study that was killed at any moment the parts that the
// journal vouches for are whole. What stands behind them is cut off when the study goes on.

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "apps/common/platform.h"

namespace study {

class ResultsFile {
 public:
  /// Called with each chunk's rows that are there already, in order.
  using Visitor = std::function<void(std::string_view rows)>;

  /// Opens the file and its journal and finds out how far the study has come. "-", and what is no regular
  /// file, gets the rows without a journal, from the first one on.
  /// While another process has the journal, this one says so on the error stream and waits: ranks may outlive
  /// an mpirun that was killed.
  /// @param heading  first line of the file
  /// @param hash     of all that the rows depend on
  /// @param restart  begin anew, whatever there is
  /// @throws std::runtime_error, "path: what went wrong", also where the file is there without a journal or
  /// with that
  ///         of another study
  ResultsFile(std::string path, const std::string& heading, std::uint64_t hash, bool restart,
              const Visitor& visit);

  /// Returns the number of chunks that are there.
  std::int64_t chunks() const { return chunks_; }

  /// Adds the rows of the next chunk. When it returns, the system has them: they outlive this process.
  /// @throws std::runtime_error
  void add(std::string_view rows);

  static std::string journal_of(const std::string& path) { return path + ".journal"; }

 private:
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  using File = std::unique_ptr<std::FILE, Close>;

  void begin(const std::string& heading);
  void begin_if_ours(const std::string& heading);
  void go_on(const std::string& heading, const Visitor& visit);
  static File open(const std::string& path, const char* mode);
  static void write(std::FILE* file, const std::string& path, std::string_view text);
  void add_part(std::string_view text);

  const std::string path_, journal_path_, head_;
  bool journaled_;
  std::optional<apps::platform::FolderLock>
      lock_;             // of the journal: the system locks files as it does folders
  File file_, journal_;  // file_ null: standard output
  std::int64_t chunks_ = 0;
};

}  // namespace study
