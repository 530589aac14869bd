#include <algorithm>

#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/language/KBRule.h"
#include "kb/matching/ReteNetwork.h"
#include "kb/values/ValueVector.h"

namespace kb {

void TJoinNode::SetPattern(TKBPattern* pattern, TRule* rule) {
  if (pattern != nullptr && (!pattern->GetFactTemplate() || !pattern->GetFactTemplate()->IsBackwardChaining())) {
    throw EKBException(TKBMessage::InvalidBackchainPattern);
  }
  pattern_ = pattern;
  rule_ = rule;
}

bool TJoinNode::Equals(const TReteNode& other) const {
  const auto* join = dynamic_cast<const TJoinNode*>(&other);
  if (negated_ || join == nullptr || join->negated_) return false;
  // A join that asks for facts asks for one pattern of one rule.
  if (unique_ != join->unique_ || pattern_ != nullptr || join->pattern_ != nullptr) return false;
  return TTestNode::Equals(other);
}

void TJoinNode::PrepareShortCut(const std::function<bool(const TKBJoinTest&)>& keyable) {
  for (const TJoinTestType wanted : {tstSlot, tstMultiSlot}) {
    auto& tests = Tests();
    const auto found = std::find_if(tests.begin(), tests.end(), [&](const auto& test) {
      const auto* join = dynamic_cast<const TKBJoinTest*>(test.get());
      return join != nullptr && join->GetJoinTestType() == wanted && join->GetSlotTestType() == sttEquals &&
             keyable(*join);
    });
    if (found == tests.end()) continue;
    std::iter_swap(tests.begin(), found);
    keyTest_ = static_cast<const TKBJoinTest*>(tests.front().get());
    shortCut_ = true;
    CollectKeyParts();
    break;
  }
  ClearMemory();
}

// Equality tests up to the first call: what a call does for a pair that would fail behind it must still happen.
void TJoinNode::CollectKeyParts() {
  for (const auto& test : Tests()) {
    const auto* join = dynamic_cast<const TKBJoinTest*>(test.get());
    if (join == nullptr) break;
    if (join == keyTest_ || join->GetSlotTestType() != sttEquals) continue;
    leftParts_.push_back({join->GetTokenIdx(), join->GetLeftSubIndex(), join->GetLeftSlot()});
    rightParts_.push_back({0, join->GetRightSubIndex(), join->GetRightSlot()});
  }
}

void TJoinNode::ClearMemory() {
  if (left_ != nullptr) {
    left_->Clear();
    right_->Clear();
    return;
  }
  if (!shortCut_) {
    left_ = std::make_unique<TKBTokenTree>(memorySize_, -1, NoSubIndex, TKBText(), true);
    right_ = std::make_unique<TKBTokenTree>(memorySize_, 0, NoSubIndex, TKBText(), false);
    return;
  }
  const TKeyPart left{keyTest_->GetTokenIdx(), keyTest_->GetLeftSubIndex(), keyTest_->GetLeftSlot()};
  const TKeyPart right{0, keyTest_->GetRightSubIndex(), keyTest_->GetRightSlot()};
  left_ = std::make_unique<TKBTokenTree>(memorySize_, left, leftParts_);
  right_ = std::make_unique<TKBTokenTree>(memorySize_, right, rightParts_);
}

bool TJoinNode::CallNode(const IReteToken& token, TCallType callType) {
  if (IsDead()) return false;
  passCount_ = 0;
  if (token->GetTag() == taClear) {
    ClearMemory();
    CallChildren(token);
    return false;
  }
  if (left_ == nullptr) ClearMemory();
  switch (callType) {
    case ctLeft:
      LeftToken(token);
      return true;
    case ctRight:
      RightToken(token);
      return true;
    default:
      throw EKBException(TKBMessage::InvalidCallType, {callType == ctSingle ? "ctSingle" : "ctActivate"});
  }
}

// A memory may hold the very token that goes on to the node's siblings, since chains never change. Only the
// count of a negated join is written, so such a join stores a copy of a token that has siblings to go to. What goes on
// is built on the stored token, also when it is removed: the memories below then find it by comparing a single link.
void TJoinNode::LeftToken(const IReteToken& token) {
  const TMemoryKey key = left_->KeyFor(*token);
  const bool removes = token->GetTag() == taRemove;
  if (negated_) {
    removes ? RemoveNegatedLeft(token, key) : AddNegatedLeft(token, key);
    return;
  }
  if (removes) {
    if (const IReteToken stored = left_->Remove(*token, key)) RunTestsVaryRight(stored, key, taRemove);
    return;
  }
  if (!left_->Add(token, key)) return;
  RunTestsVaryRight(token, key, token->GetTag());
  if (pattern_ != nullptr && !IsDead()) AskForBackChain(token);
}

void TJoinNode::RightToken(const IReteToken& token) {
  const TMemoryKey key = right_->KeyFor(*token);
  const bool changed =
      token->GetTag() == taRemove ? static_cast<bool>(right_->Remove(*token, key)) : right_->Add(token, key);
  if (changed) RunTestsVaryLeft(token, key);
}

template <class F>
void TJoinNode::Scan(const TKBTokenTree& memory, const TMemoryKey& key, F&& visit) {
  shortCut_ ? memory.ScanKey(key, visit) : memory.ScanAll(visit);
}

void TJoinNode::PassCombined(const IReteToken& left, const IReteToken& right, TTokenAction tag) {
  const float strength = std::min(left->GetStrength(), right->GetStrength());
  const auto combined = MakeRef<TKBToken>(left, right->GetFact(), tag, strength);
  if (right->IsExpanded()) combined->MarkExpanded();
  CallChildren(combined);
}

bool TJoinNode::PassesWith(TKBContext& context, TFact* right) const {
  if (GetTestCount() == 0) return true;
  context.SetFact(right);
  return PerformTests();
}

void TJoinNode::RunTestsVaryRight(const IReteToken& token, const TMemoryKey& key, TTokenAction tag) {
  int passed = 0;
  TKBContext& context = GetContext();
  const TContextMatchScope scope(context, token.Get(), nullptr);
  Scan(*right_, key, [&](const IReteToken& right) {
    if (IsDead()) return false;
    if (!PassesWith(context, right->GetFact().Get())) return true;
    if (tag != taRemove) ++passed;
    PassCombined(token, right, tag);
    return !(unique_ && tag != taRemove);
  });
  passCount_ = passed;
}

// Counts the blockers of a new chain and passes it on when there are none.
void TJoinNode::AddNegatedLeft(const IReteToken& token, const TMemoryKey& key) {
  const IReteToken stored = token->IsShared() ? MakeRef<TKBToken>(token) : token;
  if (!left_->Add(stored, key)) return;
  int blockers = 0;
  {
    TKBContext& context = GetContext();
    const TContextMatchScope scope(context, token.Get(), nullptr);
    Scan(*right_, key, [&](const IReteToken& right) {
      if (PassesWith(context, right->GetFact().Get())) ++blockers;
      return true;
    });
  }
  stored->SetNegatedCount(blockers);
  passCount_ = blockers == 0 ? 1 : 0;
  if (blockers == 0) PassNull(stored, token->GetTag(), token->GetStrength());
  if (pattern_ != nullptr && passCount_ == 0 && !IsDead()) AskForBackChain(token);
}

// The count of the stored copy tells whether the chain had been passed on: nothing is scanned.
void TJoinNode::RemoveNegatedLeft(const IReteToken& token, const TMemoryKey& key) {
  const IReteToken stored = left_->Remove(*token, key);
  if (stored && stored->GetNegatedCount() == 0) PassNull(stored, token->GetTag(), token->GetStrength());
}

// A negated pattern takes a place in the chain, which the null fact holds.
void TJoinNode::PassNull(const IReteToken& token, TTokenAction tag, float strength) {
  TInferenceEngine* engine = GetRete().GetEngine();
  if (engine == nullptr) return;
  CallChildren(MakeRef<TKBToken>(token, engine->GetNullFact(), tag, strength));
}

void TJoinNode::RunTestsVaryLeft(const IReteToken& token, const TMemoryKey& key) {
  if (left_->IsEmpty()) return;
  TKBContext& context = GetContext();
  TFact* fact = token->GetFact().Get();
  const TContextMatchScope scope(context, nullptr, fact);
  Scan(*left_, key, [&](const IReteToken& left) {
    if (IsDead()) return false;
    context.SetToken(left.Get());
    if (!PassesWith(context, fact)) return true;
    if (negated_) {
      Block(left, token);
    } else {
      PassCombined(left, token, token->GetTag());
    }
    return true;
  });
}

// A blocker comes or goes. Tokens of different strengths are different ones, so the chain is withdrawn, and comes back,
// with its own strength, whatever that of the blocker.
void TJoinNode::Block(const IReteToken& left, const IReteToken& blocker) {
  const float strength = left->GetStrength();
  if (blocker->GetTag() != taRemove) {
    PassNull(left, taRemove, strength);
    left->SetNegatedCount(left->GetNegatedCount() + 1);
    return;
  }
  left->SetNegatedCount(left->GetNegatedCount() - 1);
  if (left->GetNegatedCount() == 0) PassNull(left, left->GetTag(), strength);
}

namespace {

// The value that a test of the asking pattern contributes to the goal, `value` when it contributes none.
IKBValue GoalValue(const TKBPatternMatchTest& test, const TRule& rule, const TKBToken& token, IKBValue value) {
  if (!test.IsVariable()) return test.GetSlotValue();
  const TBinding* binding = rule.GetBindingByName(test.GetSlotValue()->GetAsString());
  if (binding == nullptr || binding->GetFactIndex() >= token.GetCount() || binding->GetFactIndex() < 0) return value;
  const TFact* fact = token.Facts(binding->GetFactIndex());
  if (fact == nullptr) return value;
  if (binding->IsPatternBinding()) return MakeFactId(fact->GetID());
  TKBValue* found = SlotElement(*fact, binding->SlotRef(), binding->GetSubIndex());
  return found == nullptr ? value : IKBValue(found);
}

void FillGoalSlot(const TKBPattern& pattern, int slot, const TRule& rule, const TKBToken& token, TFact& goal) {
  const TKBText& name = pattern.GetSlotName(slot);
  const TFactSlot* definition = goal.GetTemplate()->FindSlot(name.View());
  if (definition == nullptr) return;
  const bool multi = definition->GetSlotType().Has(dtMultiSlot);
  if (!multi) {
    IKBValue value = FCNil;
    for (const auto& test : pattern.GetSlotTests(slot)) {
      if (test->GetSlotTestType() == sttNotEquals) continue;
      value = GoalValue(*test, rule, token, value);
      break;
    }
    goal.SetValue(name.View(), value);
    return;
  }
  auto list = MakeRef<TValueVector>();
  for (const auto& test : pattern.GetSlotTests(slot)) {
    if (test->GetSlotTestType() == sttNotEquals) continue;
    // A field whose variable is not bound yet keeps its place and holds nil.
    const IKBValue value = GoalValue(*test, rule, token, FCNil);
    const int place = std::max(test->GetMultiSlotSubIndex(), 0);
    while (list->GetValueCount() <= place) list->Add(FCNil);
    if (value != FCNil || list->Get(place) == FCNil) list->Put(place, value);
  }
  goal.SetValue(name.View(), MakeRef<TKBValue>(list));
}

}  // namespace

// A chain without a partner: the missing fact is described by a goal fact, as far as the chain is bound. It
// is asserted when the network is at rest.
void TJoinNode::AskForBackChain(const IReteToken& token) {
  if (passCount_ != 0 || pattern_->IsGoal()) return;
  TInferenceEngine* engine = GetRete().GetEngine();
  const IFactTemplate goalTemplate = engine->CreateFactTemplate(std::string(SBackChainPrefix) + pattern_->GetName());
  const auto goal = MakeRef<TFact>(goalTemplate);
  for (int slot = 0; slot < pattern_->GetSlotCount(); ++slot) FillGoalSlot(*pattern_, slot, *rule_, *token, *goal);
  engine->AddPendingFact(goal, true);
}

std::string TJoinNode::ToString() const {
  std::string text = TTestNode::ToString();
  if (negated_) text += " *NEGATED*";
  if (left_ != nullptr) text += " Left Memory: " + left_->ToFactsString();
  if (right_ != nullptr) text += " Right Memory: " + right_->ToFactsString();
  return text;
}

}  // namespace kb
