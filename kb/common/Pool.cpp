#include "kb/common/Pool.h"

#include <array>
#include <cstdint>
#include <mutex>
#include <vector>

namespace kb {

#if defined(KB_POOLS_OFF)

void* PoolAllocate(size_t size) { return ::operator new(size); }
void PoolFree(void* memory, size_t /*size*/) noexcept { ::operator delete(memory); }

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
  std::array<FreeNode*, kClasses> lists{};
  std::vector<void*> slabs;
};

CommonStore& Store() {
  static auto* store = new CommonStore;  // reachable to the end of the process by design
  return *store;
}

thread_local std::array<FreeNode*, kClasses> freeLists{};

// Hands the free lists of an ending thread to the common store.
struct ThreadEnd {
  bool armed = false;
  ~ThreadEnd() {
    if (!armed) return;
    CommonStore& store = Store();
    const std::lock_guard lock(store.mutex);
    for (size_t i = 0; i < kClasses; ++i) {
      while (freeLists[i] != nullptr) {
        FreeNode* node = freeLists[i];
        freeLists[i] = node->next;
        node->next = store.lists[i];
        store.lists[i] = node;
      }
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
    if (store.lists[index] != nullptr) {
      FreeNode* list = store.lists[index];
      store.lists[index] = nullptr;
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
