// Rules in a host's hands: properties, copies, moves between modules and engines, and their end.

#include <stdexcept>

#include "tests/Program.h"

namespace kb {
namespace {

using kbtest::TEngine;

std::string Agenda(TInferenceEngine& engine) {
  std::string text;
  for (int i = 0; i < engine.GetAgendaCount(); ++i) text += engine.GetAgenda().GetText(i) + "; ";
  return text;
}

TRule& RuleOf(TInferenceEngine& engine, std::string_view name) { return *engine.GetRules().FindRule(name); }

std::unique_ptr<TRule> HostRule(TInferenceEngine& engine, std::string_view name) {
  auto rule = std::make_unique<TRule>(nullptr, name, "");
  rule->BeginUpdate();
  rule->SetEngine(&engine);
  rule->AddPattern(std::make_unique<TKBPattern>(rule.get(), engine.CreateFactTemplate("a")));
  rule->EndUpdate();
  return rule;
}

TEST(Rule, PropertiesTakeEffectWithoutCompiling) {
  TEngine engine("(defrule r (a ?x) =>) (defrule s (a ?x) =>) (assert (a 1)) (assert (a 2))");
  engine.Run(1);
  const std::string before = Agenda(engine);
  const TRule& s = RuleOf(engine, "s");
  TRule& r = RuleOf(engine, "r");
  int changes = 0;
  r.OnChange = [&](TRule&) { ++changes; };
  r.SetSalienceInteger(50);
  r.SetSalience(MakeInteger(60));
  r.SetAutoFocus(true);
  r.SetOneShot(true);
  r.SetEnabled(false);
  r.SetEnabled(false);
  r.SetComment("c");
  EXPECT_EQ(Agenda(engine), before);
  EXPECT_EQ(changes, 6);
  engine.Assert("(a 3)");
  EXPECT_EQ(engine.GetAgendaCount(), 4);  // the disabled rule has no part in it
  EXPECT_EQ(engine.GetActivation(3)->GetRule(), &s);
  r.SetEnabled(true);
  r.Reset();
  engine.Assert("(a 4)");
  EXPECT_EQ(engine.GetAgenda().GetText(0), "60 r : f-4 (1.0000)");
  // What is compiled is compiled anew: the facts that stand now activate both rules.
  r.AddAction(engine.ParseFunCall("(halt)"));
  EXPECT_EQ(changes, 8);
  EXPECT_EQ(engine.GetAgendaCount(), 8);
  EXPECT_EQ(engine.GetAgenda().GetText(3), "60 r : f-1 (1.0000)");
}

TEST(Rule, ARefusedSalienceKeepsTheOldOne) {
  TEngine engine("(defglobal ?*s* = 3) (defrule r (declare (salience ?*s*)) (a) =>)");
  TRule& rule = RuleOf(engine, "r");
  EXPECT_THROW(rule.SetSalience(engine.ParseValue("(throw no)")), EException);
  EXPECT_THROW(rule.SetSalience(MakeRef<TKBValue>(TKBText("unbound"), dtVariable)), EKBException);
  engine.Do("(bind ?*s* 4)");
  EXPECT_EQ(rule.EvaluateSalience(), 4);
  rule.SetSalienceInteger(9);
  engine.Assert("(a)");
  EXPECT_EQ(Agenda(engine), "9 r : f-1 (1.0000); ");
}

TEST(Rule, MovesBetweenEnginesOrStaysWhereItWas) {
  TInferenceEngine first;
  TEngine second;
  const auto rule = HostRule(first, "r");
  first.Assert("(a)");
  EXPECT_EQ(first.GetAgendaCount(), 1);
  second.Do("(assert (a)) (defrule r (b) =>)");
  second.SetDuplicateConstructs(dcError);
  EXPECT_THROW(rule->SetEngine(&second), EKBException);
  EXPECT_EQ(rule->GetEngine(), &first);
  EXPECT_EQ(first.GetAgendaCount(), 1);
  rule->SetRuleName("t");
  rule->SetEngine(&second);
  EXPECT_FALSE(first.GetRules().ContainsKey("t"));
  EXPECT_EQ(first.GetAgendaCount(), 0);
  EXPECT_EQ(second.GetAgendaCount(), 1);
}

TEST(Rule, GoesFromItsEngineWhenItsOwnerFreesIt) {
  TEngine engine("(assert (a))");
  std::string removed;
  engine.OnRemoveRule = [&](TInferenceEngine&, TRule& rule) {
    removed += rule.GetRuleName();
    throw std::runtime_error("host");
  };
  auto rule = HostRule(engine, "r");
  EXPECT_EQ(engine.GetAgendaCount(), 1);
  rule.reset();
  EXPECT_EQ(removed, "r");
  EXPECT_FALSE(engine.GetRules().ContainsKey("r"));
  EXPECT_EQ(engine.GetAgendaCount(), 0);
}

TEST(Rule, ForgetsAnEngineThatHasGoneOrNeverTookIt) {
  TRule rule(nullptr, "r", "");
  TRule taken(nullptr, "taken", "");
  {
    TEngine engine("(defrule r (a) =>)");
    engine.SetDuplicateConstructs(dcIgnore);
    rule.SetEngine(&engine);
    taken.SetEngine(&engine);
    EXPECT_TRUE(engine.IsRegistered(taken) && !engine.IsRegistered(rule));
    EXPECT_EQ(rule.GetEngine(), &engine);
  }
  EXPECT_TRUE(rule.GetEngine() == nullptr && taken.GetEngine() == nullptr);
}

TEST(Rule, ANameIsChangedInTheRegistryAlsoDuringAnUpdate) {
  TEngine engine("(defrule r (a) =>) (defrule s (a) =>)");
  TRule& rule = RuleOf(engine, "r");
  rule.BeginUpdate();
  EXPECT_THROW(rule.SetRuleName("s"), EKBException);
  rule.SetRuleName("t");
  rule.EndUpdate();
  EXPECT_EQ(engine.GetRules().FindRule("t"), &rule);
  EXPECT_FALSE(engine.GetRules().ContainsKey("r"));
  engine.RenameRule("t", "u");
  engine.Assert("(a)");
  EXPECT_EQ(Agenda(engine), "0 u : f-1 (1.0000); 0 s : f-1 (1.0000); ");
}

TEST(Rule, ACopyThatFailsLeavesTheTargetAsItWas) {
  TEngine engine("(deftemplate p (slot x)) (defrule good (declare (salience 3) (oneshot TRUE)) (p (x ?v)) => (halt))");
  TRule target(&engine, "target", "");  // of the engine, and not registered
  target.Assign(RuleOf(engine, "good"));
  target.Assign(target);
  target.SetPatterns(target);
  const std::string was = target.ToString();
  EXPECT_EQ("(defrule MAIN::" + was.substr(9), RuleOf(engine, "good").ToString());
  // Its pattern negates a variable that nothing binds, which only shows when the pattern comes to a rule.
  TRule bad(&engine, "bad", "");
  bad.AddPattern(std::make_unique<TKBPattern>(&engine, engine.FindFactTemplate("p")));
  bad.GetPattern(bad.GetPatternCount() - 1)
      .AddTest("x", MakeRef<TKBValue>(TKBText("free"), dtVariable), NoSubIndex, true);
  EXPECT_THROW(target.Assign(bad), EKBException);
  EXPECT_EQ(target.ToString(), was);
}

TEST(Rule, WithoutPatternsItWaitsForTheInitialFactOnce) {
  TEngine engine("(defrule r (a) =>)");
  int added = 0;
  engine.OnAddActivation = [&](TInferenceEngine&, int, TActivation&) { ++added; };
  RuleOf(engine, "r").ClearPatterns();
  EXPECT_EQ(RuleOf(engine, "r").GetPatternCount(), 1);
  EXPECT_EQ(added, 1);
  EXPECT_EQ(engine.GetAgendaCount(), 1);
}

}  // namespace
}  // namespace kb
