// The programs of docs/fuzzy.md print what stands under them.

#include <fstream>

#include "tests/Program.h"

namespace {

/// The text of the next fenced block of that kind from `at` on, which moves behind it; empty when there is none.
std::string NextBlock(const std::string& document, const std::string& kind, size_t& at) {
  const std::string fence = "```" + kind + "\n";
  const size_t begin = document.find(fence, at);
  if (begin == std::string::npos) return {};
  const size_t end = document.find("\n```", begin + fence.size());
  at = end + 4;
  return document.substr(begin + fence.size(), end - begin - fence.size());
}

TEST(FuzzyDocument, ProgramsPrintWhatItSays) {
  std::ifstream file(KB_SOURCE_DIR "/docs/fuzzy.md");
  std::stringstream stream;
  stream << file.rdbuf();
  const std::string document = stream.str();
  kbtest::TProgram program;
  size_t at = 0;
  int blocks = 0;
  for (;; ++blocks) {
    const std::string text = NextBlock(document, "lisp", at);
    if (text.empty()) break;
    const std::string printed = NextBlock(document, "text", at);
    EXPECT_EQ(program.Eval(text), printed) << text;
  }
  EXPECT_GE(blocks, 4);
}

}  // namespace
