#include "kb/functions/MiscPackage.h"

#include "kb/engine/InferenceEngine.h"
#include "kb/functions/BuiltinFunction.h"
#include "kb/functions/FunctionHelpers.h"
#include "kb/functions/MiscFunctions.h"

namespace kb {
namespace {

IKBValue ParseText(TFunctionCall& call, TKBContext& context) {
  EngineOf(context).Parse(TextArgument(call, 0, context).View(), true);
  return FCTrue;
}

// The rule that fires is off for the time of a scope.
class TRuleOff {
 public:
  explicit TRuleOff(const TInferenceEngine& engine) {
    const TActivation* item = engine.GetCurrentAgendaItem();
    rule_ = item == nullptr ? nullptr : item->GetRule();
    if (rule_ == nullptr) return;
    enabled_ = rule_->GetEnabled();
    rule_->SetEnabled(false);
  }
  TRuleOff(const TRuleOff&) = delete;
  TRuleOff& operator=(const TRuleOff&) = delete;
  ~TRuleOff() {
    if (rule_ == nullptr) return;
    TDelayedError error;  // of a handler, which the scope may not pass on
    error.Run([this] { rule_->SetEnabled(enabled_); });
  }

 private:
  TRule* rule_;
  bool enabled_ = false;
};

IKBValue Guard(TFunctionCall& call, TKBContext& context) {
  // A firing keeps its rule in memory, also one that is removed meanwhile.
  const TRuleOff off(EngineOf(context));
  IKBValue result = FCNil;
  static_cast<void>(RunStatements(call, context, 0, call.GetArgumentCount(), result));
  return result;
}

IKBValue SetGen(TFunctionCall& call, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  engine.SetSymbolIndex(IntegerArgument(call, 0, context));
  return MakeInteger(engine.GetSymbolIndex());
}

IKBValue SetResetGlobals(TFunctionCall& call, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  if (call.GetArgumentCount() == 0) return MakeBoolean(engine.GetResetGlobals());
  const IKBValue value = call.Evaluate(0, context);
  engine.SetResetGlobals(IsConstant(value, FCTrue));
  return value;
}

template <TTypeCheck Check>
IKBValue GetCheck(TFunctionCall& /*call*/, TKBContext& context) {
  return MakeBoolean(EngineOf(context).GetTypeChecks().Has(Check));
}

template <TTypeCheck Check>
IKBValue SetCheck(TFunctionCall& call, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  const bool on = IsConstant(call.Evaluate(0, context), FCTrue);
  const TTypeChecks checks = engine.GetTypeChecks();
  engine.SetTypeChecks(on ? checks + TTypeChecks(Check) : checks - TTypeChecks(Check));
  return MakeBoolean(checks.Has(Check));
}

constexpr const char* kModuleForm = " [<module-name-expression>|*]";

// In the order in which the functions are registered: name, syntax behind the name, least and most arguments, help,
// body.
const TBuiltin kMiscFunctions[] = {
    {"is-binding", " <string-expression>", 1, 1, "Returns TRUE if a variable of that name has a value here",
     misc::IsBinding},
    {"is-deftype", " <string-expression>", 1, 1, "Returns TRUE if the current module has a deftype of that name",
     misc::IsDefType},
    {"is-deffunction", " <string-expression>", 1, 1,
     "Returns TRUE if there is a function of that name, built in or not", misc::IsDefFunction},
    {"is-defglobal", " <string-expression>", 1, 1,
     "Returns TRUE if there is a global variable of that name, which is written with its asterisks", misc::IsDefGlobal},
    {"is-defrule", " <string-expression>", 1, 1, "Returns TRUE if the current module has a rule of that name",
     misc::IsDefRule},
    {"is-deffacts", " <string-expression>", 1, 1, "Returns TRUE if the current module has a fact set of that name",
     misc::IsDefFacts},
    {"is-deftemplate", " <string-expression>", 1, 1,
     "Returns TRUE if the current module has a fact template of that name", misc::IsDefTemplate},

    {"list-defglobals", "", 0, 0, "Prints the names of the global variables", misc::ListGlobals},
    {"list-bindings", "", 0, 0, "Prints the names of all variables that have a value here", misc::ListBindings},
    {"list-defmodules", "", 0, 0, "Prints the names of the modules", misc::ListModules},
    {"list-focus-stack", "", 0, 0, "Prints the names of the modules on the focus stack, the top first",
     misc::ListFocusStack},
    {"list-defrules", kModuleForm, 0, 1, "Prints the names of the rules of a module, with * of all modules",
     misc::ListRules},
    {"list-deftypes", kModuleForm, 0, 1, "Prints the names of the deftypes of a module, with * of all modules",
     misc::ListDefTypes},
    {"list-deffacts", kModuleForm, 0, 1, "Prints the names of the fact sets of a module, with * of all modules",
     misc::ListFactSets},
    {"list-deftemplates", kModuleForm, 0, 1,
     "Prints the names of the fact templates of a module, with * of all modules", misc::ListTemplates},
    {"list-deffunctions", kModuleForm, 0, 1, "Prints the names of all functions, which belong to no module",
     misc::ListFunctions},
    {"agenda", kModuleForm, 0, 1, "Prints the activations of a module in the order of firing, with * of all modules",
     misc::Agenda},
    {"facts",
     " [<module-name-expression>|*] [<start-integer-expression> [<end-integer-expression> "
     "[<max-integer-expression>]]]",
     0, 4,
     "Prints the facts of a module, with * of all modules; with numbers those whose ids lie from start to end, at "
     "most so many",
     misc::ShowFacts},
    {"rules", " [<logical-name>]", 0, 1, "Prints the rules of the current module", misc::ShowRules},
    {"ppdeffacts", " <fact-set-name>", 1, 1, "Prints the fact set. The name may have its module in front",
     misc::PrintFactSet},
    {"ppdeffunction", " <function-name>", 1, 1, "Prints the deffunction, or help for a built-in function",
     misc::PrintFunction},
    {"ppdeftemplate", " <fact-template-name>", 1, 1, "Prints the fact template. The name may have its module in front",
     misc::PrintTemplate},
    {"ppdefrule", " <rulename>", 1, 1, "Prints the rule. The name may have its module in front", misc::PrintRule},
    {"ppdeftype", " <type-name>", 1, 1, "Prints the deftype. The name may have its module in front",
     misc::PrintDefType},
    {"ppdefmodule", " <module-name>", 1, 1, "Prints the defmodule", misc::PrintModule},

    {"undefrule", " <rule-name>", 1, 1,
     "Removes the rule, whose name may have its module in front. Returns TRUE if there was one", misc::UndefineRule},
    {"undeffacts", " <fact-set-name>", 1, 1,
     "Removes the fact set, whose name may have its module in front. Returns TRUE if there was one",
     misc::UndefineFactSet},
    {"undeftemplate", " <fact-template-name>", 1, 1,
     "Removes the fact template, whose name may have its module in front, with the facts and rules on it. Returns TRUE "
     "if there was one",
     misc::UndefineTemplate},
    {"undeftype", " <defined-type-name-expression>", 1, 1,
     "Removes the deftype, whose name may have its module in front, with the templates that use it. Returns TRUE if "
     "there was one",
     misc::UndefineDefType},
    {"undeffunction", " <function-name>", 1, 1,
     "Removes the function. A call of it that runs goes on to its end. Returns TRUE if there was one",
     misc::UndefineFunction},

    {"parse", " <string-expression>", 1, 1, "Reads the text, which may hold constructs and calls. Returns TRUE",
     ParseText},
    {"guard", " <function-call-argument>+", 1, kAny,
     "Runs the expressions while the rule that fires cannot be activated by them. Returns the last value", Guard},
    {"setgen", " <integer-expression>", 1, 1,
     "Sets the number that generated names count on from, which never goes back. Returns it", SetGen},
    {"set-reset-globals", " [<boolean-expression>]", 0, 1,
     "TRUE lets reset restore the global variables. Returns the setting", SetResetGlobals},
    {"get-static-constraint-checking", "", 0, 0, "Returns TRUE if values are checked while a text is read",
     GetCheck<tcStatic>},
    {"get-dynamic-constraint-checking", "", 0, 0, "Returns TRUE if values are checked when they are stored",
     GetCheck<tcDynamic>},
    {"set-static-constraint-checking", " <boolean-expression>", 1, 1,
     "Switches the checks of values while a text is read. Returns the previous setting", SetCheck<tcStatic>},
    {"set-dynamic-constraint-checking", " <boolean-expression>", 1, 1,
     "Switches the checks of values when they are stored. Returns the previous setting", SetCheck<tcDynamic>},

    {"time", "", 0, 0, "Returns the seconds since midnight", misc::TimeOfDay},
    {"system-datetime", "", 0, 0,
     "Returns the present date and time as days since 1899-12-30; the fraction is the part of the day",
     misc::SystemDateTime},
    {"system-date", "", 0, 0, "Returns the present date as days since 1899-12-30", misc::SystemDate},
    {"system-time", "", 0, 0, "Returns the present time as the part of the day", misc::SystemTime},
    {"decode-year", " <system-date-numeric-expression>", 1, 1, "Returns the year of a date", misc::DecodeYear},
    {"decode-month", " <system-date-numeric-expression>", 1, 1, "Returns the month of a date, 1 to 12",
     misc::DecodeMonth},
    {"decode-day", " <system-date-numeric-expression>", 1, 1, "Returns the day of the month of a date",
     misc::DecodeDay},
    {"decode-hour", " <system-time-numeric-expression>", 1, 1, "Returns the hour of a time, 0 to 23", misc::DecodeHour},
    {"decode-minute", " <system-time-numeric-expression>", 1, 1, "Returns the minute of a time", misc::DecodeMinute},
    {"decode-second", " <system-time-numeric-expression>", 1, 1, "Returns the second of a time", misc::DecodeSecond},
    {"decode-millisecond", " <system-time-numeric-expression>", 1, 1, "Returns the millisecond of a time",
     misc::DecodeMillisecond},
    {"encode-date", " <year-integer-expression> [<month-integer-expression> [<day-integer-expression>]]", 1, 3,
     "Returns the date as days since 1899-12-30; month and day are 1 if they are left out", misc::EncodeDateFunction},
    {"encode-time",
     " <hour-integer-expression> [<minute-integer-expression> [<second-integer-expression> "
     "[<millisecond-integer-expression>]]]",
     1, 4, "Returns the time as the part of the day; what is left out is 0", misc::EncodeTimeFunction},
    {"str-datetime", " <string-expression> ", 1, 1,
     "Returns the date and time that a text such as \"2026-11-22 13:45:10\" gives", misc::TextToDateTime},
    {"str-date", " <string-expression> ", 1, 1, "Returns the date that a text such as \"2026-11-22\" gives",
     misc::TextToDate},
    {"str-time", " <string-expression> ", 1, 1,
     "Returns the time that a text such as \"13:45:10\" gives; seconds may be left out", misc::TextToTime},
    {"datetime-str", " <numeric-expression> ", 1, 1, "Returns date and time as a text, 2026-11-22 13:45:10",
     misc::DateTimeToText},
    {"date-str", " <numeric-expression> ", 1, 1, "Returns the date as a text, 2026-11-22", misc::DateToText},
    {"time-str", " <numeric-expression> ", 1, 1, "Returns the time as a text, 13:45:10", misc::TimeToText},
    {"datetime-str-format", " <numeric-expression> <format-string-expression>", 2, 2,
     "Returns date and time by a format: yy yyyy year, m mm mmm mmmm month, d dd ddd dddd day, h hh hour, n nn minute "
     "(m behind an hour too), s ss second, z zzz millisecond, am/pm or a/p half of the day, c date and time, t tt "
     "time; "
     "text in quotes and other characters stand for themselves",
     misc::FormatDateTime},
};

}  // namespace

const TClassInfo& TMiscPackage::StaticClass() noexcept {
  static const TClassInfo info{"TMiscPackage", &TUserPackage::StaticClass(), nullptr, &NewPackage<TMiscPackage>};
  return info;
}

void TMiscPackage::CreateFunctions() {
  TUserPackage::CreateFunctions();
  AddBuiltins(*this, kMiscFunctions);
}

}  // namespace kb
