#include <gtest/gtest.h>

#include "tests/matching/ReferenceMatcher.h"

namespace kbtest {
namespace {

constexpr const char* kModules =
    "(defmodule MAIN (export ?ALL))(deftemplate t0 (slot a) (slot b) (slot c))"
    "(deftemplate t1 (slot a) (slot b) (slot c))(deftemplate t2 (slot a) (slot b) (slot c))"
    "(deftemplate link (slot to))(defmodule OTHER (import MAIN deftemplate t0 t1))";

// One engine under random assertions, retractions, modifications, new and removed rules of two modules, and templates
// that are defined anew; after each step the agendas are what the nested loop finds.
class TRound {
 public:
  explicit TRound(unsigned seed) : reference_(seed) {
    engine_.Do(kModules);
    Main().FocusModule();
  }

  void Play(int steps) {
    for (int i = 0; i < 3; ++i) AddRule();
    for (int step = 0; step < steps && !testing::Test::HasFailure(); ++step) {
      Step();
      Compare();
    }
  }

 private:
  void Step() {
    const int kind = reference_.Draw(14);
    if (kind < 6) {
      AssertFact();
    } else if (kind < 8) {
      if (const kb::IFact fact = AnyFact())
        Log("retract f-" + std::to_string(fact->GetID())), engine_.RetractFact(fact);
    } else if (kind < 10) {
      Modify();
    } else if (kind == 10) {
      AddRule();
    } else if (kind == 11) {
      AssertLink();
    } else if (kind == 12) {
      RedefineTemplate();
    } else if (!rules_.empty()) {
      RemoveRule(reference_.Draw(static_cast<int>(rules_.size())));
    }
  }

  void RemoveRule(int index) {
    const TRandomRule& rule = rules_[static_cast<size_t>(index)];
    Log("remove " + rule.name);
    ModuleOf(rule).GetRules()->Remove(rule.name);
    rules_.erase(rules_.begin() + index);
  }

  // The slots in another order, and sometimes one more: facts and rules stay.
  void RedefineTemplate() {
    const char* slots[] = {"(slot a) (slot b) (slot c)", "(slot c) (slot a) (slot b) (slot d)",
                           "(slot b) (slot c) (slot a)"};
    const std::string text = "(deftemplate MAIN::t" + Digit() + " " + slots[reference_.Draw(3)] + ")";
    Log(text);
    engine_.Do(text);
  }

  void AssertLink() {
    const kb::IFact target = AnyFact();
    if (!target) return;
    const auto fact = kb::MakeRef<kb::TFact>(kb::IFactTemplate(engine_.FindFactTemplate("link")));
    fact->SetValue("to", kb::MakeFactId(target->GetID()));
    Log("link to f-" + std::to_string(target->GetID()));
    engine_.Assert(fact);
  }

  void AddRule() {
    rules_.push_back(reference_.MakeRule(nextRule_++));
    Log(TReference::Text(rules_.back()));
    engine_.Do(TReference::Text(rules_.back()));
    Main().FocusModule();
  }

  void AssertFact() {
    std::string text;
    if (reference_.Draw(5) == 0) {
      text = "(m";
      for (int i = reference_.Draw(4); i >= 0; --i) text += " " + std::to_string(reference_.Draw(3));
      text += ")";
    } else {
      text = "(t" + Digit() + " (a " + Digit() + ") (b " + Digit() + ") (c " + Digit() + "))";
    }
    Log("assert " + text);
    engine_.Assert(text);
  }

  void Modify() {
    const kb::IFact fact = AnyFact();
    if (!fact || fact->GetTemplate()->IsOrdered() || fact->GetTemplate()->GetTemplateName() == "link") return;
    const std::string slot(1, static_cast<char>('a' + reference_.Draw(3)));
    const int value = reference_.Draw(3);
    Log("modify f-" + std::to_string(fact->GetID()) + " " + slot + " " + std::to_string(value));
    engine_.BeginFactModify(fact);
    fact->SetValue(slot, kb::MakeInteger(value));
    engine_.EndFactModify(fact);
  }

  std::string Digit() { return std::to_string(reference_.Draw(3)); }
  kb::IFact AnyFact() {
    const int count = engine_.GetFacts().GetCount();
    return count == 0 ? kb::IFact() : engine_.GetFacts().Get(reference_.Draw(count));
  }
  kb::TModule& Main() { return *engine_.GetModules().Get(0); }
  kb::TModule& ModuleOf(const TRandomRule& rule) { return *engine_.GetModules().Get(rule.ofMain ? 0 : 1); }
  void Log(const std::string& line) { log_ += line + "\n"; }

  void Compare() {
    TMatches expected;
    for (const TRandomRule& rule : rules_) {
      TReference::Match(rule, ModuleOf(rule).GetFacts()->Snapshot(), expected);
    }
    ASSERT_EQ(AgendaMatches(engine_), expected) << log_;
    // One activation each: nothing is on an agenda twice.
    int activations = 0;
    for (int i = 0; i < engine_.GetModules().GetCount(); ++i) {
      activations += engine_.GetModules().Get(i)->GetAgenda()->GetCount();
    }
    ASSERT_EQ(activations, static_cast<int>(expected.size())) << log_;
  }

  TReference reference_;
  TEngine engine_;
  std::vector<TRandomRule> rules_;
  int nextRule_ = 0;
  std::string log_;
};

// Many short rounds for many rules, and some long ones, in which memories grow and shrink.
TEST(ReferenceMatcher, AgendaEqualsTheNestedLoopAfterEveryStep) {
  for (unsigned seed = 1; seed <= 2000 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    TRound(seed).Play(30);
  }
  for (unsigned seed = 5001; seed <= 5100 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    TRound(seed).Play(300);
  }
}

}  // namespace
}  // namespace kbtest
