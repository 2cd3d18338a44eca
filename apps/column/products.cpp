// Computes the rates of the components in the streams that leave the column, liquid by x and vapour by K x.

#include "apps/column/products.h"

#include <fmt/format.h>

#include <numeric>

namespace column {
namespace {

Product leaving(std::string name, int stage, Phase phase, double rate, const Profile& profile) {
  Product product{std::move(name), stage, rate, {}};
  for (std::size_t i = 0; i < profile.liquid.size(); ++i) {
    const double k = phase == Phase::kVapour ? profile.k[i][stage] : 1.0;
    product.by_component.push_back(rate * k * profile.liquid[i][stage]);
  }
  return product;
}

}  // namespace

double Product::fraction(int component) const {
  return by_component[component] / std::accumulate(by_component.begin(), by_component.end(), 0.0);
}

std::vector<Product> products(const ColumnCase& c, const InternalFlows& flows, const Profile& profile) {
  const Phase top = c.condenser == Condenser::kPartial ? Phase::kVapour : Phase::kLiquid;
  std::vector<Product> all{leaving("distillate", 0, top, c.distillate, profile)};
  for (const Draw& draw : c.draws) {
    const char* phase = draw.phase == Phase::kVapour ? "vapour" : "liquid";
    all.push_back(leaving(fmt::format("{} of stage {}", phase, draw.stage + 1), draw.stage, draw.phase,
                          draw.rate, profile));
  }
  all.push_back(leaving("bottoms", c.stages - 1, Phase::kLiquid, flows.liquid.back(), profile));
  return all;
}

}  // namespace column
