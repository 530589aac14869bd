#include "kb/matching/ActivationAgenda.h"

#include <cmath>

#include "kb/common/Hash.h"
#include "kb/common/Helpers.h"
#include "kb/common/LiveCount.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/language/KBRule.h"
#include "kb/matching/ReteNodes.h"

namespace kb {
namespace {

TLiveCount liveActivations;

}  // namespace

int64_t TActivation::LiveCount() noexcept { return liveActivations.Get(); }

const TClassInfo& TActivation::StaticClass() noexcept {
  static const TClassInfo info{"TActivation", &TPersistent::StaticClass(), nullptr, nullptr};
  return info;
}

TActivation::TActivation(TRule* rule, const IReteToken& token, TPatternMatchTerminalNode* node, float strength) noexcept
    : rule_(rule), token_(token), node_(node) {
  SetStrength(strength);
  liveActivations.Add(1);
}

// What a handler of the removal raises must not pass a destructor.
TActivation::~TActivation() {
  TDelayedError error;
  error.Run([this] { Detach(); });
  liveActivations.Add(-1);
}

void TActivation::SetStrength(float value) noexcept {
  strength_ = std::isnan(value) || value < 0.0F ? 0.0F : (value > 1.0F ? 1.0F : value);
}

void TActivation::Detach() {
  if (node_ != nullptr && IsListed()) node_->Deactivate(*this);
}

Ref<TActivation> TActivation::Clone() const { return MakeRef<TActivation>(rule_, token_, node_, strength_); }

void TActivation::Assign(const TPersistent& source) {
  const auto* other = dynamic_cast<const TActivation*>(&source);
  if (other == nullptr) return TPersistent::Assign(source);
  rule_ = other->rule_;
  token_ = other->token_;
  strength_ = other->strength_;
}

std::string TActivation::ToString() const { return ToString(rule_->GetSalience()); }

std::string TActivation::ToString(int32_t salience) const {
  return std::to_string(salience) + " " + rule_->GetRuleName() + " : " + token_->ToFactsString() + " (" +
         FloatToString(static_cast<double>(strength_)) + ")";
}

TActivationAgenda::~TActivationAgenda() {
  TDelayedError error;
  error.Run([this] { Clear(); });
}

uint32_t TActivationAgenda::HashOf(const TActivation* activation) noexcept {
  const auto address = reinterpret_cast<uintptr_t>(activation) >> 3;
  return MixBits(static_cast<uint32_t>(address) ^ static_cast<uint32_t>(static_cast<uint64_t>(address) >> 32));
}

TActivationAgenda::TEntry* TActivationAgenda::EntryAt(int index) const {
  CheckListIndex(index, GetCount());
  return entries_.At(static_cast<size_t>(index));
}

int TActivationAgenda::Add(const Ref<TActivation>& activation) {
  RequireObject(activation, "activation");
  const int place = FindInsertion(*activation);
  const size_t index = place < 0 ? entries_.Size() : static_cast<size_t>(place);
  auto entry = std::make_unique<TEntry>();
  entry->activation = activation;
  entry->salience = activation->GetRule()->GetSalience();
  entries_.Insert(index, entry.get());
  index_.Insert(HashOf(activation.Get()), entry.release());
  return static_cast<int>(index);
}

const Ref<TActivation>& TActivationAgenda::GetActivation(int index) const { return EntryAt(index)->activation; }

void TActivationAgenda::SetActivation(int index, const Ref<TActivation>& activation) {
  TEntry* entry = EntryAt(index);
  index_.Erase(HashOf(entry->activation.Get()), entry);
  entry->activation = activation;
  index_.Insert(HashOf(activation.Get()), entry);
}

std::string TActivationAgenda::GetText(int index) const {
  const TEntry* entry = EntryAt(index);
  return entry->activation->ToString(entry->salience);
}

int TActivationAgenda::IndexOfData(const TActivation* activation) const noexcept {
  TEntry* entry = index_.Find(HashOf(activation), [&](const TEntry& e) { return e.activation == activation; });
  return entry == nullptr ? -1 : static_cast<int>(entries_.IndexOf(entry, entry->chunk));
}

Ref<TActivation> TActivationAgenda::Extract(int index) {
  const std::unique_ptr<TEntry> entry(EntryAt(index));
  entries_.Erase(static_cast<size_t>(index));
  index_.Erase(HashOf(entry->activation.Get()), entry.get());
  return entry->activation;
}

void TActivationAgenda::Delete(int index) {
  const Ref<TActivation> activation = Extract(index);
  if (freeData_) activation->Detach();
}

void TActivationAgenda::Clear() {
  const std::vector<Ref<TActivation>> old = Snapshot();
  entries_.ForEach([](TEntry* entry) { delete entry; });
  entries_.Clear();
  index_.Clear();
  if (!freeData_) return;
  TDelayedError error;
  for (const Ref<TActivation>& activation : old) error.Run([&] { activation->Detach(); });
  error.Rethrow();
}

std::vector<Ref<TActivation>> TActivationAgenda::Snapshot() const {
  std::vector<Ref<TActivation>> result;
  result.reserve(entries_.Size());
  entries_.ForEach([&](const TEntry* entry) { result.push_back(entry->activation); });
  return result;
}

void TActivationAgenda::Arrange(const std::vector<Ref<TActivation>>& order) {
  for (size_t i = 0; i < order.size(); ++i) {
    const int present = IndexOfData(order[i].Get());
    if (present < 0 || static_cast<size_t>(present) == i) continue;
    TEntry* entry = EntryAt(present);
    entries_.Erase(static_cast<size_t>(present));
    entries_.Insert(i, entry);
  }
}

int TKBAgenda::FindInsertion(const TActivation& activation) const {
  if (engine_ == nullptr || GetCount() == 0) return -1;
  return engine_->SearchSalience(activation.GetRule()->GetSalience());
}

}  // namespace kb
