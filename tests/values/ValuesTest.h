#pragma once

// What the tests of values share.

#include <string>
#include <utility>
#include <vector>

#include "kb/platform/Exceptions.h"
#include "kb/values/KBValue.h"
#include "kb/values/ValueVector.h"

namespace kb {

inline IKBValue List(std::vector<IKBValue> items) { return MakeRef<TKBValue>(MakeRef<TValueVector>(std::move(items))); }

/// The message that an operation raises, empty for none.
template <class F>
std::string MessageOf(F&& operation) {
  try {
    operation();
  } catch (const EKBException& error) {
    return error.Message();
  }
  return {};
}

}  // namespace kb
