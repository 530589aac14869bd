// Enumerations and forward declarations that all parts of the system share.
#pragma once

#include <cstdint>
#include <string>

#include "kb/common/EnumSet.h"
#include "kb/common/Ref.h"

namespace kb {

/// The tag of a value. The ordinal is stored and compared, and the names are what error messages print.
enum TKBType : uint8_t {
  dtNone,             ///< nothing
  dtAtom,             ///< a symbol
  dtString,           ///< a string, stored without its quotes
  dtInteger,          ///< a signed 32-bit integer
  dtVariable,         ///< a single-field variable, without the "?"
  dtFactId,           ///< the id of a fact
  dtFloat,            ///< a double
  dtFunCall,          ///< a function call, not yet evaluated
  dtFact,             ///< a fact
  dtList,             ///< a multifield
  dtDescriptor,       ///< an integer handle
  dtObject,           ///< a host object, owned or not
  dtClass,            ///< a host class
  dtExternalAddress,  ///< an opaque address
  dtSingletons,       ///< a fuzzy set in singleton form, not yet built
  dtFuzzy,            ///< a fuzzy set
  dtMultiVariable,    ///< a multifield variable, without the "$?"
  dtSlot,             ///< a single-slot name
  dtMultiSlot         ///< a multislot name
};
inline constexpr int kKBTypeCount = 19;
using TKBTypes = TEnumSet<TKBType>;

inline constexpr TKBTypes KBStringTypes{dtAtom, dtString, dtVariable, dtMultiVariable, dtSlot, dtMultiSlot};
inline constexpr TKBTypes KBNumericTypes{dtInteger, dtFloat};
inline constexpr TKBTypes KBIntegerTypes{dtInteger, dtFactId, dtDescriptor};
inline constexpr TKBTypes KBFactTypes{dtInteger, dtFactId, dtFloat};
inline constexpr TKBTypes KBVariableTypes{dtVariable, dtMultiVariable};
inline constexpr TKBTypes KBAlwaysValidTypes{dtNone, dtVariable, dtFunCall, dtMultiVariable};
inline constexpr TKBTypes KBMultiSlotTypes{dtList, dtMultiSlot};
inline constexpr TKBTypes KBSlotTypes{dtAtom,    dtString, dtInteger,    dtVariable, dtFactId, dtFloat,
                                      dtFunCall, dtFact,   dtDescriptor, dtObject,   dtClass,  dtExternalAddress};
inline constexpr TKBTypes KBSlotTypesWithFuzzy = KBSlotTypes + TKBTypes{dtSingletons, dtFuzzy};
inline constexpr TKBTypes KBReparseTypes{dtFunCall, dtFact, dtFuzzy};

/// Names of constructs. Character rules are checked where a name is set.
using TKBName = std::string;

enum TSearchStrategy : uint8_t { ssDepthFirst, ssBreadthFirst };
enum TSalience : uint8_t { sActivate, sEveryTime };
enum TTypeCheck : uint8_t { tcStatic, tcDynamic };
using TTypeChecks = TEnumSet<TTypeCheck>;
enum TDuplicateConstructs : uint8_t { dcOverwrite, dcIgnore, dcError };
enum TErrorHandling : uint8_t { ehRaiseImmediate, ehRaiseAllAtEnd };
enum TConstructWatch : uint8_t { cwActivation, cwFact, cwRule, cwCompilation, cwStatistics, cwFocus };
using TConstructWatches = TEnumSet<TConstructWatch>;
inline constexpr TConstructWatches KBAllWatches{cwActivation, cwFact, cwRule, cwCompilation, cwStatistics, cwFocus};
enum TFunctionPackage : uint8_t {
  pStandard,
  pPredicate,
  pMath,
  pMiscellaneous,
  pString,
  pObject,
  pTrigonometry,
  pBusiness,
  pFuzzyLogic
};
using TFunctionPackages = TEnumSet<TFunctionPackage>;
enum TTemplateSlotType : uint8_t { tstSlot, tstMultiSlot };
enum TValueConstraint : uint8_t { vcAtom, vcString, vcInteger, vcFloat };
using TValueConstraints = TEnumSet<TValueConstraint>;
enum TSharedConstructs : uint8_t { mieNone, mieAll, mieCustom };
enum TConstructScope : uint8_t { csImported, csLocal };
using TConstructScopes = TEnumSet<TConstructScope>;
/// What a token does on its way through the network.
enum TTokenAction : uint8_t { taClear, taAdd, taRemove, taUpdate };
enum TSlotTestType : uint8_t { sttEquals, sttNotEquals };
/// Kinds of a top-level expression of the language.
enum TParsedType : uint8_t {
  ptNone,
  ptValue,
  ptFunCall,
  ptRule,
  ptFactSet,
  ptFactTemplate,
  ptFunction,
  ptGlobals,
  ptDefType,
  ptDefModule,
  ptEOF
};
enum TFuzzyCorrelationMethod : uint8_t { fcmMinimum, fcmProduct };
enum TFuzzyInferenceMethod : uint8_t { fimMinMax, fimSum, fimMean, fimProduct, fimBoundedSum };
enum TInferenceEngineConstruct : uint8_t { kbcDefType, kbcDefTemplate, kbcFactSet, kbcFact, kbcDefRule };

class TKBValue;
class TValueVector;
class TSingletonsVector;
class TKBContext;
class TBinding;
class TBindingInfo;
class TFactSlot;
class TFactTemplate;
class TFact;
class TFactSet;
class TKBDefinedType;
class TModule;
class TRule;
class TKBPattern;
class TKBToken;
class TKBStreamToken;
class TFunctionCall;
class TInterpretedFunction;
class IUserFunction;
class IReasoner;
class IFuzzySet;
class IFuzzyVariable;
class TActivation;
class TInferenceEngine;

using IKBValue = Ref<TKBValue>;
using IValueVector = Ref<TValueVector>;
using ISingletonsVector = Ref<TSingletonsVector>;
using IFactSlot = Ref<TFactSlot>;
using IFactTemplate = Ref<TFactTemplate>;
using IFact = Ref<TFact>;
using IKBDefinedType = Ref<TKBDefinedType>;
using IModule = Ref<TModule>;
using IReteToken = Ref<TKBToken>;
using IStreamToken = Ref<TKBStreamToken>;
using IFunCall = Ref<TFunctionCall>;
using IInterpretedFunction = Ref<TInterpretedFunction>;

}  // namespace kb
