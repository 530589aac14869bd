// The frame of the parser: what every dialect offers, the events of parsing, and the parse error.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "kb/common/Table.h"
#include "kb/language/KBTokenizer.h"
#include "kb/platform/Strings.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBTypes.h"
#include "kb/values/KBValue.h"
#include "kb/values/ValueVector.h"

namespace kb {

class TKBParser;

/// A fault in a text of the language. Id() is that of the message proper; what() is "Parsing Error, %s in %s at
/// line %s: %s" with message, routine, line and the expression so far.
class EKBParseException : public EKBException {
 public:
  EKBParseException(TKBMessage id, std::string text, int lineNumber = 0)
      : EKBException(id, std::move(text)), lineNumber_(lineNumber) {}

  /// Line of the token at which the fault was seen.
  [[nodiscard]] int GetLineNumber() const noexcept { return lineNumber_; }
  /// What would have been accepted, for hosts that record it; made at the first call, shared by copies.
  [[nodiscard]] TStrings& GetExpected();

 private:
  int lineNumber_;
  std::shared_ptr<TStringList> expected_;
};

/// Variables of a rule and the token class (dtVariable or dtMultiVariable) of their first use.
using TRuleVariables = TQDStringHashTable<int32_t>;

/// Which side of a rule is to be written.
enum TRuleConstruct : uint8_t { rcPattern, rcAction };

// Events. Each is called when the thing is complete; it may be unassigned.
using TParseEvent =
    std::function<void(TKBParser& sender, TParsedType type, TObject* object, const Ref<RefCounted>& reference)>;
template <class T>
using TParsedEvent = std::function<void(TKBParser& sender, T parsed)>;
using TParseVariableEvent = std::function<void(TKBParser& sender, std::string_view name, const IKBValue& value)>;

/// Turns text into the objects of the system. One parser belongs to an engine and gets a token stream per text.
///
/// The parse operations take tokens from the stream and leave it behind what they consumed. A fault raises
/// EKBParseException; what was made by then is freed. Results are not registered anywhere, except by
/// ParseExpression and what is built on it: the caller owns them, or, for rules and fact sets, which are
/// components, the engine does until the caller frees them.
class TKBParser : public TPersistent {
 public:
  /// `owner` owns the parser; `stream` is not owned and may be null.
  TKBParser(TInferenceEngine& owner, TKBTokenizerStream* stream) noexcept : owner_(owner), stream_(stream) {}
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  /// Copies stream, flags, error policy and limit; no events.
  void Assign(const TPersistent& source) override;
  [[nodiscard]] TInferenceEngine& GetOwner() const noexcept { return owner_; }
  /// Takes effect at once; null takes the stream away.
  virtual void SetStream(TKBTokenizerStream* stream) { stream_ = stream; }
  [[nodiscard]] TKBTokenizerStream* GetStream() const noexcept { return stream_; }

  // Settings.
  /// A fact may only name a template that exists; false by default.
  [[nodiscard]] bool GetStrictFactTemplates() const noexcept { return strictFactTemplates_; }
  void SetStrictFactTemplates(bool value) noexcept { strictFactTemplates_ = value; }
  /// Slot values are checked while parsing; true by default. The engine keeps it in step with its TypeChecks.
  [[nodiscard]] bool GetStaticTypeChecks() const noexcept { return staticTypeChecks_; }
  void SetStaticTypeChecks(bool value) noexcept { staticTypeChecks_ = value; }
  /// What Parse does with a fault; ehRaiseImmediate by default.
  [[nodiscard]] TErrorHandling GetErrorHandling() const noexcept { return errorHandling_; }
  void SetErrorHandling(TErrorHandling value) noexcept { errorHandling_ = value; }
  /// Parse gives up with ehRaiseAllAtEnd when it has found more faults than this; 10 by default.
  [[nodiscard]] int GetMaxErrors() const noexcept { return maxErrors_; }
  void SetMaxErrors(int value) noexcept { maxErrors_ = value; }
  /// A construct whose name is taken gets another one; false by default.
  [[nodiscard]] bool GetAutoRenameConstructs() const noexcept { return autoRenameConstructs_; }
  void SetAutoRenameConstructs(bool value) noexcept { autoRenameConstructs_ = value; }
  /// The module part of a construct's name is ignored; false by default.
  [[nodiscard]] bool GetUseCurrentModule() const noexcept { return useCurrentModule_; }
  void SetUseCurrentModule(bool value) noexcept { useCurrentModule_ = value; }
  /// Printed constructs carry "module::" before their name; true by default.
  [[nodiscard]] bool GetPrintModulePrefix() const noexcept { return printModulePrefix_; }
  void SetPrintModulePrefix(bool value) noexcept { printModulePrefix_ = value; }

  // Events.
  TParseEvent OnParse;  ///< once for each top-level expression
  TParsedEvent<const IKBDefinedType&> OnParseDefinedType;
  TParsedEvent<const IFact&> OnParseFact;
  TParsedEvent<TFactSet&> OnParseFactSet;
  TParsedEvent<const IFactTemplate&> OnParseFactTemplate;
  TParsedEvent<const IInterpretedFunction&> OnParseFunction;
  TParsedEvent<const IFunCall&> OnParseFunCall;
  TParsedEvent<const Ref<IFuzzySet>&> OnParseFuzzySet;
  TParsedEvent<const Ref<IFuzzyVariable>&> OnParseFuzzyVariable;
  TParsedEvent<const ISingletonsVector&> OnParseSingletons;  ///< kept for hosts; no operation calls it
  TParseVariableEvent OnParseVariable;
  TParsedEvent<TKBPattern&> OnParsePattern;
  TParsedEvent<TRule&> OnParseRule;
  TParsedEvent<const IModule&> OnParseModule;

  /// Takes all events away.
  void ClearEvents() noexcept;

  // Small operations.
  /// Clears the stream, if there is one.
  virtual void Clear();
  /// The type whose keyword is `name`, or ptNone.
  [[nodiscard]] virtual TParsedType FindConstructType(std::string_view name) const = 0;
  /// A new name from the engine.
  [[nodiscard]] virtual std::string GenerateSymbol(std::string_view prefix);
  /// A variable named by prefix, slot and, from 1, a number; with `unique` the first such name that `names`
  /// does not hold. `slotName` may be empty; the template must have the slot.
  [[nodiscard]] virtual IKBValue GenerateVariable(const TStrings& names, const TFactTemplate& factTemplate,
                                                  std::string_view slotName, std::string_view prefix, bool unique) = 0;
  /// The same for a slot that is at hand, or none.
  [[nodiscard]] virtual IKBValue GenerateVariable(const TStrings& names, const TFactSlot* slot, std::string_view prefix,
                                                  bool unique) = 0;
  /// How a call of the function is written.
  [[nodiscard]] virtual std::string GetSyntaxStatement(const IUserFunction& function) const = 0;
  /// Kind of the next expression, which stays in the stream.
  [[nodiscard]] virtual TParsedType GetConstructType() = 0;
  /// Keyword of a construct, or empty.
  [[nodiscard]] virtual std::string_view GetConstructName(TParsedType type) const = 0;

  // Whole texts.
  /// Parses to the end; true. With ehRaiseAllAtEnd calls are executed in any case, the faults are gathered
  /// and raised together at the end.
  virtual bool Parse(bool executeFunCalls) = 0;
  /// One top-level expression: a construct is registered, a value or call printed, then OnParse called. False
  /// at the end of the text.
  virtual bool ParseExpression(bool executeFunCalls) = 0;
  /// A text of facts only; each is asserted.
  virtual bool LoadFacts() = 0;

  // Parts of the language.
  [[nodiscard]] virtual IKBDefinedType ParseDefinedType() = 0;
  [[nodiscard]] virtual TFactSet* ParseFactSet() = 0;
  [[nodiscard]] virtual IFact ParseFact() = 0;
  /// One slot of `fact`, the current token being its first. Gives the slot's name.
  virtual TKBText ParseFactSlot(TFact& fact) = 0;
  [[nodiscard]] virtual IFactTemplate ParseFactTemplate() = 0;
  [[nodiscard]] virtual IFactSlot ParseFactTemplateSlot() = 0;
  [[nodiscard]] virtual IInterpretedFunction ParseFunction() = 0;
  [[nodiscard]] virtual IFunCall ParseFunCall() = 0;
  [[nodiscard]] virtual Ref<IFuzzySet> ParseFuzzySet(const Ref<IFuzzyVariable>& variable) = 0;
  [[nodiscard]] virtual Ref<IFuzzyVariable> ParseFuzzyVariable() = 0;
  /// "module::name" or "name". Gives the module part, which may be empty; `name` receives the rest.
  virtual std::string ParseFullName(std::string& name) = 0;
  /// "?*name* = value". Gives the value; `name` receives the name with its asterisks.
  [[nodiscard]] virtual IKBValue ParseVariable(std::string& name) = 0;
  /// A whole defglobal; the variables are stored in the engine.
  virtual bool ParseGlobalVariables() = 0;
  /// Values up to ")", which stays; never null.
  [[nodiscard]] virtual IValueVector ParseList() = 0;
  /// A call, executed at once in the engine's context. Gives its result.
  virtual IKBValue ParseNExecuteFunCall() = 0;
  [[nodiscard]] virtual IModule ParseModule() = 0;
  /// One conditional element inside `negated` negations.
  [[nodiscard]] virtual std::unique_ptr<TKBPattern> ParsePattern(int negated, TRuleVariables& variables) = 0;
  [[nodiscard]] virtual TRule* ParseRule() = 0;
  virtual void ParseRuleActions(TRule& rule, TRuleVariables& variables) = 0;
  virtual void ParseRulePatterns(TRule& rule, TRuleVariables& variables) = 0;
  [[nodiscard]] virtual ISingletonsVector ParseSingletons() = 0;
  /// "(name value...)" as a vector of the name and the value.
  [[nodiscard]] virtual IValueVector ParseValuePair() = 0;
  /// Values up to ")", which stays: null for none, the value, or a list of several.
  [[nodiscard]] virtual IKBValue ParseValue() = 0;
  /// The value of a slot, checked if StaticTypeChecks.
  [[nodiscard]] virtual IKBValue ParseValue(const TFactSlot& slot) = 0;
  /// A value of one of the types, checked against them and `definedType`, which may be null, if StaticTypeChecks.
  [[nodiscard]] virtual IKBValue ParseValue(TKBTypes types, const IKBDefinedType& definedType) = 0;

  // Back to text; see kb/language/PrettyPrinter.h.
  [[nodiscard]] virtual std::string PrettyPrint(const TFact& fact) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const TFact& fact, std::string_view slotName) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const TFact& fact, std::string_view slotName,
                                                const IKBValue& value) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const TFact& fact, std::string_view slotName,
                                                std::string_view valueText) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const TFactSet& factSet) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const TFactSlot& slot) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const TFactTemplate& factTemplate) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const TRule& rule) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const TRule& rule, TRuleConstruct construct) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const TKBPattern& pattern) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const TFunctionCall& funCall) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const TInterpretedFunction& function) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const IUserFunction& function) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const TKBDefinedType& definedType) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const TSingletonsVector& singletons) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const TModule& module) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(std::string_view name, const IKBValue& value) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const TQDStringHashTable<IKBValue>& variables) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(TParsedType type) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const IFuzzySet& set) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const IFuzzyVariable& variable) = 0;

 private:
  TInferenceEngine& owner_;
  TKBTokenizerStream* stream_;
  bool strictFactTemplates_ = false;
  bool staticTypeChecks_ = true;
  bool autoRenameConstructs_ = false;
  bool useCurrentModule_ = false;
  bool printModulePrefix_ = true;
  TErrorHandling errorHandling_ = ehRaiseImmediate;
  int maxErrors_ = 10;
};

}  // namespace kb
