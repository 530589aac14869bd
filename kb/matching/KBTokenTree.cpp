#include "kb/matching/KBTokenTree.h"

#include <algorithm>
#include <bit>

#include "kb/common/Helpers.h"
#include "kb/matching/KBSlotTest.h"
#include "kb/values/ValueVector.h"

namespace kb {

std::optional<uint32_t> RefiningHash(const TKBValue* value) {
  if (value == nullptr) return 0;
  const TKBType type = value->GetDType();
  if (type == dtFuzzy) return std::nullopt;
  const uint32_t seed = MixBits(static_cast<uint32_t>(type) + 1);
  // Others (floats within the tolerance, lists) may be equal without hashing alike: their type alone tells
  // something.
  const bool exact = KBStringTypes.Has(type) || type == dtInteger || type == dtFactId;
  return exact ? CombineHash(seed, static_cast<uint32_t>(value->GetHashCode())) : seed;
}

std::optional<uint32_t> RefinementOf(const TKBToken& token, const std::vector<TKeyPart>& parts) {
  uint32_t refinement = 0;
  for (const TKeyPart& part : parts) {
    const TFact* fact = token.Facts(part.factIndex);
    if (fact == nullptr) return std::nullopt;
    const std::optional<uint32_t> hash = WithElement(*fact, part.slot, part.subIndex, RefiningHash);
    if (!hash) return std::nullopt;
    refinement = CombineHash(refinement, *hash);
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

uint32_t TKBTokenTree::IdentityOf(const TKBToken& token, int bucket) const noexcept {
  return token.GetHash() ^ MixBits(static_cast<uint32_t>(bucket) + 1);
}

uint32_t TKBTokenTree::ChainHash(int32_t key, uint32_t refinement) noexcept {
  return CombineHash(MixBits(static_cast<uint32_t>(key)), refinement);
}

const TKBTokenTree::TChain* TKBTokenTree::FindChain(int32_t key, uint32_t refinement) const {
  if (!keyed_) return chains_.empty() ? nullptr : &chains_[static_cast<size_t>(BucketOf(key))];
  return keyedChains_.Find(ChainHash(key, refinement),
                           [&](TChain& c) { return c.key == key && c.refinement == refinement; });
}

TKBTokenTree::TChain& TKBTokenTree::ChainFor(int32_t key, uint32_t refinement) {
  if (!keyed_) {
    if (chains_.empty()) {
      chains_.resize(static_cast<size_t>(size_));
      occupied_.resize((chains_.size() + 63) / 64);
    }
    return chains_[static_cast<size_t>(BucketOf(key))];
  }
  if (const TChain* found = FindChain(key, refinement)) return const_cast<TChain&>(*found);
  auto chain = std::make_unique<TChain>();
  chain->key = key;
  chain->refinement = refinement;
  keyedChains_.Insert(ChainHash(key, refinement), chain.get());
  return *chain.release();
}

// The slow road past the refinement.
std::vector<const TKBTokenTree::TEntry*> TKBTokenTree::EntriesOf(int32_t key) const {
  std::vector<const TEntry*> entries;
  index_.ForAll([&](const TEntry& entry) {
    if (entry.key == key) entries.push_back(&entry);
  });
  std::sort(entries.begin(), entries.end(), [](const TEntry* a, const TEntry* b) { return a->arrival < b->arrival; });
  return entries;
}

size_t TKBTokenTree::NextOccupied(size_t bucket) const noexcept {
  size_t word = bucket / 64;
  if (word >= occupied_.size()) return chains_.size();
  uint64_t bits = occupied_[word] & (~uint64_t{0} << (bucket % 64));
  while (bits == 0) {
    if (++word == occupied_.size()) return chains_.size();
    bits = occupied_[word];
  }
  return word * 64 + static_cast<size_t>(std::countr_zero(bits));
}

void TKBTokenTree::MarkOccupied(const TChain& chain, bool value) noexcept {
  if (keyed_) return;
  const auto bucket = static_cast<size_t>(&chain - chains_.data());
  const uint64_t bit = uint64_t{1} << (bucket % 64);
  uint64_t& word = occupied_[bucket / 64];
  word = value ? word | bit : word & ~bit;
}

bool TKBTokenTree::Add(const IReteToken& token, const TMemoryKey& place) {
  const int32_t key = place.key;
  const int bucket = BucketOf(key);
  const uint32_t identity = IdentityOf(*token, bucket);
  if (index_.Find(identity, [&](const TEntry& entry) {
        return entry.token->Equals(*token) && BucketOf(entry.key) == bucket;
      }) != nullptr) {
    return false;
  }
  auto entry = std::make_unique<TEntry>();
  entry->token = token;
  entry->key = key;
  entry->arrival = ++arrivals_;
  entry->unrefined = !place.refinement;
  TChain& chain = ChainFor(key, place.refinement.value_or(0));
  entry->chain = &chain;
  entry->previous = chain.last;
  index_.Insert(identity, entry.get());
  if (!place.refinement) ++unrefined_;
  if (chain.first == nullptr) MarkOccupied(chain, true);
  (chain.last == nullptr ? chain.first : chain.last->next) = entry.get();
  chain.last = entry.release();
  empty_ = false;
  return true;
}

IReteToken TKBTokenTree::Remove(const TKBToken& token, const TMemoryKey& key) {
  const int bucket = BucketOf(key.key);
  TEntry* entry = index_.Take(IdentityOf(token, bucket),
                              [&](const TEntry& e) { return e.token->Equals(token) && BucketOf(e.key) == bucket; });
  if (entry == nullptr) return nullptr;
  IReteToken stored = entry->token;
  Unlink(*entry);
  Drop(entry);
  return stored;
}

// The entry keeps its own links, so that a scan that stands on it goes on.
void TKBTokenTree::Unlink(TEntry& entry) {
  TChain& chain = *entry.chain;
  (entry.previous == nullptr ? chain.first : entry.previous->next) = entry.next;
  (entry.next == nullptr ? chain.last : entry.next->previous) = entry.previous;
  entry.removed = true;
  if (entry.unrefined) --unrefined_;
  if (chain.first != nullptr) return;
  MarkOccupied(chain, false);
  if (!keyed_) return;
  keyedChains_.Erase(ChainHash(chain.key, chain.refinement), &chain);
  if (scans_ > 0) {
    chainGraveyard_.push_back(&chain);
  } else {
    delete &chain;
  }
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
  std::vector<TChain*> chains;
  chains.swap(chainGraveyard_);
  for (TChain* chain : chains) delete chain;
}

void TKBTokenTree::Clear() {
  if (empty_) return;
  std::vector<TEntry*> entries;
  entries.reserve(index_.Size());
  index_.ForAll([&](TEntry& entry) { entries.push_back(&entry); });
  index_.Clear();
  for (TEntry* entry : entries) {
    Unlink(*entry);
    Drop(entry);
  }
  empty_ = true;
}

template <class F>
std::string TKBTokenTree::BucketTexts(F&& text) const {
  std::vector<const TEntry*> entries;
  index_.ForAll([&](const TEntry& entry) { entries.push_back(&entry); });
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
