// Listings, printed and removed constructs, switches and dates, through the language.
#include "tests/Program.h"

namespace {

using kbtest::ExpectEach, kbtest::TProgram;

constexpr const char* kKnowledge =
    "(deftype t extends (type INTEGER)) (deftemplate p (slot x)) (defrule r2 (p (x ?x)) => ) (defrule r1 (p) => )"
    "(deffacts f (p (x 1))) (deffunction half (?x) (/ ?x 2)) (defglobal ?*g* = 1)"
    "(defmodule B) (defrule b1 (q) => ) (parse \"(set-current-module MAIN)\")";

class Misc : public testing::Test {
 protected:
  Misc() { program.Eval(kKnowledge); }
  std::string Eval(std::string_view text) { return program.Eval(text); }
  TProgram program;
};

TEST_F(Misc, ConstructsAreKnownByTheirNames) {
  program.Expect(R"(
    (is-deftype t) --> TRUE ;; (is-deffunction half) --> TRUE ;; (is-deffunction +) --> TRUE
    (is-defglobal "*g*") --> TRUE ;; (is-defrule r1) --> TRUE ;; (is-deffacts f) --> TRUE ;; (is-deftemplate p) --> TRUE
    (is-deftype p) --> FALSE ;; (is-deffunction r1) --> FALSE ;; (is-defglobal g) --> FALSE ;; (is-defrule b1) --> FALSE
    (is-deffacts p) --> FALSE ;; (is-deftemplate t) --> FALSE ;; (is-binding x) --> FALSE
    (deffunction here (?x) (is-binding x)) (here 1) --> TRUE
  )");
}

TEST_F(Misc, ListingsAreSortedAndCounted) {
  program.Expect(R"(
    (list-defrules) --> r1\nr2\nfor a total of 2 rules. ;; (list-defrules B) --> b1\nfor a total of 1 rules.
    (list-defrules *) --> MAIN:\n   r1\n   r2\nB:\n   b1\nfor a total of 3 rules.
    (list-defrules C) --> !No such module with name=C exists ;; (list-deftypes) --> t\nfor a total of 1 deftypes.
    (list-deffacts) --> f\nfor a total of 1 deffacts. ;; (list-deftypes B) --> for a total of 0 deftypes.
    (list-defglobals) --> *g*\nfor a total of 1 bindings. ;; (focus B) (list-focus-stack) --> TRUE\nB\nMAIN
    (list-defmodules) --> MAIN\nB\nfor a total of 2 defmodules.
  )");
  const std::string functions = Eval("(list-deffunctions)");
  EXPECT_NE(functions.find("\nhalf\n"), std::string::npos);
  const size_t count = program.engine.GetUserFunctions().size();
  EXPECT_TRUE(functions.ends_with("\nfor a total of " + std::to_string(count) + " deffunctions."));
  program.Expect(R"((deffunction see (?b ?a) (list-bindings)) (see 1 2) --> *g*\na\nb\nfor a total of 3 bindings.)");
}

TEST_F(Misc, TheAgendaStandsInTheOrderOfFiring) {
  Eval("(defrule first (declare (salience 5)) (p) => ) (assert (p (x 2)))");
  const std::string agenda = Eval("(agenda)");
  EXPECT_LT(agenda.find("first"), agenda.find("r1"));
  EXPECT_TRUE(agenda.ends_with("\nfor a total of 3 activations.")) << agenda;
  EXPECT_TRUE(Eval("(agenda *)").ends_with("B:\nfor a total of 3 activations."));
}

TEST_F(Misc, FactsByRangeAndModule) {
  Eval("(reset) (assert (p (x 2)) (a b))");
  program.Expect(R"(
    (facts) --> f-0 (p (x 1))\nf-1 (Initial-Fact)\nf-2 (p (x 2))\nf-3 (a b )\nFor a total of 4 facts.
    (facts 1 2) --> f-1 (Initial-Fact)\nf-2 (p (x 2))\nFor a total of 2 facts. ;; (facts 1 9 0) --> For a total of 0 facts.
    (facts 1 9 1) --> f-1 (Initial-Fact)\nFor a total of 1 facts. ;; (facts C) --> !No such module with name=C exists
    (facts B) --> f-1 (Initial-Fact)\nFor a total of 1 facts.
  )");
  EXPECT_EQ(Eval("(facts * 1 2)"), Eval("(facts 1 2)")) << "a fact that modules share counts once";
}

TEST_F(Misc, ConstructsArePrinted) {
  program.Expect(R"(
    (ppdefrule r1) --> (defrule MAIN::r1\n   (p )\n   =>) ;; (ppdefrule B::b1) --> (defrule B::b1\n   (q )\n   =>)
    (ppdeffacts f) --> (deffacts MAIN::f\n   (p (x 1))) ;; (ppdeftemplate p) --> (deftemplate MAIN::p\n   (slot x ))
    (ppdeftype MAIN::t) --> (deftype MAIN::t extends (type INTEGER)) ;; (ppdefmodule B) --> (defmodule B)
    (ppdeffunction half) --> (deffunction half (?x)\n   (/ ?x 2)\n)
    (ppdefrule x) --> !Unknown rule name: x ;; (ppdeffacts x) --> !Unknown fact set name: x
    (ppdeftemplate x) --> !Unknown fact template name: x ;; (ppdeftype x) --> !Unknown defined type name: x
    (ppdefmodule x) --> !Unknown module name: x ;; (ppdeffunction x) --> !Unknown user function name: x
    (ppdefrule C::x) --> !No such module with name=C exists
  )");
  EXPECT_TRUE(Eval("(ppdeffunction +)").starts_with(";; + function\n"));
  EXPECT_TRUE(Eval("(rules)").ends_with("(defrule MAIN::r1\n   (p )\n   =>)\nFor a total of 2 rules."));
}

TEST_F(Misc, ConstructsAreRemoved) {
  program.Expect(R"(
    (undefrule x) (undefrule b1) --> FALSE\nFALSE ;; (undeffacts f) (is-deffacts f) (undeffacts f) --> TRUE\nFALSE\nFALSE
    (undefrule B::b1) (get-current-module) (list-defrules B) --> TRUE\nMAIN\nfor a total of 0 rules.
    (undeftemplate p) (list-defrules) --> TRUE\nfor a total of 0 rules. ;; (undeftype t) (undeftype t) --> TRUE\nFALSE
    (undeffunction half) (undeffunction half) --> TRUE\nFALSE
    (half 2) --> !Function is unimplemented or unassigned: half
  )");
}

TEST_F(Misc, ARunningFunctionMayGo) {
  Eval("(defrule own (z) => (undefrule own) (printout t \"gone\" crlf)) (assert (z))");
  program.Expect(R"(
    (run) --> gone\n1
    (deffunction once (?x) (undeffunction once) (+ ?x 1)) (once 1) (is-deffunction once) --> 2\nFALSE
    (undeffunction undeffunction) (is-deffunction undeffunction) --> TRUE\nFALSE
  )");
}

TEST(MiscGuard, TheFiringRuleIsNotActivatedByWhatItDoes) {
  TProgram program(
      "(defrule count (n ?x&:(< ?x 3)) => (guard (assert (n (+ ?x 1)))) (printout t ?x crlf)) (assert (n 0))");
  EXPECT_EQ(program.Eval("(run)"), "0\n1");
  EXPECT_EQ(program.Eval("(guard 1 2 3)"), "3");
  program.Eval("(defrule bad (m) => (guard (throw x))) (assert (m))");
  EXPECT_EQ(program.Eval("(run)"), "!x");
  EXPECT_TRUE(program.engine.GetRules().FindRule("bad")->GetEnabled()) << "also after an error";
}

TEST(MiscSwitches, ChecksGlobalsAndGeneratedNames) {
  ExpectEach(R"(
    (get-static-constraint-checking) --> TRUE ;; (get-dynamic-constraint-checking) --> FALSE
    (set-static-constraint-checking FALSE) (get-static-constraint-checking) --> TRUE\nFALSE
    (set-dynamic-constraint-checking TRUE) (get-dynamic-constraint-checking) --> FALSE\nTRUE
    (set-dynamic-constraint-checking TRUE) (get-static-constraint-checking) --> FALSE\nTRUE
    (set-reset-globals) --> TRUE ;; (set-reset-globals 1) (set-reset-globals) --> 1\nFALSE
    (setgen 500) (gensym*) --> 500\ngen500
  )");
  ExpectEach(R"~(
    (parse "(deftemplate x)(assert (x 1))") (is-deftemplate x) --> <Fact-1>\nTRUE\nTRUE
    (parse "(") --> !Parsing Error, Missing name in ParseFunCall at line 1:  ( EOF\s
  )~");
}

TEST(MiscDates, DaysAndTexts) {
  ExpectEach(R"(
    (encode-date 2026 11 22) --> 46348.0000 ;; (encode-date 1900) --> 2.0000 ;; (encode-time 6) --> 0.2500
    (encode-time 23 59 59 1000) --> !Invalid argument to time encode
    (encode-date 2023 2 29) --> !Invalid argument to date encode ;; (decode-year 46348) --> 2026
    (decode-month 46348) --> 11 ;; (decode-day 46348.9) --> 22
    (create$ (decode-hour 0.75) (decode-minute 0.5007) (decode-second 0.50001) (decode-millisecond 0)) --> 18 1 0 0\s
    (str-date "2026-11-22") --> 46348.0000 ;; (str-time "18:00") --> 0.7500
    (str-datetime "2026-11-22 18:00:00") --> 46348.7500 ;; (str-date "22nd") --> !"22nd" is not a valid date
    (datetime-str 46348.75) --> "2026-11-22 18:00:00" ;; (date-str 46348.75) --> "2026-11-22"
    (time-str 46348.75) --> "18:00:00"
    (datetime-str-format 46348.75 "d mmmm yyyy, h am/pm") --> "22 November 2026, 6 pm"
    (= (system-date) (integer (system-datetime))) --> TRUE ;; (< -1 (time) 86400) --> TRUE
    (< -1 (system-time) 1) --> TRUE
  )");
}

}  // namespace
