#pragma once

// Formats of the diagnostic lines. The byte 0x02 stands on both sides of each literal; i10 and 1pe14.6 hold
// the places of the values. The print protocol is silent, so nothing depends on how numbers are laid out.

namespace corvidnum {
namespace texts {

// ---- ma48ad_

constexpr char kAnalysisSizes[] = "(\002Error return from MA48A/AD because M =\002,i10,\002and N =\002,i10)";
constexpr char kAnalysisEntries[] = "(\002Error return from MA48A/AD because NE =\002,i10)";
constexpr char kAnalysisLength[] =
    "(\002Error return from MA48A/AD because LA is\002,i10/\002and\002,\002must be at least\002,i10)";
constexpr char kAnalysisSingular[] =
    "(\002Error return from MA48A/AD because matrix structurally \002,\002singular\002/"
    "\002 order is \002,i10,\002 and structural rank\002,i10)";
constexpr char kAnalysisPermutation[] =
    "(\002Error return from MA48A/AD because\002/\002faulty permutati\002,\002ons input when JOB = 2\002)";
constexpr char kAnalysisJob[] = "(\002Error return from MA48A/AD because\002/\002JOB =\002,i10)";
constexpr char kAnalysisFaultyEntries[] =
    "(\002Message from MA48A/AD ..\002,i10,\002duplicates found\002,i10,\002out-of-range indices fo\002)";
constexpr char kAnalysisOutOfRange[] =
    "(\002 Message from MA48A/AD .. indices for entry \002,i10,\002 are\002,2i10)";
constexpr char kAnalysisDuplicate[] =
    "(\002 Message from MA48A/AD .. duplicate in position \002,i10/\002 with indices\002,2i10)";

// ---- ma48bd_

constexpr char kFactorisationSizes[] =
    "(\002Error return from MA48B/BD because M =\002,i10,\002and N =\002,i10)";
constexpr char kFactorisationEntries[] = "(\002Error return from MA48B/BD because NE =\002,i10)";
constexpr char kFactorisationLength[] =
    "(\002Error return from MA48B/BD because LA is\002,i10/\002and\002,\002must be at least\002,i10)";
constexpr char kFactorisationJob[] = "(\002Error return from MA48B/BD because\002/\002JOB =\002,i10)";
constexpr char kFactorisationDropped[] =
    "(\002Error return from MA48B/BD with JOB greater than 1\002/"
    "\002and entries dropped during previous factorization\002)";
constexpr char kFactorisationIncompatible[] =
    "(\002Error return from MA48B/BD with JOB=2 because\002/"
    "\002the matrix is incompatible with expectations\002)";

// ---- ma48cd_

constexpr char kSolveSizes[] = "(\002Error return from MA48C/CD because M =\002,i10,\002and N =\002,i10)";
constexpr char kSolveJob[] = "(\002Error return from MA48C/CD because\002/\002JOB =\002,i10)";
constexpr char kSolveNonconvergence[] =
    "(\002Error return from MA48C/CD because of\002/\002nonconvergenc\002,\002e of iterative refinement\002/"
    "\002Error INFO(1) =\002,i3,\002wit\002,\002h ICNTL\002,\002(9) =\002,i10)";
constexpr char kSolveEstimator[] =
    "(\002Error return from MA48C/CD because of\002/\002error in MC41\002,\002A/AD\002/"
    "\002ERROR(3) not calculated\002)";

// ---- Labels of the dumps

constexpr char kMap[] = "(\002JCN (MAP) =\002/(6i10))";
constexpr char kDiagonalStarts[] = "(\002IPTRD =\002/(8x,6i10))";
constexpr char kOffDiagonalStarts[] = "(\002IPTRO =\002/(8x,6i10))";
constexpr char kLowerEnds[] = "(\002IPTRL =\002/(8x,6i10))";
constexpr char kUpperEnds[] = "(\002IPTRU =\002/(8x,6i10))";
constexpr char kBlockOrders[] = "(\002NBLOCK (order blocks) =\002/(8x,6i10))";
constexpr char kBlockKinds[] = "(\002MBLOCK (triangular flag and number packed rows) =\002/(8x,6i10))";
constexpr char kBlockStarts[] = "(\002KBLOCK (position of beginning of block) =\002/(8x,6i10))";
constexpr char kLeftToLast[] = "(\002LBLOCK (number of changed columns) =\002/(8x,6i10))";
constexpr char kRowPlaces[] = "(\002Positions of original rows in the permuted matrix\002/(6i10))";
constexpr char kColumnPlaces[] = "(\002Positions of columns of permuted matrix\002/(6i10))";
constexpr char kRightHandSide[] = "(\002RHS =\002/(1p,5e14.6))";
constexpr char kErrors[] = "(\002ERROR =\002/(1p,3e14.6))";
constexpr char kSolution[] = "(\002X =\002/(1p,5e14.6))";

// ---- MA50AD

constexpr char kPivotsSizes[] =
    "(\002 **** Error return from MA50AD ****\002/\002 M =\002,i5,\002 N =\002,i5)";
constexpr char kPivotsEntries[] = "(\002 **** Error return from MA50AD ****\002/\002 NE =\002,i10)";
constexpr char kPivotsLength[] =
    "(\002 **** Error return from MA50AD ****\002/\002 LA  must be increased from\002,i9,"
    "\002 to at least\002,i9)";
constexpr char kPivotsDuplicate[] =
    "(\002 **** Error return from MA50AD ****\002/\002 Entry in row\002,i5,\002 and column\002,i5,"
    "\002 duplicated\002)";
constexpr char kPivotsSequence[] =
    "(\002 **** Error return from MA50AD ****\002/\002 Fault in component \002,i5,"
    "\002 of column permutation given in IFIRST\002)";
/// Names element 6, though element 7 is what is tested: the wording stays.
constexpr char kPivotsControl[] =
    "(\002 **** Error return from MA50AD ****\002/\002 ICNTL(4) = \002,i10,\002 when ICNTL(6) = 2\002)";
constexpr char kPivotsNoDiagonal[] =
    "(\002 Warning message from MA50AD: no suitable diagonal pivot\002,"
    "\002 found, so switched to full matrix processing.\002)";

// ---- MA50BD

constexpr char kColumnsSizes[] =
    "(\002 **** Error return from MA50BD ****\002/\002 M =\002,i5,\002 N =\002,i5)";
constexpr char kColumnsEntries[] = "(\002 **** Error return from MA50BD ****\002/\002 NE =\002,i10)";
constexpr char kColumnsSparse[] =
    "(\002 **** Error return from MA50BD ****\002/\002 NP =\002,i6,\002 N =\002,i6)";
constexpr char kColumnsDropped[] =
    "(\002 **** Error return from MA50BD ****\002/\002 Call with JOB=\002,i6,"
    "\002 follows JOB=1 call in which entries were dropped\002)";
constexpr char kColumnsJob[] = "(\002 **** Error return from MA50BD ****\002/\002 JOB =\002,i6)";
/// Three stars at the end of its first literal, as in no other.
constexpr char kColumnsLength[] =
    "(\002 **** Error return from MA50BD ***\002/\002 LFACT must be increased from\002,i9,"
    "\002 to at least\002,i9)";
constexpr char kColumnsSmallPivot[] =
    "(\002 **** Error return from MA50BD ****\002/\002 Small pivot found in column\002,i6,"
    "\002 of the permuted matrix.\002)";
constexpr char kColumnsDuplicate[] =
    "(\002 **** Error return from MA50BD ****\002/\002 Entry in row\002,i5,\002 and column\002,i5,"
    "\002 duplicated\002)";

// ---- MA50CD

constexpr char kColumnSolveSizes[] =
    "(\002 **** Error return from MA50CD ****\002/\002 M =\002,i5,\002 N =\002,i5)";

}  // namespace texts
}  // namespace corvidnum
