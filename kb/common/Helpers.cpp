#include "kb/common/Helpers.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace kb {
namespace {

[[nodiscard]] constexpr char AsciiLower(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// A run of capital letters and where the small ones stand. With `step` 2 capitals and small letters alternate.
struct TCaseRange {
  char32_t first;
  char32_t last;
  int32_t distance;
  char32_t step;
};

constexpr TCaseRange kCaseRanges[] = {
    {0x41, 0x5A, 32, 1},   {0xC0, 0xD6, 32, 1},   {0xD8, 0xDE, 32, 1},     {0x100, 0x12E, 1, 2},  {0x132, 0x136, 1, 2},
    {0x139, 0x147, 1, 2},  {0x14A, 0x176, 1, 2},  {0x178, 0x178, -121, 1}, {0x179, 0x17D, 1, 2},  {0x386, 0x386, 38, 1},
    {0x388, 0x38A, 37, 1}, {0x38C, 0x38C, 64, 1}, {0x38E, 0x38F, 63, 1},   {0x391, 0x3A1, 32, 1}, {0x3A3, 0x3AB, 32, 1},
    {0x400, 0x40F, 80, 1}, {0x410, 0x42F, 32, 1}, {0x460, 0x480, 1, 2},    {0x48A, 0x4BE, 1, 2},  {0x4C0, 0x4C0, 15, 1},
    {0x4C1, 0x4CD, 1, 2},  {0x4D0, 0x52E, 1, 2},
};

constexpr char32_t kFinalSigma = 0x3C2;
constexpr char32_t kCapitalSigma = 0x3A3;

[[nodiscard]] char32_t ToLower(char32_t c) noexcept {
  for (const TCaseRange& range : kCaseRanges) {
    if (c < range.first || c > range.last || (c - range.first) % range.step != 0) continue;
    return static_cast<char32_t>(static_cast<int32_t>(c) + range.distance);
  }
  return c;
}

[[nodiscard]] char32_t ToUpper(char32_t c) noexcept {
  if (c == kFinalSigma) return kCapitalSigma;
  for (const TCaseRange& range : kCaseRanges) {
    const auto capital = static_cast<char32_t>(static_cast<int32_t>(c) - range.distance);
    if (capital < range.first || capital > range.last || (capital - range.first) % range.step != 0) continue;
    return capital;
  }
  return c;
}

/// Bytes of the UTF-8 sequence that begins at `index`; 1 for a byte that begins none.
[[nodiscard]] size_t SequenceLength(std::string_view text, size_t index) noexcept {
  const auto lead = static_cast<unsigned char>(text[index]);
  size_t length = 1;
  if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
  } else if (lead >= 0xE0 && lead < 0xF0) {
    length = 3;
  } else if (lead >= 0xC2 && lead < 0xE0) {
    length = 2;
  }
  if (index + length > text.size()) return 1;
  for (size_t i = 1; i < length; ++i) {
    if ((static_cast<unsigned char>(text[index + i]) & 0xC0) != 0x80) return 1;
  }
  return length;
}

/// Maps the letters of one and two bytes; all letters with case that are mapped here have at most two.
template <class Map>
[[nodiscard]] std::string MapCase(std::string_view text, Map map) {
  std::string result;
  result.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    const size_t length = SequenceLength(text, i);
    const auto lead = static_cast<unsigned char>(text[i]);
    if (length == 1 && lead < 0x80) {
      result += static_cast<char>(map(lead));
    } else if (length == 2) {
      const auto trail = static_cast<unsigned char>(text[i + 1]);
      AppendCodePoint(result, map(static_cast<char32_t>((lead & 0x1F) << 6 | (trail & 0x3F))));
    } else {
      result += text.substr(i, length);
    }
    i += length;
  }
  return result;
}

[[nodiscard]] constexpr bool IsDigit(char c) noexcept { return c >= '0' && c <= '9'; }

/// True when the text is sign, digits with at most one point, and an optional exponent.
[[nodiscard]] bool IsFloatSyntax(std::string_view text) noexcept {
  size_t i = !text.empty() && (text[0] == '+' || text[0] == '-') ? 1 : 0;
  size_t digits = 0;
  bool point = false;
  for (; i < text.size() && (IsDigit(text[i]) || (text[i] == '.' && !point)); ++i) {
    if (text[i] == '.') {
      point = true;
    } else {
      ++digits;
    }
  }
  if (digits == 0) return false;
  if (i == text.size()) return true;
  if (text[i] != 'e' && text[i] != 'E') return false;
  ++i;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
  if (i == text.size()) return false;
  return std::all_of(text.begin() + static_cast<std::ptrdiff_t>(i), text.end(), IsDigit);
}

/// For a number outside the range of a double: true when it is too small rather than too large.
[[nodiscard]] bool IsUnderflow(std::string_view text) noexcept {
  const size_t mantissa = std::min(text.find_first_of("eE"), text.size());
  const auto point = static_cast<int64_t>(std::min(text.find('.'), mantissa));
  const auto first = static_cast<int64_t>(std::min(text.find_first_of("123456789"), mantissa));
  // Power of ten of the first digit that counts, before the exponent.
  const int64_t magnitude = point > first ? point - first : point - first + 1;
  if (mantissa == text.size()) return magnitude < 0;
  std::string_view digits = text.substr(mantissa + 1);
  const bool negative = digits[0] == '-';
  if (negative || digits[0] == '+') digits.remove_prefix(1);
  int64_t exponent = 0;
  const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), exponent);
  if (error != std::errc()) return negative;
  return magnitude + (negative ? -exponent : exponent) < 0;
}

}  // namespace

bool FloatEquals(double a, double b, double tolerance) noexcept { return a == b || std::fabs(a - b) < tolerance; }

bool ContainsCharacters(std::string_view text, std::string_view characters) noexcept {
  return text.find_first_of(characters) != std::string_view::npos;
}

bool SameText(std::string_view a, std::string_view b) noexcept {
  return a.size() == b.size() && CompareText(a, b) == 0;
}

int CompareText(std::string_view a, std::string_view b) noexcept {
  const size_t common = std::min(a.size(), b.size());
  for (size_t i = 0; i < common; ++i) {
    const auto x = static_cast<unsigned char>(AsciiLower(a[i]));
    const auto y = static_cast<unsigned char>(AsciiLower(b[i]));
    if (x != y) return x < y ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

std::string QDUpperCase(std::string_view text) { return MapCase(text, ToUpper); }
std::string QDLowerCase(std::string_view text) { return MapCase(text, ToLower); }

std::string RenameCopy(std::string_view name) {
  const size_t mark = name.rfind('_');
  const bool numbered = mark != std::string_view::npos && mark + 1 < name.size() &&
                        std::all_of(name.begin() + static_cast<std::ptrdiff_t>(mark) + 1, name.end(), IsDigit);
  if (!numbered) return std::string(name) + "_1";
  // Counted up as text: the number may have any length.
  std::string digits(name.substr(mark + 1));
  size_t i = digits.size();
  while (i > 0 && digits[i - 1] == '9') digits[--i] = '0';
  if (i == 0) {
    digits.insert(digits.begin(), '1');
  } else {
    ++digits[i - 1];
  }
  return std::string(name.substr(0, mark + 1)) + digits;
}

std::string_view TrimLeft(std::string_view text) noexcept {
  while (!text.empty() && static_cast<unsigned char>(text.front()) <= 32) text.remove_prefix(1);
  return text;
}

std::string_view TrimRight(std::string_view text) noexcept {
  while (!text.empty() && static_cast<unsigned char>(text.back()) <= 32) text.remove_suffix(1);
  return text;
}

std::string_view Trim(std::string_view text) noexcept { return TrimLeft(TrimRight(text)); }

std::string ReplaceAll(std::string_view text, std::string_view from, std::string_view to) {
  std::string result;
  size_t at = 0;
  for (size_t found; !from.empty() && (found = text.find(from, at)) != std::string_view::npos;
       at = found + from.size()) {
    result += text.substr(at, found - at);
    result += to;
  }
  result += text.substr(at);
  return result;
}

std::vector<std::string_view> SplitLines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const size_t end = text.find_first_of("\r\n");
    if (end == std::string_view::npos) {
      lines.push_back(text);
      break;
    }
    lines.push_back(text.substr(0, end));
    const bool pair = text[end] == '\r' && end + 1 < text.size() && text[end + 1] == '\n';
    text.remove_prefix(end + (pair ? 2 : 1));
  }
  return lines;
}

std::string WrapText(std::string_view text, std::string_view lineEnd, size_t column) {
  std::string result;
  while (CodePointCount(text) > column) {
    const size_t limit = CodePointOffset(text, column);
    // A blank right behind the last column still breaks there.
    size_t blank = text.rfind(' ', limit);
    if (blank == std::string_view::npos || blank == 0) blank = text.find(' ', limit);
    if (blank == std::string_view::npos) break;
    result += text.substr(0, blank);
    result += lineEnd;
    text.remove_prefix(blank + 1);
  }
  result += text;
  return result;
}

std::string PadNumber(int64_t value, int width) {
  std::string digits = IntegerToString(value);
  const size_t sign = value < 0 ? 1 : 0;
  const size_t count = digits.size() - sign;
  const auto wanted = static_cast<size_t>(std::max(width, 0));
  if (count < wanted) digits.insert(sign, wanted - count, '0');
  return digits;
}

size_t CodePointCount(std::string_view text) noexcept {
  size_t count = 0;
  for (size_t i = 0; i < text.size(); i += SequenceLength(text, i)) ++count;
  return count;
}

size_t CodePointOffset(std::string_view text, size_t index) noexcept {
  size_t offset = 0;
  for (; index > 0 && offset < text.size(); --index) offset += SequenceLength(text, offset);
  return offset;
}

void AppendCodePoint(std::string& text, char32_t c) {
  const auto tail = [&](int shift) { text += static_cast<char>(0x80 | (c >> shift & 0x3F)); };
  if (c < 0x80) {
    text += static_cast<char>(c);
  } else if (c < 0x800) {
    text += static_cast<char>(0xC0 | c >> 6);
    tail(0);
  } else if (c < 0x10000) {
    text += static_cast<char>(0xE0 | c >> 12);
    tail(6);
    tail(0);
  } else {
    text += static_cast<char>(0xF0 | (c >> 18 & 0x07));
    tail(12);
    tail(6);
    tail(0);
  }
}

std::optional<int32_t> ParseInteger(std::string_view text) noexcept {
  const bool negative = !text.empty() && text[0] == '-';
  if (negative || (!text.empty() && text[0] == '+')) text.remove_prefix(1);
  const bool hexadecimal = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  if (hexadecimal) text.remove_prefix(2);
  // An unsigned target refuses a second sign.
  uint64_t magnitude = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, magnitude, hexadecimal ? 16 : 10);
  if (text.empty() || error != std::errc() || stop != end) return std::nullopt;
  // Hexadecimal digits spell all 32 bits, so 0xFFFFFFFF is -1.
  const uint64_t limit = hexadecimal ? UINT32_MAX : (negative ? uint64_t{INT32_MAX} + 1 : uint64_t{INT32_MAX});
  if (magnitude > limit) return std::nullopt;
  const auto bits = static_cast<uint32_t>(magnitude);
  return static_cast<int32_t>(negative ? 0U - bits : bits);
}

std::optional<double> ParseFloat(std::string_view text) noexcept {
  if (!IsFloatSyntax(text)) return std::nullopt;
  if (text[0] == '+') text.remove_prefix(1);
  double value = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error == std::errc::result_out_of_range) {
    if (IsUnderflow(text)) return text[0] == '-' ? -0.0 : 0.0;
    return std::nullopt;
  }
  if (error != std::errc() || stop != text.data() + text.size()) return std::nullopt;
  return value;
}

std::string IntegerToString(int64_t value) {
  char buffer[24];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

size_t FloatToBuffer(double value, char* buffer) noexcept {
  if (std::isnan(value)) {
    std::memcpy(buffer, "nan", 3);
    return 3;
  }
  const auto result = std::to_chars(buffer, buffer + kFloatBuffer, value, std::chars_format::fixed, 4);
  return static_cast<size_t>(result.ptr - buffer);
}

std::string FloatToString(double value) {
  char buffer[kFloatBuffer];
  return std::string(buffer, FloatToBuffer(value, buffer));
}

std::string FormatText(std::string_view format, const std::vector<std::string>& args) {
  std::string result;
  size_t next = 0;
  for (size_t i = 0; i < format.size(); ++i) {
    const bool place = format[i] == '%' && i + 1 < format.size() && (format[i + 1] == 's' || format[i + 1] == 'd');
    if (!place) {
      result += format[i];
      continue;
    }
    if (next < args.size()) result += args[next++];
    ++i;
  }
  return result;
}

int32_t TruncateToInt32(double value) noexcept {
  if (std::isnan(value)) return 0;
  if (value >= 2147483647.0) return INT32_MAX;
  if (value <= -2147483648.0) return INT32_MIN;
  return static_cast<int32_t>(value);
}

int32_t RoundToInt32(double value) noexcept {
  if (std::isnan(value)) return 0;
  double whole = std::trunc(value);
  const double rest = std::fabs(value - whole);
  // The rest is exact, so a tie is told exactly, whatever the rounding mode of the process.
  if (rest > 0.5 || (rest == 0.5 && std::fmod(whole, 2.0) != 0.0)) whole += value < 0 ? -1.0 : 1.0;
  return TruncateToInt32(whole);
}

}  // namespace kb
