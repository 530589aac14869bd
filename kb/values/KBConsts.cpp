#include "kb/values/KBConsts.h"

#include <array>
#include <cstddef>

#include "kb/common/Helpers.h"

namespace kb {
namespace {

struct TMessage {
  TKBMessage id;
  std::string_view text;
};

using enum TKBMessage;

constexpr size_t kMessageCount = static_cast<size_t>(Count);

// In the order of the enumeration. "&s" in UncloneableValue belongs to the text; it is no place to fill.
constexpr auto kMessages = std::to_array<TMessage>({
    {None, ""},
    // values and contexts
    {ValueTypeMismatch, "Value and type mismatch"},
    {NotAType, "Not a %s type.  Value (%s) is a %s type"},
    {UncloneableValue, "Uncloneable value.  Value owned an object of &s class type"},
    {NoContext, "No context found when trying to resolve a %s value"},
    {CorruptedBinding, "Corrupted Binding, variable not found: %s"},
    {UnknownVariable, "Unknown variable name: %s"},
    {InvalidVariableName, "Invalid variable name, %s.  Possible encoding error"},
    {SharedConstant, "A shared constant cannot be changed"},
    {NoSuchFact, "No Such Fact with ID=%s exists"},
    {NotFuzzyFact, "Fact is not a fuzzy fact"},
    // templates, slots, facts, types
    {BadSlotType, "Bad Slot Type"},
    {InvalidDefaultSlotValue, "Invalid default slot value: %s"},
    {MultislotIsNotSlot, "Invalid value for existing slot, multislot is not slot"},
    {InvalidDefaultMultislot, "Invalid default value for a multislot, must be a multifield: %s"},
    {BadSlotName, "Bad Slot Name: %s"},
    {SlotIsNotMultislot, "Invalid value for existing slot, slot is not multislot"},
    {NoSuchSlotName, "No such slot name: \"%s\""},
    {SlotIndexMismatch, "Index does not match fact slot name: %s and %s"},
    {UnexpectedCharacter, "\"%s\" contains unexpected character: \"%s\""},
    {ValueIsNotValid, "Value \"%s\" is not valid, %s"},
    {CannotMixFuzzy, "Cannot mix fuzzy type with other primitive types"},
    {InvalidForSlot, "%s for %s slot"},
    {FactTemplateMissing, "Fact Template is missing"},
    {FactTemplatesDiffer, "Unable to assign slot values, fact templates are different: %s and %s"},
    {UnableToFindFact, "Unable to find fact f-%d"},
    {NoTypeConstraints, "Defined Type %s does not have %s constraints"},
    {CannotContainConstraint, "Defined Type %s cannot contain %s constraint types"},
    {TypeInheritanceLoop, "Type inheritance loop detected, %s type cannot be an ancestor of itself"},
    {MultislotCardinality, "Multislot must have between %d and %d elements"},
    {InvalidFuzzyValue, "invalid fuzzy value"},
    {NotInAllowedValues, "Not in allowed values"},
    {RangeError, "Range must be between %s and %s"},
    // registries and modules
    {DuplicateRules, "Duplicate Rules defined with same name: \"%s\""},
    {DuplicateTemplates, "Fact Template Name already exists: \"%s\""},
    {DuplicateTypes, "Defined Type Name already exists: \"%s\""},
    {DuplicateFunctions, "Function Name already exists: \"%s\""},
    {DuplicateModules, "Module Name already exists: \"%s\""},
    {DuplicateStreams, "Duplicate streams defined with same name: \"%s\""},
    {InvalidStreamName, "Invalid stream name: %s"},
    {FunctionNamesDiffer, "Function names do not match: %s and %s"},
    {NonImportedType, "Fact Template, \"%s\", depends on non-imported Defined Type: \"%s\""},
    {TemplatesCorrupted, "Fact templates inheritance structure corrupted"},
    {TypesCorrupted, "Defined types inheritance structure corrupted"},
    {NoSuchModule, "No such module with name=%s exists"},
    {ReservedModuleName, "Module \"MAIN\" is reserved name and cannot be used for any other module"},
    {InvalidModuleDependency,
     "Invalid module dependency.  Module \"%s\" imports module \"%s\" which is later in the module list"},
    // engine
    {UnableToParseType, "Unable to parse strings of %s at this time"},
    {FunctionUnassigned, "Function is unimplemented or unassigned: %s"},
    {EventUnassigned,
     "The %s event has not been implemented or unassigned.\r\n"
     "Warning: Implementation of this function requires a blocking mechanism, \r\n"
     "such as ShowModal, or the use of threads"},
    {UndefinedEngine, "Unknown/Undefined Inference Engine"},
    {MissingObject, "Missing %s"},
    {ParserBusy, "The parser is at work"},
    {NotLocked, "The engine is not locked by this thread"},
    // functions
    {TooFewArguments, "Too few arguments for %s"},
    {TooManyArguments, "Too many arguments for %s"},
    {InvalidArgumentType, "Invalid argument type for deffunction: \"%s\".  Expected %s"},
    {InvalidDestruction, "Invalid destruction of pointer reference, reference counting greater than 0"},
    {SyntaxError, "Syntax Error: %s"},
    {MissingThen, "Missing \"then\" in an IF statement"},
    {MissingCatch, "Missing catch or finally statement for try block"},
    {CannotWatch, "Cannot watch %s"},
    {CannotUnwatch, "Cannot unwatch %s"},
    {InvalidMultifieldRange, "Invalid multifield begin and end parameters: %d, %d"},
    {CannotBackchain, "Cannot backchain on special CEs: %s"},
    {ExpectedNumeric, "Expected numeric argument to %s function call"},
    {UnknownConstructName, "Unknown %s name: %s"},
    {InvalidSubstring, "Invalid substring parameters: %d, %d"},
    {MultifieldLengths, "Invalid multifield arguments, the two multifields must be of the same length"},
    {InvalidPaymentTime, "Invalid payment time: \"%s\".  Expected ptEndOfPeriod or ptStartOfPeriod"},
    {NoConvergence, "No result of %s found: the iteration does not converge"},
    {InvalidFileAccess, "Invalid File Access Specifier: \"%s\""},
    {ExpectedComponent, "Expected component argument to %s function call"},
    {CannotFree, "Cannot free the %s: something else owns it or is at work with it"},
    // parser
    {ParsingError, "Parsing Error, %s in %s at line %s: %s"},
    {ErrorsParsingStream, "Errors parsing stream:\r\n%s"},
    {UnexpectedSymbol, "Unexpected symbol, expected a \"(\", constant, or global variable: %s"},
    {UnterminatedString, "Invalid string value, string was not terminated"},
    {InvalidTokenHint, "Invalid Token hint for parsing token: %s"},
    {ExpectedConstruct, "Expected \"( %s\""},
    {MissingName, "Missing name"},
    {UnexpectedEndOfStream, "Unexpected end of stream"},
    {ExpectedOpen, "Expected \"(\""},
    {ExpectedClose, "Expected \")\""},
    {ExpectedAtom, "Expected \"( <atom>\""},
    {BadArgument, "Bad Argument: %s"},
    {EqualsInFact, "\"=\" cannot appear as an atom within a fact"},
    {BadSlotValue, "Bad Slot Value: %s"},
    {FuzzyTypeNeeded, "Fuzzy Type Definition needed to parse value"},
    {InvalidFuzzyExpression, "Invalid Fuzzy Expression: %s"},
    {ExpectedValueMissing, "Expected value missing"},
    {ExpectedCoordinate, "Expected number, variable, or function call"},
    {BadVariableName, "Bad Variable Name, must start and end with an asterisk: %s"},
    {ExpectedToken, "Expected \"%s\""},
    {UnknownFactTemplate, "Unknown fact template: %s"},
    {MissingParentTemplate, "Missing name of parent template to extend"},
    {MissingTemplateType, "Missing name of type for fact template"},
    {UnknownTypeName, "type name unknown or invalid: %s"},
    {ExpectedTemplateBody, "Expected \"(\", \"extends\", or \"is-a\""},
    {InvalidSlotType, "Invalid slot type: %s"},
    {InvalidSlotQualifier, "Invalid slot qualifier: %s"},
    {FuzzyTypeUnmodifiable,
     "Invalid attempt to modify fuzzy type in fact template slot, fuzzy types cannot be modified"},
    {MissingRange, "Missing range statement"},
    {ExpectedIntegerFor, "Expected integer, variable, or function call for %s"},
    {ExpectedAllowedValue, "Expected allowed value argument for deftype, received %s"},
    {MissingKeyword, "Missing keyword.  Expected \"%s\""},
    {MultipleInheritance, "Multiple inheritance is not allowed for deftypes"},
    {InvalidModuleKeyword, "Invalid defmodule keyword: \"%s\""},
    {ModuleDoesNotExist, "Module does not exist: \"%s\""},
    {MissingExportKeyword, "Missing module export keyword (?ALL, ?NONE, deftype, or deftemplate): \"%s\""},
    {InvalidNameInList, "Invalid name in defmodule name list: \"%s\""},
    {UnexpectedFunctionCharacter, "Unexpected character found: \"%s\""},
    {ExpectedRuleProperty, "Expected rule property, salience, oneshot, or enabled"},
    {ExpectedArrow, "Expected \"=>\""},
    {ExpectedBindArrow, "Expected \"<-\""},
    {CannotBindNot, "\"not\" and \"test\" CEs cannot be bound to variables"},
    {SlotNotMultislot, "Slot \"%s\" is not a multislot"},
    // rules and matching
    {FirstUseNegated, "First Use of Variable is negated, variable name is %s"},
    {CannotBindNegated, "Cannot bind a negated pattern to a variable"},
    {RuleMissing, "Rule missing for pattern"},
    {InvalidTokenAction, "Invalid Token Action"},
    {FunctionInBackchain, "Cannot use Function calls in backchained patterns: %s"},
    {InvalidCallType, "Invalid Call Type: %s"},
    {InvalidBackchainPattern, "Invalid backward chaining pattern added to the node"},
    // fuzzy reasoning
    {InvalidFuzzyPoint, "Invalid fuzzy point (%s %s)"},
    {InvalidFuzzyShape, "Invalid fuzzy shape: %s"},
    {InvalidFuzzyOperand, "Invalid value for fuzzy operator %s: %s"},
    {InvalidUniverse, "Invalid universe of discourse: %s to %s"},
    {FuzzyTermUnchangeable, "A term of a fuzzy variable cannot be changed: %s"},
    {InvalidFuzzyTermName, "Invalid fuzzy term name: %s"},
    {FuzzyVariableUndefined, "fuzzy variable is not defined"},
    {InvalidFuzzyItem, "Invalid item in fuzzy expression: %s"},
    {MissingFuzzyBracket, "Missing Fuzzy Close Bracket in expression"},
    {MissingFuzzyOperand, "Missing fuzzy operand to be modified by hedge: %s"},
    {CannotUniteFacts, "Cannot union two facts with different fact templates: %s and %s"},
    {InvalidFuzzyInference, "Invalid Fuzzy Inference specified (%s), expected %s"},
    {InvalidFuzzyCorrelation, "Invalid Fuzzy Correlation specified (%s), expected %s"},
    {InvalidFuzzyOperation, "Invalid Fuzzy operation specified (%s) for %s, expected %s"},
    {FuzzyVariablesDiffer, "Fuzzy variables are different, %s is a term from %s and %s is a term from %s"},
    {InvalidPlotLimits, "Invalid low and high limits specified: %s to %s"},
    {InvalidPlotCharacters, "Missing plot characters"},
    // limits
    {RecursionTooDeep, "Nesting or recursion is too deep"},
});

static_assert(kMessages.size() == kMessageCount, "every message has one text");

// A text in the wrong row would be shown under another message's identifier.
[[nodiscard]] constexpr bool RowsMatchIdentifiers() {
  for (size_t i = 0; i < kMessages.size(); ++i) {
    if (static_cast<size_t>(kMessages[i].id) != i) return false;
  }
  return true;
}
static_assert(RowsMatchIdentifiers(), "rows stand in the order of TKBMessage");

}  // namespace

std::string_view MessageText(TKBMessage id) noexcept {
  const auto row = static_cast<size_t>(id);
  return row < kMessageCount ? kMessages[row].text : std::string_view();
}

std::string FormatMessage(TKBMessage id, const std::vector<std::string>& args) {
  return FormatText(MessageText(id), args);
}

}  // namespace kb
