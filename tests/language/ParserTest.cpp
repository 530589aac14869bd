// What the parser makes of correct texts.

#include "kb/language/KBClipsParser.h"
#include "kb/language/KBRule.h"
#include "kb/values/FactSet.h"
#include "tests/language/LanguageTest.h"

namespace {

using kb::IFactSlot, kb::IKBValue, kb::TKBTypes;
using kbtest::ExpectAnswers, kbtest::LanguageTest, kbtest::MessageOf;

class Parser : public LanguageTest {
 protected:
  kb::TKBClipsParser& ClipsParser() { return dynamic_cast<kb::TKBClipsParser&>(engine.GetParser()); }
};

TEST_F(Parser, TopLevelValuesAndCallsAreEchoed) {
  engine.GetGlobalContext().AddGlobalBinding(kb::TKBText("x"), kb::MakeInteger(5));
  Expect(R"(
    (+ 1 2) abc 12 1.5 ?x (bind ?y "s") ?y --> 3\nabc\n12\n1.5000\n5\n"s"\n"s"
    // Nil and constructs print nothing.
    nil (defrule a =>) (deftemplate b) --> ;; (defglobal ?*x* = 1 ?*y* = (+ 1 2) ?*x* = 2) ?*x* ?*y* (defglobal) --> 2\n3
  )");
  EXPECT_TRUE(engine.GetGlobalVariables().Get("*y*")->Is(kb::dtFunCall)) << "the definition stays a call";
  output.clear();
  engine.Parse("(+ 1 2)", false);
  EXPECT_EQ(output, "(+ 1 2)\r\n") << "without execution the call itself is the value";
}

TEST_F(Parser, OnParseTellsOfEveryExpression) {
  std::string types;
  int objects = 0;
  int references = 0;
  engine.GetParser().OnParse = [&](kb::TKBParser&, kb::TParsedType type, kb::TObject* object,
                                   const kb::Ref<kb::RefCounted>& reference) {
    types += type == kb::ptEOF ? '.' : type == kb::ptValue ? 'v' : type == kb::ptFunCall ? 'c' : '-';
    if (object != nullptr) ++objects;
    if (reference) ++references;
  };
  engine.Do("");
  engine.Do("a (+ 1 2) nil (defrule r =>) (deffacts f) (deftemplate t) (deffunction g ()) (defglobal ?*x* = 1)");
  EXPECT_EQ(types, ".vc------.");
  EXPECT_EQ(objects, 2) << "the rule and the fact set";
  EXPECT_EQ(references, 6) << "two values, template, function, two ends";
}

TEST_F(Parser, EventsOfTheParts) {
  std::string events;
  const auto log = [&events](auto&&... parts) { ((events += parts), ...) += ";"; };
  kb::TKBParser& parser = engine.GetParser();
  parser.OnParseFact = [&](kb::TKBParser&, const kb::IFact& fact) { log("fact ", fact->ToString()); };
  parser.OnParseFunCall = [&](kb::TKBParser&, const kb::IFunCall& call) { log("call ", call->GetName().View()); };
  parser.OnParsePattern = [&](kb::TKBParser&, kb::TKBPattern& pattern) { log("pattern ", pattern.GetName()); };
  parser.OnParseRule = [&](kb::TKBParser&, kb::TRule& rule) { log("rule ", rule.GetRuleName()); };
  parser.OnParseFactSet = [&](kb::TKBParser&, kb::TFactSet& set) { log("set ", set.GetFactSetName()); };
  parser.OnParseVariable = [&](kb::TKBParser&, std::string_view name, const IKBValue& value) {
    log("variable ", name, "=", value->ToString());
  };
  engine.Do("(defrule r (not (a ?x)) (test (> 1 0)) => (assert (b (+ 1 2))))");
  EXPECT_EQ(events, "pattern a;call >;call +;fact (b (+ 1 2) );call assert;rule r;");
  events.clear();
  engine.Do("(deffacts s (c 1)) (defglobal ?*g* = (+ 1 2))");
  EXPECT_EQ(events, "fact (c 1 );set s;call +;variable *g*=(+ 1 2);");
}

TEST_F(Parser, Values) {
  const auto value = [this](const std::string& source) {
    const IKBValue read = engine.ParseValue(source);
    return read ? std::to_string(read->GetDType()) + " " + read->ToString() : std::string("none");
  };
  ExpectAnswers(value, R"(
    ) --> none ;; --> none ;; a --> 1 a ;; [ ] x --> 9 [ ] x\s ;; "a" 1 ?x (f) --> 9 "a" 1 ?x (f)\s
    ((1 0) (2 ?y)) --> 14 ((1 0) (2 ?y) )
    // Shared values are kept each time, and a list ends at what is no value.
    TRUE TRUE --> 9 TRUE TRUE\s ;; a & b --> 9 a\s
  )");
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
  ExpectAnswers(types, R"(
    (= 1 2.0) --> = 3 6 ;; (?f a b) --> __get-var 4 1 1 ;; (foo = bar) --> foo 2 1
    (modify ?f (a 1) (b 2 3)) --> modify 4 9 9 ;; (assert (a 1) (b (c 2))) --> assert 8 8
    (foo ((1 0) (2 1)) (g)) --> foo 14 7
  )");
  const kb::IFunCall pairs = engine.ParseFunCall("(modify ?f (a 1) (b 2 3))");
  EXPECT_EQ(pairs->GetArgument(2)->GetAsList()->ToString(), "b 2 3  ");
  kb::TKBClipsParser& parser = ClipsParser();
  const int index = parser.AddSlotFunction("remember", 2, 2);
  ExpectAnswers(types, "(remember (f) (a 1) (g)) --> remember 7 9 7");
  parser.SetSlotFunctionStart(index, 7);
  EXPECT_EQ(parser.GetSlotFunctionEnd(index), 7) << "the end follows the start";
  parser.SetSlotFunctionEnd(index, 0);
  EXPECT_EQ(parser.GetSlotFunctionStart(index), 1) << "and the start the end, from the first argument on";
  kb::TKBClipsParser copy(engine, nullptr);
  copy.Assign(parser);
  EXPECT_EQ(copy.IndexOfSlotFunction("remember"), index);
  EXPECT_EQ(MessageOf([&] { static_cast<void>(parser.GetSlotFunctionName(99)); }), "List index out of bounds (99)");
}

TEST_F(Parser, CommentsStayWithCallsAndPatterns) {
  engine.Do(
      "(defrule r\n ; all of a\n (a ?x)\n ; none of b\n (not ; inner\n (b))\n ; on the variable\n ?f <- (c)\n"
      " =>\n ; say it\n (printout t ?x))");
  const kb::TRule& rule = *engine.GetRules().FindRule("r");
  EXPECT_EQ(rule.GetPattern(0).GetComment(), "; all of a");
  EXPECT_EQ(rule.GetPattern(1).GetComment(), "; none of b") << "the outermost comment wins";
  EXPECT_EQ(rule.GetPattern(2).GetComment(), "");
  EXPECT_EQ(rule.GetAction(0)->GetComment(), "; say it");
}

TEST_F(Parser, SlotValuesAreFitted) {
  engine.Do("(deftemplate p (slot i (type INTEGER)) (slot f (type FLOAT)) (slot any) (multislot m))");
  const auto slots = [this](const std::string& fact) {
    const kb::IFact parsed = engine.ParseFact(fact);
    std::string result;
    for (const kb::TKBText& name : parsed->GetSlotNames()) {
      const IKBValue value = parsed->GetValue(name);
      if (!value->ToString().empty()) result += std::to_string(value->GetDType()) + " " + value->ToString() + "; ";
    }
    return result;
  };
  ExpectAnswers(slots, R"(
    (p (i 2.7) (f 2)) --> 3 2; 6 2.0000;\s
    // Only the run can tell.
    (p (i ?x)) --> 4 ?x;\s ;; (p (i =(+ 1 2))) --> 7 (+ 1 2);\s
  )");
  engine.SetTypeChecks({});
  ExpectAnswers(slots, R"((p (i abc)) --> 1 abc;\s)");
}

TEST_F(Parser, SlotQualifiers) {
  const auto slot = [this](const std::string& qualifiers) {
    return engine.ParseFactTemplateSlot("(slot b " + qualifiers + ")");
  };
  EXPECT_EQ(slot("")->GetSlotType(), kb::KBSlotTypes);
  EXPECT_EQ(slot("(type LEXEME NUMBER)")->GetSlotType(),
            (TKBTypes{kb::dtAtom, kb::dtString, kb::dtInteger, kb::dtFloat}));
  EXPECT_EQ(slot("(type CLASS)")->GetSlotType(), (TKBTypes{kb::dtClass, kb::dtInteger}));
  EXPECT_EQ(slot("(type INTEGER ?VARIABLE)")->GetSlotType(), kb::KBSlotTypes);
  const auto defaultOf = [&](const std::string& qualifiers) { return slot(qualifiers)->GetSlotDefault()->ToString(); };
  ExpectAnswers(defaultOf, R"(
    (DEFAULT 1) --> 1 ;; (type INTEGER) --> 0 ;; (type INTEGER) (range 3 9) --> 3
    (type SYMBOL) (allowed-symbols red green) --> red ;; (default-dynamic (+ 1 2)) --> (+ 1 2)
    // Worked out at once, then fitted.
    (type FLOAT) (default (+ 1 2)) --> 3.0000
  )");
  EXPECT_TRUE(slot("(default-dynamic (+ 1 2))")->GetDefaultDynamic());
  const IFactSlot multi =
      engine.ParseFactTemplateSlot("(multislot m (type INTEGER) (default 1 (+ 1 1)) (cardinality 1 3))");
  EXPECT_EQ(multi->GetSlotType(), TKBTypes(kb::dtInteger) + kb::KBMultiSlotTypes);
  EXPECT_EQ(multi->GetSlotDefault()->ToString(), "1 2 ");
  EXPECT_EQ(multi->GetExtendedTypeInfo()->GetMaxCardinality(), 3);
  engine.Do("(deftype small extends (type INTEGER) (range 1 5))");
  const IFactSlot named = engine.ParseFactTemplateSlot("(multislot m (type small))");
  EXPECT_TRUE(named->GetSlotDefault()->Is(kb::dtList)) << "a multislot starts as a list whatever its type";
  EXPECT_EQ(named->GetExtendedTypeInfo()->GetName(), "small");
  const IFactSlot own = slot("(type small) (range ?VARIABLE 4)");
  EXPECT_TRUE(own->GetExtendedTypeInfo()->GetImplicit()) << "a copy of its own";
  EXPECT_EQ(own->GetExtendedTypeInfo()->GetMinRange(), 1);
  EXPECT_EQ(own->GetExtendedTypeInfo()->GetMaxRange(), 4);
  EXPECT_EQ(engine.GetDefinedTypes().FindType("small")->GetMaxRange(), 5);
}

TEST_F(Parser, TemplatesAndTypesInherit) {
  engine.Do(
      "(deftemplate a (slot x (default 1)) (slot y))"
      "(deftemplate b extends a) (deftemplate c extends nosuch (slot x))"
      "(deftype t1 extends (type INTEGER) (range 0 (+ 4 5)))"
      "(deftype t2 extends (type t1 SYMBOL))"
      "(deftype colour extends (type SYMBOL) (allowed-symbols red green)) (deftemplate d is-a colour) (deftemplate e)");
  EXPECT_EQ(engine.FindFactTemplate("b")->GetParent().Get(), engine.FindFactTemplate("a"));
  EXPECT_FALSE(engine.FindFactTemplate("c")->GetParent());
  EXPECT_TRUE(engine.FindFactTemplate("e")->IsOrdered()) << "a template without slots is ordered";
  EXPECT_EQ(Fault("(assert (d red green))"), "");
  EXPECT_NE(Fault("(assert (d blue))"), "");
  const kb::TKBDefinedType& t2 = *engine.GetDefinedTypes().FindType("t2");
  EXPECT_EQ(t2.GetAncestor().Get(), engine.GetDefinedTypes().FindType("t1"));
  EXPECT_EQ(t2.GetBaseTypes(), (TKBTypes{kb::dtInteger, kb::dtAtom}));
  EXPECT_EQ(t2.GetMaxRange(), 9);
}

TEST_F(Parser, Declarations) {
  engine.Do("(deffunction no () FALSE) (defglobal ?*s* = 7)");
  const auto flags = [this](const std::string& declarations) {
    const std::unique_ptr<kb::TRule> rule(engine.ParseRule("(defrule r \"c\" (declare " + declarations + ") =>)"));
    return std::to_string(rule->GetSalience()) + (rule->GetEnabled() ? " enabled" : "") +
           (rule->GetOneShot() ? " oneshot" : "") + (rule->GetAutoFocus() ? " focus" : "");
  };
  ExpectAnswers(flags, R"(
    --> 0 enabled ;; (salience -5) (auto-focus TRUE) (oneshot TRUE) --> -5 enabled oneshot focus ;; (enabled no) --> 0
    (enabled 1) --> 0 ;; (enabled (no)) (salience 1) (salience (+ 1 2)) --> 3 ;; (salience ?*s*) --> 7 enabled
  )");
}

TEST_F(Parser, ModulesOfNames) {
  engine.Do("(defmodule other (export ?ALL)) (defrule MAIN::r =>) (defrule other::s =>)");
  EXPECT_EQ(engine.GetCurrentModule()->GetName(), "other") << "the module of the last construct stays";
  EXPECT_NE(engine.GetRules().FindRule("s"), nullptr);
  EXPECT_EQ(engine.GetRules().FindRule("r"), nullptr);
  engine.GetParser().SetUseCurrentModule(true);
  engine.Do("(defrule MAIN::t =>)");
  EXPECT_NE(engine.GetRules().FindRule("t"), nullptr);
  std::string name;
  EXPECT_EQ(engine.ParseFullName("MAIN::a::b", name), "MAIN");
  EXPECT_EQ(name, "a::b");
}

TEST_F(Parser, TakenNamesAreChangedOnRequest) {
  engine.GetParser().SetAutoRenameConstructs(true);
  engine.Do("(deftemplate a (slot x)) (deftemplate a (slot y)) (defrule r =>) (defrule r =>) (defrule r =>)");
  EXPECT_TRUE(engine.FindFactTemplate("a")->ContainsSlot("x"));
  EXPECT_TRUE(engine.FindFactTemplate("a_1")->ContainsSlot("y"));
  EXPECT_EQ(engine.GetRules().GetCount(), 3);
}

TEST_F(Parser, IgnoredDuplicatesAndFaultyRulesLeaveNothingBehind) {
  engine.SetDuplicateConstructs(kb::dcIgnore);
  engine.Do("(defrule r (a) =>)");
  const int components = engine.GetComponentCount();
  engine.Do("(defrule r (b) =>)");
  EXPECT_EQ(engine.GetRules().FindRule("r")->GetPattern(0).GetName(), "a");
  EXPECT_NE(Fault("(defrule r (a) (b ~?x) =>)"), "");
  EXPECT_NE(Fault("(deffacts f (a 1) (b &))"), "");
  EXPECT_EQ(engine.GetComponentCount(), components);
}

TEST_F(Parser, GeneratedVariables) {
  engine.Do("(deftemplate p (slot c))");
  kb::TStringList names;
  names.SetText("v-c\nv-c1");
  const kb::TFactTemplate& p = *engine.FindFactTemplate("p");
  kb::TKBParser& parser = engine.GetParser();
  EXPECT_EQ(parser.GenerateVariable(names, p, "c", "v-", true)->ToString(), "?v-c2");
  EXPECT_EQ(parser.GenerateVariable(names, p, "c", "v-", false)->ToString(), "?v-c");
  EXPECT_EQ(parser.GenerateVariable(names, nullptr, "w", true)->ToString(), "?w");
}

}  // namespace
