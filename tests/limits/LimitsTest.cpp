// What is larger or deeper than anybody needs: it works, or it ends in a clear exception, and the engine goes on.

#include <thread>

#include "tests/Program.h"

namespace kb {
namespace {

using kbtest::TEngine;

std::string Repeat(std::string_view text, size_t count) {
  std::string result;
  result.reserve(text.size() * count);
  for (size_t i = 0; i < count; ++i) result += text;
  return result;
}

// A text nested `depth` times.
std::string Nested(std::string_view open, std::string_view core, std::string_view close, size_t depth) {
  return Repeat(open, depth) + std::string(core) + Repeat(close, depth);
}

class Limits : public ::testing::Test {
 protected:
  // The action works or raises an exception of the library; the engine is of use afterwards.
  void Survives(const std::function<void()>& action) {
    try {
      action();
    } catch (const EException& error) {
      EXPECT_NE(std::string(error.what()), "");
    }
    EXPECT_EQ(engine.ParseNExecuteFunCall("(+ 1 2)")->GetAsInteger(), 3);
  }
  TEngine engine;
};

TEST_F(Limits, NestingOfTextsEndsInAnExceptionOrWorks) {
  for (const size_t depth : {size_t{1000}, size_t{200'000}}) {
    for (const auto& [head, open, core, close] : {std::tuple("", "(create$ ", "1", ")"),
                                                  {"", "(+ 1 ", "1", ")"},
                                                  {"", "(", "", ""},
                                                  {"", "(f ((", "", ""},
                                                  {"(assert ", "(a =(f ", "", ""},
                                                  {"(defrule r ", "(not ", "(a)", ")"},
                                                  {"(defrule r ", "(exists ", "(a)", ")"},
                                                  {"(deffunction f () ", "(if TRUE then ", "1", ")"}}) {
      const std::string text = head + Nested(open, core, close, depth);
      const std::string end = *head == 0 ? "" : text.starts_with("(defrule") ? " =>)" : ")";
      Survives([&] { engine.Do(text + end); });
    }
  }
}

TEST_F(Limits, LongTextsAreRead) {
  const std::string text(5'000'000, 'x');
  EXPECT_EQ(engine.ParseNExecuteFunCall("(str-length \"" + text + "\")")->GetAsInteger(), 5'000'000);
  EXPECT_EQ(engine.ParseValue(text)->GetAsString().Size(), text.size());
  engine.Assert("(note \"" + text + "\")");
  EXPECT_EQ(engine.Assert("(note \"" + text + "\")"), -1);
}

TEST_F(Limits, RecursionOfFunctionsIsDeepAndEndless) {
  engine.Do(
      "(deffunction down (?n) (if (> ?n 0) then (down (- ?n 1)) else 0))(deffunction endless (?n) (+ 1 (endless ?n)))");
  EXPECT_EQ(engine.ParseNExecuteFunCall("(down 10000)")->GetAsInteger(), 0);
  EXPECT_THROW((void)engine.ParseNExecuteFunCall("(endless 1)"), ERecursionError);
  EXPECT_EQ(engine.ParseNExecuteFunCall("(down 10000)")->GetAsInteger(), 0);
}

// A thread of the host has a smaller stack.
TEST_F(Limits, RecursionWorksOnAThreadToo) {
  int32_t result = -1;
  std::thread host([&] {
    TEngine own("(deffunction down (?n) (if (> ?n 0) then (down (- ?n 1)) else 0))");
    result = own.ParseNExecuteFunCall("(down 10000)")->GetAsInteger();
    EXPECT_THROW((void)own.ParseNExecuteFunCall("(down 100000000)"), ERecursionError);
  });
  host.join();
  EXPECT_EQ(result, 0);
}

// A rule whose action asserts what fires the next one: no recursion of the engine, whatever the number.
TEST_F(Limits, LongChainsOfFirings) {
  engine.Do("(defrule next ?f <- (n ?x&:(< ?x 100000)) => (retract ?f) (assert (n (+ ?x 1))))");
  engine.Assert("(n 0)");
  EXPECT_EQ(engine.Run(), 100'000);
}

// Runs within runs are a recursion.
TEST_F(Limits, RunsWithinRunsEnd) {
  engine.Do("(defrule next (n ?x) => (assert (n (+ ?x 1))) (run))");
  engine.Assert("(n 0)");
  Survives([&] { engine.Run(); });
}

TEST_F(Limits, WideRulesJoin) {
  constexpr int kWidth = 300;
  std::string rule = "(defrule wide";
  for (int i = 0; i < kWidth; ++i) rule += " (p" + std::to_string(i) + " ?x)";
  engine.Do(rule + " =>)");
  for (int i = 0; i < kWidth; ++i) engine.Assert("(p" + std::to_string(i) + " same)");
  EXPECT_EQ(engine.GetAgendaCount(), 1);
  engine.Retract("(p0 same)");
  EXPECT_EQ(engine.GetAgendaCount(), 0);
}

TEST_F(Limits, WideSlotsAndTemplates) {
  std::string slots;
  for (int i = 0; i < 2000; ++i) slots += "(slot s" + std::to_string(i) + ")";
  engine.Do("(deftemplate wide " + slots + ")(defrule r (wide (s1999 last)) =>)");
  engine.Assert("(wide (s1999 last))");
  EXPECT_EQ(engine.GetAgendaCount(), 1);
  engine.Assert("(list " + Repeat("x ", 200'000) + ")");
  EXPECT_EQ(engine.ParseNExecuteFunCall("(length$ (create$ " + Repeat("x ", 200'000) + "))")->GetAsInteger(), 200'000);
}

// Many facts on one template, taken from the middle and cleared; a chain over all of them is not built.
TEST_F(Limits, ManyFacts) {
  constexpr int32_t kCount = 300'000;
  engine.Do("(deftemplate n (slot v))(defrule r (n (v 77777)) =>)");
  TFactTemplate* factTemplate = engine.FindFactTemplate("n");
  for (int32_t i = 0; i < kCount; ++i) {
    const IFact fact = factTemplate->NewFact();
    fact->SetValue("v", MakeInteger(i));
    ASSERT_GE(engine.Assert(fact), 0);
  }
  EXPECT_EQ(engine.Assert("(n (v 150000))"), -1);
  engine.Retract("(n (v 150000))");
  EXPECT_GE(engine.Assert("(n (v 150000))"), 0);
  EXPECT_EQ(engine.GetAgendaCount(), 1);
  engine.ClearFacts(engine.GetCurrentModule());
  EXPECT_EQ(engine.GetFacts().GetCount(), 0);
}

// Every byte, and endless repetitions of any one: an exception or a value.
TEST_F(Limits, AnyBytesEndInAnException) {
  std::string garbage;
  for (int i = 0; i < 256; ++i) garbage += static_cast<char>(i);
  for (const std::string& text : {garbage, Repeat(garbage, 1000), Repeat("\"", 100'001), Repeat("?", 100'000),
                                  Repeat("&", 100'000), Repeat("~", 100'000), Repeat("$?x ", 100'000)}) {
    Survives([&] { engine.Do(text); });
    Survives([&] { engine.Do("(defrule r (a " + text + ") =>)"); });
    Survives([&] { engine.Do("(assert (a " + text + "))"); });
    std::istringstream stream(text);
    Survives([&] { engine.Batch(stream); });
  }
}

TEST_F(Limits, NumbersAtTheEdge) {
  for (const char* text : {"2147483647", "-2147483648", "2147483648", "99999999999999999999", "1e308", "1e400",
                           "-1e-400", "0.00000000000000000000000001"}) {
    Survives([&] { (void)engine.ParseValue(text)->ToString(); });
    Survives([&] { (void)engine.ParseNExecuteFunCall("(+ 1 " + std::string(text) + ")"); });
    Survives([&] { (void)engine.ParseNExecuteFunCall("(integer " + std::string(text) + ")"); });
    Survives([&] { (void)engine.ParseNExecuteFunCall("(sub-string " + std::string(text) + " 2 abc)"); });
    Survives([&] { (void)engine.ParseNExecuteFunCall("(nth$ " + std::string(text) + " (create$ a b))"); });
  }
}

}  // namespace
}  // namespace kb
