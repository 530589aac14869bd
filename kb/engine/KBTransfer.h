// Copies of what hangs on one engine or module, made for another one.
#pragma once

#include "kb/values/KBTypes.h"

namespace kb {

/// Copies values, calls, facts, slots, templates and types for an engine. Their structure is copied and not
/// their text, which rounds numbers. What is found by name, functions, templates and defined types, is bound
/// to what bears the name in the target.
class TTransfer {
 public:
  enum TLookup : uint8_t {
    tlCurrentModule,  ///< names mean constructs of the module in focus; for the constructs of one module
    tlHomeModule,     ///< of the module of the same name as the source's home; for what belongs to no module
  };
  TTransfer(TInferenceEngine& target, TLookup lookup) noexcept : target_(target), lookup_(lookup) {}

  /// Null stays null, a shared constant itself. Deep nesting raises ERecursionError.
  [[nodiscard]] IKBValue Value(const IKBValue& value) const;
  [[nodiscard]] IFunCall Call(const TFunctionCall& call) const;
  [[nodiscard]] IValueVector List(const TValueVector& list) const;
  /// Id and tag included. A template that the target lacks is copied and added to the module in focus.
  [[nodiscard]] IFact Fact(const TFact& fact) const;
  /// What the target has in the place of the template, or null.
  [[nodiscard]] IFactTemplate FindTemplate(const TFactTemplate& factTemplate) const;
  /// Not registered; at home in the module in focus, without parent.
  [[nodiscard]] IFactTemplate Template(const TFactTemplate& factTemplate) const;
  /// Not registered; at home in the module in focus, without ancestor.
  [[nodiscard]] IKBDefinedType Type(const TKBDefinedType& type) const;
  [[nodiscard]] IInterpretedFunction Function(const TInterpretedFunction& function) const;

 private:
  [[nodiscard]] IFactSlot Slot(const TFactSlot& slot) const;
  [[nodiscard]] IKBValue FuzzyValue(const TKBValue& value) const;

  TInferenceEngine& target_;
  TLookup lookup_;
};

}  // namespace kb
