// The reference of the functions: complete, up to date, with examples that do what they say.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "apps/kbdoc/FunctionReference.h"
#include "tests/Program.h"

namespace {

std::string ReadDocument(const char* name) {
  std::ifstream file(std::string(KB_SOURCE_DIR "/docs/") + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

const kbdoc::TExamples& Examples() {
  static const kbdoc::TExamples examples = kbdoc::ReadExamples(ReadDocument("function-examples.txt"));
  return examples;
}

TEST(FunctionReference, EveryExampleGivesWhatItSays) {
  EXPECT_GT(Examples().size(), 200U);
  for (const auto& [name, example] : Examples()) {
    EXPECT_EQ(kbdoc::RunExample(example.input), example.output) << name;
    const bool shown = example.input.find("(" + name) != std::string::npos;
    EXPECT_TRUE(shown) << "the example of " << name << " does not call it";
  }
}

TEST(FunctionReference, EveryFunctionHasAnExample) {
  const kb::TInferenceEngine engine;
  for (const std::string& name : engine.GetUserFunctions()) {
    EXPECT_TRUE(Examples().contains(name)) << "docs/function-examples.txt has no block for " << name;
  }
  for (const auto& [name, example] : Examples()) {
    EXPECT_TRUE(engine.ContainsUserFunction(name)) << name << " is no function";
  }
}

TEST(FunctionReference, TheDocumentIsUpToDate) {
  const bool same = ReadDocument("functions.md") == kbdoc::FunctionReference(Examples());
  EXPECT_TRUE(same) << "build the target docs and commit docs/functions.md";
}

TEST(FunctionReference, DamagedExamplesTellTheLine) {
  const auto message = [](const std::string& text) {
    return kbtest::MessageOf([&] { (void)kbdoc::ReadExamples(text); });
  };
  kbtest::ExpectAnswers(message, R"(
    x --> Examples, line 1: text in front of the first block
    == a\n(a)\n== b\n --> Examples, line 3: the block before has no output
    == a\n--\n== a\n --> Examples, line 3: a second block of this name
    == a\n(a)\n --> Examples, line 2: the last block has no output
  )");
}

}  // namespace
