// Streams under logical names, and the operations of the engine on whole files.
#include "kb/engine/InferenceEngine.h"
#include "kb/functions/FunctionHelpers.h"
#include "kb/functions/StandardFunctions.h"
#include "kb/language/KBTokenizer.h"
#include "kb/platform/FileReplacement.h"
#include "kb/platform/Files.h"

namespace kb::standard {
namespace {

enum class TAccess { Read, Write, Update, Append };

TAccess AccessOf(std::string_view mode) {
  if (mode == "r") return TAccess::Read;
  if (mode == "w") return TAccess::Write;
  if (mode == "r+") return TAccess::Update;
  if (mode == "a") return TAccess::Append;
  throw EKBException(TKBMessage::InvalidFileAccess, {std::string(mode)});
}

// `read` needs a tokenizer; what is only written is a plain text stream.
std::unique_ptr<TGTextStream> OpenStream(TInferenceEngine& engine, const std::filesystem::path& path, TAccess access) {
  switch (access) {
    case TAccess::Read:
      return engine.NewTokenizer(path, tmRead, nullptr);
    case TAccess::Update:
      return engine.NewTokenizer(path, tmReadWrite, nullptr);
    case TAccess::Write:
      return std::make_unique<TGTextStream>(path, tmCreate);
    case TAccess::Append:
      break;
  }
  return std::make_unique<TGTextStream>(path, tmAppend);
}

// Closes the stream; what could not be written is told, and the stream is gone all the same.
void CloseStream(TIOStreams& streams, std::string_view name) {
  TDelayedError error;
  if (TGTextStream* stream = streams.FindStream(name)) error.Run([stream] { stream->Flush(); });
  streams.Remove(name);
  error.Rethrow();
}

}  // namespace

IKBValue Open(TFunctionCall& call, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  const TAccess access = call.GetArgumentCount() < 3 ? TAccess::Read : AccessOf(TextArgument(call, 2, context).View());
  const std::filesystem::path path = files::PathOf(TextArgument(call, 0, context).View());
  const IKBValue name = call.Evaluate(1, context);
  const TKBText key = name->GetAsString();
  // The name may stand for a stream on the same file, whose text has to be there first.
  if (TGTextStream* old = engine.GetIOStreams().FindStream(key.View())) old->Flush();
  engine.GetIOStreams().Add(key.View(), OpenStream(engine, path, access));
  return name->Clone();
}

IKBValue Close(TFunctionCall& call, TKBContext& context) {
  TIOStreams& streams = EngineOf(context).GetIOStreams();
  if (call.GetArgumentCount() == 0) {
    TDelayedError error;
    for (int i = 0; i < streams.GetCount(); ++i) error.Run([&] { streams.GetValue(i)->Flush(); });
    streams.Clear();
    error.Rethrow();
  }
  for (int i = 0; i < call.GetArgumentCount(); ++i) CloseStream(streams, TextArgument(call, i, context).View());
  return FCTrue;
}

IKBValue Batch(TFunctionCall& call, TKBContext& context) {
  return MakeBoolean(EngineOf(context).Batch(TextArgument(call, 0, context).ToString()));
}

IKBValue DribbleOn(TFunctionCall& call, TKBContext& context) {
  return MakeBoolean(EngineOf(context).StartCapture(TextArgument(call, 0, context).ToString()));
}

IKBValue DribbleOff(TFunctionCall& /*call*/, TKBContext& context) {
  return MakeBoolean(EngineOf(context).StopCapture());
}

IKBValue Load(TFunctionCall& call, TKBContext& context) {
  EngineOf(context).LoadFromFile(TextArgument(call, 0, context).ToString());
  return FCTrue;
}

IKBValue Save(TFunctionCall& call, TKBContext& context) {
  EngineOf(context).SaveToFile(TextArgument(call, 0, context).ToString());
  return FCTrue;
}

IKBValue LoadFacts(TFunctionCall& call, TKBContext& context) {
  EngineOf(context).LoadFacts(TextArgument(call, 0, context).ToString());
  return FCTrue;
}

IKBValue SaveFacts(TFunctionCall& call, TKBContext& context) {
  TInferenceEngine& engine = EngineOf(context);
  const std::string fileName = TextArgument(call, 0, context).ToString();
  if (call.GetArgumentCount() == 1) {
    engine.SaveFacts(fileName);
    return FCTrue;
  }
  TFileReplacement file(fileName);
  for (int i = 1; i < call.GetArgumentCount(); ++i) {
    engine.SaveFacts(file.Stream(), TextArgument(call, i, context).View());
  }
  file.Commit();
  return FCTrue;
}

}  // namespace kb::standard
