#include "kb/language/KBPatternTest.h"

#include <typeinfo>
#include <utility>

#include "kb/functions/KBPackages.h"
#include "kb/language/KBRule.h"

namespace kb {
namespace {

IKBValue CloneOf(const IKBValue& value) {
  RequireObject(value, "slot value");
  return value->Clone();
}

}  // namespace

bool TKBSlotTest::Equals(const TKBSlotTest& other) const {
  return typeid(*this) == typeid(other) && type_ == other.type_;
}

std::string TKBSlotTest::ToString() const { return type_ == sttEquals ? "=" : "<>"; }

const TClassInfo& TKBPatternMatchTest::StaticClass() noexcept {
  static const TClassInfo info{"TKBPatternMatchTest", &TPersistent::StaticClass(), nullptr, nullptr};
  return info;
}

TKBPatternMatchTest::TKBPatternMatchTest(TSlotTestType type, int subIndex, const IKBValue& value, bool conjunction)
    : TKBSlotTest(type), value_(CloneOf(value)), subIndex_(subIndex), conjunction_(conjunction) {}

TKBPatternMatchTest::TKBPatternMatchTest(const TKBPatternMatchTest& other)
    : TKBSlotTest(other.GetSlotTestType()),
      value_(other.value_->Clone()),
      subIndex_(other.subIndex_),
      conjunction_(other.conjunction_) {}

template <class Setter, class T>
void TKBPatternMatchTest::Change(Setter&& set, T old, T value) {
  set(std::move(value));
  if (pattern_ == nullptr) return;
  try {
    pattern_->TestChange();
  } catch (...) {
    set(std::move(old));
    TDelayedError error;
    error.Run([this] { pattern_->TestChange(); });
    throw;
  }
}

void TKBPatternMatchTest::SetSlotTestType(TSlotTestType type) {
  if (GetSlotTestType() == type) return;
  Change([this](TSlotTestType t) { TKBSlotTest::SetSlotTestType(t); }, GetSlotTestType(), type);
}

void TKBPatternMatchTest::SetSlotValue(const IKBValue& value) {
  Change([this](IKBValue v) { value_ = std::move(v); }, value_, CloneOf(value));
}

void TKBPatternMatchTest::SetMultiSlotSubIndex(int value) {
  if (subIndex_ == value) return;
  Change([this](int v) { subIndex_ = v; }, subIndex_, value);
}

void TKBPatternMatchTest::SetConjunction(bool value) {
  if (conjunction_ == value) return;
  Change([this](bool v) { conjunction_ = v; }, conjunction_, value);
}

bool TKBPatternMatchTest::Equals(const TKBSlotTest& other) const {
  if (!TKBSlotTest::Equals(other)) return false;
  const auto& test = static_cast<const TKBPatternMatchTest&>(other);
  return subIndex_ == test.subIndex_ && conjunction_ == test.conjunction_ && value_->Equals(test.value_.Get());
}

bool TKBPatternMatchTest::Equals(bool isEquals, int subIndex, const TKBValue& value) const {
  return isEquals == (GetSlotTestType() == sttEquals) && subIndex == subIndex_ && value_->Equals(&value);
}

std::string TKBPatternMatchTest::ToString() const {
  return TKBSlotTest::ToString() + " SubIdx: " + std::to_string(subIndex_) + " Slot: " + value_->ToString();
}

bool TKBPatternMatchTest::PerformTest(TKBContext& context) const {
  const bool isFalse = value_->Resolve(&context)->Equals(FCFalse.Get());
  return isFalse == (GetSlotTestType() == sttNotEquals);
}

IFunCall TKBPatternMatchTest::ConvertToFunCall(IReasoner* reasoner, const IKBValue& variable) const {
  const bool equals = GetSlotTestType() == sttEquals;
  if (value_->Is(dtFunCall)) {
    if (equals) return value_->GetAsFunCall();
    auto negation = MakeRef<TFunctionCall>(reasoner, "not");
    negation->AddArgument(value_);
    return negation;
  }
  auto call = MakeRef<TFunctionCall>(reasoner, equals ? "eq" : "neq");
  call->AddArgument(value_);
  call->AddArgument(variable);
  return call;
}

}  // namespace kb
