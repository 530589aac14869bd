// A string list with a datum of any type for each line.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "kb/platform/Strings.h"

namespace kb {

/// Lines with a T each; sorting, search, duplicates and case as in TCustomStringList. A T is made by default
/// when a line comes in without one, and must move without raising an exception. The list owns its data: a
/// counted reference keeps its object alive as long as its line stands.
template <class T>
class TDataStringList : public TCustomStringList {
  static_assert(!std::is_same_v<T, bool>, "a packed vector gives no references");
  static_assert(std::is_nothrow_move_assignable_v<T>);

 public:
  /// The datum at `index`; the reference holds until the list changes. Raises EListError for a bad index.
  [[nodiscard]] const T& GetData(int index) const {
    CheckIndex(index, GetCount());
    return data_[static_cast<size_t>(index)];
  }
  void PutData(int index, T datum) {
    CheckIndex(index, GetCount());
    std::swap(data_[static_cast<size_t>(index)], datum);
    Changed();
  }
  /// Add with a datum, which is there when the change is reported. A line that the list holds already and
  /// that the duplicates mode ignores keeps the datum that it has.
  int AddData(std::string_view line, T datum) {
    TPlace place{};
    Update([&] {
      place = AddLine(line);
      if (place.added) data_[static_cast<size_t>(place.index)] = std::move(datum);
    });
    return place.index;
  }
  /// Insert with a datum.
  void InsertData(int index, std::string_view line, T datum) {
    Update([&] {
      Insert(index, line);
      data_[static_cast<size_t>(index)] = std::move(datum);
    });
  }
  /// Index of the first entry with an equal datum, or -1. Linear.
  [[nodiscard]] int IndexOfData(const T& datum) const {
    const auto found = std::find(data_.begin(), data_.end(), datum);
    return found == data_.end() ? -1 : static_cast<int>(found - data_.begin());
  }
  /// From a list of the same type the data come with the lines.
  void AddStrings(const TStrings& source) override {
    const auto* list = dynamic_cast<const TDataStringList*>(&source);
    if (list == nullptr) {
      TStrings::AddStrings(source);
      return;
    }
    Update([&] {
      const int count = list->GetCount();
      for (int i = 0; i < count; ++i) AddData(std::string(list->Get(i)), T(list->GetData(i)));
    });
  }

 protected:
  void InsertDatum(int index) override { data_.emplace(data_.begin() + index); }
  void DeleteDatum(int index) noexcept override { data_.erase(data_.begin() + index); }
  void ExchangeData(int first, int second) noexcept override {
    std::swap(data_[static_cast<size_t>(first)], data_[static_cast<size_t>(second)]);
  }
  void ClearData() noexcept override { data_.clear(); }
  void PermuteData(const std::vector<size_t>& order) override {
    std::vector<T> result;
    result.reserve(order.size());
    for (const size_t from : order) result.push_back(std::move(data_[from]));
    data_ = std::move(result);
  }

 private:
  std::vector<T> data_;  // one for each line
};

}  // namespace kb
