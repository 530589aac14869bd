#include "kb/platform/Strings.h"
#include "kb/values/KBContext.h"
#include "tests/Program.h"

namespace kb {
namespace {

using kbtest::TEngine;

TEST(FactBase, AnEqualFactIsRefusedWithoutATrace) {
  TInferenceEngine engine;
  int assertions = 0;
  engine.OnAssertion = [&](TInferenceEngine&, const IFact&) { ++assertions; };
  EXPECT_EQ(engine.Assert("(a 1 b)"), 1);
  EXPECT_EQ(engine.Assert("(a 1 b)"), -1);
  EXPECT_EQ(assertions, 1);
  engine.SetFactDuplication(true);
  EXPECT_EQ(engine.Assert("(a 1 b)"), 2);
  engine.SetFactDuplication(false);
  for (const int id : {2, 1}) {
    EXPECT_EQ(engine.Assert("(a 1 b)"), -1);
    engine.Retract(id);
  }
  EXPECT_EQ(engine.Assert("(a 1 b)"), 3);
}

TEST(FactBase, AnObjectStandsInTheListOnce) {
  TEngine engine("(defrule r (a ?) =>)");
  engine.SetFactDuplication(true);
  const IFact fact = engine.ParseFact("(a 1)");
  EXPECT_EQ(engine.Assert(fact), 1);
  EXPECT_EQ(engine.Assert(fact), 2);
  EXPECT_EQ(fact->GetID(), 1);
  EXPECT_EQ(engine.GetAgendaCount(), 2);
  engine.Retract(1);
  engine.Retract(2);
  EXPECT_EQ(engine.GetFacts().GetCount(), 1);
  EXPECT_EQ(engine.GetAgendaCount(), 0);
}

TEST(FactBase, AHandlerMayRetractTheFactThatIsBeingRetracted) {
  TEngine engine("(defrule r (not (a)) =>) (assert (a))");
  engine.OnRetraction = [&](TInferenceEngine& e, const IFact& fact) {
    e.OnRetraction = nullptr;
    e.Retract(fact);
  };
  engine.Retract("(a)");
  EXPECT_EQ(engine.GetFacts().GetCount(), 1);
  EXPECT_EQ(engine.GetAgendaCount(), 1);
  EXPECT_GE(engine.Assert("(a)"), 0);
  EXPECT_EQ(engine.GetAgendaCount(), 0) << "the negation counted one fact, not two";
}

TEST(FactBase, AReplacedEntryLeavesNoTraceInTheIndexOfDuplicates) {
  TEngine engine("(assert (a 1))");
  engine.GetFacts().Put(1, engine.ParseFact("(a 2)"));
  EXPECT_GE(engine.Assert("(a 1)"), 0);
}

TEST(FactBase, LocalFactsGoFromTheLastToTheFirst) {
  TInferenceEngine engine;
  engine.Assert("(a 1)");
  engine.Assert("(a 2)");
  std::string retracted;
  engine.OnRetraction = [&](TInferenceEngine&, const IFact& fact) { retracted += fact->ToString(); };
  TInferenceEngine source;
  source.Assert("(b 1)");
  engine.GetFacts().AssignLocal(source.GetFacts());
  EXPECT_EQ(retracted, "(a 2 )(a 1 )(Initial-Fact)");
  TStringList texts;
  texts.Assign(engine.GetFacts());
  EXPECT_EQ(texts.GetText(), "(Initial-Fact)\r\n(b 1 )\r\n");
  class TNoTarget : public TPersistent {};
  EXPECT_THROW(TNoTarget().Assign(engine.GetFacts()), EConvertError);
}

TEST(FactBase, EventsComeInTheirOrderAndHandlersMayAssert) {
  TEngine engine("(defrule r (a ?) =>)");
  std::string events;
  engine.OnAddActivation = [&](TInferenceEngine&, int, TActivation&) { events += "activation "; };
  engine.OnAssertion = [&](TInferenceEngine& e, const IFact& fact) {
    events += "asserted " + fact->ToString();
    if (fact->ToString() != "(a 1 )") return;
    EXPECT_GT(e.Assert("(b 1)"), fact->GetID());
  };
  engine.Assert("(a 1)");
  EXPECT_EQ(events, "activation asserted (a 1 )asserted (b 1 )");
}

TEST(FactBase, ChangesOfTheListFromOutsideAreRequestsButAClearTellsNoRetraction) {
  TEngine engine("(defrule r (a ?) =>)");
  std::string events;
  engine.OnRetraction = [&](TInferenceEngine& e, const IFact&) { events += e.IsModifyingFact() ? "r+" : "r"; };
  engine.OnAssertion = [&](TInferenceEngine& e, const IFact&) { events += e.IsModifyingFact() ? "a+" : "a"; };
  engine.OnClearFacts = [&](TInferenceEngine&) { events += "c"; };
  engine.GetFacts().Add(engine.ParseFact("(a 1)"));
  engine.GetFacts().Delete(0);
  EXPECT_EQ(engine.GetFacts().Remove(engine.GetFacts().Get(0)), 0);
  EXPECT_EQ(events, "arr");
  engine.Do("(deftemplate p (slot n)) (assert (p (n 1)) (a 2)) (modify 2 (n 2))");
  EXPECT_EQ(events, "arraar+a+") << "the flag stands through the events of a modification";
  EXPECT_FALSE(engine.IsModifyingFact());
  engine.GetFacts().Clear();
  EXPECT_EQ(events, "arraar+a+c");
  EXPECT_EQ(engine.GetAgendaCount(), 0);
  EXPECT_EQ(engine.GetFactIdCounter(), 5);
}

TEST(FactBase, PreserveIDsKeepsTheIdAndLaterFactsGetHigherOnes) {
  TInferenceEngine engine;
  engine.GetFacts().SetPreserveIDs(true);
  const IFact fact = engine.ParseFact("(a 1)");
  fact->SetID(100);
  engine.GetFacts().Add(fact);
  EXPECT_EQ(engine.GetFacts().GetFactByID(100), fact.Get());
  EXPECT_EQ(engine.Assert("(a 2)"), 101);
  const IFact low = engine.ParseFact("(a 3)");
  low->SetID(50);
  engine.GetFacts().Add(low);
  EXPECT_EQ(engine.GetFacts().FindFact(50), 1);
  EXPECT_EQ(engine.GetFacts().FindFact(101), 3);
}

TEST(FactBase, APreservedIdDoesNotLeadToIdsInUse) {
  TEngine engine("(assert (n 1) (n 2) (n 3) (n 4) (n 5) (n 6) (n 7) (n 8) (n 9)) (retract 4)");
  engine.GetFacts().SetPreserveIDs(true);
  const auto withId = [&engine](const char* text, int32_t id) {
    const IFact fact = engine.ParseFact(text);
    fact->SetID(id);
    return fact;
  };
  int32_t follower = -1;
  engine.OnAssertion = [&](TInferenceEngine& e, const IFact&) {
    e.OnAssertion = nullptr;
    follower = e.Assert("(b)");
    throw EConvertError("stop");
  };
  EXPECT_THROW(engine.GetFacts().Add(withId("(a)", 4)), EConvertError);
  EXPECT_EQ(engine.GetFacts().FindFact(4), 4);
  EXPECT_EQ(follower, 10);
  EXPECT_EQ(engine.Assert("(c)"), 11);
  const IFact bad = withId("(d)", 2147483647);
  engine.GetFacts().Add(bad);
  EXPECT_EQ(bad->GetID(), 12) << "nothing could follow the highest number";
  // A duplicate takes no id, and the numbers go on as they were.
  engine.GetFacts().Add(withId("(c)", 1000));
  EXPECT_EQ(engine.GetFacts().FindFact(1000), -1);
}

TEST(FactBase, PendingFactsRunBetweenTheNetworkPassAndTheEvent) {
  TInferenceEngine engine;
  std::string events;
  engine.OnAssertion = [&](TInferenceEngine&, const IFact& fact) { events += fact->GetToIDString() + ";"; };
  engine.AddPendingFact(engine.ParseFact("(later)"), true);
  engine.AddPendingFact(engine.GetFacts().Get(0), false);
  EXPECT_EQ(engine.GetFactPending(0)->ToString(), "(later)");
  engine.Assert("(now)");
  EXPECT_EQ(events, "f-2 (later);f-1 (now);");
  EXPECT_EQ(engine.GetFacts().GetFactByID(0), nullptr);
}

}  // namespace
}  // namespace kb
