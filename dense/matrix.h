#pragma once

/// @file
/// The interface of the dense matrices.

#include "frame/export.h"
#include "frame/host_memory.h"

/// Interface of a matrix that a host fills element by element and solves for one right-hand side at a time.
/// Row and column numbers are 0-based. The order of the virtual operations is part of the contract.
/// All operations are safe on an object whose memory was refused (`Valid()` is 0).
class CORVIDNUM_API Matrix : public HostAllocated {
 public:
  /// What an operation reports.
  enum ErrorCode : int {
    MatrixOK = 0,      ///< done
    MatrixFailed = 1,  ///< singular, illegal argument or missing memory; the results have no meaning
  };

  Matrix(const Matrix&) = delete;
  Matrix& operator=(const Matrix&) = delete;

  /// Frees the elements.
  virtual ~Matrix();

  /// Returns 1, or 0 once an allocation for the object has failed.
  virtual unsigned char Valid() const;

  /// Factorises in place and solves A x = b. The elements hold the factors afterwards.
  /// @param x    out: the solution, one value for each row
  /// @param b    the right-hand side, one value for each row; whether it is kept depends on the class
  /// @param info whether and how it is written depends on the class
  virtual ErrorCode Solve(double* x, double* b, int& info) = 0;

  /// Sets every element to 0.
  virtual void ZeroElements() = 0;

  /// Returns the address of the element that `operator()` refers to; never null.
  virtual double* Address(int row, int col) = 0;

  /// Returns a reference to the element. Outside the matrix it refers to a scratch double that all objects of
  /// the class share, so a write there does not reach the matrix and no error is reported.
  virtual double& operator()(int row, int col) = 0;

 protected:
  /// Makes a matrix that is valid as yet.
  Matrix();

  unsigned char valid;  ///< what Valid() returns
};
