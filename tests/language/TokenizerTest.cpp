// The tokenizer without an engine: texts against a dump of their tokens.
#include "kb/language/KBParser.h"
#include "kb/language/KBTokenizer.h"
#include "kb/values/KBContext.h"
#include "kb/values/KBHelperFunctions.h"
#include "tests/Program.h"

namespace kb {
namespace {

/// The canonical form of a token: class letter and content. Punctuation stands for itself, "." is the end.
std::string Dump(const TKBStreamToken& token) {
  const std::string text = token.GetText().ToString();
  switch (token.GetDataType()) {
    case dtNone:
      return ".";
    case dtInteger:
      return "i'" + IntegerToString(TruncateToInt32(token.GetNumber()));
    case dtFloat:
      return "f'" + FloatToString(token.GetNumber());
    default:
      break;
  }
  const std::pair<TKBType, const char*> kinds[] = {
      {dtAtom, "a'"}, {dtString, "s'"}, {dtVariable, "v'"}, {dtMultiVariable, "m'"}};
  for (const auto& [type, letter] : kinds) {
    if (token.GetDataType() == type) return letter + text;
  }
  return text;
}

void Skip(TKBClipsStream& stream, int count) {
  for (int i = 0; i < count; ++i) static_cast<void>(stream.NextToken());
}

/// All tokens of a text up to the end, separated by blanks.
std::string DumpAll(TKBClipsStream& stream) {
  std::string result;
  for (;;) {
    const IStreamToken token = stream.NextToken();
    result += Dump(*token);
    if (token->IsEof()) return result;
    result += ' ';
  }
}

std::string DumpAll(const std::string& text) {
  TKBClipsStream stream(text);
  return DumpAll(stream);
}

std::vector<int> Lines(const std::string& text) {
  TKBClipsStream stream(text);
  std::vector<int> lines;
  for (IStreamToken token = stream.NextToken(); !token->IsEof(); token = stream.NextToken()) {
    lines.push_back(token->GetLineNumber());
  }
  return lines;
}

TEST(Tokenizer, Classes) {
  kbtest::ExpectAnswers([](const std::string& text) { return DumpAll(text); }, R"(
    --> . ;; foo --> a'foo . ;; (a b) --> ( a'a a'b ) . ;; (a;comment\r\nb) --> ( a'a a'b ) .
    ?x&~red|blue --> v'x & ~ a'red | a'blue . ;; ?x<-(a) --> v'x a'<- ( a'a ) .
    << <= <> >= > => --> a'< a'< a'<= a'<> a'>= a'> = a'> . ;; == a=b =b --> = = a'a=b = a'b .
    ?*g* ?x $?y $x $ --> v'*g* v'x m'y a'$x a'$ . ;; [1] --> [ i'1 ] .
    :( a:b m::n f-12 --> a': ( a'a:b a'm::n a'f-12 . ;; 12 -12 +12 0x1F 007 --> i'12 i'-12 i'12 i'31 i'7 .
    12.0 1e3 -.5 3000000000 --> f'12.0000 f'1000.0000 f'-0.5000 f'3000000000.0000 .
    2147483647 -2147483648 2147483648 --> i'2147483647 i'-2147483648 f'2147483648.0000 .
    + - . 12abc 1-2 1.2.3 -inf +nan 0x --> a'+ a'- a'. a'12abc a'1-2 a'1.2.3 a'-inf a'+nan a'0x .
    "a b" "" "q\"q" "b\\b" "l\ol" --> s'a b s' s'q"q s'b\b s'lol . ;; "x\r\ny" --> s'x\r\ny . ;; a\(b \(b a\ b --> a'a(b a'\ ( a'b a'a b .
    a"s"b --> a'a s's a'b . ;; (a b --> ( a'a a'b . ;; a\ --> a'a . ;; {x},%#@!/' --> a'{x},%#@!/' .
    größe ?€ --> a'größe v'€ .
  )");
  EXPECT_EQ(DumpAll(" \t\r\n ; only a comment"), ".");
}

TEST(Tokenizer, UnterminatedStringIsTheOneFailure) {
  for (const std::string text : {"\"abc", "(a \"b)", "\"abc\\", "\""}) {
    TKBClipsStream stream(text);
    EXPECT_EQ(kbtest::MessageOf([&] { static_cast<void>(stream.NextToken()); }),
              "Invalid string value, string was not terminated");
    EXPECT_TRUE(stream.NextToken()->IsEof()) << "the start of the expression is gone";
  }
}

TEST(Tokenizer, LinesAreCountedOnceForEachKindOfEnd) {
  EXPECT_EQ(Lines("a\nb\rc\r\nd\n\ne"), (std::vector<int>{1, 2, 3, 4, 6}));
  EXPECT_EQ(Lines("(a\r\n;c\r\nb)"), (std::vector<int>{1, 1, 3, 3}));
  EXPECT_EQ(Lines("a \"x\r\ny\" b"), (std::vector<int>{1, 2, 2})) << "a string carries its last line";
  EXPECT_EQ(Lines("a\n"), (std::vector<int>{1})) << "the line end belongs to the line of the atom";
  TKBClipsStream stream("a\nb");
  stream.SetLineNumber(40);
  EXPECT_EQ(stream.NextToken()->GetLineNumber(), 40);
  EXPECT_EQ(stream.NextToken()->GetLineNumber(), 41);
}

TEST(Tokenizer, WhitespaceAndCommentsStayWithTokens) {
  TKBClipsStream stream("; one\n(a;two\nb ?x (c))");
  std::vector<std::string> spaces;
  for (IStreamToken token = stream.NextToken(); !token->IsEof(); token = stream.NextToken()) {
    spaces.push_back(token->GetWhitespace().ToString());
  }
  const std::vector<std::string> expected = {"; one\r\n", "", ";two\r\n ", " ", " ", "", "", ""};
  EXPECT_EQ(spaces, expected) << "the blank behind ?x reaches the parenthesis too";
}

TEST(Tokenizer, ExpressionTextSpellsWhatWasHandedOut) {
  TKBClipsStream stream("(a \"s\" 12\n1.5 ?x $?y) b");
  const IStreamToken open = stream.NextToken();
  stream.PutBackToken(open);
  EXPECT_EQ(stream.ToString(), " ");
  Skip(stream, 8);
  EXPECT_EQ(stream.ToString(), " ( a \\\"s\"\\ 12 \r\n1.5000 ?x $?y ) ");
  Skip(stream, 1);
  EXPECT_EQ(stream.ToString(), "b ");
  stream.Clear();
  EXPECT_EQ(stream.ToString(), "");
}

TEST(Tokenizer, PuttingBackTakesTheLineBreakAndForeignTokensFromTheText) {
  TKBClipsStream stream("(a\nb c)");
  Skip(stream, 2);
  const IStreamToken b = stream.NextToken();
  EXPECT_EQ(stream.ToString(), "( a \r\nb ");
  stream.PutBackToken(b);
  EXPECT_EQ(stream.ToString(), "( a ");
  Skip(stream, 1);
  EXPECT_EQ(stream.ToString(), "( a b ") << "the token put back was on that line already";
  stream.PutBackToken(b->Clone());
  EXPECT_EQ(stream.ToString(), "( a ");
  EXPECT_EQ(DumpAll(stream), "a'b a'c ) .");
}

TEST(Tokenizer, ExpressionTextOfALongExpressionIsWhole) {
  std::string text = "(";
  std::string spelled = "( ";
  for (int i = 0; i < 5000; ++i) {
    text += i % 100 == 0 ? " x\n" : " x";
    spelled += i % 100 == 1 ? "\r\nx " : "x ";
  }
  TKBClipsStream stream(text + ")");
  std::vector<IStreamToken> taken;
  for (int i = 0; i < 5001; ++i) taken.push_back(stream.NextToken());
  EXPECT_EQ(stream.ToString(), spelled);
  for (; taken.size() > 1; taken.pop_back()) stream.PutBackToken(taken.back());
  EXPECT_EQ(stream.GetCurrentToken()->GetText(), "x");
  EXPECT_EQ(stream.ToString(), "( ");
  EXPECT_EQ(DumpAll(stream).size(), 5000 * 4 + 3);
}

TEST(Tokenizer, Head) {
  const auto headAndRest = [](const std::string& text) {
    TKBClipsStream stream(text);
    const std::string head = stream.Head().ToString();
    return head + " < " + DumpAll(stream);
  };
  kbtest::ExpectAnswers(headAndRest, R"(
    (defrule r) --> defrule < ( a'defrule a'r ) . ;; (= 1 2) --> = < ( = i'1 i'2 ) . ;; (?f 1) --> f < ( v'f i'1 ) .
    ($?f 1) --> \s< ( m'f i'1 ) . ;; ("s") --> \s< ( s's ) . ;; (12) --> \s< ( i'12 ) . ;; foo bar --> \s< a'bar .
  )");
}

TEST(Tokenizer, MoveToNextConstructDropsTheRestOfTheExpression) {
  // An expression that begins in the middle goes on to what balances it.
  for (const auto& [text, skipped, rest] :
       {std::tuple("(a (b c) d) (e)", 4, "( a'e ) ."), {") x (y) z", 1, "a'y ) a'z ."}, {"(a (b", 1, "."}}) {
    TKBClipsStream stream{std::string(text)};
    Skip(stream, skipped);
    stream.MoveToNextConstruct();
    EXPECT_EQ(DumpAll(stream), rest) << text;
    stream.MoveToNextConstruct();
    EXPECT_EQ(DumpAll(stream), ".") << text;
  }
}

TEST(Tokenizer, DiscardUntilEOLNeverTouchesTheNextLine) {
  for (const std::string end : {"\n", "\r", "\r\n"}) {
    for (const std::string line : {"a", "a ", "a b c", "a ; comment", "(a b) c", "\"s\" \"t\""}) {
      TKBClipsStream stream(line + end + "next" + end + "last");
      Skip(stream, 1);
      stream.DiscardUntilEOL();
      EXPECT_EQ(Dump(*stream.NextToken()), "a'next") << line;
      stream.DiscardUntilEOL();
      EXPECT_EQ(stream.GetLine(), "last") << line;
      EXPECT_TRUE(stream.IsEof());
    }
    TKBClipsStream open("(a b" + end + "c d) e" + end + "f");
    Skip(open, 1);
    open.DiscardUntilEOL();
    EXPECT_EQ(Dump(*open.NextToken()), "a'c") << "the later lines of an expression stay";
    open.DiscardUntilEOL();
    EXPECT_EQ(DumpAll(open), "a'f .");
    TKBClipsStream last("a" + end);
    Skip(last, 1);
    last.DiscardUntilEOL();
    EXPECT_TRUE(last.IsEof()) << "nothing is left behind the last line";
    TKBClipsStream fresh("x y" + end + "z");
    fresh.DiscardUntilEOL();
    EXPECT_EQ(DumpAll(fresh), "a'z .");
  }
}

TEST(Tokenizer, DialogueReadsNoFurtherThanItsLine) {
  // A source that fails the test when it is asked for a line too many.
  class TLines : public std::stringbuf {
   public:
    int asked = 0;
    int_type underflow() override {
      static const char* const lines[] = {"\xEF\xBB\xBF(a\n", "b) c\n", "d\n"};
      if (asked == 3) return traits_type::eof();
      str(lines[asked++]);
      return std::stringbuf::underflow();
    }
  };
  TLines lines;
  std::istream input(&lines);
  TKBClipsStream stream(input, nullptr, trLines);
  EXPECT_EQ(lines.asked, 0);
  for (int i = 0; i < 4; ++i) static_cast<void>(stream.NextToken());
  EXPECT_LE(lines.asked, 2);
  EXPECT_EQ(Dump(*stream.NextToken()), "a'c");
  EXPECT_LE(lines.asked, 2);
  stream.DiscardUntilEOL();
  EXPECT_LE(lines.asked, 2);
  EXPECT_EQ(Dump(*stream.NextToken()), "a'd");
}

TEST(Tokenizer, BinaryGarbageGivesTokensOrAnException) {
  uint32_t state = 12345;
  for (int round = 0; round < 300; ++round) {
    std::string text;
    for (int i = 0; i < 400; ++i) {
      state = state * 1664525 + 1013904223;
      text += static_cast<char>(state >> 24);
    }
    TKBClipsStream stream(text);
    for (int i = 0; i < 1000; ++i) {
      try {
        if (stream.NextToken()->IsEof()) break;
      } catch (const EKBParseException&) {
      }
    }
    EXPECT_TRUE(stream.IsEof());
  }
  EXPECT_EQ(DumpAll(std::string("a\0b", 3)), "a'a a'b .") << "a NUL is white space, not the end";
}

TEST(Tokenizer, DeepNestingIsNoRecursion) {
  const int depth = 200000;
  TKBClipsStream stream(std::string(depth, '(') + "x" + std::string(depth, ')'));
  int tokens = 0;
  while (!stream.NextToken()->IsEof()) ++tokens;
  EXPECT_EQ(tokens, 2 * depth + 1);
}

TEST(StreamToken, ValuesOfTokens) {
  const auto value = [](const std::string& text) { return TKBClipsStream(text).NextToken()->Value(); };
  for (const auto& [text, shared] :
       {std::pair("TRUE", FCTrue), {"FALSE", FCFalse}, {"NIL", FCNil}, {"Nil", FCNil}, {"", FCEOF}}) {
    EXPECT_EQ(value(text), shared);
  }
  const auto typeAndText = [&](const std::string& text) {
    return std::string(GetKBTypeName(value(text)->GetDType())) + " " + value(text)->ToString();
  };
  kbtest::ExpectAnswers(typeAndText, R"(
    true --> dtAtom true ;; "TRUE" --> dtString "TRUE" ;; 12 --> dtInteger 12 ;; 1.5 --> dtFloat 1.5000
    ?x --> dtVariable ?x ;; $?x --> dtMultiVariable $?x ;; & --> dtString "38"
  )");
}

TEST(StreamToken, VariablesAreLookedUpInAContext) {
  TKBContext context(nullptr, nullptr);
  context.AddBinding(TKBText("x"), MakeInteger(7));
  const auto value = [&context](const std::string& text) {
    std::string result;
    const std::string fault =
        kbtest::MessageOf([&] { result = TKBClipsStream(text).NextToken()->Value(&context)->ToString(); });
    return result + fault;
  };
  kbtest::ExpectAnswers(value, R"(
    ?x --> 7 ;; $?x --> 7 ;; 12 --> 12 ;; ?y --> Unknown variable name: y
    ???? --> Invalid variable name, ???.  Possible encoding error
  )");
}

// Variables hand their white space on to the token behind them, however long the row.
TEST(Tokenizer, ARowOfVariablesGathersWhitespaceUpToTheNextOtherToken) {
  std::string text = "(";
  for (int i = 0; i < 300; ++i) text += " ; " + std::to_string(i) + "\r\n?x";
  TKBClipsStream stream(text + " end)");
  Skip(stream, 301);
  const std::string last = stream.NextToken()->GetWhitespace().ToString();
  EXPECT_TRUE(last.starts_with(" ; 0\r\n") && last.find("; 299") != std::string::npos) << last;
  EXPECT_TRUE(stream.NextToken()->GetWhitespace().Size() < 3);
}

}  // namespace
}  // namespace kb
