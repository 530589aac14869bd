// Fact sets, modules, functions, global variables, and the way back to text.
#include <memory>
#include <utility>

#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/functions/KBPackages.h"
#include "kb/language/KBClipsParser.h"
#include "kb/language/KBRule.h"
#include "kb/language/PrettyPrinter.h"
#include "kb/values/FactSet.h"
#include "kb/values/KBModule.h"

namespace kb {

namespace {

constexpr std::string_view kModule = "ParseModule";
constexpr std::string_view kFunction = "ParseFunction";
constexpr std::string_view kAll = "ALL";
constexpr std::string_view kNone = "NONE";

bool IsScope(const TKBStreamToken& token) {
  return token.Is(dtVariable) && (token.GetText() == kAll || token.GetText() == kNone);
}

TSharedConstructs ScopeOf(const TKBStreamToken& token) { return token.GetText() == kAll ? mieAll : mieNone; }

}  // namespace

// Fact sets.
//
// fact-set = "(" "deffacts" full-name [string] fact* ")"

TFactSet* TKBClipsParser::ParseFactSet() {
  constexpr std::string_view kWhere = "ParseFactSet";
  const THeader header = ParseHeader("deffacts", kWhere, true);
  // Without an owner, so that it does not join the engine before it is complete.
  auto factSet = std::make_unique<TFactSet>(nullptr, header.name, header.module);
  factSet->SetComment(header.comment);
  IStreamToken token = header.token;
  while (token->Is(kTokenOpen)) {
    Back(token);
    factSet->AddFact(ParseFact());
    token = Next();
  }
  CheckClose(token, kWhere);
  if (OnParseFactSet) OnParseFactSet(*this, *factSet);
  GetOwner().InsertComponent(*factSet);
  return factSet.release();
}

// Modules.
//
// module = "(" "defmodule" name [string] port* ")"
// port = "(" "export" items ")" | "(" "import" module-name items ")"
// items = ?ALL | ?NONE | ("deftype" | "deftemplate") (?ALL | ?NONE | name*)

IModule TKBClipsParser::ParseModule() {
  const THeader header = ParsePlainHeader("defmodule", kModule, true);
  IModule module = MakeRef<TModule>(&GetOwner(), header.name == SMainModule);
  module->SetName(header.name);
  module->SetComment(header.comment);
  IStreamToken token = header.token;
  while (token->Is(kTokenOpen)) {
    const IStreamToken word = Next();
    if (word->IsAtom("export")) {
      ParseShared(*module->GetExportItems());
    } else if (word->IsAtom("import")) {
      ParseImport(*module);
    } else {
      ParseError(kModule, TKBMessage::InvalidModuleKeyword, {word->ToString()});
    }
    Expect(kTokenClose, kModule);
    token = Next();
  }
  CheckClose(token, kModule);
  if (OnParseModule) OnParseModule(*this, module);
  return module;
}

void TKBClipsParser::ParseImport(TModule& module) {
  const IStreamToken name = Next();
  const std::string_view text = name->GetText().View();
  if (!name->Is(dtAtom) || GetOwner().GetModules().IndexOf(text) < 0) {
    ParseError(kModule, TKBMessage::ModuleDoesNotExist, {name->ToString()});
  }
  const int index = module.IndexOfImport(text);
  if (index >= 0) {
    ParseShared(*module.GetImportModule(index));
    return;
  }
  const IModuleImport record = module.AddImport(text);
  ParseShared(*record);
  module.AddImport(record);
}

/// What is imported or exported, up to the closing parenthesis.
void TKBClipsParser::ParseShared(TModuleImportExport& record) {
  const IStreamToken kind = Next();
  if (IsScope(*kind)) {
    record.SetDefinedTypesShared(ScopeOf(*kind));
    record.SetFactTemplatesShared(ScopeOf(*kind));
    return;
  }
  if (kind->Is(dtVariable)) ParseError(kModule, TKBMessage::UnknownVariable, {kind->GetText().ToString()});
  const bool types = kind->IsAtom("deftype");
  if (!types && !kind->IsAtom("deftemplate")) {
    ParseError(kModule, TKBMessage::MissingExportKeyword, {kind->ToString()});
  }
  const IStreamToken scope = Next();
  if (!IsScope(*scope)) {
    Back(scope);
    std::vector<std::string> names = types ? record.GetDefinedTypes() : record.GetFactTemplates();
    ParseNameList(names);
    if (types) {
      record.SetDefinedTypes(std::move(names));
    } else {
      record.SetFactTemplates(std::move(names));
    }
  } else if (types) {
    record.SetDefinedTypesShared(ScopeOf(*scope));
  } else {
    record.SetFactTemplatesShared(ScopeOf(*scope));
  }
}

void TKBClipsParser::ParseNameList(std::vector<std::string>& names) {
  for (;;) {
    const IStreamToken token = Next();
    if (token->Is(kTokenClose) || token->IsEof()) {
      Back(token);
      return;
    }
    if (!token->Is(dtAtom) && !token->Is(dtString)) {
      ParseError("ParseNameList", TKBMessage::InvalidNameInList, {token->ToString()});
    }
    names.push_back(token->GetText().ToString());
  }
}

// Functions and global variables.

// function = "(" "deffunction" name [string] "(" variable* ")" [string] (call | value)* ")"
//
// Of two comments the second counts.
IInterpretedFunction TKBClipsParser::ParseFunction() {
  const THeader header = ParsePlainHeader("deffunction", kFunction, true);
  IInterpretedFunction function = MakeRef<TInterpretedFunction>();
  function->SetFunctionName(header.name);
  function->SetComment(header.comment);
  if (!header.token->Is(kTokenOpen)) ParseError(kFunction, TKBMessage::ExpectedOpen);
  IStreamToken token = Next();
  while (token->IsVariable()) {
    function->AddArgument(token->GetText().View(), static_cast<TKBType>(token->GetDataType()));
    token = Next();
  }
  CheckClose(token, kFunction);
  token = Next();
  if (token->Is(dtString)) {
    function->SetComment(token->GetText().View());
    token = Next();
  }
  while (!token->Is(kTokenClose)) {
    if (token->Is(kTokenOpen)) {
      Back(token);
      function->AddStatement(ParseFunCall());
    } else if (token->IsValue()) {
      function->AddStatement(token->Value());
    } else {
      ParseError(kFunction, TKBMessage::UnexpectedFunctionCharacter, {token->ToString()});
    }
    token = Next();
  }
  if (OnParseFunction) OnParseFunction(*this, function);
  return function;
}

// globals = "(" "defglobal" (global-name "=" (value | call))* ")"
//
// A call is stored as it is: each reset works it out anew.
bool TKBClipsParser::ParseGlobalVariables() {
  constexpr std::string_view kWhere = "ParseGlobalVariables";
  const IStreamToken open = Next();
  if (!open->Is(kTokenOpen) || Next()->GetText() != "defglobal") {
    ParseError(kWhere, TKBMessage::ExpectedConstruct, {"defglobal"});
  }
  for (;;) {
    const IStreamToken token = Next();
    if (token->Is(kTokenClose)) return true;
    Back(token);
    std::string name;
    const IKBValue value = ParseVariable(name);
    GetOwner().GetGlobalVariables().Put(name, value);
  }
}

IKBValue TKBClipsParser::ParseVariable(std::string& name) {
  constexpr std::string_view kWhere = "ParseVariable";
  const IStreamToken variable = Next();
  if (!variable->Is(dtVariable)) ParseError(kWhere, TKBMessage::MissingName);
  const std::string_view text = variable->GetText().View();
  if (!text.starts_with('*') || !text.ends_with('*')) {
    ParseError(kWhere, TKBMessage::BadVariableName, {std::string(text)});
  }
  name = text;
  if (!Next()->Is(kTokenEquals)) ParseError(kWhere, TKBMessage::ExpectedToken, {"="});
  const IStreamToken token = Next();
  IKBValue value;
  if (token->Is(kTokenOpen)) {
    Back(token);
    value = MakeRef<TKBValue>(ParseFunCall());
  } else if (token->Is(kTokenClose) || token->IsEof()) {
    ParseError(kWhere, TKBMessage::ExpectedValueMissing);
  } else {
    value = token->Value();
  }
  if (OnParseVariable) OnParseVariable(*this, name, value);
  return value;
}

// Names for hosts that build the text of rules.

std::string TKBClipsParser::GenerateVarName(int index, std::string_view prefix, const TFactSlot* slot) const {
  std::string name(prefix);
  if (slot != nullptr) name += slot->GetName().View();
  if (index > 0) name += IntegerToString(index);
  return name;
}

IKBValue TKBClipsParser::GenerateVariable(const TStrings& names, const TFactTemplate& factTemplate,
                                          std::string_view slotName, std::string_view prefix, bool unique) {
  const IFactSlot slot = slotName.empty() ? IFactSlot() : factTemplate.GetSlot(slotName);
  return GenerateVariable(names, slot.Get(), prefix, unique);
}

IKBValue TKBClipsParser::GenerateVariable(const TStrings& names, const TFactSlot* slot, std::string_view prefix,
                                          bool unique) {
  int index = 0;
  std::string name = GenerateVarName(index, prefix, slot);
  while (unique && names.IndexOf(name) >= 0) name = GenerateVarName(++index, prefix, slot);
  return MakeRef<TKBValue>(TKBText(name), dtVariable);
}

std::string TKBClipsParser::GetSyntaxStatement(const IUserFunction& function) const {
  return SyntaxStatement(function);
}

// Back to text.

std::string TKBClipsParser::PrettyPrint(const TFact& fact) { return kb::PrettyPrint(fact); }
std::string TKBClipsParser::PrettyPrint(const TFact& fact, std::string_view slotName) {
  return kb::PrettyPrint(fact, slotName);
}
std::string TKBClipsParser::PrettyPrint(const TFact& fact, std::string_view slotName, const IKBValue& value) {
  return kb::PrettyPrint(fact, slotName, value);
}
std::string TKBClipsParser::PrettyPrint(const TFact& fact, std::string_view slotName, std::string_view valueText) {
  return kb::PrettyPrint(fact, slotName, valueText);
}
std::string TKBClipsParser::PrettyPrint(const TFactSet& factSet) {
  return kb::PrettyPrint(factSet, GetPrintModulePrefix());
}
std::string TKBClipsParser::PrettyPrint(const TFactSlot& slot) { return kb::PrettyPrint(slot); }
std::string TKBClipsParser::PrettyPrint(const TFactTemplate& factTemplate) {
  return kb::PrettyPrint(factTemplate, GetPrintModulePrefix());
}
std::string TKBClipsParser::PrettyPrint(const TRule& rule) { return kb::PrettyPrint(rule, GetPrintModulePrefix()); }
std::string TKBClipsParser::PrettyPrint(const TRule& rule, TRuleConstruct construct) {
  return kb::PrettyPrint(rule, construct);
}
std::string TKBClipsParser::PrettyPrint(const TKBPattern& pattern) { return kb::PrettyPrint(pattern); }
std::string TKBClipsParser::PrettyPrint(const TFunctionCall& funCall) { return kb::PrettyPrint(funCall); }
std::string TKBClipsParser::PrettyPrint(const TInterpretedFunction& function) { return kb::PrettyPrint(function); }
std::string TKBClipsParser::PrettyPrint(const IUserFunction& function) {
  return kb::PrettyPrint(function, GetSyntaxStatement(function));
}
std::string TKBClipsParser::PrettyPrint(const TKBDefinedType& definedType) {
  return kb::PrettyPrint(definedType, GetPrintModulePrefix());
}
std::string TKBClipsParser::PrettyPrint(const TSingletonsVector& singletons) { return kb::PrettyPrint(singletons); }
std::string TKBClipsParser::PrettyPrint(const TModule& module) { return kb::PrettyPrint(module); }
std::string TKBClipsParser::PrettyPrint(std::string_view name, const IKBValue& value) {
  return kb::PrettyPrint(name, value);
}
std::string TKBClipsParser::PrettyPrint(const TQDStringHashTable<IKBValue>& variables) {
  return kb::PrettyPrint(variables);
}
std::string TKBClipsParser::PrettyPrint(TParsedType type) { return kb::PrettyPrint(type); }
std::string TKBClipsParser::PrettyPrint(const IFuzzySet& set) { return kb::PrettyPrint(set, false); }
std::string TKBClipsParser::PrettyPrint(const IFuzzyVariable& variable) { return kb::PrettyPrint(variable); }

}  // namespace kb
