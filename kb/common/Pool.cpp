#include "kb/common/Pool.h"

#include <array>
#include <cstdint>
#include <mutex>
#include <utility>
#include <vector>

#if defined(__linux__)
#include <sys/mman.h>
#endif

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
// A process that needs more than a few slabs gets them from regions of the size of a large page. With millions of objects
// it is the look-up of small pages that costs most.
constexpr size_t kRegionBytes = size_t{2} * 1024 * 1024;
constexpr size_t kSlabsBeforeRegions = 32;

struct FreeNode {
  FreeNode* next;
};

// Lists of ended threads and the slabs themselves. Never destroyed: objects of static storage may outlive it.
struct CommonStore {
  std::mutex mutex;
  std::array<std::vector<FreeNode*>, kClasses> lists;
  std::vector<void*> blocks;  // slabs and regions
  unsigned char* region = nullptr;
  size_t used = kRegionBytes;  // of the region
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

void AskForLargePages([[maybe_unused]] void* memory, [[maybe_unused]] size_t bytes) noexcept {
#if defined(__linux__)
  madvise(memory, bytes, MADV_HUGEPAGE);  // a wish: where it is refused nothing changes
#endif
}

// The store is locked.
unsigned char* NewSlab(CommonStore& store) {
  if (store.blocks.size() < kSlabsBeforeRegions) {
    void*& slab = store.blocks.emplace_back();
    slab = ::operator new(kSlabBytes);
    return static_cast<unsigned char*>(slab);
  }
  if (store.used == kRegionBytes) {
    void*& region = store.blocks.emplace_back();
    region = ::operator new(kRegionBytes, std::align_val_t(kRegionBytes));
    store.region = static_cast<unsigned char*>(region);
    store.used = 0;
    AskForLargePages(store.region, kRegionBytes);
  }
  unsigned char* slab = store.region + store.used;
  store.used += kSlabBytes;
  return slab;
}

FreeNode* Refill(size_t index) {
  threadEnd.armed = true;
  CommonStore& store = Store();
  const size_t bytes = (index + 1) * kGrain;
  const std::lock_guard lock(store.mutex);
  if (auto& lists = store.lists[index]; !lists.empty()) {
    FreeNode* list = lists.back();
    lists.pop_back();
    return list;
  }
  unsigned char* base = NewSlab(store);
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
