// Functions that a host writes: as a C++ callable, or as a component with a callback.
#include "kb/engine/InferenceEngine.h"
#include "kb/functions/KBPackages.h"
#include "kb/platform/ComponentStream.h"
#include "kb/values/KBHelperFunctions.h"

namespace kb {
namespace {

constexpr int kMaxArgumentWords = 10;  // length of a generated argument string

}  // namespace

void TCallableFunction::Call(TFunctionCall& call, TKBContext& context, IKBValue& result) {
  TFunctionArguments arguments(call, context);
  result = body_(arguments);
}

void TKBInnerFunction::Call(TFunctionCall& call, TKBContext& context, IKBValue& result) {
  if (owner_ == nullptr) throw EKBException(TKBMessage::FunctionUnassigned, {GetFunctionName().ToString()});
  owner_->Call(call, context, result);
}

const TClassInfo& TCustomUserFunction::StaticClass() noexcept {
  static const TClassInfo info{"TCustomUserFunction", &TComponent::StaticClass(), nullptr,
                               [](TComponent* owner) -> TComponent* { return new TCustomUserFunction(owner); }};
  return info;
}

const TClassInfo& TUserFunction::StaticClass() noexcept {
  static const TClassInfo info{"TUserFunction", &TCustomUserFunction::StaticClass(), nullptr,
                               [](TComponent* owner) -> TComponent* { return new TUserFunction(owner); }};
  return info;
}

TCustomUserFunction::TCustomUserFunction(TComponent* owner)
    : TComponent(owner), inner_(MakeRef<TKBInnerFunction>(this)) {
  inner_->SetFunctionName(GetName());
}

TCustomUserFunction::TCustomUserFunction(TComponent* owner, std::string_view functionName)
    : TCustomUserFunction(owner) {
  SetFunctionName(functionName);
}

TCustomUserFunction::~TCustomUserFunction() {
  // What a handler of the removal raises must not pass a destructor.
  TDelayedError error;
  error.Run([this] { SetEngine(nullptr); });
  inner_->ClearOwner();  // calls that were bound earlier still hold the inner function
}

void TCustomUserFunction::SetFunctionName(std::string_view name) {
  // Without a name there is nothing to register.
  if (engine_ != nullptr && name.empty()) engine_->RemoveUserFunction(inner_);
  inner_->SetFunctionName(name);
  if (engine_ != nullptr && !name.empty() && inner_->IndexOfReasoner(engine_) < 0) engine_->AddUserFunction(inner_);
}

void TCustomUserFunction::SetMinArgumentCount(int value) {
  inner_->SetMinArgumentCount(value);
  RebuildArguments();
}

void TCustomUserFunction::SetMaxArgumentCount(int value) {
  inner_->SetMaxArgumentCount(value);
  RebuildArguments();
}

void TCustomUserFunction::RebuildArguments() {
  SetArgumentString(
      CreateArgumentExpressions(GetArgumentString(), GetMinArgumentCount(), GetMaxArgumentCount(), kMaxArgumentWords));
}

void TCustomUserFunction::SetEngine(TInferenceEngine* engine) {
  if (engine_ == engine) return;
  if (TInferenceEngine* old = engine_; old != nullptr) {
    engine_ = nullptr;
    old->RemoveFreeNotification(*this);
    old->RemoveUserFunction(inner_);
  }
  if (engine == nullptr) return;
  if (!GetFunctionName().Empty()) engine->AddUserFunction(inner_);
  engine_ = engine;
  engine->FreeNotification(*this);
}

void TCustomUserFunction::Call(TFunctionCall& call, TKBContext& context, IKBValue& result) {
  result = FCNil;
  if (!IsDesigning() && OnCall) OnCall(*this, call, context, result);
}

void TCustomUserFunction::Assign(const TPersistent& source) {
  const auto* function = dynamic_cast<const TCustomUserFunction*>(&source);
  if (function == nullptr) return TComponent::Assign(source);
  SetComment(function->GetComment());
  SetFunctionName(function->GetFunctionName().View());
  SetMaxArgumentCount(function->GetMaxArgumentCount());
  SetMinArgumentCount(function->GetMinArgumentCount());
}

// The callback is code, which the host connects again.
void TCustomUserFunction::DefineProperties(TFiler& filer) {
  TComponent::DefineProperties(filer);
  filer.Text("Comment", GetComment(), [this](const std::string& text) { SetComment(text); });
  filer.Integer("MaxArgumentCount", GetMaxArgumentCount(), kUnlimitedArguments, 0, kUnlimitedArguments,
                [this](int64_t count) { SetMaxArgumentCount(static_cast<int>(count)); });
  filer.Integer("MinArgumentCount", GetMinArgumentCount(), 0, 0, kUnlimitedArguments,
                [this](int64_t count) { SetMinArgumentCount(static_cast<int>(count)); });
  filer.Text("ArgumentString", GetArgumentString(), [this](const std::string& text) { SetArgumentString(text); });
  filer.Text("FunctionName", GetFunctionName().ToString(), [this](const std::string& text) { SetFunctionName(text); });
  filer.Reference("Engine", engine_,
                  [this](TComponent* component) { SetEngine(dynamic_cast<TInferenceEngine*>(component)); });
}

void TCustomUserFunction::Notification(TComponent& component, TOperation operation) {
  TComponent::Notification(component, operation);
  if (operation == opRemove && &component == static_cast<TComponent*>(engine_)) SetEngine(nullptr);
}

}  // namespace kb
