// The compiler of one rule into a network, in four passes: pattern chains, variables repeated inside a
// pattern, joins, terminal and priming.
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "kb/matching/ReteNodes.h"

namespace kb {

class TReteCompiler {
 public:
  TReteCompiler(TReteNetwork& network, TRule& rule) noexcept : network_(network), rule_(rule) {}
  /// Raises EKBException when the rule cannot be compiled; nodes made so far stand in the rule's list.
  void Compile();

 private:
  void ProcessFirstPass();
  void ProcessSecondPass();
  void ProcessThirdPass();
  void ProcessFourthPass();

  // First pass.
  TReteNode* BuildChain(const TKBPattern& pattern, int index);
  TReteNode* ExtendByTest(TReteNode* end, const TKBPattern& pattern, int slot, const TKBPatternMatchTest& test,
                          int index);
  // Second pass.
  void CompareUses(int index, const TKBPattern& pattern, int slot, const TKBPatternMatchTest& use);
  // Third pass.
  [[nodiscard]] std::unique_ptr<TTestNode> MakeJoin(const TKBPattern& pattern);
  void AddTests(TTestNode& node, const TKBPattern& pattern, int index, int testCount);
  void AddVariableTest(TTestNode& node, const TKBText& slotName, const TKBPatternMatchTest& test, int position);
  void AddCallTest(TTestNode& node, const TKBPattern& pattern, const TKBPatternMatchTest& test, int index);
  [[nodiscard]] TJoinNode* FindShared(const TTestNode& node, TReteNode& left, TReteNode& right) const;
  TReteNode& PlaceJoin(std::unique_ptr<TTestNode> node, TKBPattern& pattern, bool asks, TReteNode& left,
                       TReteNode& right);

  /// Finds or makes the pattern node below `parent`, or among the roots.
  TReteNode* CreateSuccessor(TReteNode* parent, TPatternMatchTest test, const IKBValue& value,
                             TNodeArgsArray arguments);
  [[nodiscard]] TReteNode* FindSuccessor(TReteNode* parent, TPatternMatchTest test, const TKBValue* value,
                                         const TNodeArgsArray& arguments) const;
  /// A copy of the call in which variables are replaced by positions. A variable that only a later pattern
  /// binds is as unknown as one that none does: "Unknown variable name: %s".
  [[nodiscard]] IFunCall Evaluate(const TFunctionCall& call);
  [[nodiscard]] IKBValue EvaluateArgument(const IKBValue& argument);
  void Connect(TReteNode& from, TReteNode& to, TCallType callType);

  TReteNetwork& network_;
  TRule& rule_;
  std::vector<TReteNode*> roots_;
  std::vector<TReteNode*> tails_;
  int position_ = 0;  // place in the token of the pattern at work
};

/// True when the call, or one nested in it, reads a fact at another position than `index`.
[[nodiscard]] bool HasMorePatterns(const TFunctionCall& call, int index);

}  // namespace kb
