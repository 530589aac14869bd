#include "kb/values/KBDefinedType.h"
#include "tests/values/ValuesTest.h"

namespace kb {
namespace {

using kbtest::TEngine;

IFactTemplate Template(std::string_view name) { return MakeRef<TFactTemplate>(nullptr, name); }

std::string Names(const TFactTemplate& factTemplate) {
  std::string result;
  for (const TKBText& name : factTemplate.GetSlotNames()) result += name.ToString() + " ";
  return result;
}

TEST(FactTemplate, AddingSlotsChecksTheirKind) {
  const IFactTemplate t = Template("t");
  t->AddSlot("s", MakeInteger(1));
  t->AddMultiSlot("m", FCNilList);
  const std::pair<std::function<void()>, const char*> faults[] = {
      {[&] { t->AddSlot("n", nullptr); }, "Bad Slot Type"},
      {[&] { t->AddMultiSlot("n", nullptr); }, "Bad Slot Type"},
      {[&] { t->AddSlot("n", List({FCTrue})); }, "Invalid default slot value: TRUE "},
      {[&] { t->AddMultiSlot("n", MakeInteger(1)); }, "Invalid default value for a multislot, must be a multifield: 1"},
      {[&] { t->AddMultiSlot(" ", FCNilList); }, "Bad Slot Name:  "},
      {[&] { t->AddSlot("a b", FCNil); }, "\"a b\" contains unexpected character: \" \""},
      {[&] { t->AddMultiSlot("s", FCNilList); }, "Invalid value for existing slot, slot is not multislot"},
      {[&] { t->AddSlot("m", FCNil); }, "Invalid value for existing slot, multislot is not slot"},
      {[&] { (void)t->GetSlot("S"); }, "No such slot name: \"S\""},
      {[&] { t->RemoveSlot("x"); }, "No such slot name: \"x\""},
      {[&] { t->SetSlot("x", t->GetSlot("s")); }, "Index does not match fact slot name: x and s"}};
  for (const auto& [work, message] : faults) EXPECT_EQ(MessageOf(work), message);
  t->AddSlot("s", MakeInteger(2));
  EXPECT_EQ(t->GetSlot("s")->GetSlotDefault()->GetAsInteger(), 2);
  EXPECT_EQ(Names(*t), "m s ");
}

TEST(FactTemplate, DefaultsAreClonedButForSharedConstants) {
  const IFactTemplate t = Template("t");
  const IKBValue value = MakeInteger(1);
  t->AddSlot("s", value);
  value->SetAsInteger(2);
  EXPECT_EQ(t->GetSlot("s")->GetSlotDefault()->GetAsInteger(), 1);
  t->AddMultiSlot("m", FCNilList);
  EXPECT_EQ(t->GetSlot("m")->GetSlotDefault(), FCNilList);
  // Facts may fill their lists, each for itself.
  t->NewFact()->GetValue("m")->ListOrNull()->Add(FCTrue);
  EXPECT_EQ(t->NewFact()->GetValue("m")->ToString(), "");
}

TEST(FactTemplate, NamesAreSortedWithoutCase) {
  const IFactTemplate t = Template("t");
  for (const char* name : {"beta", "Alpha", "gamma", "BETA"}) t->AddSlot(name, FCNil);
  EXPECT_EQ(Names(*t), "Alpha beta gamma ");
  EXPECT_EQ(t->GetSlotCount(), 4);
  EXPECT_TRUE(t->ContainsSlot("BETA"));
  const int32_t hash = t->GetHashCode();
  t->GetSlot("Alpha")->SetName("zeta");
  EXPECT_EQ(Names(*t), "beta gamma zeta ");
  EXPECT_NE(t->GetHashCode(), hash);
  EXPECT_FALSE(t->ContainsSlot("Alpha"));
}

TEST(FactTemplate, OrderedFlagFollowsAdditionsAndNames) {
  const IFactTemplate t = Template("t");
  const std::function<void()> changes[] = {[&] { t->AddMultiSlot(SDefaultSlotName, FCNilList); },
                                           [&] { t->AddSlot("x", FCNil); }, [&] { t->RemoveSlot("x"); },
                                           [&] { t->AddMultiSlot(SDefaultSlotName, FCNilList); },
                                           [&] { t->GetSlot(SDefaultSlotName)->SetName("y"); }};
  std::string flags;
  for (const auto& change : changes) change(), flags += t->IsOrdered() ? 'o' : '-';
  EXPECT_EQ(flags, "o--o-");
}

TEST(FactTemplate, PositionsAreNeverUsedTwice) {
  for (int count : {3, 20}) {
    const IFactTemplate t = Template("t");
    for (int i = 0; i < count; ++i) t->AddSlot("s" + std::to_string(i), MakeInteger(i));
    const IFact fact = t->NewFact();
    const uint64_t layout = t->GetLayoutId();
    const TSlotRef ref(TKBText("s1"));
    EXPECT_EQ(ref.Position(*t), 1);
    t->RemoveSlot("s1");
    EXPECT_NE(t->GetLayoutId(), layout);
    EXPECT_EQ(ref.Position(*t), -1);
    EXPECT_EQ(fact->FindValue(ref), nullptr);
    t->AddSlot("s1", MakeString("new"));
    EXPECT_EQ(ref.Position(*t), count);
    EXPECT_EQ(fact->FindValue(ref)->ToString(), "\"new\"");
    EXPECT_EQ(fact->GetValue("s2")->GetAsInteger(), 2);
    t->GetSlot("s2")->SetName("renamed");
    EXPECT_EQ(fact->GetValue("renamed")->GetAsInteger(), 2);
    EXPECT_EQ(fact->ValueAt(1), nullptr) << "the slot that was removed";
  }
}

TEST(FactTemplate, SlotsThatTakeANamePushTheOldOneOut) {
  const IFactTemplate t = Template("t");
  t->AddSlot("a", MakeInteger(1));
  t->AddSlot("b", MakeInteger(2));
  const IFact fact = t->NewFact();
  const IFactSlot old = t->GetSlot("a");
  TFactSlot better;
  better.SetSlotType(KBSlotTypes);
  better.SetName("a");
  t->AddSlot(better);
  EXPECT_EQ(old->GetOwner(), nullptr);
  EXPECT_EQ(fact->GetValue("a")->GetAsInteger(), 1);
  t->GetSlot("b")->SetName("a");
  EXPECT_EQ(Names(*t), "a ");
  EXPECT_EQ(fact->GetValue("a")->GetAsInteger(), 2);
  // A slot of another template is copied, a free one taken.
  const IFactTemplate u = Template("u");
  u->SetSlot("a", t->GetSlot("a"));
  EXPECT_NE(u->GetSlot("a"), t->GetSlot("a"));
  u->SetSlot("a", old);
  EXPECT_EQ(u->GetSlot("a"), old);
  EXPECT_EQ(old->GetTemplateName(), "u");
}

TEST(FactTemplate, SlotsOutliveTheirTemplate) {
  IFactSlot slot;
  {
    const IFactTemplate t = Template("t");
    t->AddSlot("a", MakeInteger(1));
    slot = t->GetSlot("a");
  }
  EXPECT_EQ(slot->GetOwner(), nullptr);
  slot->SetName("b");
  slot->GetSlotDefault()->SetAsString("x");
  const IKBValue kept = slot->GetSlotDefault();
  slot = nullptr;
  kept->SetAsInteger(3);
}

TEST(FactSlot, Validity) {
  TFactSlot slot;
  slot.SetName("s");
  const auto expect = [&slot](const std::vector<IKBValue>& valid, const std::vector<IKBValue>& invalid) {
    for (const IKBValue& value : valid) EXPECT_TRUE(slot.IsValid(value.Get())) << value->ToString();
    for (const IKBValue& value : invalid) EXPECT_FALSE(slot.IsValid(value.Get())) << value->ToString();
  };
  slot.SetSlotType({dtAtom, dtInteger});
  EXPECT_TRUE(slot.IsValid(nullptr));
  expect({FCNil, MakeRef<TKBValue>(IFunCall()), MakeRef<TKBValue>()}, {FCNilList, MakeFloat(1)});
  EXPECT_EQ(slot.GetInvalidValueString(MakeFloat(1).Get()),
            "Not a ATOM, INTEGER type.  Value (1.0000) is a dtFloat type for s slot");
  EXPECT_EQ(slot.GetInvalidValueString(MakeAtom("x").Get()), "");
  slot.SetSlotType({dtString, dtList, dtMultiSlot});
  expect({FCNilList, List({MakeString("a"), MakeRef<TKBValue>(TKBText("v"), dtVariable)})}, {FCNil});
  EXPECT_EQ(slot.GetInvalidValueString(List({MakeString("a"), MakeInteger(2), MakeFloat(3)}).Get()),
            "Not a STRING, LIST, MULTISLOT type.  Value (\"a\" 2 3.0000 ) is a dtInteger (2) type for s slot");
}

TEST(FactSlot, TypeChangesKeepTheDefaultValid) {
  TFactSlot slot;
  slot.SetSlotType({dtInteger});
  EXPECT_EQ(slot.GetSlotDefault()->ToString(), "0");
  slot.SetSlotDefault(MakeInteger(5));
  slot.SetSlotType({dtInteger, dtFloat});
  EXPECT_EQ(slot.GetSlotDefault()->ToString(), "5");
  slot.SetSlotType({dtString});
  EXPECT_EQ(slot.GetSlotDefault()->ToString(), "\"\"");
  slot.SetSlotType(TKBTypes{dtInteger} + KBMultiSlotTypes);
  EXPECT_TRUE(slot.GetSlotDefault()->Is(dtList));
  const TKBTypes mixed{dtFuzzy, dtAtom};
  EXPECT_EQ(MessageOf([&] { slot.SetSlotType(mixed); }), "Cannot mix fuzzy type with other primitive types");
  EXPECT_EQ(slot.GetSlotType(), TKBTypes{dtInteger} + KBMultiSlotTypes);
  // The first of the types has the default.
  const std::vector<TKBTypes> types{{dtAtom, dtString, dtClass}, {dtFloat, dtFactId}, {dtObject, dtExternalAddress},
                                    {dtExternalAddress, dtFact}, {dtFact, dtFactId},  {dtFact, dtDescriptor},
                                    {dtDescriptor, dtClass},     {dtClass},           {dtVariable}};
  const TKBType expected[] = {dtAtom,       dtFloat, dtObject, dtExternalAddress, dtFactId, dtFact,
                              dtDescriptor, dtClass, dtNone};
  for (size_t i = 0; i < types.size(); ++i) {
    TFactSlot other;
    other.SetSlotType(types[i]);
    EXPECT_EQ(other.GetSlotDefault()->GetDType(), expected[i]) << i;
  }
}

TEST(FactSlot, EqualityIsLooseOnDefaults) {
  const auto slot = [](const IKBValue& value) {
    auto result = MakeRef<TFactSlot>();
    result->SetSlotType(KBSlotTypes);
    result->SetSlotDefault(value);
    result->SetName("s");
    return result;
  };
  EXPECT_TRUE(slot(MakeAtom("1"))->Equals(slot(MakeInteger(1)).Get()));
  EXPECT_FALSE(slot(MakeInteger(1))->Equals(slot(MakeAtom("x")).Get()));
  EXPECT_FALSE(slot(MakeInteger(1))->Equals(slot(nullptr).Get()));
  EXPECT_TRUE(slot(nullptr)->Equals(slot(nullptr).Get()));
}

TEST(FactTemplate, CopiesAndComparison) {
  const IFactTemplate parent = Template("parent");
  parent->AddSlot("a", MakeFloat(0.00001));
  auto child = MakeRef<TFactTemplate>(nullptr, "child", "note", parent);
  child->AddSlot("b", FCNil);
  EXPECT_EQ(Names(*parent), "a ");
  EXPECT_FALSE(child->Equals(parent.Get()));
  const IFactTemplate clone = child->Clone();
  EXPECT_TRUE(clone->Equals(child.Get()));
  EXPECT_EQ(clone->GetHashCode(), child->GetHashCode());
  EXPECT_EQ(clone->GetComment(), "note");
  EXPECT_EQ(clone->GetParent(), parent);
  EXPECT_EQ(clone->GetSlot("a")->GetSlotDefault()->GetAsFloat(), 0.00001);
  clone->AddSlot("c", FCNil);
  EXPECT_TRUE(child->Equals(clone.Get())) << "the other may have further slots";
  EXPECT_FALSE(clone->Equals(child.Get()));
  const uint64_t epoch = TFactTemplate::GetNamingEpoch();
  clone->Assign(*parent);
  EXPECT_TRUE(clone->Equals(parent.Get()));
  EXPECT_EQ(clone->GetParent(), nullptr);
  EXPECT_NE(TFactTemplate::GetNamingEpoch(), epoch);
  // From a foreign owner the link to the parent does not come along.
  TObject owner;
  EXPECT_EQ(MakeRef<TFactTemplate>(&owner, "x", "", parent)->GetParent(), nullptr);
}

TEST(FactTemplate, DynamicChecksGuardDefaults) {
  TInferenceEngine engine;
  const IFactTemplate t = engine.CreateFactTemplate("typed");
  t->AddSlot("n", MakeInteger(1));
  t->GetSlot("n")->SetSlotType({dtInteger});
  engine.SetTypeChecks({tcDynamic});
  EXPECT_EQ(MessageOf([&] { t->AddSlot("n", MakeAtom("x")); }), "Invalid default slot value: x");
  EXPECT_EQ(MessageOf([&] { t->GetSlot("n")->GetSlotDefault()->SetAsAtom("x"); }), "Value \"x\" is not valid, n");
}

TEST(FactTemplate, DynamicDefaultsAreEvaluatedForEachFact) {
  TEngine engine("(deftemplate t (slot id (default-dynamic (gensym*))) (slot fixed (default 3)))");
  TFactTemplate* t = engine.FindFactTemplate("t");
  ASSERT_NE(t, nullptr);
  const IFact first = t->NewFact();
  const IFact second = t->NewFact();
  EXPECT_TRUE(first->GetValue("id")->Is(dtAtom));
  EXPECT_NE(first->GetValue("id")->ToString(), second->GetValue("id")->ToString());
  // A default that is only read stays a call.
  EXPECT_TRUE(MakeRef<TFact>(IFactTemplate(t))->GetValue("id")->Is(dtFunCall));
}

}  // namespace
}  // namespace kb
