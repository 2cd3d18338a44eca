#pragma once

namespace corvidnum {

/// The largest order of small_eigenvalues.
constexpr int kMostEigenvaluesSeen = 10;

/// Eigenvalues of a small matrix, the largest magnitude first.
struct SmallSpectrum {
  int count = 0;
  double real[kMostEigenvaluesSeen], imaginary[kMostEigenvaluesSeen];
};

/// Computes all eigenvalues of a general real matrix.
/// @param order 0 .. kMostEigenvaluesSeen
/// @param a     [order][kMostEigenvaluesSeen] by rows; destroyed
/// @return false, with an empty spectrum, if an element is not finite or the iteration does not converge
bool small_eigenvalues(int order, double (*a)[kMostEigenvaluesSeen], SmallSpectrum& spectrum);

}  // namespace corvidnum
