// Components: objects with an owner, owned children, a name and notification of removal.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kb/platform/Object.h"

namespace kb {

enum TOperation { opInsert, opRemove };

class TFiler;

/// An object in an ownership tree. An owner frees its children; any component may ask another one to tell it when
/// it goes away (FreeNotification). Used by one thread at a time.
///
/// Lifetime: a component is freed by its owner, or earlier by Free() or delete, which takes it from its owner. A
/// component without owner belongs to whoever made it.
class TComponent : public THostObject {
 public:
  /// `owner` may be null; it owns the new component from now on.
  explicit TComponent(TComponent* owner);
  /// Tells every component that asked for it, then frees the children, last first.
  ~TComponent() override;

  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  [[nodiscard]] TComponent* GetOwner() const noexcept { return owner_; }
  [[nodiscard]] int GetComponentCount() const noexcept { return static_cast<int>(components_.size()); }
  /// Raises EListError for a bad index.
  [[nodiscard]] TComponent* GetComponent(int index) const;
  /// First child of that name without regard to case, or null.
  [[nodiscard]] TComponent* FindComponent(std::string_view name) const noexcept;
  void InsertComponent(TComponent& child);
  /// Takes the child out without freeing it.
  void RemoveComponent(TComponent& child);

  [[nodiscard]] const std::string& GetName() const noexcept { return name_; }
  virtual void SetName(std::string_view name) { name_ = name; }

  /// Asks this component to call `other.Notification(this, opRemove)` when it is destroyed.
  void FreeNotification(TComponent& other);
  void RemoveFreeNotification(TComponent& other) noexcept;
  /// Called when `component` is inserted below the same owner or goes away. Overrides call the base.
  virtual void Notification(TComponent& component, TOperation operation);

  [[nodiscard]] bool IsLoading() const noexcept { return loading_; }
  [[nodiscard]] bool IsDesigning() const noexcept { return designing_; }
  [[nodiscard]] bool IsDestroying() const noexcept { return destroying_; }
  /// Set by a reader before the properties are read; Loaded() ends the state.
  void BeginLoading() noexcept { loading_ = true; }
  /// Ends the state without Loaded(), when reading has failed.
  void CancelLoading() noexcept { loading_ = false; }
  void SetDesigning(bool value) noexcept { designing_ = value; }
  /// Tells a writer or reader of component streams what is stored of this component besides its name; see
  /// kb/platform/ComponentStream.h. Overrides call the base.
  virtual void DefineProperties(TFiler& /*filer*/) {}
  /// The owned components that are stored with this one; all, if not overridden.
  [[nodiscard]] virtual std::vector<TComponent*> GetStreamedChildren() const { return components_; }
  /// Called once after all components of a stream have been read.
  virtual void Loaded() { loading_ = false; }

 protected:
  /// Marks the component as going away and tells all who asked for it. A class whose collaborators still need its
  /// operations in their Notification calls it first in its destructor; the base destructor does it otherwise.
  void TellRemoval();
  /// Frees the owned children, last first, under the same condition.
  void DestroyComponents();

 private:
  TComponent* owner_ = nullptr;
  std::vector<TComponent*> components_;    // owned, in order of insertion
  std::vector<TComponent*> freeNotifies_;  // who is told of this one's end; the relation is kept on both sides
  std::string name_;
  bool loading_ = false;
  bool designing_ = false;
  bool destroying_ = false;
};

/// First component owned by `component` whose class is T, or null.
template <class T>
[[nodiscard]] T* FindComponentType(const TComponent& component) noexcept {
  for (int i = 0; i < component.GetComponentCount(); ++i) {
    if (auto* found = dynamic_cast<T*>(component.GetComponent(i))) return found;
  }
  return nullptr;
}

}  // namespace kb
