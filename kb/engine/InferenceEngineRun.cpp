// The inference cycle: agenda, focus stack and the run loop.
#include <algorithm>
#include <chrono>
#include <cmath>

#include "kb/common/Helpers.h"
#include "kb/engine/EngineScopes.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/matching/ReteNetwork.h"
#include "kb/values/KBConsts.h"

namespace kb {
namespace {

double Seconds() { return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count(); }

std::string Mean(double value) { return FloatToString(static_cast<double>(static_cast<float>(value))); }

}  // namespace

/// One firing. Firings nest when an action runs the engine; rules removed meanwhile are freed with the
/// outermost one.
class TInferenceEngine::TFiringScope {
 public:
  TFiringScope(TInferenceEngine& engine, const Ref<TActivation>& item)
      : hold_(engine), engine_(engine), saved_(engine.currentAgendaItem_) {
    engine.currentAgendaItem_ = item;
    engine.firing_.push_back(item.Get());
  }
  TFiringScope(const TFiringScope&) = delete;
  TFiringScope& operator=(const TFiringScope&) = delete;
  ~TFiringScope() {
    engine_.currentAgendaItem_ = saved_;
    engine_.firing_.pop_back();
  }

 private:
  const TFreeHold hold_;
  TInferenceEngine& engine_;
  Ref<TActivation> saved_;
};

class TInferenceEngine::TLockScope {
 public:
  explicit TLockScope(TInferenceEngine& engine) : engine_(engine) { engine_.Lock(); }
  TLockScope(const TLockScope&) = delete;
  TLockScope& operator=(const TLockScope&) = delete;
  ~TLockScope() {
    // An action that unlocked too often has done it already.
    if (engine_.lockOwner_.load() == std::this_thread::get_id()) engine_.Unlock();
  }

 private:
  TInferenceEngine& engine_;
};

// ---- Run loop

int32_t TInferenceEngine::Run(int32_t maxRules) {
  RequireFocus();
  BeginInference();
  FollowFocus();
  while (!halt_ && PeekFocus() && statRulesFired_ < maxRules) {
    FireAgenda(maxRules);
    if (NextToFire() < 0) PopFocus();
  }
  const int32_t fired = statRulesFired_;
  EndInference();
  return fired;
}

void TInferenceEngine::BeginInference() {
  if (OnStartInference) OnStartInference(*this);
  statRunTime_ = Seconds();
  statRulesFired_ = 0;
  statMaxFacts_ = facts_->GetCount();
  statMeanFacts_ = 0;
  statMaxActivations_ = agenda_->GetCount();
  statMeanActivations_ = 0;
  halt_ = false;
  isRunning_ = true;
  if (focusStack_->IsEmpty()) PushFocus(modules_->Get(0));
}

// When an action has emptied the stack, the current module stays what it was.
void TInferenceEngine::FollowFocus() {
  const IModule top = PeekFocus();
  if (top && top != currentModule_) SetCurrentModule(top);
}

// Entry 0, but for an action that runs the engine: what fires already stays on the agenda and does not fire again.
int TInferenceEngine::NextToFire() const {
  const int count = GetAgendaCount();
  for (int i = 0; i < count; ++i) {
    const TActivation* activation = agenda_->GetActivation(i).Get();
    if (std::find(firing_.begin(), firing_.end(), activation) == firing_.end()) return i;
  }
  return -1;
}

void TInferenceEngine::FireAgenda(int32_t maxRules) {
  while (NextToFire() >= 0 && !halt_ && statRulesFired_ < maxRules) {
    const TLockScope lock(*this);
    if (const int next = NextToFire(); next >= 0) FireEntry(next);
    if (evalSalience_ == sEveryTime) RebuildAgenda();
    FollowFocus();
  }
}

void TInferenceEngine::FireEntry(int index) {
  const Ref<TActivation> activation = GetActivation(index);
  {
    const TFreeHold hold(*this);
    const TFiringScope scope(*this, activation);
    try {
      if (IsWatched(cwRule)) {
        PrintOut("FIRE " + std::to_string(statRulesFired_) + " " + activation->GetRule()->GetRuleName() + " " +
                 activation->GetToken()->ToFactsString() + std::string(kLineEnd));
      }
      activation->Fire();
    } catch (...) {
      Discard(*activation);
      throw;
    }
    CountStatistics();
  }
  ++statRulesFired_;
}

// A firing that raised has spent its activation all the same: it leaves its terminal and the agenda, with the
// event, as one that went through. What a handler raises here gives way to the exception of the firing.
void TInferenceEngine::Discard(TActivation& activation) noexcept {
  TDelayedError error;
  error.Run([&] { activation.Detach(); });
  error.Run([&] { RemoveActivation(activation); });  // its terminal may have gone before
}

void TInferenceEngine::CountStatistics() {
  if (!watch_.Has(cwStatistics)) return;
  statMeanFacts_ += facts_->GetCount();
  statMaxFacts_ = std::max(statMaxFacts_, facts_->GetCount());
  statMeanActivations_ += GetAgendaCount();
  statMaxActivations_ = std::max(statMaxActivations_, GetAgendaCount());
}

void TInferenceEngine::EndInference() {
  isRunning_ = false;
  if (watch_.Has(cwStatistics)) {
    statRunTime_ = Seconds() - statRunTime_;
    if (statRulesFired_ > 0) {
      statMeanFacts_ /= statRulesFired_;
      statMeanActivations_ /= statRulesFired_;
      if (OnPrintOut) PrintStatistics();
    }
  }
  if (OnEndInference) OnEndInference(*this, statRulesFired_);
}

void TInferenceEngine::PrintStatistics() {
  const std::string end(kLineEnd);
  const std::string fired = std::to_string(statRulesFired_);
  PrintOut(fired + " rules fired.     Run time is " + FloatToString(statRunTime_) + " seconds" + end);
  const std::string rate = statRunTime_ == 0 ? fired : FloatToString(statRulesFired_ / statRunTime_);
  PrintOut(rate + " rules per second" + end);
  PrintOut(Mean(statMeanFacts_) + " mean number of facts (" + std::to_string(statMaxFacts_) + " maximum)" + end);
  PrintOut(Mean(statMeanActivations_) + " mean number of activations (" + std::to_string(statMaxActivations_) +
           " maximum)" + end);
}

// ---- Agenda

void TInferenceEngine::AddActivation(const Ref<TActivation>& activation) {
  RequireObject(activation, "activation");
  RequireObject(activation->GetRule(), "rule");
  RequireFocus();
  TRule& rule = *activation->GetRule();
  rule.EvaluateSalience();
  const bool autoFocus = rule.GetAutoFocus();  // a handler may remove the rule
  const int index = agenda_->Add(activation);
  if (TPatternMatchTerminalNode* node = activation->GetNode()) node->Adopt(*activation);
  if (IsWatched(cwActivation)) PrintOut("==> Activation: " + activation->ToString() + std::string(kLineEnd));
  if (OnAddActivation) OnAddActivation(*this, index, *activation);
  if (autoFocus && PeekFocus()) PushFocus(currentModule_);
}

void TInferenceEngine::RemoveActivation(int index) {
  if (agenda_ == nullptr) return;
  const Ref<TActivation> activation = agenda_->GetActivation(index);
  TDelayedError error;
  error.Run([&] {
    if (OnRemoveActivation) OnRemoveActivation(*this, index, *activation);
    if (!IsWatched(cwActivation)) return;
    PrintOut("<== Activation: " + activation->GetRule()->GetRuleName() + " : " +
             activation->GetToken()->ToFactsString() + std::string(kLineEnd));
  });
  // Its match is gone: a handler that raises does not keep it on the agenda. One that moved it is followed.
  const int present = agenda_ == nullptr ? -1 : agenda_->IndexOfData(activation.Get());
  if (present >= 0 && activation == currentAgendaItem_) {
    agenda_->Extract(present);
  } else if (present >= 0) {
    error.Run([&] { agenda_->Delete(present); });
  }
  error.Rethrow();
}

void TInferenceEngine::RemoveActivation(TActivation& activation) {
  const TPatternMatchTerminalNode* node = activation.GetNode();
  TModule* home = node == nullptr ? nullptr : node->GetRete().GetModule();
  for (int i = 0; node == nullptr && home == nullptr && i < modules_->GetCount(); ++i) {
    const TKBAgenda* agenda = modules_->Get(i)->GetAgenda();
    if (agenda != nullptr && agenda->IndexOfData(&activation) >= 0) home = modules_->Get(i).Get();
  }
  const TFocusScope focus(*this, home != nullptr && home->GetAgenda() != nullptr ? home : nullptr);
  const int index = agenda_ == nullptr ? -1 : agenda_->IndexOfData(&activation);
  if (index >= 0) RemoveActivation(index);
}

void TInferenceEngine::RuleFired(TActivation& activation) {
  const Ref<TActivation> guard(&activation);
  if (OnRuleFired) OnRuleFired(*this, *activation.GetRule());
  RemoveActivation(activation);
}

void TInferenceEngine::SetActivation(int index, const Ref<TActivation>& activation) {
  RequireObject(activation, "activation");
  RequireObject(activation->GetRule(), "rule");
  GetAgenda().SetActivation(index, activation);
}

int TInferenceEngine::SearchSalience(int32_t salience) const {
  const TKBAgenda& agenda = GetAgenda();
  const int count = agenda.GetCount();
  if (count == 0) return -1;
  const auto at = [&agenda](int index) { return agenda.GetActivation(index)->GetRule()->GetSalience(); };
  if (strategy_ == ssDepthFirst) {
    if (at(0) <= salience) return 0;
    if (at(count - 1) > salience) return -1;
  } else {
    if (at(count - 1) >= salience) return -1;
    if (at(0) < salience) return 0;
  }
  int low = 0;
  int high = count - 1;
  while (low <= high) {
    const int middle = low + (high - low) / 2;
    const int32_t found = at(middle);
    if (salience == found) return middle;
    if (salience > found) {
      high = middle - 1;
    } else {
      low = middle + 1;
    }
  }
  return high + 1;
}

// Every entry goes through AddActivation again, as a clone; one that fires now, as itself, since its firing
// still has to find it.
void TInferenceEngine::RebuildAgenda() {
  TKBAgenda& agenda = *agenda_;
  const std::vector<Ref<TActivation>> activations = agenda.Snapshot();
  std::vector<bool> matched;
  for (const Ref<TActivation>& activation : activations) matched.push_back(activation->GetNode() != nullptr);
  const bool saved = agenda.GetFreeData();
  agenda.SetFreeData(false);
  agenda.Clear();
  agenda.SetFreeData(saved);
  TDelayedError error;
  for (size_t i = 0; i < activations.size(); ++i) {
    // A handler may have retracted the facts that it rests on.
    if (matched[i] && activations[i]->GetNode() == nullptr) continue;
    const Ref<TActivation> entry = EntryForRebuild(activations[i]);
    if (!error) error.Run([&] { AddActivation(entry); });
    // No entry is lost to a handler, or to a salience that cannot be worked out.
    const bool wanted = entry->GetNode() != nullptr || !matched[i];
    if (error && wanted && agenda.IndexOfData(entry.Get()) < 0) agenda.Add(entry);
  }
  error.Rethrow();
}

// The terminal follows: the clone takes the place of the original in its list, so that a retraction still
// finds it.
Ref<TActivation> TInferenceEngine::EntryForRebuild(const Ref<TActivation>& activation) {
  if (std::find(firing_.begin(), firing_.end(), activation.Get()) != firing_.end()) return activation;
  Ref<TActivation> clone = activation->Clone();
  if (TPatternMatchTerminalNode* node = activation->GetNode()) node->Replace(*activation, *clone);
  return clone;
}

// ---- Focus

void TInferenceEngine::PushFocus(const IModule& module) {
  RequireModule(module);
  const IModule target = module;
  if (PeekFocus() == target) return;
  focusStack_->Insert(0, target);
  if (IsWatched(cwFocus)) {
    std::string line = "==> Focus " + target->GetName();
    if (focusStack_->GetCount() > 1) line += " from " + focusStack_->Get(1)->GetName();
    PrintOut(line + std::string(kLineEnd));
  }
  if (currentModule_ == target) {
    DoChangeCurrentModule();
  } else {
    SetCurrentModule(target);
  }
  if (OnPushFocus) OnPushFocus(*this, target);
}

void TInferenceEngine::PushFocus(std::string_view name) { PushFocus(IModule(modules_->GetModule(name))); }

IModule TInferenceEngine::PopFocus() {
  if (focusStack_->IsEmpty()) return nullptr;
  const IModule popped = focusStack_->Get(0);
  focusStack_->Delete(0);
  const IModule top = PeekFocus();
  if (top) {
    SetCurrentModule(top);
  } else {
    halt_ = true;
  }
  if (IsWatched(cwFocus)) {
    const std::string line =
        top ? "==> Focus " + popped->GetName() + " to " + top->GetName() : "<== Focus " + popped->GetName();
    PrintOut(line + std::string(kLineEnd));
  }
  if (OnPopFocus) OnPopFocus(*this, popped);
  return popped;
}

IModule TInferenceEngine::PeekFocus() const { return focusStack_->IsEmpty() ? IModule() : focusStack_->Get(0); }

}  // namespace kb
