#pragma once

#include <string_view>

#include "kb/common/Export.h"

namespace kb {

/// The version of the library that is linked, in the form "major.minor.patch". It comes from the build, which is
/// the only place that states it; compare it with what a host was built against when the library is shared.
[[nodiscard]] KB_API std::string_view GetLibraryVersion() noexcept;

}  // namespace kb
