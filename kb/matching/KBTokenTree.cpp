#include "kb/matching/KBTokenTree.h"

#include <algorithm>

#include "kb/common/Helpers.h"
#include "kb/values/ValueVector.h"

namespace kb {

TKBTokenTree::TKBTokenTree(int size, int factIndex, int subIndex, const TKBText& slotName, bool hashBySortCode)
    : size_(size < 1 ? 1 : size),
      factIndex_(factIndex),
      subIndex_(subIndex),
      slot_(slotName),
      hashBySortCode_(hashBySortCode),
      keyed_(!hashBySortCode && !slotName.Empty()),
      minIndex_(size_ + 1) {}

TKBTokenTree::~TKBTokenTree() {
  scans_ = 0;
  Clear();
}

int32_t TKBTokenTree::KeyOf(const TKBToken& token) const {
  if (hashBySortCode_) return token.GetSortCode();
  TFact* fact = token.Facts(factIndex_);
  if (fact == nullptr) return 0;
  if (!keyed_) return fact->GetID();
  const TKBValue* value = fact->FindValue(slot_);
  if (value == nullptr) return 0;
  if (subIndex_ == NoSubIndex) return value->GetHashCode();
  const TValueVector* list = value->ListOrNull();
  if (list == nullptr || subIndex_ >= list->GetValueCount()) return 0;
  const IKBValue& element = list->Get(subIndex_);
  return element ? element->GetHashCode() : 0;
}

int TKBTokenTree::BucketOf(int32_t key) const noexcept {
  const uint32_t size = static_cast<uint32_t>(size_);
  const uint32_t magnitude = key < 0 ? 0U - static_cast<uint32_t>(key) : static_cast<uint32_t>(key);
  return static_cast<int>(magnitude % size);
}

uint32_t TKBTokenTree::IdentityOf(const TKBToken& token, int bucket) const noexcept {
  return token.GetHash() ^ MixBits(static_cast<uint32_t>(bucket) + 1);
}

const TKBTokenTree::TChain* TKBTokenTree::FindChain(int32_t key) const {
  if (keyed_) {
    return keyedChains_.Find(MixBits(static_cast<uint32_t>(key)), [&](TChain& c) { return c.key == key; });
  }
  return chains_.empty() ? nullptr : &chains_[static_cast<size_t>(BucketOf(key))];
}

TKBTokenTree::TChain& TKBTokenTree::ChainFor(int32_t key, int bucket) {
  if (!keyed_) {
    if (chains_.empty()) chains_.resize(static_cast<size_t>(size_));
    return chains_[static_cast<size_t>(bucket)];
  }
  const uint32_t hash = MixBits(static_cast<uint32_t>(key));
  if (TChain* found = keyedChains_.Find(hash, [&](TChain& c) { return c.key == key; })) return *found;
  auto chain = std::make_unique<TChain>();
  chain->key = key;
  keyedChains_.Insert(hash, chain.get());
  return *chain.release();
}

bool TKBTokenTree::Add(const IReteToken& token) {
  const int32_t key = KeyOf(*token);
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
  TChain& chain = ChainFor(key, bucket);
  entry->chain = &chain;
  entry->previous = chain.last;
  index_.Insert(identity, entry.get());
  (chain.last == nullptr ? chain.first : chain.last->next) = entry.get();
  chain.last = entry.release();
  minIndex_ = std::min(minIndex_, bucket);
  maxIndex_ = std::max(maxIndex_, bucket);
  empty_ = false;
  return true;
}

IReteToken TKBTokenTree::Remove(const TKBToken& token) {
  const int bucket = BucketOf(KeyOf(token));
  const uint32_t identity = IdentityOf(token, bucket);
  TEntry* entry = index_.Find(
      identity, [&](const TEntry& e) { return e.token->Equals(token) && BucketOf(e.key) == bucket; });
  if (entry == nullptr) return nullptr;
  index_.Erase(identity, entry);
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
  if (!keyed_ || chain.first != nullptr) return;
  keyedChains_.Erase(MixBits(static_cast<uint32_t>(chain.key)), &chain);
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
  maxIndex_ = -1;
  minIndex_ = size_ + 1;
}

template <class F>
std::string TKBTokenTree::BucketTexts(F&& text) const {
  std::vector<const TEntry*> entries;
  const auto collect = [&](const TChain& chain) {
    for (const TEntry* entry = chain.first; entry != nullptr; entry = entry->next) entries.push_back(entry);
  };
  for (const TChain& chain : chains_) collect(chain);
  keyedChains_.ForAll([&](TChain& chain) { collect(chain); });
  std::stable_sort(entries.begin(), entries.end(),
                   [this](const TEntry* a, const TEntry* b) { return BucketOf(a->key) < BucketOf(b->key); });
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
