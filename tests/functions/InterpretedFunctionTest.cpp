#include "tests/Program.h"

namespace {

using kb::IUserFunction, kb::MakeRef, kb::Ref, kb::TInterpretedFunction;
using kbtest::ExpectEach, kbtest::TProgram;

TEST(InterpretedFunction, BindsItsParameters) {
  ExpectEach(R"(
    (deffunction f (?a ?b) (- ?a ?b)) (f 5 3) --> 2 ;; (deffunction f (?a ?b) ?a) (f 1) --> !Too few arguments for f
    // the surplus is not evaluated
    (deffunction f (?a ?b) (+ ?a ?b)) (f 1 2 (throw x)) --> 3
    (deffunction f (?a $?rest) ?rest) (f 1 2 (+ 1 2)) --> 2 3\s
    (deffunction f (?a $?rest) ?rest) (f 1) --> !Too few arguments for f
    // Each argument already sees the parameters in front of it.
    (deffunction g (?a ?b) (create$ ?a ?b)) (deffunction f (?a ?b) (g ?b ?a)) (f 1 2) --> 2 2\s
    (deffunction f ()) (f) --> ;; (deffunction f (?x) (bind ?x (+ ?x 1)) ?x) (f 1) --> 2
    (deffunction f () 1 2) (deffunction f () 3) (f) --> 3
  )");
}

TEST(InterpretedFunction, LocalsDieWithTheCall) {
  TProgram program("(defglobal ?*g* = 1) (deffunction f (?x) (bind ?local ?x) (bind ?*g* ?x) ?local)");
  program.Expect(R"(
    (f 7) --> 7 ;; ?*g* --> 7 ;; ?local --> !Unknown variable name: local ;; ?x --> !Unknown variable name: x
  )");
}

TEST(InterpretedFunction, ADefinitionMayComeAfterTheCallAndGoWhileItRuns) {
  TProgram program;
  program.Expect(R"~(
    (deffunction f () (g)) (f) --> !Function is unimplemented or unassigned: g ;; (deffunction g () 5) (f) --> 5
    (deffunction f () (assert-string "(x)") (clear) (+ 1 1)) (f) --> 2
    (f) --> !Function is unimplemented or unassigned: f
  )~");
}

TEST(InterpretedFunction, AnExceptionPassesAndLeavesNoReturnState) {
  TProgram program;
  program.Expect(R"(
    (deffunction bad () (throw oops)) (deffunction f () (try (bad) catch 1) 2) (f) --> 2 ;; (bad) --> !oops
  )");
  EXPECT_FALSE(program.engine.GetGlobalContext().IsReturning());
}

TEST(InterpretedFunction, EndlessRecursionIsAnErrorThatTheLanguageCanCatch) {
  TProgram program("(deffunction loop (?n) (loop (+ ?n 1)))");
  EXPECT_THROW(program.engine.Parse("(loop 0)", true), kb::ERecursionError);
  program.Expect("(try (loop 0) catch caught) --> caught ;; (+ 1 2) --> 3");
}

TEST(InterpretedFunction, ParametersOfAHost) {
  TProgram program;
  const auto function = MakeRef<TInterpretedFunction>();
  const auto counts = [&] { return std::pair(function->GetMinArgumentCount(), function->GetMaxArgumentCount()); };
  EXPECT_EQ(counts(), std::pair(0, 0));
  function->SetFunctionName("f");
  function->AddArgument("local", kb::dtAtom);
  EXPECT_EQ(counts(), std::pair(1, 1));
  function->AddStatement(program.engine.ParseFunCall("(if (eq ?local nil) then empty else full)"));
  program.engine.AddUserFunction(function);
  program.Expect("(f ignored) --> empty");
  function->AddArgument("rest", kb::dtMultiVariable);
  EXPECT_EQ(counts(), std::pair(2, kb::kUnlimitedArguments));
  EXPECT_EQ(kbtest::MessageOf([&] { function->AddArgument("x", kb::dtInteger); }),
            "Invalid argument type for deffunction: \"dtInteger\".  Expected Atom, Variable, MultiVariable");
}

TEST(InterpretedFunction, RecursiveFunctionsAreFreed) {
  Ref<IUserFunction> odd;
  {
    TProgram program(
        "(deffunction odd (?n) (if (= ?n 0) then FALSE else (even (- ?n 1))))"
        "(deffunction even (?n) (if (= ?n 0) then TRUE else (odd (- ?n 1))))");
    EXPECT_EQ(program.Eval("(odd 7)"), "TRUE");
    odd = program.engine.GetUserFunction("odd");
    program.Eval("(clear)");
    EXPECT_EQ(odd->RefCount(), 1);
  }
  EXPECT_EQ(odd->GetReasonerCount(), 0);
}

}  // namespace
