// What the parser makes of correct texts.
#include <vector>

#include "kb/language/KBClipsParser.h"
#include "kb/language/KBRule.h"
#include "kb/values/FactSet.h"
#include "tests/language/LanguageTest.h"

namespace {

using kb::IFactSlot;
using kb::IKBValue;
using kb::TKBTypes;
using kbtest::LanguageTest;
using kbtest::MessageOf;

class Parser : public LanguageTest {
 protected:
  kb::TKBClipsParser& ClipsParser() { return dynamic_cast<kb::TKBClipsParser&>(engine.GetParser()); }

  /// The tests of a pattern: slots with their length, sub-index, "~" and "|" marks and values.
  static std::string Dump(const kb::TKBPattern& pattern) {
    std::string text = pattern.GetName() + "/" + std::to_string(pattern.GetNegatedCount());
    for (int slot = 0; slot < pattern.GetSlotCount(); ++slot) {
      if (pattern.GetSlotTestCount(slot) == 0 && pattern.GetSlotLength(slot) < 0) continue;
      text += " " + pattern.GetSlotName(slot).ToString() + "[" + std::to_string(pattern.GetSlotLength(slot)) + "]";
      for (const auto& test : pattern.GetSlotTests(slot)) {
        text += " " + std::to_string(test->GetMultiSlotSubIndex()) + ":";
        if (!test->GetConjunction()) text += "|";
        if (test->GetSlotTestType() == kb::sttNotEquals) text += "~";
        text += test->GetSlotValue()->ToString();
      }
    }
    return text;
  }

  /// The patterns of a rule whose left side is `text`.
  std::string LeftSide(const std::string& text) {
    const std::unique_ptr<kb::TRule> rule(engine.ParseRule("(defrule r " + text + " =>)"));
    std::string result;
    for (int i = 0; i < rule->GetPatternCount(); ++i) {
      if (i > 0) result += "; ";
      result += Dump(rule->GetPattern(i));
    }
    return result;
  }

  IFactSlot Slot(const std::string& qualifiers) { return engine.ParseFactTemplateSlot("(slot b " + qualifiers + ")"); }
  std::string Default(const std::string& qualifiers) { return Slot(qualifiers)->GetSlotDefault()->ToString(); }
};

TEST_F(Parser, TopLevelValuesAndCallsAreEchoed) {
  engine.GetGlobalContext().AddGlobalBinding(kb::TKBText("x"), kb::MakeInteger(5));
  engine.Parse("(+ 1 2) abc 12 1.5 ?x (create$) (bind ?y \"s\") ?y", true);
  EXPECT_EQ(printed.substr(0, printed.find("1.5")), "3\r\nabc\r\n12\r\n");
  EXPECT_NE(printed.find("\r\n5\r\n"), std::string::npos);
  EXPECT_TRUE(printed.ends_with("\"s\"\r\n")) << printed;
  printed.clear();
  engine.Parse("nil (defrule a =>) (deftemplate b)", true);
  EXPECT_EQ(printed, "") << "nil and constructs print nothing";
  engine.Parse("(+ 1 2)", false);
  EXPECT_EQ(printed, "(+ 1 2)\r\n") << "without execution the call itself is the value";
}

TEST_F(Parser, OnParseTellsOfEveryExpression) {
  std::vector<int> types;
  int objects = 0;
  int references = 0;
  engine.GetParser().OnParse = [&](kb::TKBParser&, kb::TParsedType type, kb::TObject* object,
                                   const kb::Ref<kb::RefCounted>& reference) {
    types.push_back(type);
    if (object != nullptr) ++objects;
    if (reference) ++references;
  };
  engine.Parse("", true);
  EXPECT_EQ(types, (std::vector<int>{kb::ptEOF}));
  types.clear();
  references = 0;
  engine.Parse("a (+ 1 2) nil (defrule r =>) (deffacts f) (deftemplate t) (deffunction g ()) (defglobal ?*x* = 1)",
               true);
  EXPECT_EQ(types, (std::vector<int>{kb::ptValue, kb::ptFunCall, kb::ptNone, kb::ptNone, kb::ptNone, kb::ptNone,
                                     kb::ptNone, kb::ptNone, kb::ptEOF}));
  EXPECT_EQ(objects, 2) << "the rule and the fact set";
  EXPECT_EQ(references, 5) << "two values, template, function, end";
}

TEST_F(Parser, EventsOfTheParts) {
  std::string events;
  kb::TKBParser& parser = engine.GetParser();
  parser.OnParseFact = [&](kb::TKBParser&, const kb::IFact& fact) { events += "fact " + fact->ToString() + ";"; };
  parser.OnParseFunCall = [&](kb::TKBParser&, const kb::IFunCall& call) {
    events += "call " + call->GetName().ToString() + ";";
  };
  parser.OnParsePattern = [&](kb::TKBParser&, kb::TKBPattern& pattern) {
    events += "pattern " + pattern.GetName() + ";";
  };
  parser.OnParseRule = [&](kb::TKBParser&, kb::TRule& rule) { events += "rule " + rule.GetRuleName() + ";"; };
  parser.OnParseFactSet = [&](kb::TKBParser&, kb::TFactSet& set) { events += "set " + set.GetFactSetName() + ";"; };
  parser.OnParseVariable = [&](kb::TKBParser&, std::string_view name, const IKBValue& value) {
    events += "variable " + std::string(name) + "=" + value->ToString() + ";";
  };
  engine.Parse("(defrule r (not (a ?x)) (test (> 1 0)) => (assert (b (+ 1 2))))", true);
  EXPECT_EQ(events, "pattern a;call >;call +;fact (b (+ 1 2) );call assert;rule r;");
  events.clear();
  engine.Parse("(deffacts s (c 1)) (defglobal ?*g* = (+ 1 2))", true);
  EXPECT_EQ(events, "fact (c 1 );set s;call +;variable *g*=(+ 1 2);");
}

TEST_F(Parser, ConstructTypes) {
  const struct {
    std::string text;
    kb::TParsedType type;
  } cases[] = {{"", kb::ptEOF},
               {"x", kb::ptValue},
               {"$?x", kb::ptValue},
               {"(defrule", kb::ptRule},
               {"(deffacts x)", kb::ptFactSet},
               {"(deftemplate)", kb::ptFactTemplate},
               {"(deffunction)", kb::ptFunction},
               {"(defglobal)", kb::ptGlobals},
               {"(deftype)", kb::ptDefType},
               {"(defmodule)", kb::ptDefModule},
               {"(DEFRULE)", kb::ptFunCall},
               {"()", kb::ptFunCall}};
  for (const auto& test : cases) {
    kb::TKBClipsStream stream(test.text);
    ClipsParser().SetStream(&stream);
    EXPECT_EQ(ClipsParser().GetConstructType(), test.type) << test.text;
    const std::string first = stream.NextToken()->ToString();
    EXPECT_EQ(first, test.text.empty() ? "EOF" : first) << "the expression stays in the stream";
    ClipsParser().SetStream(nullptr);
  }
  EXPECT_EQ(engine.GetParser().FindConstructType("deftype"), kb::ptDefType);
  EXPECT_EQ(engine.GetParser().FindConstructType("function"), kb::ptNone);
  EXPECT_EQ(engine.GetParser().GetConstructName(kb::ptValue), "");
}

TEST_F(Parser, Values) {
  const auto text = [this](const std::string& source) {
    const IKBValue value = engine.ParseValue(source);
    return value ? std::to_string(value->GetDType()) + " " + value->ToString() : std::string("none");
  };
  EXPECT_EQ(text(")"), "none");
  EXPECT_EQ(text(""), "none");
  EXPECT_EQ(text("a"), "1 a");
  EXPECT_EQ(text("[ ] x"), "9 [ ] x ");
  EXPECT_EQ(text("\"a\" 1 ?x (f)"), "9 \"a\" 1 ?x (f) ");
  EXPECT_EQ(text("((1 0) (2 ?y))"), "14 ((1 0) (2 ?y) )");
  EXPECT_EQ(text("TRUE TRUE"), "9 TRUE TRUE ") << "shared values are kept each time";
  EXPECT_EQ(text("a & b"), "9 a ") << "a list ends at what is no value";
  EXPECT_EQ(engine.ParseList(")")->GetValueCount(), 0);
  EXPECT_EQ(engine.ParseList("a =(f) [ ((1 2)) $?x")->ToString(), "a (f) [ ((1 2) ) $?x ");
}

TEST_F(Parser, CallsAndTheirArguments) {
  const auto types = [this](const std::string& source) {
    const kb::IFunCall call = engine.ParseFunCall(source);
    std::string result = call->GetName().ToString();
    for (int i = 0; i < call->GetArgumentCount(); ++i) {
      result += " " + std::to_string(call->GetArgument(i)->GetDType());
    }
    return result;
  };
  EXPECT_EQ(types("(= 1 2.0)"), "= 3 6");
  EXPECT_EQ(types("(?f a b)"), "__get-var 4 1 1");
  EXPECT_EQ(types("(foo = bar)"), "foo 2 1");
  EXPECT_EQ(types("(modify ?f (a 1) (b 2 3))"), "modify 4 9 9");
  EXPECT_EQ(types("(assert (a 1) (b (c 2)))"), "assert 8 8");
  EXPECT_EQ(types("(foo ((1 0) (2 1)) (g))"), "foo 14 7");
  const kb::IFunCall pairs = engine.ParseFunCall("(modify ?f (a 1) (b 2 3))");
  EXPECT_EQ(pairs->GetArgument(2)->GetAsList()->Get(0)->ToString(), "b");
  EXPECT_EQ(pairs->GetArgument(2)->GetAsList()->Get(1)->ToString(), "2 3 ");
  ClipsParser().AddSlotFunction("remember", 2, 2);
  EXPECT_EQ(types("(remember (f) (a 1) (g))"), "remember 7 9 7");
}

TEST_F(Parser, SlotFunctionTable) {
  kb::TKBClipsParser& parser = ClipsParser();
  EXPECT_EQ(parser.GetSlotFunctionCount(), 5);
  EXPECT_EQ(parser.GetSlotFunctionEnd(parser.IndexOfSlotFunction("assert")), 65535);
  const int index = parser.AddSlotFunction("f", 3, 5);
  parser.SetSlotFunctionStart(index, 7);
  EXPECT_EQ(parser.GetSlotFunctionEnd(index), 7);
  parser.SetSlotFunctionEnd(index, 0);
  EXPECT_EQ(parser.GetSlotFunctionStart(index), 1);
  EXPECT_EQ(parser.GetSlotFunctionEnd(index), 1);
  kb::TKBClipsParser copy(engine, nullptr);
  copy.Assign(parser);
  EXPECT_EQ(copy.IndexOfSlotFunction("f"), index);
  EXPECT_EQ(MessageOf([&] { static_cast<void>(parser.GetSlotFunctionName(99)); }), "List index out of bounds (99)");
}

TEST_F(Parser, CommentsStayWithCallsAndPatterns) {
  engine.Parse(
      "(defrule r\n"
      "  ; all of a\n"
      "  (a ?x)\n"
      "  ; none of b\n"
      "  (not ; inner\n (b))\n"
      "  ; on the variable\n"
      "  ?f <- (c)\n"
      "  =>\n"
      "  ; say it\n"
      "  (printout t ?x))",
      true);
  const kb::TRule& rule = *engine.GetRules().FindRule("r");
  EXPECT_EQ(rule.GetPattern(0).GetComment(), "; all of a");
  EXPECT_EQ(rule.GetPattern(1).GetComment(), "; none of b") << "the outermost comment wins";
  EXPECT_EQ(rule.GetPattern(2).GetComment(), "");
  EXPECT_EQ(rule.GetAction(0)->GetComment(), "; say it");
}

TEST_F(Parser, SlotValuesAreFitted) {
  engine.Parse("(deftemplate p (slot i (type INTEGER)) (slot f (type FLOAT)) (slot any) (multislot m))", true);
  const auto slot = [this](const std::string& fact, const std::string& name) {
    const IKBValue value = engine.ParseFact(fact)->GetValue(name);
    return std::to_string(value->GetDType()) + " " + value->ToString();
  };
  EXPECT_EQ(slot("(p (i 2.7))", "i"), "3 2");
  EXPECT_EQ(slot("(p (f 2))", "f"), "6 2.0000");
  EXPECT_EQ(slot("(p (i ?x))", "i"), "4 ?x") << "only the run can tell";
  EXPECT_EQ(slot("(p (i =(+ 1 2)))", "i"), "7 (+ 1 2)");
  EXPECT_EQ(slot("(p (m))", "m"), "9 ");
  engine.SetTypeChecks({});
  EXPECT_EQ(slot("(p (i abc))", "i"), "1 abc") << "without static checks anything goes";
}

TEST_F(Parser, SlotQualifiers) {
  EXPECT_EQ(Slot("")->GetSlotType(), kb::KBSlotTypes);
  EXPECT_EQ(Slot("(type LEXEME NUMBER)")->GetSlotType(),
            (TKBTypes{kb::dtAtom, kb::dtString, kb::dtInteger, kb::dtFloat}));
  EXPECT_EQ(Slot("(type CLASS)")->GetSlotType(), (TKBTypes{kb::dtClass, kb::dtInteger}));
  EXPECT_EQ(Slot("(type INTEGER ?VARIABLE)")->GetSlotType(), kb::KBSlotTypes);
  EXPECT_EQ(Default("(DEFAULT 1)"), "1");
  EXPECT_EQ(Default("(type FLOAT) (default (+ 1 2))"), "3.0000") << "worked out at once, then fitted";
  EXPECT_EQ(Default("(type INTEGER)"), "0");
  EXPECT_EQ(Default("(type INTEGER) (range 3 9)"), "3");
  EXPECT_EQ(Default("(type SYMBOL) (allowed-symbols red green)"), "red");
  const IFactSlot dynamic = Slot("(default-dynamic (+ 1 2))");
  EXPECT_TRUE(dynamic->GetDefaultDynamic());
  EXPECT_EQ(dynamic->GetSlotDefault()->ToString(), "(+ 1 2)");
  const IFactSlot multi =
      engine.ParseFactTemplateSlot("(multislot m (type INTEGER) (default 1 (+ 1 1)) (cardinality 1 3))");
  EXPECT_EQ(multi->GetSlotType(), TKBTypes(kb::dtInteger) + kb::KBMultiSlotTypes);
  EXPECT_EQ(multi->GetSlotDefault()->ToString(), "1 2 ");
  EXPECT_EQ(multi->GetExtendedTypeInfo()->GetMaxCardinality(), 3);
  engine.Parse("(deftype small extends (type INTEGER) (range 1 5))", true);
  const IFactSlot named = engine.ParseFactTemplateSlot("(multislot m (type small))");
  EXPECT_TRUE(named->GetSlotDefault()->Is(kb::dtList)) << "a multislot starts as a list whatever its type";
  EXPECT_EQ(named->GetExtendedTypeInfo()->GetName(), "small");
  const IFactSlot own = Slot("(type small) (range ?VARIABLE 4)");
  EXPECT_TRUE(own->GetExtendedTypeInfo()->GetImplicit()) << "a copy of its own";
  EXPECT_EQ(own->GetExtendedTypeInfo()->GetMinRange(), 1);
  EXPECT_EQ(own->GetExtendedTypeInfo()->GetMaxRange(), 4);
  EXPECT_EQ(engine.GetDefinedTypes().FindType("small")->GetMaxRange(), 5);
}

TEST_F(Parser, Templates) {
  engine.Parse(
      "(deftemplate a \"of a\" (slot x (default 1)) (slot y))"
      "(deftemplate b extends a (field y (default 2)) (slot z))"
      "(deftemplate c extends nosuch (slot x))"
      "(deftype colour \"of c\" extends (type SYMBOL) (allowed-symbols red green))"
      "(deftemplate d is-a colour)"
      "(deftemplate e)",
      true);
  EXPECT_EQ(engine.FindFactTemplate("a")->GetComment(), "of a");
  const kb::TFactTemplate& b = *engine.FindFactTemplate("b");
  EXPECT_EQ(b.GetSlotCount(), 3);
  EXPECT_EQ(b.GetSlot("x")->GetSlotDefault()->ToString(), "1");
  EXPECT_EQ(b.GetSlot("y")->GetSlotDefault()->ToString(), "2");
  EXPECT_EQ(b.GetParent().Get(), engine.FindFactTemplate("a"));
  EXPECT_FALSE(engine.FindFactTemplate("c")->GetParent());
  EXPECT_TRUE(engine.FindFactTemplate("d")->IsOrdered());
  EXPECT_TRUE(engine.FindFactTemplate("e")->IsOrdered()) << "a template without slots is ordered";
  EXPECT_EQ(Fault("(assert (d red green))"), "");
  EXPECT_NE(Fault("(assert (d blue))"), "");
}

TEST_F(Parser, DefinedTypesInherit) {
  engine.Parse(
      "(deftype t1 extends (type INTEGER) (range 0 (+ 4 5)) (units cm))"
      "(deftype t2 \"more\" extends (type t1 SYMBOL) (cardinality ?VARIABLE 3))",
      true);
  const kb::TKBDefinedType& t1 = *engine.GetDefinedTypes().FindType("t1");
  const kb::TKBDefinedType& t2 = *engine.GetDefinedTypes().FindType("t2");
  EXPECT_EQ(t1.GetMaxRange(), 9);
  EXPECT_EQ(t1.GetUnits(), "cm");
  EXPECT_EQ(t2.GetAncestor().Get(), &t1);
  EXPECT_EQ(t2.GetBaseTypes(), (TKBTypes{kb::dtInteger, kb::dtAtom}));
  EXPECT_EQ(t2.GetMaxRange(), 9);
  EXPECT_EQ(t2.GetComment(), "more");
  EXPECT_TRUE(t2.GetCardinalityLimited());
  EXPECT_EQ(t1.GetName(), "t1");
}

TEST_F(Parser, Functions) {
  const kb::IInterpretedFunction function =
      engine.ParseFunction("(deffunction f \"head\" (?a $?b) \"doc\" (+ ?a 1) ?a \"text\")");
  EXPECT_EQ(function->GetArgumentCount(), 2);
  EXPECT_TRUE(function->GetArgument(1)->Is(kb::dtMultiVariable));
  EXPECT_EQ(function->GetComment(), "doc");
  EXPECT_EQ(function->GetStatementCount(), 3);
  engine.Parse("(deffunction twice (?n) (* 2 ?n)) (twice 4)", true);
  EXPECT_EQ(printed, "8\r\n");
}

TEST_F(Parser, GlobalVariables) {
  engine.Parse("(defglobal ?*x* = 1 ?*y* = (+ 1 2) ?*x* = 2) ?*x* ?*y* (defglobal)", true);
  EXPECT_EQ(printed, "2\r\n3\r\n");
  EXPECT_TRUE(engine.GetGlobalVariables().Get("*y*")->Is(kb::dtFunCall)) << "the definition stays a call";
  std::string name;
  EXPECT_EQ(engine.ParseVariable("?*z* = \"s\"", name)->ToString(), "\"s\"");
  EXPECT_EQ(name, "*z*");
}

TEST_F(Parser, FactSets) {
  engine.Parse("(deffacts start \"to begin\" (a 1) (b =(+ 1 2)))", true);
  kb::TFactSet& set = engine.GetFactSets().Get(0);
  EXPECT_EQ(set.GetFactSetName(), "start");
  EXPECT_EQ(set.GetComment(), "to begin");
  EXPECT_EQ(set.GetFactCount(), 2);
  EXPECT_EQ(set.GetEngine(), &engine);
  EXPECT_EQ(set.GetOwner(), &engine);
  engine.Reset();
  EXPECT_EQ(engine.GetFacts().GetFactByID(1)->ToString(), "(b 3 )");
}

TEST_F(Parser, Declarations) {
  engine.Parse("(deffunction no () FALSE) (defglobal ?*s* = 7)", true);
  const auto flags = [this](const std::string& declarations) {
    const std::unique_ptr<kb::TRule> rule(engine.ParseRule("(defrule r \"c\" (declare " + declarations + ") =>)"));
    return std::to_string(rule->GetSalience()) + (rule->GetEnabled() ? " enabled" : "") +
           (rule->GetOneShot() ? " oneshot" : "") + (rule->GetAutoFocus() ? " focus" : "");
  };
  EXPECT_EQ(flags(""), "0 enabled");
  EXPECT_EQ(flags("(salience -5) (auto-focus TRUE) (oneshot TRUE)"), "-5 enabled oneshot focus");
  EXPECT_EQ(flags("(enabled no)"), "0");
  EXPECT_EQ(flags("(enabled 1)"), "0");
  EXPECT_EQ(flags("(enabled (no)) (salience 1) (salience (+ 1 2))"), "3");
  EXPECT_EQ(flags("(salience ?*s*)"), "7 enabled");
}

TEST_F(Parser, Patterns) {
  engine.Parse("(deftemplate person (slot name) (slot age) (multislot likes))", true);
  EXPECT_EQ(LeftSide(""), "");
  EXPECT_EQ(LeftSide("(a)"), "a/0 __Data[0]");
  EXPECT_EQ(LeftSide("(a 1 ?x $?y)"), "a/0 __Data[3] 0:1 1:?x 2:$?y");
  EXPECT_EQ(LeftSide("(person (name))"), "person/0");
  EXPECT_EQ(LeftSide("(person (name ?n) (likes $? tea) (age ~3))").substr(0, 16), "person/0 age[-1]");
  EXPECT_EQ(LeftSide("(person (age ?x&:(> ?x 3)))"), "person/0 age[-1] -1:?x -1:(> ?x 3)");
  EXPECT_EQ(LeftSide("(a ?x) (b ~?x&~red)"), "a/0 __Data[1] 0:?x; b/0 __Data[1] 0:~?x 0:~red");
  EXPECT_EQ(LeftSide("(a ?x) (b $?x)"), "a/0 __Data[1] 0:?x; b/0 __Data[1] 0:?x") << "the first use decides";
  EXPECT_EQ(LeftSide("(x 1) (not (not (a)))"), "x/0 __Data[1] 0:1; a/2 __Data[0]");
  EXPECT_EQ(LeftSide("(x 1) (not (exists (a)))"), "x/0 __Data[1] 0:1; a/3 __Data[0]");
  EXPECT_EQ(LeftSide("(x 1) (not (test (> 1 2)))"), "x/0 __Data[1] 0:1; test/0 __Data[-1] -1:~(> 1 2)");
  EXPECT_EQ(LeftSide("(test (> 1 0))"), "Initial-Fact/0; test/0 __Data[-1] -1:(> 1 0)");
}

TEST_F(Parser, OrConstraintsAndReturnValues) {
  engine.Parse("(deftemplate p (slot c))", true);
  EXPECT_EQ(LeftSide("(p (c ?x&red|blue))"), "p/0 c[-1] -1:?x -1:(or (eq red ?x) (eq blue ?x))");
  engine.SetSymbolIndex(100);
  EXPECT_EQ(LeftSide("(p (c =(+ 1 2)))"), "p/0 c[-1] -1:?_eq_100 -1:(eq* ?_eq_100 (+ 1 2))");
  EXPECT_EQ(LeftSide("(p (c ~=(f)))"), "p/0 c[-1] -1:?_eq_101 -1:~(eq* ?_eq_101 (f))");
  EXPECT_EQ(LeftSide("(p (c ?x&red|=(f)))"),
            "p/0 c[-1] -1:?x -1:?_eq_102 -1:(or (eq red ?x) (and (eq ?_eq_102 ?x) (eq* ?_eq_102 (f))))");
}

TEST_F(Parser, WrappersAndBoundNames) {
  const std::unique_ptr<kb::TRule> rule(
      engine.ParseRule("(defrule r ?f <- (unique (a)) (explicit (unique (b))) ?t <- (test (> 1 0)) =>)"));
  EXPECT_EQ(rule->GetPattern(0).GetBoundName(), "f");
  EXPECT_TRUE(rule->GetPattern(0).GetUnique());
  EXPECT_TRUE(rule->GetPattern(1).GetUnique());
  EXPECT_TRUE(rule->GetPattern(1).GetExplicit());
  EXPECT_EQ(rule->GetPattern(2).GetBoundName(), "t");
}

TEST_F(Parser, ModulesOfNames) {
  engine.Parse("(defmodule other (export ?ALL)) (defrule MAIN::r =>) (defrule other::s =>)", true);
  EXPECT_EQ(engine.GetCurrentModule()->GetName(), "other") << "the module of the last construct stays";
  EXPECT_NE(engine.GetRules().FindRule("s"), nullptr);
  EXPECT_EQ(engine.GetRules().FindRule("r"), nullptr);
  engine.GetParser().SetUseCurrentModule(true);
  engine.Parse("(defrule MAIN::t =>)", true);
  EXPECT_NE(engine.GetRules().FindRule("t"), nullptr);
  std::string name;
  EXPECT_EQ(engine.ParseFullName("MAIN::a::b", name), "MAIN");
  EXPECT_EQ(name, "a::b");
}

TEST_F(Parser, ModuleItems) {
  engine.Parse("(defmodule m \"c\" (export deftype a b) (export deftemplate ?ALL))", true);
  const kb::IModule module = engine.ParseModule("(defmodule n (import m deftemplate x) (import m deftype ?ALL))");
  EXPECT_EQ(module->GetImportModuleCount(), 1) << "both forms work on one record";
  EXPECT_EQ(module->GetImportModule(0)->GetFactTemplates(), (std::vector<std::string>{"x"}));
  EXPECT_EQ(module->GetImportModule(0)->GetDefinedTypesShared(), kb::mieAll);
  const kb::TModuleImportExport& exports = *engine.GetCurrentModule()->GetExportItems();
  EXPECT_EQ(exports.GetDefinedTypes(), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(exports.GetFactTemplatesShared(), kb::mieAll);
}

TEST_F(Parser, TakenNamesAreChangedOnRequest) {
  engine.GetParser().SetAutoRenameConstructs(true);
  engine.Parse("(deftemplate a (slot x)) (deftemplate a (slot y)) (defrule r =>) (defrule r =>) (defrule r =>)", true);
  EXPECT_TRUE(engine.FindFactTemplate("a")->ContainsSlot("x"));
  EXPECT_TRUE(engine.FindFactTemplate("a_1")->ContainsSlot("y"));
  EXPECT_EQ(engine.GetRules().GetCount(), 3);
}

TEST_F(Parser, IgnoredDuplicatesAreFreed) {
  engine.SetDuplicateConstructs(kb::dcIgnore);
  engine.Parse("(defrule r (a) =>)", true);
  const int components = engine.GetComponentCount();
  engine.Parse("(defrule r (b) =>)", true);
  EXPECT_EQ(engine.GetComponentCount(), components);
  EXPECT_EQ(engine.GetRules().FindRule("r")->GetPattern(0).GetName(), "a");
}

TEST_F(Parser, AFaultyRuleLeavesNothingBehind) {
  const int components = engine.GetComponentCount();
  EXPECT_NE(Fault("(defrule r (a) (b ~?x) =>)"), "");
  EXPECT_NE(Fault("(deffacts f (a 1) (b &))"), "");
  EXPECT_EQ(engine.GetComponentCount(), components);
}

TEST_F(Parser, GeneratedVariables) {
  engine.Parse("(deftemplate p (slot c))", true);
  kb::TStringList names;
  names.Add("v-c");
  names.Add("v-c1");
  const kb::TFactTemplate& p = *engine.FindFactTemplate("p");
  kb::TKBParser& parser = engine.GetParser();
  EXPECT_EQ(parser.GenerateVariable(names, p, "c", "v-", true)->ToString(), "?v-c2");
  EXPECT_EQ(parser.GenerateVariable(names, p, "c", "v-", false)->ToString(), "?v-c");
  EXPECT_EQ(parser.GenerateVariable(names, nullptr, "w", true)->ToString(), "?w");
}

TEST_F(Parser, LoadFacts) {
  kb::TKBClipsStream stream("(a 1) ; one\n(b 2)");
  stream.SetEngine(&engine);
  engine.GetParser().SetStream(&stream);
  EXPECT_TRUE(engine.GetParser().LoadFacts());
  engine.GetParser().SetStream(nullptr);
  EXPECT_EQ(engine.GetFacts().GetCount(), 3);
}

}  // namespace
