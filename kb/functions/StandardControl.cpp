// Control flow: conditions, loops, exceptions, return, variables.
//
// A statement loop looks after each statement whether a `return` has been evaluated in its context. The flag
// stays set so that the enclosing loops stop in turn; the function or firing that owns the context clears it.
#include <exception>

#include "kb/functions/FunctionHelpers.h"
#include "kb/functions/StandardFunctions.h"
#include "kb/platform/Exceptions.h"

namespace kb::standard {
namespace {

// First argument from `from` on that is this keyword as written, or -1.
int FindKeyword(const TFunctionCall& call, int from, std::initializer_list<const IKBValue*> keywords) {
  for (int i = from; i < call.GetArgumentCount(); ++i) {
    const IKBValue& argument = RawArgument(call, i);
    if (!argument->Is(dtAtom)) continue;
    for (const IKBValue* keyword : keywords) {
      if (IsConstant(argument, *keyword)) return i;
    }
  }
  return -1;
}

// The statements behind `then`. An `else` evaluates to itself, which is how the branch ends.
IKBValue RunThenBranch(const TFunctionCall& call, TKBContext& context) {
  IKBValue result = FCFalse;
  for (int i = 2; i < call.GetArgumentCount(); ++i) {
    IKBValue value = call.Evaluate(i, context);
    if (context.IsReturning()) return context.GetReturnValue();
    if (IsConstant(value, FCElse)) break;
    result = std::move(value);
  }
  return result;
}

[[noreturn]] void RaiseMissingThen() {
  throw EKBException(TKBMessage::SyntaxError, {FormatMessage(TKBMessage::MissingThen)});
}

// Lets the statements of `finally` run to their end although a `return` left the guarded ones; puts that
// return back unless they return themselves.
class TReturnPause {
 public:
  explicit TReturnPause(TKBContext& context) : context_(context), paused_(context.IsReturning()) {
    if (!paused_) return;
    value_ = context.GetReturnValue();
    context.ClearReturnValue();
  }
  TReturnPause(const TReturnPause&) = delete;
  TReturnPause& operator=(const TReturnPause&) = delete;
  void Resume(IKBValue& result) {
    if (!paused_ || context_.IsReturning()) return;
    context_.SetReturnValue(value_);
    result = value_;
  }

 private:
  TKBContext& context_;
  bool paused_;
  IKBValue value_;
};

// Where the parts of a `try` are; -1 for a part that is missing.
struct TTryParts {
  int finally;
  int handler;
};

bool IsAbort(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const EAbort&) {
    return true;
  } catch (...) {
    return false;
  }
}

// The guarded statements and then those of `finally`, whatever happened. Gives the exception that was raised,
// if any. One raised by `finally` takes the place of the first, except that an exit stays an exit.
std::exception_ptr RunGuarded(const TFunctionCall& call, TKBContext& context, TTryParts parts, IKBValue& result) {
  std::exception_ptr error;
  try {
    RunStatements(call, context, 0, parts.finally >= 0 ? parts.finally : parts.handler, result);
  } catch (...) {
    error = std::current_exception();
  }
  if (parts.finally < 0) return error;
  try {
    TReturnPause pause(context);
    const int end = parts.handler >= 0 ? parts.handler : call.GetArgumentCount();
    RunStatements(call, context, parts.finally + 1, end, result);
    pause.Resume(result);
  } catch (...) {
    if (!error || !IsAbort(error)) error = std::current_exception();
  }
  return error;
}

// Binds the message for the handler. What is no std::exception, and an exit, goes on.
void BindError(TKBContext& context, const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const EAbort&) {
    throw;
  } catch (const std::exception& caught) {
    context.SetVariable(TKBText(SErrorVariable), MakeString(caught.what()));
  }
}

}  // namespace

IKBValue If(TFunctionCall& call, TKBContext& context) {
  if (!IsConstant(RawArgument(call, 1), FCThen)) RaiseMissingThen();
  if (!IsFalse(call.Evaluate(0, context))) return RunThenBranch(call, context);
  IKBValue result = FCFalse;
  // The argument right behind `then` is never taken for the keyword.
  const int otherwise = FindKeyword(call, 3, {&FCElse});
  if (otherwise >= 0) RunStatements(call, context, otherwise + 1, call.GetArgumentCount(), result);
  return result;
}

IKBValue While(TFunctionCall& call, TKBContext& context) {
  IKBValue result = call.Evaluate(0, context);
  const int body = IsConstant(RawArgument(call, 1), FCDo) ? 2 : 1;
  while (!IsFalse(result)) {
    if (!RunStatements(call, context, body, call.GetArgumentCount(), result)) break;
    result = call.Evaluate(0, context);
  }
  return result;
}

IKBValue ForEach(TFunctionCall& call, TKBContext& context) {
  const TKBText name = TextArgument(call, 0, context);
  const IValueVector list = ListArgument(call, 1, context);
  IKBValue result = FCNil;
  for (int i = 0; i < list->GetValueCount(); ++i) {
    context.SetVariable(name, EvaluateElement(*list, i, context));
    if (!RunStatements(call, context, 2, call.GetArgumentCount(), result)) break;
  }
  return result;
}

IKBValue Try(TFunctionCall& call, TKBContext& context) {
  TTryParts parts{FindKeyword(call, 0, {&FCFinally}), -1};
  parts.handler = FindKeyword(call, parts.finally + 1, {&FCCatch, &FCExcept});
  if (parts.finally < 0 && parts.handler < 0) throw EKBException(TKBMessage::MissingCatch);
  IKBValue result = FCNil;
  const std::exception_ptr error = RunGuarded(call, context, parts, result);
  if (!error) return result;
  BindError(context, error);
  result = FCFalse;
  if (parts.handler >= 0) RunStatements(call, context, parts.handler + 1, call.GetArgumentCount(), result);
  return result;
}

IKBValue Throw(TFunctionCall& call, TKBContext& context) {
  throw EException(TextArgument(call, 0, context).ToString());
}

IKBValue Return(TFunctionCall& call, TKBContext& context) {
  // Not evaluated here: the function that owns the context does it when it ends.
  const IKBValue& value = call.GetArgumentCount() > 0 ? RawArgument(call, 0) : FCPopFocus;
  context.SetReturnValue(value);
  return value;
}

IKBValue Exit(TFunctionCall& /*call*/, TKBContext& /*context*/) { throw EAbort(); }

IKBValue Bind(TFunctionCall& call, TKBContext& context) {
  IKBValue value = call.Evaluate(1, context);
  context.SetVariable(RawArgument(call, 0)->GetAsString(), value);
  return value;
}

IKBValue GetVar(TFunctionCall& call, TKBContext& context) {
  const IKBValue& raw = RawArgument(call, 0);
  IKBValue value = raw->Resolve(&context);
  if (KBVariableTypes.Has(raw->GetDType())) return value;
  const TBinding* binding = context.FindBinding(value->GetAsString());
  return binding != nullptr && binding->GetValue() ? binding->GetValue() : FCNil;
}

}  // namespace kb::standard
