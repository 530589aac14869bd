#include "kb/values/KBContext.h"
#include "tests/values/ValuesTest.h"

namespace kb {
namespace {

using kbtest::TEngine;

TEST(KBContext, AssignmentReachesOutAndLocalBindingsShadow) {
  TKBContext root(nullptr, nullptr);
  const auto child = root.Push();
  const auto grandchild = child->Push();
  const auto x = [](TKBContext& context) { return context.GetVariable("x")->GetAsInteger(); };
  root.AddBinding("x", MakeInteger(1));
  grandchild->AddBinding("x", MakeInteger(2));
  EXPECT_EQ(x(root), 2);
  EXPECT_EQ(grandchild->GetBindings().GetCount(), 0);
  grandchild->SetVariable("x", MakeInteger(3));
  EXPECT_EQ(x(root), 3);
  child->AddLocalBinding("x", MakeInteger(4));
  EXPECT_EQ(x(root), 3);
  grandchild->AddBinding("x", MakeInteger(5));
  EXPECT_EQ(x(*child), 5);
  grandchild->AddGlobalBinding("x", MakeInteger(6));
  EXPECT_EQ(x(root), 6);
  EXPECT_EQ(x(*grandchild), 5);
  grandchild->AddGlobalBinding("new", FCTrue);
  EXPECT_NE(root.FindBinding("new"), nullptr);
  EXPECT_EQ(root.FindBinding("X"), nullptr);
  EXPECT_EQ(MessageOf([&] { (void)grandchild->GetVariable("y"); }), "Unknown variable name: y");
}

TEST(KBContext, ManyBindingsAreFoundInOrder) {
  TKBContext context(nullptr, nullptr);
  for (int i = 0; i < 40; ++i) context.AddLocalBinding("v" + std::to_string(i), MakeInteger(i));
  context.AddLocalBinding("v7", MakeInteger(77));
  context.AddBinding("v8", 3, "slot", 2);
  EXPECT_EQ(context.GetBindings().GetCount(), 40);
  for (int i = 0; i < 40; ++i) {
    EXPECT_EQ(context.FindBinding("v" + std::to_string(i)), &context.GetBindings().Get(i));
  }
  EXPECT_EQ(context.GetVariable("v7")->GetAsInteger(), 77);
  EXPECT_EQ(context.FindBinding("v8")->ToString(), "name=v8 FactIdx=3 SlotIdx=slot SubIdx=2");
  EXPECT_EQ(context.FindBinding("v7")->ToString(), "name=v7 value=77 FactIdx=-2 SlotIdx=__LOCAL");
  EXPECT_EQ(context.FindBinding("w"), nullptr);
}

class TRecorder final : public TKBContext {
 public:
  using TKBContext::TKBContext;
  void Notify(TBinding* binding, TTableNotification notification) override {
    log += binding != nullptr ? binding->GetName().ToString() : "-";
    log += std::to_string(notification) + " ";
    TKBContext::Notify(binding, notification);
  }
  std::string log;
};

TEST(KBContext, RemovalsAreToldBeforeTheBindingDies) {
  TRecorder context(nullptr, nullptr);
  TBindings bindings(context);
  for (int i = 0; i < 14; ++i) bindings.Put(std::make_unique<TBinding>("b" + std::to_string(i), FCTrue));
  context.log.clear();
  bindings.Remove("b0");
  bindings.Remove("b0");
  bindings.Remove("b13");
  EXPECT_EQ(bindings.Find("b12"), &bindings.Get(11));
  EXPECT_EQ(bindings.Find("b13"), nullptr);
  bindings.Clear();
  EXPECT_EQ(bindings.Find("b12"), nullptr);
  EXPECT_EQ(context.log, "b01 b131 -2 ");
}

TEST(KBContext, ReturnValuesGoToTheParent) {
  TKBContext root(nullptr, nullptr);
  root.AddBinding("x", FCTrue);
  const auto child = root.Push();
  child->AddLocalBinding("x", FCFalse);
  child->SetReturnValue(MakeInteger(1));
  EXPECT_EQ(child->Pop(), &root);
  EXPECT_TRUE(root.IsReturning());
  EXPECT_EQ(root.GetReturnValue()->GetAsInteger(), 1);
  EXPECT_EQ(root.Pop(), &root);
  EXPECT_TRUE(root.IsReturning());
  child->Clear();
  EXPECT_FALSE(child->IsReturning());
  EXPECT_TRUE(root.IsReturning());
  EXPECT_EQ(child->FindBinding("x"), root.FindBinding("x"));

  TKBContext copy(nullptr, nullptr);
  copy.Assign(root);
  EXPECT_TRUE(copy.IsReturning());
  EXPECT_NE(copy.GetReturnValue(), root.GetReturnValue());
  EXPECT_EQ(copy.GetBindings().GetCount(), 0);
  EXPECT_THROW(copy.Assign(TBindingInfo()), EConvertError);
}

// ---- resolving

IKBValue Variable(const char* name) { return MakeRef<TKBValue>(TKBText(name), dtVariable); }
IKBValue Compiled(int factIndex, const TKBText& slot, int subIndex) {
  return MakeRef<TKBValue>(new TBindingInfo(factIndex, slot, subIndex), true);
}

TEST(KBContext, OneCompiledVariableServesFactsOfSeveralTemplates) {
  auto narrow = MakeRef<TFactTemplate>(nullptr, "narrow");
  auto wide = MakeRef<TFactTemplate>(nullptr, "wide");
  narrow->AddSlot("a", MakeInteger(1));
  for (int i = 0; i < 12; ++i) wide->AddSlot("s" + std::to_string(i), FCNil);
  wide->AddSlot("a", MakeString("wide"));
  const IFact fact = narrow->NewFact();
  const IFact other = wide->NewFact();
  const IKBValue variable = Compiled(0, "a", NoSubIndex);
  TKBContext context(nullptr, nullptr);
  for (int round = 0; round < 2; ++round) {
    const TContextMatchScope first(context, nullptr, fact.Get());
    // The slot's value itself, no copy.
    EXPECT_EQ(variable->Resolve(&context), fact->GetValue("a"));
    const TContextMatchScope second(context, nullptr, other.Get());
    EXPECT_EQ(variable->Resolve(&context), other->GetValue("a"));
  }
  wide->RemoveSlot("a");
  const TContextMatchScope scope(context, nullptr, other.Get());
  EXPECT_THROW((void)variable->Resolve(&context), EKBException);
  EXPECT_THROW((void)variable->Resolve(nullptr), EKBException);
  for (const int index : {1, int{LocalBindingIndex}}) {
    EXPECT_THROW((void)Compiled(index, "s0", NoSubIndex)->Resolve(&context), EListError);
  }
  EXPECT_THROW((void)Compiled(0, "s0", 0)->Resolve(&context), EKBException) << "no multifield";
}

TEST(KBContext, VariablesResolveByName) {
  TKBContext context(nullptr, nullptr);
  const IKBValue value = MakeInteger(5);
  context.AddBinding("x", value);
  context.AddBinding("unset", 0, "s", NoSubIndex);
  EXPECT_EQ(Variable("x")->Resolve(&context), value);
  EXPECT_EQ(value->Resolve(nullptr), value);
  EXPECT_EQ(MessageOf([&] { (void)Variable("unset")->Resolve(&context); }),
            "Corrupted Binding, variable not found: unset");
  EXPECT_EQ(MessageOf([&] { (void)Variable("x")->Resolve(nullptr); }),
            "No context found when trying to resolve a dtVariable value");
}

TEST(KBContext, ListsExpandAndFlatten) {
  TKBContext context(nullptr, nullptr);
  context.AddBinding("x", MakeInteger(1));
  context.AddBinding("empty", FCNilList);
  context.AddBinding("nested", List({MakeAtom("p"), List({Variable("x")})}));
  const IKBValue list = List({Variable("x"), List({}), Variable("nested"), List({MakeAtom("q")}), Variable("empty")});
  EXPECT_EQ(context.ExpandList(*list->ListOrNull())->ToString(), "1 p 1 q ");
  const IValueVector flat = context.FlattenList(*list->ListOrNull());
  EXPECT_EQ(flat->ToString(), "?x ?nested q ?empty ");
  EXPECT_EQ(flat->Get(0), list->ListOrNull()->Get(0));
  EXPECT_EQ(context.ExpandList(*List({Variable("empty")})->ListOrNull())->GetValueCount(), 0);
  // A constant list is never handed out for filling.
  context.ExpandList(*FCNilList->ListOrNull())->Add(FCTrue);
}

TEST(KBContext, FactsResolveInPlace) {
  auto factTemplate = MakeRef<TFactTemplate>(nullptr, "t");
  factTemplate->AddSlot("a", FCNil);
  factTemplate->AddMultiSlot("m", FCNilList);
  const IFact source = factTemplate->NewFact();
  source->SetValue("m", List({MakeInteger(9)}));
  TKBContext context(nullptr, nullptr);
  context.AddBinding("x", MakeInteger(1));
  context.AddBinding("list", source->GetValue("m"));
  const IFact fact = factTemplate->NewFact();
  fact->SetValue("a", Variable("x"));
  fact->SetValue("m", Variable("list"));
  EXPECT_EQ(context.Resolve(fact), fact);
  EXPECT_EQ(fact->GetValue("a")->ToString(), "1");
  EXPECT_EQ(fact->GetValue("m")->ToString(), "9 ");
  // The list is the fact's own: filling it leaves the source of the value alone.
  fact->GetValue("m")->ListOrNull()->Add(FCTrue);
  EXPECT_EQ(source->GetValue("m")->ToString(), "9 ");
  const IFact empty = MakeRef<TFact>(IFactTemplate());
  EXPECT_THROW(context.Resolve(empty), EKBException);
}

// A value that one fact hands to another is adapted there, not in the fact that it comes from.
TEST(KBContext, TheDynamicCheckAdaptsACopyOfAValueFromElsewhere) {
  TEngine engine;
  engine.SetTypeChecks({tcStatic, tcDynamic});
  engine.Do(
      "(deftemplate p (slot n (type INTEGER))) (deftemplate q (slot f (type FLOAT)))"
      "(defrule r (p (n ?x)) => (assert (q (f ?x)))) (assert (p (n 3))) (run)");
  EXPECT_EQ(engine.GetFacts().ToString(), "(Initial-Fact)\r\n(p (n 3))\r\n(q (f 3.0000))");
}

}  // namespace
}  // namespace kb
