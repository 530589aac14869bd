// Redefinition of templates, types, modules, rules and fact sets: what stays, what goes, and that nothing dangles.

#include <random>

#include "tests/Program.h"
#include "tests/engine/EngineInvariants.h"

namespace {

using kb::IFactTemplate, kb::IKBDefinedType, kb::IModule, kb::TInferenceEngine;
using kbtest::TEngine, kbtest::SortedActivations, kbtest::TEngineWalk;

/// Does to an engine what a host may do, at random, but the same for the same seed.
class TTormentor {
 public:
  TTormentor(TInferenceEngine& engine, uint32_t seed) : engine_(engine), random_(seed) {}

  /// One change; tells what it was. Refusals are part of the game.
  std::string Step() {
    engine_.SetDuplicateConstructs(static_cast<kb::TDuplicateConstructs>(Chance(70) ? 0 : Below(3)));
    const std::string fault = kbtest::MessageOf([this] { Act(); });
    return done_ + (fault.empty() ? "" : " !" + fault);
  }

 private:
  int Below(int limit) { return static_cast<int>(random_() % static_cast<uint32_t>(limit)); }
  bool Chance(int percent) { return Below(100) < percent; }
  template <class T>
  const T& Any(const std::vector<T>& list) {
    return list[static_cast<size_t>(Below(static_cast<int>(list.size())))];
  }
  std::string Template() { return Any<std::string>({"p", "q", "s", "Initial-Fact"}); }
  std::string Type() { return Any<std::string>({"t1", "t2"}); }
  std::string ModuleName() { return Any<std::string>({"A", "B", "C"}); }
  std::string Value() { return Any<std::string>({"1", "1", "2", "x", "x", "\"z\""}); }
  IModule Module() { return engine_.GetModules().Get(Below(engine_.GetModules().GetCount())); }
  std::string Prefix() { return Module()->GetName() + "::"; }

  void Do(const std::string& text) {
    done_ = text;
    engine_.Parse(text, true);
  }

  std::string SlotDefinition(const std::string& name) {
    const std::string type = Any<std::string>(
        {"", "", "(type NUMBER)", "(type LEXEME)", "(type " + Type() + ")", "(range 0 5)", "(allowed-symbols x y)"});
    return (Chance(25) ? "(multislot " : "(slot ") + name + " " + type + ")";
  }

  std::string TemplateText() {
    // The initial fact keeps a form that its own text fits.
    const std::string name = Chance(95) ? Any<std::string>({"p", "q", "s"}) : "Initial-Fact";
    std::string text = "(deftemplate " + Prefix() + name;
    if (name == "Initial-Fact") return text + ")";
    if (Chance(15)) return text + " is-a " + Type() + ")";
    if (Chance(25)) text += " extends " + Template();
    for (const char* slot : {"a", "b", "c"}) {
      if (Chance(60)) text += " " + SlotDefinition(slot);
    }
    return text + ")";
  }

  std::string TypeText() {
    const std::string base = Any<std::string>({"INTEGER", "SYMBOL", "NUMBER LEXEME", Type()});
    std::string text = "(deftype " + Prefix() + Type() + " extends (type " + base + ")";
    if (Chance(50)) text += " (range " + std::to_string(Below(3)) + " " + std::to_string(3 + Below(5)) + ")";
    if (Chance(30)) text += " (allowed-symbols x y)";
    return text + ")";
  }

  // Facts and patterns mostly have the slots that the template has where they are written.
  std::vector<std::string> SlotsOf(const std::string& name) {
    std::vector<std::string> slots;
    const kb::TFactTemplate* factTemplate = engine_.FindFactTemplate(name);
    for (const char* slot : {"a", "b", "c"}) {
      const bool has = factTemplate != nullptr && factTemplate->ContainsSlot(slot);
      if (has ? Chance(70) : factTemplate != nullptr && !factTemplate->IsOrdered() && Chance(5))
        slots.emplace_back(slot);
    }
    return slots;
  }
  bool IsOrdered(const std::string& name) {
    const kb::TFactTemplate* factTemplate = engine_.FindFactTemplate(name);
    return factTemplate == nullptr || factTemplate->IsOrdered();
  }

  std::string FactText() {
    const std::string name = Template();
    if (IsOrdered(name)) return "(" + name + (name == "Initial-Fact" ? "" : " " + Value() + " " + Value()) + ")";
    std::string text = "(" + name;
    for (const std::string& slot : SlotsOf(name)) text += " (" + slot + " " + Value() + ")";
    return text + ")";
  }

  std::string Pattern() {
    const std::string name = Template();
    if (IsOrdered(name)) return "(" + name + Any<std::string>({" $?", " ?x ?", " ? x", " ?x $?"}) + ")";
    std::string text = "(" + name;
    for (const std::string& slot : SlotsOf(name)) {
      text += " (" + slot + " " + Any<std::string>({"?x", "?x", "1", "x", "?x&~7", "?"}) + ")";
    }
    return text + ")";
  }

  std::string RuleText() {
    engine_.SetCurrentModule(Module());
    std::string text = "(defrule " + Any<std::string>({"r1", "r2", "r3", "r4"}) + " ";
    if (Chance(20)) text += "(declare (auto-focus TRUE)) ";
    for (int i = Below(3); i >= 0; --i) {
      const std::string pattern = Pattern();
      text += Chance(70) ? pattern : Chance(50) ? "(not " + pattern + ")" : "(exists " + pattern + ")";
    }
    if (Chance(15)) text += "(test (eq 1 1))";
    return text + " => " + (Chance(30) ? "(assert " + FactText() + ")" : "") + ")";
  }

  std::string ModuleText() {
    const IModule first = engine_.GetModules().Get(0);
    if (Chance(50)) {
      first->GetExportItems()->SetFactTemplatesShared(kb::mieAll);
      first->GetExportItems()->SetDefinedTypesShared(kb::mieAll);
    }
    std::string text = "(defmodule " + ModuleName() + " ";
    if (Chance(80)) text += Any<std::string>({"(export ?ALL)", "(export deftemplate p q) (export deftype ?ALL)"});
    const IModule other = Module();
    if (Chance(80)) {
      text += "(import " + other->GetName() + " " + Any<std::string>({"?ALL", "deftemplate p Q", "deftype ?ALL"}) + ")";
    }
    return text + ")";
  }

  void Act() {
    const int lot = Below(100);
    if (lot < 12) return Do(TemplateText());
    if (lot < 16) return Do(TypeText());
    if (lot < 34) return Do(RuleText());
    if (lot < 38) return Do("(deffacts " + Any<std::string>({"f1", "f2"}) + " " + FactText() + FactText() + ")");
    if (lot < 42) return Do(ModuleText());
    if (lot < 44) return Remove();
    if (lot < 47) return Rename();
    if (lot < 48) return RemoveOrClearModule();
    if (lot < 50) return Do("(reset)");
    if (lot < 53) return Retract();
    const IModule module = Module();
    if (lot < 56) return Do("(focus " + module->GetName() + ")");
    engine_.SetCurrentModule(module);
    Do("(assert " + FactText() + ")");
  }

  void Remove() {
    const IModule module = Module();
    IFactTemplate removedTemplate;
    IKBDefinedType removedType;
    const std::string name = Chance(70) ? Template() : Type();
    done_ = "remove " + module->GetName() + "::" + name;
    if (name[0] != 't') {
      module->GetFactTemplates()->Remove(name, removedTemplate);
    } else {
      module->GetDefinedTypes()->Remove(name, removedType);
    }
  }

  void Rename() {
    const IModule module = Module();
    engine_.SetCurrentModule(module);
    const std::string name = Any<std::string>({"p", "q", "s"});
    done_ = "rename in " + module->GetName();
    if (Chance(30)) {
      module->SetName(ModuleName());
    } else if (const IFactTemplate factTemplate = module->GetFactTemplates()->FindTemplate(name)) {
      done_ += " template " + name;
      factTemplate->SetTemplateName(Any<std::string>({"p", "q", "s"}));
    } else if (const IKBDefinedType type = module->GetDefinedTypes()->FindType(Type())) {
      done_ += " type " + type->GetName();
      type->SetName(Type());
    }
  }

  void RemoveOrClearModule() {
    const IModule module = Module();
    const bool clear = module->IsMain() || Chance(30);
    done_ = (clear ? "clear " : "remove ") + module->GetName();
    clear ? engine_.Clear(module) : engine_.RemoveModule(module);
  }

  void Retract() {
    const IModule module = Module();
    const auto& facts = *module->GetFacts();
    done_ = "retract in " + module->GetName();
    if (facts.GetCount() > 0) engine_.Retract(facts.Get(Below(facts.GetCount()))->GetID());
  }

  TInferenceEngine& engine_;
  std::mt19937 random_;
  std::string done_;
};

void RecompileAll(TInferenceEngine& engine) {
  for (int i = 0; i < engine.GetModules().GetCount(); ++i) {
    const IModule module = engine.GetModules().Get(i);
    for (int k = 0; k < module->GetRules()->GetCount(); ++k) engine.RuleChange(*module->GetRules()->GetValue(k));
  }
}

TEST(Redefinition, NothingDanglesAfterRandomChanges) {
  for (uint32_t seed = 1; seed <= 150; ++seed) {
    TEngine engine(
        "(deftype t1 extends (type INTEGER) (range 0 5)) (deftype t2 extends (type SYMBOL))"
        "(deftemplate p (slot a (type t1)) (slot b)) (deftemplate q (slot a) (slot c (type t2)))"
        "(deftemplate s extends p (multislot c)) (defmodule A (export ?ALL) (import MAIN ?ALL))");
    TTormentor tormentor(engine, seed);
    std::string history;
    for (int step = 0; step < 60; ++step) {
      history += tormentor.Step() + "\n";
      ASSERT_EQ(TEngineWalk(engine).Findings(), "") << "seed " << seed << "\n" << history;
    }
    // Nothing has fired: the agenda is what a fresh compilation of all rules finds.
    const std::vector<std::string> before = SortedActivations(engine);
    RecompileAll(engine);
    ASSERT_EQ(SortedActivations(engine), before) << "seed " << seed << "\n" << history;
  }
}

}  // namespace
