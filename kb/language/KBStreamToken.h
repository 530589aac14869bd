// One lexical token of the rule language.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "kb/common/Pool.h"
#include "kb/common/Ref.h"
#include "kb/common/Text.h"
#include "kb/values/KBTypes.h"

namespace kb {

// Classes of the tokens that are punctuation: the code of the character. All other classes are members of
// TKBType; dtNone is the end of the text.
inline constexpr int kTokenAmpersand = '&';
inline constexpr int kTokenOpen = '(';
inline constexpr int kTokenClose = ')';
inline constexpr int kTokenEquals = '=';
inline constexpr int kTokenOpenBracket = '[';
inline constexpr int kTokenCloseBracket = ']';
inline constexpr int kTokenPipe = '|';
inline constexpr int kTokenTilde = '~';

/// What stood before a token: a text of its own, or the first bytes of one that is still growing, which is
/// copied only when it is asked for.
class TKBWhitespace {
 public:
  TKBWhitespace() = default;
  TKBWhitespace(TKBText text) noexcept : text_(std::move(text)) {}
  TKBWhitespace(std::shared_ptr<const std::string> run, size_t length) noexcept
      : run_(std::move(run)), length_(length) {}
  [[nodiscard]] const TKBText& Text() const {
    if (run_) text_ = TKBText(std::string_view(*run_).substr(0, length_));
    run_.reset();
    return text_;
  }

 private:
  mutable TKBText text_;
  mutable std::shared_ptr<const std::string> run_;
  size_t length_ = 0;
};

/// A token: its class, its place, its content, and the white space with comments that stood before it. Made
/// by the tokenizer, and by hosts that answer a read event. Used by one thread at a time.
class TKBStreamToken : public RefCounted, public TPooled {
 public:
  TKBStreamToken() = default;
  TKBStreamToken(int dataType, int lineNumber, TKBText text, double number = 0) noexcept
      : dataType_(dataType), lineNumber_(lineNumber), number_(number), text_(std::move(text)) {}

  /// A TKBType, or the character of a punctuation token.
  [[nodiscard]] int GetDataType() const noexcept { return dataType_; }
  void SetDataType(int value) noexcept { dataType_ = value; }
  /// Line on which the token ended, from 1.
  [[nodiscard]] int GetLineNumber() const noexcept { return lineNumber_; }
  void SetLineNumber(int value) noexcept { lineNumber_ = value; }
  /// Value of an integer or float token; integers are carried as doubles too.
  [[nodiscard]] double GetNumber() const noexcept { return number_; }
  void SetNumber(double value) noexcept { number_ = value; }
  /// Content: a string without quotes, a variable without "?" or "$?", empty for numbers, "EOF" at the end.
  [[nodiscard]] const TKBText& GetText() const noexcept { return text_; }
  void SetText(TKBText value) noexcept { text_ = std::move(value); }
  /// White space and comments in front, the character included that ended an atom.
  [[nodiscard]] const TKBText& GetWhitespace() const { return whitespace_.Text(); }
  void SetWhitespace(TKBWhitespace value) noexcept { whitespace_ = std::move(value); }
  /// For handing it on.
  [[nodiscard]] const TKBWhitespace& Whitespace() const noexcept { return whitespace_; }
  [[nodiscard]] intptr_t GetTag() const noexcept { return tag_; }
  void SetTag(intptr_t value) noexcept { tag_ = value; }

  [[nodiscard]] bool Is(int dataType) const noexcept { return dataType_ == dataType; }
  [[nodiscard]] bool IsAtom(std::string_view text) const noexcept {
    return dataType_ == dtAtom && text_.View() == text;
  }
  [[nodiscard]] bool IsVariable() const noexcept { return dataType_ == dtVariable || dataType_ == dtMultiVariable; }
  /// The classes that stand for a value in an expression: atom, string, integer, float and both variables.
  [[nodiscard]] bool IsValue() const noexcept;
  [[nodiscard]] bool IsEof() const noexcept { return dataType_ == dtNone; }

  /// Copies all but the white space.
  void Assign(const TKBStreamToken& source);
  [[nodiscard]] IStreamToken Clone() const;
  /// Same class, line and number; the text takes no part.
  [[nodiscard]] bool Equals(const TKBStreamToken* other) const noexcept;
  /// The token as messages spell it: a string as \"text"\, a float with four decimals, variables with their sign.
  [[nodiscard]] std::string ToString() const;
  /// Appends ToString.
  void AppendTo(std::string& text) const;

  /// The token as a value. Atoms that are TRUE, FALSE or nil (in any case) give the shared constants, the end
  /// gives FCEOF, punctuation a string with its decimal code.
  [[nodiscard]] IKBValue Value() const;
  /// The same, but a variable gives what it is bound to in `context`; a null context changes nothing. Raises
  /// "Unknown variable name: %s" or "Invalid variable name, %s.  Possible encoding error".
  [[nodiscard]] IKBValue Value(TKBContext* context) const;
  /// Takes over type and content of a value.
  void SetValue(const TKBValue& value);

 private:
  [[nodiscard]] IKBValue AtomValue() const;

  int dataType_ = dtNone;
  int lineNumber_ = 0;
  double number_ = 0;
  TKBText text_;
  TKBWhitespace whitespace_;
  intptr_t tag_ = 0;
};

}  // namespace kb
