#include <gtest/gtest.h>

#include "kb/common/DataStringList.h"
#include "kb/platform/Exceptions.h"

namespace kb {
namespace {

using TShared = std::shared_ptr<int>;

TEST(DataStringList, DataFollowTheirLines) {
  TDataStringList<TShared> list;
  const TShared one = std::make_shared<int>(1);
  const TShared two = std::make_shared<int>(2);
  const TShared three = std::make_shared<int>(3);
  list.AddData("c", three);
  list.InsertData(0, "b", two);
  list.Add("x");
  list.AddData("a", one);
  EXPECT_EQ(list.GetData(2), nullptr);
  list.Exchange(0, 3);
  EXPECT_EQ(list.IndexOfData(two), 3);
  list.SetSorted(true);
  ASSERT_EQ(list.GetText(), "a\r\nb\r\nc\r\nx\r\n");
  EXPECT_EQ(*list.GetData(0) + 10 * *list.GetData(1) + 100 * *list.GetData(2), 321);
  list.Delete(1);
  EXPECT_EQ(list.GetData(1), three);
  EXPECT_THROW((void)list.GetData(3), EListError);

  // The list lets go of what it drops.
  EXPECT_EQ(two.use_count(), 1);
  list.PutData(0, two);
  EXPECT_EQ(one.use_count(), 1);
  list.Clear();
  EXPECT_EQ(two.use_count() + three.use_count(), 2);
}

TEST(DataStringList, AnIgnoredDuplicateKeepsItsDatumAndAChangeIsReportedWithIt) {
  TDataStringList<int> list;
  std::string seen;
  list.OnChange = [&](TStrings&) { seen += std::to_string(list.GetData(list.GetCount() - 1)) + " "; };
  list.AddData("key", 1);
  list.SetSorted(true);
  EXPECT_EQ(list.AddData("KEY", 2), 0);
  EXPECT_EQ(list.GetData(0), 1);
  list.SetDuplicates(dupAccept);
  EXPECT_EQ(list.AddData("KEY", 2), 1);
  EXPECT_EQ(list.GetData(1), 2);
  EXPECT_EQ(seen, "1 2 ");
}

TEST(DataStringList, AssignBringsDataOnlyFromTheSameType) {
  TDataStringList<int> source;
  source.AddData("a", 1);
  source.AddData("b", 2);
  TDataStringList<int> same;
  same.Assign(source);
  EXPECT_EQ(same.GetData(1), 2);
  same.AddStrings(same);
  EXPECT_EQ(same.GetCount(), 4);
  EXPECT_EQ(same.GetData(3), 2);
  TDataStringList<std::string> other;
  other.Assign(source);
  EXPECT_EQ(other.GetText(), "a\r\nb\r\n");
  EXPECT_EQ(other.GetData(1), "");
}

}  // namespace
}  // namespace kb
