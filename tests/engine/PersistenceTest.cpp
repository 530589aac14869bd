// Saving and loading: whole engines and single kinds of constructs, in every encoding.

#include <cmath>
#include <fstream>
#include <limits>

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
  const double numbers[] = {0.1, 1e-7, 1.0 / 3, 123456789.123456, 1e300, -2.5e-310, -0.0, std::nextafter(1.0, 2.0)};
  const char* texts[] = {"", "a\"b\\c", "two\r\n   lines", "; no comment", "\xC3\xA4 ?x (f)", "semi;colon"};
  const char* atoms[] = {"a b", "12", "1e5", "-", "(", "a(b)", "?x", "$?y", "=", "a\\b", "a;b", "nil", "\"q\"", "a<b"};
  const auto add = [&source](const IKBValue& value) {
    const IFact fact = source.FindFactTemplate("v")->NewFact();
    fact->SetValue("x", value);
    source.Assert(fact);
    return value;
  };
  std::vector<IKBValue> values;
  for (const double number : numbers) values.push_back(add(MakeFloat(number)));
  for (const char* text : texts) values.push_back(add(MakeString(text)));
  for (const char* atom : atoms) values.push_back(add(MakeAtom(atom)));
  TInferenceEngine target;
  source.SetFactDuplication(true);
  ExpectCopies(source, target);
  ASSERT_EQ(target.GetFacts().GetCount(), source.GetFacts().GetCount());
  for (int i = 0; i < target.GetFacts().GetCount(); ++i) {
    const IFact was = source.GetFacts().Get(i);
    if (was->GetTemplate()->GetTemplateName() != "v") continue;
    const IKBValue old = was->GetValue("x");
    const IKBValue now = target.GetFacts().Get(i)->GetValue("x");
    EXPECT_EQ(now->GetDType(), old->GetDType()) << old->ToString();
    if (old->Is(dtFloat)) {
      EXPECT_EQ(now->GetAsFloat(), old->GetAsFloat());
    } else {
      EXPECT_EQ(now->TextView(), old->TextView());
    }
  }
}

TEST(Persistence, NilIsWrittenWhereLeavingItOutWouldChangeTheFact) {
  TEngine source(
      "(deftemplate p (slot a (default 1)) (slot b) (slot c (default nil) (type INTEGER)) (multislot m (default x)))"
      "(assert (p (a nil) (b nil) (m)))");
  EXPECT_EQ(SavedFacts(source, "p"), "(p (a nil) (m  ))\r\n");
  TInferenceEngine target;
  ExpectCopies(source, target);
  EXPECT_EQ(SavedFacts(target, "p"), "(p (a nil) (m  ))\r\n");
}

TEST(Persistence, AConstraintWithoutFieldsStillAsksForTheEmptyList) {
  TEngine source("(deftemplate p (multislot m)) (defrule r (p (m)) => ) (assert (p (m 1)) (p (m)))");
  EXPECT_EQ(source.GetAgendaCount(), 1);
  TInferenceEngine target;
  ExpectCopies(source, target);
  EXPECT_EQ(target.GetAgendaCount(), 1);
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
  TEngine source(
      "(do-backward-chaining price) (defrule ask (need-price ?x ?) => (assert (price ?x 5)))"
      "(defrule want (order ?x) (price ?x ?y) => (assert (bill ?x ?y)))");
  TEngine target;
  ExpectCopies(source, target);
  EXPECT_TRUE(target.FindFactTemplate("price")->IsBackwardChaining());
  target.SetDuplicateConstructs(dcError);
  target.Do("(do-backward-chaining price)");
  target.Do("(reset) (assert (order tea)) (run)");
  EXPECT_NE(target.GetFacts().GetToIDString().find("(bill tea 5 )"), std::string::npos);
}

TEST(Persistence, AGoalInsideNotIsSavedWithoutTheNameThatItWasGiven) {
  TEngine source("(do-backward-chaining price) (defrule idle (item ?x) (not (need-price ?x)) => )");
  TInferenceEngine target;
  ExpectCopies(source, target);
}

TEST(Persistence, AMultifieldInASingleSlotStaysOne) {
  TEngine source("(deftemplate p (slot n)) (assert (p (n (create$ 1 a))) (p (n (create$))))");
  TInferenceEngine target;
  ExpectCopies(source, target);
  EXPECT_EQ(target.GetFacts().Get(1)->GetValue("n")->GetAsList()->GetValueCount(), 2);
  EXPECT_EQ(target.GetFacts().Get(2)->GetValue("n")->GetAsList()->GetValueCount(), 0);
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
  TEngine engine("(deftemplate t) (defrule r (t) => ) (assert (t 1))");
  std::istringstream templates("(deftemplate u (slot x))");
  engine.LoadRules(templates);
  EXPECT_EQ(engine.GetRules().GetCount(), 0);
  EXPECT_NE(engine.FindFactTemplate("u"), nullptr);
  EXPECT_NE(engine.FindFactTemplate("t"), nullptr);
  std::istringstream none("");
  engine.LoadFactTemplates(none);
  EXPECT_EQ(engine.FindFactTemplate("t"), nullptr);
  engine.Do("(deftype n extends (type INTEGER))");
  std::istringstream type("(deftype m extends (type STRING))");
  engine.LoadDefinedTypes(type);
  EXPECT_EQ(engine.FindDefinedType("n"), nullptr);
  EXPECT_NE(engine.FindDefinedType("m"), nullptr);
}

TEST(Persistence, EachKindIsSavedAndLoadedByItself) {
  TEngine engine;
  engine.Parse(kKnowledge + std::string("(set-current-module MAIN) (reset)"), false);
  engine.SetCurrentModule(engine.GetModules().Get(0));
  std::stringstream types;
  std::stringstream templates;
  std::stringstream rules;
  std::stringstream facts;
  engine.Reset();
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
  const int count = engine.GetFacts().GetCount();
  std::istringstream first(facts);
  engine.LoadFacts(first);
  EXPECT_EQ(engine.GetFacts().GetCount(), count);
  engine.SetFactDuplication(true);
  std::istringstream second(facts);
  engine.LoadFacts(second);
  EXPECT_EQ(engine.GetFacts().GetCount(), count + 1);
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
  TEngine source("(assert (a \"\xC3\xA4\xC3\xB6 \xC2\xA7\"))");
  const std::string facts = SavedFacts(source, "a");
  for (const TEncoding* encoding : {TEncoding::UTF8(), TEncoding::UTF8WithMark(), TEncoding::UTF16LE(),
                                    TEncoding::UTF16BE(), TEncoding::Latin1()}) {
    const std::string name = "saved-" + std::string(encoding->Name());
    source.SaveToFile(name, encoding);
    source.SaveFacts(name + ".facts", "a", encoding);
    std::ifstream file(name, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    EXPECT_TRUE(bytes.starts_with(encoding->Preamble())) << encoding->Name();
    TInferenceEngine whole;
    whole.LoadFromFile(name, encoding);
    EXPECT_EQ(SavedFacts(whole, "a"), facts) << encoding->Name();
    TInferenceEngine only;
    only.LoadFacts(name + ".facts", encoding);
    EXPECT_EQ(SavedFacts(only, "a"), facts) << encoding->Name();
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
