#include "kb/fuzzy/FuzzySet.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

#include "kb/common/Helpers.h"
#include "kb/fuzzy/FuzzyOperations.h"
#include "kb/fuzzy/FuzzyWords.h"
#include "kb/language/PrettyPrinter.h"
#include "kb/values/KBConsts.h"

namespace kb {
namespace {

/// A name that has grown longer is dropped: the set shows its points.
constexpr size_t kMaxNameLength = 200;
/// Memberships of a set that differ by no more than this are the same everywhere.
constexpr TFzyFloat kFlatTolerance = 1e-9;

/// The shortest text that reads back as the number.
template <class Number>
[[nodiscard]] std::string ShortestText(Number value) {
  char buffer[32];
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
  return {buffer, end};
}

void CheckAscending(std::initializer_list<TFzyFloat> places) {
  const bool finite = std::all_of(places.begin(), places.end(), [](TFzyFloat x) { return std::isfinite(x); });
  if (finite && std::is_sorted(places.begin(), places.end())) return;
  std::string text;
  for (const TFzyFloat place : places) text += (text.empty() ? "" : " ") + FloatToString(place);
  throw EKBException(TKBMessage::InvalidFuzzyShape, {text});
}

/// The rising half of an s curve; a step for a half without width.
[[nodiscard]] TFzyFloat Growth(TFzyFloat x, TFzyFloat left, TFzyFloat middle, TFzyFloat right) {
  if (x <= left && left < right) return 0;
  if (x >= right) return 1;
  const bool lower = x < middle;
  const TFzyFloat part = lower ? (x - left) / (middle - left) : (right - x) / (right - middle);
  return lower ? part * part / 2 : 1 - part * part / 2;
}

/// Adds an s curve, or for `falling` its mirror image, from the left to the right place.
void AppendSCurve(TFuzzyPolygon& polygon, int depth, bool falling, TFzyFloat left, TFzyFloat middle, TFzyFloat right) {
  const auto curve = [=](TFzyFloat x) {
    const TFzyFloat y = Growth(x, left, middle, right);
    return falling ? 1 - y : y;
  };
  if (left == right) {
    const TFzyFloat start = falling ? 1 : 0;
    if (polygon.IsEmpty() || polygon.Points().back().x != left) polygon.AddPoint(left, start);
    polygon.AddPoint(left, 1 - start);
    return;
  }
  if (left < middle) AppendCurve(polygon, {left, middle}, depth, curve);
  if (middle < right) AppendCurve(polygon, {middle, right}, depth, curve);
}

/// The words of a name that stand between two operands, outside of brackets, parentheses and quotes.
[[nodiscard]] std::vector<std::string_view> InfixWords(std::string_view name) {
  std::vector<std::string_view> words;
  int depth = 0;
  bool quoted = false;
  for (size_t at = 0; at < name.size();) {
    const size_t end = std::min(name.find(' ', at), name.size());
    const std::string_view word = name.substr(at, end - at);
    TBaseFuzzyHedge base{};
    TFuzzyOperation operation{};
    bool flag = false;
    const bool infix = IsFuzzyKeyword(word, flag, operation) || IsFuzzyHedgeOperator(word, base, flag);
    if (infix && depth == 0 && !quoted) words.push_back(word);
    for (const char c : word) {
      if (c == '"') quoted = !quoted;
      if (!quoted && (c == '(' || c == '[')) ++depth;
      if (!quoted && (c == ')' || c == ']')) --depth;
    }
    at = end + 1;
  }
  return words;
}

/// A name as an operand: what holds operators gets brackets, but for a chain of the `same` one whose grouping does not
/// matter.
[[nodiscard]] std::string Operand(const std::string& name, std::string_view same = {}) {
  const std::vector<std::string_view> words = InfixWords(name);
  const bool chain = std::all_of(words.begin(), words.end(), [same](std::string_view word) { return word == same; });
  return chain ? name : "[ " + name + " ]";
}

}  // namespace

// ---- Shapes

void TFuzzySet::Become(TFuzzySetType type, TFuzzyPolygon polygon, std::initializer_list<TFzyFloat> parameters) {
  polygon_ = std::move(polygon);
  type_ = type;
  parameterCount_ = parameters.size();
  std::copy(parameters.begin(), parameters.end(), parameters_.begin());
}

void TFuzzySet::SetPolygon(TFuzzyPolygon polygon) { Become(fstPoints, std::move(polygon), {}); }

void TFuzzySet::AddPoint(TFzyFloat x, TFzyFloat y) {
  TFuzzyPolygon polygon = polygon_;
  polygon.AddPoint(x, y);
  SetPolygon(std::move(polygon));
}

void TFuzzySet::Triangle(TFzyFloat left, TFzyFloat center, TFzyFloat right) {
  CheckAscending({left, center, right});
  Become(fstTriangle, TFuzzyPolygon({{left, 0}, {center, 1}, {right, 0}}), {left, center, right});
}

void TFuzzySet::SCurve(int depth, bool isGrowth, TFzyFloat left, TFzyFloat right, TFzyFloat middle) {
  CheckAscending({left, middle, right});
  TFuzzyPolygon polygon;
  AppendSCurve(polygon, depth, !isGrowth, left, middle, right);
  // The text of the shape has no place for a middle that is elsewhere.
  if (middle != left + (right - left) / 2.0) return SetPolygon(std::move(polygon));
  Become(isGrowth ? fstGrowth : fstDecline, std::move(polygon), {left, right});
}

void TFuzzySet::PiCurve(int depth, TFzyFloat left, TFzyFloat right, TFzyFloat center) {
  CheckAscending({left, center, right});
  TFuzzyPolygon polygon;
  AppendSCurve(polygon, depth, false, left, left + (center - left) / 2.0, center);
  AppendSCurve(polygon, depth, true, center, center + (right - center) / 2.0, right);
  Become(fstPi, std::move(polygon), {left, center, right});
}

void TFuzzySet::BetaCurve(int depth, TFzyFloat range, TFzyFloat center, TFzyFloat inflection, TFzyFloat weight) {
  const TFzyFloat half = std::abs(range - center);
  const TFzyFloat width = std::abs(inflection - center);
  const bool valid = std::isfinite(half) && std::isfinite(width) && width > 0 && std::isfinite(weight) && weight >= 0;
  if (!valid) {
    throw EKBException(TKBMessage::InvalidFuzzyShape, {FloatToString(center) + " " + FloatToString(range) + " " +
                                                       FloatToString(inflection) + " " + FloatToString(weight)});
  }
  const auto bell = [=](TFzyFloat x) {
    const TFzyFloat distance = (x - center) / width;
    return 1 / (1 + weight * distance * distance);
  };
  TFuzzyPolygon polygon;
  polygon.AddPoint(center - half, 0);
  AppendCurve(polygon, {center - half, center}, depth, bell);
  AppendCurve(polygon, {center, center + half}, depth, bell);
  polygon.AddPoint(center + half, 0);
  Become(fstBeta, std::move(polygon), {center, range, inflection, weight});
}

// ---- The set

TIFuzzySet::TIFuzzySet(IFuzzyVariable* variable, std::string_view name) : name_(name), variable_(variable) {}

Ref<IFuzzySet> TIFuzzySet::Clone() const {
  Ref<TIFuzzySet> result = NewSet();
  result->name_ = name_;
  result->expression_ = expression_;
  result->shape_ = shape_;
  result->parser_ = parser_;
  return result;
}

void TIFuzzySet::Change() {
  expression_.clear();
  if (updates_ == 0 && isTerm_ && Variable() != nullptr) Variable()->Changed();
}

void TIFuzzySet::EndUpdate() {
  if (updates_ > 0 && --updates_ == 0 && isTerm_ && Variable() != nullptr) Variable()->Changed();
}

void TIFuzzySet::AddPoint(double x, double y) {
  shape_.AddPoint(x, y);
  Change();
}

double TIFuzzySet::X(int index) const { return ItemAt(Polygon().Points(), index).x; }
double TIFuzzySet::Y(int index) const { return ItemAt(Polygon().Points(), index).y; }

void TIFuzzySet::Triangle(double left, double center, double right) {
  shape_.Triangle(left, center, right);
  Change();
}

void TIFuzzySet::SCurve(int depth, bool isGrowth, double left, double right, double middle) {
  shape_.SCurve(depth, isGrowth, left, right, middle);
  Change();
}

void TIFuzzySet::PiCurve(int depth, double left, double right, double center) {
  shape_.PiCurve(depth, left, right, center);
  Change();
}

void TIFuzzySet::PiCurveByRange(int depth, double range, double center) {
  PiCurve(depth, center - range, center + range, center);
}

void TIFuzzySet::BetaCurve(int depth, double range, double center, double inflection) {
  BetaCurveWeighted(depth, range, center, inflection, 1);
}

void TIFuzzySet::BetaCurveWeighted(int depth, double range, double center, double inflection, double weight) {
  shape_.BetaCurve(depth, range, center, inflection, weight);
  Change();
}

// ---- Hedges and operations

void TIFuzzySet::CheckChangeable() const {
  if (isTerm_) throw EKBException(TKBMessage::FuzzyTermUnchangeable, {name_});
}

void TIFuzzySet::Replace(TFuzzyPolygon polygon, std::string name) {
  shape_.SetPolygon(std::move(polygon));
  name_ = name.size() > kMaxNameLength ? std::string() : std::move(name);
  Change();
}

void TIFuzzySet::Hedge(TFuzzyHedge hedge) {
  CheckChangeable();
  std::string name = std::string(FuzzyHedgeNames[hedge]) + " " + Operand(ToString());
  Replace(ApplyFuzzyHedge(Polygon(), hedge), std::move(name));
}

void TIFuzzySet::HedgeOperator(TBaseFuzzyHedge base, bool flag, double value) {
  CheckChangeable();
  TFuzzyPolygon result = ApplyFuzzyHedgeOperator(Polygon(), base, flag, value);
  const std::string_view word = FuzzyHedgeOperatorName(base, flag);
  // Strengths are numbers of single precision, whose digits end earlier.
  const auto single = static_cast<float>(value);
  const std::string number = static_cast<double>(single) == value ? ShortestText(single) : ShortestText(value);
  std::string name;
  if (!word.empty()) name = Operand(ToString()) + " " + std::string(word) + " " + number;
  Replace(std::move(result), std::move(name));
}

Ref<IFuzzySet> TIFuzzySet::Combine(const IFuzzySet& other, bool isUnion, TFuzzyOperation operation) const {
  Ref<TIFuzzySet> result = NewSet();
  result->parser_ = parser_;
  const std::string keyword = FuzzyKeyword(isUnion, operation);
  const std::string_view same = operation == foZadeh ? std::string_view(keyword) : std::string_view();
  std::string name = Operand(ToString(), same) + " " + keyword + " " + Operand(other.ToString(), same);
  result->Replace(isUnion ? FuzzyUnion(Polygon(), other.Polygon(), operation)
                          : FuzzyIntersection(Polygon(), other.Polygon(), operation),
                  std::move(name));
  if (result->Variable() == nullptr) result->SetVariable(other.Variable());
  return result;
}

Ref<IFuzzySet> TIFuzzySet::Union(const IFuzzySet& other, TFuzzyOperation operation) const {
  return Combine(other, true, operation);
}

Ref<IFuzzySet> TIFuzzySet::Intersection(const IFuzzySet& other, TFuzzyOperation operation) const {
  return Combine(other, false, operation);
}

// ---- Numbers

TFuzzyRange TIFuzzySet::Universe() const {
  if (const IFuzzyVariable* variable = Variable()) return {variable->From(), variable->To()};
  return Polygon().Extent();
}

// A set that lies beyond the universe, such as the number of a hedge operator, is taken where it lies.
double TIFuzzySet::Maximum() const {
  const TFuzzyRange universe = Universe();
  if (Polygon().Height(universe) > 0) return Polygon().MeanOfMaxima(universe);
  const TFuzzyRange extent = Polygon().Extent();
  return Polygon().Height(extent) > 0 ? Polygon().MeanOfMaxima(extent) : Polygon().MeanOfMaxima(universe);
}

bool TIFuzzySet::IsUndecidable() const {
  const TFuzzyRange universe = Universe();
  return Polygon().Height(universe) - Polygon().Depth(universe) <= kFlatTolerance;
}

TFzyFloat TIFuzzySet::Threshold() const {
  const IFuzzyVariable* variable = Variable();
  return variable != nullptr ? variable->Threshold() : 0;
}

bool TIFuzzySet::IsAboveThreshold(TFzyFloat degree) const {
  return static_cast<float>(degree) > static_cast<float>(Threshold());
}

double TIFuzzySet::Iterate(const IFuzzySet& other, TFuzzyOperator what) const {
  TFuzzyRange range = Universe();
  if (Variable() == nullptr) {
    const TFuzzyRange theirs = other.Polygon().Extent();
    range = {std::min(range.from, theirs.from), std::max(range.to, theirs.to)};
  }
  const TFzyFloat degree = TFuzzyPolygon::MaxOfMin(Polygon(), other.Polygon(), range);
  if (what == FuzzyOperatorMaxOfMin) return degree;
  return IsAboveThreshold(degree) ? 1 : 0;
}

// ---- Text

std::string TIFuzzySet::GetValuesToString() const {
  std::string text = "(";
  for (const TFuzzyPoint& point : Polygon().Points()) {
    if (text.size() > 1) text += ' ';
    text += "(" + ShortestText(point.x) + " " + ShortestText(point.y) + ")";
  }
  return text + ")";
}

std::string TIFuzzySet::ToString() const {
  if (IFuzzyParser* parser = parser_.Get()) return parser->PrettyPrint(*this);
  return PrettyPrint(*this, false);
}

}  // namespace kb
