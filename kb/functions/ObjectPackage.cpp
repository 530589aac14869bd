#include "kb/functions/ObjectPackage.h"

#include <limits>

#include "kb/engine/InferenceEngine.h"
#include "kb/functions/BuiltinFunction.h"
#include "kb/functions/FunctionHelpers.h"
#include "kb/platform/Action.h"
#include "kb/platform/Reflection.h"

namespace kb {
namespace {

TObject* ObjectArgument(const TFunctionCall& call, int index, TKBContext& context) {
  return call.Evaluate(index, context)->GetAsObject();
}

IKBValue MakeObject(TObject* object) { return MakeRef<TKBValue>(object, false); }

// Null for no object; raises EInvalidCast for one of another class.
template <class T>
T* CastArgument(const TFunctionCall& call, int index, TKBContext& context) {
  TObject* object = ObjectArgument(call, index, context);
  T* result = dynamic_cast<T*>(object);
  if (object != nullptr && result == nullptr) {
    throw EInvalidCast("Invalid class typecast: " + std::string(object->ClassName()) + " is no " +
                       std::string(T::StaticClass().name));
  }
  return result;
}

// The component to search: the first argument if it is given, else the owner of the engine.
TComponent& ComponentToSearch(const TFunctionCall& call, bool isGiven, TKBContext& context) {
  TComponent* component = isGiven ? CastArgument<TComponent>(call, 0, context) : EngineOf(context).GetOwner();
  if (component == nullptr) throw EKBException(TKBMessage::ExpectedComponent, {call.GetName().ToString()});
  return *component;
}

// Rules may free what they created, and what a host leaves to them; not what the engine itself stands on.
bool MayFree(TObject& object, TInferenceEngine& engine) {
  for (const TComponent* owner = &engine; owner != nullptr; owner = owner->GetOwner()) {
    if (owner == &object) return false;
  }
  return dynamic_cast<RefCounted*>(&object) == nullptr && dynamic_cast<TRule*>(&object) == nullptr &&
         dynamic_cast<TFactSet*>(&object) == nullptr;
}

IKBValue CreateObjectFunction(TFunctionCall& call, TKBContext& context) {
  const TClassInfo* info = call.Evaluate(0, context)->GetAsClass();
  if (info == nullptr) throw EClassNotFound("No class to create an object of");
  return MakeObject(CreateObject(*info).release());
}

IKBValue FreeObject(TFunctionCall& call, TKBContext& context) {
  for (int i = 0; i < call.GetArgumentCount(); ++i) {
    const IKBValue value = call.Evaluate(i, context);
    if (value->Is(dtNone)) continue;
    TObject* object = value->GetAsObject();
    if (object == nullptr) continue;
    if (!MayFree(*object, EngineOf(context))) {
      throw EKBException(TKBMessage::CannotFree, {std::string(object->ClassName())});
    }
    if (value->IsOwningObject()) {
      value->Reset();
    } else {
      const std::unique_ptr<TObject> freed(object);
    }
  }
  return FCTrue;
}

IKBValue GetClassFunction(TFunctionCall& call, TKBContext& context) {
  return MakeRef<TKBValue>(&GetClass(TextArgument(call, 0, context).View()));
}

IKBValue IsClass(TFunctionCall& call, TKBContext& context) {
  const TObject* object = ObjectArgument(call, 0, context);
  const TClassInfo* info = call.Evaluate(1, context)->GetAsClass();
  return MakeBoolean(object != nullptr && info != nullptr && ClassOf(*object).InheritsFrom(*info));
}

IKBValue GetComponent(TFunctionCall& call, TKBContext& context) {
  const int count = call.GetArgumentCount();
  TComponent* found = nullptr;
  if (count == 0) {
    found = EngineOf(context).GetOwner();
  } else {
    TComponent& component = ComponentToSearch(call, count == 2, context);
    found = component.FindComponent(TextArgument(call, count - 1, context).View());
  }
  return found == nullptr ? FCFalse : MakeObject(found);
}

IKBValue GetComponents(TFunctionCall& call, TKBContext& context) {
  TComponent& component = ComponentToSearch(call, call.GetArgumentCount() > 0, context);
  auto list = MakeRef<TValueVector>();
  for (int i = 0; i < component.GetComponentCount(); ++i) list->Add(MakeObject(component.GetComponent(i)));
  return MakeRef<TKBValue>(list);
}

IKBValue OrdinalValue(const TPropertyInfo& property, const TObject& object) {
  const int64_t ordinal = property.GetOrdinal(object);
  if (!std::in_range<int32_t>(ordinal)) throw EMathError("Integer overflow");
  return MakeInteger(static_cast<int32_t>(ordinal));
}

IKBValue ReadProperty(const TPropertyInfo& property, const TObject& object) {
  switch (property.GetKind()) {
    case tkFloat:
      return MakeFloat(property.GetFloat(object));
    case tkInteger:
    case tkInt64:
      return OrdinalValue(property, object);
    case tkChar:
    case tkString:
    case tkSet:
      return MakeString(property.GetText(object));
    case tkEnumeration:
      return MakeAtom(property.GetText(object));
    case tkClass:
      return MakeObject(property.GetObject(object));
    case tkMethod:
      break;
  }
  property.RaiseKind();
}

// The value is evaluated only for a property that can take one.
void WriteProperty(const TPropertyInfo& property, TObject& object, const IKBValue& value) {
  switch (property.GetKind()) {
    case tkFloat:
      return property.SetFloat(object, value->GetAsFloat());
    case tkInteger:
    case tkInt64:
      return property.SetOrdinal(object, value->GetAsInteger());
    case tkChar:
    case tkString:
    case tkEnumeration:
    case tkSet:
      return property.SetText(object, value->GetAsString().View());
    case tkClass:
      return property.SetObject(object, IsConstant(value, FCNil) ? nullptr : value->GetAsObject());
    case tkMethod:
      return;
  }
}

IKBValue GetPropertyFunction(TFunctionCall& call, TKBContext& context) {
  const TObject* object = ObjectArgument(call, 0, context);
  if (object == nullptr || GetProperties(*object) == nullptr) return FCFalse;
  const auto property = FindProperty(*object, TextArgument(call, 1, context).View());
  return property == nullptr ? FCNil : ReadProperty(*property, *object);
}

IKBValue GetPropertiesFunction(TFunctionCall& call, TKBContext& context) {
  const TObject* object = ObjectArgument(call, 0, context);
  const auto properties = object == nullptr ? nullptr : GetProperties(*object);
  if (properties == nullptr) return FCFalse;
  auto list = MakeRef<TValueVector>();
  for (const TPropertyInfo& property : *properties) list->Add(MakeAtom(property.GetName()));
  return MakeRef<TKBValue>(list);
}

IKBValue SetPropertyFunction(TFunctionCall& call, TKBContext& context) {
  const IKBValue held = call.Evaluate(0, context);
  const TObject* object = held->GetAsObject();
  if (object == nullptr) return FCFalse;
  const auto property = FindProperty(*object, TextArgument(call, 1, context).View());
  if (property == nullptr) return FCFalse;
  const IKBValue value = call.Evaluate(2, context);
  // The evaluation may have freed the object.
  TObject* target = held->GetAsObject();
  if (target == nullptr) return FCFalse;
  WriteProperty(*property, *target, value);
  return FCTrue;
}

IKBValue ExecuteAction(TFunctionCall& call, TKBContext& context) {
  auto* action = CastArgument<TBasicAction>(call, 0, context);
  return MakeBoolean(action != nullptr && action->Execute());
}

const TBuiltin kObjectFunctions[] = {
    {"create-object", " <TClass-expression>", 1, 1,
     "Returns a new object of the class; it lives until free-object or the host frees it", CreateObjectFunction},
    {"free-object", " <TObject-expression>*", 1, kAny,
     "Frees the objects; values that refer to them hold no object from then on. Returns TRUE", FreeObject},
    {"get-class", " <class-name>", 1, 1, "Returns the class that is registered under the name", GetClassFunction},
    {"is-class", " <TObject-expression> <TClass-expression>", 2, 2,
     "Returns TRUE if the object is of the class or of a descendant", IsClass},
    {"get-component", " [[<TComponent-expression>] <component-name>]", 0, 2,
     "Returns the component of that name in the component, or in the owner of the engine; without arguments that "
     "owner. "
     "FALSE if there is none",
     GetComponent},
    {"get-components", " [<TComponent-expression>]", 0, 1,
     "Returns the components in the component, or in the owner of the engine, as a multifield", GetComponents},
    {"get-property", " <TObject-expression> <property-name>", 2, 2,
     "Returns the value of the property, nil for an unknown one, FALSE without an object", GetPropertyFunction},
    {"get-properties", " <TObject-expression>", 1, 1,
     "Returns the names of the object's properties as a multifield, FALSE if it has none", GetPropertiesFunction},
    {"set-property", " <TObject-expression> <property-name> <expression>", 3, 3,
     "Sets the property. Returns TRUE, or FALSE for an unknown property or without an object", SetPropertyFunction},
    {"execute-action", " <TBasicAction-expression>", 1, 1, "Runs the action. Returns TRUE if it has done something",
     ExecuteAction},
};

}  // namespace

const TClassInfo& TObjectPackage::StaticClass() noexcept {
  static const TClassInfo info{"TObjectPackage", &TUserPackage::StaticClass(), nullptr, &NewPackage<TObjectPackage>};
  return info;
}

void TObjectPackage::CreateFunctions() {
  TUserPackage::CreateFunctions();
  AddBuiltins(*this, kObjectFunctions);
}

}  // namespace kb
