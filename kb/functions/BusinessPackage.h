// Functions on loans, investments and depreciation.
//
// The language's side of kb/functions/Finance.h, which has the formulas and the signs: money received is positive,
// money paid is negative. Each argument is read as a number or as an integer, in the order of the syntax; the payment
// time is the text ptEndOfPeriod or ptStartOfPeriod, without regard to case. Every result is a float. Arguments outside
// the domain raise EMathError, and a rate that cannot be found "No result of %s found: the iteration does not
// converge".
#pragma once

#include "kb/functions/KBPackages.h"

namespace kb {

class TBusinessPackage : public TUserPackage {
 public:
  using TUserPackage::TUserPackage;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }
  void CreateFunctions() override;
};

}  // namespace kb
