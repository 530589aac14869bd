// Hash tables with string keys that keep the order of insertion.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kb/common/Text.h"
#include "kb/platform/Exceptions.h"

namespace kb {

/// String-keyed table with access by key (constant) and by index in order of insertion (constant). Removal is linear
/// in the entries behind the one removed: registries are filled once and seldom emptied from the front. Keys are
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
  /// The value of the key, or null. The pointer holds until the table changes.
  [[nodiscard]] const T* Find(std::string_view key) const {
    auto found = index_.find(key);
    return found == index_.end() ? nullptr : &entries_[found->second].value;
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
    for (const Entry& entry : entries_) keys.push_back(entry.key.ToString());
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
    std::vector<Entry> old;
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
  virtual void DoAdd(std::string_view key, const T& value) { RawAdd(key, value); }
  virtual void DoSetValue(std::string_view key, const T& value) { RawSet(key, value); }
  virtual void DoRemove(const std::string& key) { RawRemove(key); }

  void RawAdd(std::string_view key, const T& value) {
    entries_.push_back({TKBText(key), value});
    index_.emplace(entries_.back().key.View(), entries_.size() - 1);
    Notify();
  }
  void RawSet(std::string_view key, const T& value) {
    // The old value dies last: its end may look at the table.
    [[maybe_unused]] const T old = std::exchange(entries_[index_.find(key)->second].value, value);
    Notify();
  }
  void RawRemove(std::string_view key) {
    auto found = index_.find(key);
    if (found == index_.end()) return;
    const size_t place = found->second;
    index_.erase(found);
    Entry old = std::move(entries_[place]);
    entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(place));
    for (size_t i = place; i < entries_.size(); ++i) index_.find(entries_[i].key.View())->second = i;
    Notify();
  }

 private:
  struct Entry {
    TKBText key;  // its characters are what the index refers to; they do not move
    T value;
  };

  [[nodiscard]] const Entry& At(int index) const {
    CheckListIndex(index, GetCount());
    return entries_[static_cast<size_t>(index)];
  }
  void Notify() {
    if (updates_ == 0 && OnChange) OnChange();
  }

  std::vector<Entry> entries_;
  std::unordered_map<std::string_view, size_t> index_;
  int updates_ = 0;
};

}  // namespace kb
