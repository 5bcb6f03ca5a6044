#include "base/page_memory.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <thread>
#include <utility>
#include <vector>

namespace morvane {
namespace {

constexpr size_t kSizes[] = {1, 4095, 65536, 65537, 12746752};

class PageLimit {
 public:
  explicit PageLimit(size_t bytes) { NxSetPageLimit(bytes); }
  ~PageLimit() { NxSetPageLimit(SIZE_MAX); }
};

TEST(PageMemory, StartsOnAMultipleOf64KiB) {
  std::vector<void*> all;
  for (int round = 0; round < 5; ++round) {
    for (const size_t bytes : kSizes) {
      all.push_back(NxAllocatePages(bytes));
      ASSERT_NE(all.back(), nullptr) << bytes;
      EXPECT_EQ(reinterpret_cast<uintptr_t>(all.back()) % 65536, 0u) << bytes;
    }
  }
  for (void* memory : all) NxFreePages(memory);
}

TEST(PageMemory, IsZeroAndWritableToItsLastByte) {
  for (const size_t bytes : kSizes) {
    auto* memory = static_cast<uint8_t*>(NxAllocatePages(bytes));
    ASSERT_NE(memory, nullptr);
    size_t nonZero = 0;
    for (size_t i = 0; i < bytes; ++i) nonZero += memory[i] != 0;
    EXPECT_EQ(nonZero, 0u) << bytes;
    memory[0] = 1;
    memory[bytes - 1] = 2;
    NxFreePages(memory);
  }
}

TEST(PageMemory, IsBackedBeforeItIsTouched) {
  constexpr size_t kPages = 1024;
  PageBuffer buffer;
  ASSERT_TRUE(buffer.Allocate(kPages * 4096));
  std::vector<unsigned char> resident(kPages);
  ASSERT_EQ(mincore(buffer.Data(), kPages * 4096, resident.data()), 0);
  size_t missing = 0;
  for (const unsigned char page : resident) missing += (page & 1) == 0;
  EXPECT_EQ(missing, 0u);
}

TEST(PageMemory, StopsAtTheLimitAndComesBackWhenFreed) {
  PageLimit limit(200000);
  void* first = NxAllocatePages(150000);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(NxAllocatePages(50001), nullptr);
  void* second = NxAllocatePages(50000);
  EXPECT_NE(second, nullptr);
  EXPECT_EQ(NxAllocatePages(1), nullptr);
  NxFreePages(first);
  first = NxAllocatePages(150000);
  EXPECT_NE(first, nullptr);
  NxFreePages(first);
  NxFreePages(second);
}

TEST(PageMemory, LimitBelowWhatIsOutRefuses) {
  void* memory = NxAllocatePages(100000);
  PageLimit limit(10);
  EXPECT_EQ(NxAllocatePages(1), nullptr);
  NxFreePages(memory);
  void* small = NxAllocatePages(10);
  EXPECT_NE(small, nullptr);
  NxFreePages(small);
}

TEST(PageMemory, RefusesWhatCannotBe) {
  EXPECT_EQ(NxAllocatePages(0), nullptr);
  EXPECT_EQ(NxAllocatePages(SIZE_MAX), nullptr);
  EXPECT_EQ(NxAllocatePages(SIZE_MAX - 65536), nullptr);
  EXPECT_EQ(NxAllocatePages(size_t{1} << 50), nullptr);
  NxFreePages(nullptr);
}

TEST(PageMemory, MayBeTakenOnManyThreads) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([] {
      for (int i = 0; i < 50; ++i) {
        PageBuffer buffer;
        ASSERT_TRUE(buffer.Allocate(70000));
        buffer.Data()[69999] = 1;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(PageBuffer, MovesItsMemoryAndFreesItOnce) {
  PageLimit limit(1000);
  PageBuffer first;
  ASSERT_TRUE(first.Allocate(1000));
  uint8_t* memory = first.Data();
  PageBuffer second(std::move(first));
  EXPECT_EQ(second.Data(), memory);
  EXPECT_EQ(first.Data(), nullptr);  // NOLINT: a moved-from buffer is empty
  EXPECT_EQ(first.Bytes(), 0u);
  first = std::move(second);
  EXPECT_EQ(first.Data(), memory);
  EXPECT_TRUE(first.Allocate(900));  // frees the 1000 first
  EXPECT_EQ(first.Bytes(), 900u);
  EXPECT_FALSE(first.Allocate(1001));
  EXPECT_EQ(first.Data(), nullptr);
  EXPECT_EQ(first.Bytes(), 0u);
}

}  // namespace
}  // namespace morvane
