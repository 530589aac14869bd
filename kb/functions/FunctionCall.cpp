// One call of a function: arguments, lookup and execution.
#include "kb/common/Helpers.h"
#include "kb/functions/KBPackages.h"
#include "kb/language/PrettyPrinter.h"
#include "kb/platform/StackGuard.h"
#include "kb/values/Fact.h"
#include "kb/values/KBHelperFunctions.h"
#include "kb/values/ValueVector.h"

namespace kb {
namespace {

[[noreturn, gnu::noinline]] void RaiseUnassigned(const TKBText& name) {
  throw EKBException(TKBMessage::FunctionUnassigned, {name.ToString()});
}

[[noreturn]] void RaiseNotA(std::string_view kind, std::string value, TKBType type) {
  throw EKBException(TKBMessage::NotAType, {std::string(kind), std::move(value), std::string(GetKBTypeName(type))});
}

}  // namespace

const TClassInfo& TFunctionCall::StaticClass() noexcept {
  static const TClassInfo info{"TFunctionCall", &TPersistent::StaticClass()};
  return info;
}

void TFunctionCall::AddArgument(std::string_view text, TKBType type) {
  if (!KBStringTypes.Has(type)) RaiseNotA("String", std::string(text), type);
  AddArgument(MakeRef<TKBValue>(TKBText(text), type));
}

void TFunctionCall::AddArgument(int32_t value, TKBType type) {
  if (type == dtInteger) return AddArgument(MakeInteger(value));
  if (type == dtFloat) return AddArgument(MakeFloat(value));
  RaiseNotA("Integer", IntegerToString(value), type);
}

void TFunctionCall::AddArgument(double value, TKBType type) {
  if (type == dtFloat) return AddArgument(MakeFloat(value));
  if (type == dtInteger) return AddArgument(MakeInteger(RoundToInt32(value)));
  RaiseNotA("Float", FloatToString(value), type);
}

void TFunctionCall::AddArgument(const IFact& fact) { AddArgument(MakeRef<TKBValue>(fact)); }

void TFunctionCall::AddArgument(const IFunCall& call) { AddArgument(MakeRef<TKBValue>(call)); }

void TFunctionCall::AddArgument(const IValueVector& list) { AddArgument(MakeRef<TKBValue>(list)); }

void TFunctionCall::SetArgument(int index, const IKBValue& value) {
  static_cast<void>(GetArgument(index));
  arguments_[static_cast<size_t>(index)] = value;
}

void TFunctionCall::Delete(int index) {
  static_cast<void>(GetArgument(index));
  arguments_.erase(arguments_.begin() + index);
}

void TFunctionCall::SetUserFunction(const Ref<IUserFunction>& function) {
  if (function_ == function) return;
  function_ = function;
  name_ = function ? function->GetFunctionName() : TKBText();
}

void TFunctionCall::FindFunction() {
  Ref<IUserFunction> found;
  const IReasoner* reasoner = GetReasoner();
  if (reasoner == nullptr || !reasoner->ContainsUserFunction(name_.View(), found)) RaiseUnassigned(name_);
  SetUserFunction(found);
}

IKBValue TFunctionCall::Execute(TKBContext& context) {
  if (!function_) FindFunction();
  return Run(context);
}

IKBValue TFunctionCall::SimpleExecute(TKBContext& context) {
  if (!function_) RaiseUnassigned(name_);
  return Run(context);
}

IKBValue TFunctionCall::Run(TKBContext& context) {
  // Held for the time of the call: the body may bind this call to another function or drop the registry's
  // reference.
  const Ref<IUserFunction> function = function_;
  return RunWithStack([&] { return function->Execute(*this, context); });
}

void TFunctionCall::Assign(const TPersistent& source) {
  const auto* call = dynamic_cast<const TFunctionCall*>(&source);
  if (call == nullptr) return TPersistent::Assign(source);
  if (call == this) return;
  CheckStack();
  if (!(name_ == call->name_)) function_ = nullptr;
  name_ = call->name_;
  comment_ = call->comment_;
  tag_ = call->tag_;
  std::vector<IKBValue> arguments;
  arguments.reserve(call->arguments_.size());
  for (const IKBValue& argument : call->arguments_) {
    arguments.push_back(argument ? argument->Clone() : nullptr);
  }
  arguments_.swap(arguments);
}

IFunCall TFunctionCall::Clone() const {
  IFunCall result = MakeRef<TFunctionCall>(GetReasoner(), name_);
  result->Assign(*this);
  return result;
}

bool TFunctionCall::Equals(const TFunctionCall* other) const {
  if (other == this) return true;
  if (other == nullptr || !(name_ == other->name_) || arguments_.size() != other->arguments_.size()) return false;
  CheckStack();
  for (size_t i = 0; i < arguments_.size(); ++i) {
    const IKBValue& mine = arguments_[i];
    const IKBValue& theirs = other->arguments_[i];
    if (mine == theirs) continue;
    if (!mine || !mine->Equals(theirs.Get())) return false;
  }
  return true;
}

int32_t TFunctionCall::GetHashCode() const {
  CheckStack();
  auto hash = static_cast<uint32_t>(name_.Hash());
  for (const IKBValue& argument : arguments_) {
    if (argument) hash += static_cast<uint32_t>(argument->GetHashCode());
  }
  return static_cast<int32_t>(hash);
}

std::string TFunctionCall::ToString() const {
  IReasoner* reasoner = GetReasoner();
  return reasoner != nullptr ? reasoner->PrettyPrint(*this) : PrettyPrint(*this);
}

}  // namespace kb
