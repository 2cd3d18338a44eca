#pragma once

// Formats of the argument dumps, by the print protocol, which is silent: the byte 0x02 stands on both sides
// of each literal, the rest holds the places of values.

namespace corvidnum {
namespace ma38 {
namespace print_texts {

/// By who (1, 2, 3) and whether at output.
constexpr const char* kHeading[3][2] = {{"(\002MA38AD input:\002)", "(\002MA38AD output:\002)"},
                                        {"(\002MA38BD input:\002)", "(\002MA38BD output:\002)"},
                                        {"(\002MA38CD input:\002)", "(\002MA38CD output:\002)"}};
constexpr const char* kEnd[3][2] = {{"(\002end of MA38AD input\002)", "(\002end of MA38AD output\002)"},
                                    {"(\002end of MA38BD input\002)", "(\002end of MA38BD output\002)"},
                                    {"(\002end of MA38CD input\002)", "(\002end of MA38CD output\002)"}};
constexpr char kMore[] = "(\002...\002)";

// ---- Scalar arguments

constexpr char kScalars[] = "(\002Scalar arguments:\002)";
constexpr char kOrder[] = "(\002N:\002,i12,\002: order of matrix A\002)";
constexpr char kEntryCount[] = "(\002NE:\002,i12,\002: entries in matrix A\002)";
constexpr char kJobPreserved[] = "(\002JOB:\002,i12,\002: matrix A preserved\002)";
constexpr char kJobNotPreserved[] = "(\002JOB:\002,i12,\002: matrix A not preserved\002)";
constexpr char kFactoriseTransposed[] = "(\002TRANSA:          .true. : factorize A transpose\002)";
constexpr char kFactorisePlain[] = "(\002TRANSA:         .false. : factorize A\002)";
/// By TRANSC, for JOB = 1 and JOB = 2.
constexpr const char* kJobLower[2] = {"(\002JOB:\002,i12,\002: solve P'Lx=b\002)",
                                      "(\002JOB:\002,i12,\002: solve L'Px=b\002)"};
constexpr const char* kJobUpper[2] = {"(\002JOB:\002,i12,\002: solve UQ'x=b\002)",
                                      "(\002JOB:\002,i12,\002: solve QU'x=b\002)"};
/// By TRANSC and by whether the transpose was factorised.
constexpr const char* kJobSolve[2][2] = {
    {"(\002JOB:\002,i12,\002: solve Ax=b (PAQ=LU was factorized)\002)",
     "(\002JOB:\002,i12,\002: solve A'x=b (PA'Q=LU was factorized)\002)"},
    {"(\002JOB:\002,i12,\002: solve A'x=b (PAQ=LU was factorized)\002)",
     "(\002JOB:\002,i12,\002: solve Ax=b (PA'Q=LU was factorized)\002)"}};
constexpr char kSolveTransposed[] = "(\002TRANSC:          .true. : see JOB above\002)";
constexpr char kSolvePlain[] = "(\002TRANSC:         .false. : see JOB above\002)";
constexpr char kValueLength[] = "(\002LVALUE:\002,i12,\002: size of VALUE array\002)";
constexpr char kIndexLength[] = "(\002LINDEX:\002,i12,\002: size of INDEX array\002)";

// ---- Controls

constexpr char kControls[] = "(\002Control parameters, normally initialized by MA38ID:\002)";
constexpr char kErrorUnitLine[] =
    "(\002ICNTL (1):\002,i12,\002: I/O unit for error and warning messages\002)";
constexpr char kDumpUnitLine[] = "(\002ICNTL (2):\002,i12,\002: I/O unit for diagnostics\002)";
constexpr char kLevelLine[] = "(\002ICNTL (3):\002,i12,\002: printing control\002)";
constexpr char kBlocksUsed[] = "(\002ICNTL (4):\002,i12,\002: use block triangular form (BTF)\002)";
constexpr char kBlocksUnused[] =
    "(\002ICNTL (4):\002,i12,\002: do not permute to block triangular form (BTF)\002)";
constexpr char kSearchLine[] = "(\002ICNTL (5):\002,i12,\002: columns examined during pivot search\002)";
constexpr char kSymmetryPreserved[] = "(\002ICNTL (6):\002,i12,\002: preserve symmetry\002)";
constexpr char kSymmetryIgnored[] = "(\002ICNTL (6):\002,i12,\002: do not preserve symmetry\002)";
constexpr char kBlockSizeLine[] = "(\002ICNTL (7):\002,i12,\002: block size for dense matrix multiply\002)";
constexpr char kRefinementLine[] =
    "(\002ICNTL (8):\002,i12,\002: maximum number of iterative refinement steps\002)";
constexpr char kToleranceLine[] = "(\002CNTL (1):\002,1pd12.4,\002: relative pivot tolerance\002)";
constexpr char kGrowthLine[] = "(\002CNTL (2):\002,1pd12.4,\002: frontal matrix growth factor\002)";
constexpr char kDense1Line[] = "(\002KEEP (7):\002,i12,\002: dense row/col control, d1\002)";
constexpr char kDense2Line[] = "(\002KEEP (8):\002,i12,\002: dense row/col control, d2\002)";
constexpr char kEpsilonLine[] = "(\002CNTL (3):\002,1pd12.4,\002: machine epsilon\002)";

// ---- Results

constexpr char kResults[] = "(\002Output information:\002)";
constexpr char kStatusError[] = "(\002INFO (1):\002,i12,\002: error occurred!\002)";
constexpr char kStatusWarning[] = "(\002INFO (1):\002,i12,\002: warning occurred\002)";
constexpr char kStatusFine[] = "(\002INFO (1):\002,i12,\002: no error or warning occurred\002)";
constexpr char kInfoLine[] = "(\002INFO (\002,i2,\002):\002,i12,\002: \002,a)";
constexpr char kRinfoLine[] = "(\002RINFO (\002,i1,\002):\002,1pd12.4,\002: \002,a)";
/// Of INFO(2) to INFO(24).
constexpr const char* kInfoLabels[] = {"duplicate entries in A",
                                       "invalid entries in A (indices not in 1..N)",
                                       "invalid entries in A (not in prior pattern)",
                                       "entries in A after summing duplicates and removing invalid entries",
                                       "entries in diagonal blocks of A",
                                       "entries in off-diagonal blocks of A",
                                       "1-by-1 diagonal blocks in A",
                                       "diagonal blocks in A (>1 only if BTF used)",
                                       "entries below diagonal in L",
                                       "entries above diagonal in U",
                                       "entries in L + U + offdiagonal blocks of A",
                                       "frontal matrices",
                                       "integer garbage collections",
                                       "real garbage collections",
                                       "diagonal pivots chosen",
                                       "numerically valid pivots found in A",
                                       "memory used in INDEX",
                                       "minimum memory needed in INDEX",
                                       "memory used in VALUE",
                                       "minimum memory needed in VALUE",
                                       "memory needed in INDEX for next call to MA38BD",
                                       "memory needed in VALUE for next call to MA38BD",
                                       "steps of iterative refinement taken"};
/// Of RINFO(1) to RINFO(8).
constexpr const char* kRinfoLabels[] = {"total BLAS flop count",        "assembly flop count",
                                        "pivot search flop count",      "Level-1 BLAS flop count",
                                        "Level-2 BLAS flop count",      "Level-3 BLAS flop count",
                                        "sparse error estimate omega1", "sparse error estimate omega2"};

// ---- The matrix that comes in

constexpr char kMatrix[] = "(\002The input matrix A:\002)";
constexpr char kMatrixTransposed[] = "(\002The input matrix A transpose:\002)";
constexpr char kMatrixValues[] = "(\002VALUE (1 ...\002,i12,\002): numerical values\002)";
constexpr char kMatrixRows[] = "(\002INDEX (1 ...\002,i12,\002): row indices\002)";
constexpr char kMatrixColumns[] = "(\002INDEX (\002,i12,\002...\002,i12,\002): column indices\002)";
/// Stands for a matrix that is not transposed too.
constexpr char kMatrixEntries[] = "(\002Input matrix A transpose (entry: row, column, value):\002)";
constexpr char kTriplet[] = "(i12,\002:\002,2i12,1pd12.4)";

// ---- Where the factors are

constexpr char kFactorsSkipped[] = "(\002LU factors not printed because of error flag, INFO (1) =\002,i12)";
constexpr char kFactorsCorrupted[] = "(\002LU factors uncomputed or corrupted!\002)";
constexpr char kLocationForRefactor[] =
    "(\002KEEP (4...5) gives the location of LU factors\002/"
    "\002which must be preserved for calls to MA38BD:\002)";
constexpr char kLocationForSolve[] =
    "(\002KEEP (1...5) gives the location of LU factors\002/"
    "\002which must be preserved for calls to MA38CD:\002)";
constexpr char kLocationInValue[] = "(\002VALUE ( KEEP (1):\002,i12,\002... KEEP (2):\002,i12,\002)\002)";
constexpr char kLocationInIndex[] = "(\002INDEX ( KEEP (3):\002,i12,\002... KEEP (5):\002,i12,\002)\002)";
constexpr char kAndForRefactor[] = "(\002and for calls to MA38BD:\002)";
constexpr char kPatternInIndex[] = "(\002INDEX ( KEEP (4):\002,i12,\002... KEEP (5):\002,i12,\002)\002)";

// ---- Layout of the factors

constexpr char kLayoutOfPattern[] = "(\002Layout of LU factors in INDEX:\002)";
constexpr char kLayout[] = "(\002Layout of LU factors in VALUE and INDEX:\002)";
constexpr char kIndexRange[] = "(\002INDEX (\002,i12,\002... \002,i12,\002): \002,a)";
constexpr char kValueRange[] = "(\002VALUE (\002,i12,\002... \002,i12,\002): \002,a)";
constexpr char kLayoutCopy[] = "(\002preserved copy of original matrix:\002)";
constexpr char kLayoutNoCopy[] = "(\002original matrix not preserved.\002)";
constexpr char kLayoutElements[] = "(\002collection of elements in LU factors:\002)";
constexpr char kLayoutBlocks[] = "(\002matrix permuted to upper block triangular form.\002)";
constexpr char kLayoutOffDiagonal[] = "(\002entries not in diagonal blocks:\002)";
constexpr char kLayoutBlockElements[] = "(\002collection of elements in LU factors of diagonal blocks:\002)";
constexpr char kLayoutBlockData[] = "(\002other block triangular data:\002)";
/// They start 2*N+6 below KEEP(5); the wording stays.
constexpr char kLayoutPermutations[] = "(\002permutation vectors (start at KEEP(4)-2*N-6):\002)";
constexpr char kLayoutScalars[] = "(\002other data in INDEX:\002)";
constexpr char kScalarAt[] = "(\002INDEX (\002,i12,\002): \002,i12,\002 \002,a)";

// ---- Contents of the factors

constexpr char kNone[] = "(\002(none)\002)";
constexpr char kCopy[] =
    "(\002Preserved copy of original matrix (stored by column),\002/"
    "\002one entry per line (row index, value):\002)";
constexpr char kOffDiagonal[] =
    "(\002Entries not in diagonal blocks (stored by row):\002/"
    "\002one entry per line (column index, value):\002)";
constexpr char kColumnLine[] = "(\002column:\002,i12)";
constexpr char kRowLine[] = "(\002row:\002,i12)";
constexpr char kPatternContents[] = "(\002Nonzero pattern of prior LU factors:\002)";
constexpr char kFactorContents[] = "(\002LU factors:\002)";
constexpr char kBlock[] = "(\002Block:\002,i12,\002 first index:\002,i12,\002 last index:\002,i12)";
constexpr char kSingleton[] = "(\002(singleton) at index :\002,i12)";
constexpr char kSingletonValue[] =
    "(\002(singleton) at index :\002,i12,\002 value:\002,1pd12.4,\002 located in VALUE (\002,i12,\002)\002)";
constexpr char kBlockFigures[] =
    "(\002elements:\002,i12,\002 pivots:\002,i12/\002largest contribution block:\002,i12,\002 by\002,i12)";
constexpr char kBlockInIndex[] = "(\002located in INDEX (\002,i12,\002... \002,i12,\002)\002)";
constexpr char kBlockInValue[] = "(\002and in VALUE (\002,i12,\002... \002,i12,\002)\002)";
constexpr char kElement[] =
    "(\002e:\002,i12,\002 pivots:\002,i12,\002 children in dag:\002,i12,\002 frontal matrix:\002,i12,"
    "\002 by\002,i12)";
constexpr char kLowerColumn[] = "(\002L, col:\002,i12)";
constexpr char kUpperRow[] = "(\002U, row:\002,i12)";
constexpr char kIndexAndValue[] = "(i12,1pd12.4)";
constexpr char kIndexAlone[] = "(i12)";
/// By the kind of child.
constexpr const char* kChild[3] = {"(\002LUson:\002,i12)", "(\002Uson:\002,i12)", "(\002Lson:\002,i12)"};
constexpr char kColumnPermutations[] = "(\002Column permutations\002)";
constexpr char kRowPermutations[] = "(\002Row permutations\002)";

// ---- Right-hand side, solution, work

constexpr char kRightHandSide[] = "(\002B (1 ...\002,i12,\002), right-hand side:\002)";
constexpr char kWorkSkipped[] = "(\002W (1 ...\002,i12,\002), work vector: not printed\002)";
constexpr char kSolutionSkipped[] =
    "(\002W (1 ...\002,i12,\002), work vector, and\002/\002X (1 ...\002,i12,\002), solution,\002/"
    "\002not printed because of error flag, INFO (1) =\002,i12)";
constexpr char kResidual[] = "(\002W (1 ...\002,i12,\002), residual:\002)";
constexpr char kRestOfWork[] = "(\002W (\002,i12,\002...\002,i12,\002), work vector: not printed\002)";
constexpr char kSolution[] = "(\002X (1 ...\002,i12,\002), solution:\002)";
constexpr char kNumberedValue[] = "(i12,\002:\002,1pd12.4)";

}  // namespace print_texts
}  // namespace ma38
}  // namespace corvidnum
