#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "RandomSets.h"
#include "kb/fuzzy/FuzzyPolygon.h"
#include "kb/values/KBConsts.h"

namespace kb {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(FuzzyPolygon, MembershipBetweenBeyondAndAtPoints) {
  const std::pair<TFuzzyPolygon, std::vector<std::pair<double, double>>> cases[] = {
      {TFuzzyPolygon({{0, 1}, {10, 0}}), {{-5, 1}, {2.5, 0.75}, {99, 0}}},
      {TFuzzyPolygon({{5, 0.7}}), {{5, 0.7}, {5.0001, 0}}},
      {TFuzzyPolygon({{10, 0}, {10, 1}, {20, 1}, {20, 0}}), {{10, 1}, {9.999, 0}, {20, 1}}},
      {TFuzzyPolygon({{5, 0.2}, {5, 1}, {5, 0.4}}), {{4, 0.2}, {5, 1}, {6, 0.4}}},
      {TFuzzyPolygon(), {{1, 0}}},
  };
  for (const auto& [polygon, memberships] : cases) {
    for (const auto& [x, y] : memberships) EXPECT_DOUBLE_EQ(polygon.Membership(x), y) << "at " << x;
  }
  EXPECT_TRUE(std::isnan(cases[0].first.Membership(kNaN)));
}

TEST(FuzzyPolygon, PointsComeInAnyOrderAndBadOnesAreRefused) {
  const TFuzzyPolygon sorted({{0, 0}, {5, 1}, {10, 0}});
  EXPECT_EQ(TFuzzyPolygon({{10, 0}, {0, 0}, {5, 1}}), sorted);
  // Of four at one place first, last and the higher one between them stay.
  EXPECT_EQ(TFuzzyPolygon({{5, 0}, {5, 0.3}, {5, 0.8}, {5, 0.1}}), TFuzzyPolygon({{5, 0}, {5, 0.8}, {5, 0.1}}));

  TFuzzyPolygon polygon;
  for (const TFuzzyPoint bad : {TFuzzyPoint{0, -0.1}, {0, 1.1}, {0, kNaN}, {kNaN, 0}, {kInfinity, 0}}) {
    EXPECT_THROW(polygon.AddPoint(bad.x, bad.y), EKBException) << bad.x << " " << bad.y;
  }
  EXPECT_TRUE(polygon.IsEmpty());
  polygon.AddPoint(0, 1 + 1e-12);
  EXPECT_EQ(polygon.Membership(0), 1);
}

TEST(FuzzyPolygon, CentreAndMaximaOfKnownShapes) {
  const TFuzzyRange universe{0, 100};
  const std::tuple<const char*, TFuzzyPolygon, double, double> cases[] = {
      {"triangle", TFuzzyPolygon({{0, 0}, {30, 1}, {60, 0}}), 30, 30},
      {"right-angled", TFuzzyPolygon({{0, 0}, {90, 1}, {90, 0}}), 60, 90},
      {"box", TFuzzyPolygon({{10, 0}, {10, 1}, {20, 1}, {20, 0}}), 15, 15},
      {"reaches the edge", TFuzzyPolygon({{60, 0}, {80, 1}}), (10 * (60 + 40 / 3.0) + 20 * 90) / 30, 90},
      {"everything", TFuzzyPolygon({{0, 0.5}, {1, 0.5}}), 50, 50},
      {"nothing", TFuzzyPolygon(), 50, 50},
      {"singleton", TFuzzyPolygon({{70, 0.2}}), 70, 70},
      {"two spikes", TFuzzyPolygon({{10, 0}, {10, 0.3}, {10, 0}, {20, 0}, {20, 0.7}, {20, 0}}), 17, 20},
      {"two peaks", TFuzzyPolygon({{0, 0}, {10, 1}, {20, 0}, {70, 0}, {80, 1}, {90, 0}}), 45, 45},
      {"outside", TFuzzyPolygon({{200, 0}, {210, 1}, {220, 0}}), 50, 50},
  };
  for (const auto& [name, polygon, centroid, maximum] : cases) {
    EXPECT_NEAR(polygon.Centroid(universe), centroid, 1e-9) << name;
    EXPECT_NEAR(polygon.MeanOfMaxima(universe), maximum, 1e-9) << name;
  }
  EXPECT_EQ(TFuzzyPolygon({{3, 1}}).Centroid({3, 3}), 3);
}

TEST(FuzzyPolygon, IntegralsAgreeWithQuadratureOnRandomSets) {
  TRandomSets random(1);
  for (int round = 0; round < kRounds; ++round) {
    const TFuzzyPolygon polygon = random.Polygon();
    std::vector<double> breaks;
    for (const TFuzzyPoint& point : polygon.Points()) breaks.push_back(point.x);
    const auto sum = Integrate([&](double x) { return polygon.Membership(x); }, breaks, 0, 100);
    if (sum.area < 1e-9) continue;
    const double expected = sum.moment / sum.area;
    ASSERT_NEAR(polygon.Centroid({0, 100}), expected, 1e-6 * std::max(1.0, expected)) << "round " << round;
  }
}

TEST(FuzzyPolygon, HeightDepthAndMaximaAgreeWithSamplingOnRandomSets) {
  TRandomSets random(2);
  for (int round = 0; round < kRounds; ++round) {
    const TFuzzyPolygon polygon = random.Polygon();
    const double height = polygon.Height({0, 100});
    const double depth = polygon.Depth({0, 100});
    double greatest = 0;
    double least = 1;
    for (const double place : random.Places(polygon, polygon)) {
      for (const double x : {place, place - 1e-7, place + 1e-7}) {
        if (x < 0 || x > 100) continue;
        greatest = std::max(greatest, polygon.Membership(x));
        least = std::min(least, polygon.Membership(x));
      }
    }
    ASSERT_TRUE(greatest <= height + 1e-9 && least >= depth - 1e-9) << "round " << round;
    // Steep pieces lose something within the small distance from their points.
    ASSERT_NEAR(greatest, height, 1e-2) << "round " << round;
    ASSERT_NEAR(least, depth, 1e-2) << "round " << round;
    const double maximum = polygon.MeanOfMaxima({0, 100});
    ASSERT_TRUE(maximum >= 0 && maximum <= 100) << "round " << round;
  }
}

TEST(FuzzyPolygon, MaxOfMinAgreesWithSearchOnRandomSets) {
  TRandomSets random(3);
  for (int round = 0; round < kRounds; ++round) {
    const TFuzzyPolygon a = random.Polygon();
    const TFuzzyPolygon b = random.Polygon();
    const double degree = TFuzzyPolygon::MaxOfMin(a, b, {0, 100});
    ASSERT_EQ(degree, TFuzzyPolygon::MaxOfMin(b, a, {0, 100})) << "round " << round;
    const auto lower = [&](double x) { return std::min(a.Membership(x), b.Membership(x)); };
    std::vector<double> breaks{0, 100};
    for (const TFuzzyPolygon* polygon : {&a, &b}) {
      for (const TFuzzyPoint& point : polygon->Points()) breaks.push_back(std::clamp(point.x, 0.0, 100.0));
    }
    std::sort(breaks.begin(), breaks.end());
    double greatest = 0;
    for (const double x : breaks) greatest = std::max(greatest, lower(x));
    // Between two places the lower one of two straight pieces has one peak, which thirds close in on.
    for (size_t i = 1; i < breaks.size(); ++i) {
      double low = std::nextafter(breaks[i - 1], 200);
      double high = std::nextafter(breaks[i], -200);
      if (low > high) continue;
      for (int step = 0; step < 100; ++step) {
        const double third = (high - low) / 3;
        (lower(low + third) < lower(high - third) ? low += third : high -= third);
      }
      greatest = std::max({greatest, lower(low), lower(high)});
    }
    ASSERT_NEAR(degree, greatest, 1e-6) << "round " << round;
  }
}

TEST(FuzzyPolygon, ADropOfPointsOnALineKeepsRepeatedOperationsSmall) {
  const TFuzzyPolygon a({{0, 0}, {10, 1}, {20, 0}});
  const TFuzzyPolygon b({{5, 0}, {15, 1}, {25, 0}});
  const auto greater = [](double x, double y) { return std::max(x, y); };
  const auto difference = [](double x, double y) { return x - y; };
  TFuzzyPolygon merged = a;
  for (int i = 0; i < 100; ++i) merged = TFuzzyPolygon::Combined(merged, i % 2 ? a : b, greater, true, difference);
  EXPECT_EQ(merged, TFuzzyPolygon({{0, 0}, {10, 1}, {12.5, 0.75}, {15, 1}, {25, 0}}));
}

}  // namespace
}  // namespace kb
