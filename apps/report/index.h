#pragma once

// A folder of reports: the pages, and the index of them as index.html and as index.tsv for scripts.

#include <filesystem>
#include <string>
#include <vector>

#include "apps/common/published_count.h"
#include "apps/report/page.h"

namespace report {

/// One line of the index. Texts are for people; an empty one is written as "-".
struct Entry {
  std::string file;       // name of the page in the folder, "butane-pentane.html"
  std::string program;    // "corvidnum-column"
  std::string what;       // title
  std::string size;       // or passes: "89 passes", "order 1000"
  double seconds = 0;     // of the work, not of the report
  std::string error;      // with its name: "balances 3.1e-15"
  std::string published;  // see verdict_on_published()
};

/// Returns "agrees", "differs (2 of 9)", or "-" if there are no published figures.
std::string verdict_on_published(const apps::PublishedCount& counted);

/// Returns a name for a page that file systems can hold: `stem` and ".html", with '_' for all of ASCII but
/// letters, digits, '-', '_' and '.'. Other bytes, those of UTF-8, stay, so that names in any script stay
/// apart.
/// @param prefix  in front of the stem, so that programs do not overwrite each other's pages: "column-"
/// @param path    of the case; its name without folders and ending, and without ".gz", is the stem; that of
///                standard input, "-", is "standard-input"
/// @param suffix  behind the stem
std::string page_name(const std::string& prefix, const std::string& path, const std::string& suffix = "");

/// A folder of reports, tried before the work and written after it.
class Folder {
 public:
  /// Creates the folder if it is missing, and tries what add() will write.
  /// @param page  name of the page that will be added
  /// @throws std::runtime_error, "path: what went wrong"
  Folder(std::string path, std::string page);
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  /// Removes the folder if it was created here and nothing was put into it.
  ~Folder();

  /// Returns the paths of all files that add() writes: the page, index.tsv and index.html.
  std::vector<std::string> outputs() const;

  /// Writes the page, then its line of index.tsv, in the place of an old line of this page, and index.html.
  /// Each file is replaced as a whole. Programs that do this at the same time wait for each other.
  /// @param entry  of the page; its file and program are set here
  /// @throws std::runtime_error, "path: what went wrong"
  void add(const Page& page, Entry entry);

 private:
  std::string in_folder(const std::string& name) const;
  /// Returns the entries of index.tsv, without lines that are not of this form.
  /// @throws std::runtime_error if there is one that cannot be read
  std::vector<Entry> read_entries() const;
  void write_entries(const std::vector<Entry>& entries) const;

  std::string path_, page_;
  std::filesystem::path folder_;  // of path_; made early: to clear up needs no memory then
  bool created_ = false;
};

}  // namespace report
