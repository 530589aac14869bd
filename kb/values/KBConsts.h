// Marker names, indices, keywords, and the one table of message texts.
#pragma once

#include <concepts>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kb/platform/Exceptions.h"

namespace kb {

inline constexpr int LocalBindingIndex = -2;  ///< fact index of a binding that holds its value itself
inline constexpr int NoSubIndex = -1;         ///< sub-index of a binding or test on a whole slot
inline constexpr int DefaultPrintMargin = 200;
inline constexpr int WrapTextColumn = 60;
inline constexpr int kUnlimitedArguments = 2147483647;

inline constexpr std::string_view SFactPrefix = "__factidx";
inline constexpr std::string_view SEqStarPrefix = "_eq_";
inline constexpr std::string_view SBackChainPrefix = "need-";
inline constexpr std::string_view SBlankMulti = "_blank_$";
inline constexpr std::string_view SBlankPrefix = "_blank_";
inline constexpr std::string_view SDefaultSlotName = "__Data";
inline constexpr std::string_view STestCE = "test";
/// The name of the fuzzy set without members, which every fuzzy variable knows and which is no term.
inline constexpr std::string_view SEmptyFuzzy = "__EMPTY";
inline constexpr std::string_view SLocalBinding = "__LOCAL";
inline constexpr std::string_view SPatternBinding = "__PATTERN";
inline constexpr std::string_view SRuleBinding = "__RULE";
inline constexpr std::string_view SInitialFactPattern = "Initial-Fact";
inline constexpr std::string_view SInitialFact = "(Initial-Fact)";
inline constexpr std::string_view SNullFact = "__NOT-OR-TEST-CE*";
inline constexpr std::string_view SMultiSlotVar = "$?__var";
inline constexpr std::string_view SSlotVar = "?__var";
inline constexpr std::string_view SErrorVariable = "__ERROR";
inline constexpr std::string_view SGetVarFunction = "__get-var";
inline constexpr std::string_view SImplicitDefinedType = "implicit";
inline constexpr std::string_view SImpliedComment = "(Implied)";
inline constexpr std::string_view SMainModule = "MAIN";
inline constexpr std::string_view SModuleSeparator = "::";
/// Characters that no name of a construct may hold.
inline constexpr std::string_view kForbiddenNameCharacters = " '\"#()[]?:$&;<>";

inline constexpr std::string_view SFunctionError = "%s error: %s";
inline constexpr std::string_view CommentFormat = "%s";
inline constexpr std::string_view SyntaxFormat = "     Syntax: %s";
inline constexpr std::string_view CLIPSSyntaxFormat = "(%s)";

inline constexpr std::string_view STypeSymbolKeyword = "SYMBOL";
inline constexpr std::string_view STypeAtomKeyword = "ATOM";
inline constexpr std::string_view STypeStringKeyword = "STRING";
inline constexpr std::string_view STypeIntegerKeyword = "INTEGER";
inline constexpr std::string_view STypeFloatKeyword = "FLOAT";
inline constexpr std::string_view STypeLexemeKeyword = "LEXEME";
inline constexpr std::string_view STypeNumberKeyword = "NUMBER";
inline constexpr std::string_view STypeClassKeyword = "CLASS";
inline constexpr std::string_view STypeDescriptorKeyword = "DESCRIPTOR";
inline constexpr std::string_view STypeObjectKeyword = "OBJECT";
inline constexpr std::string_view STypeExternalAddrKeyword = "EXTERNALADDRESS";
inline constexpr std::string_view STypeFuzzyKeyword = "FUZZY";
inline constexpr std::string_view STypeFactKeyword = "FACT";
inline constexpr std::string_view STypeFactIdKeyword = "FACTID";
inline constexpr std::string_view STypeVariableKeyword = "?VARIABLE";

/// Identifies a message of the table; a host branches on it instead of on the text. New messages go to the
/// end of their group, with their text in KBConsts.cpp.
enum class TKBMessage {
  None,
  // values and contexts
  ValueTypeMismatch,
  NotAType,             // kind, value, type
  UncloneableValue,     // class
  NoContext,            // type
  CorruptedBinding,     // name
  UnknownVariable,      // name
  InvalidVariableName,  // name
  SharedConstant,
  NoSuchFact,  // id
  NotFuzzyFact,
  // templates, slots, facts, types
  BadSlotType,
  InvalidDefaultSlotValue,  // value
  MultislotIsNotSlot,
  InvalidDefaultMultislot,  // value
  BadSlotName,              // name
  SlotIsNotMultislot,
  NoSuchSlotName,       // name
  SlotIndexMismatch,    // index, name
  UnexpectedCharacter,  // name, character
  ValueIsNotValid,      // value, reason or slot
  CannotMixFuzzy,
  InvalidForSlot,  // message, slot
  FactTemplateMissing,
  FactTemplatesDiffer,      // name, name
  UnableToFindFact,         // id
  NoTypeConstraints,        // type name, kind
  CannotContainConstraint,  // type name, kind
  TypeInheritanceLoop,      // name
  MultislotCardinality,     // min, max
  InvalidFuzzyValue,
  NotInAllowedValues,
  RangeError,  // min, max
  // registries and modules
  DuplicateRules,       // name
  DuplicateTemplates,   // name
  DuplicateTypes,       // name
  DuplicateFunctions,   // name
  DuplicateModules,     // name
  DuplicateStreams,     // name
  InvalidStreamName,    // name
  FunctionNamesDiffer,  // name, name
  NonImportedType,      // template, type
  TemplatesCorrupted,
  TypesCorrupted,
  NoSuchModule,  // name
  ReservedModuleName,
  InvalidModuleDependency,  // module, import
  // engine
  UnableToParseType,   // type
  FunctionUnassigned,  // name
  EventUnassigned,     // name
  UndefinedEngine,
  MissingObject,  // what
  ParserBusy,
  NotLocked,
  // functions
  TooFewArguments,      // name
  TooManyArguments,     // name
  InvalidArgumentType,  // type, expected
  InvalidDestruction,
  SyntaxError,  // text
  MissingThen,
  MissingCatch,
  CannotWatch,             // text
  CannotUnwatch,           // text
  InvalidMultifieldRange,  // begin, end
  CannotBackchain,         // name
  ExpectedNumeric,         // function
  UnknownConstructName,    // kind, name
  InvalidSubstring,        // begin, end
  MultifieldLengths,
  InvalidPaymentTime,  // text
  NoConvergence,       // function
  InvalidFileAccess,   // text
  ExpectedComponent,   // function
  CannotFree,          // class
  // parser
  ParsingError,         // message, where, line, text
  ErrorsParsingStream,  // list
  UnexpectedSymbol,     // text
  UnterminatedString,
  InvalidTokenHint,   // number
  ExpectedConstruct,  // keyword
  MissingName,
  UnexpectedEndOfStream,
  ExpectedOpen,
  ExpectedClose,
  ExpectedAtom,  // "( <atom>"
  BadArgument,   // text
  EqualsInFact,
  BadSlotValue,  // text
  FuzzyTypeNeeded,
  InvalidFuzzyExpression,  // text
  ExpectedValueMissing,
  ExpectedCoordinate,
  BadVariableName,      // name
  ExpectedToken,        // text
  UnknownFactTemplate,  // name
  MissingParentTemplate,
  MissingTemplateType,
  UnknownTypeName,  // name
  ExpectedTemplateBody,
  InvalidSlotType,       // text
  InvalidSlotQualifier,  // text
  FuzzyTypeUnmodifiable,
  MissingRange,
  ExpectedIntegerFor,    // word
  ExpectedAllowedValue,  // text
  MissingKeyword,        // word
  MultipleInheritance,
  InvalidModuleKeyword,         // text
  ModuleDoesNotExist,           // name
  MissingExportKeyword,         // text
  InvalidNameInList,            // text
  UnexpectedFunctionCharacter,  // character
  ExpectedRuleProperty,
  ExpectedArrow,
  ExpectedBindArrow,
  CannotBindNot,
  SlotNotMultislot,  // name
  // rules and matching
  FirstUseNegated,  // name
  CannotBindNegated,
  RuleMissing,
  InvalidTokenAction,
  FunctionInBackchain,  // name
  InvalidCallType,      // name
  InvalidBackchainPattern,
  // fuzzy reasoning
  InvalidFuzzyPoint,      // x, y
  InvalidFuzzyShape,      // numbers
  InvalidFuzzyOperand,    // operator, number
  InvalidUniverse,        // from, to
  FuzzyTermUnchangeable,  // name
  InvalidFuzzyTermName,   // name
  FuzzyVariableUndefined,
  InvalidFuzzyItem,  // text
  MissingFuzzyBracket,
  MissingFuzzyOperand,      // word
  CannotUniteFacts,         // template, template
  InvalidFuzzyInference,    // text, list
  InvalidFuzzyCorrelation,  // text, list
  InvalidFuzzyOperation,    // text, function, list
  FuzzyVariablesDiffer,     // set, variable, set, variable
  InvalidPlotLimits,        // low, high
  InvalidPlotCharacters,
  // limits
  RecursionTooDeep,
  Count
};

/// The text of a message, with its "%s" and "%d" places.
[[nodiscard]] std::string_view MessageText(TKBMessage id) noexcept;
/// The text with its places filled in order.
[[nodiscard]] std::string FormatMessage(TKBMessage id, const std::vector<std::string>& args = {});

/// The exception of the knowledge-base system: a text of the message table and the identifier of the message.
class EKBException : public EQDException {
 public:
  explicit EKBException(TKBMessage id, const std::vector<std::string>& args = {})
      : EQDException(FormatMessage(id, args)), id_(id) {}
  /// With a finished text. A template, so that one argument in braces is an argument and not the text.
  template <std::same_as<std::string> Text>
  EKBException(TKBMessage id, Text text) : EQDException(std::move(text)), id_(id) {}
  [[nodiscard]] TKBMessage Id() const noexcept { return id_; }

 private:
  TKBMessage id_;
};

/// Raises "Missing %s" when a caller gives nothing where an object is needed; `what` names it.
template <class Handle>
void RequireObject(const Handle& handle, std::string_view what) {
  if (!handle) throw EKBException(TKBMessage::MissingObject, {std::string(what)});
}

}  // namespace kb
