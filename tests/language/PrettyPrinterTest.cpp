// Objects back to text: exact forms, and texts that read back to what they came from.
#include "kb/language/PrettyPrinter.h"
#include "kb/values/FactSet.h"
#include "kb/values/LosslessText.h"
#include "tests/language/LanguageTest.h"

namespace {

using kbtest::ExpectAnswers, kbtest::LanguageTest;

class PrettyPrinter : public LanguageTest {
 protected:
  std::string Rule(const std::string& text) {
    const std::unique_ptr<kb::TRule> rule(engine.ParseRule(text));
    return rule->ToString();
  }
};

TEST_F(PrettyPrinter, FactsAndCalls) {
  engine.Do(
      "(deftemplate p (slot y) (slot x (default nil)) (multislot m)) (deffacts f \"some\" (a 1) (b)) (deffacts g)");
  // Slots by name, without those that have no text.
  ExpectAnswers([this](const std::string& text) { return engine.ParseFact(text)->ToString(); }, R"(
    (a) --> (a) ;; (a 1 "b c" 2.5 d) --> (a 1 "b c" 2.5000 d ) ;; (p (y 1) (m a b)) --> (p (m a b ) (y 1))
    (p (y =(+ 1 2))) --> (p (y (+ 1 2)))
  )");
  const kb::IFact p = engine.ParseFact("(p (y 1))");
  EXPECT_EQ(kb::PrettyPrint(*p, "y"), "(y 1)");
  EXPECT_EQ(kb::PrettyPrint(*p, "y", kb::MakeInteger(9)), "(y 9)");
  EXPECT_EQ(kb::PrettyPrint(*p, "y", std::string_view()), "");
  EXPECT_EQ(engine.GetFactSets().Get(0).ToString(), "(deffacts MAIN::f \"some\"\r\n   (a 1 )\r\n   (b))");
  EXPECT_EQ(kb::PrettyPrint(engine.GetFactSets().Get(1), false), "(deffacts g)");
  ExpectAnswers([this](const std::string& text) { return engine.ParseFunCall(text)->ToString(); }, R"(
    (f) --> (f) ;; (f a "b" (g 1)) --> (f a "b" (g 1)) ;; (modify ?f (a 1) (b 2 3)) --> (modify ?f (a 1 ) (b 2 3  ))
    (assert (a 1) (b)) --> (assert (a 1 ) (b)) ;; ; one\n; two\n(f) --> ; one\r\n; two\r\n(f)
  )");
  const kb::TLosslessText lossless;
  EXPECT_EQ(engine.ParseFunCall("(modify ?f ?pair (a 1))")->ToString(), "(modify ?f ?pair (a 1 ))")
      << "else the reader takes ?pair for a name";
}

TEST_F(PrettyPrinter, Slots) {
  ExpectAnswers([this](const std::string& text) { return engine.ParseFactTemplateSlot(text)->ToString(); }, R"(
    (slot a (type SYMBOL LEXEME) (default x)) --> (slot a (type ATOM STRING)\r\n      (default x) )
    (multislot a (default x y)) --> (multislot a (default x y ) ) ;; (multislot a) --> (multislot a )
    (slot a (default-dynamic (f))) --> (slot a (default-dynamic (f)) )
    (slot a (default nil) (type NUMBER)) --> (slot a (type INTEGER FLOAT))
    (multislot a (type NUMBER)) --> (multislot a (type INTEGER FLOAT) )
    (slot a (type INTEGER) (range 0.5 ?VARIABLE) (default 3))
      --> (slot a (type INTEGER)\r\n   (range 0 ?VARIABLE) \r\n      (default 3) )
  )");
}

TEST_F(PrettyPrinter, Templates) {
  engine.Do(
      "(deftemplate a \"of a\" (slot x (default 1)) (slot b))"
      "(deftemplate b extends a (field b (default 2)) (slot c))"
      "(deftype t extends (type SYMBOL))(deftemplate c is-a t) (deftemplate d)");
  EXPECT_EQ(engine.FindFactTemplate("a")->ToString(),
            "(deftemplate MAIN::a \"of a\"\r\n   (slot x (default 1) )\r\n   (slot b ))");
  EXPECT_EQ(kb::PrettyPrint(*engine.FindFactTemplate("b"), false),
            "(deftemplate b\r\n   extends a\r\n   (slot x (default 1) )\r\n   (slot b (default 2) )\r\n   (slot c ))");
  EXPECT_EQ(kb::PrettyPrint(*engine.FindFactTemplate("c"), false), "(deftemplate c is-a t)");
  EXPECT_EQ(kb::PrettyPrint(*engine.FindFactTemplate("d"), false), "(deftemplate d)");
}

TEST_F(PrettyPrinter, DefinedTypes) {
  engine.Do(
      "(deftype t1 \"of t\" extends (type INTEGER SYMBOL) (range 0 10) (units \"per day\") (cardinality 1 ?VARIABLE)"
      " (allowed-symbols red green))(deftype t2 extends (type t1 FLOAT) (range 0 20))");
  const std::string t1 = engine.GetDefinedTypes().FindType("t1")->ToString();
  EXPECT_EQ(t1,
            "(deftype MAIN::t1 \r\n   \"of t\"\r\n   extends (type ATOM INTEGER)\r\n   (range 0 10) \r\n"
            "   (units \"per day\")\r\n   (cardinality 1 ?VARIABLE) \r\n   (allowed-symbols red green ))");
  EXPECT_EQ(engine.GetDefinedTypes().FindType("t2")->ToString(),
            "(deftype MAIN::t2 extends (type t1 FLOAT)\r\n   (range 0 20))")
      << "only what it adds to its parent";
}

TEST_F(PrettyPrinter, Rules) {
  engine.Do("(deftemplate person (slot name) (slot age) (multislot likes))");
  ExpectAnswers([this](const std::string& text) { return Rule(text); }, R"(
    (defrule r =>) --> (defrule MAIN::r\r\n\r\n   =>)
    (defrule r (test (> 1 0)) =>) --> (defrule MAIN::r\r\n   (Initial-Fact )\r\n   (test (> 1 0))\r\n   =>)
  )");
  EXPECT_EQ(Rule("(defrule r \"says\" (declare (salience 5) (oneshot TRUE) (enabled no))\n"
                 "; who\n ?p <- (person (name ?n) (age ~3))\n(not (a ?n)) => \n; out\n(printout t ?n) (halt))"),
            "(defrule MAIN::r\r\n   \"says\"\r\n   (declare (salience 5) (enabled FALSE) (oneshot TRUE))\r\n"
            "   ?p <- (person (age ~3) (name ?n) )\r\n   (not (a ?n))\r\n   =>\r\n"
            "   ; out\r\n   (printout t ?n)\r\n   (halt))");
  const std::unique_ptr<kb::TRule> rule(engine.ParseRule("(defrule r (a) => (b) (c))"));
  EXPECT_EQ(kb::PrettyPrint(*rule, kb::rcPattern), "   (a )");
  EXPECT_EQ(kb::PrettyPrint(*rule, kb::rcAction), "   (b)\r\n   (c)\r\n");
}

TEST_F(PrettyPrinter, Patterns) {
  engine.Do("(deftemplate person (slot name) (slot age) (multislot likes))");
  const auto second = [this](const std::string& text) {
    const std::unique_ptr<kb::TRule> rule(engine.ParseRule("(defrule r (first ?x) " + text + " =>)"));
    return rule->GetPattern(1).ToString();
  };
  ExpectAnswers(second, R"(
    // The first use decides what a variable is.
    (b $?x) --> (b ?x) ;; (a ~?x&~red) --> (a ~?x&~red)
    (a) --> (a ) ;; (a 1 ?x&~2 $?y) --> (a 1 ?x&~2 $?y) ;; (person (name)) --> (person )
    (person (age ?y&:(> ?y 3))) --> (person (age ?y&:(> ?y 3)) ) ;; (not (not (a))) --> (exists (a ))
    (not (exists (a))) --> (not (exists (a ))) ;; (explicit (unique (a))) --> (explicit (unique (a )))
    // Behind a bar every term is an alternative, in front of it they belong together.
    (a ?y&red&~green|blue) --> (a ?y&:(or (and (eq red ?y) (neq green ?y)) (eq blue ?y)))
    (a ?y&red|blue&~green) --> (a ?y&:(or (eq red ?y) (eq blue ?y) (neq green ?y)))
    (not (test (f ?x))) --> (not (test (f ?x))) ;; (a ?y&red|blue) --> (a ?y&:(or (eq red ?y) (eq blue ?y)))
  )");
  EXPECT_EQ(second("; why\n;; how\n (a)"), "; why\r\n;; how\r\n(a )");
}

TEST_F(PrettyPrinter, FunctionsAndVariables) {
  EXPECT_EQ(engine.PrettyPrint(*engine.ParseFunction("(deffunction f \"head\" (?a $?b) \"doc\" (+ ?a 1) ?a \"text\")")),
            "(deffunction f (?a $?b)\r\n   \"doc\"\r\n   (+ ?a 1)\r\n   ?a\r\n   \"text\"\r\n)\r\n");
  for (const char* name : {"*x*", "?*x*"}) EXPECT_EQ(kb::PrettyPrint(name, kb::MakeInteger(1)), "?*x* = 1");
  engine.Do("(defglobal ?*a* = 1 ?*b* = (+ 1 2))");
  EXPECT_EQ(kb::PrettyPrint(engine.GetGlobalVariables()), "(defglobal ?*a* = 1 ?*b* = (+ 1 2))");
}

TEST_F(PrettyPrinter, Help) {
  const auto function = engine.RegisterFunction(
      "half", [](kb::TFunctionArguments&) { return kb::FCNil; }, 1, 1);
  function->SetComment("Half of a number, which is to say that number divided by two and nothing else at all.");
  function->SetArgumentString(" <number>");
  EXPECT_EQ(engine.PrettyPrint(*function),
            ";; half function\r\n;;    Half of a number, which is to say that number divided by two\r\n"
            ";;    and nothing else at all.\r\n;; \r\n;;      Syntax: (half <number>)");
  EXPECT_TRUE(kb::PrettyPrint(kb::ptFactSet).ends_with("\r\n\r\nSyntax:\r\n(deffacts <name> [\"comment\"] <fact>*)"));
}

TEST_F(PrettyPrinter, Modules) {
  engine.Do("(defmodule a \"of a\" (export deftype x y) (export deftemplate ?ALL)) (defmodule b)");
  const kb::IModule module = engine.ParseModule("(defmodule c (import a deftemplate p) (import b ?ALL))");
  EXPECT_EQ(engine.GetModules().GetModule("a")->ToString(),
            "(defmodule a \"of a\"\r\n   (export deftype x y )\r\n   (export deftemplate ?ALL))");
  EXPECT_EQ(kb::PrettyPrint(*module),
            "(defmodule c\r\n   (import a deftemplate p )\r\n   (import b deftype ?ALL)\r\n"
            "   (import b deftemplate ?ALL))");
}

TEST_F(PrettyPrinter, RulesReadBack) {
  engine.Do("(deftemplate person (slot name) (slot age) (multislot likes)) (deftemplate colour (slot c))");
  for (const std::string left :
       {"(a)", "(a 1 ?x $?y \"s\" 2.5)", "(person (name ?n) (likes ?n $? tea)) (not (a ?n))",
        "?f <- (unique (a ?x)) (exists (b ?x)) (test (> ?x 1))", "(colour (c ?x&red|blue|~:(f ?x)))",
        "(colour (c red|blue))", "(colour (c =(f)))", "(colour (c red|=(f)))", "(person (likes tea|=(f) $?))",
        "(a ?x) (colour (c ~=(f ?x)&~?x))", "(not (a))", "(x) (not (test (> 1 2)))", "(x) (not (not (not (a ?))))",
        "(x) (not (a ~?))", "(x) (not (a b|~?))", "(a ?x) (need-b ?x)", "(need-b ?x)",
        "; one\n(a)\n; two\n(explicit (b))"}) {
    const std::string first = Rule("(defrule r \"c\" (declare (salience 3)) " + left + " => (f 1) (modify 1 (a 2)))");
    const std::string second = Rule(first);
    EXPECT_EQ(second, first) << left;
  }
}

TEST_F(PrettyPrinter, TemplatesReadBack) {
  engine.Do("(deftype t extends (type INTEGER SYMBOL) (range 0 9) (allowed-symbols a b))");
  for (const std::string slots :
       {"(slot a)", "(multislot a (default 1 2))", "(slot a (type INTEGER) (range 1 5) (default 3) (units cm))",
        "(slot a (type t))", "(slot a (type t) (range 1 2))", "(multislot a (type SYMBOL) (cardinality 0 4))",
        "(slot a (allowed-values a \"b\" 1 2.5))", "(slot a (allowed-numbers 1 2.5) (allowed-lexemes a \"b\"))",
        "(slot a (default-dynamic (gensym))) (slot b (type FLOAT))", "(multislot a (type FUZZY) (cardinality 1 2))",
        "(slot a (type NUMBER) (range 2147483647 ?VARIABLE))"}) {
    engine.Do("(deftemplate a \"c\" " + slots + ")");
    const std::string first = engine.FindFactTemplate("a")->ToString();
    engine.Do(first);
    EXPECT_EQ(engine.FindFactTemplate("a")->ToString(), first) << slots;
  }
  const std::string type = engine.GetDefinedTypes().FindType("t")->ToString();
  engine.Do(type);
  EXPECT_EQ(engine.GetDefinedTypes().FindType("t")->ToString(), type);
}

}  // namespace
