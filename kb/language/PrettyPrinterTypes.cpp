// Slots, templates, defined types and modules.
#include "kb/common/Helpers.h"
#include "kb/language/PrettyPrinter.h"
#include "kb/language/PrettyPrinterParts.h"
#include "kb/values/FactTemplate.h"
#include "kb/values/KBDefinedType.h"
#include "kb/values/KBHelperFunctions.h"
#include "kb/values/KBModule.h"

namespace kb {

using printing::AppendIndented;
using printing::CloseConstruct;
using printing::FieldText;
using printing::FullName;
using printing::Quoted;

namespace {

constexpr std::string_view kPrintedOpenEnd = "?VARIABLE";

std::string_view ModuleName(const TModuleConstruct& construct) {
  return construct.GetModule() == nullptr ? std::string_view() : std::string_view(construct.GetModule()->GetName());
}

/// The names of the types that a text can limit a slot to.
std::string TypeNames(TKBTypes types) {
  return QDUpperCase(SetToString(types - KBMultiSlotTypes - KBAlwaysValidTypes, " ", false));
}

bool IsEmptyDefault(const TKBValue& value) {
  if (value.Is(dtAtom)) return Trim(value.TextView()).empty();
  const TValueVector* list = value.ListOrNull();
  return list != nullptr && list->GetValueCount() == 0;
}

// For people an empty default says nothing. It says something to the reader where it would choose another.
std::string DefaultText(const TFactSlot& slot) {
  const IKBValue& value = slot.GetSlotDefault();
  if (!value) return {};
  const bool lossless = TLosslessText::IsOn();
  const bool empty = value == FCNil || value == FCNilList || (lossless && IsEmptyDefault(*value));
  if (empty && !lossless) return {};
  if (empty) {
    const IKBValue chosen = slot.CreateValidDefault(slot.IsMultiSlot());
    if (chosen && chosen->Is(value->GetDType()) && chosen->Equals(value.Get())) return {};
  }
  // One that the limits of the slot led to may itself lie outside of them; the reader comes to it again.
  if (lossless && !empty && !slot.IsValid(value.Get())) {
    const IKBValue chosen = slot.CreateValidDefault(slot.IsMultiSlot());
    if (chosen && chosen->Is(value->GetDType()) && chosen->Equals(value.Get())) return {};
  }
  const std::string text = FieldText(slot, *value);
  // The default of a slot for facts alone is no fact, which has no text; the reader chooses it by itself.
  if (Trim(text).empty() && !(lossless && slot.IsMultiSlot())) return {};
  return std::string(slot.GetDefaultDynamic() ? "(default-dynamic " : "(default ") + text + ") ";
}

// A type in front of nil would refuse it.
bool DefaultComesFirst(const TFactSlot& slot) {
  return TLosslessText::IsOn() && slot.GetSlotDefault() && IsEmptyDefault(*slot.GetSlotDefault());
}

std::string TwiceIndented(const std::string& text) {
  if (text.empty()) return text;
  return std::string(IndentString) + std::string(IndentString) + text;
}

// The qualifiers of a slot and its default, which stands on a line of its own behind them.
std::string SlotBody(const TFactSlot& slot) {
  const bool defaultFirst = DefaultComesFirst(slot);
  const std::string leading = defaultFirst ? DefaultText(slot) : std::string();
  const std::string defaultText = defaultFirst ? std::string() : DefaultText(slot);
  if (const IKBDefinedType& definedType = slot.GetExtendedTypeInfo()) {
    const std::string type =
        definedType->GetImplicit() ? PrettyPrint(*definedType, true) : "(type " + definedType->GetName() + ")";
    return leading + type + TwiceIndented(defaultText);
  }
  const TKBTypes types = slot.GetSlotType();
  if (types == KBSlotTypes || types == KBSlotTypes + KBMultiSlotTypes) return leading + defaultText;
  std::string text = leading + "(type " + TypeNames(types) + ")";
  if (types.Has(dtMultiSlot)) text += ' ';
  if (!defaultText.empty()) text.append(kLineEnd).append(TwiceIndented(defaultText));
  return text;
}

}  // namespace

// Templates.

std::string PrettyPrint(const TFactSlot& slot) {
  std::string text = slot.GetSlotType().Has(dtMultiSlot) ? "(multislot " : "(slot ";
  text.append(slot.GetName().View()).append(" ").append(SlotBody(slot));
  return text + ")";
}

namespace {

// The one slot of an ordered template is only written for what its type says, and, where it must not get lost, for
// its default.
std::string OrderedBody(const TFactTemplate& factTemplate) {
  const TFactSlot* slot = factTemplate.FindSlot(SDefaultSlotName);
  if (slot == nullptr) return {};
  if (!slot->GetExtendedTypeInfo()) {
    const bool plain = DefaultText(*slot).empty() && slot->GetSlotType() == KBSlotTypes + KBMultiSlotTypes;
    return plain || !TLosslessText::IsOn() ? std::string() : " " + PrettyPrint(*slot);
  }
  const TKBDefinedType& definedType = *slot->GetExtendedTypeInfo();
  return definedType.GetImplicit() ? " " + PrettyPrint(*slot) : " is-a " + definedType.GetName();
}

}  // namespace

std::string PrettyPrint(const TFactTemplate& factTemplate, bool fullName) {
  std::string text =
      "(deftemplate " + FullName(ModuleName(factTemplate), factTemplate.GetTemplateName().View(), fullName);
  if (!factTemplate.GetComment().empty()) text += " " + Quoted(factTemplate.GetComment());
  if (const IFactTemplate& parent = factTemplate.GetParent()) {
    text.append(kLineEnd).append(IndentString).append("extends ").append(parent->GetTemplateName().View());
  }
  if (factTemplate.IsOrdered()) return CloseConstruct(text + OrderedBody(factTemplate));
  text += kLineEnd;
  for (int i = 0; i < factTemplate.GetSlotCount(); ++i) {
    AppendIndented(text, PrettyPrint(*factTemplate.GetSlotAt(i)));
    text += kLineEnd;
  }
  return CloseConstruct(std::move(text));
}

// Defined types. Each part of the body gives its line, or nothing when the type has none.

namespace {

// Ends are whole numbers in print, unless they are to be read back; the extreme ones stand for an open end.
std::string RangeEnd(double value, double openEnd) {
  const bool open = value == openEnd;
  if (TLosslessText::IsOn() && !open && value != TruncateToInt32(value)) return LosslessFloat(value);
  return open ? std::string(kPrintedOpenEnd) : IntegerToString(TruncateToInt32(value));
}

std::string RangeText(const TKBDefinedType& type) {
  if (!type.GetRangeLimited()) return {};
  const std::string ends = RangeEnd(type.GetMinRange(), TKBDefinedType::kOpenMinRange) + " " +
                           RangeEnd(type.GetMaxRange(), TKBDefinedType::kOpenMaxRange);
  return std::string(IndentString) + "(range " + ends + ") " + std::string(kLineEnd);
}

std::string UnitsText(const TKBDefinedType& type) { return printing::UnitsText(type.GetUnits()); }

std::string CardinalityText(const TKBDefinedType& type) {
  if (!type.GetCardinalityLimited()) return {};
  const int32_t min = type.GetMinCardinality();
  const int32_t max = type.GetMaxCardinality();
  std::string text(IndentString);
  text.append("(cardinality ").append(min < 0 ? std::string(kPrintedOpenEnd) : IntegerToString(min)).append(" ");
  text += max == TKBDefinedType::kOpenMaxCardinality ? std::string(kPrintedOpenEnd) : IntegerToString(max);
  return text.append(") ").append(kLineEnd);
}

std::string AllowedText(const TKBDefinedType& type) { return type.GetAllowedString(); }

/// The limits that the type has and its parent, which it copied, has not. A type of a slot's own names no parent.
std::string LimitsText(const TKBDefinedType& type) {
  const IKBDefinedType parent = type.GetImplicit() ? nullptr : type.GetAncestor();
  std::string text;
  for (const auto part : {RangeText, UnitsText, CardinalityText, AllowedText}) {
    const std::string own = part(type);
    if (!parent || own != part(*parent)) text += own;
  }
  return text;
}

// With a parent only the types that come to those of the parent.
std::string TypeHead(const TKBDefinedType& type, bool fullName) {
  std::string text = "(deftype " + FullName(ModuleName(type), type.GetName(), fullName) + " ";
  if (!type.GetComment().empty()) {
    text.append(kLineEnd).append(IndentString).append(Quoted(type.GetComment()));
    text.append(kLineEnd).append(IndentString);
  }
  text += "extends (type ";
  TKBTypes types = type.GetBaseTypes();
  if (const IKBDefinedType& parent = type.GetAncestor()) {
    text += parent->GetName() + " ";
    types -= parent->GetBaseTypes();
  }
  return text.append(TypeNames(types)).append(")").append(kLineEnd);
}

}  // namespace

std::string PrettyPrint(const TKBDefinedType& definedType, bool fullName) {
  const Ref<IFuzzyVariable>& variable = definedType.GetFuzzyType();
  if (definedType.GetImplicit()) {
    // A fuzzy slot with a cardinality of its own still shares the variable of the type that it was made of, if any.
    const bool named = variable && variable->Name() != SImplicitDefinedType;
    std::string text = "(type " + (named ? variable->Name() : TypeNames(definedType.GetBaseTypes())) + ")";
    return text.append(kLineEnd).append(variable ? CardinalityText(definedType) : LimitsText(definedType));
  }
  return CloseConstruct(TypeHead(definedType, fullName) +
                        (variable ? PrettyPrint(*variable) : LimitsText(definedType)));
}

// Modules.

namespace {

void AppendShared(std::string& text, std::string_view head, std::string_view kind, TSharedConstructs shared,
                  const std::vector<std::string>& names) {
  if (shared == mieNone) return;
  text.append(IndentString).append("(").append(head).append(" ").append(kind).append(" ");
  if (shared == mieAll) {
    text += "?ALL";
  } else {
    for (const std::string& name : names) text += name + " ";
  }
  text.append(")").append(kLineEnd);
}

void AppendRecord(std::string& text, const std::string& head, const TModuleImportExport& record) {
  AppendShared(text, head, "deftype", record.GetDefinedTypesShared(), record.GetDefinedTypes());
  AppendShared(text, head, "deftemplate", record.GetFactTemplatesShared(), record.GetFactTemplates());
}

}  // namespace

std::string PrettyPrint(const TModule& module) {
  std::string text = "(defmodule " + module.GetName();
  if (!module.GetComment().empty()) text += " " + Quoted(module.GetComment());
  text += kLineEnd;
  AppendRecord(text, "export", *module.GetExportItems());
  for (int i = 0; i < module.GetImportModuleCount(); ++i) {
    const TModuleImportExport& record = *module.GetImportModule(i);
    AppendRecord(text, "import " + record.GetModuleName(), record);
  }
  return CloseConstruct(std::move(text));
}

}  // namespace kb
