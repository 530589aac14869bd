// A reference for the network: a plain nested loop over all facts, and random rules that both understand.
//
// The random rules stay clear of the places where the network has matching rules of its own: several expansions of one
// fact in a join, variables of earlier patterns under several negations, a variable twice in one slot, floats. Those
// have tests of their own.
#pragma once

#include <algorithm>
#include <array>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "kb/engine/InferenceEngine.h"
#include "kb/matching/KBToken.h"
#include "kb/values/ValueVector.h"

namespace kbtest {

using TMatch = std::pair<std::string, std::vector<int>>;  // rule name, fact ids; -1 for the place of a negation
using TMatches = std::set<TMatch>;

/// What one slot of a pattern asks.
struct TTerm {
  enum Kind { Any, Constant, NotConstant, Variable, NotVariable, Greater, Less } kind = Any;
  int value = 0;     // constant
  int variable = 0;  // the variable that the slot binds or meets
  int other = 0;     // Less: the variable it is compared with
};

/// One element: a pattern on template t0 to t2 with slots a, b, c, on the multifield template m, a test, or a pattern on
/// the template link, whose slot holds the address of a fact.
struct TElement {
  enum Kind { Plain, Negated, Test, Multi, Link } kind = Plain;
  int templateIndex = 0;
  std::array<TTerm, 3> slots;
  int first = 0;  // Multi: (m first $?x last); Test: (< ?first ?second); Link: the element whose fact it names
  int second = 0;
  int negations = 0;  // of a Negated or Link element
};

/// A rule of MAIN, which has all templates, or of the other module, which has t0 and t1.
struct TRandomRule {
  std::string name;
  std::vector<TElement> elements;
  bool ofMain = true;

  [[nodiscard]] std::string FullName() const { return (ofMain ? "MAIN::" : "OTHER::") + name; }
};

class TReference {
 public:
  explicit TReference(unsigned seed) : random_(seed) {}

  int Draw(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(random_); }

  TRandomRule MakeRule(int number) {
    TRandomRule rule{"r" + std::to_string(number), {}, Draw(3) > 0};
    std::set<int> bound;
    const int count = 1 + Draw(3);
    for (int i = 0; i < count; ++i) rule.elements.push_back(MakeElement(rule, bound));
    return rule;
  }

  static std::string Text(const TRandomRule& rule) {
    std::string text = "(defrule " + rule.FullName();
    for (size_t i = 0; i < rule.elements.size(); ++i) {
      const TElement& element = rule.elements[i];
      text += element.kind == TElement::Plain ? " ?f" + std::to_string(i) + " <- " : " ";
      text += Text(element);
    }
    return text + " =>)";
  }

  /// All matches of the rule, by trying every fact in every place.
  static void Match(const TRandomRule& rule, const std::vector<kb::IFact>& facts, TMatches& result) {
    std::vector<int> ids;
    const TElement& first = rule.elements.front();
    if (first.negations > 0 || first.kind == TElement::Test) {
      for (const kb::IFact& fact : facts) {
        if (fact->GetTemplate()->GetTemplateName() == "Initial-Fact") ids.push_back(fact->GetID());
      }
      if (ids.empty()) return;
    }
    Extend(rule, 0, facts, {}, ids, result);
  }

 private:
  using TValues = std::map<int, int>;
  // The fact of an element among the values of variables.
  static int Address(size_t element) { return 100 + static_cast<int>(element); }

  TTerm MakeTerm(std::set<int>& bound, bool negated) {
    const int variable = Draw(3);
    const bool known = bound.contains(variable);
    const bool usable = known || !negated;
    const int kind = Draw(7);
    if (kind == 0) return {TTerm::Constant, Draw(3), 0, 0};
    if (kind == 1) return {TTerm::NotConstant, Draw(3), 0, 0};
    if (kind == 4 && known) return {TTerm::NotVariable, 0, variable, 0};
    TTerm term;
    const int other = Draw(3);
    if (kind < 4 && usable) term = {TTerm::Variable, 0, variable, 0};
    if (kind == 5 && usable) term = {TTerm::Greater, Draw(3), variable, 0};
    if (kind == 6 && usable && bound.contains(other)) term = {TTerm::Less, 0, variable, other};
    if (term.kind != TTerm::Any) bound.insert(variable);
    return term;
  }

  TElement MakeElement(const TRandomRule& rule, std::set<int>& bound) {
    TElement element;
    const int kind = Draw(12);
    if (kind == 0 && bound.size() >= 2) {
      element.kind = TElement::Test;
      element.first = *bound.begin();
      element.second = *bound.rbegin();
      return element;
    }
    if (kind == 1 && rule.ofMain) {
      element.kind = TElement::Multi;
      element.first = Draw(3);
      element.second = Draw(3);
      return element;
    }
    if (kind >= 10 && MakeLink(rule, element)) return element;
    element.templateIndex = Draw(rule.ofMain ? 3 : 2);
    if (kind == 5) {
      MakeNested(element);
      return element;
    }
    if (kind <= 4) element.kind = TElement::Negated;
    if (kind <= 4) element.negations = 1;
    std::set<int> inside = bound;
    for (TTerm& term : element.slots) {
      term = MakeTerm(element.kind == TElement::Negated ? inside : bound, element.kind == TElement::Negated);
    }
    return element;
  }

  // Two to four negations, without variables.
  void MakeNested(TElement& element) {
    element.kind = TElement::Negated;
    element.negations = 2 + Draw(3);
    for (TTerm& term : element.slots) {
      if (Draw(2) == 0) term = {Draw(2) == 0 ? TTerm::Constant : TTerm::NotConstant, Draw(3), 0, 0};
    }
  }

  bool MakeLink(const TRandomRule& rule, TElement& element) {
    if (!rule.ofMain || rule.elements.empty()) return false;
    element.first = Draw(static_cast<int>(rule.elements.size()));
    if (rule.elements[static_cast<size_t>(element.first)].kind != TElement::Plain) return false;
    element.kind = TElement::Link;
    element.negations = Draw(2);
    return true;
  }

  static std::string Name(int variable) { return "?v" + std::to_string(variable); }

  static std::string Text(const TTerm& term) {
    const std::string name = Name(term.variable);
    const std::string value = std::to_string(term.value);
    const std::string texts[] = {"?",
                                 value,
                                 "~" + value,
                                 name,
                                 "~" + name,
                                 name + "&:(> " + name + " " + value + ")",
                                 name + "&:(< " + name + " " + Name(term.other) + ")"};
    return texts[term.kind];
  }

  static std::string Text(const TElement& element) {
    if (element.kind == TElement::Test) return "(test (< " + Name(element.first) + " " + Name(element.second) + "))";
    if (element.kind == TElement::Multi) {
      return "(m " + std::to_string(element.first) + " $? " + std::to_string(element.second) + ")";
    }
    std::string text = "(t" + std::to_string(element.templateIndex);
    const char* names[] = {"a", "b", "c"};
    for (size_t i = 0; i < 3; ++i) text += std::string(" (") + names[i] + " " + Text(element.slots[i]) + ")";
    text += ")";
    if (element.kind == TElement::Link) text = "(link (to ?f" + std::to_string(element.first) + "))";
    // Two negations have a name of their own.
    if (element.negations == 2) return "(exists " + text + ")";
    for (int i = 0; i < element.negations; ++i) text = "(not " + text + ")";
    return text;
  }

  static bool Meets(const TTerm& term, int value, TValues& values) {
    if (term.kind == TTerm::Any) return true;
    if (term.kind == TTerm::Constant) return value == term.value;
    if (term.kind == TTerm::NotConstant) return value != term.value;
    if (term.kind == TTerm::NotVariable) return value != values.at(term.variable);
    if (values.try_emplace(term.variable, value).first->second != value) return false;
    if (term.kind == TTerm::Greater) return value > term.value;
    return term.kind != TTerm::Less || value < values.at(term.other);
  }

  static bool Fits(const TElement& element, const kb::TFact& fact, TValues& values) {
    if (element.kind == TElement::Link) {
      return fact.GetTemplate()->GetTemplateName() == "link" &&
             fact.GetValue("to")->GetAsFactId() == values.at(Address(static_cast<size_t>(element.first)));
    }
    if (element.kind == TElement::Multi) {
      if (fact.GetTemplate()->GetTemplateName() != "m") return false;
      const kb::IValueVector list = fact.GetValue("__Data")->GetAsList();
      return list->GetValueCount() >= 2 && list->First()->GetAsInteger() == element.first &&
             list->Last()->GetAsInteger() == element.second;
    }
    if (fact.GetTemplate()->GetTemplateName().View() != "t" + std::to_string(element.templateIndex)) return false;
    const char* names[] = {"a", "b", "c"};
    for (size_t i = 0; i < 3; ++i) {
      if (!Meets(element.slots[i], fact.GetValue(names[i])->GetAsInteger(), values)) return false;
    }
    return true;
  }

  static void Extend(const TRandomRule& rule, size_t place, const std::vector<kb::IFact>& facts, const TValues& values,
                     std::vector<int>& ids, TMatches& result) {
    if (place == rule.elements.size()) {
      result.insert({rule.name, ids});
      return;
    }
    const TElement& element = rule.elements[place];
    if (element.kind == TElement::Test) {
      if (values.at(element.first) < values.at(element.second)) Extend(rule, place + 1, facts, values, ids, result);
      return;
    }
    if (element.negations > 0) {
      const bool found = std::any_of(facts.begin(), facts.end(), [&](const kb::IFact& fact) {
        TValues inside = values;
        return Fits(element, *fact, inside);
      });
      if (found == (element.negations % 2 == 1)) return;
      ids.push_back(-1);
      Extend(rule, place + 1, facts, values, ids, result);
      ids.pop_back();
      return;
    }
    for (const kb::IFact& fact : facts) {
      TValues extended = values;
      if (!Fits(element, *fact, extended)) continue;
      extended[Address(place)] = fact->GetID();
      ids.push_back(fact->GetID());
      Extend(rule, place + 1, facts, extended, ids, result);
      ids.pop_back();
    }
  }

  std::mt19937 random_;
};

/// What stands on the agendas of all modules.
inline TMatches AgendaMatches(kb::TInferenceEngine& engine) {
  TMatches result;
  for (int m = 0; m < engine.GetModules().GetCount(); ++m) {
    const kb::TKBAgenda& agenda = *engine.GetModules().Get(m)->GetAgenda();
    for (int i = 0; i < agenda.GetCount(); ++i) {
      const kb::TActivation& activation = *agenda.GetActivation(i);
      std::vector<int> ids;
      for (int k = 0; k < activation.GetToken()->GetCount(); ++k) {
        ids.push_back(activation.GetToken()->Facts(k)->GetID());
      }
      result.insert({activation.GetRule()->GetRuleName(), ids});
    }
  }
  return result;
}

}  // namespace kbtest
