// The subcommand fit: reads tables, stores them in a property file, and recalls them to prove it.

#include "apps/column/fit_command.h"

#include <fmt/format.h>

#include "apps/column/property_file.h"
#include "apps/column/table_csv.h"
#include "apps/common/toml_reader.h"
#include "apps/common/wording.h"

namespace column {

Tables read_tables(const std::vector<std::string>& paths) {
  Tables tables;
  for (const std::string& path : paths) {
    tables.push_back(read_table_csv(path));
    const std::string& name = tables.back()->info().name;
    if (find_table(tables, name) != tables.back())
      throw apps::BadCase(fmt::format("{}: is a second table of {}", path, name));
  }
  return tables;
}

std::string store_and_recall(const std::string& path, const Tables& tables) {
  if (const auto failure = store_tables(path, tables))
    throw apps::BadCase(fmt::format("{}: {}", path, *failure));
  const Tables recalled = recall_tables(path);
  bool same = recalled.size() == tables.size();
  for (std::size_t i = 0; same && i < tables.size(); ++i) same = tables[i]->same_as(*recalled[i]);
  if (!same) throw apps::BadCase(fmt::format("{}: the tables come back changed", path));
  return fmt::format("\n{}: {} stored, recalled, the same bit for bit\n", path,
                     apps::counted(tables.size(), "table"));
}

}  // namespace column
