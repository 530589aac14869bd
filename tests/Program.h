// An engine that is spoken to in its language.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "kb/engine/InferenceEngine.h"
#include "tests/Dialogue.h"

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

  /// Says the inputs of a table one after the other.
  void Expect(std::string_view table) {
    ExpectAnswers([this](const std::string& text) { return Eval(text); }, table);
  }
  void ExpectShown(std::string_view table) {
    ExpectAnswers([this](const std::string& text) { return Show(text); }, table);
  }

  kb::TInferenceEngine engine;
  std::string output;
};

/// Says each input of a table to an engine of its own.
inline void ExpectEach(std::string_view table) {
  ExpectAnswers([](const std::string& text) { return TProgram().Eval(text); }, table);
}

/// The message of the exception that `work` raises, or nothing.
template <class Work>
std::string MessageOf(Work&& work) {
  try {
    work();
  } catch (const std::exception& error) {
    return error.what();
  }
  return {};
}

}  // namespace kbtest
