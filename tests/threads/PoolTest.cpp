// Pooled objects that one thread makes and another frees.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "kb/common/Pool.h"

namespace {

// An object that is filled with a mark of its own; another object in the same memory would change it.
struct TMarked {
  unsigned char* memory;
  size_t size;
  unsigned char mark;
};

TMarked Make(std::mt19937& random) {
  constexpr std::array<size_t, 4> kSizes{16, 40, 48, 256};
  TMarked object{nullptr, kSizes[random() % kSizes.size()], static_cast<unsigned char>(random())};
  object.memory = static_cast<unsigned char*>(kb::PoolAllocate(object.size));
  std::memset(object.memory, object.mark, object.size);
  return object;
}

bool Free(const TMarked& object) {
  bool whole = true;
  for (size_t i = 0; i < object.size; ++i) whole = whole && object.memory[i] == object.mark;
  kb::PoolFree(object.memory, object.size);
  return whole;
}

TEST(Pool, ObjectsKeepTheirMemoryWhicheverThreadFreesThem) {
  std::mutex mutex;
  std::vector<TMarked> passed;
  std::array<size_t, 4> faults{};
  const auto work = [&](size_t number) {
    std::mt19937 random(static_cast<unsigned>(number));
    std::vector<TMarked> own;
    for (int round = 0; round < 60; ++round) {
      for (int i = 0; i < 3000; ++i) own.push_back(Make(random));
      std::shuffle(own.begin(), own.end(), random);
      {
        const std::lock_guard lock(mutex);
        own.swap(passed);
      }
      for (const TMarked& object : own) faults[number] += Free(object) ? 0 : 1;
      own.clear();
    }
  };
  // Two waves: the second finds what ended threads have left.
  for (int wave = 0; wave < 2; ++wave) {
    std::vector<std::thread> threads;
    for (size_t i = 0; i < faults.size(); ++i) threads.emplace_back(work, i);
    for (std::thread& thread : threads) thread.join();
  }
  for (const TMarked& object : passed) EXPECT_TRUE(Free(object));
  for (const size_t count : faults) EXPECT_EQ(count, 0U);
}

}  // namespace
