// A fuzzy controller: two inputs, nine rules, one output. One unit of work is a whole cycle: the inputs are asserted,
// the rules run, the output is turned into a number, and all facts are retracted.
#include <stdexcept>
#include <string>

#include "bench/Measure.h"
#include "kb/engine/InferenceEngine.h"

namespace kb::bench {
namespace {

constexpr const char* kFuzzyController =
    "(deftype error extends (type FUZZY) (range -10 10)"
    "  (values (term negative ((-10 1) (0 0))) (term zero (tri -10 0 10)) (term positive ((0 0) (10 1)))))"
    "(deftype rate extends (type FUZZY) (range -5 5)"
    "  (values (term falling ((-5 1) (0 0))) (term steady (tri -5 0 5)) (term rising ((0 0) (5 1)))))"
    "(deftype power extends (type FUZZY) (range 0 100)"
    "  (values (term off (tri -25 0 25)) (term less (tri 0 25 50)) (term same (tri 25 50 75))"
    "          (term more (tri 50 75 100)) (term full (tri 75 100 125))))"
    "(deftemplate input (slot error (type error)) (slot rate (type rate)))"
    "(deftemplate output (slot power (type power)))"
    "(defrule r0 (input (error negative) (rate falling)) => (assert (output (power off))))"
    "(defrule r1 (input (error negative) (rate steady)) => (assert (output (power off))))"
    "(defrule r2 (input (error negative) (rate rising)) => (assert (output (power less))))"
    "(defrule r3 (input (error zero) (rate falling)) => (assert (output (power less))))"
    "(defrule r4 (input (error zero) (rate steady)) => (assert (output (power same))))"
    "(defrule r5 (input (error zero) (rate rising)) => (assert (output (power more))))"
    "(defrule r6 (input (error positive) (rate falling)) => (assert (output (power more))))"
    "(defrule r7 (input (error positive) (rate steady)) => (assert (output (power full))))"
    "(defrule r8 (input (error positive) (rate rising)) => (assert (output (power full))))";

TOutcome FuzzyController(size_t cycles, TStopWatch& watch) {
  TInferenceEngine engine;
  engine.Parse(kFuzzyController, false);
  const IFactTemplate input = engine.FindFactTemplate("input");
  double sum = 0;
  watch.Start();
  for (size_t i = 0; i < cycles; ++i) {
    const IFact fact = input->NewFact();
    fact->SetValue("error", MakeFloat(static_cast<double>(i % 17) - 8));
    fact->SetValue("rate", MakeFloat(static_cast<double>(i % 9) - 4));
    engine.Assert(fact);
    engine.Run();
    TFacts& facts = engine.GetFacts();
    sum += facts.Get(facts.GetCount() - 1)->GetValue("power")->GetAsNumeric();
    while (facts.GetCount() > 0) engine.RetractFact(facts.GetCount() - 1);
  }
  watch.Stop();
  if (!(sum > 0)) throw std::logic_error("the controller gives no output");
  return {static_cast<double>(cycles), 0, ""};
}

}  // namespace

void AddFuzzyMeasurements(std::vector<TMeasurement>& list) {
  list.push_back({"fuzzy controller", "cycle", {500, 1000, 2000, 4000}, FuzzyController});
}

}  // namespace kb::bench
