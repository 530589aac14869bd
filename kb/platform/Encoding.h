// Text encodings at the edge of the system: bytes of a file or stream to UTF-8 and back.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>

namespace kb {

/// One of the five encodings that the system reads and writes. The objects are immutable, live as long as the
/// process and are passed as `const TEncoding*`; null stands for the default, UTF-8 without a mark. Safe to
/// use from any thread.
///
/// No operation raises an exception on bad data: what cannot be decoded becomes U+FFFD, one for each longest
/// invalid sequence, and what an encoding cannot express becomes '?'.
class TEncoding {
 public:
  TEncoding(const TEncoding&) = delete;
  TEncoding& operator=(const TEncoding&) = delete;

  /// UTF-8, no mark written.
  [[nodiscard]] static const TEncoding* UTF8() noexcept;
  /// UTF-8 with the mark EF BB BF.
  [[nodiscard]] static const TEncoding* UTF8WithMark() noexcept;
  /// UTF-16 with the low byte first, mark FF FE.
  [[nodiscard]] static const TEncoding* UTF16LE() noexcept;
  /// UTF-16 with the high byte first, mark FE FF.
  [[nodiscard]] static const TEncoding* UTF16BE() noexcept;
  /// The first 256 code points, one byte each, no mark.
  [[nodiscard]] static const TEncoding* Latin1() noexcept;

  /// `encoding` itself, or the default for null. Never null.
  [[nodiscard]] static const TEncoding* OrDefault(const TEncoding* encoding) noexcept {
    return encoding != nullptr ? encoding : UTF8();
  }
  /// The encoding whose mark stands at the start of `bytes`, or null when there is none.
  [[nodiscard]] static const TEncoding* Detect(std::string_view bytes) noexcept;

  /// Name for messages and options: "utf-8", "utf-8-mark", "utf-16le", "utf-16be", "latin-1".
  [[nodiscard]] std::string_view Name() const noexcept { return name_; }
  /// The mark that a text in this encoding begins with; empty for UTF8() and Latin1().
  [[nodiscard]] std::string_view Preamble() const noexcept { return preamble_; }
  /// True when a character takes two bytes or four.
  [[nodiscard]] bool IsWide() const noexcept { return form_ == Form::kUTF16LE || form_ == Form::kUTF16BE; }

  /// A whole text as UTF-8. A mark at its start is skipped and decides the encoding, whatever this one is.
  /// Linear.
  [[nodiscard]] std::string Decode(std::string bytes) const;
  /// Bytes from the middle of a text, in this encoding: no mark is looked for.
  [[nodiscard]] std::string DecodePart(std::string bytes) const;
  /// The UTF-8 text in this encoding, without the mark. Linear.
  [[nodiscard]] std::string Encode(std::string_view utf8) const;

 private:
  enum class Form { kUTF8, kUTF16LE, kUTF16BE, kLatin1 };

  constexpr TEncoding(Form form, std::string_view name, std::string_view preamble) noexcept
      : form_(form), name_(name), preamble_(preamble) {}

  Form form_;
  std::string_view name_;
  std::string_view preamble_;
};

/// The code point at `offset` of a UTF-8 text; `offset` moves behind it. An invalid sequence gives U+FFFD and
/// is passed as far as it could have been the start of a valid one, at least one byte. `offset` must be
/// inside `text`.
[[nodiscard]] char32_t NextCodePoint(std::string_view text, size_t& offset) noexcept;

/// True when the text is valid UTF-8 throughout. Linear.
[[nodiscard]] bool IsValidUTF8(std::string_view text) noexcept;

/// The rest of a byte stream. Raises EStreamError when reading fails.
[[nodiscard]] std::string ReadAllBytes(std::istream& stream);

/// Writes the mark of the encoding, which may be null for none. Raises EStreamError when writing fails.
void WritePreambleToStream(std::ostream& stream, const TEncoding* encoding);

/// Writes a UTF-8 text in the encoding, null for UTF-8. Raises EStreamError when writing fails.
void WriteStringToStream(std::ostream& stream, std::string_view utf8, const TEncoding* encoding);

}  // namespace kb
