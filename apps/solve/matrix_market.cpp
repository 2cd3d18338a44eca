#include "apps/solve/matrix_market.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <limits>
#include <numeric>
#include <string_view>
#include <utility>

#include "apps/common/input.h"
#include "apps/common/number.h"
#include "apps/common/output.h"
#include "apps/common/toml_reader.h"
#include "apps/common/wording.h"

namespace solve {
namespace {

using apps::complaint;
using apps::NumberFault;
using Words = std::vector<std::string_view>;

constexpr std::string_view kBlank = " \t\r\f\v";
// The solver wants room for twice the entries, counted by int.
constexpr std::int64_t kMostEntries = std::numeric_limits<int>::max() / 2;

enum class Format { kCoordinate, kArray };
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
  using More = std::function<bool(std::string&)>;

  Lines(std::string_view text, std::string name) : text_(text), name_(std::move(name)) {}
  /// Takes the text piece by piece: `more` appends to it, and returns false at its end.
  Lines(More more, std::string name) : name_(std::move(name)), more_(std::move(more)) {}
  Lines(const Lines&) = delete;
  Lines& operator=(const Lines&) = delete;

  /// @param comments  whether lines that begin with % count
  bool next(bool comments = false) {
    for (std::string_view line; take_line(line);) {
      split(line);
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
  bool take_line(std::string_view& line) {
    std::size_t end = text_.find('\n', begin_);
    while (end == text_.npos && take_piece()) end = text_.find('\n', begin_);
    if (begin_ >= text_.size()) return false;
    end = std::min(end, text_.size());
    line = text_.substr(begin_, end - begin_);
    begin_ = end + 1;
    return true;
  }

  /// Puts a piece behind what is left of the text.
  bool take_piece() {
    if (!more_) return false;
    pieces_.erase(0, begin_);
    begin_ = 0;
    const bool is_more = more_(pieces_);
    text_ = pieces_;
    return is_more;
  }

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
  const More more_;     // empty: the text is whole
  std::string pieces_;  // what text_ shows of a text in pieces
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
  Format format;
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

bool is_banner(std::string_view word) { return lower_case(word) == "%%matrixmarket"; }

/// @param symmetries  that the file may have, in the order of Symmetry
Heading read_heading(Lines& lines, const std::vector<std::string>& symmetries) {
  if (!lines.next(true) || !is_banner(lines.words()[0]) || lines.number() != 1)
    lines.complain("not a Matrix Market file: its first line must begin with %%MatrixMarket");
  const Words& words = lines.words();
  if (words.size() != 5)
    lines.complain("the first line must read %%MatrixMarket matrix, format, field, symmetry");
  choice(lines, "object", words[1], {"matrix"});
  const auto format = static_cast<Format>(choice(lines, "format", words[2], {"coordinate", "array"}));
  std::vector<std::string> fields{"real", "integer"};
  if (format == Format::kCoordinate) fields.emplace_back("pattern");
  return {format, static_cast<Field>(choice(lines, "field", words[3], fields)),
          static_cast<Symmetry>(choice(lines, "symmetry", words[4], symmetries))};
}

int integer_between(const Lines& lines, std::string_view what, std::string_view word, std::int64_t lowest,
                    std::int64_t highest) {
  std::int64_t value = 0;
  const NumberFault fault = apps::read_integer(word, value);
  if (fault == NumberFault::kNotANumber)
    lines.complain(fmt::format("{} {} is not an integer", what, quoted(word)));
  if (fault != NumberFault::kNone || value < lowest || value > highest)
    lines.complain(fmt::format("{} {} must lie between {} and {}", what, quoted(word), lowest, highest));
  return static_cast<int>(value);
}

/// What the size line of a file tells.
struct Sizes {
  int rows, columns;
  std::int64_t announced;  // entries of a coordinate file, numbers of an array
};

/// Returns how many numbers an array of these sizes holds: of a symmetric one only the lower half.
std::int64_t numbers_in_array(Symmetry symmetry, std::int64_t rows, std::int64_t columns) {
  if (symmetry == Symmetry::kGeneral) return rows * columns;
  return rows * (symmetry == Symmetry::kSymmetric ? rows + 1 : rows - 1) / 2;
}

Sizes read_sizes(Lines& lines, const Heading& heading) {
  std::vector<std::string> names{"count of rows", "count of columns"};
  if (heading.format == Format::kCoordinate) names.emplace_back("count of entries");
  if (!lines.next()) lines.complain("the file ends before its size line");
  if (lines.words().size() != names.size())
    lines.complain(
        fmt::format("the size line must hold {} counts, not {}", names.size(), lines.words().size()));
  std::vector<int> sizes;
  for (std::size_t k = 0; k < names.size(); ++k)
    sizes.push_back(integer_between(lines, names[k], lines.words()[k], 0, kMostEntries));
  if (heading.symmetry != Symmetry::kGeneral && sizes[0] != sizes[1])
    lines.complain(fmt::format("a symmetric matrix cannot be {} x {}", sizes[0], sizes[1]));
  const bool is_array = heading.format == Format::kArray;
  return {sizes[0], sizes[1], is_array ? numbers_in_array(heading.symmetry, sizes[0], sizes[1]) : sizes[2]};
}

double read_number(const Lines& lines, std::string_view word, Field field) {
  double value = 0;
  const NumberFault fault = apps::read_number(word, value);
  if (fault == NumberFault::kNotANumber) lines.complain(fmt::format("{} is not a number", quoted(word)));
  if (fault != NumberFault::kNone) lines.complain(fmt::format("{} is not finite", quoted(word)));
  if (field == Field::kInteger && word.find_first_not_of("+-0123456789") != word.npos)
    lines.complain(fmt::format("{} is not an integer", quoted(word)));
  return value;
}

/// Reads the only word of a line as a number.
double read_single_number(const Lines& lines, Field field) {
  if (lines.words().size() != 1)
    lines.complain(fmt::format("a line must hold one number, not {} words", lines.words().size()));
  return read_number(lines, lines.words()[0], field);
}

/// Adds an entry and, in the other half of a symmetric matrix, its mirror image.
void add_entry(const Lines& lines, Symmetry symmetry, int i, int j, double value, Matrix& matrix) {
  const auto add = [&](int row, int column, double in_place) {
    if (matrix.value.size() >= static_cast<std::size_t>(kMostEntries)) lines.complain("too many entries");
    matrix.row.push_back(row);
    matrix.column.push_back(column);
    matrix.value.push_back(in_place);
    matrix.line.push_back(lines.number());
  };
  add(i, j, value);
  if (symmetry != Symmetry::kGeneral && i != j) add(j, i, symmetry == Symmetry::kSkew ? -value : value);
}

/// Reads the entries of a coordinate file, one a line.
class EntryReader {
 public:
  EntryReader(const Lines& lines, Heading heading, Matrix& matrix)
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
    add_entry(lines_, heading_.symmetry, i, j, value, matrix_);
  }

  void pass() {}

 private:
  /// Refuses entries of the upper half of a symmetric matrix: only the lower half is given, and each of its
  /// entries also stands for its mirror image, so those of the upper half would be added twice.
  void check_half(int i, int j) const {
    if (heading_.symmetry != Symmetry::kGeneral && i < j)
      lines_.complain(fmt::format("entry ({}, {}) lies above the diagonal of a symmetric matrix", i, j));
    if (heading_.symmetry == Symmetry::kSkew && i == j)
      lines_.complain(fmt::format("entry ({}, {}) lies on the diagonal of a skew-symmetric matrix", i, j));
  }

  const Lines& lines_;
  const Heading heading_;
  Matrix& matrix_;
};

/// Reads the numbers of an array, one a line, column by column; of a symmetric one the lower half. Zeros make
/// no entries.
class ArrayReader {
 public:
  ArrayReader(const Lines& lines, Heading heading, Matrix& matrix)
      : lines_(lines), heading_(heading), matrix_(matrix), row_(first_row()) {}

  void read() {
    const double value = read_single_number(lines_, heading_.field);
    if (value != 0) add_entry(lines_, heading_.symmetry, row_, column_, value, matrix_);
    pass();
  }

  void pass() {
    if (row_++ < matrix_.rows) return;
    ++column_;
    row_ = first_row();
  }

 private:
  int first_row() const {
    if (heading_.symmetry == Symmetry::kGeneral) return 1;
    return heading_.symmetry == Symmetry::kSymmetric ? column_ : column_ + 1;
  }

  const Lines& lines_;
  const Heading heading_;
  Matrix& matrix_;
  int column_ = 1, row_;
};

/// Has `reader` read those lines of a share that the size line announces, and pass over the others; there
/// must be as many.
template <class Reader>
void read_announced(Lines& lines, std::int64_t announced, std::string_view what, const Share& share,
                    Reader reader) {
  const auto begin_of = [&](std::int64_t part) {  // an array may announce too many to multiply them
    return announced / share.parts * part + announced % share.parts * part / share.parts;
  };
  const std::int64_t begin = begin_of(share.part), end = begin_of(share.part + 1);
  std::int64_t seen = 0;
  for (; seen < announced && lines.next(); ++seen) {
    if (begin <= seen && seen < end)
      reader.read();
    else
      reader.pass();
  }
  if (seen < announced)
    lines.complain(fmt::format("the file ends after {} of {}", seen, apps::counted(announced, what)));
  if (lines.next())
    lines.complain(
        fmt::format("more than the {} that the size line announces", apps::counted(announced, what)));
}

/// Reads what stands below the first line.
/// @param check  void(const Matrix&); refuses, by its sizes, a matrix that is not read any further
template <class Check>
Matrix read_matrix_below(const Heading& heading, Lines& lines, const std::string& name, const Share& share,
                         Check check) {
  const Sizes sizes = read_sizes(lines, heading);
  Matrix matrix;
  matrix.name = name;
  matrix.rows = sizes.rows;
  matrix.columns = sizes.columns;
  matrix.size_line = lines.number();
  matrix.announced = sizes.announced;
  matrix.has_values = heading.field != Field::kPattern;
  check(matrix);
  if (heading.format == Format::kArray)
    read_announced(lines, sizes.announced, "number", share, ArrayReader(lines, heading, matrix));
  else
    read_announced(lines, sizes.announced, "entry", share, EntryReader(lines, heading, matrix));
  return matrix;
}

Matrix read_matrix_of(Lines& lines, const std::string& name, const Share& share) {
  const Heading heading = read_heading(lines, {"general", "symmetric", "skew-symmetric"});
  return read_matrix_below(heading, lines, name, share, [](const Matrix&) {});
}

void check_length(const Lines& lines, std::size_t length, std::optional<int> order) {
  if (order && length != static_cast<std::size_t>(*order))
    lines.complain(fmt::format("{} for a matrix of order {}", apps::counted(length, "number"), *order));
}

/// Reads a right-hand side in either format of Matrix Market. What a coordinate file does not name is zero,
/// and what it names twice is added up.
std::vector<double> read_column(Lines& lines, const std::string& name, std::optional<int> order) {
  const Heading heading = read_heading(lines, {"general"});
  if (heading.field == Field::kPattern)
    lines.complain("a right-hand side needs values, and this is a pattern");
  const auto check = [&](const Matrix& column) {
    if (column.columns != 1)
      lines.complain(fmt::format("a right-hand side has one column, not {}", column.columns));
    check_length(lines, static_cast<std::size_t>(column.rows), order);
  };
  const Matrix column = read_matrix_below(heading, lines, name, {}, check);
  std::vector<double> value(static_cast<std::size_t>(column.rows));
  for (std::size_t k = 0; k < column.value.size(); ++k)
    value[static_cast<std::size_t>(column.row[k] - 1)] += column.value[k];
  return value;
}

/// Reads a right-hand side of plain numbers, one a line, between comments behind % or #.
std::vector<double> read_plain_column(Lines& lines, std::optional<int> order) {
  std::vector<double> value;
  while (lines.next())
    if (lines.words()[0][0] != '#') value.push_back(read_single_number(lines, Field::kReal));
  if (value.empty()) lines.complain("the file holds no numbers");
  check_length(lines, value.size(), order);
  return value;
}

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
  return read_matrix_of(lines, name, {});
}

Matrix read_share(const std::function<bool(std::string&)>& more, const std::string& name,
                  const Share& share) {
  Lines lines(more, name);
  return read_matrix_of(lines, name, share);
}

std::vector<double> parse_vector(const std::string& text, const std::string& name, std::optional<int> order) {
  Lines first(text, name);
  const bool has_banner = first.next(true) && is_banner(first.words()[0]);
  Lines lines(text, name);
  return has_banner ? read_column(lines, name, order) : read_plain_column(lines, order);
}

Matrix read_matrix(const std::string& path) {
  return parse_matrix(apps::read_input(path), std::string(apps::input_name(path)));
}

std::vector<double> read_vector(const std::string& path, std::optional<int> order) {
  return parse_vector(apps::read_input(path), std::string(apps::input_name(path)), order);
}

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
