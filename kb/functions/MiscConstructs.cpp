// Constructs by name: whether there is one, its text, its removal.
#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/functions/FunctionHelpers.h"
#include "kb/functions/MiscFunctions.h"
#include "kb/values/KBConsts.h"

namespace kb::misc {

// ---- Tests

IKBValue IsBinding(TFunctionCall& call, TKBContext& context) {
  return MakeBoolean(context.FindBinding(TextArgument(call, 0, context)) != nullptr);
}

IKBValue IsDefType(TFunctionCall& call, TKBContext& context) {
  return MakeBoolean(EngineOf(context).GetDefinedTypes().ContainsKey(TextArgument(call, 0, context)));
}

IKBValue IsDefFunction(TFunctionCall& call, TKBContext& context) {
  return MakeBoolean(EngineOf(context).GetUserFunctionTable().ContainsKey(TextArgument(call, 0, context)));
}

IKBValue IsDefGlobal(TFunctionCall& call, TKBContext& context) {
  return MakeBoolean(EngineOf(context).GetGlobalVariables().ContainsKey(TextArgument(call, 0, context)));
}

IKBValue IsDefRule(TFunctionCall& call, TKBContext& context) {
  return MakeBoolean(EngineOf(context).GetRules().ContainsKey(TextArgument(call, 0, context)));
}

IKBValue IsDefFacts(TFunctionCall& call, TKBContext& context) {
  return MakeBoolean(EngineOf(context).GetFactSets().IndexOf(TextArgument(call, 0, context).View()) >= 0);
}

IKBValue IsDefTemplate(TFunctionCall& call, TKBContext& context) {
  return MakeBoolean(EngineOf(context).GetFactTemplates().ContainsKey(TextArgument(call, 0, context)));
}

namespace {

// "module::name" or the name of a construct of the current module. "No such module with name=%s exists".
struct TQualifiedName {
  TQualifiedName(TInferenceEngine& engine, std::string_view text) : module(engine.GetCurrentModule()), name(text) {
    const size_t separator = text.find(SModuleSeparator);
    if (separator == std::string_view::npos) return;
    name = text.substr(separator + SModuleSeparator.size());
    if (separator > 0) module = engine.GetModules().GetModule(text.substr(0, separator));
  }
  IModule module;
  std::string name;
};

[[noreturn]] void RaiseUnknownName(std::string_view kind, const TKBText& name) {
  throw EKBException(TKBMessage::UnknownConstructName, {std::string(kind), name.ToString()});
}

// Prints what `textOf` finds under the qualified name; an empty text stands for nothing found.
template <class TextOf>
IKBValue PrintConstruct(const TFunctionCall& call, TKBContext& context, std::string_view kind, const TextOf& textOf) {
  TInferenceEngine& engine = EngineOf(context);
  const TKBText name = TextArgument(call, 0, context);
  std::string text = textOf(engine, TQualifiedName(engine, name.View()));
  if (text.empty()) RaiseUnknownName(kind, name);
  if (!text.ends_with(kLineEnd)) text += kLineEnd;
  engine.PrintOut(text);
  return FCNil;
}

// The text of what a search gave, or nothing.
template <class Found>
std::string TextOrNothing(const Found* found) {
  return found == nullptr ? std::string() : found->ToString();
}

TFactSet* FindFactSet(const TQualifiedName& name) {
  TFactSets& sets = *name.module->GetFactSets();
  const int index = sets.IndexOf(name.name);
  return index < 0 ? nullptr : &sets.Get(index);
}

}  // namespace

// ---- Texts

IKBValue PrintFactSet(TFunctionCall& call, TKBContext& context) {
  return PrintConstruct(call, context, "fact set",
                        [](TInferenceEngine&, const TQualifiedName& name) { return TextOrNothing(FindFactSet(name)); });
}

IKBValue PrintFunction(TFunctionCall& call, TKBContext& context) {
  return PrintConstruct(call, context, "user function", [](TInferenceEngine& engine, const TQualifiedName& name) {
    Ref<IUserFunction> function;
    if (!engine.ContainsUserFunction(name.name, function)) return std::string();
    return function->ToString(engine);
  });
}

IKBValue PrintTemplate(TFunctionCall& call, TKBContext& context) {
  return PrintConstruct(call, context, "fact template", [](TInferenceEngine&, const TQualifiedName& name) {
    return TextOrNothing(name.module->GetFactTemplates()->FindTemplate(name.name));
  });
}

IKBValue PrintRule(TFunctionCall& call, TKBContext& context) {
  return PrintConstruct(call, context, "rule", [](TInferenceEngine&, const TQualifiedName& name) {
    return TextOrNothing(name.module->GetRules()->FindRule(name.name));
  });
}

IKBValue PrintDefType(TFunctionCall& call, TKBContext& context) {
  return PrintConstruct(call, context, "defined type", [](TInferenceEngine&, const TQualifiedName& name) {
    return TextOrNothing(name.module->GetDefinedTypes()->FindType(name.name));
  });
}

IKBValue PrintModule(TFunctionCall& call, TKBContext& context) {
  return PrintConstruct(call, context, "module", [](TInferenceEngine& engine, const TQualifiedName& name) {
    return TextOrNothing(engine.FindModule(name.name).Get());
  });
}

// ---- Removal

IKBValue UndefineRule(TFunctionCall& call, TKBContext& context) {
  const TQualifiedName name(EngineOf(context), TextArgument(call, 0, context).View());
  return MakeBoolean(name.module->GetRules()->Remove(name.name));
}

IKBValue UndefineFactSet(TFunctionCall& call, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  TFactSet* set = FindFactSet(TQualifiedName(engine, TextArgument(call, 0, context).View()));
  if (set == nullptr) return FCFalse;
  const bool owned = set->GetOwner() == &engine;
  set->SetEngine(nullptr);
  if (owned) engine.FreeConstruct(*set);
  return FCTrue;
}

IKBValue UndefineTemplate(TFunctionCall& call, TKBContext& context) {
  const TQualifiedName name(EngineOf(context), TextArgument(call, 0, context).View());
  IFactTemplate removed;
  name.module->GetFactTemplates()->Remove(name.name, removed);
  return MakeBoolean(static_cast<bool>(removed));
}

IKBValue UndefineDefType(TFunctionCall& call, TKBContext& context) {
  const TQualifiedName name(EngineOf(context), TextArgument(call, 0, context).View());
  IKBDefinedType removed;
  name.module->GetDefinedTypes()->Remove(name.name, removed);
  return MakeBoolean(static_cast<bool>(removed));
}

IKBValue UndefineFunction(TFunctionCall& call, TKBContext& context) {
  const TKBText name = TextArgument(call, 0, context);
  // The call does not hold on to the function that goes.
  if (call.GetName() == name) call.ForgetUserFunction();
  Ref<IUserFunction> removed;
  EngineOf(context).GetUserFunctionTable().Remove(name.View(), removed);
  return MakeBoolean(static_cast<bool>(removed));
}

}  // namespace kb::misc
