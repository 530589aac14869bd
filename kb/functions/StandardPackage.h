// The core of the language: logic, control flow, facts, storage, multifields, modules and focus, streams and files.
//
// There is no syntax for control flow: `if`, `while`, `try` and the rest are ordinary calls whose keywords
// arrive as atoms, and each function decides what it evaluates and when. Multifields are counted from 0.
//
// The table of the functions is in StandardPackage.cpp, their bodies are in StandardLogic.cpp,
// StandardControl.cpp, StandardEngine.cpp, StandardText.cpp, StandardStreams.cpp, StandardFacts.cpp,
// StandardMultifields.cpp and StandardModules.cpp. The functions on files, directories, paths and the operating system
// are all in StandardFiles.cpp; those that change or make something answer FALSE when that fails, the others raise.
// Tested in tests/functions/.
#pragma once

#include "kb/functions/KBPackages.h"

namespace kb {

class TStandardPackage : public TUserPackage {
 public:
  using TUserPackage::TUserPackage;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }
  void CreateFunctions() override;
};

}  // namespace kb
