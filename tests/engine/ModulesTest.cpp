// Modules: what they share, how facts travel between them, names, order and removal.

#include "tests/Program.h"
#include "tests/engine/EngineInvariants.h"

namespace {

using kb::IFact, kb::IFactTemplate, kb::IModule, kb::MakeRef, kb::TInferenceEngine, kb::TModule;
using kbtest::MessageOf, kbtest::TEngineWalk;
using TNames = std::vector<std::string>;

class Modules : public testing::Test, protected kbtest::TProgram {
 protected:
  ~Modules() override { EXPECT_EQ(TEngineWalk(engine).Findings(), ""); }

  /// Parses and executes a text; gives the message of the exception, or nothing.
  std::string Do(std::string_view text) {
    return MessageOf([&] { engine.Do(text); });
  }
  IModule Module(std::string_view name) { return engine.FindModule(name); }
  /// The names of a module's table, but of what the engine makes for every module.
  template <class Table>
  static TNames NamesOf(const Table& table) {
    TNames names;
    for (int i = 0; i < table.GetCount(); ++i) {
      const std::string name = table.GetKey(i).ToString();
      if (name != kb::SInitialFactPattern && name != kb::SNullFact) names.push_back(name);
    }
    return names;
  }
  TNames TemplatesOf(std::string_view module) { return NamesOf(*Module(module)->GetFactTemplates()); }
  TNames TypesOf(std::string_view module) { return NamesOf(*Module(module)->GetDefinedTypes()); }
  std::string FactsOf(std::string_view module) { return Module(module)->GetFacts()->GetToIDString(); }
};

TEST_F(Modules, AnImportIsWhatIsAskedForAndOffered) {
  const auto imported = [this](const std::string& text) {
    const size_t bar = text.find('|');
    engine.Clear();
    engine.Do("(defmodule M " + text.substr(0, bar) +
              ") (deftype M::t extends (type INTEGER)) (deftype M::u extends (type SYMBOL))"
              "(deftemplate M::a (slot x)) (deftemplate M::b (slot x)) (defmodule O (import M " +
              text.substr(bar + 1) + "))");
    std::string names;
    for (const TNames& list : {TemplatesOf("O"), TypesOf("O")}) {
      for (const std::string& name : list) names += name + " ";
    }
    return names + ".";
  };
  kbtest::ExpectAnswers(imported, R"(
    (export ?ALL)|?ALL --> a b t u . ;; (export ?ALL)|deftemplate b nosuch --> b . ;; (export ?NONE)|?ALL --> .
    (export ?ALL)|deftype ?ALL --> t u . ;; (export deftemplate A)|?ALL --> a . ;; |deftemplate a --> .
    (export deftype u t) (export deftemplate ?ALL)|deftype T u --> u . ;; (export ?ALL)|?NONE --> .
  )");
}

TEST_F(Modules, SharedConstructsAreTheSameObjectsAndNotPassedOn) {
  Do("(defmodule M (export ?ALL)) (deftemplate M::a (slot x)) (defmodule O (export ?ALL) (import M ?ALL))"
     "(deftemplate O::own (slot x)) (defmodule P (import O ?ALL))");
  const IFactTemplate a = Module("M")->GetFactTemplates()->FindTemplate("a");
  EXPECT_EQ(Module("O")->GetFactTemplates()->FindTemplate("a"), a.Get());
  EXPECT_EQ(a->GetModule(), Module("M").Get());
  EXPECT_EQ(TemplatesOf("P"), TNames{"own"});
  EXPECT_EQ(Module("O")->GetFactTemplates()->GetLocalsCount(), 2) << "own and the null fact's";
  EXPECT_EQ(Module("O")->GetFactTemplates()->GetImportCount(), 2) << "a and the initial fact's";
}

TEST_F(Modules, FactsOfSharedTemplatesStandInAllModules) {
  Do("(defmodule M (export deftemplate a)) (deftemplate M::a (slot x)) (assert (a (x 1))) (assert (own 1)) "
     "(assert (a (x 2))) (defmodule O (import M ?ALL)) (assert (mine 1))");
  std::string events;
  engine.OnAssertion = [&](TInferenceEngine&, const IFact&) { events += "+"; };
  engine.OnRetraction = [&](TInferenceEngine&, const IFact&) { events += "-"; };
  engine.Assert("(a (x 3))");
  EXPECT_EQ(FactsOf("M"), "f-0 (Initial-Fact)\r\nf-1 (a (x 1))\r\nf-2 (own 1 )\r\nf-3 (a (x 2))\r\nf-5 (a (x 3))");
  EXPECT_EQ(FactsOf("O"), "f-0 (Initial-Fact)\r\nf-1 (a (x 1))\r\nf-3 (a (x 2))\r\nf-4 (mine 1 )\r\nf-5 (a (x 3))");
  for (const char* module : {"O", "M"}) {
    engine.SetCurrentModule(Module(module));
    EXPECT_EQ(engine.Assert("(a (x 3))"), -1) << module;
  }
  engine.Retract(3);
  EXPECT_EQ(Module("O")->GetFacts()->FindFact(3), -1);
  EXPECT_EQ(events, "+-");
  EXPECT_EQ(engine.GetFacts(false)->GetCount(), 5);
  EXPECT_EQ(engine.GetFacts(true)->GetCount(), 9);
}

TEST_F(Modules, OneInitialFactReachesThemAll) {
  Do("(defmodule A) (defrule A::none (not (thing)) => (printout t none crlf)) (defmodule B)"
     "(defrule B::always => (printout t always crlf)) (defrule B::tested (test (eq 1 1)) => (printout t tested crlf))"
     "(set-current-module MAIN)");
  EXPECT_EQ(Module("A")->GetAgenda()->GetCount(), 1) << "the fact was there before the rule";
  engine.Reset();
  EXPECT_EQ(engine.GetFacts(false)->GetCount(), 1);
  output.clear();
  Do("(focus A B) (run)");
  EXPECT_EQ(output, "TRUE\r\nnone\r\ntested\r\nalways\r\n3\r\n");
  // It survives what happens to the module that it came from.
  engine.Clear(Module("MAIN"));
  EXPECT_EQ(Module("A")->GetRules()->GetCount(), 1);
  Do("(defmodule MAIN)");
  engine.Reset();
  EXPECT_EQ(Module("A")->GetAgenda()->GetCount(), 1);
  EXPECT_EQ(Module("B")->GetAgenda()->GetCount(), 2);
  IFactTemplate removed;
  engine.GetFactTemplates().Remove("Initial-Fact", removed);
  EXPECT_EQ(Module("B")->GetRules()->GetCount(), 0) << "asked for by name it goes with its rules";
}

TEST_F(Modules, TheActionsFocusDoesNotMoveTheRulesFacts) {
  Do("(defmodule B (export ?ALL)) (deftemplate B::job (slot n)) (defmodule A (import B ?ALL))"
     "(deftemplate A::log (slot n)) (deffacts A::f (log (n 0)) (start))"
     "(defrule A::go ?s <- (start) ?l <- (log (n ?n)) =>"
     "  (focus B) (retract ?s) (modify ?l (n (+ ?n 1))) (assert (job (n 1)) (finished)))"
     "(defrule B::work (job (n ?n)) => (printout t work ?n crlf))"
     "(defrule A::after (finished) (log (n 1)) => (printout t after crlf))");
  engine.Reset();
  engine.SetCurrentModule(Module("MAIN"));
  engine.PushFocus("A");
  output.clear();
  EXPECT_EQ(engine.Run(), 3);
  EXPECT_EQ(output, "work1\r\nafter\r\n");
  EXPECT_EQ(FactsOf("B"), "f-2 (Initial-Fact)\r\nf-4 (job (n 1))");
  EXPECT_EQ(FactsOf("A"), "f-2 (Initial-Fact)\r\nf-3 (log (n 1))\r\nf-4 (job (n 1))\r\nf-5 (finished)");
}

TEST_F(Modules, ImportsNameEarlierModules) {
  EXPECT_NE(Do("(defmodule A (import B ?ALL))").find("Module does not exist: \"B\""), std::string::npos);
  Do("(defmodule B (export ?ALL))");
  const auto main = MakeRef<TModule>(&engine, true);
  main->AddImport(main->AddImport("B"));
  EXPECT_EQ(MessageOf([&] { engine.AddModule(main); }),
            "Invalid module dependency.  Module \"MAIN\" imports module \"B\" which is later in the module list");
  EXPECT_TRUE(Module("MAIN") && Module("MAIN") != main) << "the old one has not been removed for nothing";
  EXPECT_EQ(Do("(defmodule B (import B ?ALL))"),
            "Invalid module dependency.  Module \"B\" imports module \"B\" which is later in the module list");
  const auto late = MakeRef<TModule>(&engine, false);
  late->SetName("late");
  late->AddImport(late->AddImport("B"));
  late->AddImport(late->AddImport("nosuch"));
  late->GetImportModule(0)->SetFactTemplatesShared(kb::mieAll);
  Do("(deftemplate B::x (slot y))");
  EXPECT_EQ(MessageOf([&] { engine.AddModule(late); }), "No such module with name=nosuch exists");
  EXPECT_EQ(TemplatesOf("late"), TNames{"x"}) << "the imports in front have taken effect";
  EXPECT_EQ(engine.GetCurrentModule()->GetName(), "B") << "and the focus is back";
}

TEST_F(Modules, AnImportOfATemplateNeedsItsTypes) {
  Do("(defmodule M (export ?ALL)) (deftype M::t extends (type INTEGER)) (deftemplate M::a (slot x (type t)))"
     "(deftemplate M::b (slot x (range 0 9)))");
  EXPECT_EQ(Do("(defmodule O (import M deftemplate b a))"),
            "Fact Template, \"a\", depends on non-imported Defined Type: \"t\"");
  EXPECT_EQ(Do("(defmodule P (import M deftemplate b))"), "") << "a type without a name needs no import";
  EXPECT_EQ(Do("(defmodule Q (import M deftype t) (import M deftemplate a))"), "");
  EXPECT_EQ(TemplatesOf("Q"), TNames{"a"});
}

TEST_F(Modules, NamesFollowARename) {
  Do("(defmodule A (export ?ALL)) (deftemplate A::a (slot x)) (defrule A::r (a (x ?x)) => ) (deffacts A::s (a (x 1)))"
     "(defmodule B (import A ?ALL)) (defrule B::r (a (x ?x)) => )");
  const std::string reserved = "Module \"MAIN\" is reserved name and cannot be used for any other module";
  EXPECT_EQ(MessageOf([&] { Module("A")->SetName("MAIN"); }), reserved);
  EXPECT_EQ(MessageOf([&] { Module("MAIN")->SetName("X"); }), reserved);
  EXPECT_EQ(MessageOf([&] { Module("A")->SetName("a b"); }), "\"a b\" contains unexpected character: \" \"");
  EXPECT_EQ(MessageOf([&] { engine.RenameModule("A", "B"); }), "Module Name already exists: \"B\"");
  engine.RenameModule("A", "C");
  ASSERT_TRUE(Module("C") && !Module("A"));
  EXPECT_EQ(Module("B")->GetImportModule(0)->GetModuleName(), "C");
  engine.Reset();
  EXPECT_EQ(Module("C")->GetAgenda()->GetCount(), 1);
  // A template is renamed wherever it stands, and what names it follows.
  const IFactTemplate a = Module("B")->GetFactTemplates()->FindTemplate("a");
  Do("(deftemplate B::taken (slot y))");
  EXPECT_EQ(MessageOf([&] { a->SetTemplateName("taken"); }), "Fact Template Name already exists: \"taken\"");
  a->SetTemplateName("renamed");
  EXPECT_EQ(TemplatesOf("C"), TNames{"renamed"});
  EXPECT_NE(Module("B")->GetRules()->FindRule("r")->ToString().find("(renamed (x ?x) )"), std::string::npos);
  EXPECT_EQ(Module("C")->GetFactSets()->Get(0).GetFactText(0), "(renamed (x 1))");
  engine.Assert("(renamed (x 2))");
  EXPECT_EQ(Module("B")->GetAgenda()->GetCount(), 2);
  engine.Retract("(renamed (x 1))");
  EXPECT_EQ(Module("B")->GetAgenda()->GetCount(), 1);
}

TEST_F(Modules, ARemovedModuleTakesAlongWhatOthersHaveOfIt) {
  Do("(defmodule M (export ?ALL)) (deftype M::t extends (type INTEGER)) (deftemplate M::a (slot x (type t)))"
     "(defmodule O (import M ?ALL)) (deftemplate O::uses (slot y (type t))) (deftemplate O::own (slot y))"
     "(defrule O::r (a (x ?x)) => ) (defrule O::s (own (y ?y)) => ) (assert (a (x 1))) (assert (own (y 1)))"
     "(focus M O)");
  TNames events;
  engine.OnRemoveModule = [&](TInferenceEngine&, const IModule& module) { events.push_back("-" + module->GetName()); };
  engine.OnClearModule = [&](TInferenceEngine&, const IModule& module) { events.push_back("0" + module->GetName()); };
  engine.RemoveModule(Module("M"));
  EXPECT_EQ(events, (TNames{"-M", "0M"}));
  EXPECT_EQ(TemplatesOf("O"), TNames{"own"});
  EXPECT_EQ(TypesOf("O"), TNames{});
  EXPECT_EQ(FactsOf("O"), "f-0 (Initial-Fact)\r\nf-2 (own (y 1))");
  EXPECT_EQ(NamesOf(*Module("O")->GetRules()), TNames{"s"});
  EXPECT_EQ(engine.GetFocusStack().ToNamesString(" "), "O MAIN");
  EXPECT_EQ(engine.GetCurrentModule()->GetName(), "MAIN");
  // What an importer loses with its own removal stays where it is at home.
  Do("(defmodule M2 (export ?ALL)) (deftemplate M2::b (slot x)) (defmodule O2 (import M2 ?ALL)) (assert (b "
     "(x 1)))");
  engine.RemoveModule(Module("O2"));
  EXPECT_EQ(FactsOf("M2"), "f-0 (Initial-Fact)\r\nf-3 (b (x 1))");
  EXPECT_EQ(Module("M2")->GetFactTemplates()->FindTemplate("b")->GetImportModuleCount(), 1);
}

TEST_F(Modules, AModuleOfTheSameNameReplacesTheOldOne) {
  Do("(defmodule A \"one\") (deftemplate A::a (slot x)) (assert (a (x 1))) (defmodule A \"two\")");
  EXPECT_EQ(engine.GetModules().GetCount(), 2);
  EXPECT_EQ(Module("A")->GetComment(), "two");
  EXPECT_EQ(TemplatesOf("A"), TNames{});
  const IModule present = Module("A");
  EXPECT_EQ(engine.AddModule(present), 1);
  EXPECT_EQ(Module("A"), present) << "one that is there already stays as it is";
}

TEST_F(Modules, AModuleMayGoWhileItWorks) {
  // From an action, and from the test of a pattern in the middle of a pass.
  engine.RegisterFunction("drop", [](kb::TFunctionArguments& arguments) -> kb::IKBValue {
    TInferenceEngine& host = arguments.Engine();
    if (const IModule module = host.FindModule(arguments[0]->GetAsString())) host.RemoveModule(module);
    return kb::FCTrue;
  });
  Do("(defmodule A (export ?ALL)) (deftemplate A::a (slot x)) (defmodule B (import A ?ALL))"
     "(defrule B::last (a (x ?x)) => (drop B) (printout t gone crlf)) (assert (a (x 1))) (focus B)");
  output.clear();
  engine.Run();
  EXPECT_EQ(output, "gone\r\n");
  EXPECT_FALSE(Module("B"));
  Do("(defmodule C (import A ?ALL)) (defmodule D (import A ?ALL)) (defrule D::r (a (x ?x)) => )");
  EXPECT_EQ(Do("(defrule C::mid (a (x ?x&:(drop C))) => )"), "No such module with name=C exists");
  EXPECT_FALSE(Module("C")) << "priming the rule has met a fact";
  Do("(defmodule C (import A ?ALL)) (defrule C::mid (a (x ?x&:(> ?x 5)&:(drop C))) => ) (defmodule E (import "
     "A ?ALL))(defrule E::mid (a (x ?x&:(> ?x 7)&:(drop E))) => )");
  engine.SetCurrentModule(Module("A"));
  EXPECT_GE(engine.Assert("(a (x 9))"), 0);
  EXPECT_FALSE(Module("C") || Module("E"));
  EXPECT_EQ(Module("D")->GetAgenda()->GetCount(), 2);
}

TEST_F(Modules, TheLastModuleLeavesNothingToWorkOn) {
  Do("(defmodule A) (defmodule B)");
  int cleared = 0;
  engine.OnClearModules = [&](TInferenceEngine&) { ++cleared; };
  engine.GetFocusStack().Clear();
  EXPECT_EQ(engine.GetModules().GetCount(), 3) << "the focus stack is a list of its own";
  engine.GetModules().Clear();
  EXPECT_EQ(cleared, 1);
  EXPECT_FALSE(engine.GetCurrentModule());
  EXPECT_EQ(engine.GetInitialFactPattern(), nullptr);
  engine.Clear();
  engine.Reset();
  EXPECT_EQ(FactsOf("MAIN"), "f-0 (Initial-Fact)");
}

TEST_F(Modules, ATextOfTheWholeModuleReadsBack) {
  Do("(defmodule M \"source\" (export ?ALL)) (deftype M::t extends (type INTEGER) (range 0 9))"
     "(deftemplate M::a (slot x (type t))) (defmodule O \"the module\" (export deftemplate b) (import M ?ALL))"
     "(deftype O::sub extends (type t) (range 2 5)) (deftemplate O::b (slot y)) (deftemplate O::c extends b (slot z))"
     "(deftemplate O::b (slot y (type sub))) (defrule O::r (a (x ?x)) (b (y ?x)) => (assert (c (y ?x))))"
     "(deffacts O::f (b (y 3))) (assert (b (y 2))) (assert (a (x 2)))");
  const std::string own = Module("O")->GetExpertSystem(false, false);
  const std::string all = kb::ReplaceAll(Module("O")->GetExpertSystem(true, true), "\r\n", "\n");
  EXPECT_EQ(own.find("M::a"), std::string::npos);
  EXPECT_EQ(own.find(";"), std::string::npos);
  for (const char* part : {"\n; *************************\n; Module:                     O\n"
                           "; Number of Defined Types:    2\n; Number of Fact Templates:   5\n"
                           "; Number of Rules:            1\n; Number of Fact Sets:        1\n"
                           "; Number of Facts:            3\n\n(defmodule O \"the module\"\n",
                           "; *************************\n; Facts \n(assert\n"}) {
    EXPECT_NE(all.find(part), std::string::npos) << all;
  }
  engine.RemoveModule(Module("O"));
  EXPECT_EQ(Do(own), "");
  EXPECT_EQ(Module("O")->GetExpertSystem(false, false), own);
  EXPECT_EQ(Module("O")->GetAgenda()->GetCount(), 1);
}

}  // namespace
