// Faulty texts against the whole message that they give, and the two error policies.
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "kb/language/KBClipsParser.h"
#include "tests/language/LanguageTest.h"

namespace {

using kbtest::LanguageTest;
using kbtest::MessageOf;

class ParseError : public LanguageTest {
 protected:
  struct TCase {
    std::string text;
    std::string message;
  };

  void Check(const std::vector<TCase>& cases) {
    for (const TCase& test : cases) EXPECT_EQ(Fault(test.text), test.message) << test.text;
  }

  static std::string Framed(const std::string& message, const std::string& where, const std::string& expression,
                            int line = 1) {
    return "Parsing Error, " + message + " in " + where + " at line " + std::to_string(line) + ": " + expression;
  }
};

TEST_F(ParseError, TopLevel) {
  const std::string symbol = R"(Unexpected symbol, expected a "(", constant, or global variable: )";
  Check({
      {"\"text\"", Framed(symbol + R"(\"text"\)", "GetConstructType", R"(\"text"\ )")},
      {"& x", Framed(symbol + "&", "GetConstructType", "& ")},
      {")", Framed(symbol + ")", "GetConstructType", ") ")},
      {"?x", "Unknown variable name: x"},
      {"(", Framed("Missing name", "ParseFunCall", " ( EOF ")},
      {"\n\n(foo", Framed("Unexpected end of stream", "ParseFunCall", " ( foo EOF ", 3)},
      {"(1 2)", Framed("Missing name", "ParseFunCall", " ( 1 ")},
      {"(\"a\")", Framed("Missing name", "ParseFunCall", R"( ( \"a"\ )")},
      {"(& b)", Framed("Missing name", "ParseFunCall", " ( & ")},
      {"(nosuch 1)", "Function is unimplemented or unassigned: nosuch"},
      {"\"open", "Invalid string value, string was not terminated"},
  });
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
  engine.Parse(
      "(deftemplate p (slot n (type INTEGER)) (slot w (type INTEGER) (range 0 10)) (multislot m (type "
      "INTEGER)))",
      true);
  Check({
      {"(assert (\"a\"))", Framed("Expected \"( <atom>\"", "ParseFact", R"( ( assert ( \"a"\ )")},
      {"(assert-string \"a 1)\")", Framed("Expected \"( <atom>\"", "ParseFact", "a ")},
      {"(assert (b = 3))", Framed("\"=\" cannot appear as an atom within a fact", "ParseList", " ( assert ( b = 3 ")},
      {"(assert (b & 3))", Framed("Bad Slot Value: &", "ParseList", " ( assert ( b & ")},
      {"(assert (b 1 2", Framed("Expected \")\"", "ParseFactSlot", " ( assert ( b 1 2 EOF ")},
      {"(assert (p x))", Framed("Expected \"(\"", "ParseFactSlot", " ( assert ( p x ")},
      {"(assert (p (1 x)))", Framed("Bad Slot Name: 1", "ParseFactSlot", " ( assert ( p ( 1 ")},
      {"(assert (p (q 1)))", "No such slot name: \"q\""},
      {"(assert (p (n 1 2)))", Framed("Expected \")\"", "ParseFactSlot", " ( assert ( p ( n 1 2 ")},
      {"(assert (p (n)))", Framed("Bad Slot Value: )", "ParseValue", " ( assert ( p ( n ) ")},
      {"(assert (p (n abc)))", Framed("Not a INTEGER type.  Value (abc) is a dtAtom type for ParseValue slot",
                                      "ParseValue(SlotTypes)", " ( assert ( p ( n abc ")},
      {"(assert (p (w 11)))", Framed("Value \"11\" is not valid, Range must be between 0.0000 and 10.0000",
                                     "ParseValue(SlotTypes)", " ( assert ( p ( w 11 ")},
      {"(modify 1 (n))", Framed("Expected value missing", "ParseValuePair", " ( modify 1 ( n ")},
      {"(modify 1 (2 n))", Framed("Expected \"( <atom>\"", "ParseValuePair", " ( modify 1 ( 2 ")},
      {"(modify 1 (n & 1))", Framed("Bad Argument: &", "ParseValue", " ( modify 1 ( n & ")},
      {"(foo ((x 1)))", Framed("Expected number, variable, or function call", "ParseFuzzyPoints", " ( foo ( ( x ")},
      {"(foo ((1 2 3)))", Framed("Expected \")\"", "ParseFuzzyPoints", " ( foo ( ( 1 2 3 ")},
  });
  const std::string elements = Fault("(assert (p (m 1 x)))");
  EXPECT_NE(elements.find("Not a "), std::string::npos) << elements;
  EXPECT_NE(elements.find("for m slot in ParseValue(Fact Slot) at line 1"), std::string::npos) << elements;
  engine.GetParser().SetStrictFactTemplates(true);
  Check({{"(assert (unknown 1))", Framed("Unknown fact template: unknown", "ParseFact", " ( assert ( unknown ")}});
}

TEST_F(ParseError, Templates) {
  const std::string slotStart = " ( deftemplate a ( slot b ";
  const auto slot = [&](const std::string& message, const std::string& rest,
                        const std::string& where = "ParseFactTemplateSlot") {
    return Framed(message, where, slotStart + rest);
  };
  Check({
      {"(deftemplate)", Framed("Missing name", "ParseFullName", " ( deftemplate ) ")},
      {"(deftemplate nosuch::a)",
       Framed("No such module with name=nosuch exists", "ParseFullName", " ( deftemplate nosuch::a ")},
      {"(deftemplate a x)",
       Framed("Expected \"(\", \"extends\", or \"is-a\"", "ParseFactTemplate", " ( deftemplate a x ")},
      {"(deftemplate a extends 1)",
       Framed("Missing name of parent template to extend", "ParseFactTemplate", " ( deftemplate a extends 1 ")},
      {"(deftemplate a is-a)",
       Framed("Missing name of type for fact template", "ParseFactTemplate", " ( deftemplate a is-a ) ")},
      {"(deftemplate a is-a nosuch)",
       Framed("type name unknown or invalid: nosuch", "ParseFactTemplate", " ( deftemplate a is-a nosuch ")},
      {"(deftemplate a (SLOT b))",
       Framed("Invalid slot type: SLOT", "ParseFactTemplateSlot", " ( deftemplate a ( SLOT ")},
      {"(deftemplate a (slot 1))", Framed("Bad Slot Name: 1", "ParseFactTemplateSlot", " ( deftemplate a ( slot 1 ")},
      {"(deftemplate a (slot b$c))", "\"b$c\" contains unexpected character: \"$\""},
      {"(deftemplate a$b (slot c))", "\"a$b\" contains unexpected character: \"$\""},
      {"(deftemplate a (slot b) c)", Framed("Expected \")\"", "ParseFactTemplate", " ( deftemplate a ( slot b ) c ")},
      {"(deftemplate a (slot b c))", slot("Expected \")\"", "c ", "ParseFactTemplate")},
      {"(deftemplate a (slot b (sort 1)))", slot("Invalid slot qualifier: sort", "( sort ")},
      {"(deftemplate a (slot b (default ?NONE)))", "Corrupted Binding, variable not found: NONE"},
      {"(deftemplate a (slot b (range 1 ?max)))", "Corrupted Binding, variable not found: max"},
      {"(deftemplate a (slot b (allowed-integers one)))", "Not a integer type.  Value (one) is a dtAtom type"},
      {"(deftemplate a (slot b (type NOTYPE)))", slot("Invalid slot type: NOTYPE", "( type NOTYPE ", "ParseSlotTypes")},
      {"(deftemplate a (slot b (type FUZZY INTEGER)))",
       slot("Cannot mix fuzzy type with other primitive types", "( type FUZZY INTEGER ", "ParseSlotTypes")},
      {"(deftemplate a (slot b (type FUZZY) (range 1 2)))",
       slot("Invalid attempt to modify fuzzy type in fact template slot, fuzzy types cannot be modified",
            "( type FUZZY ) ( range ")},
      {"(deftemplate a (slot b (range x 1)))",
       slot("Expected integer, variable, or function call for range", "( range x ", "ParseDefinedType")},
      {"(deftemplate a (slot b (cardinality 1)))",
       slot("Expected integer, variable, or function call for cardinality", "( cardinality 1 ) ", "ParseDefinedType")},
      {"(deftemplate a (slot b (ALLOWED-values x)))",
       slot("Expected allowed value argument for deftype, received ALLOWED-values", "( ALLOWED-values ",
            "ParseDefinedType")},
      {"(deftemplate a (slot b (allowed-values x",
       slot("Unexpected end of stream", "( allowed-values x EOF ", "ParseDefinedType")},
  });
  const std::string late = Fault("(deftemplate a (slot b (default 1) (type STRING)))");
  EXPECT_NE(late.find("for b slot in ParseFactTemplateSlot at line 1"), std::string::npos) << late;
  EXPECT_EQ(engine.FindFactTemplate("a"), nullptr) << "no half-made template reached the engine";
}

TEST_F(ParseError, TypesModulesFunctionsAndGlobals) {
  engine.Parse("(deftype t1 extends (type INTEGER)) (deftype t2 extends (type FLOAT))", true);
  Check({
      {"(deftype t (type ATOM))",
       Framed("Missing keyword.  Expected \"extends\"", "ParseDefinedType", " ( deftype t ( ")},
      {"(deftype t extends (kind ATOM))",
       Framed("Missing keyword.  Expected \"type\"", "ParseDefinedType", " ( deftype t extends ( kind ")},
      {"(deftype t extends (type t1 t2))", Framed("Multiple inheritance is not allowed for deftypes", "ParseSlotTypes",
                                                  " ( deftype t extends ( type t1 t2 ")},
      {"(deftype t extends (type ATOM) (colour red))",
       Framed("Expected allowed value argument for deftype, received colour", "ParseDefinedType",
              " ( deftype t extends ( type ATOM ) ( colour ")},
      {"(defmodule (a))", Framed("Missing name", "ParseModule", " ( defmodule ( ")},
      {"(defmodule m (use ?ALL))",
       Framed("Invalid defmodule keyword: \"use\"", "ParseModule", " ( defmodule m ( use ")},
      {"(defmodule m (import nosuch ?ALL))",
       Framed("Module does not exist: \"nosuch\"", "ParseModule", " ( defmodule m ( import nosuch ")},
      {"(defmodule m (export defrule ?ALL))",
       Framed("Missing module export keyword (?ALL, ?NONE, deftype, or deftemplate): \"defrule\"", "ParseModule",
              " ( defmodule m ( export defrule ")},
      {"(defmodule m (export ?SOME))",
       Framed("Unknown variable name: SOME", "ParseModule", " ( defmodule m ( export ?SOME ")},
      {"(defmodule m (export deftemplate a 1))", Framed("Invalid name in defmodule name list: \"1\"", "ParseNameList",
                                                        " ( defmodule m ( export deftemplate a 1 ")},
      {"(deffunction f x)", Framed("Expected \"(\"", "ParseFunction", " ( deffunction f x ")},
      {"(deffunction f (1))", Framed("Expected \")\"", "ParseFunction", " ( deffunction f ( 1 ")},
      {"(deffunction f () =)", Framed("Unexpected character found: \"=\"", "ParseFunction", " ( deffunction f ( ) = ")},
      {"(defglobal x)", Framed("Missing name", "ParseVariable", " ( defglobal x ")},
      {"(defglobal ?x = 1)",
       Framed("Bad Variable Name, must start and end with an asterisk: x", "ParseVariable", " ( defglobal ?x ")},
      {"(defglobal ?*x* 1)", Framed("Expected \"=\"", "ParseVariable", " ( defglobal ?*x* 1 ")},
  });
}

TEST_F(ParseError, FuzzyValues) {
  engine.Parse(
      "(deftemplate a (slot b (type FUZZY))) (deftype u extends (type FUZZY)) (deftemplate c (slot d (type u)))", true);
  const auto type = [](const char* message, const char* where, const std::string& rest) {
    return Framed(message, where, " ( deftype t extends ( type FUZZY ) ( " + rest);
  };
  Check({
      {"(assert (a (b hot)))",
       Framed("Fuzzy Type Definition needed to parse value", "ParseValue", " ( assert ( a ( b ")},
      {"(defrule r (a (b hot)) =>)",
       Framed("Fuzzy Type Definition needed to parse value", "ParsePattern", " ( defrule r ( a ( b hot ")},
      {"(assert (c (d low high)))",
       Framed("Invalid Fuzzy Expression: low high ", "ParseValue", " ( assert ( c ( d low high ")},
      {"(assert (c (d tiny)))", "Invalid item in fuzzy expression: tiny"},
      {"(defrule r (c (d low high)) =>)",
       Framed("Slot \"d\" is not a multislot", "ParsePattern", " ( defrule r ( c ( d low high ")},
      {"(deftype u extends (type u))", "Type inheritance loop detected, u type cannot be an ancestor of itself"},
      {"(deftemplate e (slot d (units m) (type FUZZY)))",
       Framed("Invalid attempt to modify fuzzy type in fact template slot, fuzzy types cannot be modified",
              "ParseFactTemplateSlot", " ( deftemplate e ( slot d ( units m ) ( type FUZZY ")},
      {"(deftype t extends (type FUZZY) (range 5 5))", "Invalid universe of discourse: 5.0000 to 5.0000"},
      {"(deftype t extends (type FUZZY) (range ?x 5))",
       type("Expected value missing", "ParseDefinedType", "range ?x ")},
      {"(deftype t extends (type FUZZY) (default 1))",
       type("Missing keyword.  Expected \"range, units, or values\"", "ParseFuzzyVariable", "default ")},
      {"(deftype t extends (type FUZZY) (values low))", type("Expected \"( term\"", "ParseFuzzySet", "values low ")},
      {"(deftype t extends (type FUZZY) (values (term very (tri 1 2 3))))",
       type("Invalid fuzzy term name: very", "ParseFuzzySet", "values ( term very ")},
      {"(deftype t extends (type FUZZY) (values (term x low high)))", "Invalid item in fuzzy expression: low"},
  });
}

TEST_F(ParseError, Rules) {
  engine.Parse("(deftemplate person (slot name) (slot age) (multislot likes))", true);
  const auto rule = [](const std::string& message, const std::string& rest, const std::string& where) {
    return Framed(message, where, " ( defrule r " + rest);
  };
  Check({
      {"(defrule 1)", Framed("Missing name", "ParseFullName", " ( defrule 1 ")},
      {"(defrule a?b =>)", "\"a?b\" contains unexpected character: \"?\""},
      {"(defrule r (declare (weight 1)) =>)",
       rule("Expected rule property, salience, oneshot, or enabled", "( declare ( weight ", "ParseRule")},
      {"(defrule r (declare (salience 1.5)) =>)",
       rule("Expected integer, variable, or function call for salience", "( declare ( salience 1.5000 ", "ParseRule")},
      {"(defrule r (a) => 1)", rule("Expected \")\"", "( a ) = > 1 ", "ParseRule")},
      {"(defrule r (a) (foo))", rule("Expected \"=>\"", "( a ) ( foo ) ) ", "ParseRule")},
      {"(defrule r (a) x =>)", rule("Expected \"=>\"", "( a ) x ", "ParseRule")},
      {"(defrule r ?x (a) =>)", rule("Expected \"<-\"", "?x ( ", "ParseRulePatterns")},
      {"(defrule r ?x <- (not (a)) =>)",
       rule("\"not\" and \"test\" CEs cannot be bound to variables", "?x <- ( not ( a ) ) ", "ParseRulePatterns")},
      {"(defrule r (\"a\") =>)", rule("Expected \"( <atom>\"", R"(( \"a"\ )", "ParsePattern")},
      {"(defrule r (not a)) =>)", rule("Expected \"( <atom>\"", "( not a ", "ParsePattern")},
      {"(defrule r (exists (a) (b)) =>)", rule("Expected \")\"", "( exists ( a ) ( ", "ParsePattern")},
      {"(defrule r (or (a) (b)) =>)", rule("Bad Slot Value: (", "( or ( ", "ParsePattern")},
      {"(defrule r (a 1 & ) =>)", rule("Bad Slot Value: )", "( a 1 & ) ", "ParsePattern")},
      {"(defrule r (a ~ ) =>)", rule("Bad Slot Value: )", "( a ~ ) ", "ParsePattern")},
      {"(defrule r (person name) =>)", rule("Expected \")\"", "( person name ", "ParsePattern")},
      {"(defrule r (person (1 2)) =>)", rule("Bad Slot Name: 1", "( person ( 1 ", "ParsePattern")},
      {"(defrule r (person (name a b)) =>)",
       rule("Slot \"name\" is not a multislot", "( person ( name a b ", "ParsePattern")},
      {"(defrule r (person (size 1)) =>)", "No such slot name: \"size\""},
      {"(defrule r (a ~?x) =>)", "First Use of Variable is negated, variable name is x"},
  });
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
  EXPECT_EQ(printed, "3\r\n7\r\n") << "calls are executed in any case";
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

TEST_F(ParseError, DeepNestingEndsInAnException) {
  const int depth = 100000;
  const struct {
    std::string head;
    std::string open;
  } cases[] = {
      {"", "(f "}, {"(assert ", "(a =(f "}, {"(defrule r ", "(not "}, {"(deffunction f () ", "(g "}, {"", "(f (("}};
  for (const auto& test : cases) {
    std::string text = test.head;
    for (int i = 0; i < depth; ++i) text += test.open;
    EXPECT_THROW(engine.Parse(text, false), kb::EException) << test.head << test.open;
  }
}

// Words of the language in random order, and a correct program with random words left out, doubled or moved:
// what comes of it is a construct or an exception, and the engine goes on working.
TEST_F(ParseError, AnyTextEndsInAConstructOrAnException) {
  const std::vector<std::string> program = {"(",           "deftemplate",
                                            "p",           "\"c\"",
                                            "(",           "slot",
                                            "a",           "(",
                                            "type",        "INTEGER",
                                            "NUMBER",      ")",
                                            "(",           "range",
                                            "1",           "?VARIABLE",
                                            ")",           "(",
                                            "default",     "3",
                                            ")",           ")",
                                            "(",           "multislot",
                                            "m",           "(",
                                            "cardinality", "0",
                                            "3",           ")",
                                            "(",           "default-dynamic",
                                            "(",           "create$",
                                            "1",           "2",
                                            ")",           ")",
                                            ")",           ")",
                                            "(",           "deftemplate",
                                            "q",           "extends",
                                            "p",           ")",
                                            "(",           "deftype",
                                            "t",           "extends",
                                            "(",           "type",
                                            "SYMBOL",      ")",
                                            "(",           "allowed-symbols",
                                            "x",           "y",
                                            ")",           ")",
                                            "(",           "defmodule",
                                            "o",           "(",
                                            "export",      "deftemplate",
                                            "?ALL",        ")",
                                            ")",           "(",
                                            "defrule",     "MAIN::r",
                                            "\"c\"",       "(",
                                            "declare",     "(",
                                            "salience",    "5",
                                            ")",           "(",
                                            "oneshot",     "TRUE",
                                            ")",           ")",
                                            "?f",          "<-",
                                            "(",           "p",
                                            "(",           "a",
                                            "?x",          "&",
                                            "~",           "3",
                                            "|",           "=",
                                            "(",           "+",
                                            "1",           "2",
                                            ")",           ")",
                                            "(",           "m",
                                            "$?",          "?y",
                                            "&",           ":",
                                            "(",           "eq",
                                            "?y",          "?x",
                                            ")",           ")",
                                            ")",           "(",
                                            "not",         "(",
                                            "exists",      "(",
                                            "z",           "?x",
                                            "1",           ")",
                                            ")",           ")",
                                            "(",           "test",
                                            "(",           "neq",
                                            "?x",          "2",
                                            ")",           ")",
                                            "=",           ">",
                                            "(",           "assert",
                                            "(",           "z",
                                            "1",           ")",
                                            ")",           "(",
                                            "modify",      "?f",
                                            "(",           "a",
                                            "5",           ")",
                                            ")",           ")",
                                            "(",           "deffunction",
                                            "g",           "(",
                                            "?u",          "$?v",
                                            ")",           "(",
                                            "+",           "?u",
                                            "1",           ")",
                                            ")",           "(",
                                            "defglobal",   "?*g*",
                                            "=",           "(",
                                            "+",           "1",
                                            "2",           ")",
                                            ")",           "(",
                                            "deffacts",    "s",
                                            "(",           "p",
                                            "(",           "a",
                                            "2",           ")",
                                            ")",           "(",
                                            "z",           "(",
                                            "g",           "1",
                                            ")",           ")",
                                            ")",           "(",
                                            "f",           "(",
                                            "(",           "1",
                                            "2",           ")",
                                            ")",           ")"};
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
  printed.clear();
  engine.SetParserErrorHandling(kb::ehRaiseImmediate);
  EXPECT_EQ(Fault("(defrule r (a ?x) => (printout t ?x crlf)) (assert (a 1))"), "");
  engine.Run();
  EXPECT_NE(printed.find("1\r\n"), std::string::npos);
}

}  // namespace
