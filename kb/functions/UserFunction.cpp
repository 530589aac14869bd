// Base class of all functions: names, limits, reasoners and the check of the argument count.
#include <algorithm>
#include <utility>

#include "kb/functions/KBPackages.h"
#include "kb/platform/ComponentStream.h"

namespace kb {
namespace {

[[noreturn, gnu::noinline]] void RaiseArgumentCount(const TKBText& name, bool tooFew) {
  throw EKBException(tooFew ? TKBMessage::TooFewArguments : TKBMessage::TooManyArguments, {name.ToString()});
}

}  // namespace

const TClassInfo& TKBUserFunction::StaticClass() noexcept {
  static const TClassInfo info{"TKBUserFunction", &TPersistent::StaticClass()};
  return info;
}

TKBUserFunction::~TKBUserFunction() = default;

int TKBUserFunction::AddReasoner(IReasoner* reasoner) {
  const int found = IndexOfReasoner(reasoner);
  if (reasoner == nullptr || found >= 0) return found;
  reasoners_.push_back(reasoner);
  try {
    ReasonerNotification(reasoner, lnAdded);
  } catch (...) {
    std::erase(reasoners_, reasoner);
    throw;
  }
  return IndexOfReasoner(reasoner);
}

void TKBUserFunction::ClearReasoners() {
  while (!reasoners_.empty()) DeleteReasoner(0);
}

void TKBUserFunction::DeleteReasoner(int index) {
  IReasoner* reasoner = GetReasoner(index);
  // The registry may hold the last reference to this function.
  const Ref<IUserFunction> self(this);
  // The entry goes first: the registry answers a removal by deleting itself from this list.
  reasoners_.erase(reasoners_.begin() + index);
  ReasonerNotification(reasoner, lnRemoved);
}

void TKBUserFunction::DeleteReasoner(IReasoner* reasoner) {
  const int index = IndexOfReasoner(reasoner);
  if (index >= 0) DeleteReasoner(index);
}

int TKBUserFunction::IndexOfReasoner(const IReasoner* reasoner) const {
  const auto found = std::find(reasoners_.begin(), reasoners_.end(), reasoner);
  return found == reasoners_.end() ? -1 : static_cast<int>(found - reasoners_.begin());
}

IReasoner* TKBUserFunction::GetReasoner(int index) const {
  CheckListIndex(index, GetReasonerCount());
  return reasoners_[static_cast<size_t>(index)];
}

void TKBUserFunction::ReasonerNotification(IReasoner* reasoner, TListNotification action) {
  const Ref<IUserFunction> self(this);
  if (action == lnAdded) {
    reasoner->AddUserFunction(self);
  } else {
    reasoner->RemoveUserFunction(self);
  }
}

std::string TKBUserFunction::ToString(IReasoner& reasoner) const {
  return reasoner.PrettyPrint(static_cast<const IUserFunction&>(*this));
}

IKBValue TKBUserFunction::Execute(TFunctionCall& call, TKBContext& context) {
  // The fields and not the virtual getters: a function of the language checks its own limits.
  const int count = call.GetArgumentCount();
  if (count < minArgumentCount_) RaiseArgumentCount(name_, true);
  if (count > maxArgumentCount_) RaiseArgumentCount(name_, false);
  IKBValue result = FCNil;
  Call(call, context, result);
  if (!result) result = FCNil;
  return result;
}

void TKBUserFunction::SetFunctionName(std::string_view name) {
  if (name_ == name) return;
  if (reasoners_.empty()) {
    name_ = TKBText(name);
    return;
  }
  // Registries key on the name, and taking a function out of one also takes the reasoner from this list.
  const Ref<IUserFunction> self(this);
  const std::vector<IReasoner*> reasoners = reasoners_;
  for (IReasoner* reasoner : reasoners) reasoner->RemoveUserFunction(self);
  const TKBText oldName = std::exchange(name_, TKBText(name));
  try {
    for (IReasoner* reasoner : reasoners) reasoner->AddUserFunction(self);
  } catch (...) {
    for (IReasoner* reasoner : reasoners) reasoner->RemoveUserFunction(self);
    name_ = oldName;
    for (IReasoner* reasoner : reasoners) reasoner->AddUserFunction(self);
    throw;
  }
}

void TKBUserFunction::SetMaxArgumentCount(int value) {
  maxArgumentCount_ = value;
  minArgumentCount_ = std::min(minArgumentCount_, value);
}

void TKBUserFunction::SetMinArgumentCount(int value) {
  minArgumentCount_ = value;
  maxArgumentCount_ = std::max(maxArgumentCount_, value);
}

const TStreamValue& TDataReader::Next() {
  if (AtEnd()) throw EStreamError("a function with too few values");
  return values_[at_++];
}

bool TDataReader::AtEnd() const noexcept { return at_ >= values_.size(); }

void TKBUserFunction::WriteData(std::vector<TStreamValue>& data) const {
  data.emplace_back(name_.ToString());
  data.emplace_back(comment_);
  data.emplace_back(int64_t{maxArgumentCount_});
  data.emplace_back(int64_t{minArgumentCount_});
}

void TKBUserFunction::ReadData(TDataReader& data) {
  const auto count = [&data] {
    const int64_t value = data.Next().AsInteger();
    if (value < 0 || value > kUnlimitedArguments) throw EStreamError("a bad number of arguments");
    return static_cast<int>(value);
  };
  SetFunctionName(data.Next().AsText());
  SetComment(data.Next().AsText());
  SetMaxArgumentCount(count());
  SetMinArgumentCount(count());
}

void TKBUserFunction::Assign(const TPersistent& source) {
  const auto* function = dynamic_cast<const TKBUserFunction*>(&source);
  if (function == nullptr) return TPersistent::Assign(source);
  minArgumentCount_ = function->minArgumentCount_;
  maxArgumentCount_ = function->maxArgumentCount_;
  comment_ = function->comment_;
  SetFunctionName(function->name_.View());
}

}  // namespace kb
