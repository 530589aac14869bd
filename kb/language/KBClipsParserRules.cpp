// Rules: declarations, conditional elements with their constraints, actions.
#include <memory>
#include <utility>

#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/functions/KBPackages.h"
#include "kb/language/KBClipsParser.h"
#include "kb/language/KBRule.h"
#include "kb/platform/StackGuard.h"
#include "kb/values/FactTemplate.h"
#include "kb/values/ValueVector.h"

namespace kb {

namespace {

constexpr std::string_view kRule = "ParseRule";
constexpr std::string_view kPatterns = "ParseRulePatterns";
constexpr std::string_view kPattern = "ParsePattern";
constexpr std::string_view kEqStar = "eq*";

}  // namespace

// rule = "(" "defrule" full-name [string] ["(" "declare" declaration* ")"] element* "=>" call* ")"
//
// The arrow comes as two tokens, "=" and ">". The rule changes between BeginUpdate and EndUpdate, so that the
// engine hears of it once.
TRule* TKBClipsParser::ParseRule() {
  const THeader header = ParseHeader("defrule", kRule, true);
  CheckConstructName(header.name);
  auto rule = std::make_unique<TRule>(&GetOwner(), header.name, header.module);
  rule->BeginUpdate();
  rule->SetComment(header.comment);
  IStreamToken token = header.token;
  bool declared = false;
  if (token->Is(kTokenOpen)) {
    const IStreamToken word = Next();
    declared = word->IsAtom("declare");
    if (!declared) Back(word);
  }
  if (declared) {
    ParseDeclarations(*rule);
  } else {
    Back(token);
  }
  TRuleVariables variables;
  ParseRulePatterns(*rule, variables);
  token = Next();
  if (!token->Is(kTokenEquals) || !Next()->IsAtom(">")) ParseError(kRule, TKBMessage::ExpectedArrow);
  ParseRuleActions(*rule, variables);
  Expect(kTokenClose, kRule);
  if (OnParseRule) OnParseRule(*this, *rule);
  rule->EndUpdate();
  return rule.release();
}

// Declarations.

// declaration = "(" "salience" (integer | variable | call) ")"
//             | "(" ("auto-focus" | "oneshot" | "enabled") (value | call) ")"
//
// One that is repeated counts as it stood last.
void TKBClipsParser::ParseDeclarations(TRule& rule) {
  IStreamToken token = Next();
  while (token->Is(kTokenOpen)) {
    const IStreamToken word = Next();
    if (word->IsAtom("salience")) {
      ParseSalience(rule);
    } else if (word->IsAtom("auto-focus")) {
      rule.SetAutoFocus(ParseFlag());
    } else if (word->IsAtom("oneshot")) {
      rule.SetOneShot(ParseFlag());
    } else if (word->IsAtom("enabled")) {
      rule.SetEnabled(ParseFlag());
    } else {
      ParseError(kRule, TKBMessage::ExpectedRuleProperty);
    }
    Expect(kTokenClose, kRule);
    token = Next();
  }
  CheckClose(token, kRule);
}

// An expression is kept, since each activation works it out anew.
void TKBClipsParser::ParseSalience(TRule& rule) {
  const IStreamToken token = Next();
  if (token->Is(dtInteger) || token->Is(dtVariable)) {
    rule.SetSalience(token->Value());
  } else if (token->Is(kTokenOpen)) {
    Back(token);
    rule.SetSalience(MakeRef<TKBValue>(ParseFunCall()));
  } else {
    ParseError(kRule, TKBMessage::ExpectedIntegerFor, {"salience"});
  }
}

/// A truth value; whatever is not TRUE is false.
bool TKBClipsParser::ParseFlag() {
  const IStreamToken token = Next();
  if (token->Is(kTokenOpen)) {
    Back(token);
    return ParseNExecuteFunCall()->Equals(FCTrue.Get());
  }
  if (token->Is(kTokenClose)) Back(token);  // "(enabled)" lacks its value, not its parenthesis
  return token->IsValue() && token->Value()->Equals(FCTrue.Get());
}

// The two sides.

// The left side: [variable "<-"] element, as often as it comes. Adding an element to the rule runs the
// analysis of its variables, which may refuse it.
void TKBClipsParser::ParseRulePatterns(TRule& rule, TRuleVariables& variables) {
  IStreamToken token = Next();
  while (token->Is(kTokenOpen) || token->Is(dtVariable)) {
    TKBText boundName;
    if (token->Is(dtVariable)) {
      boundName = token->GetText();
      if (!Next()->IsAtom("<-")) ParseError(kPatterns, TKBMessage::ExpectedBindArrow);
    } else {
      Back(token);
    }
    std::unique_ptr<TKBPattern> pattern = ParsePattern(0, variables);
    if (!boundName.Empty() && pattern->GetNegatedCount() != 0) ParseError(kPatterns, TKBMessage::CannotBindNot);
    pattern->SetBoundName(boundName.View());
    rule.AddPattern(std::move(pattern));
    token = Next();
  }
  Back(token);
}

// The right side: calls, as often as they come. Variables that the left side did not bind show when the rule fires.
void TKBClipsParser::ParseRuleActions(TRule& rule, TRuleVariables& /*variables*/) {
  IStreamToken token = Next();
  while (token->Is(kTokenOpen)) {
    Back(token);
    rule.AddAction(ParseFunCall());
    token = Next();
  }
  Back(token);
}

// Conditional elements.

// element = "(" ("not" | "exists" | "unique" | "explicit") element ")" | "(" "test" call ")"
//         | "(" name field* ")" | "(" name ("(" slot-name field* ")")* ")"
//
// The wrapping words make no element of their own: they all end as marks and a count on the one inside them.
// Of the comments before nested parentheses the outermost is kept.
std::unique_ptr<TKBPattern> TKBClipsParser::ParsePattern(int negated, TRuleVariables& variables) {
  CheckStack();
  const auto [open, word] = ExpectOpenAtom(kPattern);
  const std::string_view head = word->GetText().View();
  std::unique_ptr<TKBPattern> pattern = ParseWrapped(head, negated, variables);
  if (!pattern) {
    pattern = head == STestCE ? ParseTest(negated) : ParsePlainPattern(head, negated, variables);
  }
  pattern->SetComment(Trim(open->GetWhitespace().View()));
  return pattern;
}

/// An element inside one of the four wrapping words, or null when `head` is none of them.
std::unique_ptr<TKBPattern> TKBClipsParser::ParseWrapped(std::string_view head, int negated,
                                                         TRuleVariables& variables) {
  const bool unique = head == "unique";
  const bool isExplicit = head == "explicit";
  if (head == "not") {
    negated += 1;
  } else if (head == "exists") {
    negated += 2;
  } else if (!unique && !isExplicit) {
    return nullptr;
  }
  std::unique_ptr<TKBPattern> pattern = ParsePattern(negated, variables);
  Expect(kTokenClose, kPattern);
  if (unique) pattern->SetUnique(true);
  if (isExplicit) pattern->SetExplicit(true);
  return pattern;
}

// A negation turns the test itself around; the pattern of a test is never counted as negated.
std::unique_ptr<TKBPattern> TKBClipsParser::ParseTest(int negated) {
  TInferenceEngine& engine = GetOwner();
  auto pattern = std::make_unique<TKBPattern>(&engine, engine.CreateFactTemplate(STestCE), STestCE, 0);
  const IKBValue call = MakeRef<TKBValue>(ParseFunCall());
  Expect(kTokenClose, kPattern);
  pattern->AddTest(SDefaultSlotName, call, NoSubIndex, negated % 2 != 0, true);
  return pattern;
}

/// One slot of a pattern while its constraints are read.
struct TKBClipsParser::TConstraintPlace {
  TKBPattern& pattern;
  const TFactSlot& slot;
  TRuleVariables& variables;
  int subIndex;
  bool conjunction = true;
};

std::unique_ptr<TKBPattern> TKBClipsParser::ParsePlainPattern(std::string_view head, int negated,
                                                              TRuleVariables& variables) {
  TInferenceEngine& engine = GetOwner();
  const IFactTemplate factTemplate = engine.CreateFactTemplate(head);
  auto pattern = std::make_unique<TKBPattern>(&engine, factTemplate, head, negated);
  IStreamToken token = Next();
  const auto parseSlot = [&](std::string_view name, const IStreamToken& first) {
    const IFactSlot slot = factTemplate->GetSlot(name);
    TConstraintPlace place{*pattern, *slot, variables, slot->IsMultiSlot() ? 0 : NoSubIndex};
    ParseConstraints(place, first);
  };
  if (factTemplate->ContainsSlot(SDefaultSlotName)) {
    parseSlot(SDefaultSlotName, token);
  } else {
    while (token->Is(kTokenOpen)) {
      const IStreamToken name = Next();
      if (!name->Is(dtAtom)) ParseError(kPattern, TKBMessage::BadSlotName, {name->ToString()});
      parseSlot(name->GetText().View(), Next());
      token = Next();
    }
    CheckClose(token, kPattern);
  }
  if (OnParsePattern) OnParsePattern(*this, *pattern);
  return pattern;
}

// The constraints of one slot, from the token at hand through ")":
// field = term (("&" | "|") term)*, one in a slot, any number in a multislot
//
// A term behind a "|" is an alternative, and so is every later term of its field, even behind an "&": a|b&c
// has the alternatives a, b, c, while a&b|c has the alternatives (a and b) and c.
void TKBClipsParser::ParseConstraints(TConstraintPlace& place, IStreamToken token) {
  const bool multi = place.slot.IsMultiSlot();
  const TKBText& name = place.slot.GetName();
  while (!token->Is(kTokenClose)) {
    ParseTerm(place, token);
    token = Next();
    // A connective must be followed by a term; ParseTerm refuses anything else.
    while (token->Is(kTokenAmpersand) || token->Is(kTokenPipe)) {
      if (token->Is(kTokenPipe)) place.conjunction = false;
      ParseTerm(place, Next());
      token = Next();
    }
    if (!multi && !token->Is(kTokenClose)) {
      ParseError(kPattern, TKBMessage::SlotNotMultislot, {name.ToString()});
    }
    ++place.subIndex;
    place.conjunction = true;
  }
  // Without fields it is the pattern that rules get which have to match from it.
  const bool initial = place.subIndex == 0 && place.pattern.GetName() == SInitialFactPattern;
  if (multi && !initial) place.pattern.SetSlotLength(name.View(), place.subIndex);
}

// term = ["~"] (value | variable | ":" call | "=" call)
void TKBClipsParser::ParseTerm(TConstraintPlace& place, IStreamToken token) {
  const bool negated = token->Is(kTokenTilde);
  if (negated) token = Next();
  IKBValue value;
  if (token->IsAtom(":")) {
    value = MakeRef<TKBValue>(ParseFunCall());
  } else if (token->IsVariable()) {
    // The first use of a variable in the rule decides whether it is a multifield.
    const int32_t* known = place.variables.Find(token->GetText().View());
    const int32_t type = known != nullptr ? *known : token->GetDataType();
    if (known == nullptr) place.variables.Put(token->GetText().View(), type);
    value = MakeRef<TKBValue>(token->GetText(), static_cast<TKBType>(type));
  } else if (place.slot.IsFuzzy()) {
    AddFuzzyTests(place, ParseFuzzyField(token, place.slot.GetExtendedTypeInfo(), kPattern), negated);
    return;
  } else if (token->Is(kTokenEquals)) {
    AddReturnValueTest(place, negated);
    return;
  } else if (token->IsValue()) {
    value = token->Value();
  } else {
    ParseError(kPattern, TKBMessage::BadSlotValue, {token->ToString()});
  }
  place.pattern.AddTest(place.slot.GetName().View(), value, place.subIndex, negated, place.conjunction);
}

/// A fuzzy constant; several in a multislot stand in fields of their own.
void TKBClipsParser::AddFuzzyTests(TConstraintPlace& place, const IKBValue& value, bool negated) {
  const std::string_view slot = place.slot.GetName().View();
  const TValueVector* list = value->ListOrNull();
  if (list == nullptr) {
    place.pattern.AddTest(slot, value, place.subIndex, negated, place.conjunction);
    return;
  }
  if (!place.slot.IsMultiSlot()) ParseError(kPattern, TKBMessage::SlotNotMultislot, {std::string(slot)});
  for (int i = 0; i < list->GetValueCount(); ++i) {
    if (i > 0) {
      ++place.subIndex;
      place.conjunction = true;
    }
    place.pattern.AddTest(slot, list->Get(i), place.subIndex, negated, place.conjunction);
  }
}

/// "=(f)": a variable of its own for the field, and a call that compares it with the result.
void TKBClipsParser::AddReturnValueTest(TConstraintPlace& place, bool negated) {
  const IKBValue call = MakeRef<TKBValue>(ParseFunCall());
  const TKBType type = place.slot.IsMultiSlot() ? dtMultiVariable : dtVariable;
  const IKBValue variable = MakeRef<TKBValue>(TKBText(GenerateSymbol(SEqStarPrefix)), type);
  const std::string_view slot = place.slot.GetName().View();
  place.pattern.AddTest(slot, variable, place.subIndex, false, place.conjunction);
  IFunCall comparison = MakeRef<TFunctionCall>(&GetOwner(), TKBText(kEqStar));
  comparison->AddArgument(variable->Clone());
  comparison->AddArgument(call);
  // Both tests are one alternative, so the second is never or-ed with the first.
  place.pattern.AddTest(slot, MakeRef<TKBValue>(comparison), place.subIndex, negated, true);
}

}  // namespace kb
