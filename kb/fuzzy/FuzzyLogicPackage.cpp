#include "kb/fuzzy/FuzzyLogicPackage.h"

#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/functions/BuiltinFunction.h"
#include "kb/functions/FunctionHelpers.h"
#include "kb/fuzzy/FuzzyPlot.h"
#include "kb/fuzzy/FuzzyPolygon.h"
#include "kb/fuzzy/FuzzyWords.h"
#include "kb/fuzzy/KBFuzzyLogic.h"
#include "kb/values/Fact.h"
#include "kb/values/KBDefinedType.h"
#include "kb/values/KBHelperFunctions.h"

namespace kb {
namespace {

[[nodiscard]] Ref<IFuzzySet> FuzzyArgument(const TFunctionCall& call, int index, TKBContext& context) {
  return GetFuzzySetFromValue(call.GetArgument(index), context);
}

[[nodiscard]] IKBValue FuzzyValue(const Ref<IFuzzySet>& set) { return MakeRef<TKBValue>(set); }

/// The variable of the defined type of that name; null when the type is not fuzzy. EListError when there is no such
/// type.
[[nodiscard]] Ref<IFuzzyVariable> VariableOfType(const TInferenceEngine& engine, std::string_view name) {
  return engine.GetDefinedTypes().Get(name)->GetFuzzyType();
}

// ---- Shapes

/// The numbers of a shape, and the set that it makes, which bears the call as its name.
class TShapeCall {
 public:
  TShapeCall(const TFunctionCall& call, TKBContext& context)
      : set_(MakeRef<TKBFuzzySet>(nullptr, call.ToString())), count_(call.GetArgumentCount()) {
    set_->SetParser(&EngineOf(context));
    for (int i = 0; i < count_; ++i) numbers_.push_back(NumericArgument(call, i, context));
  }
  [[nodiscard]] int Count() const noexcept { return count_; }
  [[nodiscard]] double operator[](size_t index) const { return numbers_[index]; }
  [[nodiscard]] IFuzzySet& Set() const { return *set_; }
  [[nodiscard]] IKBValue Value() const { return FuzzyValue(set_); }

 private:
  Ref<IFuzzySet> set_;
  int count_;
  std::vector<double> numbers_;
};

template <bool IsGrowth>
IKBValue SShape(TFunctionCall& call, TKBContext& context) {
  const TShapeCall shape(call, context);
  shape.Set().SCurve(kFuzzyCurveDepth, IsGrowth, shape[0], shape[1], shape[0] + (shape[1] - shape[0]) / 2.0);
  return shape.Value();
}

IKBValue PiShape(TFunctionCall& call, TKBContext& context) {
  const TShapeCall shape(call, context);
  if (shape.Count() == 2) {
    shape.Set().PiCurveByRange(kFuzzyCurveDepth, shape[1], shape[0]);
  } else {
    shape.Set().PiCurve(kFuzzyCurveDepth, shape[0], shape[2], shape[1]);
  }
  return shape.Value();
}

IKBValue TriangleShape(TFunctionCall& call, TKBContext& context) {
  const TShapeCall shape(call, context);
  shape.Set().Triangle(shape[0], shape[1], shape[2]);
  return shape.Value();
}

IKBValue BetaShape(TFunctionCall& call, TKBContext& context) {
  const TShapeCall shape(call, context);
  if (shape.Count() == 4) {
    shape.Set().BetaCurveWeighted(kFuzzyCurveDepth, shape[1], shape[0], shape[2], shape[3]);
  } else {
    const double inflection = shape.Count() == 3 ? shape[2] : shape[1] + (shape[0] - shape[1]) / 2.0;
    shape.Set().BetaCurve(kFuzzyCurveDepth, shape[1], shape[0], inflection);
  }
  return shape.Value();
}

IKBValue CreateFuzzyValue(TFunctionCall& call, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  const IKBValue source = call.Evaluate(0, context);
  Ref<IFuzzyVariable> variable;
  if (source->Is(dtAtom) || source->Is(dtString)) {
    variable = VariableOfType(engine, source->TextView());
  } else if (source->Is(dtFuzzy) && source->GetAsFuzzy()) {
    variable = Ref<IFuzzyVariable>(source->GetAsFuzzy()->Variable());
  }
  TValueVector expression;
  for (int i = 1; i < call.GetArgumentCount(); ++i) expression.Add(call.GetArgument(i));
  return engine.EvalFuzzyExpression(variable, expression, &context);
}

// ---- Numbers of a set

IKBValue MomentDefuzzify(TFunctionCall& call, TKBContext& context) {
  return MakeFloat(FuzzyArgument(call, 0, context)->Moment());
}

IKBValue MaximumDefuzzify(TFunctionCall& call, TKBContext& context) {
  return MakeFloat(FuzzyArgument(call, 0, context)->Maximum());
}

IKBValue IsUndecidable(TFunctionCall& call, TKBContext& context) {
  return MakeBoolean(FuzzyArgument(call, 0, context)->IsUndecidable());
}

IKBValue CompatibilityIndex(TFunctionCall& call, TKBContext& context) {
  return MakeFloat(FuzzyArgument(call, 0, context)->GetCompatibilityIndex());
}

IKBValue GetFs(TFunctionCall& call, TKBContext& context) {
  const Ref<IFuzzySet> set = FuzzyArgument(call, 0, context);
  auto points = MakeRef<TSingletonsVector>(&EngineOf(context));
  for (int i = 0; i < set->PointCount(); ++i) points->Add(MakeFloat(set->X(i)), MakeFloat(set->Y(i)));
  return MakeRef<TKBValue>(ISingletonsVector(points));
}

IKBValue GetFsLength(TFunctionCall& call, TKBContext& context) {
  return MakeInteger(FuzzyArgument(call, 0, context)->PointCount());
}

IKBValue GetFsX(TFunctionCall& call, TKBContext& context) {
  const Ref<IFuzzySet> set = FuzzyArgument(call, 0, context);
  return MakeFloat(set->X(IntegerArgument(call, 1, context)));
}

IKBValue GetFsY(TFunctionCall& call, TKBContext& context) {
  const Ref<IFuzzySet> set = FuzzyArgument(call, 0, context);
  return MakeFloat(set->Y(IntegerArgument(call, 1, context)));
}

IKBValue GetFsVariable(TFunctionCall& call, TKBContext& context) {
  const Ref<IFuzzySet> set = FuzzyArgument(call, 0, context);
  if (set->Variable() == nullptr) throw EKBException(TKBMessage::FuzzyVariableUndefined);
  return MakeAtom(set->Variable()->Name());
}

IKBValue GetFsValue(TFunctionCall& call, TKBContext& context) {
  const Ref<IFuzzySet> set = FuzzyArgument(call, 0, context);
  return MakeFloat(set->DegreeOfMembership(NumericArgument(call, 1, context)));
}

// ---- Assertion

[[nodiscard]] TFuzzyInferenceMethod InferenceOf(std::string_view text) {
  TFuzzyInferenceMethod method{};
  if (IsFuzzyInference(text, method)) return method;
  throw EKBException(TKBMessage::InvalidFuzzyInference, {std::string(text), std::string(FuzzyInferenceSuffixNameList)});
}

template <bool Unconditional>
IKBValue FuzzyAssert(TFunctionCall& call, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  const IKBValue first = call.Evaluate(0, context);
  const bool named = KBStringTypes.Has(first->GetDType());
  const TFuzzyInferenceMethod method = named || !Unconditional ? InferenceOf(first->ToString()) : fimMinMax;
  int32_t id = -1;
  for (int i = named ? 1 : 0; i < call.GetArgumentCount(); ++i) {
    const IFact written = call.Evaluate(i, context)->GetAsFact();
    RequireObject(written, "fact");
    const IFact fact = written->Clone();
    id = engine.Assert(context.Resolve(fact), method, Unconditional);
  }
  return id < 0 ? FCFalse : MakeFactId(id);
}

// ---- Unions and intersections

[[nodiscard]] TFuzzyOperation OperationArgument(const TFunctionCall& call, TKBContext& context) {
  const TKBText text = TextArgument(call, 0, context);
  TFuzzyOperation operation{};
  if (IsFuzzyOperation(text.View(), operation)) return operation;
  throw EKBException(TKBMessage::InvalidFuzzyOperation,
                     {text.ToString(), call.GetName().ToString(), FuzzyOperationNameList()});
}

template <bool IsUnion, bool HasOperation>
IKBValue FuzzyFold(TFunctionCall& call, TKBContext& context) {
  const TFuzzyOperation operation = HasOperation ? OperationArgument(call, context) : foZadeh;
  constexpr int kFirst = HasOperation ? 1 : 0;
  Ref<IFuzzySet> set = FuzzyArgument(call, kFirst, context);
  for (int i = kFirst + 1; i < call.GetArgumentCount(); ++i) {
    const Ref<IFuzzySet> other = FuzzyArgument(call, i, context);
    set = IsUnion ? set->Union(*other, operation) : set->Intersection(*other, operation);
  }
  return FuzzyValue(set);
}

// ---- Universe of discourse

[[nodiscard]] Ref<IFuzzyVariable> UniverseArgument(const TFunctionCall& call, TKBContext& context) {
  const IKBValue value = call.Evaluate(0, context);
  Ref<IFuzzyVariable> variable;
  if (value->Is(dtAtom) || value->Is(dtString)) {
    variable = VariableOfType(EngineOf(context), value->TextView());
  } else if (value->Is(dtFuzzy)) {
    if (const Ref<IFuzzySet> set = value->GetAsFuzzy()) variable = Ref<IFuzzyVariable>(set->Variable());
  } else {
    throw EKBException(
        TKBMessage::InvalidArgumentType,
        {std::string(GetKBTypeName(value->GetDType())), SetToString(TKBTypes{dtAtom, dtString, dtFuzzy}, ", ", false)});
  }
  if (!variable) throw EKBException(TKBMessage::FuzzyVariableUndefined);
  return variable;
}

IKBValue GetU(TFunctionCall& call, TKBContext& context) {
  const Ref<IFuzzyVariable> variable = UniverseArgument(call, context);
  return MakeString(FloatToString(variable->From()) + " - " + FloatToString(variable->To()) + " " + variable->Units());
}

IKBValue GetUFrom(TFunctionCall& call, TKBContext& context) {
  return MakeFloat(UniverseArgument(call, context)->From());
}

IKBValue GetUTo(TFunctionCall& call, TKBContext& context) { return MakeFloat(UniverseArgument(call, context)->To()); }

IKBValue GetUUnits(TFunctionCall& call, TKBContext& context) {
  return MakeString(UniverseArgument(call, context)->Units());
}

// ---- Settings

// Gives the setting as it was. The argument is worked out first, since a call in it may change the setting.
template <IKBValue (*Get)(TFunctionCall&, TKBContext&), void (TInferenceEngine::*Set)(float)>
IKBValue SetThreshold(TFunctionCall& call, TKBContext& context) {
  const auto value = static_cast<float>(NumericArgument(call, 0, context));
  const IKBValue previous = Get(call, context);
  (EngineOf(context).*Set)(value);
  return previous;
}

IKBValue GetActivationThreshold(TFunctionCall& /*call*/, TKBContext& context) {
  return MakeFloat(static_cast<double>(EngineOf(context).GetMinActivationStrength()));
}

IKBValue GetFuzzyThreshold(TFunctionCall& /*call*/, TKBContext& context) {
  return MakeFloat(static_cast<double>(EngineOf(context).GetFuzzyEqualsThreshold()));
}

IKBValue GetAutoTerms(TFunctionCall& /*call*/, TKBContext& context) {
  return MakeBoolean(EngineOf(context).GetFuzzyAutoTerms());
}

IKBValue SetAutoTerms(TFunctionCall& call, TKBContext& context) {
  const bool value = IsConstant(call.Evaluate(0, context), FCTrue);
  const IKBValue previous = GetAutoTerms(call, context);
  EngineOf(context).SetFuzzyAutoTerms(value);
  return previous;
}

IKBValue GetCorrelation(TFunctionCall& /*call*/, TKBContext& context) {
  return MakeAtom(FuzzyCorrelationNames[EngineOf(context).GetFuzzyCorrelationMethod()]);
}

IKBValue SetCorrelation(TFunctionCall& call, TKBContext& context) {
  const TKBText text = TextArgument(call, 0, context);
  TFuzzyCorrelationMethod method{};
  if (!IsFuzzyCorrelation(text.View(), method)) {
    throw EKBException(TKBMessage::InvalidFuzzyCorrelation,
                       {text.ToString(), std::string(FuzzyCorrelationSuffixNameList)});
  }
  const IKBValue previous = GetCorrelation(call, context);
  EngineOf(context).SetFuzzyCorrelationMethod(method);
  return previous;
}

IKBValue GetInference(TFunctionCall& /*call*/, TKBContext& context) {
  return MakeAtom(FuzzyInferenceNames[EngineOf(context).GetFuzzyInferenceMethod()]);
}

IKBValue SetInference(TFunctionCall& call, TKBContext& context) {
  const TFuzzyInferenceMethod method = InferenceOf(TextArgument(call, 0, context).View());
  const IKBValue previous = GetInference(call, context);
  EngineOf(context).SetFuzzyInferenceMethod(method);
  return previous;
}

// ---- Plot

constexpr int kFirstPlotItem = 4;

/// What a plot draws: sets of one variable, or all terms of a variable.
struct TPlotItems {
  Ref<IFuzzyVariable> variable;
  std::vector<Ref<IFuzzySet>> sets;
};

void CheckPlotVariables(const TPlotItems& items) {
  const auto nameOf = [](const IFuzzyVariable* variable) { return variable != nullptr ? variable->Name() : ""; };
  for (const Ref<IFuzzySet>& set : items.sets) {
    if (items.variable == set->Variable()) continue;
    throw EKBException(TKBMessage::FuzzyVariablesDiffer, {items.sets.front()->ToString(), nameOf(items.variable.Get()),
                                                          set->ToString(), nameOf(set->Variable())});
  }
}

[[nodiscard]] TPlotItems PlotItems(const TFunctionCall& call, TKBContext& context) {
  TPlotItems items;
  const IKBValue first = call.Evaluate(kFirstPlotItem, context);
  if (!TKBTypes{dtInteger, dtFactId, dtFact, dtFuzzy}.Has(first->GetDType())) {
    items.variable = VariableOfType(EngineOf(context), first->GetAsString().View());
    if (!items.variable) throw EKBException(TKBMessage::FuzzyVariableUndefined);
    for (int i = 0; i < items.variable->SetCount(); ++i) {
      if (items.variable->Set(i)->IsTerm()) items.sets.push_back(items.variable->Set(i));
    }
    return items;
  }
  items.sets.push_back(GetFuzzySetFromValue(first, context));
  items.variable = Ref<IFuzzyVariable>(items.sets.front()->Variable());
  for (int i = kFirstPlotItem + 1; i < call.GetArgumentCount(); ++i) {
    items.sets.push_back(FuzzyArgument(call, i, context));
  }
  CheckPlotVariables(items);
  return items;
}

IKBValue PlotFuzzyValue(TFunctionCall& call, TKBContext& context) {
  const TPlotItems items = PlotItems(call, context);
  const IFuzzyVariable* variable = items.variable.Get();
  const TFuzzyRange whole =
      variable != nullptr ? TFuzzyRange{variable->From(), variable->To()} : items.sets.front()->Polygon().Extent();
  const auto limit = [&](int index, double usual) {
    const IKBValue value = call.Evaluate(index, context);
    return KBNumericTypes.Has(value->GetDType()) ? value->GetAsNumeric() : usual;
  };
  double low = limit(2, whole.from);
  double high = limit(3, whole.to);
  if (variable != nullptr && low < whole.from) low = whole.from;
  if (variable != nullptr && high > whole.to) high = whole.to;
  const TKBText out = TextArgument(call, 0, context);
  const TKBText characters = TextArgument(call, 1, context);
  TInferenceEngine& engine = EngineOf(context);
  for (const std::string& line : PlotFuzzySets(variable, items.sets, low, high, characters.View())) {
    engine.PrintLine(out.View(), line);
  }
  return FCTrue;
}

// ---- The table

const TBuiltin kFuzzyFunctions[] = {
    {"s", " <left-expression> <right-expression>", 2, 2,
     "Returns a fuzzy value that grows from 0 at the left to 1 at the right number in an s curve", SShape<true>},
    {"z", " <left-expression> <right-expression>", 2, 2,
     "Returns a fuzzy value that declines from 1 at the left to 0 at the right number in a z curve", SShape<false>},
    {"pi", " <expression> <expression> [<right-expression>]", 2, 3,
     "Returns a fuzzy value in the shape of a bell, made of an s and a z curve. With two arguments these are the "
     "center "
     "and the distance to either end, with three the left end, the center and the right end",
     PiShape},
    {"tri", " <left-expression> <center-expression> <right-expression>", 3, 3,
     "Returns a fuzzy value in the shape of a triangle: 0 up to the left, 1 at the center, 0 from the right number on",
     TriangleShape},
    {"beta", " <center-expression> <end-expression> [<inflection-expression> [<weight-expression>]]", 2, 4,
     "Returns a fuzzy value in the shape of a bell: 1 at the center, 0.5 at the inflection, cut off at the end and as "
     "far "
     "from the center on the other side. The inflection is half-way to the end if it is not given; a weight above 1 "
     "makes "
     "the bell narrower",
     BetaShape},
    {"create-fuzzy-value", " <type-or-fuzzy-expression> <fuzzy-expression>+", 2, kAny,
     "Returns what a fuzzy expression of terms, numbers, hedges and operators stands for in a fuzzy type, which is "
     "given "
     "by its name or by a fuzzy value of it",
     CreateFuzzyValue},
    {"moment-defuzzify", " <fuzzy-expression>", 1, 1, "Returns the centre of gravity of a fuzzy value, fact or fact id",
     MomentDefuzzify},
    {"maximum-defuzzify", " <fuzzy-expression>", 1, 1,
     "Returns the mean of the places where a fuzzy value, fact or fact id has its greatest membership",
     MaximumDefuzzify},
    {"is-undecidable", " <fuzzy-expression>", 1, 1,
     "Returns TRUE if the membership of a fuzzy value is the same everywhere, so that no number is better than another",
     IsUndecidable},
    {"get-compatibility-index", " <fuzzy-expression>", 1, 1,
     "Returns the membership of the centre of gravity of a fuzzy value in that value", CompatibilityIndex},
    {"fuzzy-assert", " <inference-method> <fact>+", 2, kAny,
     "Asserts facts; a fuzzy one is united with an equal fact in the way of the inference method. Returns the id of "
     "the "
     "last fact, or FALSE",
     FuzzyAssert<false>},
    {"fuzzy-assert-unconditional", " [<inference-method>] <fact>+", 1, kAny,
     "Asserts facts; a fuzzy one is intersected with an equal fact in the way of the inference method, or of min-max. "
     "Returns the id of the last fact, or FALSE",
     FuzzyAssert<true>},
    {"fuzzy-union", " <fuzzy-expression> <fuzzy-expression>+", 2, kAny,
     "Returns the union of fuzzy values: the greatest of their memberships", FuzzyFold<true, false>},
    {"fuzzy-union-x", " <operation> <fuzzy-expression> <fuzzy-expression>+", 3, kAny,
     "Returns the union of fuzzy values by an operation: zadeh, mean, mean-sqr, mean-sqrt, product, bounded-sum or sum",
     FuzzyFold<true, true>},
    {"fuzzy-intersection", " <fuzzy-expression> <fuzzy-expression>+", 2, kAny,
     "Returns the intersection of fuzzy values: the least of their memberships", FuzzyFold<false, false>},
    {"fuzzy-intersection-x", " <operation> <fuzzy-expression> <fuzzy-expression>+", 3, kAny,
     "Returns the intersection of fuzzy values by an operation: zadeh, mean, mean-sqr, mean-sqrt, product, bounded-sum "
     "or "
     "sum",
     FuzzyFold<false, true>},
    {"get-fs", " <fuzzy-expression>", 1, 1, "Returns the points of a fuzzy value, fact or fact id: ((x y) (x y) ...)",
     GetFs},
    {"get-fs-length", " <fuzzy-expression>", 1, 1, "Returns the number of points of a fuzzy value", GetFsLength},
    {"get-fs-x", " <fuzzy-expression> <index-expression>", 2, 2,
     "Returns the number of a point of a fuzzy value; the first point has index 0", GetFsX},
    {"get-fs-y", " <fuzzy-expression> <index-expression>", 2, 2,
     "Returns the membership of a point of a fuzzy value; the first point has index 0", GetFsY},
    {"get-fs-variable", " <fuzzy-expression>", 1, 1, "Returns the name of the fuzzy type that a fuzzy value belongs to",
     GetFsVariable},
    {"get-fs-value", " <fuzzy-expression> <numeric-expression>", 2, 2,
     "Returns the membership of a number in a fuzzy value", GetFsValue},
    {"get-u", " <type-or-fuzzy-expression>", 1, 1,
     "Returns the universe of discourse of a fuzzy type with its units, as text", GetU},
    {"get-u-from", " <type-or-fuzzy-expression>", 1, 1,
     "Returns the lower end of the universe of discourse of a fuzzy type", GetUFrom},
    {"get-u-to", " <type-or-fuzzy-expression>", 1, 1,
     "Returns the upper end of the universe of discourse of a fuzzy type", GetUTo},
    {"get-u-units", " <type-or-fuzzy-expression>", 1, 1, "Returns the units of a fuzzy type", GetUUnits},
    {"get-activation-threshold", "", 0, 0,
     "Returns the least strength that a fuzzy match may leave to the activation of a rule", GetActivationThreshold},
    {"set-activation-threshold", " <numeric-expression>", 1, 1,
     "Sets the least strength that a fuzzy match may leave to the activation of a rule, cut to 0 to 1. Returns the "
     "previous one",
     SetThreshold<GetActivationThreshold, &TInferenceEngine::SetMinActivationStrength>},
    {"get-fuzzy-auto-terms", "", 0, 0, "Returns TRUE if new fuzzy types get the terms low, medium and high",
     GetAutoTerms},
    {"set-fuzzy-auto-terms", " <boolean-expression>", 1, 1,
     "Decides whether new fuzzy types get the terms low, medium and high. Returns the previous setting", SetAutoTerms},
    {"get-fuzzy-correlation", "", 0, 0,
     "Returns how the strength of a rule limits the fuzzy facts that it asserts: minimum or product", GetCorrelation},
    {"set-fuzzy-correlation", " <correlation-method>", 1, 1,
     "Sets how the strength of a rule limits the fuzzy facts that it asserts: minimum or product. Returns the previous "
     "method",
     SetCorrelation},
    {"get-fuzzy-inference", "", 0, 0, "Returns how a fuzzy fact is merged with an equal one", GetInference},
    {"set-fuzzy-inference", " <inference-method>", 1, 1,
     "Sets how a fuzzy fact is merged with an equal one: min-max, sum, mean, product or bounded-sum. Returns the "
     "previous "
     "method",
     SetInference},
    {"get-fuzzy-threshold", "", 0, 0, "Returns the degree above which fuzzy values count as equal", GetFuzzyThreshold},
    {"set-fuzzy-threshold", " <numeric-expression>", 1, 1,
     "Sets the degree above which fuzzy values count as equal, cut to 0 to 1. Returns the previous one",
     SetThreshold<GetFuzzyThreshold, &TInferenceEngine::SetFuzzyEqualsThreshold>},
    {"plot-fuzzy-value", " <output-name> <characters> <low-expression> <high-expression> <fuzzy-expression>+", 5, kAny,
     "Prints a plot of fuzzy values, facts or fact ids, or of all terms of a fuzzy type, each with a character of its "
     "own. A limit that is no number is that of the universe. Returns TRUE",
     PlotFuzzyValue},
};

}  // namespace

const TClassInfo& TFuzzyLogicPackage::StaticClass() noexcept {
  static const TClassInfo info{"TFuzzyLogicPackage", &TUserPackage::StaticClass(), nullptr,
                               &NewPackage<TFuzzyLogicPackage>};
  return info;
}

void TFuzzyLogicPackage::CreateFunctions() {
  TUserPackage::CreateFunctions();
  AddBuiltins(*this, kFuzzyFunctions);
}

}  // namespace kb
