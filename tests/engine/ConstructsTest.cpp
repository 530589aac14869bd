#include "tests/Program.h"

namespace kb {
namespace {

using kbtest::TEngine;

using TLines = std::vector<std::string>;

/// The comments of the rules that come and go.
void LogRules(TInferenceEngine& engine, TLines& events) {
  engine.OnAddRule = [&](TInferenceEngine&, TRule& rule) { events.push_back("+" + rule.GetComment()); };
  engine.OnRemoveRule = [&](TInferenceEngine&, TRule& rule) { events.push_back("-" + rule.GetComment()); };
}

TEST(Constructs, ASecondRuleOfANameFollowsTheSetting) {
  TEngine engine;
  TLines events;
  LogRules(engine, events);
  engine.Do("(defrule r \"1\" (a) =>) (defrule r \"2\" (a) =>)");
  engine.SetDuplicateConstructs(dcIgnore);
  engine.Do("(defrule r \"3\" (b) =>)");
  engine.SetDuplicateConstructs(dcError);
  EXPECT_EQ(kbtest::MessageOf([&] { engine.Do("(defrule r \"4\" (b) =>)"); }),
            "Duplicate Rules defined with same name: \"r\"");
  EXPECT_EQ(events, TLines({"+1", "-1", "+2"}));
  engine.Do("(assert (b))");
  EXPECT_EQ(engine.GetAgendaCount(), 0);
  engine.Do("(assert (a))");
  EXPECT_EQ(engine.GetAgendaCount(), 1);
}

TEST(Constructs, ARedefinitionThatFailsLeavesTheOldRule) {
  TEngine engine("(assert (a word)) (defrule q (a ?) =>) (defrule r \"old\" (a ?) =>) (defrule s (a ?) =>)");
  TLines events;
  LogRules(engine, events);
  EXPECT_THROW(engine.Do("(defrule r \"unbound\" (a ?x) (test (> ?y 1)) =>)"), EKBException);
  EXPECT_THROW(engine.Do("(defrule r \"fails on a fact\" (a ?x&:(> ?x 3)) =>)"), EKBException);
  EXPECT_EQ(events, TLines({"-old", "+old", "-old", "+old"}));
  ASSERT_EQ(engine.GetRules().GetCount(), 3);
  EXPECT_EQ(engine.GetRules().GetValue(1)->GetComment(), "old");
  EXPECT_EQ(engine.GetRules().GetValue(1)->GetOwner(), &engine);
  EXPECT_EQ(engine.GetAgendaCount(), 3);
  engine.OnAddRule = [](TInferenceEngine&, TRule& rule) {
    if (rule.GetComment() == "new") throw std::runtime_error("host");
  };
  EXPECT_THROW(engine.Do("(defrule r \"new\" (a ?x) =>)"), std::runtime_error);
  EXPECT_EQ(engine.GetRules().FindRule("r")->GetComment(), "new") << "a handler comes when all is done";
  EXPECT_EQ(engine.Run(), 3);
}

TEST(Constructs, ARedefinedFunctionKeepsItsPlaceAndRulesAreListedWithoutCase) {
  TEngine engine("(defrule c =>) (defrule B =>) (defrule a =>)");
  engine.SetPackages({});
  engine.Do("(deffunction a () 1) (deffunction b () 1) (deffunction c () 1) (deffunction b () 2)");
  EXPECT_EQ(engine.GetUserFunctionTable().GetNamesToString(), "a\r\nb\r\nc");
  EXPECT_EQ(engine.GetUserFunctionTable().GetNumInterpreted(), 3);
  EXPECT_EQ(engine.ParseNExecuteFunCall("(b)")->GetAsInteger(), 2);
  const std::string text = engine.GetRules().ToString();
  EXPECT_LT(text.find("::a"), text.find("::B"));
  EXPECT_LT(text.find("::B"), text.find("::c"));
}

TEST(Constructs, ARedefinedTemplateKeepsWhatStillFits) {
  TEngine engine(
      "(deftemplate p (slot a) (slot b)) (defrule keep (p (a ?x)) =>) (defrule drop (p (b ?x)) =>)"
      "(assert (p (a 1))) (assert (p (a 2) (b 3))) (deftemplate p (slot a (type INTEGER)))");
  EXPECT_TRUE(engine.GetRules().ContainsKey("keep"));
  EXPECT_FALSE(engine.GetRules().ContainsKey("drop"));
  // Facts print every slot, so each names the slot that is gone, unless it is empty.
  EXPECT_EQ(engine.GetFacts().ToString(), "(Initial-Fact)\r\n(p (a 1))");
  engine.Assert("(p (a 7))");
  EXPECT_EQ(engine.GetAgendaCount(), 2);
}

TEST(Constructs, ARuleBuiltByAHostBehavesLikeAParsedOne) {
  TEngine engine("(deftemplate p (slot a))");
  TRule rule(nullptr, "host", "");
  rule.BeginUpdate();
  rule.SetEngine(&engine);
  auto pattern = std::make_unique<TKBPattern>(&rule, engine.FindFactTemplate("p"));
  pattern->AddTest("a", MakeRef<TKBValue>(TKBText("x"), dtVariable));
  rule.AddPattern(std::move(pattern));
  rule.AddAction(engine.ParseFunCall("(assert (seen ?x))"));
  rule.EndUpdate();
  engine.Assert("(p (a 5))");
  EXPECT_EQ(engine.Run(), 1);
  EXPECT_EQ(engine.GetFacts().Get(2)->ToString(), "(seen 5 )");
  EXPECT_THROW(rule.GetPattern(0).AddTest("no", FCTrue), EKBException);
}

TEST(Constructs, AnonymousVariablesOfANegatedPatternStayPrivate) {
  TEngine engine("(defrule r (a ?) (not (b ? ?)) => )");
  const TRule& rule = *engine.GetRules().FindRule("r");
  EXPECT_TRUE(rule.GetPattern(1).GetSlotTest(0, 0).GetSlotValue()->TextView().starts_with("_2__blank_"));
  EXPECT_EQ(rule.GetBindingCount(), 3);
}

}  // namespace
}  // namespace kb
