#include "tests/Program.h"

namespace kb {
namespace {

using kbtest::TEngine;

class Network : public testing::Test {
 protected:
  std::string Trace(std::string_view name) { return engine.GetRules().FindRule(name)->GetCompileTrace(); }
  /// The agenda behind each step of a table, an activation as the rule and its facts.
  void Expect(std::string_view program, std::string_view table) {
    engine.Do(program);
    const auto step = [this](const std::string& text) {
      engine.Do(text);
      std::string agenda;
      for (int i = 0; i < engine.GetAgendaCount(); ++i) {
        const TActivation& activation = *engine.GetActivation(i);
        agenda +=
            (i > 0 ? "; " : "") + activation.GetRule()->GetRuleName() + " " + activation.GetToken()->ToFactsString();
      }
      return agenda;
    };
    kbtest::ExpectAnswers(step, table);
  }
  TEngine engine;
};

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

TEST_F(Network, NegationCountsBlockersThatComeBeforeOrBehind) {
  Expect("(defrule r (a ?x) (not (b ?x ?)) =>)", R"(
    (assert (a 1)) --> r f-1, f--1 ;; (assert (b 1 1) (b 1 2) (b 1 3)) --> ;; (retract 2) --> ;; (retract 4) -->
    (retract 3) --> r f-1, f--1 ;; (retract 1) --> ;; (assert (b 2 1) (b 2 2)) (assert (a 2)) --> ;; (retract 5) -->
    (retract 6) --> r f-7, f--1
  )");
}

TEST_F(Network, ExistsHoldsOnceAndTheOuterJoinOfNestedNegationHasNoTests) {
  // (a 2) has no partner, and its absence speaks for all chains: the outer join compares nothing.
  Expect("(defrule r (a ?x) (exists (b ?x)) =>)", R"(
    (assert (a 1)) --> ;; (assert (b 1)) --> r f-1, f--1 ;; (assert (b 1)) --> r f-1, f--1 ;; (assert (a 2)) -->
  )");
}

TEST_F(Network, TwoExpansionsAreWithdrawnByOneRetraction) {
  Expect("(defrule r (m $?x b $?y) =>)", "(assert (m b b b)) --> r f-1; r f-1; r f-1 ;; (retract 1) -->");
}

TEST_F(Network, AVariableTwiceInOneSlotBindsTheFirstUse) {
  // Two uses in one slot are not compared.
  Expect("(defrule r (m ?x ?x) =>)", "(assert (m 1 2)) --> r f-1");
}

TEST_F(Network, EqualFloatsThatHashApartDoNotJoin) {
  // Equal within the tolerance, but on two sides of a whole number: the keys differ and the facts do not meet.
  Expect("(defrule r (a ?x) (b ?x) =>)",
         "(assert (a 0.99998)) (assert (b 1.00002)) --> ;; (assert (b 0.9999)) --> r f-1, f-3");
}

TEST_F(Network, UniqueTakesTheFirstPartnerOfAChain) {
  Expect("(defrule r (a ?x) (unique (b ?x ?)) =>)", R"(
    (assert (b 1 1)) (assert (b 1 2)) (assert (a 1)) --> r f-3, f-1 ;; (assert (b 1 3)) --> r f-3, f-4; r f-3, f-1
  )");
}

TEST_F(Network, ATemplateAlsoMatchesItsDescendants) {
  Expect(
      "(deftemplate thing (slot n)) (deftemplate tool extends thing (slot use))"
      "(defrule r (thing (n ?n)) =>) (defrule s (tool (n ?n)) =>)",
      "(assert (tool (n 1) (use cut))) (assert (thing (n 2))) --> r f-2; s f-1; r f-1");
}

TEST_F(Network, MultifieldVariablesTakeEveryShareLongestFirst) {
  kbtest::TProgram program("(defrule r (m $?x b $?y) => (printout t ?x ?y))");
  program.engine.SetStrategy(ssBreadthFirst);
  program.Expect("(assert (m a b c b)) (run) --> <Fact-1>\\n(a b c )()(a )(c b )2");
}

TEST_F(Network, OneShotAndDisabledRules) {
  Expect("(defrule once (declare (oneshot TRUE)) (a ?) =>) (defrule off (declare (enabled FALSE)) (a ?) =>)",
         "(assert (a 1)) --> once f-1 ;; (run) (assert (a 2)) -->");
  engine.GetRules().FindRule("off")->SetEnabled(true);
  Expect("", "--> ;; (assert (a 3)) --> off f-3 ;; (reset) (assert (a 4)) --> off f-1; once f-1");
}

TEST_F(Network, AddingARuleBringsBackFiredActivationsOfSharedRoots) {
  Expect("(defrule r (a ?x) (b ?x) =>)",
         "(assert (a 1)) (assert (b 1)) (run) --> ;; (defrule s (b ?x) =>) --> s f-2; r f-1, f-2");
}

TEST_F(Network, AVariableOfALaterPatternIsUnknown) {
  EXPECT_THROW(engine.Do("(defrule r (a ?x&:(> ?x ?y)) (b ?y) =>)"), EKBException);
  EXPECT_FALSE(engine.GetRules().ContainsKey("r"));
  EXPECT_EQ(engine.GetRete().GetRootCount(), 0);
  EXPECT_EQ(engine.GetComponentCount(), TInferenceEngine().GetComponentCount());
}

TEST_F(Network, AFailingTestFailsTheAssertionAndNamesTheNode) {
  engine.Do("(defrule r (a ?x&:(> ?x 1)) =>)");
  EXPECT_NE(kbtest::MessageOf([&] { engine.Assert("(a word)"); }).find(" for pattern match = "), std::string::npos);
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
