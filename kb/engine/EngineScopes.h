// Scopes that put back what the engine changes for the time of a call, also when an exception passes.
#pragma once

#include <memory>
#include <utility>

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

/// Another module is in focus, without events. At the end the module that was in focus is so again, whatever
/// was focused meanwhile; one that has been removed by then is not.
class TInferenceEngine::TFocusScope {
 public:
  /// `module` may be null: then only the end counts.
  TFocusScope(TInferenceEngine& engine, TModule* module) : engine_(engine), saved_(engine.currentModule_) {
    if (module != nullptr && saved_ != module) module->FocusModule();
  }
  TFocusScope(const TFocusScope&) = delete;
  TFocusScope& operator=(const TFocusScope&) = delete;
  ~TFocusScope() {
    if (!saved_ || engine_.currentModule_ == saved_ || saved_->GetAgenda() == nullptr) return;
    saved_->FocusModule();
  }

 private:
  TInferenceEngine& engine_;
  IModule saved_;
};

/// A value is another one for the time of a scope.
template <class T>
class TValueScope {
 public:
  TValueScope(T& place, T value) : place_(place), saved_(std::exchange(place, value)) {}
  TValueScope(const TValueScope&) = delete;
  TValueScope& operator=(const TValueScope&) = delete;
  ~TValueScope() { place_ = saved_; }

 private:
  T& place_;
  T saved_;
};

}  // namespace kb
