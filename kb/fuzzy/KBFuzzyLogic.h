// The fuzzy sets and variables of the engine.
//
// Tested in tests/fuzzy/FuzzySetTest.cpp.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kb/fuzzy/FuzzySet.h"

namespace kb {

/// A fuzzy variable: owns its terms.
class TIFuzzyVariable : public IFuzzyVariable {
 public:
  explicit TIFuzzyVariable(std::string_view name);
  ~TIFuzzyVariable() override;

  [[nodiscard]] const std::string& Name() const override { return name_; }
  void SetName(std::string_view name) override { name_ = name; }
  [[nodiscard]] double From() const override { return from_; }
  [[nodiscard]] double To() const override { return to_; }
  void SetUniverse(double from, double to) override;
  [[nodiscard]] const std::string& Units() const override { return units_; }
  void SetUnits(std::string_view units) override;
  [[nodiscard]] double Threshold() const override { return threshold_; }
  void SetThreshold(double value) override;
  void SetParser(IFuzzyParser* parser) override;
  [[nodiscard]] IFuzzyParser* Parser() const override { return parser_.Get(); }

  [[nodiscard]] int SetCount() const override { return static_cast<int>(sets_.size()); }
  [[nodiscard]] const Ref<IFuzzySet>& Set(int index) const override;
  Ref<IFuzzySet> AddSet(std::string_view name) override;
  void AddSet(const Ref<IFuzzySet>& set) override;
  [[nodiscard]] Ref<IFuzzySet> FindSet(std::string_view name) const override;
  void ClearFuzzySets() override;
  void Assign(const IFuzzyVariable& source) override;
  [[nodiscard]] Ref<IFuzzyVariable> Clone() const override;
  [[nodiscard]] bool Equals(const IFuzzyVariable* other) const override;
  void Changed() override {}

 protected:
  [[nodiscard]] Ref<IFuzzySet> CreateItems(std::string_view name) override;
  [[nodiscard]] virtual Ref<TIFuzzyVariable> NewVariable() const { return MakeRef<TIFuzzyVariable>(name_); }

 private:
  std::string name_;
  std::string units_;
  double from_ = 0;
  double to_ = 1;
  double threshold_ = 0;
  std::vector<Ref<IFuzzySet>> sets_;  // in the order of their definition; a handful, searched from the front
  TWeakRef<IFuzzyParser> parser_;
};

/// The set of a fuzzy value of the language.
class TKBFuzzySet final : public TIFuzzySet {
 public:
  using TIFuzzySet::TIFuzzySet;
  [[nodiscard]] bool Equals(const TKBValue& value) const override;
  [[nodiscard]] double FuzzyEquals(const TKBValue& value) const override;

 protected:
  [[nodiscard]] Ref<TIFuzzySet> NewSet() const override { return MakeRef<TKBFuzzySet>(Variable(), std::string_view()); }
};

/// The variable of a fuzzy defined type.
class TKBFuzzyVariable final : public TIFuzzyVariable {
 public:
  using TIFuzzyVariable::TIFuzzyVariable;

 protected:
  [[nodiscard]] Ref<IFuzzySet> CreateItems(std::string_view name) override { return MakeRef<TKBFuzzySet>(this, name); }
  [[nodiscard]] Ref<TIFuzzyVariable> NewVariable() const override { return MakeRef<TKBFuzzyVariable>(Name()); }
};

}  // namespace kb
