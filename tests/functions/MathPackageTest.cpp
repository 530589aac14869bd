#include <set>

#include "tests/Program.h"

namespace {

using kbtest::ExpectEach, kbtest::TProgram;

TEST(MathPackage, ArithmeticPromotes) {
  ExpectEach(R"(
    (+) --> 0 ;; (*) --> 1 ;; (+ 1 2) --> 3 ;; (+ 1 2.0) --> 3.0000 ;; (+ 1.5 2.5) --> 4.0000 ;; (+ "3" 1) --> 4
    // a text that holds a fraction is no float: the sum is cut
    (+ "1.9" 1) --> 2 ;; (- 5) --> 5 ;; (- 5 1) --> 4 ;; (- 5.5 1) --> 4.5000 ;; (- 1 2 3) --> -4 ;; (* 2 3 4) --> 24
    (* 2 0.5) --> 1.0000 ;; (+ 2147483647 0) --> 2147483647 ;; (- -2147483647 1) --> -2147483648
    (+ a 1) --> !Not a numeric type.  Value (a) is a dtAtom type ;; (-) --> !Too few arguments for -
  )");
}

TEST(MathPackage, Division) {
  ExpectEach(R"(
    (/ 6 3) --> 2.0000 ;; (/ 5) --> 5.0000 ;; (/ 1 2 2) --> 0.2500 ;; (div 7 2) --> 3 ;; (div -7 2) --> -3
    (div 9.9 2) --> 4 ;; (div 100 3 4) --> 8 ;; (div 5) --> 5 ;; (mod -7 2) --> -1 ;; (mod 7 -2) --> 1
    (mod (- -2147483647 1) -1) --> 0
  )");
}

TEST(MathPackage, WhatHasNoResultRaises) {
  ExpectEach(R"(
    (/ 1 0) --> !Floating point division by zero ;; (div 1 0) --> !Division by zero ;; (mod 1 0) --> !Division by zero
    (div (- -2147483647 1) -1) --> !Integer overflow ;; (+ 2147483647 1) --> !Integer overflow
    (* 65536 65536) --> !Integer overflow ;; (- -2147483648 1) --> !Integer overflow
    (abs -2147483648) --> !Integer overflow ;; (* 1e200 1e200) --> !Floating point overflow
    (exp 1000) --> !Floating point overflow ;; (** 0 -1) --> !Floating point overflow
    (** -8 0.5) --> !Invalid floating point operation ;; (sqrt -1) --> !Invalid floating point operation
    (log 0) --> !Invalid floating point operation ;; (log10 -1) --> !Invalid floating point operation
    // Errors of arithmetic are errors like any other for the language.
    (try (/ 1 0) catch caught) --> caught
  )");
  // Low alone is in range; nearly every draw is not.
  const std::string drawn = TProgram().Eval("(random 2147483647 2147483647)");
  EXPECT_TRUE(drawn == "!Integer overflow" || drawn == "2147483647") << drawn;
}

TEST(MathPackage, FunctionsOfOneNumber) {
  ExpectEach(R"(
    (abs -3) --> 3 ;; (abs -3.5) --> 3.5000 ;; (abs "3") --> !Expected numeric argument to abs function call
    (** 2 10) --> 1024.0000 ;; (** 4 0.5) --> 2.0000 ;; (exp 0) --> 1.0000 ;; (log (exp 2)) --> 2.0000
    (log10 1000) --> 3.0000 ;; (sqrt 2) --> 1.4142 ;; (PI) --> 3.1416 ;; (float 3) --> 3.0000 ;; (integer 3.9) --> 3
    (integer -3.9) --> -3 ;; (integer "12") --> 12 ;; (round 2.5) --> 2.0000 ;; (round 3.5) --> 4.0000
    (round -2.4) --> -2.0000
  )");
}

TEST(MathPackage, ExtremesKeepTheTypeOfWhatTookOver) {
  ExpectEach(R"(
    (max 1.5 3) --> 3.0000 ;; (max 3 1.5) --> 3 ;; (max 1 2 3) --> 3 ;; (max 1 2.5 3) --> 3.0000 ;; (min 3 1 2) --> 1
    (min 3 1.5) --> 1.5000 ;; (min 2.0 1) --> 1.0000 ;; (max 2 2.0) --> 2 ;; (min) --> !Too few arguments for min
  )");
}

TEST(MathPackage, RandomStaysInItsRange) {
  TProgram program;
  std::set<int> seen;
  for (int i = 0; i < 300; ++i) seen.insert(std::stoi(program.Eval("(random 5 10)")));
  EXPECT_EQ(seen, (std::set<int>{5, 6, 7, 8, 9, 10, 11, 12, 13, 14}));
  program.Expect("(random 0) --> 0 ;; (random 7 -3) --> 7");
}

TEST(MathPackage, ASeedRepeatsTheSequence) {
  TProgram program;
  EXPECT_EQ(program.Eval("(seed 42)"), "TRUE");
  const std::string first = program.Eval("(random) (random) (random)");
  EXPECT_EQ(program.Eval("(randomize 42)"), "TRUE");
  EXPECT_EQ(program.Eval("(random) (random) (random)"), first);
  program.Eval("(seed 43)");
  EXPECT_NE(program.Eval("(random) (random) (random)"), first);
  EXPECT_EQ(program.Eval("(randomize)"), "TRUE");
}

}  // namespace
