#include "kb/values/KBHelperFunctions.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>

#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/fuzzy/FuzzyExpression.h"
#include "kb/platform/Exceptions.h"
#include "kb/values/Fact.h"
#include "kb/values/FactTemplate.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBDefinedType.h"
#include "kb/values/KBValue.h"
#include "kb/values/ValueVector.h"

// Tested in tests/values/KBHelperFunctionsTest.cpp.

namespace kb {
namespace {

constexpr auto kTypeNames = std::to_array<std::string_view>(
    {"dtNone", "dtAtom", "dtString", "dtInteger", "dtVariable", "dtFactId", "dtFloat", "dtFunCall", "dtFact", "dtList",
     "dtDescriptor", "dtObject", "dtClass", "dtExternalAddress", "dtSingletons", "dtFuzzy", "dtMultiVariable", "dtSlot",
     "dtMultiSlot"});
static_assert(kTypeNames.size() == kKBTypeCount);

constexpr std::string_view kLineEndSpecifier = "%n";
constexpr std::string_view kSpecifierCharacters = "%-0123456789.";

/// One conversion of a control string; -1 where width or precision are not written.
struct TConversion {
  bool left = false;
  bool zeros = false;
  int width = -1;
  int precision = -1;
  char letter = 0;
};

[[nodiscard]] int ReadNumber(std::string_view text, size_t& at) {
  int64_t number = -1;
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
    number = std::max<int64_t>(number, 0) * 10 + (text[at] - '0');
    if (number > kMaxFormatWidth) {
      throw EConvertError("Width or precision of a format is too large: " + std::string(text));
    }
  }
  return static_cast<int>(number);
}

/// Reads a conversion behind its "%"; false when another "%" stands in its way.
[[nodiscard]] bool ReadConversion(std::string_view text, size_t& at, TConversion& conversion) {
  for (; at < text.size() && (text[at] == '-' || text[at] == '0'); ++at) {
    (text[at] == '-' ? conversion.left : conversion.zeros) = true;
  }
  conversion.width = ReadNumber(text, at);
  if (at < text.size() && text[at] == '.') {
    ++at;
    conversion.precision = std::max(ReadNumber(text, at), 0);
  }
  if (at + 1 != text.size()) return false;
  conversion.letter = text[at++];
  return true;
}

/// Pads to the width, counted in characters. With zeros they stand behind the sign.
[[nodiscard]] std::string Pad(std::string text, const TConversion& conversion, bool zeros) {
  const size_t length = CodePointCount(text);
  const auto width = static_cast<size_t>(std::max(conversion.width, 0));
  if (length >= width) return text;
  if (conversion.left) return text.append(width - length, ' ');
  const size_t sign = zeros && !text.empty() && text[0] == '-' ? 1 : 0;
  return text.insert(sign, width - length, zeros ? '0' : ' ');
}

[[nodiscard]] std::string FormatWhole(const TKBValue& value, const TConversion& conversion) {
  const int32_t number = value.GetAsInteger();
  char buffer[16];
  const auto result = conversion.letter == 'd'
                          ? std::to_chars(buffer, buffer + sizeof buffer, number)
                          : std::to_chars(buffer, buffer + sizeof buffer, static_cast<uint32_t>(number),
                                          conversion.letter == 'x' ? 16 : 10);
  std::string digits(buffer, result.ptr);
  const size_t sign = digits[0] == '-' ? 1 : 0;
  const auto wanted = static_cast<size_t>(std::max(conversion.precision, 0));
  if (digits.size() - sign < wanted) digits.insert(sign, wanted - (digits.size() - sign), '0');
  return Pad(std::move(digits), conversion, conversion.zeros && conversion.precision < 0);
}

/// Commas between the thousands of a decimal number.
void SeparateThousands(std::string& digits) {
  const size_t first = digits[0] == '-' ? 1 : 0;
  size_t at = std::min(digits.find('.'), digits.size());
  while (at > first + 3) {
    at -= 3;
    digits.insert(at, 1, ',');
  }
}

[[nodiscard]] std::string FormatReal(const TKBValue& value, const TConversion& conversion) {
  const double number = value.GetAsFloat();
  if (std::isnan(number)) return Pad("nan", conversion, false);
  std::chars_format form = std::chars_format::fixed;
  if (conversion.letter == 'e') form = std::chars_format::scientific;
  if (conversion.letter == 'g') form = std::chars_format::general;
  int precision = conversion.precision;
  if (precision < 0) precision = conversion.letter == 'm' ? 2 : 6;
  std::string digits(kFloatBuffer + static_cast<size_t>(precision), '\0');
  const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number, form, precision);
  digits.resize(static_cast<size_t>(result.ptr - digits.data()));
  const bool finite = std::isfinite(number);
  if (conversion.letter == 'm' && finite) SeparateThousands(digits);
  return Pad(std::move(digits), conversion, conversion.zeros && finite);
}

[[nodiscard]] std::string FormatAddress(const TKBValue& value, const TConversion& conversion) {
  char buffer[20];
  const auto number = reinterpret_cast<uintptr_t>(value.GetAsExternalAddress());
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, number, 16);
  std::string digits = QDUpperCase(std::string_view(buffer, static_cast<size_t>(result.ptr - buffer)));
  if (digits.size() < 8) digits.insert(0, 8 - digits.size(), '0');
  return Pad(std::move(digits), conversion, conversion.zeros);
}

[[nodiscard]] std::string FormatOne(const TKBValue& value, const TConversion& conversion) {
  switch (conversion.letter) {
    case 'd':
    case 'u':
    case 'x':
      return FormatWhole(value, conversion);
    case 'p':
      return FormatAddress(value, conversion);
    case 's': {
      std::string text = value.ToString();
      if (conversion.precision >= 0) {
        text.resize(CodePointOffset(text, static_cast<size_t>(conversion.precision)));
      }
      return Pad(std::move(text), conversion, false);
    }
    default:
      return FormatReal(value, conversion);
  }
}

/// Formats a text that ends with a conversion letter; "%%" gives one "%".
[[nodiscard]] std::string FormatSpecifier(std::string_view text, const TKBValue& value) {
  std::string result;
  for (size_t at = 0; at < text.size();) {
    if (text[at] != '%') {
      result += text[at++];
      continue;
    }
    if (text.substr(at, 2) == "%%") {
      result += '%';
      at += 2;
      continue;
    }
    const size_t begin = at++;
    TConversion conversion;
    result += ReadConversion(text, at, conversion) ? FormatOne(value, conversion)
                                                   : std::string(text.substr(begin, at - begin));
  }
  return result;
}

[[nodiscard]] std::string SurplusText(const TKBValue& value) {
  switch (value.GetDType()) {
    case dtString:
      return std::string(value.TextView());
    case dtFactId:
    case dtExternalAddress:
      return IntegerToString(value.GetAsInteger());
    case dtList:
      return "(" + value.ToString() + ")";
    default:
      return value.ToString();
  }
}

/// Puts one argument into the text. The first "%" counts wherever it comes from, an earlier argument included.
void FormatArgument(std::string& text, const TKBValue& value) {
  size_t begin = text.find('%');
  size_t end = 0;
  while (begin != std::string::npos) {
    end = std::min(text.find_first_not_of(kSpecifierCharacters, begin), text.size());
    if (end - begin != 1 || end == text.size() || text[end] != 'n') break;
    text.replace(begin, kLineEndSpecifier.size(), kLineEnd);
    begin = text.find('%', begin);
  }
  if (begin == std::string::npos) {
    text += " " + SurplusText(value);
    return;
  }
  if (end == text.size() || std::string_view("duxefgmps").find(text[end]) == std::string_view::npos) return;
  text = FormatSpecifier(std::string_view(text).substr(0, end + 1), value) + text.substr(end + 1);
}

}  // namespace

std::string_view GetKBTypeName(TKBType type) noexcept {
  return type < kKBTypeCount ? kTypeNames[type] : std::string_view();
}

std::string SetToString(TKBTypes types, std::string_view separator, bool brackets) {
  std::string result;
  for (int i = 0; i < kKBTypeCount; ++i) {
    const auto type = static_cast<TKBType>(i);
    if (!types.Has(type)) continue;
    if (!result.empty()) result += separator;
    result += GetKBTypeName(type).substr(2);
  }
  return brackets ? "[" + result + "]" : result;
}

std::string TypesForMessage(TKBTypes types) { return QDUpperCase(SetToString(types, ", ", false)); }

IKBValue CreateTypeDefault(TKBTypes types) {
  if (types.Has(dtAtom)) return MakeAtom("");
  if (types.Has(dtString)) return MakeString("");
  if (types.Has(dtInteger)) return MakeInteger(0);
  if (types.Has(dtFloat)) return MakeFloat(0.0);
  if (types.Has(dtObject)) return MakeRef<TKBValue>(static_cast<TObject*>(nullptr), false);
  if (types.Has(dtExternalAddress)) {
    auto result = MakeRef<TKBValue>();
    result->SetAsExternalAddress(nullptr);
    return result;
  }
  if (types.Has(dtFuzzy)) return FCNil;
  if (types.Has(dtFactId)) return MakeFactId(0);
  if (types.Has(dtFact)) return MakeRef<TKBValue>(IFact());
  if (types.Has(dtDescriptor)) return MakeRef<TKBValue>(0, dtDescriptor);
  if (types.Has(dtClass)) return MakeRef<TKBValue>(static_cast<const TClassInfo*>(nullptr));
  return MakeRef<TKBValue>();
}

Ref<IFuzzySet> GetFuzzySlot(const TFact& fact) {
  if (!fact.GetTemplate()) return nullptr;
  for (const TFactTemplate::TPlacedSlot& placed : fact.GetTemplate()->GetSortedSlots()) {
    if (!placed.slot->IsFuzzy()) continue;
    IKBValue value(fact.ValueAt(placed.position));
    if (const TValueVector* list = value->ListOrNull()) value = list->GetValueCount() > 0 ? list->Get(0) : FCNil;
    const IKBDefinedType& type = placed.slot->GetExtendedTypeInfo();
    if (KBNumericTypes.Has(value->GetDType()) && type && type->GetFuzzyType()) {
      value = TFuzzyExpression(type->GetFuzzyType()->Parser(), type->GetFuzzyType(), nullptr).Evaluate(value);
    }
    return value->GetAsFuzzy();
  }
  return nullptr;
}

Ref<IFuzzySet> GetFuzzySetFromValue(const IKBValue& value, TKBContext& context) {
  const IKBValue resolved = value ? value->Resolve(&context) : FCNil;
  if (!resolved->Is(dtInteger) && !resolved->Is(dtFactId) && !resolved->Is(dtFact)) {
    Ref<IFuzzySet> set = resolved->GetAsFuzzy();
    RequireObject(set, "fuzzy set");
    return set;
  }
  IFact fact = resolved->Is(dtFact) ? resolved->GetAsFact() : nullptr;
  if (!fact && context.GetEngine() != nullptr && !resolved->Is(dtFact)) {
    fact = context.GetEngine()->FindFact(resolved->GetAsFactId());
  }
  if (!fact) throw EKBException(TKBMessage::NoSuchFact, {resolved->ToString()});
  Ref<IFuzzySet> set = GetFuzzySlot(*fact);
  if (!set) throw EKBException(TKBMessage::NotFuzzyFact);
  return set;
}

std::string_view KBStringToString(std::string_view text) noexcept {
  const bool quoted = text.size() > 1 && text.front() == '"' && text.back() == '"';
  return quoted ? text.substr(1, text.size() - 2) : text;
}

std::string CLIPSFormat(std::string_view format, const std::vector<IKBValue>& args) {
  std::string result(format);
  for (const IKBValue& argument : args) FormatArgument(result, argument ? *argument : *FCNil);
  return ReplaceAll(result, kLineEndSpecifier, kLineEnd);
}

std::string CreateArgumentExpressions(std::string_view syntax, int min, int max, int limit) {
  std::string result;
  if (min > max || max == 0) return result;
  const int count = std::min(max, limit);
  size_t brackets = 0;
  for (int i = 0; i < count; ++i) {
    if (i >= min) {
      result += '[';
      ++brackets;
    }
    const size_t open = syntax.find('<');
    const size_t close = open == std::string_view::npos ? open : syntax.find('>', open);
    if (close == std::string_view::npos) {
      result += " <expression>";
      continue;
    }
    result += ' ';
    result += syntax.substr(open, close - open + 1);
    syntax.remove_prefix(close + 1);
  }
  result.append(brackets, ']');
  return std::string(TrimLeft(result));
}

}  // namespace kb
