#pragma once

// Formats of the messages. The byte 0x02 stands on both sides of each literal; i12 and d11.4 hold the places
// of the values. The print protocol is silent, so nothing depends on the layout.

namespace corvidnum {
namespace ma38 {
namespace texts {

// ---- ma38ad_

constexpr char kFactorOrder[] = "(\002MA38AD: N less than one!\002)";
constexpr char kFactorEntryCount[] = "(\002MA38AD: NE less than one!\002)";
/// A length equal to the number is enough, although the text says greater, here and below: the contract fixes
/// the wording.
constexpr char kFactorIndex[] = "(\002MA38AD: LINDEX too small!  Must be greater than \002,i12)";
constexpr char kFactorValue[] = "(\002MA38AD: LVALUE too small!  Must be greater than \002,i12)";
constexpr char kFactorInvalid[] =
    "(\002MA38AD: \002,i12,\002 invalid entries ignored (out of range 1..N).\002)";
constexpr char kFactorDuplicates[] = "(\002MA38AD: \002,i12,\002 duplicate entries summed.\002)";
constexpr char kFactorSingular[] = "(\002MA38AD: matrix is singular.  Only \002,i12,\002 pivots found.\002)";
constexpr char kFactorOutOfRange[] = "(\002MA38AD: invalid entry (out of range 1..N):\002)";
constexpr char kFactorRepeated[] = "(\002MA38AD: duplicate entry summed:\002)";

// ---- ma38bd_

constexpr char kRefactorOrder[] = "(\002MA38BD: N less than one!\002)";
constexpr char kRefactorEntryCount[] = "(\002MA38BD: NE less than one!\002)";
constexpr char kRefactorOverlap[] = "(\002MA38BD: NE too large!  Must be less than \002,i12)";
constexpr char kRefactorIndex[] = "(\002MA38BD: LINDEX too small!  Must be greater than \002,i12)";
constexpr char kRefactorValue[] = "(\002MA38BD: LVALUE too small!  Must be greater than \002,i12)";
constexpr char kRefactorPivots[] = "(\002MA38BD: pivot order from MA38AD failed!\002)";
constexpr char kRefactorCorrupted[] = "(\002MA38BD: LU factors uncomputed or corrupted!\002)";
constexpr char kRefactorInvalid[] =
    "(\002MA38BD: \002,i12,\002 invalid entries ignored (out of range 1..N).\002)";
constexpr char kRefactorForeign[] =
    "(\002MA38BD: \002,i12,\002 invalid entries ignored (not in prior pattern).\002)";
constexpr char kRefactorDuplicates[] = "(\002MA38BD: \002,i12,\002 duplicate entries summed.\002)";
constexpr char kRefactorSingular[] =
    "(\002MA38BD: matrix is singular.  Only \002,i12,\002 pivots found.\002)";
constexpr char kRefactorOutOfRange[] = "(\002MA38BD: invalid entry (out of range 1..N):\002)";
constexpr char kRefactorRepeated[] = "(\002MA38BD: duplicate entry summed:\002)";
constexpr char kRefactorOutsidePattern[] =
    "(\002MA38BD: invalid entry (not in pattern of prior factors)\002)";
constexpr char kRefactorBelowBlocks[] = "(\002MA38BD: invalid entry (below diagonal blocks):\002)";
constexpr char kRefactorDeadPart[] = "(\002MA38BD: invalid entry (prior matrix singular):\002)";

// ---- ma38cd_

constexpr char kSolveCorrupted[] = "(\002MA38CD: LU factors uncomputed or corrupted!\002)";
constexpr char kSolveNotPreserved[] =
    "(\002MA38CD: no iterative refinement: original matrix not preserved\002)";
constexpr char kSolvePartOnly[] = "(\002MA38CD: no iterative refinement: only for Ax=b or A'x=b\002)";

// ---- The second line of a message about one entry

constexpr char kEntry[] = "(\002row: \002,i12,\002col: \002,i12,\002value: \002,d11.4)";

}  // namespace texts
}  // namespace ma38
}  // namespace corvidnum
