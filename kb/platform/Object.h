// Root classes of host objects and of the system's own persistent objects.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "kb/common/WeakRef.h"

namespace kb {

class TObject;
class TPersistent;
class TComponent;

/// Run-time description of a class: its name, its parent and how a new instance is made. One static object per
/// class; a value of type dtClass holds a pointer to it.
struct TClassInfo {
  std::string_view name;
  const TClassInfo* parent = nullptr;
  /// Default construction of a persistent object of the class; null where the class cannot be made this way.
  std::unique_ptr<TPersistent> (*createPersistent)() = nullptr;
  /// Virtual construction of a component of the class under an owner (which owns the result), or null.
  TComponent* (*createComponent)(TComponent* owner) = nullptr;

  /// True when this class is `ancestor` or derives from it.
  [[nodiscard]] bool InheritsFrom(const TClassInfo& ancestor) const noexcept {
    for (const TClassInfo* info = this; info != nullptr; info = info->parent) {
      if (info == &ancestor) return true;
    }
    return false;
  }
};

/// Base of every object that a value of type dtObject may refer to.
class TObject {
 public:
  TObject() = default;
  TObject(const TObject&) = delete;
  TObject& operator=(const TObject&) = delete;
  virtual ~TObject() = default;

  static const TClassInfo& StaticClass() noexcept;
  /// The class of this very object; a class that shall be seen by name overrides it or is registered.
  [[nodiscard]] virtual const TClassInfo& ClassInfo() const noexcept { return StaticClass(); }
  /// The name of the most derived class that is known of this object.
  [[nodiscard]] std::string_view ClassName() const noexcept;
};

/// An object whose state can be assigned from another one.
class TPersistent : public TObject {
 public:
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  /// Takes over the state of `source`. The default asks `source` to assign itself to this object.
  /// Raises EConvertError "Cannot assign a %s to a %s" when neither side knows how.
  virtual void Assign(const TPersistent& source);

 protected:
  /// Counterpart of Assign for sources that know a foreign target; the default raises EConvertError.
  virtual void AssignTo(TPersistent& target) const;
};

/// An object that tells of its end: values that refer to it without owning it find none when it has gone. Base of the
/// components and of all classes of a host that rules work with.
class THostObject : public TPersistent, public TWeakTarget<THostObject> {
 public:
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }
};

}  // namespace kb
