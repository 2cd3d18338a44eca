// The allocator, on malloc, with counts of its blocks and failures on request. A head with the size precedes
// each block:
//
//   [ head: bytes, counted | block ... ]     both aligned for every type
//
// A request for 0 bytes gets a block of its own, so that null always means that memory was refused.
//
// Each thread adds to counts of its own (of 64, which further threads share), and a question is answered by
// their sum. With one set of counts for all, threads that solve many small systems side by side would wait
// for its cache line at each block. All counts are atomic with relaxed order: their sum is exact while no
// thread allocates, but what is read while others do may mix different moments.

#include "host/memory.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "host/corvid_host.h"
#include "host/platform.h"

namespace corvid_host {
namespace {

struct alignas(std::max_align_t) BlockHead {
  std::size_t bytes;
  bool counted;
};

// The allocators of the sanitizers end the process at a larger request, where they should refuse it.
constexpr std::size_t kMostBytes = (std::size_t{1} << 40) - sizeof(BlockHead);

std::atomic<std::size_t> most_bytes{kMostBytes};

constexpr std::int64_t kAnyLiveBytes = INT64_MAX;
std::atomic<std::int64_t> most_live_bytes{kAnyLiveBytes};

/// Two cache lines, because processors fetch them in pairs.
constexpr std::size_t kApart = 128;

/// Is added to by one thread, or by few.
struct alignas(kApart) Counts {
  std::atomic<std::int64_t> live_blocks{0};  // negative where other threads have allocated what these free
  std::atomic<std::int64_t> live_bytes{0};   // likewise
  std::atomic<std::int64_t> total_allocations{0};
};
constexpr unsigned kSets = 64;
Counts counts[kSets];

std::atomic<std::int64_t> refused_allocations{0};

// The peak needs the sum at each block, so it is kept only from the first ResetPeakBytes on.
std::atomic<bool> peak_is_kept{false};
std::atomic<std::int64_t> peak_bytes{0};

Counts& counts_of_thread() { return counts[thread_number() % kSets]; }

std::int64_t sum_of(std::atomic<std::int64_t> Counts::*count) {
  std::int64_t sum = 0;
  for (const Counts& set : counts) sum += (set.*count).load(std::memory_order_relaxed);
  return sum;
}

enum class Failing { kNone, kOnce, kFromThere };
std::atomic<Failing> failing{Failing::kNone};
std::atomic<std::int64_t> requests_to_failure{0};

/// Counts down to a requested failure, if there is one; returns whether this request has to fail.
bool failure_is_due() {
  const Failing mode = failing.load(std::memory_order_acquire);
  if (mode == Failing::kNone || memory_is_own()) return false;
  const std::int64_t left = requests_to_failure.fetch_sub(1, std::memory_order_relaxed);
  return mode == Failing::kOnce ? left == 1 : left <= 1;
}

bool is_too_large(std::size_t bytes) {
  return bytes > kMostBytes || (bytes > most_bytes.load(std::memory_order_relaxed) && !memory_is_own());
}

/// Returns whether a request exceeds the limit of live bytes; a block that shrinks never does.
/// @param added bytes that the request adds to the live ones
bool are_too_many(std::int64_t added) {
  const std::int64_t most = most_live_bytes.load(std::memory_order_relaxed);
  return most != kAnyLiveBytes && added > 0 && added > most - sum_of(&Counts::live_bytes) && !memory_is_own();
}

void raise_peak() {
  const std::int64_t now = sum_of(&Counts::live_bytes);
  std::int64_t peak = peak_bytes.load(std::memory_order_relaxed);
  while (peak < now && !peak_bytes.compare_exchange_weak(peak, now, std::memory_order_relaxed)) {
  }
}

void count_live(Counts& set, std::int64_t blocks, std::int64_t bytes) {
  set.live_blocks.fetch_add(blocks, std::memory_order_relaxed);
  set.live_bytes.fetch_add(bytes, std::memory_order_relaxed);
  if (peak_is_kept.load(std::memory_order_relaxed)) raise_peak();
}

BlockHead* head_of(void* block) { return static_cast<BlockHead*>(block) - 1; }

void* refuse() {
  count_refusal();
  return nullptr;
}

using Obtain = void* (*)(BlockHead* old, std::size_t bytes);
void* obtain_plain(BlockHead* old, std::size_t bytes) { return std::realloc(old, bytes); }
void* obtain_zeroed(BlockHead*, std::size_t bytes) { return std::calloc(1, bytes); }

/// Allocates a block, or changes the size of `old` if that is not null. If the result is null, `old` is
/// unchanged.
void* serve(BlockHead* old, std::size_t bytes, Obtain obtain) {
  if (failure_is_due() || is_too_large(bytes)) return refuse();
  const BlockHead before = old ? *old : BlockHead{0, !memory_is_own()};
  const std::int64_t added = static_cast<std::int64_t>(bytes) - static_cast<std::int64_t>(before.bytes);
  if (are_too_many(added)) return refuse();
  BlockHead* const head = static_cast<BlockHead*>(obtain(old, sizeof(BlockHead) + bytes));
  if (!head) return refuse();
  *head = {bytes, before.counted};
  if (head->counted) {
    Counts& set = counts_of_thread();
    set.total_allocations.fetch_add(1, std::memory_order_relaxed);
    count_live(set, old ? 0 : 1, added);
  }
  return head + 1;
}

void give_back(void* block) {
  if (!block) return;
  BlockHead* const head = head_of(block);
  if (head->counted) count_live(counts_of_thread(), -1, -static_cast<std::int64_t>(head->bytes));
  std::free(head);
}

void fail(Failing mode, std::int64_t n) {
  requests_to_failure.store(n, std::memory_order_relaxed);
  failing.store(mode, std::memory_order_release);
}

}  // namespace

void count_refusal() { refused_allocations.fetch_add(1, std::memory_order_relaxed); }

OwnMemory::OwnMemory() : nested_(memory_is_own()) { set_memory_is_own(true); }
OwnMemory::~OwnMemory() { set_memory_is_own(nested_); }

std::int64_t LiveBlocks() { return sum_of(&Counts::live_blocks); }
std::int64_t LiveBytes() { return sum_of(&Counts::live_bytes); }
std::int64_t TotalAllocations() { return sum_of(&Counts::total_allocations); }
std::int64_t RefusedAllocations() { return refused_allocations; }
std::int64_t PeakBytes() { return peak_bytes; }
void ResetPeakBytes() {
  peak_bytes = LiveBytes();
  peak_is_kept = true;
}

void FailAllocation(std::int64_t n) { fail(Failing::kOnce, n); }
void FailAllocationsFrom(std::int64_t n) { fail(Failing::kFromThere, n); }
void StopFailing() { fail(Failing::kNone, 0); }

void LimitBlockBytes(std::size_t bytes) {
  most_bytes = bytes == 0 || bytes > kMostBytes ? kMostBytes : bytes;
}

void LimitLiveBytes(std::int64_t bytes) { most_live_bytes = bytes <= 0 ? kAnyLiveBytes : bytes; }

}  // namespace corvid_host

using namespace corvid_host;

void* Corvid_malloc(std::size_t bytes) { return serve(nullptr, bytes, obtain_plain); }
void* Corvid_new(std::size_t bytes) { return Corvid_malloc(bytes); }
void Corvid_free(void* block) { give_back(block); }
void Corvid_delete(void* block) { give_back(block); }

void* Corvid_calloc(std::size_t count, std::size_t bytes) {
  std::size_t product;
  if (__builtin_mul_overflow(count, bytes, &product)) product = SIZE_MAX;  // is always refused
  return serve(nullptr, product, obtain_zeroed);
}

void* Corvid_realloc(void* block, std::size_t bytes) {
  return serve(block ? head_of(block) : nullptr, bytes, obtain_plain);
}

char* Corvid_strdup(const char* text) {
  if (!text) return nullptr;
  const std::size_t bytes = std::strlen(text) + 1;
  void* const copy = Corvid_malloc(bytes);
  return copy ? static_cast<char*>(std::memcpy(copy, text, bytes)) : nullptr;
}

std::size_t Corvid__msize(void* block) { return block ? head_of(block)->bytes : 0; }
