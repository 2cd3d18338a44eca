// The reader of the cases of corvidnum-recycle, from any text: a flowsheet that it accepts has a plan, and
// one pass of it can be computed.

#include "apps/recycle/case_file.h"

#include "fuzz/reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string name = "no-such-folder/case.toml";
  const auto read = fuzz::read_or_complaint(name, [&] { return recycle::parse_case(text, name); });
  if (!read) return 0;
  const recycle::Flowsheet& flowsheet = read->flowsheet;
  const recycle::Plan plan = recycle::make_plan(flowsheet, read->tears);
  fuzz::require(plan.order.size() == flowsheet.units.size(), "each unit has its place in the order");
  const recycle::PassResult pass = recycle::run_pass(flowsheet, plan, recycle::start_vector(flowsheet, plan));
  fuzz::require(pass.streams.size() == flowsheet.streams.size(), "each stream has rates");
  return 0;
}
