// Writes the profile of a column, stage by stage, as comma-separated text.

#include "apps/column/csv.h"

#include "apps/common/output.h"

namespace column {
std::string profile_csv(const ColumnCase& c, const InternalFlows& flows, const Profile& profile) {
  const TemperatureScale scale = c.model->scale();
  apps::Page page;
  page.add("stage,{},liquid,vapour", apps::csv_field(scale.shown_as));
  for (const char* phase : {"x ", "y "})
    for (const std::string& name : c.components) page.add(",{}", apps::csv_field(phase + name));
  page.add("\n");
  for (int j = 0; j < c.stages; ++j) {
    page.add("{},{},{},{}", j + 1, scale.shown(profile.temperature[j]), flows.liquid[j], flows.vapour[j]);
    for (const auto& x : profile.liquid) page.add(",{}", x[j]);
    for (std::size_t i = 0; i < profile.k.size(); ++i)
      page.add(",{}", profile.k[i][j] * profile.liquid[i][j]);
    page.add("\n");
  }
  return page.take();
}

}  // namespace column
