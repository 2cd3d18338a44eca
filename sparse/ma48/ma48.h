#pragma once

/// @file
/// A class that drives the ma48 routines for systems of one pattern.

#include "frame/export.h"
#include "frame/host_memory.h"
#include "sparse/ma48/ma48_codes.h"

/// Loads a matrix; implemented by the host.
class CORVIDNUM_API ma48callback {
 public:
  /// Writes the entries of the matrix as coordinates.
  /// @param rows, cols [ne] out: indices from 1
  /// @param values     [ne] out
  /// @param ne         entries
  /// @return 1, or 0 if it fails
  virtual unsigned char LoadMatrix(int* rows, int* cols, double* values, int ne) = 0;

 protected:
  ~ma48callback() = default;  ///< never deleted through this interface
};

/// Solves sparse unsymmetric square systems again and again with the same pattern. The object owns the arrays
/// that the routines of ma48_routines.h need, and asks the host to load the matrix anew whenever they are too
/// short. Indices of rows and columns count from 1; flags are 1 for true and 0 for false.
///
/// On large matrices without much structure, whose factors fill in, Solve gives up after 10 loads of the
/// matrix: each time the arrays turn out too short they only grow to what the step that failed asks for. Pass
/// a larger `minLa` (or call SetLa) there.
///
/// Where memory is refused an operation gives 0; the object stays usable, and the next Solve may succeed. One
/// thread at a time uses an object; separate objects may be used by separate threads.
class CORVIDNUM_API ma48 : public HostAllocated {
 public:
  /// Takes the sizes and what the arrays hold at first; allocates.
  /// @param n        order
  /// @param ne       entries
  /// @param rows, cols, values [ne] what RowPtr(), ColPtr() and Values() hold at first; copied; may be null
  /// @param callback loads the matrix at every analysis; stays the caller's
  /// @param minLa    least length of the arrays of entries, which is at least 4 ne. Raise it for large
  ///                 matrices that fill in: the first Solve grows the arrays 9 times at most, then fails
  ma48(int n, int ne, const int* rows, const int* cols, const double* values, ma48callback* callback,
       int minLa);
  /// Frees the arrays.
  ~ma48();
  /// Shares the arrays of `other` and abandons its own, which stay allocated: afterwards both objects own the
  /// same arrays, and the caller must see to it that they are freed once.
  ma48& operator=(const ma48& other);

  /// Returns the row indices, [GetLa()]; they belong to the object and stay until SetLa or a Solve replaces
  /// them.
  int* RowPtr() const;
  /// Returns the column indices, [GetLa()], which stay as RowPtr() does.
  int* ColPtr() const;
  /// Returns the values, [GetLa()], which stay as RowPtr() does. A Solve without a new pivot order takes the
  /// matrix from here, in the order of LoadMatrix.
  double* Values() const;
  /// Returns the number of entries.
  int NElements() const;
  /// Returns the order.
  int Size();
  /// Returns the length of the arrays of entries.
  int GetLa();
  /// Returns element `i` of the analysis, counted from 0; EmptyValue where there is none.
  int Keep(int i);

  /// Sets CNTL(1), the density, see ma48id_.
  void SetControl1(double value);
  /// Sets CNTL(2), the threshold of the pivot test.
  void SetControl2(double value);
  /// Sets CNTL(3), the drop tolerance.
  void SetControl3(double value);
  /// Sets CNTL(4), the magnitude that a pivot must exceed.
  void SetControl4(double value);
  /// Sets CNTL(5), the refinement factor.
  void SetControl5(double value);
  /// Makes the next Solve load and analyse the matrix first, as the first one does, if `need` is not 0.
  void SetNeedPivotOrder(unsigned char need);
  /// Sets what loads the matrix from now on; it stays the caller's.
  void SetCallBack(ma48callback* callback);

  /// Sets the length of the arrays of entries and loads the matrix into them. A new pivot order is then
  /// needed.
  /// @return 0: less than NElements(), no entries, refused memory, or LoadMatrix failed
  unsigned char SetLa(int newLa);
  /// Does the same with a length that grows: newLa, or one NElements() more if that is not above GetLa().
  unsigned char SetLa2(int newLa);

  /// Tells whether the analysis held fits another matrix.
  /// @param rows, cols [ne] its indices; of the columns nothing is read
  /// @param ne, n      its entries and order
  /// @param check      1: compare the rows of all entries too; else the sizes answer alone
  unsigned char IsReusable(const int* rows, const int* cols, int ne, int n, unsigned char check);

  /// Solves A x = rhs.
  /// @param rhs [Size()] left unchanged
  /// @param x   [Size()] out
  /// @return 0: failed; one line of the trace says why, unless the callback or an argument is null
  unsigned char Solve(double* rhs, double* x);
  /// Solves with several right-hand sides.
  /// @param count   number of right-hand sides
  /// @param vectors [count] right-hand sides of Size() numbers each; out: the solutions
  /// @param flags   [count] 1: solve with this one
  /// @param mode    0: analyse if needed, factorise, solve; 1: without solving; 2: solve with the factors of
  ///                an earlier call
  /// @param scratch [Size()] work; null: allocated here. If given with `count` 1, the solution is left here
  ///                and vectors[0] keeps the right-hand side
  /// @return 0: failed, as above; silently also if mode is another, if there are no vectors to solve with,
  ///         and in mode 2 behind a failed call, or if the memory for the solution is refused
  unsigned char Solve(unsigned int count, double** vectors, unsigned char* flags, int mode, double* scratch);

 private:
  ma48();  // neither is defined
  ma48(const ma48& other);

  CORVIDNUM_HIDDEN void AllocateMissing();
  CORVIDNUM_HIDDEN void ReplaceEntries(int newLa);
  CORVIDNUM_HIDDEN bool HasArrays() const;
  CORVIDNUM_HIDDEN bool Prepare();
  CORVIDNUM_HIDDEN bool AnalysisPhase();
  CORVIDNUM_HIDDEN bool FactorisePhase();
  CORVIDNUM_HIDDEN void Analyse();
  CORVIDNUM_HIDDEN void Factorise();
  CORVIDNUM_HIDDEN int GrownLength() const;
  CORVIDNUM_HIDDEN bool Grow();
  CORVIDNUM_HIDDEN bool SolveOne(double* rhs, double* x);
  CORVIDNUM_HIDDEN bool SolveFlagged(unsigned int count, double** vectors, const unsigned char* flags,
                                     double* solution, bool copyBack);
  CORVIDNUM_HIDDEN bool Fail(const char* key) const;

  int m;
  int n;
  int ne;
  int la;
  int job;  // of every routine: MA48_ANALYSE_FREELY, MA48_FACTOR_FREELY, MA48_SOLVE_ONLY
  unsigned char needPivotOrder;
  double cntl[MA48_CNTL_LENGTH];
  int icntl[MA48_ICNTL_LENGTH];
  int info[MA48_INFO_LENGTH];  // of the last routine
  int* irn;                    // [la]
  int* jcn;                    // [la]
  int* keep;                   // [ma48_keep_length(n, n)]
  int* iw;                     // [ma48_iw_length(n, n)]
  int status;                  // INFO(1) of the last routine
  double* a;                   // [la]
  double* w;                   // [ma48_w_length(n, n)]
  double rinfo;
  double error[MA48_ERROR_LENGTH];
  ma48callback* callback;
  unsigned char analysed;    // keep and jcn are those of the matrix held
  unsigned char factorised;  // so are the factors
};
