// Facts, joins, modifying and function calls: the work is linear in the size, and so should be the time.

#include <algorithm>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "bench/Measure.h"
#include "kb/engine/InferenceEngine.h"

namespace kb::bench {
namespace {

constexpr std::string_view kOrders = "(deftemplate order (slot number) (slot customer) (slot weight) (slot state))";

// Four slots: an integer, one of a thousand symbols, a float and one of three symbols.
class TOrders {
 public:
  explicit TOrders(TInferenceEngine& engine) : engine_(engine) {
    engine_.Parse(kOrders, false);
    engine_.Reset();
    order_ = engine_.FindFactTemplate("order");
    for (int i = 0; i < 1000; ++i) customers_.push_back(MakeAtom("customer-" + std::to_string(i)));
    for (const char* state : {"new", "packed", "sent"}) states_.push_back(MakeAtom(state));
  }

  int32_t Assert(size_t number) {
    const IFact fact = order_->NewFact();
    fact->SetValue("number", MakeInteger(static_cast<int32_t>(number)));
    fact->SetValue("customer", customers_[number * 7 % customers_.size()]);
    fact->SetValue("weight", MakeFloat(static_cast<double>(number) * 0.25));
    fact->SetValue("state", states_[number % states_.size()]);
    return engine_.Assert(fact);
  }

 private:
  TInferenceEngine& engine_;
  TFactTemplate* order_ = nullptr;
  std::vector<IKBValue> customers_;
  std::vector<IKBValue> states_;
};

TOutcome AssertFacts(size_t size, TStopWatch& watch) {
  TInferenceEngine engine;
  TOrders orders(engine);
  const double before = MemoryInUse();
  watch.Start();
  for (size_t i = 0; i < size; ++i) orders.Assert(i);
  watch.Stop();
  return {static_cast<double>(size), MemoryInUse() - before, {}};
}

TOutcome RetractFacts(size_t size, bool shuffled, TStopWatch& watch) {
  TInferenceEngine engine;
  TOrders orders(engine);
  std::vector<int32_t> ids;
  for (size_t i = 0; i < size; ++i) ids.push_back(orders.Assert(i));
  if (shuffled) std::shuffle(ids.begin(), ids.end(), std::mt19937(1));
  watch.Start();
  for (const int32_t id : ids) engine.Retract(id);
  watch.Stop();
  return {static_cast<double>(size), 0, {}};
}

void Expect(bool holds, std::string_view what) {
  if (!holds) throw std::logic_error("the measured program went wrong: " + std::string(what));
}

// Facts (NAME (key i)) for i below `size`.
class TKeys {
 public:
  explicit TKeys(TInferenceEngine& engine) : engine_(engine) {}
  int32_t Assert(std::string_view name, size_t key) {
    const IFact fact = engine_.FindFactTemplate(name)->NewFact();
    fact->SetValue("key", MakeInteger(static_cast<int32_t>(key)));
    return engine_.Assert(fact);
  }

 private:
  TInferenceEngine& engine_;
};

constexpr std::string_view kPairs = "(deftemplate a (slot key)) (deftemplate b (slot key))";

TOutcome EqualityJoin(size_t size, TStopWatch& watch) {
  TInferenceEngine engine;
  engine.Parse(std::string(kPairs) + "(defrule pair (a (key ?k)) (b (key ?k)) =>)", false);
  engine.Reset();
  TKeys keys(engine);
  watch.Start();
  for (size_t i = 0; i < size; ++i) keys.Assert("a", i);
  for (size_t i = size; i > 0; --i) keys.Assert("b", i - 1);
  Expect(engine.Run() == static_cast<int32_t>(size), "each key joins once");
  watch.Stop();
  return {static_cast<double>(size), 0, "pairs joined and fired"};
}

TOutcome NegatedJoin(size_t size, TStopWatch& watch) {
  TInferenceEngine engine;
  engine.Parse(std::string(kPairs) + "(defrule alone (a (key ?k)) (not (b (key ?k))) =>)", false);
  engine.Reset();
  TKeys keys(engine);
  std::vector<int32_t> ids;
  watch.Start();
  for (size_t i = 0; i < size; ++i) keys.Assert("a", i);
  for (size_t i = 0; i < size; ++i) ids.push_back(keys.Assert("b", i));
  Expect(engine.GetAgendaCount() == 0, "each fact is blocked");
  for (const int32_t id : ids) engine.Retract(id);
  Expect(engine.GetAgendaCount() == static_cast<int>(size), "each fact is free again");
  watch.Stop();
  return {static_cast<double>(size), 0, "blocked and freed"};
}

TOutcome ModifyOneFact(size_t size, TStopWatch& watch) {
  TInferenceEngine engine;
  engine.Parse(
      "(deftemplate counter (slot count (default 0)) (slot last (default 0)) (slot name (default x)))"
      "(deftemplate limit (slot value))"
      "(defrule count (limit (value ?l)) ?c <- (counter (count ?n&:(< ?n ?l))) => (modify ?c (count (+ ?n "
      "1))))",
      false);
  engine.Reset();
  engine.Assert("(limit (value " + std::to_string(size) + "))");
  engine.Assert("(counter)");
  watch.Start();
  Expect(engine.Run() == static_cast<int32_t>(size), "each count fires once");
  watch.Stop();
  return {static_cast<double>(size), 0, "one fact, one firing for each"};
}

TOutcome CallFunctions(size_t size, TStopWatch& watch) {
  TInferenceEngine engine;
  engine.Parse(
      "(deffunction step (?i ?sum) (if (= (mod ?i 3) 0) then (+ ?sum 1) else ?sum))"
      "(deffunction work (?n) (bind ?i 0) (bind ?sum 0)"
      "  (while (< ?i ?n) do (bind ?i (+ ?i 1)) (bind ?sum (step ?i ?sum))) ?sum)",
      false);
  const std::string call = "(work " + std::to_string(size) + ")";
  watch.Start();
  const IKBValue sum = engine.ParseNExecuteFunCall(call);
  watch.Stop();
  Expect(sum->GetAsInteger() == static_cast<int32_t>(size / 3), "every third is counted");
  return {static_cast<double>(size), 0, "a deffunction with four calls in it"};
}

}  // namespace

void AddProgramMeasurements(std::vector<TMeasurement>& list) {
  const std::vector<size_t> large = {125'000, 250'000, 500'000, 1'000'000};
  const std::vector<size_t> middle = {12'500, 25'000, 50'000, 100'000};
  list.push_back({"assert four-slot facts", "facts", large, AssertFacts});
  for (const bool shuffled : {false, true}) {
    list.push_back({std::string("retract four-slot facts, ") + (shuffled ? "in random order" : "oldest first"), "facts",
                    large, [shuffled](size_t size, TStopWatch& watch) { return RetractFacts(size, shuffled, watch); }});
  }
  list.push_back({"equality join of N by N", "pairs", middle, EqualityJoin});
  list.push_back({"negated join of N by N", "facts", middle, NegatedJoin});
  list.push_back({"modify one fact", "firings", {37'500, 75'000, 150'000, 300'000}, ModifyOneFact});
  list.push_back({"calls in a loop", "rounds", large, CallFunctions});
}

}  // namespace kb::bench
