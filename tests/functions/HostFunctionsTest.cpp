#include "kb/functions/MathPackage.h"
#include "kb/functions/PredicatePackage.h"
#include "kb/functions/StandardPackage.h"
#include "tests/functions/Program.h"

namespace {

using kb::IKBValue;
using kb::IUserFunction;
using kb::MakeInteger;
using kb::MakeRef;
using kb::Ref;
using kb::TFunctionArguments;
using kb::TFunctionCall;
using kb::TKBContext;
using kb::TUserFunction;
using kb::TUserPackage;
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
  EXPECT_EQ(program.Eval("(twice 21)"), "42");
  EXPECT_EQ(program.Eval("(twice)"), "!Too few arguments for twice");
  EXPECT_EQ(program.Eval("(twice 1 2)"), "!Too many arguments for twice");

  function->SetFunctionName("double");
  EXPECT_EQ(program.Eval("(double 21)"), "42");
  EXPECT_FALSE(program.engine.ContainsUserFunction("twice"));

  function->DeleteReasoner(&program.engine);
  EXPECT_EQ(program.Eval("(double 21)"), "!Function is unimplemented or unassigned: double");
  EXPECT_EQ(function->GetReasonerCount(), 0);
}

TEST(HostFunctions, OneFunctionInTwoEngines) {
  TProgram first;
  const auto function = MakeRef<TTwice>();
  function->AddReasoner(&first.engine);
  {
    TProgram second;
    function->AddReasoner(&second.engine);
    EXPECT_EQ(second.Eval("(twice 4)"), "8");
  }
  EXPECT_EQ(function->GetReasonerCount(), 1);
  function->SetFunctionName("other");
  EXPECT_EQ(first.Eval("(other 4)"), "8");
}

TEST(HostFunctions, ARefusedRenameLeavesTheOldName) {
  TProgram program;
  program.engine.SetDuplicateConstructs(kb::dcError);
  const auto function = MakeRef<TTwice>();
  function->AddReasoner(&program.engine);
  EXPECT_THROW(function->SetFunctionName("+"), kb::EKBException);
  EXPECT_EQ(function->GetFunctionName(), "twice");
  EXPECT_EQ(program.Eval("(twice 1) (+ 1 2)"), "2\n3");
  const auto other = MakeRef<TTwice>();
  EXPECT_THROW(other->AddReasoner(&program.engine), kb::EKBException);
  EXPECT_EQ(other->GetReasonerCount(), 0);
}

TEST(HostFunctions, TheLimitsFollowEachOther) {
  const auto function = MakeRef<TTwice>();
  function->SetMaxArgumentCount(3);
  function->SetMinArgumentCount(5);
  EXPECT_EQ(function->GetMinArgumentCount(), 5);
  EXPECT_EQ(function->GetMaxArgumentCount(), 5);
  function->SetMaxArgumentCount(2);
  EXPECT_EQ(function->GetMinArgumentCount(), 2);
}

TEST(HostFunctions, Callable) {
  TProgram program;
  program.engine.RegisterFunction(
      "add-all",
      [](TFunctionArguments& arguments) -> IKBValue {
        int32_t sum = 0;
        for (int i = 0; i < arguments.Count(); ++i) sum += arguments[i]->GetAsInteger();
        return MakeInteger(sum);
      },
      1, 3);
  program.engine.RegisterFunction("nothing", [](TFunctionArguments&) -> IKBValue { return nullptr; });
  EXPECT_EQ(program.Eval("(add-all 1 (add-all 2 3))"), "6");
  EXPECT_EQ(program.Eval("(add-all)"), "!Too few arguments for add-all");
  EXPECT_EQ(program.Eval("(add-all 1 2 3 4)"), "!Too many arguments for add-all");
  EXPECT_EQ(program.Eval("(eq (nothing) nil)"), "TRUE");
  EXPECT_EQ(program.Eval("(clear) (add-all 1)"), "TRUE\n1");  // a host's functions stay
}

TEST(HostFunctions, ComponentWithCallback) {
  TProgram program;
  {
    TUserFunction function(nullptr, "answer");
    EXPECT_EQ(program.Eval("(answer)"), "!Function is unimplemented or unassigned: answer");
    function.SetEngine(&program.engine);
    EXPECT_EQ(program.Eval("(eq (answer) nil)"), "TRUE");
    function.OnCall = [&](kb::TObject& sender, TFunctionCall& call, TKBContext&, IKBValue& result) {
      EXPECT_EQ(&sender, &function);
      result = MakeInteger(42 + call.GetArgumentCount());
    };
    EXPECT_EQ(program.Eval("(answer 1)"), "43");
    function.SetFunctionName("reply");
    EXPECT_EQ(program.Eval("(reply)"), "42");
    EXPECT_FALSE(program.engine.ContainsUserFunction("answer"));
    program.Eval("(deffunction ask () (reply))");
    EXPECT_EQ(program.Eval("(ask)"), "42");
  }
  EXPECT_FALSE(program.engine.ContainsUserFunction("reply"));
  // A call that is bound to the function outlives the component.
  EXPECT_EQ(program.Eval("(ask)"), "!Function is unimplemented or unassigned: reply");
}

TEST(HostFunctions, AComponentMayBeNamedAfterItHasAnEngine) {
  TUserFunction function(nullptr);
  {
    TProgram program;
    function.SetEngine(&program.engine);
    function.SetFunctionName("late");
    EXPECT_EQ(program.Eval("(eq (late) nil)"), "TRUE");
    function.SetFunctionName("");
    EXPECT_EQ(program.Eval("(late)"), "!Function is unimplemented or unassigned: late");
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
  auto package = std::make_unique<TUserPackage>(nullptr);
  const auto function = MakeRef<TTwice>();
  EXPECT_EQ(package->AddFunction(function), 0);
  EXPECT_EQ(package->AddFunction(function), 0);
  package->SetEngine(&program.engine);
  EXPECT_EQ(program.Eval("(twice 3)"), "6");
  package->RemoveFunction(function);
  EXPECT_FALSE(program.engine.ContainsUserFunction("twice"));
  package->AddFunction(function);
  EXPECT_TRUE(program.engine.ContainsUserFunction("twice"));
  EXPECT_EQ(package->IndexOf("twice"), 0);
  EXPECT_EQ(package->IndexOf("Twice"), -1);
  package->SetEngine(nullptr);
  EXPECT_FALSE(program.engine.ContainsUserFunction("twice"));
  package->SetEngine(&program.engine);
  package.reset();
  EXPECT_FALSE(program.engine.ContainsUserFunction("twice"));
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
  kb::TMathPackage& package = kb::CreatePackage<kb::TMathPackage>(program.engine);
  const size_t count = package.GetFunctions().size();
  const Ref<IUserFunction> plus = program.engine.GetUserFunction("+");
  int created = 0;
  package.OnCreateFunctions = [&](TUserPackage&) { ++created; };
  package.Reset();
  EXPECT_EQ(created, 1);
  EXPECT_EQ(package.GetFunctions().size(), count);
  EXPECT_NE(program.engine.GetUserFunction("+"), plus);
  EXPECT_EQ(program.Eval("(+ 1 2)"), "3");
}

TEST(Packages, TheSetOfTheEngineDecides) {
  TProgram program;
  program.engine.SetPackages({kb::pStandard});
  EXPECT_EQ(program.Eval("(+ 1 2)"), "!Function is unimplemented or unassigned: +");
  EXPECT_EQ(program.Eval("(length$ (create$ a))"), "1");
  program.engine.SetPackages({kb::pStandard, kb::pMath});
  EXPECT_EQ(program.Eval("(+ 1 2)"), "3");
}

TEST(Packages, AssignSharesTheFunctions) {
  TProgram program;
  kb::TPredicatePackage source(nullptr);
  source.CreateFunctions();
  TUserPackage target(nullptr);
  target.Assign(source);
  ASSERT_EQ(target.GetFunctions().size(), source.GetFunctions().size());
  EXPECT_EQ(target.GetFunctions()[0], source.GetFunctions()[0]);
}

TEST(Packages, StandardFunctionsKeepTheirOrder) {
  kb::TStandardPackage package(nullptr);
  package.CreateFunctions();
  EXPECT_EQ(package.IndexOf("and"), 0);
  EXPECT_LT(package.IndexOf("while"), package.IndexOf("create$"));
  EXPECT_LT(package.IndexOf("subsetp"), package.IndexOf("get-current-module"));
  EXPECT_LT(package.IndexOf("pop-focus"), package.IndexOf("get-current-dir"));
  EXPECT_EQ(package.GetFunctions().back()->GetFunctionName(), "get-temp-path");
}

TEST(Packages, ATypeTestSaysWhatItTests) {
  const auto function = MakeRef<kb::TVerifyTypePFunction>("numberp", kb::TKBTypes{kb::dtInteger, kb::dtFloat});
  EXPECT_EQ(function->GetComment(),
            "Returns TRUE if the argument is of the following type(s): Integer, Float.  If the argument is "
            "any other "
            "type, FALSE is returned");
  const auto copy = MakeRef<kb::TVerifyTypePFunction>("x", kb::TKBTypes{kb::dtAtom});
  copy->Assign(*function);
  EXPECT_EQ(copy->GetFunctionName(), "numberp");
  EXPECT_EQ(copy->GetTypes(), function->GetTypes());
  EXPECT_EQ(copy->GetComment(), function->GetComment());
}

}  // namespace
