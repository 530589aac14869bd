// A host whose own objects are supervised by rules: the machines of a shop floor.
//
// What it shows: classes of the host that are registered with their properties (members, getter and setter, an
// enumeration, a set, a reference to another object), inheritance among them, components that rules find by name, an
// action that rules run, objects that a rule creates, and what becomes of values when the host frees an object.

#include <algorithm>
#include <exception>
#include <iostream>
#include <string>

#include "kb/engine/InferenceEngine.h"
#include "kb/platform/Action.h"
#include "kb/platform/Reflection.h"

namespace {

enum class TState { Idle, Running, Stopped };
enum TWarning : uint8_t { wHeat, wNoise, wWear };

// The host's classes know nothing of rules.
class TMachine : public kb::TComponent {
 public:
  using kb::TComponent::TComponent;
  [[nodiscard]] double GetSpeed() const { return speed_; }
  void SetSpeed(double value) { speed_ = std::clamp(value, 0.0, 100.0); }
  [[nodiscard]] bool IsTooHot() const { return temperature > 80; }

  double temperature = 20;
  int64_t hours = 0;
  TState state = TState::Idle;
  kb::TEnumSet<TWarning> warnings;
  TMachine* next = nullptr;  // the machine that takes over

 private:
  double speed_ = 0;
};

class TPress : public TMachine {
 public:
  using TMachine::TMachine;
  int pressure = 0;
};

class TTicket : public kb::TComponent {
 public:
  using kb::TComponent::TComponent;
  std::string text;
};

void DescribeClasses() {
  using kb::Property;
  kb::RegisterClass<TMachine>(
      "TMachine", Property("Temperature", &TMachine::temperature), Property("Hours", &TMachine::hours),
      Property("Speed", &TMachine::GetSpeed, &TMachine::SetSpeed), Property("TooHot", &TMachine::IsTooHot),
      Property("State", &TMachine::state, {"idle", "running", "stopped"}),
      Property("Warnings", &TMachine::warnings, {"heat", "noise", "wear"}), Property("Next", &TMachine::next));
  kb::RegisterClass<TPress, TMachine>("TPress", Property("Pressure", &TPress::pressure));
  kb::RegisterClass<TTicket>("TTicket", Property("Text", &TTicket::text));
}

constexpr std::string_view kRules = R"(
(deftemplate machine (slot name) (slot object))
(deftemplate ticket (slot name) (slot object))

(defrule find-machines
  =>
  (foreach part (get-components)
    (if (is-class ?part (get-class TMachine))
     then (assert (machine (name (get-property ?part Name)) (object ?part))))))

(defrule hot-machine
  (inspection)
  (machine (name ?name) (object ?m))
  (test (eq (get-property ?m TooHot) TRUE))
  =>
  (printout t ?name " has " (get-property ?m Temperature) " degrees at speed " (get-property ?m Speed) crlf)
  (set-property ?m Speed (/ (get-property ?m Speed) 2))
  (set-property ?m Warnings "[heat]"))

(defrule overhaul
  "After 5000 hours another machine takes over."
  (inspection)
  (machine (name ?name) (object ?m))
  (test (eq (get-property ?m State) running))
  (test (> (get-property ?m Hours) 5000))
  =>
  (set-property ?m State stopped)
  (bind ?next (get-property ?m Next))
  (if (set-property ?next State running)
   then (printout t ?name " stops, " (get-property ?next Name) " takes over" crlf)
   else (printout t ?name " stops, and nothing takes over" crlf))
  (bind ?ticket (create-object (get-class TTicket)))
  (set-property ?ticket Text (str-cat "overhaul of " ?name))
  (assert (ticket (name ?name) (object ?ticket))))

(defrule press-without-pressure
  (inspection)
  (machine (name ?name) (object ?m))
  (test (is-class ?m (get-class TPress)))
  (test (< (get-property ?m Pressure) 10))
  =>
  (printout t ?name " lacks pressure: alarm " (execute-action (get-component alarm)) crlf))

(defrule write-ticket
  (declare (salience -10))
  (ticket (object ?ticket))
  =>
  (printout t "ticket: " (get-property ?ticket Text) crlf)
  (free-object ?ticket))

(defrule machine-is-gone
  (declare (salience -20))
  (inspection)
  ?fact <- (machine (name ?name) (object ?m))
  (test (eq (get-properties ?m) FALSE))
  =>
  (printout t ?name " is not there any more" crlf)
  (retract ?fact))
)";

// The floor owns machines, alarm and engine, so that rules find the components by name.
class TShopFloor : public kb::TComponent {
 public:
  TShopFloor() : kb::TComponent(nullptr), engine_(*new kb::TInferenceEngine(this)) {
    engine_.OnPrintOut = [](kb::TInferenceEngine&, std::string_view, std::string_view text) { std::cout << text; };
    auto& alarm = Add<kb::TBasicAction>("alarm");
    alarm.OnExecute = [](kb::TBasicAction&) { std::cout << "(the alarm bell rings)\n"; };
    engine_.Parse(kRules, false);
    engine_.Reset();
  }

  template <class T>
  T& Add(std::string_view name) {
    auto* component = new T(this);
    component->SetName(name);
    return *component;
  }

  void Inspect() {
    std::cout << "-- inspection\n";
    const int32_t id = engine_.Assert("(inspection)");
    engine_.Run();
    engine_.Retract(id);
  }

 private:
  kb::TInferenceEngine& engine_;  // a component of this one
};

void Print(const TMachine& machine) {
  std::cout << machine.GetName() << ": speed " << machine.GetSpeed() << (machine.warnings.Has(wHeat) ? ", heat" : "")
            << (machine.state == TState::Running ? ", running" : "") << "\n";
}

void Work() {
  DescribeClasses();
  TShopFloor floor;
  auto& lathe = floor.Add<TMachine>("lathe");
  auto& press = floor.Add<TPress>("press");
  auto& spare = floor.Add<TMachine>("spare");
  lathe.state = press.state = TState::Running;
  lathe.SetSpeed(80);
  lathe.temperature = 85;
  press.hours = 6000;
  press.next = &spare;
  floor.Inspect();
  for (const TMachine* machine : {&lathe, static_cast<TMachine*>(&press), &spare}) Print(*machine);

  // The host goes its own ways; rules that still hold the machine notice.
  press.pressure = 40;
  lathe.temperature = 60;
  delete &spare;
  floor.Inspect();
}

}  // namespace

int main() {
  try {
    Work();
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "shopfloor: " << error.what() << "\n";
    return 1;
  }
}
