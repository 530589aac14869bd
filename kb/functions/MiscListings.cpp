// Listings. Each ends with a line of its own that tells how many lines there are.
#include <algorithm>

#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/functions/FunctionHelpers.h"
#include "kb/functions/MiscFunctions.h"

namespace kb::misc {
namespace {

constexpr std::string_view kAllModules = "*";
constexpr std::string_view kTotal = "for a total of ";
constexpr std::string_view kGrandTotal = "For a total of ";

void AddLine(std::string& text, std::string_view line) { text.append(line).append(kLineEnd); }

std::string TotalLine(std::string_view head, int count, std::string_view what) {
  std::string text(head);
  AddLine(text, IntegerToString(count) + std::string(what));
  return text;
}

void SortLines(TStringList& lines) {
  lines.SetCaseSensitive(true);
  lines.Sort();
}

IKBValue PrintList(TInferenceEngine& engine, const TStringList& lines, std::string_view what) {
  engine.PrintOut(lines.GetText() + TotalLine(kTotal, lines.GetCount(), what));
  return FCNil;
}

// Of the current module, of a module given by its name, or with "*" of all, each under its name.
template <class Fill>
IKBValue ListByModule(const TFunctionCall& call, TKBContext& context, std::string_view what, const Fill& fill) {
  TInferenceEngine& engine = EngineOf(context);
  TStringList lines;
  if (call.GetArgumentCount() == 0) {
    fill(*engine.GetCurrentModule(), lines);
    return PrintList(engine, lines, what);
  }
  const TKBText name = TextArgument(call, 0, context);
  if (name != kAllModules) {
    fill(*engine.GetModules().GetModule(name.View()), lines);
    return PrintList(engine, lines, what);
  }
  std::string text;
  int count = 0;
  for (int i = 0; i < engine.GetModules().GetCount(); ++i) {
    const IModule& module = engine.GetModules().Get(i);
    lines.Clear();
    fill(*module, lines);
    AddLine(text, module->GetName() + ":");
    for (int line = 0; line < lines.GetCount(); ++line) AddLine(text, std::string(IndentString) + lines.Get(line));
    count += lines.GetCount();
  }
  engine.PrintOut(text + TotalLine(kTotal, count, what));
  return FCNil;
}

// The sorted names of a table.
template <class Table>
void FillWithNames(const Table& table, TStringList& lines) {
  for (int i = 0; i < table.GetCount(); ++i) lines.Add(table.GetKey(i).View());
  SortLines(lines);
}

}  // namespace

IKBValue ListGlobals(TFunctionCall& /*call*/, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  TStringList lines;
  const TGlobalVariables& globals = engine.GetGlobalVariables();
  for (int i = 0; i < globals.GetCount(); ++i) lines.Add(globals.GetKey(i).View());
  return PrintList(engine, lines, " bindings.");
}

IKBValue ListBindings(TFunctionCall& /*call*/, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  TStringList lines;
  for (const TKBContext* scope = &context; scope != nullptr; scope = scope->GetParent()) {
    const TBindings& bindings = scope->GetBindings();
    for (int i = 0; i < bindings.GetCount(); ++i) lines.Add(bindings.Get(i).GetName().View());
  }
  SortLines(lines);
  return PrintList(engine, lines, " bindings.");
}

IKBValue ListModules(TFunctionCall& /*call*/, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  TStringList lines;
  for (int i = 0; i < engine.GetModules().GetCount(); ++i) lines.Add(engine.GetModules().Get(i)->GetName());
  return PrintList(engine, lines, " defmodules.");
}

IKBValue ListFocusStack(TFunctionCall& /*call*/, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  std::string text;
  const TModules& stack = engine.GetFocusStack();
  for (int i = 0; i < stack.GetCount(); ++i) AddLine(text, stack.Get(i)->GetName());
  engine.PrintOut(text);
  return FCNil;
}

IKBValue ListRules(TFunctionCall& call, TKBContext& context) {
  return ListByModule(call, context, " rules.",
                      [](const TModule& module, TStringList& lines) { FillWithNames(*module.GetRules(), lines); });
}

IKBValue ListDefTypes(TFunctionCall& call, TKBContext& context) {
  return ListByModule(call, context, " deftypes.", [](const TModule& module, TStringList& lines) {
    FillWithNames(*module.GetDefinedTypes(), lines);
  });
}

IKBValue ListFactSets(TFunctionCall& call, TKBContext& context) {
  return ListByModule(call, context, " deffacts.", [](const TModule& module, TStringList& lines) {
    const TFactSets& sets = *module.GetFactSets();
    for (int i = 0; i < sets.GetCount(); ++i) lines.Add(sets.Get(i).GetFactSetName());
    SortLines(lines);
  });
}

IKBValue ListTemplates(TFunctionCall& call, TKBContext& context) {
  return ListByModule(call, context, " deftemplates.", [](const TModule& module, TStringList& lines) {
    FillWithNames(*module.GetFactTemplates(), lines);
  });
}

IKBValue ListFunctions(TFunctionCall& /*call*/, TKBContext& context) {
  TStringList lines;
  FillWithNames(EngineOf(context).GetUserFunctionTable(), lines);
  return PrintList(EngineOf(context), lines, " deffunctions.");
}

IKBValue Agenda(TFunctionCall& call, TKBContext& context) {
  return ListByModule(call, context, " activations.", [](const TModule& module, TStringList& lines) {
    const TKBAgenda& agenda = *module.GetAgenda();
    for (int i = 0; i < agenda.GetCount(); ++i) lines.Add(agenda.GetText(i));
  });
}

namespace {

// Which facts are wanted.
struct TFactRange {
  int32_t start = -2147483647;
  int32_t end = 2147483647;
  int32_t maximum = 2147483647;
};

int32_t IntegerOr(const TFunctionCall& call, int index, TKBContext& context, int32_t otherwise) {
  return index < call.GetArgumentCount() ? IntegerArgument(call, index, context) : otherwise;
}

}  // namespace

// (facts [module|*] [start [end [maximum]]])
IKBValue ShowFacts(TFunctionCall& call, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  std::vector<IModule> modules{engine.GetCurrentModule()};
  TFactRange range;
  int next = 0;
  IKBValue first = call.GetArgumentCount() > 0 ? call.Evaluate(0, context) : IKBValue();
  if (first && first->Is(dtInteger)) {
    range.start = first->GetAsInteger();
    next = 1;
  } else if (first) {
    const TKBText name = first->GetAsString();
    modules.clear();
    for (int i = 0; name == kAllModules && i < engine.GetModules().GetCount(); ++i) {
      modules.push_back(engine.GetModules().Get(i));
    }
    if (modules.empty()) modules.push_back(engine.GetModules().GetModule(name.View()));
    range.start = IntegerOr(call, 1, context, range.start);
    next = 2;
  }
  range.end = IntegerOr(call, next, context, range.end);
  range.maximum = IntegerOr(call, next + 1, context, range.maximum);

  std::vector<std::string> lines;
  std::vector<const TFact*> seen;  // a fact that modules share stands in several lists
  for (const IModule& module : modules) {
    for (const IFact& fact : module->GetFacts()->Snapshot()) {
      if (static_cast<int64_t>(lines.size()) >= range.maximum) break;
      if (fact->GetID() < range.start || fact->GetID() > range.end) continue;
      if (modules.size() > 1) {
        const auto place = std::lower_bound(seen.begin(), seen.end(), fact.Get());
        if (place != seen.end() && *place == fact.Get()) continue;
        seen.insert(place, fact.Get());
      }
      lines.push_back(fact->GetToIDString());
    }
  }
  std::sort(lines.begin(), lines.end());
  std::string text;
  for (const std::string& line : lines) AddLine(text, line);
  engine.PrintOut(text + TotalLine(kGrandTotal, static_cast<int>(lines.size()), " facts."));
  return FCNil;
}

IKBValue ShowRules(TFunctionCall& call, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  const TKBText channel = call.GetArgumentCount() > 0 ? TextArgument(call, 0, context) : TKBText();
  const TRules& rules = engine.GetRules();
  std::string text;
  for (int i = 0; i < rules.GetCount(); ++i) AddLine(text, rules.GetValue(i)->ToString());
  engine.PrintOut(channel.View(), text + TotalLine(kGrandTotal, rules.GetCount(), " rules."));
  return FCNil;
}

}  // namespace kb::misc
