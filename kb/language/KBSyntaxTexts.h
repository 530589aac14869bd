// Help texts about the constructs of the language: what each is for and how it is written.
#pragma once

#include <string_view>

#include "kb/values/KBTypes.h"

namespace kb {

/// One paragraph on what the construct is; empty for types that are no construct.
[[nodiscard]] std::string_view ConstructComment(TParsedType type) noexcept;

/// The grammar of the construct, lines ended by CR LF but for the last; empty for types that are no construct.
[[nodiscard]] std::string_view ConstructSyntax(TParsedType type) noexcept;

}  // namespace kb
