// Text out: routing of the named channels, capture, reading, and printed constructs.
#include <fstream>

#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/platform/Files.h"
#include "kb/values/KBConsts.h"

namespace kb {
namespace {

[[nodiscard]] bool IsStandard(std::string_view name) noexcept { return name.empty() || name == "t"; }

}  // namespace

void TInferenceEngine::PrintOut(std::string_view outId, std::string_view text) {
  if (IsStandard(outId)) {
    if (outputStream_ != nullptr) {
      WriteStringToStream(*outputStream_, text, nullptr);
    } else if (OnPrintOut) {
      OnPrintOut(*this, outId, text);
    }
    return;
  }
  if (TGTextStream* stream = ioStreams_->FindStream(outId)) {
    stream->Put(text);
    return;
  }
  if (!OnPrintOut) throw EKBException(TKBMessage::FunctionUnassigned, {"printout"});
}

std::string TInferenceEngine::ReadLine(std::string_view inId) {
  if (!IsStandard(inId)) {
    if (TGTextStream* stream = ioStreams_->FindStream(inId)) return stream->IsEof() ? std::string() : stream->GetLine();
  }
  if (inputStream_ != nullptr) {
    const std::string line = inputStream_->GetLine();
    PrintOut(line + std::string(kLineEnd));
    return line;
  }
  if (!OnReadLine) throw EKBException(TKBMessage::EventUnassigned, {"read"});
  std::string text;
  OnReadLine(*this, inId, text);
  return text;
}

IStreamToken TInferenceEngine::ReadToken(std::string_view inId) {
  if (!IsStandard(inId)) {
    if (TGTextStream* stream = ioStreams_->FindStream(inId)) {
      auto* tokens = dynamic_cast<TKBTokenizerStream*>(stream);
      if (tokens == nullptr)
        throw EInvalidCast("Invalid class typecast: the stream \"" + std::string(inId) + "\" gives no tokens");
      IStreamToken token = tokens->NextToken();
      tokens->DiscardUntilEOL();
      return token;
    }
  }
  if (inputStream_ != nullptr) {
    IStreamToken token = inputStream_->NextToken();
    inputStream_->DiscardUntilEOL();
    // As it stood in the line: messages spell strings otherwise.
    PrintOut((token->Is(dtString) ? token->Value()->ToString() : token->ToString()) + std::string(kLineEnd));
    return token;
  }
  if (!OnReadToken) throw EKBException(TKBMessage::EventUnassigned, {"readline"});
  IStreamToken token;
  OnReadToken(*this, inId, token);
  // A handler that writes nothing stands for the end of the input.
  if (!token) token = NewTokenizer(std::string_view(), nullptr)->NextToken();
  return token;
}

bool TInferenceEngine::StartCapture(std::unique_ptr<std::ostream> stream, const TEncoding* encoding) {
  RequireObject(stream, "stream");
  StopCapture();
  outputStream_ = std::move(stream);
  WritePreambleToStream(*outputStream_, encoding);
  return true;
}

bool TInferenceEngine::StartCapture(const std::string& fileName, const TEncoding* encoding) {
  return StartCapture(std::make_unique<std::ofstream>(files::CreateOutput(files::PathOf(fileName))), encoding);
}

bool TInferenceEngine::StopCapture() {
  if (outputStream_ != nullptr) outputStream_->flush();
  outputStream_.reset();
  return true;
}

std::string TInferenceEngine::PrettyPrint(const TFunctionCall& call) { return parser_->PrettyPrint(call); }
std::string TInferenceEngine::PrettyPrint(const TFact& fact) { return parser_->PrettyPrint(fact); }
std::string TInferenceEngine::PrettyPrint(const IUserFunction& function) { return parser_->PrettyPrint(function); }
std::string TInferenceEngine::PrettyPrint(const TInterpretedFunction& function) {
  return parser_->PrettyPrint(function);
}
std::string TInferenceEngine::PrettyPrint(const TKBDefinedType& type) { return parser_->PrettyPrint(type); }
std::string TInferenceEngine::PrettyPrint(const TFactTemplate& factTemplate) {
  return parser_->PrettyPrint(factTemplate);
}
std::string TInferenceEngine::PrettyPrint(const TModule& module) { return parser_->PrettyPrint(module); }
std::string TInferenceEngine::PrettyPrint(const TRule& rule) { return parser_->PrettyPrint(rule); }
std::string TInferenceEngine::PrettyPrint(const TKBPattern& pattern) { return parser_->PrettyPrint(pattern); }
std::string TInferenceEngine::PrettyPrint(const TFactSet& factSet) { return parser_->PrettyPrint(factSet); }
std::string TInferenceEngine::PrettyPrint(const TFactSlot& slot) { return parser_->PrettyPrint(slot); }
std::string TInferenceEngine::PrettyPrint(std::string_view name, const IKBValue& value) {
  return parser_->PrettyPrint(name, value);
}
std::string TInferenceEngine::PrettyPrintGlobalVariables() { return parser_->PrettyPrint(*globalVariables_); }
std::string TInferenceEngine::PrettyPrintSingletons(const TSingletonsVector& singletons) {
  return parser_->PrettyPrint(singletons);
}

}  // namespace kb
