#include "kb/language/KBTokenizer.h"
#include "kb/values/KBContext.h"
#include "kb/values/KBHelperFunctions.h"
#include "tests/Program.h"

namespace kb {
namespace {

TEST(KBHelperFunctions, CLIPSFormat) {
  const IKBValue address = MakeRef<TKBValue>();
  address->SetAsExternalAddress(reinterpret_cast<void*>(uintptr_t{0xBEEF}));
  EXPECT_EQ(CLIPSFormat("%p", {address}), "0000BEEF");
  EXPECT_EQ(CLIPSFormat("x", {MakeFactId(3)}), "x 3");
  TKBContext context(nullptr, nullptr);
  const auto format = [&](const std::string& text) {
    TKBClipsStream stream(text);
    const TKBText pattern = stream.NextToken()->GetText();
    std::vector<IKBValue> arguments;
    for (IStreamToken token = stream.NextToken(); !token->IsEof(); token = stream.NextToken()) {
      arguments.push_back(token->Value());
    }
    return "[" + ReplaceAll(CLIPSFormat(pattern.View(), arguments), "\r\n", "$") + "]";
  };
  kbtest::ExpectAnswers(format, R"(
    "%d" -5 --> [-5] ;; "%5d|%-5d|%05d|%.3d" -5 7 -7 7 --> [   -5|7    |-0007|007] ;; "%d" 2.9 --> [2]
    "%u %x" -1 255 --> [4294967295 ff] ;; "%6.2f|%-8.1f|%f" 3.14159 2.25 1 --> [  3.14|2.2     |1.000000]
    "%e %g %g" 12345.678 0.0001 1e20 --> [1.234568e+04 0.0001 1e+20] ;; "%m|%m" -1234567.891 999 --> [-1,234,567.89|999.00]
    "%s and %5s|%.2s" x "y" 日本語 --> [x and   "y"|日本] ;; "a%nb%n%d%n" 1 --> [a$b$1$] ;; "a%nb" --> [a$b]
    "100%% %d" 1 2 --> [100%% %d] ;; "%%%d" 1 --> [%1] ;; "%q %d" 1 --> [%q %d] ;; "50%" 1 --> [50%]
    "x" "s" z --> [x s z] ;; "%d" 1 2 --> [1 2] ;; "%d" "12.9" --> [12]
  )");
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

TEST(KBConsts, MessagesFillTheirPlaces) {
  EXPECT_EQ(FormatMessage(TKBMessage::NotAType, {"list", "12", "dtInteger"}),
            "Not a list type.  Value (12) is a dtInteger type");
  // A place inside an argument is not filled in turn.
  EXPECT_EQ(FormatMessage(TKBMessage::SyntaxError, {"%s %d"}), "Syntax Error: %s %d");
  EXPECT_EQ(MessageText(TKBMessage::Count), "");
  for (const char* text : {"\"", "\"a"}) EXPECT_EQ(KBStringToString(text), text);
  EXPECT_EQ(KBStringToString("\"a\""), "a");
  EXPECT_EQ(SetToString({dtList, dtAtom, dtInteger}, ", ", true), "[Atom, Integer, List]");
}

}  // namespace
}  // namespace kb
