// Functions of the language: parameters, body, and the context that each call runs in.
#include "kb/functions/KBPackages.h"
#include "kb/platform/Exceptions.h"
#include "kb/values/Fact.h"
#include "kb/values/KBHelperFunctions.h"
#include "kb/values/ValueVector.h"

namespace kb {
namespace {

constexpr TKBTypes kParameterTypes{dtAtom, dtVariable, dtMultiVariable};

[[noreturn, gnu::noinline]] void RaiseTooFew(const TKBText& name) {
  throw EKBException(TKBMessage::TooFewArguments, {name.ToString()});
}

// Calls of functions of the language that may be under way within each other on one thread. The stack would
// allow many more, but a variable of an outer context is found through the contexts of all calls, so that an
// endless recursion would take very long to reach its end.
constexpr int kMaxCallDepth = 20000;
thread_local int callDepth = 0;

[[noreturn, gnu::noinline]] void RaiseTooDeep() { throw ERecursionError(FormatMessage(TKBMessage::RecursionTooDeep)); }

class TDepthScope {
 public:
  TDepthScope() {
    if (callDepth >= kMaxCallDepth) RaiseTooDeep();
    ++callDepth;
  }
  TDepthScope(const TDepthScope&) = delete;
  TDepthScope& operator=(const TDepthScope&) = delete;
  ~TDepthScope() { --callDepth; }
};

// Hands the return state on to the caller's context, also when an exception passes.
class TPopScope {
 public:
  explicit TPopScope(TKBContext& local) noexcept : local_(local) {}
  TPopScope(const TPopScope&) = delete;
  TPopScope& operator=(const TPopScope&) = delete;
  ~TPopScope() { local_.Pop(); }

 private:
  TKBContext& local_;
};

// The arguments from `first` on as one list. Kept out of line: most functions have no wildcard.
[[gnu::noinline]] IKBValue RestOfArguments(const TFunctionCall& call, TKBContext& local, int first) {
  const auto rest = MakeRef<TValueVector>();
  rest->Reserve(call.GetArgumentCount() - first);
  for (int i = first; i < call.GetArgumentCount(); ++i) rest->Add(call.Evaluate(i, local));
  return MakeRef<TKBValue>(rest);
}

// Adds what a value of a body holds in turn: arguments, elements, slots of a fact that is to be asserted.
void AddParts(const TKBValue& value, std::vector<IKBValue>& parts) {
  if (const TFunctionCall* call = value.FunCallOrNull()) {
    for (int i = 0; i < call->GetArgumentCount(); ++i) parts.push_back(call->GetArgument(i));
  } else if (const TValueVector* list = value.ListOrNull()) {
    parts.insert(parts.end(), list->begin(), list->end());
  } else if (value.Is(dtFact)) {
    const IFact fact = value.GetAsFact();
    if (!fact) return;
    const std::vector<IKBValue> slots = fact->GetSlotValues();
    parts.insert(parts.end(), slots.begin(), slots.end());
  }
}

// Unbinds every call in the values, however deep.
void ForgetFunctions(std::vector<IKBValue> values) {
  while (!values.empty()) {
    const IKBValue value = std::move(values.back());
    values.pop_back();
    if (!value) continue;
    AddParts(*value, values);
    if (TFunctionCall* call = value->FunCallOrNull()) call->ForgetUserFunction();
  }
}

}  // namespace

const TClassInfo& TInterpretedFunction::StaticClass() noexcept {
  static const TClassInfo info{"TInterpretedFunction", &TKBUserFunction::StaticClass()};
  return info;
}

void TInterpretedFunction::AddArgument(std::string_view name, TKBType type) {
  if (!kParameterTypes.Has(type)) {
    throw EKBException(TKBMessage::InvalidArgumentType,
                       {std::string(GetKBTypeName(type)), SetToString(kParameterTypes, ", ", false)});
  }
  arguments_.push_back(MakeRef<TKBValue>(TKBText(name), type));
}

void TInterpretedFunction::AddStatement(const IFunCall& call) { AddStatement(MakeRef<TKBValue>(call)); }

void TInterpretedFunction::AddStatement(const IKBValue& value) { statements_.push_back(value); }

const IKBValue& TInterpretedFunction::GetArgument(int index) const { return ItemAt(arguments_, index); }

const IKBValue& TInterpretedFunction::GetStatement(int index) const { return ItemAt(statements_, index); }

int TInterpretedFunction::GetMinArgumentCount() const { return GetArgumentCount(); }

int TInterpretedFunction::GetMaxArgumentCount() const {
  const bool wildcard = !arguments_.empty() && arguments_.back()->Is(dtMultiVariable);
  return wildcard ? kUnlimitedArguments : GetArgumentCount();
}

std::string TInterpretedFunction::ToString(IReasoner& reasoner) const { return reasoner.PrettyPrint(*this); }

void TInterpretedFunction::ReasonerNotification(IReasoner* reasoner, TListNotification action) {
  TKBUserFunction::ReasonerNotification(reasoner, action);
  if (action != lnAdded && GetReasonerCount() == 0) ForgetFunctions(statements_);
}

void TInterpretedFunction::BindParameters(TFunctionCall& call, TKBContext& local) const {
  // Evaluated in the new context, one after the other: an argument already sees the parameters in front of it.
  for (int i = 0; i < GetArgumentCount(); ++i) {
    const TKBValue& parameter = *arguments_[static_cast<size_t>(i)];
    if (parameter.Is(dtVariable)) {
      local.AddLocalBinding(parameter.GetAsString(), call.Evaluate(i, local));
    } else if (parameter.Is(dtMultiVariable)) {
      local.AddLocalBinding(parameter.GetAsString(), RestOfArguments(call, local, i));
    } else {
      local.SetVariable(parameter.GetAsString(), FCNil);
    }
  }
}

void TInterpretedFunction::Call(TFunctionCall& call, TKBContext& context, IKBValue& result) {
  // Surplus arguments are no error: they are neither bound nor evaluated.
  if (call.GetArgumentCount() < GetArgumentCount()) RaiseTooFew(GetFunctionName());
  const TDepthScope depth;
  TKBContext local(&context, context.GetEngine());
  local.SetToken(context.GetToken());
  local.SetFact(context.GetFact());
  const TPopScope pop(local);
  BindParameters(call, local);
  for (const IKBValue& statement : statements_) {
    if (!statement) continue;
    result = statement->Resolve(&local);
    if (!local.IsReturning()) continue;
    result = local.GetReturnValue();
    local.ClearReturnValue();
    break;
  }
  // What `return` gave is unevaluated, and the locals that it may name end here.
  if (result) result = result->Resolve(&local);
}

}  // namespace kb
