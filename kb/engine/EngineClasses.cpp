#include "kb/engine/EngineClasses.h"

#include <mutex>

#include "kb/engine/InferenceEngine.h"
#include "kb/functions/BuiltinFunction.h"
#include "kb/functions/BusinessPackage.h"
#include "kb/functions/MathPackage.h"
#include "kb/functions/MiscPackage.h"
#include "kb/functions/ObjectPackage.h"
#include "kb/functions/PredicatePackage.h"
#include "kb/functions/StandardPackage.h"
#include "kb/functions/StringPackage.h"
#include "kb/functions/TrigonometryPackage.h"
#include "kb/fuzzy/FuzzyLogicPackage.h"
#include "kb/platform/Action.h"
#include "kb/platform/ClassRegistry.h"

namespace kb {

void RegisterEngineClasses() {
  static std::once_flag once;
  std::call_once(once, [] {
    for (const TClassInfo* info :
         {&TComponent::StaticClass(), &TInferenceEngine::StaticClass(), &TRule::StaticClass(), &TFactSet::StaticClass(),
          &TCustomUserFunction::StaticClass(), &TUserFunction::StaticClass(), &TUserPackage::StaticClass(),
          &TVerifyTypePFunction::StaticClass(), &TBuiltinFunction::StaticClass(), &TBasicAction::StaticClass(),
          &TObjectPackage::StaticClass(), &TTrigonometryPackage::StaticClass(), &TBusinessPackage::StaticClass(),
          &TStandardPackage::StaticClass(), &TPredicatePackage::StaticClass(), &TMathPackage::StaticClass(),
          &TMiscPackage::StaticClass(), &TStringPackage::StaticClass(), &TFuzzyLogicPackage::StaticClass()}) {
      RegisterClass(*info);
    }
  });
}

}  // namespace kb
