// The lists of allowed values of a defined type: one for each kind of value, in force while its kind is in
// the set of constraints, even when it is empty. Lists are short and searched from the front.
//
// Tested in tests/values/KBDefinedTypeTest.cpp.
#include <algorithm>

#include "kb/common/Helpers.h"
#include "kb/platform/Exceptions.h"
#include "kb/values/KBConsts.h"
#include "kb/values/KBDefinedType.h"
#include "kb/values/KBHelperFunctions.h"

namespace kb {
namespace {

constexpr TValueConstraint kKinds[] = {vcAtom, vcString, vcInteger, vcFloat};
constexpr TKBType kTypes[] = {dtAtom, dtString, dtInteger, dtFloat};

/// "Atom", "String", "Integer", "Float".
[[nodiscard]] std::string KindName(TValueConstraint kind) { return std::string(GetKBTypeName(kTypes[kind]).substr(2)); }

template <class T>
[[nodiscard]] const T& ElementAt(const std::vector<T>& list, int index) {
  CheckListIndex(index, static_cast<long long>(list.size()));
  return list[static_cast<size_t>(index)];
}

template <class T, class Match>
[[nodiscard]] int IndexWhere(const std::vector<T>& list, Match match) {
  const auto found = std::find_if(list.begin(), list.end(), match);
  return found == list.end() ? -1 : static_cast<int>(found - list.begin());
}

}  // namespace

void TKBDefinedType::RaiseNoConstraints(TValueConstraint kind) const {
  throw EKBException(TKBMessage::NoTypeConstraints, {name_, KindName(kind)});
}

void TKBDefinedType::RaiseCannotContain(const TKBValue& value) const {
  throw EKBException(TKBMessage::CannotContainConstraint,
                     {name_, std::string(GetKBTypeName(value.GetDType()).substr(2))});
}

void TKBDefinedType::CheckConstraint(TValueConstraint kind) const {
  if (!constraints_.Has(kind)) RaiseNoConstraints(kind);
}

void TKBDefinedType::SetConstraints(TValueConstraints kinds) {
  if (kinds == constraints_) return;
  for (TValueConstraint kind : kKinds) {
    if (!kinds.Has(kind)) DropConstraint(kind);
  }
  constraints_ = kinds;
  Change();
}

bool TKBDefinedType::DropConstraint(TValueConstraint kind) {
  if (!constraints_.Has(kind)) return false;
  constraints_ -= kind;
  switch (kind) {
    case vcAtom:
      atoms_.clear();
      break;
    case vcString:
      strings_.clear();
      break;
    case vcInteger:
      integers_.clear();
      break;
    case vcFloat:
      floats_.clear();
      break;
  }
  return true;
}

void TKBDefinedType::ClearConstraint(TValueConstraint kind) {
  if (DropConstraint(kind)) Change();
}

void TKBDefinedType::ClearConstraints() { SetConstraints({}); }
void TKBDefinedType::ClearConstraints(TValueConstraints kinds) { SetConstraints(constraints_ - kinds); }

const std::string& TKBDefinedType::GetConstraintAtom(int index) const {
  CheckConstraint(vcAtom);
  return ElementAt(atoms_, index);
}

const std::string& TKBDefinedType::GetConstraintString(int index) const {
  CheckConstraint(vcString);
  return ElementAt(strings_, index);
}

int32_t TKBDefinedType::GetConstraintInteger(int index) const {
  CheckConstraint(vcInteger);
  return ElementAt(integers_, index);
}

double TKBDefinedType::GetConstraintFloat(int index) const {
  CheckConstraint(vcFloat);
  return ElementAt(floats_, index);
}

int TKBDefinedType::GetConstraintCount(TValueConstraint kind) const noexcept {
  switch (kind) {
    case vcAtom:
      return GetConstraintAtomsCount();
    case vcString:
      return GetConstraintStringsCount();
    case vcInteger:
      return GetConstraintIntegersCount();
    default:
      return GetConstraintFloatsCount();
  }
}

TValueConstraint TKBDefinedType::GetValueConstraint(const TKBValue& value) const {
  for (TValueConstraint kind : kKinds) {
    if (value.Is(kTypes[kind])) return kind;
  }
  RaiseCannotContain(value);
}

/// Place of the value in the list of its kind, or -1.
int TKBDefinedType::IndexOfConstraint(const TKBValue& value, TValueConstraint kind) const {
  const auto sameText = [&](const std::string& entry) { return SameText(entry, value.TextView()); };
  switch (kind) {
    case vcAtom:
      return IndexWhere(atoms_, sameText);
    case vcString:
      return IndexWhere(strings_, sameText);
    case vcInteger:
      return IndexWhere(integers_, [&](int32_t entry) { return entry == value.GetAsInteger(); });
    default:
      return IndexWhere(floats_, [&](double entry) { return FloatEquals(entry, value.GetAsFloat(), kFloatTolerance); });
  }
}

void TKBDefinedType::AddConstraint(const TKBValue& value) {
  const TValueConstraint kind = GetValueConstraint(value);
  if (!constraints_.Has(kind)) RaiseCannotContain(value);
  if (IndexOfConstraint(value, kind) >= 0) return;
  switch (kind) {
    case vcAtom:
      atoms_.emplace_back(value.TextView());
      break;
    case vcString:
      strings_.emplace_back(value.TextView());
      break;
    case vcInteger:
      integers_.push_back(value.GetAsInteger());
      break;
    case vcFloat:
      floats_.push_back(value.GetAsFloat());
      break;
  }
  Change();
}

void TKBDefinedType::EraseConstraint(int index, TValueConstraint kind) {
  switch (kind) {
    case vcAtom:
      atoms_.erase(atoms_.begin() + index);
      break;
    case vcString:
      strings_.erase(strings_.begin() + index);
      break;
    case vcInteger:
      integers_.erase(integers_.begin() + index);
      break;
    case vcFloat:
      floats_.erase(floats_.begin() + index);
      break;
  }
  Change();
}

void TKBDefinedType::RemoveConstraint(const TKBValue& value) {
  TValueConstraint kind = vcAtom;
  if (IsConstraint(value, kind)) EraseConstraint(IndexOfConstraint(value, kind), kind);
}

void TKBDefinedType::DeleteConstraint(int index, TValueConstraint kind) {
  CheckConstraint(kind);
  CheckListIndex(index, GetConstraintCount(kind));
  EraseConstraint(index, kind);
}

bool TKBDefinedType::IsConstraint(const TKBValue& value, TValueConstraint& kind) const {
  const auto* found = std::find(std::begin(kTypes), std::end(kTypes), value.GetDType());
  if (found == std::end(kTypes)) return false;
  kind = kKinds[found - std::begin(kTypes)];
  return constraints_.Has(kind) && IndexOfConstraint(value, kind) >= 0;
}

std::string TKBDefinedType::ConstraintToString(TValueConstraint kind) const {
  std::string result;
  const auto add = [&](const std::string& text) { result += text + " "; };
  switch (kind) {
    case vcAtom:
      for (const std::string& atom : atoms_) add(MakeAtom(atom)->ToString());
      break;
    case vcString:
      for (const std::string& text : strings_) add(MakeString(text)->ToString());
      break;
    case vcInteger:
      for (int32_t integer : integers_) add(IntegerToString(integer));
      break;
    case vcFloat:
      for (double number : floats_) add(MakeFloat(number)->ToString());
      break;
  }
  return result;
}

std::string TKBDefinedType::GetAllowedString() const {
  const auto listed = [this](TValueConstraint kind) {
    return constraints_.Has(kind) ? ConstraintToString(kind) : std::string();
  };
  const std::string texts = listed(vcAtom) + listed(vcString);
  const std::string numbers = listed(vcInteger) + listed(vcFloat);
  const std::string lineEnd(kLineEnd);
  const std::string open = std::string(IndentString) + "(allowed-";
  if (constraints_ == TValueConstraints{vcAtom, vcString, vcInteger, vcFloat}) {
    return open + "values " + texts + numbers + ")" + lineEnd;
  }
  // The word that says which of two kinds are limited.
  const auto word = [this](TValueConstraint a, TValueConstraint b, const char* both, const char* first,
                           const char* second) {
    if (constraints_.Has(a) && constraints_.Has(b)) return both;
    return constraints_.Has(a) ? first : second;
  };
  std::string result;
  if (constraints_.Has(vcInteger) || constraints_.Has(vcFloat)) {
    result += open + word(vcInteger, vcFloat, "numbers ", "integers ", "floats ") + numbers + ") " + lineEnd;
  }
  if (constraints_.Has(vcAtom) || constraints_.Has(vcString)) {
    result += open + word(vcAtom, vcString, "lexemes ", "symbols ", "strings ") + texts + ")" + lineEnd;
  }
  return result;
}

}  // namespace kb
