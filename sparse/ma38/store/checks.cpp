// Inspects an ObjectStore: one check for each of its invariants, in the order of their numbers, so that no
// check follows a pointer that an earlier one has not found sound. Reads the whole store; debug builds only
// call it between two steps of the kernel (front/checks.cpp).

#include "sparse/ma38/factors/layout.h"
#include "sparse/ma38/store/object_store.h"

namespace corvidnum {
namespace ma38 {

class StoreInspection {
 public:
  explicit StoreInspection(const ObjectStore& store)
      : s_(store), p_(store.pointers_), n_(store.n_), nd_(store.nd_) {}

  const char* run() {
    using Check = const char* (StoreInspection::*)();
    constexpr Check kChecks[] = {&StoreInspection::objects_fill_their_room,
                                 &StoreInspection::columns,
                                 &StoreInspection::rows,
                                 &StoreInspection::elements,
                                 &StoreInspection::memory_list,
                                 &StoreInspection::front,
                                 &StoreInspection::accounts};
    for (const Check check : kChecks) {
      if (const char* text = (this->*check)()) return text;
    }
    return nullptr;
  }

 private:
  bool is_object(Index at) const { return s_.objects_begin() <= at && at < s_.space_.ihead; }
  bool is_element(Index i) const { return s_.kind_of(i) == kContribution || s_.kind_of(i) == kDenseElement; }
  Index rows_of(Index e) const {
    return e > n_ ? s_.word(p_.rp(e), kDegree) : s_.word(s_.word(p_.rp(e), kLuElement), kElementL);
  }
  Index columns_of(Index e) const { return e > n_ ? 1 : s_.word(s_.word(p_.rp(e), kLuElement), kElementU); }

  // Invariants 1 and 2.
  const char* objects_fill_their_room() {
    Index used = 0;
    for (Index at = s_.objects_begin(), length; at < s_.space_.ihead; at += length) {
      const Index first = s_.word(at, kLength);
      length = first >= s_.space_.itail ? kContributionWords : first;  // word 0 of a block is its LU element
      if (length < kRowHeader || length > s_.space_.ihead - at) return "length of an object";
      if (s_.word(at, kDegree) != kGone) ++used;
    }
    Index pointed = 0;
    for (Index col = 1; col <= n_; ++col) {
      if (p_.cp(col) == 0) continue;
      if (!is_object(p_.cp(col))) return "column outside the store";
      ++pointed;
    }
    for (Index i = 1; i <= nd_; ++i) {
      if (s_.kind_of(i) == kNoObject) continue;
      if (!is_object(p_.rp(i))) return "row or element outside the store";
      ++pointed;
    }
    return used == pointed ? nullptr : "objects and pointers do not match";
  }

  // The contents of an object fit into it; what they need is summed for invariant 5.
  const char* columns() {
    for (Index col = 1; col <= n_; ++col) {
      const Index at = p_.cp(col);
      if (at == 0) continue;
      const Index needed = kColumnHeader + 2 * Index{s_.word(at, kTuples)} + s_.word(at, kOwned);
      if (s_.word(at, kLength) < needed) return "column too long for its object";
      ints_ += needed;
      if (s_.word(at, kOwned) > 0) count_owner(s_.word(at, kOwned));
    }
    return nullptr;
  }
  const char* rows() {
    for (Index row = 1; row <= n_; ++row) {
      if (s_.kind_of(row) != kRow) continue;
      const Index needed = kRowHeader + 2 * Index{p_.rt(row)} + p_.ro(row);
      if (s_.word(p_.rp(row), kLength) < needed) return "row too long for its object";
      ints_ += needed;
    }
    return nullptr;
  }
  const char* elements() {
    for (Index e = 1; e <= nd_; ++e) {
      if (!is_element(e)) continue;
      if (e <= n_ && s_.word(p_.rp(e), kLeading) < rows_of(e)) return "leading dimension of an element";
      ints_ += e > n_ ? kColumnHeader + rows_of(e) : kContributionWords;
      count_owner(rows_of(e) * columns_of(e));
    }
    return nullptr;
  }
  void count_owner(Index reals) {
    ++owners_;
    reals_ += reals;
  }

  // Invariant 3.
  const char* memory_list() {
    const MemoryList<OwnerWords>& list = s_.owners();
    if (const char* text = list.find_fault(s_.first_real(), s_.owners_end())) return text;
    Index filled = 0;
    for (Index at = list.first(); at != 0; at = s_.word(at, kNext)) {
      if (!is_object(at)) return "owner outside the store";
      if (!list.is_hole(at)) ++filled;
    }
    if (filled != owners_) return "owners and the memory list do not match";
    for (Index col = 1; col <= n_; ++col) {
      if (p_.cp(col) == 0 || s_.word(p_.cp(col), kOwned) == 0) continue;
      if (const char* text = owner(p_.cp(col), s_.word(p_.cp(col), kOwned))) return text;
    }
    for (Index e = 1; e <= nd_; ++e) {
      if (!is_element(e)) continue;
      const Index leading = e > n_ ? rows_of(e) : s_.word(p_.rp(e), kLeading);
      if (const char* text = owner(p_.rp(e), leading * (columns_of(e) - 1) + rows_of(e))) return text;
    }
    return nullptr;
  }
  const char* owner(Index at, Index reals) const {
    const Index next = s_.word(at, kNext), previous = s_.word(at, kPrevious);
    if ((next != 0 ? s_.word(next, kPrevious) : s_.owners().last()) != at ||
        (previous != 0 ? s_.word(previous, kNext) : s_.owners().first()) != at) {
      return "owner not in the memory list";
    }
    return reals <= s_.owners().extent(at, s_.owners_end()) ? nullptr : "owner over its neighbour";
  }

  // Invariant 4.
  const char* front() {
    if (s_.front_ == 0) return s_.front_reals_ == 0 ? nullptr : "reals of no front";
    return s_.front_ + s_.front_reals_ == s_.space_.xhead ? nullptr : "front not at the head";
  }

  // Invariant 5.
  const char* accounts() {
    const Space& space = s_.space_;
    if (!space.consistent()) return "ends of the arrays";
    ints_ += s_.elsewhere().ints + (space.ints.size() - space.itail + 1);
    reals_ += s_.elsewhere().reals + s_.front_reals_ + (space.reals.size() - space.xtail + 1);
    if (ints_ != space.ineed) return "words in use of the integers";
    return reals_ == space.xneed ? nullptr : "words in use of the reals";
  }

  const ObjectStore& s_;
  const ObjectStore::Pointers& p_;
  const Index n_, nd_;
  Wide ints_ = 0, reals_ = 0;  // what the objects need
  Index owners_ = 0;
};

const char* ObjectStore::find_fault() const { return StoreInspection(*this).run(); }

}  // namespace ma38
}  // namespace corvidnum
