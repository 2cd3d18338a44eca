#pragma once

// Objects in the integers of the store: rows, columns, and elements that wait for their assembly.

#include "sparse/ma38/report/results.h"

namespace corvidnum {
namespace ma38 {

/// Numbers the words of a column object, which stands in INDEX at cp(column). The element of a dense column
/// has the same form: its word 1 is the number of its entries, word 5 is 1, word 8 is the column in the
/// block, and its row indices begin at word 9.
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
  kOwned = 6,      // original entries in use; 0: its reals are a hole
  kFirstLink = 7,  // both links are free for other use while the column is in no degree list
  kSecondLink = 8,
  kDenseColumn = 8,
  kColumnTuples = 9
};
/// Word 7 of a column that is in no degree list has one of two other uses.
constexpr ColumnWord kNextCandidate = kFirstLink;  // of a pivot search: the candidate examined before
constexpr ColumnWord kColumnMark = kFirstLink;     // of a column of the front: whether to scan its tuples
constexpr Index kColumnHeader = 9;
constexpr int kGone = -1;  // word 1 of an object that is garbage

/// Gives the length of the header of a row object, which stands at rp(row): | length | degree | tuples:
/// element and offset in its L list | room | columns | rt(row) tuples and ro(row) original columns are in
/// use.
constexpr Index kRowHeader = 2;

/// Numbers the words of the object of a contribution block that waits for its assembly. It stands at
/// rp(element), and its lists are those of its LU element.
///   | LU element | leading dimension | values | next | prev | live columns | live rows |
/// When it has been assembled, word 0 is its length, 7, word 1 is kGone and word 6 is 0.
enum ContributionWord { kLuElement = 0, kLeading = 1, kLiveColumns = 5, kLiveRows = 6 };
constexpr Index kContributionWords = 7;

}  // namespace ma38
}  // namespace corvidnum
