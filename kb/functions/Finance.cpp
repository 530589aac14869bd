#include "kb/functions/Finance.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "kb/platform/Exceptions.h"

namespace kb::finance {
namespace {

constexpr double kNoRate = std::numeric_limits<double>::quiet_NaN();

void Require(bool condition, const char* what) {
  if (!condition) throw EMathError(std::string("Invalid argument: ") + what);
}

void RequireRate(double rate) { Require(rate > -1, "the rate must be above -1"); }
void RequirePeriod(int32_t period, int32_t periods) {
  Require(period >= 1 && period <= periods, "the period must be from 1 to the number of periods");
}

// (1+r)^n, and (1 + r t) ((1+r)^n - 1) / r, to which a payment of 1 in each period has grown. Negative periods
// discount. The logarithm forms stay exact for small rates.
struct TGrowth {
  TGrowth(double rate, double periods, TPaymentTime time) {
    const double exponent = periods * std::log1p(rate);
    power = std::exp(exponent);
    annuity = rate == 0 ? periods : std::expm1(exponent) / rate * (time == ptStartOfPeriod ? 1 + rate : 1);
  }
  double power;
  double annuity;
};

// Nothing stays nothing, also when a factor is beyond all numbers.
double Grown(double amount, double factor) { return amount == 0 ? 0 : amount * factor; }

// A rate as its logarithm ln(1 + r): steps of the same size are then steps by the same factor.
constexpr double kLowestLog = -23.02585092994;  // of the rate -1 + 1e-10
constexpr double kHighestLog = 23.02585093004;  // of the rate 1e10
constexpr double kFirstStep = 1.0 / 128;
constexpr double kStepGrowth = 1.1;
constexpr double kTolerance = 1e-12;

// The ends of an interval in which the value changes its sign.
struct TBracket {
  double low;
  double high;
};

// Halves the bracket until the rates at its ends agree.
template <class Value>
double Narrow(const Value& value, TBracket bracket) {
  const bool negativeBelow = value(bracket.low) < 0;
  for (;;) {
    const double middle = (bracket.low + bracket.high) / 2;
    const double width = bracket.high - bracket.low;
    const bool exhausted = middle <= bracket.low || middle >= bracket.high;
    if (exhausted || width <= kTolerance * std::min(1.0, std::fabs(std::expm1(middle)))) return std::expm1(middle);
    const double at = value(middle);
    if (at == 0) return std::expm1(middle);
    if (std::isnan(at)) return kNoRate;
    ((at < 0) == negativeBelow ? bracket.low : bracket.high) = middle;
  }
}

// The rate at which value(ln(1 + rate)) is 0; NaN if no change of its sign is met. `value` is continuous and keeps
// away from 0 far out, so that what has no sign is a rate.
template <class Value>
double FindRate(const Value& value, double start) {
  const double first = value(start);
  if (first == 0) return std::expm1(start);
  // Not by the product, which may be too small to have a sign.
  const auto crosses = [first](double at) { return at == 0 || (at < 0) != (first < 0); };
  TBracket reached{start, start};  // what has been looked at, with the sign of `first` throughout
  for (double step = kFirstStep; reached.low > kLowestLog || reached.high < kHighestLog; step *= kStepGrowth) {
    const TBracket next{std::max(reached.low - step, kLowestLog), std::min(reached.high + step, kHighestLog)};
    if (crosses(value(next.high))) return Narrow(value, {reached.high, next.high});
    if (crosses(value(next.low))) return Narrow(value, {next.low, reached.low});
    reached = next;
  }
  return kNoRate;
}

// Value of the flows: discounted to the first one for a positive rate and grown to the last one for a negative rate,
// so that no power overflows. Both have the same sign, and meet at 0.
double FlowValue(std::span<const double> cash, double logRate) {
  const double factor = std::exp(-std::fabs(logRate));
  double sum = 0;
  if (logRate >= 0) {
    for (size_t i = cash.size(); i-- > 0;) sum = sum * factor + cash[i];
  } else {
    for (const double flow : cash) sum = sum * factor + flow;
  }
  return sum;
}

bool HasBothSigns(std::span<const double> cash) {
  return std::any_of(cash.begin(), cash.end(), [](double flow) { return flow > 0; }) &&
         std::any_of(cash.begin(), cash.end(), [](double flow) { return flow < 0; });
}

// Without the zeros at both ends, which change no rate.
std::span<const double> TrimZeros(std::span<const double> cash) {
  while (!cash.empty() && cash.front() == 0) cash = cash.subspan(1);
  while (!cash.empty() && cash.back() == 0) cash = cash.first(cash.size() - 1);
  return cash;
}

}  // namespace

double FutureValue(double rate, int32_t periods, double payment, double presentValue, TPaymentTime time) {
  RequireRate(rate);
  Require(periods >= 0, "the number of periods must not be negative");
  const TGrowth growth(rate, periods, time);
  return 0 - (Grown(presentValue, growth.power) + Grown(payment, growth.annuity));
}

double PresentValue(double rate, int32_t periods, double payment, double futureValue, TPaymentTime time) {
  RequireRate(rate);
  Require(periods >= 0, "the number of periods must not be negative");
  const TGrowth back(rate, -static_cast<double>(periods), time);
  return 0 - (Grown(futureValue, back.power) - Grown(payment, back.annuity));
}

double Payment(double rate, int32_t periods, double presentValue, double futureValue, TPaymentTime time) {
  RequireRate(rate);
  Require(periods >= 1, "the number of periods must be 1 or more");
  const TGrowth back(rate, -static_cast<double>(periods), time);
  return (presentValue + futureValue * back.power) / back.annuity;
}

double InterestPayment(double rate, int32_t period, int32_t periods, double presentValue, double futureValue,
                       TPaymentTime time) {
  RequirePeriod(period, periods);
  const double payment = Payment(rate, periods, presentValue, futureValue, time);
  if (time == ptStartOfPeriod && period == 1) return 0;
  const double owed = FutureValue(rate, period - 1, payment, presentValue, time);
  return time == ptStartOfPeriod ? owed * rate / (1 + rate) : owed * rate;
}

double PeriodPayment(double rate, int32_t period, int32_t periods, double presentValue, double futureValue,
                     TPaymentTime time) {
  const double interest = InterestPayment(rate, period, periods, presentValue, futureValue, time);
  return Payment(rate, periods, presentValue, futureValue, time) - interest;
}

double NumberOfPeriods(double rate, double payment, double presentValue, double futureValue, TPaymentTime time) {
  RequireRate(rate);
  if (rate == 0) return 0 - (presentValue + futureValue) / payment;
  const double due = payment * (time == ptStartOfPeriod ? 1 + rate : 1);
  return std::log1p((0 - (presentValue + futureValue)) * rate / (due + presentValue * rate)) / std::log1p(rate);
}

double NetPresentValue(double rate, std::span<const double> cash, TPaymentTime time) {
  RequireRate(rate);
  const double factor = 1 / (1 + rate);
  double sum = 0;
  for (size_t i = cash.size(); i-- > 0;) sum = sum * factor + cash[i];
  return time == ptStartOfPeriod ? sum : sum * factor;
}

double InterestRate(int32_t periods, double payment, double presentValue, double futureValue, TPaymentTime time) {
  Require(periods >= 1, "the number of periods must be 1 or more");
  const double parts[] = {presentValue, payment, futureValue};
  if (!HasBothSigns(parts)) return kNoRate;
  // Discounted for a positive rate and grown for a negative one, as in FlowValue.
  const auto value = [&](double logRate) {
    const double rate = std::expm1(logRate);
    if (logRate < 0) {
      const TGrowth growth(rate, periods, time);
      return presentValue * growth.power + payment * growth.annuity + futureValue;
    }
    const TGrowth back(rate, -static_cast<double>(periods), time);
    return presentValue - payment * back.annuity + futureValue * back.power;
  };
  return FindRate(value, 0);
}

double InternalRateOfReturn(double guess, std::span<const double> cash) {
  Require(guess > -1, "the guess must be above -1");
  const std::span<const double> flows = TrimZeros(cash);
  if (!HasBothSigns(flows)) return kNoRate;
  const double start = std::clamp(std::log1p(guess), kLowestLog, kHighestLog);
  return FindRate([&](double logRate) { return FlowValue(flows, logRate); }, start);
}

double StraightLine(double cost, double salvage, int32_t life) {
  Require(life >= 1, "the life must be 1 or more periods");
  return (cost - salvage) / life;
}

double SumOfYearsDigits(double cost, double salvage, int32_t life, int32_t period) {
  RequirePeriod(period, life);
  const double left = static_cast<double>(life) - period + 1;
  return (cost - salvage) * left * 2 / (static_cast<double>(life) * (life + 1.0));
}

double DoubleDecliningBalance(double cost, double salvage, int32_t life, int32_t period) {
  RequirePeriod(period, life);
  const double part = std::min(1.0, 2.0 / life);
  const double book = cost * std::pow(1 - part, period - 1);
  return std::max(0.0, std::min(book * part, book - salvage));
}

}  // namespace kb::finance
