#include "apps/common/toml_nesting.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <vector>

#include "apps/common/toml_reader.h"

namespace apps {
namespace {

/// Walks through a text once. It knows strings, comments, keys and brackets, and nothing else of TOML.
class NestingScanner {
 public:
  explicit NestingScanner(std::string_view text) : text_(text) {}

  void scan() {
    while (at_ < text_.size()) {
      const char c = text_[at_];
      if (c == '#') {
        at_ = std::min(text_.find('\n', at_), text_.size());
      } else if (c == '"' || c == '\'') {
        skip_string(c);
        blank_ = false;
      } else {
        ++at_;
        take(c);
      }
    }
  }

 private:
  enum class Place { kHeader, kKey, kValue };
  /// An array or inline table that is open.
  struct Level {
    bool is_table;
    int depth;  // with all around it
  };

  void take(char c) {
    if (c == '\n') return end_line();
    if (c == ' ' || c == '\t' || c == '\r') return;
    const bool begins_statement = blank_ && open_.empty();
    blank_ = false;
    if (place_ == Place::kValue) return take_in_value(c);
    if (begins_statement && c == '[') return begin_header();
    take_in_key(c);
  }

  void end_line() {
    ++line_;
    blank_ = true;
    if (!open_.empty()) return;
    if (place_ == Place::kHeader) header_depth_ = depth_;
    begin_key(header_depth_);
  }

  void begin_header() {
    begin_key(0);
    place_ = Place::kHeader;
  }

  /// Begins a key in a table of this depth.
  void begin_key(int depth) {
    place_ = Place::kKey;
    depth_ = depth;
    deepen();
  }

  void take_in_key(char c) {
    if (c == '.') deepen();
    if (c == '=' && place_ == Place::kKey) place_ = Place::kValue;
    if (c == '}') close();
  }

  void take_in_value(char c) {
    if (c == '[' || c == '{') open(c == '{');
    if (c == ']' || c == '}') close();
    if (c == ',' && !open_.empty() && open_.back().is_table) begin_key(open_.back().depth);
  }

  void open(bool is_table) {
    deepen();
    open_.push_back({is_table, depth_});
    if (is_table) begin_key(depth_);
  }

  /// Ends an array or table: the scan goes on in the one around it, after a value.
  void close() {
    if (open_.empty()) return;
    open_.pop_back();
    depth_ = open_.empty() ? header_depth_ : open_.back().depth;
    place_ = Place::kValue;
  }

  void deepen() {
    if (++depth_ > kDeepestNesting)
      throw CaseError(line_,
                      fmt::format("keys, arrays and tables are nested more than {} deep", kDeepestNesting));
  }

  /// Skips a string in quotes. Three quotes begin a long string, which three quotes end; it may hold line
  /// ends, and end in up to two quotes of its own in front of the closing three.
  void skip_string(char quote) {
    const bool is_long = text_.substr(at_, 3) == std::string(3, quote);
    const std::string end(is_long ? 3 : 1, quote);
    at_ += end.size();
    while (at_ < text_.size() && (is_long || text_[at_] != '\n')) {
      if (text_.substr(at_, end.size()) == end) return skip_quotes(quote, is_long ? 5 : 1);
      if (text_[at_] == '\\' && quote == '"') skip_in_string();
      skip_in_string();
    }
  }

  void skip_in_string() {
    if (at_ < text_.size() && text_[at_] == '\n') ++line_;
    ++at_;
  }

  void skip_quotes(char quote, int most) {
    for (int taken = 0; taken < most && at_ < text_.size() && text_[at_] == quote; ++taken) ++at_;
  }

  const std::string_view text_;
  std::size_t at_ = 0;
  int line_ = 1;
  bool blank_ = true;  // nothing of this line has been seen but blanks
  Place place_ = Place::kKey;
  int depth_ = 1, header_depth_ = 0;
  std::vector<Level> open_;  // from the outermost
};

}  // namespace

void check_nesting(std::string_view toml) { NestingScanner(toml).scan(); }

}  // namespace apps
