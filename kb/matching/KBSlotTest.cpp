#include "kb/matching/KBSlotTest.h"

#include "kb/matching/KBToken.h"
#include "kb/values/KBContext.h"

namespace kb {

const TClassInfo& TKBJoinTest::StaticClass() noexcept {
  static const TClassInfo info{"TKBJoinTest", &TPersistent::StaticClass(), nullptr, nullptr};
  return info;
}

TKBJoinTest::TKBJoinTest(TSlotTestType type, int tokenIdx, const TKBText& leftSlot, int leftSubIndex,
                         const TKBText& rightSlot, int rightSubIndex)
    : TKBSlotTest(type),
      rightSubIndex_(rightSubIndex),
      rightSlot_(rightSlot),
      leftSlot_(leftSlot),
      tokenIdx_(tokenIdx),
      leftSubIndex_(leftSubIndex) {}

bool TKBJoinTest::Equals(const TKBSlotTest& other) const {
  const auto* test = dynamic_cast<const TKBJoinTest*>(&other);
  return test != nullptr && TKBSlotTest::Equals(other) && tokenIdx_ == test->tokenIdx_ &&
         leftSubIndex_ == test->leftSubIndex_ && rightSubIndex_ == test->rightSubIndex_ &&
         leftSlot_.GetName() == test->leftSlot_.GetName() && rightSlot_.GetName() == test->rightSlot_.GetName();
}

std::string TKBJoinTest::ToString() const {
  const bool multi = GetJoinTestType() == tstMultiSlot;
  const auto place = [&](const TSlotRef& slot, int subIndex) {
    return slot.GetName().ToString() + (multi ? " " + std::to_string(subIndex) : std::string());
  };
  return TKBSlotTest::ToString() + (multi ? " tstMultiSlot" : " tstSlot") + " TokenIdx: " + std::to_string(tokenIdx_) +
         " Left: " + place(leftSlot_, leftSubIndex_) + " Right: " + place(rightSlot_, rightSubIndex_);
}

bool TKBJoinTest::PerformTest(TKBContext& context) const {
  const TFact* leftFact = context.GetToken()->Facts(tokenIdx_);
  if (leftFact == nullptr) return GetJoinTestType() == tstMultiSlot;
  const TKBValue* right = SlotElement(*context.GetFact(), rightSlot_, rightSubIndex_);
  if (right == nullptr) return false;
  return WithElement(*leftFact, leftSlot_, leftSubIndex_, [&](const TKBValue* left) {
    return left != nullptr && left->Equals(right) == (GetSlotTestType() == sttEquals);
  });
}

}  // namespace kb
