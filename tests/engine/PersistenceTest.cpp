// Saving and loading: whole engines and single kinds of constructs, in every encoding.

#include <cmath>

#include "kb/platform/FileReplacement.h"
#include "tests/Program.h"
#include "tests/TempDirectory.h"

namespace kb {
namespace {

using kbtest::TEngine;

/// What the engine is, without the line that tells the time.
std::string TextOf(TInferenceEngine& engine) {
  std::string text = engine.GetExpertSystem();
  const size_t begin = text.find("; Created: ");
  return text.erase(begin, text.find(kLineEnd, begin) - begin);
}

std::string SavedRules(TInferenceEngine& engine) {
  std::ostringstream out;
  engine.SaveRules(out);
  return out.str();
}

std::string SavedFacts(TInferenceEngine& engine, std::string_view templateName) {
  std::ostringstream out;
  engine.SaveFacts(out, templateName);
  return out.str();
}

void Load(TInferenceEngine& engine, const std::string& text) {
  std::istringstream in(text);
  engine.LoadFromStream(in);
}

/// Loads what `source` saves into `target`, which is then its like.
void ExpectCopies(TInferenceEngine& source, TInferenceEngine& target) {
  std::stringstream stream;
  source.SaveToStream(stream);
  target.LoadFromStream(stream);
  EXPECT_EQ(TextOf(target), TextOf(source));
}

constexpr const char* kKnowledge =
    "(defmodule MAIN (export ?ALL)) (defglobal ?*limit* = 30 ?*twice* = (* 2 30))"
    "(deffunction hot (?x) \"above the limit\" (> ?x ?*limit*))"
    "(deftype celsius extends (type INTEGER FLOAT) (range -273.15 1000) (units \"degrees C\"))"
    "(deftemplate reading \"of a sensor\" (slot name) (slot value (type celsius) (default 20)) (multislot tags))"
    "(defrule warn \"too hot\" (declare (salience 5)) (reading (name ?n) (value ?v&:(hot ?v))) => (assert (alarm ?n)))"
    "(defrule quiet (not (alarm ?)) => )(deffacts start (reading (name a) (value 31.5)) (reading (name \"b c\")))"
    "(reading-count 2)(defmodule B (import MAIN ?ALL))(defrule there (reading (name ?n)) => (printout t ?n))";

TEST(Persistence, AnEngineComesBackWithAllThatItKnows) {
  TEngine source("(deffunction reading-count (?n) ?n)");
  source.Do(kKnowledge);
  source.SetFactDuplication(true);
  source.Reset();
  source.PushFocus("B");
  TInferenceEngine target;
  ExpectCopies(source, target);
  EXPECT_TRUE(target.GetFactDuplication());
  EXPECT_EQ(target.GetFocusStack().ToNamesString(" "), "B MAIN");
  EXPECT_EQ(target.Run(), source.Run());

  // And into itself.
  const std::string saved = TextOf(source);
  std::stringstream stream;
  source.SaveToStream(stream);
  source.Clear();
  source.LoadFromStream(stream);
  EXPECT_EQ(TextOf(source), saved);
}

TEST(Persistence, TheHeadTellsWhatFollows) {
  TInferenceEngine engine;
  const std::string plain = engine.GetExpertSystem();
  EXPECT_TRUE(plain.starts_with("; *************************\r\n; Inference Engine v6.0000 Output\r\n; Created: "));
  EXPECT_NE(plain.find("; Number of Global Variables: 0\r\n; Number of Modules:          1\r\n"
                       "(set-fact-duplication TRUE)\r\n"),
            std::string::npos);
  EXPECT_EQ(plain.find("; Global Variables"), std::string::npos);
  EXPECT_EQ(plain.find("; Deffunctions"), std::string::npos);
  EXPECT_TRUE(plain.ends_with("\r\n(focus MAIN)\r\n"));
  EXPECT_TRUE(engine.GetExpertSystem(true).starts_with("(defmodule MAIN"));
}

TEST(Persistence, NumbersAndTextsKeepEveryDigitAndCharacter) {
  TEngine source("(deftemplate v (slot x))");
  std::vector<IKBValue> values;
  for (const double number : {0.1, 1e-7, 1.0 / 3, 123456789.123456, 1e300, -2.5e-310, -0.0, std::nextafter(1.0, 2.0)}) {
    values.push_back(MakeFloat(number));
  }
  for (const char* text : {"", "a\"b\\c", "two\r\n   lines", "; no comment", "\xC3\xA4 ?x (f)", "semi;colon"}) {
    values.push_back(MakeString(text));
  }
  for (const char* atom :
       {"a b", "12", "1e5", "-", "(", "a(b)", "?x", "$?y", "=", "a\\b", "a;b", "nil", "\"q\"", "a<b"}) {
    values.push_back(MakeAtom(atom));
  }
  source.SetFactDuplication(true);
  for (const IKBValue& value : values) {
    const IFact fact = source.FindFactTemplate("v")->NewFact();
    fact->SetValue("x", value);
    source.Assert(fact);
  }
  TInferenceEngine target;
  ExpectCopies(source, target);
  ASSERT_EQ(target.GetFacts().GetCount(), static_cast<int>(values.size()) + 1);
  for (size_t i = 0; i < values.size(); ++i) {
    const IKBValue now = target.GetFacts().Get(static_cast<int>(i) + 1)->GetValue("x");
    ASSERT_EQ(now->GetDType(), values[i]->GetDType()) << values[i]->ToString();
    EXPECT_TRUE(now->Is(dtFloat) ? now->GetAsFloat() == values[i]->GetAsFloat()
                                 : now->TextView() == values[i]->TextView())
        << values[i]->ToString();
  }
}

TEST(Persistence, WhatWouldReadAsSomethingElseIsWrittenOut) {
  const struct {
    const char* program;
    const char* facts;  // what of them is saved
    int activations;
  } cases[] = {
      // Nil where leaving it out would change the fact, and the empty list.
      {"(deftemplate p (slot a (default 1)) (slot b) (slot c (default nil) (type INTEGER)) (multislot m (default x)))"
       "(assert (p (a nil) (b nil) (m)))",
       "(p (a nil) (m  ))\r\n", 0},
      // A constraint without fields still asks for the empty list.
      {"(deftemplate p (multislot m)) (defrule r (p (m)) => ) (assert (p (m 1)) (p (m)))", "(p (m 1 ))\r\n(p)\r\n", 1},
      // A goal inside "not" is saved without the name that it was given.
      {"(do-backward-chaining price) (defrule idle (item ?x) (not (need-price ?x)) => )", "", 0},
      // A multifield in a single slot stays one.
      {"(deftemplate p (slot n)) (assert (p (n (create$ 1 a))) (p (n (create$))))",
       "(p (n (create$ 1 a)))\r\n(p (n (create$)))\r\n", 0},
      // The default of a slot for facts alone has no text.
      {"(deftemplate p (slot f (type FACT)) (slot n (type FACT) (units x)) (multislot m (type FACT)))", "", 0},
      // A module that is redefined stands behind those that import it, but not in the text.
      {"(defmodule B (export ?ALL)) (deftemplate t) (defmodule C (import B ?ALL)) (defrule C::r (t) =>)"
       "(defmodule B (export ?ALL)) (deftemplate t)",
       "", 0},
      // A template that only facts and patterns can name is implied by them again.
      {"(assert (done? 1)) (defrule r (ready? ?x) => )", "", 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.program);
    TEngine source(c.program);
    EXPECT_EQ(SavedFacts(source, "p"), c.facts);
    TInferenceEngine target;
    ExpectCopies(source, target);
    EXPECT_EQ(SavedFacts(target, "p"), c.facts);
    EXPECT_EQ(target.GetAgendaCount(), c.activations);
  }
}

TEST(Persistence, WhateverRefersToWhatever) {
  TEngine source(
      "(deffunction twice (?x) (* 2 ?x))(defglobal ?*a* = 1 ?*b* = (twice 21) ?*c* = (+ ?*b* 1))"
      "(defmodule M (export deftemplate ?ALL))(deftemplate note (slot text) (slot n (default-dynamic (twice 4))))"
      "(deffunction tell (?t) (assert (note (text ?t) (n ?*c*))))(deffacts d (note (text \"first\") (n ?*b*)))"
      "(defmodule N (import M deftemplate ?ALL))(defrule r (note (text ?t)) => (tell ?t))");
  TEngine target;
  ExpectCopies(source, target);
  EXPECT_EQ(target.GetGlobalContext().GetVariable("*c*")->GetAsInteger(), 43);
  target.Do("(tell \"second\")");
  const IModule module = target.GetModules().GetModule("M");
  EXPECT_EQ(module->GetFacts()->GetToIDString(), "f-1 (Initial-Fact)\r\nf-2 (note (n 43) (text \"second\"))");
  EXPECT_EQ(target.FindModule("MAIN")->GetFactTemplates()->FindTemplate("note"), nullptr);
}

TEST(Persistence, AGlobalThatAssertsFollowsTheTemplateOfItsFact) {
  TEngine source(
      "(deftemplate note (slot text)) (defglobal ?*a* = 1 ?*note* = (assert (note (text hi))) ?*b* = 2)"
      "(deffacts d (n ?*b*))");
  TInferenceEngine target;
  Load(target, source.GetExpertSystem());
  EXPECT_EQ(SavedFacts(target, "note"), "(note (text hi))\r\n") << "the saved fact and that of the variable are equal";
  Load(target, "(retract ?*note*)");
  EXPECT_EQ(SavedFacts(target, "note"), "") << "the variable tells the fact";
  source.Reset();
  target.Reset();
  EXPECT_EQ(TextOf(target), TextOf(source));
}

TEST(Persistence, TheMarkOfBackwardChainingIsSaved) {
  TEngine source("(do-backward-chaining price) (defrule want (order ?x) (price ?x ?y) =>)");
  TEngine target;
  ExpectCopies(source, target);
  EXPECT_TRUE(target.FindFactTemplate("price")->IsBackwardChaining());
  target.SetDuplicateConstructs(dcError);
  target.Do("(do-backward-chaining price)");
  target.Do("(assert (order tea))");
  EXPECT_NE(target.GetFacts().GetToIDString().find("(need-price tea "), std::string::npos);
}

TEST(Persistence, NamesThatWereMadeForAnonymousVariablesAreNotMadeAgain) {
  TEngine source("(defrule r (a ? ?) (b ?) => )");
  const std::string text = SavedRules(source);
  TInferenceEngine target;
  Load(target, text + "(defrule s (a ? ?) (b ?) (need-c ?) => )");
  Load(target, "(assert (a 1 2) (b 3))");
  EXPECT_EQ(target.GetAgendaCount(), 1) << "no two fields have come to be one variable";
  EXPECT_EQ(target.GetRules().FindRule("s")->ToString().find("_blank_0 "), std::string::npos);
}

TEST(Persistence, ALoadClearsWhatItsNameSays) {
  TEngine engine("(deftemplate t) (deftype n extends (type INTEGER)) (defrule r (t) => ) (assert (t 1))");
  std::istringstream templates("(deftemplate u (slot x))");
  engine.LoadRules(templates);
  EXPECT_EQ(engine.GetRules().GetCount(), 0);
  EXPECT_TRUE(engine.FindFactTemplate("u") != nullptr && engine.FindFactTemplate("t") != nullptr);
  std::istringstream none("");
  engine.LoadFactTemplates(none);
  EXPECT_EQ(engine.FindFactTemplate("t"), nullptr);
  std::istringstream type("(deftype m extends (type STRING))");
  engine.LoadDefinedTypes(type);
  EXPECT_TRUE(engine.FindDefinedType("n") == nullptr && engine.FindDefinedType("m") != nullptr);
}

TEST(Persistence, EachKindIsSavedAndLoadedByItself) {
  TEngine engine;
  engine.Parse(kKnowledge + std::string("(set-current-module MAIN) (reset)"), false);
  engine.SetCurrentModule(engine.GetModules().Get(0));
  engine.Reset();
  std::stringstream types, templates, rules, facts;
  engine.SaveDefinedTypes(types);
  engine.SaveFactTemplates(templates);
  engine.SaveRules(rules);
  engine.SaveFacts(facts);
  const std::string was = engine.GetModules().Get(0)->GetExpertSystem(false, false);
  engine.LoadDefinedTypes(types);
  engine.LoadFactTemplates(templates);
  engine.LoadRules(rules);
  engine.LoadFacts(facts);
  EXPECT_EQ(engine.GetModules().Get(0)->GetExpertSystem(false, false), was);
}

TEST(Persistence, ModulesReplaceAllModules) {
  TEngine source("(defrule r (a) => ) (defmodule B) (defrule s (b) => )");
  std::stringstream stream;
  source.SaveModules(stream);
  TEngine target("(defmodule C)");
  target.LoadModules(stream);
  EXPECT_EQ(target.GetModules().ToNamesString(" "), "MAIN B");
  EXPECT_NE(target.GetModules().Get(0)->GetRules()->FindRule("r"), nullptr);
  std::istringstream empty("");
  target.LoadModules(empty);
  target.Do("(assert (a))");
  EXPECT_EQ(target.GetModules().ToNamesString(" "), "MAIN") << "an engine that works";
}

TEST(Persistence, FactsLoadedTwiceStandOnce) {
  TEngine engine("(assert (a 1) (b 2))");
  const std::string facts = SavedFacts(engine, "a");
  EXPECT_EQ(facts, "(a 1 )\r\n");
  EXPECT_EQ(SavedFacts(engine, "none"), "");
  for (const bool duplication : {false, true}) {
    engine.SetFactDuplication(duplication);
    std::istringstream text(facts);
    engine.LoadFacts(text);
    EXPECT_EQ(engine.GetFacts().GetCount(), duplication ? 4 : 3);
  }
}

TEST(Persistence, AFailingLoadLeavesWhatItHadReadAndAWorkingParser) {
  TEngine engine("(defrule old (a) => )");
  std::istringstream broken("(defrule one (a) => ) (defrule two (a) (defrule three (a) => )");
  EXPECT_THROW(engine.LoadRules(broken), EKBParseException);
  EXPECT_EQ(engine.GetRules().GetCount(), 1);
  EXPECT_NE(engine.GetRules().FindRule("one"), nullptr);
  EXPECT_EQ(engine.GetParser().GetStream(), nullptr);
  EXPECT_THROW(engine.LoadFromFile("/no/such/file"), EStreamError);
  engine.Do("(assert (a))");
  EXPECT_EQ(engine.GetAgendaCount(), 1);
}

TEST(Persistence, EveryEncodingWithItsMark) {
  const kbtest::TTempDirectory directory;
  TEngine source("(assert (a \"äö §\"))");
  const std::string facts = SavedFacts(source, "a");
  for (const TEncoding* encoding : {TEncoding::UTF8(), TEncoding::UTF8WithMark(), TEncoding::UTF16LE(),
                                    TEncoding::UTF16BE(), TEncoding::Latin1()}) {
    SCOPED_TRACE(encoding->Name());
    source.SaveToFile("all", encoding);
    source.SaveFacts("facts", "a", encoding);
    EXPECT_TRUE(directory.Read("all").starts_with(encoding->Preamble()));
    TInferenceEngine whole;
    whole.LoadFromFile("all", encoding);
    EXPECT_EQ(SavedFacts(whole, "a"), facts);
    TInferenceEngine only;
    only.LoadFacts("facts", encoding);
    EXPECT_EQ(SavedFacts(only, "a"), facts);
  }
}

TEST(Persistence, PeopleStillReadFourDecimals) {
  TEngine engine("(assert (a 0.123456789 \"x\" nil))");
  EXPECT_EQ(engine.GetFacts().Get(1)->ToString(), "(a 0.1235 \"x\"  )");
  EXPECT_EQ(SavedFacts(engine, "a"), "(a 0.123456789 \"x\" nil )\r\n");
  engine.Do("(defrule empty => )");
  EXPECT_EQ(engine.GetRules().FindRule("empty")->ToString(), "(defrule MAIN::empty\r\n\r\n   =>)")
      << "without the pattern that compilation gave it";
}

}  // namespace
}  // namespace kb
