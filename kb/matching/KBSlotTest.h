// The tests that joins make.
#pragma once

#include <string>

#include "kb/language/KBPatternTest.h"
#include "kb/values/Fact.h"
#include "kb/values/KBConsts.h"
#include "kb/values/ValueVector.h"

namespace kb {

using TJoinTestType = TTemplateSlotType;

/// Compares a slot of a fact already in the token (left) with a slot of the fact that arrives (right).
class TKBJoinTest final : public TKBSlotTest {
 public:
  /// Positions of -1 mean the whole slot; with both -1 it is a tstSlot test, else tstMultiSlot.
  TKBJoinTest(TSlotTestType type, int tokenIdx, const TKBText& leftSlot, int leftSubIndex, const TKBText& rightSlot,
              int rightSubIndex);
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  [[nodiscard]] int GetTokenIdx() const noexcept { return tokenIdx_; }
  [[nodiscard]] const TSlotRef& GetLeftSlot() const noexcept { return leftSlot_; }
  [[nodiscard]] int GetLeftSubIndex() const noexcept { return leftSubIndex_; }
  [[nodiscard]] const TSlotRef& GetRightSlot() const noexcept { return rightSlot_; }
  [[nodiscard]] int GetRightSubIndex() const noexcept { return rightSubIndex_; }
  [[nodiscard]] TJoinTestType GetJoinTestType() const noexcept {
    return leftSubIndex_ == NoSubIndex && rightSubIndex_ == NoSubIndex ? tstSlot : tstMultiSlot;
  }

  [[nodiscard]] bool Equals(const TKBSlotTest& other) const override;
  [[nodiscard]] std::string ToString() const override;
  /// A slot or element that a fact lacks makes the test fail; a position without fact makes a tstMultiSlot
  /// test pass.
  [[nodiscard]] bool PerformTest(TKBContext& context) const override;

 private:
  int rightSubIndex_;
  TSlotRef rightSlot_;
  TSlotRef leftSlot_;
  int tokenIdx_;
  int leftSubIndex_;
};

/// The value of a slot of a fact, or its element at `subIndex` unless that is -1; null when there is none.
[[nodiscard, gnu::always_inline]] inline TKBValue* SlotElement(const TFact& fact, const TSlotRef& slot, int subIndex) {
  TKBValue* value = fact.FindValue(slot);
  if (value == nullptr || subIndex == NoSubIndex) return value;
  const TValueVector* list = value->ListOrNull();
  if (list == nullptr || subIndex >= list->GetValueCount()) return nullptr;
  return list->Get(subIndex).Get();
}

/// Calls `use` with what SlotElement gives; for a reference to the whole fact with its address, as a variable of the
/// pattern has it, which lives for the time of the call.
template <class F>
auto WithElement(const TFact& fact, const TSlotRef& slot, int subIndex, F&& use) {
  if (!slot.IsWholeFact()) return use(static_cast<const TKBValue*>(SlotElement(fact, slot, subIndex)));
  const IKBValue address = MakeFactId(fact.GetID());
  return use(static_cast<const TKBValue*>(address.Get()));
}

}  // namespace kb
