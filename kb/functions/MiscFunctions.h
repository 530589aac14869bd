// Bodies of the functions of the miscellaneous package, by theme. For the .cpp files of this folder only; what each
// function does for a user stands as its comment in the tables of MiscPackage.cpp.
#pragma once

#include "kb/functions/KBPackages.h"

namespace kb::misc {

// MiscConstructs.cpp
IKBValue IsBinding(TFunctionCall& call, TKBContext& context);
IKBValue IsDefType(TFunctionCall& call, TKBContext& context);
IKBValue IsDefFunction(TFunctionCall& call, TKBContext& context);
IKBValue IsDefGlobal(TFunctionCall& call, TKBContext& context);
IKBValue IsDefRule(TFunctionCall& call, TKBContext& context);
IKBValue IsDefFacts(TFunctionCall& call, TKBContext& context);
IKBValue IsDefTemplate(TFunctionCall& call, TKBContext& context);
IKBValue PrintFactSet(TFunctionCall& call, TKBContext& context);
IKBValue PrintFunction(TFunctionCall& call, TKBContext& context);
IKBValue PrintTemplate(TFunctionCall& call, TKBContext& context);
IKBValue PrintRule(TFunctionCall& call, TKBContext& context);
IKBValue PrintDefType(TFunctionCall& call, TKBContext& context);
IKBValue PrintModule(TFunctionCall& call, TKBContext& context);
IKBValue UndefineRule(TFunctionCall& call, TKBContext& context);
IKBValue UndefineFactSet(TFunctionCall& call, TKBContext& context);
IKBValue UndefineTemplate(TFunctionCall& call, TKBContext& context);
IKBValue UndefineDefType(TFunctionCall& call, TKBContext& context);
IKBValue UndefineFunction(TFunctionCall& call, TKBContext& context);

// MiscListings.cpp
IKBValue ListGlobals(TFunctionCall& call, TKBContext& context);
IKBValue ListBindings(TFunctionCall& call, TKBContext& context);
IKBValue ListModules(TFunctionCall& call, TKBContext& context);
IKBValue ListFocusStack(TFunctionCall& call, TKBContext& context);
IKBValue ListRules(TFunctionCall& call, TKBContext& context);
IKBValue ListDefTypes(TFunctionCall& call, TKBContext& context);
IKBValue ListFactSets(TFunctionCall& call, TKBContext& context);
IKBValue ListTemplates(TFunctionCall& call, TKBContext& context);
IKBValue ListFunctions(TFunctionCall& call, TKBContext& context);
IKBValue Agenda(TFunctionCall& call, TKBContext& context);
IKBValue ShowFacts(TFunctionCall& call, TKBContext& context);
IKBValue ShowRules(TFunctionCall& call, TKBContext& context);

// MiscPackage.cpp: parse, guard and the switches. MiscDates.cpp:
IKBValue TimeOfDay(TFunctionCall& call, TKBContext& context);
IKBValue SystemDateTime(TFunctionCall& call, TKBContext& context);
IKBValue SystemDate(TFunctionCall& call, TKBContext& context);
IKBValue SystemTime(TFunctionCall& call, TKBContext& context);
IKBValue DecodeYear(TFunctionCall& call, TKBContext& context);
IKBValue DecodeMonth(TFunctionCall& call, TKBContext& context);
IKBValue DecodeDay(TFunctionCall& call, TKBContext& context);
IKBValue DecodeHour(TFunctionCall& call, TKBContext& context);
IKBValue DecodeMinute(TFunctionCall& call, TKBContext& context);
IKBValue DecodeSecond(TFunctionCall& call, TKBContext& context);
IKBValue DecodeMillisecond(TFunctionCall& call, TKBContext& context);
IKBValue EncodeDateFunction(TFunctionCall& call, TKBContext& context);
IKBValue EncodeTimeFunction(TFunctionCall& call, TKBContext& context);
IKBValue TextToDateTime(TFunctionCall& call, TKBContext& context);
IKBValue TextToDate(TFunctionCall& call, TKBContext& context);
IKBValue TextToTime(TFunctionCall& call, TKBContext& context);
IKBValue DateTimeToText(TFunctionCall& call, TKBContext& context);
IKBValue DateToText(TFunctionCall& call, TKBContext& context);
IKBValue TimeToText(TFunctionCall& call, TKBContext& context);
IKBValue FormatDateTime(TFunctionCall& call, TKBContext& context);

}  // namespace kb::misc
