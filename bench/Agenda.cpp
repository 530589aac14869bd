// Activations at mixed saliences that stand on the agenda while others come and go.

#include <cstdint>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/Measure.h"
#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"

namespace kb::bench {
namespace {

constexpr size_t kKinds = 16;

// A rule of its own salience for each kind of job; several kinds have the same.
class TJobs {
 public:
  explicit TJobs(TInferenceEngine& engine) : engine_(engine) {
    engine_.Parse("(deftemplate job (slot number) (slot kind))", false);
    for (size_t kind = 0; kind < kKinds; ++kind) {
      std::string rule = "(defrule work-#kind (declare (salience #salience)) (job (number ?n) (kind #kind)) =>)";
      rule = ReplaceAll(rule, "#salience", std::to_string(kind * 7 % 11));
      engine_.Parse(ReplaceAll(rule, "#kind", std::to_string(kind)), false);
    }
    engine_.Reset();
    job_ = engine_.FindFactTemplate("job");
  }
  int32_t Add(size_t number) {
    const IFact fact = job_->NewFact();
    fact->SetValue("number", MakeInteger(static_cast<int32_t>(number)));
    fact->SetValue("kind", MakeInteger(static_cast<int32_t>(number % kKinds)));
    return engine_.Assert(fact);
  }

 private:
  TInferenceEngine& engine_;
  TFactTemplate* job_ = nullptr;
};

// Keeps `size` activations standing: removes one at random, adds another, `size` times; then fires them all.
TOutcome ChangeAgenda(size_t size, TSearchStrategy strategy, TStopWatch& watch) {
  TInferenceEngine engine;
  engine.SetStrategy(strategy);
  TJobs jobs(engine);
  std::mt19937 random(3);
  std::vector<int32_t> ids;
  watch.Start();
  for (size_t i = 0; i < size; ++i) ids.push_back(jobs.Add(i));
  for (size_t i = 0; i < size; ++i) {
    int32_t& id = ids[random() % size];
    engine.Retract(id);
    id = jobs.Add(size + i);
  }
  const int32_t fired = engine.Run();
  watch.Stop();
  if (fired != static_cast<int32_t>(size)) throw std::logic_error("the agenda lost activations");
  return {static_cast<double>(size), 0, "added, one removed and added, fired"};
}

}  // namespace

void AddAgendaMeasurements(std::vector<TMeasurement>& list) {
  const std::vector<size_t> sizes = {12'500, 25'000, 50'000, 100'000};
  const auto add = [&](const std::string& name, TSearchStrategy strategy) {
    list.push_back({name, "activations", sizes,
                    [strategy](size_t size, TStopWatch& watch) { return ChangeAgenda(size, strategy, watch); }});
  };
  add("agenda of N activations, depth first", ssDepthFirst);
  add("agenda of N activations, breadth first", ssBreadthFirst);
}

}  // namespace kb::bench
