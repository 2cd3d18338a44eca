#pragma once

// The matrices of LAPACK's test program for general systems, in the order and by the names of its input file
// (E. Anderson, J. Dongarra and S. Ostrouchov, LAPACK Working Note 41, 1992), made by code of our own. Nearly
// all have singular values from 1 to 1 / condition in a geometric series, between random orthogonal matrices.

#include "proof/ratios/real_matrix.h"

namespace ratios {

enum class Kind {
  kDiagonal,
  kUpperTriangular,
  kLowerTriangular,
  kRandom,
  kFirstColumnZero,
  kLastColumnZero,
  kLastHalfZero,
  kIllConditioned,
  kNearlySingular,
  kNearUnderflow,
  kNearOverflow,
};
constexpr int kKinds = 11;
extern const char* const kKindNames[kKinds];

/// Tells how the entries of a matrix lie. Diagonal and triangular matrices stay what they are, but for
/// `shuffled`.
enum class Shape {
  kFull,            // an entry everywhere
  kShuffledBand,    // two entries below the diagonal and one above; then rows and columns in random order
  kBand,            // the same in its order
  kBandWithBorder,  // the same in all but the last fifth of the rows and columns, which are full
};

constexpr int kBelow = 2, kAbove = 1;  // diagonals of a band beside the main one

/// Returns the rows and columns of the border of a matrix of this order.
int border(Shape shape, int order);

/// Returns the first of the columns that are zero, from 0; `order` if there is none.
int first_zero_column(Kind kind, int order);
/// Returns the rank that the kind implies.
int rank(Kind kind, int order);

/// Draws a matrix of a kind. In the shapes with a border or a band in order, rows and columns are ordered
/// by complete pivoting before the band is made: the bordered class does not interchange rows of the band
/// with those of the border, so the leading block must be as regular as the matrix allows.
Dense draw_matrix(Kind kind, Shape shape, int order, Random& random);

}  // namespace ratios
