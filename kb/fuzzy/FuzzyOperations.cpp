#include "kb/fuzzy/FuzzyOperations.h"

#include <algorithm>
#include <cmath>

#include "kb/common/Helpers.h"
#include "kb/fuzzy/FuzzyWords.h"
#include "kb/values/KBConsts.h"

namespace kb {
namespace {

[[nodiscard]] TFzyFloat Difference(TFzyFloat a, TFzyFloat b) { return a - b; }
[[nodiscard]] TFzyFloat Excess(TFzyFloat a, TFzyFloat b) { return a + b - 1; }
[[nodiscard]] TFzyFloat Greater(TFzyFloat a, TFzyFloat b) { return std::max(a, b); }
[[nodiscard]] TFzyFloat Smaller(TFzyFloat a, TFzyFloat b) { return std::min(a, b); }
[[nodiscard]] TFzyFloat Mean(TFzyFloat a, TFzyFloat b) { return (a + b) / 2; }
/// The quadratic mean lies above the mean, the power mean of exponent 1/2 below it.
[[nodiscard]] TFzyFloat QuadraticMean(TFzyFloat a, TFzyFloat b) { return std::sqrt((a * a + b * b) / 2); }
[[nodiscard]] TFzyFloat RootMean(TFzyFloat a, TFzyFloat b) {
  const TFzyFloat mean = (std::sqrt(std::max(a, 0.0)) + std::sqrt(std::max(b, 0.0))) / 2;
  return mean * mean;
}
[[nodiscard]] TFzyFloat UpperRootMean(TFzyFloat a, TFzyFloat b) { return 1 - RootMean(1 - a, 1 - b); }
[[nodiscard]] TFzyFloat ProbabilisticSum(TFzyFloat a, TFzyFloat b) { return a + b - a * b; }
[[nodiscard]] TFzyFloat BoundedSum(TFzyFloat a, TFzyFloat b) { return std::min(1.0, a + b); }

/// A union at one place. The kinks of each are those of its dual, too.
struct TUnion {
  TFzyFloat (*function)(TFzyFloat, TFzyFloat);
  bool exact;
  TFzyFloat (*kink)(TFzyFloat, TFzyFloat);
};

/// Of every operation but sum, which is none of single places.
[[nodiscard]] const TUnion& UnionOf(TFuzzyOperation operation) noexcept {
  static constexpr TUnion kUnions[] = {
      {Greater, true, Difference},        {Mean, true, nullptr},
      {QuadraticMean, false, nullptr},    {UpperRootMean, false, nullptr},
      {ProbabilisticSum, false, nullptr}, {BoundedSum, true, Excess},
  };
  return kUnions[operation];
}

[[nodiscard]] TFuzzyPolygon Complement(const TFuzzyPolygon& polygon) {
  return polygon.Mapped([](TFzyFloat y) { return 1 - y; }, true);
}

[[nodiscard]] TFuzzyPolygon Power(const TFuzzyPolygon& polygon, TFzyFloat exponent) {
  return polygon.Mapped([exponent](TFzyFloat y) { return std::pow(y, exponent); }, exponent == 1);
}

[[nodiscard]] TFuzzyPolygon Normalized(const TFuzzyPolygon& polygon) {
  const TFzyFloat height = polygon.Height();
  if (height <= 0) return polygon;
  return polygon.Mapped([height](TFzyFloat y) { return y / height; }, true);
}

[[nodiscard]] TFuzzyPolygon Intensified(const TFuzzyPolygon& polygon) {
  return polygon.Mapped([](TFzyFloat y) { return y <= 0.5 ? 2 * y * y : 1 - 2 * (1 - y) * (1 - y); }, false, {0.5});
}

/// Halves are summed, so that nothing leaves 0 to 1 before the height is known.
[[nodiscard]] TFuzzyPolygon Sum(const TFuzzyPolygon& a, const TFuzzyPolygon& b) {
  const TFuzzyPolygon halves = TFuzzyPolygon::Combined(a, b, Mean, true);
  const TFzyFloat scale = std::max(0.5, halves.Height());
  return halves.Mapped([scale](TFzyFloat y) { return y / scale; }, true);
}

/// plus a, and not very a; brought to full height and intensified.
[[nodiscard]] TFuzzyPolygon Slightly(const TFuzzyPolygon& polygon) {
  const auto both = [](TFzyFloat y) { return std::min(std::pow(y, 1.25), 1 - y * y); };
  // Where the two meet: y^1.25 + y^2 = 1.
  constexpr TFzyFloat kMeeting = 0.6474639298936404;
  return Intensified(Normalized(polygon.Mapped(both, false, {kMeeting})));
}

/// What lies beyond the peak on one side: 1 - m there, 0 on the other side.
[[nodiscard]] TFuzzyPolygon Beyond(const TFuzzyPolygon& polygon, bool above) {
  const TFuzzyRange peak = polygon.Peak();
  constexpr TFzyFloat kInfinity = HUGE_VAL;
  const TFuzzyRange hidden = above ? TFuzzyRange{-kInfinity, peak.to} : TFuzzyRange{peak.from, kInfinity};
  if (std::isinf(hidden.from) && std::isinf(hidden.to)) return TFuzzyPolygon();
  return Complement(polygon).Masked(hidden, true);
}

void CheckOperand(TBaseFuzzyHedge base, bool flag, TFzyFloat value) {
  const bool takesNumber = base != bfhNone && base != bfhIntensify && base != bfhComplement;
  bool valid = !takesNumber || std::isfinite(value);
  if (base == bfhPower) valid = valid && value > 0;
  if (base == bfhScale) valid = valid && (flag ? value >= 0 : value > 0);
  if (valid) return;
  throw EKBException(TKBMessage::InvalidFuzzyOperand,
                     {std::string(FuzzyHedgeOperatorName(base, flag)), FloatToString(value)});
}

/// Memberships on one side of the level stay, the others become 0; the level itself stays.
[[nodiscard]] TFuzzyPolygon Cut(const TFuzzyPolygon& polygon, bool above, TFzyFloat level) {
  // The places where the level is reached become jumps: the smaller one of the set and of a mask that is 1 where the
  // set passes.
  const auto passes = [=](TFzyFloat y) { return above ? y >= level : y <= level; };
  std::vector<TFuzzyPoint> points;
  const auto add = [&](TFzyFloat x, TFzyFloat y) { points.push_back({x, passes(y) ? y : 0}); };
  const std::vector<TFuzzyPoint>& source = polygon.Points();
  for (size_t i = 0; i < source.size(); ++i) {
    if (i > 0 && source[i - 1].x < source[i].x && passes(source[i - 1].y) != passes(source[i].y)) {
      const TFuzzyPoint& a = source[i - 1];
      const TFuzzyPoint& b = source[i];
      const TFzyFloat x = a.x + (b.x - a.x) * (level - a.y) / (b.y - a.y);
      const bool atStart = a.y == level;
      const bool atEnd = b.y == level;
      if (!atStart && !atEnd && a.x < x && x < b.x) {
        points.push_back({x, passes(a.y) ? level : 0});
        points.push_back({x, passes(b.y) ? level : 0});
      } else if (atStart) {
        points.push_back({a.x, 0});
      } else if (atEnd) {
        points.push_back({b.x, 0});
      }
    }
    add(source[i].x, source[i].y);
  }
  return TFuzzyPolygon(points);
}

}  // namespace

TFuzzyPolygon FuzzyUnion(const TFuzzyPolygon& a, const TFuzzyPolygon& b, TFuzzyOperation operation) {
  if (operation == foSum) return Sum(a, b);
  const TUnion& entry = UnionOf(operation);
  return TFuzzyPolygon::Combined(a, b, entry.function, entry.exact, entry.kink);
}

TFuzzyPolygon FuzzyIntersection(const TFuzzyPolygon& a, const TFuzzyPolygon& b, TFuzzyOperation operation) {
  if (operation == foZadeh) return TFuzzyPolygon::Combined(a, b, Smaller, true, Difference);
  if (operation == foSum) return Complement(Sum(Complement(a), Complement(b)));
  const TUnion& entry = UnionOf(operation);
  const auto dual = [&entry](TFzyFloat x, TFzyFloat y) { return 1 - entry.function(1 - x, 1 - y); };
  return TFuzzyPolygon::Combined(a, b, dual, entry.exact, entry.kink);
}

TFuzzyPolygon ApplyFuzzyHedge(const TFuzzyPolygon& polygon, TFuzzyHedge hedge) {
  switch (hedge) {
    case fhNot:
      return Complement(polygon);
    case fhVery:
      return Power(polygon, 2);
    case fhExtremely:
      return Power(polygon, 3);
    case fhSomewhat:
      return Power(polygon, 1.0 / 3.0);
    case fhMoreOrLess:
      return Power(polygon, 0.5);
    case fhPlus:
      return Power(polygon, 1.25);
    case fhSlightly:
      return Slightly(polygon);
    case fhIntensify:
      return Intensified(polygon);
    case fhAbove:
    case fhBelow:
      return Beyond(polygon, hedge == fhAbove);
    case fhNorm:
      break;
  }
  return Normalized(polygon);
}

TFuzzyPolygon ApplyFuzzyHedgeOperator(const TFuzzyPolygon& polygon, TBaseFuzzyHedge base, bool flag, TFzyFloat value) {
  CheckOperand(base, flag, value);
  switch (base) {
    case bfhPower:
      return Power(polygon, flag ? value : 1 / value);
    case bfhScale: {
      const TFzyFloat factor = flag ? value : 1 / value;
      return polygon.Mapped([factor](TFzyFloat y) { return std::min(1.0, y * factor); }, true,
                            factor > 1 ? std::vector<TFzyFloat>{1 / factor} : std::vector<TFzyFloat>{});
    }
    case bfhShift:
      return polygon.Shifted(flag ? value : -value);
    case bfhCut:
      return Cut(polygon, flag, value);
    case bfhIntensify:
      return flag ? Intensified(polygon) : polygon;
    case bfhComplement:
      return flag ? Complement(polygon) : polygon;
    case bfhLimit: {
      const TFzyFloat level = std::clamp(value, 0.0, 1.0);
      return polygon.Mapped([=](TFzyFloat y) { return flag ? std::min(y, level) : std::max(y, level); }, true, {level});
    }
    case bfhNone:
      break;
  }
  return polygon;
}

}  // namespace kb
