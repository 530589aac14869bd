// Fuzzy sets and variables.
#include <algorithm>

#include "kb/common/Helpers.h"
#include "kb/fuzzy/FuzzyPolygon.h"
#include "kb/fuzzy/FuzzyWords.h"
#include "kb/language/PrettyPrinter.h"
#include "kb/language/PrettyPrinterParts.h"
#include "kb/values/FactTemplate.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBFuzzyInterfaces.h"
#include "kb/values/ValueVector.h"

namespace kb {
namespace {

/// Four decimals; all digits in a text that is saved.
std::string NumberText(double number) { return TLosslessText::IsOn() ? LosslessFloat(number) : FloatToString(number); }

/// "(word a b ...)" with the first `count` numbers.
std::string ShapeCall(std::string_view word, std::span<const double> numbers, size_t count) {
  std::string text = "(" + std::string(word);
  for (const double number : numbers.first(count)) text += " " + NumberText(number);
  return text + ")";
}

std::string PiText(std::span<const double> numbers) {
  const double left = numbers[1] - numbers[0];
  const double right = numbers[2] - numbers[1];
  if (!FloatEquals(left, right, kFloatTolerance)) return ShapeCall("pi", numbers, 3);
  return "(pi " + NumberText(numbers[1]) + " " + NumberText(left) + ")";
}

std::string BetaText(std::span<const double> numbers) {
  const double usual = numbers[1] + (numbers[0] - numbers[1]) / 2.0;
  if (!FloatEquals(numbers[3], 1.0, kFloatTolerance)) return ShapeCall("beta", numbers, 4);
  return ShapeCall("beta", numbers, FloatEquals(numbers[2], usual, kFloatTolerance) ? 2 : 3);
}

std::string PointsText(const IFuzzySet& set) {
  // Points are saved as numbers, whether a text gave them or not: so the saved text stays the same.
  const bool points = TLosslessText::IsOn() && set.GetExpression().starts_with("((");
  if (!set.GetExpression().empty() && !points) return set.GetExpression();
  std::string text = "(";
  for (int i = 0; i < set.PointCount(); ++i) {
    text += "(" + NumberText(set.X(i)) + " " + NumberText(set.Y(i)) + ") ";
  }
  return text + ")";
}

std::string ShapeText(const IFuzzySet& set) {
  const std::span<const double> numbers = set.Parameters();
  switch (set.SetType()) {
    case fstTriangle:
      return ShapeCall("tri", numbers, 3);
    case fstDecline:
      return ShapeCall("z", numbers, 2);
    case fstGrowth:
      return ShapeCall("s", numbers, 2);
    case fstPi:
      return PiText(numbers);
    case fstBeta:
      return BetaText(numbers);
    case fstPoints:
      break;
  }
  return PointsText(set);
}

/// Whether the name is an expression that gives the set: it may hold rounded numbers, or words that mean something else
/// by now.
bool NameGivesSet(const IFuzzySet& set) {
  const Ref<IFuzzyVariable> variable(set.Variable());
  if (!variable || variable->Parser() == nullptr || set.Name().empty()) return false;
  const TPlainText plain;
  try {
    const Ref<IFuzzySet> again = variable->Parser()->EvalFuzzyExpression(variable, set.Name());
    return again->Polygon() == set.Polygon() && again->Name() == set.Name();
  } catch (const EException&) {
    return false;
  }
}

/// Behind another expression, one that begins with a bracket or a hedge would not begin a new one.
std::string ExpressionText(const TKBValue& value, bool first) {
  const Ref<IFuzzySet> set = value.Is(dtFuzzy) ? value.GetAsFuzzy() : nullptr;
  if (!set || !NameGivesSet(*set)) return value.ToString();
  const std::string word = set->Name().substr(0, set->Name().find(' '));
  TFuzzyHedge hedge{};
  return first || !(word == "[" || IsFuzzyHedge(word, hedge)) ? set->Name() : value.ToString();
}

}  // namespace

namespace printing {

std::string FieldText(const TFactSlot& slot, const TKBValue& value) {
  if (!TLosslessText::IsOn() || !slot.IsFuzzy()) return value.ToString();
  if (!slot.IsMultiSlot()) return ExpressionText(value, true);
  const TValueVector* list = value.ListOrNull();
  if (list == nullptr) return ExpressionText(value, false);
  std::string text;
  for (const IKBValue& element : *list) text += (element ? ExpressionText(*element, text.empty()) : "") + " ";
  return text;
}

}  // namespace printing

std::string PrettyPrint(const IFuzzySet& set, bool asTerm) {
  if (!asTerm) {
    // A name of a set's own making may stand for rounded numbers.
    const bool byPoints = set.Name().empty() || (TLosslessText::IsOn() && !set.IsTerm() && set.Name() != SEmptyFuzzy);
    if (byPoints && set.PointCount() == 0) return std::string(SEmptyFuzzy);
    return byPoints ? set.GetValuesToString() : set.Name();
  }
  if (set.Name() == SEmptyFuzzy) return {};
  return "(term " + set.Name() + " " + ShapeText(set) + ")";
}

std::string PrettyPrint(const IFuzzyVariable& variable) {
  const std::string indent(IndentString);
  std::string text = indent + "(range " + NumberText(variable.From()) + " " + NumberText(variable.To()) + ")";
  text.append(kLineEnd).append(printing::UnitsText(variable.Units())).append(indent).append("(values ");
  text += kLineEnd;
  for (int i = 0; i < variable.SetCount(); ++i) {
    const IFuzzySet& set = *variable.Set(i);
    if (set.IsTerm()) text.append(indent).append(indent).append(PrettyPrint(set, true)).append(kLineEnd);
  }
  return text.append(indent).append(")");
}

}  // namespace kb
