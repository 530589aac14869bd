// What the tests of this folder share: an engine that is spoken to in its language.
#pragma once

#include <gtest/gtest.h>

#include <span>
#include <string>
#include <string_view>

#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"

namespace kbtest {

class TProgram {
 public:
  TProgram() {
    engine.OnPrintOut = [this](kb::TInferenceEngine&, std::string_view, std::string_view text) { output += text; };
  }

  /// Parses and runs the text. Gives what it printed, with LF as line end and none behind the last line;
  /// after an exception "!" and the message.
  std::string Eval(std::string_view text) {
    output.clear();
    std::string failure;
    try {
      engine.Parse(text, true);
    } catch (const std::exception& error) {
      failure = std::string("!") + error.what();
    }
    std::string result = kb::ReplaceAll(output + failure, "\r\n", "\n");
    if (!result.empty() && result.back() == '\n') result.pop_back();
    return result;
  }

  /// The text of the value of one expression, as printout shows it.
  std::string Show(std::string_view expression) { return Eval("(printout t " + std::string(expression) + ")"); }

  kb::TInferenceEngine engine;
  std::string output;
};

struct TCase {
  const char* text;
  const char* expected;
};

/// Each text on its own engine.
inline void ExpectEach(std::span<const TCase> cases) {
  for (const TCase& entry : cases) {
    TProgram program;
    EXPECT_EQ(program.Eval(entry.text), entry.expected) << entry.text;
  }
}

}  // namespace kbtest
