#include "tests/Program.h"

namespace {

using kbtest::TProgram;

class FactFunctions : public testing::Test {
 protected:
  FactFunctions() {
    program.Eval(
        "(clear) (deftemplate item (slot name) (slot price (type INTEGER) (default 0)) (multislot tags))"
        "(assert (item (name ball) (price 5) (tags red round)))");
  }
  /// Each answer with the facts that stand behind it, one in a line: "answer @ facts".
  void Expect(std::string_view table) {
    const auto answer = [this](const std::string& text) {
      const std::string said = program.Eval(text);
      const std::string facts = kb::ReplaceAll(program.engine.GetFacts().ToString(), "\r\n", "\n");
      return said + " @" + (facts.empty() ? "" : " ") +
             kb::ReplaceAll(facts, "(item (name ball) (price 5) (tags red round ))", "BALL");
    };
    kbtest::ExpectAnswers(answer, table);
  }
  TProgram program;
};

TEST_F(FactFunctions, AssertGivesTheIdOfTheLastFact) {
  Expect(R"(
    (assert (a 1) (b 2)) --> <Fact-2> @ BALL\n(a 1 )\n(b 2 ) ;; (assert (a 1)) --> FALSE @ BALL\n(a 1 )\n(b 2 )
    (assert) --> FALSE @ BALL\n(a 1 )\n(b 2 )
    (bind ?x 7) (assert (c ?x (+ ?x 1) (create$ 1 2))) --> 7\n<Fact-3> @ BALL\n(a 1 )\n(b 2 )\n(c 7 8 1 2 )
    (retract *) (foreach i (create$ 1 2) (assert (n ?i))) --> TRUE\n<Fact-5> @ (n 1 )\n(n 2 )
  )");
}

TEST_F(FactFunctions, AssertAndRetractByText) {
  Expect(R"~(
    (assert-string "(a 1)" "(b 2)") --> <Fact-2> @ BALL\n(a 1 )\n(b 2 )
    (assert-string "(a 1)") --> <Fact--1> @ BALL\n(a 1 )\n(b 2 )
    (retract-string "(a 1)" "(never 5)") --> TRUE @ BALL\n(b 2 ) ;; (retract-string) --> TRUE @ BALL\n(b 2 )
  )~");
  EXPECT_TRUE(program.Eval("(assert-string \"(a\")").starts_with("!Parsing Error"));
}

TEST_F(FactFunctions, Retract) {
  program.Eval("(assert (a 1) (b 2) (c 3))");
  Expect(R"(
    (retract 1 99 2) --> !Unable to find fact f-99 @ BALL\n(b 2 )\n(c 3 ) ;; (retract 2 3) --> TRUE @ BALL
    (retract *) --> TRUE @ ;; (retract a) --> !Not a fact id type.  Value (a) is a dtAtom type @
  )");
}

TEST_F(FactFunctions, ModifyKeepsTheFactAndGivesANewId) {
  const kb::IFact fact = program.engine.GetFacts().Get(0);
  Expect(R"(
    (bind ?p 8) (modify 0 (price (+ ?p 1)) (tags a ?p (create$ b c)))
      --> 8\n<Fact-1> @ (item (name ball) (price 9) (tags a 8 b c ))
    (modify 1 (tags one)) --> <Fact-2> @ (item (name ball) (price 9) (tags one ))
    (bind ?l (create$ x y)) (modify 2 (tags ?l)) --> x y \n<Fact-3> @ (item (name ball) (price 9) (tags x y ))
    (modify 0 (price 1)) --> !No Such Fact with ID=0 exists @ (item (name ball) (price 9) (tags x y ))
  )");
  EXPECT_EQ(program.engine.GetFacts().Get(0), fact);
}

TEST_F(FactFunctions, ModifyLeavesBoundValuesAlone) {
  program.Eval("(bind ?old (get-slot-value 0 tags)) (bind ?price (get-slot-value 0 price))");
  program.Eval("(modify 0 (price 77) (tags other))");
  program.Eval("(defrule keep ?f <- (item (price 77) (tags $?t)) => (modify ?f (price 1) (tags new)) (printout t ?t))");
  program.Expect("(printout t ?old ?price) --> (red round )5 ;; (run) --> (other )1");
}

TEST_F(FactFunctions, AModifyThatFailsLosesNothing) {
  Expect(R"(
    (modify 0 (name x) (price (throw oops))) --> !oops @ BALL
    (modify 0 (name x) (nosuch 1)) --> !No such slot name: "nosuch" @ BALL
  )");
  program.engine.SetTypeChecks({kb::tcStatic, kb::tcDynamic});
  Expect(R"(
    (modify 0 (name x) (price (sym-cat ab)))
      --> !Not a INTEGER type.  Value (ab) is a dtAtom type for price slot @ BALL
  )");
  program.engine.OnRetraction = [](kb::TInferenceEngine&, const kb::IFact&) { throw kb::EException("handler"); };
  Expect("(modify 0 (price 1)) --> !handler @ BALL");
  program.engine.OnRetraction = nullptr;
  EXPECT_TRUE(program.engine.GetFacts().GetFactByID(0));
  // A rule goes on with the id that it has.
  program.Eval("(defrule r ?f <- (item (price 5)) => (try (modify ?f (price (/ 1 0))) catch (modify ?f (price 6))))");
  Expect("(run) --> 1 @ (item (name ball) (price 6) (tags red round ))");
}

TEST_F(FactFunctions, DuplicateLeavesTheSource) {
  Expect(R"(
    (bind ?t x) (duplicate 0 (price 6) (tags ?t y)) --> x\n<Fact-1> @ BALL\n(item (name ball) (price 6) (tags x y ))
    (retract 1) (duplicate 0 (price 5)) --> TRUE\n<Fact--1> @ BALL
    (duplicate 0) --> !Too few arguments for duplicate @ BALL
  )");
}

TEST_F(FactFunctions, GetSlotValue) {
  program.Expect(R"(
    (get-slot-value 0 price) --> 5 ;; (assert (a 1 2)) (get-slot-value 1) --> <Fact-1>\n1 2\s
    (get-slot-value 9 price) --> !No Such Fact with ID=9 exists
    (get-slot-value 0 nosuch) --> !No such slot name: "nosuch"
    (get-slot-value a price) --> !Invalid argument type for deffunction: "dtAtom".  Expected FactId, Fact
  )");
}

TEST_F(FactFunctions, DuplicationFlagIsTheOppositeOfTheProperty) {
  program.Expect("(get-fact-duplication) --> TRUE ;; (set-fact-duplication FALSE) --> TRUE");
  EXPECT_TRUE(program.engine.GetFactDuplication());
  program.Expect(R"(
    (get-fact-duplication) --> FALSE ;; (assert (a 1)) (assert (a 1)) --> <Fact-1>\n<Fact-2>
    // With two equal facts a change takes the one that is meant.
    (duplicate 0 (price 5)) --> <Fact-3> ;; (modify 3 (price 9)) --> <Fact-4>
  )");
  EXPECT_TRUE(program.engine.GetFacts().GetFactByID(0));
}

TEST_F(FactFunctions, EngineFunctionsInsideActionsAreSafe) {
  for (const char* action : {"(clear)", "(reset)", "(halt)", "(retract *)", "(clear-focus-stack)", "(pop-focus)"}) {
    SCOPED_TRACE(action);
    TProgram own;
    own.Eval("(clear) (deftemplate a (slot x)) (defrule r ?f <- (a (x ?v)) => (printout t ?v) " + std::string(action) +
             " (printout t ?v)) (assert (a (x 1)) (a (x 2)))");
    own.Expect("(run 1) --> 221 ;; (+ 1 2) --> 3");
  }
}

TEST_F(FactFunctions, ARunInsideAnActionComesBack) {
  program.Eval(
      "(defglobal ?*nested* = FALSE)(defrule r (n ?v) => (printout t \"in \" ?v crlf)"
      " (if (not ?*nested*) then (bind ?*nested* TRUE) (run)) (printout t \"out \" ?v crlf)) (assert (n 1) (n 2))");
  const std::string printed = program.Eval("(run)");
  EXPECT_TRUE(printed.starts_with("in 2\nin 1\nout 1\nout 2\n")) << printed;
  EXPECT_EQ(program.engine.GetAgendaCount(), 0);
}

}  // namespace
