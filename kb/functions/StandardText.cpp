// Output and input through the logical names of the engine.
#include "kb/engine/InferenceEngine.h"
#include "kb/functions/FunctionHelpers.h"
#include "kb/functions/StandardFunctions.h"
#include "kb/language/KBStreamToken.h"
#include "kb/values/KBHelperFunctions.h"

namespace kb::standard {
namespace {

// How `printout` shows a value: texts bare, the atom crlf as a line end, multifields in parentheses.
void AppendPrinted(std::string& text, const TKBValue& value) {
  switch (value.GetDType()) {
    case dtAtom:
      text += value.TextView() == "crlf" ? std::string_view("\r\n") : value.TextView();
      return;
    case dtString:
      text += value.TextView();
      return;
    case dtList:
      text += "(" + value.ToString() + ")";
      return;
    default:
      text += value.ToString();  // for numbers the same as their text
  }
}

// The logical name in front of the other arguments, evaluated after them.
TKBText LogicalName(const TFunctionCall& call, TKBContext& context) {
  return call.GetArgumentCount() > 0 ? TextArgument(call, 0, context) : TKBText();
}

}  // namespace

IKBValue PrintOut(TFunctionCall& call, TKBContext& context) {
  std::string text;
  for (int i = 1; i < call.GetArgumentCount(); ++i) AppendPrinted(text, *call.Evaluate(i, context));
  EngineOf(context).PrintOut(LogicalName(call, context).View(), text);
  return FCNil;
}

IKBValue Format(TFunctionCall& call, TKBContext& context) {
  std::vector<IKBValue> values;
  for (int i = 2; i < call.GetArgumentCount(); ++i) values.push_back(call.Evaluate(i, context));
  const std::string text = CLIPSFormat(RawArgument(call, 1)->GetAsString().View(), values);
  EngineOf(context).PrintOut(LogicalName(call, context).View(), text);
  return FCNil;
}

IKBValue Read(TFunctionCall& call, TKBContext& context) {
  const IStreamToken token = EngineOf(context).ReadToken(LogicalName(call, context).View());
  return token ? token->Value() : FCEOF;
}

IKBValue ReadLine(TFunctionCall& call, TKBContext& context) {
  const std::string line = EngineOf(context).ReadLine(LogicalName(call, context).View());
  // An empty line and the end of the input look the same.
  return line.empty() ? FCEOF : MakeString(line);
}

}  // namespace kb::standard
