#include "kb/functions/BusinessPackage.h"

#include <cmath>
#include <tuple>

#include "kb/common/Helpers.h"
#include "kb/functions/BuiltinFunction.h"
#include "kb/functions/Finance.h"
#include "kb/functions/FunctionHelpers.h"

namespace kb {
namespace {

using finance::TPaymentTime;

// How an argument is read, by the type of the parameter that it goes to.
void ReadArgument(const IKBValue& value, double& result) { result = value->GetAsNumeric(); }
void ReadArgument(const IKBValue& value, int32_t& result) { result = value->GetAsInteger(); }
void ReadArgument(const IKBValue& value, TPaymentTime& result) {
  const TKBText text = value->GetAsString();
  if (SameText(text.View(), "ptEndOfPeriod")) {
    result = finance::ptEndOfPeriod;
  } else if (SameText(text.View(), "ptStartOfPeriod")) {
    result = finance::ptStartOfPeriod;
  } else {
    throw EKBException(TKBMessage::InvalidPaymentTime, {text.ToString()});
  }
}

// Evaluates the arguments in order and calls the function with them.
template <class... Parameters>
double Apply(double (*function)(Parameters...), const TFunctionCall& call, TKBContext& context) {
  std::tuple<Parameters...> arguments;
  const auto read = [&](auto&... argument) {
    int index = 0;
    (ReadArgument(call.Evaluate(index++, context), argument), ...);
  };
  std::apply(read, arguments);
  return std::apply(function, arguments);
}

template <auto Function>
IKBValue Formula(TFunctionCall& call, TKBContext& context) {
  return CheckedFloat(Apply(Function, call, context));
}

IKBValue FoundRate(double rate, const TFunctionCall& call) {
  if (std::isnan(rate)) throw EKBException(TKBMessage::NoConvergence, {call.GetName().ToString()});
  return MakeFloat(rate);
}

std::vector<double> CashFlows(const TFunctionCall& call, int index, TKBContext& context) {
  const IValueVector list = ListArgument(call, index, context);
  std::vector<double> flows;
  flows.reserve(static_cast<size_t>(list->GetValueCount()));
  for (int i = 0; i < list->GetValueCount(); ++i) {
    flows.push_back(RequireFinite(EvaluateElement(*list, i, context)->GetAsFloat()));
  }
  return flows;
}

IKBValue InterestRate(TFunctionCall& call, TKBContext& context) {
  return FoundRate(Apply(finance::InterestRate, call, context), call);
}

IKBValue NetPresentValue(TFunctionCall& call, TKBContext& context) {
  const double rate = NumericArgument(call, 0, context);
  const std::vector<double> flows = CashFlows(call, 1, context);
  TPaymentTime time{};
  ReadArgument(call.Evaluate(2, context), time);
  return CheckedFloat(finance::NetPresentValue(rate, flows, time));
}

IKBValue InternalRateOfReturn(TFunctionCall& call, TKBContext& context) {
  const double guess = NumericArgument(call, 0, context);
  return FoundRate(finance::InternalRateOfReturn(guess, CashFlows(call, 1, context)), call);
}

const TBuiltin kBusinessFunctions[] = {
    {"double-declining-balance",
     " <cost-numeric-expression> <salvage-numeric-expression> <life-integer-expression> <period-integer-expression>", 4,
     4, "Returns the depreciation of a period, counted from 1, by the method of the double declining balance",
     Formula<finance::DoubleDecliningBalance>},
    {"sln-depreciation", " <cost-numeric-expression> <salvage-numeric-expression> <life-integer-expression>", 3, 3,
     "Returns the depreciation of each period by the straight-line method", Formula<finance::StraightLine>},
    {"syd-depreciation",
     " <cost-numeric-expression> <salvage-numeric-expression> <life-integer-expression> <period-integer-expression>", 4,
     4, "Returns the depreciation of a period, counted from 1, by the method of the sum of the years' digits",
     Formula<finance::SumOfYearsDigits>},
    {"future-value",
     " <rate-numeric-expression> <periods-integer-expression> <payment-numeric-expression> "
     "<present-value-numeric-expression> ptEndOfPeriod|ptStartOfPeriod",
     5, 5,
     "Returns what an investment is worth after the periods; the rate is that of one period as a fraction, money "
     "paid is negative",
     Formula<finance::FutureValue>},
    {"present-value",
     " <rate-numeric-expression> <periods-integer-expression> <payment-numeric-expression> "
     "<future-value-numeric-expression> ptEndOfPeriod|ptStartOfPeriod",
     5, 5,
     "Returns what an investment is worth now; the rate is that of one period as a fraction, money paid is negative",
     Formula<finance::PresentValue>},
    {"payment",
     " <rate-numeric-expression> <periods-integer-expression> <present-value-numeric-expression> "
     "<future-value-numeric-expression> ptEndOfPeriod|ptStartOfPeriod",
     5, 5,
     "Returns the payment of each period, negative when it is to be paid, that leads from the present value to "
     "the future value",
     Formula<finance::Payment>},
    {"interest-payment",
     " <rate-numeric-expression> <period-integer-expression> <periods-integer-expression> "
     "<present-value-numeric-expression> <future-value-numeric-expression> ptEndOfPeriod|ptStartOfPeriod",
     6, 6, "Returns the part of the payment of a period, counted from 1, that is interest",
     Formula<finance::InterestPayment>},
    {"period-payment",
     " <rate-numeric-expression> <period-integer-expression> <periods-integer-expression> "
     "<present-value-numeric-expression> <future-value-numeric-expression> ptEndOfPeriod|ptStartOfPeriod",
     6, 6, "Returns the part of the payment of a period, counted from 1, that pays the debt back",
     Formula<finance::PeriodPayment>},
    {"interest-rate",
     " <periods-integer-expression> <payment-numeric-expression> <present-value-numeric-expression> "
     "<future-value-numeric-expression> ptEndOfPeriod|ptStartOfPeriod",
     5, 5,
     "Returns the interest rate of one period, as a fraction, at which the payments lead from the present value to "
     "the future value",
     InterestRate},
    {"number-of-periods",
     " <rate-numeric-expression> <payment-numeric-expression> <present-value-numeric-expression> "
     "<future-value-numeric-expression> ptEndOfPeriod|ptStartOfPeriod",
     5, 5,
     "Returns the number of periods, not rounded, after which the payments have led from the present value to the "
     "future value",
     Formula<finance::NumberOfPeriods>},
    {"net-present-value", " <rate-numeric-expression> <cash-flows-multifield-expression> ptEndOfPeriod|ptStartOfPeriod",
     3, 3, "Returns the sum of the cash flows, one for each period, each discounted to the present", NetPresentValue},
    {"internal-rate-of-return", " <guess-numeric-expression> <cash-flows-multifield-expression>", 2, 2,
     "Returns the rate, one near the guess if there are several, at which the net present value of the cash flows is 0",
     InternalRateOfReturn},
};

}  // namespace

const TClassInfo& TBusinessPackage::StaticClass() noexcept {
  static const TClassInfo info{"TBusinessPackage", &TUserPackage::StaticClass(), nullptr,
                               &NewPackage<TBusinessPackage>};
  return info;
}

void TBusinessPackage::CreateFunctions() {
  TUserPackage::CreateFunctions();
  AddBuiltins(*this, kBusinessFunctions);
}

}  // namespace kb
