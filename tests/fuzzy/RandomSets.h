// Random polygons, and the sampling that their mathematics is compared with.
#pragma once

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "kb/fuzzy/FuzzyPolygon.h"

namespace kb {

inline constexpr int kRounds = 10000;

class TRandomSets {
 public:
  explicit TRandomSets(uint64_t seed) : generator_(seed) {}

  double Number(double low, double high) { return std::uniform_real_distribution<double>(low, high)(generator_); }
  int Count(int low, int high) { return std::uniform_int_distribution<int>(low, high)(generator_); }

  /// Up to nine points in -10 to 110, some of them on whole tens, jumps and plateaus included.
  TFuzzyPolygon Polygon() {
    TFuzzyPolygon polygon;
    double x = 0;
    for (int i = Count(0, 9); i > 0; --i) {
      if (Count(0, 4) > 0) x = Count(0, 2) == 0 ? 10.0 * Count(-1, 11) : Number(-10, 110);
      const int kind = Count(0, 4);
      polygon.AddPoint(x, kind == 0 ? 0 : kind == 1 ? 1 : Number(0, 1));
    }
    return polygon;
  }

  /// Places where two polygons are worth comparing: at every point, close to it, and anywhere.
  std::vector<double> Places(const TFuzzyPolygon& a, const TFuzzyPolygon& b) {
    std::vector<double> places{-20, 0, 100, 120};
    for (const TFuzzyPolygon* polygon : {&a, &b}) {
      for (const TFuzzyPoint& point : polygon->Points()) places.push_back(point.x);
    }
    for (int i = 0; i < 20; ++i) places.push_back(Number(-15, 115));
    return places;
  }

 private:
  std::mt19937_64 generator_;
};

/// Area and first moment by the midpoint rule over the pieces between `breaks`, which a set of straight pieces makes
/// exact but for rounding; independent of how the library integrates.
struct TSampledIntegral {
  double area = 0;
  double moment = 0;
};
template <class Function>
TSampledIntegral Integrate(const Function& membership, std::vector<double> breaks, double from, double to) {
  breaks.push_back(from);
  breaks.push_back(to);
  std::sort(breaks.begin(), breaks.end());
  TSampledIntegral result;
  constexpr int kPieces = 2;
  for (size_t i = 1; i < breaks.size(); ++i) {
    const double low = std::clamp(breaks[i - 1], from, to);
    const double high = std::clamp(breaks[i], from, to);
    const double step = (high - low) / kPieces;
    for (int k = 0; k < kPieces && step > 0; ++k) {
      // Two places of Gauss are exact for the square that x times a straight piece is.
      const double middle = low + (k + 0.5) * step;
      for (const double side : {-1.0, 1.0}) {
        const double x = middle + side * step / 2 / std::sqrt(3.0);
        result.area += step / 2 * membership(x);
        result.moment += step / 2 * membership(x) * x;
      }
    }
  }
  return result;
}

}  // namespace kb
