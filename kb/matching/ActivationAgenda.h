// Activations and the agenda.
//
// An activation says that a rule can fire with a token. The agenda is the ordered list of activations of a
// module; entry 0 fires next. Entries are in the order of the rule's salience, and among equals where the
// strategy put them (see TInferenceEngine::SearchSalience).
//
// Must keep: order by index with insertion anywhere, finding an activation, removing it, all logarithmic with
// a hundred thousand activations. Hence an indexed sequence whose entries remember their chunk, and an index
// by object.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kb/common/HashIndex.h"
#include "kb/common/IndexedSequence.h"
#include "kb/common/Pool.h"
#include "kb/matching/KBToken.h"
#include "kb/platform/Object.h"
#include "kb/values/KBTypes.h"

namespace kb {

class TPatternMatchTerminalNode;

/// A rule with a token that satisfies it. Held by the agenda, and by the engine while it fires.
class TActivation : public TPersistent, public RefCounted, public TPooled {
 public:
  using TPooled::operator new;
  using TPooled::operator delete;
  /// The strength is kept within 0 to 1. `node` may be null.
  TActivation(TRule* rule, const IReteToken& token, TPatternMatchTerminalNode* node, float strength) noexcept;
  ~TActivation() override;
  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  [[nodiscard]] TRule* GetRule() const noexcept { return rule_; }
  [[nodiscard]] const IReteToken& GetToken() const noexcept { return token_; }
  [[nodiscard]] TPatternMatchTerminalNode* GetNode() const noexcept { return node_; }
  /// The terminal lets go of the activation, or goes away.
  void ClearNode() noexcept { node_ = nullptr; }
  /// Whether the terminal lists it: a clone, or one that a host made, is not listed until the engine adds it.
  [[nodiscard]] bool IsListed() const noexcept { return order_ != 0; }
  [[nodiscard]] float GetStrength() const noexcept { return strength_; }
  void SetStrength(float value) noexcept;

  /// Runs the rule's actions, then tells the terminal. True.
  virtual bool Fire();
  /// Leaves the terminal, as an activation that the agenda drops does.
  void Detach();
  [[nodiscard]] virtual Ref<TActivation> Clone() const;
  void Assign(const TPersistent& source) override;
  /// "0 r : f-1, f-2 (1.0000)".
  [[nodiscard]] std::string ToString() const;
  [[nodiscard]] std::string ToString(int32_t salience) const;

  [[nodiscard]] static int64_t LiveCount() noexcept;

 private:
  friend class TPatternMatchTerminalNode;
  TRule* rule_;
  IReteToken token_;
  TPatternMatchTerminalNode* node_;
  float strength_ = 0;
  // Links of the terminal's list, in order of arrival.
  TActivation* previous_ = nullptr;
  TActivation* next_ = nullptr;
  uint64_t order_ = 0;  // 0 while it is in no list
};

/// An ordered list of activations.
class TActivationAgenda {
 public:
  TActivationAgenda() = default;
  TActivationAgenda(const TActivationAgenda&) = delete;
  TActivationAgenda& operator=(const TActivationAgenda&) = delete;
  virtual ~TActivationAgenda();

  /// Inserts where FindInsertion says, appends on -1; gives the index.
  int Add(const Ref<TActivation>& activation);
  [[nodiscard]] int GetCount() const noexcept { return static_cast<int>(entries_.Size()); }
  /// Raises EListError for a bad index.
  [[nodiscard]] const Ref<TActivation>& GetActivation(int index) const;
  void SetActivation(int index, const Ref<TActivation>& activation);
  /// Text of an entry, with the salience that the rule had when it was inserted.
  [[nodiscard]] std::string GetText(int index) const;
  [[nodiscard]] int IndexOfData(const TActivation* activation) const noexcept;
  /// Takes the entry off and leaves the activation as it is.
  Ref<TActivation> Extract(int index);
  /// Takes the entry off; with FreeData the activation leaves its terminal.
  void Delete(int index);
  /// Empties the list first; then, with FreeData, the activations leave their terminals.
  void Clear();
  [[nodiscard]] std::vector<Ref<TActivation>> Snapshot() const;
  /// Puts the entries into another order; `order` holds the same activations.
  void Arrange(const std::vector<Ref<TActivation>>& order);
  [[nodiscard]] bool GetFreeData() const noexcept { return freeData_; }
  void SetFreeData(bool value) noexcept { freeData_ = value; }
  [[nodiscard]] virtual int FindInsertion(const TActivation& /*activation*/) const { return -1; }

 private:
  struct TEntry : public TPooled {
    Ref<TActivation> activation;
    int32_t salience = 0;
    void* chunk = nullptr;
  };
  struct TTracker {
    static void Placed(TEntry* entry, void* chunk) noexcept { entry->chunk = chunk; }
  };
  [[nodiscard]] static uint32_t HashOf(const TActivation* activation) noexcept;
  [[nodiscard]] TEntry* EntryAt(int index) const;

  TIndexedSequence<TEntry*, TTracker> entries_;  // owned
  THashIndex<TEntry> index_;                     // by the activation's address
  bool freeData_ = true;
};

/// The agenda of a module of an engine; both may be null for a list of its own.
class TKBAgenda final : public TActivationAgenda {
 public:
  TKBAgenda(TInferenceEngine* engine, TModule* module) noexcept : engine_(engine), module_(module) {}
  [[nodiscard]] int FindInsertion(const TActivation& activation) const override;
  [[nodiscard]] TModule* GetModule() const noexcept { return module_; }
  void ClearEngine() noexcept { engine_ = nullptr; }

 private:
  TInferenceEngine* engine_;
  TModule* module_;
};

}  // namespace kb
