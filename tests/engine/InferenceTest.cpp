// The inference cycle as a host sees it: the order of everything that shows, and what is left when something
// raises.

#include <stdexcept>

#include "tests/Program.h"

namespace kb {
namespace {

using kbtest::TEngine;

using TLines = std::vector<std::string>;

class Inference : public testing::Test {
 protected:
  Inference() {
    engine.OnPrintOut = [this](TInferenceEngine&, std::string_view, std::string_view text) {
      log.emplace_back(TrimRight(text));
    };
  }
  void LogEvents() {
    engine.OnAddActivation = [this](TInferenceEngine&, int i, TActivation&) { Log("add " + std::to_string(i)); };
    engine.OnRemoveActivation = [this](TInferenceEngine&, int i, TActivation&) { Log("remove " + std::to_string(i)); };
    engine.OnAssertion = [this](TInferenceEngine&, const IFact& fact) { Log("assertion " + fact->ToString()); };
    engine.OnRetraction = [this](TInferenceEngine&, const IFact& fact) { Log("retraction " + fact->ToString()); };
    engine.OnRuleFired = [this](TInferenceEngine&, TRule& rule) { Log("fired " + rule.GetRuleName()); };
    engine.OnStartInference = [this](TInferenceEngine&) { Log("start"); };
    engine.OnEndInference = [this](TInferenceEngine&, int32_t n) { Log("end " + std::to_string(n)); };
    engine.OnPushFocus = [this](TInferenceEngine&, const IModule& m) { Log("push " + m->GetName()); };
    engine.OnPopFocus = [this](TInferenceEngine&, const IModule& m) { Log("pop " + m->GetName()); };
    engine.OnChangeCurrentModule = [this](TInferenceEngine&) { Log("module"); };
    engine.GetRete().OnActivation = [this](TReteNetwork&, TActivation&) { Log("network add"); };
    engine.GetRete().OnDeactivation = [this](TReteNetwork&, TActivation&) { Log("network remove"); };
    engine.GetRete().OnRuleFired = [this](TReteNetwork&, TActivation&) { Log("network fired"); };
  }
  void Log(std::string line) { log.push_back(std::move(line)); }
  TLines Taken() { return std::exchange(log, {}); }

  TEngine engine;
  TLines log;
};

TEST_F(Inference, OneAssertAndOneFiringEndToEnd) {
  engine.Do("(defrule r ?f <- (a ?x) => (printout t \"action\" crlf) (retract ?f) (assert (b)))");
  LogEvents();
  engine.GetRules().FindRule("r")->OnFire = [this](TRule&, TKBContext&) { Log("fire"); };
  engine.SetWatch({cwActivation, cwFact, cwRule, cwFocus});
  engine.Assert("(a 1)");
  EXPECT_EQ(Taken(), TLines({"==> Activation: 0 r : f-1 (1.0000)", "add 0", "network add", " ==> f-1 (a 1 )",
                             "assertion (a 1 )"}));
  EXPECT_EQ(engine.Run(), 1);
  EXPECT_EQ(Taken(), TLines({"start", "FIRE 0 r f-1", "fire", "action", "retraction (a 1 )", "remove 0",
                             "<== Activation: r : f-1", "network remove", " <== f-1 (a 1 )", " ==> f-2 (b)",
                             "assertion (b)", "fired r", "network fired", "<== Focus MAIN", "pop MAIN", "end 1"}));
  EXPECT_EQ(engine.Run(), 0);
  EXPECT_EQ(Taken(), TLines({"start", "==> Focus MAIN", "module", "push MAIN", "<== Focus MAIN", "pop MAIN", "end 0"}));
  EXPECT_FALSE(engine.IsRunning());
}

TEST_F(Inference, LimitsLeaveFocusAndAgendaToTheNextRun) {
  engine.Do("(defrule r (a ?x) =>) (assert (a 1)) (assert (a 2))");
  LogEvents();
  log.clear();
  EXPECT_EQ(engine.Run(0), 0);
  EXPECT_EQ(engine.Run(-5), 0);
  EXPECT_EQ(Taken(), TLines({"start", "end 0", "start", "end 0"}));
  EXPECT_EQ(engine.Run(1), 1);
  EXPECT_EQ(Taken(), TLines({"start", "fired r", "remove 0", "network fired", "end 1"}));
  // The agenda is empty when the limit is reached: the focus goes all the same.
  EXPECT_EQ(engine.Run(1), 1);
  EXPECT_EQ(Taken(), TLines({"start", "fired r", "remove 0", "network fired", "pop MAIN", "end 1"}));
}

TEST_F(Inference, StatisticsAreCountedAfterEachFiringWhenWatched) {
  engine.Do("(defrule r (a ?x) => (assert (b ?x))) (assert (a 1)) (assert (a 2))");
  engine.Run(1);
  EXPECT_EQ(engine.GetStatMeanFacts(), 0.0F);
  EXPECT_GT(engine.GetStatRunTime(), 1e9);
  engine.SetWatch(cwStatistics);
  engine.Assert("(a 3)");
  log.clear();
  EXPECT_EQ(engine.Run(), 2);
  EXPECT_EQ(engine.GetStatMaxFacts(), 7);
  EXPECT_EQ(engine.GetStatMeanActivations(), 0.5F);
  EXPECT_LT(engine.GetStatRunTime(), 1000);
  ASSERT_EQ(log.size(), 4U);
  EXPECT_TRUE(log[0].starts_with("2 rules fired.     Run time is 0.") && log[0].ends_with(" seconds")) << log[0];
  EXPECT_TRUE(log[1].ends_with(" rules per second")) << log[1];
  EXPECT_EQ(log[2], "6.5000 mean number of facts (7 maximum)");
  EXPECT_EQ(log[3], "0.5000 mean number of activations (2 maximum)");
  log.clear();
  engine.Run();
  EXPECT_EQ(log, TLines());
}

TEST_F(Inference, AFailedFiringLeavesTheAgendaWithItsEventAndWhatItAsserted) {
  engine.Do("(defrule r (a ?x) => (assert (b ?x)) (throw \"no\")) (assert (a 1)) (assert (a 2))");
  LogEvents();
  engine.SetWatch(cwActivation);
  log.clear();
  EXPECT_THROW(engine.Run(), EException);
  EXPECT_EQ(Taken(), TLines({"start", "assertion (b 2 )", "remove 0", "<== Activation: r : f-2", "network remove"}));
  EXPECT_EQ(engine.GetAgendaCount(), 1);
  EXPECT_EQ(engine.GetStatNumRulesFired(), 0);
  EXPECT_TRUE(engine.IsRunning());
  EXPECT_EQ(engine.GetCurrentAgendaItem(), nullptr);
  EXPECT_EQ(engine.GetFocusStack().GetCount(), 1);
  EXPECT_EQ(engine.GetFacts().GetCount(), 4);
}

TEST_F(Inference, AHandlerThatRaisesEndsTheRunAndLosesNothing) {
  engine.Do("(defrule r (a ?x) => (printout t ?x)) (assert (a 1)) (assert (a 2))");
  log.clear();
  engine.OnRuleFired = [](TInferenceEngine&, TRule&) { throw std::runtime_error("host"); };
  EXPECT_THROW(engine.Run(), std::runtime_error);
  EXPECT_EQ(engine.GetAgendaCount(), 1);
  EXPECT_EQ(engine.GetStatNumRulesFired(), 0);
  engine.OnRuleFired = nullptr;
  engine.OnRemoveActivation = [](TInferenceEngine&, int, TActivation&) { throw std::runtime_error("host"); };
  EXPECT_THROW(engine.Run(), std::runtime_error);
  EXPECT_EQ(engine.GetAgendaCount(), 0);
  EXPECT_EQ(log, TLines({"2", "1"}));
}

TEST_F(Inference, ARebuildThatRaisesKeepsEveryEntry) {
  engine.SetEvalSalience(sEveryTime);
  engine.Do(
      "(defglobal ?*s* = 0) (deffunction s () (if (eq ?*s* bad) then (throw \"bad\") else ?*s*))"
      "(defrule up (declare (salience 100)) (go) => (bind ?*s* bad))"
      "(defrule r (declare (salience (s))) (a ?x) => (printout t ?x))(assert (a 1)) (assert (a 2)) (assert (go))");
  log.clear();
  EXPECT_THROW(engine.Run(), EException);
  EXPECT_EQ(engine.GetAgendaCount(), 2);
  engine.Do("(bind ?*s* 7)");
  engine.Retract(1);
  log.clear();
  EXPECT_EQ(engine.Run(), 1);
  EXPECT_EQ(log, TLines({"2"}));
}

TEST_F(Inference, ARebuildFollowsWhatItsHandlersRetractAndFiresNothingAgain) {
  engine.RegisterFunction("breadth", [](TFunctionArguments& arguments) {
    arguments.Engine().SetStrategy(ssBreadthFirst);
    return FCTrue;
  });
  engine.Do("(defrule r (a ?x) => (breadth) (printout t ?x)) (assert (a 1)) (assert (a 2)) (assert (a 3))");
  log.clear();
  EXPECT_EQ(engine.Run(), 3);
  // The agenda stood as 3 2 1, and the rebuild keeps that order under the other strategy.
  EXPECT_EQ(Taken(), TLines({"3", "2", "1"}));
  engine.PushFocus("MAIN");
  engine.SetStrategy(ssDepthFirst);
  engine.Do("(assert (a 4)) (assert (a 5)) (assert (a 6))");
  engine.OnAddActivation = [](TInferenceEngine& e, int, TActivation&) { e.Retract(4); };
  engine.SetStrategy(ssBreadthFirst);
  engine.OnAddActivation = nullptr;
  log.clear();
  EXPECT_EQ(engine.Run(), 2);
  EXPECT_EQ(log, TLines({"6", "5"}));
}

TEST_F(Inference, ActivationsOfAHostFireAndGoWithTheirFacts) {
  engine.Do("(defrule r (a ?x) => (printout t ?x)) (assert (a 1)) (assert (a 2))");
  const Ref<TActivation> copy = engine.GetActivation(1)->Clone();
  EXPECT_EQ(engine.Run(), 2);
  engine.PushFocus("MAIN");
  engine.AddActivation(copy);
  EXPECT_EQ(engine.GetAgendaCount(), 1);
  engine.Retract(1);
  EXPECT_EQ(engine.GetAgendaCount(), 0);
  engine.AddActivation(copy->Clone());
  engine.SetExpertSystem("(deffacts s (b 1)) (defrule new (b ?x) => (printout t ?x))");
  EXPECT_FALSE(engine.GetRules().ContainsKey("r")) << "the text replaces everything";
  EXPECT_EQ(engine.GetFacts().ToString(), "(b 1 )\r\n(Initial-Fact)");
  EXPECT_EQ(engine.Run(), 1);
}

}  // namespace
}  // namespace kb
