#include <random>

#include "kb/functions/Finance.h"
#include "tests/functions/NumberTable.h"

namespace {

using kbtest::ExpectEach, kbtest::ExpectNear, kbtest::ExpectNumbers, kbtest::Number, kbtest::TProgram;
using namespace kb::finance;

constexpr double kTolerance = 1e-11;

// The tables of this file were computed with 40 digits by another program: loans and bonds period by period, with no
// closed formula, and rates by another method.
TEST(BusinessPackage, ALoanIsPaidBack) {
  // 250000 over 30 years at 4.5 % a year.
  ExpectNumbers(R"(
    (payment (/ 0.045 12) 360 250000 0 ptEndOfPeriod) --> -1266.7132745647017
    (interest-payment (/ 0.045 12) 1 360 250000 0 ptEndOfPeriod) --> -937.5
    (period-payment (/ 0.045 12) 1 360 250000 0 ptEndOfPeriod) --> -329.21327456470173
    (interest-payment (/ 0.045 12) 2 360 250000 0 ptEndOfPeriod) --> -936.26545022038237
    (interest-payment (/ 0.045 12) 180 360 250000 0 ptEndOfPeriod) --> -623.35591718594443
    (period-payment (/ 0.045 12) 180 360 250000 0 ptEndOfPeriod) --> -643.35735737875729
    (interest-payment (/ 0.045 12) 360 360 250000 0 ptEndOfPeriod) --> -4.7324281739652617
    (period-payment (/ 0.045 12) 360 360 250000 0 ptEndOfPeriod) --> -1261.9808463907365
    (future-value (/ 0.045 12) 180 -1266.7132745647017 250000 ptEndOfPeriod) --> -165584.88722553976
    (* 12 (interest-rate 360 -1266.7132745647017 250000 0 ptEndOfPeriod)) --> 0.045
    (number-of-periods 0.0075 -1200 100000 0 ptEndOfPeriod) --> 131.26703763107659
    (payment 0 10 1000 0 ptEndOfPeriod) --> -100
  )",
                kTolerance);
}

TEST(BusinessPackage, PaymentsAtTheStartOfAPeriod) {
  ExpectNumbers(R"(
    (future-value 0.01 12 -800 -1000 ptStartOfPeriod) --> 11374.287464795123
    (present-value 0.01 12 -800 -500 ptStartOfPeriod) --> 9537.8272112081581
    (payment 0.01 12 10000 0 ptStartOfPeriod) --> -879.69097701328423
    (interest-payment 0.01 1 12 10000 0 ptStartOfPeriod) --> 0
    (interest-payment 0.01 2 12 10000 0 PTSTARTOFPERIOD) --> -91.203090229867158
    (interest-payment 0.01 3 12 10000 0 ptStartOfPeriod) --> -83.318211362032987
    (interest-payment 0.01 12 12 10000 0 ptStartOfPeriod) --> -8.7098116535968736
    (interest-rate 12 -879.69097701328423 10000 0 ptStartOfPeriod) --> 0.01
  )",
                kTolerance);
}

TEST(BusinessPackage, BondsAndInvestments) {
  ExpectNumbers(R"(
    // Face 1000, twenty half-yearly coupons of 25.
    (present-value 0.02 20 25 1000 ptEndOfPeriod) --> -1081.7571667229856
    (interest-rate 20 25 -1081.7571667229856 1000 ptEndOfPeriod) --> 0.02
    (interest-rate 20 25 -950 1000 ptEndOfPeriod) --> 0.028308445384892148
    // Paid back less than was lent.
    (interest-rate 10 -90 1000 0 ptEndOfPeriod) --> -0.018711665422904579
    (internal-rate-of-return 0.1 (create$ -70000 12000 15000 18000 21000 26000)) --> 0.086630948036531614
    (internal-rate-of-return -0.5 (create$ 0 -70000 12000 15000 18000 21000 26000 0)) --> 0.086630948036531614
    (internal-rate-of-return 0.1 (create$ -1000 300 200 100)) --> -0.25302926873902735
    (net-present-value 0.08 (create$ -70000 12000 15000 18000 21000 26000) ptStartOfPeriod) --> 1390.9637856040185
    (net-present-value 0.08 (create$ -70000 12000 15000 18000 21000 26000) ptEndOfPeriod) --> 1287.9294311148319
    (net-present-value 0.08 (create$) ptEndOfPeriod) --> 0
  )",
                kTolerance);
}

TEST(BusinessPackage, TheRateNearTheGuessIsFound) {
  // -100, 230, -132 has the rates 0.1 and 0.2.
  ExpectNumbers(R"(
    (internal-rate-of-return 0.08 (create$ -100 230 -132)) --> 0.1
    (internal-rate-of-return 0.22 (create$ -100 230 -132)) --> 0.2
    (internal-rate-of-return 0.1 (create$ -1 1e9)) --> 999999999
    (internal-rate-of-return 0.1 (create$ -1000000 1)) --> -0.999999
  )",
                kTolerance);
}

void ExpectSchedule(const std::string& head, const std::vector<double>& expected) {
  TProgram program;
  for (size_t i = 0; i < expected.size(); ++i) {
    const std::string text = head + " " + std::to_string(i + 1) + ")";
    ExpectNear(Number(program, text), expected[i], kTolerance, text);
  }
}

TEST(BusinessPackage, DepreciationSchedules) {
  ExpectSchedule("(double-declining-balance 10000 1000 5", {4000, 2400, 1440, 864, 296});
  ExpectSchedule("(double-declining-balance 2400 300 10",
                 {480, 384, 307.2, 245.76, 196.608, 157.2864, 125.82912, 100.663296, 80.5306368, 22.1225472});
  ExpectSchedule("(double-declining-balance 1000 600 4", {400, 0, 0, 0});
  ExpectSchedule("(double-declining-balance 1000 0 1", {1000});
  ExpectSchedule("(syd-depreciation 10000 1000 5", {3000, 2400, 1800, 1200, 600});
  TProgram program;
  EXPECT_DOUBLE_EQ(Number(program, "(sln-depreciation 10000 1000 5)"), 1800);
}

// Whatever one function computes, the others must lead back to.
TEST(BusinessPackage, TheSolversInvertEachOther) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> part(0, 1);
  for (int round = 0; round < 500; ++round) {
    const std::string what = "round " + std::to_string(round);
    const auto time = round % 2 == 0 ? ptEndOfPeriod : ptStartOfPeriod;
    const double rate = round % 10 == 0 ? 0 : 0.0001 + 0.12 * part(random);
    const auto periods = static_cast<int32_t>(1 + 120 * part(random));
    const double present = 100 + 10000 * part(random);
    const double payment = -(1 + 0.5 * present * part(random));
    const double future = FutureValue(rate, periods, payment, present, time);
    // The equation is checked in the unit of what the sums have grown to.
    const double scale = std::pow(1 + rate, periods) * periods;
    ExpectNear(PresentValue(rate, periods, payment, future, time), present, 1e-12 * scale, what);
    ExpectNear(Payment(rate, periods, present, future, time), payment, 1e-12 * scale, what);
    ExpectNear(NumberOfPeriods(rate, payment, present, future, time), periods, 1e-9 * scale, what);
    double sum = 0;
    for (int32_t period = 1; period <= periods; ++period) sum += PeriodPayment(rate, period, periods, present, 0, time);
    ExpectNear(sum, -present, 1e-9, what);
    // One rate only: what was lent comes back in payments.
    if (time == ptStartOfPeriod && periods == 1) continue;
    ExpectNear(InterestRate(periods, Payment(rate, periods, present, 0, time), present, 0, time), rate, 1e-10, what);
  }
}

TEST(BusinessPackage, WhatHasNoResultRaises) {
  ExpectEach(R"(
    (payment -1 12 1000 0 ptEndOfPeriod) --> !Invalid argument: the rate must be above -1
    (payment 0.01 0 1000 0 ptEndOfPeriod) --> !Invalid argument: the number of periods must be 1 or more
    (future-value 0.01 -1 5 5 ptEndOfPeriod) --> !Invalid argument: the number of periods must not be negative
    (interest-payment 0.01 13 12 1000 0 ptEndOfPeriod)
      --> !Invalid argument: the period must be from 1 to the number of periods
    (syd-depreciation 10000 1000 5 6) --> !Invalid argument: the period must be from 1 to the number of periods
    (sln-depreciation 10000 1000 0) --> !Invalid argument: the life must be 1 or more periods
    (payment 0.01 12 1000 0 later) --> !Invalid payment time: "later".  Expected ptEndOfPeriod or ptStartOfPeriod
    // Only money that comes in: no rate makes that fair.
    (interest-rate 12 100 1000 0 ptEndOfPeriod) --> !No result of interest-rate found: the iteration does not converge
    (internal-rate-of-return 0.1 (create$ 100 200))
      --> !No result of internal-rate-of-return found: the iteration does not converge
    // Both signs, and yet no rate.
    (internal-rate-of-return 0.1 (create$ 100 -100 100))
      --> !No result of internal-rate-of-return found: the iteration does not converge
    (number-of-periods 0.01 -5 1000 0 ptEndOfPeriod) --> !Invalid floating point operation
    (number-of-periods 0 0 1000 0 ptEndOfPeriod) --> !Floating point overflow
    (future-value 1 5000 -1 0 ptEndOfPeriod) --> !Floating point overflow
    (net-present-value 0.1 5 ptEndOfPeriod) --> !Not a list type.  Value (5) is a dtInteger type
  )");
}

}  // namespace
