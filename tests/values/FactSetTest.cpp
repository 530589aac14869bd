#include "kb/values/Fact.h"
#include "kb/values/FactSet.h"
#include "tests/Program.h"

namespace kb {
namespace {

using kbtest::TEngine;

std::string FactTexts(const TInferenceEngine& engine) {
  std::string result;
  for (int i = 0; i < engine.GetFacts().GetCount(); ++i) result += engine.GetFacts().Get(i)->ToString();
  return result;
}

TEST(FactSet, WithoutEngineItIsAListOfTexts) {
  TFactSet set(nullptr);
  EXPECT_EQ(set.GetFactSetName(), "FactSet");
  set.SetFacts({"(a 1)", "not a fact"});
  set.Reset();
  EXPECT_EQ(set.GetFactCount(), 2);
  EXPECT_EQ(set.GetFactText(1), "not a fact");
  EXPECT_EQ(set.GetFact(0), nullptr);
  EXPECT_THROW((void)set.GetFact(2), EListError);
  TFactSet copy(nullptr);
  copy.Assign(set);
  EXPECT_EQ(copy.GetFactText(0), "(a 1)");
  EXPECT_THROW(copy.Assign(TComponent(nullptr)), EConvertError);
}

TEST(FactSet, EveryResetAssertsClonesEvaluatedAfresh) {
  TInferenceEngine engine;
  TFactSet set(&engine, "start", "");
  set.SetFacts({"(a =(gensym*))", "(b)"});
  const IFact kept = set.GetFact(0);
  engine.ClearFacts(engine.GetCurrentModule());
  set.Reset();
  const std::string first = FactTexts(engine);
  engine.ClearFacts(engine.GetCurrentModule());
  set.Reset();
  EXPECT_NE(FactTexts(engine), first);
  EXPECT_EQ(kept->GetID(), -1);
  EXPECT_EQ(set.IndexOf(kept.Get()), 0);
  EXPECT_EQ(set.IndexOf(kept->Clone().Get()), -1) << "by identity";
  EXPECT_EQ(set.Remove(kept.Get()), 0);
  EXPECT_EQ(set.GetFactCount(), 1);
}

TEST(FactSet, OneBadEntryDoesNotKeepTheOthersOut) {
  TInferenceEngine engine;
  TFactSet set(&engine);
  EXPECT_THROW(set.SetFacts({"(a)", "(b", "(c)"}), EKBException);
  EXPECT_EQ(set.GetFactCount(), 3) << "all texts stand";
  engine.ClearFacts(engine.GetCurrentModule());
  set.Reset();
  EXPECT_EQ(FactTexts(engine), "(a)(c)");
}

TEST(FactSet, JoinsAndLeavesEngines) {
  TInferenceEngine other;
  auto engine = std::make_unique<TInferenceEngine>();
  TFactSet set(nullptr, "start", "");
  set.SetFacts({"(a 1)"});
  set.SetEngine(engine.get());
  EXPECT_NE(set.PeekFact(0), nullptr);
  EXPECT_EQ(engine->GetFactSets().IndexOf(&set), 0);
  set.SetEngine(&other);
  EXPECT_EQ(engine->GetFactSets().IndexOf(&set), -1);
  EXPECT_EQ(set.GetFact(0)->GetTemplate()->GetEngine(), &other);
  set.SetEngine(engine.get());
  engine = nullptr;
  EXPECT_EQ(set.GetEngine(), nullptr);
  EXPECT_EQ(set.PeekFact(0), nullptr);
  EXPECT_EQ(set.GetFactText(0), "(a 1)");

  TFactSet lost(nullptr, "lost", "nowhere");
  EXPECT_THROW(lost.SetEngine(&other), EKBException);
  EXPECT_EQ(lost.GetEngine(), nullptr);
  EXPECT_EQ(other.GetFactSets().IndexOf(&lost), -1);
}

TEST(FactSet, ASecondSetOfTheNameTakesThePlaceOfTheFirst) {
  TEngine engine("(deffacts d (a 1))");
  TFactSet* clone = engine.GetFactSets().Get(0).Clone(&engine);
  EXPECT_EQ(engine.GetFactSets().IndexOf(clone), 0);
  EXPECT_EQ(clone->GetFact(0)->ToString(), "(a 1 )");
  EXPECT_EQ(clone->GetOwner(), &engine);
  TInferenceEngine target;
  EXPECT_EQ(clone->Clone(&target)->GetFact(0)->GetTemplate()->GetEngine(), &target);
  TFactSet second(nullptr, "d", "MAIN");
  second.SetEngine(&engine);
  EXPECT_EQ(engine.GetFactSets().IndexOf(&second), 0) << "the clone was the engine's own and has gone";
  EXPECT_EQ(engine.GetFactSets().GetCount(), 1);
}

TEST(FactSet, LeavesTheFocusWhereItWas) {
  TEngine engine("(defmodule other) (set-current-module MAIN)");
  const IModule main = engine.GetModules().Get(0);
  TFactSet set(nullptr, "s", "other");
  set.SetEngine(&engine);
  EXPECT_EQ(engine.GetCurrentModule(), main);
  EXPECT_THROW(set.SetFacts({"(broken"}), EKBException);
  EXPECT_EQ(engine.GetCurrentModule(), main);
  EXPECT_THROW(set.SetModule("nowhere"), EKBException);
  EXPECT_EQ(set.GetModule(), "other");
  set.SetFacts({"(x)"});
  set.Reset();
  EXPECT_EQ(engine.GetCurrentModule(), main);
  EXPECT_EQ(set.GetFact(0)->GetTemplate()->GetModule(), engine.FindModule("other").Get());
  set.SetModule("");
  EXPECT_EQ(engine.GetFactSets().IndexOf(&set), 0);
  EXPECT_EQ(set.GetFact(0)->GetTemplate()->GetModule(), main.Get());
}

TEST(FactSet, MovesIntoTheModuleOfItsSource) {
  TEngine engine("(defmodule other)");
  const IModule main = engine.GetModules().Get(0);
  engine.SetCurrentModule(main);
  auto set = std::make_unique<TFactSet>(nullptr, "s", "");
  set->SetFacts({"(a 1)"});
  set->SetEngine(&engine);
  TFactSet source(nullptr, "t", "nowhere");
  source.SetFacts({"(z 1)"});
  EXPECT_THROW(set->Assign(source), EKBException);
  EXPECT_EQ(set->GetFactSetName() + set->GetFactText(0), "s(a 1)") << "as it was";
  source.SetModule("other");
  source.SetFacts({"(z"});
  EXPECT_THROW(set->Assign(source), EKBException);
  EXPECT_EQ(set->GetFactText(0), "(a 1)");
  source.SetFacts({"(z 1)"});
  set->Assign(source);
  EXPECT_EQ(set->GetFact(0)->GetTemplate()->GetModule()->GetName(), "other");
  EXPECT_EQ(engine.GetFactSets().GetCount(), 0);
  EXPECT_EQ(engine.GetModules().Get(1)->GetFactSets()->IndexOf("t"), 0);
  EXPECT_EQ(engine.GetCurrentModule(), main);
  set = nullptr;
  EXPECT_EQ(engine.GetModules().Get(1)->GetFactSets()->GetCount(), 0);
}

TEST(FactSet, MayBeReplacedWhileItAssertsItsFacts) {
  TEngine engine;
  engine.RegisterFunction("replace", [&](TFunctionArguments&) {
    engine.Do("(deffacts d (new))");
    return FCTrue;
  });
  engine.Do("(deffacts d (a =(replace)) (behind)) (reset)");
  EXPECT_EQ(FactTexts(engine), "(a TRUE )(Initial-Fact)") << "what is gone asserts no more";
  engine.Reset();
  EXPECT_EQ(FactTexts(engine), "(new)(Initial-Fact)");
  engine.Do("(deffacts d (a =(clear)) (behind)) (reset)");
  EXPECT_EQ(FactTexts(engine), "(a TRUE )(Initial-Fact)");
  EXPECT_EQ(engine.GetFactSets().GetCount(), 0);
}

TEST(FactSet, AHostMayFillTheEntriesThemselves) {
  TInferenceEngine engine;
  TFactSet set(&engine, "s", "");
  set.GetFacts().Add("(a 1)");
  EXPECT_EQ(set.PeekFact(0), nullptr);
  EXPECT_EQ(set.GetFact(0)->ToString(), "(a 1 )");
  set.GetFacts().Put(0, "(b 2)");
  EXPECT_EQ(set.GetFact(0)->ToString(), "(b 2 )") << "another text is another fact";
  TStringList texts;
  texts.SetText("(c)\n(d)");
  set.SetFacts(texts);
  EXPECT_EQ(set.GetFactCount(), 2);
  EXPECT_NE(set.PeekFact(1), nullptr);
  EXPECT_THROW(set.AddFact(nullptr), EKBException);
  EXPECT_THROW(set.SetFactSetName(""), EKBException);
}

}  // namespace
}  // namespace kb
