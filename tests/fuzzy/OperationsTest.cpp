#include <gtest/gtest.h>

#include <cmath>

#include "RandomSets.h"
#include "kb/fuzzy/FuzzyOperations.h"
#include "kb/fuzzy/FuzzyWords.h"
#include "kb/values/KBConsts.h"

namespace kb {
namespace {

using TPlain = double (*)(double, double);
using TPlainHedge = double (*)(double);

double Root(double x) { return std::sqrt(x); }

struct TOperationCase {
  TFuzzyOperation operation;
  TPlain unite;
  TPlain intersect;
  double tolerance;
};

// The formulas of docs/fuzzy.md, written out. sum depends on the whole sets and is tested by itself.
const TOperationCase kOperations[] = {
    {foZadeh, [](double a, double b) { return std::max(a, b); }, [](double a, double b) { return std::min(a, b); },
     1e-6},
    {foMean, [](double a, double b) { return (a + b) / 2; }, [](double a, double b) { return (a + b) / 2; }, 1e-6},
    {foMeanSqr, [](double a, double b) { return Root((a * a + b * b) / 2); },
     [](double a, double b) { return 1 - Root(((1 - a) * (1 - a) + (1 - b) * (1 - b)) / 2); }, 0.001},
    {foMeanSqrt, [](double a, double b) { return 1 - std::pow((Root(1 - a) + Root(1 - b)) / 2, 2); },
     [](double a, double b) { return std::pow((Root(a) + Root(b)) / 2, 2); }, 0.001},
    {foProduct, [](double a, double b) { return a + b - a * b; }, [](double a, double b) { return a * b; }, 0.001},
    {foBoundedSum, [](double a, double b) { return std::min(1.0, a + b); },
     [](double a, double b) { return std::max(0.0, a + b - 1); }, 1e-6},
};

// Where a polygon is steeper than this, a place that is off by rounding shows another membership.
bool IsNearJump(const TFuzzyPolygon& polygon, double x) {
  const std::vector<TFuzzyPoint>& points = polygon.Points();
  for (size_t i = 1; i < points.size(); ++i) {
    const bool near = x > points[i - 1].x - 1e-6 && x < points[i].x + 1e-6;
    if (near && points[i].x - points[i - 1].x < 1e-4 && points[i].x != points[i - 1].x) return true;
  }
  return false;
}

/// Calls `check(x, what)` at places where the two sets show the membership that their points tell.
template <class Check>
void AtPlaces(TRandomSets& random, const TFuzzyPolygon& a, const TFuzzyPolygon& b, const Check& check) {
  for (const double x : random.Places(a, b)) {
    if (!IsNearJump(a, x) && !IsNearJump(b, x)) check(x);
  }
}

TEST(FuzzyOperations, UnionsAndIntersectionsAgreeWithTheirFormulasOnRandomSets) {
  for (const TOperationCase& c : kOperations) {
    TRandomSets random(10 + c.operation);
    for (int round = 0; round < kRounds; ++round) {
      const TFuzzyPolygon a = random.Polygon();
      const TFuzzyPolygon b = random.Polygon();
      const TFuzzyPolygon both = FuzzyUnion(a, b, c.operation);
      const TFuzzyPolygon common = FuzzyIntersection(a, b, c.operation);
      AtPlaces(random, a, b, [&](double x) {
        const double ya = a.Membership(x);
        const double yb = b.Membership(x);
        ASSERT_NEAR(both.Membership(x), c.unite(ya, yb), c.tolerance)
            << FuzzyOperationNames[c.operation] << " union, round " << round << " at " << x;
        ASSERT_NEAR(common.Membership(x), c.intersect(ya, yb), c.tolerance)
            << FuzzyOperationNames[c.operation] << " intersection, round " << round << " at " << x;
      });
      if (testing::Test::HasFatalFailure()) return;
    }
  }
}

TEST(FuzzyOperations, SumAddsAndScalesTheWholeSet) {
  TRandomSets random(20);
  for (int round = 0; round < kRounds && !testing::Test::HasFatalFailure(); ++round) {
    const TFuzzyPolygon a = random.Polygon();
    const TFuzzyPolygon b = random.Polygon();
    const TFuzzyPolygon sum = FuzzyUnion(a, b, foSum);
    const TFuzzyPolygon meet = FuzzyIntersection(ApplyFuzzyHedge(a, fhNot), ApplyFuzzyHedge(b, fhNot), foSum);
    double scale = 1;
    AtPlaces(random, a, b, [&](double x) {
      const double plain = a.Membership(x) + b.Membership(x);
      if (plain > 0.1) scale = std::max(scale, plain / sum.Membership(x));
    });
    AtPlaces(random, a, b, [&](double x) {
      ASSERT_NEAR(sum.Membership(x) * scale, a.Membership(x) + b.Membership(x), 1e-6) << "round " << round;
      ASSERT_NEAR(1 - meet.Membership(x), sum.Membership(x), 1e-6) << "De Morgan, round " << round;
    });
  }
  const TFuzzyPolygon low({{0, 1}, {10, 0}});
  EXPECT_DOUBLE_EQ(FuzzyUnion(low, TFuzzyPolygon({{0, 0}, {10, 1}}), foSum).Membership(3), 1);
  EXPECT_DOUBLE_EQ(FuzzyUnion(low, low, foSum).Membership(5), 0.5);
}

TEST(FuzzyOperations, HedgesAgreeWithTheirFormulasOnRandomSetsAndStrongerOnesGiveSmallerSets) {
  const std::pair<TFuzzyHedge, TPlainHedge> hedges[] = {
      {fhNot, [](double y) { return 1 - y; }},
      {fhIntensify, [](double y) { return y <= 0.5 ? 2 * y * y : 1 - 2 * (1 - y) * (1 - y); }},
      // From the strongest on.
      {fhExtremely, [](double y) { return y * y * y; }},
      {fhVery, [](double y) { return y * y; }},
      {fhPlus, [](double y) { return std::pow(y, 1.25); }},
      {fhMoreOrLess, [](double y) { return std::sqrt(y); }},
      {fhSomewhat, [](double y) { return std::cbrt(y); }},
  };
  TRandomSets random(22);
  for (int round = 0; round < kRounds; ++round) {
    const TFuzzyPolygon a = random.Polygon();
    TFuzzyPolygon narrow;
    for (const auto& [hedge, formula] : hedges) {
      const TFuzzyPolygon hedged = ApplyFuzzyHedge(a, hedge);
      for (const double x : random.Places(a, hedged)) {
        if (hedge != fhNot && hedge != fhIntensify && hedge != fhExtremely) {
          ASSERT_LE(narrow.Membership(x), hedged.Membership(x) + 2 * kFuzzyTolerance) << "round " << round;
        }
        if (IsNearJump(a, x)) continue;
        ASSERT_NEAR(hedged.Membership(x), formula(a.Membership(x)), 0.001)
            << FuzzyHedgeNames[hedge] << ", round " << round << " at " << x;
      }
      narrow = hedged;
    }
  }
}

TEST(FuzzyOperations, AboveBelowNormAndSlightly) {
  const TFuzzyPolygon medium({{0, 0}, {50, 1}, {100, 0}});
  const TFuzzyPolygon above = ApplyFuzzyHedge(medium, fhAbove);
  EXPECT_DOUBLE_EQ(above.Membership(20), 0);
  EXPECT_DOUBLE_EQ(above.Membership(75), 0.5);
  EXPECT_DOUBLE_EQ(above.Membership(200), 1);
  EXPECT_DOUBLE_EQ(ApplyFuzzyHedge(medium, fhBelow).Membership(25), 0.5);
  EXPECT_DOUBLE_EQ(ApplyFuzzyHedge(medium, fhBelow).Membership(75), 0);
  // Nothing is above a set that goes on to the right at full height.
  EXPECT_TRUE(ApplyFuzzyHedge(TFuzzyPolygon({{0, 0}, {10, 1}}), fhAbove).IsEmpty());

  const TFuzzyPolygon norm = ApplyFuzzyHedge(TFuzzyPolygon({{0, 0}, {50, 0.25}, {100, 0.125}}), fhNorm);
  EXPECT_DOUBLE_EQ(norm.Membership(50), 1);
  EXPECT_DOUBLE_EQ(norm.Membership(100), 0.5);

  const TFuzzyPolygon slightly = ApplyFuzzyHedge(medium, fhSlightly);
  EXPECT_NEAR(slightly.Height({0, 100}), 1, 1e-6);
  EXPECT_NEAR(slightly.Membership(50), 0, 1e-6);
  EXPECT_NEAR(slightly.Membership(50 * 0.6474639298936404), 1, 0.001);
}

TEST(FuzzyOperations, OperatorsWithANumberAreExact) {
  const TFuzzyPolygon hot({{50, 0}, {100, 1}});
  const auto apply = [&](TBaseFuzzyHedge base, bool flag, double value) {
    return ApplyFuzzyHedgeOperator(hot, base, flag, value);
  };
  EXPECT_EQ(apply(bfhLimit, true, 0.4), TFuzzyPolygon({{50, 0}, {70, 0.4}, {100, 0.4}}));
  EXPECT_EQ(apply(bfhLimit, false, 0.4), TFuzzyPolygon({{50, 0.4}, {70, 0.4}, {100, 1}}));
  EXPECT_EQ(apply(bfhScale, true, 0.4), TFuzzyPolygon({{50, 0}, {100, 0.4}}));
  EXPECT_EQ(apply(bfhScale, false, 0.5), TFuzzyPolygon({{50, 0}, {75, 1}, {100, 1}}));
  EXPECT_EQ(apply(bfhShift, true, 10), TFuzzyPolygon({{60, 0}, {110, 1}}));
  EXPECT_EQ(apply(bfhCut, true, 0.4), TFuzzyPolygon({{50, 0}, {70, 0}, {70, 0.4}, {100, 1}}));
  EXPECT_EQ(apply(bfhCut, false, 0.4), TFuzzyPolygon({{50, 0}, {70, 0.4}, {70, 0}, {100, 0}}));
  EXPECT_NEAR(apply(bfhPower, false, 2).Membership(75), std::sqrt(0.5), 0.001);
  for (const double bad : {0.0, -1.0, static_cast<double>(NAN), static_cast<double>(INFINITY)}) {
    EXPECT_THROW(static_cast<void>(apply(bfhPower, true, bad)), EKBException) << bad;
    EXPECT_THROW(static_cast<void>(apply(bfhScale, false, bad)), EKBException) << bad;
  }
}

TEST(FuzzyOperations, WordsAndTheirMeaning) {
  for (const std::string_view name : FuzzyOperationNames) {
    TFuzzyOperation operation{}, found{};
    ASSERT_TRUE(IsFuzzyOperation(name, operation));
    for (const bool unites : {false, true}) {
      bool isUnion = !unites;
      ASSERT_TRUE(IsFuzzyKeyword(FuzzyKeyword(unites, operation), isUnion, found));
      EXPECT_TRUE(isUnion == unites && found == operation) << name;
    }
  }
  for (const char* word : {"[", "]", "not", "limited-to", "or", "sum-and"}) EXPECT_TRUE(IsFuzzyWord(word)) << word;
  for (const char* word : {"hot", "Not", "-or", "brand", "minor", "x-or", ""}) EXPECT_FALSE(IsFuzzyWord(word)) << word;
}

}  // namespace
}  // namespace kb
