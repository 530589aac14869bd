// Every function that an engine has by itself, called in ways that nobody means: a value or an exception must
// come of it, and an engine that works on.
#include "kb/platform/Exceptions.h"
#include "tests/TempDirectory.h"
#include "tests/functions/Program.h"

namespace {

using kb::IFunCall;
using kb::IKBValue;
using kb::IUserFunction;
using kb::MakeRef;
using kb::Ref;
using kb::TFunctionCall;
using kbtest::TProgram;

std::vector<std::string> FunctionNames() {
  TProgram program;
  return program.engine.GetUserFunctions();
}

// Values of every type that a program or a host can hand to a function.
std::vector<IKBValue> OddValues(TProgram& program) {
  std::vector<IKBValue> values{kb::FCNil,
                               kb::FCTrue,
                               kb::FCThen,
                               kb::FCNilList,
                               kb::MakeAtom("atom"),
                               kb::MakeString(""),
                               kb::MakeString("text with %d %s %n"),
                               kb::MakeInteger(0),
                               kb::MakeInteger(-2147483647 - 1),
                               kb::MakeInteger(2147483647),
                               kb::MakeFloat(-1.5),
                               kb::MakeFloat(1e300),
                               kb::MakeFloat(std::numeric_limits<double>::quiet_NaN()),
                               kb::MakeFactId(99),
                               MakeRef<kb::TKBValue>(),
                               MakeRef<kb::TKBValue>(kb::TKBText("unbound"), kb::dtVariable),
                               MakeRef<kb::TKBValue>(static_cast<kb::TObject*>(nullptr), false),
                               program.engine.ParseValue("(create$ a (create$ b) 3)"),
                               program.engine.ParseValue("(throw nested)")};
  const auto fact = program.engine.CreateFactTemplate("odd")->NewFact();
  values.push_back(MakeRef<kb::TKBValue>(fact));
  return values;
}

// Runs the call; an exception is as good as a value.
void Call(TProgram& program, const IFunCall& call) {
  try {
    EXPECT_TRUE(call->Execute(program.engine.GetGlobalContext())) << call->GetName().View();
  } catch (const std::exception& error) {
    // Only `throw` may say nothing, as its argument does.
    EXPECT_TRUE(error.what()[0] != '\0' || call->GetName() == "throw") << call->GetName().View();
  }
}

// The functions that stop at nothing by design.
bool IsEndless(std::string_view name) { return name == "while"; }

TEST(BuiltinContract, EachHasHelp) {
  TProgram program;
  const std::vector<std::string> names = FunctionNames();
  EXPECT_GT(names.size(), 100U);
  for (const std::string& name : names) {
    const Ref<IUserFunction> function = program.engine.GetUserFunction(name);
    EXPECT_EQ(function->GetFunctionName().View(), name);
    EXPECT_NE(function->GetComment(), "") << name;
    EXPECT_LE(function->GetMinArgumentCount(), function->GetMaxArgumentCount()) << name;
    EXPECT_EQ(function->GetArgumentString().empty(), function->GetMaxArgumentCount() == 0) << name;
  }
}

TEST(BuiltinContract, TheLimitsHold) {
  TProgram program;
  for (const std::string& name : FunctionNames()) {
    const Ref<IUserFunction> function = program.engine.GetUserFunction(name);
    if (function->GetMinArgumentCount() > 0) {
      EXPECT_EQ(program.Eval("(" + name + ")"), "!Too few arguments for " + name);
    }
    if (function->GetMaxArgumentCount() == kb::kUnlimitedArguments) continue;
    std::string text = "(" + name;
    for (int i = 0; i <= function->GetMaxArgumentCount(); ++i) text += " (throw evaluated)";
    EXPECT_EQ(program.Eval(text + ")"), "!Too many arguments for " + name);
  }
}

TEST(BuiltinContract, OddArgumentsAreAnErrorAtMost) {
  const kbtest::TTempDirectory directory;  // for what they may write and remove
  for (const std::string& name : FunctionNames()) {
    if (IsEndless(name)) continue;
    TProgram program;
    const std::vector<IKBValue> values = OddValues(program);
    for (const IKBValue& value : values) {
      for (int count = 1; count <= 4; ++count) {
        const auto call = MakeRef<TFunctionCall>(&program.engine, name);
        for (int i = 0; i < count; ++i) call->AddArgument(value);
        Call(program, call);
      }
    }
    program.engine.StopCapture();
    EXPECT_EQ(program.Eval("(+ 1 2)"), "3") << "after " << name;
  }
}

TEST(BuiltinContract, PairsOfOddArguments) {
  const kbtest::TTempDirectory directory;  // for what they may write and remove
  for (const std::string& name : FunctionNames()) {
    if (IsEndless(name)) continue;
    TProgram program;
    const std::vector<IKBValue> values = OddValues(program);
    for (const IKBValue& first : values) {
      for (const IKBValue& second : values) {
        const auto call = MakeRef<TFunctionCall>(&program.engine, name);
        call->AddArgument(first);
        call->AddArgument(second);
        Call(program, call);
        call->AddArgument(first);
        Call(program, call);
      }
    }
    program.engine.StopCapture();
    EXPECT_EQ(program.Eval("(+ 1 2)"), "3") << "after " << name;
  }
}

TEST(BuiltinContract, NullArgumentsCountAsNil) {
  const kbtest::TTempDirectory directory;  // for what they may write and remove
  for (const std::string& name : FunctionNames()) {
    if (IsEndless(name)) continue;
    TProgram program;
    for (int count = 1; count <= 3; ++count) {
      const auto call = MakeRef<TFunctionCall>(&program.engine, name);
      for (int i = 0; i < count; ++i) call->AddArgument(IKBValue());
      Call(program, call);
    }
  }
}

}  // namespace
