#include "kb/engine/KBFactList.h"

#include <algorithm>

#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/engine/KBTransfer.h"
#include "kb/platform/Strings.h"
#include "kb/values/KBConsts.h"

namespace kb {

TFacts::TFacts(TInferenceEngine* engine, TModule* module) : module_(module), engine_(engine) {}

TFacts::~TFacts() { updating_ = true; }

// ---- Finding

IFact TFacts::Get(int index) const {
  CheckListIndex(index, GetCount());
  return items_.At(static_cast<size_t>(index)).fact;
}

void TFacts::Put(int index, const IFact& fact) {
  CheckListIndex(index, GetCount());
  CheckFact(fact);
  TEntry& entry = items_.At(static_cast<size_t>(index));
  // The index of duplicates holds plain pointers.
  RemoveFromCache(*entry.fact);
  entry = TEntry(fact);
}

namespace {

// From this size on a list is searched by halving.
constexpr int kHalvedFrom = 5;

// About how far on from `first` to `last`, as a place among `count`: ids rise evenly but for gaps.
size_t Estimate(int64_t id, int64_t first, int64_t last, size_t count) {
  if (id <= first || last <= first) return 0;
  const double share = static_cast<double>(id - first) / static_cast<double>(last - first);
  return static_cast<size_t>(std::min(share, 1.0) * static_cast<double>(count));
}

}  // namespace

// First by the ids that the facts had when they were entered. What that does not find may be a fact with another id by
// now, or be among so few that their order does not count.
int TFacts::FindFact(int32_t id) const {
  const auto isFound = [&](size_t place) { return place < items_.Size() && items_.At(place).fact->GetID() == id; };
  size_t place = items_.PartitionPointNear(
      [id](const TEntry& entry) { return entry.id < id; },
      [id](const TEntry& first, const TEntry& last, size_t count) { return Estimate(id, first.id, last.id, count); });
  if (isFound(place)) return static_cast<int>(place);
  if (GetCount() < kHalvedFrom) {
    place = 0;
    while (place < items_.Size() && !isFound(place)) ++place;
  } else {
    place = items_.PartitionPoint([id](const TEntry& entry) { return entry.fact->GetID() < id; });
  }
  return isFound(place) ? static_cast<int>(place) : -1;
}

IFact TFacts::GetFactByID(int32_t id) const {
  const int index = FindFact(id);
  return index < 0 ? IFact() : items_.At(static_cast<size_t>(index)).fact;
}

uint32_t TFacts::CacheHashOf(const TFact& fact) {
  if (!fact.GetTemplate() || fact.GetTemplate()->IsFuzzy()) return 0;
  const auto hash = static_cast<uint32_t>(fact.GetHashCode());
  return hash == 0 ? 1 : hash;
}

TFact* TFacts::FindDuplicate(const TFact& fact, uint32_t cacheHash) const {
  if (!fact.GetTemplate()) return nullptr;
  if (!cacheHashCodes_) {
    TFact* found = nullptr;
    items_.ForEach([&](const TEntry& entry) {
      if (found == nullptr && entry.fact->Equals(&fact)) found = entry.fact.Get();
    });
    return found;
  }
  if (fact.GetTemplate()->IsFuzzy()) {
    const auto found = std::find_if(fuzzyCache_.begin(), fuzzyCache_.end(), [&](TFact* f) { return fact.Equals(f); });
    return found == fuzzyCache_.end() ? nullptr : *found;
  }
  // Of several that print the same the youngest counts.
  TFact* found = nullptr;
  cache_.ForEach(cacheHash, [&](TFact& candidate) {
    if (found != nullptr && found->GetID() > candidate.GetID()) return;
    if (candidate.IsDuplicateOf(fact)) found = &candidate;
  });
  return found;
}

int TFacts::FindFact(const TFact& fact) const {
  const TFact* found = FindDuplicate(fact);
  return found == nullptr ? -1 : IndexOf(found);
}

int TFacts::IndexOf(const TFact* fact) const {
  if (fact == nullptr) return -1;
  if (fact->GetID() != -1) {
    const int index = FindFact(fact->GetID());
    if (index >= 0 && items_.At(static_cast<size_t>(index)).fact == fact) return index;
    if (index < 0 && GetCount() >= kHalvedFrom) return -1;
  }
  int index = 0;
  int found = -1;
  items_.ForEach([&](const TEntry& entry) {
    if (found < 0 && entry.fact == fact) found = index;
    ++index;
  });
  return found;
}

/// The engine's next fact gets the given id. What comes behind it gets higher ids than any so far: from the
/// moment when the fact enters the list, since its network pass and its event may assert on, or, if it does
/// not get that far, from the end of the scope.
class TFacts::TIdScope {
 public:
  TIdScope(TFacts& facts, int32_t id) : facts_(facts), saved_(facts.engine_->GetFactIdCounter()), id_(id) {
    facts_.idScope_ = this;
    facts_.engine_->SetFactIdCounter(id);
  }
  TIdScope(const TIdScope&) = delete;
  TIdScope& operator=(const TIdScope&) = delete;
  ~TIdScope() {
    if (facts_.idScope_ == this) End();
  }
  void End() noexcept {
    facts_.idScope_ = nullptr;
    facts_.maxId_ = std::max(facts_.maxId_, id_);
    facts_.engine_->SetFactIdCounter(std::max(saved_, facts_.maxId_ + 1));
  }

 private:
  TFacts& facts_;
  int32_t saved_;
  int32_t id_;
};

// ---- Changing

// The lists of all modules know the fact by one hash, that of the day when it was asserted: a value may have been
// changed in place since.
void TFacts::AddToCache(TFact& fact) {
  if (!cacheHashCodes_) return;
  if (fact.GetTemplate() && fact.GetTemplate()->IsFuzzy()) {
    fuzzyCache_.push_back(&fact);
    return;
  }
  if (fact.GetCacheHash() == 0) fact.SetCacheHash(CacheHashOf(fact));
  cache_.Insert(fact.GetCacheHash(), &fact);
}

void TFacts::RemoveFromCache(TFact& fact) {
  if (!cacheHashCodes_) return;
  if (!cache_.Erase(fact.GetCacheHash(), &fact)) std::erase(fuzzyCache_, &fact);
}

void TFacts::CheckFact(const IFact& fact) {
  RequireObject(fact, "fact");
  if (!fact->GetTemplate()) throw EKBException(TKBMessage::FactTemplateMissing);
}

/// Where a fact goes that the engine adds: at the end, but for one with a lower id, which it kept of its own or got
/// before it came from another module.
void TFacts::Enter(const IFact& fact) {
  if (idScope_ != nullptr) idScope_->End();
  const bool last = items_.Empty() || items_.Back().fact->GetID() < fact->GetID();
  if (last || engine_ == nullptr) {
    items_.Append(fact);
  } else {
    const int32_t id = fact->GetID();
    items_.Insert(items_.PartitionPoint([id](const TEntry& entry) { return entry.fact->GetID() < id; }), fact);
  }
  AddToCache(*fact);
}

int TFacts::Add(const IFact& fact) {
  CheckFact(fact);
  if (IsOwnChange()) {
    Enter(fact);
    return GetCount() - 1;
  }
  const int32_t id = fact->GetID();
  const bool keepsId = preserveIds_ && id >= 0 && id < INT32_MAX && FindFact(id) < 0;
  if (keepsId) {
    const TIdScope keep(*this, id);
    engine_->Assert(fact);
  } else {
    maxId_ = std::max(maxId_, engine_->Assert(fact));
  }
  return GetCount() - 1;
}

void TFacts::Insert(int index, const IFact& fact) {
  CheckFact(fact);
  CheckListIndex(index, GetCount() + 1);
  if (IsOwnChange()) {
    items_.Insert(static_cast<size_t>(index), fact);
    AddToCache(*fact);
    return;
  }
  if (engine_->Assert(fact) < 0) return;
  const int present = IndexOf(fact.Get());
  if (present < 0) return;
  const TUpdating updating(*this);
  Delete(present);
  Insert(std::min(index, GetCount()), fact);
}

void TFacts::Delete(int index) {
  CheckListIndex(index, GetCount());
  if (!IsOwnChange()) {
    engine_->RetractFact(index);
    return;
  }
  const IFact fact = items_.Erase(static_cast<size_t>(index)).fact;
  RemoveFromCache(*fact);
}

int TFacts::Remove(const IFact& fact) {
  const int index = IndexOf(fact.Get());
  if (index < 0) return -1;
  Delete(index);
  return index;
}

void TFacts::Clear() {
  cache_.Clear();
  fuzzyCache_.clear();
  items_.Clear();
  maxId_ = 0;
  if (engine_ != nullptr) engine_->RetractFacts();
}

// Calls `visit` with index and fact of each local, or each imported, fact, from the last to the first. The
// calls may change the list.
template <class F>
void TFacts::ForEachOf(TConstructScope scope, F&& visit) {
  const std::vector<IFact> facts = Snapshot();
  for (auto fact = facts.rbegin(); fact != facts.rend(); ++fact) {
    const bool local = (*fact)->GetTemplate()->GetModule() == module_;
    if (local != (scope == csLocal)) continue;
    if (const int index = IndexOf(fact->Get()); index >= 0) visit(index, *fact);
  }
}

void TFacts::Clear(TConstructScope scope) {
  ForEachOf(scope, [this](int index, const IFact& fact) {
    if (engine_ != nullptr) {
      engine_->RemoveFactFromModule(index, fact, nullptr);
    } else {
      Delete(index);
    }
  });
}

void TFacts::SortByID() {
  std::vector<IFact> facts = Snapshot();
  const auto before = [](const IFact& a, const IFact& b) { return a->GetID() < b->GetID(); };
  if (std::is_sorted(facts.begin(), facts.end(), before)) return;
  std::stable_sort(facts.begin(), facts.end(), before);
  items_.Clear();
  for (IFact& fact : facts) items_.Append(std::move(fact));
}

void TFacts::SetCacheHashCodes(bool value) {
  if (cacheHashCodes_ == value) return;
  cache_.Clear();
  fuzzyCache_.clear();
  cacheHashCodes_ = value;
  if (value) ForEach([this](TFact& fact) { AddToCache(fact); });
}

int TFacts::GetImportCount() const {
  int count = 0;
  ForEach([&](const TFact& fact) { count += fact.GetTemplate()->GetModule() != module_ ? 1 : 0; });
  return count;
}

std::vector<IFact> TFacts::Snapshot() const {
  std::vector<IFact> facts;
  facts.reserve(items_.Size());
  items_.ForEach([&](const TEntry& entry) { facts.push_back(entry.fact); });
  return facts;
}

// ---- Copies and text

IFact TFacts::CopyFact(TFact& source) const {
  const IFactTemplate& theirs = source.GetTemplate();
  if (engine_ == nullptr || theirs->GetEngine() == engine_) return MakeRef<TFact>(theirs, &source);
  IFactTemplate ours = engine_->FindFactTemplate(theirs->GetTemplateName());
  if (ours && !ours->Equals(theirs.Get())) {
    throw EKBException(TKBMessage::FactTemplatesDiffer,
                       {ours->GetTemplateName().ToString(), theirs->GetTemplateName().ToString()});
  }
  if (!ours) ours = engine_->CreateFactTemplate(theirs->GetTemplateName());
  return MakeRef<TFact>(ours, &source);
}

void TFacts::CopyFacts(const TFacts& source) {
  for (const IFact& fact : source.Snapshot()) Add(CopyFact(*fact));
}

void TFacts::Assign(const TPersistent& source) {
  const auto* other = dynamic_cast<const TFacts*>(&source);
  if (other == nullptr) return TPersistent::Assign(source);
  if (other == this) return;
  Clear();
  CopyFacts(*other);
}

void TFacts::AssignLocal(const TFacts& source) {
  if (&source == this) return;
  ForEachOf(csLocal, [this](int index, const IFact&) { Delete(index); });
  CopyFacts(source);
}

void TFacts::AssignTo(TPersistent& target) const {
  auto* strings = dynamic_cast<TStrings*>(&target);
  if (strings == nullptr) return TPersistent::AssignTo(target);
  TStringList texts;
  ForEach([&](const TFact& fact) { texts.Add(fact.ToString()); });
  strings->Assign(texts);
}

void TFacts::AddLocals(const TFacts& source) {
  if (engine_ == nullptr || &source == this) return;
  const TTransfer transfer(*engine_, TTransfer::tlCurrentModule);
  for (const IFact& fact : source.Snapshot()) {
    if (fact->GetTemplate()->GetModule() != source.GetModule()) continue;
    const IFact copy = transfer.Fact(*fact);
    copy->SetID(-1);
    Add(copy);
  }
}

std::string TFacts::ToString() const {
  std::string text;
  ForEach([&](const TFact& fact) { text += (text.empty() ? "" : std::string(kLineEnd)) + fact.ToString(); });
  return text;
}

std::string TFacts::GetToIDString() const {
  std::string text;
  ForEach([&](const TFact& fact) { text += (text.empty() ? "" : std::string(kLineEnd)) + fact.GetToIDString(); });
  return text;
}

std::string TFacts::LocalsToString(bool withIds) const {
  std::string text;
  ForEach([&](const TFact& fact) {
    if (fact.GetTemplate()->GetModule() != module_) return;
    text += IndentString;
    text += withIds ? fact.GetToIDString() : fact.ToString();
    text += kLineEnd;
  });
  return text;
}

}  // namespace kb
