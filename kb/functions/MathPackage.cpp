#include "kb/functions/MathPackage.h"

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>
#include <mutex>
#include <random>

#include "kb/functions/BuiltinFunction.h"
#include "kb/functions/FunctionHelpers.h"
#include "kb/platform/Exceptions.h"

namespace kb {
namespace {

[[noreturn, gnu::noinline]] void RaiseOverflow() { throw EMathError("Integer overflow"); }

IKBValue CheckedInteger(int64_t value) {
  if (value < std::numeric_limits<int32_t>::min() || value > std::numeric_limits<int32_t>::max()) RaiseOverflow();
  return MakeInteger(static_cast<int32_t>(value));
}

// A result of arithmetic: a float, or an integer cut towards zero.
IKBValue Promoted(double value, bool isFloat) {
  if (isFloat) return CheckedFloat(value);
  // Also false for NaN. The bounds are the first numbers that do not cut to 32 bits.
  if (!(value > -2147483649.0 && value < 2147483648.0)) RaiseOverflow();
  return MakeInteger(static_cast<int32_t>(value));
}

// Reads a number and notes whether it is a float.
double ReadNumber(const TFunctionCall& call, int index, TKBContext& context, bool& isFloat) {
  const IKBValue value = call.Evaluate(index, context);
  isFloat = isFloat || value->Is(dtFloat);
  return value->GetAsNumeric();
}

// Sum and product of any number of arguments, from a start value.
template <int Start, class Operation>
IKBValue Accumulate(TFunctionCall& call, TKBContext& context) {
  double result = Start;
  bool isFloat = false;
  for (int i = 0; i < call.GetArgumentCount(); ++i) {
    result = Operation()(result, ReadNumber(call, i, context, isFloat));
  }
  return Promoted(result, isFloat);
}

IKBValue Minus(TFunctionCall& call, TKBContext& context) {
  bool isFloat = false;
  double result = ReadNumber(call, 0, context, isFloat);
  for (int i = 1; i < call.GetArgumentCount(); ++i) result -= ReadNumber(call, i, context, isFloat);
  return Promoted(result, isFloat);
}

IKBValue Divide(TFunctionCall& call, TKBContext& context) {
  double result = NumericArgument(call, 0, context);
  for (int i = 1; i < call.GetArgumentCount(); ++i) {
    result = CheckedQuotient(result, NumericArgument(call, i, context));
  }
  return CheckedFloat(result);
}

// Divisor of div and mod. 64 bits, in which the quotient of the least integer and -1 exists.
int64_t IntegerDivisor(const TFunctionCall& call, int index, TKBContext& context) {
  const int64_t divisor = IntegerArgument(call, index, context);
  if (divisor == 0) throw EDivByZero("Division by zero");
  return divisor;
}

IKBValue IntegerDivide(TFunctionCall& call, TKBContext& context) {
  int64_t result = IntegerArgument(call, 0, context);
  for (int i = 1; i < call.GetArgumentCount(); ++i) result /= IntegerDivisor(call, i, context);
  return CheckedInteger(result);
}

IKBValue Mod(TFunctionCall& call, TKBContext& context) {
  const int64_t dividend = IntegerArgument(call, 0, context);
  return CheckedInteger(dividend % IntegerDivisor(call, 1, context));
}

IKBValue Abs(TFunctionCall& call, TKBContext& context) {
  const IKBValue value = call.Evaluate(0, context);
  if (value->Is(dtFloat)) return MakeFloat(std::fabs(value->GetAsFloat()));
  if (value->Is(dtInteger)) return CheckedInteger(std::abs(static_cast<int64_t>(value->GetAsInteger())));
  throw EKBException(TKBMessage::ExpectedNumeric, {call.GetName().ToString()});
}

double Exponential(double x) { return std::exp(x); }
double NaturalLog(double x) { return x > 0 ? std::log(x) : std::numeric_limits<double>::quiet_NaN(); }
double DecimalLog(double x) { return x > 0 ? std::log10(x) : std::numeric_limits<double>::quiet_NaN(); }
double SquareRoot(double x) { return std::sqrt(x); }
double Identity(double x) { return x; }
double RoundToEven(double x) { return std::nearbyint(x); }  // the rounding mode of the process is never changed

IKBValue Power(TFunctionCall& call, TKBContext& context) {
  const double base = NumericArgument(call, 0, context);
  return CheckedFloat(std::pow(base, NumericArgument(call, 1, context)));
}

IKBValue Pi(TFunctionCall& /*call*/, TKBContext& /*context*/) { return FCPI; }

IKBValue Integer(TFunctionCall& call, TKBContext& context) { return MakeInteger(IntegerArgument(call, 0, context)); }

// A number that cannot be ordered takes over from a least one, not from a greatest one.
struct TAbove {
  bool operator()(double candidate, double extreme) const noexcept { return candidate > extreme; }
};
struct TBelow {
  bool operator()(double candidate, double extreme) const noexcept { return !(candidate >= extreme); }
};

// max and min. The result is a float once the first argument, or one that took over, was a float.
template <class TakesOver>
IKBValue Extreme(TFunctionCall& call, TKBContext& context) {
  bool isFloat = false;
  double extreme = ReadNumber(call, 0, context, isFloat);
  for (int i = 1; i < call.GetArgumentCount(); ++i) {
    bool candidateIsFloat = false;
    const double candidate = ReadNumber(call, i, context, candidateIsFloat);
    if (!TakesOver()(candidate, extreme)) continue;
    extreme = candidate;
    isFloat = isFloat || candidateIsFloat;
  }
  return isFloat ? MakeFloat(extreme) : Promoted(extreme, false);
}

// The generator that all engines of the process share.
class TRandom {
 public:
  void Seed(uint64_t seed) {
    const std::lock_guard<std::mutex> guard(lock_);
    generator_.seed(seed);
  }
  /// Uniform in 0 to `bound` - 1; 0 for a bound below 1.
  int64_t Next(int32_t bound) {
    if (bound < 1) return 0;
    const std::lock_guard<std::mutex> guard(lock_);
    // The upper half of the word scaled to the range: the same on every platform.
    return static_cast<int64_t>(((generator_() >> 32) * static_cast<uint64_t>(bound)) >> 32);
  }

 private:
  std::mutex lock_;
  std::mt19937_64 generator_;
};

TRandom& Generator() {
  static TRandom random;
  return random;
}

constexpr int32_t kDefaultRandomRange = 65536;

IKBValue Random(TFunctionCall& call, TKBContext& context) {
  const int count = call.GetArgumentCount();
  const int64_t low = count == 2 ? IntegerArgument(call, 0, context) : 0;
  const int32_t high = count == 0 ? kDefaultRandomRange : IntegerArgument(call, count - 1, context);
  return CheckedInteger(low + Generator().Next(high));
}

IKBValue Randomize(TFunctionCall& call, TKBContext& context) {
  const auto now = std::chrono::system_clock::now().time_since_epoch().count();
  Generator().Seed(call.GetArgumentCount() > 0 ? static_cast<uint64_t>(IntegerArgument(call, 0, context))
                                               : static_cast<uint64_t>(now));
  return FCTrue;
}

const TBuiltin kMathFunctions[] = {
    {"+", " <numeric-expression>*", 0, kAny, "Returns the sum of the numbers", Accumulate<0, std::plus<double>>},
    {"-", " <numeric-expression>+", 1, kAny, "Returns the first number minus the others", Minus},
    {"*", " <numeric-expression>*", 0, kAny, "Returns the product of the numbers",
     Accumulate<1, std::multiplies<double>>},
    {"/", " <numeric-expression>+", 1, kAny, "Returns the first number divided by the others, as a float", Divide},
    {"div", " <integer-expression>+", 1, kAny,
     "Returns the first integer divided by the others, without fraction at each step", IntegerDivide},
    {"mod", " <integer-expression> <integer-expression>", 2, 2,
     "Returns the remainder of the division, with the sign of the first integer", Mod},
    {"abs", " <numeric-expression>", 1, 1, "Returns the number without its sign", Abs},
    {"**", " <numeric-expression> <numeric-expression>", 2, 2, "Returns the first number to the power of the second",
     Power},
    {"exp", " <numeric-expression>", 1, 1, "Returns e to the power of the number", OfNumber<Exponential>},
    {"log", " <numeric-expression>", 1, 1, "Returns the natural logarithm of the number", OfNumber<NaturalLog>},
    {"log10", " <numeric-expression>", 1, 1, "Returns the logarithm of the number to the base 10",
     OfNumber<DecimalLog>},
    {"sqrt", " <numeric-expression>", 1, 1, "Returns the square root of the number", OfNumber<SquareRoot>},
    {"PI", "", 0, 0, "Returns the ratio of a circle's circumference to its diameter", Pi},
    {"float", " <numeric-expression>", 1, 1, "Returns the number as a float", OfNumber<Identity>},
    {"integer", " <numeric-expression>", 1, 1, "Returns the number cut to an integer", Integer},
    {"round", " <numeric-expression>", 1, 1,
     "Returns the nearest whole number as a float; halves go to the even neighbour", OfNumber<RoundToEven>},
    {"max", " <numeric-expression>+", 1, kAny, "Returns the greatest of the numbers", Extreme<TAbove>},
    {"min", " <numeric-expression>+", 1, kAny, "Returns the least of the numbers", Extreme<TBelow>},
    {"random", " [[<low-integer-expression>] <range-integer-expression>]", 0, 2,
     "Returns a random integer: low, or 0, plus one of 0 to range - 1, where the range is 65536 if it is not "
     "given",
     Random},
    {"randomize", " [<integer-expression>]", 0, 1,
     "Starts the sequence of random numbers anew from the number, or from the clock. Returns TRUE", Randomize},
    {"seed", " <integer-expression>", 1, 1, "Starts the sequence of random numbers anew from the number. Returns TRUE",
     Randomize},
};

}  // namespace

const TClassInfo& TMathPackage::StaticClass() noexcept {
  static const TClassInfo info{"TMathPackage", &TUserPackage::StaticClass(), nullptr, &NewPackage<TMathPackage>};
  return info;
}

void TMathPackage::CreateFunctions() {
  TUserPackage::CreateFunctions();
  AddBuiltins(*this, kMathFunctions);
}

}  // namespace kb
