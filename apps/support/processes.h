#pragma once

// The processes that mpirun or srun has started together, the ranks. Without MPI, or where nothing has
// started several, there is one.

#include <cstdint>
#include <exception>
#include <optional>
#include <vector>

namespace apps {

class Processes {
 public:
  /// Joins the other processes if mpirun or srun has started several.
  Processes(int& argc, char**& argv);
  ~Processes();
  Processes(const Processes&) = delete;
  Processes& operator=(const Processes&) = delete;

  int rank() const { return rank_; }
  int size() const { return size_; }
  /// Returns how many processors this rank may use, divided among the ranks of the machine that may use the
  /// same ones; at least 1. Nothing if it was not started by mpirun or srun.
  std::optional<int> processors() const { return processors_; }

  /// Silences the streams of C++ at all ranks but the first, which alone tells what is wrong with options.
  void let_first_speak() const;

  /// Starts MPI for a process that stands alone, too: libraries that are written for several need it.
  void start_alone();

  // These are called by all ranks.

  /// Returns the lowest rank that says it has failed; size() if none does.
  int lowest_failed(bool failed) const;
  /// Returns the number that rank 0 gives.
  std::int64_t from_first(std::int64_t number) const;
  double from_first(double number) const;
  /// Gives all ranks the values of rank 0, in vectors of one length.
  void spread(std::vector<double>& values) const;
  /// Returns the sum over the ranks, to all of them.
  std::int64_t sum(std::int64_t number) const;
  /// Adds the vectors of all ranks, of one length, up in that of rank 0. Those of the others are unchanged.
  void add_up(std::vector<double>& values) const;

  /// Ends all ranks at once, after a failure of this one.
  [[noreturn]] void abort(int code) const;

 private:
  int rank_ = 0, size_ = 1;
  std::optional<int> processors_;
  bool started_ = false;
};

/// Tells all ranks whether the options of each are good. A rank whose options are not could not end by
/// itself: MPI would have it wait for the others, which wait for it. All ranks call it.
/// @return whether those of all ranks are
bool agree_on_options(const Processes& ranks, bool good);

/// Runs, at all ranks, what may fail at any of them.
/// @return whether all have succeeded
/// @throws what `action` throws, at the lowest rank where it does: one line tells it
template <class Action>
bool together(const Processes& ranks, Action action) {
  std::exception_ptr failure;
  try {
    action();
  } catch (...) {
    failure = std::current_exception();
  }
  const int failed = ranks.lowest_failed(failure != nullptr);
  if (failure && failed == ranks.rank()) std::rethrow_exception(failure);
  return failed == ranks.size();
}

}  // namespace apps
