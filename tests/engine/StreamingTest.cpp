// Engines in component streams: with host packages, and with rules and fact sets of other owners.

#include "kb/engine/EngineClasses.h"
#include "kb/functions/PredicatePackage.h"
#include "kb/platform/ComponentStream.h"
#include "tests/Program.h"

namespace kb {
namespace {

using kbtest::TEngine;

std::string Write(TComponent& root, TStreamForm form) {
  std::ostringstream out;
  WriteComponent(out, root, form);
  return out.str();
}

std::unique_ptr<TComponent> Read(const std::string& bytes) {
  std::istringstream in(bytes);
  return std::unique_ptr<TComponent>(ReadComponent(in, nullptr));
}

class Streaming : public testing::TestWithParam<TStreamForm> {};

constexpr const char* kStreamedProgram =
    "(deffunction twice (?x) (* 2 ?x))(defglobal ?*a* = 0.123456789 ?*b* = (twice 21))"
    "(deftemplate p (slot n (default 1)) (slot s))(deffunction tell (?n) (assert (p (n ?n) (s \"said\"))))"
    "(defrule r (p (n ?n&:(> ?n ?*b*)&:(< ?n 1000))) => (tell (twice ?n)))(deffacts d (p (n 43)))"
    "(defmodule M) (defrule m (x) => )(assert (x 0.1))";

TEST_P(Streaming, AnEngineComesBackWithItsSettingsAndKnowledge) {
  TEngine source;
  source.SetName("engine");
  source.Do(kStreamedProgram);
  source.SetStrategy(ssBreadthFirst);
  source.SetTypeChecks({tcStatic, tcDynamic});
  source.SetFactDuplication(true);
  source.SetMinActivationStrength(0.25F);
  source.SetWatch({cwFact});
  source.SetPackages(source.GetPackages() - TFunctionPackages(pTrigonometry));
  const std::string bytes = Write(source, GetParam());
  const auto read = Read(bytes);
  auto& copy = dynamic_cast<TInferenceEngine&>(*read);
  EXPECT_EQ(copy.GetName(), "engine");
  EXPECT_EQ(copy.GetStrategy(), ssBreadthFirst);
  EXPECT_TRUE(copy.GetTypeChecks().Has(tcDynamic));
  EXPECT_TRUE(copy.GetFactDuplication());
  EXPECT_EQ(copy.GetMinActivationStrength(), 0.25F);
  EXPECT_FALSE(copy.ContainsUserFunction("sin"));
  EXPECT_EQ(copy.GetExpertSystem(true), source.GetExpertSystem(true));
  EXPECT_EQ(copy.GetGlobalContext().GetVariable("*a*")->GetAsFloat(), 0.123456789);
  EXPECT_EQ(copy.GetGlobalContext().GetVariable("*b*")->GetAsInteger(), 42);
  EXPECT_EQ(copy.GetFocusStack().ToNamesString(" "), source.GetFocusStack().ToNamesString(" "));
  for (TInferenceEngine* engine : {static_cast<TInferenceEngine*>(&source), &copy}) {
    engine->SetWatch({});
    engine->Reset();
    engine->Run();
  }
  EXPECT_EQ(copy.GetFacts(false)->GetToIDString(), source.GetFacts(false)->GetToIDString());
  EXPECT_EQ(Write(copy, GetParam()), Write(source, GetParam()));
}

TEST_P(Streaming, RulesAndFactSetsOfAFormStayItsOwn) {
  TComponent form(nullptr);
  form.SetName("form");
  auto* set = new TFactSet(&form, "start", "");
  auto* rule = new TRule(&form, "greet", "");
  auto* engine = new TInferenceEngine(&form);
  engine->Parse("(deftemplate name (slot n)) (defrule other (name (n ?n)) => (assert (met ?n)))", true);
  set->SetEngine(engine);
  set->SetFacts(std::vector<std::string>{"(name (n \"Ann \\\"A\\\"\"))"});
  {
    const std::unique_ptr<TRule> parsed(engine->ParseRule("(defrule greet (name (n ?n)) => (assert (hello ?n)))"));
    rule->AttachEngine(engine);
    rule->Assign(*parsed);
  }
  engine->RegisterRule(*rule);
  const auto read = Read(Write(form, GetParam()));
  ASSERT_EQ(read->GetComponentCount(), 3);
  auto* copy = FindComponentType<TInferenceEngine>(*read);
  auto* copiedRule = FindComponentType<TRule>(*read);
  auto* copiedSet = FindComponentType<TFactSet>(*read);
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->GetRules().FindRule("greet"), copiedRule) << "and not a second one that the text made";
  EXPECT_EQ(copy->GetRules().GetCount(), 2);
  EXPECT_EQ(copy->GetFactSets().GetCount(), 1);
  EXPECT_EQ(&copy->GetFactSets().Get(0), copiedSet);
  copy->Reset();
  EXPECT_EQ(copy->Run(), 2);
  EXPECT_NE(copy->GetFacts().GetToIDString().find("(hello \"Ann \\\"A\\\"\" )"), std::string::npos);
}

TEST_P(Streaming, HostPackagesAndFunctionComponents) {
  TInferenceEngine source;
  auto* package = new TUserPackage(&source);
  package->SetName("mine");
  package->AddFunction(MakeRef<TVerifyTypePFunction>("wordp", TKBTypes{dtAtom, dtString}));
  auto* function = new TUserFunction(&source, "ask");
  function->SetComment("asks the host");
  function->SetMaxArgumentCount(2);
  function->SetEngine(&source);
  const auto read = Read(Write(source, GetParam()));
  auto& copy = dynamic_cast<TInferenceEngine&>(*read);
  EXPECT_EQ(copy.ParseNExecuteFunCall("(wordp x)"), FCTrue);
  EXPECT_EQ(copy.ParseNExecuteFunCall("(wordp 1)"), FCFalse);
  ASSERT_TRUE(copy.ContainsUserFunction("ask"));
  EXPECT_EQ(copy.GetUserFunction("ask")->GetComment(), "asks the host");
  EXPECT_EQ(copy.GetUserFunction("ask")->GetMaxArgumentCount(), 2);
}

// Functions of the library in a package of the host: under their own names, another name, and left out.
TEST_P(Streaming, BuiltInFunctionsInAHostPackage) {
  TInferenceEngine source;
  source.SetPackages({pStandard});
  auto* package = new TPredicatePackage(&source);
  package->SetName("tests");
  package->CreateFunctions();
  const Ref<IUserFunction> even = package->GetFunctions()[static_cast<size_t>(package->IndexOf("evenp"))];
  even->SetFunctionName("pairp");
  even->SetComment("in pairs");
  package->RemoveFunction(package->GetFunctions()[static_cast<size_t>(package->IndexOf("oddp"))]);
  const auto read = Read(Write(source, GetParam()));
  auto& copy = dynamic_cast<TInferenceEngine&>(*read);
  copy.Parse("(bind ?a (pairp 4)) (bind ?b (get-type 1))", true);
  EXPECT_EQ(copy.GetGlobalContext().GetVariable("a"), FCTrue);
  EXPECT_EQ(copy.GetGlobalContext().GetVariable("b")->ToString(), "dtInteger");
  EXPECT_EQ(copy.GetUserFunction("pairp")->GetComment(), "in pairs");
  EXPECT_EQ(copy.GetUserFunction("pairp")->GetArgumentString(), " <integer-expression>");
  EXPECT_EQ(copy.GetUserFunction("pairp")->GetMaxArgumentCount(), 1);
  for (const char* gone : {"evenp", "oddp"}) EXPECT_FALSE(copy.ContainsUserFunction(gone)) << gone;
  EXPECT_TRUE(copy.ContainsUserFunction("numberp"));
  EXPECT_EQ(Write(copy, GetParam()), Write(source, GetParam()));
}

TEST_P(Streaming, AnEngineWithoutPackagesReadsItsTextAllTheSame) {
  TEngine source("(do-backward-chaining q) (assert (a 1))");
  source.Assert("(b c)");
  source.SetPackages({});
  const auto read = Read(Write(source, GetParam()));
  auto& copy = dynamic_cast<TInferenceEngine&>(*read);
  EXPECT_EQ(copy.GetFacts().ToString(), source.GetFacts().ToString());
  EXPECT_TRUE(copy.FindFactTemplate("q")->IsBackwardChaining());
  EXPECT_FALSE(copy.ContainsUserFunction("assert"));
}

INSTANTIATE_TEST_SUITE_P(Forms, Streaming, testing::Values(sfText, sfBinary),
                         [](const auto& form) { return form.param == sfText ? "Text" : "Binary"; });

TEST(StreamingOldForms, ListsOfConstructsAreRead) {
  RegisterEngineClasses();
  const auto read = Read(
      "kb-components 1\nobject TInferenceEngine #1\n  FactsList = [ \"(p (n 7))\" ]\n"
      "  FactSets = [ \"(deffacts d (p (n 8)))\" ]\n  Rules.Rules = [ \"(defrule r (p (n ?n)) => )\" ]\n"
      "  FactTemplates.Templates = [ \"(deftemplate p (slot n (type small)))\" ]\n"
      "  DefinedTypes.DefTypes = [ \"(deftype small extends (type INTEGER) (range 0 9))\" ]\n"
      "  GlobalVariables.Variables = [ \"?*g* = 5\" ]\nend\n");
  auto& engine = dynamic_cast<TInferenceEngine&>(*read);
  EXPECT_EQ(engine.GetAgendaCount(), 1);
  EXPECT_EQ(engine.GetFactSets().GetCount(), 1);
  EXPECT_NE(engine.FindDefinedType("small"), nullptr);
  EXPECT_EQ(engine.GetGlobalContext().GetVariable("*g*")->GetAsInteger(), 5);
}

TEST(StreamingFaults, SayWhereAndLeaveNothing) {
  RegisterEngineClasses();
  const auto fault = [](const std::string& line) {
    return kbtest::MessageOf([&] { (void)Read("kb-components 1\nobject TInferenceEngine #1\n  " + line + "\nend\n"); });
  };
  kbtest::ExpectAnswers(fault, R"(
    Strategy = 2 --> Component stream, line 3: TInferenceEngine.Strategy: Expected a number from 0 to 1
    Packages = true --> Component stream, line 3: TInferenceEngine.Packages: Expected an integer
  )");
  EXPECT_TRUE(fault("ModuleText = \"(defrule r (a\"").starts_with("Parsing Error, "));
}

}  // namespace
}  // namespace kb
