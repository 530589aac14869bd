// Fuzzy sets as objects: a polygon with a name, a shape and a variable.
//
// Tested in tests/fuzzy/FuzzySetTest.cpp.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "kb/common/Pool.h"
#include "kb/common/WeakRef.h"
#include "kb/fuzzy/FuzzyPolygon.h"
#include "kb/values/KBFuzzyInterfaces.h"

namespace kb {

/// Points with what they were made of.
class TFuzzySet {
 public:
  [[nodiscard]] const TFuzzyPolygon& Polygon() const noexcept { return polygon_; }
  [[nodiscard]] TFuzzySetType SetType() const noexcept { return type_; }
  [[nodiscard]] std::span<const double> Parameters() const noexcept { return {parameters_.data(), parameterCount_}; }
  void SetPolygon(TFuzzyPolygon polygon);
  void AddPoint(TFzyFloat x, TFzyFloat y);

  // The shapes; see IFuzzySet.
  void Triangle(TFzyFloat left, TFzyFloat center, TFzyFloat right);
  void SCurve(int depth, bool isGrowth, TFzyFloat left, TFzyFloat right, TFzyFloat middle);
  void PiCurve(int depth, TFzyFloat left, TFzyFloat right, TFzyFloat center);
  void BetaCurve(int depth, TFzyFloat range, TFzyFloat center, TFzyFloat inflection, TFzyFloat weight);

 private:
  void Become(TFuzzySetType type, TFuzzyPolygon polygon, std::initializer_list<TFzyFloat> parameters);

  TFuzzyPolygon polygon_;
  TFuzzySetType type_ = fstPoints;
  size_t parameterCount_ = 0;
  std::array<TFzyFloat, 4> parameters_{};
};

/// The fuzzy set of a variable. Comparison with values is left to a descendant.
class TIFuzzySet : public IFuzzySet, public TPooled {
 public:
  /// `variable` is not owned and may be null.
  TIFuzzySet(IFuzzyVariable* variable, std::string_view name);

  [[nodiscard]] const std::string& Name() const override { return name_; }
  void SetName(std::string_view name) override { name_ = name; }
  [[nodiscard]] IFuzzyVariable* Variable() const override { return variable_.Get(); }
  void SetVariable(IFuzzyVariable* variable) override { variable_ = variable; }
  void SetParser(IFuzzyParser* parser) override { parser_ = parser; }
  [[nodiscard]] bool IsTerm() const override { return isTerm_; }
  void SetIsTerm(bool value) override { isTerm_ = value; }
  [[nodiscard]] TFuzzySetType SetType() const override { return shape_.SetType(); }
  [[nodiscard]] Ref<IFuzzySet> Clone() const override;

  void AddPoint(double x, double y) override;
  [[nodiscard]] int PointCount() const override { return static_cast<int>(Polygon().Points().size()); }
  [[nodiscard]] double X(int index) const override;
  [[nodiscard]] double Y(int index) const override;
  [[nodiscard]] const TFuzzyPolygon& Polygon() const override { return shape_.Polygon(); }
  [[nodiscard]] double DegreeOfMembership(double x) const override { return Polygon().Membership(x); }
  void Triangle(double left, double center, double right) override;
  void SCurve(int depth, bool isGrowth, double left, double right, double middle) override;
  void PiCurve(int depth, double left, double right, double center) override;
  void PiCurveByRange(int depth, double range, double center) override;
  void BetaCurve(int depth, double range, double center, double inflection) override;
  void BetaCurveWeighted(int depth, double range, double center, double inflection, double weight) override;
  [[nodiscard]] std::span<const double> Parameters() const override { return shape_.Parameters(); }

  void Hedge(TFuzzyHedge hedge) override;
  void HedgeOperator(TBaseFuzzyHedge base, bool flag, double value) override;
  [[nodiscard]] Ref<IFuzzySet> Union(const IFuzzySet& other, TFuzzyOperation operation) const override;
  [[nodiscard]] Ref<IFuzzySet> Intersection(const IFuzzySet& other, TFuzzyOperation operation) const override;

  [[nodiscard]] double Crisp() const override { return Moment(); }
  [[nodiscard]] double Moment() const override { return Polygon().Centroid(Universe()); }
  [[nodiscard]] double Maximum() const override;
  [[nodiscard]] bool IsUndecidable() const override;
  [[nodiscard]] double GetCompatibilityIndex() const override { return DegreeOfMembership(Moment()); }
  [[nodiscard]] double Iterate(const IFuzzySet& other, TFuzzyOperator what) const override;

  [[nodiscard]] std::string ToString() const override;
  [[nodiscard]] std::string GetValuesToString() const override;
  [[nodiscard]] const std::string& GetExpression() const override { return expression_; }
  void SetExpression(std::string_view text) override { expression_ = text; }
  void BeginUpdate() override { ++updates_; }
  void EndUpdate() override;

  [[nodiscard]] bool Equals(const TKBValue& /*value*/) const override { return false; }
  [[nodiscard]] double FuzzyEquals(const TKBValue& /*value*/) const override { return 0; }

 protected:
  /// A set of the same class and variable.
  [[nodiscard]] virtual Ref<TIFuzzySet> NewSet() const { return MakeRef<TIFuzzySet>(Variable(), std::string_view()); }
  [[nodiscard]] TFzyFloat Threshold() const;
  /// The degree passes the threshold. Compared in the precision that thresholds have, so that a degree that is the
  /// threshold is not above it.
  [[nodiscard]] bool IsAboveThreshold(TFzyFloat degree) const;

 private:
  /// The universe of the variable, or from the first to the last point.
  [[nodiscard]] TFuzzyRange Universe() const;
  [[nodiscard]] Ref<IFuzzySet> Combine(const IFuzzySet& other, bool isUnion, TFuzzyOperation operation) const;
  void Replace(TFuzzyPolygon polygon, std::string name);
  void CheckChangeable() const;
  void Change();

  std::string name_;
  std::string expression_;
  TFuzzySet shape_;
  TWeakRef<IFuzzyVariable> variable_;
  TWeakRef<IFuzzyParser> parser_;
  int updates_ = 0;
  bool isTerm_ = false;
};

}  // namespace kb
