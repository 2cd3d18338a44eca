#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "host/corvid_host.h"

namespace {

using namespace corvid_host;

class MemoryTest : public testing::Test {
 protected:
  void TearDown() override {
    StopFailing();
    EXPECT_EQ(LiveBlocks(), blocks_);
    EXPECT_EQ(LiveBytes(), bytes_);
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
  for (std::size_t which = 0; which < std::size(allocators); ++which) {
    for (const std::size_t bytes : {1, 7, 16, 25}) {
      SCOPED_TRACE(testing::Message() << "allocator " << which << ", bytes " << bytes);
      const auto total = TotalAllocations();
      void* const block = allocators[which](bytes);
      ASSERT_NE(block, nullptr);
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0u);
      EXPECT_EQ(Corvid__msize(block), bytes);
      EXPECT_EQ(LiveBlocks(), blocks_ + 1);
      EXPECT_EQ(LiveBytes(), bytes_ + static_cast<std::int64_t>(bytes));
      EXPECT_EQ(TotalAllocations(), total + 1);
      std::memset(block, 0xA5, bytes);
      which % 2 ? Corvid_free(block) : Corvid_delete(block);
    }
  }
}

TEST_F(MemoryTest, NullMeansRefusedAndNothingElse) {
  const struct {
    const char* what;
    void* (*request)();
    bool served;
  } requests[] = {
      {"new of 0", [] { return Corvid_new(0); }, true},
      {"calloc of none", [] { return Corvid_calloc(0, 8); }, true},
      {"realloc to 0", [] { return Corvid_realloc(Corvid_malloc(8), 0); }, true},
      {"size that overflows", [] { return Corvid_new(SIZE_MAX); }, false},
      {"size with the head overflows", [] { return Corvid_new(SIZE_MAX - 8); }, false},
      {"more than there is", [] { return Corvid_new(std::size_t{1} << 60); }, false},
      {"product that overflows", [] { return Corvid_calloc(SIZE_MAX / 4, 8); }, false},
      {"product that wraps to 16", [] { return Corvid_calloc((SIZE_MAX >> 4) + 2, 16); }, false},
  };
  for (const auto& r : requests) {
    SCOPED_TRACE(r.what);
    const auto refused = RefusedAllocations();
    void* const block = r.request();
    EXPECT_EQ(block != nullptr, r.served);
    EXPECT_EQ(RefusedAllocations(), refused + (r.served ? 0 : 1));
    EXPECT_EQ(LiveBlocks(), blocks_ + (r.served ? 1 : 0));
    Corvid_free(block);
  }
  Corvid_delete(nullptr);
  Corvid_free(nullptr);
  EXPECT_EQ(Corvid__msize(nullptr), 0u);
  EXPECT_EQ(Corvid_strdup(nullptr), nullptr);
}

TEST_F(MemoryTest, TheLimitRefusesLargerBlocksOnly) {
  LimitBlockBytes(64);
  char* const block = static_cast<char*>(Corvid_calloc(8, 8));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(Corvid_realloc(block, 65), nullptr);
  EXPECT_EQ(Corvid_new(65), nullptr);
  EXPECT_STREQ(FindString(std::string(100, 'k').c_str()).Characters(), std::string(100, 'k').c_str());
  LimitBlockBytes(0);
  void* const moved = Corvid_realloc(block, 65);
  EXPECT_NE(moved, nullptr);
  EXPECT_EQ(Corvid_new(SIZE_MAX), nullptr);
  Corvid_free(moved);
}

TEST_F(MemoryTest, CallocGivesZerosFromUsedMemoryToo) {
  void* const used = Corvid_malloc(4096);
  std::memset(used, 0xFF, 4096);
  Corvid_free(used);
  unsigned char* const zeros = static_cast<unsigned char*>(Corvid_calloc(64, 64));
  for (int i = 0; i < 4096; ++i) ASSERT_EQ(zeros[i], 0) << i;
  Corvid_free(zeros);
}

TEST_F(MemoryTest, ReallocKeepsWhatFitsAndTheOldBlockIfRefused) {
  char* block = Corvid_strdup("abcdefgh");
  for (const std::size_t bytes : {100000, 5}) {
    block = static_cast<char*>(Corvid_realloc(block, bytes));
    EXPECT_EQ(std::memcmp(block, "abcde", 5), 0);
    EXPECT_EQ(Corvid__msize(block), bytes);
    EXPECT_EQ(LiveBytes(), bytes_ + static_cast<std::int64_t>(bytes));
    EXPECT_EQ(LiveBlocks(), blocks_ + 1);
  }
  FailAllocation(1);
  EXPECT_EQ(Corvid_realloc(block, 50), nullptr);
  EXPECT_EQ(Corvid_realloc(block, SIZE_MAX), nullptr);
  EXPECT_EQ(Corvid__msize(block), 5u);
  EXPECT_EQ(std::memcmp(block, "abcde", 5), 0);
  Corvid_free(block);
}

TEST_F(MemoryTest, PeakIsTheMostThatLivedAtOnce) {
  ResetPeakBytes();
  void* const small = Corvid_new(10);
  Corvid_delete(Corvid_new(1000));
  Corvid_delete(Corvid_new(500));
  EXPECT_EQ(PeakBytes(), bytes_ + 1010);
  ResetPeakBytes();
  EXPECT_EQ(PeakBytes(), bytes_ + 10);
  Corvid_delete(small);
}

/// Which of six requests are served, as a word of + and -.
std::string six_requests() {
  std::string served;
  for (int i = 0; i < 6; ++i) {
    void* const block = i % 2 ? Corvid_calloc(2, 4) : Corvid_new(8);
    served += block ? '+' : '-';
    Corvid_delete(block);
  }
  return served;
}

TEST_F(MemoryTest, ChosenRequestsFail) {
  FailAllocation(3);
  EXPECT_EQ(six_requests(), "++-+++");
  FailAllocationsFrom(3);
  EXPECT_EQ(six_requests(), "++----");
  EXPECT_EQ(six_requests(), "------");
  FailAllocation(1);
  EXPECT_EQ(six_requests(), "-+++++");
  FailAllocation(7);
  EXPECT_EQ(six_requests(), "++++++");
  StopFailing();
  EXPECT_EQ(six_requests(), "++++++");
}

TEST_F(MemoryTest, CountsHoldUnderThreads) {
  constexpr int kThreads = 4, kRounds = 5000;
  const auto total = TotalAllocations();
  FailAllocation(kThreads * kRounds / 2);
  std::atomic<int> refused{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kRounds; ++i) {
        void* const block = Corvid_new(static_cast<std::size_t>(i % 64));
        if (!block) ++refused;
        Corvid_delete(block);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(refused, 1);
  EXPECT_EQ(TotalAllocations(), total + kThreads * kRounds - 1);
}

}  // namespace
