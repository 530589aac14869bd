#include "kb/platform/Strings.h"

#include <algorithm>
#include <memory>
#include <numeric>

#include "kb/common/Helpers.h"
#include "kb/platform/Encoding.h"
#include "kb/platform/Exceptions.h"

namespace kb {

// ---- TStrings

const TClassInfo& TStrings::StaticClass() noexcept {
  static const TClassInfo info{"TStrings", &TPersistent::StaticClass(), nullptr, nullptr};
  return info;
}

TObject* TStrings::GetObject(int index) const {
  CheckIndex(index, GetCount());
  return nullptr;
}

void TStrings::PutObject(int index, TObject*) { CheckIndex(index, GetCount()); }

int TStrings::Add(std::string_view line) {
  const int index = GetCount();
  Insert(index, line);
  return index;
}

int TStrings::AddObject(std::string_view line, TObject* object) {
  int index = -1;
  Update([&] {
    index = Add(line);
    PutObject(index, object);
  });
  return index;
}

void TStrings::AddStrings(const TStrings& source) {
  Update([&] {
    // The count is taken once: a list may be added to itself.
    const int count = source.GetCount();
    for (int i = 0; i < count; ++i) AddObject(std::string(source.Get(i)), source.GetObject(i));
  });
}

int TStrings::IndexOf(std::string_view line) const {
  for (int i = 0; i < GetCount(); ++i) {
    if (SameText(Get(i), line)) return i;
  }
  return -1;
}

int TStrings::IndexOfObject(const TObject* object) const {
  for (int i = 0; i < GetCount(); ++i) {
    if (GetObject(i) == object) return i;
  }
  return -1;
}

std::string TStrings::GetText() const {
  std::string text;
  for (int i = 0; i < GetCount(); ++i) {
    text += Get(i);
    text += kLineEnd;
  }
  return text;
}

void TStrings::SetText(std::string_view text) {
  // The text may be one of the lines that go.
  const std::string copy(text);
  Update([&] {
    Clear();
    for (const std::string_view line : SplitLines(copy)) Add(line);
  });
}

void TStrings::LoadFromStream(std::istream& stream, const TEncoding* encoding) {
  SetText(TEncoding::OrDefault(encoding)->Decode(ReadAllBytes(stream)));
}

void TStrings::SaveToStream(std::ostream& stream, const TEncoding* encoding) const {
  WritePreambleToStream(stream, encoding);
  WriteStringToStream(stream, GetText(), encoding);
}

void TStrings::Assign(const TPersistent& source) {
  if (&source == this) return;
  const auto* strings = dynamic_cast<const TStrings*>(&source);
  if (strings == nullptr) {
    TPersistent::Assign(source);
    return;
  }
  Update([&] {
    Clear();
    AddStrings(*strings);
  });
}

void TStrings::EndUpdate() {
  if (updating_ == 0) return;
  if (--updating_ > 0 || !changed_) return;
  changed_ = false;
  if (OnChange) OnChange(*this);
}

void TStrings::Changed() {
  if (updating_ > 0) {
    changed_ = true;
  } else if (OnChange) {
    OnChange(*this);
  }
}

void TStrings::CheckIndex(int index, int count) const { CheckListIndex(index, count); }

// ---- TCustomStringList

const TClassInfo& TCustomStringList::StaticClass() noexcept {
  static const TClassInfo info{"TCustomStringList", &TStrings::StaticClass(), nullptr, nullptr};
  return info;
}

const std::string& TCustomStringList::Get(int index) const {
  CheckIndex(index, GetCount());
  return lines_[static_cast<size_t>(index)];
}

void TCustomStringList::Put(int index, std::string_view line) {
  CheckUnsorted();
  CheckIndex(index, GetCount());
  lines_[static_cast<size_t>(index)] = line;
  Changed();
}

int TCustomStringList::Add(std::string_view line) { return AddLine(line).index; }

TCustomStringList::TPlace TCustomStringList::AddLine(std::string_view line) {
  int index = GetCount();
  if (sorted_ && Find(line, index)) {
    if (duplicates_ == dupIgnore) return {index, false};
    if (duplicates_ == dupError) throw EListError("String list does not allow duplicates");
    // Behind its equals.
    const auto end = std::upper_bound(lines_.begin() + index, lines_.end(), line,
                                      [this](std::string_view a, std::string_view b) { return Compare(a, b) < 0; });
    index = static_cast<int>(end - lines_.begin());
  }
  InsertLine(index, line);
  return {index, true};
}

void TCustomStringList::Insert(int index, std::string_view line) {
  CheckUnsorted();
  CheckIndex(index, GetCount() + 1);
  InsertLine(index, line);
}

void TCustomStringList::InsertLine(int index, std::string_view line) {
  InsertDatum(index);
  try {
    lines_.emplace(lines_.begin() + index, line);
  } catch (...) {
    DeleteDatum(index);
    throw;
  }
  Changed();
}

void TCustomStringList::Delete(int index) {
  CheckIndex(index, GetCount());
  DeleteDatum(index);
  lines_.erase(lines_.begin() + index);
  Changed();
}

void TCustomStringList::Exchange(int first, int second) {
  CheckUnsorted();
  CheckIndex(first, GetCount());
  CheckIndex(second, GetCount());
  if (first == second) return;
  ExchangeData(first, second);
  std::swap(lines_[static_cast<size_t>(first)], lines_[static_cast<size_t>(second)]);
  Changed();
}

void TCustomStringList::Clear() {
  if (lines_.empty()) return;
  ClearData();
  lines_.clear();
  Changed();
}

int TCustomStringList::IndexOf(std::string_view line) const {
  if (sorted_) {
    int index = 0;
    return Find(line, index) ? index : -1;
  }
  const auto found =
      std::find_if(lines_.begin(), lines_.end(), [&](const std::string& l) { return Compare(l, line) == 0; });
  return found == lines_.end() ? -1 : static_cast<int>(found - lines_.begin());
}

bool TCustomStringList::Find(std::string_view line, int& index) const {
  const auto place = std::lower_bound(lines_.begin(), lines_.end(), line,
                                      [this](std::string_view a, std::string_view b) { return Compare(a, b) < 0; });
  index = static_cast<int>(place - lines_.begin());
  return place != lines_.end() && Compare(*place, line) == 0;
}

void TCustomStringList::Sort() {
  std::vector<size_t> order(lines_.size());
  std::iota(order.begin(), order.end(), size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [this](size_t a, size_t b) { return Compare(lines_[a], lines_[b]) < 0; });
  if (std::is_sorted(order.begin(), order.end())) return;
  std::vector<std::string> sorted(lines_.size());
  PermuteData(order);
  for (size_t i = 0; i < order.size(); ++i) sorted[i] = std::move(lines_[order[i]]);
  lines_ = std::move(sorted);
  Changed();
}

void TCustomStringList::SetSorted(bool value) {
  if (value && !sorted_) Sort();
  sorted_ = value;
}

void TCustomStringList::SetCaseSensitive(bool value) {
  if (value == caseSensitive_) return;
  caseSensitive_ = value;
  if (sorted_) Sort();
}

int TCustomStringList::Compare(std::string_view a, std::string_view b) const noexcept {
  return caseSensitive_ ? a.compare(b) : CompareText(a, b);
}

void TCustomStringList::CheckUnsorted() const {
  if (sorted_) throw EListError("Operation not allowed on a sorted list");
}

// ---- TStringList

const TClassInfo& TStringList::StaticClass() noexcept {
  static const TClassInfo info{"TStringList", &TCustomStringList::StaticClass(),
                               []() -> std::unique_ptr<TPersistent> { return std::make_unique<TStringList>(); },
                               nullptr};
  return info;
}

TObject* TStringList::GetObject(int index) const {
  CheckIndex(index, GetCount());
  return objects_[static_cast<size_t>(index)];
}

void TStringList::PutObject(int index, TObject* object) {
  CheckIndex(index, GetCount());
  if (objects_[static_cast<size_t>(index)] == object) return;
  objects_[static_cast<size_t>(index)] = object;
  Changed();
}

int TStringList::AddObject(std::string_view line, TObject* object) {
  TPlace place{};
  Update([&] {
    place = AddLine(line);
    if (place.added) PutObject(place.index, object);
  });
  return place.index;
}

void TStringList::InsertDatum(int index) { objects_.insert(objects_.begin() + index, nullptr); }

void TStringList::DeleteDatum(int index) noexcept { objects_.erase(objects_.begin() + index); }

void TStringList::ExchangeData(int first, int second) noexcept {
  std::swap(objects_[static_cast<size_t>(first)], objects_[static_cast<size_t>(second)]);
}

void TStringList::ClearData() noexcept { objects_.clear(); }

void TStringList::PermuteData(const std::vector<size_t>& order) {
  std::vector<TObject*> result(order.size());
  for (size_t i = 0; i < order.size(); ++i) result[i] = objects_[order[i]];
  objects_ = std::move(result);
}

}  // namespace kb
