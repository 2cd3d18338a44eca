#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

#include "host/corvid_host.h"

namespace {

using namespace corvid_host;

class MemoryTest : public testing::Test {
 protected:
  void TearDown() override {
    StopFailing();
    LimitLiveBytes(0);
    expect_live(0, 0);
  }
  /// What lives beyond the blocks of before the test.
  void expect_live(std::int64_t blocks, std::size_t bytes) const {
    EXPECT_EQ(LiveBlocks(), blocks_ + blocks);
    EXPECT_EQ(LiveBytes(), bytes_ + static_cast<std::int64_t>(bytes));
  }
  const std::int64_t blocks_ = LiveBlocks();
  const std::int64_t bytes_ = LiveBytes();
};

TEST_F(MemoryTest, EveryAllocatorServesAnAlignedCountedBlockOfItsSize) {
  static const char kText[] = "24 characters, with zero";
  void* (*const allocators[])(std::size_t) = {
      Corvid_new, Corvid_malloc, [](std::size_t bytes) { return Corvid_calloc(1, bytes); },
      [](std::size_t bytes) { return Corvid_realloc(nullptr, bytes); },
      [](std::size_t bytes) -> void* { return Corvid_strdup(kText + sizeof kText - bytes); }};
  for (const auto allocator : allocators) {
    for (const std::size_t bytes : {1, 7, 16, 25}) {
      void* const block = allocator(bytes);
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0u);
      EXPECT_EQ(Corvid__msize(block), bytes);
      expect_live(1, bytes);
      std::memset(block, 0xA5, bytes);
      bytes % 2 ? Corvid_free(block) : Corvid_delete(block);
    }
  }
}

TEST_F(MemoryTest, NullMeansRefusedAndNothingElse) {
  for (void* const block : {Corvid_new(0), Corvid_calloc(0, 8), Corvid_realloc(Corvid_malloc(8), 0)}) {
    EXPECT_NE(block, nullptr);
    Corvid_free(block);
  }
  EXPECT_EQ(Corvid_new(SIZE_MAX - 8), nullptr) << "with its head it overflows";
  EXPECT_EQ(Corvid_new(std::size_t{1} << 60), nullptr) << "more than there is";
  EXPECT_EQ(Corvid_calloc((SIZE_MAX >> 4) + 2, 16), nullptr) << "wraps to 16";
  Corvid_delete(nullptr);
  EXPECT_EQ(Corvid__msize(nullptr), 0u);
}

TEST_F(MemoryTest, LiveBytesStayBelowTheirLimit) {
  LimitLiveBytes(LiveBytes() + 100);
  void* block = std::memset(Corvid_new(60), 0xA5, 60);
  EXPECT_EQ(Corvid_new(41), nullptr);
  EXPECT_EQ(Corvid_realloc(block, 101), nullptr);
  EXPECT_EQ(Corvid__msize(block), 60u) << "the old one is kept";
  block = Corvid_realloc(block, 100);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(Corvid_calloc(1, 1), nullptr);
  EXPECT_NE(FindString("a key that nobody has filed yet").Length(), 0u) << "the host's own";
  LimitLiveBytes(LiveBytes() - 50);
  block = Corvid_realloc(block, 99);
  ASSERT_NE(block, nullptr) << "what shrinks is not too much";
  LimitLiveBytes(0);
  block = Corvid_realloc(block, 1000);
  EXPECT_EQ(Corvid__msize(block), 1000u);
  Corvid_free(block);
}

TEST_F(MemoryTest, OnlyTheChosenRequestFails) {
  FailAllocation(2);
  for (const bool served : {true, false, true}) {
    void* const block = Corvid_new(8);
    EXPECT_EQ(block != nullptr, served);
    Corvid_delete(block);
  }
  StopFailing();
}

TEST_F(MemoryTest, FromTheChosenRequestOnAllFailWhateverTheThread) {
  constexpr int kThreads = 4, kRounds = 50000, kServed = kThreads * kRounds / 2;
  FailAllocationsFrom(kServed + 1);
  std::atomic<int> served{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kRounds; ++i) {
        void* const block = Corvid_new(static_cast<std::size_t>(i % 64));
        if (block) ++served;
        Corvid_delete(block);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(served, kServed);
}

TEST_F(MemoryTest, CountsAreThoseOfAllThreadsTogether) {
  const std::int64_t allocations = TotalAllocations();
  ResetPeakBytes();
  std::vector<void*> blocks(100);
  for (std::size_t i = 0; i < blocks.size(); ++i) std::thread([&, i] { blocks[i] = Corvid_new(i); }).join();
  expect_live(100, 4950);
  EXPECT_EQ(TotalAllocations(), allocations + 100);
  LimitLiveBytes(LiveBytes() + 10);
  EXPECT_EQ(Corvid_new(11), nullptr);
  for (void* const block : blocks) Corvid_delete(block);
  expect_live(0, 0);
  EXPECT_EQ(PeakBytes(), bytes_ + 4950);
}

}  // namespace
