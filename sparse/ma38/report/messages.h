#pragma once

// Statuses and the messages that tell them.

#include "sparse/ma38/report/results.h"

namespace corvidnum {
namespace ma38 {

enum Who { kFactor = 1, kRefactor = 2, kSolve = 3 };
/// Codes of the lines that tell single entries.
enum Detail {
  kEntryOutOfRange = 99,
  kEntryRepeated = 98,
  kEntryOutsidePattern = 97,
  kEntryBelowBlocks = 96,
  kEntryOfDeadPart = 95
};

void ma38_report(Who who, int code, int detail1, int detail2, double value, int unit);
/// Tells an entry that is dropped, if the print level asks for that.
void report_dropped(Who who, const int* icntl, Detail code, int row, int column, double value);
/// Sets INFO(1) and issues the message.
void ma38_set_info(Who who, const int* icntl, int& status, int code, int detail);

}  // namespace ma38
}  // namespace corvidnum
