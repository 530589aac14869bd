#include <cmath>

#include "kb/fuzzy/FuzzyOperations.h"
#include "kb/fuzzy/KBFuzzyLogic.h"
#include "kb/language/PrettyPrinter.h"
#include "tests/Program.h"

namespace kb {
namespace {

Ref<IFuzzySet> NewSet() { return MakeRef<TKBFuzzySet>(nullptr, "set"); }

Ref<IFuzzyVariable> Temperature() {
  Ref<IFuzzyVariable> variable = MakeRef<TKBFuzzyVariable>("temperature");
  variable->SetUniverse(0, 100);
  variable->SetUnits("degrees C");
  const Ref<IFuzzySet> cold = variable->AddSet("cold");
  cold->AddPoint(0, 1);
  cold->AddPoint(50, 0);
  variable->AddSet("warm")->Triangle(25, 50, 75);
  variable->AddSet("hot")->SCurve(7, true, 50, 100, 75);
  return variable;
}

double Growth(double x, double left, double right) {
  if (x <= left) return 0;
  if (x >= right) return 1;
  const double part = (x - left) / (right - left);
  return part < 0.5 ? 2 * part * part : 1 - 2 * (1 - part) * (1 - part);
}

TEST(FuzzySet, CurvesStayWithinAThousandthOfTheirFormulas) {
  const auto compare = [](const IFuzzySet& set, const std::function<double(double)>& formula) {
    for (int i = -1000; i <= 11000; ++i) {
      const double x = i / 100.0;
      ASSERT_NEAR(set.DegreeOfMembership(x), formula(x), 0.001) << x;
    }
    EXPECT_LT(set.PointCount(), 130);
  };
  const Ref<IFuzzySet> set = NewSet();
  set->SCurve(7, true, 20, 80, 50);
  compare(*set, [](double x) { return Growth(x, 20, 80); });
  set->SCurve(7, false, 20, 80, 50);
  compare(*set, [](double x) { return 1 - Growth(x, 20, 80); });
  set->PiCurve(7, 10, 90, 30);
  compare(*set, [](double x) { return x < 30 ? Growth(x, 10, 30) : 1 - Growth(x, 30, 90); });
  set->PiCurveByRange(7, 20, 40);
  compare(*set, [](double x) { return x < 40 ? Growth(x, 20, 40) : 1 - Growth(x, 40, 60); });
  for (const double weight : {1.0, 3.0}) {
    set->BetaCurveWeighted(7, 20, 50, 35, weight);
    compare(*set, [=](double x) {
      const double part = (x - 50) / 15;
      return x < 20 || x > 80 ? 0 : 1 / (1 + weight * part * part);
    });
  }
}

TEST(FuzzySet, ShapesWithoutWidthAreStepsAndSpikes) {
  const Ref<IFuzzySet> set = NewSet();
  const auto expect = [&set](double below, double at, double above) {
    EXPECT_EQ(set->DegreeOfMembership(4.999), below);
    EXPECT_EQ(set->DegreeOfMembership(5), at);
    EXPECT_EQ(set->DegreeOfMembership(5.001), above);
  };
  set->Triangle(5, 5, 5);
  expect(0, 1, 0);
  EXPECT_EQ(set->Crisp(), 5);
  set->SCurve(7, true, 5, 5, 5);
  expect(0, 1, 1);
  set->PiCurve(7, 5, 5, 5);
  expect(0, 1, 0);
  set->BetaCurve(7, 5, 5, 4);
  expect(0, 1, 0);
}

TEST(FuzzySet, TermsAreSharedAndNeverChangedInPlace) {
  const Ref<IFuzzyVariable> variable = Temperature();
  const Ref<IFuzzySet> warm = variable->FindSet("warm");
  EXPECT_TRUE(warm->IsTerm());
  EXPECT_EQ(kbtest::MessageIdOf([&] { warm->Hedge(fhVery); }), TKBMessage::FuzzyTermUnchangeable);
  EXPECT_EQ(kbtest::MessageIdOf([&] { warm->HedgeOperator(bfhLimit, true, 0.5); }), TKBMessage::FuzzyTermUnchangeable);
  const Ref<IFuzzySet> copy = warm->Clone();
  EXPECT_FALSE(copy->IsTerm());
  EXPECT_EQ(copy->Variable(), variable.Get());
  copy->Hedge(fhNot);
  EXPECT_EQ(copy->ToString(), "not warm");
  EXPECT_EQ(copy->DegreeOfMembership(50), 0);
  EXPECT_EQ(warm->DegreeOfMembership(50), 1);
  EXPECT_FALSE(variable->AddSet(SEmptyFuzzy)->IsTerm());
}

TEST(FuzzySet, NamesOfResultsAreExpressionsOfTheLanguage) {
  const Ref<IFuzzyVariable> variable = Temperature();
  const Ref<IFuzzySet> cold = variable->FindSet("cold");
  Ref<IFuzzySet> set = cold->Union(*variable->FindSet("hot"), foZadeh);
  EXPECT_EQ(set->ToString(), "cold or hot");
  set->HedgeOperator(bfhLimit, true, 0.3F);
  EXPECT_EQ(set->ToString(), "[ cold or hot ] limited-to 0.3");
  EXPECT_EQ(cold->Intersection(*set, foProduct)->ToString(), "cold product-and [ [ cold or hot ] limited-to 0.3 ]");
  for (int i = 0; i < 100; ++i) set = set->Union(*cold, foZadeh);
  EXPECT_EQ(set->ToString().substr(0, 6), "((0 1)");
  EXPECT_LT(set->ToString().size(), 600U);
  EXPECT_EQ(NewSet()->Union(*NewSet(), foZadeh)->PointCount(), 0);
}

TEST(FuzzySet, ANumberFarFromTheUniverseKeepsItsValueAndAnEmptySetHasNone) {
  const Ref<IFuzzyVariable> variable = Temperature();
  const Ref<IFuzzySet> number = MakeRef<TKBFuzzySet>(variable.Get(), "500");
  number->Triangle(500, 500, 500);
  EXPECT_EQ(number->Maximum(), 500);
  const Ref<IFuzzySet> empty = variable->AddSet("nothing");
  EXPECT_EQ(empty->GetCompatibilityIndex(), 0);
  empty->AddPoint(0, 0.4);
  empty->AddPoint(100, 0.4);
  EXPECT_TRUE(empty->IsUndecidable());
  EXPECT_FALSE(variable->FindSet("cold")->IsUndecidable());
}

TEST(FuzzySet, ComparisonIsStrictlyAboveTheThreshold) {
  const Ref<IFuzzyVariable> variable = Temperature();
  variable->SetThreshold(static_cast<double>(0.1F));
  const Ref<IFuzzySet> cold = variable->FindSet("cold");
  EXPECT_TRUE(cold->Equals(*MakeFloat(44.9)) && cold->Equals(*MakeFloat(NAN)));
  EXPECT_FALSE(cold->Equals(*MakeInteger(45)) || cold->Equals(*MakeAtom("cold")));
  EXPECT_EQ(cold->FuzzyEquals(*MakeFloat(NAN)), 0);
  EXPECT_NEAR(cold->FuzzyEquals(*MakeInteger(30)), 0.4, 1e-12);
  EXPECT_EQ(cold->FuzzyEquals(*MakeAtom("cold")), 0);
  const Ref<IFuzzySet> warm = variable->FindSet("warm");
  EXPECT_NEAR(cold->Iterate(*warm, FuzzyOperatorMaxOfMin), 1.0 / 3, 1e-9);
  EXPECT_EQ(cold->Iterate(*warm, FuzzyOperatorMinThreshold), 1);
  EXPECT_EQ(cold->Iterate(*variable->FindSet("hot"), FuzzyOperatorMinThreshold), 0);
}

TEST(FuzzyVariable, UniverseTermsAndCopies) {
  const Ref<IFuzzyVariable> variable = Temperature();
  for (const auto& [from, to] : {std::pair{5.0, 5.0}, {9.0, 1.0}, {0.0, HUGE_VAL}, {static_cast<double>(NAN), 1.0}}) {
    EXPECT_EQ(kbtest::MessageIdOf([&, from = from, to = to] { variable->SetUniverse(from, to); }),
              TKBMessage::InvalidUniverse);
  }
  EXPECT_EQ(variable->To(), 100);
  const Ref<IFuzzyVariable> copy = variable->Clone();
  EXPECT_TRUE(copy->Equals(variable.Get()));
  EXPECT_EQ(copy->FindSet("warm")->Variable(), copy.Get());
  copy->AddSet("warm")->Triangle(0, 1, 2);
  EXPECT_EQ(copy->SetCount(), 3);
  EXPECT_FALSE(copy->Equals(variable.Get()));
  const Ref<IFuzzySet> orphan = Temperature()->FindSet("warm");
  EXPECT_EQ(orphan->Variable(), nullptr);
  EXPECT_EQ(orphan->Moment(), 50);
}

}  // namespace
}  // namespace kb
