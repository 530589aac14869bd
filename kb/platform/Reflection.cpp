#include "kb/platform/Reflection.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <shared_mutex>

#include "kb/common/Helpers.h"
#include "kb/platform/Encoding.h"

namespace kb {
namespace {

// A class that has been described. It stays for the life of the process: values refer to its class information.
struct TClassEntry {
  std::string name;
  TClassInfo info;          // what values refer to, but for a class that describes itself
  const TClassInfo* shown;  // &info, or the description of that class's own
  int depth = 0;            // number of described ancestors
  bool (*isInstance)(const TObject&) = nullptr;
  std::shared_ptr<const TPropertyList> properties;  // with the inherited ones
};

class TClassTable {
 public:
  TClassTable() { AddComponentClass(); }

  const TClassInfo& Add(reflection::TClassDraft draft) {
    const std::unique_lock<std::shared_mutex> lock(mutex_);
    TClassEntry* entry = Own(draft.type);
    if (entry == nullptr) {
      CheckName(draft);
      entry = &Insert(draft);
    } else if (entry->name != draft.name) {
      throw EClassNotFound("Class " + std::string(draft.name) + " is registered as " + entry->name);
    }
    const TClassEntry* base = Own(draft.baseType);
    entry->properties = Inherit(base, std::move(draft.properties));
    return *entry->shown;
  }

  // The entry of the object's class or its nearest described ancestor; null without one. The properties are handed
  // over with it, since another thread may replace them.
  std::shared_ptr<const TPropertyList> Properties(const TObject& object) {
    const std::shared_lock<std::shared_mutex> lock(mutex_);
    const TClassEntry* entry = Find(object);
    return entry == nullptr ? nullptr : entry->properties;
  }

  const TClassInfo* Shown(const TObject& object) noexcept {
    const std::shared_lock<std::shared_mutex> lock(mutex_);
    const TClassEntry* entry = Find(object);
    return entry == nullptr ? nullptr : entry->shown;
  }

 private:
  TClassEntry* Own(std::type_index type) {
    const auto found = entries_.find(type);
    return found == entries_.end() ? nullptr : found->second.get();
  }

  // Linear in the classes for an object of a class that is not described itself.
  const TClassEntry* Find(const TObject& object) {
    if (const TClassEntry* own = Own(typeid(object))) return own;
    const TClassEntry* nearest = nullptr;
    for (const auto& [type, entry] : entries_) {
      if ((nearest == nullptr || entry->depth > nearest->depth) && entry->isInstance(object)) nearest = entry.get();
    }
    return nearest;
  }

  static void CheckName(const reflection::TClassDraft& draft) {
    if (draft.name.empty()) throw EClassNotFound("A class needs a name");
    const TClassInfo* taken = FindClass(draft.name);
    if (taken == nullptr || taken == &draft.said) return;
    throw EClassNotFound("Class " + std::string(draft.name) + " exists already");
  }

  TClassEntry& Insert(const reflection::TClassDraft& draft) {
    const TClassEntry* base = Own(draft.baseType);
    auto entry = std::make_unique<TClassEntry>();
    entry->name = draft.name;
    if (draft.said.name == draft.name) {
      entry->shown = &draft.said;
    } else {
      const TClassInfo* parent = base != nullptr && base->shown->InheritsFrom(draft.said) ? base->shown : &draft.said;
      entry->info = {entry->name, parent, draft.createPersistent, draft.createComponent};
      entry->shown = &entry->info;
    }
    entry->depth = base != nullptr ? base->depth + 1 : 0;
    entry->isInstance = draft.isInstance;
    RegisterClass(*entry->shown);
    return *(entries_[draft.type] = std::move(entry));
  }

  static std::shared_ptr<const TPropertyList> Inherit(const TClassEntry* base, TPropertyList own) {
    auto all = std::make_shared<TPropertyList>();
    if (base != nullptr) *all = *base->properties;
    for (TPropertyInfo& property : own) {
      const auto same = std::find_if(all->begin(), all->end(), [&](const TPropertyInfo& other) {
        return SameText(other.GetName(), property.GetName());
      });
      if (same == all->end()) {
        all->push_back(std::move(property));
      } else {
        *same = std::move(property);
      }
    }
    return all;
  }

  // What every component has.
  void AddComponentClass() {
    auto entry = std::make_unique<TClassEntry>();
    entry->name = TComponent::StaticClass().name;
    entry->shown = &TComponent::StaticClass();
    entry->isInstance = [](const TObject& object) { return dynamic_cast<const TComponent*>(&object) != nullptr; };
    TPropertyList properties;
    properties.push_back(reflection::Bind<TComponent>(Property("Name", &TComponent::GetName, &TComponent::SetName)));
    entry->properties = Inherit(nullptr, std::move(properties));
    entries_[typeid(TComponent)] = std::move(entry);
    RegisterClass(TComponent::StaticClass());
  }

  std::shared_mutex mutex_;
  std::map<std::type_index, std::unique_ptr<TClassEntry>> entries_;
};

TClassTable& Classes() {
  static TClassTable classes;
  return classes;
}

}  // namespace

std::string_view GetTypeKindName(TTypeKind kind) noexcept {
  constexpr std::string_view kNames[] = {"tkInteger",     "tkInt64", "tkFloat", "tkChar",  "tkString",
                                         "tkEnumeration", "tkSet",   "tkClass", "tkMethod"};
  return kNames[kind];
}

// ---- One property

void TPropertyInfo::RaiseKind() const {
  throw EPropertyError("Invalid property type: " + std::string(GetTypeKindName(kind_)));
}

void TPropertyInfo::RaiseValue(std::string_view text) const {
  throw EPropertyError("Invalid value of property " + name_ + ": " + std::string(text));
}

double TPropertyInfo::GetFloat(const TObject& object) const {
  if (kind_ != tkFloat) RaiseKind();
  return std::get<double>(read_(object));
}

int64_t TPropertyInfo::GetOrdinal(const TObject& object) const {
  if (kind_ == tkFloat || kind_ == tkString || kind_ == tkClass || kind_ == tkMethod) RaiseKind();
  return std::get<int64_t>(read_(object));
}

std::string TPropertyInfo::GetText(const TObject& object) const {
  std::string text;
  switch (kind_) {
    case tkString:
      return std::get<std::string>(read_(object));
    case tkChar:
      AppendCodePoint(text, static_cast<char32_t>(GetOrdinal(object)));
      return text;
    case tkEnumeration: {
      const int64_t ordinal = GetOrdinal(object);
      const bool isNamed = ordinal >= 0 && ordinal < static_cast<int64_t>(names_.size());
      return isNamed ? names_[static_cast<size_t>(ordinal)] : IntegerToString(ordinal);
    }
    case tkSet:
      return SetText(GetOrdinal(object));
    default:
      RaiseKind();
  }
}

TObject* TPropertyInfo::GetObject(const TObject& object) const {
  if (kind_ != tkClass) RaiseKind();
  return std::get<TObject*>(read_(object));
}

void TPropertyInfo::Write(TObject& object, const TData& data) const {
  if (!write_) throw EPropertyError("Property " + name_ + " is read-only");
  write_(object, data, *this);
}

void TPropertyInfo::SetFloat(TObject& object, double value) const {
  if (kind_ != tkFloat) RaiseKind();
  Write(object, value);
}

void TPropertyInfo::SetOrdinal(TObject& object, int64_t value) const {
  switch (kind_) {
    case tkEnumeration:
      if (value < 0 || value >= static_cast<int64_t>(names_.size())) RaiseValue(IntegerToString(value));
      break;
    case tkSet:
      if ((value >> names_.size()) != 0) RaiseValue(IntegerToString(value));
      break;
    case tkInteger:
    case tkInt64:
    case tkChar:
      break;
    default:
      RaiseKind();
  }
  Write(object, value);
}

void TPropertyInfo::SetText(TObject& object, std::string_view text) const {
  switch (kind_) {
    case tkString:
      return Write(object, std::string(text));
    case tkChar: {
      size_t end = 0;
      const char32_t c = text.empty() ? 0 : NextCodePoint(text, end);
      if (end == 0 || end != text.size()) RaiseValue(text);
      return Write(object, static_cast<int64_t>(c));
    }
    case tkEnumeration:
      return Write(object, OrdinalOf(text));
    case tkSet:
      return Write(object, SetOf(text));
    default:
      RaiseKind();
  }
}

void TPropertyInfo::SetObject(TObject& object, TObject* value) const {
  if (kind_ != tkClass) RaiseKind();
  Write(object, value);
}

int64_t TPropertyInfo::OrdinalOf(std::string_view name) const {
  const auto found =
      std::find_if(names_.begin(), names_.end(), [name](const std::string& other) { return SameText(other, name); });
  if (found == names_.end()) RaiseValue(name);
  return found - names_.begin();
}

int64_t TPropertyInfo::SetOf(std::string_view text) const {
  std::string_view rest = Trim(text);
  if (rest.size() >= 2 && rest.front() == '[' && rest.back() == ']') rest = Trim(rest.substr(1, rest.size() - 2));
  int64_t bits = 0;
  while (!rest.empty()) {
    const size_t comma = std::min(rest.find(','), rest.size());
    bits |= int64_t{1} << OrdinalOf(Trim(rest.substr(0, comma)));
    rest = Trim(rest.substr(std::min(comma + 1, rest.size())));
  }
  return bits;
}

std::string TPropertyInfo::SetText(int64_t bits) const {
  std::string text;
  for (size_t i = 0; i < names_.size(); ++i) {
    if ((bits >> i & 1) == 0) continue;
    if (!text.empty()) text += ',';
    text += names_[i];
  }
  return "[" + text + "]";
}

// ---- The registry

const TClassInfo& reflection::AddClass(TClassDraft draft) { return Classes().Add(std::move(draft)); }

const TClassInfo& GetClass(std::string_view name) {
  (void)Classes();  // components are known from the first question on
  const TClassInfo* info = FindClass(name);
  if (info == nullptr) throw EClassNotFound("Class " + std::string(name) + " not found");
  return *info;
}

const TClassInfo& ClassOf(const TObject& object) noexcept {
  const TClassInfo& said = object.ClassInfo();
  const TClassInfo* described = Classes().Shown(object);
  return described != nullptr && described->InheritsFrom(said) ? *described : said;
}

std::unique_ptr<TObject> CreateObject(const TClassInfo& info) {
  if (info.createComponent != nullptr) return std::unique_ptr<TObject>(info.createComponent(nullptr));
  if (info.createPersistent != nullptr) return info.createPersistent();
  throw EClassNotFound("Class " + std::string(info.name) + " cannot be created");
}

std::shared_ptr<const TPropertyList> GetProperties(const TObject& object) { return Classes().Properties(object); }

std::shared_ptr<const TPropertyInfo> FindProperty(const TObject& object, std::string_view name) {
  const std::shared_ptr<const TPropertyList> properties = GetProperties(object);
  if (properties == nullptr) return nullptr;
  for (const TPropertyInfo& property : *properties) {
    if (SameText(property.GetName(), name)) return {properties, &property};
  }
  return nullptr;
}

}  // namespace kb
