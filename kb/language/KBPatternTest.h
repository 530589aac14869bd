// The tests that a pattern holds.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kb/platform/Object.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBValue.h"

namespace kb {

/// Base of all tests: equal or not equal.
class TKBSlotTest : public TPersistent {
 public:
  explicit TKBSlotTest(TSlotTestType type) noexcept : type_(type) {}
  [[nodiscard]] TSlotTestType GetSlotTestType() const noexcept { return type_; }
  virtual void SetSlotTestType(TSlotTestType type) { type_ = type; }
  /// Same class and same content.
  [[nodiscard]] virtual bool Equals(const TKBSlotTest& other) const;
  /// "=" or "<>" with the descendant's diagnostic text.
  [[nodiscard]] virtual std::string ToString() const;
  /// The context holds the left token and the arriving fact.
  [[nodiscard]] virtual bool PerformTest(TKBContext& context) const = 0;

 private:
  TSlotTestType type_;
};

/// One test of a slot in a pattern: a constant, a variable, or a call that must not give FALSE.
class TKBPatternMatchTest final : public TKBSlotTest {
 public:
  TKBPatternMatchTest(TSlotTestType type, int subIndex, const IKBValue& value, bool conjunction = true);
  TKBPatternMatchTest(const TKBPatternMatchTest& other);
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  // Each setter tells the pattern; a test with which its rule cannot be compiled stays as it was.
  void SetSlotTestType(TSlotTestType type) override;
  /// The test's own clone of the value.
  [[nodiscard]] const IKBValue& GetSlotValue() const noexcept { return value_; }
  void SetSlotValue(const IKBValue& value);
  [[nodiscard]] int GetMultiSlotSubIndex() const noexcept { return subIndex_; }
  void SetMultiSlotSubIndex(int value);
  /// False: or-ed with the test before it.
  [[nodiscard]] bool GetConjunction() const noexcept { return conjunction_; }
  void SetConjunction(bool value);
  [[nodiscard]] TKBPattern* GetPattern() const noexcept { return pattern_; }
  void SetPattern(TKBPattern* pattern) noexcept { pattern_ = pattern; }
  /// True when the value is a variable of either kind.
  [[nodiscard]] bool IsVariable() const noexcept { return KBVariableTypes.Has(value_->GetDType()); }

  [[nodiscard]] bool Equals(const TKBSlotTest& other) const override;
  [[nodiscard]] bool Equals(bool isEquals, int subIndex, const TKBValue& value) const;
  [[nodiscard]] std::string ToString() const override;
  /// Resolves the value; anything but FALSE passes (inverted for sttNotEquals). Allocates nothing by itself.
  [[nodiscard]] bool PerformTest(TKBContext& context) const override;
  /// The test as a call on `variable`: eq, neq, the call itself, or not around it.
  [[nodiscard]] IFunCall ConvertToFunCall(IReasoner* reasoner, const IKBValue& variable) const;

 private:
  template <class Setter, class T>
  void Change(Setter&& set, T old, T value);
  IKBValue value_;
  int subIndex_;
  bool conjunction_;
  TKBPattern* pattern_ = nullptr;
};

/// The tests of one slot, in order.
using TSlotTests = std::vector<std::unique_ptr<TKBPatternMatchTest>>;

}  // namespace kb
