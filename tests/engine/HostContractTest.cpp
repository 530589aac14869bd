// What a host may do wrong: each such call raises, says why, and changes nothing. And what its handlers may
// do in the middle of things.

#include <thread>

#include "tests/Program.h"

namespace kb {
namespace {

using kbtest::TEngine;

constexpr const char* kProgram =
    "(deftemplate p (slot a) (multislot m)) (deffacts s (p (a 1)) (q 1)) (defglobal ?*g* = 1)"
    "(deffunction f (?x) ?x) (defrule r (declare (salience 5)) (p (a ?x)) (not (z)) => (assert (seen ?x)))"
    "(defrule s (q ?x) =>)";

// All that a host can see of an engine.
std::string Picture(TInferenceEngine& engine) {
  std::string text = engine.GetFacts().GetToIDString() + engine.GetRules().ToString() +
                     engine.GetFactTemplates().ToString() + engine.GetFactSets().ToString() +
                     engine.GetModules().ToNamesString(",") + engine.GetFocusStack().ToNamesString(",") +
                     engine.GetUserFunctionTable().GetNamesToString();
  for (int i = 0; i < engine.GetAgendaCount(); ++i) text += engine.GetAgenda().GetText(i) + "\n";
  if (engine.IsModifyingFact()) text += "modifying\n";
  return text + std::to_string(engine.GetFactIdCounter()) + engine.GetCurrentModule()->GetName();
}

IModule ForeignModule() {
  static TInferenceEngine other;
  return other.GetModules().Get(0);
}

IFact ForeignFact() {
  static TInferenceEngine other;
  return other.GetFacts().Get(0);
}

TRule& R(TInferenceEngine& engine) { return *engine.GetRules().FindRule("r"); }

const std::pair<const char*, std::function<void(TInferenceEngine&)>> kWrongCalls[]{
    {"Missing module", [](auto& e) { e.Clear(IModule()); }},
    {"Missing module", [](auto& e) { e.ClearFacts(IModule()); }},
    {"Missing module", [](auto& e) { e.Reset(IModule()); }},
    {"Missing module", [](auto& e) { e.PushFocus(IModule()); }},
    {"Missing module", [](auto& e) { e.AddModule(IModule()); }},
    {"Missing module", [](auto& e) { e.RemoveModule(IModule()); }},
    {"Missing module", [](auto& e) { e.GetFocusStack().Insert(0, IModule()); }},
    {"Missing name", [](auto& e) { e.AddModule(MakeRef<TModule>(&e, false)); }},
    {"No such module with name=MAIN exists", [](auto& e) { e.Clear(ForeignModule()); }},
    {"No such module with name=MAIN exists", [](auto& e) { e.SetCurrentModule(ForeignModule()); }},
    {"No such module with name=MAIN exists", [](auto& e) { e.PushFocus(ForeignModule()); }},
    {"No such module with name=MAIN exists", [](auto& e) { e.AddModule(ForeignModule()); }},
    {"No such module with name=nowhere exists", [](auto& e) { e.PushFocus("nowhere"); }},
    // ---- facts
    {"Fact Template is missing", [](auto& e) { e.Assert(IFact()); }},
    {"Fact Template is missing", [](auto& e) { e.Assert(MakeRef<TFact>(IFactTemplate())); }},
    {"Unknown fact template: Initial-Fact", [](auto& e) { e.Assert(ForeignFact()); }},
    {"Unknown fact template: Initial-Fact", [](auto& e) { e.AddPendingFact(ForeignFact(), true); }},
    {"Unknown fact template: Initial-Fact", [](auto& e) { e.EndFactModify(ForeignFact()); }},
    {"Unknown fact template: Initial-Fact", [](auto& e) { e.GetFacts().Add(ForeignFact()); }},
    {"", [](auto& e) { e.Retract(99); }},
    {"", [](auto& e) { e.Retract("(q 7)"); }},
    {"", [](auto& e) { e.GetFacts().Remove(IFact()); }},
    {"Missing fact", [](auto& e) { e.Retract(IFact()); }},
    {"Missing fact", [](auto& e) { e.AddPendingFact(IFact(), true); }},
    {"Missing fact", [](auto& e) { e.BeginFactModify(IFact()); }},
    {"Missing fact", [](auto& e) { e.AddFactToModule(IFact(), nullptr); }},
    {"Missing fact", [](auto& e) { e.RemoveFactFromModule(0, IFact(), nullptr); }},
    {"Missing fact", [](auto& e) { e.GetFacts().Add(IFact()); }},
    {"Missing fact", [](auto& e) { e.GetFacts().Insert(0, IFact()); }},
    {"Missing fact", [](auto& e) { e.GetFacts().Put(0, IFact()); }},
    {"Fact Template is missing", [](auto& e) { e.EndFactModify(IFact()); }},
    {"List index out of bounds (-1)", [](auto& e) { e.RetractFact(IFact()); }},
    {"List index out of bounds (9)", [](auto& e) { e.RetractFact(9); }},
    {"List index out of bounds (9)", [](auto& e) { (void)e.GetFacts().Get(9); }},
    {"List index out of bounds (0)", [](auto& e) { (void)e.GetFactPending(0); }},
    {"Missing fact", [](auto& e) { e.ParseFactSlot(IFact(), "(a 1)"); }},
    {"Missing slot", [](auto& e) { (void)e.ParseValue("1", IFactSlot()); }},
    // ---- the agenda
    {"List index out of bounds (7)", [](auto& e) { (void)e.GetActivation(7); }},
    {"List index out of bounds (-1)", [](auto& e) { (void)e.GetActivation(-1); }},
    {"List index out of bounds (7)", [](auto& e) { e.RemoveActivation(7); }},
    {"Missing activation", [](auto& e) { e.AddActivation(Ref<TActivation>()); }},
    {"Missing activation", [](auto& e) { e.SetActivation(0, Ref<TActivation>()); }},
    {"Missing rule",
     [](auto& e) { e.AddActivation(MakeRef<TActivation>(nullptr, MakeRef<TKBToken>(), nullptr, 1.0F)); }},
    {"Invalid Token Action", [](auto&) { (void)MakeRef<TKBToken>(taAdd, IFact()); }},
    {"The engine is not locked by this thread", [](auto& e) { e.Unlock(); }},
    // ---- constructs
    {"Missing fact template", [](auto& e) { e.GetFactTemplates().Add(IFactTemplate()); }},
    {"Missing name", [](auto& e) { (void)e.CreateFactTemplate(""); }},
    {"Missing defined type", [](auto& e) { e.GetDefinedTypes().Add(IKBDefinedType()); }},
    {"List index out of bounds (5)", [](auto& e) { (void)e.GetRules().GetValue(5); }},
    {"List index out of bounds (5)", [](auto& e) { (void)e.GetFactSets().Get(5); }},
    {"List index out of bounds (5)", [](auto& e) { (void)e.GetModules().Get(5); }},
    {"Missing name", [](auto& e) { e.RenameRule("r", ""); }},
    {"\"a b\" contains unexpected character: \" \"", [](auto& e) { e.RenameRule("r", "a b"); }},
    {"Duplicate Rules defined with same name: \"s\"", [](auto& e) { e.RenameRule("r", "s"); }},
    {"Missing function", [](auto& e) { e.AddUserFunction(nullptr); }},
    {"Missing function", [](auto& e) { e.RemoveUserFunction(nullptr); }},
    {"Missing function", [](auto& e) { e.SetUserFunction("f", nullptr); }},
    {"Missing function body", [](auto& e) { e.RegisterFunction("x", nullptr); }},
    {"Missing name", [](auto& e) { e.RegisterFunction("", [](TFunctionArguments&) { return FCTrue; }); }},
    {"Key not found: nothing", [](auto& e) { (void)e.GetUserFunction("nothing"); }},
    {"Missing stream", [](auto& e) { e.StartCapture(std::unique_ptr<std::ostream>()); }},
    // ---- rules
    {"Missing name", [](auto& e) { R(e).SetRuleName(""); }},
    {"Missing salience", [](auto& e) { R(e).SetSalience(IKBValue()); }},
    {"Not a integer type.  Value (high) is a dtAtom type", [](auto& e) { R(e).SetSalience(MakeAtom("high")); }},
    {"No such module with name=nowhere exists", [](auto& e) { R(e).SetModule("nowhere"); }},
    {"Missing pattern", [](auto& e) { R(e).AddPattern(nullptr); }},
    {"Fact Template is missing",
     [](auto& e) { R(e).AddPattern(std::make_unique<TKBPattern>(&R(e), IFactTemplate())); }},
    {"First Use of Variable is negated, variable name is new",
     [](auto& e) {
       auto pattern = std::make_unique<TKBPattern>(&R(e), e.FindFactTemplate("p"));
       pattern->AddTest("a", MakeRef<TKBValue>(TKBText("new"), dtVariable), NoSubIndex, true);
       R(e).AddPattern(std::move(pattern));
     }},
    {"Missing action", [](auto& e) { R(e).AddAction(IFunCall()); }},
    {"Missing action", [](auto& e) { R(e).SetActions({IFunCall()}); }},
    {"List index out of bounds (1)", [](auto& e) { R(e).DeleteAction(1); }},
    {"List index out of bounds (1)", [](auto& e) { (void)R(e).GetAction(1); }},
    {"List index out of bounds (2)", [](auto& e) { (void)R(e).GetPattern(2); }},
    {"List index out of bounds (-1)", [](auto& e) { (void)R(e).GetBinding(-1); }},
    {"List index out of bounds (9)", [](auto& e) { (void)R(e).GetPattern(0).GetSlotName(9); }},
    {"List index out of bounds (9)", [](auto& e) { (void)R(e).GetPattern(0).GetSlotTest(0, 9); }},
    {"Missing slot value", [](auto& e) { R(e).GetPattern(0).AddTest("a", IKBValue()); }},
    {"Missing slot value", [](auto& e) { R(e).GetPattern(0).GetSlotTest(0, 0).SetSlotValue(IKBValue()); }},
    {"No such slot name: \"b\"", [](auto& e) { R(e).GetPattern(0).AddTest("b", FCTrue); }},
    // The rule could not be compiled with this test.
    {"Unknown variable name: y", [](auto& e) { R(e).GetPattern(0).AddTest("a", e.ParseValue("(> ?y 1)")); }},
    {"Unknown/Undefined Inference Engine", [](auto&) { TRule(nullptr).Fire(*MakeRef<TKBToken>()); }},
    {"Unknown/Undefined Inference Engine", [](auto& e) { TRule(nullptr).Assign(R(e)); }},
};

TEST(HostContract, AWrongCallRaisesAndChangesNothing) {
  for (size_t i = 0; i < std::size(kWrongCalls); ++i) {
    SCOPED_TRACE("call " + std::to_string(i));
    TEngine engine(kProgram);
    engine.Reset();
    const std::string before = Picture(engine);
    EXPECT_EQ(kbtest::MessageOf([&] { kWrongCalls[i].second(engine); }), kWrongCalls[i].first);
    EXPECT_EQ(Picture(engine), before);
    EXPECT_EQ(engine.Run(), 2);
  }
}

TEST(HostContract, AnEngineWithoutModulesOnlyKnowsClear) {
  TEngine engine;
  engine.RemoveModule(IModule(engine.GetModules().Get(0)));
  const std::function<void()> calls[] = {[&] { engine.Assert("(a)"); },
                                         [&] { engine.Do("(defrule r (a) =>)"); },
                                         [&] { engine.Reset(); },
                                         [&] { engine.Run(); },
                                         [&] { engine.Retract(0); },
                                         [&] { (void)engine.GetFacts(); },
                                         [&] { (void)engine.CreateFactTemplate("a"); },
                                         [&] { engine.SetStrategy(ssBreadthFirst); },
                                         [&] { engine.SetFactDuplication(true); }};
  for (size_t i = 0; i < std::size(calls); ++i) {
    EXPECT_EQ(kbtest::MessageOf(calls[i]), "No such module with name=MAIN exists") << i;
  }
  EXPECT_EQ(engine.GetAgendaCount(), 0);
  EXPECT_EQ(engine.FindFactTemplate("a"), nullptr);
  engine.Clear();
  EXPECT_EQ(engine.Assert("(a)"), 0);
}

TEST(HostContract, WithoutACurrentModuleTextsStillParse) {
  TEngine engine;
  engine.SetCurrentModule(nullptr);
  engine.Do("(defrule r (a) =>) (assert (a))");
  EXPECT_EQ(engine.GetAgendaCount(), 1);
  engine.Reset();
  EXPECT_EQ(engine.GetCurrentModule()->GetName(), "MAIN");
}

TEST(HostContract, TheParserStaysWhileItIsAtWork) {
  TEngine engine;
  std::string refused;
  engine.RegisterFunction("swap", [&](TFunctionArguments& arguments) {
    TInferenceEngine& e = arguments.Engine();
    const auto make = [](TInferenceEngine& owner) { return std::make_unique<TKBClipsParser>(owner, nullptr); };
    refused += kbtest::MessageOf([&] { e.SetParserFactory(make); }).empty() ? "taken " : "refused ";
    e.SetTokenizerFactory([](TInferenceEngine&, std::istream& stream, const TEncoding* encoding) {
      return std::make_unique<TKBClipsStream>(stream, encoding);
    });
    return FCTrue;
  });
  engine.Do("(swap) (assert (a)) (swap)");
  EXPECT_EQ(refused, "refused refused ");
  EXPECT_EQ(engine.GetFacts().GetCount(), 2);
  engine.SetParserFactory([](TInferenceEngine&) { return std::unique_ptr<TKBParser>(); });
  engine.SetTokenizerFactory(
      [](TInferenceEngine&, std::istream&, const TEncoding*) { return std::unique_ptr<TKBTokenizerStream>(); });
  EXPECT_THROW(engine.Do("(assert (b))"), EKBException);
}

TEST(HostContract, TheLockBelongsToItsThread) {
  TEngine engine;
  engine.Lock();
  engine.Lock();
  std::thread([&] { EXPECT_THROW(engine.Unlock(), EKBException); }).join();
  engine.Unlock();
  engine.Unlock();
  EXPECT_THROW(engine.Unlock(), EKBException);
  engine.RegisterFunction("unlock", [](TFunctionArguments& arguments) {
    arguments.Engine().Unlock();
    return FCTrue;
  });
  engine.Do("(defrule r (a) => (unlock)) (assert (a))");
  EXPECT_EQ(engine.Run(), 1);
  std::thread([&] {
    engine.Lock();
    engine.Unlock();
  }).join();
}

TEST(HostContract, CountersNeverGoBackAndGoOnBehindTheLastNumber) {
  TEngine engine;
  EXPECT_EQ(engine.GenerateSymbol("g"), "g0");
  engine.SetSymbolIndex(0);
  EXPECT_EQ(engine.GenerateSymbol("g"), "g2");
  engine.SetSymbolIndex(2147483647);
  EXPECT_EQ(engine.GenerateSymbol("g"), "g2147483647");
  EXPECT_EQ(engine.GenerateSymbol("g"), "g-2147483648");
  engine.SetFactIdCounter(2147483647);
  EXPECT_EQ(engine.NewFactId(), 2147483647);
  EXPECT_EQ(engine.NewFactId(), -2147483647 - 1);
}

// ---- Handlers

struct THostError : std::runtime_error {
  THostError() : std::runtime_error("host") {}
};

TEST(Handlers, WhatTheyRaiseAtARemovalDoesNotKeepItBack) {
  TEngine engine("(defrule r (a ?x) =>) (defrule s (a ?x) =>)");
  engine.Assert("(a 1)");
  engine.OnRemoveActivation = [](TInferenceEngine&, int, TActivation&) { throw THostError(); };
  EXPECT_THROW(engine.GetFacts().Clear(), THostError);
  EXPECT_EQ(engine.GetAgendaCount(), 0);
  engine.OnRemoveActivation = nullptr;
  engine.Assert("(a 1)");
  engine.OnRemoveRule = [](TInferenceEngine&, TRule&) { throw THostError(); };
  EXPECT_THROW(engine.GetRules().Remove("r"), THostError);
  EXPECT_FALSE(engine.GetRules().ContainsKey("r"));
  EXPECT_EQ(engine.GetAgendaCount(), 1);
  engine.OnRemoveRule = nullptr;
  engine.OnRemoveUserFunction = [](TInferenceEngine&, const Ref<IUserFunction>&) { throw THostError(); };
  EXPECT_NO_THROW(engine.SetPackages(pStandard));
  EXPECT_FALSE(engine.ContainsUserFunction("+"));
}

TEST(Handlers, AFunctionWhoseRegistrationRaisesIsNotThere) {
  TEngine engine;
  engine.OnAddUserFunction = [](TInferenceEngine&, const Ref<IUserFunction>& f) {
    if (f->GetComment() == "new") throw THostError();
  };
  engine.Do("(deffunction f () 1)");
  EXPECT_THROW(engine.Do("(deffunction f () \"new\" 2)"), THostError);
  EXPECT_EQ(engine.ParseNExecuteFunCall("(f)")->GetAsInteger(), 1);
  EXPECT_EQ(engine.GetUserFunctionTable().GetNumInterpreted(), 1);
  EXPECT_THROW(engine.Do("(deffunction g () \"new\" 2)"), THostError);
  EXPECT_FALSE(engine.ContainsUserFunction("g"));
}

TEST(Handlers, MayRemoveTheRuleThatIsBeingAddedOrChanged) {
  TEngine engine("(assert (a 1))");
  engine.OnAddRule = [](TInferenceEngine& e, TRule& rule) { e.GetRules().Remove(rule.GetRuleName()); };
  std::string seen;
  engine.GetParser().OnParse = [&](TKBParser&, TParsedType, TObject* object, const Ref<RefCounted>&) {
    if (auto* rule = dynamic_cast<TRule*>(object)) seen += rule->GetRuleName();
  };
  engine.Do("(defrule r (a ?x) =>)");
  EXPECT_EQ(engine.GetRules().GetCount(), 0);
  EXPECT_EQ(engine.GetComponentCount(), TInferenceEngine().GetComponentCount());
  engine.OnAddRule = nullptr;
  engine.Do("(defrule s (a ?x) =>)");
  EXPECT_EQ(seen, "s");
  engine.OnAddActivation = [](TInferenceEngine& e, int, TActivation&) { e.GetRules().Remove("s"); };
  engine.GetRules().FindRule("s")->ClearActions();
  EXPECT_EQ(engine.GetRules().GetCount(), 0);
  EXPECT_EQ(engine.GetAgendaCount(), 0);
  engine.OnAddActivation = nullptr;
  engine.Do("(defrule t (a ?x) => (printout t x)) (defrule u (a ?x) =>)");
  engine.OnAddActivation = [](TInferenceEngine& e, int, TActivation&) { e.Clear(); };
  engine.GetRules().FindRule("t")->ClearActions();
  EXPECT_EQ(engine.GetRules().GetCount(), 0);
}

TEST(Handlers, MayRedefineTheFactSetThatIsBeingReset) {
  TEngine engine("(deffacts s (a 1) (a 2)) (deffacts t (b 1))");
  engine.OnAssertion = [](TInferenceEngine& e, const IFact& fact) {
    if (fact->ToString() == "(a 1 )") e.Parse("(deffacts s (c 1))", true);
    if (fact->ToString() == "(b 1 )") e.GetFactSets().Clear();
  };
  engine.Reset();
  EXPECT_EQ(engine.GetFactSets().GetCount(), 0);
  EXPECT_EQ(engine.GetFacts().ToString(), "(a 1 )\r\n(b 1 )\r\n(Initial-Fact)");
}

TEST(Handlers, ARuleThatIsPrimedMissesFactsRetractedMeanwhile) {
  TEngine engine("(assert (a 1)) (assert (a 2)) (assert (a 3))");
  engine.OnAddActivation = [](TInferenceEngine& e, int, TActivation& activation) {
    if (activation.GetToken()->ToFactsString() == "f-1") e.Retract(2);
  };
  engine.Do("(defrule r (a ?x) =>)");
  EXPECT_EQ(engine.GetAgendaCount(), 2);
}

}  // namespace
}  // namespace kb
