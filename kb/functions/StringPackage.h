// Functions on text. Lengths and positions count code points; positions are counted from 1.
#pragma once

#include "kb/functions/KBPackages.h"

namespace kb {

class TStringPackage : public TUserPackage {
 public:
  using TUserPackage::TUserPackage;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }
  void CreateFunctions() override;
};

}  // namespace kb
