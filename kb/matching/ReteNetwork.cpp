#include "kb/matching/ReteNetwork.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/language/KBRule.h"
#include "kb/matching/ReteCompiler.h"

namespace kb {

TReteNetwork::~TReteNetwork() { Clear(); }

// ---- Compiling

void TReteNetwork::AddRule(TRule& rule) {
  if (!enabled_) return;
  const TWalk walk(*this);  // a handler may remove the rule while it is primed
  if (rule.GetPatternCount() == 0 && engine_ != nullptr && engine_->GetInitialFactPattern() != nullptr) {
    rule.BeginUpdate();
    try {
      rule.AddPattern(engine_->GetInitialFactPattern()->Clone(engine_));
    } catch (...) {
      rule.EndUpdate();
      throw;
    }
    rule.EndUpdate();
    if (ContainsRule(rule)) return;  // the rule's own change has compiled it
  }
  RemoveRule(rule);
  rule.SetCompileTrace(rule.GetRuleName() + ": ");
  ruleNodes_[&rule];
  try {
    TReteCompiler(*this, rule).Compile();
  } catch (...) {
    RemoveRule(rule);
    throw;
  }
}

void TReteNetwork::RemoveRule(TRule& rule) {
  auto found = ruleNodes_.find(&rule);
  if (found == ruleNodes_.end()) return;
  std::vector<TReteNode*> nodes = std::move(found->second);
  ruleNodes_.erase(found);
  ReleaseNodes(nodes);
}

void TReteNetwork::ReleaseNodes(std::vector<TReteNode*>& nodes) {
  const TWalk walk(*this);
  while (!nodes.empty()) {
    TReteNode* node = nodes.back();
    nodes.pop_back();
    node->SetRuleUseCount(node->GetRuleUseCount() - 1);
    if (node->GetRuleUseCount() == 0) Discard(*node);
  }
}

void TReteNetwork::Discard(TReteNode& node) {
  node.MarkDead();
  std::unique_ptr<TGLinkedGraphNode> owned = Extract(node);
  RemoveRoot(node);
  if (owned == nullptr) return;
  graveyard_.push_back(std::move(owned));
}

TReteNode& TReteNetwork::Insert(std::unique_ptr<TReteNode> node, TRule& rule) {
  TReteNode& result = *node;
  AddNode(std::move(node));
  AddRoot(result);
  ruleNodes_[&rule].push_back(&result);
  return result;
}

void TReteNetwork::Clear() {
  ruleNodes_.clear();
  {
    const TWalk walk(*this);
    while (GetNodeCount() > 0) Discard(static_cast<TReteNode&>(GetNode(GetNodeCount() - 1)));
  }
  roots_.clear();
  InvalidateRoots();
}

void TReteNetwork::RenameTemplate(std::string_view oldName, std::string_view newName) {
  for (TReteNode* root : roots_) {
    if (auto* pattern = dynamic_cast<TPatternMatchNode*>(root)) pattern->RenameTemplate(oldName, newName);
  }
  InvalidateRoots();
}

void TReteNetwork::SetEnabled(bool value) {
  if (enabled_ == value) return;
  enabled_ = value;
  if (!value) Clear();
}

void TReteNetwork::SetMinActivationStrength(float value) noexcept {
  minActivationStrength_ = std::isnan(value) ? 0.0F : std::clamp(value, 0.0F, 1.0F);
}

void TReteNetwork::ClearEvents() noexcept {
  OnActivation = nullptr;
  OnDeactivation = nullptr;
  OnRuleFired = nullptr;
}

void TReteNetwork::AddRoot(TReteNode& node) {
  if (node.IsDead()) return;
  roots_.push_back(&node);
  InvalidateRoots();
}

void TReteNetwork::RemoveRoot(TReteNode& node) {
  // New nodes become roots first and leave the list with their first edge: look from the end.
  const auto found = std::find(roots_.rbegin(), roots_.rend(), &node);
  if (found == roots_.rend()) return;
  roots_.erase(std::next(found).base());
  InvalidateRoots();
}

std::vector<TReteNode*> TReteNetwork::GetRuleNodes(const TRule& rule) const {
  const auto found = ruleNodes_.find(&rule);
  return found == ruleNodes_.end() ? std::vector<TReteNode*>() : found->second;
}

// ---- Running

TReteNetwork::TRoots TReteNetwork::RootsOf(const TFactTemplate& factTemplate) {
  if (rootsEpoch_ != TFactTemplate::GetNamingEpoch()) {
    InvalidateRoots();
    rootsEpoch_ = TFactTemplate::GetNamingEpoch();
  }
  TRoots& roots = rootsByLayout_[factTemplate.GetLayoutId()];
  if (roots == nullptr) {
    auto matching = std::make_shared<std::vector<TReteNode*>>();
    for (TReteNode* root : roots_) {
      const auto* pattern = dynamic_cast<const TPatternMatchNode*>(root);
      if (pattern != nullptr && pattern->MatchesTemplate(factTemplate)) matching->push_back(root);
    }
    roots = std::move(matching);
  }
  return roots;
}

bool TReteNetwork::ProcessToken(const IReteToken& token) {
  token->MarkShared();
  const TTokenAction tag = token->GetTag();
  if (!enabled_ && (tag == taAdd || tag == taUpdate)) return false;
  const TWalk walk(*this);
  bool passed = false;
  if (tag == taClear) {
    const std::vector<TReteNode*> roots = roots_;
    for (TReteNode* root : roots) passed |= root->CallNode(token, ctSingle);
    RaiseClearError();
    return passed;
  }
  const TRoots roots = RootsOf(*token->GetFact()->GetTemplate());
  for (TReteNode* root : *roots) passed |= root->CallNode(token, ctSingle);
  return passed;
}

bool TReteNetwork::ProcessTokenOneNode(const IReteToken& token, TReteNode& node) {
  token->MarkShared();
  const TWalk walk(*this);
  const bool passed = node.CallNode(token, ctSingle);
  RaiseClearError();
  return passed;
}

void TReteNetwork::RaiseClearError() { std::exchange(clearError_, {}).Rethrow(); }

// On a root that older rules share an add token alone would meet equal tokens in their joins and stop there.
// So each fact is taken out first; older matches below the root are withdrawn and made anew.
void TReteNetwork::UpdateNodes(const std::vector<TReteNode*>& nodes) {
  if (engine_ == nullptr) return;
  const TWalk walk(*this);
  for (const IFact& fact : engine_->GetFacts().Snapshot()) {
    if (engine_->GetFacts().IndexOf(fact.Get()) < 0) continue;  // a handler retracted it
    for (const TTokenAction tag : {taRemove, taAdd}) {
      const auto token = MakeRef<TKBToken>(tag, fact);
      token->MarkShared();
      for (TReteNode* node : nodes) node->CallNode(token, ctSingle);
    }
  }
}

void TReteNetwork::Activate(const Ref<TActivation>& activation) {
  if (engine_ != nullptr) engine_->AddActivation(activation);
  if (OnActivation) OnActivation(*this, *activation);
}

void TReteNetwork::Deactivate(TActivation& activation) {
  const Ref<TActivation> guard(&activation);
  if (engine_ != nullptr) engine_->RemoveActivation(activation);
  if (OnDeactivation) OnDeactivation(*this, activation);
}

void TReteNetwork::RuleFired(TActivation& activation) {
  const Ref<TActivation> guard(&activation);
  if (engine_ != nullptr) engine_->RuleFired(activation);
  if (OnRuleFired) OnRuleFired(*this, activation);
}

std::string TReteNetwork::ToString() const {
  std::string text;
  for (int i = 0; i < GetNodeCount(); ++i) {
    text += static_cast<const TReteNode&>(GetNode(i)).ToString();
    text += kLineEnd;
  }
  return text;
}

}  // namespace kb
