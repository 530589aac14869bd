// The memory of one side of a join.
//
// Tokens stand in a fixed number of buckets by a key that is chosen per memory: the sort code, the id of a
// fact, or the hash of a slot's value. What can be seen from outside is the order: bucket after bucket, and
// in a bucket the order of arrival; equal tokens in one bucket are stored once.
//
// Must keep: finding an equal token (constant on average, however full a bucket), the tokens of one full key
// (a memory that is keyed by a value is only ever asked for one value), order of arrival. Hence lists of tokens:
// one list a bucket, or, for a memory keyed by a value, one list a value, so that a lookup touches only tokens
// whose key has the same hash. A join with several equality tests refines the key by the values of the further
// tests: a list then holds the tokens that agree in all of them, and the primary key alone still decides about
// buckets, order and duplicates. Values that may equal a value of another hash (fuzzy ones) cannot refine; while
// the memory holds such a token, or when one is asked for, a lookup looks through the whole memory.
//
// Equal tokens have the same facts, hence the same key, and meet in one list. Most lists hold a token or two, so
// a short one is searched, which spares an index entry (and its cache misses) for each token; the tokens of a
// long one are indexed by identity. Only chains with expansions of a fact may be equal and differ in their slots:
// these are always indexed, by identity and bucket.
//
// A scan may be interrupted by changes of the same memory (a function in a test that asserts a fact): entries
// that go during a scan are kept until the last scan ends. Tested in tests/matching/TokenTreeTest.cpp.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kb/common/HashIndex.h"
#include "kb/common/Pool.h"
#include "kb/matching/KBToken.h"
#include "kb/values/FactTemplate.h"
#include "kb/values/KBConsts.h"

namespace kb {

/// One value of a chain that takes part in a key: a slot of the fact at `factIndex`, or an element of it.
struct TKeyPart {
  int factIndex = 0;
  int subIndex = -1;
  TSlotRef slot;
};

/// What a value contributes to a refined key: equal values contribute the same. None for a value that may
/// equal others of any kind. `value` may be null.
[[nodiscard]] std::optional<uint32_t> RefiningHash(const TKBValue* value);

/// Where a chain belongs in a memory: the primary key, and the list of tokens that agree in it and in what refines it.
struct TMemoryKey {
  /// `refinement` is none when something in the chain cannot refine.
  TMemoryKey(int32_t primary, std::optional<uint32_t> refinement = 0) noexcept
      : key(primary),
        list(MixBits(static_cast<uint32_t>(primary) ^ refinement.value_or(0))),
        refined(refinement.has_value()) {}

  int32_t key;
  uint32_t list;  // a hash: lists that meet in it are one, which costs their joins some failing tests
  bool refined;
};

class TKBTokenTree {
 public:
  /// `size` buckets. With `hashBySortCode` the other arguments are ignored; with an empty slot name the id of
  /// the fact at `factIndex` is the key, else the hash of the slot's value or of the element at `subIndex`.
  TKBTokenTree(int size, int factIndex, int subIndex, const TKBText& slotName, bool hashBySortCode);
  /// A memory keyed by a slot's value whose key `parts` refine.
  TKBTokenTree(int size, const TKeyPart& key, std::vector<TKeyPart> parts);
  TKBTokenTree(const TKBTokenTree&) = delete;
  TKBTokenTree& operator=(const TKBTokenTree&) = delete;
  ~TKBTokenTree();

  /// The key of a token in this memory; the two memories of a join give partners the same.
  [[nodiscard]] TMemoryKey KeyFor(const TKBToken& token) const {
    return parts_.empty() ? TMemoryKey(KeyOf(token)) : TMemoryKey(KeyOf(token), RefinementOf(token));
  }
  /// Adds a token under its key. False, and nothing stored, when the bucket holds an equal token.
  bool Add(const IReteToken& token, const TMemoryKey& key);
  bool Add(const IReteToken& token) { return Add(token, KeyFor(*token)); }
  /// Takes the equal token out and gives it; null when there is none.
  IReteToken Remove(const TKBToken& token, const TMemoryKey& key);
  IReteToken Remove(const TKBToken& token) { return Remove(token, KeyFor(token)); }
  void Clear();

  [[nodiscard]] size_t GetCount() const noexcept { return count_; }
  /// Set by Clear, reset by Add; false in a new memory.
  [[nodiscard]] bool IsEmpty() const noexcept { return empty_; }
  /// True when the memory is keyed by a slot's value.
  [[nodiscard]] bool IsKeyed() const noexcept { return keyed_; }
  /// The key that a token has in this memory.
  [[nodiscard]] int32_t KeyOf(const TKBToken& token) const;

  /// Calls `visit(const IReteToken&)` for the tokens of that key, in order of arrival, until it gives false. Tokens of
  /// another refinement are passed over where that can be told without looking at them.
  template <class F>
  void ScanKey(const TMemoryKey& key, F&& visit) const {
    const TScan scan(*this);
    if (!key.refined || unrefined_ > 0) {
      ScanEntries(EntriesOf(key.key), visit);
    } else {
      ScanList(FirstOf(key.key, key.list), visit);
    }
  }
  /// Calls `visit` for all tokens, bucket after bucket, until it gives false. Only for a memory that is not keyed.
  template <class F>
  void ScanAll(F&& visit) const {
    const TScan scan(*this);
    for (size_t bucket = NextOccupied(0); bucket < buckets_.size(); bucket = NextOccupied(bucket + 1)) {
      if (!ScanList(buckets_[bucket], visit)) return;
    }
  }

  /// The tokens bucket by bucket: texts joined, with a line end behind each bucket.
  [[nodiscard]] std::string ToString() const;
  [[nodiscard]] std::string ToFactsString() const;

 private:
  // The first entry of a list stands for the list.
  struct TEntry : public TPooled {
    IReteToken token;
    TEntry* next = nullptr;
    TEntry* previous = nullptr;  // of the first one: the last
    uint64_t arrival = 0;
    int32_t key = 0;
    uint32_t list = 0;
    uint32_t count = 0;   // of the first one: entries of the list
    bool isLong = false;  // of the first one: all entries are indexed
    bool indexed = false;
    bool removed = false;
    bool unrefined = false;  // holds a value that cannot refine
  };
  // While one exists, entries that are taken out stay readable.
  class TScan {
   public:
    explicit TScan(const TKBTokenTree& tree) noexcept : tree_(tree) { ++tree_.scans_; }
    TScan(const TScan&) = delete;
    TScan& operator=(const TScan&) = delete;
    ~TScan() {
      if (--tree_.scans_ == 0 && !tree_.graveyard_.empty()) tree_.Bury();
    }

   private:
    const TKBTokenTree& tree_;
  };

  template <class F>
  static bool ScanList(const TEntry* first, F& visit) {
    for (const TEntry* entry = first; entry != nullptr; entry = entry->next) {
      if (entry->next != nullptr) Prefetch(entry->next->token.Get());
      if (!entry->removed && !visit(entry->token)) return false;
    }
    return true;
  }

  template <class F>
  static void ScanEntries(const std::vector<const TEntry*>& entries, F& visit) {
    for (const TEntry* entry : entries) {
      if (!entry->removed && !visit(entry->token)) return;
    }
  }

  /// The first bucket from there on that holds a token; buckets_.size() when there is none.
  [[nodiscard]] size_t NextOccupied(size_t bucket) const noexcept;
  [[nodiscard]] int BucketOf(int32_t key) const noexcept;
  [[nodiscard]] uint32_t IdentityOf(const TEntry& entry) const noexcept;
  [[nodiscard]] std::optional<uint32_t> RefinementOf(const TKBToken& token) const;
  [[nodiscard]] TEntry* FirstOf(int32_t key, uint32_t list) const {
    if (keyed_) return keyedLists_.Find(list, [](const TEntry&) { return true; });
    return buckets_.empty() ? nullptr : buckets_[static_cast<size_t>(BucketOf(key))];
  }
  /// A list gets its first entry, another one in its place, or none.
  void SetFirst(TEntry* old, TEntry* first);
  [[nodiscard]] TEntry* FindEqual(const TKBToken& token, int32_t key, TEntry* first) const;
  void MakeRoom(const TEntry* first, bool isIndexed);
  void Append(TEntry& entry, TEntry* first);
  void Index(TEntry& entry);
  void Unlink(TEntry& entry, TEntry& first);
  void Drop(TEntry* entry);
  void Bury() const;
  [[nodiscard]] std::vector<const TEntry*> EntriesOf(int32_t key) const;
  template <class F>
  void ForAll(F&& visit) const;
  template <class F>
  [[nodiscard]] std::string BucketTexts(F&& text) const;

  int size_;
  int factIndex_;
  int subIndex_;
  TSlotRef slot_;
  bool hashBySortCode_;
  bool keyed_;
  bool empty_ = false;
  std::vector<TKeyPart> parts_;  // refine the key
  size_t count_ = 0;
  size_t unrefined_ = 0;  // entries with a value that cannot
  uint64_t arrivals_ = 0;
  std::vector<TEntry*> buckets_;    // first entries, owned with what follows them; unused in a keyed memory
  std::vector<uint64_t> occupied_;  // a bit for each bucket that holds a token, so that a scan skips the others
  THashIndex<TEntry> keyedLists_;   // first entries by refined key, owned with what follows them
  THashIndex<TEntry> index_;        // by identity and bucket: entries of long lists, and chains with expansions
  mutable int scans_ = 0;
  mutable std::vector<TEntry*> graveyard_;
};

}  // namespace kb
