// The inference cycle: agenda, focus stack and the run loop.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <mutex>

#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/matching/ReteNetwork.h"
#include "kb/values/KBConsts.h"

namespace kb {
namespace {

double Seconds() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::string Mean(double value) { return FloatToString(static_cast<double>(static_cast<float>(value))); }

}  // namespace

/// One firing. Firings nest when an action runs the engine; rules removed meanwhile are freed with the outermost one.
class TInferenceEngine::TFiringScope {
 public:
  TFiringScope(TInferenceEngine& engine, const Ref<TActivation>& item)
      : engine_(engine), saved_(engine.currentAgendaItem_) {
    engine.currentAgendaItem_ = item;
    engine.firing_.push_back(item.Get());
  }
  TFiringScope(const TFiringScope&) = delete;
  TFiringScope& operator=(const TFiringScope&) = delete;
  ~TFiringScope() {
    engine_.currentAgendaItem_ = saved_;
    engine_.firing_.pop_back();
    if (!engine_.firing_.empty()) return;
    std::vector<TRule*> rules;
    rules.swap(engine_.deferredRules_);
    for (TRule* rule : rules) delete rule;
  }

 private:
  TInferenceEngine& engine_;
  Ref<TActivation> saved_;
};

// --- Run loop -------------------------------------------------------------------------------------------------------

int32_t TInferenceEngine::Run(int32_t maxRules) {
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
    const std::lock_guard lock(lock_);
    if (const int next = NextToFire(); next >= 0) FireEntry(next);
    if (evalSalience_ == sEveryTime) RebuildAgenda();
    FollowFocus();
  }
}

void TInferenceEngine::FireEntry(int index) {
  const Ref<TActivation> activation = GetActivation(index);
  {
    const TFiringScope scope(*this, activation);
    try {
      if (IsWatched(cwRule)) {
        PrintOut("FIRE " + std::to_string(statRulesFired_) + " " + activation->GetRule()->GetRuleName() + " " +
                 activation->GetToken()->ToFactsString() + std::string(kLineEnd));
      }
      activation->Fire();
    } catch (...) {
      // The activation is spent all the same: neither the agenda nor its terminal may name it any more.
      const auto& modules = *modules_;
      for (int i = 0; i < modules.GetCount(); ++i) {
        TKBAgenda* agenda = modules.Get(i)->GetAgenda();
        const int place = agenda == nullptr ? -1 : agenda->IndexOfData(activation.Get());
        if (place >= 0) agenda->Extract(place);
      }
      activation->Detach();
      throw;
    }
    CountStatistics();
  }
  ++statRulesFired_;
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

// --- Agenda ---------------------------------------------------------------------------------------------------------

void TInferenceEngine::AddActivation(const Ref<TActivation>& activation) {
  TRule& rule = *activation->GetRule();
  rule.EvaluateSalience();
  const bool autoFocus = rule.GetAutoFocus();  // a handler may remove the rule
  const int index = agenda_->Add(activation);
  if (IsWatched(cwActivation)) PrintOut("==> Activation: " + activation->ToString() + std::string(kLineEnd));
  if (OnAddActivation) OnAddActivation(*this, index, *activation);
  if (autoFocus && PeekFocus()) PushFocus(currentModule_);
}

void TInferenceEngine::RemoveActivation(int index) {
  if (agenda_ == nullptr) return;
  const Ref<TActivation> activation = agenda_->GetActivation(index);
  if (OnRemoveActivation) OnRemoveActivation(*this, index, *activation);
  if (IsWatched(cwActivation)) {
    PrintOut("<== Activation: " + activation->GetRule()->GetRuleName() + " : " +
             activation->GetToken()->ToFactsString() + std::string(kLineEnd));
  }
  // A handler may have moved it.
  const int present = agenda_->IndexOfData(activation.Get());
  if (present < 0) return;
  if (activation == currentAgendaItem_) {
    agenda_->Extract(present);
  } else {
    agenda_->Delete(present);
  }
}

void TInferenceEngine::RemoveActivation(TActivation& activation) {
  const TPatternMatchTerminalNode* node = activation.GetNode();
  TModule* home = node == nullptr ? nullptr : node->GetRete().GetModule();
  const IModule saved = currentModule_;
  const bool moves = home != nullptr && home != saved.Get() && home->GetAgenda() != nullptr;
  if (moves) home->FocusModule();
  try {
    const int index = agenda_ == nullptr ? -1 : agenda_->IndexOfData(&activation);
    if (index >= 0) RemoveActivation(index);
  } catch (...) {
    if (moves && saved) saved->FocusModule();
    throw;
  }
  if (moves && saved) saved->FocusModule();
}

void TInferenceEngine::RuleFired(TActivation& activation) {
  const Ref<TActivation> guard(&activation);
  if (OnRuleFired) OnRuleFired(*this, *activation.GetRule());
  RemoveActivation(activation);
}

void TInferenceEngine::SetActivation(int index, const Ref<TActivation>& activation) {
  agenda_->SetActivation(index, activation);
}

int TInferenceEngine::SearchSalience(int32_t salience) const {
  const int count = agenda_->GetCount();
  if (count == 0) return -1;
  const auto at = [this](int index) { return agenda_->GetActivation(index)->GetRule()->GetSalience(); };
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

void TInferenceEngine::RebuildAgenda() { SetAgendaFrom(agenda_->Snapshot()); }

// Every entry goes through AddActivation again as a clone. The terminals follow: the clone takes the place of the
// original in their lists, so that a retraction still finds it.
void TInferenceEngine::SetAgendaFrom(const std::vector<Ref<TActivation>>& activations) {
  const bool saved = agenda_->GetFreeData();
  agenda_->SetFreeData(false);
  agenda_->Clear();
  agenda_->SetFreeData(saved);
  for (const Ref<TActivation>& activation : activations) {
    const Ref<TActivation> clone = activation->Clone();
    if (TPatternMatchTerminalNode* node = activation->GetNode()) node->Replace(*activation, *clone);
    if (activation == currentAgendaItem_) currentAgendaItem_ = clone;
    std::replace(firing_.begin(), firing_.end(), static_cast<const TActivation*>(activation.Get()),
                 static_cast<const TActivation*>(clone.Get()));
    AddActivation(clone);
  }
}

// --- Focus ----------------------------------------------------------------------------------------------------------

void TInferenceEngine::PushFocus(const IModule& module) {
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
    const std::string line = top ? "==> Focus " + popped->GetName() + " to " + top->GetName()
                                 : "<== Focus " + popped->GetName();
    PrintOut(line + std::string(kLineEnd));
  }
  if (OnPopFocus) OnPopFocus(*this, popped);
  return popped;
}

IModule TInferenceEngine::PeekFocus() const { return focusStack_->IsEmpty() ? IModule() : focusStack_->Get(0); }

}  // namespace kb
