// Tokens: partial matches on their way through the network.
//
// A token is one fact and a reference to the token that it extends, so that chains share their prefixes and a
// token has the same size however long its chain. Chains are never changed after they are built. Two tokens
// are equal when their facts have the same ids and they have the same strength: a token that removes finds
// what was added without a pointer to it.
#pragma once

#include <cstdint>
#include <string>

#include "kb/common/Hash.h"
#include "kb/common/Pool.h"
#include "kb/common/Ref.h"
#include "kb/values/Fact.h"
#include "kb/values/KBTypes.h"

namespace kb {

class TKBToken final : public RefCounted, public TPooled {
 public:
  /// The clear token: no fact, tag taClear, count 0.
  TKBToken() = default;
  /// A chain of one fact. "Invalid Token Action" without one.
  TKBToken(TTokenAction tag, const IFact& fact);
  /// The parent's chain and one more fact; tag and strength from the parent. `fact` may be none.
  TKBToken(const IReteToken& parent, const IFact& fact);
  /// The same with another tag and strength. With `tag` other than taClear there must be a fact.
  TKBToken(const IReteToken& parent, const IFact& fact, TTokenAction tag, float strength);
  /// A copy of every field but the negated count, which is 0.
  explicit TKBToken(const IReteToken& other);
  ~TKBToken() override;

  [[nodiscard]] int GetCount() const noexcept { return static_cast<int>(count_); }
  /// Blocking tokens of a negated join; a negative value is stored as 0.
  [[nodiscard]] int GetNegatedCount() const noexcept { return negatedCount_; }
  void SetNegatedCount(int value) noexcept { negatedCount_ = value < 0 ? 0 : value; }
  [[nodiscard]] const IFact& GetFact() const noexcept { return fact_; }
  [[nodiscard]] const IReteToken& GetParent() const noexcept { return parent_; }
  /// The fact at a position, 0 being the oldest; an index beyond the chain gives the token's own fact. Walks
  /// from the end of the chain.
  [[nodiscard]] TFact* Facts(int index) const noexcept {
    const TKBToken* token = this;
    while (token->GetCount() - index >= 2) token = token->parent_.Get();
    return token->fact_.Get();
  }
  /// Depends on the facts and their order: the parent's times 8 plus the fact's id, wrapping.
  [[nodiscard]] int32_t GetSortCode() const noexcept { return sortCode_; }
  /// A stronger mix of the same ids, for tables.
  [[nodiscard]] uint32_t GetHash() const noexcept { return hash_; }
  [[nodiscard]] float GetStrength() const noexcept { return strength_; }
  /// A negative value is stored as 0.
  void SetStrength(float value) noexcept { strength_ = value < 0.0F ? 0.0F : value; }
  [[nodiscard]] TTokenAction GetTag() const noexcept { return tag_; }
  /// "Invalid Token Action" for another tag than taClear on a token without fact.
  void SetTag(TTokenAction tag);

  /// True when the chain holds an expansion of a fact: other chains of the same ids may differ in their slots.
  [[nodiscard]] bool IsExpanded() const noexcept { return expanded_; }
  void MarkExpanded() noexcept { expanded_ = true; }

  /// True when several nodes may hold the token: what it counts for one of them must go into a copy.
  [[nodiscard]] bool IsShared() const noexcept { return shared_; }
  void MarkShared() noexcept { shared_ = true; }

  /// Linear in the chain only for chains that are equal but not shared.
  [[nodiscard]] bool Equals(const TKBToken& other) const noexcept;
  /// Tag, counts and the facts' texts, newest first.
  [[nodiscard]] std::string ToString() const;
  /// "f-1, f-5", oldest first.
  [[nodiscard]] std::string ToFactsString() const;

  [[nodiscard]] static int64_t LiveCount() noexcept;

 private:
  static constexpr uint32_t kMaxCount = 0xFFFFFF;  // far more patterns than memory carries

  // 48 bytes in all, the size of a memory's entry: the two come from one pool and lie side by side.
  uint32_t count_ : 24 = 0;
  TTokenAction tag_ : 6 = taClear;
  bool expanded_ : 1 = false;
  bool shared_ : 1 = false;
  int32_t negatedCount_ = 0;
  float strength_ = 1.0F;
  IFact fact_;
  IReteToken parent_;
  int32_t sortCode_ = 0;
  uint32_t hash_ = 0;
};

}  // namespace kb
