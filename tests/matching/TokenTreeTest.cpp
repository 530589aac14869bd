#include "kb/common/IndexedSequence.h"
#include "kb/matching/KBTokenTree.h"
#include "kb/values/KBFuzzyInterfaces.h"
#include "tests/Program.h"

namespace kb {
namespace {

using kbtest::TEngine;

IReteToken MakeToken(TInferenceEngine& engine, int id, int value) {
  const IFact fact = engine.ParseFact("(n " + std::to_string(value) + ")");
  fact->SetID(id);
  return MakeRef<TKBToken>(taAdd, fact);
}

/// What a scan calls to gather the ids of the facts that it meets.
auto IntoIds(std::vector<int>& ids) {
  return [&ids](const IReteToken& token) {
    ids.push_back(token->GetFact()->GetID());
    return true;
  };
}

std::vector<int> Ids(const TKBTokenTree& tree, int32_t key) {
  std::vector<int> ids;
  tree.ScanKey({key}, IntoIds(ids));
  return ids;
}

TEST(TokenTree, StoresEqualTokensOfABucketOnceAndFindsThemForRemoval) {
  TInferenceEngine engine;
  TKBTokenTree tree(101, 0, NoSubIndex, "", false);
  const IReteToken token = MakeToken(engine, 5, 1);
  EXPECT_TRUE(tree.Add(token));
  EXPECT_FALSE(tree.Add(MakeRef<TKBToken>(token)));
  EXPECT_EQ(tree.GetCount(), 1U);
  const auto removal = MakeRef<TKBToken>(taRemove, token->GetFact());
  EXPECT_EQ(tree.Remove(*removal), token.Get());
  EXPECT_FALSE(tree.Remove(*removal));
}

TEST(TokenTree, FindsWhatAListHoldsWhileItGrowsAndShrinks) {
  TInferenceEngine engine;
  TKBTokenTree tree(101, 0, 0, "__Data", false);
  std::vector<IReteToken> tokens;
  const auto grow = [&](int count) {
    for (int i = 0; i < count; ++i) {
      tokens.push_back(MakeToken(engine, static_cast<int>(tokens.size()) + 1, 7));
      EXPECT_TRUE(tree.Add(tokens.back()));
      EXPECT_FALSE(tree.Add(MakeRef<TKBToken>(tokens.back())));
    }
  };
  const auto shrink = [&](size_t first, size_t last) {
    for (size_t i = first; i < last; ++i) EXPECT_EQ(tree.Remove(*tokens[i]), tokens[i].Get()) << i;
  };
  grow(30);
  shrink(0, 28);
  grow(5);
  shrink(30, 35);
  grow(1);
  EXPECT_EQ(Ids(tree, 7), (std::vector<int>{29, 30, 36}));
  shrink(28, 30);
  shrink(35, 36);
  EXPECT_EQ(tree.GetCount(), 0U);
}

TEST(TokenTree, ScansInOrderOfBucketsAndArrival) {
  TInferenceEngine engine;
  TKBTokenTree tree(10, 0, NoSubIndex, "", false);
  for (const int id : {13, 2, 3, 12, -7}) tree.Add(MakeToken(engine, id, 0));
  std::vector<int> ids;
  tree.ScanAll(IntoIds(ids));
  EXPECT_EQ(ids, (std::vector<int>{2, 12, 13, 3, -7}));
}

TEST(TokenTree, AKeyedMemoryGivesTheTokensOfOneValueAlone) {
  TInferenceEngine engine;
  TKBTokenTree tree(101, 0, 0, "__Data", false);
  for (int i = 0; i < 300; ++i) tree.Add(MakeToken(engine, i, i % 3 == 0 ? 7 : 7 + 101));
  for (const auto& [key, count] : {std::pair(7, 100U), {108, 200U}, {9, 0U}}) EXPECT_EQ(Ids(tree, key).size(), count);
  tree.Clear();
  EXPECT_TRUE(tree.IsEmpty());
  EXPECT_TRUE(Ids(tree, 7).empty());
}

// Facts (p x y): the key is x, refined by y.
class RefinedKey : public ::testing::Test {
 protected:
  IReteToken Make(int id, const std::string& fields) {
    const IFact fact = engine.ParseFact("(p " + fields + ")");
    fact->SetID(id);
    return MakeRef<TKBToken>(taAdd, fact);
  }
  std::vector<int> IdsFor(const IReteToken& probe) {
    std::vector<int> ids;
    tree.ScanKey(tree.KeyFor(*probe), IntoIds(ids));
    return ids;
  }
  TEngine engine;
  TKeyPart second{0, 1, TSlotRef("__Data")};
  TKBTokenTree tree{101, TKeyPart{0, 0, TSlotRef("__Data")}, {second}};
};

TEST_F(RefinedKey, PassesOverWhatDiffersAndNeverOverWhatMayBeEqual) {
  tree.Add(Make(1, "a x"));
  tree.Add(Make(2, "a y"));
  tree.Add(Make(3, "b x"));
  tree.Add(Make(4, "a 1.00001"));
  tree.Add(Make(5, "a x"));
  tree.Add(Make(6, "a 1"));
  EXPECT_EQ(IdsFor(Make(9, "a x")), (std::vector<int>{1, 5}));
  EXPECT_EQ(IdsFor(Make(9, "a 1.0")), (std::vector<int>{4}));
  EXPECT_TRUE(IdsFor(Make(9, "b y")).empty());
  tree.Remove(*Make(1, "a x"));
  EXPECT_EQ(IdsFor(Make(9, "a x")), (std::vector<int>{5}));
}

TEST_F(RefinedKey, LooksThroughTheMemoryWhenAValueCannotRefine) {
  tree.Add(Make(1, "a x"));
  tree.Add(Make(2, "b x"));
  tree.Add(Make(3, "a y"));
  const IReteToken fuzzy = Make(4, "a z");
  const auto fields = MakeRef<TValueVector>();
  fields->Add(MakeAtom("a"));
  fields->Add(MakeRef<TKBValue>(Ref<IFuzzySet>()));
  fuzzy->GetFact()->SetValue("__Data", MakeRef<TKBValue>(fields));
  EXPECT_EQ(IdsFor(fuzzy), (std::vector<int>{1, 3}));
  tree.Add(fuzzy);
  EXPECT_EQ(IdsFor(Make(9, "a x")), (std::vector<int>{1, 3, 4}));
  tree.Remove(*fuzzy);
  EXPECT_EQ(IdsFor(Make(9, "a x")), (std::vector<int>{1}));
}

TEST(TokenTree, MayChangeWhileItIsScanned) {
  TInferenceEngine engine;
  TKBTokenTree tree(101, 0, 0, "__Data", false);
  std::vector<IReteToken> tokens;
  for (int i = 0; i < 5; ++i) tree.Add(tokens.emplace_back(MakeToken(engine, i, 1)));
  std::vector<int> ids;
  tree.ScanKey({1}, [&](const IReteToken& token) {
    ids.push_back(token->GetFact()->GetID());
    if (ids.size() == 1) {
      for (const size_t removed : {0U, 1U}) tree.Remove(*tokens[removed]);
      tree.Add(MakeToken(engine, 9, 1));
    }
    if (ids.size() == 3) tree.Clear();
    return true;
  });
  EXPECT_EQ(ids, (std::vector<int>{0, 2, 3}));
}

TEST(Token, OrderOfFactsCountsAndTagsDoNot) {
  TInferenceEngine engine;
  const IReteToken a = MakeToken(engine, 1, 1);
  const IReteToken b = MakeToken(engine, 2, 1);
  const auto ab = MakeRef<TKBToken>(a, b->GetFact());
  const auto ba = MakeRef<TKBToken>(b, a->GetFact());
  EXPECT_EQ(ab->GetSortCode(), 1 * 8 + 2);
  EXPECT_FALSE(ab->Equals(*ba));
  const auto copy = MakeRef<TKBToken>(IReteToken(ab));
  copy->SetTag(taRemove);
  copy->SetNegatedCount(4);
  EXPECT_TRUE(copy->Equals(*ab));
  copy->SetStrength(0.5F);
  EXPECT_FALSE(copy->Equals(*ab));
  EXPECT_EQ(ab->ToFactsString(), "f-1, f-2");
  EXPECT_EQ(ab->Facts(0)->GetID(), 1);
  EXPECT_EQ(ab->Facts(7)->GetID(), 2);
  EXPECT_THROW(MakeRef<TKBToken>()->SetTag(taAdd), EKBException);
}

TEST(IndexedSequence, FindsAPlaceHoweverFarTheEstimateIsOff) {
  TIndexedSequence<size_t> sequence;
  for (size_t i = 0; i < 700; ++i) sequence.Append(i * 2);
  const auto find = [&](size_t value, size_t percent) {
    return sequence.PartitionPointNear([&](size_t item) { return item < value; },
                                       [&](size_t, size_t, size_t count) { return count * percent / 100; });
  };
  for (size_t value = 0; value <= 1400; ++value) {
    for (const size_t percent : {0U, 40U, 100U, 900U}) ASSERT_EQ(find(value, percent), (value + 1) / 2) << percent;
  }
  sequence.Clear();
  EXPECT_EQ(find(1, 50), 0U);
}

TEST(IndexedSequence, BehavesAsAVector) {
  TIndexedSequence<int> sequence;
  std::vector<int> model;
  unsigned state = 12345;
  const auto draw = [&](size_t limit) {
    state = state * 1664525U + 1013904223U;
    return static_cast<size_t>(state >> 8) % limit;
  };
  for (int step = 0; step < 20000; ++step) {
    // By turns it grows anywhere, shrinks, is a queue and a stack.
    const size_t phase = static_cast<size_t>(step) / 2500 % 4;
    const bool grows = draw(5) < (phase == 1 ? 2U : 3U);
    if (model.empty() || grows) {
      const size_t place = phase < 2 ? draw(model.size() + 1) : model.size();
      sequence.Insert(place, step);
      model.insert(model.begin() + static_cast<std::ptrdiff_t>(place), step);
    } else {
      const size_t place = phase < 2 ? draw(model.size()) : phase == 2 ? 0 : model.size() - 1;
      ASSERT_EQ(sequence.Erase(place), model[place]);
      model.erase(model.begin() + static_cast<std::ptrdiff_t>(place));
    }
    ASSERT_EQ(sequence.Size(), model.size());
    if (!model.empty()) {
      const size_t place = draw(model.size());
      ASSERT_EQ(sequence.At(place), model[place]);
    }
  }
}

}  // namespace
}  // namespace kb
