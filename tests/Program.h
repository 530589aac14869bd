// An engine that is spoken to in its language.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "kb/engine/InferenceEngine.h"
#include "kb/matching/ReteNetwork.h"
#include "kb/platform/Exceptions.h"
#include "kb/values/KBConsts.h"
#include "kb/values/ValueVector.h"
#include "tests/Dialogue.h"

namespace kbtest {

/// An engine that has been told a text.
class TEngine : public kb::TInferenceEngine {
 public:
  explicit TEngine(std::string_view text = {}, kb::TComponent* owner = nullptr) : TInferenceEngine(owner) { Do(text); }
  /// Parses and executes.
  void Do(std::string_view text) { Parse(text, true); }
};

class TProgram {
 public:
  explicit TProgram(std::string_view text = {}, kb::TComponent* owner = nullptr) : engine({}, owner) {
    engine.OnPrintOut = [this](kb::TInferenceEngine&, std::string_view, std::string_view part) { output += part; };
    engine.Parse(text, true);
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

  TEngine engine;
  std::string output;
};

/// Identifies the message of the exception that `work` raises; None when it raises nothing.
template <class Work>
kb::TKBMessage MessageIdOf(Work&& work) {
  try {
    work();
  } catch (const kb::EKBException& error) {
    return error.Id();
  }
  return kb::TKBMessage::None;
}

/// Says each input of a table to an engine of its own.
inline void ExpectEach(std::string_view table) {
  ExpectAnswers([](const std::string& text) { return TProgram().Eval(text); }, table);
}

}  // namespace kbtest
