#include "kb/language/KBStreamToken.h"

#include "kb/common/Helpers.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBContext.h"
#include "kb/values/KBValue.h"

namespace kb {

namespace {

constexpr std::string_view kEofText = "EOF";
constexpr int kTypeBits = 0x7F;

/// A name of question marks alone is what a text read in the wrong encoding turns into.
bool IsOnlyQuestionMarks(std::string_view name) {
  return name.size() > 1 && name.find_first_not_of('?') == std::string_view::npos;
}

// A token carries all numbers as a double; addresses of today's machines fit into one exactly.
double AddressToNumber(const void* address) { return static_cast<double>(reinterpret_cast<uintptr_t>(address)); }

void* NumberToAddress(double number) {
  constexpr double kLimit = 9007199254740992.0;  // 2^53: beyond it a double is no exact address
  if (!(number >= 0 && number < kLimit)) return nullptr;
  return reinterpret_cast<void*>(static_cast<uintptr_t>(number));
}

}  // namespace

bool TKBStreamToken::IsValue() const noexcept {
  switch (dataType_) {
    case dtAtom:
    case dtString:
    case dtInteger:
    case dtFloat:
    case dtVariable:
    case dtMultiVariable:
      return true;
    default:
      return false;
  }
}

void TKBStreamToken::Assign(const TKBStreamToken& source) {
  dataType_ = source.dataType_;
  lineNumber_ = source.lineNumber_;
  number_ = source.number_;
  text_ = source.text_;
  tag_ = source.tag_;
}

IStreamToken TKBStreamToken::Clone() const {
  IStreamToken copy = MakeRef<TKBStreamToken>();
  copy->Assign(*this);
  return copy;
}

bool TKBStreamToken::Equals(const TKBStreamToken* other) const noexcept {
  return other != nullptr && dataType_ == other->dataType_ && lineNumber_ == other->lineNumber_ &&
         number_ == other->number_;
}

void TKBStreamToken::AppendTo(std::string& text) const {
  switch (dataType_) {
    case dtString:
      text.append("\\\"").append(text_.View()).append("\"\\");
      return;
    case dtInteger:
      text += IntegerToString(TruncateToInt32(number_));
      return;
    case dtFloat: {
      char digits[kFloatBuffer];
      text.append(digits, FloatToBuffer(number_, digits));
      return;
    }
    case dtVariable:
      text.append("?").append(text_.View());
      return;
    case dtMultiVariable:
      text.append("$?").append(text_.View());
      return;
    default:
      if (text_.Empty()) {
        AppendCodePoint(text, static_cast<char32_t>(dataType_));
      } else {
        text.append(text_.View());
      }
  }
}

std::string TKBStreamToken::ToString() const {
  std::string text;
  AppendTo(text);
  return text;
}

// The truth values and nil are compared by identity all over the system, so they must be the shared ones.
IKBValue TKBStreamToken::AtomValue() const {
  const std::string_view text = text_.View();
  if (text == FCTrue->TextView()) return FCTrue;
  if (text == FCFalse->TextView()) return FCFalse;
  if (SameText(text, "nil")) return FCNil;
  return MakeAtom(text_);
}

IKBValue TKBStreamToken::Value() const {
  switch (dataType_) {
    case dtAtom:
      return AtomValue();
    case dtString:
    case dtVariable:
    case dtMultiVariable:
    case dtSlot:
    case dtMultiSlot:
      return MakeRef<TKBValue>(text_, static_cast<TKBType>(dataType_));
    case dtInteger:
    case dtFactId:
    case dtDescriptor:
      return MakeRef<TKBValue>(TruncateToInt32(number_), static_cast<TKBType>(dataType_));
    case dtFloat:
      return MakeFloat(number_);
    case dtObject:
      return MakeRef<TKBValue>(static_cast<TObject*>(NumberToAddress(number_)), false);
    case dtExternalAddress: {
      IKBValue value = MakeRef<TKBValue>();
      value->SetAsExternalAddress(NumberToAddress(number_));
      return value;
    }
    default:
      if (dataType_ == dtNone && text_ == kEofText) return FCEOF;
      return MakeString(IntegerToString(dataType_));
  }
}

IKBValue TKBStreamToken::Value(TKBContext* context) const {
  if (context == nullptr || !IsVariable()) return Value();
  const TBinding* binding = context->FindBinding(text_);
  if (binding != nullptr && binding->GetValue()) return binding->GetValue();
  const TKBMessage message =
      IsOnlyQuestionMarks(text_.View()) ? TKBMessage::InvalidVariableName : TKBMessage::UnknownVariable;
  throw EKBException(message, {text_.ToString()});
}

void TKBStreamToken::SetValue(const TKBValue& value) {
  const TKBType type = value.GetDType();
  dataType_ = static_cast<int>(type) & kTypeBits;
  if (KBStringTypes.Has(type)) {
    text_ = value.GetAsString();
  } else if (KBIntegerTypes.Has(type) || type == dtFloat) {
    number_ = value.GetAsNumeric();
  } else if (type == dtObject) {
    number_ = AddressToNumber(value.GetAsObject());
  } else if (type == dtExternalAddress) {
    number_ = AddressToNumber(value.GetAsExternalAddress());
  }
}

}  // namespace kb
