#include "kb/matching/ReteNodes.h"

#include <algorithm>
#include <array>
#include <vector>

#include "kb/common/Helpers.h"
#include "kb/engine/InferenceEngine.h"
#include "kb/fuzzy/FuzzyPolygon.h"
#include "kb/language/KBRule.h"
#include "kb/matching/ReteNetwork.h"
#include "kb/values/KBFuzzyInterfaces.h"
#include "kb/values/ValueVector.h"

namespace kb {
namespace {

constexpr std::array<std::string_view, 11> kTestNames{
    "pmtUnknown",
    "pmtTestClassType",
    "pmtTestEqual",
    "pmtTestNotEqual",
    "pmtTestSlotValueEqual",
    "pmtTestSlotValueNotEqual",
    "pmtTestMultiSlotEqual",
    "pmtTestMultiSlotNotEqual",
    "pmtTestMultiSlotLength",
    "pmtTestMultiSlotMultiField",
    "pmtFailTest",
};

// Activations that fire on this thread now, innermost last. One that leaves its terminal meanwhile still has
// to report its firing there, unless the terminal is gone by then.
thread_local std::vector<TActivation*> firingActivations;

[[nodiscard]] bool IsFiring(const TActivation& activation) noexcept {
  return std::find(firingActivations.begin(), firingActivations.end(), &activation) != firingActivations.end();
}

class TFiringMark {
 public:
  explicit TFiringMark(TActivation& activation) { firingActivations.push_back(&activation); }
  TFiringMark(const TFiringMark&) = delete;
  TFiringMark& operator=(const TFiringMark&) = delete;
  ~TFiringMark() { firingActivations.pop_back(); }
};

// Fuzzy constants that overlap are equal without being the same. A node is shared where every fact matches both alike.
[[nodiscard]] bool IsSameFuzzy(const TKBValue& a, const TKBValue& b) {
  if (&a == &b) return true;
  if (!a.Is(dtFuzzy) || !b.Is(dtFuzzy)) return false;
  const Ref<IFuzzySet> first = a.GetAsFuzzy();
  const Ref<IFuzzySet> second = b.GetAsFuzzy();
  return first && second && first->Variable() == second->Variable() && first->Polygon() == second->Polygon();
}

TKBText SlotArgument(const TNodeArgsArray& arguments, size_t index) {
  if (index >= arguments.size()) return TKBText();
  const auto* name = std::get_if<TKBText>(&arguments[index]);
  return name == nullptr ? TKBText() : *name;
}

}  // namespace

// ---- Edge and base node

TReteEdge::TReteEdge(TReteNode& from, TReteNode& to, TCallType callType) noexcept
    : TGGraphEdge(from, to), callType_(callType) {}

TReteNode& TReteEdge::GetToNode() const noexcept { return static_cast<TReteNode&>(GetTo()); }

TReteNode::TReteNode(TReteNetwork& network) : network_(network) {
  TInferenceEngine* engine = network.GetEngine();
  context_ = engine == nullptr ? std::make_unique<TKBContext>(nullptr, nullptr) : engine->GetGlobalContext().Push();
}

TReteNode::~TReteNode() = default;

void TReteNode::CallChildren(const IReteToken& token) {
  if (GetEdgeCount() > 1) token->MarkShared();
  for (int i = 0; i < GetEdgeCount() && !dead_; ++i) {
    const TReteEdge& edge = GetReteEdge(i);
    edge.GetToNode().CallNode(token, edge.GetCallType());
  }
}

void TReteNode::AddingEdgeFrom(TGLinkedGraphNode& /*from*/) {
  if (GetInDegree() == 0) network_.RemoveRoot(*this);
}

void TReteNode::RemovingEdgeFrom(TGLinkedGraphNode& /*from*/) {
  if (GetInDegree() == 0) network_.AddRoot(*this);
}

std::string TReteNode::ToString() const {
  return std::string(NodeName()) + " In/Out#: " + std::to_string(GetInDegree()) + "/" + std::to_string(GetOutDegree()) +
         " RuleUse: " + std::to_string(ruleUseCount_);
}

// ---- Pattern node

TPatternMatchNode::TPatternMatchNode(TReteNetwork& network, TPatternMatchTest test, const IKBValue& value,
                                     TNodeArgsArray arguments)
    : TReteNode(network),
      value_(value),
      arguments_(std::move(arguments)),
      test_(test),
      slot_(SlotArgument(arguments_, 0)),
      secondSlot_(SlotArgument(arguments_, 1)) {}

int TPatternMatchNode::Position(size_t argument) const {
  const auto* position = std::get_if<int>(&arguments_[argument]);
  return position == nullptr ? NoSubIndex : *position;
}

bool TPatternMatchNode::MatchesTemplate(const TFactTemplate& factTemplate) const {
  if (test_ != pmtTestClassType) return false;
  const TKBText name = value_->GetAsString();
  for (const TFactTemplate* t = &factTemplate; t != nullptr; t = t->GetParent().Get()) {
    if (t->GetTemplateName() == name) return true;
  }
  return false;
}

void TPatternMatchNode::RenameTemplate(std::string_view oldName, std::string_view newName) {
  if (test_ == pmtTestClassType && value_->TextView() == oldName) value_ = MakeAtom(newName);
}

bool TPatternMatchNode::Equals(TPatternMatchTest test, const TKBValue* value, const TNodeArgsArray& arguments) const {
  if (test_ != test || arguments_ != arguments) return false;
  if (value == nullptr || !value_) return value == nullptr && !value_;
  if (value->Is(dtFuzzy) || value_->Is(dtFuzzy)) return IsSameFuzzy(*value, *value_);
  return value->Equals(value_.Get());
}

bool TPatternMatchNode::CallNode(const IReteToken& token, TCallType /*callType*/) {
  if (IsDead()) return false;
  if (token->GetTag() == taClear) {
    CallChildren(token);
    return true;
  }
  switch (test_) {
    case pmtTestClassType:
      return PassIf(token, MatchesTemplate(*token->GetFact()->GetTemplate()));
    case pmtTestMultiSlotLength:
      return TestLength(token);
    case pmtTestMultiSlotMultiField:
      return ExpandMultiField(token);
    case pmtUnknown:
    case pmtFailTest:
      return false;
    default:
      break;
  }
  try {
    return RunTest(token);
  } catch (EAbort&) {
    throw;
  } catch (EException& error) {
    error.SetMessage(error.Message() + " for pattern match = " + ToString());
    throw;
  }
}

bool TPatternMatchNode::PassIf(const IReteToken& token, bool passed) {
  if (passed) CallChildren(token);
  return passed;
}

bool TPatternMatchNode::RunTest(const IReteToken& token) {
  const TFact& fact = *token->GetFact();
  switch (test_) {
    case pmtTestEqual:
    case pmtTestNotEqual:
      return TestValue(token, fact.FindValue(slot_), test_ == pmtTestNotEqual);
    case pmtTestMultiSlotEqual:
    case pmtTestMultiSlotNotEqual:
      return TestValue(token, SlotElement(fact, slot_, Position(1)), test_ == pmtTestMultiSlotNotEqual);
    default:
      return TestSlots(token, test_ == pmtTestSlotValueNotEqual);
  }
}

// A slot or element that the fact lacks fails the test, also for a call.
bool TPatternMatchNode::TestValue(const IReteToken& token, TKBValue* slotValue, bool invert) {
  const bool isCall = value_->Is(dtFunCall);
  if (slotValue == nullptr && !(isCall && (test_ == pmtTestEqual || test_ == pmtTestNotEqual))) return false;
  if (!isCall) return Compare(token, *value_, *slotValue, invert);
  bool isFalse = false;
  {
    TKBContext& context = GetContext();
    const TContextMatchScope scope(context, token.Get(), token->GetFact().Get());
    isFalse = value_->Resolve(&context)->Equals(FCFalse.Get());
  }
  return PassIf(token, isFalse == invert);
}

bool TPatternMatchNode::TestSlots(const IReteToken& token, bool invert) {
  const TFact& fact = *token->GetFact();
  const TKBValue* first = SlotElement(fact, slot_, Position(2));
  const TKBValue* second = SlotElement(fact, secondSlot_, Position(3));
  if (first == nullptr || second == nullptr) return false;
  return Compare(token, *second, *first, invert);
}

bool TPatternMatchNode::TestLength(const IReteToken& token) {
  const TKBValue* value = token->GetFact()->FindValue(slot_);
  const TValueVector* list = value == nullptr ? nullptr : value->ListOrNull();
  return PassIf(token, list != nullptr && list->GetValueCount() == Position(1));
}

bool TPatternMatchNode::Compare(const IReteToken& token, const TKBValue& value, const TKBValue& slotValue,
                                bool invert) {
  const bool isFuzzy = value.Is(dtFuzzy) || slotValue.Is(dtFuzzy);
  // A removal takes the road of its fact's arrival, with the same strength, whatever thresholds have been set since;
  // where nothing came along then, it finds nothing.
  const bool removes = token->GetTag() == taRemove;
  if (!(isFuzzy && removes) && slotValue.Equals(&value) == invert) return false;
  if (!isFuzzy) return PassIf(token, true);
  const bool slotIsFuzzy = slotValue.Is(dtFuzzy);
  const double degree =
      slotIsFuzzy ? slotValue.GetAsFuzzy()->FuzzyEquals(value) : value.GetAsFuzzy()->FuzzyEquals(slotValue);
  const auto strength = static_cast<float>(degree);
  if (strength >= token->GetStrength()) {
    CallChildren(token);
    return true;
  }
  if (!removes && strength < GetRete().GetMinActivationStrength()) return true;
  const IReteToken weaker = MakeRef<TKBToken>(token);
  weaker->SetStrength(strength);
  CallChildren(weaker);
  return true;
}

// Stands for a multifield variable: one token for each number of elements that it may take, the most first,
// with the elements rewritten so that the variable occupies one place.
bool TPatternMatchNode::ExpandMultiField(const IReteToken& token) {
  const IFact& fact = token->GetFact();
  const TKBValue* value = fact->FindValue(slot_);
  if (value == nullptr) return false;
  if (value->Equals(FCNil.Get())) {
    CallChildren(token);
    return true;
  }
  const IValueVector list = value->GetAsList();
  const int count = list->GetValueCount();
  const int position = Position(1);
  for (int taken = count - position; taken >= 0; --taken) {
    auto rewritten = MakeRef<TValueVector>();
    auto inner = MakeRef<TValueVector>();
    rewritten->Reserve(count - taken + 1);
    for (int i = 0; i < position; ++i) rewritten->Add(list->Get(i));
    for (int i = position; i < position + taken; ++i) inner->Add(list->Get(i));
    rewritten->Add(MakeRef<TKBValue>(inner));
    for (int i = position + taken; i < count; ++i) rewritten->Add(list->Get(i));
    const IFact clone = fact->ShallowClone(slot_, MakeRef<TKBValue>(rewritten));
    const auto expanded = MakeRef<TKBToken>(token->GetTag(), clone);
    expanded->SetStrength(token->GetStrength());
    expanded->MarkExpanded();
    CallChildren(expanded);
  }
  return true;
}

std::string TPatternMatchNode::ToString() const {
  std::string text = TReteNode::ToString();
  if (value_) text += " Value: " + value_->ToString();
  text += " Test: " + std::string(kTestNames[test_]);
  if (arguments_.empty()) return text;
  text += " Args: (";
  for (size_t i = 0; i < arguments_.size(); ++i) {
    if (i > 0) text += ", ";
    if (const auto* number = std::get_if<int>(&arguments_[i])) {
      text += std::to_string(*number);
    } else {
      text += std::get<TKBText>(arguments_[i]).View();
    }
  }
  return text + ")";
}

// ---- Test node

bool TTestNode::CallNode(const IReteToken& token, TCallType /*callType*/) {
  if (IsDead()) return false;
  const bool passed = token->GetTag() == taClear || RunTests(token);
  if (passed) CallChildren(token);
  return passed;
}

bool TTestNode::RunTests(const IReteToken& token) {
  const TContextMatchScope scope(GetContext(), token.Get(), nullptr);
  return PerformTests();
}

bool TTestNode::PerformTests() const {
  for (const auto& test : tests_) {
    if (!test->PerformTest(GetContext())) return false;
  }
  return true;
}

void TTestNode::DeleteTest(int index) {
  CheckListIndex(index, GetTestCount());
  tests_.erase(tests_.begin() + index);
}

bool TTestNode::Equals(const TReteNode& other) const {
  if (&other == this) return true;
  const auto* node = dynamic_cast<const TTestNode*>(&other);
  if (node == nullptr || typeid(*node) != typeid(*this) || node->tests_.size() != tests_.size()) return false;
  for (const auto& test : tests_) {
    if (dynamic_cast<const TKBPatternMatchTest*>(test.get()) != nullptr) return false;
    const auto same = [&](const auto& t) { return test->Equals(*t); };
    if (std::none_of(node->tests_.begin(), node->tests_.end(), same)) return false;
  }
  return true;
}

std::string TTestNode::ToString() const {
  std::string text = TReteNode::ToString() + " NumTests: " + std::to_string(tests_.size());
  for (const auto& test : tests_) text += " (" + test->ToString() + ")";
  return text;
}

// ---- Terminal node

bool TActivation::Fire() {
  const Ref<TActivation> self(this);
  TInferenceEngine* engine = rule_->GetEngine();
  const TFiringMark mark(*this);
  rule_->Fire(*token_);
  if (node_ != nullptr) {
    node_->RuleFired(*this);
  } else if (engine != nullptr) {
    engine->RuleFired(*this);
  }
  return true;
}

TPatternMatchTerminalNode::~TPatternMatchTerminalNode() { MarkDead(); }

void TPatternMatchTerminalNode::MarkDead() noexcept {
  TReteNode::MarkDead();
  // Handlers run here; what they raise must not pass a destructor.
  while (last_ != nullptr) {
    const Ref<TActivation> activation(last_);
    try {
      Deactivate(*activation);
    } catch (...) {
      Unlink(*activation);
    }
    activation->ClearNode();
  }
  for (TActivation* activation : firingActivations) {
    if (activation->GetNode() == this) activation->ClearNode();
  }
}

bool TPatternMatchTerminalNode::CallNode(const IReteToken& token, TCallType /*callType*/) {
  if (IsDead()) return false;
  switch (token->GetTag()) {
    case taClear:
      GetRete().GetClearError().Run([this] { StandDown(); });
      break;
    case taRemove:
      StandDown(*token);
      break;
    case taAdd:
    case taUpdate:
      AddActivation(token);
      break;
  }
  return true;
}

Ref<TActivation> TPatternMatchTerminalNode::AddActivation(const IReteToken& token) {
  const TTokenAction tag = token->GetTag();
  if (tag == taAdd && ((rule_->GetOneShot() && rule_->HasFired()) || !rule_->GetEnabled())) return nullptr;
  if (tag == taUpdate && initialized_) return nullptr;
  auto activation = MakeRef<TActivation>(rule_, token, this, token->GetStrength());
  Link(*activation);
  try {
    GetRete().Activate(activation);
  } catch (...) {
    // A salience that cannot be evaluated keeps the activation off the agenda; the list must not name it either.
    if (GetRete().GetEngine() == nullptr || GetRete().GetEngine()->GetAgenda().IndexOfData(activation.Get()) < 0) {
      Unlink(*activation);
      activation->ClearNode();
    }
    throw;
  }
  return activation;
}

void TPatternMatchTerminalNode::Link(TActivation& activation) noexcept {
  activation.order_ = ++arrivals_;
  activation.previous_ = last_;
  activation.next_ = nullptr;
  (last_ == nullptr ? first_ : last_->next_) = &activation;
  last_ = &activation;
  index_.Insert(activation.GetToken()->GetHash(), &activation);
}

bool TPatternMatchTerminalNode::Unlink(TActivation& activation) noexcept {
  if (!index_.Erase(activation.GetToken()->GetHash(), &activation)) return false;
  (activation.previous_ == nullptr ? first_ : activation.previous_->next_) = activation.next_;
  (activation.next_ == nullptr ? last_ : activation.next_->previous_) = activation.previous_;
  activation.previous_ = nullptr;
  activation.next_ = nullptr;
  activation.order_ = 0;
  return true;
}

void TPatternMatchTerminalNode::Deactivate(TActivation& activation) {
  if (!Unlink(activation)) return;
  const Ref<TActivation> guard(&activation);
  TDelayedError error;
  error.Run([&] { GetRete().Deactivate(activation); });
  if (!IsFiring(activation)) activation.ClearNode();
  error.Rethrow();
}

void TPatternMatchTerminalNode::Adopt(TActivation& activation) noexcept {
  if (!activation.IsListed()) Link(activation);
}

void TPatternMatchTerminalNode::Replace(TActivation& old, TActivation& clone) {
  if (Unlink(old)) Link(clone);
  old.ClearNode();
}

void TPatternMatchTerminalNode::RuleFired(TActivation& activation) {
  Unlink(activation);
  GetRete().RuleFired(activation);
}

void TPatternMatchTerminalNode::StandDown() {
  TDelayedError error;
  while (last_ != nullptr) {
    const Ref<TActivation> activation(last_);
    error.Run([&] { Deactivate(*activation); });
  }
  error.Rethrow();
}

void TPatternMatchTerminalNode::StandDown(const TKBToken& token) {
  TActivation* found = nullptr;
  index_.ForEach(token.GetHash(), [&](TActivation& activation) {
    const bool earlier = found == nullptr || activation.order_ < found->order_;
    if (earlier && activation.GetToken()->Equals(token)) found = &activation;
  });
  if (found == nullptr) return;
  const Ref<TActivation> activation(found);
  Deactivate(*activation);
}

TActivation* TPatternMatchTerminalNode::GetActivation(int index) const noexcept {
  TActivation* activation = first_;
  while (activation != nullptr && index-- > 0) activation = activation->next_;
  return activation;
}

std::string TPatternMatchTerminalNode::ToString() const {
  return TReteNode::ToString() + " Rule: " + rule_->GetRuleName();
}

}  // namespace kb
