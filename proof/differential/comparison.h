#pragma once

// What the families share: notes of the first difference, and numbers drawn at random.

#include <cmath>
#include <cstdint>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace differential {

/// Draws the same numbers from the same seed with every standard library.
class Draw {
 public:
  explicit Draw(std::uint64_t seed) : random_(static_cast<std::uint32_t>(seed ^ (seed >> 32))) {}
  /// 0 .. limit - 1
  int below(int limit) { return static_cast<int>(random_() % static_cast<std::uint32_t>(limit)); }
  bool one_in(int count) { return below(count) == 0; }
  /// -1 .. 1
  double uniform() { return static_cast<double>(random_()) / 2147483648.0 - 1.0; }
  /// Brings the elements from `first` on into a random order.
  template <class Element>
  void shuffle(std::vector<Element>& list, int first) {
    for (int k = static_cast<int>(list.size()) - 1; k > first; --k)
      std::swap(list[k], list[first + below(k - first + 1)]);
  }

 private:
  std::mt19937 random_;
};

/// Keeps the first difference, in words.
class Comparison {
 public:
  const std::string& text() const { return text_; }
  bool agrees() const { return text_.empty(); }
  void note(const std::string& what) {
    if (agrees()) text_ = context_ + what;
  }
  /// Prefixes what is noted from now on.
  void within(const std::string& context) { context_ = context.empty() ? context : context + ": "; }
  template <class Found, class Wanted>
  void equal(const std::string& what, Found found, Wanted wanted) {
    if (same(found, wanted)) return;
    std::ostringstream out;
    out.precision(17);
    out << what << " is " << found << ", in the model " << wanted;
    note(out.str());
  }
  /// Compares element `begin` to `end` - 1, which both have.
  template <class Found, class Wanted>
  void all_equal(const char* what, const Found& found, const Wanted& wanted, std::size_t begin,
                 std::size_t end) {
    for (std::size_t k = begin; k < end && agrees(); ++k)
      if (!same(found[k], wanted[k])) equal(what + ('(' + std::to_string(k) + ')'), found[k], wanted[k]);
  }

 private:
  static bool same(double x, double y) { return x == y || (std::isnan(x) && std::isnan(y)); }
  static bool same(int x, int y) { return x == y; }

  std::string text_, context_;
};

}  // namespace differential
