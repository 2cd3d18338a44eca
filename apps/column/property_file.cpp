#include "apps/column/property_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include "apps/column/formula.h"
#include "apps/column/memory_watch.h"
#include "apps/common/output.h"
#include "apps/common/toml_reader.h"
#include "frame/empty_value.h"
#include "host/corvid_host.h"

namespace column {
namespace {

using corvid_host::ChunkFile;

constexpr corvid_host::ChunkTag kComponent = corvid_host::MakeChunkTag("COMP");
constexpr short kVersion = 1;
constexpr int kCharactersPerInt = 4;

// ---- Writing. Failures are not tested here: the file remembers the first one.

/// Writes the length, then the characters, four in each int, the first one in the lowest byte.
void write_text(ChunkFile& file, const std::string& text) {
  file.WriteInt(static_cast<int>(text.size()));
  for (std::size_t at = 0; at < text.size(); at += kCharactersPerInt) {
    std::uint32_t packed = 0;
    for (std::size_t i = std::min<std::size_t>(at + kCharactersPerInt, text.size()); i-- > at;)
      packed = packed << 8 | static_cast<unsigned char>(text[i]);
    file.WriteInt(static_cast<int>(packed));
  }
}

void write_numbers(ChunkFile& file, const std::vector<double>& numbers) {
  for (const double number : numbers) file.WriteDouble(number);
}

bool write_table(ChunkFile& file, VapourPressureTable& table) {
  const ComponentInfo& info = table.info();
  if (!table.fit()) return false;
  const AntoineFit& fit = *table.fit();
  file.SetNextTag(kComponent);
  ChunkHeader chunk;
  if (chunk.Create(file, kVersion) == 0) return false;
  for (const std::string* text : {&info.name, &info.formula, &info.source}) write_text(file, *text);
  const AntoineConstants published = info.antoine.value_or(AntoineConstants{EmptyValue, 0, 0});
  const PressureLine line = info.line.value_or(PressureLine{EmptyValue, 0});
  write_numbers(file, {published.a, published.b, published.c, line.a, line.b});
  write_numbers(file, {fit.constants.a, fit.constants.b, fit.constants.c, fit.standard_error, fit.condition});
  file.WriteInt(table.NDataPoints());
  for (int i = 0; i < table.NDataPoints(); ++i) file.WriteInt(table.filled(i) ? 1 : 0);
  return table.Store(file) != 0 && chunk.Close(file) != 0;
}

// ---- Reading.

/// Is thrown if an undamaged file has contents that make no sense; what() says why.
struct BadContents : std::runtime_error {
  using std::runtime_error::runtime_error;
};

int read_int(ChunkFile& file, int lowest, int highest) {
  int value = 0;
  if (file.ReadInt(&value) == 0 || value < lowest || value > highest)
    throw BadContents("a number is missing or out of range");
  return value;
}

double read_number(ChunkFile& file) {
  double value = 0;
  if (file.ReadDouble(&value) == 0) throw BadContents("a number is missing");
  return value;
}

std::string read_text(ChunkFile& file) {
  const auto length = static_cast<std::size_t>(read_int(file, 0, INT32_MAX));
  std::string text;
  while (text.size() < length) {
    auto packed = static_cast<std::uint32_t>(read_int(file, INT32_MIN, INT32_MAX));
    for (int i = 0; i < kCharactersPerInt && text.size() < length; ++i, packed >>= 8)
      text += static_cast<char>(packed & 0xFF);
  }
  return text;
}

AntoineConstants read_constants(ChunkFile& file) {
  AntoineConstants c{};
  for (double* value : {&c.a, &c.b, &c.c}) *value = read_number(file);
  return c;
}

ComponentInfo read_info(ChunkFile& file) {
  ComponentInfo info;
  for (std::string* text : {&info.name, &info.formula, &info.source}) *text = read_text(file);
  if (const AntoineConstants antoine = read_constants(file); antoine.a != EmptyValue) info.antoine = antoine;
  PressureLine line{};
  for (double* value : {&line.a, &line.b}) *value = read_number(file);
  if (line.a != EmptyValue) info.line = line;
  return info;
}

/// Throws BadContents if the table is one that no CSV file could have led to. @param flags number of flags
/// read
void check(VapourPressureTable& table, std::size_t flags) {
  const AntoineConstants& c = table.fit()->constants;
  if (!(std::isfinite(c.a) && c.b > 0 && std::isfinite(c.b) && std::isfinite(c.c)))
    throw BadContents("a fit is none");
  if (table.active_points() < 1 || table.NDataPoints() != static_cast<int>(flags))
    throw BadContents("a table has lost points");
  if (apps::has_control_characters(table.info().name))
    throw BadContents("the name of a component is not one line of plain characters");
  if (apps::has_control_characters(table.info().formula))
    throw BadContents("the formula of a component is not one line of plain characters");
  if (table.info().formula.empty()) return;
  try {
    if (check_formula(table.info().formula).verdict != FormulaCheck::Verdict::kRefused) return;
  } catch (const BadFormula&) {
  }
  throw BadContents(fmt::format("{} has the formula \"{}\"", table.info().name, table.info().formula));
}

std::shared_ptr<VapourPressureTable> read_table(ChunkFile& file) {
  ChunkHeader chunk;
  if (chunk.Open(file) == 0) throw BadContents(file.ErrorText());
  if (chunk.Version() != kVersion)
    throw BadContents(fmt::format("a component is of version {}, not {}", chunk.Version(), kVersion));
  auto table = std::make_shared<VapourPressureTable>(read_info(file));
  AntoineFit fit{};
  fit.constants = read_constants(file);
  fit.standard_error = read_number(file);
  fit.condition = read_number(file);
  std::vector<unsigned char> filled;
  for (int left = read_int(file, 0, INT32_MAX); left > 0; --left)
    filled.push_back(static_cast<unsigned char>(read_int(file, 0, 1)));
  const std::size_t flags = filled.size();
  const MemoryWatch memory;
  if (table->Recall(file) == 0 || chunk.Close(file) == 0)
    throw BadContents(memory.refused()
                          ? "a table needs more memory than there is, or than the length of the file allows"
                          : "a table cannot be recalled");
  table->restore(std::move(filled), fit);
  check(*table, flags);
  return table;
}

/// Limits the memory of the library during its lifetime to what a file of `bytes` bytes can need, because the
/// counts in a damaged or malicious file can be of any size. A table takes less memory than bytes in the
/// file, except for spare room for a few more points.
class MemoryLimit {
 public:
  explicit MemoryLimit(std::uintmax_t bytes) {
    constexpr std::int64_t kFileAndTables = 2, kRoomToGrow = std::int64_t{1} << 20;
    corvid_host::LimitLiveBytes(corvid_host::LiveBytes() + kFileAndTables * static_cast<std::int64_t>(bytes) +
                                kRoomToGrow);
  }
  ~MemoryLimit() { corvid_host::LimitLiveBytes(0); }
  MemoryLimit(const MemoryLimit&) = delete;
  MemoryLimit& operator=(const MemoryLimit&) = delete;
};

Tables read_tables(ChunkFile& file) {
  Tables tables;
  corvid_host::ChunkInfo info{};
  while (file.NextChunk(&info)) {
    if (info.tag != kComponent) {
      file.SkipChunk();
      continue;
    }
    tables.push_back(read_table(file));
    if (find_table(tables, tables.back()->info().name) != tables.back())
      throw BadContents(fmt::format("it holds {} twice", tables.back()->info().name));
  }
  if (tables.empty()) throw BadContents("it holds no component");
  return tables;
}

}  // namespace

std::optional<std::string> store_tables(const std::string& path, const Tables& tables) {
  ChunkFile file;
  bool good = file.Create(path.c_str());
  for (const auto& table : tables) good = good && write_table(file, *table);
  if (good && file.Commit()) return std::nullopt;
  return std::string(file.ErrorText());
}

Tables recall_tables(const std::string& path) {
  std::error_code none;  // no error here: if there is no file, Open() fails
  const std::uintmax_t bytes = std::filesystem::file_size(std::filesystem::u8path(path), none);
  const MemoryLimit limit(none ? 0
                               : std::min<std::uintmax_t>(bytes, UINT32_MAX));  // Open() refuses longer files
  ChunkFile file;
  try {
    if (!file.Open(path.c_str())) throw BadContents(file.ErrorText());
    return read_tables(file);
  } catch (const BadContents& bad) {
    throw apps::BadCase(fmt::format("{}: {}", path, bad.what()));
  }
}

std::shared_ptr<VapourPressureTable> find_table(const Tables& tables, const std::string& name) {
  const auto named = [&](const auto& table) { return table->info().name == name; };
  const auto found = std::find_if(tables.begin(), tables.end(), named);
  return found == tables.end() ? nullptr : *found;
}

}  // namespace column
