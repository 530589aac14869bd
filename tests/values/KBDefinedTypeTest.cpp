#include <limits>

#include "kb/values/KBDefinedType.h"
#include "tests/values/ValuesTest.h"

namespace kb {
namespace {

using kbtest::TEngine;

IKBDefinedType Type() { return MakeRef<TKBDefinedType>(nullptr); }

TEST(KBDefinedType, Validity) {
  const IKBDefinedType type = Type();
  type->SetBaseTypes({dtAtom, dtInteger, dtFloat});
  type->SetRangeLimited(true);
  type->SetMinRange(1);
  type->SetMaxRange(10);
  type->SetCardinalityLimited(true);
  type->SetMinCardinality(1);
  type->SetMaxCardinality(3);
  type->SetConstraints({vcAtom, vcFloat});
  type->AddConstraint(*MakeAtom("red"));
  type->AddConstraint(*MakeFloat(2.5));
  for (const IKBValue& value :
       {MakeAtom("red"), MakeAtom("RED"), MakeInteger(1), MakeInteger(10), MakeFloat(2.50005),
        MakeRef<TKBValue>(TKBText("v"), dtMultiVariable), MakeRef<TKBValue>(IFunCall()), MakeRef<TKBValue>(),
        List({MakeInteger(2), MakeRef<TKBValue>(TKBText("v"), dtVariable), MakeAtom("red")})}) {
    EXPECT_EQ(type->GetInvalidValueString(*value), "");
    EXPECT_TRUE(type->IsValid(*value)) << value->ToString();
  }
  const std::string range = "is not valid, Range must be between 1.0000 and 10.0000";
  const std::string count = "is not valid, Multislot must have between 1 and 3 elements";
  const std::pair<IKBValue, std::string> cases[] = {
      {MakeAtom("blue"), "Value \"blue\" is not valid, Not in allowed values"},
      {MakeInteger(11), "Value \"11\" " + range},
      {MakeFloat(2.6), "Value \"2.6000\" is not valid, Not in allowed values"},
      {MakeString("5"),
       "Value \"\"5\"\" is not valid, Not a ATOM, INTEGER, FLOAT type.  Value (\"5\") is a dtString type"},
      {List({}), "Value \"\" " + count},
      {List({MakeInteger(2), MakeInteger(0)}), "Value \"2 0 \" is not valid, Value \"0\" " + range},
      {List({FCTrue, FCTrue, FCTrue, FCTrue}), "Value \"TRUE TRUE TRUE TRUE \" " + count}};
  for (const auto& [value, reason] : cases) {
    EXPECT_EQ(type->GetInvalidValueString(*value), reason);
    EXPECT_FALSE(type->IsValid(*value)) << value->ToString();
  }
  type->ClearConstraints();
  EXPECT_FALSE(type->IsValid(*MakeFloat(std::numeric_limits<double>::quiet_NaN())));
  // A text is no number for the range.
  type->SetBaseTypes({dtString});
  EXPECT_TRUE(type->IsValid(*MakeString("99")));
}

TEST(KBDefinedType, FuzzyTypesTakeWhatCanBecomeASet) {
  const IKBDefinedType type = Type();
  const TKBTypes mixed{dtFuzzy, dtAtom};
  EXPECT_EQ(MessageOf([&] { type->SetBaseTypes(mixed); }), "Cannot mix fuzzy type with other primitive types");
  EXPECT_EQ(type->GetBaseTypes(), KBSlotTypes);
  type->SetBaseTypes(dtFuzzy);
  EXPECT_TRUE(type->IsValid(*MakeAtom("hot")));
  EXPECT_FALSE(type->IsValid(*MakeFactId(1)) || type->IsValid(*MakeRef<TKBValue>(Ref<IFuzzySet>())));
  EXPECT_EQ(type->GetInvalidValueString(*MakeAtom("hot")), "Value \"hot\" is not valid, invalid fuzzy value");
}

TEST(KBDefinedType, LimitsPushEachOther) {
  const IKBDefinedType type = Type();
  int changes = 0;
  type->OnChange = [&](TKBDefinedType&) { ++changes; };
  type->SetMaxRange(5);
  type->SetMinRange(7);
  EXPECT_EQ(type->GetMaxRange(), 7);
  type->SetMaxRange(3);
  EXPECT_EQ(type->GetMinRange(), 3);
  type->SetMaxCardinality(-4);
  type->SetMinCardinality(2);
  EXPECT_EQ(type->GetMaxCardinality(), 2);
  type->SetMinCardinality(2);
  EXPECT_EQ(changes, 5);
  type->BeginUpdate();
  type->BeginUpdate();
  type->SetUnits("cm");
  type->EndUpdate();
  EXPECT_EQ(changes, 5);
  type->EndUpdate();
  EXPECT_EQ(changes, 6);
}

TEST(KBDefinedType, ConstraintLists) {
  const IKBDefinedType type = Type();
  type->SetName("t");
  EXPECT_EQ(type->GetConstraintAtomsCount(), 0);
  EXPECT_EQ(MessageOf([&] { (void)type->GetConstraintAtom(0); }), "Defined Type t does not have Atom constraints");
  EXPECT_EQ(MessageOf([&] { type->DeleteConstraint(0, vcFloat); }), "Defined Type t does not have Float constraints");
  EXPECT_EQ(MessageOf([&] { type->AddConstraint(*MakeInteger(1)); }),
            "Defined Type t cannot contain Integer constraint types");
  EXPECT_EQ(MessageOf([&] { type->AddConstraint(*FCNilList); }), "Defined Type t cannot contain List constraint types");
  type->SetConstraints({vcAtom, vcString, vcInteger});
  for (const IKBValue& value : {MakeAtom("a"), MakeAtom("A"), MakeString("b\"c"), MakeInteger(1), MakeInteger(1)}) {
    type->AddConstraint(*value);
  }
  EXPECT_EQ(type->ConstraintToString(vcAtom) + type->ConstraintToString(vcString) + type->ConstraintToString(vcInteger),
            "a \"b\\\"c\" 1 ");
  EXPECT_THROW((void)type->GetConstraintInteger(1), EListError);
  EXPECT_THROW(type->DeleteConstraint(-1, vcAtom), EListError);
  EXPECT_EQ(type->GetAllowedString(), "   (allowed-integers 1 ) \r\n   (allowed-lexemes a \"b\\\"c\" )\r\n");
  type->RemoveConstraint(*MakeInteger(1));
  type->RemoveConstraint(*FCNilList);
  EXPECT_EQ(type->GetConstraintIntegersCount(), 0);
  EXPECT_FALSE(type->IsValid(*MakeInteger(1))) << "an empty list allows nothing";
  type->ClearConstraints({vcInteger, vcString});
  EXPECT_EQ(type->GetConstraints(), TValueConstraints{vcAtom});
  EXPECT_EQ(type->GetAllowedString(), "   (allowed-symbols a )\r\n");
  type->SetConstraints({vcAtom, vcString, vcInteger, vcFloat});
  type->AddConstraint(*MakeFloat(0.5));
  EXPECT_EQ(type->GetAllowedString(), "   (allowed-values a 0.5000 )\r\n");
}

TEST(KBDefinedType, Defaults) {
  const IKBDefinedType type = Type();
  type->SetBaseTypes({dtInteger, dtFloat});
  EXPECT_EQ(type->CreateValidDefault(false)->ToString(), "0");
  type->SetRangeLimited(true);
  EXPECT_EQ(type->CreateValidDefault(false)->ToString(), "0");
  type->SetMaxRange(-3.5);
  EXPECT_EQ(type->CreateValidDefault(false)->ToString(), "-3");
  type->SetMinRange(-9);
  EXPECT_EQ(type->CreateValidDefault(false)->ToString(), "-9");
  type->SetConstraints(vcInteger);
  type->AddConstraint(*MakeInteger(-4));
  type->SetCardinalityLimited(true);
  type->SetMinCardinality(2);
  EXPECT_EQ(type->CreateValidDefault(true)->ToString(), "-4 -4 ");
  type->SetMinCardinality(2000000000);
  EXPECT_THROW((void)type->CreateValidDefault(true), EListError);
  type->SetCardinalityLimited(false);
  const IKBValue list = type->CreateValidDefault(true);
  EXPECT_NE(list->ListOrNull(), FCNilList->ListOrNull());
  EXPECT_EQ(list->ToString(), "");
}

TEST(KBDefinedType, AncestorsFormNoLoop) {
  const IKBDefinedType a = Type();
  const IKBDefinedType b = Type();
  a->SetName("a");
  a->SetImplicit(true);
  a->SetAncestor(b);
  EXPECT_FALSE(a->GetImplicit());
  EXPECT_EQ(MessageOf([&] { b->SetAncestor(a); }),
            "Type inheritance loop detected, implicit type cannot be an ancestor of itself");
  EXPECT_EQ(b->GetAncestor(), nullptr);
  EXPECT_EQ(MessageOf([&] { a->SetAncestor(a); }),
            "Type inheritance loop detected, a type cannot be an ancestor of itself");
}

TEST(KBDefinedType, CopiesAreEqualAndIndependent) {
  const IKBDefinedType type = Type();
  type->SetName("t");
  type->SetConstraints({vcFloat, vcAtom});
  type->AddConstraint(*MakeFloat(1));
  type->SetMinRange(3);
  type->SetUnits("cm");
  const IKBDefinedType clone = type->Clone();
  EXPECT_TRUE(clone->Equals(type.Get()));
  EXPECT_EQ(clone->GetUnits(), "cm");
  clone->AddConstraint(*MakeAtom("x"));
  EXPECT_FALSE(clone->Equals(type.Get()));
  EXPECT_EQ(type->GetConstraintAtomsCount(), 0);
  clone->Assign(*type);
  clone->SetMinRange(3.00001);
  EXPECT_TRUE(clone->Equals(type.Get()));
  EXPECT_FALSE(clone->Equals(nullptr));
}

TEST(KBDefinedType, RenamesGoThroughTheRegistry) {
  TEngine engine("(deftype a extends (type SYMBOL)) (deftype b extends (type SYMBOL))");
  TKBDefinedType* a = engine.FindDefinedType("a");
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(MessageOf([&] { a->SetName("b"); }), "Defined Type Name already exists: \"b\"");
  EXPECT_EQ(a->GetName(), "a");
  a->SetName("c");
  EXPECT_EQ(engine.FindDefinedType("c"), a);
  EXPECT_EQ(engine.FindDefinedType("a"), nullptr);
}

}  // namespace
}  // namespace kb
