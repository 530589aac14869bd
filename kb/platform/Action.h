// Actions: things that a host can be asked to do.
#pragma once

#include <functional>

#include "kb/platform/Component.h"

namespace kb {

/// A component that does one thing. A host derives from it and overrides Execute, or sets OnExecute.
class TBasicAction : public TComponent {
 public:
  using TComponent::TComponent;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  /// Does it. True when it has been done; the base calls OnExecute and gives false without one.
  virtual bool Execute() {
    if (!OnExecute) return false;
    OnExecute(*this);
    return true;
  }
  std::function<void(TBasicAction&)> OnExecute;
};

}  // namespace kb
