#pragma once

// What a scenario of the runs with refused memory tells its driver.

#include <cstdint>
#include <string>
#include <vector>

#include "host/corvid_host.h"
#include "proof/support/digest.h"

namespace faults {

/// One run of a scenario. It has two parts: in the first one memory may be refused; after memory_is_back()
/// the scenario uses the same objects again, as far as the library's contract says that they are usable.
class Trial {
 public:
  /// Notes whether an operation of the first part said that it succeeded.
  /// @return `said`
  bool said(bool success) {
    if (!success) told_ = true;
    return success;
  }
  /// Notes that the contract lets the operations go on without the memory and without a word, so that other
  /// results than without a refusal are right.
  void may_differ() { told_ = true; }

  /// Notes a number that an operation computed which said that it succeeded.
  void result(double value) { digest_.add(value); }
  template <class List>
  void results(const List& values) {
    digest_.add_all(values);
  }

  /// Ends the first part.
  void memory_is_back() { corvid_host::StopFailing(); }

  /// Notes as a fault what must hold however memory is refused.
  void require(bool holds, const char* what) {
    if (!holds && complaint_.empty()) complaint_ = what;
  }

  bool told() const { return told_; }
  std::uint64_t digest() const { return digest_.value(); }
  const std::string& complaint() const { return complaint_; }

 private:
  bool told_ = false;
  proof::Digest digest_;
  std::string complaint_;
};

/// A run through a part of the library. All that it allocates of the host is freed when it returns.
struct Scenario {
  const char* name;  // room, and what is run
  void (*run)(Trial& trial);
  bool allocates = true;
};

std::vector<Scenario> dense_scenarios();
std::vector<Scenario> sparse_scenarios();
std::vector<Scenario> accelerator_scenarios();
std::vector<Scenario> table_scenarios();

}  // namespace faults
