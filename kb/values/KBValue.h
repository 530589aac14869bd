// The universal value.
//
// A TKBValue is a tagged cell of 32 bytes: every slot, argument, result, binding, default and literal is one. Texts
// are shared (TKBText), composite contents are counted references, and the rare parts (tag, change event, link to an
// owned component) sit in a side record that most values never have. Values are reached through IKBValue.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "kb/common/Pool.h"
#include "kb/common/Text.h"
#include "kb/platform/Object.h"
#include "kb/values/KBTypes.h"

namespace kb {

using TKBValueChangeEvent = std::function<void(const IKBValue&)>;

class TKBValue : public RefCounted, public TPooled {
 public:
  /// The empty value, dtNone.
  TKBValue() noexcept;
  /// `type` must be in KBIntegerTypes; "Value and type mismatch" otherwise.
  TKBValue(int32_t value, TKBType type);
  /// `type` must be in KBStringTypes; "Value and type mismatch" otherwise.
  TKBValue(const TKBText& text, TKBType type);
  explicit TKBValue(double value) noexcept;
  /// These share the object that they are given.
  explicit TKBValue(const IValueVector& list) noexcept;
  explicit TKBValue(const Ref<IFuzzySet>& set) noexcept;
  explicit TKBValue(const IFact& fact) noexcept;
  explicit TKBValue(const IFunCall& call) noexcept;
  explicit TKBValue(const ISingletonsVector& singletons) noexcept;
  /// A copy by the interface form of Assign: a list gets its own vector.
  explicit TKBValue(const IKBValue& other);
  /// A host object; owned ones are freed with the value or at its next change.
  TKBValue(TObject* object, bool owned);
  explicit TKBValue(const TClassInfo* classInfo) noexcept;
  ~TKBValue() override;

  [[nodiscard]] TKBType GetDType() const noexcept { return type_; }
  [[nodiscard]] bool Is(TKBType type) const noexcept { return type_ == type; }

  // Getters. One that cannot serve the present type raises EKBException
  // "Not a %s type.  Value (%s) is a %s type"; the value is unchanged.

  /// Text types: the bare text; integer: decimal; float: four decimals; fuzzy: text of the set.
  [[nodiscard]] TKBText GetAsString() const;
  [[nodiscard]] TKBText GetAsAtom() const { return GetAsString(); }
  [[nodiscard]] TKBText GetAsVariable() const { return GetAsString(); }
  [[nodiscard]] TKBText GetAsMultiVariable() const { return GetAsString(); }
  [[nodiscard]] TKBText GetAsSlot() const { return GetAsString(); }
  [[nodiscard]] TKBText GetAsMultiSlot() const { return GetAsString(); }
  /// Integer types and addresses: the number; float: cut towards zero; atom, string: parsed; fuzzy: crisp, rounded.
  [[nodiscard]] int32_t GetAsInteger() const;
  /// Float and integer types: the number; atom, string: parsed (0.0 for FCNil); fuzzy: crisp.
  [[nodiscard]] double GetAsNumeric() const;
  [[nodiscard]] double GetAsFloat() const { return GetAsNumeric(); }
  [[nodiscard]] int32_t GetAsDescriptor() const;
  [[nodiscard]] void* GetAsExternalAddress() const;
  [[nodiscard]] int32_t GetAsFactId() const;
  [[nodiscard]] IFact GetAsFact() const;
  [[nodiscard]] IFunCall GetAsFunCall() const;
  [[nodiscard]] IValueVector GetAsList() const;
  /// Null also for a component or other THostObject that has gone; comparing and printing go on as before.
  [[nodiscard]] TObject* GetAsObject() const;
  [[nodiscard]] TObject* GetAsOwnedObject() const { return GetAsObject(); }
  [[nodiscard]] const TClassInfo* GetAsClass() const;
  [[nodiscard]] Ref<IFuzzySet> GetAsFuzzy() const;
  [[nodiscard]] ISingletonsVector GetAsSingletons() const;

  // Contents without a count, for hot paths; null unless the type is right.
  [[nodiscard]] TValueVector* ListOrNull() const noexcept;
  [[nodiscard]] TFunctionCall* FunCallOrNull() const noexcept;
  /// The text of a text type, empty otherwise; not valid beyond the next change of the value.
  [[nodiscard]] std::string_view TextView() const noexcept;
  /// The position that a compiled variable stands for, or null (a dtObject value holding a TBindingInfo).
  [[nodiscard]] TBindingInfo* BindingInfoOrNull() const noexcept;

  // Setters: Changing, store, set the type, Changed. A shared constant raises EKBException.
  virtual void SetAsAtom(const TKBText& text);
  virtual void SetAsString(const TKBText& text);
  virtual void SetAsVariable(const TKBText& name);
  virtual void SetAsMultiVariable(const TKBText& name);
  virtual void SetAsSlot(const TKBText& name);
  virtual void SetAsMultiSlot(const TKBText& name);
  virtual void SetAsInteger(int32_t value);
  virtual void SetAsFactId(int32_t id);
  virtual void SetAsDescriptor(int32_t value);
  virtual void SetAsFloat(double value);
  virtual void SetAsFunCall(const IFunCall& call);
  virtual void SetAsFact(const IFact& fact);
  virtual void SetAsList(const IValueVector& list);
  virtual void SetAsSingletons(const ISingletonsVector& singletons);
  virtual void SetAsFuzzy(const Ref<IFuzzySet>& set);
  /// Stores a reference that the value does not own.
  virtual void SetAsObject(TObject* object);
  /// Takes the object over; a component that is destroyed elsewhere leaves the value dtNone.
  virtual void SetAsOwnedObject(TObject* object);
  virtual void SetAsClass(const TClassInfo* classInfo);
  virtual void SetAsExternalAddress(void* address);

  [[nodiscard]] bool IsOwningObject() const noexcept { return owning_; }

  /// Copies content and tag; a list, call, fact, set is shared with the source (except that a copy of a shared constant
  /// gets its own list), an owned object is copied
  /// ("Uncloneable value.  Value owned an object of &s class type" when it cannot be).
  virtual void Assign(const TKBValue& source);
  /// The same, but a list gets a clone of the vector.
  void AssignInterface(const TKBValue& source);
  /// Calls the target's setter for this value's type; a list is cloned, the tag is not copied.
  void AssignTo(TKBValue& target) const;
  /// A new value of this class by Assign; a clone of a list shares the vector with its source.
  [[nodiscard]] virtual IKBValue Clone() const;

  /// Strict equality: type and content; floats within 0.0001. A fuzzy value asks its set.
  [[nodiscard]] virtual bool Equals(const TKBValue* other) const;
  /// Loose equality: `other` is converted to this value's type; an impossible conversion raises.
  [[nodiscard]] virtual bool EqualsStar(const TKBValue* other) const;
  /// Equal values of equal hash meet in a bucket; a float hashes as its truncated integer.
  [[nodiscard]] int32_t GetHashCode() const {
    if (KBStringTypes.Has(type_)) return TKBText::HashOf(content_.text);
    return type_ == dtInteger ? content_.integer : GetOtherHashCode();
  }

  /// The printed form. Nesting beyond the stack raises ERecursionError.
  [[nodiscard]] std::string ToString() const { return GetToString(); }
  /// Hash of ToString; no text is built for atoms, strings, numbers and lists of them.
  [[nodiscard]] TTextHash PrintedHash() const;
  /// Same answer as comparing the two ToString; no text is built for values of one simple type.
  [[nodiscard]] bool PrintsLike(const TKBValue& other) const;

  /// What this value stands for in `context`: variables, calls, compiled bindings and singletons are evaluated, any
  /// other value is its own result, without a copy.
  [[nodiscard]] virtual IKBValue Resolve(TKBContext* context);

  /// Empties the value to dtNone; an owned object is freed. Tag and OnChange stay; Changed is not called.
  virtual void Reset();

  [[nodiscard]] intptr_t GetTag() const noexcept;
  virtual void SetTag(intptr_t tag);
  [[nodiscard]] TKBValueChangeEvent GetOnChange() const;
  void SetOnChange(TKBValueChangeEvent event);

  /// Number of values alive in the process, shared constants included; counted in debug builds only, else 0.
  [[nodiscard]] static int64_t LiveCount() noexcept;

 protected:
  [[nodiscard]] virtual std::string GetToString() const;
  /// Runs before every change: releases what the value holds.
  virtual void Changing(TKBType newType);
  /// Runs after every change: fires OnChange.
  virtual void Changed();

 private:
  class TNexus;
  struct TExtra;
  union TContent {
    TKBText::Rep* text;
    int32_t integer;
    double number;
    RefCounted* reference;
    TObject* object;
    const TClassInfo* classInfo;
    void* address;
  };

  void BeginChange(TKBType newType);
  void CheckMutable() const;
  void SetText(const TKBText& text, TKBType type);
  void SetNumber(int32_t value, TKBType type);
  void SetReference(RefCounted* object, TKBType type);
  void StoreObject(TObject* object, bool owned);
  void DropContent() noexcept;
  void CopyContent(const TKBValue& source);
  void CopyOwnedObject(const TKBValue& source);
  void CopyTag(const TKBValue& source);
  [[nodiscard]] Ref<RefCounted> HeldReference() const noexcept;
  [[nodiscard]] TKBText SharedText() const noexcept;
  [[nodiscard]] std::string GetLosslessString() const;
  [[noreturn]] void RaiseNotA(std::string_view word) const;
  [[nodiscard]] TObject* ObjectOrNull() const noexcept;
  [[nodiscard]] const TClassInfo* ObjectClass() const noexcept;
  [[nodiscard]] int32_t GetOtherHashCode() const;
  [[nodiscard]] IKBValue ResolveBinding(const TBindingInfo& binding, TKBContext& context) const;
  [[nodiscard]] IKBValue ResolveSingletons(TKBContext* context) const;
  TExtra& Extra();

  TKBType type_ = dtNone;
  bool owning_ = false;
  bool bindingInfo_ = false;  // the object is a TBindingInfo; spares a cast on every resolve
  TContent content_{.address = nullptr};
  std::unique_ptr<TExtra> extra_;
};

// The shared constants. Identity matters: FCNil and FCEmptyString are two objects. They are never counted and
// cannot be changed.
extern const IKBValue FCTrue;
extern const IKBValue FCFalse;
extern const IKBValue FCEmptyString;
extern const IKBValue FCNil;
extern const IKBValue FCNilList;
extern const IKBValue FCCatch;
extern const IKBValue FCFinally;
extern const IKBValue FCExcept;
extern const IKBValue FCElse;
extern const IKBValue FCDo;
extern const IKBValue FCEOF;
extern const IKBValue FCThen;
extern const IKBValue FCPI;
extern const IKBValue FCZero;
extern const IKBValue FCPopFocus;

/// True for the shared constants except FCPopFocus, by identity.
[[nodiscard]] bool IsValueConstant(const TKBValue* value) noexcept;

// Short ways to make values.
[[nodiscard]] inline IKBValue MakeAtom(const TKBText& text) { return MakeRef<TKBValue>(text, dtAtom); }
[[nodiscard]] inline IKBValue MakeString(const TKBText& text) { return MakeRef<TKBValue>(text, dtString); }
[[nodiscard]] inline IKBValue MakeInteger(int32_t value) { return MakeRef<TKBValue>(value, dtInteger); }
[[nodiscard]] inline IKBValue MakeFactId(int32_t id) { return MakeRef<TKBValue>(id, dtFactId); }
[[nodiscard]] inline IKBValue MakeFloat(double value) { return MakeRef<TKBValue>(value); }
[[nodiscard]] inline const IKBValue& MakeBoolean(bool value) { return value ? FCTrue : FCFalse; }

}  // namespace kb
