// The facts of one module.
//
// Must keep: ascending order of ids (each new fact goes to the end), access by index, removal anywhere,
// search by id, search for a duplicate. Hence an indexed sequence (logarithmic by index and by id) and an
// index of the printed form.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kb/common/HashIndex.h"
#include "kb/common/IndexedSequence.h"
#include "kb/platform/Object.h"
#include "kb/values/Fact.h"
#include "kb/values/KBTypes.h"

namespace kb {

/// Fact list. A change made from outside (Add, Insert, Delete, Remove, Clear) is a request to the engine, which
/// asserts or retracts with all that belongs to it; while the engine changes the list itself it holds TUpdating.
class TFacts : public TPersistent {
 public:
  /// Both may be null: a free-standing list only holds facts.
  TFacts(TInferenceEngine* engine, TModule* module);
  ~TFacts() override;

  [[nodiscard]] int GetCount() const noexcept { return static_cast<int>(items_.Size()); }
  /// Raises EListError for a bad index.
  [[nodiscard]] IFact Get(int index) const;
  /// Replaces the entry behind the engine's back; no duplicate of the new one is found.
  void Put(int index, const IFact& fact);
  /// The fact of that id, or null. Logarithmic.
  [[nodiscard]] IFact GetFactByID(int32_t id) const;
  /// Index of the fact with that id, or -1. Relies on ascending ids: see SortByID.
  [[nodiscard]] int FindFact(int32_t id) const;
  /// Index of a fact that prints the same (with the cache) or is equal (without it), or -1.
  [[nodiscard]] int FindFact(const TFact& fact) const;
  /// The fact that FindFact of a fact finds, or null.
  [[nodiscard]] TFact* FindDuplicate(const TFact& fact) const { return FindDuplicate(fact, CacheHashOf(fact)); }
  [[nodiscard]] TFact* FindDuplicate(const TFact& fact, uint32_t cacheHash) const;
  /// What the cache knows a fact by; 0 for a fuzzy fact, which is not found by it.
  [[nodiscard]] static uint32_t CacheHashOf(const TFact& fact);
  /// By identity; by id when the fact has one.
  [[nodiscard]] int IndexOf(const TFact* fact) const;

  // A null handle raises EKBException, a fact without template "Fact Template is missing".

  /// From outside: asserts. With PreserveIDs a fact keeps an id that is free, and later facts get higher ones.
  int Add(const IFact& fact);
  void Insert(int index, const IFact& fact);
  void Delete(int index);
  int Remove(const IFact& fact);
  virtual void Clear();
  /// Takes the imported or the local facts through the network and out.
  virtual void Clear(TConstructScope scope);
  void SortByID();

  /// Facts whose template has another home, and the others.
  [[nodiscard]] int GetImportCount() const;
  [[nodiscard]] int GetLocalsCount() const { return GetCount() - GetImportCount(); }
  [[nodiscard]] bool GetPreserveIDs() const noexcept { return preserveIds_; }
  void SetPreserveIDs(bool value) noexcept { preserveIds_ = value; }
  [[nodiscard]] bool GetCacheHashCodes() const noexcept { return cacheHashCodes_; }
  void SetCacheHashCodes(bool value);
  [[nodiscard]] int32_t GetMaxID() const noexcept { return maxId_; }

  void Assign(const TPersistent& source) override;
  /// Only the local facts give way, each by a retraction.
  virtual void AssignLocal(const TFacts& source);
  /// Adds copies of the facts that are at home in the source's module; those of imported templates come by
  /// the import.
  void AddLocals(const TFacts& source);
  [[nodiscard]] std::string ToString() const;
  [[nodiscard]] std::string GetToIDString() const;
  [[nodiscard]] std::string LocalsToString(bool withIds) const;

  /// All facts in order; for loops that change the list while they run.
  [[nodiscard]] std::vector<IFact> Snapshot() const;
  /// Calls `visit(TFact&)` for each fact in order. The list must not change meanwhile.
  template <class F>
  void ForEach(F&& visit) const {
    items_.ForEach([&](const TEntry& entry) { visit(*entry.fact); });
  }

  [[nodiscard]] TModule* GetModule() const noexcept { return module_; }
  [[nodiscard]] TInferenceEngine* GetEngine() const noexcept { return engine_; }
  void ClearEngine() noexcept { engine_ = nullptr; }

  /// Held by the engine around its own changes.
  class TUpdating {
   public:
    explicit TUpdating(TFacts& facts) noexcept : facts_(facts), saved_(facts.updating_) { facts.updating_ = true; }
    TUpdating(const TUpdating&) = delete;
    TUpdating& operator=(const TUpdating&) = delete;
    ~TUpdating() { facts_.updating_ = saved_; }

   private:
    TFacts& facts_;
    bool saved_;
  };

 private:
  class TIdScope;
  // The id that the fact had when it was entered stands beside it: a search looks at neighbours in a chunk, not at
  // facts all over the memory.
  struct TEntry {
    TEntry(IFact f) noexcept : fact(std::move(f)), id(fact->GetID()) {}
    IFact fact;
    int32_t id;
  };

  void AssignTo(TPersistent& target) const override;
  static void CheckFact(const IFact& fact);
  void Enter(const IFact& fact);
  template <class F>
  void ForEachOf(TConstructScope scope, F&& visit);
  [[nodiscard]] bool IsOwnChange() const noexcept { return updating_ || engine_ == nullptr; }
  void AddToCache(TFact& fact);
  void RemoveFromCache(TFact& fact);
  void CopyFacts(const TFacts& source);
  [[nodiscard]] IFact CopyFact(TFact& source) const;

  bool updating_ = false;
  bool preserveIds_ = false;
  int32_t maxId_ = 0;
  TIdScope* idScope_ = nullptr;  // of the fact that is to keep its id and is not yet in the list
  bool cacheHashCodes_ = true;
  TIndexedSequence<TEntry> items_;
  THashIndex<TFact> cache_;         // facts of plain templates by the hash of their printed form
  std::vector<TFact*> fuzzyCache_;  // facts of fuzzy templates, in order of arrival
  TModule* module_;
  TInferenceEngine* engine_;
};

}  // namespace kb
