// A host that feeds facts from a stream: readings of a cold store come in line by line, the rules watch the
// last few of each sensor and raise alarms, and what is too old is retracted.
//
//   kb_readings            works on the sample below
//   kb_readings - < FILE   works on lines "SECONDS SENSOR DEGREES" from standard input
//
// What it shows: rules in a text, facts built in C++ without a text, retraction by id, an alarm that comes
// back to the host as a call of a C++ function, and an engine that runs a little after each reading.

#include <deque>
#include <exception>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <string_view>

#include "kb/engine/InferenceEngine.h"

namespace {

constexpr std::string_view kRules = R"(
(deftemplate sensor (slot name) (slot room) (slot highest))
(deftemplate reading (slot number) (slot sensor) (slot at) (slot degrees))
(deftemplate alarm (slot sensor) (slot kind))

(deffacts store
  (sensor (name north) (room meat) (highest -16))
  (sensor (name south) (room meat) (highest -16))
  (sensor (name door) (room ramp) (highest 8)))

(defrule unknown-sensor
  (reading (sensor ?name) (at ?at))
  (not (sensor (name ?name)))
  (not (alarm (sensor ?name) (kind unknown)))
  =>
  (assert (alarm (sensor ?name) (kind unknown)))
  (raise ?at ?name "is not known"))

(defrule too-warm
  "Two readings in a row above the limit; one alone may be the open door."
  (sensor (name ?name) (highest ?highest))
  (reading (sensor ?name) (number ?n) (degrees ?before&:(> ?before ?highest)))
  (reading (sensor ?name) (number =(+ ?n 1)) (degrees ?now&:(> ?now ?highest)) (at ?at))
  (not (alarm (sensor ?name) (kind warm)))
  =>
  (assert (alarm (sensor ?name) (kind warm)))
  (raise ?at ?name (str-format "is too warm: %.1f degrees" ?now)))

(defrule rises-fast
  (reading (sensor ?name) (at ?before) (degrees ?low))
  (reading (sensor ?name) (at ?at&:(> ?at ?before)) (degrees ?high&:(> (- ?high ?low) 5)))
  (not (alarm (sensor ?name) (kind rise)))
  =>
  (assert (alarm (sensor ?name) (kind rise)))
  (raise ?at ?name (str-format "rose %.1f degrees in %d seconds" (- ?high ?low) (- ?at ?before))))

(defrule rooms-differ
  "Two sensors of one room should agree."
  (sensor (name ?one) (room ?room))
  (sensor (name ?two&~?one) (room ?room))
  (reading (sensor ?one) (at ?at) (degrees ?a))
  (reading (sensor ?two) (at ?at) (degrees ?b&:(> (- ?b ?a) 6)))
  (not (alarm (sensor ?room) (kind differ)))
  =>
  (assert (alarm (sensor ?room) (kind differ)))
  (raise ?at ?two (str-cat "disagrees with " ?one)))

(defrule warm-is-over
  ?alarm <- (alarm (sensor ?name) (kind warm))
  (sensor (name ?name) (highest ?highest))
  (not (reading (sensor ?name) (degrees ?degrees&:(> ?degrees ?highest))))
  (reading (sensor ?name) (number ?n))
  (not (reading (sensor ?name) (number ?later&:(> ?later ?n))))
  =>
  (retract ?alarm)
  (raise (fetch now) ?name "is cold again"))

(defrule silent
  "A sensor whose readings have all grown old says nothing any more."
  (declare (salience -10))
  (sensor (name ?name))
  (clock)
  (not (reading (sensor ?name)))
  (not (alarm (sensor ?name) (kind silent)))
  =>
  (assert (alarm (sensor ?name) (kind silent)))
  (raise (fetch now) ?name "is silent"))
)";

constexpr std::string_view kSample = R"(0 north -19.5
0 south -19.0
0 door 3.5
60 north -19.3
60 south -18.8
60 door 12.0
120 north -19.4
120 south -15.0
120 door 4.0
180 north -19.2
180 south -14.5
240 north -19.0
240 south -12.6
240 cellar 9.0
300 north -19.1
300 south -16.5
360 north -19.2
360 south -17.8
420 north -19.3
420 south -18.6
480 north -19.3
480 south -18.9
540 north -19.2
540 south -18.9
)";

constexpr int kKeepSeconds = 180;

// A window over the stream: which facts stand for which time.
class TStore {
 public:
  TStore() {
    engine_.OnPrintOut = [](kb::TInferenceEngine&, std::string_view, std::string_view text) { std::cout << text; };
    engine_.RegisterFunction(
        "raise",
        [this](kb::TFunctionArguments& arguments) -> kb::IKBValue {
          ++alarms_;
          std::cout << arguments[0]->GetAsInteger() << " s: " << arguments[1]->ToString() << " "
                    << arguments[2]->GetAsString().View() << "\n";
          return kb::FCTrue;
        },
        3, 3);
    engine_.Parse(kRules, false);
    engine_.Reset();
  }

  void Feed(int seconds, const std::string& sensor, double degrees) {
    Forget(seconds - kKeepSeconds);
    (void)engine_.ParseNExecuteFunCall("(store now " + std::to_string(seconds) + ")");
    const kb::IFact fact = engine_.FindFactTemplate("reading")->NewFact();
    fact->SetValue("number", kb::MakeInteger(++counts_[sensor]));
    fact->SetValue("sensor", kb::MakeAtom(sensor));
    fact->SetValue("at", kb::MakeInteger(seconds));
    fact->SetValue("degrees", kb::MakeFloat(degrees));
    window_.push_back({seconds, engine_.Assert(fact)});
    if (seconds >= kKeepSeconds && !started_) {
      engine_.Assert("(clock)");
      started_ = true;
    }
    engine_.Run();
    ++fed_;
  }

  void Report() const {
    std::cout << fed_ << " readings, " << alarms_ << " messages, " << window_.size() << " readings kept, "
              << engine_.GetAgendaCount() << " activations left\n";
  }

 private:
  struct TEntry {
    int seconds;
    int32_t id;
  };
  void Forget(int before) {
    while (!window_.empty() && window_.front().seconds < before) {
      engine_.Retract(window_.front().id);
      window_.pop_front();
    }
  }

  kb::TInferenceEngine engine_;
  std::deque<TEntry> window_;
  std::map<std::string, int32_t> counts_;
  bool started_ = false;
  int fed_ = 0;
  int alarms_ = 0;
};

int Work(std::istream& stream) {
  TStore store;
  int seconds = 0;
  std::string sensor;
  double degrees = 0;
  while (stream >> seconds >> sensor >> degrees) store.Feed(seconds, sensor, degrees);
  store.Report();
  if (stream.eof()) return 0;
  std::cerr << "readings: a line is not \"SECONDS SENSOR DEGREES\"\n";
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc > 1 && std::string_view(argv[1]) == "-") return Work(std::cin);
    std::istringstream sample{std::string(kSample)};
    return Work(sample);
  } catch (const std::exception& error) {
    std::cerr << "readings: " << error.what() << "\n";
    return 1;
  }
}
