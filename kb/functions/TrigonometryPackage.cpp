#include "kb/functions/TrigonometryPackage.h"

#include <cmath>
#include <numbers>

#include "kb/functions/BuiltinFunction.h"
#include "kb/functions/FunctionHelpers.h"

namespace kb {
namespace {

constexpr double kPi = std::numbers::pi;

double Inverse(double x) { return CheckedQuotient(1, x); }

double Sin(double x) { return std::sin(x); }
double Cos(double x) { return std::cos(x); }
double Tan(double x) { return std::tan(x); }
double Sec(double x) { return Inverse(std::cos(x)); }
double Csc(double x) { return Inverse(std::sin(x)); }
double Cot(double x) { return CheckedQuotient(std::cos(x), std::sin(x)); }
double SinH(double x) { return std::sinh(x); }
double CosH(double x) { return std::cosh(x); }
double TanH(double x) { return std::tanh(x); }
double SecH(double x) { return Inverse(std::cosh(x)); }
double CscH(double x) { return Inverse(std::sinh(x)); }
double CotH(double x) { return Inverse(std::tanh(x)); }

double ASin(double x) { return std::asin(x); }
double ACos(double x) { return std::acos(x); }
double ATan(double x) { return std::atan(x); }
double ASinH(double x) { return std::asinh(x); }
double ACosH(double x) { return std::acosh(x); }
double ATanH(double x) { return std::atanh(x); }
double ACot(double x) { return kPi / 2 - std::atan(x); }
double ACsc(double x) { return std::asin(Inverse(std::fabs(x))) + (x < 0 ? kPi : 0); }
double ASec(double x) { return std::acos(Inverse(std::fabs(x))) + (x < 0 ? kPi : 0); }
double ACotH(double x) { return std::atanh(Inverse(x)); }
double ACscH(double x) { return std::asinh(Inverse(x)); }
double ASecH(double x) { return std::acosh(Inverse(x)); }

double DegreesToRadians(double x) { return x * (kPi / 180); }
double RadiansToDegrees(double x) { return x * (180 / kPi); }
double GradsToRadians(double x) { return x * (kPi / 200); }
double RadiansToGrads(double x) { return x * (200 / kPi); }
double CyclesToRadians(double x) { return x * (2 * kPi); }
double RadiansToCycles(double x) { return x / (2 * kPi); }
double DegreesToGrads(double x) { return x * 10 / 9; }
double GradsToDegrees(double x) { return x * 9 / 10; }

// The argument that is the side along the axis comes first, unlike in the C function.
IKBValue ATan2(TFunctionCall& call, TKBContext& context) {
  const double x = NumericArgument(call, 0, context);
  return CheckedFloat(std::atan2(NumericArgument(call, 1, context), x));
}

IKBValue Hypotenuse(TFunctionCall& call, TKBContext& context) {
  const double x = NumericArgument(call, 0, context);
  return CheckedFloat(std::hypot(x, NumericArgument(call, 1, context)));
}

double AsIs(double x) { return x; }
double Square(double x) { return x * x; }
double Magnitude(double x) { return std::fabs(x); }
double Root(double x) { return std::sqrt(x); }

// Sums `Part` of the differences of two lists of numbers, position by position, and gives `Whole` of the sum.
template <double (*Part)(double), double (*Whole)(double)>
IKBValue Distance(TFunctionCall& call, TKBContext& context) {
  const IValueVector from = ListArgument(call, 0, context);
  const IValueVector to = ListArgument(call, 1, context);
  if (from->GetValueCount() != to->GetValueCount()) throw EKBException(TKBMessage::MultifieldLengths);
  double sum = 0;
  for (int i = 0; i < from->GetValueCount(); ++i) {
    const double x = EvaluateElement(*from, i, context)->GetAsNumeric();
    sum += Part(EvaluateElement(*to, i, context)->GetAsNumeric() - x);
  }
  return CheckedFloat(Whole(sum));
}

constexpr const char* kNumber = " <numeric-expression>";
constexpr const char* kTwoNumbers = " <numeric-expression> <numeric-expression>";
constexpr const char* kTwoLists = " <multifield-expression> <multifield-expression>";

const TBuiltin kTrigonometryFunctions[] = {
    {"sin", kNumber, 1, 1, "Returns the sine of an angle in radians", OfNumber<Sin>},
    {"cos", kNumber, 1, 1, "Returns the cosine of an angle in radians", OfNumber<Cos>},
    {"tan", kNumber, 1, 1, "Returns the tangent of an angle in radians", OfNumber<Tan>},
    {"sec", kNumber, 1, 1, "Returns the secant of an angle in radians, 1 / cos", OfNumber<Sec>},
    {"csc", kNumber, 1, 1, "Returns the cosecant of an angle in radians, 1 / sin", OfNumber<Csc>},
    {"cot", kNumber, 1, 1, "Returns the cotangent of an angle in radians, 1 / tan", OfNumber<Cot>},
    {"sinh", kNumber, 1, 1, "Returns the hyperbolic sine", OfNumber<SinH>},
    {"cosh", kNumber, 1, 1, "Returns the hyperbolic cosine", OfNumber<CosH>},
    {"tanh", kNumber, 1, 1, "Returns the hyperbolic tangent", OfNumber<TanH>},
    {"sech", kNumber, 1, 1, "Returns the hyperbolic secant, 1 / cosh", OfNumber<SecH>},
    {"csch", kNumber, 1, 1, "Returns the hyperbolic cosecant, 1 / sinh", OfNumber<CscH>},
    {"coth", kNumber, 1, 1, "Returns the hyperbolic cotangent, 1 / tanh", OfNumber<CotH>},
    {"asin", kNumber, 1, 1, "Returns the angle in radians whose sine is the number, from -1 to 1", OfNumber<ASin>},
    {"acos", kNumber, 1, 1, "Returns the angle in radians whose cosine is the number, from -1 to 1", OfNumber<ACos>},
    {"atan", kNumber, 1, 1, "Returns the angle in radians whose tangent is the number", OfNumber<ATan>},
    {"atan2", kTwoNumbers, 2, 2,
     "Returns the angle in radians, from -pi to pi, of the point with the coordinates x and y, given in this order",
     ATan2},
    {"asinh", kNumber, 1, 1, "Returns the number whose hyperbolic sine is the argument", OfNumber<ASinH>},
    {"acosh", kNumber, 1, 1, "Returns the number whose hyperbolic cosine is the argument, from 1 up", OfNumber<ACosH>},
    {"atanh", kNumber, 1, 1, "Returns the number whose hyperbolic tangent is the argument, between -1 and 1",
     OfNumber<ATanH>},
    {"acot", kNumber, 1, 1, "Returns the angle in radians, between 0 and pi, whose cotangent is the number",
     OfNumber<ACot>},
    {"acsc", kNumber, 1, 1,
     "Returns the angle in radians whose cosecant is the number without its sign, plus pi for a negative number",
     OfNumber<ACsc>},
    {"asec", kNumber, 1, 1,
     "Returns the angle in radians whose secant is the number without its sign, plus pi for a negative number",
     OfNumber<ASec>},
    {"acoth", kNumber, 1, 1, "Returns the number whose hyperbolic cotangent is the argument, below -1 or above 1",
     OfNumber<ACotH>},
    {"acsch", kNumber, 1, 1, "Returns the number whose hyperbolic cosecant is the argument, which is not 0",
     OfNumber<ACscH>},
    {"asech", kNumber, 1, 1, "Returns the number whose hyperbolic secant is the argument, above 0 and up to 1",
     OfNumber<ASecH>},
    {"deg-rad", kNumber, 1, 1, "Converts degrees to radians", OfNumber<DegreesToRadians>},
    {"rad-deg", kNumber, 1, 1, "Converts radians to degrees", OfNumber<RadiansToDegrees>},
    {"grad-rad", kNumber, 1, 1, "Converts grads, 400 to the full circle, to radians", OfNumber<GradsToRadians>},
    {"rad-grad", kNumber, 1, 1, "Converts radians to grads, 400 to the full circle", OfNumber<RadiansToGrads>},
    {"cycle-rad", kNumber, 1, 1, "Converts full circles to radians", OfNumber<CyclesToRadians>},
    {"rad-cycle", kNumber, 1, 1, "Converts radians to full circles", OfNumber<RadiansToCycles>},
    {"deg-grad", kNumber, 1, 1, "Converts degrees to grads, 400 to the full circle", OfNumber<DegreesToGrads>},
    {"grad-deg", kNumber, 1, 1, "Converts grads, 400 to the full circle, to degrees", OfNumber<GradsToDegrees>},
    {"hypotenuse", kTwoNumbers, 2, 2, "Returns the longest side of a right triangle with these two other sides",
     Hypotenuse},
    {"distance", kTwoLists, 2, 2, "Returns the straight distance of two points, each a multifield of coordinates",
     Distance<Square, Root>},
    {"distance-sqr", kTwoLists, 2, 2, "Returns the square of the straight distance of two points",
     Distance<Square, AsIs>},
    {"distance-manhattan", kTwoLists, 2, 2,
     "Returns the distance of two points along the axes, the sum of the differences of their coordinates",
     Distance<Magnitude, AsIs>},
};

}  // namespace

const TClassInfo& TTrigonometryPackage::StaticClass() noexcept {
  static const TClassInfo info{"TTrigonometryPackage", &TUserPackage::StaticClass(), nullptr,
                               &NewPackage<TTrigonometryPackage>};
  return info;
}

void TTrigonometryPackage::CreateFunctions() {
  TUserPackage::CreateFunctions();
  AddBuiltins(*this, kTrigonometryFunctions);
}

}  // namespace kb
