// A sequence with access, insertion and removal by index.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kb/platform/Exceptions.h"

namespace kb {

/// Tells nobody where items go.
struct TNoTracker {
  template <class T>
  static void Placed(const T& /*item*/, void* /*chunk*/) noexcept {}
};

/// Items in chunks of at most kChunk, with a tree of partial counts over the chunks. Finding an index is logarithmic in
/// the number of chunks; inserting and erasing move at most one chunk, and the tree is rebuilt only when a chunk comes
/// or goes, once in some hundred changes. Append is constant on average. Iteration runs over plain arrays.
///
/// A Tracker with `Placed(item, chunk)` lets items remember their chunk, and IndexOf then finds an item in logarithmic
/// time plus a walk over one chunk.
template <class T, class Tracker = TNoTracker>
class TIndexedSequence {
 public:
  static constexpr size_t kChunk = 256;

  [[nodiscard]] size_t Size() const noexcept { return size_; }
  [[nodiscard]] bool Empty() const noexcept { return size_ == 0; }

  [[nodiscard]] const T& At(size_t index) const {
    const Place place = Find(index);
    return chunks_[place.chunk]->items[place.offset];
  }
  [[nodiscard]] T& At(size_t index) {
    const Place place = Find(index);
    return chunks_[place.chunk]->items[place.offset];
  }
  [[nodiscard]] const T& Front() const { return chunks_.front()->items.front(); }
  [[nodiscard]] const T& Back() const { return chunks_.back()->items.back(); }
  /// Index of an item whose chunk the tracker was told.
  [[nodiscard]] size_t IndexOf(const T& item, const void* chunk) const {
    const auto& home = *static_cast<const Chunk*>(chunk);
    const auto found = std::find(home.items.begin(), home.items.end(), item);
    return CountBefore(home.ordinal) + static_cast<size_t>(found - home.items.begin());
  }

  void Append(T item) {
    const bool isNew = chunks_.empty() || chunks_.back()->items.size() >= kChunk;
    if (isNew) chunks_.push_back(NewChunk(chunks_.size()));
    Chunk& chunk = *chunks_.back();
    Tracker::Placed(item, &chunk);
    chunk.items.push_back(std::move(item));
    ++size_;
    if (isNew) {
      AppendToTree();
    } else {
      AddToTree(chunk.ordinal, 1);
    }
  }

  /// `index` may be the size.
  void Insert(size_t index, T item) {
    if (index == size_) {
      Append(std::move(item));
      return;
    }
    Place place = Find(index);
    if (chunks_[place.chunk]->items.size() >= kChunk) {
      Split(place.chunk);
      place = Find(index);
    }
    Chunk& chunk = *chunks_[place.chunk];
    Tracker::Placed(item, &chunk);
    chunk.items.insert(chunk.items.begin() + static_cast<std::ptrdiff_t>(place.offset), std::move(item));
    ++size_;
    AddToTree(place.chunk, 1);
  }

  /// Takes the item out and gives it.
  T Erase(size_t index) {
    const Place place = Find(index);
    auto& items = chunks_[place.chunk]->items;
    T item = std::move(items[place.offset]);
    items.erase(items.begin() + static_cast<std::ptrdiff_t>(place.offset));
    --size_;
    if (items.empty()) {
      chunks_.erase(chunks_.begin() + static_cast<std::ptrdiff_t>(place.chunk));
      RebuildTree();
    } else {
      AddToTree(place.chunk, -1);
    }
    return item;
  }

  void Clear() noexcept {
    std::vector<std::unique_ptr<Chunk>> old;
    old.swap(chunks_);
    tree_.clear();
    size_ = 0;
  }

  /// First index for which `isBefore(item)` is false, in a sequence where it is true and then false.
  template <class F>
  [[nodiscard]] size_t PartitionPoint(F&& isBefore) const {
    size_t low = 0;
    size_t high = chunks_.size();
    while (low < high) {
      const size_t middle = (low + high) / 2;
      if (isBefore(chunks_[middle]->items.back())) {
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    if (low == chunks_.size()) return size_;
    const auto& items = chunks_[low]->items;
    const auto found = std::partition_point(items.begin(), items.end(), isBefore);
    return CountBefore(low) + static_cast<size_t>(found - items.begin());
  }

  /// The same where the items can tell about how far on it lies: `estimate(front, back, count)` gives the expected place
  /// in a run of `count` items, or of groups of items, from `front` to `back`. The search widens from there, which looks
  /// at a few neighbours instead of items all over the sequence.
  template <class F, class G>
  [[nodiscard]] size_t PartitionPointNear(F&& isBefore, G&& estimate) const {
    if (size_ == 0) return 0;
    const size_t chunk = Widen(chunks_.size(), estimate(Front(), Back(), chunks_.size()),
                               [&](size_t i) { return isBefore(chunks_[i]->items.back()); });
    if (chunk == chunks_.size()) return size_;
    const auto& items = chunks_[chunk]->items;
    return CountBefore(chunk) + Widen(items.size(), estimate(items.front(), items.back(), items.size()),
                                      [&](size_t i) { return isBefore(items[i]); });
  }

  template <class F>
  void ForEach(F&& visit) const {
    for (const auto& chunk : chunks_) {
      for (const T& item : chunk->items) visit(item);
    }
  }

 private:
  struct Chunk {
    size_t ordinal = 0;  // place among the chunks
    std::vector<T> items;
  };
  struct Place {
    size_t chunk;
    size_t offset;
  };

  [[nodiscard]] static std::unique_ptr<Chunk> NewChunk(size_t ordinal) {
    auto chunk = std::make_unique<Chunk>();
    chunk->ordinal = ordinal;
    return chunk;
  }

  /// First index below `count` for which `isBefore(index)` is false, or `count`: steps that double away from `guess`, then
  /// halves what lies between the last two.
  template <class F>
  [[nodiscard]] static size_t Widen(size_t count, size_t guess, F&& isBefore) {
    size_t low = std::min(guess, count - 1);
    size_t high = low;
    if (isBefore(low)) {
      high = count;
      ++low;
      for (size_t step = 1; low + step <= high; step *= 2) {
        if (!isBefore(low + step - 1)) {
          high = low + step - 1;
          break;
        }
        low += step;
      }
    } else {
      low = 0;
      for (size_t step = 1; step <= high; step *= 2) {
        if (isBefore(high - step)) {
          low = high - step + 1;
          break;
        }
        high -= step;
      }
    }
    while (low < high) {
      const size_t middle = low + (high - low) / 2;
      if (isBefore(middle)) {
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    return low;
  }

  [[nodiscard]] Place Find(size_t index) const {
    if (index >= size_) RaiseListIndex(static_cast<long long>(index));
    if (index < chunks_.front()->items.size()) return {0, index};
    const size_t inLast = chunks_.back()->items.size();
    if (const size_t tail = size_ - index; tail <= inLast) return {chunks_.size() - 1, inLast - tail};
    size_t chunk = 0;
    for (size_t step = HighBit(); step > 0; step /= 2) {
      if (chunk + step <= tree_.size() && tree_[chunk + step - 1] <= index) {
        chunk += step;
        index -= tree_[chunk - 1];
      }
    }
    return {chunk, index};
  }
  [[nodiscard]] size_t HighBit() const noexcept {
    size_t bit = 1;
    while (bit * 2 <= tree_.size()) bit *= 2;
    return bit;
  }
  [[nodiscard]] size_t CountBefore(size_t chunk) const noexcept {
    size_t count = 0;
    for (size_t i = chunk; i > 0; i &= i - 1) count += tree_[i - 1];
    return count;
  }
  // The tree is the usual array of partial sums: entry i holds the count of (i+1) & -(i+1) chunks ending with i.
  void AddToTree(size_t chunk, int delta) noexcept {
    for (size_t i = chunk + 1; i <= tree_.size(); i += i & (~i + 1)) {
      tree_[i - 1] += static_cast<size_t>(static_cast<std::ptrdiff_t>(delta));
    }
  }
  void AppendToTree() {
    const size_t place = chunks_.size();
    size_t count = chunks_.back()->items.size();
    const size_t span = place & (~place + 1);
    for (size_t i = place - 1; i > place - span; i &= i - 1) count += tree_[i - 1];
    tree_.push_back(count);
  }
  void RebuildTree() {
    tree_.assign(chunks_.size(), 0);
    for (size_t i = 1; i <= chunks_.size(); ++i) {
      chunks_[i - 1]->ordinal = i - 1;
      tree_[i - 1] += chunks_[i - 1]->items.size();
      const size_t parent = i + (i & (~i + 1));
      if (parent <= chunks_.size()) tree_[parent - 1] += tree_[i - 1];
    }
  }
  void Split(size_t place) {
    auto second = NewChunk(place + 1);
    auto& first = chunks_[place]->items;
    const auto middle = first.begin() + static_cast<std::ptrdiff_t>(first.size() / 2);
    second->items.reserve(kChunk);
    std::move(middle, first.end(), std::back_inserter(second->items));
    first.erase(middle, first.end());
    for (const T& item : second->items) Tracker::Placed(item, second.get());
    chunks_.insert(chunks_.begin() + static_cast<std::ptrdiff_t>(place) + 1, std::move(second));
    RebuildTree();
  }

  std::vector<std::unique_ptr<Chunk>> chunks_;
  std::vector<size_t> tree_;
  size_t size_ = 0;
};

}  // namespace kb
