// Printing for machines: text that reads back as exactly what it was written from.
//
// Values and constructs print for people: four decimals, nothing at all for nil, comments as they stand. What is
// saved must come back as it was. While a TLosslessText exists on a thread, everything printed there is written for
// the reader of the language instead, in the same layout. Tested in tests/engine/PersistenceTest.cpp and by the round
// trips of random knowledge bases in tests/engine/RoundTripTest.cpp.
#pragma once

#include <string>
#include <string_view>

namespace kb {

/// A scope of lossless printing on the present thread; scopes nest.
class TLosslessText {
 public:
  TLosslessText() noexcept;
  ~TLosslessText();
  TLosslessText(const TLosslessText&) = delete;
  TLosslessText& operator=(const TLosslessText&) = delete;
  [[nodiscard]] static bool IsOn() noexcept;
};

/// A scope of printing for people inside the other: what is evaluated there gets the names that it always has.
class TPlainText {
 public:
  TPlainText() noexcept;
  ~TPlainText();
  TPlainText(const TPlainText&) = delete;
  TPlainText& operator=(const TPlainText&) = delete;

 private:
  int depth_;
};

/// As many decimals as read back the same number, at least four, without exponent. Infinities and NaN, which the
/// language has no numbers for, print as for people.
[[nodiscard]] std::string LosslessFloat(double value);

/// The atom of that text as source: "nil" for the empty one, terminators behind a backslash, and, for a text that no
/// escape makes an atom, such as "12" or "(", a call that gives it.
[[nodiscard]] std::string LosslessAtom(std::string_view text);

/// Whether LosslessAtom gives a call.
[[nodiscard]] bool AtomNeedsCall(std::string_view text) noexcept;

/// A name behind "?" or "$?", with terminators behind a backslash.
[[nodiscard]] std::string LosslessName(std::string_view text);

/// The text in double quotes, quotes and backslashes behind a backslash.
[[nodiscard]] std::string EscapedString(std::string_view text);

}  // namespace kb
