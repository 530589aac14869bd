// Faulty texts against the whole message that they give, and the two error policies.
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>

#include "kb/language/KBClipsParser.h"
#include "tests/language/LanguageTest.h"

namespace {

using kbtest::LanguageTest, kbtest::MessageOf;

class ParseError : public LanguageTest {
 protected:
  /// Faults of texts, those with a place as "!message in routine [expression]", which begins with the
  /// number of its line if that is not 1.
  void Check(std::string_view table) {
    kbtest::ExpectAnswers(
        [this](const std::string& text) {
          std::string message = Fault(text);
          if (!message.starts_with("Parsing Error, ")) return message;
          message = kb::ReplaceAll(message.substr(15), " at line 1: ", " [");
          return "!" + kb::ReplaceAll(message, " at line ", " [") + "]";
        },
        table);
  }

  static std::string Framed(const std::string& message, const std::string& where, const std::string& expression,
                            int line = 1) {
    return "Parsing Error, " + message + " in " + where + " at line " + std::to_string(line) + ": " + expression;
  }
};

TEST_F(ParseError, TopLevel) {
  Check(R"(
    "text"
      --> !Unexpected symbol, expected a "(", constant, or global variable: \"text"\ in GetConstructType [\"text"\ ]
    & x --> !Unexpected symbol, expected a "(", constant, or global variable: & in GetConstructType [& ]
    ) --> !Unexpected symbol, expected a "(", constant, or global variable: ) in GetConstructType [) ]
    ?x --> Unknown variable name: x ;; ( --> !Missing name in ParseFunCall [ ( EOF ]
    \n\n(foo --> !Unexpected end of stream in ParseFunCall [3:  ( foo EOF ]
    (1 2) --> !Missing name in ParseFunCall [ ( 1 ] ;; ("a") --> !Missing name in ParseFunCall [ ( \"a"\ ]
    (& b) --> !Missing name in ParseFunCall [ ( & ] ;; (nosuch 1) --> Function is unimplemented or unassigned: nosuch
    "open --> Invalid string value, string was not terminated
  )");
}

TEST_F(ParseError, LinesAndLongExpressions) {
  EXPECT_EQ(Fault("(+ 1 2)\r\n(foo\n\nbar (1))"), Framed("Missing name", "ParseFunCall", " ( foo \r\nbar ( 1 ", 4));
  const std::string text = "(foo " + std::string(300, 'x') + " (\xC3\xA4\xC3\xB6 " + std::string(200, 'y') + " (1)))";
  const std::string message = Fault(text);
  EXPECT_NE(message.find(" ( foo " + std::string(121, 'x') + "... \r\n" + std::string(123, 'y') + " ( 1 "),
            std::string::npos)
      << message;
}

TEST_F(ParseError, Facts) {
  engine.Do(
      "(deftemplate p (slot n (type INTEGER)) (slot w (type INTEGER) (range 0 10)) (multislot m (type INTEGER)))");
  Check(R"~(
    (assert ("a")) --> !Expected "( <atom>" in ParseFact [ ( assert ( \"a"\ ]
    (assert-string "a 1)") --> !Expected "( <atom>" in ParseFact [a ]
    (assert (b = 3)) --> !"=" cannot appear as an atom within a fact in ParseList [ ( assert ( b = 3 ]
    (assert (b & 3)) --> !Bad Slot Value: & in ParseList [ ( assert ( b & ]
    (assert (b 1 2 --> !Expected ")" in ParseFactSlot [ ( assert ( b 1 2 EOF ]
    (assert (p x)) --> !Expected "(" in ParseFactSlot [ ( assert ( p x ]
    (assert (p (1 x))) --> !Bad Slot Name: 1 in ParseFactSlot [ ( assert ( p ( 1 ]
    (assert (p (q 1))) --> No such slot name: "q"
    (assert (p (n 1 2))) --> !Expected ")" in ParseFactSlot [ ( assert ( p ( n 1 2 ]
    (assert (p (n))) --> !Bad Slot Value: ) in ParseValue [ ( assert ( p ( n ) ]
    (assert (p (n abc)))
      --> !Not a INTEGER type.  Value (abc) is a dtAtom type for ParseValue slot in ParseValue(SlotTypes) [ ( assert ( p ( n abc ]
    (assert (p (w 11)))
      --> !Value "11" is not valid, Range must be between 0.0000 and 10.0000 in ParseValue(SlotTypes) [ ( assert ( p ( w 11 ]
    (modify 1 (n)) --> !Expected value missing in ParseValuePair [ ( modify 1 ( n ]
    (modify 1 (2 n)) --> !Expected "( <atom>" in ParseValuePair [ ( modify 1 ( 2 ]
    (modify 1 (n & 1)) --> !Bad Argument: & in ParseValue [ ( modify 1 ( n & ]
    (foo ((x 1))) --> !Expected number, variable, or function call in ParseFuzzyPoints [ ( foo ( ( x ]
    (foo ((1 2 3))) --> !Expected ")" in ParseFuzzyPoints [ ( foo ( ( 1 2 3 ]
  )~");
  const std::string elements = Fault("(assert (p (m 1 x)))");
  EXPECT_NE(elements.find("Not a "), std::string::npos) << elements;
  EXPECT_NE(elements.find("for m slot in ParseValue(Fact Slot) at line 1"), std::string::npos) << elements;
  engine.GetParser().SetStrictFactTemplates(true);
  Check("(assert (unknown 1)) --> !Unknown fact template: unknown in ParseFact [ ( assert ( unknown ]");
}

TEST_F(ParseError, Templates) {
  Check(R"~(
    (deftemplate) --> !Missing name in ParseFullName [ ( deftemplate ) ]
    (deftemplate nosuch::a) --> !No such module with name=nosuch exists in ParseFullName [ ( deftemplate nosuch::a ]
    (deftemplate a x) --> !Expected "(", "extends", or "is-a" in ParseFactTemplate [ ( deftemplate a x ]
    (deftemplate a extends 1)
      --> !Missing name of parent template to extend in ParseFactTemplate [ ( deftemplate a extends 1 ]
    (deftemplate a is-a) --> !Missing name of type for fact template in ParseFactTemplate [ ( deftemplate a is-a ) ]
    (deftemplate a is-a nosuch)
      --> !type name unknown or invalid: nosuch in ParseFactTemplate [ ( deftemplate a is-a nosuch ]
    (deftemplate a (SLOT b)) --> !Invalid slot type: SLOT in ParseFactTemplateSlot [ ( deftemplate a ( SLOT ]
    (deftemplate a (slot 1)) --> !Bad Slot Name: 1 in ParseFactTemplateSlot [ ( deftemplate a ( slot 1 ]
    (deftemplate a (slot b$c)) --> "b$c" contains unexpected character: "$"
    (deftemplate a$b (slot c)) --> "a$b" contains unexpected character: "$"
    (deftemplate a (slot b) c) --> !Expected ")" in ParseFactTemplate [ ( deftemplate a ( slot b ) c ]
    (deftemplate a (slot b c)) --> !Expected ")" in ParseFactTemplate [ ( deftemplate a ( slot b c ]
    (deftemplate a (slot b (sort 1)))
      --> !Invalid slot qualifier: sort in ParseFactTemplateSlot [ ( deftemplate a ( slot b ( sort ]
    (deftemplate a (slot b (default ?NONE))) --> Corrupted Binding, variable not found: NONE
    (deftemplate a (slot b (range 1 ?max))) --> Corrupted Binding, variable not found: max
    (deftemplate a (slot b (allowed-integers one))) --> Not a integer type.  Value (one) is a dtAtom type
    (deftemplate a (slot b (type NOTYPE)))
      --> !Invalid slot type: NOTYPE in ParseSlotTypes [ ( deftemplate a ( slot b ( type NOTYPE ]
    (deftemplate a (slot b (type FUZZY INTEGER)))
      --> !Cannot mix fuzzy type with other primitive types in ParseSlotTypes [ ( deftemplate a ( slot b ( type FUZZY INTEGER ]
    (deftemplate a (slot b (type FUZZY) (range 1 2)))
      --> !Invalid attempt to modify fuzzy type in fact template slot, fuzzy types cannot be modified in ParseFactTemplateSlot [ ( deftemplate a ( slot b ( type FUZZY ) ( range ]
    (deftemplate a (slot b (range x 1)))
      --> !Expected integer, variable, or function call for range in ParseDefinedType [ ( deftemplate a ( slot b ( range x ]
    (deftemplate a (slot b (cardinality 1)))
      --> !Expected integer, variable, or function call for cardinality in ParseDefinedType [ ( deftemplate a ( slot b ( cardinality 1 ) ]
    (deftemplate a (slot b (ALLOWED-values x)))
      --> !Expected allowed value argument for deftype, received ALLOWED-values in ParseDefinedType [ ( deftemplate a ( slot b ( ALLOWED-values ]
    (deftemplate a (slot b (allowed-values x
      --> !Unexpected end of stream in ParseDefinedType [ ( deftemplate a ( slot b ( allowed-values x EOF ]
  )~");
  const std::string late = Fault("(deftemplate a (slot b (default 1) (type STRING)))");
  EXPECT_NE(late.find("for b slot in ParseFactTemplateSlot at line 1"), std::string::npos) << late;
  EXPECT_EQ(engine.FindFactTemplate("a"), nullptr) << "no half-made template reached the engine";
}

TEST_F(ParseError, TypesModulesFunctionsAndGlobals) {
  engine.Do("(deftype t1 extends (type INTEGER)) (deftype t2 extends (type FLOAT))");
  Check(R"~(
    (deftype t (type ATOM)) --> !Missing keyword.  Expected "extends" in ParseDefinedType [ ( deftype t ( ]
    (deftype t extends (kind ATOM))
      --> !Missing keyword.  Expected "type" in ParseDefinedType [ ( deftype t extends ( kind ]
    (deftype t extends (type t1 t2))
      --> !Multiple inheritance is not allowed for deftypes in ParseSlotTypes [ ( deftype t extends ( type t1 t2 ]
    (deftype t extends (type ATOM) (colour red))
      --> !Expected allowed value argument for deftype, received colour in ParseDefinedType [ ( deftype t extends ( type ATOM ) ( colour ]
    (defmodule (a)) --> !Missing name in ParseModule [ ( defmodule ( ]
    (defmodule m (use ?ALL)) --> !Invalid defmodule keyword: "use" in ParseModule [ ( defmodule m ( use ]
    (defmodule m (import nosuch ?ALL))
      --> !Module does not exist: "nosuch" in ParseModule [ ( defmodule m ( import nosuch ]
    (defmodule m (export defrule ?ALL))
      --> !Missing module export keyword (?ALL, ?NONE, deftype, or deftemplate): "defrule" in ParseModule [ ( defmodule m ( export defrule ]
    (defmodule m (export ?SOME)) --> !Unknown variable name: SOME in ParseModule [ ( defmodule m ( export ?SOME ]
    (defmodule m (export deftemplate a 1))
      --> !Invalid name in defmodule name list: "1" in ParseNameList [ ( defmodule m ( export deftemplate a 1 ]
    (deffunction f x) --> !Expected "(" in ParseFunction [ ( deffunction f x ]
    (deffunction f (1)) --> !Expected ")" in ParseFunction [ ( deffunction f ( 1 ]
    (deffunction f () =) --> !Unexpected character found: "=" in ParseFunction [ ( deffunction f ( ) = ]
    (defglobal x) --> !Missing name in ParseVariable [ ( defglobal x ]
    (defglobal ?x = 1)
      --> !Bad Variable Name, must start and end with an asterisk: x in ParseVariable [ ( defglobal ?x ]
    (defglobal ?*x* 1) --> !Expected "=" in ParseVariable [ ( defglobal ?*x* 1 ]
  )~");
}

TEST_F(ParseError, FuzzyValues) {
  engine.Do("(deftemplate a (slot b (type FUZZY))) (deftype u extends (type FUZZY)) (deftemplate c (slot d (type u)))");
  Check(R"(
    (assert (a (b hot))) --> !Fuzzy Type Definition needed to parse value in ParseValue [ ( assert ( a ( b ]
    (defrule r (a (b hot)) =>)
      --> !Fuzzy Type Definition needed to parse value in ParsePattern [ ( defrule r ( a ( b hot ]
    (assert (c (d low high))) --> !Invalid Fuzzy Expression: low high  in ParseValue [ ( assert ( c ( d low high ]
    (assert (c (d tiny))) --> Invalid item in fuzzy expression: tiny
    (defrule r (c (d low high)) =>) --> !Slot "d" is not a multislot in ParsePattern [ ( defrule r ( c ( d low high ]
    (deftype u extends (type u)) --> Type inheritance loop detected, u type cannot be an ancestor of itself
    (deftemplate e (slot d (units m) (type FUZZY)))
      --> !Invalid attempt to modify fuzzy type in fact template slot, fuzzy types cannot be modified in ParseFactTemplateSlot [ ( deftemplate e ( slot d ( units m ) ( type FUZZY ]
    (deftype t extends (type FUZZY) (range 5 5)) --> Invalid universe of discourse: 5.0000 to 5.0000
    (deftype t extends (type FUZZY) (range ?x 5))
      --> !Expected value missing in ParseDefinedType [ ( deftype t extends ( type FUZZY ) ( range ?x ]
    (deftype t extends (type FUZZY) (default 1))
      --> !Missing keyword.  Expected "range, units, or values" in ParseFuzzyVariable [ ( deftype t extends ( type FUZZY ) ( default ]
    (deftype t extends (type FUZZY) (values low))
      --> !Expected "( term" in ParseFuzzySet [ ( deftype t extends ( type FUZZY ) ( values low ]
    (deftype t extends (type FUZZY) (values (term very (tri 1 2 3))))
      --> !Invalid fuzzy term name: very in ParseFuzzySet [ ( deftype t extends ( type FUZZY ) ( values ( term very ]
    (deftype t extends (type FUZZY) (values (term x low high))) --> Invalid item in fuzzy expression: low
  )");
}

TEST_F(ParseError, Rules) {
  engine.Do("(deftemplate person (slot name) (slot age) (multislot likes))");
  Check(R"~(
    (defrule 1) --> !Missing name in ParseFullName [ ( defrule 1 ]
    (defrule a?b =>) --> "a?b" contains unexpected character: "?"
    (defrule r (declare (weight 1)) =>)
      --> !Expected rule property, salience, oneshot, or enabled in ParseRule [ ( defrule r ( declare ( weight ]
    (defrule r (declare (salience 1.5)) =>)
      --> !Expected integer, variable, or function call for salience in ParseRule [ ( defrule r ( declare ( salience 1.5000 ]
    (defrule r (a) => 1) --> !Expected ")" in ParseRule [ ( defrule r ( a ) = > 1 ]
    (defrule r (a) (foo)) --> !Expected "=>" in ParseRule [ ( defrule r ( a ) ( foo ) ) ]
    (defrule r (a) x =>) --> !Expected "=>" in ParseRule [ ( defrule r ( a ) x ]
    (defrule r ?x (a) =>) --> !Expected "<-" in ParseRulePatterns [ ( defrule r ?x ( ]
    (defrule r ?x <- (not (a)) =>)
      --> !"not" and "test" CEs cannot be bound to variables in ParseRulePatterns [ ( defrule r ?x <- ( not ( a ) ) ]
    (defrule r ("a") =>) --> !Expected "( <atom>" in ParsePattern [ ( defrule r ( \"a"\ ]
    (defrule r (not a)) =>) --> !Expected "( <atom>" in ParsePattern [ ( defrule r ( not a ]
    (defrule r (exists (a) (b)) =>) --> !Expected ")" in ParsePattern [ ( defrule r ( exists ( a ) ( ]
    (defrule r (or (a) (b)) =>) --> !Bad Slot Value: ( in ParsePattern [ ( defrule r ( or ( ]
    (defrule r (a 1 & ) =>) --> !Bad Slot Value: ) in ParsePattern [ ( defrule r ( a 1 & ) ]
    (defrule r (a ~ ) =>) --> !Bad Slot Value: ) in ParsePattern [ ( defrule r ( a ~ ) ]
    (defrule r (person name) =>) --> !Expected ")" in ParsePattern [ ( defrule r ( person name ]
    (defrule r (person (1 2)) =>) --> !Bad Slot Name: 1 in ParsePattern [ ( defrule r ( person ( 1 ]
    (defrule r (person (name a b)) =>)
      --> !Slot "name" is not a multislot in ParsePattern [ ( defrule r ( person ( name a b ]
    (defrule r (person (size 1)) =>) --> No such slot name: "size"
    (defrule r (a ~?x) =>) --> First Use of Variable is negated, variable name is x
  )~");
  EXPECT_EQ(engine.GetRules().GetCount(), 0);
}

TEST_F(ParseError, TheExceptionSaysWhatAndWhere) {
  try {
    engine.Parse("(a)\n(assert (b = 1))", false);
    FAIL();
  } catch (const kb::EKBParseException& error) {
    EXPECT_EQ(error.Id(), kb::TKBMessage::EqualsInFact);
    EXPECT_EQ(error.GetLineNumber(), 2);
    kb::EKBParseException copy = error;
    copy.GetExpected().Add("a value");
    EXPECT_EQ(copy.GetExpected().GetCount(), 1);
  }
}

TEST_F(ParseError, GatheredAtTheEnd) {
  engine.SetParserErrorHandling(kb::ehRaiseAllAtEnd);
  const std::string one = Framed("Expected \"=>\"", "ParseRule", " ( defrule b ( x ) ) ", 2);
  EXPECT_EQ(Fault("(defrule a =>)\n(defrule b (x))\n(defrule c =>)"), one + "\r\n");
  EXPECT_EQ(engine.GetRules().GetCount(), 2) << "what is right is kept";

  EXPECT_EQ(Fault("(defrule b (x))\n(+ 1 2)\n(nosuch)\n(+ 3 4)"),
            "Errors parsing stream:\r\n" + Framed("Expected \"=>\"", "ParseRule", " ( defrule b ( x ) ) ") + "\r\n" +
                Framed("Function is unimplemented or unassigned: nosuch", "Parse", " ( nosuch ) ", 3) + "\r\n");
  EXPECT_EQ(output, "3\r\n7\r\n") << "calls are executed in any case";
  EXPECT_EQ(Fault("(+ 1 2) (exit) (+ 3 4) (bad"), "") << "a silent abort ends the text without an entry";
}

TEST_F(ParseError, TheNumberOfGatheredErrorsIsLimited) {
  engine.SetParserErrorHandling(kb::ehRaiseAllAtEnd);
  std::string text;
  for (int i = 0; i < 20; ++i) text += "(1) (+ " + std::to_string(i) + " 0)\n";
  const auto errors = [&](int limit) {
    engine.SetParserMaxErrors(limit);
    const std::string message = Fault(text);
    int count = 0;
    for (size_t at = message.find("Missing name"); at != std::string::npos; at = message.find("Missing name", at + 1)) {
      ++count;
    }
    return count;
  };
  EXPECT_EQ(errors(10), 11);
  EXPECT_EQ(errors(0), 1);
}

TEST_F(ParseError, AWrapperGivesTheStreamBack) {
  kb::TKBClipsStream stream("(x 1)");
  engine.GetParser().SetStream(&stream);
  EXPECT_NE(MessageOf([&] { static_cast<void>(engine.ParseFact("(x =")); }), "");
  EXPECT_EQ(engine.GetParser().GetStream(), &stream);
  engine.GetParser().SetStream(nullptr);
  EXPECT_EQ(MessageOf([&] { static_cast<void>(engine.GetParser().ParseFact()); }), "Unexpected end of stream");
}

// Words of the language in random order, and a correct program with random words left out, doubled or moved:
// what comes of it is a construct or an exception, and the engine goes on working.
TEST_F(ParseError, AnyTextEndsInAConstructOrAnException) {
  std::istringstream all(R"~(
      ( deftemplate p "c" ( slot a ( type INTEGER NUMBER ) ( range 1 ?VARIABLE ) ( default 3 ) ) ( multislot m (
      cardinality 0 3 ) ( default-dynamic ( create$ 1 2 ) ) ) ) ( deftemplate q extends p ) ( deftype t extends ( type
      SYMBOL ) ( allowed-symbols x y ) ) ( defmodule o ( export deftemplate ?ALL ) ) ( defrule MAIN::r "c" ( declare (
      salience 5 ) ( oneshot TRUE ) ) ?f <- ( p ( a ?x & ~ 3 | = ( + 1 2 ) ) ( m $? ?y & : ( eq ?y ?x ) ) ) ( not (
      exists ( z ?x 1 ) ) ) ( test ( neq ?x 2 ) ) = > ( assert ( z 1 ) ) ( modify ?f ( a 5 ) ) ) ( deffunction g ( ?u
      $?v ) ( + ?u 1 ) ) ( defglobal ?*g* = ( + 1 2 ) ) ( deffacts s ( p ( a 2 ) ) ( z ( g 1 ) ) ) ( f ( ( 1 2 ) ) )
  )~");
  const std::vector<std::string> program{std::istream_iterator<std::string>(all), {}};
  const auto join = [](const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += word + " ";
    return text;
  };
  EXPECT_EQ(Fault(join(program)), "Function is unimplemented or unassigned: f") << "the program itself is correct";
  uint32_t state = 7;
  const auto random = [&state](size_t below) {
    state = state * 1664525 + 1013904223;
    return static_cast<size_t>(state >> 8) % below;
  };
  for (int round = 0; round < 1500; ++round) {
    std::vector<std::string> words = program;
    if (round % 3 == 0) {
      for (std::string& word : words) word = program[random(program.size())];
    } else {
      for (size_t changes = 1 + random(6); changes > 0; --changes) {
        const size_t at = random(words.size());
        switch (random(4)) {
          case 0:
            words.erase(words.begin() + static_cast<std::ptrdiff_t>(at));
            break;
          case 1:
            words.insert(words.begin() + static_cast<std::ptrdiff_t>(at), words[random(words.size())]);
            break;
          case 2:
            std::swap(words[at], words[random(words.size())]);
            break;
          default:
            words[at] = program[random(program.size())];
        }
      }
    }
    engine.SetParserErrorHandling(round % 2 == 0 ? kb::ehRaiseImmediate : kb::ehRaiseAllAtEnd);
    static_cast<void>(Fault(join(words)));
    if (round % 50 == 0) {
      static_cast<void>(MessageOf([this] { engine.Reset(); }));
      engine.Clear();
    }
  }
  engine.Clear();
  engine.Reset();
  output.clear();
  engine.SetParserErrorHandling(kb::ehRaiseImmediate);
  EXPECT_EQ(Fault("(defrule r (a ?x) => (printout t ?x crlf)) (assert (a 1))"), "");
  engine.Run();
  EXPECT_NE(output.find("1\r\n"), std::string::npos);
}

}  // namespace
