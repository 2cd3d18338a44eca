#pragma once

#include "apps/report/index.h"
#include "apps/report/page.h"
#include "apps/study/report.h"
#include "apps/study/study.h"
#include "apps/study/tally.h"

namespace study {

/// Returns the page of a study: responses to the parameters, histograms of the results, and where cases
/// failed.
report::Page study_page(const Study& study, const Tally& tally, const RunFacts& facts);
report::Entry study_entry(const Study& study, const Tally& tally, const RunFacts& facts);

}  // namespace study
