// Small helpers on text and numbers that all folders share.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kb {

/// Indentation of one level in printed constructs.
inline constexpr std::string_view IndentString = "   ";
/// Line end of all printed and saved text.
inline constexpr std::string_view kLineEnd = "\r\n";

/// Floats of values count as equal when they are closer than this.
inline constexpr double kFloatTolerance = 0.0001;

/// The two numbers differ by less than `tolerance`. NaN equals nothing; equal infinities are equal.
[[nodiscard]] bool FloatEquals(double a, double b, double tolerance) noexcept;

/// True when `text` holds at least one of `characters`.
[[nodiscard]] bool ContainsCharacters(std::string_view text, std::string_view characters) noexcept;
/// Equality without regard to the case of ASCII letters.
[[nodiscard]] bool SameText(std::string_view a, std::string_view b) noexcept;
/// Three-way comparison without regard to the case of ASCII letters.
[[nodiscard]] int CompareText(std::string_view a, std::string_view b) noexcept;
/// Case mapping of UTF-8 text: ASCII, Latin-1, Latin Extended-A, Greek and Cyrillic letters; others stay.
[[nodiscard]] std::string QDUpperCase(std::string_view text);
[[nodiscard]] std::string QDLowerCase(std::string_view text);

/// A character that may begin a number: digit, sign or decimal point.
[[nodiscard]] constexpr bool IsNumberChar(char32_t c) noexcept {
  return (c >= U'0' && c <= U'9') || c == U'+' || c == U'-' || c == U'.';
}
/// A character that is no number when it stands alone: sign or decimal point.
[[nodiscard]] constexpr bool IsNumberSymbol(char32_t c) noexcept { return c == U'+' || c == U'-' || c == U'.'; }

/// A name other than `name`, for a copy of a construct: "x" gives "x_1", "x_1" gives "x_2". Repeated until free.
[[nodiscard]] std::string RenameCopy(std::string_view name);

/// Without the characters of code 32 and below at both ends, at the left end, at the right end.
[[nodiscard]] std::string_view Trim(std::string_view text) noexcept;
[[nodiscard]] std::string_view TrimLeft(std::string_view text) noexcept;
[[nodiscard]] std::string_view TrimRight(std::string_view text) noexcept;
/// Every occurrence of `from` (not empty) replaced by `to`.
[[nodiscard]] std::string ReplaceAll(std::string_view text, std::string_view from, std::string_view to);
/// The lines of a text; CR, LF and CR LF each end a line. A last line without end counts.
[[nodiscard]] std::vector<std::string_view> SplitLines(std::string_view text);
/// Breaks text at blanks so that no line is longer than `column`, with `lineEnd` at each break. A longer word stays
/// whole.
[[nodiscard]] std::string WrapText(std::string_view text, std::string_view lineEnd, size_t column);
/// Blank before `count - text` decimal digits: the number with at least `width` digits, zeros in front.
[[nodiscard]] std::string PadNumber(int64_t value, int width);

/// Code points of a UTF-8 text. Linear; invalid bytes count one each.
[[nodiscard]] size_t CodePointCount(std::string_view text) noexcept;
/// Byte offset of the code point at `index`, or the size of the text.
[[nodiscard]] size_t CodePointOffset(std::string_view text, size_t index) noexcept;
/// Appends a code point as UTF-8.
void AppendCodePoint(std::string& text, char32_t c);

/// Whole text as a signed 32-bit integer: optional sign, decimal digits, or hexadecimal behind 0x. None if it is not
/// one.
[[nodiscard]] std::optional<int32_t> ParseInteger(std::string_view text) noexcept;
/// Whole text as a float: sign, digits with a point, exponent; independent of the locale. None if it is not one.
[[nodiscard]] std::optional<double> ParseFloat(std::string_view text) noexcept;
/// Decimal text of an integer.
[[nodiscard]] std::string IntegerToString(int64_t value);
/// A float with four decimals and no exponent ("%.4f"), whatever the locale.
[[nodiscard]] std::string FloatToString(double value);
/// Same into a buffer of at least kFloatBuffer characters; gives the length.
inline constexpr size_t kFloatBuffer = 352;
[[nodiscard]] size_t FloatToBuffer(double value, char* buffer) noexcept;

/// `format` with each "%s" and "%d" in turn replaced by the next of `args`; surplus places become empty.
[[nodiscard]] std::string FormatText(std::string_view format, const std::vector<std::string>& args);

/// The double cut towards zero, clamped to the range of a 32-bit integer; 0 for NaN. Never undefined.
[[nodiscard]] int32_t TruncateToInt32(double value) noexcept;
/// The nearest integer, ties to even, with the same clamping.
[[nodiscard]] int32_t RoundToInt32(double value) noexcept;

}  // namespace kb
