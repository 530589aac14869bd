// Piecewise linear membership functions: the mathematics under fuzzy sets.
//
// A polygon is a list of points (x, y) with ascending x, and stands for a function on the whole line:
//
//   between two points     the straight line
//   left of the first and  the membership of that point; so (0 1) (10 0) is 1 below 0 and 0 above 10
//   right of the last
//   one point alone        a singleton: its y at its x, 0 elsewhere
//   no point               0 everywhere
//   points of equal x      a jump from the first y to the last y. The membership at x itself is the greater one
//                          of two, and the middle one of three: (5 0) (5 1) (5 0) is a spike.
//
// The operations are exact wherever the result is piecewise linear again: what crosses between two points gets
// the crossing point. Results that are curved (powers, products) are bent in straight pieces that stay within
// kFuzzyTolerance of the curve. Points on the line between their neighbours are dropped, so that repeated
// operations do not pile up points. All operations are linear in the points of their operands and result.
//
// Tested in tests/fuzzy/PolygonTest.cpp against sampling.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

namespace kb {

using TFzyFloat = double;

/// Greatest distance of a straight piece from the curve that it stands for.
inline constexpr TFzyFloat kFuzzyTolerance = 0.0005;

struct TFuzzyPoint {
  TFzyFloat x;
  TFzyFloat y;
  [[nodiscard]] bool operator==(const TFuzzyPoint&) const = default;
};

/// A closed interval, `from` not above `to`.
struct TFuzzyRange {
  TFzyFloat from;
  TFzyFloat to;
};

class TFuzzyPolygon {
 public:
  TFuzzyPolygon() = default;
  /// The points in any order, as by AddPoint.
  explicit TFuzzyPolygon(const std::vector<TFuzzyPoint>& points);

  /// Puts the point behind those whose x is not greater. Of more than three points of one x the first, the last
  /// and the highest between them count. A y that misses 0 or 1 by less than 1e-9 is taken for it; NaN, infinity and
  /// any other y outside 0 to 1 raise "Invalid fuzzy point (%s %s)".
  void AddPoint(TFzyFloat x, TFzyFloat y);
  [[nodiscard]] const std::vector<TFuzzyPoint>& Points() const noexcept { return points_; }
  [[nodiscard]] bool IsEmpty() const noexcept { return points_.empty(); }
  /// From the first to the last x; 0 to 0 for an empty polygon.
  [[nodiscard]] TFuzzyRange Extent() const noexcept;

  /// NaN for NaN. Logarithmic in the points.
  [[nodiscard]] TFzyFloat Membership(TFzyFloat x) const noexcept;
  /// Least upper and greatest lower bound of the membership over the range, jumps included.
  [[nodiscard]] TFzyFloat Height(TFuzzyRange range) const noexcept;
  [[nodiscard]] TFzyFloat Depth(TFuzzyRange range) const noexcept;

  /// Least upper bound on the whole line.
  [[nodiscard]] TFzyFloat Height() const noexcept;

  /// The centre of gravity over the range, by exact integration: the integral of x times membership over the
  /// integral of the membership. A set without area, made of spikes, gives the mean of their places weighted by
  /// their heights; one that is 0 on the whole range the middle of the range.
  [[nodiscard]] TFzyFloat Centroid(TFuzzyRange range) const noexcept;
  /// The mean of the places of greatest membership: of the plateaus if there are any, by length, else of the peaks. The
  /// middle of the range for a set that is 0 on it.
  [[nodiscard]] TFzyFloat MeanOfMaxima(TFuzzyRange range) const noexcept;
  /// The interval from the first to the last place where the polygon reaches its height on the whole line; infinite
  /// ends for plateaus that go on beyond the points.
  [[nodiscard]] TFuzzyRange Peak() const noexcept;

  /// Least upper bound over the range of the smaller one of both memberships.
  [[nodiscard]] static TFzyFloat MaxOfMin(const TFuzzyPolygon& a, const TFuzzyPolygon& b, TFuzzyRange range);

  /// A function of the membership at each place. `exact` when the function is linear between the given `kinks`
  /// (memberships, ascending), which get points of their own; else curved pieces are bent within kFuzzyTolerance.
  using TMapping = std::function<TFzyFloat(TFzyFloat)>;
  [[nodiscard]] TFuzzyPolygon Mapped(const TMapping& mapping, bool exact,
                                     const std::vector<TFzyFloat>& kinks = {}) const;
  /// A function of two memberships at each place; `kink` is 0 where the function is not smooth (null: nowhere) and
  /// linear in both; `exact` when the function is linear between kinks.
  using TCombination = std::function<TFzyFloat(TFzyFloat, TFzyFloat)>;
  [[nodiscard]] static TFuzzyPolygon Combined(const TFuzzyPolygon& a, const TFuzzyPolygon& b,
                                              const TCombination& combination, bool exact,
                                              const TCombination& kink = nullptr);
  /// Moved to the right by `distance`, which is finite.
  [[nodiscard]] TFuzzyPolygon Shifted(TFzyFloat distance) const;
  /// The places outside `range` at membership 0 if `outside` is false, those inside if it is true.
  [[nodiscard]] TFuzzyPolygon Masked(TFuzzyRange range, bool outside) const;

  [[nodiscard]] bool operator==(const TFuzzyPolygon&) const = default;

 private:
  friend class TFuzzyCursor;
  friend class TFuzzyBuilder;
  template <class Segment, class Node>
  void Walk(TFuzzyRange range, Segment&& segment, Node&& node) const;

  std::vector<TFuzzyPoint> points_;
};

/// The points of a smooth function over [from, to], ends included: halved until the straight pieces are within
/// kFuzzyTolerance, at most `depth` times, so into at most 2 to the power of `depth` pieces.
void AppendCurve(TFuzzyPolygon& polygon, TFuzzyRange range, int depth,
                 const std::function<TFzyFloat(TFzyFloat)>& function);

}  // namespace kb
