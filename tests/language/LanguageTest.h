// What the tests of the language share: an engine and what it printed.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "kb/engine/InferenceEngine.h"

namespace kbtest {

class LanguageTest : public testing::Test {
 protected:
  LanguageTest() {
    engine.OnPrintOut = [this](kb::TInferenceEngine&, std::string_view, std::string_view text) { printed += text; };
  }

  /// Parses and executes a text; gives the message of the exception, or nothing.
  std::string Fault(std::string_view text) {
    try {
      engine.Parse(text, true);
    } catch (const std::exception& error) {
      return error.what();
    }
    return {};
  }

  kb::TInferenceEngine engine;
  std::string printed;
};

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
