#include "kb/functions/MathPackage.h"
#include "kb/functions/PredicatePackage.h"
#include "kb/functions/StandardPackage.h"
#include "tests/Program.h"

namespace {

using kb::IKBValue, kb::IUserFunction, kb::MakeInteger, kb::MakeRef, kb::Ref, kb::TFunctionArguments, kb::TFunctionCall,
    kb::TKBContext, kb::TUserFunction, kb::TUserPackage;
using kbtest::TProgram;

// A host's own class.
class TTwice : public kb::TKBUserFunction {
 public:
  using TKBUserFunction::GetFunctionName;

 protected:
  void InitMetaData() override {
    SetFunctionName("twice");
    SetMinArgumentCount(1);
    SetMaxArgumentCount(1);
  }
  void Call(TFunctionCall& call, TKBContext& context, IKBValue& result) override {
    result = MakeInteger(2 * call.Evaluate(0, context)->GetAsInteger());
  }
};

TEST(HostFunctions, DerivedClass) {
  TProgram program;
  const auto function = MakeRef<TTwice>();
  EXPECT_EQ(function->AddReasoner(&program.engine), 0);
  EXPECT_EQ(function->AddReasoner(&program.engine), 0);  // one entry
  EXPECT_EQ(function->GetReasonerCount(), 1);
  program.Expect("(twice 21) --> 42 ;; (twice) --> !Too few arguments for twice");
  function->SetFunctionName("double");
  program.Expect("(double 21) --> 42 ;; (twice 1) --> !Function is unimplemented or unassigned: twice");
  function->SetMinArgumentCount(5);
  EXPECT_EQ(function->GetMaxArgumentCount(), 5) << "the limits follow each other";
  function->SetMaxArgumentCount(2);
  EXPECT_EQ(function->GetMinArgumentCount(), 2);
  function->DeleteReasoner(&program.engine);
  program.Expect("(double 21) --> !Function is unimplemented or unassigned: double");
  EXPECT_EQ(function->GetReasonerCount(), 0);
}

TEST(HostFunctions, OneFunctionInTwoEngines) {
  TProgram first;
  const auto function = MakeRef<TTwice>();
  function->AddReasoner(&first.engine);
  {
    TProgram second;
    function->AddReasoner(&second.engine);
    second.Expect("(twice 4) --> 8");
  }
  EXPECT_EQ(function->GetReasonerCount(), 1);
  function->SetFunctionName("other");
  first.Expect("(other 4) --> 8");
}

TEST(HostFunctions, ARefusedRenameLeavesTheOldName) {
  TProgram program;
  program.engine.SetDuplicateConstructs(kb::dcError);
  const auto function = MakeRef<TTwice>();
  function->AddReasoner(&program.engine);
  EXPECT_THROW(function->SetFunctionName("+"), kb::EKBException);
  program.Expect(R"((twice 1) (+ 1 2) --> 2\n3)");
  const auto other = MakeRef<TTwice>();
  EXPECT_THROW(other->AddReasoner(&program.engine), kb::EKBException);
  EXPECT_EQ(other->GetReasonerCount(), 0);
}

TEST(HostFunctions, Callable) {
  TProgram program;
  const auto sum = [](TFunctionArguments& arguments) -> IKBValue {
    int32_t total = 0;
    for (int i = 0; i < arguments.Count(); ++i) total += arguments[i]->GetAsInteger();
    return MakeInteger(total);
  };
  program.engine.RegisterFunction("add-all", sum, 1, 3);
  program.engine.RegisterFunction("nothing", [](TFunctionArguments&) -> IKBValue { return nullptr; });
  program.Expect(R"(
    (add-all 1 (add-all 2 3)) --> 6 ;; (add-all) --> !Too few arguments for add-all
    (add-all 1 2 3 4) --> !Too many arguments for add-all ;; (eq (nothing) nil) --> TRUE
    // A host's functions stay.
    (clear) (add-all 1) --> TRUE\n1
  )");
}

TEST(HostFunctions, ComponentWithCallback) {
  TProgram program;
  {
    TUserFunction function(nullptr, "answer");
    program.Expect("(answer) --> !Function is unimplemented or unassigned: answer");
    function.SetEngine(&program.engine);
    program.Expect("(eq (answer) nil) --> TRUE");
    function.OnCall = [&](kb::TObject& sender, TFunctionCall& call, TKBContext&, IKBValue& result) {
      EXPECT_EQ(&sender, &function);
      result = MakeInteger(42 + call.GetArgumentCount());
    };
    program.Expect("(answer 1) --> 43");
    function.SetFunctionName("reply");
    program.Expect(R"(
      (reply) --> 42 ;; (answer) --> !Function is unimplemented or unassigned: answer
      (deffunction ask () (reply)) (ask) --> 42
    )");
  }
  EXPECT_FALSE(program.engine.ContainsUserFunction("reply"));
  // A call that is bound to the function outlives the component.
  program.Expect("(ask) --> !Function is unimplemented or unassigned: reply");
}

TEST(HostFunctions, AComponentMayBeNamedAfterItHasAnEngine) {
  TUserFunction function(nullptr);
  {
    TProgram program;
    function.SetEngine(&program.engine);
    function.SetFunctionName("late");
    program.Expect("(eq (late) nil) --> TRUE");
    function.SetFunctionName("");
    program.Expect("(late) --> !Function is unimplemented or unassigned: late");
    function.SetFunctionName("late");
  }
  EXPECT_EQ(function.GetEngine(), nullptr);  // told of the engine's end
}

TEST(HostFunctions, ComponentLimitsRebuildTheSyntax) {
  TUserFunction function(nullptr, "f");
  function.SetArgumentString("<name> <age>");
  function.SetMaxArgumentCount(3);
  function.SetMinArgumentCount(1);
  EXPECT_EQ(function.GetArgumentString(), "<name>[ <age>[ <expression>]]");
  function.SetMaxArgumentCount(0);
  EXPECT_EQ(function.GetArgumentString(), "");
}

TEST(Packages, ComeAndGo) {
  TProgram program;
  const auto known = [&program] { return program.engine.ContainsUserFunction("twice"); };
  auto package = std::make_unique<TUserPackage>(nullptr);
  const auto function = MakeRef<TTwice>();
  EXPECT_EQ(package->AddFunction(function), 0);
  EXPECT_EQ(package->AddFunction(function), 0);
  package->SetEngine(&program.engine);
  program.Expect("(twice 3) --> 6");
  package->RemoveFunction(function);
  EXPECT_FALSE(known());
  package->AddFunction(function);
  EXPECT_TRUE(known());
  EXPECT_EQ(package->IndexOf("twice"), 0);
  EXPECT_EQ(package->IndexOf("Twice"), -1);
  package->SetEngine(nullptr);
  EXPECT_FALSE(known());
  package->SetEngine(&program.engine);
  package.reset();
  EXPECT_FALSE(known());
  program.engine.SetPackages({kb::pStandard});
  program.Expect("(+ 1 2) --> !Function is unimplemented or unassigned: + ;; (length$ (create$ a)) --> 1");
  program.engine.SetPackages({kb::pStandard, kb::pMath});
  program.Expect("(+ 1 2) --> 3");
}

TEST(Packages, OutliveTheirEngine) {
  TUserPackage package(nullptr);
  package.AddFunction(MakeRef<TTwice>());
  {
    TProgram program;
    package.SetEngine(&program.engine);
  }
  EXPECT_EQ(package.GetEngine(), nullptr);
  EXPECT_TRUE(package.GetReasoners().empty());
  EXPECT_EQ(package.GetFunctions()[0]->GetReasonerCount(), 0);
  TProgram next;
  package.SetEngine(&next.engine);
  EXPECT_EQ(next.Eval("(twice 3)"), "6");
}

TEST(Packages, ResetMakesTheFunctionsAnew) {
  TProgram program;
  auto& package = kb::CreatePackage<kb::TMathPackage>(program.engine);
  const size_t count = package.GetFunctions().size();
  const Ref<IUserFunction> plus = program.engine.GetUserFunction("+");
  int created = 0;
  package.OnCreateFunctions = [&](TUserPackage&) { ++created; };
  package.Reset();
  EXPECT_EQ(created, 1);
  EXPECT_EQ(package.GetFunctions().size(), count);
  EXPECT_NE(program.engine.GetUserFunction("+"), plus);
  program.Expect("(+ 1 2) --> 3");
}

TEST(Packages, AssignSharesTheFunctions) {
  kb::TPredicatePackage source(nullptr);
  source.CreateFunctions();
  TUserPackage target(nullptr);
  target.Assign(source);
  EXPECT_EQ(target.GetFunctions(), source.GetFunctions());
}

}  // namespace
