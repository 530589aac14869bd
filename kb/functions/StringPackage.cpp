#include "kb/functions/StringPackage.h"

#include "kb/common/Helpers.h"
#include "kb/functions/BuiltinFunction.h"
#include "kb/functions/FunctionHelpers.h"
#include "kb/values/KBHelperFunctions.h"

namespace kb {
namespace {

template <TKBType Type>
IKBValue Concatenate(TFunctionCall& call, TKBContext& context) {
  std::string text;
  for (int i = 0; i < call.GetArgumentCount(); ++i) text += TextArgument(call, i, context).View();
  return MakeRef<TKBValue>(TKBText(text), Type);
}

IKBValue StringLength(TFunctionCall& call, TKBContext& context) {
  return MakeInteger(static_cast<int32_t>(CodePointCount(TextArgument(call, 0, context).View())));
}

IKBValue StringCompare(TFunctionCall& call, TKBContext& context) {
  const TKBText left = TextArgument(call, 0, context);
  const TKBText right = TextArgument(call, 1, context);
  // The bytes of UTF-8 order texts as their code points do.
  const int order = left.View().compare(right.View());
  return MakeInteger(order < 0 ? -1 : (order > 0 ? 1 : 0));
}

IKBValue StringIndex(TFunctionCall& call, TKBContext& context) {
  const TKBText wanted = TextArgument(call, 0, context);
  const TKBText text = TextArgument(call, 1, context);
  const size_t at = wanted.Empty() ? std::string_view::npos : text.View().find(wanted.View());
  if (at == std::string_view::npos) return FCFalse;
  return MakeInteger(static_cast<int32_t>(CodePointCount(text.View().substr(0, at)) + 1));
}

IKBValue SubString(TFunctionCall& call, TKBContext& context) {
  const int64_t start = IntegerArgument(call, 0, context);
  const int64_t end = IntegerArgument(call, 1, context);
  const TKBText text = TextArgument(call, 2, context);
  const auto size = static_cast<int64_t>(CodePointCount(text.View()));
  const int64_t length = end - start + 1;
  if (start < 1 || start > size || length < 0) {
    throw EKBException(TKBMessage::InvalidSubstring, {IntegerToString(start), IntegerToString(end)});
  }
  const size_t from = CodePointOffset(text.View(), static_cast<size_t>(start - 1));
  const std::string_view rest = text.View().substr(from);
  return MakeString(rest.substr(0, CodePointOffset(rest, static_cast<size_t>(length))));
}

// The text in another case, with the type of the argument; a value that is no text gives a string.
template <std::string (*Change)(std::string_view)>
IKBValue ChangeCase(TFunctionCall& call, TKBContext& context) {
  const IKBValue value = call.Evaluate(0, context);
  const TKBType type = KBStringTypes.Has(value->GetDType()) ? value->GetDType() : dtString;
  return MakeRef<TKBValue>(TKBText(Change(value->GetAsString().View())), type);
}

IKBValue StringFormat(TFunctionCall& call, TKBContext& context) {
  std::vector<IKBValue> values;
  for (int i = 1; i < call.GetArgumentCount(); ++i) values.push_back(call.Evaluate(i, context));
  return MakeString(CLIPSFormat(RawArgument(call, 0)->GetAsString().View(), values));
}

const TBuiltin kStringFunctions[] = {
    {"str-cat", " <expression>*", 0, kAny, "Returns the texts of all arguments joined, as a string",
     Concatenate<dtString>},
    {"sym-cat", " <expression>*", 0, kAny, "Returns the texts of all arguments joined, as a symbol",
     Concatenate<dtAtom>},
    {"str-length", " <lexeme-expression>", 1, 1, "Returns the number of characters of the text", StringLength},
    {"str-compare", " <lexeme-expression> <lexeme-expression>", 2, 2,
     "Compares by character code: returns a negative number, 0 or a positive number", StringCompare},
    {"str-index", " <lexeme-expression> <lexeme-expression>", 2, 2,
     "Returns the position of the first text in the second, counted from 1, or FALSE", StringIndex},
    {"sub-string", " <start-integer-expression> <end-integer-expression> <lexeme-expression>", 3, 3,
     "Returns the characters from start to end, counted from 1, as a string", SubString},
    {"lowcase", " <lexeme-expression>", 1, 1, "Returns the text in lower case", ChangeCase<QDLowerCase>},
    {"upcase", " <lexeme-expression>", 1, 1, "Returns the text in upper case", ChangeCase<QDUpperCase>},
    {"str-format", " <string-expression> <expression>*", 2, kAny,
     "Returns the values formatted under the control of a text, as format prints them", StringFormat},
};

}  // namespace

const TClassInfo& TStringPackage::StaticClass() noexcept {
  static const TClassInfo info{"TStringPackage", &TUserPackage::StaticClass(), nullptr, &NewPackage<TStringPackage>};
  return info;
}

void TStringPackage::CreateFunctions() {
  TUserPackage::CreateFunctions();
  AddBuiltins(*this, kStringFunctions);
}

}  // namespace kb
