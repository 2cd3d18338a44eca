#pragma once

#include "accel/fixed_point_parts.h"
#include "accel/small_eigenvalues.h"

namespace corvidnum {

/// The newest points and their outcomes, and the eigenvalues of the iteration that they show.
class PairSpectrum {
 public:
  PairSpectrum() = default;
  PairSpectrum(const PairSpectrum&) = delete;
  PairSpectrum& operator=(const PairSpectrum&) = delete;
  ~PairSpectrum();

  /// @return false if memory is refused
  bool allocate(int n);
  /// Forgets all pairs.
  void begin();
  /// Takes in a pair, and estimates anew.
  /// @param point, outcome [n], scaled
  void note(const double* point, const double* outcome);

  const SmallSpectrum& eigenvalues() const { return state_.eigenvalues; }
  /// Returns the largest magnitude of an eigenvalue; -1 if none is known.
  double radius() const;
  /// Returns which part of the newest outcome's change the older pairs do not explain, 0 to about 1; 1 if
  /// there is nothing to compare with.
  double unexplained() const { return state_.unexplained; }

  template <class Visitor>
  void each_part(Visitor& visit) {
    visit_object(visit, state_);
    visit_array(visit, points_, std::int64_t{kPairs} * n_);
    visit_array(visit, outcomes_, std::int64_t{kPairs} * n_);
  }

 private:
  static constexpr int kPairs = kMostEigenvaluesSeen + 1;

  double* row(double* rows, int i) const { return rows + std::int64_t{i} * n_; }
  int place(int age) const;
  bool take_differences(int newer, int older);
  void orthogonalise();
  void normalise();
  void add_older();
  void add_newest();
  void project();

  int n_ = 0;
  struct State {
    int count;   // of pairs
    int newest;  // place of the newest pair
    double unexplained;
    SmallSpectrum eigenvalues;
  } state_ = {};
  int directions_ = 0;
  double* points_ = nullptr;           // [kPairs x n]
  double* outcomes_ = nullptr;         // [kPairs x n]
  double* directions_rows_ = nullptr;  // [kPairs x n] orthonormal; the one behind the last is being made
  double* images_rows_ = nullptr;      // [kPairs x n] what the iteration makes of each
};

}  // namespace corvidnum
