// Sets statuses and issues messages.
//
//   ma38_set_info()   merges a code into INFO(1): an error replaces what was there, -3 and -4 join to -5, and
//                     a warning, which is a power of 2, is added unless it is in the sum or an error stands
//                     there; then issues its message if ICNTL(3) is at least 1 (errors) or 2 (warnings);
//   report_dropped()  issues the message about one entry, if ICNTL(3) is at least 3;
//   ma38_report()     finds the message in one table by routine, code and detail, and writes it by the print
//                     protocol of frame/, which is silent.
// The first row of the table that suits wins.

#include "sparse/ma38/report/messages.h"
#include "frame/numeric_runtime.h"
#include "sparse/ma38/report/texts.h"

namespace corvidnum {
namespace ma38 {
namespace {

/// What the places of a message are filled with.
enum Holds { kNothing, kCount, kNegatedCount, kAnEntry };
/// The values of the detail that a message is for, where one code has two messages.
enum For {
  kAny,
  kDetailNegative,
  kDetailNotNegative,
  kDetailAboveZero,
  kDetailNotAboveZero,
  kDetailZero,
  kDetailNotZero
};

struct Message {
  Who who;
  int code;
  For detail;
  Holds holds;
  const char* format;
};

constexpr Message kMessages[] = {
    {kFactor, MA38_STATUS_BAD_ORDER, kAny, kNothing, texts::kFactorOrder},
    {kFactor, MA38_STATUS_BAD_ENTRY_COUNT, kAny, kNothing, texts::kFactorEntryCount},
    {kFactor, MA38_STATUS_INDEX_TOO_SHORT, kAny, kCount, texts::kFactorIndex},
    {kFactor, MA38_STATUS_VALUE_TOO_SHORT, kAny, kCount, texts::kFactorValue},
    {kFactor, MA38_WARNING_ENTRIES, kAny, kCount, texts::kFactorInvalid},
    {kFactor, MA38_WARNING_DUPLICATES, kAny, kCount, texts::kFactorDuplicates},
    {kFactor, MA38_WARNING_SINGULAR, kAny, kCount, texts::kFactorSingular},
    {kFactor, kEntryOutOfRange, kAny, kAnEntry, texts::kFactorOutOfRange},
    {kFactor, kEntryRepeated, kAny, kAnEntry, texts::kFactorRepeated},
    {kRefactor, MA38_STATUS_BAD_ORDER, kAny, kNothing, texts::kRefactorOrder},
    {kRefactor, MA38_STATUS_BAD_ENTRY_COUNT, kDetailNegative, kNothing, texts::kRefactorEntryCount},
    {kRefactor, MA38_STATUS_BAD_ENTRY_COUNT, kDetailNotNegative, kCount, texts::kRefactorOverlap},
    {kRefactor, MA38_STATUS_INDEX_TOO_SHORT, kAny, kCount, texts::kRefactorIndex},
    {kRefactor, MA38_STATUS_VALUE_TOO_SHORT, kAny, kCount, texts::kRefactorValue},
    {kRefactor, MA38_STATUS_PIVOT_ORDER_FAILED, kAny, kNothing, texts::kRefactorPivots},
    {kRefactor, MA38_STATUS_CORRUPTED, kAny, kNothing, texts::kRefactorCorrupted},
    {kRefactor, MA38_WARNING_ENTRIES, kDetailAboveZero, kCount, texts::kRefactorInvalid},
    {kRefactor, MA38_WARNING_ENTRIES, kDetailNotAboveZero, kNegatedCount, texts::kRefactorForeign},
    {kRefactor, MA38_WARNING_DUPLICATES, kAny, kCount, texts::kRefactorDuplicates},
    {kRefactor, MA38_WARNING_SINGULAR, kAny, kCount, texts::kRefactorSingular},
    {kRefactor, kEntryOutOfRange, kAny, kAnEntry, texts::kRefactorOutOfRange},
    {kRefactor, kEntryRepeated, kAny, kAnEntry, texts::kRefactorRepeated},
    {kRefactor, kEntryOutsidePattern, kAny, kAnEntry, texts::kRefactorOutsidePattern},
    {kRefactor, kEntryBelowBlocks, kAny, kAnEntry, texts::kRefactorBelowBlocks},
    {kRefactor, kEntryOfDeadPart, kAny, kAnEntry, texts::kRefactorDeadPart},
    {kSolve, MA38_STATUS_CORRUPTED, kAny, kNothing, texts::kSolveCorrupted},
    {kSolve, MA38_WARNING_NO_REFINEMENT, kDetailZero, kNothing, texts::kSolveNotPreserved},
    {kSolve, MA38_WARNING_NO_REFINEMENT, kDetailNotZero, kNothing, texts::kSolvePartOnly},
};

bool suits(For choice, int detail) {
  switch (choice) {
    case kDetailNegative:
      return detail < 0;
    case kDetailNotNegative:
      return detail >= 0;
    case kDetailAboveZero:
      return detail > 0;
    case kDetailNotAboveZero:
      return detail <= 0;
    case kDetailZero:
      return detail == 0;
    case kDetailNotZero:
      return detail != 0;
    case kAny:
      break;
  }
  return true;
}

const Message* find_message(Who who, int code, int detail) {
  for (const Message& message : kMessages) {
    if (message.who == who && message.code == code && suits(message.detail, detail)) return &message;
  }
  return nullptr;
}

template <class T>
void item(const T& value) {
  const int one = 1;
  write_item(&one, &value, static_cast<int>(sizeof value));
}

}  // namespace

void ma38_report(Who who, int code, int detail1, int detail2, double value, int unit) {
  if (unit < 0) return;
  const Message* const message = find_message(who, code, detail1);
  if (!message) return;
  const PrintControl line{0, unit, 0, message->format, 0};
  write_begin(&line);
  if (message->holds == kCount) item(detail1);
  if (message->holds == kNegatedCount) item(-Wide{detail1});
  write_end();
  if (message->holds != kAnEntry) return;
  const PrintControl second{0, unit, 0, texts::kEntry, 0};
  write_begin(&second);
  item(detail1);
  item(detail2);
  item(value);
  write_end();
}

void report_dropped(Who who, const int* icntl, Detail code, int row, int column, double value) {
  const OneBased<const int> controls(icntl, MA38_ICNTL_LENGTH);
  if (controls(MA38_ICNTL_PRINT_LEVEL) >= 3)
    ma38_report(who, code, row, column, value, controls(MA38_ICNTL_ERROR_UNIT));
}

void ma38_set_info(Who who, const int* icntl, int& status, int code, int detail) {
  const OneBased<const int> controls(icntl, MA38_ICNTL_LENGTH);
  if (code < 0) {
    const bool both = (status == MA38_STATUS_INDEX_TOO_SHORT && code == MA38_STATUS_VALUE_TOO_SHORT) ||
                      (status == MA38_STATUS_VALUE_TOO_SHORT && code == MA38_STATUS_INDEX_TOO_SHORT);
    status = both ? int{MA38_STATUS_BOTH_TOO_SHORT} : code;
  } else if (code > 0 && status >= 0 && (status / code) % 2 == 0) {
    status += code;  // warnings are powers of 2, and this one is not in the sum yet
  }
  const int level = controls(MA38_ICNTL_PRINT_LEVEL);
  if ((code < 0 && level >= 1) || (code > 0 && level >= 2))
    ma38_report(who, code, detail, 0, 0.0, controls(MA38_ICNTL_ERROR_UNIT));
}

}  // namespace ma38
}  // namespace corvidnum
