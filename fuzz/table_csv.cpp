// The reader of measured vapour pressures, from any text. A table that it accepts has a fit, and comes back
// from a property file as it was.

#include "apps/column/table_csv.h"

#include "apps/column/property_file.h"
#include "fuzz/new_folder.h"
#include "fuzz/reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const auto table = fuzz::read_or_complaint("a.csv", [&] { return column::parse_table_csv(text, "a.csv"); });
  if (!table) return 0;
  fuzz::require((*table)->fit().has_value(), "a table that is accepted has a fit");
  const std::string path = fuzz::own_folder() + "/properties";
  fuzz::require(!column::store_tables(path, {*table}), "a table is stored");
  const column::Tables recalled = column::recall_tables(path);
  fuzz::require(recalled.size() == 1 && recalled[0]->same_as(**table), "a table comes back as it was stored");
  return 0;
}
