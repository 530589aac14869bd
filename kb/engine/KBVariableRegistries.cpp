// Registries of the engine itself: functions, named values, streams.
#include <vector>

#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/engine/KBRegistries.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBContext.h"

namespace kb {
namespace {

bool IsInterpreted(const Ref<IUserFunction>& function) {
  return dynamic_cast<const TInterpretedFunction*>(function.Get()) != nullptr;
}

}  // namespace

// ---- Functions

TUserFunctions::~TUserFunctions() { Clear(); }

void TUserFunctions::Add(const Ref<IUserFunction>& function) {
  RequireObject(function, "function");
  Put(function->GetFunctionName(), function);
}

void TUserFunctions::CheckName(std::string_view key, const Ref<IUserFunction>& function) {
  RequireObject(function, "function");
  if (key.empty()) throw EKBException(TKBMessage::MissingName);
  if (function->GetFunctionName() == key) return;
  throw EKBException(TKBMessage::FunctionNamesDiffer, {std::string(key), function->GetFunctionName().ToString()});
}

void TUserFunctions::DoAdd(std::string_view key, const Ref<IUserFunction>& value) {
  CheckName(key, value);
  RawAdd(key, value);
  if (IsInterpreted(value)) ++numInterpreted_;
  try {
    value->AddReasoner(engine_);
    engine_->AddFunction(value);
  } catch (...) {
    // Function, package and registry agree again.
    if (IsInterpreted(value)) --numInterpreted_;
    RawRemove(key);
    value->DeleteReasoner(engine_);
    throw;
  }
}

void TUserFunctions::DoSetValue(std::string_view key, const Ref<IUserFunction>& value) {
  const Ref<IUserFunction> old = Get(key);
  if (old == value) return;
  CheckName(key, value);
  switch (engine_->GetDuplicateConstructs()) {
    case dcIgnore:
      return;
    case dcError:
      throw EKBException(TKBMessage::DuplicateFunctions, {std::string(key)});
    default:
      break;
  }
  const std::string name(key);
  const TPlaceScope place(*this, name, OrderOf(name));
  try {
    DoRemove(name);
    DoAdd(name, value);
  } catch (...) {
    TDelayedError error;
    if (!ContainsKey(name)) error.Run([&] { DoAdd(name, old); });
    throw;
  }
}

void TUserFunctions::DoRemove(const std::string& key) {
  const Ref<IUserFunction> function = Get(key);
  RawRemove(key);
  if (IsInterpreted(function)) --numInterpreted_;
  function->DeleteReasoner(engine_);
  engine_->RemoveFunction(function);
}

void TUserFunctions::Remove(std::string_view name, Ref<IUserFunction>& removed) {
  const Ref<IUserFunction>* found = Find(name);
  removed = found == nullptr ? nullptr : *found;
  if (removed) DoRemove(std::string(name));
}

void TUserFunctions::RemoveFunction(const Ref<IUserFunction>& function) {
  RequireObject(function, "function");
  const Ref<IUserFunction>* found = Find(function->GetFunctionName());
  if (found != nullptr && *found == function) DoRemove(function->GetFunctionName().ToString());
}

void TUserFunctions::Clear() {
  std::vector<Ref<IUserFunction>> functions;
  for (int i = 0; i < GetCount(); ++i) functions.push_back(GetValue(i));
  TQDStringHashTable<Ref<IUserFunction>>::Clear();
  numInterpreted_ = 0;
  for (const Ref<IUserFunction>& function : functions) function->DeleteReasoner(engine_);
}

std::string TUserFunctions::GetNamesToString() const {
  std::string text;
  for (int i = 0; i < GetCount(); ++i) {
    if (i > 0) text += kLineEnd;
    text += GetKey(i).View();
  }
  return text;
}

std::string TUserFunctions::ToString() const {
  std::string text;
  for (int i = 0; i < GetCount(); ++i) {
    if (IsInterpreted(GetValue(i))) text += std::string(kLineEnd) + GetValue(i)->ToString(*engine_);
  }
  return text;
}

// ---- Named values

std::string TEngineVariables::ToString() const {
  std::string text;
  for (int i = 0; i < GetCount(); ++i) {
    text += engine_->PrettyPrint(GetKey(i).View(), GetValue(i)) + std::string(kLineEnd);
  }
  return text;
}

void TGlobalVariables::DoAdd(std::string_view key, const IKBValue& value) {
  TEngineVariables::DoAdd(key, value);
  try {
    GetEngine()->ResetGlobalVariable(key, value);
  } catch (...) {
    // A definition whose value cannot be worked out is no definition.
    RawRemove(std::string(key));
    throw;
  }
}

void TGlobalVariables::DoSetValue(std::string_view key, const IKBValue& value) {
  const IKBValue old = Get(key);
  TEngineVariables::DoSetValue(key, value);
  try {
    GetEngine()->ResetGlobalVariable(key, value);
  } catch (...) {
    RawSet(key, old);
    throw;
  }
}

void TGlobalVariables::Clear() {
  TEngineVariables::Clear();
  GetEngine()->GetGlobalContext().Clear();
}

// ---- Streams

void TIOStreams::Add(std::string_view name, std::unique_ptr<TGTextStream> stream) {
  RequireObject(stream, "stream");
  Put(name, stream.get());
  // Under dcIgnore the table keeps the old stream, and the new one goes.
  if (FindStream(name) == stream.get()) (void)stream.release();
}

TGTextStream* TIOStreams::FindStream(std::string_view name) const {
  TGTextStream* const* found = Find(name);
  return found == nullptr ? nullptr : *found;
}

void TIOStreams::Remove(std::string_view name) {
  if (!ContainsKey(name)) throw EKBException(TKBMessage::InvalidStreamName, {std::string(name)});
  DoRemove(std::string(name));
}

void TIOStreams::DoSetValue(std::string_view key, TGTextStream* const& value) {
  if (FindStream(key) == value) return;
  switch (engine_->GetDuplicateConstructs()) {
    case dcIgnore:
      return;
    case dcError:
      throw EKBException(TKBMessage::DuplicateStreams, {std::string(key)});
    default:
      break;
  }
  const std::string name(key);
  DoRemove(name);
  DoAdd(name, value);
}

void TIOStreams::DoRemove(const std::string& key) {
  std::unique_ptr<TGTextStream> stream(FindStream(key));
  RawRemove(key);
  if (!freeStream_) (void)stream.release();
}

void TIOStreams::Clear() {
  std::vector<std::unique_ptr<TGTextStream>> streams;
  for (int i = 0; i < GetCount(); ++i) streams.emplace_back(GetValue(i));
  TQDStringHashTable<TGTextStream*>::Clear();
}

}  // namespace kb
