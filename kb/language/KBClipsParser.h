// The parser of the language: a recursive descent over the token stream.
//
// There is no syntax tree: each routine builds the objects of the system themselves. Faults go through
// ParseError and end the top-level expression; the frame in KBParser.h tells what is done about them.
//
// Where things are: KBClipsParser.cpp holds the frame (texts, dispatch, heads of constructs, errors,
// printing), KBClipsParserValues.cpp values, calls and facts, KBClipsParserTemplates.cpp templates, slots and
// defined types, KBClipsParserRules.cpp rules, KBClipsParserConstructs.cpp fact sets, modules, functions and
// global variables. Tested in tests/language/.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kb/common/DataStringList.h"
#include "kb/language/KBParser.h"

namespace kb {

class TModuleImportExport;

/// Which parenthesised arguments of a function are no nested calls: from `start` on they are slot-value
/// pairs, or, if `start` is 0, all of them are facts.
struct TSlotArgRecord {
  uint16_t start = 0;
  uint16_t stop = 0;  ///< 0 stands for 65535
  friend bool operator==(const TSlotArgRecord&, const TSlotArgRecord&) = default;
};

class TKBClipsParser : public TKBParser {
 public:
  /// Raises EInvalidCast when `stream` is given and is no TKBClipsStream.
  TKBClipsParser(TInferenceEngine& owner, TKBTokenizerStream* stream);
  ~TKBClipsParser() override;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  void Assign(const TPersistent& source) override;
  /// Raises EInvalidCast when the stream is no TKBClipsStream.
  void SetStream(TKBTokenizerStream* stream) override;

  // The functions with slot arguments: assert, fuzzy-assert, fuzzy-assert-unconditional, modify, duplicate,
  // and those of the host. Indices from 0; a bad one raises EListError.
  int AddSlotFunction(std::string_view name, int start, int stop);
  [[nodiscard]] int GetSlotFunctionCount() const noexcept { return slotFunctions_.GetCount(); }
  [[nodiscard]] int IndexOfSlotFunction(std::string_view name) const { return slotFunctions_.IndexOf(name); }
  [[nodiscard]] const std::string& GetSlotFunctionName(int index) const { return slotFunctions_.Get(index); }
  [[nodiscard]] int GetSlotFunctionStart(int index) const { return slotFunctions_.GetData(index).start; }
  /// 65535 for a stored 0.
  [[nodiscard]] int GetSlotFunctionEnd(int index) const;
  /// Both keep the start at or below the end, moving the other one.
  void SetSlotFunctionStart(int index, int start);
  void SetSlotFunctionEnd(int index, int stop);

  [[nodiscard]] TParsedType FindConstructType(std::string_view name) const override;
  /// Prefix, name of the slot if there is one, and the index if it is above 0.
  [[nodiscard]] virtual std::string GenerateVarName(int index, std::string_view prefix, const TFactSlot* slot) const;
  [[nodiscard]] IKBValue GenerateVariable(const TStrings& names, const TFactTemplate& factTemplate,
                                          std::string_view slotName, std::string_view prefix, bool unique) override;
  [[nodiscard]] IKBValue GenerateVariable(const TStrings& names, const TFactSlot* slot, std::string_view prefix,
                                          bool unique) override;
  [[nodiscard]] std::string GetSyntaxStatement(const IUserFunction& function) const override;
  [[nodiscard]] TParsedType GetConstructType() override;
  /// Kind of the expression that begins with `token`; a "(" is put back.
  [[nodiscard]] virtual TParsedType GetConstructType(const IStreamToken& token);
  [[nodiscard]] std::string_view GetConstructName(TParsedType type) const override;

  bool Parse(bool executeFunCalls) override;
  bool ParseExpression(bool executeFunCalls) override;
  bool LoadFacts() override;

  [[nodiscard]] IKBDefinedType ParseDefinedType() override;
  [[nodiscard]] TFactSet* ParseFactSet() override;
  [[nodiscard]] IFact ParseFact() override;
  TKBText ParseFactSlot(TFact& fact) override;
  [[nodiscard]] IFactTemplate ParseFactTemplate() override;
  [[nodiscard]] IFactSlot ParseFactTemplateSlot() override;
  [[nodiscard]] IInterpretedFunction ParseFunction() override;
  [[nodiscard]] IFunCall ParseFunCall() override;
  [[nodiscard]] Ref<IFuzzySet> ParseFuzzySet(const Ref<IFuzzyVariable>& variable) override;
  [[nodiscard]] Ref<IFuzzyVariable> ParseFuzzyVariable() override;
  std::string ParseFullName(std::string& name) override;
  [[nodiscard]] IKBValue ParseVariable(std::string& name) override;
  bool ParseGlobalVariables() override;
  [[nodiscard]] IValueVector ParseList() override;
  IKBValue ParseNExecuteFunCall() override;
  [[nodiscard]] IModule ParseModule() override;
  [[nodiscard]] std::unique_ptr<TKBPattern> ParsePattern(int negated, TRuleVariables& variables) override;
  [[nodiscard]] TRule* ParseRule() override;
  void ParseRuleActions(TRule& rule, TRuleVariables& variables) override;
  void ParseRulePatterns(TRule& rule, TRuleVariables& variables) override;
  [[nodiscard]] ISingletonsVector ParseSingletons() override;
  [[nodiscard]] IValueVector ParseValuePair() override;
  [[nodiscard]] IKBValue ParseValue() override;
  [[nodiscard]] IKBValue ParseValue(const TFactSlot& slot) override;
  [[nodiscard]] IKBValue ParseValue(TKBTypes types, const IKBDefinedType& definedType) override;

  [[nodiscard]] std::string PrettyPrint(const TFact& fact) override;
  [[nodiscard]] std::string PrettyPrint(const TFact& fact, std::string_view slotName) override;
  [[nodiscard]] std::string PrettyPrint(const TFact& fact, std::string_view slotName, const IKBValue& value) override;
  [[nodiscard]] std::string PrettyPrint(const TFact& fact, std::string_view slotName,
                                        std::string_view valueText) override;
  [[nodiscard]] std::string PrettyPrint(const TFactSet& factSet) override;
  [[nodiscard]] std::string PrettyPrint(const TFactSlot& slot) override;
  [[nodiscard]] std::string PrettyPrint(const TFactTemplate& factTemplate) override;
  [[nodiscard]] std::string PrettyPrint(const TRule& rule) override;
  [[nodiscard]] std::string PrettyPrint(const TRule& rule, TRuleConstruct construct) override;
  [[nodiscard]] std::string PrettyPrint(const TKBPattern& pattern) override;
  [[nodiscard]] std::string PrettyPrint(const TFunctionCall& funCall) override;
  [[nodiscard]] std::string PrettyPrint(const TInterpretedFunction& function) override;
  [[nodiscard]] std::string PrettyPrint(const IUserFunction& function) override;
  [[nodiscard]] std::string PrettyPrint(const TKBDefinedType& definedType) override;
  [[nodiscard]] std::string PrettyPrint(const TSingletonsVector& singletons) override;
  [[nodiscard]] std::string PrettyPrint(const TModule& module) override;
  [[nodiscard]] std::string PrettyPrint(std::string_view name, const IKBValue& value) override;
  [[nodiscard]] std::string PrettyPrint(const TQDStringHashTable<IKBValue>& variables) override;
  [[nodiscard]] std::string PrettyPrint(TParsedType type) override;
  [[nodiscard]] std::string PrettyPrint(const IFuzzySet& set) override;
  [[nodiscard]] std::string PrettyPrint(const IFuzzyVariable& variable) override;

 protected:
  /// What stands before the body of a construct.
  struct THeader {
    TKBName name;
    std::string module;   // never empty in a construct of a module
    std::string comment;  // may be empty
    IStreamToken token;   // the first token behind the head
  };
  /// The head of a construct that belongs to a module, which becomes current. `where` names the routine in errors.
  [[nodiscard]] virtual THeader ParseHeader(std::string_view keyword, std::string_view where, bool allowComment);
  /// The head of a construct whose name has no module part.
  [[nodiscard]] virtual THeader ParsePlainHeader(std::string_view keyword, std::string_view where, bool allowComment);
  /// Raises the parse error with routine, line and the expression so far.
  [[noreturn]] void ParseError(std::string_view where, TKBMessage message, const std::vector<std::string>& args = {});
  /// The same with a text that another part worded.
  [[noreturn]] void ParseErrorText(std::string_view where, TKBMessage message, const std::string& text);
  /// The type names of a slot or deftype up to ")", which stays. `definedType` receives the defined type
  /// among them.
  [[nodiscard]] virtual TKBTypes ParseSlotTypes(IKBDefinedType& definedType);
  /// "(range min max)" or "(cardinality min max)" into the type. `token` receives the closing parenthesis.
  virtual void ParseRangeAndCardinality(TKBDefinedType& definedType, IStreamToken& token, bool isCardinality,
                                        bool allowVariable);
  /// "(allowed-... value+)" into the type. `token` receives the closing parenthesis.
  virtual void ParseAllowedEnumerations(TKBDefinedType& definedType, IStreamToken& token);
  /// Names up to ")", which stays, behind those that `names` holds.
  virtual void ParseNameList(std::vector<std::string>& names);

 private:
  // Tokens.
  [[nodiscard]] TKBClipsStream& Stream() const;
  [[nodiscard]] IStreamToken Next() { return Stream().NextToken(); }
  void Back(const IStreamToken& token) { Stream().PutBackToken(token); }
  [[nodiscard]] bool NextIsOpen();
  void Expect(int dataType, std::string_view where);
  void CheckClose(const IStreamToken& token, std::string_view where);
  struct TOpenAtom {
    IStreamToken open;
    IStreamToken atom;
  };
  [[nodiscard]] TOpenAtom ExpectOpenAtom(std::string_view where);
  [[nodiscard]] TKBContext& Context() const;
  [[nodiscard]] IKBValue ResolveNow(const IKBValue& value) const;

  // The frame.
  struct TOutcome;
  bool ParseImmediate(bool executeFunCalls);
  bool ParseGathering();
  [[nodiscard]] std::string DescribeFault(std::string_view message);
  void ParseTopLevel(const IStreamToken& token, bool execute, TOutcome& outcome);
  void AddConstruct(TOutcome& outcome);
  void AddRule(TOutcome& outcome);
  void AddFactSet(TOutcome& outcome);
  void AddModule(TOutcome& outcome);
  void StartHeader(std::string_view keyword, std::string_view where);
  void FinishHeader(std::string_view keyword, bool allowComment, THeader& header);
  void EnterModule(std::string& module);
  [[nodiscard]] bool NameIsTaken(std::string_view keyword, std::string_view name) const;

  // Values, calls and facts.
  [[nodiscard]] IFunCall BeginFunCall(TSlotArgRecord& slots, bool& hasSlots);
  void ParseNestedArgument(TFunctionCall& call, const IStreamToken& open, const TSlotArgRecord& slots, bool hasSlots);
  [[nodiscard]] IKBValue ParseParenthesised(const IStreamToken& open);
  [[nodiscard]] IKBValue ParseCallBehindEquals(std::string_view where);
  [[nodiscard]] IKBValue ParseListElement(const IStreamToken& token);
  [[nodiscard]] IKBValue ParseTyped(TKBTypes types, const IKBDefinedType& definedType);
  [[nodiscard]] IKBValue FittingValue(const IKBValue& value, TKBTypes types, const IKBDefinedType& definedType);
  [[nodiscard]] IKBValue ParseCoordinate();

  // Fuzzy values.
  [[nodiscard]] IKBValue EvalFuzzy(const IKBValue& value, const IKBDefinedType& definedType, std::string_view where);
  [[nodiscard]] IKBValue FuzzyList(const IKBValue& value, const IKBDefinedType& definedType, std::string_view where);
  [[nodiscard]] IKBValue ParseSingleFuzzy(const IKBDefinedType& definedType, std::string_view where);
  [[nodiscard]] IKBValue ParseFuzzyField(IStreamToken token, const IKBDefinedType& definedType, std::string_view where);
  void ParseFuzzyBody(const Ref<IFuzzyVariable>& variable);
  void ParseFuzzyTerms(const Ref<IFuzzyVariable>& variable);
  [[nodiscard]] static std::string NameText(const TKBStreamToken& token);

  // Templates and defined types.
  struct TSlotDraft;
  void ParseTemplateBody(TFactTemplate& factTemplate, IStreamToken& token);
  void ParseSlotQualifier(TSlotDraft& draft, const IStreamToken& open);
  void ParseSlotDefault(TSlotDraft& draft, bool dynamic);
  void ParseSlotType(TSlotDraft& draft);
  void ParseSlotLimits(TSlotDraft& draft, const IStreamToken& open, const IStreamToken& word);
  void FinishSlot(TSlotDraft& draft);
  void ParseRangeEnd(bool isCardinality, bool allowVariable, IKBValue& end);
  [[nodiscard]] TKBTypes ParseTypeName(const IStreamToken& token, IKBDefinedType& definedType);
  void ParseTypeHead(TKBDefinedType& definedType, const THeader& header);
  void CheckAncestors(const TKBDefinedType& parent, const std::string& name) const;
  void ParseTypeBody(TKBDefinedType& definedType);

  // Rules.
  struct TConstraintPlace;
  void ParseDeclarations(TRule& rule);
  void ParseSalience(TRule& rule);
  [[nodiscard]] bool ParseFlag();
  [[nodiscard]] std::unique_ptr<TKBPattern> ParseWrapped(std::string_view head, int negated, TRuleVariables& variables);
  [[nodiscard]] std::unique_ptr<TKBPattern> ParseTest(int negated);
  [[nodiscard]] std::unique_ptr<TKBPattern> ParsePlainPattern(std::string_view head, int negated,
                                                              TRuleVariables& variables);
  void ParseConstraints(TConstraintPlace& place, IStreamToken token);
  void ParseTerm(TConstraintPlace& place, IStreamToken token);
  void AddReturnValueTest(TConstraintPlace& place, bool negated);
  void AddFuzzyTests(TConstraintPlace& place, const IKBValue& value, bool negated);

  // Modules.
  void ParseImport(TModule& module);
  void ParseShared(TModuleImportExport& record);

  TDataStringList<TSlotArgRecord> slotFunctions_;
  TKBClipsStream* clipsStream_ = nullptr;  // the stream of the frame, in its own class
};

}  // namespace kb
