#include "kb/matching/KBTokenTree.h"

#include <algorithm>
#include <bit>

#include "kb/common/Helpers.h"
#include "kb/matching/KBSlotTest.h"
#include "kb/values/ValueVector.h"

namespace kb {
namespace {

// Up to that length a list is searched from its front.
constexpr uint32_t kShortList = 8;

// Odd, its bits spread: neighbouring numbers and numbers in several places give sums far apart.
constexpr uint32_t kSpread = 0x9E3779B1U;

uint32_t Identity(const TKBToken& token, int bucket) noexcept {
  return token.GetHash() ^ MixBits(static_cast<uint32_t>(bucket) + 1);
}

}  // namespace

std::optional<uint32_t> RefiningHash(const TKBValue* value) {
  if (value == nullptr) return 0;
  const TKBType type = value->GetDType();
  if (type == dtFuzzy) return std::nullopt;
  const uint32_t seed = (static_cast<uint32_t>(type) + 1) * kSpread;
  // Others (floats within the tolerance, lists) may be equal without hashing alike: their type alone tells
  // something.
  const bool exact = KBStringTypes.Has(type) || type == dtInteger || type == dtFactId;
  return exact ? seed + static_cast<uint32_t>(value->GetHashCode()) : seed;
}

std::optional<uint32_t> TKBTokenTree::RefinementOf(const TKBToken& token) const {
  uint32_t refinement = 0;
  for (const TKeyPart& part : parts_) {
    const TFact* fact = token.Facts(part.factIndex);
    if (fact == nullptr) return std::nullopt;
    const std::optional<uint32_t> hash = WithElement(*fact, part.slot, part.subIndex, RefiningHash);
    if (!hash) return std::nullopt;
    refinement = (refinement + *hash) * kSpread;
  }
  return refinement;
}

TKBTokenTree::TKBTokenTree(int size, int factIndex, int subIndex, const TKBText& slotName, bool hashBySortCode)
    : size_(size < 1 ? 1 : size),
      factIndex_(factIndex),
      subIndex_(subIndex),
      slot_(slotName),
      hashBySortCode_(hashBySortCode),
      keyed_(!hashBySortCode && !slotName.Empty()) {}

TKBTokenTree::TKBTokenTree(int size, const TKeyPart& key, std::vector<TKeyPart> parts)
    : TKBTokenTree(size, key.factIndex, key.subIndex, key.slot.GetName(), false) {
  parts_ = std::move(parts);
}

TKBTokenTree::~TKBTokenTree() {
  scans_ = 0;
  Clear();
}

int32_t TKBTokenTree::KeyOf(const TKBToken& token) const {
  if (hashBySortCode_) return token.GetSortCode();
  TFact* fact = token.Facts(factIndex_);
  if (fact == nullptr) return 0;
  if (!keyed_) return fact->GetID();
  return WithElement(*fact, slot_, subIndex_,
                     [](const TKBValue* value) { return value == nullptr ? 0 : value->GetHashCode(); });
}

int TKBTokenTree::BucketOf(int32_t key) const noexcept {
  const uint32_t size = static_cast<uint32_t>(size_);
  const uint32_t magnitude = key < 0 ? 0U - static_cast<uint32_t>(key) : static_cast<uint32_t>(key);
  return static_cast<int>(magnitude % size);
}

uint32_t TKBTokenTree::IdentityOf(const TEntry& entry) const noexcept {
  return Identity(*entry.token, BucketOf(entry.key));
}

void TKBTokenTree::SetFirst(TEntry* old, TEntry* first) {
  const TEntry& either = old != nullptr ? *old : *first;
  if (keyed_) {
    if (old == nullptr) {
      keyedLists_.Insert(either.list, first);
    } else if (first == nullptr) {
      keyedLists_.Erase(either.list, old);
    } else {
      keyedLists_.Replace(either.list, old, first);
    }
    return;
  }
  if (buckets_.empty()) {
    const auto count = static_cast<size_t>(size_);
    occupied_.resize((count + 63) / 64);
    buckets_.resize(count);
  }
  const auto bucket = static_cast<size_t>(BucketOf(either.key));
  buckets_[bucket] = first;
  const uint64_t bit = uint64_t{1} << (bucket % 64);
  uint64_t& word = occupied_[bucket / 64];
  word = first != nullptr ? word | bit : word & ~bit;
}

template <class F>
void TKBTokenTree::ForAll(F&& visit) const {
  const auto list = [&](TEntry* first) {
    for (TEntry* entry = first; entry != nullptr; entry = entry->next) visit(*entry);
  };
  for (TEntry* first : buckets_) list(first);
  keyedLists_.ForAll([&](TEntry& first) { list(&first); });
}

// The slow road past the refinement.
std::vector<const TKBTokenTree::TEntry*> TKBTokenTree::EntriesOf(int32_t key) const {
  std::vector<const TEntry*> entries;
  ForAll([&](const TEntry& entry) {
    if (entry.key == key) entries.push_back(&entry);
  });
  std::sort(entries.begin(), entries.end(), [](const TEntry* a, const TEntry* b) { return a->arrival < b->arrival; });
  return entries;
}

size_t TKBTokenTree::NextOccupied(size_t bucket) const noexcept {
  size_t word = bucket / 64;
  if (word >= occupied_.size()) return buckets_.size();
  uint64_t bits = occupied_[word] & (~uint64_t{0} << (bucket % 64));
  while (bits == 0) {
    if (++word == occupied_.size()) return buckets_.size();
    bits = occupied_[word];
  }
  return word * 64 + static_cast<size_t>(std::countr_zero(bits));
}

TKBTokenTree::TEntry* TKBTokenTree::FindEqual(const TKBToken& token, int32_t key, TEntry* first) const {
  const bool anyList = keyed_ && token.IsExpanded();
  if (!anyList && (first == nullptr || !first->isLong)) {
    TEntry* entry = first;
    while (entry != nullptr && !entry->token->Equals(token)) entry = entry->next;
    return entry;
  }
  const int bucket = BucketOf(key);
  return index_.Find(Identity(token, bucket),
                     [&](const TEntry& e) { return e.token->Equals(token) && BucketOf(e.key) == bucket; });
}

void TKBTokenTree::Index(TEntry& entry) {
  if (entry.indexed) return;
  index_.Insert(IdentityOf(entry), &entry);
  entry.indexed = true;
}

void TKBTokenTree::Append(TEntry& entry, TEntry* first) {
  if (first == nullptr) {
    entry.previous = &entry;
    entry.count = 1;
    SetFirst(nullptr, &entry);
    return;
  }
  entry.previous = first->previous;
  first->previous->next = &entry;
  first->previous = &entry;
  ++first->count;
  if (first->isLong) return Index(entry);
  if (first->count <= kShortList) return;
  first->isLong = true;
  for (TEntry* e = first; e != nullptr; e = e->next) Index(*e);
}

// What may raise comes before the first change.
void TKBTokenTree::MakeRoom(const TEntry* first, bool isIndexed) {
  if (first == nullptr && keyed_) keyedLists_.Reserve(keyedLists_.Size() + 1);
  const bool isLong = first != nullptr && (first->isLong || first->count == kShortList);
  if (isIndexed || isLong) index_.Reserve(index_.Size() + kShortList + 1);
}

bool TKBTokenTree::Add(const IReteToken& token, const TMemoryKey& place) {
  TEntry* first = FirstOf(place.key, place.list);
  if (FindEqual(*token, place.key, first) != nullptr) return false;
  const bool isIndexed = keyed_ && token->IsExpanded();
  MakeRoom(first, isIndexed);
  auto entry = std::make_unique<TEntry>();
  entry->token = token;
  entry->arrival = ++arrivals_;
  entry->key = place.key;
  entry->list = place.list;
  entry->unrefined = !place.refined;
  Append(*entry, first);
  if (isIndexed) Index(*entry);
  if (entry.release()->unrefined) ++unrefined_;
  ++count_;
  empty_ = false;
  return true;
}

IReteToken TKBTokenTree::Remove(const TKBToken& token, const TMemoryKey& key) {
  TEntry* first = FirstOf(key.key, key.list);
  TEntry* entry = FindEqual(token, key.key, first);
  if (entry == nullptr) return nullptr;
  // An expansion may be found under the key of another one.
  if (entry->list != key.list) first = FirstOf(entry->key, entry->list);
  IReteToken stored = entry->token;
  Unlink(*entry, *first);
  Drop(entry);
  return stored;
}

// The entry keeps its own link to the next one, so that a scan that stands on it goes on.
void TKBTokenTree::Unlink(TEntry& entry, TEntry& first) {
  if (entry.indexed) index_.Erase(IdentityOf(entry), &entry);
  TEntry* next = entry.next;
  if (&entry != &first) {
    entry.previous->next = next;
    (next == nullptr ? first : *next).previous = entry.previous;
    --first.count;
  } else {
    if (next != nullptr) {
      next->previous = next->next == nullptr ? next : first.previous;
      next->count = first.count - 1;
      next->isLong = first.isLong;
    }
    SetFirst(&first, next);
  }
  entry.removed = true;
  if (entry.unrefined) --unrefined_;
  --count_;
}

void TKBTokenTree::Drop(TEntry* entry) {
  if (scans_ > 0) {
    graveyard_.push_back(entry);
  } else {
    delete entry;
  }
}

void TKBTokenTree::Bury() const {
  std::vector<TEntry*> entries;
  entries.swap(graveyard_);
  for (TEntry* entry : entries) delete entry;
}

void TKBTokenTree::Clear() {
  if (empty_) return;
  std::vector<TEntry*> entries;
  entries.reserve(count_);
  ForAll([&](TEntry& entry) { entries.push_back(&entry); });
  buckets_.clear();
  occupied_.clear();
  keyedLists_.Clear();
  index_.Clear();
  count_ = 0;
  unrefined_ = 0;
  for (TEntry* entry : entries) entry->removed = true;
  for (TEntry* entry : entries) Drop(entry);
  empty_ = true;
}

template <class F>
std::string TKBTokenTree::BucketTexts(F&& text) const {
  std::vector<const TEntry*> entries;
  ForAll([&](const TEntry& entry) { entries.push_back(&entry); });
  std::sort(entries.begin(), entries.end(), [this](const TEntry* a, const TEntry* b) {
    const int one = BucketOf(a->key);
    const int two = BucketOf(b->key);
    return one != two ? one < two : a->arrival < b->arrival;
  });
  std::string result;
  int bucket = -1;
  for (const TEntry* entry : entries) {
    if (const int next = BucketOf(entry->key); next != bucket) {
      if (bucket >= 0) result += kLineEnd;
      bucket = next;
    }
    result += text(*entry->token);
  }
  if (bucket >= 0) result += kLineEnd;
  return result;
}

std::string TKBTokenTree::ToString() const {
  return BucketTexts([](const TKBToken& token) { return token.ToString(); });
}

std::string TKBTokenTree::ToFactsString() const {
  return BucketTexts([](const TKBToken& token) { return token.ToFactsString(); });
}

}  // namespace kb
