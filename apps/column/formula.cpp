// Reads a chemical formula as a list of valencies, has DataGraph_FreeLinks look for bonds that use them all,
// and counts valencies where it finds none.

#include "apps/column/formula.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <numeric>

#include "util/data_graph.h"

namespace column {
namespace {

constexpr std::size_t kMostAtoms = 200;

const std::map<std::string, unsigned> kValencies{{"H", 1}, {"F", 1}, {"Cl", 1}, {"Br", 1},
                                                 {"I", 1}, {"O", 2}, {"S", 2},  {"B", 3},
                                                 {"N", 3}, {"P", 3}, {"C", 4},  {"Si", 4}};

/// Reads a formula from the left.
class FormulaReader {
 public:
  explicit FormulaReader(const std::string& formula) : text_(formula) {}

  std::vector<unsigned> read() {
    std::vector<unsigned> all = group(false);
    if (all.empty()) fail("names no atom");
    return all;
  }

 private:
  [[noreturn]] void fail(const std::string& what) const {
    throw BadFormula(fmt::format("\"{}\" {}", text_, what));
  }

  char next() const { return at_ < text_.size() ? text_[at_] : '\0'; }
  bool next_is(int (*kind)(int)) const { return kind(static_cast<unsigned char>(next())) != 0; }

  /// Reads up to the end of the text or, if `inside` parentheses, up to the closing one.
  std::vector<unsigned> group(bool inside) {
    std::vector<unsigned> all;
    while (at_ < text_.size() && next() != ')') {
      const std::vector<unsigned> part = next() == '(' ? parenthesis() : std::vector<unsigned>{atom()};
      for (std::size_t times = count(); times > 0; --times) {
        all.insert(all.end(), part.begin(), part.end());
        if (all.size() > kMostAtoms) fail(fmt::format("has more than {} atoms", kMostAtoms));
      }
    }
    if (inside != (next() == ')')) fail("has a parenthesis without its partner");
    return all;
  }

  std::vector<unsigned> parenthesis() {
    if (++depth_ > kMostAtoms) fail("nests too deeply");
    ++at_;
    std::vector<unsigned> all = group(true);
    if (all.empty()) fail("has an empty group");
    ++at_;
    --depth_;
    return all;
  }

  unsigned atom() {
    if (!next_is(std::isupper)) fail(fmt::format("has no atom at character {}", at_ + 1));
    std::string symbol(1, text_[at_++]);
    while (next_is(std::islower)) symbol += text_[at_++];
    const auto known = kValencies.find(symbol);
    if (known == kValencies.end()) fail(fmt::format("has the atom {}, whose valency is not known", symbol));
    return known->second;
  }

  std::size_t count() {
    if (!next_is(std::isdigit)) return 1;
    std::size_t number = 0;
    while (next_is(std::isdigit))
      number = std::min(10 * number + static_cast<std::size_t>(text_[at_++] - '0'), kMostAtoms + 1);
    if (number == 0) fail("counts an atom 0 times");
    return number;
  }

  const std::string& text_;
  std::size_t at_ = 0, depth_ = 0;
};

/// Returns why the count of valencies rules out a molecule, or an empty text if it does not.
std::string ruled_out(int atoms, int sum, int largest) {
  const std::string these = fmt::format("its {} atoms have {} valencies in all, ", atoms, sum);
  if (sum % 2 != 0) return these + "an odd number";
  if (sum < 2 * (atoms - 1)) return these + fmt::format("{} are needed to join them", 2 * (atoms - 1));
  if (largest > sum - largest) return these + fmt::format("one of them alone {}", largest);
  return "";
}

}  // namespace

std::vector<unsigned> valencies_of(const std::string& formula) { return FormulaReader(formula).read(); }

FormulaCheck check_formula(const std::string& formula) {
  std::vector<unsigned> valencies = valencies_of(formula);
  const int atoms = static_cast<int>(valencies.size());
  const int sum = static_cast<int>(std::accumulate(valencies.begin(), valencies.end(), 0U));
  const int largest = static_cast<int>(*std::max_element(valencies.begin(), valencies.end()));
  if (DataGraph_FreeLinks(static_cast<unsigned>(atoms), valencies.data()) == 0)
    return {FormulaCheck::Verdict::kWired, atoms, sum, ""};
  const std::string why = ruled_out(atoms, sum, largest);
  return {why.empty() ? FormulaCheck::Verdict::kCountOnly : FormulaCheck::Verdict::kRefused, atoms, sum, why};
}

}  // namespace column
