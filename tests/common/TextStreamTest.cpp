#include <gmock/gmock.h>

#include "kb/common/TextStream.h"
#include "kb/platform/Encoding.h"
#include "kb/platform/Exceptions.h"
#include "tests/Dialogue.h"
#include "tests/TempDirectory.h"

namespace kb {
namespace {

using namespace std::string_literals;

std::string ReadRest(TGTextStream& stream) {
  std::string text;
  while (!stream.IsEof()) AppendCodePoint(text, stream.GetChar());
  return text;
}

TEST(TextStream, CharactersAreCodePointsAndTheEndIsZero) {
  TGTextStream stream("a\xE2\x82\xAC\0z"s);
  for (const char32_t expected : {U'a', U'\u20AC', U'\0'}) EXPECT_EQ(stream.GetChar(), expected);
  EXPECT_FALSE(stream.IsEof());
  EXPECT_EQ(stream.GetChar(), U'z');
  EXPECT_TRUE(stream.IsEof());
  EXPECT_EQ(stream.GetChar(), 0U);
  stream.PutBack(0);
  EXPECT_TRUE(stream.IsEof());
  stream.PutBack(U'z');
  EXPECT_EQ(ReadRest(stream), "z");
}

TEST(TextStream, AnyCharacterCanBeHandedBack) {
  TGTextStream stream("b\xC3\xA9"s);
  stream.GetChar();
  const char32_t accented = stream.GetChar();
  stream.PutBack(accented);
  stream.PutBack(U'b');
  stream.PutBack(0x1F600);  // was never read
  stream.PutBack(U'b');
  EXPECT_EQ(ReadRest(stream),
            "b\xF0\x9F\x98\x80"
            "b\xC3\xA9");
}

TEST(TextStream, LinesEndInAnyWay) {
  TGTextStream stream("one\rtwo\nthree\r\n\r\n\0five\r"s);
  std::vector<std::string> lines;
  while (!stream.IsEof()) lines.push_back(stream.GetLine());
  EXPECT_THAT(lines, testing::ElementsAre("one", "two", "three", "", "\0five"s));
  EXPECT_EQ(stream.GetLine(), "");
}

TEST(TextStream, SkippingStopsAtOneLineEnd) {
  TGTextStream stream(" \t\x01\r\n  \n\r x \0"s);
  for (const bool lineEnd : {true, true, true, false}) EXPECT_EQ(stream.SkipInLineSpaces(), lineEnd);
  EXPECT_EQ(stream.GetChar(), U'x');
  EXPECT_FALSE(stream.SkipInLineSpaces());
  EXPECT_TRUE(stream.IsEof());
}

TEST(TextStream, SeekKeepsToCharacters) {
  TGTextStream stream(
      "a\xE2\x82\xAC"
      "bc"s);
  EXPECT_EQ(stream.Seek(3, soBeginning), 1);  // the middle of the second character
  EXPECT_EQ(stream.GetChar(), 0x20ACU);
  stream.PutBack(U'x');
  EXPECT_EQ(stream.Seek(-1, soEnd), 5);
  EXPECT_EQ(ReadRest(stream), "c");
  EXPECT_EQ(stream.Seek(-100, soCurrent), 0);
  EXPECT_EQ(stream.Seek(INT64_MAX, soCurrent), 6);
  EXPECT_EQ(stream.Seek(INT64_MIN, soEnd), 0);
}

TEST(TextStream, StringsAreWrittenAtThePosition) {
  TQDStringStream stream;
  stream.Put("hello");
  stream.PutLine(" you");
  EXPECT_EQ(stream.GetText(), "hello you\r\n");
  const auto putFirst = [&stream](std::string_view text) {
    stream.Seek(0, soBeginning);
    stream.Put(text);
  };
  putFirst("J");
  EXPECT_EQ(stream.GetLine(), "ello you");
  putFirst("\xE2\x82\xAC");
  putFirst("x");  // over the first byte of three
  EXPECT_EQ(stream.GetText(), "xlo you\r\n");
  EXPECT_TRUE(IsValidUTF8(stream.GetText()));
}

// Line mode stops at bytes 0A, which may be any half of any unit in UTF-16.
TEST(TextStream, LineModeReadsWideText) {
  const std::string text =
      "a\n\xC4\x8A\xE0\xA8\x80\xF0\x92\xA8\x8A\xF0\x90\xA8\x8A"
      "b\nc";
  for (const TEncoding* encoding : {TEncoding::UTF16LE(), TEncoding::UTF16BE()}) {
    for (const bool marked : {false, true}) {
      std::istringstream in((marked ? std::string(encoding->Preamble()) : ""s) + encoding->Encode(text));
      TGTextStream stream(in, marked ? nullptr : encoding, trLines);
      EXPECT_EQ(stream.GetLine(), "a");
      stream.PutBack(U'\n');  // of the line before
      EXPECT_EQ(ReadRest(stream), text.substr(1)) << encoding->Name() << marked;
    }
  }
}

// An override of GetChar sees every character, as the tokenizer's line counter needs.
TEST(TextStream, LinesAndSpacesAreReadThroughGetChar) {
  struct Counting : TGTextStream {
    using TGTextStream::TGTextStream;
    char32_t GetChar() override {
      ++count;
      return ReadChar();
    }
    int count = 0;
  };
  Counting stream("ab\n  \n"s);
  (void)stream.GetLine();
  EXPECT_EQ(stream.count, 3);
  stream.SkipInLineSpaces();
  EXPECT_EQ(stream.count, 6);
}

TEST(TextStream, WritesToAStandardStreamInItsEncoding) {
  std::ostringstream out;
  TGTextStream stream(out, TEncoding::Latin1());
  stream.PutLine("caf\xC3\xA9");
  EXPECT_EQ(out.str(), "caf\xE9\r\n");
  EXPECT_TRUE(stream.IsEof());
  EXPECT_EQ(stream.GetChar(), 0U);
  out.setstate(std::ios::badbit);
  EXPECT_THROW(stream.Put("x"), EStreamError);

  std::istringstream in("x");
  TGTextStream reader(in);
  EXPECT_THROW(reader.Put("y"), EStreamError);
}

TEST(TextStreamFile, CreateAndAppendWriteTheMarkOnce) {
  const kbtest::TTempDirectory directory;
  TGTextStream("f", tmCreate, TEncoding::UTF8WithMark()).Put("one");
  TGTextStream("f", tmAppend, TEncoding::UTF8WithMark()).PutLine("two");
  EXPECT_EQ(directory.Read("f"), "\xEF\xBB\xBFonetwo\r\n");
  TGTextStream reader("f", tmRead);
  EXPECT_EQ(reader.GetLine(), "onetwo");
  EXPECT_EQ(reader.GetEncoding(), TEncoding::UTF8WithMark());
  TGTextStream("f", tmCreate).Put("new");
  TGTextStream("g", tmAppend).Put("x");
  EXPECT_EQ(directory.Read("f") + directory.Read("g"), "newx");
}

TEST(TextStreamFile, ReadWriteChangesTheFileInPlaceAndKeepsItsEncoding) {
  const kbtest::TTempDirectory directory;
  const auto wide = [](std::string_view text) {
    return std::string(TEncoding::UTF16LE()->Preamble()) + TEncoding::UTF16LE()->Encode(text);
  };
  directory.Write("f", wide("hello"));
  {
    TGTextStream stream("f", tmReadWrite);
    EXPECT_EQ(stream.GetChar(), U'h');
    stream.Put("E");
    EXPECT_EQ(stream.GetChar(), U'l');
    stream.Seek(0, soEnd);
    stream.Put("!");
    stream.Flush();
    EXPECT_EQ(directory.Read("f"), wide("hEllo!"));
    stream.Put("?");
  }
  EXPECT_EQ(directory.Read("f"), wide("hEllo!?"));
}

TEST(TextStreamFile, ErrorsNameThePath) {
  const kbtest::TTempDirectory directory;
  directory.Write("x", "x");
  for (const auto& [path, mode] :
       {std::pair("none", tmRead), {"none", tmReadWrite}, {"x/below", tmCreate}, {".", tmRead}}) {
    EXPECT_THAT(kbtest::MessageOf([&, p = path, m = mode] { TGTextStream stream(p, m); }),
                testing::HasSubstr(std::string("\"") + path + "\""));
  }
  EXPECT_FALSE(std::filesystem::exists("none"));
  TGTextStream reader("x", tmRead);
  EXPECT_THAT(kbtest::MessageOf([&] { reader.Put("y"); }), testing::HasSubstr("\"x\""));
}

TEST(TextStream, AFullDeviceIsReportedByFlush) {
  const std::filesystem::path full("/dev/full");
  if (!std::filesystem::exists(full)) GTEST_SKIP() << "no device that refuses output";
  TGTextStream stream(full, tmCreate);
  EXPECT_THROW((stream.Put("x"), stream.Flush()), EStreamError);
}

}  // namespace
}  // namespace kb
