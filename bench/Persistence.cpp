// Saving and loading: for each hundred facts a rule of their own, on a template of its own, so that the largest size
// has 1 000 rules and 100 000 facts. With one template each fact would meet all rules, and the matching would be
// measured.
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "bench/Measure.h"
#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"

namespace kb::bench {
namespace {

constexpr size_t kFactsPerRule = 100;
// What each sensor has; "#" is its number.
constexpr std::string_view kSensor = R"(
(deftemplate reading# (slot sensor) (slot value) (multislot tags))
(defrule r# "of sensor #"
  (reading# (sensor s#) (value ?v&:(> ?v 1e9)) (tags $?t))
  =>
  (assert (alarm s# ?v ?t)))
)";

void Fill(TInferenceEngine& engine, size_t size) {
  for (size_t i = 0; i < size / kFactsPerRule; ++i) {
    engine.Parse(ReplaceAll(kSensor, "#", std::to_string(i)), true);
  }
  for (size_t i = 0; i < size; ++i) {
    const std::string name = std::to_string(i / kFactsPerRule);
    const IFact fact = engine.FindFactTemplate("reading" + name)->NewFact();
    fact->SetValue("sensor", MakeAtom("s" + name));
    fact->SetValue("value", MakeFloat(static_cast<double>(i) / 7));
    engine.Assert(fact);
  }
}

TOutcome Save(size_t size, TStopWatch& watch) {
  TInferenceEngine engine;
  Fill(engine, size);
  std::ostringstream out;
  watch.Start();
  engine.SaveToStream(out);
  watch.Stop();
  return {static_cast<double>(size), 0, std::to_string(out.str().size() / 1024) + " kB"};
}

TOutcome Load(size_t size, TStopWatch& watch, bool factsOnly) {
  TInferenceEngine source;
  Fill(source, size);
  std::stringstream text;
  TInferenceEngine target;
  if (factsOnly) {
    std::stringstream templates;
    source.SaveFacts(text);
    source.SaveFactTemplates(templates);
    target.LoadFromStream(templates);
  } else {
    source.SaveToStream(text);
  }
  watch.Start();
  if (factsOnly) {
    target.LoadFacts(text);
  } else {
    target.LoadFromStream(text);
  }
  watch.Stop();
  if (target.GetFacts().GetCount() != source.GetFacts().GetCount()) throw std::logic_error("facts got lost");
  return {static_cast<double>(size), 0, {}};
}

}  // namespace

void AddPersistenceMeasurements(std::vector<TMeasurement>& list) {
  const std::vector<size_t> sizes = {12'500, 25'000, 50'000, 100'000};
  list.push_back({"save N facts and N/100 rules", "facts", sizes, Save});
  list.push_back({"load N facts and N/100 rules", "facts", sizes,
                  [](size_t size, TStopWatch& watch) { return Load(size, watch, false); }});
  list.push_back({"load-facts of N facts", "facts", sizes,
                  [](size_t size, TStopWatch& watch) { return Load(size, watch, true); }});
}

}  // namespace kb::bench
