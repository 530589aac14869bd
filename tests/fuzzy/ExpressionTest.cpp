// Fuzzy expressions and types as the language writes them.

#include "kb/fuzzy/KBFuzzyLogic.h"
#include "kb/values/KBDefinedType.h"
#include "kb/values/KBHelperFunctions.h"
#include "tests/Program.h"

namespace {

using kb::IKBValue;
using kbtest::TEngine, kbtest::TProgram;

constexpr const char* kTemperature =
    "(deftype temperature extends (type FUZZY) (range 0 100) (units C)"
    "  (values (term cold ((0 1) (50 0))) (term warm (tri 20 50 80)) (term hot ((50 0) (100 1)))))"
    "(deftemplate room (slot name) (slot temp (type temperature)))"
    "(deftemplate series (slot name) (multislot temps (type temperature)))";

class TFuzzyProgram : public TProgram {
 public:
  TFuzzyProgram() { Eval(kTemperature); }
  /// The membership of 40 in the value of an expression.
  std::string At40(const std::string& expression) {
    return Show("(get-fs-value (create-fuzzy-value temperature " + expression + ") 40)");
  }
};

TEST(FuzzyExpression, HedgesBindFirstAndTheRestFromTheLeft) {
  TFuzzyProgram program;
  // cold is 0.2 at 40, warm 2/3, hot 0.
  kbtest::ExpectAnswers([&](const std::string& expression) { return program.At40(expression); }, R"(
    cold --> 0.2000 ;; not cold --> 0.8000 ;; not not cold --> 0.2000 ;; cold or warm --> 0.6667
    cold and warm --> 0.2000 ;; not cold and warm --> 0.6667 ;; not [ cold and warm ] --> 0.8000
    hot and cold or warm --> 0.6667 ;; hot and [ cold or warm ] --> 0.0000 ;; warm or hot and cold --> 0.2000
    cold bounded-sum-or warm --> 0.8667 ;; cold mean-and warm --> 0.4333 ;; warm limited-to 0.3 --> 0.3000
    warm limited-to 0.3 or cold --> 0.3000 ;; not warm limited-to 0.3 --> 0.3000 ;; warm scaled-by 0.3 --> 0.2000
    cold at-least 0.5 --> 0.5000 ;; cold shifted-by 10 --> 0.4000 ;; warm cut-below 0.7 --> 0.0000 ;; 40 --> 1.0000
    ((30 0) (50 1)) --> 0.5000 ;; (tri 30 50 60) --> 0.5000 ;; (z 40 60) --> 1.0000 ;; "warm" --> 0.6667
    (if TRUE then warm) --> 0.6667 ;; cold ] --> 0.2000
  )");
  // Curved hedges stay within a thousandth.
  EXPECT_NEAR(std::stod(program.At40("very cold")), 0.04, 0.001);
}

TEST(FuzzyExpression, WhatNoOperatorJoinsAreSeveralValues) {
  TFuzzyProgram program;
  program.ExpectShown(R"(
    (create-fuzzy-value temperature hot cold) --> (hot cold )
    (create-fuzzy-value temperature hot very cold 35 not [ hot or cold ]) --> (hot very cold 35 not [ hot or cold ] )
  )");
  const auto variable = program.engine.FindDefinedType("temperature")->GetFuzzyType();
  EXPECT_EQ(program.engine.EvalFuzzyExpression(variable, kb::TValueVector(), nullptr), kb::FCNilList);
}

TEST(FuzzyExpression, FaultsNameTheirPlace) {
  TFuzzyProgram().ExpectShown(R"(
    (create-fuzzy-value temperature [ hot) --> !Missing Fuzzy Close Bracket in expression
    (create-fuzzy-value temperature [ hot cold ]) --> !Missing Fuzzy Close Bracket in expression
    (create-fuzzy-value temperature very) --> !Missing fuzzy operand to be modified by hedge: very
    (create-fuzzy-value temperature hot or) --> !Missing fuzzy operand to be modified by hedge: or
    (create-fuzzy-value temperature limited-to 0.5) --> !Missing fuzzy operand to be modified by hedge: limited-to
    (create-fuzzy-value temperature tepid) --> !Invalid item in fuzzy expression: tepid
    (create-fuzzy-value temperature (create$)) --> !Invalid item in fuzzy expression:\s
    (create-fuzzy-value temperature warm raised-to 0) --> !Invalid value for fuzzy operator raised-to: 0.0000
    (create-fuzzy-value temperature (tri 3 2 1)) --> !Invalid fuzzy shape: 3.0000 2.0000 1.0000
    (create-fuzzy-value temperature ((0 0) (1 1.5))) --> !Invalid fuzzy point (1.0000 1.5000)
    (create-fuzzy-value 3 hot) --> !fuzzy variable is not defined
  )");
}

TEST(FuzzyExpression, TermsAndBoundValuesStayAsTheyAre) {
  TFuzzyProgram program;
  program.Eval("(bind ?*w* (create-fuzzy-value temperature warm)) (bind ?*p* (tri 0 50 100))");
  program.ExpectShown(R"(
    (get-fs-value (create-fuzzy-value temperature not ?*w*) 50) --> 0.0000
    (get-fs-value (create-fuzzy-value temperature ?*p* limited-to 0.5) 50) --> 0.5000
    (get-fs-value ?*w* 50) (get-fs-value ?*p* 50) --> 1.00001.0000
    (get-fs-value (create-fuzzy-value temperature warm) 50) --> 1.0000
  )");
  // A value without variable serves several types, one with a variable that type alone.
  program.Eval("(deftype pressure extends (type FUZZY) (range 0 9)) (deftemplate p (slot v (type pressure)))");
  program.engine.SetTypeChecks({kb::tcStatic, kb::tcDynamic});
  program.Expect(R"(
    (assert (room (temp ?*p*)) (p (v ?*p*))) --> <Fact-2>
    (bind ?*o* (create-fuzzy-value pressure high)) (assert (room (temp ?*o*)))
      --> high\n!Value "high" is not valid, invalid fuzzy value for temp slot
  )");
}

TEST(FuzzyType, TermsReadPrintAndReadBack) {
  TFuzzyProgram program;
  program.Eval(
      "(deftype mild \"of all kinds\" extends (type temperature) (range -10 90)"
      "  (values (term chilly cold) (term odd not [ very cold or hot ]) (term warm (pi 40 10)) (term n 35)"
      "          (term b (beta 40 10)) (term w (beta 40 10 20 2)) (term g (s 0 50)) (term f (z 0 50))))");
  const std::string text = program.engine.FindDefinedType("mild")->ToString();
  EXPECT_EQ(text,
            "(deftype MAIN::mild \r\n   \"of all kinds\"\r\n   extends (type temperature )\r\n"
            "   (range -10.0000 90.0000)\r\n   (units C)\r\n   (values \r\n      (term cold ((0 1) (50 0)))\r\n"
            "      (term warm (pi 40.0000 10.0000))\r\n      (term hot ((50 0) (100 1)))\r\n"
            "      (term low ((0.0000 1.0000) (100.0000 0.0000) ))\r\n"
            "      (term medium (tri 0.0000 50.0000 100.0000))\r\n"
            "      (term high ((0.0000 0.0000) (100.0000 1.0000) ))\r\n      (term chilly ((0 1) (50 0)))\r\n"
            "      (term odd not [ very cold or hot ])\r\n      (term n (tri 35.0000 35.0000 35.0000))\r\n"
            "      (term b (beta 40.0000 10.0000))\r\n      (term w (beta 40.0000 10.0000 20.0000 2.0000))\r\n"
            "      (term g (s 0.0000 50.0000))\r\n      (term f (z 0.0000 50.0000))\r\n   ))");
  const kb::IKBDefinedType again = program.engine.ParseDefinedType(text);
  EXPECT_TRUE(again->Equals(program.engine.FindDefinedType("mild")));
  // The parent keeps its own warm.
  EXPECT_EQ(program.Show("(get-fs-value (create-fuzzy-value temperature warm) 25)"), "0.1667");
}

TEST(FuzzyType, AutomaticTermsSpanTheUniverse) {
  TProgram program("(deftype a extends (type FUZZY) (range 10 20) (values (term low (tri 10 11 12))))");
  EXPECT_EQ(
      program.Show("(get-fs (create-fuzzy-value a low)) (get-fs (create-fuzzy-value a medium))"),
      "((10.0000 0.0000) (11.0000 1.0000) (12.0000 0.0000) )((10.0000 0.0000) (15.0000 1.0000) (20.0000 0.0000) )");
  EXPECT_TRUE(program.engine.FindDefinedType("a")->GetFuzzyType()->FindSet("high")->IsTerm());
  program.Eval("(set-fuzzy-auto-terms FALSE) (deftype b extends (type FUZZY))");
  EXPECT_EQ(program.engine.FindDefinedType("b")->GetFuzzyType()->SetCount(), 0);
}

TEST(FuzzyType, SlotsTakeValuesOnEveryRoad) {
  for (const kb::TTypeChecks checks :
       {kb::TTypeChecks(), kb::TTypeChecks(kb::tcStatic), kb::TTypeChecks{kb::tcStatic, kb::tcDynamic}}) {
    TFuzzyProgram program;
    program.engine.SetTypeChecks(checks);
    program.Eval(
        "(assert (room (name a) (temp hot)) (room (name b) (temp very cold)) (room (name c) (temp 35))) (bind ?*t* "
        "warm)(assert (room (name d) (temp not ?*t*)) (room (name e) (temp (tri 1 2 3))))");
    const auto slot = [&](const std::string& fact) {
      program.Eval("(bind ?*f* " + fact + ")");
      return program.Show("(get-type (get-slot-value ?*f* temp)) \" \" (get-slot-value ?*f* temp)");
    };
    kbtest::ExpectAnswers(slot, R"(
      1 --> dtFuzzy hot ;; 2 --> dtFuzzy very cold ;; 3 --> dtFuzzy 35 ;; 4 --> dtFuzzy not warm
      5 --> dtFuzzy (tri 1 2 3) ;; (modify 1 (temp warm or hot)) --> dtFuzzy warm or hot
      (duplicate 2 (name f) (temp warm)) --> dtFuzzy warm ;; (assert (room (name g))) --> dtFuzzy __EMPTY
    )");
    const kb::IFact fact = program.engine.FindFactTemplate("room")->NewFact();
    fact->SetValue("temp", kb::MakeAtom("cold"));
    EXPECT_EQ(fact->GetValue("temp")->GetDType(), kb::dtFuzzy);
    program.Eval("(assert (series (name a) (temps hot very cold ?*t*)) (series (name b) (temps)) (series (temps 3)))");
    program.ExpectShown(R"(
      (length$ (get-slot-value 9 temps)) (get-slot-value 9 temps) --> 3(hot very cold warm )
      (length$ (get-slot-value 10 temps)) (length$ (get-slot-value 11 temps)) --> 01
    )");
    program.Expect("(assert (room (temp tepid))) --> !Invalid item in fuzzy expression: tepid");
  }
}

TEST(FuzzyType, DefaultsCardinalitiesAndOtherSlotsOfAFuzzyTemplate) {
  TFuzzyProgram program;
  program.Eval(
      "(deftemplate a (slot t (type temperature) (default very hot)) (slot u (default hot) (type temperature))"
      "  (multislot v (type temperature) (cardinality 1 2) (default cold)) (multislot rest))");
  program.Expect("(assert (a (rest 1 (create$ 2 3) (+ 2 2)))) --> <Fact-1>");
  program.ExpectShown(R"(
    (get-slot-value 1 t) (get-slot-value 1 u) (get-slot-value 1 v) (get-slot-value 1 rest) --> very hothot(cold )(1 2 3 4 )
  )");
  EXPECT_NE(program.Eval("(assert (a (v hot cold warm)))").find("between 1 and 2"), std::string::npos);
  // The text of the template reads back.
  const std::string text = program.engine.FindFactTemplate("a")->ToString();
  EXPECT_TRUE(program.engine.ParseFactTemplate(text)->Equals(program.engine.FindFactTemplate("a"))) << text;
}

TEST(FuzzyType, ExpressionsAreSavedAsTheyStandWhereTheyReadBackTheSame) {
  TFuzzyProgram program;
  program.Eval(
      "(deftype fine extends (type FUZZY) (range 0 0.001) (values (term x (tri 0.00001 0.00002 0.00003))))"
      "(deftemplate f (slot v (type fine)))"
      "(defrule r (room (temp very hot)) => ) (deftemplate d (slot t (type temperature) (default not cold)))"
      "(deffacts f (series (temps hot limited-to 0.5 cold very hot)) (room (temp hot limited-to 0.123456)) (f (v not "
      "x)))"
      "(reset)");
  const std::string saved = program.engine.GetExpertSystem();
  EXPECT_NE(saved.find("(room (temp very hot) )"), std::string::npos);
  EXPECT_NE(saved.find("(default not cold)"), std::string::npos);
  kbtest::TEngine other(saved);
  EXPECT_TRUE(other.FindDefinedType("fine")->Equals(program.engine.FindDefinedType("fine")));
  for (int i = 0; i < other.GetFacts().GetCount(); ++i) {
    const kb::IFact was = program.engine.GetFacts().Get(i);
    const kb::IFact now = other.GetFacts().Get(i);
    if (!was->GetTemplate()->IsFuzzy()) continue;
    EXPECT_TRUE(kb::GetFuzzySlot(*now)->Polygon() == kb::GetFuzzySlot(*was)->Polygon());
  }
  std::string terms;  // of a row: behind another expression a hedge would not begin a new one
  for (const kb::IKBValue& value : *other.GetFacts().Get(0)->GetValue("temps")->GetAsList()) {
    terms += value->ToString().substr(0, 10) + "|";
  }
  EXPECT_EQ(terms, "hot limite|cold|((50 0) (5|");
}

TEST(FuzzyType, CopiesOfEnginesHaveTheirOwnVariables) {
  TFuzzyProgram program;
  program.Eval("(assert (room (name a) (temp hot)) (room (name b) (temp very cold)))");
  kb::TInferenceEngine copy;
  copy.Assign(program.engine);
  const kb::IFuzzyVariable* variable = copy.FindDefinedType("temperature")->GetFuzzyType().Get();
  EXPECT_NE(variable, program.engine.FindDefinedType("temperature")->GetFuzzyType().Get());
  EXPECT_EQ(kb::GetFuzzySlot(*copy.FindFact(1))->Variable(), variable);
  EXPECT_EQ(kb::GetFuzzySlot(*copy.FindFact(1)).Get(), variable->FindSet("hot").Get());
  EXPECT_EQ(kb::GetFuzzySlot(*copy.FindFact(2))->Variable(), variable);
}

}  // namespace
