// Values, lists, calls, coordinates and facts.
#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/functions/KBPackages.h"
#include "kb/language/KBClipsParser.h"
#include "kb/platform/StackGuard.h"
#include "kb/values/Fact.h"
#include "kb/values/FactTemplate.h"
#include "kb/values/KBDefinedType.h"
#include "kb/values/KBHelperFunctions.h"

namespace kb {

namespace {

/// The value of a bracket, which is an atom where values stand; null for any other token.
IKBValue BracketValue(const TKBStreamToken& token) {
  if (!token.Is(kTokenOpenBracket) && !token.Is(kTokenCloseBracket)) return nullptr;
  return MakeAtom(token.GetText());
}

IKBValue ListValue(const IValueVector& list) { return MakeRef<TKBValue>(list); }

}  // namespace

// Calls.
//
// call = "(" (name | "=" | variable) argument* ")"
//
// Words such as "then" and "do" are arguments like any other; the functions look for them. Only the functions
// of the table of slot functions change how a parenthesised argument is read.

IFunCall TKBClipsParser::BeginFunCall(TSlotArgRecord& slots, bool& hasSlots) {
  constexpr std::string_view kWhere = "ParseFunCall";
  const IStreamToken open = Next();
  if (!open->Is(kTokenOpen)) ParseError(kWhere, TKBMessage::ExpectedOpen);
  const IStreamToken head = Next();
  IFunCall call;
  if (head->Is(dtAtom) || head->Is(kTokenEquals)) {
    call = MakeRef<TFunctionCall>(&GetOwner(), head->GetText());
  } else if (head->IsVariable()) {
    call = MakeRef<TFunctionCall>(&GetOwner(), TKBText(SGetVarFunction));
    call->AddArgument(head->Value());
  } else {
    ParseError(kWhere, TKBMessage::MissingName);
  }
  const std::string_view comment = Trim(open->GetWhitespace().View());
  if (!comment.empty()) call->SetComment(comment);
  const int index = IndexOfSlotFunction(call->GetName().View());
  hasSlots = index >= 0;
  if (hasSlots) slots = slotFunctions_.GetData(index);
  if (hasSlots && slots.stop == 0) slots.stop = UINT16_MAX;
  return call;
}

IFunCall TKBClipsParser::ParseFunCall() {
  CheckStack();
  TSlotArgRecord slots;
  bool hasSlots = false;
  IFunCall call = BeginFunCall(slots, hasSlots);
  for (;;) {
    const IStreamToken token = Next();
    if (token->Is(kTokenClose)) break;
    if (token->IsEof()) ParseError("ParseFunCall", TKBMessage::UnexpectedEndOfStream);
    if (token->Is(kTokenOpen)) {
      ParseNestedArgument(*call, token, slots, hasSlots);
    } else if (token->IsValue()) {
      call->AddArgument(token->Value());
    } else {
      call->AddArgument(MakeString(token->GetText()));
    }
  }
  if (OnParseFunCall) OnParseFunCall(*this, call);
  return call;
}

void TKBClipsParser::ParseNestedArgument(TFunctionCall& call, const IStreamToken& open, const TSlotArgRecord& slots,
                                         bool hasSlots) {
  if (hasSlots && slots.start == 0) {
    Back(open);
    call.AddArgument(ParseFact());
    return;
  }
  const int number = call.GetArgumentCount() + 1;
  if (hasSlots && number >= slots.start && number <= slots.stop) {
    Back(open);
    call.AddArgument(ParseValuePair());
    return;
  }
  call.AddArgument(ParseParenthesised(open));
}

// What stands between parentheses among values, `open` having been taken: coordinates begin with a second
// parenthesis, a call never does.
IKBValue TKBClipsParser::ParseParenthesised(const IStreamToken& open) {
  const bool coordinates = NextIsOpen();
  Back(open);
  if (coordinates) return MakeRef<TKBValue>(ParseSingletons());
  return MakeRef<TKBValue>(ParseFunCall());
}

// Runs of values: one value stands for itself, several become a list. What is no value ends a list, so that
// the caller tells what it expected.

IKBValue TKBClipsParser::ParseValue() {
  IKBValue current;
  IValueVector list;
  for (;;) {
    const IStreamToken token = Next();
    if (token->IsEof() || token->Is(kTokenClose)) {
      Back(token);
      break;
    }
    if (current) {
      if (!list) list = MakeRef<TValueVector>();
      list->Add(current);
      current = nullptr;
    }
    if (token->Is(kTokenOpen)) {
      current = ParseParenthesised(token);
    } else if (token->IsValue()) {
      current = token->Value();
    } else {
      current = BracketValue(*token);
    }
    if (current) continue;
    if (!list) ParseError("ParseValue", TKBMessage::BadArgument, {token->ToString()});
    Back(token);
    break;
  }
  if (!list) return current;
  if (current) list->Add(current);
  return ListValue(list);
}

IValueVector TKBClipsParser::ParseList() {
  IValueVector list = MakeRef<TValueVector>();
  for (;;) {
    const IStreamToken token = Next();
    if (token->IsEof() || token->Is(kTokenClose)) {
      Back(token);
      return list;
    }
    list->Add(ParseListElement(token));
  }
}

IKBValue TKBClipsParser::ParseListElement(const IStreamToken& token) {
  constexpr std::string_view kWhere = "ParseList";
  if (token->IsValue()) return token->Value();
  if (token->Is(kTokenOpen)) return ParseParenthesised(token);
  if (token->Is(kTokenEquals)) return ParseCallBehindEquals(kWhere);
  IKBValue bracket = BracketValue(*token);
  if (!bracket) ParseError(kWhere, TKBMessage::BadSlotValue, {token->ToString()});
  return bracket;
}

/// The call of "=(f)"; the "=" has been taken.
IKBValue TKBClipsParser::ParseCallBehindEquals(std::string_view where) {
  const IStreamToken open = Next();
  if (!open->Is(kTokenOpen)) ParseError(where, TKBMessage::EqualsInFact);
  Back(open);
  return MakeRef<TKBValue>(ParseFunCall());
}

// Values of a type.

IKBValue TKBClipsParser::ParseValue(TKBTypes types, const IKBDefinedType& definedType) {
  return FittingValue(ParseTyped(types, definedType), types, definedType);
}

IKBValue TKBClipsParser::ParseTyped(TKBTypes types, const IKBDefinedType& definedType) {
  constexpr std::string_view kWhere = "ParseValue";
  if (types.Has(dtMultiSlot)) {
    IValueVector list = ParseList();
    if (!GetStaticTypeChecks() || !types.Has(dtFuzzy)) return ListValue(list);
    return FuzzyList(ListValue(list), definedType, kWhere);
  }
  if (types.Has(dtFuzzy)) return ParseSingleFuzzy(definedType, kWhere);
  const IStreamToken token = Next();
  if (token->IsValue()) return token->Value();
  if (token->Is(kTokenEquals)) return ParseCallBehindEquals(kWhere);
  if (!token->Is(kTokenOpen)) ParseError(kWhere, TKBMessage::BadSlotValue, {token->ToString()});
  Back(token);
  return MakeRef<TKBValue>(ParseFunCall());
}

/// The value, or another one that fits the types in its place. What only the run will tell passes.
IKBValue TKBClipsParser::FittingValue(const IKBValue& value, TKBTypes types, const IKBDefinedType& definedType) {
  constexpr std::string_view kWhere = "ParseValue(SlotTypes)";
  const TKBType type = value->GetDType();
  if (!GetStaticTypeChecks() || KBAlwaysValidTypes.Has(type)) return value;
  if (definedType) {
    if (definedType->IsValid(*value)) return value;
    ParseErrorText(kWhere, TKBMessage::ValueIsNotValid, definedType->GetInvalidValueString(*value));
  }
  if (types.Has(type)) return value;
  if (type == dtFloat && types.Has(dtInteger)) return MakeInteger(value->GetAsInteger());
  if (type == dtInteger && types.Has(dtFloat)) return MakeFloat(value->GetAsFloat());
  const std::string reason = FormatMessage(
      TKBMessage::NotAType, {TypesForMessage(types), value->ToString(), std::string(GetKBTypeName(type))});
  ParseError(kWhere, TKBMessage::InvalidForSlot, {reason, "ParseValue"});
}

IKBValue TKBClipsParser::ParseValue(const TFactSlot& slot) {
  const TKBTypes types = slot.GetSlotType();
  IKBValue value = ParseValue(types, slot.GetExtendedTypeInfo());
  if (!GetStaticTypeChecks() || slot.IsValid(value.Get())) return value;
  if (value->Is(dtInteger) && types.Has(dtFloat)) return MakeFloat(value->GetAsFloat());
  ParseErrorText("ParseValue(Fact Slot)", TKBMessage::InvalidForSlot, slot.GetInvalidValueString(value.Get()));
}

IValueVector TKBClipsParser::ParseValuePair() {
  constexpr std::string_view kWhere = "ParseValuePair";
  const IStreamToken name = ExpectOpenAtom(kWhere).atom;
  const IKBValue value = ParseValue();
  if (!value) ParseError(kWhere, TKBMessage::ExpectedValueMissing);
  Expect(kTokenClose, kWhere);
  IValueVector pair = MakeRef<TValueVector>();
  pair->Reserve(2);
  pair->Add(MakeAtom(name->GetText()));
  pair->Add(value);
  return pair;
}

// Coordinates.
//
// points = "(" ("(" coordinate coordinate ")")* ")", coordinate = number | variable | call

ISingletonsVector TKBClipsParser::ParseSingletons() {
  CheckStack();
  constexpr std::string_view kWhere = "ParseFuzzyPoints";
  ISingletonsVector points = MakeRef<TSingletonsVector>(&GetOwner());
  Expect(kTokenOpen, kWhere);
  for (;;) {
    const IStreamToken token = Next();
    if (!token->Is(kTokenOpen)) {
      CheckClose(token, kWhere);
      return points;
    }
    const IKBValue x = ParseCoordinate();
    const IKBValue y = ParseCoordinate();
    points->Add(x, y);
    Expect(kTokenClose, kWhere);
  }
}

IKBValue TKBClipsParser::ParseCoordinate() {
  const IStreamToken token = Next();
  if (token->Is(dtInteger) || token->Is(dtFloat) || token->Is(dtVariable)) return token->Value();
  if (!token->Is(kTokenOpen)) ParseError("ParseFuzzyPoints", TKBMessage::ExpectedCoordinate);
  Back(token);
  return MakeRef<TKBValue>(ParseFunCall());
}

// Facts.
//
// fact = "(" name value* ")" | "(" name ("(" slot-name value* ")")* ")"
//
// Which of the two is meant follows from the template. One that does not exist is made, without slots and so
// for plain values, unless only known templates are wanted.

IFact TKBClipsParser::ParseFact() {
  constexpr std::string_view kWhere = "ParseFact";
  const IStreamToken name = ExpectOpenAtom(kWhere).atom;
  IFactTemplate factTemplate;
  if (GetStrictFactTemplates()) {
    factTemplate = GetOwner().FindFactTemplate(name->GetText().View());
    if (!factTemplate) ParseError(kWhere, TKBMessage::UnknownFactTemplate, {name->GetText().ToString()});
  } else {
    factTemplate = GetOwner().CreateFactTemplate(name->GetText().View());
  }
  IFact fact = MakeRef<TFact>(factTemplate);
  IStreamToken token = Next();
  while (!token->Is(kTokenClose)) {
    ParseFactSlot(*fact);
    token = Stream().GetCurrentToken();
    if (factTemplate->IsOrdered()) break;
  }
  CheckClose(token, kWhere);
  if (OnParseFact) OnParseFact(*this, fact);
  return fact;
}

TKBText TKBClipsParser::ParseFactSlot(TFact& fact) {
  constexpr std::string_view kWhere = "ParseFactSlot";
  const IStreamToken first = Stream().GetCurrentToken();
  const IFactTemplate& factTemplate = fact.GetTemplate();
  if (!factTemplate) throw EKBException(TKBMessage::FactTemplateMissing);
  const bool ordered = factTemplate->IsOrdered();
  TKBText name;
  if (ordered) {
    name = TKBText(SDefaultSlotName);
    Back(first);
  } else {
    if (!first->Is(kTokenOpen)) ParseError(kWhere, TKBMessage::ExpectedOpen);
    const IStreamToken word = Next();
    if (!word->Is(dtAtom)) ParseError(kWhere, TKBMessage::BadSlotName, {word->ToString()});
    name = word->GetText();
  }
  const IFactSlot slot = factTemplate->GetSlot(name.View());
  const IKBValue value = ParseValue(*slot);
  fact.SetValue(name.View(), value);
  Expect(kTokenClose, kWhere);
  if (!ordered) static_cast<void>(Next());  // the first token behind the slot becomes the current one
  return name;
}

}  // namespace kb
