#include "kb/engine/KBFactList.h"
#include "tests/functions/Program.h"

namespace {

using kbtest::ExpectEach;
using kbtest::TCase;
using kbtest::TProgram;

// The facts, one in a line.
std::string Facts(const TProgram& program) {
  return kb::ReplaceAll(program.engine.GetFacts().ToString(), "\r\n", "\n");
}

class FactFunctions : public testing::Test {
 protected:
  FactFunctions() {
    program.Eval(
        "(clear) (deftemplate item (slot name) (slot price (type INTEGER) (default 0)) (multislot tags))"
        "(assert (item (name ball) (price 5) (tags red round)))");
  }
  TProgram program;
};

TEST_F(FactFunctions, AssertGivesTheIdOfTheLastFact) {
  EXPECT_EQ(program.Eval("(assert (a 1) (b 2))"), "<Fact-2>");
  EXPECT_EQ(program.Eval("(assert (a 1))"), "FALSE");
  EXPECT_EQ(program.Eval("(assert)"), "FALSE");
  EXPECT_EQ(program.Eval("(bind ?x 7) (assert (c ?x (+ ?x 1) (create$ 1 2)))"), "7\n<Fact-3>");
  EXPECT_EQ(Facts(program), "(item (name ball) (price 5) (tags red round ))\n(a 1 )\n(b 2 )\n(c 7 8 1 2 )");
}

TEST_F(FactFunctions, TheSameCallAssertsAnewEachTime) {
  program.Eval("(foreach i (create$ 1 2) (assert (n ?i)))");
  EXPECT_EQ(Facts(program), "(item (name ball) (price 5) (tags red round ))\n(n 1 )\n(n 2 )");
}

TEST_F(FactFunctions, AssertAndRetractByText) {
  EXPECT_EQ(program.Eval("(assert-string \"(a 1)\" \"(b 2)\")"), "<Fact-2>");
  EXPECT_EQ(program.Eval("(assert-string \"(a 1)\")"), "<Fact--1>");
  EXPECT_EQ(program.Eval("(retract-string \"(a 1)\" \"(never 5)\")"), "TRUE");
  EXPECT_EQ(Facts(program), "(item (name ball) (price 5) (tags red round ))\n(b 2 )");
  EXPECT_EQ(program.Eval("(retract-string)"), "TRUE");
  EXPECT_TRUE(program.Eval("(assert-string \"(a\")").starts_with("!Parsing Error"));
}

TEST_F(FactFunctions, Retract) {
  program.Eval("(assert (a 1) (b 2) (c 3))");
  EXPECT_EQ(program.Eval("(retract 1 99 2)"), "!Unable to find fact f-99");
  EXPECT_EQ(Facts(program), "(item (name ball) (price 5) (tags red round ))\n(b 2 )\n(c 3 )");
  EXPECT_EQ(program.Eval("(retract 2 3)"), "TRUE");
  EXPECT_EQ(program.Eval("(retract *)"), "TRUE");
  EXPECT_EQ(Facts(program), "");
  EXPECT_EQ(program.Eval("(retract a)"), "!Not a fact id type.  Value (a) is a dtAtom type");
}

TEST_F(FactFunctions, ModifyKeepsTheFactAndGivesANewId) {
  const kb::IFact fact = program.engine.GetFacts().Get(0);
  EXPECT_EQ(program.Eval("(bind ?p 8) (modify 0 (price (+ ?p 1)) (tags a ?p (create$ b c)))"), "8\n<Fact-1>");
  EXPECT_EQ(Facts(program), "(item (name ball) (price 9) (tags a 8 b c ))");
  EXPECT_EQ(program.engine.GetFacts().Get(0), fact);
  EXPECT_EQ(program.Eval("(modify 1 (tags one))"), "<Fact-2>");
  EXPECT_EQ(program.Eval("(bind ?l (create$ x y)) (modify 2 (tags ?l))"), "x y \n<Fact-3>");
  EXPECT_EQ(Facts(program), "(item (name ball) (price 9) (tags x y ))");
  EXPECT_EQ(program.Eval("(modify 0 (price 1))"), "!No Such Fact with ID=0 exists");
}

TEST_F(FactFunctions, ModifyLeavesBoundValuesAlone) {
  program.Eval("(bind ?old (get-slot-value 0 tags)) (bind ?price (get-slot-value 0 price))");
  program.Eval("(modify 0 (price 77) (tags other))");
  EXPECT_EQ(program.Eval("(printout t ?old ?price)"), "(red round )5");
  program.Eval(
      "(defrule keep ?f <- (item (price 77) (tags $?t)) => (modify ?f (price 1) (tags new)) "
      "(printout t ?t))(run)");
  EXPECT_EQ(program.output, "(other )1\r\n");
}

TEST_F(FactFunctions, AModifyThatFailsLosesNothing) {
  const std::string before = Facts(program);
  EXPECT_EQ(program.Eval("(modify 0 (name x) (price (throw oops)))"), "!oops");
  EXPECT_EQ(program.Eval("(modify 0 (name x) (nosuch 1))"), "!No such slot name: \"nosuch\"");
  EXPECT_EQ(Facts(program), before);
  // A rule goes on with the id that it has.
  program.Eval("(defrule r ?f <- (item (price 5)) => (try (modify ?f (price (/ 1 0))) catch (modify ?f (price 6))))");
  EXPECT_EQ(program.Eval("(run)"), "1");
  EXPECT_EQ(Facts(program), "(item (name ball) (price 6) (tags red round ))");
}

TEST_F(FactFunctions, AModifyThatTheTypeCheckRefusesLosesNothing) {
  program.engine.SetTypeChecks({kb::tcStatic, kb::tcDynamic});
  const std::string before = Facts(program);
  EXPECT_TRUE(program.Eval("(modify 0 (name x) (price (sym-cat ab)))").starts_with("!Not a INTEGER type"));
  EXPECT_EQ(Facts(program), before);
  EXPECT_TRUE(program.engine.GetFacts().GetFactByID(0));
}

TEST_F(FactFunctions, AHandlerThatRaisesDuringModifyLosesNothing) {
  program.engine.OnRetraction = [](kb::TInferenceEngine&, const kb::IFact&) { throw kb::EException("handler"); };
  EXPECT_EQ(program.Eval("(modify 0 (price 1))"), "!handler");
  program.engine.OnRetraction = nullptr;
  EXPECT_EQ(Facts(program), "(item (name ball) (price 5) (tags red round ))");
}

TEST_F(FactFunctions, DuplicateLeavesTheSource) {
  EXPECT_EQ(program.Eval("(bind ?t x) (duplicate 0 (price 6) (tags ?t y))"), "x\n<Fact-1>");
  EXPECT_EQ(Facts(program), "(item (name ball) (price 5) (tags red round ))\n(item (name ball) (price 6) (tags x y ))");
  EXPECT_EQ(program.Eval("(duplicate 0 (price 5))"), "<Fact--1>");
  EXPECT_EQ(program.Eval("(duplicate 0)"), "!Too few arguments for duplicate");
}

TEST_F(FactFunctions, GetSlotValue) {
  EXPECT_EQ(program.Eval("(get-slot-value 0 price)"), "5");
  EXPECT_EQ(program.Eval("(assert (a 1 2)) (get-slot-value 1)"), "<Fact-1>\n1 2 ");
  EXPECT_EQ(program.Eval("(get-slot-value 9 price)"), "!No Such Fact with ID=9 exists");
  EXPECT_EQ(program.Eval("(get-slot-value 0 nosuch)"), "!No such slot name: \"nosuch\"");
  EXPECT_EQ(program.Eval("(get-slot-value a price)"),
            "!Invalid argument type for deffunction: \"dtAtom\".  Expected FactId, Fact");
}

TEST_F(FactFunctions, DuplicationFlagIsTheOppositeOfTheProperty) {
  EXPECT_EQ(program.Eval("(get-fact-duplication)"), "TRUE");
  EXPECT_EQ(program.Eval("(set-fact-duplication FALSE)"), "TRUE");
  EXPECT_TRUE(program.engine.GetFactDuplication());
  EXPECT_EQ(program.Eval("(get-fact-duplication)"), "FALSE");
  EXPECT_EQ(program.Eval("(assert (a 1)) (assert (a 1))"), "<Fact-1>\n<Fact-2>");
  // With two equal facts a change takes the one that is meant.
  EXPECT_EQ(program.Eval("(duplicate 0 (price 5))"), "<Fact-3>");
  EXPECT_EQ(program.Eval("(modify 3 (price 9))"), "<Fact-4>");
  EXPECT_TRUE(program.engine.GetFacts().GetFactByID(0));
}

TEST(BackwardChaining, AsksForAMissingFact) {
  TProgram program;
  program.Eval(
      "(deftemplate item (slot name)) (deftemplate price (slot item) (slot value)) (do-backward-chaining "
      "price)"
      "(defrule buy (item (name ?n)) (price (item ?n) (value ?p)) => (printout t ?n \" costs \" ?p crlf))"
      "(defrule ask (need-price (item ?n)) => (printout t \"asked for \" ?n crlf)"
      " (assert (price (item ?n) (value 3)))) (reset)");
  EXPECT_EQ(program.Eval("(assert (item (name cup))) (run)"), "<Fact-1>\nasked for cup\ncup costs 3\n2");
  EXPECT_EQ(program.Eval("(do-backward-chaining test)"), "!Cannot backchain on special CEs: test");
  EXPECT_EQ(program.Eval("(do-backward-chaining not)"), "!Cannot backchain on special CEs: not");
  EXPECT_EQ(program.Eval("(do-backward-chaining price unknown)"), "TRUE");
  EXPECT_NE(program.engine.FindFactTemplate("need-unknown"), nullptr);
}

TEST_F(FactFunctions, EngineFunctionsInsideActionsAreSafe) {
  for (const char* action : {"(clear)", "(reset)", "(halt)", "(retract *)", "(clear-focus-stack)", "(pop-focus)"}) {
    TProgram own;
    own.Eval("(clear) (deftemplate a (slot x))");
    own.Eval("(defrule r ?f <- (a (x ?v)) => (printout t ?v) " + std::string(action) + " (printout t ?v))");
    own.Eval("(assert (a (x 1)) (a (x 2)))");
    EXPECT_EQ(own.Eval("(run 1)"), "221") << action;
    EXPECT_EQ(own.Eval("(+ 1 2)"), "3") << action;
  }
}

TEST_F(FactFunctions, ARunInsideAnActionComesBack) {
  program.Eval(
      "(defglobal ?*nested* = FALSE)"
      "(defrule r (n ?v) => (printout t \"in \" ?v crlf)"
      " (if (not ?*nested*) then (bind ?*nested* TRUE) (run)) (printout t \"out \" ?v crlf))"
      "(assert (n 1) (n 2))");
  const std::string printed = program.Eval("(run)");
  EXPECT_TRUE(printed.starts_with("in 2\n")) << printed;
  EXPECT_NE(printed.find("in 1\nout 1\n"), std::string::npos) << printed;
  EXPECT_NE(printed.find("out 2\n"), std::string::npos) << printed;
  EXPECT_EQ(program.engine.GetAgendaCount(), 0);
}

}  // namespace
