#pragma once

// Checks whether a chemical formula can be that of one molecule.

#include <stdexcept>
#include <string>
#include <vector>

namespace column {

/// Is thrown for a text that is no formula of the atoms known here; what() says why.
struct BadFormula : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Tells whether a formula can be that of one molecule.
struct FormulaCheck {
  enum class Verdict {
    kWired,      // bonds were found that join all atoms and leave no valency free
    kCountOnly,  // no such bonds were found, but the count of valencies does not rule them out
    kRefused     // no such bonds can exist
  };
  Verdict verdict;
  int atoms, valencies;  // number of atoms, sum of their valencies
  std::string why;       // it is refused; otherwise empty
};

/// Returns the valencies of the atoms, in the order of the formula. Atoms are H, F, Cl, Br, I (1), O, S (2),
/// B, N, P (3), C and Si (4), with counts behind them, and groups in parentheses: "C6H5CH3", "(CH3)2CO".
/// Throws BadFormula; more than 200 atoms are too many.
std::vector<unsigned> valencies_of(const std::string& formula);

/// Looks for bonds that join all atoms into one molecule, by DataGraph_FreeLinks. Its search is not
/// exhaustive, so its failure proves nothing. Then the valencies are counted: joining n atoms takes at least
/// n - 1 bonds, every bond takes two valencies, and an atom cannot have more bonds than all others offer.
/// Throws BadFormula.
FormulaCheck check_formula(const std::string& formula);

}  // namespace column
