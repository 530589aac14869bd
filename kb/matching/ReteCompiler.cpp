#include "kb/matching/ReteCompiler.h"

#include <algorithm>
#include <unordered_set>

#include "kb/engine/InferenceEngine.h"
#include "kb/functions/KBPackages.h"
#include "kb/language/KBRule.h"
#include "kb/matching/ReteNetwork.h"
#include "kb/platform/StackGuard.h"

namespace kb {
namespace {

// Calls `visit(TBindingInfo&)` for every compiled variable in a call, at any depth, until it gives true.
template <class F>
bool AnyBinding(const TFunctionCall& call, const F& visit) {
  CheckStack();
  for (int i = 0; i < call.GetArgumentCount(); ++i) {
    const IKBValue& argument = call.GetArgument(i);
    if (!argument) continue;
    if (TBindingInfo* binding = argument->BindingInfoOrNull()) {
      if (visit(*binding)) return true;
    } else if (const TFunctionCall* nested = argument->FunCallOrNull()) {
      if (AnyBinding(*nested, visit)) return true;
    }
  }
  return false;
}

// In a pattern node the only fact of the token stands at position 0.
void CleanUpBinding(const TFunctionCall& call) {
  AnyBinding(call, [](TBindingInfo& binding) {
    binding.SetFactIndex(0);
    return false;
  });
}

}  // namespace

bool HasMorePatterns(const TFunctionCall& call, int index) {
  return AnyBinding(call, [index](const TBindingInfo& binding) { return binding.GetFactIndex() != index; });
}

void TReteCompiler::Compile() {
  ProcessFirstPass();
  ProcessSecondPass();
  ProcessThirdPass();
  ProcessFourthPass();
}

// ---- First pass

void TReteCompiler::ProcessFirstPass() {
  position_ = 0;
  for (int i = 0; i < rule_.GetPatternCount(); ++i) {
    const TKBPattern& pattern = rule_.GetPattern(i);
    tails_.push_back(BuildChain(pattern, i));
    if (!pattern.IsTest()) ++position_;
  }
}

TReteNode* TReteCompiler::BuildChain(const TKBPattern& pattern, int index) {
  const TPatternMatchTest rootTest = pattern.IsTest() ? pmtUnknown : pmtTestClassType;
  TReteNode* end = CreateSuccessor(nullptr, rootTest, MakeAtom(pattern.GetName()), {0, 0});
  roots_.push_back(end);
  if (pattern.IsTest()) return end;
  for (int slot = 0; slot < pattern.GetSlotCount(); ++slot) {
    for (const auto& test : pattern.GetSlotTests(slot)) {
      if (!test->GetSlotValue()->Is(dtMultiVariable)) continue;
      end = CreateSuccessor(end, pmtTestMultiSlotMultiField, nullptr,
                            {pattern.GetSlotName(slot), test->GetMultiSlotSubIndex(), 0});
    }
  }
  for (int slot = 0; slot < pattern.GetSlotCount(); ++slot) {
    if (pattern.GetSlotLength(slot) < 0) continue;
    end = CreateSuccessor(end, pmtTestMultiSlotLength, nullptr,
                          {pattern.GetSlotName(slot), pattern.GetSlotLength(slot), 0});
  }
  for (int slot = 0; slot < pattern.GetSlotCount(); ++slot) {
    for (const auto& test : pattern.GetSlotTests(slot)) end = ExtendByTest(end, pattern, slot, *test, index);
  }
  return end;
}

TReteNode* TReteCompiler::ExtendByTest(TReteNode* end, const TKBPattern& pattern, int slot,
                                       const TKBPatternMatchTest& test, int index) {
  if (test.IsVariable()) return end;
  const bool whole = test.GetMultiSlotSubIndex() == NoSubIndex;
  const bool equals = test.GetSlotTestType() == sttEquals;
  const TPatternMatchTest kind =
      whole ? (equals ? pmtTestEqual : pmtTestNotEqual) : (equals ? pmtTestMultiSlotEqual : pmtTestMultiSlotNotEqual);
  IKBValue value = test.GetSlotValue();
  if (const TFunctionCall* call = value->FunCallOrNull()) {
    const IFunCall prepared = Evaluate(*call);
    // The call needs other patterns: it becomes a test of the join.
    if (HasMorePatterns(*prepared, index)) return end;
    CleanUpBinding(*prepared);
    value = MakeRef<TKBValue>(prepared);
  }
  return CreateSuccessor(end, kind, value, {pattern.GetSlotName(slot), test.GetMultiSlotSubIndex()});
}

TReteNode* TReteCompiler::FindSuccessor(TReteNode* parent, TPatternMatchTest test, const TKBValue* value,
                                        const TNodeArgsArray& arguments) const {
  const auto same = [&](TReteNode& node) {
    const auto* pattern = dynamic_cast<const TPatternMatchNode*>(&node);
    return pattern != nullptr && pattern->Equals(test, value, arguments);
  };
  if (parent != nullptr) {
    for (int i = 0; i < parent->GetEdgeCount(); ++i) {
      if (TReteNode& node = parent->GetReteEdge(i).GetToNode(); same(node)) return &node;
    }
    return nullptr;
  }
  for (TReteNode* root : network_.roots_) {
    if (same(*root)) return root;
  }
  return nullptr;
}

TReteNode* TReteCompiler::CreateSuccessor(TReteNode* parent, TPatternMatchTest test, const IKBValue& value,
                                          TNodeArgsArray arguments) {
  if (TReteNode* found = FindSuccessor(parent, test, value.Get(), arguments)) {
    found->SetRuleUseCount(found->GetRuleUseCount() + 1);
    network_.ruleNodes_[&rule_].push_back(found);
    if (parent != nullptr) rule_.AppendCompileTrace("=1");
    return found;
  }
  TReteNode& node =
      network_.Insert(std::make_unique<TPatternMatchNode>(network_, test, value, std::move(arguments)), rule_);
  if (parent != nullptr) Connect(*parent, node, ctSingle);
  rule_.AppendCompileTrace("+1");
  return &node;
}

void TReteCompiler::Connect(TReteNode& from, TReteNode& to, TCallType callType) {
  from.AddEdge(std::make_unique<TReteEdge>(from, to, callType));
}

IFunCall TReteCompiler::Evaluate(const TFunctionCall& call) {
  CheckStack();
  IFunCall result = call.Clone();
  for (int i = 0; i < result->GetArgumentCount(); ++i) result->SetArgument(i, EvaluateArgument(result->GetArgument(i)));
  return result;
}

IKBValue TReteCompiler::EvaluateArgument(const IKBValue& argument) {
  if (!argument) return argument;
  if (const TFunctionCall* nested = argument->FunCallOrNull()) return MakeRef<TKBValue>(Evaluate(*nested));
  if (!KBVariableTypes.Has(argument->GetDType())) return argument;
  const TKBText name = argument->GetAsString();
  const TBinding* binding = rule_.GetBindingByName(name);
  if (binding != nullptr && binding->GetFactIndex() <= position_) {
    auto info =
        std::make_unique<TBindingInfo>(binding->GetFactIndex(), binding->GetSlotIndex(), binding->GetSubIndex());
    return MakeRef<TKBValue>(info.release(), true);
  }
  const TInferenceEngine* engine = network_.GetEngine();
  const bool isGlobal = engine != nullptr && (engine->GetGlobalVariables().ContainsKey(name) ||
                                              engine->GetGlobalContext().FindBinding(name) != nullptr);
  if (isGlobal) return argument;
  throw EKBException(TKBMessage::UnknownVariable, {name.ToString()});
}

// ---- Second pass

void TReteCompiler::ProcessSecondPass() {
  for (int i = 0; i < rule_.GetPatternCount(); ++i) {
    const TKBPattern& pattern = rule_.GetPattern(i);
    if (pattern.IsTest()) continue;
    std::unordered_set<TKBText> done;
    for (int slot = 0; slot < pattern.GetSlotCount(); ++slot) {
      for (const auto& test : pattern.GetSlotTests(slot)) {
        if (!test->IsVariable() || !done.insert(test->GetSlotValue()->GetAsString()).second) continue;
        CompareUses(i, pattern, slot, *test);
      }
    }
  }
}

// A variable that stands in two slots of a pattern makes a node that compares them.
void TReteCompiler::CompareUses(int index, const TKBPattern& pattern, int slot, const TKBPatternMatchTest& use) {
  for (int later = slot + 1; later < pattern.GetSlotCount(); ++later) {
    for (const auto& other : pattern.GetSlotTests(later)) {
      if (!other->GetSlotValue()->Equals(use.GetSlotValue().Get())) continue;
      const int negations =
          (use.GetSlotTestType() == sttNotEquals ? 1 : 0) + (other->GetSlotTestType() == sttNotEquals ? 1 : 0);
      if (negations == 2) continue;
      TReteNode*& tail = tails_[static_cast<size_t>(index)];
      tail = CreateSuccessor(tail, negations == 0 ? pmtTestSlotValueEqual : pmtTestSlotValueNotEqual, nullptr,
                             {pattern.GetSlotName(slot), pattern.GetSlotName(later), use.GetMultiSlotSubIndex(),
                              other->GetMultiSlotSubIndex()});
    }
  }
}

// ---- Third pass

void TReteCompiler::ProcessThirdPass() {
  int testCount = 0;
  for (int i = 1; i < rule_.GetPatternCount(); ++i) {
    TKBPattern& pattern = rule_.GetPattern(i);
    if (pattern.IsTest()) ++testCount;
    std::unique_ptr<TTestNode> node = MakeJoin(pattern);
    AddTests(*node, pattern, i, testCount);
    TReteNode& left = *tails_[static_cast<size_t>(i) - 1];
    TReteNode& right = *tails_[static_cast<size_t>(i)];
    const bool asks = !pattern.IsTest() && pattern.GetFactTemplate()->IsBackwardChaining() && !pattern.GetExplicit();
    TJoinNode* shared = pattern.GetNegatedCount() == 0 && !asks ? FindShared(*node, left, right) : nullptr;
    TReteNode* end = shared;
    if (shared != nullptr) {
      shared->SetRuleUseCount(shared->GetRuleUseCount() + 1);
      network_.ruleNodes_[&rule_].push_back(shared);
      rule_.AppendCompileTrace("=2");
    } else {
      end = &PlaceJoin(std::move(node), pattern, asks, left, right);
    }
    tails_[static_cast<size_t>(i) - 1] = end;
    tails_[static_cast<size_t>(i)] = end;
  }
}

std::unique_ptr<TTestNode> TReteCompiler::MakeJoin(const TKBPattern& pattern) {
  if (pattern.IsTest()) return std::make_unique<TTestNode>(network_);
  auto join = std::make_unique<TJoinNode>(network_, network_.GetHashKey());
  join->SetNegatedPattern(pattern.GetNegatedCount() > 0);
  join->SetUnique(pattern.GetUnique());
  return join;
}

void TReteCompiler::AddTests(TTestNode& node, const TKBPattern& pattern, int index, int testCount) {
  position_ = index - testCount;
  std::unordered_set<TKBText> used;
  std::unordered_set<TKBText> covered;
  for (int slot = 0; slot < pattern.GetSlotCount(); ++slot) {
    for (const auto& test : pattern.GetSlotTests(slot)) {
      if (test->IsVariable()) {
        // Where the first use has to equal the variable, the comparisons inside the pattern, which are all with that
        // use, cover the later ones.
        const TKBText name = test->GetSlotValue()->GetAsString();
        if (covered.contains(name)) continue;
        AddVariableTest(node, pattern.GetSlotName(slot), *test, position_);
        if (used.insert(name).second && test->GetSlotTestType() == sttEquals) covered.insert(name);
      } else if (test->GetSlotValue()->Is(dtFunCall)) {
        AddCallTest(node, pattern, *test, index);
      }
    }
  }
}

void TReteCompiler::AddVariableTest(TTestNode& node, const TKBText& slotName, const TKBPatternMatchTest& test,
                                    int position) {
  const TKBText name = test.GetSlotValue()->GetAsString();
  const TBinding* binding = rule_.GetBindingByName(name);
  if (binding == nullptr) throw EKBException(TKBMessage::CorruptedBinding, {name.ToString()});
  if (binding->GetFactIndex() == position) return;
  node.AddTest(std::make_unique<TKBJoinTest>(test.GetSlotTestType(), binding->GetFactIndex(), binding->GetSlotIndex(),
                                             binding->GetSubIndex(), slotName, test.GetMultiSlotSubIndex()));
}

void TReteCompiler::AddCallTest(TTestNode& node, const TKBPattern& pattern, const TKBPatternMatchTest& test,
                                int index) {
  if (pattern.GetFactTemplate()->IsBackwardChaining()) {
    throw EKBException(TKBMessage::FunctionInBackchain, {pattern.GetName()});
  }
  const IFunCall prepared = Evaluate(*test.GetSlotValue()->FunCallOrNull());
  if (!pattern.IsTest() && !HasMorePatterns(*prepared, index)) return;
  node.AddTest(std::make_unique<TKBPatternMatchTest>(test.GetSlotTestType(), test.GetMultiSlotSubIndex(),
                                                     MakeRef<TKBValue>(prepared)));
}

TJoinNode* TReteCompiler::FindShared(const TTestNode& node, TReteNode& left, TReteNode& right) const {
  for (int i = 0; i < left.GetEdgeCount(); ++i) {
    const TReteEdge& leftEdge = left.GetReteEdge(i);
    auto* join = dynamic_cast<TJoinNode*>(&leftEdge.GetToNode());
    if (join == nullptr || join->IsNegatedPattern() || leftEdge.GetCallType() != ctLeft) continue;
    for (int k = 0; k < right.GetEdgeCount(); ++k) {
      const TReteEdge& rightEdge = right.GetReteEdge(k);
      if (&rightEdge.GetToNode() == join && rightEdge.GetCallType() == ctRight && join->Equals(node)) return join;
    }
  }
  return nullptr;
}

TReteNode& TReteCompiler::PlaceJoin(std::unique_ptr<TTestNode> node, TKBPattern& pattern, bool asks, TReteNode& left,
                                    TReteNode& right) {
  auto* join = dynamic_cast<TJoinNode*>(node.get());
  TReteNode* end = &network_.Insert(std::move(node), rule_);
  Connect(left, *end, ctLeft);
  Connect(right, *end, ctRight);
  if (join != nullptr) {
    if (asks) join->SetPattern(&pattern, &rule_);
    // Fuzzy values are equal by overlap: no hash finds them.
    const auto isFuzzy = [](const TKBPattern& owner, const TKBText& name) {
      const TFactSlot* slot = owner.GetFactTemplate() ? owner.GetFactTemplate()->FindSlot(name.View()) : nullptr;
      return slot != nullptr && slot->IsFuzzy();
    };
    join->PrepareShortCut([&](const TKBJoinTest& test) {
      if (isFuzzy(pattern, test.GetRightSlot().GetName())) return false;
      for (int i = 0; i < rule_.GetPatternCount(); ++i) {
        if (isFuzzy(rule_.GetPattern(i), test.GetLeftSlot().GetName())) return false;
      }
      return true;
    });
  }
  rule_.AppendCompileTrace("+2");
  for (int k = 1; k < pattern.GetNegatedCount(); ++k) {
    auto outer = std::make_unique<TJoinNode>(network_, network_.GetHashKey());
    outer->SetNegatedPattern(true);
    TReteNode& placed = network_.Insert(std::move(outer), rule_);
    Connect(*end, placed, ctRight);
    Connect(left, placed, ctLeft);
    end = &placed;
  }
  return *end;
}

// ---- Fourth pass

void TReteCompiler::ProcessFourthPass() {
  TPatternMatchTerminalNode* terminal = nullptr;
  if (rule_.GetPatternCount() > 0) {
    auto node = std::make_unique<TPatternMatchTerminalNode>(network_, rule_);
    terminal = node.get();
    network_.Insert(std::move(node), rule_);
    rule_.AppendCompileTrace("+t");
    Connect(*tails_.back(), *terminal, ctActivate);
  }
  // A root that several patterns share is primed once.
  std::vector<TReteNode*> distinct;
  for (TReteNode* root : roots_) {
    if (std::find(distinct.begin(), distinct.end(), root) == distinct.end()) distinct.push_back(root);
  }
  network_.UpdateNodes(distinct);
  if (terminal != nullptr) terminal->SetInitialized(true);
}

}  // namespace kb
