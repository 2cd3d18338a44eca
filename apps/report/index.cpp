// Keeps a folder of reports. index.tsv is what counts: index.html is made from it each time.

#include "apps/report/index.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "apps/common/input.h"
#include "apps/common/output.h"
#include "apps/common/platform.h"

namespace report {
namespace {

namespace fs = std::filesystem;

constexpr char kTsv[] = "index.tsv", kHtml[] = "index.html";
constexpr std::size_t kFields = 7;
constexpr char kNone[] = "-";

/// Returns a text as a field of the index: on one line, without tabs, not empty.
std::string field(std::string text) {
  for (char& ch : text)
    if (ch == '\t' || ch == '\n' || ch == '\r') ch = ' ';
  return text.empty() ? kNone : text;
}

std::string tsv_line(const Entry& e) {
  std::string line;
  for (const std::string& text :
       {e.file, e.program, e.what, e.size, fmt::format("{:.3g}", e.seconds), e.error, e.published})
    line += (line.empty() ? "" : "\t") + field(text);
  return line + '\n';
}

/// @return false if the line is not one of an index
bool parse(const std::string& line, Entry& e) {
  std::array<std::string, kFields> fields;
  std::size_t count = 0;
  // Not by a stream, which ends early where memory is refused: the line would get lost.
  for (std::size_t at = 0; at < line.size(); ++count) {
    const std::size_t end = std::min(line.find('\t', at), line.size());
    if (count < kFields) fields[count] = line.substr(at, end - at);
    at = end + 1;
  }
  if (count != kFields) return false;
  double seconds = 0;
  std::from_chars(fields[4].data(), fields[4].data() + fields[4].size(), seconds);
  e = {fields[0], fields[1], fields[2], fields[3], seconds, fields[5], fields[6]};
  return true;
}

std::string time_text(double seconds) {
  if (seconds < 1) return fmt::format("{:.3g} ms", 1e3 * seconds);
  return fmt::format("{:.3g} s", seconds);
}

Tone tone_of(const std::string& published) {
  if (published == "agrees") return Tone::kGood;
  return published.compare(0, 7, "differs") == 0 ? Tone::kBad : Tone::kPlain;
}

/// Returns what a reader sees of the verdict on published figures: nothing if there are none.
Cell shown(const std::string& published) {
  return published == kNone ? Cell("") : Cell(published, tone_of(published));
}

/// Returns whether a byte of ASCII stands for itself in the names of pages and in links to them.
bool is_unreserved(char byte) {
  constexpr std::string_view kSigns = "-._";
  return std::isalnum(static_cast<unsigned char>(byte)) != 0 || kSigns.find(byte) != kSigns.npos;
}

/// Returns a link to a file of the folder: its name, with %XX for each byte that could mean something else.
std::string link_to(const std::string& file) {
  std::string link;
  for (const char byte : file)
    link +=
        is_unreserved(byte) ? std::string(1, byte) : fmt::format("%{:02X}", static_cast<unsigned char>(byte));
  return link;
}

std::string index_html(const std::vector<Entry>& entries) {
  Table table{"",
              {{"report", true},
               {"program", true},
               {"size", true},
               "time",
               {"error", true},
               {"published answer", true}},
              {}};
  std::vector<std::string> links;
  for (const Entry& e : entries) {
    table.rows.push_back({e.what, e.program, e.size, time_text(e.seconds), e.error, shown(e.published)});
    links.push_back(link_to(e.file));
  }
  return document("Reports",
                  "<h1>Reports</h1>\n<div class=\"cards\">" + table_html(table, links) + "</div>\n");
}

/// Returns the name of a case: that of its file without folders and endings.
std::string stem_of(const std::string& path) {
  if (apps::is_standard_stream(path)) return "standard-input";
  const fs::path name = fs::u8path(path).filename();
  return (name.extension() == ".gz" ? name.stem() : name).stem().u8string();
}

}  // namespace

std::string verdict_on_published(const apps::PublishedCount& counted) {
  if (counted.all == 0) return kNone;
  return counted.differing == 0 ? "agrees"
                                : fmt::format("differs ({} of {})", counted.differing, counted.all);
}

std::string page_name(const std::string& prefix, const std::string& path, const std::string& suffix) {
  std::string stem = stem_of(path);
  constexpr unsigned char kFirstBeyondAscii = 0x80;
  for (char& ch : stem)
    if (static_cast<unsigned char>(ch) < kFirstBeyondAscii && !is_unreserved(ch)) ch = '_';
  return prefix + stem + suffix + ".html";
}

Folder::Folder(std::string path, std::string page)
    : path_(std::move(path)), page_(std::move(page)), folder_(fs::u8path(path_)) {
  std::error_code error;
  created_ = !fs::exists(folder_, error);
  fs::create_directories(folder_, error);
  if (error) throw std::runtime_error(path_ + ": " + apps::message_of(error));
  for (const std::string& output : outputs()) apps::check_writable(output);
}

Folder::~Folder() {
  std::error_code not_empty;
  if (created_) fs::remove(folder_, not_empty);
}

std::vector<std::string> Folder::outputs() const {
  return {in_folder(page_), in_folder(kTsv), in_folder(kHtml)};
}

void Folder::add(const Page& page, Entry entry) {
  entry.file = page_;
  entry.program = page.program();
  const apps::platform::FolderLock lock(fs::u8path(path_));  // no other program changes the index meanwhile
  apps::write_file(in_folder(page_), page.html());
  std::vector<Entry> entries = read_entries();
  const auto is_same = [&](const Entry& old) {
    return apps::platform::is_same_path(fs::u8path(old.file), fs::u8path(entry.file));
  };
  const auto old = std::find_if(entries.begin(), entries.end(), is_same);
  if (old == entries.end())
    entries.push_back(std::move(entry));
  else
    *old = std::move(entry);
  write_entries(entries);
}

std::string Folder::in_folder(const std::string& name) const {
  return (fs::u8path(path_) / fs::u8path(name)).generic_u8string();
}

std::vector<Entry> Folder::read_entries() const {
  std::vector<Entry> entries;
  const std::string path = in_folder(kTsv);
  std::error_code error;
  if (!fs::exists(fs::u8path(path), error) && !error) return entries;
  std::ifstream file(fs::u8path(path), std::ios::binary);
  Entry entry;
  for (std::string line; std::getline(file, line);)
    if (parse(line, entry)) entries.push_back(entry);
  // Taken for an empty one, an index that cannot be read would lose its lines.
  if (!file.is_open() || file.bad()) throw std::runtime_error(path + ": cannot be read");
  return entries;
}

void Folder::write_entries(const std::vector<Entry>& entries) const {
  std::string tsv;
  for (const Entry& entry : entries) tsv += tsv_line(entry);
  apps::write_file(in_folder(kTsv), tsv);
  // Through the text, so that the two files show the same.
  apps::write_file(in_folder(kHtml), index_html(read_entries()));
}

}  // namespace report
