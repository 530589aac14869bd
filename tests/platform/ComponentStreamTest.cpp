// Component trees through both forms of a stream, and what becomes of damaged streams.

#include <limits>
#include <sstream>

#include "kb/platform/ClassRegistry.h"
#include "kb/platform/ComponentStream.h"
#include "kb/platform/Exceptions.h"
#include "tests/Dialogue.h"

namespace {

using kb::TComponent;

/// A component with a property of each kind.
class TPart final : public TComponent {
 public:
  explicit TPart(TComponent* owner) : TComponent(owner) { ++live; }
  ~TPart() override { --live; }
  static const kb::TClassInfo& StaticClass() noexcept {
    static const kb::TClassInfo info{"TPart", &TComponent::StaticClass(), nullptr,
                                     [](TComponent* owner) -> TComponent* { return new TPart(owner); }};
    return info;
  }
  [[nodiscard]] const kb::TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  void DefineProperties(kb::TFiler& filer) override {
    filer.Text("Title", title, [this](const std::string& value) { title = value; });
    filer.Flag("On", on, false, [this](bool value) { on = value; });
    filer.Integer("Count", count, 0, std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max(),
                  [this](int64_t value) { count = value; });
    filer.Integer("Small", small, 0, 0, 9, [this](int64_t value) { small = static_cast<int>(value); });
    filer.Real("Size", size, 0, [this](double value) { size = value; });
    filer.Texts("Lines", lines, [this](const std::vector<std::string>& value) { lines = value; });
    filer.Reference("Other", other, [this](TComponent* value) { other = value; });
  }
  void Loaded() override {
    TComponent::Loaded();
    ++loaded;
    if (title == "refuse") throw kb::EStreamError("refused");
  }

  std::string title;
  bool on = false;
  int64_t count = 0;
  int small = 0;
  double size = 0;
  std::vector<std::string> lines;
  TComponent* other = nullptr;
  int loaded = 0;
  static inline int live = 0;
};

class ComponentStream : public testing::TestWithParam<kb::TStreamForm> {
 protected:
  ComponentStream() { kb::RegisterClass(TPart::StaticClass()); }

  [[nodiscard]] static std::string Write(TComponent& root, kb::TStreamForm form) {
    std::ostringstream out;
    kb::WriteComponent(out, root, form);
    return out.str();
  }
  [[nodiscard]] static std::unique_ptr<TPart> Read(const std::string& bytes, const kb::TOuterComponents& outer = {}) {
    std::istringstream in(bytes);
    return std::unique_ptr<TPart>(dynamic_cast<TPart*>(kb::ReadComponent(in, nullptr, outer)));
  }
  [[nodiscard]] static std::string Fault(const std::string& bytes) {
    try {
      (void)Read(bytes);
    } catch (const kb::EStreamError& error) {
      return error.what();
    }
    return {};
  }
};

/// A tree of three parts, the second of which refers to the third and the third to the root.
std::unique_ptr<TPart> MakeTree() {
  auto root = std::make_unique<TPart>(nullptr);
  root->SetName("root");
  root->title = "quote \" backslash \\ tab \t line\r\nend\n\x01 \xC3\xA4";
  root->count = std::numeric_limits<int64_t>::min();
  root->size = 0.1;
  root->lines = {"", "a", "[b]", "+"};
  auto* first = new TPart(root.get());
  auto* second = new TPart(first);
  first->other = second;
  first->on = true;
  first->size = -1e300;
  first->count = std::numeric_limits<int64_t>::max();
  second->other = root.get();
  second->size = 3;
  second->small = 9;
  second->SetName("end");
  return root;
}

TEST_P(ComponentStream, ATreeComesBack) {
  const auto root = MakeTree();
  const std::string bytes = Write(*root, GetParam());
  const auto copy = Read(bytes);
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->title, root->title);
  EXPECT_EQ(copy->count, root->count);
  EXPECT_EQ(copy->size, 0.1);
  EXPECT_EQ(copy->lines, root->lines);
  ASSERT_EQ(copy->GetComponentCount(), 1);
  auto& first = dynamic_cast<TPart&>(*copy->GetComponent(0));
  auto& second = dynamic_cast<TPart&>(*first.GetComponent(0));
  EXPECT_EQ(first.other, &second);
  EXPECT_EQ(second.other, copy.get());
  EXPECT_EQ(second.GetName(), "end");
  EXPECT_EQ(first.size, -1e300);
  for (const TPart* part : {copy.get(), &first, &second}) {
    EXPECT_EQ(part->loaded, 1);
    EXPECT_FALSE(part->IsLoading());
  }
  EXPECT_EQ(Write(*copy, GetParam()), bytes) << "and again to the same bytes";
}

TEST_P(ComponentStream, ReferencesToOutsideGoByName) {
  TPart outside(nullptr);
  TPart root(nullptr);
  root.other = &outside;
  EXPECT_THROW((void)Write(root, GetParam()), kb::EStreamError) << "without a name nobody could find it";
  outside.SetName("outside");
  const std::string bytes = Write(root, GetParam());
  const auto copy = Read(bytes, [&](std::string_view name) { return name == "outside" ? &outside : nullptr; });
  EXPECT_EQ(copy->other, &outside);
  EXPECT_NE(Fault(bytes).find("there is no component named \"outside\" outside"), std::string::npos);
}

TEST_P(ComponentStream, EveryCutIsNoticed) {
  const std::string bytes = Write(*MakeTree(), GetParam());
  const std::string place = GetParam() == kb::sfText ? "Component stream, line " : "Component stream, byte ";
  const size_t end = GetParam() == kb::sfText ? bytes.size() - 1 : bytes.size();  // the last line end may be missing
  for (size_t size = 1; size < end; ++size) {
    EXPECT_TRUE(Fault(bytes.substr(0, size)).starts_with(place)) << size << ": " << Fault(bytes.substr(0, size));
  }
  EXPECT_EQ(TPart::live, 0) << "what was made by then is gone";
}

TEST_P(ComponentStream, DamagedBytesDoNoHarm) {
  const std::string bytes = Write(*MakeTree(), GetParam());
  uint32_t seed = 12345;
  int noticed = 0;
  for (int round = 0; round < 3000; ++round) {
    std::string damaged = bytes;
    for (int i = 0; i < 1 + round % 3; ++i) {
      seed = seed * 1664525 + 1013904223;
      damaged[(seed >> 8) % damaged.size()] = static_cast<char>(seed >> 24);
    }
    if (damaged == bytes) continue;
    const std::string fault = Fault(damaged);
    noticed += fault.empty() ? 0 : 1;
    if (!fault.empty()) {
      EXPECT_TRUE(fault.starts_with("Component stream, ")) << fault;
    }
  }
  EXPECT_EQ(TPart::live, 0);
  // A text has characters in which nobody can see damage; the short form has its sum.
  EXPECT_GT(noticed, GetParam() == kb::sfText ? 500 : 2900);
}

TEST_P(ComponentStream, ReadingIntoAComponentThatIsThere) {
  const std::string bytes = Write(*MakeTree(), GetParam());
  TPart part(nullptr);
  std::istringstream in(bytes);
  kb::ReadComponent(in, part);
  EXPECT_EQ(part.GetName(), "root");
  EXPECT_EQ(part.GetComponentCount(), 1);
  TComponent other(nullptr);
  std::istringstream again(bytes);
  EXPECT_THROW(kb::ReadComponent(again, other), kb::EStreamError);
  EXPECT_EQ(other.GetComponentCount(), 0);
}

TEST_P(ComponentStream, AComponentThatRefusesTakesAllWithIt) {
  {
    const auto root = MakeTree();
    root->title = "refuse";
    EXPECT_EQ(Fault(Write(*root, GetParam())), "refused");
  }
  EXPECT_EQ(TPart::live, 0);
}

INSTANTIATE_TEST_SUITE_P(Forms, ComponentStream, testing::Values(kb::sfText, kb::sfBinary),
                         [](const auto& form) { return form.param == kb::sfText ? "Text" : "Binary"; });

TEST_F(ComponentStream, TheTextIsForPeople) {
  TPart root(nullptr);
  root.SetName("main");
  root.title = "two\nlines";
  root.size = 2;
  root.lines = {"a"};
  auto* child = new TPart(&root);
  child->other = &root;
  EXPECT_EQ(Write(root, kb::sfText),
            "kb-components 1\nobject TPart \"main\" #1\n  Title = \"two\\n\"\n    + \"lines\"\n  Size = 2.0\n"
            "  Lines = [\n    \"a\"\n  ]\n  object TPart #2\n    Other = @1\n  end\nend\n");
}

TEST_F(ComponentStream, FaultsTellTheLine) {
  const auto fault = [](const std::string& body) {
    return kb::ReplaceAll(Fault("kb-components 1\nobject TPart #1\n" + body), "Component stream, line ", "");
  };
  kbtest::ExpectAnswers(fault, R"(
    Tile = 1\nend --> 3: a TPart has no property Tile ;; Title = 1\nend --> 3: TPart.Title: Expected a text
    \n  Small = 10\nend --> 4: TPart.Small: Expected a number from 0 to 9
    Other = @7\nend --> 3: TPart.Other: there is no component #7
    object TNone #2\n  end\nend --> 3: the class TNone is not known
    object TPart #1\n  end\nend --> 3: a second component #1
    Title = "a\n"\nend --> 3: a text without its closing quote ;; Count = 1x\nend --> 3: "1x" is no value
    ?\nend --> 3: expected a property, "object" or "end"
    end\nend --> 4: text behind the end of the outermost object
  )");
  EXPECT_EQ(Fault("kb-components 2\n"), "Component stream, line 1: expected \"kb-components 1\"");
  std::string deep = "kb-components 1\n";
  for (int i = 1; i < 200000; ++i) deep += "object TPart #" + std::to_string(i) + "\n";
  EXPECT_THROW((void)Read(deep), kb::EException) << "no crash";
}

TEST_F(ComponentStream, ClassesAreKnownByNameInAnyCase) {
  EXPECT_EQ(kb::FindClass("tpart"), &TPart::StaticClass());
  kb::UnRegisterClass(TPart::StaticClass());
  EXPECT_EQ(kb::FindClass("TPart"), nullptr);
  kb::RegisterClass(TPart::StaticClass());
}

}  // namespace
