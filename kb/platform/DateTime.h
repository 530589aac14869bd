// Dates and times as numbers.
//
// A date with its time of day is a double: days since 1899-12-30 00:00, the fraction being the part of the day. Dates
// before that day are negative, and their times count forward from midnight as well: -0.25 is 18:00 of the 29th. A
// time alone is a fraction from 0 up to 1. The calendar is the Gregorian one throughout, years 1 to 9999; the smallest
// step is a millisecond. Texts are in the manner of ISO 8601: 2026-11-22, 13:45:10.
#pragma once

#include <string>
#include <string_view>

namespace kb {

struct TDateParts {
  int year = 1899;
  int month = 12;  // 1 to 12
  int day = 30;    // 1 to 31
};

struct TTimeParts {
  int hour = 0;    // 0 to 23
  int minute = 0;  // 0 to 59
  int second = 0;  // 0 to 59
  int millisecond = 0;
};

/// The local date and time at this moment; its date; its time.
[[nodiscard]] double Now();
[[nodiscard]] double Date();
[[nodiscard]] double Time();

/// Raise EConvertError for parts out of their ranges and for days that the month has not.
[[nodiscard]] double EncodeDate(int year, int month, int day);
[[nodiscard]] double EncodeTime(int hour, int minute, int second, int millisecond);

/// The parts, rounded to the millisecond. Raise EConvertError for a value outside years 1 to 9999.
[[nodiscard]] TDateParts DecodeDate(double value);
[[nodiscard]] TTimeParts DecodeTime(double value);

/// "year-month-day". Raises EConvertError.
[[nodiscard]] double StrToDate(std::string_view text);
/// "hour:minute", "hour:minute:second" or "hour:minute:second.millisecond". Raises EConvertError.
[[nodiscard]] double StrToTime(std::string_view text);
/// A date, a time, or both with a blank or a T between them. Raises EConvertError.
[[nodiscard]] double StrToDateTime(std::string_view text);

/// "2026-11-22", "13:45:10" and "2026-11-22 13:45:10"; what is below a second is dropped.
[[nodiscard]] std::string DateToStr(double value);
[[nodiscard]] std::string TimeToStr(double value);
[[nodiscard]] std::string DateTimeToStr(double value);

/// By a format: yy yyyy, m mm mmm mmmm, d dd ddd dddd, h hh, n nn (minutes; m behind an h too), s ss, z zzz, am/pm and
/// a/p (which make h count to 12), c (date and time), t (hour:minute), tt (with seconds). Letters count in either case.
/// Text between quotes and any other character stands for itself. Names of days and months are English.
[[nodiscard]] std::string DateTimeToString(std::string_view format, double value);

}  // namespace kb
