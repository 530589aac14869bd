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
// A process that needs more than a few slabs gets them from regions of the size of a large page. With millions of
// objects it is the look-up of small pages that costs most.
constexpr size_t kRegionBytes = size_t{2} * 1024 * 1024;
constexpr size_t kSlabsBeforeRegions = 32;
// How many free objects a thread keeps at hand before it gives them back to their slabs, and how many it wants at least
// when it asks for some.
constexpr uint32_t kMagazine = 512;
constexpr uint32_t kRefill = 64;

struct FreeNode {
  FreeNode* next;
};

// The head of a slab, which lies at a multiple of its size. Its free objects are kept with it, so that objects that are
// made one after the other lie near each other, in whatever order others were freed.
struct alignas(64) Slab {
  FreeNode* free = nullptr;
  Slab* next = nullptr;  // with free objects of the same size
  uint32_t count = 0;    // of free objects
  bool listed = false;
};

// What belongs to no thread. Never destroyed: objects of static storage may outlive it.
struct CommonStore {
  std::mutex mutex;
  std::array<Slab*, kClasses> partial{};  // slabs with free objects
  std::array<size_t, kClasses> count{};   // of these objects
  std::vector<void*> blocks;              // single slabs and regions
  unsigned char* region = nullptr;
  size_t used = kRegionBytes;  // of the region
};

CommonStore& Store() {
  static auto* store = new CommonStore;  // reachable to the end of the process by design
  return *store;
}

// The free objects of one size that a thread has at hand: it takes from and gives to `loaded`, and changes it for
// `spare` when it is empty or full, so that no run of either kind calls for the store at every turn.
struct Magazines {
  FreeNode* loaded = nullptr;
  FreeNode* spare = nullptr;
  uint32_t loadedCount = 0;
  uint32_t spareCount = 0;
};

thread_local std::array<Magazines, kClasses> magazines{};

// The store is locked.
void GiveBack(CommonStore& store, size_t index, FreeNode* list) noexcept {
  while (list != nullptr) {
    FreeNode* node = std::exchange(list, list->next);
    auto* slab = reinterpret_cast<Slab*>(reinterpret_cast<uintptr_t>(node) & ~uintptr_t{kSlabBytes - 1});
    node->next = std::exchange(slab->free, node);
    ++slab->count;
    ++store.count[index];
    if (std::exchange(slab->listed, true)) continue;
    slab->next = std::exchange(store.partial[index], slab);
  }
}

struct ThreadEnd {
  bool armed = false;
  ~ThreadEnd() {
    if (!armed) return;
    CommonStore& store = Store();
    const std::lock_guard lock(store.mutex);
    for (size_t i = 0; i < kClasses; ++i) {
      const Magazines own = std::exchange(magazines[i], {});
      GiveBack(store, i, own.loaded);
      GiveBack(store, i, own.spare);
    }
  }
};

thread_local ThreadEnd threadEnd;

void AskForLargePages([[maybe_unused]] void* memory, [[maybe_unused]] size_t bytes) noexcept {
#if defined(__linux__)
  madvise(memory, bytes, MADV_HUGEPAGE);  // a wish: where it is refused nothing changes
#endif
}

void* NewBlock(CommonStore& store, size_t bytes) {
  void*& block = store.blocks.emplace_back();
  block = ::operator new(bytes, std::align_val_t(bytes));
  return block;
}

// The store is locked.
void* NewSlab(CommonStore& store) {
  if (store.blocks.size() < kSlabsBeforeRegions) return NewBlock(store, kSlabBytes);
  if (store.used == kRegionBytes) {
    store.region = static_cast<unsigned char*>(NewBlock(store, kRegionBytes));
    store.used = 0;
    AskForLargePages(store.region, kRegionBytes);
  }
  return store.region + std::exchange(store.used, store.used + kSlabBytes);
}

// Puts all objects of a new slab into the magazine, so that addresses are handed out in rising order.
void LoadNewSlab(CommonStore& store, size_t index, Magazines& own) {
  const size_t bytes = (index + 1) * kGrain;
  auto* slab = new (NewSlab(store)) Slab;
  auto* objects = reinterpret_cast<unsigned char*>(slab + 1);
  const size_t count = (kSlabBytes - sizeof(Slab)) / bytes;
  for (size_t i = count; i > 0; --i) {
    auto* node = reinterpret_cast<FreeNode*>(objects + (i - 1) * bytes);
    node->next = std::exchange(own.loaded, node);
  }
  own.loadedCount = static_cast<uint32_t>(count);
}

// Takes the free objects of whole slabs.
void LoadPartialSlabs(CommonStore& store, size_t index, Magazines& own) noexcept {
  while (own.loadedCount < kRefill && store.partial[index] != nullptr) {
    Slab* slab = std::exchange(store.partial[index], store.partial[index]->next);
    slab->listed = false;
    own.loadedCount += slab->count;
    store.count[index] -= std::exchange(slab->count, 0);
    FreeNode* list = std::exchange(slab->free, nullptr);
    if (own.loaded == nullptr) {
      own.loaded = list;
      continue;
    }
    while (list != nullptr) {
      FreeNode* node = std::exchange(list, list->next);
      node->next = std::exchange(own.loaded, node);
    }
  }
}

void Refill(size_t index, Magazines& own) {
  if (own.spare != nullptr) {
    own.loaded = std::exchange(own.spare, nullptr);
    own.loadedCount = std::exchange(own.spareCount, 0);
    return;
  }
  threadEnd.armed = true;
  CommonStore& store = Store();
  const std::lock_guard lock(store.mutex);
  LoadPartialSlabs(store, index, own);
  if (own.loaded == nullptr) LoadNewSlab(store, index, own);
}

void MakeRoom(size_t index, Magazines& own) noexcept {
  threadEnd.armed = true;
  if (own.spare != nullptr) {
    CommonStore& store = Store();
    const std::lock_guard lock(store.mutex);
    GiveBack(store, index, own.spare);
  }
  own.spare = std::exchange(own.loaded, nullptr);
  own.spareCount = std::exchange(own.loadedCount, 0);
}

}  // namespace

void* PoolAllocate(size_t size) {
  if (size == 0 || size > kMaxPooled) return ::operator new(size);
  const size_t index = (size - 1) / kGrain;
  Magazines& own = magazines[index];
  if (own.loaded == nullptr) Refill(index, own);
  --own.loadedCount;
  return std::exchange(own.loaded, own.loaded->next);
}

void PoolFree(void* memory, size_t size) noexcept {
  if (memory == nullptr) return;
  if (size == 0 || size > kMaxPooled) {
    ::operator delete(memory);
    return;
  }
  const size_t index = (size - 1) / kGrain;
  Magazines& own = magazines[index];
  if (own.loadedCount >= kMagazine) MakeRoom(index, own);
  auto* node = static_cast<FreeNode*>(memory);
  node->next = std::exchange(own.loaded, node);
  ++own.loadedCount;
}

size_t PoolFreeBytes() noexcept {
  CommonStore& store = Store();
  const std::lock_guard lock(store.mutex);
  size_t bytes = 0;
  for (size_t i = 0; i < kClasses; ++i) {
    const Magazines& own = magazines[i];
    bytes += (store.count[i] + own.loadedCount + own.spareCount) * (i + 1) * kGrain;
  }
  return bytes;
}

#endif

}  // namespace kb
