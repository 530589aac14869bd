#include "kb/common/Pool.h"

#include <array>
#include <cstdint>
#include <mutex>
#include <utility>
#include <vector>

namespace kb {

#if defined(KB_POOLS_OFF)

void* PoolAllocate(size_t size) { return ::operator new(size); }
void PoolFree(void* memory, size_t /*size*/) noexcept { ::operator delete(memory); }
size_t PoolFreeBytes() noexcept { return 0; }

#else

namespace {

constexpr size_t kGrain = 8;
constexpr size_t kClasses = kMaxPooled / kGrain;
constexpr size_t kSlabBytes = size_t{64} * 1024;

struct FreeNode {
  FreeNode* next;
};

// Lists of ended threads and the slabs themselves. Never destroyed: objects of static storage may outlive it.
struct CommonStore {
  std::mutex mutex;
  std::array<std::vector<FreeNode*>, kClasses> lists;
  std::vector<void*> slabs;
};

CommonStore& Store() {
  static auto* store = new CommonStore;  // reachable to the end of the process by design
  return *store;
}

thread_local std::array<FreeNode*, kClasses> freeLists{};

// Hands the free lists of an ending thread to the common store, whole: they may be long.
struct ThreadEnd {
  bool armed = false;
  ~ThreadEnd() {
    if (!armed) return;
    CommonStore& store = Store();
    const std::lock_guard lock(store.mutex);
    try {
      for (size_t i = 0; i < kClasses; ++i) {
        if (freeLists[i] != nullptr) store.lists[i].push_back(std::exchange(freeLists[i], nullptr));
      }
    } catch (const std::bad_alloc&) {
      // The memory is not used again: nobody is left to tell.
    }
  }
};

thread_local ThreadEnd threadEnd;

FreeNode* Refill(size_t index) {
  threadEnd.armed = true;
  CommonStore& store = Store();
  const size_t bytes = (index + 1) * kGrain;
  {
    const std::lock_guard lock(store.mutex);
    if (auto& lists = store.lists[index]; !lists.empty()) {
      FreeNode* list = lists.back();
      lists.pop_back();
      return list;
    }
    store.slabs.reserve(store.slabs.size() + 1);
  }
  void* slab = ::operator new(kSlabBytes);
  {
    const std::lock_guard lock(store.mutex);
    store.slabs.push_back(slab);
  }
  auto* base = static_cast<unsigned char*>(slab);
  FreeNode* list = nullptr;
  // Linked so that addresses are handed out in rising order.
  for (size_t i = kSlabBytes / bytes; i > 0; --i) {
    auto* node = reinterpret_cast<FreeNode*>(base + (i - 1) * bytes);
    node->next = list;
    list = node;
  }
  return list;
}

}  // namespace

void* PoolAllocate(size_t size) {
  if (size == 0 || size > kMaxPooled) return ::operator new(size);
  const size_t index = (size - 1) / kGrain;
  FreeNode* node = freeLists[index];
  if (node == nullptr) node = Refill(index);
  freeLists[index] = node->next;
  return node;
}

size_t PoolFreeBytes() noexcept {
  size_t bytes = 0;
  for (size_t i = 0; i < kClasses; ++i) {
    for (const FreeNode* node = freeLists[i]; node != nullptr; node = node->next) bytes += (i + 1) * kGrain;
  }
  return bytes;
}

void PoolFree(void* memory, size_t size) noexcept {
  if (memory == nullptr) return;
  if (size == 0 || size > kMaxPooled) {
    ::operator delete(memory);
    return;
  }
  const size_t index = (size - 1) / kGrain;
  auto* node = static_cast<FreeNode*>(memory);
  node->next = freeLists[index];
  freeLists[index] = node;
}

#endif

}  // namespace kb
