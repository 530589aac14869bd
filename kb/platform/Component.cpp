#include "kb/platform/Component.h"

#include <algorithm>

#include "kb/common/Helpers.h"
#include "kb/platform/Action.h"
#include "kb/platform/Exceptions.h"

namespace kb {

const TClassInfo& TComponent::StaticClass() noexcept {
  static const TClassInfo info{"TComponent", &THostObject::StaticClass(), nullptr,
                               [](TComponent* owner) { return new TComponent(owner); }};
  return info;
}

const TClassInfo& TBasicAction::StaticClass() noexcept {
  static const TClassInfo info{"TBasicAction", &TComponent::StaticClass(), nullptr,
                               [](TComponent* owner) -> TComponent* { return new TBasicAction(owner); }};
  return info;
}

TComponent::TComponent(TComponent* owner) {
  if (owner != nullptr) owner->InsertComponent(*this);
}

TComponent::~TComponent() {
  TellRemoval();
  DestroyComponents();
  if (owner_ != nullptr) owner_->RemoveComponent(*this);
}

void TComponent::DestroyComponents() {
  while (!components_.empty()) {
    TComponent* child = components_.back();
    components_.pop_back();
    child->owner_ = nullptr;
    delete child;
  }
}

void TComponent::TellRemoval() {
  destroying_ = true;
  while (!freeNotifies_.empty()) {
    TComponent* other = freeNotifies_.back();
    freeNotifies_.pop_back();
    std::erase(other->freeNotifies_, this);
    other->Notification(*this, opRemove);
  }
}

TComponent* TComponent::GetComponent(int index) const {
  CheckListIndex(index, GetComponentCount());
  return components_[static_cast<size_t>(index)];
}

TComponent* TComponent::FindComponent(std::string_view name) const noexcept {
  if (name.empty()) return nullptr;
  for (TComponent* child : components_) {
    if (SameText(child->name_, name)) return child;
  }
  return nullptr;
}

void TComponent::InsertComponent(TComponent& child) {
  if (child.owner_ == this) return;
  if (child.owner_ != nullptr) child.owner_->RemoveComponent(child);
  components_.push_back(&child);
  child.owner_ = this;
  if (designing_) child.designing_ = true;
}

void TComponent::RemoveComponent(TComponent& child) {
  // Children mostly go in the reverse order of their making.
  auto found = std::find(components_.rbegin(), components_.rend(), &child);
  if (found == components_.rend()) return;
  components_.erase(std::next(found).base());
  child.owner_ = nullptr;
}

void TComponent::FreeNotification(TComponent& other) {
  if (&other == this) return;
  if (std::find(freeNotifies_.begin(), freeNotifies_.end(), &other) != freeNotifies_.end()) return;
  freeNotifies_.push_back(&other);
  // The mirror entry lets this component be dropped from the list when `other` goes first.
  other.freeNotifies_.push_back(this);
}

void TComponent::RemoveFreeNotification(TComponent& other) noexcept {
  std::erase(freeNotifies_, &other);
  std::erase(other.freeNotifies_, this);
}

void TComponent::Notification(TComponent& component, TOperation operation) {
  if (operation != opRemove) return;
  std::erase(freeNotifies_, &component);
}

}  // namespace kb
