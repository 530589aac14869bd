// Functions on angles and distances.
//
// Angles are in radians unless the name says otherwise; every result is a float. An argument outside the domain of a
// function raises EMathError: what is no number "Invalid floating point operation", a pole "Floating point division by
// zero", a result beyond all numbers "Floating point overflow".
//
//   sec x = 1 / cos x          csc x = 1 / sin x            cot x = cos x / sin x
//   sech, csch, coth           the reciprocals of cosh, sinh, tanh
//   acot x = pi/2 - atan x     acsch x = asinh(1/x)         asech x = acosh(1/x), 0 < x <= 1
//   acoth x = atanh(1/x), |x| > 1
//   acsc x = asin(1/|x|), asec x = acos(1/|x|), |x| >= 1, each plus pi for a negative x
#pragma once

#include "kb/functions/KBPackages.h"

namespace kb {

class TTrigonometryPackage : public TUserPackage {
 public:
  using TUserPackage::TUserPackage;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }
  void CreateFunctions() override;
};

}  // namespace kb
