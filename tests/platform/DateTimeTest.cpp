// Dates as days since 1899-12-30.

#include <limits>

#include "kb/platform/DateTime.h"
#include "kb/platform/Exceptions.h"
#include "tests/Dialogue.h"

namespace {

using kb::EConvertError;

TEST(DateTime, DaysCountFromTheEndOf1899) {
  EXPECT_EQ(kb::EncodeDate(1899, 12, 30), 0);
  EXPECT_EQ(kb::EncodeDate(1899, 12, 29), -1);
  EXPECT_EQ(kb::EncodeDate(1970, 1, 1), 25569);
  EXPECT_EQ(kb::EncodeDate(2026, 11, 22), 46348);
  EXPECT_EQ(kb::EncodeTime(6, 0, 0, 0), 0.25);
}

TEST(DateTime, EveryDayAndManyTimesComeBack) {
  for (double day = kb::EncodeDate(1, 1, 1); day <= kb::EncodeDate(9999, 12, 31); day += 97) {
    const kb::TDateParts date = kb::DecodeDate(day);
    EXPECT_EQ(kb::EncodeDate(date.year, date.month, date.day), day);
    const double noon = day + kb::EncodeTime(13, 45, 10, 999);
    const kb::TTimeParts time = kb::DecodeTime(noon);
    EXPECT_EQ(time.hour * 10000000 + time.minute * 100000 + time.second * 1000 + time.millisecond, 134510999);
    EXPECT_EQ(kb::DateToStr(noon), kb::DateToStr(day)) << "also before the origin";
  }
}

TEST(DateTime, TheLastHalfMillisecondBelongsToTheNextDay) {
  const double value = kb::EncodeDate(2024, 2, 29) + 1 - 1e-10;
  EXPECT_EQ(kb::DateTimeToStr(value), "2024-03-01 00:00:00");
}

TEST(DateTime, WrongPartsAndTextsRaise) {
  // No part wraps around.
  for (const auto& [year, month, day] :
       {std::tuple(2023, 2, 29), std::tuple(0, 1, 1), std::tuple(10000, 1, 1), std::tuple(2024, 257, 1)}) {
    EXPECT_THROW((void)kb::EncodeDate(year, month, day), EConvertError) << year << "-" << month << "-" << day;
  }
  EXPECT_THROW((void)kb::EncodeTime(24, 0, 0, 0), EConvertError);
  EXPECT_THROW((void)kb::DecodeDate(3e6), EConvertError);
  EXPECT_THROW((void)kb::DecodeDate(std::numeric_limits<double>::quiet_NaN()), EConvertError);
  for (const char* text : {"", "2026", "2026-13-01", "2026-11-22x", "22.11.2026", "-1-1-1"}) {
    EXPECT_THROW((void)kb::StrToDate(text), EConvertError) << text;
  }
  for (const char* text : {"", "13", "13:60", "13:45:10.5x", "13:45 pm"}) {
    EXPECT_THROW((void)kb::StrToTime(text), EConvertError) << text;
  }
}

TEST(DateTime, TextsReadBack) {
  const double value = kb::StrToDateTime("2026-11-22T13:45:10.250");
  EXPECT_EQ(kb::DateTimeToStr(value), "2026-11-22 13:45:10");
  EXPECT_EQ(kb::DateTimeToString("z", value), "250");
  EXPECT_EQ(kb::StrToDateTime(" 2026-11-22 "), kb::EncodeDate(2026, 11, 22));
  EXPECT_EQ(kb::StrToDateTime("06:00"), 0.25);
}

TEST(DateTime, Formats) {
  const double value = kb::EncodeDate(2026, 3, 5) + kb::EncodeTime(14, 7, 9, 40);
  // An m behind an hour counts minutes.
  kbtest::ExpectAnswers([value](const std::string& text) { return kb::DateTimeToString(text, value); }, R"(
    yy/m/d --> 26/3/5 ;; YYYY-MM-DD --> 2026-03-05 ;; ddd d mmm, dddd d mmmm --> Thu 5 Mar, Thursday 5 March
    hh:mm:ss.zzz --> 14:07:09.040 ;; mm hh nn --> 03 14 07 ;; h:nn am/pm --> 2:07 pm ;; h a/p 'h am/pm' --> 2 p h am/pm
    "at" t, tt --> at 14:07, 14:07:09 ;; --> 2026-03-05 14:07:09 ;; 'open --> open
  )");
}

}  // namespace
