#include "tests/Program.h"

namespace {

using kbtest::ExpectEach, kbtest::TProgram;

TEST(LogicFunctions, Truth) {
  ExpectEach(R"(
    (and) --> TRUE ;; (and 1 a "x") --> TRUE ;; (and TRUE FALSE (throw x)) --> FALSE ;; (or) --> FALSE
    (or 1 2) --> FALSE ;; (or FALSE TRUE (throw x)) --> TRUE ;; (not 0) --> FALSE ;; (not FALSE) --> TRUE
    (not nil) --> FALSE
  )");
}

TEST(LogicFunctions, Comparison) {
  ExpectEach(R"(
    (eq 1) --> TRUE ;; (eq 1 1.0) --> FALSE ;; (eq a "a") --> FALSE ;; (eq a a a) --> TRUE
    (eq a a b (throw x)) --> FALSE ;; (eq* a "a") --> TRUE
    // converted to the type of the first
    (eq* 1 1.9) --> TRUE ;; (eq* 1.9 1) --> FALSE
    // nothing else in the multifield
    (eq* (create$ 3) 3 "3" (create$ 3)) --> TRUE ;; (eq* (create$ 3 4) 3) --> FALSE ;; (neq a b c) --> TRUE
    (neq a b a (throw x)) --> FALSE ;; (neq a) --> TRUE ;; (= 1 1.0) --> TRUE
    // no tolerance, other than eq
    (= 1 1.00001) --> FALSE ;; (eq 1.0 1.00001) --> TRUE ;; (<> 1 2 3) --> TRUE ;; (<> 1 2 1) --> FALSE
    (> 3 2 1) --> TRUE ;; (> 3 2 2) --> FALSE ;; (>= 3 2 2) --> TRUE ;; (< 1 2 3) --> TRUE
    (< 3 1 (throw x)) --> FALSE ;; (<= 1 1 2) --> TRUE ;; (> 1) --> !Too few arguments for >
    (> a 1) --> !Not a numeric type.  Value (a) is a dtAtom type
  )");
}

TEST(ControlFunctions, If) {
  ExpectEach(R"(
    (if FALSE then 1) --> FALSE ;; (if TRUE then) --> FALSE ;; (if 0 then 1) --> 1
    (if TRUE then 1 else (throw x)) --> 1 ;; (if FALSE then (throw x) else 2 3) --> 3
    (if FALSE then else 1) --> FALSE ;; (if TRUE 1) --> !Syntax Error: Missing "then" in an IF statement
    (if FALSE then 1 (if TRUE then 5 else 6) else 2) --> 2
  )");
}

TEST(ControlFunctions, Loops) {
  ExpectEach(R"(
    (while FALSE (printout t x)) --> FALSE
    (bind ?i 0) (while (< ?i 3) do (printout t ?i) (bind ?i (+ ?i 1))) --> 0\n012FALSE
    (bind ?i 0) (while (< ?i 2) (bind ?i (+ ?i 1))) --> 0\nFALSE
    (foreach i (create$ a b) (printout t ?i) (str-cat ?i "!")) --> ab"b!" ;; (foreach i (create$) x) -->
    (foreach i (create$ 1 2)) (printout t ?i) --> 2
    (foreach i 5 x) --> !Not a list type.  Value (5) is a dtInteger type
  )");
}

TEST(ControlFunctions, Try) {
  ExpectEach(R"(
    (try (throw "x") catch (printout t ?__ERROR)) --> x ;; (try 1 catch 2) --> 1 ;; (try 1 finally 2) --> 2
    (try (throw "x") finally (printout t done)) --> doneFALSE ;; (try (throw "x") finally 2 catch ?__ERROR) --> "x"
    (try 1 (throw "x") finally (printout t f) except (printout t e) 7) --> fe7
    (try (try (throw a) finally (throw b)) catch ?__ERROR) --> FALSE
    (try (throw a) finally (throw b) catch ?__ERROR) --> "b"
    (try (nosuch 1) catch ?__ERROR) --> "Function is unimplemented or unassigned: nosuch"
    (try (throw x) catch (throw y)) --> !y ;; (try 1) --> !Missing catch or finally statement for try block
    (try (throw x) catch) --> FALSE
    // In front of finally, catch is a statement like any other.
    (try 1 catch 2 finally 3) --> 3
  )");
}

TEST(ControlFunctions, ExitPassesEveryTry) {
  TProgram program;
  for (const char* text :
       {"(try (exit) catch (printout t caught))", "(try (try (exit) finally (throw x)) catch (printout t caught))"}) {
    EXPECT_THROW(program.engine.Parse(text, true), kb::EAbort) << text;
  }
  EXPECT_EQ(program.output, "");
}

TEST(ControlFunctions, ReturnLeavesLoopsAndRunsFinally) {
  ExpectEach(R"(
    (deffunction f () (foreach i (create$ 1 2 3) (if (= ?i 2) then (return ?i))) 9) (f) --> 2
    (deffunction f () (while TRUE (return 5)) 9) (f) --> 5
    (deffunction f () (try (return 1) 2 finally (printout t a) (printout t b)) 9) (f) --> ab1
    (deffunction f () (try (return 1) finally (return 2)) 9) (f) --> 2
    (deffunction f () (try (throw x) catch (return 3) 4) 9) (f) --> 3
    (deffunction f (?x) (bind ?y (* ?x 2)) (return (+ ?y 1)) 9) (f 4) --> 9
    // A function that returned leaves its caller running.
    (deffunction f () (return 1)) (deffunction g () (f) (f) 7) (g) --> 7
  )");
}

TEST(ControlFunctions, Variables) {
  ExpectEach(R"(
    (bind ?x 5) (+ ?x 1) --> 5\n6 ;; (defglobal ?*g* = 3) (bind ?*g* (+ ?*g* 1)) ?*g* --> 4\n4
    (bind ?x 5) (?x) --> 5\n5 ;; (bind ?x 5) (__get-var x) --> 5\n5 ;; (__get-var y) -->
    (?x) --> !Corrupted Binding, variable not found: x ;; (?x 1) --> !Too many arguments for __get-var
  )");
}

TEST(ControlFunctions, Storage) {
  ExpectEach(R"(
    (fetch never-stored) --> ;; (store a 5) (fetch a) --> 5\n5 ;; (store a 5) (store a 6) (fetch a) --> 5\n6\n6
    (store a nil) (fetch a) --> ;; (store a 5) (clear-storage) (fetch a) --> 5
    (bind ?k key) (store ?k 1) (fetch key) --> key\n1\n1
  )");
}

TEST(EngineFunctions, WatchesAndModules) {
  const auto answer = [](const std::string& text) {
    TProgram program("(clear)");
    return program.Eval(text);
  };
  kbtest::ExpectAnswers(answer, R"(
    (watch facts) (assert (a 1)) --> TRUE\n ==> f-0 (a 1 )\n<Fact-0>
    (watch all) (unwatch all) (assert (a 1)) --> TRUE\nTRUE\n<Fact-0>
    (watch nothing) --> !Cannot watch nothing ;; (unwatch nothing) --> !Cannot unwatch nothing
    (get-current-module) --> MAIN ;; (defmodule a) (get-current-module) --> a
    (defmodule a) (set-current-module MAIN) --> MAIN
    (set-current-module nosuch) --> !No such module with name=nosuch exists
    (get-focus) --> MAIN ;; (pop-focus) (pop-focus) (get-focus) --> MAIN\nFALSE\nFALSE
    (defmodule a) (defmodule b) (focus a b) (get-focus-stack) --> TRUE\na b MAIN\s
    (defmodule a) (focus a MAIN) (pop-focus) (get-focus) --> TRUE\na\nMAIN
    (defmodule a) (focus a) (clear-focus-stack) (get-focus) --> TRUE\nFALSE
    (focus nosuch) --> !No such module with name=nosuch exists
    (eq (gensym*) (gensym*)) --> FALSE ;; (sub-string 1 3 (gensym*)) --> "gen" ;; (version) --> 6.0000
  )");
}

TEST(EngineFunctions, Printing) {
  ExpectEach(R"(
    (printout t a "b" 1 2.5 crlf) --> ab12.5000 ;; (printout t "crlf" CRLF) --> crlfCRLF
    (printout t (create$ a "b")) --> (a "b" ) ;; (printout) --> ;; (printout nosuch text) -->
    (bind ?ch t) (printout ?ch x) --> t\nx
  )");
}

}  // namespace
