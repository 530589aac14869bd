#include "kb/platform/DateTime.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <utility>

#include "kb/platform/Exceptions.h"

// Tested in tests/platform/DateTimeTest.cpp.

namespace kb {
namespace {

constexpr int64_t kDayMilliseconds = 86400000;
constexpr std::chrono::sys_days kOrigin{std::chrono::year{1899} / 12 / 30};
constexpr double kFirstDay = -693593;  // 0001-01-01
constexpr double kLastDay = 2958465;   // 9999-12-31

constexpr std::array<std::string_view, 12> kMonths = {"January",   "February", "March",    "April",
                                                      "May",       "June",     "July",     "August",
                                                      "September", "October",  "November", "December"};
constexpr std::array<std::string_view, 7> kDays = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                   "Thursday", "Friday", "Saturday"};

[[noreturn]] void RaiseNotA(std::string_view text, std::string_view what) {
  throw EConvertError("\"" + std::string(text) + "\" is not a valid " + std::string(what));
}

/// A moment as whole days since the origin and milliseconds of the day.
struct TMoment {
  int64_t day;
  int64_t milliseconds;
};

TMoment MomentOf(double value) {
  if (!(value >= kFirstDay && value < kLastDay + 1)) throw EConvertError("Date out of range");
  const double day = std::floor(value);
  TMoment moment{static_cast<int64_t>(day), std::llround((value - day) * static_cast<double>(kDayMilliseconds))};
  if (moment.milliseconds == kDayMilliseconds) moment = {moment.day + 1, 0};
  return moment;
}

std::chrono::sys_days DayOf(const TMoment& moment) { return kOrigin + std::chrono::days(moment.day); }

TDateParts DateParts(const TMoment& moment) {
  const std::chrono::year_month_day date{DayOf(moment)};
  return {static_cast<int>(date.year()), static_cast<int>(static_cast<unsigned>(date.month())),
          static_cast<int>(static_cast<unsigned>(date.day()))};
}

TTimeParts TimeParts(const TMoment& moment) {
  const auto ms = static_cast<int>(moment.milliseconds);
  return {ms / 3600000, ms / 60000 % 60, ms / 1000 % 60, ms % 1000};
}

std::string Padded(int number, size_t width) {
  std::string text = std::to_string(number);
  if (text.size() < width) text.insert(0, width - text.size(), '0');
  return text;
}

std::string_view TrimBlanks(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

/// Whole numbers with separators between them; all of the text must be used up.
class TNumberReader {
 public:
  explicit TNumberReader(std::string_view text) : text_(text) {}
  bool Number(int& number) {
    const char* end = text_.data() + text_.size();
    if (text_.empty() || text_[0] < '0' || text_[0] > '9') return false;
    const auto [stop, error] = std::from_chars(text_.data(), end, number);
    if (error != std::errc()) return false;
    text_.remove_prefix(static_cast<size_t>(stop - text_.data()));
    return true;
  }
  bool Character(char c) {
    if (text_.empty() || text_[0] != c) return false;
    text_.remove_prefix(1);
    return true;
  }
  [[nodiscard]] bool AtEnd() const noexcept { return text_.empty(); }

 private:
  std::string_view text_;
};

}  // namespace

double Now() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  std::tm local{};
#ifdef _WIN32
  localtime_s(&local, &seconds);
#else
  localtime_r(&seconds, &local);
#endif
  const auto part = now - std::chrono::system_clock::from_time_t(seconds);
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(part).count();
  const int second = local.tm_sec > 59 ? 59 : local.tm_sec;  // a leap second has no number
  return EncodeDate(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday) +
         EncodeTime(local.tm_hour, local.tm_min, second, ms < 0 || ms > 999 ? 0 : static_cast<int>(ms));
}

double Date() { return std::floor(Now()); }

double Time() {
  const double now = Now();
  return now - std::floor(now);
}

double EncodeDate(int year, int month, int day) {
  const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  const bool inRange = year >= 1 && year <= 9999 && month >= 1 && month <= 12 && day >= 1 && day <= 31;
  if (!inRange || !date.ok()) throw EConvertError("Invalid argument to date encode");
  return static_cast<double>((std::chrono::sys_days(date) - kOrigin).count());
}

double EncodeTime(int hour, int minute, int second, int millisecond) {
  const auto within = [](int value, int limit) { return value >= 0 && value < limit; };
  if (!within(hour, 24) || !within(minute, 60) || !within(second, 60) || !within(millisecond, 1000)) {
    throw EConvertError("Invalid argument to time encode");
  }
  const int64_t ms = ((hour * 60LL + minute) * 60 + second) * 1000 + millisecond;
  return static_cast<double>(ms) / static_cast<double>(kDayMilliseconds);
}

TDateParts DecodeDate(double value) { return DateParts(MomentOf(value)); }

TTimeParts DecodeTime(double value) { return TimeParts(MomentOf(value)); }

double StrToDate(std::string_view text) {
  TNumberReader reader(TrimBlanks(text));
  int year = 0;
  int month = 0;
  int day = 0;
  const bool complete = reader.Number(year) && reader.Character('-') && reader.Number(month) && reader.Character('-') &&
                        reader.Number(day) && reader.AtEnd();
  if (!complete) RaiseNotA(text, "date");
  try {
    return EncodeDate(year, month, day);
  } catch (const EConvertError&) {
    RaiseNotA(text, "date");
  }
}

double StrToTime(std::string_view text) {
  TNumberReader reader(TrimBlanks(text));
  TTimeParts time;
  bool complete = reader.Number(time.hour) && reader.Character(':') && reader.Number(time.minute);
  if (complete && reader.Character(':')) complete = reader.Number(time.second);
  if (complete && reader.Character('.')) complete = reader.Number(time.millisecond);
  if (!complete || !reader.AtEnd()) RaiseNotA(text, "time");
  try {
    return EncodeTime(time.hour, time.minute, time.second, time.millisecond);
  } catch (const EConvertError&) {
    RaiseNotA(text, "time");
  }
}

double StrToDateTime(std::string_view text) {
  const std::string_view trimmed = TrimBlanks(text);
  const size_t separator = trimmed.find_first_of(" T");
  try {
    if (separator != std::string_view::npos) {
      return StrToDate(trimmed.substr(0, separator)) + StrToTime(trimmed.substr(separator + 1));
    }
    return trimmed.find(':') == std::string_view::npos ? StrToDate(trimmed) : StrToTime(trimmed);
  } catch (const EConvertError&) {
    RaiseNotA(text, "date and time");
  }
}

std::string DateToStr(double value) {
  const TDateParts date = DecodeDate(value);
  return Padded(date.year, 4) + "-" + Padded(date.month, 2) + "-" + Padded(date.day, 2);
}

std::string TimeToStr(double value) {
  const TTimeParts time = DecodeTime(value);
  return Padded(time.hour, 2) + ":" + Padded(time.minute, 2) + ":" + Padded(time.second, 2);
}

std::string DateTimeToStr(double value) { return DateToStr(value) + " " + TimeToStr(value); }

// ---- By a format

namespace {

char LowerLetter(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// Writes one value by one format.
class TDateTimeFormatter {
 public:
  TDateTimeFormatter(std::string_view format, double value)
      : value_(value), date_(DecodeDate(value)), time_(DecodeTime(value)), format_(format) {
    for (const char c : format) lower_ += LowerLetter(c);
    const std::chrono::weekday weekday{DayOf(MomentOf(value))};
    weekday_ = weekday.c_encoding();
    half_ = UsesHalves();
  }

  std::string Write() {
    while (at_ < format_.size()) Step();
    return std::move(text_);
  }

 private:
  static constexpr std::string_view kHalfDay = "am/pm";
  static constexpr std::string_view kHalfLetter = "a/p";

  /// "am/pm" and "a/p" count outside quotes.
  [[nodiscard]] bool UsesHalves() const {
    char quote = 0;
    for (size_t i = 0; i < lower_.size(); ++i) {
      const char c = lower_[i];
      if (quote != 0) {
        if (c == quote) quote = 0;
      } else if (c == '"' || c == '\'') {
        quote = c;
      } else if (StartsAt(i, kHalfDay) || StartsAt(i, kHalfLetter)) {
        return true;
      }
    }
    return false;
  }
  [[nodiscard]] bool StartsAt(size_t at, std::string_view word) const {
    return lower_.compare(at, word.size(), word) == 0;
  }

  void Step() {
    const char c = lower_[at_];
    if (c == '"' || c == '\'') return Quote(c);
    if (StartsAt(at_, kHalfDay)) return Half(kHalfDay.size(), time_.hour < 12 ? "am" : "pm");
    if (StartsAt(at_, kHalfLetter)) return Half(kHalfLetter.size(), time_.hour < 12 ? "a" : "p");
    size_t count = 1;
    while (at_ + count < lower_.size() && lower_[at_ + count] == c) ++count;
    if (!Field(c, count)) text_.append(format_.substr(at_, count));
    at_ += count;
  }
  void Quote(char quote) {
    const size_t end = std::min(format_.find(quote, at_ + 1), format_.size());
    text_.append(format_.substr(at_ + 1, end - at_ - 1));
    at_ = end + 1;
  }
  void Half(size_t length, std::string_view word) {
    text_.append(word);
    at_ += length;
  }

  /// False for a letter that is no field.
  bool Field(char letter, size_t count) {
    const char before = std::exchange(lastField_, letter);
    switch (letter) {
      case 'y':
        text_ += count <= 2 ? Padded(date_.year % 100, 2) : Padded(date_.year, 4);
        return true;
      case 'm':
        if (before == 'h') return Number(time_.minute, count);
        return NumberOrName(date_.month, kMonths[static_cast<size_t>(date_.month - 1)], count);
      case 'd':
        return NumberOrName(date_.day, kDays[weekday_], count);
      case 'h':
        return Number(half_ ? (time_.hour + 11) % 12 + 1 : time_.hour, count);
      case 'n':
        return Number(time_.minute, count);
      case 's':
        return Number(time_.second, count);
      case 'z':
        text_ += Padded(time_.millisecond, count >= 3 ? 3 : 1);
        return true;
      case 'c':
        text_ += DateTimeToStr(value_);
        return true;
      case 't':
        text_ += count == 1 ? TimeToStr(value_).substr(0, 5) : TimeToStr(value_);
        return true;
      default:
        lastField_ = before;
        return false;
    }
  }
  bool Number(int number, size_t count) {
    text_ += Padded(number, count >= 2 ? 2 : 1);
    return true;
  }
  bool NumberOrName(int number, std::string_view name, size_t count) {
    if (count <= 2) return Number(number, count);
    text_.append(count == 3 ? name.substr(0, 3) : name);
    return true;
  }

  double value_;
  TDateParts date_;
  TTimeParts time_;
  unsigned weekday_ = 0;
  std::string_view format_;
  std::string lower_;
  bool half_ = false;
  char lastField_ = 0;
  size_t at_ = 0;
  std::string text_;
};

}  // namespace

std::string DateTimeToString(std::string_view format, double value) {
  return TDateTimeFormatter(format.empty() ? "c" : format, value).Write();
}

}  // namespace kb
