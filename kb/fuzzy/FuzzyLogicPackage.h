// The functions of fuzzy reasoning: shapes, expressions, readings of sets, defuzzification, assertion, plots.
//
// Tested in tests/fuzzy/PackageTest.cpp.
#pragma once

#include "kb/functions/KBPackages.h"

namespace kb {

class TFuzzyLogicPackage : public TUserPackage {
 public:
  using TUserPackage::TUserPackage;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }
  void CreateFunctions() override;
};

}  // namespace kb
