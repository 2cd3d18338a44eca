#pragma once

// Statuses in INFO(1) and the messages that belong to them, which go through the print protocol of frame/ and
// are silent in this library.

#include "sparse/ma38/report/results.h"

namespace corvidnum {
namespace ma38 {

/// The routine that runs.
enum Who { kFactor = 1, kRefactor = 2, kSolve = 3 };

/// Codes of the messages about single entries. The contract fixes their numbers.
enum Detail {
  kEntryOutOfRange = 99,      // its row or column is not in 1..n
  kEntryRepeated = 98,        // summed with an earlier entry
  kEntryOutsidePattern = 97,  // no front of the pattern has both its row and its column
  kEntryBelowBlocks = 96,     // below the diagonal blocks
  kEntryOfDeadPart = 95       // in a row and a column without a pivot: the earlier matrix was singular
};

/// Issues the message of a code, if `unit` is not negative. Its places are filled with details 1 and 2 and
/// the value.
void ma38_report(Who who, int code, int detail1, int detail2, double value, int unit);
/// Issues the message about an entry that is dropped, if ICNTL(3) is at least 3.
void report_dropped(Who who, const int* icntl, Detail code, int row, int column, double value);
/// Sets the status and issues its message: an error replaces what was there, except that two shortages make
/// -5; a warning is added once, and only where there is no error.
void ma38_set_info(Who who, const int* icntl, int& status, int code, int detail);

}  // namespace ma38
}  // namespace corvidnum
