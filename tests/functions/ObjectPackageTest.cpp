// Rules and the objects of their host.
#include <thread>

#include "kb/platform/Action.h"
#include "kb/platform/Reflection.h"
#include "tests/Program.h"

namespace {

using kb::Property, kb::RegisterClass, kb::TComponent;
using kbtest::TProgram;

enum class TState { Idle, Running, Stopped };
enum TFault : uint8_t { fHot, fLoud, fWorn };

class TMachine : public TComponent {
 public:
  using TComponent::TComponent;
  ~TMachine() override { ++freed; }
  [[nodiscard]] int GetLoad() const { return load_; }
  void SetLoad(int value) { load_ = std::min(value, 100); }
  [[nodiscard]] bool IsBusy() const { return load_ > 0; }

  double temperature = 20.5;
  int64_t parts = 0;
  uint8_t level = 0;
  char32_t mark = U'A';
  std::string place;
  TState state = TState::Idle;
  kb::TEnumSet<TFault> faults;
  bool guarded = true;
  const int serial = 4711;
  TMachine* next = nullptr;
  std::function<void()> onStop;
  static inline int freed = 0;

 private:
  int load_ = 0;
};

class TPress : public TMachine {
 public:
  using TMachine::TMachine;
  float force = 1.5F;
};

class TUnknownPress : public TPress {  // never registered
 public:
  using TPress::TPress;
};

class TReading : public kb::THostObject {  // no component
 public:
  double value = 7;
};

class TAbstract : public kb::THostObject {
 public:
  virtual void Work() = 0;
};

void RegisterAll() {
  static const bool once = [] {
    RegisterClass<TMachine>(
        "TMachine", Property("Temperature", &TMachine::temperature),
        Property("Load", &TMachine::GetLoad, &TMachine::SetLoad), Property("Parts", &TMachine::parts),
        Property("Level", &TMachine::level), Property("Mark", &TMachine::mark), Property("Place", &TMachine::place),
        Property("State", &TMachine::state, {"idle", "running", "stopped"}),
        Property("Faults", &TMachine::faults, {"hot", "loud", "worn"}), Property("Guarded", &TMachine::guarded),
        Property("Serial", &TMachine::serial), Property("Next", &TMachine::next), Property("OnStop", &TMachine::onStop),
        Property("Busy", &TMachine::IsBusy),
        Property("Heat", [](const TMachine& machine) { return machine.temperature + 273; }));
    RegisterClass<TPress, TMachine>("TPress", Property("Force", &TPress::force));
    RegisterClass<TReading>("TReading", Property("Value", &TReading::value));
    RegisterClass<TAbstract>("TAbstract");
    RegisterClass<kb::TBasicAction>("TBasicAction");
    return true;
  }();
  (void)once;
}

struct TForm {
  TForm() { RegisterAll(); }
  TComponent form{nullptr};
};

// A form that owns the machines, and a program whose owner it is.
class ObjectPackage : public testing::Test, protected TForm, protected TProgram {
 protected:
  ObjectPackage() : TProgram({}, &form), lathe(new TMachine(&form)), press(new TUnknownPress(&form)) {
    lathe->SetName("lathe");
    press->SetName("press");
    Eval(
        "(defglobal ?*l* = (get-component lathe) ?*p* = (get-component press)"
        " ?*r* = (create-object (get-class TReading)))");
  }
  ~ObjectPackage() override { Eval("(free-object ?*r*)"); }

  TMachine* lathe;
  TMachine* press;
};

TEST_F(ObjectPackage, PropertiesOfEveryKindAreReadAndSet) {
  lathe->next = press;
  Expect(R"(
    (get-property ?*l* Temperature) (set-property ?*l* Temperature 30) (get-property ?*l* temperature)
      --> 20.5000\nTRUE\n30.0000
    (set-property ?*l* Load 250) (get-property ?*l* Load) (get-property ?*l* Busy) --> TRUE\n100\nTRUE
    (set-property ?*l* Parts 12) (get-property ?*l* Parts) --> TRUE\n12
    (set-property ?*l* Level 255) (get-property ?*l* Level) --> TRUE\n255
    (set-property ?*l* Level 256) --> !Invalid value of property Level: 256
    (set-property ?*l* Mark "€") (get-property ?*l* Mark) --> TRUE\n"€"
    (set-property ?*l* Mark ab) --> !Invalid value of property Mark: ab
    (set-property ?*l* Place "hall 2") (get-property ?*l* Place) --> TRUE\n"hall 2"
    (set-property ?*l* State Running) (get-property ?*l* State) (get-type (get-property ?*l* State))
      --> TRUE\nrunning\ndtAtom
    (set-property ?*l* State flying) --> !Invalid value of property State: flying
    (set-property ?*l* Faults "[hot, worn]") (get-property ?*l* Faults) --> TRUE\n"[hot,worn]"
    (set-property ?*l* Faults "") (get-property ?*l* Faults) --> TRUE\n"[]"
    (set-property ?*l* Guarded FALSE) (get-property ?*l* Guarded) --> TRUE\nFALSE ;; (get-property ?*l* Serial) --> 4711
    (set-property ?*l* Serial 1) --> !Property Serial is read-only
    (get-property (get-property ?*l* Next) Name) --> "press"
    (set-property ?*p* Next ?*l*) (eq (get-property ?*p* Next) ?*l*) --> TRUE\nTRUE
    (set-property ?*p* Next nil) (get-property (get-property ?*p* Next) Name) --> TRUE\nFALSE
    (set-property ?*l* Next ?*r*) --> !Invalid class typecast: property Next does not take a TReading
    (set-property ?*l* OnStop 5) --> TRUE ;; (get-property ?*l* OnStop) --> !Invalid property type: tkMethod
    (set-property ?*l* Temperature warm) --> !Not a numeric type.  Value (warm) is a dtAtom type
    (eq (get-property ?*l* Colour) nil) (set-property ?*l* Colour (throw x)) --> TRUE\nFALSE
    (get-property ?*l* Heat) --> 303.0000
  )");
  EXPECT_EQ(lathe->state, TState::Running);
  EXPECT_EQ(lathe->mark, U'\u20AC');
  lathe->parts = int64_t{1} << 40;
  EXPECT_EQ(Eval("(get-property ?*l* Parts)"), "!Integer overflow");
  lathe->state = static_cast<TState>(9);
  EXPECT_EQ(Eval("(get-property ?*l* State)"), "9");
  for (TMachine* machine : {lathe, press}) machine->next = nullptr;
}

TEST_F(ObjectPackage, ADescendantHasWhatItsAncestorsHave) {
  Expect(R"(
    (implode$ (get-properties ?*p*))
      --> "Name Temperature Load Parts Level Mark Place State Faults Guarded Serial Next OnStop Busy Heat Force"
    (set-property ?*p* Force 2.5) (get-property ?*p* Force) --> TRUE\n2.5000
    (eq (get-property ?*l* Force) nil) --> TRUE
    (is-class ?*p* (get-class TPress)) (is-class ?*p* (get-class TMachine)) --> TRUE\nTRUE
    (is-class ?*p* (get-class tcomponent)) (is-class ?*l* (get-class TPress)) --> TRUE\nFALSE
    (printout t (get-class TPress) " " ?*p*) --> TPress <Object: TPress>
    (get-class TNothing) --> !Class TNothing not found
  )");
}

TEST_F(ObjectPackage, ComponentsAreFoundAndListed) {
  auto* spindle = new TComponent(lathe);
  spindle->SetName("spindle");
  Expect(R"(
    (eq (get-component) (get-component)) (get-type (get-component)) --> TRUE\ndtObject
    (get-property (get-component LATHE) Name) --> "lathe"
    (get-component spindle) (get-property (get-component ?*l* spindle) Name) --> FALSE\n"spindle"
    (length$ (get-components)) (length$ (get-components ?*l*)) --> 3\n1
    (get-property (nth$ 2 (get-components)) Name) --> "press"
    (get-component ?*r* x) --> !Invalid class typecast: TReading is no TComponent
  )");
  TProgram alone;  // an engine without owner
  EXPECT_EQ(alone.Eval("(get-component)"), "FALSE");
  EXPECT_EQ(alone.Eval("(get-component x)"), "!Expected component argument to get-component function call");
  EXPECT_EQ(alone.Eval("(get-components)"), "!Expected component argument to get-components function call");
}

TEST_F(ObjectPackage, ObjectsAreCreatedAndFreedByRules) {
  TMachine::freed = 0;
  Eval("(defglobal ?*n* = (create-object (get-class TMachine)))");
  Expect(R"(
    (bind ?x (create-object (get-class TReading))) (get-property ?x Value) (free-object ?x)
      --> <Object: TReading>\n7.0000\nTRUE
    (get-property ?*n* Temperature) --> 20.5000
    (bind ?copy ?*n*) (free-object ?*n*) --> <Object: TMachine>\nTRUE
    // Whatever refers to it finds nothing, and is an ordinary value otherwise.
    (get-property ?*n* Load) (set-property ?*n* Load 1) (get-properties ?copy) --> FALSE\nFALSE\nFALSE
    (free-object ?*n* ?copy) (is-class ?copy (get-class TMachine)) (eq ?copy ?*n*) --> TRUE\nFALSE\nTRUE
    ?copy --> <Object: TMachine> ;; (create-object (get-class TAbstract)) --> !Class TAbstract cannot be created
  )");
  EXPECT_EQ(TMachine::freed, 1);
}

TEST_F(ObjectPackage, AnObjectThatItsHostFreesIsGoneFromFactsToo) {
  Eval(
      "(deftemplate watched (slot name) (slot machine))"
      "(defrule look (watched (name ?n) (machine ?m)) (tick) => (printout t ?n \": \" (get-property ?m Load) crlf))"
      "(assert (watched (name lathe) (machine (get-component lathe)))"
      " (watched (name press) (machine (get-component press))))");
  delete lathe;
  // The fact is still itself for retraction and for the test of duplicates.
  Expect(R"(
    (assert (tick)) (run) --> <Fact-3>\npress: 0\nlathe: FALSE\n2
    (assert (watched (name press) (machine (get-component press)))) (retract 1) --> FALSE\nTRUE
  )");
}

TEST_F(ObjectPackage, WhatTheEngineStandsOnIsNotFreed) {
  Eval("(defglobal ?*e* = (nth$ 0 (get-components)))");
  Eval(
      "(defrule r (go) => (free-object (nth$ (- (length$ (get-components ?*e*)) 1) (get-components ?*e*)))) (assert "
      "(go))");
  Expect(R"(
    (free-object (get-component)) --> !Cannot free the TComponent: something else owns it or is at work with it
    (free-object ?*e*) --> !Cannot free the TInferenceEngine: something else owns it or is at work with it
    (run) --> !Cannot free the TRule: something else owns it or is at work with it
  )");
}

TEST_F(ObjectPackage, ActionsRun) {
  int count = 0;
  auto* action = new kb::TBasicAction(&form);
  action->SetName("stop");
  Expect("(execute-action (get-component stop)) --> FALSE");
  action->OnExecute = [&count](kb::TBasicAction&) { ++count; };
  Expect(R"(
    (execute-action (get-component stop)) (is-class (get-component stop) (get-class TBasicAction)) --> TRUE\nTRUE
    (execute-action ?*l*) --> !Invalid class typecast: TMachine is no TBasicAction
  )");
  EXPECT_EQ(count, 1);
}

// An object that a value owns is freed once, whoever frees it.
TEST_F(ObjectPackage, AnOwnedObjectIsFreedOnce) {
  TMachine::freed = 0;
  const auto bind = [this](const char* name, kb::TObject* object, bool owning) {
    const auto value = kb::MakeRef<kb::TKBValue>(object, owning);
    engine.GetGlobalContext().SetVariable(name, value);
    return value;
  };
  for (TMachine* machine : {new TMachine(nullptr), new TMachine(&form)}) {
    bind("owned", machine, true);
    EXPECT_EQ(Eval("(get-property ?owned Level)"), "0");
    bind("other", machine, false);
    EXPECT_EQ(Eval("(free-object ?other) (get-property ?other Level)"), "TRUE\nFALSE");
  }
  EXPECT_EQ(TMachine::freed, 2);
  auto* reading = new TReading;
  const auto owner = bind("owned", reading, true);
  bind("other", reading, false);
  EXPECT_EQ(Eval("(free-object ?other)"), "TRUE");
  EXPECT_EQ(owner->GetAsObject(), nullptr);
}

TEST_F(ObjectPackage, RegistrationIsChecked) {
  class TLater : public kb::THostObject {
   public:
    int a = 1;
    int b = 2;
    TState state = TState::Idle;
  };
  const kb::TClassInfo& first = RegisterClass<TLater>("TLater", Property("A", &TLater::a));
  TLater later;
  EXPECT_EQ(kb::GetProperties(later)->size(), 1U);
  EXPECT_EQ(&RegisterClass<TLater>("TLater", Property("A", &TLater::a), Property("B", &TLater::b)), &first);
  EXPECT_EQ(kb::GetProperties(later)->size(), 2U);
  EXPECT_THROW(RegisterClass<TLater>("TOther"), kb::EClassNotFound);
  class TImpostor : public kb::THostObject {};
  EXPECT_THROW(RegisterClass<TImpostor>("TLater"), kb::EClassNotFound);
  EXPECT_THROW((void)RegisterClass<TLater>("TLater", Property("State", &TLater::state)), kb::EPropertyError);
}

TEST_F(ObjectPackage, ClassesAreRegisteredAndAskedFromSeveralThreads) {
  class TShared : public kb::THostObject {
   public:
    int value = 5;
  };
  const auto work = [] {
    for (int i = 0; i < 200; ++i) {
      RegisterClass<TShared>("TShared", Property("Value", &TShared::value));
      const TShared object;
      EXPECT_EQ(kb::FindProperty(object, "value")->GetOrdinal(object), 5);
    }
  };
  std::thread other(work);
  work();
  other.join();
}

}  // namespace
