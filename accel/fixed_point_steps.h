#pragma once

#include "accel/dom_eigen_accel.h"
#include "accel/fixed_point_parts.h"
#include "accel/mul_dom_eigen_accel.h"
#include "accel/vectors.h"

namespace corvidnum {

/// The inner state of an accelerator, for those who steer several of them.
template <class Base>
class Watched : public Base {
 public:
  using Base::Base;

  bool complete() const { return this->previous && this->work && this->correction; }

  /// Offers a vector. @return whether `candidate` received an extrapolated one; else it is the same
  bool offer(const double* x, double* candidate) {
    copy(this->numVar, x, candidate);
    since_before_ = this->sinceAccel;
    due_ = this->iter + 1 >= this->startIteration && this->sinceAccel + 1 >= this->maxAccelFrequency;
    return this->Accelerate(candidate) != 0;
  }
  /// Returns whether the last offer was one on which a step is tried.
  bool was_due() const { return due_; }
  /// Tells that the host goes on from x, to which a step has led.
  void go_on_from_step(const double* x) { this->PerformedAcceleration(x); }
  /// Tells that the host goes on from x, the vector of the last offer, though a candidate was made of it.
  void withdraw(const double* x) {
    copy(this->numVar, x, this->previous);
    this->sinceAccel = since_before_ + 1;
  }
  /// Begins anew; the next vector offered is the first. UndoAndReset alone would measure the next difference
  /// from the vector that was undone.
  /// @param scratch [numVar] overwritten
  void begin_anew(double* scratch) {
    this->UndoAndReset(scratch);
    this->Reset();
  }

 protected:
  template <class Visitor>
  void each_common_part(Visitor& visit) {
    visit_object(visit, this->iter);
    visit_object(visit, this->current);
    visit_object(visit, this->sinceAccel);
    visit_object(visit, this->workHoldsInput);
    visit_array(visit, this->work, this->numVar);
    visit_array(visit, this->previous, this->numVar);
    visit_array(visit, this->correction, this->numVar);
    for (int i = 0; i < this->nHistory; ++i) visit_array(visit, this->history[i], this->numVar);
  }

 private:
  int since_before_ = 0;
  bool due_ = false;
};

class DominantSteps : public Watched<DomEigenAccel> {
 public:
  /// @param beyond_one whether eigenvalues above 0.999 are trusted
  DominantSteps(int n, int least_between, bool beyond_one);
  bool complete() const { return Watched::complete() && oldProject; }
  /// Returns which part of the newest difference one eigenvalue does not explain.
  double misfit() const;

  template <class Visitor>
  void each_part(Visitor& visit) {
    each_common_part(visit);
    visit_object(visit, lambda);
    visit_object(visit, oldLambda);
    visit_array(visit, oldProject, numVar);
  }
};

class MultipleSteps : public Watched<MulDomEigenAccel> {
 public:
  /// @param least_between 0: eigenvalues + 3
  MultipleSteps(int n, int eigenvalues, int least_between);
  bool complete() const { return Watched::complete() && oldProjects && gram && rhs && pivots; }
  int eigenvalues() const { return nEigen; }

  template <class Visitor>
  void each_part(Visitor& visit) {
    each_common_part(visit);
    visit_array(visit, oldProjects, std::int64_t{nEigen} * numVar);
  }
};

}  // namespace corvidnum
