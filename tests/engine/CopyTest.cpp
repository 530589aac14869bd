#include <fstream>

#include "tests/Program.h"
#include "tests/engine/EngineInvariants.h"

namespace kb {
namespace {

using kbtest::TEngine;

std::string TextOf(const std::string& path) {
  std::ifstream file(std::string(KB_SOURCE_DIR) + "/" + path);
  EXPECT_TRUE(file.good()) << path;
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

/// Runs to the end: what is printed, how many rules fire, the facts and the focus that are left.
std::string Outcome(TInferenceEngine& engine) {
  std::string text;
  engine.OnPrintOut = [&](TInferenceEngine&, std::string_view, std::string_view part) { text += part; };
  const int fired = engine.Run(100000);
  engine.OnPrintOut = nullptr;
  text += "fired " + std::to_string(fired) + "\n";
  for (int i = 0; i < engine.GetModules().GetCount(); ++i) {
    text += engine.GetModules().Get(i)->GetFacts()->GetToIDString() + "\n";
  }
  return text + engine.GetFocusStack().ToNamesString(" ");
}

const std::vector<std::string> kPrograms[] = {
    {"examples/orders/orders.clp"},     {"examples/planner/planner.clp", "examples/planner/jobs.clp"},
    {"tests/programs/addresses.clp"},   {"tests/programs/backward-chaining.clp"},
    {"tests/programs/focus.clp"},       {"tests/programs/globals.clp"},
    {"tests/programs/modify.clp"},      {"tests/programs/modules.clp"},
    {"tests/programs/multifields.clp"}, {"tests/programs/negation.clp"},
    {"tests/programs/salience.clp"},
};

TEST(Copy, RunsOnLikeItsSourceWhereverTheSourceStands) {
  for (const auto& files : kPrograms) {
    for (const int firings : {0, 1, 5, 20}) {
      SCOPED_TRACE(files.front() + " after " + std::to_string(firings) + " firings");
      TEngine source;
      for (const std::string& file : files) source.Do(TextOf(file));
      source.Reset();
      source.Run(firings);
      TEngine copy("(deffacts old (x)) (defmodule gone) (defrule gone::q (y) =>)");
      copy.Assign(source);
      EXPECT_EQ(kbtest::TEngineWalk(copy).Findings(), "");
      EXPECT_EQ(kbtest::SortedActivations(copy), kbtest::SortedActivations(source));
      const std::string ofCopy = Outcome(copy);
      EXPECT_EQ(ofCopy, Outcome(source));
      // And both again from the start.
      copy.Reset();
      source.Reset();
      EXPECT_EQ(Outcome(copy), Outcome(source));
      if (HasFailure()) return;
    }
  }
}

TEST(Copy, AndSourceChangeWithoutEachOther) {
  TEngine source(TextOf("examples/orders/orders.clp"));
  source.Reset();
  source.Run(5);
  TInferenceEngine reference;
  reference.Assign(source);
  TEngine copy;
  copy.Assign(source);

  copy.Do(
      "(deftemplate MAIN::line (slot order)) (deftype MAIN::country extends (type SYMBOL)) (deffunction euros (?c) 0)"
      "(defrule MAIN::work => (halt)) (assert (order (id 9)))");
  copy.RemoveModule(copy.FindModule("PRICING"));
  copy.Reset();
  copy.Run();
  EXPECT_EQ(kbtest::TEngineWalk(copy).Findings(), "");
  copy.Clear();

  EXPECT_EQ(kbtest::TEngineWalk(source).Findings(), "");
  EXPECT_EQ(Outcome(source), Outcome(reference));
}

}  // namespace
}  // namespace kb
