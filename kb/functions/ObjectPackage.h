// Functions on the host's objects: rules create and free them, walk components, and read and set their properties by
// name. What a host describes with RegisterClass (kb/platform/Reflection.h) is open to them.
//
// A value refers to an object without owning it. When an object goes away, be it by free-object or by its host, the
// values that refer to it hold no object from then on; so it is with every class that is registered and with all
// components. The components that get-component finds by name alone are those of the engine's owner.
#pragma once

#include "kb/functions/KBPackages.h"

namespace kb {

class TObjectPackage : public TUserPackage {
 public:
  using TUserPackage::TUserPackage;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }
  void CreateFunctions() override;
};

}  // namespace kb
