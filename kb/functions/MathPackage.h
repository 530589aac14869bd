// Functions on numbers.
//
// Arithmetic works in double precision. A result is a float when an argument was one, else it is cut towards
// zero to a 32-bit integer. What has no such result raises EMathError: a zero divisor, an argument outside
// the domain of a function, a float that overflows, an integer beyond 32 bits.
#pragma once

#include "kb/functions/KBPackages.h"

namespace kb {

class TMathPackage : public TUserPackage {
 public:
  using TUserPackage::TUserPackage;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }
  void CreateFunctions() override;
};

}  // namespace kb
