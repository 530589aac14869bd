// Tables of calls with the number that each must give.
#pragma once

#include <cmath>
#include <span>

#include "tests/functions/Program.h"

namespace kbtest {

struct TNumberCase {
  const char* text;
  double expected;
};

/// The value of one call of the language, as a float.
inline double Number(TProgram& program, const std::string& text) {
  return program.engine.ParseNExecuteFunCall(text)->GetAsFloat();
}

/// `actual` within `tolerance`, relative to the expected number (absolute below 1).
inline void ExpectNear(double actual, double expected, double tolerance, const std::string& what) {
  EXPECT_NEAR(actual, expected, tolerance * std::max(1.0, std::fabs(expected))) << what;
}

inline void ExpectNumbers(std::span<const TNumberCase> cases, double tolerance) {
  TProgram program;
  for (const TNumberCase& entry : cases) {
    const kb::IKBValue value = program.engine.ParseNExecuteFunCall(entry.text);
    EXPECT_EQ(value->GetDType(), kb::dtFloat) << entry.text;
    ExpectNear(value->GetAsFloat(), entry.expected, tolerance, entry.text);
  }
}

}  // namespace kbtest
