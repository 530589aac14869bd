// The network: the compiled form of all rules of a module.
//
// A rule becomes a chain of pattern nodes for each pattern, joins that combine the chains, and a terminal.
// Chains and joins are shared between rules as far as they agree from the top. A fact is announced by a token
// that enters at every root whose template it has (kept per template, so that a fact meets no other root). A
// rule that is added while facts exist is primed with them through its own roots.
//
// Worked example: the rule r with the patterns (a (x ?v)) and (b (y ?v)) makes two roots, a join with the
// test x = y whose memories are keyed by x and y, and a terminal; its trace reads "r: +1+1+2+t". Tested in
// tests/matching.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "kb/common/Graph.h"
#include "kb/matching/ReteNodes.h"
#include "kb/values/KBTypes.h"

namespace kb {

class TReteNetwork final : public TGGraph {
 public:
  TReteNetwork(TInferenceEngine* engine, TModule* module) noexcept : engine_(engine), module_(module) {}
  ~TReteNetwork() override;

  /// Compiles the rule and primes it. A rule without patterns gets the initial-fact pattern. On an exception
  /// the rule leaves nothing behind. "Corrupted Binding, variable not found: %s", "Unknown variable name:
  /// %s", "Cannot use Function calls in backchained patterns: %s".
  void AddRule(TRule& rule);
  /// Frees the nodes that no other rule uses; activations are withdrawn.
  void RemoveRule(TRule& rule);
  [[nodiscard]] bool ContainsRule(const TRule& rule) const { return ruleNodes_.contains(&rule); }
  /// Runs a token through the roots; true when one let it through.
  bool ProcessToken(const IReteToken& token);
  bool ProcessTokenOneNode(const IReteToken& token, TReteNode& node);
  /// Primes roots with all facts of the module: each fact is taken out and put in again.
  void UpdateNodes(const std::vector<TReteNode*>& nodes);
  void Clear() override;
  /// The roots of a template take facts under its new name from now on; what they let through before stays.
  void RenameTemplate(std::string_view oldName, std::string_view newName);

  // Called by terminal nodes: the engine first, then the event.
  void Activate(const Ref<TActivation>& activation);
  void Deactivate(TActivation& activation);
  void RuleFired(TActivation& activation);

  [[nodiscard]] bool IsEnabled() const noexcept { return enabled_; }
  /// False clears the network; true does not rebuild it.
  void SetEnabled(bool value);
  [[nodiscard]] TInferenceEngine* GetEngine() const noexcept { return engine_; }
  void ClearEngine() noexcept { engine_ = nullptr; }
  [[nodiscard]] TModule* GetModule() const noexcept { return module_; }
  [[nodiscard]] int GetHashKey() const noexcept { return hashKey_; }
  /// Bucket count of the memories made from now on; at least 1.
  void SetHashKey(int value) noexcept { hashKey_ = value < 1 ? 1 : value; }
  [[nodiscard]] float GetMinActivationStrength() const noexcept { return minActivationStrength_; }
  void SetMinActivationStrength(float value) noexcept;
  [[nodiscard]] int GetRootCount() const noexcept { return static_cast<int>(roots_.size()); }
  [[nodiscard]] TReteNode& GetRoot(int index) const { return *roots_.at(static_cast<size_t>(index)); }
  /// Nodes that a rule uses, a shared one once for each use.
  [[nodiscard]] std::vector<TReteNode*> GetRuleNodes(const TRule& rule) const;
  /// One line for each node; the canonical dump that tests compare.
  [[nodiscard]] std::string ToString() const;

  using TActivationEvent = std::function<void(TReteNetwork&, TActivation&)>;
  TActivationEvent OnActivation;
  TActivationEvent OnDeactivation;
  TActivationEvent OnRuleFired;
  void ClearEvents() noexcept;

  /// The clear token must reach every node: what a handler raises on its way waits here for the end of the walk.
  [[nodiscard]] TDelayedError& GetClearError() noexcept { return clearError_; }

  // Kept by the nodes.
  void AddRoot(TReteNode& node);
  void RemoveRoot(TReteNode& node);

  /// Counts the walks under way; nodes removed meanwhile are freed when the last one ends.
  class TWalk {
   public:
    explicit TWalk(TReteNetwork& network) noexcept : network_(network) { ++network.walks_; }
    TWalk(const TWalk&) = delete;
    TWalk& operator=(const TWalk&) = delete;
    ~TWalk() {
      if (--network_.walks_ == 0) network_.graveyard_.clear();
    }

   private:
    TReteNetwork& network_;
  };

 private:
  friend class TReteCompiler;
  using TRoots = std::shared_ptr<const std::vector<TReteNode*>>;
  [[nodiscard]] TRoots RootsOf(const TFactTemplate& factTemplate);
  void InvalidateRoots() noexcept { rootsByLayout_.clear(); }
  void Discard(TReteNode& node);
  void RaiseClearError();
  void ReleaseNodes(std::vector<TReteNode*>& nodes);
  TReteNode& Insert(std::unique_ptr<TReteNode> node, TRule& rule);

  bool enabled_ = true;
  TInferenceEngine* engine_;
  TModule* module_;
  int hashKey_ = 101;
  float minActivationStrength_ = 0.0F;
  std::vector<TReteNode*> roots_;
  std::unordered_map<const TRule*, std::vector<TReteNode*>> ruleNodes_;
  std::unordered_map<uint64_t, TRoots> rootsByLayout_;  // roots that a template's facts enter
  uint64_t rootsEpoch_ = 0;
  int walks_ = 0;
  std::vector<std::unique_ptr<TGLinkedGraphNode>> graveyard_;
  TDelayedError clearError_;
};

}  // namespace kb
