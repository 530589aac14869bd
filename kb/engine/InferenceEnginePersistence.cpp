// Loading and saving.
//
// The text of an engine is a program that makes it again. Most of it can stand in any order, since calls find what
// they name when they run. Three things cannot: a fact in a call is bound to its template when it is read, the value
// of a global variable is worked out when it is read, and the facts of a module set its rules to work. So a function
// whose body holds facts follows the templates of the module that it was read in, and so does a global whose value
// asserts. A global whose value calls a function of the language follows the functions. Behind either come all globals
// that follow it. What a global asserts stands already when the facts are read, which then are dropped as equal, if
// equal facts are; one that has been retracted comes back.
//
// Tested in tests/engine/PersistenceTest.cpp and RoundTripTest.cpp; measured in bench/Persistence.cpp.
#include <algorithm>
#include <climits>
#include <fstream>
#include <sstream>
#include <unordered_map>
#include <unordered_set>

#include "kb/common/Helpers.h"
#include "kb/engine/EngineScopes.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/platform/DateTime.h"
#include "kb/platform/FileReplacement.h"
#include "kb/platform/Files.h"
#include "kb/platform/StackGuard.h"
#include "kb/values/LosslessText.h"

namespace kb {
namespace {

constexpr std::string_view kStarLine = "; *************************";

void AppendLine(std::string& text, std::string_view line) { text.append(line).append(kLineEnd); }

/// Visits what a value is made of: calls, facts and lists, in depth.
template <class OnCall, class OnFact>
void VisitParts(const TKBValue* value, const OnCall& onCall, const OnFact& onFact) {
  if (value == nullptr) return;
  CheckStack();
  const auto visitAll = [&](const auto& values) {
    for (const IKBValue& part : values) VisitParts(part.Get(), onCall, onFact);
  };
  if (const TFunctionCall* call = value->FunCallOrNull()) {
    onCall(*call);
    for (int i = 0; i < call->GetArgumentCount(); ++i) VisitParts(call->GetArgument(i).Get(), onCall, onFact);
  } else if (const TValueVector* list = value->ListOrNull()) {
    visitAll(*list);
  } else if (value->Is(dtFact) && value->GetAsFact()) {
    onFact(*value->GetAsFact());
    visitAll(value->GetAsFact()->GetSlotValues());
  }
}

using TModuleOrder = std::vector<IModule>;

/// The modules in the order of the list, but none in front of one that it imports: redefining a module puts it behind
/// those that import it, and such a text could not be read.
TModuleOrder InImportOrder(TInferenceEngine& engine) {
  TModuleOrder waiting;
  for (int i = 0; i < engine.GetModules().GetCount(); ++i) waiting.push_back(engine.GetModules().Get(i));
  const auto isReady = [&waiting](const IModule& module) {
    return std::none_of(waiting.begin(), waiting.end(), [&](const IModule& other) {
      if (other == module) return false;
      for (int i = 0; i < module->GetImportModuleCount(); ++i) {
        if (module->GetImportModule(i)->GetModuleName() == other->GetName()) return true;
      }
      return false;
    });
  };
  TModuleOrder order;
  while (!waiting.empty()) {
    auto next = std::find_if(waiting.begin(), waiting.end(), isReady);
    if (next == waiting.end()) next = waiting.begin();
    order.push_back(*next);
    waiting.erase(next);
  }
  return order;
}

/// Where the functions and the globals of an engine stand in its text.
class TDefinitions {
 public:
  /// `modules` in the order in which their texts come.
  TDefinitions(TInferenceEngine& engine, const TModuleOrder& modules, bool bodyOnly)
      : engine_(engine), modules_(modules) {
    const TUserFunctions& functions = engine.GetUserFunctionTable();
    for (int i = 0; i < functions.GetCount(); ++i) {
      const auto* function = dynamic_cast<const TInterpretedFunction*>(functions.GetValue(i).Get());
      if (function != nullptr) PlaceFunction(*function, bodyOnly);
    }
    if (!bodyOnly) PlaceGlobals();
  }

  /// The functions in front of the modules, each behind a line end.
  [[nodiscard]] const std::string& Functions() const noexcept { return functions_; }
  [[nodiscard]] std::string FirstGlobals() const { return Globals(0, firstLateGlobal_); }
  /// Globals that follow the functions in front of the modules.
  [[nodiscard]] std::string FollowingGlobals() const { return lastModule_ == nullptr ? LateGlobals() : std::string(); }
  /// What stands behind the templates of the module.
  [[nodiscard]] std::string OfModule(const TModule& module) const {
    const auto found = ofModule_.find(&module);
    std::string text = found == ofModule_.end() ? std::string() : found->second;
    if (&module == lastModule_) text += LateGlobals();
    return text;
  }

 private:
  using TTemplateSet = std::unordered_set<const TFactTemplate*>;

  static auto CollectingIn(TTemplateSet& templates) {
    return [&templates](const TFact& fact) { templates.insert(fact.GetTemplate().Get()); };
  }

  void PlaceFunction(const TInterpretedFunction& function, bool bodyOnly) {
    const std::string text = function.ToString(engine_);
    TTemplateSet templates;
    for (int i = 0; i < function.GetStatementCount(); ++i) {
      VisitParts(
          function.GetStatement(i).Get(), [](const TFunctionCall&) {}, CollectingIn(templates));
    }
    const TModule* module = HomeOf(templates);
    if (module == nullptr && bodyOnly) module = modules_.front().Get();
    if (module == nullptr) {
      functions_.append(kLineEnd).append(text);
      return;
    }
    ofModule_[module] += text;
    WaitFor(module);
  }

  /// The first module that has all the templates; null when there are none.
  [[nodiscard]] const TModule* HomeOf(const TTemplateSet& templates) const {
    if (templates.empty()) return nullptr;
    for (const IModule& module : modules_) {
      const TFactTemplates& table = *module->GetFactTemplates();
      const bool hasAll = std::all_of(templates.begin(), templates.end(), [&table](const TFactTemplate* factTemplate) {
        return factTemplate != nullptr && table.Holds(factTemplate->GetTemplateName().View(), factTemplate);
      });
      if (hasAll) return module.Get();
    }
    return nullptr;
  }
  void WaitFor(const TModule* module) {
    if (lastModule_ == nullptr || Position(module) > Position(lastModule_)) lastModule_ = module;
  }

  void PlaceGlobals() {
    const TGlobalVariables& globals = engine_.GetGlobalVariables();
    firstLateGlobal_ = globals.GetCount();
    for (int i = 0; i < globals.GetCount(); ++i) {
      bool late = false;
      TTemplateSet templates;
      const auto look = [&](const TFunctionCall& call) { late = late || IsInterpreted(call.GetName().View()); };
      VisitParts(globals.GetValue(i).Get(), look, CollectingIn(templates));
      const TModule* module = HomeOf(templates);
      if (module != nullptr) WaitFor(module);
      if (late || module != nullptr) firstLateGlobal_ = std::min(firstLateGlobal_, i);
    }
  }
  [[nodiscard]] bool IsInterpreted(std::string_view name) const {
    const Ref<IUserFunction>* function = engine_.GetUserFunctionTable().Find(name);
    return function != nullptr && dynamic_cast<const TInterpretedFunction*>(function->Get()) != nullptr;
  }

  [[nodiscard]] std::ptrdiff_t Position(const TModule* module) const {
    return std::find(modules_.begin(), modules_.end(), module) - modules_.begin();
  }
  [[nodiscard]] std::string LateGlobals() const { return Globals(firstLateGlobal_, INT_MAX); }
  [[nodiscard]] std::string Globals(int begin, int end) const {
    const TGlobalVariables& globals = engine_.GetGlobalVariables();
    end = std::min(end, globals.GetCount());
    if (begin >= end) return {};
    if (begin == 0 && end == globals.GetCount()) return engine_.PrettyPrintGlobalVariables();
    std::string text = "(defglobal";
    for (int i = begin; i < end; ++i) {
      text += " " + engine_.PrettyPrint(globals.GetKey(i).View(), globals.GetValue(i));
    }
    return text + ")";
  }

  TInferenceEngine& engine_;
  const TModuleOrder& modules_;
  std::string functions_;
  std::unordered_map<const TModule*, std::string> ofModule_;
  const TModule* lastModule_ = nullptr;  // the last one behind whose templates something stands
  int firstLateGlobal_ = 0;
};

/// The parser prints the names of constructs without their module.
class TPlainNames {
 public:
  explicit TPlainNames(TKBParser& parser) : parser_(parser) { parser_.SetPrintModulePrefix(false); }
  TPlainNames(const TPlainNames&) = delete;
  TPlainNames& operator=(const TPlainNames&) = delete;
  ~TPlainNames() { parser_.SetPrintModulePrefix(true); }

 private:
  TKBParser& parser_;
};

void AppendBanner(std::string& text, std::string_view head) {
  AppendLine(text, kStarLine);
  AppendLine(text, head);
}

void StartLine(std::string& text) {
  if (!text.empty() && !text.ends_with(kLineEnd)) text += kLineEnd;
}

std::string HeadText(TInferenceEngine& engine, const TDefinitions& definitions) {
  std::string text;
  AppendLine(text, kStarLine);
  AppendLine(text, "; Inference Engine v" + FloatToString(engine.GetVersion()) + " Output");
  AppendLine(text, "; Created: " + DateTimeToStr(Now()));
  AppendLine(text, "; Number of Global Variables: " + IntegerToString(engine.GetGlobalVariables().GetCount()));
  AppendLine(text, "; Number of Modules:          " + IntegerToString(engine.GetModules().GetCount()));
  AppendLine(text, engine.GetFactDuplication() ? "(set-fact-duplication FALSE)" : "(set-fact-duplication TRUE)");
  if (const std::string globals = definitions.FirstGlobals(); !globals.empty()) {
    AppendBanner(text, "; Global Variables ");
    text += globals;
  }
  if (!definitions.Functions().empty()) {
    StartLine(text);
    AppendBanner(text, "; Deffunctions ");
    text += definitions.Functions();
  }
  if (const std::string globals = definitions.FollowingGlobals(); !globals.empty()) {
    StartLine(text);
    AppendBanner(text, "; Global Variables ");
    text += globals;
  }
  StartLine(text);
  return text;
}

/// Writes through `save` to a file that is replaced as a whole.
template <class Save>
void SaveFile(const std::string& fileName, const Save& save) {
  TFileReplacement file(fileName);
  save(file.Stream());
  file.Commit();
}

template <class Load>
void LoadFile(const std::string& fileName, const Load& load) {
  std::ifstream file = files::OpenInput(files::PathOf(fileName));
  load(file);
}

/// Each text with a line end, in the encoding and behind its mark.
class TConstructWriter {
 public:
  TConstructWriter(std::ostream& stream, const TEncoding* encoding) : stream_(stream), encoding_(encoding) {
    WritePreambleToStream(stream_, encoding_);
  }
  void Write(std::string_view text) {
    WriteStringToStream(stream_, std::string(text) + std::string(kLineEnd), encoding_);
  }

 private:
  const TLosslessText lossless_;
  std::ostream& stream_;
  const TEncoding* encoding_;
};

}  // namespace

// ---- The whole engine

std::string TInferenceEngine::GetExpertSystem(bool bodyOnly) {
  const TLosslessText lossless;
  const TPlainNames plain(*parser_);
  const TModuleOrder modules = InImportOrder(*this);
  const TDefinitions definitions(*this, modules, bodyOnly);
  std::string text = bodyOnly ? std::string() : HeadText(*this, definitions);
  for (const IModule& module : modules) {
    text += module->GetExpertSystem(!bodyOnly, false, definitions.OfModule(*module));
  }
  if (!focusStack_->IsEmpty()) {
    text.append(kLineEnd).append("(focus ").append(focusStack_->ToNamesString(" ")).append(")").append(kLineEnd);
  }
  return text;
}

void TInferenceEngine::SaveToStream(std::ostream& stream, const TEncoding* encoding) {
  const std::string text = GetExpertSystem(false);
  WritePreambleToStream(stream, encoding);
  WriteStringToStream(stream, text, encoding);
}

void TInferenceEngine::LoadFromStream(std::istream& stream, const TEncoding* encoding) {
  LoadAfter(stream, encoding, [] {});
}

template <class First>
void TInferenceEngine::LoadAfter(std::istream& stream, const TEncoding* encoding, const First& first) {
  const TStreamScope scope(*this, NewTokenizer(stream, encoding));
  first();
  parser_->Parse(true);
}

// ---- One kind of construct

void TInferenceEngine::LoadModules(std::istream& stream, const TEncoding* encoding) {
  TDelayedError error;
  error.Run([&] { LoadAfter(stream, encoding, [this] { modules_->Clear(); }); });
  // Without a main module and something in focus an engine can do nothing.
  const bool hasMain = !modules_->IsEmpty() && modules_->Get(0)->IsMain();
  if (!hasMain) error.Run([this] { AddMainModule(); });
  if (focusStack_->IsEmpty()) error.Run([this] { PushFocus(modules_->Get(0)); });
  error.Rethrow();
}

void TInferenceEngine::SaveModules(std::ostream& stream, const TEncoding* encoding) {
  const TPlainNames plain(*parser_);
  TConstructWriter writer(stream, encoding);
  std::string text;
  for (const IModule& module : InImportOrder(*this)) text += module->GetExpertSystem(true, false);
  writer.Write(text);
}

void TInferenceEngine::LoadDefinedTypes(std::istream& stream, const TEncoding* encoding) {
  LoadAfter(stream, encoding, [this] { GetDefinedTypes().Clear(); });
}

void TInferenceEngine::SaveDefinedTypes(std::ostream& stream, const TEncoding* encoding) {
  TConstructWriter writer(stream, encoding);
  for (int i = 0; i < GetDefinedTypes().GetCount(); ++i) writer.Write(GetDefinedTypes().GetValue(i)->ToString());
}

void TInferenceEngine::LoadFactTemplates(std::istream& stream, const TEncoding* encoding) {
  LoadAfter(stream, encoding, [this] { GetFactTemplates().Clear(); });
}

void TInferenceEngine::SaveFactTemplates(std::ostream& stream, const TEncoding* encoding) {
  TConstructWriter writer(stream, encoding);
  for (int i = 0; i < GetFactTemplates().GetCount(); ++i) {
    const TFactTemplate& factTemplate = *GetFactTemplates().GetValue(i);
    if (IsConstructName(factTemplate.GetTemplateName())) writer.Write(factTemplate.ToString());
  }
}

void TInferenceEngine::LoadRules(std::istream& stream, const TEncoding* encoding) {
  LoadAfter(stream, encoding, [this] { GetRules().Clear(); });
}

void TInferenceEngine::SaveRules(std::ostream& stream, const TEncoding* encoding) {
  TConstructWriter writer(stream, encoding);
  for (int i = 0; i < GetRules().GetCount(); ++i) writer.Write(GetRules().GetValue(i)->ToString());
}

// ---- Facts

void TInferenceEngine::LoadFacts(std::istream& stream, const TEncoding* encoding) {
  const TStreamScope scope(*this, NewTokenizer(stream, encoding));
  parser_->LoadFacts();
}

void TInferenceEngine::SaveFacts(std::ostream& stream, const TEncoding* encoding) {
  TConstructWriter writer(stream, encoding);
  GetFacts().ForEach([&writer](const TFact& fact) { writer.Write(fact.ToString()); });
}

void TInferenceEngine::SaveFacts(std::ostream& stream, std::string_view templateName, const TEncoding* encoding) {
  TConstructWriter writer(stream, encoding);
  GetFacts().ForEach([&](const TFact& fact) {
    if (fact.GetTemplate() && fact.GetTemplate()->GetTemplateName() == templateName) writer.Write(fact.ToString());
  });
}

// ---- Files

void TInferenceEngine::LoadFromFile(const std::string& fileName, const TEncoding* encoding) {
  LoadFile(fileName, [&](std::istream& file) { LoadFromStream(file, encoding); });
}

void TInferenceEngine::SaveToFile(const std::string& fileName, const TEncoding* encoding) {
  SaveFile(fileName, [&](std::ostream& file) { SaveToStream(file, encoding); });
}

void TInferenceEngine::LoadModules(const std::string& fileName, const TEncoding* encoding) {
  LoadFile(fileName, [&](std::istream& file) { LoadModules(file, encoding); });
}

void TInferenceEngine::SaveModules(const std::string& fileName, const TEncoding* encoding) {
  SaveFile(fileName, [&](std::ostream& file) { SaveModules(file, encoding); });
}

void TInferenceEngine::LoadDefinedTypes(const std::string& fileName, const TEncoding* encoding) {
  LoadFile(fileName, [&](std::istream& file) { LoadDefinedTypes(file, encoding); });
}

void TInferenceEngine::SaveDefinedTypes(const std::string& fileName, const TEncoding* encoding) {
  SaveFile(fileName, [&](std::ostream& file) { SaveDefinedTypes(file, encoding); });
}

void TInferenceEngine::LoadFactTemplates(const std::string& fileName, const TEncoding* encoding) {
  LoadFile(fileName, [&](std::istream& file) { LoadFactTemplates(file, encoding); });
}

void TInferenceEngine::SaveFactTemplates(const std::string& fileName, const TEncoding* encoding) {
  SaveFile(fileName, [&](std::ostream& file) { SaveFactTemplates(file, encoding); });
}

void TInferenceEngine::LoadRules(const std::string& fileName, const TEncoding* encoding) {
  LoadFile(fileName, [&](std::istream& file) { LoadRules(file, encoding); });
}

void TInferenceEngine::SaveRules(const std::string& fileName, const TEncoding* encoding) {
  SaveFile(fileName, [&](std::ostream& file) { SaveRules(file, encoding); });
}

void TInferenceEngine::LoadFacts(const std::string& fileName, const TEncoding* encoding) {
  LoadFile(fileName, [&](std::istream& file) { LoadFacts(file, encoding); });
}

void TInferenceEngine::SaveFacts(const std::string& fileName, const TEncoding* encoding) {
  SaveFile(fileName, [&](std::ostream& file) { SaveFacts(file, encoding); });
}

void TInferenceEngine::SaveFacts(const std::string& fileName, std::string_view templateName,
                                 const TEncoding* encoding) {
  SaveFile(fileName, [&](std::ostream& file) { SaveFacts(file, templateName, encoding); });
}

}  // namespace kb
