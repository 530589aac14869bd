// Fuzzy sets, variables and their parser, as all other parts see them. The sets themselves live in kb/fuzzy.
//
// The formulas of operations and hedges, the words of the language for them, and worked examples stand in
// docs/fuzzy.md.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "kb/common/Ref.h"
#include "kb/common/WeakRef.h"
#include "kb/values/KBTypes.h"

namespace kb {

class IFuzzyParser;
class TFuzzyPolygon;

/// How a set got its points. What operations and hedges make of a set has points.
enum TFuzzySetType : uint8_t { fstPoints, fstTriangle, fstDecline, fstGrowth, fstPi, fstBeta };

/// Ways to unite and to intersect two sets; each pair keeps De Morgan's laws.
enum TFuzzyOperation : uint8_t { foZadeh, foMean, foMeanSqr, foMeanSqrt, foProduct, foBoundedSum, foSum };

/// Words that change a set.
enum TFuzzyHedge : uint8_t {
  fhNot,
  fhVery,
  fhExtremely,
  fhSomewhat,
  fhMoreOrLess,
  fhPlus,
  fhSlightly,
  fhIntensify,
  fhAbove,
  fhBelow,
  fhNorm
};

/// Changes of a set by a number; the flag of HedgeOperator turns each around.
enum TBaseFuzzyHedge : uint8_t {
  bfhNone,        ///< no change
  bfhPower,       ///< membership to the power of the number; turned around: to its reciprocal
  bfhScale,       ///< membership times the number; turned around: divided by it; cut at 1
  bfhShift,       ///< the set moved right by the number; turned around: left
  bfhCut,         ///< memberships below the number become 0; turned around: those above it
  bfhIntensify,   ///< as the hedge, whatever the number; turned around: no change
  bfhComplement,  ///< as the hedge `not`, whatever the number; turned around: no change
  bfhLimit        ///< the smaller one of membership and number; turned around: the greater one
};

/// What Iterate works out over two sets.
enum TFuzzyOperator : uint8_t {
  FuzzyOperatorMaxOfMin,     ///< the maximum of the minimum of both memberships
  FuzzyOperatorMinThreshold  ///< 1 if that is strictly above the threshold of the variable, else 0
};

/// The last argument but one of the curves: how often a branch is halved at most. 7 gives at most 128 straight pieces
/// for each; halving stops as soon as the pieces are within 0.0005 of the curve, which is before the fifth
/// halving for s, z and pi.
inline constexpr int kFuzzyCurveDepth = 7;

/// A fuzzy set: a membership of 0 to 1 for each number, made of straight pieces. Mostly a set belongs to a
/// variable; integrals, maxima and comparisons are then taken over its universe, else from the first to the last
/// point. The set does not own its variable, and knows when it has gone.
class IFuzzySet : public RefCounted {
 public:
  [[nodiscard]] virtual const std::string& Name() const = 0;
  virtual void SetName(std::string_view name) = 0;
  [[nodiscard]] virtual IFuzzyVariable* Variable() const = 0;
  virtual void SetVariable(IFuzzyVariable* variable) = 0;
  virtual void SetParser(IFuzzyParser* parser) = 0;
  /// A term of its variable: one of its named sets, which values share. Hedges refuse to change it.
  [[nodiscard]] virtual bool IsTerm() const = 0;
  virtual void SetIsTerm(bool value) = 0;
  [[nodiscard]] virtual TFuzzySetType SetType() const = 0;
  /// A copy that is no term.
  [[nodiscard]] virtual Ref<IFuzzySet> Clone() const = 0;

  // Points and shapes. Each shape replaces the points; "Invalid fuzzy shape, points are out of order: %s" unless the
  // points ascend, "Invalid fuzzy point (%s %s)" for NaN, infinity and memberships outside 0 to 1.

  /// In order of x, behind points of equal x; the set gets the type fstPoints.
  virtual void AddPoint(double x, double y) = 0;
  [[nodiscard]] virtual int PointCount() const = 0;
  /// EListError for a bad index.
  [[nodiscard]] virtual double X(int index) const = 0;
  [[nodiscard]] virtual double Y(int index) const = 0;
  [[nodiscard]] virtual const TFuzzyPolygon& Polygon() const = 0;
  /// NaN for NaN.
  [[nodiscard]] virtual double DegreeOfMembership(double x) const = 0;
  /// Rises from 0 at `left` to 1 at `center` and falls to 0 at `right`; with all three equal a spike.
  virtual void Triangle(double left, double center, double right) = 0;
  /// From 0 at `left` over 0.5 at `middle` to 1 at `right` in two parabolas, or falling: 1 minus that.
  virtual void SCurve(int depth, bool isGrowth, double left, double right, double middle) = 0;
  /// An s curve from `left` to `center` and its counterpart down to `right`.
  virtual void PiCurve(int depth, double left, double right, double center) = 0;
  /// The same from `center` - `range` to `center` + `range`.
  virtual void PiCurveByRange(int depth, double range, double center) = 0;
  /// The bell 1 / (1 + weight ((x - center) / (inflection - center))^2), which is 0.5 at the inflection for weight 1.
  /// It ends at the place `range`, on either side of the center, and as far from it on the other; beyond is 0.
  virtual void BetaCurve(int depth, double range, double center, double inflection) = 0;
  virtual void BetaCurveWeighted(int depth, double range, double center, double inflection, double weight) = 0;
  /// What the shape was made of, in the order of the language: triangle left, center, right; decline and growth left,
  /// right; pi left, center, right; beta center, range, inflection, weight. Empty for points.
  [[nodiscard]] virtual std::span<const double> Parameters() const = 0;

  // Changes in place, "A term of a fuzzy variable cannot be changed: %s" on a term. The name follows, so that it
  // stays an expression of the language for the set; one that grows beyond 200 characters is dropped.

  virtual void Hedge(TFuzzyHedge hedge) = 0;
  virtual void HedgeOperator(TBaseFuzzyHedge base, bool flag, double value) = 0;

  /// New sets of this set's variable.
  [[nodiscard]] virtual Ref<IFuzzySet> Union(const IFuzzySet& other, TFuzzyOperation operation) const = 0;
  [[nodiscard]] virtual Ref<IFuzzySet> Intersection(const IFuzzySet& other, TFuzzyOperation operation) const = 0;

  // Numbers for the set. All over the universe, by exact integration.

  /// The number that the set stands for where a number is wanted: Moment.
  [[nodiscard]] virtual double Crisp() const = 0;
  /// Centre of gravity: integral of x m(x) over integral of m(x). Spikes alone: their weighted mean. A set that is 0
  /// everywhere: the middle of the universe.
  [[nodiscard]] virtual double Moment() const = 0;
  /// The mean of the places of greatest membership; middle of the universe for a set that is 0 everywhere.
  [[nodiscard]] virtual double Maximum() const = 0;
  /// True when the greatest and the least membership differ by no more than 1e-9: no place is better than another.
  [[nodiscard]] virtual bool IsUndecidable() const = 0;
  /// m(Moment): how far the set supports its crisp value.
  [[nodiscard]] virtual double GetCompatibilityIndex() const = 0;
  [[nodiscard]] virtual double Iterate(const IFuzzySet& other, TFuzzyOperator what) const = 0;

  /// The name, or the points for a set without one; reads back as a value of a slot.
  [[nodiscard]] virtual std::string ToString() const = 0;
  /// "((x y) ...)" with all digits; "(())"-free: an empty set gives "()".
  [[nodiscard]] virtual std::string GetValuesToString() const = 0;
  /// Text that the printer writes for the points of a term; empty for none. The next change of the points drops it.
  [[nodiscard]] virtual const std::string& GetExpression() const = 0;
  virtual void SetExpression(std::string_view text) = 0;
  /// Holds back the variable's Changed; nests.
  virtual void BeginUpdate() = 0;
  virtual void EndUpdate() = 0;

  // Comparison of the language.

  /// A number: its membership is strictly above the variable's threshold, or it cannot be ordered. Another set:
  /// the maximum of the minimum of both is. Any other value: false.
  [[nodiscard]] virtual bool Equals(const TKBValue& value) const = 0;
  /// Degree of the match, 0 to 1: membership, or maximum of the minimum; 0 for anything else.
  [[nodiscard]] virtual double FuzzyEquals(const TKBValue& value) const = 0;
};

/// A fuzzy variable: a universe of discourse with named sets, its terms.
class IFuzzyVariable : public RefCounted, public TWeakTarget<IFuzzyVariable> {
 public:
  [[nodiscard]] virtual const std::string& Name() const = 0;
  virtual void SetName(std::string_view name) = 0;
  /// The ends of the universe; 0 and 1 for a new variable.
  [[nodiscard]] virtual double From() const = 0;
  [[nodiscard]] virtual double To() const = 0;
  /// "Invalid universe of discourse: %s to %s" unless both ends are finite and `from` is below `to`.
  virtual void SetUniverse(double from, double to) = 0;
  [[nodiscard]] virtual const std::string& Units() const = 0;
  virtual void SetUnits(std::string_view units) = 0;
  /// A degree must be strictly above it to count as equal. Clamped to 0 to 1, NaN to 0.
  [[nodiscard]] virtual double Threshold() const = 0;
  virtual void SetThreshold(double value) = 0;
  virtual void SetParser(IFuzzyParser* parser) = 0;
  [[nodiscard]] virtual IFuzzyParser* Parser() const = 0;

  [[nodiscard]] virtual int SetCount() const = 0;
  /// EListError for a bad index.
  [[nodiscard]] virtual const Ref<IFuzzySet>& Set(int index) const = 0;
  /// A new term without points; one of that name is replaced in its place. The empty set is no term.
  virtual Ref<IFuzzySet> AddSet(std::string_view name) = 0;
  /// The set becomes a term of this variable, in the place of one of its name.
  virtual void AddSet(const Ref<IFuzzySet>& set) = 0;
  /// The set of that name, or null.
  [[nodiscard]] virtual Ref<IFuzzySet> FindSet(std::string_view name) const = 0;
  virtual void ClearFuzzySets() = 0;
  /// Universe, units, threshold and copies of the terms; not the name.
  virtual void Assign(const IFuzzyVariable& source) = 0;
  [[nodiscard]] virtual Ref<IFuzzyVariable> Clone() const = 0;
  /// Same name, universe and units, and terms of the same names with the same points in the same order.
  [[nodiscard]] virtual bool Equals(const IFuzzyVariable* other) const = 0;
  /// Called after a change of the variable or of one of its terms.
  virtual void Changed() = 0;

 protected:
  /// The object of a new set.
  [[nodiscard]] virtual Ref<IFuzzySet> CreateItems(std::string_view name) = 0;
};

/// What sets and variables ask of the language; the engine is one.
class IFuzzyParser : public TWeakTarget<IFuzzyParser> {
 public:
  virtual ~IFuzzyParser() = default;
  /// Evaluates the text without a context, hands the set back and gives its crisp value.
  virtual double EvalFuzzyExpression(const Ref<IFuzzyVariable>& variable, std::string_view text,
                                     Ref<IFuzzySet>& set) = 0;
  [[nodiscard]] virtual Ref<IFuzzySet> EvalFuzzyExpression(const Ref<IFuzzyVariable>& variable,
                                                           std::string_view text) = 0;
  [[nodiscard]] virtual Ref<IFuzzySet> ParseFuzzySet(const Ref<IFuzzyVariable>& variable, std::string_view text) = 0;
  [[nodiscard]] virtual Ref<IFuzzyVariable> ParseFuzzyVariable(std::string_view text) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const IFuzzySet& set) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const IFuzzyVariable& variable) = 0;
};

}  // namespace kb
