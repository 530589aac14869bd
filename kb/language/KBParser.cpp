#include "kb/language/KBParser.h"

#include "kb/engine/InferenceEngine.h"

namespace kb {

TStrings& EKBParseException::GetExpected() {
  if (!expected_) expected_ = std::make_shared<TStringList>();
  return *expected_;
}

const TClassInfo& TKBParser::StaticClass() noexcept {
  static const TClassInfo info{"TKBParser", &TPersistent::StaticClass()};
  return info;
}

void TKBParser::Assign(const TPersistent& source) {
  const auto* parser = dynamic_cast<const TKBParser*>(&source);
  if (parser == nullptr) {
    TPersistent::Assign(source);
    return;
  }
  SetStream(parser->stream_);
  strictFactTemplates_ = parser->strictFactTemplates_;
  staticTypeChecks_ = parser->staticTypeChecks_;
  autoRenameConstructs_ = parser->autoRenameConstructs_;
  useCurrentModule_ = parser->useCurrentModule_;
  printModulePrefix_ = parser->printModulePrefix_;
  errorHandling_ = parser->errorHandling_;
  maxErrors_ = parser->maxErrors_;
}

void TKBParser::ClearEvents() noexcept {
  OnParse = nullptr;
  OnParseDefinedType = nullptr;
  OnParseFact = nullptr;
  OnParseFactSet = nullptr;
  OnParseFactTemplate = nullptr;
  OnParseFunction = nullptr;
  OnParseFunCall = nullptr;
  OnParseFuzzySet = nullptr;
  OnParseFuzzyVariable = nullptr;
  OnParseSingletons = nullptr;
  OnParseVariable = nullptr;
  OnParsePattern = nullptr;
  OnParseRule = nullptr;
  OnParseModule = nullptr;
}

void TKBParser::Clear() {
  if (stream_ != nullptr) stream_->Clear();
}

std::string TKBParser::GenerateSymbol(std::string_view prefix) { return owner_.GenerateSymbol(prefix); }

}  // namespace kb
