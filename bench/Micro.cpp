// Single operations, timed one by one.

#include <benchmark/benchmark.h>

#include <string>

#include "kb/engine/InferenceEngine.h"

namespace {

void CompareSymbols(benchmark::State& state) {
  const kb::IKBValue one = kb::MakeAtom("a-symbol-of-some-length");
  const kb::IKBValue two = kb::MakeAtom("a-symbol-of-some-length");
  for (auto _ : state) benchmark::DoNotOptimize(one->Equals(two.Get()));
}
BENCHMARK(CompareSymbols);

void MakeIntegers(benchmark::State& state) {
  int32_t number = 0;
  for (auto _ : state) benchmark::DoNotOptimize(kb::MakeInteger(++number));
}
BENCHMARK(MakeIntegers);

void ReadRule(benchmark::State& state) {
  kb::TInferenceEngine engine;
  const std::string text =
      "(defrule pair (a (key ?k&:(> ?k 10)) (kind x|y)) (not (b (key ?k))) => (assert (c (key ?k) (kind "
      "z))))";
  engine.Parse(
      "(deftemplate a (slot key) (slot kind)) (deftemplate b (slot key)) (deftemplate c (slot key) (slot "
      "kind))",
      false);
  for (auto _ : state) engine.Parse(text, false);
}
BENCHMARK(ReadRule);

// Asserts and retracts a fact that a rule matches: the fact's road through the network, there and back.
void FactThroughNetwork(benchmark::State& state) {
  kb::TInferenceEngine engine;
  engine.Parse("(deftemplate a (slot key)) (defrule r (a (key ?k&:(> ?k 10))) =>)", false);
  engine.Reset();
  const kb::IKBValue key = kb::MakeInteger(11);
  for (auto _ : state) {
    const kb::IFact fact = engine.FindFactTemplate("a")->NewFact();
    fact->SetValue("key", key);
    engine.Retract(engine.Assert(fact));
  }
}
BENCHMARK(FactThroughNetwork);

void EvaluateCall(benchmark::State& state) {
  kb::TInferenceEngine engine;
  const kb::IFunCall call = engine.ParseFunCall("(+ 1 (* 2 3))");
  for (auto _ : state) benchmark::DoNotOptimize(call->Execute(engine.GetGlobalContext()));
}
BENCHMARK(EvaluateCall);

}  // namespace

BENCHMARK_MAIN();
