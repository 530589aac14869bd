#include "kb/platform/Encoding.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <istream>
#include <ostream>
#include <utility>

#include "kb/common/Helpers.h"
#include "kb/platform/Exceptions.h"

namespace kb {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

constexpr uint8_t Byte(char c) noexcept { return static_cast<uint8_t>(c); }

// What the first byte of a sequence allows: how many bytes follow, and the range of the next one. The
// narrower ranges keep out overlong forms, surrogates and values above U+10FFFF.
struct LeadByte {
  int following;
  uint8_t low;
  uint8_t high;
};

constexpr LeadByte Classify(uint8_t lead) noexcept {
  if (lead < 0xC2) return {0, 0, 0};
  if (lead < 0xE0) return {1, 0x80, 0xBF};
  if (lead == 0xE0) return {2, 0xA0, 0xBF};
  if (lead == 0xED) return {2, 0x80, 0x9F};
  if (lead < 0xF0) return {2, 0x80, 0xBF};
  if (lead == 0xF0) return {3, 0x90, 0xBF};
  if (lead < 0xF4) return {3, 0x80, 0xBF};
  if (lead == 0xF4) return {3, 0x80, 0x8F};
  return {0, 0, 0};
}

// Offset of the first byte at or behind `offset` that is not ASCII; eight bytes a step.
size_t SkipASCII(std::string_view text, size_t offset) noexcept {
  constexpr uint64_t kHighBits = 0x8080808080808080U;
  while (text.size() - offset >= sizeof(uint64_t)) {
    uint64_t word = 0;
    std::memcpy(&word, text.data() + offset, sizeof word);
    if ((word & kHighBits) != 0) break;
    offset += sizeof word;
  }
  while (offset < text.size() && Byte(text[offset]) < 0x80) ++offset;
  return offset;
}

// Reads one code point; false, with U+FFFD, for an invalid sequence.
bool ReadCodePoint(std::string_view text, size_t& offset, char32_t& result) noexcept {
  const uint8_t lead = Byte(text[offset++]);
  if (lead < 0x80) {
    result = lead;
    return true;
  }
  result = kReplacement;
  const LeadByte form = Classify(lead);
  if (form.following == 0) return false;
  char32_t value = lead & (0x3FU >> form.following);
  uint8_t low = form.low;
  uint8_t high = form.high;
  for (int i = 0; i < form.following; ++i) {
    if (offset >= text.size()) return false;
    const uint8_t next = Byte(text[offset]);
    if (next < low || next > high) return false;
    value = (value << 6U) | (next & 0x3FU);
    low = 0x80;
    high = 0xBF;
    ++offset;
  }
  result = value;
  return true;
}

// Offset of the first invalid sequence, or npos.
size_t FindInvalid(std::string_view text) noexcept {
  size_t offset = SkipASCII(text, 0);
  while (offset < text.size()) {
    const size_t start = offset;
    char32_t ignored = 0;
    if (!ReadCodePoint(text, offset, ignored)) return start;
    offset = SkipASCII(text, offset);
  }
  return std::string_view::npos;
}

std::string DecodeUTF8(std::string bytes) {
  const size_t invalid = FindInvalid(bytes);
  if (invalid == std::string_view::npos) return bytes;
  std::string result(bytes, 0, invalid);
  for (size_t offset = invalid; offset < bytes.size();) {
    const size_t next = SkipASCII(bytes, offset);
    result.append(bytes, offset, next - offset);
    offset = next;
    if (offset < bytes.size()) AppendCodePoint(result, NextCodePoint(bytes, offset));
  }
  return result;
}

constexpr bool IsHighSurrogate(char32_t unit) noexcept { return unit >= 0xD800 && unit < 0xDC00; }
constexpr bool IsLowSurrogate(char32_t unit) noexcept { return unit >= 0xDC00 && unit < 0xE000; }

std::string DecodeUTF16(std::string_view bytes, bool bigEndian) {
  const auto unitAt = [&](size_t offset) -> char32_t {
    const char32_t first = Byte(bytes[offset]);
    const char32_t second = Byte(bytes[offset + 1]);
    return bigEndian ? (first << 8U) | second : (second << 8U) | first;
  };
  std::string result;
  result.reserve(bytes.size() / 2);
  size_t offset = 0;
  while (offset + 1 < bytes.size()) {
    char32_t c = unitAt(offset);
    offset += 2;
    if (IsHighSurrogate(c) && offset + 1 < bytes.size() && IsLowSurrogate(unitAt(offset))) {
      c = 0x10000 + ((c - 0xD800) << 10U) + (unitAt(offset) - 0xDC00);
      offset += 2;
    } else if (IsHighSurrogate(c) || IsLowSurrogate(c)) {
      c = kReplacement;
    }
    AppendCodePoint(result, c);
  }
  // Half a code unit is left over.
  if (offset < bytes.size()) AppendCodePoint(result, kReplacement);
  return result;
}

std::string DecodeLatin1(std::string_view bytes) {
  std::string result;
  result.reserve(bytes.size());
  for (const char c : bytes) AppendCodePoint(result, Byte(c));
  return result;
}

std::string EncodeUTF16(std::string_view utf8, bool bigEndian) {
  std::string result;
  result.reserve(utf8.size() * 2);
  const auto putUnit = [&](char32_t unit) {
    const char low = static_cast<char>(unit & 0xFFU);
    const char high = static_cast<char>(unit >> 8U);
    result += bigEndian ? high : low;
    result += bigEndian ? low : high;
  };
  for (size_t offset = 0; offset < utf8.size();) {
    const char32_t c = NextCodePoint(utf8, offset);
    if (c < 0x10000) {
      putUnit(c);
    } else {
      putUnit(0xD800 + ((c - 0x10000) >> 10U));
      putUnit(0xDC00 + ((c - 0x10000) & 0x3FFU));
    }
  }
  return result;
}

std::string EncodeLatin1(std::string_view utf8) {
  std::string result;
  result.reserve(utf8.size());
  for (size_t offset = 0; offset < utf8.size();) {
    const char32_t c = NextCodePoint(utf8, offset);
    result += c < 0x100 ? static_cast<char>(c) : '?';
  }
  return result;
}

void WriteBytes(std::ostream& stream, std::string_view bytes) {
  stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!stream) throw EStreamError("Stream write error");
}

}  // namespace

const TEncoding* TEncoding::UTF8() noexcept {
  static constexpr TEncoding encoding(Form::kUTF8, "utf-8", "");
  return &encoding;
}

const TEncoding* TEncoding::UTF8WithMark() noexcept {
  static constexpr TEncoding encoding(Form::kUTF8, "utf-8-mark", "\xEF\xBB\xBF");
  return &encoding;
}

const TEncoding* TEncoding::UTF16LE() noexcept {
  static constexpr TEncoding encoding(Form::kUTF16LE, "utf-16le", "\xFF\xFE");
  return &encoding;
}

const TEncoding* TEncoding::UTF16BE() noexcept {
  static constexpr TEncoding encoding(Form::kUTF16BE, "utf-16be", "\xFE\xFF");
  return &encoding;
}

const TEncoding* TEncoding::Latin1() noexcept {
  static constexpr TEncoding encoding(Form::kLatin1, "latin-1", "");
  return &encoding;
}

const TEncoding* TEncoding::Detect(std::string_view bytes) noexcept {
  for (const TEncoding* encoding : std::array{UTF8WithMark(), UTF16LE(), UTF16BE()}) {
    if (bytes.substr(0, encoding->preamble_.size()) == encoding->preamble_) return encoding;
  }
  return nullptr;
}

std::string TEncoding::Decode(std::string bytes) const {
  const TEncoding* marked = Detect(bytes);
  if (marked == nullptr) return DecodePart(std::move(bytes));
  bytes.erase(0, marked->preamble_.size());
  return marked->DecodePart(std::move(bytes));
}

std::string TEncoding::DecodePart(std::string bytes) const {
  switch (form_) {
    case Form::kUTF16LE:
      return DecodeUTF16(bytes, false);
    case Form::kUTF16BE:
      return DecodeUTF16(bytes, true);
    case Form::kLatin1:
      return DecodeLatin1(bytes);
    case Form::kUTF8:
      break;
  }
  return DecodeUTF8(std::move(bytes));
}

std::string TEncoding::Encode(std::string_view utf8) const {
  switch (form_) {
    case Form::kUTF16LE:
      return EncodeUTF16(utf8, false);
    case Form::kUTF16BE:
      return EncodeUTF16(utf8, true);
    case Form::kLatin1:
      return EncodeLatin1(utf8);
    case Form::kUTF8:
      break;
  }
  return DecodeUTF8(std::string(utf8));
}

char32_t NextCodePoint(std::string_view text, size_t& offset) noexcept {
  char32_t result = 0;
  ReadCodePoint(text, offset, result);
  return result;
}

bool IsValidUTF8(std::string_view text) noexcept { return FindInvalid(text) == std::string_view::npos; }

std::string ReadAllBytes(std::istream& stream) {
  std::string bytes;
  std::array<char, 16384> block;
  while (stream.read(block.data(), block.size()) || stream.gcount() > 0) {
    bytes.append(block.data(), static_cast<size_t>(stream.gcount()));
  }
  // A stream that was never good fails without reaching its end; so does a read error.
  if (stream.bad() || !stream.eof()) throw EStreamError("Stream read error");
  return bytes;
}

void WritePreambleToStream(std::ostream& stream, const TEncoding* encoding) {
  WriteBytes(stream, TEncoding::OrDefault(encoding)->Preamble());
}

void WriteStringToStream(std::ostream& stream, std::string_view utf8, const TEncoding* encoding) {
  // The common case costs no copy: text inside the system is valid already.
  if (encoding == nullptr || encoding == TEncoding::UTF8() || encoding == TEncoding::UTF8WithMark()) {
    WriteBytes(stream, utf8);
  } else {
    WriteBytes(stream, encoding->Encode(utf8));
  }
}

}  // namespace kb
