#pragma once

// What the tests of values share.

#include "tests/Program.h"

namespace kb {

using kbtest::MessageOf;

inline IKBValue List(std::vector<IKBValue> items) { return MakeRef<TKBValue>(MakeRef<TValueVector>(std::move(items))); }

}  // namespace kb
