#include <gtest/gtest.h>

#include "tests/matching/ReferenceMatcher.h"

namespace kbtest {
namespace {

constexpr const char* kTemplates =
    "(deftemplate t0 (slot a) (slot b) (slot c))"
    "(deftemplate t1 (slot a) (slot b) (slot c))"
    "(deftemplate t2 (slot a) (slot b) (slot c))";

// One engine under random assertions, retractions, modifications, new and removed rules; after each step the agenda is
// what the nested loop finds.
class TRound {
 public:
  explicit TRound(unsigned seed) : reference_(seed) { engine_.Parse(kTemplates, true); }

  void Play(int steps) {
    for (int i = 0; i < 3; ++i) AddRule();
    for (int step = 0; step < steps && !testing::Test::HasFailure(); ++step) {
      Step();
      Compare();
    }
  }

 private:
  void Step() {
    const int kind = reference_.Draw(12);
    if (kind < 6) {
      AssertFact();
    } else if (kind < 8) {
      if (const kb::IFact fact = AnyFact())
        Log("retract f-" + std::to_string(fact->GetID())), engine_.RetractFact(fact);
    } else if (kind < 10) {
      Modify();
    } else if (kind == 10) {
      AddRule();
    } else if (!rules_.empty()) {
      const int index = reference_.Draw(static_cast<int>(rules_.size()));
      Log("remove " + rules_[static_cast<size_t>(index)].name);
      engine_.GetRules().Remove(rules_[static_cast<size_t>(index)].name);
      rules_.erase(rules_.begin() + index);
    }
  }

  void AddRule() {
    rules_.push_back(reference_.MakeRule(nextRule_++));
    Log(TReference::Text(rules_.back()));
    engine_.Parse(TReference::Text(rules_.back()), true);
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
    if (!fact || fact->GetTemplate()->IsOrdered()) return;
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
  void Log(const std::string& line) { log_ += line + "\n"; }

  void Compare() {
    TMatches expected;
    const std::vector<kb::IFact> facts = engine_.GetFacts().Snapshot();
    for (const TRandomRule& rule : rules_) TReference::Match(rule, facts, expected);
    ASSERT_EQ(AgendaMatches(engine_), expected) << log_;
    // One activation each: nothing is on the agenda twice.
    ASSERT_EQ(engine_.GetAgendaCount(), static_cast<int>(expected.size())) << log_;
  }

  TReference reference_;
  kb::TInferenceEngine engine_;
  std::vector<TRandomRule> rules_;
  int nextRule_ = 0;
  std::string log_;
};

TEST(ReferenceMatcher, AgendaEqualsTheNestedLoopAfterEveryStep) {
  for (unsigned seed = 1; seed <= 2000 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    TRound(seed).Play(30);
  }
}

}  // namespace
}  // namespace kbtest
