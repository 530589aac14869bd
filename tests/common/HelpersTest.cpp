#include <cfloat>
#include <charconv>
#include <limits>
#include <vector>

#include "tests/Dialogue.h"

namespace kb {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(Helpers, WholeTextsAsIntegers) {
  const auto parsed = [](const std::string& text) {
    const std::optional<int32_t> value = ParseInteger(text);
    return value ? std::to_string(*value) : "none";
  };
  kbtest::ExpectAnswers(parsed, R"(
    0 --> 0 ;; +7 --> 7 ;; -7 --> -7 ;; 007 --> 7 ;; 2147483647 --> 2147483647 ;; 2147483648 --> none
    -2147483648 --> -2147483648 ;; -2147483649 --> none ;; 99999999999999999999999 --> none ;; 0x1F --> 31
    -0xff --> -255 ;; 0xFFFFFFFF --> -1 ;; 0x100000000 --> none ;; 0x --> none ;; --> none ;; - --> none ;; --1 --> none
    +-1 --> none ;; 1\s --> none ;; \s1 --> none ;; 1a --> none ;; 1.0 --> none
  )");
}

TEST(Helpers, WholeTextsAsFloats) {
  const auto parsed = [](const std::string& text) {
    const std::optional<double> value = ParseFloat(text);
    char digits[32];
    return value ? std::string(digits, std::to_chars(digits, digits + 32, *value).ptr) : "none";
  };
  kbtest::ExpectAnswers(parsed, R"(
    1 --> 1 ;; +1.5 --> 1.5 ;; -.5 --> -0.5 ;; 5. --> 5 ;; 1e3 --> 1000 ;; 1E-2 --> 0.01
    1e400 --> none ;; -1e-400 --> -0 ;; 0e999999999999999999999 --> 0 ;; 1e-999999999999999999999 --> 0
    . --> none ;; --> none ;; + --> none ;; 1e --> none ;; 1e+ --> none ;; 1.2.3 --> none ;; +-1 --> none
    inf --> none ;; nan --> none ;; 0x10 --> none ;; 1,5 --> none ;; 1\s --> none
  )");
  // Out of range because of its digits rather than its exponent.
  EXPECT_EQ(ParseFloat(std::string(400, '9')), std::nullopt);
  EXPECT_EQ(ParseFloat("0." + std::string(400, '0') + "1e5"), 0.0);
}

TEST(Helpers, FloatsPrintWithFourDecimals) {
  const auto printed = [](const std::string& text) { return FloatToString(std::stod(text)); };
  kbtest::ExpectAnswers(printed, R"(
    1 --> 1.0000 ;; -0.00004 --> -0.0000 ;; 1.00006 --> 1.0001 ;; 1e15 --> 1000000000000000.0000 ;; inf --> inf
    -nan --> nan
  )");
  EXPECT_EQ(FloatToString(-DBL_MAX).size(), 1U + 309U + 5U);
}

TEST(Helpers, FloatsToIntegersAreNeverUndefined) {
  const auto cut = [](const std::string& text) {
    const double value = std::stod(text);
    return std::to_string(TruncateToInt32(value)) + " " + std::to_string(RoundToInt32(value));
  };
  kbtest::ExpectAnswers(cut, R"(
    2.5 --> 2 2 ;; 3.5 --> 3 4 ;; -2.5 --> -2 -2 ;; -3.5 --> -3 -4 ;; 2.4999 --> 2 2 ;; -2.6 --> -2 -3
    0.49999999999999994 --> 0 0 ;; nan --> 0 0 ;; inf --> 2147483647 2147483647 ;; -inf --> -2147483648 -2147483648
    2147483646.5 --> 2147483646 2147483646 ;; 1e300 --> 2147483647 2147483647
    -2147483648.5 --> -2147483648 -2147483648
  )");
}

TEST(Helpers, FloatEqualsKnowsSpecialNumbers) {
  EXPECT_TRUE(FloatEquals(1.0, 1.00009, 0.0001));
  EXPECT_FALSE(FloatEquals(1.0, 1.0002, 0.0001));
  EXPECT_TRUE(FloatEquals(kInfinity, kInfinity, 0.0001));
  EXPECT_FALSE(FloatEquals(kInfinity, -kInfinity, 0.0001));
  EXPECT_FALSE(FloatEquals(kNaN, kNaN, 0.0001));
}

TEST(Helpers, CaseMappingBeyondAscii) {
  EXPECT_EQ(QDUpperCase("aZ9 äÿ÷ß ăž ω ς ά я ё"), "AZ9 ÄŸ÷ß ĂŽ Ω Σ Ά Я Ё");
  EXPECT_EQ(QDLowerCase("AZ9 ÄŸ×ß ĂŽ Ω Σ Ά Я Ё"), "az9 äÿ×ß ăž ω σ ά я ё");
  // Every letter that is mapped comes back; bytes that are no text stay as they are.
  for (char32_t c = 0x80; c < 0x530; ++c) {
    std::string letter;
    AppendCodePoint(letter, c);
    const std::string lower = QDLowerCase(letter);
    if (lower != letter) {
      EXPECT_EQ(QDUpperCase(lower), letter) << static_cast<uint32_t>(c);
    }
  }
  EXPECT_EQ(QDUpperCase("a\xC3"), "A\xC3");
  EXPECT_EQ(QDUpperCase("\xFF\x80z"), "\xFF\x80Z");
  EXPECT_EQ(QDLowerCase("日本😀A"), "日本😀a");
}

TEST(Helpers, ComparisonWithoutCase) {
  EXPECT_TRUE(SameText("aBc", "AbC"));
  EXPECT_FALSE(SameText("abc", "abcd"));
  EXPECT_LT(CompareText("Abc", "abD"), 0);
  EXPECT_LT(CompareText("ab", "ABC"), 0);
  // Letters compare as small ones: the underscore stands before them.
  EXPECT_LT(CompareText("_", "Z"), 0);
}

TEST(Helpers, CopiesGetTheNextName) {
  kbtest::ExpectAnswers([](const std::string& name) { return RenameCopy(name); }, R"(
    x --> x_1 ;; x_1 --> x_2 ;; x_9 --> x_10 ;; x_99999999999999999999 --> x_100000000000000000000 ;; x_ --> x__1
    x_1a --> x_1a_1
  )");
}

TEST(Helpers, WrapKeepsLinesShortAndWordsWhole) {
  kbtest::ExpectAnswers([](const std::string& text) { return WrapText(text, "|", 5); },
                        "aa bb cc --> aa bb|cc ;; ää öö --> ää öö ;; aaaaaaaa bb --> aaaaaaaa|bb ;; -->");
  EXPECT_EQ(WrapText("aa bb cc", "|", 4), "aa|bb|cc");
}

TEST(Helpers, TextTools) {
  EXPECT_EQ(Trim(" \t a b\r\n"), "a b");
  EXPECT_EQ(TrimRight(" \r\n"), "");
  EXPECT_EQ(ReplaceAll("aaa", "aa", "a"), "aa");
  EXPECT_EQ(ReplaceAll("x", "", "y"), "x");
  EXPECT_EQ(SplitLines("a\r\nb\rc\n\nd"), (std::vector<std::string_view>{"a", "b", "c", "", "d"}));
  EXPECT_EQ(SplitLines("a\n"), (std::vector<std::string_view>{"a"}));
  EXPECT_EQ(PadNumber(7, 4), "0007");
  EXPECT_EQ(PadNumber(-7, 3), "-007");
  EXPECT_EQ(PadNumber(12345, 3), "12345");
  EXPECT_EQ(FormatText("%s-%d-%s-%x%", {"%s", "2"}), "%s-2--%x%");
}

TEST(Helpers, CodePoints) {
  EXPECT_EQ(CodePointCount("aä日😀"), 4U);
  EXPECT_EQ(CodePointOffset("aä日😀", 3), 6U);
  EXPECT_EQ(CodePointOffset("ab", 9), 2U);
  // Cut, overlong and stray bytes count one each.
  EXPECT_EQ(CodePointCount("\xE6\x97"), 2U);
  EXPECT_EQ(CodePointCount("\xC0\xAF\x80z"), 4U);
  for (char32_t c : {U'a', U'ä', U'日', U'\U0001F600'}) {
    std::string text;
    AppendCodePoint(text, c);
    EXPECT_EQ(CodePointCount(text), 1U);
  }
}

}  // namespace
}  // namespace kb
