#pragma once

#include "sparse/ma38/report/results.h"

namespace corvidnum {
namespace ma38 {

/// A column object in the integer space, at cp(column). A dense column's element has the same form; its word
/// 1 is the number of entries, word 5 is 1, word 8 the original column, and its row indices begin at word 9.
///   | length | degree | values | next | prev | tuples | entries | two links of the degree lists |
///   | tuples: pairs of element and offset of the column in its U list | room | rows of the entries |
/// Offsets in tuples count from 1.
/// Words 2, 3, 4, 6 are those of any owner of reals: the memory list runs through them.
enum ColumnWord {
  kLength = 0,
  kDegree = 1,
  kValues = 2,
  kNext = 3,
  kPrevious = 4,
  kTuples = 5,
  kOwned = 6,      // original entries; 0: its reals are a hole
  kFirstLink = 7,  // both are free for other use while the column is in no degree list
  kSecondLink = 8,
  kDenseColumn = 8,
  kColumnTuples = 9
};
constexpr Index kColumnHeader = 9;
constexpr int kColumnIsPivotal = -1;  // word 1 of what has gone

}  // namespace ma38
}  // namespace corvidnum
