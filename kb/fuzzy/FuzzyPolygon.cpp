#include "kb/fuzzy/FuzzyPolygon.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "kb/common/Helpers.h"
#include "kb/values/KBConsts.h"

namespace kb {
namespace {

/// Memberships closer than this are the same level.
constexpr TFzyFloat kLevelTolerance = 1e-9;
/// A point that is this close to the line of its neighbours lies on it. Far below what a crossing point is off by.
constexpr TFzyFloat kLineTolerance = 1e-11;
/// Halvings of a curved piece between two points; a root at its start needs some thirty.
constexpr int kCurveDepth = 34;

[[nodiscard]] TFzyFloat Between(TFzyFloat a, TFzyFloat b, TFzyFloat t) noexcept { return a + (b - a) * t; }

[[nodiscard]] TFzyFloat CheckedMembership(TFzyFloat x, TFzyFloat y) {
  const bool valid = std::isfinite(x) && y >= -kLevelTolerance && y <= 1 + kLevelTolerance;
  if (!valid) throw EKBException(TKBMessage::InvalidFuzzyPoint, {FloatToString(x), FloatToString(y)});
  return std::clamp(y, 0.0, 1.0);
}

}  // namespace

/// The membership just left of a place, at it, and just right of it.
struct TFuzzySides {
  TFzyFloat left;
  TFzyFloat value;
  TFzyFloat right;
};

/// Walks over the places of a polygon where it may bend or jump.
class TFuzzyCursor {
 public:
  explicit TFuzzyCursor(const TFuzzyPolygon& polygon) noexcept : points_(polygon.points_) { Advance(); }

  /// The next place; infinity behind the last.
  [[nodiscard]] TFzyFloat Next() const noexcept { return x_; }

  /// The polygon at `x`, which is not beyond the next place and not before the former one.
  [[nodiscard]] TFuzzySides At(TFzyFloat x) noexcept {
    if (x == x_) {
      const TFuzzySides sides = sides_;
      formerX_ = x_;
      former_ = sides_.right;
      started_ = true;
      Advance();
      return sides;
    }
    const TFzyFloat y = !started_ ? sides_.left : InFront() ? Interpolate(x) : former_;
    return {y, y, y};
  }

 private:
  [[nodiscard]] bool InFront() const noexcept { return x_ != std::numeric_limits<TFzyFloat>::infinity(); }
  [[nodiscard]] TFzyFloat Interpolate(TFzyFloat x) const noexcept {
    return Between(former_, sides_.left, (x - formerX_) / (x_ - formerX_));
  }
  void Advance() noexcept {
    const size_t begin = place_;
    if (begin == points_.size()) {
      x_ = std::numeric_limits<TFzyFloat>::infinity();
      if (points_.empty()) sides_ = {0, 0, 0};
      return;
    }
    x_ = points_[begin].x;
    while (place_ < points_.size() && points_[place_].x == x_) ++place_;
    const size_t count = place_ - begin;
    const TFzyFloat first = points_[begin].y;
    const TFzyFloat last = points_[place_ - 1].y;
    if (points_.size() == 1) {
      sides_ = {0, first, 0};
    } else if (count == 3) {
      sides_ = {first, points_[begin + 1].y, last};
    } else {
      sides_ = {first, std::max(first, last), last};
    }
  }

  const std::vector<TFuzzyPoint>& points_;
  size_t place_ = 0;
  TFzyFloat x_ = 0;
  TFuzzySides sides_{0, 0, 0};
  TFzyFloat formerX_ = 0;
  TFzyFloat former_ = 0;
  bool started_ = false;
};

/// Collects the places of a result in ascending order and keeps what the function needs.
class TFuzzyBuilder {
 public:
  void Add(TFzyFloat x, TFzyFloat y) { Add(x, TFuzzySides{y, y, y}); }
  void Add(TFzyFloat x, TFuzzySides sides) {
    for (TFzyFloat* y : {&sides.left, &sides.value, &sides.right}) *y = std::clamp(*y, 0.0, 1.0);
    const auto same = [](TFzyFloat a, TFzyFloat b) { return std::abs(a - b) <= kLineTolerance; };
    const bool jumps = !same(sides.left, sides.right);
    const bool dot = !same(sides.value, jumps ? std::max(sides.left, sides.right) : sides.left);
    Push(x, sides.left);
    if (dot) Push(x, sides.value);
    if (jumps || dot) Push(x, sides.right);
  }
  [[nodiscard]] TFuzzyPolygon Take() {
    // One point alone would be a singleton; twice the same one is that membership everywhere.
    if (points_.size() == 1 && points_.front().y > 0) points_.push_back(points_.front());
    TFuzzyPolygon result;
    result.points_ = std::move(points_);
    return result;
  }

 private:
  void Push(TFzyFloat x, TFzyFloat y) {
    if (const size_t count = points_.size(); count >= 2) {
      const TFuzzyPoint& a = points_[count - 2];
      const TFuzzyPoint& b = points_[count - 1];
      const bool inside = a.x < b.x && b.x < x;
      if (inside && std::abs(Between(a.y, y, (b.x - a.x) / (x - a.x)) - b.y) <= kLineTolerance) points_.pop_back();
    }
    points_.push_back({x, y});
  }

  std::vector<TFuzzyPoint> points_;
};

namespace {

/// Adds what a piece that is not straight needs between its ends; `function` runs over 0 to 1.
template <class Function>
void Bend(TFuzzyBuilder& builder, TFuzzyPoint a, TFuzzyPoint b, TFuzzyRange t, const Function& function, int depth) {
  const auto curve = [&](TFzyFloat part) { return function(Between(t.from, t.to, part)); };
  const TFzyFloat middle = curve(0.5);
  bool bends = false;
  for (const TFzyFloat part : {0.25, 0.5, 0.75}) {
    bends = bends || std::abs(curve(part) - Between(a.y, b.y, part)) > kFuzzyTolerance;
  }
  const TFuzzyPoint half{Between(a.x, b.x, 0.5), middle};
  if (!bends || depth == 0 || !(a.x < half.x && half.x < b.x)) return;
  const TFzyFloat tHalf = Between(t.from, t.to, 0.5);
  Bend(builder, a, half, {t.from, tHalf}, function, depth - 1);
  builder.Add(half.x, half.y);
  Bend(builder, half, b, {tHalf, t.to}, function, depth - 1);
}

/// Two polygons side by side.
struct TPair {
  TFuzzySides a;
  TFuzzySides b;
};

}  // namespace

TFuzzyPolygon::TFuzzyPolygon(const std::vector<TFuzzyPoint>& points) {
  for (const TFuzzyPoint& point : points) AddPoint(point.x, point.y);
}

void TFuzzyPolygon::AddPoint(TFzyFloat x, TFzyFloat y) {
  y = CheckedMembership(x, y);
  const auto place = std::upper_bound(points_.begin(), points_.end(), x,
                                      [](TFzyFloat value, const TFuzzyPoint& point) { return value < point.x; });
  const auto added = points_.insert(place, {x, y});
  const auto count = added - points_.begin();
  if (count < 3 || points_[static_cast<size_t>(count) - 3].x != x) return;
  // The fourth of one place: of the two in the middle the higher one stays.
  points_.erase(added - (added[-2].y < added[-1].y ? 2 : 1));
}

TFuzzyRange TFuzzyPolygon::Extent() const noexcept {
  if (points_.empty()) return {0, 0};
  return {points_.front().x, points_.back().x};
}

TFzyFloat TFuzzyPolygon::Membership(TFzyFloat x) const noexcept {
  if (std::isnan(x)) return x;
  if (points_.empty()) return 0;
  if (points_.size() == 1) return x == points_.front().x ? points_.front().y : 0;
  const auto below = [](const TFuzzyPoint& point, TFzyFloat value) { return point.x < value; };
  const auto next = std::lower_bound(points_.begin(), points_.end(), x, below);
  if (next == points_.end()) return points_.back().y;
  if (next->x == x) {
    auto last = next;
    while (last + 1 != points_.end() && last[1].x == x) ++last;
    return last - next == 2 ? next[1].y : std::max(next->y, last->y);
  }
  if (next == points_.begin()) return next->y;
  return Between(next[-1].y, next->y, (x - next[-1].x) / (next->x - next[-1].x));
}

/// Calls `segment` with the two ends of each straight piece in the range, and `node` with each place in it and
/// the memberships of its sides; a side that lies outside the range repeats the place itself.
template <class Segment, class Node>
void TFuzzyPolygon::Walk(TFuzzyRange range, Segment&& segment, Node&& node) const {
  TFuzzyCursor cursor(*this);
  while (cursor.Next() < range.from) static_cast<void>(cursor.At(cursor.Next()));
  TFuzzySides sides = cursor.At(range.from);
  node(range.from, TFuzzySides{sides.value, sides.value, range.from < range.to ? sides.right : sides.value});
  TFuzzyPoint former{range.from, sides.right};
  while (former.x < range.to) {
    const TFzyFloat x = std::min(cursor.Next(), range.to);
    sides = cursor.At(x);
    segment(former, TFuzzyPoint{x, sides.left});
    node(x, TFuzzySides{sides.left, sides.value, x < range.to ? sides.right : sides.value});
    former = {x, sides.right};
  }
}

TFzyFloat TFuzzyPolygon::Height(TFuzzyRange range) const noexcept {
  TFzyFloat height = 0;
  Walk(
      range, [](TFuzzyPoint, TFuzzyPoint) {},
      [&](TFzyFloat, TFuzzySides sides) {
        height = std::max({height, sides.left, sides.value, sides.right});
      });
  return height;
}

TFzyFloat TFuzzyPolygon::Height() const noexcept {
  TFzyFloat height = 0;
  for (const TFuzzyPoint& point : points_) height = std::max(height, point.y);
  return height;
}

TFzyFloat TFuzzyPolygon::Depth(TFuzzyRange range) const noexcept {
  TFzyFloat depth = 1;
  Walk(
      range, [](TFuzzyPoint, TFuzzyPoint) {},
      [&](TFzyFloat, TFuzzySides sides) {
        depth = std::min({depth, sides.left, sides.value, sides.right});
      });
  return depth;
}

// Places are measured from the start of the range, which keeps the digits of a narrow range far from 0.
TFzyFloat TFuzzyPolygon::Centroid(TFuzzyRange range) const noexcept {
  TFzyFloat area = 0;
  TFzyFloat moment = 0;
  TFzyFloat weights = 0;
  TFzyFloat weighted = 0;
  const auto segment = [&](TFuzzyPoint a, TFuzzyPoint b) {
    const TFzyFloat width = b.x - a.x;
    const TFzyFloat piece = width * (a.y + b.y) / 2;
    area += piece;
    moment += (a.x - range.from) * piece + width * width * (a.y + 2 * b.y) / 6;
  };
  Walk(range, segment, [&](TFzyFloat x, TFuzzySides sides) {
    weights += sides.value;
    weighted += sides.value * (x - range.from);
  });
  if (area > 0) return range.from + moment / area;
  if (weights > 0) return range.from + weighted / weights;
  return Between(range.from, range.to, 0.5);
}

TFzyFloat TFuzzyPolygon::MeanOfMaxima(TFuzzyRange range) const noexcept {
  const TFzyFloat level = Height(range) - kLevelTolerance;
  if (level <= 0) return Between(range.from, range.to, 0.5);
  TFzyFloat length = 0;
  TFzyFloat moment = 0;
  TFzyFloat peaks = 0;
  TFzyFloat count = 0;
  const auto segment = [&](TFuzzyPoint a, TFuzzyPoint b) {
    if (a.y < level || b.y < level) return;
    length += b.x - a.x;
    moment += (b.x - a.x) * ((a.x + b.x) / 2 - range.from);
  };
  Walk(range, segment, [&](TFzyFloat x, TFuzzySides sides) {
    if (std::max({sides.left, sides.value, sides.right}) < level) return;
    peaks += x - range.from;
    count += 1;
  });
  return range.from + (length > 0 ? moment / length : peaks / count);
}

TFuzzyRange TFuzzyPolygon::Peak() const noexcept {
  constexpr TFzyFloat kInfinity = std::numeric_limits<TFzyFloat>::infinity();
  const TFzyFloat level = Height() - kLevelTolerance;
  if (points_.empty()) return {-kInfinity, kInfinity};
  TFuzzyRange peak{kInfinity, -kInfinity};
  for (const TFuzzyPoint& point : points_) {
    if (point.y < level) continue;
    peak = {std::min(peak.from, point.x), std::max(peak.to, point.x)};
  }
  if (points_.size() == 1) return peak;
  if (points_.front().y >= level) peak.from = -kInfinity;
  if (points_.back().y >= level) peak.to = kInfinity;
  return peak;
}

TFuzzyPolygon TFuzzyPolygon::Mapped(const TMapping& mapping, bool exact, const std::vector<TFzyFloat>& kinks) const {
  TFuzzyCursor cursor(*this);
  TFuzzyBuilder builder;
  TFuzzyPoint former{0, 0};
  const auto piece = [&](TFuzzyPoint a, TFuzzyPoint b) {
    if (exact) return;
    Bend(
        builder, {a.x, mapping(a.y)}, {b.x, mapping(b.y)}, {0, 1},
        [&](TFzyFloat t) { return mapping(Between(a.y, b.y, t)); }, kCurveDepth);
  };
  const auto bendAtKinks = [&](TFuzzyPoint b) {
    const bool rising = former.y < b.y;
    for (size_t i = 0; i < kinks.size(); ++i) {
      const TFzyFloat kink = kinks[rising ? i : kinks.size() - 1 - i];
      if (!(std::min(former.y, b.y) < kink && kink < std::max(former.y, b.y))) continue;
      const TFuzzyPoint at{Between(former.x, b.x, (kink - former.y) / (b.y - former.y)), kink};
      if (!(former.x < at.x && at.x < b.x)) continue;
      piece(former, at);
      builder.Add(at.x, mapping(kink));
      former = at;
    }
    piece(former, b);
  };
  bool first = true;
  while (cursor.Next() < std::numeric_limits<TFzyFloat>::infinity()) {
    const TFzyFloat x = cursor.Next();
    const TFuzzySides sides = cursor.At(x);
    if (!first) bendAtKinks({x, sides.left});
    builder.Add(x, TFuzzySides{mapping(sides.left), mapping(sides.value), mapping(sides.right)});
    former = {x, sides.right};
    first = false;
  }
  if (first) {
    // No points: the same membership everywhere.
    if (const TFzyFloat y = mapping(0); y > 0) {
      builder.Add(0, y);
      builder.Add(1, y);
    }
  }
  return builder.Take();
}

TFuzzyPolygon TFuzzyPolygon::Combined(const TFuzzyPolygon& a, const TFuzzyPolygon& b, const TCombination& combination,
                                      bool exact, const TCombination& kink) {
  TFuzzyCursor left(a);
  TFuzzyCursor right(b);
  TFuzzyBuilder builder;
  TFzyFloat formerX = 0;
  TPair former{};
  const auto bend = [&](TFzyFloat x0, TFzyFloat a0, TFzyFloat b0, TFzyFloat x1, TFzyFloat a1, TFzyFloat b1) {
    if (exact) return;
    Bend(
        builder, {x0, combination(a0, b0)}, {x1, combination(a1, b1)}, {0, 1},
        [&](TFzyFloat t) { return combination(Between(a0, a1, t), Between(b0, b1, t)); }, kCurveDepth);
  };
  const auto between = [&](TFzyFloat x, const TPair& next) {
    const TFzyFloat a0 = former.a.right;
    const TFzyFloat b0 = former.b.right;
    const TFzyFloat k0 = kink ? kink(a0, b0) : 0;
    const TFzyFloat k1 = kink ? kink(next.a.left, next.b.left) : 0;
    const TFzyFloat t = k0 / (k0 - k1);
    const TFzyFloat crossing = Between(formerX, x, t);
    if (k0 * k1 >= 0 || !(formerX < crossing && crossing < x)) {
      return bend(formerX, a0, b0, x, next.a.left, next.b.left);
    }
    const TFzyFloat aCross = Between(a0, next.a.left, t);
    const TFzyFloat bCross = Between(b0, next.b.left, t);
    bend(formerX, a0, b0, crossing, aCross, bCross);
    builder.Add(crossing, combination(aCross, bCross));
    bend(crossing, aCross, bCross, x, next.a.left, next.b.left);
  };
  bool first = true;
  for (;;) {
    const TFzyFloat x = std::min(left.Next(), right.Next());
    if (x == std::numeric_limits<TFzyFloat>::infinity()) break;
    const TPair next{left.At(x), right.At(x)};
    if (!first) between(x, next);
    builder.Add(x, TFuzzySides{combination(next.a.left, next.b.left), combination(next.a.value, next.b.value),
                               combination(next.a.right, next.b.right)});
    former = next;
    formerX = x;
    first = false;
  }
  return builder.Take();
}

TFzyFloat TFuzzyPolygon::MaxOfMin(const TFuzzyPolygon& a, const TFuzzyPolygon& b, TFuzzyRange range) {
  const TFuzzyPolygon lower = Combined(
      a, b, [](TFzyFloat x, TFzyFloat y) { return std::min(x, y); }, true,
      [](TFzyFloat x, TFzyFloat y) { return x - y; });
  return lower.Height(range);
}

TFuzzyPolygon TFuzzyPolygon::Shifted(TFzyFloat distance) const {
  TFuzzyPolygon result;
  for (const TFuzzyPoint& point : points_) result.points_.push_back({point.x + distance, point.y});
  for (const TFuzzyPoint& point : result.points_) static_cast<void>(CheckedMembership(point.x, point.y));
  return result;
}

TFuzzyPolygon TFuzzyPolygon::Masked(TFuzzyRange range, bool outside) const {
  // The mask itself is a polygon of 0 and 1, and the smaller one of both has what is asked for.
  const TFzyFloat in = outside ? 0 : 1;
  std::vector<TFuzzyPoint> mask;
  if (std::isfinite(range.from)) mask.insert(mask.end(), {{range.from, 1 - in}, {range.from, in}, {range.from, in}});
  if (std::isfinite(range.to)) mask.insert(mask.end(), {{range.to, in}, {range.to, in}, {range.to, 1 - in}});
  TFuzzyPolygon steps;
  steps.points_ = std::move(mask);
  if (range.from == range.to) steps.points_ = {{range.from, 1 - in}, {range.from, in}, {range.from, 1 - in}};
  if (steps.points_.empty()) return outside ? TFuzzyPolygon() : *this;
  return Combined(
      *this, steps, [](TFzyFloat x, TFzyFloat y) { return std::min(x, y); }, true,
      [](TFzyFloat x, TFzyFloat y) { return x - y; });
}

void AppendCurve(TFuzzyPolygon& polygon, TFuzzyRange range, int depth,
                 const std::function<TFzyFloat(TFzyFloat)>& function) {
  TFuzzyBuilder builder;
  const TFuzzyPoint from{range.from, function(range.from)};
  const TFuzzyPoint to{range.to, function(range.to)};
  builder.Add(from.x, from.y);
  Bend(
      builder, from, to, {0, 1}, [&](TFzyFloat t) { return function(Between(range.from, range.to, t)); }, depth);
  builder.Add(to.x, to.y);
  const TFuzzyPolygon curve = builder.Take();
  for (const TFuzzyPoint& point : curve.Points()) {
    const std::vector<TFuzzyPoint>& points = polygon.Points();
    if (points.empty() || !(points.back() == point)) polygon.AddPoint(point.x, point.y);
  }
}

}  // namespace kb
