#include "apps/study/study_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>

#include "apps/common/input.h"
#include "apps/study/hash.h"
#include "apps/study/sampling.h"

namespace study {
namespace {

using apps::CaseError;
using apps::TomlTable;

constexpr int kUsualChunk = 64, kLargestChunk = 10000;

/// @throws CaseError  unless the range from..to of a table has an inside
void read_ends(const TomlTable& t, Parameter& p) {
  p.from = t.number("from");
  p.to = t.number("to");
  if (!(p.from < p.to))
    t.complain("from", fmt::format("begins an empty range, from {:g} to {:g}", p.from, p.to));
  if (!std::isfinite(p.to - p.from)) t.complain("to", "is too far from the other end");
}

void read_spread(const TomlTable& t, Parameter& p) {
  const int given = t.has("values") + t.has("range") + t.has("latin_hypercube") + t.has("normal");
  if (given != 1)
    throw CaseError(t.line(),
                    "[[parameter]] needs one of \"values\", \"range\", \"latin_hypercube\" and \"normal\"");
  if (t.has("values")) {
    p.values = t.numbers("values", 0, "one a case");
  } else if (t.has("range")) {
    const TomlTable range(t.table("range"), "range", {"from", "to", "count"});
    p.spread = Spread::kRange;
    read_ends(range, p);
    p.count = range.integer("count", 2, kMostCases);
  } else if (t.has("latin_hypercube")) {
    p.spread = Spread::kLatinHypercube;
    read_ends(TomlTable(t.table("latin_hypercube"), "latin_hypercube", {"from", "to"}), p);
  } else {
    const TomlTable normal(t.table("normal"), "normal", {"mean", "deviation"});
    p.spread = Spread::kNormal;
    p.mean = normal.number("mean");
    p.deviation = normal.positive("deviation");
  }
}

Parameter read_parameter(const toml::table& table, toml::table& base) {
  const TomlTable t(table, "[[parameter]]",
                    {"name", "place", "values", "range", "latin_hypercube", "normal"});
  Parameter p;
  p.line = t.line();
  p.place_text = t.line_of_text("place");
  p.name = t.has("name") ? t.line_of_text("name") : p.place_text;
  try {
    p.place = parse_place(p.place_text);
    check_number(base, p.place);
  } catch (const BadPlace& bad) {
    t.complain("place", fmt::format("is \"{}\", which {}", p.place_text, bad.what()));
  }
  read_spread(t, p);
  return p;
}

/// @throws CaseError  if two parameters have one name, or set one number
void check_differ(const Parameter& p, const Parameter& other, toml::table& base) {
  if (other.name == p.name) throw CaseError(p.line, fmt::format("two parameters are called \"{}\"", p.name));
  if (other.place_text == p.place_text)
    throw CaseError(p.line, fmt::format("two parameters set \"{}\"", p.place_text));
  if (is_same_place(base, other.place, p.place))
    throw CaseError(p.line, fmt::format("two parameters set the same number, as \"{}\" and as \"{}\"",
                                        other.place_text, p.place_text));
}

void read_parameters(const TomlTable& root, toml::table base, Study& study) {
  for (const toml::table* table : root.tables("parameter")) {
    Parameter p = read_parameter(*table, base);
    for (const Parameter& other : study.parameters) check_differ(p, other, base);
    study.parameters.push_back(std::move(p));
  }
  if (study.parameters.empty()) throw CaseError(root.line(), "the study lacks a [[parameter]]");
}

void read_samples(const TomlTable& root, Study& study) {
  const auto drawn = std::find_if(study.parameters.begin(), study.parameters.end(),
                                  [](const Parameter& p) { return p.drawn(); });
  if (drawn == study.parameters.end()) {
    if (root.has("samples")) root.complain("samples", "has no meaning without a parameter that is drawn");
    return;
  }
  if (!root.has("samples"))
    throw CaseError(drawn->line, fmt::format("\"{}\" is drawn, which needs [samples]", drawn->name));
  const TomlTable t(root.table("samples"), "[samples]", {"count", "seed"});
  study.samples = t.integer("count", 1, kMostCases);
  study.seed = static_cast<std::uint64_t>(t.integer("seed", 0, std::numeric_limits<int>::max()));
}

void check_count(const TomlTable& root, const Study& study) {
  if (case_count(study) > kMostCases)
    throw CaseError(root.line("parameter"),
                    fmt::format("the parameters make more than {} cases", kMostCases));
}

/// Returns what `read` makes of the base case. What is wrong with it is told with the line of the study.
template <class Read>
auto of_base_case(const TomlTable& root, const char* key, Read read) {
  try {
    return read();
  } catch (const apps::BadCase& bad) {
    root.complain(key, fmt::format("names a case that cannot be used: {}", bad.what()));
  }
}

/// Returns the hash of a file; 0 if it cannot be read, as one of the files that are not needed for an answer.
std::uint64_t hash_of_file(const std::string& path) {
  try {
    return hash_of(apps::read_input(path));
  } catch (const apps::BadCase&) {
    return 0;
  }
}

std::vector<NamedFile> files_of(const CaseSolver& solver) {
  std::vector<NamedFile> files;
  for (const std::string& path : solver.other_files()) files.push_back({path, hash_of_file(path)});
  return files;
}

/// Returns the hash of all files that decide about the answers.
std::uint64_t hash_of_files(const std::string& text, const StudyFile& file) {
  std::uint64_t hash = hash_of(file.study.base_text, hash_of(text));
  for (const NamedFile& named : file.named_files) hash = hash_of(fmt::format(" {:x}", named.hash), hash);
  return hash;
}

class StudyReader {
 public:
  StudyReader(const std::string& text, const std::string& name) : text_(text), name_(name) {}

  StudyFile read(const toml::table& file) {
    const TomlTable root(
        file, "the study",
        {"title", "column", "recycle", "method", "results", "chunk", "samples", "parameter"});
    Study& study = found_.study;
    study.title = root.line_of_text("title");
    const toml::table base = read_base(root);
    study.results = root.texts("results", 1);
    make_solver(root);
    read_parameters(root, base, study);
    check_headings(root);
    read_samples(root, study);
    check_count(root, study);
    study.chunk = root.has("chunk") ? root.integer("chunk", 1, kLargestChunk) : kUsualChunk;
    found_.named_files = files_of(*found_.solver);
    study.hash = hash_of_files(text_, found_);
    return std::move(found_);
  }

 private:
  const char* key() const { return found_.study.kind == Kind::kColumn ? "column" : "recycle"; }

  toml::table read_base(const TomlTable& root) {
    if (root.has("column") == root.has("recycle"))
      throw CaseError(root.line(), "the study needs one of \"column\" and \"recycle\", its base case");
    Study& study = found_.study;
    study.kind = root.has("column") ? Kind::kColumn : Kind::kRecycle;
    const auto path =
        std::filesystem::u8path(name_).parent_path() / std::filesystem::u8path(root.text(key()));
    study.base_path = path.lexically_normal().generic_u8string();
    return of_base_case(root, key(), [&] {
      study.base_text = apps::read_input(study.base_path);
      return apps::parse_case_text<toml::table>(study.base_text, study.base_path,
                                                [](const toml::table& t) { return t; });
    });
  }

  /// Columns of the output are found by their headings.
  void check_headings(const TomlTable& root) const {
    std::vector<std::string> headings{"case", "outcome"};
    for (const Parameter& p : found_.study.parameters) headings.push_back(p.name);
    for (const std::string& result : found_.study.results)
      if (std::find(headings.begin(), headings.end(), result) != headings.end())
        root.complain("results", fmt::format("hold \"{}\", which is the heading of another column", result));
    for (const Parameter& p : found_.study.parameters)
      if (p.name == "case" || p.name == "outcome")
        throw CaseError(p.line, fmt::format("no parameter can be called \"{}\"", p.name));
  }

  void make_solver(const TomlTable& root) {
    Study& study = found_.study;
    const bool is_column = study.kind == Kind::kColumn;
    const std::vector<std::string>& methods = is_column ? column_methods() : recycle_methods();
    study.method = methods[root.has("method") ? static_cast<std::size_t>(root.choice("method", methods)) : 0];
    try {
      found_.solver = of_base_case(root, key(), [&] {
        return (is_column ? make_column_solver : make_recycle_solver)(study.base_text, study.base_path,
                                                                      study.method, study.results);
      });
    } catch (const BadResult& bad) {
      throw CaseError(root.line("results"), bad.what());
    }
  }

  const std::string& text_;
  const std::string& name_;
  StudyFile found_;
};

}  // namespace

StudyFile parse_study(const std::string& text, const std::string& name) {
  return apps::parse_case_text<StudyFile>(
      text, name, [&](const toml::table& file) { return StudyReader(text, name).read(file); });
}

void expect_unchanged_files(const StudyFile& file) {
  for (const NamedFile& named : file.named_files)
    if (hash_of_file(named.path) != named.hash)
      throw apps::BadCase(fmt::format("{}: has changed since the study was read", named.path));
}

StudyFile read_study(const std::string& path) {
  return parse_study(apps::read_input(path), std::string(apps::input_name(path)));
}

}  // namespace study
