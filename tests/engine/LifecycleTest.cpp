#include "tests/Program.h"

namespace kb {
namespace {

using kbtest::TEngine;

TEST(Engine, ClearKeepsBuiltInsAndGlobalsAndResetBringsTheInitialFactBack) {
  kbtest::TProgram program(
      "(defglobal ?*g* = 3) (deffunction f () 1) (deftemplate t (slot a)) (defrule r (t) =>) (assert (t (a 1)))"
      "(deffacts s (x 1) (x 2))");
  program.Expect(R"(
    (clear) (facts) (list-defrules) (list-deffacts) (agenda)
      --> TRUE\nFor a total of 0 facts.\nfor a total of 0 rules.\nfor a total of 0 deffacts.\nfor a total of 0 activations.
    (is-deftemplate t) (is-deffunction f) (is-deffunction +) ?*g* --> FALSE\nFALSE\nTRUE\n3
    (assert (t 1)) (deffacts s (x 1) (x 2)) (reset) (facts)
      --> <Fact-0>\nTRUE\nf-0 (x 1 )\nf-1 (x 2 )\nf-2 (Initial-Fact)\nFor a total of 3 facts.
  )");
}

TEST(Engine, ResetEvaluatesFactSetsAndGlobalsAfresh) {
  kbtest::TProgram program("(defglobal ?*n* = 1) (deffacts s (x (+ ?*n* 1)))");
  program.Eval("(bind ?*n* 10) (reset)");
  program.Expect(R"((facts 0 0) ?*n* --> f-0 (x 11 )\nFor a total of 1 facts.\n1)");
  program.engine.SetResetGlobals(false);
  program.Eval("(bind ?*n* 10) (reset)");
  program.Expect("?*n* --> 10");
}

TEST(Engine, AWrapperThatRaisesLeavesTheParserOnItsStream) {
  kbtest::TProgram program;
  program.engine.RegisterFunction("inner", [](TFunctionArguments& arguments) -> IKBValue {
    EXPECT_THROW(arguments.Engine().Parse("(defrule", true), EKBParseException);
    return MakeInteger(arguments.Engine().ParseNExecuteFunCall("(+ 1 2)")->GetAsInteger());
  });
  program.Expect(R"((inner) (+ 2 2) --> 3\n4)");
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
