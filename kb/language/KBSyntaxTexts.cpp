#include "kb/language/KBSyntaxTexts.h"

namespace kb {

namespace {

constexpr std::string_view SFactSetComment =
    "A deffacts construct is a named set of facts that belong to the knowledge base. Each reset asserts all "
    "of them, "
    "with the function calls in them worked out anew.";
constexpr std::string_view SDefTypeComment =
    "A deftype construct gives a name to a set of values: one or more basic types, limited by a range, a "
    "number of "
    "elements or a list of allowed values. Slots of fact templates refer to it by its name.";
constexpr std::string_view SDefTemplateComment =
    "A deftemplate construct describes the facts of one kind: the names of their slots, what each slot may "
    "hold and "
    "what it holds when nothing is said. A template may extend another one and then has its slots too.";
constexpr std::string_view SModuleComment =
    "A defmodule construct makes a part of the knowledge base with its own templates, rules, facts and "
    "agenda. "
    "Modules share templates and defined types by exporting and importing them.";
constexpr std::string_view SRuleComment =
    "A defrule construct says what to do in which situation. For every set of facts that fulfils all "
    "conditions on "
    "its left side, the actions on its right side are executed once.";
constexpr std::string_view SDefGlobalComment =
    "A defglobal construct defines global variables, which every rule and function can read and change. A "
    "reset "
    "gives them the values of their definition again.";
constexpr std::string_view SUserFunctionComment =
    "A deffunction construct defines a function in the language itself. Its result is the value of the last "
    "statement, or what the function return was given.";

constexpr std::string_view SFactSetSyntax = "(deffacts <name> [\"comment\"] <fact>*)";
constexpr std::string_view SDefinedTypeSyntax =
    "(deftype [<module-name>::]<type-name> [\"optional comment\"]\r\n"
    "          extends (type <type>+)\r\n"
    "          <limit>*)\r\n"
    "  where\r\n"
    "  <type>  = SYMBOL | STRING | LEXEME | INTEGER | FLOAT | NUMBER | CLASS | DESCRIPTOR |\r\n"
    "          OBJECT | EXTERNALADDRESS | FACTID | FACT | ?VARIABLE | <type-name>\r\n"
    "  <limit> = (range <end> <end>) | (cardinality <end> <end>) | (units <name>) |\r\n"
    "          (allowed-values <value>+) | (allowed-lexemes <value>+) | (allowed-strings <value>+) |\r\n"
    "          (allowed-symbols <value>+) | (allowed-numbers <value>+) | (allowed-integers <value>+) |\r\n"
    "          (allowed-floats <value>+)\r\n"
    "  <end>   = <number> | ?VARIABLE | <function-call>";
constexpr std::string_view SFactTemplateSyntax =
    "(deftemplate [<module-name>::]<template-name> [\"optional comment\"]\r\n"
    "          [extends <template-name> | is-a <type-name>]\r\n"
    "          <slot-definition>*)\r\n"
    "  where\r\n"
    "  <slot-definition> = (slot <slot-name> <qualifier>*) | (multislot <slot-name> <qualifier>*)\r\n"
    "  <qualifier>       = (default <value>*) | (default-dynamic <value>*) | (type <type>+) | <limit>\r\n"
    "  <type> and <limit> are those of a deftype";
constexpr std::string_view SModuleSyntax =
    "(defmodule <module-name> [\"optional comment\"]\r\n"
    "          <port>*)\r\n"
    "  where\r\n"
    "  <port>  = (export <items>) | (import <module-name> <items>)\r\n"
    "  <items> = ?ALL | ?NONE | deftype <names> | deftemplate <names>\r\n"
    "  <names> = ?ALL | ?NONE | <name>*";
constexpr std::string_view SRuleSyntax =
    "(defrule [<module-name>::]<symbol-name>\r\n"
    "         [<string-comment>]\r\n"
    "         [(declare [(auto-focus <boolean-expression>])|\r\n"
    "                   [(salience <integer-expression>)]|\r\n"
    "                   [(oneshot <boolean-expression>])|\r\n"
    "                   [(enabled <boolean-expression>])]\r\n"
    "    <conditional-element>*\r\n"
    "    =>\r\n"
    "    <action>*)\r\n"
    "\r\n"
    "<conditional-element>   = <pattern> | ?<variable-name> <- <pattern> |\r\n"
    "          (test <function-call>) |\r\n"
    "          (not <conditional-element>) |\r\n"
    "          (unique <conditional-element>) |\r\n"
    "          (explicit <conditional-element>) |\r\n"
    "          (exists <conditional-element>+)\r\n"
    "<pattern>               = (<template-name> <slot>*)\r\n"
    "<slot>                  = (<slot-name> <constraint>*)\r\n"
    "<constraint>            = ? | $? | <connected-constraint>\r\n"
    "<connected-constraint>  = <single-constraint> | <<single-constraint>&<connected-constraint>> |\r\n"
    "          <<single-constraint>|<connected-constraint>>\r\n"
    "<single-constraint>     = <constant> | <variable> | :<function-call> | =<function-call> |\r\n"
    "         ~<constant> | ~<variable> | ~:<function-call> | ~=<function-call>\r\n"
    "<action>                = <constant>|<variable>|<function-call>\r\n"
    "::                      = Module separator.  Module name is optional.  If not specified, a rule belongs "
    "to the "
    "currently active module";
constexpr std::string_view SDefGlobalSyntax =
    "(defglobal [?*<variable-name>* = <global-value>]+)\r\n"
    "  where\r\n"
    "  <variable-name> must be a unique name and \r\n"
    "  <global-value> = <constant>|<function-call>";
constexpr std::string_view SUserFunctionSyntax =
    "(deffunction <function-name> (<argument>*)\r\n"
    "          [\"optional comment\"]\r\n"
    "          <statement>* \r\n"
    ")\r\n"
    "  where\r\n"
    "  <function-name> must be a unique name and\r\n"
    "  <statement> = <constant>|<variable>|<function-call>";

}  // namespace

std::string_view ConstructComment(TParsedType type) noexcept {
  switch (type) {
    case ptRule:
      return SRuleComment;
    case ptFactSet:
      return SFactSetComment;
    case ptFactTemplate:
      return SDefTemplateComment;
    case ptFunction:
      return SUserFunctionComment;
    case ptGlobals:
      return SDefGlobalComment;
    case ptDefType:
      return SDefTypeComment;
    case ptDefModule:
      return SModuleComment;
    default:
      return {};
  }
}

std::string_view ConstructSyntax(TParsedType type) noexcept {
  switch (type) {
    case ptRule:
      return SRuleSyntax;
    case ptFactSet:
      return SFactSetSyntax;
    case ptFactTemplate:
      return SFactTemplateSyntax;
    case ptFunction:
      return SUserFunctionSyntax;
    case ptGlobals:
      return SDefGlobalSyntax;
    case ptDefType:
      return SDefinedTypeSyntax;
    case ptDefModule:
      return SModuleSyntax;
    default:
      return {};
  }
}

}  // namespace kb
