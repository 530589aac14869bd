// A host that lets fuzzy rules heat a room: a closed loop of a small model of the room and a controller in rules.
//
//   kb_heating
//
// What it shows: fuzzy types and rules in a text, facts with numbers for fuzzy slots built in C++, the merged output
// of the rules turned into a number, and an engine that runs once for each step of a simulation.
//
// The room loses heat to the outside and gains it from a heater of 0 to 100 percent. Every minute the host asserts how
// far the room is from its goal and how fast it changes; nine rules assert by how much the heater should change, each
// as far as it applies; the centre of gravity of what they say together is the change. Outside it turns cold after an
// hour and a half.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <string_view>

#include "kb/engine/InferenceEngine.h"

namespace {

constexpr std::string_view kRules = R"(
(deftype difference "Goal minus room" extends (type FUZZY) (range -8 8) (units "degrees C")
  (values (term too-warm ((-4 1) (0 0))) (term right (tri -2 0 2)) (term too-cold ((0 0) (4 1)))))

(deftype trend "What the room gains in a minute" extends (type FUZZY) (range -1 1) (units "degrees C")
  (values (term falling ((-0.2 1) (0 0))) (term steady (tri -0.1 0 0.1)) (term rising ((0 0) (0.2 1)))))

(deftype change "Of the heater" extends (type FUZZY) (range -30 30) (units percent)
  (values (term much-less (tri -30 -20 -10)) (term less (tri -12 -6 0)) (term none (tri -2 0 2))
          (term more (tri 0 6 12)) (term much-more (tri 10 20 30))))

(deftemplate room (slot difference (type difference)) (slot trend (type trend)))
(deftemplate heater (slot change (type change)))

(defrule cold-and-falling (room (difference too-cold) (trend falling)) => (assert (heater (change much-more))))
(defrule cold-and-steady (room (difference too-cold) (trend steady)) => (assert (heater (change more))))
(defrule cold-and-rising (room (difference very too-cold) (trend rising)) => (assert (heater (change none))))
(defrule right-and-falling (room (difference right) (trend falling)) => (assert (heater (change more))))
(defrule right-and-steady (room (difference right) (trend steady)) => (assert (heater (change none))))
(defrule right-and-rising (room (difference right) (trend rising)) => (assert (heater (change less))))
(defrule warm-and-falling (room (difference very too-warm) (trend falling)) => (assert (heater (change none))))
(defrule warm-and-steady (room (difference too-warm) (trend steady)) => (assert (heater (change less))))
(defrule warm-and-rising (room (difference too-warm) (trend rising)) => (assert (heater (change much-less))))
)";

constexpr double kGoal = 21;
constexpr int kMinutes = 180;

/// The heated room, minute by minute.
class TRoom {
 public:
  [[nodiscard]] double Degrees() const noexcept { return degrees_; }
  void Pass(double heaterPercent, double outside) noexcept {
    degrees_ += 0.008 * (outside - degrees_) + 0.004 * heaterPercent;
  }

 private:
  double degrees_ = 16;
};

class TController {
 public:
  TController() { engine_.Parse(kRules, false); }

  /// By how many percent the heater should change.
  [[nodiscard]] double Change(double difference, double trend) {
    engine_.Reset();
    const kb::IFact room = engine_.FindFactTemplate("room")->NewFact();
    room->SetValue("difference", kb::MakeFloat(std::clamp(difference, -8.0, 8.0)));
    room->SetValue("trend", kb::MakeFloat(std::clamp(trend, -1.0, 1.0)));
    engine_.Assert(room);
    if (engine_.Run() == 0) return 0;
    // Equal facts of all rules have been merged into the youngest one.
    const kb::TFacts& facts = engine_.GetFacts();
    return facts.Get(facts.GetCount() - 1)->GetValue("change")->GetAsNumeric();
  }

 private:
  kb::TInferenceEngine engine_;
};

void RunLoop() {
  TController controller;
  TRoom room;
  double heater = 0;
  double former = room.Degrees();
  std::printf("minute  outside   room  heater\n");
  for (int minute = 0; minute <= kMinutes; ++minute) {
    const double outside = minute < 90 ? 5 : -5;
    heater = std::clamp(heater + controller.Change(kGoal - room.Degrees(), room.Degrees() - former), 0.0, 100.0);
    if (minute % 15 == 0) std::printf("%6d %8.0f %6.1f %6.0f%%\n", minute, outside, room.Degrees(), heater);
    former = room.Degrees();
    room.Pass(heater, outside);
  }
}

}  // namespace

int main() {
  try {
    RunLoop();
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kb_heating: %s\n", error.what());
    return 1;
  }
}
