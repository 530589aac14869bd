// A sequence with access, insertion and removal by index.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <type_traits>
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
/// the number of chunks; inserting and erasing move at most one chunk (the first item goes without moving any), and the
/// tree is rebuilt only when a chunk comes or goes, once in some hundred changes. Append is constant on average.
/// Iteration runs over plain arrays.
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
    return chunks_[place.chunk]->At(place.offset);
  }
  [[nodiscard]] T& At(size_t index) {
    const Place place = Find(index);
    return chunks_[place.chunk]->At(place.offset);
  }
  [[nodiscard]] const T& Front() const { return chunks_[first_]->At(0); }
  [[nodiscard]] const T& Back() const { return chunks_.back()->Back(); }
  /// Index of an item whose chunk the tracker was told.
  [[nodiscard]] size_t IndexOf(const T& item, const void* chunk) const {
    const auto& home = *static_cast<const Chunk*>(chunk);
    const auto found = std::find(home.Begin(), home.items.end(), item);
    return CountBefore(home.ordinal) + static_cast<size_t>(found - home.Begin());
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
      AddToTree(chunks_.size() - 1, 1);
    }
  }

  /// `index` may be the size.
  void Insert(size_t index, T item) {
    if (index == size_) {
      Append(std::move(item));
      return;
    }
    Place place = Find(index);
    if (chunks_[place.chunk]->Count() >= kChunk) {
      Split(place.chunk);
      place = Find(index);
    }
    Chunk& chunk = *chunks_[place.chunk];
    Tracker::Placed(item, &chunk);
    chunk.items.insert(chunk.Begin() + static_cast<std::ptrdiff_t>(place.offset), std::move(item));
    ++size_;
    AddToTree(place.chunk, 1);
  }

  /// Takes the item out and gives it.
  T Erase(size_t index) {
    const Place place = Find(index);
    Chunk& chunk = *chunks_[place.chunk];
    T item = chunk.Erase(place.offset);
    --size_;
    AddToTree(place.chunk, -1);
    if (chunk.Count() == 0) DropChunk(place.chunk);
    return item;
  }

  void Clear() noexcept {
    std::vector<std::unique_ptr<Chunk>> old;
    old.swap(chunks_);
    tree_.clear();
    first_ = 0;
    size_ = 0;
  }

  /// First index for which `isBefore(item)` is false, in a sequence where it is true and then false.
  template <class F>
  [[nodiscard]] size_t PartitionPoint(F&& isBefore) const {
    size_t low = first_;
    size_t high = chunks_.size();
    while (low < high) {
      const size_t middle = (low + high) / 2;
      if (isBefore(chunks_[middle]->Back())) {
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    if (low == chunks_.size()) return size_;
    const Chunk& chunk = *chunks_[low];
    const auto found = std::partition_point(chunk.Begin(), chunk.items.end(), isBefore);
    return CountBefore(low) + static_cast<size_t>(found - chunk.Begin());
  }

  /// The same where the items can tell about how far on it lies: `estimate(front, back, count)` gives the expected
  /// place in a run of `count` items, or of groups of items, from `front` to `back`. The search widens from there,
  /// which looks at a few neighbours instead of items all over the sequence.
  template <class F, class G>
  [[nodiscard]] size_t PartitionPointNear(F&& isBefore, G&& estimate) const {
    if (size_ == 0) return 0;
    const size_t count = chunks_.size() - first_;
    const size_t home = first_ + Widen(count, estimate(Front(), Back(), count),
                                       [&](size_t i) { return isBefore(chunks_[first_ + i]->Back()); });
    if (home == chunks_.size()) return size_;
    const Chunk& chunk = *chunks_[home];
    return CountBefore(home) + Widen(chunk.Count(), estimate(chunk.At(0), chunk.Back(), chunk.Count()),
                                     [&](size_t i) { return isBefore(chunk.At(i)); });
  }

  template <class F>
  void ForEach(F&& visit) const {
    for (size_t c = first_; c < chunks_.size(); ++c) {
      const Chunk* chunk = chunks_[c].get();
      for (size_t i = chunk->begin; i < chunk->items.size(); ++i) visit(chunk->items[i]);
    }
  }

 private:
  // Items from `begin` on; the places before it are free. Erasing moves the smaller half, so that a queue moves
  // nothing.
  struct Chunk {
    size_t ordinal = 0;  // place among the chunks; kept for a tracker
    size_t begin = 0;
    std::vector<T> items;

    [[nodiscard]] size_t Count() const noexcept { return items.size() - begin; }
    [[nodiscard]] auto Begin() noexcept { return items.begin() + static_cast<std::ptrdiff_t>(begin); }
    [[nodiscard]] auto Begin() const noexcept { return items.begin() + static_cast<std::ptrdiff_t>(begin); }
    [[nodiscard]] T& At(size_t offset) noexcept { return items[begin + offset]; }
    [[nodiscard]] const T& At(size_t offset) const noexcept { return items[begin + offset]; }
    [[nodiscard]] const T& Back() const noexcept { return items.back(); }
    T Erase(size_t offset) {
      const auto place = Begin() + static_cast<std::ptrdiff_t>(offset);
      T item = std::move(*place);
      if (offset < Count() / 2) {
        std::move_backward(Begin(), place, place + 1);
        ++begin;
      } else {
        items.erase(place);
      }
      return item;
    }
  };
  static constexpr bool kTracks = !std::is_same_v<Tracker, TNoTracker>;

  struct Place {
    size_t chunk;
    size_t offset;
  };

  [[nodiscard]] static std::unique_ptr<Chunk> NewChunk(size_t ordinal) {
    auto chunk = std::make_unique<Chunk>();
    chunk->ordinal = ordinal;
    return chunk;
  }

  /// First index below `count` for which `isBefore(index)` is false, or `count`: steps that double away from `guess`,
  /// then halves what lies between the last two.
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
    if (index < chunks_[first_]->Count()) return {first_, index};
    const size_t inLast = chunks_.back()->Count();
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
    size_t count = chunks_.back()->Count();
    const size_t span = place & (~place + 1);
    for (size_t i = place - 1; i > place - span; i &= i - 1) count += tree_[i - 1];
    tree_.push_back(count);
  }
  // Both walk over the tree alone: looking at thousands of chunks costs more than the rest of what a change does.
  void TreeToCounts() noexcept {
    for (size_t i = tree_.size(); i > 0; --i) {
      if (const size_t parent = i + (i & (~i + 1)); parent <= tree_.size()) tree_[parent - 1] -= tree_[i - 1];
    }
  }
  void CountsToTree() noexcept {
    for (size_t i = 1; i <= tree_.size(); ++i) {
      if (const size_t parent = i + (i & (~i + 1)); parent <= tree_.size()) tree_[parent - 1] += tree_[i - 1];
    }
  }
  void Renumber(size_t from) noexcept {
    if constexpr (kTracks) {
      for (size_t i = from; i < chunks_.size(); ++i) chunks_[i]->ordinal = i;
    }
  }
  void DropChunk(size_t place) noexcept {
    if (size_ == 0) return Clear();
    if (place == first_) return DropFirstChunk();
    if (place + 1 == chunks_.size()) {
      chunks_.pop_back();
      tree_.pop_back();
      return;
    }
    TreeToCounts();
    chunks_.erase(chunks_.begin() + static_cast<std::ptrdiff_t>(place));
    tree_.erase(tree_.begin() + static_cast<std::ptrdiff_t>(place));
    CountsToTree();
    Renumber(place);
  }
  // Its place stays, counting none, until half of the places do: a queue of a million loses a chunk in constant time.
  void DropFirstChunk() noexcept {
    chunks_[first_++].reset();
    if (first_ * 2 <= chunks_.size()) return;
    TreeToCounts();
    chunks_.erase(chunks_.begin(), chunks_.begin() + static_cast<std::ptrdiff_t>(first_));
    tree_.erase(tree_.begin(), tree_.begin() + static_cast<std::ptrdiff_t>(first_));
    first_ = 0;
    CountsToTree();
    Renumber(0);
  }
  void Split(size_t place) {
    // What may raise comes before the first change.
    chunks_.reserve(chunks_.size() + 1);
    tree_.reserve(tree_.size() + 1);
    auto second = NewChunk(place + 1);
    Chunk& first = *chunks_[place];
    const auto middle = first.Begin() + static_cast<std::ptrdiff_t>(first.Count() / 2);
    second->items.reserve(kChunk);
    std::move(middle, first.items.end(), std::back_inserter(second->items));
    first.items.erase(middle, first.items.end());
    for (const T& item : second->items) Tracker::Placed(item, second.get());
    TreeToCounts();
    tree_[place] = first.Count();
    tree_.insert(tree_.begin() + static_cast<std::ptrdiff_t>(place) + 1, second->Count());
    chunks_.insert(chunks_.begin() + static_cast<std::ptrdiff_t>(place) + 1, std::move(second));
    CountsToTree();
    Renumber(place + 1);
  }

  size_t first_ = 0;  // places before it hold no chunk any more
  std::vector<std::unique_ptr<Chunk>> chunks_;
  std::vector<size_t> tree_;
  size_t size_ = 0;
};

}  // namespace kb
