// What the tests of the language share: an engine and what it printed.
#pragma once

#include "tests/Program.h"

namespace kbtest {

class LanguageTest : public testing::Test, protected TProgram {
 protected:
  /// Parses and executes a text; gives the message of the exception, or nothing.
  std::string Fault(std::string_view text) {
    return MessageOf([&] { engine.Parse(text, true); });
  }
};

}  // namespace kbtest
