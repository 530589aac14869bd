#include "kb/platform/Exceptions.h"
#include "tests/functions/Program.h"

namespace {

using kb::EKBException;
using kb::IUserFunction;
using kb::MakeRef;
using kb::Ref;
using kb::TInterpretedFunction;
using kbtest::ExpectEach;
using kbtest::TCase;
using kbtest::TProgram;

TEST(InterpretedFunction, BindsItsParameters) {
  const TCase cases[] = {
      {"(deffunction f (?a ?b) (- ?a ?b)) (f 5 3)", "2"},
      {"(deffunction f (?a ?b) ?a) (f 1)", "!Too few arguments for f"},
      {"(deffunction f (?a ?b) (+ ?a ?b)) (f 1 2 (throw x))", "3"},  // the surplus is not evaluated
      {"(deffunction f (?a $?rest) ?rest) (f 1 2 (+ 1 2))", "2 3 "},
      {"(deffunction f (?a $?rest) ?rest) (f 1)", "!Too few arguments for f"},
      // Each argument already sees the parameters in front of it.
      {"(deffunction g (?a ?b) (create$ ?a ?b)) (deffunction f (?a ?b) (g ?b ?a)) (f 1 2)", "2 2 "},
      {"(deffunction f ()) (f)", ""},
      {"(deffunction f (?x) (bind ?x (+ ?x 1)) ?x) (f 1)", "2"},
      {"(deffunction f () 1 2) (deffunction f () 3) (f)", "3"},
  };
  ExpectEach(cases);
}

TEST(InterpretedFunction, LocalsDieWithTheCall) {
  TProgram program;
  program.Eval("(defglobal ?*g* = 1) (deffunction f (?x) (bind ?local ?x) (bind ?*g* ?x) ?local)");
  EXPECT_EQ(program.Eval("(f 7)"), "7");
  EXPECT_EQ(program.Eval("?*g*"), "7");
  EXPECT_EQ(program.Eval("?local"), "!Unknown variable name: local");
  EXPECT_EQ(program.Eval("?x"), "!Unknown variable name: x");
}

TEST(InterpretedFunction, ADefinitionMayComeAfterTheCall) {
  TProgram program;
  program.Eval("(deffunction f () (g))");
  EXPECT_EQ(program.Eval("(f)"), "!Function is unimplemented or unassigned: g");
  program.Eval("(deffunction g () 5)");
  EXPECT_EQ(program.Eval("(f)"), "5");
}

TEST(InterpretedFunction, DeepRecursionWorks) {
  TProgram program;
  program.Eval("(deffunction count (?n) (if (= ?n 0) then 0 else (+ 1 (count (- ?n 1)))))");
  EXPECT_EQ(program.Eval("(count 10000)"), "10000");
}

TEST(InterpretedFunction, EndlessRecursionIsAnError) {
  TProgram program;
  program.Eval("(deffunction loop (?n) (loop (+ ?n 1)))");
  EXPECT_THROW(program.engine.Parse("(loop 0)", true), kb::ERecursionError);
  // The engine is as good as before, and the language can catch it.
  EXPECT_EQ(program.Eval("(try (loop 0) catch caught)"), "caught");
  EXPECT_EQ(program.Eval("(+ 1 2)"), "3");
}

TEST(InterpretedFunction, AnExceptionPassesAndLeavesNoReturnState) {
  TProgram program;
  program.Eval("(deffunction bad () (throw oops)) (deffunction f () (try (bad) catch 1) 2)");
  EXPECT_EQ(program.Eval("(f)"), "2");
  EXPECT_EQ(program.Eval("(bad)"), "!oops");
  EXPECT_FALSE(program.engine.GetGlobalContext().IsReturning());
}

TEST(InterpretedFunction, CountsAndParameterKinds) {
  const auto function = MakeRef<TInterpretedFunction>();
  EXPECT_EQ(function->GetMinArgumentCount(), 0);
  EXPECT_EQ(function->GetMaxArgumentCount(), 0);
  function->AddArgument("a", kb::dtVariable);
  function->AddArgument("local", kb::dtAtom);
  EXPECT_EQ(function->GetMinArgumentCount(), 2);
  EXPECT_EQ(function->GetMaxArgumentCount(), 2);
  function->AddArgument("rest", kb::dtMultiVariable);
  EXPECT_EQ(function->GetMinArgumentCount(), 3);
  EXPECT_EQ(function->GetMaxArgumentCount(), kb::kUnlimitedArguments);
  try {
    function->AddArgument("x", kb::dtInteger);
    FAIL();
  } catch (const EKBException& error) {
    EXPECT_EQ(error.Message(),
              "Invalid argument type for deffunction: \"dtInteger\".  Expected Atom, Variable, MultiVariable");
  }
}

TEST(InterpretedFunction, ALocalParameterStartsAsNil) {
  TProgram program;
  const auto function = MakeRef<TInterpretedFunction>();
  function->SetFunctionName("f");
  function->AddArgument("local", kb::dtAtom);
  function->AddStatement(program.engine.ParseFunCall("(if (eq ?local nil) then empty else full)"));
  program.engine.AddUserFunction(function);
  EXPECT_EQ(program.Eval("(f ignored)"), "empty");
}

TEST(InterpretedFunction, RecursiveFunctionsAreFreed) {
  Ref<IUserFunction> odd;
  {
    TProgram program;
    program.Eval(
        "(deffunction odd (?n) (if (= ?n 0) then FALSE else (even (- ?n 1))))"
        "(deffunction even (?n) (if (= ?n 0) then TRUE else (odd (- ?n 1))))");
    EXPECT_EQ(program.Eval("(odd 7)"), "TRUE");
    odd = program.engine.GetUserFunction("odd");
    program.Eval("(clear)");
    EXPECT_EQ(odd->RefCount(), 1);
  }
  EXPECT_EQ(odd->GetReasonerCount(), 0);
}

TEST(InterpretedFunction, RedefiningItselfWhileItRunsIsSafe) {
  TProgram program;
  program.Eval("(deffunction f () (assert-string \"(x)\") (clear) (+ 1 1))");
  EXPECT_EQ(program.Eval("(f)"), "2");
  EXPECT_EQ(program.Eval("(f)"), "!Function is unimplemented or unassigned: f");
}

}  // namespace
