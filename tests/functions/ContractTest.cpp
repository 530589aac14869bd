// Every function that an engine has by itself, called in ways that nobody means: a value or an exception must
// come of it, and an engine that works on.
#include <cmath>

#include "tests/Program.h"
#include "tests/TempDirectory.h"

namespace {

using kb::IFunCall, kb::IKBValue, kb::IUserFunction, kb::MakeRef, kb::Ref, kb::TFunctionCall;
using kbtest::TProgram;

std::vector<std::string> FunctionNames() {
  TProgram program;
  return program.engine.GetUserFunctions();
}

// Values of every type that a program or a host can hand to a function.
std::vector<IKBValue> OddValues(TProgram& program) {
  std::vector<IKBValue> values{kb::FCThen, kb::MakeFloat(NAN), kb::MakeFactId(99), MakeRef<kb::TKBValue>(), IKBValue()};
  for (const char* text : {"nil", "TRUE", "(create$)", "atom", "\"\"", "\"%d %s %n\"", "0", "-2147483648", "2147483647",
                           "-1.5", "1e300", "?unbound", "(create$ a (create$ b) 3)", "(throw nested)"}) {
    values.push_back(program.engine.ParseValue(text));
  }
  values.push_back(MakeRef<kb::TKBValue>(static_cast<kb::TObject*>(nullptr), false));
  values.push_back(MakeRef<kb::TKBValue>(program.engine.CreateFactTemplate("odd")->NewFact()));
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
    if (name == "while") continue;  // stops at nothing by design
    TProgram program;
    const auto call = [&](std::initializer_list<IKBValue> arguments) {
      const auto made = MakeRef<TFunctionCall>(&program.engine, name);
      for (const IKBValue& argument : arguments) made->AddArgument(argument);
      Call(program, made);
    };
    const std::vector<IKBValue> values = OddValues(program);
    for (const IKBValue& a : values) {
      call({a});
      call({a, a, a, a});
      for (const IKBValue& b : values) {
        call({a, b});
        call({a, b, a});
      }
    }
    program.engine.StopCapture();
    EXPECT_EQ(program.Eval("(+ 1 2)"), "3") << "after " << name;
  }
}

}  // namespace
