// Time value of money and depreciation: the mathematics behind the business package.
//
// The symbols: r the interest rate of one period as a fraction (0.01 for 1 %), above -1; n the number of periods, from
// 0; pmt the payment of each period; pv the value now, fv the value after n periods; t is 0 when a payment falls at
// the end of its period and 1 when it falls at its start. Money that is received is positive, money that is paid is
// negative, and all functions hold the five in the one equation
//
//   pv (1+r)^n + pmt (1 + r t) ((1+r)^n - 1) / r + fv = 0        (with r = 0: pv + n pmt + fv = 0)
//
// A rate of -1 or below, a period outside its range and the like raise EMathError "Invalid argument: ..."; a result
// that is no finite number is given as NaN or infinity, for the caller to deal with. Constant cost where no other
// is stated. Tested in tests/functions/BusinessPackageTest.cpp.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

namespace kb::finance {

enum TPaymentTime : uint8_t { ptEndOfPeriod, ptStartOfPeriod };

/// fv = -(pv (1+r)^n + pmt (1 + r t) ((1+r)^n - 1) / r).
[[nodiscard]] double FutureValue(double rate, int32_t periods, double payment, double presentValue, TPaymentTime time);
/// pv = -(fv (1+r)^-n + pmt (1 + r t) (1 - (1+r)^-n) / r).
[[nodiscard]] double PresentValue(double rate, int32_t periods, double payment, double futureValue, TPaymentTime time);
/// pmt = -(pv + fv (1+r)^-n) / ((1 + r t) (1 - (1+r)^-n) / r). `periods` from 1.
[[nodiscard]] double Payment(double rate, int32_t periods, double presentValue, double futureValue, TPaymentTime time);
/// The part of the payment of `period`, 1 to `periods`, that is interest: the rate on what is owed before it, which
/// is fv of period - 1 payments. A payment at the start of the first period holds none; at the start of a later one it
/// pays the interest of the period before, discounted by 1 + r.
[[nodiscard]] double InterestPayment(double rate, int32_t period, int32_t periods, double presentValue,
                                     double futureValue, TPaymentTime time);
/// The rest of that payment, which pays the debt back: pmt - interest.
[[nodiscard]] double PeriodPayment(double rate, int32_t period, int32_t periods, double presentValue,
                                   double futureValue, TPaymentTime time);
/// n = ln((pmt (1 + r t) - fv r) / (pmt (1 + r t) + pv r)) / ln(1 + r); with r = 0: -(pv + fv) / pmt. Not rounded.
[[nodiscard]] double NumberOfPeriods(double rate, double payment, double presentValue, double futureValue,
                                     TPaymentTime time);

/// Sum of cash[i] / (1+r)^(i + 1 - t), i from 0. Linear.
[[nodiscard]] double NetPresentValue(double rate, std::span<const double> cash, TPaymentTime time);

/// A rate that could not be found is NaN. Both look for a change of sign of the value in steps that grow outwards from
/// the start, between rates of -0.9999999999 and 1e10, and halve the interval until it is below 1e-12 of the rate.
/// Where several rates satisfy the equation it is one near the start.

/// The rate that satisfies the equation, searched from 0 on. `periods` from 1.
[[nodiscard]] double InterestRate(int32_t periods, double payment, double presentValue, double futureValue,
                                  TPaymentTime time);
/// The rate at which the net present value of the flows is 0. Linear in the flows for each step, some 150 at most.
[[nodiscard]] double InternalRateOfReturn(double guess, std::span<const double> cash);

/// Depreciation of an object of value `cost` that is worth `salvage` at the end of its life of `life` periods, from
/// 1; `period` is 1 to `life`.

/// (cost - salvage) / life, the same in each period.
[[nodiscard]] double StraightLine(double cost, double salvage, int32_t life);
/// (cost - salvage) (life - period + 1) / (life (life + 1) / 2).
[[nodiscard]] double SumOfYearsDigits(double cost, double salvage, int32_t life, int32_t period);
/// The part 2 / life of the book value cost (1 - 2 / life)^(period - 1), but never below the salvage value.
[[nodiscard]] double DoubleDecliningBalance(double cost, double salvage, int32_t life, int32_t period);

}  // namespace kb::finance
