// The frame of the parser: streams, texts, dispatch, heads of constructs, errors.
#include "kb/language/KBClipsParser.h"

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/values/FactSet.h"
#include "kb/values/KBContext.h"
#include "kb/values/KBModule.h"

namespace kb {

namespace {

constexpr int kLastSlotArgument = 65535;
constexpr size_t kLongExpression = 255;  // in characters; longer ones are shown by their two ends
constexpr size_t kShownEnd = 128;

constexpr std::string_view kNoKeyword;
// By TParsedType.
constexpr std::array<std::string_view, ptEOF + 1> kKeywords = {kNoKeyword, kNoKeyword,    kNoKeyword,    "defrule",
                                                               "deffacts", "deftemplate", "deffunction", "defglobal",
                                                               "deftype",  "defmodule",   kNoKeyword};

/// Head and tail of a text that is too long for a message.
std::string Shorten(std::string text) {
  const size_t count = CodePointCount(text);
  if (count <= kLongExpression) return text;
  std::string result = text.substr(0, CodePointOffset(text, kShownEnd));
  result.append("... ").append(kLineEnd);
  result.append(text, CodePointOffset(text, count - kShownEnd));
  return result;
}

uint16_t SlotArgument(int value) { return static_cast<uint16_t>(std::clamp(value, 0, kLastSlotArgument)); }

/// Empty while no module is current.
std::string CurrentModuleName(const TInferenceEngine& engine) {
  return engine.GetCurrentModule() ? engine.GetCurrentModule()->GetName() : std::string();
}

/// Takes the return state of a call at top level out of the root context again, however the call ends.
class TReturnStateScope {
 public:
  explicit TReturnStateScope(TKBContext& context) noexcept : context_(context) {}
  TReturnStateScope(const TReturnStateScope&) = delete;
  TReturnStateScope& operator=(const TReturnStateScope&) = delete;
  ~TReturnStateScope() { context_.ClearReturnValue(); }

 private:
  TKBContext& context_;
};

}  // namespace

/// What a top-level expression came to.
struct TKBClipsParser::TOutcome {
  TParsedType type = ptNone;
  IKBValue value = FCNil;
  TObject* object = nullptr;
  Ref<RefCounted> reference;
};

TKBClipsParser::TKBClipsParser(TInferenceEngine& owner, TKBTokenizerStream* stream) : TKBParser(owner, nullptr) {
  slotFunctions_.SetCaseSensitive(true);
  AddSlotFunction("assert", 0, 0);
  AddSlotFunction("fuzzy-assert", 0, 0);
  AddSlotFunction("fuzzy-assert-unconditional", 0, 0);
  AddSlotFunction("modify", 1, kLastSlotArgument);
  AddSlotFunction("duplicate", 1, kLastSlotArgument);
  TKBClipsParser::SetStream(stream);
}

TKBClipsParser::~TKBClipsParser() = default;

const TClassInfo& TKBClipsParser::StaticClass() noexcept {
  static const TClassInfo info{"TKBClipsParser", &TKBParser::StaticClass()};
  return info;
}

void TKBClipsParser::Assign(const TPersistent& source) {
  TKBParser::Assign(source);
  const auto* parser = dynamic_cast<const TKBClipsParser*>(&source);
  if (parser == nullptr || parser == this) return;
  slotFunctions_.Clear();
  slotFunctions_.AddStrings(parser->slotFunctions_);
}

void TKBClipsParser::SetStream(TKBTokenizerStream* stream) {
  auto* clipsStream = dynamic_cast<TKBClipsStream*>(stream);
  if (stream != nullptr && clipsStream == nullptr) {
    throw EInvalidCast(std::string(stream->ClassName()) + " is no " + std::string(TKBClipsStream::StaticClass().name));
  }
  clipsStream_ = clipsStream;
  TKBParser::SetStream(stream);
}

// Slot functions.

int TKBClipsParser::AddSlotFunction(std::string_view name, int start, int stop) {
  return slotFunctions_.AddData(name, {SlotArgument(start), SlotArgument(stop)});
}

int TKBClipsParser::GetSlotFunctionEnd(int index) const {
  const uint16_t stop = slotFunctions_.GetData(index).stop;
  return stop == 0 ? kLastSlotArgument : stop;
}

void TKBClipsParser::SetSlotFunctionStart(int index, int start) {
  TSlotArgRecord slots = slotFunctions_.GetData(index);
  slots.start = SlotArgument(start);
  if (slots.stop != 0) slots.stop = std::max(slots.stop, slots.start);
  slotFunctions_.PutData(index, slots);
}

void TKBClipsParser::SetSlotFunctionEnd(int index, int stop) {
  TSlotArgRecord slots = slotFunctions_.GetData(index);
  slots.stop = SlotArgument(std::max(stop, 1));
  slots.start = std::min(slots.start, slots.stop);
  slotFunctions_.PutData(index, slots);
}

// Tokens.

TKBClipsStream& TKBClipsParser::Stream() const {
  if (clipsStream_ == nullptr) throw EKBException(TKBMessage::UnexpectedEndOfStream);
  return *clipsStream_;
}

bool TKBClipsParser::NextIsOpen() {
  const IStreamToken token = Next();
  Back(token);
  return token->Is(kTokenOpen);
}

void TKBClipsParser::Expect(int dataType, std::string_view where) {
  if (Next()->Is(dataType)) return;
  ParseError(where, dataType == kTokenOpen ? TKBMessage::ExpectedOpen : TKBMessage::ExpectedClose);
}

void TKBClipsParser::CheckClose(const IStreamToken& token, std::string_view where) {
  if (!token->Is(kTokenClose)) ParseError(where, TKBMessage::ExpectedClose);
}

/// "(" and the atom behind it.
TKBClipsParser::TOpenAtom TKBClipsParser::ExpectOpenAtom(std::string_view where) {
  TOpenAtom result;
  result.open = Next();
  if (result.open->Is(kTokenOpen)) result.atom = Next();
  if (!result.atom || !result.atom->Is(dtAtom)) ParseError(where, TKBMessage::ExpectedAtom);
  return result;
}

TKBContext& TKBClipsParser::Context() const { return GetOwner().GetGlobalContext(); }

IKBValue TKBClipsParser::ResolveNow(const IKBValue& value) const { return value->Resolve(&Context()); }

// Errors.

void TKBClipsParser::ParseError(std::string_view where, TKBMessage message, const std::vector<std::string>& args) {
  ParseErrorText(where, message, FormatMessage(message, args));
}

void TKBClipsParser::ParseErrorText(std::string_view where, TKBMessage message, const std::string& text) {
  TKBClipsStream& stream = Stream();
  const int line = stream.GetCurrentToken()->GetLineNumber();
  throw EKBParseException(message,
                          FormatMessage(TKBMessage::ParsingError,
                                        {text, std::string(where), IntegerToString(line), Shorten(stream.ToString())}),
                          line);
}

// A fault that no parse routine worded, such as one of a function that the text called.
std::string TKBClipsParser::DescribeFault(std::string_view message) {
  TKBClipsStream& stream = Stream();
  const int line = stream.GetCurrentToken()->GetLineNumber();
  return FormatMessage(TKBMessage::ParsingError,
                       {std::string(message), "Parse", IntegerToString(line), stream.ToString()});
}

// Kinds of expressions, told by the first token and, behind a parenthesis, the first word. A string is
// nothing that a text may consist of.

std::string_view TKBClipsParser::GetConstructName(TParsedType type) const {
  return type <= ptEOF ? kKeywords[type] : kNoKeyword;
}

TParsedType TKBClipsParser::FindConstructType(std::string_view name) const {
  for (int type = ptNone; type <= ptEOF; ++type) {
    const auto parsedType = static_cast<TParsedType>(type);
    if (GetConstructName(parsedType) == name) return parsedType;
  }
  return ptNone;
}

TParsedType TKBClipsParser::GetConstructType() {
  const IStreamToken token = Next();
  const TParsedType type = GetConstructType(token);
  if (!token->Is(kTokenOpen)) Back(token);
  return type;
}

TParsedType TKBClipsParser::GetConstructType(const IStreamToken& token) {
  if (token->IsValue() && !token->Is(dtString)) return ptValue;
  if (token->IsEof() && token->GetText() == "EOF") return ptEOF;
  if (!token->Is(kTokenOpen)) {
    ParseError("GetConstructType", TKBMessage::UnexpectedSymbol, {token->ToString()});
  }
  Back(token);
  const TKBText head = Stream().Head();
  if (head == "EOF") return ptEOF;
  const TParsedType type = FindConstructType(head.View());
  return type == ptNone ? ptFunCall : type;
}

// Whole texts.

bool TKBClipsParser::Parse(bool executeFunCalls) {
  static_cast<void>(Stream());  // none is no fault of the text
  return GetErrorHandling() == ehRaiseAllAtEnd ? ParseGathering() : ParseImmediate(executeFunCalls);
}

bool TKBClipsParser::ParseImmediate(bool executeFunCalls) {
  while (ParseExpression(executeFunCalls)) {
  }
  return true;
}

// Goes on behind each faulty expression. What the other expressions did stays done.
bool TKBClipsParser::ParseGathering() {
  std::string errors;
  int count = 0;
  TKBMessage id = TKBMessage::ErrorsParsingStream;
  int line = 0;
  for (;;) {
    try {
      if (!ParseExpression(true)) break;
      continue;
    } catch (const EAbort&) {
      break;
    } catch (const EKBParseException& fault) {
      errors += fault.Message();
      id = fault.Id();
      line = fault.GetLineNumber();
    } catch (const std::exception& fault) {
      errors += DescribeFault(fault.what());
      line = Stream().GetCurrentToken()->GetLineNumber();
    }
    errors += kLineEnd;
    if (++count > GetMaxErrors()) break;
    Stream().MoveToNextConstruct();
  }
  if (count == 0) return true;
  if (count == 1) throw EKBParseException(id, errors, line);
  throw EKBParseException(TKBMessage::ErrorsParsingStream, FormatMessage(TKBMessage::ErrorsParsingStream, {errors}),
                          line);
}

// Only values and calls have a value to print and to report; for constructs it stays nil, which makes their
// kind ptNone by the time OnParse hears of them, with the object at hand.
bool TKBClipsParser::ParseExpression(bool executeFunCalls) {
  TOutcome outcome;
  const IStreamToken token = Next();
  outcome.type = GetConstructType(token);
  ParseTopLevel(token, executeFunCalls, outcome);
  if (!outcome.value || outcome.value == FCNil) {
    outcome.type = ptNone;
  } else {
    outcome.reference = outcome.value;
  }
  if (outcome.type == ptValue || outcome.type == ptFunCall) {
    GetOwner().PrintOut(std::string_view(), outcome.value->ToString() + std::string(kLineEnd));
  }
  if (OnParse) OnParse(*this, outcome.type, outcome.object, outcome.reference);
  return !outcome.value || !outcome.value->Equals(FCEOF.Get());
}

void TKBClipsParser::ParseTopLevel(const IStreamToken& token, bool execute, TOutcome& outcome) {
  switch (outcome.type) {
    case ptValue:
      outcome.value = token->Value(&Context());
      return;
    case ptFunCall:
      outcome.value = execute ? ParseNExecuteFunCall() : MakeRef<TKBValue>(ParseFunCall());
      return;
    case ptEOF:
      outcome.value = FCEOF;
      return;
    default:
      AddConstruct(outcome);
  }
}

void TKBClipsParser::AddConstruct(TOutcome& outcome) {
  TInferenceEngine& engine = GetOwner();
  switch (outcome.type) {
    case ptRule:
      AddRule(outcome);
      return;
    case ptFactSet:
      AddFactSet(outcome);
      return;
    case ptDefModule:
      AddModule(outcome);
      return;
    case ptFactTemplate: {
      const IFactTemplate factTemplate = ParseFactTemplate();
      engine.GetFactTemplates().Add(factTemplate);
      outcome.reference = factTemplate;
      return;
    }
    case ptFunction: {
      const IInterpretedFunction function = ParseFunction();
      engine.GetUserFunctionTable().Add(function);
      outcome.reference = function;
      return;
    }
    case ptDefType: {
      const IKBDefinedType definedType = ParseDefinedType();
      engine.GetDefinedTypes().Add(definedType);
      outcome.reference = definedType;
      return;
    }
    case ptGlobals:
      ParseGlobalVariables();
      return;
    default:
      return;
  }
}

void TKBClipsParser::AddRule(TOutcome& outcome) {
  TInferenceEngine& engine = GetOwner();
  std::unique_ptr<TRule> rule(ParseRule());
  TDelayedError error;
  error.Run([&] { engine.GetRules().Add(*rule); });
  // Under dcIgnore nobody keeps it; a handler that raises does not take it out again.
  if (engine.IsRegistered(*rule)) outcome.object = rule.release();
  error.Rethrow();
}

void TKBClipsParser::AddFactSet(TOutcome& outcome) {
  TInferenceEngine& engine = GetOwner();
  std::unique_ptr<TFactSet> factSet(ParseFactSet());
  factSet->SetEngineNoParse(&engine);
  engine.GetFactSets().Add(*factSet);
  outcome.object = factSet.release();
}

void TKBClipsParser::AddModule(TOutcome& outcome) {
  TInferenceEngine& engine = GetOwner();
  const IModule module = ParseModule();
  engine.AddModule(module);
  engine.SetCurrentModule(module);
  outcome.reference = module;
}

bool TKBClipsParser::LoadFacts() {
  for (;;) {
    const IStreamToken token = Next();
    if (token->IsEof()) return true;
    Back(token);
    const IFact fact = ParseFact();
    GetOwner().Assert(Context().Resolve(fact));
  }
}

IKBValue TKBClipsParser::ParseNExecuteFunCall() {
  const IFunCall call = ParseFunCall();
  const TReturnStateScope scope(Context());
  return call->Execute(Context());
}

// Heads of constructs.

// head = "(" keyword name [string]. The name may have a module in front, "module::name", where the construct
// belongs to a module.

void TKBClipsParser::StartHeader(std::string_view keyword, std::string_view where) {
  const IStreamToken open = Next();
  if (open->Is(kTokenOpen) && Next()->IsAtom(keyword)) return;
  ParseError(where, TKBMessage::ExpectedConstruct, {std::string(keyword)});
}

void TKBClipsParser::FinishHeader(std::string_view keyword, bool allowComment, THeader& header) {
  if (GetAutoRenameConstructs()) {
    while (NameIsTaken(keyword, header.name)) header.name = RenameCopy(header.name);
  }
  header.token = Next();
  if (!allowComment || !header.token->Is(dtString)) return;
  header.comment = header.token->GetText().ToString();
  header.token = Next();
}

TKBClipsParser::THeader TKBClipsParser::ParseHeader(std::string_view keyword, std::string_view where,
                                                    bool allowComment) {
  StartHeader(keyword, where);
  THeader header;
  header.module = ParseFullName(header.name);
  EnterModule(header.module);
  FinishHeader(keyword, allowComment, header);
  return header;
}

TKBClipsParser::THeader TKBClipsParser::ParsePlainHeader(std::string_view keyword, std::string_view where,
                                                         bool allowComment) {
  StartHeader(keyword, where);
  const IStreamToken name = Next();
  if (!name->Is(dtAtom)) ParseError(where, TKBMessage::MissingName);
  THeader header;
  header.name = name->GetText().ToString();
  FinishHeader(keyword, allowComment, header);
  return header;
}

void TKBClipsParser::EnterModule(std::string& module) {
  TInferenceEngine& engine = GetOwner();
  const std::string current = CurrentModuleName(engine);
  if (GetUseCurrentModule() || module.empty()) {
    module = current;
  } else if (module != current) {
    engine.SetCurrentModule(engine.GetModules().GetModule(module));
  }
}

bool TKBClipsParser::NameIsTaken(std::string_view keyword, std::string_view name) const {
  const TInferenceEngine& engine = GetOwner();
  switch (FindConstructType(keyword)) {
    case ptRule:
      return engine.GetRules().ContainsKey(name);
    case ptFactSet:
      return engine.GetFactSets().IndexOf(name) >= 0;
    case ptFactTemplate:
      return engine.GetFactTemplates().ContainsKey(name);
    case ptFunction:
      return engine.GetUserFunctionTable().ContainsKey(name);
    case ptDefType:
      return engine.GetDefinedTypes().ContainsKey(name);
    default:
      return false;
  }
}

std::string TKBClipsParser::ParseFullName(std::string& name) {
  constexpr std::string_view kWhere = "ParseFullName";
  const IStreamToken token = Next();
  if (!token->Is(dtAtom)) ParseError(kWhere, TKBMessage::MissingName);
  const std::string_view text = token->GetText().View();
  const size_t separator = text.find(SModuleSeparator);
  if (separator == std::string_view::npos) {
    name = text;
    return std::string();
  }
  std::string module(text.substr(0, separator));
  name = text.substr(separator + SModuleSeparator.size());
  if (name.empty()) ParseError(kWhere, TKBMessage::MissingName);
  const TInferenceEngine& engine = GetOwner();
  if (!module.empty() && module != CurrentModuleName(engine) && engine.GetModules().IndexOf(module) < 0) {
    ParseError(kWhere, TKBMessage::NoSuchModule, {module});
  }
  return module;
}

}  // namespace kb
