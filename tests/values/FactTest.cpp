#include "tests/values/ValuesTest.h"

namespace kb {
namespace {

using kbtest::TEngine;

IFactTemplate Point() {
  auto result = MakeRef<TFactTemplate>(nullptr, "point");
  result->AddSlot("y", MakeInteger(0));
  result->AddSlot("x", MakeInteger(0));
  result->AddMultiSlot("tags", FCNilList);
  return result;
}

IFact MakePoint(const IFactTemplate& t, const IKBValue& x, const IKBValue& y) {
  auto fact = MakeRef<TFact>(t);
  fact->SetValue("x", x);
  fact->SetValue("y", y);
  return fact;
}

TEST(Fact, ValuesAppearWhenTheyAreReadOrWritten) {
  const IFactTemplate t = Point();
  const IFact fact = MakeRef<TFact>(t);
  EXPECT_TRUE(fact->GetSlotNames().empty());
  EXPECT_EQ(fact->GetValue("x")->GetAsInteger(), 0);
  EXPECT_NE(fact->GetValue("x"), t->GetSlot("x")->GetSlotDefault());
  EXPECT_EQ(fact->ContainsKey("zz"), nullptr);
  EXPECT_EQ(fact->ContainsKey("y"), t->FindSlot("y"));
  ASSERT_EQ(fact->GetSlotNames().size(), 2U);
  EXPECT_EQ(fact->GetSlotNames()[0], "y") << "in order of definition";
  // A later default does not reach a value that stands.
  t->AddSlot("x", MakeInteger(9));
  EXPECT_EQ(fact->GetValue("x")->GetAsInteger(), 0);
  fact->SetValue("x", nullptr);
  EXPECT_EQ(fact->GetValue("x"), FCNil);
  EXPECT_EQ(MessageOf([&] { (void)fact->GetValue("zz"); }), "No such slot name: \"zz\"");
  EXPECT_EQ(MessageOf([&] { fact->SetValue("zz", FCTrue); }), "No such slot name: \"zz\"");
}

TEST(Fact, WithoutTemplateOnlyErrors) {
  const IFact fact = MakeRef<TFact>(IFactTemplate());
  const std::function<void()> works[] = {[&] { (void)fact->GetValue("x"); }, [&] { fact->SetValue("x", FCTrue); },
                                         [&] { (void)fact->ContainsKey("x"); }, [&] { fact->AssignValues(*fact); },
                                         [&] { Point()->FillFactWithDefaults(*fact); }};
  for (const auto& work : works) EXPECT_EQ(MessageOf(work), "Fact Template is missing") << &work - works;
  EXPECT_EQ(fact->FindValue(TSlotRef(TKBText("x"))), nullptr);
  EXPECT_TRUE(fact->Equals(fact->Clone().Get()));
}

TEST(Fact, SlotsAddedLaterAreReadByOlderFactsAndAnotherTemplateKeepsSharedOnes) {
  const IFactTemplate t = Point();
  const IFact fact = MakePoint(t, MakeInteger(1), MakeInteger(2));
  for (int i = 0; i < 20; ++i) t->AddSlot("z" + std::to_string(i), MakeInteger(i));
  EXPECT_EQ(fact->GetValue("z19")->GetAsInteger(), 19);
  EXPECT_TRUE(fact->Equals(fact->Clone().Get()));
  auto other = MakeRef<TFactTemplate>(nullptr, "other");
  other->AddSlot("z", MakeInteger(9));
  other->AddSlot("x", MakeInteger(8));
  fact->SetTemplate(other);
  EXPECT_EQ(fact->GetValue("x")->GetAsInteger(), 1);
  EXPECT_EQ(fact->GetValue("z")->GetAsInteger(), 9);
  EXPECT_THROW((void)fact->GetValue("y"), EKBException);
  fact->SetTemplate(nullptr);
  EXPECT_TRUE(fact->GetSlotNames().empty());
}

TEST(Fact, EqualityAndDuplicates) {
  const IFactTemplate t = Point();
  const struct {
    IKBValue a;
    IKBValue b;
    bool equal;
    bool duplicate;
  } cases[] = {
      {MakeInteger(1), MakeInteger(1), true, true},
      {MakeFloat(1.00004), MakeFloat(1.00006), true, false},
      {MakeFloat(1.00001), MakeFloat(1.00002), true, true},
      {MakeFloat(0.0), MakeFloat(-0.0), true, false},
      {MakeAtom("1"), MakeInteger(1), false, true},
      {MakeAtom("a"), MakeString("a"), false, false},
      {MakeAtom("\"a\""), MakeString("a"), false, true},
      {MakeInteger(0), IKBValue(), false, false},
      {List({MakeAtom("a b")}), List({MakeAtom("a"), MakeAtom("b")}), false, true},
      {List({MakeString("a\"b")}), List({MakeString("a\"b")}), true, true},
  };
  for (const auto& c : cases) {
    const IFact a = MakePoint(t, c.a, MakeInteger(2));
    const IFact b = MakePoint(t, c.b, MakeInteger(2));
    b->SetID(8);
    const std::string trace = c.a->ToString() + " : " + (c.b ? c.b->ToString() : "none");
    EXPECT_EQ(a->Equals(b.Get()), c.equal) << trace;
    EXPECT_EQ(a->IsDuplicateOf(*b), c.duplicate) << trace;
    EXPECT_EQ(a->GetHashCode() == b->GetHashCode(), c.duplicate) << trace;
  }
  // The joined texts are the same, the facts are not.
  const IFact a = MakePoint(t, MakeInteger(1), MakeInteger(12));
  const IFact b = MakePoint(t, MakeInteger(11), MakeInteger(2));
  EXPECT_EQ(a->GetHashCode(), b->GetHashCode());
  EXPECT_FALSE(a->IsDuplicateOf(*b));
  // A slot that was never set is as good as its default.
  EXPECT_TRUE(MakeRef<TFact>(t)->Equals(t->NewFact().Get()));
  EXPECT_TRUE(MakeRef<TFact>(t)->IsDuplicateOf(*t->NewFact()));
  EXPECT_FALSE(Point()->NewFact()->Equals(t->NewFact().Get())) << "another template object";
}

TEST(Fact, CopiesKeepIdAndOwnTheirValues) {
  const IFactTemplate t = Point();
  const IFact fact = MakePoint(t, MakeInteger(1), MakeInteger(2));
  fact->SetID(5);
  fact->SetTag(6);
  const IFact clone = fact->Clone();
  EXPECT_EQ(clone->GetID() + clone->GetTag(), 11);
  clone->GetValue("x")->SetAsInteger(7);
  EXPECT_EQ(fact->GetValue("x")->GetAsInteger(), 1);
  TFact other(t);
  other.Assign(*clone);
  EXPECT_TRUE(other.Equals(clone.Get()));
  other.Assign(other);
  EXPECT_TRUE(other.Equals(clone.Get()));
  EXPECT_EQ(MessageOf([&] { fact->AssignValues(*Point()->NewFact()); }),
            "Unable to assign slot values, fact templates are different: point and point");
  EXPECT_THROW(other.Assign(*t), EConvertError);
  EXPECT_TRUE(TFact(t, fact.Get()).Equals(fact.Get()));
}

TEST(Fact, DynamicCheckAdaptsOrRefuses) {
  TEngine engine("(deftemplate t (slot f (type FLOAT)) (slot i (type INTEGER)) (slot r (type INTEGER) (range 1 5)))");
  const IFact fact = engine.FindFactTemplate("t")->NewFact();
  fact->SetValue("i", MakeString("anything"));
  EXPECT_TRUE(fact->GetValue("i")->Is(dtString)) << "nothing is refused without the check";
  engine.SetTypeChecks({tcDynamic});
  const IKBValue number = MakeInteger(3);
  fact->SetValue("f", number);
  EXPECT_TRUE(number->Is(dtFloat)) << "the caller's value is the one that is stored";
  EXPECT_EQ(fact->GetValue("f"), number);
  EXPECT_EQ(MessageOf([&] { fact->SetValue("i", MakeAtom("a")); }),
            "Not a INTEGER type.  Value (a) is a dtAtom type for i slot");
  EXPECT_TRUE(fact->GetValue("i")->Is(dtString)) << "a refused value leaves the old one";
  EXPECT_EQ(MessageOf([&] { fact->SetValue("r", MakeInteger(6)); }),
            "Value \"6\" is not valid, Range must be between 1.0000 and 5.0000 for r slot");
  fact->SetValue("r", MakeInteger(5));
}

TEST(Fact, ListingFormPadsTheId) {
  TInferenceEngine engine;
  const IFact fact = engine.ParseFact("(a b)");
  fact->SetID(7);
  engine.SetFactIdCounter(1234);
  EXPECT_EQ(fact->GetToIDString(), "f-0007 " + fact->ToString());
  const IFact plain = MakePoint(Point(), MakeInteger(1), MakeInteger(2));
  plain->SetID(7);
  EXPECT_EQ(plain->GetToIDString(), "f-7 " + plain->ToString());
}

TEST(Fact, MovesBetweenEnginesAsText) {
  TEngine source;
  TInferenceEngine target;
  source.Do("(deftemplate t (slot a) (multislot m))");
  const IFact fact = source.ParseFact("(t (a 1) (m x \"y\"))");
  fact->SetID(12);
  const IFact copy = MakeRef<TFact>(target.CreateFactTemplate("elsewhere"));
  copy->AssignInterface(*fact);
  EXPECT_EQ(copy->ToString(), fact->ToString());
  EXPECT_EQ(copy->GetID(), 12);
  EXPECT_EQ(copy->GetTemplate().Get(), target.FindFactTemplate("t"));
  // Known by now: the template is found.
  const IFact again = MakeRef<TFact>(target.CreateFactTemplate("elsewhere"));
  again->Assign(*fact);
  EXPECT_TRUE(again->Equals(copy.Get()));
}

}  // namespace
}  // namespace kb
