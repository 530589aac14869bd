// Multifields and singletons.
//
// Elements are counted references, so copying a vector's handle shares it and Clone is what separates two: it
// makes new element objects, but a multifield inside an element is still shared, as for every clone of a
// value. The vector of the constant empty list is reachable from every engine of the process, hence the check
// before each change. Nested vectors may be deep, or hold themselves: whatever descends checks the stack.
//
// Tested in tests/values/ValueVectorTest.cpp.
#include "kb/values/ValueVector.h"

#include <algorithm>

#include "kb/common/Helpers.h"
#include "kb/platform/Exceptions.h"
#include "kb/platform/StackGuard.h"
#include "kb/values/KBConsts.h"

namespace kb {
namespace {

/// Two elements, either of which may be missing.
[[nodiscard]] bool ElementsEqual(const IKBValue& a, const IKBValue& b) { return a ? b && a->Equals(b.Get()) : !b; }

[[nodiscard]] IKBValue CloneElement(const IKBValue& value) { return value ? value->Clone() : IKBValue(); }

}  // namespace

void TValueVector::CheckMutable() const {
  if (IsImmortal()) throw EKBException(TKBMessage::SharedConstant);
}

const IKBValue& TValueVector::Get(int index) const {
  CheckListIndex(index, GetValueCount());
  return items_[static_cast<size_t>(index)];
}

void TValueVector::Put(int index, const IKBValue& value) {
  CheckMutable();
  CheckListIndex(index, GetValueCount());
  items_[static_cast<size_t>(index)] = value;
}

int TValueVector::Add(const IKBValue& value) {
  CheckMutable();
  items_.push_back(value);
  return GetValueCount() - 1;
}

void TValueVector::Insert(int index, const IKBValue& value) {
  CheckMutable();
  CheckListIndex(index, GetValueCount() + 1);
  items_.insert(items_.begin() + index, value);
}

void TValueVector::Delete(int index) {
  CheckMutable();
  CheckListIndex(index, GetValueCount());
  items_.erase(items_.begin() + index);
}

int TValueVector::Remove(const IKBValue& value) {
  const int index = IndexOf(value);
  if (index >= 0) Delete(index);
  return index;
}

int TValueVector::IndexOf(const IKBValue& value) const noexcept {
  const auto found = std::find(items_.begin(), items_.end(), value);
  return found == items_.end() ? -1 : static_cast<int>(found - items_.begin());
}

void TValueVector::Clear() {
  CheckMutable();
  items_.clear();
}

void TValueVector::Append(const TValueVector& other) {
  CheckMutable();
  // The count is taken first: a vector may be appended to itself.
  const size_t count = other.items_.size();
  items_.reserve(items_.size() + count);
  for (size_t i = 0; i < count; ++i) items_.push_back(other.items_[i]);
}

void TValueVector::Assign(const TValueVector& source) {
  CheckMutable();
  std::vector<IKBValue> items;
  items.reserve(source.items_.size());
  for (const IKBValue& value : source.items_) items.push_back(CloneElement(value));
  items_ = std::move(items);
  tag_ = source.tag_;
}

IValueVector TValueVector::Clone() const {
  auto result = MakeRef<TValueVector>();
  result->Assign(*this);
  return result;
}

bool TValueVector::Equals(const TValueVector* other) const {
  if (other == this) return true;
  if (other == nullptr || items_.size() != other->items_.size()) return false;
  CheckStack();
  return std::equal(items_.begin(), items_.end(), other->items_.begin(), ElementsEqual);
}

int32_t TValueVector::GetHashCode() const {
  CheckStack();
  uint32_t sum = 0;
  for (const IKBValue& value : items_) {
    if (value) sum += static_cast<uint32_t>(value->GetHashCode());
  }
  return static_cast<int32_t>(sum);
}

std::string TValueVector::ToString() const {
  CheckStack();
  std::string result;
  for (const IKBValue& value : items_) {
    if (value) result += value->ToString();
    result += ' ';
  }
  return result;
}

TTextHash TValueVector::PrintedHash() const {
  CheckStack();
  TTextHash result;
  for (const IKBValue& value : items_) {
    if (value) result = result + value->PrintedHash();
    result.Append(' ');
  }
  return result;
}

int TSingletonsVector::Add(const IKBValue& x, const IKBValue& y) {
  x_.Add(x);
  return y_.Add(y);
}

void TSingletonsVector::Insert(int index, const IKBValue& x, const IKBValue& y) {
  x_.Insert(index, x);
  y_.Insert(index, y);
}

void TSingletonsVector::Delete(int index) {
  x_.Delete(index);
  y_.Delete(index);
}

void TSingletonsVector::Clear() {
  x_.Clear();
  y_.Clear();
}

void TSingletonsVector::Append(const TSingletonsVector& other) {
  x_.Append(other.x_);
  y_.Append(other.y_);
}

void TSingletonsVector::Assign(const TSingletonsVector& source) {
  x_.Assign(source.x_);
  y_.Assign(source.y_);
  parser_ = source.parser_;
  tag_ = source.tag_;
}

ISingletonsVector TSingletonsVector::Clone() const {
  auto result = MakeRef<TSingletonsVector>(GetParser());
  result->Assign(*this);
  return result;
}

bool TSingletonsVector::Equals(const TSingletonsVector* other) const {
  if (other == this) return true;
  return other != nullptr && x_.Equals(&other->x_) && y_.Equals(&other->y_);
}

int32_t TSingletonsVector::GetHashCode() const {
  return static_cast<int32_t>(static_cast<uint32_t>(x_.GetHashCode()) + static_cast<uint32_t>(y_.GetHashCode()));
}

std::string TSingletonsVector::ToString() const {
  if (ISingletonsParser* parser = GetParser()) return parser->PrettyPrintSingletons(*this);
  const auto text = [](const IKBValue& value) { return value ? value->ToString() : std::string(); };
  std::string result;
  for (int i = 0; i < GetCount(); ++i) {
    result += "(" + text(GetXValues(i)) + " " + text(GetYValues(i)) + ") ";
  }
  return result;
}

}  // namespace kb
