// Texts about types, formatting of the language, help texts of functions.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kb/values/KBTypes.h"

namespace kb {

/// Name of the enumeration's member, such as "dtInteger", as messages print it.
[[nodiscard]] std::string_view GetKBTypeName(TKBType type) noexcept;

/// Names of the members in ordinal order without their "dt", joined by `separator`; with `brackets` in "["
/// and "]".
[[nodiscard]] std::string SetToString(TKBTypes types, std::string_view separator, bool brackets);

/// The names of the types in capitals, joined by ", ", as messages about a wrong type list them.
[[nodiscard]] std::string TypesForMessage(TKBTypes types);

/// A new value for a slot of these types that has nothing better: empty, zero or no object of the first type
/// that the set holds of atom, string, integer, float, object, address, fuzzy (FCNil itself), fact id, fact,
/// descriptor, class. dtNone for a set without any of them.
[[nodiscard]] IKBValue CreateTypeDefault(TKBTypes types);

/// The fuzzy set of the first fuzzy slot of the fact, in the order of the names: of a list the first element, of a
/// number the spike that the slot's variable makes of it. Null when the template has no fuzzy slot. Raises "Not a fuzzy
/// value type..." for a value that is none.
[[nodiscard]] Ref<IFuzzySet> GetFuzzySlot(const TFact& fact);
/// The set of the resolved value, never null: a fuzzy value, or the fuzzy slot of a fact or of the fact of an id.
/// Raises "No Such Fact with ID=%s exists", "Fact is not a fuzzy fact", "Not a fuzzy value type...".
[[nodiscard]] Ref<IFuzzySet> GetFuzzySetFromValue(const IKBValue& value, TKBContext& context);

/// The text between the double quotes of a text that has one at both ends, else the text itself.
[[nodiscard]] std::string_view KBStringToString(std::string_view text) noexcept;

/// The control string with its specifiers filled in order, in the manner of printf: "d", "u", "x" take an integer,
/// "e", "f", "g", "m" a float ("m" an amount with two decimals and thousands separated by commas), "p" an address,
/// "s" the printed text; "%n" is a line end. Flags "-" and "0", width and precision as usual. An argument without a
/// specifier is appended after a blank, strings bare and multifields in parentheses. A value that cannot be
/// converted raises EKBException, a width or precision above kMaxFormatWidth EConvertError.
[[nodiscard]] std::string CLIPSFormat(std::string_view format, const std::vector<IKBValue>& args);
inline constexpr int kMaxFormatWidth = 10000;

/// Argument part of a function's syntax line: the words in angle brackets of `syntax`, or "<expression>" once
/// there are none left, with optional ones in square brackets. At most `limit` words; empty when `max` is 0
/// or below `min`.
[[nodiscard]] std::string CreateArgumentExpressions(std::string_view syntax, int min, int max, int limit);

}  // namespace kb
