// The frame of functions: what can be called, the call itself, and the packages that bring functions to an engine.
//
// Every operation of the language is an IUserFunction, and every call written in a rule or function is a
// TFunctionCall, which holds its arguments unevaluated and, once it has run, the function. A function gets
// the call and evaluates the arguments that it wants, when it wants them. Functions are attached to an engine
// by adding the engine to the function's list of reasoners; the list's notification does the registering.
//
// Three ways for a host to add a function, shortest first: TInferenceEngine::RegisterFunction with a C++
// callable, a TUserFunction component with OnCall, a class derived from TKBUserFunction.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kb/common/Pool.h"
#include "kb/common/Text.h"
#include "kb/common/WeakRef.h"
#include "kb/platform/Component.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBContext.h"
#include "kb/values/KBTypes.h"
#include "kb/values/KBValue.h"

namespace kb {

class TUserPackage;
class TStreamValue;

/// What happens to an item of a list of reasoners or functions.
enum TListNotification { lnAdded = 1, lnExtracted = 3, lnRemoved = 5 };

/// Something that keeps a registry of functions and answers for names; the engine is the one implementation.
class IReasoner : public TWeakTarget<IReasoner> {
 public:
  virtual ~IReasoner() = default;
  [[nodiscard]] virtual std::string PrettyPrint(const TFunctionCall& call) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const TFact& fact) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const IUserFunction& function) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const TInterpretedFunction& function) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const TKBDefinedType& type) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const TFactTemplate& factTemplate) = 0;
  [[nodiscard]] virtual std::string PrettyPrint(const TModule& module) = 0;
  virtual void RenameDefinedType(TKBDefinedType& type, std::string_view oldName, std::string_view newName) = 0;
  virtual void RenameFactTemplate(TFactTemplate& factTemplate, std::string_view oldName, std::string_view newName) = 0;
  virtual void RenameModule(std::string_view oldName, std::string_view newName) = 0;
  virtual void RenameRule(std::string_view oldName, std::string_view newName) = 0;
  virtual void AddUserFunction(const Ref<IUserFunction>& function) = 0;
  virtual void RemoveUserFunction(const Ref<IUserFunction>& function) = 0;
  [[nodiscard]] virtual bool ContainsUserFunction(std::string_view name) const = 0;
  [[nodiscard]] virtual bool ContainsUserFunction(std::string_view name, Ref<IUserFunction>& function) const = 0;
  [[nodiscard]] virtual std::vector<std::string> GetUserFunctions() const = 0;
  [[nodiscard]] virtual Ref<IUserFunction> GetUserFunction(std::string_view name) const = 0;
  virtual void SetUserFunction(std::string_view name, const Ref<IUserFunction>& function) = 0;
  [[nodiscard]] virtual const IModule& GetCurrentModule() const = 0;
};

/// Hands out stored values one by one; raises EStreamError when there are no more.
class TDataReader {
 public:
  explicit TDataReader(const std::vector<TStreamValue>& values) noexcept : values_(values) {}
  const TStreamValue& Next();
  [[nodiscard]] bool AtEnd() const noexcept;

 private:
  const std::vector<TStreamValue>& values_;
  size_t at_ = 0;
};

/// A callable function.
class IUserFunction : public RefCounted {
 public:
  virtual int AddReasoner(IReasoner* reasoner) = 0;
  virtual void ClearReasoners() = 0;
  virtual void DeleteReasoner(int index) = 0;
  virtual void DeleteReasoner(IReasoner* reasoner) = 0;
  [[nodiscard]] virtual int IndexOfReasoner(const IReasoner* reasoner) const = 0;
  [[nodiscard]] virtual int GetMaxArgumentCount() const = 0;
  [[nodiscard]] virtual int GetMinArgumentCount() const = 0;
  [[nodiscard]] virtual IReasoner* GetReasoner(int index) const = 0;
  [[nodiscard]] virtual int GetReasonerCount() const = 0;
  [[nodiscard]] virtual const std::string& GetArgumentString() const = 0;
  [[nodiscard]] virtual const std::string& GetComment() const = 0;
  [[nodiscard]] virtual const TKBText& GetFunctionName() const = 0;
  [[nodiscard]] virtual std::string ToString(IReasoner& reasoner) const = 0;
  /// Runs the function: argument counts are checked ("Too few arguments for %s", "Too many arguments for
  /// %s"), then the body runs. Never gives a null value.
  [[nodiscard]] virtual IKBValue Execute(TFunctionCall& call, TKBContext& context) = 0;
  virtual void SetArgumentString(std::string_view value) = 0;
  virtual void SetComment(std::string_view value) = 0;
  virtual void SetFunctionName(std::string_view name) = 0;
  virtual void SetMaxArgumentCount(int value) = 0;
  virtual void SetMinArgumentCount(int value) = 0;
};

/// Base of the built-in functions, of the functions of the language and of a host's own. A descendant overrides
/// InitMetaData (name, comment, syntax, counts) and Call. Make objects with MakeRef, which runs InitMetaData.
class TKBUserFunction : public TPersistent, public IUserFunction {
 public:
  TKBUserFunction() = default;
  ~TKBUserFunction() override;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }
  /// Runs InitMetaData; MakeRef calls it once.
  void AfterConstruction() { InitMetaData(); }

  int AddReasoner(IReasoner* reasoner) override;
  void ClearReasoners() override;
  void DeleteReasoner(int index) override;
  void DeleteReasoner(IReasoner* reasoner) override;
  [[nodiscard]] int IndexOfReasoner(const IReasoner* reasoner) const override;
  [[nodiscard]] int GetMaxArgumentCount() const override { return maxArgumentCount_; }
  [[nodiscard]] int GetMinArgumentCount() const override { return minArgumentCount_; }
  [[nodiscard]] IReasoner* GetReasoner(int index) const override;
  [[nodiscard]] int GetReasonerCount() const override { return static_cast<int>(reasoners_.size()); }
  [[nodiscard]] const std::string& GetArgumentString() const override { return argumentString_; }
  [[nodiscard]] const std::string& GetComment() const override { return comment_; }
  [[nodiscard]] const TKBText& GetFunctionName() const override { return name_; }
  [[nodiscard]] std::string ToString(IReasoner& reasoner) const override;
  [[nodiscard]] IKBValue Execute(TFunctionCall& call, TKBContext& context) override;
  void SetArgumentString(std::string_view value) override { argumentString_ = value; }
  void SetComment(std::string_view value) override { comment_ = value; }
  /// Every reasoner forgets the old name and learns the new one.
  void SetFunctionName(std::string_view name) override;
  /// The minimum never ends above the maximum: the other one follows.
  void SetMaxArgumentCount(int value) override;
  void SetMinArgumentCount(int value) override;
  /// Minimum, maximum, comment, name; not the reasoners.
  void Assign(const TPersistent& source) override;

  // For the component stream of a package: a function is stored when its class is registered and can be made by name.
  /// Appends what tells this function from others of its class; the base name, comment, maximum and minimum.
  virtual void WriteData(std::vector<TStreamValue>& data) const;
  /// Takes it over again, in the same order. Raises EStreamError.
  virtual void ReadData(TDataReader& data);

 protected:
  virtual void InitMetaData() {}
  /// The body. `result` comes in as FCNil; a null result is given back as FCNil.
  virtual void Call(TFunctionCall& call, TKBContext& context, IKBValue& result) = 0;
  /// Called after an item came to the list of reasoners or left it; registers or unregisters.
  virtual void ReasonerNotification(IReasoner* reasoner, TListNotification action);

 private:
  int minArgumentCount_ = 0;
  int maxArgumentCount_ = kUnlimitedArguments;
  std::string comment_;
  std::vector<IReasoner*> reasoners_;
  TKBText name_;
  std::string argumentString_;
};

/// One call: a name, arguments as written, and the function once it has been found. The function is looked up
/// at the first execution and kept, so a call may name a function that is defined later.
class TFunctionCall : public TPersistent, public RefCounted, public TPooled {
 public:
  using TPooled::operator new;
  using TPooled::operator delete;
  TFunctionCall() = default;
  TFunctionCall(IReasoner* reasoner, const TKBText& name) : reasoner_(reasoner), name_(name) {}
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  void AddArgument(const IKBValue& value) { arguments_.push_back(value); }
  /// "Not a %s type.  Value (%s) is a %s type" when the type does not fit the form.
  void AddArgument(std::string_view text, TKBType type);
  void AddArgument(int32_t value, TKBType type);
  void AddArgument(double value, TKBType type);
  void AddArgument(const IFact& fact);
  void AddArgument(const IFunCall& call);
  void AddArgument(const IValueVector& list);
  [[nodiscard]] int GetArgumentCount() const noexcept { return static_cast<int>(arguments_.size()); }
  /// Raises EListError for a bad index.
  [[nodiscard]] const IKBValue& GetArgument(int index) const {
    if (static_cast<size_t>(index) >= arguments_.size()) RaiseListIndex(index);
    return arguments_[static_cast<size_t>(index)];
  }
  void SetArgument(int index, const IKBValue& value);
  void Clear() noexcept { arguments_.clear(); }
  void Delete(int index);
  /// The value that argument `index` has in `context`; a null argument is FCNil.
  [[nodiscard]] IKBValue Evaluate(int index, TKBContext& context) const {
    const IKBValue& argument = GetArgument(index);
    return argument ? argument->Resolve(&context) : FCNil;
  }

  /// Null without one, and when it has gone.
  [[nodiscard]] IReasoner* GetReasoner() const noexcept { return reasoner_.Get(); }
  [[nodiscard]] const TKBText& GetName() const noexcept { return name_; }
  [[nodiscard]] const Ref<IUserFunction>& GetUserFunction() const noexcept { return function_; }
  void SetUserFunction(const Ref<IUserFunction>& function);
  /// Back to the state before the first execution; the name stays.
  void ForgetUserFunction() noexcept { function_ = nullptr; }
  [[nodiscard]] const std::string& GetComment() const noexcept { return comment_; }
  void SetComment(std::string_view comment) { comment_ = comment; }

  /// Finds the function if it is not known yet ("Function is unimplemented or unassigned: %s") and runs it.
  /// Very deep recursion ends in ERecursionError.
  [[nodiscard]] virtual IKBValue Execute(TKBContext& context);
  /// Without the lookup.
  [[nodiscard]] virtual IKBValue SimpleExecute(TKBContext& context);

  /// Name, comment, tag and a clone of each argument, not the function.
  void Assign(const TPersistent& source) override;
  [[nodiscard]] virtual IFunCall Clone() const;
  /// Same name and equal arguments.
  [[nodiscard]] virtual bool Equals(const TFunctionCall* other) const;
  [[nodiscard]] int32_t GetHashCode() const;
  [[nodiscard]] std::string ToString() const;
  [[nodiscard]] int32_t GetTag() const noexcept { return tag_; }
  void SetTag(int32_t tag) noexcept { tag_ = tag; }

 private:
  void FindFunction();
  [[nodiscard]] IKBValue Run(TKBContext& context);
  TWeakRef<IReasoner> reasoner_;
  std::vector<IKBValue> arguments_;
  Ref<IUserFunction> function_;
  TKBText name_;
  int32_t tag_ = 0;
  std::string comment_;
};

/// A function of the language: parameters and a body of values. The calls in its body hold the functions that
/// they have found, itself among them if it is recursive; so they forget them when the last reasoner lets the
/// function go.
class TInterpretedFunction final : public TKBUserFunction {
 public:
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  /// `type` is dtVariable (one argument), dtMultiVariable (all the rest as a list) or dtAtom (a local that
  /// starts as nil); else "Invalid argument type for deffunction: "%s".  Expected %s".
  void AddArgument(std::string_view name, TKBType type);
  void AddStatement(const IFunCall& call);
  void AddStatement(const IKBValue& value);
  [[nodiscard]] int GetArgumentCount() const noexcept { return static_cast<int>(arguments_.size()); }
  [[nodiscard]] const IKBValue& GetArgument(int index) const;
  [[nodiscard]] int GetStatementCount() const noexcept { return static_cast<int>(statements_.size()); }
  [[nodiscard]] const IKBValue& GetStatement(int index) const;
  /// Position among the functions when they are copied to another engine.
  [[nodiscard]] int GetOrder() const noexcept { return order_; }
  void SetOrder(int value) noexcept { order_ = value; }
  /// Number of parameters; the maximum is open with a trailing wildcard.
  [[nodiscard]] int GetMinArgumentCount() const override;
  [[nodiscard]] int GetMaxArgumentCount() const override;
  [[nodiscard]] std::string ToString(IReasoner& reasoner) const override;

 protected:
  void Call(TFunctionCall& call, TKBContext& context, IKBValue& result) override;
  void ReasonerNotification(IReasoner* reasoner, TListNotification action) override;

 private:
  void BindParameters(TFunctionCall& call, TKBContext& local) const;
  std::vector<IKBValue> arguments_;
  std::vector<IKBValue> statements_;
  int order_ = 0;
};

/// The evaluated and raw arguments of one call, as a C++ callable sees them.
class TFunctionArguments {
 public:
  TFunctionArguments(TFunctionCall& call, TKBContext& context) noexcept : call_(call), context_(context) {}
  [[nodiscard]] int Count() const noexcept { return call_.GetArgumentCount(); }
  /// Evaluates argument `index`, each time anew.
  [[nodiscard]] IKBValue operator[](int index) const { return call_.Evaluate(index, context_); }
  [[nodiscard]] const IKBValue& Raw(int index) const { return call_.GetArgument(index); }
  [[nodiscard]] TFunctionCall& Call() const noexcept { return call_; }
  [[nodiscard]] TKBContext& Context() const noexcept { return context_; }
  [[nodiscard]] TInferenceEngine& Engine() const noexcept { return *context_.GetEngine(); }

 private:
  TFunctionCall& call_;
  TKBContext& context_;
};
using TFunctionCallable = std::function<IKBValue(TFunctionArguments&)>;

/// A function whose body is a C++ callable.
class TCallableFunction final : public TKBUserFunction {
 public:
  explicit TCallableFunction(TFunctionCallable body) : body_(std::move(body)) {}

 protected:
  void Call(TFunctionCall& call, TKBContext& context, IKBValue& result) override;

 private:
  TFunctionCallable body_;
};

/// A component that stands between reasoners and what they get from it.
class TCustomReasonerOwner : public TComponent {
 public:
  using TComponent::TComponent;
  /// Adds unless it is there already; a reasoner that is a component is watched for its end. Gives the index.
  int AddReasoner(IReasoner* reasoner);
  void RemoveReasoner(IReasoner* reasoner);
  void ClearReasoners();
  [[nodiscard]] const std::vector<IReasoner*>& GetReasoners() const noexcept { return reasoners_; }

 protected:
  virtual void ReasonerNotification(IReasoner* /*reasoner*/, TListNotification /*action*/) {}

 private:
  std::vector<IReasoner*> reasoners_;
};

/// A component that registers a set of functions with its engine. A descendant overrides CreateFunctions;
/// make packages with CreatePackage, which runs it. Owned by the engine or by the host.
class TUserPackage : public TCustomReasonerOwner {
 public:
  /// An owner that is an engine becomes the package's reasoner.
  explicit TUserPackage(TComponent* owner);
  ~TUserPackage() override;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  [[nodiscard]] const std::vector<Ref<IUserFunction>>& GetFunctions() const noexcept { return functions_; }
  /// Adds unless it is there already; the function joins all reasoners of the package.
  int AddFunction(const Ref<IUserFunction>& function);
  void RemoveFunction(const Ref<IUserFunction>& function);
  void ClearFunctions();
  /// Exact comparison; -1 if absent.
  [[nodiscard]] int IndexOf(std::string_view name) const;
  /// Drops all functions and makes them anew.
  void Reset();
  [[nodiscard]] TInferenceEngine* GetEngine() const noexcept { return engine_; }
  void SetEngine(TInferenceEngine* engine);
  /// Makes the functions; the base fires OnCreateFunctions, and overrides call it first.
  virtual void CreateFunctions();
  std::function<void(TUserPackage&)> OnCreateFunctions;

  /// One of the packages that an engine makes by itself and so does not store.
  [[nodiscard]] bool IsBuiltIn() const noexcept { return builtIn_; }
  void SetBuiltIn(bool value) noexcept { builtIn_ = value; }

  void Assign(const TPersistent& source) override;
  void Notification(TComponent& component, TOperation operation) override;
  void DefineProperties(TFiler& filer) override;

 protected:
  virtual void FunctionNotification(const Ref<IUserFunction>& function, TListNotification action);
  void ReasonerNotification(IReasoner* reasoner, TListNotification action) override;
  virtual void AddFunctions(IReasoner* reasoner);
  virtual void AddReasoners(const Ref<IUserFunction>& function);
  virtual void RemoveReasoners(const Ref<IUserFunction>& function);
  virtual void RemoveFunctions(IReasoner* reasoner);

 private:
  void ReadFunctions(const TStreamValue& stored);
  TInferenceEngine* engine_ = nullptr;
  std::vector<Ref<IUserFunction>> functions_;
  bool builtIn_ = false;
};

/// Makes a package of class T under `owner`, which may be null, and creates its functions. With an owner it
/// belongs to that.
template <class T>
TComponent* NewPackage(TComponent* owner) {
  auto package = std::make_unique<T>(owner);
  package->CreateFunctions();
  return package.release();
}
template <class T>
T& CreatePackage(TComponent& owner) {
  return static_cast<T&>(*NewPackage<T>(&owner));
}

class TCustomUserFunction;
using TCallEvent = std::function<void(TObject& sender, TFunctionCall& call, TKBContext& context, IKBValue& result)>;

/// The function object behind a function component.
class TKBInnerFunction final : public TKBUserFunction {
 public:
  explicit TKBInnerFunction(TCustomUserFunction* owner) noexcept : owner_(owner) {}
  /// The component goes away: later calls raise "Function is unimplemented or unassigned: %s".
  void ClearOwner() noexcept { owner_ = nullptr; }

 protected:
  void Call(TFunctionCall& call, TKBContext& context, IKBValue& result) override;

 private:
  TCustomUserFunction* owner_;
};

/// A function as a component with a callback.
class TCustomUserFunction : public TComponent {
 public:
  explicit TCustomUserFunction(TComponent* owner);
  TCustomUserFunction(TComponent* owner, std::string_view functionName);
  ~TCustomUserFunction() override;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  [[nodiscard]] const TKBText& GetFunctionName() const noexcept { return inner_->GetFunctionName(); }
  /// An engine that was set before knows the function from its first name on.
  void SetFunctionName(std::string_view name);
  [[nodiscard]] const std::string& GetComment() const noexcept { return inner_->GetComment(); }
  void SetComment(std::string_view value) { inner_->SetComment(value); }
  [[nodiscard]] const std::string& GetArgumentString() const noexcept { return inner_->GetArgumentString(); }
  void SetArgumentString(std::string_view value) { inner_->SetArgumentString(value); }
  [[nodiscard]] int GetMinArgumentCount() const { return inner_->GetMinArgumentCount(); }
  [[nodiscard]] int GetMaxArgumentCount() const { return inner_->GetMaxArgumentCount(); }
  /// These two rebuild the argument string from its present words.
  void SetMinArgumentCount(int value);
  void SetMaxArgumentCount(int value);
  [[nodiscard]] TInferenceEngine* GetEngine() const noexcept { return engine_; }
  /// Registers with the engine, which may be null.
  void SetEngine(TInferenceEngine* engine);
  TCallEvent OnCall;

  /// Result FCNil, then OnCall unless in design state.
  virtual void Call(TFunctionCall& call, TKBContext& context, IKBValue& result);
  void Assign(const TPersistent& source) override;
  void Notification(TComponent& component, TOperation operation) override;
  void DefineProperties(TFiler& filer) override;

 private:
  void RebuildArguments();
  TInferenceEngine* engine_ = nullptr;
  Ref<TKBInnerFunction> inner_;
};

/// The component that a host puts on its form.
class TUserFunction final : public TCustomUserFunction {
 public:
  using TCustomUserFunction::TCustomUserFunction;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }
};

}  // namespace kb
