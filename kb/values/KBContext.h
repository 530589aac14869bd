// The environment in which values are resolved and functions run.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kb/common/Pool.h"
#include "kb/common/Text.h"
#include "kb/platform/Object.h"
#include "kb/values/FactTemplate.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBValue.h"

namespace kb {

/// Says where a variable gets its value from: a fact of a token, a slot of it, an element of a multislot.
class TBindingInfo : public TPersistent, public TPooled {
 public:
  TBindingInfo() = default;
  TBindingInfo(int factIndex, const TKBText& slotIndex, int subIndex);
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  /// Position of the pattern's fact in the token, or LocalBindingIndex.
  [[nodiscard]] int GetFactIndex() const noexcept { return factIndex_; }
  void SetFactIndex(int value) noexcept { factIndex_ = value; }
  /// Slot name, or SPatternBinding, SLocalBinding, SRuleBinding.
  [[nodiscard]] const TKBText& GetSlotIndex() const noexcept { return slot_.GetName(); }
  void SetSlotIndex(const TKBText& value);
  /// Element of a multislot, or NoSubIndex.
  [[nodiscard]] int GetSubIndex() const noexcept { return subIndex_; }
  void SetSubIndex(int value) noexcept { subIndex_ = value; }
  [[nodiscard]] bool IsPatternBinding() const noexcept { return isPattern_; }
  [[nodiscard]] bool IsLocalBinding() const noexcept { return isLocal_; }
  /// The slot, ready for reading from facts by position.
  [[nodiscard]] const TSlotRef& SlotRef() const noexcept { return slot_; }

  void Assign(const TPersistent& source) override;
  [[nodiscard]] bool Equals(const TBindingInfo& other) const noexcept;
  /// "FactIdx=0 SlotIdx=x", with " SubIdx=1" for an element.
  [[nodiscard]] virtual std::string ToString() const;

 private:
  int factIndex_ = LocalBindingIndex;
  int subIndex_ = NoSubIndex;
  TSlotRef slot_;
  bool isPattern_ = false;
  bool isLocal_ = false;
};

/// A named binding, with a value or without one.
class TBinding final : public TBindingInfo {
 public:
  TBinding(const TKBText& name, const IKBValue& value);
  TBinding(const TKBText& name, int factIndex, const TKBText& slotIndex, int subIndex);
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  [[nodiscard]] const TKBText& GetName() const noexcept { return name_; }
  void SetName(const TKBText& name) { name_ = name; }
  [[nodiscard]] const IKBValue& GetValue() const noexcept { return value_; }
  void SetValue(const IKBValue& value) { value_ = value; }

  void Assign(const TPersistent& source) override;
  [[nodiscard]] bool Equals(const TBinding& other) const;
  [[nodiscard]] std::string ToString() const override;

 private:
  TKBText name_;
  IKBValue value_;
};

enum TTableNotification { tnAdded, tnDeleted, tnCleared };

/// The bindings of one context, in order of insertion. Few in most contexts: found by a walk over hashes;
/// from 12 on by an index.
class TBindings {
 public:
  explicit TBindings(TKBContext& context) noexcept : context_(context) {}
  [[nodiscard]] TBinding* Find(const TKBText& name) const noexcept;
  /// Adds, or replaces the binding of that name; the context is told.
  TBinding& Put(std::unique_ptr<TBinding> binding);
  void Remove(const TKBText& name);
  void Clear();
  [[nodiscard]] int GetCount() const noexcept { return static_cast<int>(items_.size()); }
  [[nodiscard]] TBinding& Get(int index) const { return *ItemAt(items_, index); }

 private:
  [[nodiscard]] size_t IndexOf(const TKBText& name) const noexcept;
  void BuildIndex();
  TKBContext& context_;
  std::vector<std::unique_ptr<TBinding>> items_;
  std::unique_ptr<std::unordered_map<TKBText, size_t>> index_;
};

/// A table of named bindings with a link to a parent context, the engine, the current token and fact of the
/// matcher, and a pending return value. The engine's root context holds the global variables.
class TKBContext : public TPersistent, public TPooled {
 public:
  /// `parent` may be null and is not owned; it outlives this context.
  TKBContext(TKBContext* parent, TInferenceEngine* engine);
  ~TKBContext() override;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  [[nodiscard]] TInferenceEngine* GetEngine() const noexcept { return engine_; }
  [[nodiscard]] TKBContext* GetParent() const noexcept { return parent_; }
  [[nodiscard]] const TBindings& GetBindings() const noexcept { return bindings_; }

  /// First binding of the name here or in a parent, or null.
  [[nodiscard]] TBinding* FindBinding(const TKBText& name) const noexcept;
  /// In the root context alone.
  [[nodiscard]] TBinding* FindGlobalBinding(const TKBText& name) const noexcept;

  /// Replaces the value of the binding that FindBinding finds, at any level; else a new binding here.
  virtual void AddBinding(const TKBText& name, const IKBValue& value);
  /// A new binding here, in place of one of that name here.
  virtual void AddBinding(const TKBText& name, int factIndex, const TKBText& slotIndex, int subIndex);
  /// A new binding here whatever the parents hold: the one that shadows.
  virtual void AddLocalBinding(const TKBText& name, const IKBValue& value);
  virtual void AddGlobalBinding(const TKBText& name, const IKBValue& value);

  /// Value of a name; "Unknown variable name: %s" without a binding.
  [[nodiscard]] IKBValue GetVariable(std::string_view name) const;
  /// Replaces the value here if the name is bound here, else AddBinding.
  virtual void SetVariable(const TKBText& name, const IKBValue& value);

  /// A new context with this one as parent, same engine, same token and fact.
  [[nodiscard]] virtual std::unique_ptr<TKBContext> Push();
  /// Hands the return flag and value to the parent and gives the parent; gives this context without one.
  virtual TKBContext* Pop();

  [[nodiscard]] bool IsReturning() const noexcept { return returning_; }
  [[nodiscard]] const IKBValue& GetReturnValue() const noexcept { return returnValue_; }
  virtual void SetReturnValue(const IKBValue& value);
  /// Clears the flag only.
  virtual void ClearReturnValue() noexcept { returning_ = false; }
  /// Frees the bindings of this level, then one tnCleared notification.
  virtual void Clear();
  virtual void Notify(TBinding* binding, TTableNotification notification);

  /// Copies the return flag and a clone of the return value, no bindings.
  void Assign(const TPersistent& source) override;

  // Token and fact of the matcher. Held as plain pointers: whoever sets them keeps them alive and clears them.
  [[nodiscard]] TKBToken* GetToken() const noexcept { return token_; }
  void SetToken(TKBToken* token) noexcept { token_ = token; }
  [[nodiscard]] TFact* GetFact() const noexcept { return fact_; }
  void SetFact(TFact* fact) noexcept { fact_ = fact; }

  /// Resolves every slot of the fact in place and gives the same fact. Multifields are expanded, values of fuzzy slots
  /// become fuzzy values (see TFuzzyExpression, "Invalid Fuzzy Expression: %s" for several in a single slot). Raises
  /// "Fact Template is missing".
  IFact Resolve(const IFact& fact);
  /// A new vector of the resolved elements, multifields spliced in. Too deep nesting raises ERecursionError.
  [[nodiscard]] IValueVector ExpandList(const TValueVector& list);
  /// The same flattening without resolving; elements are shared.
  [[nodiscard]] IValueVector FlattenList(const TValueVector& list) const;

 private:
  [[nodiscard]] IKBValue ResolveFuzzy(const TFactSlot& slot, const IKBValue& value);

  bool returning_ = false;
  IKBValue returnValue_;
  TInferenceEngine* engine_;
  TBindings bindings_;
  TKBContext* parent_;
  TFact* fact_ = nullptr;
  TKBToken* token_ = nullptr;
};

/// Sets a context's token and fact and puts the former ones back at the end of the scope.
class TContextMatchScope {
 public:
  TContextMatchScope(TKBContext& context, TKBToken* token, TFact* fact) noexcept
      : context_(context), token_(context.GetToken()), fact_(context.GetFact()) {
    context.SetToken(token);
    context.SetFact(fact);
  }
  TContextMatchScope(const TContextMatchScope&) = delete;
  TContextMatchScope& operator=(const TContextMatchScope&) = delete;
  ~TContextMatchScope() {
    context_.SetToken(token_);
    context_.SetFact(fact_);
  }

 private:
  TKBContext& context_;
  TKBToken* token_;
  TFact* fact_;
};

}  // namespace kb
