// Life and settings of the engine.
#include "kb/engine/InferenceEngine.h"

#include <algorithm>
#include <cmath>

#include "kb/common/Helpers.h"
#include "kb/engine/EngineClasses.h"
#include "kb/engine/EngineScopes.h"
#include "kb/functions/BusinessPackage.h"
#include "kb/functions/MathPackage.h"
#include "kb/functions/MiscPackage.h"
#include "kb/functions/ObjectPackage.h"
#include "kb/functions/PredicatePackage.h"
#include "kb/functions/StandardPackage.h"
#include "kb/functions/StringPackage.h"
#include "kb/functions/TrigonometryPackage.h"
#include "kb/fuzzy/FuzzyLogicPackage.h"
#include "kb/matching/ReteNetwork.h"

namespace kb {
namespace {

constexpr TFunctionPackages kAllPackages = TFunctionPackages::FromBits(511);

}  // namespace

const TClassInfo& TInferenceEngine::StaticClass() noexcept {
  static const TClassInfo info{"TInferenceEngine", &TComponent::StaticClass(), nullptr,
                               [](TComponent* owner) -> TComponent* { return new TInferenceEngine(owner); }};
  return info;
}

TInferenceEngine::TInferenceEngine(TComponent* owner) : TComponent(owner) {
  RegisterEngineClasses();
  parser_ = std::make_unique<TKBClipsParser>(*this, nullptr);
  ioStreams_ = std::make_unique<TIOStreams>(this);
  modules_ = std::make_unique<TModules>(this);
  modules_->SetEnforceImportOrder(true);
  globalContext_ = std::make_unique<TKBContext>(nullptr, this);
  globalVariables_ = std::make_unique<TGlobalVariables>(this);
  storage_ = std::make_unique<TEngineVariables>(this);
  userFunctions_ = std::make_unique<TUserFunctions>(this);
  focusStack_ = std::make_unique<TModules>(this);
  AddMainModule();
  focusStack_->Add(modules_->Get(0));
  packages_ = kAllPackages;
  typeChecks_ = tcStatic;
  AddDefaultPackages();
  AssertInitialFact();
}

void TInferenceEngine::AddMainModule() {
  AddModule(MakeRef<TModule>(this, true));
  modules_->Get(0)->FocusModule();
}

void TInferenceEngine::AssertInitialFact() {
  for (int i = 0; i < modules_->GetCount(); ++i) ShareInitialTemplate(*modules_->Get(i));
  Assert(SInitialFact);
}

void TInferenceEngine::RaiseNoMainModule() { throw EKBException(TKBMessage::NoSuchModule, {std::string(SMainModule)}); }

void TInferenceEngine::RequireModule(const IModule& module) const {
  RequireObject(module, "module");
  if (modules_->IndexOf(module.Get()) < 0) throw EKBException(TKBMessage::NoSuchModule, {module->GetName()});
}

TInferenceEngine::~TInferenceEngine() {
  ClearEvents();
  Clear();
  // Packages, rules and fact sets may still call the engine while they go; afterwards nothing may.
  TellRemoval();
  DestroyComponents();
  outputStream_.reset();
  initialFactPattern_ = nullptr;
  nullFact_ = nullptr;
  focusStack_.reset();
  for (int i = 0; i < modules_->GetCount(); ++i) {
    modules_->Get(i)->Release();
    modules_->Get(i)->ClearOwner();
  }
  currentModule_ = nullptr;
  modules_->SetEnforceImportOrder(false);
  auto modules = std::move(modules_);
  modules.reset();
  userFunctions_.reset();
  globalVariables_.reset();
  globalContext_.reset();
  storage_.reset();
  parser_.reset();
  ioStreams_.reset();
}

void TInferenceEngine::ClearEvents() noexcept {
  OnAddActivation = nullptr;
  OnRemoveActivation = nullptr;
  OnAssertion = nullptr;
  OnRetraction = nullptr;
  OnClearFacts = nullptr;
  OnRuleFired = nullptr;
  OnStartInference = nullptr;
  OnEndInference = nullptr;
  OnAddRule = nullptr;
  OnRemoveRule = nullptr;
  OnClearRules = nullptr;
  OnNewFactTemplate = nullptr;
  OnRemoveFactTemplate = nullptr;
  OnClearFactTemplates = nullptr;
  OnAddDefinedType = nullptr;
  OnRemoveDefinedType = nullptr;
  OnClearDefinedTypes = nullptr;
  OnAddUserFunction = nullptr;
  OnRemoveUserFunction = nullptr;
  OnAddModule = nullptr;
  OnRemoveModule = nullptr;
  OnClearModule = nullptr;
  OnClearModules = nullptr;
  OnChangeCurrentModule = nullptr;
  OnPushFocus = nullptr;
  OnPopFocus = nullptr;
  OnClear = nullptr;
  OnReset = nullptr;
  OnAddDefaultPackages = nullptr;
  OnPrintOut = nullptr;
  OnReadLine = nullptr;
  OnReadToken = nullptr;
  OnFuzzyCorrelation = nullptr;
  OnFuzzyInference = nullptr;
  parser_->ClearEvents();
  for (int i = 0; i < modules_->GetCount(); ++i) {
    if (TReteNetwork* network = modules_->Get(i)->GetRete()) network->ClearEvents();
  }
}

void TInferenceEngine::Notification(TComponent& component, TOperation operation) {
  TComponent::Notification(component, operation);
  if (operation == opRemove && streamed_) std::erase(streamed_->reload, &component);
}

void TInferenceEngine::AddDefaultPackages() {
  const int others = GetComponentCount();
  if (packages_.Has(pStandard)) CreatePackage<TStandardPackage>(*this);
  if (packages_.Has(pMiscellaneous)) CreatePackage<TMiscPackage>(*this);
  if (packages_.Has(pPredicate)) CreatePackage<TPredicatePackage>(*this);
  if (packages_.Has(pMath)) CreatePackage<TMathPackage>(*this);
  if (packages_.Has(pString)) CreatePackage<TStringPackage>(*this);
  if (packages_.Has(pObject)) CreatePackage<TObjectPackage>(*this);
  if (packages_.Has(pTrigonometry)) CreatePackage<TTrigonometryPackage>(*this);
  if (packages_.Has(pBusiness)) CreatePackage<TBusinessPackage>(*this);
  if (packages_.Has(pFuzzyLogic)) CreatePackage<TFuzzyLogicPackage>(*this);
  for (int i = others; i < GetComponentCount(); ++i) {
    if (auto* package = dynamic_cast<TUserPackage*>(GetComponent(i))) package->SetBuiltIn(true);
  }
  if (OnAddDefaultPackages) OnAddDefaultPackages(*this);
}

// ---- Clear and reset

void TInferenceEngine::Clear() {
  halt_ = false;
  factIdCounter_ = 0;
  ruleIdCounter_ = 0;
  const TFreeHold hold(*this);
  focusStack_->Clear();
  for (int i = modules_->GetCount() - 1; i >= 0; --i) {
    if (i >= modules_->GetCount()) continue;  // a handler removed more
    const IModule module = modules_->Get(i);
    if (!module->IsMain()) RemoveModule(module);
  }
  if (modules_->IsEmpty()) AddMainModule();
  PushFocus(modules_->Get(0));
  Clear(IModule(currentModule_));
  std::vector<std::string> interpreted;
  for (int i = 0; i < userFunctions_->GetCount(); ++i) {
    if (dynamic_cast<const TInterpretedFunction*>(userFunctions_->GetValue(i).Get()) == nullptr) continue;
    interpreted.push_back(userFunctions_->GetKey(i).ToString());
  }
  for (const std::string& name : interpreted) {
    Ref<IUserFunction> removed;
    userFunctions_->Remove(name, removed);
  }
  storage_->Clear();
  ioStreams_->Clear();
  if (OnClear) OnClear(*this);
}

void TInferenceEngine::Clear(const IModule& module) {
  RequireModule(module);
  halt_ = false;
  const IModule target = module;
  const TFreeHold hold(*this);
  const TFocusScope focus(*this, target.Get());
  agenda_->Clear();
  rete_->Clear();
  rules_->Clear();
  factSets_->Clear();
  facts_->Clear();
  factTemplates_->Clear();
  definedTypes_->Clear();
  nullFact_ = nullptr;
  factsPending_->clear();
  initialFactPattern_ = nullptr;
  target->SetInitialFactPattern(nullptr);
  // One that is about to go needs nothing to start from.
  if (!IsDestroying() && leavingModule_ != target.Get()) {
    ShareInitialTemplate(*target);
    nullFact_ = MakeRef<TFact>(CreateFactTemplate(SNullFact));
    target->ImportEngine();
  }
  if (OnClearModule) OnClearModule(*this, target);
}

void TInferenceEngine::SetExpertSystem(std::string_view text) {
  Clear();
  const TStreamScope scope(*this, NewTokenizer(text, nullptr));
  parser_->Parse(true);
  Reset();
}

void TInferenceEngine::ClearFacts(const IModule& module) {
  RequireModule(module);
  const TFocusScope focus(*this, module.Get());
  facts_->Clear();
}

void TInferenceEngine::Reset() {
  RequireFocus();
  const TFreeHold hold(*this);
  factIdCounter_ = 0;
  while (PopFocus()) {
  }
  PushFocus(modules_->Get(0));
  for (int i = 0; i < modules_->GetCount(); ++i) ClearFacts(modules_->Get(i));
  for (int i = 0; i < modules_->GetCount(); ++i) Reset(modules_->Get(i));
  const IModule current = currentModule_;
  if (current != modules_->Get(0)) SetCurrentModule(modules_->Get(0));
  AssertInitialFact();
  if (current != currentModule_) SetCurrentModule(current);
  if (resetGlobals_) {
    for (int i = 0; i < globalVariables_->GetCount(); ++i) {
      ResetGlobalVariable(globalVariables_->GetKey(i), globalVariables_->GetValue(i));
    }
  }
  if (OnReset) OnReset(*this);
}

void TInferenceEngine::Reset(const IModule& module) {
  RequireModule(module);
  const TFreeHold hold(*this);
  const IModule saved = currentModule_;
  if (saved != module) SetCurrentModule(module);
  TDelayedError error;
  error.Run([this] {
    for (int i = 0; i < rules_->GetCount(); ++i) rules_->GetValue(i)->Reset();
    // A handler may remove or redefine some.
    std::vector<TFactSet*> sets;
    for (int i = 0; i < factSets_->GetCount(); ++i) sets.push_back(&factSets_->Get(i));
    for (TFactSet* set : sets) {
      if (factSets_->IndexOf(set) >= 0) set->Reset();
    }
  });
  // A handler may have removed the module.
  if (saved && modules_->IndexOf(saved.Get()) >= 0) SetCurrentModule(saved);
  error.Rethrow();
}

void TInferenceEngine::ResetGlobalVariable(std::string_view name, const IKBValue& value) {
  IKBValue result = value;
  if (value && value->Is(dtFunCall)) {
    TKBContext context(globalContext_.get(), this);
    result = value->Resolve(&context);
  }
  globalContext_->AddGlobalBinding(TKBText(name), result);
}

// ---- Settings

void TInferenceEngine::SetPackages(TFunctionPackages value) {
  if (value == packages_) return;
  for (int i = GetComponentCount() - 1; i >= 0; --i) {
    auto* package = dynamic_cast<TUserPackage*>(GetComponent(i));
    // A component stream has made the host's packages before it sets the properties of the engine.
    if (package != nullptr && (package->IsBuiltIn() || !IsLoading())) delete package;
  }
  packages_ = value;
  AddDefaultPackages();
}

void TInferenceEngine::SetTypeChecks(TTypeChecks value) {
  if (value == typeChecks_) return;
  typeChecks_ = value;
  parser_->SetStaticTypeChecks(value.Has(tcStatic));
}

void TInferenceEngine::SetParserErrorHandling(TErrorHandling value) {
  parserErrorHandling_ = value;
  parser_->SetErrorHandling(value);
}

void TInferenceEngine::SetParserMaxErrors(int value) {
  parserMaxErrors_ = value;
  parser_->SetMaxErrors(value);
}

void TInferenceEngine::SetFactDuplication(bool value) {
  if (value == factDuplication_) return;
  RequireFocus();
  factDuplication_ = value;
  facts_->SetCacheHashCodes(!value);
}

void TInferenceEngine::SetFuzzyEqualsThreshold(float value) {
  fuzzyEqualsThreshold_ = std::isnan(value) ? 0.0F : std::clamp(value, 0.0F, 1.0F);
  for (int i = 0; i < modules_->GetCount(); ++i) {
    const TKBDefinedTypes& types = *modules_->Get(i)->GetDefinedTypes();
    for (int k = 0; k < types.GetCount(); ++k) {
      if (const Ref<IFuzzyVariable>& variable = types.GetValue(k)->GetFuzzyType()) {
        variable->SetThreshold(static_cast<double>(fuzzyEqualsThreshold_));
      }
    }
  }
}

void TInferenceEngine::SetMinActivationStrength(float value) {
  RequireFocus();
  minActivationStrength_ = std::isnan(value) ? 0.0F : std::clamp(value, 0.0F, 1.0F);
  rete_->SetMinActivationStrength(minActivationStrength_);
}

void TInferenceEngine::SetSymbolIndex(int32_t value) noexcept {
  if (value > symbolIndex_) {
    symbolIndex_ = value;
  } else {
    static_cast<void>(Advance(symbolIndex_));
  }
}

std::string TInferenceEngine::GenerateSymbol(std::string_view prefix) {
  std::string result(prefix);
  result += std::to_string(Advance(symbolIndex_));
  return result;
}

void TInferenceEngine::SetStrategy(TSearchStrategy value) {
  if (value == strategy_) return;
  RequireFocus();
  strategy_ = value;
  RebuildAgenda();
}

void TInferenceEngine::Lock() {
  lock_.lock();
  lockOwner_ = std::this_thread::get_id();
  ++lockDepth_;
}

void TInferenceEngine::Unlock() {
  if (lockOwner_.load() != std::this_thread::get_id()) throw EKBException(TKBMessage::NotLocked);
  if (--lockDepth_ == 0) lockOwner_ = std::thread::id();
  lock_.unlock();
}

void TInferenceEngine::SetParserFactory(TParserFactory factory) {
  if (!factory) return;
  if (parses_ > 0) throw EKBException(TKBMessage::ParserBusy);
  auto parser = factory(*this);
  if (parser == nullptr) return;
  parserFactory_ = std::move(factory);
  parser->SetErrorHandling(parserErrorHandling_);
  parser->SetMaxErrors(parserMaxErrors_);
  parser->SetStaticTypeChecks(typeChecks_.Has(tcStatic));
  parser_ = std::move(parser);
}

void TInferenceEngine::SetTokenizerFactory(TTokenizerFactory factory) {
  if (!factory) return;
  tokenizerFactory_ = std::move(factory);
  // A text that is being read keeps its tokenizer.
  if (parses_ == 0) parser_->SetStream(nullptr);
}

}  // namespace kb
