#include "kb/values/LosslessText.h"

#include <charconv>
#include <cmath>
#include <utility>

#include "kb/common/Helpers.h"

namespace kb {
namespace {

// Printing is a matter of one thread at a time, also when engines work on several.
thread_local int losslessDepth = 0;

constexpr size_t kLeastDecimals = 4;

// What ends an atom inside; these stand behind a backslash.
constexpr bool EndsName(char c) noexcept {
  return static_cast<unsigned char>(c) <= ' ' || std::string_view("\"&();<[]|~\\").find(c) != std::string_view::npos;
}

// What an atom cannot begin with: the backslash in front would be a character of its own.
constexpr bool CannotBegin(char c) noexcept {
  return static_cast<unsigned char>(c) <= ' ' || std::string_view("\"&();=[]|~?").find(c) != std::string_view::npos;
}

bool LooksLikeNumber(std::string_view text) noexcept {
  const auto first = static_cast<char32_t>(static_cast<unsigned char>(text[0]));
  return IsNumberChar(first) && (ParseInteger(text) || ParseFloat(text));
}

}  // namespace

TLosslessText::TLosslessText() noexcept { ++losslessDepth; }
TLosslessText::~TLosslessText() { --losslessDepth; }
TPlainText::TPlainText() noexcept : depth_(std::exchange(losslessDepth, 0)) {}
TPlainText::~TPlainText() { losslessDepth = depth_; }
bool TLosslessText::IsOn() noexcept { return losslessDepth > 0; }

std::string LosslessFloat(double value) {
  if (!std::isfinite(value)) return FloatToString(value);
  char digits[1200];  // the smallest numbers have over a thousand decimals at most
  const auto result = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed);
  std::string text(digits, result.ptr);
  size_t point = text.find('.');
  if (point == std::string::npos) {
    point = text.size();
    text += '.';
  }
  const size_t decimals = text.size() - point - 1;
  if (decimals < kLeastDecimals) text.append(kLeastDecimals - decimals, '0');
  return text;
}

bool AtomNeedsCall(std::string_view text) noexcept {
  if (text.empty()) return false;
  return CannotBegin(text[0]) || text.starts_with("$?") || SameText(text, "nil") || LooksLikeNumber(text);
}

std::string LosslessName(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (EndsName(c)) result += '\\';
    result += c;
  }
  return result;
}

std::string LosslessAtom(std::string_view text) {
  if (text.empty()) return "nil";
  if (AtomNeedsCall(text)) return "(sym-cat " + EscapedString(text) + ")";
  return text[0] + LosslessName(text.substr(1));
}

std::string EscapedString(std::string_view text) {
  std::string result = "\"";
  result.reserve(text.size() + 2);
  for (const char c : text) {
    if (c == '"' || c == '\\') result += '\\';
    result += c;
  }
  return result += '"';
}

}  // namespace kb
