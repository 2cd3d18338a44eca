// Status and messages of the multifrontal solver, by the print protocol, which is silent.

#include "sparse/ma38/report/messages.h"
#include "frame/numeric_runtime.h"
#include "sparse/ma38/report/texts.h"

namespace corvidnum {
namespace ma38 {
namespace {

enum Holds { kNothing, kCount, kNegatedCount, kAnEntry };
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
    {kFactor, kBadOrder, kAny, kNothing, texts::kFactorOrder},
    {kFactor, kBadEntryCount, kAny, kNothing, texts::kFactorEntryCount},
    {kFactor, kIndexTooShort, kAny, kCount, texts::kFactorIndex},
    {kFactor, kValueTooShort, kAny, kCount, texts::kFactorValue},
    {kFactor, kInvalidEntries, kAny, kCount, texts::kFactorInvalid},
    {kFactor, kDuplicateEntries, kAny, kCount, texts::kFactorDuplicates},
    {kFactor, kSingular, kAny, kCount, texts::kFactorSingular},
    {kFactor, kEntryOutOfRange, kAny, kAnEntry, texts::kFactorOutOfRange},
    {kFactor, kEntryRepeated, kAny, kAnEntry, texts::kFactorRepeated},
    {kRefactor, kBadOrder, kAny, kNothing, texts::kRefactorOrder},
    {kRefactor, kBadEntryCount, kDetailNegative, kNothing, texts::kRefactorEntryCount},
    {kRefactor, kBadEntryCount, kDetailNotNegative, kCount, texts::kRefactorOverlap},
    {kRefactor, kIndexTooShort, kAny, kCount, texts::kRefactorIndex},
    {kRefactor, kValueTooShort, kAny, kCount, texts::kRefactorValue},
    {kRefactor, kPivotOrderFailed, kAny, kNothing, texts::kRefactorPivots},
    {kRefactor, kCorrupted, kAny, kNothing, texts::kRefactorCorrupted},
    {kRefactor, kInvalidEntries, kDetailAboveZero, kCount, texts::kRefactorInvalid},
    {kRefactor, kInvalidEntries, kDetailNotAboveZero, kNegatedCount, texts::kRefactorForeign},
    {kRefactor, kDuplicateEntries, kAny, kCount, texts::kRefactorDuplicates},
    {kRefactor, kSingular, kAny, kCount, texts::kRefactorSingular},
    {kRefactor, kEntryOutOfRange, kAny, kAnEntry, texts::kRefactorOutOfRange},
    {kRefactor, kEntryRepeated, kAny, kAnEntry, texts::kRefactorRepeated},
    {kRefactor, kEntryOutsidePattern, kAny, kAnEntry, texts::kRefactorOutsidePattern},
    {kRefactor, kEntryBelowBlocks, kAny, kAnEntry, texts::kRefactorBelowBlocks},
    {kRefactor, kEntryOfDeadPart, kAny, kAnEntry, texts::kRefactorDeadPart},
    {kSolve, kCorrupted, kAny, kNothing, texts::kSolveCorrupted},
    {kSolve, kNoRefinement, kDetailZero, kNothing, texts::kSolveNotPreserved},
    {kSolve, kNoRefinement, kDetailNotZero, kNothing, texts::kSolvePartOnly},
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
  const OneBased<const int> controls(icntl, kIcntlLength);
  if (controls(kPrintLevel) >= 3) ma38_report(who, code, row, column, value, controls(kErrorUnit));
}

void ma38_set_info(Who who, const int* icntl, int& status, int code, int detail) {
  const OneBased<const int> controls(icntl, kIcntlLength);
  if (code < 0) {
    const bool both = (status == kIndexTooShort && code == kValueTooShort) ||
                      (status == kValueTooShort && code == kIndexTooShort);
    status = both ? int{kBothTooShort} : code;
  } else if (code > 0 && status >= 0 && (status / code) % 2 == 0) {
    status += code;  // codes of warnings are bits
  }
  const int level = controls(kPrintLevel);
  if ((code < 0 && level >= 1) || (code > 0 && level >= 2))
    ma38_report(who, code, detail, 0, 0.0, controls(kErrorUnit));
}

}  // namespace ma38
}  // namespace corvidnum
