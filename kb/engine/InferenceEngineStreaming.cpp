// Engines in component streams.
//
// What is read is only put aside at first: the components that the texts depend on, packages above all, may stand
// behind the engine in the stream. Loaded parses the texts; rules and fact sets of other owners wait for that.
//
// Tested in tests/engine/StreamingTest.cpp.
#include <algorithm>

#include "kb/engine/EngineScopes.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/functions/MathPackage.h"
#include "kb/functions/StandardPackage.h"
#include "kb/functions/StringPackage.h"
#include "kb/platform/ComponentStream.h"
#include "kb/values/LosslessText.h"

namespace kb {

// ---- Properties

void TInferenceEngine::DefineProperties(TFiler& filer) {
  TComponent::DefineProperties(filer);
  DefineSettings(filer);
  DefineKnowledge(filer);
}

void TInferenceEngine::DefineSettings(TFiler& filer) {
  const auto enumeration = [&filer](std::string_view name, auto value, auto last, auto set) {
    using TEnum = decltype(value);
    filer.Integer(name, value, 0, 0, last, [&set](int64_t number) { set(static_cast<TEnum>(number)); });
  };
  const auto bits = [&filer](std::string_view name, auto value, int64_t normal, int64_t all, auto set) {
    using TSet = decltype(value);
    filer.Integer(name, value.Bits(), normal, 0, all,
                  [&set](int64_t number) { set(TSet::FromBits(static_cast<uint32_t>(number))); });
  };
  bits("Packages", packages_, 511, 511, [this](TFunctionPackages value) { SetPackages(value); });
  enumeration("Strategy", strategy_, ssBreadthFirst, [this](TSearchStrategy value) { SetStrategy(value); });
  enumeration("EvalSalience", evalSalience_, sEveryTime, [this](TSalience value) { SetEvalSalience(value); });
  bits("TypeChecks", typeChecks_, 1, 3, [this](TTypeChecks value) { SetTypeChecks(value); });
  enumeration("DuplicateConstructs", duplicateConstructs_, dcError,
              [this](TDuplicateConstructs value) { SetDuplicateConstructs(value); });
  enumeration("ParserErrorHandling", parserErrorHandling_, ehRaiseAllAtEnd,
              [this](TErrorHandling value) { SetParserErrorHandling(value); });
  filer.Integer("ParserMaxErrors", parserMaxErrors_, 10, INT32_MIN, INT32_MAX,
                [this](int64_t value) { SetParserMaxErrors(static_cast<int>(value)); });
  filer.Flag("FactDuplication", factDuplication_, false, [this](bool value) { SetFactDuplication(value); });
  filer.Flag("FuzzyAutoTerms", fuzzyAutoTerms_, true, [this](bool value) { SetFuzzyAutoTerms(value); });
  enumeration("FuzzyCorrelationMethod", fuzzyCorrelation_, fcmProduct,
              [this](TFuzzyCorrelationMethod value) { SetFuzzyCorrelationMethod(value); });
  enumeration("FuzzyInferenceMethod", fuzzyInference_, fimBoundedSum,
              [this](TFuzzyInferenceMethod value) { SetFuzzyInferenceMethod(value); });
  filer.Real("FuzzyEqualsThreshold", static_cast<double>(fuzzyEqualsThreshold_), static_cast<double>(0.01F),
             [this](double value) { SetFuzzyEqualsThreshold(static_cast<float>(value)); });
  filer.Real("MinActivationStrength", static_cast<double>(minActivationStrength_), 0,
             [this](double value) { SetMinActivationStrength(static_cast<float>(value)); });
  filer.Flag("ResetGlobals", resetGlobals_, true, [this](bool value) { SetResetGlobals(value); });
  filer.Integer("SymbolIndex", symbolIndex_, 0, 0, INT32_MAX, [this](int64_t value) {
    if (value > symbolIndex_) SetSymbolIndex(static_cast<int32_t>(value));
  });
  bits("Watch", watch_, 0, KBAllWatches.Bits(), [this](TConstructWatches value) { SetWatch(value); });
}

// The lists behind the globals come from older streams and are read only.
void TInferenceEngine::DefineKnowledge(TFiler& filer) {
  filer.Property(
      "ModuleText", !modules_->IsEmpty(), [this] { return TStreamValue(GetExpertSystem(true)); },
      [this](const TStreamValue& value) { Streamed().moduleText = value.AsText(); });
  const auto variables = [this] {
    const TLosslessText lossless;
    std::vector<std::string> texts;
    for (int i = 0; i < globalVariables_->GetCount(); ++i) {
      texts.push_back(PrettyPrint(globalVariables_->GetKey(i).View(), globalVariables_->GetValue(i)));
    }
    return TStreamValue::OfTexts(texts);
  };
  filer.Property("GlobalVariables.Variables", !globalVariables_->IsEmpty(), variables,
                 [this](const TStreamValue& value) { Streamed().variables = value.AsTexts(); });
  const auto old = [this, &filer](std::string_view name, std::vector<std::string> TStreamed::*texts) {
    filer.Texts(name, {}, [&](const std::vector<std::string>& value) { Streamed().*texts = value; });
  };
  old("DefinedTypes.DefTypes", &TStreamed::types);
  old("FactTemplates.Templates", &TStreamed::templates);
  old("Rules.Rules", &TStreamed::rules);
  old("FactSets", &TStreamed::factSets);
  old("FactsList", &TStreamed::facts);
}

// What the parser made stands in the texts, and the packages of the settings make themselves.
std::vector<TComponent*> TInferenceEngine::GetStreamedChildren() const {
  std::vector<TComponent*> children = TComponent::GetStreamedChildren();
  std::erase_if(children, [](TComponent* child) {
    const auto* package = dynamic_cast<const TUserPackage*>(child);
    return dynamic_cast<const TRule*>(child) != nullptr || dynamic_cast<const TFactSet*>(child) != nullptr ||
           (package != nullptr && package->IsBuiltIn());
  });
  return children;
}

TInferenceEngine::TStreamed& TInferenceEngine::Streamed() {
  if (!streamed_) streamed_ = std::make_unique<TStreamed>();
  return *streamed_;
}

void TInferenceEngine::Reload(TComponent& component) {
  auto& reload = Streamed().reload;
  if (std::find(reload.begin(), reload.end(), &component) == reload.end()) reload.push_back(&component);
}

// ---- The end of reading

namespace {

/// Functions that saved texts call, for an engine whose own packages do not bring them.
class TSavedTextFunctions {
 public:
  explicit TSavedTextFunctions(TInferenceEngine& engine) : engine_(engine) {
    const TStandardPackage& standard = Package(standard_);
    const TStringPackage& strings = Package(strings_);
    for (const std::string_view name : {"assert", "focus", "do-backward-chaining", "create$"}) Lend(standard, name);
    for (const std::string_view name : {"sym-cat", "str-cat"}) Lend(strings, name);
    Lend(Package(math_), "+");
  }
  TSavedTextFunctions(const TSavedTextFunctions&) = delete;
  TSavedTextFunctions& operator=(const TSavedTextFunctions&) = delete;
  ~TSavedTextFunctions() {
    TDelayedError error;  // of a handler, which the scope may not pass on
    for (const Ref<IUserFunction>& function : lent_) error.Run([&] { function->DeleteReasoner(&engine_); });
  }

 private:
  template <class T>
  static const T& Package(std::unique_ptr<T>& place) {
    place = std::make_unique<T>(nullptr);
    place->CreateFunctions();
    return *place;
  }
  void Lend(const TUserPackage& package, std::string_view name) {
    if (engine_.ContainsUserFunction(name)) return;
    const Ref<IUserFunction>& function = package.GetFunctions()[static_cast<size_t>(package.IndexOf(name))];
    lent_.push_back(function);
    function->AddReasoner(&engine_);
  }

  TInferenceEngine& engine_;
  std::unique_ptr<TStandardPackage> standard_;
  std::unique_ptr<TStringPackage> strings_;
  std::unique_ptr<TMathPackage> math_;
  std::vector<Ref<IUserFunction>> lent_;
};

}  // namespace

void TInferenceEngine::Loaded() {
  TComponent::Loaded();
  for (int i = 0; i < rules_->GetCount(); ++i) {
    if (rules_->GetValue(i)->GetOwner() != this) Reload(*rules_->GetValue(i));
  }
  if (!streamed_) return;
  const std::unique_ptr<TStreamed> streamed = std::move(streamed_);
  const TSavedTextFunctions functions(*this);
  // What is owned by others comes in place of what the text made.
  const TValueScope<TDuplicateConstructs> overwrite(duplicateConstructs_, dcOverwrite);
  // A variable whose value calls a function of the text has to wait for the text.
  std::vector<std::string> waiting;
  for (const std::string& text : streamed->variables) {
    if (!waiting.empty() || !LoadVariable(text, true)) waiting.push_back(text);
  }
  if (!streamed->moduleText.empty()) Parse(streamed->moduleText, true);
  LoadOldForms(*streamed);
  for (const std::string& text : waiting) LoadVariable(text, false);
  for (TComponent* component : streamed->reload) {
    if (auto* rule = dynamic_cast<TRule*>(component)) rule->Reload();
    if (auto* set = dynamic_cast<TFactSet*>(component)) set->Reload();
  }
}

/// False when a lenient attempt failed.
bool TInferenceEngine::LoadVariable(const std::string& text, bool lenient) {
  try {
    std::string name;
    const IKBValue value = ParseVariable(text, name);
    globalVariables_->Put(name, value);
    return true;
  } catch (const EException&) {
    if (!lenient) throw;
    return false;
  }
}

void TInferenceEngine::LoadOldForms(const TStreamed& streamed) {
  if (!streamed.types.empty()) GetDefinedTypes().Clear();
  for (const std::string& text : streamed.types) GetDefinedTypes().Add(ParseDefinedType(text));
  if (!streamed.templates.empty()) GetFactTemplates().Clear();
  for (const std::string& text : streamed.templates) GetFactTemplates().Add(ParseFactTemplate(text));
  for (const std::string& text : streamed.rules) {
    std::unique_ptr<TRule> rule(ParseRule(text));
    GetRules().Add(*rule);
    (void)rule.release();  // the engine owns it
  }
  for (const std::string& text : streamed.factSets) {
    std::unique_ptr<TFactSet> set(ParseFactSet(text));
    set->SetEngineNoParse(this);
    GetFactSets().Add(*set);
    (void)set.release();
  }
  for (const std::string& text : streamed.facts) Assert(text);
}

}  // namespace kb
