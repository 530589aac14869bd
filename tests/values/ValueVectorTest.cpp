#include <gtest/gtest.h>

#include "kb/platform/Exceptions.h"
#include "kb/values/ValueHashTable.h"
#include "kb/values/ValueVector.h"

namespace kb {
namespace {

IValueVector Vector(std::vector<IKBValue> items) { return MakeRef<TValueVector>(std::move(items)); }

TEST(ValueVector, SearchGoesByIdentityAndBadIndicesChangeNothing) {
  const IKBValue a = MakeAtom("a");
  const IValueVector list = Vector({MakeAtom("a"), a, a});
  EXPECT_EQ(list->IndexOf(a), 1);
  EXPECT_EQ(list->Remove(MakeAtom("a")), -1);
  EXPECT_EQ(list->Remove(a), 1);
  EXPECT_EQ(list->Last(), a);
  for (const int index : {-1, 2, 9}) {
    EXPECT_THROW((void)list->Get(index), EListError);
    EXPECT_THROW(list->Put(index, FCTrue), EListError);
    EXPECT_THROW(list->Delete(index), EListError);
  }
  EXPECT_THROW(list->Insert(9, FCTrue), EListError);
  list->Insert(2, FCFalse);
  list->Insert(0, IKBValue());
  EXPECT_EQ(list->ToString(), " a a FALSE ");
  list->Clear();
  EXPECT_THROW((void)list->First(), EListError);
  EXPECT_THROW((void)list->Last(), EListError);
}

TEST(ValueVector, AppendSharesAndCloneCopies) {
  const IValueVector source = Vector({MakeInteger(1), IKBValue()});
  source->SetTag(7);
  const IValueVector clone = source->Clone();
  EXPECT_EQ(clone->GetTag(), 7);
  EXPECT_TRUE(clone->Equals(source.Get()));
  clone->Get(0)->SetAsInteger(2);
  EXPECT_EQ(source->Get(0)->GetAsInteger(), 1);
  clone->Append(*source);
  EXPECT_EQ(clone->Get(2), source->Get(0));
  clone->Append(*clone);
  EXPECT_EQ(clone->ToString(), "2  1  2  1  ");
  source->Assign(*source);
  EXPECT_EQ(source->ToString(), "1  ");
}

TEST(ValueVector, EqualityLooksAtOrderAndTheHashDoesNot) {
  const IValueVector ab = Vector({MakeAtom("a"), MakeInteger(INT32_MAX)});
  const IValueVector ba = Vector({MakeInteger(INT32_MAX), MakeAtom("a")});
  EXPECT_EQ(ab->GetHashCode(), ba->GetHashCode());
  EXPECT_FALSE(ab->Equals(ba.Get()));
  EXPECT_TRUE(Vector({})->Equals(Vector({}).Get()));
  EXPECT_FALSE(ab->Equals(nullptr));
  EXPECT_FALSE(Vector({IKBValue()})->Equals(Vector({FCNil}).Get()));
  EXPECT_FALSE(Vector({FCNil})->Equals(Vector({IKBValue()}).Get()));
  EXPECT_TRUE(Vector({IKBValue()})->Equals(Vector({IKBValue()}).Get()));
}

TEST(SingletonsVector, KeepsItsPairsTogether) {
  auto vector = MakeRef<TSingletonsVector>();
  EXPECT_EQ(vector->Add(MakeInteger(1), MakeInteger(0)), 0);
  vector->Insert(0, MakeInteger(5), MakeInteger(6));
  vector->SetTag(3);
  const ISingletonsVector clone = vector->Clone();
  EXPECT_EQ(clone->GetTag(), 3);
  EXPECT_TRUE(clone->Equals(vector.Get()));
  EXPECT_EQ(clone->GetHashCode(), vector->GetHashCode());
  EXPECT_EQ(clone->ToString(), "(5 6) (1 0) ");
  clone->SetYValues(1, MakeInteger(9));
  EXPECT_FALSE(clone->Equals(vector.Get()));
  EXPECT_EQ(vector->IndexOfY(vector->GetYValues(1)), 1);
  clone->Append(*vector);
  EXPECT_EQ(clone->GetXValues(2), vector->GetXValues(0));
  clone->Delete(0);
  EXPECT_EQ(clone->ToString(), "(1 9) (5 6) (1 0) ");
  EXPECT_THROW(clone->Insert(7, FCNil, FCNil), EListError);
  EXPECT_EQ(clone->GetCount(), 3);
}

TEST(ValueHashTable, AssignClonesAndTellsOnce) {
  TValueHashTable source;
  source.Put("b", MakeInteger(1));
  source.Put("a", MakeString("x"));
  TValueHashTable copy;
  copy.Put("old", FCTrue);
  int changes = 0;
  copy.OnChange = [&] { ++changes; };
  copy.Assign(source);
  EXPECT_EQ(changes, 1);
  copy.Get("b")->SetAsInteger(2);
  EXPECT_EQ(source.ToString(), "b = 1\r\na = \"x\"\r\n");
  EXPECT_EQ(copy.ToString(), "b = 2\r\na = \"x\"\r\n");
  copy.Assign(copy);
  EXPECT_EQ(copy.GetCount(), 2);
}

}  // namespace
}  // namespace kb
