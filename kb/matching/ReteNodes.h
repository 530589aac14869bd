// The nodes of the network.
//
// Pattern nodes test one fact; join nodes combine a chain with the next fact and remember both sides; test
// nodes run predicates on a chain; a terminal node turns a complete chain into an activation. A token walks
// depth first: a child runs to completion, with everything below it, before the next child is called, and the
// order of children is the order in which their edges were made.
//
// A node that is removed while tokens are on the way (a handler or a function in a test may do that) is taken
// out of the graph at once, marked dead, and freed when the walk has ended.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "kb/common/Graph.h"
#include "kb/common/HashIndex.h"
#include "kb/language/KBPatternTest.h"
#include "kb/matching/ActivationAgenda.h"
#include "kb/matching/KBSlotTest.h"
#include "kb/matching/KBToken.h"
#include "kb/matching/KBTokenTree.h"
#include "kb/values/KBContext.h"

namespace kb {

class TReteNetwork;
class TReteNode;

/// The input of a node that an edge feeds.
enum TCallType : uint8_t { ctLeft, ctRight, ctSingle, ctActivate };

class TReteEdge final : public TGGraphEdge {
 public:
  TReteEdge(TReteNode& from, TReteNode& to, TCallType callType) noexcept;
  [[nodiscard]] TCallType GetCallType() const noexcept { return callType_; }
  [[nodiscard]] TReteNode& GetToNode() const noexcept;

 private:
  TCallType callType_;
};

class TReteNode : public TGLinkedGraphNode {
 public:
  explicit TReteNode(TReteNetwork& network);
  ~TReteNode() override;

  /// A token arrives. True when it got through the node.
  virtual bool CallNode(const IReteToken& token, TCallType callType) = 0;
  [[nodiscard]] TReteNetwork& GetRete() const noexcept { return network_; }
  /// Number of rule uses; the node is freed when it falls to 0.
  [[nodiscard]] int GetRuleUseCount() const noexcept { return ruleUseCount_; }
  void SetRuleUseCount(int value) noexcept { ruleUseCount_ = value < 0 ? 0 : value; }
  /// The node's own context, below the engine's.
  [[nodiscard]] TKBContext& GetContext() const noexcept { return *context_; }
  [[nodiscard]] TReteEdge& GetReteEdge(int index) const { return static_cast<TReteEdge&>(GetEdge(index)); }
  /// A dead node has left the network and passes nothing.
  [[nodiscard]] bool IsDead() const noexcept { return dead_; }
  virtual void MarkDead() noexcept { dead_ = true; }
  /// For dumps: "name In/Out#: 1/2 RuleUse: 1" and what the descendant adds.
  [[nodiscard]] virtual std::string ToString() const;

 protected:
  /// Passes the token to every child in the order of the edges.
  void CallChildren(const IReteToken& token);
  [[nodiscard]] virtual std::string_view NodeName() const noexcept = 0;
  void AddingEdgeFrom(TGLinkedGraphNode& from) override;
  void RemovingEdgeFrom(TGLinkedGraphNode& from) override;

 private:
  TReteNetwork& network_;
  int ruleUseCount_ = 1;
  bool dead_ = false;
  std::unique_ptr<TKBContext> context_;
};

/// The one test that a pattern node makes.
enum TPatternMatchTest : uint8_t {
  pmtUnknown,
  pmtTestClassType,
  pmtTestEqual,
  pmtTestNotEqual,
  pmtTestSlotValueEqual,
  pmtTestSlotValueNotEqual,
  pmtTestMultiSlotEqual,
  pmtTestMultiSlotNotEqual,
  pmtTestMultiSlotLength,
  pmtTestMultiSlotMultiField,
  pmtFailTest
};

/// Arguments of a pattern test: slot names and positions.
using TNodeArgument = std::variant<int, TKBText>;
using TNodeArgsArray = std::vector<TNodeArgument>;

class TPatternMatchNode final : public TReteNode {
 public:
  TPatternMatchNode(TReteNetwork& network, TPatternMatchTest test, const IKBValue& value, TNodeArgsArray arguments);
  bool CallNode(const IReteToken& token, TCallType callType) override;

  [[nodiscard]] TPatternMatchTest GetPatternMatchTest() const noexcept { return test_; }
  [[nodiscard]] const IKBValue& GetValue() const noexcept { return value_; }
  /// The criterion of sharing; `value` may be null.
  [[nodiscard]] bool Equals(TPatternMatchTest test, const TKBValue* value, const TNodeArgsArray& arguments) const;
  /// True when the template or one of its ancestors has the name that this root asks for.
  [[nodiscard]] bool MatchesTemplate(const TFactTemplate& factTemplate) const;
  /// A root of that template goes over to the new name.
  void RenameTemplate(std::string_view oldName, std::string_view newName);
  [[nodiscard]] std::string ToString() const override;

 protected:
  [[nodiscard]] std::string_view NodeName() const noexcept override { return "PatternMatchNode"; }

 private:
  bool RunTest(const IReteToken& token);
  bool TestValue(const IReteToken& token, TKBValue* slotValue, bool invert);
  bool TestSlots(const IReteToken& token, bool invert);
  bool TestLength(const IReteToken& token);
  bool ExpandMultiField(const IReteToken& token);
  bool PassIf(const IReteToken& token, bool passed);
  /// The comparison step; a fuzzy match lowers the token's strength.
  bool Compare(const IReteToken& token, const TKBValue& value, const TKBValue& slotValue, bool invert);
  [[nodiscard]] int Position(size_t argument) const;

  IKBValue value_;
  TNodeArgsArray arguments_;
  TPatternMatchTest test_;
  TSlotRef slot_;        // argument 0
  TSlotRef secondSlot_;  // argument 1 of the comparisons of two slots
};

/// A node with tests on a chain.
class TTestNode : public TReteNode {
 public:
  using TReteNode::TReteNode;
  bool CallNode(const IReteToken& token, TCallType callType) override;
  void AddTest(std::unique_ptr<TKBSlotTest> test) { tests_.push_back(std::move(test)); }
  void ClearTests() noexcept { tests_.clear(); }
  void DeleteTest(int index);
  [[nodiscard]] int GetTestCount() const noexcept { return static_cast<int>(tests_.size()); }
  [[nodiscard]] const TKBSlotTest& GetTest(int index) const { return *tests_.at(static_cast<size_t>(index)); }
  /// Runs the tests on a token without an arriving fact.
  [[nodiscard]] bool RunTests(const IReteToken& token);
  /// Same class and the same tests in any order, none of them a call.
  [[nodiscard]] virtual bool Equals(const TReteNode& other) const;
  [[nodiscard]] std::string ToString() const override;

 protected:
  [[nodiscard]] std::string_view NodeName() const noexcept override { return "TestNode"; }
  /// All tests in order, in the node's context as it stands.
  [[nodiscard]] bool PerformTests() const;
  [[nodiscard]] std::vector<std::unique_ptr<TKBSlotTest>>& Tests() noexcept { return tests_; }

 private:
  std::vector<std::unique_ptr<TKBSlotTest>> tests_;
};

/// Combines chains (left) with tokens of the next pattern (right). With an equality test among its tests both
/// memories are keyed by the compared values, so that a token meets only partners whose key has the same
/// hash. A negated join passes a chain on only while no right token matches it, by counting.
class TJoinNode final : public TTestNode {
 public:
  TJoinNode(TReteNetwork& network, int memorySize) : TTestNode(network), memorySize_(memorySize) {}
  bool CallNode(const IReteToken& token, TCallType callType) override;
  [[nodiscard]] bool Equals(const TReteNode& other) const override;

  [[nodiscard]] bool IsNegatedPattern() const noexcept { return negated_; }
  void SetNegatedPattern(bool value) noexcept { negated_ = value; }
  [[nodiscard]] bool IsUnique() const noexcept { return unique_; }
  void SetUnique(bool value) noexcept { unique_ = value; }
  /// The backward-chaining pattern and its rule, for which the join asks; raises "Invalid backward chaining
  /// pattern added to the node".
  void SetPattern(TKBPattern* pattern, TRule* rule);
  [[nodiscard]] TKBPattern* GetPattern() const noexcept { return pattern_; }
  /// Chooses the equality test that keys the memories, among those that `keyable` admits, and those that refine the
  /// key, and makes the memories.
  void PrepareShortCut(const std::function<bool(const TKBJoinTest&)>& keyable);
  [[nodiscard]] bool HasShortCut() const noexcept { return shortCut_; }
  /// Makes the memories or empties them.
  void ClearMemory();
  [[nodiscard]] const TKBTokenTree* GetLeftMemory() const noexcept { return left_.get(); }
  [[nodiscard]] const TKBTokenTree* GetRightMemory() const noexcept { return right_.get(); }
  [[nodiscard]] std::string ToString() const override;

 protected:
  [[nodiscard]] std::string_view NodeName() const noexcept override { return "JoinNode"; }

 private:
  void LeftToken(const IReteToken& token);
  void RightToken(const IReteToken& token);
  void RunTestsVaryRight(const IReteToken& token, const TMemoryKey& key, TTokenAction tag);
  void RunTestsVaryLeft(const IReteToken& token, const TMemoryKey& key);
  void AddNegatedLeft(const IReteToken& token, const TMemoryKey& key);
  void RemoveNegatedLeft(const IReteToken& token, const TMemoryKey& key);
  void PassNull(const IReteToken& token, TTokenAction tag, float strength);
  void PassCombined(const IReteToken& left, const IReteToken& right, TTokenAction tag);
  [[nodiscard]] bool PassesWith(TKBContext& context, TFact* right) const;
  void CollectKeyParts();
  void Block(const IReteToken& left, const IReteToken& blocker);
  /// The tokens of the other side that may fit.
  template <class F>
  void Scan(const TKBTokenTree& memory, const TMemoryKey& key, F&& visit);
  void AskForBackChain(const IReteToken& token);

  bool negated_ = false;
  bool unique_ = false;
  bool shortCut_ = false;
  int passCount_ = 0;  // tokens passed on for the left token at work
  int memorySize_;
  std::unique_ptr<TKBTokenTree> right_;
  std::unique_ptr<TKBTokenTree> left_;
  TKBPattern* pattern_ = nullptr;
  TRule* rule_ = nullptr;
  const TKBJoinTest* keyTest_ = nullptr;  // the first test, when the memories are keyed
  std::vector<TKeyPart> leftParts_;       // of the further equality tests, which refine the key
  std::vector<TKeyPart> rightParts_;
};

/// The end of a rule: makes activations and withdraws them.
class TPatternMatchTerminalNode final : public TReteNode {
 public:
  TPatternMatchTerminalNode(TReteNetwork& network, TRule& rule) : TReteNode(network), rule_(&rule) {}
  ~TPatternMatchTerminalNode() override;
  bool CallNode(const IReteToken& token, TCallType callType) override;

  [[nodiscard]] TRule* GetRule() const noexcept { return rule_; }
  /// Once true, update tokens make no activation.
  void SetInitialized(bool value) noexcept { initialized_ = initialized_ || value; }
  [[nodiscard]] bool IsInitialized() const noexcept { return initialized_; }
  /// Null when the rule is not enabled or has had its one shot.
  Ref<TActivation> AddActivation(const IReteToken& token);
  /// Takes the activation from the list and tells the network.
  void Deactivate(TActivation& activation);
  /// Lists an activation that the terminal has not made, so that a retraction finds it.
  void Adopt(TActivation& activation) noexcept;
  /// The clone takes the place of `old` in the list.
  void Replace(TActivation& old, TActivation& clone);
  void RuleFired(TActivation& activation);
  /// Withdraws all activations, last first; or the first one with an equal token. Constant on average.
  void StandDown();
  void StandDown(const TKBToken& token);
  void MarkDead() noexcept override;
  [[nodiscard]] int GetActivationCount() const noexcept { return static_cast<int>(index_.Size()); }
  /// In order of arrival; linear.
  [[nodiscard]] TActivation* GetActivation(int index) const noexcept;
  [[nodiscard]] std::string ToString() const override;

 protected:
  [[nodiscard]] std::string_view NodeName() const noexcept override { return "TerminalNode"; }

 private:
  void Link(TActivation& activation) noexcept;
  bool Unlink(TActivation& activation) noexcept;

  bool initialized_ = false;
  TRule* rule_;
  TActivation* first_ = nullptr;
  TActivation* last_ = nullptr;
  uint64_t arrivals_ = 0;
  THashIndex<TActivation> index_;  // by token
};

}  // namespace kb
