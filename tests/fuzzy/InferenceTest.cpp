// Fuzzy facts in the engine: matching by degree, strengths, correlation, merging.

#include <algorithm>
#include <cmath>

#include "kb/fuzzy/KBFuzzyLogic.h"
#include "kb/values/KBDefinedType.h"
#include "kb/values/KBHelperFunctions.h"
#include "tests/Program.h"

namespace {

using kb::IFact;
using kbtest::TProgram;

class TFuzzyEngine : public TProgram {
 public:
  TFuzzyEngine() {
    Eval(
        "(deftype temperature extends (type FUZZY) (range 0 100)"
        "  (values (term cold ((0 1) (50 0))) (term warm (tri 20 50 80)) (term hot ((50 0) (100 1)))))"
        "(deftype speed extends (type FUZZY) (range 0 10))"
        "(deftemplate room (slot name) (slot temp (type temperature)))"
        "(deftemplate fan (slot name) (slot speed (type speed)))"
        "(deftemplate series (slot name) (multislot temps (type temperature)))");
  }
  /// The strengths of the activations, by rule name.
  std::string Strengths() {
    std::vector<std::string> lines;
    for (int i = 0; i < engine.GetAgenda().GetCount(); ++i) {
      const std::string text = engine.GetActivation(i)->ToString();
      const size_t name = text.find(' ') + 1;
      lines.push_back(text.substr(name, text.find(' ', name) - name) + text.substr(text.rfind(' ')));
    }
    std::sort(lines.begin(), lines.end());
    std::string result;
    for (const std::string& line : lines) result += (result.empty() ? "" : ", ") + line;
    return result;
  }
  double Membership(int id, double x) { return kb::GetFuzzySlot(*engine.FindFact(id))->DegreeOfMembership(x); }
};

TEST(FuzzyMatching, TheLeastDegreeOnTheWayIsTheStrength) {
  TFuzzyEngine program;
  program.Eval(
      "(defrule hot (room (temp hot)) =>) (defrule warm (room (temp warm)) =>)"
      "(defrule both (room (name ?n) (temp hot)) (room (name ?m&~?n) (temp warm)) =>)"
      "(defrule plain (room (name a)) =>)(assert (room (name a) (temp 60)) (room (name b) (temp 70)))");
  EXPECT_EQ(program.Strengths(),
            "both (0.2000), both (0.4000), hot (0.2000), hot (0.4000), plain (1.0000), warm (0.3333), warm (0.6667)");
  program.Eval("(retract 1) (retract 2) (assert (room (temp cold)))");
  // cold and warm meet at 31.25.
  EXPECT_EQ(program.Strengths(), "warm (0.3750)");
}

TEST(FuzzyMatching, AMatchIsStrictlyAboveTheThresholdAndNotBelowTheLeastStrength) {
  TFuzzyEngine program;
  program.Eval(
      "(defrule hot (room (temp hot)) =>) (set-fuzzy-threshold 0.4)"
      "(assert (room (name a) (temp 70)) (room (name b) (temp 70.1)) (room (name c) (temp 60)))");
  EXPECT_EQ(program.Strengths(), "hot (0.4020)");
  program.Eval(
      "(reset) (set-fuzzy-threshold 0.01) (set-activation-threshold 0.4)"
      "(assert (room (name a) (temp 70)) (room (name b) (temp 69)) (room (name c) (temp 50.5)))");
  EXPECT_EQ(program.Strengths(), "hot (0.4000)");
}

TEST(FuzzyMatching, ARemovalFollowsItsFactWhateverIsSetMeanwhile) {
  for (const char* change : {"(set-fuzzy-threshold 0.9)", "(set-activation-threshold 0.9)"}) {
    TFuzzyEngine program;
    program.Eval(
        "(defrule hot (room (name ?n) (temp hot)) (room (name ?m) (temp warm)) =>)"
        "(defrule none (not (room (temp hot))) =>)(assert (room (name a) (temp 60)))");
    EXPECT_EQ(program.Strengths(), "hot (0.2000)");
    program.Eval(change);
    program.Eval("(retract 1)");
    EXPECT_EQ(program.Strengths(), "none (1.0000)") << change;
  }
}

TEST(FuzzyMatching, ConstantsThatOverlapAreKeptApart) {
  TFuzzyEngine program;
  program.Eval(
      "(defrule a (room (temp warm)) =>) (defrule b (room (temp (tri 20 50 80))) =>)"
      "(defrule c (room (temp very warm)) =>) (defrule d (room (temp (tri 20 51 80))) =>)"
      "(defrule e (room (temp (tri 0 50 100))) =>)(assert (room (temp 35)))");
  EXPECT_EQ(program.Strengths(), "a (0.5000), b (0.5000), c (0.2500), d (0.4839), e (0.7000)");
}

TEST(FuzzyMatching, AlternativesNegationsVariablesAndLists) {
  TFuzzyEngine program;
  program.Eval(
      "(defrule or (room (temp cold|hot)) =>) (defrule not (room (temp ~cold)) =>)"
      "(defrule absent (not (room (temp hot))) =>)"
      "(defrule same (room (name a) (temp ?t)) (room (name b) (temp ?t)) =>)"
      "(defrule call (room (temp ?t&:(> (get-fs-value ?t 30) 0.5))) =>)"
      "(defrule list (series (temps hot very cold)) =>)(defrule bound (series (temps ?x hot $?)) =>)"
      "(assert (room (name a) (temp 30)) (room (name b) (temp warm))"
      "  (series (name a) (temps 60 10)) (series (name b) (temps cold 75 75)))");
  EXPECT_EQ(program.Strengths(),
            "bound (0.5000), call (1.0000), list (0.2000), or (1.0000), or (1.0000), same (1.0000)");
}

TEST(FuzzyCorrelation, TheStrengthLimitsOrScalesWhatARuleAsserts) {
  for (const bool product : {false, true}) {
    TFuzzyEngine program;
    program.Eval(std::string("(set-fuzzy-correlation ") + (product ? "product)" : "minimum)"));
    program.Eval(
        "(defrule r (room (name ?n) (temp hot)) => (assert (fan (name ?n) (speed high)) (plain ?n)))"
        "(assert (room (name a) (temp 70))) (run)");
    EXPECT_NEAR(program.Membership(2, 10), 0.4, 1e-6);
    EXPECT_NEAR(program.Membership(2, 3), product ? 0.12 : 0.3, 1e-6);
    EXPECT_NEAR(program.Membership(2, 6), product ? 0.24 : 0.4, 1e-6);
    // The term itself is as it was.
    EXPECT_EQ(program.Show("(get-fs-value (create-fuzzy-value speed high) 10)"), "1.0000");
  }
}

TEST(FuzzyCorrelation, TheEventMayTakeTheStepOver) {
  TFuzzyEngine program;
  std::vector<float> strengths;
  bool take = true;
  program.engine.OnFuzzyCorrelation = [&](kb::TInferenceEngine&, const IFact&, float strength, bool& done) {
    EXPECT_FALSE(done);
    strengths.push_back(strength);
    done = take;
  };
  program.Eval(
      "(defrule r (room (name ?n) (temp hot)) => (assert (fan (name ?n) (speed high))))"
      "(defrule s (room (name ?n)) => (assert (fan (name x) (speed high))))(assert (room (name a) (temp 70))) (run)");
  ASSERT_EQ(strengths.size(), 1U);
  EXPECT_NEAR(strengths[0], 0.4, 1e-6);
  EXPECT_EQ(program.Show("(get-slot-value 2 speed) (get-slot-value 3 speed)"), "highhigh");
  take = false;
  program.Eval("(assert (room (name b) (temp 60))) (run)");
  EXPECT_EQ(strengths.size(), 2U);
  EXPECT_EQ(program.Show("(get-slot-value 6 speed)").substr(0, 15), "high limited-to");
}

TEST(FuzzyMerging, EqualFactsMergeUnderEveryMethod) {
  // At 40 cold is 0.2 and warm 2/3, and their sum stays below 1; then 0.5 meets 1.
  for (const auto& [method, united, common] : {std::tuple("min-max", 2 / 3.0, 0.5),
                                               {"sum", 13 / 15.0, 0.5},
                                               {"mean", 13 / 30.0, 0.75},
                                               {"product", 11 / 15.0, 0.5},
                                               {"bounded-sum", 13 / 15.0, 0.5}}) {
    SCOPED_TRACE(method);
    TFuzzyEngine program;
    int retracted = -1;
    program.engine.OnRetraction = [&](kb::TInferenceEngine&, const IFact& fact) { retracted = fact->GetID(); };
    program.Eval(std::string("(set-fuzzy-inference ") + method +
                 ")(assert (room (name a) (temp cold))) (assert (room (name a) (temp warm)))"
                 "(assert (room (name b) (temp cold)))");
    EXPECT_EQ(retracted, 1);
    EXPECT_EQ(program.engine.FindFact(1), nullptr);
    EXPECT_NEAR(program.Membership(2, 40), united, 0.001);
    EXPECT_NEAR(program.Membership(3, 40), 0.2, 1e-9);
    program.Eval(std::string("(reset) (fuzzy-assert-unconditional ") + method +
                 " (room (name a) (temp cold)) (room (name a) (temp ((0 1) (1 1)))))");
    EXPECT_NEAR(program.Membership(2, 25), common, 0.001);
    EXPECT_EQ(program.Show("(get-fuzzy-inference)"), method);
  }
}

TEST(FuzzyMerging, EachFactHasItsOwnValues) {
  TFuzzyEngine program;
  program.Eval(
      "(bind ?*w* (create-fuzzy-value temperature warm)) (bind ?*l* (create$ ?*w* ?*w*))"
      "(assert (room (name a) (temp ?*w*))) (assert (room (name b) (temp ?*w*))) (assert (room (name a) (temp cold)))"
      "(assert (series (name a) (temps hot cold))) (assert (series (name b) (temps hot cold)))"
      "(assert (series (name a) (temps cold hot)))");
  program.ExpectShown(R"(
    ?*w* ", " (get-slot-value 2 temp) ", " (get-slot-value 3 temp) --> warm, warm, cold or warm
    (get-slot-value 5 temps) ", " (get-slot-value 6 temps) --> (hot cold ), (cold or hot hot or cold )
  )");
  // Lists of different lengths do not merge; the new fact takes the place of the old one.
  program.Eval("(assert (series (name b) (temps warm)))");
  program.ExpectShown("(get-slot-value 7 temps) --> (warm )");
  EXPECT_EQ(program.engine.FindFact(5), nullptr);
}

TEST(FuzzyMerging, AFactThatStandsIsAssertedAnewAndAModifiedOneMeetsItsLike) {
  TFuzzyEngine program;
  program.Eval("(assert (room (name a) (temp cold)))");
  const IFact fact = program.engine.FindFact(1);
  EXPECT_EQ(program.engine.Assert(fact), 2);
  EXPECT_EQ(fact->ToString(), "(room (name a) (temp cold))");
  program.Expect(R"(
    (facts 1) --> f-2 (room (name a) (temp cold))\nFor a total of 1 facts.
    (assert (room (name b) (temp hot))) (modify 3 (name a) (temp warm)) --> <Fact-3>\n<Fact-4>
    (facts 1) --> f-4 (room (name a) (temp warm or cold))\nFor a total of 1 facts.
    (modify 4 (temp tepid)) --> !Invalid item in fuzzy expression: tepid
    (modify 4 (temp hot cold)) --> !Invalid Fuzzy Expression: hot cold\s
    (facts 1) --> f-4 (room (name a) (temp warm or cold))\nFor a total of 1 facts.
  )");
}

TEST(FuzzyMerging, AGoalThatAsksForNothingNewIsNotAskedForAgain) {
  TFuzzyEngine program;
  program.Eval("(do-backward-chaining room) (defrule ask (need-room (temp hot)) =>)");
  // Blocked by a room, the goal's own element asks for the goal again.
  program.Expect(R"(
    (assert (room (temp hot))) --> <Fact-1> ;; (assert (need-room (temp hot))) --> <Fact-2>
    (assert (need-room (temp hot))) --> FALSE
  )");
}

TEST(FuzzyMerging, AHostMergesTwoFacts) {
  TFuzzyEngine program;
  program.Eval("(assert (room (name a) (temp cold)) (room (name b) (temp hot)) (fan) (plain))");
  kb::TInferenceEngine& engine = program.engine;
  const IFact merged = engine.FindFact(1)->Clone();
  bool take = true;
  engine.OnFuzzyInference = [&](kb::TInferenceEngine&, const IFact& first, const IFact&, bool& done) {
    EXPECT_EQ(first, merged);
    done = take;
  };
  engine.FuzzyInference(merged, engine.FindFact(2));
  EXPECT_EQ(merged->GetValue("temp")->ToString(), "cold");
  take = false;
  engine.FuzzyInference(merged, engine.FindFact(2));
  EXPECT_EQ(merged->GetValue("temp")->ToString(), "cold or hot");
  EXPECT_EQ(program.Show("(get-slot-value 1 temp)"), "cold");
  for (const auto& [first, second, id] :
       {std::tuple(1, 3, kb::TKBMessage::CannotUniteFacts), {4, 4, kb::TKBMessage::NotFuzzyFact}}) {
    EXPECT_EQ(kbtest::MessageOf(
                  [&, a = first, b = second] { engine.FuzzyOperation(engine.FindFact(a), engine.FindFact(b), true); }),
              kb::FormatMessage(id, {"room", "fan"}));
  }
}

TEST(FuzzySettings, AHostSetsThresholdsAndEvaluatesTexts) {
  TFuzzyEngine program;
  kb::TInferenceEngine& engine = program.engine;
  const auto variable = engine.FindDefinedType("temperature")->GetFuzzyType();
  for (const auto& [given, stored] : {std::pair{2.0F, 1.0F}, {-1.0F, 0.0F}, {0.25F, 0.25F}, {NAN, 0.0F}}) {
    engine.SetFuzzyEqualsThreshold(given);
    EXPECT_EQ(engine.GetFuzzyEqualsThreshold(), stored);
    EXPECT_EQ(variable->Threshold(), stored) << "it reaches all variables";
  }
  EXPECT_NEAR(engine.ParseFuzzyExpression(variable, "not [ cold or hot ]")->DegreeOfMembership(25), 0.5, 1e-9);
  kb::Ref<kb::IFuzzySet> set;
  EXPECT_NEAR(engine.EvalFuzzyExpression(variable, "cold", set), 50.0 / 3, 1e-9);
  EXPECT_EQ(set->Name(), "cold");
  EXPECT_EQ(engine.ParseFuzzySet(variable, "(term boiling very hot)")->Name(), "boiling");
  EXPECT_EQ(variable->FindSet("boiling"), nullptr);
  const auto parsed = engine.ParseFuzzyVariable("(range 0 5) (values (term a (tri 0 1 2))))");
  EXPECT_EQ(parsed->To(), 5);
  EXPECT_TRUE(parsed->FindSet("a")->IsTerm());
}

}  // namespace
