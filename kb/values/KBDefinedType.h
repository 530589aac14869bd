// Defined types: named sets of base types with optional limits.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "kb/common/WeakRef.h"
#include "kb/values/KBFuzzyInterfaces.h"
#include "kb/values/KBModuleConstruct.h"
#include "kb/values/KBTypes.h"
#include "kb/values/KBValue.h"

namespace kb {

/// A type with range, cardinality, units and allowed values. A slot with qualifiers has a private one that is named
/// "implicit". Every setter stores only a value that differs and then fires OnChange, which BeginUpdate holds back.
class TKBDefinedType : public TModuleConstruct {
 public:
  static constexpr double kOpenMaxRange = 2147483647.0;
  static constexpr double kOpenMinRange = -2147483648.0;
  static constexpr int32_t kOpenMaxCardinality = 2147483647;

  /// `reasoner` may be null; the type's module is the reasoner's current one.
  explicit TKBDefinedType(IReasoner* reasoner);
  ~TKBDefinedType() override;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  [[nodiscard]] TKBTypes GetBaseTypes() const noexcept { return baseTypes_; }
  /// "Cannot mix fuzzy type with other primitive types". The set is cut down to KBSlotTypesWithFuzzy.
  virtual void SetBaseTypes(TKBTypes types);
  [[nodiscard]] const TKBName& GetName() const noexcept { return name_; }
  /// Name check, then the reasoner's rename; a failure keeps the old name.
  virtual void SetName(std::string_view name);
  [[nodiscard]] double GetMinRange() const noexcept { return minRange_; }
  [[nodiscard]] double GetMaxRange() const noexcept { return maxRange_; }
  /// The other end follows when the ends would cross. Does not set RangeLimited.
  virtual void SetMinRange(double value);
  virtual void SetMaxRange(double value);
  [[nodiscard]] bool GetRangeLimited() const noexcept { return rangeLimited_; }
  virtual void SetRangeLimited(bool value);
  [[nodiscard]] int32_t GetMinCardinality() const noexcept { return minCardinality_; }
  [[nodiscard]] int32_t GetMaxCardinality() const noexcept { return maxCardinality_; }
  /// A negative value is stored as 0; the other end follows.
  virtual void SetMinCardinality(int32_t value);
  virtual void SetMaxCardinality(int32_t value);
  [[nodiscard]] bool GetCardinalityLimited() const noexcept { return cardinalityLimited_; }
  virtual void SetCardinalityLimited(bool value);
  [[nodiscard]] const Ref<IFuzzyVariable>& GetFuzzyType() const noexcept { return fuzzyType_; }
  /// Range and units become those of the variable; a type with one is exactly FUZZY. Setting an end of the range of
  /// such a type raises "Invalid universe of discourse: %s to %s" when the ends would meet or cross.
  virtual void SetFuzzyType(const Ref<IFuzzyVariable>& variable);
  [[nodiscard]] const std::string& GetComment() const noexcept { return comment_; }
  virtual void SetComment(std::string_view value);
  [[nodiscard]] const std::string& GetUnits() const noexcept { return units_; }
  virtual void SetUnits(std::string_view value);
  [[nodiscard]] bool GetImplicit() const noexcept { return implicit_; }
  virtual void SetImplicit(bool value);
  [[nodiscard]] const IKBDefinedType& GetAncestor() const noexcept { return ancestor_; }
  /// "Type inheritance loop detected, %s type cannot be an ancestor of itself".
  virtual void SetAncestor(const IKBDefinedType& ancestor);
  /// Null without one, and when it has gone.
  [[nodiscard]] IReasoner* GetReasoner() const noexcept { return reasoner_.Get(); }
  virtual void SetReasoner(IReasoner* reasoner);

  [[nodiscard]] TValueConstraints GetConstraints() const noexcept { return constraints_; }
  /// A kind that leaves loses its list, one that enters gets an empty one.
  virtual void SetConstraints(TValueConstraints kinds);
  void ClearConstraint(TValueConstraint kind);
  void ClearConstraints();
  void ClearConstraints(TValueConstraints kinds);
  [[nodiscard]] int GetConstraintAtomsCount() const noexcept { return static_cast<int>(atoms_.size()); }
  [[nodiscard]] int GetConstraintStringsCount() const noexcept { return static_cast<int>(strings_.size()); }
  [[nodiscard]] int GetConstraintIntegersCount() const noexcept { return static_cast<int>(integers_.size()); }
  [[nodiscard]] int GetConstraintFloatsCount() const noexcept { return static_cast<int>(floats_.size()); }
  /// "Defined Type %s does not have %s constraints" for a kind without a list; EListError for a bad index.
  [[nodiscard]] const std::string& GetConstraintAtom(int index) const;
  [[nodiscard]] const std::string& GetConstraintString(int index) const;
  [[nodiscard]] int32_t GetConstraintInteger(int index) const;
  [[nodiscard]] double GetConstraintFloat(int index) const;
  /// "Defined Type %s cannot contain %s constraint types" for a value of another kind.
  void AddConstraint(const TKBValue& value);
  void RemoveConstraint(const TKBValue& value);
  void DeleteConstraint(int index, TValueConstraint kind);
  /// The kind is limited and its list holds the value; texts without regard to case. `kind` receives the value's kind.
  [[nodiscard]] bool IsConstraint(const TKBValue& value, TValueConstraint& kind) const;
  [[nodiscard]] TValueConstraint GetValueConstraint(const TKBValue& value) const;
  /// The allowed lists as source text.
  [[nodiscard]] std::string GetAllowedString() const;
  [[nodiscard]] std::string ConstraintToString(TValueConstraint kind) const;

  [[nodiscard]] bool IsValid(const TKBValue& value) const;
  /// "Value "%s" is not valid, %s", or empty for a valid value.
  [[nodiscard]] std::string GetInvalidValueString(const TKBValue& value) const;
  [[nodiscard]] virtual IKBValue CreateValidDefault(bool multi) const;

  void BeginUpdate() noexcept { ++updates_; }
  void EndUpdate();
  std::function<void(TKBDefinedType&)> OnChange;

  void Assign(const TPersistent& source) override;
  [[nodiscard]] virtual IKBDefinedType Clone() const;
  [[nodiscard]] virtual bool Equals(const TKBDefinedType* other) const;
  [[nodiscard]] std::string ToString() const;

 private:
  void Change();
  template <class T>
  void Store(T& field, const T& value);
  bool DropConstraint(TValueConstraint kind);
  void CheckConstraint(TValueConstraint kind) const;
  [[nodiscard]] int IndexOfConstraint(const TKBValue& value, TValueConstraint kind) const;
  void EraseConstraint(int index, TValueConstraint kind);
  [[nodiscard]] int GetConstraintCount(TValueConstraint kind) const noexcept;
  [[nodiscard]] bool IsListValid(const TValueVector& list) const;
  [[nodiscard]] bool IsFuzzyValid(const TKBValue& value) const;
  [[nodiscard]] bool HasValidCount(const TValueVector& list) const noexcept;
  [[nodiscard]] std::string InvalidReason(const TKBValue& value) const;
  [[nodiscard]] std::string InvalidListReason(const TValueVector& list) const;
  [[nodiscard]] double RangeDefault() const noexcept;
  [[noreturn]] void RaiseNoConstraints(TValueConstraint kind) const;
  [[noreturn]] void RaiseCannotContain(const TKBValue& value) const;

  TKBTypes baseTypes_ = KBSlotTypes;
  TKBName name_;
  double maxRange_ = kOpenMaxRange;
  double minRange_ = kOpenMinRange;
  int32_t maxCardinality_ = kOpenMaxCardinality;
  int32_t minCardinality_ = 0;
  Ref<IFuzzyVariable> fuzzyType_;
  TValueConstraints constraints_;
  std::vector<std::string> atoms_;
  std::vector<std::string> strings_;
  std::vector<int32_t> integers_;
  std::vector<double> floats_;
  TWeakRef<IReasoner> reasoner_;
  bool rangeLimited_ = false;
  bool cardinalityLimited_ = false;
  bool implicit_ = false;
  std::string comment_;
  std::string units_;
  IKBDefinedType ancestor_;
  int updates_ = 0;
};

}  // namespace kb
