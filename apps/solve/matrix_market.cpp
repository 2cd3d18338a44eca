#include "apps/solve/matrix_market.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <string_view>
#include <utility>

#include "apps/common/output.h"
#include "apps/common/toml_reader.h"

namespace solve {
namespace {

using apps::complaint;
using Words = std::vector<std::string_view>;

constexpr std::string_view kBlank = " \t\r\f\v";
// The solver wants room for twice the entries, counted by int.
constexpr std::int64_t kMostEntries = std::numeric_limits<int>::max() / 2;

enum class Field { kReal, kInteger, kPattern };
enum class Symmetry { kGeneral, kSymmetric, kSkew };

std::string lower_case(std::string_view text) {
  std::string out(text);
  for (char& ch : out) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
  return out;
}

/// Walks a text by lines that hold something, split into words.
class Lines {
 public:
  Lines(std::string_view text, std::string name) : text_(text), name_(std::move(name)) {}

  /// @param comments  whether lines that begin with % count
  bool next(bool comments = false) {
    while (begin_ < text_.size()) {
      const std::size_t end = std::min(text_.find('\n', begin_), text_.size());
      split(text_.substr(begin_, end - begin_));
      begin_ = end + 1;
      ++number_;
      if (!words_.empty() && (comments || words_[0][0] != '%')) return true;
    }
    return false;
  }
  const Words& words() const { return words_; }
  int number() const { return number_; }
  [[noreturn]] void complain(std::string what) const {
    throw complaint(name_, std::max(1, number_), std::move(what));
  }

 private:
  void split(std::string_view line) {
    words_.clear();
    for (std::size_t at = 0; (at = line.find_first_not_of(kBlank, at)) != line.npos;) {
      const std::size_t end = std::min(line.find_first_of(kBlank, at), line.size());
      words_.push_back(line.substr(at, end - at));
      at = end;
    }
  }

  std::string_view text_;
  std::string name_;
  std::size_t begin_ = 0;
  int number_ = 0;
  Words words_;
};

/// Returns the word as a complaint quotes it: a binary file may have words of any length and any bytes.
std::string quoted(std::string_view word) {
  constexpr std::size_t kLongest = 40;
  std::string out(word.substr(0, kLongest));
  for (char& ch : out)
    if (!std::isprint(static_cast<unsigned char>(ch))) ch = '?';
  return '"' + out + (word.size() > kLongest ? "...\"" : "\"");
}

struct Heading {
  Field field;
  Symmetry symmetry;
};

/// Returns the index of `word` in `known`.
int choice(const Lines& lines, std::string_view what, std::string_view word,
           const std::vector<std::string>& known) {
  const auto found = std::find(known.begin(), known.end(), lower_case(word));
  if (found != known.end()) return static_cast<int>(found - known.begin());
  std::string all;
  for (const std::string& each : known) all += (all.empty() ? "" : ", ") + each;
  lines.complain(fmt::format("{} {} is not handled; it must be {}", what, quoted(word), all));
}

Heading read_heading(Lines& lines, const std::string& format, const std::vector<std::string>& fields,
                     const std::vector<std::string>& symmetries) {
  if (!lines.next(true) || lower_case(lines.words()[0]) != "%%matrixmarket" || lines.number() != 1)
    lines.complain("not a Matrix Market file: its first line must begin with %%MatrixMarket");
  const Words& words = lines.words();
  if (words.size() != 5)
    lines.complain("the first line must read %%MatrixMarket matrix, format, field, symmetry");
  choice(lines, "object", words[1], {"matrix"});
  choice(lines, "format", words[2], {format});
  return {static_cast<Field>(choice(lines, "field", words[3], fields)),
          static_cast<Symmetry>(choice(lines, "symmetry", words[4], symmetries))};
}

/// from_chars takes no sign of plus; files may have one.
std::string_view without_plus(std::string_view word) {
  const bool plus = word.size() > 1 && word[0] == '+' && word[1] != '-';
  return plus ? word.substr(1) : word;
}

int integer_between(const Lines& lines, std::string_view what, std::string_view word, std::int64_t lowest,
                    std::int64_t highest) {
  const std::string_view digits = without_plus(word);
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error == std::errc::invalid_argument || end != digits.data() + digits.size())
    lines.complain(fmt::format("{} {} is not an integer", what, quoted(word)));
  if (error != std::errc() || value < lowest || value > highest)
    lines.complain(fmt::format("{} {} must lie between {} and {}", what, quoted(word), lowest, highest));
  return static_cast<int>(value);
}

std::vector<int> read_sizes(Lines& lines, const std::vector<std::string>& names) {
  if (!lines.next()) lines.complain("the file ends before its size line");
  if (lines.words().size() != names.size())
    lines.complain(
        fmt::format("the size line must hold {} counts, not {}", names.size(), lines.words().size()));
  std::vector<int> sizes;
  for (std::size_t k = 0; k < names.size(); ++k)
    sizes.push_back(integer_between(lines, names[k], lines.words()[k], 0, kMostEntries));
  return sizes;
}

double read_number(const Lines& lines, std::string_view word, Field field) {
  const std::string_view digits = without_plus(word);
  double value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error == std::errc::invalid_argument || end != digits.data() + digits.size())
    lines.complain(fmt::format("{} is not a number", quoted(word)));
  // Out of range is either too large or so small that it is nothing, which strtod tells apart.
  if (error != std::errc()) value = std::strtod(std::string(digits).c_str(), nullptr);
  if (!std::isfinite(value)) lines.complain(fmt::format("{} is not finite", quoted(word)));
  if (field == Field::kInteger && digits.find_first_not_of("-0123456789") != digits.npos)
    lines.complain(fmt::format("{} is not an integer", quoted(word)));
  return value;
}

void check_count(Lines& lines, std::size_t seen, int announced, std::string_view what) {
  const bool more = lines.next();
  if (more && seen == static_cast<std::size_t>(announced))
    lines.complain(fmt::format("more than the {} {} that the size line announces", announced, what));
  if (seen < static_cast<std::size_t>(announced))
    lines.complain(fmt::format("the file ends after {} of {} {}", seen, announced, what));
}

/// Reads the entries of one coordinate file.
class EntryReader {
 public:
  EntryReader(Lines& lines, Heading heading, Matrix& matrix)
      : lines_(lines), heading_(heading), matrix_(matrix) {}

  void read() {
    const Words& words = lines_.words();
    const std::size_t wanted = heading_.field == Field::kPattern ? 2 : 3;
    if (words.size() != wanted)
      lines_.complain(fmt::format("an entry must hold {}, not {} words",
                                  wanted == 2 ? "row and column" : "row, column and value", words.size()));
    const int i = integer_between(lines_, "row", words[0], 1, matrix_.rows);
    const int j = integer_between(lines_, "column", words[1], 1, matrix_.columns);
    const double value = wanted == 2 ? 1.0 : read_number(lines_, words[2], heading_.field);
    check_half(i, j);
    add(i, j, value);
    if (heading_.symmetry != Symmetry::kGeneral && i != j)
      add(j, i, heading_.symmetry == Symmetry::kSkew ? -value : value);
  }

 private:
  /// Refuses entries of the upper half of a symmetric matrix: only the lower half is given, and each of its
  /// entries also stands for its mirror image, so those of the upper half would be added twice.
  void check_half(int i, int j) const {
    if (heading_.symmetry != Symmetry::kGeneral && i < j)
      lines_.complain(fmt::format("entry ({}, {}) lies above the diagonal of a symmetric matrix", i, j));
    if (heading_.symmetry == Symmetry::kSkew && i == j)
      lines_.complain(fmt::format("entry ({}, {}) lies on the diagonal of a skew-symmetric matrix", i, j));
  }
  void add(int i, int j, double value) {
    if (matrix_.value.size() >= static_cast<std::size_t>(kMostEntries)) lines_.complain("too many entries");
    matrix_.row.push_back(i);
    matrix_.column.push_back(j);
    matrix_.value.push_back(value);
    matrix_.line.push_back(lines_.number());
  }

  Lines& lines_;
  Heading heading_;
  Matrix& matrix_;
};

/// Numbers of the entries, by columns and rows; equal places in their order in the file.
std::vector<std::size_t> sorted_entries(const Matrix& matrix) {
  std::vector<std::size_t> order(matrix.value.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return std::pair(matrix.column[a], matrix.row[a]) < std::pair(matrix.column[b], matrix.row[b]);
  });
  return order;
}

}  // namespace

Matrix parse_matrix(const std::string& text, const std::string& name) {
  Lines lines(text, name);
  const Heading heading = read_heading(lines, "coordinate", {"real", "integer", "pattern"},
                                       {"general", "symmetric", "skew-symmetric"});
  const std::vector<int> sizes = read_sizes(lines, {"count of rows", "count of columns", "count of entries"});
  Matrix matrix;
  matrix.name = name;
  matrix.rows = sizes[0];
  matrix.columns = sizes[1];
  matrix.size_line = lines.number();
  matrix.has_values = heading.field != Field::kPattern;
  if (heading.symmetry != Symmetry::kGeneral && matrix.rows != matrix.columns)
    lines.complain(fmt::format("a symmetric matrix cannot be {} x {}", matrix.rows, matrix.columns));
  EntryReader entries(lines, heading, matrix);
  int seen = 0;
  for (; seen < sizes[2] && lines.next(); ++seen) entries.read();
  check_count(lines, static_cast<std::size_t>(seen), sizes[2], "entries");
  return matrix;
}

Vector parse_vector(const std::string& text, const std::string& name) {
  Lines lines(text, name);
  const Heading heading = read_heading(lines, "array", {"real", "integer"}, {"general"});
  const std::vector<int> sizes = read_sizes(lines, {"count of rows", "count of columns"});
  if (sizes[1] != 1) lines.complain(fmt::format("a right-hand side has one column, not {}", sizes[1]));
  Vector vector{name, lines.number(), {}};
  while (vector.value.size() < static_cast<std::size_t>(sizes[0]) && lines.next()) {
    if (lines.words().size() != 1)
      lines.complain(fmt::format("a line must hold one number, not {} words", lines.words().size()));
    vector.value.push_back(read_number(lines, lines.words()[0], heading.field));
  }
  check_count(lines, vector.value.size(), sizes[0], "numbers");
  return vector;
}

Matrix read_matrix(const std::string& path) { return parse_matrix(apps::read_case_text(path), path); }

Vector read_vector(const std::string& path) { return parse_vector(apps::read_case_text(path), path); }

std::string vector_text(const std::vector<double>& value) {
  apps::Page page;
  page.add("%%MatrixMarket matrix array real general\n{} 1\n", value.size());
  for (const double each : value) page.add("{}\n", each);
  return page.take();
}

std::vector<double> values_in_order_of(const Matrix& matrix, const Matrix& other) {
  if (other.rows != matrix.rows)
    throw complaint(
        other.name, other.size_line,
        fmt::format("the matrix is of order {}, {} of order {}", other.rows, matrix.name, matrix.rows));
  const std::vector<std::size_t> ours = sorted_entries(matrix), theirs = sorted_entries(other);
  const auto place = [](const Matrix& of, std::size_t k) { return std::pair(of.column[k], of.row[k]); };
  std::vector<double> values(ours.size());
  for (std::size_t k = 0; k < std::max(ours.size(), theirs.size()); ++k) {
    const bool lacks =
        k >= theirs.size() || (k < ours.size() && place(matrix, ours[k]) < place(other, theirs[k]));
    const bool extra = k >= ours.size() || (!lacks && place(other, theirs[k]) < place(matrix, ours[k]));
    if (!lacks && !extra) {
      values[ours[k]] = other.value[theirs[k]];
      continue;
    }
    const Matrix& owner = lacks ? matrix : other;
    const std::size_t at = lacks ? ours[k] : theirs[k];
    throw complaint(owner.name, owner.line[at],
                    fmt::format("entry ({}, {}) has no counterpart in {}", owner.row[at], owner.column[at],
                                lacks ? other.name : matrix.name));
  }
  return values;
}

}  // namespace solve
