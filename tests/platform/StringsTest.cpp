#include <sstream>
#include <stdexcept>

#include "kb/platform/Encoding.h"
#include "kb/platform/Exceptions.h"
#include "kb/platform/Strings.h"
#include "tests/Dialogue.h"

namespace kb {
namespace {

TEST(StringList, ObjectsStayWithTheirLines) {
  TStringList list;
  TPersistent a, b, c;
  list.AddObject("a", &a);
  list.AddObject("c", &c);
  list.Insert(1, "b");
  EXPECT_EQ(list.GetObject(1), nullptr);
  list.PutObject(1, &b);
  list.Exchange(0, 2);
  EXPECT_EQ(list.GetText(), "c\r\nb\r\na\r\n");
  EXPECT_EQ(list.IndexOfObject(&a), 2);
  list.Delete(1);
  list.Put(0, "renamed");
  list.Sort();
  EXPECT_EQ(list.GetObject(list.IndexOf("A")), &a);
  EXPECT_EQ(list.GetObject(list.IndexOf("renamed")), &c);
}

TEST(StringList, BadIndexRaisesAndChangesNothing) {
  TStringList list;
  list.Add("only");
  const std::pair<int, std::function<void()>> works[] = {
      {1, [&] { (void)list.Get(1); }},      {-1, [&] { list.Delete(-1); }},    {2, [&] { list.Insert(2, "x"); }},
      {7, [&] { list.Put(7, "x"); }},       {1, [&] { list.Exchange(0, 1); }}, {1, [&] { list.PutObject(1, nullptr); }},
      {1, [&] { (void)list.GetObject(1); }}};
  for (const auto& [index, work] : works) {
    EXPECT_EQ(kbtest::MessageOf(work), "List index out of bounds (" + std::to_string(index) + ")");
  }
  EXPECT_EQ(list.GetText(), "only\r\n");
}

TEST(StringList, SortedListFindsAndObeysDuplicates) {
  TStringList list;
  for (const char* line : {"pear", "Apple", "fig"}) list.Add(line);
  list.SetSorted(true);
  EXPECT_EQ(list.GetText(), "Apple\r\nfig\r\npear\r\n");
  EXPECT_EQ(list.Add("banana"), 1);
  EXPECT_EQ(list.IndexOf("FIG"), 2);
  EXPECT_EQ(list.IndexOf("grape"), -1);

  TPersistent object;
  EXPECT_EQ(list.AddObject("apple", &object), 0);  // ignored by default; the old entry keeps its own object
  EXPECT_EQ(list.GetCount(), 4);
  EXPECT_EQ(list.GetObject(0), nullptr);

  list.SetDuplicates(dupError);
  EXPECT_EQ(kbtest::MessageOf([&] { list.Add("PEAR"); }), "String list does not allow duplicates");
  list.SetDuplicates(dupAccept);
  EXPECT_EQ(list.AddObject("apple", &object), 1);  // behind its equal
  EXPECT_EQ(list.Get(0), "Apple");
  EXPECT_EQ(list.GetObject(1), &object);

  const std::function<void()> refused[] = {[&] { list.Insert(0, "x"); }, [&] { list.Put(0, "x"); },
                                           [&] { list.Exchange(0, 1); }};
  for (const auto& work : refused) EXPECT_EQ(kbtest::MessageOf(work), "Operation not allowed on a sorted list");
}

TEST(StringList, CaseMattersOnlyWhenAsked) {
  TStringList list;
  for (const char* line : {"b", "A", "B"}) list.Add(line);
  EXPECT_EQ(list.IndexOf("B"), 0);
  list.SetCaseSensitive(true);
  EXPECT_EQ(list.IndexOf("B"), 2);
  list.SetSorted(true);
  EXPECT_EQ(list.GetText(), "A\r\nB\r\nb\r\n");
  list.SetCaseSensitive(false);  // sorts anew; equals keep their order
  EXPECT_EQ(list.GetText(), "A\r\nB\r\nb\r\n");
  EXPECT_EQ(list.IndexOf("b"), 1);
}

TEST(StringList, StreamsKeepTextInEveryEncoding) {
  TStringList list;
  list.SetText("caf\xC3\xA9\nend");
  for (const TEncoding* encoding : {TEncoding::UTF8WithMark(), TEncoding::UTF16LE(), TEncoding::Latin1()}) {
    std::stringstream stream;
    list.SaveToStream(stream, encoding);
    TStringList read;
    read.LoadFromStream(stream, encoding);
    EXPECT_EQ(read.GetText(), list.GetText()) << encoding->Name();
  }
  std::istringstream broken("x");
  broken.setstate(std::ios::badbit);
  EXPECT_THROW(list.LoadFromStream(broken), EStreamError);
  EXPECT_EQ(list.GetCount(), 2);
}

TEST(StringList, ChangeIsReportedOncePerUpdate) {
  TStringList list;
  int changes = 0;
  list.OnChange = [&](TStrings&) { ++changes; };
  list.Add("a");
  EXPECT_EQ(changes, 1);
  list.BeginUpdate();
  list.BeginUpdate();
  list.Add("b");
  list.EndUpdate();
  list.Clear();
  EXPECT_EQ(changes, 1);
  list.EndUpdate();
  EXPECT_EQ(changes, 2);
  list.BeginUpdate();
  list.EndUpdate();
  list.Clear();  // of an empty list
  EXPECT_EQ(changes, 2);
  list.SetText("x\ny\nz");
  // An update that an exception leaves is over.
  list.SetSorted(true);
  list.SetDuplicates(dupError);
  EXPECT_THROW(list.SetText("x\nX"), EListError);
  EXPECT_EQ(changes, 4);
  // The handler's own exception reaches the caller and leaves the list usable.
  list.OnChange = [](TStrings&) { throw std::runtime_error("handler"); };
  EXPECT_THROW(list.SetText("k"), std::runtime_error);
  EXPECT_EQ(list.GetText(), "k\r\n");
  EXPECT_FALSE(list.IsUpdating());
}

TEST(StringList, AssignAndTextsTakeAllLinesAndObjects) {
  TStringList source;
  TPersistent object;
  source.Add("b");
  source.AddObject("a", &object);
  TStringList target;
  target.Add("old");
  target.Assign(source);
  EXPECT_EQ(target.GetText(), "b\r\na\r\n");
  EXPECT_EQ(target.GetObject(1), &object);
  target.Assign(target);
  EXPECT_THROW(target.Assign(object), EConvertError);
  EXPECT_EQ(target.GetCount(), 2);
  target.SetText("one\rtwo\nthree\r\n\r\nfive");
  EXPECT_EQ(target.GetText(), "one\r\ntwo\r\nthree\r\n\r\nfive\r\n");
  target.SetText(target.Get(2));  // a line of the list itself
  EXPECT_EQ(target.GetText(), "three\r\n");
}

}  // namespace
}  // namespace kb
