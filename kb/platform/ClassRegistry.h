// Classes by name, for what is read from streams and for what a text names.
#pragma once

#include <string_view>

#include "kb/platform/Object.h"

namespace kb {

// The classes of the whole process; any thread may ask and register. Names are compared without regard to case, and
// the description of a registered class must live as long as it is registered, as static ones do.

/// Makes a class known under its name. Registering it again changes nothing; another class of the name replaces it.
void RegisterClass(const TClassInfo& info);
/// Forgets the class, if it is the one known under its name.
void UnRegisterClass(const TClassInfo& info);
/// The class of that name, or null.
[[nodiscard]] const TClassInfo* FindClass(std::string_view name);

}  // namespace kb
