// Hash tables with string keys that keep the order of insertion.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kb/common/Text.h"
#include "kb/platform/Exceptions.h"

namespace kb {

/// String-keyed table with access by key (constant) and by index in order of insertion (constant). Removal
/// finds the place in logarithmic time and then moves one pointer for each entry behind it. Keys are
/// case-sensitive. Put on a present key goes through DoSetValue, on a new one through DoAdd; removal through
/// DoRemove. Registries override these three.
template <class T>
class TQDStringHashTable {
 public:
  TQDStringHashTable() = default;
  TQDStringHashTable(const TQDStringHashTable&) = delete;
  TQDStringHashTable& operator=(const TQDStringHashTable&) = delete;
  virtual ~TQDStringHashTable() = default;

  [[nodiscard]] int GetCount() const noexcept { return static_cast<int>(entries_.size()); }
  [[nodiscard]] bool IsEmpty() const noexcept { return entries_.empty(); }
  [[nodiscard]] bool ContainsKey(std::string_view key) const { return index_.find(key) != index_.end(); }
  /// The value of the key, or null. The pointer holds as long as the entry.
  [[nodiscard]] const T* Find(std::string_view key) const {
    auto found = index_.find(key);
    return found == index_.end() ? nullptr : &found->second->value;
  }
  /// Raises EListError for an absent key.
  [[nodiscard]] const T& Get(std::string_view key) const {
    const T* value = Find(key);
    if (value == nullptr) throw EListError("Key not found: " + std::string(key));
    return *value;
  }
  /// Key and value at a place in order of insertion; raise EListError for a bad index.
  [[nodiscard]] const TKBText& GetKey(int index) const { return At(index).key; }
  [[nodiscard]] const T& GetValue(int index) const { return At(index).value; }
  [[nodiscard]] std::vector<std::string> GetKeys() const {
    std::vector<std::string> keys;
    keys.reserve(entries_.size());
    for (const auto& entry : entries_) keys.push_back(entry->key.ToString());
    return keys;
  }

  /// Adds or replaces.
  void Put(std::string_view key, const T& value) {
    if (ContainsKey(key)) {
      DoSetValue(key, value);
    } else {
      DoAdd(key, value);
    }
  }
  /// False when the key is absent. Raises EGHashtableError on an empty table.
  bool Remove(std::string_view key) {
    if (entries_.empty()) throw EGHashtableError("Hash table is empty");
    if (!ContainsKey(key)) return false;
    DoRemove(std::string(key));
    return true;
  }
  virtual void Clear() {
    index_.clear();
    Entries old;
    old.swap(entries_);
    Notify();
  }

  /// While the name is taken, appends a blank and `mark`, and then a running number in parentheses.
  [[nodiscard]] std::string GetUniqueName(std::string_view name, std::string_view mark) const {
    std::string result(name);
    int number = 1;
    while (ContainsKey(result)) {
      const size_t at = result.find(mark);
      if (at == std::string::npos) {
        result += " " + std::string(mark);
      } else {
        result = std::string(std::string_view(result).substr(0, at));
        while (!result.empty() && result.back() == ' ') result.pop_back();
        result += " " + std::string(mark) + " (" + std::to_string(++number) + ")";
      }
    }
    return result;
  }

  void BeginUpdate() noexcept { ++updates_; }
  /// Fires OnChange when the last open update ends.
  void EndUpdate() {
    if (updates_ > 0 && --updates_ == 0) Notify();
  }
  std::function<void()> OnChange;

 protected:
  /// Runs `work` inside an update, which ends also when `work` raises an exception.
  template <class Work>
  void Update(Work&& work) {
    BeginUpdate();
    try {
      work();
    } catch (...) {
      EndUpdate();
      throw;
    }
    EndUpdate();
  }

  virtual void DoAdd(std::string_view key, const T& value) { RawAdd(key, value); }
  virtual void DoSetValue(std::string_view key, const T& value) { RawSet(key, value); }
  virtual void DoRemove(const std::string& key) { RawRemove(key); }

  /// Adds at the end, or where a place scope says.
  void RawAdd(std::string_view key, const T& value) {
    if (place_ == nullptr || place_->Key() != key) return Enter(entries_.size(), key, value, ++lastOrder_);
    Enter(static_cast<size_t>(PlaceOf(place_->Order()) - entries_.begin()), key, value, place_->Order());
  }
  void RawSet(std::string_view key, const T& value) {
    // The old value dies last: its end may look at the table.
    [[maybe_unused]] const T old = std::exchange(index_.find(key)->second->value, value);
    Notify();
  }
  void RawRemove(std::string_view key) {
    auto found = index_.find(key);
    if (found == index_.end()) return;
    const auto place = PlaceOf(found->second->order);
    index_.erase(found);
    [[maybe_unused]] const std::unique_ptr<Entry> old = std::move(*place);
    entries_.erase(place);
    Notify();
  }
  /// Where the entry of a present key stands among the others; keeps its meaning when the entry is gone.
  [[nodiscard]] uint64_t OrderOf(std::string_view key) const { return index_.find(key)->second->order; }
  /// While it lives, an entry of that key comes in at that place and not at the end.
  class TPlaceScope {
   public:
    TPlaceScope(TQDStringHashTable& table, std::string_view key, uint64_t order)
        : table_(table), outer_(table.place_), key_(key), order_(order) {
      table.place_ = this;
    }
    TPlaceScope(const TPlaceScope&) = delete;
    TPlaceScope& operator=(const TPlaceScope&) = delete;
    ~TPlaceScope() { table_.place_ = outer_; }
    [[nodiscard]] std::string_view Key() const noexcept { return key_; }
    [[nodiscard]] uint64_t Order() const noexcept { return order_; }

   private:
    TQDStringHashTable& table_;
    const TPlaceScope* outer_;
    std::string key_;
    uint64_t order_;
  };

 private:
  struct Entry {
    TKBText key;  // its characters are what the index refers to
    T value;
    uint64_t order;  // ascending; the place among the entries changes with each removal, this does not
  };
  using Entries = std::vector<std::unique_ptr<Entry>>;

  [[nodiscard]] const Entry& At(int index) const { return *ItemAt(entries_, index); }
  [[nodiscard]] typename Entries::iterator PlaceOf(uint64_t order) {
    return std::lower_bound(entries_.begin(), entries_.end(), order,
                            [](const auto& entry, uint64_t wanted) { return entry->order < wanted; });
  }
  void Enter(size_t place, std::string_view key, const T& value, uint64_t order) {
    auto entry = std::make_unique<Entry>(Entry{TKBText(key), value, order});
    Entry* const added = entry.get();
    entries_.insert(entries_.begin() + static_cast<std::ptrdiff_t>(place), std::move(entry));
    try {
      index_.emplace(added->key.View(), added);
    } catch (...) {
      entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(place));
      throw;
    }
    Notify();
  }
  void Notify() {
    if (updates_ == 0 && OnChange) OnChange();
  }

  Entries entries_;
  std::unordered_map<std::string_view, Entry*> index_;
  uint64_t lastOrder_ = 0;
  const TPlaceScope* place_ = nullptr;
  int updates_ = 0;
};

}  // namespace kb
