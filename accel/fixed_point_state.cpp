// Saves and restores a FixedPoint. A record is a header, then the parts of the object one after the other in
// the order in which each_part lists them:
//
//   mark | version | unknowns | method | eigenvalues | account length | bytes in all | checksum | parts
//
// The checksum runs over everything else in the record.

#include <cstdint>
#include <cstring>

#include "accel/fixed_point_core.h"
#include "frame/module.h"

namespace corvidnum {
namespace {

constexpr std::uint64_t kMark = 0x31544e494f505846;  // "FXPOINT1" in a file of a little-endian machine
constexpr std::int32_t kVersion = 2;

struct Header {
  std::uint64_t mark;
  std::int32_t version, unknowns, method, eigenvalues, account_length, zero;
  std::int64_t size;
  std::uint64_t checksum;
};

/// Continues the checksum FNV-1a over some bytes.
std::uint64_t fnv(std::uint64_t sum, const unsigned char* bytes, std::size_t count) {
  constexpr std::uint64_t kPrime = 1099511628211u;
  for (std::size_t i = 0; i < count; ++i) sum = (sum ^ bytes[i]) * kPrime;
  return sum;
}

std::uint64_t checksum(Header header, const void* record) {
  constexpr std::uint64_t kBasis = 14695981039346656037u;
  header.checksum = 0;
  const auto* const bytes = static_cast<const unsigned char*>(record);
  const std::uint64_t sum = fnv(kBasis, reinterpret_cast<const unsigned char*>(&header), sizeof header);
  return fnv(sum, bytes + sizeof header, static_cast<std::size_t>(header.size) - sizeof header);
}

struct Measure {
  std::int64_t bytes = 0;
  void operator()(void*, std::size_t count) { bytes += static_cast<std::int64_t>(count); }
};

struct Write {
  unsigned char* to;
  void operator()(void* part, std::size_t count) {
    std::memcpy(to, part, count);
    to += count;
  }
};

struct Read {
  const unsigned char* from;
  void operator()(void* part, std::size_t count) {
    std::memcpy(part, from, count);
    from += count;
  }
};

}  // namespace

template <class Visitor>
void FixedPointCore::each_part(Visitor& visit) {
  visit_object(visit, s_);
  scaling_.each_part(visit);
  spectrum_.each_part(visit);
  progress_.each_part(visit);
  if (one_) one_->each_part(visit);
  if (few_) few_->each_part(visit);
  if (many_) many_->each_part(visit);
  visit_array(visit, point_, n_);
  visit_array(visit, next_, n_);
  visit_array(visit, before_, n_);
  visit_array(visit, best_, n_);
  visit_array(visit, account_, account_length_);
}

std::int64_t FixedPointCore::state_size() {
  Measure measure;
  each_part(measure);
  return static_cast<std::int64_t>(sizeof(Header)) + measure.bytes;
}

void FixedPointCore::save(void* state) {
  Header header = {kMark, kVersion,     n_, static_cast<std::int32_t>(method_), eigenvalues_, account_length_,
                   0,     state_size(), 0};
  Write write{static_cast<unsigned char*>(state) + sizeof header};
  each_part(write);
  header.checksum = checksum(header, state);
  std::memcpy(state, &header, sizeof header);
}

bool FixedPointCore::restore(const void* state, std::int64_t size) {
  if (size < static_cast<std::int64_t>(sizeof(Header))) return false;
  Header header;
  std::memcpy(&header, state, sizeof header);
  const bool same_kind = header.mark == kMark && header.version == kVersion && header.unknowns == n_ &&
                         header.method == static_cast<std::int32_t>(method_) &&
                         header.eigenvalues == eigenvalues_ && header.account_length == account_length_ &&
                         header.size == size && size == state_size();
  if (!same_kind || header.checksum != checksum(header, state)) return false;
  Read read{static_cast<const unsigned char*>(state) + sizeof header};
  each_part(read);
  if (s_.verdict == FixedPointVerdict::PassLimit && s_.counts.passes < pass_limit_)
    s_.verdict = FixedPointVerdict::Continue;
  return true;
}

std::int64_t FixedPoint::StateSize() const {
  enter_library();
  return core && core->ready() ? core->state_size() : 0;
}

bool FixedPoint::Save(void* state, std::int64_t size) const {
  enter_library();
  const std::int64_t needed = StateSize();
  if (!state || needed == 0 || size < needed) return false;
  core->save(state);
  return true;
}

bool FixedPoint::Restore(const void* state, std::int64_t size) {
  enter_library();
  return state && StateSize() > 0 && core->restore(state, size);
}

}  // namespace corvidnum
