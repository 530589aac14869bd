// Packages: sets of functions that join and leave reasoners together.
#include <algorithm>

#include "kb/engine/InferenceEngine.h"
#include "kb/functions/KBPackages.h"
#include "kb/platform/ClassRegistry.h"
#include "kb/platform/ComponentStream.h"

namespace kb {

int TCustomReasonerOwner::AddReasoner(IReasoner* reasoner) {
  const auto found = std::find(reasoners_.begin(), reasoners_.end(), reasoner);
  if (reasoner == nullptr) return -1;
  if (found != reasoners_.end()) return static_cast<int>(found - reasoners_.begin());
  if (auto* component = dynamic_cast<TComponent*>(reasoner)) component->FreeNotification(*this);
  reasoners_.push_back(reasoner);
  try {
    ReasonerNotification(reasoner, lnAdded);
  } catch (...) {
    std::erase(reasoners_, reasoner);
    throw;
  }
  return static_cast<int>(reasoners_.size()) - 1;
}

void TCustomReasonerOwner::RemoveReasoner(IReasoner* reasoner) {
  if (std::erase(reasoners_, reasoner) > 0) ReasonerNotification(reasoner, lnRemoved);
}

void TCustomReasonerOwner::ClearReasoners() {
  while (!reasoners_.empty()) RemoveReasoner(reasoners_.front());
}

const TClassInfo& TUserPackage::StaticClass() noexcept {
  static const TClassInfo info{"TUserPackage", &TComponent::StaticClass(), nullptr,
                               [](TComponent* owner) -> TComponent* { return new TUserPackage(owner); }};
  return info;
}

TUserPackage::TUserPackage(TComponent* owner) : TCustomReasonerOwner(owner) {
  AddReasoner(dynamic_cast<IReasoner*>(owner));
}

// What a handler of the removals raises must not pass a destructor.
TUserPackage::~TUserPackage() {
  TDelayedError error;
  while (!GetReasoners().empty()) error.Run([this] { ClearReasoners(); });
  error.Run([this] { ClearFunctions(); });
}

int TUserPackage::AddFunction(const Ref<IUserFunction>& function) {
  const auto found = std::find(functions_.begin(), functions_.end(), function);
  if (found != functions_.end()) return static_cast<int>(found - functions_.begin());
  functions_.push_back(function);
  try {
    FunctionNotification(function, lnAdded);
  } catch (...) {
    std::erase(functions_, function);
    throw;
  }
  return static_cast<int>(functions_.size()) - 1;
}

void TUserPackage::RemoveFunction(const Ref<IUserFunction>& function) {
  const Ref<IUserFunction> held = function;  // the argument may be the entry itself
  if (std::erase(functions_, held) > 0) FunctionNotification(held, lnRemoved);
}

void TUserPackage::ClearFunctions() {
  std::vector<Ref<IUserFunction>> functions;
  functions.swap(functions_);
  TDelayedError error;
  for (const Ref<IUserFunction>& function : functions) error.Run([&] { FunctionNotification(function, lnRemoved); });
  error.Rethrow();
}

int TUserPackage::IndexOf(std::string_view name) const {
  for (size_t i = 0; i < functions_.size(); ++i) {
    if (functions_[i] && functions_[i]->GetFunctionName() == name) return static_cast<int>(i);
  }
  return -1;
}

void TUserPackage::Reset() {
  ClearFunctions();
  CreateFunctions();
}

void TUserPackage::SetEngine(TInferenceEngine* engine) {
  if (engine_ == engine) return;
  if (TInferenceEngine* old = engine_; old != nullptr) {
    if (!IsDesigning()) RemoveReasoner(old);
    // A reasoner that stays on the list is still watched.
    const auto& reasoners = GetReasoners();
    if (std::find(reasoners.begin(), reasoners.end(), old) == reasoners.end()) old->RemoveFreeNotification(*this);
  }
  engine_ = engine;
  if (engine == nullptr) return;
  engine->FreeNotification(*this);
  if (!IsDesigning()) AddReasoner(engine);
}

void TUserPackage::CreateFunctions() {
  if (OnCreateFunctions) OnCreateFunctions(*this);
}

void TUserPackage::Assign(const TPersistent& source) {
  const auto* package = dynamic_cast<const TUserPackage*>(&source);
  if (package == nullptr) return TCustomReasonerOwner::Assign(source);
  if (package == this) return;
  const std::vector<Ref<IUserFunction>> functions = package->functions_;
  ClearFunctions();
  for (const Ref<IUserFunction>& function : functions) AddFunction(function);
}

void TUserPackage::Notification(TComponent& component, TOperation operation) {
  TCustomReasonerOwner::Notification(component, operation);
  if (operation != opRemove) return;
  if (&component == static_cast<TComponent*>(engine_)) SetEngine(nullptr);
  if (auto* reasoner = dynamic_cast<IReasoner*>(&component)) RemoveReasoner(reasoner);
}

// ---- Component streams

namespace {

/// The function as one that a stream can hold, or null.
const TKBUserFunction* StreamableFunction(const Ref<IUserFunction>& function) {
  const auto* candidate = dynamic_cast<const TKBUserFunction*>(function.Get());
  if (candidate == nullptr) return nullptr;
  const TClassInfo& info = candidate->ClassInfo();
  return info.createPersistent != nullptr && FindClass(info.name) == &info ? candidate : nullptr;
}

Ref<IUserFunction> MakeFunction(const std::string& className, TDataReader& data) {
  const TClassInfo* info = FindClass(className);
  if (info == nullptr || info->createPersistent == nullptr) {
    throw EStreamError("the class " + className + " is not known or cannot be made");
  }
  std::unique_ptr<TPersistent> made = info->createPersistent();
  auto* function = dynamic_cast<TKBUserFunction*>(made.get());
  if (function == nullptr) throw EStreamError(className + " is no class of functions");
  (void)made.release();
  Ref<IUserFunction> result(function);
  function->AfterConstruction();
  function->ReadData(data);
  return result;
}

}  // namespace

void TUserPackage::DefineProperties(TFiler& filer) {
  TCustomReasonerOwner::DefineProperties(filer);
  filer.Reference("Engine", engine_,
                  [this](TComponent* component) { SetEngine(dynamic_cast<TInferenceEngine*>(component)); });
  const bool stored =
      std::any_of(functions_.begin(), functions_.end(), [](const auto& f) { return StreamableFunction(f) != nullptr; });
  const auto write = [this] {
    TStreamValue::TList list;
    for (const Ref<IUserFunction>& function : functions_) {
      const TKBUserFunction* streamable = StreamableFunction(function);
      if (streamable == nullptr) continue;
      TStreamValue::TList data{TStreamValue(std::string(streamable->ClassName()))};
      streamable->WriteData(data);
      list.emplace_back(std::move(data));
    }
    return TStreamValue(std::move(list));
  };
  filer.Property("PackageFunctions", stored, write, [this](const TStreamValue& value) { ReadFunctions(value); });
}

void TUserPackage::ReadFunctions(const TStreamValue& stored) {
  ClearFunctions();
  for (const TStreamValue& entry : stored.AsList()) {
    TDataReader data(entry.AsList());
    const std::string className = data.Next().AsText();
    AddFunction(MakeFunction(className, data));
  }
}

void TUserPackage::FunctionNotification(const Ref<IUserFunction>& function, TListNotification action) {
  if (!function) return;
  if (action == lnAdded) {
    AddReasoners(function);
  } else {
    RemoveReasoners(function);
  }
}

void TUserPackage::ReasonerNotification(IReasoner* reasoner, TListNotification action) {
  if (action == lnAdded) return AddFunctions(reasoner);
  if (engine_ != nullptr && reasoner == static_cast<IReasoner*>(engine_)) engine_ = nullptr;
  RemoveFunctions(reasoner);
}

void TUserPackage::AddFunctions(IReasoner* reasoner) {
  const std::vector<Ref<IUserFunction>> functions = functions_;
  for (const Ref<IUserFunction>& function : functions) {
    if (function) function->AddReasoner(reasoner);
  }
}

void TUserPackage::AddReasoners(const Ref<IUserFunction>& function) {
  for (IReasoner* reasoner : std::vector<IReasoner*>(GetReasoners())) function->AddReasoner(reasoner);
}

void TUserPackage::RemoveReasoners(const Ref<IUserFunction>& function) {
  for (IReasoner* reasoner : std::vector<IReasoner*>(GetReasoners())) function->DeleteReasoner(reasoner);
}

void TUserPackage::RemoveFunctions(IReasoner* reasoner) {
  const std::vector<Ref<IUserFunction>> functions = functions_;
  TDelayedError error;
  for (const Ref<IUserFunction>& function : functions) {
    if (function) error.Run([&] { function->DeleteReasoner(reasoner); });
  }
  error.Rethrow();
}

}  // namespace kb
