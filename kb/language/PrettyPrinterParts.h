// Pieces that all printers of constructs share. Internal to the pretty printer.
#pragma once

#include <string>
#include <string_view>

#include "kb/common/Helpers.h"
#include "kb/values/KBConsts.h"
#include "kb/values/LosslessText.h"

namespace kb {
class TFactSlot;
class TKBValue;
}  // namespace kb

namespace kb::printing {

/// The name, with its module in front when that is asked for and known.
[[nodiscard]] inline std::string FullName(std::string_view module, std::string_view name, bool fullName) {
  std::string text;
  if (fullName && !module.empty()) text.append(module).append(SModuleSeparator);
  return text.append(name);
}

/// A comment or the like in double quotes, as it stands; escaped when it is to be read back.
[[nodiscard]] inline std::string Quoted(std::string_view text) {
  return TLosslessText::IsOn() ? EscapedString(text) : "\"" + std::string(text) + "\"";
}

/// The text with white space behind each of its line ends, but for those inside strings.
[[nodiscard]] std::string IndentSource(std::string_view source);

/// Appends the text one level further in, each of its lines.
inline void AppendIndented(std::string& text, std::string_view lines) {
  text.append(IndentString);
  text += TLosslessText::IsOn() ? IndentSource(lines)
                                : ReplaceAll(lines, kLineEnd, std::string(kLineEnd) + std::string(IndentString));
}

/// The text of what a slot holds or is compared with. A fuzzy value of a single slot is an expression there, and is
/// saved as one wherever the expression gives the same set again.
[[nodiscard]] std::string FieldText(const TFactSlot& slot, const TKBValue& value);

/// The line of units, or nothing without any.
[[nodiscard]] inline std::string UnitsText(const std::string& units) {
  if (units.empty()) return {};
  const bool bare = TLosslessText::IsOn() ? LosslessAtom(units) == units : units.find(' ') == std::string::npos;
  const std::string text = bare ? units : Quoted(units);
  return std::string(IndentString) + "(units " + text + ")" + std::string(kLineEnd);
}

/// Ends a construct: no white space stands before the parenthesis.
[[nodiscard]] inline std::string CloseConstruct(std::string text) {
  text.resize(TrimRight(text).size());
  return text + ")";
}

}  // namespace kb::printing
