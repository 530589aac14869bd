// What is done to memberships: unions, intersections, hedges. The formulas are in docs/fuzzy.md.
//
// Tested in tests/fuzzy/OperationsTest.cpp.
#pragma once

#include "kb/fuzzy/FuzzyPolygon.h"
#include "kb/values/KBFuzzyInterfaces.h"

namespace kb {

/// Union of two memberships, and its dual 1 - union(1 - a, 1 - b). zadeh, mean, bounded-sum and sum are exact, the
/// others within kFuzzyTolerance. sum adds, and divides by the height of the result where that is above 1.
[[nodiscard]] TFuzzyPolygon FuzzyUnion(const TFuzzyPolygon& a, const TFuzzyPolygon& b, TFuzzyOperation operation);
[[nodiscard]] TFuzzyPolygon FuzzyIntersection(const TFuzzyPolygon& a, const TFuzzyPolygon& b,
                                              TFuzzyOperation operation);

/// not, norm, above and below are exact, the others within kFuzzyTolerance.
[[nodiscard]] TFuzzyPolygon ApplyFuzzyHedge(const TFuzzyPolygon& polygon, TFuzzyHedge hedge);

/// Raises "Invalid value for fuzzy operator %s: %s" for NaN and infinity, for a power that is not above 0 and a factor
/// below 0 or, turned around, of 0.
[[nodiscard]] TFuzzyPolygon ApplyFuzzyHedgeOperator(const TFuzzyPolygon& polygon, TBaseFuzzyHedge base, bool flag,
                                                    TFzyFloat value);

}  // namespace kb
