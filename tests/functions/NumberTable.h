// Tables of calls with the number that each must give.
#pragma once

#include <cmath>

#include "tests/Program.h"

namespace kbtest {

/// The value of one call of the language, as a float.
inline double Number(TProgram& program, const std::string& text) {
  return program.engine.ParseNExecuteFunCall(text)->GetAsFloat();
}

/// `actual` within `tolerance`, relative to the expected number (absolute below 1).
inline void ExpectNear(double actual, double expected, double tolerance, const std::string& what) {
  EXPECT_NEAR(actual, expected, tolerance * std::max(1.0, std::fabs(expected))) << what;
}

inline void ExpectNumbers(std::string_view table, double tolerance) {
  TProgram program;
  ForEachAnswer(table, [&](const std::string& text, const std::string& expected) {
    const kb::IKBValue value = program.engine.ParseNExecuteFunCall(text);
    EXPECT_EQ(value->GetDType(), kb::dtFloat) << text;
    ExpectNear(value->GetAsFloat(), std::stod(expected), tolerance, text);
  });
}

}  // namespace kbtest
