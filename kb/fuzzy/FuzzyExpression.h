// Fuzzy expressions: from values as the language writes them to fuzzy sets.
//
// An expression is infix: term names, numbers, coordinates, calls and variables stand for sets; hedges ("very") are
// prefixes; keywords ("and", "or" and their kin) stand between two sets, operators ("limited-to" and their kin)
// between a set and a number. Hedges bind first, then keywords and operators, all of one strength, from the left;
// "[" and "]" group. Where no operator joins two operands a new expression begins: "hot very cold" is two values.
//
// Without a context, variables and calls have no value yet. What holds one comes back as it was written, to be
// evaluated when its fact is resolved.
//
// Cost: linear in the expression; terms are looked up by name and shared, not copied, until a hedge changes them.
// Tested in tests/fuzzy/ExpressionTest.cpp.
#pragma once

#include <string_view>
#include <vector>

#include "kb/values/KBFuzzyInterfaces.h"
#include "kb/values/KBTypes.h"

namespace kb {

class TFuzzyExpression {
 public:
  /// `parser` is what new sets print through; `variable` and `context` may be null.
  TFuzzyExpression(IFuzzyParser* parser, const Ref<IFuzzyVariable>& variable, TKBContext* context)
      : parser_(parser), variable_(variable), context_(context) {}

  /// A fuzzy value, a list of them for several expressions, FCNilList for an empty list, the value itself where
  /// it cannot be evaluated yet, FCNil for a type that is no operand when there is no context. Null and the empty
  /// text give the empty set. Raises "fuzzy variable is not defined", "Invalid item in fuzzy expression: %s",
  /// "Missing Fuzzy Close Bracket in expression", "Missing fuzzy operand to be modified by hedge: %s".
  [[nodiscard]] IKBValue Evaluate(const IKBValue& value);
  [[nodiscard]] IKBValue Evaluate(const TValueVector& list);

 private:
  struct TElement;
  struct TOperand;
  using TGroup = std::vector<TElement>;

  [[nodiscard]] IKBValue EvaluateForm(const IKBValue& value);
  [[nodiscard]] IKBValue TermOf(std::string_view text);
  [[nodiscard]] IKBValue SpikeAt(const TKBValue& number);
  [[nodiscard]] IKBValue Attached(const IKBValue& value) const;
  [[nodiscard]] std::vector<TGroup> ToPostfix(const TValueVector& list);
  [[nodiscard]] IKBValue EvaluateGroup(const TGroup& group);
  static void Apply(const TElement& element, std::vector<TOperand>& stack);

  IFuzzyParser* parser_;
  Ref<IFuzzyVariable> variable_;
  TKBContext* context_;
};

}  // namespace kb
