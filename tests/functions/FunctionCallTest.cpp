#include "kb/values/Fact.h"
#include "tests/Program.h"

namespace {

using kb::IFunCall, kb::MakeInteger, kb::MakeRef, kb::TFunctionCall;
using kbtest::MessageOf, kbtest::TProgram;

TEST(FunctionCall, ArgumentsFitTheirType) {
  const auto call = MakeRef<TFunctionCall>();
  call->AddArgument("a", kb::dtAtom);
  call->AddArgument("x", kb::dtVariable);
  call->AddArgument(5, kb::dtFloat);
  call->AddArgument(2.6, kb::dtInteger);
  EXPECT_TRUE(call->GetArgument(2)->Is(kb::dtFloat));
  EXPECT_EQ(call->GetArgument(3)->GetAsInteger(), 3);
  EXPECT_EQ(MessageOf([&] { call->AddArgument("a", kb::dtInteger); }),
            "Not a String type.  Value (a) is a dtInteger type");
  EXPECT_EQ(MessageOf([&] { call->AddArgument(7, kb::dtAtom); }), "Not a Integer type.  Value (7) is a dtAtom type");
  EXPECT_EQ(MessageOf([&] { call->AddArgument(1.5, kb::dtAtom); }),
            "Not a Float type.  Value (1.5000) is a dtAtom type");
  EXPECT_EQ(call->GetArgumentCount(), 4);
  call->Delete(0);
  EXPECT_EQ(call->GetArgument(0)->ToString(), "?x");
  EXPECT_THROW(static_cast<void>(call->GetArgument(3)), kb::EListError);
  EXPECT_THROW(call->SetArgument(-1, kb::FCNil), kb::EListError);
}

TEST(FunctionCall, EqualityIgnoresTheBoundFunction) {
  TProgram program;
  const IFunCall bound = program.engine.ParseFunCall("(+ 1 (* 2 3))");
  const IFunCall fresh = program.engine.ParseFunCall("(+ 1 (* 2 3))");
  EXPECT_EQ(bound->Execute(program.engine.GetGlobalContext())->GetAsInteger(), 7);
  EXPECT_TRUE(bound->GetUserFunction());
  EXPECT_TRUE(bound->Equals(fresh.Get()));
  EXPECT_EQ(bound->GetHashCode(), fresh->GetHashCode());
  for (const char* other : {"(+ 1 (* 2 4))", "(- 1 (* 2 3))", "(+ 1)"}) {
    EXPECT_FALSE(bound->Equals(program.engine.ParseFunCall(other).Get())) << other;
  }
  EXPECT_FALSE(bound->Equals(nullptr));
}

TEST(FunctionCall, ACloneFindsItsFunctionItself) {
  TProgram program;
  const IFunCall call = program.engine.ParseFunCall("(+ 1 2)");
  call->SetComment("; sum");
  call->SetTag(4);
  static_cast<void>(call->Execute(program.engine.GetGlobalContext()));
  const IFunCall clone = call->Clone();
  EXPECT_FALSE(clone->GetUserFunction());
  EXPECT_TRUE(clone->Equals(call.Get()));
  EXPECT_EQ(clone->GetComment(), "; sum");
  EXPECT_EQ(clone->GetTag(), 4);
  clone->SetArgument(0, MakeInteger(10));
  EXPECT_EQ(clone->Execute(program.engine.GetGlobalContext())->GetAsInteger(), 12);
  EXPECT_EQ(call->GetArgument(0)->GetAsInteger(), 1);
  clone->SetComment("");
  EXPECT_EQ(clone->ToString(), "(+ 10 2)");
}

TEST(FunctionCall, ExecutionWithoutAFunctionIsAnError) {
  TProgram program;
  const auto nowhere = MakeRef<TFunctionCall>(nullptr, "+");
  kb::TKBContext& context = program.engine.GetGlobalContext();
  const std::string message = "Function is unimplemented or unassigned: +";
  EXPECT_EQ(MessageOf([&] { static_cast<void>(nowhere->Execute(context)); }), message);
  // The short form does not look the name up.
  const IFunCall call = program.engine.ParseFunCall("(+ 1 2)");
  EXPECT_EQ(MessageOf([&] { static_cast<void>(call->SimpleExecute(context)); }), message);
  call->SetUserFunction(program.engine.GetUserFunction("*"));
  EXPECT_EQ(call->GetName(), "*");
  EXPECT_EQ(call->SimpleExecute(context)->GetAsInteger(), 2);
  call->SetUserFunction(nullptr);
  EXPECT_TRUE(call->GetName().Empty());
}

}  // namespace
