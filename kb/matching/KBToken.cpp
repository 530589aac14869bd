#include "kb/matching/KBToken.h"

#include <array>

#include "kb/common/Helpers.h"
#include "kb/common/LiveCount.h"
#include "kb/values/KBConsts.h"

namespace kb {
namespace {

TLiveCount liveTokens;

constexpr std::array<std::string_view, 4> kActionNames{"taClear", "taAdd", "taRemove", "taUpdate"};

uint32_t IdOf(const IFact& fact) noexcept { return fact ? static_cast<uint32_t>(fact->GetID()) : 0U; }

}  // namespace

int64_t TKBToken::LiveCount() noexcept { return liveTokens.Get(); }

TKBToken::TKBToken(TTokenAction tag, const IFact& fact)
    : count_(1), tag_(tag), fact_(fact), sortCode_(static_cast<int32_t>(IdOf(fact))), hash_(MixBits(IdOf(fact))) {
  if (!fact) throw EKBException(TKBMessage::InvalidTokenAction);
  liveTokens.Add(1);
}

TKBToken::TKBToken(const IReteToken& parent, const IFact& fact)
    : TKBToken(parent, fact, parent->tag_, parent->strength_) {}

TKBToken::TKBToken(const IReteToken& parent, const IFact& fact, TTokenAction tag, float strength)
    : count_((parent->count_ + 1) & kMaxCount),
      tag_(tag),
      expanded_(parent->expanded_),
      strength_(strength),
      fact_(fact),
      parent_(parent),
      sortCode_(static_cast<int32_t>(static_cast<uint32_t>(parent->sortCode_) * 8 + IdOf(fact))),
      hash_(CombineHash(parent->hash_, IdOf(fact))) {
  liveTokens.Add(1);
}

TKBToken::TKBToken(const IReteToken& other)
    : count_(other->count_),
      tag_(other->tag_),
      expanded_(other->expanded_),
      strength_(other->strength_),
      fact_(other->fact_),
      parent_(other->parent_),
      sortCode_(other->sortCode_),
      hash_(other->hash_) {
  liveTokens.Add(1);
}

TKBToken::~TKBToken() {
  if (count_ > 0) liveTokens.Add(-1);
}

void TKBToken::SetTag(TTokenAction tag) {
  if (tag == tag_) return;
  if (tag != taClear && !fact_) throw EKBException(TKBMessage::InvalidTokenAction);
  tag_ = tag;
}

bool TKBToken::Equals(const TKBToken& other) const noexcept {
  const TKBToken* a = this;
  const TKBToken* b = &other;
  while (a != b) {
    if (a->hash_ != b->hash_ || a->sortCode_ != b->sortCode_) return false;
    if (IdOf(a->fact_) != IdOf(b->fact_) || a->strength_ != b->strength_) return false;
    if (!a->parent_) return true;
    if (!b->parent_) return false;
    a = a->parent_.Get();
    b = b->parent_.Get();
  }
  return true;
}

std::string TKBToken::ToString() const {
  std::string text(kActionNames[tag_]);
  text += " cnt=" + std::to_string(count_) + " negcnt=" + std::to_string(negatedCount_);
  for (const TKBToken* token = this; token != nullptr; token = token->parent_.Get()) {
    if (token->fact_) text += std::string(kLineEnd) + token->fact_->ToString();
  }
  return text;
}

std::string TKBToken::ToFactsString() const {
  std::string text;
  for (int i = 0; i < GetCount(); ++i) {
    if (i > 0) text += ", ";
    const TFact* fact = Facts(i);
    text += "f-" + std::to_string(fact == nullptr ? -1 : fact->GetID());
  }
  return text;
}

}  // namespace kb
