// Functions that look into the engine: tests for constructs, listings, printed constructs, removal, switches, dates.
#pragma once

#include "kb/functions/KBPackages.h"

namespace kb {

class TMiscPackage : public TUserPackage {
 public:
  using TUserPackage::TUserPackage;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }
  void CreateFunctions() override;
};

}  // namespace kb
