#pragma once

#include "frame/export.h"
#include "frame/host_memory.h"

/// A square or rectangular matrix that a host fills element by element and solves for one right-hand side.
/// Row and column numbers are 0-based. The order of the virtual operations is part of the contract.
/// No operation needs a healthy object: on one with `Valid()` 0 all are harmless.
class CORVIDNUM_API Matrix : public HostAllocated {
 public:
  /// What an operation reports.
  enum ErrorCode : int {
    MatrixOK = 0,
    MatrixFailed = 1,  // a singular factor or an illegal argument; the results have no meaning
  };

  Matrix(const Matrix&) = delete;
  Matrix& operator=(const Matrix&) = delete;

  virtual ~Matrix();

  /// 0 once an allocation for the object has failed, else 1.
  virtual unsigned char Valid() const;

  /// Factorises in place and solves A x = b. The elements hold the factors afterwards.
  /// @param x    out: the solution; one value for each row
  /// @param b    the right-hand side; the class tells whether it survives
  /// @param info the class tells whether it is written
  virtual ErrorCode Solve(double* x, double* b, int& info) = 0;

  /// Sets every element to 0.
  virtual void ZeroElements() = 0;

  /// The address that `operator()` refers to; never null.
  virtual double* Address(int row, int col) = 0;

  /// The element. Never fails: outside the matrix it is a scratch double that is shared by all objects of
  /// the class, so a write there is lost for the matrix.
  virtual double& operator()(int row, int col) = 0;

 protected:
  Matrix();

  unsigned char valid;
};
