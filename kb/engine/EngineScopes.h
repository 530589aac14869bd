// Scopes that put back what the engine changes for the time of a call, also when an exception passes.
#pragma once

#include <memory>

#include "kb/engine/InferenceEngine.h"

namespace kb {

/// The parser reads another stream.
class TInferenceEngine::TStreamScope {
 public:
  TStreamScope(TInferenceEngine& engine, std::unique_ptr<TKBTokenizerStream> stream)
      : hold_(engine),
        engine_(engine),
        parser_(*engine.parser_),
        saved_(parser_.GetStream()),
        stream_(std::move(stream)) {
    engine.RequireFocus();
    parser_.SetStream(stream_.get());
    ++engine_.parses_;
  }
  TStreamScope(const TStreamScope&) = delete;
  TStreamScope& operator=(const TStreamScope&) = delete;
  ~TStreamScope() {
    --engine_.parses_;
    parser_.SetStream(saved_);
  }

 private:
  const TFreeHold hold_;
  TInferenceEngine& engine_;
  TKBParser& parser_;
  TKBTokenizerStream* saved_;
  std::unique_ptr<TKBTokenizerStream> stream_;
};

/// Another module is in focus. A null module keeps the one that is.
class TInferenceEngine::TFocusScope {
 public:
  TFocusScope(TInferenceEngine& engine, TModule* module) : saved_(engine.currentModule_) {
    if (module != nullptr && saved_ != module) module->FocusModule();
    moved_ = module != nullptr && saved_ != module;
  }
  TFocusScope(const TFocusScope&) = delete;
  TFocusScope& operator=(const TFocusScope&) = delete;
  ~TFocusScope() {
    if (moved_ && saved_ && saved_->GetAgenda() != nullptr) saved_->FocusModule();
  }

 private:
  IModule saved_;
  bool moved_ = false;
};

}  // namespace kb
