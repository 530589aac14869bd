#include "tests/Program.h"

namespace kb {
namespace {

using kbtest::TEngine;

class Network : public testing::Test {
 protected:
  std::string Trace(std::string_view name) { return engine.GetRules().FindRule(name)->GetCompileTrace(); }
  std::vector<std::string> Agenda() {
    std::vector<std::string> result;
    for (int i = 0; i < engine.GetAgendaCount(); ++i) {
      result.push_back(engine.GetActivation(i)->GetRule()->GetRuleName() + " " +
                       engine.GetActivation(i)->GetToken()->ToFactsString());
    }
    return result;
  }
  TEngine engine;
};

using TLines = std::vector<std::string>;

TEST_F(Network, CompileTraceTellsNewAndSharedNodes) {
  engine.Do(
      "(deftemplate a (slot x)) (deftemplate b (slot y))(defrule r (a (x ?v)) (b (y ?v)) =>)(defrule s (a (x ?w)) =>)"
      "(defrule t (a (x ?v)) (b (y ?v)) (not (c)) =>)(defrule u (a (x 1&?v)) (b (y ?v&:(> ?v 2))) =>)"
      "(defrule v (a (x 1)) =>)");
  EXPECT_EQ(Trace("r"), "r: +1+1+2+t");
  EXPECT_EQ(Trace("s"), "s: +t");
  EXPECT_EQ(Trace("t"), "t: +1+1=2+2+t");
  EXPECT_EQ(Trace("u"), "u: +1+2+t");
  EXPECT_EQ(Trace("v"), "v: =1+t");
}

TEST_F(Network, RemovingRulesFreesExactlyWhatNobodyUses) {
  const int before = engine.GetRete().GetNodeCount();
  engine.Do("(defrule r (a 1 ?x) (b ?x) =>) (defrule s (a 1 ?x) (b ?x) =>)");
  const int both = engine.GetRete().GetNodeCount();
  engine.GetRules().Remove("s");
  EXPECT_EQ(engine.GetRete().GetNodeCount(), both - 1);
  engine.GetRules().Remove("r");
  EXPECT_EQ(engine.GetRete().GetNodeCount(), before);
  EXPECT_EQ(engine.GetRete().GetRootCount(), 0);
}

TEST_F(Network, NegationCountsBlockers) {
  engine.Do("(defrule r (a ?x) (not (b ?x ?)) =>)");
  engine.Assert("(a 1)");
  EXPECT_EQ(Agenda(), TLines({"r f-1, f--1"}));
  for (const char* blocker : {"(b 1 1)", "(b 1 2)", "(b 1 3)"}) engine.Assert(blocker);
  EXPECT_TRUE(Agenda().empty());
  for (const int id : {2, 4}) {
    engine.Retract(id);
    EXPECT_TRUE(Agenda().empty());
  }
  engine.Retract(3);
  EXPECT_EQ(Agenda(), TLines({"r f-1, f--1"}));
  engine.Retract(1);
  EXPECT_TRUE(Agenda().empty());
}

TEST_F(Network, BlockersThatComeFirstCountToo) {
  engine.Do("(defrule r (a ?x) (not (b ?x ?)) =>)");
  engine.Assert("(b 1 1)");
  engine.Assert("(b 1 2)");
  engine.Assert("(a 1)");
  EXPECT_TRUE(Agenda().empty());
  engine.Retract(1);
  EXPECT_TRUE(Agenda().empty());
  engine.Retract(2);
  EXPECT_EQ(Agenda(), TLines({"r f-3, f--1"}));
}

TEST_F(Network, ExistsHoldsOnceAndTheOuterJoinOfNestedNegationHasNoTests) {
  engine.Do("(defrule r (a ?x) (exists (b ?x)) =>)");
  engine.Assert("(a 1)");
  EXPECT_TRUE(Agenda().empty());
  engine.Assert("(b 1)");
  engine.Assert("(b 1)");
  EXPECT_EQ(Agenda(), TLines({"r f-1, f--1"}));
  // (a 2) has no partner, and its absence speaks for all chains: the outer join compares nothing.
  engine.Assert("(a 2)");
  EXPECT_TRUE(Agenda().empty());
}

TEST_F(Network, MultifieldVariablesTakeEveryShareLongestFirst) {
  std::string output;
  engine.OnPrintOut = [&](TInferenceEngine&, std::string_view, std::string_view text) { output += text; };
  engine.Do("(defrule r (m $?x b $?y) => (printout t ?x ?y))");
  engine.SetStrategy(ssBreadthFirst);
  engine.Assert("(m a b c b)");
  EXPECT_EQ(engine.GetAgendaCount(), 2);
  engine.Run();
  EXPECT_EQ(output, "(a b c )()(a )(c b )");
}

TEST_F(Network, TwoExpansionsAreWithdrawnByOneRetraction) {
  engine.Do("(defrule r (m $?x b $?y) =>)");
  engine.Assert("(m b b b)");
  EXPECT_EQ(engine.GetAgendaCount(), 3);
  engine.Retract(1);
  EXPECT_EQ(engine.GetAgendaCount(), 0);
}

// Two uses in one slot are not compared.
TEST_F(Network, AVariableTwiceInOneSlotBindsTheFirstUse) {
  engine.Do("(defrule r (m ?x ?x) =>)");
  engine.Assert("(m 1 2)");
  EXPECT_EQ(engine.GetAgendaCount(), 1);
}

// Equal within the tolerance, but on two sides of a whole number: the keys differ and the facts do not meet.
TEST_F(Network, EqualFloatsThatHashApartDoNotJoin) {
  engine.Do("(defrule r (a ?x) (b ?x) =>)");
  engine.Assert("(a 0.99998)");
  engine.Assert("(b 1.00002)");
  EXPECT_EQ(engine.GetAgendaCount(), 0);
  engine.Assert("(b 0.9999)");
  EXPECT_EQ(engine.GetAgendaCount(), 1);
}

TEST_F(Network, UniqueTakesTheFirstPartnerOfAChain) {
  engine.Do("(defrule r (a ?x) (unique (b ?x ?)) =>)");
  engine.Assert("(b 1 1)");
  engine.Assert("(b 1 2)");
  engine.Assert("(a 1)");
  EXPECT_EQ(engine.GetAgendaCount(), 1);
  engine.Assert("(b 1 3)");
  EXPECT_EQ(engine.GetAgendaCount(), 2);
}

TEST_F(Network, ATemplateAlsoMatchesItsDescendants) {
  engine.Do(
      "(deftemplate thing (slot n)) (deftemplate tool extends thing (slot use))"
      "(defrule r (thing (n ?n)) =>) (defrule s (tool (n ?n)) =>)");
  engine.Assert("(tool (n 1) (use cut))");
  engine.Assert("(thing (n 2))");
  EXPECT_EQ(Agenda(), TLines({"r f-2", "s f-1", "r f-1"}));
}

TEST_F(Network, OneShotAndDisabledRules) {
  engine.Do("(defrule once (declare (oneshot TRUE)) (a ?) =>) (defrule off (declare (enabled FALSE)) (a ?) =>)");
  engine.Assert("(a 1)");
  EXPECT_EQ(engine.Run(), 1);
  engine.Assert("(a 2)");
  EXPECT_EQ(engine.GetAgendaCount(), 0);
  engine.GetRules().FindRule("off")->SetEnabled(true);
  EXPECT_EQ(engine.GetAgendaCount(), 0);
  engine.Assert("(a 3)");
  EXPECT_EQ(Agenda(), TLines({"off f-3"}));
  engine.Reset();
  engine.Assert("(a 4)");
  EXPECT_EQ(engine.GetAgendaCount(), 2);
}

TEST_F(Network, AddingARuleBringsBackFiredActivationsOfSharedRoots) {
  engine.Do("(defrule r (a ?x) (b ?x) =>)");
  engine.Assert("(a 1)");
  engine.Assert("(b 1)");
  EXPECT_EQ(engine.Run(), 1);
  engine.Do("(defrule s (b ?x) =>)");
  EXPECT_EQ(Agenda(), TLines({"s f-2", "r f-1, f-2"}));
}

TEST_F(Network, AVariableOfALaterPatternIsUnknown) {
  EXPECT_THROW(engine.Do("(defrule r (a ?x&:(> ?x ?y)) (b ?y) =>)"), EKBException);
  EXPECT_FALSE(engine.GetRules().ContainsKey("r"));
  EXPECT_EQ(engine.GetRete().GetRootCount(), 0);
  EXPECT_EQ(engine.GetComponentCount(), TInferenceEngine().GetComponentCount());
}

TEST_F(Network, AFailingTestFailsTheAssertionAndNamesTheNode) {
  engine.Do("(defrule r (a ?x&:(> ?x 1)) =>)");
  try {
    engine.Assert("(a word)");
    FAIL();
  } catch (const EKBException& error) {
    EXPECT_NE(std::string(error.what()).find(" for pattern match = "), std::string::npos);
  }
}

// Handlers may change anything, also the network that is at work.
TEST_F(Network, HandlersMayChangeTheNetworkDuringAWalk) {
  engine.Do("(defrule r (a ?x) =>) (defrule s (a ?x) (b ?x) =>) (defrule t (a ?x) (not (c ?x)) =>)");
  engine.Assert("(b 1)");
  bool done = false;
  engine.OnAddActivation = [&](TInferenceEngine&, int, TActivation&) {
    if (done) return;
    done = true;
    engine.GetRules().Remove("s");
    engine.Assert("(c 1)");
    engine.Do("(defrule u (a ?x) (c ?x) =>)");
  };
  engine.Assert("(a 1)");
  EXPECT_FALSE(engine.GetRules().ContainsKey("s"));
  engine.OnAddActivation = [&](TInferenceEngine&, int, TActivation&) { engine.Clear(); };
  engine.Assert("(a 2)");
  EXPECT_EQ(engine.GetAgendaCount(), 0);
}

}  // namespace
}  // namespace kb
