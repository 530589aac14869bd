#include "kb/fuzzy/FuzzyWords.h"

namespace kb {
namespace {

constexpr std::string_view kAnd = "and";
constexpr std::string_view kOr = "or";

struct TOperatorWord {
  std::string_view word;
  TBaseFuzzyHedge base;
  bool flag;
};

constexpr TOperatorWord kOperatorWords[] = {
    {"raised-to", bfhPower, true},   {"rooted-by", bfhPower, false}, {"scaled-by", bfhScale, true},
    {"divided-by", bfhScale, false}, {"shifted-by", bfhShift, true}, {"shifted-back-by", bfhShift, false},
    {"cut-below", bfhCut, true},     {"cut-above", bfhCut, false},   {"limited-to", bfhLimit, true},
    {"at-least", bfhLimit, false},
};

template <size_t Count, class Member>
bool FindWord(const std::array<std::string_view, Count>& words, std::string_view text, Member& member) noexcept {
  for (size_t i = 0; i < Count; ++i) {
    if (words[i] != text) continue;
    member = static_cast<Member>(i);
    return true;
  }
  return false;
}

}  // namespace

std::string FuzzyOperationNameList() {
  std::string list;
  for (const std::string_view name : FuzzyOperationNames) {
    if (!list.empty()) list += ", ";
    if (name == FuzzyOperationNames.back()) list += "or ";
    list += name;
  }
  return list;
}

bool IsFuzzyOperation(std::string_view text, TFuzzyOperation& operation) noexcept {
  return FindWord(FuzzyOperationNames, text, operation);
}
bool IsFuzzyCorrelation(std::string_view text, TFuzzyCorrelationMethod& method) noexcept {
  return FindWord(FuzzyCorrelationNames, text, method);
}
bool IsFuzzyInference(std::string_view text, TFuzzyInferenceMethod& method) noexcept {
  return FindWord(FuzzyInferenceNames, text, method);
}
bool IsFuzzyHedge(std::string_view text, TFuzzyHedge& hedge) noexcept { return FindWord(FuzzyHedgeNames, text, hedge); }

bool IsFuzzyHedgeOperator(std::string_view text, TBaseFuzzyHedge& base, bool& flag) noexcept {
  for (const TOperatorWord& entry : kOperatorWords) {
    if (entry.word != text) continue;
    base = entry.base;
    flag = entry.flag;
    return true;
  }
  return false;
}

bool IsFuzzyKeyword(std::string_view text, bool& isUnion, TFuzzyOperation& operation) noexcept {
  const bool ors = text.ends_with(kOr);
  if (!ors && !text.ends_with(kAnd)) return false;
  std::string_view name = text.substr(0, text.size() - (ors ? kOr : kAnd).size());
  TFuzzyOperation found = foZadeh;
  if (!name.empty()) {
    if (!name.ends_with('-')) return false;
    name.remove_suffix(1);
    if (!IsFuzzyOperation(name, found)) return false;
  }
  isUnion = ors;
  operation = found;
  return true;
}

bool IsFuzzyWord(std::string_view text) noexcept {
  TFuzzyHedge hedge{};
  TBaseFuzzyHedge base{};
  TFuzzyOperation operation{};
  bool flag = false;
  return text == "[" || text == "]" || IsFuzzyHedge(text, hedge) || IsFuzzyHedgeOperator(text, base, flag) ||
         IsFuzzyKeyword(text, flag, operation);
}

std::string_view FuzzyHedgeOperatorName(TBaseFuzzyHedge base, bool flag) noexcept {
  for (const TOperatorWord& entry : kOperatorWords) {
    if (entry.base == base && entry.flag == flag) return entry.word;
  }
  return {};
}

std::string FuzzyKeyword(bool isUnion, TFuzzyOperation operation) {
  const std::string_view word = isUnion ? kOr : kAnd;
  if (operation == foZadeh) return std::string(word);
  return std::string(FuzzyOperationNames[operation]) + "-" + std::string(word);
}

}  // namespace kb
