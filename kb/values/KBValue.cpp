// Making, changing, copying and resolving values. Comparison, hashing and printing: KBValueCompare.cpp.
//
// A value is a tag and one machine word. By the tag the word is a plain number or pointer, a share of a text, or a
// share of a counted object; StorageOf tells which, and it is the only place that does. Every change runs the same
// steps: refuse on a shared constant, Changing (drops what is held), store, Changed (tells the host).
//
// Tested in tests/values/KBValueTest.cpp.
#include "kb/values/KBValue.h"

#include <array>
#include <typeinfo>

#include "kb/common/Helpers.h"
#include "kb/common/LiveCount.h"
#include "kb/functions/KBPackages.h"
#include "kb/fuzzy/KBFuzzyLogic.h"
#include "kb/matching/KBToken.h"
#include "kb/platform/Component.h"
#include "kb/platform/Reflection.h"
#include "kb/values/Fact.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBContext.h"
#include "kb/values/KBHelperFunctions.h"
#include "kb/values/ValueVector.h"

namespace kb {
namespace {

/// How the content of a value of some type is kept.
enum class TStorage : uint8_t { Plain, Text, Reference };

constexpr TKBTypes kReferenceTypes{dtFunCall, dtFact, dtList, dtSingletons, dtFuzzy};

[[nodiscard]] constexpr TStorage StorageOf(TKBType type) noexcept {
  if (KBStringTypes.Has(type)) return TStorage::Text;
  return kReferenceTypes.Has(type) ? TStorage::Reference : TStorage::Plain;
}

TLiveCount liveValues;

}  // namespace

int64_t TKBValue::LiveCount() noexcept { return liveValues.Get(); }

/// Watches the component that a value owns, so that its end elsewhere empties the value.
class TKBValue::TNexus final : public TComponent {
 public:
  TNexus(TKBValue& value, TComponent& component) : TComponent(nullptr), value_(value), component_(component) {
    component.FreeNotification(*this);
  }
  ~TNexus() override {
    if (!component_.IsDestroying()) component_.RemoveFreeNotification(*this);
  }
  void Notification(TComponent& component, TOperation operation) override {
    // The value drops this nexus: nothing may follow.
    if (operation == opRemove && &component == &component_) value_.Reset();
  }

 private:
  TKBValue& value_;
  TComponent& component_;
};

/// What few values have; it keeps the others at 32 bytes.
struct TKBValue::TExtra {
  intptr_t tag = 0;
  TKBValueChangeEvent onChange;
  std::unique_ptr<TNexus> nexus;
  TWeakRef<THostObject> watched;            // the object of a dtObject value, where it tells of its end
  const TClassInfo* objectClass = nullptr;  // and its class, which is printed also when it has gone
};

TObject* TKBValue::ObjectOrNull() const noexcept {
  return type_ != dtObject || (extra_ && extra_->watched.HasGone()) ? nullptr : content_.object;
}

const TClassInfo* TKBValue::ObjectClass() const noexcept {
  if (extra_ && extra_->objectClass != nullptr) return extra_->objectClass;
  return content_.object == nullptr ? nullptr : &ClassOf(*content_.object);
}

TKBValue::TExtra& TKBValue::Extra() {
  if (!extra_) extra_ = std::make_unique<TExtra>();
  return *extra_;
}

TKBValue::TKBValue() noexcept { liveValues.Add(1); }

TKBValue::TKBValue(int32_t value, TKBType type) : type_(type) {
  if (!KBIntegerTypes.Has(type)) throw EKBException(TKBMessage::ValueTypeMismatch);
  content_.integer = value;
  liveValues.Add(1);
}

TKBValue::TKBValue(const TKBText& text, TKBType type) : type_(type) {
  if (!KBStringTypes.Has(type)) throw EKBException(TKBMessage::ValueTypeMismatch);
  content_.text = TKBText(text).Detach();
  liveValues.Add(1);
}

TKBValue::TKBValue(double value) noexcept : type_(dtFloat) {
  content_.number = value;
  liveValues.Add(1);
}

TKBValue::TKBValue(const IValueVector& list) noexcept : type_(dtList) {
  content_.reference = IValueVector(list).Detach();
  liveValues.Add(1);
}

TKBValue::TKBValue(const Ref<IFuzzySet>& set) noexcept : type_(dtFuzzy) {
  content_.reference = Ref<IFuzzySet>(set).Detach();
  liveValues.Add(1);
}

TKBValue::TKBValue(const IFact& fact) noexcept : type_(dtFact) {
  content_.reference = IFact(fact).Detach();
  liveValues.Add(1);
}

TKBValue::TKBValue(const IFunCall& call) noexcept : type_(dtFunCall) {
  content_.reference = IFunCall(call).Detach();
  liveValues.Add(1);
}

TKBValue::TKBValue(const ISingletonsVector& singletons) noexcept : type_(dtSingletons) {
  content_.reference = ISingletonsVector(singletons).Detach();
  liveValues.Add(1);
}

TKBValue::TKBValue(const IKBValue& other) : TKBValue() {
  if (other) AssignInterface(*other);
}

TKBValue::TKBValue(TObject* object, bool owned) : TKBValue() { StoreObject(object, owned); }

TKBValue::TKBValue(const TClassInfo* classInfo) noexcept : type_(dtClass) {
  content_.classInfo = classInfo;
  liveValues.Add(1);
}

TKBValue::~TKBValue() {
  DropContent();
  liveValues.Add(-1);
}

// ---- change

void TKBValue::CheckMutable() const {
  if (IsImmortal()) throw EKBException(TKBMessage::SharedConstant);
}

void TKBValue::BeginChange(TKBType newType) {
  CheckMutable();
  Changing(newType);
}

void TKBValue::Changing(TKBType /*newType*/) { DropContent(); }

void TKBValue::Changed() {
  if (!extra_ || !extra_->onChange) return;
  // A copy: the handler may replace the event while it runs.
  const TKBValueChangeEvent event = extra_->onChange;
  event(IKBValue(this));
}

void TKBValue::DropContent() noexcept {
  const TStorage storage = StorageOf(type_);
  const TContent content = content_;
  const bool owning = owning_;
  // The value is empty before anything is freed: a destructor may look at it.
  type_ = dtNone;
  owning_ = false;
  bindingInfo_ = false;
  content_.address = nullptr;
  if (storage == TStorage::Text) {
    TKBText::DropRep(content.text);
  } else if (storage == TStorage::Reference) {
    if (content.reference != nullptr) content.reference->Release();
  } else if (owning) {
    const bool gone = extra_ && extra_->watched.HasGone();
    auto* component = gone ? nullptr : dynamic_cast<TComponent*>(content.object);
    const bool dying = gone || (component != nullptr && component->IsDestroying());
    if (extra_) extra_->nexus.reset();
    if (!dying) delete content.object;
  }
  if (extra_) {
    extra_->watched = {};
    extra_->objectClass = nullptr;
  }
}

void TKBValue::SetText(const TKBText& text, TKBType type) {
  TKBText copy(text);
  BeginChange(type);
  content_.text = copy.Detach();
  type_ = type;
  Changed();
}

void TKBValue::SetNumber(int32_t value, TKBType type) {
  BeginChange(type);
  content_.integer = value;
  type_ = type;
  Changed();
}

void TKBValue::SetReference(RefCounted* object, TKBType type) {
  Ref<RefCounted> copy(object);
  BeginChange(type);
  content_.reference = copy.Detach();
  type_ = type;
  Changed();
}

void TKBValue::StoreObject(TObject* object, bool owned) {
  if (owning_ && object == content_.object) return;
  BeginChange(dtObject);
  content_.object = object;
  type_ = dtObject;
  bindingInfo_ = dynamic_cast<TBindingInfo*>(object) != nullptr;
  owning_ = owned && object != nullptr;
  if (auto* host = dynamic_cast<THostObject*>(object)) {
    Extra().watched = host;
    Extra().objectClass = &ClassOf(*host);
  }
  auto* component = owning_ ? dynamic_cast<TComponent*>(object) : nullptr;
  if (component != nullptr) Extra().nexus = std::make_unique<TNexus>(*this, *component);
  Changed();
}

void TKBValue::SetAsAtom(const TKBText& text) { SetText(text, dtAtom); }
void TKBValue::SetAsString(const TKBText& text) { SetText(text, dtString); }
void TKBValue::SetAsVariable(const TKBText& name) { SetText(name, dtVariable); }
void TKBValue::SetAsMultiVariable(const TKBText& name) { SetText(name, dtMultiVariable); }
void TKBValue::SetAsSlot(const TKBText& name) { SetText(name, dtSlot); }
void TKBValue::SetAsMultiSlot(const TKBText& name) { SetText(name, dtMultiSlot); }
void TKBValue::SetAsInteger(int32_t value) { SetNumber(value, dtInteger); }
void TKBValue::SetAsFactId(int32_t id) { SetNumber(id, dtFactId); }
void TKBValue::SetAsDescriptor(int32_t value) { SetNumber(value, dtDescriptor); }
void TKBValue::SetAsFunCall(const IFunCall& call) { SetReference(call.Get(), dtFunCall); }
void TKBValue::SetAsFact(const IFact& fact) { SetReference(fact.Get(), dtFact); }
void TKBValue::SetAsList(const IValueVector& list) { SetReference(list.Get(), dtList); }
void TKBValue::SetAsSingletons(const ISingletonsVector& singletons) { SetReference(singletons.Get(), dtSingletons); }
void TKBValue::SetAsFuzzy(const Ref<IFuzzySet>& set) { SetReference(set.Get(), dtFuzzy); }
void TKBValue::SetAsObject(TObject* object) { StoreObject(object, false); }
void TKBValue::SetAsOwnedObject(TObject* object) { StoreObject(object, true); }

void TKBValue::SetAsFloat(double value) {
  BeginChange(dtFloat);
  content_.number = value;
  type_ = dtFloat;
  Changed();
}

void TKBValue::SetAsClass(const TClassInfo* classInfo) {
  BeginChange(dtClass);
  content_.classInfo = classInfo;
  type_ = dtClass;
  Changed();
}

void TKBValue::SetAsExternalAddress(void* address) {
  BeginChange(dtExternalAddress);
  content_.address = address;
  type_ = dtExternalAddress;
  Changed();
}

void TKBValue::Reset() { BeginChange(dtNone); }

intptr_t TKBValue::GetTag() const noexcept { return extra_ ? extra_->tag : 0; }

void TKBValue::SetTag(intptr_t tag) {
  CheckMutable();
  if (tag != GetTag()) Extra().tag = tag;
}

TKBValueChangeEvent TKBValue::GetOnChange() const { return extra_ ? extra_->onChange : TKBValueChangeEvent(); }

void TKBValue::SetOnChange(TKBValueChangeEvent event) {
  CheckMutable();
  if (event || extra_) Extra().onChange = std::move(event);
}

// ---- copies

Ref<RefCounted> TKBValue::HeldReference() const noexcept {
  return StorageOf(type_) == TStorage::Reference ? Ref<RefCounted>(content_.reference) : Ref<RefCounted>();
}

void TKBValue::CopyTag(const TKBValue& source) {
  if (source.GetTag() != GetTag()) Extra().tag = source.GetTag();
}

/// Takes over what `source` holds; this value is empty. Constant but for owned objects: contents are shared.
void TKBValue::CopyContent(const TKBValue& source) {
  if (source.owning_) {
    CopyOwnedObject(source);
    return;
  }
  TContent content = source.content_;
  if (StorageOf(source.type_) == TStorage::Text) {
    TKBText::RetainRep(content.text);
  } else if (StorageOf(source.type_) == TStorage::Reference && content.reference != nullptr) {
    if (source.type_ == dtList && source.IsImmortal()) {
      // The vector of a shared constant stays its own: what is added to the copy must not turn up elsewhere.
      content.reference = source.ListOrNull()->Clone().Detach();
    } else {
      content.reference->AddRef();
    }
  }
  content_ = content;
  type_ = source.type_;
  bindingInfo_ = source.bindingInfo_;
  if (source.type_ == dtObject && source.extra_ && source.extra_->objectClass != nullptr) {
    Extra().watched = source.extra_->watched;
    Extra().objectClass = source.extra_->objectClass;
  }
}

void TKBValue::CopyOwnedObject(const TKBValue& source) {
  CheckMutable();
  if (source.ObjectOrNull() == nullptr) return StoreObject(nullptr, false);
  // The class makes the new object: its constructor's arguments are its own affair.
  TObject& object = *source.content_.object;
  const TClassInfo& info = ClassOf(object);
  TPersistent* copy = nullptr;
  if (auto* component = dynamic_cast<TComponent*>(&object)) {
    if (info.createComponent != nullptr) copy = info.createComponent(component->GetOwner());
  } else if (info.createPersistent != nullptr) {
    copy = info.createPersistent().release();
  }
  if (copy == nullptr) throw EKBException(TKBMessage::UncloneableValue);
  SetAsOwnedObject(copy);
  try {
    // A class without a description of its own would come out as its ancestor.
    const TPersistent& made = *copy;
    if (typeid(made) != typeid(object)) throw EKBException(TKBMessage::UncloneableValue);
    copy->Assign(static_cast<const TPersistent&>(object));
  } catch (...) {
    Reset();
    throw;
  }
}

void TKBValue::Assign(const TKBValue& source) {
  if (&source == this) return;
  // The source may live inside what this value gives up.
  const Ref<RefCounted> keep = HeldReference();
  Reset();
  CopyTag(source);
  CopyContent(source);
  Changed();
}

void TKBValue::AssignInterface(const TKBValue& source) {
  const TValueVector* list = source.ListOrNull();
  if (list == nullptr) {
    Assign(source);
    return;
  }
  Ref<TValueVector> clone = list->Clone();
  const Ref<RefCounted> keep = HeldReference();
  Reset();
  CopyTag(source);
  content_.reference = clone.Detach();
  type_ = dtList;
  Changed();
}

void TKBValue::AssignTo(TKBValue& target) const {
  if (&target == this) return;
  const Ref<RefCounted> keep = target.HeldReference();
  switch (type_) {
    case dtNone:
      return target.Reset();
    case dtAtom:
      return target.SetAsAtom(SharedText());
    case dtString:
      return target.SetAsString(SharedText());
    case dtInteger:
      return target.SetAsInteger(content_.integer);
    case dtVariable:
      return target.SetAsVariable(SharedText());
    case dtFactId:
      return target.SetAsFactId(content_.integer);
    case dtFloat:
      return target.SetAsFloat(content_.number);
    case dtFunCall:
      return target.SetAsFunCall(GetAsFunCall());
    case dtFact:
      return target.SetAsFact(GetAsFact());
    case dtList:
      return target.SetAsList(ListOrNull() != nullptr ? ListOrNull()->Clone() : nullptr);
    case dtDescriptor:
      return target.SetAsDescriptor(content_.integer);
    case dtObject:
      return owning_ ? target.CopyOwnedObject(*this) : target.SetAsObject(ObjectOrNull());
    case dtClass:
      return target.SetAsClass(content_.classInfo);
    case dtExternalAddress:
      return target.SetAsExternalAddress(content_.address);
    case dtSingletons:
      return target.SetAsSingletons(GetAsSingletons());
    case dtFuzzy:
      return target.SetAsFuzzy(GetAsFuzzy());
    case dtMultiVariable:
      return target.SetAsMultiVariable(SharedText());
    case dtSlot:
      return target.SetAsSlot(SharedText());
    case dtMultiSlot:
      return target.SetAsMultiSlot(SharedText());
  }
}

IKBValue TKBValue::Clone() const {
  auto result = MakeRef<TKBValue>();
  // As Assign does, but the new value has nothing to give up and nobody to tell.
  result->CopyTag(*this);
  result->CopyContent(*this);
  return result;
}

// ---- resolving

IKBValue TKBValue::Resolve(TKBContext* context) {
  switch (type_) {
    case dtVariable:
    case dtMultiVariable: {
      if (context == nullptr) throw EKBException(TKBMessage::NoContext, {std::string(GetKBTypeName(type_))});
      const TBinding* binding = context->FindBinding(SharedText());
      if (binding != nullptr && binding->GetValue()) return binding->GetValue();
      throw EKBException(TKBMessage::CorruptedBinding, {std::string(TextView())});
    }
    case dtFunCall: {
      if (context == nullptr) throw EKBException(TKBMessage::NoContext, {std::string(GetKBTypeName(type_))});
      // The call may change this value while it runs.
      const IFunCall call(FunCallOrNull());
      return call ? call->Execute(*context) : IKBValue(this);
    }
    case dtObject:
      if (!bindingInfo_) return IKBValue(this);
      if (context == nullptr) throw EKBException(TKBMessage::NoContext, {std::string(GetKBTypeName(type_))});
      return ResolveBinding(static_cast<const TBindingInfo&>(*content_.object), *context);
    case dtSingletons:
      return ResolveSingletons(context);
    default:
      return IKBValue(this);
  }
}

/// The value of a compiled variable. Runs for every variable of every test in the network: no names, no
/// allocation but for a fact's id.
IKBValue TKBValue::ResolveBinding(const TBindingInfo& binding, TKBContext& context) const {
  const TKBToken* token = context.GetToken();
  const int count = token != nullptr ? token->GetCount() : 0;
  const int index = binding.GetFactIndex();
  const TFact* fact = index == count ? context.GetFact() : nullptr;
  if (fact == nullptr && token != nullptr && index >= 0) fact = token->Facts(index);
  if (fact == nullptr) RaiseListIndex(index);
  if (binding.IsPatternBinding()) return MakeFactId(fact->GetID());
  TKBValue* value = fact->FindValue(binding.SlotRef());
  if (value == nullptr) throw EKBException(TKBMessage::NoSuchSlotName, {binding.GetSlotIndex().ToString()});
  if (binding.GetSubIndex() == NoSubIndex) return IKBValue(value);
  const TValueVector* list = value->ListOrNull();
  if (list == nullptr) value->RaiseNotA("list");
  const IKBValue& element = list->Get(binding.GetSubIndex());
  return element ? element : FCNil;
}

/// The set of the pairs.
IKBValue TKBValue::ResolveSingletons(TKBContext* context) const {
  const ISingletonsVector pairs = GetAsSingletons();
  const Ref<IFuzzySet> set = MakeRef<TKBFuzzySet>(nullptr, std::string_view());
  set->SetParser(dynamic_cast<IFuzzyParser*>(pairs->GetParser()));
  const auto number = [context](const IKBValue& value) {
    const IKBValue resolved = value ? value->Resolve(context) : FCNil;
    return resolved->GetAsNumeric();
  };
  for (int i = 0; i < pairs->GetCount(); ++i) {
    const double x = number(pairs->GetXValues(i));
    set->AddPoint(x, number(pairs->GetYValues(i)));
  }
  set->SetExpression(set->GetValuesToString());
  return MakeRef<TKBValue>(set);
}

}  // namespace kb
