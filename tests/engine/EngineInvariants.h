// Walks a whole engine and tells where its parts disagree.
#pragma once

#include <algorithm>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "kb/engine/InferenceEngine.h"
#include "kb/matching/ReteNetwork.h"

namespace kbtest {

/// What must hold in an engine that is at rest, whatever was defined, replaced and removed before. Findings
/// are texts.
class TEngineWalk {
 public:
  explicit TEngineWalk(kb::TInferenceEngine& engine) : engine_(engine) {}

  /// One line for each disagreement; empty when there is none.
  std::string Findings() {
    const kb::TModules& modules = engine_.GetModules();
    for (int i = 0; i < modules.GetCount(); ++i) {
      const kb::IModule module = modules.Get(i);
      where_ = module->GetName();
      Check(modules.CountOf(where_) == 1, "name of the module is not its own");
      Check(module->IsMain() == (i == 0), "main module is not the first");
      WalkModule(*module);
    }
    where_ = "engine";
    for (int i = 0; i < engine_.GetFocusStack().GetCount(); ++i) {
      Check(modules.IndexOf(engine_.GetFocusStack().Get(i).Get()) >= 0, "focus on a removed module");
    }
    Check(modules.IndexOf(engine_.GetCurrentModule().Get()) >= 0, "current module is not in the list");
    WalkShownObjects();
    return findings_.str();
  }

 private:
  void Check(bool holds, const std::string& finding) {
    if (!holds) findings_ << where_ << ": " << finding << "\n";
  }

  void WalkShownObjects() {
    const kb::TModule& module = *engine_.GetCurrentModule();
    Check(&engine_.GetFacts() == module.GetFacts() && &engine_.GetRules() == module.GetRules() &&
              &engine_.GetAgenda() == module.GetAgenda() && &engine_.GetRete() == module.GetRete() &&
              &engine_.GetFactTemplates() == module.GetFactTemplates() && engine_.GetNullFact() == module.GetNullFact(),
          "the engine shows objects of another module");
  }

  void WalkModule(kb::TModule& module) {
    WalkShared(module, *module.GetFactTemplates(),
               [](const kb::TModule& m) -> const kb::TFactTemplates& { return *m.GetFactTemplates(); });
    WalkShared(module, *module.GetDefinedTypes(),
               [](const kb::TModule& m) -> const kb::TKBDefinedTypes& { return *m.GetDefinedTypes(); });
    WalkTemplates(module);
    WalkFacts(module);
    WalkFactSets(module);
    WalkRules(module);
    WalkAgenda(module);
    WalkBuiltIns(module);
  }

  template <class Table, class TableOf>
  void WalkShared(kb::TModule& module, const Table& table, const TableOf& tableOf) {
    for (int i = 0; i < table.GetCount(); ++i) {
      const auto& construct = table.GetValue(i);
      const std::string name = table.GetKey(i).ToString();
      Check(construct->IndexOfImportModule(&module) >= 0, name + " does not know that it stands here");
      Check(engine_.GetModules().IndexOf(construct->GetModule()) >= 0, name + " has no home");
      for (int k = 0; k < construct->GetImportModuleCount(); ++k) {
        const kb::TModule* other = construct->GetImportModule(k);
        const bool known = engine_.GetModules().IndexOf(other) >= 0;
        Check(known && tableOf(*other).Holds(name, construct.Get()), name + " believes to stand where it does not");
      }
    }
  }

  void WalkTemplates(kb::TModule& module) {
    const kb::TFactTemplates& templates = *module.GetFactTemplates();
    for (int i = 0; i < templates.GetCount(); ++i) {
      const kb::TFactTemplate& factTemplate = *templates.GetValue(i);
      const std::string name = factTemplate.GetTemplateName().ToString();
      Check(templates.GetKey(i) == factTemplate.GetTemplateName(), name + " is registered under another name");
      Check(engine_.GetModules().GetCount() < 2 || module.GetDefinedTypes()->FindUnsharedType(factTemplate) == nullptr,
            name + " uses a type that is not visible");
      for (int k = 0; k < factTemplate.GetSlotCount(); ++k) WalkSlot(module, name, *factTemplate.GetSlotAt(k));
    }
  }

  void WalkSlot(kb::TModule& module, const std::string& name, const kb::TFactSlot& slot) {
    const kb::IKBDefinedType& type = slot.GetExtendedTypeInfo();
    if (!type || type->GetImplicit()) return;
    // A shared template may have a type that bears the name of another one here.
    Check(type->IsShared() && module.GetDefinedTypes()->ContainsKey(type->GetName()), name + " holds a replaced type");
    Check((slot.GetSlotType() - kb::KBMultiSlotTypes) == type->GetBaseTypes(), name + " has another type's base types");
  }

  void WalkFacts(kb::TModule& module) {
    int32_t last = -1;
    module.GetFacts()->ForEach([&](kb::TFact& fact) {
      const std::string text = fact.GetToIDString();
      Check(fact.GetID() > last, text + " is out of order");
      last = fact.GetID();
      const kb::IFactTemplate& factTemplate = fact.GetTemplate();
      Check(module.GetFactTemplates()->Holds(factTemplate->GetTemplateName(), factTemplate.Get()),
            text + " has a template that is not registered");
      // A module that is cleared by itself stays without the initial fact until the next reset.
      const bool initial = factTemplate->GetTemplateName() == kb::SInitialFactPattern;
      for (int i = 0; i < factTemplate->GetImportModuleCount() && !initial; ++i) {
        const kb::TModule* other = factTemplate->GetImportModule(i);
        Check(other->GetFacts()->IndexOf(&fact) >= 0, text + " is missing in " + other->GetName());
      }
      const auto [first, isNew] = ids_.emplace(fact.GetID(), &fact);
      Check(isNew || first->second == &fact, text + " shares its id with another fact");
    });
    for (const auto& [add, fact] : module.GetFactsPending()) {
      Check(module.GetFactTemplates()->Holds(fact->GetTemplate()->GetTemplateName(), fact->GetTemplate().Get()),
            "pending fact of a template that is not registered");
    }
  }

  void WalkFactSets(kb::TModule& module) {
    for (int i = 0; i < module.GetFactSets()->GetCount(); ++i) {
      kb::TFactSet& factSet = module.GetFactSets()->Get(i);
      const std::string& name = factSet.GetFactSetName();
      Check(factSet.GetEngine() == &engine_, name + " has left the engine");
      Check(factSet.GetModule() == module.GetName(), name + " names another module");
      for (int k = 0; k < factSet.GetFactCount(); ++k) {
        const kb::IFact& fact = factSet.PeekFact(k);
        Check(!fact ||
                  module.GetFactTemplates()->Holds(fact->GetTemplate()->GetTemplateName(), fact->GetTemplate().Get()),
              name + " holds a fact of a template that is not registered");
      }
    }
  }

  void WalkRules(kb::TModule& module) {
    std::set<const kb::TReteNode*> used;
    for (int i = 0; i < module.GetRules()->GetCount(); ++i) {
      kb::TRule& rule = *module.GetRules()->GetValue(i);
      const std::string& name = rule.GetRuleName();
      Check(module.GetRules()->GetKey(i).View() == name, name + " is registered under another name");
      Check(rule.GetEngine() == &engine_ && rule.GetModule() == module.GetName(), name + " belongs elsewhere");
      Check(module.GetRete()->ContainsRule(rule), name + " is not in the network");
      for (int k = 0; k < rule.GetPatternCount(); ++k) {
        const kb::IFactTemplate& factTemplate = rule.GetPattern(k).GetFactTemplate();
        Check(module.GetFactTemplates()->Holds(factTemplate->GetTemplateName(), factTemplate.Get()),
              name + " matches a template that is not registered: " + factTemplate->GetTemplateName().ToString());
      }
      for (const kb::TReteNode* node : module.GetRete()->GetRuleNodes(rule)) used.insert(node);
    }
    Check(static_cast<int>(used.size()) == module.GetRete()->GetNodeCount(), "nodes that no rule uses");
  }

  // The agenda holds what the rules match now, once each, apart from what has fired.
  void WalkAgenda(kb::TModule& module) {
    const kb::TKBAgenda& agenda = *module.GetAgenda();
    for (int i = 0; i < agenda.GetCount(); ++i) {
      const kb::TActivation& activation = *agenda.GetActivation(i);
      const kb::TRule* rule = activation.GetRule();
      bool known = false;
      for (int k = 0; k < module.GetRules()->GetCount(); ++k) known = known || module.GetRules()->GetValue(k) == rule;
      Check(known, "activation of a rule that is gone");
      if (!known) continue;
      Check(activation.GetNode() != nullptr, "activation without a terminal: " + activation.ToString());
      for (int k = 0; k < activation.GetToken()->GetCount(); ++k) {
        const kb::TFact* fact = activation.GetToken()->Facts(k);
        if (fact == nullptr || fact->GetID() < 0) continue;  // the place of a negated pattern
        Check(module.GetFacts()->FindFact(fact->GetID()) >= 0,
              "activation on a fact that is gone: " + activation.ToString());
      }
    }
  }

  void WalkBuiltIns(kb::TModule& module) {
    const kb::TKBPattern* pattern = module.GetInitialFactPattern();
    Check(pattern != nullptr, "no initial pattern");
    if (pattern == nullptr) return;
    Check(module.GetFactTemplates()->Holds(kb::SInitialFactPattern, pattern->GetFactTemplate().Get()),
          "the initial pattern is on a template that is not registered");
    const kb::IModule& first = engine_.GetModules().Get(0);
    Check(first->GetInitialFactPattern() != nullptr &&
              first->GetInitialFactPattern()->GetFactTemplate() == pattern->GetFactTemplate(),
          "the initial fact's template is not shared");
    Check(module.GetNullFact() &&
              module.GetFactTemplates()->Holds(kb::SNullFact, module.GetNullFact()->GetTemplate().Get()),
          "the null fact's template is not registered");
  }

  kb::TInferenceEngine& engine_;
  std::string where_;
  std::ostringstream findings_;
  std::map<int32_t, const kb::TFact*> ids_;
};

/// The activations of every module as sorted texts; with the same facts and rules two engines have the same.
inline std::vector<std::string> SortedActivations(kb::TInferenceEngine& engine) {
  std::vector<std::string> result;
  for (int i = 0; i < engine.GetModules().GetCount(); ++i) {
    const kb::IModule module = engine.GetModules().Get(i);
    for (int k = 0; k < module->GetAgenda()->GetCount(); ++k) {
      result.push_back(module->GetName() + " " + module->GetAgenda()->GetActivation(k)->ToString());
    }
  }
  std::sort(result.begin(), result.end());
  return result;
}

}  // namespace kbtest
