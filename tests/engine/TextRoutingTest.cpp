#include "tests/Program.h"

namespace kb {
namespace {

using kbtest::TEngine;

class TextRouting : public testing::Test {
 protected:
  TextRouting() {
    engine.OnPrintOut = [this](TInferenceEngine&, std::string_view id, std::string_view text) {
      output += "[" + std::string(id) + "]" + std::string(text);
    };
  }
  TEngine engine;
  std::string output;
};

// Gives what it holds to a string when it ends.
class TKeptStream : public std::ostringstream {
 public:
  explicit TKeptStream(std::string& target) : target_(target) {}
  ~TKeptStream() override { target_ = str(); }

 private:
  std::string& target_;
};

TEST_F(TextRouting, StandardChannelAndUnknownNames) {
  engine.PrintOut("t", "1");
  engine.PrintOut("2");
  engine.PrintOut("nowhere", "3");
  EXPECT_EQ(output, "[t]1[]2");
  engine.OnPrintOut = nullptr;
  engine.PrintOut("t", "4");
  EXPECT_THROW(engine.PrintOut("nowhere", "5"), EKBException);
  EXPECT_THROW((void)engine.ReadLine("t"), EKBException);
  EXPECT_THROW((void)engine.ReadToken("t"), EKBException);
  EXPECT_THROW(engine.GetIOStreams().Remove("out"), EKBException);
}

TEST_F(TextRouting, ACaptureTakesTheStandardChannelAway) {
  std::string captured;
  engine.StartCapture(std::make_unique<TKeptStream>(captured), TEncoding::UTF8WithMark());
  engine.SetWatch(cwFact);
  engine.PrintOut("t", "hidden ");
  engine.Assert("(a)");
  EXPECT_TRUE(engine.StopCapture());
  EXPECT_EQ(captured, "\xEF\xBB\xBFhidden  ==> f-1 (a)\r\n");
  EXPECT_EQ(output, "");
  EXPECT_TRUE(engine.StopCapture());
}

TEST_F(TextRouting, AFailingBatchPutsTheOuterInputBack) {
  std::istringstream text("(no-such-function)\n");
  EXPECT_THROW(engine.Batch(text), EKBException);
  engine.OnReadLine = [](TInferenceEngine&, std::string_view, std::string& line) { line = "host"; };
  EXPECT_EQ(engine.ReadLine("t"), "host");
  std::istringstream strings("(bind ?*x* (read))\n\"a b\"\n");
  engine.Batch(strings);
  EXPECT_EQ(output, "[]\"a b\"\r\n[]\"a b\"\r\n") << "and then feeds the reads of its lines";
}

}  // namespace
}  // namespace kb
