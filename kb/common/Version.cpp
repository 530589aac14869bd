#include "kb/common/Version.h"

namespace kb {

std::string_view GetLibraryVersion() noexcept { return KB_VERSION; }

}  // namespace kb
