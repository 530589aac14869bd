// Text in: the wrappers of the parser, loading and batches.
#include <fstream>
#include <sstream>

#include "kb/common/Helpers.h"
#include "kb/engine/EngineScopes.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/platform/Files.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBHelperFunctions.h"

namespace kb {

std::unique_ptr<TKBTokenizerStream> TInferenceEngine::NewTokenizer(std::string_view text, const TEncoding* encoding) {
  std::unique_ptr<TKBTokenizerStream> result;
  if (tokenizerFactory_) {
    std::istringstream stream{std::string(text)};
    result = tokenizerFactory_(*this, stream, encoding);
  } else {
    result = std::make_unique<TKBClipsStream>(std::string(text), encoding);
  }
  RequireObject(result, "tokenizer");
  result->SetEngine(this);
  return result;
}

std::unique_ptr<TKBTokenizerStream> TInferenceEngine::NewTokenizer(std::istream& stream, const TEncoding* encoding) {
  std::unique_ptr<TKBTokenizerStream> result = tokenizerFactory_ ? tokenizerFactory_(*this, stream, encoding)
                                                                 : std::make_unique<TKBClipsStream>(stream, encoding);
  RequireObject(result, "tokenizer");
  result->SetEngine(this);
  return result;
}

std::unique_ptr<TKBTokenizerStream> TInferenceEngine::NewTokenizer(const std::filesystem::path& path,
                                                                   TTextFileMode mode, const TEncoding* encoding) {
  if (tokenizerFactory_ && mode == tmRead) {
    std::istringstream text(TGTextStream(path, tmRead, encoding).GetText());
    return NewTokenizer(text, nullptr);
  }
  auto result = std::make_unique<TKBClipsStream>(path, mode, encoding, trBlocks);
  result->SetEngine(this);
  return result;
}

template <class F>
auto TInferenceEngine::WithText(std::string_view text, const TEncoding* encoding, F&& parse) {
  const TStreamScope scope(*this, NewTokenizer(text, encoding));
  return parse(*parser_);
}

void TInferenceEngine::Parse(std::string_view text, bool execute, const TEncoding* encoding) {
  WithText(text, encoding, [&](TKBParser& parser) { return parser.Parse(execute); });
}

TParsedType TInferenceEngine::ParseConstructType(std::string_view text, const TEncoding* encoding) {
  return WithText(text, encoding, [](TKBParser& parser) { return parser.GetConstructType(); });
}

IKBDefinedType TInferenceEngine::ParseDefinedType(std::string_view text, const TEncoding* encoding) {
  return WithText(text, encoding, [](TKBParser& parser) { return parser.ParseDefinedType(); });
}

IFact TInferenceEngine::ParseFact(std::string_view text, const TEncoding* encoding) {
  return WithText(text, encoding, [](TKBParser& parser) { return parser.ParseFact(); });
}

std::string TInferenceEngine::ParseFactSlot(const IFact& fact, std::string_view text, const TEncoding* encoding) {
  RequireObject(fact, "fact");
  return WithText(text, encoding, [&](TKBParser& parser) {
    // The current token has to be the slot's first one.
    (void)parser.GetStream()->NextToken();
    return parser.ParseFactSlot(*fact).ToString();
  });
}

TFactSet* TInferenceEngine::ParseFactSet(std::string_view text, const TEncoding* encoding) {
  return WithText(text, encoding, [](TKBParser& parser) { return parser.ParseFactSet(); });
}

IFunCall TInferenceEngine::ParseFunCall(std::string_view text, const TEncoding* encoding) {
  return WithText(text, encoding, [](TKBParser& parser) { return parser.ParseFunCall(); });
}

std::string TInferenceEngine::ParseFullName(std::string_view text, std::string& name, const TEncoding* encoding) {
  return WithText(text, encoding, [&](TKBParser& parser) { return parser.ParseFullName(name); });
}

IFactTemplate TInferenceEngine::ParseFactTemplate(std::string_view text, const TEncoding* encoding) {
  return WithText(text, encoding, [](TKBParser& parser) { return parser.ParseFactTemplate(); });
}

IFactSlot TInferenceEngine::ParseFactTemplateSlot(std::string_view text, const TEncoding* encoding) {
  return WithText(text, encoding, [](TKBParser& parser) { return parser.ParseFactTemplateSlot(); });
}

IInterpretedFunction TInferenceEngine::ParseFunction(std::string_view text, const TEncoding* encoding) {
  return WithText(text, encoding, [](TKBParser& parser) { return parser.ParseFunction(); });
}

void TInferenceEngine::ParseGlobalVariables(std::string_view text, const TEncoding* encoding) {
  WithText(text, encoding, [](TKBParser& parser) { return parser.ParseGlobalVariables(); });
}

IKBValue TInferenceEngine::ParseVariable(std::string_view text, std::string& name, const TEncoding* encoding) {
  return WithText(text, encoding, [&](TKBParser& parser) { return parser.ParseVariable(name); });
}

IValueVector TInferenceEngine::ParseList(std::string_view text, const TEncoding* encoding) {
  return WithText(text, encoding, [](TKBParser& parser) { return parser.ParseList(); });
}

IKBValue TInferenceEngine::ParseNExecuteFunCall(std::string_view text, const TEncoding* encoding) {
  return WithText(text, encoding, [](TKBParser& parser) { return parser.ParseNExecuteFunCall(); });
}

IModule TInferenceEngine::ParseModule(std::string_view text, const TEncoding* encoding) {
  return WithText(text, encoding, [](TKBParser& parser) { return parser.ParseModule(); });
}

TRule* TInferenceEngine::ParseRule(std::string_view text, const TEncoding* encoding) {
  return WithText(text, encoding, [](TKBParser& parser) { return parser.ParseRule(); });
}

void TInferenceEngine::ParseRuleActions(TRule& rule, std::string_view text, TRuleVariables& variables,
                                        const TEncoding* encoding) {
  WithText(text, encoding, [&](TKBParser& parser) {
    parser.ParseRuleActions(rule, variables);
    return true;
  });
}

void TInferenceEngine::ParseRulePatterns(TRule& rule, std::string_view text, TRuleVariables& variables,
                                         const TEncoding* encoding) {
  WithText(text, encoding, [&](TKBParser& parser) {
    parser.ParseRulePatterns(rule, variables);
    return true;
  });
}

ISingletonsVector TInferenceEngine::ParseSingletons(std::string_view text) {
  return WithText(text, nullptr, [](TKBParser& parser) { return parser.ParseSingletons(); });
}

IKBValue TInferenceEngine::ParseValue(std::string_view text, const TEncoding* encoding) {
  return WithText(text, encoding, [](TKBParser& parser) { return parser.ParseValue(); });
}

IKBValue TInferenceEngine::ParseValue(std::string_view text, const IFactSlot& slot, const TEncoding* encoding) {
  RequireObject(slot, "slot");
  return WithText(text, encoding, [&](TKBParser& parser) { return parser.ParseValue(*slot); });
}

IKBValue TInferenceEngine::ParseValue(std::string_view text, TKBTypes types, const IKBDefinedType& type,
                                      const TEncoding* encoding) {
  return WithText(text, encoding, [&](TKBParser& parser) { return parser.ParseValue(types, type); });
}

namespace {

int32_t RequireInteger(std::string_view text) {
  if (const auto value = ParseInteger(text)) return *value;
  throw EConvertError("\"" + std::string(text) + "\" is not a valid integer value");
}

double RequireFloat(std::string_view text) {
  if (const auto value = ParseFloat(text)) return *value;
  throw EConvertError("\"" + std::string(text) + "\" is not a valid floating point value");
}

std::string_view StripQuotes(std::string_view text) {
  while (!text.empty() && text.front() == '"') text.remove_prefix(1);
  while (!text.empty() && text.back() == '"') text.remove_suffix(1);
  return text;
}

}  // namespace

IKBValue TInferenceEngine::Parse(std::string_view text, TKBType type, const TEncoding* encoding) {
  switch (type) {
    case dtNone:
      return MakeRef<TKBValue>();
    case dtString:
      return MakeString(StripQuotes(text));
    case dtAtom:
    case dtVariable:
    case dtMultiVariable:
    case dtSlot:
    case dtMultiSlot:
      return MakeRef<TKBValue>(TKBText(text), type);
    case dtInteger:
    case dtFactId:
      return MakeRef<TKBValue>(RequireInteger(text), type);
    case dtFloat:
      return MakeFloat(RequireFloat(text));
    case dtFunCall:
      return MakeRef<TKBValue>(ParseFunCall(text, encoding));
    case dtFact:
      return MakeRef<TKBValue>(ParseFact(text, encoding));
    case dtList: {
      const IKBValue value = ParseValue(text, encoding);
      return value ? value : FCNilList;
    }
    default:
      throw EKBException(TKBMessage::UnableToParseType, {std::string(GetKBTypeName(type))});
  }
}

bool TInferenceEngine::Batch(std::istream& stream, const TEncoding* encoding) {
  // The input of an outer batch comes back also when a line raises.
  struct TBatchScope {
    TBatchScope(TKBTokenizerStream*& s, TKBTokenizerStream* input) : slot(s), saved(s) { slot = input; }
    TBatchScope(const TBatchScope&) = delete;
    TBatchScope& operator=(const TBatchScope&) = delete;
    ~TBatchScope() { slot = saved; }
    TKBTokenizerStream*& slot;
    TKBTokenizerStream* saved;
  };
  const auto input = NewTokenizer(stream, encoding);
  const TBatchScope scope(inputStream_, input.get());
  while (!input->IsEof()) Parse(input->GetLine(), true);
  return true;
}

bool TInferenceEngine::Batch(const std::string& fileName, const TEncoding* encoding) {
  std::ifstream file = files::OpenInput(files::PathOf(fileName));
  return Batch(file, encoding);
}

}  // namespace kb
