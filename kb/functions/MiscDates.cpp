// Dates and times: floats of days, see kb/platform/DateTime.h.
#include "kb/functions/FunctionHelpers.h"
#include "kb/functions/MiscFunctions.h"
#include "kb/platform/DateTime.h"

namespace kb::misc {
namespace {

constexpr double kSecondsOfDay = 86400;

IKBValue DatePart(const TFunctionCall& call, TKBContext& context, int TDateParts::*part) {
  return MakeInteger(DecodeDate(NumericArgument(call, 0, context)).*part);
}

IKBValue TimePart(const TFunctionCall& call, TKBContext& context, int TTimeParts::*part) {
  return MakeInteger(DecodeTime(NumericArgument(call, 0, context)).*part);
}

// A part that is not written counts as the smallest one.
int PartArgument(const TFunctionCall& call, int index, TKBContext& context, int smallest) {
  return index < call.GetArgumentCount() ? IntegerArgument(call, index, context) : smallest;
}

}  // namespace

IKBValue TimeOfDay(TFunctionCall& /*call*/, TKBContext& /*context*/) { return MakeFloat(Time() * kSecondsOfDay); }
IKBValue SystemDateTime(TFunctionCall& /*call*/, TKBContext& /*context*/) { return MakeFloat(Now()); }
IKBValue SystemDate(TFunctionCall& /*call*/, TKBContext& /*context*/) { return MakeFloat(Date()); }
IKBValue SystemTime(TFunctionCall& /*call*/, TKBContext& /*context*/) { return MakeFloat(Time()); }

IKBValue DecodeYear(TFunctionCall& call, TKBContext& context) { return DatePart(call, context, &TDateParts::year); }
IKBValue DecodeMonth(TFunctionCall& call, TKBContext& context) { return DatePart(call, context, &TDateParts::month); }
IKBValue DecodeDay(TFunctionCall& call, TKBContext& context) { return DatePart(call, context, &TDateParts::day); }
IKBValue DecodeHour(TFunctionCall& call, TKBContext& context) { return TimePart(call, context, &TTimeParts::hour); }
IKBValue DecodeMinute(TFunctionCall& call, TKBContext& context) { return TimePart(call, context, &TTimeParts::minute); }
IKBValue DecodeSecond(TFunctionCall& call, TKBContext& context) { return TimePart(call, context, &TTimeParts::second); }
IKBValue DecodeMillisecond(TFunctionCall& call, TKBContext& context) {
  return TimePart(call, context, &TTimeParts::millisecond);
}

IKBValue EncodeDateFunction(TFunctionCall& call, TKBContext& context) {
  const int year = IntegerArgument(call, 0, context);
  const int month = PartArgument(call, 1, context, 1);
  return MakeFloat(EncodeDate(year, month, PartArgument(call, 2, context, 1)));
}

IKBValue EncodeTimeFunction(TFunctionCall& call, TKBContext& context) {
  const int hour = IntegerArgument(call, 0, context);
  const int minute = PartArgument(call, 1, context, 0);
  const int second = PartArgument(call, 2, context, 0);
  return MakeFloat(EncodeTime(hour, minute, second, PartArgument(call, 3, context, 0)));
}

IKBValue TextToDateTime(TFunctionCall& call, TKBContext& context) {
  return MakeFloat(StrToDateTime(TextArgument(call, 0, context).View()));
}

IKBValue TextToDate(TFunctionCall& call, TKBContext& context) {
  return MakeFloat(StrToDate(TextArgument(call, 0, context).View()));
}

IKBValue TextToTime(TFunctionCall& call, TKBContext& context) {
  return MakeFloat(StrToTime(TextArgument(call, 0, context).View()));
}

IKBValue DateTimeToText(TFunctionCall& call, TKBContext& context) {
  return MakeString(DateTimeToStr(NumericArgument(call, 0, context)));
}

IKBValue DateToText(TFunctionCall& call, TKBContext& context) {
  return MakeString(DateToStr(NumericArgument(call, 0, context)));
}

IKBValue TimeToText(TFunctionCall& call, TKBContext& context) {
  return MakeString(TimeToStr(NumericArgument(call, 0, context)));
}

IKBValue FormatDateTime(TFunctionCall& call, TKBContext& context) {
  const double value = NumericArgument(call, 0, context);
  return MakeString(DateTimeToString(TextArgument(call, 1, context).View(), value));
}

}  // namespace kb::misc
