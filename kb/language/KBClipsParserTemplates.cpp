// Templates, slots with their qualifiers, and defined types.
#include <algorithm>
#include <array>

#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/language/KBClipsParser.h"
#include "kb/values/FactTemplate.h"
#include "kb/values/KBContext.h"
#include "kb/values/KBDefinedType.h"

namespace kb {

namespace {

constexpr std::string_view kTemplate = "ParseFactTemplate";
constexpr std::string_view kSlot = "ParseFactTemplateSlot";
constexpr std::string_view kDefinedType = "ParseDefinedType";
constexpr std::string_view kAllowedPrefix = "allowed-";
constexpr std::string_view kOpenEnd = "VARIABLE";

struct TTypeName {
  std::string_view name;
  TKBTypes types;
};

// Handles to things of the host may be written as integers.
constexpr std::array<TTypeName, 14> kTypeNames = {{
    {STypeSymbolKeyword, {dtAtom}},
    {STypeAtomKeyword, {dtAtom}},
    {STypeStringKeyword, {dtString}},
    {STypeLexemeKeyword, {dtAtom, dtString}},
    {STypeIntegerKeyword, {dtInteger}},
    {STypeFloatKeyword, {dtFloat}},
    {STypeNumberKeyword, {dtInteger, dtFloat}},
    {STypeClassKeyword, {dtClass, dtInteger}},
    {STypeDescriptorKeyword, {dtDescriptor, dtInteger}},
    {STypeObjectKeyword, {dtObject, dtInteger}},
    {STypeExternalAddrKeyword, {dtExternalAddress, dtInteger}},
    {STypeFactIdKeyword, {dtFactId, dtInteger}},
    {STypeFactKeyword, {dtFact}},
    {STypeFuzzyKeyword, {dtFuzzy}},
}};

/// What an allowed value becomes.
enum TAllowedConversion { acNone, acLexeme, acString, acAtom, acNumber, acInteger, acFloat };

struct TAllowedForm {
  std::string_view word;
  TValueConstraints constraints;
  TAllowedConversion conversion;
};

constexpr std::array<TAllowedForm, 7> kAllowedForms = {{
    {"allowed-values", {vcAtom, vcString, vcInteger, vcFloat}, acNone},
    {"allowed-lexemes", {vcAtom, vcString}, acLexeme},
    {"allowed-strings", {vcString}, acString},
    {"allowed-symbols", {vcAtom}, acAtom},
    {"allowed-numbers", {vcInteger, vcFloat}, acNumber},
    {"allowed-integers", {vcInteger}, acInteger},
    {"allowed-floats", {vcFloat}, acFloat},
}};

const TAllowedForm* FindAllowedForm(std::string_view word) {
  const auto found = std::find_if(kAllowedForms.begin(), kAllowedForms.end(),
                                  [word](const TAllowedForm& form) { return form.word == word; });
  return found == kAllowedForms.end() ? nullptr : &*found;
}

IKBValue ConvertAllowed(const IKBValue& value, TAllowedConversion conversion) {
  switch (conversion) {
    case acString:
      return MakeString(value->GetAsString());
    case acAtom:
      return MakeAtom(value->GetAsString());
    case acInteger:
      return MakeInteger(value->GetAsInteger());
    case acFloat:
      return MakeFloat(value->GetAsFloat());
    case acLexeme:
      return value->Is(dtAtom) || value->Is(dtString) ? value : MakeString(value->GetAsString());
    case acNumber:
      return KBNumericTypes.Has(value->GetDType()) ? value : MakeInteger(value->GetAsInteger());
    default:
      return value;
  }
}

/// Whether a slot's own type has what a fuzzy slot cannot have, wherever it stands among the qualifiers.
bool HasLimits(const TKBDefinedType& type) {
  if (!type.GetImplicit()) return false;
  return type.GetRangeLimited() || !type.GetUnits().empty() || !(type.GetConstraints() == TValueConstraints());
}

}  // namespace

/// The text of a token that names something: units may be written as a number too.
std::string TKBClipsParser::NameText(const TKBStreamToken& token) {
  return token.GetText().Empty() && !token.Is(dtString) ? token.ToString() : token.GetText().ToString();
}

// Templates.

// template = "(" "deftemplate" full-name [string] ["extends" name | "is-a" type-name] slot* ")"
//
// A parent that does not exist is no error: the text may be read before the parent's. A type must exist,
// since the one slot of such a template is made of it.
IFactTemplate TKBClipsParser::ParseFactTemplate() {
  const THeader header = ParseHeader("deftemplate", kTemplate, true);
  CheckConstructName(header.name);
  IStreamToken token = header.token;
  IFactTemplate parent;
  IKBDefinedType isA;
  if (token->Is(dtAtom)) {
    const bool extends = token->IsAtom("extends");
    if (!extends && !token->IsAtom("is-a")) ParseError(kTemplate, TKBMessage::ExpectedTemplateBody);
    token = Next();
    if (!token->Is(dtAtom)) {
      ParseError(kTemplate, extends ? TKBMessage::MissingParentTemplate : TKBMessage::MissingTemplateType);
    }
    const std::string_view name = token->GetText().View();
    if (extends) {
      parent = GetOwner().FindFactTemplate(name);
    } else {
      isA = GetOwner().GetDefinedTypes().FindType(name);
      if (!isA) ParseError(kTemplate, TKBMessage::UnknownTypeName, {std::string(name)});
    }
    token = Next();
  }
  IFactTemplate result = MakeRef<TFactTemplate>(&GetOwner(), header.name, header.comment, parent);
  result->SetModule(GetOwner().GetCurrentModule().Get());
  if (isA) {
    result->AddMultiSlot(SDefaultSlotName, FCNilList);
    result->GetSlot(SDefaultSlotName)->SetExtendedTypeInfo(isA);
  } else {
    ParseTemplateBody(*result, token);
  }
  CheckClose(token, kTemplate);
  if (OnParseFactTemplate) OnParseFactTemplate(*this, result);
  return result;
}

void TKBClipsParser::ParseTemplateBody(TFactTemplate& factTemplate, IStreamToken& token) {
  while (token->Is(kTokenOpen)) {
    Back(token);
    factTemplate.AddSlot(*ParseFactTemplateSlot());
    token = Next();
  }
}

// Slots.

/// A slot while its qualifiers are read.
struct TKBClipsParser::TSlotDraft {
  bool multi = false;
  IFactSlot slot;
  TKBTypes types;
  IKBDefinedType definedType;
  IKBValue defaultValue;
  bool dynamic = false;
};

// slot = "(" ("slot" | "field" | "multislot") name qualifier* ")"
IFactSlot TKBClipsParser::ParseFactTemplateSlot() {
  Expect(kTokenOpen, kSlot);
  const IStreamToken kind = Next();
  TSlotDraft draft;
  draft.multi = kind->IsAtom("multislot");
  if (!draft.multi && !kind->IsAtom("slot") && !kind->IsAtom("field")) {
    ParseError(kSlot, TKBMessage::InvalidSlotType, {kind->ToString()});
  }
  draft.types = draft.multi ? KBSlotTypes + KBMultiSlotTypes : KBSlotTypes;
  const IStreamToken name = Next();
  if (!name->Is(dtAtom)) ParseError(kSlot, TKBMessage::BadSlotName, {name->ToString()});
  draft.slot = MakeRef<TFactSlot>();
  draft.slot->SetName(name->GetText().View());
  IStreamToken token = Next();
  while (token->Is(kTokenOpen)) {
    ParseSlotQualifier(draft, token);
    token = Next();
  }
  CheckClose(token, kTemplate);
  FinishSlot(draft);
  return draft.slot;
}

// qualifier = "(" ("default" | "default-dynamic") value* ")" | "(" "type" type-name* ")"
//           | "(" "units" name ")" | range | cardinality | allowed
//
// The words count without regard to case. Qualifiers work in the order in which they stand: a type behind a
// default does not convert that default any more, it only judges it at the end of the slot. `open` is the
// parenthesis, which has been taken.
void TKBClipsParser::ParseSlotQualifier(TSlotDraft& draft, const IStreamToken& open) {
  const IStreamToken word = Next();
  const std::string_view text = word->GetText().View();
  const bool atom = word->Is(dtAtom);
  if (atom && SameText(text, "default")) {
    ParseSlotDefault(draft, false);
  } else if (atom && SameText(text, "default-dynamic")) {
    ParseSlotDefault(draft, true);
  } else if (atom && SameText(text, "type")) {
    ParseSlotType(draft);
  } else if (atom && (SameText(text, "range") || SameText(text, "cardinality") || SameText(text, "units") ||
                      SameText(text.substr(0, kAllowedPrefix.size()), kAllowedPrefix))) {
    ParseSlotLimits(draft, open, word);
  } else {
    ParseError(kSlot, TKBMessage::InvalidSlotQualifier, {word->ToString()});
  }
}

// A default is worked out once, here; a dynamic one stays as it was written and is worked out for each fact.
void TKBClipsParser::ParseSlotDefault(TSlotDraft& draft, bool dynamic) {
  IKBValue value;
  if (draft.multi) {
    IValueVector list = ParseList();
    if (!dynamic) list = Context().ExpandList(*list);
    value = MakeRef<TKBValue>(list);
    if (draft.types.Has(dtFuzzy) && draft.definedType && !dynamic) value = FuzzyList(value, draft.definedType, kSlot);
  } else {
    value = ParseValue(draft.types, draft.definedType);
    if (!dynamic) value = ResolveNow(value);
  }
  Expect(kTokenClose, kSlot);
  draft.defaultValue = value;
  draft.dynamic = dynamic;
}

void TKBClipsParser::ParseSlotType(TSlotDraft& draft) {
  IKBDefinedType definedType;
  draft.types = ParseSlotTypes(definedType);
  const bool limited = !definedType && draft.definedType && HasLimits(*draft.definedType);
  if (draft.types.Has(dtFuzzy) && limited) ParseError(kSlot, TKBMessage::FuzzyTypeUnmodifiable);
  if (draft.multi) draft.types += KBMultiSlotTypes;
  Expect(kTokenClose, kSlot);
  if (!definedType) return;
  draft.definedType = definedType;
  draft.slot->SetExtendedTypeInfo(definedType);
}

/// The qualifiers that need a type of the slot's own.
void TKBClipsParser::ParseSlotLimits(TSlotDraft& draft, const IStreamToken& open, const IStreamToken& word) {
  const std::string text = QDLowerCase(word->GetText().View());
  const bool cardinality = text == "cardinality";
  if (!cardinality && draft.types.Has(dtFuzzy)) ParseError(kSlot, TKBMessage::FuzzyTypeUnmodifiable);
  if (!draft.definedType || !draft.definedType->GetImplicit()) {
    IKBDefinedType own;
    if (draft.definedType) {
      own = draft.definedType->Clone();
      if (own->GetFuzzyType()) own->SetFuzzyType(draft.definedType->GetFuzzyType());
    } else {
      own = MakeRef<TKBDefinedType>(&GetOwner());
      own->SetBaseTypes(draft.types - KBMultiSlotTypes);
    }
    own->SetImplicit(true);
    draft.definedType = own;
    draft.slot->SetExtendedTypeInfo(own);
  }
  IStreamToken token;
  if (text == "units") {
    draft.definedType->SetUnits(NameText(*Next()));
    token = Next();
  } else {
    Back(word);
    Back(open);
    if (cardinality || text == "range") {
      ParseRangeAndCardinality(*draft.definedType, token, cardinality, true);
    } else {
      ParseAllowedEnumerations(*draft.definedType, token);
    }
  }
  CheckClose(token, kSlot);
}

// Gives the slot its final types and its default, which must fit them.
void TKBClipsParser::FinishSlot(TSlotDraft& draft) {
  TFactSlot& slot = *draft.slot;
  slot.SetSlotType(draft.types);
  IKBValue value = draft.defaultValue;
  if (!value) {
    // A type given by name leaves a single default behind, which is none for a multislot.
    const IKBValue& own = slot.GetSlotDefault();
    const bool fits = own && slot.IsValid(own.Get()) && own->Is(dtList) == draft.multi;
    if (!fits) slot.SetSlotDefault(slot.CreateValidDefault(draft.multi));
    return;
  }
  const bool text = value->Is(dtAtom) || value->Is(dtString);
  if (slot.IsFuzzy() && draft.definedType && text && !draft.dynamic && value != FCNil) {
    value = EvalFuzzy(value, draft.definedType, kSlot);
  }
  if (GetStaticTypeChecks() && value != FCNil && value != FCNilList && !slot.IsValid(value.Get())) {
    if (!value->Is(dtInteger) || !draft.types.Has(dtFloat)) {
      ParseErrorText(kSlot, TKBMessage::InvalidForSlot, slot.GetInvalidValueString(value.Get()));
    }
    value = MakeFloat(value->GetAsFloat());
  }
  slot.SetSlotDefault(value);
  slot.SetDefaultDynamic(draft.dynamic);
}

// Types.

// The names add up, except that ?VARIABLE starts anew with all types.
TKBTypes TKBClipsParser::ParseSlotTypes(IKBDefinedType& definedType) {
  TKBTypes types;
  for (;;) {
    const IStreamToken token = Next();
    if (token->Is(kTokenClose)) {
      Back(token);
      break;
    }
    if (token->Is(dtVariable) && token->GetText() == kOpenEnd) {
      types = KBSlotTypes;
    } else {
      types += ParseTypeName(token, definedType);
    }
  }
  if (types.Has(dtFuzzy) && types != TKBTypes(dtFuzzy)) ParseError("ParseSlotTypes", TKBMessage::CannotMixFuzzy);
  return types;
}

// A basic type, or a defined type, of which there may be one: types inherit from a single parent.
TKBTypes TKBClipsParser::ParseTypeName(const IStreamToken& token, IKBDefinedType& definedType) {
  constexpr std::string_view kWhere = "ParseSlotTypes";
  if (!token->Is(dtAtom) && !token->IsVariable()) {
    ParseError(kWhere, TKBMessage::InvalidSlotType, {token->ToString()});
  }
  if (token->Is(dtAtom)) {
    const auto* known = std::find_if(kTypeNames.begin(), kTypeNames.end(),
                                     [&token](const TTypeName& entry) { return token->GetText() == entry.name; });
    if (known != kTypeNames.end()) return known->types;
  }
  const TKBText name = token->Is(dtAtom) ? token->GetText() : ResolveNow(token->Value())->GetAsString();
  const IKBDefinedType found = GetOwner().GetDefinedTypes().FindType(name.View());
  if (!found) ParseError(kWhere, TKBMessage::InvalidSlotType, {token->ToString()});
  if (definedType) ParseError(kWhere, TKBMessage::MultipleInheritance);
  definedType = found;
  return found->GetBaseTypes();
}

// range = "(" "range" end end ")", cardinality = "(" "cardinality" end end ")"
// end = number | ?VARIABLE | variable | call
//
// Calls run now: the type holds numbers.
void TKBClipsParser::ParseRangeAndCardinality(TKBDefinedType& definedType, IStreamToken& token, bool isCardinality,
                                              bool allowVariable) {
  Expect(kTokenOpen, kDefinedType);
  token = Next();
  if (!isCardinality && !(token->Is(dtAtom) && SameText(token->GetText().View(), "range"))) {
    ParseError(kDefinedType, TKBMessage::MissingRange);
  }
  IKBValue low;
  IKBValue high;
  ParseRangeEnd(isCardinality, allowVariable, low);
  ParseRangeEnd(isCardinality, allowVariable, high);
  if (isCardinality) {
    definedType.SetCardinalityLimited(true);
    if (low) definedType.SetMinCardinality(low->GetAsInteger());
    if (high) definedType.SetMaxCardinality(high->GetAsInteger());
  } else {
    definedType.SetRangeLimited(true);
    if (low) definedType.SetMinRange(low->GetAsNumeric());
    if (high) definedType.SetMaxRange(high->GetAsNumeric());
  }
  token = Next();
  CheckClose(token, kDefinedType);
}

/// One end; `end` stays null for an open one.
void TKBClipsParser::ParseRangeEnd(bool isCardinality, bool allowVariable, IKBValue& end) {
  const IStreamToken token = Next();
  if (token->Is(dtInteger) || token->Is(dtFloat)) {
    end = token->Value();
  } else if (token->Is(dtVariable)) {
    if (!allowVariable) ParseError(kDefinedType, TKBMessage::ExpectedValueMissing);
    if (token->GetText() != kOpenEnd) end = ResolveNow(token->Value());
  } else if (token->Is(kTokenOpen)) {
    Back(token);
    end = ParseNExecuteFunCall();
  } else {
    ParseError(kDefinedType, TKBMessage::ExpectedIntegerFor, {isCardinality ? "cardinality" : "range"});
  }
}

// allowed = "(" allowed-word (value | call)* ")"
void TKBClipsParser::ParseAllowedEnumerations(TKBDefinedType& definedType, IStreamToken& token) {
  Expect(kTokenOpen, kDefinedType);
  token = Next();
  const TAllowedForm* form = token->Is(dtAtom) ? FindAllowedForm(token->GetText().View()) : nullptr;
  if (form == nullptr) ParseError(kDefinedType, TKBMessage::ExpectedAllowedValue, {token->ToString()});
  definedType.SetConstraints(definedType.GetConstraints() + form->constraints);
  for (;;) {
    token = Next();
    if (token->Is(kTokenClose)) return;
    if (token->IsEof()) ParseError(kDefinedType, TKBMessage::UnexpectedEndOfStream);
    IKBValue value;
    if (token->Is(kTokenOpen)) {
      Back(token);
      value = ParseNExecuteFunCall();
    } else {
      value = ResolveNow(token->Value());
    }
    definedType.AddConstraint(*ConvertAllowed(value, form->conversion));
  }
}

// deftype = "(" "deftype" full-name [string] "extends" "(" "type" type-name+ ")" limit* ")"
IKBDefinedType TKBClipsParser::ParseDefinedType() {
  const THeader header = ParseHeader("deftype", kDefinedType, true);
  IKBDefinedType definedType = MakeRef<TKBDefinedType>(&GetOwner());
  ParseTypeHead(*definedType, header);
  if (definedType->GetBaseTypes().Has(dtFuzzy)) {
    // One that extends a fuzzy type works on a copy of its parent's variable.
    const Ref<IFuzzyVariable> variable = definedType->GetFuzzyType()->Clone();
    ParseFuzzyBody(variable);
    definedType->SetFuzzyType(variable);
    Expect(kTokenClose, kDefinedType);
  } else {
    ParseTypeBody(*definedType);
  }
  if (OnParseDefinedType) OnParseDefinedType(*this, definedType);
  return definedType;
}

/// A type that takes the place of one of its name cannot be made of that: its text would name itself.
void TKBClipsParser::CheckAncestors(const TKBDefinedType& parent, const std::string& name) const {
  const TModule* module = GetOwner().GetCurrentModule().Get();
  for (const TKBDefinedType* type = &parent; type != nullptr; type = type->GetAncestor().Get()) {
    if (type->GetName() == name && type->GetModule() == module) {
      throw EKBException(TKBMessage::TypeInheritanceLoop, {name});
    }
  }
}

/// "extends (type name+)", and what follows from it and the head for the type.
void TKBClipsParser::ParseTypeHead(TKBDefinedType& definedType, const THeader& header) {
  if (header.token->GetText() != "extends") ParseError(kDefinedType, TKBMessage::MissingKeyword, {"extends"});
  Expect(kTokenOpen, kDefinedType);
  if (Next()->GetText() != "type") ParseError(kDefinedType, TKBMessage::MissingKeyword, {"type"});
  IKBDefinedType parent;
  TKBTypes types = ParseSlotTypes(parent);
  Expect(kTokenClose, kDefinedType);
  if (parent) {
    CheckAncestors(*parent, header.name);
    definedType.Assign(*parent);
    definedType.SetAncestor(parent);
    types += parent->GetBaseTypes();
  }
  definedType.SetBaseTypes(types);
  definedType.SetName(header.name);
  definedType.SetComment(header.comment);
  definedType.SetModule(GetOwner().GetCurrentModule().Get());
}

/// The limits, to the end of the construct.
void TKBClipsParser::ParseTypeBody(TKBDefinedType& definedType) {
  IStreamToken token = Next();
  while (token->Is(kTokenOpen)) {
    const IStreamToken open = token;
    const IStreamToken word = Next();
    if (word->IsAtom("units")) {
      definedType.SetUnits(NameText(*Next()));
      Expect(kTokenClose, kDefinedType);
      token = Next();
      continue;
    }
    Back(word);
    Back(open);
    if (word->IsAtom("range") || word->IsAtom("cardinality")) {
      ParseRangeAndCardinality(definedType, token, word->IsAtom("cardinality"), true);
    } else {
      ParseAllowedEnumerations(definedType, token);
    }
    token = Next();
  }
  CheckClose(token, kDefinedType);
}

}  // namespace kb
