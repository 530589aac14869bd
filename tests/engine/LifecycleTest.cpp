#include "tests/Program.h"

namespace kb {
namespace {

using kbtest::TEngine;

TEST(Engine, ANewEngineHoldsTheMainModuleAndTheInitialFact) {
  const TInferenceEngine engine;
  EXPECT_EQ(engine.GetModules().GetCount(), 1);
  EXPECT_EQ(engine.GetCurrentModule()->GetName(), "MAIN");
  EXPECT_EQ(engine.GetFocusStack().GetCount(), 1);
  ASSERT_EQ(engine.GetFacts().GetCount(), 1);
  EXPECT_EQ(engine.GetFacts().Get(0)->GetToIDString(), "f-0 (Initial-Fact)");
  EXPECT_EQ(engine.GetFactIdCounter(), 1);
  EXPECT_TRUE(engine.ContainsUserFunction("printout"));
}

TEST(Engine, ClearKeepsBuiltInsAndGlobalsAndResetBringsTheInitialFactBack) {
  TEngine engine(
      "(defglobal ?*g* = 3) (deffunction f () 1) (deftemplate t (slot a)) (defrule r (t) =>) (assert (t (a 1)))"
      "(deffacts s (x 1) (x 2))");
  engine.Clear();
  EXPECT_EQ(engine.GetFacts().GetCount(), 0);
  EXPECT_EQ(engine.GetRules().GetCount(), 0);
  EXPECT_EQ(engine.GetFactSets().GetCount(), 0);
  EXPECT_EQ(engine.GetAgendaCount(), 0);
  EXPECT_EQ(engine.FindFactTemplate("t"), nullptr);
  EXPECT_FALSE(engine.ContainsUserFunction("f"));
  EXPECT_TRUE(engine.ContainsUserFunction("+"));
  EXPECT_TRUE(engine.GetGlobalVariables().ContainsKey("*g*"));
  EXPECT_EQ(engine.Assert("(t 1)"), 0);
  engine.Do("(deffacts s (x 1) (x 2))");
  engine.Reset();
  ASSERT_EQ(engine.GetFacts().GetCount(), 3);
  EXPECT_EQ(engine.GetFacts().Get(2)->ToString(), "(Initial-Fact)");
}

TEST(Engine, ResetEvaluatesFactSetsAndGlobalsAfresh) {
  TEngine engine("(defglobal ?*n* = 1) (deffacts s (x (+ ?*n* 1)))");
  engine.Do("(bind ?*n* 10)");
  engine.Reset();
  EXPECT_EQ(engine.GetFacts().Get(0)->ToString(), "(x 11 )");
  EXPECT_EQ(engine.GetGlobalContext().GetVariable("*n*")->GetAsInteger(), 1);
  engine.SetResetGlobals(false);
  engine.Do("(bind ?*n* 10)");
  engine.Reset();
  EXPECT_EQ(engine.GetGlobalContext().GetVariable("*n*")->GetAsInteger(), 10);
}

TEST(Engine, SymbolsNeverGoBack) {
  TInferenceEngine engine;
  EXPECT_EQ(engine.GenerateSymbol("gen"), "gen0");
  EXPECT_EQ(engine.GenerateSymbol("gen"), "gen1");
  engine.SetSymbolIndex(0);
  EXPECT_EQ(engine.GenerateSymbol("gen"), "gen3");
}

TEST(Engine, SettingsAreClampedAndPackagesComeAndGo) {
  TInferenceEngine engine;
  engine.SetMinActivationStrength(1.5F);
  EXPECT_EQ(engine.GetMinActivationStrength(), 1.0F);
  EXPECT_EQ(engine.GetRete().GetMinActivationStrength(), 1.0F);
  engine.SetPackages(pStandard);
  EXPECT_FALSE(engine.ContainsUserFunction("+"));
  EXPECT_TRUE(engine.ContainsUserFunction("if"));
  engine.SetPackages({pStandard, pMath});
  EXPECT_TRUE(engine.ContainsUserFunction("+"));
}

TEST(Engine, AWrapperThatRaisesLeavesTheParserOnItsStream) {
  TEngine engine;
  engine.RegisterFunction("inner", [](TFunctionArguments& arguments) -> IKBValue {
    EXPECT_THROW(arguments.Engine().Parse("(defrule", true), EKBParseException);
    return MakeInteger(arguments.Engine().ParseNExecuteFunCall("(+ 1 2)")->GetAsInteger());
  });
  std::string output;
  engine.OnPrintOut = [&](TInferenceEngine&, std::string_view, std::string_view text) { output += text; };
  engine.Do("(inner) (+ 2 2)");
  EXPECT_EQ(output, "3\r\n4\r\n");
}

TEST(Engine, NothingIsAliveAfterDestruction) {
  const int64_t values = TKBValue::LiveCount();
  const int64_t facts = TFact::LiveCount();
  {
    TEngine engine(
        "(deftemplate p (slot n) (multislot m)) (deffacts s (p (n 1) (m a b)) (q 1 2))"
        "(defrule r ?f <- (p (n ?x) (m $? ?y)) (not (z ?x)) => (assert (z ?x)) (modify ?f (n 5)))"
        "(deffunction f (?a) (create$ ?a ?a)) (defglobal ?*g* = (f 1))");
    engine.Reset();
    engine.Run();
    engine.Clear();
    EXPECT_EQ(TKBToken::LiveCount(), 0);
    EXPECT_EQ(TActivation::LiveCount(), 0);
  }
  EXPECT_EQ(TKBValue::LiveCount(), values);
  EXPECT_EQ(TFact::LiveCount(), facts);
  EXPECT_EQ(TKBToken::LiveCount(), 0);
  EXPECT_EQ(TActivation::LiveCount(), 0);
}

TEST(Engine, HostOwnedRulesAndFactSetsOutliveTheEngine) {
  auto engine = std::make_unique<TInferenceEngine>();
  TFactSet facts(nullptr, "mine", "");
  facts.SetEngine(engine.get());
  facts.AddFact(engine->ParseFact("(a 1)"));
  engine->Reset();
  EXPECT_EQ(engine->GetFacts().GetCount(), 2);
  TRule rule(nullptr);
  rule.SetEngine(engine.get());
  engine.reset();
  EXPECT_EQ(facts.GetEngine(), nullptr);
  EXPECT_EQ(facts.GetFactText(0), "(a 1 )");
  EXPECT_EQ(rule.GetEngine(), nullptr);
}

TEST(Engine, WhatAHostKeepsOutlivesTheEngine) {
  auto engine = std::make_unique<TInferenceEngine>();
  engine->Parse("(deftemplate p (slot a (type INTEGER))) (deffunction f (?x) (+ ?x 1)) (assert (p (a 1)))", true);
  const IFact fact = engine->GetFacts().Get(1);
  const IFunCall call = engine->ParseFunCall("(f 1)");
  EXPECT_EQ(call->Execute(engine->GetGlobalContext())->GetAsInteger(), 2);
  const Ref<IUserFunction> function = engine->GetUserFunction("f");
  const IModule module = engine->GetModules().Get(0);
  engine.reset();
  TInferenceEngine other;
  EXPECT_EQ(fact->ToString(), "(p (a 1))");
  // No module to name it by.
  EXPECT_EQ(fact->Clone()->GetTemplate()->ToString(),
            "(deftemplate p\r\n   (slot a (type INTEGER)\r\n         (default 0) ))");
  fact->SetValue("a", MakeInteger(5));
  EXPECT_EQ(call->ToString(), "(f 1)");
  EXPECT_EQ(call->Clone()->GetReasoner(), nullptr);
  EXPECT_THROW((void)call->Execute(other.GetGlobalContext()), EKBException);
  EXPECT_EQ(function->GetReasonerCount(), 0);
  function->AddReasoner(&other);
  EXPECT_TRUE(other.ContainsUserFunction("f"));
  EXPECT_EQ(module->GetOwner(), nullptr);
  EXPECT_EQ(fact->GetTemplate()->Clone()->GetTemplateName(), "p");
}

}  // namespace
}  // namespace kb
