#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kb/engine/InferenceEngine.h"
#include "kb/matching/ReteNetwork.h"

namespace kb {
namespace {

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
  EXPECT_EQ(engine.Assert("(a 1 b)"), -1);
  engine.Retract(2);
  EXPECT_EQ(engine.Assert("(a 1 b)"), -1);
  engine.Retract(1);
  EXPECT_EQ(engine.Assert("(a 1 b)"), 3);
}

TEST(FactBase, FactsThatOnlyReadAlikeWhenJoinedAreDifferent) {
  TInferenceEngine engine;
  engine.Parse("(deftemplate p (slot x) (slot y))", true);
  EXPECT_GE(engine.Assert("(p (x 1) (y 12))"), 0);
  EXPECT_GE(engine.Assert("(p (x 11) (y 2))"), 0);
  EXPECT_EQ(engine.Assert("(p (x 11) (y 2))"), -1);
  EXPECT_GE(engine.Assert("(p (x \"11\") (y 2))"), 0);
}

TEST(FactBase, RetractingWhatIsNotThereIsNoError) {
  TInferenceEngine engine;
  engine.Retract(99);
  engine.Retract("(nothing)");
  EXPECT_EQ(engine.GetFacts().GetCount(), 1);
  EXPECT_THROW(engine.RetractFact(7), EListError);
  EXPECT_THROW(engine.RetractFact(-1), EListError);
  EXPECT_THROW(engine.Assert(IFact()), EKBException);
}

TEST(FactBase, EventsComeInTheirOrderAndHandlersMayAssert) {
  TInferenceEngine engine;
  engine.Parse("(defrule r (a ?) =>)", true);
  std::vector<std::string> events;
  engine.OnAddActivation = [&](TInferenceEngine&, int, TActivation&) { events.emplace_back("activation"); };
  engine.OnAssertion = [&](TInferenceEngine& e, const IFact& fact) {
    events.push_back("asserted " + fact->ToString());
    if (fact->ToString() != "(a 1 )") return;
    EXPECT_GT(e.Assert("(b 1)"), fact->GetID());
  };
  engine.Assert("(a 1)");
  EXPECT_EQ(events, (std::vector<std::string>{"activation", "asserted (a 1 )", "asserted (b 1 )"}));
}

TEST(FactBase, ClearingTheListWithdrawsActivationsWithoutRetractions) {
  TInferenceEngine engine;
  engine.Parse("(defrule r (a ?) =>)", true);
  engine.Assert("(a 1)");
  int cleared = 0;
  int retracted = 0;
  engine.OnClearFacts = [&](TInferenceEngine&) { ++cleared; };
  engine.OnRetraction = [&](TInferenceEngine&, const IFact&) { ++retracted; };
  engine.GetFacts().Clear();
  EXPECT_EQ(cleared, 1);
  EXPECT_EQ(retracted, 0);
  EXPECT_EQ(engine.GetAgendaCount(), 0);
  EXPECT_EQ(engine.GetFactIdCounter(), 2);
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

TEST(FactBase, ChangesOfTheListFromOutsideAreRequests) {
  TInferenceEngine engine;
  int retracted = 0;
  engine.OnRetraction = [&](TInferenceEngine&, const IFact&) { ++retracted; };
  engine.GetFacts().Add(engine.ParseFact("(a 1)"));
  engine.GetFacts().Delete(0);
  EXPECT_EQ(retracted, 1);
  EXPECT_EQ(engine.GetFacts().GetCount(), 1);
  EXPECT_EQ(engine.GetFacts().Remove(engine.GetFacts().Get(0)), 0);
  EXPECT_EQ(retracted, 2);
}

TEST(FactBase, PendingFactsRunBetweenTheNetworkPassAndTheEvent) {
  TInferenceEngine engine;
  std::vector<std::string> events;
  engine.OnAssertion = [&](TInferenceEngine&, const IFact& fact) { events.push_back(fact->GetToIDString()); };
  const IFact old = engine.GetFacts().Get(0);
  engine.AddPendingFact(engine.ParseFact("(later)"), true);
  engine.AddPendingFact(old, false);
  EXPECT_EQ(engine.GetFactPending(0)->ToString(), "(later)");
  engine.Assert("(now)");
  EXPECT_EQ(events, (std::vector<std::string>{"f-2 (later)", "f-1 (now)"}));
  EXPECT_EQ(engine.GetFacts().GetFactByID(0), nullptr);
}

}  // namespace
}  // namespace kb
