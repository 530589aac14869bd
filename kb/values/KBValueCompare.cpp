// What a value shows of itself: conversions, comparison, hashing, printing.
//
// Two things run for each fact that is asserted and must not build texts: the hash of the printed form, which
// is put together from the hashes of its parts (kb/common/Hash.h), and the question whether two values print
// alike. Both take the short road for symbols, strings, numbers and lists of them, and agree with ToString in
// every case. What descends into nested values checks the stack first.
//
// Tested in tests/values/KBValueTest.cpp.
#include <bit>
#include <charconv>
#include <cmath>

#include "kb/common/Helpers.h"
#include "kb/functions/KBPackages.h"
#include "kb/platform/StackGuard.h"
#include "kb/values/Fact.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBContext.h"
#include "kb/values/KBFuzzyInterfaces.h"
#include "kb/values/KBHelperFunctions.h"
#include "kb/values/KBValue.h"
#include "kb/values/LosslessText.h"
#include "kb/values/ValueVector.h"

namespace kb {
namespace {

constexpr std::string_view kUnknownText = "<UNKNOWN>";

/// Decimal text in a buffer of the caller.
[[nodiscard]] std::string_view IntegerText(int64_t value, char (&buffer)[24]) noexcept {
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return {buffer, static_cast<size_t>(result.ptr - buffer)};
}

[[nodiscard]] std::string_view FloatText(double value, char (&buffer)[kFloatBuffer]) noexcept {
  return {buffer, FloatToBuffer(value, buffer)};
}

[[nodiscard]] int64_t AddressNumber(const void* address) noexcept {
  return static_cast<int64_t>(reinterpret_cast<uintptr_t>(address));
}

[[nodiscard]] int32_t AddressHash(const void* address) noexcept {
  const auto bits = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(address));
  return static_cast<int32_t>(static_cast<uint32_t>(bits ^ (bits >> 32)));
}

/// Compares what two references lead to, either of which may be null.
template <class T>
[[nodiscard]] bool TargetsEqual(const T* a, const T* b) {
  if (a == b) return true;
  if (a == nullptr || b == nullptr) return false;
  CheckStack();
  return a->Equals(b);
}

}  // namespace

// ---- conversions

void TKBValue::RaiseNotA(std::string_view word) const {
  throw EKBException(TKBMessage::NotAType, {std::string(word), ToString(), std::string(GetKBTypeName(type_))});
}

TKBText TKBValue::SharedText() const noexcept {
  TKBText::RetainRep(content_.text);
  return TKBText::Adopt(content_.text);
}

std::string_view TKBValue::TextView() const noexcept {
  if (!KBStringTypes.Has(type_) || content_.text == nullptr) return {};
  return {content_.text->Chars(), content_.text->length};
}

TValueVector* TKBValue::ListOrNull() const noexcept {
  return type_ == dtList ? static_cast<TValueVector*>(content_.reference) : nullptr;
}

TFunctionCall* TKBValue::FunCallOrNull() const noexcept {
  return type_ == dtFunCall ? static_cast<TFunctionCall*>(content_.reference) : nullptr;
}

TBindingInfo* TKBValue::BindingInfoOrNull() const noexcept {
  return bindingInfo_ ? static_cast<TBindingInfo*>(content_.object) : nullptr;
}

TKBText TKBValue::GetAsString() const {
  if (KBStringTypes.Has(type_)) return SharedText();
  char integer[24];
  char number[kFloatBuffer];
  switch (type_) {
    case dtInteger:
      return TKBText(IntegerText(content_.integer, integer));
    case dtFloat:
      return TKBText(FloatText(content_.number, number));
    case dtFuzzy:
      return TKBText(ToString());
    default:
      RaiseNotA("string");
  }
}

int32_t TKBValue::GetAsInteger() const {
  switch (type_) {
    case dtInteger:
    case dtFactId:
    case dtDescriptor:
      return content_.integer;
    case dtExternalAddress:
      return static_cast<int32_t>(static_cast<uint32_t>(AddressNumber(content_.address)));
    case dtFloat:
      return TruncateToInt32(content_.number);
    case dtAtom:
    case dtString:
      if (const auto integer = ParseInteger(TextView())) return *integer;
      if (const auto number = ParseFloat(TextView())) return TruncateToInt32(*number);
      break;
    case dtFuzzy:
      if (content_.reference != nullptr) return RoundToInt32(GetAsFuzzy()->Crisp());
      break;
    default:
      break;
  }
  RaiseNotA("integer");
}

double TKBValue::GetAsNumeric() const {
  switch (type_) {
    case dtFloat:
      return content_.number;
    case dtInteger:
    case dtFactId:
    case dtDescriptor:
      return content_.integer;
    case dtAtom:
    case dtString:
      if (this == FCNil.Get()) return 0.0;
      if (const auto number = ParseFloat(TextView())) return *number;
      break;
    case dtFuzzy:
      if (content_.reference != nullptr) return GetAsFuzzy()->Crisp();
      break;
    default:
      break;
  }
  RaiseNotA("numeric");
}

int32_t TKBValue::GetAsDescriptor() const {
  if (type_ != dtDescriptor) RaiseNotA("descriptor");
  return content_.integer;
}

void* TKBValue::GetAsExternalAddress() const {
  if (type_ == dtObject) return ObjectOrNull();
  if (type_ != dtExternalAddress) RaiseNotA("External Address");
  return content_.address;
}

int32_t TKBValue::GetAsFactId() const {
  if (type_ == dtInteger || type_ == dtFactId) return content_.integer;
  if (type_ != dtFloat) RaiseNotA("fact id");
  return TruncateToInt32(content_.number);
}

IFact TKBValue::GetAsFact() const {
  if (type_ != dtFact) RaiseNotA("fact");
  return IFact(static_cast<TFact*>(content_.reference));
}

IFunCall TKBValue::GetAsFunCall() const {
  if (type_ != dtFunCall) RaiseNotA("function call");
  return IFunCall(FunCallOrNull());
}

IValueVector TKBValue::GetAsList() const {
  if (type_ != dtList) RaiseNotA("list");
  return IValueVector(ListOrNull());
}

TObject* TKBValue::GetAsObject() const {
  if (type_ != dtObject) RaiseNotA("object");
  return ObjectOrNull();
}

const TClassInfo* TKBValue::GetAsClass() const {
  if (type_ != dtClass) RaiseNotA("class");
  return content_.classInfo;
}

Ref<IFuzzySet> TKBValue::GetAsFuzzy() const {
  if (type_ != dtFuzzy) RaiseNotA("fuzzy value");
  return Ref<IFuzzySet>(static_cast<IFuzzySet*>(content_.reference));
}

ISingletonsVector TKBValue::GetAsSingletons() const {
  if (type_ != dtSingletons) RaiseNotA("singletons");
  return ISingletonsVector(static_cast<TSingletonsVector*>(content_.reference));
}

// ---- comparison

bool TKBValue::Equals(const TKBValue* other) const {
  if (other == this) return true;
  if (other == nullptr) return false;
  if (type_ != other->type_ && type_ != dtFuzzy) return other->type_ == dtFuzzy && other->Equals(this);
  switch (type_) {
    case dtNone:
      return true;
    case dtInteger:
    case dtFactId:
    case dtDescriptor:
      return content_.integer == other->content_.integer;
    case dtFloat:
      return FloatEquals(content_.number, other->content_.number, kFloatTolerance);
    case dtFunCall:
      return TargetsEqual(FunCallOrNull(), other->FunCallOrNull());
    case dtFact:
      return TargetsEqual(GetAsFact().Get(), other->GetAsFact().Get());
    case dtList:
      return TargetsEqual(ListOrNull(), other->ListOrNull());
    case dtSingletons:
      return TargetsEqual(GetAsSingletons().Get(), other->GetAsSingletons().Get());
    case dtObject:
      return content_.object == other->content_.object;
    case dtClass:
      return content_.classInfo == other->content_.classInfo;
    case dtExternalAddress:
      return content_.address == other->content_.address;
    case dtFuzzy: {
      const Ref<IFuzzySet> set = GetAsFuzzy();
      return set ? set->Equals(*other) : other->type_ == dtFuzzy && !other->GetAsFuzzy();
    }
    default:
      return TKBText::SameText(content_.text, other->content_.text);
  }
}

/// `other` takes this value's type; so the answer depends on the side: 1 takes 1.9 for 1, 1.9 does not take 1
/// for 1.9.
bool TKBValue::EqualsStar(const TKBValue* other) const {
  if (other == nullptr) return false;
  if (type_ == dtFunCall && other->type_ != dtFunCall) return false;
  if (type_ != dtFuzzy && other->type_ == dtFuzzy) return other->EqualsStar(this);
  switch (type_) {
    case dtNone:
      return other->type_ == dtNone || other->GetAsString().Empty();
    case dtInteger:
    case dtFactId:
    case dtDescriptor:
      return content_.integer == other->GetAsInteger();
    case dtFloat:
      return FloatEquals(content_.number, other->GetAsFloat(), kFloatTolerance);
    case dtFunCall:
      return TargetsEqual(FunCallOrNull(), other->FunCallOrNull());
    case dtFact:
      return TargetsEqual(GetAsFact().Get(), other->GetAsFact().Get());
    case dtList:
      return TargetsEqual(ListOrNull(), other->GetAsList().Get());
    case dtObject:
      if (other->type_ != dtObject) other->RaiseNotA("object");
      return content_.object == other->content_.object;
    case dtExternalAddress:
      return content_.address == other->GetAsExternalAddress();
    case dtSingletons:
    case dtClass:
    case dtFuzzy:
      return Equals(other);
    default:
      return other->type_ == dtNone ? TextView().empty() : SharedText() == other->GetAsString();
  }
}

int32_t TKBValue::GetOtherHashCode() const {
  const auto hashOf = [](const auto& object) {
    CheckStack();
    return object ? object->GetHashCode() : 0;
  };
  switch (type_) {
    case dtNone:
      return 0;
    case dtFactId:
    case dtDescriptor:
      return content_.integer;
    case dtFloat:
    case dtExternalAddress:
      return GetAsInteger();
    case dtFunCall:
      return hashOf(FunCallOrNull());
    case dtFact:
      return hashOf(GetAsFact());
    case dtList:
      return hashOf(ListOrNull());
    case dtSingletons:
      return hashOf(GetAsSingletons());
    case dtObject:
      return AddressHash(content_.object);
    case dtClass:
      return AddressHash(content_.classInfo);
    default:
      return GetAsString().Hash();
  }
}

// ---- printing

// What differs when the text is to be read back. What has no text in the language becomes nil.
std::string TKBValue::GetLosslessString() const {
  switch (type_) {
    case dtAtom:
      return LosslessAtom(TextView());
    case dtFloat:
      return LosslessFloat(content_.number);
    case dtVariable:
      return "?" + LosslessName(TextView());
    case dtMultiVariable:
      return "$?" + LosslessName(TextView());
    case dtFactId:
    case dtDescriptor:
      return IntegerToString(content_.integer);
    case dtNone:
    case dtObject:
    case dtExternalAddress:
      return "nil";
    default:
      return {};
  }
}

std::string TKBValue::GetToString() const {
  if (TLosslessText::IsOn()) {
    if (std::string text = GetLosslessString(); !text.empty()) return text;
  }
  switch (type_) {
    case dtNone:
      return {};
    case dtAtom:
    case dtSlot:
    case dtMultiSlot:
      return std::string(TextView());
    case dtString:
      return EscapedString(TextView());
    case dtInteger:
      return IntegerToString(content_.integer);
    case dtVariable:
      return "?" + std::string(TextView());
    case dtMultiVariable:
      return "$?" + std::string(TextView());
    case dtFactId:
      return "<Fact-" + IntegerToString(content_.integer) + ">";
    case dtFloat:
      return FloatToString(content_.number);
    case dtClass:
      return content_.classInfo != nullptr ? std::string(content_.classInfo->name) : std::string();
    case dtExternalAddress:
      return "<External-Address: " + IntegerToString(AddressNumber(content_.address)) + ">";
    case dtObject: {
      if (content_.object == nullptr) return {};
      const std::string name(ObjectClass()->name);
      const TBindingInfo* binding = BindingInfoOrNull();
      return binding != nullptr ? "<" + name + ": " + binding->ToString() + ">" : "<Object: " + name + ">";
    }
    case dtDescriptor:
      return std::string(kUnknownText);
    default:
      break;
  }
  const auto textOf = [](const auto& object) { return object ? object->ToString() : std::string(); };
  CheckStack();
  if (type_ == dtFunCall) return textOf(FunCallOrNull());
  if (type_ == dtFact) return textOf(GetAsFact());
  if (type_ == dtList) return textOf(ListOrNull());
  return type_ == dtSingletons ? textOf(GetAsSingletons()) : textOf(GetAsFuzzy());
}

TTextHash TKBValue::PrintedHash() const {
  char integer[24];
  char number[kFloatBuffer];
  switch (type_) {
    case dtNone:
      return {};
    case dtAtom:
    case dtSlot:
    case dtMultiSlot:
      return SharedText().FullHash();
    case dtString: {
      const TKBText text = SharedText();
      if (text.NeedsEscape()) break;
      constexpr TTextHash quote(std::string_view("\""));
      return quote + text.FullHash() + quote;
    }
    case dtVariable:
      return TTextHash("?") + SharedText().FullHash();
    case dtMultiVariable:
      return TTextHash("$?") + SharedText().FullHash();
    case dtInteger:
      return TTextHash(IntegerText(content_.integer, integer));
    case dtFactId:
      return TTextHash("<Fact-") + TTextHash(IntegerText(content_.integer, integer)) + TTextHash(">");
    case dtFloat:
      return TTextHash(FloatText(content_.number, number));
    case dtList:
      return ListOrNull() != nullptr ? ListOrNull()->PrintedHash() : TTextHash();
    default:
      break;
  }
  return TTextHash(ToString());
}

bool TKBValue::PrintsLike(const TKBValue& other) const {
  if (&other == this) return true;
  if (type_ == other.type_) {
    switch (type_) {
      case dtNone:
        return true;
      case dtInteger:
      case dtFactId:
        return content_.integer == other.content_.integer;
      case dtFloat: {
        if (std::bit_cast<uint64_t>(content_.number) == std::bit_cast<uint64_t>(other.content_.number)) return true;
        char mine[kFloatBuffer];
        char others[kFloatBuffer];
        return FloatText(content_.number, mine) == FloatText(other.content_.number, others);
      }
      case dtList:
        if (content_.reference == other.content_.reference) return true;
        break;
      default:
        if (KBStringTypes.Has(type_)) return SharedText() == other.SharedText();
    }
  }
  // Different values seldom print alike, and their hashes tell nearly all of them apart without a text.
  return PrintedHash().value == other.PrintedHash().value && ToString() == other.ToString();
}

}  // namespace kb
