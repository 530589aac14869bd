// Facts, calls, rules, functions, global variables and help; types and modules are in PrettyPrinterTypes.cpp.
#include "kb/language/PrettyPrinter.h"

#include "kb/common/Helpers.h"
#include "kb/functions/KBPackages.h"
#include "kb/language/KBRule.h"
#include "kb/language/KBSyntaxTexts.h"
#include "kb/language/PrettyPrinterParts.h"
#include "kb/platform/StackGuard.h"
#include "kb/values/Fact.h"
#include "kb/values/FactSet.h"
#include "kb/values/FactTemplate.h"

namespace kb {

using printing::AppendIndented;
using printing::CloseConstruct;
using printing::FieldText;
using printing::FullName;
using printing::Quoted;

std::string printing::IndentSource(std::string_view source) {
  std::string text;
  bool inString = false;
  bool inComment = false;
  for (size_t i = 0; i < source.size(); ++i) {
    const char c = source[i];
    text += c;
    if (inComment) {
      inComment = c != '\n' && c != '\r';
    } else if (c == '\\' && i + 1 < source.size()) {
      text += source[++i];
    } else if (c == '"') {
      inString = !inString;
    } else if (!inString && c == ';') {
      inComment = true;
    }
    if (!inString && c == '\n') text += IndentString;
  }
  return text;
}

namespace {

std::string ValueText(const IKBValue& value) { return value ? value->ToString() : std::string(); }

/// The comment of a call or pattern, each line marked as a comment.
void AppendCommentLines(std::string& text, std::string_view comment) {
  if (comment.empty()) return;
  for (const std::string_view line : SplitLines(comment)) {
    const std::string_view trimmed = Trim(line);
    if (!trimmed.empty() && !trimmed.starts_with(';')) text += "; ";
    text.append(trimmed).append(kLineEnd);
  }
}

}  // namespace

// Facts.

std::string PrettyPrint(const TFact& fact, std::string_view slotName, std::string_view valueText) {
  if (valueText.empty()) return std::string();
  const IFactTemplate& factTemplate = fact.GetTemplate();
  if (factTemplate && factTemplate->IsOrdered()) return std::string(valueText);
  std::string text = "(";
  text.append(slotName).append(" ").append(valueText).append(")");
  return text;
}

std::string PrettyPrint(const TFact& fact, std::string_view slotName, const IKBValue& value) {
  return PrettyPrint(fact, slotName, std::string_view(ValueText(value)));
}

std::string PrettyPrint(const TFact& fact, std::string_view slotName) {
  return PrettyPrint(fact, slotName, fact.GetValue(slotName));
}

namespace {

bool HasText(const TKBValue& value) {
  if (value.Is(dtAtom)) return !value.TextView().empty();
  const TValueVector* list = value.ListOrNull();
  return list == nullptr || list->GetValueCount() > 0;
}

// A call that gives the value.
std::string CallText(const TKBValue& value) {
  switch (value.GetDType()) {
    case dtAtom:
      return "(sym-cat " + EscapedString(value.TextView()) + ")";
    case dtString:
      return "(str-cat " + value.ToString() + ")";
    case dtInteger:
    case dtFloat:
      return "(+ " + value.ToString() + ")";
    default:
      return value.ToString();
  }
}

// A fact may hold what its slot would not let through in a text, such as nil in a goal; what a call gives passes.
std::string PassingText(const TFactSlot& slot, const TKBValue& value) {
  const TValueVector* list = value.ListOrNull();
  if (list != nullptr && !slot.IsMultiSlot()) return CloseConstruct("(create$ " + value.ToString());
  const bool isNil = value.Is(dtAtom) && value.TextView().empty();  // the shared nil itself is always valid
  if (isNil ? slot.IsValid(MakeAtom(TKBText()).Get()) : slot.IsValid(&value)) return FieldText(slot, value);
  if (list == nullptr) return CallText(value);
  std::string text;
  for (const IKBValue& element : *list) text += (element ? CallText(*element) : "nil") + " ";
  return text;
}

// What stands for a slot in a text that is to be read back; empty when the reader fills in the same by itself.
std::string LosslessSlotText(const TFactSlot& slot, const TKBValue& value) {
  const IKBValue& normal = slot.GetSlotDefault();
  const bool fixed = normal && (!slot.GetDefaultDynamic() || !HasText(*normal));
  const bool same = fixed && normal->Is(value.GetDType()) && normal->Equals(&value);
  if (same && (!HasText(value) || !slot.IsValid(&value))) return {};
  const std::string text = PassingText(slot, value);
  if (HasText(value)) return text;
  return slot.IsMultiSlot() ? " " : text;  // "(name )" asks for the empty list
}

std::string SlotText(const TFactSlot& slot, const TKBValue& value, bool ordered) {
  if (!TLosslessText::IsOn()) return value.ToString();
  return ordered ? PassingText(slot, value) : LosslessSlotText(slot, value);
}

}  // namespace

// Slots come in the order of their names; one whose value has no text is left out, and reads back as its default.
std::string PrettyPrint(const TFact& fact) {
  CheckStack();
  std::string text = "(";
  const IFactTemplate& factTemplate = fact.GetTemplate();
  if (!factTemplate) {
    for (const IKBValue& value : fact.GetSlotValues()) text += " " + ValueText(value);
    return text + ")";
  }
  text += factTemplate->GetTemplateName().View();
  const bool ordered = factTemplate->IsOrdered();
  for (const TFactTemplate::TPlacedSlot& placed : factTemplate->GetSortedSlots()) {
    const TKBValue* value = fact.ValueAt(placed.position);
    if (value == nullptr) continue;
    const std::string valueText = SlotText(*placed.slot, *value, ordered);
    if (valueText.empty()) continue;
    if (ordered) {
      text.append(" ").append(valueText);
    } else {
      text.append(" (").append(placed.slot->GetName().View()).append(" ").append(valueText).append(")");
    }
  }
  return text + ")";
}

// An entry that was never parsed is written as it came in.
std::string PrettyPrint(const TFactSet& factSet, bool fullName) {
  std::string text = "(deffacts " + FullName(factSet.GetModule(), factSet.GetFactSetName(), fullName);
  if (!factSet.GetComment().empty()) text += " " + Quoted(factSet.GetComment());
  text += kLineEnd;
  for (int i = 0; i < factSet.GetFactCount(); ++i) {
    const IFact& fact = factSet.PeekFact(i);
    AppendIndented(text, fact ? fact->ToString() : factSet.GetFactText(i));
    text += kLineEnd;
  }
  return CloseConstruct(std::move(text));
}

// Calls.

std::string PrettyPrint(const TFunctionCall& funCall, bool slotForm) {
  CheckStack();
  std::string text;
  AppendCommentLines(text, funCall.GetComment());
  text.append("(").append(funCall.GetName().View());
  for (int i = 0; i < funCall.GetArgumentCount(); ++i) {
    const IKBValue& value = funCall.GetArgument(i);
    const std::string argument = ValueText(value);
    // What is to be read back has parentheses where the reader had found some: a pair that a variable gives is bare.
    const bool pair = slotForm && (TLosslessText::IsOn() ? value && value->Is(dtList) : i > 0);
    if (pair) {
      text.append(" (").append(argument).append(")");
    } else {
      text.append(" ").append(argument);
    }
  }
  return CloseConstruct(std::move(text));
}

std::string PrettyPrint(const TFunctionCall& funCall) {
  return PrettyPrint(funCall, funCall.GetName() == "modify" || funCall.GetName() == "duplicate");
}

// Patterns and rules.

namespace {

void AppendTest(std::string& text, const TKBPatternMatchTest& test, const TFactSlot* slot, bool isTest) {
  if (!isTest && test.GetSlotTestType() == sttNotEquals) text += '~';
  const IKBValue& value = test.GetSlotValue();
  if (!isTest && value && value->Is(dtFunCall)) text += ':';
  if (value && value->Is(dtAtom) && TLosslessText::IsOn() && AtomNeedsCall(value->TextView())) text += '=';
  text += slot != nullptr && value ? FieldText(*slot, *value) : ValueText(value);
}

// Tests of one field are joined by "&". There is no "|": alternatives have become a call of `or` by now.
std::string SlotTestsText(const TKBPattern& pattern, int index) {
  const TSlotTests& tests = pattern.GetSlotTests(index);
  const bool isTest = pattern.IsTest();
  const IFactTemplate& factTemplate = pattern.GetFactTemplate();
  const TFactSlot* slot = factTemplate ? factTemplate->FindSlot(pattern.GetSlotName(index).View()) : nullptr;
  std::string text;
  for (size_t i = 0; i < tests.size(); ++i) {
    if (i > 0) text += tests[i]->GetMultiSlotSubIndex() == tests[i - 1]->GetMultiSlotSubIndex() ? '&' : ' ';
    AppendTest(text, *tests[i], slot, isTest);
  }
  return text;
}

bool IsNegatedTest(const TKBPattern& pattern) {
  if (!pattern.IsTest()) return false;
  const int slot = pattern.IndexOfSlotName(SDefaultSlotName);
  return slot >= 0 && pattern.GetSlotTestCount(slot) > 0 &&
         pattern.GetSlotTest(slot, 0).GetSlotTestType() == sttNotEquals;
}

// Written fields ask for as many elements, also when there are none; a multislot of which nothing is said does not.
std::string SlotsText(const TKBPattern& pattern) {
  const bool lossless = TLosslessText::IsOn();
  const int data = pattern.IndexOfSlotName(SDefaultSlotName);
  if (data >= 0) {
    const bool any = lossless && pattern.GetSlotTestCount(data) == 0 && pattern.GetSlotLength(data) < 0 &&
                     pattern.GetName() != SInitialFactPattern;
    return any ? "$?" : SlotTestsText(pattern, data);
  }
  std::string text;
  for (int i = 0; i < pattern.GetSlotCount(); ++i) {
    const bool asksForNone = lossless && pattern.GetSlotLength(i) == 0;
    if (pattern.GetSlotTestCount(i) == 0 && !asksForNone) continue;
    text.append("(").append(pattern.GetSlotName(i).View()).append(" ");
    text.append(SlotTestsText(pattern, i)).append(") ");
  }
  return text;
}

std::string Wrapped(std::string_view word, const std::string& text) {
  return "(" + std::string(word) + " " + text + ")";
}

// The one pattern that compilation gives a rule without any; a written one has a number of fields.
bool IsGivenPattern(const TRule& rule) {
  if (rule.GetPatternCount() != 1) return false;
  const TKBPattern& pattern = rule.GetPattern(0);
  const int data = pattern.IndexOfSlotName(SDefaultSlotName);
  return pattern.GetName() == SInitialFactPattern && data >= 0 && pattern.GetSlotLength(data) < 0 &&
         pattern.GetSlotTestCount(data) == 0 && pattern.GetBoundName().empty() && pattern.GetNegatedCount() == 0;
}

std::string PatternsText(const TRule& rule) {
  std::string text;
  if (IsGivenPattern(rule)) return text;
  bool goalBefore = false;
  for (int i = 0; i < rule.GetPatternCount(); ++i) {
    const TKBPattern& pattern = rule.GetPattern(i);
    // The negated pattern behind a goal pattern comes back by itself when the text is read.
    const bool skipped = goalBefore;
    goalBefore = pattern.IsGoal();
    if (skipped) continue;
    if (!text.empty()) text += kLineEnd;
    AppendIndented(text, pattern.ToString());
  }
  return text;
}

std::string ActionsText(const TRule& rule) {
  std::string text;
  for (int i = 0; i < rule.GetActionCount(); ++i) {
    AppendIndented(text, rule.GetAction(i)->ToString());
    text += kLineEnd;
  }
  return text;
}

// Only what differs from the defaults. The salience is the number that it came to last.
std::string DeclarationsText(const TRule& rule) {
  if (rule.GetSalience() == 0 && !rule.GetOneShot() && !rule.GetAutoFocus() && rule.GetEnabled()) return {};
  std::string text(IndentString);
  text += "(declare";
  if (rule.GetSalience() != 0) text += " (salience " + IntegerToString(rule.GetSalience()) + ")";
  if (!rule.GetEnabled()) text += " (enabled FALSE)";
  if (rule.GetAutoFocus()) text += " (auto-focus TRUE)";
  if (rule.GetOneShot()) text += " (oneshot TRUE)";
  return text.append(")").append(kLineEnd);
}

}  // namespace

std::string PrettyPrint(const TKBPattern& pattern) {
  if (!pattern.GetFactTemplate()) throw EKBException(TKBMessage::FactTemplateMissing);
  std::string element = "(" + pattern.GetName() + " " + SlotsText(pattern) + ")";
  if (IsNegatedTest(pattern)) element = Wrapped("not", element);
  if (pattern.GetUnique()) element = Wrapped("unique", element);
  if (pattern.GetExplicit()) element = Wrapped("explicit", element);
  int count = pattern.GetNegatedCount();
  if (count >= 2) {
    element = Wrapped("exists", element);
    count -= 2;
  }
  for (; count > 0; --count) element = Wrapped("not", element);
  std::string text;
  // Behind the arrow, where the reader finds the comment of the element again.
  // The reader binds no negated element; a goal inside "not" was given its name, and gets one again.
  const bool bound = !pattern.GetBoundName().empty() && pattern.GetNegatedCount() == 0;
  if (bound) text += "?" + pattern.GetBoundName() + " <- ";
  AppendCommentLines(text, pattern.GetComment());
  return text + element;
}

std::string PrettyPrint(const TRule& rule, TRuleConstruct construct) {
  return construct == rcPattern ? PatternsText(rule) : ActionsText(rule);
}

std::string PrettyPrint(const TRule& rule, bool fullName) {
  std::string text = "(defrule " + FullName(rule.GetModule(), rule.GetRuleName(), fullName);
  if (!rule.GetComment().empty()) text.append(kLineEnd).append(IndentString).append(Quoted(rule.GetComment()));
  text.append(kLineEnd).append(DeclarationsText(rule)).append(PatternsText(rule));
  text.append(kLineEnd).append(IndentString).append("=>").append(kLineEnd).append(ActionsText(rule));
  return CloseConstruct(std::move(text));
}

// Functions.

std::string PrettyPrint(const TInterpretedFunction& function) {
  std::string text = "(deffunction " + function.GetFunctionName().ToString() + " (";
  bool first = true;
  for (int i = 0; i < function.GetArgumentCount(); ++i) {
    const IKBValue& argument = function.GetArgument(i);
    if (!KBVariableTypes.Has(argument->GetDType())) continue;
    if (!first) text += ' ';
    text += argument->ToString();
    first = false;
  }
  text.append(")").append(kLineEnd);
  if (!function.GetComment().empty()) {
    text.append(IndentString).append(Quoted(function.GetComment())).append(kLineEnd);
  }
  for (int i = 0; i < function.GetStatementCount(); ++i) {
    text.append(IndentString).append(ValueText(function.GetStatement(i))).append(kLineEnd);
  }
  return text.append(")").append(kLineEnd);
}

std::string SyntaxStatement(const IUserFunction& function) {
  const std::string_view arguments = Trim(function.GetArgumentString());
  std::string text = function.GetFunctionName().ToString();
  if (!arguments.empty()) text.append(" ").append(arguments);
  return FormatText(CLIPSSyntaxFormat, {text});
}

std::string PrettyPrint(const IUserFunction& function, std::string_view syntax) {
  if (const auto* interpreted = dynamic_cast<const TInterpretedFunction*>(&function)) {
    return PrettyPrint(*interpreted);
  }
  constexpr std::string_view kMark = ";; ";
  const std::string next = std::string(kLineEnd) + std::string(kMark) + std::string(IndentString);
  std::string text(kMark);
  text.append(function.GetFunctionName().View()).append(" function").append(kLineEnd);
  for (const std::string_view line : SplitLines(function.GetComment())) {
    text.append(kMark).append(IndentString).append(WrapText(line, next, WrapTextColumn)).append(kLineEnd);
  }
  text.append(kMark).append(kLineEnd).append(kMark);
  return text + FormatText(SyntaxFormat, {WrapText(TrimLeft(syntax), next, WrapTextColumn)});
}

// Global variables.

std::string PrettyPrint(std::string_view name, const IKBValue& value) {
  if (name.empty()) return std::string();
  std::string text(name.starts_with('?') ? "" : "?");
  text.append(name).append(" = ");
  // A variable stands for one value.
  const bool list = TLosslessText::IsOn() && value && value->Is(dtList);
  return text + (list ? "(create$ " + value->ToString() + ")" : ValueText(value));
}

std::string PrettyPrint(const TQDStringHashTable<IKBValue>& variables) {
  std::string text = "(defglobal";
  for (int i = 0; i < variables.GetCount(); ++i) {
    text += " " + PrettyPrint(variables.GetKey(i).View(), variables.GetValue(i));
  }
  return text + ")";
}

// Singletons.

std::string PrettyPrint(const TSingletonsVector& singletons) {
  if (singletons.GetCount() == 0) return std::string();
  std::string text = "(";
  for (int i = 0; i < singletons.GetCount(); ++i) {
    text.append("(").append(ValueText(singletons.GetXValues(i))).append(" ");
    text.append(ValueText(singletons.GetYValues(i))).append(") ");
  }
  return text + ")";
}

// Help.

std::string PrettyPrint(TParsedType type) {
  const std::string_view comment = ConstructComment(type);
  if (comment.empty()) return std::string();
  const std::string_view syntax = ConstructSyntax(type);
  const std::string twoEnds = std::string(kLineEnd) + std::string(kLineEnd);
  // The keyword is the first word of the syntax.
  std::string text(syntax.substr(1, syntax.find(' ') - 1));
  text.append(" function").append(twoEnds).append(WrapText(comment, kLineEnd, WrapTextColumn)).append(twoEnds);
  return text.append("Syntax:").append(kLineEnd).append(syntax);
}

}  // namespace kb
