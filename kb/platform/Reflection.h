// Classes and properties of host objects, so that rules can create, inspect, read and set them.
//
// A host describes a class once, with its properties as pointers to members, or as pairs of getter and setter:
//
//   class TMachine : public kb::TComponent { ... double temperature; int GetLoad() const; void SetLoad(int); TState state; };
//
//   kb::RegisterClass<TMachine>("TMachine",
//       kb::Property("Temperature", &TMachine::temperature),
//       kb::Property("Load", &TMachine::GetLoad, &TMachine::SetLoad),
//       kb::Property("State", &TMachine::state, {"idle", "running", "stopped"}),
//       kb::Property("Alarms", [](const TMachine& machine) { return machine.Alarms(); }));   // read-only
//   kb::RegisterClass<TPress, TMachine>("TPress", ...);   // adds to the properties of TMachine
//
// The kind of a property follows from the C++ type of its value:
//
//   float, double                    tkFloat
//   integers up to 32 bits signed    tkInteger, written within the range of the type
//   wider integers                   tkInt64
//   char, char8_t, char16_t, char32_t, wchar_t    tkChar, one character
//   std::string, std::string_view, const char*, TKBText    tkString
//   an enumeration with names        tkEnumeration; the names stand for the values from 0 on
//   bool                             tkEnumeration of the names FALSE and TRUE
//   TEnumSet of an enumeration, with names    tkSet, as the text "[idle,stopped]"
//   a pointer to a TObject           tkClass; the pointer is not owned
//   std::function                    tkMethod, which is listed but neither read nor written
//
// Anything else does not compile. A member that is const or only views a text, and a getter without a setter, make a
// property read-only.
//
// The registry belongs to the process; any thread may register and look up. Objects are used by one thread at a time.
#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeindex>
#include <utility>
#include <variant>
#include <vector>

#include "kb/common/EnumSet.h"
#include "kb/common/Text.h"
#include "kb/platform/ClassRegistry.h"
#include "kb/platform/Component.h"
#include "kb/platform/Exceptions.h"

namespace kb {

/// A class that is not registered, or one that cannot be registered or created as asked.
class EClassNotFound : public EException {
 public:
  using EException::EException;
};

/// A property that is not what it is used as, or a value that does not fit it.
class EPropertyError : public EException {
 public:
  using EException::EException;
};

enum TTypeKind : uint8_t { tkInteger, tkInt64, tkFloat, tkChar, tkString, tkEnumeration, tkSet, tkClass, tkMethod };
/// The name of the enumerator, such as "tkSet".
[[nodiscard]] std::string_view GetTypeKindName(TTypeKind kind) noexcept;

/// One property of a class. Operations that the kind does not offer raise EPropertyError "Invalid property type: %s"
/// with the name of the kind; writing a read-only property raises "Property %s is read-only".
class TPropertyInfo {
 public:
  /// What a value is kept as: float; integer, character, enumeration and set (by bits); string; object.
  using TData = std::variant<double, int64_t, std::string, TObject*>;
  using TReader = std::function<TData(const TObject&)>;
  using TWriter = std::function<void(TObject&, const TData&, const TPropertyInfo&)>;

  /// Made by RegisterClass. `write` is empty for a read-only property.
  TPropertyInfo(std::string name, TTypeKind kind, TReader read, TWriter write, std::vector<std::string> names)
      : name_(std::move(name)),
        kind_(kind),
        read_(std::move(read)),
        write_(std::move(write)),
        names_(std::move(names)) {}

  [[nodiscard]] const std::string& GetName() const noexcept { return name_; }
  [[nodiscard]] TTypeKind GetKind() const noexcept { return kind_; }
  [[nodiscard]] bool IsReadOnly() const noexcept { return !write_; }
  /// The names of an enumeration or set, by ordinal.
  [[nodiscard]] const std::vector<std::string>& GetNames() const noexcept { return names_; }

  // Each takes an object of the class that the property belongs to.

  [[nodiscard]] double GetFloat(const TObject& object) const;
  /// Integers, the ordinal of an enumeration, the bits of a set, the code point of a character.
  [[nodiscard]] int64_t GetOrdinal(const TObject& object) const;
  /// Strings, characters, the name of an enumeration's value (its number when it has none), the text of a set.
  [[nodiscard]] std::string GetText(const TObject& object) const;
  [[nodiscard]] TObject* GetObject(const TObject& object) const;

  void SetFloat(TObject& object, double value) const;
  /// Raises EPropertyError for a number that the type does not hold, or that has no name.
  void SetOrdinal(TObject& object, int64_t value) const;
  /// Names are compared without regard to case; a set is written as names with commas between them, in brackets or
  /// without. Raises EPropertyError for an unknown name and for a text that is not one character.
  void SetText(TObject& object, std::string_view text) const;
  /// Null is allowed. Raises EInvalidCast for an object of another class.
  void SetObject(TObject& object, TObject* value) const;

  [[noreturn]] void RaiseKind() const;
  [[noreturn]] void RaiseValue(std::string_view text) const;

 private:
  void Write(TObject& object, const TData& data) const;
  [[nodiscard]] int64_t OrdinalOf(std::string_view name) const;
  [[nodiscard]] int64_t SetOf(std::string_view text) const;
  [[nodiscard]] std::string SetText(int64_t bits) const;

  std::string name_;
  TTypeKind kind_;
  TReader read_;
  TWriter write_;
  std::vector<std::string> names_;
};

using TPropertyList = std::vector<TPropertyInfo>;

// ---- Asking

/// The class of that name; raises EClassNotFound "Class %s not found".
[[nodiscard]] const TClassInfo& GetClass(std::string_view name);
/// The most derived known class of an object: the registered one, or what the object says of itself.
[[nodiscard]] const TClassInfo& ClassOf(const TObject& object) noexcept;
/// A new object of the class, without an owner, that belongs to the caller. Raises EClassNotFound "Class %s cannot be
/// created" for an abstract class or one without a plain constructor.
[[nodiscard]] std::unique_ptr<TObject> CreateObject(const TClassInfo& info);
/// The properties of the object's class, those of its ancestors first, in the order of registration; null for a class
/// without type information. An object of a class that is not registered has those of its nearest registered ancestor.
[[nodiscard]] std::shared_ptr<const TPropertyList> GetProperties(const TObject& object);
/// The property of that name, without regard to case, or null.
[[nodiscard]] std::shared_ptr<const TPropertyInfo> FindProperty(const TObject& object, std::string_view name);

// ---- Registering

namespace reflection {

template <class T>
concept TCharacter = std::same_as<T, char> || std::same_as<T, char8_t> || std::same_as<T, char16_t> ||
    std::same_as<T, char32_t> || std::same_as<T, wchar_t>;
template <class T>
concept TInteger = std::integral<T> && !TCharacter<T> && !std::same_as<T, bool>;
template <class T>
concept TString = std::same_as<T, std::string> || std::same_as<T, std::string_view> || std::same_as<T, const char*> ||
    std::same_as<T, TKBText>;
template <class T>
concept TObjectPointer = std::is_pointer_v<T> && std::derived_from<std::remove_cv_t<std::remove_pointer_t<T>>, TObject>;
template <class T>
inline constexpr bool kIsEnumSet = false;
template <class E>
inline constexpr bool kIsEnumSet<TEnumSet<E>> = true;
template <class T>
inline constexpr bool kIsFunction = false;
template <class F>
inline constexpr bool kIsFunction<std::function<F>> = true;
template <class T>
inline constexpr bool kUnknown = false;

template <class V>
constexpr TTypeKind KindOf() {
  if constexpr (std::same_as<V, bool> || std::is_enum_v<V>) {
    return tkEnumeration;
  } else if constexpr (TCharacter<V>) {
    return tkChar;
  } else if constexpr (TInteger<V>) {
    return std::in_range<int32_t>(std::numeric_limits<V>::max()) ? tkInteger : tkInt64;
  } else if constexpr (std::floating_point<V>) {
    return tkFloat;
  } else if constexpr (TString<V>) {
    return tkString;
  } else if constexpr (kIsEnumSet<V>) {
    return tkSet;
  } else if constexpr (TObjectPointer<V>) {
    return tkClass;
  } else if constexpr (kIsFunction<V>) {
    return tkMethod;
  } else {
    static_assert(kUnknown<V>, "a property cannot have a value of this type");
  }
}

template <TCharacter V>
using TCodeUnit = std::make_unsigned_t<
    std::conditional_t<sizeof(V) == 1, unsigned char, std::conditional_t<sizeof(V) == 2, uint16_t, uint32_t>>>;

template <class V>
TPropertyInfo::TData ToData(const V& value) {
  if constexpr (TCharacter<V>) {
    return static_cast<int64_t>(static_cast<TCodeUnit<V>>(value));
  } else if constexpr (std::integral<V> || std::is_enum_v<V>) {
    return static_cast<int64_t>(value);
  } else if constexpr (std::floating_point<V>) {
    return static_cast<double>(value);
  } else if constexpr (std::same_as<V, TKBText>) {
    return value.ToString();
  } else if constexpr (std::same_as<V, const char*>) {
    return std::string(value == nullptr ? "" : value);
  } else if constexpr (TString<V>) {
    return std::string(value);
  } else if constexpr (kIsEnumSet<V>) {
    return static_cast<int64_t>(value.Bits());
  } else if constexpr (TObjectPointer<V>) {
    return static_cast<TObject*>(const_cast<std::remove_cv_t<std::remove_pointer_t<V>>*>(value));
  } else {
    return int64_t{0};
  }
}

template <class V>
V FromData(const TPropertyInfo::TData& data, const TPropertyInfo& property) {
  if constexpr (TCharacter<V>) {
    const int64_t ordinal = std::get<int64_t>(data);
    if (!std::in_range<TCodeUnit<V>>(ordinal)) property.RaiseValue(std::to_string(ordinal));
    return static_cast<V>(ordinal);
  } else if constexpr (TInteger<V>) {
    const int64_t ordinal = std::get<int64_t>(data);
    if (!std::in_range<V>(ordinal)) property.RaiseValue(std::to_string(ordinal));
    return static_cast<V>(ordinal);
  } else if constexpr (std::same_as<V, bool> || std::is_enum_v<V>) {
    return static_cast<V>(std::get<int64_t>(data));  // checked against the names
  } else if constexpr (std::floating_point<V>) {
    return static_cast<V>(std::get<double>(data));
  } else if constexpr (std::same_as<V, const char*>) {
    return std::get<std::string>(data).c_str();  // for the time of the setter
  } else if constexpr (TString<V>) {
    return V(std::get<std::string>(data));
  } else if constexpr (kIsEnumSet<V>) {
    return V::FromBits(static_cast<uint32_t>(std::get<int64_t>(data)));
  } else {
    TObject* object = std::get<TObject*>(data);
    V target = dynamic_cast<V>(object);
    if (target == nullptr && object != nullptr) {
      throw EInvalidCast("Invalid class typecast: property " + property.GetName() + " does not take a " +
                         std::string(ClassOf(*object).name));
    }
    return target;
  }
}

/// Stands for the setter of a read-only property.
struct TNoSetter {};

/// A property before its class is known.
template <class Getter, class Setter>
struct TPropertySpec {
  std::string name;
  Getter get;
  Setter set;
  std::vector<std::string> names;
};

/// Reads and writes a member by its pointer.
template <class C, class V>
struct TMemberAccess {
  V C::*member;
  void operator()(C& object, std::remove_const_t<V> value) const { object.*member = std::move(value); }
};

inline std::vector<std::string> NamesOf(std::initializer_list<std::string_view> names) {
  return std::vector<std::string>(names.begin(), names.end());
}

/// What the registry takes of a class.
struct TClassDraft {
  std::string_view name;
  std::type_index type;
  std::type_index baseType;
  const TClassInfo& said;  // what the class or its nearest ancestor says of itself
  std::unique_ptr<TPersistent> (*createPersistent)();
  TComponent* (*createComponent)(TComponent*);
  bool (*isInstance)(const TObject&);
  TPropertyList properties;
};
const TClassInfo& AddClass(TClassDraft draft);

template <class T, class Getter, class Setter>
TPropertyInfo Bind(TPropertySpec<Getter, Setter> spec) {
  static_assert(std::invocable<const Getter&, const T&>, "a getter takes a const object of the class");
  using V = std::remove_cvref_t<std::invoke_result_t<const Getter&, const T&>>;
  constexpr TTypeKind kind = KindOf<V>();
  if constexpr (std::same_as<V, bool>) spec.names = {"FALSE", "TRUE"};
  if ((kind == tkEnumeration || kind == tkSet) && spec.names.empty()) {
    throw EPropertyError("Property " + spec.name + " needs the names of its values");
  }
  TPropertyInfo::TReader read = [get = std::move(spec.get)](const TObject& object) {
    return ToData<V>(std::invoke(get, static_cast<const T&>(object)));
  };
  TPropertyInfo::TWriter write;
  if constexpr (!std::same_as<Setter, TNoSetter> && kind != tkMethod) {
    static_assert(std::invocable<const Setter&, T&, V>, "a setter takes an object of the class and the value");
    write = [set = std::move(spec.set)](TObject& object, const TPropertyInfo::TData& data,
                                        const TPropertyInfo& property) {
      std::invoke(set, static_cast<T&>(object), FromData<V>(data, property));
    };
  }
  return TPropertyInfo(std::move(spec.name), kind, std::move(read), std::move(write), std::move(spec.names));
}

template <class T>
constexpr auto PersistentFactory() -> std::unique_ptr<TPersistent> (*)() {
  if constexpr (!std::derived_from<T, TComponent> && std::default_initializable<T>) {
    return []() -> std::unique_ptr<TPersistent> { return std::make_unique<T>(); };
  } else {
    return nullptr;
  }
}

template <class T>
constexpr auto ComponentFactory() -> TComponent* (*)(TComponent*) {
  if constexpr (!std::derived_from<T, TComponent>) {
    return nullptr;
  } else if constexpr (std::constructible_from<T, TComponent*>) {
    return [](TComponent* owner) -> TComponent* { return std::make_unique<T>(owner).release(); };
  } else if constexpr (std::default_initializable<T>) {
    return [](TComponent* owner) -> TComponent* {
      auto component = std::make_unique<T>();
      if (owner != nullptr) owner->InsertComponent(*component);
      return component.release();
    };
  } else {
    return nullptr;
  }
}

}  // namespace reflection

/// A property that is a data member.
template <class C, class V>
requires(!std::is_function_v<V>) [[nodiscard]] auto Property(std::string_view name, V C::*member,
                                                             std::initializer_list<std::string_view> names = {}) {
  // A view would not keep the text that is written.
  if constexpr (std::is_const_v<V> || std::same_as<V, std::string_view> || std::same_as<V, const char*>) {
    return reflection::TPropertySpec<V C::*, reflection::TNoSetter>{
        std::string(name), member, {}, reflection::NamesOf(names)};
  } else {
    return reflection::TPropertySpec<V C::*, reflection::TMemberAccess<C, V>>{
        std::string(name), member, {member}, reflection::NamesOf(names)};
  }
}

/// A read-only property: `getter` is a const member function or takes the object as its argument.
template <class Getter>
requires(!std::is_member_object_pointer_v<Getter>)
    [[nodiscard]] auto Property(std::string_view name, Getter getter,
                                std::initializer_list<std::string_view> names = {}) {
  return reflection::TPropertySpec<Getter, reflection::TNoSetter>{
      std::string(name), std::move(getter), {}, reflection::NamesOf(names)};
}

/// The same with a setter: a member function of the value, or a callable of object and value.
template <class Getter, class Setter>
[[nodiscard]] auto Property(std::string_view name, Getter getter, Setter setter,
                            std::initializer_list<std::string_view> names = {}) {
  return reflection::TPropertySpec<Getter, Setter>{std::string(name), std::move(getter), std::move(setter),
                                                   reflection::NamesOf(names)};
}

/// Makes class T known under a name, with its properties. `Base` is the ancestor whose properties it inherits; it is
/// registered before, and need not be the direct one. A class with a StaticClass of its own is registered under the
/// name that this gives it. A property with a name of an inherited one takes its place.
/// Registering T again under the same name replaces its properties; the description stays the same object. Raises
/// EClassNotFound for a name that another class has, EPropertyError for an enumeration without names. Gives the
/// class, which lives as long as the process.
template <class T, class Base = std::conditional_t<std::derived_from<T, TComponent>, TComponent, THostObject>,
          class... Specs>
const TClassInfo& RegisterClass(std::string_view name, Specs... specs) {
  static_assert(std::derived_from<T, THostObject>, "a registered class derives from THostObject or TComponent");
  static_assert(std::derived_from<T, Base>, "the ancestor that is named is none");
  TPropertyList properties;
  properties.reserve(sizeof...(specs));
  (properties.push_back(reflection::Bind<T>(std::move(specs))), ...);
  return reflection::AddClass({name, typeid(T), typeid(Base), T::StaticClass(), reflection::PersistentFactory<T>(),
                               reflection::ComponentFactory<T>(),
                               [](const TObject& object) { return dynamic_cast<const T*>(&object) != nullptr; },
                               std::move(properties)});
}

}  // namespace kb
