#include <random>
#include <thread>

#include "kb/fuzzy/KBFuzzyLogic.h"
#include "kb/values/KBContext.h"
#include "kb/values/KBHelperFunctions.h"
#include "tests/values/ValuesTest.h"

namespace kb {
namespace {

using kbtest::MessageIdOf;

IKBValue Text(const char* text, TKBType type) { return MakeRef<TKBValue>(TKBText(text), type); }
/// A spike at one number.
IKBValue Fuzzy(double point) {
  Ref<IFuzzySet> set = MakeRef<TKBFuzzySet>(nullptr, "((" + FloatToString(point) + " 1))");
  set->Triangle(point, point, point);
  return MakeRef<TKBValue>(set);
}
IKBValue Address(uintptr_t number) {
  auto value = MakeRef<TKBValue>();
  value->SetAsExternalAddress(reinterpret_cast<void*>(number));
  return value;
}

IKBValue Singletons() {
  auto vector = MakeRef<TSingletonsVector>();
  vector->Add(MakeInteger(1), MakeFloat(0.5));
  return MakeRef<TKBValue>(vector);
}

/// A value of each type that needs no engine, its printed text, and what it converts to; "-" where it refuses.
struct TSample {
  IKBValue value;
  std::string text;
  std::string string;
  std::string integer;
  std::string numeric;
  std::string factId;
};

std::vector<TSample> Samples() {
  return {
      {MakeRef<TKBValue>(), "", "-", "-", "-", "-"},
      {MakeAtom("abc"), "abc", "abc", "-", "-", "-"},
      {MakeAtom("12"), "12", "12", "12", "12.0000", "-"},
      {MakeAtom("12.9"), "12.9", "12.9", "12", "12.9000", "-"},
      {MakeAtom("12x"), "12x", "12x", "-", "-", "-"},
      {MakeString("a\\\"b"), "\"a\\\\\\\"b\"", "a\\\"b", "-", "-", "-"},
      {MakeString("-3"), "\"-3\"", "-3", "-3", "-3.0000", "-"},
      {MakeInteger(-7), "-7", "-7", "-7", "-7.0000", "-7"},
      {Text("x", dtVariable), "?x", "x", "-", "-", "-"},
      {MakeFactId(4), "<Fact-4>", "-", "4", "4.0000", "4"},
      {MakeFloat(-2.99999), "-3.0000", "-3.0000", "-2", "-3.0000", "-2"},
      {List({MakeAtom("a"), List({MakeInteger(1)}), IKBValue()}), "a 1   ", "-", "-", "-", "-"},
      {MakeRef<TKBValue>(9, dtDescriptor), "<UNKNOWN>", "-", "9", "9.0000", "-"},
      {MakeRef<TKBValue>(static_cast<TObject*>(nullptr), false), "", "-", "-", "-", "-"},
      {MakeRef<TKBValue>(&TPersistent::StaticClass()), "TPersistent", "-", "-", "-", "-"},
      {Address(77), "<External-Address: 77>", "-", "77", "-", "-"},
      {Singletons(), "(1 0.5000) ", "-", "-", "-", "-"},
      {Fuzzy(2.5), "((2.5000 1))", "((2.5000 1))", "2", "2.5000", "-"},
      {Text("y", dtMultiVariable), "$?y", "y", "-", "-", "-"},
      {Text("s", dtSlot), "s", "s", "-", "-", "-"},
      {Text("m", dtMultiSlot), "m", "m", "-", "-", "-"},
  };
}

TEST(KBValue, ConversionsOfEveryType) {
  const auto result = [](const std::function<std::string()>& getter, const char* word) {
    try {
      return getter();
    } catch (const EKBException& error) {
      EXPECT_EQ(error.Id(), TKBMessage::NotAType);
      EXPECT_NE(error.Message().find("Not a " + std::string(word) + " type."), std::string::npos) << error.what();
      return std::string("-");
    }
  };
  for (const TSample& s : Samples()) {
    SCOPED_TRACE(std::string(GetKBTypeName(s.value->GetDType())) + " " + s.text);
    EXPECT_EQ(s.value->ToString(), s.text);
    EXPECT_EQ(result([&] { return s.value->GetAsString().ToString(); }, "string"), s.string);
    EXPECT_EQ(result([&] { return IntegerToString(s.value->GetAsInteger()); }, "integer"), s.integer);
    EXPECT_EQ(result([&] { return FloatToString(s.value->GetAsNumeric()); }, "numeric"), s.numeric);
    EXPECT_EQ(result([&] { return IntegerToString(s.value->GetAsFactId()); }, "fact id"), s.factId);
  }
  EXPECT_EQ(MessageOf([] { (void)MakeInteger(12)->GetAsList(); }), "Not a list type.  Value (12) is a dtInteger type");
}

TEST(KBValue, EveryTypeCopiesHashesAndPrintsConsistently) {
  for (const TSample& s : Samples()) {
    SCOPED_TRACE(std::string(GetKBTypeName(s.value->GetDType())) + " " + s.text);
    s.value->SetTag(42);
    const IKBValue clone = s.value->Clone();
    const IKBValue copy = MakeRef<TKBValue>(s.value);
    const IKBValue target = MakeAtom("old");
    s.value->AssignTo(*target);
    for (const IKBValue& other : {clone, copy, target}) {
      EXPECT_EQ(other->GetDType(), s.value->GetDType());
      EXPECT_TRUE(other->Equals(s.value.Get()));
      EXPECT_TRUE(s.value->PrintsLike(*other));
      EXPECT_EQ(other->GetHashCode(), s.value->GetHashCode());
      EXPECT_EQ(other->PrintedHash().value, TTextHash(s.text).value);
      EXPECT_EQ(other->PrintedHash().power, TTextHash(s.text).power);
    }
    EXPECT_EQ(clone->GetTag() + copy->GetTag() + target->GetTag(), 84);
    clone->Reset();
    EXPECT_TRUE(clone->Is(dtNone));
    EXPECT_EQ(s.value->ToString(), s.text);
  }
}

TEST(KBValue, CloneSharesTheListAndTheInterfaceFormDoesNot) {
  const IKBValue list = List({MakeInteger(1)});
  EXPECT_EQ(list->Clone()->ListOrNull(), list->ListOrNull());
  const IKBValue copy = MakeRef<TKBValue>(list);
  copy->ListOrNull()->Get(0)->SetAsInteger(2);
  EXPECT_EQ(list->ToString(), "1 ");
  // The source lives only inside what its target gives up.
  const IKBValue outer = List({List({MakeInteger(5)})});
  outer->Assign(*outer->ListOrNull()->Get(0));
  EXPECT_EQ(outer->ToString(), "5 ");
  outer->AssignInterface(*outer);
  EXPECT_EQ(outer->ToString(), "5 ");
}

TEST(KBValue, StrictAndLooseEquality) {
  const IKBValue none = MakeRef<TKBValue>();
  const IKBValue listOfOne = List({MakeInteger(1)});
  enum { kYes, kNo, kRaises };
  // Pairs by what the loose comparison says; the strict one says yes to those of the first list alone.
  using TPairs = std::vector<std::pair<IKBValue, IKBValue>>;
  const TPairs equal = {{MakeFloat(1.00004), MakeFloat(1.00006)},
                        {none, MakeRef<TKBValue>()},
                        {listOfOne, List({MakeInteger(1)})},
                        {Fuzzy(2), MakeInteger(2)},
                        {MakeInteger(2), Fuzzy(2)},
                        {Singletons(), Singletons()},
                        {Address(5), Address(5)}};
  const TPairs like = {{MakeAtom("a"), MakeString("a")},
                       {MakeAtom("12"), MakeInteger(12)},
                       {MakeAtom("1.5000"), MakeFloat(1.5)},
                       {MakeInteger(12), MakeAtom("12")},
                       {MakeInteger(1), MakeFloat(1.9)},
                       {MakeInteger(3), MakeFactId(3)},
                       {none, MakeAtom("")},
                       {MakeAtom(""), none},
                       {MakeAtom("x"), Text("x", dtVariable)}};
  const TPairs unlike = {{MakeAtom("a"), MakeAtom("A")},
                         {MakeAtom("1.5"), MakeFloat(1.5)},
                         {MakeFloat(1.9), MakeInteger(1)},
                         {MakeFloat(1.0), MakeFloat(1.0002)},
                         {listOfOne, List({MakeFloat(1.0)})},
                         {listOfOne, List({MakeInteger(1), MakeInteger(1)})},
                         {MakeAtom("2"), Fuzzy(2)},
                         {Singletons(), MakeInteger(1)},
                         {MakeRef<TKBValue>(&TObject::StaticClass()), MakeRef<TKBValue>(&TPersistent::StaticClass())}};
  const TPairs raising = {
      {MakeInteger(1), MakeAtom("x")}, {MakeAtom("a"), List({MakeAtom("a")})}, {List({MakeAtom("a")}), MakeAtom("a")}};
  const auto check = [](const TPairs& pairs, bool strict, int expected) {
    for (const auto& [a, b] : pairs) {
      const std::string trace = std::string(GetKBTypeName(a->GetDType())) + " " + a->ToString() + " : " +
                                std::string(GetKBTypeName(b->GetDType())) + " " + b->ToString();
      EXPECT_EQ(a->Equals(b.Get()), strict) << trace;
      EXPECT_EQ(b->Equals(a.Get()), strict) << trace;
      int loose = kRaises;
      EXPECT_EQ(MessageIdOf([&, &left = a, &right = b] { loose = left->EqualsStar(right.Get()) ? kYes : kNo; }),
                expected == kRaises ? TKBMessage::NotAType : TKBMessage::None)
          << trace;
      EXPECT_EQ(loose, expected) << trace;
    }
  };
  check(equal, true, kYes);
  check(like, false, kYes);
  check(unlike, false, kNo);
  check(raising, false, kRaises);
  EXPECT_FALSE(none->Equals(nullptr));
}

TEST(KBValue, PrintsLikeIsComparisonOfTexts) {
  std::vector<IKBValue> values;
  for (const TSample& s : Samples()) values.push_back(s.value);
  for (const IKBValue& value :
       {MakeAtom("-7"), MakeAtom("-3.0000"), MakeFloat(-3.0), MakeFloat(0.0), MakeFloat(-0.0), MakeFloat(-0.00001),
        MakeString(""), MakeAtom("\"\""), MakeAtom("a b"), List({MakeAtom("a b")}),
        List({MakeAtom("a"), MakeAtom("b")}), MakeAtom("a b "), List({}), MakeAtom("<Fact-4>"), Text("s", dtAtom),
        MakeRef<TKBValue>(10, dtDescriptor), List({MakeFloat(1.00001)}), List({MakeFloat(1.0)})}) {
    values.push_back(value);
  }
  for (const IKBValue& a : values) {
    for (const IKBValue& b : values) {
      EXPECT_EQ(a->PrintsLike(*b), a->ToString() == b->ToString()) << a->ToString() << " : " << b->ToString();
    }
  }
}

/// Random values of the types that are hashed without a text.
IKBValue RandomValue(std::mt19937& random, int depth) {
  const auto pick = [&](int bound) { return static_cast<int>(random() % static_cast<unsigned>(bound)); };
  std::string text;
  for (int i = pick(6); i > 0; --i) text += "ab \"\\\xC3\xA4?"[pick(8)];
  std::vector<IKBValue> items;
  for (int i = depth > 0 ? pick(5) : 0; i > 0; --i) items.push_back(RandomValue(random, depth - 1));
  const double number = (static_cast<double>(random()) - 2e9) / (pick(2) ? 1e9 : 1e-200);
  const IKBValue values[] = {MakeAtom(text),
                             MakeString(text),
                             MakeInteger(static_cast<int32_t>(random())),
                             MakeFloat(number),
                             MakeFloat(pick(2) ? -0.0 : -0.00001),
                             MakeFactId(pick(100)),
                             Text(text.c_str(), dtVariable),
                             Text(text.c_str(), dtMultiVariable),
                             List(items)};
  return values[pick(static_cast<int>(std::size(values)))];
}

TEST(KBValue, PrintedHashIsTheHashOfTheText) {
  std::mt19937 random(20240607);
  for (int i = 0; i < 20000; ++i) {
    const IKBValue value = RandomValue(random, 4);
    const TTextHash expected(value->ToString());
    ASSERT_EQ(value->PrintedHash().value, expected.value) << value->ToString();
    ASSERT_EQ(value->PrintedHash().power, expected.power) << value->ToString();
  }
}

// ---- shared constants

TEST(KBValue, SharedConstantsCannotBeChanged) {
  using TChange = std::function<void(TKBValue&)>;
  const TChange changes[] = {[](TKBValue& v) { v.SetAsAtom("x"); },
                             [](TKBValue& v) { v.SetAsInteger(1); },
                             [](TKBValue& v) { v.SetAsFloat(1); },
                             [](TKBValue& v) { v.SetAsList(MakeRef<TValueVector>()); },
                             [](TKBValue& v) { v.Reset(); },
                             [](TKBValue& v) { v.Assign(*MakeInteger(1)); },
                             [](TKBValue& v) { v.SetTag(3); },
                             [](TKBValue& v) { v.SetOnChange([](const IKBValue&) {}); },
                             [](TKBValue& v) { MakeInteger(1)->AssignTo(v); }};
  for (const IKBValue& constant : {FCTrue, FCNil, FCNilList, FCPI, FCPopFocus}) {
    const std::string before = constant->ToString();
    for (const TChange& change : changes) {
      EXPECT_EQ(MessageIdOf([&] { change(*constant); }), TKBMessage::SharedConstant);
    }
    EXPECT_EQ(constant->ToString(), before);
  }
  EXPECT_EQ(MessageIdOf([] { FCNilList->GetAsList()->Add(FCNil); }), TKBMessage::SharedConstant);
  // Copies of the empty list are free to grow, each for itself.
  const IKBValue a = FCNilList->Clone();
  a->ListOrNull()->Add(FCTrue);
  EXPECT_EQ(FCNilList->Clone()->ListOrNull()->GetValueCount(), 0);
}

TEST(KBValue, ConstantsAreKnownByIdentityAndConstructorsCheckTheType) {
  EXPECT_NE(FCNil.Get(), FCEmptyString.Get());
  EXPECT_TRUE(FCNil->Equals(FCEmptyString.Get()));
  EXPECT_EQ(FCNil->GetAsNumeric(), 0.0);
  EXPECT_EQ(MessageIdOf([] { (void)FCEmptyString->GetAsNumeric(); }), TKBMessage::NotAType);
  EXPECT_EQ(MessageIdOf([] { (void)MakeRef<TKBValue>(1, dtFloat); }), TKBMessage::ValueTypeMismatch);
  EXPECT_EQ(MessageIdOf([] { (void)MakeRef<TKBValue>(TKBText("a"), dtInteger); }), TKBMessage::ValueTypeMismatch);
}

// ---- objects

class TProbe : public TPersistent {
 public:
  explicit TProbe(int* alive = nullptr, int number = 0) : number_(number), alive_(alive) { Count(1); }
  ~TProbe() override { Count(-1); }
  static const TClassInfo& StaticClass() noexcept {
    static const TClassInfo info{"TProbe", &TPersistent::StaticClass(),
                                 []() -> std::unique_ptr<TPersistent> { return std::make_unique<TProbe>(); }, nullptr};
    return info;
  }
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }
  void Assign(const TPersistent& source) override { number_ = dynamic_cast<const TProbe&>(source).number_; }
  int number_;

 private:
  void Count(int change) {
    if (alive_ != nullptr) *alive_ += change;
  }
  int* alive_;
};

/// Has no class description of its own.
class TNameless : public TProbe {};

class TPart : public TComponent {
 public:
  using TComponent::TComponent;
  static const TClassInfo& StaticClass() noexcept {
    static const TClassInfo info{"TPart", &TComponent::StaticClass(), nullptr,
                                 [](TComponent* owner) -> TComponent* { return new TPart(owner); }};
    return info;
  }
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }
  void Assign(const TPersistent& source) override { size = dynamic_cast<const TPart&>(source).size; }
  int size = 0;
};

TEST(KBValue, OwnedObjectsDieWithTheNextChange) {
  int alive = 0;
  auto value = MakeRef<TKBValue>(new TProbe(&alive, 5), true);
  EXPECT_TRUE(value->IsOwningObject());
  EXPECT_EQ(value->ToString(), "<Object: TProbe>");
  const IKBValue copy = value->Clone();
  EXPECT_TRUE(copy->IsOwningObject());
  EXPECT_NE(copy->GetAsObject(), value->GetAsObject());
  EXPECT_EQ(dynamic_cast<TProbe&>(*copy->GetAsObject()).number_, 5);
  value->SetAsOwnedObject(value->GetAsObject());
  EXPECT_EQ(alive, 1);
  value->SetAsInteger(1);
  EXPECT_EQ(alive, 0);
  TProbe mine(&alive);
  value->SetAsObject(&mine);
  EXPECT_EQ(value->Clone()->GetAsObject(), &mine);
  value = nullptr;
  EXPECT_EQ(alive, 1);

  const auto nameless = MakeRef<TKBValue>(new TNameless(), true);
  auto target = MakeInteger(3);
  EXPECT_EQ(MessageIdOf([&] { target->Assign(*nameless); }), TKBMessage::UncloneableValue);
  EXPECT_TRUE(target->Is(dtNone));
}

TEST(KBValue, ComponentsThatDieElsewhereEmptyTheirValue) {
  TComponent owner(nullptr);
  auto* part = new TPart(&owner);
  part->size = 3;
  const IKBValue value = MakeRef<TKBValue>();
  value->SetAsOwnedObject(part);
  const IKBValue copy = value->Clone();
  EXPECT_EQ(owner.GetComponentCount(), 2);
  EXPECT_EQ(dynamic_cast<TPart&>(*copy->GetAsObject()).size, 3);
  int changes = 0;
  value->SetOnChange([&](const IKBValue&) { ++changes; });
  delete part;
  EXPECT_TRUE(value->Is(dtNone));
  EXPECT_EQ(changes, 0);
  EXPECT_TRUE(copy->IsOwningObject());
  copy->SetAsInteger(1);
  EXPECT_EQ(owner.GetComponentCount(), 0);
}

TEST(KBValue, ChangesAreReportedOnce) {
  const IKBValue value = MakeAtom("a");
  std::string seen;
  value->SetOnChange([&](const IKBValue& changed) { seen += changed->ToString() + ";"; });
  value->SetAsInteger(4);
  value->Assign(*MakeFloat(1.5));
  value->AssignInterface(*List({FCTrue}));
  MakeAtom("z")->AssignTo(*value);
  value->Reset();
  EXPECT_EQ(seen, "4;1.5000;TRUE ;z;");
  EXPECT_FALSE(value->Clone()->GetOnChange());
  // A handler may take itself away.
  value->SetOnChange([&](const IKBValue& changed) { changed->SetOnChange(nullptr); });
  value->SetAsInteger(1);
  EXPECT_FALSE(value->GetOnChange());
}

// ---- limits

TEST(KBValue, DeepNestingIsFreedAndRefused) {
  IKBValue value = List({});
  for (int i = 0; i < 1000000; ++i) value = List({value});
  const IKBValue other = List({value});
  EXPECT_THROW((void)value->ToString(), ERecursionError);
  EXPECT_THROW((void)value->PrintedHash(), ERecursionError);
  EXPECT_THROW((void)value->GetHashCode(), ERecursionError);
  EXPECT_THROW((void)value->Equals(other.Get()), ERecursionError);
  TKBContext context(nullptr, nullptr);
  EXPECT_THROW((void)context.ExpandList(*value->ListOrNull()), ERecursionError);
  EXPECT_THROW((void)context.FlattenList(*value->ListOrNull()), ERecursionError);
  EXPECT_EQ(value->Clone()->ListOrNull(), value->ListOrNull());
}

TEST(KBValue, ReferencesMayBeDroppedOnAnyThread) {
  const IKBValue shared = List({MakeAtom("a"), FCTrue});
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([shared] {
      for (int i = 0; i < 10000; ++i) {
        const IKBValue copy = shared->ListOrNull()->Get(i % 2);
        const IKBValue clone = copy->Clone();
        if (!clone->Equals(copy.Get())) throw EException("copies differ");
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(shared->RefCount(), 1);
  EXPECT_EQ(shared->ListOrNull()->Get(0)->RefCount(), 1);
}

}  // namespace
}  // namespace kb
