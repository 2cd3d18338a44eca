#include "apps/study/report.h"

#include <algorithm>

#include "apps/common/output.h"

namespace study {

std::string report(const Study& study, const Tally& tally, const RunFacts& facts) {
  apps::Page page;
  page.add("{}\n\n", study.title);
  page.add("{} cases, of which {} have no answer\n", tally.cases(), tally.failed());
  if (facts.found > 0) page.add("{} of them were there already\n", facts.found);
  const std::int64_t solved = tally.cases() - facts.found;
  if (solved > 0)
    page.add("{:.1f} s, {:.0f} cases a second; threads: {}, ranks: {}\n", facts.seconds,
             static_cast<double>(solved) / facts.seconds, facts.threads, facts.ranks);
  std::size_t width = 0;
  for (const std::string& name : study.results) width = std::max(width, name.size());
  page.add("\n{:<{}} {:>14} {:>14} {:>14}\n", "result", width, "least", "mean", "most");
  for (std::size_t i = 0; i < study.results.size(); ++i) {
    const Tally::Extent& e = tally.extents()[i];
    if (e.count > 0)
      page.add("{:<{}} {:>14.7g} {:>14.7g} {:>14.7g}\n", study.results[i], width, e.least, e.mean, e.most);
    else
      page.add("{:<{}} {:>14}\n", study.results[i], width, "none");
  }
  if (tally.failed() > 0) page.add("\ncases without an answer\n");
  for (const Tally::Failure& f : tally.failures()) page.add("{:>9}  {}\n", f.point.number, f.reason);
  if (tally.failed() > static_cast<std::int64_t>(tally.failures().size())) page.add("{:>9}\n", "...");
  return page.take();
}

}  // namespace study
