#include <sstream>
#include <vector>

#include "kb/platform/Encoding.h"
#include "kb/platform/Exceptions.h"
#include "tests/Dialogue.h"

namespace kb {
namespace {

using namespace std::string_literals;

// One character of each length in UTF-8, between letters.
const std::string kMixed = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z";  // a, e acute, euro sign, smiling face, z

const std::vector<const TEncoding*> kAll = {TEncoding::UTF8(), TEncoding::UTF8WithMark(), TEncoding::UTF16LE(),
                                            TEncoding::UTF16BE(), TEncoding::Latin1()};

TEST(Encoding, EncodesEachFormToKnownBytes) {
  EXPECT_EQ(TEncoding::UTF8()->Encode(kMixed), kMixed);
  EXPECT_EQ(TEncoding::UTF16LE()->Encode(kMixed), "a\0\xE9\0\xAC\x20\x3D\xD8\x00\xDEz\0"s);
  EXPECT_EQ(TEncoding::UTF16BE()->Encode(kMixed), "\0a\0\xE9\x20\xAC\xD8\x3D\xDE\x00\0z"s);
  EXPECT_EQ(TEncoding::Latin1()->Encode(kMixed), "a\xE9??z");
}

TEST(Encoding, EveryFormReadsItsOwnOutputUnderAnyName) {
  for (const TEncoding* written : kAll) {
    const std::string text = written == TEncoding::Latin1() ? "caf\xC3\xA9" : kMixed;
    const std::string bytes = std::string(written->Preamble()) + written->Encode(text);
    EXPECT_EQ(written->Decode(bytes), text) << written->Name();
    if (written->Preamble().empty()) continue;
    EXPECT_EQ(TEncoding::Detect(bytes), written);
    // The mark decides, whatever the caller believes the text to be.
    for (const TEncoding* believed : kAll) EXPECT_EQ(believed->Decode(bytes), text) << believed->Name();
  }
  EXPECT_EQ(TEncoding::Detect(kMixed), nullptr);
  EXPECT_EQ(TEncoding::Detect("\xEF\xBB"), nullptr);
  EXPECT_EQ(TEncoding::OrDefault(nullptr), TEncoding::UTF8());
}

TEST(Encoding, InvalidUTF8BecomesOneReplacementForEachBrokenSequence) {
  const std::string r = "\xEF\xBF\xBD";
  const std::pair<std::string, std::string> cases[] = {
      {"a\x80z", "a" + r + "z"},            // a continuation byte alone
      {"a\xC0\xAFz", "a" + r + r + "z"},    // overlong form of '/'
      {"\xE0\x80\x80", r + r + r},          // overlong form of NUL
      {"\xED\xA0\x80", r + r + r},          // surrogate
      {"\xF4\x90\x80\x80", r + r + r + r},  // above the last code point
      {"\xF5\xFF", r + r},                  // bytes that never occur
      {"a\xE2\x82z", "a" + r + "z"},        // cut short, one replacement
      {"\xF0\x9F\x98", r},                  // cut short at the end
      {"01234567\xFF$9abcdef\xFF", "01234567" + r + "$9abcdef" + r},
      {"\xF4\x8F\xBF\xBF\xED\x9F\xBF", "\xF4\x8F\xBF\xBF\xED\x9F\xBF"},  // the last of their ranges
  };
  for (const auto& [bytes, expected] : cases) {
    EXPECT_EQ(TEncoding::UTF8()->Decode(bytes), expected);
    EXPECT_EQ(IsValidUTF8(bytes), bytes == expected);
  }
}

TEST(Encoding, InvalidUTF16BecomesReplacements) {
  const std::string r = "\xEF\xBF\xBD";
  EXPECT_EQ(TEncoding::UTF16LE()->Decode("\x3D\xD8z\0"s), r + "z");  // high surrogate alone
  EXPECT_EQ(TEncoding::UTF16LE()->Decode("\x00\xDEz\0"s), r + "z");  // low surrogate alone
  EXPECT_EQ(TEncoding::UTF16BE()->Decode("\0a\xD8\x3D"s), "a" + r);  // cut in a pair
  EXPECT_EQ(TEncoding::UTF16BE()->Decode("\0a\0"s), "a" + r);        // cut in a unit
  EXPECT_EQ(TEncoding::UTF16BE()->Decode("\xDB\xFF\xDF\xFF"), "\xF4\x8F\xBF\xBF");
}

// Whatever the bytes, the result is valid, and decoding it again changes nothing.
TEST(Encoding, AnyBytesDecodeToValidText) {
  uint32_t state = 12345;
  for (int round = 0; round < 2000; ++round) {
    std::string bytes;
    for (uint32_t i = 0; i < state % 24; ++i) {
      state = state * 1664525U + 1013904223U;
      // Mostly bytes from the interesting upper half.
      bytes += static_cast<char>((state >> 16U) | ((state >> 30U) != 0 ? 0x80U : 0U));
    }
    state = state * 1664525U + 1013904223U;
    for (const TEncoding* encoding : kAll) {
      const std::string text = encoding->DecodePart(bytes);
      ASSERT_TRUE(IsValidUTF8(text));
      ASSERT_EQ(TEncoding::UTF8()->DecodePart(text), text);
    }
  }
}

TEST(Encoding, StreamsThatFailAreToldFromEmptyOnes) {
  std::ostringstream broken;
  broken.setstate(std::ios::badbit);
  EXPECT_THROW(WriteStringToStream(broken, "x", nullptr), EStreamError);
  std::istringstream unreadable("x");
  unreadable.setstate(std::ios::badbit);
  EXPECT_THROW((void)ReadAllBytes(unreadable), EStreamError);
  std::istringstream empty;
  EXPECT_EQ(ReadAllBytes(empty), "");
}

}  // namespace
}  // namespace kb
