#pragma once

// Checks whether a chemical formula can be that of one molecule.

#include <stdexcept>
#include <string>
#include <vector>

namespace column {

/// Text that is no formula of the atoms known here. what() says why.
struct BadFormula : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct FormulaCheck {
  enum class Verdict {
    kWired,      // a wiring was found that leaves no valency free
    kCountOnly,  // none was found, and the count of valencies does not rule one out
    kRefused     // none can exist
  };
  Verdict verdict;
  int atoms, valencies;  // how many, and their sum
  std::string why;       // if refused

  std::string words() const;
};

/// The valencies of the atoms, in the order of the formula. Atoms are H, F, Cl, Br, I (1), O, S (2), B, N, P
/// (3), C and Si (4), with counts behind them, and groups in parentheses: "C6H5CH3", "(CH3)2CO".
/// Throws BadFormula; more than 200 atoms are too many.
std::vector<unsigned> valencies_of(const std::string& formula);

/// Looks for a wiring of all atoms into one molecule by DataGraph_FreeLinks. Its search does not go through
/// all wirings, so only success is an answer. Otherwise the valencies are counted: n atoms hang together by
/// n - 1 bonds at least, every bond takes two valencies, and no atom can bind more than all others offer.
/// Throws BadFormula.
FormulaCheck check_formula(const std::string& formula);

}  // namespace column
