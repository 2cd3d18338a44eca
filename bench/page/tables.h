#pragma once

// The tables of docs/performance.md, as Markdown. What was not measured is a dash: a short run leaves out
// large orders. What is not meant to be measured is an empty cell.

#include <functional>
#include <map>
#include <string>

#include "bench/page/results.h"

namespace page {

/// Makes the text that stands in the page for a mark.
using Section = std::function<std::string(const Results&)>;

/// Returns what each mark of the template stands for.
const std::map<std::string, Section>& sections();

std::map<std::string, Section> sparse_sections();
std::map<std::string, Section> reorder_sections();

}  // namespace page
