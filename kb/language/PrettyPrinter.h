// The pretty printer: objects of the system back to text of the language.
//
// Plain routines, one for each kind of object; the parser and the engine forward to them, and so does every
// ToString. What is written reads back with the same meaning. Lines end with CR LF and are not broken by
// length. Cost: linear in the text.
#pragma once

#include <string>
#include <string_view>

#include "kb/common/Table.h"
#include "kb/language/KBParser.h"
#include "kb/values/KBTypes.h"

namespace kb {

/// "(name value...)" for an ordered template, "(name (slot value)...)" for others, values alone without a template.
[[nodiscard]] std::string PrettyPrint(const TFact& fact);
/// One slot: "(slot value)", the bare value for an ordered template, nothing for a value without text.
[[nodiscard]] std::string PrettyPrint(const TFact& fact, std::string_view slotName);
[[nodiscard]] std::string PrettyPrint(const TFact& fact, std::string_view slotName, const IKBValue& value);
[[nodiscard]] std::string PrettyPrint(const TFact& fact, std::string_view slotName, std::string_view valueText);
/// The deffacts; with `fullName` the name has its module in front.
[[nodiscard]] std::string PrettyPrint(const TFactSet& factSet, bool fullName);
/// The definition of a slot, as in a deftemplate.
[[nodiscard]] std::string PrettyPrint(const TFactSlot& slot);
/// The deftemplate, inherited slots included.
[[nodiscard]] std::string PrettyPrint(const TFactTemplate& factTemplate, bool fullName);
/// The defrule.
[[nodiscard]] std::string PrettyPrint(const TRule& rule, bool fullName);
/// One side of a rule.
[[nodiscard]] std::string PrettyPrint(const TRule& rule, TRuleConstruct construct);
/// One conditional element. "Fact Template is missing" for a pattern without one.
[[nodiscard]] std::string PrettyPrint(const TKBPattern& pattern);
/// A call; with `slotForm` the arguments behind the first stand in parentheses.
[[nodiscard]] std::string PrettyPrint(const TFunctionCall& funCall, bool slotForm);
/// The same, deciding by the name: modify and duplicate have slot form.
[[nodiscard]] std::string PrettyPrint(const TFunctionCall& funCall);
/// The deffunction.
[[nodiscard]] std::string PrettyPrint(const TInterpretedFunction& function);
/// Help for a function: comment and `syntax`, as comment lines. A deffunction gives its own text.
[[nodiscard]] std::string PrettyPrint(const IUserFunction& function, std::string_view syntax);
/// The deftype, or the qualifiers of a slot for an implicit type.
[[nodiscard]] std::string PrettyPrint(const TKBDefinedType& definedType, bool fullName);
/// The body of a fuzzy deftype: range, units, terms.
[[nodiscard]] std::string PrettyPrint(const IFuzzyVariable& variable);
/// The name, or the points of a set without one; with `asTerm` "(term name shape)", nothing for the empty set.
[[nodiscard]] std::string PrettyPrint(const IFuzzySet& set, bool asTerm);
/// "((x y) ...)".
[[nodiscard]] std::string PrettyPrint(const TSingletonsVector& singletons);
/// The defmodule.
[[nodiscard]] std::string PrettyPrint(const TModule& module);
/// "?name = value"; nothing for an empty name.
[[nodiscard]] std::string PrettyPrint(std::string_view name, const IKBValue& value);
/// The defglobal.
[[nodiscard]] std::string PrettyPrint(const TQDStringHashTable<IKBValue>& variables);
/// Help for a construct; empty for types that are none.
[[nodiscard]] std::string PrettyPrint(TParsedType type);

/// "(name arguments)": how a call of the function is written.
[[nodiscard]] std::string SyntaxStatement(const IUserFunction& function);

}  // namespace kb
