#include "kb/common/Ref.h"

#include <vector>

namespace kb {
namespace {

// Destructors nest this deep on the stack; what dies below waits in the queue of the outermost destruction.
constexpr int kMaxNesting = 64;

thread_local int destroyDepth = 0;
thread_local size_t queued = 0;  // size of the queue; lets the usual case pass without touching it

std::vector<const RefCounted*>& Queue() {
  thread_local std::vector<const RefCounted*> queue;
  return queue;
}

}  // namespace

void RefCounted::Destroy() const noexcept {
  if (destroyDepth >= kMaxNesting) {
    Queue().push_back(this);
    ++queued;
    return;
  }
  ++destroyDepth;
  delete this;
  if (--destroyDepth > 0) return;
  if (queued == 0) return;
  ++destroyDepth;
  auto& queue = Queue();
  while (!queue.empty()) {
    const RefCounted* object = queue.back();
    queue.pop_back();
    --queued;
    delete object;
  }
  --destroyDepth;
}

}  // namespace kb
