#include "tests/Program.h"

namespace kb {
namespace {

using kbtest::TEngine;

class Agenda : public testing::Test {
 protected:
  /// The facts of the agenda behind each step of a table.
  void Expect(std::string_view table) {
    const auto step = [this](const std::string& text) {
      engine.Do(text);
      std::string ids;
      for (int i = 0; i < engine.GetAgendaCount(); ++i)
        ids += engine.GetActivation(i)->GetToken()->ToFactsString() + " ";
      return ids;
    };
    kbtest::ExpectAnswers(step, table);
  }
  TEngine engine{
      "(defrule high (declare (salience 10)) (h ?) =>) (defrule zero (z ?) =>)"
      "(defrule low (declare (salience -1)) (l ?) =>)"};
};

TEST_F(Agenda, EqualSaliencesAreNewestFirstAtTheHeadAndWhereTheHalvingHitsInTheMiddle) {
  Expect(R"(
    (assert (h 1) (z 1) (z 2) (z 3) (z 4)) --> f-1 f-5 f-4 f-3 f-2\s ;; (assert (z 5)) --> f-1 f-5 f-6 f-4 f-3 f-2\s
    (assert (h 2) (h 3)) --> f-8 f-7 f-1 f-5 f-6 f-4 f-3 f-2\s
  )");
}

TEST_F(Agenda, BreadthFirstPutsEqualsBehind) {
  engine.SetStrategy(ssBreadthFirst);
  Expect(R"((assert (z 1) (l 1) (h 1) (z 2) (z 3) (l 2)) --> f-3 f-5 f-4 f-1 f-2 f-6\s)");
}

TEST_F(Agenda, AChangeOfStrategyRebuildsWithClonesThatARetractionStillFinds) {
  engine.Do("(assert (z 1) (z 2) (z 3))");
  int added = 0;
  engine.OnAddActivation = [&](TInferenceEngine&, int, TActivation&) { ++added; };
  engine.SetStrategy(ssDepthFirst);
  EXPECT_EQ(added, 0);
  engine.SetStrategy(ssBreadthFirst);
  EXPECT_EQ(added, 3);
  Expect(R"(--> f-3 f-2 f-1\s ;; (retract 2) --> f-3 f-1\s)");
}

TEST_F(Agenda, SalienceThatIsACallIsWorkedOutForEachActivation) {
  engine.Do("(defglobal ?*s* = 5) (defrule a (declare (salience (+ ?*s* 1))) (a ?) =>)");
  Expect(R"((assert (a 1) (h 1)) --> f-2 f-1\s ;; (bind ?*s* 10) (assert (a 2)) --> f-3 f-2 f-1\s)");
  EXPECT_EQ(engine.GetActivation(0)->GetRule()->GetSalience(), 11);
  EXPECT_EQ(engine.GetAgenda().GetText(2), "6 a : f-1 (1.0000)");
}

TEST_F(Agenda, EveryTimeSalienceIsWorkedOutAfterEachFiring) {
  kbtest::TProgram program;
  program.engine.SetEvalSalience(sEveryTime);
  program.Eval(
      "(defglobal ?*s* = 0) (defrule up (declare (salience 100)) (go) => (bind ?*s* 50))"
      "(defrule a (declare (salience ?*s*)) (x ?v) => (printout t a))"
      "(defrule b (declare (salience 10)) (x ?v) => (printout t b)) (assert (x 1)) (assert (go))");
  program.Expect("(run) --> ab3");
}

TEST_F(Agenda, LimitsAndHalt) {
  kbtest::TProgram program(
      "(defrule r (a ?x) => (printout t ?x)) (defrule stop (declare (salience 5)) (stop) => (halt) (printout t s))"
      "(assert (a 1) (a 2) (a 3))");
  program.Expect(R"(
    (run 0) (get-focus) --> 0\nMAIN ;; (run 1) --> 31 ;; (assert (stop)) (run) --> <Fact-4>\ns1 ;; (run) --> 212
    (get-focus) --> FALSE
  )");
}

TEST_F(Agenda, ActionsMayRemoveTheRuleTheKnowledgeOrRunTheEngineAgain) {
  kbtest::TProgram program(
      "(defrule r (a ?x) => (undefrule r) (printout t r ?x)) (defrule n (n) => (run) (printout t n))"
      "(defrule c (c) => (clear) (printout t c))");
  program.Expect(R"(
    (assert (a 1)) (assert (n)) (if (run) then nil) --> <Fact-1>\n<Fact-2>\nr1n ;; (assert (c)) (run) --> <Fact-3>\nc1
    (facts) --> For a total of 0 facts. ;; (reset) (facts) --> TRUE\nf-0 (Initial-Fact)\nFor a total of 1 facts.
  )");
}

}  // namespace
}  // namespace kb
