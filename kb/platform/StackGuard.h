// Deep recursion that ends in an exception or on a further stack, never in a crash.
//
// Functions of the language call each other by native recursion. When the stack of the thread is nearly used up,
// RunWithStack goes on with the call on a fresh segment of stack, up to a total of kMaxStackSegments; beyond that, and
// in places that do not switch, CheckStack raises ERecursionError. Where the platform offers no stack switching (or a
// sanitizer forbids it) there is only the exception.
#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

namespace kb {

inline constexpr int kMaxStackSegments = 8;

/// True when the present stack has so little left that a call should move to another one. A few instructions.
[[nodiscard]] bool IsStackLow() noexcept;

/// Raises ERecursionError when the present stack is low. Called by every routine that descends into nested data.
void CheckStack();

/// Runs `function(argument)` on a new stack segment; an exception passes through. Raises ERecursionError when all
/// segments are in use.
void RunOnNewStack(void (*function)(void*), void* argument);

/// Gives the result of `body()`, on this stack or, when that is low, on a new one.
template <class F>
auto RunWithStack(F&& body) -> std::invoke_result_t<F&> {
  if (!IsStackLow()) return body();
  using Result = std::invoke_result_t<F&>;
  struct Frame {
    F& body;
    Result result;
  } frame{body, Result()};
  RunOnNewStack(
      [](void* p) {
        auto* f = static_cast<Frame*>(p);
        f->result = f->body();
      },
      &frame);
  return std::move(frame.result);
}

}  // namespace kb
