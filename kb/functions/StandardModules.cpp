// Current module and focus stack.
#include "kb/engine/InferenceEngine.h"
#include "kb/functions/FunctionHelpers.h"
#include "kb/functions/StandardFunctions.h"
#include "kb/values/KBModule.h"

namespace kb::standard {
namespace {

IKBValue NameOrFalse(const IModule& module) { return module ? MakeAtom(module->GetName()) : FCFalse; }

}  // namespace

IKBValue GetCurrentModule(TFunctionCall& /*call*/, TKBContext& context) {
  return NameOrFalse(EngineOf(context).GetCurrentModule());
}

IKBValue SetCurrentModule(TFunctionCall& call, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  const IModule module = engine.GetModules().GetModule(TextArgument(call, 0, context).View());
  engine.SetCurrentModule(module);
  return NameOrFalse(engine.GetCurrentModule());
}

IKBValue Focus(TFunctionCall& call, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  // From the last to the first, so that the first name ends on top.
  for (int i = call.GetArgumentCount() - 1; i >= 0; --i) engine.PushFocus(TextArgument(call, i, context).View());
  return FCTrue;
}

IKBValue ClearFocusStack(TFunctionCall& /*call*/, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  engine.GetFocusStack().Clear();
  engine.SetHalt(true);
  return FCNil;
}

IKBValue GetFocus(TFunctionCall& /*call*/, TKBContext& context) { return NameOrFalse(EngineOf(context).PeekFocus()); }

IKBValue GetFocusStack(TFunctionCall& /*call*/, TKBContext& context) {
  const TModules& stack = EngineOf(context).GetFocusStack();
  const auto names = MakeRef<TValueVector>();
  for (int i = 0; i < stack.GetCount(); ++i) names->Add(MakeAtom(stack.Get(i)->GetName()));
  return MakeRef<TKBValue>(names);
}

IKBValue PopFocus(TFunctionCall& /*call*/, TKBContext& context) { return NameOrFalse(EngineOf(context).PopFocus()); }

}  // namespace kb::standard
