// Functions that drive the engine: run, reset, watches, storage, backward chaining.
#include <array>

#include "kb/engine/InferenceEngine.h"
#include "kb/functions/FunctionHelpers.h"
#include "kb/functions/StandardFunctions.h"
#include "kb/values/FactTemplate.h"

namespace kb::standard {
namespace {

struct TWatchWord {
  std::string_view word;
  TConstructWatches watches;
};
constexpr std::array<TWatchWord, 7> kWatchWords{{{"all", KBAllWatches},
                                                 {"rules", {cwRule}},
                                                 {"facts", {cwFact}},
                                                 {"focus", {cwFocus}},
                                                 {"activations", {cwActivation}},
                                                 {"compilations", {cwCompilation}},
                                                 {"statistics", {cwStatistics}}}};

// The watches of a keyword; raises `unknown` with the text for any other.
TConstructWatches WatchesOf(const TKBText& word, TKBMessage unknown) {
  for (const TWatchWord& entry : kWatchWords) {
    if (word == entry.word) return entry.watches;
  }
  throw EKBException(unknown, {word.ToString()});
}

// Marks the template and makes the template of its goals.
void ChainBackward(TInferenceEngine& engine, const TKBText& name) {
  if (name == STestCE || name == "not") throw EKBException(TKBMessage::CannotBackchain, {name.ToString()});
  const IFactTemplate wanted = engine.CreateFactTemplate(name.View());
  const std::string goalName = std::string(SBackChainPrefix) + name.ToString();
  // Once is enough: a second goal template would take the rules and facts of the first with it.
  if (wanted->IsBackwardChaining() && engine.FindFactTemplate(goalName) != nullptr) return;
  wanted->SetBackwardChaining(true);
  const auto goal = MakeRef<TFactTemplate>(&engine, goalName, "Goal seeker for " + name.ToString(), wanted);
  goal->SetParent(nullptr);
  // A text that was saved brings the template of the goals as well.
  TFactTemplate* present = engine.FindFactTemplate(goalName);
  if (present != nullptr && present->Equals(goal.Get())) {
    present->SetBackwardChaining(goal->IsBackwardChaining());
    return;
  }
  engine.GetFactTemplates().Add(goal);
}

}  // namespace

IKBValue Halt(TFunctionCall& /*call*/, TKBContext& context) {
  EngineOf(context).SetHalt(true);
  return FCTrue;
}

IKBValue Run(TFunctionCall& call, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  if (call.GetArgumentCount() == 0) return MakeInteger(engine.Run());
  return MakeInteger(engine.Run(RawArgument(call, 0)->GetAsInteger()));
}

IKBValue Reset(TFunctionCall& /*call*/, TKBContext& context) {
  EngineOf(context).Reset();
  return FCTrue;
}

IKBValue Clear(TFunctionCall& /*call*/, TKBContext& context) {
  EngineOf(context).Clear();
  return FCTrue;
}

IKBValue Version(TFunctionCall& /*call*/, TKBContext& context) {
  return MakeFloat(static_cast<double>(EngineOf(context).GetVersion()));
}

IKBValue GenSym(TFunctionCall& /*call*/, TKBContext& context) {
  return MakeAtom(EngineOf(context).GenerateSymbol("gen"));
}

IKBValue Watch(TFunctionCall& call, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  const TConstructWatches watches = WatchesOf(TextArgument(call, 0, context), TKBMessage::CannotWatch);
  engine.SetWatch(engine.GetWatch() + watches);
  return FCTrue;
}

IKBValue Unwatch(TFunctionCall& call, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  // The word as written: other than `watch` this evaluates nothing.
  const TConstructWatches watches = WatchesOf(RawArgument(call, 0)->GetAsString(), TKBMessage::CannotUnwatch);
  engine.SetWatch(engine.GetWatch() - watches);
  return FCTrue;
}

IKBValue Store(TFunctionCall& call, TKBContext& context) {
  IKBValue value = call.Evaluate(1, context);
  const TKBText key = TextArgument(call, 0, context);
  EngineOf(context).GetStorage().Put(key.View(), value == FCNil ? IKBValue() : value);
  return value;
}

IKBValue Fetch(TFunctionCall& call, TKBContext& context) {
  const IKBValue* stored = EngineOf(context).GetStorage().Find(RawArgument(call, 0)->GetAsString().View());
  return stored != nullptr && *stored ? *stored : FCNil;
}

IKBValue ClearStorage(TFunctionCall& /*call*/, TKBContext& context) {
  EngineOf(context).GetStorage().Clear();
  return FCNil;
}

IKBValue DoBackwardChaining(TFunctionCall& call, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  for (int i = 0; i < call.GetArgumentCount(); ++i) ChainBackward(engine, TextArgument(call, i, context));
  return FCTrue;
}

}  // namespace kb::standard
