#include "tests/Program.h"

namespace kb {
namespace {

using kbtest::TEngine;

using TLines = std::vector<std::string>;

class Agenda : public testing::Test {
 protected:
  Agenda() {
    engine.OnPrintOut = [this](TInferenceEngine&, std::string_view, std::string_view text) { output += text; };
  }
  std::string Ids() {
    std::string ids;
    for (int i = 0; i < engine.GetAgendaCount(); ++i) ids += engine.GetActivation(i)->GetToken()->ToFactsString() + " ";
    return ids;
  }
  TEngine engine;
  std::string output;
};

constexpr const char* kRules =
    "(defrule high (declare (salience 10)) (h ?) =>) (defrule zero (z ?) =>) (defrule low (declare (salience -1)) (l "
    "?) =>)";

TEST_F(Agenda, EqualSaliencesAreNewestFirstAtTheHeadAndWhereTheHalvingHitsInTheMiddle) {
  engine.Do(kRules);
  for (const char* fact : {"(h 1)", "(z 1)", "(z 2)", "(z 3)", "(z 4)"}) engine.Assert(fact);
  EXPECT_EQ(Ids(), "f-1 f-5 f-4 f-3 f-2 ");
  engine.Assert("(z 5)");
  EXPECT_EQ(Ids(), "f-1 f-5 f-6 f-4 f-3 f-2 ");
}

TEST_F(Agenda, BreadthFirstPutsEqualsBehind) {
  engine.SetStrategy(ssBreadthFirst);
  engine.Do(kRules);
  for (const char* fact : {"(z 1)", "(l 1)", "(h 1)", "(z 2)", "(z 3)", "(l 2)"}) engine.Assert(fact);
  EXPECT_EQ(Ids(), "f-3 f-5 f-4 f-1 f-2 f-6 ");
}

TEST_F(Agenda, AChangeOfStrategyRebuildsWithClonesThatARetractionStillFinds) {
  engine.Do(kRules);
  for (const char* fact : {"(z 1)", "(z 2)", "(z 3)"}) engine.Assert(fact);
  int added = 0;
  engine.OnAddActivation = [&](TInferenceEngine&, int, TActivation&) { ++added; };
  engine.SetStrategy(ssDepthFirst);
  EXPECT_EQ(added, 0);
  engine.SetStrategy(ssBreadthFirst);
  EXPECT_EQ(added, 3);
  EXPECT_EQ(Ids(), "f-3 f-2 f-1 ");
  engine.Retract(2);
  EXPECT_EQ(Ids(), "f-3 f-1 ");
}

TEST_F(Agenda, SalienceThatIsACallIsWorkedOutForEachActivation) {
  engine.Do(
      "(defglobal ?*s* = 5) (defrule a (declare (salience (+ ?*s* 1))) (a ?) =>) (defrule b (declare (salience 7)) (b "
      "?) =>)");
  engine.Assert("(a 1)");
  engine.Assert("(b 1)");
  EXPECT_EQ(Ids(), "f-2 f-1 ");
  engine.Do("(bind ?*s* 10)");
  engine.Assert("(a 2)");
  EXPECT_EQ(engine.GetActivation(0)->GetRule()->GetSalience(), 11);
  EXPECT_EQ(engine.GetAgenda().GetText(2), "6 a : f-1 (1.0000)");
}

TEST_F(Agenda, EveryTimeSalienceIsWorkedOutAfterEachFiring) {
  engine.SetEvalSalience(sEveryTime);
  engine.Do(
      "(defglobal ?*s* = 0)(defrule up (declare (salience 100)) (go) => (bind ?*s* 50))"
      "(defrule a (declare (salience ?*s*)) (x ?v) => (printout t a))"
      "(defrule b (declare (salience 10)) (x ?v) => (printout t b))");
  engine.Assert("(x 1)");
  engine.Assert("(go)");
  EXPECT_EQ(engine.Run(), 3);
  EXPECT_EQ(output.substr(output.size() - 2), "ab");
}

TEST_F(Agenda, EventsOfOneFiringComeInTheirOrder) {
  engine.Do("(defrule r ?f <- (a) => (retract ?f) (assert (b)))");
  TLines events;
  const auto log = [&](const std::string& text) { events.push_back(text); };
  engine.OnStartInference = [&](TInferenceEngine&) { log("start"); };
  engine.OnEndInference = [&](TInferenceEngine&, int32_t n) { log("end " + std::to_string(n)); };
  engine.OnAddActivation = [&](TInferenceEngine&, int, TActivation&) { log("add"); };
  engine.OnRemoveActivation = [&](TInferenceEngine&, int, TActivation&) { log("remove"); };
  engine.OnRuleFired = [&](TInferenceEngine&, TRule&) { log("fired"); };
  engine.OnAssertion = [&](TInferenceEngine&, const IFact& f) { log("assert " + f->ToString()); };
  engine.OnRetraction = [&](TInferenceEngine&, const IFact& f) { log("retract " + f->ToString()); };
  engine.OnPopFocus = [&](TInferenceEngine&, const IModule& m) { log("pop " + m->GetName()); };
  engine.GetRules().FindRule("r")->OnFire = [&](TRule&, TKBContext&) { log("fire"); };
  engine.Assert("(a)");
  EXPECT_EQ(engine.Run(), 1);
  EXPECT_EQ(events, TLines({"add", "assert (a)", "start", "fire", "retract (a)", "remove", "assert (b)", "fired",
                            "pop MAIN", "end 1"}));
}

TEST_F(Agenda, LimitsAndHalt) {
  engine.Do(
      "(defrule r (a ?x) => (printout t ?x)) (defrule stop (declare (salience 5)) (stop) => (halt) (printout t s))");
  for (const char* fact : {"(a 1)", "(a 2)", "(a 3)"}) engine.Assert(fact);
  EXPECT_EQ(engine.Run(0), 0);
  EXPECT_EQ(engine.GetFocusStack().GetCount(), 1);
  EXPECT_EQ(engine.Run(1), 1);
  engine.Assert("(stop)");
  EXPECT_EQ(engine.Run(), 1);
  EXPECT_EQ(output, "3s");
  EXPECT_EQ(engine.GetAgendaCount(), 2);
  EXPECT_EQ(engine.Run(), 2);
  EXPECT_EQ(engine.GetFocusStack().GetCount(), 0);
}

TEST_F(Agenda, AFailingActionIsNotCountedAndLeavesNothingBehind) {
  engine.Do("(defrule r (a ?x) => (assert (b)) (throw \"no\"))");
  engine.Assert("(a 1)");
  engine.Assert("(a 2)");
  EXPECT_THROW(engine.Run(), EException);
  EXPECT_TRUE(engine.IsRunning());
  EXPECT_EQ(engine.GetStatNumRulesFired(), 0);
  EXPECT_EQ(engine.GetAgendaCount(), 1);
  EXPECT_EQ(engine.GetFacts().GetCount(), 4);
  engine.Retract(2);
  EXPECT_THROW(engine.Run(), EException);
  EXPECT_EQ(engine.GetAgendaCount(), 0);
}

TEST_F(Agenda, ActionsMayRemoveTheRuleTheKnowledgeOrRunTheEngineAgain) {
  engine.RegisterFunction(
      "forget-rule",
      [](TFunctionArguments& arguments) {
        arguments.Engine().GetRules().Remove(arguments[0]->GetAsString().View());
        return FCTrue;
      },
      1, 1);
  engine.Do(
      "(defrule r (a ?x) => (forget-rule r) (printout t r ?x)) (defrule n (n) => (run) (printout t n))"
      "(defrule c (c) => (clear) (printout t c))");
  engine.Assert("(a 1)");
  engine.Assert("(n)");
  engine.Run();
  EXPECT_EQ(output, "r1n");
  engine.Assert("(c)");
  EXPECT_EQ(engine.Run(), 1);
  EXPECT_EQ(output, "r1nc");
  EXPECT_EQ(engine.GetFacts().GetCount(), 0);
  engine.Reset();
  EXPECT_EQ(engine.GetFacts().GetCount(), 1);
}

}  // namespace
}  // namespace kb
