#include <gtest/gtest.h>

#include "kb/platform/Exceptions.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBHelperFunctions.h"
#include "kb/values/KBValue.h"
#include "kb/values/ValueVector.h"

namespace kb {
namespace {

TEST(KBHelperFunctions, CLIPSFormat) {
  const auto list = MakeRef<TValueVector>(std::vector<IKBValue>{MakeAtom("a"), MakeString("b")});
  const IKBValue address = MakeRef<TKBValue>();
  address->SetAsExternalAddress(reinterpret_cast<void*>(uintptr_t{0xBEEF}));
  const struct {
    const char* format;
    std::vector<IKBValue> args;
    const char* expected;
  } cases[] = {
      {"%d", {MakeInteger(-5)}, "-5"},
      {"[%5d|%-5d|%05d|%.3d]",
       {MakeInteger(-5), MakeInteger(7), MakeInteger(-7), MakeInteger(7)},
       "[   -5|7    |-0007|007]"},
      {"%u %x", {MakeInteger(-1), MakeInteger(255)}, "4294967295 ff"},
      {"%d", {MakeFloat(2.9)}, "2"},
      {"%6.2f|%-8.1f|%f", {MakeFloat(3.14159), MakeFloat(2.25), MakeInteger(1)}, "  3.14|2.2     |1.000000"},
      {"%e %g %g", {MakeFloat(12345.678), MakeFloat(0.0001), MakeFloat(1e20)}, "1.234568e+04 0.0001 1e+20"},
      {"%m|%m", {MakeFloat(-1234567.891), MakeInteger(999)}, "-1,234,567.89|999.00"},
      {"%s and %5s|%.2s", {MakeAtom("x"), MakeString("y"), MakeAtom("日本語")}, "x and   \"y\"|日本"},
      {"%p", {address}, "0000BEEF"},
      {"a%nb%n%d%n", {MakeInteger(1)}, "a\r\nb\r\n1\r\n"},
      {"a%nb", {}, "a\r\nb"},
      {"100%% %d", {MakeInteger(1), MakeInteger(2)}, "100%% %d"},
      {"%%%d", {MakeInteger(1)}, "%1"},
      {"%q %d", {MakeInteger(1)}, "%q %d"},
      {"50%", {MakeInteger(1)}, "50%"},
      {"x", {MakeString("s"), MakeFactId(3), MakeRef<TKBValue>(list), MakeAtom("z")}, "x s 3 (a \"b\" ) z"},
      {"%d", {MakeInteger(1), MakeInteger(2)}, "1 2"},
      {"%d", {MakeAtom("12.9")}, "12"},
  };
  for (const auto& c : cases) EXPECT_EQ(CLIPSFormat(c.format, c.args), c.expected) << c.format;
  EXPECT_THROW((void)CLIPSFormat("%d", {MakeAtom("abc")}), EKBException);
  EXPECT_THROW((void)CLIPSFormat("%99999999999d", {MakeInteger(1)}), EConvertError);
  EXPECT_THROW((void)CLIPSFormat("%.999999f", {MakeInteger(1)}), EConvertError);
}

TEST(KBHelperFunctions, ArgumentExpressions) {
  EXPECT_EQ(CreateArgumentExpressions("<a> <b> <c>", 1, 3, 10), "<a>[ <b>[ <c>]]");
  EXPECT_EQ(CreateArgumentExpressions("<a> <b>", 0, 2, 10), "[ <a>[ <b>]]");
  EXPECT_EQ(CreateArgumentExpressions("x <a> y", 2, 2, 10), "<a> <expression>");
  EXPECT_EQ(CreateArgumentExpressions("<a", 2, kUnlimitedArguments, 3), "<expression> <expression>[ <expression>]");
  EXPECT_EQ(CreateArgumentExpressions("<a>", 0, 0, 10), "");
  EXPECT_EQ(CreateArgumentExpressions("<a>", 3, 2, 10), "");
}

TEST(KBHelperFunctions, TypeNames) {
  EXPECT_EQ(GetKBTypeName(dtNone), "dtNone");
  EXPECT_EQ(GetKBTypeName(dtFuzzy), "dtFuzzy");
  EXPECT_EQ(GetKBTypeName(dtMultiSlot), "dtMultiSlot");
  EXPECT_EQ(SetToString({dtList, dtAtom, dtInteger}, ", ", true), "[Atom, Integer, List]");
  EXPECT_EQ(TypesForMessage({dtFactId, dtString}), "STRING, FACTID");
  EXPECT_EQ(KBStringToString("\"a\""), "a");
  EXPECT_EQ(KBStringToString("\""), "\"");
  EXPECT_EQ(KBStringToString("\"a"), "\"a");
}

TEST(KBConsts, MessagesFillTheirPlaces) {
  EXPECT_EQ(FormatMessage(TKBMessage::NotAType, {"list", "12", "dtInteger"}),
            "Not a list type.  Value (12) is a dtInteger type");
  EXPECT_EQ(FormatMessage(TKBMessage::UnableToFindFact, {"7"}), "Unable to find fact f-7");
  EXPECT_EQ(FormatMessage(TKBMessage::RangeError, {"1.0000", "2.0000"}), "Range must be between 1.0000 and 2.0000");
  // A place inside an argument is not filled in turn.
  EXPECT_EQ(FormatMessage(TKBMessage::SyntaxError, {"%s %d"}), "Syntax Error: %s %d");
  EXPECT_EQ(MessageText(TKBMessage::Count), "");
  const EKBException error(TKBMessage::UnknownVariable, {"x"});
  EXPECT_STREQ(error.what(), "Unknown variable name: x");
  EXPECT_EQ(error.Id(), TKBMessage::UnknownVariable);
}

}  // namespace
}  // namespace kb
