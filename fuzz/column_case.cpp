// The reader of the cases of corvidnum-column, from any text. It finds no other files, because the case lies
// in a folder that does not exist.

#include "apps/column/case_file.h"

#include <cmath>

#include "apps/column/flows.h"
#include "fuzz/reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string name = "no-such-folder/case.toml";
  const auto read = fuzz::read_or_complaint(name, [&] { return column::parse_case(text, name); });
  if (!read) return 0;
  const column::InternalFlows flows = column::internal_flows(*read);
  for (const auto* rates : {&flows.liquid, &flows.vapour})
    for (const double rate : *rates)
      fuzz::require(std::isfinite(rate) && rate >= 0, "flows are finite and not negative");
  return 0;
}
