#include <algorithm>

#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/engine/KBTransfer.h"
#include "kb/functions/KBPackages.h"
#include "kb/language/KBRule.h"
#include "kb/language/PrettyPrinter.h"

namespace kb {

const TClassInfo& TKBPattern::StaticClass() noexcept {
  static const TClassInfo info{"TKBPattern", &TPersistent::StaticClass(), nullptr, nullptr};
  return info;
}

TKBPattern::TKBPattern(TComponent* owner, const IFactTemplate& factTemplate)
    : TKBPattern(owner, factTemplate, factTemplate ? factTemplate->GetTemplateName().View() : std::string_view(), 0) {}

TKBPattern::TKBPattern(TComponent* owner, const IFactTemplate& factTemplate, std::string_view name, int negatedCount)
    : template_(factTemplate), negatedCount_(negatedCount), name_(name), owner_(owner) {
  InitializeClass();
}

TKBPattern::TKBPattern(TComponent* owner, const TKBPattern& source, std::string_view name, int negatedCount)
    : TKBPattern(owner, source.template_, name, negatedCount) {
  BeginUpdate();
  TInferenceEngine* engine = GetEngine();
  for (size_t i = 0; i < slots_.size(); ++i) {
    const int sourceSlot = source.IndexOfSlotName(slots_[i].name);
    if (sourceSlot < 0) continue;
    slots_[i].length = source.GetSlotLength(sourceSlot);
    for (const auto& test : source.GetSlotTests(sourceSlot)) {
      auto copy = std::make_unique<TKBPatternMatchTest>(*test);
      if (engine != nullptr && copy->IsVariable() && copy->GetSlotValue()->TextView().starts_with(SBlankPrefix)) {
        const TKBText fresh = engine->GenerateSymbol(SBlankPrefix);
        copy->SetSlotValue(MakeRef<TKBValue>(fresh, copy->GetSlotValue()->GetDType()));
      }
      AddTest(slots_[i].name, std::move(copy));
    }
  }
  --updates_;
}

TKBPattern::~TKBPattern() = default;

void TKBPattern::InitializeClass() {
  if (!template_) return;
  for (const TKBText& name : template_->GetSlotNames()) slots_.push_back({name, {}, -1});
}

void TKBPattern::SetUnique(bool value) {
  if (unique_ == value) return;
  unique_ = value;
  Change();
}

void TKBPattern::SetExplicit(bool value) {
  if (explicit_ == value) return;
  explicit_ = value;
  Change();
}

void TKBPattern::SetNegatedCount(int value) {
  if (negatedCount_ == value) return;
  negatedCount_ = value < 0 ? 0 : value;
  Change();
}

void TKBPattern::SetBoundName(std::string_view name) {
  if (boundName_ == name) return;
  if (!name.empty() && IsTest() && IsNegated()) throw EKBException(TKBMessage::CannotBindNegated);
  boundName_ = name;
  Change();
}

void TKBPattern::SetName(std::string_view name) {
  if (name_ == name) return;
  name_ = name;
  Change();
}

void TKBPattern::TemplateRenamed() { name_ = template_->GetTemplateName().View(); }

const TKBPatternMatchTest& TKBPattern::GetSlotTest(int slot, int test) const {
  CheckListIndex(test, GetSlotTestCount(slot));
  return *GetSlotTests(slot)[static_cast<size_t>(test)];
}

TKBPatternMatchTest& TKBPattern::GetSlotTest(int slot, int test) {
  CheckListIndex(test, GetSlotTestCount(slot));
  return *GetSlotTests(slot)[static_cast<size_t>(test)];
}

int TKBPattern::IndexOfSlotName(std::string_view name) const noexcept {
  for (size_t i = 0; i < slots_.size(); ++i) {
    if (slots_[i].name == name) return static_cast<int>(i);
  }
  return -1;
}

TKBPattern::Slot& TKBPattern::FindSlot(std::string_view name) {
  if (!template_) throw EKBException(TKBMessage::FactTemplateMissing);
  const int index = IndexOfSlotName(name);
  if (index < 0) throw EKBException(TKBMessage::NoSuchSlotName, {std::string(name)});
  return slots_[static_cast<size_t>(index)];
}

void TKBPattern::SetSlotLength(std::string_view slotName, int length) {
  FindSlot(slotName).length = length;
  Change();
}

TKBPatternMatchTest& TKBPattern::AddTest(std::string_view slotName, const IKBValue& value, int subIndex, bool negated,
                                         bool conjunction) {
  return AddTest(slotName, std::make_unique<TKBPatternMatchTest>(negated ? sttNotEquals : sttEquals, subIndex, value,
                                                                 conjunction));
}

TKBPatternMatchTest& TKBPattern::AddTest(std::string_view slotName, std::unique_ptr<TKBPatternMatchTest> test) {
  RequireObject(test, "test");
  Slot& slot = FindSlot(slotName);
  test->SetPattern(this);
  TKBPatternMatchTest& result = *test;
  slot.tests.push_back(std::move(test));
  try {
    Change();
  } catch (...) {
    std::erase_if(slot.tests, [&](const auto& t) { return t.get() == &result; });
    TDelayedError error;
    error.Run([this] { Change(); });
    throw;
  }
  return result;
}

// ---- Or-constraints

void TKBPattern::FixTests() {
  for (Slot& slot : slots_) {
    const bool hasOr =
        std::any_of(slot.tests.begin(), slot.tests.end(), [](const auto& t) { return !t->GetConjunction(); });
    if (hasOr) slot.tests = FixSlot(slot);
  }
}

// Goes through the slot in runs of one element of the multislot.
TSlotTests TKBPattern::FixSlot(Slot& slot) {
  TSlotTests result;
  size_t begin = 0;
  while (begin < slot.tests.size()) {
    size_t end = begin + 1;
    bool hasOr = !slot.tests[begin]->GetConjunction();
    const int subIndex = slot.tests[begin]->GetMultiSlotSubIndex();
    for (; end < slot.tests.size() && slot.tests[end]->GetMultiSlotSubIndex() == subIndex; ++end) {
      hasOr = hasOr || !slot.tests[end]->GetConjunction();
    }
    if (hasOr) {
      FixRun(slot, begin, end, result);
    } else {
      for (size_t i = begin; i < end; ++i) result.push_back(std::make_unique<TKBPatternMatchTest>(*slot.tests[i]));
    }
    begin = end;
  }
  for (const auto& test : result) test->SetPattern(this);
  return result;
}

// A run becomes a test on a variable and one on a call of `or`, with a call of `and` for each group of several.
void TKBPattern::FixRun(const Slot& slot, size_t begin, size_t end, TSlotTests& result) {
  TRule* rule = GetRule();
  const TKBPatternMatchTest& first = *slot.tests[begin];
  const int subIndex = first.GetMultiSlotSubIndex();
  IKBValue variable;
  if (first.IsVariable() && first.GetSlotTestType() == sttEquals) {
    variable = first.GetSlotValue();
    ++begin;
  } else {
    if (rule == nullptr || rule->GetEngine() == nullptr) throw EKBException(TKBMessage::RuleMissing);
    std::string name = rule->GetEngine()->GenerateSymbol(SBlankPrefix);
    // The form that keeps it private to a negated pattern, as when the printed rule is read.
    if (IsNegated()) name = "_" + std::to_string(rule->GetPatternCount()) + "_" + name;
    variable = MakeRef<TKBValue>(TKBText(name), dtVariable);
    rule->AddBinding(variable->GetAsString(), rule->GetLastFactPosition(), slot.name, subIndex);
  }
  result.push_back(std::make_unique<TKBPatternMatchTest>(sttEquals, subIndex, variable));
  if (begin == end) return;
  KeepBound(slot, begin, end, result);
  IReasoner* reasoner = GetEngine();
  auto disjunction = MakeRef<TFunctionCall>(reasoner, "or");
  while (begin < end) {
    size_t next = begin + 1;
    while (next < end && slot.tests[next]->GetConjunction()) ++next;
    IFunCall member = slot.tests[begin]->ConvertToFunCall(reasoner, variable);
    if (next - begin > 1) {
      auto conjunction = MakeRef<TFunctionCall>(reasoner, "and");
      conjunction->AddArgument(member);
      for (size_t i = begin + 1; i < next; ++i) {
        conjunction->AddArgument(slot.tests[i]->ConvertToFunCall(reasoner, variable));
      }
      member = conjunction;
    }
    disjunction->AddArgument(member);
    begin = next;
  }
  result.push_back(
      std::make_unique<TKBPatternMatchTest>(sttEquals, subIndex, MakeRef<TKBValue>(IFunCall(disjunction))));
}

// What an alternative binds first, such as the variable of "7|=(f)", is found by name in a call only. As a test of its
// own it is bound in copies of the pattern as well, and where the printed rule is read.
void TKBPattern::KeepBound(const Slot& slot, size_t begin, size_t end, TSlotTests& result) const {
  const TRule* rule = GetRule();
  if (rule == nullptr) return;
  const int subIndex = slot.tests[begin]->GetMultiSlotSubIndex();
  for (size_t i = begin; i < end; ++i) {
    const TKBPatternMatchTest& test = *slot.tests[i];
    if (!test.IsVariable()) continue;
    const TKBText name = test.GetSlotValue()->GetAsString();
    const TBinding* binding = rule->GetBindingByName(name);
    const bool here = binding != nullptr && binding->GetFactIndex() == rule->GetLastFactPosition() &&
                      binding->GetSlotIndex() == slot.name && binding->GetSubIndex() == subIndex;
    const bool known = std::any_of(result.begin(), result.end(), [&](const auto& t) {
      return t->IsVariable() && t->GetSlotValue()->TextView() == name;
    });
    if (!here || known) continue;
    result.push_back(std::make_unique<TKBPatternMatchTest>(sttEquals, subIndex, MakeRef<TKBValue>(name, dtVariable)));
  }
}

// ---- Owner and change

TRule* TKBPattern::GetRule() const noexcept { return dynamic_cast<TRule*>(owner_); }

TInferenceEngine* TKBPattern::GetEngine() const noexcept {
  if (const TRule* rule = GetRule()) return rule->GetEngine();
  if (auto* engine = dynamic_cast<TInferenceEngine*>(owner_)) return engine;
  return template_ ? template_->GetEngine() : nullptr;
}

void TKBPattern::EndUpdate() {
  if (updates_ > 0 && --updates_ == 0) Change();
}

void TKBPattern::TestChange() { Change(); }

void TKBPattern::Change() {
  if (updates_ > 0) return;
  TRule* rule = GetRule();
  if (rule != nullptr && rule->GetEngine() != nullptr) {
    const TInferenceEngine::TFreeHold hold(*rule->GetEngine());  // a handler may remove the rule
    rule->Change();
    if (OnChange) OnChange(*this);
    return;
  }
  if (rule != nullptr) rule->Change();
  if (OnChange) OnChange(*this);
}

void TKBPattern::Assign(const TPersistent& source) {
  const auto* other = dynamic_cast<const TKBPattern*>(&source);
  if (other == nullptr) return TPersistent::Assign(source);
  BeginUpdate();
  comment_ = other->comment_;
  boundName_ = other->boundName_;
  unique_ = other->unique_;
  explicit_ = other->explicit_;
  name_ = other->name_;
  template_ = other->template_;
  negatedCount_ = other->negatedCount_;
  slots_.clear();
  for (const Slot& slot : other->slots_) {
    slots_.push_back({slot.name, {}, slot.length});
    for (const auto& test : slot.tests) {
      slots_.back().tests.push_back(std::make_unique<TKBPatternMatchTest>(*test));
      slots_.back().tests.back()->SetPattern(this);
    }
  }
  EndUpdate();
}

std::unique_ptr<TKBPattern> TKBPattern::Clone(TInferenceEngine* engine) const {
  IFactTemplate target = template_;
  const bool moves =
      engine != nullptr && template_ &&
      (template_->GetEngine() != engine || template_->IndexOfImportModule(engine->GetCurrentModule().Get()) < 0);
  if (moves) {
    const TTransfer transfer(*engine, TTransfer::tlCurrentModule);
    if (const IFactTemplate found = transfer.FindTemplate(*template_)) {
      target = found;
    } else if (template_->GetEngine() != engine) {
      target = transfer.Template(*template_);
      engine->GetFactTemplates().Add(target);
    }
  }
  auto copy = std::make_unique<TKBPattern>(engine, target, name_, negatedCount_);
  copy->Assign(*this);
  copy->template_ = target;
  if (moves) copy->MoveValues(*engine);
  return copy;
}

// What hangs on another engine or module is made anew for this one.
void TKBPattern::MoveValues(TInferenceEngine& engine) {
  const TTransfer transfer(engine, TTransfer::tlCurrentModule);
  BeginUpdate();
  for (Slot& slot : slots_) {
    for (const auto& test : slot.tests) test->SetSlotValue(transfer.Value(test->GetSlotValue()));
  }
  --updates_;
}

std::string TKBPattern::ToString() const {
  if (TInferenceEngine* engine = GetEngine()) return engine->PrettyPrint(*this);
  return PrettyPrint(*this);
}

}  // namespace kb
